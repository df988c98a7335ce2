#include "db/od_db_platform.h"
#include "store/od_db_file_filer.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using FileFiler = OdStaticRxObject<OdDbFileFiler>;

Bytes bytesOf(std::span<std::uint8_t const> bytes)
{
    return {bytes.begin(), bytes.end()};
}

class OdDbFileFilerTest : public testing::Test
{
protected:
    OdDbPlatform platform;
    OdDbDatabasePtr database = OdDbDatabase::createObject();
    FileFiler filer{database.get()};

    OdDbObjectId idOf(std::uint64_t handle)
    {
        return database->getOdDbObjectId(OdDbHandle(handle), /*create=*/true);
    }
    void readBack()
    {
        m_body = bytesOf(filer.body());
        m_references = bytesOf(filer.references());
        filer.readFrom(m_body, m_references, filer.dwgVersion());
    }

private:
    Bytes m_body;
    Bytes m_references;
};

// Every field once: the bytes of each as the format tells them.
constexpr std::uint8_t kAllFieldsBody[] = {
    0x01,                                            // true
    0x00,                                            // false
    0x05, 'K',  0xC3, 0xA4, 's',  'e',               // text of five bytes
    0x00,                                            // empty text
    0xDE, 0xAD,                                      // two plain bytes
    0xFF,                                            // -1, 8 bits
    0xFE,                                            // 254, 8 bits without sign
    0xFF, 0xFF, 0x03,                                // -32768, 16 bits
    0xC0, 0x84, 0x3D,                                // 500000, 32 bits
    0x03,                                            // -2, 64 bits
    0x3F, 0xB9, 0x99, 0x99, 0x99, 0x99, 0x99, 0x9A,  // 0.1
    0xBF, 0x02,                                      // handle 13F
    0x00, 0x01,                                      // 2d point: 0, 1
    0x03, 0x04, 0x03, 0x06, 0x04, 0x3F, 0xE0,        // 3d point: 2, 3, 0.5
    0x01, 0x00,                                      // 2d vector: 1, 0
    0x00, 0x00, 0x03, 0x01,                          // 3d vector: 0, 0, -1
    0x01, 0x01, 0x01                                 // scale: 1, 1, 1
};
constexpr std::uint8_t kAllFieldsReferences[] = {
    0xFE, 0x01,  // soft ownership of 3F
    0x07,        // hard ownership of 1
    0x08,        // soft pointer to 2
    0x0D,        // hard pointer to 3
    0x00         // soft pointer to nothing
};

void writeAllFields(OdDbFileFiler& filer, OdDbDatabase& database)
{
    const auto id = [&](std::uint64_t handle) {
        return database.getOdDbObjectId(OdDbHandle(handle), /*create=*/true);
    };
    const std::uint8_t plain[] = {0xDE, 0xAD};
    filer.wrBool(true);
    filer.wrBool(false);
    filer.wrString(L"K\u00E4se");
    filer.wrString(L"");
    filer.wrBytes(plain, sizeof plain);
    filer.wrInt8(-1);
    filer.wrUInt8(254);
    filer.wrInt16(-32768);
    filer.wrInt32(500000);
    filer.wrInt64(-2);
    filer.wrAddress(&filer);
    filer.wrDouble(0.1);
    filer.wrDbHandle(OdDbHandle(0x13F));
    filer.wrSoftOwnershipId(id(0x3F));
    filer.wrHardOwnershipId(id(1));
    filer.wrSoftPointerId(id(2));
    filer.wrHardPointerId(id(3));
    filer.wrSoftPointerId(OdDbObjectId::kNull);
    filer.wrPoint2d(OdGePoint2d(0.0, 1.0));
    filer.wrPoint3d(OdGePoint3d(2.0, 3.0, 0.5));
    filer.wrVector2d(OdGeVector2d(1.0, 0.0));
    filer.wrVector3d(OdGeVector3d(0.0, 0.0, -1.0));
    filer.wrScale3d(OdGeScale3d(1.0, 1.0, 1.0));
}

void readAllFields(OdDbFileFiler& filer)
{
    std::uint8_t plain[2] = {};
    (void)filer.rdBool();
    (void)filer.rdBool();
    (void)filer.rdString();
    (void)filer.rdString();
    filer.rdBytes(plain, sizeof plain);
    (void)filer.rdInt8();
    (void)filer.rdUInt8();
    (void)filer.rdInt16();
    (void)filer.rdInt32();
    (void)filer.rdInt64();
    (void)filer.rdAddress();
    (void)filer.rdDouble();
    (void)filer.rdDbHandle();
    (void)filer.rdSoftOwnershipId();
    (void)filer.rdHardOwnershipId();
    (void)filer.rdSoftPointerId();
    (void)filer.rdHardPointerId();
    (void)filer.rdSoftPointerId();
    (void)filer.rdPoint2d();
    (void)filer.rdPoint3d();
    (void)filer.rdVector2d();
    (void)filer.rdVector3d();
    (void)filer.rdScale3d();
}

