#include "store/drawing_tables.h"
#include "store/drawing_test_support.h"
#include "store/od_db_drawing.h"
#include "store/od_db_drawing_check.h"
#include "store/od_db_drawing_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr auto kForReading = OdDbOpenDrawingMode::kForReading;
constexpr auto kForWriting = OdDbOpenDrawingMode::kForWriting;

/// What is left of a damaged drawing.
struct Rest
{
    OdResult result = kOdOk;  ///< of opening it
    std::string message;
    DrawingContent content;
};

class OdDbDrawingDamageTest : public testing::Test
{
protected:
    OdDbPlatform platform;
    StoreTestClasses classes;
    TemporaryFolder folder;
    std::filesystem::path const path = folder.file("part.zdw");
    std::uint64_t firstPart = 0;
    DrawingContent original;

    void save(int parts, std::size_t blobBytes = 0)
    {
        const OdDbDatabasePtr database = makeDrawing(0);
        firstPart = database->handseed().value();
        OdDbObjectId last;
        for (int seed = 1; seed <= parts; ++seed) {
            last = addPart(*database, seed, last, blobBytes);
        }
        original = contentOf(*database);
        odDbSaveDrawingAs(*database, textOf(path));
    }
    OdDbHandle partHandle(int number) const
    {
        return OdDbHandle(firstPart + static_cast<std::uint64_t>(number) - 1);
    }
    /// Opens the drawing and reads all that can be read.
    Rest readRest() const
    {
        Rest rest;
        OdDbDatabasePtr database;
        try {
            database = odDbOpenDrawing(textOf(path), kForReading);
            rest.content = contentOf(*database);
        } catch (OdError const& error) {
            rest.result = error.code();
            rest.message = error.what();
        }
        return rest;
    }
    /// Whether each object that is left is as it was.
    testing::AssertionResult isPartOfOriginal(DrawingContent const& content) const
    {
        for (auto const& [handle, bytes] : content) {
            const auto found = original.find(handle);
            if (found == original.end() || found->second != bytes) {
                return testing::AssertionFailure()
                       << "object " << OdDbHandle(handle).ascii().utf8() << " is made up";
            }
        }
        return testing::AssertionSuccess();
    }
    std::vector<OdDbDrawingFinding> check() const
    {
        std::vector<OdDbDrawingFinding> findings;
        (void)odDbCheckDrawing(
            textOf(path), [&](OdDbDrawingFinding const& finding) { findings.push_back(finding); });
        return findings;
    }
    std::size_t problems() const
    {
        return static_cast<std::size_t>(odDbCheckDrawing(textOf(path), {}).problems);
    }
    /// Takes a damaged drawing, found in the file: it tells so by name, or what is left is as it was
    /// and the check tells of the rest.
    void expectHonest(std::string const& bytes, std::string const& what)
    {
        writeFile(path, bytes);
        const Rest rest = readRest();
        if (rest.result != kOdOk) {
            EXPECT_TRUE(rest.result == kOdFileCorrupt || rest.result == kOdFileTooNew)
                << what << ": " << rest.result << ' ' << rest.message;
            EXPECT_EQ(rest.message.find(path.string() + ": "), 0U) << what << ": " << rest.message;
            return;
        }
        ASSERT_TRUE(isPartOfOriginal(rest.content)) << what;
        if (rest.content.size() != original.size()) {
            try {
                EXPECT_GT(problems(), 0U) << what;
            } catch (OdError const& error) {
                ADD_FAILURE() << what << ": " << error.what();
            }
        }
    }
};

TEST_F(OdDbDrawingDamageTest, AnswersTruncationAtEveryLength)
{
    save(3);
    const std::string whole = readFile(path);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        expectHonest(whole.substr(0, length), "length " + std::to_string(length));
        if (HasFatalFailure()) {
            return;
        }
    }
}

/// All single bits of a file in a few tests of their own, so that they can run side by side.
class OdDbDrawingBitTest : public OdDbDrawingDamageTest, public testing::WithParamInterface<int>
{
protected:
    static constexpr int kParts = 8;
};

