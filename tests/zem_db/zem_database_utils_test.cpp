#include "db/od_db_database.h"
#include "support/zem_module_scope.h"

#include "zem_database_utils.h"

#include <gtest/gtest.h>

#include <set>
#include <unordered_set>

namespace {

class Orders : public testing::Test
{
protected:
    OdDbPlatform m_platform;
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    OdDbDatabasePtr m_other = OdDbDatabase::createObject();
    OdDbObjectId m_low = m_database->getBlockTableId();
    OdDbObjectId m_high = m_database->getModelSpaceId();
};

constexpr OdDbSubentId face(std::int64_t index)
{
    return OdDbSubentId(OdDb::SubentType::kFaceSubentType, index);
}

}  // namespace

TEST_F(Orders, IdsGoByHandleWithTheNullIdFirst)
{
    ASSERT_LT(m_low.getHandle(), m_high.getHandle());
    EXPECT_EQ(zemu::compareObjectId(m_low, m_high), -1);
    EXPECT_EQ(zemu::compareObjectId(m_high, m_low), 1);
    EXPECT_EQ(zemu::compareObjectId(m_low, m_low), 0);
    EXPECT_EQ(zemu::compareObjectId(OdDbObjectId(), m_low), -1);
    EXPECT_EQ(zemu::compareObjectId(OdDbObjectId(), OdDbObjectId()), 0);
}

TEST_F(Orders, EqualHandlesOfTwoDatabasesFallBackOnTheIds)
{
    const OdDbObjectId twin = m_other->getBlockTableId();
    ASSERT_EQ(m_low.getHandle(), twin.getHandle());
    EXPECT_EQ(zemu::compareObjectId(m_low, twin), m_low < twin ? -1 : 1);
    EXPECT_EQ(zemu::compareObjectId(twin, m_low), m_low < twin ? 1 : -1);
    // The handle decides before the database does.
    EXPECT_EQ(zemu::compareObjectId(m_high, twin), 1);
}

TEST_F(Orders, SubEntitiesGoByTypeThenIndexAsSignedNumbers)
{
    const OdDbSubentId edge(OdDb::SubentType::kEdgeSubentType, -5);
    EXPECT_EQ(zemu::compareSubentId(face(9), edge), -1);
    EXPECT_EQ(zemu::compareSubentId(face(-1), face(0)), -1);
    EXPECT_EQ(zemu::compareSubentId(face(2), face(1)), 1);
    EXPECT_EQ(zemu::compareSubentId(face(2), face(2)), 0);
}

TEST_F(Orders, ShorterPathsGoFirstThenIdsThenSubEntities)
{
    const OdDbFullSubentPath one({m_high}, face(9));
    const OdDbFullSubentPath two({m_low, m_low}, face(1));
    const OdDbFullSubentPath three({m_low, m_high}, face(1));
    const OdDbFullSubentPath four({m_low, m_high}, face(2));
    EXPECT_EQ(zemu::compareFullSubentPath(one, two), -1);
    EXPECT_EQ(zemu::compareFullSubentPath(three, two), 1);
    EXPECT_EQ(zemu::compareFullSubentPath(three, four), -1);
    EXPECT_EQ(zemu::compareFullSubentPath(four, four), 0);

    const std::set<OdDbFullSubentPath, zemu::less_FullSubentPath> ordered{four, two, one, three};
    EXPECT_EQ(*ordered.begin(), one);
    EXPECT_EQ(*ordered.rbegin(), four);
}

TEST_F(Orders, AnIdAndTheOneItStandsForHashAlike)
{
    const OdDbObjectId alias = m_other->getOdDbObjectId(OdDbHandle(0x5000), /*create=*/true);
    alias.redirectTo(m_high);
    EXPECT_EQ(zemu::hash_ObjectId()(alias), zemu::hash_ObjectId()(m_high));
    const std::unordered_set<OdDbObjectId, zemu::hash_ObjectId> ids{alias, m_high};
    EXPECT_EQ(ids.size(), 1u);
    alias.redirectTo(OdDbObjectId::kNull);
}
