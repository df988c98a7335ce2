#include "kernel/item_geometry_impl.h"

#include <BRepAdaptor_Curve.hxx>
#include <BRepAdaptor_Surface.hxx>
#include <BRepBndLib.hxx>
#include <BRepTools.hxx>
#include <BRepTopAdaptor_FClass2d.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <Extrema_ExtPC.hxx>
#include <GeomAPI_ProjectPointOnSurf.hxx>
#include <Geom_Curve.hxx>
#include <Geom_Surface.hxx>
#include <Precision.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>
#include <TopoDS_Vertex.hxx>

#include <algorithm>
#include <cmath>

namespace zemhost {

namespace {

constexpr double kToleranceMm = 1e-6;
constexpr std::size_t kSharedPointsNeeded = 2;

/// How near a point must be to an item that the kernel itself takes for so exact.
double reachOf(double tolerance)
{
    return std::max(kToleranceMm, 2 * tolerance);
}

std::vector<gp_Pnt> pointsOfEdge(const TopoDS_Edge& edge, int count)
{
    if (BRep_Tool::Degenerated(edge)) {
        return {BRep_Tool::Pnt(TopExp::FirstVertex(edge))};
    }
    const BRepAdaptor_Curve curve(edge);
    const double first = curve.FirstParameter();
    const double length = curve.LastParameter() - first;
    std::vector<gp_Pnt> points;
    for (int index = 0; index < count; ++index) {
        points.push_back(curve.Value(first + length * (index + 0.5) / count));
    }
    return points;
}

struct ParameterBounds
{
    double uMin = 0;
    double uMax = 0;
    double vMin = 0;
    double vMax = 0;

    explicit ParameterBounds(const TopoDS_Face& face)
    {
        BRepTools::UVBounds(face, uMin, uMax, vMin, vMax);
    }

    gp_Pnt2d at(double u, double v) const
    {
        return {uMin + (uMax - uMin) * u, vMin + (vMax - vMin) * v};
    }
};

std::vector<gp_Pnt> pointsOnNet(const BRepAdaptor_Surface& surface, const ParameterBounds& bounds,
                                BRepTopAdaptor_FClass2d& inside, int rows)
{
    constexpr double kOffsetU = 0.4871;
    constexpr double kOffsetV = 0.5139;
    std::vector<gp_Pnt> points;
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < rows; ++column) {
            const gp_Pnt2d at = bounds.at((row + kOffsetU) / rows, (column + kOffsetV) / rows);
            if (inside.Perform(at) == TopAbs_IN) {
                points.push_back(surface.Value(at.X(), at.Y()));
            }
        }
    }
    return points;
}

/// Points on a net that no symmetry of a face falls together with. The net gets finer until it meets
/// the face, which may fill little of the rectangle around its parameters.
std::vector<gp_Pnt> pointsOfFace(const TopoDS_Face& face, int rows)
{
    constexpr int kMostRows = 151;
    const BRepAdaptor_Surface surface(face, Standard_False);
    const ParameterBounds bounds(face);
    BRepTopAdaptor_FClass2d inside(face, Precision::PConfusion());
    std::vector<gp_Pnt> points;
    for (; points.size() < 2 && rows <= kMostRows; rows = 2 * rows + 1) {
        points = pointsOnNet(surface, bounds, inside, rows);
    }
    return points;
}

/// Points that tell a face from others: some of its border, and the middle of its parameters.
std::vector<gp_Pnt> marksOfFace(const TopoDS_Face& face)
{
    constexpr int kPointsOfEdge = 3;
    std::vector<gp_Pnt> points;
    for (TopExp_Explorer edge(face, TopAbs_EDGE); edge.More(); edge.Next()) {
        const std::vector<gp_Pnt> some = pointsOfEdge(TopoDS::Edge(edge.Current()), kPointsOfEdge);
        points.insert(points.end(), some.begin(), some.end());
    }
    const BRepAdaptor_Surface surface(face, Standard_False);
    const gp_Pnt2d middle = ParameterBounds(face).at(0.5, 0.5);
    // Two faces with one border differ in this point alone, so it gets the weight of all others.
    points.insert(points.end(), std::max<std::size_t>(points.size(), 1),
                  surface.Value(middle.X(), middle.Y()));
    return points;
}

std::vector<gp_Pnt> markingPoints(const TopoDS_Shape& item, SubentKind kind)
{
    constexpr int kPointsOfEdge = 7;
    switch (kind) {
    case SubentKind::kFace:
        return marksOfFace(TopoDS::Face(item));
    case SubentKind::kEdge:
        return pointsOfEdge(TopoDS::Edge(item), kPointsOfEdge);
    case SubentKind::kVertex:
        break;
    }
    return {BRep_Tool::Pnt(TopoDS::Vertex(item))};
}

