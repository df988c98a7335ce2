#include "db/od_db_object_store.h"

#include "db/od_db_database_impl.h"

RX_DEFINE_CLASS(OdDbStoredObjectFiler, OdDbDwgFiler, odrxCreateNothing, L"OdDbStoredObjectFiler");

OdDbObjectStore::~OdDbObjectStore() = default;

void OdDbStorageAccess::attachStore(std::unique_ptr<OdDbObjectStore> store)
{
    m_database.impl().store = std::move(store);
}

OdDbObjectStore* OdDbStorageAccess::store() const noexcept
{
    return m_database.impl().store.get();
}

std::uint32_t OdDbStorageAccess::addClass(OdDbClassRecord const& record)
{
    return m_database.impl().addClass(record);
}

void OdDbStorageAccess::renewClass(std::uint32_t index)
{
    if (OdRxClass const* const cls = m_database.impl().registeredClass(index)) {
        (void)m_database.impl().classIndexOf(cls);
    }
}

void OdDbStorageAccess::setHandseed(OdDbHandle seed) noexcept
{
    m_database.impl().handseed = seed.value();
}

OdDbObjectId OdDbStorageAccess::idOf(OdDbHandle handle)
{
    return handle.isNull() ? OdDbObjectId::kNull
                           : OdDbObjectId(&m_database.impl().ids.get(handle.value()));
}

std::vector<std::uint64_t> OdDbStorageAccess::changedBlocks() const
{
    return m_database.impl().ids.changedBlocks();
}

std::vector<std::uint64_t> OdDbStorageAccess::knownBlocks() const
{
    return m_database.impl().ids.knownBlocks();
}

OdDbObjectState OdDbStorageAccess::state(OdDbHandle handle) const
{
    OdDbIdRecord const* record = m_database.impl().ids.find(handle.value());
    if (record == nullptr) {
        return {};
    }
    return {record->object,
            record->classIndex,
            record->residency,
            record->has(OdDbIdRecord::kChanged),
            record->has(OdDbIdRecord::kErased),
            record->has(OdDbIdRecord::kPartlyRead)};
}

bool OdDbStorageAccess::isHeaderChanged() const noexcept
{
    return m_database.impl().headerChanged;
}

bool OdDbStorageAccess::isEmptied() const noexcept
{
    return m_database.impl().isEmptied;
}

bool OdDbStorageAccess::beginSaving()
{
    OdDbDatabaseImpl& impl = m_database.impl();
    if (impl.ids.isSaving()) {
        return false;
    }
    impl.headerChangedInSave = false;
    impl.ids.beginSaving();
    return true;
}

void OdDbStorageAccess::endSaving() noexcept
{
    m_database.impl().ids.endSaving();
}

void OdDbStorageAccess::markSaved()
{
    OdDbDatabaseImpl& impl = m_database.impl();
    impl.ids.clearChanged();
    impl.headerChanged = impl.ids.isSaving() && impl.headerChangedInSave;
}

std::vector<OdDbStorageAccess::Damage> const& OdDbStorageAccess::damages() const noexcept
{
    return m_database.impl().damages;
}
