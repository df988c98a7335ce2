#include "db/od_db_curves.h"

#include "db/od_db_filer.h"
#include "db/od_db_planar_impl.h"
#include "ge/od_ge_circ_arc3d.h"
#include "ge/od_ge_ellip_arc3d.h"
#include "gi/od_gi_world_draw.h"
#include "root/od_error.h"

#include <cmath>
#include <numbers>

RX_DEFINE_CLASS(OdDbPoint, OdDbEntity, odrxCreate<OdDbPoint>, L"OdDbPoint",
                OdDb::kDwgVersionCurrent, 0, 0, L"POINT", L"Object database");
RX_DEFINE_CLASS(OdDbLine, OdDbEntity, odrxCreate<OdDbLine>, L"OdDbLine", OdDb::kDwgVersionCurrent,
                0, 0, L"LINE", L"Object database");
RX_DEFINE_CLASS(OdDbCircle, OdDbEntity, odrxCreate<OdDbCircle>, L"OdDbCircle",
                OdDb::kDwgVersionCurrent, 0, 0, L"CIRCLE", L"Object database");
RX_DEFINE_CLASS(OdDbArc, OdDbEntity, odrxCreate<OdDbArc>, L"OdDbArc", OdDb::kDwgVersionCurrent, 0,
                0, L"ARC", L"Object database");
RX_DEFINE_CLASS(OdDbEllipse, OdDbEntity, odrxCreate<OdDbEllipse>, L"OdDbEllipse",
                OdDb::kDwgVersionCurrent, 0, 0, L"ELLIPSE", L"Object database");

using odDbPlanar::PlaneMap;

namespace {

constexpr double kFullTurn = 2.0 * std::numbers::pi;
constexpr double kHalfPi = std::numbers::pi / 2.0;

/// Points and lines have no plane: their extrusion goes where the matrix takes it.
struct ExtrusionMap
{
    OdGeVector3d normal;
    double thickness;
};

bool mapExtrusion(OdGeMatrix3d const& matrix, OdGeVector3d const& normal, double thickness,
                  ExtrusionMap& mapped)
{
    const OdGeVector3d along = matrix * normal;
    const double length = along.length();
    if (!std::isfinite(length) || length == 0.0 || !std::isfinite(thickness * length)) {
        return false;
    }
    mapped = {along / length, thickness * length};
    return true;
}

void drawThickness(OdGiWorldDraw& draw, double thickness)
{
    if (thickness != 0.0) {
        draw.subEntityTraits().setThickness(thickness);
    }
}

/// Whether a curve is closed. Its end is the rounded sum of its start and the turn.
bool isWholeTurn(double startAngle, double endAngle)
{
    const double rounding = 1e-12 + 1e-15 * std::fabs(endAngle);
    return endAngle - startAngle >= kFullTurn - rounding;
}

OdGeCircArc3d circularCurve(OdGePoint3d const& center, OdGeVector3d const& normal, double radius,
                            double startAngle, double endAngle)
{
    return {center, normal, normal.perpVector(), radius, startAngle, endAngle};
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Point

OdDbPoint::OdDbPoint() = default;
OdDbPoint::~OdDbPoint() = default;

OdDbPointPtr OdDbPoint::createObject()
{
    return odrxMake<OdDbPoint>();
}

void OdDbPoint::setPosition(OdGePoint3d const& point)
{
    write(m_position, odDbPlanar::finite(point));
}

void OdDbPoint::setNormal(OdGeVector3d const& normal)
{
    write(m_normal, odDbPlanar::unit(normal));
}

void OdDbPoint::setThickness(double thickness)
{
    write(m_thickness, odDbPlanar::finite(thickness));
}

void OdDbPoint::setEcsRotation(double rotation)
{
    write(m_rotation, odDbPlanar::finite(rotation));
}

OdResult OdDbPoint::transformBy(OdGeMatrix3d const& matrix)
{
    ExtrusionMap extrusion;
    PlaneMap map;
    const OdGePoint3d position = matrix * m_position;
    if (!map.set(matrix, m_normal) || !odDbPlanar::isFinite(position) ||
        !mapExtrusion(matrix, m_normal, m_thickness, extrusion)) {
        return kOdNotApplicable;
    }
    assertGraphicsWriteEnabled();
    // The sign turns with the x axis as it is seen in the plane of the new normal.
    const OdGeVector3d sign =
        odDbPlanar::toPlane(extrusion.normal,
                            OdGePoint3d::kOrigin +
                                matrix * odDbPlanar::direction(m_normal, m_rotation))
            .asVector();
    m_position = position;
    m_normal = extrusion.normal;
    m_thickness = extrusion.thickness;
    m_rotation = odDbPlanar::normalAngle(std::atan2(sign.y, sign.x));
    return kOdOk;
}

OdResult OdDbPoint::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    OdGeExtents3d found(m_position, m_position);
    odDbPlanar::addExtrusion(found, m_normal, m_thickness);
    return odDbPlanar::giveExtents(found, extents);
}

unsigned OdDbPoint::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    drawThickness(*worldDraw, m_thickness);
    worldDraw->geometry().polyline({&m_position, 1}, &m_normal);
    return kDrawableNone;
}

