#include "root/od_assert.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// Brings the sink back that was there before.
class Assertion : public testing::Test
{
protected:
    Assertion() : m_before(odSetAssertSink(nullptr)) {}
    ~Assertion() override { odSetAssertSink(std::move(m_before)); }

private:
    OdAssertSink m_before;
};

TEST_F(Assertion, ReachesTheSinkWithAllItsParts)
{
    std::vector<std::string> parts;
    odSetAssertSink([&](OdAssertReport const& report) {
        parts = {report.expression, report.message, report.file, std::to_string(report.line)};
    });
    odReportAssert("a == b", "note", "file.cpp", 42);
    EXPECT_EQ(parts, (std::vector<std::string>{"a == b", "note", "file.cpp", "42"}));
}

TEST_F(Assertion, OfASinkItselfDoesNotComeBackToIt)
{
    int calls = 0;
    odSetAssertSink([&](OdAssertReport const&) {
        ++calls;
        odReportAssert("inner", nullptr, "f", 2);
    });
    odReportAssert("outer", nullptr, "f", 1);
    EXPECT_EQ(calls, 1);
}

TEST_F(Assertion, MayReplaceTheSinkThatRuns)
{
    std::string text = "a text of which the sink holds a copy of its own";
    std::string seen;
    odSetAssertSink([&seen, text](OdAssertReport const&) {
        odSetAssertSink(nullptr);
        seen = text;
    });
    odReportAssert("x", nullptr, "f", 1);
    EXPECT_EQ(seen, text);
}

TEST_F(Assertion, GivesTheSinkThatIsReplacedBack)
{
    int first = 0;
    int second = 0;
    EXPECT_FALSE(static_cast<bool>(odSetAssertSink([&](OdAssertReport const&) { ++first; })));
    const OdAssertSink before = odSetAssertSink([&](OdAssertReport const&) { ++second; });
    odReportAssert("x", nullptr, "f", 1);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
    before({"x", nullptr, "f", 1});
    EXPECT_EQ(first, 1);
}

TEST_F(Assertion, PrintsALineWithoutASink)
{
    testing::internal::CaptureStderr();
    odReportAssert("a == b", "note", "file.cpp", 42);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "assertion failed: a == b: note (file.cpp:42)\n");
    testing::internal::CaptureStderr();
    odReportAssert("a == b", nullptr, "file.cpp", 42);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "assertion failed: a == b (file.cpp:42)\n");
}

TEST_F(Assertion, TakesMissingTexts)
{
    testing::internal::CaptureStderr();
    odReportAssert(nullptr, nullptr, nullptr, 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "assertion failed:  (:0)\n");
}

TEST_F(Assertion, IsPrintedWhenTheSinkThrows)
{
    odSetAssertSink([](OdAssertReport const&) { throw std::runtime_error("sink"); });
    testing::internal::CaptureStderr();
    odReportAssert("x", nullptr, "f", 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "assertion failed: x (f:1)\n");
    odSetAssertSink([](OdAssertReport const&) { throw 1; });
    testing::internal::CaptureStderr();
    odReportAssert("y", nullptr, "f", 2);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "assertion failed: y (f:2)\n");
}

}  // namespace
