#include "importer/edit_extension.h"

#include "kernel/geometry_oracle.h"
#include "kernel/kernel_edit.h"
#include "kernel/part_places.h"

#include "importer/kernel_bodies.h"
#include "protocol/host_error.h"

#include <algorithm>
#include <span>
#include <utility>

namespace zemhost {

namespace {

std::span<unsigned char const> bytesOf(OdBinaryData const& data)
{
    return {data.getPtr(), data.size()};
}

/// How many values a kind of edit takes.
std::size_t valueCount(HostEdit const& edit)
{
    switch (edit.kind) {
    case HostEditKind::kHole:
        return 8;
    case HostEditKind::kFillet:
    case HostEditKind::kChamfer:
        return 1;
    case HostEditKind::kCut:
    case HostEditKind::kFuse:
        switch (edit.tool) {
        case HostToolKind::kBox:
            return 6;
        case HostToolKind::kCylinder:
            return 8;
        case HostToolKind::kSolid:
            return 3;
        case HostToolKind::kNone:
            break;
        }
        throw HostError(ExitCode::kUsage, "", "the edit needs a tool", "give one");
    default:
        return 0;
    }
}

KernelPoint pointAt(std::vector<double> const& values, std::size_t at)
{
    return {values[at], values[at + 1], values[at + 2]};
}

RecipeStep toolStep(HostEdit const& edit)
{
    const bool cuts = edit.kind == HostEditKind::kCut;
    std::vector<double> const& values = edit.values;
    switch (edit.tool) {
    case HostToolKind::kBox:
        return cuts ? RecipeStep::cutBox(pointAt(values, 0), pointAt(values, 3))
                    : RecipeStep::fuseBox(pointAt(values, 0), pointAt(values, 3));
    case HostToolKind::kCylinder:
        return cuts ? RecipeStep::cutCylinder(pointAt(values, 0), pointAt(values, 3), values[6],
                                              values[7])
                    : RecipeStep::fuseCylinder(pointAt(values, 0), pointAt(values, 3), values[6],
                                               values[7]);
    default: {
        const KernelSolid tool = KernelSolid::fromBytes(bytesOf(edit.toolBody));
        return cuts ? RecipeStep::cutSolid(tool, pointAt(values, 0))
                    : RecipeStep::fuseSolid(tool, pointAt(values, 0));
    }
    }
}

RecipeStep stepFor(HostEdit const& edit)
{
    if (edit.values.size() != valueCount(edit)) {
        throw HostError(ExitCode::kUsage, "",
                        "the edit takes " + std::to_string(valueCount(edit)) + " values", "");
    }
    switch (edit.kind) {
    case HostEditKind::kHole:
        return RecipeStep::hole(pointAt(edit.values, 0), pointAt(edit.values, 3), edit.values[6],
                                edit.values[7]);
    case HostEditKind::kFillet:
        return RecipeStep::fillet(edit.parts, edit.values[0]);
    case HostEditKind::kChamfer:
        return RecipeStep::chamfer(edit.parts, edit.values[0]);
    case HostEditKind::kRemove:
        return RecipeStep::removeFaces(edit.parts);
    case HostEditKind::kUnify:
        return RecipeStep::unify();
    default:
        return toolStep(edit);
    }
}

std::vector<HostPartFate> fatesOf(SubentMap const& map, SubentKind kind)
{
    std::vector<HostPartFate> fates;
    const int count = map.before().of(kind);
    fates.reserve(static_cast<std::size_t>(count));
    for (int number = 1; number <= count; ++number) {
        const SubentAnswer answer = map.answer({kind, number});
        HostPartFate fate;
        switch (answer.fate) {
        case SubentFate::kUnchanged:
        case SubentFate::kMoved:
            fate.answer = HostPartAnswer::kExact;
            break;
        case SubentFate::kSplit:
            fate.answer = HostPartAnswer::kSplit;
            break;
        case SubentFate::kMerged:
            fate.answer = HostPartAnswer::kMerged;
            break;
        case SubentFate::kGone:
            fate.answer = HostPartAnswer::kGone;
            break;
        case SubentFate::kAmbiguous:
            fate.answer = HostPartAnswer::kAmbiguous;
            break;
        }
        fate.parts.assign(answer.targets.begin(), answer.targets.end());
        fates.push_back(std::move(fate));
    }
    return fates;
}

HostEditResult resultOf(KernelSolid const& solid, Recipe const& recipe, SubentMap const& map)
{
    HostEditResult result;
    result.solid.bodyFormat = kernelBodyFormat();
    result.solid.body = toBinaryData(solid.toBytes());
    result.solid.recipe = toBinaryData(recipe.toBytes());
    result.counts = countsOf(solid);
    result.volumeMm3 = solid.volumeMm3();
    result.map.faces = fatesOf(map, SubentKind::kFace);
    result.map.edges = fatesOf(map, SubentKind::kEdge);
    result.map.vertices = fatesOf(map, SubentKind::kVertex);
    return result;
}

std::string stepText(RecipeStep const& step)
{
    std::string text(stepKindName(step.kind));
    if (step.tool != ToolKind::kNone) {
        text += ' ';
        text += toolKindName(step.tool);
    }
    return text;
}

/// The recipe of a solid; one that has none begins with its body.
Recipe recipeOf(HostEditedSolid const& solid, KernelSolid const& body)
{
    return solid.recipe.isEmpty() ? Recipe(RecipeBase::imported(body))
                                  : Recipe::fromBytes(bytesOf(solid.recipe));
}

std::optional<HostGeometryCheck> checkGeometry(HostEdit const& edit, KernelSolid const& before,
                                               KernelSolid const& after, SubentMap const& map)
{
    if (!edit.checksGeometry) {
        return std::nullopt;
    }
    OracleOptions options;
    options.reachMm = edit.reachMm;
    const OracleReport report = compareWithGeometry(before, after, map, options);
    return HostGeometryCheck{static_cast<std::size_t>(report.items),
                             static_cast<std::size_t>(report.differences),
                             static_cast<std::size_t>(report.blind)};
}

HostEditResult setParameter(HostEditedSolid const& solid, HostEdit const& edit,
                            EditOptions const& options)
{
    const KernelSolid body = KernelSolid::fromBytes(bytesOf(solid.body));
    const Recipe before = recipeOf(solid, body);
    Recipe after = before;
    after.setValue(edit.step, edit.parameter, edit.value);
    const RecomputeResult made = recomputeSolid(body, before, after, options);
    HostEditResult result = resultOf(made.solid, made.recipe, made.map);
    result.step = edit.step;
    result.cause = "set " + edit.parameter +
                   (edit.step == 0 ? std::string() : " (step " + std::to_string(edit.step) + ")");
    result.kernelSeconds = made.times.kernel;
    result.historySeconds = made.times.history;
    result.warnings = made.warnings;
    result.geometry = checkGeometry(edit, body, made.solid, made.map);
    return result;
}

HostEditResult appendStep(HostEditedSolid const& solid, HostEdit const& edit,
                          EditOptions const& options)
{
    const KernelSolid body = KernelSolid::fromBytes(bytesOf(solid.body));
    Recipe recipe = recipeOf(solid, body);
    const EditResult made = applyEdit(body, stepFor(edit), options);
    const std::uint32_t step = recipe.addStep(made.step);
    HostEditResult result = resultOf(made.solid, recipe, made.map);
    result.step = step;
    result.cause = stepText(made.step) + " (step " + std::to_string(step) + ")";
    result.kernelSeconds = made.times.kernel;
    result.historySeconds = made.times.history;
    result.warnings = made.warnings;
    result.geometry = checkGeometry(edit, body, made.solid, made.map);
    return result;
}

template <class Names>
std::vector<std::pair<std::string, double>> parametersOf(Names const& names,
                                                         std::vector<double> const& values)
{
    std::vector<std::pair<std::string, double>> parameters;
    for (std::size_t index = 0; index < names.size() && index < values.size(); ++index) {
        parameters.emplace_back(std::string(names[index]), values[index]);
    }
    return parameters;
}

/// The holes that a plate leaves out needn't be given: none are left out then.
bool mayBeLeftOut(std::string_view parameter)
{
    return parameter.starts_with("skip");
}

RecipeBase baseOf(std::string const& base, std::vector<double> const& values)
{
    for (BaseKind kind : {BaseKind::kBox, BaseKind::kCylinder, BaseKind::kPlate}) {
        if (baseKindName(kind) != base) {
            continue;
        }
        RecipeBase made;
        made.kind = kind;
        made.values = values;
        const auto names = parameterNames(kind);
        while (made.values.size() < names.size() && mayBeLeftOut(names[made.values.size()])) {
            made.values.push_back(0);
        }
        return made;
    }
    throw HostError(ExitCode::kUsage, base, "is nothing that a solid can begin with",
                    "name box, cylinder or plate");
}

/// \param progress  Must outlive the options.
EditOptions optionsOf(HostImportLimits const& limits, HostImportProgress const& progress)
{
    EditOptions options;
    options.timeLimit = limits.time;
    options.memoryLimitBytes = limits.memoryBytes;
    if (progress) {
        options.progress = [&progress](double fraction, std::string const& step) {
            progress(fraction, step);
            return true;
        };
    }
    return options;
}

OdDbSubentId subentId(Subent item)
{
    constexpr std::array<OdDb::SubentType, 3> kTypes = {OdDb::SubentType::kFaceSubentType,
                                                        OdDb::SubentType::kEdgeSubentType,
                                                        OdDb::SubentType::kVertexSubentType};
    return {kTypes[static_cast<std::size_t>(item.kind)], item.number};
}

HostPart partOf(KernelSolid const& solid, Subent item, KernelPoint const& middle)
{
    HostPart part;
    part.part = subentId(item);
    part.middle = middle;
    if (item.kind == SubentKind::kFace) {
        const FaceInfo face = solid.face(item.number);
        part.kind = surfaceKindName(face.kind);
        part.size = face.areaMm2;
    } else if (item.kind == SubentKind::kEdge) {
        const EdgeInfo edge = solid.edge(item.number);
        part.kind = curveKindName(edge.kind);
        part.size = edge.lengthMm;
    }
    return part;
}

}  // namespace

HostSolidFacts EditExtension::measure(HostEditedSolid const& solid) const
{
    try {
        const KernelSolid body = KernelSolid::fromBytes(bytesOf(solid.body));
        const KernelBox box = body.boundingBox();
        HostSolidFacts facts;
        facts.volumeMm3 = body.volumeMm3();
        facts.areaMm2 = body.areaMm2();
        facts.boxMin = box.min;
        facts.boxMax = box.max;
        facts.isValid = body.isValid();
        for (SubentKind kind : kSubentKinds) {
            int number = 0;
            for (KernelPoint const& middle : partMiddles(body, kind)) {
                facts.parts.push_back(partOf(body, {kind, ++number}, middle));
            }
        }
        return facts;
    } catch (KernelError const& error) {
        throw hostErrorOf(error);
    }
}

HostEditResult EditExtension::make(std::string const& base, std::vector<double> const& values,
                                   HostImportLimits const& limits,
                                   HostImportProgress const& progress) const
{
    try {
        const RecomputeResult made =
            makeSolid(Recipe(baseOf(base, values)), optionsOf(limits, progress));
        HostEditResult result = resultOf(made.solid, made.recipe, made.map);
        result.cause = "make " + base;
        result.kernelSeconds = made.times.kernel;
        return result;
    } catch (KernelError const& error) {
        throw hostErrorOf(error);
    }
}

HostEditResult EditExtension::edit(HostEditedSolid const& solid, HostEdit const& edit,
                                   HostImportLimits const& limits,
                                   HostImportProgress const& progress) const
{
    const EditOptions options = optionsOf(limits, progress);
    try {
        return edit.kind == HostEditKind::kSet ? setParameter(solid, edit, options)
                                               : appendStep(solid, edit, options);
    } catch (KernelError const& error) {
        throw hostErrorOf(error);
    }
}

std::vector<HostRecipeLine> EditExtension::lines(OdBinaryData const& bytes) const
{
    try {
        const Recipe recipe = Recipe::fromBytes(bytesOf(bytes));
        std::vector<HostRecipeLine> lines;
        RecipeBase const& base = recipe.base();
        lines.push_back({0,
                         std::string(baseKindName(base.kind)),
                         parametersOf(parameterNames(base.kind), base.values),
                         {}});
        for (RecipeStep const& step : recipe.steps()) {
            HostRecipeLine line{step.id,
                                stepText(step),
                                parametersOf(parameterNames(step.kind, step.tool), step.values),
                                {}};
            for (SubentReference const& reference : step.references) {
                line.parts.push_back(std::string(subentKindName(reference.item.kind)) + ' ' +
                                     std::to_string(reference.item.number));
            }
            lines.push_back(std::move(line));
        }
        return lines;
    } catch (KernelError const& error) {
        throw hostErrorOf(error);
    }
}

}  // namespace zemhost
