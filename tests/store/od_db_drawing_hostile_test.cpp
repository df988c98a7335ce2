#include "db/od_db_xrecord.h"
#include "store/drawing_tables.h"
#include "store/drawing_test_support.h"
#include "store/failing_file_layer.h"
#include "store/od_db_drawing.h"
#include "store/od_db_drawing_check.h"
#include "store/od_db_drawing_store.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

/// A class that a drawing doesn't have yet.
class StoreTestLateClass : public OdDbObject
{
    RX_DECLARE_CLASS(StoreTestLateClass);
};
RX_DEFINE_CLASS(StoreTestLateClass, OdDbObject, odrxCreate<StoreTestLateClass>,
                L"StoreTestStoreTestLateClass", OdDb::kDwgVersionCurrent, 0, 0,
                L"STORE_TEST_LATE_CLASS", L"StoreTests");

namespace {

namespace fs = std::filesystem;

constexpr auto kForReading = OdDbOpenDrawingMode::kForReading;
constexpr auto kForWriting = OdDbOpenDrawingMode::kForWriting;

/// The numbers at the start of a header, in the order of the file.
enum HeaderNumber : std::size_t
{
    kVersion,
    kHandseed,
    kSaves,
    kClasses,
    kPages,
    kOutside,
    kObjects,
    kNumbers
};
using HeaderNumbers = std::vector<std::uint64_t>;

OdResult resultOf(std::function<void()> const& action)
{
    try {
        action();
    } catch (OdError const& error) {
        return error.code();
    }
    return kOdOk;
}

/// What can become of a drawing by others' doing: crafted values, and changes beside the lock.
class OdDbDrawingHostileTest : public testing::Test
{
protected:
    OdDbPlatform platform;
    StoreTestClasses classes;
    TemporaryFolder folder;
    fs::path const path = folder.file("part.zdw");
    fs::path const other = folder.file("other.zdw");

