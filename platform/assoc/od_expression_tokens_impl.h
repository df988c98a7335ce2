// The signs, numbers and names that an expression's text consists of.

#pragma once

#include "root/od_string.h"

#include <string_view>

namespace OdExpression {

enum class TokenKind
{
    kEnd,
    kNumber,
    kName,
    kOpen,
    kClose,
    kComma,
    kPlus,
    kMinus,
    kTimes,
    kDivide,
    kModulo,
    kPower,
    kLess,
    kLessEqual,
    kGreater,
    kGreaterEqual,
    kEqual,
    kNotEqual,
    kTooLarge,  ///< a number that no double holds
    kUnknown    ///< a sign that expressions don't have
};

struct Token
{
    TokenKind kind = TokenKind::kEnd;
    std::size_t start = 0;
    std::size_t length = 0;
    double number = 0;
};

/// Cuts a text into tokens, one at a time. The text has to outlive the scanner.
class Scanner
{
public:
    explicit Scanner(std::wstring_view text) noexcept : m_text(text) {}

    Token next();
    /// Whether an opening parenthesis comes next, which makes the name before it a function.
    bool isCallNext() const noexcept;
    std::wstring_view textOf(Token const& token) const noexcept
    {
        return m_text.substr(token.start, token.length);
    }

private:
    wchar_t at(std::size_t position) const noexcept
    {
        return position < m_text.size() ? m_text[position] : L'\0';
    }
    std::size_t skipBlanks(std::size_t position) const noexcept;
    std::size_t skipDigits(std::size_t position) const noexcept;
    Token sign(TokenKind kind, std::size_t length);
    Token number();
    Token name();

    std::wstring_view m_text;
    std::size_t m_at = 0;
};

bool isNameStart(wchar_t c) noexcept;
bool isNamePart(wchar_t c) noexcept;

}  // namespace OdExpression
