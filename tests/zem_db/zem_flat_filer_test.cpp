#include "root/od_res_buf.h"

#include "property_test_support.h"
#include "zem_flat_filer.h"

#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <cstdlib>
#include <limits>
#include <string>

using namespace property_test;

namespace {

class FlatFilerBytes : public PropertyDatabaseTest
{
};
class FlatFilerStream : public PropertyTest
{
};
class FlatFilerChunks : public PropertyTest
{
};

//--------------------------------------------------------------------------------------------------

struct GoldenField
{
    const char* name;
    void (*write)(OdDbDwgFiler*);
    Blob expected;
};

TEST_F(FlatFilerBytes, AreTheGoldenOnesOfEachOperation)
{
    const Blob one = bytes({0, 0, 0, 0, 0, 0, 0xF0, 0x3F});
    const Blob two = bytes({0, 0, 0, 0, 0, 0, 0, 0x40});
    const Blob minusThree = bytes({0, 0, 0, 0, 0, 0, 0x08, 0xC0});
    const GoldenField kFields[] = {
        {"wrBool true", [](OdDbDwgFiler* f) { f->wrBool(true); }, bytes({1})},
        {"wrBool false", [](OdDbDwgFiler* f) { f->wrBool(false); }, bytes({0})},
        {"wrInt8", [](OdDbDwgFiler* f) { f->wrInt8(-2); }, bytes({0xFE})},
        {"wrUInt8", [](OdDbDwgFiler* f) { f->wrUInt8(254); }, bytes({0xFE})},
        {"wrInt16", [](OdDbDwgFiler* f) { f->wrInt16(0x1234); }, bytes({0x34, 0x12})},
        {"wrInt32", [](OdDbDwgFiler* f) { f->wrInt32(0x12345678); },
         bytes({0x78, 0x56, 0x34, 0x12})},
        {"wrInt64", [](OdDbDwgFiler* f) { f->wrInt64(0x123456789ABCDEF0); },
         bytes({0xF0, 0xDE, 0xBC, 0x9A, 0x78, 0x56, 0x34, 0x12})},
        {"wrDouble", [](OdDbDwgFiler* f) { f->wrDouble(1.0); }, one},
        {"wrBytes", [](OdDbDwgFiler* f) { f->wrBytes("\x01\x00\xFF", 3); }, bytes({1, 0, 0xFF})},
        {"wrBytes of nothing", [](OdDbDwgFiler* f) { f->wrBytes(nullptr, 0); }, {}},
        {"wrString", [](OdDbDwgFiler* f) { f->wrString(L"A\x00E4"); },
         bytes({3, 0, 0x41, 0xC3, 0xA4})},
        {"wrString of nothing", [](OdDbDwgFiler* f) { f->wrString(OdString()); }, bytes({0, 0})},
        {"wrString with a zero",
         [](OdDbDwgFiler* f) { f->wrString(OdString::fromWide(std::wstring_view(L"a\0b", 3))); },
         bytes({3, 0, 0x61, 0, 0x62})},
        {"wrDbHandle", [](OdDbDwgFiler* f) { f->wrDbHandle(OdDbHandle(0x1122334455667788U)); },
         bytes({0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88})},
        {"wrPoint2d", [](OdDbDwgFiler* f) { f->wrPoint2d(OdGePoint2d(1, 2)); }, one + two},
        {"wrVector2d", [](OdDbDwgFiler* f) { f->wrVector2d(OdGeVector2d(1, 2)); }, one + two},
        {"wrPoint3d", [](OdDbDwgFiler* f) { f->wrPoint3d(OdGePoint3d(1, 2, -3)); },
         one + two + minusThree},
        {"wrVector3d", [](OdDbDwgFiler* f) { f->wrVector3d(OdGeVector3d(1, 2, -3)); },
         one + two + minusThree},
        {"wrScale3d", [](OdDbDwgFiler* f) { f->wrScale3d(OdGeScale3d(1, 2, -3)); },
         one + two + minusThree},
    };
    for (GoldenField const& field : kFields) {
        EXPECT_EQ(flattenBy(field.write), field.expected) << field.name;
    }
}

TEST_F(FlatFilerBytes, ReadBackWhatWasWritten)
{
    FlatFiler filer;
    filer.clear();
    filer.wrBool(true);
    filer.wrInt8(-128);
    filer.wrUInt8(200);
    filer.wrInt16(-32768);
    filer.wrInt32(-2147483647 - 1);
    filer.wrInt64(std::numeric_limits<std::int64_t>::min());
    filer.wrDouble(-0.1);
    filer.wrString(L"\x1F600 text");
    filer.wrBytes("abc", 3);
    filer.wrDbHandle(OdDbHandle(0xFEDCBA9876543210U));
    filer.wrPoint2d(OdGePoint2d(1, 2));
    filer.wrPoint3d(OdGePoint3d(1, 2, 3));
    filer.wrVector2d(OdGeVector2d(4, 5));
    filer.wrVector3d(OdGeVector3d(4, 5, 6));
    filer.wrScale3d(OdGeScale3d(7, 8, 9));
    filer.seek(0, OdDb::kSeekFromStart);
    EXPECT_TRUE(filer.rdBool());
    EXPECT_EQ(filer.rdInt8(), -128);
    EXPECT_EQ(filer.rdUInt8(), 200);
    EXPECT_EQ(filer.rdInt16(), -32768);
    EXPECT_EQ(filer.rdInt32(), -2147483647 - 1);
    EXPECT_EQ(filer.rdInt64(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(filer.rdDouble(), -0.1);
    EXPECT_EQ(filer.rdString(), L"\x1F600 text");
    char text[4] = {};
    filer.rdBytes(text, 3);
    EXPECT_STREQ(text, "abc");
    EXPECT_EQ(filer.rdDbHandle().value(), 0xFEDCBA9876543210U);
    const OdGePoint2d point2d = filer.rdPoint2d();
    EXPECT_EQ(point2d.x + 10 * point2d.y, 21);
    const OdGePoint3d point3d = filer.rdPoint3d();
    EXPECT_EQ(point3d.x + 10 * point3d.y + 100 * point3d.z, 321);
    const OdGeVector2d vector2d = filer.rdVector2d();
    EXPECT_EQ(vector2d.x + 10 * vector2d.y, 54);
    const OdGeVector3d vector3d = filer.rdVector3d();
    EXPECT_EQ(vector3d.x + 10 * vector3d.y + 100 * vector3d.z, 654);
    const OdGeScale3d scale = filer.rdScale3d();
    EXPECT_EQ(scale.sx + 10 * scale.sy + 100 * scale.sz, 987);
    EXPECT_EQ(filer.bytesLeft(), 0U);
}

TEST_F(FlatFilerBytes, IdsAndAddressesTakeNoneAndReadAsNull)
{
    const OdDbObjectId id = addObject();
    FlatFiler filer;
    filer.clear();
    filer.wrSoftOwnershipId(id);
    filer.wrHardOwnershipId(id);
    filer.wrSoftPointerId(id);
    filer.wrHardPointerId(id);
    filer.wrAddress(&filer);
    EXPECT_EQ(filer.getBinaryDataSize(), 0U);
    EXPECT_TRUE(filer.rdSoftOwnershipId().isNull());
    EXPECT_TRUE(filer.rdHardOwnershipId().isNull());
    EXPECT_TRUE(filer.rdSoftPointerId().isNull());
    EXPECT_TRUE(filer.rdHardPointerId().isNull());
    EXPECT_EQ(filer.rdAddress(), nullptr);
    EXPECT_FALSE(filer.usesReferences());
}

TEST_F(FlatFilerBytes, AnyByteButZeroIsTrue)
{
    for (int value = 0; value < 256; ++value) {
        EXPECT_EQ(FlatReader(bytes({value})).rdBool(), value != 0) << value;
    }
}

struct DoubleCase
{
    const char* name;
    double written;
    double read;
};

TEST_F(FlatFilerBytes, DoublesOutOfTheOrdinaryReadAsZero)
{
    using Limits = std::numeric_limits<double>;
    const DoubleCase kCases[] = {
        {"zero", 0.0, 0.0},
        {"negative zero", -0.0, 0.0},
        {"infinity", Limits::infinity(), 0.0},
        {"negative infinity", -Limits::infinity(), 0.0},
        {"no number", Limits::quiet_NaN(), 0.0},
        {"least denormal", Limits::denorm_min(), 0.0},
        {"greatest denormal", std::bit_cast<double>(0x000FFFFFFFFFFFFFU), 0.0},
        {"least normal number", Limits::min(), Limits::min()},
        {"greatest number", Limits::max(), Limits::max()},
        {"lowest number", Limits::lowest(), Limits::lowest()},
        {"an ordinary number", -1.5, -1.5},
    };
    for (DoubleCase const& row : kCases) {
        const Blob data = flattenBy([&](OdDbDwgFiler* filer) {
            filer->wrDouble(row.written);
            filer->wrDouble(7.0);
            filer->wrDouble(row.written);
        });
        EXPECT_TRUE(isSame(FlatReader(data).rdDouble(), row.read)) << row.name;
        const OdGePoint2d point2d = FlatReader(data).rdPoint2d();
        EXPECT_TRUE(isSame(point2d.x, row.read) && point2d.y == 7.0) << row.name;
        const OdGeVector2d vector2d = FlatReader(data).rdVector2d();
        EXPECT_TRUE(isSame(vector2d.x, row.read) && vector2d.y == 7.0) << row.name;
        const OdGePoint3d point3d = FlatReader(data).rdPoint3d();
        EXPECT_TRUE(isSame(point3d.x, row.read) && point3d.y == 7.0 && isSame(point3d.z, row.read))
            << row.name;
        const OdGeVector3d vector3d = FlatReader(data).rdVector3d();
        EXPECT_TRUE(isSame(vector3d.x, row.read) && vector3d.y == 7.0 &&
                    isSame(vector3d.z, row.read))
            << row.name;
        const OdGeScale3d scale = FlatReader(data).rdScale3d();
        EXPECT_TRUE(isSame(scale.sx, row.read) && scale.sy == 7.0 && isSame(scale.sz, row.read))
            << row.name;
    }
}

TEST_F(FlatFilerBytes, DoublesAreWrittenAsTheyAre)
{
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(flattenBy([&](OdDbDwgFiler* filer) { filer->wrDouble(infinity); }),
              bytes({0, 0, 0, 0, 0, 0, 0xF0, 0x7F}));
}

TEST_F(FlatFilerBytes, TextOfNegativeLengthIsABadStream)
{
    EXPECT_EQ(thrownCode([] { FlatReader(bytes({0xFF, 0xFF, 0x41})).rdString(); }), kOdBadStream);
    EXPECT_EQ(thrownCode([] { FlatReader(bytes({0x00, 0x80, 0x41})).rdString(); }), kOdBadStream);
}

TEST_F(FlatFilerBytes, TextMayHave32767BytesAndNoneMore)
{
    FlatFiler filer;
    filer.clear();
    const OdString longest(L'x', 32767);
    filer.wrString(longest);
    EXPECT_EQ(filer.getBinaryDataSize(), 32769U);
    EXPECT_EQ(thrownCode([&] { filer.wrString(longest + L"x"); }), kOdBadStream);
    EXPECT_EQ(thrownCode([&] { filer.wrString(OdString(L'\x20AC', 10923)); }), kOdBadStream);
    EXPECT_EQ(filer.getBinaryDataSize(), 32769U) << "nothing of the others is written";
    filer.seek(0, OdDb::kSeekFromStart);
    EXPECT_EQ(filer.rdString(), longest);
    EXPECT_EQ(FlatReader(filer.getBinaryData()).rdString(), longest);
}

TEST_F(FlatFilerBytes, TextThatIsNoUtf8ComesBackUnharmed)
{
    const Blob data = bytes({4, 0, 0x41, 0xFF, 0xC3, 0x28});
    const OdString text = FlatReader(data).rdString();
    EXPECT_EQ(flattenBy([&](OdDbDwgFiler* filer) { filer->wrString(text); }), data);
}

//--------------------------------------------------------------------------------------------------

TEST_F(FlatFilerStream, IsACopyFilerWithoutControllerAndDatabase)
{
    FlatFiler filer;
    EXPECT_EQ(filer.filerType(), OdDb::FilerType::kCopyFiler);
    EXPECT_EQ(static_cast<int>(filer.filerType()), 1);
    EXPECT_EQ(filer.controller(), nullptr);
    EXPECT_EQ(filer.database(), nullptr);
    EXPECT_EQ(filer.filerStatus(), kOdOk);
    EXPECT_EQ(filer.dwgVersion(), OdDb::kDwgVersionCurrent);
    EXPECT_EQ(filer.isA(), OdDbDwgFiler::desc());
}

TEST_F(FlatFilerStream, IsEmptyBeforeItIsStarted)
{
    FlatFiler filer;
    EXPECT_EQ(filer.getBinaryDataSize(), 0U);
    EXPECT_EQ(filer.tell(), 0U);
    EXPECT_EQ(filer.bytesLeft(), 0U);
    EXPECT_TRUE(filer.getBinaryData().empty());
    EXPECT_EQ(thrownCode([&] { filer.rdInt8(); }), kOdBadStream);
    filer.wrInt8(5);
    EXPECT_EQ(filer.getBinaryData(), bytes({5}));
}

TEST_F(FlatFilerStream, ClearStartsAnEmptyOne)
{
    FlatReader filer(bytes({1, 2, 3}));
    filer.rdInt8();
    filer.clear();
    EXPECT_EQ(filer.getBinaryDataSize(), 0U);
    EXPECT_EQ(filer.tell(), 0U);
    filer.wrInt8(9);
    EXPECT_EQ(filer.getBinaryData(), bytes({9}));
    filer.clear();
    EXPECT_TRUE(filer.getBinaryData().empty());
}

TEST_F(FlatFilerStream, SetBinaryDataCopiesAndStartsAtTheFront)
{
    Blob data = bytes({1, 2, 3});
    FlatFiler filer;
    filer.clear();
    filer.wrInt32(7);
    filer.setBinaryData(data.data(), 3);
    data.assign(3, 0);
    EXPECT_EQ(filer.tell(), 0U);
    EXPECT_EQ(filer.getBinaryDataSize(), 3U);
    EXPECT_EQ(filer.rdInt8(), 1);
    EXPECT_EQ(filer.tell(), 1U);
    EXPECT_EQ(filer.bytesLeft(), 2U);
}

TEST_F(FlatFilerStream, SetBinaryDataTakesNothing)
{
    FlatFiler filer;
    filer.setBinaryData(nullptr, 0);
    EXPECT_EQ(filer.getBinaryDataSize(), 0U);
    EXPECT_EQ(thrownCode([&] { filer.rdInt8(); }), kOdBadStream);
    EXPECT_EQ(thrownCode([&] { filer.wrInt8(1); }), kOdEndOfStream);
}

TEST_F(FlatFilerStream, GetBinaryDataReadsAllAndLeavesThePositionAtTheEnd)
{
    FlatReader filer(bytes({1, 2, 3}));
    filer.rdInt8();
    EXPECT_EQ(filer.getBinaryData(), bytes({1, 2, 3}));
    EXPECT_EQ(filer.tell(), 3U);
    FlatFiler writer;
    writer.clear();
    writer.wrInt16(1);
    writer.seek(0, OdDb::kSeekFromStart);
    EXPECT_EQ(writer.getBinaryData(), bytes({1, 0}));
    writer.wrInt8(2);
    EXPECT_EQ(writer.getBinaryData(), bytes({1, 0, 2}));
}

TEST_F(FlatFilerStream, OverGivenDataKeepsItsLength)
{
    FlatReader filer(bytes({1, 2, 3}));
    filer.rdInt8();
    filer.wrInt8(9);
    EXPECT_EQ(thrownCode([&] { filer.wrInt16(9); }), kOdEndOfStream);
    EXPECT_EQ(thrownCode([&] { filer.wrBytes("abcd", 4); }), kOdEndOfStream);
    EXPECT_EQ(filer.tell(), 2U);
    EXPECT_EQ(filer.getBinaryData(), bytes({1, 9, 3}));
}

TEST_F(FlatFilerStream, ReadingPastTheEndReadsNothing)
{
    FlatReader filer(bytes({1, 0, 3}));
    char buffer[8] = {};
    EXPECT_EQ(thrownCode([&] { filer.rdInt32(); }), kOdBadStream);
    EXPECT_EQ(thrownCode([&] { filer.rdInt64(); }), kOdBadStream);
    EXPECT_EQ(thrownCode([&] { filer.rdDouble(); }), kOdBadStream);
    EXPECT_EQ(thrownCode([&] { filer.rdDbHandle(); }), kOdBadStream);
    EXPECT_EQ(thrownCode([&] { filer.rdBytes(buffer, 4); }), kOdBadStream);
    EXPECT_EQ(thrownCode([&] { filer.rdBytes(buffer, 0xFFFFFFFFU); }), kOdBadStream);
    EXPECT_EQ(filer.tell(), 0U);
    EXPECT_EQ(filer.rdInt16(), 1);
    EXPECT_EQ(filer.rdUInt8(), 3);
    EXPECT_EQ(thrownCode([&] { filer.rdBool(); }), kOdBadStream);
    EXPECT_EQ(thrownCode([&] { filer.rdInt8(); }), kOdBadStream);
    EXPECT_EQ(thrownCode([&] { filer.rdUInt8(); }), kOdBadStream);
    EXPECT_EQ(thrownCode([&] { filer.rdInt16(); }), kOdBadStream);
    filer.rdBytes(buffer, 0);
}

TEST_F(FlatFilerStream, EveryReaderBreaksOffAtEveryLength)
{
    const struct
    {
        const char* name;
        std::size_t length;
        void (*read)(OdDbDwgFiler&);
    } kRows[] = {
        {"rdBool", 1, [](OdDbDwgFiler& f) { (void)f.rdBool(); }},
        {"rdInt8", 1, [](OdDbDwgFiler& f) { (void)f.rdInt8(); }},
        {"rdUInt8", 1, [](OdDbDwgFiler& f) { (void)f.rdUInt8(); }},
        {"rdInt16", 2, [](OdDbDwgFiler& f) { (void)f.rdInt16(); }},
        {"rdInt32", 4, [](OdDbDwgFiler& f) { (void)f.rdInt32(); }},
        {"rdInt64", 8, [](OdDbDwgFiler& f) { (void)f.rdInt64(); }},
        {"rdDouble", 8, [](OdDbDwgFiler& f) { (void)f.rdDouble(); }},
        {"rdDbHandle", 8, [](OdDbDwgFiler& f) { (void)f.rdDbHandle(); }},
        {"rdPoint2d", 16, [](OdDbDwgFiler& f) { (void)f.rdPoint2d(); }},
        {"rdVector2d", 16, [](OdDbDwgFiler& f) { (void)f.rdVector2d(); }},
        {"rdPoint3d", 24, [](OdDbDwgFiler& f) { (void)f.rdPoint3d(); }},
        {"rdVector3d", 24, [](OdDbDwgFiler& f) { (void)f.rdVector3d(); }},
        {"rdScale3d", 24, [](OdDbDwgFiler& f) { (void)f.rdScale3d(); }},
        {"rdString", 5, [](OdDbDwgFiler& f) { (void)f.rdString(); }},
    };
    for (auto const& row : kRows) {
        Blob whole = bytes({3, 0});
        whole.resize(row.length, 'a');
        for (std::size_t length = 0; length <= row.length; ++length) {
            FlatReader filer(Blob(whole.begin(), whole.begin() + static_cast<long>(length)));
            EXPECT_EQ(thrownCode([&] { row.read(filer); }),
                      length < row.length ? kOdBadStream : kOdOk)
                << row.name << " with " << length << " bytes";
        }
    }
}

TEST_F(FlatFilerStream, SeekAndTellGoToAnyPlaceInIt)
{
    for (const bool isFlat : {true, false}) {
        FlatFiler filer;
        if (isFlat) {
            const Blob data = bytes({0, 1, 2, 3, 4});
            filer.setBinaryData(data.data(), 5);
        } else {
            filer.clear();
            for (std::int8_t i = 0; i < 5; ++i) {
                filer.wrInt8(i);
            }
        }
        filer.seek(3, OdDb::kSeekFromStart);
        EXPECT_EQ(filer.tell(), 3U);
        EXPECT_EQ(filer.rdInt8(), 3);
        filer.seek(-2, OdDb::kSeekFromCurrent);
        EXPECT_EQ(filer.rdInt8(), 2);
        filer.seek(-1, OdDb::kSeekFromEnd);
        EXPECT_EQ(filer.rdInt8(), 4);
        EXPECT_EQ(filer.tell(), 5U);
        EXPECT_EQ(thrownCode([&] { filer.seek(6, OdDb::kSeekFromStart); }), kOdEndOfStream);
        EXPECT_EQ(thrownCode([&] { filer.seek(-1, OdDb::kSeekFromStart); }), kOdEndOfStream);
        EXPECT_EQ(filer.tell(), 5U);
    }
}

TEST_F(FlatFilerStream, WritesOverWhatIsThereAfterSeeking)
{
    FlatFiler filer;
    filer.clear();
    filer.wrInt32(0);
    filer.wrInt32(-1);
    filer.seek(2, OdDb::kSeekFromStart);
    filer.wrInt32(0x04030201);
    EXPECT_EQ(filer.getBinaryDataSize(), 8U);
    EXPECT_EQ(filer.bytesLeft(), 2U);
    EXPECT_EQ(filer.rdInt16(), -1);
    EXPECT_EQ(filer.getBinaryData(), bytes({0, 0, 1, 2, 3, 4, 0xFF, 0xFF}));
}

/// In a process of its own: the platform can't be stopped in order once a class of it was taken away.
TEST_F(FlatFilerStream, NeedsTheStreamClassOfThePlatform)
{
    const auto run = [] {
        FlatFiler filer;
        OdStreamBuf::rxUninit();
        EXPECT_THROW(filer.clear(), OdError_NotThatKindOfClass);
        EXPECT_THROW(filer.setBinaryData("a", 1), OdError_NotThatKindOfClass);
        std::_Exit(HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

/// Random operations on a flat filer against plain bytes with a position.
RC_GTEST_PROP(FlatFilerModel, BehavesAsBytesWithAPosition, ())
{
    const OdDbPlatform platform;
    FlatFiler filer;
    Blob model;
    std::size_t at = 0;
    const bool isFlat = *rc::gen::arbitrary<bool>();
    if (isFlat) {
        model = *rc::gen::container<Blob>(rc::gen::arbitrary<char>());
        filer.setBinaryData(model.data(), static_cast<unsigned int>(model.size()));
    } else {
        filer.clear();
    }
    const auto writeModel = [&](Blob const& piece) {
        model.resize(std::max(model.size(), at + piece.size()));
        std::copy(piece.begin(), piece.end(), model.begin() + static_cast<long>(at));
        at += piece.size();
    };
    const int steps = *rc::gen::inRange(0, 80);
    for (int i = 0; i < steps; ++i) {
        const std::size_t room = isFlat ? model.size() - at : model.size() + 10000;
        switch (*rc::gen::inRange(0, 6)) {
        case 0: {
            const auto length = static_cast<std::size_t>(*rc::gen::weightedOneOf<int>(
                {{8, rc::gen::inRange(0, 40)}, {1, rc::gen::inRange(2000, 5000)}}));
            const Blob piece(length, static_cast<char>(i));
            const OdResult thrown = thrownCode(
                [&] { filer.wrBytes(piece.data(), static_cast<std::uint32_t>(length)); });
            RC_ASSERT(thrown == (length <= room ? kOdOk : kOdEndOfStream));
            if (length <= room) {
                writeModel(piece);
            }
            break;
        }
        case 1:
            if (room >= 4) {
                filer.wrInt32(i);
                writeModel(bytes({i, 0, 0, 0}));
            }
            break;
        case 2: {
            const auto length = static_cast<std::size_t>(*rc::gen::inRange(0, 3000));
            Blob piece(length);
            const OdResult thrown = thrownCode(
                [&] { filer.rdBytes(piece.data(), static_cast<std::uint32_t>(length)); });
            RC_ASSERT(thrown == (length <= model.size() - at ? kOdOk : kOdBadStream));
            if (thrown == kOdOk) {
                RC_ASSERT(
                    std::equal(piece.begin(), piece.end(), model.begin() + static_cast<long>(at)));
                at += length;
            }
            break;
        }
        case 3:
            if (at < model.size()) {
                RC_ASSERT(filer.rdInt8() == static_cast<std::int8_t>(model[at]));
                ++at;
            }
            break;
        case 4:
            at = static_cast<std::size_t>(
                *rc::gen::inRange<int>(0, static_cast<int>(model.size()) + 1));
            filer.seek(static_cast<std::int64_t>(at), OdDb::kSeekFromStart);
            break;
        default:
            if (*rc::gen::inRange(0, 4) == 0) {
                RC_ASSERT(filer.getBinaryData() == model);
                at = model.size();
            }
        }
        RC_ASSERT(filer.tell() == at);
        RC_ASSERT(filer.getBinaryDataSize() == model.size());
        RC_ASSERT(filer.bytesLeft() == model.size() - at);
    }
    RC_ASSERT(filer.getBinaryData() == model);
}

//--------------------------------------------------------------------------------------------------

OdResBufPtr makeHead()
{
    const OdResBufPtr head = OdResBuf::newRb(OdResBuf::kXdAppName);
    head->setString(L"ZEM_DB");
    return head;
}

Blob makeData(std::size_t length)
{
    Blob data(length);
    for (std::size_t i = 0; i < length; ++i) {
        data[i] = static_cast<char>(i * 7);
    }
    return data;
}

/// Lengths of the records behind a head; each is checked to be a binary chunk.
std::vector<std::size_t> chunkLengths(OdResBuf const& head)
{
    std::vector<std::size_t> lengths;
    for (OdResBufPtr record = head.next(); !record.isNull(); record = record->next()) {
        EXPECT_EQ(record->restype(), 1004);
        lengths.push_back(record->getBinaryChunk().size());
    }
    return lengths;
}

TEST_F(FlatFilerChunks, HaveAtMost127BytesEach)
{
    const struct
    {
        std::size_t size;
        std::vector<std::size_t> lengths;
    } kRows[] = {
        {0, {}},         {1, {1}},          {126, {126}},         {127, {127}},
        {128, {127, 1}}, {254, {127, 127}}, {255, {127, 127, 1}},
    };
    for (auto const& row : kRows) {
        FlatReader filer(makeData(row.size));
        const OdResBufPtr head = makeHead();
        filer.appendToResBuf(head.get());
        EXPECT_EQ(chunkLengths(*head), row.lengths) << row.size;
    }
}

TEST_F(FlatFilerChunks, Take15999BytesAndNoneMore)
{
    const OdResBufPtr head = makeHead();
    FlatReader(makeData(16000)).appendToResBuf(head.get());
    EXPECT_TRUE(head->next().isNull());
    FlatReader(makeData(15999)).appendToResBuf(head.get());
    const std::vector<std::size_t> lengths = chunkLengths(*head);
    ASSERT_EQ(lengths.size(), 126U);
    EXPECT_EQ(lengths.front(), 127U);
    EXPECT_EQ(lengths.back(), 124U);
}

TEST_F(FlatFilerChunks, AreNotMadeWithoutAChain)
{
    FlatReader filer(makeData(10));
    filer.rdInt8();
    filer.appendToResBuf(nullptr);
    EXPECT_EQ(filer.tell(), 1U);
}

TEST_F(FlatFilerChunks, StandBehindTheLastRecordOfTheChain)
{
    const OdResBufPtr head = makeHead();
    const OdResBufPtr text = OdResBuf::newRb(OdResBuf::kXdString);
    head->setNext(text.get());
    FlatReader filer(makeData(3));
    filer.rdInt8();
    filer.appendToResBuf(head.get());
    ASSERT_FALSE(text->next().isNull());
    EXPECT_EQ(text->next()->getBinaryChunk().size(), 3U) << "the whole stream, not what is left";
    EXPECT_EQ(filer.tell(), 3U);
}

TEST_F(FlatFilerChunks, GiveTheStreamBack)
{
    for (const std::size_t size : {1U, 127U, 128U, 15999U}) {
        const OdResBufPtr head = makeHead();
        FlatReader(makeData(size)).appendToResBuf(head.get());
        FlatFiler filer;
        EXPECT_TRUE(filer.setBinaryChunk(head->next().get())) << size;
        EXPECT_EQ(filer.tell(), 0U) << size;
        EXPECT_EQ(filer.getBinaryData(), makeData(size)) << size;
    }
}

TEST_F(FlatFilerChunks, EndAtTheFirstRecordOfAnotherGroupCode)
{
    const OdResBufPtr head = makeHead();
    FlatReader(makeData(130)).appendToResBuf(head.get());
    const OdResBufPtr text = OdResBuf::newRb(OdResBuf::kXdString);
    head->last()->setNext(text.get());
    FlatReader(makeData(5)).appendToResBuf(head.get());
    FlatFiler filer;
    EXPECT_TRUE(filer.setBinaryChunk(head->next().get()));
    EXPECT_EQ(filer.getBinaryData(), makeData(130));
}

TEST_F(FlatFilerChunks, OfShortLengthsAreJoinedAsWell)
{
    OdResBufPtr first = OdResBuf::newRb(OdResBuf::kXdBinary);
    const OdResBufPtr second = OdResBuf::newRb(OdResBuf::kXdBinary);
    OdBinaryData chunk;
    chunk.append(static_cast<unsigned char>(1));
    second->setBinaryChunk(chunk);
    first->setNext(second.get());
    FlatFiler filer;
    EXPECT_TRUE(filer.setBinaryChunk(first.get()));
    EXPECT_EQ(filer.getBinaryData(), bytes({1}));
}

TEST_F(FlatFilerChunks, AreRefusedWithoutAChangeIfTheFirstIsNone)
{
    FlatReader filer(makeData(3));
    filer.rdInt8();
    EXPECT_FALSE(filer.setBinaryChunk(nullptr));
    EXPECT_FALSE(filer.setBinaryChunk(makeHead().get()));
    EXPECT_EQ(filer.tell(), 1U);
    EXPECT_EQ(filer.getBinaryData(), makeData(3));
}

}  // namespace
