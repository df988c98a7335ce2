#include "zem_property_data.h"

#include "db/od_db_filer.h"
#include "root/od_error.h"
#include "zem_utils/zemc_assert.h"

#include "zem_property_types_impl.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

namespace {

using NestedArray = ZemPropertyArray<ZemPropertyDataPtr>;

template <class T>
constexpr bool kHoldsNested = ZemPropertyTypeInfo<T>::FirstId == kZemNestedType ||
                              ZemPropertyTypeInfo<T>::SecondId == kZemNestedType;

//--------------------------------------------------------------------------------------------------
// Bounds of reading

/// Where the reader of this thread stands in nested values.
struct Nesting
{
    int depth = 0;
    /// Bytes that the elements still to come of the enclosing arrays take at least. No value inside
    /// may count on them: were each level of a nest allowed all bytes left, a small stream could
    /// allocate its own size times its depth.
    std::uint64_t promisedBytes = 0;
};

constinit thread_local Nesting g_nesting;

/// Least stored size of a nested value: a type id and a payload of one byte.
constexpr std::uint64_t kLeastNestedBytes = 2;
/// Least stored size of any other value. Also a reference takes one everywhere, for its kind.
constexpr std::uint64_t kLeastValueBytes = 1;
/// Elements and bytes of a blob that get room at first where the filer can't tell what is left; the
/// room doubles as they are really read.
constexpr std::int32_t kUnprovenElements = 4096;
constexpr std::int32_t kUnprovenBytes = 65536;

/// How much room there should be when `sized` of `count` are used up; beyond the first step, never
/// more than twice of what the stream has given.
std::int32_t grownRoom(OdDbDwgFiler const& filer, std::int32_t sized, std::int32_t count,
                       std::int32_t firstStep)
{
    if (filer.bytesLeft() != OdDbFiler::kUnlimited) {
        return count;
    }
    return sized + std::min(count - sized, std::max(sized, firstStep));
}

/// Whether the filer may hold `count` records of at least `leastBytes` each.
bool hasRoomFor(OdDbDwgFiler const& filer, std::int32_t count, std::uint64_t leastBytes)
{
    const std::uint64_t left = filer.bytesLeft();
    if (left == OdDbFiler::kUnlimited) {
        return true;
    }
    const std::uint64_t promised = std::min(left, g_nesting.promisedBytes);
    return static_cast<std::uint64_t>(count) <= (left - promised) / leastBytes;
}

class DepthGuard
{
public:
    DepthGuard() noexcept { ++g_nesting.depth; }
    DepthGuard(DepthGuard const&) = delete;
    DepthGuard& operator=(DepthGuard const&) = delete;
    ~DepthGuard() { --g_nesting.depth; }
};

/// Keeps the bytes of an array's elements promised until each of them is read.
class PromiseGuard
{
public:
    explicit PromiseGuard(std::uint64_t bytes) noexcept : m_bytes(bytes)
    {
        g_nesting.promisedBytes += bytes;
    }
    PromiseGuard(PromiseGuard const&) = delete;
    PromiseGuard& operator=(PromiseGuard const&) = delete;
    ~PromiseGuard() { g_nesting.promisedBytes -= m_bytes; }

