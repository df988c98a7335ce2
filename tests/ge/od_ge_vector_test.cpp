#include "ge/ge_generators.h"
#include "ge/od_ge_vector2d.h"
#include "ge/od_ge_vector3d.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <numbers>
#include <type_traits>

using std::numbers::pi;

static_assert(std::is_trivially_copyable_v<OdGeVector2d> &&
              std::is_trivially_copyable_v<OdGeVector3d>);
static_assert(sizeof(OdGeVector2d) == 2 * sizeof(double));
static_assert(sizeof(OdGeVector3d) == 3 * sizeof(double));

TEST(OdGeVector3d, IsZeroUnlessSet)
{
    EXPECT_EQ(OdGeVector3d(), OdGeVector3d(0.0, 0.0, 0.0));
    EXPECT_EQ(OdGeVector3d(), OdGeVector3d::kIdentity);
    EXPECT_EQ(OdGeVector2d(), OdGeVector2d::kIdentity);
}

TEST(OdGeVector3d, IndexesItsCoordinates)
{
    OdGeVector3d v(1.0, 2.0, 3.0);
    v[1] = 5.0;

    EXPECT_EQ(v[0], 1.0);
    EXPECT_EQ(v[1], 5.0);
    EXPECT_EQ(v[2], 3.0);
}

TEST(OdGeVector3d, CrossesByTheRightHandRule)
{
    EXPECT_EQ(OdGeVector3d::kXAxis.crossProduct(OdGeVector3d::kYAxis), OdGeVector3d::kZAxis);
    EXPECT_EQ(OdGeVector3d::kYAxis.crossProduct(OdGeVector3d::kZAxis), OdGeVector3d::kXAxis);
}

TEST(OdGeVector3d, MeasuresLengthsThatOverflowWhenSquared)
{
    EXPECT_DOUBLE_EQ(OdGeVector3d(3e200, 0.0, 4e200).length(), 5e200);
    EXPECT_DOUBLE_EQ(OdGeVector3d(3e-200, 4e-200, 0.0).length(), 5e-200);
}

TEST(OdGeVector3dNormalize, MakesTheLengthOne)
{
    OdGeVector3d v(0.0, 3.0, 4.0);

    EXPECT_EQ(v.normalize(), OdGeVector3d(0.0, 0.6, 0.8));
}

TEST(OdGeVector3dNormalize, LeavesAVectorWithinTheToleranceAsItIs)
{
    OdGeVector3d v(0.0, 0.0, 1e-3);

    EXPECT_EQ(v.normalize(OdGeTol(1e-2)), OdGeVector3d(0.0, 0.0, 1e-3));
    EXPECT_EQ(v.normalize(OdGeTol(1e-4)), OdGeVector3d::kZAxis);
}

TEST(OdGeVector3dAngleTo, IsPreciseAtSmallAndStraightAngles)
{
    const OdGeVector3d nearX(1.0, 1e-9, 0.0);

    EXPECT_NEAR(OdGeVector3d::kXAxis.angleTo(nearX), 1e-9, 1e-18);
    EXPECT_NEAR(OdGeVector3d::kXAxis.angleTo(-nearX), pi - 1e-9, 1e-15);
}

TEST(OdGeVector3dAngleTo, CountsAFullTurnAroundAReference)
{
    OdGeVector3d const& x = OdGeVector3d::kXAxis;
    OdGeVector3d const& y = OdGeVector3d::kYAxis;

    EXPECT_NEAR(x.angleTo(y, OdGeVector3d::kZAxis), pi / 2, 1e-15);
    EXPECT_NEAR(x.angleTo(y, -OdGeVector3d::kZAxis), 3 * pi / 2, 1e-15);
    EXPECT_EQ(x.angleTo(x, -OdGeVector3d::kZAxis), 0.0);
}

