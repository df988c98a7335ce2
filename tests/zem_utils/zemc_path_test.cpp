#include "zem_utils/zemc_path.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct BasenameCase
{
    char const* name;
    char const* path;
    char const* expected;
};

constexpr BasenameCase kBasenameCases[] = {
    {"no separator", "part.zdw", "part.zdw"},
    {"slashes", "/home/parts/part.zdw", "part.zdw"},
    {"backslashes", "C:\\parts\\part.zdw", "part.zdw"},
    {"slash behind backslash", "C:\\parts/part.zdw", "part.zdw"},
    {"backslash behind slash", "parts/C:\\part.zdw", "part.zdw"},
    {"separator at the end", "parts/", ""},
    {"separator alone", "\\", ""},
    {"empty path", "", ""},
    {"text beyond ASCII",
     "teile/gr\xC3\xB6\xC3\x9F"
     "e.zdw",
     "gr\xC3\xB6\xC3\x9F"
     "e.zdw"},
};

}  // namespace

TEST(ExtractBasename, GivesTheLastComponent)
{
    for (BasenameCase const& row : kBasenameCases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(ZemcPath::extractBasename(row.path), row.expected);
    }
}