    void redeem(std::uint64_t bytes) noexcept
    {
        m_bytes -= bytes;
        g_nesting.promisedBytes -= bytes;
    }

private:
    std::uint64_t m_bytes;
};

//--------------------------------------------------------------------------------------------------
// Bounds of writing

/// Where the writer of this thread stands in nested values.
struct WriteNesting
{
    int depth = 0;
    std::uint32_t values = 0;
};

constinit thread_local WriteNesting g_writeNesting;

[[noreturn]] void throwTooDeep()
{
    throw OdError(kOdInvalidInput, L"property values nest too deep");
}

/// Takes one nested value off what may still be written. Values may be shared, so few of them can
/// stand for more than any stream could hold.
void countNested(std::uint32_t& values)
{
    if (values == kZemMaxNestedCount) {
        throw OdError(kOdInvalidInput, L"too many nested property values");
    }
    ++values;
}

/// Bounds writing also where nobody has looked at the whole value before.
class WriteGuard
{
public:
    WriteGuard()
    {
        WriteNesting& nesting = g_writeNesting;
        if (nesting.depth == kZemMaxNestedValues) {
            throwTooDeep();
        }
        if (nesting.depth == 0) {
            nesting.values = 0;
        }
        countNested(nesting.values);
        ++nesting.depth;
    }
    WriteGuard(WriteGuard const&) = delete;
    WriteGuard& operator=(WriteGuard const&) = delete;
    ~WriteGuard() { --g_writeNesting.depth; }
};

//--------------------------------------------------------------------------------------------------
// Codecs of one bare value

bool dropsErasedIds(OdDbDwgFiler const& filer, int config)
{
    return (config & kZemPropsDropErasedIds) != 0 &&
           filer.filerType() == OdDb::FilerType::kFileFiler;
}

/// \throws OdError (bad stream) for a size that no reader would take.
std::int32_t storedCount(std::size_t size)
{
    if (size > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw OdError(kOdBadStream);
    }
    return static_cast<std::int32_t>(size);
}

void putValue(OdDbDwgFiler& filer, OdString const& value, int /*config*/)
{
    filer.wrString(value);
}

void putValue(OdDbDwgFiler& filer, int const& value, int /*config*/)
{
    filer.wrInt32(value);
}

void putValue(OdDbDwgFiler& filer, double const& value, int /*config*/)
{
    filer.wrDouble(value);
}

void putValue(OdDbDwgFiler& filer, bool const& value, int /*config*/)
{
    filer.wrBool(value);
}

void putValue(OdDbDwgFiler& filer, signed char const& value, int /*config*/)
{
    filer.wrInt8(value);
}

void putValue(OdDbDwgFiler& filer, OdDbHandle const& value, int /*config*/)
{
    filer.wrDbHandle(value);
}

void putId(OdDbDwgFiler& filer, OdDbTypedId const& value)
{
    filer.wrInt8(static_cast<std::int8_t>(value.type));
    switch (value.type) {
    case OdDb::ReferenceType::kSoftPointerRef:
        filer.wrSoftPointerId(value.id);
        break;
    case OdDb::ReferenceType::kHardPointerRef:
        filer.wrHardPointerId(value.id);
        break;
    case OdDb::ReferenceType::kSoftOwnershipRef:
        filer.wrSoftOwnershipId(value.id);
        break;
    case OdDb::ReferenceType::kHardOwnershipRef:
        filer.wrHardOwnershipId(value.id);
        break;
    }
}

void putValue(OdDbDwgFiler& filer, OdDbTypedId const& value, int config)
{
    if (dropsErasedIds(filer, config) && value.id.isErased()) {
        putId(filer, OdDbTypedId(OdDbObjectId::kNull, value.type));
        return;
    }
    putId(filer, value);
}

void putValue(OdDbDwgFiler& filer, std::vector<char> const& value, int /*config*/)
{
    const std::int32_t length = storedCount(value.size());
    filer.wrInt32(length);
    if (length != 0) {
        filer.wrBytes(value.data(), static_cast<std::uint32_t>(length));
    }
}

void putValue(OdDbDwgFiler& filer, ZemPropertyDataPtr const& value, int config)
{
    ZemPropertyConcreteData<ZemPropertyDataPtr>::writeDataToDwg(&filer, value, config);
}

bool takeValue(OdDbDwgFiler& filer, OdString& value, int /*config*/)
{
    value = filer.rdString();
    return true;
}

bool takeValue(OdDbDwgFiler& filer, int& value, int /*config*/)
{
    value = filer.rdInt32();
    return true;
}

bool takeValue(OdDbDwgFiler& filer, double& value, int /*config*/)
{
    value = filer.rdDouble();
    return true;
}

bool takeValue(OdDbDwgFiler& filer, bool& value, int /*config*/)
{
    value = filer.rdBool();
    return true;
}

bool takeValue(OdDbDwgFiler& filer, signed char& value, int /*config*/)
{
    value = filer.rdInt8();
    return true;
}

bool takeValue(OdDbDwgFiler& filer, OdDbHandle& value, int /*config*/)
{
    value = filer.rdDbHandle();
    return true;
}

bool takeValue(OdDbDwgFiler& filer, OdDbTypedId& value, int /*config*/)
{
    const auto type = static_cast<OdDb::ReferenceType>(filer.rdInt8());
    switch (type) {
    case OdDb::ReferenceType::kSoftPointerRef:
        value.id = filer.rdSoftPointerId();
        break;
    case OdDb::ReferenceType::kHardPointerRef:
        value.id = filer.rdHardPointerId();
        break;
    case OdDb::ReferenceType::kSoftOwnershipRef:
        value.id = filer.rdSoftOwnershipId();
        break;
    case OdDb::ReferenceType::kHardOwnershipRef:
        value.id = filer.rdHardOwnershipId();
        break;
    default:
        return false;
    }
    value.type = type;
    return true;
}

void resizeBlob(std::vector<char>& value, std::int32_t length)
{
    try {
        value.resize(static_cast<std::size_t>(length));
    } catch (std::bad_alloc const&) {
        throw OdError(kOdOutOfMemory);
    }
}

bool takeValue(OdDbDwgFiler& filer, std::vector<char>& value, int /*config*/)
{
    const std::int32_t length = filer.rdInt32();
    if (length < 0 || !hasRoomFor(filer, length, kLeastValueBytes)) {
        return false;
    }
    value.clear();
    for (std::int32_t done = 0; done < length;) {
        const std::int32_t room = grownRoom(filer, done, length, kUnprovenBytes);
        resizeBlob(value, room);
        filer.rdBytes(value.data() + done, static_cast<std::uint32_t>(room - done));
        done = room;
    }
    return true;
}

bool takeValue(OdDbDwgFiler& filer, ZemPropertyDataPtr& value, int config)
{
    return ZemPropertyConcreteData<ZemPropertyDataPtr>::readDataFromDwg(&filer, value, config);
}

//--------------------------------------------------------------------------------------------------
// Making nodes by type id

template <class T>
ZemPropertyDataPtr makeStored()
{
    return ZemPropertyDataPtr(new ZemPropertyDataContainer<T>());
}

ZemPropertyDataPtr createMapByKey(int keyType, int valueType)
{
    using ZemPropertiesUtils::DataCreator;
    switch (keyType) {
    case kZemStringType:
        return DataCreator::createMap<OdString>(valueType);
    case kZemIntType:
        return DataCreator::createMap<int>(valueType);
    case kZemDoubleType:
        return DataCreator::createMap<double>(valueType);
    case kZemBoolType:
        return DataCreator::createMap<bool>(valueType);
    case kZemInt8Type:
        return DataCreator::createMap<signed char>(valueType);
    case kZemHandleType:
        return DataCreator::createMap<OdDbHandle>(valueType);
    case kZemTypedIdType:
        return DataCreator::createMap<OdDbTypedId>(valueType);
    default:
        return ZemPropertyDataPtr();
    }
}

/// An empty stored node of the type whose ids stand next in the stream; null for an unknown one.
ZemPropertyDataPtr createFromHeader(OdDbDwgFiler& filer)
{
    switch (static_cast<std::uint8_t>(filer.rdInt8())) {
    case kZemStringType:
        return makeStored<OdString>();
    case kZemIntType:
        return makeStored<int>();
    case kZemDoubleType:
        return makeStored<double>();
    case kZemBoolType:
        return makeStored<bool>();
    case kZemInt8Type:
        return makeStored<signed char>();
    case kZemHandleType:
        return makeStored<OdDbHandle>();
    case kZemTypedIdType:
        return makeStored<OdDbTypedId>();
    case kZemArrayType:
        return ZemPropertiesUtils::DataCreator::createArray(filer.rdInt8());
    case kZemMapType: {
        const auto keyType = static_cast<std::uint8_t>(filer.rdInt8());
        return createMapByKey(keyType, filer.rdInt8());
    }
    case kZemBlobType:
        return makeStored<std::vector<char>>();
    default:
        return ZemPropertyDataPtr();
    }
}

//--------------------------------------------------------------------------------------------------
// Walking nested values before writing

template <class T>
T const& dataOf(ZemPropertyData const& node)
{
    return static_cast<ZemPropertyConcreteDataCommon<T> const&>(node).getData();
}

void assertNestedWritable(ZemPropertyData const& node, int depth, std::uint32_t& values);

void assertNestedWritable(ZemPropertyDataPtr const& value, int depth, std::uint32_t& values)
{
    if (value.isNull()) {
        zemcCallAssert("!val.isNull()", nullptr, __FILE__, __LINE__);
        throw OdError(kOdNullObjectPointer, L"nested property value is null");
    }
    if (depth == kZemMaxNestedValues) {
        throwTooDeep();
    }
    countNested(values);
    assertNestedWritable(*value, depth + 1, values);
}

template <class K>
bool assertMapWritable(ZemPropertyData const& node, int depth, std::uint32_t& values)
{
    using Map = std::map<K, ZemPropertyDataPtr>;
    if (!node.holds<Map>()) {
        return false;
    }
    for (auto const& [key, value] : dataOf<Map>(node)) {
        assertNestedWritable(value, depth, values);
    }
    return true;
}

/// \param depth   Nested values around the ones that `node` holds.
/// \param values  Counts the nested values, shared ones as often as they are written.
void assertNestedWritable(ZemPropertyData const& node, int depth, std::uint32_t& values)
{
    if (node.type() != kZemArrayType && node.type() != kZemMapType) {
        return;
    }
    if (node.holds<NestedArray>()) {
        for (ZemPropertyDataPtr const& value : dataOf<NestedArray>(node)) {
            assertNestedWritable(value, depth, values);
        }
        return;
    }
    (void)(assertMapWritable<OdString>(node, depth, values) ||
           assertMapWritable<int>(node, depth, values) ||
           assertMapWritable<double>(node, depth, values) ||
           assertMapWritable<bool>(node, depth, values) ||
           assertMapWritable<signed char>(node, depth, values) ||
           assertMapWritable<OdDbHandle>(node, depth, values) ||
           assertMapWritable<OdDbTypedId>(node, depth, values));
}

//--------------------------------------------------------------------------------------------------
// Destroying nested values

/// A value that waits for its destruction.
struct Remains
{
    Remains() = default;
    Remains(Remains const&) = delete;
    Remains& operator=(Remains const&) = delete;
    virtual ~Remains() = default;

