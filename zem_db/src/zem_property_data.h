// Typed values of property bags: type ids, value nodes and the codecs that file one value.

#pragma once

#include "db/od_db_handle.h"
#include "db/od_db_object_id.h"
#include "db/od_db_types.h"
#include "root/od_array.h"
#include "root/od_shared_ptr.h"
#include "root/od_string.h"

#include <cstdint>
#include <functional>
#include <map>
#include <type_traits>
#include <vector>

class OdDbDwgFiler;
class ZemPropertyData;

/// Kinds of values. Streams store these numbers; they never change and are never used again.
enum ZemPropertyTypeId : std::int32_t
{
    kZemNoType = 0,      ///< never valid
    kZemNestedType = 1,  ///< a whole value with its own type id, inside an array or a map
    kZemStringType = 2,
    kZemIntType = 3,
    kZemDoubleType = 4,
    kZemBoolType = 5,
    kZemInt8Type = 6,
    kZemHandleType = 7,
    kZemTypedIdType = 8,
    kZemArrayType = 9,
    kZemMapType = 10,
    kZemBlobType = 11
};

/// Bits of a bag's `config`, which reaches every value that the bag files.
enum ZemPropertiesConfig : std::int32_t
{
    /// Filers of drawing files get no reference to an erased object: a single one becomes null, one
    /// in an array of references is left out.
    kZemPropsDropErasedIds = 1,
    /// Values that equal their default are not written; reading resets them.
    kZemPropsOmitDefaults = 2
};

/// Levels of nested values that a stream may hold. Deeper ones are neither read nor written, so
/// that no stream can exhaust the stack.
constexpr int kZemMaxNestedValues = 200;

/// Nested values that one value may be written as, where a shared one counts each time. Shared
/// values, or one that holds itself, could otherwise stand for a stream without end.
constexpr std::uint32_t kZemMaxNestedCount = 1 << 24;

/// An object id together with the kind of reference that files it. A value.
///
/// Ordered and compared by the id alone, so as a key of a map an id stands for one entry, whatever
/// kind of reference it is.
struct OdDbTypedId
{
    constexpr OdDbTypedId() noexcept = default;
    constexpr OdDbTypedId(OdDbObjectId objectId, OdDb::ReferenceType referenceType) noexcept
        : id(objectId), type(referenceType)
    {
    }

    OdDbObjectId id;
    OdDb::ReferenceType type = OdDb::ReferenceType::kSoftPointerRef;

    friend bool operator==(OdDbTypedId const& left, OdDbTypedId const& right) noexcept
    {
        return left.id == right.id;
    }
    friend bool operator<(OdDbTypedId const& left, OdDbTypedId const& right) noexcept
    {
        return left.id < right.id;
    }
};

/// Shares a value node with other owners; copying it copies no value. The count isn't atomic.
class ZemPropertyDataPtr : public OdSharedPtr<ZemPropertyData>
{
public:
    using OdSharedPtr<ZemPropertyData>::OdSharedPtr;
};

/// How an array of `T` moves its elements: as bytes for plain values, one by one for all others.
template <class T>
using ZemPropertyAllocator =
    std::conditional_t<std::is_same_v<T, OdString> || std::is_same_v<T, OdDbHandle> ||
                           std::is_same_v<T, std::vector<char>> ||
                           std::is_same_v<T, ZemPropertyDataPtr>,
                       OdObjectsAllocator<T>, OdMemoryAllocator<T>>;

/// The array type of values of `T`.
template <class T>
using ZemPropertyArray = OdArray<T, ZemPropertyAllocator<T>>;

/// The type id of a value type, and those of its elements, or keys and values; 0 where there is
/// none.
///
/// There are 80 value types: 8 scalars, arrays of 9 types and maps of 7 key types to 9 value types.
template <class T>
struct ZemPropertyTypeInfo;

/// What the type ids of one value type are made of.
template <int TypeId, int First = kZemNoType, int Second = kZemNoType>
struct ZemPropertyTypeIds
{
    static constexpr int Id = TypeId;
    /// Element type of an array, key type of a map.
    static constexpr int FirstId = First;
    /// Value type of a map.
    static constexpr int SecondId = Second;
    /// One number for all three; no two value types have the same.
    static constexpr std::uint16_t Kind = TypeId | (First << 4) | (Second << 8);
};

