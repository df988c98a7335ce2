#include "root/od_string.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <type_traits>

namespace {

enum class ArgumentSize
{
    kChar,
    kShort,
    kInt,
    kLong,
    kLongLong,
    kMax,
    kSize,
    kDifference,
    kLongDouble
};

/// One conversion of a pattern, from the percent sign to its letter.
struct Conversion
{
    bool leftAligned = false;
    bool plusSign = false;
    bool spaceSign = false;
    bool alternative = false;
    bool zeroPadded = false;
    int width = 0;
    int precision = -1;  ///< -1 for the default
    ArgumentSize size = ArgumentSize::kInt;
    wchar_t letter = 0;  ///< 0 at the end of the pattern
};

bool isUpperLetter(wchar_t letter)
{
    return letter >= L'A' && letter <= L'Z';
}

void makeUpperAscii(std::string& text)
{
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
}

std::string signOf(Conversion const& conversion, bool isNegative)
{
    if (isNegative) {
        return "-";
    }
    if (conversion.plusSign) {
        return "+";
    }
    return conversion.spaceSign ? " " : "";
}

std::string digitsOf(std::uint64_t value, int base)
{
    char buffer[std::numeric_limits<std::uint64_t>::digits];
    auto const end = std::to_chars(std::begin(buffer), std::end(buffer), value, base).ptr;
    return {std::begin(buffer), end};
}

/// The digits of a finite number that isn't negative, as std::to_chars spells them.
template <class Real>
std::string spell(Real value, std::chars_format format, int precision)
{
    // All digits in front of the point, point, exponent and a few to spare.
    constexpr int kRoom = std::numeric_limits<Real>::max_exponent10 + 32;
    std::string result(static_cast<std::size_t>(kRoom) + static_cast<std::size_t>(precision), '\0');
    auto const end =
        std::to_chars(result.data(), result.data() + result.size(), value, format, precision).ptr;
    result.resize(static_cast<std::size_t>(end - result.data()));
    return result;
}

/// Ends a number that has none with a decimal point, in front of its exponent.
void addPoint(std::string& number, char exponentMark)
{
    if (number.find('.') == std::string::npos) {
        number.insert(std::min(number.find(exponentMark), number.size()), 1, '.');
    }
}

void stripTrailingZeros(std::string& number)
{
    std::size_t const exponent = std::min(number.find('e'), number.size());
    if (number.find('.') >= exponent) {
        return;
    }
    std::size_t keep = exponent;
    while (number[keep - 1] == '0') {
        --keep;
    }
    if (number[keep - 1] == '.') {
        --keep;
    }
    number.erase(keep, exponent - keep);
}

/// The shorter of both notations, with `precision` digits that count: the rule of C.
template <class Real>
std::string spellGeneral(Real value, int precision, bool keepZeros)
{
    int const digits = std::max(precision, 1);
    std::string result = spell(value, std::chars_format::scientific, digits - 1);
    int const exponent = std::atoi(result.c_str() + result.find('e') + 1);
    constexpr int kLeastFixed = -4;
    if (exponent >= kLeastFixed && exponent < digits) {
        result = spell(value, std::chars_format::fixed, digits - 1 - exponent);
    }
    if (keepZeros) {
        addPoint(result, 'e');
    } else {
        stripTrailingZeros(result);
    }
    return result;
}

template <class Real>
std::string spellHex(Real value, int precision)
{
    if (precision >= 0) {
        return spell(value, std::chars_format::hex, precision);
    }
    char buffer[64];
    auto const end =
        std::to_chars(std::begin(buffer), std::end(buffer), value, std::chars_format::hex).ptr;
    return {std::begin(buffer), end};
}

/// Digits of a finite number that isn't negative, in lower case and without the mark of base 16.
template <class Real>
std::string spellFinite(Conversion const& conversion, Real value)
{
    constexpr int kDefaultPrecision = 6;
    int const precision = conversion.precision < 0 ? kDefaultPrecision : conversion.precision;
    std::string result;
    switch (conversion.letter) {
    case L'f':
    case L'F':
        result = spell(value, std::chars_format::fixed, precision);
        break;
    case L'e':
    case L'E':
        result = spell(value, std::chars_format::scientific, precision);
        break;
    case L'g':
    case L'G':
        return spellGeneral(value, precision, conversion.alternative);
    default:
        result = spellHex(value, conversion.precision);
        break;
    }
    if (conversion.alternative) {
        addPoint(result, conversion.letter == L'a' || conversion.letter == L'A' ? 'p' : 'e');
    }
    return result;
}

/// Fills a pattern in. Numbers are spelled here and not by the C library, whose decimal point and
/// multi-byte text depend on the process's locale.
class Formatter
{
public:
    explicit Formatter(std::va_list args) { va_copy(m_args, args); }
    Formatter(Formatter const&) = delete;
    Formatter& operator=(Formatter const&) = delete;
    ~Formatter() { va_end(m_args); }

