#include "db/od_db_block_reference.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_xref_man.h"
#include "store/drawing_test_support.h"

#include <gtest/gtest.h>

/// A reference that refuses to be erased until it is told otherwise.
class StoreTestKeptReference : public OdDbBlockReference
{
    RX_DECLARE_CLASS(StoreTestKeptReference);

public:
    OdResult subErase(bool erasing) override
    {
        return isKept ? kOdNotApplicable : OdDbBlockReference::subErase(erasing);
    }

    bool isKept = true;
};
RX_DEFINE_CLASS(StoreTestKeptReference, OdDbBlockReference, odrxCreate<StoreTestKeptReference>,
                L"StoreTestKeptReference", OdDb::kDwgVersionCurrent, 0, 0,
                L"STORE_TEST_KEPT_REFERENCE", L"StoreTests");

namespace {

namespace fs = std::filesystem;

OdDbBlockTableRecordPtr openBlock(OdDbObjectId id, OdDb::OpenMode mode = OdDb::kForRead)
{
    return OdDbBlockTableRecord::cast(id.safeOpenObject(mode).get());
}

OdDbObjectId addLine(OdDbDatabase& database, double length)
{
    const OdDbLinePtr line = OdDbLine::createObject();
    line->setEndPoint(OdGePoint3d(length, 0, 0));
    return openBlock(database.getModelSpaceId(), OdDb::kForWrite)->appendOdDbEntity(line.get());
}

double lengthOf(OdDbObjectId id)
{
    const OdDbLinePtr line = OdDbLine::cast(id.openObject().get());
    return line.isNull() ? -1.0 : line->endPoint().x;
}

OdDb::XrefStatus statusOf(OdDbObjectId block)
{
    return openBlock(block)->xrefStatus();
}

OdDbDatabase* externalOf(OdDbObjectId block)
{
    return openBlock(block)->xrefDatabase();
}

OdDbObjectId blockNamed(OdDbDatabase& database, wchar_t const* name)
{
    const OdDbSymbolTablePtr table = database.getBlockTableId().safeOpenObject();
    return table->getAt(name);
}

/// Objects that can be seen in a block.
std::vector<OdDbObjectId> entitiesOf(OdDbObjectId block)
{
    std::vector<OdDbObjectId> ids;
    for (auto walk = openBlock(block)->newIterator(); !walk->done(); walk->step()) {
        ids.push_back(walk->objectId());
    }
    return ids;
}

/// Tests of drawings that lie in one folder and are external to one another.
class OdDbXRefManTest : public testing::Test
{
protected:
    OdDbPlatform platform;
    TemporaryFolder folder;

    /// Saves a drawing with one line, and with a drawing attached for each name in `attached`.
    void saveDrawing(char const* name, double length, std::vector<OdString> const& attached = {},
                     bool asOverlay = false)
    {
        const OdDbDatabasePtr database = OdDbDatabase::createObject();
        addLine(*database, length);
        database->setFilename(textOf(folder.file(name)));
        for (OdString const& path : attached) {
            asOverlay ? OdDbXRefMan::overlay(*database, path)
                      : OdDbXRefMan::attach(*database, path);
        }
        odDbSaveDrawingAs(*database, textOf(folder.file(name)));
    }

