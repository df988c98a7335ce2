#include "db/db_test_support.h"
#include "db/od_db_memory_filer.h"

#include <rapidcheck/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

using namespace dbtest;

namespace {

using Filer = OdStaticRxObject<OdDbMemoryFiler>;
using ReferenceType = OdDb::ReferenceType;

class MemoryFiler : public DatabaseTest
{
};

TEST_F(MemoryFiler, GivesBackEveryKindOfFieldInOrder)
{
    const OdDbObjectId id = addBag();
    int anchor = 0;
    Filer filer;
    filer.wrBool(true);
    filer.wrString(L"a\x1F600");
    filer.wrString(OdString());
    filer.wrBytes("xyz", 3);
    filer.wrBytes(nullptr, 0);
    filer.wrInt8(-128);
    filer.wrUInt8(255);
    filer.wrInt16(-32768);
    filer.wrInt32(std::numeric_limits<std::int32_t>::min());
    filer.wrInt64(std::numeric_limits<std::int64_t>::max());
    filer.wrAddress(&anchor);
    filer.wrAddress(nullptr);
    filer.wrDouble(-0.0);
    filer.wrDouble(std::numeric_limits<double>::infinity());
    filer.wrDouble(std::numeric_limits<double>::quiet_NaN());
    filer.wrDbHandle(OdDbHandle(~std::uint64_t{0}));
    filer.wrSoftOwnershipId(id);
    filer.wrHardOwnershipId(OdDbObjectId::kNull);
    filer.wrHardPointerId(id);
    filer.wrSoftPointerId(id);
    filer.wrPoint2d(OdGePoint2d(1, 2));
    filer.wrPoint3d(OdGePoint3d(1, 2, 3));
    filer.wrVector2d(OdGeVector2d(4, 5));
    filer.wrVector3d(OdGeVector3d(4, 5, 6));
    filer.wrScale3d(OdGeScale3d(7, 8, 9));
    EXPECT_EQ(filer.tell(), filer.bytes().size());
    filer.rewindForReading();

    EXPECT_EQ(filer.bytesLeft(), filer.bytes().size());
    EXPECT_TRUE(filer.rdBool());
    EXPECT_EQ(filer.rdString(), OdString(L"a\x1F600"));
    EXPECT_EQ(filer.rdString(), OdString());
    char bytes[3] = {};
    filer.rdBytes(bytes, 3);
    EXPECT_EQ(std::string(bytes, 3), "xyz");
    filer.rdBytes(nullptr, 0);
    EXPECT_EQ(filer.rdInt8(), -128);
    EXPECT_EQ(filer.rdUInt8(), 255);
    EXPECT_EQ(filer.rdInt16(), -32768);
    EXPECT_EQ(filer.rdInt32(), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(filer.rdInt64(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(filer.rdAddress(), &anchor);
    EXPECT_EQ(filer.rdAddress(), nullptr);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(filer.rdDouble()), std::uint64_t{1} << 63);
    EXPECT_TRUE(std::isinf(filer.rdDouble()));
    EXPECT_TRUE(std::isnan(filer.rdDouble()));
    EXPECT_EQ(filer.rdDbHandle().value(), ~std::uint64_t{0});
    EXPECT_EQ(filer.rdSoftOwnershipId(), id);
    EXPECT_EQ(filer.rdHardOwnershipId(), OdDbObjectId::kNull);
    EXPECT_EQ(filer.rdHardPointerId(), id);
    EXPECT_EQ(filer.rdSoftPointerId(), id);
    EXPECT_EQ(filer.rdPoint2d(), OdGePoint2d(1, 2));
    EXPECT_EQ(filer.rdPoint3d(), OdGePoint3d(1, 2, 3));
    EXPECT_EQ(filer.rdVector2d(), OdGeVector2d(4, 5));
    EXPECT_EQ(filer.rdVector3d(), OdGeVector3d(4, 5, 6));
    EXPECT_EQ(filer.rdScale3d(), OdGeScale3d(7, 8, 9));
    EXPECT_EQ(filer.bytesLeft(), 0U);
    EXPECT_EQ(filer.filerStatus(), kOdOk);
}

TEST_F(MemoryFiler, HoldsNoTypeTags)
{
    Filer filer;
    filer.wrUInt8(0x85);
    filer.rewindForReading();
    EXPECT_EQ(filer.rdInt8(), static_cast<std::int8_t>(0x85));
}

TEST_F(MemoryFiler, ThrowsAtTheEndOfEveryKindOfField)
{
    using Read = void (*)(Filer&);
    constexpr Read kReads[] = {
        [](Filer& f) { (void)f.rdBool(); },
        [](Filer& f) { (void)f.rdString(); },
        [](Filer& f) {
            char byte = 0;
            f.rdBytes(&byte, 1);
        },
        [](Filer& f) { (void)f.rdInt8(); },
        [](Filer& f) { (void)f.rdUInt8(); },
        [](Filer& f) { (void)f.rdInt16(); },
        [](Filer& f) { (void)f.rdInt32(); },
        [](Filer& f) { (void)f.rdInt64(); },
        [](Filer& f) { (void)f.rdAddress(); },
        [](Filer& f) { (void)f.rdDouble(); },
        [](Filer& f) { (void)f.rdDbHandle(); },
        [](Filer& f) { (void)f.rdSoftOwnershipId(); },
        [](Filer& f) { (void)f.rdHardOwnershipId(); },
        [](Filer& f) { (void)f.rdHardPointerId(); },
        [](Filer& f) { (void)f.rdSoftPointerId(); },
        [](Filer& f) { (void)f.rdPoint2d(); },
        [](Filer& f) { (void)f.rdPoint3d(); },
        [](Filer& f) { (void)f.rdVector2d(); },
        [](Filer& f) { (void)f.rdVector3d(); },
        [](Filer& f) { (void)f.rdScale3d(); },
    };
    Filer filer;
    filer.rewindForReading();
    for (Read read : kReads) {
        EXPECT_EQ(thrownCode([&] { read(filer); }), kOdBadStream);
    }
    const std::uint8_t byte = 1;
    for (std::size_t index = 5; index < std::size(kReads); ++index) {
        filer.readFrom({&byte, 1});
        EXPECT_EQ(thrownCode([&] { kReads[index](filer); }), kOdBadStream) << index;
        EXPECT_EQ(filer.bytesLeft(), 1U) << index;
    }
}

TEST_F(MemoryFiler, RefusesAStringLongerThanItsStream)
{
    Filer filer;
    filer.wrInt32(-1);
    filer.wrBytes("abc", 3);
    filer.rewindForReading();
    EXPECT_EQ(thrownCode([&] { (void)filer.rdString(); }), kOdBadStream);
}

TEST_F(MemoryFiler, SeeksInWhatItReadsAndNowhereElse)
{
    Filer filer;
    filer.wrInt8(1);
    filer.wrInt8(2);
    filer.wrInt8(3);
    EXPECT_EQ(thrownCode([&] { filer.seek(0, OdDb::FilerSeekType::kSeekFromStart); }),
              kOdNotApplicable);
    filer.rewindForReading();
    filer.seek(2, OdDb::FilerSeekType::kSeekFromStart);
    EXPECT_EQ(filer.rdInt8(), 3);
    filer.seek(-2, OdDb::FilerSeekType::kSeekFromCurrent);
    EXPECT_EQ(filer.rdInt8(), 2);
    filer.seek(-3, OdDb::FilerSeekType::kSeekFromEnd);
    EXPECT_EQ(filer.tell(), 0U);
    filer.seek(0, OdDb::FilerSeekType::kSeekFromEnd);
    EXPECT_EQ(filer.bytesLeft(), 0U);
    for (std::int64_t offset :
         {std::int64_t{-1}, std::int64_t{4}, std::numeric_limits<std::int64_t>::max(),
          std::numeric_limits<std::int64_t>::min()}) {
        EXPECT_EQ(thrownCode([&] { filer.seek(offset, OdDb::FilerSeekType::kSeekFromStart); }),
                  kOdBadStream);
    }
    EXPECT_EQ(thrownCode([&] { filer.seek(1, OdDb::FilerSeekType::kSeekFromCurrent); }),
              kOdBadStream);
    EXPECT_EQ(filer.tell(), 3U);
}

TEST_F(MemoryFiler, RefusesToWriteWhileItReads)
{
    Filer filer;
    filer.wrInt32(1);
    filer.rewindForReading();
    EXPECT_EQ(thrownCode([&] { filer.wrInt32(2); }), kOdNotApplicable);
    EXPECT_EQ(thrownCode([&] { filer.wrString(L"x"); }), kOdNotApplicable);
    EXPECT_EQ(thrownCode([&] { filer.wrBytes("x", 1); }), kOdNotApplicable);
    EXPECT_EQ(filer.rdInt32(), 1);
    OdDbMemoryFiler::Bytes other;
    filer.writeTo(other);
    filer.wrInt32(3);
    EXPECT_EQ(other.size(), 4U);
}

TEST_F(MemoryFiler, CollectsReferencesByTheirKind)
{
    const OdDbObjectId id = addBag();
    std::vector<OdDbReference> references;
    Filer filer;
    filer.collectReferences(&references);
    for (ReferenceType type :
         {ReferenceType::kSoftPointerRef, ReferenceType::kHardPointerRef,
          ReferenceType::kSoftOwnershipRef, ReferenceType::kHardOwnershipRef}) {
        odDbWriteId(filer, id, type);
    }
    filer.collectReferences(nullptr);
    filer.wrSoftPointerId(id);
    ASSERT_EQ(references.size(), 4U);
    filer.rewindForReading();
    for (int index = 0; index < 4; ++index) {
        EXPECT_EQ(references[static_cast<std::size_t>(index)].type,
                  static_cast<ReferenceType>(index));
        EXPECT_EQ(odDbReadId(filer, static_cast<ReferenceType>(index)), id);
    }
}

TEST_F(MemoryFiler, RefusesAKindOfReferenceThatThereIsNot)
{
    Filer filer;
    EXPECT_EQ(thrownCode([&] { odDbWriteId(filer, {}, static_cast<ReferenceType>(4)); }),
              kOdInvalidInput);
    EXPECT_EQ(thrownCode([&] { (void)odDbReadId(filer, static_cast<ReferenceType>(-1)); }),
              kOdInvalidInput);
}

TEST_F(MemoryFiler, TellsWhatItWasMadeFor)
{
    Filer filer(OdDb::FilerType::kPageFiler, m_db.get(), OdDb::kDwgVersion29);
    EXPECT_EQ(filer.filerType(), OdDb::FilerType::kPageFiler);
    EXPECT_EQ(filer.database(), m_db.get());
    EXPECT_EQ(filer.dwgVersion(), OdDb::kDwgVersion29);
    EXPECT_FALSE(filer.usesReferences());
    EXPECT_EQ(filer.controller(), nullptr);
    filer.setController(nullptr);
    filer.resetFilerStatus();
    filer.addReference({}, ReferenceType::kHardPointerRef);
    EXPECT_EQ(Filer().dwgVersion(), OdDb::kDwgVersionCurrent);
}

TEST_F(MemoryFiler, ReportsTheCurrentVersionForEveryTypeUnlessAsked)
{
    for (OdDb::FilerType type :
         {OdDb::FilerType::kCopyFiler, OdDb::FilerType::kUndoFiler, OdDb::FilerType::kPageFiler,
          OdDb::FilerType::kDeepCloneFiler, OdDb::FilerType::kWblockCloneFiler}) {
        EXPECT_EQ(Filer(type).dwgVersion(), OdDb::kDwgVersionCurrent);
    }
}

TEST_F(MemoryFiler, ChecksCountsAgainstWhatIsLeft)
{
    struct Row
    {
        std::int32_t count;
        std::uint32_t recordBytes;
        std::uint32_t bytesBehind;
        OdResult expected;
    };
    for (Row const& row : {Row{0, 1, 0, kOdOk}, Row{2, 4, 8, kOdOk}, Row{3, 4, 8, kOdBadStream},
                           Row{-1, 1, 8, kOdBadStream},
                           Row{std::numeric_limits<std::int32_t>::max(), 8, 64, kOdBadStream},
                           Row{std::numeric_limits<std::int32_t>::min(), 1, 0, kOdBadStream}}) {
        Filer filer;
        filer.wrInt32(row.count);
        const std::vector<char> behind(row.bytesBehind);
        filer.wrBytes(behind.data(), row.bytesBehind);
        filer.rewindForReading();
        std::uint32_t count = 0;
        EXPECT_EQ(thrownCode([&] { count = odDbReadCount(filer, row.recordBytes); }), row.expected)
            << row.count;
        EXPECT_EQ(count, row.expected == kOdOk ? static_cast<std::uint32_t>(row.count) : 0U);
    }
}

RC_GTEST_PROP(MemoryFilerProperty, KeepsAnyStringThatUtf8CanHold, (std::vector<std::uint32_t> text))
{
    OdString original;
    for (std::uint32_t code : text) {
        const std::uint32_t point = code % 0x110000;
        if (point != 0 && (point < 0xD800 || point > 0xDFFF)) {
            original += OdString(static_cast<wchar_t>(point));
        }
    }
    Filer filer;
    filer.wrString(original);
    filer.rewindForReading();
    RC_ASSERT(filer.rdString() == original);
    RC_ASSERT(filer.bytesLeft() == 0U);
}

}  // namespace
