#include "root/od_stream_buf.h"

#include "root_test_support.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace {

std::string readAll(OdStreamBuf& stream)
{
    stream.rewind();
    std::string result(stream.length(), '\0');
    stream.getBytes(result.data(), result.size());
    return result;
}

void put(OdStreamBuf& stream, std::string const& bytes)
{
    stream.putBytes(bytes.data(), bytes.size());
}

TEST(OdMemoryStream, GivesBackWhatWasPut)
{
    OdMemoryStreamPtr const stream = OdMemoryStream::createNew(4);
    put(*stream, "0123456789");
    stream->putByte('x');
    EXPECT_EQ(stream->length(), 11U);
    EXPECT_EQ(stream->tell(), 11U);
    EXPECT_TRUE(stream->isEof());
    EXPECT_EQ(readAll(*stream), "0123456789x");
}

TEST(OdMemoryStream, WritesOverTheMiddle)
{
    OdMemoryStreamPtr const stream = OdMemoryStream::createNew(4);
    put(*stream, "0123456789");
    stream->seek(3, OdDb::kSeekFromStart);
    put(*stream, "abc");
    EXPECT_EQ(stream->length(), 10U);
    EXPECT_EQ(stream->bytesLeft(), 4U);
    EXPECT_EQ(readAll(*stream), "012abc6789");
}

TEST(OdMemoryStream, ReadsNothingPastTheEnd)
{
    OdMemoryStreamPtr const stream = OdMemoryStream::createNew();
    EXPECT_EQ(thrownCode([&] { (void)stream->getByte(); }), kOdEndOfStream);
    put(*stream, "ab");
    stream->rewind();
    char bytes[3] = {'x', 'x', 'x'};
    EXPECT_EQ(thrownCode([&] { stream->getBytes(bytes, 3); }), kOdEndOfStream);
    EXPECT_EQ(bytes[0], 'x');
    EXPECT_EQ(stream->tell(), 0U);
    EXPECT_EQ(thrownCode([&] { stream->getBytes(bytes, SIZE_MAX); }), kOdEndOfStream);
    EXPECT_EQ(stream->getByte(), 'a');
    stream->getBytes(nullptr, 0);
}

TEST(OdMemoryStream, EndsAtThePositionWhenTruncated)
{
    OdMemoryStreamPtr const stream = OdMemoryStream::createNew(4);
    put(*stream, "0123456789");
    stream->seek(-4, OdDb::kSeekFromEnd);
    stream->truncate();
    EXPECT_EQ(stream->length(), 6U);
    put(*stream, "x");
    EXPECT_EQ(readAll(*stream), "012345x");
    stream->rewind();
    stream->truncate();
    EXPECT_EQ(stream->length(), 0U);
}

TEST(OdMemoryStream, RefusesPagesWithoutBytes)
{
    EXPECT_EQ(thrownCode([] { (void)OdMemoryStream::createNew(0); }), kOdInvalidInput);
}

TEST(OdStreamBufSeek, StaysWithinTheStream)
{
    OdMemoryStreamPtr const stream = OdMemoryStream::createNew(4);
    put(*stream, "0123456789");
    EXPECT_EQ(stream->seek(4, OdDb::kSeekFromStart), 4U);
    EXPECT_EQ(stream->seek(-3, OdDb::kSeekFromCurrent), 1U);
    EXPECT_EQ(stream->seek(2, OdDb::kSeekFromCurrent), 3U);
    EXPECT_EQ(stream->seek(0, OdDb::kSeekFromEnd), 10U);
    EXPECT_EQ(stream->seek(-10, OdDb::kSeekFromEnd), 0U);
    stream->seek(5, OdDb::kSeekFromStart);
    struct Row
    {
        std::int64_t offset;
        OdDb::FilerSeekType type;
    };
    constexpr Row kOutside[] = {
        {11, OdDb::kSeekFromStart},
        {-1, OdDb::kSeekFromStart},
        {6, OdDb::kSeekFromCurrent},
        {-6, OdDb::kSeekFromCurrent},
        {1, OdDb::kSeekFromEnd},
        {-11, OdDb::kSeekFromEnd},
        {std::numeric_limits<std::int64_t>::max(), OdDb::kSeekFromCurrent},
        {std::numeric_limits<std::int64_t>::min(), OdDb::kSeekFromEnd},
    };
    for (Row const& row : kOutside) {
        EXPECT_EQ(thrownCode([&] { (void)stream->seek(row.offset, row.type); }), kOdEndOfStream)
            << row.offset;
        EXPECT_EQ(stream->tell(), 5U) << row.offset;
    }
    EXPECT_EQ(thrownCode([&] { (void)stream->seek(0, static_cast<OdDb::FilerSeekType>(3)); }),
              kOdInvalidInput);
}

