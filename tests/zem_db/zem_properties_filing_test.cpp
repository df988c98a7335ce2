#include "db/od_db_dictionary.h"
#include "db/od_db_simple_tables.h"
#include "root/od_res_buf.h"

#include "property_test_support.h"
#include "zem_db_extension_data.h"
#include "zem_properties.h"

#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <string>
#include <vector>

using namespace property_test;

namespace {

class BagStream : public PropertyDatabaseTest
{
protected:
    ZemProperties m_bag;
};
class BagVersion : public BagStream
{
};
class BagDefaults : public BagStream
{
};
class BagDamage : public BagStream
{
};
/// Getters, setters and filers that change what is being filed.
class BagReentry : public BagStream
{
};
class BagOnObject : public BagStream
{
protected:
    /// A flat stream of `size` bytes comes out of the bag: an item count, a name, a blob.
    void fillTo(std::size_t size)
    {
        m_bag.clear();
        const std::size_t overhead = 4 + 2 + 1 + 1 + 4;
        m_bag.setProperty(L"b", Blob(size - overhead, 'x'));
        EXPECT_EQ(flatten(m_bag).size(), size);
    }
    void write(OdDbObjectId id) { m_bag.writeToDbObject(id.safeOpenObject(OdDb::kForWrite).get()); }
    static bool read(ZemProperties& bag, OdDbObjectId id)
    {
        return bag.readFromDbObject(id.safeOpenObject(OdDb::kForRead).get());
    }
    static OdResBufPtr chainOf(OdDbObjectId id)
    {
        return id.safeOpenObject(OdDb::kForRead)->xData(L"ZEM_DB");
    }
    static std::size_t chunksOf(OdDbObjectId id)
    {
        std::size_t count = 0;
        const OdResBufPtr chain = chainOf(id);
        if (!chain.isNull()) {
            for (OdResBufPtr record = chain->next(); !record.isNull(); record = record->next()) {
                ++count;
            }
        }
        return count;
    }
    static bool hasBlob(OdDbObjectId id)
    {
        Blob blob;
        return ZemDbExtensionDataImpl::readFromDictionary(id.safeOpenObject(OdDb::kForRead).get(),
                                                          blob, L"ZEM_DB");
    }

