#include "zem_db_sheet_metal_context.h"

#include "zem_db_class_info.h"
#include "zem_db_feature_manager.h"
#include "zem_db_properties_base.h"

ZEM_DEFINE_DB_CLASS(ZemDbSheetMetalContext, OdDbObject, L"ZemDbSheetMetalContext",
                    L"ZEMDBSHEETMETALCONTEXT", kZemAppFeatures);

namespace {

/// Key of the thickness variable in the bag, which stands in drawings.
const OdString s_thicknessVarIdKey(L"ThicknessVar");

}  // namespace

/// The bag of a `ZemDbSheetMetalContext`.
class ZemDbSheetMetalContextImpl final : public ZemDbPropertiesBase
{
public:
    ZemDbSheetMetalContextImpl() : ZemDbPropertiesBase(/*config=*/0, /*version=*/1) {}
};

ZemDbSheetMetalContext::ZemDbSheetMetalContext()
    : m_impl(std::make_unique<ZemDbSheetMetalContextImpl>())
{
}

ZemDbSheetMetalContext::~ZemDbSheetMetalContext() = default;

ZemProperties const& ZemDbSheetMetalContext::getReadProperties() const
{
    assertReadEnabled();
    return m_impl->properties();
}

ZemProperties& ZemDbSheetMetalContext::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return m_impl->properties();
}

OdResult ZemDbSheetMetalContext::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult result = OdDbObject::dwgInFields(filer);
    return result == kOdOk ? m_impl->dwgInFields(filer) : result;
}

void ZemDbSheetMetalContext::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_impl->dwgOutFields(filer);
}

OdDbObjectId ZemDbSheetMetalContext::getInstance(OdDbObjectId const& blockId)
{
    const OdDbObjectId id = ZemDbFeatureManager::getInstance(blockId, /*create=*/false);
    const auto manager = ZemDbFeatureManager::cast(id.openObject(OdDb::kForRead).get());
    return manager.isNull() ? OdDbObjectId::kNull : manager->sheetMetalContext();
}

OdDbObjectId ZemDbSheetMetalContext::getThicknessParameter() const
{
    OdDbObjectId variable;
    (void)getReadProperties().getProperty(s_thicknessVarIdKey, variable);
    return variable;
}
