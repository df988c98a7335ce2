// Solids that stand elsewhere.

#include "kernel/kernel_placement.h"

#include "edit_samples.h"
#include "kernel_test_files.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using kernel_test::failureOf;
using zemhost::KernelBox;
using zemhost::KernelFailure;
using zemhost::KernelPlacement;
using zemhost::KernelPoint;
using zemhost::KernelSolid;

constexpr KernelPlacement kIdentity = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}}};

/// A turn about the third axis, then a move.
KernelPlacement turned(double angleRad, const KernelPoint& move)
{
    const double c = std::cos(angleRad);
    const double s = std::sin(angleRad);
    return {{{c, -s, 0, move[0]}, {s, c, 0, move[1]}, {0, 0, 1, move[2]}}};
}

void expectBox(const KernelBox& box, const KernelPoint& min, const KernelPoint& max)
{
    for (std::size_t axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR(box.min[axis], min[axis], 1e-6) << axis;
        EXPECT_NEAR(box.max[axis], max[axis], 1e-6) << axis;
    }
}

TEST(PlacedBox, IsTheLeastOneForAnyPlacement)
{
    const double half = std::sqrt(0.5);
    const KernelSolid post = KernelSolid::makeCylinder(2, 10);
    expectBox(placedBox(post, kIdentity), {-2, -2, 0}, {2, 2, 10});
    expectBox(placedBox(post, turned(0.7, {1, 2, 3})), {-1, 0, 3}, {3, 4, 13});
    const KernelPlacement leaning = {{{half, 0, half, 0}, {0, 1, 0, 0}, {-half, 0, half, 0}}};
    expectBox(placedBox(post, leaning), {-2 * half, -2, -2 * half}, {12 * half, 2, 12 * half});
    const KernelBox leant = placedBox(KernelSolid::makeBox(1, 2, 3),
                                      {{{0.6, 0.8, 0, 0}, {0, 0, 1, 0}, {0.8, -0.6, 0, 0}}});
    expectBox(leant, {0, 0, -1.2}, {2.2, 3, 0.8});
    const KernelPlacement stretched = {{{-3, 0, 0, 5}, {0, 0, 2, 0}, {0, 1, 0, 0}}};
    expectBox(placedBox(post, stretched), {-1, 0, -2}, {11, 20, 2});
    const KernelPlacement sheared = {{{1, 0, 1, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}}};
    expectBox(placedBox(post, sheared), {-2, -2, 0}, {12, 2, 10});
}

TEST(PlacedSolid, KeepsItsNumbersAndItsSize)
{
    const KernelSolid bracket = kernel_test::makeBracket();
    const KernelPlacement placement = turned(0.3, {10, 20, 30});
    const KernelSolid placed = placedSolid(bracket, placement);
    EXPECT_EQ(placed.counts(), bracket.counts());
    EXPECT_NEAR(placed.volumeMm3(), bracket.volumeMm3(), 1e-6);
    for (int face = 1; face <= bracket.faceCount(); ++face) {
        EXPECT_EQ(placed.face(face).kind, bracket.face(face).kind);
        EXPECT_NEAR(placed.face(face).areaMm2, bracket.face(face).areaMm2, 1e-6);
    }
    for (int edge = 1; edge <= bracket.edgeCount(); ++edge) {
        EXPECT_NEAR(placed.edge(edge).lengthMm, bracket.edge(edge).lengthMm, 1e-9);
    }
    const KernelBox box = placedBox(bracket, placement);
    expectBox(placed.boundingBox(), box.min, box.max);
}

TEST(PlacedSolid, GrowsAndIsMirrored)
{
    const KernelSolid bracket = kernel_test::makeBracket();
    const KernelPlacement mirrored = {{{-2, 0, 0, 0}, {0, 2, 0, 0}, {0, 0, 2, 1}}};
    const KernelSolid placed = placedSolid(bracket, mirrored);
    EXPECT_NEAR(placed.volumeMm3(), 8 * bracket.volumeMm3(), 1e-5);
    EXPECT_TRUE(placed.isValid());
    EXPECT_EQ(placed.face(1).kind, bracket.face(1).kind);
}

TEST(PlacedSolid, IsStretchedInOneDirection)
{
    const KernelSolid bracket = kernel_test::makeBracket();
    const KernelPlacement stretched = {{{1, 0, 0, 0}, {0, 3, 0, 0}, {0, 0, 1, 0}}};
    const KernelSolid placed = placedSolid(bracket, stretched);
    EXPECT_EQ(placed.counts(), bracket.counts());
    EXPECT_NEAR(placed.volumeMm3(), 3 * bracket.volumeMm3(), 1e-3);
}

TEST(PlacedSolid, RefusesPlacementsThatFlattenSpaceOrAreNotFinite)
{
    const KernelSolid box = KernelSolid::makeBox(1, 2, 3);
    KernelPlacement flat = kIdentity;
    flat[2][2] = 0;
    KernelPlacement endless = kIdentity;
    endless[0][3] = std::numeric_limits<double>::infinity();
    for (const KernelPlacement& placement : {flat, endless}) {
        EXPECT_EQ(failureOf([&] { (void)placedSolid(box, placement); }),
                  KernelFailure::kBadArgument);
        EXPECT_EQ(failureOf([&] { (void)placedBox(box, placement); }), KernelFailure::kBadArgument);
    }
}

}  // namespace
