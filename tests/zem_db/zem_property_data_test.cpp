#include "property_test_support.h"
#include "zem_property_data.h"

#include <functional>
#include <limits>
#include <memory>
#include <set>

using namespace property_test;

namespace {

class PropertyTypes : public PropertyTest
{
};
class PropertyStream : public PropertyTest
{
};
class PropertyDamage : public PropertyTest
{
};
class CreateFromDwg : public PropertyTest
{
};
class ReadFromDwg : public PropertyTest
{
};
class PropertyNodes : public PropertyTest
{
};
class PropertyDefaults : public PropertyDatabaseTest
{
};
class PropertyIds : public PropertyDatabaseTest
{
};
class PropertyNesting : public PropertyTest
{
};
class DataCreatorTest : public PropertyTest
{
};

constexpr char kTypeAssertion[] = "type == this->type()";
constexpr char kArrayAssertion[] = "type == this->type() && subType == ZemPropertyTypeInfo<T>::Id";
constexpr char kMapAssertion[] =
    "type == this->type() && keyType == ZemPropertyTypeInfo<Key>::Id && "
    "valueType == ZemPropertyTypeInfo<Value>::Id";

//--------------------------------------------------------------------------------------------------

TEST_F(PropertyTypes, HaveTheNumbersThatStreamsStore)
{
    EXPECT_EQ(ZemPropertyTypeInfo<ZemPropertyDataPtr>::Id, 1);
    EXPECT_EQ(ZemPropertyTypeInfo<OdString>::Id, 2);
    EXPECT_EQ(ZemPropertyTypeInfo<int>::Id, 3);
    EXPECT_EQ(ZemPropertyTypeInfo<double>::Id, 4);
    EXPECT_EQ(ZemPropertyTypeInfo<bool>::Id, 5);
    EXPECT_EQ(ZemPropertyTypeInfo<signed char>::Id, 6);
    EXPECT_EQ(ZemPropertyTypeInfo<OdDbHandle>::Id, 7);
    EXPECT_EQ(ZemPropertyTypeInfo<OdDbTypedId>::Id, 8);
    EXPECT_EQ(ZemPropertyTypeInfo<ZemPropertyArray<int>>::Id, 9);
    EXPECT_EQ((ZemPropertyTypeInfo<std::map<int, int>>::Id), 10);
    EXPECT_EQ(ZemPropertyTypeInfo<Blob>::Id, 11);
}

TEST_F(PropertyTypes, AreEightyAndNoTwoAreTakenForEachOther)
{
    std::set<std::uint16_t> kinds;
    int count = 0;
    forEachValueType([&]<class T> {
        kinds.insert(ZemPropertyTypeInfo<T>::Kind);
        ++count;
        EXPECT_EQ(stored(T())->type(), ZemPropertyTypeInfo<T>::Id) << typeName<T>();
    });
    EXPECT_EQ(count, 80);
    EXPECT_EQ(kinds.size(), 80U);
}

TEST_F(PropertyTypes, ArraysUseTheAllocatorOfTheirElement)
{
    EXPECT_TRUE((std::is_same_v<ZemPropertyArray<OdString>,
                                OdArray<OdString, OdObjectsAllocator<OdString>>>));
    EXPECT_TRUE((std::is_same_v<ZemPropertyArray<OdDbHandle>,
                                OdArray<OdDbHandle, OdObjectsAllocator<OdDbHandle>>>));
    EXPECT_TRUE((std::is_same_v<ZemPropertyArray<Blob>, OdArray<Blob, OdObjectsAllocator<Blob>>>));
    EXPECT_TRUE(
        (std::is_same_v<NestedArray,
                        OdArray<ZemPropertyDataPtr, OdObjectsAllocator<ZemPropertyDataPtr>>>));
    EXPECT_TRUE((std::is_same_v<ZemPropertyArray<int>, OdArray<int, OdMemoryAllocator<int>>>));
    EXPECT_TRUE(
        (std::is_same_v<ZemPropertyArray<double>, OdArray<double, OdMemoryAllocator<double>>>));
    EXPECT_TRUE((std::is_same_v<ZemPropertyArray<bool>, OdArray<bool, OdMemoryAllocator<bool>>>));
    EXPECT_TRUE((std::is_same_v<ZemPropertyArray<signed char>,
                                OdArray<signed char, OdMemoryAllocator<signed char>>>));
    EXPECT_TRUE((std::is_same_v<ZemPropertyArray<OdDbTypedId>,
                                OdArray<OdDbTypedId, OdMemoryAllocator<OdDbTypedId>>>));
}

TEST_F(PropertyTypes, TextKeysAreInOrderOfTheirCharacterNumbers)
{
    // "Z" < "a" < U+FFFD < U+1F600; another order than without case, or than by UTF-16 units.
    const std::map<OdString, int> map{{L"\x1F600", 3}, {L"\xFFFD", 2}, {L"a", 1}, {L"Z", 0}};
    int expected = 0;
    for (auto const& [key, value] : map) {
        EXPECT_EQ(value, expected++) << testing::PrintToString(key);
    }
}

TEST_F(PropertyTypes, HandleKeysAreInOrderOfUnsignedNumbers)
{
    const std::map<OdDbHandle, int> map{{OdDbHandle(0x8000000000000000U), 1}, {OdDbHandle(1), 0}};
    EXPECT_EQ(map.begin()->second, 0);
}

TEST_F(PropertyTypes, CopyingAPointerSharesTheNode)
{
    const ZemPropertyDataPtr first = stored<int>(1);
    const ZemPropertyDataPtr second = first;
    EXPECT_TRUE(second->set<int>(2));
    int value = 0;
    EXPECT_TRUE(first->get(value));
    EXPECT_EQ(value, 2);
    EXPECT_EQ(first.useCount(), 2);
}

//--------------------------------------------------------------------------------------------------

struct GoldenValue
{
    const char* name;
    ZemPropertyDataPtr node;
    Blob expected;
};

std::vector<GoldenValue> goldenValues()
{
    ZemPropertyArray<OdString> texts;
    texts.append(L"A");
    texts.append(OdString());
    ZemPropertyArray<bool> flags;
    flags.append(true);
    flags.append(false);
    ZemPropertyArray<signed char> small;
    small.append(-1);
    ZemPropertyArray<OdDbHandle> handles;
    handles.append(OdDbHandle(0x1122334455667788U));
    ZemPropertyArray<OdDbTypedId> ids;
    ids.append(OdDbTypedId(OdDbObjectId::kNull, kHardPointer));
    ids.append(OdDbTypedId(OdDbObjectId::kNull, kSoftOwner));
    ZemPropertyArray<Blob> blobs;
    blobs.append(bytes({0xFF}));
    ZemPropertyArray<int> numbers;
    numbers.append(1);
    numbers.append(-2);
    ZemPropertyArray<double> reals;
    reals.append(1.0);
    NestedArray nested;
    nested.append(stored<bool>(true));
    nested.append(stored<OdString>(L"B"));
    return {
        {"empty text", stored(OdString()), bytes({2, 0, 0})},
        {"text outside of ASCII", stored<OdString>(L"\x00E4\x20AC"),
         bytes({2, 5, 0, 0xC3, 0xA4, 0xE2, 0x82, 0xAC})},
        {"int", stored<int>(-2), bytes({3, 0xFE, 0xFF, 0xFF, 0xFF})},
        {"double", stored<double>(1.5), bytes({4, 0, 0, 0, 0, 0, 0, 0xF8, 0x3F})},
        {"true", stored<bool>(true), bytes({5, 1})},
        {"false", stored<bool>(false), bytes({5, 0})},
        {"signed char", stored<signed char>(-128), bytes({6, 0x80})},
        {"handle, most significant byte first", stored(OdDbHandle(0x1122334455667788U)),
         bytes({7, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88})},
        {"id, its kind of reference alone", stored(OdDbTypedId(OdDbObjectId::kNull, kHardOwner)),
         bytes({8, 3})},
        {"empty blob", stored(Blob()), bytes({11, 0, 0, 0, 0})},
        {"blob", stored(bytes({0, 0xFF})), bytes({11, 2, 0, 0, 0, 0, 0xFF})},
        {"empty array", stored(ZemPropertyArray<int>()), bytes({9, 3, 0, 0, 0, 0})},
        {"array of nested values", stored(nested), bytes({9, 1, 2, 0, 0, 0, 5, 1, 2, 1, 0, 0x42})},
        {"array of texts", stored(texts), bytes({9, 2, 2, 0, 0, 0, 1, 0, 0x41, 0, 0})},
        {"array of ints", stored(numbers),
         bytes({9, 3, 2, 0, 0, 0, 1, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF})},
        {"array of doubles", stored(reals),
         bytes({9, 4, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F})},
        {"array of bools", stored(flags), bytes({9, 5, 2, 0, 0, 0, 1, 0})},
        {"array of signed chars", stored(small), bytes({9, 6, 1, 0, 0, 0, 0xFF})},
        {"array of handles", stored(handles),
         bytes({9, 7, 1, 0, 0, 0, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88})},
        {"array of ids", stored(ids), bytes({9, 8, 2, 0, 0, 0, 1, 2})},
        {"array of blobs", stored(blobs), bytes({9, 11, 1, 0, 0, 0, 1, 0, 0, 0, 0xFF})},
        {"empty map", stored(std::map<int, bool>()), bytes({10, 3, 5, 0, 0, 0, 0})},
        {"map in order of keys", stored(MapOf<signed char>{{L"b", 2}, {L"a", 1}}),
         bytes({10, 2, 6, 2, 0, 0, 0, 1, 0, 0x61, 1, 1, 0, 0x62, 2})},
        {"map to blobs", stored(std::map<bool, Blob>{{true, bytes({7})}}),
         bytes({10, 5, 11, 1, 0, 0, 0, 1, 1, 0, 0, 0, 7})},
        {"map to nested values",
         stored(std::map<signed char, ZemPropertyDataPtr>{
             {static_cast<signed char>(4), stored<bool>(true)}}),
         bytes({10, 6, 1, 1, 0, 0, 0, 4, 5, 1})},
        {"map from text to int", stored(MapOf<int>{{L"k", -2}}),
         bytes({10, 2, 3, 1, 0, 0, 0, 1, 0, 0x6B, 0xFE, 0xFF, 0xFF, 0xFF})},
        {"map from int to text, in order of signed numbers",
         stored(std::map<int, OdString>{{1, L"b"}, {-1, L"a"}}),
         bytes({10, 3, 2, 2, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 0x61, 1, 0, 0, 0, 1, 0, 0x62})},
        {"map from double to handle",
         stored(std::map<double, OdDbHandle>{{1.5, OdDbHandle(0x1122)}}),
         bytes({10, 4, 7, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xF8, 0x3F, 0, 0, 0, 0, 0, 0, 0x11, 0x22})},
        {"map from bool to id, its kind of reference alone",
         stored(std::map<bool, OdDbTypedId>{{false, OdDbTypedId(OdDbObjectId::kNull, kSoftOwner)}}),
         bytes({10, 5, 8, 1, 0, 0, 0, 0, 2})},
        {"map with handles as keys", stored(std::map<OdDbHandle, bool>{{OdDbHandle(0x1A), true}}),
         bytes({10, 7, 5, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x1A, 1})},
        {"map from id to double",
         stored(
             std::map<OdDbTypedId, double>{{OdDbTypedId(OdDbObjectId::kNull, kHardPointer), 2.0}}),
         bytes({10, 8, 4, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0x40})},
    };
}

TEST_F(PropertyStream, WritesTheGoldenBytes)
{
    for (GoldenValue const& golden : goldenValues()) {
        EXPECT_EQ(flatten(*golden.node), golden.expected) << golden.name;
    }
}

TEST_F(PropertyStream, ReadsTheGoldenBytes)
{
    for (GoldenValue const& golden : goldenValues()) {
        EXPECT_TRUE(isSame(createFrom(golden.expected), golden.node)) << golden.name;
    }
}

TEST_F(PropertyStream, EveryTypeIsTheSameAfterWritingAndReading)
{
    forEachValueType([&]<class T> {
        for (int number = 0; number < 4; ++number) {
            const ZemPropertyDataPtr node = stored(sample<T>(number));
            const Blob written = flatten(*node);
            const ZemPropertyDataPtr read = createFrom(written);
            ASSERT_FALSE(read.isNull()) << typeName<T>();
            EXPECT_TRUE(isSame(read, node)) << typeName<T>();
            EXPECT_EQ(flatten(*read), written) << typeName<T>();
            EXPECT_FALSE(read->isMapped()) << typeName<T>();
        }
    });
}

TEST_F(PropertyStream, EveryTypeStartsWithItsTypeIds)
{
    forEachValueType([&]<class T> {
        using Info = ZemPropertyTypeInfo<T>;
        const Blob written = flatten(*stored(T()));
        EXPECT_EQ(written.at(0), Info::Id) << typeName<T>();
        if (Info::FirstId != 0) {
            EXPECT_EQ(written.at(1), Info::FirstId) << typeName<T>();
        }
        if (Info::SecondId != 0) {
            EXPECT_EQ(written.at(2), Info::SecondId) << typeName<T>();
        }
    });
}

TEST_F(PropertyStream, TheStaticCodecsFileAValueWithoutItsTypeId)
{
    const Blob written = flattenBy([](OdDbDwgFiler* filer) {
        ZemPropertyConcreteData<signed char>::writeDataToDwg(filer, 5, 0);
        ZemPropertyConcreteData<ZemPropertyDataPtr>::writeDataToDwg(filer, stored<bool>(true), 0);
    });
    EXPECT_EQ(written, bytes({5, 5, 1}));
    FlatReader filer(written);
    signed char number = 0;
    EXPECT_TRUE(ZemPropertyConcreteData<signed char>::readDataFromDwg(&filer, number, 0));
    EXPECT_EQ(number, 5);
    ZemPropertyDataPtr node;
    EXPECT_TRUE(ZemPropertyConcreteData<ZemPropertyDataPtr>::readDataFromDwg(&filer, node, 0));
    EXPECT_TRUE(isSame(node, stored<bool>(true)));
}

//--------------------------------------------------------------------------------------------------

/// Reads a value; whatever the bytes are, it is there, refused or broken off with a bad stream.
bool readsWhole(Blob const& data)
{
    ZemPropertyDataPtr node;
    const OdResult thrown = thrownCode([&] { node = createFrom(data); });
    EXPECT_TRUE(thrown == kOdOk || thrown == kOdBadStream) << thrown;
    return !node.isNull();
}

TEST_F(PropertyDamage, EveryTypeRefusesAStreamCutAtAnyLength)
{
    forEachValueType([&]<class T> {
        const Blob whole = flatten(*stored(sample<T>(1)));
        for (std::size_t length = 0; length < whole.size(); ++length) {
            const Blob cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            EXPECT_FALSE(readsWhole(cut)) << typeName<T>() << " cut at " << length;
        }
        EXPECT_TRUE(readsWhole(whole)) << typeName<T>();
    });
}

TEST_F(PropertyDamage, EveryTypeSurvivesEveryFlippedBit)
{
    forEachValueType([&]<class T> {
        const Blob whole = flatten(*stored(sample<T>(1)));
        for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
            Blob damaged = whole;
            damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
            readsWhole(damaged);
        }
    });
}

