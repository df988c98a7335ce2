#include "zem_id_list.h"

#include <algorithm>
#include <utility>

namespace {

/// Shorter lists are walked: an index pays for itself only above.
constexpr std::size_t kShortList = 16;

/// In a slot: the position was taken away. The slot stays, so that rows of slots stay whole.
constexpr std::uint32_t kGone = 1u << 31;

/// Spreads the bits of a pointer, whose lowest are all alike.
std::size_t hashOf(OdDbObjectId id) noexcept
{
    OdDbIdRecord const* const record =
        OdDbObjectId::hasRedirections() ? id.redirected() : id.record();
    auto bits = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(record));
    bits *= 0x9E3779B97F4A7C15u;
    return static_cast<std::size_t>(bits >> 32);
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

void ZemIdList::enter(std::uint32_t position) const
{
    std::uint32_t& entry = m_slots[slotOf(std::as_const(m_ids)[position])];
    if (entry != 0 && (entry & kGone) == 0) {
        m_hasRepeats = true;
        return;
    }
    entry = position + 1;
}

void ZemIdList::buildIndex() const
{
    closeGaps();
    std::size_t slots = 4 * kShortList;
    while (slots < m_ids.size() + m_ids.size() / 2) {
        slots *= 2;
    }
    m_hasRepeats = false;
    m_slots.assign(slots, 0);
    for (std::uint32_t position = 0; position < m_ids.size(); ++position) {
        enter(position);
    }
}

void ZemIdList::closeGaps() const
{
    if (m_gaps.empty()) {
        return;
    }
    std::sort(m_gaps.begin(), m_gaps.end());
    OdDbObjectId* const data = m_ids.begin();
    std::uint32_t to = m_gaps.front();
    for (std::size_t gap = 0; gap < m_gaps.size(); ++gap) {
        const std::uint32_t end = gap + 1 < m_gaps.size() ? m_gaps[gap + 1] : m_ids.size();
        to = static_cast<std::uint32_t>(std::move(data + m_gaps[gap] + 1, data + end, data + to) -
                                        data);
    }
    m_ids.resize(to);
    m_gaps.clear();
    m_gaps.shrink_to_fit();
    m_slots.clear();
}

void ZemIdList::invalidate() noexcept
{
    m_gaps.clear();
    m_slots.clear();
    m_slots.shrink_to_fit();
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
    if (m_slots.empty()) {
        if (m_ids.size() <= kShortList && m_gaps.empty()) {
            return m_ids.contains(id);
        }
        buildIndex();
    }
    const std::uint32_t entry = m_slots[slotOf(id)];
    return entry != 0 && (entry & kGone) == 0;
}

void ZemIdList::append(OdDbObjectId id)
{
    m_ids.append(id);
    if (m_slots.empty()) {
        return;
    }
    if (m_ids.size() + m_ids.size() / 2 > m_slots.size()) {
        buildIndex();
        return;
    }
    enter(m_ids.size() - 1);
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
    if (m_slots.empty() || m_hasRepeats) {
        // Which occurrence comes next isn't in the index; lists with repeats are rare.
        closeGaps();
        m_slots.clear();
        return m_ids.remove(id);
    }
    std::uint32_t& entry = m_slots[slotOf(id)];
    m_gaps.push_back(entry - 1);
    entry |= kGone;
    return true;
}

void ZemIdList::clear()
{
    invalidate();
    m_ids.clear();
}
