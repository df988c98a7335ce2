// The kernel as the modeler of solids in drawings.

#include "assoc/od_platform.h"
#include "db/od_db_3d_solid.h"
#include "kernel/kernel_solid.h"
#include "root/od_rx_module.h"
#include "support/gi_recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

using gitest::RecordingWorldDraw;
using zemhost::KernelSolid;

constexpr wchar_t const* kFormat = L"ZEMSOLID";

OdBinaryData bytesOf(KernelSolid const& solid)
{
    const std::vector<unsigned char> bytes = solid.toBytes();
    return OdBinaryData(bytes.begin(), bytes.end());
}

class SolidModeler : public testing::Test
{
protected:
    void SetUp() override
    {
        const auto folder = std::filesystem::path(ZEM_MODULE_PATH).parent_path();
        m_kernel = odLoadModule((folder / "zemhost_kernel.tx").string());
    }

    static OdDb3dSolidPtr makeSolid(KernelSolid const& solid)
    {
        OdDb3dSolidPtr result = OdDb3dSolid::createObject();
        EXPECT_EQ(result->setBodyByModeler(kFormat, bytesOf(solid)), kOdOk);
        return result;
    }

    static long countOf(RecordingWorldDraw const& draw, std::string const& start)
    {
        return std::count_if(draw.drawn.journal.begin(), draw.drawn.journal.end(),
                             [&start](std::string const& line) { return line.starts_with(start); });
    }

private:
    OdPlatform m_platform;
    std::unique_ptr<OdModuleHandle> m_kernel;
};

TEST_F(SolidModeler, CountsThePartsOfABody)
{
    const OdDb3dSolidPtr solid = makeSolid(KernelSolid::makeBox(1, 2, 3));
    EXPECT_EQ(solid->counts(), (OdDb3dSolid::Counts{6, 12, 8}));
    EXPECT_FALSE(solid->modeler().isNull());
}

TEST_F(SolidModeler, FindsTheLeastBoxAroundAPlacedBody)
{
    const OdDb3dSolidPtr solid = makeSolid(KernelSolid::makeCylinder(2, 10));
    OdGeMatrix3d placement;
    placement.setToRotation(0.7, OdGeVector3d(0, 0, 1));
    placement.preMultBy(OdGeMatrix3d::translation(OdGeVector3d(1, 2, 3)));
    solid->setPlacement(placement);
    OdGeExtents3d extents;
    ASSERT_EQ(solid->getGeomExtents(extents), kOdOk);
    EXPECT_TRUE(extents.minPoint().isEqualTo(OdGePoint3d(-1, 0, 3), OdGeTol(1e-6)));
    EXPECT_TRUE(extents.maxPoint().isEqualTo(OdGePoint3d(3, 4, 13), OdGeTol(1e-6)));
}

TEST_F(SolidModeler, DrawsEveryFaceAndEdgeWithItsMarkerWhereTheSolidStands)
{
    const OdDb3dSolidPtr solid = makeSolid(KernelSolid::makeBox(1, 2, 3));
    solid->setPlacement(OdGeMatrix3d::translation(OdGeVector3d(10, 0, 0)));
    OdStaticRxObject<RecordingWorldDraw> draw;
    draw.traits.journal = &draw.drawn.journal;
    EXPECT_EQ(solid->worldDraw(&draw), static_cast<unsigned>(kDrawableNone));
    EXPECT_EQ(countOf(draw, "shell"), 6);
    EXPECT_EQ(countOf(draw, "polyline"), 12);
    EXPECT_EQ(draw.drawn.transformDepth(), 0U);
    for (OdGePoint3d const& point : draw.drawn.points) {
        EXPECT_GE(point.x, 10 - 1e-9);
        EXPECT_LE(point.x, 11 + 1e-9);
    }
    std::vector<std::string> const& journal = draw.drawn.journal;
    for (int face = 1; face <= 6; ++face) {
        const std::string marker = "marker " + std::to_string(4 * face + 1);
        const auto at = std::find(journal.begin(), journal.end(), marker);
        ASSERT_NE(at, journal.end()) << marker;
        EXPECT_TRUE((at + 1)->starts_with("shell"));
    }
}

