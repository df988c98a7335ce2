#include "db/od_db_planar_impl.h"

#include "db/od_db_filer.h"
#include "root/od_error.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace odDbPlanar {

namespace {

/// Shares of lengths below this are rounding.
constexpr double kEqualShare = 1e-9;
constexpr double kFullTurn = 2.0 * std::numbers::pi;
/// What holds for a drawing doesn't depend on what the process has set for its own comparisons.
constexpr OdGeTol kTolerance;

template <class Value, class Test>
Value checked(Value value, Test const& test, OdResult failure)
{
    if (!test(value)) {
        throw OdError(failure);
    }
    return value;
}

bool isFiniteNumber(double value)
{
    return std::isfinite(value);
}

bool isFinitePair(double x, double y)
{
    return std::isfinite(x) && std::isfinite(y);
}

bool isPositive(double value)
{
    return std::isfinite(value) && value > 0.0;
}

bool isNotNegative(double value)
{
    return std::isfinite(value) && value >= 0.0;
}

bool hasDirection(OdGeVector3d const& vector)
{
    const double length = vector.length();
    return std::isfinite(length) && length > 0.0;
}

OdGeVector3d unitOf(OdGeVector3d const& vector, OdResult failure)
{
    checked(vector, hasDirection, failure);
    return vector.isUnitLength(kTolerance) ? vector : vector / vector.length();
}

}  // namespace

double finite(double value)
{
    return checked(value, isFiniteNumber, kOdInvalidInput);
}

double positive(double value)
{
    return checked(value, isPositive, kOdInvalidInput);
}

double notNegative(double value)
{
    return checked(value, isNotNegative, kOdInvalidInput);
}

OdGePoint2d finite(OdGePoint2d const& point)
{
    checked(
        true, [&](bool) { return isFinitePair(point.x, point.y); }, kOdInvalidInput);
    return point;
}

OdGeVector2d finite(OdGeVector2d const& vector)
{
    checked(
        true, [&](bool) { return isFinitePair(vector.x, vector.y); }, kOdInvalidInput);
    return vector;
}

OdGePoint3d finite(OdGePoint3d const& point)
{
    return checked(
        point, [](OdGePoint3d const& p) { return isFinite(p); }, kOdInvalidInput);
}

OdGeVector3d finite(OdGeVector3d const& vector)
{
    return checked(
        vector, [](OdGeVector3d const& v) { return isFinite(v); }, kOdInvalidInput);
}

OdGeVector3d unit(OdGeVector3d const& vector)
{
    return unitOf(vector, kOdInvalidInput);
}

double readFinite(OdDbDwgFiler& filer)
{
    return checked(filer.rdDouble(), isFiniteNumber, kOdBadStream);
}

double readPositive(OdDbDwgFiler& filer)
{
    return checked(filer.rdDouble(), isPositive, kOdBadStream);
}

double readNotNegative(OdDbDwgFiler& filer)
{
    return checked(filer.rdDouble(), isNotNegative, kOdBadStream);
}

OdGePoint2d readPoint2d(OdDbDwgFiler& filer)
{
    return checked(
        filer.rdPoint2d(), [](OdGePoint2d const& p) { return isFinitePair(p.x, p.y); },
        kOdBadStream);
}

OdGeVector2d readVector2d(OdDbDwgFiler& filer)
{
    return checked(
        filer.rdVector2d(), [](OdGeVector2d const& v) { return isFinitePair(v.x, v.y); },
        kOdBadStream);
}

OdGePoint3d readPoint3d(OdDbDwgFiler& filer)
{
    return checked(
        filer.rdPoint3d(), [](OdGePoint3d const& p) { return isFinite(p); }, kOdBadStream);
}

OdGeVector3d readVector3d(OdDbDwgFiler& filer)
{
    return checked(
        filer.rdVector3d(), [](OdGeVector3d const& v) { return isFinite(v); }, kOdBadStream);
}

OdGeVector3d readUnit(OdDbDwgFiler& filer)
{
    return unitOf(filer.rdVector3d(), kOdBadStream);
}

OdCmEntityColor readColor(OdDbDwgFiler& filer)
{
    const auto value = static_cast<std::uint32_t>(filer.rdInt32());
    OdCmEntityColor color;
    try {
        color.setColor(value);
    } catch (OdError const&) {
        throw OdError(kOdBadStream);
    }
    return color;
}

std::uint8_t readEnum(OdDbDwgFiler& filer, std::uint8_t last)
{
    return checked(
        filer.rdUInt8(), [last](std::uint8_t value) { return value <= last; }, kOdBadStream);
}

bool isFinite(OdGePoint3d const& point)
{
    return isFinitePair(point.x, point.y) && std::isfinite(point.z);
}

