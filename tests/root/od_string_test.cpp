#include "root/od_alloc.h"
#include "root/od_string.h"

#include "root_test_support.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <atomic>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <limits>
#include <map>
#include <thread>
#include <unordered_map>
#include <vector>

namespace {

// Strings at file scope, as modules have them for their keys.
OdString const kKeyFromWide(L"IsEnabled");
OdString const kKeyFromEmpty = OdString::kEmpty + L"made before main";

std::wstring const kMixed = L"a\u00E4\u20AC\U0001F600z";
std::string const kMixedUtf8 = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z";

OdString narrow(std::string const& bytes)
{
    return OdString::fromUtf8(bytes);
}

OdString wide(std::wstring const& text)
{
    return OdString::fromWide(text);
}

/// Blocks that a call leaves behind or frees.
template <class Call>
std::int64_t blocksMadeBy(Call call)
{
    std::int64_t const before = odrxLiveBlocks();
    call();
    return odrxLiveBlocks() - before;
}

TEST(OdString, IsOnePointer)
{
    EXPECT_EQ(sizeof(OdString), sizeof(void*));
}

TEST(OdString, WorksAtFileScope)
{
    EXPECT_EQ(kKeyFromWide, L"IsEnabled");
    EXPECT_EQ(kKeyFromEmpty, L"made before main");
}

TEST(OdString, IsEmptyWithoutText)
{
    EXPECT_TRUE(OdString().isEmpty());
    EXPECT_TRUE(OdString::kEmpty.isEmpty());
    EXPECT_TRUE(OdString(static_cast<wchar_t const*>(nullptr)).isEmpty());
    EXPECT_TRUE(OdString(static_cast<char const*>(nullptr)).isEmpty());
    EXPECT_TRUE(OdString(L"").isEmpty());
    EXPECT_TRUE(OdString("").isEmpty());
    EXPECT_EQ(OdString().getLength(), 0);
    EXPECT_STREQ(OdString().c_str(), L"");
    EXPECT_STREQ(static_cast<char const*>(OdString()), "");
}

TEST(OdString, AllocatesNothingWhileEmpty)
{
    OdString text;
    EXPECT_EQ(blocksMadeBy([&] { text = OdString(L""); }), 0);
    EXPECT_EQ(blocksMadeBy([&] { (void)text.c_str(); }), 0);
    EXPECT_EQ(blocksMadeBy([&] { (void)text.utf8(); }), 0);
}

TEST(OdString, MakesTheOtherFormOnlyWhenItIsAskedFor)
{
    OdString text;
    EXPECT_EQ(blocksMadeBy([&] { text = narrow(kMixedUtf8); }), 1);
    EXPECT_EQ(blocksMadeBy([&] { (void)text.utf8(); }), 0);
    EXPECT_EQ(blocksMadeBy([&] { (void)text.getLength(); }), 0);
    EXPECT_EQ(blocksMadeBy([&] { (void)(text == kMixed.c_str()); }), 0);
    EXPECT_EQ(blocksMadeBy([&] { (void)text.c_str(); }), 1);
    EXPECT_EQ(blocksMadeBy([&] { text.syncUnicode(); }), 0);
    EXPECT_EQ(blocksMadeBy([&] { text.empty(); }), -2);
}

TEST(OdString, MakesTheNarrowFormOfWideTextOnlyWhenItIsAskedFor)
{
    OdString text;
    EXPECT_EQ(blocksMadeBy([&] { text = wide(kMixed); }), 1);
    EXPECT_EQ(blocksMadeBy([&] {
                  std::string bytes = "x";
                  text.appendUtf8To(bytes);
                  EXPECT_EQ(bytes, "x" + kMixedUtf8);
              }),
              0);
    EXPECT_EQ(blocksMadeBy([&] { (void)static_cast<char const*>(text); }), 1);
}

TEST(OdString, HasBothFormsWhicheverItWasMadeWith)
{
    for (OdString const& text : {narrow(kMixedUtf8), wide(kMixed)}) {
        EXPECT_EQ(text.wide(), kMixed);
        EXPECT_EQ(text.utf8(), kMixedUtf8);
        EXPECT_EQ(text.getLength(), 5);
        EXPECT_STREQ(text.c_str(), kMixed.c_str());
        EXPECT_STREQ(static_cast<char const*>(text), kMixedUtf8.c_str());
    }
}

TEST(OdString, KeepsACharacterZeroInside)
{
    OdString const text = wide(std::wstring(L"a\0b", 3));
    EXPECT_EQ(text.getLength(), 3);
    EXPECT_EQ(text.utf8(), std::string_view("a\0b", 3));
    EXPECT_NE(text, L"a");
    EXPECT_EQ(text, narrow(std::string("a\0b", 3)));
}

TEST(OdString, SharesOneBufferUntilACopyIsChanged)
{
    OdString const original(L"shared");
    OdString copy = original;
    EXPECT_EQ(copy.c_str(), original.c_str());
    copy.setAt(0, L'S');
    EXPECT_EQ(original, L"shared");
    EXPECT_EQ(copy, L"Shared");
}

TEST(OdString, SurvivesAssignmentToItself)
{
    OdString text(L"self");
    OdString const& alias = text;
    text = alias;
    EXPECT_EQ(text, L"self");
}

TEST(OdString, MovesWithoutAllocation)
{
    OdString source(L"text");
    EXPECT_EQ(blocksMadeBy([&] {
                  OdString const target = std::move(source);
                  EXPECT_EQ(target, L"text");
              }),
              -1);
}

TEST(OdString, RepeatsACharacter)
{
    EXPECT_EQ(OdString(L'x', 3), L"xxx");
    EXPECT_TRUE(OdString(L'x', 0).isEmpty());
    EXPECT_TRUE(OdString(L'x', -1).isEmpty());
}

TEST(OdStringCodePage, ConvertsEachPage)
{
    EXPECT_EQ(OdString("\xE4\x80", OdCodePageId::kAnsi1252), L"\u00E4\u20AC");
    EXPECT_EQ(OdString("\xE4\x80", OdCodePageId::kIso8859_1), L"\u00E4\u0080");
    EXPECT_EQ(OdString("\xC3\xA4", OdCodePageId::kUtf8), L"\u00E4");
    EXPECT_EQ(OdString("\xC3\xA4", OdCodePageId::kDefault), L"\u00E4");
    EXPECT_EQ(OdString("\xC3\xA4"), L"\u00E4");
}

TEST(OdStringCodePage, RefusesAPageThatIsNotKnown)
{
    EXPECT_EQ(thrownCode([] { (void)OdString("a", static_cast<OdCodePageId>(437)); }),
              kOdInvalidInput);
    EXPECT_EQ(thrownCode([] { (void)OdAnsiString(OdString(L"a"), static_cast<OdCodePageId>(1)); }),
              kOdInvalidInput);
}

TEST(OdStringAccessors, RefusePositionsOutside)
{
    OdString text(L"ab");
    EXPECT_EQ(text[0], L'a');
    EXPECT_EQ(text.getAt(1), L'b');
    EXPECT_THROW((void)text[2], OdError_InvalidIndex);
    EXPECT_THROW((void)text.getAt(-1), OdError_InvalidIndex);
    EXPECT_THROW(text.setAt(2, L'x'), OdError_InvalidIndex);
    EXPECT_THROW(text.setAt(-1, L'x'), OdError_InvalidIndex);
    EXPECT_THROW((void)OdString()[0], OdError_InvalidIndex);
}

TEST(OdStringFind, AnswersTheFirstPositionFromTheStart)
{
    OdString const text(L"abcabc");
    EXPECT_EQ(text.find(L'b'), 1);
    EXPECT_EQ(text.find(L'b', 2), 4);
    EXPECT_EQ(text.find(L"ca"), 2);
    EXPECT_EQ(text.find("bc", -3), 1);
    EXPECT_EQ(text.find(L'x'), -1);
    EXPECT_EQ(text.find(L'a', 6), -1);
    EXPECT_EQ(text.find(L'a', 60), -1);
    EXPECT_EQ(text.find(L"", 6), 6);
    EXPECT_EQ(text.find(L"", 7), -1);
    EXPECT_EQ(text.reverseFind(L'b'), 4);
    EXPECT_EQ(text.reverseFind(L'x'), -1);
    EXPECT_EQ(OdString().reverseFind(L'x'), -1);
}

TEST(OdStringParts, AreCutDownToTheText)
{
    OdString const text(L"abcdef");
    EXPECT_EQ(text.mid(2), L"cdef");
    EXPECT_EQ(text.mid(2, 3), L"cde");
    EXPECT_EQ(text.mid(2, 30), L"cdef");
    EXPECT_EQ(text.mid(-2, 2), L"ab");
    EXPECT_EQ(text.mid(2, -1), L"");
    EXPECT_EQ(text.mid(9), L"");
    EXPECT_EQ(text.mid(0), text);
    EXPECT_EQ(text.left(2), L"ab");
    EXPECT_EQ(text.left(-1), L"");
    EXPECT_EQ(text.left(9), text);
    EXPECT_EQ(text.right(2), L"ef");
    EXPECT_EQ(text.right(-1), L"");
    EXPECT_EQ(text.right(9), text);
    EXPECT_EQ(text.mid(1, std::numeric_limits<int>::max()), L"bcdef");
}

TEST(OdStringParts, ShareTheBufferWhereTheyAreTheWhole)
{
    OdString const text(L"abc");
    EXPECT_EQ(text.left(3).c_str(), text.c_str());
}

TEST(OdStringSpanExcluding, EndsAtTheFirstCharacterOfTheSet)
{
    EXPECT_EQ(OdString(L"name|block").spanExcluding(L"|*"), L"name");
    EXPECT_EQ(OdString(L"|block").spanExcluding(L"|"), L"");
    EXPECT_EQ(OdString(L"name").spanExcluding(L"|"), L"name");
    EXPECT_EQ(OdString(L"name").spanExcluding(L""), L"name");
}

TEST(OdStringTrim, CutsWhiteSpaceAtOneEnd)
{
    EXPECT_EQ(OdString(L" \t\n\u3000 a b \r").trimLeft(), L"a b \r");
    EXPECT_EQ(OdString(L" a b \r\u2003").trimRight(), L" a b");
    EXPECT_EQ(OdString(L"  ").trimLeft(), L"");
    EXPECT_EQ(OdString(L"  ").trimRight(), L"");
    EXPECT_EQ(OdString(L"\u00A0x").trimLeft(), L"\u00A0x");
}

TEST(OdStringTrim, CutsGivenCharactersAtOneEnd)
{
    EXPECT_EQ(OdString(L"0012300").trimLeft(L"0"), L"12300");
    EXPECT_EQ(OdString(L"1.500").trimRight(L"0."), L"1.5");
    EXPECT_EQ(OdString(L"xx").trimRight(L"x"), L"");
    EXPECT_EQ(narrow("abc").trimRight(L""), L"abc");
}

TEST(OdStringReplace, ReplacesAllOccurrencesAndCountsThem)
{
    OdString text(L"a.b.c");
    EXPECT_EQ(text.replace(L".", L"::"), 2);
    EXPECT_EQ(text, L"a::b::c");
    EXPECT_EQ(text.replace(L"::", L""), 2);
    EXPECT_EQ(text, L"abc");
    EXPECT_EQ(text.replace(L"x", L"y"), 0);
    EXPECT_EQ(text.replace(L"", L"y"), 0);
    EXPECT_EQ(text.replace(L'b', L'B'), 1);
    EXPECT_EQ(text, L"aBc");
}

TEST(OdStringReplace, DoesNotLookIntoWhatItPutIn)
{
    OdString text(L"aaa");
    EXPECT_EQ(text.replace(L"a", L"aa"), 3);
    EXPECT_EQ(text, L"aaaaaa");
    EXPECT_EQ(text.replace(L"aaaa", L"x"), 1);
    EXPECT_EQ(text, L"xaa");
}

TEST(OdStringReplace, TakesItselfAsArgument)
{
    OdString text(L"ab");
    EXPECT_EQ(text.replace(text, text + text), 1);
    EXPECT_EQ(text, L"abab");
}

TEST(OdStringRemove, TakesOutEveryOccurrence)
{
    OdString text(L"\"a\"b\"");
    EXPECT_EQ(text.remove(L'"'), 3);
    EXPECT_EQ(text, L"ab");
    EXPECT_EQ(text.remove(L'x'), 0);
    EXPECT_EQ(OdString(L"xx").remove(L'x'), 2);
}

TEST(OdStringDeleteChars, IgnoresWhatLiesOutside)
{
    EXPECT_EQ(OdString(L"abcd").deleteChars(1, 2), L"ad");
    EXPECT_EQ(OdString(L"abcd").deleteChars(2, 20), L"ab");
    EXPECT_EQ(OdString(L"abcd").deleteChars(-1, 2), L"bcd");
    EXPECT_EQ(OdString(L"abcd").deleteChars(4), L"abcd");
    EXPECT_EQ(OdString(L"abcd").deleteChars(1, -1), L"abcd");
    EXPECT_EQ(OdString(L"abcd").deleteChars(0, std::numeric_limits<int>::max()), L"");
}

TEST(OdStringInsert, PutsTextInFrontOfAPosition)
{
    EXPECT_EQ(OdString(L"ad").insert(1, L"bc"), L"abcd");
    EXPECT_EQ(OdString(L"ad").insert(-1, L"x"), L"xad");
    EXPECT_EQ(OdString(L"ad").insert(9, L"x"), L"adx");
    OdString text(L"ab");
    EXPECT_EQ(text.insert(1, text), L"aabb");
}

TEST(OdStringAppend, KeepsNarrowTextNarrow)
{
    OdString text = narrow("a\xC3\xA4");
    EXPECT_EQ(blocksMadeBy([&] { text += narrow("b"); }), 0);
    EXPECT_EQ(text.utf8(), "a\xC3\xA4"
                           "b");
    EXPECT_EQ(text, L"a\u00E4b");
}

TEST(OdStringAppend, DoesNotJoinInvalidEndsToACharacter)
{
    OdString text = narrow("\xC3");
    text += narrow("\xA4");
    EXPECT_EQ(text.wide(), std::wstring({wchar_t(0xDCC3), wchar_t(0xDCA4)}));
}

TEST(OdStringAppend, TakesItselfInEitherForm)
{
    for (OdString const& start : {narrow("abc"), wide(L"abc")}) {
        OdString text = start;
        text += text;
        EXPECT_EQ(text, L"abcabc");
        text += text.c_str();
        EXPECT_EQ(text, L"abcabcabcabc");
        text += static_cast<char const*>(text);
        EXPECT_EQ(text.getLength(), 24);
        EXPECT_EQ(text.right(3), L"abc");
    }
}

TEST(OdStringAppend, StaysCheapWhenRepeated)
{
    OdString text;
    constexpr int kCount = 1000000;
    for (int i = 0; i < kCount; ++i) {
        text += L'x';
    }
    EXPECT_EQ(text.getLength(), kCount);
}

TEST(OdStringAppend, JoinsEveryKindOfText)
{
    OdString const b(L"b");
    EXPECT_EQ(L"a" + b, L"ab");
    EXPECT_EQ("a" + b, L"ab");
    EXPECT_EQ(L'a' + b, L"ab");
    EXPECT_EQ(b + L"c", L"bc");
    EXPECT_EQ(b + "c", L"bc");
    EXPECT_EQ(b + L'c', L"bc");
    EXPECT_EQ(b + b, L"bb");
    EXPECT_EQ(b + OdString(), L"b");
    EXPECT_EQ(OdString() + b, L"b");
}

TEST(OdStringGetBuffer, GivesRoomAndKeepsTheText)
{
    OdString const original = narrow("abc");
    OdString text = original;
    wchar_t* const buffer = text.getBuffer(10);
    EXPECT_STREQ(buffer, L"abc");
    std::wcscpy(buffer, L"0123456789");
    text.releaseBuffer();
    EXPECT_EQ(text, L"0123456789");
    EXPECT_EQ(original, L"abc");
}

TEST(OdStringGetBuffer, TakesALengthAtTheEnd)
{
    OdString text;
    std::wmemset(text.getBuffer(4), L'x', 4);
    text.releaseBuffer(3);
    EXPECT_EQ(text, L"xxx");
    (void)text.getBuffer(0);
    text.releaseBuffer(0);
    EXPECT_TRUE(text.isEmpty());
}

TEST(OdStringGetBuffer, EndsAtTheBufferWhereTheTextHasNoEnd)
{
    OdString text;
    std::wmemset(text.getBuffer(4), L'x', 4);
    text.releaseBuffer();
    EXPECT_EQ(text, L"xxxx");
}

TEST(OdStringGetBuffer, RefusesALengthAboveTheRoom)
{
    OdString text(L"abc");
    (void)text.getBuffer(3);
    EXPECT_EQ(thrownCode([&] { text.releaseBuffer(100); }), kOdInvalidInput);
    EXPECT_EQ(text, L"abc");
}

TEST(OdStringFormat, FillsThePatternsInUse)
{
    OdString const name(L"n\u00E4me");
    EXPECT_EQ(OdString().format(L"%ls_%d", name.c_str(), -3), L"n\u00E4me_-3");
    EXPECT_EQ(OdString().format(L"%ls%lc%u", name.c_str(), L'\u20AC', 4000000000U),
              L"n\u00E4me\u20AC4000000000");
    EXPECT_EQ(OdString().format(L"*%ls", L"U7"), L"*U7");
    EXPECT_EQ(OdString().format(L"%.12g", 0.1), L"0.1");
    EXPECT_EQ(OdString().format(L"%.12g", 1.0 / 3), L"0.333333333333");
    EXPECT_EQ(OdString().format(L"%c_%d", L'X', 5), L"X_5");
    EXPECT_EQ(OdString().format(L"%ls^%d", L"a", 0), L"a^0");
    EXPECT_EQ(OdString().format(L"%ls%u", L"12:30:01:", 7U), L"12:30:01:7");
}

TEST(OdStringFormat, TakesItsOwnTextAsArgument)
{
    OdString text(L"a");
    text.format(L"%ls-%ls", text.c_str(), text.c_str());
    EXPECT_EQ(text, L"a-a");
}

TEST(OdStringFormat, KnowsTextConversions)
{
    EXPECT_EQ(OdString().format(L"[%5ls|%-5ls|%.2ls]", L"ab", L"ab", L"abc"), L"[   ab|ab   |ab]");
    EXPECT_EQ(OdString().format(L"%s %hs %S", "\xC3\xA4", "b", L"c"), L"\u00E4 b c");
    EXPECT_EQ(OdString().format(L"%ls", static_cast<wchar_t const*>(nullptr)), L"(null)");
    EXPECT_EQ(OdString().format(L"%*d|%-*d|%.*f", 4, 1, 4, 2, 1, 3.25), L"   1|2   |3.2");
    EXPECT_EQ(OdString().format(L"100%%"), L"100%");
}

TEST(OdStringFormat, CopiesWhatItDoesNotKnow)
{
    EXPECT_EQ(OdString().format(L"%y %d", 1), L"%y 1");
    EXPECT_EQ(OdString().format(L"end %"), L"end %");
    EXPECT_EQ(OdString().format(L"end %-5"), L"end %-5");
    EXPECT_TRUE(OdString(L"x").format(nullptr).isEmpty());
}

struct NumberRow
{
    char const* pattern;
    double value;
};

TEST(OdStringFormat, SpellsRealNumbersAsPrintfDoes)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
    constexpr NumberRow kRows[] = {
        {"%f", 1.5},          {"%F", -0.0},       {"%.0f", 2.5},     {"%#.0f", 2.0},
        {"%10.3f|", 3.14159}, {"%-10.3f|", -3.1}, {"%010.3f", -3.1}, {"%+g", 1e10},
        {"% g", 1e-5},        {"%g", 100000.0},   {"%g", 1000000.0}, {"%#g", 1.0},
        {"%g", 0.0001},       {"%g", 0.00001},    {"%G", 1e-20},     {"%e", 0.0},
        {"%.3E", 12345.678},  {"%#.0e", 5.0},     {"%.17g", 0.1},    {"%.12g", 1e300},
        {"%a", 1.0},          {"%.2A", 10.0},     {"%g", kInfinity}, {"%010F", -kInfinity},
        {"%f", kNotANumber},  {"%f", 1e300},      {"%.0g", 0.55},    {"%.12g", 123456789012.5},
        {"%g", 0.0},          {"%.3g", 999.9},    {"%020a", -1.75},  {"%.30f", 0.1}};
    for (NumberRow const& row : kRows) {
        char expected[512];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        (void)std::snprintf(expected, sizeof(expected), row.pattern, row.value);
#pragma GCC diagnostic pop
        OdString const pattern(row.pattern);
        EXPECT_EQ(OdString().format(pattern.c_str(), row.value), expected)
            << row.pattern << " of " << row.value;
    }
}