TEST_P(OdDbDrawingBitTest, AnswersEveryFlippedBit)
{
    save(3);
    const std::string whole = readFile(path);
    std::string flipped = whole;
    const auto part = static_cast<std::size_t>(GetParam());
    for (std::size_t at = part; at < whole.size(); at += kParts) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            flipped[at] = static_cast<char>(whole[at] ^ (1U << bit));
            expectHonest(flipped, "byte " + std::to_string(at) + ", bit " + std::to_string(bit));
            if (HasFatalFailure()) {
                return;
            }
        }
        flipped[at] = whole[at];
    }
}

INSTANTIATE_TEST_SUITE_P(Bytes, OdDbDrawingBitTest, testing::Range(0, 8));

TEST_F(OdDbDrawingDamageTest, LosesOnlyTheObjectWhoseRecordIsDamaged)
{
    save(100);
    std::string records;
    {
        DrawingTables tables(path);
        records = tables.blob("SELECT records FROM page WHERE id = 1");
        std::string damaged = records;
        damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 0x10);
        tables.setBlob("UPDATE page SET records = ? WHERE id = 1", damaged);
    }
    const Rest rest = readRest();
    EXPECT_EQ(rest.result, kOdOk);
    EXPECT_TRUE(isPartOfOriginal(rest.content));
    EXPECT_EQ(rest.content.size(), original.size() - 1);
    const std::vector<OdDbDrawingFinding> findings = check();
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].kind, OdDbDrawingFinding::Kind::kObject);
    EXPECT_EQ(rest.content.count(findings[0].handle.value()), 0U);
    EXPECT_EQ(findings[0].text, "object " + std::string(findings[0].handle.ascii().utf8()) +
                                    ": its checksum differs");
}

TEST_F(OdDbDrawingDamageTest, TellsADamagedObjectFromOneThatIsMissing)
{
    save(3);
    {
        DrawingTables tables(path);
        tables.run("UPDATE page SET records = zeroblob(length(records)) WHERE id = 0");
    }
    const OdDbDatabasePtr database = odDbOpenDrawing(textOf(path), kForReading);
    const OdDbObjectId damaged = database->getOdDbObjectId(partHandle(1));
    const OdDbObjectId missing = database->getOdDbObjectId(OdDbHandle(0x999), /*create=*/true);
    EXPECT_TRUE(damaged.openObject().isNull());
    EXPECT_TRUE(missing.openObject().isNull());
    const auto codeOf = [](OdDbObjectId id) {
        try {
            (void)id.safeOpenObject();
        } catch (OdError const& error) {
            return error.code();
        }
        return kOdOk;
    };
    EXPECT_EQ(codeOf(damaged), kOdObjectDamaged);
    EXPECT_EQ(codeOf(missing), kOdKeyNotFound);
}

TEST_F(OdDbDrawingDamageTest, CarriesADamagedRecordThroughEverySave)
{
    save(100);
    {
        DrawingTables tables(path);
        std::string damaged = tables.blob("SELECT records FROM page WHERE id = 1");
        damaged[5] = static_cast<char>(damaged[5] ^ 0x10);
        tables.setBlob("UPDATE page SET records = ? WHERE id = 1", damaged);
    }
    const std::string before = DrawingTables(path).blob("SELECT records FROM page WHERE id = 1");
    {
        const OdDbDatabasePtr database = odDbOpenDrawing(textOf(path), kForWriting);
        const StoreTestPartPtr neighbour =
            database->getOdDbObjectId(partHandle(100)).openObject(OdDb::kForWrite);
        neighbour->assertWriteEnabled();
        neighbour->number = 5;
        odDbSaveDrawing(*database);
        odDbSaveDrawingAs(*database, textOf(folder.file("copy.zdw")));
        odDbSaveDrawingAs(*database, textOf(folder.file("old.zdw")), OdDb::kDwgVersion29);
    }
    EXPECT_EQ(DrawingTables(path).blob("SELECT records FROM page WHERE id = 1").substr(0, 50),
              before.substr(0, 50));
    for (char const* name : {"part.zdw", "copy.zdw", "old.zdw"}) {
        const DrawingContent content = contentOf(folder.file(name));
        EXPECT_EQ(content.size(), original.size() - 1) << name;
        EXPECT_EQ(content.count(64), 0U) << name;
    }
}

