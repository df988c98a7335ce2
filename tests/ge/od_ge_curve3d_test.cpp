#include "ge/ge_generators.h"
#include "ge/od_ge_circ_arc3d.h"
#include "ge/od_ge_curve3d.h"
#include "ge/od_ge_ellip_arc3d.h"
#include "ge/od_ge_matrix3d.h"
#include "ge/od_ge_plane.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <utility>

using std::numbers::pi;

namespace {

constexpr double kClose = 1e-6;

OdGeCircArc3d quarter()
{
    return {
        OdGePoint3d(1.0, 2.0, 3.0), OdGeVector3d::kZAxis, OdGeVector3d::kXAxis, 2.0, 0.0, pi / 2};
}

OdGeEllipArc3d ellipse(double startAngle = 0.0, double endAngle = 2 * pi)
{
    return {OdGePoint3d(), OdGeVector3d::kXAxis, OdGeVector3d::kYAxis, 5.0, 3.0, startAngle,
            endAngle};
}

OdGeCircArc3d randomCircArc()
{
    const OdGePoint3d center = geTest::point();
    const OdGeVector3d normal = geTest::direction();
    const OdGeVector3d refVec = geTest::direction();
    const double radius = *rc::gen::inRange(1, 50000) / 1000.0;
    const double start = geTest::angle();
    const double end = geTest::angle();
    return {center, normal, refVec, radius, start, end};
}

OdGeEllipArc3d randomEllipArc()
{
    const OdGePoint3d center = geTest::point();
    const OdGeVector3d major = geTest::direction();
    const OdGeVector3d minor = geTest::direction();
    const double majorRadius = *rc::gen::inRange(1000, 20000) / 1000.0;
    const double minorRadius = *rc::gen::inRange(1000, 20000) / 1000.0;
    const double start = geTest::angle();
    const double end = geTest::angle();
    return {center, major, minor, majorRadius, minorRadius, start, end};
}

/// The parameter at a share of the way from start to end.
double paramAt(OdGeCurve3d const& curve, double share)
{
    return curve.startParam() + (curve.endParam() - curve.startParam()) * share;
}

/// The length by many chords.
double chordLength(OdGeCurve3d const& curve)
{
    constexpr int kChords = 20000;
    double length = 0.0;
    OdGePoint3d before = curve.startPoint();
    for (int i = 1; i <= kChords; ++i) {
        const OdGePoint3d next = curve.evalPoint(paramAt(curve, double(i) / kChords));
        length += before.distanceTo(next);
        before = next;
    }
    return length;
}

/// The least distance to many points of the curve.
double sampledDistance(OdGeCurve3d const& curve, OdGePoint3d const& point)
{
    constexpr int kSamples = 2000;
    double least = point.distanceTo(curve.startPoint());
    for (int i = 1; i <= kSamples; ++i) {
        least = std::min(least,
                         point.distanceTo(curve.evalPoint(paramAt(curve, double(i) / kSamples))));
    }
    return least;
}

struct AngleCase
{
    char const* name;
    double start;
    double end;
    double expectedEnd;
};

}  // namespace

TEST(OdGeCircArc3d, IsTheUnitCircleUnlessSet)
{
    const OdGeCircArc3d circle;

    EXPECT_EQ(circle.kind(), OdGeCurve3d::Kind::kCircArc3d);
    EXPECT_EQ(circle.startPoint(), OdGePoint3d(1.0, 0.0, 0.0));
    EXPECT_TRUE(circle.isClosed());
    EXPECT_DOUBLE_EQ(circle.length(), 2 * pi);
}

TEST(OdGeCircArc3d, RunsCounterclockwiseAboutItsNormal)
{
    const OdGeCircArc3d arc = quarter();

    EXPECT_EQ(arc.startPoint(), OdGePoint3d(3.0, 2.0, 3.0));
    EXPECT_TRUE(arc.endPoint().isEqualTo(OdGePoint3d(1.0, 4.0, 3.0)));
    EXPECT_TRUE(arc.evalTangent(0.0).isEqualTo(OdGeVector3d(0.0, 2.0, 0.0)));
    EXPECT_FALSE(arc.isClosed());
    EXPECT_DOUBLE_EQ(arc.length(), pi);
}

