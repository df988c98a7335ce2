#include "ge/od_ge_ellip_arc3d.h"

#include "ge/od_ge_arc_impl.h"
#include "ge/od_ge_circ_arc3d.h"
#include "ge/od_ge_matrix3d.h"

#include <algorithm>
#include <cmath>

namespace {

odGeArc::TrigonometricArc trigonometricForm(OdGeEllipArc3d const& arc)
{
    return {arc.center(), arc.majorAxis() * arc.majorRadius(), arc.minorAxis() * arc.minorRadius(),
            arc.startAngle(), arc.endAngle()};
}

/// Half the derivative, by the parameter, of the squared distance of a point from an ellipse. The
/// point is given by its coordinates along the axes.
class DistanceSlope
{
public:
    DistanceSlope(OdGeEllipArc3d const& arc, OdGePoint3d const& point)
        : m_major(arc.majorRadius()), m_minor(arc.minorRadius()),
          m_x((point - arc.center()).dotProduct(arc.majorAxis())),
          m_y((point - arc.center()).dotProduct(arc.minorAxis()))
    {
    }

    double operator()(double param) const
    {
        const double cosine = std::cos(param);
        const double sine = std::sin(param);
        return m_x * m_major * sine - m_y * m_minor * cosine -
               (m_major * m_major - m_minor * m_minor) * sine * cosine;
    }

    /// The distance without the part across the ellipse's plane.
    double distance(double param) const
    {
        return std::hypot(m_major * std::cos(param) - m_x, m_minor * std::sin(param) - m_y);
    }

private:
    double m_major;
    double m_minor;
    double m_x;
    double m_y;
};

/// A parameter between the two where the slope, not positive at the first and not negative at the
/// second, changes sign: a nearest point.
double bisect(DistanceSlope const& slope, double low, double high)
{
    for (double middle = low + (high - low) / 2.0; low < middle && middle < high;
         middle = low + (high - low) / 2.0) {
        if (slope(middle) > 0.0) {
            high = middle;
        } else {
            low = middle;
        }
    }
    return low;
}

}  // namespace

OdGeEllipArc3d::OdGeEllipArc3d(OdGeCircArc3d const& arc)
    : OdGeEllipArc3d(arc.center(), arc.refVec(), arc.normal().crossProduct(arc.refVec()),
                     arc.radius(), arc.radius(), arc.startAngle(), arc.endAngle())
{
}

OdGeEllipArc3d::OdGeEllipArc3d(OdGePoint3d const& center, OdGeVector3d const& majorAxis,
                               OdGeVector3d const& minorAxis, double majorRadius,
                               double minorRadius, double startAngle, double endAngle)
    : m_center(center), m_majorRadius(majorRadius), m_minorRadius(minorRadius)
{
    setAxes(majorAxis, minorAxis);
    setAngles(startAngle, endAngle);
}

OdGeEllipArc3d& OdGeEllipArc3d::setCenter(OdGePoint3d const& center)
{
    m_center = center;
    return *this;
}

OdGeEllipArc3d& OdGeEllipArc3d::setAxes(OdGeVector3d const& majorAxis,
                                        OdGeVector3d const& minorAxis)
{
    m_majorAxis = majorAxis.isZeroLength() ? OdGeVector3d::kXAxis : majorAxis / majorAxis.length();
    const OdGeVector3d across = minorAxis - m_majorAxis * m_majorAxis.dotProduct(minorAxis);
    m_minorAxis = across.isZeroLength() ? m_majorAxis.perpVector() : across / across.length();
    return *this;
}

OdGeEllipArc3d& OdGeEllipArc3d::setRadii(double majorRadius, double minorRadius)
{
    m_majorRadius = majorRadius;
    m_minorRadius = minorRadius;
    return *this;
}

OdGeEllipArc3d& OdGeEllipArc3d::setAngles(double startAngle, double endAngle)
{
    m_startAngle = startAngle;
    m_endAngle = odGeArc::endAngleAfter(startAngle, endAngle);
    return *this;
}

bool OdGeEllipArc3d::isCircular(OdGeTol const& tol) const
{
    return std::fabs(m_majorRadius - m_minorRadius) <= tol.equalPoint();
}

std::unique_ptr<OdGeCurve3d> OdGeEllipArc3d::copy() const
{
    return std::make_unique<OdGeEllipArc3d>(*this);
}

OdGePoint3d OdGeEllipArc3d::evalPoint(double param) const
{
    return trigonometricForm(*this).evalPoint(param);
}

OdGeVector3d OdGeEllipArc3d::evalTangent(double param) const
{
    return trigonometricForm(*this).evalTangent(param);
}

