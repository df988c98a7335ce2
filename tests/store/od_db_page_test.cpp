#include "store/od_db_page.h"

#include <gtest/gtest.h>

#include <array>
#include <string_view>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(std::span<std::uint8_t const> bytes)
{
    return {bytes.begin(), bytes.end()};
}

// Page 2 holds the handles 80 to BF. Object 81: class 1, in the page. Object 85: class 40, filed for
// version 29. Object BF: class 1, its record outside.
constexpr std::uint8_t kBody81[] = {0x00, 0x05, 'h', 'e', 'l', 'l', 'o'};
constexpr std::uint8_t kReferences81[] = {0x04, 0xFE, 0x01};
constexpr std::uint8_t kBody85[] = {0x2A};
constexpr std::uint8_t kDirectory[] = {
    0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x22,  // slots 1, 5, 63
    0x04,                                            // 81: class 1
    0x07,                                            //     bytes of the body
    0x03,                                            //     bytes of the references
    0xC9, 0x1D, 0x13, 0x34,                          //     checksum
    0xA1, 0x01,                                      // 85: class 40, a version follows
    0x1D,                                            //     version 29
    0x01,                                            //     bytes of the body
    0x00,                                            //     bytes of the references
    0x09, 0xB9, 0x26, 0x5B,                          //     checksum
    0x06,                                            // BF: class 1, record outside
    0xC0, 0x84, 0x3D,                                //     bytes of the body: 1000000
    0xC0, 0x3E,                                      //     bytes of the references: 8000
    0x12, 0x34, 0x56, 0x78,                          //     checksum
    0x03, 0x05, 0x2F, 0xDF                           // checksum of page number and directory
};
constexpr std::uint8_t kRecords[] = {0x00, 0x05, 'h', 'e', 'l', 'l', 'o', 0x04, 0xFE, 0x01, 0x2A};

void writePage(OdDbPageWriter& writer)
{
    writer.start(2);
    OdDbPageEntry first;
    first.slot = 1;
    first.classNumber = 1;
    first.checksum = odDbChecksum(kBody81, kReferences81);
    writer.add(first, kBody81, kReferences81);
    OdDbPageEntry second;
    second.slot = 5;
    second.classNumber = 40;
    second.dwgVersion = 29;
    second.checksum = odDbChecksum(kBody85);
    writer.add(second, kBody85, {});
    OdDbPageEntry third;
    third.slot = 63;
    third.classNumber = 1;
    third.isOutside = true;
    third.bodyBytes = 1'000'000;
    third.referenceBytes = 8'000;
    third.checksum = 0x12345678;
    writer.addOutside(third);
    writer.finish();
}

Bytes writtenDirectory()
{
    OdDbPageWriter writer;
    writePage(writer);
    return bytesOf(writer.directory());
}

TEST(OdDbPage, ChecksumIsThatOfTheStandard)
{
    constexpr std::string_view kText = "123456789";
    const std::span text(reinterpret_cast<std::uint8_t const*>(kText.data()), kText.size());
    EXPECT_EQ(odDbChecksum(text), 0xCBF43926U);
    EXPECT_EQ(odDbChecksum(text.first(4), text.subspan(4)), 0xCBF43926U);
    EXPECT_EQ(odDbChecksum({}), 0U);
}

TEST(OdDbPage, WritesDirectoryAndRecordsAsTheFormatTells)
{
    OdDbPageWriter writer;
    writePage(writer);
    EXPECT_EQ(bytesOf(writer.directory()), bytesOf(kDirectory));
    EXPECT_EQ(bytesOf(writer.records()), bytesOf(kRecords));
    EXPECT_EQ(writer.mask(), 0x8000000000000022U);
}

TEST(OdDbPage, ReadsADirectoryAsItWasWritten)
{
    const OdDbPageDirectory directory(2, kDirectory);
    EXPECT_EQ(directory.mask(), 0x8000000000000022U);
    ASSERT_EQ(directory.entries().size(), 3U);
    OdDbPageEntry const& first = directory.entries()[0];
    EXPECT_EQ(first.slot, 1);
    EXPECT_EQ(first.classNumber, 1U);
    EXPECT_EQ(first.dwgVersion, 0);
    EXPECT_FALSE(first.isOutside);
    EXPECT_EQ(first.offset, 0U);
    EXPECT_EQ(first.bodyBytes, 7U);
    EXPECT_EQ(first.referenceBytes, 3U);
    OdDbPageEntry const& second = directory.entries()[1];
    EXPECT_EQ(second.slot, 5);
    EXPECT_EQ(second.classNumber, 40U);
    EXPECT_EQ(second.dwgVersion, 29);
    EXPECT_EQ(second.offset, 10U);
    OdDbPageEntry const& third = directory.entries()[2];
    EXPECT_EQ(third.slot, 63);
    EXPECT_TRUE(third.isOutside);
    EXPECT_EQ(third.recordBytes(), 1'008'000U);
}

