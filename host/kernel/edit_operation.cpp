#include "kernel/edit_operation_impl.h"
#include "kernel/file_readers_impl.h"
#include "kernel/kernel_guard_impl.h"
#include "kernel/kernel_solid_impl.h"

#include <BOPAlgo_Alerts.hxx>
#include <BRepAlgoAPI_Cut.hxx>
#include <BRepAlgoAPI_Defeaturing.hxx>
#include <BRepAlgoAPI_Fuse.hxx>
#include <BRepBndLib.hxx>
#include <BRepFilletAPI_MakeChamfer.hxx>
#include <BRepFilletAPI_MakeFillet.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeCylinder.hxx>
#include <BRep_Builder.hxx>
#include <Bnd_Box.hxx>
#include <ShapeUpgrade_UnifySameDomain.hxx>
#include <TopExp.hxx>
#include <TopTools_ListOfShape.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Compound.hxx>
#include <gp_Ax2.hxx>

#include <chrono>
#include <cmath>
#include <sstream>
#include <utility>

namespace zemhost {

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

[[noreturn]] void throwFailed(const std::string& reason, const std::string& advice)
{
    throw KernelError(KernelFailure::kEditFailed, "", reason, advice);
}

/// The kernel's view of progress; remembers whether the caller wanted to stop.
class ProgressRange
{
public:
    explicit ProgressRange(const OperationProgress& progress)
        : m_indicator(new KernelProgress([this, progress](double fraction) {
              m_isStopped = m_isStopped || (progress && !progress(fraction));
              return !m_isStopped;
          }))
    {
    }

    ProgressRange(const ProgressRange&) = delete;
    ProgressRange& operator=(const ProgressRange&) = delete;

    Message_ProgressRange start() { return m_indicator->Start(); }