    /// A drawing that lies in the folder, without having been saved.
    OdDbDatabasePtr makeHost()
    {
        OdDbDatabasePtr host = OdDbDatabase::createObject();
        host->setFilename(textOf(folder.file("host.zdw")));
        return host;
    }
};

TEST_F(OdDbXRefManTest, AttachMakesABlockWhoseContentIsTheOtherDrawingsModelSpace)
{
    saveDrawing("part.zdw", 7);
    const OdDbDatabasePtr host = makeHost();
    OdResult result = kOdNotApplicable;
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw", OdString(), &result);
    EXPECT_EQ(result, kOdOk);
    const OdDbBlockTableRecordPtr record = openBlock(block);
    EXPECT_EQ(record->getName(), L"part");
    EXPECT_TRUE(record->isFromExternalReference());
    EXPECT_FALSE(record->isFromOverlayReference());
    EXPECT_EQ(record->pathName(), L"part.zdw");
    EXPECT_EQ(record->xrefStatus(), OdDb::XrefStatus::kXrfResolved);
    EXPECT_EQ(record->entityCount(), 0U);

    OdDbDatabase* external = record->xrefDatabase();
    ASSERT_NE(external, nullptr);
    EXPECT_NE(external, host.get());
    EXPECT_EQ(external->xrefBlockId(), block);
    EXPECT_TRUE(host->xrefBlockId().isNull());
    const std::vector<OdDbObjectId> entities = entitiesOf(external->getModelSpaceId());
    ASSERT_EQ(entities.size(), 1U);
    EXPECT_EQ(lengthOf(entities[0]), 7);
    EXPECT_EQ(entities[0].database(), external);
    EXPECT_EQ(entities[0].originalDatabase(), external);
}

TEST_F(OdDbXRefManTest, ABlockTakesInsertBaseAndUnitsOfItsDrawing)
{
    const OdDbDatabasePtr part = OdDbDatabase::createObject();
    part->setINSBASE(OdGePoint3d(1, 2, 3));
    part->setINSUNITS(OdDb::UnitsValue::kUnitsInches);
    odDbSaveDrawingAs(*part, textOf(folder.file("part.zdw")));
    const OdDbDatabasePtr host = makeHost();
    const OdDbBlockTableRecordPtr record = openBlock(OdDbXRefMan::attach(*host, L"part.zdw"));
    EXPECT_EQ(record->origin(), OdGePoint3d(1, 2, 3));
    EXPECT_EQ(record->blockInsertUnits(), OdDb::UnitsValue::kUnitsInches);
}

TEST_F(OdDbXRefManTest, APlainBlockIsNoExternalDrawing)
{
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId block = host->getModelSpaceId();
    EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfNotAnXref);
    EXPECT_EQ(externalOf(block), nullptr);
    for (const OdDbObjectId id : {block, OdDbObjectId::kNull, host->getLayerZeroId()}) {
        EXPECT_EQ(OdDbXRefMan::load(id), kOdNotApplicable);
        EXPECT_EQ(OdDbXRefMan::unload(id), kOdNotApplicable);
        EXPECT_EQ(OdDbXRefMan::reload(id), kOdNotApplicable);
        EXPECT_EQ(OdDbXRefMan::detach(id), kOdNotApplicable);
        EXPECT_EQ(OdDbXRefMan::bind(id), kOdNotApplicable);
    }
    OdDbBlockTableRecord const* none = nullptr;
    EXPECT_EQ(OdDbXRefMan::load(none), kOdNotApplicable);
    EXPECT_EQ(OdDbXRefMan::unload(none), kOdNotApplicable);
}

TEST_F(OdDbXRefManTest, AttachRefusesAnEmptyPathAndANameThatIsTaken)
{
    saveDrawing("part.zdw", 7);
    const OdDbDatabasePtr host = makeHost();
    EXPECT_THROW(OdDbXRefMan::attach(*host, OdString()), OdError);
    OdDbXRefMan::attach(*host, L"part.zdw");
    EXPECT_THROW(OdDbXRefMan::attach(*host, L"part.zdw"), OdError);
}

TEST_F(OdDbXRefManTest, TheSameDrawingCanFillTwoBlocks)
{
    saveDrawing("part.zdw", 7);
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId first = OdDbXRefMan::attach(*host, L"part.zdw", L"first");
    const OdDbObjectId second = OdDbXRefMan::attach(*host, L"part.zdw", L"second");
    ASSERT_NE(externalOf(first), externalOf(second));
    EXPECT_EQ(externalOf(first)->xrefBlockId(), first);
    EXPECT_EQ(externalOf(second)->xrefBlockId(), second);
}

TEST_F(OdDbXRefManTest, AMissingFileLeavesABlockThatCanBeLoadedLater)
{
    const OdDbDatabasePtr host = makeHost();
    OdResult result = kOdOk;
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw", OdString(), &result);
    EXPECT_EQ(result, kOdFileNotFound);
    EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfFileNotFound);
    EXPECT_EQ(externalOf(block), nullptr);
    EXPECT_EQ(OdDbXRefMan::load(block), kOdFileNotFound);

    saveDrawing("part.zdw", 7);
    EXPECT_EQ(OdDbXRefMan::load(block), kOdOk);
    EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfResolved);
}

TEST_F(OdDbXRefManTest, ADamagedFileLeavesTheBlockUnresolved)
{
    writeFile(folder.file("part.zdw"), "this is no drawing");
    const OdDbDatabasePtr host = makeHost();
    OdResult result = kOdOk;
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw", OdString(), &result);
    EXPECT_EQ(result, kOdFileCorrupt);
    EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfUnresolved);
}

