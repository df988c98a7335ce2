#include "db/db_test_support.h"
#include "db/od_db_block_table.h"
#include "db/od_db_entity.h"
#include "db/od_db_object_store.h"
#include "db/od_db_proxy_object.h"
#include "db/od_db_simple_tables.h"

using namespace dbtest;

namespace {

using ReferenceType = OdDb::ReferenceType;

/// A drawing with a bag under "bag" that refers to others, and a reactor of it.
class StoredDrawing : public DatabaseTest
{
protected:
    StoredDrawing()
    {
        m_db->newRegApp(L"APP");
        const OdDbObjectId watcher = addReactor();
        const OdDbObjectId other = addBag(11);
        const OdDbObjectId id = namedObjects()->setAt(L"bag", TestBag::createObject().get());
        const TestBagPtr bag = writeBag(id);
        const OdResBufPtr xdata = OdResBuf::newRb(1001);
        xdata->setString(L"APP");
        xdata->setNext(OdResBuf::newRb(1040).get());
        OdDbObjectIdArray ids;
        ids.append(other);
        ids.append(id);
        ids.append(OdDbObjectId::kNull);
        bag->setNumber(42);
        bag->setText(L"text");
        bag->setReals({1.0, 2.5});
        for (ReferenceType type :
             {ReferenceType::kSoftPointerRef, ReferenceType::kHardPointerRef,
              ReferenceType::kSoftOwnershipRef, ReferenceType::kHardOwnershipRef}) {
            bag->setIds(type, ids);
        }
        bag->addPersistentReactor(watcher);
        bag->setXData(xdata.get());
        bag->createXrecord(L"REC", OdDb::DuplicateRecordCloning::kDrcIgnore);
        m_bag = id.getHandle();
        m_other = other.getHandle();
        m_watcher = watcher.getHandle();
    }

    /// Stores the drawing, lets go of it and opens it again.
    void reopen()
    {
        if (m_drawing == nullptr) {
            m_drawing = saveDrawing(*m_db);
        }
        m_db.release();
        m_db = openDrawing(m_drawing);
        m_drawing->loads = 0;
    }
    OdDbObjectId idOf(OdDbHandle handle) const { return m_db->getOdDbObjectId(handle); }
    static void unregisterTestClasses()
    {
        TestReactor::rxUninit();
        TestBag::rxUninit();
    }
    static void registerTestClasses()
    {
        TestBag::rxInit();
        TestReactor::rxInit();
    }

