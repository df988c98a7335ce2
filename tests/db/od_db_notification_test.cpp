#include "db/db_test_support.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"

#include <stdexcept>

using namespace dbtest;

namespace {

using Journal = std::vector<std::string>;

/// A bag with one reactor, which has nothing recorded yet.
class Notices : public DatabaseTest
{
protected:
    Notices()
    {
        m_watcher = addReactor();
        m_bag = addBag(1);
        watch(m_bag, m_watcher);
        clear();
    }

    void clear()
    {
        m_journal.clear();
        watcher().notices.clear();
    }
    TestReactor& watcher() const { return reactor(m_watcher); }
    int modified() const { return watcher().count(NoticeKind::kModified); }

    OdDbObjectId m_watcher;
    OdDbObjectId m_bag;
};

TEST_F(Notices, OfAPeriodComeOnceHoweverManySettersRan)
{
    TestBagPtr bag = writeBag(m_bag);
    bag->setText(OdString());
    bag->setNumber(5);
    EXPECT_EQ(m_journal, (Journal{"r openedForModify"}));
    bag.release();
    EXPECT_EQ(m_journal, (Journal{"r openedForModify", "r modified", "r objectClosed"}));
}

TEST_F(Notices, DoNotComeForAWritePeriodWithoutChange)
{
    writeBag(m_bag).release();
    {
        const TestBagPtr bag = readBag(m_bag);
        bag->upgradeOpen();
        bag->downgradeOpen();
    }
    EXPECT_TRUE(m_journal.empty());
}

TEST_F(Notices, ComeAlsoIfTheValueStaysTheSame)
{
    setNumberOf(m_bag, 1);
    EXPECT_EQ(modified(), 1);
}

TEST_F(Notices, ComeAtTheReleaseOfTheLastPointerOfAJoinedPeriod)
{
    TestBagPtr read = readBag(m_bag);
    writeBag(m_bag)->setNumber(2);
    EXPECT_EQ(modified(), 0);
    EXPECT_TRUE(read->isModified());
    read.release();
    EXPECT_EQ(modified(), 1);
}

TEST_F(Notices, DoNotComeEarlyByAnInnerUpgradeAndDowngrade)
{
    TestBagPtr bag = writeBag(m_bag);
    bag->upgradeOpen();
    bag->setNumber(2);
    bag->downgradeOpen();
    EXPECT_EQ(modified(), 0);
    bag.release();
    EXPECT_EQ(modified(), 1);
}

TEST_F(Notices, ComeWhenADowngradeEndsTheWritePeriod)
{
    TestBagPtr bag = writeBag(m_bag);
    bag->setNumber(2);
    bag->downgradeOpen();
    EXPECT_EQ(modified(), 1);
    EXPECT_FALSE(bag->isModified());
    bag->upgradeOpen();
    bag->setNumber(3);
    bag.release();
    EXPECT_EQ(modified(), 2);
    EXPECT_EQ(watcher().count(NoticeKind::kOpenedForModify), 2);
}

TEST_F(Notices, FindTheObjectReadableAndTheReactorWritable)
{
    setNumberOf(m_bag, 4);
    ASSERT_EQ(watcher().notices.size(), 3U);
    for (Notice const& notice : watcher().notices) {
        EXPECT_TRUE(notice.readable) << noticeName(notice.kind);
        EXPECT_TRUE(notice.reactorWritable) << noticeName(notice.kind);
        EXPECT_FALSE(notice.undoing) << noticeName(notice.kind);
        EXPECT_EQ(notice.object, m_bag) << noticeName(notice.kind);
    }
    EXPECT_FALSE(resident(m_bag).isReadEnabled());
}

TEST_F(Notices, LetTheReactorReadTheObjectThatIsClosed)
{
    int seen = 0;
    bool writable = true;
    watcher().onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kModified) {
            seen = static_cast<TestBag const&>(object).number();
            writable = object.isWriteEnabled();
        }
    };
    setNumberOf(m_bag, 77);
    EXPECT_EQ(seen, 77);
    EXPECT_FALSE(writable);
}

TEST_F(Notices, BeforeAChangeShowTheOldState)
{
    int seen = 0;
    watcher().onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kOpenedForModify) {
            seen = static_cast<TestBag const&>(object).number();
        }
    };
    setNumberOf(m_bag, 77);
    EXPECT_EQ(seen, 1);
}