OdResult OdDbPoint::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_position = odDbPlanar::readPoint3d(*filer);
    m_normal = odDbPlanar::readUnit(*filer);
    m_thickness = odDbPlanar::readFinite(*filer);
    m_rotation = odDbPlanar::readFinite(*filer);
    return kOdOk;
}

void OdDbPoint::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrPoint3d(m_position);
    filer->wrVector3d(m_normal);
    filer->wrDouble(m_thickness);
    filer->wrDouble(m_rotation);
}

// ---------------------------------------------------------------------------------------------
// Line

OdDbLine::OdDbLine() = default;
OdDbLine::~OdDbLine() = default;

OdDbLinePtr OdDbLine::createObject()
{
    return odrxMake<OdDbLine>();
}

void OdDbLine::setStartPoint(OdGePoint3d const& point)
{
    write(m_start, odDbPlanar::finite(point));
}

void OdDbLine::setEndPoint(OdGePoint3d const& point)
{
    write(m_end, odDbPlanar::finite(point));
}

void OdDbLine::setNormal(OdGeVector3d const& normal)
{
    write(m_normal, odDbPlanar::unit(normal));
}

void OdDbLine::setThickness(double thickness)
{
    write(m_thickness, odDbPlanar::finite(thickness));
}

OdResult OdDbLine::transformBy(OdGeMatrix3d const& matrix)
{
    ExtrusionMap extrusion;
    const OdGePoint3d start = matrix * m_start;
    const OdGePoint3d end = matrix * m_end;
    if (!odDbPlanar::isUsable(matrix) || !odDbPlanar::isFinite(start) ||
        !odDbPlanar::isFinite(end) || !mapExtrusion(matrix, m_normal, m_thickness, extrusion)) {
        return kOdNotApplicable;
    }
    assertGraphicsWriteEnabled();
    m_start = start;
    m_end = end;
    m_normal = extrusion.normal;
    m_thickness = extrusion.thickness;
    return kOdOk;
}

OdResult OdDbLine::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    OdGeExtents3d found(m_start, m_start);
    found.addPoint(m_end);
    odDbPlanar::addExtrusion(found, m_normal, m_thickness);
    return odDbPlanar::giveExtents(found, extents);
}

unsigned OdDbLine::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    const OdGePoint3d points[] = {m_start, m_end};
    drawThickness(*worldDraw, m_thickness);
    worldDraw->geometry().polyline(points, &m_normal);
    return kDrawableNone;
}

OdResult OdDbLine::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_start = odDbPlanar::readPoint3d(*filer);
    m_end = odDbPlanar::readPoint3d(*filer);
    m_normal = odDbPlanar::readUnit(*filer);
    m_thickness = odDbPlanar::readFinite(*filer);
    return kOdOk;
}

void OdDbLine::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrPoint3d(m_start);
    filer->wrPoint3d(m_end);
    filer->wrVector3d(m_normal);
    filer->wrDouble(m_thickness);
}

// ---------------------------------------------------------------------------------------------
// Circle

OdDbCircle::OdDbCircle() = default;
OdDbCircle::~OdDbCircle() = default;

OdDbCirclePtr OdDbCircle::createObject()
{
    return odrxMake<OdDbCircle>();
}

