// Lines and triangles of solids.

#include "kernel/kernel_display.h"

#include "edit_samples.h"
#include "kernel_test_files.h"

#include <BRepPrimAPI_MakeSphere.hxx>
#include <BRepTools.hxx>
#include <TopoDS_Solid.hxx>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using kernel_test::failureOf;
using zemhost::FaceMesh;
using zemhost::KernelFailure;
using zemhost::KernelPoint;
using zemhost::KernelSolid;
using zemhost::SolidDisplay;

/// Six times the volume of the tetrahedron from the origin to a triangle.
double sixVolumes(const KernelPoint& a, const KernelPoint& b, const KernelPoint& c)
{
    return a[0] * (b[1] * c[2] - b[2] * c[1]) + a[1] * (b[2] * c[0] - b[0] * c[2]) +
           a[2] * (b[0] * c[1] - b[1] * c[0]);
}

double volumeOf(const KernelSolid& solid, const SolidDisplay& display)
{
    double sum = 0;
    for (int number = 1; number <= solid.faceCount(); ++number) {
        const FaceMesh mesh = display.face(number);
        for (const std::array<int, 3>& corners : mesh.triangles) {
            sum += sixVolumes(mesh.points[static_cast<std::size_t>(corners[0])],
                              mesh.points[static_cast<std::size_t>(corners[1])],
                              mesh.points[static_cast<std::size_t>(corners[2])]);
        }
    }
    return sum / 6;
}

TEST(SolidDisplay, HasTrianglesThatCloseTheSolidAndLookOutside)
{
    const KernelSolid box = KernelSolid::makeBox(2, 3, 4);
    EXPECT_NEAR(volumeOf(box, SolidDisplay(box)), 24, 1e-9);
    const KernelSolid part =
        zemhost::importFile(kernel_test::samplePath("step/linkrods.step")).solids.front().solid;
    EXPECT_NEAR(volumeOf(part, SolidDisplay(part)), part.volumeMm3(), 0.01 * part.volumeMm3());
}

TEST(SolidDisplay, LiesAsNearAsItIsAskedTo)
{
    const KernelSolid post = KernelSolid::makeCylinder(100, 10);
    const double whole = post.volumeMm3();
    double lastMissing = whole;
    std::size_t lastPoints = 0;
    for (const double deviation : {5.0, 0.5, 0.05}) {
        const SolidDisplay display(post, deviation);
        std::size_t points = 0;
        for (int edge = 1; edge <= post.edgeCount(); ++edge) {
            points += display.edge(edge).size();
        }
        const double missing = whole - volumeOf(post, display);
        EXPECT_LT(missing, lastMissing);
        EXPECT_GT(points, lastPoints);
        EXPECT_LT(missing, post.areaMm2() * deviation);
        lastMissing = missing;
        lastPoints = points;
    }
}

TEST(SolidDisplay, TakesItsOwnFinenessForAskedOnesThatMakeNoSense)
{
    const KernelSolid post = KernelSolid::makeCylinder(100, 10);
    const std::size_t usual = SolidDisplay(post).face(1).points.size();
    for (const double deviation :
         {0.0, -1.0, std::nan(""), std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(SolidDisplay(post, deviation).face(1).points.size(), usual);
    }
    EXPECT_LT(SolidDisplay(post, 1e-300).face(1).points.size(), 100'000U);
}

TEST(SolidDisplay, GoesAlongEveryEdgeFromEndToEnd)
{
    const KernelSolid box = KernelSolid::makeBox(2, 3, 4);
    const SolidDisplay display(box);
    for (int edge = 1; edge <= box.edgeCount(); ++edge) {
        const std::vector<KernelPoint> line = display.edge(edge);
        ASSERT_EQ(line.size(), 2U);
        EXPECT_NEAR(
            std::hypot(line[0][0] - line[1][0], line[0][1] - line[1][1], line[0][2] - line[1][2]),
            box.edge(edge).lengthMm, 1e-9);
    }
    EXPECT_EQ(display.vertex(1), box.vertex(1).point);
}

TEST(SolidDisplay, HasNoLineForAnEdgeWithoutACurve)
{
    const kernel_test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "ball.brep";
    BRepTools::Write(BRepPrimAPI_MakeSphere(5).Solid(), file.c_str());
    const KernelSolid ball = zemhost::importBrep(file).solids.front().solid;
    const SolidDisplay display(ball);
    int poles = 0;
    for (int edge = 1; edge <= ball.edgeCount(); ++edge) {
        const bool isPole = ball.edge(edge).kind == zemhost::CurveKind::kDegenerated;
        EXPECT_EQ(display.edge(edge).empty(), isPole);
        poles += isPole ? 1 : 0;
    }
    EXPECT_EQ(poles, 2);
}

TEST(SolidDisplay, LeavesTheBytesOfTheSolidAsTheyWere)
{
    const KernelSolid box = KernelSolid::makeBox(2, 3, 4);
    const std::vector<unsigned char> bytes = box.toBytes();
    const SolidDisplay display(box);
    EXPECT_EQ(box.toBytes(), bytes);
}

TEST(SolidDisplay, RefusesNumbersThatTheSolidDoesntHave)
{
    const SolidDisplay display(KernelSolid::makeBox(2, 3, 4));
    EXPECT_EQ(failureOf([&] { (void)display.face(0); }), KernelFailure::kBadArgument);
    EXPECT_EQ(failureOf([&] { (void)display.face(7); }), KernelFailure::kBadArgument);
    EXPECT_EQ(failureOf([&] { (void)display.edge(13); }), KernelFailure::kBadArgument);
    EXPECT_EQ(failureOf([&] { (void)display.vertex(-1); }), KernelFailure::kBadArgument);
}

}  // namespace
