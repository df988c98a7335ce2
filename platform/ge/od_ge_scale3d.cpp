#include "ge/od_ge_scale3d.h"

#include <cmath>

bool OdGeScale3d::isProportional(OdGeTol const& tol) const
{
    const double size = std::fabs(sx);
    return std::fabs(size - std::fabs(sy)) <= tol.equalVector() &&
           std::fabs(size - std::fabs(sz)) <= tol.equalVector();
}

bool OdGeScale3d::isEqualTo(OdGeScale3d const& s, OdGeTol const& tol) const
{
    return std::fabs(sx - s.sx) <= tol.equalVector() && std::fabs(sy - s.sy) <= tol.equalVector() &&
           std::fabs(sz - s.sz) <= tol.equalVector();
}