struct CountCase
{
    const char* name;
    Blob data;
    bool isRead;
};

TEST_F(PropertyDamage, CountsThatCannotBeAreRefusedBeforeAnythingIsAllocated)
{
    const CountCase kCases[] = {
        {"array of -1", bytes({9, 5, 0xFF, 0xFF, 0xFF, 0xFF, 1}), false},
        {"array of two billion", bytes({9, 5, 0xFF, 0xFF, 0xFF, 0x7F, 1}), false},
        {"array of one more than there is", bytes({9, 5, 2, 0, 0, 0, 1}), false},
        {"array of nothing with nothing left", bytes({9, 5, 0, 0, 0, 0}), true},
        {"array of two billion ids", bytes({9, 8, 0xFF, 0xFF, 0xFF, 0x7F, 1}), false},
        {"array of two billion blobs", bytes({9, 11, 0xFF, 0xFF, 0xFF, 0x7F, 1, 1}), false},
        {"nested values that take two bytes each", bytes({9, 1, 2, 0, 0, 0, 5, 1, 5}), false},
        {"blob of -1", bytes({11, 0xFF, 0xFF, 0xFF, 0xFF, 1}), false},
        {"blob of two billion", bytes({11, 0xFF, 0xFF, 0xFF, 0x7F, 1}), false},
        {"blob of one more than there is", bytes({11, 2, 0, 0, 0, 1}), false},
        {"map of -1 is empty", bytes({10, 3, 5, 0xFF, 0xFF, 0xFF, 0xFF}), true},
        {"map of the least number is empty", bytes({10, 3, 5, 0, 0, 0, 0x80}), true},
    };
    for (CountCase const& row : kCases) {
        ZemPropertyDataPtr node;
        EXPECT_EQ(thrownCode([&] { node = createFrom(row.data); }), kOdOk) << row.name;
        EXPECT_EQ(!node.isNull(), row.isRead) << row.name;
    }
}