TEST(OdFlatMemStream, ReadsAndWritesTheCallersBuffer)
{
    char buffer[] = "0123456789";
    OdFlatMemStreamPtr const stream = OdFlatMemStream::createNew(buffer, 10, 2);
    EXPECT_EQ(stream->length(), 10U);
    EXPECT_EQ(stream->tell(), 2U);
    EXPECT_EQ(stream->getByte(), '2');
    put(*stream, "abc");
    EXPECT_STREQ(buffer, "012abc6789");
    EXPECT_EQ(readAll(*stream), "012abc6789");
    EXPECT_TRUE(stream->isEof());
}

TEST(OdFlatMemStream, KeepsItsLength)
{
    char buffer[] = "0123";
    OdFlatMemStreamPtr const stream = OdFlatMemStream::createNew(buffer, 4, 3);
    EXPECT_EQ(thrownCode([&] { put(*stream, "xy"); }), kOdEndOfStream);
    EXPECT_STREQ(buffer, "0123");
    EXPECT_EQ(stream->tell(), 3U);
    EXPECT_EQ(thrownCode([&] { stream->truncate(); }), kOdNotApplicable);
    stream->putByte('x');
    EXPECT_EQ(thrownCode([&] { stream->putByte('y'); }), kOdEndOfStream);
    EXPECT_EQ(thrownCode([&] { (void)stream->getByte(); }), kOdEndOfStream);
    stream->truncate();
    EXPECT_EQ(stream->length(), 4U);
}

TEST(OdFlatMemStream, RefusesAPositionOutsideOfTheBuffer)
{
    char buffer[2] = {};
    EXPECT_EQ(thrownCode([&] { (void)OdFlatMemStream::createNew(buffer, 2, 3); }), kOdInvalidInput);
    EXPECT_EQ(thrownCode([] { (void)OdFlatMemStream::createNew(nullptr, 1); }), kOdInvalidInput);
    EXPECT_EQ(OdFlatMemStream::createNew(nullptr, 0)->length(), 0U);
}

RC_GTEST_PROP(OdMemoryStreamProperties, ActsLikeAStringWithAPosition, ())
{
    OdMemoryStreamPtr const stream = OdMemoryStream::createNew(*rc::gen::inRange(1U, 9U));
    std::string model;
    std::size_t position = 0;
    auto const steps = *rc::gen::inRange(1, 30);
    for (int step = 0; step < steps; ++step) {
        switch (*rc::gen::inRange(0, 4)) {
        case 0: {
            auto const bytes = *rc::gen::arbitrary<std::string>();
            put(*stream, bytes);
            model.resize(std::max(model.size(), position + bytes.size()));
            model.replace(position, bytes.size(), bytes);
            position += bytes.size();
            break;
        }
        case 1:
            position = *rc::gen::inRange<std::size_t>(0, model.size() + 1);
            stream->seek(static_cast<std::int64_t>(position), OdDb::kSeekFromStart);
            break;
        case 2: {
            auto const count = *rc::gen::inRange<std::size_t>(0, model.size() - position + 1);
            std::string bytes(count, '\0');
            stream->getBytes(bytes.data(), count);
            RC_ASSERT(bytes == model.substr(position, count));
            position += count;
            break;
        }
        default:
            if (*rc::gen::inRange(0, 3) == 0) {
                stream->truncate();
                model.resize(position);
            }
            break;
        }
        RC_ASSERT(stream->length() == model.size());
        RC_ASSERT(stream->tell() == position);
    }
    RC_ASSERT(readAll(*stream) == model);
}

}  // namespace
