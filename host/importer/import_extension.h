// Import of part files through the modelling kernel.

#pragma once

#include "protocol/host_import_extension.h"

namespace zemhost {

/// HostImportExtension over the kernel's file readers.
class ImportExtension : public HostImportExtension
{
public:
    HostImport importPart(std::string const& path, HostImportLimits const& limits,
                          HostImportProgress const& progress) const override;
};

}  // namespace zemhost
