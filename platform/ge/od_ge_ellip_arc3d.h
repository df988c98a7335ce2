// Ellipses and elliptic arcs.

#pragma once

#include "ge/od_ge_curve3d.h"

#include <numbers>

class OdGeCircArc3d;

/// An ellipse or a part of one.
///
/// The point at parameter t is center + cos(t) majorRadius majorAxis + sin(t) minorRadius minorAxis;
/// t is in radians, but only on the axes the angle at the center. The axes have length 1 and are
/// perpendicular; the names do not say which radius is the larger one. A value; the unit circle of
/// the x-y plane unless set. Start and end parameter are kept as the angles of a circular arc are.
class OdGeEllipArc3d final : public OdGeCurve3d
{
public:
    static constexpr double kFullTurn = 2.0 * std::numbers::pi;

    OdGeEllipArc3d() = default;
    /// From a circular arc, with the same parameters.
    explicit OdGeEllipArc3d(OdGeCircArc3d const& arc);
    /// Radii in drawing units, above 0. The axes are made perpendicular as by `setAxes`.
    OdGeEllipArc3d(OdGePoint3d const& center, OdGeVector3d const& majorAxis,
                   OdGeVector3d const& minorAxis, double majorRadius, double minorRadius,
                   double startAngle = 0.0, double endAngle = kFullTurn);

    /// \name Properties
    /// @{
    OdGePoint3d const& center() const { return m_center; }
    OdGeVector3d const& majorAxis() const { return m_majorAxis; }
    OdGeVector3d const& minorAxis() const { return m_minorAxis; }
    /// Major axis times minor axis, of length 1.
    OdGeVector3d normal() const { return m_majorAxis.crossProduct(m_minorAxis); }
    double majorRadius() const { return m_majorRadius; }
    double minorRadius() const { return m_minorRadius; }
    double startAngle() const { return m_startAngle; }
    double endAngle() const { return m_endAngle; }
    OdGeEllipArc3d& setCenter(OdGePoint3d const& center);
    /// Takes the direction of `majorAxis`, and of `minorAxis` what is perpendicular to it. A zero
    /// major axis stands for the x axis; a minor axis that is zero or parallel for any that is
    /// perpendicular.
    OdGeEllipArc3d& setAxes(OdGeVector3d const& majorAxis, OdGeVector3d const& minorAxis);
    OdGeEllipArc3d& setRadii(double majorRadius, double minorRadius);
    OdGeEllipArc3d& setAngles(double startAngle, double endAngle);
    bool isCircular(OdGeTol const& tol = OdGeContext::gTol) const;
    /// @}

    Kind kind() const override { return Kind::kEllipArc3d; }
    std::unique_ptr<OdGeCurve3d> copy() const override;
    double startParam() const override { return m_startAngle; }
    double endParam() const override { return m_endAngle; }
    OdGePoint3d evalPoint(double param) const override;
    OdGeVector3d evalTangent(double param) const override;
    /// By Legendre's incomplete elliptic integral of the second kind; 0 for an arc whose numbers
    /// are not finite.
    double length() const override;
    OdGeExtents3d extents() const override;
    /// Found to the precision of the parameter; costs some hundred evaluations.
    double closestParamTo(OdGePoint3d const& point) const override;
    /// Takes every matrix without perspective that does not flatten the ellipse. The parameters
    /// shift where the old axes are no axes of the result; start point, end point and direction
    /// stay those of the transformed curve. Afterwards the major radius is the larger one, unless
    /// the axes stayed axes.
    [[nodiscard]] bool transformBy(OdGeMatrix3d const& matrix) override;

    bool isEqualTo(OdGeEllipArc3d const& arc, OdGeTol const& tol = OdGeContext::gTol) const;

private:
    OdGePoint3d m_center;
    OdGeVector3d m_majorAxis = OdGeVector3d::kXAxis;
    OdGeVector3d m_minorAxis = OdGeVector3d::kYAxis;
    double m_majorRadius = 1.0;
    double m_minorRadius = 1.0;
    double m_startAngle = 0.0;
    double m_endAngle = kFullTurn;
};
