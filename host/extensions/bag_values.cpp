#include "extensions/bag_values.h"

#include "protocol/host_error.h"
#include "zem_flat_filer.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>
#include <unordered_map>

namespace zemhost {

namespace {

using Json = BagJson;
using Blob = std::vector<char>;

constexpr std::array<char const*, 4> kReferenceNames = {"soft pointer", "hard pointer",
                                                        "soft ownership", "hard ownership"};
constexpr char const* kTypeAdvice =
    "types are string, int, double, bool, int8, handle, id, blob, 'array of ...' and "
    "'map of ... to ...'";

[[noreturn]] void fail(std::string const& path, std::string const& reason,
                       std::string const& advice = {})
{
    throw HostError(ExitCode::kUsage, path, reason, advice);
}

/// A value in a message, cut to a readable length.
std::string shown(Json const& json)
{
    constexpr std::size_t kMaxShown = 40;
    std::string text = json.dump(-1, ' ', true, Json::error_handler_t::replace);
    if (text.size() > kMaxShown) {
        text.resize(kMaxShown);
        text += "...";
    }
    return text;
}

[[noreturn]] void failType(Json const& json, std::string const& path, char const* expected)
{
    fail(path, "found " + shown(json) + ", expected " + expected);
}

std::string utf8(OdString const& text)
{
    std::string bytes;
    text.appendUtf8To(bytes);
    return bytes;
}

template <class Int>
Int intFromJson(Json const& json, std::string const& path, char const* expected)
{
    if (!json.is_number_integer()) {
        failType(json, path, expected);
    }
    const bool tooLarge =
        json.is_number_unsigned() &&
        json.get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<Int>::max());
    if (tooLarge || json.get<std::int64_t>() < std::numeric_limits<Int>::min() ||
        json.get<std::int64_t>() > std::numeric_limits<Int>::max()) {
        failType(json, path, expected);
    }
    return static_cast<Int>(json.get<std::int64_t>());
}

std::string const& textOf(Json const& json, std::string const& path, char const* expected)
{
    if (!json.is_string()) {
        failType(json, path, expected);
    }
    return json.get_ref<std::string const&>();
}

/// Nested values are counted on the way in: a stream with more levels could not be read back.
struct Context
{
    std::string path;
    int depth = 0;

    Context at(std::string const& step) const { return {path + step, depth}; }
    Context at(std::size_t index) const { return at("[" + std::to_string(index) + "]"); }
};

Json nodeToJson(ZemPropertyDataPtr const& node);
ZemPropertyDataPtr nodeFromJson(Json const& json, Context const& context);

/// Name and JSON form of one bare value.
template <class T>
struct Codec;

template <>
struct Codec<OdString>
{
    static constexpr char const* kName = "string";
    static Json toJson(OdString const& value) { return utf8(value); }
    static OdString fromJson(Json const& json, Context const& context)
    {
        return bagTextFromJson(textOf(json, context.path, "a text"), context.path);
    }
};

template <>
struct Codec<int>
{
    static constexpr char const* kName = "int";
    static Json toJson(int value) { return value; }
    static int fromJson(Json const& json, Context const& context)
    {
        return intFromJson<std::int32_t>(json, context.path,
                                         "a whole number from -2147483648 to 2147483647");
    }
};

template <>
struct Codec<signed char>
{
    static constexpr char const* kName = "int8";
    static Json toJson(signed char value) { return static_cast<int>(value); }
    static signed char fromJson(Json const& json, Context const& context)
    {
        return intFromJson<std::int8_t>(json, context.path, "a whole number from -128 to 127");
    }
};

template <>
struct Codec<double>
{
    static constexpr char const* kName = "double";
    static Json toJson(double value) { return value; }
    static double fromJson(Json const& json, Context const& context)
    {
        if (!json.is_number()) {
            failType(json, context.path, "a number");
        }
        const double value = json.get<double>();
        if (value != 0.0 && !std::isnormal(value)) {
            fail(context.path, "a bag can't keep " + shown(json) + " as a double",
                 "its size has to lie between 2.3e-308 and 1.7e308, or be 0");
        }
        return value;
    }
};

template <>
struct Codec<bool>
{
    static constexpr char const* kName = "bool";
    static Json toJson(bool value) { return value; }
    static bool fromJson(Json const& json, Context const& context)
    {
        if (!json.is_boolean()) {
            failType(json, context.path, "true or false");
        }
        return json.get<bool>();
    }
};

template <>
struct Codec<OdDbHandle>
{
    static constexpr char const* kName = "handle";
    static constexpr char const* kExpected = "a handle of up to 16 hexadecimal digits, such as 2A";
    static Json toJson(OdDbHandle const& value) { return utf8(value.ascii()); }
    static OdDbHandle fromJson(Json const& json, Context const& context)
    {
        std::string const& text = textOf(json, context.path, kExpected);
        std::uint64_t value = 0;
        const auto end = text.data() + text.size();
        const auto read = std::from_chars(text.data(), end, value, 16);
        if (read.ec != std::errc() || read.ptr != end) {
            failType(json, context.path, kExpected);
        }
        return OdDbHandle(value);
    }
};

template <>
struct Codec<OdDbTypedId>
{
    static constexpr char const* kName = "id";
    static constexpr char const* kExpected =
        "an object with \"reference\": \"soft pointer\", \"hard pointer\", \"soft ownership\" or "
        "\"hard ownership\"";

