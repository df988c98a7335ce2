// Axis-parallel boxes of space that hold other geometry.

#pragma once

#include "ge/od_ge_point3d.h"
#include "ge/od_ge_vector3d.h"

class OdGeMatrix3d;

/// The least axis-parallel box of space around some points, in drawing units.
///
/// A value. It starts empty, with a minimum above its maximum, and grows with what is added to it.
class OdGeExtents3d
{
public:
    constexpr OdGeExtents3d() = default;
    /// The box between two corners; empty if a coordinate of `minimum` is the larger one.
    constexpr OdGeExtents3d(OdGePoint3d const& minimum, OdGePoint3d const& maximum)
        : m_min(minimum), m_max(maximum)
    {
    }

    constexpr OdGePoint3d const& minPoint() const { return m_min; }
    constexpr OdGePoint3d const& maxPoint() const { return m_max; }
    constexpr OdGeExtents3d& set(OdGePoint3d const& minimum, OdGePoint3d const& maximum)
    {
        m_min = minimum;
        m_max = maximum;
        return *this;
    }
    /// Becomes empty.
    constexpr void reset() { *this = OdGeExtents3d(); }
    /// Whether there is anything in the box: no minimum lies above its maximum.
    bool isValidExtents() const;

    /// \name Growing
    /// @{
    /// A point with a coordinate that is no number adds nothing.
    OdGeExtents3d& addPoint(OdGePoint3d const& point);
    /// Adds another box; an empty one adds nothing.
    OdGeExtents3d& addExt(OdGeExtents3d const& extents);
    /// Moves every side outwards by a distance, not below 0; empty extents stay so.
    OdGeExtents3d& expandBy(double distance);
    /// The extents of the transformed box, which may be larger than those of what is in it; empty
    /// extents stay so.
    OdGeExtents3d& transformBy(OdGeMatrix3d const& matrix);
    /// @}

    /// \name Measures
    /// @{
    /// From the minimum to the maximum.
    OdGeVector3d diagonal() const;
    /// Length of the diagonal, as the two corners stand.
    double diagonalLength() const;
    /// The middle; of no meaning for empty extents.
    OdGePoint3d center() const;
    /// @}

    /// \name Questions
    /// Empty extents contain nothing, lie in nothing and are apart from everything.
    /// @{
    bool contains(OdGePoint3d const& point, OdGeTol const& tol = OdGeContext::gTol) const;
    bool contains(OdGeExtents3d const& extents, OdGeTol const& tol = OdGeContext::gTol) const;
    bool isDisjoint(OdGeExtents3d const& extents, OdGeTol const& tol = OdGeContext::gTol) const;
    /// @}

    /// The corners differ by no more than the tolerance for points.
    bool isEqualTo(OdGeExtents3d const& extents, OdGeTol const& tol = OdGeContext::gTol) const;
    constexpr bool operator==(OdGeExtents3d const&) const = default;

private:
    /// Beyond every coordinate of a drawing.
    static constexpr double kEmpty = 1e20;

    OdGePoint3d m_min{kEmpty, kEmpty, kEmpty};
    OdGePoint3d m_max{-kEmpty, -kEmpty, -kEmpty};
};