void OdDbCircle::setCenter(OdGePoint3d const& center)
{
    write(m_center, odDbPlanar::finite(center));
}

void OdDbCircle::setRadius(double radius)
{
    write(m_radius, odDbPlanar::positive(radius));
}

void OdDbCircle::setNormal(OdGeVector3d const& normal)
{
    write(m_normal, odDbPlanar::unit(normal));
}

void OdDbCircle::setThickness(double thickness)
{
    write(m_thickness, odDbPlanar::finite(thickness));
}

OdResult OdDbCircle::transformBy(OdGeMatrix3d const& matrix)
{
    PlaneMap map;
    const OdGePoint3d center = matrix * m_center;
    if (!map.set(matrix, m_normal) || !map.isSimilar || !map.holds(m_thickness) ||
        !odDbPlanar::isFinite(center) || !std::isnormal(m_radius * map.scale)) {
        return kOdNotApplicable;
    }
    assertGraphicsWriteEnabled();
    m_center = center;
    m_normal = map.normal;
    m_radius *= map.scale;
    m_thickness *= map.alongNormal;
    return kOdOk;
}

OdResult OdDbCircle::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    OdGeExtents3d found = OdGeCircArc3d(m_center, m_normal, m_radius).extents();
    odDbPlanar::addExtrusion(found, m_normal, m_thickness);
    return odDbPlanar::giveExtents(found, extents);
}

unsigned OdDbCircle::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    drawThickness(*worldDraw, m_thickness);
    worldDraw->geometry().circle(m_center, m_radius, m_normal);
    return kDrawableNone;
}

OdResult OdDbCircle::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_center = odDbPlanar::readPoint3d(*filer);
    m_radius = odDbPlanar::readPositive(*filer);
    m_normal = odDbPlanar::readUnit(*filer);
    m_thickness = odDbPlanar::readFinite(*filer);
    return kOdOk;
}

void OdDbCircle::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrPoint3d(m_center);
    filer->wrDouble(m_radius);
    filer->wrVector3d(m_normal);
    filer->wrDouble(m_thickness);
}

// ---------------------------------------------------------------------------------------------
// Arc

OdDbArc::OdDbArc() = default;
OdDbArc::~OdDbArc() = default;

OdDbArcPtr OdDbArc::createObject()
{
    return odrxMake<OdDbArc>();
}

void OdDbArc::setCenter(OdGePoint3d const& center)
{
    write(m_center, odDbPlanar::finite(center));
}

void OdDbArc::setRadius(double radius)
{
    write(m_radius, odDbPlanar::positive(radius));
}

void OdDbArc::setStartAngle(double angle)
{
    write(m_startAngle, odDbPlanar::normalAngle(odDbPlanar::finite(angle)));
}

void OdDbArc::setEndAngle(double angle)
{
    write(m_endAngle, odDbPlanar::normalAngle(odDbPlanar::finite(angle)));
}

OdGePoint3d OdDbArc::startPoint() const
{
    assertReadEnabled();
    return m_center + odDbPlanar::direction(m_normal, m_startAngle) * m_radius;
}

OdGePoint3d OdDbArc::endPoint() const
{
    assertReadEnabled();
    return m_center + odDbPlanar::direction(m_normal, m_endAngle) * m_radius;
}

void OdDbArc::setNormal(OdGeVector3d const& normal)
{
    write(m_normal, odDbPlanar::unit(normal));
}

void OdDbArc::setThickness(double thickness)
{
    write(m_thickness, odDbPlanar::finite(thickness));
}

OdResult OdDbArc::getOdGeCurve(std::unique_ptr<OdGeCurve3d>& curve) const
{
    assertReadEnabled();
    curve = std::make_unique<OdGeCircArc3d>(
        circularCurve(m_center, m_normal, m_radius, m_startAngle, m_endAngle));
    return kOdOk;
}

