// The platform's array: one shared, counted buffer, copied when a sharer changes it.

#pragma once

#include "root/od_string.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

/// The head of an array's buffer; the elements follow it.
struct OdArrayBuffer
{
    std::atomic<std::int32_t> refs{1};
    std::int32_t growLength;
    std::uint32_t capacity;
    std::uint32_t length = 0;

    OdArrayBuffer(std::uint32_t room, std::int32_t step) noexcept : growLength(step), capacity(room)
    {
    }

    void* data() noexcept { return this + 1; }
    bool isShared() const noexcept { return refs.load(std::memory_order_acquire) != 1; }

    /// \throws OdError (out of memory) also if the size in bytes can't be expressed.
    static OdArrayBuffer* make(std::size_t capacity, std::size_t elementSize,
                               std::int32_t growLength);
    /// Frees the block; its elements have to be destroyed already.
    static void free(OdArrayBuffer* buffer) noexcept;
    /// Capacity for a buffer that has to hold `needed` elements and is likely to grow on.
    static std::size_t capacityFor(std::size_t needed, std::size_t length, std::int32_t growLength,
                                   std::size_t elementSize) noexcept;
};

/// \name Failures of arrays
/// @{
[[noreturn]] void odThrowInvalidIndex();     ///< OdError_InvalidIndex
[[noreturn]] void odThrowInvalidRange();     ///< OdError (5)
[[noreturn]] void odThrowInvalidIterator();  ///< OdError (28)
[[noreturn]] void odThrowArrayTooLong();     ///< OdError (9)
/// @}

/// Creates and destroys elements as the objects that they are.
template <class T>
struct OdObjectsAllocator
{
    /// Whether a buffer's elements can be taken to another buffer without a failure on the way.
    static constexpr bool relocatesSafely() { return std::is_nothrow_move_constructible_v<T>; }
    /// Whether elements can change their places in the buffer without a failure on the way.
    static constexpr bool shiftsSafely()
    {
        return relocatesSafely() && std::is_nothrow_move_assignable_v<T>;
    }

    static void createCopies(T* to, T const* from, std::size_t count)
    {
        std::uninitialized_copy_n(from, count, to);
    }
    static void relocate(T* to, T* from, std::size_t count) noexcept
    {
        std::uninitialized_move_n(from, count, to);
        std::destroy_n(from, count);
    }
    static void destroy(T* elements, std::size_t count) noexcept
    {
        std::destroy_n(elements, count);
    }
};

/// Moves elements as bytes; only for types that may be copied so.
template <class T>
struct OdMemoryAllocator
{
    static constexpr bool relocatesSafely()
    {
        static_assert(std::is_trivially_copyable_v<T>, "elements are moved as bytes");
        return true;
    }
    static constexpr bool shiftsSafely() { return relocatesSafely(); }

    static void createCopies(T* to, T const* from, std::size_t count) noexcept
    {
        if (count != 0) {
            std::memcpy(static_cast<void*>(to), from, count * sizeof(T));
        }
    }
    static void relocate(T* to, T* from, std::size_t count) noexcept
    {
        createCopies(to, from, count);
    }
    static void destroy(T*, std::size_t) noexcept
    {
        static_assert(std::is_trivially_copyable_v<T>, "elements are moved as bytes");
    }
};

/// An array, as a value that is cheap to copy.
///
/// Copies share one buffer until one of them is changed; every access that could change elements
/// gives the array a buffer of its own first, so read through a constant array or the constant
/// operations. Pointers, references and iterators hold until the array is changed, copied over or
/// ended; a mutable one must not be used any more once the array has been copied.
///
/// Elements added are value-initialised where no value is given: numbers are 0. Arguments may refer
/// to elements of the array itself. What throws leaves the array as it was; elements have to be
/// copyable.
///
/// Copies may be used on different threads; one array may be read on several threads or changed on
/// one. An index that isn't below the length throws OdError_InvalidIndex, a range whose end lies in
/// front of its start OdError (bad input), an iterator of another array OdError (invalid iterator),
/// and a buffer that can't be allocated OdError (out of memory).
template <class T, class A = OdObjectsAllocator<T>>
class OdArray
{
public:
    using value_type = T;
    using size_type = std::uint32_t;
    using difference_type = std::ptrdiff_t;
    using reference = T&;
    using const_reference = T const&;
    using pointer = T*;
    using const_pointer = T const*;
    using iterator = T*;
    using const_iterator = T const*;

