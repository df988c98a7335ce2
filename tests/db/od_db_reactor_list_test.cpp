#include "db/db_test_support.h"

#include <algorithm>

using namespace dbtest;

namespace {

class ReactorList : public DatabaseTest
{
protected:
    static OdDbObjectIdArray reactorsOf(OdDbObjectId id)
    {
        return id.safeOpenObject()->getPersistentReactors();
    }
};

TEST_F(ReactorList, ComesBackInItsOrderHoweverReactorsLeave)
{
    const OdDbObjectId watched = addBag();
    OdDbObjectIdArray all;
    for (int number = 0; number < 40; ++number) {
        all.append(addBag(number));
        watch(watched, all.last());
    }
    std::vector<OdDbObjectId> leaving(all.begin(), all.end());
    for (int round = 0; round < 4; ++round) {
        std::rotate(leaving.begin(), leaving.begin() + 7 * round, leaving.end());
        if (round % 2 != 0) {
            std::reverse(leaving.begin(), leaving.end());
        }
        m_db->startUndoRecord();
        {
            const OdDbObjectPtr open = watched.safeOpenObject(OdDb::kForWrite);
            for (std::size_t index = 0; index < 35; ++index) {
                open->removePersistentReactor(leaving[index]);
                EXPECT_FALSE(open->hasPersistentReactor(leaving[index]));
            }
            open->addPersistentReactor(leaving[0]);
            EXPECT_EQ(open->getPersistentReactors().size(), 6U);
        }
        const OdDbObjectIdArray few = reactorsOf(watched);
        EXPECT_EQ(few.last(), leaving[0]);
        EXPECT_EQ(m_db->undo(), kOdOk);
        EXPECT_EQ(reactorsOf(watched), all);
        EXPECT_EQ(m_db->redo(), kOdOk);
        EXPECT_EQ(reactorsOf(watched), few);
        EXPECT_EQ(m_db->undo(), kOdOk);
    }
}

TEST_F(ReactorList, FindsWhatAnIdDenotesWhenRedirectionsComeAndGo)
{
    const OdDbObjectId watched = addBag();
    OdDbObjectIdArray all;
    for (int number = 0; number < 30; ++number) {
        all.append(addBag(number));
        watch(watched, all.last());
    }
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbObjectId target = other->addOdDbObject(TestBag::createObject().get());
    const OdDbObjectPtr open = watched.safeOpenObject(OdDb::kForWrite);
    EXPECT_FALSE(open->hasPersistentReactor(target));
    all.at(3).redirectTo(target);
    all.at(5).redirectTo(target);
    EXPECT_TRUE(open->hasPersistentReactor(target));
    EXPECT_TRUE(open->hasPersistentReactor(all.at(3)));
    open->removePersistentReactor(target);
    EXPECT_TRUE(open->hasPersistentReactor(target)) << "two ids denote it now";
    open->removePersistentReactor(target);
    EXPECT_FALSE(open->hasPersistentReactor(target));
    EXPECT_EQ(open->getPersistentReactors().size(), 28U);
    all.at(3).redirectTo(OdDbObjectId::kNull);
    all.at(5).redirectTo(OdDbObjectId::kNull);
    EXPECT_FALSE(open->hasPersistentReactor(all.at(3)));
}

TEST_F(ReactorList, TakesManyInAnyOrderWhileIdsAreRedirected)
{
    constexpr int kCount = 50'000;
    const OdDbObjectId watched = addBag();
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    addBag().redirectTo(other->getModelSpaceId());
    std::vector<OdDbObjectId> all;
    m_db->startUndoRecord();
    {
        const OdDbObjectPtr open = watched.safeOpenObject(OdDb::kForWrite);
        for (int number = 0; number < kCount; ++number) {
            all.push_back(addBag(number));
            open->addPersistentReactor(all.back());
        }
        m_db->startUndoRecord();
        for (OdDbObjectId id : all) {
            open->removePersistentReactor(id);
        }
        EXPECT_TRUE(open->getPersistentReactors().isEmpty());
    }
    EXPECT_EQ(m_db->undo(), kOdOk);
    const OdDbObjectIdArray back = reactorsOf(watched);
    EXPECT_TRUE(std::equal(back.begin(), back.end(), all.begin(), all.end()));
}

}  // namespace
