#include "db/db_test_support.h"
#include "db/od_db_3d_solid.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_block_table.h"
#include "support/gi_recorder.h"

#include <gtest/gtest.h>

#include <numbers>

using namespace dbtest;

namespace {

/// Knows one format: a body of three bytes with the numbers of its parts. A face draws a polygon, an
/// edge a line.
class CountingModeler : public OdDb3dSolidModeler
{
public:
    OdResult drawResult = kOdOk;

    bool knowsFormat(OdString const& format) const override { return format == L"counted"; }
    OdResult count(OdString const& /*format*/, OdBinaryData const& body,
                   OdDb3dSolid::Counts& counts) const override
    {
        if (body.size() != 3) {
            return kOdObjectDamaged;
        }
        counts = {body.getAt(0), body.getAt(1), body.getAt(2)};
        return kOdOk;
    }
    OdResult extents(OdDb3dSolid const& solid, OdGeExtents3d& extents) const override
    {
        extents = OdGeExtents3d(OdGePoint3d(0, 0, 0), OdGePoint3d(1, 1, 1));
        extents.transformBy(solid.placement());
        return kOdOk;
    }
    OdResult drawPart(OdDb3dSolid const& /*solid*/, OdDbSubentId part,
                      OdGiWorldDraw& worldDraw) const override
    {
        const OdGePoint3d points[] = {OdGePoint3d(0, 0, 0), OdGePoint3d(1, 0, 0),
                                      OdGePoint3d(0, 1, 0)};
        if (part.type() == OdDb::SubentType::kFaceSubentType) {
            worldDraw.geometry().polygon(points);
        } else {
            worldDraw.geometry().polyline({points, 2});
        }
        return drawResult;
    }
    OdResult transform(OdString const& /*format*/, OdBinaryData const& body,
                       OdGeMatrix3d const& /*placement*/, OdBinaryData& result) const override
    {
        result = body;
        return kOdOk;
    }
};

OdBinaryData bodyOf(std::initializer_list<std::uint8_t> bytes)
{
    OdBinaryData body;
    for (std::uint8_t byte : bytes) {
        body.append(byte);
    }
    return body;
}

class Solid : public DatabaseTest
{
protected:
    OdStaticRxObject<CountingModeler> m_modeler;
    OdDb3dSolidPtr m_solid = OdDb3dSolid::createObject();

    void SetUp() override
    {
        OdDb3dSolid::desc()->addX(OdDb3dSolidModeler::desc(), &m_modeler);
        m_solid->setBody(L"counted", bodyOf({2, 3, 1}), {2, 3, 1});
        OdDbBlockTableRecordPtr(m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite))
            ->appendOdDbEntity(m_solid.get());
    }
    void TearDown() override
    {
        m_solid.release();
        OdDb3dSolid::desc()->delX(OdDb3dSolidModeler::desc());
        DatabaseTest::TearDown();
    }
    OdDbFullSubentPath pathTo(OdDb::SubentType type, std::int64_t index) const
    {
        OdDbObjectIdArray ids;
        ids.append(m_solid->objectId());
        return {ids, {type, index}};
    }
};

using enum OdDb::SubentType;

TEST_F(Solid, HasItsPartsByNumbersFromOneToTheirCount)
{
    EXPECT_FALSE(m_solid->subentPtr(pathTo(kFaceSubentType, 1)).isNull());
    EXPECT_FALSE(m_solid->subentPtr(pathTo(kFaceSubentType, 2)).isNull());
    EXPECT_FALSE(m_solid->subentPtr(pathTo(kEdgeSubentType, 3)).isNull());
    EXPECT_FALSE(m_solid->subentPtr(pathTo(kVertexSubentType, 1)).isNull());
    for (std::int64_t index : {std::int64_t{0}, std::int64_t{3}, std::int64_t{-1},
                               std::int64_t{1} << 32, (std::int64_t{1} << 32) + 1}) {
        EXPECT_TRUE(m_solid->subentPtr(pathTo(kFaceSubentType, index)).isNull()) << index;
    }
    EXPECT_TRUE(m_solid->subentPtr(pathTo(kNullSubentType, 1)).isNull());
    EXPECT_TRUE(m_solid->subentPtr(pathTo(kClassSubentType, 1)).isNull());
    EXPECT_TRUE(m_solid->subentPtr(pathTo(static_cast<OdDb::SubentType>(99), 1)).isNull());
}