    /// The growth step of an array that was told none.
    static constexpr int kDefaultGrowLength = 0;

    /// \name Construction
    /// @{
    OdArray() noexcept = default;
    /// Empty, with room for `capacity` elements.
    explicit OdArray(size_type capacity, int growLength = kDefaultGrowLength);
    OdArray(std::initializer_list<T> values) { append(values.begin(), values.end()); }
    template <std::input_iterator Iterator>
    OdArray(Iterator first, Iterator last)
    {
        append(first, last);
    }
    OdArray(OdArray const& other) noexcept : m_buffer(other.m_buffer)
    {
        if (m_buffer != nullptr) {
            m_buffer->refs.fetch_add(1, std::memory_order_relaxed);
        }
    }
    OdArray(OdArray&& other) noexcept : m_buffer(std::exchange(other.m_buffer, nullptr)) {}
    ~OdArray() { drop(); }
    OdArray& operator=(OdArray const& other) noexcept
    {
        OdArray(other).swap(*this);
        return *this;
    }
    OdArray& operator=(OdArray&& other) noexcept
    {
        OdArray(std::move(other)).swap(*this);
        return *this;
    }
    void swap(OdArray& other) noexcept { std::swap(m_buffer, other.m_buffer); }
    /// @}

    /// \name Size
    /// @{
    size_type size() const noexcept { return m_buffer != nullptr ? m_buffer->length : 0; }
    size_type length() const noexcept { return size(); }
    bool isEmpty() const noexcept { return size() == 0; }
    bool empty() const noexcept { return isEmpty(); }
    size_type capacity() const noexcept { return m_buffer != nullptr ? m_buffer->capacity : 0; }
    int growLength() const noexcept
    {
        return m_buffer != nullptr ? m_buffer->growLength : kDefaultGrowLength;
    }
    /// Sets the least number of elements by which a full buffer grows, `kDefaultGrowLength` for a
    /// step that suits the element; long arrays grow by more, so that appending stays cheap.
    /// \throws OdError (bad input) for a negative step.
    OdArray& setGrowLength(int step);
    /// Makes room for `newCapacity` elements in all; never gives room up.
    OdArray& reserve(size_type newCapacity);
    /// Adds elements at the end or takes elements away there.
    OdArray& resize(size_type newLength);
    OdArray& resize(size_type newLength, T const& value);
    /// Takes all elements away; keeps growth step and, if it isn't shared, the buffer.
    OdArray& clear();
    /// @}

    /// \name Elements
    /// @{
    const_reference at(size_type index) const { return constData()[checked(index)]; }
    reference at(size_type index)
    {
        (void)checked(index);
        return ownData()[index];
    }
    const_reference operator[](size_type index) const { return at(index); }
    reference operator[](size_type index) { return at(index); }
    const_reference getAt(size_type index) const { return at(index); }
    OdArray& setAt(size_type index, T const& value);
    const_reference first() const { return at(0); }
    reference first() { return at(0); }
    const_reference last() const { return at(size() - 1); }
    reference last() { return at(size() - 1); }

    const_pointer getPtr() const noexcept { return constData(); }
    const_pointer asArrayPtr() const noexcept { return constData(); }
    /// Null for an array without a buffer.
    pointer asArrayPtr() { return ownData(); }

    const_iterator begin() const noexcept { return constData(); }
    const_iterator end() const noexcept { return constData() + size(); }
    const_iterator cbegin() const noexcept { return begin(); }
    const_iterator cend() const noexcept { return end(); }
    iterator begin() { return ownData(); }
    iterator end() { return ownData() + size(); }
    /// @}