template <>
struct ZemPropertyTypeInfo<ZemPropertyDataPtr> : ZemPropertyTypeIds<kZemNestedType>
{
};
template <>
struct ZemPropertyTypeInfo<OdString> : ZemPropertyTypeIds<kZemStringType>
{
};
template <>
struct ZemPropertyTypeInfo<int> : ZemPropertyTypeIds<kZemIntType>
{
};
template <>
struct ZemPropertyTypeInfo<double> : ZemPropertyTypeIds<kZemDoubleType>
{
};
template <>
struct ZemPropertyTypeInfo<bool> : ZemPropertyTypeIds<kZemBoolType>
{
};
template <>
struct ZemPropertyTypeInfo<signed char> : ZemPropertyTypeIds<kZemInt8Type>
{
};
template <>
struct ZemPropertyTypeInfo<OdDbHandle> : ZemPropertyTypeIds<kZemHandleType>
{
};
template <>
struct ZemPropertyTypeInfo<OdDbTypedId> : ZemPropertyTypeIds<kZemTypedIdType>
{
};
template <>
struct ZemPropertyTypeInfo<std::vector<char>> : ZemPropertyTypeIds<kZemBlobType>
{
};
template <class T, class A>
struct ZemPropertyTypeInfo<OdArray<T, A>>
    : ZemPropertyTypeIds<kZemArrayType, ZemPropertyTypeInfo<T>::Id>
{
    static_assert(std::is_same_v<A, ZemPropertyAllocator<T>>, "spell the array ZemPropertyArray");
};
template <class K, class V>
struct ZemPropertyTypeInfo<std::map<K, V>>
    : ZemPropertyTypeIds<kZemMapType, ZemPropertyTypeInfo<K>::Id, ZemPropertyTypeInfo<V>::Id>
{
};

/// One typed value of a bag.
///
/// A node knows its type id and how its value goes into a filer and comes out of one. It either
/// owns the value (`ZemPropertyDataContainer`) or is bound to a variable, or to a getter and a
/// setter, of the object that holds the bag. Nodes are shared through `ZemPropertyDataPtr`. They
/// have identity: they neither copy nor move. Used on the thread that holds the object with the
/// bag.
class ZemPropertyData
{
public:
    ZemPropertyData(ZemPropertyData const&) = delete;
    ZemPropertyData& operator=(ZemPropertyData const&) = delete;
    virtual ~ZemPropertyData();

    /// \name Filing
    /// Readers answer `false` for malformed content, which leaves the value partly read, and let
    /// the filer's `OdError` pass. `config` is that of the bag.
    /// @{
    /// Writes what follows the type id: for arrays and maps the element, or key and value, types,
    /// the count and the elements.
    virtual void writeDataToDwg(OdDbDwgFiler* filer, int config) const = 0;
    /// Reads a value that starts with its type id, then tells the bound object, also of a value
    /// that was only partly read. A value of another type gives an assertion and `false`.
    virtual bool readFromDwg(OdDbDwgFiler* filer, int config);
    /// Reads what follows the type ids. Tells no bound object.
    virtual bool readDataFromDwg(OdDbDwgFiler* filer, int config) = 0;
    /// Takes over the value of `source` and tells the bound object.
    /// \return `false`, without a change, if `source` holds another value type or is null.
    virtual bool copyData(ZemPropertyDataPtr const& source) = 0;
    /// @}

    /// \name Binding
    /// @{
    /// Whether the value lives outside of the node.
    virtual bool isMapped() const;
    /// Whether the value differs from its default, exactly; always so without a default.
    virtual bool isOutOfDate() const;
    /// Hands the value that `setData` gave out for changing on to the bound object.
    virtual void updateMapped();
    /// Restores the default. \return `false`, without a change, if there is none.
    virtual bool reset();
    /// Whether the node is a `ZemPropertyDataObjectIdArrayMapping`.
    bool isObjectIdArrayMapping() const noexcept { return m_isObjectIdArrayMapping; }
    /// @}

    /// One of `ZemPropertyTypeId`.
    int type() const noexcept { return m_type; }

    /// Writes the type id and the value.
    /// \throws OdError as `assertWritable`, before anything is written.
    void writeToDwg(OdDbDwgFiler* filer, int config) const;
    /// Checks that the value can be written and read back.
    /// \throws OdError (null object pointer) for a null nested value, after an assertion; (bad
    ///         input) for more than `kZemMaxNestedValues` levels or `kZemMaxNestedCount` nested
    ///         values.
    void assertWritable() const;
    /// Reads a value that starts with its type id into a new stored node.
    /// \return Null for an unknown type or malformed content.
    static ZemPropertyDataPtr createFromDwg(OdDbDwgFiler* filer, int config);

    /// Copies the value out, for any of the 80 value types.
    /// \return `false`, with `value` untouched, if the node holds another value type.
    template <class T>
    bool get(T& value) const;
    /// Assigns the value and hands it on to the bound object.
    /// \return `false`, without a change, if the node holds another value type.
    template <class T>
    bool set(T const& value);

