#include "ge/od_ge_matrix3d.h"

#include "ge/od_ge_plane.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr unsigned kSize = OdGeMatrix3d::kSize;

/// Least pivot, as a share of the largest element, that elimination divides by.
constexpr double kLeastPivot = 1e-14;

/// Makes the translation such that `center` stays where it is.
OdGeMatrix3d& keepFixed(OdGeMatrix3d& matrix, OdGePoint3d const& center)
{
    matrix.setTranslation(OdGeVector3d::kIdentity);
    return matrix.setTranslation(center - matrix * center);
}

OdGeMatrix3d coordSystem(OdGePoint3d const& origin, OdGeVector3d const& xAxis,
                         OdGeVector3d const& yAxis, OdGeVector3d const& zAxis)
{
    OdGeMatrix3d matrix;
    matrix.setCoordSystem(origin, xAxis, yAxis, zAxis);
    return matrix;
}

double largestElement(OdGeMatrix3d const& matrix)
{
    double largest = 0.0;
    for (unsigned row = 0; row < kSize; ++row) {
        for (unsigned column = 0; column < kSize; ++column) {
            largest = std::max(largest, std::fabs(matrix(row, column)));
        }
    }
    return largest;
}

/// The row from `first` on with the largest element in the column.
unsigned pivotRow(OdGeMatrix3d const& matrix, unsigned first)
{
    unsigned best = first;
    for (unsigned row = first + 1; row < kSize; ++row) {
        if (std::fabs(matrix(row, first)) > std::fabs(matrix(best, first))) {
            best = row;
        }
    }
    return best;
}

void scaleRow(double* row, double factor)
{
    for (unsigned column = 0; column < kSize; ++column) {
        row[column] *= factor;
    }
}

void subtractRow(double* row, double const* other, double factor)
{
    for (unsigned column = 0; column < kSize; ++column) {
        row[column] -= factor * other[column];
    }
}

/// A matrix's three axes with lengths around 1, and what they were divided by: powers of two, so no
/// digit is lost, and products of the axes neither overflow nor vanish.
struct ModerateAxes
{
    OdGeVector3d axes[3];
    int exponents[3] = {0, 0, 0};
    bool isValid = true;  ///< each axis has a direction

    explicit ModerateAxes(OdGeMatrix3d const& matrix)
    {
        for (unsigned i = 0; i < 3; ++i) {
            const OdGeVector3d axis = matrix.column(i);
            const double length = axis.length();
            if (!std::isfinite(length) || length == 0.0) {
                isValid = false;
                return;
            }
            static_cast<void>(std::frexp(length, &exponents[i]));
            axes[i].set(std::ldexp(axis.x, -exponents[i]), std::ldexp(axis.y, -exponents[i]),
                        std::ldexp(axis.z, -exponents[i]));
        }
    }

    double volume() const { return axes[0].crossProduct(axes[1]).dotProduct(axes[2]); }
    double boxVolume() const { return axes[0].length() * axes[1].length() * axes[2].length(); }
    bool arePerpendicular(OdGeTol const& tol) const
    {
        return axes[0].isPerpendicularTo(axes[1], tol) && axes[1].isPerpendicularTo(axes[2], tol) &&
               axes[2].isPerpendicularTo(axes[0], tol);
    }
};

}  // namespace

OdGeMatrix3d OdGeMatrix3d::operator*(OdGeMatrix3d const& right) const
{
    OdGeMatrix3d product;
    for (unsigned row = 0; row < kSize; ++row) {
        for (unsigned column = 0; column < kSize; ++column) {
            double sum = 0.0;
            for (unsigned i = 0; i < kSize; ++i) {
                sum += m_rows[row][i] * right.m_rows[i][column];
            }
            product.m_rows[row][column] = sum;
        }
    }
    return product;
}

OdGeMatrix3d& OdGeMatrix3d::preMultBy(OdGeMatrix3d const& left)
{
    return *this = left * *this;
}

OdGeMatrix3d& OdGeMatrix3d::postMultBy(OdGeMatrix3d const& right)
{
    return *this = *this * right;
}

OdGeMatrix3d& OdGeMatrix3d::setToProduct(OdGeMatrix3d const& left, OdGeMatrix3d const& right)
{
    return *this = left * right;
}

OdGePoint3d OdGeMatrix3d::operator*(OdGePoint3d const& point) const
{
    const OdGePoint3d moved = OdGePoint3d() + *this * point.asVector() + translation();
    const double* last = m_rows[3];
    const double weight = last[0] * point.x + last[1] * point.y + last[2] * point.z + last[3];
    if (weight == 1.0 || weight == 0.0) {
        return moved;
    }
    return {moved.x / weight, moved.y / weight, moved.z / weight};
}

