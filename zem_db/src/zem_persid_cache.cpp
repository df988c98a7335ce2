#include "zem_persid_cache.h"

#include "zem_db_object_dependency.h"

#include <utility>

namespace {

constexpr std::size_t kFirstSlots = 16;

std::uint64_t mix(std::uint64_t hash, std::uint64_t value) noexcept
{
    hash = (hash ^ value) * 0x9E3779B97F4A7C15u;
    return hash ^ (hash >> 32);
}

OdSmartPtr<ZemDbObjectDependency> openLink(OdDbObjectId id)
{
    return ZemDbObjectDependency::cast(id.openObject(OdDb::kForRead).get());
}

bool leadsTo(ZemDbObjectDependency const& link, ZemCompoundObjectId const& compoundId,
             OdDbSubentId const& subentId)
{
    return link.subentId() == subentId && link.compoundId().compareTo(compoundId) == 0;
}

}  // namespace

std::size_t ZemPersIdCache::ChainHash::operator()(ZemCompoundObjectId const& chain) const noexcept
{
    std::uint64_t hash = chain.size();
    for (unsigned step = 0; step < chain.size(); ++step) {
        hash = mix(hash, chain.getHandle(step).value());
    }
    return static_cast<std::size_t>(hash);
}

OdDbObjectId ZemPersIdCache::lookup(ZemCompoundObjectId const& compoundId,
                                    OdDbSubentId const& subentId, OdDbObjectIdArray const& links)
{
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
    m_chains.clear();
    m_slots.clear();
    m_used = 0;
    m_useMap = false;
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

OdDbObjectId ZemPersIdCache::find(ZemCompoundObjectId const& compoundId,
                                  OdDbSubentId const& subentId) const noexcept
{
    const auto chain = m_chains.find(compoundId);
    return chain == m_chains.end() || m_slots.empty() ? OdDbObjectId::kNull
                                                      : slotOf(chain->second, subentId).id;
}

/// The slot of a key, or the free one where it would stand.
ZemPersIdCache::Slot& ZemPersIdCache::slotOf(std::uint32_t chain,
                                             OdDbSubentId const& subentId) const noexcept
{
    const std::size_t mask = m_slots.size() - 1;
    const std::uint64_t hash = mix(mix(chain, static_cast<std::uint32_t>(subentId.type())),
                                   static_cast<std::uint64_t>(subentId.index()));
    std::size_t at = static_cast<std::size_t>(hash) & mask;
    while (!m_slots[at].id.isNull() &&
           !(m_slots[at].chain == chain && m_slots[at].type == subentId.type() &&
             m_slots[at].index == subentId.index())) {
        at = (at + 1) & mask;
    }
    return m_slots[at];
}

void ZemPersIdCache::enter(ZemCompoundObjectId const& compoundId, OdDbSubentId const& subentId,
                           OdDbObjectId id)
{
    if (4 * (m_used + 1) > 3 * m_slots.size()) {
        grow();
    }
    const auto next = static_cast<std::uint32_t>(m_chains.size());
    const std::uint32_t chain = m_chains.try_emplace(compoundId, next).first->second;
    Slot& slot = slotOf(chain, subentId);
    if (!slot.id.isNull()) {
        return;  // of several links to one place the first one counts
    }
    slot.index = subentId.index();
    slot.chain = chain;
    slot.type = subentId.type();
    slot.id = id;
    ++m_used;
}

void ZemPersIdCache::grow()
{
    std::vector<Slot> old(m_slots.empty() ? kFirstSlots : 2 * m_slots.size());
    old.swap(m_slots);
    for (Slot const& slot : old) {
        if (!slot.id.isNull()) {
            slotOf(slot.chain, OdDbSubentId(slot.type, slot.index)) = slot;
        }
    }
}
