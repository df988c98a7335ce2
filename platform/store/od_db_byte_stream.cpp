#include "store/od_db_byte_stream.h"

#include <algorithm>

namespace {

/// No integer of this size or more is shorter as an integer than as eight bytes.
constexpr double kIntegralLimit = 2199023255552.0;  // 2^41, six bytes with the sign

std::size_t varintLength(std::uint64_t value) noexcept
{
    return (static_cast<std::size_t>(std::bit_width(value | 1U)) + 6) / 7;
}

}  // namespace

void OdDbByteWriter::grow(std::size_t count)
{
    constexpr std::size_t kLeastRoom = 256;
    m_bytes.resize(std::max({kLeastRoom, m_size + count, m_bytes.size() * 2}));
}

// Random values fill all their bytes, so the test for trailing zeros comes first: it sends them to
// the plain form at once, and every value with a shorter form has at least three zero bytes at its
// end or is an integer below 2^41, which leaves at least one.
void OdDbByteWriter::putDouble(double value)
{
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const auto zeroBytes = static_cast<std::size_t>(std::countr_zero(bits)) / 8;
    const bool isTagNeeded = (bits >> 56) <= kLastDoubleTag;
    if (zeroBytes == 0 && !isTagNeeded) {
        putFixed64(bits);
        return;
    }
    if (bits == 0) {
        putByte(static_cast<std::uint8_t>(OdDbDoubleTag::kZero));
        return;
    }
    if (value == 1.0) {
        putByte(static_cast<std::uint8_t>(OdDbDoubleTag::kOne));
        return;
    }
    const std::size_t rawLength = isTagNeeded ? 9 : 8;
    // -0.0 isn't integral here: as an integer it would lose its sign.
    const bool isIntegral = value > -kIntegralLimit && value < kIntegralLimit &&
                            static_cast<double>(static_cast<std::int64_t>(value)) == value &&
                            (bits << 1) != 0;
    const std::uint64_t integer = isIntegral ? zigzag(static_cast<std::int64_t>(value)) : 0;
    const std::size_t integralLength = isIntegral ? 1 + varintLength(integer) : rawLength;
    const std::size_t topBytes = std::max<std::size_t>(8 - zeroBytes, 2);
    const std::size_t topLength = topBytes <= 5 ? 1 + topBytes : rawLength;
    if (integralLength < rawLength && integralLength <= topLength) {
        putByte(static_cast<std::uint8_t>(OdDbDoubleTag::kIntegral));
        putVarint(integer);
        return;
    }
    if (topLength < rawLength) {
        constexpr auto kFirst = static_cast<std::size_t>(OdDbDoubleTag::kTop2);
        putByte(static_cast<std::uint8_t>(kFirst + topBytes - 2));
        putFixed(bits >> (64 - 8 * topBytes), topBytes);
        return;
    }
    if (isTagNeeded) {
        putByte(static_cast<std::uint8_t>(OdDbDoubleTag::kRaw));
    }
    putFixed64(bits);
}

void OdDbByteReader::throwBadStream()
{
    throw OdError(kOdBadStream);
}

void OdDbByteReader::moveTo(std::size_t position)
{
    if (position > size()) {
        throwBadStream();
    }
    m_at = m_begin + position;
}

std::uint64_t OdDbByteReader::takeLongVarint(std::uint64_t low, unsigned bits)
{
    std::uint64_t value = low;
    for (unsigned shift = 64 - bits; shift < 64; shift += 7) {
        const std::uint8_t byte = takeByte();
        const std::uint64_t part = byte & 0x7FU;
        if (shift > 57 && (part >> (64 - shift)) != 0) {
            throwBadStream();
        }
        value |= part << shift;
        if (byte < 0x80U) {
            return value;
        }
    }
    throwBadStream();
}

double OdDbByteReader::takeTaggedDouble()
{
    const std::uint8_t tag = *takeBytes(1);
    if (tag > kLastDoubleTag) {
        throwBadStream();
    }
    switch (static_cast<OdDbDoubleTag>(tag)) {
    case OdDbDoubleTag::kZero:
        return 0.0;
    case OdDbDoubleTag::kOne:
        return 1.0;
    case OdDbDoubleTag::kRaw:
        return std::bit_cast<double>(takeFixed(sizeof(double)));
    case OdDbDoubleTag::kIntegral:
        return static_cast<double>(takeSigned());
    case OdDbDoubleTag::kTop2:
    case OdDbDoubleTag::kTop3:
    case OdDbDoubleTag::kTop4:
    case OdDbDoubleTag::kTop5:
        break;
    }
    const std::size_t topBytes = tag - static_cast<std::size_t>(OdDbDoubleTag::kTop2) + 2;
    return std::bit_cast<double>(takeFixed(topBytes) << (64 - 8 * topBytes));
}
