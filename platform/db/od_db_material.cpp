#include "db/od_db_material.h"

#include "db/od_db_filer.h"
#include "db/od_db_planar_impl.h"
#include "root/od_error.h"

RX_DEFINE_CLASS(OdDbMaterial, OdDbObject, odrxCreate<OdDbMaterial>, L"OdDbMaterial",
                OdDb::kDwgVersionCurrent, 0, 0, L"MATERIAL", L"Object database");

namespace {

bool isShare(double value)
{
    return value >= 0.0 && value <= 1.0;
}

double checkedShare(double value)
{
    if (!isShare(value)) {
        throw OdError(kOdInvalidInput);
    }
    return value;
}

double readShare(OdDbDwgFiler& filer)
{
    const double value = filer.rdDouble();
    if (!isShare(value)) {
        throw OdError(kOdBadStream);
    }
    return value;
}

}  // namespace

OdDbMaterial::OdDbMaterial() : m_diffuse(OdCmEntityColor::kNone) {}
OdDbMaterial::~OdDbMaterial() = default;

OdDbMaterialPtr OdDbMaterial::createObject()
{
    return odrxMake<OdDbMaterial>();
}

OdString OdDbMaterial::name() const
{
    assertReadEnabled();
    return m_name;
}

void OdDbMaterial::setName(OdString const& name)
{
    assertWriteEnabled();
    m_name = name;
}

OdString OdDbMaterial::description() const
{
    assertReadEnabled();
    return m_description;
}

void OdDbMaterial::setDescription(OdString const& description)
{
    assertWriteEnabled();
    m_description = description;
}

OdCmEntityColor OdDbMaterial::diffuse() const
{
    assertReadEnabled();
    return m_diffuse;
}

void OdDbMaterial::setDiffuse(OdCmEntityColor const& color)
{
    assertWriteEnabled();
    m_diffuse = color;
}

double OdDbMaterial::opacity() const
{
    assertReadEnabled();
    return m_opacity;
}

void OdDbMaterial::setOpacity(double opacity)
{
    const double value = checkedShare(opacity);
    assertWriteEnabled();
    m_opacity = value;
}

double OdDbMaterial::reflectivity() const
{
    assertReadEnabled();
    return m_reflectivity;
}

void OdDbMaterial::setReflectivity(double reflectivity)
{
    const double value = checkedShare(reflectivity);
    assertWriteEnabled();
    m_reflectivity = value;
}

double OdDbMaterial::selfIllumination() const
{
    assertReadEnabled();
    return m_selfIllumination;
}

void OdDbMaterial::setSelfIllumination(double selfIllumination)
{
    const double value = checkedShare(selfIllumination);
    assertWriteEnabled();
    m_selfIllumination = value;
}

OdResult OdDbMaterial::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_name = filer->rdString();
    m_description = filer->rdString();
    m_diffuse = odDbPlanar::readColor(*filer);
    m_opacity = readShare(*filer);
    m_reflectivity = readShare(*filer);
    m_selfIllumination = readShare(*filer);
    return kOdOk;
}

void OdDbMaterial::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    filer->wrString(m_name);
    filer->wrString(m_description);
    filer->wrInt32(static_cast<std::int32_t>(m_diffuse.color()));
    filer->wrDouble(m_opacity);
    filer->wrDouble(m_reflectivity);
    filer->wrDouble(m_selfIllumination);
}