    OdDbObjectId m_object = addObject();
};

/// The version item: its name, type and version.
Blob versionItem(int version)
{
    return bytes({4, 0, 0x5F, 0x76, 0x65, 0x72, 6, version});
}

Blob count(int items)
{
    return bytes({items & 0xFF, (items >> 8) & 0xFF, (items >> 16) & 0xFF, (items >> 24) & 0xFF});
}

/// An item "A" that holds an int.
Blob intItem(char name, int value)
{
    return bytes({1, 0, name, 3}) + count(value);
}

//--------------------------------------------------------------------------------------------------

TEST_F(BagStream, OfVersionOneWithAnIntHasTheseTwentyBytes)
{
    m_bag.setVersion(1);
    m_bag.setProperty(L"A", 5);
    constexpr std::uint8_t kExpected[] = {
        0x02, 0x00, 0x00, 0x00,              // items
        0x04, 0x00, 0x5F, 0x76, 0x65, 0x72,  // "_ver"
        0x06, 0x01,                          // signed char 1
        0x01, 0x00, 0x41,                    // "A"
        0x03, 0x05, 0x00, 0x00, 0x00,        // int 5
    };
    EXPECT_EQ(flatten(m_bag), Blob(std::begin(kExpected), std::end(kExpected)));
}

TEST_F(BagStream, OfAnEmptyBagIsACountOfZero)
{
    EXPECT_EQ(flatten(m_bag), count(0));
    LoggingFiler filer;
    m_bag.dwgOutFields(&filer);
    EXPECT_EQ(filer.log, std::vector<std::string>{"wrInt32"});
}

TEST_F(BagStream, OfAnEmptyBagWithAVersionIsTheVersionItem)
{
    m_bag.setVersion(3);
    EXPECT_EQ(flatten(m_bag), count(1) + versionItem(3));
}

TEST_F(BagStream, HoldsEntriesInOrderOfNames)
{
    m_bag.setProperty(L"B", 2);
    m_bag.setProperty(L"a", 3);
    m_bag.setProperty(L"A", 1);
    EXPECT_EQ(flatten(m_bag), count(3) + intItem('A', 1) + intItem('B', 2) + intItem('a', 3));
}

TEST_F(BagStream, IsTheSameSequenceOfOperationsForEveryFiler)
{
    OdDbObjectId id = addObject();
    m_bag.setVersion(1);
    m_bag.mapProperty(L"id", &id, kHardOwner);
    m_bag.setProperty(L"blob", bytes({1}));
    m_bag.setProperty(L"empty", Blob());
    m_bag.setProperty(L"map", MapOf<double>{{L"k", 1.0}});
    LoggingFiler filer;
    m_bag.dwgOutFields(&filer);
    const std::vector<std::string> expected{
        "wrInt32",                                                // items
        "wrString", "wrInt8",   "wrInt8",                         // version
        "wrString", "wrInt8",   "wrInt32",  "wrBytes",            // blob
        "wrString", "wrInt8",   "wrInt32",                        // empty blob
        "wrString", "wrInt8",   "wrInt8",   "wrHardOwnershipId",  // id
        "wrString", "wrInt8",   "wrInt8",   "wrInt8",
        "wrInt32",  "wrString", "wrDouble",  // map
    };
    EXPECT_EQ(filer.log, expected);
}

TEST_F(BagStream, BoundAndStoredEntriesAreWrittenAlike)
{
    int variable = 5;
    ZemProperties bound;
    bound.mapProperty(L"A", &variable);
    m_bag.setProperty(L"A", 5);
    EXPECT_EQ(flatten(bound), flatten(m_bag));
}

TEST_F(BagStream, RestoresStoredAndBoundEntries)
{
    int variable = 5;
    OdString text(L"text");
    m_bag.mapProperty(L"a", &variable);
    m_bag.mapProperty<OdString>(
        L"b", [&text] { return text; }, [&text](OdString value) { text = value; });
    m_bag.setProperty(L"c", sample<ZemPropertyArray<double>>());
    const Blob data = flatten(m_bag);
    variable = 0;
    text = OdString();
    m_bag.setProperty(L"d", 1);
    EXPECT_EQ(readBag(m_bag, data), kOdOk);
    EXPECT_EQ(variable, 5);
    EXPECT_EQ(text, L"text");
    EXPECT_EQ(flatten(m_bag), data);
    EXPECT_TRUE(m_bag.getProperty(L"a")->isMapped());
}

TEST_F(BagStream, WithCountZeroErasesAllStoredEntries)
{
    int variable = 5;
    m_bag.mapProperty(L"a", &variable);
    m_bag.setProperty(L"b", 1);
    EXPECT_EQ(readBag(m_bag, count(0)), kOdOk);
    EXPECT_TRUE(m_bag.getProperty(L"b").isNull());
    EXPECT_FALSE(m_bag.getProperty(L"a").isNull());
    EXPECT_EQ(variable, 5) << "what the stream lacks keeps its value";
}

TEST_F(BagStream, MakesStoredEntriesAnewFromTheTypeInTheStream)
{
    m_bag.setProperty(L"A", OdString(L"text"));
    EXPECT_EQ(readBag(m_bag, count(1) + intItem('A', 5)), kOdOk);
    EXPECT_TRUE(isSame(m_bag.getProperty(L"A"), stored(5)));
}

TEST_F(BagStream, WithAnotherTypeForABoundEntryIsABadStream)
{
    double variable = 1.5;
    m_bag.mapProperty(L"A", &variable);
    EXPECT_EQ(readBag(m_bag, count(1) + intItem('A', 5)), kOdBadStream);
    EXPECT_EQ(m_assertions.expressions, std::vector<std::string>{"type == this->type()"});
    EXPECT_EQ(variable, 1.5);
}

TEST_F(BagStream, WithAnotherArrayHeaderForABoundEntryFailsOnlyForAnotherTypeAlone)
{
    ZemPropertyArray<int> variable;
    m_bag.mapProperty(L"A", &variable);
    const Blob name = bytes({1, 0, 0x41});
    const Blob content = count(1) + count(7);
    EXPECT_EQ(readBag(m_bag, count(1) + name + bytes({10, 3}) + content), kOdBadStream);
    EXPECT_TRUE(variable.isEmpty());
    EXPECT_EQ(readBag(m_bag, count(1) + name + bytes({9, 4}) + content), kOdOk);
    EXPECT_EQ(variable.at(0), 7);
    EXPECT_EQ(m_assertions.expressions.size(), 2U);
}

TEST_F(BagStream, WithAnotherMapHeaderForABoundEntryFailsOnlyForAnotherTypeAlone)
{
    std::map<OdDbTypedId, bool> variable;
    m_bag.mapProperty(L"A", &variable);
    const Blob name = bytes({1, 0, 0x41});
    const Blob content = count(1) + bytes({2, 1});
    EXPECT_EQ(readBag(m_bag, count(1) + name + bytes({9, 8, 5}) + content), kOdBadStream);
    EXPECT_TRUE(variable.empty());
    EXPECT_EQ(readBag(m_bag, count(1) + name + bytes({10, 8, 6}) + content), kOdOk);
    EXPECT_EQ(variable.size(), 1U);
    EXPECT_EQ(m_assertions.expressions.size(), 2U);
}

TEST_F(BagStream, WithAnEmptyNameDropsTheValue)
{
    const Blob nameless = bytes({0, 0, 3, 1, 0, 0, 0});
    EXPECT_EQ(readBag(m_bag, count(2) + nameless + intItem('A', 5)), kOdOk);
    EXPECT_TRUE(m_bag.getProperty(L"").isNull());
    EXPECT_TRUE(isSame(m_bag.getProperty(L"A"), stored(5)));
    EXPECT_EQ(readBag(m_bag, count(1) + bytes({0, 0, 99, 0, 0, 0, 0})), kOdBadStream);
}

TEST_F(BagStream, WithAnUnknownTypeIsABadStream)
{
    for (const int type : {0, 1, 12, 100, 200, 255}) {
        EXPECT_EQ(readBag(m_bag, count(1) + bytes({1, 0, 0x41, type, 0, 0, 0, 0})), kOdBadStream)
            << type;
        EXPECT_TRUE(m_bag.isEmpty()) << type;
    }
}

TEST_F(BagStream, WithAReferenceKindAboveThreeIsABadStream)
{
    const Blob item = bytes({1, 0, 0x41, 8, 4});
    EXPECT_EQ(readBag(m_bag, count(1) + item), kOdBadStream);
    OdDbTypedId variable;
    m_bag.mapProperty(L"A", &variable);
    EXPECT_EQ(readBag(m_bag, count(1) + item), kOdBadStream);
}

TEST_F(BagStream, KeepsWhatWasReadBeforeAFailure)
{
    m_bag.setProperty(L"old", 1);
    EXPECT_EQ(readBag(m_bag, count(2) + intItem('A', 5) + bytes({1, 0, 0x42, 99, 0, 0, 0})),
              kOdBadStream);
    EXPECT_TRUE(isSame(m_bag.getProperty(L"A"), stored(5)));
    EXPECT_TRUE(m_bag.getProperty(L"old").isNull());
}

TEST_F(BagStream, WithTheSameNameTwiceKeepsTheLastValue)
{
    EXPECT_EQ(readBag(m_bag, count(2) + intItem('A', 1) + intItem('A', 2)), kOdOk);
    EXPECT_TRUE(isSame(m_bag.getProperty(L"A"), stored(2)));
    EXPECT_EQ(readBag(m_bag, count(2) + intItem('A', 1) + bytes({1, 0, 0x41, 5, 1, 0, 0, 0})),
              kOdBadStream);
}

TEST_F(BagStream, IsReadInAnyOrderOfNames)
{
    int variable = 0;
    m_bag.mapProperty(L"C", &variable);
    EXPECT_EQ(readBag(m_bag, count(4) + intItem('D', 4) + intItem('C', 3) + intItem('A', 1) +
                                 intItem('B', 2)),
              kOdOk);
    EXPECT_EQ(variable, 3);
    ZemProperties expected;
    expected.setProperty(L"A", 1);
    expected.setProperty(L"B", 2);
    expected.setProperty(L"C", 3);
    expected.setProperty(L"D", 4);
    EXPECT_TRUE(isSame(m_bag, expected));
}

TEST_F(BagStream, ForAnEntryWithoutANodeIsABadStream)
{
    m_bag.setReferenceType(L"A", kHardOwner);
    EXPECT_EQ(readBag(m_bag, count(1) + intItem('A', 5)), kOdBadStream);
    EXPECT_EQ(m_assertions.expressions, std::vector<std::string>{"!val.isNull()"});
}

TEST_F(BagStream, WithAnEntryWithoutANodeIsRefusedBeforeAnythingIsWritten)
{
    m_bag.setProperty(L"A", 1);
    m_bag.setReferenceType(L"B", kHardOwner);
    LoggingFiler filer;
    EXPECT_EQ(thrownCode([&] { m_bag.dwgOutFields(&filer); }), kOdNullObjectPointer);
    EXPECT_TRUE(filer.log.empty());
}

TEST_F(BagStream, WithANullNestedValueIsRefusedBeforeAnythingIsWritten)
{
    NestedArray array;
    array.append(ZemPropertyDataPtr());
    m_bag.setProperty(L"A", 1);
    m_bag.setProperty(L"B", array);
    LoggingFiler filer;
    EXPECT_EQ(thrownCode([&] { m_bag.dwgOutFields(&filer); }), kOdNullObjectPointer);
    EXPECT_TRUE(filer.log.empty());
    EXPECT_EQ(m_assertions.expressions, std::vector<std::string>{"!val.isNull()"});
}

TEST_F(BagStream, DropsErasedIdsInADrawingFileIfItIsToldTo)
{
    const OdDbObjectId living = addObject();
    const OdDbObjectId erased = addErasedObject();
    OdDbObjectIdArray many;
    many.append(erased);
    many.append(living);
    OdDbObjectId one = erased;
    for (const int config : {0, static_cast<int>(kZemPropsDropErasedIds)}) {
        for (const OdDb::FilerType type :
             {OdDb::FilerType::kFileFiler, OdDb::FilerType::kCopyFiler}) {
            const bool drops = config != 0 && type == OdDb::FilerType::kFileFiler;
            ZemProperties source(config);
            source.mapProperty(L"many", &many, kSoftPointer);
            source.mapProperty(L"one", &one, kHardPointer);
            MemoryFiler filer(type);
            source.dwgOutFields(&filer);
            filer.rewindForReading();
            ZemProperties target;
            ASSERT_EQ(target.dwgInFields(&filer), kOdOk);
            OdDbObjectIdArray readMany;
            OdDbTypedId readOne;
            ASSERT_TRUE(target.getProperty(L"many", readMany));
            ASSERT_TRUE(target.getProperty(L"one", readOne));
            EXPECT_EQ(readMany.size(), drops ? 1U : 2U);
            EXPECT_TRUE(readMany.last() == living);
            EXPECT_TRUE(readOne.id == (drops ? OdDbObjectId::kNull : erased));
            EXPECT_EQ(readOne.type, kHardPointer);
        }
    }
}

//--------------------------------------------------------------------------------------------------

TEST_F(BagVersion, IsWrittenFirstAndOnlyAboveZero)
{
    m_bag.setProperty(L"A", 5);
    for (const int version : {0, -1, -128}) {
        m_bag.setVersion(version);
        EXPECT_EQ(flatten(m_bag), count(1) + intItem('A', 5)) << version;
    }
    for (const int version : {1, 2, 127}) {
        m_bag.setVersion(version);
        EXPECT_EQ(flatten(m_bag), count(2) + versionItem(version) + intItem('A', 5)) << version;
    }
}

TEST_F(BagVersion, OfTheStreamMayNotBeNewer)
{
    const struct
    {
        int own;
        int storedVersion;
        OdResult expected;
    } kRows[] = {
        {0, 0, kOdOk},
        {0, 1, kOdOk},
        {0, 2, kOdRejectedVersion},
        {0, 255, kOdOk},
        {1, 0, kOdOk},
        {1, 1, kOdOk},
        {1, 2, kOdRejectedVersion},
        {1, 127, kOdRejectedVersion},
        {1, 128, kOdOk},
        {2, 0, kOdOk},
        {2, 1, kOdOk},
        {2, 2, kOdOk},
        {2, 3, kOdRejectedVersion},
        {127, 127, kOdOk},
        {-1, 127, kOdOk},
        {-1, 0, kOdOk},
        {-128, 2, kOdOk},
    };
    for (auto const& row : kRows) {
        ZemProperties bag;
        bag.setVersion(row.own);
        EXPECT_EQ(readBag(bag, count(1) + versionItem(row.storedVersion)), row.expected)
            << row.own << " reads " << row.storedVersion;
        EXPECT_EQ(bag.version(), row.own) << "the stored version isn't kept";
        EXPECT_TRUE(bag.isEmpty());
    }
}

TEST_F(BagVersion, ItemOfAnotherTypeIsRejected)
{
    for (const int type : {0, 3, 5, 7, 255}) {
        const Blob item = bytes({4, 0, 0x5F, 0x76, 0x65, 0x72, type, 1});
        EXPECT_EQ(readBag(m_bag, count(1) + item), kOdRejectedVersion) << type;
    }
}

TEST_F(BagVersion, ItemMayStandAnywhereAndCountsAsOne)
{
    m_bag.setVersion(1);
    const Blob a = intItem('A', 1);
    const Blob b = intItem('B', 2);
    const Blob version = versionItem(1);
    for (Blob const& items : {version + a + b, a + version + b, a + b + version}) {
        EXPECT_EQ(readBag(m_bag, count(3) + items), kOdOk);
        EXPECT_TRUE(isSame(m_bag.getProperty(L"B"), stored(2)));
    }
}

TEST_F(BagVersion, RejectionKeepsWhatWasReadBefore)
{
    m_bag.setVersion(1);
    EXPECT_EQ(readBag(m_bag, count(2) + intItem('A', 1) + versionItem(2)), kOdRejectedVersion);
    EXPECT_TRUE(isSame(m_bag.getProperty(L"A"), stored(1)));
}

TEST_F(BagVersion, KeyIsFixed)
{
    EXPECT_EQ(kClassVersionKey, L"_ver");
    EXPECT_EQ(s_zemDbAppName, L"ZEM_DB");
}

//--------------------------------------------------------------------------------------------------

TEST_F(BagDefaults, AreWrittenUnlessTheyAreToBeOmitted)
{
    int variable = 5;
    m_bag.mapProperty(L"A", &variable, 5);
    EXPECT_EQ(flatten(m_bag), count(1) + intItem('A', 5));
    m_bag.setConfig(kZemPropsOmitDefaults);
    EXPECT_EQ(flatten(m_bag), count(0));
    variable = 6;
    EXPECT_EQ(flatten(m_bag), count(1) + intItem('A', 6));
}

TEST_F(BagDefaults, ThatAreOmittedDoNotCountAmongTheItems)
{
    int same = 1;
    int other = 2;
    int withoutDefault = 3;
    m_bag.setConfig(kZemPropsOmitDefaults);
    m_bag.setVersion(1);
    m_bag.mapProperty(L"A", &same, 1);
    m_bag.mapProperty(L"B", &other, 1);
    m_bag.mapProperty(L"C", &withoutDefault);
    m_bag.setProperty(L"D", 4);
    EXPECT_EQ(flatten(m_bag),
              count(4) + versionItem(1) + intItem('B', 2) + intItem('C', 3) + intItem('D', 4));
}

TEST_F(BagDefaults, ComeBackWhereTheStreamLacksTheName)
{
    int variable = 9;
    int set = 9;
    m_bag.setConfig(kZemPropsOmitDefaults);
    m_bag.mapProperty(L"A", &variable, 5);
    m_bag.mapProperty<int>(
        L"B", [&set] { return set; }, [&set](int value) { set = value; }, 6);
    EXPECT_EQ(readBag(m_bag, count(0)), kOdOk);
    EXPECT_EQ(variable, 5);
    EXPECT_EQ(set, 6);
}

TEST_F(BagDefaults, DoNotComeBackWithoutTheBit)
{
    int variable = 9;
    m_bag.mapProperty(L"A", &variable, 5);
    EXPECT_EQ(readBag(m_bag, count(0)), kOdOk);
    EXPECT_EQ(variable, 9);
}

TEST_F(BagDefaults, DoNotReplaceWhatTheStreamNames)
{
    int variable = 9;
    m_bag.setConfig(kZemPropsOmitDefaults);
    m_bag.mapProperty(L"B", &variable, 5);
    EXPECT_EQ(readBag(m_bag, count(2) + intItem('A', 1) + intItem('B', 7)), kOdOk);
    EXPECT_EQ(variable, 7);
    EXPECT_TRUE(isSame(m_bag.getProperty(L"A"), stored(1)));
}

TEST_F(BagDefaults, ThatAreMissingMakeABadStream)
{
    int first = 9;
    int second = 9;
    int third = 9;
    m_bag.setConfig(kZemPropsOmitDefaults);
    m_bag.mapProperty(L"A", &first, 5);
    m_bag.mapProperty(L"B", &second);
    m_bag.mapProperty(L"C", &third, 5);
    EXPECT_EQ(readBag(m_bag, count(0)), kOdBadStream);
    EXPECT_EQ(first, 5) << "entries before it are reset, in order of names";
    EXPECT_EQ(second, 9);
    EXPECT_EQ(third, 9);
    EXPECT_EQ(readBag(m_bag, count(1) + intItem('B', 1)), kOdOk);
    EXPECT_EQ(third, 5);
}

TEST_F(BagDefaults, OfAnEntryWithoutANodeAreMissing)
{
    m_bag.setConfig(kZemPropsOmitDefaults);
    m_bag.setReferenceType(L"A", kHardOwner);
    EXPECT_EQ(readBag(m_bag, count(0)), kOdBadStream);
}

TEST_F(BagDefaults, AreTheSameAfterWritingAndReading)
{
    int number = 1;
    double real = 0.0;
    OdString text(L"other");
    m_bag.setConfig(kZemPropsOmitDefaults);
    m_bag.mapProperty(L"number", &number, 1);
    m_bag.mapProperty(L"real", &real, 2.0);
    m_bag.mapProperty(L"text", &text, L"default");
    const Blob data = flatten(m_bag);
    number = 5;
    real = 5;
    text = L"changed";
    EXPECT_EQ(readBag(m_bag, data), kOdOk);
    EXPECT_EQ(number, 1);
    EXPECT_EQ(real, 0.0);
    EXPECT_EQ(text, L"other");
}

//--------------------------------------------------------------------------------------------------

/// A bag with an entry of each kind of stored form.
void fillWithAll(ZemProperties& bag)
{
    bag.setVersion(1);
    forEachType(ScalarTypes(), [&]<class T> {
        bag.setProperty(OdString(static_cast<wchar_t>(L'a' + ZemPropertyTypeInfo<T>::Id)),
                        sample<T>(1));
    });
    bag.setProperty(L"array", sample<ZemPropertyArray<OdString>>(1));
    bag.setProperty(L"map", sample<std::map<int, Blob>>(1));
    bag.setProperty(L"nested", sample<NestedArray>(1));
}

TEST_F(BagDamage, StreamCutAtAnyLengthIsABadStream)
{
    fillWithAll(m_bag);
    const Blob whole = flatten(m_bag);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        ZemProperties bag;
        bag.setVersion(1);
        const Blob cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(tryReadBag(bag, cut), kOdBadStream) << length;
    }
}

