#include "ge/od_ge_plane.h"

#include "ge/od_ge_matrix3d.h"

#include <cmath>

OdGePlane::OdGePlane(OdGePoint3d const& origin, OdGeVector3d const& normal) : m_origin(origin)
{
    if (!normal.isZeroLength()) {
        m_normal = normal / normal.length();
        m_xAxis = m_normal.perpVector();
    }
}

OdGePlane::OdGePlane(OdGePoint3d const& origin, OdGeVector3d const& uAxis,
                     OdGeVector3d const& vAxis)
    : m_origin(origin)
{
    if (uAxis.isZeroLength() || vAxis.isZeroLength() || uAxis.isParallelTo(vAxis)) {
        return;
    }
    m_xAxis = uAxis / uAxis.length();
    const OdGeVector3d normal = m_xAxis.crossProduct(vAxis / vAxis.length());
    m_normal = normal / normal.length();
}

void OdGePlane::getCoordSystem(OdGePoint3d& origin, OdGeVector3d& xAxis, OdGeVector3d& yAxis) const
{
    origin = m_origin;
    xAxis = m_xAxis;
    yAxis = this->yAxis();
}

void OdGePlane::getCoefficients(double& a, double& b, double& c, double& d) const
{
    a = m_normal.x;
    b = m_normal.y;
    c = m_normal.z;
    d = -m_normal.dotProduct(m_origin.asVector());
}

double OdGePlane::signedDistanceTo(OdGePoint3d const& point) const
{
    return m_normal.dotProduct(point - m_origin);
}

double OdGePlane::distanceTo(OdGePoint3d const& point) const
{
    return std::fabs(signedDistanceTo(point));
}

bool OdGePlane::isOn(OdGePoint3d const& point, OdGeTol const& tol) const
{
    return distanceTo(point) <= tol.equalPoint();
}

OdGePoint3d OdGePlane::closestPointTo(OdGePoint3d const& point) const
{
    return point - m_normal * signedDistanceTo(point);
}

OdGePoint2d OdGePlane::paramOf(OdGePoint3d const& point) const
{
    const OdGeVector3d fromOrigin = point - m_origin;
    return {fromOrigin.dotProduct(m_xAxis), fromOrigin.dotProduct(yAxis())};
}

OdGePoint3d OdGePlane::evalPoint(OdGePoint2d const& parameters) const
{
    return m_origin + m_xAxis * parameters.x + yAxis() * parameters.y;
}

bool OdGePlane::intersectWithLine(OdGePoint3d const& linePoint, OdGeVector3d const& lineDirection,
                                  OdGePoint3d& result, OdGeTol const& tol) const
{
    if (lineDirection.isZeroLength(tol) || m_normal.isPerpendicularTo(lineDirection, tol)) {
        return false;
    }
    const double steps = -signedDistanceTo(linePoint) / m_normal.dotProduct(lineDirection);
    result = linePoint + lineDirection * steps;
    return true;
}

OdGePlane& OdGePlane::transformBy(OdGeMatrix3d const& matrix)
{
    const OdGeVector3d xAxis = matrix * m_xAxis;
    const OdGeVector3d yAxis = matrix * this->yAxis();
    const double xLength = xAxis.length();
    const double yLength = yAxis.length();
    // By directions alone: a small scale flattens nothing. What is no number does.
    if (!std::isnormal(xLength) || !std::isnormal(yLength) ||
        (xAxis / xLength).isParallelTo(yAxis / yLength)) {
        return *this;
    }
    return *this = OdGePlane(matrix * m_origin, xAxis / xLength, yAxis / yLength);
}

bool OdGePlane::isParallelTo(OdGePlane const& plane, OdGeTol const& tol) const
{
    return m_normal.isParallelTo(plane.m_normal, tol);
}

bool OdGePlane::isCoplanarTo(OdGePlane const& plane, OdGeTol const& tol) const
{
    return isParallelTo(plane, tol) && isOn(plane.m_origin, tol);
}
