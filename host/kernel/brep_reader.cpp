#include "kernel/file_readers_impl.h"
#include "kernel/kernel_guard_impl.h"

#include <BRepTools.hxx>
#include <BRep_Builder.hxx>
#include <BinTools.hxx>
#include <TopAbs_ShapeEnum.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_MapOfShape.hxx>

#include <utility>

namespace zemhost {

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
    const char* const advice = "write the file again";
    const bool isRead =
        guardKernel(KernelFailure::kDamagedFile, "", "the BREP data cannot be read", advice, [&] {
            if (isBinary) {
                return BinTools::Read(shape, path.c_str(), progress->Start());
            }
            const BRep_Builder builder;
            return BRepTools::Read(shape, path.c_str(), builder, progress->Start());
        });
    if (!isRead || shape.IsNull()) {
        throw KernelError(KernelFailure::kDamagedFile, "", "the BREP data cannot be read", advice);
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
