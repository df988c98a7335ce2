// Single edits: their results, what they tell of each item, and how they fail.

#include "kernel/kernel_edit.h"

#include "edit_samples.h"
#include "kernel_test_files.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using kernel_test::countOf;
using kernel_test::failureOf;
using kernel_test::inThisProcess;
using kernel_test::itemAt;
using kernel_test::makeBracket;
using zemhost::EditOptions;
using zemhost::EditResult;
using zemhost::KernelFailure;
using zemhost::KernelPoint;
using zemhost::KernelSolid;
using zemhost::Recipe;
using zemhost::RecipeBase;
using zemhost::RecipeStep;
using zemhost::RecomputeResult;
using zemhost::Subent;
using zemhost::SubentFate;
using zemhost::SubentKind;

const double kPi = std::acos(-1.0);

EditResult apply(const KernelSolid& solid, const RecipeStep& step)
{
    return applyEdit(solid, step, inThisProcess());
}

/// Applies a step and compares what it tells with geometry.
EditResult applyChecked(const KernelSolid& solid, const RecipeStep& step)
{
    EditResult edit = apply(solid, step);
    const zemhost::OracleReport report = compareWithGeometry(solid, edit.solid, edit.map);
    EXPECT_EQ(report.differences, 0) << kernel_test::describeDifferences(report);
    EXPECT_EQ(report.ambiguous, 0);
    EXPECT_TRUE(edit.solid.isValid());
    return edit;
}

SubentFate fateOf(const EditResult& edit, SubentKind kind, int number)
{
    return edit.map.answer({kind, number}).fate;
}

//--------------------------------------------------------------------------------------------------
// Operations

TEST(ApplyEdit, CutsABoxAndTellsThePiecesOfASplitFace)
{
    const KernelSolid bracket = makeBracket();
    const int top = itemAt(bracket, SubentKind::kEdge, {100, 30, 12});
    const EditResult edit = applyChecked(bracket, RecipeStep::cutBox({55, -1, 8}, {6, 62, 10}));
    EXPECT_NEAR(edit.solid.volumeMm3(), bracket.volumeMm3() - 6 * 60 * 4, 1e-6);
    EXPECT_EQ(edit.map.tally(SubentKind::kFace).of(SubentFate::kSplit), 1);
    EXPECT_EQ(edit.map.tally(SubentKind::kEdge).of(SubentFate::kSplit), 2);
    EXPECT_NE(fateOf(edit, SubentKind::kEdge, top), SubentFate::kSplit);
    EXPECT_EQ(countOf(edit.map, SubentFate::kGone), 0);
}

TEST(ApplyEdit, NamesTheStepAsTheCauseOfWhatItDidAndNothingForTheRest)
{
    const KernelSolid bracket = makeBracket();
    const EditResult edit = apply(bracket, RecipeStep::cutBox({55, -1, 8}, {6, 62, 10}));
    for (const SubentKind kind : zemhost::kSubentKinds) {
        for (int number = 1; number <= bracket.counts().of(kind); ++number) {
            const zemhost::SubentAnswer answer = edit.map.answer({kind, number});
            EXPECT_EQ(answer.cause, answer.fate == SubentFate::kUnchanged ? "" : "cut");
        }
    }
}

TEST(ApplyEdit, CutsACylinderInAnyDirection)
{
    const KernelSolid box = KernelSolid::makeBox(20, 20, 20);
    const EditResult edit =
        applyChecked(box, RecipeStep::cutCylinder({-1, 10, 10}, {3, 0, 0}, 4, 22));
    EXPECT_NEAR(edit.solid.volumeMm3(), 8000 - kPi * 16 * 20, 1e-6);
}

TEST(ApplyEdit, CutsAnImportedSolidThatIsShifted)
{
    const KernelSolid box = KernelSolid::makeBox(20, 20, 20);
    const KernelSolid tool = KernelSolid::makeBox(4, 4, 30);
    const EditResult edit = applyChecked(box, RecipeStep::cutSolid(tool, {8, 8, -5}));
    EXPECT_NEAR(edit.solid.volumeMm3(), 8000 - 4 * 4 * 20, 1e-6);
}

