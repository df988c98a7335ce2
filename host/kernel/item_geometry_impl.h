// Where single faces, edges and vertices lie, and whether two of them share material.

#pragma once

#include "kernel/kernel_solid_impl.h"

#include <TopoDS_Shape.hxx>
#include <gp_Pnt.hxx>

#include <vector>

namespace zemhost {

/// A point and a size that tell an item from most others: the middle of some of its points, and the
/// least distance from there that holds them. The same for the same geometry, whatever its numbers.
struct ItemMark
{
    gp_Pnt centre;
    double size = 0;
};

ItemMark markOf(const TopoDS_Shape& item, SubentKind kind);

/// Whether two marks say the same up to rounding.
bool isSameMark(const ItemMark& first, const ItemMark& second);

/// Some points inside an item: of a vertex its point, of an edge without a curve its vertex.
std::vector<gp_Pnt> innerPoints(const TopoDS_Shape& item, SubentKind kind);

/// Whether two items lie on one surface, on one curve, or at one point, where the parts of space that
/// they take up may differ.
bool isSameCarrier(const TopoDS_Shape& first, const TopoDS_Shape& second, SubentKind kind);

/// Whether points inside one of two items lie on the other.
bool sharesMaterial(const TopoDS_Shape& first, const TopoDS_Shape& second, SubentKind kind);

/// The items of a solid near a place, for many questions about one solid.
class ItemBoxes
{
public:
    ItemBoxes(const TopTools_IndexedMapOfShape& items, SubentKind kind);

    /// The numbers of those whose boxes meet that of `item`.
    std::vector<int> near(const TopoDS_Shape& item) const;

private:
    struct Box
    {
        std::array<double, 3> min{};
        std::array<double, 3> max{};
    };

    static Box boxOf(const TopoDS_Shape& item, SubentKind kind);

    SubentKind m_kind;
    std::vector<Box> m_boxes;
};

}  // namespace zemhost
