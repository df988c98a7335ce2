#include "kernel/part_places.h"

#include "kernel/item_geometry_impl.h"

namespace zemhost {

std::vector<KernelPoint> partMiddles(KernelSolid const& solid, SubentKind kind)
{
    KernelSolidImpl const& impl = KernelSolidImpl::of(solid);
    std::vector<KernelPoint> middles;
    const int count = solid.counts().of(kind);
    for (int number = 1; number <= count; ++number) {
        const gp_Pnt middle = markOf(impl.item({kind, number}), kind).centre;
        middles.push_back({middle.X(), middle.Y(), middle.Z()});
    }
    return middles;
}

}  // namespace zemhost
