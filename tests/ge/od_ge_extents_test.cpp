#include "ge/ge_generators.h"
#include "ge/od_ge_extents2d.h"
#include "ge/od_ge_extents3d.h"
#include "ge/od_ge_matrix3d.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <limits>

namespace {

const OdGeExtents3d kBox(OdGePoint3d(0.0, 0.0, 0.0), OdGePoint3d(1.0, 2.0, 2.0));

}  // namespace

TEST(OdGeExtents3d, StartsEmpty)
{
    const OdGeExtents3d extents;

    EXPECT_FALSE(extents.isValidExtents());
    EXPECT_FALSE(extents.contains(OdGePoint3d()));
    EXPECT_FALSE(kBox.contains(extents));
    EXPECT_TRUE(kBox.isDisjoint(extents));
    EXPECT_TRUE(extents.isDisjoint(kBox));
}

TEST(OdGeExtents3d, GrowsWithThePointsThatAreAdded)
{
    OdGeExtents3d extents;

    extents.addPoint(OdGePoint3d(1.0, 5.0, -3.0));
    EXPECT_TRUE(extents.isValidExtents());
    EXPECT_EQ(extents.minPoint(), extents.maxPoint());
    extents.addPoint(OdGePoint3d(2.0, 4.0, -3.0));

    EXPECT_EQ(extents.minPoint(), OdGePoint3d(1.0, 4.0, -3.0));
    EXPECT_EQ(extents.maxPoint(), OdGePoint3d(2.0, 5.0, -3.0));
}

TEST(OdGeExtents3d, HoldsPointsBeyondTheMarkOfEmptyExtents)
{
    OdGeExtents3d extents;

    extents.addPoint(OdGePoint3d(1e30, 0.0, 0.0));

    EXPECT_TRUE(extents.isValidExtents());
    EXPECT_EQ(extents.minPoint(), OdGePoint3d(1e30, 0.0, 0.0));
}

TEST(OdGeExtents3d, AddsOtherExtentsUnlessTheyAreEmpty)
{
    OdGeExtents3d extents = kBox;

    extents.addExt(OdGeExtents3d());
    EXPECT_EQ(extents, kBox);
    extents.addExt(OdGeExtents3d(OdGePoint3d(-1.0, 0.0, 0.0), OdGePoint3d(0.0, 0.0, 9.0)));

    EXPECT_EQ(extents, OdGeExtents3d(OdGePoint3d(-1.0, 0.0, 0.0), OdGePoint3d(1.0, 2.0, 9.0)));
}

TEST(OdGeExtents3d, MeasuresItsDiagonalAndCenter)
{
    EXPECT_EQ(kBox.diagonal(), OdGeVector3d(1.0, 2.0, 2.0));
    EXPECT_EQ(kBox.diagonalLength(), 3.0);
    EXPECT_EQ(kBox.center(), OdGePoint3d(0.5, 1.0, 1.0));
}

TEST(OdGeExtents3d, ContainsItsSidesWithinTheTolerance)
{
    EXPECT_TRUE(kBox.contains(OdGePoint3d(1.0, 2.0, 2.0)));
    EXPECT_TRUE(kBox.contains(OdGePoint3d(1.0, 2.0, 2.1), OdGeTol(0.2)));
    EXPECT_FALSE(kBox.contains(OdGePoint3d(1.0, 2.0, 2.1)));
    EXPECT_TRUE(kBox.contains(kBox));
    EXPECT_FALSE(kBox.contains(OdGeExtents3d(kBox).expandBy(0.1)));
}

TEST(OdGeExtents3d, IsDisjointFromWhatIsApartAlongOneAxis)
{
    const OdGeExtents3d touching(OdGePoint3d(1.0, 0.0, 0.0), OdGePoint3d(2.0, 1.0, 1.0));
    const OdGeExtents3d apart(OdGePoint3d(1.5, 0.0, 0.0), OdGePoint3d(2.0, 1.0, 1.0));

    EXPECT_FALSE(kBox.isDisjoint(touching));
    EXPECT_TRUE(kBox.isDisjoint(apart));
    EXPECT_FALSE(kBox.isDisjoint(apart, OdGeTol(0.6)));
}

TEST(OdGeExtents3d, StaysEmptyWhenExpandedOrTransformed)
{
    OdGeExtents3d extents;

    extents.expandBy(1e30);
    extents.transformBy(OdGeMatrix3d::scaling(-1.0));

    EXPECT_FALSE(extents.isValidExtents());
}

