#include "db/od_db_id_mapping.h"

#include "db/od_db_clone_impl.h"
#include "db/od_db_id_table_impl.h"
#include "root/od_error.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

RX_DEFINE_CLASS(OdDbIdMapping, OdRxObject, odrxCreate<OdDbIdMapping>, L"OdDbIdMapping");
RX_DEFINE_CLASS(OdDbIdMappingIterator, OdRxObject, odrxCreateNothing, L"OdDbIdMappingIterator");
RX_DEFINE_CLASS(OdDbDeepCloneFiler, OdDbMemoryFiler, odrxCreateNothing, L"OdDbDeepCloneFiler");

struct OdDbIdMapping::Page
{
    std::array<Slot, OdDbStorageAccess::kHandlesInBlock> slots;
};

OdDbIdMapping::OdDbIdMapping() = default;

OdDbIdMapping::~OdDbIdMapping()
{
    if (m_operation != nullptr) {
        m_operation->finishLeftOver();
    }
}

OdDbIdMappingPtr OdDbIdMapping::createObject()
{
    return odrxMake<OdDbIdMapping>();
}

OdDbCloneOperation& OdDbIdMapping::operation()
{
    if (m_operation == nullptr) {
        m_operation = std::make_unique<OdDbCloneOperation>(*this);
    }
    return *m_operation;
}

/// The place of a block's page, or the free one where it would lie. There is always a free one.
std::size_t OdDbIdMapping::placeOf(OdDbIdBlock const* block) const noexcept
{
    constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15U;
    const std::size_t mask = m_table.size() - 1;
    const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(block));
    std::size_t place = static_cast<std::size_t>((address * kSpread) >> 20) & mask;
    while (m_table[place].block != nullptr && m_table[place].block != block) {
        place = (place + 1) & mask;
    }
    return place;
}

OdDbIdMapping::Slot const* OdDbIdMapping::slotOf(OdDbIdRecord const* record) const noexcept
{
    if (record == nullptr || m_table.empty()) {
        return nullptr;
    }
    Page const* page = m_table[placeOf(&OdDbIdBlock::of(*record))].page;
    return page != nullptr ? &page->slots[record->slot] : nullptr;
}

void OdDbIdMapping::grow()
{
    constexpr std::size_t kFirstSize = 16;
    const std::size_t size = m_table.empty() ? kFirstSize : m_table.size() * 2;
    const std::vector<Place> old = std::exchange(m_table, std::vector<Place>(size));
    for (Place const& place : old) {
        if (place.block != nullptr) {
            m_table[placeOf(place.block)] = place;
        }
    }
}

OdDbIdMapping::Slot& OdDbIdMapping::slotFor(OdDbIdRecord const& record)
{
    if (m_pages.size() * 2 >= m_table.size()) {
        grow();
    }
    OdDbIdBlock const& block = OdDbIdBlock::of(record);
    Place& place = m_table[placeOf(&block)];
    if (place.block == nullptr) {
        m_pages.push_back(std::make_unique<Page>());
        place = {&block, m_pages.back().get()};
    }
    return place.page->slots[record.slot];
}

OdDbIdPair const* OdDbIdMapping::find(OdDbObjectId key) const noexcept
{
    Slot const* slot = slotOf(key.redirected());
    return slot != nullptr && slot->pairNumber != 0 ? &m_pairs[slot->pairNumber - 1] : nullptr;
}

bool OdDbIdMapping::isValue(OdDbObjectId id) const noexcept
{
    Slot const* slot = slotOf(id.redirected());
    return slot != nullptr && slot->epoch == m_epoch;
}

bool OdDbIdMapping::translate(OdDbObjectId id, OdDbObjectId& result) const noexcept
{
    Slot const* slot = slotOf(id.redirected());
    if (slot == nullptr || (slot->epoch != m_epoch && slot->pairNumber == 0)) {
        return false;
    }
    result = slot->epoch == m_epoch ? id : slot->value;
    return true;
}

bool OdDbIdMapping::compute(OdDbIdPair& pair) const
{
    OdDbIdPair const* found = find(pair.key());
    if (found == nullptr) {
        return false;
    }
    pair = *found;
    return true;
}

void OdDbIdMapping::assign(OdDbIdPair const& pair)
{
    OdDbIdRecord const* key = pair.key().redirected();
    if (key == nullptr) {
        return;  // nothing is known under the null id
    }
    Slot& slot = slotFor(*key);
    if (slot.pairNumber != 0) {
        m_pairs[slot.pairNumber - 1] = pair;
    } else {
        m_pairs.push_back(pair);
        slot.pairNumber = static_cast<std::uint32_t>(m_pairs.size());
    }
    slot.value = pair.value();
    OdDbIdRecord const* value = pair.value().redirected();
    if (pair.isCloned() && value != nullptr) {
        slotFor(*value).epoch = m_epoch;
    }
}

void OdDbIdMapping::dropPairs(std::size_t count)
{
    std::vector<OdDbIdPair> pairs = std::exchange(m_pairs, {});
    pairs.resize(std::min(count, pairs.size()));
    // Clones that wait since an earlier operation still stand in the destination.
    std::vector<OdDbObjectId> values;
    for (OdDbIdPair const& pair : pairs) {
        if (isValue(pair.value()) && !pair.value().isErased()) {
            values.push_back(pair.value());
        }
    }
    m_pages.clear();
    m_table.clear();
    ++m_epoch;
    for (OdDbIdPair const& pair : pairs) {
        if (!pair.isCloned() || !pair.value().isErased()) {
            assign(pair);
        }
    }
    ++m_epoch;
    for (OdDbObjectId id : values) {
        slotFor(*id.redirected()).epoch = m_epoch;
    }
}

OdSmartPtr<OdDbIdMappingIterator> OdDbIdMapping::newIterator() const
{
    return odrxMake<OdDbIdMappingIterator>(*this);
}

OdDbIdMappingIterator::OdDbIdMappingIterator(OdDbIdMapping const& mapping)
    : m_mapping(const_cast<OdDbIdMapping*>(&mapping))
{
}

bool OdDbIdMappingIterator::done() const
{
    return m_at >= m_mapping->m_pairs.size();
}

void OdDbIdMappingIterator::next()
{
    ++m_at;
}

OdDbIdPair OdDbIdMappingIterator::getMap() const
{
    if (done()) {
        throw OdError_InvalidIndex();
    }
    return m_mapping->m_pairs[m_at];
}
