#include "ge/od_ge_vector3d.h"

#include "ge/od_ge_matrix3d.h"

#include <algorithm>
#include <cmath>
#include <numbers>

double OdGeVector3d::length() const
{
    // The plain root is fast and exact for small integers; only squares near the ends of the range
    // need the slower form that scales first.
    constexpr double kLeastSquare = 1e-280;
    constexpr double kLargestSquare = 1e280;
    const double squared = lengthSqrd();
    if (squared > kLeastSquare && squared < kLargestSquare) {
        return std::sqrt(squared);
    }
    return std::hypot(x, y, z);
}

OdGeVector3d& OdGeVector3d::normalize(OdGeTol const& tol)
{
    if (!isZeroLength(tol)) {
        *this /= length();
    }
    return *this;
}

OdGeVector3d OdGeVector3d::normal(OdGeTol const& tol) const
{
    return OdGeVector3d(*this).normalize(tol);
}

OdGeVector3d OdGeVector3d::perpVector() const
{
    if (isZeroLength()) {
        return kXAxis;
    }
    constexpr double kNearZAxis = 1.0 / 64.0;
    const OdGeVector3d unit = *this / length();
    const bool isNearZAxis = std::fabs(unit.x) < kNearZAxis && std::fabs(unit.y) < kNearZAxis;
    const OdGeVector3d perpendicular = (isNearZAxis ? kYAxis : kZAxis).crossProduct(unit);
    return perpendicular / perpendicular.length();
}

namespace {

/// The vector with its longest coordinate brought between 1/2 and 1, which changes no digit: products
/// of such neither overflow nor vanish.
OdGeVector3d ofModerateLength(OdGeVector3d const& v)
{
    const double longest = std::max({std::fabs(v.x), std::fabs(v.y), std::fabs(v.z)});
    if (!std::isfinite(longest) || longest == 0.0) {
        return v;
    }
    int exponent = 0;
    static_cast<void>(std::frexp(longest, &exponent));
    return {std::ldexp(v.x, -exponent), std::ldexp(v.y, -exponent), std::ldexp(v.z, -exponent)};
}

}  // namespace

double OdGeVector3d::angleTo(OdGeVector3d const& v) const
{
    // The arc tangent keeps its precision at small and at straight angles, unlike the arc cosine.
    const OdGeVector3d from = ofModerateLength(*this);
    const OdGeVector3d to = ofModerateLength(v);
    return std::atan2(from.crossProduct(to).length(), from.dotProduct(to));
}

double OdGeVector3d::angleTo(OdGeVector3d const& v, OdGeVector3d const& refVec) const
{
    constexpr double kFullTurn = 2.0 * std::numbers::pi;
    const double angleRad = angleTo(v);
    const OdGeVector3d side = ofModerateLength(*this).crossProduct(ofModerateLength(v));
    if (!(side.dotProduct(ofModerateLength(refVec)) < 0.0)) {
        return angleRad;
    }
    // A tiny angle less than the full turn rounds to the full turn, which is the angle 0.
    return kFullTurn - angleRad < kFullTurn ? kFullTurn - angleRad : 0.0;
}

double OdGeVector3d::lengthAlong(OdGeVector3d const& direction) const
{
    const double directionLength = direction.length();
    return directionLength > 0.0 ? dotProduct(direction / directionLength) : 0.0;
}

OdGeVector3d& OdGeVector3d::rotateBy(double angleRad, OdGeVector3d const& axis)
{
    // Rodrigues' rotation formula.
    if (axis.isZeroLength()) {
        return *this;
    }
    const OdGeVector3d unit = axis / axis.length();
    const double cosine = std::cos(angleRad);
    const double sine = std::sin(angleRad);
    return *this = *this * cosine + unit.crossProduct(*this) * sine +
                   unit * (unit.dotProduct(*this) * (1.0 - cosine));
}

OdGeVector3d& OdGeVector3d::mirror(OdGeVector3d const& normalToPlane)
{
    if (normalToPlane.isZeroLength()) {
        return *this;
    }
    const OdGeVector3d unit = normalToPlane / normalToPlane.length();
    return *this -= unit * (2.0 * dotProduct(unit));
}

OdGeVector3d& OdGeVector3d::transformBy(OdGeMatrix3d const& matrix)
{
    return *this = matrix * *this;
}

bool OdGeVector3d::isEqualTo(OdGeVector3d const& v, OdGeTol const& tol) const
{
    return (*this - v).length() <= tol.equalVector();
}

bool OdGeVector3d::isZeroLength(OdGeTol const& tol) const
{
    return length() <= tol.equalVector();
}

bool OdGeVector3d::isUnitLength(OdGeTol const& tol) const
{
    return std::fabs(length() - 1.0) <= tol.equalVector();
}

bool OdGeVector3d::isParallelTo(OdGeVector3d const& v, OdGeTol const& tol) const
{
    if (isZeroLength(tol) || v.isZeroLength(tol)) {
        return false;
    }
    return normal(tol).crossProduct(v.normal(tol)).length() <= tol.equalVector();
}

bool OdGeVector3d::isCodirectionalTo(OdGeVector3d const& v, OdGeTol const& tol) const
{
    return isParallelTo(v, tol) && dotProduct(v) > 0.0;
}

bool OdGeVector3d::isPerpendicularTo(OdGeVector3d const& v, OdGeTol const& tol) const
{
    if (isZeroLength(tol) || v.isZeroLength(tol)) {
        return false;
    }
    return std::fabs(normal(tol).dotProduct(v.normal(tol))) <= tol.equalVector();
}