TEST_F(BagDamage, StreamWithAnyBitFlippedGivesAToldResult)
{
    fillWithAll(m_bag);
    const Blob whole = flatten(m_bag);
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        Blob damaged = whole;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        ZemProperties bag;
        bag.setVersion(1);
        const OdResult result = tryReadBag(bag, damaged);
        EXPECT_TRUE(result == kOdOk || result == kOdBadStream || result == kOdRejectedVersion)
            << bit << ": " << result;
        // Whatever is left in the bag can be written again.
        EXPECT_NO_THROW((void)flatten(bag)) << bit;
    }
}

TEST_F(BagDamage, CountsThatCannotBeAreABadStream)
{
    for (const int items : {-1, -2147483647 - 1, 2147483647, 2}) {
        ZemProperties bag;
        bag.setProperty(L"old", 1);
        EXPECT_EQ(tryReadBag(bag, count(items) + bytes({1, 0, 0x41, 5, 1})), kOdBadStream) << items;
        EXPECT_TRUE(bag.getProperty(L"old").isNull());
    }
}

TEST_F(BagDamage, DeepNestingIsABadStream)
{
    Blob data = count(1) + bytes({1, 0, 0x41});
    for (int i = 0; i < 100000; ++i) {
        data.insert(data.end(), {9, 1, 1, 0, 0, 0});
    }
    EXPECT_EQ(tryReadBag(m_bag, data), kOdBadStream);
    EXPECT_TRUE(m_bag.isEmpty());
}

