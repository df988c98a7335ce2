// The persisted number of an object in its drawing.

#pragma once

#include "root/od_string.h"

#include <compare>
#include <cstdint>

/// A 64-bit number that names an object in its drawing for ever; 0 is null.
class OdDbHandle
{
public:
    constexpr OdDbHandle() noexcept = default;
    constexpr OdDbHandle(std::uint64_t value) noexcept : m_value(value) {}  // NOLINT
    /// From hexadecimal text as `ascii` gives it, in either case; null for any other text.
    explicit OdDbHandle(OdString const& hexadecimal);

    constexpr bool isNull() const noexcept { return m_value == 0; }
    constexpr std::uint64_t value() const noexcept { return m_value; }
    constexpr explicit operator std::uint64_t() const noexcept { return m_value; }
    /// Hexadecimal text, upper case, without leading zeros; "0" for null.
    OdString ascii() const;

    friend constexpr auto operator<=>(OdDbHandle, OdDbHandle) noexcept = default;

private:
    std::uint64_t m_value = 0;
};
