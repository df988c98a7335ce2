#include "db/od_db_dimension.h"

#include "db/od_db_filer.h"
#include "db/od_db_planar_impl.h"
#include "gi/od_gi_world_draw.h"
#include "root/od_error.h"

#include <cmath>

RX_DEFINE_CLASS(OdDbDimension, OdDbEntity, odrxCreateNothing, L"OdDbDimension");
RX_DEFINE_CLASS(OdDbAlignedDimension, OdDbDimension, odrxCreate<OdDbAlignedDimension>,
                L"OdDbAlignedDimension", OdDb::kDwgVersionCurrent, 0, 0, L"ALIGNED_DIMENSION",
                L"Object database");
RX_DEFINE_CLASS(OdDbRotatedDimension, OdDbDimension, odrxCreate<OdDbRotatedDimension>,
                L"OdDbRotatedDimension", OdDb::kDwgVersionCurrent, 0, 0, L"ROTATED_DIMENSION",
                L"Object database");

using odDbPlanar::PlaneMap;

/// The dimension line, from the foot of the first point to that of the second.
struct OdDbDimension::Lines
{
    OdGeVector3d along;  ///< of length 1, or zero
    OdGePoint3d start;
    OdGePoint3d end;
};

OdDbDimension::OdDbDimension() = default;
OdDbDimension::~OdDbDimension() = default;

void OdDbDimension::setNormal(OdGeVector3d const& normal)
{
    write(m_normal, odDbPlanar::unit(normal));
}

void OdDbDimension::setXLine1Point(OdGePoint3d const& point)
{
    write(m_xLine1, odDbPlanar::finite(point));
}

void OdDbDimension::setXLine2Point(OdGePoint3d const& point)
{
    write(m_xLine2, odDbPlanar::finite(point));
}

void OdDbDimension::setDimLinePoint(OdGePoint3d const& point)
{
    write(m_dimLine, odDbPlanar::finite(point));
}

void OdDbDimension::useDefaultTextPosition()
{
    write(m_hasDefaultTextPosition, true);
}

OdGePoint3d OdDbDimension::textPosition() const
{
    assertReadEnabled();
    if (!m_hasDefaultTextPosition) {
        return m_textPosition;
    }
    const Lines drawn = lines();
    return drawn.start + (drawn.end - drawn.start) * 0.5;
}

void OdDbDimension::setTextPosition(OdGePoint3d const& position)
{
    write(m_textPosition, odDbPlanar::finite(position));
    m_hasDefaultTextPosition = false;
}

void OdDbDimension::setDimensionText(OdString const& text)
{
    write(m_text, text);
}

OdString OdDbDimension::shownText() const
{
    // Beyond this a double has no decimals, and would be shown with up to 300 digits.
    constexpr double kLongest = 1e15;
    const double measured = measurement();
    OdString length;
    if (measured < kLongest) {
        length.format(L"%.4f", measured);
        length.trimRight(L"0");
        length.trimRight(L".");
    } else {
        length.format(L"%.12g", measured);
    }
    if (m_text.isEmpty()) {
        return length;
    }
    OdString shown = m_text;
    (void)shown.replace(L"<>", length);
    return shown;
}

void OdDbDimension::setTextHeight(double height)
{
    write(m_textHeight, odDbPlanar::positive(height));
}

void OdDbDimension::setArrowSize(double size)
{
    write(m_arrowSize, odDbPlanar::positive(size));
}

double OdDbDimension::measurement() const
{
    assertReadEnabled();
    return std::fabs((m_xLine2 - m_xLine1).dotProduct(measureDirection()));
}

OdDbDimension::Lines OdDbDimension::lines() const
{
    const OdGeVector3d along = measureDirection();
    const OdGeVector3d across = m_normal.crossProduct(along);
    return {along, m_xLine1 + across * (m_dimLine - m_xLine1).dotProduct(across),
            m_xLine2 + across * (m_dimLine - m_xLine2).dotProduct(across)};
}

void OdDbDimension::mapAngles(double (* /*mapAngle*/)(void const* map, double angle),
                              void const* /*map*/)
{
}

OdResult OdDbDimension::transformBy(OdGeMatrix3d const& matrix)
{
    PlaneMap map;
    const OdGePoint3d points[] = {matrix * m_xLine1, matrix * m_xLine2, matrix * m_dimLine,
                                  matrix * m_textPosition};
    if (!map.set(matrix, m_normal) || !map.isSimilar || !std::isnormal(m_textHeight * map.scale) ||
        !std::isnormal(m_arrowSize * map.scale)) {
        return kOdNotApplicable;
    }
    for (OdGePoint3d const& point : points) {
        if (!odDbPlanar::isFinite(point)) {
            return kOdNotApplicable;
        }
    }
    assertGraphicsWriteEnabled();
    m_xLine1 = points[0];
    m_xLine2 = points[1];
    m_dimLine = points[2];
    m_textPosition = points[3];
    m_normal = map.normal;
    m_textHeight *= map.scale;
    m_arrowSize *= map.scale;
    mapAngles([](void const* by,
                 double angle) { return static_cast<PlaneMap const*>(by)->mapAngle(angle); },
              &map);
    return kOdOk;
}