    /// Whether this node holds a `T`. Arrays and maps of different elements share a type id; this
    /// tells them apart.
    template <class T>
    bool holds() const noexcept
    {
        return m_kind == ZemPropertyTypeInfo<T>::Kind;
    }

private:
    template <class T>
    friend class ZemPropertyConcreteDataCommon;
    template <class T>
    friend class ZemPropertyConcreteData;
    friend class ZemProperties;
    friend class ZemPropertyDataObjectIdArrayMapping;

    ZemPropertyData(int type, std::uint16_t kind) noexcept : m_type(type), m_kind(kind) {}

    /// As `writeToDwg` for a value that `assertWritable` has let through.
    void writeUnchecked(OdDbDwgFiler* filer, int config) const;

    std::int32_t m_type;
    std::uint16_t m_kind;  ///< `ZemPropertyTypeInfo<T>::Kind`
    bool m_isObjectIdArrayMapping = false;
};

/// Access to a value of type `T`, wherever it lives.
template <class T>
class ZemPropertyConcreteDataCommon : public ZemPropertyData
{
public:
    bool copyData(ZemPropertyDataPtr const& source) override;

    /// The value for changing; lives as long as the node. `updateMapped` completes a change.
    virtual T& setData() = 0;
    /// The value for reading; lives until the next operation of the node.
    virtual T const& getData() const = 0;

protected:
    ZemPropertyConcreteDataCommon() noexcept
        : ZemPropertyData(ZemPropertyTypeInfo<T>::Id, ZemPropertyTypeInfo<T>::Kind)
    {
    }
};

/// Filing of a scalar or a blob.
///
/// The two static codecs file one bare value of `T`, without type id, wherever it stands: as a
/// scalar, an element, a key or a value.
template <class T>
class ZemPropertyConcreteData : public ZemPropertyConcreteDataCommon<T>
{
public:
    void writeDataToDwg(OdDbDwgFiler* filer, int config) const override;
    bool readDataFromDwg(OdDbDwgFiler* filer, int config) override;

    static void writeDataToDwg(OdDbDwgFiler* filer, T const& value, int config);
    /// \return `false` for malformed content.
    static bool readDataFromDwg(OdDbDwgFiler* filer, T& value, int config);
};

/// The codecs of a nested value, which no node holds on its own: type id and all.
template <>
class ZemPropertyConcreteData<ZemPropertyDataPtr>
{
public:
    /// \throws OdError (null object pointer), after an assertion and before anything is written;
    ///         (bad input) beyond `kZemMaxNestedValues` levels and `kZemMaxNestedCount` values.
    static void writeDataToDwg(OdDbDwgFiler* filer, ZemPropertyDataPtr const& value, int config);
    /// \return `false` if that gave no value, and beyond `kZemMaxNestedValues` levels.
    static bool readDataFromDwg(OdDbDwgFiler* filer, ZemPropertyDataPtr& value, int config);
};

/// Filing of an array.
template <class T, class A>
class ZemPropertyConcreteData<OdArray<T, A>> : public ZemPropertyConcreteDataCommon<OdArray<T, A>>
{
public:
    void writeDataToDwg(OdDbDwgFiler* filer, int config) const override;
    /// A stream with another element type gives an assertion and is read all the same, as is one
    /// where type and element type both differ; only another type with this element type fails.
    bool readFromDwg(OdDbDwgFiler* filer, int config) override;
    /// Fails for a negative count and for one that the filer has no bytes for.
    bool readDataFromDwg(OdDbDwgFiler* filer, int config) override;
};

/// Filing of a map.
template <class K, class V>
class ZemPropertyConcreteData<std::map<K, V>> : public ZemPropertyConcreteDataCommon<std::map<K, V>>
{
public:
    void writeDataToDwg(OdDbDwgFiler* filer, int config) const override;
    /// A mismatch of the header gives an assertion; it fails only if the type differs while key
    /// type and value type both match, and is read all the same otherwise.
    bool readFromDwg(OdDbDwgFiler* filer, int config) override;
    /// Adds to the entries that are there; the last one of equal keys stays. A count below 1 adds
    /// nothing; one that is too large breaks off at the end of the filer's data.
    bool readDataFromDwg(OdDbDwgFiler* filer, int config) override;
};

/// A stored value: the node owns it. The only kind that reading a stream creates.
template <class T>
class ZemPropertyDataContainer final : public ZemPropertyConcreteData<T>
{
public:
    /// With a zero or empty value.
    ZemPropertyDataContainer();
    explicit ZemPropertyDataContainer(T const& value);
    ~ZemPropertyDataContainer() override;

    T& setData() override;
    T const& getData() const override;

private:
    T m_value;
};

/// \name Bound values
/// For `bool`, `double`, `signed char`, `int`, `OdString`, `OdDbTypedId`, arrays of `OdDbTypedId`,
/// `OdString`, `double` and `int`, and `std::map<OdDbTypedId, bool>`. Variables belong to the
/// holder of the bag and outlive the node. A getter or setter that is empty throws
/// `std::bad_function_call` when it is first needed.
/// @{