bool isFinite(OdGeVector3d const& vector)
{
    return isFinitePair(vector.x, vector.y) && std::isfinite(vector.z);
}

bool isUsable(OdGeMatrix3d const& matrix)
{
    return matrix.isFinite() && !matrix.isPerspective(kTolerance) && !matrix.isSingular(kTolerance);
}

bool PlaneMap::set(OdGeMatrix3d const& matrix, OdGeVector3d const& oldNormal)
{
    if (!isUsable(matrix)) {
        return false;
    }
    const OdGeMatrix3d fromOld = OdGeMatrix3d::planeToWorld(oldNormal);
    const OdGeVector3d along = matrix * oldNormal;
    const OdGeVector3d across =
        (matrix * fromOld.column(0)).crossProduct(matrix * fromOld.column(1));
    // The share first: a matrix may scale by far more or less than one.
    const double length = across.length();
    if (!std::isfinite(length) || length == 0.0) {
        return false;
    }
    OdGeVector3d newNormal = across / length;
    if (newNormal.dotProduct(along) < 0.0) {
        newNormal = -newNormal;
    }
    const OdGeMatrix3d whole = OdGeMatrix3d::worldToPlane(newNormal) * matrix * fromOld;
    const OdGeVector2d x(whole(0, 0), whole(1, 0));
    const OdGeVector2d y(whole(0, 1), whole(1, 1));
    const double area = std::max(x.lengthSqrd(), y.lengthSqrd());
    if (!std::isfinite(area) || area == 0.0) {
        return false;
    }
    normal = newNormal;
    inPlane = whole;
    scale = x.length();
    alongNormal = along.dotProduct(newNormal);
    isSimilar = std::fabs(x.lengthSqrd() - y.lengthSqrd()) <= kEqualShare * area &&
                std::fabs(x.dotProduct(y)) <= kEqualShare * area;
    isMirrored = x.crossProduct(y) < 0.0;
    keepsExtrusion = (along - newNormal * alongNormal).length() <= kEqualShare * along.length();
    return true;
}

OdGePoint2d PlaneMap::map(OdGePoint2d const& point, double elevation) const
{
    const OdGePoint3d mapped = inPlane * OdGePoint3d(point.x, point.y, elevation);
    return {mapped.x, mapped.y};
}

OdGeVector2d PlaneMap::map(OdGeVector2d const& vector) const
{
    return {inPlane(0, 0) * vector.x + inPlane(0, 1) * vector.y,
            inPlane(1, 0) * vector.x + inPlane(1, 1) * vector.y};
}

bool PlaneMap::holds(double thickness) const
{
    return thickness == 0.0 || (keepsExtrusion && std::isfinite(thickness * alongNormal));
}

double PlaneMap::mapElevation(double elevation) const
{
    return inPlane(2, 2) * elevation + inPlane(2, 3);
}

double PlaneMap::mapAngle(double angleRad) const
{
    return normalAngle(map(OdGeVector2d(std::cos(angleRad), std::sin(angleRad))).angle());
}

OdGePoint3d toWorld(OdGeVector3d const& normal, OdGePoint2d const& point, double elevation)
{
    return OdGeMatrix3d::planeToWorld(normal) * OdGePoint3d(point.x, point.y, elevation);
}

OdGePoint3d toPlane(OdGeVector3d const& normal, OdGePoint3d const& point)
{
    return OdGeMatrix3d::worldToPlane(normal) * point;
}

OdGeVector3d direction(OdGeVector3d const& normal, double angleRad)
{
    return OdGeMatrix3d::planeToWorld(normal) *
           OdGeVector3d(std::cos(angleRad), std::sin(angleRad), 0.0);
}

OdResult giveExtents(OdGeExtents3d const& found, OdGeExtents3d& extents)
{
    // Corners that are finite may still be farther apart than any number tells.
    if (!found.isValidExtents() || !std::isfinite(found.diagonalLength())) {
        return kOdNotApplicable;
    }
    extents = found;
    return kOdOk;
}

void addExtrusion(OdGeExtents3d& extents, OdGeVector3d const& normal, double thickness)
{
    if (thickness == 0.0 || !extents.isValidExtents()) {
        return;
    }
    const OdGeVector3d offset = normal * thickness;
    const OdGePoint3d low = extents.minPoint();
    const OdGePoint3d high = extents.maxPoint();
    extents.addPoint(low + offset);
    extents.addPoint(high + offset);
}

double normalAngle(double angleRad)
{
    const double angle = std::fmod(angleRad, kFullTurn);
    if (!(angle < 0.0)) {
        return angle + 0.0;  // 0 without a sign
    }
    // A tiny negative angle plus the full turn rounds to the full turn, which is the angle 0.
    return angle + kFullTurn < kFullTurn ? angle + kFullTurn : 0.0;
}

}  // namespace odDbPlanar
