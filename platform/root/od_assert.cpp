#include "root/od_assert.h"

#include <cstdio>
#include <utility>

namespace {

OdAssertSink& sinkSlot()
{
    static OdAssertSink s_sink;
    return s_sink;
}

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
    return std::exchange(sinkSlot(), std::move(sink));
}

void odReportAssert(char const* expression, char const* message, char const* file,
                    int line) noexcept
{
    const OdAssertReport report{expression, message, file, line};
    try {
        if (sinkSlot()) {
            sinkSlot()(report);
        } else {
            printReport(report);
        }
    } catch (...) {
        // A sink that fails must not turn a report into an end of the process.
        printReport(report);
    }
}