OdGeVector3d OdGeMatrix3d::operator*(OdGeVector3d const& vector) const
{
    return column(0) * vector.x + column(1) * vector.y + column(2) * vector.z;
}

double OdGeMatrix3d::det() const
{
    // Laplace's expansion by the minors of the upper and of the lower two rows.
    const auto upper = [this](unsigned i, unsigned j) {
        return m_rows[0][i] * m_rows[1][j] - m_rows[0][j] * m_rows[1][i];
    };
    const auto lower = [this](unsigned i, unsigned j) {
        return m_rows[2][i] * m_rows[3][j] - m_rows[2][j] * m_rows[3][i];
    };
    return upper(0, 1) * lower(2, 3) - upper(0, 2) * lower(1, 3) + upper(0, 3) * lower(1, 2) +
           upper(1, 2) * lower(0, 3) - upper(1, 3) * lower(0, 2) + upper(2, 3) * lower(0, 1);
}

bool OdGeMatrix3d::isSingular(OdGeTol const& tol) const
{
    if (isPerspective(tol)) {
        return !OdGeMatrix3d(*this).invertPerspective();
    }
    const ModerateAxes axes(*this);
    return !axes.isValid || !(std::fabs(axes.volume()) > tol.equalVector() * axes.boxVolume());
}

bool OdGeMatrix3d::invert(OdGeTol const& tol)
{
    if (isPerspective(tol)) {
        return invertPerspective();
    }
    if (isSingular(tol)) {
        return false;
    }
    // The rows of the inverse are the cross products of the axes over their volume.
    const ModerateAxes from(*this);
    const double volume = from.volume();
    const OdGeVector3d offset = translation();
    OdGeMatrix3d result;
    for (unsigned row = 0; row < 3; ++row) {
        const OdGeVector3d across =
            from.axes[(row + 1) % 3].crossProduct(from.axes[(row + 2) % 3]) / volume;
        for (unsigned column = 0; column < 3; ++column) {
            result(row, column) = std::ldexp(across[column], -from.exponents[row]);
        }
        result(row, 3) = -std::ldexp(across.dotProduct(offset), -from.exponents[row]);
    }
    if (!result.isFinite()) {
        return false;
    }
    *this = result;
    return true;
}

bool OdGeMatrix3d::invertPerspective()
{
    // Gauss-Jordan elimination with row pivots.
    OdGeMatrix3d left = *this;
    OdGeMatrix3d right;
    const double leastPivot = kLeastPivot * largestElement(left);
    for (unsigned i = 0; i < kSize; ++i) {
        const unsigned pivot = pivotRow(left, i);
        if (!(std::fabs(left(pivot, i)) > leastPivot)) {
            return false;
        }
        std::swap(left.m_rows[i], left.m_rows[pivot]);
        std::swap(right.m_rows[i], right.m_rows[pivot]);
        const double factor = 1.0 / left(i, i);
        scaleRow(left[i], factor);
        scaleRow(right[i], factor);
        for (unsigned row = 0; row < kSize; ++row) {
            if (row != i) {
                const double share = left(row, i);
                subtractRow(left[row], left[i], share);
                subtractRow(right[row], right[i], share);
            }
        }
    }
    if (!right.isFinite()) {
        return false;
    }
    *this = right;
    return true;
}

OdGeMatrix3d OdGeMatrix3d::inverse(OdGeTol const& tol) const
{
    OdGeMatrix3d result = *this;
    // A singular matrix stays as it is, which is what this function promises for it.
    static_cast<void>(result.invert(tol));
    return result;
}

OdGeMatrix3d OdGeMatrix3d::transpose() const
{
    OdGeMatrix3d result;
    for (unsigned row = 0; row < kSize; ++row) {
        for (unsigned column = 0; column < kSize; ++column) {
            result.m_rows[column][row] = m_rows[row][column];
        }
    }
    return result;
}

OdGeMatrix3d& OdGeMatrix3d::setToIdentity()
{
    return *this = kIdentity;
}

OdGeMatrix3d& OdGeMatrix3d::setToTranslation(OdGeVector3d const& offset)
{
    return setToIdentity().setTranslation(offset);
}

OdGeMatrix3d& OdGeMatrix3d::setToRotation(double angleRad, OdGeVector3d const& axis,
                                          OdGePoint3d const& center)
{
    OdGeVector3d x = OdGeVector3d::kXAxis;
    OdGeVector3d y = OdGeVector3d::kYAxis;
    OdGeVector3d z = OdGeVector3d::kZAxis;
    setCoordSystem(OdGePoint3d::kOrigin, x.rotateBy(angleRad, axis), y.rotateBy(angleRad, axis),
                   z.rotateBy(angleRad, axis));
    return keepFixed(*this, center);
}

