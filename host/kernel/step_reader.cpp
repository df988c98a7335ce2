#include "kernel/file_readers_impl.h"
#include "kernel/kernel_guard_impl.h"
#include "kernel/step_structure_impl.h"

#include <IFSelect_ReturnStatus.hxx>
#include <Interface_CheckIterator.hxx>
#include <Interface_InterfaceModel.hxx>
#include <Interface_Static.hxx>
#include <STEPControl_Reader.hxx>
#include <StepBasic_Product.hxx>
#include <StepBasic_ProductDefinition.hxx>
#include <StepBasic_ProductDefinitionFormation.hxx>
#include <StepRepr_CharacterizedDefinition.hxx>
#include <StepRepr_ProductDefinitionShape.hxx>
#include <StepRepr_PropertyDefinition.hxx>
#include <StepRepr_RepresentedDefinition.hxx>
#include <StepRepr_ShapeRepresentationRelationship.hxx>
#include <StepRepr_ShapeRepresentationRelationshipWithTransformation.hxx>
#include <StepShape_ShapeDefinitionRepresentation.hxx>
#include <StepShape_ShapeRepresentation.hxx>
#include <StepShape_SolidModel.hxx>
#include <TCollection_HAsciiString.hxx>
#include <TransferBRep.hxx>
#include <Transfer_TransientProcess.hxx>
#include <XSControl_TransferReader.hxx>
#include <XSControl_WorkSession.hxx>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <istream>
#include <streambuf>
#include <system_error>
#include <unordered_map>
#include <utility>

namespace zemhost {

namespace {

const char* const kExportAgain = "export the file again as AP203, AP214 or AP242";

std::string textOf(const Handle(TCollection_HAsciiString) & text)
{
    return text.IsNull() ? std::string() : std::string(text->ToCString());
}

std::string firstNotEmpty(const std::string& first, const std::string& second)
{
    return first.empty() ? second : first;
}

/// Finds the names of a model's solids.
///
/// A name stands at the product; from there it goes over the product's shape definition to one
/// representation, over plain relationships to others (those with a transformation place the parts
/// of an assembly and carry no name), and from a representation to its items. Links of a damaged
/// file may lead nowhere, so each is checked.
class SolidNames
{
public:
    explicit SolidNames(const Handle(Interface_InterfaceModel) & model)
    {
        for (int index = 1; index <= model->NbEntities(); ++index) {
            takeDefinition(model->Value(index));
        }
        for (int index = 1; index <= model->NbEntities(); ++index) {
            takeRelationship(model->Value(index));
        }
    }

    /// Remembers which shapes came from which solid entity.
    void takeTransferred(const Handle(Transfer_TransientProcess) & process)
    {
        for (int index = 1; index <= process->NbMapped(); ++index) {
            const auto solid = Handle(StepShape_SolidModel)::DownCast(process->Mapped(index));
            if (solid.IsNull()) {
                continue;
            }
            const TopoDS_Shape shape = TransferBRep::ShapeResult(process, solid);
            if (!shape.IsNull()) {
                m_byShape[shape.TShape().get()] =
                    firstNotEmpty(m_byItem[solid.get()], textOf(solid->Name()));
            }
        }
    }

    std::string nameOf(const TopoDS_Shape& shape) const
    {
        const auto found = m_byShape.find(shape.TShape().get());
        return found == m_byShape.end() ? std::string() : found->second;
    }

private:
    void takeDefinition(const Handle(Standard_Transient) & entity)
    {
        const auto link = Handle(StepShape_ShapeDefinitionRepresentation)::DownCast(entity);
        if (link.IsNull() || link->UsedRepresentation().IsNull()) {
            return;
        }
        const Handle(StepRepr_PropertyDefinition) property =
            link->Definition().PropertyDefinition();
        if (property.IsNull()) {
            return;
        }
        const Handle(StepBasic_ProductDefinition) definition =
            property->Definition().ProductDefinition();
        if (definition.IsNull() || definition->Formation().IsNull() ||
            definition->Formation()->OfProduct().IsNull()) {
            return;
        }
        const Handle(StepBasic_Product) product = definition->Formation()->OfProduct();
        takeItems(link->UsedRepresentation(),
                  firstNotEmpty(textOf(product->Name()), textOf(product->Id())));
    }

