// Axis-parallel boxes of the plane that hold other geometry.

#pragma once

#include "ge/od_ge_point2d.h"
#include "ge/od_ge_vector2d.h"

/// The least axis-parallel box of the plane around some points, in drawing units.
///
/// A value. It starts empty, with a minimum above its maximum, and grows with what is added to it.
class OdGeExtents2d
{
public:
    constexpr OdGeExtents2d() = default;
    /// The box between two corners; empty if a coordinate of `minimum` is the larger one.
    constexpr OdGeExtents2d(OdGePoint2d const& minimum, OdGePoint2d const& maximum)
        : m_min(minimum), m_max(maximum)
    {
    }

    constexpr OdGePoint2d const& minPoint() const { return m_min; }
    constexpr OdGePoint2d const& maxPoint() const { return m_max; }
    constexpr OdGeExtents2d& set(OdGePoint2d const& minimum, OdGePoint2d const& maximum)
    {
        m_min = minimum;
        m_max = maximum;
        return *this;
    }
    /// Becomes empty.
    constexpr void reset() { *this = OdGeExtents2d(); }
    /// Whether there is anything in the box: no minimum lies above its maximum.
    bool isValidExtents() const;

    /// \name Growing
    /// @{
    /// A point with a coordinate that is no number adds nothing.
    OdGeExtents2d& addPoint(OdGePoint2d const& point);
    /// Adds another box; an empty one adds nothing.
    OdGeExtents2d& addExt(OdGeExtents2d const& extents);
    /// Moves every side outwards by a distance, not below 0; empty extents stay so.
    OdGeExtents2d& expandBy(double distance);
    /// @}

    /// \name Measures
    /// @{
    /// From the minimum to the maximum.
    OdGeVector2d diagonal() const;
    /// Length of the diagonal, as the two corners stand.
    double diagonalLength() const;
    /// The middle; of no meaning for empty extents.
    OdGePoint2d center() const;
    /// @}

    /// \name Questions
    /// Empty extents contain nothing, lie in nothing and are apart from everything.
    /// @{
    bool contains(OdGePoint2d const& point, OdGeTol const& tol = OdGeContext::gTol) const;
    bool contains(OdGeExtents2d const& extents, OdGeTol const& tol = OdGeContext::gTol) const;
    bool isDisjoint(OdGeExtents2d const& extents, OdGeTol const& tol = OdGeContext::gTol) const;
    /// @}

    /// The corners differ by no more than the tolerance for points.
    bool isEqualTo(OdGeExtents2d const& extents, OdGeTol const& tol = OdGeContext::gTol) const;
    constexpr bool operator==(OdGeExtents2d const&) const = default;

private:
    /// Beyond every coordinate of a drawing.
    static constexpr double kEmpty = 1e20;

    OdGePoint2d m_min{kEmpty, kEmpty};
    OdGePoint2d m_max{-kEmpty, -kEmpty};
};
