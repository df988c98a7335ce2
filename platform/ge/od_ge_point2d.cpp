#include "ge/od_ge_point2d.h"

double OdGePoint2d::distanceTo(OdGePoint2d const& p) const
{
    return (*this - p).length();
}

bool OdGePoint2d::isEqualTo(OdGePoint2d const& p, OdGeTol const& tol) const
{
    return distanceTo(p) <= tol.equalPoint();
}
