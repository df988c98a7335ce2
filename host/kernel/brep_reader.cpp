#include "kernel/file_readers_impl.h"
#include "kernel/kernel_guard_impl.h"

#include <BRepTools.hxx>
#include <BRep_Builder.hxx>
#include <BinTools.hxx>
#include <TopAbs_ShapeEnum.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_MapOfShape.hxx>

#include <fstream>
#include <ios>
#include <utility>

namespace zemhost {

namespace {

const char* const kWriteAgain = "write the file again";

[[noreturn]] void throwUnreadable()
{
    throw KernelError(KernelFailure::kDamagedFile, "", "the BREP data cannot be read", kWriteAgain);
}

void readShape(TopoDS_Shape& shape, std::istream& stream, bool isBinary,
               const Message_ProgressRange& range)
{
    if (isBinary) {
        BinTools::Read(shape, stream, range);
        return;
    }
    BRepTools::Read(shape, stream, BRep_Builder(), range);
}

}  // namespace

KernelProgress::KernelProgress(StepProgress progress) : m_progress(std::move(progress)) {}

void KernelProgress::Show(const Message_ProgressScope&, const Standard_Boolean force)
{
    constexpr double kOnePercent = 0.01;
    const double fraction = GetPosition();
    if (!force && fraction < m_lastFraction + kOnePercent) {
        return;
    }
    m_lastFraction = fraction;
    m_stopped = !m_progress(fraction) || m_stopped;
}

std::vector<TopoDS_Shape> solidsOf(const TopoDS_Shape& shape)
{
    std::vector<TopoDS_Shape> solids;
    TopTools_MapOfShape seen;
    for (TopExp_Explorer explorer(shape, TopAbs_SOLID); explorer.More(); explorer.Next()) {
        if (seen.Add(explorer.Current())) {
            solids.push_back(explorer.Current());
        }
    }
    return solids;
}

RawImport readBrepFile(const std::string& path, bool isBinary, const StepProgress& reading)
{
    const Handle(KernelProgress) progress = new KernelProgress(reading);
    TopoDS_Shape shape;
    std::ifstream stream(path, std::ios::binary);
    // The kernel looks for its keywords in loops that never end on a stream that has failed.
    stream.exceptions(std::ios::failbit | std::ios::badbit);
    try {
        readShape(shape, stream, isBinary, progress->Start());
    } catch (const std::ios_base::failure&) {
        if (stream.rdbuf()->sgetc() == std::ifstream::traits_type::eof()) {
            throw KernelError(KernelFailure::kTruncatedFile, "", "the BREP data ends too early",
                              "copy or export the file again");
        }
        throwUnreadable();
    } catch (...) {
        rethrowAsKernelError(KernelFailure::kDamagedFile, "", "the BREP data cannot be read",
                             kWriteAgain);
    }
    if (shape.IsNull()) {
        throwUnreadable();
    }
    RawImport result;
    for (const TopoDS_Shape& solid : solidsOf(shape)) {
        result.solids.push_back({solid, ""});
    }
    if (result.solids.empty()) {
        throw KernelError(KernelFailure::kNoSolid, "",
                          "no solid in the file, only loose faces, edges or vertices",
                          "write it from a solid body");
    }
    return result;
}

}  // namespace zemhost