    /// \name Searching
    /// @{
    /// The first element from `start` on that equals `value`. A start past the end finds nothing.
    /// \param index  Where it is; untouched if there is none.
    bool find(T const& value, size_type& index, size_type start = 0) const;
    bool contains(T const& value, size_type start = 0) const;
    bool operator==(OdArray const& other) const
    {
        return size() == other.size() && std::equal(begin(), end(), other.begin());
    }
    /// @}

    /// \name Adding
    /// @{
    /// \return The index of the element.
    size_type append(T const& value);
    size_type append(T&& value);
    void push_back(T const& value) { (void)append(value); }
    void push_back(T&& value) { (void)append(std::move(value)); }
    OdArray& append(OdArray const& other);
    template <std::input_iterator Iterator>
    OdArray& append(Iterator first, Iterator last);
    /// Inserts in front of an index, which may be the length.
    OdArray& insertAt(size_type index, T const& value);
    /// Inserts in front of a position; \return the first element inserted.
    iterator insert(const_iterator position, T const& value);
    iterator insert(const_iterator position, size_type count, T const& value);
    template <std::input_iterator Iterator>
    iterator insert(const_iterator position, Iterator first, Iterator last);
    /// @}

    /// \name Taking away
    /// @{
    OdArray& removeAt(size_type index);
    OdArray& removeFirst() { return removeAt(0); }
    OdArray& removeLast() { return removeAt(size() - 1); }
    /// Takes the elements from `first` to `last` away, both included.
    OdArray& removeSubArray(size_type first, size_type last);
    /// Takes the first element from `start` on that equals `value` away. \return Whether there was.
    bool remove(T const& value, size_type start = 0);
    /// \return The element behind.
    iterator erase(const_iterator position);
    iterator erase(const_iterator first, const_iterator last);
    /// @}

    /// \name Order
    /// @{
    OdArray& swap(size_type first, size_type second);
    OdArray& reverse();
    /// @}

private:
    class Fresh;

    static constexpr size_type kMaxLength = std::numeric_limits<size_type>::max();

    T* constData() const noexcept
    {
        static_assert(alignof(T) <= alignof(std::max_align_t), "the allocator aligns no further");
        return m_buffer != nullptr ? static_cast<T*>(m_buffer->data()) : nullptr;
    }
    T* ownData()
    {
        if (m_buffer != nullptr && m_buffer->isShared()) {
            moveToBuffer(size());
        }
        return constData();
    }
    bool isAlone() const noexcept { return m_buffer != nullptr && !m_buffer->isShared(); }
    size_type checked(size_type index) const
    {
        if (index >= size()) {
            odThrowInvalidIndex();
        }
        return index;
    }
    size_type indexOf(const_iterator position) const;
    void drop() noexcept;
    void moveToBuffer(std::size_t newCapacity);
    void removeRange(size_type start, size_type count);
    template <class Create>
    void extend(std::size_t count, Create create);
    template <class Create>
    void insertWith(size_type index, std::size_t count, Create create);
    template <class Create>
    void rebuild(size_type keptInFront, size_type behindFrom, std::size_t count, Create create);

    OdArrayBuffer* m_buffer = nullptr;
};

/// Bytes.
using OdBinaryData = OdArray<unsigned char, OdMemoryAllocator<unsigned char>>;

/// A buffer under construction: destroys what it holds so far if it isn't taken.
template <class T, class A>
class OdArray<T, A>::Fresh
{
public:
    Fresh(std::size_t capacity, int growLength)
        : m_buffer(OdArrayBuffer::make(capacity, sizeof(T), growLength))
    {
    }
    Fresh(Fresh const&) = delete;
    Fresh& operator=(Fresh const&) = delete;
    ~Fresh()
    {
        if (m_buffer != nullptr) {
            A::destroy(data(), m_buffer->length);
            OdArrayBuffer::free(m_buffer);
        }
    }

