#include "db/db_test_support.h"
#include "db/od_db_curves.h"
#include "db/od_db_object.h"

using namespace dbtest;

namespace {

class OpenPeriod : public DatabaseTest
{
};

TEST_F(OpenPeriod, GivesTheSameInstanceForEveryOpenOfAnId)
{
    const OdDbObjectId id = addBag();
    OdDbObject const* first = id.openObject().get();
    const OdDbObjectPtr read = id.openObject(OdDb::kForRead);
    const OdDbObjectPtr write = id.openObject(OdDb::kForWrite);

    EXPECT_EQ(read.get(), first);
    EXPECT_EQ(write.get(), first);
}

TEST_F(OpenPeriod, KeepsAnErasedAndClosedObjectAtItsAddress)
{
    const OdDbObjectId id = addBag(7);
    OdDbObject const* before = id.openObject().get();
    ASSERT_EQ(eraseObject(id), kOdOk);

    EXPECT_EQ(id.openObject(OdDb::kForRead, /*openErased=*/true).get(), before);
    EXPECT_EQ(numberOf(id), 7);
}

TEST_F(OpenPeriod, OfATemporaryEndsWithTheStatement)
{
    const OdDbObjectId id = addBag();
    TestBag& bag = resident(id);

    EXPECT_TRUE(id.openObject()->isReadEnabled());
    EXPECT_FALSE(bag.isReadEnabled());
    EXPECT_EQ(bag.numRefs(), 1);
}

TEST_F(OpenPeriod, NestsReadsAndWritesInAnyOrder)
{
    const OdDbObjectId id = addBag();
    const TestBagPtr outerRead = readBag(id);
    {
        const TestBagPtr write = writeBag(id);
        write->setNumber(1);
        const TestBagPtr innerRead = readBag(id);
        EXPECT_EQ(innerRead->number(), 1);
        const TestBagPtr innerWrite = writeBag(id);
        innerWrite->setNumber(2);
    }
    EXPECT_EQ(outerRead->number(), 2);
}

TEST_F(OpenPeriod, RaisedToWriteStaysWritableUntilTheLastPointerGoes)
{
    const OdDbObjectId id = addBag();
    TestBagPtr read = readBag(id);
    EXPECT_FALSE(read->isWriteEnabled());
    writeBag(id).release();

    EXPECT_TRUE(read->isWriteEnabled());
    read.release();
    EXPECT_FALSE(readBag(id)->isWriteEnabled());
}

TEST_F(OpenPeriod, KeepsTheOuterWriterThroughAnInnerUpgradeAndDowngrade)
{
    const TestBagPtr bag = writeBag(addBag());
    bag->upgradeOpen();
    bag->downgradeOpen();

    EXPECT_TRUE(bag->isWriteEnabled());
    bag->downgradeOpen();
    EXPECT_FALSE(bag->isWriteEnabled());
    EXPECT_TRUE(bag->isReadEnabled());
}

TEST_F(OpenPeriod, IsNotHarmedByADowngradeWithoutWrite)
{
    const TestBagPtr bag = readBag(addBag());
    bag->downgradeOpen();
    EXPECT_TRUE(bag->isReadEnabled());
    bag->upgradeOpen();
    EXPECT_TRUE(bag->isWriteEnabled());
}

TEST_F(OpenPeriod, OfAnErasedObjectTakesUpgradesAndDowngrades)
{
    const TestBagPtr bag = writeBag(addBag());
    ASSERT_EQ(bag->erase(), kOdOk);
    bag->downgradeOpen();
    EXPECT_FALSE(bag->isWriteEnabled());
    bag->upgradeOpen();
    EXPECT_TRUE(bag->isWriteEnabled());
}

TEST_F(OpenPeriod, HoldsTensOfThousandsOfNestedWrites)
{
    const OdDbObjectId id = addBag();
    std::vector<OdDbObjectPtr> held;
    for (int index = 0; index < 70000; ++index) {
        held.push_back(id.openObject(OdDb::kForWrite));
        ASSERT_TRUE(held.back()->isWriteEnabled()) << index;
    }
    held.resize(1);
    held.front()->downgradeOpen();
    EXPECT_TRUE(held.front()->isWriteEnabled());
    held.clear();
    EXPECT_FALSE(resident(id).isWriteEnabled());
}

TEST_F(OpenPeriod, IsOpenForTheCallerRightAfterAnObjectIsAdded)
{
    TestBagPtr bag = TestBag::createObject();
    const OdDbObjectId owner = m_db->getNamedObjectsDictionaryId();
    const OdDbObjectId id = m_db->addOdDbObject(bag.get(), owner);

    EXPECT_TRUE(bag->isWriteEnabled());
    EXPECT_EQ(bag->ownerId(), owner);
    EXPECT_EQ(bag->objectId(), id);
    bag.release();
    EXPECT_FALSE(resident(id).isReadEnabled());
}

class ClosedObject : public DatabaseTest
{
};

TEST_F(ClosedObject, AnswersWhatItIsButRefusesReaders)
{
    const OdDbObjectId id = addBag(3, m_db->getNamedObjectsDictionaryId());
    TestBag const& bag = resident(id);

    EXPECT_FALSE(bag.isReadEnabled());
    EXPECT_FALSE(bag.isErased());
    EXPECT_EQ(bag.objectId(), id);
    EXPECT_EQ(bag.handle(), id.getHandle());
    EXPECT_EQ(bag.ownerId(), m_db->getNamedObjectsDictionaryId());
    EXPECT_EQ(bag.database(), m_db.get());
    EXPECT_EQ(bag.isA(), TestBag::desc());
    EXPECT_EQ(bag.numRefs(), 1);
    EXPECT_EQ(thrownCode([&] { (void)bag.number(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)bag.getPersistentReactors(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)bag.xData(); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)bag.extensionDictionary(); }), kOdNotOpenForRead);
}

