// Recipes: how a solid is made, as operations with parameters that can be stored and changed.

#pragma once

#include "kernel/kernel_solid.h"
#include "kernel/subent_map.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zemhost {

/// What a recipe begins with. Stored: the numbers never change.
enum class BaseKind : std::uint8_t
{
    kImported = 0,  ///< the bytes of a solid
    kBox = 1,       ///< from the origin on
    kCylinder = 2,  ///< upright on the origin
    kPlate = 3,     ///< a square plate with a net of round holes
};

/// One operation of a recipe. Stored: the numbers never change.
enum class StepKind : std::uint8_t
{
    kCut = 0,          ///< takes away what a tool covers
    kFuse = 1,         ///< adds what a tool covers
    kHole = 2,         ///< drills a round hole
    kFillet = 3,       ///< rounds edges
    kChamfer = 4,      ///< bevels edges
    kRemoveFaces = 5,  ///< removes the feature that faces belong to; its neighbours close the gap
    kUnify = 6,        ///< joins faces on one surface and edges on one curve
};

/// Form of a tool. Stored: the numbers never change.
enum class ToolKind : std::uint8_t
{
    kNone = 0,      ///< the operation has no tool
    kBox = 1,       ///< axis-parallel
    kCylinder = 2,  ///< from a point on along a direction
    kImported = 3,  ///< the bytes of a solid, shifted
};

/// Lower-case words, such as "plate", "remove faces", "box".
std::string_view baseKindName(BaseKind kind);
std::string_view stepKindName(StepKind kind);
std::string_view toolKindName(ToolKind kind);

/// \name Parameters
///
/// Their names, in the order in which they are kept. Lengths are millimetres.
///
/// | base     | parameters |
/// |----------|------------|
/// | box      | dx dy dz |
/// | cylinder | radius height |
/// | plate    | count pitch thickness radius skipEvery skipFirst: count x count holes, pitch apart and half a pitch from the border; of the holes, counted along y and then x from 0 on, those whose number leaves skipFirst when divided by skipEvery are left out; skipEvery 0 leaves out none |
///
/// | step             | parameters |
/// |------------------|------------|
/// | cut, fuse box    | x y z dx dy dz: a corner and the lengths of the sides |
/// | cut, fuse cylinder | x y z ax ay az radius height: middle of the first end, direction of any length |
/// | cut, fuse imported | x y z: shift of the bytes' solid |
/// | hole             | x y z ax ay az radius depth: middle of the mouth, direction into the material; depth 0 goes through everything, from the mouth on |
/// | fillet           | radius |
/// | chamfer          | distance, the same on both faces |
/// @{
std::span<const std::string_view> parameterNames(BaseKind kind);
std::span<const std::string_view> parameterNames(StepKind kind, ToolKind tool);
/// @}

/// A face or edge that a step works on.
///
/// The number is that in the solid just before the step. Beside it stands where the item is, so that
/// a solid whose numbers came out otherwise in another process can't make the step work on the wrong
/// item: it is found again by its place, or the step fails.
struct SubentReference
{
    Subent item;
    bool isMarked = false;  ///< whether `mark` and `sizeMm` say something
    KernelPoint mark{};     ///< centre of the item's samples, in millimetres
    double sizeMm = 0;      ///< least distance from `mark` that holds all samples

    friend bool operator==(const SubentReference&, const SubentReference&) = default;
};

/// What a recipe begins with.
struct RecipeBase
{
    BaseKind kind = BaseKind::kBox;
    std::vector<double> values;       ///< by parameterNames
    std::vector<unsigned char> body;  ///< of an imported solid: KernelSolid::toBytes

    static RecipeBase imported(const KernelSolid& solid);
    static RecipeBase box(double dx, double dy, double dz);
    static RecipeBase cylinder(double radius, double height);
    static RecipeBase plate(int count, double pitch, double thickness, double radius);

    friend bool operator==(const RecipeBase&, const RecipeBase&) = default;
};

