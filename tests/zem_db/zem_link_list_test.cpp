#include "link_test_support.h"
#include "zem_link_list.h"
#include "zem_property_data.h"

#include <algorithm>
#include <limits>

namespace link_test {
namespace {

using Ids = OdDbObjectIdArray;
using Positions = std::vector<std::uint32_t>;

Positions positionsOf(ZemPositionTable const& table, std::uint32_t hash)
{
    Positions found;
    table.visit(hash, [&found](std::uint32_t position) { found.push_back(position); });
    std::sort(found.begin(), found.end());
    return found;
}

Positions companyIn(ZemPositionTable const& table)
{
    Positions found = table.positionsWithCompany();
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

}  // namespace

//--------------------------------------------------------------------------------------------------
// ZemPositionTable

TEST(PositionTable, HoldsNothingBeforeItIsBuilt)
{
    ZemPositionTable table;
    EXPECT_FALSE(table.isBuilt());
    EXPECT_TRUE(positionsOf(table, 0).empty());
    EXPECT_TRUE(companyIn(table).empty());
    table.build(0);
    EXPECT_TRUE(table.isBuilt());
    EXPECT_TRUE(positionsOf(table, 0).empty());
}

TEST(PositionTable, GivesAllPositionsOfAHashAndNoOthersOfItsBucket)
{
    ZemPositionTable table;
    table.build(16);
    table.insert(3, 0);
    table.insert(3 + 16, 1);
    table.insert(3, 2);
    table.insert(std::numeric_limits<std::uint32_t>::max(), 3);
    EXPECT_EQ(positionsOf(table, 3), (Positions{0, 2}));
    EXPECT_EQ(positionsOf(table, 3 + 16), Positions{1});
    EXPECT_EQ(positionsOf(table, std::numeric_limits<std::uint32_t>::max()), Positions{3});
    EXPECT_TRUE(positionsOf(table, 4).empty());
}

TEST(PositionTable, LooksNoFurtherThanTheFirstPositionThatFits)
{
    ZemPositionTable table;
    table.build(0);
    for (std::uint32_t position = 0; position < 100; ++position) {
        table.insert(7, position);
    }
    int looks = 0;
    EXPECT_TRUE(table.any(7, [&looks](std::uint32_t) { return ++looks == 3; }));
    EXPECT_EQ(looks, 3);
    EXPECT_FALSE(table.any(8, [](std::uint32_t) { return true; }));
}

TEST(PositionTable, GrowsBeyondWhatItWasBuiltFor)
{
    ZemPositionTable table;
    table.build(1);
    constexpr std::uint32_t kCount = 1000;
    for (std::uint32_t position = 0; position < kCount; ++position) {
        table.insert(position * 64, position);
    }
    EXPECT_EQ(table.size(), kCount);
    for (std::uint32_t position = 0; position < kCount; ++position) {
        EXPECT_EQ(positionsOf(table, position * 64), Positions{position});
    }
}

TEST(PositionTable, GivesEntriesOtherPositionsOrTakesThemOut)
{
    ZemPositionTable table;
    table.build(4);
    for (std::uint32_t position = 0; position < 5; ++position) {
        table.insert(position, position);
    }
    constexpr std::uint32_t kOut = ZemPositionTable::kNone;
    table.renumber({kOut, 0, 1, kOut});  // what lies beyond goes, too
    EXPECT_EQ(table.size(), 2u);
    EXPECT_TRUE(positionsOf(table, 0).empty());
    EXPECT_EQ(positionsOf(table, 1), Positions{0});
    EXPECT_EQ(positionsOf(table, 2), Positions{1});
    EXPECT_TRUE(positionsOf(table, 4).empty());
}

TEST(PositionTable, TellsPositionsThatShareTheirHashWithAnotherOne)
{
    ZemPositionTable table;
    table.build(16);
    table.insert(1, 0);
    table.insert(1 + 16, 1);  // the same bucket alone
    table.insert(2, 2);
    table.insert(2, 3);
    table.insert(5, 4);
    table.insert(5, 4);  // the same position again is no company
    EXPECT_EQ(companyIn(table), (Positions{2, 3}));
}

TEST(PositionTable, ForgetsEverythingWhenItIsCleared)
{
    ZemPositionTable table;
    table.build(16);
    table.insert(1, 0);
    table.clear();
    EXPECT_FALSE(table.isBuilt());
    EXPECT_EQ(table.size(), 0u);
    table.build(16);
    EXPECT_TRUE(positionsOf(table, 1).empty());
}

//--------------------------------------------------------------------------------------------------
// ZemLinkList

namespace {

/// A list of links to faces of a solid, whose owner tells the list of changes.
class LinkList : public testing::Test
{
protected:
    OdDbFullSubentPath face(std::int64_t number) const { return pathTo(m_solid, 0, number); }
    OdDbObjectId addLink(std::int64_t number, OdDbObjectId owner)
    {
        const LinkPtr link = ZemDbObjectDependency::desc()->create();
        link->setLinkObject(face(number));
        return m_db->addOdDbObject(link.get(), owner);
    }
    OdDbObjectId add(std::int64_t number)
    {
        const OdDbObjectId id = addLink(number, m_owner);
        m_list.append(id);
        return id;
    }
    void move(OdDbObjectId id, std::int64_t number)
    {
        openLink(id, OdDb::kForWrite)->setLinkObject(face(number));
        m_list.linkChanged(id);
    }
    Ids find(std::int64_t number) const { return m_list.findByPath(face(number), m_owner); }