    /// Saves a drawing with parts.
    DrawingContent save(fs::path const& file, int parts, std::size_t blobBytes = 0) const
    {
        const OdDbDatabasePtr database = OdDbDatabase::createObject();
        OdDbObjectId last;
        for (int seed = 1; seed <= parts; ++seed) {
            last = addPart(*database, seed, last, blobBytes);
        }
        odDbSaveDrawingAs(*database, textOf(file));
        return contentOf(*database);
    }
    /// Writes noise over the middle of a file.
    static void overwrite(fs::path const& file)
    {
        std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
        stream.seekp(static_cast<std::streamoff>(fs::file_size(file) / 4));
        const std::string noise(fs::file_size(file) / 2, 'x');
        stream.write(noise.data(), static_cast<std::streamsize>(noise.size()));
    }
    OdDbDatabasePtr open(fs::path const& file, OdDbOpenDrawingMode mode) const
    {
        return odDbOpenDrawing(textOf(file), mode);
    }
    /// Writes the header anew with other numbers, and more bytes behind its references and its body.
    void editHeader(std::function<void(HeaderNumbers&)> const& edit,
                    std::string const& moreReferences = {}, std::string const& moreBody = {}) const
    {
        DrawingTables tables(path);
        const std::string old = tables.blob("SELECT value FROM meta WHERE key = 'header'");
        OdDbByteReader reader(
            std::span(reinterpret_cast<std::uint8_t const*>(old.data()), old.size() - 4));
        HeaderNumbers numbers(kNumbers);
        for (std::uint64_t& number : numbers) {
            number = reader.takeVarint();
        }
        edit(numbers);
        OdDbByteWriter writer;
        for (std::uint64_t number : numbers) {
            writer.putVarint(number);
        }
        for (std::string const& more : {moreBody, moreReferences}) {
            const std::uint64_t size = reader.takeVarint();
            writer.putVarint(size + more.size());
            writer.putBytes(reader.takeBytes(size), size);
            writer.putBytes(more.data(), more.size());
        }
        writer.putFixed32(odDbChecksum(writer.bytes()));
        tables.setBlob("UPDATE meta SET value = ? WHERE key = 'header'",
                       {writer.bytes().begin(), writer.bytes().end()});
    }
};

// ---------------------------------------------------------------------------------------------
// Crafted values

TEST_F(OdDbDrawingHostileTest, RefusesAHandseedPastAllHandles)
{
    save(path, 3);
    for (std::uint64_t seed : {(std::uint64_t{1} << 62) + 1, ~std::uint64_t{0}}) {
        editHeader([&](HeaderNumbers& numbers) { numbers[kHandseed] = seed; });
        EXPECT_EQ(resultOf([&] { contentOf(path); }), kOdFileCorrupt);
    }
    editHeader([](HeaderNumbers& numbers) { numbers[kHandseed] = std::uint64_t{1} << 62; });
    EXPECT_EQ(resultOf([&] { contentOf(path); }), kOdOk);
}

TEST_F(OdDbDrawingHostileTest, GivesNoHandleThatAStoredObjectHas)
{
    const DrawingContent content = save(path, 200);
    for (std::uint64_t seed : {1U, 40U, 64U, 130U}) {
        editHeader([&](HeaderNumbers& numbers) { numbers[kHandseed] = seed; });
        {
            const OdDbDatabasePtr database = open(path, kForWriting);
            addPart(*database, 1000);
            odDbSaveDrawing(*database);
        }
        DrawingContent found = contentOf(path);
        EXPECT_GT(found.size(), content.size());
        for (auto const& [handle, bytes] : content) {
            EXPECT_EQ(found[handle], bytes) << seed << ": object " << handle;
        }
    }
}

TEST_F(OdDbDrawingHostileTest, KeepsNewObjectsOutOfADamagedPageBehindTheHandseed)
{
    const DrawingContent content = save(path, 100);
    DrawingTables(path).run("INSERT INTO page SELECT id + 1, directory, records FROM page "
                            "ORDER BY id DESC LIMIT 1");
    for (OdDbOpenDrawingMode mode : {kForWriting, kForReading}) {
        const OdDbDatabasePtr database = open(path, mode);
        for (int seed = 1; seed <= 100; ++seed) {
            addPart(*database, seed);
        }
        if (mode == kForWriting) {
            odDbSaveDrawing(*database);
        } else {
            odDbSaveDrawingAs(*database, textOf(other));
        }
    }
    EXPECT_EQ(contentOf(path).size(), content.size() + 100);
    EXPECT_EQ(contentOf(other).size(), content.size() + 200);
}

TEST_F(OdDbDrawingHostileTest, WalksOverADrawingWithPagesThatNoHandleHas)
{
    const DrawingContent content = save(path, 100);
    DrawingTables(path).run("INSERT INTO page SELECT 1 << 60, directory, records FROM page "
                            "LIMIT 1; INSERT INTO page SELECT -5, directory, records FROM page "
                            "LIMIT 1");
    EXPECT_TRUE(same(contentOf(path), content));
    const OdDbDatabasePtr database = open(path, kForWriting);
    addPart(*database, 1);
    odDbSaveDrawing(*database);
    odDbSaveDrawingAs(*database, textOf(other));
    EXPECT_EQ(contentOf(other).size(), content.size() + 1);
}

TEST_F(OdDbDrawingHostileTest, GivesTheNumberOfALostClassToNoOther)
{
    const OdDbHandle part(0x21);
    {
        const OdDbDatabasePtr database = OdDbDatabase::createObject();
        database->addOdDbObject(OdDbXrecord::createObject().get());
        odDbSaveDrawingAs(*database, textOf(path));
        EXPECT_EQ(addPart(*database, 1).getHandle(), part);
        odDbSaveDrawing(*database);
        for (int count = 0; count < 200; ++count) {
            database->addOdDbObject(OdDbXrecord::createObject().get());
        }
        odDbSaveDrawing(*database);
    }
    DrawingTables(path).run("DELETE FROM class WHERE name = 'StoreTestPart'");
    StoreTestLateClass::rxInit();
    {
        const OdDbDatabasePtr database = open(path, kForWriting);
        database->addOdDbObject(odrxMake<StoreTestLateClass>().get());
        odDbSaveDrawing(*database);
    }
    StoreTestLateClass::rxUninit();
    const OdDbDatabasePtr database = open(path, kForReading);
    EXPECT_TRUE(database->getOdDbObjectId(part).openObject().isNull());
    EXPECT_FALSE(OdDbStorageAccess(*database).damages().empty());
}

TEST_F(OdDbDrawingHostileTest, KeepsSettingsThatANewerProgramHasAdded)
{
    constexpr int kOlderVersion = 30;
    const std::string more = "\x07new";
    const std::uint64_t handle = save(path, 3).begin()->first;
    const std::string reference(1, static_cast<char>(handle << 2 | 1));
    ASSERT_LT(handle, 32U);
    editHeader([](HeaderNumbers&) {}, reference, more);
    const auto hasMore = [&](fs::path const& file) {
        const OdDbDatabasePtr database = open(file, kForReading);
        const OdDbStoredBody& found = OdDbDrawingStore::of(*database)->moreSettings();
        return std::string(found.bytes.begin(), found.bytes.end()) == more &&
               found.references.size() == 1 && found.references[0].id.getHandle().value() == handle;
    };
    ASSERT_TRUE(hasMore(path));
    const OdDbDatabasePtr database = open(path, kForWriting);
    for (int turn = 0; turn < 2; ++turn) {
        addPart(*database, 50);
        odDbSaveDrawing(*database);
        EXPECT_TRUE(hasMore(path));
        odDbSaveDrawingAs(*database, textOf(other));
        EXPECT_TRUE(hasMore(other));
        odDbSaveDrawingAs(*database, textOf(path));
    }
    // In another version they might be taken for something else.
    odDbSaveDrawingAs(*database, textOf(other), kOlderVersion);
    EXPECT_TRUE(OdDbDrawingStore::of(*database)->moreSettings().bytes.empty());
}

TEST_F(OdDbDrawingHostileTest, ChecksADrawingWhoseRootsEndInTheMiddle)
{
    save(path, 3);
    editHeader([](HeaderNumbers&) {}, std::string("\xFF"));
    OdDbDrawingCheckResult result;
    EXPECT_EQ(resultOf([&] { result = odDbCheckDrawing(textOf(path), {}); }), kOdOk);
    EXPECT_GT(result.problems, 0U);
}

TEST_F(OdDbDrawingHostileTest, LosesOnlyAnObjectThatNamesAHandleWhichNoneCanHave)
{
    const DrawingContent content = save(path, 2);
    const std::uint64_t handle = content.rbegin()->first;
    const std::uint64_t number = handle / kHandlesInPage;
    DrawingTables tables(path);
    const std::string where = " FROM page WHERE id = " + std::to_string(number);
    const std::string directoryBytes = tables.blob("SELECT directory" + where);
    const std::string records = tables.blob("SELECT records" + where);
    const auto bytesOf = [](std::string const& text) {
        return std::span(reinterpret_cast<std::uint8_t const*>(text.data()), text.size());
    };
    const OdDbPageDirectory directory(number, bytesOf(directoryBytes));
    OdDbPageWriter writer;
    writer.start(number);
    for (OdDbPageEntry entry : directory.entries()) {
        const auto record = bytesOf(records).subspan(entry.offset, entry.recordBytes());
        const auto body = record.first(entry.bodyBytes);
        OdDbByteWriter references;
        references.putBytes(record.subspan(entry.bodyBytes));
        if (odDbHandleAt(number, entry.slot).value() == handle) {
            references.clear();
            references.putReference(0, 3);
            references.putReference(0, 0);
            references.putReference(std::uint64_t{1} << 62, 0);
        }
        entry.checksum = odDbChecksum(body, references.bytes());
        writer.add(entry, body, references.bytes());
    }
    writer.finish();
    tables.setBlob("UPDATE page SET directory = ? WHERE id = " + std::to_string(number),
                   {writer.directory().begin(), writer.directory().end()});
    tables.setBlob("UPDATE page SET records = ? WHERE id = " + std::to_string(number),
                   {writer.records().begin(), writer.records().end()});
    DrawingContent expected = content;
    expected.erase(handle);
    EXPECT_TRUE(same(contentOf(path), expected));
}

TEST_F(OdDbDrawingHostileTest, RefusesTablesThatShareTheirRows)
{
    save(path, 3);
    DrawingTables(path).run("PRAGMA writable_schema = ON; UPDATE sqlite_schema SET rootpage = "
                            "(SELECT rootpage FROM sqlite_schema WHERE name = 'page') "
                            "WHERE name = 'big'");
    EXPECT_EQ(resultOf([&] { open(path, kForWriting); }), kOdFileCorrupt);
}

TEST_F(OdDbDrawingHostileTest, TakesNoLogOfAnotherKindForItsOwn)
{
    const DrawingContent content = save(path, 3);
    writeFile(path.string() + "-wal", std::string(4096, 'x'));
    for (OdDbOpenDrawingMode mode : {kForReading, kForWriting}) {
        EXPECT_EQ(resultOf([&] { open(path, mode); }), kOdFileCorrupt);
    }
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"part.zdw", "part.zdw-wal"}));
    const DrawingContent fresh = save(path, 5);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"part.zdw"});
    EXPECT_TRUE(same(contentOf(path), fresh));
}

