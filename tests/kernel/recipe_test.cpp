// Recipes: values, checks, bytes.

#include "kernel/recipe.h"

#include "edit_samples.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace {

using kernel_test::failureOf;
using zemhost::BaseKind;
using zemhost::KernelFailure;
using zemhost::KernelSolid;
using zemhost::Recipe;
using zemhost::RecipeBase;
using zemhost::RecipeStep;
using zemhost::StepKind;
using zemhost::Subent;
using zemhost::SubentKind;
using zemhost::SubentReference;
using zemhost::ToolKind;

Recipe sampleRecipe()
{
    Recipe recipe(RecipeBase::plate(3, 10, 8, 2));
    recipe.addStep(RecipeStep::cutBox({1, 2, 3}, {4, 5, 6}));
    RecipeStep fillet = RecipeStep::fillet(std::vector<int>{7, 9}, 1.5);
    fillet.references.back().isMarked = true;
    fillet.references.back().mark = {1, 2, 3};
    fillet.references.back().sizeMm = 4;
    recipe.addStep(fillet);
    recipe.setSuppressed(2, true);
    return recipe;
}

TEST(Recipe, NumbersItsStepsAndNeverUsesANumberAgain)
{
    Recipe recipe(RecipeBase::box(1, 1, 1));
    EXPECT_EQ(recipe.addStep(RecipeStep::unify()), 1U);
    EXPECT_EQ(recipe.addStep(RecipeStep::unify()), 2U);
    recipe.removeStep(2);
    EXPECT_EQ(recipe.addStep(RecipeStep::unify()), 3U);
    RecipeStep named = RecipeStep::unify();
    named.id = 7;
    EXPECT_EQ(recipe.addStep(named), 7U);
    EXPECT_EQ(failureOf([&] { recipe.addStep(named); }), KernelFailure::kBadArgument);
    EXPECT_EQ(recipe.addStep(RecipeStep::unify()), 8U);
}

TEST(Recipe, ReadsAndSetsValuesByName)
{
    Recipe recipe = sampleRecipe();
    EXPECT_EQ(recipe.value(0, "pitch"), 10);
    EXPECT_EQ(recipe.value(1, "dz"), 6);
    recipe.setValue(0, "radius", 3.5);
    recipe.setValue(2, "radius", 2.5);
    EXPECT_EQ(recipe.base().values[3], 3.5);
    EXPECT_EQ(recipe.step(2).values[0], 2.5);
}

TEST(Recipe, StaysAsItWasWhenAValueMakesNoSense)
{
    struct Row
    {
        std::uint32_t id;
        const char* name;
        double value;
    };
    const Row kRows[] = {{0, "pitch", 4},    {0, "radius", 5},
                         {0, "count", 2.5},  {0, "count", 0},
                         {0, "count", 1001}, {0, "thickness", 0},
                         {0, "height", 1},   {0, "skipEvery", -1},
                         {1, "dx", -1},      {1, "x", 1e300},
                         {1, "depth", 1},    {2, "radius", 0},
                         {9, "radius", 1},   {2, "radius", std::nan("")}};
    const Recipe recipe = sampleRecipe();
    for (const Row& row : kRows) {
        SCOPED_TRACE(std::string(row.name) + " " + std::to_string(row.value));
        Recipe changed = recipe;
        EXPECT_EQ(failureOf([&] { changed.setValue(row.id, row.name, row.value); }),
                  KernelFailure::kBadArgument);
        EXPECT_EQ(changed, recipe);
    }
}

TEST(Recipe, StaysAsItWasWhenReferencesAreOfTheWrongKind)
{
    Recipe recipe = sampleRecipe();
    const Recipe before = recipe;
    SubentReference face;
    face.item = {SubentKind::kFace, 1};
    EXPECT_EQ(failureOf([&] { recipe.setReferences(2, {face}); }), KernelFailure::kBadArgument);
    EXPECT_EQ(failureOf([&] { recipe.setReferences(2, {}); }), KernelFailure::kBadArgument);
    EXPECT_EQ(failureOf([&] { recipe.setReferences(1, {face}); }), KernelFailure::kBadArgument);
    EXPECT_EQ(recipe, before);
}

TEST(Recipe, TellsTheNamesOfTheParametersOfEveryKind)
{
    EXPECT_EQ(parameterNames(BaseKind::kImported).size(), 0U);
    EXPECT_EQ(parameterNames(BaseKind::kPlate).size(), 6U);
    EXPECT_EQ(parameterNames(StepKind::kCut, ToolKind::kBox).back(), "dz");
    EXPECT_EQ(parameterNames(StepKind::kFuse, ToolKind::kCylinder).back(), "height");
    EXPECT_EQ(parameterNames(StepKind::kHole, ToolKind::kNone).back(), "depth");
    EXPECT_EQ(parameterNames(StepKind::kUnify, ToolKind::kNone).size(), 0U);
}

