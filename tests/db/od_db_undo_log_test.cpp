#include "db/db_test_support.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_simple_tables.h"

using namespace dbtest;

namespace {

class Undo : public DatabaseTest
{
};

TEST_F(Undo, RecordsNothingBeforeTheFirstMark)
{
    const OdDbObjectId id = addBag(1);
    setNumberOf(id, 2);
    EXPECT_FALSE(m_db->undoRecording());
    EXPECT_EQ(writeBag(id)->undoFiler(), nullptr);
    EXPECT_EQ(m_db->undoBytes(), 0U);
    EXPECT_FALSE(m_db->hasUndo());
    EXPECT_EQ(m_db->undo(), kOdNoUndo);
    EXPECT_EQ(m_db->redo(), kOdNoUndo);
    m_db->startUndoRecord();
    EXPECT_TRUE(m_db->undoRecording());
    EXPECT_NE(writeBag(id)->undoFiler(), nullptr);
}

TEST_F(Undo, GoesBackMarkByMark)
{
    const OdDbObjectId id = addBag(0);
    for (int number = 1; number <= 3; ++number) {
        m_db->startUndoRecord();
        setNumberOf(id, number);
    }
    for (int number = 2; number >= 0; --number) {
        ASSERT_EQ(m_db->undo(), kOdOk);
        EXPECT_EQ(numberOf(id), number);
    }
    EXPECT_EQ(m_db->undo(), kOdNoUndo);
    for (int number = 1; number <= 3; ++number) {
        ASSERT_EQ(m_db->redo(), kOdOk);
        EXPECT_EQ(numberOf(id), number);
    }
    EXPECT_EQ(m_db->redo(), kOdNoUndo);
}

TEST_F(Undo, OfAMarkWithoutRecordsTakesNothingBack)
{
    const OdDbObjectId id = addBag(0);
    m_db->startUndoRecord();
    setNumberOf(id, 1);
    m_db->startUndoRecord();
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 1);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 0);
}

TEST_F(Undo, BringsBackEverythingThatAnObjectHas)
{
    m_db->newRegApp(L"APP");
    const OdDbObjectId other = addBag();
    const OdDbObjectId id = namedObjects()->setAt(L"x", TestBag::createObject().get());
    const OdResBufPtr chain = OdResBuf::newRb(1001);
    chain->setString(L"APP");
    chain->setNext(OdResBuf::newRb(1071).get());
    const DatabaseState before = stateOf(*m_db);
    m_db->startUndoRecord();
    {
        const TestBagPtr bag = writeBag(id);
        bag->setText(L"changed");
        bag->setReals({1, 2, 3});
        OdDbObjectIdArray ids;
        ids.append(other);
        bag->setIds(OdDb::ReferenceType::kSoftOwnershipRef, ids);
        bag->addPersistentReactor(other);
        bag->setXData(chain.get());
        bag->createExtensionDictionary();
        bag->setOwnerId(other);
    }
    const DatabaseState after = stateOf(*m_db);
    ASSERT_EQ(m_db->undo(), kOdOk);
    const DatabaseState undone = stateOf(*m_db);
    for (auto const& [handle, state] : before) {
        EXPECT_EQ(undone.at(handle), state) << "object " << std::hex << handle;
    }
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(stateOf(*m_db), after);
}

TEST_F(Undo, ErasesObjectsMadeSinceAndKeepsTheirIds)
{
    m_db->startUndoRecord();
    const OdDbObjectId id = addBag(5);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(id.isErased());
    EXPECT_TRUE(id.openObject().isNull());
    EXPECT_EQ(numberOf(id), 5);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_FALSE(id.isErased());
    EXPECT_EQ(numberOf(id), 5);
}

TEST_F(Undo, PlaysErasedStatesBackWithoutSubErase)
{
    const OdDbObjectId id = addBag();
    m_db->startUndoRecord();
    ASSERT_EQ(eraseObject(id), kOdOk);
    m_db->startUndoRecord();
    ASSERT_EQ(eraseObject(id, false), kOdOk);
    const int calls = resident(id).subErases;
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(id.isErased());
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_FALSE(id.isErased());
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_TRUE(id.isErased());
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_FALSE(id.isErased());
    EXPECT_EQ(resident(id).subErases, calls);
}

