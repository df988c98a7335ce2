// The primitives of stored records: integers of variable length, short doubles, references.

#pragma once

#include "root/od_error.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

/// Longest forms in bytes.
constexpr std::size_t kMaxVarintBytes = 10;
constexpr std::size_t kMaxDoubleBytes = 9;

/// First bytes of a double that isn't stored as its eight bytes; the numbers are part of the file
/// format and never change.
enum class OdDbDoubleTag : std::uint8_t
{
    kZero = 0x00,      ///< +0.0, nothing follows
    kOne = 0x01,       ///< 1.0, nothing follows
    kRaw = 0x02,       ///< eight bytes follow, the first of which is at most `kLastDoubleTag`
    kIntegral = 0x03,  ///< a signed integer follows
    kTop2 = 0x04,      ///< the upper two bytes follow, the others are 0
    kTop3 = 0x05,
    kTop4 = 0x06,
    kTop5 = 0x07
};
constexpr std::uint8_t kLastDoubleTag = 0x07;

/// Appends primitives to a buffer that it keeps from one record to the next.
///
/// Numbers of fixed width go out with the highest byte first. A value type: copies are independent.
class OdDbByteWriter
{
public:
    void clear() noexcept { m_size = 0; }
    std::size_t size() const noexcept { return m_size; }
    std::span<std::uint8_t const> bytes() const noexcept { return {m_bytes.data(), m_size}; }

    void putByte(std::uint8_t value)
    {
        *room(1) = value;
        ++m_size;
    }
    void putFixed32(std::uint32_t value) { putFixed(value, sizeof value); }
    void putFixed64(std::uint64_t value) { putFixed(value, sizeof value); }
    /// Seven bits a byte, lowest first; the highest bit of a byte tells that another one follows.
    void putVarint(std::uint64_t value)
    {
        std::uint8_t* at = room(kMaxVarintBytes);
        std::uint8_t* const start = at;
        at = encodeVarint(at, value);
        m_size += static_cast<std::size_t>(at - start);
    }
    /// 0, -1, 1, -2, 2, ... as 0, 1, 2, 3, 4, ...
    void putSigned(std::int64_t value) { putVarint(zigzag(value)); }
    /// The shortest form that gives back every bit; of equally short ones the one with eight plain
    /// bytes, then the one with the lowest tag.
    void putDouble(double value);
    /// The handle's bits above two bits for the kind, as one integer of variable length.
    void putReference(std::uint64_t handle, std::uint8_t kind)
    {
        std::uint8_t* at = room(kMaxVarintBytes);
        std::uint8_t* const start = at;
        // The sum has 66 bits: the first byte takes the kind and five bits of the handle.
        const auto low = static_cast<std::uint8_t>(kind | ((handle & 0x1FU) << 2));
        const std::uint64_t rest = handle >> 5;
        if (rest == 0) {
            *at++ = low;
        } else {
            *at++ = static_cast<std::uint8_t>(low | 0x80U);
            at = encodeVarint(at, rest);
        }
        m_size += static_cast<std::size_t>(at - start);
    }
    void putBytes(void const* data, std::size_t count)
    {
        if (count != 0) {
            std::memcpy(room(count), data, count);
            m_size += count;
        }
    }
    void putBytes(std::span<std::uint8_t const> data) { putBytes(data.data(), data.size()); }

    static constexpr std::uint64_t zigzag(std::int64_t value) noexcept
    {
        return (static_cast<std::uint64_t>(value) << 1) ^ static_cast<std::uint64_t>(value >> 63);
    }

private:
    static std::uint8_t* encodeVarint(std::uint8_t* at, std::uint64_t value) noexcept
    {
        while (value >= 0x80U) {
            *at++ = static_cast<std::uint8_t>(value | 0x80U);
            value >>= 7;
        }
        *at++ = static_cast<std::uint8_t>(value);
        return at;
    }
    std::uint8_t* room(std::size_t count)
    {
        if (m_bytes.size() - m_size < count) {
            grow(count);
        }
        return m_bytes.data() + m_size;
    }
    void grow(std::size_t count);
    void putFixed(std::uint64_t value, std::size_t width)
    {
        std::uint8_t* at = room(width);
        for (std::size_t i = width; i != 0; --i) {
            *at++ = static_cast<std::uint8_t>(value >> (8 * (i - 1)));
        }
        m_size += width;
    }

    std::vector<std::uint8_t> m_bytes;  ///< its size is the room, `m_size` of it is in use
    std::size_t m_size = 0;
};

/// Takes primitives out of bytes that it borrows. Any failure is `OdError` (bad stream).
class OdDbByteReader
{
public:
    OdDbByteReader() = default;
    explicit OdDbByteReader(std::span<std::uint8_t const> bytes) noexcept
        : m_begin(bytes.data()), m_at(bytes.data()), m_end(bytes.data() + bytes.size())
    {
    }

    std::size_t left() const noexcept { return static_cast<std::size_t>(m_end - m_at); }
    std::size_t position() const noexcept { return static_cast<std::size_t>(m_at - m_begin); }
    std::size_t size() const noexcept { return static_cast<std::size_t>(m_end - m_begin); }
    /// \param position  0 up to `size()`, both included.
    void moveTo(std::size_t position);

    std::uint8_t takeByte() { return *takeBytes(1); }
    std::uint32_t takeFixed32() { return static_cast<std::uint32_t>(takeFixed(4)); }
    std::uint64_t takeFixed64() { return takeFixed(8); }
    std::uint64_t takeVarint()
    {
        if (m_at != m_end && *m_at < 0x80U) {
            return *m_at++;
        }
        return takeLongVarint(0, 64);
    }
    std::int64_t takeSigned() { return unzigzag(takeVarint()); }
    double takeDouble()
    {
        if (left() >= sizeof(double) && *m_at > kLastDoubleTag) {
            return std::bit_cast<double>(takeFixed(sizeof(double)));
        }
        return takeTaggedDouble();
    }
    /// A reference: its handle; `kind` is 0 to 3.
    std::uint64_t takeReference(std::uint8_t& kind)
    {
        const std::uint8_t first = takeByte();
        kind = first & 0x03U;
        std::uint64_t handle = (first & 0x7FU) >> 2;
        if (first >= 0x80U) {
            handle = takeLongVarint(handle, 59);
        }
        return handle;
    }
    /// Borrowed from the bytes being read.
    std::uint8_t const* takeBytes(std::size_t count)
    {
        if (left() < count) {
            throwBadStream();
        }
        std::uint8_t const* const taken = m_at;
        m_at += count;
        return taken;
    }

    static constexpr std::int64_t unzigzag(std::uint64_t value) noexcept
    {
        return static_cast<std::int64_t>((value >> 1) ^ (0 - (value & 1)));
    }

private:
    std::uint64_t takeFixed(std::size_t width)
    {
        std::uint8_t const* at = takeBytes(width);
        std::uint64_t value = 0;
        for (std::size_t i = 0; i != width; ++i) {
            value = (value << 8) | at[i];
        }
        return value;
    }
    /// Reads an integer of at most `bits` bits. For a whole one `low` is 0 and `bits` 64; the rest of
    /// a reference comes above five bits that are known.
    std::uint64_t takeLongVarint(std::uint64_t low, unsigned bits);
    double takeTaggedDouble();
    [[noreturn]] static void throwBadStream();

    std::uint8_t const* m_begin = nullptr;
    std::uint8_t const* m_at = nullptr;
    std::uint8_t const* m_end = nullptr;
};
