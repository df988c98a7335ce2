#include "db/db_test_support.h"
#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "db/od_db_entity.h"
#include "db/od_db_host_app_services.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_object_store.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_subent.h"
#include "db/od_db_xrecord.h"
#include "root/od_alloc.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <limits>

using namespace dbtest;

namespace {

class NewDatabase : public DatabaseTest
{
};

TEST_F(NewDatabase, HasItsTablesDictionariesAndSpaces)
{
    EXPECT_EQ(m_db->getBlockTableId().objectClass(), OdDbBlockTable::desc());
    EXPECT_EQ(m_db->getLayerTableId().objectClass(), OdDbLayerTable::desc());
    EXPECT_EQ(m_db->getLinetypeTableId().objectClass(), OdDbLinetypeTable::desc());
    EXPECT_EQ(m_db->getRegAppTableId().objectClass(), OdDbRegAppTable::desc());
    EXPECT_EQ(m_db->getNamedObjectsDictionaryId().objectClass(), OdDbDictionary::desc());
    const OdDbSymbolTablePtr blocks = m_db->getBlockTableId().openObject();
    EXPECT_EQ(blocks->getAt(L"*Model_Space"), m_db->getModelSpaceId());
    EXPECT_EQ(blocks->getAt(L"*Paper_Space"), m_db->getPaperSpaceId());
    const OdDbSymbolTablePtr layers = m_db->getLayerTableId().openObject();
    EXPECT_EQ(layers->getAt(L"0"), m_db->getLayerZeroId());
    const OdDbSymbolTablePtr linetypes = m_db->getLinetypeTableId().openObject();
    EXPECT_EQ(linetypes->getAt(L"Continuous"), m_db->getLinetypeContinuousId());
    EXPECT_EQ(linetypes->getAt(L"ByLayer"), m_db->getLinetypeByLayerId());
    EXPECT_EQ(linetypes->getAt(L"ByBlock"), m_db->getLinetypeByBlockId());
}

TEST_F(NewDatabase, HasTheSameHandlesEveryTime)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    EXPECT_EQ(other->getModelSpaceId().getHandle(), m_db->getModelSpaceId().getHandle());
    EXPECT_EQ(other->handseed(), m_db->handseed());
    EXPECT_GE(m_db->handseed().value(), 0x20U);
    EXPECT_EQ(addBag().getHandle().value(), 0x20U);
}

TEST_F(NewDatabase, HasEveryObjectClosedAndNothingToUndo)
{
    for (OdDbHandle at = m_db->nextHandle(); !at.isNull(); at = m_db->nextHandle(at)) {
        EXPECT_EQ(m_db->getOdDbObjectId(at).openObject()->numRefs(), 2) << at.value();
    }
    EXPECT_FALSE(m_db->hasUndo());
    EXPECT_EQ(m_db->undoBytes(), 0U);
    EXPECT_EQ(m_db->numActiveTransactions(), 0);
}

TEST_F(NewDatabase, MayBeBare)
{
    const OdDbDatabasePtr bare = OdDbDatabase::createBare();
    EXPECT_TRUE(bare->nextHandle().isNull());
    EXPECT_TRUE(bare->getNamedObjectsDictionaryId().isNull());
    EXPECT_FALSE(bare->isRegisteredApp(L"x"));
    EXPECT_EQ(thrownCode([&] { (void)bare->newRegApp(L"x"); }), kOdNullObjectId);
    EXPECT_FALSE(bare->isChanged());
}

TEST_F(NewDatabase, IsCountedWhileItLives)
{
    const int before = OdDbDatabase::liveCount();
    OdDbDatabasePtr other = OdDbDatabase::createObject();
    EXPECT_EQ(OdDbDatabase::liveCount(), before + 1);
    other.release();
    EXPECT_EQ(OdDbDatabase::liveCount(), before);
}

TEST_F(NewDatabase, TakesItsObjectsWithIt)
{
    const std::int64_t before = OdDbObject::liveCount();
    OdDbDatabasePtr other = OdDbDatabase::createObject();
    for (int index = 0; index < 100; ++index) {
        other->addOdDbObject(TestBag::createObject().get());
    }
    EXPECT_GT(OdDbObject::liveCount(), before + 100);
    other.release();
    EXPECT_EQ(OdDbObject::liveCount(), before);
}