TEST_F(ClosedObject, AnswersAClassQueryWithANewReference)
{
    TestBag& bag = resident(addBag());
    {
        const OdDbObjectPtr queried = OdDbObjectPtr::attach(OdDbObjectPtr::internalQueryX(&bag));
        EXPECT_EQ(bag.numRefs(), 2);
        EXPECT_TRUE(queried->isReadEnabled());
    }
    EXPECT_EQ(bag.numRefs(), 1);
}

TEST_F(ClosedObject, RefusesChangesUpgradesAndNotices)
{
    TestBag& bag = resident(addBag());

    EXPECT_EQ(thrownCode([&] { bag.setNumber(1); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { bag.setOwnerId(OdDbObjectId::kNull); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { bag.addPersistentReactor(bag.objectId()); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { (void)bag.erase(); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { bag.createExtensionDictionary(); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { bag.upgradeOpen(); }), kOdNotOpen);
    EXPECT_EQ(thrownCode([&] { bag.assertNotifyEnabled(); }), kOdNotOpen);
    bag.downgradeOpen();
}

TEST_F(ClosedObject, OpenForReadRefusesChanges)
{
    const TestBagPtr bag = readBag(addBag(1));
    EXPECT_EQ(thrownCode([&] { bag->setNumber(2); }), kOdNotOpenForWrite);
    EXPECT_EQ(bag->number(), 1);
    bag->assertNotifyEnabled();
}

class NonResidentObject : public DatabaseTest
{
};

TEST_F(NonResidentObject, MayBeReadAndChangedFreely)
{
    const TestBagPtr bag = TestBag::createObject();
    m_db->startUndoRecord();
    bag->setNumber(5);
    bag->addToNumber(2);
    bag->addPersistentReactor(addBag());

    EXPECT_EQ(bag->number(), 7);
    EXPECT_TRUE(bag->isReadEnabled());
    EXPECT_TRUE(bag->isWriteEnabled());
    EXPECT_EQ(bag->undoFiler(), nullptr);
    EXPECT_EQ(bag->database(), nullptr);
    EXPECT_TRUE(bag->objectId().isNull());
    EXPECT_FALSE(bag->isErased());
    EXPECT_FALSE(bag->isModified());
    EXPECT_FALSE(bag->isUndoing());
    bag->upgradeOpen();
    bag->downgradeOpen();
    bag->assertNotifyEnabled();
}

TEST_F(NonResidentObject, TellsNobodyOfItsChanges)
{
    const OdDbObjectId watcher = addReactor();
    TestBagPtr bag = TestBag::createObject();
    bag->addPersistentReactor(watcher);
    bag->setNumber(1);
    bag.release();

    EXPECT_TRUE(reactor(watcher).notices.empty());
}

TEST_F(NonResidentObject, CannotBeErasedOrHaveAnExtensionDictionary)
{
    const TestBagPtr bag = TestBag::createObject();
    EXPECT_EQ(bag->erase(), kOdNotInDatabase);
    EXPECT_EQ(thrownCode([&] { bag->createExtensionDictionary(); }), kOdNotInDatabase);
    EXPECT_TRUE(bag->releaseExtensionDictionary());
    EXPECT_TRUE(bag->extensionDictionary().isNull());
}

class AssertWriteEnabled : public DatabaseTest
{
protected:
    AssertWriteEnabled() { m_db->startUndoRecord(); }
};

TEST_F(AssertWriteEnabled, RecordsAndMarksWithBothFlags)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    {
        const TestBagPtr bag = writeBag(id);
        const std::uint64_t before = m_db->undoBytes();
        bag->assertWriteEnabled(true, true);
        EXPECT_GT(m_db->undoBytes(), before);
        EXPECT_TRUE(bag->isModified());
    }
}

TEST_F(AssertWriteEnabled, OnlyMarksWithoutAutoUndo)
{
    const TestBagPtr bag = writeBag(addBag(1));
    bag->downgradeOpen();
    bag->upgradeOpen();
    m_db->startUndoRecord();
    const std::uint64_t before = m_db->undoBytes();
    bag->assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);

    EXPECT_EQ(m_db->undoBytes(), before);
    EXPECT_TRUE(bag->isModified());
}

TEST_F(AssertWriteEnabled, OnlyChecksWithoutFlags)
{
    const OdDbObjectId id = addBag(1);
    const TestBagPtr bag = writeBag(id);
    const std::uint64_t before = m_db->undoBytes();
    bag->assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);

    EXPECT_EQ(m_db->undoBytes(), before);
    EXPECT_FALSE(bag->isModified());
}

TEST_F(AssertWriteEnabled, RecordsTheWholeStateOnceForAMark)
{
    const OdDbObjectId id = addBag(1);
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    const std::uint64_t once = m_db->undoBytes();
    setNumberOf(id, 3);
    EXPECT_EQ(m_db->undoBytes(), once);
    m_db->startUndoRecord();
    setNumberOf(id, 4);
    EXPECT_GT(m_db->undoBytes(), once);
}

TEST_F(AssertWriteEnabled, MarksTheDatabaseAsChanged)
{
    const OdDbObjectId id = addBag(1);
    OdDbStorageAccess(*m_db).markSaved();
    EXPECT_FALSE(m_db->isChanged());
    writeBag(id).release();
    EXPECT_FALSE(m_db->isChanged());
    setNumberOf(id, 1);
    EXPECT_TRUE(m_db->isChanged());
}

TEST_F(AssertWriteEnabled, PassesSilentlyWhileFieldsAreReadIn)
{
    const OdDbObjectId watcher = addReactor();
    const OdDbObjectId id = addBag(1);
    watch(id, watcher);
    reactor(watcher).notices.clear();
    m_db->startUndoRecord();
    setNumberOf(id, 2);
    reactor(watcher).notices.clear();
    bool modifiedInside = true;
    TestBag::s_onRead = [&](TestBag& bag) {
        bag.assertWriteEnabled(true, true);
        modifiedInside = bag.isModified();
    };
    ASSERT_EQ(m_db->undo(), kOdOk);
    TestBag::s_onRead = nullptr;

    EXPECT_FALSE(modifiedInside);
    EXPECT_EQ(reactor(watcher).count(NoticeKind::kOpenedForModify), 0);
    EXPECT_EQ(numberOf(id), 1);
}

TEST_F(AssertWriteEnabled, RecordsADirectReadOfFieldsByItsOwner)
{
    const OdDbObjectId id = addBag(1);
    OdStaticRxObject<OdDbMemoryFiler> filer;
    {
        const TestBagPtr other = TestBag::createObject();
        other->setNumber(9);
        other->dwgOutFields(&filer);
    }
    filer.rewindForReading();
    m_db->startUndoRecord();
    ASSERT_EQ(writeBag(id)->dwgInFields(&filer), kOdOk);
    EXPECT_EQ(numberOf(id), 9);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 1);
}

class SetOwnerId : public DatabaseTest
{
};

TEST_F(SetOwnerId, ChangesTheOwnerAndIsUndone)
{
    const OdDbObjectId owner = addBag();
    const OdDbObjectId id = addBag();
    m_db->startUndoRecord();
    writeBag(id)->setOwnerId(owner);
    EXPECT_EQ(resident(id).ownerId(), owner);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(resident(id).ownerId().isNull());
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(resident(id).ownerId(), owner);
}

TEST_F(SetOwnerId, RefusesAnOwnerOfAnotherDatabase)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const TestBagPtr bag = writeBag(addBag());
    EXPECT_EQ(thrownCode([&] { bag->setOwnerId(other->getModelSpaceId()); }), kOdWrongDatabase);
    EXPECT_TRUE(bag->ownerId().isNull());
}

