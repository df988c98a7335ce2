#include "root/od_error.h"
#include "root/od_string.h"
#include "root/od_utf8.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

constexpr std::uint32_t kFirstOf1252 = 0x80;
constexpr char kNotInPage = '?';

// What code page 1252 has where Latin-1 has control characters. The five bytes that the page leaves
// free stand for the control characters, so that no byte is lost.
constexpr std::array<wchar_t, 32> k1252 = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

bool isUtf8(OdCodePageId codePage)
{
    return codePage == OdCodePageId::kUtf8 || codePage == OdCodePageId::kDefault;
}

wchar_t toWide(char byte, OdCodePageId codePage)
{
    auto const code = static_cast<unsigned char>(byte);
    bool const inTable = code >= kFirstOf1252 && code < kFirstOf1252 + k1252.size();
    if (codePage == OdCodePageId::kAnsi1252 && inTable) {
        return k1252[code - kFirstOf1252];
    }
    return static_cast<wchar_t>(code);
}

char toByte(wchar_t c, OdCodePageId codePage)
{
    if (codePage == OdCodePageId::kAnsi1252) {
        auto const* const found = std::find(k1252.begin(), k1252.end(), c);
        if (found != k1252.end()) {
            return static_cast<char>(kFirstOf1252 +
                                     static_cast<std::uint32_t>(found - k1252.begin()));
        }
        auto const code = static_cast<std::uint32_t>(c);
        if (code >= kFirstOf1252 && code < kFirstOf1252 + k1252.size()) {
            return kNotInPage;
        }
    }
    constexpr wchar_t kLastOfLatin1 = 0xFF;
    return c >= 0 && c <= kLastOfLatin1 ? static_cast<char>(c) : kNotInPage;
}

void checkCodePage(OdCodePageId codePage)
{
    if (codePage != OdCodePageId::kAnsi1252 && codePage != OdCodePageId::kIso8859_1) {
        throw OdError(kOdInvalidInput);
    }
}

std::string toBytes(OdString const& text, OdCodePageId codePage)
{
    std::string result;
    if (isUtf8(codePage)) {
        text.appendUtf8To(result);
        return result;
    }
    checkCodePage(codePage);
    for (wchar_t const c : text.wide()) {
        result += toByte(c, codePage);
    }
    return result;
}

}  // namespace

OdString OdString::fromBytes(std::string_view bytes, OdCodePageId codePage)
{
    if (isUtf8(codePage)) {
        return fromUtf8(bytes);
    }
    checkCodePage(codePage);
    std::string utf8;
    utf8.reserve(bytes.size());
    char character[odUtf8::kMaxBytes];
    for (char const byte : bytes) {
        utf8.append(character, odUtf8::encode(toWide(byte, codePage), character));
    }
    return fromUtf8(utf8);
}

OdAnsiString::OdAnsiString(OdString const& text, OdCodePageId codePage)
    : m_text(toBytes(text, codePage)), m_codePage(codePage)
{
}

OdAnsiString::OdAnsiString(char const* text, OdCodePageId codePage)
    : m_text(text != nullptr ? text : ""), m_codePage(codePage)
{
}

char* OdAnsiString::getBuffer(int minLength)
{
    m_text.resize(std::max(m_text.size(), static_cast<std::size_t>(std::max(minLength, 0))));
    return m_text.data();
}

void OdAnsiString::releaseBuffer(int newLength)
{
    if (newLength < 0) {
        m_text.resize(std::strlen(m_text.c_str()));
        return;
    }
    auto const length = static_cast<std::size_t>(newLength);
    if (length > m_text.size()) {
        throw OdError(kOdInvalidInput);
    }
    m_text.resize(length);
}