//--------------------------------------------------------------------------------------------------
// Points and carriers

bool isOnSurface(const gp_Pnt& point, const Handle(Geom_Surface) & surface, double reach)
{
    const GeomAPI_ProjectPointOnSurf projection(point, surface);
    return projection.NbPoints() > 0 && projection.LowerDistance() <= reach;
}

bool isOnFace(const gp_Pnt& point, const TopoDS_Face& face, double reach)
{
    const ParameterBounds bounds(face);
    const GeomAPI_ProjectPointOnSurf projection(point, BRep_Tool::Surface(face), bounds.uMin,
                                                bounds.uMax, bounds.vMin, bounds.vMax);
    if (projection.NbPoints() == 0 || projection.LowerDistance() > reach) {
        return false;
    }
    double u = 0;
    double v = 0;
    projection.LowerDistanceParameters(u, v);
    BRepTopAdaptor_FClass2d inside(face, Precision::PConfusion());
    return inside.Perform(gp_Pnt2d(u, v)) == TopAbs_IN;
}

bool isOnEdge(const gp_Pnt& point, const TopoDS_Edge& edge, double reach)
{
    if (BRep_Tool::Degenerated(edge)) {
        return BRep_Tool::Pnt(TopExp::FirstVertex(edge)).Distance(point) <= reach;
    }
    const BRepAdaptor_Curve curve(edge);
    const Extrema_ExtPC extrema(point, curve);
    if (!extrema.IsDone()) {
        return false;
    }
    for (int index = 1; index <= extrema.NbExt(); ++index) {
        if (extrema.SquareDistance(index) <= reach * reach) {
            return true;
        }
    }
    return false;
}

bool isOn(const gp_Pnt& point, const TopoDS_Shape& item, SubentKind kind)
{
    switch (kind) {
    case SubentKind::kFace:
        return isOnFace(point, TopoDS::Face(item),
                        reachOf(BRep_Tool::Tolerance(TopoDS::Face(item))));
    case SubentKind::kEdge:
        return isOnEdge(point, TopoDS::Edge(item),
                        reachOf(BRep_Tool::Tolerance(TopoDS::Edge(item))));
    case SubentKind::kVertex:
        break;
    }
    const TopoDS_Vertex vertex = TopoDS::Vertex(item);
    return BRep_Tool::Pnt(vertex).Distance(point) <= reachOf(BRep_Tool::Tolerance(vertex));
}

bool areSomeOn(const std::vector<gp_Pnt>& points, const TopoDS_Shape& item, SubentKind kind)
{
    const std::size_t needed = std::min(points.size(), kSharedPointsNeeded);
    std::size_t found = 0;
    for (const gp_Pnt& point : points) {
        found += isOn(point, item, kind) ? 1 : 0;
        if (found > 0 && found >= needed) {
            return true;
        }
    }
    return false;
}

bool areAllOnSurface(const TopoDS_Face& face, const TopoDS_Face& other)
{
    constexpr int kRows = 5;
    const std::vector<gp_Pnt> points = pointsOfFace(face, kRows);
    const Handle(Geom_Surface) surface = BRep_Tool::Surface(other);
    const double reach = reachOf(std::max(BRep_Tool::Tolerance(face), BRep_Tool::Tolerance(other)));
    return !points.empty() && std::all_of(points.begin(), points.end(), [&](const gp_Pnt& point) {
        return isOnSurface(point, surface, reach);
    });
}

bool isSameSurface(const TopoDS_Face& first, const TopoDS_Face& second)
{
    TopLoc_Location firstPlace;
    TopLoc_Location secondPlace;
    const bool isOneObject =
        BRep_Tool::Surface(first, firstPlace) == BRep_Tool::Surface(second, secondPlace) &&
        firstPlace == secondPlace;
    return isOneObject || areAllOnSurface(first, second) || areAllOnSurface(second, first);
}

bool areAllOnEdge(const TopoDS_Edge& edge, const TopoDS_Edge& other)
{
    constexpr int kPoints = 5;
    const double reach = reachOf(std::max(BRep_Tool::Tolerance(edge), BRep_Tool::Tolerance(other)));
    const std::vector<gp_Pnt> points = pointsOfEdge(edge, kPoints);
    return std::all_of(points.begin(), points.end(),
                       [&](const gp_Pnt& point) { return isOnEdge(point, other, reach); });
}

