#include "zem_db_feature_manager.h"

#include "zem_database_utils.h"
#include "zem_db_class_info.h"
#include "zem_db_properties_base.h"

ZEM_DEFINE_DB_CLASS(ZemDbFeatureManager, OdDbObject, L"ZemDbFeatureManager", L"ZEMDBFEATUREMANAGER",
                    kZemAppFeatures);

namespace {

/// \name Names that stand in drawings
/// @{
const OdString s_featureManagerKey(L"FEATURE_MANAGER");
const OdString s_sheetMetalContextKey(L"SheetMetalContext");
/// @}

}  // namespace

/// The bag of a `ZemDbFeatureManager`.
class ZemDbFeatureManagerImpl final : public ZemDbPropertiesBase
{
public:
    ZemDbFeatureManagerImpl() : ZemDbPropertiesBase(kZemPropsDropErasedIds, /*version=*/1) {}
};

ZemDbFeatureManager::ZemDbFeatureManager() : m_impl(std::make_unique<ZemDbFeatureManagerImpl>()) {}

ZemDbFeatureManager::~ZemDbFeatureManager() = default;

ZemProperties const& ZemDbFeatureManager::getReadProperties() const
{
    assertReadEnabled();
    return m_impl->properties();
}

ZemProperties& ZemDbFeatureManager::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return m_impl->properties();
}

OdResult ZemDbFeatureManager::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult result = OdDbObject::dwgInFields(filer);
    return result == kOdOk ? m_impl->dwgInFields(filer) : result;
}

void ZemDbFeatureManager::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_impl->dwgOutFields(filer);
}

OdDbObjectId ZemDbFeatureManager::getInstance(OdDbObjectId const& blockId, bool create)
{
    return zemu::getObjInExtDict(blockId, s_featureManagerKey, create ? desc() : nullptr);
}

OdDbObjectId ZemDbFeatureManager::sheetMetalContext() const
{
    OdDbObjectId context;
    (void)getReadProperties().getProperty(s_sheetMetalContextKey, context);
    return context;
}
