// Maps of edits: fates, sources, joining, bytes.

#include "kernel/subent_map.h"

#include "edit_samples.h"

#include <gtest/gtest.h>

namespace {

using kernel_test::failureOf;
using zemhost::KernelFailure;
using zemhost::Subent;
using zemhost::SubentCounts;
using zemhost::SubentFate;
using zemhost::SubentKind;
using zemhost::SubentMap;

constexpr SubentKind kFace = SubentKind::kFace;

std::vector<int> list(std::span<const int> numbers)
{
    return {numbers.begin(), numbers.end()};
}

std::vector<int> targets(const SubentMap& map, int face)
{
    return list(map.answer({kFace, face}).targets);
}

SubentFate fate(const SubentMap& map, int face)
{
    return map.answer({kFace, face}).fate;
}

/// Faces: 1 stays, 2 becomes 3, 3 splits into 2 and 5, 4 and 5 merge into 4, 6 is gone, 7 is 6 or 7;
/// 8 is new.
SubentMap sampleMap(const std::string& cause = "cut")
{
    SubentMap::Builder builder({7, 1, 0}, {8, 1, 0}, cause);
    builder.set({kFace, 1}, {1});
    builder.set({kFace, 2}, {3});
    builder.set({kFace, 3}, {5, 2, 5});
    builder.set({kFace, 4}, {4});
    builder.set({kFace, 5}, {4});
    builder.setAmbiguous({kFace, 7}, {7, 6});
    builder.set({SubentKind::kEdge, 1}, {1});
    return builder.finish();
}

TEST(SubentMap, TellsEachFateWithItsTargetsInOrder)
{
    const SubentMap map = sampleMap();
    EXPECT_EQ(fate(map, 1), SubentFate::kUnchanged);
    EXPECT_EQ(fate(map, 2), SubentFate::kMoved);
    EXPECT_EQ(fate(map, 3), SubentFate::kSplit);
    EXPECT_EQ(fate(map, 4), SubentFate::kMerged);
    EXPECT_EQ(fate(map, 5), SubentFate::kMerged);
    EXPECT_EQ(fate(map, 6), SubentFate::kGone);
    EXPECT_EQ(fate(map, 7), SubentFate::kAmbiguous);
    EXPECT_EQ(targets(map, 3), (std::vector<int>{2, 5}));
    EXPECT_EQ(targets(map, 5), (std::vector<int>{4}));
    EXPECT_EQ(targets(map, 6), std::vector<int>());
    EXPECT_EQ(targets(map, 7), (std::vector<int>{6, 7}));
}

TEST(SubentMap, NamesTheCauseOfEverythingButWhatIsUnchanged)
{
    const SubentMap map = sampleMap("fillet");
    EXPECT_EQ(map.answer({kFace, 1}).cause, "");
    for (int face = 2; face <= 7; ++face) {
        EXPECT_EQ(map.answer({kFace, face}).cause, "fillet");
    }
}

TEST(SubentMap, TellsTheSourcesOfNewItemsButNotAmbiguousOnes)
{
    const SubentMap map = sampleMap();
    EXPECT_EQ(list(map.sources({kFace, 2})), std::vector<int>{3});
    EXPECT_EQ(list(map.sources({kFace, 4})), (std::vector<int>{4, 5}));
    EXPECT_TRUE(map.sources({kFace, 6}).empty());
    EXPECT_TRUE(map.sources({kFace, 8}).empty());
}

TEST(SubentMap, CountsFatesAndNewItems)
{
    const zemhost::SubentTally tally = sampleMap().tally(kFace);
    EXPECT_EQ(tally.of(SubentFate::kUnchanged), 1);
    EXPECT_EQ(tally.of(SubentFate::kMoved), 1);
    EXPECT_EQ(tally.of(SubentFate::kSplit), 1);
    EXPECT_EQ(tally.of(SubentFate::kMerged), 2);
    EXPECT_EQ(tally.of(SubentFate::kGone), 1);
    EXPECT_EQ(tally.of(SubentFate::kAmbiguous), 1);
    EXPECT_EQ(tally.total(), 7);
    EXPECT_EQ(tally.born, 3);
}

TEST(SubentMap, CallsAnItemWithTwoTargetsSplitAlsoIfOneOfThemIsMerged)
{
    SubentMap::Builder builder({2, 0, 0}, {2, 0, 0}, "fuse");
    builder.set({kFace, 1}, {1, 2});
    builder.set({kFace, 2}, {2});
    const SubentMap map = builder.finish();
    EXPECT_EQ(fate(map, 1), SubentFate::kSplit);
    EXPECT_EQ(fate(map, 2), SubentFate::kMerged);
    EXPECT_EQ(list(map.sources({kFace, 2})), (std::vector<int>{1, 2}));
}

TEST(SubentMap, IsUnchangedThroughoutIfItIsTheIdentity)
{
    const SubentCounts counts{3, 4, 5};
    const SubentMap map = SubentMap::identity(counts);
    EXPECT_EQ(map.before(), counts);
    EXPECT_EQ(map.after(), counts);
    for (const SubentKind kind : zemhost::kSubentKinds) {
        EXPECT_EQ(map.tally(kind).of(SubentFate::kUnchanged), counts.of(kind));
        EXPECT_EQ(map.tally(kind).born, 0);
    }
}

TEST(SubentMap, RefusesNumbersThatTheSolidsDontHave)
{
    const SubentMap map = sampleMap();
    for (const Subent item :
         {Subent{kFace, 0}, Subent{kFace, 9}, Subent{SubentKind::kVertex, 1}, Subent{kFace, -1}}) {
        EXPECT_EQ(failureOf([&] { (void)map.answer(item); }), KernelFailure::kBadArgument);
        EXPECT_EQ(failureOf([&] { (void)map.sources(item); }), KernelFailure::kBadArgument);
    }
    SubentMap::Builder builder({1, 0, 0}, {1, 0, 0}, "");
    EXPECT_EQ(failureOf([&] { builder.set({kFace, 1}, {2}); }), KernelFailure::kBadArgument);
    EXPECT_EQ(failureOf([&] { builder.set({kFace, 2}, {1}); }), KernelFailure::kBadArgument);
    EXPECT_EQ(failureOf([&] {
                  builder.setAmbiguous({kFace, 1}, {});
              }),
              KernelFailure::kBadArgument);
}

//--------------------------------------------------------------------------------------------------
// One edit after another

SubentMap facesMap(int before, int after, const std::string& cause,
                   const std::vector<std::vector<int>>& rows)
{
    SubentMap::Builder builder({before, 0, 0}, {after, 0, 0}, cause);
    int number = 0;
    for (const std::vector<int>& row : rows) {
        builder.set({kFace, ++number}, row);
    }
    return builder.finish();
}

TEST(SubentMapThen, FollowsPiecesAndMerges)
{
    const SubentMap split = facesMap(2, 3, "cut", {{1, 3}, {2}});
    const SubentMap merge = facesMap(3, 2, "unify", {{2}, {1}, {2}});
    const SubentMap both = split.then(merge);
    EXPECT_EQ(targets(both, 1), std::vector<int>{2});
    EXPECT_EQ(fate(both, 1), SubentFate::kMoved);
    EXPECT_EQ(both.answer({kFace, 1}).cause, "unify");
    EXPECT_EQ(targets(both, 2), std::vector<int>{1});
}

TEST(SubentMapThen, NamesTheEditOfTheGravestFate)
{
    const SubentMap split = facesMap(3, 4, "cut", {{1, 4}, {3}, {2}});
    const SubentMap shift = facesMap(4, 3, "hole", {{2}, {}, {1}, {3}});
    const SubentMap both = split.then(shift);
    EXPECT_EQ(fate(both, 1), SubentFate::kSplit);
    EXPECT_EQ(both.answer({kFace, 1}).cause, "cut");
    EXPECT_EQ(both.answer({kFace, 2}).cause, "hole");
    EXPECT_EQ(fate(both, 3), SubentFate::kGone);
    EXPECT_EQ(both.answer({kFace, 3}).cause, "hole");
}

TEST(SubentMapThen, ForgetsTheCauseOfWhatEndsUnderItsOldNumber)
{
    const SubentMap there = facesMap(2, 2, "cut", {{2}, {1}});
    const SubentMap both = there.then(there);
    EXPECT_EQ(both, SubentMap::identity({2, 0, 0}));
}

TEST(SubentMapThen, KeepsAnAmbiguousItemAmbiguousUnlessAllCandidatesAreGone)
{
    SubentMap::Builder builder({1, 0, 0}, {2, 0, 0}, "cut");
    builder.setAmbiguous({kFace, 1}, {1, 2});
    const SubentMap first = builder.finish();
    const SubentMap one = first.then(facesMap(2, 1, "hole", {{1}, {}}));
    EXPECT_EQ(fate(one, 1), SubentFate::kAmbiguous);
    EXPECT_EQ(targets(one, 1), std::vector<int>{1});
    const SubentMap none = first.then(facesMap(2, 1, "hole", {{}, {}}));
    EXPECT_EQ(fate(none, 1), SubentFate::kGone);
}

TEST(SubentMapThen, RefusesMapsThatDontFollowOneAnother)
{
    const SubentMap map = SubentMap::identity({2, 0, 0});
    EXPECT_EQ(failureOf([&] {
                  (void)map.then(SubentMap::identity({3, 0, 0}));
              }),
              KernelFailure::kBadArgument);
}

//--------------------------------------------------------------------------------------------------
// Bytes

TEST(SubentMapBytes, ComeBackAsTheyWent)
{
    for (const SubentMap& map : {sampleMap(), SubentMap(), SubentMap::identity({2, 3, 4}),
                                 sampleMap().then(SubentMap::identity({8, 1, 0}))}) {
        EXPECT_EQ(SubentMap::fromBytes(map.toBytes()), map);
    }
}

TEST(SubentMapBytes, AreRefusedAtEveryLengthAndWithEveryBitFlipped)
{
    const std::vector<unsigned char> bytes = sampleMap().toBytes();
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        EXPECT_EQ(failureOf([&] { (void)SubentMap::fromBytes(std::span(bytes).first(length)); }),
                  KernelFailure::kDamagedBytes);
    }
    for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
        std::vector<unsigned char> changed = bytes;
        changed[bit / 8] ^= static_cast<unsigned char>(1U << (bit % 8));
        EXPECT_EQ(failureOf([&] { (void)SubentMap::fromBytes(changed); }),
                  KernelFailure::kDamagedBytes);
    }
}

}  // namespace
