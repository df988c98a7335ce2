// A table of classes that come and go together.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// How one class is registered and taken away.
struct OdDbClassEntry
{
    void (*init)();
    void (*uninit)();
};

template <class T>
constexpr OdDbClassEntry odDbClassEntry()
{
    return {[] { T::rxInit(); }, [] { T::rxUninit(); }};
}

/// The classes of one layer, bases before the classes derived from them.
///
/// Starts nest: the first one registers the classes in their order, the last stop takes them away in
/// the reverse order.
class OdDbClassTable
{
public:
    /// \param entries  Must outlive the table.
    constexpr explicit OdDbClassTable(std::span<OdDbClassEntry const> entries) noexcept
        : m_entries(entries)
    {
    }
    OdDbClassTable(OdDbClassTable const&) = delete;
    OdDbClassTable& operator=(OdDbClassTable const&) = delete;

    bool isStarted() const noexcept { return m_starts > 0; }
    /// \throws OdError (class already registered) if a name is taken; none is registered then.
    void start();
    /// Does nothing without a start.
    /// \throws OdError (database in use) if databases are alive, (module in use) if classes are left
    ///         that were registered later; the table stays started then.
    void stop();

private:
    void unregisterFirst(std::size_t count) const;
    void requireNoLaterClass() const;

    std::span<OdDbClassEntry const> m_entries;
    int m_starts = 0;
    std::uint64_t m_lastClass = 0;  ///< registration number of the last class of the table
};
