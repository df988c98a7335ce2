// From the kernel's history of an operation to the numbers of faces, edges and vertices.

#pragma once

#include "kernel/edit_operation_impl.h"
#include "kernel/kernel_solid_impl.h"
#include "kernel/subent_map.h"

#include <array>
#include <vector>

namespace zemhost {

/// The items of a result that one item lives on in.
struct ItemImage
{
    std::vector<int> targets;  ///< ascending
    bool isAmbiguous = false;  ///< targets are candidates
};

/// By kind and number less one.
using ItemImages = std::array<std::vector<ItemImage>, 3>;

/// What became of the items of the solid before an operation.
///
/// First an item is looked up in the result itself, as the history is silent about what it leaves
/// alone; then among what the history calls modified. Each image must lie on the surface, curve or
/// point of its item, else the item is ambiguous. Where the history may miss what lives on, an item
/// without an image is looked for in the result by its geometry.
ItemImages translateHistory(const RawEdit& edit, const ItemNumbers& after);

/// The same for a tool of the operation, without looking for anything by geometry.
ItemImages translateTool(const RawEdit& edit, const ItemNumbers& tool, const ItemNumbers& after);

/// New items of one kind that the history says an item brought about, ascending.
std::vector<int> generatedBy(const RawEdit& edit, const TopoDS_Shape& item, SubentKind kind,
                             const ItemNumbers& after);

/// The images as a map.
SubentMap mapOfImages(const ItemImages& images, const SubentCounts& before,
                      const SubentCounts& after, std::string cause);

}  // namespace zemhost