TEST_F(Notices, ReachAReactorThatWritesTheNotifierFromInside)
{
    TestReactor& r = watcher();
    int writes = 0;
    r.onNotice = [&](TestReactor& self, NoticeKind kind, OdDbObject const& object) {
        if (kind != NoticeKind::kModified || writes != 0) {
            return;
        }
        ++writes;
        TestBagPtr bag = object.objectId().safeOpenObject(OdDb::kForWrite);
        bag->setNumber(bag->number() + 1);
        self.ignore = true;
        bag.release();
        EXPECT_FALSE(self.ignore);
    };
    setNumberOf(m_bag, 10);

    EXPECT_EQ(modified(), 2);
    EXPECT_EQ(numberOf(m_bag), 11);
    EXPECT_LE(r.deepest, 2);
    EXPECT_FALSE(r.ignore);
}

TEST_F(Notices, AreDeliveredHoweverDeepTheyNest)
{
    constexpr int kDeep = 200;
    watcher().onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kModified && numberOf(object.objectId()) < kDeep) {
            const TestBagPtr bag = object.objectId().safeOpenObject(OdDb::kForWrite);
            bag->setNumber(bag->number() + 1);
        }
    };
    setNumberOf(m_bag, 1);
    EXPECT_EQ(numberOf(m_bag), kDeep);
    EXPECT_EQ(modified(), kDeep);
    EXPECT_FALSE(resident(m_bag).isReadEnabled());
}

TEST_F(Notices, ThatNestWithoutEndAreStoppedAndReported)
{
    std::vector<OdDbObjectId> ring;
    int told = 0;
    for (int index = 0; index < 4; ++index) {
        ring.push_back(addReactor());
        reactor(ring.back()).onNotice = [&](TestReactor& self, NoticeKind kind, OdDbObject const&) {
            if (kind == NoticeKind::kModified) {
                ++told;
                self.setNumber(0);
            }
        };
    }
    for (OdDbObjectId from : ring) {
        for (OdDbObjectId to : ring) {
            watch(from, to);
        }
    }
    setNumberOf(ring.front(), 1);

    EXPECT_EQ(m_asserts.take(), (Journal{"objects react to one another without end"}));
    EXPECT_GT(told, 100);
    EXPECT_LT(told, 10000);
    setNumberOf(m_bag, 5);
    EXPECT_EQ(modified(), 1);
}

TEST_F(Notices, ComeInTheOrderOfTheListRoundByRound)
{
    const OdDbObjectId block = m_db->getModelSpaceId();
    const OdDbLinePtr line = OdDbLine::createObject();
    OdDbBlockTableRecordPtr(block.safeOpenObject(OdDb::kForWrite))->appendOdDbEntity(line.get());
    line->addPersistentReactor(addReactor("b"));
    line->addPersistentReactor(addReactor("a"));
    line->downgradeOpen();
    m_journal.clear();
    line->upgradeOpen();
    line->setEndPoint(OdGePoint3d(1, 0, 0));
    line->downgradeOpen();

    EXPECT_EQ(m_journal, (Journal{"b openedForModify", "a openedForModify", "b modified",
                                  "a modified", "b modifiedGraphics", "a modifiedGraphics",
                                  "b objectClosed", "a objectClosed"}));
}

TEST_F(Notices, SkipNullErasedAndUnopenableReactors)
{
    const OdDbObjectId erasedOne = addReactor("erased");
    const OdDbObjectId absent = m_db->getOdDbObjectId(OdDbHandle(0x7777), /*create=*/true);
    const OdDbObjectId last = addReactor("last");
    watch(m_bag, erasedOne);
    watch(m_bag, absent);
    watch(m_bag, last);
    ASSERT_EQ(eraseObject(erasedOne), kOdOk);
    m_journal.clear();
    setNumberOf(m_bag, 2);

    EXPECT_EQ(m_journal, (Journal{"r openedForModify", "last openedForModify", "r modified",
                                  "last modified", "r objectClosed", "last objectClosed"}));
}

TEST_F(Notices, DoNotReachAReactorThatAnEarlierOneTookOut)
{
    const OdDbObjectId second = addReactor("second");
    watch(m_bag, second);
    watcher().onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kModified) {
            object.objectId().safeOpenObject(OdDb::kForWrite)->removePersistentReactor(second);
        }
    };
    m_journal.clear();
    setNumberOf(m_bag, 2);

    EXPECT_EQ(reactor(second).count(NoticeKind::kModified), 0);
    EXPECT_EQ(modified(), 1);
}

