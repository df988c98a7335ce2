#include "db/od_db_block_reference.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_proxy_object.h"
#include "db/od_db_xref_man.h"
#include "store/drawing_test_support.h"
#include "store/od_db_drawing.h"
#include "store/od_db_drawing_check.h"
#include "store/od_db_drawing_store.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <stdexcept>

namespace {

constexpr auto kForReading = OdDbOpenDrawingMode::kForReading;
constexpr auto kForWriting = OdDbOpenDrawingMode::kForWriting;

/// The result number of what `action` throws; 0 if it doesn't.
template <class Action>
OdResult resultOf(Action const& action)
{
    try {
        action();
    } catch (OdError const& error) {
        return error.code();
    }
    return kOdOk;
}

template <class Action>
std::string messageOf(Action const& action)
{
    try {
        action();
    } catch (OdError const& error) {
        return error.what();
    }
    return {};
}

void changePart(OdDbObjectId id, std::int32_t number)
{
    const StoreTestPartPtr part = id.safeOpenObject(OdDb::kForWrite);
    part->assertWriteEnabled();
    part->number = number;
}

class OdDbDrawingTest : public testing::Test
{
protected:
    OdDbPlatform platform;
    std::optional<StoreTestClasses> classes{std::in_place};
    TemporaryFolder folder;
    std::filesystem::path const path = folder.file("part.zdw");