OdResult OdDbArc::setFromOdGeCurve(OdGeCurve3d const& curve, OdGeVector3d const* normal)
{
    if (curve.kind() != OdGeCurve3d::Kind::kCircArc3d) {
        return kOdInvalidInput;
    }
    auto const& arc = static_cast<OdGeCircArc3d const&>(curve);
    const OdGeVector3d wanted = normal != nullptr ? *normal : arc.normal();
    if (!wanted.isParallelTo(arc.normal()) || !odDbPlanar::isFinite(arc.center()) ||
        !std::isnormal(arc.radius()) || arc.radius() <= 0.0 || !std::isfinite(arc.startAngle()) ||
        !std::isfinite(arc.endAngle())) {
        return kOdInvalidInput;
    }
    const OdGeVector3d unit = odDbPlanar::unit(wanted);
    const bool isOpposed = unit.dotProduct(arc.normal()) < 0.0;
    // Directions, not points: far from the origin a point has no digits left for a small radius.
    const OdGeVector3d across = arc.normal().crossProduct(arc.refVec());
    const double ends[] = {arc.startAngle(), arc.endAngle()};
    const auto angleOf = [&](double angle) {
        const OdGeVector3d outward = arc.refVec() * std::cos(angle) + across * std::sin(angle);
        const OdGePoint3d flat = odDbPlanar::toPlane(unit, OdGePoint3d::kOrigin + outward);
        return odDbPlanar::normalAngle(std::atan2(flat.y, flat.x));
    };
    const bool isWhole = isWholeTurn(arc.startAngle(), arc.endAngle());
    const double start = angleOf(ends[isOpposed ? 1 : 0]);
    const double end = isWhole ? start : angleOf(ends[isOpposed ? 0 : 1]);
    if (!std::isfinite(start) || !std::isfinite(end)) {
        return kOdInvalidInput;
    }
    assertGraphicsWriteEnabled();
    // The extrusion stays where it is, so its height counts from the other side.
    m_thickness = unit.dotProduct(m_normal) < 0.0 ? -m_thickness : m_thickness;
    m_center = arc.center();
    m_radius = arc.radius();
    m_normal = unit;
    m_startAngle = start;
    m_endAngle = end;
    return kOdOk;
}

OdResult OdDbArc::transformBy(OdGeMatrix3d const& matrix)
{
    PlaneMap map;
    const OdGePoint3d center = matrix * m_center;
    if (!map.set(matrix, m_normal) || !map.isSimilar || !map.holds(m_thickness) ||
        !odDbPlanar::isFinite(center) || !std::isnormal(m_radius * map.scale)) {
        return kOdNotApplicable;
    }
    assertGraphicsWriteEnabled();
    const bool isWhole = m_startAngle == m_endAngle;
    const double start = map.mapAngle(map.isMirrored ? m_endAngle : m_startAngle);
    const double end = map.mapAngle(map.isMirrored ? m_startAngle : m_endAngle);
    m_center = center;
    m_normal = map.normal;
    m_radius *= map.scale;
    m_thickness *= map.alongNormal;
    m_startAngle = start;
    m_endAngle = isWhole ? start : end;
    return kOdOk;
}

OdResult OdDbArc::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    OdGeExtents3d found =
        circularCurve(m_center, m_normal, m_radius, m_startAngle, m_endAngle).extents();
    odDbPlanar::addExtrusion(found, m_normal, m_thickness);
    return odDbPlanar::giveExtents(found, extents);
}

unsigned OdDbArc::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    drawThickness(*worldDraw, m_thickness);
    // As the curve counts, for angles that are nearly equal, too.
    const OdGeCircArc3d curve =
        circularCurve(m_center, m_normal, m_radius, m_startAngle, m_endAngle);
    const bool isWhole = isWholeTurn(curve.startAngle(), curve.endAngle());
    worldDraw->geometry().circularArc(m_center, m_radius, m_normal,
                                      odDbPlanar::direction(m_normal, m_startAngle),
                                      isWhole ? kFullTurn : curve.endAngle() - curve.startAngle());
    return kDrawableNone;
}

OdResult OdDbArc::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_center = odDbPlanar::readPoint3d(*filer);
    m_radius = odDbPlanar::readPositive(*filer);
    m_normal = odDbPlanar::readUnit(*filer);
    m_thickness = odDbPlanar::readFinite(*filer);
    m_startAngle = odDbPlanar::normalAngle(odDbPlanar::readFinite(*filer));
    m_endAngle = odDbPlanar::normalAngle(odDbPlanar::readFinite(*filer));
    return kOdOk;
}