TEST(OdStringFormat, SpellsIntegersAsPrintfDoes)
{
    EXPECT_EQ(OdString().format(L"%5d|%-5d|%05d|%+d|% d", 42, 42, -42, 42, 42),
              L"   42|42   |-0042|+42| 42");
    EXPECT_EQ(OdString().format(L"%.3d|%.0d|%8.3d", 7, 0, -7), L"007||    -007");
    EXPECT_EQ(OdString().format(L"%x|%X|%#x|%#X|%#o|%o", 255U, 255U, 255U, 255U, 8U, 8U),
              L"ff|FF|0xff|0XFF|010|10");
    EXPECT_EQ(OdString().format(L"%#x|%#o|%#.0o|%010x", 0U, 0U, 0U, 10U), L"0|0|0|000000000a");
    EXPECT_EQ(OdString().format(L"%ld|%lld|%lu", std::numeric_limits<long>::min(), 1LL,
                                std::numeric_limits<unsigned long>::max()),
              L"-9223372036854775808|1|18446744073709551615");
    EXPECT_EQ(OdString().format(L"%hhd|%hd|%hhu|%hu", 200, 70000, 300, 70000), L"-56|4464|44|4464");
    EXPECT_EQ(
        OdString().format(L"%zu|%td|%jd", std::size_t(1), std::ptrdiff_t(-2), std::intmax_t(3)),
        L"1|-2|3");
    EXPECT_EQ(OdString().format(L"%p", reinterpret_cast<void*>(std::uintptr_t(0x1f))), L"0x1f");
    EXPECT_EQ(OdString().format(L"%i", std::numeric_limits<int>::min()), L"-2147483648");
    EXPECT_EQ(OdString().format(L"%Lg", 0.5L), L"0.5");
}