TEST_F(BagDamage, TextOfNegativeLengthThrowsABadStream)
{
    EXPECT_EQ(thrownCode([&] {
                  (void)readBag(m_bag, count(1) + bytes({0xFF, 0xFF, 0x41, 3, 0, 0, 0, 0}));
              }),
              kOdBadStream);
}

TEST_F(BagDamage, TooLargeACountKeepsWhatCouldBeRead)
{
    EXPECT_EQ(tryReadBag(m_bag, count(1000) + intItem('A', 5)), kOdBadStream);
    EXPECT_TRUE(isSame(m_bag.getProperty(L"A"), stored(5)));
}

//--------------------------------------------------------------------------------------------------

TEST_F(BagReentry, ASetterMayRemoveEntriesThatAreStillToBeRead)
{
    int a = 1;
    int other = 2;
    m_bag.mapProperty<int>(
        L"a", [&] { return a; },
        [&](int value) {
            a = value;
            m_bag.removeProperty(L"b");
        });
    m_bag.mapProperty(L"b", &other);
    m_bag.mapProperty(L"c", &other);
    EXPECT_EQ(readBag(m_bag, count(3) + intItem('a', 5) + intItem('b', 6) + intItem('c', 7)),
              kOdOk);
    EXPECT_EQ(a, 5);
    EXPECT_EQ(other, 7);
    EXPECT_TRUE(isSame(m_bag.getProperty(L"b"), stored(6))) << "it came back as a stored entry";
}

TEST_F(BagReentry, ASetterMayClearTheBagThatIsReset)
{
    int a = 5;
    int other = 5;
    m_bag.setConfig(kZemPropsOmitDefaults);
    m_bag.mapProperty<int>(
        L"a", [&] { return a; },
        [&](int value) {
            a = value;
            m_bag.clear();
        },
        1);
    m_bag.mapProperty(L"b", &other, 2);
    EXPECT_EQ(readBag(m_bag, count(0)), kOdOk);
    EXPECT_EQ(a, 1);
    EXPECT_EQ(other, 5);
}

TEST_F(BagReentry, AGetterMayClearTheBagThatIsWritten)
{
    int other = 2;
    m_bag.mapProperty<int>(
        L"a",
        [&] {
            m_bag.clear();
            return 1;
        },
        [](int) {});
    m_bag.mapProperty(L"b", &other);
    EXPECT_EQ(flatten(m_bag), count(2) + intItem('a', 1) + intItem('b', 2));
    EXPECT_TRUE(m_bag.isEmpty());
}

TEST_F(BagReentry, AGetterIsAskedOnceWhetherItIsADefault)
{
    m_bag.setConfig(kZemPropsOmitDefaults);
    int calls = 0;
    int other = 5;
    m_bag.mapProperty<int>(
        L"a", [&] { return calls++; }, [](int) {}, 0);
    m_bag.mapProperty(L"b", &other, 0);
    EXPECT_EQ(flatten(m_bag), count(1) + intItem('b', 5));
}

TEST_F(BagReentry, AMapThatIsClearedWhileItIsFiledIsFiledAsItWas)
{
    using Map = std::map<OdDbTypedId, bool>;
    class Clearer : public MemoryFiler
    {
    public:
        explicit Clearer(Map& map) : m_map(map) {}
        void wrBool(bool value) override
        {
            MemoryFiler::wrBool(value);
            m_map.clear();
        }

    private:
        Map& m_map;
    };
    Map map{{OdDbTypedId(addObject(), kSoftPointer), true}, {OdDbTypedId(), false}};
    m_bag.mapProperty(L"a", &map);
    MemoryFiler whole;
    m_bag.dwgOutFields(&whole);
    Clearer filer(map);
    m_bag.dwgOutFields(&filer);
    EXPECT_EQ(filer.bytes(), whole.bytes());
    EXPECT_TRUE(map.empty());
}

