// A plate with many holes and a slot, made again with other parameters: every item must be found.

#include "kernel/kernel_edit.h"
#include "support/plate_truth.h"

#include <gtest/gtest.h>

namespace {

using zemhost::EditIsolation;
using zemhost::EditOptions;
using zemhost::RecipeModel;
using zemhost::SubentKind;

constexpr int kHolesInARow = 6;

class RecomputePlate : public testing::TestWithParam<plate_truth::PlateEdit>
{
};

TEST_P(RecomputePlate, FindsEveryItemAgain)
{
    const plate_truth::PlateEdit& edit = GetParam();
    const RecipeModel old = RecipeModel::make(recipeOf(edit.before));
    const RecipeModel found = old.recompute(recipeOf(edit.after));
    const plate_truth::PlateKeys before(old.solid(), edit.before, edit.tellsSides);
    const plate_truth::PlateKeys after(found.solid(), edit.after, edit.tellsSides);
    const plate_truth::Judge judge(before, after);
    for (const SubentKind kind : zemhost::kSubentKinds) {
        SCOPED_TRACE(subentKindName(kind));
        const plate_truth::Verdict verdict = judge.judge(found.map(), kind);
        EXPECT_EQ(verdict.right, old.solid().counts().of(kind));
        EXPECT_EQ(verdict.ambiguous, 0);
        EXPECT_EQ(verdict.wrong, 0);
        EXPECT_EQ(verdict.lost, 0);
        EXPECT_EQ(verdict.ghosts, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Edits, RecomputePlate,
                         testing::ValuesIn(plate_truth::plateEdits(kHolesInARow)),
                         [](const testing::TestParamInfo<plate_truth::PlateEdit>& row) {
                             return std::string(row.param.name);
                         });

}  // namespace