TEST_F(OdDbXRefManTest, ARelativePathCountsFromTheHostsFolder)
{
    fs::create_directory(folder.file("parts"));
    fs::create_directory(folder.file("parts/inner"));
    saveDrawing("parts/inner/screw.zdw", 3);
    saveDrawing("parts/part.zdw", 7, {L"inner/screw.zdw"});
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"parts/part.zdw");
    EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfResolved);
    EXPECT_EQ(statusOf(blockNamed(*externalOf(block), L"screw")), OdDb::XrefStatus::kXrfResolved);
}

TEST_F(OdDbXRefManTest, ADrawingBringsWhatIsAttachedToItButNotWhatIsOverlaid)
{
    saveDrawing("screw.zdw", 3);
    saveDrawing("attached.zdw", 7, {L"screw.zdw"});
    saveDrawing("overlaid.zdw", 7, {L"screw.zdw"}, /*asOverlay=*/true);
    const OdDbDatabasePtr host = makeHost();
    OdDbDatabase* attached = externalOf(OdDbXRefMan::attach(*host, L"attached.zdw"));
    OdDbDatabase* overlaid = externalOf(OdDbXRefMan::overlay(*host, L"overlaid.zdw"));
    ASSERT_NE(attached, nullptr);
    ASSERT_NE(overlaid, nullptr);
    OdDbDatabase* screw = externalOf(blockNamed(*attached, L"screw"));
    ASSERT_NE(screw, nullptr);
    EXPECT_EQ(screw->xrefBlockId(), blockNamed(*attached, L"screw"));
    EXPECT_EQ(externalOf(blockNamed(*overlaid, L"screw")), nullptr);
    EXPECT_EQ(statusOf(blockNamed(*overlaid, L"screw")), OdDb::XrefStatus::kXrfUnresolved);
}

TEST_F(OdDbXRefManTest, ADrawingThatContainsItselfIsNotAttached)
{
    saveDrawing("host.zdw", 1);
    const OdDbDatabasePtr host = makeHost();
    OdResult result = kOdOk;
    EXPECT_TRUE(OdDbXRefMan::attach(*host, L"host.zdw", L"other", &result).isNull());
    EXPECT_EQ(result, kOdCyclicReference);
    EXPECT_TRUE(blockNamed(*host, L"other").isNull());
    fs::create_symlink(folder.file("host.zdw"), folder.file("link.zdw"));
    EXPECT_TRUE(OdDbXRefMan::attach(*host, L"link.zdw", OdString(), &result).isNull());
    EXPECT_EQ(result, kOdCyclicReference);
}

TEST_F(OdDbXRefManTest, DrawingsInARingAreLoadedOnceEach)
{
    saveDrawing("b.zdw", 1);
    saveDrawing("a.zdw", 1, {L"b.zdw"});
    saveDrawing("b.zdw", 2, {L"a.zdw"});
    const OdDbDatabasePtr host = makeHost();
    OdDbDatabase* a = externalOf(OdDbXRefMan::attach(*host, L"a.zdw"));
    ASSERT_NE(a, nullptr);
    OdDbDatabase* b = externalOf(blockNamed(*a, L"b"));
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(externalOf(blockNamed(*b, L"a")), nullptr);
    EXPECT_EQ(statusOf(blockNamed(*b, L"a")), OdDb::XrefStatus::kXrfUnresolved);
    EXPECT_EQ(OdDbXRefMan::load(blockNamed(*b, L"a")), kOdCyclicReference);
}

TEST_F(OdDbXRefManTest, FilesCantMakeAHostLoadOrBindWithoutEnd)
{
    saveDrawing("d0.zdw", 1);
    for (int level = 1; level <= 12; ++level) {
        const OdDbDatabasePtr database = OdDbDatabase::createObject();
        const std::string name = "d" + std::to_string(level) + ".zdw";
        OdString inner;
        inner.format(L"d%d.zdw", level - 1);
        OdDbXRefMan::attach(*database, inner, L"left");
        OdDbXRefMan::attach(*database, inner, L"right");
        odDbSaveDrawingAs(*database, textOf(folder.file(name.c_str())));
    }
    const int before = OdDbDatabase::liveCount();
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"d12.zdw");
    EXPECT_LE(OdDbDatabase::liveCount() - before, 1001);
    EXPECT_EQ(OdDbXRefMan::bind(block), kOdOk);
    EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfNotAnXref);
    EXPECT_LE(OdDbDatabase::liveCount() - before, 2001);  // emptied ones are kept for their ids
}

