#include "zem_db_constraint_manager.h"

#include "zem_db_class_info.h"

ZEM_DEFINE_DB_CLASS(ZemDbConstraintManager, OdDbObject, L"ZemDbConstraintManager",
                    L"ZEMDBCONSTRAINTMANAGER", kZemAppConstraints);

ZemDbConstraintManager::ZemDbConstraintManager() : m_properties(/*config=*/0) {}

ZemDbConstraintManager::~ZemDbConstraintManager() = default;

ZemProperties const& ZemDbConstraintManager::getReadProperties() const
{
    assertReadEnabled();
    return m_properties;
}

ZemProperties& ZemDbConstraintManager::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return m_properties;
}

OdResult ZemDbConstraintManager::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult result = OdDbObject::dwgInFields(filer);
    return result == kOdOk ? m_properties.dwgInFields(filer) : result;
}

void ZemDbConstraintManager::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_properties.dwgOutFields(filer);
}
