#include "ge/od_ge_extents3d.h"

#include "ge/od_ge_matrix3d.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr unsigned kAxes = 3;

}  // namespace

bool OdGeExtents3d::isValidExtents() const
{
    for (unsigned i = 0; i < kAxes; ++i) {
        // Written so that numbers which are not finite are not valid.
        if (!(m_min[i] <= m_max[i])) {
            return false;
        }
    }
    return true;
}

OdGeExtents3d& OdGeExtents3d::addPoint(OdGePoint3d const& point)
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

OdGeExtents3d& OdGeExtents3d::addExt(OdGeExtents3d const& extents)
{
    if (!extents.isValidExtents()) {
        return *this;
    }
    return addPoint(extents.m_min).addPoint(extents.m_max);
}

OdGeExtents3d& OdGeExtents3d::expandBy(double distance)
{
    if (isValidExtents()) {
        const OdGeVector3d margin(distance, distance, distance);
        m_min -= margin;
        m_max += margin;
    }
    return *this;
}

OdGeExtents3d& OdGeExtents3d::transformBy(OdGeMatrix3d const& matrix)
{
    if (!isValidExtents()) {
        return *this;
    }
    constexpr unsigned kCorners = 8;
    OdGeExtents3d result;
    for (unsigned corner = 0; corner < kCorners; ++corner) {
        const OdGePoint3d point((corner & 1U) != 0 ? m_max.x : m_min.x,
                                (corner & 2U) != 0 ? m_max.y : m_min.y,
                                (corner & 4U) != 0 ? m_max.z : m_min.z);
        result.addPoint(matrix * point);
    }
    return *this = result;
}

OdGeVector3d OdGeExtents3d::diagonal() const
{
    return m_max - m_min;
}

double OdGeExtents3d::diagonalLength() const
{
    return diagonal().length();
}

OdGePoint3d OdGeExtents3d::center() const
{
    return m_min + diagonal() * 0.5;
}

bool OdGeExtents3d::contains(OdGePoint3d const& point, OdGeTol const& tol) const
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

bool OdGeExtents3d::contains(OdGeExtents3d const& extents, OdGeTol const& tol) const
{
    return extents.isValidExtents() && contains(extents.m_min, tol) && contains(extents.m_max, tol);
}

bool OdGeExtents3d::isDisjoint(OdGeExtents3d const& extents, OdGeTol const& tol) const
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

bool OdGeExtents3d::isEqualTo(OdGeExtents3d const& extents, OdGeTol const& tol) const
{
    return m_min.isEqualTo(extents.m_min, tol) && m_max.isEqualTo(extents.m_max, tol);
}
