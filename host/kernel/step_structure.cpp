#include "kernel/kernel_error.h"
#include "kernel/step_structure_impl.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <fstream>
#include <vector>

namespace zemhost {

namespace {

[[noreturn]] void throwDamaged(const std::string& reason)
{
    throw KernelError(KernelFailure::kDamagedFile, "", reason,
                      "export the file again as AP203, AP214 or AP242");
}

/// Reads a STEP file letter by letter and gathers the numbers of its entities.
class StructureScanner
{
public:
    explicit StructureScanner(const std::string& path) : m_stream(path, std::ios::binary)
    {
        if (!m_stream.is_open()) {
            throw KernelError(KernelFailure::kUnreadableFile, "", "the file cannot be opened",
                              "check the permission to read it");
        }
        m_buffer = m_stream.rdbuf();
    }

    void scan()
    {
        while (skipToStatement()) {
            if (peek() == '#') {
                takeEntityNumber();
            }
            skipStatement();
        }
        checkNumbers();
    }

private:
    static constexpr int kEnd = std::char_traits<char>::eof();

    int peek() { return m_buffer->sgetc(); }

    int next()
    {
        const int letter = m_buffer->sbumpc();
        m_line += letter == '\n' ? 1 : 0;
        return letter;
    }

    static bool isBlank(int letter) { return letter != kEnd && std::isspace(letter) != 0; }
    static bool isDigit(int letter) { return letter >= '0' && letter <= '9'; }

    /// Skips blanks and comments; false at the end of the file.
    bool skipToStatement()
    {
        while (peek() != kEnd) {
            if (isBlank(peek())) {
                (void)next();  // known to be blank
                continue;
            }
            if (peek() != '/') {
                return true;
            }
            skipComment();
        }
        return false;
    }

    /// At a slash: skips the comment that it opens, or only the slash.
    void skipComment()
    {
        const std::uint64_t begin = m_line;
        (void)next();  // the slash
        if (peek() != '*') {
            return;
        }
        (void)next();  // the star
        int last = 0;
        while (true) {
            const int letter = next();
            if (letter == kEnd) {
                throwDamaged("line " + std::to_string(begin) + ": the comment has no end");
            }
            if (last == '*' && letter == '/') {
                return;
            }
            last = letter;
        }
    }

    /// A quote inside a text is doubled, which reads as two texts side by side.
    void skipText()
    {
        const std::uint64_t begin = m_line;
        (void)next();  // the quote
        while (true) {
            const int letter = next();
            if (letter == kEnd) {
                throwDamaged("line " + std::to_string(begin) + ": the text has no end");
            }
            if (letter == '\'') {
                return;
            }
        }
    }

    void skipStatement()
    {
        while (peek() != kEnd) {
            if (peek() == '\'') {
                skipText();
                continue;
            }
            if (peek() == '/') {
                skipComment();
                continue;
            }
            if (next() == ';') {
                return;
            }
        }
    }

    void takeEntityNumber()
    {
        constexpr std::uint64_t kLargestNumber = 1'000'000'000'000'000;
        (void)next();  // the number sign
        std::uint64_t number = 0;
        while (isDigit(peek())) {
            number = number * 10 + static_cast<std::uint64_t>(next() - '0');
            if (number > kLargestNumber) {
                throwDamaged("line " + std::to_string(m_line) + ": the entity number is too large");
            }
        }
        m_numbers.push_back(number);
    }

    void checkNumbers()
    {
        std::sort(m_numbers.begin(), m_numbers.end());
        const auto twice = std::adjacent_find(m_numbers.begin(), m_numbers.end());
        if (twice != m_numbers.end()) {
            throwDamaged("entity #" + std::to_string(*twice) + " is defined twice");
        }
    }

    std::ifstream m_stream;
    std::filebuf* m_buffer = nullptr;
    std::uint64_t m_line = 1;
    std::vector<std::uint64_t> m_numbers;
};

}  // namespace

void checkStepStructure(const std::string& path)
{
    StructureScanner(path).scan();
}

}  // namespace zemhost
