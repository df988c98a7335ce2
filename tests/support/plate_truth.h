// A plate with many holes and a slot, and the truth about its items: by place and parameters alone.

#pragma once

#include "kernel/kernel_edit.h"

#include <BRepAdaptor_Surface.hxx>
#include <BRep_Tool.hxx>
#include <BinTools.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_IndexedDataMapOfShapeListOfShape.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Face.hxx>
#include <TopoDS_Shape.hxx>
#include <TopoDS_Vertex.hxx>
#include <gp_Cylinder.hxx>
#include <gp_Pln.hxx>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace plate_truth {

/// A square plate with a net of holes, and a slot into its upper side from one border on.
struct PlateShape
{
    int count = 10;  ///< of holes along a side
    double pitch = 10;
    double thickness = 8;
    double radius = 2;
    double slotShare = 0.5;  ///< of the side's length; more than 1 goes through
    double slotWidth = 1;
    double slotDepth = 3;
    double slotShift = 0;     ///< of its middle, from the border between two columns of holes
    bool skipsHoles = false;  ///< every seventh, from the fourth on

    double side() const { return count * pitch; }
    double hole(int index) const { return pitch * (index + 0.5); }
    double slotMiddle() const { return pitch * (count / 2) + slotShift; }
};

inline zemhost::Recipe recipeOf(const PlateShape& shape)
{
    zemhost::Recipe recipe(
        zemhost::RecipeBase::plate(shape.count, shape.pitch, shape.thickness, shape.radius));
    if (shape.skipsHoles) {
        recipe.setValue(0, "skipEvery", 7);
        recipe.setValue(0, "skipFirst", 3);
    }
    const zemhost::KernelPoint corner = {shape.slotMiddle() - shape.slotWidth / 2, -1,
                                         shape.thickness - shape.slotDepth};
    recipe.addStep(zemhost::RecipeStep::cutBox(
        corner, {shape.slotWidth, shape.slotShare * shape.side() + 1, shape.slotDepth + 1}));
    return recipe;
}

/// A change of the plate, from one shape to another.
struct PlateEdit
{
    const char* name;
    PlateShape before;
    PlateShape after;
    bool tellsSides;  ///< whether the two pieces of a split upper side are two different things
};

/// All sizes change; the slot goes through now; holes are left out; the sizes change with a slot that
/// goes through; it goes through no more; holes are left out with a slot that goes through.
inline std::vector<PlateEdit> plateEdits(int count)
{
    PlateShape plain;
    plain.count = count;
    PlateShape sized = plain;
    sized.thickness = 11;
    sized.pitch = 12;
    sized.radius = 2.7;
    PlateShape dropped = plain;
    dropped.skipsHoles = true;
    PlateShape parted = plain;
    parted.slotShare = 1.2;
    PlateShape partedSized = sized;
    partedSized.slotShare = 1.2;
    PlateShape partedDropped = dropped;
    partedDropped.slotShare = 1.2;
    return {{"param", plain, sized, false},    {"split", plain, parted, false},
            {"drop", plain, dropped, false},   {"piece", parted, partedSized, true},
            {"unsplit", parted, plain, false}, {"piecedrop", parted, partedDropped, true}};
}

//--------------------------------------------------------------------------------------------------
// What each item is

/// A name for each face from its surface and the plate's sizes; for each edge and vertex the names of
/// its faces. By kind and number less one.
///
/// If the pieces of a split upper side are told apart, there are plain keys beside, in which they are
/// not: the rim of a hole stays the rim of that hole when the slot passes it.
class PlateKeys
{
public:
    PlateKeys(const zemhost::KernelSolid& solid, const PlateShape& shape, bool tellsSides)
        : PlateKeys(read(solid), shape, tellsSides)
    {
    }

    PlateKeys(const TopoDS_Shape& body, const PlateShape& shape, bool tellsSides)
        : m_shape(shape), m_tellsSides(tellsSides)
    {
        TopTools_IndexedMapOfShape faces;
        TopExp::MapShapes(body, TopAbs_FACE, faces);
        for (int number = 1; number <= faces.Extent(); ++number) {
            m_keys[0].push_back(faceKey(TopoDS::Face(faces(number))));
        }
        addMeetings(body, TopAbs_EDGE, faces, 1);
        addMeetings(body, TopAbs_VERTEX, faces, 2);
    }

    const std::vector<std::string>& of(zemhost::SubentKind kind) const
    {
        return m_keys[static_cast<std::size_t>(kind)];
    }