TEST_F(BagReentry, AnArrayThatShrinksWhileItIsFiledIsAnInvalidIndex)
{
    class Shrinker : public MemoryFiler
    {
    public:
        explicit Shrinker(ZemPropertyArray<int>& array) : m_array(array) {}
        void wrInt32(std::int32_t value) override
        {
            MemoryFiler::wrInt32(value);
            shrinkAt(value);
        }
        std::int32_t rdInt32() override
        {
            const std::int32_t value = MemoryFiler::rdInt32();
            shrinkAt(value);
            return value;
        }

    private:
        void shrinkAt(std::int32_t value)
        {
            if (value == 20) {
                m_array = ZemPropertyArray<int>();
            }
        }

        ZemPropertyArray<int>& m_array;
    };
    const auto fill = [](ZemPropertyArray<int>& array) {
        for (const int value : {10, 20, 30, 40}) {
            array.append(value);
        }
    };
    ZemPropertyArray<int> array;
    fill(array);
    m_bag.mapProperty(L"a", &array);
    MemoryFiler whole;
    m_bag.dwgOutFields(&whole);
    Shrinker filer(array);
    EXPECT_THROW(m_bag.dwgOutFields(&filer), OdError_InvalidIndex);
    fill(array);
    Shrinker reader(array);
    reader.readFrom(whole.bytes());
    EXPECT_THROW((void)m_bag.dwgInFields(&reader), OdError_InvalidIndex);
}

TEST_F(BagReentry, ASetterThatOmitsDefaultsDoesSoFromTheNextStreamOn)
{
    int first = 9;
    m_bag.mapProperty(L"a", &first, 1);
    m_bag.mapProperty<int>(
        L"b", [] { return 0; }, [&](int) { m_bag.setConfig(kZemPropsOmitDefaults); }, 0);
    EXPECT_EQ(readBag(m_bag, count(2) + intItem('a', 5) + intItem('b', 6)), kOdOk);
    EXPECT_EQ(first, 5) << "what the stream named isn't reset";
    EXPECT_EQ(readBag(m_bag, count(0)), kOdOk);
    EXPECT_EQ(first, 1);
}

TEST_F(BagReentry, AGetterThatChangesTheConfigDoesSoFromTheNextStreamOn)
{
    const OdDbObjectId erased = addErasedObject();
    OdDbObjectId id = erased;
    m_bag.mapProperty<int>(
        L"a",
        [&] {
            m_bag.setConfig(kZemPropsDropErasedIds);
            return 0;
        },
        [](int) {});
    m_bag.mapProperty(L"b", &id, kHardPointer);
    for (OdDbObjectId const& expected : {erased, OdDbObjectId::kNull}) {
        MemoryFiler filer(OdDb::FilerType::kFileFiler);
        m_bag.dwgOutFields(&filer);
        filer.rewindForReading();
        ZemProperties read;
        ASSERT_EQ(read.dwgInFields(&filer), kOdOk);
        OdDbObjectId readId;
        ASSERT_TRUE(read.getProperty(L"b", readId));
        EXPECT_TRUE(readId == expected);
    }
}

TEST_F(BagReentry, AGetterMayRemoveItsOwnEntryWhenItIsAskedForOrAssignedTo)
{
    const auto map = [this] {
        m_bag.mapProperty<OdString>(
            L"a",
            [this] {
                m_bag.removeProperty(L"a");
                return OdString(L"last");
            },
            [](OdString) {});
    };
    map();
    OdString value;
    EXPECT_TRUE(m_bag.getProperty(L"a", value));
    EXPECT_EQ(value, OdString(L"last"));
    EXPECT_TRUE(m_bag.isEmpty());
    map();
    EXPECT_TRUE(m_bag.setProperty(L"a", OdString(L"other")));
    EXPECT_TRUE(m_bag.isEmpty());
}

TEST_F(BagStream, HoldsEntriesOfReservedNamesThatReadersDoNotTakeAsEntries)
{
    m_bag.setProperty(L"", 1);
    m_bag.setProperty(L"A", 5);
    m_bag.setProperty(kClassVersionKey, static_cast<signed char>(1));
    const Blob stream = flatten(m_bag);
    EXPECT_EQ(stream, count(3) + bytes({0, 0, 3, 1, 0, 0, 0}) + intItem('A', 5) + versionItem(1));
    ZemProperties bag;
    EXPECT_EQ(readBag(bag, stream), kOdOk);
    EXPECT_EQ(std::distance(bag.begin(), bag.end()), 1);
    EXPECT_TRUE(isSame(bag.getProperty(L"A"), stored(5)));
}

TEST_F(BagVersion, IsWhatAReaderTakesAnEntryOfItsNameFor)
{
    m_bag.setProperty(kClassVersionKey, static_cast<signed char>(2));
    const Blob newer = flatten(m_bag);
    m_bag.clear();
    m_bag.setProperty(kClassVersionKey, 1);
    ZemProperties bag;
    EXPECT_EQ(readBag(bag, newer), kOdRejectedVersion);
    EXPECT_EQ(readBag(bag, flatten(m_bag)), kOdRejectedVersion);
}

//--------------------------------------------------------------------------------------------------

TEST_F(BagOnObject, ComesBackFromExtendedData)
{
    m_bag.setVersion(1);
    m_bag.setProperty(L"A", 5);
    m_bag.setProperty(L"B", sample<MapOf<OdString>>());
    write(m_object);
    EXPECT_EQ(chainOf(m_object)->getString(), L"ZEM_DB");
    EXPECT_EQ(chainOf(m_object)->restype(), 1001);
    EXPECT_FALSE(hasBlob(m_object));
    ZemProperties other;
    other.setVersion(1);
    EXPECT_TRUE(read(other, m_object));
    EXPECT_TRUE(isSame(other, m_bag));
}

TEST_F(BagOnObject, StaysInExtendedDataUpTo15999Bytes)
{
    fillTo(15999);
    write(m_object);
    EXPECT_EQ(chunksOf(m_object), 126U);
    EXPECT_FALSE(hasBlob(m_object));
    ZemProperties other;
    EXPECT_TRUE(read(other, m_object));
    EXPECT_TRUE(isSame(other, m_bag));
}

TEST_F(BagOnObject, GoesToTheDictionaryFrom16000BytesOn)
{
    fillTo(16000);
    write(m_object);
    EXPECT_EQ(chunksOf(m_object), 0U);
    EXPECT_TRUE(hasBlob(m_object));
    ZemProperties other;
    EXPECT_TRUE(read(other, m_object));
    EXPECT_TRUE(isSame(other, m_bag));
}

TEST_F(BagOnObject, IsCutIntoChunksOf127Bytes)
{
    fillTo(127);
    write(m_object);
    EXPECT_EQ(chunksOf(m_object), 1U);
    fillTo(128);
    write(m_object);
    EXPECT_EQ(chunksOf(m_object), 2U);
}

