#include "property_test_support.h"
#include "zem_stream_utils.h"

using namespace property_test;

namespace {

constexpr OdDb::FilerType kMemoryFilers[] = {
    OdDb::FilerType::kCopyFiler, OdDb::FilerType::kUndoFiler, OdDb::FilerType::kPageFiler,
    OdDb::FilerType::kDeepCloneFiler, OdDb::FilerType::kWblockCloneFiler};

class StreamMarks : public PropertyTest
{
};
class StreamIdArrays : public PropertyDatabaseTest
{
};

TEST_F(StreamMarks, AreNotPartOfADrawingFile)
{
    LoggingFiler filer(OdDb::FilerType::kFileFiler);
    filer.wrInt32(1);
    filer.log.clear();
    const std::uint64_t end = filer.tell();
    zemu::wrMark(&filer, 0x1234);
    EXPECT_TRUE(filer.log.empty());
    EXPECT_EQ(filer.tell(), end);
    filer.rewindForReading();
    EXPECT_NO_THROW(zemu::rdMark(&filer, 0x1234));
    EXPECT_EQ(filer.tell(), 0U);
}

TEST_F(StreamMarks, AreSixteenBitsInAllOtherFilers)
{
    for (const OdDb::FilerType type : kMemoryFilers) {
        LoggingFiler filer(type);
        zemu::wrMark(&filer, 0x1234);
        EXPECT_EQ(filer.log, std::vector<std::string>{"wrInt16"}) << static_cast<int>(type);
        filer.rewindForReading();
        EXPECT_NO_THROW(zemu::rdMark(&filer, 0x1234)) << static_cast<int>(type);
        EXPECT_EQ(filer.bytesLeft(), 0U) << static_cast<int>(type);
    }
}

TEST_F(StreamMarks, AreLittleEndianInAFlatStream)
{
    EXPECT_EQ(flattenBy([](OdDbDwgFiler* filer) { zemu::wrMark(filer, 0x1234); }),
              bytes({0x34, 0x12}));
    EXPECT_EQ(flattenBy([](OdDbDwgFiler* filer) { zemu::wrMark(filer, -2); }), bytes({0xFE, 0xFF}));
}

TEST_F(StreamMarks, CompareAllSixteenBits)
{
    for (int bit = 0; bit < 16; ++bit) {
        MemoryFiler filer;
        const short mark = 0x5A5A;
        zemu::wrMark(&filer, static_cast<short>(mark ^ (1 << bit)));
        filer.rewindForReading();
        EXPECT_THROW(zemu::rdMark(&filer, mark), OdError) << bit;
    }
}

TEST_F(StreamMarks, ThatDifferAreToldInWords)
{
    MemoryFiler filer;
    zemu::wrMark(&filer, 1);
    filer.rewindForReading();
    try {
        zemu::rdMark(&filer, 2);
        FAIL() << "nothing was thrown";
    } catch (OdError const& error) {
        EXPECT_EQ(error.description(), L"Corrupted dwg stream: wrong mark found in dbFiler. "
                                       L"Application can be unstable");
        EXPECT_EQ(error.code(), kOdMessage);
    }
}

TEST_F(StreamMarks, ThatAreCutOffAreABadStream)
{
    FlatReader filer(bytes({1}));
    EXPECT_EQ(thrownCode([&] { zemu::rdMark(&filer, 1); }), kOdBadStream);
}

TEST_F(StreamIdArrays, EmptyOneIsItsCountAndNothingMore)
{
    const OdDbObjectIdArray none;
    const Blob expected = bytes({0, 0, 0, 0});
    EXPECT_EQ(flattenBy([&](OdDbDwgFiler* filer) { zemu::writeHardOwnershipIdArray(filer, none); }),
              expected);
    EXPECT_EQ(flattenBy([&](OdDbDwgFiler* filer) { zemu::writeSoftPointerIdArray(filer, none); }),
              expected);
    OdDbObjectIdArray ids;
    ids.append(addObject());
    FlatReader filer(expected);
    zemu::readHardOwnershipIdArray(&filer, ids);
    EXPECT_TRUE(ids.isEmpty());
}

TEST_F(StreamIdArrays, AreFiledByTheirKindOfReference)
{
    OdDbObjectIdArray ids;
    ids.append(addObject());
    ids.append(OdDbObjectId::kNull);
    ids.append(addObject());
    LoggingFiler owners;
    zemu::writeHardOwnershipIdArray(&owners, ids);
    EXPECT_EQ(owners.log, (std::vector<std::string>{"wrInt32", "wrHardOwnershipId",
                                                    "wrHardOwnershipId", "wrHardOwnershipId"}));
    LoggingFiler pointers;
    zemu::writeSoftPointerIdArray(&pointers, ids);
    EXPECT_EQ(pointers.log, (std::vector<std::string>{"wrInt32", "wrSoftPointerId",
                                                      "wrSoftPointerId", "wrSoftPointerId"}));
    OdDbObjectIdArray read;
    read.append(addObject());
    owners.rewindForReading();
    zemu::readHardOwnershipIdArray(&owners, read);
    EXPECT_TRUE(read == ids);
    pointers.rewindForReading();
    zemu::readSoftPointerIdArray(&pointers, read);
    EXPECT_TRUE(read == ids);
}

TEST_F(StreamIdArrays, KeepTheirLengthInAFlatStreamThatKeepsNoIds)
{
    OdDbObjectIdArray ids;
    for (int i = 0; i < 5; ++i) {
        ids.append(addObject());
    }
    const Blob data =
        flattenBy([&](OdDbDwgFiler* filer) { zemu::writeSoftPointerIdArray(filer, ids); });
    EXPECT_EQ(data, bytes({5, 0, 0, 0}));
    FlatReader filer(data);
    OdDbObjectIdArray read;
    zemu::readSoftPointerIdArray(&filer, read);
    ASSERT_EQ(read.size(), 5U);
    EXPECT_TRUE(read[4].isNull());
}

TEST_F(StreamIdArrays, OfImpossibleLengthAreABadStream)
{
    for (const int count : {-1, -2147483647 - 1, 2147483647}) {
        MemoryFiler memory;
        memory.wrInt32(count);
        OdDbObjectIdArray ids;
        memory.rewindForReading();
        EXPECT_EQ(thrownCode([&] { zemu::readHardOwnershipIdArray(&memory, ids); }), kOdBadStream);
        FlatReader flat(flattenBy([&](OdDbDwgFiler* filer) { filer->wrInt32(count); }));
        EXPECT_EQ(thrownCode([&] { zemu::readSoftPointerIdArray(&flat, ids); }), kOdBadStream);
    }
}

TEST_F(StreamIdArrays, LongerThanReadersBelieveAFlatStreamAreNotWrittenToIt)
{
    OdDbObjectIdArray ids;
    ids.resize((1 << 20) + 1);
    FlatFiler flat;
    flat.clear();
    EXPECT_EQ(thrownCode([&] { zemu::writeSoftPointerIdArray(&flat, ids); }), kOdBadStream);
    EXPECT_EQ(flat.getBinaryDataSize(), 0U);
    MemoryFiler memory;
    zemu::writeSoftPointerIdArray(&memory, ids);
    memory.rewindForReading();
    OdDbObjectIdArray read;
    zemu::readSoftPointerIdArray(&memory, read);
    EXPECT_EQ(read.size(), ids.size());
}

TEST_F(StreamIdArrays, ThatAreCutOffAreABadStream)
{
    OdDbObjectIdArray ids;
    ids.append(addObject());
    ids.append(addObject());
    MemoryFiler whole;
    zemu::writeHardOwnershipIdArray(&whole, ids);
    for (std::size_t length = 0; length < whole.bytes().size(); ++length) {
        MemoryFiler filer;
        filer.readFrom(std::span(whole.bytes()).first(length));
        EXPECT_EQ(thrownCode([&] { zemu::readHardOwnershipIdArray(&filer, ids); }), kOdBadStream);
    }
}

TEST_F(StreamIdArrays, ThatShrinkWhileTheyAreWrittenAreAnInvalidIndex)
{
    class Shrinker : public MemoryFiler
    {
    public:
        explicit Shrinker(OdDbObjectIdArray& ids) : m_ids(ids) {}
        void wrSoftPointerId(OdDbObjectId const&) override { m_ids.resize(1); }
        void wrHardOwnershipId(OdDbObjectId const&) override { m_ids.resize(1); }

    private:
        OdDbObjectIdArray& m_ids;
    };
    OdDbObjectIdArray ids;
    ids.resize(3);
    Shrinker filer(ids);
    EXPECT_THROW(zemu::writeSoftPointerIdArray(&filer, ids), OdError_InvalidIndex);
    ids.resize(3);
    EXPECT_THROW(zemu::writeHardOwnershipIdArray(&filer, ids), OdError_InvalidIndex);
}

}  // namespace