TEST(ApplyEdit, LeavesTwoLumpsWhereACutGoesThrough)
{
    const KernelSolid box = KernelSolid::makeBox(30, 10, 10);
    const EditResult edit = applyChecked(box, RecipeStep::cutBox({14, -1, -1}, {2, 12, 12}));
    EXPECT_EQ(edit.solid.lumpCount(), 2);
    EXPECT_EQ(edit.map.tally(SubentKind::kFace).of(SubentFate::kSplit), 4);
    const KernelSolid again = KernelSolid::fromBytes(edit.solid.toBytes());
    EXPECT_EQ(again.lumpCount(), 2);
    EXPECT_EQ(again.toBytes(), edit.solid.toBytes());
    const EditResult next = applyChecked(edit.solid, RecipeStep::hole({5, 5, 10}, {0, 0, -1}, 2));
    EXPECT_EQ(next.solid.lumpCount(), 2);
}

TEST(ApplyEdit, FusesABoxAndTellsWhatItHides)
{
    const KernelSolid box = KernelSolid::makeBox(20, 20, 10);
    const EditResult edit = applyChecked(box, RecipeStep::fuseBox({5, 5, 5}, {10, 10, 20}));
    EXPECT_NEAR(edit.solid.volumeMm3(), 4000 + 10 * 10 * 15, 1e-6);
    EXPECT_EQ(countOf(edit.map, SubentFate::kGone), 0);
    const EditResult hidden = applyChecked(box, RecipeStep::fuseBox({-1, -1, 5}, {22, 22, 20}));
    EXPECT_GT(countOf(hidden.map, SubentFate::kGone), 0);
}

TEST(ApplyEdit, FusesACylinderAndAnImportedSolid)
{
    const KernelSolid box = KernelSolid::makeBox(20, 20, 10);
    const EditResult post =
        applyChecked(box, RecipeStep::fuseCylinder({10, 10, 10}, {0, 0, 1}, 5, 7));
    EXPECT_NEAR(post.solid.volumeMm3(), 4000 + kPi * 25 * 7, 1e-6);
    const EditResult copy =
        applyChecked(box, RecipeStep::fuseSolid(KernelSolid::makeBox(5, 5, 5), {2, 2, 10}));
    EXPECT_NEAR(copy.solid.volumeMm3(), 4000 + 125, 1e-6);
}

TEST(ApplyEdit, DrillsAHoleThroughOrToADepth)
{
    const KernelSolid box = KernelSolid::makeBox(20, 20, 10);
    const EditResult through = applyChecked(box, RecipeStep::hole({10, 10, 10}, {0, 0, -1}, 3));
    EXPECT_NEAR(through.solid.volumeMm3(), 4000 - kPi * 9 * 10, 1e-6);
    const EditResult blind = applyChecked(box, RecipeStep::hole({10, 10, 10}, {0, 0, -2}, 3, 4));
    EXPECT_NEAR(blind.solid.volumeMm3(), 4000 - kPi * 9 * 4, 1e-6);
    EXPECT_EQ(blind.solid.faceCount(), 8);
}

TEST(ApplyEdit, RoundsAnEdgeAndTellsThatItIsGone)
{
    const KernelSolid bracket = makeBracket();
    const int inner = itemAt(bracket, SubentKind::kEdge, {12, 30, 12});
    const EditResult edit = applyChecked(bracket, RecipeStep::fillet(std::vector<int>{inner}, 4));
    EXPECT_EQ(fateOf(edit, SubentKind::kEdge, inner), SubentFate::kGone);
    EXPECT_EQ(edit.map.tally(SubentKind::kEdge).of(SubentFate::kGone), 1);
    EXPECT_EQ(edit.map.tally(SubentKind::kVertex).of(SubentFate::kGone), 2);
    EXPECT_EQ(edit.solid.faceCount(), bracket.faceCount() + 1);
    EXPECT_NEAR(edit.solid.volumeMm3(), bracket.volumeMm3() + 60 * (16 - kPi * 4), 1e-6);
}