TEST_F(PropertyDamage, OfACountOfAMapEndsWithTheStream)
{
    for (Blob const& data :
         {bytes({10, 5, 5, 0xFF, 0xFF, 0xFF, 0x7F, 1, 1}), bytes({10, 5, 5, 2, 0, 0, 0, 1, 1})}) {
        EXPECT_EQ(thrownCode([&] { (void)createFrom(data); }), kOdBadStream);
    }
}

TEST_F(PropertyDamage, NestedArraysMayNotAllClaimTheSameBytes)
{
    // Each level claims all that is left behind its header; only the outermost may have it.
    Blob data = bytes({9, 1});
    const auto appendCount = [&data](std::uint32_t count) {
        for (int shift = 0; shift < 32; shift += 8) {
            data.push_back(static_cast<char>(count >> shift));
        }
    };
    appendCount(500);
    data = data + bytes({9, 1});
    appendCount(400);
    data.resize(data.size() + 1000, 0);
    FlatReader filer(data);
    EXPECT_TRUE(ZemPropertyData::createFromDwg(&filer, 0).isNull());
    EXPECT_EQ(filer.tell(), 12U) << "the inner count alone must be enough to refuse";
}

TEST_F(PropertyDamage, TheFilerWithoutAnEndBreaksOffByItself)
{
    class Endless : public FlatReader
    {
    public:
        using FlatReader::FlatReader;
        std::uint64_t bytesLeft() const override { return kUnlimited; }
    };
    // Room for any of the counts would be two billion elements.
    for (Blob const& data :
         {bytes({11, 4, 0, 0, 0, 1}), bytes({11, 0xFF, 0xFF, 0xFF, 0x7F, 1}),
          bytes({9, 4, 0xFF, 0xFF, 0xFF, 0x7F, 1}), bytes({9, 1, 0xFF, 0xFF, 0xFF, 0x7F, 5, 1}),
          bytes({9, 11, 0xFF, 0xFF, 0xFF, 0x7F, 1})}) {
        Endless filer(data);
        EXPECT_EQ(thrownCode([&] { (void)ZemPropertyData::createFromDwg(&filer, 0); }),
                  kOdBadStream);
    }
    ZemPropertyArray<int> numbers;
    for (int i = 0; i < 10000; ++i) {
        numbers.append(i);
    }
    Endless whole(flatten(*stored(numbers)));
    EXPECT_TRUE(isSame(ZemPropertyData::createFromDwg(&whole, 0), stored(numbers)));
    const Blob blob(200000, 'x');
    Endless wholeBlob(flatten(*stored(blob)));
    EXPECT_TRUE(isSame(ZemPropertyData::createFromDwg(&wholeBlob, 0), stored(blob)));
}

TEST_F(PropertyDamage, TextOfNegativeLengthIsABadStream)
{
    EXPECT_EQ(thrownCode([] { (void)createFrom(bytes({2, 0xFF, 0xFF, 1})); }), kOdBadStream);
}

TEST_F(PropertyDamage, ReferenceKindOutsideOfTheFourIsRefused)
{
    for (const int kind : {4, 5, 127, 128, 255}) {
        EXPECT_TRUE(createFrom(bytes({8, kind})).isNull()) << kind;
        EXPECT_TRUE(createFrom(bytes({9, 8, 1, 0, 0, 0, kind})).isNull()) << kind;
    }
    for (const int kind : {0, 1, 2, 3}) {
        EXPECT_FALSE(createFrom(bytes({8, kind})).isNull()) << kind;
    }
}

//--------------------------------------------------------------------------------------------------

TEST_F(CreateFromDwg, GivesNullForTypesThatNoValueHas)
{
    const Blob rest(64, 0);
    for (int type = 0; type < 256; ++type) {
        const bool isType = type >= 2 && type <= 11 && type != 9 && type != 10;
        if (type == 9 || type == 10) {
            continue;
        }
        EXPECT_EQ(createFrom(bytes({type}) + rest).isNull(), !isType) << type;
    }
}

TEST_F(CreateFromDwg, GivesNullForElementsThatNoArrayHas)
{
    const Blob rest(64, 0);
    for (int element = 0; element < 256; ++element) {
        const bool isElement = (element >= 1 && element <= 8) || element == 11;
        EXPECT_EQ(createFrom(bytes({9, element}) + rest).isNull(), !isElement) << element;
    }
}

TEST_F(CreateFromDwg, GivesNullForKeysAndValuesThatNoMapHas)
{
    const Blob rest(64, 0);
    for (int key = 0; key < 256; ++key) {
        for (const int value : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 127, 128, 255}) {
            const bool isMap = key >= 2 && key <= 8 && ((value >= 1 && value <= 8) || value == 11);
            EXPECT_EQ(createFrom(bytes({10, key, value}) + rest).isNull(), !isMap)
                << key << ", " << value;
        }
    }
}

TEST_F(CreateFromDwg, ReadsBothTypesOfAMapBeforeItRefusesTheKey)
{
    FlatReader filer(bytes({10, 9, 3, 42}));
    EXPECT_TRUE(ZemPropertyData::createFromDwg(&filer, 0).isNull());
    EXPECT_EQ(filer.tell(), 3U);
}

TEST_F(CreateFromDwg, GivesNullForMalformedContent)
{
    EXPECT_TRUE(createFrom(bytes({8, 9})).isNull());
    EXPECT_TRUE(createFrom(bytes({9, 1, 1, 0, 0, 0, 0, 0})).isNull());
    EXPECT_TRUE(createFrom(bytes({10, 5, 1, 1, 0, 0, 0, 1, 12, 0})).isNull());
    EXPECT_TRUE(createFrom(bytes({10, 8, 5, 1, 0, 0, 0, 7, 1})).isNull());
}

//--------------------------------------------------------------------------------------------------

struct HeaderCase
{
    const char* name;
    Blob data;
    bool isRead;
    bool isReported;
};

TEST_F(ReadFromDwg, OfAScalarRefusesEveryOtherType)
{
    const auto node = stored<int>(7);
    FlatReader filer(bytes({4, 1, 0, 0, 0}));
    EXPECT_FALSE(node->readFromDwg(&filer, 0));
    EXPECT_EQ(m_assertions.expressions, std::vector<std::string>{kTypeAssertion});
    EXPECT_NE(m_assertions.files.at(0).find("zem_property_data.cpp"), std::string::npos);
    EXPECT_TRUE(isSame(node, stored<int>(7)));
    EXPECT_EQ(filer.tell(), 1U);
}

TEST_F(ReadFromDwg, OfAScalarTakesItsOwnType)
{
    const auto node = stored<int>(7);
    FlatReader filer(bytes({3, 1, 0, 0, 0}));
    EXPECT_TRUE(node->readFromDwg(&filer, 0));
    EXPECT_TRUE(isSame(node, stored<int>(1)));
    EXPECT_TRUE(m_assertions.expressions.empty());
}

