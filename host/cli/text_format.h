// How the program writes texts, sizes and JSON.

#pragma once

#include "root/od_string.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <string_view>

class OdDbHandle;

namespace zemhost {

using Json = nlohmann::ordered_json;

std::string toUtf8(OdString const& text);
std::string toText(OdDbHandle handle);

/// "1 object", "2 objects"; thousands are set apart: "12 345 objects".
std::string counted(std::uint64_t count, std::string_view noun);

/// "999 bytes", "1.2 KiB", "3.4 MiB".
std::string sized(std::uint64_t bytes);

/// Up to six significant digits, without zeros at the end.
std::string shortNumber(double value);

/// JSON as text; bytes that aren't UTF-8 become the replacement character.
/// \param indent  Spaces for each level, or -1 for one line.
std::string toText(Json const& json, int indent);
std::string toText(nlohmann::json const& json, int indent);

/// The text, or its beginning and "..." if it has more than `maxLength` characters.
std::string shortened(std::string const& utf8, std::size_t maxLength);

/// How many characters a text has; what a terminal needs room for, but for the widest scripts.
std::size_t characterCount(std::string const& utf8);

/// The text with control characters and other unprintable bytes as escapes, so that what a drawing
/// holds can't steer a terminal.
std::string printable(std::string const& utf8);

/// JSON on one line, as `printable`; its own escapes stay as they are.
std::string printableJson(nlohmann::json const& json);

}  // namespace zemhost
