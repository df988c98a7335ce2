#include "db/od_db_visual_style.h"

#include "db/od_db_filer.h"
#include "db/od_db_planar_impl.h"

RX_DEFINE_CLASS(OdDbVisualStyle, OdDbObject, odrxCreate<OdDbVisualStyle>, L"OdDbVisualStyle",
                OdDb::kDwgVersionCurrent, 0, 0, L"VISUALSTYLE", L"Object database");

namespace {

void writeColor(OdDbDwgFiler& filer, OdCmColor const& color)
{
    filer.wrInt32(static_cast<std::int32_t>(color.color()));
    filer.wrString(color.colorName());
    filer.wrString(color.bookName());
}

OdCmColor readColor(OdDbDwgFiler& filer)
{
    OdCmColor color(odDbPlanar::readColor(filer));
    const OdString name = filer.rdString();
    color.setNames(name, filer.rdString());
    return color;
}

}  // namespace

OdDbVisualStyle::OdDbVisualStyle() = default;
OdDbVisualStyle::~OdDbVisualStyle() = default;

OdDbVisualStylePtr OdDbVisualStyle::createObject()
{
    return odrxMake<OdDbVisualStyle>();
}

OdString OdDbVisualStyle::description() const
{
    assertReadEnabled();
    return m_description;
}

void OdDbVisualStyle::setDescription(OdString const& description)
{
    assertWriteEnabled();
    m_description = description;
}

OdDbEdgeStyle OdDbVisualStyle::edgeStyle() const
{
    assertReadEnabled();
    return m_edgeStyle;
}

void OdDbVisualStyle::setEdgeStyle(OdDbEdgeStyle const& style)
{
    assertWriteEnabled();
    m_edgeStyle = style;
}

OdResult OdDbVisualStyle::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_description = filer->rdString();
    m_edgeStyle.setEdgeColor(readColor(*filer));
    m_edgeStyle.setObscuredColor(readColor(*filer));
    m_edgeStyle.setObscuredLinePattern(filer->rdInt32());
    return kOdOk;
}

void OdDbVisualStyle::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    filer->wrString(m_description);
    writeColor(*filer, m_edgeStyle.edgeColor());
    writeColor(*filer, m_edgeStyle.obscuredColor());
    filer->wrInt32(m_edgeStyle.obscuredLinePattern());
}
