#include "root/od_array.h"

#include "root/od_alloc.h"
#include "root/od_error.h"

static_assert(sizeof(OdArrayBuffer) % alignof(std::max_align_t) == 0,
              "the elements behind the head are aligned");

OdArrayBuffer* OdArrayBuffer::make(std::size_t capacity, std::size_t elementSize,
                                   std::int32_t growLength)
{
    constexpr std::size_t kMaxBytes = std::numeric_limits<std::ptrdiff_t>::max();
    bool const fits = capacity <= std::numeric_limits<std::uint32_t>::max() &&
                      capacity <= (kMaxBytes - sizeof(OdArrayBuffer)) / elementSize;
    void* const block = fits ? odrxAlloc(sizeof(OdArrayBuffer) + capacity * elementSize) : nullptr;
    if (block == nullptr) {
        odThrowArrayTooLong();
    }
    return ::new (block) OdArrayBuffer(static_cast<std::uint32_t>(capacity), growLength);
}

void OdArrayBuffer::free(OdArrayBuffer* buffer) noexcept
{
    buffer->~OdArrayBuffer();
    odrxFree(buffer);
}

/// A step alone would make a long array copy itself over and over. So an array grows by half of its
/// length where that is more than the step.
std::size_t OdArrayBuffer::capacityFor(std::size_t needed, std::size_t length,
                                       std::int32_t growLength, std::size_t elementSize) noexcept
{
    constexpr std::size_t kDefaultGrowBytes = 32;
    std::size_t const step = growLength > 0
                                 ? static_cast<std::size_t>(growLength)
                                 : std::max<std::size_t>(kDefaultGrowBytes / elementSize, 1);
    // The first elements of an array that was told no step get what they need: many stay alone.
    bool const isFirst = length == 0 && growLength == 0;
    std::size_t const spare = isFirst ? 0 : std::max(step, length / 2);
    return std::min<std::size_t>(std::max(needed, length + spare),
                                 std::numeric_limits<std::uint32_t>::max());
}

void odThrowInvalidIndex()
{
    throw OdError_InvalidIndex();
}

void odThrowInvalidRange()
{
    throw OdError(kOdInvalidInput);
}

void odThrowInvalidIterator()
{
    throw OdError(kOdInvalidIterator);
}

void odThrowArrayTooLong()
{
    throw OdError(kOdOutOfMemory);
}

template class OdArray<int>;
template class OdArray<double>;
template class OdArray<bool>;
template class OdArray<signed char>;
template class OdArray<unsigned char>;
template class OdArray<unsigned char, OdMemoryAllocator<unsigned char>>;
template class OdArray<OdString>;
template class OdArray<std::vector<char>>;
