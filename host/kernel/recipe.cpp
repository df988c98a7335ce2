#include "kernel/recipe.h"

#include "kernel/byte_stream_impl.h"
#include "kernel/recipe_stream_impl.h"
#include "kernel/sealed_bytes_impl.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace zemhost {

namespace {

constexpr SealedForm kRecipeForm = {{'Z', 'E', 'M', 'R', 'E', 'C', 'I', 'P'},
                                    1,
                                    "stored recipe",
                                    "take the solid from an earlier copy"};

constexpr double kSmallestSizeMm = 1e-7;
constexpr double kLargestValueMm = 1e9;
constexpr double kMostHolesInARow = 1000;

using Names = std::span<const std::string_view>;

constexpr std::array<std::string_view, 3> kBoxNames = {"dx", "dy", "dz"};
constexpr std::array<std::string_view, 2> kCylinderNames = {"radius", "height"};
constexpr std::array<std::string_view, 6> kPlateNames = {"count",  "pitch",     "thickness",
                                                         "radius", "skipEvery", "skipFirst"};
constexpr std::array<std::string_view, 6> kToolBoxNames = {"x", "y", "z", "dx", "dy", "dz"};
constexpr std::array<std::string_view, 8> kToolCylinderNames = {"x",  "y",  "z",      "ax",
                                                                "ay", "az", "radius", "height"};
constexpr std::array<std::string_view, 3> kToolImportedNames = {"x", "y", "z"};
constexpr std::array<std::string_view, 8> kHoleNames = {"x",  "y",  "z",      "ax",
                                                        "ay", "az", "radius", "depth"};
constexpr std::array<std::string_view, 1> kFilletNames = {"radius"};
constexpr std::array<std::string_view, 1> kChamferNames = {"distance"};

//--------------------------------------------------------------------------------------------------
// Checks

[[noreturn]] void throwBadStep(const std::string& where, const std::string& reason)
{
    throw KernelError(KernelFailure::kBadArgument, "", where + ": " + reason, "");
}

/// Parameters that are lengths of something solid, and so more than nothing.
bool isSize(std::string_view name)
{
    static constexpr std::array<std::string_view, 8> kSizes = {
        "dx", "dy", "dz", "radius", "height", "pitch", "thickness", "distance"};
    return std::find(kSizes.begin(), kSizes.end(), name) != kSizes.end();
}

bool isCount(std::string_view name)
{
    return name == "count" || name == "skipEvery" || name == "skipFirst";
}

/// As short as tells it from its neighbours.
std::string numberText(double value)
{
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value);
    return {text.data(), end.ptr};
}

void checkValue(const std::string& where, std::string_view name, double value)
{
    const std::string what = std::string(name) + " " + numberText(value);
    if (!std::isfinite(value) || std::abs(value) > kLargestValueMm) {
        throwBadStep(where, what + " is too large");
    }
    if (isSize(name) && value <= kSmallestSizeMm) {
        throwBadStep(where, what + " is no size; give more than 1e-7 mm");
    }
    if (name == "depth" && value != 0 && value <= kSmallestSizeMm) {
        throwBadStep(where, what + " is no depth; give 0 to go through, or more than 1e-7 mm");
    }
    const double least = name == "count" ? 1 : 0;
    if (isCount(name) && (value != std::floor(value) || value < least || value > kLargestValueMm)) {
        throwBadStep(where,
                     what + " is no whole number from " + std::to_string(int(least)) + " on");
    }
    if (name == "count" && value > kMostHolesInARow) {
        throwBadStep(where, what + " is more than " + std::to_string(int(kMostHolesInARow)));
    }
}

void checkValues(const std::string& where, Names names, const std::vector<double>& values)
{
    if (names.size() != values.size()) {
        throwBadStep(where, std::to_string(values.size()) + " parameters, expected " +
                                std::to_string(names.size()));
    }
    for (std::size_t index = 0; index < names.size(); ++index) {
        checkValue(where, names[index], values[index]);
    }
}