    static Json toJson(OdDbTypedId const& value)
    {
        const auto kind = static_cast<std::size_t>(value.type);
        Json json;
        json["reference"] = kind < kReferenceNames.size() ? kReferenceNames[kind] : "unknown";
        json["handle"] = utf8(value.id.getHandle().ascii());
        return json;
    }

    static OdDbTypedId fromJson(Json const& json, Context const& context)
    {
        if (!json.is_object() || !json.contains("reference")) {
            failType(json, context.path, kExpected);
        }
        if (json.contains("handle") &&
            !Codec<OdDbHandle>::fromJson(json["handle"], context.at(".handle")).isNull()) {
            fail(context.path,
                 "an attached bag keeps no object of an id, only its kind of reference",
                 "store the object as a value of type handle");
        }
        for (std::size_t kind = 0; kind < kReferenceNames.size(); ++kind) {
            if (json["reference"] == kReferenceNames[kind]) {
                return {OdDbObjectId::kNull, static_cast<OdDb::ReferenceType>(kind)};
            }
        }
        failType(json, context.path, kExpected);
    }
};

int hexDigit(char digit)
{
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

template <>
struct Codec<Blob>
{
    static constexpr char const* kName = "blob";
    static constexpr char const* kExpected = "two hexadecimal digits for each byte";

    static Json toJson(Blob const& value)
    {
        constexpr std::string_view kDigits = "0123456789abcdef";
        std::string text;
        text.reserve(2 * value.size());
        for (const char byte : value) {
            text += kDigits[static_cast<unsigned char>(byte) >> 4];
            text += kDigits[static_cast<unsigned char>(byte) & 15];
        }
        return text;
    }

    static Blob fromJson(Json const& json, Context const& context)
    {
        std::string const& text = textOf(json, context.path, kExpected);
        if (text.size() % 2 != 0) {
            failType(json, context.path, kExpected);
        }
        Blob value;
        value.reserve(text.size() / 2);
        for (std::size_t at = 0; at < text.size(); at += 2) {
            const int high = hexDigit(text[at]);
            const int low = hexDigit(text[at + 1]);
            if (high < 0 || low < 0) {
                failType(json, context.path, kExpected);
            }
            value.push_back(static_cast<char>(high * 16 + low));
        }
        return value;
    }
};

template <>
struct Codec<ZemPropertyDataPtr>
{
    static constexpr char const* kName = "value";
    static Json toJson(ZemPropertyDataPtr const& value) { return nodeToJson(value); }
    static ZemPropertyDataPtr fromJson(Json const& json, Context const& context)
    {
        return nodeFromJson(json, {context.path, context.depth + 1});
    }
};

template <class T, class A>
struct Codec<OdArray<T, A>>
{
    static std::string name() { return std::string("array of ") + Codec<T>::kName; }

    static Json toJson(OdArray<T, A> const& value)
    {
        Json json = Json::array();
        for (T const& element : value) {
            json.push_back(Codec<T>::toJson(element));
        }
        return json;
    }

    static OdArray<T, A> fromJson(Json const& json, Context const& context)
    {
        if (!json.is_array()) {
            failType(json, context.path, "a list");
        }
        OdArray<T, A> value;
        value.reserve(static_cast<std::uint32_t>(json.size()));
        for (std::size_t index = 0; index < json.size(); ++index) {
            value.push_back(Codec<T>::fromJson(json[index], context.at(index)));
        }
        return value;
    }
};

template <class K, class V>
struct Codec<std::map<K, V>>
{
    static std::string name()
    {
        return std::string("map of ") + Codec<K>::kName + " to " + Codec<V>::kName;
    }

    static Json toJson(std::map<K, V> const& value)
    {
        if constexpr (std::is_same_v<K, OdString>) {
            Json json = Json::object();
            for (auto const& [key, element] : value) {
                json.emplace(utf8(key), Codec<V>::toJson(element));
            }
            return json;
        } else {
            Json json = Json::array();
            for (auto const& [key, element] : value) {
                json.push_back(Json::array({Codec<K>::toJson(key), Codec<V>::toJson(element)}));
            }
            return json;
        }
    }

    static std::map<K, V> fromJson(Json const& json, Context const& context)
    {
        std::map<K, V> value;
        if (std::is_same_v<K, OdString> && json.is_object()) {
            for (auto const& [key, element] : json.items()) {
                add(value, Json(key), element, context.at("." + key));
            }
            return value;
        }
        if (!json.is_array()) {
            failType(json, context.path, "a list of pairs [key, value]");
        }
        for (std::size_t index = 0; index < json.size(); ++index) {
            Json const& pair = json[index];
            if (!pair.is_array() || pair.size() != 2) {
                failType(pair, context.at(index).path, "a pair [key, value]");
            }
            add(value, pair[0], pair[1], context.at(index));
        }
        return value;
    }

private:
    static void add(std::map<K, V>& value, Json const& key, Json const& element,
                    Context const& context)
    {
        if (!value.emplace(Codec<K>::fromJson(key, context), Codec<V>::fromJson(element, context))
                 .second) {
            fail(context.path, "the key " + shown(key) + " stands there twice");
        }
    }
};

/// What is done with one of the 80 value types, behind plain functions.
struct ValueType
{
    std::string name;
    bool (*isOf)(ZemPropertyData const&);
    Json (*toJson)(ZemPropertyData const&);
    ZemPropertyDataPtr (*make)(Json const&, Context const&);
    bool (*store)(ZemProperties&, OdString const&, Json const&, Context const&);
};

template <class T>
ValueType valueType(std::string name)
{
    return {std::move(name), [](ZemPropertyData const& node) { return node.holds<T>(); },
            [](ZemPropertyData const& node) {
                return Codec<T>::toJson(
                    static_cast<ZemPropertyConcreteDataCommon<T> const&>(node).getData());
            },
            [](Json const& json, Context const& context) {
                return ZemPropertyDataPtr(
                    new ZemPropertyDataContainer<T>(Codec<T>::fromJson(json, context)));
            },
            [](ZemProperties& bag, OdString const& key, Json const& json, Context const& context) {
                return bag.setProperty<T>(key, Codec<T>::fromJson(json, context));
            }};
}

template <class K, class... V>
void addMaps(std::vector<ValueType>& types)
{
    (types.push_back(valueType<std::map<K, V>>(Codec<std::map<K, V>>::name())), ...);
}

template <class... T>
void addScalars(std::vector<ValueType>& types)
{
    (types.push_back(valueType<T>(Codec<T>::kName)), ...);
}

template <class... T>
void addArrays(std::vector<ValueType>& types)
{
    (types.push_back(valueType<ZemPropertyArray<T>>(Codec<ZemPropertyArray<T>>::name())), ...);
}

template <class... K>
void addAllMaps(std::vector<ValueType>& types)
{
    (addMaps<K, OdString, int, double, bool, signed char, OdDbHandle, OdDbTypedId, Blob,
             ZemPropertyDataPtr>(types),
     ...);
}

std::vector<ValueType> makeValueTypes()
{
    std::vector<ValueType> types;
    addScalars<OdString, int, double, bool, signed char, OdDbHandle, OdDbTypedId, Blob>(types);
    addArrays<OdString, int, double, bool, signed char, OdDbHandle, OdDbTypedId, Blob,
              ZemPropertyDataPtr>(types);
    addAllMaps<OdString, int, double, bool, signed char, OdDbHandle, OdDbTypedId>(types);
    return types;
}

std::vector<ValueType> const& valueTypes()
{
    static const std::vector<ValueType> s_types = makeValueTypes();
    return s_types;
}

ValueType const& typeOf(ZemPropertyData const& node)
{
    for (ValueType const& type : valueTypes()) {
        if (type.isOf(node)) {
            return type;
        }
    }
    throw HostError(ExitCode::kInternal, "", "value of unknown kind in a bag", "");
}

ValueType const* findType(std::string const& name)
{
    for (ValueType const& type : valueTypes()) {
        if (type.name == name) {
            return &type;
        }
    }
    return nullptr;
}

Json nodeToJson(ZemPropertyDataPtr const& node)
{
    return bagValueToJson(*node);
}

/// The type that a value names. \throws HostError (usage) for anything that is no value.
ValueType const& typeFromJson(Json const& json, Context const& context)
{
    if (context.depth > kZemMaxNestedValues) {
        fail(context.path.substr(0, context.path.find('[')),
             "values nest deeper than " + std::to_string(kZemMaxNestedValues) + " levels");
    }
    if (!json.is_object() || !json.contains("type") || !json.contains("value")) {
        failType(json, context.path, "an object with \"type\" and \"value\"");
    }
    Json const& name = json["type"];
    ValueType const* type = name.is_string() ? findType(name.get<std::string>()) : nullptr;
    if (type == nullptr) {
        fail(context.path, "there is no type " + shown(name), kTypeAdvice);
    }
    return *type;
}

ZemPropertyDataPtr nodeFromJson(Json const& json, Context const& context)
{
    return typeFromJson(json, context).make(json["value"], context);
}

/// Whether bytes are UTF-8, by the parser of JSON, which refuses anything else.
bool isUtf8(std::string const& text)
{
    try {
        (void)Json(text).dump();
        return true;
    } catch (Json::exception const&) {
        return false;
    }
}

}  // namespace

std::string bagTypeName(ZemPropertyData const& node)
{
    return typeOf(node).name;
}

Json bagValueToJson(ZemPropertyData const& node)
{
    ValueType const& type = typeOf(node);
    Json json;
    json["type"] = type.name;
    json["value"] = type.toJson(node);
    return json;
}

bool storeBagValue(ZemProperties& bag, std::string const& name, Json const& json)
{
    const OdString key = bagTextFromJson(name, "name of a value");
    const Context context{name, 0};
    return typeFromJson(json, context).store(bag, key, json["value"], context);
}

OdString bagTextFromJson(std::string const& text, std::string const& path)
{
    if (text.size() > ZemFlatFiler::kMaxTextBytes) {
        fail(path,
             "text of " + std::to_string(text.size()) + " bytes, room for " +
                 std::to_string(ZemFlatFiler::kMaxTextBytes),
             "store it as a blob");
    }
    if (text.find('\0') != std::string::npos) {
        fail(path, "text with a zero character in it", "store it as a blob");
    }
    if (!isUtf8(text)) {
        fail(path, "text that isn't UTF-8", "store it as a blob");
    }
    return OdString::fromUtf8(text);
}

}  // namespace zemhost
