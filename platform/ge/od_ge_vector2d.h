// Vectors of the plane.

#pragma once

#include "ge/od_ge_tol.h"

/// A direction and length in the plane; a value, zero unless set.
class OdGeVector2d
{
public:
    double x = 0.0;
    double y = 0.0;

    static const OdGeVector2d kIdentity;  ///< (0, 0)
    static const OdGeVector2d kXAxis;
    static const OdGeVector2d kYAxis;

    constexpr OdGeVector2d() = default;
    constexpr OdGeVector2d(double xValue, double yValue) : x(xValue), y(yValue) {}

    constexpr OdGeVector2d& set(double xValue, double yValue)
    {
        x = xValue;
        y = yValue;
        return *this;
    }

    /// Coordinate 0 or 1; any other index is an error of the caller.
    constexpr double operator[](unsigned index) const { return index == 0 ? x : y; }
    constexpr double& operator[](unsigned index) { return index == 0 ? x : y; }

    /// \name Arithmetic
    /// @{
    constexpr OdGeVector2d operator+(OdGeVector2d const& v) const { return {x + v.x, y + v.y}; }
    constexpr OdGeVector2d operator-(OdGeVector2d const& v) const { return {x - v.x, y - v.y}; }
    constexpr OdGeVector2d operator-() const { return {-x, -y}; }
    constexpr OdGeVector2d operator*(double factor) const { return {x * factor, y * factor}; }
    constexpr OdGeVector2d operator/(double divisor) const { return {x / divisor, y / divisor}; }
    constexpr OdGeVector2d& operator+=(OdGeVector2d const& v) { return *this = *this + v; }
    constexpr OdGeVector2d& operator-=(OdGeVector2d const& v) { return *this = *this - v; }
    constexpr OdGeVector2d& operator*=(double factor) { return *this = *this * factor; }
    constexpr OdGeVector2d& operator/=(double divisor) { return *this = *this / divisor; }
    constexpr double dotProduct(OdGeVector2d const& v) const { return x * v.x + y * v.y; }
    /// The signed area of the parallelogram; positive if `v` lies counterclockwise of this.
    constexpr double crossProduct(OdGeVector2d const& v) const { return x * v.y - y * v.x; }
    /// @}

    /// \name Length and direction
    /// @{
    constexpr double lengthSqrd() const { return dotProduct(*this); }
    double length() const;
    /// Makes the length 1; a vector that counts as zero stays as it is.
    OdGeVector2d& normalize(OdGeTol const& tol = OdGeContext::gTol);
    OdGeVector2d normal(OdGeTol const& tol = OdGeContext::gTol) const;
    /// This turned by a quarter counterclockwise.
    constexpr OdGeVector2d perpVector() const { return {-y, x}; }
    /// Angle from the x axis in radians, in [0, 2 pi); 0 for the zero vector.
    double angle() const;
    /// Angle between the two in radians, in [0, pi]; 0 if one is the zero vector.
    double angleTo(OdGeVector2d const& v) const;
    OdGeVector2d& rotateBy(double angleRad);
    /// @}

    /// \name Comparison
    /// @{
    constexpr bool operator==(OdGeVector2d const&) const = default;
    bool isEqualTo(OdGeVector2d const& v, OdGeTol const& tol = OdGeContext::gTol) const;
    bool isZeroLength(OdGeTol const& tol = OdGeContext::gTol) const;
    bool isUnitLength(OdGeTol const& tol = OdGeContext::gTol) const;
    bool isParallelTo(OdGeVector2d const& v, OdGeTol const& tol = OdGeContext::gTol) const;
    bool isPerpendicularTo(OdGeVector2d const& v, OdGeTol const& tol = OdGeContext::gTol) const;
    /// @}
};

inline constexpr OdGeVector2d OdGeVector2d::kIdentity{0.0, 0.0};
inline constexpr OdGeVector2d OdGeVector2d::kXAxis{1.0, 0.0};
inline constexpr OdGeVector2d OdGeVector2d::kYAxis{0.0, 1.0};

constexpr OdGeVector2d operator*(double factor, OdGeVector2d const& v)
{
    return v * factor;
}
