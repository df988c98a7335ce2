#include "ge/ge_generators.h"
#include "ge/od_ge_matrix3d.h"
#include "ge/od_ge_plane.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <limits>
#include <numbers>
#include <type_traits>

using std::numbers::pi;

static_assert(std::is_trivially_copyable_v<OdGeMatrix3d>);

namespace {

const OdGeTol kTol(geTest::kRounding);

/// The identity with a last row that divides by 1 + x.
OdGeMatrix3d perspective()
{
    OdGeMatrix3d m;
    m(3, 0) = 1.0;
    return m;
}

bool isClose(OdGePoint3d const& left, OdGePoint3d const& right)
{
    return left.isEqualTo(right, OdGeTol(1e-6));
}

struct KindCase
{
    char const* name;
    OdGeMatrix3d matrix;
    bool isScaledOrtho;
    bool isUniScaledOrtho;
    bool isOrtho;
};

}  // namespace

TEST(OdGeMatrix3d, IsTheIdentityUnlessSet)
{
    const OdGeMatrix3d m;

    for (unsigned row = 0; row < OdGeMatrix3d::kSize; ++row) {
        for (unsigned column = 0; column < OdGeMatrix3d::kSize; ++column) {
            EXPECT_EQ(m(row, column), row == column ? 1.0 : 0.0);
        }
    }
    EXPECT_EQ(m, OdGeMatrix3d::kIdentity);
}

TEST(OdGeMatrix3d, GivesItsElementsByRows)
{
    OdGeMatrix3d m;
    m[1][3] = 7.0;

    EXPECT_EQ(m(1, 3), 7.0);
    EXPECT_EQ(m[1][1], 1.0);
    EXPECT_EQ(m.translation(), OdGeVector3d(0.0, 7.0, 0.0));
}

TEST(OdGeMatrix3d, ProductAppliesTheRightFactorFirst)
{
    const OdGeMatrix3d move = OdGeMatrix3d::translation(OdGeVector3d(1.0, 0.0, 0.0));
    const OdGeMatrix3d scale = OdGeMatrix3d::scaling(2.0);
    const OdGePoint3d p(1.0, 1.0, 1.0);

    EXPECT_EQ(scale * move * p, OdGePoint3d(4.0, 2.0, 2.0));
    EXPECT_EQ(move * scale * p, OdGePoint3d(3.0, 2.0, 2.0));
    EXPECT_EQ(OdGeMatrix3d(move).preMultBy(scale), scale * move);
    EXPECT_EQ(OdGeMatrix3d(move).postMultBy(scale), move * scale);
    EXPECT_EQ(OdGeMatrix3d().setToProduct(move, scale), move * scale);
}

TEST(OdGeMatrix3d, MovesPointsButNotVectors)
{
    const OdGeMatrix3d move = OdGeMatrix3d::translation(OdGeVector3d(1.0, 2.0, 3.0));

    EXPECT_EQ(move * OdGePoint3d(), OdGePoint3d(1.0, 2.0, 3.0));
    EXPECT_EQ(move * OdGeVector3d::kXAxis, OdGeVector3d::kXAxis);
}

TEST(OdGeMatrix3d, RotatesByTheRightHandRule)
{
    const OdGeMatrix3d turn =
        OdGeMatrix3d::rotation(pi / 2, OdGeVector3d::kZAxis, OdGePoint3d(1.0, 0.0, 0.0));

    EXPECT_TRUE((turn * OdGePoint3d(2.0, 0.0, 5.0)).isEqualTo(OdGePoint3d(1.0, 1.0, 5.0)));
    EXPECT_NEAR(turn.det(), 1.0, 1e-15);
    EXPECT_EQ(OdGeMatrix3d::rotation(1.0, OdGeVector3d::kIdentity), OdGeMatrix3d::kIdentity);
}

TEST(OdGeMatrix3d, ScalesFromACenter)
{
    const OdGeMatrix3d m =
        OdGeMatrix3d::scaling(OdGeScale3d(2.0, 3.0, -1.0), OdGePoint3d(1.0, 1.0, 1.0));

    EXPECT_EQ(m * OdGePoint3d(1.0, 1.0, 1.0), OdGePoint3d(1.0, 1.0, 1.0));
    EXPECT_EQ(m * OdGePoint3d(2.0, 2.0, 2.0), OdGePoint3d(3.0, 4.0, 0.0));
    EXPECT_EQ(m.det(), -6.0);
    EXPECT_EQ(m.scale(), 3.0);
}

