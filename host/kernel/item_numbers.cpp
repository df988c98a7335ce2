#include "kernel/item_numbers_impl.h"

#include <TopoDS_Iterator.hxx>

namespace zemhost {

namespace {

TopTools_IndexedMapOfShape* mapFor(TopAbs_ShapeEnum type,
                                   std::array<TopTools_IndexedMapOfShape, 3>& maps)
{
    for (const SubentKind kind : kSubentKinds) {
        if (shapeType(kind) == type) {
            return &maps[static_cast<std::size_t>(kind)];
        }
    }
    return nullptr;
}

}  // namespace

ItemNumbers::ItemNumbers(const TopoDS_Shape& shape)
{
    add(shape);
}

/// Walks as the kernel's own maps of one kind do, but through all kinds at once and only once through
/// an item that several others share: what is in it has its number by then.
void ItemNumbers::add(const TopoDS_Shape& shape)
{
    if (TopTools_IndexedMapOfShape* map = mapFor(shape.ShapeType(), m_maps)) {
        const int before = map->Extent();
        if (map->Add(shape) <= before) {
            return;
        }
    }
    for (TopoDS_Iterator part(shape); part.More(); part.Next()) {
        add(part.Value());
    }
}

SubentCounts ItemNumbers::counts() const
{
    return {m_maps[0].Extent(), m_maps[1].Extent(), m_maps[2].Extent()};
}

TopAbs_ShapeEnum shapeType(SubentKind kind)
{
    switch (kind) {
    case SubentKind::kFace:
        return TopAbs_FACE;
    case SubentKind::kEdge:
        return TopAbs_EDGE;
    case SubentKind::kVertex:
        break;
    }
    return TopAbs_VERTEX;
}

}  // namespace zemhost