    std::wstring run(wchar_t const* pattern)
    {
        m_at = pattern;
        while (*m_at != L'\0') {
            if (*m_at != L'%') {
                m_result += *m_at++;
                continue;
            }
            wchar_t const* const start = m_at;
            Conversion const conversion = parse();
            if (!convert(conversion)) {
                m_result.append(start, m_at);
            }
        }
        return std::move(m_result);
    }

private:
    Conversion parse()
    {
        Conversion result;
        ++m_at;
        parseFlags(result);
        result.width = parseNumber();
        if (result.width < 0) {
            result.leftAligned = true;
            result.width = result.width == INT_MIN ? INT_MAX : -result.width;
        }
        if (*m_at == L'.') {
            ++m_at;
            result.precision = std::max(parseNumber(), -1);
        }
        parseSize(result);
        result.letter = *m_at;
        if (*m_at != L'\0') {
            ++m_at;
        }
        return result;
    }

    void parseFlags(Conversion& result)
    {
        for (;; ++m_at) {
            switch (*m_at) {
            case L'-':
                result.leftAligned = true;
                break;
            case L'+':
                result.plusSign = true;
                break;
            case L' ':
                result.spaceSign = true;
                break;
            case L'#':
                result.alternative = true;
                break;
            case L'0':
                result.zeroPadded = true;
                break;
            default:
                return;
            }
        }
    }

    /// Digits, or an asterisk for the next argument; 0 if there is neither.
    int parseNumber()
    {
        if (*m_at == L'*') {
            ++m_at;
            return va_arg(m_args, int);
        }
        std::int64_t number = 0;
        for (; *m_at >= L'0' && *m_at <= L'9'; ++m_at) {
            number = std::min<std::int64_t>(number * 10 + (*m_at - L'0'), INT_MAX);
        }
        return static_cast<int>(number);
    }

    void parseSize(Conversion& result)
    {
        switch (*m_at) {
        case L'h':
            result.size = m_at[1] == L'h' ? ArgumentSize::kChar : ArgumentSize::kShort;
            m_at += m_at[1] == L'h' ? 2 : 1;
            return;
        case L'l':
            result.size = m_at[1] == L'l' ? ArgumentSize::kLongLong : ArgumentSize::kLong;
            m_at += m_at[1] == L'l' ? 2 : 1;
            return;
        case L'j':
            result.size = ArgumentSize::kMax;
            break;
        case L'z':
            result.size = ArgumentSize::kSize;
            break;
        case L't':
            result.size = ArgumentSize::kDifference;
            break;
        case L'L':
            result.size = ArgumentSize::kLongDouble;
            break;
        default:
            return;
        }
        ++m_at;
    }

    /// False for a conversion that isn't known.
    bool convert(Conversion const& conversion)
    {
        switch (conversion.letter) {
        case L'd':
        case L'i':
            convertSigned(conversion);
            return true;
        case L'u':
        case L'o':
        case L'x':
        case L'X':
            convertUnsigned(conversion);
            return true;
        case L'p':
            convertPointer(conversion);
            return true;
        case L'c':
        case L'C':
            // Narrower characters arrive as int.
            pad(conversion, std::wstring(1, static_cast<wchar_t>(va_arg(m_args, int))));
            return true;
        case L's':
        case L'S':
            convertText(conversion);
            return true;
        case L'%':
            m_result += L'%';
            return true;
        default:
            return convertReal(conversion);
        }
    }

    bool convertReal(Conversion const& conversion)
    {
        constexpr std::wstring_view kLetters = L"fFeEgGaA";
        if (conversion.letter == L'\0' || kLetters.find(conversion.letter) == kLetters.npos) {
            return false;
        }
        if (conversion.size == ArgumentSize::kLongDouble) {
            writeReal(conversion, va_arg(m_args, long double));
        } else {
            writeReal(conversion, va_arg(m_args, double));
        }
        return true;
    }

    std::int64_t signedArgument(ArgumentSize size)
    {
        switch (size) {
        case ArgumentSize::kChar:
            return static_cast<signed char>(va_arg(m_args, int));
        case ArgumentSize::kShort:
            return static_cast<short>(va_arg(m_args, int));
        case ArgumentSize::kInt:
            return va_arg(m_args, int);
        default:
            static_assert(sizeof(long) == sizeof(std::int64_t));
            return va_arg(m_args, std::int64_t);
        }
    }

    std::uint64_t unsignedArgument(ArgumentSize size)
    {
        switch (size) {
        case ArgumentSize::kChar:
            return static_cast<unsigned char>(va_arg(m_args, unsigned));
        case ArgumentSize::kShort:
            return static_cast<unsigned short>(va_arg(m_args, unsigned));
        case ArgumentSize::kInt:
            return va_arg(m_args, unsigned);
        default:
            return va_arg(m_args, std::uint64_t);
        }
    }