TEST(OdStringFormat, IgnoresTheLocale)
{
    std::string const before = std::setlocale(LC_ALL, nullptr);
    for (char const* const name : {"C", "C.UTF-8", "de_DE.UTF-8"}) {
        if (std::setlocale(LC_ALL, name) == nullptr) {
            continue;
        }
        EXPECT_EQ(OdString().format(L"%.12g %ls %lc", 1.5, L"\u00E4", L'\u20AC'),
                  L"1.5 \u00E4 \u20AC")
            << name;
        EXPECT_EQ(OdString(L"\u00E4").makeUpper(), L"\u00C4") << name;
    }
    (void)std::setlocale(LC_ALL, before.c_str());
}

TEST(OdStringMakeUpper, MapsEachCharacter)
{
    EXPECT_EQ(OdString(L"d1_\u00E4\u00DF\u0444").makeUpper(), L"D1_\u00C4\u00DF\u0424");
    EXPECT_EQ(narrow("d1_\xC3\xA4").makeUpper(), L"D1_\u00C4");
}

TEST(OdStringMakeUpper, KeepsSharingWhereNothingChanges)
{
    OdString const original(L"UPPER");
    OdString copy = original;
    copy.makeUpper();
    EXPECT_EQ(copy.c_str(), original.c_str());
}