    Remains* next = nullptr;
};

template <class T>
struct RemainsOf final : Remains
{
    explicit RemainsOf(T&& remains) noexcept : value(std::move(remains)) {}

    T value;
};

struct Destruction
{
    int depth = 0;
    Remains* waiting = nullptr;
};

constinit thread_local Destruction g_destruction;

/// Levels that are destroyed by plain recursion; what nests deeper waits until these are done.
constexpr int kMaxDestructionDepth = 64;

/// Destroys nested values without recursion in proportion to their depth, which callers may have
/// made as large as they like.
template <class T>
void destroyNested(T& value) noexcept
{
    Destruction& destruction = g_destruction;
    if (destruction.depth == kMaxDestructionDepth) {
        // Without memory for it, recursion is still better than a leak.
        if (auto* remains = new (std::nothrow) RemainsOf<T>(std::move(value))) {
            remains->next = std::exchange(destruction.waiting, remains);
            return;
        }
    }
    ++destruction.depth;
    {
        const T doomed(std::move(value));
    }
    while (destruction.depth == 1 && destruction.waiting != nullptr) {
        Remains* const remains = destruction.waiting;
        destruction.waiting = remains->next;
        delete remains;
    }
    --destruction.depth;
}

//--------------------------------------------------------------------------------------------------
// Comparing with a default, always exactly

template <class T>
bool differs(T const& left, T const& right)
{
    return !(left == right);
}

template <class T, class A>
bool differs(OdArray<T, A> const& left, OdArray<T, A> const& right)
{
    return left.size() != right.size() ||
           !std::equal(left.begin(), left.end(), right.begin(),
                       [](T const& a, T const& b) { return !differs(a, b); });
}

template <class K, class V>
bool differs(std::map<K, V> const& left, std::map<K, V> const& right)
{
    return left.size() != right.size() ||
           !std::equal(left.begin(), left.end(), right.begin(), [](auto const& a, auto const& b) {
               return !differs(a.first, b.first) && !differs(a.second, b.second);
           });
}

}  // namespace