OdGeMatrix3d& OdGeMatrix3d::setToScaling(double factor, OdGePoint3d const& center)
{
    return setToScaling(OdGeScale3d(factor), center);
}

OdGeMatrix3d& OdGeMatrix3d::setToScaling(OdGeScale3d const& factors, OdGePoint3d const& center)
{
    setToIdentity();
    for (unsigned i = 0; i < 3; ++i) {
        m_rows[i][i] = factors[i];
    }
    return keepFixed(*this, center);
}

OdGeMatrix3d& OdGeMatrix3d::setToMirroring(OdGePlane const& plane)
{
    // Householder's reflection in the plane's normal.
    OdGeVector3d x = OdGeVector3d::kXAxis;
    OdGeVector3d y = OdGeVector3d::kYAxis;
    OdGeVector3d z = OdGeVector3d::kZAxis;
    setCoordSystem(OdGePoint3d::kOrigin, x.mirror(plane.normal()), y.mirror(plane.normal()),
                   z.mirror(plane.normal()));
    return keepFixed(*this, plane.origin());
}

OdGeMatrix3d& OdGeMatrix3d::setToMirroring(OdGePoint3d const& center)
{
    return setToScaling(-1.0, center);
}

OdGeMatrix3d& OdGeMatrix3d::setToMirroring(OdGePoint3d const& linePoint,
                                           OdGeVector3d const& lineDirection)
{
    // Half a turn maps v to 2 (u v) u - v: exact, where a rotation by pi carries a rounded sine.
    if (lineDirection.isZeroLength()) {
        return setToIdentity();
    }
    const OdGeVector3d unit = lineDirection / lineDirection.length();
    const auto turned = [&unit](OdGeVector3d const& axis) {
        return unit * (2.0 * unit.dotProduct(axis)) - axis;
    };
    setCoordSystem(OdGePoint3d::kOrigin, turned(OdGeVector3d::kXAxis), turned(OdGeVector3d::kYAxis),
                   turned(OdGeVector3d::kZAxis));
    return keepFixed(*this, linePoint);
}

OdGeMatrix3d& OdGeMatrix3d::setToProjection(OdGePlane const& plane, OdGeVector3d const& direction)
{
    const OdGeVector3d normal = plane.normal();
    if (direction.isZeroLength() || normal.isPerpendicularTo(direction)) {
        return setToIdentity();
    }
    const double rise = normal.dotProduct(direction);
    const auto projected = [&](OdGeVector3d const& axis) {
        return axis - direction * (normal.dotProduct(axis) / rise);
    };
    setCoordSystem(OdGePoint3d::kOrigin, projected(OdGeVector3d::kXAxis),
                   projected(OdGeVector3d::kYAxis), projected(OdGeVector3d::kZAxis));
    return keepFixed(*this, plane.origin());
}

OdGeMatrix3d& OdGeMatrix3d::setCoordSystem(OdGePoint3d const& origin, OdGeVector3d const& xAxis,
                                           OdGeVector3d const& yAxis, OdGeVector3d const& zAxis)
{
    setToIdentity();
    for (unsigned row = 0; row < 3; ++row) {
        m_rows[row][0] = xAxis[row];
        m_rows[row][1] = yAxis[row];
        m_rows[row][2] = zAxis[row];
        m_rows[row][3] = origin[row];
    }
    return *this;
}

void OdGeMatrix3d::getCoordSystem(OdGePoint3d& origin, OdGeVector3d& xAxis, OdGeVector3d& yAxis,
                                  OdGeVector3d& zAxis) const
{
    origin = OdGePoint3d() + translation();
    xAxis = column(0);
    yAxis = column(1);
    zAxis = column(2);
}

OdGeMatrix3d&
OdGeMatrix3d::setToAlignCoordSys(OdGePoint3d const& fromOrigin, OdGeVector3d const& fromXAxis,
                                 OdGeVector3d const& fromYAxis, OdGeVector3d const& fromZAxis,
                                 OdGePoint3d const& toOrigin, OdGeVector3d const& toXAxis,
                                 OdGeVector3d const& toYAxis, OdGeVector3d const& toZAxis)
{
    OdGeMatrix3d from = coordSystem(fromOrigin, fromXAxis, fromYAxis, fromZAxis);
    if (!from.invert()) {
        return setToIdentity();
    }
    return *this = coordSystem(toOrigin, toXAxis, toYAxis, toZAxis) * from;
}

