#include "kernel/kernel_display.h"

#include "kernel/kernel_guard_impl.h"
#include "kernel/kernel_solid_impl.h"

#include <BRepBndLib.hxx>
#include <BRepMesh_IncrementalMesh.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <Poly_Polygon3D.hxx>
#include <Poly_PolygonOnTriangulation.hxx>
#include <Poly_Triangulation.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>
#include <TopoDS_Vertex.hxx>

#include <cmath>

namespace zemhost {

namespace {

KernelPoint placed(const gp_Pnt& point, const TopLoc_Location& place)
{
    const gp_Pnt moved = place.IsIdentity() ? point : point.Transformed(place.Transformation());
    return {moved.X(), moved.Y(), moved.Z()};
}

double usableDeviation(const TopoDS_Shape& shape, double wanted)
{
    constexpr double kUsualShare = 1e-3;
    constexpr double kFinestShare = 1e-5;
    Bnd_Box box;
    BRepBndLib::Add(shape, box, Standard_False);
    const double diagonal = std::sqrt(box.SquareExtent());
    const bool isWish = std::isfinite(wanted) && wanted > 0;
    return isWish ? std::max(wanted, kFinestShare * diagonal) : kUsualShare * diagonal;
}

/// The same solid with lines and triangles, in shapes of its own: meshing writes into them.
std::shared_ptr<const KernelSolidImpl> meshed(const KernelSolid& solid, double deviationMm)
{
    constexpr double kAngleRad = 0.35;
    auto copy = std::make_shared<const KernelSolidImpl>(KernelSolidImpl::of(solid).payload());
    const double deviation = usableDeviation(copy->shape(), deviationMm);
    BRepMesh_IncrementalMesh mesh(copy->shape(), deviation, /*isRelative=*/Standard_False,
                                  kAngleRad, /*isInParallel=*/Standard_False);
    return copy;
}

const TopoDS_Shape& checkedItem(const KernelSolidImpl& solid, Subent item)
{
    const int count = solid.numbers().counts().of(item.kind);
    if (item.number < 1 || item.number > count) {
        throw KernelError(KernelFailure::kBadArgument, "",
                          std::string(subentKindName(item.kind)) + " " +
                              std::to_string(item.number) + " of a solid that has " +
                              std::to_string(count),
                          "count from 1");
    }
    return solid.item(item);
}

FaceMesh meshOf(const TopoDS_Face& face)
{
    FaceMesh mesh;
    TopLoc_Location place;
    const Handle(Poly_Triangulation) triangles = BRep_Tool::Triangulation(face, place);
    if (triangles.IsNull()) {
        return mesh;
    }
    for (int index = 1; index <= triangles->NbNodes(); ++index) {
        mesh.points.push_back(placed(triangles->Node(index), place));
    }
    const bool isTurned = (face.Orientation() == TopAbs_REVERSED) !=
                          (!place.IsIdentity() && place.Transformation().IsNegative());
    for (int index = 1; index <= triangles->NbTriangles(); ++index) {
        int first = 0;
        int second = 0;
        int third = 0;
        triangles->Triangle(index).Get(first, second, third);
        mesh.triangles.push_back(
            {first - 1, (isTurned ? third : second) - 1, (isTurned ? second : third) - 1});
    }
    return mesh;
}

/// The line that the triangles of the edge's faces have along it.
std::vector<KernelPoint> lineOf(const TopoDS_Edge& edge)
{
    std::vector<KernelPoint> line;
    TopLoc_Location place;
    const Handle(Poly_Polygon3D) polygon = BRep_Tool::Polygon3D(edge, place);
    if (!polygon.IsNull()) {
        for (int index = 1; index <= polygon->NbNodes(); ++index) {
            line.push_back(placed(polygon->Nodes()(index), place));
        }
        return line;
    }
    Handle(Poly_PolygonOnTriangulation) nodes;
    Handle(Poly_Triangulation) triangles;
    BRep_Tool::PolygonOnTriangulation(edge, nodes, triangles, place);
    if (nodes.IsNull() || triangles.IsNull()) {
        return line;
    }
    for (int index = 1; index <= nodes->NbNodes(); ++index) {
        line.push_back(placed(triangles->Node(nodes->Nodes()(index)), place));
    }
    return line;
}

}  // namespace

SolidDisplay::SolidDisplay(const KernelSolid& solid, double deviationMm)
{
    silenceKernel();
    m_meshed = guardKernel(KernelFailure::kDamagedBytes, "", "cutting a solid into triangles", "",
                           [&] { return meshed(solid, deviationMm); });
}

FaceMesh SolidDisplay::face(int number) const
{
    return guardKernel(KernelFailure::kDamagedBytes, "", "drawing a face", "", [&] {
        return meshOf(TopoDS::Face(checkedItem(*m_meshed, {SubentKind::kFace, number})));
    });
}

std::vector<KernelPoint> SolidDisplay::edge(int number) const
{
    return guardKernel(KernelFailure::kDamagedBytes, "", "drawing an edge", "", [&] {
        const TopoDS_Edge edge = TopoDS::Edge(checkedItem(*m_meshed, {SubentKind::kEdge, number}));
        return BRep_Tool::Degenerated(edge) ? std::vector<KernelPoint>() : lineOf(edge);
    });
}

KernelPoint SolidDisplay::vertex(int number) const
{
    const TopoDS_Shape& item = checkedItem(*m_meshed, {SubentKind::kVertex, number});
    return placed(BRep_Tool::Pnt(TopoDS::Vertex(item)), TopLoc_Location());
}

}  // namespace zemhost
