// Edits of solids, for code that doesn't link the modelling kernel.

#pragma once

#include "db/od_db_3d_solid.h"

#include "protocol/host_import_extension.h"
#include "protocol/host_part_map.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zemhost {

/// What is done to a solid.
enum class HostEditKind
{
    kCut,      ///< takes away what the tool covers
    kFuse,     ///< adds what the tool covers
    kHole,     ///< drills a round hole: values x y z, direction, radius, depth (0: through all)
    kFillet,   ///< rounds the edges in `parts`: value radius
    kChamfer,  ///< bevels the edges in `parts`: value distance
    kRemove,   ///< removes the feature that the faces in `parts` belong to
    kUnify,    ///< joins faces on one surface and edges on one curve
    kSet       ///< gives a parameter of the recipe another value and makes the solid again
};

/// What cuts and is fused.
enum class HostToolKind
{
    kNone,
    kBox,       ///< values: corner, lengths of the sides
    kCylinder,  ///< values: middle of the first end, direction, radius, height
    kSolid      ///< `toolBody`, values: shift
};

/// One edit. Lengths are millimetres, in the coordinates of the body.
struct HostEdit
{
    HostEditKind kind = HostEditKind::kUnify;
    HostToolKind tool = HostToolKind::kNone;
    std::vector<double> values;  ///< in the order told above; vectors as three numbers
    std::vector<int> parts;      ///< numbers of faces or edges in the solid as it is now
    OdBinaryData toolBody;       ///< in the modeler's format
    std::uint32_t step = 0;      ///< kSet: of the recipe, 0 for what it begins with
    std::string parameter;       ///< kSet
    double value = 0;            ///< kSet
    /// Whether the map is compared with what geometry alone tells, which takes far longer than the
    /// edit.
    bool checksGeometry = false;
    double reachMm = 0;  ///< how far parts may have been moved, for that comparison
};

/// A solid as an edit needs it.
struct HostEditedSolid
{
    OdString bodyFormat;
    OdBinaryData body;
    OdBinaryData recipe;  ///< how it was made; empty for one that was never edited
};

/// How the map of an edit compares with what geometry alone tells.
struct HostGeometryCheck
{
    std::size_t parts = 0;        ///< of the solid before
    std::size_t differences = 0;  ///< parts whose answer geometry contradicts
    std::size_t blind = 0;        ///< parts that geometry can't tell from others in the same place
};

/// What an edit brought.
struct HostEditResult
{
    HostEditedSolid solid;
    OdDb3dSolid::Counts counts;
    HostPartMap map;         ///< from the parts before to those after
    std::string cause;       ///< the edit in words, such as "cut (step 2)"
    std::uint32_t step = 0;  ///< of the recipe
    double volumeMm3 = 0;
    double kernelSeconds = 0;   ///< the kernel's algorithms
    double historySeconds = 0;  ///< finding out what became of the parts
    std::vector<std::string> warnings;
    std::optional<HostGeometryCheck> geometry;  ///< if it was asked for
};

/// One line of a recipe: what it begins with, or a step.
struct HostRecipeLine
{
    std::uint32_t step = 0;  ///< 0 for what it begins with
    std::string kind;        ///< such as "plate", "cut box"
    std::vector<std::pair<std::string, double>> parameters;
    std::vector<std::string> parts;  ///< what a step works on, such as "edge 12"
};

/// A face, edge or vertex, for a person who looks for its number.
struct HostPart
{
    OdDbSubentId part;
    std::string kind;  ///< of surface or curve, such as "plane"; empty for a vertex
    double size = 0;   ///< area in mm2 or length in mm
    std::array<double, 3> middle{};
};

/// What the kernel tells of a solid as a whole.
struct HostSolidFacts
{
    double volumeMm3 = 0;
    double areaMm2 = 0;
    std::array<double, 3> boxMin{};
    std::array<double, 3> boxMax{};
    bool isValid = false;         ///< whether the kernel's own check finds no fault
    std::vector<HostPart> parts;  ///< faces, edges and vertices, each in order of numbers
};

/// Edits solids by recipes: lists of operations with parameters, which are kept with the solid and
/// can be worked through again with other values.
///
/// `zemhost_kernel.tx` attaches the one implementation to `OdDb3dSolid::desc()`.
class HostEditExtension : public OdRxObject
{
    RX_DECLARE_CLASS(HostEditExtension);

public:
    /// A new solid and its recipe, made in a process of its own with limits of time and memory.
    ///
    /// \param base      "box" (dx dy dz), "cylinder" (radius height) or "plate" (count pitch thickness
    ///                  radius: count x count holes).
    /// \param progress  May be empty.
    /// \throws HostError (usage) for values that make no solid, (file) beyond the limits.
    virtual HostEditResult make(std::string const& base, std::vector<double> const& values,
                                HostImportLimits const& limits,
                                HostImportProgress const& progress) const = 0;
    /// Edits a solid, in a process of its own with limits of time and memory. The recipe of one that
    /// has none begins with the body as it is.
    ///
    /// \param progress  May be empty.
    /// \throws HostError (usage) for an edit that makes no sense on the solid, (findings) if the
    ///         kernel can't do it, (file) beyond the limits or for a body that can't be read.
    virtual HostEditResult edit(HostEditedSolid const& solid, HostEdit const& edit,
                                HostImportLimits const& limits,
                                HostImportProgress const& progress) const = 0;
    /// Measures a solid. \throws HostError (findings) for a body that can't be read.
    virtual HostSolidFacts measure(HostEditedSolid const& solid) const = 0;
    /// The lines of a recipe. \throws HostError (findings) for bytes that are none.
    virtual std::vector<HostRecipeLine> lines(OdBinaryData const& recipe) const = 0;
};

}  // namespace zemhost
