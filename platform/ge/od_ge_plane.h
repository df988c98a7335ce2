// Planes in space.

#pragma once

#include "ge/od_ge_point2d.h"
#include "ge/od_ge_point3d.h"
#include "ge/od_ge_vector3d.h"

class OdGeMatrix3d;

/// An endless plane with an origin, a unit normal and two unit axes within it.
///
/// The axes and the normal are perpendicular to each other and right-handed. A value; the x-y plane
/// unless set.
class OdGePlane
{
public:
    static const OdGePlane kXYPlane;
    static const OdGePlane kYZPlane;
    static const OdGePlane kZXPlane;

    constexpr OdGePlane() = default;
    /// A plane through a point. The axes follow from the normal by `OdGeVector3d::perpVector`; a
    /// normal that counts as zero stands for the z axis.
    OdGePlane(OdGePoint3d const& origin, OdGeVector3d const& normal);
    /// A plane spanned by two directions. The x axis is that of `uAxis`, the normal is
    /// perpendicular to both; directions that span no plane give the plane whose normal is the z
    /// axis.
    OdGePlane(OdGePoint3d const& origin, OdGeVector3d const& uAxis, OdGeVector3d const& vAxis);

    constexpr OdGePoint3d origin() const { return m_origin; }
    constexpr OdGeVector3d normal() const { return m_normal; }
    constexpr OdGeVector3d xAxis() const { return m_xAxis; }
    constexpr OdGeVector3d yAxis() const { return m_normal.crossProduct(m_xAxis); }
    void getCoordSystem(OdGePoint3d& origin, OdGeVector3d& xAxis, OdGeVector3d& yAxis) const;
    /// The numbers of the equation a x + b y + c z + d = 0, with (a, b, c) the normal.
    void getCoefficients(double& a, double& b, double& c, double& d) const;

    /// \name Points and lines
    /// @{
    /// Distance in drawing units, positive on the side of the normal.
    double signedDistanceTo(OdGePoint3d const& point) const;
    double distanceTo(OdGePoint3d const& point) const;
    bool isOn(OdGePoint3d const& point, OdGeTol const& tol = OdGeContext::gTol) const;
    /// The foot of the perpendicular from the point.
    OdGePoint3d closestPointTo(OdGePoint3d const& point) const;
    /// Coordinates of the foot along the two axes, from the origin.
    OdGePoint2d paramOf(OdGePoint3d const& point) const;
    OdGePoint3d evalPoint(OdGePoint2d const& parameters) const;
    /// Cuts a line.
    /// \return false, and `result` untouched, if the line is parallel to the plane or has no
    ///         direction.
    [[nodiscard]] bool intersectWithLine(OdGePoint3d const& linePoint,
                                         OdGeVector3d const& lineDirection, OdGePoint3d& result,
                                         OdGeTol const& tol = OdGeContext::gTol) const;
    /// @}

    /// Transforms the plane as a set of points; the normal stays perpendicular to it, and turns to
    /// the side that keeps axes and normal right-handed. A matrix that flattens the plane to a line
    /// leaves it unchanged.
    OdGePlane& transformBy(OdGeMatrix3d const& matrix);

    bool isParallelTo(OdGePlane const& plane, OdGeTol const& tol = OdGeContext::gTol) const;
    /// Whether both hold the same points, whatever their origins, axes and sides.
    bool isCoplanarTo(OdGePlane const& plane, OdGeTol const& tol = OdGeContext::gTol) const;
    constexpr bool operator==(OdGePlane const&) const = default;

private:
    constexpr OdGePlane(OdGeVector3d const& unitNormal, OdGeVector3d const& unitXAxis)
        : m_normal(unitNormal), m_xAxis(unitXAxis)
    {
    }

    OdGePoint3d m_origin;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    OdGeVector3d m_xAxis = OdGeVector3d::kXAxis;
};

inline constexpr OdGePlane OdGePlane::kXYPlane{OdGeVector3d::kZAxis, OdGeVector3d::kXAxis};
inline constexpr OdGePlane OdGePlane::kYZPlane{OdGeVector3d::kXAxis, OdGeVector3d::kYAxis};
inline constexpr OdGePlane OdGePlane::kZXPlane{OdGeVector3d::kYAxis, OdGeVector3d::kZAxis};
