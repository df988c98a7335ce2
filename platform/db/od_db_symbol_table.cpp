#include "db/od_db_symbol_table.h"

#include "db/od_db_clone_impl.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"

RX_DEFINE_CLASS(OdDbSymbolTableRecord, OdDbObject, odrxCreateNothing, L"OdDbSymbolTableRecord");
RX_DEFINE_CLASS(OdDbSymbolTable, OdDbObject, odrxCreateNothing, L"OdDbSymbolTable");
RX_DEFINE_CLASS(OdDbSymbolTableIterator, OdRxObject, odrxCreateNothing, L"OdDbSymbolTableIterator");

OdDbSymbolTableRecord::OdDbSymbolTableRecord() = default;
OdDbSymbolTableRecord::~OdDbSymbolTableRecord() = default;

OdString OdDbSymbolTableRecord::getName() const
{
    assertReadEnabled();
    return m_name;
}

void OdDbSymbolTableRecord::setName(OdString const& name)
{
    if (name.isEmpty()) {
        throw OdError(kOdInvalidKey);
    }
    assertWriteEnabled();
    if (const OdDbSymbolTablePtr table = openTable(); !table.isNull()) {
        table->rename(objectId(), name);
    }
    m_name = name;
}

/// The table that lists the record, open for write; null for a record that none lists.
OdDbSymbolTablePtr OdDbSymbolTableRecord::openTable() const
{
    return isErased() ? OdDbSymbolTablePtr()
                      : OdDbSymbolTable::cast(ownerId().openObject(OdDb::kForWrite).get());
}

void OdDbSymbolTableRecord::copyFrom(OdRxObject const* source)
{
    const OdDbSymbolTablePtr table = openTable();
    if (table.isNull() || source == nullptr || source->isA() != isA()) {
        OdDbObject::copyFrom(source);
        return;
    }
    const OdString name = static_cast<OdDbSymbolTableRecord const*>(source)->m_name;
    if (name.isEmpty()) {
        throw OdError(kOdInvalidKey);
    }
    table->requireFreeFor(objectId(), name);
    OdDbObject::copyFrom(source);
    table->rename(objectId(), name);
}

OdResult OdDbSymbolTableRecord::subErase(bool erasing)
{
    const OdResult result = OdDbObject::subErase(erasing);
    if (result != kOdOk || erasing) {
        return result;
    }
    const OdDbSymbolTablePtr table =
        OdDbSymbolTable::cast(ownerId().openObject(OdDb::kForRead, /*openErased=*/true).get());
    return !table.isNull() && table->has(m_name) ? kOdDuplicateName : kOdOk;
}

OdResult OdDbSymbolTableRecord::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result == kOdOk) {
        m_name = filer->rdString();
    }
    return result;
}

void OdDbSymbolTableRecord::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    filer->wrString(m_name);
}

OdDbSymbolTable::OdDbSymbolTable() : m_index(*this, &OdDbSymbolTable::desc) {}
OdDbSymbolTable::~OdDbSymbolTable() = default;

OdRxClass* OdDbSymbolTable::recordClass() const
{
    return OdDbSymbolTableRecord::desc();
}

OdDbObjectId OdDbSymbolTable::getAt(OdString const& name, bool openErased) const
{
    assertReadEnabled();
    const OdDbObjectId id = m_index.find(name);
    if (!id.isNull() && !id.isErased()) {
        return id;
    }
    if (!openErased) {
        return OdDbObjectId::kNull;
    }
    return id.isNull() ? m_index.findErased(name) : id;
}

OdDbSymbolTableRecordPtr OdDbSymbolTable::getAt(OdString const& name, OdDb::OpenMode mode) const
{
    return OdDbSymbolTableRecord::cast(getAt(name).openObject(mode).get());
}

bool OdDbSymbolTable::has(OdString const& name) const
{
    return !getAt(name).isNull();
}

OdDbObjectId OdDbSymbolTable::add(OdDbSymbolTableRecord* record)
{
    if (record == nullptr) {
        throw OdError(kOdNullObjectPointer);
    }
    if (!record->isKindOf(recordClass())) {
        throw OdError_NotThatKindOfClass(record->isA(), recordClass());
    }
    OdDbDatabase* db = database();
    if (db == nullptr) {
        throw OdError(kOdNotInDatabase);
    }
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    const OdString name = record->getName();
    if (name.isEmpty()) {
        throw OdError(kOdInvalidKey);
    }
    // Whoever is told of the change may add records himself; names are looked up behind it.
    const OdDbDatabasePtr keptAlive(db);
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    if (has(name)) {
        throw OdError(kOdDuplicateName, name + L": name stands in the table already");
    }
    const OdDbObjectId id = db->addOdDbObject(record, objectId());
    m_index.insertNew(name, id);
    return id;
}

