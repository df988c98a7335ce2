// Transformations of space as 4 by 4 matrices.

#pragma once

#include "ge/od_ge_point3d.h"
#include "ge/od_ge_scale3d.h"
#include "ge/od_ge_vector3d.h"

class OdGePlane;

/// A transformation of space: a 4 by 4 matrix that multiplies column vectors from the left.
///
/// The upper left 3 by 3 part turns and scales, the last column moves, the last row is (0, 0, 0, 1)
/// for all transformations made here; other last rows are kept and give perspective. A value; the
/// identity unless set.
class OdGeMatrix3d
{
public:
    static constexpr unsigned kSize = 4;

    static const OdGeMatrix3d kIdentity;

    constexpr OdGeMatrix3d() = default;

    /// \name Elements
    /// @{
    /// Row 0 to 3, as four numbers; any other index is an error of the caller.
    constexpr double const* operator[](unsigned row) const { return m_rows[row]; }
    constexpr double* operator[](unsigned row) { return m_rows[row]; }
    constexpr double operator()(unsigned row, unsigned column) const { return m_rows[row][column]; }
    constexpr double& operator()(unsigned row, unsigned column) { return m_rows[row][column]; }
    /// The upper three elements of column 0 to 3.
    constexpr OdGeVector3d column(unsigned index) const
    {
        return {m_rows[0][index], m_rows[1][index], m_rows[2][index]};
    }
    /// @}

    /// \name Algebra
    /// @{
    OdGeMatrix3d operator*(OdGeMatrix3d const& right) const;
    OdGeMatrix3d& operator*=(OdGeMatrix3d const& right) { return postMultBy(right); }
    /// Becomes `left` times this: the transformation so far, then `left`.
    OdGeMatrix3d& preMultBy(OdGeMatrix3d const& left);
    /// Becomes this times `right`: first `right`, then the transformation so far.
    OdGeMatrix3d& postMultBy(OdGeMatrix3d const& right);
    OdGeMatrix3d& setToProduct(OdGeMatrix3d const& left, OdGeMatrix3d const& right);
    /// The transformed point; with perspective it is divided by its fourth coordinate, unless that
    /// is 0.
    OdGePoint3d operator*(OdGePoint3d const& point) const;
    /// The transformed vector, not moved.
    OdGeVector3d operator*(OdGeVector3d const& vector) const;

    /// The determinant of all four rows.
    double det() const;
    /// Whether there is no inverse: the three axes span a volume of at most the tolerance for
    /// vectors, as a share of that of a box of their lengths. So a small scale alone is no matter.
    bool isSingular(OdGeTol const& tol = OdGeContext::gTol) const;
    /// Becomes its own inverse.
    /// \return false, and nothing changed, if it is singular or the inverse's numbers would not be
    ///         finite.
    [[nodiscard]] bool invert(OdGeTol const& tol = OdGeContext::gTol);
    /// The inverse; a singular matrix is returned as it is, see `invert`.
    OdGeMatrix3d inverse(OdGeTol const& tol = OdGeContext::gTol) const;
    OdGeMatrix3d transpose() const;
    /// @}