TEST_F(OdDbFileFilerTest, WritesEachFieldAsTheFormatTells)
{
    writeAllFields(filer, *database);
    EXPECT_EQ(bytesOf(filer.body()), bytesOf(kAllFieldsBody));
    EXPECT_EQ(bytesOf(filer.references()), bytesOf(kAllFieldsReferences));
}

TEST_F(OdDbFileFilerTest, ReadsEachFieldAsItWasWritten)
{
    filer.readFrom(kAllFieldsBody, kAllFieldsReferences, OdDb::kDwgVersionCurrent);
    EXPECT_TRUE(filer.rdBool());
    EXPECT_FALSE(filer.rdBool());
    EXPECT_EQ(filer.rdString(), OdString(L"K\u00E4se"));
    EXPECT_EQ(filer.rdString(), OdString());
    std::uint8_t plain[2] = {};
    filer.rdBytes(plain, sizeof plain);
    EXPECT_EQ(plain[0], 0xDE);
    EXPECT_EQ(plain[1], 0xAD);
    EXPECT_EQ(filer.rdInt8(), -1);
    EXPECT_EQ(filer.rdUInt8(), 254);
    EXPECT_EQ(filer.rdInt16(), -32768);
    EXPECT_EQ(filer.rdInt32(), 500000);
    EXPECT_EQ(filer.rdInt64(), -2);
    EXPECT_EQ(filer.rdAddress(), nullptr);
    EXPECT_EQ(filer.rdDouble(), 0.1);
    EXPECT_EQ(filer.rdDbHandle(), OdDbHandle(0x13F));
    EXPECT_EQ(filer.rdSoftOwnershipId(), idOf(0x3F));
    EXPECT_EQ(filer.rdHardOwnershipId(), idOf(1));
    EXPECT_EQ(filer.rdSoftPointerId(), idOf(2));
    EXPECT_EQ(filer.rdHardPointerId(), idOf(3));
    EXPECT_TRUE(filer.rdSoftPointerId().isNull());
    EXPECT_EQ(filer.rdPoint2d(), OdGePoint2d(0.0, 1.0));
    EXPECT_EQ(filer.rdPoint3d(), OdGePoint3d(2.0, 3.0, 0.5));
    EXPECT_EQ(filer.rdVector2d(), OdGeVector2d(1.0, 0.0));
    EXPECT_EQ(filer.rdVector3d(), OdGeVector3d(0.0, 0.0, -1.0));
    const OdGeScale3d scale = filer.rdScale3d();
    EXPECT_TRUE(scale.sx == 1.0 && scale.sy == 1.0 && scale.sz == 1.0);
    EXPECT_EQ(filer.bytesLeft(), 0U);
}

TEST_F(OdDbFileFilerTest, RefusesABodyCutAtAnyLength)
{
    const std::span<std::uint8_t const> body(kAllFieldsBody);
    for (std::size_t length = 0; length < body.size(); ++length) {
        filer.readFrom(body.first(length), kAllFieldsReferences, OdDb::kDwgVersionCurrent);
        EXPECT_THROW(readAllFields(filer), OdError) << length;
    }
}

TEST_F(OdDbFileFilerTest, RefusesAListOfReferencesCutAtAnyLength)
{
    const std::span<std::uint8_t const> references(kAllFieldsReferences);
    for (std::size_t length = 0; length < references.size(); ++length) {
        filer.readFrom(kAllFieldsBody, references.first(length), OdDb::kDwgVersionCurrent);
        EXPECT_THROW(readAllFields(filer), OdError) << length;
    }
}

TEST_F(OdDbFileFilerTest, GivesAnIdWhateverKindItWasFiledAs)
{
    filer.wrHardOwnershipId(idOf(5));
    readBack();
    EXPECT_EQ(filer.rdSoftPointerId(), idOf(5));
}

TEST_F(OdDbFileFilerTest, KeepsTheHandleOfAnIdWithoutObject)
{
    filer.wrSoftPointerId(idOf(0x3FFFFFFFFFFFFFFF));
    readBack();
    EXPECT_EQ(filer.rdSoftPointerId().getHandle(), OdDbHandle(0x3FFFFFFFFFFFFFFF));
}

TEST_F(OdDbFileFilerTest, FilesAnIdOfAnotherDatabaseAsNull)
{
    const OdDbDatabasePtr stranger = OdDbDatabase::createObject();
    filer.wrHardPointerId(stranger->getLayerZeroId());
    EXPECT_EQ(bytesOf(filer.references()), (Bytes{0x01}));
}

TEST_F(OdDbFileFilerTest, CountsBytesOfBothPartsAsLeft)
{
    filer.wrUInt8(1);
    filer.wrSoftPointerId(idOf(1));
    filer.wrSoftPointerId(idOf(2));
    readBack();
    EXPECT_EQ(filer.bytesLeft(), 3U);
    (void)filer.rdSoftPointerId();
    EXPECT_EQ(filer.bytesLeft(), 2U);
    (void)filer.rdUInt8();
    EXPECT_EQ(filer.bytesLeft(), 1U);
}