TEST_F(OdDbXRefManTest, UnloadingKeepsTheBlockAndItsIdsButOpensNothing)
{
    saveDrawing("part.zdw", 7);
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    OdDbDatabase* external = externalOf(block);
    const OdDbObjectId line = entitiesOf(external->getModelSpaceId()).at(0);
    EXPECT_EQ(OdDbXRefMan::unload(block), kOdOk);
    EXPECT_EQ(OdDbXRefMan::unload(block), kOdOk);
    EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfUnloaded);
    EXPECT_EQ(externalOf(block), nullptr);
    EXPECT_EQ(openBlock(block)->xrefDatabase(/*includeUnloaded=*/true), external);
    EXPECT_FALSE(line.isNull());
    EXPECT_FALSE(line.isErased());
    EXPECT_TRUE(line.openObject().isNull());
    EXPECT_TRUE(external->getModelSpaceId().openObject().isNull());
}

TEST_F(OdDbXRefManTest, AfterReloadingOldIdsLeadToTheNewObjects)
{
    saveDrawing("screw.zdw", 3);
    saveDrawing("part.zdw", 7, {L"screw.zdw"});
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    OdDbDatabase* external = externalOf(block);
    const OdDbObjectId line = entitiesOf(external->getModelSpaceId()).at(0);
    const OdDbObjectId thread =
        entitiesOf(externalOf(blockNamed(*external, L"screw"))->getModelSpaceId()).at(0);

    for (int round = 1; round <= 3; ++round) {
        saveDrawing("screw.zdw", 30 + round);
        saveDrawing("part.zdw", 70 + round, {L"screw.zdw"});
        ASSERT_EQ(OdDbXRefMan::reload(block), kOdOk);
        EXPECT_EQ(lengthOf(line), 70 + round);
        EXPECT_EQ(lengthOf(thread), 30 + round);
        const OdDbObjectId now = entitiesOf(externalOf(block)->getModelSpaceId()).at(0);
        EXPECT_EQ(line, now);
        EXPECT_EQ(line.originalDatabase(), external);
        EXPECT_EQ(line.database(), externalOf(block));
        EXPECT_EQ(line.getHandle(), now.getHandle());
        OdDbObjectId converted = line;
        converted.convertToRedirectedId();
        EXPECT_EQ(converted.originalDatabase(), externalOf(block));
    }
}

TEST_F(OdDbXRefManTest, AnObjectThatIsGoneAfterReloadingCantBeOpened)
{
    saveDrawing("part.zdw", 7);
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    const OdDbObjectId line = entitiesOf(externalOf(block)->getModelSpaceId()).at(0);
    {
        const OdDbDatabasePtr part =
            odDbOpenDrawing(textOf(folder.file("part.zdw")), OdDbOpenDrawingMode::kForWriting);
        part->getOdDbObjectId(line.getHandle()).safeOpenObject(OdDb::kForWrite)->erase();
        odDbSaveDrawing(*part);
    }
    ASSERT_EQ(OdDbXRefMan::reload(block), kOdOk);
    EXPECT_TRUE(line.openObject().isNull());
    EXPECT_FALSE(line.isNull());
}

TEST_F(OdDbXRefManTest, ADrawingWithAnOpenObjectIsNotUnloaded)
{
    saveDrawing("screw.zdw", 3);
    saveDrawing("part.zdw", 7, {L"screw.zdw"});
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    OdDbDatabase* screw = externalOf(blockNamed(*externalOf(block), L"screw"));
    {
        const OdDbObjectPtr open = screw->getModelSpaceId().safeOpenObject();
        EXPECT_EQ(OdDbXRefMan::unload(block), kOdDatabaseInUse);
        EXPECT_EQ(OdDbXRefMan::reload(block), kOdDatabaseInUse);
        EXPECT_EQ(OdDbXRefMan::detach(block), kOdDatabaseInUse);
        EXPECT_EQ(OdDbXRefMan::bind(block), kOdDatabaseInUse);
        EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfResolved);
    }
    EXPECT_EQ(OdDbXRefMan::unload(block), kOdOk);
}

