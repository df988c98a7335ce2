// Where failed assertions are reported: a sink that tests and hosts may replace.

#pragma once

#include <functional>

/// One failed assertion; the texts live as long as the call.
struct OdAssertReport
{
    char const* expression;  ///< text of the condition that failed
    char const* message;     ///< note for a reader, or null
    char const* file;        ///< source path
    int line;                ///< line in `file`, from 1
};

using OdAssertSink = std::function<void(OdAssertReport const&)>;

/// Replaces the sink; an empty one brings back the default, which prints a line on standard error.
/// \return The sink so far. Call it before threads start.
OdAssertSink odSetAssertSink(OdAssertSink sink);

/// Reports a failed assertion and returns; never throws and never ends the process, so code that
/// has to stop tests its condition again behind the call.
void odReportAssert(char const* expression, char const* message, char const* file,
                    int line) noexcept;
