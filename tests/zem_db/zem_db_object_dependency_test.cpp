#include "db/od_db_dictionary.h"
#include "root/od_assert.h"

#include "stored_link_test_support.h"
#include "zem_db_persid_manager.h"
#include "zem_flat_filer.h"
#include "zem_properties.h"

#include <array>
#include <limits>

using namespace stored_link_test;

namespace {

class ObjectDependency : public StoredLinkTest
{
};
class ObjectDependencyStream : public StoredLinkTest
{
protected:
    ObjectDependencyStream()
    {
        m_database->addOdDbObject(m_link.get(), OdDbObjectId(), OdDbHandle(0x200));
        m_top = m_database->getOdDbObjectId(OdDbHandle(0x123), /*create=*/true);
        m_tail = m_database->getOdDbObjectId(OdDbHandle(0x45), /*create=*/true);
    }

    /// Damaged bags report what is wrong with them; here it is the result that counts.
    ~ObjectDependencyStream() override { odSetAssertSink(m_sink); }

    Record fileOut(ZemDbObjectDependency const& link,
                   int dwgVersion = OdDb::kDwgVersionCurrent) const
    {
        return recordOf(
            m_database.get(), [&](OdDbDwgFiler* filer) { link.dwgOutFields(filer); }, dwgVersion);
    }
    Record fileOut() const { return fileOut(*m_link); }
    OdResult fileIn(ZemDbObjectDependency& link, Record const& record,
                    int dwgVersion = OdDb::kDwgVersionCurrent) const
    {
        return resultOf([&] {
            return readRecord(
                m_database.get(), record,
                [&](OdDbDwgFiler* filer) { return link.dwgInFields(filer); }, dwgVersion);
        });
    }
    /// Writes equal to a golden record, reads it into a fresh link, and writes that alike.
    void expectGolden(Record const& golden, int dwgVersion = OdDb::kDwgVersionCurrent)
    {
        EXPECT_EQ(fileOut(*m_link, dwgVersion), golden);
        const ZemDbObjectDependencyPtr copy = fresh();
        EXPECT_EQ(fileIn(*copy, golden, dwgVersion), kOdOk);
        EXPECT_EQ(copy->entityTag(), m_link->entityTag());
        EXPECT_EQ(copy->bodyHash(), m_link->bodyHash());
        EXPECT_EQ(copy->subentId(), m_link->subentId());
        EXPECT_EQ(copy->compoundId().compareTo(m_link->compoundId()), 0);
        EXPECT_EQ(fileOut(*copy, dwgVersion), golden);
    }
    static ZemDbObjectDependencyPtr fresh() { return odrxMake<ZemDbObjectDependency>(); }
    void setPath(OdDbObjectIdArray const& ids, OdDb::SubentType type, std::int64_t index)
    {
        m_link->setLinkObject(OdDbFullSubentPath(ids, OdDbSubentId(type, index)));
    }
    /// The whole of a record in an extended form: base and top, the version, what `write` adds.
    template <class Write>
    Record extended(std::int32_t version, Write const& write) const
    {
        return recordOf(m_database.get(), [&](OdDbDwgFiler* filer) {
            fresh()->OdDbObject::dwgOutFields(filer);
            filer->wrHardPointerId(m_top);
            filer->wrInt32(-1);
            filer->wrInt32(version);
            write(filer);
        });
    }

    OdAssertSink m_sink = odSetAssertSink([](OdAssertReport const&) {});
    ZemDbObjectDependencyPtr m_link = odrxMake<ZemDbObjectDependency>();
    OdDbObjectId m_top;
    OdDbObjectId m_tail;
};
class ObjectDependencyUndo : public StoredLinkTest
{
};
class ObjectDependencyClone : public StoredLinkTest
{
};
class ObjectDependencyDrawing : public ExternalLinkTest
{
protected:
    /// The drawing, saved for a version and opened again; the one in memory is left alone.
    OdDbDatabasePtr reopened(int dwgVersion)
    {
        const OdString name = path("host.zdw");
        odDbSaveDrawingAs(*m_database, name, dwgVersion);
        return odDbOpenDrawing(name, OdDbOpenDrawingMode::kForReading);
    }
    static ZemDbObjectDependencyPtr openIn(OdDbDatabase& database, OdDbObjectId link)
    {
        return open(database.getOdDbObjectId(link.getHandle()));
    }
};

/// What a filer got, as the names of its operations.
class ReferenceLog : public MemoryFiler
{
public:
    using MemoryFiler::MemoryFiler;

    void wrSoftPointerId(OdDbObjectId const& id) override
    {
        soft.push_back(id);
        MemoryFiler::wrSoftPointerId(id);
    }
    void wrHardPointerId(OdDbObjectId const& id) override
    {
        hard.push_back(id);
        MemoryFiler::wrHardPointerId(id);
    }