double valueOf(Names names, const std::vector<double>& values, std::string_view name)
{
    const auto found = std::find(names.begin(), names.end(), name);
    return values[static_cast<std::size_t>(found - names.begin())];
}

void checkPlate(const std::vector<double>& values)
{
    const double pitch = valueOf(kPlateNames, values, "pitch");
    const double radius = valueOf(kPlateNames, values, "radius");
    if (2 * radius >= pitch) {
        throwBadStep("plate", "holes of radius " + numberText(radius) +
                                  " touch one another at a pitch of " + numberText(pitch));
    }
}

void checkBase(const RecipeBase& base)
{
    const std::string where(baseKindName(base.kind));
    if (base.kind > BaseKind::kPlate) {
        throwBadStep("base", "of an unknown kind");
    }
    checkValues(where, parameterNames(base.kind), base.values);
    if (base.body.empty() != (base.kind != BaseKind::kImported)) {
        throwBadStep(where,
                     base.body.empty() ? "no solid" : "bytes of a solid that it doesn't use");
    }
    if (base.kind == BaseKind::kPlate) {
        checkPlate(base.values);
    }
}

bool usesTool(StepKind kind)
{
    return kind == StepKind::kCut || kind == StepKind::kFuse;
}

void checkTool(const std::string& where, const RecipeStep& step)
{
    if (usesTool(step.kind) != (step.tool != ToolKind::kNone)) {
        throwBadStep(where, usesTool(step.kind) ? "no tool" : "a tool that it doesn't use");
    }
    if (step.body.empty() != (step.tool != ToolKind::kImported)) {
        throwBadStep(where, step.body.empty() ? "no solid as a tool"
                                              : "bytes of a solid that it doesn't use");
    }
}

void checkDirection(const std::string& where, const RecipeStep& step)
{
    const Names names = parameterNames(step.kind, step.tool);
    if (std::find(names.begin(), names.end(), "ax") == names.end()) {
        return;
    }
    const double length =
        std::hypot(valueOf(names, step.values, "ax"), valueOf(names, step.values, "ay"),
                   valueOf(names, step.values, "az"));
    if (length <= kSmallestSizeMm) {
        throwBadStep(where, "a direction without length");
    }
}

/// The kind of item that a step works on; false if it works on none.
bool referenceKind(StepKind step, SubentKind& kind)
{
    kind = step == StepKind::kRemoveFaces ? SubentKind::kFace : SubentKind::kEdge;
    return step == StepKind::kRemoveFaces || step == StepKind::kFillet ||
           step == StepKind::kChamfer;
}

void checkReferences(const std::string& where, const RecipeStep& step)
{
    SubentKind kind = SubentKind::kFace;
    if (!referenceKind(step.kind, kind)) {
        if (!step.references.empty()) {
            throwBadStep(where, "it works on the whole solid, not on single items");
        }
        return;
    }
    if (step.references.empty()) {
        throwBadStep(where, "no " + std::string(subentKindName(kind)) + " to work on");
    }
    std::vector<Subent> items;
    for (const SubentReference& reference : step.references) {
        if (reference.item.kind != kind || reference.item.number < 1) {
            throwBadStep(where, "it works on numbered " + std::string(subentKindName(kind)) + "s");
        }
        items.push_back(reference.item);
    }
    std::sort(items.begin(), items.end());
    if (std::adjacent_find(items.begin(), items.end()) != items.end()) {
        throwBadStep(where, "one " + std::string(subentKindName(kind)) + " is named twice");
    }
}

}  // namespace

std::string stepTitle(const RecipeStep& step)
{
    const std::string name(stepKindName(step.kind));
    return step.id == 0 ? name : "step " + std::to_string(step.id) + " (" + name + ")";
}