//--------------------------------------------------------------------------------------------------
// ZemPropertyData

ZemPropertyData::~ZemPropertyData() = default;

bool ZemPropertyData::readFromDwg(OdDbDwgFiler* filer, int config)
{
    const int type = filer->rdInt8();
    if (type != this->type()) {
        zemcCallAssert("type == this->type()", nullptr, __FILE__, __LINE__);
        return false;
    }
    const bool isRead = readDataFromDwg(filer, config);
    updateMapped();
    return isRead;
}

bool ZemPropertyData::isMapped() const
{
    return false;
}

bool ZemPropertyData::isOutOfDate() const
{
    return true;
}

void ZemPropertyData::updateMapped() {}

bool ZemPropertyData::reset()
{
    return false;
}

void ZemPropertyData::writeToDwg(OdDbDwgFiler* filer, int config) const
{
    assertWritable();
    writeUnchecked(filer, config);
}

void ZemPropertyData::assertWritable() const
{
    std::uint32_t values = 0;
    assertNestedWritable(*this, 0, values);
}

void ZemPropertyData::writeUnchecked(OdDbDwgFiler* filer, int config) const
{
    filer->wrInt8(static_cast<std::int8_t>(m_type));
    writeDataToDwg(filer, config);
}

ZemPropertyDataPtr ZemPropertyData::createFromDwg(OdDbDwgFiler* filer, int config)
{
    ZemPropertyDataPtr result = createFromHeader(*filer);
    if (!result.isNull() && !result->readDataFromDwg(filer, config)) {
        result.reset();
    }
    return result;
}

template <class T>
bool ZemPropertyData::get(T& value) const
{
    if (!holds<T>()) {
        return false;
    }
    value = dataOf<T>(*this);
    return true;
}

template <class T>
bool ZemPropertyData::set(T const& value)
{
    if (!holds<T>()) {
        return false;
    }
    static_cast<ZemPropertyConcreteDataCommon<T>&>(*this).setData() = value;
    updateMapped();
    return true;
}

//--------------------------------------------------------------------------------------------------
// Filing by value type

template <class T>
bool ZemPropertyConcreteDataCommon<T>::copyData(ZemPropertyDataPtr const& source)
{
    if (source.isNull() || !source->holds<T>()) {
        return false;
    }
    setData() = dataOf<T>(*source);
    this->updateMapped();
    return true;
}

template <class T>
void ZemPropertyConcreteData<T>::writeDataToDwg(OdDbDwgFiler* filer, int config) const
{
    putValue(*filer, this->getData(), config);
}

template <class T>
bool ZemPropertyConcreteData<T>::readDataFromDwg(OdDbDwgFiler* filer, int config)
{
    return takeValue(*filer, this->setData(), config);
}

