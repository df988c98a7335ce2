#include "db/db_test_support.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_xrecord.h"

#include <cmath>
#include <limits>

using namespace dbtest;

namespace {

OdResBufPtr group(wchar_t const* app)
{
    OdResBufPtr head = OdResBuf::newRb(OdResBuf::kXdAppName);
    head->setString(app);
    return head;
}

OdResBufPtr groupWithNumber(wchar_t const* app, std::int32_t number)
{
    const OdResBufPtr head = group(app);
    const OdResBufPtr value = OdResBuf::newRb(OdResBuf::kXdInt32);
    value->setInt32(number);
    head->setNext(value.get());
    return head;
}

int lengthOf(OdResBuf const* chain)
{
    int length = 0;
    for (OdResBuf const* at = chain; at != nullptr; at = at->next().get()) {
        ++length;
    }
    return length;
}

/// One record of each group code that extended data has.
OdResBufPtr everyKind()
{
    const OdResBufPtr head = OdResBuf::newRb(OdResBuf::kXdString);
    head->setString(L"text \x1F600");
    OdResBufPtr last = head;
    auto append = [&](int code) {
        const OdResBufPtr record = OdResBuf::newRb(code);
        last->setNext(record.get());
        last = record;
        return record;
    };
    append(OdResBuf::kXdControl)->setString(L"{");
    append(OdResBuf::kXdLayerName)->setString(L"");
    OdBinaryData bytes;
    bytes.append(0);
    bytes.append(255);
    append(OdResBuf::kXdBinary)->setBinaryChunk(bytes);
    append(OdResBuf::kXdHandle)->setHandle(~std::uint64_t{0});
    for (int code : {OdResBuf::kXdPoint, OdResBuf::kXdPosition, OdResBuf::kXdDisplacement,
                     OdResBuf::kXdDirection}) {
        append(code)->setPoint({1.0, -0.0, std::numeric_limits<double>::infinity()});
    }
    for (int code : {OdResBuf::kXdReal, OdResBuf::kXdDistance, OdResBuf::kXdScale}) {
        append(code)->setDouble(-1.5e300);
    }
    append(OdResBuf::kXdInt16)->setInt16(-32768);
    append(OdResBuf::kXdInt32)->setInt32(std::numeric_limits<std::int32_t>::min());
    append(OdResBuf::kXdBinary)->setBinaryChunk(OdBinaryData());
    append(OdResBuf::kXdControl)->setString(L"}");
    return head;
}

class XData : public DatabaseTest
{
protected:
    XData() : m_id(addBag())
    {
        m_db->newRegApp(L"A");
        m_db->newRegApp(L"B");
    }
    void set(OdResBufPtr const& chain) { writeBag(m_id)->setXData(chain.get()); }
    OdResBufPtr get(wchar_t const* app = L"") const { return readBag(m_id)->xData(app); }