void checkStep(const RecipeStep& step)
{
    if (step.kind > StepKind::kUnify || step.tool > ToolKind::kImported) {
        throwBadStep("step " + std::to_string(step.id), "of an unknown kind");
    }
    if (step.id == std::numeric_limits<std::uint32_t>::max()) {
        throwBadStep("step " + std::to_string(step.id), "its number is too large");
    }
    const std::string where = stepTitle(step);
    checkTool(where, step);
    checkValues(where, parameterNames(step.kind, step.tool), step.values);
    checkDirection(where, step);
    checkReferences(where, step);
}

namespace {

std::size_t indexOfName(const std::string& where, Names names, std::string_view name)
{
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) {
        std::string known;
        for (const std::string_view one : names) {
            known += (known.empty() ? "" : ", ") + std::string(one);
        }
        throw KernelError(KernelFailure::kBadArgument, "",
                          where + ": no parameter " + std::string(name),
                          known.empty() ? "it has none" : "it has " + known);
    }
    return static_cast<std::size_t>(found - names.begin());
}

//--------------------------------------------------------------------------------------------------
// Making steps

RecipeStep toolStep(StepKind kind, ToolKind tool, std::vector<double> values)
{
    RecipeStep step;
    step.kind = kind;
    step.tool = tool;
    step.values = std::move(values);
    return step;
}

RecipeStep boxStep(StepKind kind, const KernelPoint& corner, const KernelPoint& sides)
{
    return toolStep(kind, ToolKind::kBox,
                    {corner[0], corner[1], corner[2], sides[0], sides[1], sides[2]});
}

std::vector<double> axisValues(const KernelPoint& start, const KernelPoint& direction,
                               double radius, double length)
{
    return {start[0], start[1], start[2], direction[0], direction[1], direction[2], radius, length};
}

RecipeStep solidStep(StepKind kind, const KernelSolid& tool, const KernelPoint& shift)
{
    RecipeStep step = toolStep(kind, ToolKind::kImported, {shift[0], shift[1], shift[2]});
    step.body = tool.toBytes();
    return step;
}

RecipeStep itemStep(StepKind kind, SubentKind items, std::span<const int> numbers)
{
    RecipeStep step;
    step.kind = kind;
    for (const int number : numbers) {
        SubentReference reference;
        reference.item = {items, number};
        step.references.push_back(reference);
    }
    return step;
}

//--------------------------------------------------------------------------------------------------
// Bytes

constexpr std::size_t kReferenceBytes = 1 + 4 + 1;

void writeValues(ByteWriter& writer, const std::vector<double>& values)
{
    writer.putByte(static_cast<std::uint8_t>(values.size()));
    for (const double value : values) {
        writer.putDouble(value);
    }
}

std::vector<double> readValues(ByteReader& reader)
{
    std::vector<double> values(reader.getByte());
    for (double& value : values) {
        value = reader.getDouble();
    }
    return values;
}

void writeReference(ByteWriter& writer, const SubentReference& reference)
{
    writer.putByte(static_cast<std::uint8_t>(reference.item.kind));
    writer.putUint32(static_cast<std::uint32_t>(reference.item.number));
    writer.putByte(reference.isMarked ? 1 : 0);
    if (!reference.isMarked) {
        return;
    }
    for (const double coordinate : reference.mark) {
        writer.putDouble(coordinate);
    }
    writer.putDouble(reference.sizeMm);
}

SubentReference readReference(ByteReader& reader)
{
    SubentReference reference;
    reference.item.kind = static_cast<SubentKind>(reader.getByte());
    reference.item.number = static_cast<int>(reader.getUint32());
    const std::uint8_t marked = reader.getByte();
    if (marked > 1) {
        throwDamaged(kRecipeForm, "a reference neither with nor without its place");
    }
    reference.isMarked = marked == 1;
    if (!reference.isMarked) {
        return reference;
    }
    for (double& coordinate : reference.mark) {
        coordinate = reader.getDouble();
    }
    reference.sizeMm = reader.getDouble();
    const bool isFinite = std::isfinite(reference.mark[0]) && std::isfinite(reference.mark[1]) &&
                          std::isfinite(reference.mark[2]) && std::isfinite(reference.sizeMm);
    if (!isFinite) {
        throwDamaged(kRecipeForm, "a reference whose place is not finite");
    }
    return reference;
}

}  // namespace

