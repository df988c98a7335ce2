// Vectors of space.

#pragma once

#include "ge/od_ge_tol.h"

class OdGeMatrix3d;

/// A direction and length in space; a value, zero unless set.
class OdGeVector3d
{
public:
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;

    static const OdGeVector3d kIdentity;  ///< (0, 0, 0)
    static const OdGeVector3d kXAxis;
    static const OdGeVector3d kYAxis;
    static const OdGeVector3d kZAxis;

    constexpr OdGeVector3d() = default;
    constexpr OdGeVector3d(double xValue, double yValue, double zValue)
        : x(xValue), y(yValue), z(zValue)
    {
    }

    constexpr OdGeVector3d& set(double xValue, double yValue, double zValue)
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

    /// \name Arithmetic
    /// @{
    constexpr OdGeVector3d operator+(OdGeVector3d const& v) const
    {
        return {x + v.x, y + v.y, z + v.z};
    }
    constexpr OdGeVector3d operator-(OdGeVector3d const& v) const
    {
        return {x - v.x, y - v.y, z - v.z};
    }
    constexpr OdGeVector3d operator-() const { return {-x, -y, -z}; }
    constexpr OdGeVector3d operator*(double factor) const
    {
        return {x * factor, y * factor, z * factor};
    }
    constexpr OdGeVector3d operator/(double divisor) const
    {
        return {x / divisor, y / divisor, z / divisor};
    }
    constexpr OdGeVector3d& operator+=(OdGeVector3d const& v) { return *this = *this + v; }
    constexpr OdGeVector3d& operator-=(OdGeVector3d const& v) { return *this = *this - v; }
    constexpr OdGeVector3d& operator*=(double factor) { return *this = *this * factor; }
    constexpr OdGeVector3d& operator/=(double divisor) { return *this = *this / divisor; }
    constexpr OdGeVector3d& negate() { return *this = -*this; }
    constexpr double dotProduct(OdGeVector3d const& v) const { return x * v.x + y * v.y + z * v.z; }
    constexpr OdGeVector3d crossProduct(OdGeVector3d const& v) const
    {
        return {y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x};
    }
    /// @}

    /// \name Length and direction
    /// @{
    constexpr double lengthSqrd() const { return dotProduct(*this); }
    double length() const;
    /// Makes the length 1; a vector that counts as zero stays as it is.
    OdGeVector3d& normalize(OdGeTol const& tol = OdGeContext::gTol);
    OdGeVector3d normal(OdGeTol const& tol = OdGeContext::gTol) const;
    /// A unit vector perpendicular to this, chosen by the arbitrary axis algorithm of the DXF
    /// format: the x axis of the entity coordinate system whose z axis is this. The x axis for a
    /// vector that counts as zero.
    OdGeVector3d perpVector() const;
    /// Angle between the two in radians, in [0, pi]; 0 if one is the zero vector.
    double angleTo(OdGeVector3d const& v) const;
    /// Angle from this to `v` in radians, in [0, 2 pi), counterclockwise when seen against the
    /// direction of `refVec`.
    double angleTo(OdGeVector3d const& v, OdGeVector3d const& refVec) const;
    /// Length of this along the direction of `direction`, negative when opposed; 0 if that is zero.
    double lengthAlong(OdGeVector3d const& direction) const;
    /// @}

    /// \name Change in place
    /// @{
    /// Turns about `axis` by the right-hand rule; a zero axis changes nothing.
    OdGeVector3d& rotateBy(double angleRad, OdGeVector3d const& axis);
    /// Reflects in the plane through the origin with the given normal.
    OdGeVector3d& mirror(OdGeVector3d const& normalToPlane);
    /// Applies the matrix without its translation.
    OdGeVector3d& transformBy(OdGeMatrix3d const& matrix);
    /// @}

    /// \name Comparison
    /// @{
    constexpr bool operator==(OdGeVector3d const&) const = default;
    bool isEqualTo(OdGeVector3d const& v, OdGeTol const& tol = OdGeContext::gTol) const;
    bool isZeroLength(OdGeTol const& tol = OdGeContext::gTol) const;
    bool isUnitLength(OdGeTol const& tol = OdGeContext::gTol) const;
    /// Same or opposite direction; false if one counts as zero.
    bool isParallelTo(OdGeVector3d const& v, OdGeTol const& tol = OdGeContext::gTol) const;
    /// Same direction; false if one counts as zero.
    bool isCodirectionalTo(OdGeVector3d const& v, OdGeTol const& tol = OdGeContext::gTol) const;
    bool isPerpendicularTo(OdGeVector3d const& v, OdGeTol const& tol = OdGeContext::gTol) const;
    /// @}
};

inline constexpr OdGeVector3d OdGeVector3d::kIdentity{0.0, 0.0, 0.0};
inline constexpr OdGeVector3d OdGeVector3d::kXAxis{1.0, 0.0, 0.0};
inline constexpr OdGeVector3d OdGeVector3d::kYAxis{0.0, 1.0, 0.0};
inline constexpr OdGeVector3d OdGeVector3d::kZAxis{0.0, 0.0, 1.0};

constexpr OdGeVector3d operator*(double factor, OdGeVector3d const& v)
{
    return v * factor;
}