TEST(OdStringCompare, OrdersByTheNumbersOfTheCharacters)
{
    std::vector<OdString> const ascending = {
        OdString(),     wide(L"A"),     narrow("AB"),       wide(L"B"),
        narrow("a"),    wide(L"a b"),   narrow("\xC3\xA4"), narrow("\xED\xA0\xBD"),
        narrow("\x80"), narrow("\xFF"), wide(L"\uFFFF"),    narrow("\xF0\x9F\x98\x80")};
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(ascending[i] < ascending[j], i < j) << i << " " << j;
            EXPECT_EQ(ascending[i] == ascending[j], i == j) << i << " " << j;
            EXPECT_EQ(ascending[i] <=> ascending[j].c_str(), i <=> j) << i << " " << j;
            EXPECT_EQ(ascending[i].compare(ascending[j]), i < j ? -1 : (i > j ? 1 : 0));
        }
    }
}

TEST(OdStringCompare, TakesPlainTextOnEitherSide)
{
    OdString const text(L"b\u00E4");
    EXPECT_TRUE(text == L"b\u00E4");
    EXPECT_TRUE(L"b\u00E4" == text);
    EXPECT_TRUE(text == "b\xC3\xA4");
    EXPECT_TRUE(text != L"b");
    EXPECT_TRUE(L"a" < text);
    EXPECT_TRUE(text > "a");
    EXPECT_TRUE(OdString() == static_cast<wchar_t const*>(nullptr));
}

