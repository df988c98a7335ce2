#include "cli/text_format.h"

#include "db/od_db_handle.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace zemhost {

namespace {

std::string pluralOf(std::string_view noun)
{
    const std::string text(noun);
    const std::string stem = text.substr(0, text.size() - 1);
    if (noun == "vertex") {
        return "vertices";
    }
    if (noun.ends_with('y')) {
        return stem + "ies";
    }
    return noun.ends_with('s') ? text + "es" : text + "s";
}

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// JSON escapes what lies below the space; it leaves the delete character and the second set of
/// control characters, U+0080 to U+009F, to which a terminal listens too.
std::string escapeLateControls(std::string const& text)
{
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (byte == 0x7F) {
            result += "\\u007f";
        } else if (byte == 0xC2 && at + 1 < text.size() &&
                   static_cast<unsigned char>(text[at + 1]) < 0xA0) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x",
                          static_cast<unsigned>(static_cast<unsigned char>(text[++at])));
            result += escape.data();
        } else {
            result += text[at];
        }
    }
    return result;
}

}  // namespace

std::string toUtf8(OdString const& text)
{
    std::string bytes;
    text.appendUtf8To(bytes);
    return bytes;
}

std::string toText(OdDbHandle handle)
{
    return toUtf8(handle.ascii());
}

std::string counted(std::uint64_t count, std::string_view noun)
{
    std::string text = std::to_string(count);
    for (std::size_t at = text.size(); at > 3; at -= 3) {
        text.insert(at - 3, " ");
    }
    return text + ' ' + (count == 1 ? std::string(noun) : pluralOf(noun));
}

std::string sized(std::uint64_t bytes)
{
    constexpr std::array<char const*, 5> kUnits = {"KiB", "MiB", "GiB", "TiB", "PiB"};
    if (bytes < 1024) {
        return counted(bytes, "byte");
    }
    double value = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    while (value >= 1023.95 && unit + 1 < kUnits.size()) {
        value /= 1024;
        ++unit;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", value, kUnits[unit]);
    return text.data();
}

std::string shortNumber(double value)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.6g", value);
    return text.data();
}

std::string toText(Json const& json, int indent)
{
    return json.dump(indent, ' ', /*ensure_ascii=*/false, Json::error_handler_t::replace);
}

std::string toText(nlohmann::json const& json, int indent)
{
    return json.dump(indent, ' ', /*ensure_ascii=*/false, nlohmann::json::error_handler_t::replace);
}

std::string shortened(std::string const& utf8, std::size_t maxLength)
{
    std::size_t characters = 0;
    std::size_t end = 0;  // of the part that is kept if the text turns out too long
    for (std::size_t at = 0; at < utf8.size(); ++at) {
        if (isContinuation(utf8[at])) {
            continue;
        }
        if (characters + 3 == maxLength) {
            end = at;
        }
        if (++characters > maxLength) {
            return utf8.substr(0, end) + "...";
        }
    }
    return utf8;
}

std::size_t characterCount(std::string const& utf8)
{
    return static_cast<std::size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char byte) { return !isContinuation(byte); }));
}

std::string printable(std::string const& utf8)
{
    const std::string quoted = toText(Json(utf8), -1);
    std::string text;
    for (std::size_t at = 1; at + 1 < quoted.size(); ++at) {
        // A quotation mark needs no escape outside of quotation marks.
        if (quoted[at] != '\\' || quoted[at + 1] != '"' || at + 2 == quoted.size()) {
            text += quoted[at];
        }
    }
    return escapeLateControls(text);
}

std::string printableJson(nlohmann::json const& json)
{
    return escapeLateControls(toText(json, -1));
}

}  // namespace zemhost
