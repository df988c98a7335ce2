#include "importer/import_extension.h"

#include "kernel/kernel_import.h"

#include "importer/kernel_bodies.h"

namespace zemhost {

namespace {

HostSolid hostSolid(ImportedSolid const& imported)
{
    KernelSolid const& solid = imported.solid;
    const KernelBox box = solid.boundingBox();
    HostSolid result;
    result.label = imported.name;
    result.bodyFormat = kernelBodyFormat();
    result.body = toBinaryData(solid.toBytes());
    result.counts = countsOf(solid);
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
        throw hostErrorOf(error);
    }
}

}  // namespace zemhost
