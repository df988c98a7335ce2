// Links through sequences of edits on solids of which the truth is known: no wrong answer is allowed.

#include "naming_world.h"

#include <rapidcheck/gtest.h>

#include <random>

namespace link_test {
namespace {

/// Number of sequences that `Sequences` runs, and of the numbers that each draws.
constexpr unsigned kSequences = 2000;
constexpr std::size_t kNumbers = 240;

std::vector<std::string> run(LinkScope& scope, Choices& choices, std::size_t& answers)
{
    NamingWorld world(scope, 2 + static_cast<int>(choices.below(4)));
    (void)world.watch(0, 0, anyItems(world, world.home(), 6, choices));
    std::vector<std::string> wrong;
    while (!choices.isAtEnd() && wrong.empty()) {
        if (choices.below(25) == 0) {
            world.saveAndReopen();
        } else {
            anyOperation(world, scope, choices);
        }
        wrong = world.check();
    }
    if (wrong.empty()) {
        wrong = world.checkWritten(0);
    }
    answers += world.answerCount();
    return wrong;
}

/// The scripted sequences: a solid with three parts of each kind, all of them watched by one watcher.
class NamingScript : public testing::Test
{
protected:
    NamingScript()
    {
        std::vector<Item> items;
        const Home home = m_world.home();
        for (Place const& place : home.places) {
            const TestSolid::Parts parts = m_world.partsOf(place.solid);
            for (int kind = 0; kind < kKinds; ++kind) {
                for (std::int32_t name : parts[static_cast<std::size_t>(kind)]) {
                    items.push_back({place, kind, name});
                }
            }
        }
        m_items = items;
        m_watcher = m_world.watch(0, 0, items);
        m_solid = home.places[0].solid;
        m_nested = home.places[2].solid;
        expectRight();
    }

    void expectRight() const { EXPECT_EQ(m_world.check(), std::vector<std::string>()); }
    Edit unchanged(Handle solid) const { return Edit::unchanged(m_world.partsOf(solid)); }
    /// A face becomes two.
    Edit splitFace(Handle solid, std::size_t at)
    {
        Edit edit = unchanged(solid);
        edit.kinds[0].push_back({m_world.freshName(), edit.kinds[0][at].sources});
        edit.kinds[0][at].name = m_world.freshName();
        return edit;
    }
    /// Two faces become one.
    Edit mergeFaces(Handle solid, std::size_t at, std::size_t other)
    {
        Edit edit = unchanged(solid);
        edit.kinds[0][at].sources.merge(edit.kinds[0][other].sources);
        edit.kinds[0][at].name = m_world.freshName();
        edit.kinds[0].erase(edit.kinds[0].begin() + static_cast<std::ptrdiff_t>(other));
        return edit;
    }
    Edit reversed(Handle solid) const
    {
        Edit edit = unchanged(solid);
        for (std::vector<Edit::Part>& kind : edit.kinds) {
            std::reverse(kind.begin(), kind.end());
        }
        return edit;
    }
    std::size_t linkCount() const { return m_world.manager(0)->objectDependencyIds().size(); }

