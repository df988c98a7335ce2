// Helpers of the property tests: all value types, sample values, equality, filers and assertions.

#pragma once

#include "db/od_db_database.h"
#include "db/od_db_memory_filer.h"
#include "db/od_db_xrecord.h"
#include "root/od_assert.h"
#include "root/od_error.h"
#include "support/zem_module_scope.h"

#include "zem_flat_filer.h"
#include "zem_properties.h"
#include "zem_property_data.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <ostream>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

inline void PrintTo(OdString const& text, std::ostream* out)
{
    std::string bytes;
    text.appendUtf8To(bytes);
    *out << '"' << bytes << '"';
}

namespace property_test {

using FlatFiler = OdStaticRxObject<ZemFlatFiler>;
using MemoryFiler = OdStaticRxObject<OdDbMemoryFiler>;
using Blob = std::vector<char>;
using NestedArray = ZemPropertyArray<ZemPropertyDataPtr>;
template <class V>
using MapOf = std::map<OdString, V>;

constexpr auto kSoftPointer = OdDb::ReferenceType::kSoftPointerRef;
constexpr auto kHardPointer = OdDb::ReferenceType::kHardPointerRef;
constexpr auto kSoftOwner = OdDb::ReferenceType::kSoftOwnershipRef;
constexpr auto kHardOwner = OdDb::ReferenceType::kHardOwnershipRef;

/// The code of the OdError that a call throws, `kOdOk` if it throws none.
template <class Call>
OdResult thrownCode(Call&& call)
{
    try {
        std::forward<Call>(call)();
    } catch (OdError const& error) {
        return error.code();
    }
    return kOdOk;
}

//--------------------------------------------------------------------------------------------------
// Types

template <class... T>
struct Types
{
};

using KeyTypes = Types<OdString, int, double, bool, signed char, OdDbHandle, OdDbTypedId>;
using ScalarTypes = Types<OdString, int, double, bool, signed char, OdDbHandle, OdDbTypedId, Blob>;
using ElementTypes = Types<ZemPropertyDataPtr, OdString, int, double, bool, signed char, OdDbHandle,
                           OdDbTypedId, Blob>;
/// The types that have bound nodes.
using BoundTypes =
    Types<bool, double, signed char, int, OdString, OdDbTypedId, ZemPropertyArray<OdDbTypedId>,
          ZemPropertyArray<OdString>, ZemPropertyArray<double>, ZemPropertyArray<int>,
          std::map<OdDbTypedId, bool>>;

/// Calls `visit.template operator()<T>()` for each type.
template <class Visit, class... T>
void forEachType(Types<T...>, Visit&& visit)
{
    (visit.template operator()<T>(), ...);
}

/// As `forEachType` for all 80 value types.
template <class Visit>
void forEachValueType(Visit&& visit)
{
    forEachType(ScalarTypes(), visit);
    forEachType(ElementTypes(), [&]<class T> { visit.template operator()<ZemPropertyArray<T>>(); });
    forEachType(KeyTypes(), [&]<class K> {
        forEachType(ElementTypes(), [&]<class V> { visit.template operator()<std::map<K, V>>(); });
    });
}

/// How a failure names a value type: its type ids.
template <class T>
std::string typeName()
{
    using Info = ZemPropertyTypeInfo<T>;
    return "type " + std::to_string(Info::Id) + " of " + std::to_string(Info::FirstId) + ", " +
           std::to_string(Info::SecondId);
}

//--------------------------------------------------------------------------------------------------
// Nodes and sample values

template <class T>
ZemPropertyDataPtr stored(T const& value)
{
    return ZemPropertyDataPtr(new ZemPropertyDataContainer<T>(value));
}

/// A value for each type and number; different numbers give different values where a type has room.
inline void fillSample(OdString& value, int number)
{
    value =
        OdString(L"text \x00E4\x20AC\x1F600 ") + OdString(static_cast<wchar_t>(L'a' + number % 26));
}
inline void fillSample(int& value, int number)
{
    value = number % 2 == 0 ? -100000 - number : 100000 + number;
}
inline void fillSample(double& value, int number)
{
    value = -0.1 * (number + 1);
}
inline void fillSample(bool& value, int number)
{
    value = number % 2 == 0;
}
inline void fillSample(signed char& value, int number)
{
    value = static_cast<signed char>(number % 2 == 0 ? -1 - number : number);
}
inline void fillSample(OdDbHandle& value, int number)
{
    value = OdDbHandle(0xFEDCBA9876543210U - static_cast<std::uint64_t>(number));
}
inline void fillSample(OdDbTypedId& value, int number)
{
    value = OdDbTypedId(OdDbObjectId::kNull, static_cast<OdDb::ReferenceType>(number % 4));
}
inline void fillSample(Blob& value, int number)
{
    value.assign(static_cast<std::size_t>(number), static_cast<char>(0x80 + number));
}
inline void fillSample(ZemPropertyDataPtr& value, int number)
{
    switch (number % 3) {
    case 0:
        value = stored<int>(number);
        break;
    case 1:
        value = stored<MapOf<double>>({{L"k", 0.25 * number}});
        break;
    default: {
        NestedArray inner;
        inner.append(stored<OdString>(L"deep"));
        inner.append(stored<Blob>(Blob(3, 'x')));
        value = stored(inner);
    }
    }
}
template <class T, class A>
void fillSample(OdArray<T, A>& value, int number)
{
    value.clear();
    for (int i = 0; i < 3; ++i) {
        T element{};
        fillSample(element, number + i);
        value.append(element);
    }
}
template <class K, class V>
void fillSample(std::map<K, V>& value, int number)
{
    value.clear();
    for (int i = 0; i < 3; ++i) {
        K key{};
        fillSample(key, number + i);
        fillSample(value[key], number + i);
    }
}
template <class T>
T sample(int number = 0)
{
    T value{};
    fillSample(value, number);
    return value;
}

//--------------------------------------------------------------------------------------------------
// Equality: bit by bit, ids with their kind of reference

inline bool isSame(ZemPropertyDataPtr const& left, ZemPropertyDataPtr const& right);

template <class T>
bool isSame(T const& left, T const& right)
{
    return left == right;
}
inline bool isSame(double const& left, double const& right)
{
    return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right);
}
inline bool isSame(OdDbTypedId const& left, OdDbTypedId const& right)
{
    return left.id == right.id && left.type == right.type;
}
template <class T, class A>
bool isSame(OdArray<T, A> const& left, OdArray<T, A> const& right)
{
    return left.size() == right.size() &&
           std::equal(left.begin(), left.end(), right.begin(),
                      [](T const& a, T const& b) { return isSame(a, b); });
}
template <class K, class V>
bool isSame(std::map<K, V> const& left, std::map<K, V> const& right)
{
    return left.size() == right.size() &&
           std::equal(left.begin(), left.end(), right.begin(), [](auto const& a, auto const& b) {
               return isSame(a.first, b.first) && isSame(a.second, b.second);
           });
}
inline bool isSame(ZemPropertyDataPtr const& left, ZemPropertyDataPtr const& right)
{
    if (left.isNull() || right.isNull()) {
        return left.isNull() && right.isNull();
    }
    bool result = false;
    forEachValueType([&]<class T> {
        if (left->holds<T>() && right->holds<T>()) {
            T a{};
            T b{};
            result = left->get(a) && right->get(b) && isSame(a, b);
        }
    });
    return result;
}
inline bool isSame(ZemProperties const& left, ZemProperties const& right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](auto const& a, auto const& b) {
                          return a.first == b.first && isSame(a.second, b.second);
                      });
}