    OdDbObjectId m_id;
};

TEST_F(XData, IsNullWhereThereIsNone)
{
    EXPECT_TRUE(get().isNull());
    EXPECT_TRUE(get(L"A").isNull());
    EXPECT_TRUE(get(L"unknown").isNull());
}

TEST_F(XData, KeepsEveryKindOfValue)
{
    const OdResBufPtr head = group(L"A");
    head->setNext(everyKind().get());
    set(head);
    EXPECT_TRUE(OdResBuf::areChainsEqual(get(L"A").get(), head.get()));
}

TEST_F(XData, IsReplacedForEachApplicationOfTheChainAlone)
{
    set(groupWithNumber(L"A", 1));
    set(groupWithNumber(L"B", 2));
    set(groupWithNumber(L"A", 3));
    EXPECT_EQ(get(L"A")->next()->getInt32(), 3);
    EXPECT_EQ(get(L"B")->next()->getInt32(), 2);
    EXPECT_EQ(lengthOf(get().get()), 4);
}

TEST_F(XData, IsRemovedByAGroupOfOneRecord)
{
    set(groupWithNumber(L"A", 1));
    set(groupWithNumber(L"B", 2));
    set(group(L"A"));
    EXPECT_TRUE(get(L"A").isNull());
    EXPECT_EQ(get(L"B")->next()->getInt32(), 2);
    set(group(L"A"));
    set(group(L"B"));
    EXPECT_TRUE(get().isNull());
}

TEST_F(XData, RemovedUnderAnotherSpellingComesBackUnderItsOwn)
{
    set(groupWithNumber(L"A", 1));
    const auto before = bytesOf(*readBag(m_id));
    m_db->startUndoRecord();
    set(group(L"a"));
    EXPECT_TRUE(get(L"A").isNull());
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(get(L"a")->getString(), OdString(L"A"));
    EXPECT_EQ(bytesOf(*readBag(m_id)), before);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_TRUE(get(L"A").isNull());
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(bytesOf(*readBag(m_id)), before);
}

TEST_F(XData, SetOutsideADatabaseBringsItsApplicationsAlong)
{
    const TestBagPtr bag = TestBag::createObject();
    const OdResBufPtr chain = groupWithNumber(L"NEW", 1);
    chain->last()->setNext(groupWithNumber(L"A", 2).get());
    bag->setXData(chain.get());
    const OdDbHandle seed = m_db->handseed();
    const OdDbObjectId id = m_db->addOdDbObject(bag.get(), OdDbObjectId::kNull, seed);
    EXPECT_EQ(id.getHandle(), seed);
    EXPECT_TRUE(m_db->isRegisteredApp(L"NEW"));
    bag->setXData(groupWithNumber(L"NEW", 3).get());
    EXPECT_EQ(bag->xData(L"NEW")->next()->getInt32(), 3);
}

TEST_F(XData, OfAnApplicationThatCannotBeRegisteredKeepsItsObjectOut)
{
    const TestBagPtr bag = TestBag::createObject();
    bag->setXData(groupWithNumber(L"", 1).get());
    EXPECT_EQ(thrownCode([&] { m_db->addOdDbObject(bag.get()); }), kOdInvalidKey);
    EXPECT_EQ(bag->database(), nullptr);
}

TEST_F(XData, TakenOverFromAnotherDrawingBringsItsApplicationsAlong)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    other->newRegApp(L"NEW");
    const TestBagPtr bag = TestBag::createObject();
    other->addOdDbObject(bag.get());
    bag->setXData(groupWithNumber(L"NEW", 1).get());
    m_db->startUndoRecord();
    writeBag(m_id)->copyFrom(bag.get());
    EXPECT_EQ(get(L"NEW")->next()->getInt32(), 1);
    EXPECT_TRUE(m_db->isRegisteredApp(L"NEW"));
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_FALSE(m_db->isRegisteredApp(L"NEW"));
    EXPECT_TRUE(get().isNull());
}

TEST_F(XData, IsFoundWhateverTheOrderInWhichItWasFiled)
{
    const auto read = [](std::vector<wchar_t const*> const& apps) {
        OdStaticRxObject<OdDbMemoryFiler> filer;
        filer.wrInt32(0);
        filer.wrHardOwnershipId(OdDbObjectId::kNull);
        filer.wrInt32(static_cast<std::int32_t>(apps.size()));
        for (wchar_t const* app : apps) {
            const TestBagPtr bag = TestBag::createObject();
            bag->setXData(groupWithNumber(app, 7).get());
            OdStaticRxObject<OdDbMemoryFiler> one;
            bag->OdDbObject::dwgOutFields(&one);
            // Behind the counts of reactors and of applications, and the null id between them, is
            // the one entry; behind that is the owner.
            const std::size_t start = 2 * sizeof(std::int32_t) + sizeof(void*);
            filer.wrBytes(one.bytes().data() + start,
                          static_cast<std::uint32_t>(one.bytes().size() - start - sizeof(void*)));
        }
        filer.wrSoftPointerId(OdDbObjectId::kNull);
        filer.rewindForReading();
        const OdDbObjectPtr object = odrxMake<OdDbObject>();
        EXPECT_EQ(object->dwgInFields(&filer), kOdOk);
        return object;
    };
    const OdDbObjectPtr object = read({L"C", L"B", L"A"});
    for (wchar_t const* app : {L"A", L"B", L"C"}) {
        EXPECT_FALSE(object->xData(app).isNull());
        object->setXData(group(app).get());
    }
    EXPECT_TRUE(object->xData().isNull());
    EXPECT_EQ(thrownCode([&] { (void)read({L"A", L"B", L"a"}); }), kOdBadStream);
}

