#include "kernel/item_numbers_impl.h"

#include <TopExp.hxx>

namespace zemhost {

ItemNumbers::ItemNumbers(const TopoDS_Shape& shape)
{
    for (const SubentKind kind : kSubentKinds) {
        TopExp::MapShapes(shape, shapeType(kind), m_maps[static_cast<std::size_t>(kind)]);
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
