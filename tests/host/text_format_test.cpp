#include "cli/text_format.h"

#include <gtest/gtest.h>

TEST(Counted, PutsTheNounInTheRightNumberAndSetsThousandsApart)
{
    struct Case
    {
        std::uint64_t count;
        char const* noun;
        char const* text;
    };
    constexpr Case kCases[] = {{0, "object", "0 objects"},          {1, "object", "1 object"},
                               {2, "entity", "2 entities"},         {1, "entity", "1 entity"},
                               {3, "class", "3 classes"},           {8, "vertex", "8 vertices"},
                               {999, "byte", "999 bytes"},          {1000, "byte", "1 000 bytes"},
                               {1234567, "byte", "1 234 567 bytes"}};
    for (Case const& one : kCases) {
        EXPECT_EQ(zemhost::counted(one.count, one.noun), one.text);
    }
}

TEST(Sized, ChoosesTheUnit)
{
    EXPECT_EQ(zemhost::sized(0), "0 bytes");
    EXPECT_EQ(zemhost::sized(1023), "1 023 bytes");
    EXPECT_EQ(zemhost::sized(1024), "1.0 KiB");
    EXPECT_EQ(zemhost::sized(1024 * 1024 - 1), "1.0 MiB");
    EXPECT_EQ(zemhost::sized(std::uint64_t{3} << 40), "3.0 TiB");
}

TEST(Shortened, CountsCharactersAndNotBytes)
{
    EXPECT_EQ(zemhost::shortened("grün", 4), "grün");
    EXPECT_EQ(zemhost::shortened("grüner", 5), "gr...");
    EXPECT_EQ(zemhost::shortened("üüüüüü", 5), "üü...");
    EXPECT_EQ(zemhost::shortened("", 5), "");
}

TEST(CharacterCount, CountsCharactersAndNotBytes)
{
    EXPECT_EQ(zemhost::characterCount(""), 0U);
    EXPECT_EQ(zemhost::characterCount("grün"), 4U);
}

TEST(PrintableJson, LeavesTheEscapesOfJsonAsTheyAre)
{
    EXPECT_EQ(zemhost::printableJson("a\nb\033\\\""), "\"a\\nb\\u001b\\\\\\\"\"");
    EXPECT_EQ(zemhost::printableJson("\x7F\xC2\x9B"), "\"\\u007f\\u009b\"");
}

TEST(Printable, EscapesWhatCouldSteerATerminalAndNothingElse)
{
    EXPECT_EQ(zemhost::printable("a \"quoted\" grün"), "a \"quoted\" grün");
    EXPECT_EQ(zemhost::printable("\033[2J"), "\\u001b[2J");
    EXPECT_EQ(zemhost::printable("a\nb"), "a\\nb");
    EXPECT_EQ(zemhost::printable("\x7F"), "\\u007f");
    EXPECT_EQ(zemhost::printable("\xC2\x9B"), "\\u009b");
    EXPECT_EQ(zemhost::printable("a\\b"), "a\\\\b");
    EXPECT_EQ(zemhost::printable("a\\\"b"), "a\\\\\"b");
    EXPECT_EQ(zemhost::printable("bad \xFF byte"), "bad \xEF\xBF\xBD byte");
}