    T* data() noexcept { return static_cast<T*>(m_buffer->data()); }
    /// Where the next element goes.
    T* end() noexcept { return data() + m_buffer->length; }
    /// Says that `count` elements were created at the end.
    void added(std::size_t count) noexcept { m_buffer->length += static_cast<size_type>(count); }
    void addCopies(T const* from, std::size_t count)
    {
        A::createCopies(end(), from, count);
        added(count);
    }
    OdArrayBuffer* take() noexcept { return std::exchange(m_buffer, nullptr); }

private:
    OdArrayBuffer* m_buffer;
};

template <class T, class A>
OdArray<T, A>::OdArray(size_type capacity, int growLength)
{
    setGrowLength(growLength);
    reserve(capacity);
}

template <class T, class A>
void OdArray<T, A>::drop() noexcept
{
    if (m_buffer == nullptr || m_buffer->refs.fetch_sub(1, std::memory_order_acq_rel) != 1) {
        return;
    }
    A::destroy(constData(), m_buffer->length);
    OdArrayBuffer::free(m_buffer);
}

/// Gives the array a buffer of its own with the capacity asked for, at least its length.
template <class T, class A>
void OdArray<T, A>::moveToBuffer(std::size_t newCapacity)
{
    Fresh fresh(newCapacity, growLength());
    size_type const count = size();
    if (A::relocatesSafely() && isAlone()) {
        A::relocate(fresh.end(), constData(), count);
        fresh.added(count);
        m_buffer->length = 0;
    } else {
        fresh.addCopies(constData(), count);
    }
    drop();
    m_buffer = fresh.take();
}

/// Adds `count` elements at the end, created by `create(place)`, which cleans up behind a failure of
/// its own. The old elements stay in place until the new ones exist, as these may be copies of them.
template <class T, class A>
template <class Create>
void OdArray<T, A>::extend(std::size_t count, Create create)
{
    size_type const oldLength = size();
    if (count > kMaxLength - oldLength) {
        odThrowArrayTooLong();
    }
    std::size_t const newLength = oldLength + count;
    if (isAlone() && m_buffer->capacity >= newLength) {
        create(constData() + oldLength);
        m_buffer->length = static_cast<size_type>(newLength);
        return;
    }
    if (count == 0) {
        return;
    }
    Fresh fresh(OdArrayBuffer::capacityFor(newLength, oldLength, growLength(), sizeof(T)),
                growLength());
    if (A::relocatesSafely() && isAlone()) {
        create(fresh.data() + oldLength);
        A::relocate(fresh.data(), constData(), oldLength);
        fresh.added(newLength);
        m_buffer->length = 0;
    } else {
        fresh.addCopies(constData(), oldLength);
        create(fresh.end());
        fresh.added(count);
    }
    drop();
    m_buffer = fresh.take();
}

/// Replaces the buffer by one with the elements in front, `count` new ones, and those from
/// `behindFrom` on: the way for elements that can't be shifted safely and for shared buffers.
template <class T, class A>
template <class Create>
void OdArray<T, A>::rebuild(size_type keptInFront, size_type behindFrom, std::size_t count,
                            Create create)
{
    std::size_t const behind = size() - behindFrom;
    if (count > kMaxLength - keptInFront - behind) {
        odThrowArrayTooLong();
    }
    std::size_t const newLength = keptInFront + count + behind;
    Fresh fresh(std::max<std::size_t>(newLength, isAlone() ? m_buffer->capacity : 0), growLength());
    fresh.addCopies(constData(), keptInFront);
    create(fresh.end());
    fresh.added(count);
    fresh.addCopies(constData() + behindFrom, behind);
    drop();
    m_buffer = fresh.take();
}

template <class T, class A>
template <class Create>
void OdArray<T, A>::insertWith(size_type index, std::size_t count, Create create)
{
    size_type const oldLength = size();
    if (index > oldLength) {
        odThrowInvalidIndex();
    }
    if (index == oldLength || A::shiftsSafely()) {
        extend(count, create);
        T* const data = ownData();
        std::rotate(data + index, data + oldLength, data + size());
        return;
    }
    rebuild(index, index, count, create);
}