TEST_F(XData, TakesSeveralGroupsInOneChain)
{
    const OdResBufPtr chain = groupWithNumber(L"B", 2);
    chain->last()->setNext(groupWithNumber(L"A", 1).get());
    set(chain);
    EXPECT_EQ(get(L"A")->next()->getInt32(), 1);
    EXPECT_EQ(get(L"B")->next()->getInt32(), 2);
    EXPECT_EQ(get()->getString(), OdString(L"A"));
    EXPECT_EQ(lengthOf(get().get()), 4);
}

TEST_F(XData, IsACopyOnTheWayInAndOut)
{
    const OdResBufPtr chain = groupWithNumber(L"A", 1);
    set(chain);
    chain->next()->setInt32(2);
    EXPECT_EQ(get(L"A")->next()->getInt32(), 1);
    get(L"A")->next()->setInt32(3);
    EXPECT_EQ(get(L"A")->next()->getInt32(), 1);
}

TEST_F(XData, RefusesAnUnregisteredApplicationAndChangesNothing)
{
    set(groupWithNumber(L"A", 1));
    const OdResBufPtr chain = groupWithNumber(L"A", 2);
    chain->last()->setNext(groupWithNumber(L"UNKNOWN", 3).get());
    EXPECT_EQ(thrownCode([&] { set(chain); }), kOdUnregisteredApp);
    EXPECT_EQ(get(L"A")->next()->getInt32(), 1);
}

TEST_F(XData, RefusesChainsThatAreNoExtendedData)
{
    const OdResBufPtr headless = OdResBuf::newRb(OdResBuf::kXdInt32);
    EXPECT_EQ(thrownCode([&] { set(headless); }), kOdInvalidInput);
    for (int code : {0, 1, 40, 330, 999, 1006, 1072, -1}) {
        const OdResBufPtr chain = groupWithNumber(L"A", 1);
        chain->last()->setNext(OdResBuf::newRb(code).get());
        EXPECT_EQ(thrownCode([&] { set(chain); }), kOdInvalidInput) << code;
    }
    EXPECT_TRUE(get().isNull());
    writeBag(m_id)->setXData(nullptr);
    EXPECT_TRUE(get().isNull());
}

TEST_F(XData, OfAnObjectOutsideADatabaseNeedsNoRegistration)
{
    const TestBagPtr bag = TestBag::createObject();
    bag->setXData(groupWithNumber(L"UNKNOWN", 4).get());
    EXPECT_EQ(bag->xData(L"UNKNOWN")->next()->getInt32(), 4);
}

TEST_F(XData, IsAModificationThatUndoAndRedoTakeBackAndForth)
{
    const OdDbObjectId watcher = addReactor();
    watch(m_id, watcher);
    set(groupWithNumber(L"B", 9));
    reactor(watcher).notices.clear();
    const auto before = bytesOf(resident(m_id));
    m_db->startUndoRecord();
    set(groupWithNumber(L"A", 1));
    EXPECT_EQ(reactor(watcher).count(NoticeKind::kModified), 1);
    set(groupWithNumber(L"A", 2));
    set(group(L"B"));
    const auto after = bytesOf(resident(m_id));
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(bytesOf(resident(m_id)), before);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(bytesOf(resident(m_id)), after);
}

TEST_F(XData, HoldsSixteenThousandBytesAndMore)
{
    OdBinaryData chunk;
    chunk.resize(OdResBuf::kMaxXdBinaryBytes);
    const OdResBufPtr head = group(L"A");
    OdResBufPtr last = head;
    for (int count = 0; count < 200; ++count) {
        const OdResBufPtr record = OdResBuf::newRb(OdResBuf::kXdBinary);
        record->setBinaryChunk(chunk);
        last->setNext(record.get());
        last = record;
    }
    const OdDbLinePtr line = OdDbLine::createObject();
    OdDbBlockTableRecordPtr(m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite))
        ->appendOdDbEntity(line.get());
    line->setXData(head.get());
    EXPECT_TRUE(OdResBuf::areChainsEqual(line->xData(L"A").get(), head.get()));
}

