#include "root/od_error.h"
#include "root/od_result.h"

#include "root_test_support.h"
#include "rx_test_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

namespace {

TEST(Error, OfAResultHasItsNumberAndText)
{
    const OdError error(kOdNotOpenForRead);
    EXPECT_EQ(error.code(), 61);
    EXPECT_EQ(error.description(), OdString(odResultText(kOdNotOpenForRead)));
    EXPECT_STREQ(error.what(), odResultText(kOdNotOpenForRead));
}

TEST(Error, OfAMessageHasANumberOfItsOwn)
{
    const OdError error(OdString(L"caf\xE9 \x1F600"));
    EXPECT_EQ(error.code(), kOdMessage);
    EXPECT_NE(error.code(), kOdOk);
    EXPECT_EQ(error.description(), OdString(L"caf\xE9 \x1F600"));
    EXPECT_STREQ(error.what(), "caf\xC3\xA9 \xF0\x9F\x98\x80");
}

TEST(Error, MayHaveBoth)
{
    const OdError error(kOdBadStream, OdString(L"part.zdw: object 3F"));
    EXPECT_EQ(error.code(), 83);
    EXPECT_STREQ(error.what(), "part.zdw: object 3F");
}

TEST(Error, OutlivesItsCopiesAndOriginals)
{
    OdError kept(kOdOk);
    {
        const OdError error(OdString(L"text"));
        const OdError copy(error);
        kept = copy;
        EXPECT_EQ(copy.what(), error.what()) << "copies share their text";
    }
    EXPECT_STREQ(kept.what(), "text");
}

TEST(Error, IsCaughtAsAStandardException)
{
    try {
        throw OdError(kOdOutOfMemory);
    } catch (std::exception const& error) {
        EXPECT_STREQ(error.what(), odResultText(9));
        return;
    }
}

TEST(Error, OfAnIndexIsAnError)
{
    EXPECT_EQ(thrownCode([] { throw OdError_InvalidIndex(); }), kOdInvalidIndex);
}

TEST(Error, OfAClassTakesClassesThatAreGone)
{
    const OdError_NotThatKindOfClass error(nullptr, nullptr);
    EXPECT_EQ(error.code(), kOdNotThatKindOfClass);
    EXPECT_EQ(error.fromClass(), nullptr);
    EXPECT_STREQ(error.what(), "<no class> is not a <no class>");
}

TEST(Error, OfAClassKeepsItsTextWhenTheClassGoes)
{
    OdError kept(kOdOk);
    {
        const RxFamily family;
        kept = OdError_NotThatKindOfClass(RxAnimal::desc(), RxVoice::desc());
    }
    EXPECT_STREQ(kept.what(), "RxAnimal is not a RxVoice");
}

// ---------------------------------------------------------------------------------------------

TEST(Results, KeepTheNumbersThatOthersTestFor)
{
    struct Row
    {
        OdResult constant;
        int number;
    };
    for (Row const& row : {Row{kOdOk, 0},
                           Row{kOdRejectedVersion, 1},
                           Row{kOdUnresolvedPath, 2},
                           Row{kOdNotHandled, 3},
                           Row{kOdNothingToDo, 4},
                           Row{kOdInvalidInput, 5},
                           Row{kOdOutOfMemory, 9},
                           Row{kOdNullHandle, 16},
                           Row{kOdNoSheetMetalContext, 20},
                           Row{kOdEntityWithoutId, 21},
                           Row{kOdNoEntity, 24},
                           Row{kOdRowNotRemoved, 26},
                           Row{kOdDuplicateKey, 27},
                           Row{kOdInvalidIterator, 28},
                           Row{kOdNoSuchVariable, 38},
                           Row{kOdUnreadableAttribute, 39},
                           Row{kOdNewerLinkFormat, 42},
                           Row{kOdNotOpenForRead, 61},
                           Row{kOdBadStream, 83},
                           Row{kOdNullHandleOnWrite, 106},
                           Row{kOdTableNotCreated, 226},
                           Row{kOdClassNotRegistered, 255},
                           Row{kOdClassAlreadyRegistered, 313},
                           Row{kOdVariableMissing, 417}}) {
        EXPECT_EQ(row.constant, row.number);
        EXPECT_STRNE(odResultText(row.number), odResultText(-1)) << row.number;
    }
}

TEST(Results, OfThePlatformStartAtAThousandAndHaveTextsOfTheirOwn)
{
    std::set<std::string> texts;
    int count = 0;
    for (OdResult result = 1000; std::strcmp(odResultText(result), odResultText(-1)) != 0;
         ++result) {
        texts.insert(odResultText(result));
        ++count;
    }
    EXPECT_GE(count, kOdReadOnly - kOdMessage + 1);
    EXPECT_EQ(texts.size(), static_cast<std::size_t>(count));
}

TEST(Results, ThatAreUnknownHaveATextToo)
{
    for (OdResult result : {-1, 6, 999, 100000}) {
        EXPECT_STREQ(odResultText(result), "unknown result");
    }
}

TEST(Results, HaveTextsThatEndWithoutAStop)
{
    for (OdResult result = 0; result < 2000; ++result) {
        const std::string text = odResultText(result);
        ASSERT_FALSE(text.empty()) << result;
        EXPECT_NE(text.back(), '.') << result;
    }
}

}  // namespace
