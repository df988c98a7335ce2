#include "store/od_db_byte_stream.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(OdDbByteWriter const& writer)
{
    return {writer.bytes().begin(), writer.bytes().end()};
}

Bytes encodeDouble(double value)
{
    OdDbByteWriter writer;
    writer.putDouble(value);
    return bytesOf(writer);
}

std::uint64_t bitsOf(double value)
{
    return std::bit_cast<std::uint64_t>(value);
}

struct IntegerRow
{
    char const* name;
    std::int64_t value;
    Bytes bytes;
};

std::vector<IntegerRow> integerRows()
{
    return {
        {"nothing", 0, {0x00}},
        {"one below", -1, {0x01}},
        {"one above", 1, {0x02}},
        {"last of one byte", 63, {0x7E}},
        {"first of one byte", -64, {0x7F}},
        {"first of two bytes", 64, {0x80, 0x01}},
        {"last of two bytes", 8191, {0xFE, 0x7F}},
        {"least of 32 bits", -2147483648LL, {0xFF, 0xFF, 0xFF, 0xFF, 0x0F}},
        {"greatest of 32 bits", 2147483647LL, {0xFE, 0xFF, 0xFF, 0xFF, 0x0F}},
        {"least of all",
         std::numeric_limits<std::int64_t>::min(),
         {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}},
        {"greatest of all",
         std::numeric_limits<std::int64_t>::max(),
         {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}},
    };
}

struct DoubleRow
{
    char const* name;
    double value;
    Bytes bytes;
};

std::vector<DoubleRow> doubleRows()
{
    return {
        {"zero", 0.0, {0x00}},
        {"one", 1.0, {0x01}},
        {"minus zero, which is no integer", -0.0, {0x04, 0x80, 0x00}},
        {"two, as an integer", 2.0, {0x03, 0x04}},
        {"minus one, as an integer", -1.0, {0x03, 0x01}},
        {"1000, an integer before two upper bytes of the same length", 1000.0, {0x03, 0xD0, 0x0F}},
        {"a half, by its two upper bytes", 0.5, {0x04, 0x3F, 0xE0}},
        {"minus three quarters", -0.75, {0x04, 0xBF, 0xE8}},
        {"three upper bytes", 1.0 + 1.0 / 256, {0x05, 0x3F, 0xF0, 0x10}},
        {"one third, in full", 1.0 / 3.0, {0x3F, 0xD5, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}},
        {"pi, in full", 3.141592653589793, {0x40, 0x09, 0x21, 0xFB, 0x54, 0x44, 0x2D, 0x18}},
        {"infinity", std::numeric_limits<double>::infinity(), {0x04, 0x7F, 0xF0}},
        {"minus infinity", -std::numeric_limits<double>::infinity(), {0x04, 0xFF, 0xF0}},
        {"least above zero, whose first byte looks like a tag",
         std::numeric_limits<double>::denorm_min(),
         {0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01}},
        {"greatest integer that is shorter as one",
         2199023255551.0,
         {0x03, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}},
        {"an integer that has no shorter form",
         1234567890123457.0,
         {0x43, 0x11, 0x8B, 0x54, 0xF2, 0x2A, 0xEB, 0x04}},
        {"2^41, by its upper bytes", 2199023255552.0, {0x04, 0x42, 0x80}},
    };
}

TEST(OdDbByteStream, WritesAndReadsIntegersOfVariableLength)
{
    for (IntegerRow const& row : integerRows()) {
        SCOPED_TRACE(row.name);
        OdDbByteWriter writer;
        writer.putSigned(row.value);
        EXPECT_EQ(bytesOf(writer), row.bytes);
        OdDbByteReader reader(row.bytes);
        EXPECT_EQ(reader.takeSigned(), row.value);
        EXPECT_EQ(reader.left(), 0U);
    }
}

TEST(OdDbByteStream, WritesDoublesInTheirShortestForm)
{
    for (DoubleRow const& row : doubleRows()) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(encodeDouble(row.value), row.bytes);
        OdDbByteReader reader(row.bytes);
        EXPECT_EQ(bitsOf(reader.takeDouble()), bitsOf(row.value));
        EXPECT_EQ(reader.left(), 0U);
    }
}

TEST(OdDbByteStream, WritesAsManyUpperBytesOfADoubleAsItNeeds)
{
    EXPECT_EQ(encodeDouble(1.0 + 1.0 / 4096), (Bytes{0x05, 0x3F, 0xF0, 0x01}));
    EXPECT_EQ(encodeDouble(1.0 + 1.0 / 1048576), (Bytes{0x06, 0x3F, 0xF0, 0x00, 0x01}));
    EXPECT_EQ(encodeDouble(1.0 + 1.0 / 268435456), (Bytes{0x07, 0x3F, 0xF0, 0x00, 0x00, 0x01}));
    EXPECT_EQ(encodeDouble(1.0 + 1.0 / 68719476736.0),
              (Bytes{0x3F, 0xF0, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00}));
}