TEST_F(Undo, PlaysFullAndPartialRecordsInStrictlyReverseOrder)
{
    const OdDbObjectId id = addBag(10);
    const OdDbObjectId watcher = addBag();
    m_db->startUndoRecord();
    {
        const TestBagPtr bag = writeBag(id);
        bag->addToNumber(5);
        bag->setNumber(100);
        bag->addToNumber(7);
        bag->addPersistentReactor(watcher);
        bag->setNumber(200);
        bag->addToNumber(1);
    }
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 10);
    EXPECT_TRUE(readBag(id)->getPersistentReactors().isEmpty());
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(numberOf(id), 201);
    EXPECT_EQ(readBag(id)->getPersistentReactors().size(), 1U);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 10);
}

TEST_F(Undo, OfPartialRecordsAloneFilesNoState)
{
    const OdDbObjectId id = addBag(10);
    m_db->startUndoRecord();
    writeBag(id)->setText(OdString(L'x', 10000));
    m_db->startUndoRecord();
    const std::uint64_t before = m_db->undoBytes();
    writeBag(id)->addToNumber(3);
    writeBag(id)->addToNumber(4);
    EXPECT_LT(m_db->undoBytes() - before, 200U);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 10);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(numberOf(id), 17);
}

TEST_F(Undo, DropsAPartialRecordIntoWhichNothingIsWritten)
{
    const OdDbObjectId id = addBag(10);
    m_db->startUndoRecord();
    setNumberOf(id, 11);
    {
        const TestBagPtr bag = writeBag(id);
        for (int index = 0; index < 1000; ++index) {
            EXPECT_NE(bag->undoFiler(), nullptr);
        }
    }
    EXPECT_LT(m_db->undoBytes(), 1000U);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 10);
}

TEST_F(Undo, CanBeTakenBackAfterAQuestionForTheFiler)
{
    const OdDbObjectId id = addBag(10);
    m_db->startUndoRecord();
    setNumberOf(id, 11);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_NE(writeBag(id)->undoFiler(), nullptr);
    EXPECT_TRUE(m_db->hasRedo());
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(numberOf(id), 11);
}

TEST_F(Undo, CannotBeTakenBackAfterAFurtherChange)
{
    const OdDbObjectId id = addBag(10);
    for (bool partial : {false, true}) {
        m_db->startUndoRecord();
        setNumberOf(id, 11);
        ASSERT_EQ(m_db->undo(), kOdOk);
        EXPECT_TRUE(m_db->hasRedo());
        partial ? writeBag(id)->addToNumber(1) : setNumberOf(id, 12);
        EXPECT_FALSE(m_db->hasRedo());
        EXPECT_EQ(m_db->redo(), kOdNoUndo);
    }
    EXPECT_EQ(numberOf(id), 13);
}

TEST_F(Undo, StillWorksWhenTheObjectWasOpenAcrossTheMark)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    const TestBagPtr bag = writeBag(id);
    bag->setNumber(2);
    m_db->startUndoRecord();
    bag->setNumber(3);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(bag->number(), 2);
    bag->setNumber(4);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(bag->number(), 1);
    EXPECT_TRUE(bag->isWriteEnabled());
}

TEST_F(Undo, TellsReactorsWithUndoingSet)
{
    const OdDbObjectId changed = addBag(1);
    const OdDbObjectId removed = addBag(1);
    const OdDbObjectId watcher = addReactor();
    watch(changed, watcher);
    watch(removed, watcher);
    m_db->startUndoRecord();
    setNumberOf(changed, 2);
    ASSERT_EQ(eraseObject(removed), kOdOk);
    reactor(watcher).notices.clear();
    ASSERT_EQ(m_db->undo(), kOdOk);

    EXPECT_EQ(reactor(watcher).count(NoticeKind::kUnerased), 1);
    EXPECT_EQ(reactor(watcher).count(NoticeKind::kModified), 2);
    for (Notice const& notice : reactor(watcher).notices) {
        EXPECT_TRUE(notice.undoing) << noticeName(notice.kind);
        EXPECT_TRUE(notice.readable) << noticeName(notice.kind);
    }
    EXPECT_FALSE(resident(changed).isUndoing());
}

