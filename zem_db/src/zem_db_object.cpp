#include "zem_db_object.h"

#include "zem_db_class_info.h"
#include "zem_db_properties_base.h"

ZEM_DEFINE_DB_CLASS(ZemDbObject, OdDbObject, L"ZemDbObject", L"ZEMOBJECT", kZemAppModelObject);

/// The bag of a `ZemDbObject`.
class ZemDbObjectImpl final : public ZemDbPropertiesBase
{
public:
    ZemDbObjectImpl() : ZemDbPropertiesBase(/*config=*/0, /*version=*/0) {}
};

ZemDbObject::ZemDbObject() : m_impl(std::make_unique<ZemDbObjectImpl>()) {}

ZemDbObject::~ZemDbObject() = default;

ZemProperties const& ZemDbObject::getReadProperties() const
{
    assertReadEnabled();
    return m_impl->properties();
}

ZemProperties& ZemDbObject::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return m_impl->properties();
}

OdResult ZemDbObject::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult result = OdDbObject::dwgInFields(filer);
    return result == kOdOk ? m_impl->dwgInFields(filer) : result;
}

void ZemDbObject::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_impl->dwgOutFields(filer);
}