TEST_F(OdDbXRefManTest, UnloadingReportsNothingErased)
{
    saveDrawing("part.zdw", 7);
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    const OdDbObjectId line = entitiesOf(externalOf(block)->getModelSpaceId()).at(0);
    OdDbXRefMan::unload(block);
    EXPECT_FALSE(line.isErased());
    EXPECT_FALSE(block.isErased());
}

TEST_F(OdDbXRefManTest, DetachErasesTheBlockAndItsReferencesAndUndoBringsThemBack)
{
    saveDrawing("part.zdw", 7);
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    const OdDbObjectId reference =
        openBlock(host->getModelSpaceId(), OdDb::kForWrite)
            ->appendOdDbEntity(OdDbBlockReference::createObject(block, OdGePoint3d(1, 0, 0)).get());
    host->startUndoRecord();
    ASSERT_EQ(OdDbXRefMan::detach(block), kOdOk);
    EXPECT_TRUE(block.isErased());
    EXPECT_TRUE(reference.isErased());
    ASSERT_EQ(host->undo(), kOdOk);
    EXPECT_FALSE(block.isErased());
    EXPECT_FALSE(reference.isErased());
    EXPECT_EQ(OdDbXRefMan::load(block), kOdOk);
    EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfResolved);
}

TEST_F(OdDbXRefManTest, ADrawingThatIsGoneWhenReloadedIsUnresolvedAndNotUnloaded)
{
    for (bool isUnloaded : {false, true}) {
        saveDrawing("part.zdw", 7);
        const OdDbDatabasePtr host = makeHost();
        const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
        if (isUnloaded) {
            ASSERT_EQ(OdDbXRefMan::unload(block), kOdOk);
        }
        fs::remove(folder.file("part.zdw"));
        EXPECT_EQ(OdDbXRefMan::reload(block), kOdFileNotFound);
        EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfFileNotFound);
        EXPECT_FALSE(openBlock(block)->isUnloaded());
        saveDrawing("part.zdw", 8);
        EXPECT_EQ(OdDbXRefMan::loadAll(*host), kOdOk);
        EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfResolved);
        fs::remove(folder.file("part.zdw"));
    }
}

TEST_F(OdDbXRefManTest, AReferenceThatRefusesToGoKeepsADrawingFromBeingDetached)
{
    saveDrawing("part.zdw", 7);
    StoreTestKeptReference::rxInit();
    {
        const OdDbDatabasePtr host = makeHost();
        const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
        const OdDbBlockTableRecordPtr space = openBlock(host->getModelSpaceId(), OdDb::kForWrite);
        const OdDbObjectId first =
            space->appendOdDbEntity(OdDbBlockReference::createObject(block, OdGePoint3d()).get());
        const OdSmartPtr<StoreTestKeptReference> kept = odrxCreate<StoreTestKeptReference>();
        kept->setBlockTableRecord(block);
        space->appendOdDbEntity(kept.get());
        EXPECT_EQ(OdDbXRefMan::detach(block), kOdNotApplicable);
        EXPECT_FALSE(first.isErased());
        EXPECT_FALSE(block.isErased());
        EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfResolved);
        kept->isKept = false;
        EXPECT_EQ(OdDbXRefMan::detach(block), kOdOk);
        EXPECT_TRUE(block.isErased());
    }
    StoreTestKeptReference::rxUninit();
}

TEST_F(OdDbXRefManTest, ASavedDrawingLoadsItsExternalDrawingsWhenAsked)
{
    saveDrawing("kept.zdw", 1);
    saveDrawing("away.zdw", 2);
    saveDrawing("over.zdw", 3);
    {
        const OdDbDatabasePtr host = makeHost();
        OdDbXRefMan::attach(*host, L"kept.zdw");
        OdDbXRefMan::overlay(*host, L"over.zdw");
        OdDbXRefMan::unload(OdDbXRefMan::attach(*host, L"away.zdw"));
        odDbSaveDrawingAs(*host, textOf(folder.file("host.zdw")));
    }
    const OdDbDatabasePtr host =
        odDbOpenDrawing(textOf(folder.file("host.zdw")), OdDbOpenDrawingMode::kForReading);
    const OdDbObjectId kept = blockNamed(*host, L"kept");
    EXPECT_EQ(statusOf(kept), OdDb::XrefStatus::kXrfUnresolved);
    EXPECT_EQ(statusOf(blockNamed(*host, L"away")), OdDb::XrefStatus::kXrfUnloaded);
    EXPECT_EQ(OdDbXRefMan::loadAll(*host), kOdOk);
    EXPECT_EQ(statusOf(kept), OdDb::XrefStatus::kXrfResolved);
    EXPECT_EQ(statusOf(blockNamed(*host, L"over")), OdDb::XrefStatus::kXrfResolved);
    EXPECT_TRUE(openBlock(blockNamed(*host, L"over"))->isFromOverlayReference());
    EXPECT_EQ(statusOf(blockNamed(*host, L"away")), OdDb::XrefStatus::kXrfUnloaded);
    EXPECT_EQ(lengthOf(entitiesOf(externalOf(kept)->getModelSpaceId()).at(0)), 1);
}