TEST_F(Undo, TellsReactorsOfEntitiesThatTheirGraphicsChanged)
{
    const OdDbLinePtr line = OdDbLine::createObject();
    const OdDbObjectId id =
        OdDbBlockTableRecordPtr(m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite))
            ->appendOdDbEntity(line.get());
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    m_db->startUndoRecord();
    line->setEndPoint(OdGePoint3d(1, 1, 1));
    reactor(watcher).notices.clear();
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(reactor(watcher).count(NoticeKind::kModifiedGraphics), 1);
}

TEST_F(Undo, IsUnderWayForEveryObjectAndTheDatabaseItself)
{
    const OdDbObjectId id = addBag(1);
    const OdDbObjectId bystander = addBag(1);
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    bool inside = false;
    TestBag::s_onRead = [&](TestBag& bag) {
        inside = bag.isUndoing() && resident(bystander).isUndoing() && m_db->isUndoing();
    };
    ASSERT_EQ(m_db->undo(), kOdOk);
    TestBag::s_onRead = nullptr;
    EXPECT_TRUE(inside);
    EXPECT_FALSE(m_db->isUndoing());
}

TEST_F(Undo, FilesWithItsOwnFilerTypeAndTheCurrentVersion)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    const TestBagPtr bag = writeBag(id);
    OdDbDwgFiler* filer = bag->undoFiler();
    ASSERT_NE(filer, nullptr);
    EXPECT_EQ(filer->filerType(), OdDb::FilerType::kUndoFiler);
    EXPECT_EQ(filer->dwgVersion(), OdDb::kDwgVersionCurrent);
    EXPECT_EQ(filer->database(), m_db.get());
}

TEST_F(Undo, FromInsideANoticeIsRefused)
{
    const OdDbObjectId id = addBag(1);
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    m_db->startUndoRecord();
    setNumberOf(id, 3);
    std::vector<OdResult> inside;
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind, OdDbObject const& object) {
        if (object.isUndoing()) {
            inside.push_back(m_db->undo());
            inside.push_back(m_db->redo());
        }
    };
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 2);
    ASSERT_FALSE(inside.empty());
    for (OdResult result : inside) {
        EXPECT_EQ(result, kOdTransactionOpen);
    }
}

TEST_F(Undo, SurvivesAReactorThatOpensATransactionInANotice)
{
    const OdDbObjectId id = addBag(1);
    const OdDbObjectId extra = addBag(1);
    const OdDbObjectId watcher = addReactor();
    const OdDbObjectId second = addReactor();
    watch(id, watcher);
    watch(id, second);
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kModified && object.isUndoing()) {
            m_db->startTransaction();
            setNumberOf(extra, 50);
            m_db->abortTransaction();
        }
    };
    reactor(second).notices.clear();
    ASSERT_EQ(m_db->undo(), kOdOk);
    for (Notice const& notice : reactor(second).notices) {
        EXPECT_TRUE(notice.undoing) << noticeName(notice.kind);
    }
    EXPECT_EQ(numberOf(id), 1);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(numberOf(id), 2);
    EXPECT_EQ(m_db->numActiveTransactions(), 0);
}

TEST_F(Undo, GoesOnBehindARecordThatCannotBePlayedBack)
{
    const OdDbObjectId first = addBag(1);
    const OdDbObjectId second = addBag(1);
    m_db->startUndoRecord();
    setNumberOf(first, 2);
    setNumberOf(second, 2);
    TestBag::s_onRead = [&](TestBag& bag) {
        if (bag.objectId() == second) {
            throw OdError(OdString(L"can't be read"));
        }
    };
    ASSERT_EQ(m_db->undo(), kOdOk);
    TestBag::s_onRead = nullptr;
    EXPECT_EQ(numberOf(first), 1);
    EXPECT_EQ(m_asserts.take(), (std::vector<std::string>{"can't be read"}));
}