class Database : public DatabaseTest
{
};

TEST_F(Database, IsAnObjectOfItsOwnThatIsAlwaysOpen)
{
    EXPECT_EQ(m_db->database(), m_db.get());
    EXPECT_TRUE(m_db->objectId().isNull());
    EXPECT_TRUE(m_db->isReadEnabled());
    EXPECT_TRUE(m_db->isWriteEnabled());
    EXPECT_EQ(m_db->erase(), kOdNotInDatabase);
    EXPECT_TRUE(OdDbDatabase::desc()->create().isNull());
}

TEST_F(Database, RefusesObjectsThatAreInADatabase)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const TestBagPtr bag = TestBag::createObject();
    other->addOdDbObject(bag.get());
    EXPECT_EQ(thrownCode([&] { m_db->addOdDbObject(bag.get()); }), kOdAlreadyInDatabase);
    EXPECT_EQ(thrownCode([&] { other->addOdDbObject(bag.get()); }), kOdAlreadyInDatabase);
    EXPECT_EQ(thrownCode([&] { m_db->addOdDbObject(nullptr); }), kOdNullObjectPointer);
    EXPECT_EQ(thrownCode([&] { m_db->addOdDbObject(m_db.get()); }), kOdAlreadyInDatabase);
    EXPECT_EQ(bag->database(), other.get());
}

TEST_F(Database, RefusesAnOwnerOfAnotherDatabase)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const TestBagPtr bag = TestBag::createObject();
    const OdDbHandle seed = m_db->handseed();
    EXPECT_EQ(thrownCode([&] { m_db->addOdDbObject(bag.get(), other->getModelSpaceId()); }),
              kOdWrongDatabase);
    EXPECT_EQ(bag->database(), nullptr);
    EXPECT_EQ(m_db->handseed(), seed);
}

TEST_F(Database, AcceptsAnOwnerThatIsErased)
{
    const OdDbObjectId owner = addBag();
    ASSERT_EQ(eraseObject(owner), kOdOk);
    const OdDbObjectId id = addBag(1, owner);
    EXPECT_EQ(resident(id).ownerId(), owner);
    EXPECT_EQ(eraseObject(id), kOdOk);
}

TEST_F(Database, KnowsTheClassesOfItsObjectsInOrderOfFirstUse)
{
    const std::uint32_t before = m_db->classCount();
    addBag();
    addReactor();
    addBag();
    ASSERT_EQ(m_db->classCount(), before + 2);
    EXPECT_EQ(m_db->classRecord(before).name, OdString(L"TestBag"));
    EXPECT_EQ(m_db->classRecord(before + 1), odDbClassRecordOf(*TestReactor::desc()));
    EXPECT_THROW((void)m_db->classRecord(before + 2), OdError_InvalidIndex);
}

TEST_F(Database, FindsAClassAgainThatWasRegisteredAnew)
{
    const OdDbObjectId before = addBag();
    const std::uint32_t classes = m_db->classCount();
    TestReactor::rxUninit();
    TestBag::rxUninit();
    EXPECT_EQ(before.objectClass(), nullptr);
    TestBag::rxInit();
    TestReactor::rxInit();
    EXPECT_EQ(before.objectClass(), TestBag::desc());
    addBag();
    EXPECT_EQ(m_db->classCount(), classes);
}

TEST_F(Database, TakesOverWhatAClassIsRegisteredAnewWith)
{
    const OdDbObjectId before = addBag();
    const std::uint32_t number = OdDbStorageAccess(*m_db).state(before.getHandle()).classIndex;
    TestReactor::rxUninit();
    TestBag::rxUninit();
    TestBag::rxInit([](OdRxClass const*, OdString& appName, int) { appName = L"Newer"; });
    TestReactor::rxInit();
    addBag();
    EXPECT_EQ(m_db->classRecord(number).appName, OdString(L"Newer"));
}