TEST(ApplyEdit, RoundsAllEdgesOfABoxWithItsCorners)
{
    const KernelSolid box = KernelSolid::makeBox(20, 30, 40);
    std::vector<int> all;
    for (int edge = 1; edge <= box.edgeCount(); ++edge) {
        all.push_back(edge);
    }
    const EditResult edit = applyChecked(box, RecipeStep::fillet(all, 3));
    EXPECT_EQ(edit.solid.faceCount(), 6 + 12 + 8);
    EXPECT_EQ(edit.map.tally(SubentKind::kEdge).of(SubentFate::kGone), 12);
    EXPECT_EQ(edit.map.tally(SubentKind::kVertex).of(SubentFate::kGone), 8);
    EXPECT_EQ(edit.map.tally(SubentKind::kFace).of(SubentFate::kGone), 0);
}

TEST(ApplyEdit, BevelsAnEdge)
{
    const KernelSolid bracket = makeBracket();
    const int outer = itemAt(bracket, SubentKind::kEdge, {0, 30, 60});
    const EditResult edit = applyChecked(bracket, RecipeStep::chamfer(std::vector<int>{outer}, 3));
    EXPECT_EQ(fateOf(edit, SubentKind::kEdge, outer), SubentFate::kGone);
    EXPECT_NEAR(edit.solid.volumeMm3(), bracket.volumeMm3() - 60 * 4.5, 1e-6);
}

TEST(ApplyEdit, RemovesAHoleByItsFace)
{
    const KernelSolid bracket = makeBracket();
    const KernelSolid drilled = apply(bracket, RecipeStep::hole({50, 30, 12}, {0, 0, -1}, 9)).solid;
    std::vector<int> walls;
    for (const int face : kernel_test::facesOf(drilled, zemhost::SurfaceKind::kCylinder)) {
        if (std::abs(drilled.face(face).areaMm2 - 2 * kPi * 9 * 12) < 1e-6) {
            walls.push_back(face);
        }
    }
    ASSERT_EQ(walls.size(), 1U);
    const EditResult edit = applyChecked(drilled, RecipeStep::removeFaces(walls));
    EXPECT_NEAR(edit.solid.volumeMm3(), bracket.volumeMm3(), 1e-6);
    EXPECT_EQ(edit.map.tally(SubentKind::kFace).of(SubentFate::kGone), 1);
    EXPECT_EQ(edit.map.tally(SubentKind::kEdge).of(SubentFate::kGone), 3);
    EXPECT_EQ(edit.map.tally(SubentKind::kVertex).of(SubentFate::kGone), 2);
}

TEST(ApplyEdit, MergesThePiecesOfAFaceWhenTheSlotBetweenThemIsRemoved)
{
    const KernelSolid bracket = makeBracket();
    const EditResult slot = apply(bracket, RecipeStep::cutBox({55, -1, 8}, {6, 62, 10}));
    std::vector<int> faces;
    for (int face = 1; face <= slot.solid.faceCount(); ++face) {
        if (slot.map.sources({SubentKind::kFace, face}).empty()) {
            faces.push_back(face);
        }
    }
    ASSERT_EQ(faces.size(), 3U);
    const EditResult edit = applyChecked(slot.solid, RecipeStep::removeFaces(faces));
    EXPECT_EQ(edit.map.tally(SubentKind::kFace).of(SubentFate::kMerged), 2);
    EXPECT_EQ(edit.map.tally(SubentKind::kEdge).of(SubentFate::kMerged), 4);
    const zemhost::SubentMap both = slot.map.then(edit.map);
    EXPECT_EQ(countOf(both, SubentFate::kSplit), 0);
    EXPECT_EQ(countOf(both, SubentFate::kGone), 0);
    EXPECT_EQ(compareWithGeometry(bracket, edit.solid, both).differences, 0);
}