TEST_F(Undo, ReportsARecordThatIsReadInPartOnly)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    TestBag::s_readResult = kOdRejectedVersion;
    ASSERT_EQ(m_db->undo(), kOdOk);
    TestBag::s_readResult = kOdOk;
    EXPECT_EQ(m_asserts.take().size(), 1U);
}

TEST_F(Undo, LeavesNoRedoWhileRecordingIsOff)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    m_db->disableUndoRecording(true);
    EXPECT_FALSE(m_db->undoRecording());
    ASSERT_EQ(m_db->undo(), kOdOk);
    m_db->disableUndoRecording(false);
    EXPECT_EQ(numberOf(id), 1);
    EXPECT_FALSE(m_db->hasRedo());
    EXPECT_EQ(m_db->redo(), kOdNoUndo);
    EXPECT_EQ(m_db->undoBytes(), 0U);
}

TEST_F(Undo, SkipsWhatIsDoneWhileRecordingIsOff)
{
    const OdDbObjectId a = addBag(1);
    const OdDbObjectId b = addBag(1);
    m_db->startUndoRecord();
    setNumberOf(a, 2);
    m_db->disableUndoRecording(true);
    setNumberOf(b, 2);
    const OdDbObjectId made = addBag(1);
    EXPECT_EQ(writeBag(b)->undoFiler(), nullptr);
    m_db->disableUndoRecording(false);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(a), 1);
    EXPECT_EQ(numberOf(b), 2);
    EXPECT_FALSE(made.isErased());
}

TEST_F(Undo, CanBeOffForOneObjectAlone)
{
    const OdDbObjectId a = addBag(1);
    const OdDbObjectId b = addBag(1);
    m_db->startUndoRecord();
    {
        const TestBagPtr bag = writeBag(a);
        bag->disableUndoRecording(true);
        bag->setNumber(2);
        bag->addToNumber(1);
        EXPECT_EQ(bag->undoFiler(), nullptr);
        bag->disableUndoRecording(false);
        bag->assertWriteEnabled();
    }
    setNumberOf(b, 2);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(a), 3);
    EXPECT_EQ(numberOf(b), 1);
}

TEST_F(Undo, OfAnObjectWhoseRecordingIsOffCanBeDoneAgainWhole)
{
    const OdDbObjectId id = addBag(1);
    const OdDbObjectId watcher = addReactor();
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    watch(id, watcher);
    writeBag(id)->addToNumber(5);
    writeBag(id)->disableUndoRecording(true);
    ASSERT_EQ(m_db->undo(), kOdOk);
    writeBag(id)->disableUndoRecording(false);
    EXPECT_EQ(numberOf(id), 1);
    EXPECT_FALSE(readBag(id)->hasPersistentReactor(watcher));
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(numberOf(id), 7);
    EXPECT_TRUE(readBag(id)->hasPersistentReactor(watcher));
}

TEST_F(Undo, GoesBackToAMarkThatAReactorSetWhenItWasToldOfTheChange)
{
    const OdDbObjectId id = addBag(1);
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    m_db->startUndoRecord();
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kOpenedForModify) {
            m_db->startUndoRecord();
        }
    };
    setNumberOf(id, 2);
    reactor(watcher).onNotice = nullptr;
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 1);
}

TEST_F(Undo, ByAReactorThatIsToldOfAChangeLeavesThatChangeRecorded)
{
    const OdDbObjectId id = addBag(1);
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    m_db->startUndoRecord();
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kOpenedForModify && !object.isUndoing()) {
            EXPECT_EQ(m_db->undo(), kOdOk);
            EXPECT_EQ(numberOf(id), 1);
        }
    };
    setNumberOf(id, 3);
    reactor(watcher).onNotice = nullptr;
    EXPECT_EQ(numberOf(id), 3);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 1);
}

TEST_F(Undo, MayLoseTheLastPointerToTheDatabaseInANotice)
{
    for (bool const records : {true, false}) {
        m_db = OdDbDatabase::createObject();
        const OdDbObjectId id = addBag(1);
        const OdDbObjectId watcher = addReactor();
        watch(id, watcher);
        m_db->startUndoRecord();
        setNumberOf(id, 2);
        m_db->disableUndoRecording(!records);
        reactor(watcher).onNotice = [&](TestReactor&, NoticeKind, OdDbObject const& object) {
            if (object.isUndoing()) {
                m_db.release();
            }
        };
        EXPECT_EQ(m_db->undo(), kOdOk);
        EXPECT_EQ(OdDbDatabase::liveCount(), 0);
        m_asserts.take();
    }
}