TEST_F(Database, MakesARootOnceThoughAReactorMakesItWhenItIsTold)
{
    const OdDbObjectId watcher = addReactor();
    watch(m_db->getNamedObjectsDictionaryId(), watcher);
    OdDbObjectId made;
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kOpenedForModify) {
            made = m_db->getMaterialDictionaryId(/*create=*/true);
        }
    };
    EXPECT_EQ(m_db->getMaterialDictionaryId(/*create=*/true), made);
    EXPECT_FALSE(made.isNull());
    EXPECT_FALSE(made.isErased());
}

TEST_F(Database, KeepsItsFileNameOutOfUndo)
{
    m_db->startUndoRecord();
    m_db->setFilename(L"part.zdw");
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(m_db->getFilename(), OdString(L"part.zdw"));
}

TEST_F(Database, FilesItsSettingsAndRoots)
{
    m_db->setINSUNITS(OdDb::UnitsValue::kUnitsMeters);
    m_db->setINSBASE(OdGePoint3d(1, 2, 3));
    OdStaticRxObject<OdDbMemoryFiler> filer;
    m_db->dwgOutFields(&filer);
    filer.rewindForReading();
    const OdDbDatabasePtr bare = OdDbDatabase::createBare();
    ASSERT_EQ(bare->dwgInFields(&filer), kOdOk);
    EXPECT_EQ(bare->getINSUNITS(), OdDb::UnitsValue::kUnitsMeters);
    EXPECT_EQ(bare->getINSBASE(), OdGePoint3d(1, 2, 3));
    EXPECT_EQ(bare->getPINSBASE(), OdGePoint3d());
    EXPECT_EQ(bare->getModelSpaceId(), m_db->getModelSpaceId());
}

TEST_F(Database, TakesTheOriginForABaseThatIsNoPoint)
{
    class SpoiltBase : public OdDbMemoryFiler
    {
    public:
        OdGePoint3d rdPoint3d() override
        {
            const double none = std::numeric_limits<double>::quiet_NaN();
            (void)OdDbMemoryFiler::rdPoint3d();
            return OdGePoint3d(none, std::numeric_limits<double>::infinity(), 0);
        }
    };
    OdStaticRxObject<SpoiltBase> filer;
    m_db->dwgOutFields(&filer);
    filer.rewindForReading();
    const OdDbDatabasePtr bare = OdDbDatabase::createBare();
    ASSERT_EQ(bare->dwgInFields(&filer), kOdOk);
    EXPECT_EQ(bare->getINSBASE(), OdGePoint3d());
    EXPECT_EQ(bare->getPINSBASE(), OdGePoint3d());
}

TEST_F(Database, TakesProtocolExtensionsThatTheClassAndTheObjectBothAnswer)
{
    const TestBagPtr extension = TestBag::createObject();
    OdDbDatabase::desc()->addX(TestBag::desc(), extension.get());
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    EXPECT_EQ(OdDbDatabase::desc()->getX(TestBag::desc()).get(), extension.get());
    EXPECT_EQ(TestBagPtr(OdRxObjectPtr(m_db)).get(), extension.get());
    EXPECT_EQ(TestBagPtr(OdRxObjectPtr(other)).get(), extension.get());
    OdDbDatabase::desc()->delX(TestBag::desc());
    EXPECT_TRUE(TestBag::cast(m_db.get()).isNull());
}

TEST_F(Database, TellsOfChangesSinceItWasSaved)
{
    OdDbStorageAccess access(*m_db);
    EXPECT_TRUE(m_db->isChanged());
    access.markSaved();
    const OdDbObjectId id = addBag();
    EXPECT_TRUE(resident(id).isNewObject());
    EXPECT_TRUE(access.state(id.getHandle()).changed);
    access.markSaved();
    EXPECT_FALSE(resident(id).isNewObject());
    EXPECT_FALSE(m_db->isChanged());
    m_db->startUndoRecord();
    ASSERT_EQ(eraseObject(id), kOdOk);
    access.markSaved();
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(access.state(id.getHandle()).changed);
    access.markSaved();
    m_db->startUndoRecord();
    m_db->setINSUNITS(OdDb::UnitsValue::kUnitsFeet);
    access.markSaved();
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(m_db->isChanged());
}

