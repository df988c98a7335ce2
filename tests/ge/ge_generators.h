// Random geometry for property tests.

#pragma once

#include "ge/od_ge_matrix3d.h"
#include "ge/od_ge_point3d.h"
#include "ge/od_ge_vector3d.h"

#include <rapidcheck.h>

#include <numbers>

namespace geTest {

/// Sums of a few products of numbers up to 100 round by less than this.
inline constexpr double kRounding = 1e-9;

/// A number of [-limit, limit] with three digits behind the point.
inline rc::Gen<double> number(int limit)
{
    return rc::gen::map(rc::gen::inRange(-limit * 1000, limit * 1000 + 1),
                        [](int thousandths) { return thousandths / 1000.0; });
}

inline OdGeVector3d vector()
{
    const double x = *number(100);
    const double y = *number(100);
    const double z = *number(100);
    return {x, y, z};
}

inline OdGePoint3d point()
{
    return OdGePoint3d::kOrigin + vector();
}

/// A vector of a length of at least 1.
inline OdGeVector3d direction()
{
    OdGeVector3d result = vector();
    if (result.length() < 1.0) {
        result += OdGeVector3d(3.0, 0.0, 0.0);
    }
    return result;
}

inline double angle()
{
    return *number(3) * std::numbers::pi;
}

/// A rotation about any line.
inline OdGeMatrix3d rotation()
{
    const OdGePoint3d center = point();
    const OdGeVector3d axis = direction();
    return OdGeMatrix3d::rotation(angle(), axis, center);
}

/// A rotation, a scaling by three factors of [0.5, 3], perhaps mirroring, and a translation.
inline OdGeMatrix3d affineMatrix()
{
    const auto factor = [] {
        const double size = *rc::gen::inRange(500, 3001) / 1000.0;
        return *rc::gen::arbitrary<bool>() ? size : -size;
    };
    const double sx = factor();
    const double sy = factor();
    const double sz = factor();
    const OdGeMatrix3d turn = rotation();
    return rotation() * OdGeMatrix3d::scaling(OdGeScale3d(sx, sy, sz)) * turn;
}

}  // namespace geTest
