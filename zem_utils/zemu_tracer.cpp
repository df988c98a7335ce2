#include "zem_utils/zemu_tracer.h"

#include <locale>
#include <streambuf>
#include <string>
#include <utility>

namespace {

constexpr std::string_view kIndentStep = "  ";

thread_local unsigned t_indentDepth = 0;

}  // namespace

/// Cuts the stream's text into lines, indents them and hands them to the sink.
class ZemuTracer::Buffer : public std::streambuf
{
public:
    explicit Buffer(ZemuTraceSink sink) { setSink(std::move(sink)); }

    void setSink(ZemuTraceSink sink)
    {
        m_sink = std::make_shared<ZemuTraceSink const>(std::move(sink));
    }

    /// Whether the line under way is left out.
    bool isLeftOut() const noexcept { return m_isLeftOut; }

    /// Ends the line that was begun, and lets the next one through or not.
    void startLine(bool isLeftOut)
    {
        if (m_isSending) {
            return;
        }
        if (!m_isAtLineStart) {
            write("\n");
        }
        m_isLeftOut = isLeftOut;
    }

protected:
    int_type overflow(int_type character) override
    {
        if (!traits_type::eq_int_type(character, traits_type::eof())) {
            const char text = traits_type::to_char_type(character);
            write({&text, 1});
        }
        return traits_type::not_eof(character);
    }

    std::streamsize xsputn(char const* text, std::streamsize size) override
    {
        write({text, static_cast<std::size_t>(size)});
        return size;
    }

private:
    void write(std::string_view text)
    {
        // What a sink itself traces would come back to it without end.
        if (m_isLeftOut || m_isSending) {
            return;
        }
        while (!text.empty()) {
            const std::size_t lineEnd = text.find('\n');
            const std::string_view line = text.substr(0, lineEnd);
            if (!line.empty()) {
                indent();
                send(line);
            }
            if (lineEnd == std::string_view::npos) {
                return;
            }
            send("\n");
            m_isAtLineStart = true;
            text.remove_prefix(lineEnd + 1);
        }
    }

    void indent()
    {
        if (!std::exchange(m_isAtLineStart, false)) {
            return;
        }
        for (unsigned i = 0; i < t_indentDepth; ++i) {
            send(kIndentStep);
        }
    }

    /// A sink that fails must not end the traced work, nor turn the stream bad for good.
    void send(std::string_view text) noexcept
    {
        m_isSending = true;
        try {
            // The sink may be replaced while it runs.
            const std::shared_ptr<ZemuTraceSink const> sink = m_sink;
            if (*sink) {
                (*sink)(text);
            }
        } catch (...) {
            m_isSending = false;
            return;
        }
        m_isSending = false;
    }

    std::shared_ptr<ZemuTraceSink const> m_sink;
    bool m_isAtLineStart = true;
    bool m_isLeftOut = false;
    bool m_isSending = false;
};

ZemuTracer::ZemuTracer(ZemuTraceSink sink, int traceLevel)
    : m_buffer(std::make_unique<Buffer>(std::move(sink))), m_stream(m_buffer.get()),
      m_traceLevel(traceLevel)
{
    // Numbers look the same whatever locale the host has chosen.
    m_stream.imbue(std::locale::classic());
}

ZemuTracer::~ZemuTracer() = default;

void ZemuTracer::setSink(ZemuTraceSink sink)
{
    m_buffer->setSink(std::move(sink));
}

int ZemuTracer::traceLevel() const
{
    return m_traceLevel;
}

void ZemuTracer::setTraceLevel(int level)
{
    m_traceLevel = level;
}

ZemuTracer& ZemuTracer::str(int level)
{
    m_buffer->startLine(level > m_traceLevel);
    return *this;
}

ZemuTracer& ZemuTracer::continueOnNewLine()
{
    m_buffer->startLine(m_buffer->isLeftOut());
    return *this;
}

ZemuTracer& ZemuTracer::operator<<(char const* text)
{
    if (text != nullptr) {
        m_stream << text;
    }
    return *this;
}

ZemuTracer& ZemuTracer::operator<<(double value)
{
    m_stream << value;
    return *this;
}

ZemuTracer& ZemuTracer::operator<<(unsigned int value)
{
    m_stream << value;
    return *this;
}

ZemuTracer& ZemuTracer::operator<<(long value)
{
    m_stream << value;
    return *this;
}

ZemuTracer& ZemuTracer::operator<<(std::ostream& (*manipulator)(std::ostream&))
{
    manipulator(m_stream);
    return *this;
}

ZemuTracer& ZemuTracer::operator<<(std::ios_base& (*manipulator)(std::ios_base&))
{
    manipulator(m_stream);
    return *this;
}

std::ostream& ZemuTracer::stream()
{
    return m_stream;
}

ZemuTraceIndenter::ZemuTraceIndenter(int, char const*, int) noexcept
{
    ++t_indentDepth;
}

ZemuTraceIndenter::~ZemuTraceIndenter()
{
    // A guard that ends on another thread than it began on has nothing to take back there.
    if (t_indentDepth > 0) {
        --t_indentDepth;
    }
}

unsigned ZemuTraceIndenter::depth() noexcept
{
    return t_indentDepth;
}
