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
        const std::uint32_t tag = tagOf(hash);
        for (std::size_t at = placeOf(tag); m_slots[at].number != 0; at = after(at)) {
            if (m_slots[at].tag == tag) {
                Entry& entry = m_entries[m_slots[at].number - 1];
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
            m_slots[slotOf(m_entries.size())].number = static_cast<std::uint32_t>(number);
            *entry = std::move(m_entries.back());
        }
        m_entries.pop_back();
    }

    /// All entries. Their hashes may not be changed.
    std::vector<Entry>& entries() noexcept { return m_entries; }

private:
    struct Slot
    {
        std::uint32_t tag = 0;     ///< tells the place that the entry wants
        std::uint32_t number = 0;  ///< of the entry, from 1; 0 for none
    };
    static constexpr std::size_t kFirstSize = 16;

    /// Spreads hashes that differ little, as those of addresses do.
    static std::uint32_t tagOf(std::size_t hash) noexcept
    {
        return static_cast<std::uint32_t>(
            (static_cast<std::uint64_t>(hash) * 0x9E3779B97F4A7C15U) >> 32U);
    }
    std::size_t placeOf(std::uint32_t tag) const noexcept { return tag & (m_slots.size() - 1); }
    std::size_t after(std::size_t at) const noexcept { return (at + 1) & (m_slots.size() - 1); }
    std::size_t slotOf(std::size_t number) const noexcept
    {
        std::size_t at = placeOf(tagOf(m_entries[number - 1].hash));
        while (m_slots[at].number != number) {
            at = after(at);
        }
        return at;
    }
    void enter(std::size_t number)
    {
        const std::uint32_t tag = tagOf(m_entries[number - 1].hash);
        std::size_t at = placeOf(tag);
        while (m_slots[at].number != 0) {
            at = after(at);
        }
        m_slots[at] = {tag, static_cast<std::uint32_t>(number)};
    }
    /// Frees a slot; those behind it that had to make way move up.
    void freeSlot(std::size_t hole)
    {
        const std::size_t mask = m_slots.size() - 1;
        for (std::size_t at = after(hole); m_slots[at].number != 0; at = after(at)) {
            const std::size_t wanted = placeOf(m_slots[at].tag);
            if (((at - wanted) & mask) >= ((at - hole) & mask)) {
                m_slots[hole] = m_slots[at];
                hole = at;
            }
        }
        m_slots[hole] = {};
    }
    void grow()
    {
        m_slots.assign(m_slots.empty() ? kFirstSize : m_slots.size() * 2, {});
        for (std::size_t number = 1; number <= m_entries.size(); ++number) {
            enter(number);
        }
    }

    std::vector<Slot> m_slots;  ///< a power of two of them, at most seven eighths used
    std::vector<Entry> m_entries;
};