TEST_F(ReadFromDwg, OfAnArrayRefusesOnlyAnotherTypeWithItsElement)
{
    const HeaderCase kCases[] = {
        {"both match", bytes({9, 6, 1, 0, 0, 0, 5}), true, false},
        {"another type, same element", bytes({10, 6, 1, 0, 0, 0, 5}), false, true},
        {"same type, another element", bytes({9, 5, 1, 0, 0, 0, 5}), true, true},
        {"both differ", bytes({2, 5, 1, 0, 0, 0, 5}), true, true},
    };
    for (HeaderCase const& row : kCases) {
        AssertionLog assertions;
        const auto node = stored(ZemPropertyArray<signed char>());
        FlatReader filer(row.data);
        EXPECT_EQ(node->readFromDwg(&filer, 0), row.isRead) << row.name;
        const std::vector<std::string> expected(row.isReported ? 1 : 0, kArrayAssertion);
        EXPECT_EQ(assertions.expressions, expected) << row.name;
        ZemPropertyArray<signed char> value;
        EXPECT_TRUE(node->get(value));
        EXPECT_EQ(value.size(), row.isRead ? 1U : 0U) << row.name;
    }
}

TEST_F(ReadFromDwg, OfAMapRefusesOnlyAnotherTypeWithItsKeyAndValue)
{
    const HeaderCase kCases[] = {
        {"all match", bytes({10, 6, 5, 1, 0, 0, 0, 3, 1}), true, false},
        {"another type alone", bytes({9, 6, 5, 1, 0, 0, 0, 3, 1}), false, true},
        {"another key", bytes({10, 5, 5, 1, 0, 0, 0, 3, 1}), true, true},
        {"another value", bytes({10, 6, 6, 1, 0, 0, 0, 3, 1}), true, true},
        {"another type and key", bytes({9, 5, 5, 1, 0, 0, 0, 3, 1}), true, true},
        {"another type and value", bytes({9, 6, 6, 1, 0, 0, 0, 3, 1}), true, true},
        {"another key and value", bytes({10, 5, 6, 1, 0, 0, 0, 3, 1}), true, true},
        {"all differ", bytes({9, 5, 6, 1, 0, 0, 0, 3, 1}), true, true},
    };
    for (HeaderCase const& row : kCases) {
        AssertionLog assertions;
        const auto node = stored(std::map<signed char, bool>());
        FlatReader filer(row.data);
        EXPECT_EQ(node->readFromDwg(&filer, 0), row.isRead) << row.name;
        const std::vector<std::string> expected(row.isReported ? 1 : 0, kMapAssertion);
        EXPECT_EQ(assertions.expressions, expected) << row.name;
        std::map<signed char, bool> value;
        EXPECT_TRUE(node->get(value));
        EXPECT_EQ(value.size(), row.isRead ? 1U : 0U) << row.name;
    }
}

TEST_F(ReadFromDwg, AfterAHeaderMismatchNeverReadsOutOfBounds)
{
    // Texts are taken for doubles here, and the other way round.
    const Blob texts = flatten(*stored(sample<ZemPropertyArray<OdString>>()));
    const Blob reals = flatten(*stored(sample<ZemPropertyArray<double>>()));
    for (int i = 0; i < 2; ++i) {
        const auto node =
            i == 0 ? stored(ZemPropertyArray<double>()) : stored(ZemPropertyArray<OdString>());
        FlatReader filer(i == 0 ? texts : reals);
        bool isRead = false;
        const OdResult thrown = thrownCode([&] { isRead = node->readFromDwg(&filer, 0); });
        EXPECT_TRUE(isRead || thrown == kOdBadStream || thrown == kOdOk);
    }
}

TEST_F(ReadFromDwg, IntoAMapKeepsEntriesThatTheStreamLacks)
{
    const auto node = stored(std::map<signed char, bool>{{1, false}, {2, false}});
    FlatReader filer(bytes({10, 6, 5, 2, 0, 0, 0, 2, 1, 3, 1}));
    EXPECT_TRUE(node->readFromDwg(&filer, 0));
    std::map<signed char, bool> value;
    EXPECT_TRUE(node->get(value));
    EXPECT_EQ(value, (std::map<signed char, bool>{{1, false}, {2, true}, {3, true}}));
}

TEST_F(ReadFromDwg, OfAMapLetsTheLastOfEqualKeysWin)
{
    const auto node = createFrom(bytes({10, 6, 6, 3, 0, 0, 0, 5, 1, 4, 2, 5, 3}));
    ASSERT_FALSE(node.isNull());
    std::map<signed char, signed char> value;
    EXPECT_TRUE(node->get(value));
    EXPECT_EQ(value, (std::map<signed char, signed char>{{4, 2}, {5, 3}}));
}

TEST_F(ReadFromDwg, OfAnArrayReplacesItsElements)
{
    const auto node = stored(sample<ZemPropertyArray<OdString>>());
    FlatReader filer(bytes({9, 2, 1, 0, 0, 0, 1, 0, 0x41}));
    EXPECT_TRUE(node->readFromDwg(&filer, 0));
    ZemPropertyArray<OdString> expected;
    expected.append(L"A");
    EXPECT_TRUE(isSame(node, stored(expected)));
}

TEST_F(ReadFromDwg, TellsTheBoundObjectAlsoOfAFailedRead)
{
    int calls = 0;
    const ZemPropertyDataMappingGetterSetter<OdDbTypedId> constNode(
        [] { return OdDbTypedId(); }, [&calls](OdDbTypedId) { ++calls; });
    auto& node = const_cast<ZemPropertyDataMappingGetterSetter<OdDbTypedId>&>(constNode);
    FlatReader filer(bytes({8, 77}));
    EXPECT_FALSE(node.readFromDwg(&filer, 0));
    EXPECT_EQ(calls, 1);
}

