#include "zem_db_configuration_table.h"

#include "zem_db_class_info.h"

ZEM_DEFINE_DB_CLASS(ZemDbConfigurationTable, OdDbObject, L"ZemDbConfigurationTable",
                    L"ZEMDBCONFIGURATIONTABLE", kZemAppConfigurations);

ZemDbConfigurationTable::ZemDbConfigurationTable() : m_properties(/*config=*/0) {}

ZemDbConfigurationTable::~ZemDbConfigurationTable() = default;

ZemProperties const& ZemDbConfigurationTable::getReadProperties() const
{
    assertReadEnabled();
    return m_properties;
}

ZemProperties& ZemDbConfigurationTable::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return m_properties;
}

OdResult ZemDbConfigurationTable::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult result = OdDbObject::dwgInFields(filer);
    return result == kOdOk ? m_properties.dwgInFields(filer) : result;
}

void ZemDbConfigurationTable::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_properties.dwgOutFields(filer);
}