TEST_F(OdDbFileFilerTest, RefusesACountThatTheRecordHasNoRoomFor)
{
    filer.wrInt32(3);
    filer.wrUInt8(0);
    filer.wrUInt8(0);
    readBack();
    EXPECT_THROW((void)odDbReadCount(filer, 1), OdError);
}

TEST_F(OdDbFileFilerTest, RefusesATextLongerThanTheRecord)
{
    const Bytes body = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 'a'};
    filer.readFrom(body, {}, OdDb::kDwgVersionCurrent);
    EXPECT_THROW((void)filer.rdString(), OdError);
}

TEST_F(OdDbFileFilerTest, RefusesIntegersOutOfTheirRange)
{
    filer.wrInt32(32768);
    filer.wrInt64(-2147483649LL);
    readBack();
    EXPECT_THROW((void)filer.rdInt16(), OdError);
    EXPECT_THROW((void)filer.rdInt32(), OdError);
}

TEST_F(OdDbFileFilerTest, KeepsTextsWithoutLoss)
{
    struct Row
    {
        char const* name;
        OdString text;
    };
    const std::string invalid("a\xFF\xC3(\xED\xA0\x80", 7);
    const Row rows[] = {
        {"outside of the basic plane", L"\U0001F9F0\U00010348"},
        {"with a character 0 inside", OdString::fromWide(std::wstring_view(L"a\0b", 3))},
        {"bytes that are no valid text", OdString::fromUtf8(invalid)},
        {"long", OdString(L'\u20AC', 100000)},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        filer.startRecord(OdDb::kDwgVersionCurrent);
        filer.wrString(row.text);
        readBack();
        EXPECT_EQ(filer.rdString().utf8(), row.text.utf8());
    }
}

TEST_F(OdDbFileFilerTest, SeeksInTheBodyAlone)
{
    filer.wrUInt8(10);
    filer.wrSoftPointerId(idOf(1));
    filer.wrUInt8(20);
    filer.wrUInt8(30);
    EXPECT_EQ(filer.tell(), 3U);
    readBack();
    filer.seek(-1, OdDb::FilerSeekType::kSeekFromEnd);
    EXPECT_EQ(filer.rdUInt8(), 30);
    filer.seek(1, OdDb::FilerSeekType::kSeekFromStart);
    EXPECT_EQ(filer.rdUInt8(), 20);
    filer.seek(-2, OdDb::FilerSeekType::kSeekFromCurrent);
    EXPECT_EQ(filer.rdUInt8(), 10);
    EXPECT_EQ(filer.tell(), 1U);
    EXPECT_EQ(filer.rdSoftPointerId(), idOf(1));
    EXPECT_THROW(filer.seek(4, OdDb::FilerSeekType::kSeekFromStart), OdError);
    EXPECT_THROW(filer.seek(-1, OdDb::FilerSeekType::kSeekFromStart), OdError);
    EXPECT_THROW(
        filer.seek(std::numeric_limits<std::int64_t>::max(), OdDb::FilerSeekType::kSeekFromCurrent),
        OdError);
    EXPECT_THROW(
        filer.seek(std::numeric_limits<std::int64_t>::min(), OdDb::FilerSeekType::kSeekFromEnd),
        OdError);
}

TEST_F(OdDbFileFilerTest, CarriesTheRestOfARecordUnread)
{
    filer.wrUInt8(1);
    filer.wrHardPointerId(idOf(7));
    filer.wrString(L"rest");
    filer.wrSoftOwnershipId(idOf(8));
    const Bytes body = bytesOf(filer.body());
    const Bytes references = bytesOf(filer.references());

    FileFiler reader(database.get());
    reader.readFrom(body, references, OdDb::kDwgVersionCurrent);
    (void)reader.rdUInt8();
    (void)reader.rdHardPointerId();
    const OdDbStoredBody rest = reader.rdBody();
    ASSERT_EQ(rest.references.size(), 1U);
    EXPECT_EQ(rest.references[0].type, OdDb::ReferenceType::kSoftOwnershipRef);
    EXPECT_EQ(rest.references[0].id, idOf(8));

    FileFiler writer(database.get());
    writer.wrUInt8(1);
    writer.wrHardPointerId(idOf(7));
    writer.wrBody(rest);
    EXPECT_EQ(bytesOf(writer.body()), body);
    EXPECT_EQ(bytesOf(writer.references()), references);
}

TEST_F(OdDbFileFilerTest, TellsItsPurposeAndItsVersion)
{
    EXPECT_EQ(filer.filerType(), OdDb::FilerType::kFileFiler);
    EXPECT_EQ(filer.database(), database.get());
    EXPECT_EQ(filer.dwgVersion(), OdDb::kDwgVersionCurrent);
    filer.startRecord(OdDb::kDwgVersion29);
    EXPECT_EQ(filer.dwgVersion(), OdDb::kDwgVersion29);
}

}  // namespace