TEST_F(Solid, HasNoPartsAtTheEndOfAnotherPath)
{
    OdDbObjectIdArray ids;
    ids.append(m_db->getModelSpaceId());
    EXPECT_TRUE(m_solid->subentPtr({ids, {kFaceSubentType, 1}}).isNull());
    EXPECT_TRUE(m_solid->subentPtr({OdDbObjectIdArray(), {kFaceSubentType, 1}}).isNull());
}

TEST_F(Solid, DrawsFacesBehindMarkersFromFiveInStepsOfFourAndEdgesBehindOthers)
{
    OdStaticRxObject<gitest::RecordingWorldDraw> worldDraw;
    std::vector<std::string> journal;
    worldDraw.traits.journal = &journal;
    EXPECT_EQ(m_solid->worldDraw(&worldDraw), unsigned{kDrawableNone});
    EXPECT_EQ(journal, (std::vector<std::string>{"marker 5", "marker 9", "marker 6", "marker 10",
                                                 "marker 14", "marker 0"}));
    EXPECT_EQ(worldDraw.drawn.journal,
              (std::vector<std::string>{"polygon 3", "polygon 3", "polyline 2", "polyline 2",
                                        "polyline 2"}));
}

TEST_F(Solid, FindsThePartOfAMarker)
{
    for (OdDb::SubentType type : {kFaceSubentType, kEdgeSubentType, kVertexSubentType}) {
        for (std::int64_t index = 1; index < 5; ++index) {
            const OdDbSubentId part(type, index);
            EXPECT_EQ(OdDb3dSolid::partOfMarker(OdDb3dSolid::selectionMarker(part)), part);
        }
    }
    for (std::int64_t marker : {-3, 0, 1, 4, 8}) {
        EXPECT_EQ(OdDb3dSolid::partOfMarker(marker), OdDbSubentId()) << marker;
    }
}

TEST_F(Solid, DrawsAndMeasuresItsBodyWhereItWasMovedTo)
{
    ASSERT_EQ(m_solid->transformBy(OdGeMatrix3d::translation(OdGeVector3d(5, 0, 0))), kOdOk);
    OdGeExtents3d extents;
    ASSERT_EQ(m_solid->getGeomExtents(extents), kOdOk);
    EXPECT_EQ(extents, OdGeExtents3d(OdGePoint3d(5, 0, 0), OdGePoint3d(6, 1, 1)));
    OdStaticRxObject<gitest::RecordingWorldDraw> worldDraw;
    m_solid->worldDraw(&worldDraw);
    EXPECT_EQ(worldDraw.drawn.points.at(1), OdGePoint3d(6, 0, 0));
    EXPECT_EQ(worldDraw.drawn.transformDepth(), 0U);
}

TEST_F(Solid, KeepsItsBytesWhenItIsMovedAndNeedsNoModeler)
{
    OdDb3dSolid::desc()->delX(OdDb3dSolidModeler::desc());
    const OdBinaryData before = m_solid->body();
    m_db->startUndoRecord();
    const std::uint64_t bytes = m_db->undoBytes();
    ASSERT_EQ(m_solid->transformBy(OdGeMatrix3d::scaling(2.0)), kOdOk);
    EXPECT_LT(m_db->undoBytes() - bytes, 200U);
    EXPECT_EQ(m_solid->body(), before);
    EXPECT_EQ(m_solid->placement(), OdGeMatrix3d::scaling(2.0));
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(m_solid->placement(), OdGeMatrix3d());
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(m_solid->placement(), OdGeMatrix3d::scaling(2.0));
}

TEST_F(Solid, WithoutAModelerDrawsNothingAndHasNoExtents)
{
    m_solid->setBody(L"unknown", bodyOf({1}), {1, 0, 0});
    OdStaticRxObject<gitest::RecordingWorldDraw> worldDraw;
    EXPECT_EQ(m_solid->worldDraw(&worldDraw), unsigned{kDrawableNone});
    EXPECT_TRUE(worldDraw.drawn.journal.empty());
    OdGeExtents3d extents;
    EXPECT_EQ(m_solid->getGeomExtents(extents), kOdNotApplicable);
    EXPECT_FALSE(m_solid->subentPtr(pathTo(kFaceSubentType, 1)).isNull());
}