TEST_F(ReadFromDwg, WithoutElementsLeavesTheValueOfTheGetter)
{
    using Map = std::map<OdDbTypedId, bool>;
    Map map = sample<Map>();
    ZemPropertyDataMappingGetterSetter<Map> mapNode([&] { return map; },
                                                    [&](Map value) { map = std::move(value); });
    FlatReader noEntries(bytes({10, 8, 5, 0, 0, 0, 0}));
    EXPECT_TRUE(mapNode.readFromDwg(&noEntries, 0));
    EXPECT_TRUE(isSame(map, sample<Map>()));

    using Array = ZemPropertyArray<int>;
    Array array = sample<Array>();
    ZemPropertyDataMappingGetterSetter<Array> arrayNode(
        [&] { return array; }, [&](Array value) { array = std::move(value); });
    FlatReader negative(bytes({9, 3, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_FALSE(arrayNode.readFromDwg(&negative, 0));
    EXPECT_TRUE(isSame(array, sample<Array>()));
}

TEST_F(ReadFromDwg, DoesNotTellTheBoundObjectOfAnotherType)
{
    int calls = 0;
    ZemPropertyDataMappingGetterSetter<int> node([] { return 0; }, [&calls](int) { ++calls; });
    FlatReader filer(bytes({2, 0, 0}));
    EXPECT_FALSE(node.readFromDwg(&filer, 0));
    EXPECT_EQ(calls, 0);
}

//--------------------------------------------------------------------------------------------------

TEST_F(PropertyNodes, StoredValueHasNoBinding)
{
    forEachValueType([&]<class T> {
        ZemPropertyDataContainer<T> node(sample<T>(1));
        EXPECT_FALSE(node.isMapped()) << typeName<T>();
        EXPECT_TRUE(node.isOutOfDate()) << typeName<T>();
        EXPECT_FALSE(node.reset()) << typeName<T>();
        node.updateMapped();
        EXPECT_EQ(&node.setData(), &node.getData()) << typeName<T>();
    });
}

TEST_F(PropertyNodes, VariableIsTheValueOfItsNode)
{
    forEachType(BoundTypes(), [&]<class T> {
        T variable = sample<T>(0);
        ZemPropertyDataMapping<T> node(&variable);
        EXPECT_TRUE(node.isMapped()) << typeName<T>();
        EXPECT_TRUE(node.isOutOfDate()) << typeName<T>();
        EXPECT_EQ(&node.getData(), &variable) << typeName<T>();
        EXPECT_EQ(&node.setData(), &variable) << typeName<T>();
        EXPECT_TRUE(node.set(sample<T>(1))) << typeName<T>();
        EXPECT_TRUE(isSame(variable, sample<T>(1))) << typeName<T>();
    });
}

TEST_F(PropertyNodes, ResetOfAVariableWithoutDefaultAnswersFalseAndLeavesIt)
{
    int variable = 5;
    ZemPropertyDataMapping<int> node(&variable);
    EXPECT_FALSE(node.reset());
    EXPECT_EQ(variable, 5);
}

TEST_F(PropertyNodes, VariableWithDefaultIsResetToIt)
{
    forEachType(BoundTypes(), [&]<class T> {
        T variable = sample<T>(0);
        ZemPropertyDataMappingWithDefault<T> node(&variable, sample<T>(1));
        EXPECT_TRUE(node.isMapped()) << typeName<T>();
        EXPECT_TRUE(isSame(variable, sample<T>(0))) << typeName<T>();
        EXPECT_EQ(&node.getData(), &variable) << typeName<T>();
        EXPECT_EQ(&node.setData(), &variable) << typeName<T>();
        EXPECT_TRUE(node.reset()) << typeName<T>();
        EXPECT_TRUE(isSame(variable, sample<T>(1))) << typeName<T>();
        EXPECT_FALSE(node.isOutOfDate()) << typeName<T>();
    });
}

/// An object with a getter and a setter that count their calls.
template <class T>
struct Holder
{
    T value{};
    int gets = 0;
    int sets = 0;

    std::function<T()> getter()
    {
        return [this] {
            ++gets;
            return value;
        };
    }
    std::function<void(T)> setter()
    {
        return [this](T newValue) {
            ++sets;
            value = newValue;
        };
    }
};

TEST_F(PropertyNodes, GetterAndSetterWorkThroughACache)
{
    forEachType(BoundTypes(), [&]<class T> {
        Holder<T> holder{sample<T>(0)};
        ZemPropertyDataMappingGetterSetter<T> node(holder.getter(), holder.setter());
        EXPECT_TRUE(node.isMapped()) << typeName<T>();
        EXPECT_TRUE(node.isOutOfDate()) << typeName<T>();
        EXPECT_FALSE(node.reset()) << typeName<T>();
        EXPECT_EQ(holder.gets + holder.sets, 0) << typeName<T>();
        EXPECT_TRUE(isSame(node.getData(), sample<T>(0))) << typeName<T>();
        EXPECT_EQ(holder.gets, 1) << typeName<T>();
        T& cache = node.setData();
        EXPECT_EQ(holder.gets, 2) << typeName<T>();
        EXPECT_TRUE(isSame(cache, sample<T>(0))) << typeName<T>();
        cache = sample<T>(1);
        EXPECT_TRUE(isSame(holder.value, sample<T>(0))) << typeName<T>();
        node.updateMapped();
        EXPECT_TRUE(isSame(holder.value, sample<T>(1))) << typeName<T>();
        EXPECT_EQ(holder.sets, 1) << typeName<T>();
        EXPECT_EQ(holder.gets, 2) << typeName<T>();
    });
}

TEST_F(PropertyNodes, GetterAndSetterWithDefaultAreResetThroughTheSetter)
{
    forEachType(BoundTypes(), [&]<class T> {
        Holder<T> holder{sample<T>(0)};
        ZemPropertyDataMappingGetterSetterWithDefault<T> node(holder.getter(), holder.setter(),
                                                              sample<T>(1));
        EXPECT_TRUE(node.isMapped()) << typeName<T>();
        EXPECT_EQ(holder.gets + holder.sets, 0) << typeName<T>();
        EXPECT_TRUE(node.reset()) << typeName<T>();
        EXPECT_EQ(holder.sets, 1) << typeName<T>();
        EXPECT_TRUE(isSame(holder.value, sample<T>(1))) << typeName<T>();
        EXPECT_FALSE(node.isOutOfDate()) << typeName<T>();
        EXPECT_TRUE(node.set(sample<T>(2))) << typeName<T>();
        EXPECT_TRUE(isSame(holder.value, sample<T>(2))) << typeName<T>();
        EXPECT_TRUE(isSame(node.getData(), sample<T>(2))) << typeName<T>();
    });
}

TEST_F(PropertyNodes, EmptyGetterThrowsWhenItIsNeeded)
{
    ZemPropertyDataMappingGetterSetter<int> node(nullptr, [](int) {});
    ZemPropertyDataMappingGetterSetterWithDefault<int> withDefault(
        nullptr, [](int) {}, 1);
    EXPECT_THROW((void)node.getData(), std::bad_function_call);
    EXPECT_THROW((void)node.setData(), std::bad_function_call);
    EXPECT_THROW((void)withDefault.getData(), std::bad_function_call);
    EXPECT_THROW((void)withDefault.setData(), std::bad_function_call);
    EXPECT_THROW((void)withDefault.isOutOfDate(), std::bad_function_call);
    EXPECT_NO_THROW(node.updateMapped());
    EXPECT_NO_THROW((void)node.isOutOfDate());
    EXPECT_NO_THROW((void)withDefault.reset());
}

TEST_F(PropertyNodes, EmptySetterThrowsWhenItIsNeeded)
{
    ZemPropertyDataMappingGetterSetter<int> node([] { return 0; }, nullptr);
    ZemPropertyDataMappingGetterSetterWithDefault<int> withDefault([] { return 0; }, nullptr, 1);
    EXPECT_THROW(node.updateMapped(), std::bad_function_call);
    EXPECT_THROW(withDefault.updateMapped(), std::bad_function_call);
    EXPECT_THROW((void)withDefault.reset(), std::bad_function_call);
    EXPECT_FALSE(node.reset());
    EXPECT_NO_THROW((void)node.getData());
    EXPECT_NO_THROW((void)withDefault.isOutOfDate());
}

TEST_F(PropertyNodes, GetOfAnotherTypeAnswersFalseAndLeavesTheOutputAlone)
{
    const auto node = stored<int>(5);
    double real = 1.5;
    EXPECT_FALSE(node->get<double>(real));
    EXPECT_EQ(real, 1.5);
    bool flag = true;
    EXPECT_FALSE(node->get(flag));
    signed char small = 3;
    EXPECT_FALSE(node->get(small));
    OdString text(L"kept");
    EXPECT_FALSE(node->get(text));
    EXPECT_EQ(text, L"kept");
    OdDbTypedId id(OdDbObjectId::kNull, kHardOwner);
    EXPECT_FALSE(node->get(id));
    EXPECT_EQ(id.type, kHardOwner);
    int number = 0;
    EXPECT_TRUE(node->get(number));
    EXPECT_EQ(number, 5);
}

TEST_F(PropertyNodes, SetOfAnotherTypeAnswersFalseAndChangesNothing)
{
    const auto node = stored<int>(5);
    EXPECT_FALSE(node->set<double>(2.0));
    EXPECT_FALSE(node->set<bool>(true));
    EXPECT_FALSE(node->set<signed char>(1));
    EXPECT_FALSE(node->set<OdString>(L"x"));
    EXPECT_FALSE(node->set(OdDbTypedId()));
    EXPECT_TRUE(isSame(node, stored<int>(5)));
    EXPECT_TRUE(node->set<int>(6));
    EXPECT_TRUE(isSame(node, stored<int>(6)));
}

TEST_F(PropertyNodes, GetAndSetTellArraysOfDifferentElementsApart)
{
    const auto node = stored(sample<ZemPropertyArray<double>>());
    ZemPropertyArray<int> numbers;
    EXPECT_FALSE(node->get(numbers));
    EXPECT_FALSE(node->set(numbers));
    const auto map = stored(std::map<int, int>());
    std::map<int, bool> other;
    EXPECT_FALSE(map->get(other));
}

TEST_F(PropertyNodes, SetTellsTheBoundObject)
{
    Holder<int> holder;
    ZemPropertyDataMappingGetterSetter<int> node(holder.getter(), holder.setter());
    EXPECT_TRUE(node.set(4));
    EXPECT_EQ(holder.value, 4);
}

TEST_F(PropertyNodes, CopyDataTakesAValueOfTheSameType)
{
    forEachValueType([&]<class T> {
        const auto target = stored(T());
        EXPECT_TRUE(target->copyData(stored(sample<T>(1)))) << typeName<T>();
        EXPECT_TRUE(isSame(target, stored(sample<T>(1)))) << typeName<T>();
    });
}

TEST_F(PropertyNodes, CopyDataRefusesAnotherTypeAndNull)
{
    const auto target = stored<int>(5);
    EXPECT_FALSE(target->copyData(stored<double>(1.0)));
    EXPECT_FALSE(target->copyData(ZemPropertyDataPtr()));
    EXPECT_TRUE(isSame(target, stored<int>(5)));
    const auto array = stored(sample<ZemPropertyArray<int>>());
    EXPECT_FALSE(array->copyData(stored(sample<ZemPropertyArray<double>>())));
    EXPECT_TRUE(isSame(array, stored(sample<ZemPropertyArray<int>>())));
}

TEST_F(PropertyNodes, CopyDataTellsTheBoundObject)
{
    Holder<OdString> holder;
    ZemPropertyDataMappingGetterSetter<OdString> node(holder.getter(), holder.setter());
    EXPECT_TRUE(node.copyData(stored<OdString>(L"new")));
    EXPECT_EQ(holder.value, L"new");
}

TEST_F(PropertyNodes, CopyDataSharesAnArrayUntilOneSideChanges)
{
    ZemPropertyArray<int> values = sample<ZemPropertyArray<int>>();
    const auto source = stored(values);
    const auto target = stored(ZemPropertyArray<int>());
    EXPECT_TRUE(target->copyData(source));
    auto& data = static_cast<ZemPropertyDataContainer<ZemPropertyArray<int>>&>(*target);
    auto& origin = static_cast<ZemPropertyDataContainer<ZemPropertyArray<int>>&>(*source);
    EXPECT_EQ(data.getData().getPtr(), origin.getData().getPtr());
    data.setData()[0] = 42;
    EXPECT_TRUE(isSame(source, stored(values)));
}

TEST_F(PropertyNodes, SetDataMakesANodeWhereThereIsNone)
{
    ZemPropertyDataPtr node;
    EXPECT_TRUE(ZemPropertiesUtils::setData<Blob>(node, bytes({1, 2})));
    EXPECT_TRUE(isSame(node, stored(bytes({1, 2}))));
    EXPECT_FALSE(node->isMapped());
}

TEST_F(PropertyNodes, SetDataAssignsToABlob)
{
    const ZemPropertyDataPtr shared = stored(bytes({1}));
    ZemPropertyDataPtr node = shared;
    EXPECT_TRUE(ZemPropertiesUtils::setData<Blob>(node, bytes({3})));
    EXPECT_TRUE(node == shared);
    EXPECT_TRUE(isSame(shared, stored(bytes({3}))));
}

TEST_F(PropertyNodes, SetDataRefusesANodeOfAnotherType)
{
    ZemPropertyDataPtr node = stored<int>(1);
    EXPECT_FALSE(ZemPropertiesUtils::setData<Blob>(node, bytes({3})));
    EXPECT_TRUE(isSame(node, stored<int>(1)));
}

//--------------------------------------------------------------------------------------------------

template <class T>
bool differsFromDefault(T value, T const& defaultValue)
{
    const ZemPropertyDataMappingWithDefault<T> node(&value, defaultValue);
    const ZemPropertyDataMappingGetterSetterWithDefault<T> other([&value] { return value; },
                                                                 [](T) {}, defaultValue);
    EXPECT_EQ(node.isOutOfDate(), other.isOutOfDate());
    return node.isOutOfDate();
}

TEST_F(PropertyDefaults, DoublesCompareWithoutTolerance)
{
    EXPECT_TRUE(differsFromDefault(1e-300, 0.0));
    EXPECT_FALSE(differsFromDefault(-0.0, 0.0));
    EXPECT_TRUE(differsFromDefault(std::numeric_limits<double>::quiet_NaN(),
                                   std::numeric_limits<double>::quiet_NaN()));
}

TEST_F(PropertyDefaults, TextsCompareWithCase)
{
    EXPECT_TRUE(differsFromDefault(OdString(L"name"), OdString(L"Name")));
    EXPECT_FALSE(differsFromDefault(OdString("name"), OdString(L"name")));
}

TEST_F(PropertyDefaults, IdsCompareWithoutTheirKindOfReference)
{
    const OdDbObjectId id = addObject();
    EXPECT_FALSE(differsFromDefault(OdDbTypedId(id, kSoftPointer), OdDbTypedId(id, kHardOwner)));
    EXPECT_TRUE(differsFromDefault(OdDbTypedId(id, kSoftPointer), OdDbTypedId()));
}

TEST_F(PropertyDefaults, ArraysCompareByLengthAndElements)
{
    ZemPropertyArray<double> one;
    one.append(0.0);
    ZemPropertyArray<double> two = one;
    two.append(0.0);
    ZemPropertyArray<double> negative;
    negative.append(-0.0);
    ZemPropertyArray<double> tiny;
    tiny.append(1e-300);
    EXPECT_FALSE(differsFromDefault(one, one));
    EXPECT_TRUE(differsFromDefault(one, two));
    EXPECT_TRUE(differsFromDefault(two, one));
    EXPECT_FALSE(differsFromDefault(one, negative));
    EXPECT_TRUE(differsFromDefault(one, tiny));
}

TEST_F(PropertyDefaults, MapsOfIdsComparePairwise)
{
    using Map = std::map<OdDbTypedId, bool>;
    const OdDbObjectId first = addObject();
    const OdDbObjectId second = addObject();
    const Map base{{OdDbTypedId(first, kSoftPointer), true}};
    EXPECT_FALSE(differsFromDefault(base, Map{{OdDbTypedId(first, kHardOwner), true}}));
    EXPECT_TRUE(differsFromDefault(base, Map{{OdDbTypedId(first, kSoftPointer), false}}));
    EXPECT_TRUE(differsFromDefault(base, Map{{OdDbTypedId(second, kSoftPointer), true}}));
    EXPECT_TRUE(differsFromDefault(base, Map{}));
}

TEST_F(PropertyDefaults, NumbersAndFlagsCompareAsTheyAre)
{
    EXPECT_TRUE(differsFromDefault(1, 2));
    EXPECT_FALSE(differsFromDefault(2, 2));
    EXPECT_TRUE(differsFromDefault(true, false));
    EXPECT_TRUE(differsFromDefault<signed char>(1, 2));
}

//--------------------------------------------------------------------------------------------------

TEST_F(PropertyIds, AreFiledByTheirKindOfReference)
{
    const OdDbObjectId id = addObject();
    const struct
    {
        OdDb::ReferenceType type;
        const char* writer;
    } kRows[] = {
        {kSoftPointer, "wrSoftPointerId"},
        {kHardPointer, "wrHardPointerId"},
        {kSoftOwner, "wrSoftOwnershipId"},
        {kHardOwner, "wrHardOwnershipId"},
    };
    for (auto const& row : kRows) {
        LoggingFiler filer;
        const auto node = stored(OdDbTypedId(id, row.type));
        node->writeToDwg(&filer, 0);
        EXPECT_EQ(filer.log, (std::vector<std::string>{"wrInt8", "wrInt8", row.writer}));
        filer.rewindForReading();
        EXPECT_TRUE(isSame(ZemPropertyData::createFromDwg(&filer, 0), node)) << row.writer;
    }
}

TEST_F(PropertyIds, WithAKindOutsideOfTheFourWriteItAndNoId)
{
    LoggingFiler filer;
    ZemPropertyConcreteData<OdDbTypedId>::writeDataToDwg(
        &filer, OdDbTypedId(addObject(), static_cast<OdDb::ReferenceType>(9)), 0);
    EXPECT_EQ(filer.log, std::vector<std::string>{"wrInt8"});
}

TEST_F(PropertyIds, AreOneKeyWhateverTheirKindOfReference)
{
    const OdDbObjectId id = addObject();
    std::map<OdDbTypedId, bool> map{{OdDbTypedId(id, kSoftPointer), true}};
    map[OdDbTypedId(id, kHardOwner)] = false;
    ASSERT_EQ(map.size(), 1U);
    EXPECT_EQ(map.begin()->first.type, kSoftPointer);
    EXPECT_TRUE(OdDbTypedId() < OdDbTypedId(id, kSoftPointer));
}

TEST_F(PropertyIds, OneVariableIsStampedWithTheKindOfItsNode)
{
    const OdDbObjectId id = addObject();
    const OdDbObjectId other = addObject();
    OdDbObjectId variable = id;
    ZemPropertyDataObjectIdMapping node(&variable, kHardPointer);
    EXPECT_TRUE(node.isMapped());
    EXPECT_TRUE(node.isOutOfDate());
    EXPECT_FALSE(node.reset());
    EXPECT_TRUE(isSame(node.getData(), OdDbTypedId(id, kHardPointer)));
    variable = other;
    node.update();
    EXPECT_TRUE(isSame(node.setData(), OdDbTypedId(other, kHardPointer)));
    node.setData() = OdDbTypedId(id, kSoftOwner);
    EXPECT_TRUE(variable == other);
    node.updateMapped();
    EXPECT_TRUE(variable == id);
}

TEST_F(PropertyIds, OneVariableIsNotLookedAtForChanging)
{
    OdDbObjectId variable = addObject();
    ZemPropertyDataObjectIdMapping node(&variable, kHardPointer);
    EXPECT_TRUE(node.setData().id.isNull());
}

TEST_F(PropertyIds, AnArrayIsStampedWithTheKindOfItsNode)
{
    OdDbObjectIdArray variable;
    variable.append(addObject());
    variable.append(OdDbObjectId::kNull);
    ZemPropertyDataObjectIdArrayMapping node(&variable, kSoftOwner);
    EXPECT_TRUE(node.isMapped());
    EXPECT_TRUE(node.isOutOfDate());
    EXPECT_FALSE(node.reset());
    EXPECT_TRUE(node.setData().isEmpty()) << "the variable isn't looked at for changing";
    const auto typed = node.getData();
    ASSERT_EQ(typed.size(), 2U);
    EXPECT_TRUE(isSame(typed[0], OdDbTypedId(variable[0], kSoftOwner)));
    EXPECT_TRUE(isSame(typed[1], OdDbTypedId(OdDbObjectId::kNull, kSoftOwner)));
    EXPECT_EQ(node.getData().size(), 2U) << "the cache is rebuilt, not added to";
    const OdDbObjectId other = addObject();
    node.setData().clear();
    node.setData().append(OdDbTypedId(other, kSoftPointer));
    node.updateMapped();
    ASSERT_EQ(variable.size(), 1U);
    EXPECT_TRUE(variable[0] == other);
}

TEST_F(PropertyIds, AnArrayReadFromAStreamWithoutElementsIsEmptied)
{
    OdDbObjectIdArray variable;
    variable.append(addObject());
    ZemPropertyDataObjectIdArrayMapping node(&variable, kSoftOwner);
    FlatReader filer(bytes({9, 8, 0, 0, 0, 0}));
    EXPECT_TRUE(node.readFromDwg(&filer, 0));
    EXPECT_TRUE(variable.isEmpty());
}

TEST_F(PropertyIds, ErasedOneBecomesNullInADrawingFileAndKeepsItsKind)
{
    const auto node = stored(OdDbTypedId(addErasedObject(), kHardPointer));
    MemoryFiler filer(OdDb::FilerType::kFileFiler);
    node->writeToDwg(&filer, kZemPropsDropErasedIds);
    filer.rewindForReading();
    EXPECT_TRUE(isSame(ZemPropertyData::createFromDwg(&filer, 0),
                       stored(OdDbTypedId(OdDbObjectId::kNull, kHardPointer))));
}

TEST_F(PropertyIds, ErasedOnesAreKeptWithoutTheBitAndInOtherFilers)
{
    ZemPropertyArray<OdDbTypedId> array;
    array.append(OdDbTypedId(addErasedObject(), kHardPointer));
    const ZemPropertyDataPtr nodes[] = {stored(OdDbTypedId(addErasedObject(), kHardPointer)),
                                        stored(array)};
    const struct
    {
        OdDb::FilerType type;
        int config;
    } kRows[] = {{OdDb::FilerType::kFileFiler, 0},
                 {OdDb::FilerType::kFileFiler, kZemPropsOmitDefaults},
                 {OdDb::FilerType::kCopyFiler, kZemPropsDropErasedIds},
                 {OdDb::FilerType::kUndoFiler, kZemPropsDropErasedIds},
                 {OdDb::FilerType::kPageFiler, kZemPropsDropErasedIds},
                 {OdDb::FilerType::kDeepCloneFiler, kZemPropsDropErasedIds},
                 {OdDb::FilerType::kWblockCloneFiler, kZemPropsDropErasedIds}};
    for (auto const& row : kRows) {
        for (ZemPropertyDataPtr const& node : nodes) {
            MemoryFiler filer(row.type);
            node->writeToDwg(&filer, row.config);
            filer.rewindForReading();
            EXPECT_TRUE(isSame(ZemPropertyData::createFromDwg(&filer, 0), node))
                << static_cast<int>(row.type) << ", " << row.config;
        }
    }
}

TEST_F(PropertyIds, ErasedOnesAreLeftOutOfArraysInADrawingFile)
{
    const OdDbObjectId living = addObject();
    ZemPropertyArray<OdDbTypedId> array;
    array.append(OdDbTypedId(addErasedObject(), kSoftPointer));
    array.append(OdDbTypedId(living, kHardPointer));
    array.append(OdDbTypedId(OdDbObjectId::kNull, kSoftOwner));
    array.append(OdDbTypedId(addErasedObject(), kHardOwner));
    ZemPropertyArray<OdDbTypedId> expected;
    expected.append(array[1]);
    expected.append(array[2]);
    NestedArray nested;
    nested.append(stored(array));
    NestedArray expectedNested;
    expectedNested.append(stored(expected));
    const std::pair<ZemPropertyDataPtr, ZemPropertyDataPtr> rows[] = {
        {stored(array), stored(expected)}, {stored(nested), stored(expectedNested)}};
    for (auto const& [node, result] : rows) {
        MemoryFiler filer(OdDb::FilerType::kFileFiler);
        node->writeToDwg(&filer, kZemPropsDropErasedIds);
        filer.rewindForReading();
        EXPECT_TRUE(isSame(ZemPropertyData::createFromDwg(&filer, 0), result));
        EXPECT_EQ(filer.bytesLeft(), 0U);
    }
}

TEST_F(PropertyIds, ErasedOnesBecomeNullAsKeysAndValues)
{
    const OdDbObjectId living = addObject();
    const std::map<OdDbTypedId, OdDbTypedId> map{
        {OdDbTypedId(living, kSoftPointer), OdDbTypedId(addErasedObject(), kHardPointer)},
        {OdDbTypedId(addErasedObject(), kSoftOwner), OdDbTypedId(living, kHardOwner)}};
    MemoryFiler filer(OdDb::FilerType::kFileFiler);
    stored(map)->writeToDwg(&filer, kZemPropsDropErasedIds);
    filer.rewindForReading();
    const std::map<OdDbTypedId, OdDbTypedId> expected{
        {OdDbTypedId(living, kSoftPointer), OdDbTypedId(OdDbObjectId::kNull, kHardPointer)},
        {OdDbTypedId(OdDbObjectId::kNull, kSoftOwner), OdDbTypedId(living, kHardOwner)}};
    EXPECT_TRUE(isSame(ZemPropertyData::createFromDwg(&filer, 0), stored(expected)));
}

TEST_F(PropertyIds, TwoErasedKeysBecomeOneNullKey)
{
    const std::map<OdDbTypedId, int> map{{OdDbTypedId(addErasedObject(), kSoftPointer), 1},
                                         {OdDbTypedId(addErasedObject(), kSoftPointer), 2}};
    MemoryFiler filer(OdDb::FilerType::kFileFiler);
    stored(map)->writeToDwg(&filer, kZemPropsDropErasedIds);
    filer.rewindForReading();
    const std::map<OdDbTypedId, int> expected{{OdDbTypedId(), 2}};
    EXPECT_TRUE(isSame(ZemPropertyData::createFromDwg(&filer, 0), stored(expected)));
}

//--------------------------------------------------------------------------------------------------

/// Values around `inner`, one in the other, in arrays and maps by turns.
ZemPropertyDataPtr nest(ZemPropertyDataPtr inner, int levels)
{
    for (int i = 0; i < levels; ++i) {
        if (i % 2 == 0) {
            NestedArray array;
            array.append(inner);
            inner = stored(array);
        } else {
            inner = stored(std::map<int, ZemPropertyDataPtr>{{i, inner}});
        }
    }
    return inner;
}

TEST_F(PropertyNesting, MayBeAsDeepAsTheLimit)
{
    const ZemPropertyDataPtr deepest = nest(stored<int>(1), kZemMaxNestedValues);
    const Blob written = flatten(*deepest);
    const ZemPropertyDataPtr read = createFrom(written);
    ASSERT_FALSE(read.isNull());
    EXPECT_EQ(flatten(*read), written);
}

TEST_F(PropertyNesting, BeyondTheLimitIsRefusedBeforeAnythingIsWritten)
{
    const ZemPropertyDataPtr tooDeep = nest(stored<int>(1), kZemMaxNestedValues + 1);
    FlatFiler filer;
    filer.clear();
    EXPECT_EQ(thrownCode([&] { tooDeep->writeToDwg(&filer, 0); }), kOdInvalidInput);
    EXPECT_EQ(filer.getBinaryDataSize(), 0U);
}

TEST_F(PropertyNesting, BeyondTheLimitIsNotRead)
{
    Blob data = flatten(*nest(stored<int>(1), kZemMaxNestedValues));
    EXPECT_TRUE(createFrom(bytes({9, 1, 1, 0, 0, 0}) + data).isNull());
    EXPECT_FALSE(createFrom(data).isNull()) << "the limit starts anew with each value";
}

TEST_F(PropertyNesting, OfAMillionLevelsInAStreamIsRefused)
{
    Blob data;
    for (int i = 0; i < 1000000; ++i) {
        data.insert(data.end(), {9, 1, 1, 0, 0, 0});
    }
    EXPECT_TRUE(createFrom(data).isNull());
}

TEST_F(PropertyNesting, OfAMillionLevelsIsDestroyedWithoutDeepRecursion)
{
    ZemPropertyDataPtr node = nest(stored<int>(1), 1000000);
    EXPECT_FALSE(node.isNull());
    node.reset();
}

TEST_F(PropertyNesting, DestroysOnlyWhatNobodySharesAnyMore)
{
    const ZemPropertyDataPtr shared = nest(stored<int>(1), 100);
    nest(shared, 1000).reset();
    EXPECT_EQ(shared.useCount(), 1);
    EXPECT_EQ(flatten(*shared).size(), flatten(*nest(stored<int>(1), 100)).size());
}

TEST_F(PropertyNesting, OfNullIsReportedAndRefusedBeforeAnythingIsWritten)
{
    NestedArray array;
    array.append(stored<int>(1));
    array.append(ZemPropertyDataPtr());
    const ZemPropertyDataPtr nodes[] = {
        stored(array), nest(stored(array), 3),
        stored(MapOf<ZemPropertyDataPtr>{{L"a", ZemPropertyDataPtr()}})};
    for (ZemPropertyDataPtr const& node : nodes) {
        AssertionLog assertions;
        FlatFiler filer;
        filer.clear();
        EXPECT_EQ(thrownCode([&] { node->writeToDwg(&filer, 0); }), kOdNullObjectPointer);
        EXPECT_EQ(filer.getBinaryDataSize(), 0U);
        EXPECT_EQ(assertions.expressions, std::vector<std::string>{"!val.isNull()"});
    }
}

TEST_F(PropertyNesting, OfNullIsFoundForEveryTypeOfKey)
{
    forEachType(KeyTypes(), [&]<class K> {
        const auto node =
            stored(std::map<K, ZemPropertyDataPtr>{{sample<K>(1), ZemPropertyDataPtr()}});
        EXPECT_EQ(thrownCode([&] { node->assertWritable(); }), kOdNullObjectPointer)
            << typeName<K>();
    });
}

TEST_F(PropertyNesting, TheCodecOfANestedValueRefusesNull)
{
    FlatFiler filer;
    filer.clear();
    EXPECT_EQ(thrownCode([&] {
                  ZemPropertyConcreteData<ZemPropertyDataPtr>::writeDataToDwg(
                      &filer, ZemPropertyDataPtr(), 0);
              }),
              kOdNullObjectPointer);
    EXPECT_EQ(m_assertions.expressions, std::vector<std::string>{"!val.isNull()"});
}

TEST_F(PropertyNesting, OfAValueInItselfIsRefusedByEveryWayOfWriting)
{
    auto* const node = new ZemPropertyDataContainer<NestedArray>();
    const ZemPropertyDataPtr owner(node);
    node->setData().append(owner);
    FlatFiler filer;
    filer.clear();
    EXPECT_EQ(thrownCode([&] { owner->writeToDwg(&filer, 0); }), kOdInvalidInput);
    EXPECT_EQ(filer.getBinaryDataSize(), 0U);
    EXPECT_EQ(thrownCode([&] { owner->writeDataToDwg(&filer, 0); }), kOdInvalidInput);
    node->setData().clear();
    EXPECT_NO_THROW(owner->writeDataToDwg(&filer, 0)) << "the limit starts anew";
}

TEST_F(PropertyNesting, OfSharedValuesThatStandForTooManyIsRefused)
{
    ZemPropertyDataPtr node = stored<int>(1);
    for (int level = 0; level < 60; ++level) {
        NestedArray twice;
        twice.append(node);
        twice.append(node);
        node = stored(twice);
    }
    EXPECT_EQ(thrownCode([&] { node->assertWritable(); }), kOdInvalidInput);
}

TEST_F(PropertyNesting, AFailedReadLeavesNoNullBehind)
{
    const auto array = stored(NestedArray());
    FlatReader arrayFiler(bytes({9, 1, 2, 0, 0, 0, 5, 1, 0, 0}));
    EXPECT_FALSE(array->readFromDwg(&arrayFiler, 0));
    EXPECT_NO_THROW(array->assertWritable());
    const auto map = stored(std::map<bool, ZemPropertyDataPtr>());
    FlatReader mapFiler(bytes({10, 5, 1, 1, 0, 0, 0, 1, 0}));
    EXPECT_FALSE(map->readFromDwg(&mapFiler, 0));
    EXPECT_NO_THROW(map->assertWritable());
}

//--------------------------------------------------------------------------------------------------

TEST_F(DataCreatorTest, MakesEmptyArraysOfTheNineElements)
{
    for (int element = -1; element < 130; ++element) {
        const ZemPropertyDataPtr node = ZemPropertiesUtils::DataCreator::createArray(element);
        const bool isElement = (element >= 1 && element <= 8) || element == 11;
        ASSERT_EQ(!node.isNull(), isElement) << element;
        if (isElement) {
            EXPECT_EQ(node->type(), 9);
            EXPECT_EQ(flatten(*node), bytes({9, element, 0, 0, 0, 0}));
        }
    }
}

TEST_F(DataCreatorTest, MakesEmptyMapsOfTheSevenKeysAndNineValues)
{
    forEachType(KeyTypes(), [&]<class K> {
        for (int value = -1; value < 130; ++value) {
            const ZemPropertyDataPtr node = ZemPropertiesUtils::DataCreator::createMap<K>(value);
            const bool isValue = (value >= 1 && value <= 8) || value == 11;
            ASSERT_EQ(!node.isNull(), isValue) << value;
            if (isValue) {
                EXPECT_EQ(node->type(), 10);
                EXPECT_EQ(flatten(*node),
                          bytes({10, ZemPropertyTypeInfo<K>::Id, value, 0, 0, 0, 0}));
            }
        }
    });
}

}  // namespace