void writeStep(ByteWriter& writer, const RecipeStep& step)
{
    writer.putUint32(step.id);
    writer.putByte(static_cast<std::uint8_t>(step.kind));
    writer.putByte(static_cast<std::uint8_t>(step.tool));
    writer.putByte(step.isSuppressed ? 1 : 0);
    writeValues(writer, step.values);
    writer.putUint64(step.references.size());
    for (const SubentReference& reference : step.references) {
        writeReference(writer, reference);
    }
    writer.putBlock(step.body);
}

RecipeStep readStep(ByteReader& reader)
{
    RecipeStep step;
    step.id = reader.getUint32();
    step.kind = static_cast<StepKind>(reader.getByte());
    step.tool = static_cast<ToolKind>(reader.getByte());
    step.isSuppressed = reader.getByte() != 0;
    step.values = readValues(reader);
    step.references.resize(reader.getCount(kReferenceBytes));
    for (SubentReference& reference : step.references) {
        reference = readReference(reader);
    }
    const std::span<const unsigned char> body = reader.getBlock();
    step.body.assign(body.begin(), body.end());
    return step;
}

//--------------------------------------------------------------------------------------------------

std::string_view baseKindName(BaseKind kind)
{
    static constexpr std::array<std::string_view, 4> kNames = {"imported", "box", "cylinder",
                                                               "plate"};
    const auto index = static_cast<std::size_t>(kind);
    return index < kNames.size() ? kNames[index] : "unknown";
}

std::string_view stepKindName(StepKind kind)
{
    static constexpr std::array<std::string_view, 7> kNames = {
        "cut", "fuse", "hole", "fillet", "chamfer", "remove faces", "unify"};
    const auto index = static_cast<std::size_t>(kind);
    return index < kNames.size() ? kNames[index] : "unknown";
}

std::string_view toolKindName(ToolKind kind)
{
    static constexpr std::array<std::string_view, 4> kNames = {"none", "box", "cylinder",
                                                               "imported"};
    const auto index = static_cast<std::size_t>(kind);
    return index < kNames.size() ? kNames[index] : "unknown";
}

Names parameterNames(BaseKind kind)
{
    switch (kind) {
    case BaseKind::kBox:
        return kBoxNames;
    case BaseKind::kCylinder:
        return kCylinderNames;
    case BaseKind::kPlate:
        return kPlateNames;
    case BaseKind::kImported:
        break;
    }
    return {};
}

Names parameterNames(StepKind kind, ToolKind tool)
{
    switch (kind) {
    case StepKind::kHole:
        return kHoleNames;
    case StepKind::kFillet:
        return kFilletNames;
    case StepKind::kChamfer:
        return kChamferNames;
    case StepKind::kCut:
    case StepKind::kFuse:
    case StepKind::kRemoveFaces:
    case StepKind::kUnify:
        break;
    }
    switch (tool) {
    case ToolKind::kBox:
        return kToolBoxNames;
    case ToolKind::kCylinder:
        return kToolCylinderNames;
    case ToolKind::kImported:
        return kToolImportedNames;
    case ToolKind::kNone:
        break;
    }
    return {};
}

//--------------------------------------------------------------------------------------------------

RecipeBase RecipeBase::imported(const KernelSolid& solid)
{
    return {BaseKind::kImported, {}, solid.toBytes()};
}

RecipeBase RecipeBase::box(double dx, double dy, double dz)
{
    return {BaseKind::kBox, {dx, dy, dz}, {}};
}