TEST(OdStringICompare, AgreesWithMakeUpper)
{
    EXPECT_EQ(odIcmp(L"Stra\u00DFe \u00E4", L"STRA\u00DFE \u00C4"), 0);
    EXPECT_EQ(odIcmp(L"\u03C3", L"\u03C2"), 0);
    EXPECT_EQ(odIcmp(narrow("\xC3\xA4"), wide(L"\u00C4")), 0);
    EXPECT_LT(odIcmp(L"a", L"B"), 0);
    EXPECT_GT(odIcmp(L"b", L"A"), 0);
    EXPECT_LT(odIcmp(L"a", L"AB"), 0);
    EXPECT_EQ(OdString(L"x").iCompare(L"X"), 0);
}

TEST(OdStringContainers, FindKeysInEitherForm)
{
    std::unordered_map<OdString, int> const byHash = {{wide(L"\u00E4"), 1}};
    EXPECT_EQ(byHash.count(narrow("\xC3\xA4")), 1U);
    std::map<OdString, int> const byOrder = {{wide(L"\u00E4"), 1}};
    EXPECT_EQ(byOrder.count(narrow("\xC3\xA4")), 1U);
    std::unordered_map<OdString, int, OdStringIHash, OdStringIEqual> const byFold = {{L"Name", 1}};
    EXPECT_EQ(byFold.count(L"NAME"), 1U);
    std::map<OdString, int, OdStringILess> const byFoldedOrder = {{L"Name", 1}};
    EXPECT_EQ(byFoldedOrder.count(L"NAME"), 1U);
}

