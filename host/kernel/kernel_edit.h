// Edits of solids: one operation, or a whole recipe again with other parameters.

#pragma once

#include "kernel/kernel_solid.h"
#include "kernel/recipe.h"
#include "kernel/subent_map.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zemhost {

class RecipeModelImpl;

/// Told how far an edit has come, 0 to 1 and never falling, and its step; answers whether to go on.
using EditProgress = std::function<bool(double fraction, const std::string& step)>;

/// Where the kernel's algorithms run.
enum class EditIsolation
{
    /// In a child process with limits: a crash, an endless loop or a flood of memory ends as a
    /// KernelError. No thread of the program may be inside the kernel meanwhile.
    kChildProcess,

    /// In this process, without limits.
    kSameProcess,
};

/// How much one edit may use up, and where it runs.
struct EditOptions
{
    EditIsolation isolation = EditIsolation::kChildProcess;

    /// Wall clock for the whole edit.
    std::chrono::milliseconds timeLimit = std::chrono::minutes(5);

    /// Memory of the child process on top of the program's own.
    std::uint64_t memoryLimitBytes = std::uint64_t{8} << 30;

    /// Whether a result in which the kernel's check finds faults is refused, where the solid before
    /// the edit had none.
    bool refusesFaults = true;

    EditProgress progress;  ///< may be empty
};

/// What an edit spent its time on, in seconds.
struct EditTimes
{
    double kernel = 0;    ///< the kernel's algorithms
    double history = 0;   ///< finding out what became of faces, edges and vertices
    double storing = 0;   ///< writing and reading the result
    double checking = 0;  ///< the kernel's check of the result
};

/// A reference to an item with the mark of where it is: of an edge the middle of points along it, of a
/// vertex its point, of a face a point between its border and the middle of its surface's parameters.
/// \throws KernelError (bad argument) for an item that the solid doesn't have.
SubentReference markedReference(const KernelSolid& solid, Subent item);

/// What one operation brought.
struct EditResult
{
    KernelSolid solid;
    SubentMap map;    ///< from the solid before to `solid`
    RecipeStep step;  ///< as it was given, with its references marked
    EditTimes times;
    std::vector<std::string> warnings;  ///< lower case, no final stop
};

/// Applies one operation to a solid.
///
/// The map rests on the kernel's history where that can be trusted, checked against the geometry of
/// each item; what the history doesn't mention is the same shape as before, or is looked for by its
/// geometry. An item whose fate neither tells for sure is ambiguous. A cut may leave several pieces:
/// see KernelSolid::lumpCount.
///
/// \throws KernelError: (bad argument) for a step that makes no sense on this solid, (lost reference)
///         for a reference that isn't where its mark says, (edit failed) if the kernel can't do it,
///         if nothing is left, or if the result is faulty, time or memory limit, kernel crash,
///         cancelled. `solid` is then, as always, unchanged.
EditResult applyEdit(const KernelSolid& solid, const RecipeStep& step,
                     const EditOptions& options = {});

/// What a recompute brought.
struct RecomputeResult
{
    KernelSolid solid;
    SubentMap map;  ///< from the solid before to `solid`
    Recipe recipe;  ///< the changed one, with the references that its steps use now
    EditTimes times;
    std::vector<std::string> warnings;
};

/// Works through a changed recipe and finds every item of the old solid in the new one.
///
/// No history of the kernel leads from one to the other. Every item has an origin instead: the item
/// of the base or the tool that it is a part of, or the items whose meeting made it. Items of old and
/// new solid with one origin belong together; where there are several, as in a face that was split,
/// their neighbours tell them apart, then their geometry, or they are ambiguous.
///
/// References of steps follow: a fillet on an edge that is in two pieces now works on both.
///
/// \param solid   The solid as stored; it must be what `before` makes, in whatever order.
/// \param after   `before` with other values, other references, steps suppressed, left out or added.
///                The base and the steps that both have are of the same kind, with the same bytes, and
///                in the same order. References of steps that both have are by the numbers of the old
///                solid before the step, those of added steps by the numbers of the new one.
/// \throws KernelError as applyEdit; (lost reference) also if a step's reference is gone or ambiguous
///         in the new solid; (bad argument) if `solid` is not what `before` makes.
RecomputeResult recomputeSolid(const KernelSolid& solid, const Recipe& before, const Recipe& after,
                               const EditOptions& options = {});

/// Works through a recipe that no solid is there for. The map has every item unchanged.
///
/// \throws KernelError as applyEdit.
RecomputeResult makeSolid(const Recipe& recipe, const EditOptions& options = {});

/// A recipe together with the solid that it makes, and with what is known of the origin of each item.
///
/// A value: copies share one immutable content. For programs that change one recipe again and again,
/// since recomputeSolid works through the old recipe too. Everything runs in this process.
class RecipeModel
{
public:
    /// Works through a recipe.
    /// \throws KernelError as applyEdit.
    static RecipeModel make(const Recipe& recipe, const EditOptions& options = {});

    /// The recipe, with the references marked.
    const Recipe& recipe() const;
    const KernelSolid& solid() const;

    /// What the last change brought about: the map from the solid before it. A model that `make`
    /// made has every item unchanged.
    const SubentMap& map() const;
    const EditTimes& times() const;
    const std::vector<std::string>& warnings() const;

    /// The model with one more step. \throws KernelError as applyEdit.
    RecipeModel append(const RecipeStep& step, const EditOptions& options = {}) const;

    /// The model of a changed recipe. \throws KernelError as recomputeSolid.
    RecipeModel recompute(const Recipe& changed, const EditOptions& options = {}) const;

private:
    friend class RecipeModelImpl;

    explicit RecipeModel(std::shared_ptr<const RecipeModelImpl> impl);

    std::shared_ptr<const RecipeModelImpl> m_impl;
};

}  // namespace zemhost
