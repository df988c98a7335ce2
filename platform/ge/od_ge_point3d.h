// Points of space.

#pragma once

#include "ge/od_ge_vector3d.h"

class OdGePlane;

/// A position in space, in drawing units; a value, the origin unless set.
class OdGePoint3d
{
public:
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;

    static const OdGePoint3d kOrigin;

    constexpr OdGePoint3d() = default;
    constexpr OdGePoint3d(double xValue, double yValue, double zValue)
        : x(xValue), y(yValue), z(zValue)
    {
    }

    constexpr OdGePoint3d& set(double xValue, double yValue, double zValue)
    {
        x = xValue;
        y = yValue;
        z = zValue;
        return *this;
    }

    /// Coordinate 0, 1 or 2; any other index is an error of the caller.
    constexpr double operator[](unsigned index) const
    {
        return index == 0 ? x : index == 1 ? y : z;
    }
    constexpr double& operator[](unsigned index) { return index == 0 ? x : index == 1 ? y : z; }

    constexpr OdGePoint3d operator+(OdGeVector3d const& v) const
    {
        return {x + v.x, y + v.y, z + v.z};
    }
    constexpr OdGePoint3d operator-(OdGeVector3d const& v) const
    {
        return {x - v.x, y - v.y, z - v.z};
    }
    constexpr OdGeVector3d operator-(OdGePoint3d const& p) const
    {
        return {x - p.x, y - p.y, z - p.z};
    }
    constexpr OdGePoint3d& operator+=(OdGeVector3d const& v) { return *this = *this + v; }
    constexpr OdGePoint3d& operator-=(OdGeVector3d const& v) { return *this = *this - v; }
    /// The vector from the origin to this.
    constexpr OdGeVector3d asVector() const { return {x, y, z}; }

    double distanceTo(OdGePoint3d const& p) const;

    /// \name Change in place
    /// @{
    OdGePoint3d& transformBy(OdGeMatrix3d const& matrix);
    /// Turns about the line through `center` along `axis`, by the right-hand rule.
    OdGePoint3d& rotateBy(double angleRad, OdGeVector3d const& axis,
                          OdGePoint3d const& center = kOrigin);
    OdGePoint3d& mirror(OdGePlane const& plane);
    /// Scales the distance from `center`.
    OdGePoint3d& scaleBy(double factor, OdGePoint3d const& center = kOrigin);
    /// @}

    constexpr bool operator==(OdGePoint3d const&) const = default;
    bool isEqualTo(OdGePoint3d const& p, OdGeTol const& tol = OdGeContext::gTol) const;
};

inline constexpr OdGePoint3d OdGePoint3d::kOrigin{0.0, 0.0, 0.0};