TEST_F(XData, MovesToAnExtensionDictionaryAndLeavesAHeadAlone)
{
    // What is too large for extended data lies in a record of the extension dictionary, and the
    // chain that is left has nothing but its head.
    const OdDbLinePtr line = OdDbLine::createObject();
    OdDbBlockTableRecordPtr(m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite))
        ->appendOdDbEntity(line.get());
    line->setXData(groupWithNumber(L"A", 1).get());
    const auto before = bytesOf(*line);
    m_db->startUndoRecord();
    const OdDbXrecordPtr record =
        line->createXrecord(L"BLOB", OdDb::DuplicateRecordCloning::kDrcIgnore);
    const OdResBufPtr blob = OdResBuf::newRb(OdResBuf::kXdBinary);
    OdBinaryData bytes;
    bytes.resize(16000);
    blob->setBinaryChunk(bytes);
    record->setFromRbChain(blob.get());
    line->setXData(group(L"A").get());

    EXPECT_TRUE(line->xData(L"A").isNull());
    EXPECT_EQ(record->rbChain()->getBinaryChunk().size(), 16000U);
    EXPECT_EQ(writeDictionary(line->extensionDictionary())->getAt(L"BLOB"), record->objectId());
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(bytesOf(*line), before);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(record->rbChain()->getBinaryChunk().size(), 16000U);
    EXPECT_TRUE(line->xData(L"A").isNull());
}

TEST_F(XData, LongChainsNeitherRecurseNorCopyQuadratically)
{
    const OdResBufPtr head = group(L"A");
    OdResBufPtr last = head;
    for (int count = 0; count < 100000; ++count) {
        const OdResBufPtr record = OdResBuf::newRb(OdResBuf::kXdInt16);
        last->setNext(record.get());
        last = record;
    }
    set(head);
    EXPECT_EQ(lengthOf(get(L"A").get()), 100001);
}

TEST_F(XData, NeedsTheObjectOpenForWrite)
{
    EXPECT_EQ(thrownCode([&] { resident(m_id).setXData(group(L"A").get()); }), kOdNotOpenForWrite);
}

// ---------------------------------------------------------------------------------------------

class RegisteredApplication : public DatabaseTest
{
};

TEST_F(RegisteredApplication, IsMadeOnceAndFoundWithoutCase)
{
    const OdDbObjectId id = m_db->newRegApp(L"Zem");
    EXPECT_EQ(m_db->newRegApp(L"Zem"), id);
    EXPECT_EQ(m_db->newRegApp(L"ZEM"), id);
    EXPECT_TRUE(m_db->isRegisteredApp(L"zem"));
    EXPECT_FALSE(m_db->isRegisteredApp(L""));
    EXPECT_EQ(thrownCode([&] { (void)m_db->newRegApp(L""); }), kOdInvalidKey);
}

TEST_F(RegisteredApplication, IsUndone)
{
    m_db->startUndoRecord();
    m_db->newRegApp(L"Zem");
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_FALSE(m_db->isRegisteredApp(L"Zem"));
    m_db->newRegApp(L"Zem");
    EXPECT_TRUE(m_db->isRegisteredApp(L"Zem"));
}

// ---------------------------------------------------------------------------------------------

class Xrecord : public DatabaseTest
{
};

TEST_F(Xrecord, KeepsAChainAsACopy)
{
    const OdDbXrecordPtr record = OdDbXrecord::createObject();
    EXPECT_TRUE(record->rbChain().isNull());
    const OdResBufPtr chain = everyKind();
    record->setFromRbChain(chain.get());
    EXPECT_TRUE(OdResBuf::areChainsEqual(record->rbChain().get(), chain.get()));
    chain->setString(L"other");
    EXPECT_FALSE(OdResBuf::areChainsEqual(record->rbChain().get(), chain.get()));
    record->setFromRbChain(nullptr);
    EXPECT_TRUE(record->rbChain().isNull());
}