TEST_F(OdDbDrawingDamageTest, KeepsRecordsThatAreCutOffDamaged)
{
    save(100);
    {
        DrawingTables tables(path);
        const std::string records = tables.blob("SELECT records FROM page WHERE id = 1");
        tables.setBlob("UPDATE page SET records = ? WHERE id = 1",
                       records.substr(0, records.size() / 2));
    }
    const Rest rest = readRest();
    EXPECT_TRUE(isPartOfOriginal(rest.content));
    EXPECT_LT(rest.content.size(), original.size() - 20);
    const std::size_t found = problems();
    {
        const OdDbDatabasePtr database = odDbOpenDrawing(textOf(path), kForWriting);
        odDbSaveDrawingAs(*database, textOf(path));
    }
    EXPECT_TRUE(same(readRest().content, rest.content));
    EXPECT_EQ(problems(), found);
}

TEST_F(OdDbDrawingDamageTest, LosesOnlyThePageWhoseDirectoryIsDamaged)
{
    save(200);
    {
        DrawingTables tables(path);
        std::string directory = tables.blob("SELECT directory FROM page WHERE id = 2");
        directory[12] = static_cast<char>(directory[12] ^ 1);
        tables.setBlob("UPDATE page SET directory = ? WHERE id = 2", directory);
    }
    const Rest rest = readRest();
    EXPECT_TRUE(isPartOfOriginal(rest.content));
    EXPECT_EQ(rest.content.size(), original.size() - 64);
    const std::vector<OdDbDrawingFinding> findings = check();
    ASSERT_EQ(findings.size(), 2U);
    EXPECT_EQ(findings[0].kind, OdDbDrawingFinding::Kind::kPage);
    EXPECT_EQ(findings[0].text, "objects 80 to BF: the directory of its page is damaged");
    EXPECT_EQ(findings[1].kind, OdDbDrawingFinding::Kind::kFile);

    // The page goes on as it is, and its objects count as damaged rather than as missing.
    const std::string page = DrawingTables(path).blob("SELECT records FROM page WHERE id = 2");
    {
        const OdDbDatabasePtr database = odDbOpenDrawing(textOf(path), kForWriting);
        EXPECT_TRUE(database->getOdDbObjectId(OdDbHandle(0x90)).openObject().isNull());
        addPart(*database, 1000);
        odDbSaveDrawing(*database);
        odDbSaveDrawingAs(*database, textOf(folder.file("copy.zdw")));
    }
    EXPECT_EQ(contentOf(path).size(), original.size() - 64 + 1);
    EXPECT_EQ(contentOf(folder.file("copy.zdw")).size(), original.size() - 64 + 1);
    EXPECT_EQ(DrawingTables(folder.file("copy.zdw")).blob("SELECT records FROM page WHERE id = 2"),
              page);
}

TEST_F(OdDbDrawingDamageTest, KeepsNewObjectsOutOfADamagedPage)
{
    save(100);  // the last page has room
    const std::uint64_t lastPage = odDbPageOf(partHandle(100));
    {
        DrawingTables tables(path);
        tables.run("UPDATE page SET directory = zeroblob(20) WHERE id = " +
                   std::to_string(lastPage));
    }
    {
        const OdDbDatabasePtr database = odDbOpenDrawing(textOf(path), kForWriting);
        const OdDbObjectId added = addPart(*database, 1000);
        EXPECT_EQ(added.getHandle(), OdDbHandle((lastPage + 1) * kHandlesInPage));
        odDbSaveDrawing(*database);
    }
    const DrawingContent content = contentOf(path);
    EXPECT_EQ(content.count((lastPage + 1) * kHandlesInPage), 1U);
}

TEST_F(OdDbDrawingDamageTest, LosesOnlyObjectsOfADamagedClass)
{
    save(10);
    DrawingTables(path).run(
        "UPDATE class SET app_name = 'other' WHERE dxf_name = 'STORE_TEST_PART'");
    const Rest rest = readRest();
    EXPECT_TRUE(isPartOfOriginal(rest.content));
    EXPECT_EQ(rest.content.size(), original.size() - 10);
    const std::vector<OdDbDrawingFinding> findings = check();
    ASSERT_EQ(findings.size(), 10U);
    EXPECT_NE(findings[0].text.find("its class, number "), std::string::npos);
    {
        const OdDbDatabasePtr database = odDbOpenDrawing(textOf(path), kForWriting);
        odDbSaveDrawingAs(*database, textOf(path));
    }
    EXPECT_TRUE(same(readRest().content, rest.content));
    EXPECT_EQ(check().size(), 10U);
}