    LinkScope m_scope;
    NamingWorld m_world{m_scope, 3};
    std::vector<Item> m_items;
    Handle m_watcher = 0;
    Handle m_solid = 0;
    Handle m_nested = 0;
};

TEST_F(NamingScript, RenumberingKeepsEveryLink)
{
    const OdDbObjectIdArray before = m_world.manager(0)->objectDependencyIds();
    for (const bool isSecond : {false, true}) {
        m_world.edit(m_solid, reversed(m_solid), {.isSecond = isSecond});
        expectRight();
        EXPECT_EQ(m_world.manager(0)->objectDependencyIds(), before);
    }
}

TEST_F(NamingScript, PiecesOfASplitFaceAreAllWatched)
{
    for (const bool isSecond : {false, true}) {
        const std::size_t before = linkCount();
        m_world.edit(m_solid, splitFace(m_solid, 1), {.isSecond = isSecond});
        expectRight();
        EXPECT_EQ(linkCount(), before + 1);
    }
}

TEST_F(NamingScript, FacesThatBecomeOneAreLeftWithOneLink)
{
    for (const bool isSecond : {false, true}) {
        const std::size_t before = linkCount();
        m_world.edit(m_nested, mergeFaces(m_nested, 0, 1), {.isSecond = isSecond});
        expectRight();
        EXPECT_EQ(linkCount(), before - 1);
    }
}

TEST_F(NamingScript, AFaceThatIsSplitAndGrownTogetherAgainHasOneLink)
{
    const std::size_t before = linkCount();
    for (const bool isSecond : {false, true}) {
        m_world.edit(m_solid, splitFace(m_solid, 0), {.isSecond = isSecond});
        m_world.edit(m_solid, mergeFaces(m_solid, 0, 3), {.isSecond = isSecond});
        expectRight();
        EXPECT_EQ(linkCount(), before);
    }
}

TEST_F(NamingScript, PiecesOfTwoFacesThatGrowTogetherFollowBoth)
{
    // Faces 1 and 2 are split, and one piece of each becomes a new face, in a single edit.
    for (const bool isSecond : {false, true}) {
        for (const bool splitsFirst : {false, true}) {
            Edit edit = unchanged(m_solid);
            edit.kinds[0].push_back({m_world.freshName(), {0, 1}});
            m_world.edit(m_solid, edit, {.splitsFirst = splitsFirst, .isSecond = isSecond});
            expectRight();
        }
    }
}

TEST_F(NamingScript, ADeletedFaceTakesItsLinkAlongAndNoOther)
{
    const std::size_t before = linkCount();
    Edit edit = reversed(m_solid);
    edit.kinds[0].erase(edit.kinds[0].begin());
    m_world.edit(m_solid, edit);
    expectRight();
    EXPECT_EQ(linkCount(), before - 1);
    m_world.edit(m_solid, splitFace(m_solid, 0));
    expectRight();
}

TEST_F(NamingScript, AnotherSolidInThePlaceOfOneKeepsEveryLink)
{
    const OdDbObjectIdArray before = m_world.manager(0)->objectDependencyIds();
    m_world.replace(m_solid, reversed(m_solid));
    expectRight();
    m_world.replace(m_nested, reversed(m_nested));
    expectRight();
    EXPECT_EQ(m_world.manager(0)->objectDependencyIds(), before);
}

TEST_F(NamingScript, AnErasedSolidLeavesNoLinkBehind)
{
    m_world.erase(m_solid);
    expectRight();
    EXPECT_EQ(linkCount(), 18u);
    m_world.undo();
    expectRight();
    m_world.erase(m_nested);
    expectRight();
}

TEST_F(NamingScript, UndoAndRedoGoThroughAllStates)
{
    m_world.edit(m_solid, splitFace(m_solid, 0));
    m_world.edit(m_solid, mergeFaces(m_solid, 1, 3), {.isSecond = true});
    m_world.edit(m_nested, reversed(m_nested), {.erases = false});
    m_world.replace(m_nested, reversed(m_nested));
    m_world.removeUnused(0);
    for (int round = 0; round < 3; ++round) {
        while (m_world.canUndo()) {
            m_world.undo();
            expectRight();
        }
        while (m_world.canRedo()) {
            m_world.redo();
            expectRight();
        }
    }
}

TEST_F(NamingScript, AnEditThatIsTakenBackLeavesTheLinksAsTheyWere)
{
    m_world.editInVain(m_solid, splitFace(m_solid, 2));
    expectRight();
    m_world.editInVain(m_nested, mergeFaces(m_nested, 0, 2), {.isSecond = true});
    expectRight();
}

TEST_F(NamingScript, SavingKeepsLinksAndEditsGoOnAfterwards)
{
    m_world.edit(m_solid, splitFace(m_solid, 0));
    m_world.saveAndReopen();
    expectRight();
    m_world.edit(m_solid, mergeFaces(m_solid, 0, 3));
    expectRight();
    m_world.edit(m_nested, reversed(m_nested));
    m_world.saveAndReopen();
    expectRight();
}

TEST_F(NamingScript, AClonedBlockHasLinksOfItsOwn)
{
    m_world.edit(m_solid, splitFace(m_solid, 0));
    m_world.cloneHome(0);
    expectRight();
    const Handle cloned = m_world.home(1).places[0].solid;
    m_world.edit(cloned, mergeFaces(cloned, 0, 3));
    expectRight();
    m_world.edit(m_solid, reversed(m_solid), {.isSecond = true});
    expectRight();
    m_world.edit(m_nested, splitFace(m_nested, 1));  // both blocks show this solid
    expectRight();
    m_world.cloneHome(1);
    expectRight();
    while (m_world.canUndo()) {
        m_world.undo();
        expectRight();
    }
}

TEST_F(NamingScript, ABlockThatIsWrittenElsewhereTakesItsLinksAlong)
{
    m_world.edit(m_solid, splitFace(m_solid, 0));
    m_world.edit(m_nested, reversed(m_nested));
    EXPECT_EQ(m_world.checkWritten(0), std::vector<std::string>());
    expectRight();
}

TEST_F(NamingScript, LinksWithoutAWatcherFollowTheFirstPiece)
{
    m_world.unwatch(0, m_watcher, m_items[0]);
    m_world.edit(m_solid, splitFace(m_solid, 0));
    expectRight();
    EXPECT_EQ(m_world.home().unwatched.size(), 1u);
    m_world.edit(m_solid, mergeFaces(m_solid, 0, 1));
    expectRight();
    m_world.edit(m_solid, unchanged(m_solid), {.isSecond = true});  // merges all that are alike
    expectRight();
    EXPECT_TRUE(m_world.home().unwatched.empty());
}

TEST_F(NamingScript, ManyLinksOfOneFaceBecomeOne)
{
    m_scope.host().reusesLinks = false;
    for (int count = 0; count < 5; ++count) {
        (void)m_world.watch(0, 0, {m_items[0], m_items[1]});
    }
    m_scope.host().reusesLinks = true;
    expectRight();
    EXPECT_EQ(linkCount(), 37u);
    m_world.edit(m_solid, reversed(m_solid));
    expectRight();
    EXPECT_EQ(linkCount(), 27u);
}

TEST(NamingSequences, GiveNoWrongAnswer)
{
    LinkScope scope;
    std::size_t answers = 0;
    for (unsigned seed = 1; seed <= kSequences; ++seed) {
        std::mt19937 random(seed);
        std::vector<std::uint8_t> numbers(kNumbers);
        for (std::uint8_t& number : numbers) {
            number = static_cast<std::uint8_t>(random());
        }
        Choices choices(numbers);
        ASSERT_EQ(run(scope, choices, answers), std::vector<std::string>()) << "sequence " << seed;
    }
    RecordProperty("answers", std::to_string(answers));
    EXPECT_GT(answers, 500u * kSequences);
}

RC_GTEST_PROP(NamingSequencesProperty, AnySequenceGivesNoWrongAnswer,
              (std::vector<std::uint8_t> const& numbers))
{
    LinkScope scope;
    std::size_t answers = 0;
    Choices choices(numbers);
    RC_ASSERT(run(scope, choices, answers).empty());
}

}  // namespace
}  // namespace link_test