template <class T, class A>
void OdArray<T, A>::removeRange(size_type start, size_type count)
{
    size_type const end = start + count;
    if (count == 0) {
        return;
    }
    if (!isAlone() || (end != size() && !A::shiftsSafely())) {
        rebuild(start, end, 0, [](T*) {});
        return;
    }
    T* const data = constData();
    std::move(data + end, data + size(), data + start);
    m_buffer->length -= count;
    A::destroy(data + m_buffer->length, count);
}

template <class T, class A>
typename OdArray<T, A>::size_type OdArray<T, A>::indexOf(const_iterator position) const
{
    // Pointers into different blocks have an order only through std::less.
    std::less<const_iterator> const isBefore;
    if (isBefore(position, begin()) || isBefore(end(), position)) {
        odThrowInvalidIterator();
    }
    return static_cast<size_type>(position - begin());
}

template <class T, class A>
OdArray<T, A>& OdArray<T, A>::setGrowLength(int step)
{
    if (step < 0) {
        odThrowInvalidRange();
    }
    if (step != growLength()) {
        if (!isAlone()) {
            moveToBuffer(size());
        }
        m_buffer->growLength = step;
    }
    return *this;
}

template <class T, class A>
OdArray<T, A>& OdArray<T, A>::reserve(size_type newCapacity)
{
    if (newCapacity > capacity() || (newCapacity > size() && !isAlone())) {
        moveToBuffer(newCapacity);
    }
    return *this;
}

template <class T, class A>
OdArray<T, A>& OdArray<T, A>::resize(size_type newLength)
{
    if (newLength <= size()) {
        removeRange(newLength, size() - newLength);
        return *this;
    }
    size_type const count = newLength - size();
    extend(count, [count](T* at) { std::uninitialized_value_construct_n(at, count); });
    return *this;
}

template <class T, class A>
OdArray<T, A>& OdArray<T, A>::resize(size_type newLength, T const& value)
{
    if (newLength <= size()) {
        removeRange(newLength, size() - newLength);
        return *this;
    }
    size_type const count = newLength - size();
    extend(count, [count, &value](T* at) { std::uninitialized_fill_n(at, count, value); });
    return *this;
}

template <class T, class A>
OdArray<T, A>& OdArray<T, A>::clear()
{
    if (isAlone()) {
        removeRange(0, size());
        return *this;
    }
    OdArray().setGrowLength(growLength()).swap(*this);
    return *this;
}

template <class T, class A>
OdArray<T, A>& OdArray<T, A>::setAt(size_type index, T const& value)
{
    (void)checked(index);
    // Taken before the buffer is: the value may lie in it.
    T copy(value);
    ownData()[index] = std::move(copy);
    return *this;
}

template <class T, class A>
bool OdArray<T, A>::find(T const& value, size_type& index, size_type start) const
{
    for (size_type i = start; i < size(); ++i) {
        if (constData()[i] == value) {
            index = i;
            return true;
        }
    }
    return false;
}

template <class T, class A>
bool OdArray<T, A>::contains(T const& value, size_type start) const
{
    size_type index = 0;
    return find(value, index, start);
}

template <class T, class A>
typename OdArray<T, A>::size_type OdArray<T, A>::append(T const& value)
{
    extend(1, [&value](T* at) { ::new (static_cast<void*>(at)) T(value); });
    return size() - 1;
}

template <class T, class A>
typename OdArray<T, A>::size_type OdArray<T, A>::append(T&& value)
{
    extend(1, [&value](T* at) { ::new (static_cast<void*>(at)) T(std::move(value)); });
    return size() - 1;
}

template <class T, class A>
OdArray<T, A>& OdArray<T, A>::append(OdArray const& other)
{
    if (m_buffer == nullptr) {
        return *this = other;
    }
    return append(other.begin(), other.end());
}