//--------------------------------------------------------------------------------------------------
// Bytes

TEST(RecipeBytes, ComeBackAsTheyWent)
{
    const KernelSolid box = KernelSolid::makeBox(1, 2, 3);
    Recipe imported(RecipeBase::imported(box));
    imported.addStep(RecipeStep::fuseSolid(box, {1, 1, 1}));
    imported.addStep(RecipeStep::removeFaces(std::vector<int>{1, 2}));
    imported.addStep(RecipeStep::hole({0, 0, 0}, {0, 0, 1}, 1, 2));
    for (const Recipe& recipe : {sampleRecipe(), imported, Recipe(RecipeBase::cylinder(1, 2))}) {
        const std::vector<unsigned char> bytes = recipe.toBytes();
        const Recipe read = Recipe::fromBytes(bytes);
        EXPECT_EQ(read, recipe);
        EXPECT_EQ(read.toBytes(), bytes);
    }
}

// A box of 1 x 2 x 3 with a fillet of 0.5 on edge 4, which is not marked; little-endian.
constexpr unsigned char kSmallRecipe[] = {
    'Z',  'E',  'M',  'R',  'E',  'C',  'I',  'P',   // mark
    0x01, 0x00, 0x00, 0x00,                          // version
    0x18, 0x26, 0x60, 0x33,                          // CRC-32 of what follows the length
    0x54, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // length
    0x02, 0x00, 0x00, 0x00,                          // next step's number
    0x01,                                            // base: box
    0x03,                                            // three values
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F,  // dx 1
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x40,  // dy 2
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x08, 0x40,  // dz 3
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // no bytes of a solid
    0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // one step
    0x01, 0x00, 0x00, 0x00,                          // its number
    0x03,                                            // fillet
    0x00,                                            // no tool
    0x00,                                            // not suppressed
    0x01,                                            // one value
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xE0, 0x3F,  // radius 0.5
    0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // one reference
    0x01,                                            // edge
    0x04, 0x00, 0x00, 0x00,                          // number 4
    0x00,                                            // not marked
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // no bytes of a tool
};

TEST(RecipeBytes, AreTheGoldenOnes)
{
    Recipe recipe(RecipeBase::box(1, 2, 3));
    recipe.addStep(RecipeStep::fillet(std::vector<int>{4}, 0.5));
    EXPECT_EQ(recipe.toBytes(),
              std::vector<unsigned char>(std::begin(kSmallRecipe), std::end(kSmallRecipe)));
    EXPECT_EQ(Recipe::fromBytes(kSmallRecipe), recipe);
}

TEST(RecipeBytes, AreRefusedAtEveryLengthAndWithEveryBitFlipped)
{
    const std::vector<unsigned char> bytes = sampleRecipe().toBytes();
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        EXPECT_EQ(failureOf([&] { (void)Recipe::fromBytes(std::span(bytes).first(length)); }),
                  KernelFailure::kDamagedBytes);
    }
    for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
        std::vector<unsigned char> changed = bytes;
        changed[bit / 8] ^= static_cast<unsigned char>(1U << (bit % 8));
        EXPECT_EQ(failureOf([&] { (void)Recipe::fromBytes(changed); }),
                  KernelFailure::kDamagedBytes);
    }
}

/// CRC-32 of bytes, for bytes that somebody forged with a right one.
std::uint32_t crcOf(std::span<const unsigned char> bytes)
{
    std::uint32_t value = 0xFFFFFFFF;
    for (const unsigned char byte : bytes) {
        value ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1) != 0 ? 0xEDB88320 ^ (value >> 1) : value >> 1;
        }
    }
    return value ^ 0xFFFFFFFF;
}

TEST(RecipeBytes, AreRefusedOrSensibleWithEveryBitFlippedUnderARightChecksum)
{
    constexpr std::size_t kHeaderBytes = 24;
    const std::vector<unsigned char> bytes = sampleRecipe().toBytes();
    for (std::size_t bit = 8 * kHeaderBytes; bit < 8 * bytes.size(); ++bit) {
        std::vector<unsigned char> changed = bytes;
        changed[bit / 8] ^= static_cast<unsigned char>(1U << (bit % 8));
        const std::uint32_t crc = crcOf(std::span(changed).subspan(kHeaderBytes));
        for (std::size_t index = 0; index < 4; ++index) {
            changed[12 + index] = static_cast<unsigned char>(crc >> (8 * index));
        }
        const auto failure = failureOf([&] { Recipe::fromBytes(changed).check(); });
        EXPECT_TRUE(!failure || failure == KernelFailure::kDamagedBytes);
    }
}

}  // namespace
