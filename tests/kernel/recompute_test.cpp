// Recipes that are worked through again: items found by where they come from, references that follow.

#include "kernel/kernel_edit.h"

#include "edit_samples.h"
#include "kernel_test_files.h"

#include <BRepTools.hxx>
#include <BRep_Builder.hxx>
#include <BinTools.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Shell.hxx>
#include <TopoDS_Solid.hxx>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>

namespace {

using kernel_test::bracketRecipe;
using kernel_test::countOf;
using kernel_test::failureOf;
using kernel_test::inThisProcess;
using kernel_test::itemAt;
using zemhost::KernelFailure;
using zemhost::KernelSolid;
using zemhost::Recipe;
using zemhost::RecipeBase;
using zemhost::RecipeModel;
using zemhost::RecipeStep;
using zemhost::RecomputeResult;
using zemhost::SubentFate;
using zemhost::SubentKind;

/// Every old item must be found, and be the nearest new one of its form.
void expectAllFound(const RecipeModel& old, const RecipeModel& found, double reach)
{
    const zemhost::OracleReport report =
        compareWithGeometry(old.solid(), found.solid(), found.map(), {reach, 0});
    EXPECT_EQ(report.differences, 0) << kernel_test::describeDifferences(report);
    EXPECT_EQ(countOf(found.map(), SubentFate::kGone), 0);
    EXPECT_EQ(countOf(found.map(), SubentFate::kAmbiguous), 0);
}

struct ChangeCase
{
    const char* name;
    RecipeStep step;
    std::function<void(Recipe&, std::uint32_t)> change;
    double reach;
};

std::vector<ChangeCase> changes()
{
    return {
        {"hole wider", RecipeStep::hole({58, 30, 12}, {0, 0, -1}, 4),
         [](Recipe& recipe, std::uint32_t id) { recipe.setValue(id, "radius", 5); }, 1.5},
        {"hole moved", RecipeStep::hole({58, 30, 12}, {0, 0, -1}, 4),
         [](Recipe& recipe, std::uint32_t id) { recipe.setValue(id, "x", 61); }, 3.5},
        {"slot wider", RecipeStep::cutBox({55, -1, 8}, {6, 62, 10}),
         [](Recipe& recipe, std::uint32_t id) {
             recipe.setValue(id, "x", 54);
             recipe.setValue(id, "dx", 8);
         },
         1.9},
        {"slot deeper", RecipeStep::cutBox({55, -1, 8}, {6, 62, 10}),
         [](Recipe& recipe, std::uint32_t id) {
             recipe.setValue(id, "z", 7);
             recipe.setValue(id, "dz", 11);
         },
         1.9},
        {"round slot moved along the base", RecipeStep::cutCylinder({58, -1, 12}, {0, 1, 0}, 3, 62),
         [](Recipe& recipe, std::uint32_t id) { recipe.setValue(id, "x", 59); }, 1.9},
    };
}

TEST(Recompute, FindsEveryItemOfTheBracketAfterOneParameterChanged)
{
    const RecipeModel bracket = RecipeModel::make(bracketRecipe());
    for (const ChangeCase& row : changes()) {
        SCOPED_TRACE(row.name);
        const RecipeModel old = bracket.append(row.step);
        Recipe changed = old.recipe();
        row.change(changed, changed.steps().back().id);
        expectAllFound(old, old.recompute(changed), row.reach);
    }
}

TEST(Recompute, FindsEveryItemWhereACrossHoleMovesUnderASlot)
{
    RecipeModel old = RecipeModel::make(bracketRecipe());
    old = old.append(RecipeStep::cutBox({55, -1, 8}, {6, 62, 10}));
    old = old.append(RecipeStep::cutCylinder({58, -1, 6}, {0, 1, 0}, 3, 62));
    Recipe changed = old.recipe();
    changed.setValue(changed.steps().back().id, "z", 6.5);
    const RecipeModel found = old.recompute(changed);
    const zemhost::OracleReport report =
        compareWithGeometry(old.solid(), found.solid(), found.map(), {1.9, 0});
    EXPECT_EQ(report.differences, 0) << kernel_test::describeDifferences(report);
    EXPECT_EQ(countOf(found.map(), SubentFate::kAmbiguous), 0);
}

TEST(Recompute, LeavesEverythingUnchangedIfNothingDiffers)
{
    const RecipeModel old = RecipeModel::make(bracketRecipe());
    const RecipeModel found = old.recompute(old.recipe());
    EXPECT_EQ(found.map(), zemhost::SubentMap::identity(old.solid().counts()));
    EXPECT_EQ(found.times().kernel, 0);
}

TEST(Recompute, TakesAStepOutAndBringsItBack)
{
    const RecipeModel plain = RecipeModel::make(bracketRecipe());
    const RecipeModel slotted = plain.append(RecipeStep::cutBox({55, -1, 8}, {6, 62, 10}));
    const std::uint32_t slot = slotted.recipe().steps().back().id;
    Recipe without = slotted.recipe();
    without.setSuppressed(slot, true);
    const RecipeModel filled = slotted.recompute(without);
    EXPECT_EQ(filled.solid().counts(), plain.solid().counts());
    EXPECT_EQ(filled.map().tally(SubentKind::kFace).of(SubentFate::kMerged), 2);
    EXPECT_EQ(filled.map().tally(SubentKind::kFace).of(SubentFate::kGone), 3);
    const zemhost::OracleReport report =
        compareWithGeometry(slotted.solid(), filled.solid(), filled.map());
    EXPECT_EQ(report.differences, 0) << kernel_test::describeDifferences(report);
    const RecipeModel again = filled.recompute(slotted.recipe());
    EXPECT_EQ(again.map().tally(SubentKind::kFace).of(SubentFate::kSplit), 1);
    EXPECT_EQ(again.map().tally(SubentKind::kFace).born, 3);
    EXPECT_EQ(countOf(filled.map().then(again.map()), SubentFate::kAmbiguous), 0);
    Recipe removed = slotted.recipe();
    removed.removeStep(slot);
    EXPECT_EQ(slotted.recompute(removed).map().tally(SubentKind::kFace),
              filled.map().tally(SubentKind::kFace));
}

TEST(Recompute, NamesWhatWasChangedAsTheCause)
{
    const RecipeModel old = RecipeModel::make(bracketRecipe());
    Recipe changed = old.recipe();
    const std::uint32_t hole = changed.steps().back().id;
    changed.setSuppressed(hole, true);
    changed.setValue(hole, "radius", 5);
    const RecipeModel found = old.recompute(changed);
    const std::string where = "step " + std::to_string(hole) + " (hole)";
    for (int face = 1; face <= old.solid().faceCount(); ++face) {
        const zemhost::SubentAnswer answer = found.map().answer({SubentKind::kFace, face});
        if (answer.fate == SubentFate::kGone) {
            EXPECT_EQ(answer.cause, "recompute: radius of " + where + ", " + where + " suppressed");
        }
    }
    EXPECT_EQ(found.map().tally(SubentKind::kFace).of(SubentFate::kGone), 1);
}

//--------------------------------------------------------------------------------------------------
// References

RecipeModel filletedBracket()
{
    const RecipeModel bracket = RecipeModel::make(bracketRecipe());
    const int inner = itemAt(bracket.solid(), SubentKind::kEdge, {12, 30, 12});
    return bracket.append(RecipeStep::fillet(std::vector<int>{inner}, 4));
}

TEST(Recompute, FollowsTheEdgeOfAFilletToItsNewPlaceAndNumber)
{
    const RecipeModel old = filletedBracket();
    Recipe changed = old.recipe();
    changed.setValue(0, "dz", 14);  // the base's upper side, and the edge in it, move up
    changed.setValue(1, "dy", 60);
    const RecipeModel found = old.recompute(changed);
    const RecipeStep& fillet = found.recipe().steps().back();
    ASSERT_EQ(fillet.references.size(), 1U);
    EXPECT_EQ(fillet.references.front().mark, (zemhost::KernelPoint{12, 30, 14}));
    EXPECT_EQ(found.solid().faceCount(), old.solid().faceCount());
    EXPECT_EQ(countOf(found.map(), SubentFate::kAmbiguous), 0);
}

TEST(Recompute, RoundsAllPiecesOfAnEdgeThatIsSplitNow)
{
    const RecipeModel bracket = RecipeModel::make(bracketRecipe());
    const RecipeModel nicked = bracket.append(RecipeStep::cutBox({-5, 28, 50}, {30, 4, 20}));
    const int top = itemAt(nicked.solid(), SubentKind::kEdge, {12, 30, 12});
    const RecipeModel old = nicked.append(RecipeStep::fillet(std::vector<int>{top}, 2));
    Recipe changed = old.recipe();
    const std::uint32_t nick = changed.steps()[changed.steps().size() - 2].id;
    changed.setValue(nick, "z", 8);  // the nick reaches the edge below, and parts it
    changed.setValue(nick, "dz", 62);
    const RecipeModel found = old.recompute(changed);
    EXPECT_EQ(found.recipe().steps().back().references.size(), 2U);
    EXPECT_EQ(found.map().tally(SubentKind::kFace).of(SubentFate::kGone), 0);
    EXPECT_GE(found.map().tally(SubentKind::kFace).of(SubentFate::kSplit), 1);
}

TEST(Recompute, FailsIfTheEdgeOfAFilletIsGone)
{
    const RecipeModel bracket = RecipeModel::make(bracketRecipe());
    const RecipeModel slotted = bracket.append(RecipeStep::cutBox({55, -1, 8}, {6, 62, 10}));
    const int rim = itemAt(slotted.solid(), SubentKind::kEdge, {55, 30, 12});
    const RecipeModel old = slotted.append(RecipeStep::fillet(std::vector<int>{rim}, 1));
    Recipe changed = old.recipe();
    const std::uint32_t slot = changed.steps()[changed.steps().size() - 2].id;
    changed.setSuppressed(slot, true);
    EXPECT_EQ(failureOf([&] { (void)old.recompute(changed); }), KernelFailure::kLostReference);
    changed.setSuppressed(changed.steps().back().id, true);
    EXPECT_EQ(old.recompute(changed).solid().counts(), bracket.solid().counts());
}

TEST(Recompute, TakesOtherReferencesByTheNumbersOfTheOldSolid)
{
    const RecipeModel old = filletedBracket();
    Recipe changed = old.recipe();
    const std::uint32_t fillet = changed.steps().back().id;
    const RecipeModel bracket = RecipeModel::make(bracketRecipe());
    const int outer = itemAt(bracket.solid(), SubentKind::kEdge, {0, 30, 60});
    changed.setReferences(fillet, {markedReference(bracket.solid(), {SubentKind::kEdge, outer})});
    const RecipeModel found = old.recompute(changed);
    const zemhost::SubentTally tally = found.map().tally(SubentKind::kFace);
    EXPECT_EQ(tally.of(SubentFate::kGone), 1);
    EXPECT_EQ(tally.born, 1);
}

//--------------------------------------------------------------------------------------------------
// What can't be followed

TEST(Recompute, RefusesRecipesThatAreNoChangeOfTheOldOne)
{
    const RecipeModel old = RecipeModel::make(bracketRecipe());
    const auto failure = [&old](const Recipe& recipe) {
        return failureOf([&] { (void)old.recompute(recipe); });
    };
    EXPECT_EQ(failure(Recipe(RecipeBase::cylinder(10, 10))), KernelFailure::kBadArgument);
    Recipe reordered(old.recipe().base());
    for (auto step = old.recipe().steps().rbegin(); step != old.recipe().steps().rend(); ++step) {
        reordered.addStep(*step);
    }
    EXPECT_EQ(failure(reordered), KernelFailure::kBadArgument);
    Recipe other(old.recipe().base());
    RecipeStep step = RecipeStep::fuseCylinder({0, 0, 0}, {0, 0, 1}, 5, 5);
    step.id = old.recipe().steps().front().id;
    other.addStep(step);
    EXPECT_EQ(failure(other), KernelFailure::kBadArgument);
}

TEST(Recompute, FailsInTheStepThatTheKernelCantDo)
{
    const RecipeModel old = filletedBracket();
    Recipe changed = old.recipe();
    changed.setValue(changed.steps().back().id, "radius", 500);
    try {
        (void)old.recompute(changed);
        FAIL();
    } catch (const zemhost::KernelError& error) {
        EXPECT_EQ(error.failure(), KernelFailure::kEditFailed);
        EXPECT_NE(error.reason().find("fillet"), std::string::npos);
    }
    EXPECT_TRUE(old.solid().isValid());
}

//--------------------------------------------------------------------------------------------------
// Stored solids

Recipe wider(const Recipe& recipe)
{
    Recipe changed = recipe;
    changed.setValue(changed.steps().back().id, "radius", 5);
    return changed;
}

TEST(RecomputeSolid, BringsWhatTheModelBringsHereAndInAChild)
{
    const RecipeModel old = RecipeModel::make(bracketRecipe());
    const Recipe changed = wider(old.recipe());
    const RecipeModel found = old.recompute(changed);
    for (const auto isolation :
         {zemhost::EditIsolation::kSameProcess, zemhost::EditIsolation::kChildProcess}) {
        zemhost::EditOptions options;
        options.isolation = isolation;
        const KernelSolid stored = KernelSolid::fromBytes(old.solid().toBytes());
        const Recipe recipe = Recipe::fromBytes(old.recipe().toBytes());
        const RecomputeResult result = recomputeSolid(stored, recipe, changed, options);
        EXPECT_EQ(result.map, found.map());
        EXPECT_EQ(result.recipe, found.recipe());
        EXPECT_EQ(result.solid.toBytes(), found.solid().toBytes());
    }
}

/// The same solid with its faces, and so all its items, in another order.
KernelSolid renumbered(const KernelSolid& solid)
{
    constexpr std::size_t kHeaderBytes = 24;
    const std::vector<unsigned char> bytes = solid.toBytes();
    std::istringstream stream(std::string(bytes.begin() + kHeaderBytes, bytes.end()),
                              std::ios::binary);
    TopoDS_Shape shape;
    BinTools::Read(shape, stream);
    std::vector<TopoDS_Shape> faces;
    for (TopExp_Explorer face(shape, TopAbs_FACE); face.More(); face.Next()) {
        faces.insert(faces.begin(), face.Current());
    }
    const BRep_Builder builder;
    TopoDS_Shell shell;
    builder.MakeShell(shell);
    for (const TopoDS_Shape& face : faces) {
        builder.Add(shell, face);
    }
    shell.Closed(Standard_True);
    TopoDS_Solid turned;
    builder.MakeSolid(turned);
    builder.Add(turned, shell);
    const kernel_test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "turned.brep";
    BRepTools::Write(turned, file.c_str());
    return zemhost::importBrep(file).solids.front().solid;
}

TEST(RecomputeSolid, FindsTheItemsOfASolidWhoseNumbersCameOutOtherwise)
{
    const RecipeModel old = RecipeModel::make(bracketRecipe());
    const KernelSolid stored = renumbered(old.solid());
    ASSERT_NE(stored.toBytes(), old.solid().toBytes());
    const RecomputeResult result =
        recomputeSolid(stored, old.recipe(), wider(old.recipe()), inThisProcess());
    const zemhost::OracleReport report =
        compareWithGeometry(stored, result.solid, result.map, {1.5, 0});
    EXPECT_EQ(report.differences, 0) << kernel_test::describeDifferences(report);
    EXPECT_EQ(countOf(result.map, SubentFate::kGone), 0);
    EXPECT_EQ(countOf(result.map, SubentFate::kAmbiguous), 0);
}

TEST(RecomputeSolid, RefusesASolidThatItsRecipeDoesntMake)
{
    const Recipe recipe = bracketRecipe();
    EXPECT_EQ(failureOf([&] {
                  (void)recomputeSolid(KernelSolid::makeBox(1, 2, 3), recipe, wider(recipe),
                                       inThisProcess());
              }),
              KernelFailure::kBadArgument);
}

TEST(RecomputeSolid, KeepsTheItemsOfAnImportedBaseByTheirNumbers)
{
    const KernelSolid part =
        zemhost::importFile(kernel_test::samplePath("occ/Pump_Nut.brep")).solids.front().solid;
    RecipeModel old = RecipeModel::make(Recipe(RecipeBase::imported(part)));
    const zemhost::KernelBox box = part.boundingBox();
    const double length = box.max[0] - box.min[0];
    const double top = box.max[2] + 1;
    const double floor = box.min[2] + 0.6 * (box.max[2] - box.min[2]);
    old = old.append(RecipeStep::cutBox({box.min[0] + 0.47 * length, box.min[1] - 1, floor},
                                        {0.04 * length, box.max[1] - box.min[1] + 2, top - floor}));
    Recipe changed = old.recipe();
    changed.setValue(1, "dx", 0.05 * length);
    const RecipeModel found = old.recompute(changed);
    EXPECT_EQ(found.solid().counts(), old.solid().counts());
    EXPECT_EQ(countOf(found.map(), SubentFate::kGone), 0);
    const zemhost::OracleReport report =
        compareWithGeometry(old.solid(), found.solid(), found.map(), {0.02 * length, 0});
    EXPECT_EQ(report.differences, 0) << kernel_test::describeDifferences(report);
    Recipe filled = old.recipe();
    filled.setSuppressed(1, true);
    const RecipeModel back = old.recompute(filled);
    EXPECT_EQ(back.solid().toBytes(), part.toBytes());
    EXPECT_EQ(compareWithGeometry(old.solid(), back.solid(), back.map()).differences, 0);
}

}  // namespace