TEST_F(OdDbXRefManTest, AnExternalDrawingMayOutliveItsHost)
{
    saveDrawing("part.zdw", 7);
    OdDbDatabasePtr external;
    {
        const OdDbDatabasePtr host = makeHost();
        external = externalOf(OdDbXRefMan::attach(*host, L"part.zdw"));
        ASSERT_FALSE(external.isNull());
    }
    EXPECT_TRUE(external->xrefBlockId().isNull());
    EXPECT_EQ(entitiesOf(external->getModelSpaceId()).size(), 1U);
}

TEST_F(OdDbXRefManTest, AnUnloadedDrawingThatIsHeldForgetsItsHost)
{
    saveDrawing("part.zdw", 7);
    OdDbDatabasePtr external;
    {
        const OdDbDatabasePtr host = makeHost();
        const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
        external = externalOf(block);
        OdDbXRefMan::unload(block);
    }
    EXPECT_TRUE(external->xrefBlockId().isNull());
}

TEST_F(OdDbXRefManTest, AHostGoesWithItsUnloadedDrawings)
{
    saveDrawing("part.zdw", 7);
    const int before = OdDbDatabase::liveCount();
    {
        const OdDbDatabasePtr host = makeHost();
        const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
        OdDbXRefMan::reload(block);
        OdDbXRefMan::unload(block);
    }
    EXPECT_EQ(OdDbDatabase::liveCount(), before);
}

/// A part with a line on a layer of its own, named as the host names one.
void saveLayeredPart(fs::path const& path)
{
    const OdDbDatabasePtr part = OdDbDatabase::createObject();
    const OdDbSymbolTablePtr table = part->getLayerTableId().safeOpenObject(OdDb::kForWrite);
    const OdDbLayerTableRecordPtr layer = OdDbLayerTableRecord::createObject();
    layer->setName(L"edges");
    const OdDbObjectId id = table->add(layer.get());
    OdDbLine::cast(addLine(*part, 7).safeOpenObject(OdDb::kForWrite).get())->setLayer(id);
    odDbSaveDrawingAs(*part, textOf(path));
}

OdString layerOfFirstEntity(OdDbObjectId block)
{
    const OdDbEntityPtr entity = OdDbEntity::cast(entitiesOf(block).at(0).safeOpenObject().get());
    const OdDbSymbolTableRecordPtr layer = entity->layerId().safeOpenObject();
    return layer->getName();
}

void addLayer(OdDbDatabase& database, wchar_t const* name)
{
    const OdDbSymbolTablePtr table = database.getLayerTableId().safeOpenObject(OdDb::kForWrite);
    const OdDbLayerTableRecordPtr layer = OdDbLayerTableRecord::createObject();
    layer->setName(name);
    table->add(layer.get());
}

TEST_F(OdDbXRefManTest, BindMakesAPlainBlockWithNamesOfItsOwn)
{
    saveLayeredPart(folder.file("part.zdw"));
    const OdDbDatabasePtr host = makeHost();
    addLayer(*host, L"edges");
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    ASSERT_EQ(OdDbXRefMan::bind(block), kOdOk);
    EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfNotAnXref);
    EXPECT_TRUE(openBlock(block)->pathName().isEmpty());
    ASSERT_EQ(entitiesOf(block).size(), 1U);
    EXPECT_EQ(lengthOf(entitiesOf(block)[0]), 7);
    EXPECT_EQ(entitiesOf(block)[0].database(), host.get());
    EXPECT_EQ(layerOfFirstEntity(block), L"part$0$edges");
}

