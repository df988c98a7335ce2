// Import of solids from part files, for code that doesn't link the modelling kernel.

#pragma once

#include "db/od_db_3d_solid.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zemhost {

/// One solid of a part file, ready to become an `OdDb3dSolid`. Lengths are millimetres.
struct HostSolid
{
    std::string label;    ///< UTF-8; the part's name in its file, may be empty
    OdString bodyFormat;  ///< name of the modeler's format
    OdBinaryData body;    ///< the solid as the modeler stores it
    OdDb3dSolid::Counts counts;
    double volumeMm3 = 0;
    double areaMm2 = 0;
    std::array<double, 3> boxMin{};
    std::array<double, 3> boxMax{};
    bool isValid = false;  ///< whether the modeler's own check finds no fault
};

/// What one part file brought.
struct HostImport
{
    std::string format;  ///< "STEP" or "BREP"
    std::vector<HostSolid> solids;
    std::vector<std::string> warnings;
};

/// How much one import may use up. Both are more than 0.
struct HostImportLimits
{
    std::chrono::seconds time{300};                      ///< wall clock
    std::uint64_t memoryBytes = std::uint64_t{8} << 30;  ///< on top of the program's own
};

/// Told how far an import has come, from 0 to 1, and what it is doing.
using HostImportProgress = std::function<void(double fraction, std::string const& step)>;

/// Imports part files.
///
/// `zemhost_kernel.tx`, which links the modelling kernel, attaches the one implementation to
/// `OdDbDatabase::desc()`. The program loads that file only where a command needs it, so all others
/// start without the kernel.
class HostImportExtension : public OdRxObject
{
    RX_DECLARE_CLASS(HostImportExtension);

public:
    /// Reads a STEP or BREP file, in a process of its own with limits of time and memory.
    ///
    /// \param limits    What the process may use up.
    /// \param progress  May be empty.
    /// \throws HostError (file) for a file that is missing, damaged or without solids, and for one
    ///         that goes beyond the limits.
    virtual HostImport importPart(std::string const& path, HostImportLimits const& limits,
                                  HostImportProgress const& progress) const = 0;
};

}  // namespace zemhost
