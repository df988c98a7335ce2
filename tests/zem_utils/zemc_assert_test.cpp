#include "root/od_assert.h"
#include "zem_utils/zemc_assert.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

struct Report
{
    std::string expression;
    bool hasMessage;
    std::string message;
    std::string file;
    int line;
};

/// Collects the reports for as long as it lives.
class ReportCollector
{
public:
    ReportCollector()
        : m_before(odSetAssertSink([this](OdAssertReport const& report) {
              m_reports.push_back({report.expression, report.message != nullptr,
                                   report.message != nullptr ? report.message : "", report.file,
                                   report.line});
          }))
    {
    }
    ReportCollector(ReportCollector const&) = delete;
    ReportCollector& operator=(ReportCollector const&) = delete;
    ~ReportCollector() { odSetAssertSink(std::move(m_before)); }

    std::vector<Report> const& reports() const { return m_reports; }

private:
    std::vector<Report> m_reports;
    OdAssertSink m_before;
};

}  // namespace

TEST(ZemcCallAssert, ReportsTextFileAndLineAndReturns)
{
    const ReportCollector collector;

    zemcCallAssert("val >= 0.0", "no length", "some/file", 17);

    ASSERT_EQ(collector.reports().size(), 1U);
    Report const& report = collector.reports().front();
    EXPECT_EQ(report.expression, "val >= 0.0");
    EXPECT_EQ(report.message, "no length");
    EXPECT_EQ(report.file, "some/file");
    EXPECT_EQ(report.line, 17);
}

TEST(ZemcCallAssert, PassesANullMessageOn)
{
    const ReportCollector collector;

    zemcCallAssert("false", nullptr, "some/file", 1);

    ASSERT_EQ(collector.reports().size(), 1U);
    EXPECT_FALSE(collector.reports().front().hasMessage);
}

TEST(ZemcCallAssert, ReturnsWhenTheSinkThrows)
{
    OdAssertSink before =
        odSetAssertSink([](OdAssertReport const&) { throw std::runtime_error("sink"); });

    EXPECT_NO_THROW(zemcCallAssert("false", nullptr, "some/file", 1));

    odSetAssertSink(std::move(before));
}
