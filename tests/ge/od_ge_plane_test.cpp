#include "ge/ge_generators.h"
#include "ge/od_ge_matrix3d.h"
#include "ge/od_ge_plane.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

TEST(OdGePlane, IsTheXYPlaneUnlessSet)
{
    EXPECT_EQ(OdGePlane(), OdGePlane::kXYPlane);
    EXPECT_EQ(OdGePlane().normal(), OdGeVector3d::kZAxis);
    EXPECT_EQ(OdGePlane::kYZPlane.normal(), OdGeVector3d::kXAxis);
    EXPECT_EQ(OdGePlane::kZXPlane.yAxis(), OdGeVector3d::kXAxis);
}

TEST(OdGePlane, NormalizesItsNormal)
{
    const OdGePlane plane(OdGePoint3d(1.0, 2.0, 3.0), OdGeVector3d(0.0, 0.0, -4.0));

    EXPECT_EQ(plane.normal(), -OdGeVector3d::kZAxis);
    EXPECT_EQ(plane.origin(), OdGePoint3d(1.0, 2.0, 3.0));
}

TEST(OdGePlane, TakesTheZAxisForAZeroNormal)
{
    EXPECT_EQ(OdGePlane(OdGePoint3d(), OdGeVector3d()).normal(), OdGeVector3d::kZAxis);
    EXPECT_EQ(OdGePlane(OdGePoint3d(), OdGeVector3d::kXAxis, OdGeVector3d::kXAxis * 2.0).normal(),
              OdGeVector3d::kZAxis);
}

TEST(OdGePlane, IsSpannedByTwoDirections)
{
    const OdGePlane plane(OdGePoint3d(), OdGeVector3d(0.0, 5.0, 0.0), OdGeVector3d(0.0, 1.0, 2.0));

    EXPECT_EQ(plane.xAxis(), OdGeVector3d::kYAxis);
    EXPECT_EQ(plane.yAxis(), OdGeVector3d::kZAxis);
    EXPECT_EQ(plane.normal(), OdGeVector3d::kXAxis);
}

TEST(OdGePlane, MeasuresSignedDistances)
{
    const OdGePlane plane(OdGePoint3d(0.0, 0.0, 2.0), OdGeVector3d::kZAxis);

    EXPECT_EQ(plane.signedDistanceTo(OdGePoint3d(9.0, 9.0, 5.0)), 3.0);
    EXPECT_EQ(plane.signedDistanceTo(OdGePoint3d(9.0, 9.0, 0.0)), -2.0);
    EXPECT_EQ(plane.distanceTo(OdGePoint3d(9.0, 9.0, 0.0)), 2.0);
    EXPECT_EQ(plane.closestPointTo(OdGePoint3d(9.0, 9.0, 0.0)), OdGePoint3d(9.0, 9.0, 2.0));
    EXPECT_TRUE(plane.isOn(OdGePoint3d(9.0, 9.0, 2.0)));
}

TEST(OdGePlane, GivesTheCoefficientsOfItsEquation)
{
    const OdGePlane plane(OdGePoint3d(7.0, 8.0, 2.0), OdGeVector3d(0.0, 0.0, 3.0));
    double a = 0.0;
    double b = 0.0;
    double c = 0.0;
    double d = 0.0;

    plane.getCoefficients(a, b, c, d);

    EXPECT_EQ(a, 0.0);
    EXPECT_EQ(b, 0.0);
    EXPECT_EQ(c, 1.0);
    EXPECT_EQ(d, -2.0);
}

TEST(OdGePlane, CutsALine)
{
    const OdGePlane plane(OdGePoint3d(0.0, 0.0, 2.0), OdGeVector3d::kZAxis);
    OdGePoint3d result(4.0, 4.0, 4.0);

    EXPECT_FALSE(plane.intersectWithLine(OdGePoint3d(), OdGeVector3d::kXAxis, result));
    EXPECT_FALSE(plane.intersectWithLine(OdGePoint3d(), OdGeVector3d(), result));
    EXPECT_EQ(result, OdGePoint3d(4.0, 4.0, 4.0));
    ASSERT_TRUE(plane.intersectWithLine(OdGePoint3d(), OdGeVector3d(1.0, 0.0, 1.0), result));
    EXPECT_EQ(result, OdGePoint3d(2.0, 0.0, 2.0));
}

TEST(OdGePlane, ComparesByWhatItHolds)
{
    const OdGePlane plane(OdGePoint3d(0.0, 0.0, 2.0), OdGeVector3d::kZAxis);
    const OdGePlane same(OdGePoint3d(5.0, 6.0, 2.0), -OdGeVector3d::kZAxis);
    const OdGePlane above(OdGePoint3d(0.0, 0.0, 3.0), OdGeVector3d::kZAxis);

    EXPECT_TRUE(plane.isCoplanarTo(same));
    EXPECT_TRUE(plane.isParallelTo(above));
    EXPECT_FALSE(plane.isCoplanarTo(above));
    EXPECT_FALSE(plane.isParallelTo(OdGePlane::kYZPlane));
}

TEST(OdGePlane, StaysUnderAMatrixThatFlattensIt)
{
    OdGePlane plane;
    const OdGePlane before = plane;

    EXPECT_EQ(plane.transformBy(OdGeMatrix3d::scaling(OdGeScale3d(1.0, 0.0, 1.0))), before);
}

TEST(OdGePlane, IsMovedByAMatrixThatScalesItDown)
{
    for (double factor : {1e-11, 1e-100, 1e-200}) {
        OdGePlane plane(OdGePoint3d(0.0, 0.0, 1.0), OdGeVector3d::kZAxis);
        plane.transformBy(OdGeMatrix3d::scaling(factor));
        EXPECT_LE(plane.distanceTo(OdGePoint3d()), 1e-11) << factor;
        EXPECT_TRUE(plane.normal().isEqualTo(OdGeVector3d::kZAxis)) << factor;
    }
}

RC_GTEST_PROP(OdGePlaneProperties, ParametersLeadBackToThePoint, ())
{
    const OdGePlane plane(geTest::point(), geTest::direction());
    const OdGePoint3d p = geTest::point();
    const OdGePoint3d foot = plane.closestPointTo(p);

    RC_ASSERT(plane.isOn(foot, OdGeTol(geTest::kRounding)));
    RC_ASSERT(plane.evalPoint(plane.paramOf(p)).isEqualTo(foot, OdGeTol(geTest::kRounding)));
}

RC_GTEST_PROP(OdGePlaneProperties, TransformsWithItsPoints, ())
{
    const OdGePlane plane(geTest::point(), geTest::direction());
    const OdGeMatrix3d matrix = geTest::affineMatrix();
    OdGePlane moved = plane;
    moved.transformBy(matrix);
    const OdGePoint3d onPlane = plane.evalPoint(OdGePoint2d(3.0, -4.0));

    RC_ASSERT(moved.isOn(matrix * onPlane, OdGeTol(1e-6)));
    RC_ASSERT(moved.normal().isUnitLength());
    OdGePoint3d origin;
    OdGeVector3d x;
    OdGeVector3d y;
    moved.getCoordSystem(origin, x, y);
    RC_ASSERT(x.crossProduct(y).isEqualTo(moved.normal(), OdGeTol(geTest::kRounding)));
}
