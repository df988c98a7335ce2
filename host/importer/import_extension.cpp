#include "importer/import_extension.h"

#include "kernel/kernel_import.h"

#include "protocol/host_error.h"

namespace zemhost {

namespace {

/// The kernel's name for its stored form, of which version and checksum stand in the bytes.
constexpr wchar_t const* kBodyFormat = L"ZEMSOLID";

HostSolid hostSolid(ImportedSolid const& imported)
{
    KernelSolid const& solid = imported.solid;
    const std::vector<unsigned char> bytes = solid.toBytes();
    const KernelBox box = solid.boundingBox();
    HostSolid result;
    result.label = imported.name;
    result.bodyFormat = kBodyFormat;
    result.body = OdBinaryData(bytes.begin(), bytes.end());
    result.counts.faces = static_cast<std::uint32_t>(solid.faceCount());
    result.counts.edges = static_cast<std::uint32_t>(solid.edgeCount());
    result.counts.vertices = static_cast<std::uint32_t>(solid.vertexCount());
    result.volumeMm3 = solid.volumeMm3();
    result.areaMm2 = solid.areaMm2();
    result.boxMin = box.min;
    result.boxMax = box.max;
    result.isValid = solid.isValid();
    return result;
}

HostImport importWith(std::string const& path, ImportOptions const& options)
{
    const ImportResult imported = importFile(path, options);
    HostImport result;
    result.format = imported.format == ImportFormat::kStep ? "STEP" : "BREP";
    result.warnings = imported.warnings;
    for (ImportedSolid const& solid : imported.solids) {
        result.solids.push_back(hostSolid(solid));
    }
    return result;
}

/// The kernel's advice, with the option's name where one helps.
std::string adviceFor(KernelError const& error)
{
    switch (error.failure()) {
    case KernelFailure::kTimeLimit:
        return "allow more with --time-limit, or check the file in the program that wrote it";
    case KernelFailure::kMemoryLimit:
        return "allow more with --memory-limit, or check the file in the program that wrote it";
    default:
        return error.advice();
    }
}

}  // namespace

HostImport ImportExtension::importPart(std::string const& path, HostImportLimits const& limits,
                                       HostImportProgress const& progress) const
{
    ImportOptions options;
    options.timeLimit = limits.time;
    options.memoryLimitBytes = limits.memoryBytes;
    if (progress) {
        options.progress = [&progress](double fraction, std::string const& step) {
            progress(fraction, step);
            return true;
        };
    }
    try {
        return importWith(path, options);
    } catch (KernelError const& error) {
        throw HostError(ExitCode::kFile, error.file(), error.reason(), adviceFor(error));
    }
}

}  // namespace zemhost