    FakeDrawingPtr m_drawing;
    OdDbHandle m_bag;
    OdDbHandle m_other;
    OdDbHandle m_watcher;
};

TEST_F(StoredDrawing, LoadsNoObjectThatNobodyAsksFor)
{
    reopen();
    const OdDbObjectId id = idOf(m_bag);
    EXPECT_FALSE(id.isNull());
    EXPECT_EQ(id.objectClass(), TestBag::desc());
    EXPECT_FALSE(id.isErased());
    EXPECT_FALSE(id.isResident());
    EXPECT_EQ(m_drawing->loads, 0);
    EXPECT_EQ(numberOf(id), 42);
    EXPECT_EQ(m_drawing->loads, 1);
    EXPECT_EQ(numberOf(id), 42);
    EXPECT_EQ(m_drawing->loads, 1);
}

TEST_F(StoredDrawing, GivesEqualObjectsAndReferencesToObjectsNotYetRead)
{
    reopen();
    const TestBagPtr bag = readBag(idOf(m_bag));
    EXPECT_EQ(bag->text(), OdString(L"text"));
    EXPECT_EQ(bag->reals(), (std::vector<double>{1.0, 2.5}));
    const OdDbObjectIdArray ids = bag->ids(ReferenceType::kHardOwnershipRef);
    ASSERT_EQ(ids.size(), 3U);
    EXPECT_EQ(ids[0].getHandle(), m_other);
    EXPECT_FALSE(ids[0].isResident());
    EXPECT_EQ(ids[1], bag->objectId());
    EXPECT_TRUE(ids[2].isNull());
    EXPECT_EQ(bag->xData(L"APP")->next()->restype(), 1040);
    EXPECT_EQ(bag->ownerId(), m_db->getNamedObjectsDictionaryId());
    EXPECT_TRUE(bag->hasPersistentReactor(idOf(m_watcher)));
    EXPECT_EQ(namedObjects(OdDb::kForRead)->getAt(L"BAG"), bag->objectId());
    EXPECT_TRUE(writeDictionary(bag->extensionDictionary())->has(OdString(L"REC")));
    EXPECT_EQ(m_db->getINSUNITS(), OdDb::UnitsValue::kUnitsMillimeters);
    EXPECT_EQ(m_db->getLayerZeroId().objectClass(), OdDbLayerTableRecord::desc());
}

TEST_F(StoredDrawing, StoresTheSameAgain)
{
    reopen();
    const FakeDrawingPtr again = saveDrawing(*m_db);
    EXPECT_EQ(again->objects, m_drawing->objects);
    EXPECT_EQ(again->header, m_drawing->header);
    EXPECT_EQ(again->handseed, m_drawing->handseed);
    EXPECT_EQ(again->classes, m_drawing->classes);
    EXPECT_FALSE(m_db->isChanged());
}

TEST_F(StoredDrawing, IsChangedByTouchingAnObjectNotByOpeningIt)
{
    reopen();
    EXPECT_FALSE(m_db->isChanged());
    (void)numberOf(idOf(m_bag));
    EXPECT_FALSE(m_db->isChanged());
    EXPECT_FALSE(resident(idOf(m_bag)).isNewObject());
    setNumberOf(idOf(m_bag), 1);
    EXPECT_TRUE(m_db->isChanged());
    EXPECT_EQ(OdDbStorageAccess(*m_db).changedBlocks(),
              (std::vector<std::uint64_t>{m_bag.value() / OdDbStorageAccess::kHandlesInBlock}));
    OdDbStorageAccess(*m_db).markSaved();
    EXPECT_FALSE(m_db->isChanged());
    m_db->setINSUNITS(OdDb::UnitsValue::kUnitsFeet);
    EXPECT_TRUE(m_db->isChanged());
    EXPECT_TRUE(OdDbStorageAccess(*m_db).isHeaderChanged());
}

TEST_F(StoredDrawing, TellsReactorsThatAreNotInMemory)
{
    reopen();
    setNumberOf(idOf(m_bag), 1);
    EXPECT_EQ(reactor(idOf(m_watcher)).count(NoticeKind::kModified), 1);
}

TEST_F(StoredDrawing, UndoesChangesOfLoadedObjects)
{
    reopen();
    const auto before = bytesOf(*idOf(m_bag).openObject());
    m_db->startUndoRecord();
    setNumberOf(idOf(m_bag), 1);
    ASSERT_EQ(eraseObject(idOf(m_other)), kOdOk);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(bytesOf(*idOf(m_bag).openObject()), before);
    EXPECT_FALSE(idOf(m_other).isErased());
}

TEST_F(StoredDrawing, GivesNewObjectsHandlesBehindTheStoredOnes)
{
    reopen();
    const std::uint64_t last = m_drawing->objects.rbegin()->first;
    EXPECT_GT(addBag().getHandle().value(), last);
    const TestBagPtr bag = TestBag::createObject();
    EXPECT_EQ(thrownCode([&] { m_db->addOdDbObject(bag.get(), OdDbObjectId::kNull, m_other); }),
              kOdHandleInUse);
}

TEST_F(StoredDrawing, WalksStoredAndNewHandlesTogether)
{
    reopen();
    std::vector<std::uint64_t> expected;
    for (auto const& [handle, object] : m_drawing->objects) {
        expected.push_back(handle);
    }
    expected.push_back(addBag().getHandle().value());
    std::vector<std::uint64_t> walked;
    for (OdDbHandle at = m_db->nextHandle(); !at.isNull(); at = m_db->nextHandle(at)) {
        walked.push_back(at.value());
    }
    EXPECT_EQ(walked, expected);
    EXPECT_EQ(m_drawing->loads, 0);
}

TEST_F(StoredDrawing, AnswersForHandlesThatItDoesNotHold)
{
    reopen();
    EXPECT_TRUE(idOf(OdDbHandle(0x70000)).isNull());
    const OdDbObjectId id = m_db->getOdDbObjectId(OdDbHandle(0x70000), /*create=*/true);
    EXPECT_FALSE(id.isNull());
    EXPECT_TRUE(id.openObject().isNull());
    EXPECT_EQ(id.objectClass(), nullptr);
    EXPECT_EQ(thrownCode([&] { (void)id.safeOpenObject(); }), kOdKeyNotFound);
}

TEST_F(StoredDrawing, LoadsNothingWhenItIsClosed)
{
    reopen();
    (void)numberOf(idOf(m_bag));
    const int loads = m_drawing->loads;
    m_db.release();
    EXPECT_EQ(m_drawing->loads, loads);
}

TEST_F(StoredDrawing, LosesADamagedObjectAloneAndReportsItOnce)
{
    m_drawing = saveDrawing(*m_db);
    m_drawing->objects[m_other.value()].damage = "checksum differs";
    reopen();
    const OdDbObjectId id = idOf(m_other);
    EXPECT_TRUE(id.openObject().isNull());
    EXPECT_TRUE(id.openObject(OdDb::kForWrite, true).isNull());
    EXPECT_EQ(thrownCode([&] { (void)id.safeOpenObject(); }), kOdObjectDamaged);
    try {
        (void)id.safeOpenObject();
    } catch (OdError const& error) {
        const std::string handle(m_other.ascii().utf8());
        EXPECT_EQ(std::string(error.what()).find("object " + handle + ": "), 0U) << error.what();
    }
    EXPECT_EQ(numberOf(idOf(m_bag)), 42);
    auto const& damages = OdDbStorageAccess(*m_db).damages();
    ASSERT_EQ(damages.size(), 1U);
    EXPECT_EQ(damages[0].handle, m_other);
    EXPECT_EQ(damages[0].reason, "checksum differs");
    EXPECT_EQ(OdDbStorageAccess(*m_db).state(m_other).residency, OdDbResidency::kDamaged);
}

TEST_F(StoredDrawing, CarriesAnObjectThatItsClassCannotReadAsAProxy)
{
    m_drawing = saveDrawing(*m_db);
    FakeBody& body = m_drawing->objects[m_bag.value()].body;
    body.bytes.resize(body.bytes.size() - 3);
    const FakeDrawing::Object stored = m_drawing->objects[m_bag.value()];
    reopen();
    const OdDbObjectPtr object = idOf(m_bag).openObject();
    ASSERT_FALSE(object.isNull());
    EXPECT_TRUE(object->isKindOf(OdDbProxyObject::desc()));
    EXPECT_TRUE(TestBag::cast(object.get()).isNull());
    EXPECT_EQ(saveDrawing(*m_db)->objects[m_bag.value()], stored);
    EXPECT_TRUE(OdDbStorageAccess(*m_db).damages().empty());
}

TEST_F(StoredDrawing, ReportsAnObjectWhoseBasePartCannotBeRead)
{
    m_drawing = saveDrawing(*m_db);
    m_drawing->objects[m_bag.value()].body.bytes.resize(2);
    reopen();
    EXPECT_TRUE(idOf(m_bag).openObject().isNull());
    EXPECT_EQ(OdDbStorageAccess(*m_db).damages().size(), 1U);
}

TEST_F(StoredDrawing, KeepsAnObjectThatStopsReadingEarly)
{
    reopen();
    TestBag::s_readResult = kOdNewerLinkFormat;
    EXPECT_EQ(numberOf(idOf(m_bag)), 42);
    EXPECT_EQ(readBag(idOf(m_bag))->text(), OdString());
    EXPECT_TRUE(OdDbStorageAccess(*m_db).state(m_bag).partlyRead);
    EXPECT_TRUE(OdDbStorageAccess(*m_db).damages().empty());
}

TEST_F(StoredDrawing, MarksNothingWhileItLoads)
{
    reopen();
    m_db->startUndoRecord();
    bool modified = true;
    TestBag::s_onRead = [&](TestBag& bag) {
        bag.assertWriteEnabled(true, true);
        modified = bag.isModified();
        EXPECT_EQ(bag.undoFiler(), nullptr);
        EXPECT_EQ(bag.objectId().getHandle(), m_bag);
    };
    (void)numberOf(idOf(m_bag));
    EXPECT_FALSE(modified);
    EXPECT_EQ(m_db->undoBytes(), 0U);
    EXPECT_FALSE(m_db->isChanged());
    EXPECT_FALSE(resident(idOf(m_bag)).isReadEnabled());
}

TEST_F(StoredDrawing, SurvivesAnObjectThatOpensOthersAndItselfWhileItIsRead)
{
    reopen();
    TestBag::s_onRead = [&](TestBag& bag) {
        EXPECT_FALSE(bag.objectId().openObject().isNull());
        EXPECT_FALSE(idOf(m_other).openObject().isNull());
        EXPECT_FALSE(idOf(m_bag).openObject().isNull());
    };
    EXPECT_EQ(numberOf(idOf(m_bag)), 42);
    EXPECT_EQ(numberOf(idOf(m_other)), 11);
}

TEST_F(StoredDrawing, ReportsAReactorThatCannotBeLoadedAndGoesOn)
{
    reopen();
    const OdDbObjectId bag = idOf(m_bag);
    (void)numberOf(bag);
    const OdDbObjectId second = addReactor("second");
    watch(bag, second);
    m_drawing->failsLoads = true;
    setNumberOf(bag, 1);
    EXPECT_EQ(reactor(second).count(NoticeKind::kModified), 1);
    EXPECT_EQ(m_asserts.take().size(), 3U) << "openedForModify, modified, objectClosed";
    EXPECT_EQ(thrownCode([&] { (void)idOf(m_watcher).openObject(); }), kOdFileAccess);
    m_drawing->failsLoads = false;
    EXPECT_FALSE(idOf(m_watcher).openObject().isNull());
}

// ---------------------------------------------------------------------------------------------
// Objects of classes that aren't registered

class Proxy : public StoredDrawing
{
protected:
    void reopenWithoutClasses()
    {
        m_drawing = saveDrawing(*m_db);
        m_db.release();
        unregisterTestClasses();
        m_db = openDrawing(m_drawing);
    }
    OdDbProxyObjectPtr openProxy(OdDbHandle handle, OdDb::OpenMode mode = OdDb::kForRead) const
    {
        return idOf(handle).safeOpenObject(mode);
    }
};

TEST_F(Proxy, StandsForAnObjectOfAnUnknownClass)
{
    reopenWithoutClasses();
    EXPECT_EQ(idOf(m_bag).objectClass(), nullptr);
    const OdDbProxyObjectPtr proxy = openProxy(m_bag);
    EXPECT_EQ(proxy->originalClassName(), OdString(L"TestBag"));
    const OdDbClassRecord record = proxy->originalClass();
    EXPECT_EQ(record.dxfName, OdString(L"TEST_BAG"));
    EXPECT_EQ(record.appName, OdString(L"Database tests"));
    EXPECT_EQ(record.dwgVersion, OdDb::kDwgVersionCurrent);
    EXPECT_EQ(record.maintenanceVersion, 4);
    EXPECT_EQ(record.proxyFlags, 1025);
    EXPECT_EQ(proxy->ownerId(), m_db->getNamedObjectsDictionaryId());
    EXPECT_EQ(proxy->getPersistentReactors().size(), 1U);
    EXPECT_EQ(proxy->xData(L"APP")->next()->restype(), 1040);
    EXPECT_FALSE(proxy->extensionDictionary().isNull());
    EXPECT_FALSE(proxy->body().bytes.empty());
    EXPECT_EQ(proxy->body().references.size(), 12U);
}

TEST_F(Proxy, IsStoredAgainWithoutLoss)
{
    reopenWithoutClasses();
    const FakeDrawingPtr again = saveDrawing(*m_db);
    EXPECT_EQ(again->objects, m_drawing->objects);
    EXPECT_EQ(again->classes, m_drawing->classes);
    m_db.release();
    registerTestClasses();
    m_db = openDrawing(again);
    EXPECT_EQ(readBag(idOf(m_bag))->text(), OdString(L"text"));
    EXPECT_EQ(saveDrawing(*m_db)->objects, m_drawing->objects);
}

TEST_F(Proxy, IsErasedAndUndoneAndChangedInItsBaseFieldsLikeAnyObject)
{
    reopenWithoutClasses();
    const auto before = bytesOf(*openProxy(m_bag));
    m_db->startUndoRecord();
    {
        const OdDbProxyObjectPtr proxy = openProxy(m_bag, OdDb::kForWrite);
        proxy->assertWriteEnabled();
        proxy->addPersistentReactor(m_db->getModelSpaceId());
        const OdResBufPtr chain = OdResBuf::newRb(1001);
        chain->setString(L"APP");
        proxy->setXData(chain.get());
        EXPECT_EQ(proxy->erase(), kOdOk);
    }
    EXPECT_FALSE(namedObjects()->has(OdString(L"bag")));
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(namedObjects()->has(OdString(L"bag")));
    EXPECT_EQ(bytesOf(*openProxy(m_bag)), before);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_TRUE(idOf(m_bag).isErased());
}

TEST_F(Proxy, GetsNoNotices)
{
    reopenWithoutClasses();
    const OdDbProxyObjectPtr proxy = openProxy(m_bag, OdDb::kForWrite);
    proxy->assertWriteEnabled();
    const OdDbObjectPtr watcher = idOf(m_watcher).openObject();
    EXPECT_TRUE(watcher->isKindOf(OdDbProxyObject::desc()));
    EXPECT_FALSE(watcher->isNotifyEnabled());
}

TEST_F(Proxy, RefusesToBeTakenAsAnythingElse)
{
    reopenWithoutClasses();
    EXPECT_THROW((void)OdDbDictionaryPtr(openProxy(m_bag)), OdError_NotThatKindOfClass);
    EXPECT_TRUE(OdDbDictionary::cast(openProxy(m_bag).get()).isNull());
}

TEST_F(Proxy, BecomesTheObjectWhenItsClassIsRegistered)
{
    reopenWithoutClasses();
    EXPECT_TRUE(idOf(m_bag).openObject()->isKindOf(OdDbProxyObject::desc()));
    registerTestClasses();
    EXPECT_EQ(numberOf(idOf(m_bag)), 42);
    setNumberOf(idOf(m_bag), 1);
    EXPECT_EQ(reactor(idOf(m_watcher)).count(NoticeKind::kModified), 1);
}

TEST_F(Proxy, StaysWhileItIsOpen)
{
    reopenWithoutClasses();
    OdDbObjectPtr held = openProxy(m_bag);
    registerTestClasses();
    EXPECT_EQ(idOf(m_bag).openObject().get(), held.get());
    held.release();
    EXPECT_EQ(numberOf(idOf(m_bag)), 42);
}

TEST_F(Proxy, StaysOnceItIsChangedUntilTheDrawingIsSaved)
{
    reopenWithoutClasses();
    openProxy(m_bag, OdDb::kForWrite)->addPersistentReactor(m_db->getModelSpaceId());
    registerTestClasses();
    EXPECT_TRUE(idOf(m_bag).openObject()->isKindOf(OdDbProxyObject::desc()));
    saveAgain(*m_db, *m_drawing);
    const TestBagPtr bag = readBag(idOf(m_bag));
    EXPECT_EQ(bag->number(), 42);
    EXPECT_TRUE(bag->hasPersistentReactor(m_db->getModelSpaceId()));
}

TEST_F(Proxy, StaysWhileAnUndoRecordHoldsItsState)
{
    reopenWithoutClasses();
    m_db->startUndoRecord();
    openProxy(m_bag, OdDb::kForWrite)->assertWriteEnabled();
    saveAgain(*m_db, *m_drawing);
    registerTestClasses();
    EXPECT_TRUE(idOf(m_bag).openObject()->isKindOf(OdDbProxyObject::desc()));
    ASSERT_EQ(m_db->undo(), kOdOk);
    ASSERT_EQ(m_db->redo(), kOdOk);
    m_db->clearUndo();
    saveAgain(*m_db, *m_drawing);
    EXPECT_EQ(numberOf(idOf(m_bag)), 42);
}

TEST_F(Proxy, KeepsItsReferencesThroughUndoOfItsState)
{
    reopenWithoutClasses();
    const OdDbStoredBody body = openProxy(m_bag)->body();
    m_db->startUndoRecord();
    openProxy(m_bag, OdDb::kForWrite)->assertWriteEnabled();
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(openProxy(m_bag)->body(), body);
}

TEST_F(Proxy, GivesWayToNoObjectWhileItsDrawingIsClosed)
{
    watch(idOf(m_watcher), idOf(m_bag));  // the reactor comes behind what it watches
    reopenWithoutClasses();
    (void)openProxy(m_watcher);
    (void)openProxy(m_bag);
    registerTestClasses();
    const int loads = m_drawing->loads;
    m_db.release();
    EXPECT_EQ(m_drawing->loads, loads);
}

TEST_F(Proxy, MayBeOpenedFromAGoodbyeThatComesBeforeItsOwn)
{
    const OdDbObjectId early = addReactor();
    watch(m_db->getNamedObjectsDictionaryId(), early);
    const OdDbHandle earlyHandle = early.getHandle();
    reopenWithoutClasses();
    (void)openProxy(m_bag);
    registerTestClasses();
    reactor(idOf(earlyHandle)).onNotice = [&](TestReactor&, NoticeKind kind,
                                              OdDbObject const& left) {
        if (kind == NoticeKind::kGoodbye) {
            const OdDbObjectId id = left.database()->getOdDbObjectId(m_bag);
            EXPECT_TRUE(id.openObject()->isKindOf(TestBag::desc()));
        }
    };
    (void)namedObjects(OdDb::kForRead);
    m_db.release();
}

TEST_F(Proxy, ThatGaveWayToAnObjectThatCannotBeLoadedIsPassedOverByUndo)
{
    reopenWithoutClasses();
    m_db->startUndoRecord();
    openProxy(m_bag, OdDb::kForWrite)->addPersistentReactor(m_db->getModelSpaceId());
    saveAgain(*m_db, *m_drawing);
    registerTestClasses();
    m_drawing->objects.erase(m_bag.value());
    EXPECT_TRUE(idOf(m_bag).openObject().isNull());
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(m_asserts.take().size(), 1U);
}

TEST_F(Proxy, OutsideADatabaseKnowsNoClass)
{
    const OdDbProxyObjectPtr proxy = odrxMake<OdDbProxyObject>();
    EXPECT_TRUE(proxy->originalClassName().isEmpty());
}

}  // namespace
