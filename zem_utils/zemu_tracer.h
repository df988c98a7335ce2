// The stream that traces are written to, and the guard that indents them.

#pragma once

#include <functional>
#include <ios>
#include <memory>
#include <ostream>
#include <string_view>

/// Takes the text of a tracer, in pieces of any size and in order. What it throws is dropped, and
/// the piece with it. It may replace itself; what it writes to its own tracer is dropped.
using ZemuTraceSink = std::function<void(std::string_view)>;

/// An output stream for traces.
///
/// Text goes to the tracer's sink as it comes. At the start of each line the tracer writes the
/// indentation of its thread, two spaces for each `ZemuTraceIndenter` that is alive; a line without
/// text stays empty. A tracer without a sink discards its text, so that tracing costs little where
/// nobody reads it. Numbers print as a stream prints them, doubles with six digits unless a
/// manipulator says otherwise; manipulators last as long as the tracer.
///
/// A tracer has identity. It has no lock: it is used on the thread that does the traced work.
class ZemuTracer
{
public:
    static constexpr int kDefaultTraceLevel = 0;

    explicit ZemuTracer(ZemuTraceSink sink = {}, int traceLevel = kDefaultTraceLevel);
    ZemuTracer(ZemuTracer const&) = delete;
    ZemuTracer& operator=(ZemuTracer const&) = delete;
    ~ZemuTracer();

    /// \name Set-up
    /// @{
    /// Replaces the sink; an empty one discards the text from here on.
    void setSink(ZemuTraceSink sink);
    /// The level at which lines start that name no level of their own.
    int traceLevel() const;
    void setTraceLevel(int level);
    /// @}

    /// Starts a line at a level: ends the line before, if that holds text. The level says how
    /// important the line is, the lower the more; a line above the tracer's own level is left out,
    /// up to the next start of a line.
    ZemuTracer& str(int level);
    /// Starts a line that is let through or left out as the line before it.
    ZemuTracer& continueOnNewLine();

    /// \name Output
    /// @{
    /// Text in UTF-8; null prints nothing.
    ZemuTracer& operator<<(char const* text);
    ZemuTracer& operator<<(double value);
    ZemuTracer& operator<<(unsigned int value);
    ZemuTracer& operator<<(long value);
    /// Manipulators without arguments, such as `std::endl` and `std::hex`; for others see `stream`.
    ZemuTracer& operator<<(std::ostream& (*manipulator)(std::ostream&));
    ZemuTracer& operator<<(std::ios_base& (*manipulator)(std::ios_base&));
    /// @}

    /// The standard stream behind the tracer, for what has only a stream operator of its own.
    std::ostream& stream();

private:
    class Buffer;

    std::unique_ptr<Buffer> m_buffer;
    std::ostream m_stream;
    int m_traceLevel;
};

/// Indents, by one step, what the tracers of this thread print for as long as it lives.
///
/// Guards nest and end in the reverse order of their start, as objects of a block do.
class ZemuTraceIndenter
{
public:
    /// The arguments tell a reader of the source which block is meant; the guard prints nothing and
    /// indents alike for all of them. The usual call is (0, "", 0).
    ZemuTraceIndenter(int level, char const* title, int line) noexcept;
    ZemuTraceIndenter(ZemuTraceIndenter const&) = delete;
    ZemuTraceIndenter& operator=(ZemuTraceIndenter const&) = delete;
    ~ZemuTraceIndenter();

    /// How many guards of this thread are alive.
    static unsigned depth() noexcept;
};
