#include "ge/od_ge_extents2d.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr unsigned kAxes = 2;

}  // namespace

bool OdGeExtents2d::isValidExtents() const
{
    for (unsigned i = 0; i < kAxes; ++i) {
        // Written so that numbers which are not finite are not valid.
        if (!(m_min[i] <= m_max[i])) {
            return false;
        }
    }
    return true;
}

OdGeExtents2d& OdGeExtents2d::addPoint(OdGePoint2d const& point)
{
    for (unsigned i = 0; i < kAxes; ++i) {
        if (std::isnan(point[i])) {
            return *this;
        }
    }
    if (!isValidExtents()) {
        return set(point, point);
    }
    for (unsigned i = 0; i < kAxes; ++i) {
        m_min[i] = std::min(m_min[i], point[i]);
        m_max[i] = std::max(m_max[i], point[i]);
    }
    return *this;
}

OdGeExtents2d& OdGeExtents2d::addExt(OdGeExtents2d const& extents)
{
    if (!extents.isValidExtents()) {
        return *this;
    }
    return addPoint(extents.m_min).addPoint(extents.m_max);
}

OdGeExtents2d& OdGeExtents2d::expandBy(double distance)
{
    if (isValidExtents()) {
        const OdGeVector2d margin(distance, distance);
        m_min -= margin;
        m_max += margin;
    }
    return *this;
}

OdGeVector2d OdGeExtents2d::diagonal() const
{
    return m_max - m_min;
}

double OdGeExtents2d::diagonalLength() const
{
    return diagonal().length();
}

OdGePoint2d OdGeExtents2d::center() const
{
    return m_min + diagonal() * 0.5;
}

bool OdGeExtents2d::contains(OdGePoint2d const& point, OdGeTol const& tol) const
{
    if (!isValidExtents()) {
        return false;
    }
    for (unsigned i = 0; i < kAxes; ++i) {
        // Written so that what is no number lies nowhere.
        if (!(point[i] >= m_min[i] - tol.equalPoint() && point[i] <= m_max[i] + tol.equalPoint())) {
            return false;
        }
    }
    return true;
}

bool OdGeExtents2d::contains(OdGeExtents2d const& extents, OdGeTol const& tol) const
{
    return extents.isValidExtents() && contains(extents.m_min, tol) && contains(extents.m_max, tol);
}

bool OdGeExtents2d::isDisjoint(OdGeExtents2d const& extents, OdGeTol const& tol) const
{
    if (!isValidExtents() || !extents.isValidExtents()) {
        return true;
    }
    for (unsigned i = 0; i < kAxes; ++i) {
        if (m_min[i] > extents.m_max[i] + tol.equalPoint() ||
            extents.m_min[i] > m_max[i] + tol.equalPoint()) {
            return true;
        }
    }
    return false;
}

bool OdGeExtents2d::isEqualTo(OdGeExtents2d const& extents, OdGeTol const& tol) const
{
    return m_min.isEqualTo(extents.m_min, tol) && m_max.isEqualTo(extents.m_max, tol);
}