class PersistentReactors : public DatabaseTest
{
};

TEST_F(PersistentReactors, KeepTheirOrderAndStandOnce)
{
    const OdDbObjectId a = addBag();
    const OdDbObjectId b = addBag();
    const TestBagPtr bag = writeBag(addBag());
    bag->addPersistentReactor(b);
    bag->addPersistentReactor(a);
    bag->addPersistentReactor(b);
    bag->addPersistentReactor(OdDbObjectId::kNull);

    const OdDbObjectIdArray reactors = bag->getPersistentReactors();
    ASSERT_EQ(reactors.size(), 2U);
    EXPECT_EQ(reactors[0], b);
    EXPECT_EQ(reactors[1], a);
    EXPECT_TRUE(bag->hasPersistentReactor(a));
    EXPECT_FALSE(bag->hasPersistentReactor(bag->objectId()));
}

TEST_F(PersistentReactors, AreGivenAsACopy)
{
    const TestBagPtr bag = writeBag(addBag());
    bag->addPersistentReactor(addBag());
    OdDbObjectIdArray copy = bag->getPersistentReactors();
    copy.clear();
    EXPECT_EQ(bag->getPersistentReactors().size(), 1U);
}

TEST_F(PersistentReactors, IgnoreTheRemovalOfAnAbsentOne)
{
    const TestBagPtr bag = writeBag(addBag());
    bag->removePersistentReactor(addBag());
    bag->removePersistentReactor(OdDbObjectId::kNull);
    EXPECT_TRUE(bag->getPersistentReactors().isEmpty());
    EXPECT_FALSE(bag->isModified());
}