TEST_F(Undo, IsPlayedToItsEndWhenAClassForgetsAllRecordsMeanwhile)
{
    const OdDbObjectId a = addBag(1);
    const OdDbObjectId b = addBag(1);
    m_db->startUndoRecord();
    setNumberOf(a, 2);
    setNumberOf(b, 2);
    TestBag::s_onRead = [&](TestBag&) { m_db->clearUndo(); };
    EXPECT_EQ(m_db->undo(), kOdOk);
    TestBag::s_onRead = nullptr;
    EXPECT_EQ(numberOf(a), 1);
    EXPECT_EQ(numberOf(b), 1);
    EXPECT_FALSE(m_db->hasRedo());
    EXPECT_EQ(m_db->undoBytes(), 0U);
}

TEST_F(Undo, KeepsNothingThatNoMarkLeadsBackTo)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    ASSERT_EQ(m_db->undo(), kOdOk);
    writeBag(id)->addToNumber(1);
    writeBag(id)->addToNumber(1);
    const std::uint64_t bytes = m_db->undoBytes();
    for (int round = 0; round < 100; ++round) {
        writeBag(id)->addToNumber(1);
    }
    EXPECT_LE(m_db->undoBytes(), bytes);
    EXPECT_FALSE(m_db->hasRedo());
    m_db->startUndoRecord();
    EXPECT_EQ(m_db->undoBytes(), 0U);
    setNumberOf(id, 5);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 103);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(numberOf(id), 5);
}

TEST_F(Undo, IsForgottenByClear)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    m_db->clearUndo();
    EXPECT_FALSE(m_db->hasUndo());
    EXPECT_FALSE(m_db->hasRedo());
    EXPECT_EQ(m_db->undoBytes(), 0U);
    EXPECT_TRUE(m_db->undoRecording());
    m_db->startUndoRecord();
    setNumberOf(id, 3);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 2);
}

TEST_F(Undo, BringsBackTheSettingsOfTheDrawing)
{
    const auto before = bytesOf(*m_db);
    m_db->startUndoRecord();
    m_db->setINSUNITS(OdDb::UnitsValue::kUnitsInches);
    m_db->setINSBASE(OdGePoint3d(1, 2, 3));
    m_db->setPINSBASE(OdGePoint3d(4, 5, 6));
    const auto after = bytesOf(*m_db);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(m_db->getINSUNITS(), OdDb::UnitsValue::kUnitsMillimeters);
    EXPECT_EQ(m_db->getINSBASE(), OdGePoint3d());
    EXPECT_EQ(bytesOf(*m_db), before);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(bytesOf(*m_db), after);
    EXPECT_EQ(m_db->getPINSBASE(), OdGePoint3d(4, 5, 6));
}

TEST_F(Undo, BringsBackEntriesOfDictionariesTablesAndBlocks)
{
    const OdDbObjectId kept = namedObjects()->setAt(L"kept", TestBag::createObject().get());
    const OdDbObjectId renamed = namedObjects()->setAt(L"old", TestBag::createObject().get());
    const DatabaseState before = livingStateOf(*m_db);
    m_db->startUndoRecord();
    const OdDbObjectId added = namedObjects()->setAt(L"added", TestBag::createObject().get());
    const OdDbObjectId replacing = namedObjects()->setAt(L"KEPT", TestBag::createObject().get());
    ASSERT_TRUE(namedObjects()->setName(L"old", L"new"));
    const OdDbLayerTableRecordPtr layer = OdDbLayerTableRecord::createObject();
    layer->setName(L"L");
    OdDbSymbolTablePtr(m_db->getLayerTableId().safeOpenObject(OdDb::kForWrite))->add(layer.get());
    layer->setName(L"M");
    const OdDbBlockTableRecordPtr space = m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
    const OdDbObjectId line = space->appendOdDbEntity(OdDbLine::createObject().get());
    const DatabaseState after = livingStateOf(*m_db);
    const DatabaseState afterWithErased = stateOf(*m_db);

    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(livingStateOf(*m_db), before);
    EXPECT_EQ(namedObjects()->getAt(L"kept"), kept);
    EXPECT_EQ(namedObjects()->getAt(L"old"), renamed);
    EXPECT_FALSE(namedObjects()->has(L"added"));
    EXPECT_TRUE(added.isErased());
    EXPECT_TRUE(line.isErased());
    EXPECT_EQ(space->entityCount(), 0U);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(livingStateOf(*m_db), after);
    EXPECT_EQ(stateOf(*m_db), afterWithErased);
    EXPECT_EQ(namedObjects()->getAt(L"kept"), replacing);
    EXPECT_TRUE(kept.isErased());
    EXPECT_EQ(space->entityCount(), 1U);
}