TEST(ApplyEdit, UnifiesFacesOnOnePlaneAndEdgesOnOneLine)
{
    const KernelSolid box = KernelSolid::makeBox(40, 30, 10);
    const KernelSolid fused = apply(box, RecipeStep::fuseBox({40, 0, 0}, {25, 30, 10})).solid;
    const EditResult edit = applyChecked(fused, RecipeStep::unify());
    EXPECT_EQ(edit.solid.counts(), box.counts());
    EXPECT_EQ(edit.map.tally(SubentKind::kFace).of(SubentFate::kMerged), 8);
    EXPECT_EQ(edit.map.tally(SubentKind::kEdge).of(SubentFate::kMerged), 8);
    EXPECT_EQ(edit.map.tally(SubentKind::kEdge).of(SubentFate::kGone), 4);
    EXPECT_EQ(edit.map.tally(SubentKind::kVertex).of(SubentFate::kGone), 4);
}

TEST(ApplyEdit, SaysSoIfNothingHasChanged)
{
    const KernelSolid box = KernelSolid::makeBox(40, 30, 10);
    const EditResult edit = apply(box, RecipeStep::cutBox({100, 0, 0}, {5, 5, 5}));
    ASSERT_EQ(edit.warnings.size(), 1U);
    EXPECT_EQ(edit.warnings.front(), "cut: nothing has changed");
    EXPECT_EQ(countOf(edit.map, SubentFate::kUnchanged) + countOf(edit.map, SubentFate::kMoved),
              6 + 12 + 8);
}

/// One after another: slot, cross hole, fillet, removal of the hole, plug, unification.
TEST(ApplyEdit, AgreesWithGeometryOverAChainOfEdits)
{
    const KernelSolid bracket = makeBracket();
    KernelSolid solid = bracket;
    zemhost::SubentMap all = zemhost::SubentMap::identity(bracket.counts());
    const auto go = [&](const RecipeStep& step) {
        const EditResult edit = applyChecked(solid, step);
        all = all.then(edit.map);
        solid = edit.solid;
    };
    go(RecipeStep::cutBox({55, -1, 8}, {6, 62, 10}));
    go(RecipeStep::hole({0, 30, 40}, {1, 0, 0}, 9));
    go(RecipeStep::fillet(std::vector<int>{itemAt(solid, SubentKind::kEdge, {12, 30, 12})}, 4));
    go(RecipeStep::fuseBox({55, 0, 8}, {6, 60, 4}));
    go(RecipeStep::unify());
    const zemhost::OracleReport report = compareWithGeometry(bracket, solid, all);
    EXPECT_EQ(report.differences, 0) << kernel_test::describeDifferences(report);
}

//--------------------------------------------------------------------------------------------------
// References

TEST(ApplyEdit, MarksTheReferencesOfTheStepThatItAnswers)
{
    const KernelSolid bracket = makeBracket();
    const int inner = itemAt(bracket, SubentKind::kEdge, {12, 30, 12});
    const EditResult edit = apply(bracket, RecipeStep::fillet(std::vector<int>{inner}, 4));
    ASSERT_EQ(edit.step.references.size(), 1U);
    EXPECT_TRUE(edit.step.references.front().isMarked);
    EXPECT_EQ(edit.step.references.front(), markedReference(bracket, {SubentKind::kEdge, inner}));
}

TEST(ApplyEdit, FindsAMarkedItemUnderAnotherNumber)
{
    const KernelSolid bracket = makeBracket();
    const int inner = itemAt(bracket, SubentKind::kEdge, {12, 30, 12});
    RecipeStep step = RecipeStep::fillet(std::vector<int>{inner}, 4);
    step.references.front() = markedReference(bracket, {SubentKind::kEdge, inner});
    for (const int wrong : {inner + 1, 0x7FFFFFFF}) {
        step.references.front().item.number = wrong;
        const EditResult edit = apply(bracket, step);
        EXPECT_EQ(edit.step.references.front().item.number, inner);
        EXPECT_EQ(fateOf(edit, SubentKind::kEdge, inner), SubentFate::kGone);
    }
}

