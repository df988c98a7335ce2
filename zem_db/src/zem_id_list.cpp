#include "zem_id_list.h"

#include <algorithm>
#include <utility>

namespace {

using Positions = std::vector<std::uint32_t>;

/// Shorter lists are walked: an index pays for itself only above.
constexpr std::size_t kShortList = 16;

/// In a slot: the position was taken away. The slot stays, so that rows of slots stay whole.
constexpr std::uint32_t kGone = 1u << 31;

/// Ids with neighbouring handles lie side by side in memory: they get slots side by side, in rows
/// that are spread.
std::size_t hashOf(OdDbObjectId id) noexcept
{
    constexpr unsigned kRecordBits = 4;  // records lie 16 bytes apart, mostly
    constexpr std::uint64_t kRow = 8;
    OdDbIdRecord const* const record =
        OdDbObjectId::hasRedirections() ? id.redirected() : id.record();
    const auto number =
        static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(record)) >> kRecordBits;
    const std::uint64_t row = (number / kRow * 0x9E3779B97F4A7C15u) >> 32;
    return static_cast<std::size_t>(row * kRow + number % kRow);
}

}  // namespace

std::size_t ZemIdList::slotOf(OdDbObjectId id) const noexcept
{
    const std::size_t mask = m_slots.size() - 1;
    std::size_t slot = hashOf(id) & mask;
    while (m_slots[slot] != 0 && !(std::as_const(m_ids)[(m_slots[slot] & ~kGone) - 1] == id)) {
        slot = (slot + 1) & mask;
    }
    return slot;
}

/// Whether there are an index and gaps that belong to the array as it is now. If there are such of
/// another one, they are given up.
bool ZemIdList::isIndexed() const noexcept
{
    if (m_slots.empty()) {
        return false;
    }
    OdDbObjectIdArray const& now = m_ids;
    OdDbObjectIdArray const& then = m_indexed;
    if (now.size() != then.size() || now.asArrayPtr() != then.asArrayPtr()) {
        invalidate();
        return false;
    }
    return true;
}

std::size_t ZemIdList::size() const noexcept
{
    return isIndexed() ? m_ids.size() - m_gaps.size() : m_ids.size();
}

void ZemIdList::buildIndex() const
{
    closeGaps();
    std::size_t slots = 4 * kShortList;
    while (slots < m_ids.size() + m_ids.size() / 2) {
        slots *= 2;
    }
    m_next.clear();
    m_slots.assign(slots, 0);
    // From behind: each slot ends with the first occurrence, and each occurrence leads to the next.
    for (std::uint32_t position = m_ids.size(); position-- > 0;) {
        std::uint32_t& entry = m_slots[slotOf(std::as_const(m_ids)[position])];
        if (entry != 0) {
            m_next.resize(m_ids.size());
            m_next[position] = entry;
        }
        entry = position + 1;
    }
    note();
}

void ZemIdList::closeGaps() const
{
    if (!isIndexed() || m_gaps.empty()) {
        return;
    }
    std::vector<std::uint32_t> gaps = std::move(m_gaps);
    invalidate();
    std::sort(gaps.begin(), gaps.end());
    OdDbObjectId* const data = m_ids.begin();
    std::uint32_t to = gaps.front();
    for (std::size_t gap = 0; gap < gaps.size(); ++gap) {
        const std::uint32_t end = gap + 1 < gaps.size() ? gaps[gap + 1] : m_ids.size();
        to = static_cast<std::uint32_t>(std::move(data + gaps[gap] + 1, data + end, data + to) -
                                        data);
    }
    m_ids.resize(to);
}

void ZemIdList::invalidate() const noexcept
{
    m_indexed = OdDbObjectIdArray();
    m_gaps = Positions();
    m_slots = Positions();
    m_next = Positions();
}

OdDbObjectIdArray const& ZemIdList::ids() const
{
    closeGaps();
    return m_ids;
}

OdDbObjectIdArray& ZemIdList::bulk()
{
    closeGaps();
    invalidate();
    return m_ids;
}

bool ZemIdList::contains(OdDbObjectId id) const
{
    if (!isIndexed()) {
        if (m_ids.size() <= kShortList) {
            return m_ids.contains(id);
        }
        buildIndex();
    }
    const std::uint32_t entry = m_slots[slotOf(id)];
    return entry != 0 && (entry & kGone) == 0;
}

void ZemIdList::append(OdDbObjectId id)
{
    const bool isKnown = isIndexed();
    m_indexed = OdDbObjectIdArray();  // or the array would be copied
    m_ids.append(id);
    if (!isKnown) {
        return;
    }
    note();
    if (m_ids.size() + m_ids.size() / 2 > m_slots.size()) {
        buildIndex();
        return;
    }
    std::uint32_t& entry = m_slots[slotOf(id)];
    if (entry != 0 && (entry & kGone) == 0) {
        (void)bulk();  // where the last occurrence is, which would lead to this one, isn't known
        return;
    }
    entry = m_ids.size();
}

void ZemIdList::append(OdDbObjectIdArray const& ids)
{
    for (OdDbObjectId id : ids) {
        append(id);
    }
}

bool ZemIdList::removeFirst(OdDbObjectId id)
{
    if (!contains(id)) {
        return false;
    }
    if (m_slots.empty()) {
        return bulk().remove(id);
    }
    std::uint32_t& entry = m_slots[slotOf(id)];
    const std::uint32_t position = entry - 1;
    m_gaps.push_back(position);
    const std::uint32_t next = position < m_next.size() ? m_next[position] : 0;
    entry = next != 0 ? next : entry | kGone;
    return true;
}

void ZemIdList::clear()
{
    bulk().clear();
}