TEST(OdGeMatrix3dSetToMirroring, ReflectsInAPlane)
{
    const OdGePlane plane(OdGePoint3d(0.0, 0.0, 2.0), OdGeVector3d(0.0, 0.0, 3.0));
    const OdGeMatrix3d m = OdGeMatrix3d::mirroring(plane);

    EXPECT_EQ(m * OdGePoint3d(5.0, 6.0, 3.0), OdGePoint3d(5.0, 6.0, 1.0));
    EXPECT_EQ(m.det(), -1.0);
}

TEST(OdGeMatrix3dSetToMirroring, ReflectsInAPointAndInALine)
{
    const OdGeMatrix3d point = OdGeMatrix3d::mirroring(OdGePoint3d(1.0, 2.0, 3.0));
    const OdGeMatrix3d line =
        OdGeMatrix3d::mirroring(OdGePoint3d(1.0, 2.0, 3.0), OdGeVector3d(0.0, 0.0, 2.0));

    EXPECT_EQ(point * OdGePoint3d(2.0, 2.0, 2.0), OdGePoint3d(0.0, 2.0, 4.0));
    EXPECT_EQ(line * OdGePoint3d(2.0, 3.0, 9.0), OdGePoint3d(0.0, 1.0, 9.0));
    EXPECT_EQ(line.det(), 1.0);
    EXPECT_EQ(OdGeMatrix3d::mirroring(OdGePoint3d(1.0, 2.0, 3.0), OdGeVector3d()),
              OdGeMatrix3d::kIdentity);
}

TEST(OdGeMatrix3dSetToProjection, CarriesPointsAlongTheDirection)
{
    const OdGePlane plane(OdGePoint3d(0.0, 0.0, 1.0), OdGeVector3d::kZAxis);
    OdGeMatrix3d m;
    m.setToProjection(plane, OdGeVector3d(1.0, 0.0, 1.0));

    EXPECT_TRUE((m * OdGePoint3d(5.0, 6.0, 3.0)).isEqualTo(OdGePoint3d(3.0, 6.0, 1.0)));
    EXPECT_TRUE(m.isSingular());
    EXPECT_EQ(m.setToProjection(plane, OdGeVector3d::kXAxis), OdGeMatrix3d::kIdentity);
}

TEST(OdGeMatrix3dCoordSystem, MapsTheAxes)
{
    OdGeMatrix3d m;
    m.setCoordSystem(OdGePoint3d(1.0, 2.0, 3.0), OdGeVector3d(0.0, 2.0, 0.0),
                     OdGeVector3d(-1.0, 0.0, 0.0), OdGeVector3d(0.0, 0.0, 5.0));

    EXPECT_EQ(m * OdGePoint3d(1.0, 1.0, 1.0), OdGePoint3d(0.0, 4.0, 8.0));
    OdGePoint3d origin;
    OdGeVector3d x;
    OdGeVector3d y;
    OdGeVector3d z;
    m.getCoordSystem(origin, x, y, z);
    EXPECT_EQ(origin, OdGePoint3d(1.0, 2.0, 3.0));
    EXPECT_EQ(x, OdGeVector3d(0.0, 2.0, 0.0));
    EXPECT_EQ(y, OdGeVector3d(-1.0, 0.0, 0.0));
    EXPECT_EQ(z, OdGeVector3d(0.0, 0.0, 5.0));
}