    std::vector<OdDbObjectId> soft;
    std::vector<OdDbObjectId> hard;
};

Bytes text(std::string const& text)
{
    Bytes bytes{static_cast<std::uint8_t>(text.size())};
    bytes.insert(bytes.end(), text.begin(), text.end());
    return bytes;
}

Bytes operator+(Bytes left, Bytes const& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// Reactors, extension dictionary and extended data that no link of these tests has.
const Bytes kBase{0x00, 0x00};
/// No extension dictionary (hard ownership), no owner (soft pointer).
const Bytes kBaseReferences{0x03, 0x00};
/// Hard pointer to 123.
const Bytes kTopReference{0x8D, 0x09};

void writeTexts(OdDbDwgFiler* filer, std::vector<std::pair<OdString, OdString>> const& pairs)
{
    filer->wrInt32(static_cast<std::int32_t>(pairs.size()));
    for (auto const& [key, value] : pairs) {
        filer->wrString(key);
        filer->wrString(value);
    }
}

bool isResult(OdResult result)
{
    return result == kOdOk || result == kOdRejectedVersion || result == kOdNewerLinkFormat ||
           result == kOdBadStream;
}

}  // namespace

//--------------------------------------------------------------------------------------------------
// Fields

TEST_F(ObjectDependency, LeadsNowhereAtFirst)
{
    const ZemDbObjectDependencyPtr link = odrxMake<ZemDbObjectDependency>();
    EXPECT_EQ(link->entityTag(), 0);
    EXPECT_EQ(link->bodyHash(), 0);
    EXPECT_EQ(link->subentId(), OdDbSubentId());
    EXPECT_TRUE(link->getInsertId().isNull());
    OdDbFullSubentPath path({m_solid}, OdDbSubentId(kFace, 1));
    EXPECT_EQ(link->getLinkObject(path, /*openErased=*/false), kOdOk);
    EXPECT_EQ(path, OdDbFullSubentPath());
}

TEST_F(ObjectDependency, GivesThePathThatWasSet)
{
    const OdDbFullSubentPath path(m_nested, OdDbSubentId(kEdge, 7));
    const OdDbObjectId id = addLink(path);
    OdDbFullSubentPath found;
    EXPECT_EQ(open(id)->getLinkObject(found, /*openErased=*/false), kOdOk);
    EXPECT_EQ(found, path);
    EXPECT_EQ(open(id)->getLinkObject(/*openErased=*/false), path);
    EXPECT_EQ(open(id)->getInsertId(), m_outerReference);
    EXPECT_EQ(open(id)->subentId(), OdDbSubentId(kEdge, 7));
    EXPECT_EQ(open(id)->compoundId().getPathPrefix(), m_nested);
}

TEST_F(ObjectDependency, AShorterPathReplacesALongerOneAsAWhole)
{
    const OdDbObjectId id = addLink(OdDbFullSubentPath(m_nested, OdDbSubentId(kEdge, 7)));
    const OdDbFullSubentPath path({m_solid}, OdDbSubentId());
    open(id, OdDb::kForWrite)->setLinkObject(path);
    EXPECT_EQ(open(id)->getLinkObject(/*openErased=*/false), path);
    EXPECT_TRUE(open(id)->compoundId().isSimpleObjectId());
}

TEST_F(ObjectDependency, IsUnresolvedWhileItsTargetIsErased)
{
    const OdDbFullSubentPath path({m_solid}, OdDbSubentId(kFace, 3));
    const OdDbObjectId id = addLink(path);
    erase(m_solid);
    OdDbFullSubentPath found;
    EXPECT_EQ(open(id)->getLinkObject(found, /*openErased=*/false), kOdUnresolvedPath);
    EXPECT_TRUE(found.objectIds().isEmpty());
    EXPECT_EQ(found.subentId(), path.subentId());
    EXPECT_EQ(open(id)->getLinkObject(found, /*openErased=*/true), kOdOk);
    EXPECT_EQ(found, path);
    EXPECT_EQ(open(id)->getInsertId(), m_solid);
    revive(m_solid);
    EXPECT_EQ(open(id)->getLinkObject(found, /*openErased=*/false), kOdOk);
}

TEST_F(ObjectDependency, KeepsTagAndHash)
{
    const OdDbObjectId id = addLink(OdDbFullSubentPath(), 7, std::numeric_limits<int>::min());
    EXPECT_EQ(open(id)->entityTag(), 7);
    EXPECT_EQ(open(id)->bodyHash(), std::numeric_limits<int>::min());
}

TEST_F(ObjectDependency, TakesTheChainOfAnotherOne)
{
    const OdDbObjectId from = addLink(OdDbFullSubentPath(m_nested, OdDbSubentId(kEdge, 7)));
    const OdDbObjectId to = addLink(OdDbFullSubentPath({m_solid}, OdDbSubentId(kFace, 1)));
    open(to, OdDb::kForWrite)->setCompoundId(open(from)->compoundId());
    EXPECT_EQ(open(to)->getLinkObject(false), OdDbFullSubentPath(m_nested, OdDbSubentId(kFace, 1)));
    open(to, OdDb::kForWrite)->setLinkObject(OdDbFullSubentPath());
    EXPECT_EQ(open(from)->compoundId().getPathPrefix(), m_nested);
}

TEST_F(ObjectDependency, ThatIsNotOpenForReadRefusesReaders)
{
    const OdDbObjectId id = addLink(OdDbFullSubentPath(m_nested, OdDbSubentId(kEdge, 7)));
    ZemDbObjectDependency* const link = open(id).get();  // closed, and kept by the database
    OdDbFullSubentPath path;
    using Call = void (*)(ZemDbObjectDependency&, OdDbFullSubentPath&);
    constexpr Call kReaders[] = {
        [](auto& it, auto& out) { (void)it.getLinkObject(out, false); },
        [](auto& it, auto&) { (void)it.getLinkObject(false); },
        [](auto& it, auto&) { (void)it.entityTag(); },
        [](auto& it, auto&) { (void)it.bodyHash(); },
        [](auto& it, auto&) { (void)it.getInsertId(); },
        [](auto& it, auto&) { (void)it.compoundId(); },
        [](auto& it, auto&) { (void)it.subentId(); },
        [](auto& it, auto&) { (void)it.isWatched(); },
        [](auto& it, auto& out) { (void)it.clone(out); },
        [](auto& it, auto&) { (void)it.getReadProperties(); },
        [](auto& it, auto&) {
            MemoryFiler filer;
            it.dwgOutFields(&filer);
        },
    };
    for (Call const& reader : kReaders) {
        EXPECT_EQ(thrownCode([&] { reader(*link, path); }), kOdNotOpenForRead)
            << &reader - kReaders;
    }
}

TEST_F(ObjectDependency, ThatIsNotOpenForWriteRefusesSetters)
{
    const OdDbObjectId id = addLink(OdDbFullSubentPath(m_nested, OdDbSubentId(kEdge, 7)), 3);
    const ZemDbObjectDependencyPtr link = open(id);
    using Call = void (*)(ZemDbObjectDependency&);
    constexpr Call kSetters[] = {
        [](auto& it) { it.setLinkObject(OdDbFullSubentPath()); },
        [](auto& it) { it.setEntityTag(1); },
        [](auto& it) { it.setBodyHash(1); },
        [](auto& it) { it.setCompoundId(ZemCompoundObjectId()); },
        [](auto& it) { (void)it.getWriteProperties(); },
        [](auto& it) {
            MemoryFiler filer;
            (void)it.dwgInFields(&filer);
        },
    };
    for (Call const& setter : kSetters) {
        EXPECT_EQ(thrownCode([&] { setter(*link); }), kOdNotOpenForWrite) << &setter - kSetters;
    }
    EXPECT_EQ(link->getLinkObject(false), OdDbFullSubentPath(m_nested, OdDbSubentId(kEdge, 7)));
    EXPECT_EQ(link->entityTag(), 3);
}

TEST_F(ObjectDependency, IsNoBiggerThanItsFields)
{
    // Drawings hold millions of links; what is added here has to be worth it.
    EXPECT_LE(sizeof(ZemDbObjectDependency), sizeof(OdDbObject) + 80);
}

//--------------------------------------------------------------------------------------------------
// Watching

TEST_F(ObjectDependency, IsWatchedWhileAReactorCanBeOpened)
{
    const OdDbObjectId id = addLink(OdDbFullSubentPath({m_solid}, OdDbSubentId()));
    EXPECT_FALSE(open(id)->isWatched());
    const OdDbObjectId gone = addXrecord(*m_database);
    const OdDbObjectId watcher = addXrecord(*m_database);
    open(id, OdDb::kForWrite)->addPersistentReactor(gone);
    EXPECT_TRUE(open(id)->isWatched());
    erase(gone);
    EXPECT_FALSE(open(id)->isWatched());
    open(id, OdDb::kForWrite)->addPersistentReactor(watcher);
    EXPECT_TRUE(open(id)->isWatched());
    open(id, OdDb::kForWrite)->removePersistentReactor(watcher);
    EXPECT_FALSE(open(id)->isWatched());
}

TEST_F(ObjectDependency, IsNotWatchedByAReactorThatNoObjectHas)
{
    const OdDbObjectId id = addLink(OdDbFullSubentPath({m_solid}, OdDbSubentId()));
    open(id, OdDb::kForWrite)->addPersistentReactor(nowhere());
    EXPECT_FALSE(open(id)->isWatched());
}

//--------------------------------------------------------------------------------------------------
// Copies with another path

TEST_F(ObjectDependency, ACopyWithAnotherPathKeepsTagAndHashAndIsInNoDatabase)
{
    const OdDbObjectId id = addLink(OdDbFullSubentPath(m_nested, OdDbSubentId(kEdge, 7)), 2, 99);
    open(id, OdDb::kForWrite)->addPersistentReactor(addXrecord(*m_database));
    const OdDbFullSubentPath path({m_solid}, OdDbSubentId(kVertex, 4));
    const ZemDbObjectDependencyPtr copy = open(id)->clone(path);
    EXPECT_EQ(copy->database(), nullptr);
    EXPECT_EQ(copy->entityTag(), 2);
    EXPECT_EQ(copy->bodyHash(), 99);
    EXPECT_EQ(copy->getLinkObject(false), path);
    EXPECT_TRUE(copy->getPersistentReactors().isEmpty());
    EXPECT_FALSE(copy->isWatched());
    EXPECT_EQ(open(id)->getLinkObject(false), OdDbFullSubentPath(m_nested, OdDbSubentId(kEdge, 7)));
}

TEST_F(ObjectDependency, ACopyAsAWholeKeepsThePath)
{
    const OdDbObjectId id = addLink(OdDbFullSubentPath(m_nested, OdDbSubentId(kEdge, 7)), 2, 99);
    const ZemDbObjectDependencyPtr link = open(id);
    const auto copy = ZemDbObjectDependency::cast(link->clone().get());
    EXPECT_EQ(copy->getLinkObject(false), open(id)->getLinkObject(false));
    EXPECT_EQ(copy->entityTag(), 2);
    EXPECT_EQ(copy->bodyHash(), 99);
}

TEST(ObjectDependencyClass, ThatIsNotRegisteredMakesNoCopies)
{
    const OdPlatform platform;
    const ZemDbObjectDependencyPtr link = odrxMake<ZemDbObjectDependency>();
    EXPECT_EQ(thrownCode([&] { (void)link->clone(OdDbFullSubentPath()); }), kOdClassNotRegistered);
}

//--------------------------------------------------------------------------------------------------
// Bag

TEST_F(ObjectDependency, ItsBagHoldsTagAndHash)
{
    const OdDbObjectId id = addLink(OdDbFullSubentPath({m_solid}, OdDbSubentId()), 7, -8);
    const ZemDbObjectDependencyPtr link = open(id, OdDb::kForWrite);
    ZemProperties& bag = link->getWriteProperties();
    EXPECT_EQ(bag.config(), 0);
    EXPECT_EQ(bag.version(), 0);
    int value = 0;
    EXPECT_TRUE(bag.getProperty(kTagKey, value));
    EXPECT_EQ(value, 7);
    EXPECT_TRUE(bag.getProperty(kBodyHashKey, value));
    EXPECT_EQ(value, -8);
    EXPECT_TRUE(bag.setProperty(kTagKey, 70));
    EXPECT_EQ(link->entityTag(), 70);
    link->setBodyHash(80);
    EXPECT_TRUE(link->getReadProperties().getProperty(L"body_top_hash", value));
    EXPECT_EQ(value, 80);
    EXPECT_EQ(&link->getReadProperties(), &bag);
}

//--------------------------------------------------------------------------------------------------
// Stored forms

TEST_F(ObjectDependencyStream, OfAPlainLinkIsTheOldestForm)
{
    setPath({m_top}, kFace, 5);
    expectGolden({kBase + Bytes{0x02, 0x0A},  // face, 5
                  kBaseReferences + kTopReference});
}

TEST_F(ObjectDependencyStream, OfALinkToAnObjectAsAWholeIsTheOldestFormToo)
{
    setPath({m_top}, kNoPart, 0);
    expectGolden({kBase + Bytes{0x00, 0x00}, kBaseReferences + kTopReference});
}

TEST_F(ObjectDependencyStream, OfATaggedLinkHasItsBagAndItsChain)
{
    setPath({m_top}, kVertex, 300);
    m_link->setEntityTag(2);
    m_link->setBodyHash(-3);
    expectGolden({kBase + Bytes{0x01, 0x06}                        // extended form, version 3
                      + Bytes{0x04}                                // items in the bag: 2
                      + text("body_top_hash") + Bytes{0x03, 0x05}  // int -3
                      + text("entity_tag") + Bytes{0x03, 0x04}     // int 2
                      + Bytes{0x01}                                // there are steps
                      + text("AcDbImpBlockRefPathObjectId") + Bytes{0x00, 0x02}  // 0, one step
                      + Bytes{0x00, 0x01}                                        // kind 0, state 1
                      + Bytes{0x06, 0xD8, 0x04},                                 // vertex, 300
                  kBaseReferences + kTopReference + Bytes{0x8C, 0x09}});  // soft pointer to 123
}

TEST_F(ObjectDependencyStream, OfALongChainIsExtendedWithoutATag)
{
    setPath({m_top, m_tail}, kEdge, 1);
    expectGolden({kBase + Bytes{0x01, 0x06}                        // extended form, version 3
                      + Bytes{0x04}                                // items in the bag: 2
                      + text("body_top_hash") + Bytes{0x03, 0x00}  // int 0
                      + text("entity_tag") + Bytes{0x03, 0x00}     // int 0
                      + Bytes{0x01}                                // there are steps
                      + text("AcDbImpBlockRefPathObjectId") + Bytes{0x00, 0x04}  // 0, two steps
                      + Bytes{0x00, 0x01, 0x00, 0x01}  // kind 0, state 1, twice
                      + Bytes{0x04, 0x02},             // edge, 1
                  kBaseReferences + kTopReference + Bytes{0x8C, 0x09, 0x94, 0x02}});
    expectGolden(fileOut(), OdDb::kDwgVersion30);
}

TEST_F(ObjectDependencyStream, OfABagWithMoreInItHasAllOfIt)
{
    setPath({m_top}, kFace, 1);
    m_link->setEntityTag(1);
    m_link->getWriteProperties().setProperty(L"note", OdString(L"hi"));
    const Record golden{kBase + Bytes{0x01, 0x06}                        // version 3
                            + Bytes{0x06}                                // items in the bag: 3
                            + text("body_top_hash") + Bytes{0x03, 0x00}  // int 0
                            + text("entity_tag") + Bytes{0x03, 0x02}     // int 1
                            + text("note") + Bytes{0x02} + text("hi")    // text
                            + Bytes{0x01} + text("AcDbImpBlockRefPathObjectId") +
                            Bytes{0x00, 0x02, 0x00, 0x01}  // one step
                            + Bytes{0x02, 0x02},           // face, 1
                        kBaseReferences + kTopReference + Bytes{0x8C, 0x09}};
    expectGolden(golden);
    const ZemDbObjectDependencyPtr copy = fresh();
    ASSERT_EQ(fileIn(*copy, golden), kOdOk);
    OdString note;
    EXPECT_TRUE(copy->getReadProperties().getProperty(L"note", note));
    EXPECT_EQ(note, L"hi");
}

TEST_F(ObjectDependencyStream, IsTheSameWhetherOrNotSomebodyHasAskedForTheBag)
{
    setPath({m_top, m_tail}, kEdge, 1);
    m_link->setBodyHash(12345);
    const Record before = fileOut();
    (void)m_link->getReadProperties();
    EXPECT_EQ(fileOut(), before);
}

TEST_F(ObjectDependencyStream, OfAPlainLinkLosesWhatWasAddedToTheBag)
{
    setPath({m_top}, kFace, 5);
    const Record plain = fileOut();
    m_link->getWriteProperties().setProperty(L"note", OdString(L"hi"));
    EXPECT_EQ(fileOut(), plain);
}

TEST_F(ObjectDependencyStream, OfAnOldDrawingLosesTagHashAndTailOfTheChain)
{
    setPath({m_top, m_tail}, kEdge, 1);
    m_link->setEntityTag(7);
    m_link->setBodyHash(8);
    const Record golden{kBase + Bytes{0x04, 0x02}, kBaseReferences + kTopReference};
    EXPECT_EQ(fileOut(*m_link, OdDb::kDwgVersion29), golden);
    const ZemDbObjectDependencyPtr copy = fresh();
    copy->setEntityTag(1);
    copy->setBodyHash(2);
    EXPECT_EQ(fileIn(*copy, golden, OdDb::kDwgVersion29), kOdOk);
    EXPECT_EQ(copy->entityTag(), 0);
    EXPECT_EQ(copy->bodyHash(), 0);
    EXPECT_EQ(copy->compoundId().getPathPrefix(), OdDbObjectIdArray{m_top});
    EXPECT_EQ(copy->subentId(), OdDbSubentId(kEdge, 1));
}

TEST_F(ObjectDependencyStream, IsExtendedFromDrawingVersion30On)
{
    m_link->setEntityTag(7);
    EXPECT_LT(fileOut(*m_link, OdDb::kDwgVersion29).body.size(), 5u);
    EXPECT_GT(fileOut(*m_link, OdDb::kDwgVersion30).body.size(), 5u);
    EXPECT_EQ(fileOut(*m_link, OdDb::kDwgVersion30), fileOut(*m_link, OdDb::kDwgVersionCurrent));
}

TEST_F(ObjectDependencyStream, HoldsTheLowerHalfOfAnIndex)
{
    setPath({m_top}, kFace, 0x1'0000'0007);
    const ZemDbObjectDependencyPtr copy = fresh();
    EXPECT_EQ(fileIn(*copy, fileOut()), kOdOk);
    EXPECT_EQ(copy->subentId(), OdDbSubentId(kFace, 7));
}

TEST_F(ObjectDependencyStream, AnEmptyChainComesBackAsOneStepThatLeadsNowhere)
{
    const ZemDbObjectDependencyPtr copy = fresh();
    EXPECT_EQ(fileIn(*copy, fileOut()), kOdOk);
    EXPECT_EQ(copy->compoundId().size(), 1u);
    OdDbFullSubentPath path;
    EXPECT_EQ(copy->getLinkObject(path, /*openErased=*/false), kOdUnresolvedPath);
}

TEST_F(ObjectDependencyStream, AnEmptyChainOfATaggedLinkComesBackEmpty)
{
    m_link->setEntityTag(1);
    const ZemDbObjectDependencyPtr copy = fresh();
    copy->setLinkObject(OdDbFullSubentPath(m_nested, OdDbSubentId()));
    EXPECT_EQ(fileIn(*copy, fileOut()), kOdOk);
    EXPECT_EQ(copy->compoundId().size(), 0u);
}

TEST_F(ObjectDependencyStream, NamesWhatItStartsFromAsNeededInFilesAlone)
{
    setPath({m_top}, kFace, 5);
    EXPECT_EQ(fileOut().references, kBaseReferences + kTopReference);
    for (const OdDb::FilerType type :
         {OdDb::FilerType::kCopyFiler, OdDb::FilerType::kUndoFiler, OdDb::FilerType::kPageFiler,
          OdDb::FilerType::kDeepCloneFiler, OdDb::FilerType::kIdXlateFiler,
          OdDb::FilerType::kPurgeFiler, OdDb::FilerType::kWblockCloneFiler}) {
        ReferenceLog filer(type);
        m_link->dwgOutFields(&filer);
        EXPECT_TRUE(filer.hard.empty());
        EXPECT_EQ(filer.soft.back(), m_top);
        filer.rewindForReading();
        const ZemDbObjectDependencyPtr copy = fresh();
        EXPECT_EQ(copy->dwgInFields(&filer), kOdOk);
        EXPECT_EQ(copy->getInsertId(), m_top);
        EXPECT_EQ(filer.bytesLeft(), 0u);
    }
}

TEST_F(ObjectDependencyStream, ThroughAFlatFilerKeepsAllButIds)
{
    setPath({m_top, m_tail}, kEdge, 9);
    m_link->setEntityTag(4);
    OdStaticRxObject<ZemFlatFiler> filer;
    filer.clear();
    m_link->dwgOutFields(&filer);
    filer.setBinaryData(filer.getBinaryData());
    const ZemDbObjectDependencyPtr copy = fresh();
    EXPECT_EQ(copy->dwgInFields(&filer), kOdOk);
    EXPECT_EQ(copy->entityTag(), 4);
    EXPECT_EQ(copy->subentId(), OdDbSubentId(kEdge, 9));
    EXPECT_EQ(copy->compoundId().size(), 2u);
    EXPECT_TRUE(copy->getInsertId().isNull());
}

//--------------------------------------------------------------------------------------------------
// Older and newer forms

TEST_F(ObjectDependencyStream, OfAVersionUpToOneHasAChainAndNoBag)
{
    for (const std::int32_t version : {1, 0, -1, std::numeric_limits<std::int32_t>::min()}) {
        const Record stored = extended(version, [this](OdDbDwgFiler* filer) {
            ZemCompoundObjectId chain;
            chain.setFullPath({m_top, m_tail}, /*keepTail=*/false);
            chain.dwgOutFields(filer, nullptr);
            filer->wrInt32(2);
            filer->wrInt32(11);
        });
        const ZemDbObjectDependencyPtr link = fresh();
        EXPECT_EQ(fileIn(*link, stored), kOdOk) << version;
        EXPECT_EQ(link->compoundId().getPathPrefix(), (OdDbObjectIdArray{m_top, m_tail}));
        EXPECT_EQ(link->subentId(), OdDbSubentId(kEdge, 11));
        EXPECT_EQ(link->entityTag(), 0);
        EXPECT_EQ(link->bodyHash(), 0);
        // It is written in the form of today.
        EXPECT_EQ(fileOut(*link), extended(3, [&link](OdDbDwgFiler* filer) {
                      link->getReadProperties().dwgOutFields(filer);
                      link->compoundId().dwgOutFields(filer, nullptr);
                      filer->wrInt32(2);
                      filer->wrInt32(11);
                  }));
    }
}

TEST_F(ObjectDependencyStream, OfVersionZeroIsReadFromItsBytes)
{
    const Record golden{kBase + Bytes{0x01, 0x00}  // extended form, version 0
                            + Bytes{0x01} + text("AcDbImpBlockRefPathObjectId") +
                            Bytes{0x00, 0x04}                // 0, two steps
                            + Bytes{0x00, 0x01}              // kind 0, state 1
                            + Bytes{0x00, 0x02, 0xB4, 0x24}  // kind 0, state 2, handle 1234
                            + Bytes{0x04, 0x16},             // edge, 11
                        kBaseReferences + kTopReference + Bytes{0x8C, 0x09}};
    const ZemDbObjectDependencyPtr link = fresh();
    EXPECT_EQ(fileIn(*link, golden), kOdOk);
    EXPECT_EQ(link->getInsertId(), m_top);
    EXPECT_EQ(link->compoundId().getHandle(1), OdDbHandle(0x1234));
    EXPECT_EQ(link->subentId(), OdDbSubentId(kEdge, 11));
}

TEST_F(ObjectDependencyStream, OfVersionTwoIsABagOfTextsAndNothingElse)
{
    const Record golden{kBase + Bytes{0x01, 0x04}  // extended form, version 2
                            + Bytes{0x06}          // pairs: 3
                            + text("AngleFirstArgOrientation") + text("Negative")  //
                            + text("entity_tag") + text("9")                       //
                            + text("name") + text("old"),
                        kBaseReferences + kTopReference};
    setPath(m_nested, kEdge, 7);
    m_link->setEntityTag(5);
    m_link->getWriteProperties().setProperty(L"left over", 1);
    EXPECT_EQ(fileIn(*m_link, golden), kOdRejectedVersion);
    // Path and part stay; a text in the place of the tag is no tag.
    EXPECT_EQ(m_link->compoundId().getPathPrefix(), m_nested);
    EXPECT_EQ(m_link->subentId(), OdDbSubentId(kEdge, 7));
    EXPECT_EQ(m_link->entityTag(), 5);
    ZemProperties const& bag = m_link->getReadProperties();
    OdString value;
    EXPECT_TRUE(bag.getProperty(L"AngleArgsOrientation", value));
    EXPECT_EQ(value, L"-++");
    EXPECT_TRUE(bag.getProperty(L"name", value));
    EXPECT_EQ(value, L"old");
    EXPECT_TRUE(bag.getProperty(L"left over").isNull());
}

TEST_F(ObjectDependencyStream, BehindVersionTwoTagAndHashAreBoundAgain)
{
    const Record stored = extended(2, [](OdDbDwgFiler* filer) {
        writeTexts(filer, {{L"name", L"old"}});
    });
    ASSERT_EQ(fileIn(*m_link, stored), kOdRejectedVersion);
    m_link->setEntityTag(6);
    m_link->setBodyHash(7);
    int value = 0;
    EXPECT_TRUE(m_link->getReadProperties().getProperty(kTagKey, value));
    EXPECT_EQ(value, 6);
    EXPECT_TRUE(m_link->getReadProperties().getProperty(kBodyHashKey, value));
    EXPECT_EQ(value, 7);
    const ZemDbObjectDependencyPtr copy = fresh();
    EXPECT_EQ(fileIn(*copy, fileOut()), kOdOk);
    EXPECT_EQ(copy->entityTag(), 6);
    EXPECT_EQ(copy->bodyHash(), 7);
}

TEST_F(ObjectDependencyStream, OfVersionTwoWithANegativeCountIsABadStream)
{
    const Record stored = extended(2, [](OdDbDwgFiler* filer) { filer->wrInt32(-1); });
    m_link->setEntityTag(5);
    m_link->getWriteProperties().setProperty(L"kept", 1);
    EXPECT_EQ(fileIn(*m_link, stored), kOdBadStream);
    EXPECT_EQ(m_link->entityTag(), 5);
    EXPECT_FALSE(m_link->getReadProperties().getProperty(L"kept").isNull());
}

TEST_F(ObjectDependencyStream, OfANewerVersionLeavesTheFieldsUnchanged)
{
    setPath(m_nested, kEdge, 7);
    m_link->setEntityTag(5);
    const Record before = fileOut();
    for (const std::int32_t version : {4, 5, std::numeric_limits<std::int32_t>::max()}) {
        EXPECT_EQ(fileIn(*m_link, extended(version, [](OdDbDwgFiler*) {})), kOdNewerLinkFormat);
        EXPECT_EQ(fileOut(), before);
    }
}

TEST_F(ObjectDependencyStream, OfANegativePartLeavesThePathAsItWas)
{
    const ZemDbObjectDependencyPtr link = fresh();
    const OdDbFullSubentPath path({m_top}, OdDbSubentId(kFace, 5));
    link->setLinkObject(path);
    const Record stored = extended(0, [](OdDbDwgFiler* filer) {
        ZemCompoundObjectId().dwgOutFields(filer, nullptr);
        filer->wrInt32(1);
        filer->wrInt32(-1);
    });
    EXPECT_EQ(fileIn(*link, stored), kOdBadStream);
    EXPECT_EQ(link->getLinkObject(true), path);
}

TEST_F(ObjectDependencyStream, OfANegativePartIsABadStream)
{
    struct Case
    {
        std::int32_t type;
        std::int32_t index;
    };
    for (const Case part : {Case{-1, 5}, Case{1, -1}, Case{-7, -7}}) {
        const Record stored = extended(0, [part](OdDbDwgFiler* filer) {
            ZemCompoundObjectId().dwgOutFields(filer, nullptr);
            filer->wrInt32(part.type);
            filer->wrInt32(part.index);
        });
        const ZemDbObjectDependencyPtr link = fresh();
        EXPECT_EQ(fileIn(*link, stored), kOdBadStream);
        EXPECT_EQ(link->subentId(), OdDbSubentId());
    }
    // In the oldest form the type isn't negative, the index may be.
    const Record oldest = recordOf(m_database.get(), [this](OdDbDwgFiler* filer) {
        fresh()->OdDbObject::dwgOutFields(filer);
        filer->wrHardPointerId(m_top);
        filer->wrInt32(1);
        filer->wrInt32(-5);
    });
    EXPECT_EQ(fileIn(*fresh(), oldest), kOdBadStream);
}

TEST_F(ObjectDependencyStream, AnUnknownTypeOfPartIsCarried)
{
    setPath({m_top}, static_cast<OdDb::SubentType>(77), 5);
    const ZemDbObjectDependencyPtr copy = fresh();
    EXPECT_EQ(fileIn(*copy, fileOut()), kOdOk);
    EXPECT_EQ(fileOut(*copy).body, fileOut().body);
}

TEST_F(ObjectDependencyStream, TheChainGoesBeforeTheIdInFrontOfIt)
{
    const Record stored = extended(1, [this](OdDbDwgFiler* filer) {
        ZemCompoundObjectId chain;
        chain.setTopId(m_tail);
        chain.dwgOutFields(filer, nullptr);
        filer->wrInt32(1);
        filer->wrInt32(1);
    });
    const ZemDbObjectDependencyPtr link = fresh();
    EXPECT_EQ(fileIn(*link, stored), kOdOk);
    EXPECT_EQ(link->getInsertId(), m_tail);
}

TEST_F(ObjectDependencyStream, AChainOfAnotherNameIsABadStream)
{
    const Record stored = extended(1, [](OdDbDwgFiler* filer) {
        filer->wrBool(true);
        filer->wrString(L"AnotherName");
        filer->wrInt16(0);
        filer->wrInt32(0);
        filer->wrInt32(1);
        filer->wrInt32(1);
    });
    const ZemDbObjectDependencyPtr link = fresh();
    EXPECT_EQ(thrownCode([&] { (void)fileIn(*link, stored); }), kOdOk);
    EXPECT_EQ(fileIn(*link, stored), kOdBadStream);
}

TEST_F(ObjectDependencyStream, OfANewerBagGivesWhatTheBagAnswers)
{
    for (const int storedVersion : {2, 127}) {
        const Record stored = extended(3, [storedVersion](OdDbDwgFiler* filer) {
            ZemProperties bag;
            bag.setVersion(storedVersion);
            bag.dwgOutFields(filer);
        });
        EXPECT_EQ(fileIn(*fresh(), stored), kOdRejectedVersion);
    }
    const Record wrongType = extended(3, [](OdDbDwgFiler* filer) {
        ZemProperties bag;
        bag.setProperty(kTagKey, OdString(L"a text"));
        bag.dwgOutFields(filer);
    });
    EXPECT_EQ(fileIn(*fresh(), wrongType), kOdBadStream);
}

TEST_F(ObjectDependencyStream, OfABagWithoutTagAndHashKeepsThem)
{
    const Record stored = extended(3, [](OdDbDwgFiler* filer) {
        ZemProperties().dwgOutFields(filer);
        ZemCompoundObjectId().dwgOutFields(filer, nullptr);
        filer->wrInt32(0);
        filer->wrInt32(0);
    });
    m_link->setEntityTag(3);
    EXPECT_EQ(fileIn(*m_link, stored), kOdOk);
    EXPECT_EQ(m_link->entityTag(), 3);
}

TEST_F(ObjectDependencyStream, TwoItemsNeedNotBeHashAndTag)
{
    struct Case
    {
        OdString first;
        OdString second;
        int hash;
        int tag;
    };
    for (Case const& row : {Case{kBodyHashKey, L"note", 5, 0}, Case{L"a note", kTagKey, 0, 6},
                            Case{L"a note", L"note", 0, 0}}) {
        const Record stored = extended(3, [&row](OdDbDwgFiler* filer) {
            ZemProperties bag;
            bag.setProperty(row.first, 5);
            bag.setProperty(row.second, 6);
            bag.dwgOutFields(filer);
            ZemCompoundObjectId().dwgOutFields(filer, nullptr);
            filer->wrInt32(1);
            filer->wrInt32(1);
        });
        const ZemDbObjectDependencyPtr link = fresh();
        EXPECT_EQ(fileIn(*link, stored), kOdOk);
        EXPECT_EQ(link->bodyHash(), row.hash);
        EXPECT_EQ(link->entityTag(), row.tag);
        int value = 0;
        EXPECT_TRUE(link->getReadProperties().getProperty(row.first, value));
        EXPECT_EQ(value, 5);
        EXPECT_TRUE(link->getReadProperties().getProperty(row.second, value));
        EXPECT_EQ(value, 6);
    }
}

TEST_F(ObjectDependencyStream, EachFilerGivesABagWithMoreInItToo)
{
    setPath({m_top, m_tail}, kEdge, 9);
    m_link->getWriteProperties().setProperty(L"note", OdString(L"hi"));
    const auto noteOf = [](OdDbDwgFiler& filer) {
        const ZemDbObjectDependencyPtr copy = fresh();
        EXPECT_EQ(copy->dwgInFields(&filer), kOdOk);
        OdString note;
        copy->getReadProperties().getProperty(L"note", note);
        return note;
    };
    OdStaticRxObject<ZemFlatFiler> flat;
    flat.clear();
    m_link->dwgOutFields(&flat);
    flat.setBinaryData(flat.getBinaryData());
    EXPECT_EQ(noteOf(flat), L"hi");
    MemoryFiler memory;
    m_link->dwgOutFields(&memory);
    memory.rewindForReading();
    EXPECT_EQ(noteOf(memory), L"hi");
}

TEST_F(ObjectDependencyStream, ReadingDropsWhatTheBagHeldBefore)
{
    setPath({m_top}, kFace, 1);
    m_link->setEntityTag(1);
    const Record stored = fileOut();
    m_link->getWriteProperties().setProperty(L"note", OdString(L"hi"));
    ZemProperties const& bag = m_link->getReadProperties();
    EXPECT_EQ(fileIn(*m_link, stored), kOdOk);
    EXPECT_TRUE(bag.getProperty(L"note").isNull());
    EXPECT_EQ(&m_link->getReadProperties(), &bag);
}

//--------------------------------------------------------------------------------------------------
// Damage

TEST_F(ObjectDependencyStream, CutAtAnyLengthIsABadStream)
{
    setPath({m_top}, kFace, 5);
    std::vector<Record> whole{fileOut()};
    setPath({m_top, m_tail}, kEdge, 1);
    m_link->setEntityTag(7);
    whole.push_back(fileOut());
    m_link->getWriteProperties().setProperty(L"note", OdString(L"hi"));
    whole.push_back(fileOut());
    whole.push_back(extended(2, [](OdDbDwgFiler* filer) {
        writeTexts(filer, {{L"key", L"value"}, {L"AngleFirstArgOrientation", L""}});
    }));
    for (Record const& record : whole) {
        for (std::size_t length = 0; length < record.body.size(); ++length) {
            Record cut = record;
            cut.body.resize(length);
            EXPECT_EQ(fileIn(*fresh(), cut), kOdBadStream) << length;
        }
        for (std::size_t length = 0; length < record.references.size(); ++length) {
            Record cut = record;
            cut.references.resize(length);
            EXPECT_EQ(fileIn(*fresh(), cut), kOdBadStream) << length;
        }
    }
}

TEST_F(ObjectDependencyStream, WithAnyBitFlippedGivesAToldResultAndALinkThatCanBeWritten)
{
    const auto check = [this](Record const& record) {
        const ZemDbObjectDependencyPtr link = fresh();
        const OdResult result = fileIn(*link, record);
        EXPECT_TRUE(isResult(result)) << result;
        (void)link->getLinkObject(/*openErased=*/true);
        const Record written = fileOut(*link);
        const ZemDbObjectDependencyPtr copy = fresh();
        EXPECT_EQ(fileIn(*copy, written), kOdOk);
        EXPECT_EQ(fileOut(*copy), written);
    };
    setPath({m_top}, kFace, 5);
    std::vector<Record> whole{fileOut()};
    setPath({m_top, m_tail}, kEdge, 1);
    m_link->setEntityTag(7);
    m_link->getWriteProperties().setProperty(L"note", OdString(L"hi"));
    whole.push_back(fileOut());
    whole.push_back(extended(2, [](OdDbDwgFiler* filer) {
        writeTexts(filer, {{L"key", L"value"}});
    }));
    for (Record const& record : whole) {
        for (std::size_t bit = 0; bit < 8 * record.body.size(); ++bit) {
            Record flipped = record;
            flipped.body[bit / 8] ^= static_cast<std::uint8_t>(1u << bit % 8);
            check(flipped);
        }
        for (std::size_t bit = 0; bit < 8 * record.references.size(); ++bit) {
            Record flipped = record;
            flipped.references[bit / 8] ^= static_cast<std::uint8_t>(1u << bit % 8);
            check(flipped);
        }
    }
}

TEST_F(ObjectDependencyStream, CountsThatTheFilerCantHoldAreBadStreams)
{
    constexpr std::int32_t kHuge = std::numeric_limits<std::int32_t>::max();
    const Record steps = extended(1, [](OdDbDwgFiler* filer) {
        filer->wrBool(true);
        filer->wrString(ZemCompoundObjectId::kAcDbImpBlockRefPathObjectId);
        filer->wrInt16(0);
        filer->wrInt32(kHuge);
    });
    const Record items = extended(3, [](OdDbDwgFiler* filer) { filer->wrInt32(kHuge); });
    const Record texts = extended(2, [](OdDbDwgFiler* filer) { filer->wrInt32(kHuge); });
    for (Record const& record : {steps, items, texts}) {
        EXPECT_EQ(fileIn(*fresh(), record), kOdBadStream);
    }
}

//--------------------------------------------------------------------------------------------------
// Undo

TEST_F(ObjectDependencyUndo, BringsBackEachFieldAndTakesItAgain)
{
    using Change = void (*)(ZemDbObjectDependency&, OdDbObjectIdArray const&);
    constexpr Change kChanges[] = {
        [](auto& link, auto const& ids) {
            link.setLinkObject(OdDbFullSubentPath(ids, OdDbSubentId(kEdge, 9)));
        },
        [](auto& link, auto const& ids) {
            link.setLinkObject(OdDbFullSubentPath({ids.last()}, OdDbSubentId()));
        },
        [](auto& link, auto const&) { link.setEntityTag(6); },
        [](auto& link, auto const&) { link.setEntityTag(0); },
        [](auto& link, auto const&) { link.setBodyHash(-6); },
        [](auto& link, auto const& ids) {
            ZemCompoundObjectId chain;
            chain.setFullPath(ids, /*keepTail=*/false);
            link.setCompoundId(chain);
        },
        [](auto& link, auto const&) {
            link.getWriteProperties().setProperty(L"note", OdString(L"hi"));
            link.setEntityTag(1);
        },
    };
    const auto stateOf = [this](OdDbObjectId id) {
        return recordOf(m_database.get(),
                        [id](OdDbDwgFiler* filer) { open(id)->dwgOutFields(filer); });
    };
    const OdDbObjectId plain = addLink(OdDbFullSubentPath({m_solid}, OdDbSubentId(kFace, 3)));
    const OdDbObjectId tagged = addLink(OdDbFullSubentPath({m_solid}, OdDbSubentId(kFace, 3)), 4);
    const OdDbObjectId chained = addLink(OdDbFullSubentPath(m_nested, OdDbSubentId(kFace, 3)));
    for (Change const& change : kChanges) {
        for (OdDbObjectId id : {plain, tagged, chained}) {
            SCOPED_TRACE(&change - kChanges);
            const Record before = stateOf(id);
            m_database->startUndoRecord();
            change(*open(id, OdDb::kForWrite), m_nested);
            const Record after = stateOf(id);
            ASSERT_EQ(m_database->undo(), kOdOk);
            EXPECT_EQ(stateOf(id), before);
            ASSERT_EQ(m_database->redo(), kOdOk);
            EXPECT_EQ(stateOf(id), after);
            ASSERT_EQ(m_database->undo(), kOdOk);
            EXPECT_EQ(stateOf(id), before);
        }
    }
}

TEST_F(ObjectDependencyUndo, TakesAnAddedLinkAwayAndBringsItBack)
{
    m_database->startUndoRecord();
    const OdDbFullSubentPath path(m_nested, OdDbSubentId(kEdge, 7));
    const OdDbObjectId id = addLink(path, 2, 3);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(open(id).isNull());
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(open(id)->getLinkObject(false), path);
    EXPECT_EQ(open(id)->entityTag(), 2);
    EXPECT_EQ(open(id)->bodyHash(), 3);
}

TEST_F(ObjectDependencyUndo, BringsBackPathsThroughExternalDrawings)
{
    const OdDbObjectId foreign = appendSolid(m_other->getModelSpaceId());
    const OdDbObjectId id =
        addLink(OdDbFullSubentPath({m_outerReference, foreign}, OdDbSubentId(kEdge, 7)));
    m_database->startUndoRecord();
    open(id, OdDb::kForWrite)->setLinkObject(OdDbFullSubentPath({m_solid}, OdDbSubentId()));
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(open(id)->compoundId().size(), 2u);
    EXPECT_EQ(open(id)->compoundId().getHandle(1), foreign.getHandle());
}

//--------------------------------------------------------------------------------------------------
// Clones

TEST_F(ObjectDependencyClone, LeadsToTheCloneOfItsTarget)
{
    const OdDbObjectId solid = appendSolid(m_model);
    const OdDbObjectId id = addLink(OdDbFullSubentPath({solid}, OdDbSubentId(kFace, 2)), 5, 6);
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    m_database->deepCloneObjects({solid}, m_outer, *mapping);
    m_database->deepCloneObjects({id}, m_database->getNamedObjectsDictionaryId(), *mapping);
    OdDbIdPair pair(id);
    OdDbIdPair target(solid);
    ASSERT_TRUE(mapping->compute(pair));
    ASSERT_TRUE(mapping->compute(target));
    EXPECT_NE(pair.value(), id);
    const OdDbFullSubentPath expected({target.value()}, OdDbSubentId(kFace, 2));
    EXPECT_EQ(open(pair.value())->getLinkObject(false), expected);
    EXPECT_EQ(open(pair.value())->compoundId().getHandle(0), target.value().getHandle());
    EXPECT_EQ(open(pair.value())->entityTag(), 5);
    EXPECT_EQ(open(pair.value())->bodyHash(), 6);
    EXPECT_EQ(open(id)->getLinkObject(false), OdDbFullSubentPath({solid}, OdDbSubentId(kFace, 2)));
}

TEST_F(ObjectDependencyClone, InOneDrawingKeepsATargetThatIsNotCloned)
{
    for (const int tag : {0, 1}) {
        const OdDbFullSubentPath path(m_nested, OdDbSubentId(kFace, 2));
        const OdDbObjectId id = addLink(path, tag);
        const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
        m_database->deepCloneObjects({id}, m_database->getNamedObjectsDictionaryId(), *mapping);
        OdDbIdPair pair(id);
        ASSERT_TRUE(mapping->compute(pair));
        EXPECT_EQ(open(pair.value())->getLinkObject(false), path);
    }
}

TEST_F(ObjectDependencyClone, InAnotherDrawingLeadsToTheCloneOfItsTarget)
{
    const OdDbObjectId solid = appendSolid(m_model);
    for (const int tag : {0, 9}) {
        const OdDbObjectId id = addLink(OdDbFullSubentPath({solid}, OdDbSubentId(kVertex, 8)), tag);
        const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
        m_other->wblockCloneObjects({solid}, m_other->getModelSpaceId(), *mapping,
                                    OdDb::DuplicateRecordCloning::kDrcIgnore);
        m_other->wblockCloneObjects({id}, m_other->getNamedObjectsDictionaryId(), *mapping,
                                    OdDb::DuplicateRecordCloning::kDrcIgnore);
        OdDbIdPair pair(id);
        OdDbIdPair target(solid);
        ASSERT_TRUE(mapping->compute(pair));
        ASSERT_TRUE(mapping->compute(target));
        EXPECT_EQ(pair.value().database(), m_other.get());
        EXPECT_EQ(open(pair.value())->getLinkObject(false),
                  OdDbFullSubentPath({target.value()}, OdDbSubentId(kVertex, 8)));
        EXPECT_EQ(open(pair.value())->entityTag(), tag);
    }
}

TEST_F(ObjectDependencyClone, InAnotherDrawingDoesntBringItsTargetAlong)
{
    for (const int tag : {0, 9}) {
        const OdDbObjectId id =
            addLink(OdDbFullSubentPath({m_outerReference}, OdDbSubentId()), tag);
        const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
        m_other->wblockCloneObjects({id}, m_other->getNamedObjectsDictionaryId(), *mapping,
                                    OdDb::DuplicateRecordCloning::kDrcIgnore);
        OdDbIdPair pair(id);
        OdDbIdPair target(m_outerReference);
        ASSERT_TRUE(mapping->compute(pair));
        EXPECT_FALSE(mapping->compute(target));
        EXPECT_TRUE(open(pair.value())->getInsertId().isNull());
        OdDbFullSubentPath path;
        EXPECT_EQ(open(pair.value())->getLinkObject(path, false), kOdUnresolvedPath);
    }
}

TEST_F(ObjectDependencyClone, IsListedByTheManagerThatGetsIt)
{
    const OdSmartPtr<ZemDbPersIdManager> manager = odrxMake<ZemDbPersIdManager>();
    const OdDbObjectId managerId = m_database->addOdDbObject(manager.get());
    const OdDbObjectId id = addLink(OdDbFullSubentPath({m_solid}, OdDbSubentId(kFace, 2)));
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    m_database->deepCloneObjects({id}, managerId, *mapping);
    OdDbIdPair pair(id);
    ASSERT_TRUE(mapping->compute(pair));
    EXPECT_EQ(manager->objectDependencyIds(), OdDbObjectIdArray{pair.value()});
    EXPECT_EQ(pair.value().openObject()->ownerId(), managerId);
}

TEST_F(ObjectDependencyClone, IsListedByNoOtherOwner)
{
    const OdDbObjectId id = addLink(OdDbFullSubentPath({m_solid}, OdDbSubentId(kFace, 2)));
    const OdDbDictionaryPtr dictionary =
        m_database->getNamedObjectsDictionaryId().openObject(OdDb::kForWrite);
    const auto count = dictionary->numEntries();
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    m_database->deepCloneObjects({id}, dictionary->objectId(), *mapping);
    EXPECT_EQ(dictionary->numEntries(), count);
    OdDbIdPair pair;
    open(id, OdDb::kForWrite)->appendToOwner(pair, nullptr, *mapping);
    open(id, OdDb::kForWrite)->appendToOwner(pair, dictionary.get(), *mapping);
    EXPECT_EQ(dictionary->numEntries(), count);
}

//--------------------------------------------------------------------------------------------------
// Drawings on disk

TEST_F(ObjectDependencyDrawing, KeepsLinksOfEveryForm)
{
    const OdDbObjectIdArray toPart = pathToPart();
    const OdDbObjectId plain = addLink(OdDbFullSubentPath({m_solid}, OdDbSubentId(kFace, 3)));
    const OdDbObjectId tagged =
        addLink(OdDbFullSubentPath({m_solid}, OdDbSubentId(kFace, 3)), 4, 5);
    const OdDbObjectId nested = addLink(OdDbFullSubentPath(m_nested, OdDbSubentId(kEdge, 12)));
    const OdDbObjectId external = addLink(OdDbFullSubentPath(toPart, OdDbSubentId(kVertex, 1)));
    for (const int version : {OdDb::kDwgVersion30, OdDb::kDwgVersionCurrent}) {
        const OdDbDatabasePtr drawing = reopened(version);
        const auto same = [&drawing](OdDbObjectId id) {
            return drawing->getOdDbObjectId(id.getHandle());
        };
        EXPECT_EQ(openIn(*drawing, plain)->getLinkObject(false),
                  OdDbFullSubentPath({same(m_solid)}, OdDbSubentId(kFace, 3)));
        EXPECT_EQ(openIn(*drawing, tagged)->entityTag(), 4);
        EXPECT_EQ(openIn(*drawing, tagged)->bodyHash(), 5);
        EXPECT_EQ(
            openIn(*drawing, nested)->getLinkObject(false),
            OdDbFullSubentPath({same(m_outerReference), same(m_innerReference), same(m_solid)},
                               OdDbSubentId(kEdge, 12)));
        OdDbFullSubentPath found;
        EXPECT_EQ(openIn(*drawing, external)->getLinkObject(found, false), kOdOk);
        EXPECT_EQ(found.objectIds().first(), same(m_reference));
        EXPECT_EQ(found.objectIds().last().getHandle(), m_partSolid);
        EXPECT_EQ(found.subentId(), OdDbSubentId(kVertex, 1));
    }
}

TEST_F(ObjectDependencyDrawing, OfVersion29KeepsTheFirstIdAlone)
{
    const OdDbObjectId tagged =
        addLink(OdDbFullSubentPath(m_nested, OdDbSubentId(kEdge, 12)), 7, 8);
    const OdDbDatabasePtr drawing = reopened(OdDb::kDwgVersion29);
    const ZemDbObjectDependencyPtr link = openIn(*drawing, tagged);
    EXPECT_EQ(link->entityTag(), 0);
    EXPECT_EQ(link->bodyHash(), 0);
    EXPECT_EQ(link->compoundId().size(), 1u);
    EXPECT_EQ(link->getInsertId().getHandle(), m_outerReference.getHandle());
    EXPECT_EQ(link->subentId(), OdDbSubentId(kEdge, 12));
}

TEST_F(ObjectDependencyDrawing, ATargetThatWasErasedWhenItWasSavedIsGoneAfterwardsToo)
{
    const OdDbObjectId id = addLink(OdDbFullSubentPath({m_solid}, OdDbSubentId(kFace, 3)));
    erase(m_solid);
    OdDbFullSubentPath path;
    EXPECT_EQ(open(id)->getLinkObject(path, /*openErased=*/false), kOdUnresolvedPath);
    const OdDbDatabasePtr drawing = reopened(OdDb::kDwgVersionCurrent);
    const ZemDbObjectDependencyPtr link = openIn(*drawing, id);
    EXPECT_EQ(link->getLinkObject(path, /*openErased=*/false), kOdUnresolvedPath);
    EXPECT_TRUE(path.objectIds().isEmpty());
    // The handle is known for ever, and a link can be found by it.
    EXPECT_EQ(link->getInsertId().getHandle(), m_solid.getHandle());
    EXPECT_EQ(link->getLinkObject(path, /*openErased=*/true), kOdOk);
}

TEST_F(ObjectDependencyDrawing, IsUnresolvedWithoutTheExternalDrawingAndComesBackWithIt)
{
    const OdDbObjectId id = addLink(OdDbFullSubentPath(pathToInsert(), OdDbSubentId(kEdge, 3)));
    std::filesystem::rename(m_folder / "part.zdw", m_folder / "away.zdw");
    const OdDbDatabasePtr drawing = reopened(OdDb::kDwgVersionCurrent);
    const ZemDbObjectDependencyPtr link = openIn(*drawing, id);
    OdDbFullSubentPath path;
    EXPECT_EQ(link->getLinkObject(path, /*openErased=*/false), kOdUnresolvedPath);
    EXPECT_EQ(path.objectIds().size(), 1u);
    EXPECT_EQ(link->compoundId().size(), 3u);
    std::filesystem::rename(m_folder / "away.zdw", m_folder / "part.zdw");
    EXPECT_EQ(link->getLinkObject(path, /*openErased=*/false), kOdOk);
    EXPECT_EQ(path.objectIds().last().getHandle(), m_partInner);
}

TEST_F(ObjectDependencyDrawing, LeadsToTheNewObjectsOfAReloadedDrawing)
{
    const OdDbObjectId id = addLink(OdDbFullSubentPath(pathToInsert(), OdDbSubentId(kEdge, 3)));
    ASSERT_EQ(OdDbXRefMan::reload(m_block), kOdOk);
    OdDbFullSubentPath path;
    EXPECT_EQ(open(id)->getLinkObject(path, /*openErased=*/false), kOdOk);
    EXPECT_EQ(path.objectIds(), pathToInsert());
    EXPECT_FALSE(path.objectIds().last().openObject().isNull());
}

namespace {

/// A link that files itself in a form of another version.
class LinkOfVersion : public ZemDbObjectDependency
{
public:
    void dwgOutFields(OdDbDwgFiler* filer) const override
    {
        OdDbObject::dwgOutFields(filer);
        if (filer->filerType() == OdDb::FilerType::kFileFiler) {
            filer->wrHardPointerId(OdDbObjectId::kNull);
        } else {
            filer->wrSoftPointerId(OdDbObjectId::kNull);
        }
        filer->wrInt32(-1);
        filer->wrInt32(version);
        writeTexts(filer, {{L"name", L"old"}});
        filer->wrInt32(1);
        filer->wrInt32(1);
    }

