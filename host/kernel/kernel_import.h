// Import of solids from STEP and BREP files, in a process of its own.

#pragma once

#include "kernel/kernel_solid.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace zemhost {

/// Told how far an import has come; answers whether to go on.
///
/// \param fraction  0 to 1, never falling.
/// \param step      What is being done: "reading", "translating", "measuring".
using ImportProgress = std::function<bool(double fraction, const std::string& step)>;

/// Where the kernel's file readers run.
enum class ImportIsolation
{
    /// In a child process with limits: a crash, an endless loop or a flood of memory on bad input
    /// ends as a KernelError. No thread of the program may be inside the kernel meanwhile.
    kChildProcess,

    /// In this process, without limits: for files that the program itself has written.
    kSameProcess,
};

/// How much one import may use up, and where it runs.
struct ImportOptions
{
    ImportIsolation isolation = ImportIsolation::kChildProcess;

    /// Wall clock for the whole import.
    std::chrono::milliseconds timeLimit = std::chrono::minutes(5);

    /// Memory of the child process on top of the program's own.
    std::uint64_t memoryLimitBytes = std::uint64_t{8} << 30;

    ImportProgress progress;  ///< may be empty
};

/// A solid with the name that its file gives it.
struct ImportedSolid
{
    KernelSolid solid;

    /// UTF-8. From STEP the name of the product, or its id, or the name of the solid itself, the
    /// first that is not empty; several solids of one product share it. Empty if there is none,
    /// and always from BREP.
    std::string name;
};

/// What a file holds.
enum class ImportFormat
{
    kStep,
    kBrep,  ///< text or binary
};

/// What an import brought.
struct ImportResult
{
    ImportFormat format = ImportFormat::kStep;

    /// At least one. Assemblies and compounds are taken apart and every solid stands where the
    /// assembly places it, in millimetres whatever the unit of the file. In the order of the file;
    /// a solid that occurs twice at one place comes once.
    std::vector<ImportedSolid> solids;

    /// What a user should know: entities that could not be read, solids left out, solids that the
    /// kernel's check finds faulty. Lower case, no final stop.
    std::vector<std::string> warnings;
};

/// Imports the solids of a STEP (.step, .stp) or BREP (.brep, .brp) file.
///
/// What the file is shows its content; the ending is used only to say what was expected. BREP has
/// no unit and is taken as millimetres. A solid that cannot be measured or stored is left out with a
/// warning; the others come. The call may change the kernel's global reader settings and silences
/// its messages; two imports in one process do not overlap.
///
/// \throws KernelError with the file's path as given: missing, unreadable, empty, unknown format,
///         truncated or damaged file, no solid, time or memory limit, kernel crash, cancelled (the
///         progress function answered false), system. Nothing else is thrown but what the progress
///         function throws.
ImportResult importFile(const std::filesystem::path& path, const ImportOptions& options = {});

/// As importFile, for a file that must be STEP.
ImportResult importStep(const std::filesystem::path& path, const ImportOptions& options = {});

/// As importFile, for a file that must be BREP, text or binary.
ImportResult importBrep(const std::filesystem::path& path, const ImportOptions& options = {});

/// As KernelSolid::fromBytes, for bytes that somebody may have forged: they are read, measured and
/// written in a child process first.
///
/// \throws KernelError as fromBytes, and time or memory limit, kernel crash, system.
KernelSolid readUntrustedBytes(std::span<const unsigned char> bytes,
                               const ImportOptions& options = {});

}  // namespace zemhost
