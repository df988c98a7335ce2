// A hash table with dense entries, for what networks look up often.

#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

/// Entries in the order in which they were made, found by hash through a table of small slots. The
/// slots of many entries fit into the processor's cache, and what is looked up in the order of its
/// making lies one behind the other. `Entry` has a member `hash`.
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
        const std::uint32_t mixed = mix(hash);
        for (std::size_t at = placeOf(mixed); m_slots[at] != 0; at = after(at)) {
            if (((m_slots[at] ^ mixed) & ~numberMask()) == 0) {
                Entry& entry = m_entries[(m_slots[at] & numberMask()) - 1];
                if (entry.hash == hash && matches(entry)) {
                    return &entry;
                }
            }
        }
        return nullptr;
    }

    /// Enters an entry that isn't there, and gives its place.
    Entry& insert(Entry entry)
    {
        if ((m_entries.size() + 1) * 8 > m_slots.size() * 7) {
            grow();
        }
        m_entries.push_back(std::move(entry));
        enter(m_entries.size());
        return m_entries.back();
    }

    /// Takes an entry out. The last one takes its place.
    void erase(Entry* entry)
    {
        const auto number = static_cast<std::size_t>(entry - m_entries.data()) + 1;
        freeSlot(slotOf(number));
        if (number != m_entries.size()) {
            std::uint32_t& last = m_slots[slotOf(m_entries.size())];
            last = (last & ~numberMask()) | static_cast<std::uint32_t>(number);
            *entry = std::move(m_entries.back());
        }
        m_entries.pop_back();
    }

    /// All entries. Their hashes may not be changed.
    std::vector<Entry>& entries() noexcept { return m_entries; }

private:
    static constexpr std::size_t kFirstSize = 16;

    /// Spreads hashes that differ little, as those of addresses do.
    static std::uint32_t mix(std::size_t hash) noexcept
    {
        return static_cast<std::uint32_t>(
            (static_cast<std::uint64_t>(hash) * 0x9E3779B97F4A7C15U) >> 32U);
    }
    std::uint32_t numberMask() const noexcept
    {
        return static_cast<std::uint32_t>(m_slots.size() - 1);
    }
    std::size_t placeOf(std::uint32_t mixed) const noexcept { return mixed & numberMask(); }
    std::size_t after(std::size_t at) const noexcept { return (at + 1) & numberMask(); }
    std::uint32_t mixedOf(std::size_t number) const noexcept
    {
        return mix(m_entries[number - 1].hash);
    }
    std::size_t slotOf(std::size_t number) const noexcept
    {
        std::size_t at = placeOf(mixedOf(number));
        while ((m_slots[at] & numberMask()) != number) {
            at = after(at);
        }
        return at;
    }
    void enter(std::size_t number)
    {
        const std::uint32_t mixed = mixedOf(number);
        std::size_t at = placeOf(mixed);
        while (m_slots[at] != 0) {
            at = after(at);
        }
        m_slots[at] = (mixed & ~numberMask()) | static_cast<std::uint32_t>(number);
    }
    /// Frees a slot; those behind it that had to make way move up.
    void freeSlot(std::size_t hole)
    {
        for (std::size_t at = after(hole); m_slots[at] != 0; at = after(at)) {
            const std::size_t wanted = placeOf(mixedOf(m_slots[at] & numberMask()));
            if (((at - wanted) & numberMask()) >= ((at - hole) & numberMask())) {
                m_slots[hole] = m_slots[at];
                hole = at;
            }
        }
        m_slots[hole] = 0;
    }
    void grow()
    {
        m_slots.assign(m_slots.empty() ? kFirstSize : m_slots.size() * 2, 0);
        for (std::size_t number = 1; number <= m_entries.size(); ++number) {
            enter(number);
        }
    }

    /// A power of two of them, at most seven eighths used. Each has the number of its entry, from 1,
    /// in the bits that number the slots, and in the others those of the mixed hash, which tell
    /// nearly always whether to look at the entry; 0 for none.
    std::vector<std::uint32_t> m_slots;
    std::vector<Entry> m_entries;
};
