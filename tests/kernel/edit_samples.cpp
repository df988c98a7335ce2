#include "edit_samples.h"

#include <cmath>
#include <stdexcept>
#include <string>

namespace kernel_test {

using zemhost::KernelPoint;
using zemhost::KernelSolid;
using zemhost::Recipe;
using zemhost::RecipeBase;
using zemhost::RecipeModel;
using zemhost::RecipeStep;
using zemhost::SubentKind;

zemhost::EditOptions inThisProcess()
{
    zemhost::EditOptions options;
    options.isolation = zemhost::EditIsolation::kSameProcess;
    return options;
}

namespace {

RecipeModel bracketModel()
{
    RecipeModel model = RecipeModel::make(Recipe(RecipeBase::box(100, 60, 12)));
    model = model.append(RecipeStep::fuseBox({0, 0, 0}, {12, 60, 60}));
    model = model.append(RecipeStep::unify());
    const std::vector<int> corners = {itemAt(model.solid(), SubentKind::kEdge, {100, 0, 6}),
                                      itemAt(model.solid(), SubentKind::kEdge, {100, 60, 6})};
    return model.append(RecipeStep::fillet(corners, 8));
}

}  // namespace

KernelSolid makeBracket()
{
    return bracketModel().solid();
}

Recipe bracketRecipe()
{
    Recipe recipe = bracketModel().recipe();
    for (const double x : {35.0, 80.0}) {
        for (const double y : {15.0, 45.0}) {
            recipe.addStep(RecipeStep::hole({x, y, 20}, {0, 0, -1}, 4));
        }
    }
    return recipe;
}

std::vector<int> itemsAt(const KernelSolid& solid, SubentKind kind, const KernelPoint& point)
{
    constexpr double kReachMm = 1e-6;
    std::vector<int> found;
    for (int number = 1; number <= solid.counts().of(kind); ++number) {
        const KernelPoint mark = markedReference(solid, {kind, number}).mark;
        const double distance =
            std::hypot(mark[0] - point[0], mark[1] - point[1], mark[2] - point[2]);
        if (distance < kReachMm) {
            found.push_back(number);
        }
    }
    return found;
}

int itemAt(const KernelSolid& solid, SubentKind kind, const KernelPoint& point)
{
    const std::vector<int> found = itemsAt(solid, kind, point);
    if (found.size() != 1) {
        throw std::logic_error(std::to_string(found.size()) + " items at that place");
    }
    return found.front();
}

std::vector<int> facesOf(const KernelSolid& solid, zemhost::SurfaceKind kind)
{
    std::vector<int> faces;
    for (int number = 1; number <= solid.faceCount(); ++number) {
        if (solid.face(number).kind == kind) {
            faces.push_back(number);
        }
    }
    return faces;
}

int countOf(const zemhost::SubentMap& map, zemhost::SubentFate fate)
{
    int count = 0;
    for (const SubentKind kind : zemhost::kSubentKinds) {
        count += map.tally(kind).of(fate);
    }
    return count;
}

}  // namespace kernel_test
