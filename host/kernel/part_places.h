// Where the faces, edges and vertices of a solid lie, for people who look for one.

#pragma once

#include "kernel/kernel_solid.h"

#include <vector>

namespace zemhost {

/// The middle of some points of each item of a kind, in order of numbers, in millimetres.
std::vector<KernelPoint> partMiddles(KernelSolid const& solid, SubentKind kind);

}  // namespace zemhost