void OdDbSymbolTable::requireFreeFor(OdDbObjectId id, OdString const& name) const
{
    const OdDbObjectId taken = m_index.find(name);
    if (!taken.isNull() && !(taken == id)) {
        throw OdError(kOdDuplicateName, name + L": name stands in the table already");
    }
}

void OdDbSymbolTable::copyFrom(OdRxObject const* source)
{
    if (database() != nullptr) {
        throw OdError(kOdNotApplicable);
    }
    OdDbObject::copyFrom(source);
}

void OdDbSymbolTable::rename(OdDbObjectId id, OdString const& newName)
{
    if (m_index.nameOf(id) == nullptr) {
        return;
    }
    // Whoever is told of the change may change entries himself; they are looked up behind it.
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    OdString const* oldName = m_index.nameOf(id);
    if (oldName == nullptr) {
        return;
    }
    requireFreeFor(id, newName);
    m_index.remove(OdString(*oldName));
    m_index.insert(newName, id);
}

std::uint32_t OdDbSymbolTable::numEntries() const noexcept
{
    return static_cast<std::uint32_t>(m_index.entries().size());
}

OdDbSymbolTableIteratorPtr OdDbSymbolTable::newIterator() const
{
    assertReadEnabled();
    return odrxMake<OdDbSymbolTableIterator>(*this);
}

void OdDbSymbolTable::ownedObjectErased(OdDbObjectId id, bool erasing)
{
    if (!erasing) {
        // The record may have got another name while it was erased.
        const OdDbSymbolTableRecordPtr record =
            OdDbSymbolTableRecord::cast(id.openObject(OdDb::kForRead, /*openErased=*/true).get());
        if (!record.isNull()) {
            m_index.setErasedName(id, record->getName());
        }
    }
    m_index.setErased(id, erasing);
}

void OdDbSymbolTable::ownedObjectLeft(OdDbObjectId id)
{
    m_index.removeId(id);
}

void OdDbSymbolTable::requireReferencesIn(OdDbDatabase const& database) const
{
    OdDbObject::requireReferencesIn(database);
    m_index.requireEmptyFor(database);
}

void OdDbSymbolTable::takeClone(OdDbIdPair const& /*pair*/, OdDbObject& clone,
                                OdDbIdMapping& mapping)
{
    if (!clone.isKindOf(recordClass())) {
        throw OdError_NotThatKindOfClass(clone.isA(), recordClass());
    }
    // Names are looked up behind the notice of the change.
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    auto& record = static_cast<OdDbSymbolTableRecord&>(clone);
    record.m_name = nameForClone(record.m_name, mapping);
    m_index.insertNew(record.m_name, clone.objectId());
}

OdString OdDbSymbolTable::nameForClone(OdString const& name, OdDbIdMapping const& mapping)
{
    OdString result = name;
    if (mapping.duplicateRecordCloning() == OdDb::DuplicateRecordCloning::kDrcUnmangleName) {
        result = odDbUnmangledName(name);
    }
    if (!has(result)) {
        return result;
    }
    return odDbMangledName(odDbManglingPrefix(mapping), name,
                           [this](OdString const& tried) { return has(tried); });
}

OdResult OdDbSymbolTable::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result == kOdOk) {
        m_index.fileIn(*filer, OdDb::ReferenceType::kSoftOwnershipRef);
    }
    return result;
}

void OdDbSymbolTable::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    m_index.fileOut(*filer, OdDb::ReferenceType::kSoftOwnershipRef);
}

void OdDbSymbolTable::applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls)
{
    if (cls != OdDbSymbolTable::desc()) {
        OdDbObject::applyPartialUndo(filer, cls);
        return;
    }
    m_index.applyUndo(*filer);
}

OdDbSymbolTableIterator::OdDbSymbolTableIterator(OdDbSymbolTable const& table)
    : m_table(const_cast<OdDbSymbolTable*>(&table)), m_isInDatabase(table.database() != nullptr)
{
    settle(table.m_index.entries().begin());
}

void OdDbSymbolTableIterator::settle(OdDbNameIndex::Entries::const_iterator at)
{
    auto const& entries = m_table->m_index.entries();
    while (at != entries.end() && at->second.isErased()) {
        ++at;
    }
    m_id = at != entries.end() ? at->second : OdDbObjectId::kNull;
    m_name = at != entries.end() ? at->first : OdString();
}

OdDbObjectId OdDbSymbolTableIterator::getRecordId() const noexcept
{
    // Ids of a database that is gone name nothing.
    return m_isInDatabase && m_table->database() == nullptr ? OdDbObjectId::kNull : m_id;
}

void OdDbSymbolTableIterator::step()
{
    if (!done()) {
        settle(m_table->m_index.entries().upper_bound(m_name));
    }
}

OdDbSymbolTableRecordPtr OdDbSymbolTableIterator::getRecord(OdDb::OpenMode mode) const
{
    return OdDbSymbolTableRecord::cast(getRecordId().openObject(mode).get());
}
