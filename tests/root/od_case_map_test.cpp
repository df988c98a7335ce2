#include "root/od_case_map.h"

#include <gtest/gtest.h>

namespace {

struct CaseRow
{
    char const* name;
    wchar_t lower;
    wchar_t upper;
};

constexpr CaseRow kPairs[] = {
    {"first ASCII letter", L'a', L'A'},
    {"last ASCII letter", L'z', L'Z'},
    {"a with diaeresis", L'\u00E4', L'\u00C4'},
    {"y with diaeresis, far away", L'\u00FF', L'\u0178'},
    {"micro sign", L'\u00B5', L'\u039C'},
    {"alternating Latin", L'\u0101', L'\u0100'},
    {"dotless i", L'\u0131', L'I'},
    {"long s", L'\u017F', L'S'},
    {"Greek alpha", L'\u03B1', L'\u0391'},
    {"final sigma", L'\u03C2', L'\u03A3'},
    {"Cyrillic", L'\u044F', L'\u042F'},
    {"Cyrillic with breve", L'\u0451', L'\u0401'},
    {"Armenian", L'\u0561', L'\u0531'},
    {"Georgian", L'\u10D0', L'\u1C90'},
    {"Greek with iota below", L'\u1F80', L'\u1F88'},
    {"full width", L'\uFF41', L'\uFF21'},
    {"beyond the first plane", L'\U00010428', L'\U00010400'},
    {"last of the table", L'\U0001E943', L'\U0001E921'},
};

TEST(ToUpper, AnswersTheUpperCase)
{
    for (CaseRow const& row : kPairs) {
        EXPECT_EQ(odToUpper(row.lower), row.upper) << row.name;
    }
}

TEST(ToUpper, LeavesWhatHasNoUpperCase)
{
    constexpr wchar_t kUnchanged[] = {
        L'A',      L'1',      L'_',      L'\u00DF', L'\u00F7',         L'\u0100',
        L'\u0138', L'\u4E2D', L'\uFFFF', L'\0',     wchar_t(0x110000), wchar_t(-1)};
    for (wchar_t const c : kUnchanged) {
        EXPECT_EQ(odToUpper(c), c) << static_cast<long>(c);
    }
}

TEST(ToUpper, IsDoneAfterOneStep)
{
    for (wchar_t c = 0; c < 0x20000; ++c) {
        wchar_t const upper = odToUpper(c);
        ASSERT_EQ(odToUpper(upper), upper) << static_cast<long>(c);
    }
}

}  // namespace
