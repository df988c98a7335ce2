#include "root/od_utf8.h"

#include <cstdint>
#include <cstring>

static_assert(sizeof(wchar_t) == 4, "a wide character holds any code point");

namespace {

constexpr std::uint32_t kLastTwoBytes = 0x7FF;
constexpr std::uint32_t kLastThreeBytes = 0xFFFF;
constexpr std::uint32_t kLastCharacter = 0x10FFFF;
constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::uint32_t kByteEscape = 0xDC00;
constexpr std::uint32_t kFirstEscaped = 0xDC80;
constexpr std::uint32_t kLastEscaped = 0xDCFF;

constexpr bool isEscapedByte(std::uint32_t code)
{
    return code >= kFirstEscaped && code <= kLastEscaped;
}

/// The six bits of the continuation byte at `at`, or a number above 0x3F if there is none.
std::uint32_t continuation(char const* at, char const* end)
{
    constexpr std::uint32_t kNone = 0x40;
    if (at >= end || !odUtf8::isContinuation(*at)) {
        return kNone;
    }
    return static_cast<unsigned char>(*at) & 0x3FU;
}

struct Sequence
{
    std::uint32_t code;
    int length;  ///< bytes, 0 if there is no valid sequence
};

constexpr Sequence kInvalid{0, 0};

Sequence decodeTwo(std::uint32_t lead, char const* at, char const* end)
{
    std::uint32_t const b = continuation(at + 1, end);
    if (b > 0x3F || lead < 0xC2) {
        return kInvalid;
    }
    return {(lead & 0x1FU) << 6 | b, 2};
}

Sequence decodeThree(std::uint32_t lead, char const* at, char const* end)
{
    std::uint32_t const b = continuation(at + 1, end);
    std::uint32_t const c = continuation(at + 2, end);
    if (b > 0x3F || c > 0x3F) {
        return kInvalid;
    }
    std::uint32_t const code = (lead & 0x0FU) << 12 | b << 6 | c;
    if (code <= kLastTwoBytes || isEscapedByte(code)) {
        return kInvalid;
    }
    return {code, 3};
}

Sequence decodeFour(std::uint32_t lead, char const* at, char const* end)
{
    std::uint32_t const b = continuation(at + 1, end);
    std::uint32_t const c = continuation(at + 2, end);
    std::uint32_t const d = continuation(at + 3, end);
    if (b > 0x3F || c > 0x3F || d > 0x3F) {
        return kInvalid;
    }
    std::uint32_t const code = (lead & 0x07U) << 18 | b << 12 | c << 6 | d;
    if (code <= kLastThreeBytes || code > kLastCharacter) {
        return kInvalid;
    }
    return {code, 4};
}

Sequence decodeLong(std::uint32_t lead, char const* at, char const* end)
{
    if (lead < 0xC0) {
        return kInvalid;
    }
    if (lead < 0xE0) {
        return decodeTwo(lead, at, end);
    }
    if (lead < 0xF0) {
        return decodeThree(lead, at, end);
    }
    return lead < 0xF8 ? decodeFour(lead, at, end) : kInvalid;
}

char lowBits(std::uint32_t code, int shift)
{
    return static_cast<char>(0x80U | (code >> shift & 0x3FU));
}

/// Number of ASCII characters at the front, looked for eight at a time.
std::size_t asciiPrefix(std::string_view text)
{
    constexpr std::uint64_t kHighBits = 0x8080808080808080U;
    std::size_t at = 0;
    for (; at + sizeof(std::uint64_t) <= text.size(); at += sizeof(std::uint64_t)) {
        std::uint64_t block = 0;
        std::memcpy(&block, text.data() + at, sizeof(block));
        if ((block & kHighBits) != 0) {
            break;
        }
    }
    while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) {
        ++at;
    }
    return at;
}

}  // namespace

namespace odUtf8 {

wchar_t decode(char const*& at, char const* end) noexcept
{
    auto const lead = static_cast<unsigned char>(*at);
    if (lead < 0x80) {
        ++at;
        return static_cast<wchar_t>(lead);
    }
    Sequence const sequence = decodeLong(lead, at, end);
    if (sequence.length == 0) {
        ++at;
        return static_cast<wchar_t>(kByteEscape + lead);
    }
    at += sequence.length;
    return static_cast<wchar_t>(sequence.code);
}

std::size_t encodedLength(wchar_t c) noexcept
{
    auto const code = static_cast<std::uint32_t>(c);
    if (code < 0x80 || isEscapedByte(code)) {
        return 1;
    }
    if (code <= kLastTwoBytes) {
        return 2;
    }
    // What lies beyond the last character becomes U+FFFD, which takes three bytes as well.
    return code <= kLastThreeBytes || code > kLastCharacter ? 3 : 4;
}

char* encode(wchar_t c, char* out) noexcept
{
    auto code = static_cast<std::uint32_t>(c);
    if (code > kLastCharacter) {
        code = kReplacement;
    }
    if (code < 0x80 || isEscapedByte(code)) {
        *out++ = static_cast<char>(code & 0xFFU);
        return out;
    }
    if (code <= kLastTwoBytes) {
        *out++ = static_cast<char>(0xC0U | code >> 6);
    } else {
        if (code <= kLastThreeBytes) {
            *out++ = static_cast<char>(0xE0U | code >> 12);
        } else {
            *out++ = static_cast<char>(0xF0U | code >> 18);
            *out++ = lowBits(code, 12);
        }
        *out++ = lowBits(code, 6);
    }
    *out++ = lowBits(code, 0);
    return out;
}

std::size_t wideLength(std::string_view narrow) noexcept
{
    std::size_t count = asciiPrefix(narrow);
    char const* at = narrow.data() + count;
    char const* const end = narrow.data() + narrow.size();
    while (at < end) {
        (void)decode(at, end);
        ++count;
    }
    return count;
}

std::size_t narrowLength(std::wstring_view wide) noexcept
{
    std::size_t count = 0;
    for (wchar_t const c : wide) {
        count += encodedLength(c);
    }
    return count;
}

void toWide(std::string_view narrow, wchar_t* out) noexcept
{
    char const* at = narrow.data();
    char const* const end = at + narrow.size();
    while (at < end) {
        *out++ = decode(at, end);
    }
}

void toNarrow(std::wstring_view wide, char* out) noexcept
{
    for (wchar_t const c : wide) {
        out = encode(c, out);
    }
}

}  // namespace odUtf8