    /// Saves a drawing with some parts and closes it; gives its content.
    DrawingContent saveDrawing(int parts, int dwgVersion = OdDb::kDwgVersionCurrent)
    {
        const OdDbDatabasePtr database = makeDrawing(parts);
        DrawingContent content = contentOf(*database);
        odDbSaveDrawingAs(*database, textOf(path), dwgVersion);
        return content;
    }
    OdDbDatabasePtr open(OdDbOpenDrawingMode mode) { return odDbOpenDrawing(textOf(path), mode); }
    /// The handle of the n-th part that `makeDrawing` has made.
    OdDbHandle partHandle(int part) const { return OdDbHandle(m_firstPart + part - 1); }
    OdDbObjectId part(OdDbDatabase& database, int number) const
    {
        return database.getOdDbObjectId(partHandle(number));
    }

private:
    std::uint64_t const m_firstPart = OdDbDatabase::createObject()->handseed().value();
};

TEST_F(OdDbDrawingTest, GivesBackWhatWasSaved)
{
    const DrawingContent saved = saveDrawing(200);
    EXPECT_TRUE(same(contentOf(path), saved));
}

TEST_F(OdDbDrawingTest, GivesBackSettingsAndRoots)
{
    {
        const OdDbDatabasePtr database = OdDbDatabase::createObject();
        database->setINSUNITS(OdDb::UnitsValue::kUnitsInches);
        database->setINSBASE(OdGePoint3d(1.0, 2.0, 3.0));
        (void)database->newRegApp(L"STORE_TESTS");
        odDbSaveDrawingAs(*database, textOf(path));
    }
    const OdDbDatabasePtr database = open(kForReading);
    EXPECT_EQ(database->getINSUNITS(), OdDb::UnitsValue::kUnitsInches);
    EXPECT_EQ(database->getINSBASE(), OdGePoint3d(1.0, 2.0, 3.0));
    EXPECT_TRUE(database->isRegisteredApp(L"STORE_TESTS"));
    EXPECT_FALSE(database->getModelSpaceId().openObject().isNull());
    EXPECT_FALSE(database->isChanged());
    EXPECT_EQ(database->getFilename(), textOf(path));
}

TEST_F(OdDbDrawingTest, KeepsReactorsExtensionDictionariesAndExtendedData)
{
    DrawingContent saved;
    {
        const OdDbDatabasePtr database = makeDrawing(2);
        (void)database->newRegApp(L"STORE_TESTS");
        const OdDbObjectPtr object = part(*database, 1).openObject(OdDb::kForWrite);
        object->addPersistentReactor(part(*database, 2));
        object->createExtensionDictionary();
        (void)object->createXrecord(L"key", OdDb::DuplicateRecordCloning::kDrcIgnore);
        const OdResBufPtr chain = OdResBuf::newRb(1001);
        chain->setString(L"STORE_TESTS");
        chain->setNext(OdResBuf::newRb(1070).get());
        chain->next()->setInt16(7);
        object->setXData(chain.get());
        saved = contentOf(*database);
        odDbSaveDrawingAs(*database, textOf(path));
    }
    EXPECT_TRUE(same(contentOf(path), saved));
    const OdDbDatabasePtr database = open(kForReading);
    const OdDbObjectPtr object = part(*database, 1).openObject();
    EXPECT_TRUE(object->hasPersistentReactor(part(*database, 2)));
    EXPECT_FALSE(object->xData(L"STORE_TESTS").isNull());
    EXPECT_FALSE(object->extensionDictionary().isNull());
}

TEST_F(OdDbDrawingTest, LoadsAnObjectWhenItIsAskedFor)
{
    saveDrawing(500);
    const OdDbDatabasePtr database = open(kForReading);
    const OdDbObjectId id = part(*database, 300);
    EXPECT_FALSE(id.isResident());
    EXPECT_FALSE(part(*database, 301).isResident());
    EXPECT_FALSE(id.openObject().isNull());
    EXPECT_TRUE(id.isResident());
    EXPECT_FALSE(part(*database, 301).isResident());
    EXPECT_FALSE(part(*database, 299).isResident());
}

TEST_F(OdDbDrawingTest, NamesHandlesWithoutLoadingObjects)
{
    const DrawingContent saved = saveDrawing(300);
    const OdDbDatabasePtr database = open(kForReading);
    OdDbHandle handle;
    for (auto const& [expected, bytes] : saved) {
        handle = database->nextHandle(handle);
        EXPECT_EQ(handle.value(), expected);
        EXPECT_FALSE(database->getOdDbObjectId(handle).isResident());
    }
    EXPECT_TRUE(database->nextHandle(handle).isNull());
}

TEST_F(OdDbDrawingTest, GivesUsableIdsForObjectsNotYetRead)
{
    saveDrawing(100);
    const OdDbDatabasePtr database = open(kForReading);
    const StoreTestPartPtr last = part(*database, 100).openObject();
    EXPECT_EQ(last->other.getHandle(), partHandle(99));
    EXPECT_FALSE(last->other.isResident());
    const StoreTestPartPtr other = last->other.openObject();
    EXPECT_EQ(other->number, 99);
}

TEST_F(OdDbDrawingTest, SavesOnlyWhatHasChanged)
{
    saveDrawing(1000);
    const std::string before = readFile(path);
    {
        const OdDbDatabasePtr database = open(kForWriting);
        changePart(part(*database, 500), 123456);
        odDbSaveDrawing(*database);
        EXPECT_FALSE(database->isChanged());
    }
    const std::string after = readFile(path);
    std::size_t changedPages = 0;
    constexpr std::size_t kFilePage = 1024;
    // The new page is written before the room of the old one is free.
    EXPECT_LT(after.size(), before.size() + 20 * kFilePage);
    for (std::size_t at = 0; at < before.size(); at += kFilePage) {
        changedPages += before.compare(at, kFilePage, after, at, kFilePage) != 0 ? 1U : 0U;
    }
    EXPECT_LT(changedPages, 20U);
    const OdDbDatabasePtr database = open(kForReading);
    EXPECT_EQ(StoreTestPartPtr(part(*database, 500).openObject())->number, 123456);
    EXPECT_EQ(StoreTestPartPtr(part(*database, 501).openObject())->number, 501);
}

TEST_F(OdDbDrawingTest, WritesNothingIfNothingHasChanged)
{
    saveDrawing(10);
    const OdDbDatabasePtr database = open(kForWriting);
    (void)contentOf(*database);
    const std::string before = readFile(path);
    odDbSaveDrawing(*database);
    EXPECT_TRUE(same(readFile(path), before));
}

TEST_F(OdDbDrawingTest, SavesAddedErasedAndChangedObjectsTimeAndAgain)
{
    saveDrawing(150);
    const OdDbDatabasePtr database = open(kForWriting);
    for (int round = 0; round < 5; ++round) {
        for (int n = 0; n < 70; ++n) {
            addPart(*database, 1000 * (round + 1) + n, part(*database, 1));
        }
        changePart(part(*database, 20 + round), 777 + round);
        const StoreTestPartPtr gone = part(*database, 100 + round).openObject(OdDb::kForWrite);
        EXPECT_EQ(gone->erase(), kOdOk);
        odDbSaveDrawing(*database);
        EXPECT_TRUE(same(contentOf(path), contentOf(*database))) << "round " << round;
    }
}

TEST_F(OdDbDrawingTest, DropsErasedObjectsAndTakesThemBackIn)
{
    saveDrawing(3);
    const OdDbDatabasePtr database = open(kForWriting);
    const OdDbObjectId id = part(*database, 2);
    EXPECT_EQ(id.safeOpenObject(OdDb::kForWrite)->erase(), kOdOk);
    odDbSaveDrawing(*database);
    EXPECT_EQ(contentOf(path).count(id.getHandle().value()), 0U);
    EXPECT_EQ(id.safeOpenObject(OdDb::kForWrite, /*openErased=*/true)->erase(false), kOdOk);
    odDbSaveDrawing(*database);
    EXPECT_EQ(contentOf(path).count(id.getHandle().value()), 1U);
    EXPECT_TRUE(same(contentOf(path), contentOf(*database)));
}

TEST_F(OdDbDrawingTest, KeepsTheHandleOfAnErasedTarget)
{
    saveDrawing(3);
    {
        const OdDbDatabasePtr database = open(kForWriting);
        EXPECT_EQ(part(*database, 2).safeOpenObject(OdDb::kForWrite)->erase(), kOdOk);
        changePart(part(*database, 3), 3000);
        odDbSaveDrawing(*database);
    }
    const OdDbDatabasePtr database = open(kForReading);
    const StoreTestPartPtr third = part(*database, 3).openObject();
    EXPECT_EQ(third->other.getHandle(), partHandle(2));
    EXPECT_TRUE(third->other.openObject().isNull());
}

TEST_F(OdDbDrawingTest, TakesErasedEntitiesOffTheListOfTheirBlock)
{
    OdDbHandle handle;
    {
        const OdDbDatabasePtr database = OdDbDatabase::createObject();
        const OdDbBlockTableRecordPtr block =
            database->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
        handle = block->appendOdDbEntity(OdDbLine::createObject().get()).getHandle();
        (void)block->appendOdDbEntity(OdDbLine::createObject().get());
        odDbSaveDrawingAs(*database, textOf(path));
    }
    const auto eraseAndSave = [&](bool savesInPlace) {
        const OdDbDatabasePtr database = open(kForWriting);
        const OdDbObjectId line = database->getOdDbObjectId(handle);
        EXPECT_EQ(line.safeOpenObject(OdDb::kForWrite)->erase(), kOdOk);
        if (savesInPlace) {
            odDbSaveDrawing(*database);
        }
        odDbSaveDrawingAs(*database, textOf(folder.file("copy.zdw")));
        return readFile(folder.file("copy.zdw"));
    };
    const std::string direct = eraseAndSave(/*savesInPlace=*/false);
    EXPECT_TRUE(same(eraseAndSave(/*savesInPlace=*/true), direct));
    for (char const* name : {"part.zdw", "copy.zdw"}) {
        const OdDbDrawingCheckResult result = odDbCheckDrawing(textOf(folder.file(name)), {});
        EXPECT_EQ(result.problems + result.notes, 0U) << name;
    }
}

TEST_F(OdDbDrawingTest, TakesErasedReferencesOffTheListOfTheBlockTheyShow)
{
    OdDbHandle block;
    OdDbHandle reference;
    {
        const OdDbDatabasePtr database = OdDbDatabase::createObject();
        const OdDbBlockTablePtr table = database->getBlockTableId().safeOpenObject(OdDb::kForWrite);
        const OdDbBlockTableRecordPtr record = OdDbBlockTableRecord::createObject();
        record->setName(L"A");
        const OdDbObjectId id = table->add(record.get());
        block = id.getHandle();
        const OdDbBlockTableRecordPtr space =
            database->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
        reference =
            space->appendOdDbEntity(OdDbBlockReference::createObject(id, {}).get()).getHandle();
        odDbSaveDrawingAs(*database, textOf(path));
    }
    const auto eraseAndSave = [&](bool savesInPlace) {
        const OdDbDatabasePtr database = open(kForWriting);
        const OdDbObjectId id = database->getOdDbObjectId(reference);
        EXPECT_EQ(id.safeOpenObject(OdDb::kForWrite)->erase(), kOdOk);
        if (savesInPlace) {
            odDbSaveDrawing(*database);
        }
        odDbSaveDrawingAs(*database, textOf(folder.file("copy.zdw")));
        return readFile(folder.file("copy.zdw"));
    };
    const std::string direct = eraseAndSave(/*savesInPlace=*/false);
    EXPECT_TRUE(same(eraseAndSave(/*savesInPlace=*/true), direct));
    for (char const* name : {"part.zdw", "copy.zdw"}) {
        SCOPED_TRACE(name);
        const OdDbDatabasePtr database = odDbOpenDrawing(textOf(folder.file(name)), kForReading);
        const OdDbBlockTableRecordPtr record = database->getOdDbObjectId(block).safeOpenObject();
        EXPECT_TRUE(record->getBlockReferenceIds().isEmpty());
        const OdDbDrawingCheckResult result = odDbCheckDrawing(textOf(folder.file(name)), {});
        EXPECT_EQ(result.problems + result.notes, 0U);
    }
}

TEST_F(OdDbDrawingTest, SavesNextTimeWhatIsChangedDuringASave)
{
    saveDrawing(200);
    const OdDbDatabasePtr database = open(kForWriting);
    const auto changedIn = [&](std::function<void(OdDbSaveProgress const&)> const& save,
                               std::int32_t number) {
        changePart(part(*database, 1), number);
        changePart(part(*database, 150), number);
        save([&](std::uint64_t done, std::uint64_t total) {
            if (done == total) {
                changePart(part(*database, 1), number + 1);
                database->setINSBASE(OdGePoint3d(number, 0, 0));
                (void)addPart(*database, number);
            }
        });
        EXPECT_TRUE(database->isChanged());
        const DrawingContent content = contentOf(*database);
        EXPECT_FALSE(same(contentOf(path), content));
        odDbSaveDrawing(*database);
        EXPECT_FALSE(database->isChanged());
        EXPECT_TRUE(same(contentOf(path), content));
        EXPECT_EQ(open(kForReading)->getINSBASE(), OdGePoint3d(number, 0, 0));
    };
    changedIn([&](OdDbSaveProgress const& progress) { odDbSaveDrawing(*database, progress); }, 700);
    changedIn(
        [&](OdDbSaveProgress const& progress) {
            odDbSaveDrawingAs(*database, textOf(path), OdDb::kDwgVersionCurrent, progress);
        },
        800);
}

TEST_F(OdDbDrawingTest, SavesNextTimeTheListOfABlockThatAnErasureDuringASaveChanges)
{
    constexpr std::size_t kLines = 200;
    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    std::vector<OdDbLinePtr> lines;
    {
        const OdDbBlockTableRecordPtr block =
            database->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
        for (std::size_t n = 0; n != kLines; ++n) {
            lines.push_back(OdDbLine::createObject());
            block->appendOdDbEntity(lines.back().get());
        }
    }
    odDbSaveDrawingAs(*database, textOf(path));
    const auto openLine = [&](std::size_t n) {
        lines[n]->upgradeOpen();
        return lines[n];
    };
    ASSERT_EQ(openLine(kLines - 3)->erase(), kOdOk);
    odDbSaveDrawing(*database);
    openLine(0)->setThickness(2.0);
    openLine(kLines - 1)->setThickness(2.0);  // its page is written last
    odDbSaveDrawing(*database, [&](std::uint64_t done, std::uint64_t) {
        if (done == 1) {
            EXPECT_EQ(openLine(kLines - 2)->erase(), kOdOk);
            EXPECT_EQ(openLine(kLines - 3)->erase(false), kOdOk);
        }
    });
    EXPECT_TRUE(database->isChanged());
    odDbSaveDrawing(*database);
    EXPECT_EQ(odDbCheckDrawing(textOf(path), {}).problems, 0U);
    const OdDbDatabasePtr saved = open(kForReading);
    const OdDbBlockTableRecordPtr block = saved->getModelSpaceId().safeOpenObject();
    OdDbObjectIdArray expected;
    for (std::size_t n = 0; n != kLines; ++n) {
        if (n != kLines - 2) {
            expected.push_back(saved->getOdDbObjectId(lines[n]->objectId().getHandle()));
        }
    }
    OdDbObjectIdArray found = block->entityIds();
    EXPECT_EQ(found, expected);
}

TEST_F(OdDbDrawingTest, SavesNextTimeTheListOfABlockWhoseReferenceIsErasedDuringASave)
{
    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    const OdDbBlockTableRecordPtr shown = OdDbBlockTableRecord::createObject();
    shown->setName(L"A");
    const OdDbObjectId block =
        OdDbBlockTablePtr(database->getBlockTableId().safeOpenObject(OdDb::kForWrite))
            ->add(shown.get());
    shown->downgradeOpen();
    for (int seed = 1; seed <= 200; ++seed) {
        addPart(*database, seed);
    }
    OdDbObjectId reference;
    {
        const OdDbBlockTableRecordPtr space =
            database->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
        reference = space->appendOdDbEntity(OdDbBlockReference::createObject(block, {}).get());
    }
    const OdDbObjectId neighbour = addPart(*database, 201);
    odDbSaveDrawingAs(*database, textOf(path));
    changePart(database->getOdDbObjectId(OdDbHandle(reference.getHandle().value() - 150)), 7);
    changePart(neighbour, 7);
    odDbSaveDrawing(*database, [&](std::uint64_t done, std::uint64_t total) {
        EXPECT_EQ(total, 2U);
        if (done == 1) {
            EXPECT_EQ(reference.safeOpenObject(OdDb::kForWrite)->erase(), kOdOk);
        }
    });
    odDbSaveDrawing(*database);
    const OdDbDatabasePtr saved = open(kForReading);
    const OdDbBlockTableRecordPtr record =
        saved->getOdDbObjectId(block.getHandle()).safeOpenObject();
    EXPECT_TRUE(record->getBlockReferenceIds().isEmpty());
    const OdDbDrawingCheckResult result = odDbCheckDrawing(textOf(path), {});
    EXPECT_EQ(result.problems + result.notes, 0U);
}

TEST_F(OdDbDrawingTest, RenewsTheRowOfAClassThatHasComeInAnotherVersion)
{
    saveDrawing(3);
    const auto rowOf = [](OdDbDrawingFile const& file) {
        for (OdDbFileClass const& fileClass : file.classes()) {
            if (fileClass.record.name == StoreTestPart::desc()->name()) {
                return fileClass;
            }
        }
        return OdDbFileClass();
    };
    const auto openFile = [&](OdDbOpenDrawingMode mode) {
        return OdDbDrawingFile::open(path, "part.zdw", mode);
    };
    {
        const std::unique_ptr<OdDbDrawingFile> file = openFile(kForWriting);
        OdDbFileClass older = rowOf(*file);
        older.record.appName = L"OlderTests";
        older.record.maintenanceVersion += 1;
        file->beginSave();
        file->writeClass(older);
        file->writeHeader(file->header());
        file->commitSave();
    }
    const auto changeAndSave = [&](bool savesInPlace) {
        const OdDbDatabasePtr database = open(kForWriting);
        changePart(part(*database, 3), 70);
        if (savesInPlace) {
            odDbSaveDrawing(*database);
        }
        odDbSaveDrawingAs(*database, textOf(folder.file("copy.zdw")));
        return readFile(folder.file("copy.zdw"));
    };
    const std::string direct = changeAndSave(/*savesInPlace=*/false);
    EXPECT_TRUE(same(changeAndSave(/*savesInPlace=*/true), direct));
    EXPECT_TRUE(rowOf(*openFile(kForReading)).record == odDbClassRecordOf(*StoreTestPart::desc()));
    const OdDbDrawingCheckResult result = odDbCheckDrawing(textOf(path), {});
    EXPECT_EQ(result.problems, 0U);
}

TEST_F(OdDbDrawingTest, AnUnloadedExternalDrawingIsNotSavedOverItsFile)
{
    saveDrawing(20);
    const std::string before = readFile(path);
    const OdDbDatabasePtr host = OdDbDatabase::createObject();
    host->setFilename(textOf(folder.file("host.zdw")));
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    const OdDbDatabasePtr external =
        OdDbBlockTableRecordPtr(block.safeOpenObject())->xrefDatabase();
    ASSERT_FALSE(external.isNull());
    EXPECT_EQ(OdDbXRefMan::unload(block), kOdOk);
    EXPECT_EQ(resultOf([&] { odDbSaveDrawingAs(*external, textOf(path)); }), kOdNotApplicable);
    EXPECT_EQ(resultOf([&] { odDbSaveDrawing(*external); }), kOdNotApplicable);
    EXPECT_TRUE(same(readFile(path), before));
}

TEST_F(OdDbDrawingTest, AnExternalDrawingIsNotUnloadedWhileItIsSaved)
{
    const DrawingContent content = saveDrawing(20);
    const OdDbDatabasePtr host = OdDbDatabase::createObject();
    host->setFilename(textOf(folder.file("host.zdw")));
    const OdDbObjectId block = OdDbXRefMan::attach(*host, L"part.zdw");
    const OdDbDatabasePtr external =
        OdDbBlockTableRecordPtr(block.safeOpenObject())->xrefDatabase();
    OdResult result = kOdOk;
    odDbSaveDrawingAs(*external, textOf(folder.file("copy.zdw")), OdDb::kDwgVersionCurrent,
                      [&](std::uint64_t, std::uint64_t) { result = OdDbXRefMan::unload(block); });
    EXPECT_EQ(result, kOdDatabaseInUse);
    EXPECT_TRUE(same(contentOf(folder.file("copy.zdw")), content));
    EXPECT_EQ(OdDbXRefMan::unload(block), kOdOk);
}

TEST_F(OdDbDrawingTest, NeverGivesAHandleTwice)
{
    saveDrawing(3);
    OdDbHandle first;
    {
        const OdDbDatabasePtr database = open(kForWriting);
        const OdDbObjectId id = addPart(*database, 9);
        first = id.getHandle();
        EXPECT_EQ(id.safeOpenObject(OdDb::kForWrite)->erase(), kOdOk);
        odDbSaveDrawing(*database);
    }
    const OdDbDatabasePtr database = open(kForWriting);
    EXPECT_GT(addPart(*database, 9).getHandle(), first);
}

TEST_F(OdDbDrawingTest, GivesEqualBytesForEqualContent)
{
    saveDrawing(300);
    const std::string first = readFile(path);
    saveDrawing(300);
    EXPECT_TRUE(same(readFile(path), first));
}

TEST_F(OdDbDrawingTest, CopiesUnloadedObjectsByteForByte)
{
    saveDrawing(300);
    const std::string first = readFile(path);
    const OdDbDatabasePtr database = open(kForReading);
    odDbSaveDrawingAs(*database, textOf(folder.file("copy.zdw")));
    EXPECT_FALSE(part(*database, 200).isResident());
    EXPECT_TRUE(same(readFile(folder.file("copy.zdw")), first));
}

TEST_F(OdDbDrawingTest, GivesTheSameBytesWithAndWithoutASaveInBetween)
{
    const auto edit = [&](bool savesBetween) {
        saveDrawing(300);
        const OdDbDatabasePtr database = open(kForWriting);
        changePart(part(*database, 200), 5);
        addPart(*database, 4711, part(*database, 3));
        (void)database->newRegApp(L"LATE");
        EXPECT_EQ(part(*database, 100).safeOpenObject(OdDb::kForWrite)->erase(), kOdOk);
        if (savesBetween) {
            odDbSaveDrawing(*database);
        }
        odDbSaveDrawingAs(*database, textOf(folder.file("copy.zdw")));
    };
    edit(/*savesBetween=*/false);
    const std::string direct = readFile(folder.file("copy.zdw"));
    edit(/*savesBetween=*/true);
    EXPECT_TRUE(same(readFile(folder.file("copy.zdw")), direct));
}

TEST_F(OdDbDrawingTest, BelongsToTheNewFileAfterSavingUnderAnotherName)
{
    saveDrawing(10);
    const std::filesystem::path copy = folder.file("copy.zdw");
    const std::string before = readFile(path);
    {
        const OdDbDatabasePtr database = open(kForWriting);
        changePart(part(*database, 5), 55);
        odDbSaveDrawingAs(*database, textOf(copy));
        EXPECT_EQ(database->getFilename(), textOf(copy));
        EXPECT_FALSE(database->isChanged());
        changePart(part(*database, 6), 66);
        odDbSaveDrawing(*database);
        EXPECT_TRUE(same(contentOf(copy), contentOf(*database)));
        // The old drawing is free again.
        EXPECT_FALSE(open(kForWriting).isNull());
    }
    EXPECT_TRUE(same(readFile(path), before));
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"copy.zdw", "part.zdw"}));
}

