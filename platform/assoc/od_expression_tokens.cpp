#include "assoc/od_expression_tokens_impl.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <string>
#include <system_error>

namespace OdExpression {

namespace {

struct Range
{
    std::uint32_t first;
    std::uint32_t last;
};

// Characters beyond ASCII that are neither letters nor marks nor digits: controls, blanks,
// punctuation, signs, arrows, boxes, pictures, halves of pairs, private and unassigned ones.
// Ascending.
constexpr Range kNoLetters[] = {
    {0x0080, 0x00A9},   {0x00AB, 0x00B1},      {0x00B4, 0x00B4},   {0x00B6, 0x00B8},
    {0x00BB, 0x00BF},   {0x00D7, 0x00D7},      {0x00F7, 0x00F7},   {0x037E, 0x037E},
    {0x0387, 0x0387},   {0x055A, 0x055F},      {0x0589, 0x058F},   {0x05BE, 0x05BE},
    {0x05C0, 0x05C0},   {0x05C3, 0x05C3},      {0x05F3, 0x05F4},   {0x0600, 0x060F},
    {0x061B, 0x061F},   {0x066A, 0x066D},      {0x06D4, 0x06D4},   {0x0700, 0x070F},
    {0x0964, 0x0965},   {0x0E3F, 0x0E3F},      {0x0E4F, 0x0E4F},   {0x0E5A, 0x0E5B},
    {0x10FB, 0x10FB},   {0x1360, 0x1368},      {0x1400, 0x1400},   {0x166D, 0x166E},
    {0x1680, 0x1680},   {0x169B, 0x169C},      {0x16EB, 0x16ED},   {0x17D4, 0x17D6},
    {0x17D8, 0x17DB},   {0x1800, 0x180A},      {0x180E, 0x180E},   {0x2000, 0x200B},
    {0x200E, 0x206F},   {0x207A, 0x207E},      {0x208A, 0x208E},   {0x20A0, 0x20CF},
    {0x2190, 0x2BFF},   {0x2E00, 0x2E7F},      {0x2FF0, 0x3004},   {0x3008, 0x3020},
    {0x3030, 0x3030},   {0x303D, 0x303F},      {0x30A0, 0x30A0},   {0x30FB, 0x30FB},
    {0xD800, 0xF8FF},   {0xFD3E, 0xFD4F},      {0xFE10, 0xFE1F},   {0xFE30, 0xFE6F},
    {0xFEFF, 0xFEFF},   {0xFF00, 0xFF0F},      {0xFF1A, 0xFF20},   {0xFF3B, 0xFF40},
    {0xFF5B, 0xFF65},   {0xFFE0, 0xFFFF},      {0x1D000, 0x1D3FF}, {0x1F000, 0x1FAFF},
    {0xE0000, 0xE00FF}, {0xE01F0, 0xFFFFFFFF},
};

bool isDigit(wchar_t c) noexcept
{
    return c >= L'0' && c <= L'9';
}

bool isAsciiLetter(wchar_t c) noexcept
{
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || c == L'_';
}

bool isLetterOfSomeScript(wchar_t c) noexcept
{
    const auto code = static_cast<std::uint32_t>(c);
    if (code < 0x80) {
        return false;
    }
    Range const* const range =
        std::lower_bound(std::begin(kNoLetters), std::end(kNoLetters), code,
                         [](Range const& one, std::uint32_t wanted) { return one.last < wanted; });
    return range == std::end(kNoLetters) || code < range->first;
}

/// Marks and signs that a name can hold but not start with: combining marks, joiners of letters,
/// raised and lowered digits.
bool isInnerPart(wchar_t c) noexcept
{
    const auto code = static_cast<std::uint32_t>(c);
    return (code >= 0x0300 && code <= 0x036F) || code == 0x200C || code == 0x200D ||
           code == 0x00B2 || code == 0x00B3 || code == 0x00B9 ||
           (code >= 0x2070 && code <= 0x2089 && code != 0x2071 && code != 0x207F) ||
           (code >= 0x20D0 && code <= 0x20FF) || (code >= 0xFE00 && code <= 0xFE0F);
}

bool isBlank(wchar_t c) noexcept
{
    return c == L' ' || (c >= L'\t' && c <= L'\r') || c == 0xA0 || (c >= 0x2000 && c <= 0x200A) ||
           c == 0x202F || c == 0x3000;
}

/// Whether a number that no double holds is too large, and not too small: what counts is where its
/// first digit other than 0 stands.
bool isTooLarge(std::string const& digits)
{
    const std::size_t exponentAt = std::min(digits.find('e'), digits.size());
    const std::size_t point = std::min(digits.find('.'), exponentAt);
    const std::size_t first = digits.find_first_of("123456789");
    if (first >= exponentAt) {
        return false;
    }
    // The exponent itself may be out of range; its sign decides then.
    long long exponent = 0;
    if (exponentAt < digits.size()) {
        char const* begin = digits.data() + exponentAt + 1;
        begin += *begin == '+' ? 1 : 0;
        const auto parsed = std::from_chars(begin, digits.data() + digits.size(), exponent);
        if (parsed.ec != std::errc()) {
            return *begin != '-';
        }
    }
    const auto place = static_cast<long long>(first < point ? point - first : 0) -
                       static_cast<long long>(first > point ? first - point : 0);
    return exponent > 0 ? place > -exponent : place + exponent > 0;
}

}  // namespace

bool isNameStart(wchar_t c) noexcept
{
    return isAsciiLetter(c) || (isLetterOfSomeScript(c) && !isInnerPart(c));
}

bool isNamePart(wchar_t c) noexcept
{
    return isAsciiLetter(c) || isDigit(c) || isLetterOfSomeScript(c) || isInnerPart(c);
}

std::size_t Scanner::skipBlanks(std::size_t position) const noexcept
{
    while (position < m_text.size() && isBlank(m_text[position])) {
        ++position;
    }
    return position;
}

std::size_t Scanner::skipDigits(std::size_t position) const noexcept
{
    while (isDigit(at(position))) {
        ++position;
    }
    return position;
}

bool Scanner::isCallNext() const noexcept
{
    return at(skipBlanks(m_at)) == L'(';
}

Token Scanner::sign(TokenKind kind, std::size_t length)
{
    const Token token{kind, m_at, length, 0};
    m_at += length;
    return token;
}

Token Scanner::name()
{
    std::size_t end = m_at + 1;
    while (end < m_text.size() && isNamePart(m_text[end])) {
        ++end;
    }
    return sign(TokenKind::kName, end - m_at);
}

Token Scanner::number()
{
    std::size_t end = skipDigits(m_at);
    if (at(end) == L'.') {
        end = skipDigits(end + 1);
    }
    if (at(end) == L'e' || at(end) == L'E') {
        const std::size_t digits = end + (at(end + 1) == L'+' || at(end + 1) == L'-' ? 2 : 1);
        if (isDigit(at(digits))) {
            end = skipDigits(digits);
        }
    }
    std::string digits;
    digits.reserve(end - m_at);
    for (wchar_t c : m_text.substr(m_at, end - m_at)) {
        digits.push_back(c == L'E' ? 'e' : static_cast<char>(c));
    }
    Token token = sign(TokenKind::kNumber, end - m_at);
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), token.number);
    if (parsed.ec == std::errc::result_out_of_range) {
        token.number = 0;
        token.kind = isTooLarge(digits) ? TokenKind::kTooLarge : TokenKind::kNumber;
    }
    return token;
}