template <class T, class A>
template <std::input_iterator Iterator>
OdArray<T, A>& OdArray<T, A>::append(Iterator first, Iterator last)
{
    (void)insert(cend(), first, last);
    return *this;
}

template <class T, class A>
OdArray<T, A>& OdArray<T, A>::insertAt(size_type index, T const& value)
{
    insertWith(index, 1, [&value](T* at) { ::new (static_cast<void*>(at)) T(value); });
    return *this;
}

template <class T, class A>
typename OdArray<T, A>::iterator OdArray<T, A>::insert(const_iterator position, T const& value)
{
    size_type const index = indexOf(position);
    insertAt(index, value);
    return constData() + index;
}

template <class T, class A>
typename OdArray<T, A>::iterator OdArray<T, A>::insert(const_iterator position, size_type count,
                                                       T const& value)
{
    size_type const index = indexOf(position);
    insertWith(index, count,
               [count, &value](T* at) { std::uninitialized_fill_n(at, count, value); });
    return ownData() + index;
}

template <class T, class A>
template <std::input_iterator Iterator>
typename OdArray<T, A>::iterator OdArray<T, A>::insert(const_iterator position, Iterator first,
                                                       Iterator last)
{
    size_type const index = indexOf(position);
    if constexpr (std::forward_iterator<Iterator>) {
        auto const count = std::distance(first, last);
        if (count < 0) {
            odThrowInvalidRange();
        }
        insertWith(index, static_cast<std::size_t>(count),
                   [first, last](T* at) { std::uninitialized_copy(first, last, at); });
    } else {
        OdArray values;
        for (; first != last; ++first) {
            values.push_back(*first);
        }
        insertWith(index, values.size(), [&values](T* at) {
            std::uninitialized_move_n(values.constData(), values.size(), at);
        });
    }
    return ownData() + index;
}

template <class T, class A>
OdArray<T, A>& OdArray<T, A>::removeAt(size_type index)
{
    removeRange(checked(index), 1);
    return *this;
}

template <class T, class A>
OdArray<T, A>& OdArray<T, A>::removeSubArray(size_type first, size_type last)
{
    if (checked(first) > checked(last)) {
        odThrowInvalidRange();
    }
    removeRange(first, last - first + 1);
    return *this;
}

template <class T, class A>
bool OdArray<T, A>::remove(T const& value, size_type start)
{
    size_type index = 0;
    if (!find(value, index, start)) {
        return false;
    }
    removeRange(index, 1);
    return true;
}

template <class T, class A>
typename OdArray<T, A>::iterator OdArray<T, A>::erase(const_iterator position)
{
    size_type const index = indexOf(position);
    if (index == size()) {
        odThrowInvalidIterator();
    }
    removeRange(index, 1);
    return constData() + index;
}

template <class T, class A>
typename OdArray<T, A>::iterator OdArray<T, A>::erase(const_iterator first, const_iterator last)
{
    size_type const start = indexOf(first);
    size_type const end = indexOf(last);
    if (end < start) {
        odThrowInvalidRange();
    }
    removeRange(start, end - start);
    return ownData() + start;
}

template <class T, class A>
OdArray<T, A>& OdArray<T, A>::swap(size_type first, size_type second)
{
    if (checked(first) != checked(second)) {
        T* const data = ownData();
        std::swap(data[first], data[second]);
    }
    return *this;
}

template <class T, class A>
OdArray<T, A>& OdArray<T, A>::reverse()
{
    if (size() > 1) {
        T* const data = ownData();
        std::reverse(data, data + size());
    }
    return *this;
}

extern template class OdArray<int>;
extern template class OdArray<double>;
extern template class OdArray<bool>;
extern template class OdArray<signed char>;
extern template class OdArray<unsigned char>;
extern template class OdArray<unsigned char, OdMemoryAllocator<unsigned char>>;
extern template class OdArray<OdString>;
extern template class OdArray<std::vector<char>>;