double OdGeEllipArc3d::length() const
{
    // The integral counts from the minor axis of an ellipse whose first radius is the larger one.
    const bool swapped = m_minorRadius > m_majorRadius;
    const double larger = swapped ? m_minorRadius : m_majorRadius;
    const double smaller = swapped ? m_majorRadius : m_minorRadius;
    const double span = m_endAngle - m_startAngle;
    if (!(larger > 0.0) || !std::isfinite(larger) || !std::isfinite(smaller) ||
        !std::isfinite(m_startAngle) || !std::isfinite(span)) {
        return 0.0;
    }
    const double ratio = smaller / larger;
    const double modulus = std::sqrt((1.0 - ratio) * (1.0 + ratio));
    const double quarter = swapped ? 0.0 : std::numbers::pi / 2.0;
    // Within a turn of 0, where the library's integral is exact and counts no turns.
    const double from = std::remainder(m_startAngle - quarter, kFullTurn);
    return larger * (std::ellint_2(modulus, from + span) - std::ellint_2(modulus, from));
}

OdGeExtents3d OdGeEllipArc3d::extents() const
{
    return trigonometricForm(*this).extents();
}

double OdGeEllipArc3d::closestParamTo(OdGePoint3d const& point) const
{
    // A distance from an ellipse has at most two minima in a turn. Steps this small keep them
    // apart, and the slope at both ends of a step tells whether one lies within. Those of a flat
    // ellipse may be as near to one another as one likes, but on both sides of an axis.
    constexpr unsigned kStepsPerTurn = 256;
    const DistanceSlope slope(*this, point);
    const double span = m_endAngle - m_startAngle;
    // Angles that are not finite have no span; one step then ends at once.
    const unsigned steps =
        span > 0.0 ? static_cast<unsigned>(std::ceil(span / kFullTurn * kStepsPerTurn)) : 1U;

    double best = m_startAngle;
    const auto consider = [&](double param) {
        if (slope.distance(param) < slope.distance(best)) {
            best = param;
        }
    };
    const auto search = [&](double from, double to) {
        if (slope(from) <= 0.0 && slope(to) >= 0.0) {
            consider(bisect(slope, from, to));
        }
    };
    double low = m_startAngle;
    for (unsigned i = 1; i <= steps; ++i) {
        constexpr double kQuarter = std::numbers::pi / 2.0;
        const double high = i == steps ? m_endAngle : m_startAngle + span * i / steps;
        const double axis = std::ceil(low / kQuarter) * kQuarter;
        if (low < axis && axis < high) {
            search(low, axis);
            search(axis, high);
        } else {
            search(low, high);
        }
        low = high;
    }
    consider(m_endAngle);
    return best;
}

bool OdGeEllipArc3d::transformBy(OdGeMatrix3d const& matrix)
{
    if (matrix.isPerspective()) {
        return false;
    }
    OdGeVector3d first = matrix * (m_majorAxis * m_majorRadius);
    OdGeVector3d second = matrix * (m_minorAxis * m_minorRadius);
    const OdGePoint3d center = matrix * m_center;
    // Shares of the longer one from here on: sizes that overflow when squared are no matter.
    const double size = std::fmax(first.length(), second.length());
    if (!std::isnormal(size) || !std::isfinite(center.asVector().length()) ||
        !std::isfinite(first.length()) || !std::isfinite(second.length())) {
        return false;
    }
    first /= size;
    second /= size;
    if (first.length() == 0.0 || second.length() == 0.0 ||
        (first / first.length()).isParallelTo(second / second.length())) {
        return false;
    }
    if (!(first / first.length()).isPerpendicularTo(second / second.length())) {
        // The two are conjugate half diameters; the axes lie where the length of the half diameter
        // is extreme, at the parameter t with tan(2 t) = 2 first second / (first^2 - second^2).
        const double shift = 0.5 * std::atan2(2.0 * first.dotProduct(second),
                                              first.lengthSqrd() - second.lengthSqrd());
        const OdGeVector3d conjugate = first;
        first = conjugate * std::cos(shift) + second * std::sin(shift);
        second = second * std::cos(shift) - conjugate * std::sin(shift);
        m_startAngle -= shift;
        m_endAngle -= shift;
    }
    m_center = center;
    setRadii(first.length() * size, second.length() * size);
    setAxes(first / first.length(), second / second.length());
    return true;
}

bool OdGeEllipArc3d::isEqualTo(OdGeEllipArc3d const& arc, OdGeTol const& tol) const
{
    const auto equalParam = [&](double left, double right) {
        return std::fabs(left - right) * std::max(m_majorRadius, m_minorRadius) <= tol.equalPoint();
    };
    return m_center.isEqualTo(arc.m_center, tol) && m_majorAxis.isEqualTo(arc.m_majorAxis, tol) &&
           m_minorAxis.isEqualTo(arc.m_minorAxis, tol) &&
           std::fabs(m_majorRadius - arc.m_majorRadius) <= tol.equalPoint() &&
           std::fabs(m_minorRadius - arc.m_minorRadius) <= tol.equalPoint() &&
           equalParam(m_startAngle, arc.m_startAngle) && equalParam(m_endAngle, arc.m_endAngle);
}
