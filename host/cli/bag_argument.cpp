#include "cli/bag_argument.h"

#include "cli/text_format.h"

#include "protocol/host_error.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iostream>
#include <set>

namespace zemhost {

namespace {

constexpr std::string_view kArray = "array of ";
constexpr std::string_view kMap = "map of ";
constexpr std::string_view kTo = " to ";

[[noreturn]] void fail(std::string const& subject, std::string const& reason,
                       std::string const& advice = {})
{
    throw HostError(ExitCode::kUsage, subject, reason, advice);
}

std::string withSpaces(std::string text)
{
    std::replace(text.begin(), text.end(), '-', ' ');
    return text;
}

template <class Number>
BagJson numberFromWord(std::string const& word, char const* expected)
{
    Number value{};
    char const* const end = word.data() + word.size();
    char const* const start = word.data() + (word.starts_with('+') ? 1 : 0);
    const auto read = std::from_chars(start, end, value);
    if (read.ec != std::errc() || read.ptr != end) {
        fail(word, std::string("is no ") + expected);
    }
    return value;
}

BagJson boolFromWord(std::string const& word)
{
    if (word == "true" || word == "yes" || word == "1") {
        return true;
    }
    if (word == "false" || word == "no" || word == "0") {
        return false;
    }
    fail(word, "is neither true nor false");
}

/// "soft-pointer", or "soft-pointer:2A", which is refused later with what to do instead.
BagJson idFromWord(std::string const& word)
{
    const std::size_t colon = word.find(':');
    BagJson id;
    id["reference"] = withSpaces(word.substr(0, colon));
    id["handle"] = colon == std::string::npos ? "0" : word.substr(colon + 1);
    return id;
}

/// Reads a stream to its end; a failure on the way, as with a folder, leaves it bad.
std::string readAll(std::istream& stream)
{
    std::string bytes;
    std::array<char, 1 << 16> buffer{};
    while (stream.read(buffer.data(), buffer.size()) || stream.gcount() != 0) {
        bytes.append(buffer.data(), static_cast<std::size_t>(stream.gcount()));
    }
    return bytes;
}

std::string readAll(std::string const& path)
{
    if (path == "-") {
        return readAll(std::cin);
    }
    std::ifstream file(path, std::ios::binary);
    std::string bytes = file.is_open() ? readAll(file) : std::string();
    if (!file.is_open() || file.bad()) {
        throw HostError(ExitCode::kFile, path, "can't be read", "check the path and its rights");
    }
    return bytes;
}

BagJson blobFromWord(std::string const& word)
{
    if (!word.starts_with('@')) {
        return word;
    }
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const char byte : readAll(word.substr(1))) {
        text += kDigits[static_cast<unsigned char>(byte) >> 4];
        text += kDigits[static_cast<unsigned char>(byte) & 15];
    }
    return text;
}

BagJson scalarFromWord(std::string const& type, std::string const& word)
{
    if (type == "int" || type == "int8") {
        return numberFromWord<std::int64_t>(word, "whole number");
    }
    if (type == "double") {
        BagJson number = numberFromWord<double>(word, "number that a bag can keep");
        if (!std::isfinite(number.get<double>())) {
            fail(word, "a bag can't keep it as a double",
                 "its size has to lie between 2.3e-308 and 1.7e308, or be 0");
        }
        return number;
    }
    if (type == "bool") {
        return boolFromWord(word);
    }
    if (type == "id") {
        return idFromWord(word);
    }
    if (type == "blob") {
        return blobFromWord(word);
    }
    if (type == "value") {
        fail(type, "values inside values can't be given as words",
             "give the whole value with --json");
    }
    return word;
}

BagJson mapFromWords(std::string const& type, std::vector<std::string> const& words)
{
    const std::size_t to = type.find(kTo);
    if (to == std::string::npos) {
        fail(type, "is no type of a map", "such a type is 'map of string to int'");
    }
    const std::string keyType = type.substr(kMap.size(), to - kMap.size());
    const std::string valueType = type.substr(to + kTo.size());
    BagJson pairs = BagJson::array();
    for (std::string const& word : words) {
        const std::size_t equals = word.find('=');
        if (equals == std::string::npos) {
            fail(word, "is no KEY=VALUE, as a map takes them");
        }
        pairs.push_back(BagJson::array({scalarFromWord(keyType, word.substr(0, equals)),
                                        scalarFromWord(valueType, word.substr(equals + 1))}));
    }
    return pairs;
}

BagJson arrayFromWords(std::string const& elementType, std::vector<std::string> const& words)
{
    BagJson list = BagJson::array();
    for (std::string const& word : words) {
        list.push_back(scalarFromWord(elementType, word));
    }
    return list;
}

/// Parses JSON and finds keys that an object has twice, which the parser would silently drop.
class StrictParser
{
public:
    explicit StrictParser(std::string const& subject) : m_subject(subject) {}

    BagJson parse(std::string const& text, ExitCode exitCode)
    {
        try {
            return BagJson::parse(text,
                                  [this](int depth, BagJson::parse_event_t event, BagJson& parsed) {
                                      checkDepth(depth);
                                      note(event, parsed);
                                      return true;
                                  });
        } catch (BagJson::exception const& error) {
            std::string reason = error.what();
            const std::size_t name = reason.find("] ");
            reason = reason.substr(name == std::string::npos ? 0 : name + 2);
            throw HostError(exitCode, m_subject,
                            "is no JSON: " + shortened(reason, kMaxReasonCharacters), "");
        }
    }

private:
    static constexpr std::size_t kMaxReasonCharacters = 200;
    /// The deepest value that a bag can hold takes some 600 levels. What comes behind the parser
    /// calls itself for each of them.
    static constexpr int kMaxDepth = 1000;

    void checkDepth(int depth) const
    {
        if (depth > kMaxDepth) {
            fail(m_subject, "nests deeper than " + std::to_string(kMaxDepth) + " levels");
        }
    }

    void note(BagJson::parse_event_t event, BagJson const& parsed)
    {
        if (event == BagJson::parse_event_t::object_start) {
            m_keys.emplace_back();
        } else if (event == BagJson::parse_event_t::object_end) {
            m_keys.pop_back();
        } else if (event == BagJson::parse_event_t::key &&
                   !m_keys.back().insert(parsed.get<std::string>()).second) {
            fail(m_subject,
                 "has the key \"" + parsed.get<std::string>() + "\" twice in one object");
        }
    }

    std::string m_subject;
    std::vector<std::set<std::string>> m_keys;
};

}  // namespace

BagJson bagValueFromWords(std::string const& type, std::vector<std::string> const& values)
{
    const std::string spaced = withSpaces(type);
    BagJson json;
    json["type"] = spaced;
    if (spaced.starts_with(kArray)) {
        json["value"] = arrayFromWords(spaced.substr(kArray.size()), values);
    } else if (spaced.starts_with(kMap)) {
        json["value"] = mapFromWords(spaced, values);
    } else if (values.size() == 1) {
        json["value"] = scalarFromWord(spaced, values.front());
    } else {
        fail(type, "takes one value, found " + std::to_string(values.size()),
             "a text with spaces stands in quotation marks");
    }
    return json;
}

BagJson jsonFromWord(std::string const& word)
{
    if (word.starts_with('@')) {
        return readJsonFile(word.substr(1));
    }
    return StrictParser("--json").parse(word, ExitCode::kUsage);
}

BagJson readJsonFile(std::string const& path)
{
    const std::string text = readAll(path);
    return StrictParser(path == "-" ? "standard input" : path).parse(text, ExitCode::kFile);
}

}  // namespace zemhost