TEST_F(OdDbDrawingTest, SavesOverItself)
{
    saveDrawing(10);
    const OdDbDatabasePtr database = open(kForWriting);
    changePart(part(*database, 5), 55);
    odDbSaveDrawingAs(*database, textOf(path));
    EXPECT_TRUE(same(contentOf(path), contentOf(*database)));
    changePart(part(*database, 6), 66);
    odDbSaveDrawing(*database);
    EXPECT_TRUE(same(contentOf(path), contentOf(*database)));
}

TEST_F(OdDbDrawingTest, ReplacesAFileThatIsNoDrawing)
{
    writeFile(path, "just text");
    writeFile(path.string() + "-journal", "left by a stranger");
    const DrawingContent saved = saveDrawing(3);
    EXPECT_TRUE(same(contentOf(path), saved));
    EXPECT_EQ(folder.names(), std::vector<std::string>{"part.zdw"});
}

TEST_F(OdDbDrawingTest, KeepsASymbolicLinkAndTheRightsOfAReplacedFile)
{
    saveDrawing(3);
    std::filesystem::permissions(path, std::filesystem::perms::owner_read |
                                           std::filesystem::perms::owner_write);
    const std::filesystem::path link = folder.file("link.zdw");
    std::filesystem::create_symlink(path, link);
    const OdDbDatabasePtr database = makeDrawing(5);
    odDbSaveDrawingAs(*database, textOf(link));
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_TRUE(same(contentOf(path), contentOf(*database)));
    EXPECT_EQ(std::filesystem::status(path).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(OdDbDrawingTest, ListsOnlyClassesThatAnObjectHas)
{
    saveDrawing(3);
    const OdDbDatabasePtr database = open(kForWriting);
    const auto hasParts = [](std::filesystem::path const& file) {
        return readFile(file).find("STORE_TEST_PART") != std::string::npos;
    };
    EXPECT_TRUE(hasParts(path));
    for (int number = 1; number <= 3; ++number) {
        EXPECT_EQ(part(*database, number).safeOpenObject(OdDb::kForWrite)->erase(), kOdOk);
    }
    odDbSaveDrawingAs(*database, textOf(folder.file("copy.zdw")));
    EXPECT_FALSE(hasParts(folder.file("copy.zdw")));
}

TEST_F(OdDbDrawingTest, CarriesLargeObjects)
{
    constexpr std::size_t kLarge = 3 << 20;
    const OdDbDatabasePtr database = makeDrawing(3);
    const OdDbObjectId large = addPart(*database, 4, {}, kLarge);
    const OdDbObjectId other = addPart(*database, 5, {}, kLarge + 1);
    odDbSaveDrawingAs(*database, textOf(path));
    EXPECT_TRUE(same(contentOf(path), contentOf(*database)));

    // Grows and shrinks across the bound, and goes.
    const auto resize = [&](OdDbObjectId id, std::size_t bytes) {
        const StoreTestPartPtr object = id.safeOpenObject(OdDb::kForWrite);
        object->assertWriteEnabled();
        object->blob.resize(bytes);
    };
    resize(large, 10);
    resize(part(*database, 1), kLarge + 2);
    odDbSaveDrawing(*database);
    EXPECT_TRUE(same(contentOf(path), contentOf(*database)));
    EXPECT_EQ(other.safeOpenObject(OdDb::kForWrite)->erase(), kOdOk);
    resize(part(*database, 1), kLarge + 3);
    odDbSaveDrawing(*database);
    EXPECT_TRUE(same(contentOf(path), contentOf(*database)));
    EXPECT_EQ(OdDbDrawingStore::of(*database)->file().header().outside, 1U);
    EXPECT_TRUE(OdDbDrawingStore::of(*database)->file().checkStructure().empty());

    const OdDbDatabasePtr again = open(kForReading);
    odDbSaveDrawingAs(*again, textOf(folder.file("copy.zdw")));
    EXPECT_TRUE(same(contentOf(folder.file("copy.zdw")), contentOf(*database)));
}

TEST_F(OdDbDrawingTest, RefusesWhatItCantOpen)
{
    writeFile(folder.file("empty.zdw"), "");
    writeFile(folder.file("text.zdw"), std::string(5000, 'x'));
    std::filesystem::create_directory(folder.file("folder.zdw"));
    struct Row
    {
        char const* name;
        OdResult expected;
        char const* reason;
    };
    const Row rows[] = {
        {"missing.zdw", kOdFileNotFound, "there is no such file"},
        {"empty.zdw", kOdFileCorrupt, "is no drawing"},
        {"text.zdw", kOdFileCorrupt, "is no drawing"},
        {"folder.zdw", kOdFileAccess, "is no file"},
    };
    for (Row const& row : rows) {
        const std::filesystem::path file = folder.file(row.name);
        for (OdDbOpenDrawingMode mode : {kForReading, kForWriting}) {
            const auto openIt = [&] { (void)odDbOpenDrawing(textOf(file), mode); };
            EXPECT_EQ(resultOf(openIt), row.expected) << row.name;
            EXPECT_EQ(messageOf(openIt), file.string() + ": " + row.reason);
        }
    }
    EXPECT_EQ(resultOf([] { (void)odDbOpenDrawing(OdString(), kForReading); }), kOdInvalidInput);
}

TEST_F(OdDbDrawingTest, RefusesToSaveWhatWasOpenedForReading)
{
    saveDrawing(3);
    const OdDbDatabasePtr database = open(kForReading);
    changePart(part(*database, 1), 9);
    EXPECT_EQ(resultOf([&] { odDbSaveDrawing(*database); }), kOdReadOnly);
    EXPECT_TRUE(database->isChanged());
}

TEST_F(OdDbDrawingTest, RefusesToSaveADrawingWithoutAFile)
{
    const OdDbDatabasePtr database = makeDrawing(1);
    EXPECT_EQ(resultOf([&] { odDbSaveDrawing(*database); }), kOdFileNotFound);
}

TEST_F(OdDbDrawingTest, RefusesVersionsThatItDoesntKnow)
{
    const OdDbDatabasePtr database = makeDrawing(1);
    for (int version : {0, 28, 31, 34}) {
        const auto save = [&] { odDbSaveDrawingAs(*database, textOf(path), version); };
        EXPECT_EQ(resultOf(save), kOdUnsupportedVersion) << version;
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(OdDbDrawingTest, RefusesToSaveAFileThatWasMovedAway)
{
    saveDrawing(3);
    const OdDbDatabasePtr database = open(kForWriting);
    changePart(part(*database, 1), 9);
    std::filesystem::rename(path, folder.file("moved.zdw"));
    EXPECT_EQ(resultOf([&] { odDbSaveDrawing(*database); }), kOdFileChanged);
    odDbSaveDrawingAs(*database, textOf(path));
    EXPECT_TRUE(same(contentOf(path), contentOf(*database)));
}

TEST_F(OdDbDrawingTest, FilesForAnOlderVersionAndKeepsItOnPlainSaves)
{
    for (int version : {OdDb::kDwgVersion29, OdDb::kDwgVersion30}) {
        SCOPED_TRACE(version);
        saveDrawing(10, version);
        const int expectedTag = version >= OdDb::kDwgVersion30 ? 7 : 0;
        {
            const OdDbDatabasePtr database = open(kForWriting);
            EXPECT_EQ(odDbDrawingVersion(*database), version);
            EXPECT_EQ(StoreTestPartPtr(part(*database, 7).openObject())->tag, expectedTag);
            changePart(part(*database, 8), 88);
            odDbSaveDrawing(*database);
        }
        const OdDbDatabasePtr database = open(kForReading);
        EXPECT_EQ(odDbDrawingVersion(*database), version);
        EXPECT_EQ(StoreTestPartPtr(part(*database, 7).openObject())->tag, expectedTag);
        EXPECT_EQ(StoreTestPartPtr(part(*database, 8).openObject())->number, 88);
    }
}

TEST_F(OdDbDrawingTest, FilesUnloadedObjectsAnewForAnotherVersion)
{
    saveDrawing(200);
    const std::string current = readFile(path);
    {
        const OdDbDatabasePtr database = open(kForReading);
        odDbSaveDrawingAs(*database, textOf(folder.file("old.zdw")), OdDb::kDwgVersion29);
        EXPECT_EQ(odDbDrawingVersion(*database), OdDb::kDwgVersion29);
    }
    const OdDbDatabasePtr direct = makeDrawing(200);
    odDbSaveDrawingAs(*direct, textOf(folder.file("direct.zdw")), OdDb::kDwgVersion29);
    EXPECT_TRUE(same(readFile(folder.file("old.zdw")), readFile(folder.file("direct.zdw"))));
    EXPECT_NE(readFile(folder.file("old.zdw")), current);
}

TEST_F(OdDbDrawingTest, EndsASaveWhenItsProgressThrows)
{
    saveDrawing(300);
    const std::string before = readFile(path);
    const OdDbDatabasePtr database = open(kForWriting);
    changePart(part(*database, 1), 9);
    changePart(part(*database, 290), 9);
    const auto stop = [](std::uint64_t, std::uint64_t) { throw std::runtime_error("stopped"); };
    EXPECT_THROW(odDbSaveDrawing(*database, stop), std::runtime_error);
    EXPECT_THROW(odDbSaveDrawingAs(*database, textOf(path), OdDb::kDwgVersionCurrent, stop),
                 std::runtime_error);
    EXPECT_TRUE(same(readFile(path), before));
    EXPECT_TRUE(database->isChanged());
    EXPECT_EQ(folder.names(), std::vector<std::string>{"part.zdw"});
    std::uint64_t last = 0;
    std::uint64_t all = 0;
    odDbSaveDrawing(*database, [&](std::uint64_t done, std::uint64_t total) {
        EXPECT_EQ(done, last + 1);
        last = done;
        all = total;
    });
    EXPECT_EQ(last, 2U);
    EXPECT_EQ(all, 2U);
    EXPECT_TRUE(same(contentOf(path), contentOf(*database)));
}

// ---------------------------------------------------------------------------------------------
// Objects that aren't understood

TEST_F(OdDbDrawingTest, CarriesObjectsOfUnknownClassesWithoutLoss)
{
    const DrawingContent saved = saveDrawing(100);
    const std::string before = readFile(path);
    classes.reset();
    {
        const OdDbDatabasePtr database = open(kForWriting);
        (void)contentOf(*database);
        EXPECT_TRUE(part(*database, 50).openObject()->isKindOf(OdDbProxyObject::desc()));
        odDbSaveDrawingAs(*database, textOf(folder.file("copy.zdw")));
        EXPECT_TRUE(same(readFile(folder.file("copy.zdw")), before));
        // A change of what a proxy knows of itself files it anew.
        const OdDbObjectPtr proxy = part(*database, 50).openObject(OdDb::kForWrite);
        proxy->addPersistentReactor(part(*database, 51));
        odDbSaveDrawing(*database);
        proxy->removePersistentReactor(part(*database, 51));
        odDbSaveDrawing(*database);
        odDbSaveDrawingAs(*database, textOf(folder.file("edited.zdw")));
    }
    EXPECT_TRUE(same(readFile(folder.file("edited.zdw")), before));
    classes.emplace();
    EXPECT_TRUE(same(contentOf(path), saved));
    EXPECT_TRUE(same(contentOf(folder.file("copy.zdw")), saved));
}

TEST_F(OdDbDrawingTest, KeepsTheVersionThatAProxyWasFiledFor)
{
    const DrawingContent saved = saveDrawing(10);
    classes.reset();
    {
        const OdDbDatabasePtr database = open(kForWriting);
        const OdDbObjectPtr proxy = part(*database, 5).openObject(OdDb::kForWrite);
        proxy->addPersistentReactor(part(*database, 6));
        odDbSaveDrawingAs(*database, textOf(folder.file("old.zdw")), OdDb::kDwgVersion29);
    }
    classes.emplace();
    const OdDbDatabasePtr database = odDbOpenDrawing(textOf(folder.file("old.zdw")), kForReading);
    EXPECT_EQ(odDbDrawingVersion(*database), OdDb::kDwgVersion29);
    // The tags were filed for the current version and are still there.
    EXPECT_EQ(StoreTestPartPtr(part(*database, 5).openObject())->tag, 5);
    EXPECT_EQ(StoreTestPartPtr(part(*database, 7).openObject())->tag, 7);
    EXPECT_TRUE(
        same(contentOf(*database).at(partHandle(7).value()), saved.at(partHandle(7).value())));
}

TEST_F(OdDbDrawingTest, KeepsTheVersionThatAProxyWasFiledForInItsClones)
{
    const std::filesystem::path old = folder.file("old.zdw");
    {
        const OdDbDatabasePtr database = makeDrawing(10);
        odDbSaveDrawingAs(*database, textOf(old), OdDb::kDwgVersion29);
    }
    classes.reset();
    OdDbHandle clone;
    OdDbHandle clonedClone;
    const std::filesystem::path cloned = folder.file("cloned.zdw");
    {
        const OdDbDatabasePtr database = odDbOpenDrawing(textOf(old), kForWriting);
        const auto cloneOf = [&](OdDbObjectId id) {
            const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
            const OdDbObjectPtr proxy = id.safeOpenObject();
            return proxy->deepClone(*mapping, nullptr)->objectId();
        };
        const OdDbObjectId first = cloneOf(part(*database, 5));
        clone = first.getHandle();
        database->startUndoRecord();
        const OdDbObjectId second = cloneOf(first);
        clonedClone = second.getHandle();
        EXPECT_EQ(database->undo(), kOdOk);
        EXPECT_EQ(database->redo(), kOdOk);
        odDbSaveDrawingAs(*database, textOf(cloned), OdDb::kDwgVersionCurrent);
    }
    classes.emplace();
    const OdDbDatabasePtr database = odDbOpenDrawing(textOf(cloned), kForReading);
    for (OdDbHandle handle : {partHandle(5), clone, clonedClone}) {
        const OdDbObjectPtr object = database->getOdDbObjectId(handle).openObject();
        ASSERT_FALSE(object.isNull());
        ASSERT_TRUE(object->isKindOf(StoreTestPart::desc()));
        // The tag isn't filed for the older version; what lies behind it must not be taken for it.
        EXPECT_EQ(StoreTestPartPtr(object)->tag, 0);
        EXPECT_EQ(StoreTestPartPtr(object)->number, 5);
    }
}

TEST_F(OdDbDrawingTest, KeepsTheBytesOfAnObjectThatWasReadInPart)
{
    {
        const OdDbDatabasePtr database = makeDrawing(3);
        changePart(part(*database, 2), -5);  // read up to this number only
        odDbSaveDrawingAs(*database, textOf(path));
    }
    const std::string before = readFile(path);
    const OdDbDatabasePtr database = open(kForWriting);
    const StoreTestPartPtr second = part(*database, 2).openObject();
    EXPECT_EQ(second->inResult, kOdRejectedVersion);
    odDbSaveDrawingAs(*database, textOf(folder.file("copy.zdw")));
    EXPECT_TRUE(same(readFile(folder.file("copy.zdw")), before));
}

}  // namespace