TEST_F(PersistentReactors, RefuseAnIdOfAnotherDatabase)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const TestBagPtr bag = writeBag(addBag());
    EXPECT_EQ(thrownCode([&] { bag->addPersistentReactor(other->getModelSpaceId()); }),
              kOdWrongDatabase);
    EXPECT_TRUE(bag->getPersistentReactors().isEmpty());
}

TEST_F(PersistentReactors, KeepTheirOrderThroughUndoAndRedoOfRemovals)
{
    std::vector<OdDbObjectId> reactors;
    const OdDbObjectId id = addBag();
    for (int index = 0; index < 40; ++index) {
        reactors.push_back(addBag(index));
        watch(id, reactors.back());
    }
    const auto before = bytesOf(resident(id));
    m_db->startUndoRecord();
    for (int index : {5, 39, 0, 17, 38}) {
        writeBag(id)->removePersistentReactor(reactors[static_cast<std::size_t>(index)]);
    }
    const auto after = bytesOf(resident(id));
    EXPECT_EQ(readBag(id)->getPersistentReactors().size(), 35U);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(bytesOf(resident(id)), before);
    EXPECT_TRUE(readBag(id)->hasPersistentReactor(reactors[17]));
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(bytesOf(resident(id)), after);
    EXPECT_FALSE(readBag(id)->hasPersistentReactor(reactors[17]));
}

