#include "kernel/kernel_export.h"

#include "kernel/kernel_guard_impl.h"
#include "kernel/kernel_solid_impl.h"

#include <IFSelect_ReturnStatus.hxx>
#include <Interface_InterfaceModel.hxx>
#include <Interface_Static.hxx>
#include <STEPControl_Writer.hxx>
#include <StepBasic_Product.hxx>
#include <StepData_StepModel.hxx>
#include <TCollection_HAsciiString.hxx>

#include <system_error>

namespace zemhost {

namespace {

const char* const kCheckPlace = "check the folder, its permissions and the space on the disk";

/// Gives the products from entity `first` on a name; the writer itself adds a counter to it.
void nameProducts(const Handle(Interface_InterfaceModel) & model, int first,
                  const std::string& name)
{
    for (int index = first; index <= model->NbEntities(); ++index) {
        const auto product = Handle(StepBasic_Product)::DownCast(model->Value(index));
        if (!product.IsNull()) {
            product->SetName(new TCollection_HAsciiString(name.c_str()));
            product->SetId(new TCollection_HAsciiString(name.c_str()));
        }
    }
}

void transfer(STEPControl_Writer& writer, const std::string& file, const ImportedSolid& solid)
{
    const int before = writer.Model()->NbEntities();
    // The writer knows a shape again that it has written; a shape of its own makes a solid that is
    // given twice two products.
    const KernelSolidImpl copy(KernelSolidImpl::of(solid.solid).payload());
    if (writer.Transfer(copy.shape(), STEPControl_AsIs) != IFSelect_RetDone) {
        throw KernelError(KernelFailure::kWriteFailed, file,
                          "the kernel cannot write the solid as STEP", "");
    }
    if (!solid.name.empty()) {
        nameProducts(writer.Model(), before + 1, solid.name);
    }
}

void writeTo(const std::string& temporary, const std::string& file,
             std::span<const ImportedSolid> solids)
{
    STEPControl_Writer writer;
    Interface_Static::SetCVal("write.step.unit", "MM");
    Interface_Static::SetCVal("write.step.schema", "AP214IS");
    for (const ImportedSolid& solid : solids) {
        transfer(writer, file, solid);
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