template <class T>
void ZemPropertyConcreteData<T>::writeDataToDwg(OdDbDwgFiler* filer, T const& value, int config)
{
    putValue(*filer, value, config);
}

template <class T>
bool ZemPropertyConcreteData<T>::readDataFromDwg(OdDbDwgFiler* filer, T& value, int config)
{
    return takeValue(*filer, value, config);
}

void ZemPropertyConcreteData<ZemPropertyDataPtr>::writeDataToDwg(OdDbDwgFiler* filer,
                                                                 ZemPropertyDataPtr const& value,
                                                                 int config)
{
    if (value.isNull()) {
        zemcCallAssert("!val.isNull()", nullptr, __FILE__, __LINE__);
        throw OdError(kOdNullObjectPointer, L"nested property value is null");
    }
    const WriteGuard guard;
    value->writeUnchecked(filer, config);
}

bool ZemPropertyConcreteData<ZemPropertyDataPtr>::readDataFromDwg(OdDbDwgFiler* filer,
                                                                  ZemPropertyDataPtr& value,
                                                                  int config)
{
    if (g_nesting.depth == kZemMaxNestedValues) {
        return false;
    }
    const DepthGuard guard;
    value = ZemPropertyData::createFromDwg(filer, config);
    return !value.isNull();
}

namespace {

/// Files the references of an array; with `dropErased` those to erased objects are left out, and
/// the count is that of the rest.
void putIds(OdDbDwgFiler& filer, ZemPropertyArray<OdDbTypedId> const& ids, bool dropErased)
{
    const auto isErased = [](OdDbTypedId const& id) { return id.id.isErased(); };
    const auto erased = dropErased ? std::count_if(ids.begin(), ids.end(), isErased) : 0;
    filer.wrInt32(storedCount(ids.size() - static_cast<std::size_t>(erased)));
    // By index, which is checked: a filer may lead to code that changes the array.
    const std::uint32_t size = ids.size();
    for (std::uint32_t i = 0; i < size; ++i) {
        const OdDbTypedId id = ids[i];
        if (erased == 0 || !isErased(id)) {
            putId(filer, id);
        }
    }
}

/// Writes a copy, as the array may drop the element meanwhile.
template <class T>
void putElement(OdDbDwgFiler& filer, T const& value, int config)
{
    const T held = value;
    putValue(filer, held, config);
}

template <class T, class A>
bool takeElements(OdDbDwgFiler& filer, OdArray<T, A>& values, std::int32_t count, int config)
{
    std::int32_t sized = grownRoom(filer, 0, count, kUnprovenElements);
    values.resize(static_cast<std::uint32_t>(sized));
    // By index, which is checked: a filer may lead to code that changes the array.
    for (std::int32_t i = 0; i < count; ++i) {
        if (i == sized) {
            sized = grownRoom(filer, sized, count, kUnprovenElements);
            values.resize(static_cast<std::uint32_t>(sized));
        }
        T value{};
        if (!takeValue(filer, value, config)) {
            return false;
        }
        values[static_cast<std::uint32_t>(i)] = std::move(value);
    }
    return true;
}

/// Adds each nested value when it is there, so that a failure leaves no null behind, which could
/// not be written again.
bool takeElements(OdDbDwgFiler& filer, NestedArray& values, std::int32_t count, int config)
{
    PromiseGuard promise(static_cast<std::uint64_t>(count) * kLeastNestedBytes);
    values.clear();
    values.reserve(static_cast<std::uint32_t>(grownRoom(filer, 0, count, kUnprovenElements)));
    for (std::int32_t i = 0; i < count; ++i) {
        promise.redeem(kLeastNestedBytes);
        ZemPropertyDataPtr value;
        if (!takeValue(filer, value, config)) {
            return false;
        }
        values.append(std::move(value));
    }
    return true;
}

/// Adds an entry when all of it is there: as for arrays, no null is left behind.
template <class K, class V>
bool takeEntry(OdDbDwgFiler& filer, std::map<K, V>& entries, int config)
{
    K key{};
    V value{};
    if (!takeValue(filer, key, config) || !takeValue(filer, value, config)) {
        return false;
    }
    // Writers put out entries in order, so the place is nearly always the end.
    entries.insert_or_assign(entries.end(), std::move(key), std::move(value));
    return true;
}

template <class K, class V>
void putEntries(OdDbDwgFiler& filer, std::map<K, V> const& entries, int config)
{
    filer.wrInt8(ZemPropertyTypeInfo<K>::Id);
    filer.wrInt8(ZemPropertyTypeInfo<V>::Id);
    filer.wrInt32(storedCount(entries.size()));
    for (auto const& [key, value] : entries) {
        putValue(filer, key, config);
        putValue(filer, value, config);
    }
}

}  // namespace