bool isSameCurve(const TopoDS_Edge& first, const TopoDS_Edge& second)
{
    if (BRep_Tool::Degenerated(first) || BRep_Tool::Degenerated(second)) {
        return BRep_Tool::Degenerated(first) && BRep_Tool::Degenerated(second) &&
               areAllOnEdge(first, second);
    }
    TopLoc_Location firstPlace;
    TopLoc_Location secondPlace;
    double begin = 0;
    double end = 0;
    const Handle(Geom_Curve) firstCurve = BRep_Tool::Curve(first, firstPlace, begin, end);
    const Handle(Geom_Curve) secondCurve = BRep_Tool::Curve(second, secondPlace, begin, end);
    const bool isOneObject =
        !firstCurve.IsNull() && firstCurve == secondCurve && firstPlace == secondPlace;
    return isOneObject || areAllOnEdge(first, second) || areAllOnEdge(second, first);
}

}  // namespace

//--------------------------------------------------------------------------------------------------

ItemMark markOf(const TopoDS_Shape& item, SubentKind kind)
{
    const std::vector<gp_Pnt> points = markingPoints(item, kind);
    gp_XYZ sum;
    for (const gp_Pnt& point : points) {
        sum += point.XYZ();
    }
    ItemMark mark;
    mark.centre = gp_Pnt(sum / static_cast<double>(points.size()));
    for (const gp_Pnt& point : points) {
        mark.size = std::max(mark.size, mark.centre.Distance(point));
    }
    return mark;
}

bool isSameMark(const ItemMark& first, const ItemMark& second)
{
    const double reach = kToleranceMm * (1 + std::max(first.size, second.size));
    return first.centre.Distance(second.centre) <= reach &&
           std::abs(first.size - second.size) <= reach;
}

std::vector<gp_Pnt> innerPoints(const TopoDS_Shape& item, SubentKind kind)
{
    constexpr int kPointsOfEdge = 11;
    constexpr int kRowsOfFace = 9;
    switch (kind) {
    case SubentKind::kFace:
        return pointsOfFace(TopoDS::Face(item), kRowsOfFace);
    case SubentKind::kEdge:
        return pointsOfEdge(TopoDS::Edge(item), kPointsOfEdge);
    case SubentKind::kVertex:
        break;
    }
    return {BRep_Tool::Pnt(TopoDS::Vertex(item))};
}

bool isSameCarrier(const TopoDS_Shape& first, const TopoDS_Shape& second, SubentKind kind)
{
    switch (kind) {
    case SubentKind::kFace:
        return isSameSurface(TopoDS::Face(first), TopoDS::Face(second));
    case SubentKind::kEdge:
        return isSameCurve(TopoDS::Edge(first), TopoDS::Edge(second));
    case SubentKind::kVertex:
        break;
    }
    const TopoDS_Vertex one = TopoDS::Vertex(first);
    const TopoDS_Vertex other = TopoDS::Vertex(second);
    const double reach = reachOf(BRep_Tool::Tolerance(one) + BRep_Tool::Tolerance(other));
    return BRep_Tool::Pnt(one).Distance(BRep_Tool::Pnt(other)) <= reach;
}

bool sharesMaterial(const TopoDS_Shape& first, const TopoDS_Shape& second, SubentKind kind)
{
    if (kind == SubentKind::kEdge && BRep_Tool::Degenerated(TopoDS::Edge(first)) !=
                                         BRep_Tool::Degenerated(TopoDS::Edge(second))) {
        return false;
    }
    return areSomeOn(innerPoints(first, kind), second, kind) ||
           areSomeOn(innerPoints(second, kind), first, kind);
}

//--------------------------------------------------------------------------------------------------

ItemBoxes::ItemBoxes(const TopTools_IndexedMapOfShape& items, SubentKind kind) : m_kind(kind)
{
    for (int number = 1; number <= items.Extent(); ++number) {
        m_boxes.push_back(boxOf(items(number), kind));
    }
}

ItemBoxes::Box ItemBoxes::boxOf(const TopoDS_Shape& item, SubentKind kind)
{
    Bnd_Box bounds;
    if (kind == SubentKind::kVertex) {
        bounds.Add(BRep_Tool::Pnt(TopoDS::Vertex(item)));
        bounds.Enlarge(reachOf(BRep_Tool::Tolerance(TopoDS::Vertex(item))));
    } else {
        BRepBndLib::Add(item, bounds, Standard_False);
        bounds.Enlarge(kToleranceMm);
    }
    Box box;
    bounds.Get(box.min[0], box.min[1], box.min[2], box.max[0], box.max[1], box.max[2]);
    return box;
}

std::vector<int> ItemBoxes::near(const TopoDS_Shape& item) const
{
    const Box wanted = boxOf(item, m_kind);
    std::vector<int> numbers;
    for (std::size_t index = 0; index < m_boxes.size(); ++index) {
        const Box& box = m_boxes[index];
        bool meets = true;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            meets = meets && box.min[axis] <= wanted.max[axis] && wanted.min[axis] <= box.max[axis];
        }
        if (meets) {
            numbers.push_back(static_cast<int>(index) + 1);
        }
    }
    return numbers;
}

}  // namespace zemhost