    void takeRelationship(const Handle(Standard_Transient) & entity)
    {
        const auto link = Handle(StepRepr_ShapeRepresentationRelationship)::DownCast(entity);
        if (link.IsNull() || link->Rep1().IsNull() || link->Rep2().IsNull() ||
            link->IsKind(
                STANDARD_TYPE(StepRepr_ShapeRepresentationRelationshipWithTransformation))) {
            return;
        }
        const std::string first = m_byRepresentation[link->Rep1().get()];
        const std::string second = m_byRepresentation[link->Rep2().get()];
        if (!first.empty() && second.empty()) {
            takeItems(link->Rep2(), first);
        }
        if (first.empty() && !second.empty()) {
            takeItems(link->Rep1(), second);
        }
    }

    void takeItems(const Handle(StepRepr_Representation) & representation, const std::string& name)
    {
        m_byRepresentation[representation.get()] = name;
        for (int index = 1; index <= representation->NbItems(); ++index) {
            const Handle(StepRepr_RepresentationItem) item = representation->ItemsValue(index);
            if (!item.IsNull()) {
                m_byItem[item.get()] = name;
            }
        }
    }

    std::unordered_map<const Standard_Transient*, std::string> m_byRepresentation;
    std::unordered_map<const Standard_Transient*, std::string> m_byItem;
    std::unordered_map<const Standard_Transient*, std::string> m_byShape;
};

/// One warning for each entity that the reader could not take as it stands, up to a limit.
std::vector<std::string> loadWarnings(STEPControl_Reader& reader)
{
    constexpr std::size_t kMostWarnings = 20;
    std::vector<std::string> warnings;
    std::size_t left = 0;
    const Handle(Interface_InterfaceModel) model = reader.WS()->Model();
    Interface_CheckIterator checks = reader.WS()->ModelCheckList(Standard_False);
    for (checks.Start(); checks.More(); checks.Next()) {
        const Handle(Interface_Check)& check = checks.Value();
        if (check.IsNull() || !check->HasFailed()) {
            continue;
        }
        if (warnings.size() == kMostWarnings) {
            ++left;
            continue;
        }
        const Handle(Standard_Transient) entity =
            checks.Number() > 0 ? model->Value(checks.Number()) : Handle(Standard_Transient)();
        const std::string where =
            entity.IsNull() ? "file" : "entity " + textOf(model->StringLabel(entity));
        warnings.push_back(where + ": " + check->CFail(1));
    }
    if (left > 0) {
        warnings.push_back("problems with " + std::to_string(left) + " more entities");
    }
    return warnings;
}

/// A file as a stream buffer that tells how much of it has been read.
///
/// The kernel's parser knows no progress of its own, but it reads piece by piece. Once the progress
/// function wants to stop, or throws, the file ends, and so does the parser: no exception goes through
/// it.
class CountingBuffer : public std::streambuf
{
public:
    CountingBuffer(const std::string& path, StepProgress progress)
        : m_progress(std::move(progress)), m_piece(kPieceBytes)
    {
        std::error_code unknown;
        const std::uintmax_t size = std::filesystem::file_size(path, unknown);
        m_size = unknown ? 1 : static_cast<double>(std::max<std::uintmax_t>(size, 1));
        m_isOpen = m_file.open(path, std::ios::in | std::ios::binary) != nullptr;
    }

    bool isOpen() const { return m_isOpen; }