template <class T, class A>
void ZemPropertyConcreteData<OdArray<T, A>>::writeDataToDwg(OdDbDwgFiler* filer, int config) const
{
    OdArray<T, A> const& values = this->getData();
    filer->wrInt8(ZemPropertyTypeInfo<T>::Id);
    if constexpr (std::is_same_v<T, OdDbTypedId>) {
        putIds(*filer, values, dropsErasedIds(*filer, config));
    } else {
        // By index, which is checked: a filer may lead to code that changes the array.
        const std::uint32_t size = values.size();
        filer->wrInt32(storedCount(size));
        for (std::uint32_t i = 0; i < size; ++i) {
            putElement(*filer, values[i], config);
        }
    }
}

template <class T, class A>
bool ZemPropertyConcreteData<OdArray<T, A>>::readFromDwg(OdDbDwgFiler* filer, int config)
{
    const bool typeMatches = filer->rdInt8() == this->type();
    const bool elementMatches = filer->rdInt8() == ZemPropertyTypeInfo<T>::Id;
    if (!typeMatches || !elementMatches) {
        zemcCallAssert("type == this->type() && subType == ZemPropertyTypeInfo<T>::Id", nullptr,
                       __FILE__, __LINE__);
        // Only this mismatch refuses: streams with the others are in use and have to be read.
        if (!typeMatches && elementMatches) {
            return false;
        }
    }
    const bool isRead = readDataFromDwg(filer, config);
    this->updateMapped();
    return isRead;
}

template <class T, class A>
bool ZemPropertyConcreteData<OdArray<T, A>>::readDataFromDwg(OdDbDwgFiler* filer, int config)
{
    constexpr std::uint64_t kLeastBytes =
        std::is_same_v<T, ZemPropertyDataPtr> ? kLeastNestedBytes : kLeastValueBytes;
    const std::int32_t count = filer->rdInt32();
    // The bound object is told also of what can't be read, so its value must be there by then.
    OdArray<T, A>& values = this->setData();
    if (count < 0 || !hasRoomFor(*filer, count, kLeastBytes)) {
        return false;
    }
    return takeElements(*filer, values, count, config);
}

template <class K, class V>
void ZemPropertyConcreteData<std::map<K, V>>::writeDataToDwg(OdDbDwgFiler* filer, int config) const
{
    if (this->isMapped()) {
        // A filer may lead to code of the holder, which may change its map.
        const std::map<K, V> entries = this->getData();
        putEntries(*filer, entries, config);
    } else {
        putEntries(*filer, this->getData(), config);
    }
}

template <class K, class V>
bool ZemPropertyConcreteData<std::map<K, V>>::readFromDwg(OdDbDwgFiler* filer, int config)
{
    const bool typeMatches = filer->rdInt8() == this->type();
    const bool keyMatches = filer->rdInt8() == ZemPropertyTypeInfo<K>::Id;
    const bool valueMatches = filer->rdInt8() == ZemPropertyTypeInfo<V>::Id;
    if (!typeMatches || !keyMatches || !valueMatches) {
        zemcCallAssert("type == this->type() && keyType == ZemPropertyTypeInfo<Key>::Id && "
                       "valueType == ZemPropertyTypeInfo<Value>::Id",
                       nullptr, __FILE__, __LINE__);
        // Only this mismatch refuses: streams with the others are in use and have to be read.
        if (!typeMatches && keyMatches && valueMatches) {
            return false;
        }
    }
    const bool isRead = readDataFromDwg(filer, config);
    this->updateMapped();
    return isRead;
}

template <class K, class V>
bool ZemPropertyConcreteData<std::map<K, V>>::readDataFromDwg(OdDbDwgFiler* filer, int config)
{
    // Nothing is allocated by the count, so one that is too large ends with the stream.
    const std::int32_t count = filer->rdInt32();
    // The bound object is told also of no entries, so its value must be there by then.
    std::map<K, V>& entries = this->setData();
    for (std::int32_t i = 0; i < count; ++i) {
        if (!takeEntry(*filer, entries, config)) {
            return false;
        }
    }
    return true;
}

//--------------------------------------------------------------------------------------------------
// Stored and bound nodes

template <class T>
ZemPropertyDataContainer<T>::ZemPropertyDataContainer() : m_value()
{
}

template <class T>
ZemPropertyDataContainer<T>::ZemPropertyDataContainer(T const& value) : m_value(value)
{
}

template <class T>
ZemPropertyDataContainer<T>::~ZemPropertyDataContainer()
{
    if constexpr (kHoldsNested<T>) {
        destroyNested(m_value);
    }
}

template <class T>
T& ZemPropertyDataContainer<T>::setData()
{
    return m_value;
}

template <class T>
T const& ZemPropertyDataContainer<T>::getData() const
{
    return m_value;
}

template <class T>
ZemPropertyDataMapping<T>::ZemPropertyDataMapping(T* variable) : m_variable(variable)
{
}

