#include "db/od_db_id_mapping.h"

#include "db/od_db_clone_impl.h"
#include "db/od_db_database_impl.h"
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
    // One that others count, as on the stack, never came to its last release.
    if (m_operation != nullptr) {
        ++m_refs;
        m_operation->finishLeftOver();
    }
}

void OdDbIdMapping::release()
{
    if (m_refs == 1 && m_operation != nullptr) {
        m_operation->finishLeftOver();  // classes may take references now, and keep them
    }
    if (--m_refs == 0) {
        delete this;
    }
}

void OdDbIdMapping::setOrigDb(OdDbDatabase* database)
{
    m_origDb = database;
}

void OdDbIdMapping::setDestDb(OdDbDatabase* database)
{
    m_destDb = database;
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

OdDbIdMapping::Slot* OdDbIdMapping::slotOf(OdDbIdRecord const* record) const noexcept
{
    if (record == nullptr || m_table.empty()) {
        return nullptr;
    }
    Page* page = m_table[placeOf(&OdDbIdBlock::of(*record))].page;
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
        keep(&record);  // pages are found by address, which must not come to be that of other ids
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
    OdDbIdRecord const* value = pair.value().redirected();
    keep(pair.key().record());
    keep(pair.value().record());
    keep(value);
    Slot* const cloneSlot = pair.isCloned() && value != nullptr ? &slotFor(*value) : nullptr;
    Slot& slot = slotFor(*key);
    if (slot.pairNumber == 0) {
        m_pairs.push_back(pair);
        slot.pairNumber = static_cast<std::uint32_t>(m_pairs.size());
    } else {
        const std::size_t place = slot.pairNumber - 1;
        if (m_operation != nullptr && m_operation->isUnderWay()) {
            m_replaced.push_back({place, m_pairs[place]});
        }
        m_pairs[place] = pair;
    }
    slot.value = pair.value();
    if (cloneSlot != nullptr) {
        cloneSlot->epoch = m_epoch;
    }
}

/// Keeps the database of an id alive.
void OdDbIdMapping::keep(OdDbIdRecord const* record)
{
    if (record == nullptr || OdDbIdBlock::of(*record).database == m_lastKept) {
        return;
    }
    OdDbDatabaseImpl const* impl = OdDbIdBlock::of(*record).database;
    OdDbDatabase& database = impl->database;
    if (std::find(m_kept.begin(), m_kept.end(), &database) == m_kept.end()) {
        m_kept.emplace_back(&database);
    }
    m_lastKept = impl;
}

void OdDbIdMapping::rollBack(Mark const& mark) noexcept
{
    while (m_replaced.size() > mark.replaced) {
        Replaced const& last = m_replaced.back();
        if (last.place < mark.pairs) {
            restore(last.place, last.before);
        }
        m_replaced.pop_back();
    }
    while (m_pairs.size() > mark.pairs) {
        restore(m_pairs.size() - 1, OdDbIdPair());
        m_pairs.pop_back();
    }
}

/// Puts back what a place held; a pair without key for nothing.
void OdDbIdMapping::restore(std::size_t place, OdDbIdPair const& before) noexcept
{
    OdDbIdPair& pair = m_pairs[place];
    if (pair.isCloned() && !(pair.value() == before.value())) {
        forgetClone(pair.value());
    }
    if (Slot* slot = slotOf(pair.key().redirected())) {
        slot->value = before.value();
        slot->pairNumber = before.key().isNull() ? 0 : slot->pairNumber;
    }
    pair = before;
}

void OdDbIdMapping::forgetClone(OdDbObjectId value) noexcept
{
    if (Slot* slot = slotOf(value.redirected())) {
        slot->epoch = 0;
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
