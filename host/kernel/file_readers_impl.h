// The kernel's file readers: from a path to located shapes with names.

#pragma once

#include <Message_ProgressIndicator.hxx>
#include <TopoDS_Shape.hxx>

#include <functional>
#include <string>
#include <vector>

namespace zemhost {

/// A solid as a file reader hands it over.
struct RawSolid
{
    TopoDS_Shape shape;
    std::string name;
};

/// The solids of one file and what went wrong on the way.
struct RawImport
{
    std::vector<RawSolid> solids;
    std::vector<std::string> warnings;
};

/// Told the fraction of one step; answers whether to go on.
using StepProgress = std::function<bool(double fraction)>;

/// Carries the kernel's progress to a StepProgress, at most once for each percent.
class KernelProgress : public Message_ProgressIndicator
{
public:
    explicit KernelProgress(StepProgress progress);

    Standard_Boolean UserBreak() override { return m_stopped; }
    void Show(const Message_ProgressScope& scope, const Standard_Boolean force) override;

private:
    StepProgress m_progress;
    double m_lastFraction = 0;
    bool m_stopped = false;
};

/// Reads a STEP file whose beginning and end are known to be right.
///
/// Shapes are in millimetres. `reading` is told how much of the text has been read.
/// \throws KernelError (damaged file, no solid) without the file's name.
RawImport readStepFile(const std::string& path, const StepProgress& reading,
                       const StepProgress& translating);

/// Reads a text or binary BREP file. \throws KernelError (damaged file, no solid) without the
/// file's name.
RawImport readBrepFile(const std::string& path, bool isBinary, const StepProgress& reading);

/// Every solid in a shape, once for each place at which it stands.
std::vector<TopoDS_Shape> solidsOf(const TopoDS_Shape& shape);

}  // namespace zemhost
