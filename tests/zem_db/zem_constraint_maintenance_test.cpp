#include "stored_link_test_support.h"
#include "zem_constraint.h"
#include "zem_constraint_maintenance.h"
#include "zem_properties.h"

#include <limits>
#include <set>
#include <utility>
#include <vector>

using namespace stored_link_test;

namespace {

using Pairs = std::vector<std::pair<OdString, OdString>>;

class OldPropertyMap : public StoredLinkTest
{
protected:
    static void write(OdDbDwgFiler& filer, Pairs const& pairs)
    {
        filer.wrInt32(static_cast<std::int32_t>(pairs.size()));
        for (auto const& [key, value] : pairs) {
            filer.wrString(key);
            filer.wrString(value);
        }
    }
    OdResult read(Pairs const& pairs)
    {
        MemoryFiler filer;
        write(filer, pairs);
        filer.rewindForReading();
        const OdResult result = zemu::dwgInOldPropertyMap(&filer, m_bag);
        EXPECT_EQ(filer.bytesLeft(), 0u);
        return result;
    }
    /// The bag as pairs; an entry that is no text fails.
    Pairs texts() const
    {
        Pairs pairs;
        for (auto const& [name, node] : m_bag) {
            OdString value;
            EXPECT_TRUE(m_bag.getProperty(name, value));
            pairs.emplace_back(name, value);
        }
        return pairs;
    }
    OdString orientationOf(Pairs const& pairs)
    {
        EXPECT_EQ(read(pairs), kOdOk);
        OdString text;
        EXPECT_TRUE(m_bag.getProperty(L"AngleArgsOrientation", text));
        return text;
    }

    ZemProperties m_bag;
};

class ExtendedPathOrder : public StoredLinkTest
{
};

const OdString kFirst(L"AngleFirstArgOrientation");
const OdString kSecond(L"AngleSecondArgOrientation");
const OdString kThird(L"AngleThirdArgOrientation");
const OdString kNegative(L"Negative");

}  // namespace

//--------------------------------------------------------------------------------------------------
// The oldest form of bags

TEST_F(OldPropertyMap, BecomesTexts)
{
    EXPECT_EQ(read({{L"b", L"2"}, {L"a", L""}, {L"\x00E4\x20AC", L"\x1F600"}}), kOdOk);
    EXPECT_EQ(texts(), (Pairs{{L"a", L""}, {L"b", L"2"}, {L"\x00E4\x20AC", L"\x1F600"}}));
}

TEST_F(OldPropertyMap, IsReadFromItsBytes)
{
    const Record golden{{0x04,                       // pairs: 2
                         0x01, 'k', 0x02, 'v', '1',  // k: v1
                         0x18, 'A', 'n',  'g', 'l', 'e', 'F', 'i', 'r', 's', 't', 'A', 'r',
                         'g',  'O', 'r',  'i', 'e', 'n', 't', 'a', 't', 'i', 'o', 'n',  //
                         0x08, 'N', 'e',  'g', 'a', 't', 'i', 'v', 'e'},
                        {}};
    EXPECT_EQ(
        readRecord(m_database.get(), golden,
                   [this](OdDbDwgFiler* filer) { return zemu::dwgInOldPropertyMap(filer, m_bag); }),
        kOdOk);
    EXPECT_EQ(texts(), (Pairs{{L"AngleArgsOrientation", L"-++"}, {L"k", L"v1"}}));
}

TEST_F(OldPropertyMap, OnlyTheSecondAngleNegativeGivesPlusMinusPlus)
{
    EXPECT_EQ(orientationOf({{kSecond, kNegative}}), L"+-+");
}

TEST_F(OldPropertyMap, EachAngleHasItsPlace)
{
    EXPECT_EQ(orientationOf({{kFirst, kNegative}}), L"-++");
    EXPECT_EQ(orientationOf({{kThird, kNegative}}), L"++-");
    EXPECT_EQ(orientationOf({{kThird, kNegative}, {kFirst, kNegative}}), L"-+-");
    EXPECT_EQ(orientationOf({{kFirst, kNegative}, {kSecond, kNegative}, {kThird, kNegative}}),
              L"---");
    EXPECT_TRUE(m_bag.getProperty(kFirst).isNull());
}