RecipeBase RecipeBase::cylinder(double radius, double height)
{
    return {BaseKind::kCylinder, {radius, height}, {}};
}

RecipeBase RecipeBase::plate(int count, double pitch, double thickness, double radius)
{
    return {BaseKind::kPlate, {static_cast<double>(count), pitch, thickness, radius, 0, 0}, {}};
}

RecipeStep RecipeStep::cutBox(const KernelPoint& corner, const KernelPoint& sides)
{
    return boxStep(StepKind::kCut, corner, sides);
}

RecipeStep RecipeStep::cutCylinder(const KernelPoint& start, const KernelPoint& direction,
                                   double radius, double height)
{
    return toolStep(StepKind::kCut, ToolKind::kCylinder,
                    axisValues(start, direction, radius, height));
}

RecipeStep RecipeStep::cutSolid(const KernelSolid& tool, const KernelPoint& shift)
{
    return solidStep(StepKind::kCut, tool, shift);
}

RecipeStep RecipeStep::fuseBox(const KernelPoint& corner, const KernelPoint& sides)
{
    return boxStep(StepKind::kFuse, corner, sides);
}

RecipeStep RecipeStep::fuseCylinder(const KernelPoint& start, const KernelPoint& direction,
                                    double radius, double height)
{
    return toolStep(StepKind::kFuse, ToolKind::kCylinder,
                    axisValues(start, direction, radius, height));
}

RecipeStep RecipeStep::fuseSolid(const KernelSolid& tool, const KernelPoint& shift)
{
    return solidStep(StepKind::kFuse, tool, shift);
}

RecipeStep RecipeStep::hole(const KernelPoint& mouth, const KernelPoint& direction, double radius,
                            double depth)
{
    return toolStep(StepKind::kHole, ToolKind::kNone, axisValues(mouth, direction, radius, depth));
}

RecipeStep RecipeStep::fillet(std::span<const int> edges, double radius)
{
    RecipeStep step = itemStep(StepKind::kFillet, SubentKind::kEdge, edges);
    step.values = {radius};
    return step;
}

RecipeStep RecipeStep::chamfer(std::span<const int> edges, double distance)
{
    RecipeStep step = itemStep(StepKind::kChamfer, SubentKind::kEdge, edges);
    step.values = {distance};
    return step;
}

RecipeStep RecipeStep::removeFaces(std::span<const int> faces)
{
    return itemStep(StepKind::kRemoveFaces, SubentKind::kFace, faces);
}

RecipeStep RecipeStep::unify()
{
    return toolStep(StepKind::kUnify, ToolKind::kNone, {});
}

//--------------------------------------------------------------------------------------------------

Recipe::Recipe(RecipeBase base) : m_base(std::move(base))
{
    checkBase(m_base);
}

std::uint32_t Recipe::addStep(RecipeStep step)
{
    if (step.id == 0) {
        step.id = m_nextId;
    }
    checkStep(step);
    const bool isTaken = std::any_of(m_steps.begin(), m_steps.end(),
                                     [&step](const RecipeStep& one) { return one.id == step.id; });
    if (isTaken) {
        throwBadStep(stepTitle(step), "its number is taken");
    }
    const std::uint32_t id = step.id;
    m_steps.push_back(std::move(step));
    m_nextId = std::max(m_nextId, id + 1);
    return id;
}

void Recipe::removeStep(std::uint32_t id)
{
    m_steps.erase(m_steps.begin() + static_cast<std::ptrdiff_t>(indexOf(id)));
}

std::size_t Recipe::indexOf(std::uint32_t id) const
{
    for (std::size_t index = 0; index < m_steps.size(); ++index) {
        if (m_steps[index].id == id) {
            return index;
        }
    }
    throwBadStep("recipe",
                 "no step " + std::to_string(id) + " among " + std::to_string(m_steps.size()));
}

const RecipeStep& Recipe::step(std::uint32_t id) const
{
    return m_steps[indexOf(id)];
}