void OdDbArc::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrPoint3d(m_center);
    filer->wrDouble(m_radius);
    filer->wrVector3d(m_normal);
    filer->wrDouble(m_thickness);
    filer->wrDouble(m_startAngle);
    filer->wrDouble(m_endAngle);
}

// ---------------------------------------------------------------------------------------------
// Ellipse

namespace {

/// The fields of an ellipse, found aside before any is set.
struct EllipseFields
{
    OdGePoint3d center;
    OdGeVector3d normal;
    OdGeVector3d majorAxis;
    double radiusRatio;
    double startParam;
    double endParam;
};

/// A vector without its part along a normal.
OdGeVector3d withoutPart(OdGeVector3d const& vector, OdGeVector3d const& normal)
{
    return vector - normal * normal.dotProduct(vector);
}

/// Whether a vector may be the major axis of an ellipse with a normal.
bool isAxis(OdGeVector3d const& axis, OdGeVector3d const& normal)
{
    constexpr OdGeTol kAcross(1e-6);
    const double length = axis.length();
    return std::isnormal(length) && (axis / length).isPerpendicularTo(normal, kAcross);
}

OdGeEllipArc3d curveOf(EllipseFields const& fields)
{
    // With axes of length 1, or those of a tiny ellipse would count as none. The major axis may lie
    // off the plane by a little.
    const double radius = fields.majorAxis.length();
    const OdGeVector3d given = fields.majorAxis / radius;
    const OdGeVector3d inPlane = withoutPart(given, fields.normal);
    const OdGeVector3d along = inPlane == given ? given : inPlane / inPlane.length();
    return {fields.center,
            along,
            fields.normal.crossProduct(along),
            radius,
            radius * fields.radiusRatio,
            fields.startParam,
            fields.endParam};
}

/// The same points as a curve, about a normal that is the curve's or opposed to it, with the larger
/// radius first. \return Whether that is an ellipse.
bool fieldsOf(OdGeEllipArc3d const& curve, OdGeVector3d const& normal, EllipseFields& fields)
{
    const bool isWhole = isWholeTurn(curve.startAngle(), curve.endAngle());
    double start = curve.startAngle();
    double end = curve.endAngle();
    // What little the axes lie off the plane may have been made much by a matrix.
    OdGeVector3d major = withoutPart(curve.majorAxis() * curve.majorRadius(), normal);
    OdGeVector3d minor = withoutPart(curve.minorAxis() * curve.minorRadius(), normal);
    if (normal.dotProduct(curve.normal()) < 0.0) {
        minor = -minor;
        start = -curve.endAngle();
        end = -curve.startAngle();
    }
    if (minor.length() > major.length()) {
        const OdGeVector3d former = major;
        major = minor;
        minor = -former;
        start -= kHalfPi;
        end -= kHalfPi;
    }
    const double ratio = minor.length() / major.length();
    if (!odDbPlanar::isFinite(curve.center()) || !std::isnormal(major.length()) ||
        !std::isnormal(ratio) || !std::isfinite(start) || !std::isfinite(end) ||
        !isAxis(major, normal)) {
        return false;
    }
    fields = {curve.center(),
              normal,
              major,
              ratio,
              odDbPlanar::normalAngle(start),
              odDbPlanar::normalAngle(end)};
    if (isWhole) {
        fields.endParam = fields.startParam;
    }
    return true;
}

}  // namespace

OdDbEllipse::OdDbEllipse() = default;
OdDbEllipse::~OdDbEllipse() = default;

OdDbEllipsePtr OdDbEllipse::createObject()
{
    return odrxMake<OdDbEllipse>();
}

OdGeVector3d OdDbEllipse::minorAxis() const
{
    assertReadEnabled();
    return m_normal.crossProduct(m_majorAxis) * m_radiusRatio;
}

