// Transparencies of entities.

#pragma once

#include <cstdint>

/// How much light an entity lets through: by layer, by block, or a value of its own.
///
/// A value; equal if the origin and, for a value of its own, the number are.
class OdCmTransparency
{
public:
    /// Where a transparency comes from. Stored; the numbers never change.
    enum Method : std::uint8_t
    {
        kByLayer = 0,
        kByBlock = 1,
        kByValue = 2
    };

    /// By layer.
    constexpr OdCmTransparency() noexcept = default;
    /// By layer or by block; `kByValue` starts opaque.
    explicit constexpr OdCmTransparency(Method method) noexcept : m_method(method) {}
    /// A value from 0, opaque, to 1, clear; what lies outside is taken to the nearer end, what is
    /// no number is opaque.
    explicit constexpr OdCmTransparency(double value) noexcept
        : m_value(value > 0.0 ? (value < 1.0 ? value : 1.0) : 0.0), m_method(kByValue)
    {
    }

    constexpr Method method() const noexcept { return m_method; }
    constexpr bool isByLayer() const noexcept { return m_method == kByLayer; }
    constexpr bool isByBlock() const noexcept { return m_method == kByBlock; }
    constexpr bool isByValue() const noexcept { return m_method == kByValue; }
    /// From 0, opaque, to 1, clear; 0 unless the method is `kByValue`.
    constexpr double value() const noexcept { return m_value; }

    friend constexpr bool operator==(OdCmTransparency const&, OdCmTransparency const&) = default;

private:
    double m_value = 0.0;
    Method m_method = kByLayer;
};
