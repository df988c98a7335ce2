// Points of the plane.

#pragma once

#include "ge/od_ge_vector2d.h"

/// A position in the plane, in drawing units; a value, the origin unless set.
class OdGePoint2d
{
public:
    double x = 0.0;
    double y = 0.0;

    static const OdGePoint2d kOrigin;

    constexpr OdGePoint2d() = default;
    constexpr OdGePoint2d(double xValue, double yValue) : x(xValue), y(yValue) {}

    constexpr OdGePoint2d& set(double xValue, double yValue)
    {
        x = xValue;
        y = yValue;
        return *this;
    }

    /// Coordinate 0 or 1; any other index is an error of the caller.
    constexpr double operator[](unsigned index) const { return index == 0 ? x : y; }
    constexpr double& operator[](unsigned index) { return index == 0 ? x : y; }

    constexpr OdGePoint2d operator+(OdGeVector2d const& v) const { return {x + v.x, y + v.y}; }
    constexpr OdGePoint2d operator-(OdGeVector2d const& v) const { return {x - v.x, y - v.y}; }
    constexpr OdGeVector2d operator-(OdGePoint2d const& p) const { return {x - p.x, y - p.y}; }
    constexpr OdGePoint2d& operator+=(OdGeVector2d const& v) { return *this = *this + v; }
    constexpr OdGePoint2d& operator-=(OdGeVector2d const& v) { return *this = *this - v; }
    /// The vector from the origin to this.
    constexpr OdGeVector2d asVector() const { return {x, y}; }

    double distanceTo(OdGePoint2d const& p) const;

    constexpr bool operator==(OdGePoint2d const&) const = default;
    bool isEqualTo(OdGePoint2d const& p, OdGeTol const& tol = OdGeContext::gTol) const;
};

inline constexpr OdGePoint2d OdGePoint2d::kOrigin{0.0, 0.0};
