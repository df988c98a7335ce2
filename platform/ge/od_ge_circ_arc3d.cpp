#include "ge/od_ge_circ_arc3d.h"

#include "ge/od_ge_arc_impl.h"
#include "ge/od_ge_matrix3d.h"

#include <cmath>

namespace {

odGeArc::TrigonometricArc trigonometricForm(OdGeCircArc3d const& arc)
{
    return {arc.center(), arc.refVec() * arc.radius(),
            arc.normal().crossProduct(arc.refVec()) * arc.radius(), arc.startAngle(),
            arc.endAngle()};
}

}  // namespace

OdGeCircArc3d::OdGeCircArc3d(OdGePoint3d const& center, OdGeVector3d const& normal, double radius)
    : OdGeCircArc3d(center, normal, normal.perpVector(), radius, 0.0, kFullTurn)
{
}

OdGeCircArc3d::OdGeCircArc3d(OdGePoint3d const& center, OdGeVector3d const& normal,
                             OdGeVector3d const& refVec, double radius, double startAngle,
                             double endAngle)
    : m_center(center), m_radius(radius)
{
    setAxes(normal, refVec);
    setAngles(startAngle, endAngle);
}

OdGeCircArc3d& OdGeCircArc3d::setCenter(OdGePoint3d const& center)
{
    m_center = center;
    return *this;
}

OdGeCircArc3d& OdGeCircArc3d::setAxes(OdGeVector3d const& normal, OdGeVector3d const& refVec)
{
    m_normal = normal.isZeroLength() ? OdGeVector3d::kZAxis : normal / normal.length();
    const OdGeVector3d inPlane = refVec - m_normal * m_normal.dotProduct(refVec);
    m_refVec = inPlane.isZeroLength() ? m_normal.perpVector() : inPlane / inPlane.length();
    return *this;
}

OdGeCircArc3d& OdGeCircArc3d::setRadius(double radius)
{
    m_radius = radius;
    return *this;
}

OdGeCircArc3d& OdGeCircArc3d::setAngles(double startAngle, double endAngle)
{
    m_startAngle = startAngle;
    m_endAngle = odGeArc::endAngleAfter(startAngle, endAngle);
    return *this;
}

std::unique_ptr<OdGeCurve3d> OdGeCircArc3d::copy() const
{
    return std::make_unique<OdGeCircArc3d>(*this);
}

OdGePoint3d OdGeCircArc3d::evalPoint(double param) const
{
    return trigonometricForm(*this).evalPoint(param);
}

OdGeVector3d OdGeCircArc3d::evalTangent(double param) const
{
    return trigonometricForm(*this).evalTangent(param);
}

double OdGeCircArc3d::length() const
{
    return m_radius * (m_endAngle - m_startAngle);
}

OdGeExtents3d OdGeCircArc3d::extents() const
{
    return trigonometricForm(*this).extents();
}

double OdGeCircArc3d::closestParamTo(OdGePoint3d const& point) const
{
    const OdGeVector3d fromCenter = point - m_center;
    const double along = fromCenter.dotProduct(m_refVec);
    const double across = fromCenter.dotProduct(m_normal.crossProduct(m_refVec));
    if (along == 0.0 && across == 0.0) {
        // On the axis every point of the arc is as near.
        return m_startAngle;
    }
    const double angle = odGeArc::angleFrom(std::atan2(across, along), m_startAngle);
    if (angle <= m_endAngle) {
        return angle;
    }
    const double pastEnd = angle - m_endAngle;
    const double beforeStart = m_startAngle + kFullTurn - angle;
    return pastEnd < beforeStart ? m_endAngle : m_startAngle;
}

bool OdGeCircArc3d::transformBy(OdGeMatrix3d const& matrix)
{
    if (!matrix.isUniScaledOrtho()) {
        return false;
    }
    // The normal follows from the transformed axes, so that a reflection turns it over and each
    // angle keeps its point.
    const OdGeVector3d refVec = matrix * m_refVec;
    const OdGeVector3d across = matrix * m_normal.crossProduct(m_refVec);
    const double scale = refVec.length();
    const OdGePoint3d center = matrix * m_center;
    if (!std::isfinite(center.asVector().length()) || !std::isfinite(m_radius * scale)) {
        return false;
    }
    m_center = center;
    m_radius *= scale;
    setAxes((refVec / scale).crossProduct(across / scale), refVec / scale);
    return true;
}

bool OdGeCircArc3d::isEqualTo(OdGeCircArc3d const& arc, OdGeTol const& tol) const
{
    return m_center.isEqualTo(arc.m_center, tol) && m_normal.isEqualTo(arc.m_normal, tol) &&
           std::fabs(m_radius - arc.m_radius) <= tol.equalPoint() &&
           startPoint().isEqualTo(arc.startPoint(), tol) &&
           std::fabs((m_endAngle - m_startAngle) - (arc.m_endAngle - arc.m_startAngle)) *
                   m_radius <=
               tol.equalPoint();
}