void Recipe::setSuppressed(std::uint32_t id, bool isSuppressed)
{
    m_steps[indexOf(id)].isSuppressed = isSuppressed;
}

void Recipe::setReferences(std::uint32_t id, std::vector<SubentReference> references)
{
    RecipeStep& changed = m_steps[indexOf(id)];
    std::swap(changed.references, references);
    try {
        checkStep(changed);
    } catch (const KernelError&) {
        std::swap(changed.references, references);
        throw;
    }
}

double Recipe::value(std::uint32_t id, std::string_view name) const
{
    if (id == 0) {
        return m_base.values[indexOfName(std::string(baseKindName(m_base.kind)),
                                         parameterNames(m_base.kind), name)];
    }
    const RecipeStep& found = step(id);
    return found
        .values[indexOfName(stepTitle(found), parameterNames(found.kind, found.tool), name)];
}

void Recipe::setValue(std::uint32_t id, std::string_view name, double value)
{
    if (id == 0) {
        RecipeBase changed = m_base;
        changed.values[indexOfName(std::string(baseKindName(m_base.kind)),
                                   parameterNames(m_base.kind), name)] = value;
        checkBase(changed);
        m_base.values = std::move(changed.values);
        return;
    }
    RecipeStep& found = m_steps[indexOf(id)];
    const std::vector<double> old = found.values;
    const std::size_t index =
        indexOfName(stepTitle(found), parameterNames(found.kind, found.tool), name);
    try {
        found.values[index] = value;
        checkStep(found);
    } catch (const KernelError&) {
        found.values = old;
        throw;
    }
}

void Recipe::check() const
{
    checkBase(m_base);
    std::vector<std::uint32_t> ids;
    for (const RecipeStep& step : m_steps) {
        checkStep(step);
        ids.push_back(step.id);
    }
    std::sort(ids.begin(), ids.end());
    const bool isNumbered = ids.empty() || (ids.front() > 0 && ids.back() < m_nextId);
    if (!isNumbered || std::adjacent_find(ids.begin(), ids.end()) != ids.end()) {
        throwBadStep("recipe", "its steps are not numbered one by one");
    }
}

std::vector<unsigned char> Recipe::toBytes() const
{
    ByteWriter writer;
    writer.putUint32(m_nextId);
    writer.putByte(static_cast<std::uint8_t>(m_base.kind));
    writeValues(writer, m_base.values);
    writer.putBlock(m_base.body);
    writer.putUint64(m_steps.size());
    for (const RecipeStep& step : m_steps) {
        writeStep(writer, step);
    }
    return sealBytes(kRecipeForm, writer.bytes());
}

Recipe Recipe::fromBytes(std::span<const unsigned char> bytes)
{
    constexpr std::size_t kLeastStepBytes = 4 + 1 + 1 + 1 + 1 + 8 + 8;
    ByteReader reader(unsealBytes(kRecipeForm, bytes));
    const std::uint32_t nextId = reader.getUint32();
    RecipeBase base;
    base.kind = static_cast<BaseKind>(reader.getByte());
    base.values = readValues(reader);
    const std::span<const unsigned char> body = reader.getBlock();
    base.body.assign(body.begin(), body.end());
    try {
        Recipe recipe(std::move(base));
        recipe.m_nextId = nextId;
        recipe.m_steps.resize(reader.getCount(kLeastStepBytes));
        for (RecipeStep& step : recipe.m_steps) {
            step = readStep(reader);
        }
        recipe.check();
        if (reader.bytesLeft() != 0) {
            throwDamaged(kRecipeForm, std::to_string(reader.bytesLeft()) + " bytes too many");
        }
        return recipe;
    } catch (const KernelError& error) {
        if (error.failure() == KernelFailure::kBadArgument) {
            throwDamaged(kRecipeForm, error.reason());
        }
        throw;
    }
}

}  // namespace zemhost