TEST(OdGeMatrix3dCoordSystem, AlignsOneWithAnother)
{
    const OdGePoint3d from(1.0, 1.0, 0.0);
    const OdGePoint3d to(0.0, 0.0, 5.0);
    OdGeMatrix3d m;
    m.setToAlignCoordSys(from, OdGeVector3d::kXAxis, OdGeVector3d::kYAxis, OdGeVector3d::kZAxis, to,
                         OdGeVector3d::kYAxis, OdGeVector3d::kZAxis, OdGeVector3d::kXAxis);

    EXPECT_EQ(m * from, to);
    EXPECT_EQ(m * OdGePoint3d(2.0, 1.0, 0.0), OdGePoint3d(0.0, 1.0, 5.0));
    EXPECT_EQ(m.setToAlignCoordSys(from, OdGeVector3d::kXAxis, OdGeVector3d::kXAxis,
                                   OdGeVector3d::kZAxis, to, OdGeVector3d::kXAxis,
                                   OdGeVector3d::kYAxis, OdGeVector3d::kZAxis),
              OdGeMatrix3d::kIdentity);
}

TEST(OdGeMatrix3dPlaneToWorld, HasTheNormalAsItsZAxis)
{
    const OdGeVector3d normal(0.0, 2.0, 0.0);
    const OdGeMatrix3d m = OdGeMatrix3d::planeToWorld(normal);

    EXPECT_EQ(m * OdGeVector3d::kZAxis, OdGeVector3d::kYAxis);
    EXPECT_TRUE(m.isOrtho());
    EXPECT_TRUE((m * OdGeMatrix3d::worldToPlane(normal)).isEqualTo(OdGeMatrix3d::kIdentity));
    EXPECT_EQ(OdGeMatrix3d::planeToWorld(OdGeVector3d::kZAxis), OdGeMatrix3d::kIdentity);
    EXPECT_EQ(OdGeMatrix3d::planeToWorld(OdGeVector3d()), OdGeMatrix3d::kIdentity);
}

TEST(OdGeMatrix3dInvert, RefusesASingularMatrixAndLeavesItAsItIs)
{
    OdGeMatrix3d flat = OdGeMatrix3d::scaling(OdGeScale3d(1.0, 1.0, 0.0));
    const OdGeMatrix3d before = flat;

    EXPECT_TRUE(flat.isSingular());
    EXPECT_FALSE(flat.invert());
    EXPECT_EQ(flat, before);
    EXPECT_EQ(flat.inverse(), before);
}

TEST(OdGeMatrix3dInvert, TakesTinyAndHugeScales)
{
    for (const double factor : {1e-30, 1e-6, 1e6, 1e30}) {
        SCOPED_TRACE(factor);
        OdGeMatrix3d m = OdGeMatrix3d::scaling(factor);

        ASSERT_TRUE(m.invert());
        EXPECT_DOUBLE_EQ(m(0, 0), 1.0 / factor);
    }
}

TEST(OdGeMatrix3dInvert, RefusesNumbersThatAreNotFinite)
{
    OdGeMatrix3d m;
    m(1, 1) = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(m.invert());

    OdGeMatrix3d p = perspective();
    p(1, 1) = std::numeric_limits<double>::infinity();
    EXPECT_FALSE(p.invert());
}

TEST(OdGeMatrix3dInvert, InvertsPerspective)
{
    OdGeMatrix3d m = perspective() * OdGeMatrix3d::translation(OdGeVector3d(1.0, 2.0, 3.0));
    const OdGeMatrix3d inverse = m.inverse();

    EXPECT_FALSE(m.isSingular());
    EXPECT_TRUE((m * inverse).isEqualTo(OdGeMatrix3d::kIdentity));
    EXPECT_TRUE((inverse * m).isEqualTo(OdGeMatrix3d::kIdentity));
}

TEST(OdGeMatrix3d, DividesByThePerspectiveWeight)
{
    EXPECT_EQ(perspective() * OdGePoint3d(1.0, 4.0, 6.0), OdGePoint3d(0.5, 2.0, 3.0));
    EXPECT_EQ(perspective() * OdGePoint3d(-1.0, 4.0, 6.0), OdGePoint3d(-1.0, 4.0, 6.0));
    EXPECT_TRUE(perspective().isPerspective());
}

TEST(OdGeMatrix3d, DeterminantCountsAllFourRows)
{
    OdGeMatrix3d m;
    m(3, 3) = 5.0;
    EXPECT_EQ(m.det(), 5.0);

    m = OdGeMatrix3d();
    m(0, 3) = 2.0;
    m(3, 0) = 3.0;
    EXPECT_EQ(m.det(), 1.0 - 6.0);
}