OdGeMatrix3d& OdGeMatrix3d::setToPlaneToWorld(OdGeVector3d const& normal)
{
    const OdGeVector3d z = normal.isZeroLength() ? OdGeVector3d::kZAxis : normal / normal.length();
    const OdGeVector3d x = z.perpVector();
    return setCoordSystem(OdGePoint3d::kOrigin, x, z.crossProduct(x), z);
}

OdGeMatrix3d& OdGeMatrix3d::setToWorldToPlane(OdGeVector3d const& normal)
{
    // The axes are orthonormal and the origin stays, so the transpose is the inverse.
    return *this = planeToWorld(normal).transpose();
}

OdGeMatrix3d& OdGeMatrix3d::setTranslation(OdGeVector3d const& offset)
{
    for (unsigned row = 0; row < 3; ++row) {
        m_rows[row][3] = offset[row];
    }
    return *this;
}

OdGeMatrix3d OdGeMatrix3d::translation(OdGeVector3d const& offset)
{
    return OdGeMatrix3d().setToTranslation(offset);
}

OdGeMatrix3d OdGeMatrix3d::rotation(double angleRad, OdGeVector3d const& axis,
                                    OdGePoint3d const& center)
{
    return OdGeMatrix3d().setToRotation(angleRad, axis, center);
}

OdGeMatrix3d OdGeMatrix3d::scaling(double factor, OdGePoint3d const& center)
{
    return OdGeMatrix3d().setToScaling(factor, center);
}

OdGeMatrix3d OdGeMatrix3d::scaling(OdGeScale3d const& factors, OdGePoint3d const& center)
{
    return OdGeMatrix3d().setToScaling(factors, center);
}

OdGeMatrix3d OdGeMatrix3d::mirroring(OdGePlane const& plane)
{
    return OdGeMatrix3d().setToMirroring(plane);
}

OdGeMatrix3d OdGeMatrix3d::mirroring(OdGePoint3d const& center)
{
    return OdGeMatrix3d().setToMirroring(center);
}

OdGeMatrix3d OdGeMatrix3d::mirroring(OdGePoint3d const& linePoint,
                                     OdGeVector3d const& lineDirection)
{
    return OdGeMatrix3d().setToMirroring(linePoint, lineDirection);
}

OdGeMatrix3d OdGeMatrix3d::planeToWorld(OdGeVector3d const& normal)
{
    return OdGeMatrix3d().setToPlaneToWorld(normal);
}

OdGeMatrix3d OdGeMatrix3d::worldToPlane(OdGeVector3d const& normal)
{
    return OdGeMatrix3d().setToWorldToPlane(normal);
}

double OdGeMatrix3d::scale() const
{
    return std::max({column(0).length(), column(1).length(), column(2).length()});
}

bool OdGeMatrix3d::isPerspective(OdGeTol const& tol) const
{
    for (unsigned column = 0; column < kSize; ++column) {
        // Written so that what is no number counts as perspective.
        if (!(std::fabs(m_rows[3][column] - kIdentity(3, column)) <= tol.equalVector())) {
            return true;
        }
    }
    return false;
}

bool OdGeMatrix3d::isFinite() const
{
    for (double const(&row)[kSize] : m_rows) {
        if (!std::all_of(row, row + kSize, [](double value) { return std::isfinite(value); })) {
            return false;
        }
    }
    return true;
}

bool OdGeMatrix3d::isScaledOrtho(OdGeTol const& tol) const
{
    const ModerateAxes axes(*this);
    return !isPerspective(tol) && axes.isValid && axes.arePerpendicular(tol);
}

bool OdGeMatrix3d::isUniScaledOrtho(OdGeTol const& tol) const
{
    if (!isScaledOrtho(tol)) {
        return false;
    }
    // Relative to the scale, so that the answer does not depend on the unit of length.
    const double xLength = column(0).length();
    return std::fabs(column(1).length() / xLength - 1.0) <= tol.equalVector() &&
           std::fabs(column(2).length() / xLength - 1.0) <= tol.equalVector();
}

bool OdGeMatrix3d::isOrtho(OdGeTol const& tol) const
{
    return isScaledOrtho(tol) && column(0).isUnitLength(tol) && column(1).isUnitLength(tol) &&
           column(2).isUnitLength(tol);
}

bool OdGeMatrix3d::isEqualTo(OdGeMatrix3d const& matrix, OdGeTol const& tol) const
{
    for (unsigned row = 0; row < kSize; ++row) {
        for (unsigned column = 0; column < kSize; ++column) {
            const double allowed = column == 3 && row < 3 ? tol.equalPoint() : tol.equalVector();
            // Written so that numbers which are not finite are never equal.
            if (!(std::fabs(m_rows[row][column] - matrix.m_rows[row][column]) <= allowed)) {
                return false;
            }
        }
    }
    return true;
}
