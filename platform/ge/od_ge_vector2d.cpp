#include "ge/od_ge_vector2d.h"

#include "ge/od_ge_vector3d.h"

#include <cmath>
#include <numbers>

double OdGeVector2d::length() const
{
    // The plain root is fast and exact for small integers; only squares near the ends of the range
    // need the slower form that scales first.
    constexpr double kLeastSquare = 1e-280;
    constexpr double kLargestSquare = 1e280;
    const double squared = lengthSqrd();
    if (squared > kLeastSquare && squared < kLargestSquare) {
        return std::sqrt(squared);
    }
    return std::hypot(x, y);
}

OdGeVector2d& OdGeVector2d::normalize(OdGeTol const& tol)
{
    if (!isZeroLength(tol)) {
        *this /= length();
    }
    return *this;
}

OdGeVector2d OdGeVector2d::normal(OdGeTol const& tol) const
{
    return OdGeVector2d(*this).normalize(tol);
}

double OdGeVector2d::angle() const
{
    constexpr double kFullTurn = 2.0 * std::numbers::pi;
    const double angleRad = std::atan2(y, x);
    if (angleRad >= 0.0) {
        return angleRad;
    }
    // A tiny negative angle plus the full turn rounds to the full turn, which is the angle 0.
    return angleRad + kFullTurn < kFullTurn ? angleRad + kFullTurn : 0.0;
}

double OdGeVector2d::angleTo(OdGeVector2d const& v) const
{
    return OdGeVector3d(x, y, 0.0).angleTo(OdGeVector3d(v.x, v.y, 0.0));
}

OdGeVector2d& OdGeVector2d::rotateBy(double angleRad)
{
    const double sine = std::sin(angleRad);
    const double cosine = std::cos(angleRad);
    return set(x * cosine - y * sine, x * sine + y * cosine);
}

bool OdGeVector2d::isEqualTo(OdGeVector2d const& v, OdGeTol const& tol) const
{
    return (*this - v).length() <= tol.equalVector();
}

bool OdGeVector2d::isZeroLength(OdGeTol const& tol) const
{
    return length() <= tol.equalVector();
}

bool OdGeVector2d::isUnitLength(OdGeTol const& tol) const
{
    return std::fabs(length() - 1.0) <= tol.equalVector();
}

bool OdGeVector2d::isParallelTo(OdGeVector2d const& v, OdGeTol const& tol) const
{
    if (isZeroLength(tol) || v.isZeroLength(tol)) {
        return false;
    }
    return std::fabs(normal(tol).crossProduct(v.normal(tol))) <= tol.equalVector();
}

bool OdGeVector2d::isPerpendicularTo(OdGeVector2d const& v, OdGeTol const& tol) const
{
    if (isZeroLength(tol) || v.isZeroLength(tol)) {
        return false;
    }
    return std::fabs(normal(tol).dotProduct(v.normal(tol))) <= tol.equalVector();
}
