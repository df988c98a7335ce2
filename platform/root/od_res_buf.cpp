#include "root/od_res_buf.h"

#include "root/od_error.h"

#include <algorithm>
#include <iterator>
#include <utility>

RX_DEFINE_CLASS(OdResBuf, OdRxObject, odrxCreate<OdResBuf>, L"OdResBuf");

namespace {

struct CodeRange
{
    int first;
    int last;
    OdResBuf::Kind kind;
};

// Ascending. What lies between the ranges stands for no kind.
constexpr CodeRange kCodeRanges[] = {
    {0, 4, OdResBuf::Kind::kString},
    {5, 5, OdResBuf::Kind::kHandle},
    {6, 9, OdResBuf::Kind::kString},
    {10, 37, OdResBuf::Kind::kPoint},
    {38, 59, OdResBuf::Kind::kDouble},
    {60, 79, OdResBuf::Kind::kInt16},
    {90, 99, OdResBuf::Kind::kInt32},
    {100, 102, OdResBuf::Kind::kString},
    {105, 105, OdResBuf::Kind::kHandle},
    {110, 139, OdResBuf::Kind::kPoint},
    {140, 149, OdResBuf::Kind::kDouble},
    {160, 169, OdResBuf::Kind::kInt64},
    {170, 179, OdResBuf::Kind::kInt16},
    {210, 239, OdResBuf::Kind::kPoint},
    {270, 279, OdResBuf::Kind::kInt16},
    {280, 289, OdResBuf::Kind::kInt8},
    {290, 299, OdResBuf::Kind::kBool},
    {300, 309, OdResBuf::Kind::kString},
    {310, 319, OdResBuf::Kind::kBinary},
    {320, 369, OdResBuf::Kind::kHandle},
    {370, 389, OdResBuf::Kind::kInt16},
    {390, 399, OdResBuf::Kind::kHandle},
    {400, 409, OdResBuf::Kind::kInt16},
    {410, 419, OdResBuf::Kind::kString},
    {420, 429, OdResBuf::Kind::kInt32},
    {430, 439, OdResBuf::Kind::kString},
    {440, 459, OdResBuf::Kind::kInt32},
    {460, 469, OdResBuf::Kind::kDouble},
    {470, 479, OdResBuf::Kind::kString},
    {480, 481, OdResBuf::Kind::kHandle},
    {999, 999, OdResBuf::Kind::kString},
    {OdResBuf::kXdString, OdResBuf::kXdLayerName, OdResBuf::Kind::kString},
    {OdResBuf::kXdBinary, OdResBuf::kXdBinary, OdResBuf::Kind::kBinary},
    {OdResBuf::kXdHandle, OdResBuf::kXdHandle, OdResBuf::Kind::kHandle},
    {OdResBuf::kXdPoint, OdResBuf::kXdDirection, OdResBuf::Kind::kPoint},
    {OdResBuf::kXdReal, OdResBuf::kXdScale, OdResBuf::Kind::kDouble},
    {OdResBuf::kXdInt16, OdResBuf::kXdInt16, OdResBuf::Kind::kInt16},
    {OdResBuf::kXdInt32, OdResBuf::kXdInt32, OdResBuf::Kind::kInt32},
};

template <class Variant, std::size_t... Is>
Variant defaultOfIndex(std::size_t index, std::index_sequence<Is...>)
{
    using Make = Variant (*)();
    constexpr Make kMakers[] = {[] { return Variant(std::in_place_index<Is>); }...};
    return kMakers[index]();
}

}  // namespace

OdResBuf::Kind OdResBuf::kindOf(int groupCode) noexcept
{
    auto const* const range =
        std::lower_bound(std::begin(kCodeRanges), std::end(kCodeRanges), groupCode,
                         [](CodeRange const& r, int code) { return r.last < code; });
    bool const found = range != std::end(kCodeRanges) && groupCode >= range->first;
    return found ? range->kind : Kind::kNone;
}

bool OdResBuf::isXDataCode(int groupCode) noexcept
{
    return groupCode >= kXdString && kindOf(groupCode) != Kind::kNone;
}