    /// \name Setting
    /// Angles in radians by the right-hand rule, lengths in drawing units.
    /// @{
    OdGeMatrix3d& setToIdentity();
    OdGeMatrix3d& setToTranslation(OdGeVector3d const& offset);
    /// A rotation about the line through `center` along `axis`; a zero axis gives the identity.
    OdGeMatrix3d& setToRotation(double angleRad, OdGeVector3d const& axis,
                                OdGePoint3d const& center = OdGePoint3d::kOrigin);
    OdGeMatrix3d& setToScaling(double factor, OdGePoint3d const& center = OdGePoint3d::kOrigin);
    OdGeMatrix3d& setToScaling(OdGeScale3d const& factors,
                               OdGePoint3d const& center = OdGePoint3d::kOrigin);
    OdGeMatrix3d& setToMirroring(OdGePlane const& plane);
    /// Point reflection.
    OdGeMatrix3d& setToMirroring(OdGePoint3d const& center);
    /// Half a turn about the line through `linePoint` along `lineDirection`.
    OdGeMatrix3d& setToMirroring(OdGePoint3d const& linePoint, OdGeVector3d const& lineDirection);
    /// Projection onto a plane along a direction; the identity if that is parallel to the plane.
    OdGeMatrix3d& setToProjection(OdGePlane const& plane, OdGeVector3d const& direction);
    /// Maps the origin and the three unit axes to the given ones.
    OdGeMatrix3d& setCoordSystem(OdGePoint3d const& origin, OdGeVector3d const& xAxis,
                                 OdGeVector3d const& yAxis, OdGeVector3d const& zAxis);
    void getCoordSystem(OdGePoint3d& origin, OdGeVector3d& xAxis, OdGeVector3d& yAxis,
                        OdGeVector3d& zAxis) const;
    /// Maps one coordinate system onto another; the identity if the first one spans no volume.
    OdGeMatrix3d& setToAlignCoordSys(OdGePoint3d const& fromOrigin, OdGeVector3d const& fromXAxis,
                                     OdGeVector3d const& fromYAxis, OdGeVector3d const& fromZAxis,
                                     OdGePoint3d const& toOrigin, OdGeVector3d const& toXAxis,
                                     OdGeVector3d const& toYAxis, OdGeVector3d const& toZAxis);
    /// From the entity coordinate system of a normal to world coordinates, by the arbitrary axis
    /// algorithm of the DXF format. Its origin is the world's.
    OdGeMatrix3d& setToPlaneToWorld(OdGeVector3d const& normal);
    OdGeMatrix3d& setToWorldToPlane(OdGeVector3d const& normal);
    OdGeMatrix3d& setTranslation(OdGeVector3d const& offset);
    /// @}

    /// \name Making
    /// @{
    static OdGeMatrix3d translation(OdGeVector3d const& offset);
    static OdGeMatrix3d rotation(double angleRad, OdGeVector3d const& axis,
                                 OdGePoint3d const& center = OdGePoint3d::kOrigin);
    static OdGeMatrix3d scaling(double factor, OdGePoint3d const& center = OdGePoint3d::kOrigin);
    static OdGeMatrix3d scaling(OdGeScale3d const& factors,
                                OdGePoint3d const& center = OdGePoint3d::kOrigin);
    static OdGeMatrix3d mirroring(OdGePlane const& plane);
    static OdGeMatrix3d mirroring(OdGePoint3d const& center);
    static OdGeMatrix3d mirroring(OdGePoint3d const& linePoint, OdGeVector3d const& lineDirection);
    static OdGeMatrix3d planeToWorld(OdGeVector3d const& normal);
    static OdGeMatrix3d worldToPlane(OdGeVector3d const& normal);
    /// @}

    /// \name Properties
    /// @{
    /// The last column: where the origin goes.
    constexpr OdGeVector3d translation() const { return column(3); }
    /// The length of the longest axis.
    double scale() const;
    /// Whether the last row differs from (0, 0, 0, 1) by more than the tolerance for vectors, or has
    /// something that is no number.
    bool isPerspective(OdGeTol const& tol = OdGeContext::gTol) const;
    /// Whether no element is infinite or no number.
    bool isFinite() const;
    /// Whether the axes are mutually perpendicular, all have a length, and no perspective is there.
    /// Lengths don't matter, the tolerance is for angles.
    bool isScaledOrtho(OdGeTol const& tol = OdGeContext::gTol) const;
    /// As `isScaledOrtho`, with axes of equal length: angles stay as they are.
    bool isUniScaledOrtho(OdGeTol const& tol = OdGeContext::gTol) const;
    /// As `isUniScaledOrtho` with axes of length 1: distances stay as they are.
    bool isOrtho(OdGeTol const& tol = OdGeContext::gTol) const;
    constexpr bool operator==(OdGeMatrix3d const&) const = default;
    /// Whether each element is within the tolerance: that for points in the last column, that for
    /// vectors elsewhere.
    bool isEqualTo(OdGeMatrix3d const& matrix, OdGeTol const& tol = OdGeContext::gTol) const;
    /// @}

private:
    bool invertPerspective();

    double m_rows[kSize][kSize] = {
        {1.0, 0.0, 0.0, 0.0}, {0.0, 1.0, 0.0, 0.0}, {0.0, 0.0, 1.0, 0.0}, {0.0, 0.0, 0.0, 1.0}};
};

inline constexpr OdGeMatrix3d OdGeMatrix3d::kIdentity{};
