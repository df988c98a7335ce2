#include "root/od_cm_color.h"

#include "root_test_support.h"

#include <gtest/gtest.h>

namespace {

using Color = OdCmEntityColor;

TEST(OdCmEntityColor, IsByLayerAtFirst)
{
    EXPECT_EQ(Color().colorMethod(), Color::kByLayer);
    EXPECT_EQ(Color().color(), 0xC0000000U);
    EXPECT_EQ(Color().colorIndex(), Color::kIndexByLayer);
}

TEST(OdCmEntityColor, KeepsTheMethodInTheTopByte)
{
    EXPECT_EQ(Color(Color::kByBlock).color(), 0xC1000000U);
    EXPECT_EQ(Color(1, 2, 3).color(), 0xC2010203U);
    EXPECT_EQ(Color(Color::kForeground).color(), 0xC5000000U);
    EXPECT_EQ(Color(Color::kNone).color(), 0xC8000000U);
    Color color;
    color.setColorIndex(9);
    EXPECT_EQ(color.color(), 0xC3000009U);
    color.setPenIndex(0x1234);
    EXPECT_EQ(color.color(), 0xC4001234U);
    EXPECT_EQ(color.penIndex(), 0x1234);
}

TEST(OdCmEntityColor, TakesComponents)
{
    Color color(10, 20, 30);
    EXPECT_TRUE(color.isByColor());
    EXPECT_EQ(color.red(), 10);
    EXPECT_EQ(color.green(), 20);
    EXPECT_EQ(color.blue(), 30);
    EXPECT_EQ(color.colorIndex(), Color::kNoIndex);
    color.setGreen(200);
    EXPECT_EQ(color, Color(10, 200, 30));
    color.setColorIndex(7);
    EXPECT_EQ(color.blue(), 0);
    color.setRed(1);
    EXPECT_EQ(color, Color(1, 0, 0));
}

TEST(OdCmEntityColor, TakesAnIndex)
{
    struct Row
    {
        int index;
        Color::ColorMethod method;
    };
    constexpr Row kRows[] = {{0, Color::kByBlock}, {1, Color::kByACI},     {7, Color::kByACI},
                             {255, Color::kByACI}, {256, Color::kByLayer}, {257, Color::kNone}};
    for (Row const& row : kRows) {
        Color color(1, 2, 3);
        color.setColorIndex(row.index);
        EXPECT_EQ(color.colorMethod(), row.method) << row.index;
        EXPECT_EQ(color.colorIndex(), row.index);
    }
    Color color(1, 2, 3);
    for (int const index : {-1, 258, 100000}) {
        EXPECT_EQ(thrownCode([&] { color.setColorIndex(index); }), kOdInvalidInput) << index;
    }
    EXPECT_EQ(color, Color(1, 2, 3));
}

TEST(OdCmEntityColor, StartsANewMethodFromItsDefault)
{
    Color color(1, 2, 3);
    color.setColorMethod(Color::kByColor);
    EXPECT_EQ(color, Color(1, 2, 3));
    color.setColorMethod(Color::kByACI);
    EXPECT_EQ(color.colorIndex(), Color::kIndexForeground);
    color.setColorMethod(Color::kByLayer);
    EXPECT_EQ(color, Color());
    color.setColorMethod(Color::kByColor);
    EXPECT_EQ(color, Color(0, 0, 0));
    EXPECT_EQ(thrownCode([&] { color.setColorMethod(static_cast<Color::ColorMethod>(0xC9)); }),
              kOdInvalidInput);
}

TEST(OdCmEntityColor, ComesBackFromItsValue)
{
    struct Row
    {
        char const* name;
        std::uint32_t stored;
        std::uint32_t taken;
    };
    constexpr Row kRows[] = {{"by layer with stray bytes", 0xC0123456, 0xC0000000},
                             {"by colour", 0xC2123456, 0xC2123456},
                             {"by index", 0xC30000FF, 0xC30000FF},
                             {"by pen with a stray byte", 0xC4120001, 0xC4000001},
                             {"none", 0xC8000000, 0xC8000000}};
    for (Row const& row : kRows) {
        Color color;
        color.setColor(row.stored);
        EXPECT_EQ(color.color(), row.taken) << row.name;
    }
    Color color(1, 2, 3);
    for (std::uint32_t const bad : {0U, 0xBF000000U, 0xC9000000U, 0xC3000000U, 0xC3000100U}) {
        EXPECT_EQ(thrownCode([&] { color.setColor(bad); }), kOdInvalidInput) << bad;
    }
    EXPECT_EQ(color, Color(1, 2, 3));
}

TEST(OdCmColor, IsAColorWithNames)
{
    OdCmColor color(Color(1, 2, 3));
    EXPECT_EQ(color.entityColor(), Color(1, 2, 3));
    OdCmColor named = color;
    named.setNames(L"Steel", L"Metals");
    EXPECT_EQ(named.colorName(), L"Steel");
    EXPECT_EQ(named.bookName(), L"Metals");
    EXPECT_NE(named, color);
    EXPECT_EQ(named.entityColor(), color.entityColor());
    color.setColorIndex(7);
    EXPECT_EQ(color.colorMethod(), Color::kByACI);
}

}  // namespace