TEST(OdGeCircArc3d, MakesItsAxesPerpendicularAndOfLengthOne)
{
    const OdGeCircArc3d arc(OdGePoint3d(), OdGeVector3d(0.0, 0.0, 5.0), OdGeVector3d(3.0, 0.0, 9.0),
                            1.0, 0.0, 1.0);

    EXPECT_EQ(arc.normal(), OdGeVector3d::kZAxis);
    EXPECT_EQ(arc.refVec(), OdGeVector3d::kXAxis);
    EXPECT_EQ(OdGeCircArc3d(OdGePoint3d(), OdGeVector3d(), OdGeVector3d(), 1.0, 0.0, 1.0).refVec(),
              OdGeVector3d::kXAxis);
}

TEST(OdGeCircArc3d, KeepsItsEndAngleWithinATurnOfItsStart)
{
    const AngleCase kCases[] = {
        {"as given", 1.0, 2.0, 2.0},
        {"past the zero angle", 3 * pi / 2, pi / 2, 5 * pi / 2},
        {"equal angles", 1.0, 1.0, 1.0 + 2 * pi},
        {"nearly equal angles", 1.0, 1.0 + 1e-14, 1.0 + 2 * pi},
        {"a full turn", 0.0, 2 * pi, 2 * pi},
        {"many turns", 0.0, 20 * pi + 1.0, 1.0},
        {"negative start", -1.0, 1.0, 1.0},
    };
    for (AngleCase const& row : kCases) {
        SCOPED_TRACE(row.name);
        OdGeCircArc3d arc;
        arc.setAngles(row.start, row.end);
        EXPECT_EQ(arc.startAngle(), row.start);
        EXPECT_NEAR(arc.endAngle(), row.expectedEnd, 1e-12);
    }
}

TEST(OdGeCircArc3d, EndsNearestPointsAtItsEnds)
{
    const OdGeCircArc3d arc = quarter();

    EXPECT_NEAR(arc.closestParamTo(OdGePoint3d(9.0, 10.0, 7.0)), pi / 4, 1e-15);
    EXPECT_EQ(arc.closestParamTo(OdGePoint3d(2.0, -9.0, 3.0)), 0.0);
    EXPECT_EQ(arc.closestParamTo(OdGePoint3d(-9.0, 3.0, 3.0)), pi / 2);
    EXPECT_EQ(arc.closestParamTo(OdGePoint3d(1.0, 2.0, 8.0)), 0.0);
    EXPECT_TRUE(arc.isOn(arc.evalPoint(0.3)));
    EXPECT_FALSE(arc.isOn(arc.center()));
}

TEST(OdGeCircArc3d, HasExtentsOfItsPartOnly)
{
    EXPECT_TRUE(quarter().extents().isEqualTo(
        OdGeExtents3d(OdGePoint3d(1.0, 2.0, 3.0), OdGePoint3d(3.0, 4.0, 3.0))));
    EXPECT_TRUE(OdGeCircArc3d().extents().isEqualTo(
        OdGeExtents3d(OdGePoint3d(-1.0, -1.0, 0.0), OdGePoint3d(1.0, 1.0, 0.0))));
}

TEST(OdGeCircArc3dTransformBy, RefusesWhatMakesAnEllipseAndStaysAsItIs)
{
    OdGeCircArc3d arc = quarter();

    EXPECT_FALSE(arc.transformBy(OdGeMatrix3d::scaling(OdGeScale3d(1.0, 2.0, 1.0))));
    EXPECT_TRUE(arc.isEqualTo(quarter()));
}

TEST(OdGeCircArc3dTransformBy, TurnsTheNormalOverInAReflection)
{
    OdGeCircArc3d arc = quarter();

    ASSERT_TRUE(arc.transformBy(OdGeMatrix3d::mirroring(OdGePlane::kYZPlane)));

    EXPECT_EQ(arc.normal(), -OdGeVector3d::kZAxis);
    EXPECT_EQ(arc.startPoint(), OdGePoint3d(-3.0, 2.0, 3.0));
    EXPECT_TRUE(arc.endPoint().isEqualTo(OdGePoint3d(-1.0, 4.0, 3.0)));
}

TEST(OdGeCircArc3d, CopiesToACurveOfItsOwn)
{
    OdGeCircArc3d arc = quarter();
    const std::unique_ptr<OdGeCurve3d> copy = arc.copy();
    arc.setRadius(7.0);

    ASSERT_EQ(copy->kind(), OdGeCurve3d::Kind::kCircArc3d);
    EXPECT_EQ(copy->startPoint(), OdGePoint3d(3.0, 2.0, 3.0));
}