TEST(OdGeExtents3d, BecomesEmptyByReset)
{
    OdGeExtents3d extents = kBox;

    extents.reset();

    EXPECT_EQ(extents, OdGeExtents3d());
}

TEST(OdGeExtents3d, IsNotValidWithNumbersThatAreNoNumbers)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();

    EXPECT_FALSE(OdGeExtents3d(OdGePoint3d(nan, 0.0, 0.0), OdGePoint3d()).isValidExtents());
}

TEST(OdGeExtents3d, ComparesItsCornersWithinATolerance)
{
    const OdGeExtents3d other(OdGePoint3d(0.0, 0.0, 1e-3), kBox.maxPoint());

    EXPECT_FALSE(kBox.isEqualTo(other));
    EXPECT_TRUE(kBox.isEqualTo(other, OdGeTol(1e-2)));
}

TEST(OdGeExtents3d, HoldsNoPointThatIsNoNumber)
{
    const double kNan = std::numeric_limits<double>::quiet_NaN();
    const OdGeExtents3d box(OdGePoint3d(0, 0, 0), OdGePoint3d(2, 2, 2));
    EXPECT_FALSE(box.contains(OdGePoint3d(kNan, 1, 1)));
    EXPECT_FALSE(box.contains(OdGePoint3d(1, 1, kNan)));
    EXPECT_FALSE(OdGeExtents2d({0, 0}, {2, 2}).contains(OdGePoint2d(1, kNan)));
}

TEST(OdGeExtents3d, PassesOverPointsThatAreNoNumbers)
{
    const double kNan = std::numeric_limits<double>::quiet_NaN();
    OdGeExtents3d box;
    box.addPoint(OdGePoint3d(1, 1, 1)).addPoint(OdGePoint3d(kNan, 5, 5));
    box.addPoint(OdGePoint3d(kNan, kNan, kNan)).addPoint(OdGePoint3d(2, 2, 2));
    EXPECT_EQ(box, OdGeExtents3d(OdGePoint3d(1, 1, 1), OdGePoint3d(2, 2, 2)));
    OdGeExtents3d first;
    first.addPoint(OdGePoint3d(kNan, 5, 5)).addPoint(OdGePoint3d(1, 1, 1));
    EXPECT_EQ(first, OdGeExtents3d(OdGePoint3d(1, 1, 1), OdGePoint3d(1, 1, 1)));
    OdGeExtents2d flat;
    flat.addPoint(OdGePoint2d(1, 1)).addPoint(OdGePoint2d(7, kNan));
    EXPECT_EQ(flat, OdGeExtents2d({1, 1}, {1, 1}));
}

TEST(OdGeExtents2d, GrowsAndMeasuresInThePlane)
{
    OdGeExtents2d extents;
    EXPECT_FALSE(extents.isValidExtents());

    extents.addPoint(OdGePoint2d(1.0, 1.0)).addPoint(OdGePoint2d(4.0, 5.0));

    EXPECT_EQ(extents.diagonalLength(), 5.0);
    EXPECT_EQ(extents.center(), OdGePoint2d(2.5, 3.0));
    EXPECT_TRUE(extents.contains(OdGePoint2d(2.0, 2.0)));
    EXPECT_FALSE(extents.contains(OdGePoint2d(0.0, 2.0)));
    EXPECT_TRUE(extents.isDisjoint(OdGeExtents2d(OdGePoint2d(5.0, 0.0), OdGePoint2d(6.0, 9.0))));
    EXPECT_EQ(extents.expandBy(1.0), OdGeExtents2d(OdGePoint2d(0.0, 0.0), OdGePoint2d(5.0, 6.0)));
}

RC_GTEST_PROP(OdGeExtents3dProperties, TransformedBoxContainsTransformedPoints, ())
{
    const OdGePoint3d a = geTest::point();
    const OdGePoint3d b = geTest::point();
    const OdGeMatrix3d matrix = geTest::affineMatrix();
    OdGeExtents3d extents;
    extents.addPoint(a).addPoint(b);

    extents.transformBy(matrix);

    RC_ASSERT(extents.contains(matrix * a, OdGeTol(1e-6)));
    RC_ASSERT(extents.contains(matrix * b, OdGeTol(1e-6)));
}