TEST_F(BagOnObject, ReplacesWhatWasAttachedBefore)
{
    fillTo(1000);
    write(m_object);
    m_bag.clear();
    m_bag.setProperty(L"A", 5);
    write(m_object);
    ZemProperties other;
    EXPECT_TRUE(read(other, m_object));
    EXPECT_TRUE(isSame(other, m_bag));
}

TEST_F(BagOnObject, GoingBackToExtendedDataLeavesTheDictionaryEntryUnread)
{
    fillTo(20000);
    write(m_object);
    fillTo(100);
    write(m_object);
    EXPECT_TRUE(hasBlob(m_object));
    ZemProperties other;
    EXPECT_TRUE(read(other, m_object));
    EXPECT_TRUE(isSame(other, m_bag));
}

TEST_F(BagOnObject, EmptyOneRemovesExtendedData)
{
    fillTo(1000);
    write(m_object);
    m_bag.clear();
    write(m_object);
    EXPECT_EQ(chunksOf(m_object), 0U);
    ZemProperties other;
    EXPECT_FALSE(read(other, m_object));
}

TEST_F(BagOnObject, EmptyOneErasesTheDictionaryEntry)
{
    fillTo(20000);
    write(m_object);
    ASSERT_TRUE(hasBlob(m_object));
    m_bag.clear();
    write(m_object);
    EXPECT_FALSE(hasBlob(m_object));
    EXPECT_TRUE(m_object.safeOpenObject(OdDb::kForRead)->extensionDictionary().isNull());
    ZemProperties other;
    EXPECT_FALSE(read(other, m_object));
}

TEST_F(BagOnObject, LeavesExtendedDataOfOtherApplicationsAlone)
{
    m_database->newRegApp(L"OTHER");
    const OdResBufPtr chain = OdResBuf::newRb(OdResBuf::kXdAppName);
    chain->setString(L"OTHER");
    m_object.safeOpenObject(OdDb::kForWrite)->setXData(chain.get());
    const OdResBufPtr text = OdResBuf::newRb(OdResBuf::kXdString);
    text->setString(L"kept");
    chain->setNext(text.get());
    m_object.safeOpenObject(OdDb::kForWrite)->setXData(chain.get());
    m_bag.setProperty(L"A", 5);
    write(m_object);
    m_bag.clear();
    write(m_object);
    const OdResBufPtr other = m_object.safeOpenObject(OdDb::kForRead)->xData(L"OTHER");
    ASSERT_FALSE(other.isNull());
    EXPECT_EQ(other->next()->getString(), L"kept");
}

TEST_F(BagOnObject, KeepsTheKindOfAReferenceAndLosesTheId)
{
    m_bag.setProperty(L"id", m_object, kHardOwner);
    m_bag.setProperty(L"handle", m_object.getHandle());
    write(m_object);
    ZemProperties other;
    ASSERT_TRUE(read(other, m_object));
    EXPECT_TRUE(
        isSame(other.getProperty(L"id"), stored(OdDbTypedId(OdDbObjectId::kNull, kHardOwner))));
    EXPECT_TRUE(isSame(other.getProperty(L"handle"), stored(m_object.getHandle())));
}

TEST_F(BagOnObject, NeedsAnObjectInADatabase)
{
    m_bag.setProperty(L"A", 5);
    EXPECT_NO_THROW(m_bag.writeToDbObject(nullptr));
    const OdDbObjectPtr outside = OdDbXrecord::createObject();
    EXPECT_NO_THROW(m_bag.writeToDbObject(outside.get()));
    EXPECT_TRUE(outside->xData(L"ZEM_DB").isNull());
    EXPECT_FALSE(m_bag.readFromDbObject(nullptr));
    EXPECT_FALSE(m_bag.readFromDbObject(outside.get()));
    EXPECT_TRUE(isSame(m_bag.getProperty(L"A"), stored(5))) << "nothing was read";
}

TEST_F(BagOnObject, ThatIsNotOpenForWriteIsLeftUntouched)
{
    for (const std::size_t size : {100U, 20000U}) {
        fillTo(size);
        const OdDbObjectPtr object = m_object.safeOpenObject(OdDb::kForRead);
        EXPECT_EQ(thrownCode([&] { m_bag.writeToDbObject(object.get()); }), kOdNotOpenForWrite);
        EXPECT_TRUE(object->xData(L"ZEM_DB").isNull());
        EXPECT_TRUE(object->extensionDictionary().isNull());
    }
    EXPECT_FALSE(m_database->isRegisteredApp(L"ZEM_DB"));
}

TEST_F(BagOnObject, WithTextThatIsTooLongIsLeftUntouched)
{
    m_bag.setProperty(L"A", 5);
    write(m_object);
    m_bag.setProperty(L"B", OdString(L'x', 32768));
    const OdDbObjectPtr object = m_object.safeOpenObject(OdDb::kForWrite);
    EXPECT_EQ(thrownCode([&] { m_bag.writeToDbObject(object.get()); }), kOdBadStream);
    EXPECT_TRUE(object->extensionDictionary().isNull());
    ZemProperties other;
    EXPECT_TRUE(other.readFromDbObject(object.get()));
    EXPECT_TRUE(other.getProperty(L"B").isNull());
    EXPECT_TRUE(isSame(other.getProperty(L"A"), stored(5)));
}

TEST_F(BagOnObject, WithAnEntryWithoutANodeIsLeftUntouched)
{
    m_bag.setReferenceType(L"A", kHardOwner);
    const OdDbObjectPtr object = m_object.safeOpenObject(OdDb::kForWrite);
    EXPECT_EQ(thrownCode([&] { m_bag.writeToDbObject(object.get()); }), kOdNullObjectPointer);
    EXPECT_TRUE(object->xData(L"ZEM_DB").isNull());
}

TEST_F(BagOnObject, IsFalseWithoutAnythingAttached)
{
    m_bag.setProperty(L"A", 5);
    EXPECT_FALSE(read(m_bag, m_object));
    EXPECT_TRUE(isSame(m_bag.getProperty(L"A"), stored(5)));
}

/// Attaches raw bytes as a bag.
void attach(OdDbObjectId id, Blob const& data)
{
    const OdResBufPtr chain = OdResBuf::newRb(OdResBuf::kXdAppName);
    chain->setString(L"ZEM_DB");
    FlatReader(data).appendToResBuf(chain.get());
    id.database()->newRegApp(L"ZEM_DB");
    id.safeOpenObject(OdDb::kForWrite)->setXData(chain.get());
}

TEST_F(BagOnObject, IsFalseForMalformedContent)
{
    const struct
    {
        const char* name;
        Blob data;
    } kRows[] = {
        {"unknown type", count(1) + bytes({1, 0, 0x41, 99, 0, 0, 0})},
        {"newer version", count(1) + versionItem(2)},
        {"version of another type", count(1) + bytes({4, 0, 0x5F, 0x76, 0x65, 0x72, 3, 1})},
        {"reference kind above 3", count(1) + bytes({1, 0, 0x41, 8, 4})},
        {"negative length of a text", count(1) + bytes({0xFF, 0xFF, 0x41, 3, 0, 0, 0, 0})},
        {"cut off", count(1) + bytes({1, 0, 0x41, 3, 0})},
        {"less than a count", bytes({1})},
    };
    for (auto const& row : kRows) {
        attach(m_object, row.data);
        ZemProperties bag;
        EXPECT_FALSE(read(bag, m_object)) << row.name;
    }
}

