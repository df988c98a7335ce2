#include "ge/od_ge_point3d.h"

#include "ge/od_ge_matrix3d.h"
#include "ge/od_ge_plane.h"

double OdGePoint3d::distanceTo(OdGePoint3d const& p) const
{
    return (*this - p).length();
}

OdGePoint3d& OdGePoint3d::transformBy(OdGeMatrix3d const& matrix)
{
    return *this = matrix * *this;
}

OdGePoint3d& OdGePoint3d::rotateBy(double angleRad, OdGeVector3d const& axis,
                                   OdGePoint3d const& center)
{
    OdGeVector3d fromCenter = *this - center;
    return *this = center + fromCenter.rotateBy(angleRad, axis);
}

OdGePoint3d& OdGePoint3d::mirror(OdGePlane const& plane)
{
    return *this -= plane.normal() * (2.0 * plane.signedDistanceTo(*this));
}

OdGePoint3d& OdGePoint3d::scaleBy(double factor, OdGePoint3d const& center)
{
    return *this = center + (*this - center) * factor;
}

bool OdGePoint3d::isEqualTo(OdGePoint3d const& p, OdGeTol const& tol) const
{
    return distanceTo(p) <= tol.equalPoint();
}
