// Builds the example of docs/file-format.md and compares it with the bytes that are printed there.

#include "db/od_db_curves.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_xrecord.h"
#include "store/drawing_test_support.h"
#include "store/od_db_drawing.h"
#include "store/od_db_drawing_store.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

/// A drawing with three objects in page 1: a dictionary, an extended record in it, and a line.
OdDbDatabasePtr makeExample()
{
    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    const OdDbDictionaryPtr dictionary = OdDbDictionary::createObject();
    (void)database->addOdDbObject(dictionary.get(), database->getNamedObjectsDictionaryId(),
                                  OdDbHandle(0x40));
    const OdDbXrecordPtr record = OdDbXrecord::createObject();
    const OdResBufPtr text = OdResBuf::newRb(1000);
    text->setString(L"hi");
    record->setFromRbChain(text.get());
    (void)dictionary->setAt(L"note", record.get());
    const OdDbLinePtr line = OdDbLine::createObject();
    (void)database->addOdDbObject(line.get(), database->getModelSpaceId(), OdDbHandle(0x45));
    line->setLayer(database->getLayerZeroId());
    line->setEndPoint(OdGePoint3d(100.0, 0.5, 0.1));
    return database;
}

/// The bytes of the code block behind a line that says "<!-- name -->": what stands in front of a
/// semicolon, in hexadecimal digits.
Bytes documentedBytes(std::string const& name)
{
    const std::filesystem::path document =
        std::filesystem::path(ZEM_TEST_DATA_DIR).parent_path().parent_path().parent_path() /
        "docs/file-format.md";
    std::ifstream stream(document);
    EXPECT_TRUE(stream.is_open()) << document;
    std::string line;
    while (std::getline(stream, line) && line != "<!-- " + name + " -->") {
    }
    std::getline(stream, line);  // opens the block
    Bytes bytes;
    while (std::getline(stream, line) && line != "```") {
        std::istringstream digits(line.substr(0, line.find(';')));
        unsigned value = 0;
        while (digits >> std::hex >> value) {
            bytes.push_back(static_cast<std::uint8_t>(value));
        }
    }
    return bytes;
}

std::string hexOf(Bytes const& bytes)
{
    std::string text;
    char digits[4];
    for (std::uint8_t byte : bytes) {
        std::snprintf(digits, sizeof digits, "%02X ", byte);
        text += digits;
    }
    return text;
}

class FileFormatDocument : public testing::Test
{
protected:
    OdDbPlatform platform;
    TemporaryFolder folder;
    std::filesystem::path const path = folder.file("example.zdw");
    OdDbPageBytes page;
    OdDbDrawingHeader header;

    void SetUp() override
    {
        const OdDbDatabasePtr database = makeExample();
        odDbSaveDrawingAs(*database, textOf(path));
        OdDbDrawingFile& file = OdDbDrawingStore::of(*database)->file();
        ASSERT_EQ(file.readPage(1, page), OdDbPartState::kRead);
        header = file.header();
    }
};

TEST_F(FileFormatDocument, PrintsTheDirectoryOfItsExample)
{
    EXPECT_EQ(hexOf(documentedBytes("example directory")), hexOf(page.directory));
}

TEST_F(FileFormatDocument, PrintsTheRecordsOfItsExample)
{
    EXPECT_EQ(hexOf(documentedBytes("example records")), hexOf(page.records));
}

TEST_F(FileFormatDocument, PrintsTheSettingsOfItsExample)
{
    EXPECT_EQ(hexOf(documentedBytes("example settings body")), hexOf(header.body));
    EXPECT_EQ(hexOf(documentedBytes("example settings references")), hexOf(header.references));
}

}  // namespace