TEST_F(Undo, BringsBackTheNameThatAnErasedObjectIsToComeBackTo)
{
    const OdDbDictionaryPtr dictionary = namedObjects();
    const OdDbObjectId first = dictionary->setAt(L"a", TestBag::createObject().get());
    const OdDbObjectId second = dictionary->setAt(L"a", TestBag::createObject().get());
    ASSERT_TRUE(first.isErased());
    m_db->startUndoRecord();
    ASSERT_EQ(first.openObject(OdDb::kForWrite, true)->erase(false), kOdOk);
    EXPECT_EQ(dictionary->nameAt(first), L"");  // its name is taken
    dictionary->setAt(L"b", first.openObject(OdDb::kForWrite).get());
    EXPECT_EQ(dictionary->nameAt(first), L"b");

    ASSERT_EQ(m_db->undo(), kOdOk);
    ASSERT_EQ(first.openObject(OdDb::kForWrite, true)->erase(false), kOdOk);
    EXPECT_EQ(dictionary->nameAt(first), L"");
    ASSERT_EQ(first.openObject(OdDb::kForWrite)->erase(), kOdOk);
    ASSERT_EQ(second.openObject(OdDb::kForWrite)->erase(), kOdOk);
    ASSERT_EQ(first.openObject(OdDb::kForWrite, true)->erase(false), kOdOk);
    EXPECT_EQ(dictionary->nameAt(first), L"a");
}

TEST_F(Undo, OfAnAdditionKeepsTheNameOfTheErasedObject)
{
    const OdDbDictionaryPtr dictionary = namedObjects();
    m_db->startUndoRecord();
    const OdDbObjectId id = dictionary->setAt(L"a", TestBag::createObject().get());
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(id.isErased());
    EXPECT_EQ(dictionary->getAt(L"a"), OdDbObjectId::kNull);
    ASSERT_EQ(id.openObject(OdDb::kForWrite, true)->erase(false), kOdOk);
    EXPECT_EQ(dictionary->nameAt(id), L"a");
}

TEST_F(Undo, GoesBackAndForthThroughRecordsOfAnySize)
{
    constexpr int kSteps = 14;
    const OdDbObjectId id = addBag(0);
    const OdDbObjectId other = addBag(0);
    std::vector<DatabaseState> states{stateOf(*m_db)};
    for (int step = 1; step <= kSteps; ++step) {
        m_db->startUndoRecord();
        writeBag(id)->setReals(
            std::vector<double>(static_cast<std::size_t>(step % 7) * 20000, step));
        setNumberOf(other, step);
        writeBag(other)->addToNumber(1);
        states.push_back(stateOf(*m_db));
    }
    EXPECT_GT(m_db->undoBytes(), 4U << 20U);
    for (int round = 0; round < 2; ++round) {
        for (std::size_t step = kSteps; step-- > 0;) {
            ASSERT_EQ(m_db->undo(), kOdOk);
            ASSERT_TRUE(stateOf(*m_db) == states[step]) << step;
        }
        EXPECT_EQ(m_db->undo(), kOdNoUndo);
        for (std::size_t step = 1; step <= kSteps; ++step) {
            ASSERT_EQ(m_db->redo(), kOdOk);
            ASSERT_TRUE(stateOf(*m_db) == states[step]) << step;
        }
    }
    // What is recorded behind an undo goes where the undone records were.
    ASSERT_EQ(m_db->undo(), kOdOk);
    m_db->startUndoRecord();
    setNumberOf(other, 0);
    ASSERT_EQ(m_db->undo(), kOdOk);
    ASSERT_TRUE(stateOf(*m_db) == states[kSteps - 1]);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(stateOf(*m_db) == states[kSteps - 2]);
}