    const std::vector<std::string>& plainOf(zemhost::SubentKind kind) const
    {
        return kind == zemhost::SubentKind::kFace ? m_keys[0]
                                                  : m_plainKeys[static_cast<std::size_t>(kind)];
    }

private:
    static TopoDS_Shape read(const zemhost::KernelSolid& solid)
    {
        constexpr std::size_t kHeaderBytes = 24;
        const std::vector<unsigned char> bytes = solid.toBytes();
        std::istringstream stream(std::string(bytes.begin() + kHeaderBytes, bytes.end()),
                                  std::ios::binary);
        TopoDS_Shape shape;
        BinTools::Read(shape, stream);
        return shape;
    }

    static bool isEqual(double first, double second) { return std::abs(first - second) < 1e-6; }

    std::string faceKey(const TopoDS_Face& face) const
    {
        const BRepAdaptor_Surface surface(face);
        if (surface.GetType() == GeomAbs_Cylinder) {
            return holeKey(surface.Cylinder());
        }
        if (surface.GetType() != GeomAbs_Plane) {
            throw std::runtime_error("a plate has planes and cylinders only");
        }
        const gp_Pln plane = surface.Plane();
        const gp_Dir normal = plane.Axis().Direction();
        if (std::abs(normal.Z()) > 0.5) {
            return levelKey(face, plane.Location().Z());
        }
        return std::abs(normal.X()) > 0.5 ? acrossKey(plane.Location().X())
                                          : alongKey(plane.Location().Y());
    }

    std::string holeKey(const gp_Cylinder& cylinder) const
    {
        const gp_Pnt centre = cylinder.Location();
        const int column = static_cast<int>(std::floor(centre.X() / m_shape.pitch));
        const int row = static_cast<int>(std::floor(centre.Y() / m_shape.pitch));
        const bool isHole = isEqual(centre.X(), m_shape.hole(column)) &&
                            isEqual(centre.Y(), m_shape.hole(row)) &&
                            isEqual(cylinder.Radius(), m_shape.radius);
        if (!isHole) {
            throw std::runtime_error("a cylinder that is no hole of the plate");
        }
        return "hole " + std::to_string(column) + "," + std::to_string(row);
    }

    std::string levelKey(const TopoDS_Face& face, double z) const
    {
        if (isEqual(z, 0)) {
            return "bottom";
        }
        if (isEqual(z, m_shape.thickness)) {
            return m_tellsSides ? sideKey(face) : "top";
        }
        return named("floor", z, m_shape.thickness - m_shape.slotDepth);
    }

    /// A piece of the upper side is the one at the first or at the last border.
    std::string sideKey(const TopoDS_Face& face) const
    {
        for (TopExp_Explorer vertex(face, TopAbs_VERTEX); vertex.More(); vertex.Next()) {
            const double x = BRep_Tool::Pnt(TopoDS::Vertex(vertex.Current())).X();
            if (isEqual(x, 0)) {
                return "top first";
            }
            if (isEqual(x, m_shape.side())) {
                return "top last";
            }
        }
        throw std::runtime_error("a piece of the upper side without a border");
    }

    std::string acrossKey(double x) const
    {
        const double half = m_shape.slotWidth / 2;
        if (isEqual(x, 0) || isEqual(x, m_shape.side())) {
            return isEqual(x, 0) ? "x first" : "x last";
        }
        return isEqual(x, m_shape.slotMiddle() - half)
                   ? "slot first"
                   : named("slot last", x, m_shape.slotMiddle() + half);
    }

    std::string alongKey(double y) const
    {
        if (isEqual(y, 0) || isEqual(y, m_shape.side())) {
            return isEqual(y, 0) ? "y first" : "y last";
        }
        return named("slot end", y, m_shape.slotShare * m_shape.side());
    }

    static std::string named(const char* name, double value, double expected)
    {
        if (!isEqual(value, expected)) {
            throw std::runtime_error(std::string("no ") + name + " at " + std::to_string(value));
        }
        return name;
    }

    void addMeetings(const TopoDS_Shape& body, TopAbs_ShapeEnum type,
                     const TopTools_IndexedMapOfShape& faces, std::size_t slot)
    {
        TopTools_IndexedMapOfShape items;
        TopExp::MapShapes(body, type, items);
        TopTools_IndexedDataMapOfShapeListOfShape owners;
        TopExp::MapShapesAndAncestors(body, type, TopAbs_FACE, owners);
        for (int number = 1; number <= items.Extent(); ++number) {
            std::set<int> touched;
            for (const TopoDS_Shape& face : owners.FindFromKey(items(number))) {
                touched.insert(faces.FindIndex(face));
            }
            std::multiset<std::string> names;
            std::multiset<std::string> plainNames;
            for (const int face : touched) {
                const std::string& name = m_keys[0][static_cast<std::size_t>(face) - 1];
                names.insert(name);
                plainNames.insert(name.starts_with("top") ? "top" : name);
            }
            m_keys[slot].push_back(joined(names));
            m_plainKeys[slot].push_back(joined(plainNames));
        }
    }