TEST_F(PersistentReactors, AreFoundByARedirectedFormHoweverLongTheListIs)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbObjectId id = addBag();
    std::vector<OdDbObjectId> reactors;
    for (int index = 0; index < 30; ++index) {
        reactors.push_back(addBag(index));
        watch(id, reactors.back());
    }
    reactors[3].redirectTo(other->getModelSpaceId());
    EXPECT_TRUE(readBag(id)->hasPersistentReactor(reactors[3]));
    writeBag(id)->removePersistentReactor(reactors[3]);
    EXPECT_EQ(readBag(id)->getPersistentReactors().size(), 29U);
    EXPECT_FALSE(readBag(id)->hasPersistentReactor(reactors[3]));
    EXPECT_TRUE(readBag(id)->hasPersistentReactor(reactors[4]));
}

class CopyOfObject : public DatabaseTest
{
};

TEST_F(CopyOfObject, HasTheFieldsAndTheReferencesOfItsSource)
{
    const OdDbObjectId target = addBag();
    OdDbObjectIdArray ids;
    ids.append(target);
    ids.append(OdDbObjectId::kNull);
    const OdDbObjectId id = addBag(4);
    {
        const TestBagPtr bag = writeBag(id);
        bag->setText(L"t\x1F600");
        bag->setReals({1.5, -0.0});
        bag->setIds(OdDb::ReferenceType::kHardPointerRef, ids);
        bag->addPersistentReactor(target);
    }
    const TestBagPtr copy = OdRxObjectPtr(readBag(id)->clone());

    EXPECT_EQ(copy->database(), nullptr);
    EXPECT_EQ(copy->number(), 4);
    EXPECT_EQ(copy->text(), OdString(L"t\x1F600"));
    EXPECT_EQ(copy->reals(), (std::vector<double>{1.5, -0.0}));
    EXPECT_EQ(copy->ids(OdDb::ReferenceType::kHardPointerRef), ids);
    EXPECT_TRUE(copy->getPersistentReactors().isEmpty());
    EXPECT_TRUE(copy->ownerId().isNull());
}

TEST_F(CopyOfObject, TakenOverLeavesOwnerAndReactorsAlone)
{
    const OdDbObjectId owner = addBag();
    const OdDbObjectId watcher = addBag();
    const OdDbObjectId id = addBag(1, owner);
    watch(id, watcher);
    const TestBagPtr source = TestBag::createObject();
    source->setNumber(8);
    m_db->startUndoRecord();
    writeBag(id)->copyFrom(source.get());

    EXPECT_EQ(numberOf(id), 8);
    EXPECT_EQ(resident(id).ownerId(), owner);
    EXPECT_TRUE(readBag(id)->hasPersistentReactor(watcher));
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(numberOf(id), 1);
    EXPECT_TRUE(readBag(id)->hasPersistentReactor(watcher));
}

TEST_F(CopyOfObject, OfAnotherClassOrNullIsRefused)
{
    const TestBagPtr bag = TestBag::createObject();
    const OdDbLinePtr line = OdDbLine::createObject();
    EXPECT_THROW(bag->copyFrom(line.get()), OdError_NotThatKindOfClass);
    EXPECT_THROW(bag->copyFrom(nullptr), OdError_NotThatKindOfClass);
    bag->setNumber(2);
    bag->copyFrom(bag.get());
    EXPECT_EQ(bag->number(), 2);
}

TEST_F(CopyOfObject, OfADatabaseIsRefused)
{
    EXPECT_EQ(thrownCode([&] { (void)m_db->clone(); }), kOdClassNotRegistered);
}

TEST_F(CopyOfObject, ThatCannotBeReadThrowsTheResult)
{
    const TestBagPtr bag = readBag(addBag(1));
    TestBag::s_readResult = kOdRejectedVersion;
    EXPECT_EQ(thrownCode([&] { (void)bag->clone(); }), kOdRejectedVersion);
}

class PointerThatOutlivesItsDatabase : public DatabaseTest
{
};

