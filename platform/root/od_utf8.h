// Translation between wide text and its narrow form, UTF-8, without loss for any bytes.

#pragma once

#include <cstddef>
#include <string_view>

/// The narrow form of text.
///
/// Valid UTF-8 stands for the characters that it names. Files hold other bytes too, and they have to
/// come back unharmed: a byte that is no part of a valid sequence becomes one wide character from
/// U+DC80 to U+DCFF, its value added to U+DC00, and such a character becomes the byte again. The
/// other halves of surrogate pairs, which name no character on their own, are spelled in three bytes
/// as if they were characters. So narrow to wide to narrow gives the same bytes, whatever they are;
/// wide to narrow to wide gives the same text, unless it spells out a valid sequence in characters
/// for invalid bytes. Numbers above U+10FFFF have no narrow form and become U+FFFD.
namespace odUtf8 {

/// The character at `at`, which is moved behind it. `at` has to be below `end`.
wchar_t decode(char const*& at, char const* end) noexcept;

/// Longest spelling of one character, in bytes.
constexpr std::size_t kMaxBytes = 4;

/// Bytes that a character takes, 1 to `kMaxBytes`.
std::size_t encodedLength(wchar_t c) noexcept;
/// Writes a character. \return Behind the last byte written.
char* encode(wchar_t c, char* out) noexcept;

/// Number of wide characters that the bytes stand for.
std::size_t wideLength(std::string_view narrow) noexcept;
/// Number of bytes that the characters take.
std::size_t narrowLength(std::wstring_view wide) noexcept;
/// Writes `wideLength` characters, no terminator.
void toWide(std::string_view narrow, wchar_t* out) noexcept;
/// Writes `narrowLength` bytes, no terminator.
void toNarrow(std::wstring_view wide, char* out) noexcept;

/// Whether a byte may stand only inside or at the end of a sequence.
constexpr bool isContinuation(char byte) noexcept
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace odUtf8