TEST(OdGeEllipArc3d, RunsFromItsMajorToItsMinorAxis)
{
    const OdGeEllipArc3d arc = ellipse(0.0, pi / 2);

    EXPECT_EQ(arc.kind(), OdGeCurve3d::Kind::kEllipArc3d);
    EXPECT_EQ(arc.normal(), OdGeVector3d::kZAxis);
    EXPECT_EQ(arc.startPoint(), OdGePoint3d(5.0, 0.0, 0.0));
    EXPECT_TRUE(arc.endPoint().isEqualTo(OdGePoint3d(0.0, 3.0, 0.0)));
    EXPECT_FALSE(arc.isCircular());
}

TEST(OdGeEllipArc3d, TakesOverACircularArc)
{
    const OdGeCircArc3d arc = quarter();
    const OdGeEllipArc3d same(arc);

    EXPECT_TRUE(same.isCircular());
    EXPECT_EQ(same.endAngle(), arc.endAngle());
    EXPECT_TRUE(same.evalPoint(0.7).isEqualTo(arc.evalPoint(0.7)));
    EXPECT_NEAR(same.length(), arc.length(), 1e-12);
}

TEST(OdGeEllipArc3d, HasTheLengthOfTheEllipticIntegral)
{
    // 4 a E(e) of the ellipse with the radii 5 and 3.
    EXPECT_NEAR(ellipse().length(), 25.526998863398124, 1e-12);
    EXPECT_NEAR(ellipse(0.0, pi).length(), 25.526998863398124 / 2, 1e-12);
}

TEST(OdGeEllipArc3d, HasNoLengthWithNumbersThatAreNotFinite)
{
    OdGeEllipArc3d arc = ellipse();
    arc.setAngles(std::numeric_limits<double>::quiet_NaN(), 1.0);
    EXPECT_EQ(arc.length(), 0.0);

    arc.setAngles(std::numeric_limits<double>::infinity(), 1.0);
    EXPECT_EQ(arc.length(), 0.0);
    static_cast<void>(arc.closestParamTo(OdGePoint3d(1.0, 2.0, 3.0)));
}

TEST(OdGeEllipArc3d, FindsTheNearerOfTwoMinima)
{
    const OdGeEllipArc3d arc = ellipse();

    EXPECT_NEAR(arc.closestParamTo(OdGePoint3d(0.1, 0.1, 4.0)), pi / 2, 0.1);
    EXPECT_NEAR(arc.distanceTo(OdGePoint3d(0.0, -1.0, 0.0)), 2.0, 1e-12);
    EXPECT_NEAR(arc.distanceTo(OdGePoint3d(9.0, 0.0, 0.0)), 4.0, 1e-12);
    EXPECT_NEAR(arc.distanceTo(OdGePoint3d()), 3.0, 1e-12);
}

TEST(OdGeEllipArc3d, FindsTheOtherMinimumWhenTheNearerOneIsCutOff)
{
    const OdGeEllipArc3d lowerHalf = ellipse(pi, 2 * pi);

    EXPECT_NEAR(lowerHalf.distanceTo(OdGePoint3d(0.0, 1.0, 0.0)), 4.0, 1e-12);
    EXPECT_NEAR(lowerHalf.closestParamTo(OdGePoint3d(0.0, 1.0, 0.0)), 3 * pi / 2, 1e-6);
}

TEST(OdGeEllipArc3dTransformBy, RefusesWhatFlattensTheEllipse)
{
    OdGeEllipArc3d arc = ellipse();
    OdGeMatrix3d perspective;
    perspective(3, 0) = 1.0;

    EXPECT_FALSE(arc.transformBy(OdGeMatrix3d::scaling(OdGeScale3d(1.0, 0.0, 1.0))));
    EXPECT_FALSE(arc.transformBy(perspective));
    EXPECT_TRUE(arc.isEqualTo(ellipse()));
}

TEST(OdGeEllipArc3dTransformBy, KeepsAxesThatStayAxes)
{
    OdGeEllipArc3d arc = ellipse(0.0, 1.0);

    ASSERT_TRUE(arc.transformBy(OdGeMatrix3d::scaling(OdGeScale3d(1.0, 10.0, 1.0))));

    EXPECT_EQ(arc.majorRadius(), 5.0);
    EXPECT_EQ(arc.minorRadius(), 30.0);
    EXPECT_EQ(arc.endAngle(), 1.0);
}

OdGeMatrix3d matrixWith(unsigned row, unsigned column, double value)
{
    OdGeMatrix3d matrix;
    matrix(row, column) = value;
    return matrix;
}

