// Implements od_ge_arc_impl.h.

#include "ge/od_ge_arc_impl.h"

#include <cmath>
#include <initializer_list>

namespace odGeArc {

double angleFrom(double angleRad, double from)
{
    const double turns = std::floor((angleRad - from) / kFullTurn);
    const double result = angleRad - turns * kFullTurn;
    // Rounding may put an angle just before `from` a full turn behind it; one that is many turns away
    // may land anywhere.
    return result < from || result >= from + kFullTurn ? from : result;
}

double endAngleAfter(double startAngle, double endAngle)
{
    const double result = angleFrom(endAngle, startAngle);
    return result - startAngle <= kEqualAngle ? startAngle + kFullTurn : result;
}

bool includesAngle(double startAngle, double endAngle, double angleRad)
{
    return angleFrom(angleRad, startAngle) <= endAngle;
}

OdGePoint3d TrigonometricArc::evalPoint(double angleRad) const
{
    return center + major * std::cos(angleRad) + minor * std::sin(angleRad);
}

OdGeVector3d TrigonometricArc::evalTangent(double angleRad) const
{
    return minor * std::cos(angleRad) - major * std::sin(angleRad);
}

OdGeExtents3d TrigonometricArc::extents() const
{
    OdGeExtents3d result;
    result.addPoint(evalPoint(startAngle)).addPoint(evalPoint(endAngle));
    for (unsigned axis = 0; axis < 3; ++axis) {
        // A coordinate has its extremes where its derivative is 0: at this angle and opposite.
        const double extreme = std::atan2(minor[axis], major[axis]);
        for (const double angleRad : {extreme, extreme + std::numbers::pi}) {
            if (includesAngle(startAngle, endAngle, angleRad)) {
                result.addPoint(evalPoint(angleRad));
            }
        }
    }
    return result;
}

}  // namespace odGeArc