TEST_F(Undo, KeepsTheCompanionStateThatIsNotFiled)
{
    const OdDbObjectId watcher = addReactor();
    m_db->startUndoRecord();
    setNumberOf(watcher, 5);
    reactor(watcher).ignore = true;
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(reactor(watcher).ignore);
    reactor(watcher).ignore = false;
}

// ---------------------------------------------------------------------------------------------

class Transaction : public DatabaseTest
{
};

TEST_F(Transaction, RecordsWithoutAnyMark)
{
    const OdDbObjectId id = addBag(1);
    m_db->startTransaction();
    EXPECT_TRUE(m_db->undoRecording());
    setNumberOf(id, 2);
    m_db->abortTransaction();
    EXPECT_EQ(numberOf(id), 1);
    EXPECT_FALSE(m_db->undoRecording());
    EXPECT_EQ(m_db->undoBytes(), 0U);
}

TEST_F(Transaction, EndedLeavesNothingToGoBackToWithoutAMark)
{
    const OdDbObjectId id = addBag(1);
    m_db->startTransaction();
    setNumberOf(id, 2);
    m_db->endTransaction();
    EXPECT_EQ(numberOf(id), 2);
    EXPECT_FALSE(m_db->hasUndo());
    EXPECT_EQ(m_db->undoBytes(), 0U);
}

TEST_F(Transaction, EndedIsPartOfTheMarkAroundIt)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    m_db->startTransaction();
    setNumberOf(id, 2);
    m_db->endTransaction();
    setNumberOf(id, 3);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 1);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(numberOf(id), 3);
}

TEST_F(Transaction, AbortedGoesBackToItsStartAndHasNoRedo)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    m_db->startTransaction();
    setNumberOf(id, 3);
    m_db->abortTransaction();
    EXPECT_EQ(numberOf(id), 2);
    EXPECT_FALSE(m_db->hasRedo());
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 1);
}

TEST_F(Transaction, Nests)
{
    const OdDbObjectId id = addBag(1);
    m_db->startTransaction();
    setNumberOf(id, 2);
    m_db->startTransaction();
    setNumberOf(id, 3);
    m_db->startTransaction();
    setNumberOf(id, 4);
    EXPECT_EQ(m_db->numActiveTransactions(), 3);
    m_db->abortTransaction();
    EXPECT_EQ(numberOf(id), 3);
    setNumberOf(id, 5);
    m_db->endTransaction();
    EXPECT_EQ(numberOf(id), 5);
    m_db->abortTransaction();
    EXPECT_EQ(numberOf(id), 1);
    EXPECT_EQ(m_db->numActiveTransactions(), 0);
}

TEST_F(Transaction, MustBeOpenToBeEnded)
{
    EXPECT_EQ(thrownCode([&] { m_db->endTransaction(); }), kOdNoTransaction);
    EXPECT_EQ(thrownCode([&] { m_db->abortTransaction(); }), kOdNoTransaction);
}

TEST_F(Transaction, StandsAgainstUndoAndRedoOfWhatIsAroundIt)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    m_db->startTransaction();
    setNumberOf(id, 3);
    EXPECT_EQ(m_db->undo(), kOdTransactionOpen);
    EXPECT_EQ(m_db->redo(), kOdTransactionOpen);
    EXPECT_EQ(numberOf(id), 3);
    m_db->endTransaction();
}