TEST(OdDbPage, FindsTheEntryOfASlot)
{
    const OdDbPageDirectory directory(2, kDirectory);
    EXPECT_EQ(directory.find(0), nullptr);
    EXPECT_EQ(directory.find(1), &directory.entries()[0]);
    EXPECT_EQ(directory.find(5), &directory.entries()[1]);
    EXPECT_EQ(directory.find(62), nullptr);
    EXPECT_EQ(directory.find(63), &directory.entries()[2]);
}

TEST(OdDbPage, RefusesADirectoryUnderAnotherNumber)
{
    const Bytes directory = writtenDirectory();
    EXPECT_NO_THROW(OdDbPageDirectory(2, directory));
    EXPECT_THROW(OdDbPageDirectory(3, directory), OdError);
}

TEST(OdDbPage, RefusesADirectoryCutAtAnyLength)
{
    const Bytes directory = writtenDirectory();
    for (std::size_t length = 0; length < directory.size(); ++length) {
        EXPECT_THROW(OdDbPageDirectory(2, std::span(directory).first(length)), OdError) << length;
    }
}

TEST(OdDbPage, RefusesADirectoryWithAnyBitFlipped)
{
    Bytes directory = writtenDirectory();
    for (std::size_t bit = 0; bit < directory.size() * 8; ++bit) {
        directory[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
        EXPECT_THROW(OdDbPageDirectory(2, directory), OdError) << bit;
        directory[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    }
}

/// A directory with a proper checksum, whatever its content is.
Bytes sealed(std::uint64_t page, Bytes content)
{
    OdDbByteWriter number;
    number.putFixed64(page);
    OdDbByteWriter sum;
    sum.putFixed32(odDbChecksum(number.bytes(), content));
    content.insert(content.end(), sum.bytes().begin(), sum.bytes().end());
    return content;
}

TEST(OdDbPage, RefusesContentThatMakesNoSense)
{
    struct Row
    {
        char const* name;
        std::uint64_t page;
        Bytes content;
    };
    const Row rows[] = {
        {"no object at all", 2, {0, 0, 0, 0, 0, 0, 0, 0}},
        {"the null handle", 0, {0, 0, 0, 0, 0, 0, 0, 1, 4, 0, 0, 0, 0, 0, 0}},
        {"fewer entries than objects", 2, {0, 0, 0, 0, 0, 0, 0, 3, 4, 0, 0, 0, 0, 0, 0}},
        {"bytes behind the entries", 2, {0, 0, 0, 0, 0, 0, 0, 1, 4, 0, 0, 0, 0, 0, 0, 9}},
        {"a version of nothing", 2, {0, 0, 0, 0, 0, 0, 0, 1, 5, 0, 0, 0, 0, 0, 0, 0}},
        {"a version of 2^32", 2, {0,    0,    0,    0,    0, 0, 0, 1, 5, 0x80,
                                  0x80, 0x80, 0x80, 0x10, 0, 0, 0, 0, 0, 0}},
        {"a class of 2^32",
         2,
         {0, 0, 0, 0, 0, 0, 0, 1, 0x80, 0x80, 0x80, 0x80, 0x40, 0, 0, 0, 0, 0, 0}},
        {"a body of 2^63 bytes", 2, {0,    0,    0,    0,    0,    0,    0,    1,
                                     4,    0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
                                     0x80, 0x80, 0x01, 0,    0,    0,    0,    0}},
    };
    for (Row const& row : rows) {
        EXPECT_THROW(OdDbPageDirectory(row.page, sealed(row.page, row.content)), OdError)
            << row.name;
    }
}

TEST(OdDbPage, TakesAPageFullOfObjects)
{
    OdDbPageWriter writer;
    writer.start(kLastPage);
    for (unsigned slot = 0; slot < kHandlesInPage; ++slot) {
        OdDbPageEntry entry;
        entry.slot = static_cast<std::uint8_t>(slot);
        entry.classNumber = kMaxClassNumber;
        writer.add(entry, kBody81, kReferences81);
    }
    writer.finish();
    const OdDbPageDirectory directory(kLastPage, writer.directory());
    EXPECT_EQ(directory.entries().size(), kHandlesInPage);
    EXPECT_EQ(directory.entries().back().offset, 63U * 10U);
    EXPECT_EQ(directory.entries().back().classNumber, kMaxClassNumber);
}

}  // namespace
