#include "protocol/host_part_map.h"

namespace zemhost {

HostPartFate const* HostPartMap::find(OdDbSubentId part) const noexcept
{
    std::vector<HostPartFate> const* fates = nullptr;
    switch (part.type()) {
    case OdDb::SubentType::kFaceSubentType:
        fates = &faces;
        break;
    case OdDb::SubentType::kEdgeSubentType:
        fates = &edges;
        break;
    case OdDb::SubentType::kVertexSubentType:
        fates = &vertices;
        break;
    default:
        return nullptr;
    }
    const std::int64_t index = part.index();
    const bool isThere = index >= 1 && static_cast<std::uint64_t>(index) <= fates->size();
    return isThere ? &(*fates)[static_cast<std::size_t>(index) - 1] : nullptr;
}

}  // namespace zemhost