    std::int32_t version = 0;
};

}  // namespace

TEST_F(ObjectDependencyDrawing, AFormThatIsNotReadWholeIsCarriedAsItIs)
{
    for (const std::int32_t version : {2, 4}) {
        const OdSmartPtr<LinkOfVersion> stored = odrxMake<LinkOfVersion>();
        stored->version = version;
        const OdDbObjectId id =
            m_database->addOdDbObject(stored.get(), m_database->getNamedObjectsDictionaryId());
        const OdString name = path("host.zdw");
        odDbSaveDrawingAs(*m_database, name);
        OdDbDatabasePtr drawing = odDbOpenDrawing(name, OdDbOpenDrawingMode::kForReading);
        // A link that was written anew would have the null id for its path.
        EXPECT_EQ(openIn(*drawing, id)->compoundId().size(), 0u);
        const OdString again = path("again.zdw");
        odDbSaveDrawingAs(*drawing, again);
        drawing = odDbOpenDrawing(again, OdDbOpenDrawingMode::kForReading);
        const ZemDbObjectDependencyPtr link = openIn(*drawing, id);
        EXPECT_EQ(link->compoundId().size(), 0u);
        OdString text;
        EXPECT_EQ(link->getReadProperties().getProperty(L"name", text), version == 2);
        EXPECT_EQ(text, version == 2 ? L"old" : L"");
    }
}
