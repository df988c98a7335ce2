#include "kernel/kernel_export.h"

#include "kernel/kernel_guard_impl.h"
#include "kernel/kernel_solid_impl.h"

#include <IFSelect_ReturnStatus.hxx>
#include <Interface_Static.hxx>
#include <STEPControl_Writer.hxx>

#include <system_error>

namespace zemhost {

namespace {

const char* const kCheckPlace = "check the folder, its permissions and the space on the disk";

void writeTo(const std::string& temporary, const std::string& file,
             std::span<const ImportedSolid> solids)
{
    STEPControl_Writer writer;
    Interface_Static::SetCVal("write.step.unit", "MM");
    Interface_Static::SetCVal("write.step.schema", "AP214IS");
    for (const ImportedSolid& solid : solids) {
        Interface_Static::SetCVal("write.step.product.name", solid.name.c_str());
        const TopoDS_Shape& shape = KernelSolidImpl::of(solid.solid).shape();
        if (writer.Transfer(shape, STEPControl_AsIs) != IFSelect_RetDone) {
            throw KernelError(KernelFailure::kWriteFailed, file,
                              "the kernel cannot write the solid as STEP", "");
        }
    }
    if (writer.Write(temporary.c_str()) != IFSelect_RetDone) {
        throw KernelError(KernelFailure::kWriteFailed, file, "the file cannot be written",
                          kCheckPlace);
    }
}

}  // namespace

void exportStep(const std::filesystem::path& path, std::span<const ImportedSolid> solids)
{
    const std::string file = path.string();
    if (solids.empty()) {
        throw KernelError(KernelFailure::kBadArgument, file, "no solid to export", "");
    }
    silenceKernel();
    std::filesystem::path temporary = path;
    temporary += ".part";
    std::error_code error;
    try {
        guardKernel(KernelFailure::kWriteFailed, file, "the STEP data cannot be written", "",
                    [&] { writeTo(temporary.string(), file, solids); });
    } catch (...) {
        std::filesystem::remove(temporary, error);
        throw;
    }
    std::filesystem::rename(temporary, path, error);
    if (error) {
        const std::string reason = error.message();
        std::filesystem::remove(temporary, error);
        throw KernelError(KernelFailure::kWriteFailed, file, reason, kCheckPlace);
    }
}

}  // namespace zemhost