    LinkScope m_scope;
    OdDbDatabasePtr m_db = OdDbDatabase::createObject();
    OdDbObjectId m_solid = addSolid(m_db->getModelSpaceId(), 9);
    OdDbObjectId m_owner = ZemDbPersIdManager::getInstance(m_db->getModelSpaceId(), true);
    ZemLinkList m_list;
};

}  // namespace

TEST_F(LinkList, KeepsLinksInTheirOrderRepeatsIncluded)
{
    const OdDbObjectId first = add(1);
    const OdDbObjectId second = add(2);
    m_list.append(Ids{first, OdDbObjectId()});
    EXPECT_EQ(m_list.ids(), (Ids{first, second, first, OdDbObjectId()}));
    EXPECT_EQ(m_list.size(), 4u);
    m_list.append(m_list.ids());
    EXPECT_EQ(m_list.size(), 8u);
    EXPECT_EQ(find(1), (Ids{first, first, first, first}));
}

TEST_F(LinkList, FindsWhatLeadsAlongAPathNow)
{
    const OdDbObjectId first = add(1);
    const OdDbObjectId second = add(1);
    EXPECT_EQ(find(1), (Ids{first, second}));
    move(first, 2);
    EXPECT_EQ(find(1), Ids{second});
    EXPECT_EQ(find(2), Ids{first});
    EXPECT_TRUE(find(3).isEmpty());
    const OdDbObjectId third = add(2);
    EXPECT_EQ(find(2), (Ids{first, third}));
}

TEST_F(LinkList, FindsLinksOfAnotherOwnerOfWhichNobodyTells)
{
    const OdDbObjectId own = add(1);
    const OdDbObjectId foreign = addLink(1, m_db->getModelSpaceId());
    m_list.append(foreign);
    EXPECT_EQ(find(1), (Ids{own, foreign}));
    openLink(foreign, OdDb::kForWrite)->setLinkObject(face(2));
    EXPECT_EQ(find(1), Ids{own});
    EXPECT_EQ(find(2), Ids{foreign});
}

TEST_F(LinkList, FindsAPathThatWasSetVeryOften)
{
    const OdDbObjectId first = add(1);
    const OdDbObjectId second = add(2);
    EXPECT_EQ(find(2), Ids{second});
    for (int time = 0; time < 500; ++time) {
        move(first, 3 + time % 5);
    }
    EXPECT_TRUE(find(1).isEmpty());
    EXPECT_EQ(find(3 + 499 % 5), Ids{first});
}

TEST_F(LinkList, RemovesEachPlaceOfEachIdAndGivesTheLastOneFirst)
{
    const OdDbObjectId first = add(1);
    const OdDbObjectId second = add(2);
    const OdDbObjectId third = add(3);
    m_list.append(first);
    EXPECT_EQ(m_list.remove({first, m_solid, third, first}), (Ids{first, third, first}));
    EXPECT_EQ(m_list.ids(), Ids{second});
    EXPECT_FALSE(m_list.contains(first));
    EXPECT_TRUE(m_list.contains(second));
    EXPECT_TRUE(m_list.remove({first}).isEmpty());
}

TEST_F(LinkList, CountsAndFindsPastTheGapsOfRemovedLinks)
{
    Ids ids;
    for (std::int64_t number = 1; number <= 9; ++number) {
        ids.append(add(number));
    }
    EXPECT_EQ(find(9), Ids{ids[8]});
    (void)m_list.remove({ids[0], ids[4]});
    EXPECT_EQ(m_list.size(), 7u);
    EXPECT_TRUE(find(5).isEmpty());
    EXPECT_EQ(find(6), Ids{ids[5]});
    m_list.append(ids[4]);
    EXPECT_EQ(m_list.ids().last(), ids[4]);
    EXPECT_EQ(find(5), Ids{ids[4]});
    EXPECT_EQ(find(9), Ids{ids[8]});
}

TEST_F(LinkList, ACopyOfItsArrayStaysAsItWas)
{
    const OdDbObjectId first = add(1);
    const OdDbObjectId second = add(2);
    const Ids copy = m_list.ids();
    (void)m_list.remove({first});
    EXPECT_EQ(m_list.ids(), Ids{second});
    EXPECT_EQ(copy, (Ids{first, second}));
}

TEST_F(LinkList, NoticesThatItsArrayWasChangedThroughABag)
{
    const OdDbObjectId first = add(1);
    const OdDbObjectId second = add(2);
    EXPECT_EQ(find(1), Ids{first});
    (void)m_list.remove({first});
    *m_list.variable() = Ids{second, first};
    EXPECT_EQ(m_list.size(), 2u);
    EXPECT_TRUE(m_list.contains(first));
    EXPECT_EQ(find(1), Ids{first});
    (void)m_list.remove({second});
    *m_list.variable() = Ids{second, first};
    EXPECT_TRUE(m_list.remove({}).isEmpty());
    EXPECT_EQ(m_list.ids(), (Ids{second, first}));
}

TEST_F(LinkList, ChangesPlacesWithAnotherArrayWithoutItsGaps)
{
    const OdDbObjectId first = add(1);
    const OdDbObjectId second = add(2);
    Ids other{second};
    EXPECT_EQ(find(1), Ids{first});
    (void)m_list.remove({second});
    m_list.exchange(other);
    EXPECT_EQ(other, Ids{first});
    EXPECT_EQ(m_list.ids(), Ids{second});
    EXPECT_TRUE(find(1).isEmpty());
    m_list.clear();
    EXPECT_EQ(m_list.size(), 0u);
    EXPECT_FALSE(m_list.contains(second));
}

TEST_F(LinkList, TellsWhichLinksMayLeadAlongTheSamePath)
{
    const OdDbObjectId first = add(1);
    (void)add(2);
    const OdDbObjectId third = add(1);
    const OdDbObjectId fourth = add(4);
    EXPECT_EQ(m_list.withCompany(m_owner), (Ids{first, third}));
    (void)m_list.remove({third});
    const OdDbObjectId foreign = addLink(4, m_db->getModelSpaceId());
    m_list.append(foreign);
    EXPECT_EQ(m_list.withCompany(m_owner), (Ids{fourth, foreign}));
}

TEST_F(LinkList, EqualPathsHaveTheSameHash)
{
    EXPECT_EQ(hashOfPath(face(1)), hashOfPath(face(1)));
    EXPECT_NE(hashOfPath(face(1)), hashOfPath(face(2)));
    EXPECT_NE(hashOfPath(face(1)), hashOfPath(pathTo(m_solid, 1, 1)));
    EXPECT_EQ(hashOfPath(OdDbFullSubentPath()), hashOfPath(OdDbFullSubentPath()));
}

}  // namespace link_test