TEST(OdStringThreads, ShareABufferWhileBothFormsAreMade)
{
    constexpr int kRounds = 500;
    for (int i = 0; i < kRounds; ++i) {
        OdString const text = i % 2 == 0 ? narrow(kMixedUtf8) : wide(kMixed);
        std::atomic<int> ready{0};
        auto const read = [&ready, copy = text]() mutable {
            for (++ready; ready < 2;) {
                std::this_thread::yield();
            }
            EXPECT_EQ(copy.wide(), kMixed);
            EXPECT_EQ(copy.utf8(), kMixedUtf8);
            copy += L'!';
            EXPECT_EQ(copy.getLength(), 6);
        };
        std::thread first(read);
        std::thread second(read);
        first.join();
        second.join();
    }
}

TEST(OdAnsiString, ConvertsToItsCodePage)
{
    OdString const text(L"\u00E4\u20AC\u4E2D");
    EXPECT_EQ(OdAnsiString(text).bytes(), "\xC3\xA4\xE2\x82\xAC\xE4\xB8\xAD");
    EXPECT_EQ(OdAnsiString(text, OdCodePageId::kAnsi1252).bytes(), "\xE4\x80?");
    EXPECT_EQ(OdAnsiString(text, OdCodePageId::kIso8859_1).bytes(), "\xE4??");
}

