// Plain little-endian bytes: a writer, and a reader that checks every length.

#pragma once

#include "kernel/kernel_error.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

namespace zemhost {

/// Appends numbers and texts to a vector of bytes.
class ByteWriter
{
public:
    void putByte(std::uint8_t value) { m_bytes.push_back(value); }

    void putUint32(std::uint32_t value) { putNumber(value); }
    void putUint64(std::uint64_t value) { putNumber(value); }
    void putDouble(double value) { putNumber(std::bit_cast<std::uint64_t>(value)); }

    void putRaw(std::span<const unsigned char> bytes)
    {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }

    /// Length in 8 bytes, then the bytes.
    void putBlock(std::span<const unsigned char> bytes)
    {
        putUint64(bytes.size());
        putRaw(bytes);
    }

    void putText(const std::string& text)
    {
        putBlock({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
    }

    const std::vector<unsigned char>& bytes() const { return m_bytes; }
    std::vector<unsigned char> takeBytes() { return std::move(m_bytes); }

private:
    template <typename Number>
    void putNumber(Number value)
    {
        for (std::size_t index = 0; index < sizeof value; ++index) {
            m_bytes.push_back(static_cast<unsigned char>((value >> (8 * index)) & 0xFF));
        }
    }

    std::vector<unsigned char> m_bytes;
};

/// Reads what ByteWriter wrote, from borrowed bytes.
///
/// \throws KernelError (damaged bytes) from every read that wants more than is left.
class ByteReader
{
public:
    explicit ByteReader(std::span<const unsigned char> bytes) : m_left(bytes) {}

    std::size_t bytesLeft() const { return m_left.size(); }

    std::uint8_t getByte() { return getRaw(1)[0]; }
    std::uint32_t getUint32() { return getNumber<std::uint32_t>(); }
    std::uint64_t getUint64() { return getNumber<std::uint64_t>(); }
    double getDouble() { return std::bit_cast<double>(getNumber<std::uint64_t>()); }

    /// The next `size` bytes, which stay where they are.
    std::span<const unsigned char> getRaw(std::uint64_t size)
    {
        if (size > m_left.size()) {
            throw KernelError(KernelFailure::kDamagedBytes, "",
                              "block of " + std::to_string(size) + " bytes, room for " +
                                  std::to_string(m_left.size()),
                              "");
        }
        const std::span<const unsigned char> result = m_left.first(static_cast<std::size_t>(size));
        m_left = m_left.subspan(static_cast<std::size_t>(size));
        return result;
    }

    std::span<const unsigned char> getBlock() { return getRaw(getUint64()); }

    std::string getText()
    {
        const std::span<const unsigned char> block = getBlock();
        return std::string(reinterpret_cast<const char*>(block.data()), block.size());
    }

    /// A count of records, checked against the room that `recordBytes` each would need.
    std::size_t getCount(std::size_t recordBytes)
    {
        const std::uint64_t count = getUint64();
        if (count > m_left.size() / recordBytes) {
            throw KernelError(KernelFailure::kDamagedBytes, "",
                              "list of " + std::to_string(count) + " records, room for " +
                                  std::to_string(m_left.size() / recordBytes),
                              "");
        }
        return static_cast<std::size_t>(count);
    }

private:
    template <typename Number>
    Number getNumber()
    {
        const std::span<const unsigned char> raw = getRaw(sizeof(Number));
        Number value = 0;
        for (std::size_t index = 0; index < sizeof(Number); ++index) {
            value |= static_cast<Number>(static_cast<Number>(raw[index]) << (8 * index));
        }
        return value;
    }

    std::span<const unsigned char> m_left;
};

}  // namespace zemhost