    void convertSigned(Conversion const& conversion)
    {
        std::int64_t const value = signedArgument(conversion.size);
        auto const magnitude = static_cast<std::uint64_t>(value);
        writeInteger(conversion, signOf(conversion, value < 0),
                     value < 0 ? 0 - magnitude : magnitude, 10);
    }

    void convertUnsigned(Conversion const& conversion)
    {
        std::uint64_t const value = unsignedArgument(conversion.size);
        if (conversion.letter == L'u') {
            writeInteger(conversion, "", value, 10);
        } else if (conversion.letter == L'o') {
            writeInteger(conversion, "", value, 8);
        } else {
            bool const marked = conversion.alternative && value != 0;
            writeInteger(conversion, marked ? "0x" : "", value, 16);
        }
    }

    void convertPointer(Conversion const& conversion)
    {
        auto const value = reinterpret_cast<std::uintptr_t>(va_arg(m_args, void const*));
        writeInteger(conversion, "0x", value, 16);
    }

    void writeInteger(Conversion const& conversion, std::string const& prefix, std::uint64_t value,
                      int base)
    {
        bool const isNothing = value == 0 && conversion.precision == 0;
        std::string digits = isNothing ? std::string() : digitsOf(value, base);
        auto const least = static_cast<std::size_t>(std::max(conversion.precision, 0));
        if (digits.size() < least) {
            digits.insert(0, least - digits.size(), '0');
        }
        bool const markedOctal = base == 8 && conversion.alternative;
        if (markedOctal && (digits.empty() || digits.front() != '0')) {
            digits.insert(0, 1, '0');
        }
        writeNumber(conversion, prefix, digits, conversion.precision < 0);
    }

    template <class Real>
    void writeReal(Conversion const& conversion, Real value)
    {
        std::string prefix = signOf(conversion, std::signbit(value));
        if (!std::isfinite(value)) {
            writeNumber(conversion, prefix, std::isnan(value) ? "nan" : "inf", /*zeros=*/false);
            return;
        }
        if (conversion.letter == L'a' || conversion.letter == L'A') {
            prefix += "0x";
        }
        writeNumber(conversion, prefix, spellFinite(conversion, std::abs(value)), /*zeros=*/true);
    }

    /// Sign or mark and digits, filled up to the width; zeros go between the two.
    void writeNumber(Conversion const& conversion, std::string const& prefix, std::string digits,
                     bool mayFillWithZeros)
    {
        auto const width = static_cast<std::size_t>(conversion.width);
        std::size_t const length = prefix.size() + digits.size();
        bool const zeros = mayFillWithZeros && conversion.zeroPadded && !conversion.leftAligned;
        if (zeros && length < width) {
            digits.insert(0, width - length, '0');
        }
        std::string text = prefix + digits;
        if (isUpperLetter(conversion.letter)) {
            makeUpperAscii(text);
        }
        pad(conversion, std::wstring(text.begin(), text.end()));
    }

    void convertText(Conversion const& conversion)
    {
        bool const isWide = conversion.letter == L'S' || conversion.size == ArgumentSize::kLong;
        if (isWide) {
            writeText(conversion, va_arg(m_args, wchar_t const*));
        } else {
            writeText(conversion, va_arg(m_args, char const*));
        }
    }

    /// With a precision, the argument need not end with a 0 within it.
    template <class Character>
    void writeText(Conversion const& conversion, Character const* text)
    {
        using Traits = std::char_traits<Character>;
        if (text == nullptr) {
            pad(conversion, L"(null)");
            return;
        }
        auto const limit = conversion.precision < 0
                               ? Traits::length(text)
                               : lengthWithin(text, static_cast<std::size_t>(conversion.precision));
        if constexpr (std::is_same_v<Character, wchar_t>) {
            pad(conversion, std::wstring(text, limit));
        } else {
            pad(conversion, std::wstring(OdString::fromUtf8(text, limit).wide()));
        }
    }

    template <class Character>
    static std::size_t lengthWithin(Character const* text, std::size_t limit)
    {
        std::size_t length = 0;
        while (length < limit && text[length] != Character()) {
            ++length;
        }
        return length;
    }

    void pad(Conversion const& conversion, std::wstring const& text)
    {
        auto const width = static_cast<std::size_t>(conversion.width);
        std::size_t const fill = width > text.size() ? width - text.size() : 0;
        if (!conversion.leftAligned) {
            m_result.append(fill, L' ');
        }
        m_result += text;
        if (conversion.leftAligned) {
            m_result.append(fill, L' ');
        }
    }

    std::va_list m_args;
    wchar_t const* m_at = nullptr;
    std::wstring m_result;
};

}  // namespace

OdString& OdString::format(wchar_t const* pattern, ...)
{
    std::va_list args;
    va_start(args, pattern);
    try {
        formatV(pattern, args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
    return *this;
}

OdString& OdString::formatV(wchar_t const* pattern, std::va_list args)
{
    *this = fromWide(Formatter(args).run(pattern != nullptr ? pattern : L""));
    return *this;
}