    void throwIfStopped() const
    {
        if (m_isStopped) {
            throw KernelError(KernelFailure::kCancelled, "", "cancelled", "");
        }
    }

private:
    bool m_isStopped = false;
    Handle(KernelProgress) m_indicator;
};

/// The solids of a result: one alone, or several in a compound.
TopoDS_Shape solidsOnly(const TopoDS_Shape& shape, const char* what)
{
    const std::vector<TopoDS_Shape> solids =
        shape.IsNull() ? std::vector<TopoDS_Shape>() : solidsOf(shape);
    if (solids.empty()) {
        throwFailed(std::string(what) + ": nothing is left of the solid",
                    "change the tool so that a part of the solid stays");
    }
    if (solids.size() == 1) {
        return solids.front();
    }
    TopoDS_Compound compound;
    const BRep_Builder builder;
    builder.MakeCompound(compound);
    for (const TopoDS_Shape& solid : solids) {
        builder.Add(compound, solid);
    }
    return compound;
}

/// The same solid in shapes of its own, for algorithms that write into their arguments. It is read
/// from the same bytes, so the numbers are the same.
std::shared_ptr<const KernelSolidImpl> privateCopy(const KernelSolidImpl& solid)
{
    return std::make_shared<const KernelSolidImpl>(solid.payload());
}

//--------------------------------------------------------------------------------------------------
// Tools

gp_Pnt pointOf(const RecipeStep& step)
{
    return {step.values[0], step.values[1], step.values[2]};
}

gp_Ax2 axisOf(const RecipeStep& step)
{
    return {pointOf(step), gp_Dir(step.values[3], step.values[4], step.values[5])};
}

TopoDS_Shape shiftedSolid(const RecipeStep& step)
{
    const KernelSolid solid = KernelSolid::fromBytes(step.body);
    gp_Trsf shift;
    shift.SetTranslation(gp_Vec(step.values[0], step.values[1], step.values[2]));
    return KernelSolidImpl::of(solid).shape().Moved(TopLoc_Location(shift));
}

TopoDS_Shape toolShape(const RecipeStep& step)
{
    const std::vector<double>& values = step.values;
    switch (step.tool) {
    case ToolKind::kBox:
        return BRepPrimAPI_MakeBox(pointOf(step), values[3], values[4], values[5]).Solid();
    case ToolKind::kCylinder:
        return BRepPrimAPI_MakeCylinder(axisOf(step), values[6], values[7]).Solid();
    case ToolKind::kImported:
        return shiftedSolid(step);
    case ToolKind::kNone:
        break;
    }
    throwFailed("no tool", "");
}

/// A length that takes a drill from its mouth through the whole solid.
double lengthThrough(const TopoDS_Shape& solid, const gp_Pnt& mouth)
{
    Bnd_Box box;
    BRepBndLib::Add(solid, box);
    box.Add(mouth);
    return 2 * std::sqrt(box.SquareExtent()) + 1;
}

TopoDS_Shape drillShape(const TopoDS_Shape& solid, const RecipeStep& step)
{
    const double radius = step.values[6];
    const double depth = step.values[7];
    const double length = depth > 0 ? depth : lengthThrough(solid, pointOf(step));
    return BRepPrimAPI_MakeCylinder(axisOf(step), radius, length).Solid();
}

//--------------------------------------------------------------------------------------------------
// Booleans

std::string firstError(const BRepAlgoAPI_BooleanOperation& operation)
{
    std::ostringstream text;
    operation.DumpErrors(text);
    return text.str().substr(0, text.str().find('\n'));
}

void runBoolean(RawEdit& edit, BRepAlgoAPI_BooleanOperation& operation,
                const TopoDS_Shape& argument, const char* what, const OperationProgress& progress)
{
    TopTools_ListOfShape arguments;
    arguments.Append(argument);
    TopTools_ListOfShape tools;
    for (const ToolPart& tool : edit.tools) {
        tools.Append(tool.shape);
    }
    operation.SetArguments(arguments);
    operation.SetTools(tools);
    // Solids share their shapes, so no operation may write into them.
    operation.SetNonDestructive(Standard_True);
    ProgressRange range(progress);
    const Clock::time_point start = Clock::now();
    operation.Build(range.start());
    edit.seconds = secondsSince(start);
    range.throwIfStopped();
    if (operation.HasErrors() || !operation.IsDone()) {
        throwFailed(std::string(what) + ": the kernel can't compute it: " + firstError(operation),
                    "move or resize the tool a little");
    }
    edit.shape = solidsOnly(operation.Shape(), what);
    edit.history = operation.History();
}

RawEdit cutTools(std::shared_ptr<const KernelSolidImpl> solid, std::vector<ToolPart> tools,
                 const char* what, const OperationProgress& progress)
{
    RawEdit edit;
    edit.source = std::move(solid);
    edit.tools = std::move(tools);
    BRepAlgoAPI_Cut operation;
    runBoolean(edit, operation, edit.source->shape(), what, progress);
    return edit;
}

RawEdit fuseTool(std::shared_ptr<const KernelSolidImpl> solid, const RecipeStep& step,
                 const OperationProgress& progress)
{
    RawEdit edit;
    edit.source = std::move(solid);
    edit.tools = {{toolShape(step), 1}};
    BRepAlgoAPI_Fuse operation;
    runBoolean(edit, operation, edit.source->shape(), "fuse", progress);
    return edit;
}

//--------------------------------------------------------------------------------------------------
// Fillet and chamfer

/// The history of an algorithm that calls shapes deleted which it hasn't touched: what it says of
/// modified and generated ones that are in the result, and nothing else.
template <typename Algorithm>
Handle(BRepTools_History) sparingHistory(const KernelSolidImpl& source, Algorithm& algorithm)
{
    TopTools_IndexedMapOfShape result;
    TopExp::MapShapes(algorithm.Shape(), result);
    const Handle(BRepTools_History) history = new BRepTools_History;
    for (const SubentKind kind : kSubentKinds) {
        const TopTools_IndexedMapOfShape& items = source.items(kind);
        for (int number = 1; number <= items.Extent(); ++number) {
            const TopoDS_Shape& item = items(number);
            // The algorithm answers both questions with one list, so each is used up at once.
            for (const TopoDS_Shape& image : algorithm.Modified(item)) {
                if (image.ShapeType() == shapeType(kind) && result.Contains(image) &&
                    !image.IsSame(item)) {
                    history->AddModified(item, image);
                }
            }
            for (const TopoDS_Shape& image : algorithm.Generated(item)) {
                if (BRepTools_History::IsSupportedType(image) && result.Contains(image)) {
                    history->AddGenerated(item, image);
                }
            }
        }
    }
    return history;
}

template <typename Algorithm>
RawEdit roundEdges(const KernelSolidImpl& solid, const char* what, double size,
                   const std::vector<Subent>& items)
{
    RawEdit edit;
    edit.source = privateCopy(solid);
    edit.trust = HistoryTrust::kModifiedOnly;
    const Clock::time_point start = Clock::now();
    Algorithm algorithm(edit.source->shape());
    for (const Subent& item : items) {
        const TopoDS_Edge edge = TopoDS::Edge(edit.source->item(item));
        // An edge that an earlier one of the list runs into smoothly is in its contour already.
        if (algorithm.Contour(edge) == 0) {
            algorithm.Add(size, edge);
        }
        if (algorithm.Contour(edge) == 0) {
            throwFailed(std::string(what) + ": edge " + std::to_string(item.number) +
                            " has no corner between two faces",
                        "choose other edges");
        }
    }
    algorithm.Build();
    if (!algorithm.IsDone()) {
        throwFailed(std::string(what) + ": the kernel finds no surface of size " +
                        std::to_string(size) + " mm along the edges",
                    "give a smaller size, or fewer edges");
    }
    edit.seconds = secondsSince(start);
    edit.shape = solidsOnly(algorithm.Shape(), what);
    edit.history = sparingHistory(*edit.source, algorithm);
    return edit;
}

//--------------------------------------------------------------------------------------------------
// Removal of features, unification

RawEdit removeFaces(const KernelSolidImpl& solid, const std::vector<Subent>& items,
                    const OperationProgress& progress)
{
    RawEdit edit;
    edit.source = privateCopy(solid);
    edit.trust = HistoryTrust::kModifiedOnly;
    BRepAlgoAPI_Defeaturing algorithm;
    algorithm.SetShape(edit.source->shape());
    for (const Subent& item : items) {
        algorithm.AddFaceToRemove(edit.source->item(item));
    }
    algorithm.SetToFillHistory(Standard_True);
    ProgressRange range(progress);
    const Clock::time_point start = Clock::now();
    algorithm.Build(range.start());
    edit.seconds = secondsSince(start);
    range.throwIfStopped();
    const bool isLeft = algorithm.HasWarning(STANDARD_TYPE(BOPAlgo_AlertUnableToRemoveTheFeature));
    if (algorithm.HasErrors() || !algorithm.IsDone() || isLeft) {
        throwFailed("remove faces: the neighbours of the faces can't close the gap",
                    "name all faces of the feature, and no others");
    }
    edit.shape = solidsOnly(algorithm.Shape(), "remove faces");
    TopTools_ListOfShape arguments;
    arguments.Append(edit.source->shape());
    edit.history = new BRepTools_History(arguments, algorithm);
    return edit;
}

RawEdit unify(const KernelSolidImpl& solid)
{
    RawEdit edit;
    edit.source = privateCopy(solid);
    edit.trust = HistoryTrust::kModifiedOnly;
    const Clock::time_point start = Clock::now();
    ShapeUpgrade_UnifySameDomain algorithm(edit.source->shape(), /*UnifyEdges=*/Standard_True,
                                           /*UnifyFaces=*/Standard_True,
                                           /*ConcatBSplines=*/Standard_False);
    algorithm.Build();
    edit.seconds = secondsSince(start);
    edit.shape = solidsOnly(algorithm.Shape(), "unify");
    edit.history = algorithm.History();
    return edit;
}

RawEdit runKnownStep(std::shared_ptr<const KernelSolidImpl> solid, const RecipeStep& step,
                     const std::vector<Subent>& items, const OperationProgress& progress)
{
    switch (step.kind) {
    case StepKind::kCut:
        return cutTools(std::move(solid), {{toolShape(step), 1}}, "cut", progress);
    case StepKind::kFuse:
        return fuseTool(std::move(solid), step, progress);
    case StepKind::kHole: {
        const TopoDS_Shape drill = drillShape(solid->shape(), step);
        return cutTools(std::move(solid), {{drill, 1}}, "hole", progress);
    }
    case StepKind::kFillet:
        return roundEdges<BRepFilletAPI_MakeFillet>(*solid, "fillet", step.values[0], items);
    case StepKind::kChamfer:
        return roundEdges<BRepFilletAPI_MakeChamfer>(*solid, "chamfer", step.values[0], items);
    case StepKind::kRemoveFaces:
        return removeFaces(*solid, items, progress);
    case StepKind::kUnify:
        break;
    }
    return unify(*solid);
}

//--------------------------------------------------------------------------------------------------
// Bases

/// Names a hole by its place in the net, so that it keeps its name when the net grows or holes are
/// left out.
std::uint32_t holeKey(int column, int row)
{
    constexpr std::uint32_t kRowStep = 1024;
    return kRowStep * static_cast<std::uint32_t>(column) + static_cast<std::uint32_t>(row) + 1;
}

std::vector<ToolPart> plateHoles(const RecipeBase& base)
{
    constexpr double kOverhangMm = 1;
    const int count = static_cast<int>(base.values[0]);
    const double pitch = base.values[1];
    const double thickness = base.values[2];
    const double radius = base.values[3];
    const int skipEvery = static_cast<int>(base.values[4]);
    const int skipFirst = static_cast<int>(base.values[5]);
    std::vector<ToolPart> holes;
    for (int column = 0; column < count; ++column) {
        for (int row = 0; row < count; ++row) {
            if (skipEvery > 0 && (column * count + row) % skipEvery == skipFirst) {
                continue;
            }
            const gp_Pnt foot(pitch * (column + 0.5), pitch * (row + 0.5), -kOverhangMm);
            BRepPrimAPI_MakeCylinder drill(gp_Ax2(foot, gp::DZ()), radius,
                                           thickness + 2 * kOverhangMm);
            holes.push_back({drill.Solid(), holeKey(column, row)});
        }
    }
    return holes;
}

RawEdit makePlate(const RecipeBase& base, const OperationProgress& progress)
{
    const double side = base.values[0] * base.values[1];
    const KernelSolid box = KernelSolid::makeBox(side, side, base.values[2]);
    std::vector<ToolPart> holes = plateHoles(base);
    auto solid = KernelSolidImpl::share(box);
    if (holes.empty()) {
        RawEdit edit;
        edit.shape = solid->shape();
        return edit;
    }
    return cutTools(std::move(solid), std::move(holes), "plate", progress);
}

RawEdit makeKnownBase(const RecipeBase& base, const OperationProgress& progress)
{
    const std::vector<double>& values = base.values;
    RawEdit edit;
    switch (base.kind) {
    case BaseKind::kBox:
        edit.shape = BRepPrimAPI_MakeBox(values[0], values[1], values[2]).Solid();
        return edit;
    case BaseKind::kCylinder:
        edit.shape = BRepPrimAPI_MakeCylinder(values[0], values[1]).Solid();
        return edit;
    case BaseKind::kPlate:
        return makePlate(base, progress);
    case BaseKind::kImported:
        break;
    }
    throwFailed("a base that is there already", "");
}

}  // namespace

RawEdit runStep(std::shared_ptr<const KernelSolidImpl> solid, const RecipeStep& step,
                const std::vector<Subent>& items, const OperationProgress& progress)
{
    silenceKernel();
    return guardKernel(KernelFailure::kEditFailed, "", std::string(stepKindName(step.kind)),
                       "change its parameters a little",
                       [&] { return runKnownStep(std::move(solid), step, items, progress); });
}

RawEdit makeBase(const RecipeBase& base, const OperationProgress& progress)
{
    silenceKernel();
    return guardKernel(KernelFailure::kEditFailed, "", std::string(baseKindName(base.kind)),
                       "change its parameters a little",
                       [&] { return makeKnownBase(base, progress); });
}

}  // namespace zemhost