TEST(OdAnsiString, BringsEveryByteOfEveryPageBack)
{
    std::string bytes;
    for (int i = 1; i < 256; ++i) {
        bytes += static_cast<char>(i);
    }
    for (auto const page :
         {OdCodePageId::kAnsi1252, OdCodePageId::kIso8859_1, OdCodePageId::kUtf8}) {
        OdAnsiString const source(bytes.c_str(), page);
        EXPECT_EQ(OdAnsiString(OdString(source), page), source) << static_cast<int>(page);
    }
}

TEST(OdAnsiString, GivesABufferToWriteInto)
{
    OdAnsiString text("ab");
    EXPECT_EQ(text.getLength(), 2);
    char* const buffer = text.getBuffer(5);
    EXPECT_STREQ(buffer, "ab");
    std::strcpy(buffer, "12345");
    text.releaseBuffer();
    EXPECT_STREQ(text, "12345");
    (void)text.getBuffer(10);
    text.releaseBuffer(2);
    EXPECT_STREQ(text.c_str(), "12");
    EXPECT_EQ(thrownCode([&] { text.releaseBuffer(3); }), kOdInvalidInput);
    EXPECT_TRUE(OdAnsiString(static_cast<char const*>(nullptr)).isEmpty());
}

TEST(OdStringLimits, RefuseATextThatIsTooLong)
{
    char const byte = 'x';
    EXPECT_EQ(thrownCode([&] {
                  (void)OdString::fromUtf8(&byte, std::numeric_limits<std::size_t>::max() / 2);
              }),
              kOdOutOfMemory);
}

/// Text of characters that have spellings of every length, without byte escapes.
rc::Gen<std::wstring> anyText()
{
    return rc::gen::map(
        rc::gen::container<std::vector<int>>(rc::gen::oneOf(rc::gen::inRange(0x20, 0x7F),
                                                            rc::gen::inRange(1, 0x500),
                                                            rc::gen::inRange(0xDD00, 0x11000))),
        [](std::vector<int> const& codes) { return std::wstring(codes.begin(), codes.end()); });
}

/// A string of that text in either form, perhaps with the other one made as well.
OdString inSomeForm(std::wstring const& text)
{
    OdString result = wide(text);
    if (*rc::gen::arbitrary<bool>()) {
        result = narrow(std::string(result.utf8()));
    }
    if (*rc::gen::arbitrary<bool>()) {
        (void)result.c_str();
        (void)result.utf8();
    }
    return result;
}

int signOf(int number)
{
    return number < 0 ? -1 : static_cast<int>(number > 0);
}