TEST(ApplyEdit, RefusesAMarkedItemThatIsNowhere)
{
    const KernelSolid bracket = makeBracket();
    RecipeStep step = RecipeStep::fillet(std::vector<int>{1}, 4);
    step.references.front() = markedReference(bracket, {SubentKind::kEdge, 1});
    step.references.front().mark[0] += 1;
    EXPECT_EQ(failureOf([&] { apply(bracket, step); }), KernelFailure::kLostReference);
}

//--------------------------------------------------------------------------------------------------
// Failures

struct FailureCase
{
    const char* name;
    RecipeStep step;
    KernelFailure expected;
};

std::vector<FailureCase> failures()
{
    const std::vector<int> firstEdge = {1};
    RecipeStep noValues = RecipeStep::fillet(firstEdge, 1);
    noValues.values.clear();
    return {
        {"cut that leaves nothing", RecipeStep::cutBox({-1, -1, -1}, {50, 50, 50}),
         KernelFailure::kEditFailed},
        {"fillet larger than the solid", RecipeStep::fillet(firstEdge, 50),
         KernelFailure::kEditFailed},
        {"chamfer larger than the solid", RecipeStep::chamfer(firstEdge, 50),
         KernelFailure::kEditFailed},
        {"removal of a face whose neighbours can't close the gap",
         RecipeStep::removeFaces(std::vector<int>{1}), KernelFailure::kEditFailed},
        {"edge that the solid doesn't have", RecipeStep::fillet(std::vector<int>{13}, 1),
         KernelFailure::kBadArgument},
        {"edge with the number 0", RecipeStep::fillet(std::vector<int>{0}, 1),
         KernelFailure::kBadArgument},
        {"one edge twice", RecipeStep::fillet(std::vector<int>{2, 2}, 1),
         KernelFailure::kBadArgument},
        {"no edge", RecipeStep::fillet({}, 1), KernelFailure::kBadArgument},
        {"box without height", RecipeStep::cutBox({0, 0, 0}, {1, 1, 0}),
         KernelFailure::kBadArgument},
        {"box at infinity",
         RecipeStep::cutBox({std::numeric_limits<double>::infinity(), 0, 0}, {1, 1, 1}),
         KernelFailure::kBadArgument},
        {"hole without direction", RecipeStep::hole({0, 0, 0}, {0, 0, 0}, 1),
         KernelFailure::kBadArgument},
        {"radius that is no number",
         RecipeStep::hole({0, 0, 0}, {0, 0, 1}, std::numeric_limits<double>::quiet_NaN()),
         KernelFailure::kBadArgument},
        {"step without its values", noValues, KernelFailure::kBadArgument},
    };
}

TEST(ApplyEdit, FailsWithAReasonAndLeavesTheSolidAsItWas)
{
    const KernelSolid box = KernelSolid::makeBox(20, 30, 40);
    const std::vector<unsigned char> bytes = box.toBytes();
    for (const FailureCase& row : failures()) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(failureOf([&] { apply(box, row.step); }), row.expected);
        EXPECT_EQ(box.toBytes(), bytes);
    }
    EXPECT_EQ(kernel_test::describe(box), kernel_test::describe(KernelSolid::fromBytes(bytes)));
}

TEST(ApplyEdit, RefusesAToolWhoseBytesAreDamaged)
{
    const KernelSolid box = KernelSolid::makeBox(20, 30, 40);
    RecipeStep step = RecipeStep::cutSolid(box);
    step.body.back() ^= 1;
    EXPECT_EQ(failureOf([&] { apply(box, step); }), KernelFailure::kDamagedBytes);
}