TEST_F(OldPropertyMap, AnAngleThatIsNotNegativeGivesAPlus)
{
    for (wchar_t const* value : {L"Positive", L"", L"negative", L"Negative ", L"?"}) {
        EXPECT_EQ(orientationOf({{kFirst, kNegative}, {kFirst, value}}), L"+++");
    }
}

TEST_F(OldPropertyMap, WithoutAnglesHasNoOrientation)
{
    EXPECT_EQ(read({{L"key", L"value"}}), kOdOk);
    EXPECT_TRUE(m_bag.getProperty(L"AngleArgsOrientation").isNull());
}

TEST_F(OldPropertyMap, TheAnglesGoBeforeAnOrientationOfThatName)
{
    EXPECT_EQ(orientationOf({{kFirst, kNegative}, {L"AngleArgsOrientation", L"other"}}), L"-++");
    EXPECT_EQ(orientationOf({{L"AngleArgsOrientation", L"other"}}), L"other");
}

TEST_F(OldPropertyMap, EmptyKeysAreSkippedAndLaterPairsGoBeforeEarlierOnes)
{
    EXPECT_EQ(read({{L"", L"lost"}, {L"key", L"1"}, {L"", L""}, {L"key", L"2"}}), kOdOk);
    EXPECT_EQ(texts(), (Pairs{{L"key", L"2"}}));
}

TEST_F(OldPropertyMap, TakesEverythingOutOfTheBagFirst)
{
    int bound = 3;
    m_bag.mapProperty(L"bound", &bound);
    m_bag.setProperty(L"stored", 1.0);
    EXPECT_EQ(read({}), kOdOk);
    EXPECT_TRUE(m_bag.isEmpty());
    m_bag.mapProperty(L"bound", &bound);
    EXPECT_EQ(read({{L"bound", L"5"}}), kOdOk);
    EXPECT_EQ(texts(), (Pairs{{L"bound", L"5"}}));
    EXPECT_EQ(bound, 3);
}

