#include "ge/od_ge_matrix3d.h"
#include "ge/od_ge_plane.h"
#include "ge/od_ge_point2d.h"
#include "ge/od_ge_point3d.h"
#include "ge/od_ge_scale3d.h"

#include <gtest/gtest.h>

#include <numbers>
#include <type_traits>

using std::numbers::pi;

static_assert(std::is_trivially_copyable_v<OdGePoint2d> &&
              std::is_trivially_copyable_v<OdGePoint3d> &&
              std::is_trivially_copyable_v<OdGeScale3d>);
static_assert(sizeof(OdGePoint2d) == 2 * sizeof(double));
static_assert(sizeof(OdGePoint3d) == 3 * sizeof(double));
static_assert(sizeof(OdGeScale3d) == 3 * sizeof(double));

TEST(OdGePoint3d, IsTheOriginUnlessSet)
{
    EXPECT_EQ(OdGePoint3d(), OdGePoint3d(0.0, 0.0, 0.0));
    EXPECT_EQ(OdGePoint3d(), OdGePoint3d::kOrigin);
    EXPECT_EQ(OdGePoint2d(), OdGePoint2d::kOrigin);
}

TEST(OdGePoint3d, DifferenceIsAVector)
{
    const OdGePoint3d from(1.0, 2.0, 3.0);
    const OdGePoint3d to(4.0, 6.0, 3.0);

    EXPECT_EQ(to - from, OdGeVector3d(3.0, 4.0, 0.0));
    EXPECT_EQ(from + (to - from), to);
    EXPECT_EQ(from.distanceTo(to), 5.0);
    EXPECT_EQ(to.asVector(), OdGeVector3d(4.0, 6.0, 3.0));
}

TEST(OdGePoint3d, RotatesAboutALine)
{
    OdGePoint3d p(2.0, 1.0, 7.0);

    p.rotateBy(pi / 2, OdGeVector3d::kZAxis, OdGePoint3d(1.0, 1.0, 0.0));

    EXPECT_TRUE(p.isEqualTo(OdGePoint3d(1.0, 2.0, 7.0)));
}

TEST(OdGePoint3d, MirrorsInAPlane)
{
    OdGePoint3d p(2.0, 1.0, 7.0);

    p.mirror(OdGePlane(OdGePoint3d(0.0, 0.0, 5.0), OdGeVector3d::kZAxis));

    EXPECT_EQ(p, OdGePoint3d(2.0, 1.0, 3.0));
}

TEST(OdGePoint3d, ScalesFromACenter)
{
    OdGePoint3d p(2.0, 1.0, 7.0);

    EXPECT_EQ(p.scaleBy(3.0, OdGePoint3d(1.0, 1.0, 1.0)), OdGePoint3d(4.0, 1.0, 19.0));
}

TEST(OdGePoint3d, TransformsByAMatrix)
{
    OdGePoint3d p(2.0, 1.0, 7.0);

    p.transformBy(OdGeMatrix3d::translation(OdGeVector3d(1.0, 1.0, 1.0)));

    EXPECT_EQ(p, OdGePoint3d(3.0, 2.0, 8.0));
}

TEST(OdGePoint3d, ComparesWithinTheToleranceForPoints)
{
    const OdGeTol tol(1e-3, 1e-9);

    EXPECT_TRUE(OdGePoint3d().isEqualTo(OdGePoint3d(0.0, 1e-4, 0.0), tol));
    EXPECT_FALSE(OdGePoint3d().isEqualTo(OdGePoint3d(0.0, 1e-2, 0.0), tol));
    EXPECT_TRUE(OdGePoint2d().isEqualTo(OdGePoint2d(0.0, 1e-4), tol));
    EXPECT_FALSE(OdGePoint2d().isEqualTo(OdGePoint2d(0.0, 1e-2), tol));
}

TEST(OdGeTol, StartsAtTheDefaultForTheWholeProcess)
{
    EXPECT_EQ(OdGeContext::gTol, OdGeTol());
    EXPECT_EQ(OdGeTol().equalPoint(), OdGeTol::kDefaultTolerance);
    EXPECT_EQ(OdGeTol().equalVector(), OdGeTol::kDefaultTolerance);
    EXPECT_EQ(OdGeTol(0.5), OdGeTol(0.5, 0.5));
}

TEST(OdGeTol, GovernsComparisonsWithoutATolerance)
{
    const OdGeTol before = OdGeContext::gTol;

    OdGeContext::gTol.setEqualPoint(0.1);
    const bool areEqual = OdGePoint3d().isEqualTo(OdGePoint3d(0.05, 0.0, 0.0));
    OdGeContext::gTol = before;

    EXPECT_TRUE(areEqual);
    EXPECT_FALSE(OdGePoint3d().isEqualTo(OdGePoint3d(0.05, 0.0, 0.0)));
}

TEST(OdGeScale3d, IsOneUnlessSet)
{
    EXPECT_EQ(OdGeScale3d(), OdGeScale3d(1.0, 1.0, 1.0));
    EXPECT_EQ(OdGeScale3d(), OdGeScale3d::kIdentity);
    EXPECT_EQ(OdGeScale3d(2.0), OdGeScale3d(2.0, 2.0, 2.0));
}

TEST(OdGeScale3d, MultipliesAndInverts)
{
    const OdGeScale3d s(2.0, -4.0, 0.5);

    EXPECT_EQ(s * s.inverse(), OdGeScale3d::kIdentity);
    EXPECT_EQ(s * 2.0, OdGeScale3d(4.0, -8.0, 1.0));
    EXPECT_EQ(s[1], -4.0);
}

TEST(OdGeScale3d, IsProportionalWhateverTheSigns)
{
    EXPECT_TRUE(OdGeScale3d(2.0, -2.0, 2.0).isProportional());
    EXPECT_FALSE(OdGeScale3d(2.0, 2.0, 2.1).isProportional());
    EXPECT_TRUE(OdGeScale3d(2.0, 2.0, 2.1).isProportional(OdGeTol(0.2)));
    EXPECT_FALSE(OdGeScale3d(2.0, -2.0, 2.0).isEqualTo(OdGeScale3d(2.0)));
}
