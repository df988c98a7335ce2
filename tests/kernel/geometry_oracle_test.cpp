// The oracle: it must see every answer that is wrong, and no other.

#include "kernel/geometry_oracle.h"

#include "edit_samples.h"
#include "kernel_test_files.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using kernel_test::failureOf;
using kernel_test::inThisProcess;
using zemhost::EditResult;
using zemhost::KernelFailure;
using zemhost::KernelSolid;
using zemhost::OracleReport;
using zemhost::RecipeStep;
using zemhost::SubentFate;
using zemhost::SubentKind;
using zemhost::SubentMap;

/// A map with the answer for one item replaced.
SubentMap withAnswer(const SubentMap& map, zemhost::Subent wrong, const std::vector<int>& targets)
{
    SubentMap::Builder builder(map.before(), map.after(), "wrong");
    for (const SubentKind kind : zemhost::kSubentKinds) {
        for (int number = 1; number <= map.before().of(kind); ++number) {
            const std::span<const int> right = map.answer({kind, number}).targets;
            builder.set({kind, number}, {right.begin(), right.end()});
        }
    }
    builder.set(wrong, targets);
    return builder.finish();
}

TEST(CompareWithGeometry, SeesEverySingleWrongAnswer)
{
    const KernelSolid box = KernelSolid::makeBox(30, 20, 10);
    const EditResult edit =
        applyEdit(box, RecipeStep::cutBox({14, -1, 6}, {2, 22, 10}), inThisProcess());
    ASSERT_EQ(compareWithGeometry(box, edit.solid, edit.map).differences, 0);
    for (const SubentKind kind : zemhost::kSubentKinds) {
        for (int number = 1; number <= box.counts().of(kind); ++number) {
            const std::span<const int> right = edit.map.answer({kind, number}).targets;
            const int other = right.front() == 1 ? 2 : 1;
            std::vector<int> both = {right.front(), other};
            std::sort(both.begin(), both.end());
            for (const std::vector<int>& wrong :
                 {std::vector<int>(), std::vector<int>{other}, both}) {
                if (wrong == std::vector<int>(right.begin(), right.end())) {
                    continue;
                }
                const SubentMap map = withAnswer(edit.map, {kind, number}, wrong);
                const OracleReport report = compareWithGeometry(box, edit.solid, map);
                EXPECT_EQ(report.differences, 1);
                ASSERT_EQ(report.findings.size(), 1U);
                EXPECT_EQ(report.findings.front().item, (zemhost::Subent{kind, number}));
                EXPECT_EQ(report.findings.front().mapTargets, wrong);
                EXPECT_EQ(report.findings.front().geometryTargets,
                          std::vector<int>(right.begin(), right.end()));
            }
        }
    }
}

TEST(CompareWithGeometry, TakesCandidatesForRightOnlyWithTheTrueOneAmongThem)
{
    const KernelSolid box = KernelSolid::makeBox(30, 20, 10);
    for (const bool isTrueAmongThem : {true, false}) {
        SubentMap::Builder builder(box.counts(), box.counts(), "");
        for (const SubentKind kind : zemhost::kSubentKinds) {
            for (int number = 1; number <= box.counts().of(kind); ++number) {
                builder.set({kind, number}, {number});
            }
        }
        builder.setAmbiguous({SubentKind::kFace, 1}, {isTrueAmongThem ? 1 : 3, 2});
        const OracleReport report = compareWithGeometry(box, box, builder.finish());
        EXPECT_EQ(report.ambiguous, isTrueAmongThem ? 1 : 0);
        EXPECT_EQ(report.differences, isTrueAmongThem ? 0 : 1);
    }
}

TEST(CompareWithGeometry, FollowsMovedItemsAsFarAsItIsTold)
{
    const KernelSolid small = KernelSolid::makeBox(10, 10, 10);
    const KernelSolid large = KernelSolid::makeBox(10, 10, 11);
    const SubentMap same = SubentMap::identity(small.counts());
    EXPECT_GT(compareWithGeometry(small, large, same).differences, 0);
    EXPECT_EQ(compareWithGeometry(small, large, same, {2, 0}).differences, 0);
    const int top = kernel_test::itemAt(small, SubentKind::kVertex, {10, 10, 10});
    const int foot = kernel_test::itemAt(small, SubentKind::kVertex, {10, 10, 0});
    const SubentMap wrong = withAnswer(same, {SubentKind::kVertex, top}, {foot});
    EXPECT_EQ(compareWithGeometry(small, large, wrong, {2, 0}).differences, 1);
}

TEST(CompareWithGeometry, RefusesAMapOfOtherSolids)
{
    const KernelSolid box = KernelSolid::makeBox(10, 10, 10);
    const KernelSolid post = KernelSolid::makeCylinder(10, 10);
    EXPECT_EQ(
        failureOf([&] { (void)compareWithGeometry(box, post, SubentMap::identity(box.counts())); }),
        KernelFailure::kBadArgument);
}

}  // namespace
