// Scale factors along the three axes.

#pragma once

#include "ge/od_ge_tol.h"

/// Three scale factors, each 1 unless set; a value. A negative factor mirrors.
class OdGeScale3d
{
public:
    double sx = 1.0;
    double sy = 1.0;
    double sz = 1.0;

    static const OdGeScale3d kIdentity;  ///< (1, 1, 1)

    constexpr OdGeScale3d() = default;
    explicit constexpr OdGeScale3d(double factor) : sx(factor), sy(factor), sz(factor) {}
    constexpr OdGeScale3d(double x, double y, double z) : sx(x), sy(y), sz(z) {}

    constexpr OdGeScale3d& set(double x, double y, double z)
    {
        sx = x;
        sy = y;
        sz = z;
        return *this;
    }

    /// Factor 0, 1 or 2; any other index is an error of the caller.
    constexpr double operator[](unsigned index) const
    {
        return index == 0 ? sx : index == 1 ? sy : sz;
    }
    constexpr double& operator[](unsigned index) { return index == 0 ? sx : index == 1 ? sy : sz; }

    constexpr OdGeScale3d operator*(OdGeScale3d const& s) const
    {
        return {sx * s.sx, sy * s.sy, sz * s.sz};
    }
    constexpr OdGeScale3d operator*(double factor) const
    {
        return {sx * factor, sy * factor, sz * factor};
    }
    constexpr OdGeScale3d& operator*=(OdGeScale3d const& s) { return *this = *this * s; }
    constexpr OdGeScale3d& operator*=(double factor) { return *this = *this * factor; }
    /// The factors that undo these; a factor of 0 has none and becomes infinite.
    constexpr OdGeScale3d inverse() const { return {1.0 / sx, 1.0 / sy, 1.0 / sz}; }
    /// Whether the factors have equal size; their signs may differ.
    bool isProportional(OdGeTol const& tol = OdGeContext::gTol) const;

    constexpr bool operator==(OdGeScale3d const&) const = default;
    /// Whether each factor is within the tolerance for vectors.
    bool isEqualTo(OdGeScale3d const& s, OdGeTol const& tol = OdGeContext::gTol) const;
};

inline constexpr OdGeScale3d OdGeScale3d::kIdentity{1.0, 1.0, 1.0};