TEST_F(OdDbDrawingDamageTest, LosesOnlyObjectsOfAMissingClass)
{
    save(10);
    DrawingTables(path).run("DELETE FROM class WHERE dxf_name = 'STORE_TEST_PART'");
    EXPECT_EQ(readRest().content.size(), original.size() - 10);
    EXPECT_EQ(check().size(), 11U);  // and the count of classes
}

TEST_F(OdDbDrawingDamageTest, ReportsARecordOutsideOfItsPageThatIsDamagedOrMissing)
{
    save(2, 2 << 20);
    {
        DrawingTables tables(path);
        tables.run("DELETE FROM big WHERE handle = " + std::to_string(partHandle(1).value()));
        tables.run("UPDATE big SET record = zeroblob(3000000)");
    }
    const Rest rest = readRest();
    EXPECT_EQ(rest.content.size(), original.size() - 2);
    std::vector<std::string> texts;
    for (OdDbDrawingFinding const& finding : check()) {
        texts.push_back(finding.text);
    }
    const auto objectText = [&](int number, char const* text) {
        return "object " + std::string(partHandle(number).ascii().utf8()) + text;
    };
    EXPECT_EQ(texts, (std::vector<std::string>{"table big: 1 rows, expected 2",
                                               objectText(1, ": its record is missing"),
                                               objectText(2, ": its checksum differs")}));
    // Saving carries what is there.
    const OdDbDatabasePtr database = odDbOpenDrawing(textOf(path), kForWriting);
    odDbSaveDrawingAs(*database, textOf(folder.file("copy.zdw")));
    EXPECT_TRUE(same(contentOf(folder.file("copy.zdw")), rest.content));
}

TEST_F(OdDbDrawingDamageTest, NoticesLostRows)
{
    save(200);
    DrawingTables(path).run("DELETE FROM page WHERE id = 2");
    EXPECT_EQ(readRest().content.size(), original.size() - 64);
    EXPECT_GE(problems(), 2U);
}

TEST_F(OdDbDrawingDamageTest, RefusesAHeaderThatIsMissingOrDamaged)
{
    save(1);
    const std::string header = DrawingTables(path).blob("SELECT value FROM meta");
    for (std::size_t at = 0; at < header.size(); ++at) {
        std::string damaged = header;
        damaged[at] = static_cast<char>(damaged[at] ^ 4);
        DrawingTables(path).setBlob("UPDATE meta SET value = ?", damaged);
        EXPECT_EQ(readRest().result, kOdFileCorrupt) << at;
    }
    DrawingTables(path).run("DELETE FROM meta");
    const Rest rest = readRest();
    EXPECT_EQ(rest.result, kOdFileCorrupt);
    EXPECT_EQ(rest.message, path.string() + ": is damaged: it has no header");
}

// What a stranger may have put into a file. None of it is ever run.
TEST_F(OdDbDrawingDamageTest, RefusesTablesThatAreNotThoseOfADrawing)
{
    constexpr char const* kChanges[] = {
        "CREATE TABLE more(a)",
        "CREATE INDEX byName ON class(name)",
        "CREATE VIEW v AS SELECT * FROM page",
        "CREATE TRIGGER t AFTER UPDATE ON page BEGIN DELETE FROM page; END",
        "DROP TABLE big",
        "ALTER TABLE class ADD COLUMN more TEXT",
        "ALTER TABLE page RENAME TO pages",
        "DROP TABLE page; CREATE VIEW page AS SELECT 1 AS id, x'00' AS directory, x'' AS records",
    };
    save(1);
    const std::string whole = readFile(path);
    for (char const* change : kChanges) {
        writeFile(path, whole);
        DrawingTables(path).run(change);
        for (OdDbOpenDrawingMode mode : {kForReading, kForWriting}) {
            try {
                (void)odDbOpenDrawing(textOf(path), mode);
                ADD_FAILURE() << change;
            } catch (OdError const& error) {
                EXPECT_EQ(error.code(), kOdFileCorrupt) << change << ": " << error.what();
            }
        }
    }
}