TEST_F(Notices, DoNotReachAReactorAddedWhenThePeriodHadEnded)
{
    const OdDbObjectId late = addReactor("late");
    watcher().onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kModified) {
            object.objectId().safeOpenObject(OdDb::kForWrite)->addPersistentReactor(late);
        }
    };
    setNumberOf(m_bag, 2);
    EXPECT_EQ(reactor(late).count(NoticeKind::kModified), 0);
    EXPECT_EQ(reactor(late).count(NoticeKind::kObjectClosed), 0);
    watcher().onNotice = nullptr;
    setNumberOf(m_bag, 3);
    EXPECT_EQ(reactor(late).count(NoticeKind::kModified), 1);
    EXPECT_EQ(reactor(late).count(NoticeKind::kObjectClosed), 1);
}

TEST_F(Notices, SkipAReactorThatAnEarlierOneErased)
{
    const OdDbObjectId second = addReactor("second");
    watch(m_bag, second);
    watcher().onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kModified) {
            EXPECT_EQ(eraseObject(second), kOdOk);
        }
    };
    setNumberOf(m_bag, 2);
    EXPECT_EQ(reactor(second).count(NoticeKind::kModified), 0);
}

TEST_F(Notices, OutliveAReactorThatErasesItself)
{
    const OdDbObjectId second = addReactor("second");
    watch(m_bag, second);
    watcher().onNotice = [&](TestReactor& self, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kModified) {
            EXPECT_EQ(self.erase(), kOdOk);
        }
    };
    clear();
    setNumberOf(m_bag, 2);

    EXPECT_TRUE(m_watcher.isErased());
    EXPECT_EQ(modified(), 1);
    EXPECT_EQ(watcher().count(NoticeKind::kObjectClosed), 0);
    EXPECT_EQ(reactor(second).count(NoticeKind::kModified), 1);
}

TEST_F(Notices, OutliveAReactorThatErasesTheNotifier)
{
    const OdDbObjectId second = addReactor("second");
    watch(m_bag, second);
    watcher().onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kModified && !object.isErased()) {
            EXPECT_EQ(eraseObject(object.objectId()), kOdOk);
        }
    };
    setNumberOf(m_bag, 2);

    EXPECT_TRUE(m_bag.isErased());
    EXPECT_EQ(reactor(second).count(NoticeKind::kErased), 1);
    EXPECT_EQ(modified(), 2);
}

TEST_F(Notices, ThatThrowAreReportedAndTheRoundGoesOn)
{
    const OdDbObjectId second = addReactor("second");
    watch(m_bag, second);
    watcher().onNotice = [](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kModified) {
            throw OdError(OdString(L"the reactor fails"));
        }
        if (kind == NoticeKind::kObjectClosed) {
            throw 1;
        }
    };
    setNumberOf(m_bag, 2);

    EXPECT_EQ(m_asserts.take(), (Journal{"the reactor fails", "unknown exception"}));
    EXPECT_EQ(reactor(second).count(NoticeKind::kModified), 1);
    EXPECT_EQ(reactor(second).count(NoticeKind::kObjectClosed), 1);
    EXPECT_FALSE(watcher().isNotifyEnabled());
    EXPECT_FALSE(watcher().isReadEnabled());
    EXPECT_FALSE(resident(m_bag).isReadEnabled());
}

TEST_F(Notices, ThatThrowBeforeAChangeOrInAnEraseDoNotStopIt)
{
    watcher().onNotice = [](TestReactor&, NoticeKind, OdDbObject const&) {
        throw std::runtime_error("no");
    };
    const TestBagPtr bag = writeBag(m_bag);
    bag->setNumber(8);
    EXPECT_EQ(bag->number(), 8);
    EXPECT_EQ(bag->erase(), kOdOk);
    EXPECT_EQ(m_asserts.take(), (Journal{"no", "no"}));
    watcher().onNotice = nullptr;
}

TEST_F(Notices, MarkAReactorThatChangesItselfAsModified)
{
    const OdDbObjectId outer = addReactor("outer");
    watch(m_watcher, outer);
    watcher().onNotice = [](TestReactor& self, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kModified) {
            self.assertNotifyEnabled();
            self.setNumber(self.number() + 1);
        }
    };
    clear();
    setNumberOf(m_bag, 2);

    EXPECT_EQ(m_journal, (Journal{"r openedForModify", "r modified", "outer openedForModify",
                                  "outer modified", "outer objectClosed", "r objectClosed"}));
    EXPECT_EQ(reactor(outer).count(NoticeKind::kModified), 1);
    EXPECT_EQ(numberOf(m_watcher), 1);
    EXPECT_FALSE(watcher().isReadEnabled());
}