TEST(ApplyEdit, LeavesSharedShapesAsTheyWereInEveryEdit)
{
    const KernelSolid bracket = makeBracket();
    const std::string before = kernel_test::describe(bracket);
    const int inner = itemAt(bracket, SubentKind::kEdge, {12, 30, 12});
    (void)apply(bracket, RecipeStep::cutBox({55, -1, 8}, {6, 62, 10}));
    (void)apply(bracket, RecipeStep::fillet(std::vector<int>{inner}, 4));
    (void)apply(bracket, RecipeStep::chamfer(std::vector<int>{inner}, 4));
    (void)apply(bracket, RecipeStep::unify());
    EXPECT_EQ(kernel_test::describe(bracket), before);
    const EditResult first = apply(bracket, RecipeStep::hole({50, 30, 12}, {0, 0, -1}, 5));
    const EditResult fresh = apply(KernelSolid::fromBytes(bracket.toBytes()),
                                   RecipeStep::hole({50, 30, 12}, {0, 0, -1}, 5));
    EXPECT_EQ(first.map, fresh.map);
    EXPECT_EQ(first.solid.toBytes(), fresh.solid.toBytes());
}

//--------------------------------------------------------------------------------------------------
// In a child process

TEST(ApplyEditInAChild, BringsWhatTheSameEditBringsHere)
{
    const KernelSolid bracket = makeBracket();
    const int inner = itemAt(bracket, SubentKind::kEdge, {12, 30, 12});
    const RecipeStep step = RecipeStep::fillet(std::vector<int>{inner}, 4);
    const EditResult here = apply(bracket, step);
    const EditResult child = applyEdit(bracket, step);
    EXPECT_EQ(child.solid.toBytes(), here.solid.toBytes());
    EXPECT_EQ(child.map, here.map);
    EXPECT_EQ(child.step, here.step);
    EXPECT_EQ(child.warnings, here.warnings);
}

TEST(ApplyEditInAChild, CarriesFailuresAcross)
{
    const KernelSolid box = KernelSolid::makeBox(20, 30, 40);
    for (const FailureCase& row : failures()) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(failureOf([&] { (void)applyEdit(box, row.step); }), row.expected);
    }
}

TEST(MakeSolidInAChild, EndsAtItsTimeLimit)
{
    EditOptions options;
    options.timeLimit = std::chrono::milliseconds(1);
    const Recipe plate(RecipeBase::plate(20, 10, 8, 2));
    EXPECT_EQ(failureOf([&] { (void)makeSolid(plate, options); }), KernelFailure::kTimeLimit);
}

TEST(MakeSolidInAChild, GivesTheSolidOfTheRecipe)
{
    const RecomputeResult made = makeSolid(Recipe(RecipeBase::plate(2, 10, 8, 2)));
    EXPECT_EQ(made.solid.counts().faces, 6 + 4);
    EXPECT_EQ(made.recipe.base().kind, zemhost::BaseKind::kPlate);
}

TEST(ApplyEditInAChild, EndsAtItsTimeLimit)
{
    const KernelSolid box = KernelSolid::makeBox(20, 30, 40);
    EditOptions options;
    options.timeLimit = std::chrono::milliseconds(1);
    EXPECT_EQ(failureOf([&] {
                  (void)applyEdit(box, RecipeStep::cutBox({1, 1, 1}, {2, 2, 2}), options);
              }),
              KernelFailure::kTimeLimit);
}

TEST(ApplyEdit, TellsItsProgressAndStopsWhenAsked)
{
    const KernelSolid box = KernelSolid::makeBox(20, 30, 40);
    for (const auto isolation :
         {zemhost::EditIsolation::kSameProcess, zemhost::EditIsolation::kChildProcess}) {
        EditOptions options;
        options.isolation = isolation;
        int calls = 0;
        double last = 0;
        options.progress = [&](double fraction, const std::string& step) {
            EXPECT_GE(fraction, last);
            EXPECT_EQ(step, "cut");
            last = fraction;
            return ++calls < 3;
        };
        EXPECT_EQ(failureOf([&] {
                      (void)applyEdit(box, RecipeStep::cutBox({1, 1, -1}, {2, 2, 99}), options);
                  }),
                  KernelFailure::kCancelled);
        EXPECT_EQ(calls, 3);
    }
}

}  // namespace