/// Records that nobody else holds are unlinked one after the other: if each one freed the next, a
/// long chain would overrun the stack.
OdResBuf::~OdResBuf()
{
    OdResBufPtr record = takeNext();
    while (!record.isNull() && record->numRefs() == 1) {
        OdResBufPtr behind = record->takeNext();
        record = std::move(behind);
    }
}

OdResBufPtr OdResBuf::newRb(int groupCode)
{
    OdResBufPtr result = odrxMake<OdResBuf>();
    result->setRestype(groupCode);
    return result;
}

void OdResBuf::setNext(OdResBuf* next)
{
    if (standsBehind(next)) {
        throw OdError(kOdCyclicReference);
    }
    link(next);
}

/// Whether the chain that starts with `first` holds this record. Nothing but the first record of a
/// chain can be met without something in front of it, so building a chain from its end is cheap.
bool OdResBuf::standsBehind(OdResBuf const* first) const noexcept
{
    if (m_predecessors == 0) {
        return first == this;
    }
    for (OdResBuf const* record = first; record != nullptr; record = record->m_next.get()) {
        if (record == this) {
            return true;
        }
    }
    return false;
}

void OdResBuf::link(OdResBufPtr next)
{
    if (!next.isNull()) {
        ++next->m_predecessors;
    }
    // Let go of last: the record that was there may end, and a long chain with it.
    OdResBufPtr const former = takeNext();
    m_next = std::move(next);
}

OdResBufPtr OdResBuf::takeNext() noexcept
{
    if (!m_next.isNull()) {
        --m_next->m_predecessors;
    }
    return std::move(m_next);
}

OdResBufPtr OdResBuf::last()
{
    OdResBuf* record = this;
    while (!record->m_next.isNull()) {
        record = record->m_next.get();
    }
    return OdResBufPtr(record);
}

OdResBufPtr OdResBuf::cloneChain() const
{
    OdResBufPtr const first = copyRecord();
    OdResBuf* end = first.get();
    for (OdResBuf const* record = m_next.get(); record != nullptr; record = record->m_next.get()) {
        end->link(record->copyRecord());
        end = end->m_next.get();
    }
    return first;
}

bool OdResBuf::areChainsEqual(OdResBuf const* left, OdResBuf const* right)
{
    while (left != nullptr && right != nullptr) {
        if (!left->hasEqualValue(*right)) {
            return false;
        }
        left = left->m_next.get();
        right = right->m_next.get();
    }
    return left == right;
}

void OdResBuf::setRestype(int groupCode)
{
    Kind const expected = kindOf(groupCode);
    if (expected != Kind::kNone && expected != kind()) {
        m_value = defaultOf(expected);
    }
    m_groupCode = groupCode;
}

bool OdResBuf::hasEqualValue(OdResBuf const& other) const
{
    return m_groupCode == other.m_groupCode && m_value == other.m_value;
}

OdRxObjectPtr OdResBuf::clone() const
{
    return copyRecord();
}

OdResBufPtr OdResBuf::copyRecord() const
{
    OdResBufPtr copy = odrxMake<OdResBuf>();
    copy->m_groupCode = m_groupCode;
    copy->m_value = m_value;
    return copy;
}

void OdResBuf::copyFrom(OdRxObject const* source)
{
    if (source == nullptr) {
        throw OdError(kOdNullObjectPointer);
    }
    OdResBufPtr const other(const_cast<OdRxObject*>(source));
    m_groupCode = other->m_groupCode;
    m_value = other->m_value;
}

bool OdResBuf::isEqualTo(OdRxObject const* other) const
{
    OdResBufPtr const record = cast(other);
    return !record.isNull() && hasEqualValue(*record);
}

OdResBuf::Value OdResBuf::defaultOf(Kind kind)
{
    return defaultOfIndex<Value>(static_cast<std::size_t>(kind),
                                 std::make_index_sequence<std::variant_size_v<Value>>());
}

void OdResBuf::throwWrongKind()
{
    throw OdError(kOdWrongResBufType);
}