TEST_F(Database, AnswersNothingForAHandleItHasNoIdOf)
{
    const OdDbObjectState state = OdDbStorageAccess(*m_db).state(OdDbHandle(0x99999));
    EXPECT_EQ(state.object, nullptr);
    EXPECT_EQ(state.residency, OdDbResidency::kUnknown);
    EXPECT_TRUE(OdDbStorageAccess(*m_db).idOf(OdDbHandle()).isNull());
}

// ---------------------------------------------------------------------------------------------

TEST(UnitsConversion, FollowsTheDefinitionsOfTheUnits)
{
    using OdDb::UnitsValue;
    struct Row
    {
        UnitsValue from;
        UnitsValue to;
        double expected;
    };
    for (Row const& row : {Row{UnitsValue::kUnitsInches, UnitsValue::kUnitsMillimeters, 25.4},
                           Row{UnitsValue::kUnitsFeet, UnitsValue::kUnitsInches, 12.0},
                           Row{UnitsValue::kUnitsMiles, UnitsValue::kUnitsFeet, 5280.0},
                           Row{UnitsValue::kUnitsYards, UnitsValue::kUnitsFeet, 3.0},
                           Row{UnitsValue::kUnitsMils, UnitsValue::kUnitsMicroinches, 1000.0},
                           Row{UnitsValue::kUnitsKilometers, UnitsValue::kUnitsMeters, 1000.0},
                           Row{UnitsValue::kUnitsMeters, UnitsValue::kUnitsAngstroms, 1.0e10},
                           Row{UnitsValue::kUnitsParsecs, UnitsValue::kUnitsAstronomical,
                               648000.0 / 3.14159265358979323846}}) {
        EXPECT_NEAR(oddbGetUnitsConversion(row.from, row.to) / row.expected, 1.0, 1e-12);
        EXPECT_NEAR(oddbGetUnitsConversion(row.to, row.from) * row.expected, 1.0, 1e-12);
    }
}

TEST(UnitsConversion, IsOneForUndefinedAndUnknownUnits)
{
    using OdDb::UnitsValue;
    for (UnitsValue odd :
         {UnitsValue::kUnitsUndefined, static_cast<UnitsValue>(21), static_cast<UnitsValue>(-1)}) {
        EXPECT_EQ(oddbGetUnitsConversion(odd, UnitsValue::kUnitsMeters), 1.0);
        EXPECT_EQ(oddbGetUnitsConversion(UnitsValue::kUnitsMeters, odd), 1.0);
    }
    for (std::int16_t unit = 0; unit <= 20; ++unit) {
        const auto value = static_cast<UnitsValue>(unit);
        EXPECT_EQ(oddbGetUnitsConversion(value, value), 1.0);
    }
}

// ---------------------------------------------------------------------------------------------

TEST(HostAppServices, FindFilesBesideTheDrawingFirst)
{
    namespace fs = std::filesystem;
    const fs::path folder =
        fs::temp_directory_path() / ("zem_db_host_services_" + std::to_string(getpid()));
    fs::create_directories(folder / "sub");
    std::ofstream(folder / "part.zdw") << "x";
    OdDbHostAppServices services;
    auto text = [](fs::path const& path) { return OdString::fromUtf8(path.string()); };

    EXPECT_EQ(services.findFile(L"part.zdw", text(folder / "main.zdw")), text(folder / "part.zdw"));
    EXPECT_EQ(services.findFile(text(folder / "part.zdw"), OdString()), text(folder / "part.zdw"));
    EXPECT_TRUE(services.findFile(L"absent.zdw", text(folder / "main.zdw")).isEmpty());
    EXPECT_TRUE(services.findFile(L"sub", text(folder / "main.zdw")).isEmpty());
    EXPECT_TRUE(services.findFile(L"", text(folder / "main.zdw")).isEmpty());
    fs::remove_all(folder);
}

TEST(HostAppServices, KeepTheParameterCopyMode)
{
    OdDbHostAppServices services;
    services.setParameterCopyMode(-7);
    EXPECT_EQ(services.parameterCopyMode(), -7);
}

TEST_F(Database, GivesTheServicesThatItWasMadeWithOrItsOwn)
{
    OdDbHostAppServices services;
    {
        const OdDbDatabasePtr db = OdDbDatabase::createObject(&services);
        EXPECT_EQ(db->appServices(), &services);
    }
    EXPECT_NE(m_db->appServices(), nullptr);
}