TEST_F(Transaction, LetsAMarkSetInsideItBeUndone)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    m_db->startTransaction();
    setNumberOf(id, 2);
    m_db->startUndoRecord();
    setNumberOf(id, 3);
    m_db->disableUndoRecording(true);
    EXPECT_EQ(m_db->undo(), kOdOk);
    m_db->disableUndoRecording(false);
    EXPECT_EQ(numberOf(id), 2);
    EXPECT_EQ(m_db->undo(), kOdTransactionOpen);
    m_db->abortTransaction();
    EXPECT_EQ(numberOf(id), 1);
    EXPECT_FALSE(m_db->hasRedo());
}

TEST_F(Transaction, AbortedTakesTheMarksSetInsideItAway)
{
    const OdDbObjectId id = addBag(0);
    m_db->startUndoRecord();
    setNumberOf(id, 1);
    m_db->startTransaction();
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    m_db->startUndoRecord();
    setNumberOf(id, 3);
    m_db->abortTransaction();
    EXPECT_EQ(numberOf(id), 1);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 0);
    EXPECT_FALSE(m_db->hasUndo());
}

TEST_F(Transaction, AbortedRestoresOpenObjectsInPlaceAndLeavesThemOpen)
{
    const OdDbObjectId id = addBag(1);
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    m_db->startTransaction();
    TestBagPtr bag = writeBag(id);
    bag->setNumber(2);
    TestBagPtr made = TestBag::createObject();
    const OdDbObjectId madeId = m_db->addOdDbObject(made.get());
    m_db->abortTransaction();

    EXPECT_EQ(bag->number(), 1);
    EXPECT_TRUE(bag->isWriteEnabled());
    EXPECT_TRUE(made->isErased());
    EXPECT_TRUE(made->isReadEnabled());
    EXPECT_TRUE(madeId.openObject(OdDb::kForWrite).isNull());
    bag->setNumber(7);
    bag.release();
    made.release();
    EXPECT_EQ(numberOf(id), 7);
}

TEST_F(Transaction, KeepsWhatCouldBeRedoneIfItChangedNothing)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    ASSERT_EQ(m_db->undo(), kOdOk);
    m_db->startTransaction();
    m_db->abortTransaction();
    EXPECT_TRUE(m_db->hasRedo());
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(numberOf(id), 2);
}

TEST_F(Transaction, MayBeClearedInside)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    m_db->startTransaction();
    setNumberOf(id, 2);
    m_db->clearUndo();
    setNumberOf(id, 3);
    m_db->abortTransaction();
    EXPECT_EQ(numberOf(id), 2);
    EXPECT_EQ(m_db->undo(), kOdNoUndo);
}

TEST_F(Transaction, LeftOpenWhenTheDatabaseGoesIsHarmless)
{
    m_db->startTransaction();
    addBag(1);
    m_db.release();
    EXPECT_EQ(OdDbDatabase::liveCount(), 0);
}

TEST_F(Transaction, AbortedMayLoseTheLastPointerToTheDatabaseInANotice)
{
    const OdDbObjectId id = addBag(1);
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    m_db->startTransaction();
    setNumberOf(id, 2);
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind, OdDbObject const& object) {
        if (object.isUndoing()) {
            m_db.release();
        }
    };
    m_db->abortTransaction();
    EXPECT_EQ(OdDbDatabase::liveCount(), 0);
    m_asserts.take();
}

TEST_F(Undo, CanBeDoneAgainThoughAReactorAsksAndSetsAMarkWhenItIsTold)
{
    const OdDbObjectId id = addBag(1);
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    m_db->startUndoRecord();
    setNumberOf(id, 3);
    std::vector<bool> hadRedo;
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kModified && object.isUndoing()) {
            hadRedo.push_back(m_db->hasRedo());
            m_db->startUndoRecord();
        }
    };
    ASSERT_EQ(m_db->undo(), kOdOk);
    ASSERT_EQ(m_db->undo(), kOdOk);  // of the mark that the reactor has set
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 1);
    for (int number : {2, 2, 3}) {  // the second one again leads to that mark
        ASSERT_EQ(m_db->redo(), kOdOk);
        EXPECT_EQ(numberOf(id), number);
    }
    EXPECT_EQ(m_db->redo(), kOdNoUndo);
    EXPECT_EQ(hadRedo, (std::vector<bool>{true, true, true, false}));
}

}  // namespace
