#include "zem_db_persid_manager.h"

#include "zem_db_class_info.h"
#include "zem_db_properties_base.h"

ZEM_DEFINE_DB_CLASS(ZemDbPersIdManager, OdDbObject, L"ZemDbPersIdManager", L"ZemDbPersIdManager",
                    kZemAppModelData);

/// The bag of a `ZemDbPersIdManager`.
class ZemDbPersIdManagerImpl final : public ZemDbPropertiesBase
{
public:
    ZemDbPersIdManagerImpl() : ZemDbPropertiesBase(kZemPropsDropErasedIds, /*version=*/1) {}
};

ZemDbPersIdManager::ZemDbPersIdManager() : m_impl(std::make_unique<ZemDbPersIdManagerImpl>()) {}

ZemDbPersIdManager::~ZemDbPersIdManager() = default;

ZemProperties const& ZemDbPersIdManager::getReadProperties() const
{
    assertReadEnabled();
    return m_impl->properties();
}

ZemProperties& ZemDbPersIdManager::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return m_impl->properties();
}

OdResult ZemDbPersIdManager::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult result = OdDbObject::dwgInFields(filer);
    return result == kOdOk ? m_impl->dwgInFields(filer) : result;
}

void ZemDbPersIdManager::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_impl->dwgOutFields(filer);
}