TEST(OdGeVector3dPerpVector, ChangesItsRuleNearTheZAxis)
{
    EXPECT_EQ(OdGeVector3d::kZAxis.perpVector(), OdGeVector3d::kXAxis);
    EXPECT_EQ((-OdGeVector3d::kZAxis).perpVector(), -OdGeVector3d::kXAxis);
    EXPECT_EQ(OdGeVector3d::kXAxis.perpVector(), OdGeVector3d::kYAxis);
    EXPECT_EQ(OdGeVector3d::kIdentity.perpVector(), OdGeVector3d::kXAxis);
}

TEST(OdGeVector3d, ComparesWithinATolerance)
{
    const OdGeVector3d v(1.0, 0.0, 0.0);

    EXPECT_TRUE(v.isEqualTo(OdGeVector3d(1.0, 1e-11, 0.0)));
    EXPECT_FALSE(v.isEqualTo(OdGeVector3d(1.0, 1e-9, 0.0)));
    EXPECT_TRUE(v.isEqualTo(OdGeVector3d(1.0, 1e-9, 0.0), OdGeTol(1e-8)));
    EXPECT_FALSE(v == OdGeVector3d(1.0, 1e-11, 0.0));
}

TEST(OdGeVector3d, TellsParallelCodirectionalAndPerpendicular)
{
    const OdGeVector3d v(1.0, 2.0, 3.0);

    EXPECT_TRUE(v.isParallelTo(v * -7.0));
    EXPECT_FALSE(v.isCodirectionalTo(v * -7.0));
    EXPECT_TRUE(v.isCodirectionalTo(v * 7.0));
    EXPECT_TRUE(v.isPerpendicularTo(OdGeVector3d(3.0, 0.0, -1.0)));
    EXPECT_FALSE(v.isPerpendicularTo(v));
    EXPECT_FALSE(v.isParallelTo(OdGeVector3d::kIdentity));
    EXPECT_FALSE(v.isPerpendicularTo(OdGeVector3d::kIdentity));
}

TEST(OdGeVector3d, MeasuresItsPartAlongADirection)
{
    const OdGeVector3d v(3.0, 4.0, 0.0);

    EXPECT_EQ(v.lengthAlong(OdGeVector3d(0.0, -2.0, 0.0)), -4.0);
    EXPECT_EQ(v.lengthAlong(OdGeVector3d::kIdentity), 0.0);
}

TEST(OdGeVector3d, StaysWhenRotatedAboutNoAxis)
{
    OdGeVector3d v(1.0, 2.0, 3.0);

    EXPECT_EQ(v.rotateBy(1.0, OdGeVector3d::kIdentity), OdGeVector3d(1.0, 2.0, 3.0));
}

TEST(OdGeVector2d, GivesItsAngleWithinAFullTurn)
{
    EXPECT_EQ(OdGeVector2d(1.0, 0.0).angle(), 0.0);
    EXPECT_NEAR(OdGeVector2d(0.0, -1.0).angle(), 3 * pi / 2, 1e-15);
    EXPECT_EQ(OdGeVector2d(1.0, -1e-30).angle(), 0.0);
    EXPECT_EQ(OdGeVector2d().angle(), 0.0);
}

TEST(OdGeVector2d, TurnsAQuarterToItsPerpendicular)
{
    const OdGeVector2d v(2.0, 1.0);

    EXPECT_EQ(v.perpVector(), OdGeVector2d(-1.0, 2.0));
    EXPECT_TRUE(v.isPerpendicularTo(v.perpVector()));
    EXPECT_TRUE(OdGeVector2d(v).rotateBy(pi / 2).isEqualTo(v.perpVector()));
    EXPECT_GT(v.crossProduct(v.perpVector()), 0.0);
    EXPECT_NEAR(v.angleTo(v.perpVector()), pi / 2, 1e-15);
}