TEST(OdGeCurve3dTransformBy, RefusesNumbersThatAreNotFiniteAndChangesNothing)
{
    constexpr double kBad[] = {std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity()};
    for (double bad : kBad) {
        for (unsigned row = 0; row < OdGeMatrix3d::kSize; ++row) {
            for (unsigned column = 0; column < OdGeMatrix3d::kSize; ++column) {
                const OdGeMatrix3d matrix = matrixWith(row, column, bad);
                OdGeCircArc3d circle(OdGePoint3d(1, 2, 3), OdGeVector3d(1, 1, 1), 2.0);
                OdGeCircArc3d const circleBefore = circle;
                EXPECT_FALSE(circle.transformBy(matrix)) << row << ' ' << column;
                EXPECT_TRUE(circle.isEqualTo(circleBefore));
                OdGeEllipArc3d ellipse(OdGePoint3d(1, 2, 3), OdGeVector3d(1, 1, 1),
                                       OdGeVector3d(1, -1, 0), 2.0, 1.0);
                OdGeEllipArc3d const ellipseBefore = ellipse;
                EXPECT_FALSE(ellipse.transformBy(matrix)) << row << ' ' << column;
                EXPECT_TRUE(ellipse.isEqualTo(ellipseBefore));
            }
        }
    }
}

TEST(OdGeCurve3dTransformBy, RefusesResultsThatOverflow)
{
    OdGeCircArc3d circle(OdGePoint3d(1e300, 0, 0), OdGeVector3d::kZAxis, 1e300);
    EXPECT_FALSE(circle.transformBy(OdGeMatrix3d::scaling(1e100)));
    EXPECT_EQ(circle.radius(), 1e300);
    OdGeEllipArc3d ellipse(OdGePoint3d(1e300, 0, 0), OdGeVector3d::kXAxis, OdGeVector3d::kYAxis,
                           1e300, 1e299);
    EXPECT_FALSE(ellipse.transformBy(OdGeMatrix3d::scaling(1e100)));
    EXPECT_EQ(ellipse.majorRadius(), 1e300);
}

TEST(OdGeCurve3dTransformBy, TakesTinyAndHugeScales)
{
    for (double scale : {1e-120, 1e-20, 1e20, 1e120}) {
        OdGeMatrix3d matrix = OdGeMatrix3d::scaling(scale);
        OdGeCircArc3d circle(OdGePoint3d(1, 2, 3), OdGeVector3d(1, 1, 1), 2.0);
        ASSERT_TRUE(circle.transformBy(matrix)) << scale;
        EXPECT_NEAR(circle.radius() / scale, 2.0, 1e-9);
        matrix(0, 1) = 0.5 * scale;
        OdGeEllipArc3d ellipse(OdGePoint3d(1, 2, 3), OdGeVector3d(1, 1, 1), OdGeVector3d(1, -1, 0),
                               2.0, 1.0);
        const OdGePoint3d start = matrix * ellipse.startPoint();
        ASSERT_TRUE(ellipse.transformBy(matrix)) << scale;
        EXPECT_LE(ellipse.startPoint().distanceTo(start), 1e-9 * scale) << scale;
        EXPECT_TRUE(ellipse.majorAxis().isUnitLength()) << scale;
        EXPECT_TRUE(ellipse.majorAxis().isPerpendicularTo(ellipse.minorAxis())) << scale;
    }
}

TEST(OdGeCurve3d, KeepsItsEndWithinATurnOfItsStartWhateverTheAngles)
{
    const double kAngles[] = {0.0,   1e-300, -1e-300,          1e15,   -1e15,
                              1e300, -1e300, std::numbers::pi, -1e-17, 1.7976931348623157e308};
    for (double start : kAngles) {
        for (double end : kAngles) {
            OdGeCircArc3d arc;
            arc.setAngles(start, end);
            const double span = arc.endAngle() - arc.startAngle();
            EXPECT_TRUE(std::isfinite(span)) << start << ' ' << end;
            EXPECT_GE(span, 0.0) << start << ' ' << end;
            // Far from 0 two neighbouring numbers may be farther apart than a turn.
            if (std::fabs(start) < 1e10) {
                EXPECT_GT(span, 0.0) << start << ' ' << end;
                EXPECT_LE(span, OdGeCircArc3d::kFullTurn * (1.0 + 1e-15)) << start << ' ' << end;
            }
            EXPECT_TRUE(std::isfinite(arc.closestParamTo(OdGePoint3d(1, 1, 1))));
            OdGeEllipArc3d ellipse;
            ellipse.setRadii(2.0, 1.0).setAngles(start, end);
            EXPECT_TRUE(std::isfinite(ellipse.closestParamTo(OdGePoint3d(1, 1, 1))));
            EXPECT_TRUE(std::isfinite(ellipse.length())) << start << ' ' << end;
        }
    }
}

