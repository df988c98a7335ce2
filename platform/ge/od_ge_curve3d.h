// Curves of space: what all kinds have in common.

#pragma once

#include "ge/od_ge_extents3d.h"
#include "ge/od_ge_point3d.h"
#include "ge/od_ge_vector3d.h"

#include <memory>

class OdGeMatrix3d;

/// A bounded curve, followed by a parameter that grows from its start to its end.
///
/// Curves have a kind, by which an entity recognises those that it can take over. They are copied by
/// `copy` and belong to whoever asked for them.
class OdGeCurve3d
{
public:
    enum class Kind
    {
        kCircArc3d,
        kEllipArc3d
    };

    virtual ~OdGeCurve3d();

    virtual Kind kind() const = 0;
    virtual std::unique_ptr<OdGeCurve3d> copy() const = 0;

    /// \name Along the curve
    /// @{
    virtual double startParam() const = 0;
    virtual double endParam() const = 0;
    /// The point at a parameter; parameters outside of the curve continue it.
    virtual OdGePoint3d evalPoint(double param) const = 0;
    /// The derivative of the point by the parameter.
    virtual OdGeVector3d evalTangent(double param) const = 0;
    OdGePoint3d startPoint() const { return evalPoint(startParam()); }
    OdGePoint3d endPoint() const { return evalPoint(endParam()); }
    /// Whether the end point is the start point.
    bool isClosed(OdGeTol const& tol = OdGeContext::gTol) const;
    /// @}

    /// \name Measures
    /// @{
    /// In drawing units.
    virtual double length() const = 0;
    /// The least axis-parallel box around the curve.
    virtual OdGeExtents3d extents() const = 0;
    /// The parameter, between start and end, of the point of the curve that is nearest; of several
    /// the one with the least parameter.
    virtual double closestParamTo(OdGePoint3d const& point) const = 0;
    OdGePoint3d closestPointTo(OdGePoint3d const& point) const;
    double distanceTo(OdGePoint3d const& point) const;
    bool isOn(OdGePoint3d const& point, OdGeTol const& tol = OdGeContext::gTol) const;
    /// @}

    /// Transforms the curve in place; each parameter keeps its point, unless the kind says
    /// otherwise.
    /// \return false, and nothing changed, if the result is no curve of this kind.
    [[nodiscard]] virtual bool transformBy(OdGeMatrix3d const& matrix) = 0;

protected:
    OdGeCurve3d() = default;
    OdGeCurve3d(OdGeCurve3d const&) = default;
    OdGeCurve3d& operator=(OdGeCurve3d const&) = default;
};