TEST_F(PointerThatOutlivesItsDatabase, HoldsAnObjectOutsideAnyDatabase)
{
    const OdDbObjectId owner = addBag();
    const OdDbObjectId id = addBag(6, owner);
    watch(id, owner);
    const TestBagPtr bag = writeBag(id);
    bag->createExtensionDictionary();
    bag->setNumber(7);
    m_db.release();
    m_asserts.take();

    EXPECT_EQ(bag->database(), nullptr);
    EXPECT_TRUE(bag->objectId().isNull());
    EXPECT_TRUE(bag->ownerId().isNull());
    EXPECT_TRUE(bag->getPersistentReactors().isEmpty());
    EXPECT_TRUE(bag->extensionDictionary().isNull());
    EXPECT_EQ(bag->number(), 7);
    bag->setNumber(8);
    bag->downgradeOpen();
    bag->downgradeOpen();
    EXPECT_EQ(bag->erase(), kOdNotInDatabase);
}

TEST_F(PointerThatOutlivesItsDatabase, MayBeAddedToAnotherOne)
{
    const OdDbObjectId id = addBag(6, addBag());
    watch(id, addReactor());
    const TestBagPtr bag = writeBag(id);
    m_db = OdDbDatabase::createObject();
    m_asserts.take();
    const OdDbObjectId again = m_db->addOdDbObject(bag.get());
    bag->setNumber(9);

    EXPECT_EQ(again.database(), m_db.get());
    EXPECT_TRUE(bag->ownerId().isNull());
    EXPECT_TRUE(bag->isWriteEnabled());
}

#ifndef NDEBUG
TEST_F(PointerThatOutlivesItsDatabase, IsReportedWhenTheDatabaseGoes)
{
    const OdDbObjectId id = addBag();
    const OdString handle = id.getHandle().ascii();
    const TestBagPtr bag = readBag(id);
    m_db.release();

    const std::vector<std::string> reports = m_asserts.take();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_NE(reports.front().find(handle.utf8()), std::string::npos) << reports.front();
}
#endif

class ObjectOfAnUnregisteredClass : public DatabaseTest
{
};

TEST_F(ObjectOfAnUnregisteredClass, IsStillKeptWatchedErasedAndUndone)
{
    const OdDbObjectId watcher = addReactor();
    const OdDbObjectId id = namedObjects()->setAt(L"bag", TestBag::createObject().get());
    watch(id, watcher);
    m_db->startUndoRecord();
    OdDbObjectPtr bag = id.openObject(OdDb::kForWrite);
    bag->addPersistentReactor(addBag());
    bag.release();
    const auto bytes = bytesOf(*id.openObject());
    m_db->startUndoRecord();
    TestReactor::rxUninit();
    TestBag::rxUninit();

    const OdDbObjectPtr open = id.openObject(OdDb::kForWrite);
    EXPECT_EQ(open->isA(), nullptr);
    EXPECT_EQ(id.objectClass(), nullptr);
    EXPECT_FALSE(open->isKindOf(OdDbObject::desc()));
    EXPECT_EQ(open->queryX(OdDbObject::desc()), nullptr);
    EXPECT_EQ(bytesOf(*open), bytes);
    open->assertWriteEnabled();
    EXPECT_EQ(open->erase(), kOdOk);
    EXPECT_EQ(namedObjects()->numEntries(), 0U);
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_FALSE(id.isErased());
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(bytesOf(*open), bytes);
    EXPECT_EQ(thrownCode([&] { (void)open->clone(); }), kOdClassNotRegistered);
    EXPECT_EQ(m_db->classRecord(OdDbStorageAccess(*m_db).state(id.getHandle()).classIndex).name,
              OdString(L"TestBag"));
}

TEST_F(ObjectOfAnUnregisteredClass, CannotBeAdded)
{
    const TestBagPtr bag = TestBag::createObject();
    OdDbObject* object = bag.get();
    TestReactor::rxUninit();
    TestBag::rxUninit();
    const OdDbHandle seed = m_db->handseed();
    EXPECT_EQ(thrownCode([&] { m_db->addOdDbObject(object); }), kOdClassNotRegistered);
    EXPECT_EQ(m_db->handseed(), seed);
    EXPECT_EQ(object->database(), nullptr);
}

}  // namespace