template <class T>
bool ZemPropertyDataMapping<T>::isMapped() const
{
    return true;
}

template <class T>
T& ZemPropertyDataMapping<T>::setData()
{
    return *m_variable;
}

template <class T>
T const& ZemPropertyDataMapping<T>::getData() const
{
    return *m_variable;
}

template <class T>
ZemPropertyDataMappingWithDefault<T>::ZemPropertyDataMappingWithDefault(T* variable,
                                                                        T const& defaultValue)
    : m_variable(variable), m_default(defaultValue)
{
}

template <class T>
bool ZemPropertyDataMappingWithDefault<T>::isMapped() const
{
    return true;
}

template <class T>
bool ZemPropertyDataMappingWithDefault<T>::isOutOfDate() const
{
    return differs(*m_variable, m_default);
}

template <class T>
bool ZemPropertyDataMappingWithDefault<T>::reset()
{
    *m_variable = m_default;
    return true;
}

template <class T>
T& ZemPropertyDataMappingWithDefault<T>::setData()
{
    return *m_variable;
}

template <class T>
T const& ZemPropertyDataMappingWithDefault<T>::getData() const
{
    return *m_variable;
}

template <class T>
ZemPropertyDataMappingGetterSetter<T>::ZemPropertyDataMappingGetterSetter(Getter getter,
                                                                          Setter setter)
    : m_getter(std::move(getter)), m_setter(std::move(setter))
{
}

template <class T>
bool ZemPropertyDataMappingGetterSetter<T>::isMapped() const
{
    return true;
}

template <class T>
void ZemPropertyDataMappingGetterSetter<T>::updateMapped()
{
    m_setter(m_cache);
}

template <class T>
T& ZemPropertyDataMappingGetterSetter<T>::setData()
{
    m_cache = m_getter();
    return m_cache;
}

template <class T>
T const& ZemPropertyDataMappingGetterSetter<T>::getData() const
{
    m_cache = m_getter();
    return m_cache;
}

template <class T>
ZemPropertyDataMappingGetterSetterWithDefault<T>::ZemPropertyDataMappingGetterSetterWithDefault(
    Getter getter, Setter setter, T const& defaultValue)
    : m_getter(std::move(getter)), m_setter(std::move(setter)), m_default(defaultValue)
{
}

template <class T>
bool ZemPropertyDataMappingGetterSetterWithDefault<T>::isMapped() const
{
    return true;
}

template <class T>
bool ZemPropertyDataMappingGetterSetterWithDefault<T>::isOutOfDate() const
{
    return differs(m_getter(), m_default);
}

template <class T>
void ZemPropertyDataMappingGetterSetterWithDefault<T>::updateMapped()
{
    m_setter(m_cache);
}

template <class T>
bool ZemPropertyDataMappingGetterSetterWithDefault<T>::reset()
{
    m_setter(m_default);
    return true;
}

template <class T>
T& ZemPropertyDataMappingGetterSetterWithDefault<T>::setData()
{
    m_cache = m_getter();
    return m_cache;
}

template <class T>
T const& ZemPropertyDataMappingGetterSetterWithDefault<T>::getData() const
{
    m_cache = m_getter();
    return m_cache;
}

ZemPropertyDataObjectIdMapping::ZemPropertyDataObjectIdMapping(OdDbObjectId* variable,
                                                               OdDb::ReferenceType referenceType)
    : m_variable(variable), m_referenceType(referenceType)
{
}

bool ZemPropertyDataObjectIdMapping::isMapped() const
{
    return true;
}

void ZemPropertyDataObjectIdMapping::updateMapped()
{
    *m_variable = m_cache.id;
}

OdDbTypedId& ZemPropertyDataObjectIdMapping::setData()
{
    return m_cache;
}

OdDbTypedId const& ZemPropertyDataObjectIdMapping::getData() const
{
    update();
    return m_cache;
}

void ZemPropertyDataObjectIdMapping::update() const
{
    m_cache = OdDbTypedId(*m_variable, m_referenceType);
}

ZemPropertyDataObjectIdArrayMapping::ZemPropertyDataObjectIdArrayMapping(
    OdDbObjectIdArray* variable, OdDb::ReferenceType referenceType)
    : m_variable(variable), m_referenceType(referenceType)
{
    m_isObjectIdArrayMapping = true;
}

bool ZemPropertyDataObjectIdArrayMapping::isMapped() const
{
    return true;
}

void ZemPropertyDataObjectIdArrayMapping::updateMapped()
{
    m_variable->clear();
    m_variable->reserve(m_cache.size());
    for (OdDbTypedId const& id : std::as_const(m_cache)) {
        m_variable->append(id.id);
    }
}

ZemPropertyArray<OdDbTypedId>& ZemPropertyDataObjectIdArrayMapping::setData()
{
    return m_cache;
}

