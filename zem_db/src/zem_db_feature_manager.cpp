#include "zem_db_feature_manager.h"

#include "db/od_db_database.h"

#include "zem_database_utils.h"
#include "zem_db_class_info.h"
#include "zem_db_properties_base.h"
#include "zem_db_sheet_metal_context.h"
#include "zem_dependencies_replacement_map.h"
#include "zem_feature.h"
#include "zem_naming_service.h"
#include "zem_protocol_extensions.h"

#include <utility>

ZEM_DEFINE_DB_CLASS(ZemDbFeatureManager, OdDbObject, L"ZemDbFeatureManager", L"ZEMDBFEATUREMANAGER",
                    kZemAppFeatures);

namespace {

/// \name Names that stand in drawings
/// @{
const OdString s_featureManagerKey(L"FEATURE_MANAGER");
const OdString s_featuresKey(L"Features");
const OdString s_sheetMetalContextKey(L"SheetMetalContext");
const OdString s_featureNameKey(L"Name");
/// @}

}  // namespace

/// The bag of a `ZemDbFeatureManager`.
class ZemDbFeatureManagerImpl final : public ZemDbPropertiesBase
{
public:
    ZemDbFeatureManagerImpl() : ZemDbPropertiesBase(kZemPropsDropErasedIds, /*version=*/1) {}
};

/// Collects the names of a manager's features.
class ZemDbFeatureManager::NamingService final : public ZemNamingService
{
public:
    explicit NamingService(ZemDbFeatureManager& manager) : m_manager(manager) {}

protected:
    void fillCacheImpl() override
    {
        OdDbObjectIdArray features;
        (void)m_manager.m_impl->properties().getProperty(s_featuresKey, features);
        for (OdDbObjectId id : std::as_const(features)) {
            const auto feature = ZemDbFeatureData::cast(id.openObject(OdDb::kForRead).get());
            OdString name;
            if (!feature.isNull() &&
                feature->getReadProperties().getProperty(s_featureNameKey, name)) {
                cacheName(name);
            }
        }
    }

private:
    ZemDbFeatureManager& m_manager;
};

ZemDbFeatureManager::ZemDbFeatureManager()
    : m_impl(std::make_unique<ZemDbFeatureManagerImpl>()),
      m_namingService(std::make_unique<NamingService>(*this))
{
}

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
    m_namingService->invalidateCache();
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

bool ZemDbFeatureManager::updateFeaturesAfterRemapping(
    ZemDependenciesReplacementMap& replacements, bool /*constraintsWereCalculated*/,
    bool /*constraintsWereCalculatedSuccessfully*/, bool /*autoupdate*/, bool sheetMetal)
{
    assertReadEnabled();
    if (!sheetMetal || replacements.isEmpty() || database() == nullptr) {
        return false;
    }
    const auto context = ZemDbSheetMetalContext::cast(
        ZemDbSheetMetalContext::getInstance(database()->getModelSpaceId())
            .openObject(OdDb::kForWrite)
            .get());
    const auto host = ZemDbSheetMetalContextPE::cast(context.get());
    return !host.isNull() && host->updateAfterRemapping(context.get(), replacements.modifiedEnts());
}