// ---------------------------------------------------------------------------------------------

class IdMapping : public DatabaseTest
{
};

TEST_F(IdMapping, HoldsEachKeyOnceInTheOrderOfEntering)
{
    const OdDbObjectId a = addBag();
    const OdDbObjectId b = addBag();
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    OdDbIdPair pair(b);
    EXPECT_FALSE(mapping->compute(pair));
    mapping->assign(OdDbIdPair(b, a, /*isCloned=*/true, /*isPrimary=*/true, false));
    mapping->assign(OdDbIdPair(a, b, false));
    mapping->assign(OdDbIdPair(a, OdDbObjectId::kNull, false));
    EXPECT_TRUE(mapping->compute(pair));
    EXPECT_EQ(pair.value(), a);
    EXPECT_TRUE(pair.isCloned());
    EXPECT_TRUE(pair.isPrimary());
    EXPECT_FALSE(pair.isOwnerTranslated());
    EXPECT_EQ(mapping->size(), 2U);
    const auto at = mapping->newIterator();
    EXPECT_EQ(at->getMap().key(), b);
    at->next();
    EXPECT_EQ(at->getMap().key(), a);
    EXPECT_TRUE(at->getMap().value().isNull());
    at->next();
    EXPECT_TRUE(at->done());
}

TEST_F(IdMapping, KnowsItsContextAndDatabases)
{
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    mapping->setDeepCloneContext(OdDb::DeepCloneType::kDcInsert);
    mapping->setOrigDb(m_db.get());
    mapping->setDestDb(m_db.get());
    EXPECT_EQ(mapping->deepCloneContext(), OdDb::DeepCloneType::kDcInsert);
    EXPECT_EQ(mapping->origDb(), m_db.get());
    EXPECT_EQ(mapping->destDb(), m_db.get());
}

TEST_F(IdMapping, PairsTakeEachOfTheirFields)
{
    OdDbIdPair pair;
    pair.setKey(m_db->getModelSpaceId());
    pair.setValue(m_db->getPaperSpaceId());
    pair.setCloned(true);
    pair.setPrimary(true);
    pair.setOwnerTranslated(true);
    EXPECT_EQ(pair.key(), m_db->getModelSpaceId());
    EXPECT_EQ(pair.value(), m_db->getPaperSpaceId());
    EXPECT_TRUE(pair.isCloned() && pair.isPrimary() && pair.isOwnerTranslated());
}

TEST_F(IdMapping, IsReachedThroughTheFilersOfCloning)
{
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    OdStaticRxObject<OdDbDeepCloneFiler> filer(OdDb::FilerType::kWblockCloneFiler, m_db.get(),
                                               mapping.get());
    OdDbFiler const* base = &filer;
    EXPECT_EQ(OdDbDeepCloneFiler::cast(base)->idMapping(), mapping.get());
    EXPECT_EQ(base->filerType(), OdDb::FilerType::kWblockCloneFiler);
    EXPECT_EQ(base->dwgVersion(), OdDb::kDwgVersionCurrent);
    OdStaticRxObject<OdDbMemoryFiler> plain;
    EXPECT_TRUE(OdDbDeepCloneFiler::cast(&plain).isNull());
}

class SubentPath : public DatabaseTest
{
};

TEST_F(SubentPath, ComparesByContent)
{
    OdDbObjectIdArray ids;
    ids.append(addBag());
    const OdDbSubentId face(OdDb::SubentType::kFaceSubentType, 5);
    const OdDbFullSubentPath path(ids, face);
    OdDbFullSubentPath other;
    EXPECT_NE(path, other);
    other.setObjectIds(ids);
    other.setSubentId(face);
    EXPECT_EQ(path, other);
    other.objectIds().append(OdDbObjectId::kNull);
    EXPECT_NE(path, other);
    OdDbSubentId edge = face;
    edge.setType(OdDb::SubentType::kEdgeSubentType);
    edge.setIndex(-1);
    EXPECT_NE(face, edge);
    EXPECT_EQ(OdDbSubentId().type(), OdDb::SubentType::kNullSubentType);
}