TEST_F(Solid, TakesItsCountsFromTheModeler)
{
    EXPECT_EQ(m_solid->setBodyByModeler(L"counted", bodyOf({7, 8, 9})), kOdOk);
    EXPECT_EQ(m_solid->counts(), (OdDb3dSolid::Counts{7, 8, 9}));
    EXPECT_EQ(m_solid->setBodyByModeler(L"counted", bodyOf({7})), kOdObjectDamaged);
    EXPECT_EQ(m_solid->setBodyByModeler(L"unknown", bodyOf({1, 2, 3})), kOdNotApplicable);
    EXPECT_EQ(m_solid->counts(), (OdDb3dSolid::Counts{7, 8, 9}));
}

TEST_F(Solid, TellsOfAPartThatCannotBeDrawnAndOfADrawingThatIsBrokenOff)
{
    OdStaticRxObject<gitest::RecordingWorldDraw> worldDraw;
    m_modeler.drawResult = kOdObjectDamaged;
    EXPECT_EQ(m_solid->worldDraw(&worldDraw), unsigned{kDrawableIsTruncated});
    m_modeler.drawResult = kOdOk;
    worldDraw.partsUntilAbort = 1;
    worldDraw.drawn.journal.clear();
    EXPECT_EQ(m_solid->worldDraw(&worldDraw), unsigned{kDrawableIsTruncated});
    EXPECT_EQ(worldDraw.drawn.journal.front(), "polygon 3");
    EXPECT_EQ(worldDraw.drawn.transformDepth(), 0U);
}

/// Colours each face by its marker, as one that knows features does.
class FaceOverrule : public OdGiDrawableOverrule
{
public:
    int calls = 0;

    bool isApplicable(OdRxObject const* /*object*/) const override { return true; }
    unsigned worldDraw(OdGiDrawable const* drawable, OdGiWorldDraw* worldDraw) override
    {
        ++calls;
        worldDraw->subEntityTraits().setTrueColor(OdCmEntityColor(1, 2, 3));
        return OdGiDrawableOverrule::worldDraw(drawable, worldDraw);
    }
};

TEST_F(Solid, IsDrawnThroughTheOverrulesOfItsClass)
{
    OdStaticRxObject<FaceOverrule> overrule;
    OdRxOverrule::addOverrule(OdDb3dSolid::desc(), &overrule);
    OdStaticRxObject<gitest::RecordingWorldDraw> worldDraw;
    worldDraw.drawn.draw(m_solid.get());
    OdRxOverrule::removeOverrule(OdDb3dSolid::desc(), &overrule);
    EXPECT_EQ(overrule.calls, 1);
    EXPECT_EQ(worldDraw.drawn.journal.size(), 5U);
}

TEST_F(Solid, InATurnedBlockHasTheExtentsOfItsBodyAsItLies)
{
    const OdDbBlockTablePtr table = m_db->getBlockTableId().safeOpenObject(OdDb::kForWrite);
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
    block->setName(L"B");
    const OdDbObjectId id = table->add(block.get());
    const OdDb3dSolidPtr inner = OdDb3dSolid::createObject();
    inner->setBody(L"counted", bodyOf({2, 3, 1}), {2, 3, 1});
    inner->setPlacement(OdGeMatrix3d::translation(OdGeVector3d(1, 0, 0)));
    block->appendOdDbEntity(inner.get());
    const OdDbBlockReferencePtr reference = OdDbBlockReference::createObject(id, OdGePoint3d());
    reference->setRotation(std::numbers::pi / 4.0);
    OdGeExtents3d extents;
    ASSERT_EQ(reference->getGeomExtents(extents), kOdOk);
    // The unit cube at 1, turned by 45 degrees.
    const double root = std::numbers::sqrt2 / 2.0;
    EXPECT_TRUE(extents.isEqualTo({OdGePoint3d(0, root, 0), OdGePoint3d(2 * root, 3 * root, 1)},
                                  OdGeTol(1e-9)));
    EXPECT_EQ(inner->placement(), OdGeMatrix3d::translation(OdGeVector3d(1, 0, 0)));
}

TEST_F(Solid, RefusesAPlacementThatFlattensIt)
{
    OdGeMatrix3d flat;
    flat(0, 0) = 0.0;
    EXPECT_EQ(thrownCode([&] { m_solid->setPlacement(flat); }), kOdInvalidInput);
    EXPECT_EQ(m_solid->placement(), OdGeMatrix3d());
}

}  // namespace