TEST_F(OdDbXRefManTest, BindByInsertingTakesTheHostsNames)
{
    saveLayeredPart(folder.file("part.zdw"));
    const OdDbDatabasePtr host = makeHost();
    addLayer(*host, L"edges");
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    ASSERT_EQ(OdDbXRefMan::bind(block, OdDbXRefMan::BindStyle::kInsert), kOdOk);
    EXPECT_EQ(layerOfFirstEntity(block), L"edges");
}

TEST_F(OdDbXRefManTest, UndoOfABindGivesTheExternalDrawingBack)
{
    saveDrawing("part.zdw", 7);
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    host->startUndoRecord();
    ASSERT_EQ(OdDbXRefMan::bind(block), kOdOk);
    ASSERT_EQ(host->undo(), kOdOk);
    EXPECT_EQ(openBlock(block)->entityCount(), 0U);
    EXPECT_EQ(openBlock(block)->pathName(), L"part.zdw");
    EXPECT_EQ(OdDbXRefMan::load(block), kOdOk);
    EXPECT_EQ(statusOf(block), OdDb::XrefStatus::kXrfResolved);
    ASSERT_EQ(OdDbXRefMan::unload(block), kOdOk);
    ASSERT_EQ(OdDbXRefMan::bind(block), kOdOk);
    EXPECT_EQ(openBlock(block)->entityCount(), 1U);
}

TEST_F(OdDbXRefManTest, BindTakesAttachedDrawingsAlong)
{
    saveDrawing("screw.zdw", 3);
    {
        const OdDbDatabasePtr part = OdDbDatabase::createObject();
        part->setFilename(textOf(folder.file("part.zdw")));
        const OdDbObjectId screw = OdDbXRefMan::attach(*part, L"screw.zdw");
        openBlock(part->getModelSpaceId(), OdDb::kForWrite)
            ->appendOdDbEntity(OdDbBlockReference::createObject(screw, OdGePoint3d(5, 0, 0)).get());
        odDbSaveDrawingAs(*part, textOf(folder.file("part.zdw")));
    }
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    ASSERT_EQ(OdDbXRefMan::bind(block), kOdOk);
    const OdDbBlockReferencePtr reference =
        OdDbBlockReference::cast(entitiesOf(block).at(0).safeOpenObject().get());
    ASSERT_FALSE(reference.isNull());
    const OdDbObjectId inner = reference->blockTableRecord();
    EXPECT_EQ(inner.database(), host.get());
    EXPECT_EQ(statusOf(inner), OdDb::XrefStatus::kXrfNotAnXref);
    EXPECT_EQ(lengthOf(entitiesOf(inner).at(0)), 3);
}

TEST_F(OdDbXRefManTest, BindLeavesAnAttachedDrawingThatIsMissingExternal)
{
    saveDrawing("screw.zdw", 3);
    {
        const OdDbDatabasePtr part = OdDbDatabase::createObject();
        part->setFilename(textOf(folder.file("part.zdw")));
        const OdDbObjectId screw = OdDbXRefMan::attach(*part, L"screw.zdw");
        openBlock(part->getModelSpaceId(), OdDb::kForWrite)
            ->appendOdDbEntity(OdDbBlockReference::createObject(screw, OdGePoint3d()).get());
        odDbSaveDrawingAs(*part, textOf(folder.file("part.zdw")));
    }
    fs::remove(folder.file("screw.zdw"));
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    ASSERT_EQ(OdDbXRefMan::bind(block), kOdOk);
    const OdDbBlockReferencePtr reference =
        OdDbBlockReference::cast(entitiesOf(block).at(0).safeOpenObject().get());
    ASSERT_FALSE(reference.isNull());
    const OdDbBlockTableRecordPtr inner = openBlock(reference->blockTableRecord());
    EXPECT_TRUE(inner->isFromExternalReference());
    EXPECT_EQ(inner->pathName(), L"screw.zdw");  // leads to the same file, from the same folder
}

TEST_F(OdDbXRefManTest, BindOfAMissingDrawingChangesNothing)
{
    const OdDbDatabasePtr host = makeHost();
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    EXPECT_EQ(OdDbXRefMan::bind(block), kOdFileNotFound);
    EXPECT_TRUE(openBlock(block)->isFromExternalReference());
}

}  // namespace