Token Scanner::next()
{
    m_at = skipBlanks(m_at);
    if (m_at >= m_text.size()) {
        return {TokenKind::kEnd, m_text.size(), 0, 0};
    }
    const wchar_t c = m_text[m_at];
    const wchar_t following = at(m_at + 1);
    if (isDigit(c) || (c == L'.' && isDigit(following))) {
        return number();
    }
    if (isNameStart(c)) {
        return name();
    }
    switch (c) {
    case L'(':
        return sign(TokenKind::kOpen, 1);
    case L')':
        return sign(TokenKind::kClose, 1);
    case L',':
        return sign(TokenKind::kComma, 1);
    case L'+':
        return sign(TokenKind::kPlus, 1);
    case L'-':
        return sign(TokenKind::kMinus, 1);
    case L'*':
        return sign(TokenKind::kTimes, 1);
    case L'/':
        return sign(TokenKind::kDivide, 1);
    case L'%':
        return sign(TokenKind::kModulo, 1);
    case L'^':
        return sign(TokenKind::kPower, 1);
    case L'<':
        return following == L'='   ? sign(TokenKind::kLessEqual, 2)
               : following == L'>' ? sign(TokenKind::kNotEqual, 2)
                                   : sign(TokenKind::kLess, 1);
    case L'>':
        return following == L'=' ? sign(TokenKind::kGreaterEqual, 2) : sign(TokenKind::kGreater, 1);
    case L'=':
        return sign(TokenKind::kEqual, following == L'=' ? 2 : 1);
    case L'!':
        return following == L'=' ? sign(TokenKind::kNotEqual, 2) : sign(TokenKind::kUnknown, 1);
    default:
        return sign(TokenKind::kUnknown, 1);
    }
}

}  // namespace OdExpression