    static std::string joined(const std::multiset<std::string>& names)
    {
        std::string key;
        for (const std::string& name : names) {
            key += name + "|";
        }
        return key;
    }

    PlateShape m_shape;
    bool m_tellsSides;
    std::array<std::vector<std::string>, 3> m_keys;
    std::array<std::vector<std::string>, 3> m_plainKeys;
};

//--------------------------------------------------------------------------------------------------
// Judging a map

/// How many items of one kind somebody is right about.
struct Verdict
{
    int right = 0;      ///< exactly the items with the old one's key, or gone where there are none
    int survivors = 0;  ///< items whose key is still there
    int ambiguous = 0;  ///< with the right items among the candidates
    int wrong = 0;      ///< other items, too few, or ambiguous without the right ones
    int lost = 0;       ///< called gone, and there
    int ghosts = 0;     ///< gone, and called something else

    std::vector<std::string> faults;  ///< the keys of items that somebody is not right about

    int total() const { return right + ambiguous + wrong + lost + ghosts; }
    int errors() const { return wrong + lost + ghosts; }
};

/// What somebody says became of an item.
struct Told
{
    std::vector<int> targets;  ///< new numbers, ascending; 0 for an item that isn't there
    bool isAmbiguous = false;
};

class Judge
{
public:
    Judge(const PlateKeys& before, const PlateKeys& after) : m_before(before), m_after(after) {}

    /// \param tell  Answers the Told for an old number.
    template <typename Tell>
    Verdict judge(zemhost::SubentKind kind, const Tell& tell) const
    {
        const std::vector<std::string> olds = usedKeys(m_before, kind);
        std::map<std::string, std::vector<int>> wanted;
        int number = 0;
        for (const std::string& key : usedKeys(m_after, kind)) {
            wanted[key].push_back(++number);
        }
        std::map<std::string, int> twins;
        for (const std::string& key : olds) {
            ++twins[key];
        }
        Verdict verdict;
        number = 0;
        for (const std::string& key : olds) {
            const int right = verdict.right;
            add(tell(++number), wanted[key], twins[key] > 1, verdict);
            if (verdict.right == right) {
                verdict.faults.push_back(key);
            }
        }
        return verdict;
    }

    Verdict judge(const zemhost::SubentMap& map, zemhost::SubentKind kind) const
    {
        return judge(kind, [&map, kind](int number) {
            const zemhost::SubentAnswer answer = map.answer({kind, number});
            return Told{{answer.targets.begin(), answer.targets.end()},
                        answer.fate == zemhost::SubentFate::kAmbiguous};
        });
    }

private:
    /// The plain key where it names one item in each of the solids.
    std::vector<std::string> usedKeys(const PlateKeys& keys, zemhost::SubentKind kind) const
    {
        std::map<std::string, std::array<int, 2>> counts;
        for (const std::string& key : m_before.plainOf(kind)) {
            ++counts[key][0];
        }
        for (const std::string& key : m_after.plainOf(kind)) {
            ++counts[key][1];
        }
        std::vector<std::string> used = keys.of(kind);
        for (std::size_t index = 0; index < used.size(); ++index) {
            const std::string& plain = keys.plainOf(kind)[index];
            if (counts[plain] == std::array<int, 2>{1, 1}) {
                used[index] = plain;
            }
        }
        return used;
    }

    /// Of several old items with one key, each may be any of the new items with it.
    static void add(const Told& told, const std::vector<int>& wanted, bool hasTwins,
                    Verdict& verdict)
    {
        const std::vector<int>& targets = told.targets;
        const bool isPart =
            std::includes(wanted.begin(), wanted.end(), targets.begin(), targets.end());
        verdict.survivors += wanted.empty() ? 0 : 1;
        if (told.isAmbiguous) {
            const bool isFair =
                std::includes(targets.begin(), targets.end(), wanted.begin(), wanted.end());
            ++(isFair ? verdict.ambiguous : verdict.wrong);
        } else if (targets == wanted || (hasTwins && isPart && !targets.empty())) {
            ++verdict.right;
        } else if (targets.empty()) {
            ++verdict.lost;
        } else {
            ++(wanted.empty() ? verdict.ghosts : verdict.wrong);
        }
    }

    const PlateKeys& m_before;
    const PlateKeys& m_after;
};

}  // namespace plate_truth
