// One operation on a shape: the kernel's algorithms, and the history that they leave.

#pragma once

#include "kernel/kernel_edit.h"
#include "kernel/kernel_solid_impl.h"

#include <BRepTools_History.hxx>
#include <TopoDS_Shape.hxx>

#include <memory>
#include <string>
#include <vector>

namespace zemhost {

/// A tool of an operation, with a number that names it among the tools of its step.
struct ToolPart
{
    TopoDS_Shape shape;
    std::uint32_t key;
};

/// How far the history of an operation can be trusted.
enum class HistoryTrust
{
    kFull,

    /// What it calls modified is so; what it calls deleted or keeps silent about may live on.
    kModifiedOnly,
};

/// What the kernel's algorithms made of a solid.
struct RawEdit
{
    /// The solid before the operation, to whose shapes the history refers. A copy with the same
    /// numbers where the algorithm writes into its arguments.
    std::shared_ptr<const KernelSolidImpl> source;

    TopoDS_Shape shape;  ///< a solid, or a compound of several
    Handle(BRepTools_History) history;
    HistoryTrust trust = HistoryTrust::kFull;
    std::vector<ToolPart> tools;
    double seconds = 0;  ///< of the algorithm alone
};

/// Told the fraction of one operation; answers whether to go on. May be empty.
using OperationProgress = std::function<bool(double fraction)>;

/// Applies a step, whose references stand for the items in `items`.
/// \throws KernelError (bad argument, edit failed, cancelled, memory limit).
RawEdit runStep(std::shared_ptr<const KernelSolidImpl> solid, const RecipeStep& step,
                const std::vector<Subent>& items, const OperationProgress& progress);

/// Makes what a recipe begins with, if that isn't imported. Without source and history for all but the
/// plate, whose holes are cut out of a box.
/// \throws KernelError (edit failed, cancelled, memory limit).
RawEdit makeBase(const RecipeBase& base, const OperationProgress& progress);

}  // namespace zemhost