TEST_F(OldPropertyMap, ThatIsDamagedLeavesTheBagAsItWas)
{
    m_bag.setProperty(L"kept", OdString(L"text"));
    MemoryFiler whole;
    write(whole, {{L"key", L"value"}, {kFirst, kNegative}});
    for (std::size_t length = 0; length < whole.bytes().size(); ++length) {
        MemoryFiler filer;
        filer.readFrom(std::span(whole.bytes()).first(length));
        EXPECT_EQ(resultOf([&] { return zemu::dwgInOldPropertyMap(&filer, m_bag); }), kOdBadStream)
            << length;
        EXPECT_EQ(texts(), (Pairs{{L"kept", L"text"}})) << length;
    }
    for (const std::int32_t count :
         {-1, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
        MemoryFiler filer;
        filer.wrInt32(count);
        filer.wrString(L"key");
        filer.rewindForReading();
        EXPECT_EQ(resultOf([&] { return zemu::dwgInOldPropertyMap(&filer, m_bag); }), kOdBadStream);
        EXPECT_EQ(texts(), (Pairs{{L"kept", L"text"}}));
    }
}

TEST_F(OldPropertyMap, WithAnyBitFlippedGivesTextsOrIsABadStream)
{
    const Record whole = recordOf(m_database.get(), [](OdDbDwgFiler* filer) {
        write(*filer, {{L"key", L"value"}, {kFirst, kNegative}});
    });
    for (std::size_t bit = 0; bit < 8 * whole.body.size(); ++bit) {
        Record flipped = whole;
        flipped.body[bit / 8] ^= static_cast<std::uint8_t>(1u << bit % 8);
        const OdResult result = resultOf([&] {
            return readRecord(m_database.get(), flipped, [this](OdDbDwgFiler* filer) {
                return zemu::dwgInOldPropertyMap(filer, m_bag);
            });
        });
        EXPECT_TRUE(result == kOdOk || result == kOdBadStream) << bit;
        (void)texts();
    }
}

//--------------------------------------------------------------------------------------------------
// Orders

TEST_F(ExtendedPathOrder, PutsPartsOfCoordinateSystemsBeforeAllPaths)
{
    const OdDbFullSubentPath face({m_solid}, OdDbSubentId(kFace, 1));
    const OdDbFullSubentPath edge({m_solid}, OdDbSubentId(kEdge, 1));
    const std::vector<ZemExtendedPath> ascending{
        {edge, kCsNone, true},   {OdDbFullSubentPath(), kCsOrigin, true},
        {face, kCsXAxis, true},  {OdDbFullSubentPath(), kCsZXPlane, true},
        {{}, kCsZXPlane, false}, {face, kCsYAxis, false},
        {edge, kCsNone, false},
    };
    for (std::size_t left = 0; left < ascending.size(); ++left) {
        for (std::size_t right = 0; right < ascending.size(); ++right) {
            EXPECT_EQ(zemu::compareExtendedPath(ascending[left], ascending[right]),
                      left < right ? -1 : (left > right ? 1 : 0))
                << left << ' ' << right;
        }
    }
}

TEST_F(ExtendedPathOrder, LooksAtThePartOfASystemOrAtThePathAlone)
{
    const OdDbFullSubentPath face({m_solid}, OdDbSubentId(kFace, 1));
    EXPECT_EQ(zemu::compareExtendedPath({face, kCsOrigin, true}, {{}, kCsOrigin, true}), 0);
    EXPECT_EQ(zemu::compareExtendedPath({face, kCsOrigin, false}, {face, kCsXAxis, false}), 0);
}

//--------------------------------------------------------------------------------------------------
// Names

TEST(RemoveNumericSuffix, TakesDigitsAndOneUnderscoreAway)
{
    struct Case
    {
        wchar_t const* name;
        wchar_t const* expected;
    };
    constexpr Case kCases[] = {
        {L"Name_12", L"Name"},
        {L"Name12", L"Name"},
        {L"Name", L"Name"},
        {L"Name_", L"Name"},
        {L"Name__7", L"Name_"},
        {L"Name_1_2", L"Name_1"},
        {L"1Name2x", L"1Name2x"},
        {L"0123456789", L""},
        {L"_1", L""},
        {L"", L""},
        {L"_", L""},
        {L"N\x0661", L"N\x0661"},
        {L"\x00E4\x1F600_3", L"\x00E4\x1F600"},
    };
    for (Case const& row : kCases) {
        EXPECT_EQ(zemu::removeNumericSuffix(row.name), row.expected);
    }
}

TEST(GenerateUniqueName, TakesTheFirstNumberThatIsFree)
{
    std::set<OdString> names{L"Name_3"};
    EXPECT_EQ(zemu::generateUniqueName(L"Name", names, 3), L"Name_4");
    EXPECT_EQ(names, (std::set<OdString>{L"Name_3", L"Name_4"}));
    EXPECT_EQ(zemu::generateUniqueName(L"Name", names, 3), L"Name_5");
    EXPECT_EQ(zemu::generateUniqueName(L"Name", names, 1), L"Name_1");
}

TEST(GenerateUniqueName, GoesOnBeyondTheGreatestStart)
{
    std::set<OdString> names;
    constexpr int kGreatest = std::numeric_limits<int>::max();
    EXPECT_EQ(zemu::generateUniqueName(L"N", names, kGreatest), L"N_2147483647");
    EXPECT_EQ(zemu::generateUniqueName(L"N", names, kGreatest), L"N_2147483648");
}

TEST(GenerateUniqueName, TakesAnyBaseAndAnyNumber)
{
    std::set<OdString> names;
    EXPECT_EQ(zemu::generateUniqueName(L"", names, 0), L"_0");
    EXPECT_EQ(zemu::generateUniqueName(L"%d\x1F600", names, -2), L"%d\x1F600_-2");
    EXPECT_EQ(zemu::generateUniqueName(L"%d\x1F600", names, -2), L"%d\x1F600_-1");
}
