// Faces, edges and vertices of a shape in the kernel's order.

#pragma once

#include "kernel/subent_map.h"

#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS_Shape.hxx>

#include <array>

namespace zemhost {

/// The kernel's numbers of the items of a shape; orientations don't count.
class ItemNumbers
{
public:
    explicit ItemNumbers(const TopoDS_Shape& shape);

    const TopTools_IndexedMapOfShape& of(SubentKind kind) const
    {
        return m_maps[static_cast<std::size_t>(kind)];
    }

    const TopoDS_Shape& item(Subent item) const { return of(item.kind).FindKey(item.number); }

    SubentCounts counts() const;

private:
    void add(const TopoDS_Shape& shape);

    std::array<TopTools_IndexedMapOfShape, 3> m_maps;
};

/// The kernel's name for a kind of item.
TopAbs_ShapeEnum shapeType(SubentKind kind);

}  // namespace zemhost
