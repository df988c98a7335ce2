#include "zem_db_object_dependency.h"

#include "zem_db_class_info.h"

ZEM_DEFINE_DB_CLASS(ZemDbObjectDependency, OdDbObject, L"ZemDbObjectDependency",
                    L"ZEMDBOBJECTDEPENDENCY", kZemAppConstraints);

ZemDbObjectDependency::ZemDbObjectDependency() : m_properties(/*config=*/0) {}

ZemDbObjectDependency::~ZemDbObjectDependency() = default;

ZemProperties const& ZemDbObjectDependency::getReadProperties() const
{
    assertReadEnabled();
    return m_properties;
}

ZemProperties& ZemDbObjectDependency::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return m_properties;
}

OdResult ZemDbObjectDependency::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult result = OdDbObject::dwgInFields(filer);
    return result == kOdOk ? m_properties.dwgInFields(filer) : result;
}

void ZemDbObjectDependency::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_properties.dwgOutFields(filer);
}

void ZemDbObjectDependency::setLinkObject(OdDbFullSubentPath const& path)
{
    assertWriteEnabled(true, true);
    m_path = path;
}

OdDbObjectId ZemDbObjectDependency::getInsertId() const
{
    assertReadEnabled();
    return m_path.objectIds().isEmpty() ? OdDbObjectId::kNull : m_path.objectIds().first();
}