//--------------------------------------------------------------------------------------------------
// Bytes

/// A stream of bytes spelled in numbers.
inline Blob bytes(std::initializer_list<int> values)
{
    Blob result;
    for (const int value : values) {
        result.push_back(static_cast<char>(value));
    }
    return result;
}
inline Blob operator+(Blob left, Blob const& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// What `write(filer)` puts into a flat stream.
template <class Write>
Blob flattenBy(Write const& write)
{
    FlatFiler filer;
    filer.clear();
    write(&filer);
    return filer.getBinaryData();
}
inline Blob flatten(ZemPropertyData const& node)
{
    return flattenBy([&](OdDbDwgFiler* filer) { node.writeToDwg(filer, 0); });
}
inline Blob flatten(ZemProperties const& bag)
{
    return flattenBy([&](OdDbDwgFiler* filer) { bag.dwgOutFields(filer); });
}

/// A filer over given bytes, as they come from extended data.
class FlatReader : public FlatFiler
{
public:
    explicit FlatReader(Blob const& data)
    {
        setBinaryData(data.data(), static_cast<unsigned int>(data.size()));
    }
};

inline ZemPropertyDataPtr createFrom(Blob const& data)
{
    FlatReader filer(data);
    return ZemPropertyData::createFromDwg(&filer, 0);
}
inline OdResult readBag(ZemProperties& bag, Blob const& data)
{
    FlatReader filer(data);
    return bag.dwgInFields(&filer);
}
/// As `readBag`; an OdError counts as its code.
inline OdResult tryReadBag(ZemProperties& bag, Blob const& data)
{
    OdResult result = kOdOk;
    const OdResult thrown = thrownCode([&] { result = readBag(bag, data); });
    return thrown != kOdOk ? thrown : result;
}

//--------------------------------------------------------------------------------------------------
// Filers and reports

/// A memory filer that notes the name of each writing operation.
class LoggingFiler : public MemoryFiler
{
public:
    using MemoryFiler::MemoryFiler;

    std::vector<std::string> log;

    void wrBool(bool value) override
    {
        log.push_back("wrBool");
        MemoryFiler::wrBool(value);
    }
    void wrString(OdString const& value) override
    {
        log.push_back("wrString");
        MemoryFiler::wrString(value);
    }
    void wrBytes(void const* buffer, std::uint32_t count) override
    {
        log.push_back("wrBytes");
        MemoryFiler::wrBytes(buffer, count);
    }
    void wrInt8(std::int8_t value) override
    {
        log.push_back("wrInt8");
        MemoryFiler::wrInt8(value);
    }
    void wrInt16(std::int16_t value) override
    {
        log.push_back("wrInt16");
        MemoryFiler::wrInt16(value);
    }
    void wrInt32(std::int32_t value) override
    {
        log.push_back("wrInt32");
        MemoryFiler::wrInt32(value);
    }
    void wrDouble(double value) override
    {
        log.push_back("wrDouble");
        MemoryFiler::wrDouble(value);
    }
    void wrDbHandle(OdDbHandle const& value) override
    {
        log.push_back("wrDbHandle");
        MemoryFiler::wrDbHandle(value);
    }
    void wrSoftOwnershipId(OdDbObjectId const& value) override
    {
        log.push_back("wrSoftOwnershipId");
        MemoryFiler::wrSoftOwnershipId(value);
    }
    void wrHardOwnershipId(OdDbObjectId const& value) override
    {
        log.push_back("wrHardOwnershipId");
        MemoryFiler::wrHardOwnershipId(value);
    }
    void wrSoftPointerId(OdDbObjectId const& value) override
    {
        log.push_back("wrSoftPointerId");
        MemoryFiler::wrSoftPointerId(value);
    }
    void wrHardPointerId(OdDbObjectId const& value) override
    {
        log.push_back("wrHardPointerId");
        MemoryFiler::wrHardPointerId(value);
    }
};

/// Collects failed assertions for as long as it lives.
class AssertionLog
{
public:
    AssertionLog()
        : m_previous(odSetAssertSink([this](OdAssertReport const& report) {
              expressions.push_back(report.expression);
              files.push_back(report.file);
          }))
    {
    }
    AssertionLog(AssertionLog const&) = delete;
    AssertionLog& operator=(AssertionLog const&) = delete;
    ~AssertionLog() { odSetAssertSink(m_previous); }

    std::vector<std::string> expressions;
    std::vector<std::string> files;

private:
    OdAssertSink m_previous;
};

/// The module's classes and an empty assertion log around each test.
class PropertyTest : public testing::Test
{
protected:
    ZemModuleScope m_scope;
    AssertionLog m_assertions;
};

/// A database as well, with ids of living and of erased objects.
class PropertyDatabaseTest : public PropertyTest
{
protected:
    /// An object of a class that is not the module's, closed.
    OdDbObjectId addObject()
    {
        const OdDbObjectPtr object = OdDbXrecord::createObject();
        return m_database->addOdDbObject(object.get());
    }
    OdDbObjectId addErasedObject()
    {
        const OdDbObjectId id = addObject();
        EXPECT_EQ(id.safeOpenObject(OdDb::kForWrite)->erase(), kOdOk);
        return id;
    }

    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
};

}  // namespace property_test