TEST(OdGeEllipArc3d, HasALengthWhereItsMinorRadiusIsNothing)
{
    OdGeEllipArc3d flat;
    flat.setRadii(2.0, 0.0);
    EXPECT_NEAR(flat.length(), 8.0, 1e-9);
    flat.setRadii(0.0, 2.0);
    EXPECT_NEAR(flat.length(), 8.0, 1e-9);
}

TEST(OdGeEllipArc3d, OfAFlatEllipseFindsItsOwnPointsNearTheVertex)
{
    for (double start : {0.0, 0.3, 0.5, 2.0}) {
        const OdGeEllipArc3d arc({}, OdGeVector3d::kXAxis, OdGeVector3d::kYAxis, 1.0, 0.001, start,
                                 start + OdGeEllipArc3d::kFullTurn);
        for (double param : {-0.004, -0.001, 0.001, 0.004}) {
            EXPECT_TRUE(arc.isOn(arc.evalPoint(param))) << start << ", " << param;
        }
    }
}

TEST(OdGeEllipArc3d, HasNoLengthWithARadiusThatIsNoNumber)
{
    const double kInf = std::numeric_limits<double>::infinity();
    const double kNan = std::numeric_limits<double>::quiet_NaN();
    const std::pair<double, double> kRadii[] = {{kNan, 1.0}, {1.0, kNan}, {kInf, 1.0}, {1.0, kInf}};
    for (auto const& [major, minor] : kRadii) {
        OdGeEllipArc3d arc;
        arc.setRadii(major, minor);
        EXPECT_EQ(arc.length(), 0.0) << major << ' ' << minor;
    }
}

RC_GTEST_PROP(OdGeCircArc3dProperties, TransformKeepsTheParameterOfEachPoint, ())
{
    const OdGeCircArc3d arc = randomCircArc();
    const OdGeMatrix3d matrix = geTest::rotation() * OdGeMatrix3d::scaling(-1.5);
    OdGeCircArc3d moved = arc;

    RC_ASSERT(moved.transformBy(matrix));

    for (const double share : {0.0, 0.3, 1.0}) {
        const double param = paramAt(arc, share);
        RC_ASSERT(moved.evalPoint(param).isEqualTo(matrix * arc.evalPoint(param), OdGeTol(kClose)));
    }
}

RC_GTEST_PROP(OdGeCircArc3dProperties, ClosestPointIsNoFartherThanAnySample, ())
{
    const OdGeCircArc3d arc = randomCircArc();
    const OdGePoint3d p = geTest::point();

    RC_ASSERT(arc.distanceTo(p) <= sampledDistance(arc, p) + geTest::kRounding);
}

RC_GTEST_PROP(OdGeEllipArc3dProperties, TransformKeepsTheCurve, ())
{
    const OdGeEllipArc3d arc = randomEllipArc();
    const OdGeMatrix3d matrix = geTest::affineMatrix();
    OdGeEllipArc3d moved = arc;

    RC_ASSERT(moved.transformBy(matrix));

    RC_ASSERT(moved.majorAxis().isPerpendicularTo(moved.minorAxis(), OdGeTol(kClose)));
    for (const double share : {0.0, 0.3, 1.0}) {
        const OdGePoint3d expected = matrix * arc.evalPoint(paramAt(arc, share));
        RC_ASSERT(moved.evalPoint(paramAt(moved, share)).isEqualTo(expected, OdGeTol(kClose)));
    }
}

RC_GTEST_PROP(OdGeEllipArc3dProperties, ClosestPointIsNoFartherThanAnySample, ())
{
    const OdGeEllipArc3d arc = randomEllipArc();
    const OdGePoint3d p = geTest::point();

    RC_ASSERT(arc.distanceTo(p) <= sampledDistance(arc, p) + geTest::kRounding);
}

RC_GTEST_PROP(OdGeEllipArc3dProperties, LengthIsThatOfManyChords, ())
{
    const OdGeEllipArc3d arc = randomEllipArc();

    RC_ASSERT(std::fabs(arc.length() - chordLength(arc)) < 1e-5);
}

RC_GTEST_PROP(OdGeEllipArc3dProperties, ExtentsContainEverySample, ())
{
    const OdGeEllipArc3d arc = randomEllipArc();
    const OdGeExtents3d extents = arc.extents();

    for (int i = 0; i <= 100; ++i) {
        RC_ASSERT(extents.contains(arc.evalPoint(paramAt(arc, i / 100.0)), OdGeTol(kClose)));
    }
}
