// What circular and elliptic arcs share: angles, and the trigonometric form of a conic arc.

#pragma once

#include "ge/od_ge_extents3d.h"
#include "ge/od_ge_point3d.h"
#include "ge/od_ge_vector3d.h"

#include <numbers>

namespace odGeArc {

inline constexpr double kFullTurn = 2.0 * std::numbers::pi;

/// Angles below this apart are the same, in radians.
inline constexpr double kEqualAngle = 1e-12;

/// The angle's equal within [from, from + 2 pi).
double angleFrom(double angleRad, double from);

/// The end angle of an arc that starts at `startAngle` and runs counterclockwise: within
/// (start, start + 2 pi]. Equal angles make a full turn. No number, where one of them is not finite.
double endAngleAfter(double startAngle, double endAngle);

/// Whether an angle, or its equal by full turns, lies between the two.
bool includesAngle(double startAngle, double endAngle, double angleRad);

/// The points center + cos(t) major + sin(t) minor for t from start to end.
struct TrigonometricArc
{
    OdGePoint3d center;
    OdGeVector3d major;
    OdGeVector3d minor;
    double startAngle = 0.0;
    double endAngle = kFullTurn;

    OdGePoint3d evalPoint(double angleRad) const;
    OdGeVector3d evalTangent(double angleRad) const;
    OdGeExtents3d extents() const;
};

}  // namespace odGeArc
