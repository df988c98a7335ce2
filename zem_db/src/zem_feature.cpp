#include "zem_feature.h"

#include "zem_db_class_info.h"
#include "zem_db_properties_base.h"

RX_DEFINE_CLASS(ZemFeature, OdRxObject, odrxCreate<ZemFeature>, L"ZemFeature");
ZEM_DEFINE_DB_CLASS(ZemDbFeatureData, OdDbObject, L"ZemDbFeatureData", L"ZEMDBFEATUREDATA",
                    kZemAppFeatures);

/// The bag of a `ZemDbFeatureData`.
class ZemDbFeatureDataImpl final : public ZemDbPropertiesBase
{
public:
    ZemDbFeatureDataImpl() : ZemDbPropertiesBase(/*config=*/0, /*version=*/1) {}
};

ZemFeature::~ZemFeature() = default;

ZemFeaturePtr ZemFeature::createObject()
{
    return odrxMake<ZemFeature>();
}

ZemDbFeatureData::ZemDbFeatureData() : m_impl(std::make_unique<ZemDbFeatureDataImpl>()) {}

ZemDbFeatureData::~ZemDbFeatureData() = default;

ZemProperties const& ZemDbFeatureData::getReadProperties() const
{
    assertReadEnabled();
    return m_impl->properties();
}

ZemProperties& ZemDbFeatureData::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return m_impl->properties();
}

OdResult ZemDbFeatureData::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult result = OdDbObject::dwgInFields(filer);
    return result == kOdOk ? m_impl->dwgInFields(filer) : result;
}

void ZemDbFeatureData::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_impl->dwgOutFields(filer);
}