// ---------------------------------------------------------------------------------------------

TEST(PlatformLife, NestsAndEndsWithTheLastStop)
{
    EXPECT_EQ(OdDbObject::desc(), nullptr);
    odDbStart();
    odDbStart();
    EXPECT_NE(OdDbObject::desc(), nullptr);
    odDbStop();
    EXPECT_NE(OdDbObject::desc(), nullptr);
    odDbStop();
    EXPECT_EQ(OdDbObject::desc(), nullptr);
    EXPECT_EQ(odrxClassDictionary()->size(), 0U);
    odDbStop();
    odDbStart();
    EXPECT_NE(OdDbObject::desc(), nullptr);
    odDbStop();
}

TEST(PlatformLife, RegistersBasesBeforeTheirDerivedClasses)
{
    const OdDbPlatform platform;
    for (auto const& [name, cls] : *odrxClassDictionary()) {
        if (cls->parent() != nullptr) {
            EXPECT_LT(cls->parent()->registrationNumber(), cls->registrationNumber())
                << name.utf8();
        }
    }
}

TEST(PlatformLife, GoesOnWhileADatabaseIsAlive)
{
    AssertRecorder asserts;
    OdDbDatabasePtr db;
    {
        const OdDbPlatform platform;
        db = OdDbDatabase::createObject();
    }
    EXPECT_EQ(asserts.take().size(), 1U);
    EXPECT_EQ(thrownCode([] { odDbStop(); }), kOdDatabaseInUse);
    EXPECT_NE(OdDbObject::desc(), nullptr);
    db.release();
    odDbStop();
    EXPECT_EQ(OdDbObject::desc(), nullptr);
}

TEST(PlatformLife, GoesOnWhileAModulesClassesAreRegistered)
{
    AssertRecorder asserts;
    {
        const OdDbPlatform platform;
        TestBag::rxInit();
    }
    EXPECT_EQ(asserts.take().size(), 1U);
    EXPECT_EQ(thrownCode([] { odDbStop(); }), kOdModuleInUse);
    EXPECT_EQ(TestBag::desc()->parent(), OdDbObject::desc());
    TestBag::rxUninit();
    odDbStop();
    EXPECT_EQ(OdDbObject::desc(), nullptr);
}

TEST(PlatformLife, RegistersNothingIfAClassNameIsTaken)
{
    // A stranger in the middle of the table, so that there is something to take back.
    OdRxClass* const base = newOdRxClass(L"OdRxObject", nullptr, nullptr);
    OdRxClass* const stranger = newOdRxClass(L"OdDbXrecord", base, nullptr);
    deleteOdRxClass(base);
    EXPECT_EQ(thrownCode([] { odDbStart(); }), kOdClassAlreadyRegistered);
    EXPECT_EQ(odrxClassDictionary()->size(), 1U);
    EXPECT_EQ(OdRxObject::desc(), nullptr);
    EXPECT_EQ(OdDbObject::desc(), nullptr);

    deleteOdRxClass(stranger);
    odDbStart();
    EXPECT_NE(OdDbXrecord::desc(), nullptr);
    odDbStop();
    EXPECT_EQ(odrxClassDictionary()->size(), 0U);
}

TEST(PlatformLife, RegistersAModulesClassesAgainAfterTheyWereTakenAway)
{
    const OdDbPlatform platform;
    const std::size_t before = odrxClassDictionary()->size();
    for (int round = 0; round < 3; ++round) {
        const std::int64_t blocks = odrxLiveBlocks();
        TestBag::rxInit();
        TestReactor::rxInit();
        EXPECT_EQ(thrownCode([] { TestBag::rxInit(); }), kOdClassAlreadyRegistered);
        EXPECT_EQ(odrxClassDictionary()->size(), before + 2);
        EXPECT_EQ(TestReactor::desc()->parent(), TestBag::desc());
        TestReactor::rxUninit();
        TestBag::rxUninit();
        EXPECT_EQ(thrownCode([] { TestBag::rxUninit(); }), kOdClassNotRegistered);
        EXPECT_EQ(odrxClassDictionary()->size(), before);
        EXPECT_EQ(odrxLiveBlocks(), blocks);
    }
}

}  // namespace
