#include "db/od_db_id_mapping.h"

#include "db/od_db_clone_impl.h"
#include "db/od_db_database_impl.h"
#include "root/od_error.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <utility>

RX_DEFINE_CLASS(OdDbIdMapping, OdRxObject, odrxCreate<OdDbIdMapping>, L"OdDbIdMapping");
RX_DEFINE_CLASS(OdDbIdMappingIterator, OdRxObject, odrxCreateNothing, L"OdDbIdMappingIterator");
RX_DEFINE_CLASS(OdDbDeepCloneFiler, OdDbMemoryFiler, odrxCreateNothing, L"OdDbDeepCloneFiler");

namespace {

/// How many slots a page has. Larger pages would cost a mapping of few objects too much, smaller ones
/// make the table of the pages too large for the processor's nearest caches.
constexpr std::size_t kSlotsInPage = 256;
/// Addresses that share a page.
constexpr std::uintptr_t kWindow = sizeof(OdDbIdRecord) * kSlotsInPage;

std::uintptr_t windowOf(OdDbIdRecord const* record) noexcept
{
    return reinterpret_cast<std::uintptr_t>(record) / kWindow;
}

/// Records lie at least their size apart, so no two of one window have the same.
std::size_t slotIn(OdDbIdRecord const* record) noexcept
{
    return reinterpret_cast<std::uintptr_t>(record) % kWindow / sizeof(OdDbIdRecord);
}

/// The record behind any redirection; the record of the id isn't looked at while there are none.
OdDbIdRecord const* recordOf(OdDbObjectId id) noexcept
{
    return OdDbObjectId::hasRedirections() ? id.redirected() : id.record();
}

}  // namespace

struct OdDbIdMapping::Page
{
    std::array<Slot, kSlotsInPage> slots;
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

/// The place of a window's page, or the free one where it would lie. There is always a free one.
std::size_t OdDbIdMapping::placeOf(std::uintptr_t window) const noexcept
{
    constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15U;
    const std::size_t mask = m_table.size() - 1;
    std::size_t place = static_cast<std::size_t>((window * kSpread) >> 20) & mask;
    while (m_table[place].page != nullptr && m_table[place].window != window) {
        place = (place + 1) & mask;
    }
    return place;
}

OdDbIdMapping::Slot* OdDbIdMapping::slotOf(OdDbIdRecord const* record) const noexcept
{
    if (record == nullptr || m_table.empty()) {
        return nullptr;
    }
    Page* page = m_table[placeOf(windowOf(record))].page;
    return page != nullptr ? &page->slots[slotIn(record)] : nullptr;
}

void OdDbIdMapping::grow()
{
    constexpr std::size_t kFirstSize = 16;
    const std::size_t size = m_table.empty() ? kFirstSize : m_table.size() * 2;
    const std::vector<Place> old = std::exchange(m_table, std::vector<Place>(size));
    for (Place const& place : old) {
        if (place.page != nullptr) {
            m_table[placeOf(place.window)] = place;
        }
    }
}

OdDbIdMapping::Slot& OdDbIdMapping::slotFor(OdDbIdRecord const& record)
{
    if (m_pages.size() * 2 >= m_table.size()) {
        grow();
    }
    const std::uintptr_t window = windowOf(&record);
    Place& place = m_table[placeOf(window)];
    if (place.page == nullptr) {
        m_pages.push_back(std::make_unique<Page>());
        place = {window, m_pages.back().get()};
    }
    return place.page->slots[slotIn(&record)];
}

OdDbIdPair const* OdDbIdMapping::find(OdDbObjectId key) const noexcept
{
    Slot const* slot = slotOf(recordOf(key));
    return slot != nullptr && slot->pairNumber != 0 ? &m_pairs[slot->pairNumber - 1] : nullptr;
}

bool OdDbIdMapping::isValue(OdDbObjectId id) const noexcept
{
    Slot const* slot = slotOf(recordOf(id));
    return slot != nullptr && slot->epoch == m_epoch;
}

bool OdDbIdMapping::translate(OdDbObjectId id, OdDbObjectId& result) const noexcept
{
    Slot const* slot = slotOf(recordOf(id));
    if (slot == nullptr || (slot->epoch != m_epoch && slot->pairNumber == 0)) {
        return false;
    }
    result = slot->epoch == m_epoch ? id : slot->value;
    return true;
}

void OdDbIdMapping::expect(OdDbObjectId id) const noexcept
{
    if (Slot const* slot = slotOf(recordOf(id))) {
        __builtin_prefetch(slot);
    }
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
    OdDbIdRecord const* key = recordOf(pair.key());
    if (key == nullptr) {
        return;  // nothing is known under the null id
    }
    OdDbIdRecord const* value = recordOf(pair.value());
    // Slots are found by address, which must not come to be that of other ids.
    for (OdDbIdRecord const* record : std::initializer_list<OdDbIdRecord const*>{
             pair.key().record(), key, pair.value().record(), value}) {
        keep(record);
    }
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
    if (Slot* slot = slotOf(recordOf(pair.key()))) {
        slot->value = before.value();
        slot->pairNumber = before.key().isNull() ? 0 : slot->pairNumber;
    }
    pair = before;
}

void OdDbIdMapping::forgetClone(OdDbObjectId value) noexcept
{
    if (Slot* slot = slotOf(recordOf(value))) {
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
