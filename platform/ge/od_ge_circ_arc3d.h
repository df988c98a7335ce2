// Circles and circular arcs.

#pragma once

#include "ge/od_ge_curve3d.h"

#include <numbers>

/// A circle or a part of one.
///
/// Its parameter is the angle in radians from the reference vector, counterclockwise about the
/// normal. A value; the unit circle of the x-y plane unless set. An arc runs from its start angle
/// counterclockwise to its end angle, which is kept within (start, start + 2 pi]: equal angles make
/// the whole circle.
class OdGeCircArc3d final : public OdGeCurve3d
{
public:
    static constexpr double kFullTurn = 2.0 * std::numbers::pi;

    OdGeCircArc3d() = default;
    /// A whole circle, with the reference vector of the normal's entity coordinate system.
    OdGeCircArc3d(OdGePoint3d const& center, OdGeVector3d const& normal, double radius);
    /// An arc. The reference vector is made perpendicular to the normal; one that is zero or
    /// parallel to it, and a zero normal, are replaced by the entity coordinate system's.
    OdGeCircArc3d(OdGePoint3d const& center, OdGeVector3d const& normal, OdGeVector3d const& refVec,
                  double radius, double startAngle, double endAngle);

    /// \name Properties
    /// @{
    OdGePoint3d const& center() const { return m_center; }
    OdGeVector3d const& normal() const { return m_normal; }  ///< of length 1
    OdGeVector3d const& refVec() const { return m_refVec; }  ///< of length 1
    double radius() const { return m_radius; }               ///< in drawing units
    double startAngle() const { return m_startAngle; }
    double endAngle() const { return m_endAngle; }
    OdGeCircArc3d& setCenter(OdGePoint3d const& center);
    OdGeCircArc3d& setAxes(OdGeVector3d const& normal, OdGeVector3d const& refVec);
    OdGeCircArc3d& setRadius(double radius);
    OdGeCircArc3d& setAngles(double startAngle, double endAngle);
    /// @}

    Kind kind() const override { return Kind::kCircArc3d; }
    std::unique_ptr<OdGeCurve3d> copy() const override;
    double startParam() const override { return m_startAngle; }
    double endParam() const override { return m_endAngle; }
    OdGePoint3d evalPoint(double param) const override;
    OdGeVector3d evalTangent(double param) const override;
    double length() const override;
    OdGeExtents3d extents() const override;
    double closestParamTo(OdGePoint3d const& point) const override;
    /// Needs a matrix that scales all directions alike, or the circle becomes an ellipse.
    [[nodiscard]] bool transformBy(OdGeMatrix3d const& matrix) override;

    bool isEqualTo(OdGeCircArc3d const& arc, OdGeTol const& tol = OdGeContext::gTol) const;

private:
    OdGePoint3d m_center;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    OdGeVector3d m_refVec = OdGeVector3d::kXAxis;
    double m_radius = 1.0;
    double m_startAngle = 0.0;
    double m_endAngle = kFullTurn;
};
