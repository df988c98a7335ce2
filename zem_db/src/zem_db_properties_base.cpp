#include "zem_db_properties_base.h"

ZemDbPropertiesBase::ZemDbPropertiesBase(int config, int version) : m_properties(config)
{
    m_properties.setVersion(version);
}

ZemDbPropertiesBase::~ZemDbPropertiesBase() = default;

void ZemDbPropertiesBase::dwgOutFields(OdDbDwgFiler* filer) const
{
    m_properties.dwgOutFields(filer);
}

OdResult ZemDbPropertiesBase::dwgInFields(OdDbDwgFiler* filer)
{
    return m_properties.dwgInFields(filer);
}