TEST_F(SolidModeler, DrawsAsFineAsTheDrawingAsksInItsOwnLengths)
{
    const OdDb3dSolidPtr solid = makeSolid(KernelSolid::makeCylinder(100, 10));
    const auto pointsFor = [&solid](double deviation) {
        OdStaticRxObject<RecordingWorldDraw> draw;
        draw.allowedDeviation = deviation;
        (void)solid->worldDraw(&draw);
        return draw.drawn.points.size();
    };
    const std::size_t coarse = pointsFor(5);
    EXPECT_GT(pointsFor(0.05), coarse);
    solid->setPlacement(OdGeMatrix3d::scaling(100));
    EXPECT_EQ(pointsFor(500), coarse);
}

TEST_F(SolidModeler, AnswersDamagedForBytesThatItCantReadAndDrawsNothing)
{
    OdBinaryData bytes = bytesOf(KernelSolid::makeBox(1, 2, 3));
    bytes[bytes.size() - 1] ^= 1;
    const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
    EXPECT_EQ(solid->setBodyByModeler(kFormat, bytes), kOdObjectDamaged);
    EXPECT_TRUE(solid->isNull());
    solid->setBody(kFormat, bytes, {6, 12, 8});
    OdGeExtents3d extents;
    EXPECT_EQ(solid->getGeomExtents(extents), kOdObjectDamaged);
    OdStaticRxObject<RecordingWorldDraw> draw;
    EXPECT_EQ(solid->worldDraw(&draw), static_cast<unsigned>(kDrawableIsTruncated));
    EXPECT_TRUE(draw.drawn.journal.empty());
}

TEST_F(SolidModeler, TellsOfPartsThatABodyDoesntHave)
{
    const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
    solid->setBody(kFormat, bytesOf(KernelSolid::makeBox(1, 2, 3)), {7, 12, 8});
    OdStaticRxObject<RecordingWorldDraw> draw;
    EXPECT_EQ(solid->worldDraw(&draw), static_cast<unsigned>(kDrawableIsTruncated));
    EXPECT_EQ(countOf(draw, "shell"), 6);
    EXPECT_EQ(solid->modeler()->drawPart(*solid, {OdDb::SubentType::kFaceSubentType, 7}, draw),
              kOdInvalidIndex);
    EXPECT_EQ(solid->modeler()->drawPart(*solid, {OdDb::SubentType::kVertexSubentType, 8}, draw),
              kOdOk);
}

TEST_F(SolidModeler, KnowsNoOtherFormat)
{
    const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
    EXPECT_EQ(solid->setBodyByModeler(L"OTHER", bytesOf(KernelSolid::makeBox(1, 2, 3))),
              kOdNotApplicable);
    solid->setBody(L"OTHER", OdBinaryData(3, 1), {1, 1, 1});
    EXPECT_TRUE(solid->modeler().isNull());
}

TEST_F(SolidModeler, MovesABodyIntoItsPlacement)
{
    const KernelSolid box = KernelSolid::makeBox(1, 2, 3);
    const OdDb3dSolidPtr solid = makeSolid(box);
    OdGeMatrix3d placement = OdGeMatrix3d::scaling(2);
    placement.preMultBy(OdGeMatrix3d::translation(OdGeVector3d(5, 6, 7)));
    OdBinaryData moved;
    ASSERT_EQ(solid->modeler()->transform(kFormat, solid->body(), placement, moved), kOdOk);
    const KernelSolid found =
        KernelSolid::fromBytes(std::vector<unsigned char>(moved.begin(), moved.end()));
    EXPECT_NEAR(found.volumeMm3(), 48, 1e-9);
    EXPECT_NEAR(found.boundingBox().min[0], 5, 1e-9);
    for (int vertex = 1; vertex <= 8; ++vertex) {
        EXPECT_NEAR(found.vertex(vertex).point[1], 6 + 2 * box.vertex(vertex).point[1], 1e-9);
    }
    OdBinaryData untouched;
    placement.setToScaling(OdGeScale3d(1, 1, 0));
    EXPECT_EQ(solid->modeler()->transform(kFormat, solid->body(), placement, untouched),
              kOdInvalidInput);
    EXPECT_TRUE(untouched.isEmpty());
}

TEST_F(SolidModeler, TellsSolidsApartThatComeAndGo)
{
    for (int round = 0; round < 30; ++round) {
        const double size = 1 + round % 11;
        const OdDb3dSolidPtr solid = makeSolid(KernelSolid::makeBox(size, size, size));
        OdGeExtents3d extents;
        ASSERT_EQ(solid->getGeomExtents(extents), kOdOk);
        EXPECT_NEAR(extents.maxPoint().x, size, 1e-9);
    }
}

}  // namespace