    /// Throws what the progress function threw, if it did.
    void rethrow() const
    {
        if (m_thrown) {
            std::rethrow_exception(m_thrown);
        }
    }

protected:
    int_type underflow() override
    {
        if (m_isStopped || !goesOn()) {
            m_isStopped = true;
            return traits_type::eof();
        }
        const std::streamsize count =
            m_file.sgetn(m_piece.data(), static_cast<std::streamsize>(m_piece.size()));
        if (count <= 0) {
            return traits_type::eof();
        }
        m_read += static_cast<double>(count);
        setg(m_piece.data(), m_piece.data(), m_piece.data() + count);
        return traits_type::to_int_type(*gptr());
    }

private:
    static constexpr std::size_t kPieceBytes = 64 * 1024;

    bool goesOn()
    {
        try {
            return m_progress(std::min(m_read / m_size, 1.0));
        } catch (...) {
            m_thrown = std::current_exception();
            return false;
        }
    }

    StepProgress m_progress;
    std::vector<char> m_piece;
    std::filebuf m_file;
    std::exception_ptr m_thrown;
    bool m_isOpen = false;
    bool m_isStopped = false;
    double m_size = 1;
    double m_read = 0;
};

/// The kernel builds its model after it has read the text, which takes about as long again.
constexpr double kTextShare = 0.5;

void loadModel(STEPControl_Reader& reader, const std::string& path, const StepProgress& reading)
{
    CountingBuffer buffer(path, [&reading](double share) { return reading(kTextShare * share); });
    std::istream stream(&buffer);
    const IFSelect_ReturnStatus status = guardKernel(
        KernelFailure::kDamagedFile, "", "the STEP data cannot be read", kExportAgain, [&] {
            return buffer.isOpen() ? reader.ReadStream(path.c_str(), stream) : IFSelect_RetError;
        });
    buffer.rethrow();
    if (status != IFSelect_RetDone) {
        throw KernelError(KernelFailure::kDamagedFile, "",
                          "the STEP data cannot be read: its syntax is broken", kExportAgain);
    }
}

void translate(STEPControl_Reader& reader, const StepProgress& translating)
{
    guardKernel(KernelFailure::kDamagedFile, "", "the STEP data cannot be translated", kExportAgain,
                [&] {
                    const Handle(KernelProgress) progress = new KernelProgress(translating);
                    reader.TransferRoots(progress->Start());
                });
}

void collectSolids(STEPControl_Reader& reader, RawImport& result)
{
    SolidNames names(reader.WS()->Model());
    names.takeTransferred(reader.WS()->TransferReader()->TransientProcess());
    for (const TopoDS_Shape& solid : solidsOf(reader.OneShape())) {
        result.solids.push_back({solid, names.nameOf(solid)});
    }
}

[[noreturn]] void throwNoSolid(const std::vector<std::string>& warnings)
{
    if (!warnings.empty()) {
        throw KernelError(KernelFailure::kDamagedFile, "",
                          "no solid can be made of the STEP data: " + warnings.front(),
                          kExportAgain);
    }
    throw KernelError(KernelFailure::kNoSolid, "",
                      "no solid in the file, only surfaces, curves or points",
                      "export the part as a solid body");
}

}  // namespace

RawImport readStepFile(const std::string& path, const StepProgress& reading,
                       const StepProgress& translating)
{
    // The reader's constructor registers the STEP norm and its settings.
    STEPControl_Reader reader;
    Interface_Static::SetCVal("xstep.cascade.unit", "MM");
    RawImport result;
    if (!reading(0)) {
        return result;
    }
    checkStepStructure(path);
    loadModel(reader, path, reading);
    if (!reading(1)) {
        return result;
    }
    result.warnings = loadWarnings(reader);
    translate(reader, translating);
    guardKernel(KernelFailure::kDamagedFile, "", "the STEP data cannot be taken apart",
                kExportAgain, [&] { collectSolids(reader, result); });
    if (result.solids.empty()) {
        throwNoSolid(result.warnings);
    }
    return result;
}

}  // namespace zemhost
