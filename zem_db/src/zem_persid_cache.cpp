#include "zem_persid_cache.h"

#include "zem_db_object_dependency.h"
#include "zem_link_utils.h"

#include <utility>

namespace {

constexpr std::size_t kFirstSlots = 16;

/// Neighbouring indices that share a row of memory, as parts are mostly looked for in order.
constexpr std::uint32_t kGroup = 4;

/// Slots are filled up to five of eight: groups would get in one another's way in a fuller table.
constexpr std::size_t kMaxLoad = 5;
constexpr std::size_t kMaxLoadOf = 8;

std::uint64_t mix(std::uint64_t hash, std::uint64_t value) noexcept
{
    hash = (hash ^ value) * 0x9E3779B97F4A7C15u;
    return hash ^ (hash >> 32);
}

bool leadsTo(ZemDbObjectDependency const& link, ZemCompoundObjectId const& compoundId,
             OdDbSubentId const& subentId)
{
    return link.subentId() == subentId && link.compoundId().compareTo(compoundId) == 0;
}

}  // namespace

std::size_t ZemPersIdCache::SpaceHash::operator()(Space const& space) const noexcept
{
    std::uint64_t hash =
        mix(static_cast<std::uint32_t>(space.type), static_cast<std::uint32_t>(space.highIndex));
    for (unsigned step = 0; step < space.chain.size(); ++step) {
        hash = mix(hash, space.chain.getHandle(step).value());
    }
    return static_cast<std::size_t>(hash);
}

OdSmartPtr<ZemDbObjectDependency> ZemPersIdCache::openLink(OdDbObjectId id)
{
    return ZemDbObjectDependency::cast(zemu::openIfReadable(id, m_hasUnread).get());
}

OdDbObjectId ZemPersIdCache::lookup(ZemCompoundObjectId const& compoundId,
                                    OdDbSubentId const& subentId, OdDbObjectIdArray const& links)
{
    if (m_hasUnread) {
        invalidate();  // or a link that wasn't read would count as seen
    }
    if (m_useMap) {
        const OdDbObjectId known = find(compoundId, subentId);
        if (!known.isNull()) {
            m_lastRequestId = known;
            return known;
        }
        return sweep(compoundId, subentId, links);
    }
    if (!m_lastRequestId.isNull()) {
        const auto last = openLink(m_lastRequestId);
        if (!last.isNull() && leadsTo(*last, compoundId, subentId)) {
            return m_lastRequestId;
        }
    }
    m_remaining = links.size();
    m_useMap = links.size() > kMaxLinksWithoutMap;
    return sweep(compoundId, subentId, links);
}

OdDbObjectId ZemPersIdCache::sweep(ZemCompoundObjectId const& compoundId,
                                   OdDbSubentId const& subentId, OdDbObjectIdArray const& links)
{
    while (m_remaining != 0 && !links.isEmpty()) {
        --m_remaining;
        if (m_nextIndex >= links.size()) {
            m_nextIndex = 0;
        }
        const OdDbObjectId id = links[m_nextIndex++];
        const auto link = openLink(id);
        if (link.isNull()) {
            continue;
        }
        if (m_useMap) {
            enter(link->compoundId(), link->subentId(), id);
        }
        if (leadsTo(*link, compoundId, subentId)) {
            m_lastRequestId = id;
            return id;
        }
    }
    return OdDbObjectId::kNull;
}

void ZemPersIdCache::invalidate() noexcept
{
    if (!m_spaces.empty()) {
        m_spaces.clear();  // goes through its buckets even where they are empty
    }
    m_slots.clear();
    m_used = 0;
    m_useMap = false;
    m_hasUnread = false;
}

void ZemPersIdCache::onDepAdded(OdDbObjectId id) noexcept
{
    invalidate();
    if (m_lastRequestId.isNull()) {
        m_lastRequestId = id;
    }
}

void ZemPersIdCache::onDepRemoved(OdDbObjectId id) noexcept
{
    if (m_lastRequestId == id) {
        clearLastRequestId();
    }
    invalidate();
}

ZemPersIdCache::Space ZemPersIdCache::spaceOf(ZemCompoundObjectId const& compoundId,
                                              OdDbSubentId const& subentId)
{
    return {compoundId, subentId.type(), static_cast<std::int32_t>(subentId.index() >> 32)};
}

OdDbObjectId ZemPersIdCache::find(ZemCompoundObjectId const& compoundId,
                                  OdDbSubentId const& subentId) const
{
    const auto space = m_spaces.find(spaceOf(compoundId, subentId));
    if (space == m_spaces.end()) {
        return OdDbObjectId::kNull;
    }
    return m_slots[slotOf(space->second, static_cast<std::uint32_t>(subentId.index()))].id;
}

/// The slot of a key, or the free one where it would stand.
std::size_t ZemPersIdCache::slotOf(std::uint32_t space, std::uint32_t lowIndex) const noexcept
{
    const std::size_t mask = m_slots.size() - 1;
    const std::uint64_t group = mix(space, lowIndex / kGroup);
    std::size_t at = (static_cast<std::size_t>(group) * kGroup + lowIndex % kGroup) & mask;
    while (!m_slots[at].id.isNull() &&
           !(m_slots[at].space == space && m_slots[at].lowIndex == lowIndex)) {
        at = (at + 1) & mask;
    }
    return at;
}

void ZemPersIdCache::enter(ZemCompoundObjectId const& compoundId, OdDbSubentId const& subentId,
                           OdDbObjectId id)
{
    if (kMaxLoadOf * (m_used + 1) > kMaxLoad * m_slots.size()) {
        grow();
    }
    const auto next = static_cast<std::uint32_t>(m_spaces.size());
    const std::uint32_t space =
        m_spaces.try_emplace(spaceOf(compoundId, subentId), next).first->second;
    const auto lowIndex = static_cast<std::uint32_t>(subentId.index());
    Slot& slot = m_slots[slotOf(space, lowIndex)];
    if (slot.id.isNull()) {  // of several links to one place the first one counts
        slot = {space, lowIndex, id};
        ++m_used;
    }
}

void ZemPersIdCache::grow()
{
    std::vector<Slot> old(m_slots.empty() ? kFirstSlots : 2 * m_slots.size());
    old.swap(m_slots);
    for (Slot const& slot : old) {
        if (!slot.id.isNull()) {
            m_slots[slotOf(slot.space, slot.lowIndex)] = slot;
        }
    }
}