TEST_F(Notices, MarkAReactorThatIsHeldOpenForReadAsWell)
{
    const OdDbObjectId outer = addReactor("outer");
    watch(m_watcher, outer);
    watcher().onNotice = [](TestReactor& self, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kModified) {
            self.setNumber(5);
        }
    };
    const TestBagPtr held = readBag(m_watcher);
    setNumberOf(m_bag, 2);

    EXPECT_EQ(reactor(outer).count(NoticeKind::kModified), 1);
    EXPECT_FALSE(held->isWriteEnabled());
    EXPECT_FALSE(held->isNotifyEnabled());
}

TEST_F(Notices, LeaveAReactorThatIsHeldOpenForWriteToItsOwnPeriod)
{
    const OdDbObjectId outer = addReactor("outer");
    watch(m_watcher, outer);
    TestBagPtr held = writeBag(m_watcher);
    watcher().onNotice = [](TestReactor& self, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kModified) {
            self.assertNotifyEnabled();
            self.setNumber(5);
        }
    };
    setNumberOf(m_bag, 2);
    EXPECT_EQ(reactor(outer).count(NoticeKind::kModified), 0);
    EXPECT_TRUE(held->isWriteEnabled());
    held.release();
    EXPECT_EQ(reactor(outer).count(NoticeKind::kModified), 1);
}

TEST_F(Notices, OfTheFirstPeriodOfANewObjectReachAReactorAddedInIt)
{
    TestBagPtr fresh = TestBag::createObject();
    m_db->addOdDbObject(fresh.get());
    fresh->addPersistentReactor(m_watcher);
    fresh.release();
    EXPECT_EQ(m_journal, (Journal{"r modified", "r objectClosed"}));
}

TEST_F(Notices, DoNotComeFromReactorListChangesAlone)
{
    const OdDbObjectId second = addReactor("second");
    watch(m_bag, second);
    writeBag(m_bag)->removePersistentReactor(second);
    EXPECT_TRUE(m_journal.empty());
}

TEST_F(Notices, DoNotReachTheObjectItselfUnlessItIsListed)
{
    const OdDbObjectId self = addReactor("self");
    resident<TestReactor>(self).notices.clear();
    setNumberOf(self, 1);
    ASSERT_EQ(eraseObject(self), kOdOk);
    EXPECT_TRUE(m_journal.empty());
    ASSERT_EQ(eraseObject(self, false), kOdOk);
    watch(self, self);
    setNumberOf(self, 2);
    EXPECT_EQ(reactor(self).count(NoticeKind::kModified), 1);
}

TEST_F(Notices, OfGraphicsComeOnlyForGraphicsOfEntities)
{
    OdDbLinePtr line = OdDbLine::createObject();
    OdDbBlockTableRecordPtr(m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite))
        ->appendOdDbEntity(line.get());
    line->addPersistentReactor(m_watcher);
    const OdDbObjectId id = line->objectId();
    line.release();
    m_db->newRegApp(L"APP");
    auto graphics = [&](auto&& change) {
        clear();
        change(*OdDbLinePtr(id.safeOpenObject(OdDb::kForWrite)));
        return watcher().count(NoticeKind::kModifiedGraphics);
    };
    const OdResBufPtr chain = OdResBuf::newRb(1001);
    chain->setString(L"APP");

    EXPECT_EQ(graphics([](OdDbLine& l) { l.setStartPoint(OdGePoint3d(1, 2, 3)); }), 1);
    EXPECT_EQ(graphics([](OdDbLine& l) { l.setNormal(OdGeVector3d(1, 0, 0)); }), 1);
    EXPECT_EQ(graphics([](OdDbLine& l) { (void)l.transformBy(OdGeMatrix3d()); }), 1);
    EXPECT_EQ(graphics([](OdDbLine& l) { l.setColor(OdCmEntityColor()); }), 1);
    EXPECT_EQ(graphics([&](OdDbLine& l) { l.setLayer(m_db->getLayerZeroId()); }), 1);
    EXPECT_EQ(graphics([&](OdDbLine& l) { l.setPropertiesFrom(&l); }), 1);
    EXPECT_EQ(graphics([](OdDbLine& l) { l.recordGraphicsModified(); }), 1);
    EXPECT_EQ(graphics([&](OdDbLine& l) { l.setXData(chain.get()); }), 0);
    EXPECT_EQ(modified(), 1);
    EXPECT_EQ(graphics([](OdDbLine& l) { l.createExtensionDictionary(); }), 0);
    EXPECT_EQ(graphics([](OdDbLine& l) { l.assertWriteEnabled(); }), 0);
    EXPECT_EQ(graphics([](OdDbLine& l) {
                  l.setThickness(2.0);
                  l.recordGraphicsModified(false);
              }),
              0);
    EXPECT_EQ(modified(), 1);
}

