// What a RecipeModel knows: the solid after each step, and the origin of each of its items.

#pragma once

#include "kernel/kernel_edit.h"
#include "kernel/lineage_impl.h"

#include <memory>
#include <string>
#include <vector>

namespace zemhost {

/// The solid after one step.
struct ModelState
{
    KernelSolid solid;
    ItemOrigins origins;
    Incidence incidence;
};

class RecipeModelImpl
{
public:
    /// Works through a recipe, with the origins and, where nothing differs, the solids of another.
    /// \param before  May be null.
    static RecipeModel make(Recipe recipe, const RecipeModelImpl* before,
                            const EditOptions& options);

    RecipeModel append(const RecipeStep& step, const EditOptions& options) const;

    const Recipe& recipe() const { return m_recipe; }
    const KernelSolid& solid() const { return m_states.back()->solid; }
    const SubentMap& map() const { return m_map; }
    const EditTimes& times() const { return m_times; }
    const std::vector<std::string>& warnings() const { return m_warnings; }

    RecipeModelImpl(Recipe recipe, std::shared_ptr<OriginTable> origins);

private:
    using StatePtr = std::shared_ptr<const ModelState>;

    void runBase(const EditOptions& options);
    void runSteps(const RecipeModelImpl* before, const EditOptions& options);
    void runStep(std::size_t index, const RecipeModelImpl* before, const EditOptions& options);
    void addStep(const RecipeStep& step, const std::vector<Subent>& items,
                 const EditOptions& options);
    void take(const EditTimes& times, const std::vector<std::string>& warnings);
    OperationProgress progressOf(std::size_t part, const std::string& title,
                                 const EditOptions& options) const;

    std::vector<Subent> followReferences(RecipeStep& step, const RecipeModelImpl* before);
    StatePtr stateBefore(std::uint32_t id) const;
    SubentMap mapFrom(const ModelState& old, const ModelState& found, std::string cause) const;

    Recipe m_recipe;
    std::shared_ptr<OriginTable> m_origins;
    std::vector<StatePtr> m_states;  ///< after the base and after each step
    SubentMap m_map;
    EditTimes m_times;
    std::vector<std::string> m_warnings;
};

/// \throws KernelError (bad argument) unless a recipe differs from another one only in what a
///         recompute can follow.
void checkComparable(const Recipe& before, const Recipe& after);

/// What differs between two recipes, in a few words: "recompute: dx of step 2 (cut)".
std::string changeTitle(const Recipe& before, const Recipe& after);

}  // namespace zemhost
