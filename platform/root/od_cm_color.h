// Colours of entities and layers.

#pragma once

#include "root/od_string.h"

#include <cstdint>

/// A colour as a value of 32 bits: the colour method in the top byte, below it what the method needs.
///
/// Two colours are equal if their values are. Methods that need nothing keep the low bytes at 0, so
/// equal colours have equal values.
class OdCmEntityColor
{
public:
    /// Where a colour comes from. Stored; the numbers never change.
    enum ColorMethod : std::uint8_t
    {
        kByLayer = 0xC0,
        kByBlock = 0xC1,
        kByColor = 0xC2,     ///< red, green and blue in the low bytes
        kByACI = 0xC3,       ///< colour index, 1 to 255, in the lowest byte
        kByPen = 0xC4,       ///< pen number, 0 to 65535, in the two lowest bytes
        kForeground = 0xC5,  ///< black or white, whichever the background isn't
        kLayerOff = 0xC6,
        kLayerFrozen = 0xC7,
        kNone = 0xC8
    };

    /// Colour indices with a meaning of their own.
    enum ColorIndex : std::int16_t
    {
        kIndexByBlock = 0,
        kIndexForeground = 7,
        kIndexByLayer = 256,
        kIndexNone = 257,
        kNoIndex = -1  ///< the colour isn't given by index
    };

    /// By layer.
    constexpr OdCmEntityColor() noexcept = default;
    /// \throws OdError (bad input) for a number that is no method.
    explicit OdCmEntityColor(ColorMethod method) { setColorMethod(method); }
    /// By colour.
    constexpr OdCmEntityColor(std::uint8_t red, std::uint8_t green, std::uint8_t blue) noexcept
        : m_value(rgbValue(red, green, blue))
    {
    }

    /// The whole value, for storing.
    constexpr std::uint32_t color() const noexcept { return m_value; }
    /// Takes a stored value over. Low bytes that the method doesn't use are cleared.
    /// \throws OdError (bad input) for an unknown method or a colour index outside of 1 to 255; the
    ///         colour is then as before.
    void setColor(std::uint32_t value);

    constexpr ColorMethod colorMethod() const noexcept
    {
        return static_cast<ColorMethod>(m_value >> kMethodShift);
    }
    /// Changes the method. A colour that is given by it already stays; else it starts with black,
    /// the index of the foreground, or pen 0.
    /// \throws OdError (bad input) for a number that is no method.
    void setColorMethod(ColorMethod method);

    constexpr bool isByLayer() const noexcept { return colorMethod() == kByLayer; }
    constexpr bool isByBlock() const noexcept { return colorMethod() == kByBlock; }
    constexpr bool isByColor() const noexcept { return colorMethod() == kByColor; }
    constexpr bool isByACI() const noexcept { return colorMethod() == kByACI; }
    constexpr bool isForeground() const noexcept { return colorMethod() == kForeground; }
    constexpr bool isNone() const noexcept { return colorMethod() == kNone; }

    /// \name By colour
    /// Components are 0 unless the method is `kByColor`; setting one changes the method to it.
    /// @{
    constexpr std::uint8_t red() const noexcept { return component(kRedShift); }
    constexpr std::uint8_t green() const noexcept { return component(kGreenShift); }
    constexpr std::uint8_t blue() const noexcept { return component(kBlueShift); }
    void setRGB(std::uint8_t red, std::uint8_t green, std::uint8_t blue) noexcept;
    void setRed(std::uint8_t red) noexcept { setRGB(red, green(), blue()); }
    void setGreen(std::uint8_t green) noexcept { setRGB(red(), green, blue()); }
    void setBlue(std::uint8_t blue) noexcept { setRGB(red(), green(), blue); }
    /// @}

    /// \name By index
    /// @{
    /// 1 to 255, or the one of `ColorIndex` that fits the method.
    std::int16_t colorIndex() const noexcept;
    /// 1 to 255 give the method `kByACI`; 0, 256 and 257 that of the same name.
    /// \throws OdError (bad input) for any other index; the colour is then as before.
    void setColorIndex(int index);
    /// @}

    /// \name By pen
    /// @{
    /// 0 unless the method is `kByPen`.
    std::uint16_t penIndex() const noexcept;
    void setPenIndex(std::uint16_t pen) noexcept;
    /// @}

    friend constexpr bool operator==(OdCmEntityColor const&, OdCmEntityColor const&) = default;

private:
    static constexpr int kMethodShift = 24;
    static constexpr int kRedShift = 16;
    static constexpr int kGreenShift = 8;
    static constexpr int kBlueShift = 0;

    static constexpr std::uint32_t valueOf(ColorMethod method, std::uint32_t low = 0) noexcept
    {
        return static_cast<std::uint32_t>(method) << kMethodShift | low;
    }
    static constexpr std::uint32_t rgbValue(std::uint32_t red, std::uint32_t green,
                                            std::uint32_t blue) noexcept
    {
        return valueOf(kByColor, red << kRedShift | green << kGreenShift | blue << kBlueShift);
    }
    constexpr std::uint8_t component(int shift) const noexcept
    {
        return static_cast<std::uint8_t>(isByColor() ? m_value >> shift & 0xFFU : 0);
    }

    std::uint32_t m_value = valueOf(kByLayer);
};

static_assert(sizeof(OdCmEntityColor) == sizeof(std::uint32_t));

/// A colour that may have come from a colour book, whose names it keeps. Equal if both are.
class OdCmColor : public OdCmEntityColor
{
public:
    using OdCmEntityColor::OdCmEntityColor;
    OdCmColor() noexcept = default;
    OdCmColor(OdCmEntityColor const& color) noexcept  // NOLINT: a colour without names
        : OdCmEntityColor(color)
    {
    }

    OdCmEntityColor entityColor() const noexcept { return *this; }
    OdString const& colorName() const noexcept { return m_colorName; }
    OdString const& bookName() const noexcept { return m_bookName; }
    /// Names do not change the colour itself; both may be empty.
    void setNames(OdString const& colorName, OdString const& bookName = OdString());

    friend bool operator==(OdCmColor const&, OdCmColor const&) = default;

private:
    OdString m_colorName;
    OdString m_bookName;
};