TEST(OdGeMatrix3d, TellsWhatItKeeps)
{
    OdGeMatrix3d shear;
    shear(0, 1) = 1.0;
    const KindCase kCases[] = {
        {"identity", OdGeMatrix3d(), true, true, true},
        {"rotation", OdGeMatrix3d::rotation(1.0, OdGeVector3d(1.0, 2.0, 3.0)), true, true, true},
        {"mirror", OdGeMatrix3d::mirroring(OdGePlane::kYZPlane), true, true, true},
        {"uniform scale", OdGeMatrix3d::scaling(3.0), true, true, false},
        {"tiny uniform scale", OdGeMatrix3d::scaling(1e-6), true, true, false},
        {"scale", OdGeMatrix3d::scaling(OdGeScale3d(1.0, 2.0, 3.0)), true, false, false},
        {"shear", shear, false, false, false},
        {"flat", OdGeMatrix3d::scaling(OdGeScale3d(1.0, 1.0, 0.0)), false, false, false},
        {"perspective", perspective(), false, false, false},
    };
    for (KindCase const& row : kCases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.matrix.isScaledOrtho(), row.isScaledOrtho);
        EXPECT_EQ(row.matrix.isUniScaledOrtho(), row.isUniScaledOrtho);
        EXPECT_EQ(row.matrix.isOrtho(), row.isOrtho);
    }
}

TEST(OdGeMatrix3dIsEqualTo, ComparesTheTranslationByTheToleranceForPoints)
{
    const OdGeTol tol(1e-3, 1e-9);
    const OdGeMatrix3d moved = OdGeMatrix3d::translation(OdGeVector3d(1e-4, 0.0, 0.0));
    OdGeMatrix3d turned;
    turned(0, 1) = 1e-4;

    EXPECT_TRUE(moved.isEqualTo(OdGeMatrix3d::kIdentity, tol));
    EXPECT_FALSE(turned.isEqualTo(OdGeMatrix3d::kIdentity, tol));
    EXPECT_FALSE(moved.isEqualTo(OdGeMatrix3d::kIdentity));
}

TEST(OdGeMatrix3dIsEqualTo, IsFalseForNumbersThatAreNotFinite)
{
    OdGeMatrix3d m;
    m(0, 0) = std::numeric_limits<double>::quiet_NaN();

    EXPECT_FALSE(m.isEqualTo(m));
}

TEST(OdGeMatrix3dInvert, TakesScalesWhoseVolumeIsNoNumber)
{
    for (double scale : {1e-150, 1e-110, 1e110, 1e150}) {
        OdGeMatrix3d matrix = OdGeMatrix3d::rotation(0.7, OdGeVector3d(1, 2, 3));
        matrix.preMultBy(OdGeMatrix3d::scaling(scale));
        EXPECT_FALSE(matrix.isSingular()) << scale;
        OdGeMatrix3d inverse = matrix;
        ASSERT_TRUE(inverse.invert()) << scale;
        EXPECT_TRUE((inverse * matrix).isEqualTo(OdGeMatrix3d::kIdentity, OdGeTol(1e-12))) << scale;
        EXPECT_TRUE(matrix.isUniScaledOrtho()) << scale;
    }
}

TEST(OdGeMatrix3dInvert, RefusesAnInverseThatIsNoNumber)
{
    OdGeMatrix3d matrix = OdGeMatrix3d::scaling(5e-324);
    const OdGeMatrix3d before = matrix;
    EXPECT_FALSE(matrix.invert());
    EXPECT_EQ(matrix, before);
    OdGeMatrix3d far = OdGeMatrix3d::scaling(1e-200);
    far.setTranslation(OdGeVector3d(1e200, 0, 0));
    EXPECT_FALSE(far.invert());
}

TEST(OdGeMatrix3d, CountsALastRowThatIsNoNumberAsPerspective)
{
    for (unsigned column = 0; column < OdGeMatrix3d::kSize; ++column) {
        OdGeMatrix3d matrix;
        matrix(3, column) = std::numeric_limits<double>::quiet_NaN();
        EXPECT_TRUE(matrix.isPerspective()) << column;
        EXPECT_TRUE(matrix.isSingular()) << column;
        EXPECT_FALSE(matrix.isScaledOrtho()) << column;
    }
}