TEST_F(Xrecord, RefusesApplicationHeadsAndOtherGroupCodes)
{
    const OdDbXrecordPtr record = OdDbXrecord::createObject();
    record->setFromRbChain(OdResBuf::newRb(OdResBuf::kXdInt16).get());
    const OdResBufPtr withHead = OdResBuf::newRb(OdResBuf::kXdInt16);
    withHead->setNext(group(L"A").get());
    for (OdResBufPtr const& chain : {group(L"A"), withHead, OdResBuf::newRb(1)}) {
        EXPECT_EQ(thrownCode([&] { record->setFromRbChain(chain.get()); }), kOdInvalidInput);
    }
    EXPECT_EQ(lengthOf(record->rbChain().get()), 1);
}

TEST_F(Xrecord, IsMadeInTheExtensionDictionaryAndOpenedThereAgain)
{
    const TestBagPtr bag = writeBag(addBag());
    const OdDbXrecordPtr record =
        bag->createXrecord(L"KEY", OdDb::DuplicateRecordCloning::kDrcReplace);
    EXPECT_EQ(record->duplicateRecordCloning(), OdDb::DuplicateRecordCloning::kDrcReplace);
    EXPECT_EQ(record->ownerId(), bag->extensionDictionary());
    EXPECT_TRUE(record->isWriteEnabled());
    EXPECT_EQ(bag->createXrecord(L"key", OdDb::DuplicateRecordCloning::kDrcIgnore).get(),
              record.get());
    EXPECT_EQ(writeDictionary(bag->extensionDictionary())->numEntries(), 1U);
}

TEST_F(Xrecord, DoesNotReplaceAnotherObjectUnderItsKey)
{
    const TestBagPtr bag = writeBag(addBag());
    bag->createExtensionDictionary();
    const OdDbObjectId other =
        writeDictionary(bag->extensionDictionary())->setAt(L"KEY", TestBag::createObject().get());
    EXPECT_TRUE(bag->createXrecord(L"KEY", OdDb::DuplicateRecordCloning::kDrcIgnore).isNull());
    EXPECT_FALSE(other.isErased());
}

TEST_F(Xrecord, IsUndone)
{
    const TestBagPtr bag = writeBag(addBag());
    const OdDbXrecordPtr record =
        bag->createXrecord(L"KEY", OdDb::DuplicateRecordCloning::kDrcIgnore);
    m_db->startUndoRecord();
    record->setFromRbChain(everyKind().get());
    record->setDuplicateRecordCloning(OdDb::DuplicateRecordCloning::kDrcReplace);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(record->rbChain().isNull());
    EXPECT_EQ(record->duplicateRecordCloning(), OdDb::DuplicateRecordCloning::kDrcIgnore);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_TRUE(OdResBuf::areChainsEqual(record->rbChain().get(), everyKind().get()));
}

TEST_F(RegisteredApplication, MayHaveDataOfItsOwn)
{
    const OdDbRegAppTableRecordPtr record = OdDbRegAppTableRecord::createObject();
    record->setName(L"X");
    const OdResBufPtr chain = OdResBuf::newRb(1001);
    chain->setString(L"x");
    chain->setNext(OdResBuf::newRb(1071).get());
    record->setXData(chain.get());
    const OdDbSymbolTablePtr table = m_db->getRegAppTableId().safeOpenObject(OdDb::kForWrite);
    const OdDbObjectId id = table->add(record.get());
    EXPECT_EQ(m_db->newRegApp(L"X"), id);
    EXPECT_EQ(table->numEntries(), 1U);
    // No other object was made with it.
    EXPECT_EQ(m_db->handseed().value(), id.getHandle().value() + 1);
}

TEST_F(RegisteredApplication, IsMadeOnceThoughAReactorMakesItWhenItIsTold)
{
    const OdDbObjectId watcher = addReactor();
    watch(m_db->getRegAppTableId(), watcher);
    OdDbObjectId made;
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kOpenedForModify) {
            made = m_db->newRegApp(L"APP");
        }
    };
    EXPECT_EQ(m_db->newRegApp(L"APP"), made);
    EXPECT_FALSE(made.isNull());
}

}  // namespace