TEST_F(BagOnObject, CutAtAnyLengthIsFalseInBothForms)
{
    m_bag.setVersion(1);
    m_bag.setProperty(L"A", 5);
    m_bag.setProperty(L"B", sample<MapOf<OdString>>());
    const Blob whole = flatten(m_bag);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Blob cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        ZemProperties bag;
        attach(m_object, cut);
        EXPECT_FALSE(read(bag, m_object)) << length;
        attach(m_object, Blob());
        ZemDbExtensionDataImpl::writeToDictionary(m_object.safeOpenObject(OdDb::kForWrite).get(),
                                                  cut, L"ZEM_DB");
        EXPECT_FALSE(read(bag, m_object)) << length << " in the dictionary";
    }
}

TEST_F(BagOnObject, WithAnyBitFlippedIsReadOrFalseInBothForms)
{
    m_bag.setVersion(1);
    m_bag.setProperty(L"A", 5);
    m_bag.setProperty(L"B", sample<MapOf<OdString>>());
    const Blob whole = flatten(m_bag);
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        Blob damaged = whole;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        ZemProperties expected;
        const bool isRead = tryReadBag(expected, damaged) == kOdOk;
        ZemProperties bag;
        attach(m_object, damaged);
        EXPECT_EQ(read(bag, m_object), isRead) << bit;
        EXPECT_TRUE(isSame(bag, expected)) << bit;
        attach(m_object, Blob());
        ZemDbExtensionDataImpl::writeToDictionary(m_object.safeOpenObject(OdDb::kForWrite).get(),
                                                  damaged, L"ZEM_DB");
        EXPECT_EQ(read(bag, m_object), isRead) << bit << " in the dictionary";
        EXPECT_TRUE(isSame(bag, expected)) << bit << " in the dictionary";
    }
}

TEST_F(BagOnObject, LetsExceptionsOtherThanItsOwnPass)
{
    m_bag.setProperty(L"A", 5);
    write(m_object);
    ZemProperties bound;
    bound.mapProperty<int>(L"A", nullptr, nullptr);
    EXPECT_THROW(read(bound, m_object), std::bad_function_call);
}

TEST_F(BagOnObject, RegistersItsApplication)
{
    EXPECT_TRUE(ZemProperties::regAppName(nullptr, true).isNull());
    EXPECT_TRUE(ZemProperties::regAppName(m_database.get(), false).isNull());
    m_bag.setProperty(L"A", 5);
    write(m_object);
    const OdDbObjectId id = ZemProperties::regAppName(m_database.get(), false);
    ASSERT_FALSE(id.isNull());
    EXPECT_TRUE(ZemProperties::regAppName(m_database.get(), true) == id);
    const OdSmartPtr<OdDbRegAppTableRecord> record = id.safeOpenObject();
    EXPECT_EQ(record->getName(), L"ZEM_DB");
}

TEST_F(BagOnObject, RegistersItsApplicationOnRequest)
{
    const OdDbObjectId id = ZemProperties::regAppName(m_database.get(), true);
    EXPECT_FALSE(id.isNull());
    EXPECT_TRUE(m_database->isRegisteredApp(L"ZEM_DB"));
}

TEST_F(BagOnObject, RegistersItsApplicationForAnEmptyBagToo)
{
    write(m_object);
    EXPECT_TRUE(m_database->isRegisteredApp(L"ZEM_DB"));
}

TEST_F(BagOnObject, IsUndoneInBothForms)
{
    m_database->startUndoRecord();
    m_bag.setProperty(L"A", 1);
    write(m_object);
    m_database->startUndoRecord();
    fillTo(20000);
    write(m_object);
    ASSERT_EQ(m_database->undo(), kOdOk);
    ZemProperties other;
    EXPECT_TRUE(read(other, m_object));
    EXPECT_TRUE(isSame(other.getProperty(L"A"), stored(1)));
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_TRUE(read(other, m_object));
    EXPECT_TRUE(isSame(other, m_bag));
}

//--------------------------------------------------------------------------------------------------
// Random changes of what an object has attached

/// What an object has attached: numbers that stand for bags and for a serialised object, 0 for none.
struct Attached
{
    int inExtendedData = 0;
    int inDictionary = 0;
    int otherBlob = 0;
};

/// An object with a bag and another blob attached, beside what there should be.
class AttachedModel
{
public:
    void write(int number, bool isLarge)
    {
        ZemProperties bag;
        fill(bag, number, isLarge);
        bag.writeToDbObject(open(OdDb::kForWrite).get());
        if (number == 0) {
            m_state = Attached();
        } else if (isLarge) {
            m_state = Attached{0, number, m_state.otherBlob};
        } else {
            m_state.inExtendedData = number;
        }
        m_undone.clear();
    }
    void writeOther(int number)
    {
        const OdDbObjectPtr object = open(OdDb::kForWrite);
        if (number == 0) {
            ZemDbExtensionDataImpl::eraseFromDictionary(object.get(), L"other");
            m_state.inDictionary = 0;
        } else {
            ZemDbExtensionDataImpl::writeToDictionary(object.get(), bytes({number}), L"other");
        }
        m_state.otherBlob = number;
        m_undone.clear();
    }
    void mark()
    {
        m_database->startUndoRecord();
        m_done.push_back(m_state);
    }
    void undo()
    {
        if (!m_done.empty()) {
            RC_ASSERT(m_database->undo() == kOdOk);
            m_undone.push_back(std::exchange(m_state, m_done.back()));
            m_done.pop_back();
        }
    }
    void redo()
    {
        if (!m_undone.empty()) {
            RC_ASSERT(m_database->redo() == kOdOk);
            m_done.push_back(std::exchange(m_state, m_undone.back()));
            m_undone.pop_back();
        }
    }
    /// Keeps the extension dictionary and what is in it open, as a caller may.
    void hold(OdDb::OpenMode mode)
    {
        m_held.clear();
        const OdDbObjectPtr object = open(OdDb::kForRead);
        m_held.push_back(object->extensionDictionary().openObject(mode));
        m_held.push_back(
            ZemDbExtensionDataImpl::getObjInExtDict(object.get(), false).openObject(mode));
    }
    void check() const
    {
        const OdDbObjectPtr object = open(OdDb::kForRead);
        const int number =
            m_state.inExtendedData != 0 ? m_state.inExtendedData : m_state.inDictionary;
        ZemProperties bag;
        RC_ASSERT(bag.readFromDbObject(object.get()) == (number != 0));
        ZemProperties expected;
        fill(expected, number, m_state.inExtendedData == 0);
        RC_ASSERT(isSame(bag, expected));
        Blob other;
        const bool hasOther =
            ZemDbExtensionDataImpl::readFromDictionary(object.get(), other, L"other");
        RC_ASSERT(hasOther == (m_state.otherBlob != 0));
        RC_ASSERT(!hasOther || other == bytes({m_state.otherBlob}));
        RC_ASSERT(object->extensionDictionary().isNull() ==
                  (m_state.inDictionary == 0 && m_state.otherBlob == 0));
    }

private:
    static void fill(ZemProperties& bag, int number, bool isLarge)
    {
        if (number != 0) {
            bag.setProperty(L"number", number);
            bag.setProperty(L"blob", Blob(isLarge ? 16000 : 200, 'x'));
        }
    }
    OdDbObjectPtr open(OdDb::OpenMode mode) const { return m_id.safeOpenObject(mode); }
    OdDbObjectId addObject() const
    {
        const OdDbObjectPtr object = OdDbXrecord::createObject();
        return m_database->addOdDbObject(object.get());
    }