TEST(OdGeVector2d, NormalizesAndComparesLikeTheVectorOfSpace)
{
    OdGeVector2d v(3.0, -4.0);

    EXPECT_EQ(v.normal(), OdGeVector2d(0.6, -0.8));
    EXPECT_TRUE(v.normal().isUnitLength());
    EXPECT_TRUE(v.isParallelTo(v * -2.0));
    EXPECT_EQ(OdGeVector2d(1e-11, 0.0).normalize(), OdGeVector2d(1e-11, 0.0));
    EXPECT_TRUE(v.isEqualTo(OdGeVector2d(3.0, -4.0 + 1e-11)));
    EXPECT_FALSE(v.isEqualTo(OdGeVector2d(3.0, -4.0 + 1e-9)));
}

TEST(OdGeVector3dAngleTo, StaysBelowAFullTurnForAnglesThatAreNearlyNone)
{
    const OdGeVector3d x = OdGeVector3d::kXAxis;
    for (double tiny : {1e-17, 1e-200, 5e-324}) {
        const double angle = x.angleTo(OdGeVector3d(1.0, -tiny, 0.0), OdGeVector3d::kZAxis);
        EXPECT_GE(angle, 0.0) << tiny;
        EXPECT_LT(angle, 2.0 * std::numbers::pi) << tiny;
    }
}

TEST(OdGeVector3dAngleTo, MeasuresBetweenVectorsWhoseProductsAreNoNumbers)
{
    for (double size : {1e-200, 1e-160, 1e160, 1e200, 1e308}) {
        const OdGeVector3d left(size, 0.0, 0.0);
        const OdGeVector3d right(0.0, size, 0.0);
        EXPECT_NEAR(left.angleTo(right), std::numbers::pi / 2.0, 1e-12) << size;
        EXPECT_NEAR(right.angleTo(left, OdGeVector3d::kZAxis), 1.5 * std::numbers::pi, 1e-12)
            << size;
        EXPECT_NEAR(left.angleTo(-left), std::numbers::pi, 1e-12) << size;
    }
    EXPECT_NEAR(OdGeVector2d(1e200, 0.0).angleTo(OdGeVector2d(0.0, 1e200)), std::numbers::pi / 2.0,
                1e-12);
}

RC_GTEST_PROP(OdGeVector3dProperties, CrossProductIsPerpendicularToBoth, ())
{
    const OdGeVector3d a = geTest::vector();
    const OdGeVector3d b = geTest::vector();
    const OdGeVector3d cross = a.crossProduct(b);

    RC_ASSERT(std::fabs(cross.dotProduct(a)) < 1e-6);
    RC_ASSERT(std::fabs(cross.dotProduct(b)) < 1e-6);
}

RC_GTEST_PROP(OdGeVector3dProperties, PerpVectorIsAUnitVectorAcross, ())
{
    const OdGeVector3d v = geTest::direction();

    RC_ASSERT(v.perpVector().isUnitLength());
    RC_ASSERT(v.perpVector().isPerpendicularTo(v));
}

RC_GTEST_PROP(OdGeVector3dProperties, RotationKeepsLengthAndTurnsByTheAngle, ())
{
    const OdGeVector3d axis = geTest::direction();
    const OdGeVector3d across = axis.perpVector() * 5.0;
    const double angleRad = *rc::gen::inRange(1, 6000) / 1000.0;

    OdGeVector3d turned = across;
    turned.rotateBy(angleRad, axis);

    RC_ASSERT(std::fabs(turned.length() - 5.0) < geTest::kRounding);
    RC_ASSERT(std::fabs(across.angleTo(turned, axis) - angleRad) < geTest::kRounding);
}

RC_GTEST_PROP(OdGeVector3dProperties, MirroringTwiceChangesNothing, ())
{
    const OdGeVector3d v = geTest::vector();
    const OdGeVector3d normal = geTest::direction();

    OdGeVector3d mirrored = v;
    mirrored.mirror(normal);
    RC_ASSERT(std::fabs(mirrored.lengthAlong(normal) + v.lengthAlong(normal)) < geTest::kRounding);
    RC_ASSERT(mirrored.mirror(normal).isEqualTo(v, OdGeTol(geTest::kRounding)));
}