OdResult OdDbDimension::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    const Lines drawn = lines();
    OdGeExtents3d found(m_xLine1, m_xLine1);
    found.addPoint(m_xLine2);
    found.addPoint(drawn.start);
    found.addPoint(drawn.end);
    found.addPoint(textPosition());
    return odDbPlanar::giveExtents(found, extents);
}

unsigned OdDbDimension::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    constexpr double kHalfWidthShare = 1.0 / 6.0;
    assertReadEnabled();
    const Lines drawn = lines();
    const OdGeVector3d across = m_normal.crossProduct(drawn.along);
    OdGiGeometry& geometry = worldDraw->geometry();
    const OdGePoint3d lineOfDimension[] = {drawn.start, drawn.end};
    const OdGePoint3d firstExtension[] = {m_xLine1, drawn.start};
    const OdGePoint3d secondExtension[] = {m_xLine2, drawn.end};
    geometry.polyline(lineOfDimension, &m_normal);
    geometry.polyline(firstExtension, &m_normal);
    geometry.polyline(secondExtension, &m_normal);
    const OdGeVector3d way = drawn.end - drawn.start;
    if (!way.isZeroLength()) {
        const OdGeVector3d inward = way * (m_arrowSize / way.length());
        const OdGeVector3d half = across * (m_arrowSize * kHalfWidthShare);
        const OdGePoint3d first[] = {drawn.start, drawn.start + inward + half,
                                     drawn.start + inward - half};
        const OdGePoint3d second[] = {drawn.end, drawn.end - inward + half,
                                      drawn.end - inward - half};
        worldDraw->subEntityTraits().setFillType(OdGiFillType::kFillAlways);
        geometry.polygon(first);
        geometry.polygon(second);
    }
    const OdString text = shownText();
    const OdGeVector3d along = drawn.along.isZeroLength() ? m_normal.perpVector() : drawn.along;
    const OdGePoint3d start = textPosition() - along * (text.getLength() * m_textHeight / 2.0) -
                              m_normal.crossProduct(along) * (m_textHeight / 2.0);
    geometry.text(start, m_normal, along, m_textHeight, 1.0, 0.0, text);
    return kDrawableNone;
}

OdResult OdDbDimension::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_text = filer->rdString();
    m_normal = odDbPlanar::readUnit(*filer);
    m_xLine1 = odDbPlanar::readPoint3d(*filer);
    m_xLine2 = odDbPlanar::readPoint3d(*filer);
    m_dimLine = odDbPlanar::readPoint3d(*filer);
    m_hasDefaultTextPosition = filer->rdBool();
    m_textPosition = odDbPlanar::readPoint3d(*filer);
    m_textHeight = odDbPlanar::readPositive(*filer);
    m_arrowSize = odDbPlanar::readPositive(*filer);
    return kOdOk;
}

void OdDbDimension::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrString(m_text);
    filer->wrVector3d(m_normal);
    filer->wrPoint3d(m_xLine1);
    filer->wrPoint3d(m_xLine2);
    filer->wrPoint3d(m_dimLine);
    filer->wrBool(m_hasDefaultTextPosition);
    filer->wrPoint3d(m_textPosition);
    filer->wrDouble(m_textHeight);
    filer->wrDouble(m_arrowSize);
}

OdDbAlignedDimension::OdDbAlignedDimension() = default;
OdDbAlignedDimension::~OdDbAlignedDimension() = default;

OdDbAlignedDimensionPtr OdDbAlignedDimension::createObject()
{
    return odrxMake<OdDbAlignedDimension>();
}

OdGeVector3d OdDbAlignedDimension::measureDirection() const
{
    const OdGeVector3d way = xLine2Point() - xLine1Point();
    const OdGeVector3d flat = way - normal() * way.dotProduct(normal());
    return flat.isZeroLength() ? OdGeVector3d::kIdentity : flat / flat.length();
}

OdDbRotatedDimension::OdDbRotatedDimension() = default;
OdDbRotatedDimension::~OdDbRotatedDimension() = default;

OdDbRotatedDimensionPtr OdDbRotatedDimension::createObject()
{
    return odrxMake<OdDbRotatedDimension>();
}

void OdDbRotatedDimension::setRotation(double rotation)
{
    write(m_rotation, odDbPlanar::normalAngle(odDbPlanar::finite(rotation)));
}

OdGeVector3d OdDbRotatedDimension::measureDirection() const
{
    return odDbPlanar::direction(normal(), m_rotation);
}

void OdDbRotatedDimension::mapAngles(double (*mapAngle)(void const* map, double angle),
                                     void const* map)
{
    m_rotation = mapAngle(map, m_rotation);
}

OdResult OdDbRotatedDimension::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbDimension::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_rotation = odDbPlanar::normalAngle(odDbPlanar::readFinite(*filer));
    return kOdOk;
}

void OdDbRotatedDimension::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbDimension::dwgOutFields(filer);
    filer->wrDouble(m_rotation);
}