TEST_F(OdDbDrawingDamageTest, RefusesValuesOfWrongTypes)
{
    struct Row
    {
        char const* change;
        bool isWholeLost;
    };
    constexpr Row kRows[] = {
        {"UPDATE class SET dwg_version = 'x'", true},
        {"UPDATE class SET name = x'00'", true},
        {"UPDATE class SET proxy_flags = 99999999999", true},
        {"UPDATE class SET id = -id", true},
        {"UPDATE meta SET value = 'text'", true},
        {"UPDATE page SET directory = 'text' WHERE id = 1", false},
        {"UPDATE page SET records = 5 WHERE id = 1", false},
    };
    save(100);
    const std::string whole = readFile(path);
    for (Row const& row : kRows) {
        SCOPED_TRACE(row.change);
        writeFile(path, whole);
        DrawingTables(path).run(row.change);
        const Rest rest = readRest();
        EXPECT_EQ(rest.result, row.isWholeLost ? kOdFileCorrupt : kOdOk) << rest.message;
        if (!row.isWholeLost) {
            EXPECT_TRUE(isPartOfOriginal(rest.content));
            EXPECT_EQ(rest.content.size(), original.size() - 64);
            EXPECT_GT(problems(), 0U);
        }
    }
}

TEST_F(OdDbDrawingDamageTest, RefusesFilesOfOtherFormats)
{
    struct Row
    {
        char const* change;
        OdResult expected;
    };
    constexpr Row kRows[] = {
        {"PRAGMA user_version = 2", kOdFileTooNew},
        {"PRAGMA user_version = 0", kOdFileCorrupt},
        {"PRAGMA application_id = 7", kOdFileCorrupt},
        {"PRAGMA journal_mode = WAL", kOdFileCorrupt},
    };
    save(1);
    const std::string whole = readFile(path);
    for (Row const& row : kRows) {
        writeFile(path, whole);
        DrawingTables(path).run(row.change);
        EXPECT_EQ(readRest().result, row.expected) << row.change;
    }
    EXPECT_EQ(folder.names(), std::vector<std::string>{"part.zdw"});
}

TEST_F(OdDbDrawingDamageTest, RefusesADrawingVersionThatItDoesntKnow)
{
    save(1);
    std::string header = DrawingTables(path).blob("SELECT value FROM meta");
    header[0] = 31;
    const auto bytes =
        std::span(reinterpret_cast<std::uint8_t const*>(header.data()), header.size() - 4);
    OdDbByteWriter sum;
    sum.putFixed32(odDbChecksum(bytes));
    std::copy(sum.bytes().begin(), sum.bytes().end(), header.end() - 4);
    DrawingTables(path).setBlob("UPDATE meta SET value = ?", header);
    const Rest rest = readRest();
    EXPECT_EQ(rest.result, kOdUnsupportedVersion);
    EXPECT_EQ(rest.message, path.string() + ": drawing version 31 can't be read");
}

// A table whose inner pages name the same page again and again has more rows than could ever be
// read; reading it has to end all the same.
TEST_F(OdDbDrawingDamageTest, EndsOnTablesThatGoRoundInARing)
{
    save(3000);
    std::string bytes = readFile(path);
    constexpr std::size_t kFilePage = 1024;
    constexpr char kInnerTablePage = 5;
    int rings = 0;
    for (std::size_t at = kFilePage; at < bytes.size(); at += kFilePage) {
        if (bytes[at] != kInnerTablePage) {
            continue;
        }
        ++rings;
        std::string damaged = bytes;
        const std::size_t number = at / kFilePage + 1;
        for (int shift = 0; shift < 4; ++shift) {
            damaged[at + 8 + static_cast<std::size_t>(shift)] =
                static_cast<char>(number >> (8 * (3 - shift)));
        }
        expectHonest(damaged, "page " + std::to_string(number));
    }
    EXPECT_GT(rings, 0);
}

TEST_F(OdDbDrawingDamageTest, FindsNothingInAWholeDrawing)
{
    save(150, 100);
    const OdDbDrawingCheckResult result = odDbCheckDrawing(textOf(path), {});
    EXPECT_EQ(result.objects, original.size());
    EXPECT_GT(result.references, 300U);
    EXPECT_EQ(result.problems, 0U);
    EXPECT_EQ(result.notes, 0U);
    EXPECT_EQ(result.proxies, 0U);
}

}  // namespace
