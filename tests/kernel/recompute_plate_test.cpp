// A plate with many holes and a slot, made again with other parameters: every item must be found.

#include "kernel/kernel_edit.h"
#include "support/plate_truth.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <random>

namespace {

using zemhost::RecipeModel;
using zemhost::SubentKind;

constexpr int kHolesInARow = 6;

/// The verdicts on all items of a plate that is made again.
plate_truth::Verdict verdictOn(const plate_truth::PlateEdit& edit)
{
    const RecipeModel old = RecipeModel::make(recipeOf(edit.before));
    const RecipeModel found = old.recompute(recipeOf(edit.after));
    const plate_truth::PlateKeys before(old.solid(), edit.before, edit.tellsSides);
    const plate_truth::PlateKeys after(found.solid(), edit.after, edit.tellsSides);
    const plate_truth::Judge judge(before, after);
    plate_truth::Verdict sum;
    for (const SubentKind kind : zemhost::kSubentKinds) {
        const plate_truth::Verdict verdict = judge.judge(found.map(), kind);
        sum.right += verdict.right;
        sum.survivors += verdict.survivors;
        sum.ambiguous += verdict.ambiguous;
        sum.wrong += verdict.wrong;
        sum.lost += verdict.lost;
        sum.ghosts += verdict.ghosts;
        sum.faults.insert(sum.faults.end(), verdict.faults.begin(), verdict.faults.end());
    }
    return sum;
}

class RecomputePlate : public testing::TestWithParam<plate_truth::PlateEdit>
{
};

TEST_P(RecomputePlate, FindsEveryItemAgain)
{
    const plate_truth::Verdict verdict = verdictOn(GetParam());
    EXPECT_EQ(verdict.ambiguous, 0) << testing::PrintToString(verdict.faults);
    EXPECT_EQ(verdict.wrong, 0);
    EXPECT_EQ(verdict.lost, 0);
    EXPECT_EQ(verdict.ghosts, 0);
    EXPECT_GT(verdict.survivors, 0);
}

std::vector<plate_truth::PlateEdit> edits()
{
    std::vector<plate_truth::PlateEdit> all = plate_truth::plateEdits(kHolesInARow);
    // The slot that tells the pieces apart passes holes, which change from one piece to the other.
    plate_truth::PlateShape parted = all.front().before;
    parted.slotShare = 1.2;
    plate_truth::PlateShape moved = parted;
    moved.slotShift = 2 * parted.pitch;
    all.push_back({"piecemove", parted, moved, true});
    plate_truth::PlateShape grown = all.front().before;
    grown.count += 2;
    all.push_back({"grow", all.front().before, grown, false});
    all.push_back({"shrink", grown, all.front().before, false});
    return all;
}

INSTANTIATE_TEST_SUITE_P(Edits, RecomputePlate, testing::ValuesIn(edits()),
                         [](const testing::TestParamInfo<plate_truth::PlateEdit>& row) {
                             return std::string(row.param.name);
                         });

plate_truth::PlateShape randomShape(std::mt19937& random)
{
    const auto pick = [&random](std::initializer_list<double> values) {
        return values.begin()[random() % values.size()];
    };
    plate_truth::PlateShape shape;
    shape.count = static_cast<int>(pick({2, 3, 4}));
    shape.pitch = pick({8, 10, 13});
    shape.thickness = pick({5, 8});
    shape.radius = pick({1, 2, 3});
    shape.slotShare = pick({0.5, 0.75, 1.2, 1.5});
    shape.slotWidth = pick({0.5, 1});
    shape.slotDepth = pick({2, 3});
    // Never onto a border of the plate, where the slot would leave one piece.
    shape.slotShift = shape.count > 2 ? pick({0, shape.pitch}) : 0;
    shape.slotShift = shape.count > 3 ? pick({0, shape.pitch, -shape.pitch}) : shape.slotShift;
    shape.skipsHoles = pick({0, 1}) > 0;
    return shape;
}

TEST(RecomputePlates, NeverAnswersWrongForRandomChanges)
{
    constexpr int kChanges = 60;
    std::mt19937 random(20240611);
    int right = 0;
    int ambiguous = 0;
    for (int change = 0; change < kChanges; ++change) {
        const plate_truth::PlateShape before = randomShape(random);
        const plate_truth::PlateShape after = randomShape(random);
        const bool areParted = before.slotShare > 1 && after.slotShare > 1;
        const plate_truth::Verdict verdict = verdictOn({"random", before, after, areParted});
        SCOPED_TRACE(change);
        EXPECT_EQ(verdict.errors(), 0) << testing::PrintToString(verdict.faults);
        right += verdict.right;
        ambiguous += verdict.ambiguous;
    }
    EXPECT_LT(ambiguous * 100, right);
}

}  // namespace
