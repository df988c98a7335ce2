#include "root/od_assert.h"

#include <cstdio>
#include <memory>
#include <utility>

namespace {

using SharedSink = std::shared_ptr<OdAssertSink const>;

thread_local bool t_isReporting = false;

SharedSink& sinkSlot()
{
    // Never destroyed: modules may report while the process ends.
    static SharedSink* const s_sink = new SharedSink;
    return *s_sink;
}

/// Marks the thread as one that reports.
class ReportScope
{
public:
    ReportScope() noexcept { t_isReporting = true; }
    ReportScope(ReportScope const&) = delete;
    ReportScope& operator=(ReportScope const&) = delete;
    ~ReportScope() { t_isReporting = false; }
};

char const* orEmpty(char const* text) noexcept
{
    return text != nullptr ? text : "";
}

void printReport(OdAssertReport const& report)
{
    std::fprintf(stderr, "assertion failed: %s%s%s (%s:%d)\n", orEmpty(report.expression),
                 report.message != nullptr ? ": " : "", orEmpty(report.message),
                 orEmpty(report.file), report.line);
}

}  // namespace

OdAssertSink odSetAssertSink(OdAssertSink sink)
{
    SharedSink shared;
    if (sink) {
        shared = std::make_shared<OdAssertSink const>(std::move(sink));
    }
    const SharedSink previous = std::exchange(sinkSlot(), std::move(shared));
    return previous != nullptr ? *previous : OdAssertSink();
}

void odReportAssert(char const* expression, char const* message, char const* file,
                    int line) noexcept
{
    const OdAssertReport report{expression, message, file, line};
    if (t_isReporting) {
        // A sink that asserts itself would call itself without end.
        printReport(report);
        return;
    }
    const ReportScope scope;
    try {
        // The sink may be replaced while it runs.
        const SharedSink sink = sinkSlot();
        if (sink != nullptr) {
            (*sink)(report);
        } else {
            printReport(report);
        }
    } catch (...) {
        // A sink that fails must not turn a report into an end of the process.
        printReport(report);
    }
}
