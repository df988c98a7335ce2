// Solids that stand elsewhere: their boxes, and the solids themselves.

#pragma once

#include "kernel/kernel_solid.h"

#include <array>

namespace zemhost {

/// Three rows of four numbers: turns, scales and mirrors with the first three columns, then moves by
/// the last, in millimetres.
using KernelPlacement = std::array<std::array<double, 4>, 3>;

/// The least box around a solid that stands where a placement takes it, without tolerances.
/// \throws KernelError (bad argument) for a placement that is not finite or flattens space, (damaged
///         bytes) if the geometry cannot be measured.
KernelBox placedBox(const KernelSolid& solid, const KernelPlacement& placement);

/// The solid that stands where a placement takes it, with the same numbers.
///
/// A placement that scales directions differently turns surfaces and curves into free-form ones.
/// \throws KernelError (bad argument) for a placement that is not finite or flattens space, (edit
///         failed) if the kernel can't do it.
KernelSolid placedSolid(const KernelSolid& solid, const KernelPlacement& placement);

}  // namespace zemhost