void OdDbEllipse::set(OdGePoint3d const& center, OdGeVector3d const& normal,
                      OdGeVector3d const& majorAxis, double radiusRatio, double startParam,
                      double endParam)
{
    const EllipseFields fields = {odDbPlanar::finite(center),
                                  odDbPlanar::unit(normal),
                                  odDbPlanar::finite(majorAxis),
                                  odDbPlanar::positive(radiusRatio),
                                  odDbPlanar::normalAngle(odDbPlanar::finite(startParam)),
                                  odDbPlanar::normalAngle(odDbPlanar::finite(endParam))};
    if (!isAxis(majorAxis, fields.normal) || radiusRatio > 1.0) {
        throw OdError(kOdInvalidInput);
    }
    assertGraphicsWriteEnabled();
    m_center = fields.center;
    m_normal = fields.normal;
    m_majorAxis = fields.majorAxis;
    m_radiusRatio = fields.radiusRatio;
    m_startParam = fields.startParam;
    m_endParam = fields.endParam;
}

OdResult OdDbEllipse::getOdGeCurve(std::unique_ptr<OdGeCurve3d>& curve) const
{
    assertReadEnabled();
    curve = std::make_unique<OdGeEllipArc3d>(
        curveOf({m_center, m_normal, m_majorAxis, m_radiusRatio, m_startParam, m_endParam}));
    return kOdOk;
}

OdResult OdDbEllipse::setFromOdGeCurve(OdGeCurve3d const& curve, OdGeVector3d const* normal)
{
    const bool isCircular = curve.kind() == OdGeCurve3d::Kind::kCircArc3d;
    if (!isCircular && curve.kind() != OdGeCurve3d::Kind::kEllipArc3d) {
        return kOdInvalidInput;
    }
    const OdGeEllipArc3d arc = isCircular ? OdGeEllipArc3d(static_cast<OdGeCircArc3d const&>(curve))
                                          : static_cast<OdGeEllipArc3d const&>(curve);
    const OdGeVector3d wanted = normal != nullptr ? *normal : arc.normal();
    EllipseFields fields;
    if (!wanted.isParallelTo(arc.normal()) || !fieldsOf(arc, odDbPlanar::unit(wanted), fields)) {
        return kOdInvalidInput;
    }
    set(fields.center, fields.normal, fields.majorAxis, std::fmin(fields.radiusRatio, 1.0),
        fields.startParam, fields.endParam);
    return kOdOk;
}

OdResult OdDbEllipse::transformBy(OdGeMatrix3d const& matrix)
{
    PlaneMap map;
    OdGeEllipArc3d curve =
        curveOf({m_center, m_normal, m_majorAxis, m_radiusRatio, m_startParam, m_endParam});
    EllipseFields fields;
    if (!map.set(matrix, m_normal) || !curve.transformBy(matrix) ||
        !fieldsOf(curve, map.normal, fields)) {
        return kOdNotApplicable;
    }
    set(fields.center, fields.normal, fields.majorAxis, std::fmin(fields.radiusRatio, 1.0),
        fields.startParam, fields.endParam);
    return kOdOk;
}

OdResult OdDbEllipse::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    const OdGeEllipArc3d curve =
        curveOf({m_center, m_normal, m_majorAxis, m_radiusRatio, m_startParam, m_endParam});
    return odDbPlanar::giveExtents(curve.extents(), extents);
}

unsigned OdDbEllipse::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    worldDraw->geometry().ellipArc(
        curveOf({m_center, m_normal, m_majorAxis, m_radiusRatio, m_startParam, m_endParam}));
    return kDrawableNone;
}

OdResult OdDbEllipse::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_center = odDbPlanar::readPoint3d(*filer);
    m_normal = odDbPlanar::readUnit(*filer);
    m_majorAxis = odDbPlanar::readVector3d(*filer);
    m_radiusRatio = odDbPlanar::readPositive(*filer);
    m_startParam = odDbPlanar::normalAngle(odDbPlanar::readFinite(*filer));
    m_endParam = odDbPlanar::normalAngle(odDbPlanar::readFinite(*filer));
    if (!isAxis(m_majorAxis, m_normal) || m_radiusRatio > 1.0) {
        throw OdError(kOdBadStream);
    }
    return kOdOk;
}

void OdDbEllipse::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrPoint3d(m_center);
    filer->wrVector3d(m_normal);
    filer->wrVector3d(m_majorAxis);
    filer->wrDouble(m_radiusRatio);
    filer->wrDouble(m_startParam);
    filer->wrDouble(m_endParam);
}
