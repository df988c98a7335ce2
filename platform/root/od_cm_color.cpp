#include "root/od_cm_color.h"

#include "root/od_error.h"

namespace {

constexpr std::uint32_t kLowBytes = 0x00FFFFFF;
constexpr std::uint32_t kPenBytes = 0x0000FFFF;
constexpr int kFirstIndex = 1;
constexpr int kLastIndex = 255;

bool isMethod(std::uint32_t number)
{
    return number >= OdCmEntityColor::kByLayer && number <= OdCmEntityColor::kNone;
}

}  // namespace

void OdCmEntityColor::setColor(std::uint32_t value)
{
    std::uint32_t const method = value >> kMethodShift;
    std::uint32_t const low = value & kLowBytes;
    if (!isMethod(method)) {
        throw OdError(kOdInvalidInput);
    }
    switch (method) {
    case kByColor:
        m_value = value;
        break;
    case kByACI:
        if (low < kFirstIndex || low > kLastIndex) {
            throw OdError(kOdInvalidInput);
        }
        m_value = value;
        break;
    case kByPen:
        m_value = valueOf(kByPen, low & kPenBytes);
        break;
    default:
        m_value = valueOf(static_cast<ColorMethod>(method));
        break;
    }
}

void OdCmEntityColor::setColorMethod(ColorMethod method)
{
    if (!isMethod(method)) {
        throw OdError(kOdInvalidInput);
    }
    if (method != colorMethod()) {
        m_value = valueOf(method, method == kByACI ? kIndexForeground : 0);
    }
}

void OdCmEntityColor::setRGB(std::uint8_t red, std::uint8_t green, std::uint8_t blue) noexcept
{
    m_value = rgbValue(red, green, blue);
}

std::int16_t OdCmEntityColor::colorIndex() const noexcept
{
    switch (colorMethod()) {
    case kByLayer:
        return kIndexByLayer;
    case kByBlock:
        return kIndexByBlock;
    case kByACI:
        return static_cast<std::int16_t>(m_value & kLowBytes);
    case kForeground:
        return kIndexForeground;
    case kNone:
        return kIndexNone;
    default:
        return kNoIndex;
    }
}

void OdCmEntityColor::setColorIndex(int index)
{
    if (index == kIndexByBlock) {
        m_value = valueOf(kByBlock);
    } else if (index == kIndexByLayer) {
        m_value = valueOf(kByLayer);
    } else if (index == kIndexNone) {
        m_value = valueOf(kNone);
    } else if (index >= kFirstIndex && index <= kLastIndex) {
        m_value = valueOf(kByACI, static_cast<std::uint32_t>(index));
    } else {
        throw OdError(kOdInvalidInput);
    }
}

std::uint16_t OdCmEntityColor::penIndex() const noexcept
{
    return static_cast<std::uint16_t>(colorMethod() == kByPen ? m_value & kPenBytes : 0);
}

void OdCmEntityColor::setPenIndex(std::uint16_t pen) noexcept
{
    m_value = valueOf(kByPen, pen);
}

void OdCmColor::setNames(OdString const& colorName, OdString const& bookName)
{
    m_colorName = colorName;
    m_bookName = bookName;
}
