// Export of solids to STEP files.

#pragma once

#include "kernel/kernel_import.h"

#include <filesystem>
#include <span>

namespace zemhost {

/// Writes solids to a STEP file (AP214, millimetres), each a product of its own with its name in
/// UTF-8; a solid without a name gets the kernel's own product name.
///
/// The file comes whole or not at all: it is written beside its place and renamed.
/// \throws KernelError (bad argument) without a solid, (write failed) with the path as given; what
///         stood at the path is then unchanged.
void exportStep(const std::filesystem::path& path, std::span<const ImportedSolid> solids);

}  // namespace zemhost
