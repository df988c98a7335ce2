#include "model_test_support.h"
#include "zem_index_map.h"

#include <limits>

namespace {

using namespace model_test;

class IndexMap : public testing::Test
{
protected:
    static Blob filed(ZemIndexMap const& map)
    {
        return property_test::flattenBy([&](OdDbDwgFiler* filer) { map.dwgOutFields(filer); });
    }
    /// The result of reading; an OdError counts as its code.
    static OdResult read(ZemIndexMap& map, Blob const& data)
    {
        return thrownCode([&] {
            property_test::FlatReader filer(data);
            map.dwgInFields(&filer);
        });
    }
    static OdDbFullSubentPath path(OdDb::SubentType type, std::int64_t index)
    {
        return {OdDbObjectIdArray(), OdDbSubentId(type, index)};
    }
    static ZemIndexMap sample()
    {
        ZemIndexMap map;
        map.entries()[OdDbSubentId(kEdge, 2)] = {-1};
        map.entries()[OdDbSubentId(kFace, 7)] = {5, 6};
        map.entries()[OdDbSubentId(kVertex, 1)] = {0};
        return map;
    }

    ZemModuleScope m_scope;
};

/// A face, an edge and a vertex in the order of their types.
const Blob kSample = bytes({
    3,    0,    0,    0,                    // count
    'f',  6,    0,    0,    0, 2, 0, 0, 0,  // face 7: two numbers
    5,    0,    0,    0,    6, 0, 0, 0,     //
    'e',  1,    0,    0,    0, 1, 0, 0, 0,  // edge 2: one number
    0xFF, 0xFF, 0xFF, 0xFF,                 //
    'v',  0,    0,    0,    0, 1, 0, 0, 0,  // vertex 1: one number
    0,    0,    0,    0,                    //
});

/// One entry with a given letter, index 1 and the number 9.
Blob withLetter(int letter)
{
    return bytes({1, 0, 0, 0, letter, 0, 0, 0, 0, 1, 0, 0, 0, 9, 0, 0, 0});
}

}  // namespace

TEST_F(IndexMap, IsEmptyWithoutEntries)
{
    ZemIndexMap map;
    EXPECT_TRUE(map.isEmpty());
    map.entries()[OdDbSubentId(kFace, 1)];
    EXPECT_FALSE(map.isEmpty());
}

TEST_F(IndexMap, GivesTheFirstNumberOfAPath)
{
    EXPECT_EQ(sample().getIdx(path(kFace, 7)), 5);
    EXPECT_EQ(sample().getIdx(path(kEdge, 2)), -1);
}

TEST_F(IndexMap, GivesZeroForAPathThatItDoesntKnow)
{
    EXPECT_EQ(sample().getIdx(path(kEdge, 7)), 0);
    EXPECT_EQ(ZemIndexMap().getIdx(path(kFace, 7)), 0);
}

TEST_F(IndexMap, GivesZeroForAnEntryWithoutNumbers)
{
    ZemIndexMap map;
    map.entries()[OdDbSubentId(kFace, 1)];
    EXPECT_EQ(map.getIdx(path(kFace, 1)), 0);
}

TEST_F(IndexMap, FilesLettersAndIndicesFromZero)
{
    EXPECT_EQ(filed(sample()), kSample);
    EXPECT_EQ(filed(ZemIndexMap()), bytes({0, 0, 0, 0}));
}

TEST_F(IndexMap, ReadsWhatItFiled)
{
    ZemIndexMap map;
    ASSERT_EQ(read(map, kSample), kOdOk);
    EXPECT_TRUE(map == sample());
    EXPECT_EQ(filed(map), kSample);
}

TEST_F(IndexMap, AFaceWithIndexSevenIsStoredAsLetterFAndSix)
{
    ZemIndexMap map;
    map.entries()[OdDbSubentId(kFace, 7)] = {1};
    EXPECT_EQ(filed(map), bytes({1, 0, 0, 0, 'f', 6, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}));
}

TEST_F(IndexMap, AnEntryOfTypeFourIsStoredAsLetterBAndComesBackWithoutType)
{
    ZemIndexMap map;
    map.entries()[OdDbSubentId(OdDb::SubentType::kMlineSubentCache, 1)] = {9};
    EXPECT_EQ(filed(map), withLetter('b'));
    ASSERT_EQ(read(map, filed(map)), kOdOk);
    EXPECT_EQ(map.entries().begin()->first, OdDbSubentId(OdDb::SubentType::kNullSubentType, 1));
}

