#include "kernel/kernel_guard_impl.h"
#include "kernel/lineage_match_impl.h"
#include "kernel/perform_edit_impl.h"
#include "kernel/recipe_model_impl.h"
#include "kernel/recipe_stream_impl.h"

#include <algorithm>
#include <utility>

namespace zemhost {

namespace {

[[noreturn]] void throwNotComparable(const std::string& reason, const std::string& advice)
{
    throw KernelError(KernelFailure::kBadArgument, "", reason, advice);
}

const RecipeStep* findStep(const Recipe& recipe, std::uint32_t id)
{
    for (const RecipeStep& step : recipe.steps()) {
        if (step.id == id) {
            return &step;
        }
    }
    return nullptr;
}

void checkSameForm(const RecipeStep& before, const RecipeStep& after)
{
    const bool isSame = before.kind == after.kind && before.tool == after.tool;
    if (!isSame || before.body != after.body) {
        throwNotComparable(stepTitle(after) + ": another operation or tool than before",
                           "take the step out and add a new one");
    }
}

KnownSolid known(const ModelState& state)
{
    return {KernelSolidImpl::of(state.solid).numbers(), state.origins, state.incidence};
}

std::shared_ptr<const ModelState> makeState(KernelSolid solid, ItemOrigins origins,
                                            Incidence incidence)
{
    return std::make_shared<const ModelState>(
        ModelState{std::move(solid), std::move(origins), std::move(incidence)});
}

/// Numbers and incidence of the shape that the history speaks of; the stored solid has the same.
std::shared_ptr<const ModelState> stateAfter(OriginTable& table, const ItemOrigins& before,
                                             std::uint32_t step, const PerformedEdit& edit)
{
    Incidence incidence(*edit.numbers);
    ItemOrigins origins =
        originsAfter(table, before, {step, edit.raw, edit.images, *edit.numbers, incidence});
    return makeState(edit.solid, std::move(origins), std::move(incidence));
}

std::string listOf(const std::vector<std::string>& words)
{
    constexpr std::size_t kMostWords = 4;
    std::string text;
    for (std::size_t index = 0; index < words.size() && index < kMostWords; ++index) {
        text += (index == 0 ? "" : ", ") + words[index];
    }
    return words.size() > kMostWords ? text + " and more" : text;
}

void addChangedValues(std::span<const std::string_view> names, const std::vector<double>& before,
                      const std::vector<double>& after, const std::string& where,
                      std::vector<std::string>& changes)
{
    for (std::size_t index = 0; index < names.size(); ++index) {
        if (before[index] != after[index]) {
            changes.push_back(std::string(names[index]) + " of " + where);
        }
    }
}

void addChangesOfStep(const RecipeStep& after, const RecipeStep* before,
                      std::vector<std::string>& changes)
{
    const std::string where = stepTitle(after);
    if (before == nullptr) {
        changes.push_back(where + " added");
        return;
    }
    addChangedValues(parameterNames(after.kind, after.tool), before->values, after.values, where,
                     changes);
    if (before->isSuppressed != after.isSuppressed) {
        changes.push_back(where + (after.isSuppressed ? " suppressed" : " applied again"));
    }
    if (before->references != after.references) {
        changes.push_back("items of " + where);
    }
}

}  // namespace

void checkComparable(const Recipe& before, const Recipe& after)
{
    if (before.base().kind != after.base().kind || before.base().body != after.base().body) {
        throwNotComparable("the recipe begins with another solid than before",
                           "make a new solid of it");
    }
    std::size_t last = 0;
    for (const RecipeStep& step : after.steps()) {
        const RecipeStep* old = findStep(before, step.id);
        if (old == nullptr) {
            continue;
        }
        checkSameForm(*old, step);
        const auto place = static_cast<std::size_t>(old - before.steps().data()) + 1;
        if (place < last) {
            throwNotComparable(stepTitle(step) + ": it stands before steps that it stood behind",
                               "leave the steps in their order");
        }
        last = place;
    }
}

std::string changeTitle(const Recipe& before, const Recipe& after)
{
    std::vector<std::string> changes;
    addChangedValues(parameterNames(after.base().kind), before.base().values, after.base().values,
                     std::string(baseKindName(after.base().kind)), changes);
    for (const RecipeStep& step : after.steps()) {
        addChangesOfStep(step, findStep(before, step.id), changes);
    }
    for (const RecipeStep& step : before.steps()) {
        if (findStep(after, step.id) == nullptr) {
            changes.push_back(stepTitle(step) + " taken out");
        }
    }
    return changes.empty() ? "recompute" : "recompute: " + listOf(changes);
}

//--------------------------------------------------------------------------------------------------

RecipeModelImpl::RecipeModelImpl(Recipe recipe, std::shared_ptr<OriginTable> origins)
    : m_recipe(std::move(recipe)), m_origins(std::move(origins))
{
}

RecipeModel RecipeModelImpl::make(Recipe recipe, const RecipeModelImpl* before,
                                  const EditOptions& options)
{
    recipe.check();
    std::string cause;
    if (before != nullptr) {
        checkComparable(before->m_recipe, recipe);
        cause = changeTitle(before->m_recipe, recipe);
    }
    auto model = std::make_shared<RecipeModelImpl>(
        std::move(recipe), before != nullptr ? before->m_origins : std::make_shared<OriginTable>());
    if (before != nullptr && before->m_recipe.base() == model->m_recipe.base()) {
        model->m_states.push_back(before->m_states.front());
    } else {
        model->runBase(options);
    }
    model->runSteps(before, options);
    if (before == nullptr) {
        model->m_map = SubentMap::identity(model->solid().counts());
    } else {
        const Stopwatch watch;
        model->m_map =
            model->mapFrom(*before->m_states.back(), *model->m_states.back(), std::move(cause));
        model->m_times.history += watch.seconds();
    }
    return RecipeModel(std::move(model));
}

void RecipeModelImpl::runBase(const EditOptions& options)
{
    const PerformedEdit edit =
        performBase(m_recipe.base(), options, progressOf(0, "base", options));
    take(edit.times, edit.warnings);
    const Stopwatch watch;
    if (edit.raw.history.IsNull()) {
        const ItemNumbers& numbers = KernelSolidImpl::of(edit.solid).numbers();
        m_states.push_back(
            makeState(edit.solid, originsOfBase(*m_origins, numbers.counts()), Incidence(numbers)));
    } else {
        const SubentCounts counts = edit.raw.source->numbers().counts();
        m_states.push_back(stateAfter(*m_origins, originsOfBase(*m_origins, counts), 0, edit));
    }
    m_times.history += watch.seconds();
}

void RecipeModelImpl::runSteps(const RecipeModelImpl* before, const EditOptions& options)
{
    for (std::size_t index = 0; index < m_recipe.steps().size(); ++index) {
        runStep(index, before, options);
    }
}

void RecipeModelImpl::runStep(std::size_t index, const RecipeModelImpl* before,
                              const EditOptions& options)
{
    RecipeStep step = m_recipe.steps()[index];
    if (step.isSuppressed) {
        m_states.push_back(m_states.back());
        return;
    }
    const bool isUntouched = before != nullptr && index + 1 < before->m_states.size() &&
                             before->m_states[index] == m_states.back() &&
                             before->m_recipe.steps()[index] == step;
    if (isUntouched) {
        m_states.push_back(before->m_states[index + 1]);
        return;
    }
    const std::vector<Subent> items = followReferences(step, before);
    m_recipe.setReferences(step.id, step.references);
    addStep(step, items, options);
}

void RecipeModelImpl::addStep(const RecipeStep& step, const std::vector<Subent>& items,
                              const EditOptions& options)
{
    const StatePtr last = m_states.back();
    const PerformedEdit edit = performStep(last->solid, step, items, options,
                                           progressOf(m_states.size(), stepTitle(step), options));
    take(edit.times, edit.warnings);
    m_map = edit.map;
    const Stopwatch watch;
    m_states.push_back(stateAfter(*m_origins, last->origins, step.id, edit));
    m_times.history += watch.seconds();
}

void RecipeModelImpl::take(const EditTimes& times, const std::vector<std::string>& warnings)
{
    m_times.kernel += times.kernel;
    m_times.history += times.history;
    m_times.storing += times.storing;
    m_times.checking += times.checking;
    m_warnings.insert(m_warnings.end(), warnings.begin(), warnings.end());
}

OperationProgress RecipeModelImpl::progressOf(std::size_t part, const std::string& title,
                                              const EditOptions& options) const
{
    if (!options.progress) {
        return {};
    }
    const double parts = static_cast<double>(m_recipe.steps().size() + 1);
    return [&options, part, parts, title](double fraction) {
        return options.progress((static_cast<double>(part) + fraction) / parts, title);
    };
}

//--------------------------------------------------------------------------------------------------

/// The items that a step works on. References of a step that the old recipe has too are looked up in
/// the old solid first, and followed from there.
std::vector<Subent> RecipeModelImpl::followReferences(RecipeStep& step,
                                                      const RecipeModelImpl* before)
{
    const StatePtr old = before == nullptr ? nullptr : before->stateBefore(step.id);
    if (old == nullptr || old == m_states.back() || step.references.empty()) {
        return resolveReferences(m_states.back()->solid, step);
    }
    const std::vector<Subent> oldItems = resolveReferences(old->solid, step);
    const Stopwatch watch;
    const SubentMap map = mapFrom(*old, *m_states.back(), "");
    m_times.history += watch.seconds();
    std::vector<Subent> items;
    for (const Subent& item : oldItems) {
        const SubentAnswer answer = map.answer(item);
        const bool isLost =
            answer.fate == SubentFate::kGone || answer.fate == SubentFate::kAmbiguous;
        if (isLost) {
            const std::string what =
                answer.fate == SubentFate::kGone ? " is gone" : " is ambiguous";
            throw KernelError(KernelFailure::kLostReference, "",
                              stepTitle(step) + ": " + std::string(subentKindName(item.kind)) +
                                  " " + std::to_string(item.number) + " that it works on" + what,
                              "suppress the step, or give it other items");
        }
        for (const int target : answer.targets) {
            items.push_back({item.kind, target});
        }
    }
    std::sort(items.begin(), items.end());
    items.erase(std::unique(items.begin(), items.end()), items.end());
    step.references.clear();
    for (const Subent& item : items) {
        step.references.push_back({item});
    }
    return resolveReferences(m_states.back()->solid, step);
}

RecipeModelImpl::StatePtr RecipeModelImpl::stateBefore(std::uint32_t id) const
{
    const RecipeStep* step = findStep(m_recipe, id);
    if (step == nullptr) {
        return nullptr;
    }
    return m_states[static_cast<std::size_t>(step - m_recipe.steps().data())];
}

SubentMap RecipeModelImpl::mapFrom(const ModelState& old, const ModelState& found,
                                   std::string cause) const
{
    if (&old == &found) {
        return SubentMap::identity(found.solid.counts());
    }
    return guardKernel(KernelFailure::kEditFailed, "", "finding items again", "", [&] {
        return matchByOrigin(*m_origins, known(old), known(found), std::move(cause));
    });
}

RecipeModel RecipeModelImpl::append(const RecipeStep& step, const EditOptions& options) const
{
    auto model = std::make_shared<RecipeModelImpl>(m_recipe, m_origins);
    model->m_states = m_states;
    const std::uint32_t id = model->m_recipe.addStep(step);
    RecipeStep added = model->m_recipe.step(id);
    if (added.isSuppressed) {
        model->m_states.push_back(m_states.back());
        model->m_map = SubentMap::identity(solid().counts());
        return RecipeModel(std::move(model));
    }
    const std::vector<Subent> items = resolveReferences(solid(), added);
    model->m_recipe.setReferences(id, added.references);
    model->addStep(added, items, options);
    return RecipeModel(std::move(model));
}

//--------------------------------------------------------------------------------------------------

RecipeModel::RecipeModel(std::shared_ptr<const RecipeModelImpl> impl) : m_impl(std::move(impl)) {}

RecipeModel RecipeModel::make(const Recipe& recipe, const EditOptions& options)
{
    return RecipeModelImpl::make(recipe, nullptr, options);
}

const Recipe& RecipeModel::recipe() const
{
    return m_impl->recipe();
}

const KernelSolid& RecipeModel::solid() const
{
    return m_impl->solid();
}

const SubentMap& RecipeModel::map() const
{
    return m_impl->map();
}

const EditTimes& RecipeModel::times() const
{
    return m_impl->times();
}

const std::vector<std::string>& RecipeModel::warnings() const
{
    return m_impl->warnings();
}

RecipeModel RecipeModel::append(const RecipeStep& step, const EditOptions& options) const
{
    return m_impl->append(step, options);
}

RecipeModel RecipeModel::recompute(const Recipe& changed, const EditOptions& options) const
{
    return RecipeModelImpl::make(changed, m_impl.get(), options);
}

}  // namespace zemhost
