#include "root/od_utf8.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <string>
#include <vector>

namespace {

std::wstring toWide(std::string const& narrow)
{
    std::wstring result(odUtf8::wideLength(narrow), L'\0');
    odUtf8::toWide(narrow, result.data());
    return result;
}

std::string toNarrow(std::wstring const& wide)
{
    std::string result(odUtf8::narrowLength(wide), '\0');
    odUtf8::toNarrow(wide, result.data());
    return result;
}

struct Spelling
{
    char const* name;
    std::wstring wide;
    std::string narrow;
};

std::vector<Spelling> const kValid = {
    {"ASCII", L"abc", "abc"},
    {"last of one byte", L"\x7F", "\x7F"},
    {"first of two bytes", {wchar_t(0x80)}, "\xC2\x80"},
    {"last of two bytes", {wchar_t(0x7FF)}, "\xDF\xBF"},
    {"first of three bytes", {wchar_t(0x800)}, "\xE0\xA0\x80"},
    {"last of three bytes", {wchar_t(0xFFFF)}, "\xEF\xBF\xBF"},
    {"first of four bytes", {wchar_t(0x10000)}, "\xF0\x90\x80\x80"},
    {"last character", {wchar_t(0x10FFFF)}, "\xF4\x8F\xBF\xBF"},
    {"character 0 inside", std::wstring(L"a\0b", 3), std::string("a\0b", 3)},
    {"half of a surrogate pair", {wchar_t(0xD83D)}, "\xED\xA0\xBD"},
    {"byte escape", {wchar_t(0xDCFF)}, "\xFF"},
};

TEST(Utf8, SpellsEachCharacterInItsShortestForm)
{
    for (Spelling const& spelling : kValid) {
        EXPECT_EQ(toNarrow(spelling.wide), spelling.narrow) << spelling.name;
        EXPECT_EQ(toWide(spelling.narrow), spelling.wide) << spelling.name;
    }
}

TEST(Utf8, TakesEachByteOfAnInvalidSequenceAsAnEscape)
{
    std::vector<Spelling> const cases = {
        {"continuation alone", {wchar_t(0xDC80)}, "\x80"},
        {"lead alone", {wchar_t(0xDCC3)}, "\xC3"},
        {"lead in front of ASCII",
         {wchar_t(0xDCC3), L'a'},
         "\xC3"
         "a"},
        {"overlong in two bytes", {wchar_t(0xDCC0), wchar_t(0xDC80)}, "\xC0\x80"},
        {"overlong in three bytes",
         {wchar_t(0xDCE0), wchar_t(0xDC9F), wchar_t(0xDCBF)},
         "\xE0\x9F\xBF"},
        {"overlong in four bytes",
         {wchar_t(0xDCF0), wchar_t(0xDC8F), wchar_t(0xDCBF), wchar_t(0xDCBF)},
         "\xF0\x8F\xBF\xBF"},
        {"above the last character",
         {wchar_t(0xDCF4), wchar_t(0xDC90), wchar_t(0xDC80), wchar_t(0xDC80)},
         "\xF4\x90\x80\x80"},
        {"byte that starts nothing", {wchar_t(0xDCF8)}, "\xF8"},
        {"cut off at the end", {wchar_t(0xDCE2), wchar_t(0xDC82)}, "\xE2\x82"},
        {"spelled byte escape",
         {wchar_t(0xDCED), wchar_t(0xDCB2), wchar_t(0xDC80)},
         "\xED\xB2\x80"},
    };
    for (Spelling const& spelling : cases) {
        EXPECT_EQ(toWide(spelling.narrow), spelling.wide) << spelling.name;
        EXPECT_EQ(toNarrow(spelling.wide), spelling.narrow) << spelling.name;
    }
}

TEST(Utf8, ReplacesNumbersThatAreNoCharacters)
{
    EXPECT_EQ(toNarrow({wchar_t(0x110000)}), "\xEF\xBF\xBD");
    EXPECT_EQ(toNarrow({wchar_t(-1)}), "\xEF\xBF\xBD");
}

RC_GTEST_PROP(Utf8, BringsAnyBytesBack, (std::string const& bytes))
{
    RC_ASSERT(toNarrow(toWide(bytes)) == bytes);
}

RC_GTEST_PROP(Utf8, BringsAnyCharactersBack, ())
{
    auto const codes = *rc::gen::container<std::vector<int>>(
        rc::gen::oneOf(rc::gen::inRange(0, 0x800), rc::gen::inRange(0, 0xDC80),
                       rc::gen::inRange(0xDD00, 0x110000)));
    std::wstring const wide(codes.begin(), codes.end());
    RC_ASSERT(toWide(toNarrow(wide)) == wide);
}

}  // namespace