TEST_F(IndexMap, LettersHaveTypesFromCToV)
{
    struct Row
    {
        int letter;
        int type;
    };
    constexpr Row kRows[] = {{'e', 2}, {'f', 1}, {'v', 3}, {'c', 5}, {'l', 4}, {'b', 0},
                             {'d', 0}, {'u', 0}, {'w', 0}, {'E', 0}, {0, 0},   {255, 0},
                             {'a', 0}, {'g', 0}, {'k', 0}, {'m', 0}};
    for (Row const& row : kRows) {
        ZemIndexMap map;
        ASSERT_EQ(read(map, withLetter(row.letter)), kOdOk);
        ASSERT_EQ(map.entries().size(), 1u);
        EXPECT_EQ(static_cast<int>(map.entries().begin()->first.type()), row.type) << row.letter;
    }
}

TEST_F(IndexMap, AnIndexKeepsItsLow32Bits)
{
    ZemIndexMap map;
    map.entries()[OdDbSubentId(kFace, (std::int64_t{5} << 32) + 3)] = {1};
    map.entries()[OdDbSubentId(kFace, std::numeric_limits<std::int64_t>::min())] = {2};
    ASSERT_EQ(read(map, filed(map)), kOdOk);
    EXPECT_EQ(map.getIdx(path(kFace, 3)), 1);
    EXPECT_EQ(map.getIdx(path(kFace, 0)), 2);
}

TEST_F(IndexMap, TheLeastStoredIndexIsExtendedWithItsSign)
{
    ZemIndexMap map;
    ASSERT_EQ(read(map, bytes({1, 0, 0, 0, 'f', 0, 0, 0, 0x80, 1, 0, 0, 0, 9, 0, 0, 0})), kOdOk);
    EXPECT_EQ(map.entries().begin()->first.index(), std::int64_t{-2147483647});
}

TEST_F(IndexMap, AStoredListWithoutNumbersAddsNoEntry)
{
    ZemIndexMap map;
    ASSERT_EQ(read(map, bytes({2,   0, 0, 0, 'f', 0,    0,    0,    0,   0, 0, 0, 0,  //
                               'e', 0, 0, 0, 0,   0xFF, 0xFF, 0xFF, 0xFF})),
              kOdOk);
    EXPECT_TRUE(map.isEmpty());
}

TEST_F(IndexMap, TheSecondOfTwoEntriesForOneIdStays)
{
    ZemIndexMap map;
    ASSERT_EQ(read(map, bytes({2,   0, 0, 0,                             //
                               'f', 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0,  //
                               'f', 0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0})),
              kOdOk);
    EXPECT_EQ(map.getIdx(path(kFace, 1)), 2);
}

TEST_F(IndexMap, RefusesAStreamCutAtEveryByteAndStaysAsItWas)
{
    for (std::size_t length = 0; length < kSample.size(); ++length) {
        ZemIndexMap map;
        map.entries()[OdDbSubentId(kVertex, 4)] = {44};
        EXPECT_EQ(read(map, Blob(kSample.begin(), kSample.begin() + static_cast<int>(length))),
                  kOdBadStream)
            << length;
        EXPECT_EQ(map.entries().size(), 1u);
        EXPECT_EQ(map.getIdx(path(kVertex, 4)), 44);
    }
}

TEST_F(IndexMap, RefusesCountsThatTheStreamCantHold)
{
    const Blob rows[] = {
        bytes({0xFF, 0xFF, 0xFF, 0x7F}),
        bytes({0xFF, 0xFF, 0xFF, 0xFF}),
        bytes({1, 0, 0, 0, 'f', 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0x7F, 1, 0, 0, 0}),
    };
    for (Blob const& row : rows) {
        ZemIndexMap map;
        EXPECT_EQ(read(map, row), kOdBadStream);
    }
}

TEST_F(IndexMap, SwappingExchangesEntriesAndTheNumberBesideThem)
{
    ZemIndexMap left = sample();
    left.setValue(8);
    ZemIndexMap right;
    left.swap(right);
    EXPECT_TRUE(left.isEmpty());
    EXPECT_EQ(left.value(), 0);
    EXPECT_TRUE(right == sample());
    EXPECT_EQ(right.value(), 8);
}
