// One step on a solid, from its references to the numbered result.

#pragma once

#include "kernel/edit_operation_impl.h"
#include "kernel/history_translation_impl.h"
#include "kernel/kernel_edit.h"

#include <memory>
#include <string>
#include <vector>

namespace zemhost {

/// What one step brought, with all that a lineage needs.
struct PerformedEdit
{
    KernelSolid solid;
    RawEdit raw;
    std::shared_ptr<const ItemNumbers> numbers;  ///< of the shape that the history speaks of
    ItemImages images;
    SubentMap map;
    EditTimes times;
    std::vector<std::string> warnings;
};

/// Finds the items that a step's references stand for, and marks the references with their places.
/// \throws KernelError (bad argument) for a number that the solid doesn't have, (lost reference) for
///         an item that is neither where the mark says nor found there under another number.
std::vector<Subent> resolveReferences(const KernelSolid& solid, RecipeStep& step);

/// Applies a step whose references stand for `items`.
/// \throws KernelError as applyEdit.
PerformedEdit performStep(const KernelSolid& solid, const RecipeStep& step,
                          const std::vector<Subent>& items, const EditOptions& options,
                          const OperationProgress& progress);

/// Makes what a recipe begins with. The images are those of the box that a plate's holes are cut
/// out of, if there are any.
/// \throws KernelError as RecipeModel::make.
PerformedEdit performBase(const RecipeBase& base, const EditOptions& options,
                          const OperationProgress& progress);

/// Seconds since a moment, for EditTimes.
class Stopwatch
{
public:
    double seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

}  // namespace zemhost