TEST_F(Notices, NeverCrossDatabases)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const TestBagPtr bag = TestBag::createObject();
    other->addOdDbObject(bag.get());
    EXPECT_EQ(thrownCode([&] { bag->addPersistentReactor(m_watcher); }), kOdWrongDatabase);
    bag->setNumber(2);
    EXPECT_TRUE(m_journal.empty());
}

TEST_F(Notices, OfGoodbyeComeWhenTheDatabaseGoes)
{
    int goodbyes = 0;
    watcher().onNotice = [&](TestReactor& self, NoticeKind kind, OdDbObject const& object) {
        goodbyes += kind == NoticeKind::kGoodbye ? 1 : 0;
        EXPECT_EQ(object.database(), self.database());
    };
    int erases = 0;
    resident(m_bag).onSubErase = [&](TestBag&, bool) {
        ++erases;
        return kOdOk;
    };
    m_db.release();
    EXPECT_EQ(goodbyes, 1);
    EXPECT_EQ(erases, 0);
}

TEST_F(Notices, OfGoodbyeMayChangeObjectsAndHoldTheDatabase)
{
    const OdDbObjectId outer = addReactor("outer");
    watch(m_watcher, outer);
    watcher().onNotice = [](TestReactor& self, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kGoodbye) {
            const OdDbDatabasePtr db(self.database());
            self.setNumber(3);
        }
    };
    m_db.release();
    EXPECT_EQ(OdDbDatabase::liveCount(), 0);
}

TEST_F(Notices, MayTakeTheLastPointerToTheDatabaseAway)
{
    TestBagPtr bag = writeBag(m_bag);
    watcher().onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kModified) {
            m_db.release();
        }
    };
    bag->setNumber(3);
    bag.release();
    EXPECT_EQ(OdDbDatabase::liveCount(), 0);
    m_asserts.take();
}

TEST_F(Notices, OfAnEraseMayTakeTheLastPointerToTheDatabaseAway)
{
    const OdDbObjectId second = addReactor("second");
    watch(m_bag, second);
    const TestBagPtr bag = writeBag(m_bag);
    watcher().onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kErased) {
            m_db.release();
        }
    };
    EXPECT_EQ(bag->erase(), kOdOk);
    EXPECT_EQ(OdDbDatabase::liveCount(), 0);
    m_asserts.take();
}

TEST_F(Notices, OfAChangeThatTakeTheLastPointerAwayEndTheChange)
{
    const TestBagPtr bag = writeBag(m_bag);
    const OdDbObjectId owner = m_db->getNamedObjectsDictionaryId();
    watcher().onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kOpenedForModify) {
            m_db.release();
        }
    };
    EXPECT_EQ(thrownCode([&] { bag->setOwnerId(owner); }), kOdNotInDatabase);
    EXPECT_TRUE(bag->ownerId().isNull());
    m_asserts.take();
}

TEST_F(Notices, OfANewApplicationMayTakeTheLastPointerToTheDatabaseAway)
{
    const OdDbObjectId second = addReactor();
    watch(m_db->getRegAppTableId(), second);
    reactor(second).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kOpenedForModify) {
            m_db.release();
        }
    };
    const TestBagPtr bag = TestBag::createObject();
    const OdResBufPtr chain = OdResBuf::newRb(1001);
    chain->setString(L"new");
    chain->setNext(OdResBuf::newRb(1071).get());
    bag->setXData(chain.get());
    OdDbDatabase* const db = m_db.get();
    db->addOdDbObject(bag.get());
    EXPECT_EQ(OdDbDatabase::liveCount(), 0);
    EXPECT_EQ(bag->database(), nullptr);
    m_asserts.take();
}

}  // namespace