TEST(OdDbByteStream, KeepsThePayloadOfANumberThatIsNone)
{
    const auto value = std::bit_cast<double>(std::uint64_t{0xFFF8DEADBEEF1234});
    const Bytes bytes = encodeDouble(value);
    EXPECT_EQ(bytes, (Bytes{0xFF, 0xF8, 0xDE, 0xAD, 0xBE, 0xEF, 0x12, 0x34}));
    OdDbByteReader reader(bytes);
    EXPECT_EQ(bitsOf(reader.takeDouble()), 0xFFF8DEADBEEF1234U);
}

TEST(OdDbByteStream, WritesTheKindOfAReferenceBelowItsHandle)
{
    struct Row
    {
        std::uint64_t handle;
        std::uint8_t kind;
        Bytes bytes;
    };
    const Row rows[] = {
        {0, 0, {0x00}},
        {0, 3, {0x03}},
        {1, 1, {0x05}},
        {0x1F, 2, {0x7E}},
        {0x20, 0, {0x80, 0x01}},
        {0x3F, 0, {0xFC, 0x01}},
        {0x3FFFFFFFFFFFFFFF, 3, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}},
        {0xFFFFFFFFFFFFFFFF, 3, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x07}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.handle);
        OdDbByteWriter writer;
        writer.putReference(row.handle, row.kind);
        EXPECT_EQ(bytesOf(writer), row.bytes);
        OdDbByteReader reader(row.bytes);
        std::uint8_t kind = 0xFF;
        EXPECT_EQ(reader.takeReference(kind), row.handle);
        EXPECT_EQ(kind, row.kind);
    }
}

TEST(OdDbByteStream, RefusesIntegersOfMoreThan64Bits)
{
    const Bytes tooLarge = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x02};
    const Bytes endless(20, 0x80);
    EXPECT_THROW(OdDbByteReader(tooLarge).takeVarint(), OdError);
    EXPECT_THROW(OdDbByteReader(endless).takeVarint(), OdError);
}

TEST(OdDbByteStream, RefusesReferencesWithHandlesOfMoreThan64Bits)
{
    const Bytes tooLarge = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x08};
    const Bytes endless(20, 0x80);
    std::uint8_t kind = 0;
    EXPECT_THROW(OdDbByteReader(tooLarge).takeReference(kind), OdError);
    EXPECT_THROW(OdDbByteReader(endless).takeReference(kind), OdError);
}

TEST(OdDbByteStream, RefusesEveryPartOfADouble)
{
    for (DoubleRow const& row : doubleRows()) {
        for (std::size_t length = 0; length < row.bytes.size(); ++length) {
            OdDbByteReader reader(std::span(row.bytes).first(length));
            EXPECT_THROW(reader.takeDouble(), OdError) << row.name << ", " << length << " bytes";
        }
    }
}

RC_GTEST_PROP(OdDbByteStream, GivesBackEveryDoubleBitForBit, (std::uint64_t bits, int zeroBits))
{
    // Random bits rarely end in zeros, so some are cleared.
    const unsigned shift = static_cast<unsigned>(zeroBits) % 64;
    const std::uint64_t cleared = (bits >> shift) << shift;
    const auto value = std::bit_cast<double>(cleared);
    const Bytes bytes = encodeDouble(value);
    RC_ASSERT(bytes.size() <= kMaxDoubleBytes);
    OdDbByteReader reader(bytes);
    RC_ASSERT(bitsOf(reader.takeDouble()) == cleared);
    RC_ASSERT(reader.left() == 0U);
}

RC_GTEST_PROP(OdDbByteStream, GivesBackEveryInteger, (std::int64_t value, int lostBits))
{
    const std::int64_t number = value >> (static_cast<unsigned>(lostBits) % 64);
    OdDbByteWriter writer;
    writer.putSigned(number);
    writer.putVarint(static_cast<std::uint64_t>(number));
    writer.putDouble(static_cast<double>(number));
    OdDbByteReader reader(writer.bytes());
    RC_ASSERT(reader.takeSigned() == number);
    RC_ASSERT(reader.takeVarint() == static_cast<std::uint64_t>(number));
    RC_ASSERT(reader.takeDouble() == static_cast<double>(number));
}

}  // namespace
