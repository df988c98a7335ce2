// Solids of the kernel as bodies of entities, and its failures as those of the program.

#pragma once

#include "db/od_db_3d_solid.h"
#include "kernel/kernel_solid.h"

#include "protocol/host_error.h"

#include <vector>

namespace zemhost {

/// The kernel's name for its stored form, of which version and checksum stand in the bytes.
OdString kernelBodyFormat();
OdBinaryData toBinaryData(std::vector<unsigned char> const& bytes);
OdDb3dSolid::Counts countsOf(KernelSolid const& solid);
/// The kernel's failure with advice that names the program's options.
HostError hostErrorOf(KernelError const& error);

}  // namespace zemhost
