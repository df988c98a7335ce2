// Real parts: their numbers, and what a slot that is cut through them tells of each item.

#include "kernel/geometry_oracle.h"
#include "kernel/kernel_edit.h"
#include "kernel/kernel_import.h"

#include "kernel_test_files.h"

#include <BRepAdaptor_Curve.hxx>
#include <BRepGProp.hxx>
#include <BRep_Tool.hxx>
#include <BinTools.hxx>
#include <GCPnts_AbscissaPoint.hxx>
#include <GProp_GProps.hxx>
#include <TopExp.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Edge.hxx>
#include <TopoDS_Vertex.hxx>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <sstream>

namespace {

using zemhost::KernelBox;
using zemhost::KernelSolid;

std::vector<std::filesystem::path> sampleParts()
{
    std::vector<std::filesystem::path> parts;
    for (const std::filesystem::path& folder :
         {kernel_test::samplePath("occ"), kernel_test::samplePath("step"),
          kernel_test::frameStepPath().parent_path()}) {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            const std::filesystem::path extension = entry.path().extension();
            if (extension == ".brep" || extension == ".step") {
                parts.push_back(entry.path());
            }
        }
    }
    std::sort(parts.begin(), parts.end());
    return parts;
}

std::optional<KernelSolid> largestSolid(const std::filesystem::path& path)
{
    zemhost::ImportOptions options;
    options.isolation = zemhost::ImportIsolation::kSameProcess;
    std::optional<KernelSolid> largest;
    try {
        for (const zemhost::ImportedSolid& one : zemhost::importFile(path, options).solids) {
            if (!largest || one.solid.faceCount() > largest->faceCount()) {
                largest = one.solid;
            }
        }
    } catch (const zemhost::KernelError&) {
        return std::nullopt;
    }
    return largest;
}

/// A slot across the middle of a solid, from above down to a little over half of its height.
zemhost::RecipeStep slotThrough(const KernelSolid& solid)
{
    const KernelBox box = solid.boundingBox();
    const double length = box.max[0] - box.min[0];
    const double floor = box.min[2] + (box.max[2] - box.min[2]) * 0.6;
    return zemhost::RecipeStep::cutBox(
        {box.min[0] + length * 0.47, box.min[1] - 1, floor},
        {length * 0.04, box.max[1] - box.min[1] + 2, box.max[2] - floor + 1});
}

TopoDS_Shape shapeOf(const KernelSolid& solid)
{
    constexpr std::size_t kHeaderBytes = 24;
    const std::vector<unsigned char> bytes = solid.toBytes();
    std::istringstream stream(std::string(bytes.begin() + kHeaderBytes, bytes.end()),
                              std::ios::binary);
    TopoDS_Shape shape;
    BinTools::Read(shape, stream);
    return shape;
}

TEST(KernelSolid, NumbersTheItemsOfEverySamplePartAsTheKernelsMapsDo)
{
    for (const std::filesystem::path& path : sampleParts()) {
        const std::optional<KernelSolid> solid = largestSolid(path);
        if (!solid) {
            continue;
        }
        SCOPED_TRACE(path.string());
        const TopoDS_Shape shape = shapeOf(*solid);
        TopTools_IndexedMapOfShape faces;
        TopTools_IndexedMapOfShape edges;
        TopTools_IndexedMapOfShape vertices;
        TopExp::MapShapes(shape, TopAbs_FACE, faces);
        TopExp::MapShapes(shape, TopAbs_EDGE, edges);
        TopExp::MapShapes(shape, TopAbs_VERTEX, vertices);
        ASSERT_EQ(solid->counts(),
                  (zemhost::SubentCounts{faces.Extent(), edges.Extent(), vertices.Extent()}));
        for (int number = 1; number <= faces.Extent(); ++number) {
            GProp_GProps properties;
            BRepGProp::SurfaceProperties(faces(number), properties);
            EXPECT_EQ(solid->face(number).areaMm2, properties.Mass()) << number;
        }
        for (int number = 1; number <= edges.Extent(); ++number) {
            const TopoDS_Edge edge = TopoDS::Edge(edges(number));
            const bool isPole = BRep_Tool::Degenerated(edge);
            EXPECT_EQ(solid->edge(number).lengthMm,
                      isPole ? 0 : GCPnts_AbscissaPoint::Length(BRepAdaptor_Curve(edge)))
                << number;
        }
        for (int number = 1; number <= vertices.Extent(); ++number) {
            const gp_Pnt point = BRep_Tool::Pnt(TopoDS::Vertex(vertices(number)));
            EXPECT_EQ(solid->vertex(number).point,
                      (zemhost::KernelPoint{point.X(), point.Y(), point.Z()}))
                << number;
        }
    }
}

TEST(ApplyEdit, AgreesWithGeometryOnASlotThroughEverySamplePart)
{
    zemhost::EditOptions options;
    options.isolation = zemhost::EditIsolation::kSameProcess;
    int parts = 0;
    int items = 0;
    int blind = 0;
    for (const std::filesystem::path& path : sampleParts()) {
        const std::optional<KernelSolid> solid = largestSolid(path);
        if (!solid) {
            continue;
        }
        SCOPED_TRACE(path.string());
        const zemhost::EditResult edit = applyEdit(*solid, slotThrough(*solid), options);
        const zemhost::OracleReport report = compareWithGeometry(*solid, edit.solid, edit.map);
        EXPECT_EQ(report.differences, 0) << kernel_test::describeDifferences(report);
        EXPECT_EQ(report.ambiguous, 0);
        blind += report.blind;
        ++parts;
        items += report.items;
    }
    EXPECT_GE(parts, 25);
    EXPECT_GT(items, 5000);
    EXPECT_LE(blind, 20);
}

}  // namespace