/// One operation of a recipe.
struct RecipeStep
{
    std::uint32_t id = 0;  ///< names the step in its recipe, from 1 on; 0 before it belongs to one
    StepKind kind = StepKind::kCut;
    ToolKind tool = ToolKind::kNone;
    bool isSuppressed = false;                ///< left out when the recipe is worked through
    std::vector<double> values;               ///< by parameterNames
    std::vector<SubentReference> references;  ///< edges or faces that the step works on
    std::vector<unsigned char> body;          ///< of an imported tool: KernelSolid::toBytes

    /// \name Making steps
    /// \param edges, faces  Numbers in the solid that the step is applied to.
    /// @{
    static RecipeStep cutBox(const KernelPoint& corner, const KernelPoint& sides);
    static RecipeStep cutCylinder(const KernelPoint& start, const KernelPoint& direction,
                                  double radius, double height);
    static RecipeStep cutSolid(const KernelSolid& tool, const KernelPoint& shift = {});
    static RecipeStep fuseBox(const KernelPoint& corner, const KernelPoint& sides);
    static RecipeStep fuseCylinder(const KernelPoint& start, const KernelPoint& direction,
                                   double radius, double height);
    static RecipeStep fuseSolid(const KernelSolid& tool, const KernelPoint& shift = {});
    static RecipeStep hole(const KernelPoint& mouth, const KernelPoint& direction, double radius,
                           double depth = 0);
    static RecipeStep fillet(std::span<const int> edges, double radius);
    static RecipeStep chamfer(std::span<const int> edges, double distance);
    static RecipeStep removeFaces(std::span<const int> faces);
    static RecipeStep unify();
    /// @}

    friend bool operator==(const RecipeStep&, const RecipeStep&) = default;
};

/// How a solid is made: something to begin with, and steps in their order.
///
/// A value. It knows nothing of shapes: RecipeModel works through it. Parameters are set by name
/// and checked then; `check` finds all else that no solid can be made of.
class Recipe
{
public:
    explicit Recipe(RecipeBase base);

    const RecipeBase& base() const { return m_base; }
    const std::vector<RecipeStep>& steps() const { return m_steps; }

    /// Adds a step at the end. One with the id 0 gets the next that is free.
    /// \return The step's id.
    /// \throws KernelError (bad argument) for an id that is taken, or a step that `check` refuses.
    std::uint32_t addStep(RecipeStep step);

    /// Takes a step out; others keep their ids, and the id isn't given again.
    /// \throws KernelError (bad argument) for an unknown id.
    void removeStep(std::uint32_t id);

    /// \throws KernelError (bad argument) for an unknown id.
    const RecipeStep& step(std::uint32_t id) const;
    void setSuppressed(std::uint32_t id, bool isSuppressed);
    void setReferences(std::uint32_t id, std::vector<SubentReference> references);

    /// \name Values of parameters
    /// \param id  Of the step; 0 for the base.
    /// \throws KernelError (bad argument) for an unknown id or name, and for a value that makes no
    ///         sense; the recipe is then as it was.
    /// @{
    double value(std::uint32_t id, std::string_view name) const;
    void setValue(std::uint32_t id, std::string_view name, double value);
    /// @}

    /// \throws KernelError (bad argument) that names the step and what is wrong: number, range or
    ///         finiteness of values, references of the wrong kind, a tool that doesn't fit.
    void check() const;

    /// \name Stored form
    /// @{

    /// The recipe as bytes, the same for the same recipe.
    ///
    /// Layout: 8 bytes mark "ZEMRECIP", 4 bytes version 1, 4 bytes CRC-32 of the content, 8 bytes
    /// length of the content, all little-endian; then next id, base, number of steps and the steps.
    std::vector<unsigned char> toBytes() const;

    /// \throws KernelError (damaged bytes) for bytes that are cut, changed, of another version, or
    ///         hold a recipe that `check` refuses.
    static Recipe fromBytes(std::span<const unsigned char> bytes);

    /// @}

    friend bool operator==(const Recipe&, const Recipe&) = default;

private:
    std::size_t indexOf(std::uint32_t id) const;

    RecipeBase m_base;
    std::vector<RecipeStep> m_steps;
    std::uint32_t m_nextId = 1;
};

}  // namespace zemhost
