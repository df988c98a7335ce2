// A hash table in one block of memory, for what networks look up often.

#pragma once

#include <cstddef>
#include <utility>
#include <vector>

/// Entries by hash, next to one another in the order of their places, so that a look-up touches
/// about one line of memory. `Entry` has a `std::size_t hash` and a `bool isUsed`, false when made.
///
/// Pointers to entries hold until the next change.
template <class Entry>
class OdDbAssocFlatTable
{
public:
    /// The entry of a hash for which `matches` holds; null if there is none.
    template <class Matches>
    Entry* find(std::size_t hash, Matches const& matches)
    {
        if (m_slots.empty()) {
            return nullptr;
        }
        for (std::size_t at = placeOf(hash); m_slots[at].isUsed; at = after(at)) {
            if (m_slots[at].hash == hash && matches(m_slots[at])) {
                return &m_slots[at];
            }
        }
        return nullptr;
    }

    /// Enters an entry that isn't there, and gives its place.
    Entry& insert(Entry entry)
    {
        if ((m_count + 1) * 4 > m_slots.size() * 3) {
            grow();
        }
        ++m_count;
        return put(std::move(entry));
    }

    /// Takes an entry out. Those behind it that had to make way for it move up.
    void erase(Entry* entry)
    {
        std::size_t hole = static_cast<std::size_t>(entry - m_slots.data());
        for (std::size_t at = after(hole); m_slots[at].isUsed; at = after(at)) {
            const std::size_t wanted = placeOf(m_slots[at].hash);
            const std::size_t mask = m_slots.size() - 1;
            if (((at - wanted) & mask) >= ((at - hole) & mask)) {
                m_slots[hole] = std::move(m_slots[at]);
                hole = at;
            }
        }
        m_slots[hole] = Entry();
        --m_count;
    }

    void clear()
    {
        m_slots.clear();
        m_count = 0;
    }

private:
    static constexpr std::size_t kFirstSize = 16;

    /// Spreads hashes that differ little, as those of addresses do.
    std::size_t placeOf(std::size_t hash) const noexcept
    {
        constexpr std::size_t kSpread = 0x9E3779B97F4A7C15U;
        const std::size_t spread = hash * kSpread;
        return (spread ^ (spread >> 32U)) & (m_slots.size() - 1);
    }
    std::size_t after(std::size_t at) const noexcept { return (at + 1) & (m_slots.size() - 1); }
    Entry& put(Entry entry)
    {
        std::size_t at = placeOf(entry.hash);
        while (m_slots[at].isUsed) {
            at = after(at);
        }
        entry.isUsed = true;
        m_slots[at] = std::move(entry);
        return m_slots[at];
    }
    void grow()
    {
        std::vector<Entry> old(m_slots.empty() ? kFirstSize : m_slots.size() * 2);
        old.swap(m_slots);
        for (Entry& entry : old) {
            if (entry.isUsed) {
                (void)put(std::move(entry));
            }
        }
    }

    std::vector<Entry> m_slots;  ///< a power of two of them, at most three quarters used
    std::size_t m_count = 0;
};