// ---------------------------------------------------------------------------------------------
// A file that changes under an open drawing

TEST_F(OdDbDrawingHostileTest, SavesElsewhereWhatIsInMemoryWhenItsFileWasCutOff)
{
    const DrawingContent content = save(path, 60, 100'000);
    const OdDbDatabasePtr database = open(path, kForWriting);
    EXPECT_TRUE(same(contentOf(*database), content));
    fs::resize_file(path, fs::file_size(path) / 3);
    odDbSaveDrawingAs(*database, textOf(other));
    EXPECT_TRUE(same(contentOf(other), content));
}

TEST_F(OdDbDrawingHostileTest, SavesElsewhereWhatIsInMemoryWhenItsFileWasOverwritten)
{
    for (std::size_t blobBytes : {std::size_t{100'000}, std::size_t{1'500'000}}) {
        const DrawingContent content = save(path, 40, blobBytes);
        const OdDbDatabasePtr database = open(path, kForWriting);
        EXPECT_TRUE(same(contentOf(*database), content));
        overwrite(path);
        odDbSaveDrawingAs(*database, textOf(other));
        EXPECT_TRUE(same(contentOf(other), content));
        EXPECT_EQ(odDbCheckDrawing(textOf(other), {}).problems, 0U);
    }
}

TEST_F(OdDbDrawingHostileTest, SavesElsewhereWhatIsInMemoryWhenTheFileItWasSavedToWasOverwritten)
{
    const OdDbDatabasePtr database = makeDrawing(200);
    const DrawingContent content = contentOf(*database);  // before there is a file to read
    odDbSaveDrawingAs(*database, textOf(path));
    overwrite(path);
    odDbSaveDrawingAs(*database, textOf(other));
    EXPECT_TRUE(same(contentOf(other), content));
    EXPECT_EQ(odDbCheckDrawing(textOf(other), {}).problems, 0U);
}

TEST_F(OdDbDrawingHostileTest, SavesElsewhereWhatASaveInPlaceHadAddedWhenTheFileWasOverwritten)
{
    save(path, 3);
    const OdDbDatabasePtr database = open(path, kForWriting);
    std::vector<OdDbHandle> added;
    for (int seed = 1; seed <= 200; ++seed) {
        added.push_back(addPart(*database, 1000 + seed).getHandle());
    }
    odDbSaveDrawing(*database);
    overwrite(path);
    // A file that was touched is read anew.
    fs::last_write_time(path, fs::last_write_time(path) + std::chrono::seconds(1));
    odDbSaveDrawing(*database);
    odDbSaveDrawingAs(*database, textOf(other));
    const DrawingContent saved = contentOf(other);
    for (OdDbHandle handle : added) {
        EXPECT_EQ(saved.count(handle.value()), 1U);
    }
}

TEST_F(OdDbDrawingHostileTest, SavesElsewhereAsDamagedWhatWasntLoadedFromAFileThatItHadReplaced)
{
    save(path, 130);
    const OdDbDatabasePtr database = open(path, kForWriting);
    const OdDbHandle loaded(0x20 + 70);
    const OdDbHandle lost(0x20 + 71);
    EXPECT_FALSE(database->getOdDbObjectId(loaded).openObject().isNull());
    odDbSaveDrawingAs(*database, textOf(path));
    overwrite(path);
    odDbSaveDrawingAs(*database, textOf(other));
    const OdDbDatabasePtr saved = open(other, kForReading);
    EXPECT_FALSE(saved->getOdDbObjectId(loaded).openObject().isNull());
    EXPECT_FALSE(saved->getOdDbObjectId(lost).isNull());
    EXPECT_EQ(saved->getOdDbObjectId(lost).objectClass(), StoreTestPart::desc());
    EXPECT_TRUE(saved->getOdDbObjectId(lost).openObject().isNull());
}

TEST_F(OdDbDrawingHostileTest, TellsOfObjectsThatWentWithTheirFile)
{
    save(path, 100, 100'000);
    const OdDbDatabasePtr database = open(path, kForWriting);
    const OdDbHandle first(0x20 + 1);
    EXPECT_FALSE(database->getOdDbObjectId(first).openObject().isNull());
    EXPECT_FALSE(database->getOdDbObjectId(OdDbHandle(0x20 + 99)).isNull());
    {
        std::fstream stream(path, std::ios::binary | std::ios::in | std::ios::out);
        stream.seekp(8192);
        const std::string noise(fs::file_size(path) - 8192, 'x');
        stream.write(noise.data(), static_cast<std::streamsize>(noise.size()));
    }
    odDbSaveDrawingAs(*database, textOf(other));
    const OdDbDatabasePtr saved = open(other, kForReading);
    EXPECT_FALSE(saved->getOdDbObjectId(first).openObject().isNull());
    EXPECT_FALSE(saved->getOdDbObjectId(OdDbHandle(0x20 + 99)).isNull());
    EXPECT_TRUE(saved->getOdDbObjectId(OdDbHandle(0x20 + 99)).openObject().isNull());
    EXPECT_GT(odDbCheckDrawing(textOf(other), {}).problems, 0U);
}

TEST_F(OdDbDrawingHostileTest, DoesntSaveIntoAFileThatWasOverwrittenByAnother)
{
    save(path, 100);
    const DrawingContent content = save(other, 150);
    const OdDbDatabasePtr database = open(path, kForWriting);
    addPart(*database, 1000);
    writeFile(path, readFile(other));
    EXPECT_EQ(resultOf([&] { odDbSaveDrawing(*database); }), kOdFileChanged);
    EXPECT_EQ(resultOf([&] { odDbSaveDrawing(*database); }), kOdFileChanged);
    EXPECT_TRUE(same(readFile(path), readFile(other)));
    EXPECT_TRUE(same(contentOf(path), content));
}

TEST_F(OdDbDrawingHostileTest, SavesIntoAFileWhoseTimeAloneHasChanged)
{
    save(path, 100);
    const OdDbDatabasePtr database = open(path, kForWriting);
    addPart(*database, 1000);
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(5));
    EXPECT_EQ(resultOf([&] { odDbSaveDrawing(*database); }), kOdOk);
    EXPECT_TRUE(same(contentOf(path), contentOf(*database)));
}

TEST_F(OdDbDrawingHostileTest, NoticesASaveInTheMomentInWhichItsLockChangesHands)
{
    FailingFileLayer layer;
    save(path, 10);
    DrawingContent saved;
    OdDbDatabasePtr database = open(path, kForWriting);
    addPart(*database, 1000);
    odDbSaveDrawing(*database, [&](std::uint64_t done, std::uint64_t total) {
        if (done != total) {
            return;
        }
        layer.atNextLock([&] {
            const OdDbDatabasePtr second = open(path, kForWriting);
            addPart(*second, 2000);
            odDbSaveDrawing(*second);
            saved = contentOf(*second);
        });
    });
    EXPECT_FALSE(saved.empty());
    addPart(*database, 3000);
    EXPECT_EQ(resultOf([&] { odDbSaveDrawing(*database); }), kOdFileChanged);
    database = {};
    EXPECT_TRUE(same(contentOf(path), saved));
}

TEST_F(OdDbDrawingHostileTest, TakesNoSaveOfAnotherForItsOwnThatFailed)
{
    FailingFileLayer layer;
    save(path, 10);
    const auto openFile = [&] { return OdDbDrawingFile::open(path, "part.zdw", kForWriting); };
    const auto writeNext = [](OdDbDrawingFile& file) {
        OdDbDrawingHeader header = file.header();
        ++header.saves;
        file.beginSave();
        file.writeHeader(header);
    };
    for (bool const isDiskFull : {false, true}) {
        SCOPED_TRACE(isDiskFull);
        const std::unique_ptr<OdDbDrawingFile> mine = openFile();
        writeNext(*mine);
        if (isDiskFull) {
            layer.failAt(1, FaultKind::kDiskFull);
            EXPECT_EQ(resultOf([&] { mine->commitSave(); }), kOdFileAccess);
            layer.failAt(0, FaultKind::kNone);
        }
        bool hasSaved = false;
        layer.atNextLock([&] {
            const std::unique_ptr<OdDbDrawingFile> theirs = openFile();
            writeNext(*theirs);
            theirs->commitSave();
            hasSaved = true;
        });
        mine->rollbackSave();
        EXPECT_TRUE(hasSaved);
        EXPECT_EQ(resultOf([&] { mine->beginSave(); }), kOdFileChanged);
    }
}

TEST_F(OdDbDrawingHostileTest, NoticesASaveRightAfterItsFileTookItsPlace)
{
    FailingFileLayer layer;
    const OdDbDatabasePtr database = makeDrawing(10);
    DrawingContent saved;
    layer.atNextRename([&] {
        const OdDbDatabasePtr second = open(path, kForWriting);
        addPart(*second, 2000);
        odDbSaveDrawing(*second);
        saved = contentOf(*second);
    });
    EXPECT_EQ(resultOf([&] { odDbSaveDrawingAs(*database, textOf(path)); }), kOdFileChanged);
    EXPECT_FALSE(saved.empty());
    EXPECT_TRUE(same(contentOf(path), saved));
    EXPECT_TRUE(database->isChanged());
    odDbSaveDrawingAs(*database, textOf(other));
    EXPECT_TRUE(same(contentOf(other), contentOf(*database)));
}

TEST_F(OdDbDrawingHostileTest, OpensTheDrawingThatTookThePlaceOfTheOneBeingOpened)
{
    FailingFileLayer layer;
    save(path, 10);
    const DrawingContent content = save(other, 20);
    layer.atNextLock([&] { fs::rename(other, path); });
    const OdDbDatabasePtr database = open(path, kForWriting);
    EXPECT_TRUE(same(contentOf(*database), content));
    addPart(*database, 1000);
    odDbSaveDrawing(*database);
    EXPECT_EQ(contentOf(path).size(), content.size() + 1);
}

// ---------------------------------------------------------------------------------------------
// Calls that go wrong

TEST_F(OdDbDrawingHostileTest, RefusesToSaveADrawingThatIsBeingSaved)
{
    save(path, 100);
    const OdDbDatabasePtr database = open(path, kForWriting);
    addPart(*database, 1000);
    std::vector<OdResult> results;
    const auto meddle = [&](std::uint64_t, std::uint64_t) {
        results.push_back(resultOf([&] { odDbSaveDrawing(*database); }));
        results.push_back(resultOf([&] { odDbSaveDrawingAs(*database, textOf(other)); }));
    };
    odDbSaveDrawing(*database, meddle);
    odDbSaveDrawingAs(*database, textOf(path), OdDb::kDwgVersionCurrent, meddle);
    EXPECT_EQ(results, std::vector<OdResult>(4, kOdNotApplicable));
    EXPECT_TRUE(same(contentOf(path), contentOf(*database)));
    EXPECT_EQ(odDbCheckDrawing(textOf(path), {}).problems, 0U);
    EXPECT_EQ(resultOf([&] { odDbSaveDrawingAs(*database, textOf(other)); }), kOdOk);
}

TEST_F(OdDbDrawingHostileTest, RefusesANameWithoutRoomForItsJournal)
{
    const OdDbDatabasePtr database = makeDrawing(3);
    const std::string end = ".zdw";
    const fs::path longest = folder.file((std::string(247 - end.size(), 'x') + end).c_str());
    const fs::path tooLong = folder.file((std::string(248 - end.size(), 'x') + end).c_str());
    EXPECT_EQ(resultOf([&] { odDbSaveDrawingAs(*database, textOf(tooLong)); }), kOdFileAccess);
    EXPECT_TRUE(folder.names().empty());
    EXPECT_EQ(resultOf([&] { odDbSaveDrawingAs(*database, textOf(longest)); }), kOdOk);
    addPart(*database, 4);
    EXPECT_EQ(resultOf([&] { odDbSaveDrawing(*database); }), kOdOk);

    fs::path deep = folder.path();
    while (deep.string().size() < 470) {
        deep /= std::string(30, 'd');
    }
    fs::create_directories(deep);
    const fs::path tooDeep = deep / (std::string(100, 'x') + end);
    EXPECT_EQ(resultOf([&] { odDbSaveDrawingAs(*database, textOf(tooDeep)); }), kOdFileAccess);
    EXPECT_TRUE(fs::is_empty(deep));
    addPart(*database, 5);
    EXPECT_EQ(resultOf([&] { odDbSaveDrawing(*database); }), kOdOk);
    EXPECT_TRUE(same(contentOf(longest), contentOf(*database)));
}

TEST_F(OdDbDrawingHostileTest, TellsHowLongANameAndAPathMayBe)
{
    const OdDbDatabasePtr database = makeDrawing(3);
    const auto messageOf = [](auto const& call) {
        try {
            call();
        } catch (OdError const& error) {
            EXPECT_EQ(error.code(), kOdFileAccess);
            return std::string(error.what());
        }
        return std::string();
    };
    const fs::path longName = folder.file((std::string(246, 'x') + ".zdw").c_str());
    EXPECT_NE(messageOf([&] {
                  odDbSaveDrawingAs(*database, textOf(longName));
              }).find("its name has 250 bytes, and at most 247"),
              std::string::npos);
    fs::path deep = folder.path();
    while (deep.string().size() < 460) {
        deep /= std::string(20, 'd');
    }
    deep /= std::string(489 - deep.string().size(), 'd');
    fs::create_directories(deep);
    const fs::path longPath = deep / (std::string(30, 'x') + ".zdw");
    const std::string expected =
        "its path has " + std::to_string(longPath.string().size()) + " bytes, and at most 504";
    EXPECT_NE(messageOf([&] { odDbSaveDrawingAs(*database, textOf(longPath)); }).find(expected),
              std::string::npos);
    // Its own path would do, but not that of the file which is to become it.
    const fs::path shortName = deep / "a.zdw";
    EXPECT_NE(messageOf([&] {
                  odDbSaveDrawingAs(*database, textOf(shortName));
              }).find("the path of the file that is written beside it"),
              std::string::npos);
    EXPECT_TRUE(fs::is_empty(deep));
    std::ofstream(longPath) << "something";
    for (auto const mode : {OdDbOpenDrawingMode::kForReading, OdDbOpenDrawingMode::kForWriting}) {
        EXPECT_NE(messageOf([&] { (void)odDbOpenDrawing(textOf(longPath), mode); }).find(expected),
                  std::string::npos);
    }
}

TEST_F(OdDbDrawingHostileTest, LeavesTheOtherNamesOfAFileTheDrawingThatTheyHad)
{
    const fs::path backup = folder.file("backup.zdw");
    const DrawingContent old = save(path, 200);
    fs::create_hard_link(path, backup);
    const OdDbDatabasePtr database =
        odDbOpenDrawing(textOf(path), OdDbOpenDrawingMode::kForWriting);
    const OdString name = database->getFilename();
    addPart(*database, 300);
    odDbSaveDrawing(*database);
    EXPECT_FALSE(database->isChanged());
    EXPECT_EQ(database->getFilename(), name);
    EXPECT_TRUE(same(contentOf(backup), old));
    EXPECT_TRUE(same(contentOf(path), contentOf(*database)));
    // It has one name now, and is saved in place.
    EXPECT_EQ(fs::hard_link_count(path), 1U);
    const auto before = OdDbDrawingStore::of(*database)->file().header().saves;
    addPart(*database, 301);
    odDbSaveDrawing(*database);
    EXPECT_EQ(OdDbDrawingStore::of(*database)->file().header().saves, before + 1);
    EXPECT_TRUE(same(contentOf(path), contentOf(*database)));
    EXPECT_TRUE(same(contentOf(backup), old));
}

TEST_F(OdDbDrawingHostileTest, KeepsTheVersionOfAFileWithSeveralNames)
{
    {
        const OdDbDatabasePtr database = makeDrawing(5);
        odDbSaveDrawingAs(*database, textOf(path), OdDb::kDwgVersion29);
    }
    fs::create_hard_link(path, folder.file("backup.zdw"));
    const OdDbDatabasePtr database =
        odDbOpenDrawing(textOf(path), OdDbOpenDrawingMode::kForWriting);
    addPart(*database, 6);
    odDbSaveDrawing(*database);
    EXPECT_EQ(odDbDrawingVersion(*database), OdDb::kDwgVersion29);
}

TEST_F(OdDbDrawingHostileTest, TakesNamesThatAreNoText)
{
    const fs::path odd = folder.file("a\xFF\xC3 b?#%41'.zdw");
    const DrawingContent content = save(odd, 3);
    EXPECT_EQ(folder.names(), std::vector<std::string>{odd.filename().string()});
    EXPECT_TRUE(same(contentOf(odd), content));
}

TEST_F(OdDbDrawingHostileTest, LetsNobodyElseReadWhatReplacesAPrivateDrawing)
{
    const OdDbDatabasePtr database = makeDrawing(100);
    odDbSaveDrawingAs(*database, textOf(path));
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
    int looks = 0;
    odDbSaveDrawingAs(*database, textOf(path), OdDb::kDwgVersionCurrent,
                      [&](std::uint64_t, std::uint64_t) {
                          for (std::string const& name : folder.names()) {
                              const auto rights = fs::status(folder.file(name.c_str()));
                              EXPECT_EQ(rights.permissions() & fs::perms::mask,
                                        fs::perms::owner_read | fs::perms::owner_write)
                                  << name;
                              ++looks;
                          }
                      });
    EXPECT_GE(looks, 2);
}

TEST_F(OdDbDrawingHostileTest, RemovesTemporaryFilesOfDeadProcessesOfItsOwnSpaceAlone)
{
    char host[65] = {};
    ASSERT_EQ(::gethostname(host, sizeof host - 1), 0);
    std::string space = fs::read_symlink("/proc/self/ns/pid").string();
    std::erase_if(space, [](char sign) { return sign < '0' || sign > '9'; });
    constexpr int kNoProcess = 2'000'000'000;
    const auto nameOf = [&](std::string const& ofHost, std::string const& ofSpace, int process) {
        return ".zdw~" + ofHost + "~" + ofSpace + "~" + std::to_string(process) + "~1.tmp";
    };
    std::vector<std::string> kept = {nameOf(host, space, ::getpid()),
                                     nameOf(host, space + "1", kNoProcess),
                                     nameOf(std::string(host) + "x", space, kNoProcess)};
    for (std::string const& name : kept) {
        writeFile(folder.file(name.c_str()), "left");
    }
    writeFile(folder.file(nameOf(host, space, kNoProcess).c_str()), "left");
    save(path, 1);
    kept.push_back("part.zdw");
    std::sort(kept.begin(), kept.end());
    EXPECT_EQ(folder.names(), kept);
}

TEST_F(OdDbDrawingHostileTest, SavesToTheTargetOfALinkThatLeadsNowhereYet)
{
    fs::create_directory(folder.file("sub"));
    fs::create_symlink("sub/target.zdw", folder.file("link.zdw"));
    const DrawingContent content = save(folder.file("link.zdw"), 3);
    EXPECT_TRUE(fs::is_symlink(folder.file("link.zdw")));
    EXPECT_TRUE(same(contentOf(folder.file("sub") / "target.zdw"), content));
    fs::create_symlink("round.zdw", folder.file("round.zdw"));
    EXPECT_EQ(resultOf([&] { save(folder.file("round.zdw"), 3); }), kOdFileAccess);
}

TEST_F(OdDbDrawingHostileTest, SavesChangedProxiesWhoseClassCameMeanwhile)
{
    const OdDbHandle first(0x21);
    const OdDbHandle second(0x22);
    const DrawingContent content = save(path, 100, 10);
    for (int dwgVersion : {OdDb::kDwgVersionCurrent, OdDb::kDwgVersion29}) {
        StoreTestPart::rxUninit();
        const OdDbDatabasePtr database = open(path, kForWriting);
        const OdDbObjectId id = database->getOdDbObjectId(first);
        const OdDbObjectId reactor = database->getOdDbObjectId(second);
        {
            const OdDbObjectPtr proxy = id.safeOpenObject(OdDb::kForWrite);
            proxy->addPersistentReactor(reactor);
            StoreTestPart::rxInit();
            odDbSaveDrawingAs(*database, textOf(other), dwgVersion);
            odDbSaveDrawing(*database);
        }
        const OdDbDatabasePtr saved = open(other, kForReading);
        for (OdDbDatabasePtr const& found : {database, saved}) {
            const StoreTestPartPtr part = found->getOdDbObjectId(first).safeOpenObject();
            EXPECT_EQ(part->number, 2);
            EXPECT_EQ(part->tag, 2);
            EXPECT_EQ(part->blob.size(), 10U);
            EXPECT_TRUE(part->hasPersistentReactor(found->getOdDbObjectId(second)));
        }
        EXPECT_EQ(contentOf(*saved).size(), content.size());
        EXPECT_EQ(odDbCheckDrawing(textOf(other), {}).problems, 0U);
    }
}

TEST_F(OdDbDrawingHostileTest, SavesWhatAnUndoBroughtBack)
{
    const DrawingContent content = save(path, 100);
    const OdDbDatabasePtr database = open(path, kForWriting);
    database->disableUndoRecording(false);
    for (int round = 0; round < 3; ++round) {
        database->startUndoRecord();
        const OdDbObjectId id = database->getOdDbObjectId(OdDbHandle(0x21));
        {
            const StoreTestPartPtr part = id.safeOpenObject(OdDb::kForWrite);
            part->assertWriteEnabled();
            part->number = 77;
        }
        addPart(*database, 2000);
        {
            const OdDbObjectPtr doomed =
                database->getOdDbObjectId(OdDbHandle(0x22)).safeOpenObject(OdDb::kForWrite);
            EXPECT_EQ(doomed->erase(), kOdOk);
        }
        if (round != 0) {
            odDbSaveDrawing(*database);
            EXPECT_FALSE(same(contentOf(path), content));
        }
        EXPECT_EQ(database->undo(), kOdOk);
        odDbSaveDrawing(*database);
        EXPECT_TRUE(same(contentOf(path), content));
        EXPECT_EQ(odDbCheckDrawing(textOf(path), {}).problems, 0U);
    }
}

}  // namespace
