#include "kernel/kernel_solid.h"

#include "kernel/kernel_guard_impl.h"
#include "kernel/kernel_solid_impl.h"
#include "kernel/sealed_bytes_impl.h"

#include <BRepAdaptor_Curve.hxx>
#include <BRepAdaptor_Surface.hxx>
#include <BRepBndLib.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRepGProp.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeCylinder.hxx>
#include <BRep_Tool.hxx>
#include <BinTools.hxx>
#include <Bnd_Box.hxx>
#include <GCPnts_AbscissaPoint.hxx>
#include <GProp_GProps.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Face.hxx>
#include <TopoDS_Iterator.hxx>

#include <cmath>
#include <sstream>
#include <utility>

namespace zemhost {

namespace {

constexpr double kSmallestSizeMm = 1e-7;

constexpr const char* kFromBackup = "take the solid from an earlier copy or import it again";

constexpr SealedForm kSolidForm = {
    {'Z', 'E', 'M', 'S', 'O', 'L', 'I', 'D'}, 1, "stored solid", kFromBackup};

//--------------------------------------------------------------------------------------------------
// Bytes

std::span<const unsigned char> bytesOf(const std::string& text)
{
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

std::string writePayload(const TopoDS_Shape& shape)
{
    return guardKernel(KernelFailure::kDamagedBytes, "", "writing a solid", "", [&] {
        std::ostringstream stream(std::ios::binary);
        BinTools::Write(shape, stream, Standard_False, Standard_False,
                        BinTools_FormatVersion_CURRENT);
        return std::move(stream).str();
    });
}

/// A solid, or several directly inside a compound.
bool isSolid(const TopoDS_Shape& shape)
{
    if (shape.IsNull() || shape.ShapeType() == TopAbs_SOLID) {
        return !shape.IsNull();
    }
    int solids = 0;
    for (TopoDS_Iterator part(shape); part.More(); part.Next()) {
        if (part.Value().ShapeType() != TopAbs_SOLID) {
            return false;
        }
        ++solids;
    }
    return shape.ShapeType() == TopAbs_COMPOUND && solids > 1;
}

TopoDS_Shape readPayload(const std::string& payload)
{
    TopoDS_Shape shape;
    guardKernel(KernelFailure::kDamagedBytes, "", "reading a stored solid", kFromBackup, [&] {
        std::istringstream stream(payload, std::ios::binary);
        // On a stream that has failed the kernel's reader goes on with what its variables hold.
        stream.exceptions(std::ios::failbit | std::ios::badbit);
        BinTools::Read(shape, stream);
    });
    if (!isSolid(shape)) {
        throwDamaged(kSolidForm, "the bytes describe no solid");
    }
    return shape;
}

//--------------------------------------------------------------------------------------------------
// Kinds

struct SurfaceKindRow
{
    GeomAbs_SurfaceType type;
    SurfaceKind kind;
};

constexpr SurfaceKindRow kSurfaceKinds[] = {
    {GeomAbs_Plane, SurfaceKind::kPlane},
    {GeomAbs_Cylinder, SurfaceKind::kCylinder},
    {GeomAbs_Cone, SurfaceKind::kCone},
    {GeomAbs_Sphere, SurfaceKind::kSphere},
    {GeomAbs_Torus, SurfaceKind::kTorus},
    {GeomAbs_BezierSurface, SurfaceKind::kBezier},
    {GeomAbs_BSplineSurface, SurfaceKind::kBspline},
    {GeomAbs_SurfaceOfRevolution, SurfaceKind::kRevolution},
    {GeomAbs_SurfaceOfExtrusion, SurfaceKind::kExtrusion},
    {GeomAbs_OffsetSurface, SurfaceKind::kOffset},
};

struct CurveKindRow
{
    GeomAbs_CurveType type;
    CurveKind kind;
};

constexpr CurveKindRow kCurveKinds[] = {
    {GeomAbs_Line, CurveKind::kLine},
    {GeomAbs_Circle, CurveKind::kCircle},
    {GeomAbs_Ellipse, CurveKind::kEllipse},
    {GeomAbs_Hyperbola, CurveKind::kHyperbola},
    {GeomAbs_Parabola, CurveKind::kParabola},
    {GeomAbs_BezierCurve, CurveKind::kBezier},
    {GeomAbs_BSplineCurve, CurveKind::kBspline},
    {GeomAbs_OffsetCurve, CurveKind::kOffset},
};

SurfaceKind surfaceKindOf(GeomAbs_SurfaceType type)
{
    for (const SurfaceKindRow& row : kSurfaceKinds) {
        if (row.type == type) {
            return row.kind;
        }
    }
    return SurfaceKind::kOther;
}

CurveKind curveKindOf(GeomAbs_CurveType type)
{
    for (const CurveKindRow& row : kCurveKinds) {
        if (row.type == type) {
            return row.kind;
        }
    }
    return CurveKind::kOther;
}

//--------------------------------------------------------------------------------------------------
// Measuring

[[noreturn]] void throwUnmeasurable(const std::string& reason)
{
    throw KernelError(KernelFailure::kDamagedBytes, "", reason, kFromBackup);
}

double finite(double value, const char* what)
{
    if (!std::isfinite(value)) {
        throwUnmeasurable(std::string(what) + " is not finite");
    }
    return value;
}

KernelPoint finitePoint(const gp_Pnt& point, const char* what)
{
    return {finite(point.X(), what), finite(point.Y(), what), finite(point.Z(), what)};
}

FaceInfo measureFace(const TopoDS_Face& face, int number)
{
    // The kernel's own measuring functions go through the surface without a check.
    if (BRep_Tool::Surface(face).IsNull()) {
        throwUnmeasurable("face " + std::to_string(number) + " has no surface");
    }
    GProp_GProps properties;
    BRepGProp::SurfaceProperties(face, properties);
    const BRepAdaptor_Surface surface(face, Standard_False);
    return {surfaceKindOf(surface.GetType()), finite(properties.Mass(), "area of a face")};
}

EdgeInfo measureEdge(const TopoDS_Edge& edge)
{
    if (BRep_Tool::Degenerated(edge)) {
        return {CurveKind::kDegenerated, 0};
    }
    const BRepAdaptor_Curve curve(edge);
    return {curveKindOf(curve.GetType()),
            finite(GCPnts_AbscissaPoint::Length(curve), "length of an edge")};
}

/// Grows `box` by the geometry of `shape`, without tolerances.
///
/// The exact box of a free-form face takes a search for its extremes, the one of its control points
/// comes for nothing. Where the latter lies inside what is already known, the search finds nothing
/// new; that is so for most faces of a part.
void growBox(const TopoDS_Shape& shape, Bnd_Box& box)
{
    Bnd_Box loose;
    BRepBndLib::Add(shape, loose, Standard_False);
    loose.SetGap(0);
    const bool isInside = !loose.IsVoid() && !loose.IsOpen() && !box.IsVoid() &&
                          !box.IsOut(loose.CornerMin()) && !box.IsOut(loose.CornerMax());
    if (isInside) {
        return;
    }
    Bnd_Box exact;
    BRepBndLib::AddOptimal(shape, exact, Standard_False, Standard_False);
    exact.SetGap(0);
    box.Add(exact);
}

KernelBox measureBox(const KernelSolidImpl& solid)
{
    Bnd_Box box;
    for (const SubentKind kind : {SubentKind::kVertex, SubentKind::kEdge, SubentKind::kFace}) {
        const TopTools_IndexedMapOfShape& items = solid.items(kind);
        for (int number = 1; number <= items.Extent(); ++number) {
            growBox(items(number), box);
        }
    }
    if (box.IsVoid() || box.IsOpen()) {
        throwUnmeasurable("the solid has no bounds");
    }
    return {finitePoint(box.CornerMin(), "bounding box"),
            finitePoint(box.CornerMax(), "bounding box")};
}

int checkedNumber(int number, int count, const char* what)
{
    if (number < 1 || number > count) {
        throw KernelError(KernelFailure::kBadArgument, "",
                          std::string(what) + " " + std::to_string(number) +
                              " of a solid that has " + std::to_string(count),
                          "count from 1");
    }
    return number;
}

void checkSize(double size)
{
    if (!std::isfinite(size) || size <= kSmallestSizeMm) {
        throw KernelError(KernelFailure::kBadArgument, "",
                          "size of " + std::to_string(size) + " mm", "give more than 1e-7 mm");
    }
}

}  // namespace

//--------------------------------------------------------------------------------------------------

std::string_view surfaceKindName(SurfaceKind kind)
{
    static constexpr std::string_view kNames[] = {"plane",     "cylinder", "cone",    "sphere",
                                                  "torus",     "bezier",   "bspline", "revolution",
                                                  "extrusion", "offset",   "other"};
    const std::size_t index = static_cast<std::size_t>(kind);
    return index < std::size(kNames) ? kNames[index] : "other";
}

std::string_view curveKindName(CurveKind kind)
{
    static constexpr std::string_view kNames[] = {"line",     "circle",     "ellipse", "hyperbola",
                                                  "parabola", "bezier",     "bspline", "offset",
                                                  "other",    "degenerated"};
    const std::size_t index = static_cast<std::size_t>(kind);
    return index < std::size(kNames) ? kNames[index] : "other";
}

//--------------------------------------------------------------------------------------------------

KernelSolidImpl::KernelSolidImpl(std::string payload)
    : m_payload(std::move(payload)), m_shape(readPayload(m_payload)), m_numbers(m_shape)
{
}

KernelSolid KernelSolidImpl::fromShape(const TopoDS_Shape& shape)
{
    if (!isSolid(shape)) {
        throw KernelError(KernelFailure::kNoSolid, "", "the shape is no solid", "");
    }
    return KernelSolid(std::make_shared<KernelSolidImpl>(writePayload(shape)));
}

KernelSolid KernelSolidImpl::fromBytes(std::span<const unsigned char> bytes,
                                       std::optional<SolidFigures> figures)
{
    const std::span<const unsigned char> payload = unsealBytes(kSolidForm, bytes);
    std::string text(reinterpret_cast<const char*>(payload.data()), payload.size());
    auto impl = std::make_shared<KernelSolidImpl>(std::move(text));
    if (figures.has_value()) {
        const SubentCounts counts = impl->m_numbers.counts();
        const bool countsAgree =
            static_cast<std::size_t>(counts.faces) == figures->faces.size() &&
            static_cast<std::size_t>(counts.edges) == figures->edges.size() &&
            static_cast<std::size_t>(counts.vertices) == figures->vertices.size();
        if (!countsAgree) {
            throwDamaged(kSolidForm, "its figures belong to another solid");
        }
        std::call_once(impl->m_measured, [&] { impl->m_figures = std::move(*figures); });
    }
    return KernelSolid(std::move(impl));
}

int KernelSolidImpl::lumpCount() const
{
    return m_shape.ShapeType() == TopAbs_SOLID ? 1 : m_shape.NbChildren();
}

const SolidFigures& KernelSolidImpl::figures() const
{
    std::call_once(m_measured, [this] {
        m_figures = guardKernel(KernelFailure::kDamagedBytes, "", "measuring a solid", kFromBackup,
                                [this] { return measure(); });
    });
    return m_figures;
}

SolidFigures KernelSolidImpl::measure() const
{
    const TopTools_IndexedMapOfShape& faces = items(SubentKind::kFace);
    const TopTools_IndexedMapOfShape& edges = items(SubentKind::kEdge);
    const TopTools_IndexedMapOfShape& vertices = items(SubentKind::kVertex);
    if (faces.IsEmpty()) {
        throwUnmeasurable("the solid has no faces");
    }
    SolidFigures figures;
    for (int number = 1; number <= faces.Extent(); ++number) {
        figures.faces.push_back(measureFace(TopoDS::Face(faces(number)), number));
        figures.areaMm2 += figures.faces.back().areaMm2;
    }
    for (int number = 1; number <= edges.Extent(); ++number) {
        figures.edges.push_back(measureEdge(TopoDS::Edge(edges(number))));
    }
    for (int number = 1; number <= vertices.Extent(); ++number) {
        const gp_Pnt point = BRep_Tool::Pnt(TopoDS::Vertex(vertices(number)));
        figures.vertices.push_back({finitePoint(point, "a vertex")});
    }
    GProp_GProps properties;
    BRepGProp::VolumeProperties(m_shape, properties);
    figures.volumeMm3 = finite(properties.Mass(), "volume");
    figures.box = measureBox(*this);
    figures.valid = BRepCheck_Analyzer(m_shape).IsValid();
    return figures;
}

//--------------------------------------------------------------------------------------------------

KernelSolid::KernelSolid(std::shared_ptr<const KernelSolidImpl> impl) : m_impl(std::move(impl)) {}

KernelSolid KernelSolid::makeBox(double dx, double dy, double dz)
{
    checkSize(dx);
    checkSize(dy);
    checkSize(dz);
    return guardKernel(KernelFailure::kBadArgument, "", "making a box", "", [&] {
        return KernelSolidImpl::fromShape(BRepPrimAPI_MakeBox(dx, dy, dz).Solid());
    });
}

KernelSolid KernelSolid::makeCylinder(double radius, double height)
{
    checkSize(radius);
    checkSize(height);
    return guardKernel(KernelFailure::kBadArgument, "", "making a cylinder", "", [&] {
        return KernelSolidImpl::fromShape(BRepPrimAPI_MakeCylinder(radius, height).Solid());
    });
}

std::vector<unsigned char> KernelSolid::toBytes() const
{
    return sealBytes(kSolidForm, bytesOf(m_impl->payload()));
}

KernelSolid KernelSolid::fromBytes(std::span<const unsigned char> bytes)
{
    return KernelSolidImpl::fromBytes(bytes, std::nullopt);
}

int KernelSolid::faceCount() const
{
    return m_impl->numbers().counts().faces;
}

int KernelSolid::edgeCount() const
{
    return m_impl->numbers().counts().edges;
}

int KernelSolid::vertexCount() const
{
    return m_impl->numbers().counts().vertices;
}

SubentCounts KernelSolid::counts() const
{
    return m_impl->numbers().counts();
}

int KernelSolid::lumpCount() const
{
    return m_impl->lumpCount();
}

FaceInfo KernelSolid::face(int number) const
{
    const int index = checkedNumber(number, faceCount(), "face") - 1;
    return m_impl->figures().faces[static_cast<std::size_t>(index)];
}

EdgeInfo KernelSolid::edge(int number) const
{
    const int index = checkedNumber(number, edgeCount(), "edge") - 1;
    return m_impl->figures().edges[static_cast<std::size_t>(index)];
}

VertexInfo KernelSolid::vertex(int number) const
{
    const int index = checkedNumber(number, vertexCount(), "vertex") - 1;
    return m_impl->figures().vertices[static_cast<std::size_t>(index)];
}

KernelBox KernelSolid::boundingBox() const
{
    return m_impl->figures().box;
}

double KernelSolid::volumeMm3() const
{
    return m_impl->figures().volumeMm3;
}

double KernelSolid::areaMm2() const
{
    return m_impl->figures().areaMm2;
}

bool KernelSolid::isValid() const
{
    return m_impl->figures().valid;
}

}  // namespace zemhost
