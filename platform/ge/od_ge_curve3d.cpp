#include "ge/od_ge_curve3d.h"

OdGeCurve3d::~OdGeCurve3d() = default;

bool OdGeCurve3d::isClosed(OdGeTol const& tol) const
{
    return startPoint().isEqualTo(endPoint(), tol);
}

OdGePoint3d OdGeCurve3d::closestPointTo(OdGePoint3d const& point) const
{
    return evalPoint(closestParamTo(point));
}

double OdGeCurve3d::distanceTo(OdGePoint3d const& point) const
{
    return closestPointTo(point).distanceTo(point);
}

bool OdGeCurve3d::isOn(OdGePoint3d const& point, OdGeTol const& tol) const
{
    return distanceTo(point) <= tol.equalPoint();
}
