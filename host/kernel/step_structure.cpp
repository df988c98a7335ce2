#include "kernel/kernel_error.h"
#include "kernel/step_structure_impl.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <string>
#include <system_error>
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
    static constexpr std::size_t kShownDigits = 30;
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

    /// Digits in quotation marks, which would else look like numbers.
    void skipBinary()
    {
        (void)next();  // the quotation mark
        while (peek() != kEnd && next() != '"') {
        }
    }

    void skipStatement()
    {
        int depth = 0;
        bool isInWord = false;  // a digit goes on with a name or the number of an entity
        while (peek() != kEnd) {
            const int letter = peek();
            if (letter == '\'') {
                skipText();
            } else if (letter == '"') {
                skipBinary();
            } else if (letter == '/') {
                skipComment();
            } else if (isDigit(letter) && !isInWord) {
                skipNumber();
            } else {
                (void)next();  // taken above
                isInWord = std::isalnum(letter) != 0 || letter == '_' || letter == '#';
                if (letter == ';') {
                    return;
                }
                depth = depthBehind(letter, depth);
                continue;
            }
            isInWord = false;
        }
    }

    /// The kernel calls itself for each level of a list.
    int depthBehind(int letter, int depth) const
    {
        constexpr int kMostLevels = 1000;
        if (letter == ')') {
            return depth - 1;
        }
        if (letter != '(') {
            return depth;
        }
        if (depth == kMostLevels) {
            throwDamaged("line " + std::to_string(m_line) + ": lists nest deeper than " +
                         std::to_string(kMostLevels) + " levels");
        }
        return depth + 1;
    }

    /// With an infinite coordinate the kernel computes without end.
    void skipNumber()
    {
        constexpr std::size_t kMostLetters = 1000;
        std::string number;
        const auto take = [&] {
            number += static_cast<char>(next());
            if (number.size() > kMostLetters) {
                throwDamaged("line " + std::to_string(m_line) + ": a number has more than " +
                             std::to_string(kMostLetters) + " digits");
            }
        };
        while (isDigit(peek()) || peek() == '.') {
            take();
        }
        if (peek() == 'E' || peek() == 'e') {
            take();
            if (peek() == '+' || peek() == '-') {
                take();
            }
            while (isDigit(peek())) {
                take();
            }
        }
        double value = 0;
        const char* const end = number.data() + number.size();
        const bool isOutOfRange =
            std::from_chars(number.data(), end, value).ec == std::errc::result_out_of_range;
        if (isOutOfRange && number.find('-') == std::string::npos) {
            throwDamaged("line " + std::to_string(m_line) + ": the number " +
                         number.substr(0, kShownDigits) + " is too large");
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