ZemPropertyArray<OdDbTypedId> const& ZemPropertyDataObjectIdArrayMapping::getData() const
{
    m_cache.clear();
    m_cache.reserve(m_variable->size());
    for (OdDbObjectId const id : std::as_const(*m_variable)) {
        m_cache.append(OdDbTypedId(id, m_referenceType));
    }
    return m_cache;
}

//--------------------------------------------------------------------------------------------------
// ZemPropertiesUtils

namespace ZemPropertiesUtils {

ZemPropertyDataPtr DataCreator::createArray(int elementType)
{
    switch (elementType) {
    case kZemNestedType:
        return makeStored<NestedArray>();
    case kZemStringType:
        return makeStored<ZemPropertyArray<OdString>>();
    case kZemIntType:
        return makeStored<ZemPropertyArray<int>>();
    case kZemDoubleType:
        return makeStored<ZemPropertyArray<double>>();
    case kZemBoolType:
        return makeStored<ZemPropertyArray<bool>>();
    case kZemInt8Type:
        return makeStored<ZemPropertyArray<signed char>>();
    case kZemHandleType:
        return makeStored<ZemPropertyArray<OdDbHandle>>();
    case kZemTypedIdType:
        return makeStored<ZemPropertyArray<OdDbTypedId>>();
    case kZemBlobType:
        return makeStored<ZemPropertyArray<std::vector<char>>>();
    default:
        return ZemPropertyDataPtr();
    }
}

template <class K>
ZemPropertyDataPtr DataCreator::createMap(int valueType)
{
    switch (valueType) {
    case kZemNestedType:
        return makeStored<std::map<K, ZemPropertyDataPtr>>();
    case kZemStringType:
        return makeStored<std::map<K, OdString>>();
    case kZemIntType:
        return makeStored<std::map<K, int>>();
    case kZemDoubleType:
        return makeStored<std::map<K, double>>();
    case kZemBoolType:
        return makeStored<std::map<K, bool>>();
    case kZemInt8Type:
        return makeStored<std::map<K, signed char>>();
    case kZemHandleType:
        return makeStored<std::map<K, OdDbHandle>>();
    case kZemTypedIdType:
        return makeStored<std::map<K, OdDbTypedId>>();
    case kZemBlobType:
        return makeStored<std::map<K, std::vector<char>>>();
    default:
        return ZemPropertyDataPtr();
    }
}

template <class T>
bool setData(ZemPropertyDataPtr& node, T const& value)
{
    if (node.isNull()) {
        node = ZemPropertyDataPtr(new ZemPropertyDataContainer<T>(value));
        return true;
    }
    if (!node->holds<T>()) {
        return false;
    }
    static_cast<ZemPropertyConcreteDataCommon<T>&>(*node).setData() = value;
    return true;
}

}  // namespace ZemPropertiesUtils

//--------------------------------------------------------------------------------------------------
// The closed set of value types

#define ZEM_INSTANTIATE_VALUE(...)                                                                 \
    template class ZemPropertyConcreteDataCommon<__VA_ARGS__>;                                     \
    template class ZemPropertyConcreteData<__VA_ARGS__>;                                           \
    template class ZemPropertyDataContainer<__VA_ARGS__>;                                          \
    template bool ZemPropertyData::get(__VA_ARGS__&) const;                                        \
    template bool ZemPropertyData::set(__VA_ARGS__ const&);                                        \
    template bool ZemPropertiesUtils::setData(ZemPropertyDataPtr&, __VA_ARGS__ const&)

#define ZEM_INSTANTIATE_BOUND(...)                                                                 \
    template class ZemPropertyDataMapping<__VA_ARGS__>;                                            \
    template class ZemPropertyDataMappingWithDefault<__VA_ARGS__>;                                 \
    template class ZemPropertyDataMappingGetterSetter<__VA_ARGS__>;                                \
    template class ZemPropertyDataMappingGetterSetterWithDefault<__VA_ARGS__>

ZEM_FOR_EACH_VALUE_TYPE(ZEM_INSTANTIATE_VALUE);
ZEM_FOR_EACH_BOUND_TYPE(ZEM_INSTANTIATE_BOUND);

template ZemPropertyDataPtr ZemPropertiesUtils::DataCreator::createMap<OdString>(int);
template ZemPropertyDataPtr ZemPropertiesUtils::DataCreator::createMap<int>(int);
template ZemPropertyDataPtr ZemPropertiesUtils::DataCreator::createMap<double>(int);
template ZemPropertyDataPtr ZemPropertiesUtils::DataCreator::createMap<bool>(int);
template ZemPropertyDataPtr ZemPropertiesUtils::DataCreator::createMap<signed char>(int);
template ZemPropertyDataPtr ZemPropertiesUtils::DataCreator::createMap<OdDbHandle>(int);
template ZemPropertyDataPtr ZemPropertiesUtils::DataCreator::createMap<OdDbTypedId>(int);