    ZemModuleScope m_scope;
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    OdDbObjectId m_id = addObject();
    Attached m_state;
    std::vector<Attached> m_done;
    std::vector<Attached> m_undone;
    std::vector<OdDbObjectPtr> m_held;
};

RC_GTEST_PROP(BagOnObjectModel, GivesWhatWasAttachedLastThroughUndoAndRedo, ())
{
    AttachedModel model;
    const int steps = *rc::gen::inRange(1, 25);
    for (int step = 0; step < steps; ++step) {
        const int number = *rc::gen::inRange(0, 4);
        const int kind = *rc::gen::inRange(0, 8);
        if (kind < 3 && *rc::gen::arbitrary<bool>()) {
            model.mark();
        }
        switch (kind) {
        case 0:
        case 1:
            model.write(number, /*isLarge=*/kind == 1);
            break;
        case 2:
            model.writeOther(number);
            break;
        case 3:
        case 4:
            model.undo();
            break;
        case 5:
            model.redo();
            break;
        case 6:
            model.hold(OdDb::kForRead);
            break;
        default:
            model.hold(OdDb::kForWrite);
        }
        model.check();
    }
}

//--------------------------------------------------------------------------------------------------
// Random bags of all types

OdString randomText()
{
    std::wstring text;
    const int length = *rc::gen::inRange(0, 8);
    for (int i = 0; i < length; ++i) {
        text.push_back(static_cast<wchar_t>(
            *rc::gen::weightedOneOf<int>({{4, rc::gen::inRange(0x20, 0x7F)},
                                          {1, rc::gen::inRange(0xA0, 0xD7FF)},
                                          {1, rc::gen::inRange(0x1F300, 0x1F6FF)}})));
    }
    return OdString(text.c_str());
}

/// Fills in random values; ids come from a fixed list.
class RandomValues
{
public:
    explicit RandomValues(std::vector<OdDbObjectId> ids) : m_ids(std::move(ids)) {}

    void fill(OdString& value) { value = randomText(); }
    void fill(int& value) { value = *rc::gen::arbitrary<int>(); }
    void fill(double& value)
    {
        // A number of order only, as the order of keys needs, and no denormal.
        value = std::ldexp(*rc::gen::arbitrary<int>(), *rc::gen::inRange(-60, 60)) + 0.0;
    }
    void fill(bool& value) { value = *rc::gen::arbitrary<bool>(); }
    void fill(signed char& value) { value = *rc::gen::arbitrary<signed char>(); }
    void fill(OdDbHandle& value) { value = OdDbHandle(*rc::gen::arbitrary<std::uint64_t>()); }
    void fill(OdDbTypedId& value)
    {
        value = OdDbTypedId(*rc::gen::elementOf(m_ids),
                            static_cast<OdDb::ReferenceType>(*rc::gen::inRange(0, 4)));
    }
    void fill(Blob& value) { value = *rc::gen::container<Blob>(rc::gen::arbitrary<char>()); }
    void fill(ZemPropertyDataPtr& value)
    {
        ++m_depth;
        // Deep down only scalars, so that a value comes to an end.
        value = node(*rc::gen::inRange(0, m_depth < 4 ? 80 : 8));
        --m_depth;
    }
    template <class T, class A>
    void fill(OdArray<T, A>& value)
    {
        const int length = *rc::gen::inRange(0, 4);
        for (int i = 0; i < length; ++i) {
            T element{};
            fill(element);
            value.append(element);
        }
    }
    template <class K, class V>
    void fill(std::map<K, V>& value)
    {
        const int length = *rc::gen::inRange(0, 4);
        for (int i = 0; i < length; ++i) {
            K key{};
            fill(key);
            fill(value[key]);
        }
    }

    /// A stored value of the type with that number, 0 to 79; scalars come first.
    ZemPropertyDataPtr node(int type)
    {
        ZemPropertyDataPtr result;
        int current = 0;
        forEachValueType([&]<class T> {
            if (current++ == type) {
                T value{};
                fill(value);
                result = stored(value);
            }
        });
        return result;
    }

    void fillBag(ZemProperties& bag)
    {
        const int entries = *rc::gen::inRange(0, 6);
        for (int i = 0; i < entries; ++i) {
            const OdString name = randomText() + static_cast<wchar_t>(L'0' + i);
            const ZemPropertyDataPtr value = node(*rc::gen::inRange(0, 80));
            forEachValueType([&]<class T> {
                T data{};
                if (value->get(data)) {
                    bag.setProperty(name, data);
                }
            });
        }
    }

private:
    std::vector<OdDbObjectId> m_ids;
    int m_depth = 0;
};

RC_GTEST_PROP(RandomBag, IsTheSameThroughTheFlatFiler, ())
{
    const OdDbPlatform platform;
    ZemProperties bag;
    bag.setVersion(*rc::gen::inRange(0, 3));
    // The flat filer keeps no ids, so only the null id can be the same.
    RandomValues({OdDbObjectId::kNull}).fillBag(bag);
    const Blob data = flatten(bag);
    ZemProperties read;
    read.setVersion(bag.version());
    RC_ASSERT(readBag(read, data) == kOdOk);
    RC_ASSERT(isSame(read, bag));
    RC_ASSERT(flatten(read) == data);
}

RC_GTEST_PROP(RandomBag, IsTheSameThroughTheMemoryFiler, ())
{
    const OdDbPlatform platform;
    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    ZemProperties bag;
    RandomValues({OdDbObjectId::kNull, database->getModelSpaceId(), database->getLayerTableId(),
                  database->getOdDbObjectId(OdDbHandle(0x7777), /*create=*/true)})
        .fillBag(bag);
    MemoryFiler filer(*rc::gen::element(OdDb::FilerType::kFileFiler, OdDb::FilerType::kCopyFiler,
                                        OdDb::FilerType::kUndoFiler),
                      database.get());
    bag.dwgOutFields(&filer);
    filer.rewindForReading();
    ZemProperties read;
    RC_ASSERT(read.dwgInFields(&filer) == kOdOk);
    RC_ASSERT(filer.bytesLeft() == 0U);
    RC_ASSERT(isSame(read, bag));
}

RC_GTEST_PROP(RandomBag, WithRandomDamageGivesAToldResult, ())
{
    const OdDbPlatform platform;
    const AssertionLog assertions;
    ZemProperties bag;
    RandomValues({OdDbObjectId::kNull}).fillBag(bag);
    Blob data = flatten(bag);
    const int damages = *rc::gen::inRange(1, 4);
    for (int i = 0; i < damages; ++i) {
        const auto at =
            static_cast<std::size_t>(*rc::gen::inRange<int>(0, static_cast<int>(data.size())));
        data[at] = *rc::gen::arbitrary<char>();
    }
    ZemProperties read;
    const OdResult result = tryReadBag(read, data);
    RC_ASSERT(result == kOdOk || result == kOdBadStream || result == kOdRejectedVersion);
    (void)flatten(read);
}

}  // namespace
