#include "kernel/item_geometry_impl.h"
#include "kernel/kernel_guard_impl.h"
#include "kernel/perform_edit_impl.h"
#include "kernel/recipe_stream_impl.h"

#include <BRepCheck_Analyzer.hxx>
#include <BRep_Tool.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Vertex.hxx>

#include <utility>

namespace zemhost {

namespace {

ItemMark markIn(const SubentReference& reference)
{
    const KernelPoint& mark = reference.mark;
    return {gp_Pnt(mark[0], mark[1], mark[2]), reference.sizeMm};
}

std::string itemTitle(Subent item)
{
    return std::string(subentKindName(item.kind)) + " " + std::to_string(item.number);
}

/// The number of the one item where a reference says.
int findByMark(const ItemNumbers& numbers, const SubentReference& reference,
               const std::string& where)
{
    const SubentKind kind = reference.item.kind;
    const ItemMark wanted = markIn(reference);
    int found = 0;
    for (int number = 1; number <= numbers.of(kind).Extent(); ++number) {
        if (!isSameMark(markOf(numbers.of(kind)(number), kind), wanted)) {
            continue;
        }
        if (found != 0) {
            throw KernelError(KernelFailure::kLostReference, "",
                              where + ": " + itemTitle(reference.item) +
                                  " has another number now, and several items lie where it lay",
                              "name the item again");
        }
        found = number;
    }
    if (found == 0) {
        throw KernelError(KernelFailure::kLostReference, "",
                          where + ": " + itemTitle(reference.item) +
                              " isn't where it lay, and no other item is",
                          "name the item again");
    }
    return found;
}

void resolve(const KernelSolidImpl& solid, const std::string& where, SubentReference& reference)
{
    const SubentKind kind = reference.item.kind;
    const int count = solid.numbers().counts().of(kind);
    const bool isNumber = reference.item.number >= 1 && reference.item.number <= count;
    if (!isNumber && !reference.isMarked) {
        throw KernelError(KernelFailure::kBadArgument, "",
                          where + ": " + itemTitle(reference.item) + " of a solid that has " +
                              std::to_string(count),
                          "count from 1");
    }
    if (reference.isMarked) {
        const bool isThere =
            isNumber && isSameMark(markOf(solid.item(reference.item), kind), markIn(reference));
        if (!isThere) {
            reference.item.number = findByMark(solid.numbers(), reference, where);
        }
    }
    const ItemMark mark = markOf(solid.item(reference.item), kind);
    reference.isMarked = true;
    reference.mark = {mark.centre.X(), mark.centre.Y(), mark.centre.Z()};
    reference.sizeMm = mark.size;
}

/// The numbers go with the shape on its way through its bytes; a result in which they don't would
/// make every answer wrong.
void checkNumbers(const ItemNumbers& made, const ItemNumbers& stored)
{
    bool isSame = made.counts() == stored.counts();
    const int count = isSame ? made.counts().vertices : 0;
    for (int number = 1; number <= count; ++number) {
        const Subent vertex{SubentKind::kVertex, number};
        const gp_Pnt one = BRep_Tool::Pnt(TopoDS::Vertex(made.item(vertex)));
        const gp_Pnt other = BRep_Tool::Pnt(TopoDS::Vertex(stored.item(vertex)));
        isSame = isSame && one.IsEqual(other, 1e-9 * (1 + one.XYZ().Modulus()));
    }
    if (!isSame) {
        throw KernelError(KernelFailure::kEditFailed, "",
                          "the result changes when it is stored and read again",
                          "change the parameters a little");
    }
}

bool isFaulty(const KernelSolid& solid)
{
    return guardKernel(
        KernelFailure::kEditFailed, "", "checking the result", "change the parameters a little",
        [&] { return !BRepCheck_Analyzer(KernelSolidImpl::of(solid).shape()).IsValid(); });
}

void checkResult(const KernelSolid* before, const std::string& where, PerformedEdit& edit)
{
    const Stopwatch watch;
    const bool isBad = isFaulty(edit.solid);
    if (isBad && (before == nullptr || !isFaulty(*before))) {
        throw KernelError(KernelFailure::kEditFailed, "",
                          where + ": the kernel's check finds faults in the result",
                          "change the parameters a little");
    }
    if (isBad) {
        edit.warnings.push_back(where + ": the solid had faults before, and has them still");
    }
    edit.times.checking = watch.seconds();
}

/// Faces that were to be removed must not live on, whatever the kernel says.
void checkRemoved(const RecipeStep& step, const std::vector<Subent>& items,
                  const PerformedEdit& edit)
{
    if (step.kind != StepKind::kRemoveFaces) {
        return;
    }
    for (const Subent& item : items) {
        if (edit.map.answer(item).fate != SubentFate::kGone) {
            throw KernelError(KernelFailure::kEditFailed, "",
                              stepTitle(step) + ": " + itemTitle(item) + " is still there",
                              "name all faces of the feature, and no others");
        }
    }
}

bool changesNothing(const SubentMap& map)
{
    for (const SubentKind kind : kSubentKinds) {
        const SubentTally tally = map.tally(kind);
        const int kept = tally.of(SubentFate::kUnchanged) + tally.of(SubentFate::kMoved);
        if (kept != tally.total() || tally.born != 0) {
            return false;
        }
    }
    return true;
}

/// From the kernel's result to a numbered solid, with what became of each item.
PerformedEdit finish(RawEdit raw, const std::string& cause)
{
    const Stopwatch history;
    const auto after = std::make_shared<const ItemNumbers>(raw.shape);
    ItemImages images;
    SubentMap map;
    if (!raw.history.IsNull()) {
        images = translateHistory(raw, *after);
        map = mapOfImages(images, raw.source->numbers().counts(), after->counts(), cause);
    }
    EditTimes times;
    times.kernel = raw.seconds;
    times.history = history.seconds();
    const Stopwatch storing;
    KernelSolid solid = KernelSolidImpl::fromShape(raw.shape);
    checkNumbers(*after, KernelSolidImpl::of(solid).numbers());
    times.storing = storing.seconds();
    return {std::move(solid), std::move(raw), after, std::move(images), std::move(map), times, {}};
}

}  // namespace

SubentReference markedReference(const KernelSolid& solid, Subent item)
{
    SubentReference reference;
    reference.item = item;
    guardKernel(KernelFailure::kDamagedBytes, "", itemTitle(item), "",
                [&] { resolve(KernelSolidImpl::of(solid), "reference", reference); });
    return reference;
}

std::vector<Subent> resolveReferences(const KernelSolid& solid, RecipeStep& step)
{
    const std::string where = stepTitle(step);
    std::vector<Subent> items;
    for (SubentReference& reference : step.references) {
        guardKernel(KernelFailure::kLostReference, "", where, "name the items again",
                    [&] { resolve(KernelSolidImpl::of(solid), where, reference); });
        items.push_back(reference.item);
    }
    return items;
}

PerformedEdit performStep(const KernelSolid& solid, const RecipeStep& step,
                          const std::vector<Subent>& items, const EditOptions& options,
                          const OperationProgress& progress)
{
    const std::string where = stepTitle(step);
    RawEdit raw = runStep(KernelSolidImpl::share(solid), step, items, progress);
    PerformedEdit edit =
        guardKernel(KernelFailure::kEditFailed, "", where, "change its parameters a little",
                    [&] { return finish(std::move(raw), where); });
    checkRemoved(step, items, edit);
    if (options.refusesFaults) {
        checkResult(&solid, where, edit);
    }
    if (changesNothing(edit.map)) {
        edit.warnings.push_back(where + ": nothing has changed");
    }
    return edit;
}

PerformedEdit performBase(const RecipeBase& base, const EditOptions& options,
                          const OperationProgress& progress)
{
    if (base.kind == BaseKind::kImported) {
        // Kept as it is: its bytes would change with every pass through the kernel's reader.
        return {KernelSolid::fromBytes(base.body), RawEdit(), nullptr, {}, {}, {}, {}};
    }
    const std::string where(baseKindName(base.kind));
    RawEdit raw = makeBase(base, progress);
    PerformedEdit edit =
        guardKernel(KernelFailure::kEditFailed, "", where, "change its parameters a little",
                    [&] { return finish(std::move(raw), where); });
    if (options.refusesFaults) {
        checkResult(nullptr, where, edit);
    }
    return edit;
}

}  // namespace zemhost