RC_GTEST_PROP(OdStringProperties, ComparesAsWideTextDoes, ())
{
    std::wstring const a = *anyText();
    std::wstring const b = *rc::gen::oneOf(anyText(), rc::gen::just(a + L"x"), rc::gen::just(a));
    OdString const left = inSomeForm(a);
    OdString const right = inSomeForm(b);
    RC_ASSERT(left.compare(right) == signOf(std::wcscmp(a.c_str(), b.c_str())));
    RC_ASSERT((left == right) == (a == b));
    RC_ASSERT((left == b.c_str()) == (a == b));
    OdString upperLeft = left;
    OdString upperRight = right;
    RC_ASSERT((odIcmp(left, right) == 0) == (upperLeft.makeUpper() == upperRight.makeUpper()));
    RC_ASSERT(!(left == right) || OdStringHash()(left) == OdStringHash()(right));
    RC_ASSERT(odIcmp(left, right) != 0 || OdStringIHash()(left) == OdStringIHash()(right));
}

RC_GTEST_PROP(OdStringProperties, OrdersAnyBytesAsTheirWideForm,
              (std::string const& a, std::string const& b))
{
    OdString const left = narrow(a);
    OdString const right = narrow(b);
    std::strong_ordering const bytes = left <=> right;
    RC_ASSERT(bytes == (wide(std::wstring(left.wide())) <=> wide(std::wstring(right.wide()))));
    RC_ASSERT(bytes == (left <=> wide(std::wstring(right.wide()))));
}

RC_GTEST_PROP(OdStringProperties, ChangesAsAModelDoes, ())
{
    std::wstring model = *anyText();
    OdString text = inSomeForm(model);
    auto const steps = *rc::gen::inRange(1, 12);
    for (int step = 0; step < steps; ++step) {
        OdString const shared = *rc::gen::arbitrary<bool>() ? text : OdString();
        std::wstring const before = model;
        std::wstring const other = *anyText();
        OdString const argument = inSomeForm(other);
        int const at = *rc::gen::inRange(-2, static_cast<int>(model.size()) + 3);
        int const count = *rc::gen::inRange(-1, 6);
        auto const size = static_cast<int>(model.size());
        int const clamped = std::clamp(at, 0, size);
        switch (*rc::gen::inRange(0, 8)) {
        case 0:
            text += argument;
            model += other;
            break;
        case 1:
            text += text;
            model += std::wstring(model);
            break;
        case 2:
            text.insert(at, argument);
            model.insert(static_cast<std::size_t>(clamped), other);
            break;
        case 3: {
            text.deleteChars(at, count);
            int const end = std::clamp(at + std::max(count, 0), clamped, size);
            model.erase(static_cast<std::size_t>(clamped), static_cast<std::size_t>(end - clamped));
            break;
        }
        case 4: {
            text = text.mid(at, count);
            int const end = std::clamp(std::max(at, 0) + count, clamped, size);
            model = model.substr(static_cast<std::size_t>(clamped),
                                 static_cast<std::size_t>(end - clamped));
            break;
        }
        case 5:
            if (at >= 0 && at < size) {
                text.setAt(at, L'\u20AC');
                model[static_cast<std::size_t>(at)] = L'\u20AC';
            }
            break;
        case 6:
            if (!model.empty()) {
                wchar_t const c = model.front();
                RC_ASSERT(text.remove(c) == static_cast<int>(std::erase(model, c)));
            }
            break;
        default:
            text.replace(L"a", argument);
            for (std::size_t i = 0; (i = model.find(L'a', i)) != std::wstring::npos;) {
                model.replace(i, 1, other);
                i += other.size();
            }
            break;
        }
        RC_ASSERT(text.wide() == std::wstring_view(model));
        RC_ASSERT(text.getLength() == static_cast<int>(model.size()));
        RC_ASSERT(text.isEmpty() == model.empty());
        RC_ASSERT(narrow(std::string(text.utf8())) == text);
        RC_ASSERT(shared.isEmpty() || shared.wide() == std::wstring_view(before));
    }
}

TEST(OdStringReleaseBuffer, LeavesATextThatWasNotTakenAsItIs)
{
    OdString narrow = OdString::fromUtf8("abc", 3);
    narrow.releaseBuffer();
    EXPECT_EQ(narrow, OdString(L"abc"));
    EXPECT_EQ(thrownCode([&] { narrow.releaseBuffer(4); }), kOdInvalidInput);
    narrow.releaseBuffer(2);
    EXPECT_EQ(narrow, OdString(L"ab"));

    OdString text(L"abc");
    const OdString copy = text;
    text.releaseBuffer(1);
    EXPECT_EQ(text, OdString(L"a"));
    EXPECT_EQ(copy, OdString(L"abc"));
}

}  // namespace