/// Bound to a variable.
template <class T>
class ZemPropertyDataMapping final : public ZemPropertyConcreteData<T>
{
public:
    explicit ZemPropertyDataMapping(T* variable);

    bool isMapped() const override;
    T& setData() override;
    T const& getData() const override;

private:
    T* m_variable;
};

/// Bound to a variable that has a default.
template <class T>
class ZemPropertyDataMappingWithDefault final : public ZemPropertyConcreteData<T>
{
public:
    ZemPropertyDataMappingWithDefault(T* variable, T const& defaultValue);

    bool isMapped() const override;
    bool isOutOfDate() const override;
    bool reset() override;
    T& setData() override;
    T const& getData() const override;

private:
    T* m_variable;
    T m_default;
};

/// Bound to a getter and a setter. The value passes through a cache, which both ways of access fill
/// from the getter first.
template <class T>
class ZemPropertyDataMappingGetterSetter final : public ZemPropertyConcreteData<T>
{
public:
    using Getter = std::function<T()>;
    using Setter = std::function<void(T)>;

    ZemPropertyDataMappingGetterSetter(Getter getter, Setter setter);

    bool isMapped() const override;
    void updateMapped() override;
    T& setData() override;
    T const& getData() const override;

private:
    mutable T m_cache{};
    Getter m_getter;
    Setter m_setter;
};

/// Bound to a getter and a setter of a value that has a default.
template <class T>
class ZemPropertyDataMappingGetterSetterWithDefault final : public ZemPropertyConcreteData<T>
{
public:
    using Getter = std::function<T()>;
    using Setter = std::function<void(T)>;

    ZemPropertyDataMappingGetterSetterWithDefault(Getter getter, Setter setter,
                                                  T const& defaultValue);

    bool isMapped() const override;
    bool isOutOfDate() const override;
    void updateMapped() override;
    bool reset() override;
    T& setData() override;
    T const& getData() const override;

private:
    Getter m_getter;
    Setter m_setter;
    T m_default;
    mutable T m_cache{};
};

/// Bound to a variable that holds a bare id; files it with one kind of reference.
///
/// `setData` gives the cache as it is, without a look at the variable: only what `updateMapped`
/// follows reaches it.
class ZemPropertyDataObjectIdMapping : public ZemPropertyConcreteData<OdDbTypedId>
{
public:
    ZemPropertyDataObjectIdMapping(OdDbObjectId* variable, OdDb::ReferenceType referenceType);

    bool isMapped() const override;
    void updateMapped() override;
    OdDbTypedId& setData() override;
    OdDbTypedId const& getData() const override;
    /// Fills the cache from the variable, with the node's kind of reference.
    virtual void update() const;

private:
    OdDbObjectId* m_variable;
    mutable OdDbTypedId m_cache;
    OdDb::ReferenceType m_referenceType;
};

/// Bound to an array of bare ids; files them all with one kind of reference.
///
/// `setData` gives the cache as it is, without a look at the variable.
class ZemPropertyDataObjectIdArrayMapping final
    : public ZemPropertyConcreteData<ZemPropertyArray<OdDbTypedId>>
{
public:
    ZemPropertyDataObjectIdArrayMapping(OdDbObjectIdArray* variable,
                                        OdDb::ReferenceType referenceType);

    bool isMapped() const override;
    void updateMapped() override;
    ZemPropertyArray<OdDbTypedId>& setData() override;
    ZemPropertyArray<OdDbTypedId> const& getData() const override;

    OdDb::ReferenceType referenceType() const noexcept { return m_referenceType; }
    void setReferenceType(OdDb::ReferenceType type) noexcept { m_referenceType = type; }

private:
    OdDbObjectIdArray* m_variable;
    mutable ZemPropertyArray<OdDbTypedId> m_cache;
    OdDb::ReferenceType m_referenceType;
};
/// @}

namespace ZemPropertiesUtils {

/// Makes empty stored nodes of the type ids that a stream names.
class DataCreator
{
public:
    /// \return Null unless `elementType` is 1 to 8 or 11.
    static ZemPropertyDataPtr createArray(int elementType);
    /// For key types 2 to 8. \return Null unless `valueType` is 1 to 8 or 11.
    template <class K>
    static ZemPropertyDataPtr createMap(int valueType);
};

/// Stores a value in a node, for any of the 80 value types; a null pointer gets a new stored node.
/// No bound object is told.
/// \return `false`, without a change, if the node holds another value type.
template <class T>
bool setData(ZemPropertyDataPtr& node, T const& value);

}  // namespace ZemPropertiesUtils