TEST(OdGeMatrix3dSetToRotation, KeepsTheIdentityForNoAxis)
{
    EXPECT_EQ(OdGeMatrix3d::rotation(1.0, OdGeVector3d(), OdGePoint3d(1, 2, 3)),
              OdGeMatrix3d::kIdentity);
    EXPECT_EQ(OdGeMatrix3d::planeToWorld(OdGeVector3d()), OdGeMatrix3d::kIdentity);
}

RC_GTEST_PROP(OdGeMatrix3dProperties, ProductIsAssociative, ())
{
    const OdGeMatrix3d a = geTest::affineMatrix();
    const OdGeMatrix3d b = geTest::affineMatrix();
    const OdGeMatrix3d c = geTest::affineMatrix();

    RC_ASSERT(((a * b) * c).isEqualTo(a * (b * c), OdGeTol(1e-6)));
}

RC_GTEST_PROP(OdGeMatrix3dProperties, ProductTransformsLikeItsFactorsInTurn, ())
{
    const OdGeMatrix3d a = geTest::affineMatrix();
    const OdGeMatrix3d b = geTest::affineMatrix();
    const OdGePoint3d p = geTest::point();

    RC_ASSERT(isClose((a * b) * p, a * (b * p)));
}

RC_GTEST_PROP(OdGeMatrix3dProperties, InverseUndoes, ())
{
    const OdGeMatrix3d m = geTest::affineMatrix();

    RC_ASSERT((m * m.inverse()).isEqualTo(OdGeMatrix3d::kIdentity, kTol));
    RC_ASSERT((m.inverse() * m).isEqualTo(OdGeMatrix3d::kIdentity, kTol));
    RC_ASSERT(m.inverse().inverse().isEqualTo(m, kTol));
}

RC_GTEST_PROP(OdGeMatrix3dProperties, DeterminantOfAProductIsTheProduct, ())
{
    const OdGeMatrix3d a = geTest::affineMatrix();
    const OdGeMatrix3d b = geTest::affineMatrix();

    RC_ASSERT(std::fabs((a * b).det() - a.det() * b.det()) < 1e-7);
    RC_ASSERT(std::fabs(a.transpose().det() - a.det()) < 1e-7);
}

RC_GTEST_PROP(OdGeMatrix3dProperties, TransposeTurnsProductsRound, ())
{
    const OdGeMatrix3d a = geTest::affineMatrix();
    const OdGeMatrix3d b = geTest::affineMatrix();

    RC_ASSERT((a * b).transpose().isEqualTo(b.transpose() * a.transpose(), OdGeTol(1e-9)));
}

RC_GTEST_PROP(OdGeMatrix3dProperties, RotationsAddUpAndKeepDistances, ())
{
    const OdGePoint3d center = geTest::point();
    const OdGeVector3d axis = geTest::direction();
    const double first = geTest::angle();
    const double second = geTest::angle();
    const OdGeMatrix3d both =
        OdGeMatrix3d::rotation(first, axis, center) * OdGeMatrix3d::rotation(second, axis, center);

    RC_ASSERT(both.isEqualTo(OdGeMatrix3d::rotation(first + second, axis, center), kTol));
    RC_ASSERT(both.isOrtho(kTol));
    RC_ASSERT(isClose(both * (center + axis), center + axis));
}

RC_GTEST_PROP(OdGeMatrix3dProperties, MirroringTwiceIsTheIdentity, ())
{
    const OdGePlane plane(geTest::point(), geTest::direction());
    const OdGeMatrix3d m = OdGeMatrix3d::mirroring(plane);

    RC_ASSERT((m * m).isEqualTo(OdGeMatrix3d::kIdentity, kTol));
    RC_ASSERT(std::fabs(m.det() + 1.0) < 1e-12);
    const OdGePoint3d onPlane = plane.evalPoint(OdGePoint2d(3.0, -4.0));
    RC_ASSERT(isClose(m * onPlane, onPlane));
}
