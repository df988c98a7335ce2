#include "db/db_test_support.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_curves.h"
#include "db/od_db_id_mapping.h"
#include "ge/od_ge_plane.h"
#include "support/gi_recorder.h"

#include <gtest/gtest.h>

#include <limits>
#include <numbers>

using namespace dbtest;

namespace {

constexpr double kHalfTurn = std::numbers::pi;

class BlockReference : public DatabaseTest
{
protected:
    OdDbObjectId addBlock(wchar_t const* name)
    {
        const OdDbBlockTablePtr table = m_db->getBlockTableId().safeOpenObject(OdDb::kForWrite);
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
        block->setName(name);
        return table->add(block.get());
    }
    void addLine(OdDbObjectId block, OdGePoint3d const& end)
    {
        const OdDbLinePtr line = OdDbLine::createObject();
        line->setEndPoint(end);
        OdDbBlockTableRecordPtr(block.safeOpenObject(OdDb::kForWrite))
            ->appendOdDbEntity(line.get());
    }
    OdDbObjectId addReference(OdDbObjectId owner, OdDbObjectId block,
                              OdGePoint3d const& position = OdGePoint3d())
    {
        const OdDbBlockReferencePtr reference = OdDbBlockReference::createObject(block, position);
        return OdDbBlockTableRecordPtr(owner.safeOpenObject(OdDb::kForWrite))
            ->appendOdDbEntity(reference.get());
    }
    static OdDbBlockReferencePtr opened(OdDbObjectId id)
    {
        return id.safeOpenObject(OdDb::kForWrite, /*openErased=*/true);
    }
    static std::vector<OdDbObjectId> referencesTo(OdDbObjectId block)
    {
        std::vector<OdDbObjectId> ids;
        for (OdDbObjectId id :
             OdDbBlockTableRecordPtr(block.safeOpenObject())->getBlockReferenceIds()) {
            ids.push_back(id);
        }
        return ids;
    }
    using Ids = std::vector<OdDbObjectId>;

    OdDbObjectId m_block = addBlock(L"A");
    OdDbObjectId m_space = m_db->getModelSpaceId();
};

TEST_F(BlockReference, IsListedByItsBlockFromAppendToErase)
{
    const OdDbBlockReferencePtr loose = OdDbBlockReference::createObject();
    loose->setBlockTableRecord(m_block);
    EXPECT_EQ(referencesTo(m_block), Ids());
    const OdDbObjectId first = addReference(m_space, m_block);
    const OdDbObjectId second = addReference(m_space, m_block);
    EXPECT_EQ(referencesTo(m_block), (Ids{first, second}));
    ASSERT_EQ(opened(first)->erase(), kOdOk);
    EXPECT_EQ(referencesTo(m_block), Ids{second});
    ASSERT_EQ(opened(first)->erase(false), kOdOk);
    EXPECT_EQ(referencesTo(m_block), (Ids{first, second}));
}

TEST_F(BlockReference, IsListedByTheNewBlockAfterAChange)
{
    const OdDbObjectId other = addBlock(L"B");
    const OdDbObjectId id = addReference(m_space, m_block);
    m_db->startUndoRecord();
    opened(id)->setBlockTableRecord(other);
    EXPECT_EQ(referencesTo(m_block), Ids());
    EXPECT_EQ(referencesTo(other), Ids{id});
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(referencesTo(m_block), Ids{id});
    EXPECT_EQ(referencesTo(other), Ids());
    EXPECT_EQ(opened(id)->blockTableRecord(), m_block);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(referencesTo(other), Ids{id});
    opened(id)->setBlockTableRecord(OdDbObjectId::kNull);
    EXPECT_EQ(referencesTo(other), Ids());
}

TEST_F(BlockReference, IsTakenFromTheListByUndoOfItsAppend)
{
    m_db->startUndoRecord();
    const auto before = livingStateOf(*m_db);
    const OdDbObjectId id = addReference(m_space, m_block);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(referencesTo(m_block), Ids());
    EXPECT_EQ(livingStateOf(*m_db), before);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(referencesTo(m_block), Ids{id});
}

TEST_F(BlockReference, DoesNotCountAsAModificationOfItsBlock)
{
    const OdDbObjectId reactorId = addReactor();
    watch(m_block, reactorId);
    addReference(m_space, m_block);
    EXPECT_EQ(reactor(reactorId).count(NoticeKind::kModified), 0);
}

TEST_F(BlockReference, IsRefusedWhereItsBlockWouldContainItself)
{
    const OdDbObjectId outer = addBlock(L"B");
    const OdDbObjectId outermost = addBlock(L"C");
    addReference(outer, m_block);
    addReference(outermost, outer);
    EXPECT_EQ(thrownCode([&] { addReference(m_block, m_block); }), kOdCyclicReference);
    EXPECT_EQ(thrownCode([&] { addReference(m_block, outer); }), kOdCyclicReference);
    EXPECT_EQ(thrownCode([&] { addReference(m_block, outermost); }), kOdCyclicReference);
    EXPECT_EQ(OdDbBlockTableRecordPtr(m_block.safeOpenObject())->entityCount(), 0U);
    const OdDbObjectId unrelated = addBlock(L"D");
    const OdDbObjectId id = addReference(m_block, unrelated);
    EXPECT_EQ(thrownCode([&] { opened(id)->setBlockTableRecord(outermost); }), kOdCyclicReference);
    EXPECT_EQ(opened(id)->blockTableRecord(), unrelated);
    EXPECT_EQ(referencesTo(unrelated), Ids{id});
}

TEST_F(BlockReference, IsNotBroughtBackIntoARing)
{
    const OdDbObjectId other = addBlock(L"B");
    const OdDbObjectId id = addReference(m_block, other);
    ASSERT_EQ(opened(id)->erase(), kOdOk);
    addReference(other, m_block);
    EXPECT_EQ(opened(id)->erase(false), kOdCyclicReference);
    EXPECT_TRUE(id.isErased());
}

TEST_F(BlockReference, RefusesWhatIsNoBlockAndBlocksOfOtherDrawings)
{
    const OdDbObjectId id = addReference(m_space, m_block);
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    EXPECT_EQ(thrownCode([&] { opened(id)->setBlockTableRecord(m_db->getLayerZeroId()); }),
              kOdNotThatKindOfClass);
    EXPECT_EQ(thrownCode([&] { opened(id)->setBlockTableRecord(other->getModelSpaceId()); }),
              kOdWrongDatabase);
    const OdDbBlockReferencePtr foreign = OdDbBlockReference::createObject();
    foreign->setBlockTableRecord(other->getPaperSpaceId());
    EXPECT_EQ(thrownCode([&] {
                  OdDbBlockTableRecordPtr(m_space.safeOpenObject(OdDb::kForWrite))
                      ->appendOdDbEntity(foreign.get());
              }),
              kOdWrongDatabase);
    EXPECT_EQ(foreign->database(), nullptr);
}

TEST_F(BlockReference, RefusesFactorsOfNothingAndNumbersThatAreNone)
{
    const OdDbBlockReferencePtr reference = OdDbBlockReference::createObject();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (double factor : {0.0, nan, std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(thrownCode([&] {
                      reference->setScaleFactors({1.0, factor, 1.0});
                  }),
                  kOdInvalidInput);
    }
    EXPECT_EQ(thrownCode([&] { reference->setNormal(OdGeVector3d()); }), kOdInvalidInput);
    EXPECT_EQ(thrownCode([&] { reference->setNormal(OdGeVector3d(0, nan, 1)); }), kOdInvalidInput);
    EXPECT_EQ(thrownCode([&] { reference->setPosition(OdGePoint3d(0, 0, nan)); }), kOdInvalidInput);
    EXPECT_EQ(thrownCode([&] { reference->setRotation(nan); }), kOdInvalidInput);
}

TEST_F(BlockReference, PutsTheBlocksOriginOnItsPosition)
{
    OdDbBlockTableRecordPtr(m_block.safeOpenObject(OdDb::kForWrite))
        ->setOrigin(OdGePoint3d(1, 2, 3));
    const OdDbBlockReferencePtr reference =
        OdDbBlockReference::createObject(m_block, OdGePoint3d(10, 20, 30));
    reference->setRotation(kHalfTurn / 2.0);
    reference->setScaleFactors({2.0, -3.0, 4.0});
    const OdGeMatrix3d transform = reference->blockTransform();
    EXPECT_TRUE((transform * OdGePoint3d(1, 2, 3)).isEqualTo(OdGePoint3d(10, 20, 30)));
    EXPECT_TRUE((transform * OdGePoint3d(2, 2, 3)).isEqualTo(OdGePoint3d(10, 22, 30)));
    EXPECT_TRUE((transform * OdGePoint3d(1, 3, 3)).isEqualTo(OdGePoint3d(13, 20, 30)));
    EXPECT_TRUE((transform * OdGePoint3d(1, 2, 4)).isEqualTo(OdGePoint3d(10, 20, 34)));
}

TEST_F(BlockReference, TakesAPlacementFromItsOwnMatrix)
{
    const OdDbBlockReferencePtr reference =
        OdDbBlockReference::createObject(m_block, OdGePoint3d(1, 2, 3));
    reference->setNormal(OdGeVector3d(1, -2, 2));
    reference->setRotation(2.0);
    reference->setScaleFactors({-2.0, 3.0, -4.0});
    const OdGeMatrix3d transform = reference->blockTransform();
    const OdDbBlockReferencePtr other = OdDbBlockReference::createObject();
    ASSERT_EQ(other->setBlockTransform(transform), kOdOk);
    EXPECT_TRUE(other->blockTransform().isEqualTo(transform));
    OdGeMatrix3d shear;
    shear(0, 1) = 0.5;
    EXPECT_EQ(other->setBlockTransform(shear), kOdNotApplicable);
    EXPECT_TRUE(other->blockTransform().isEqualTo(transform));
}

TEST_F(BlockReference, KeepsTheSignsOfItsFactorsWhenItIsMoved)
{
    const OdDbBlockReferencePtr reference = OdDbBlockReference::createObject();
    reference->setScaleFactors({1.0, -2.0, -3.0});
    ASSERT_EQ(reference->transformBy(OdGeMatrix3d::translation(OdGeVector3d(1, 0, 0))), kOdOk);
    EXPECT_TRUE(reference->scaleFactors().isEqualTo({1.0, -2.0, -3.0}));
    ASSERT_EQ(reference->transformBy(OdGeMatrix3d::mirroring(OdGePlane::kYZPlane)), kOdOk);
    EXPECT_TRUE(reference->scaleFactors().isEqualTo({-1.0, -2.0, -3.0}));
    EXPECT_TRUE(reference->normal().isEqualTo(OdGeVector3d::kZAxis));
}

TEST_F(BlockReference, HasExtentsThroughNestedReferences)
{
    const OdDbObjectId outer = addBlock(L"B");
    addLine(m_block, OdGePoint3d(1, 1, 0));
    const OdDbObjectId inner = addReference(outer, m_block, OdGePoint3d(5, 0, 0));
    opened(inner)->setRotation(kHalfTurn / 4.0);
    const OdDbObjectId id = addReference(m_space, outer, OdGePoint3d(0, 0, 7));
    opened(id)->setScaleFactors({2.0, 2.0, 2.0});
    OdGeExtents3d extents;
    ASSERT_EQ(opened(id)->getGeomExtents(extents), kOdOk);
    // The line, turned by 45 degrees, stands upright.
    const OdGeExtents3d expected(OdGePoint3d(10, 0, 7),
                                 OdGePoint3d(10, 2.0 * std::numbers::sqrt2, 7));
    EXPECT_TRUE(extents.isEqualTo(expected));
}

TEST_F(BlockReference, WithoutAnythingToMeasureHasNoExtents)
{
    const OdDbObjectId id = addReference(m_space, m_block);
    OdGeExtents3d extents(OdGePoint3d(1, 1, 1), OdGePoint3d(2, 2, 2));
    const OdGeExtents3d before = extents;
    EXPECT_EQ(opened(id)->getGeomExtents(extents), kOdNotApplicable);
    EXPECT_EQ(extents, before);
}

/// Makes a reference show a block behind the back of all checks, as a damaged drawing may.
void forceBlock(OdDbBlockReference& reference, OdDbBlockReference const& showing)
{
    OdStaticRxObject<OdDbMemoryFiler> filer;
    showing.dwgOutFields(&filer);
    filer.rewindForReading();
    const OdDbObjectId owner = reference.ownerId();
    ASSERT_EQ(reference.dwgInFields(&filer), kOdOk);
    reference.setOwnerId(owner);
}

TEST_F(BlockReference, OfARingEndsForExtentsAndDrawing)
{
    const OdDbObjectId other = addBlock(L"B");
    addLine(m_block, OdGePoint3d(1, 1, 0));
    const OdDbObjectId down = addReference(m_block, other);
    const OdDbObjectId top = addReference(m_space, m_block);
    const OdDbObjectId ring = addReference(other, addBlock(L"C"));
    forceBlock(*opened(ring), *opened(top));
    ASSERT_EQ(opened(ring)->blockTableRecord(), m_block);
    OdGeExtents3d extents;
    EXPECT_EQ(opened(top)->getGeomExtents(extents), kOdOk);
    EXPECT_TRUE(extents.isEqualTo({OdGePoint3d(0, 0, 0), OdGePoint3d(1, 1, 0)}));
    OdStaticRxObject<gitest::RecordingWorldDraw> worldDraw;
    worldDraw.drawn.draw(opened(top).get());
    EXPECT_EQ(worldDraw.drawn.journal, std::vector<std::string>{"polyline 2"});
    EXPECT_EQ(worldDraw.drawn.transformDepth(), 0U);
    EXPECT_EQ(opened(down)->getGeomExtents(extents), kOdOk);
}

TEST_F(BlockReference, OfATowerThatDoublesAtEachFloorHasExtentsInTime)
{
    addLine(m_block, OdGePoint3d(1, 1, 0));
    OdDbObjectId below = m_block;
    for (int floor = 0; floor < 60; ++floor) {
        OdString name;
        name.format(L"floor %d", floor);
        const OdDbObjectId block = addBlock(name.c_str());
        addReference(block, below);
        addReference(block, below, OdGePoint3d(1, 0, 0));
        below = block;
    }
    const OdDbObjectId top = addReference(m_space, below);
    OdGeExtents3d extents;
    ASSERT_EQ(opened(top)->getGeomExtents(extents), kOdOk);
    EXPECT_TRUE(extents.isEqualTo({OdGePoint3d(0, 0, 0), OdGePoint3d(61, 1, 0)}));
}

TEST_F(BlockReference, DrawsItsBlocksEntitiesWhereItPutsThem)
{
    addLine(m_block, OdGePoint3d(1, 1, 0));
    const OdDbObjectId id = addReference(m_space, m_block, OdGePoint3d(5, 6, 7));
    OdStaticRxObject<gitest::RecordingWorldDraw> worldDraw;
    EXPECT_EQ(opened(id)->worldDraw(&worldDraw), unsigned{kDrawableIsCompound});
    ASSERT_EQ(worldDraw.drawn.points.size(), 2U);
    EXPECT_EQ(worldDraw.drawn.points[1], OdGePoint3d(6, 7, 7));
    worldDraw.partsUntilAbort = 0;
    EXPECT_EQ(opened(id)->worldDraw(&worldDraw),
              unsigned{kDrawableIsCompound} | kDrawableIsTruncated);
}

TEST_F(BlockReference, OfACloneIsListedByTheBlockThatItShows)
{
    const OdDbObjectId id = addReference(m_space, m_block);
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    OdDbObjectIdArray ids;
    ids.append(id);
    m_db->deepCloneObjects(ids, m_space, *mapping);
    OdDbIdPair pair(id);
    ASSERT_TRUE(mapping->compute(pair));
    EXPECT_EQ(referencesTo(m_block), (Ids{id, pair.value()}));
}

TEST_F(BlockReference, OfAClonedBlockIsNotListedByTheClone)
{
    addLine(m_block, OdGePoint3d(1, 1, 0));
    const OdDbObjectId id = addReference(m_space, m_block);
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    OdDbObjectIdArray ids;
    ids.append(id);
    m_db->wblockCloneObjects(ids, other->getModelSpaceId(), *mapping,
                             OdDb::DuplicateRecordCloning::kDrcIgnore);
    OdDbIdPair reference(id);
    OdDbIdPair block(m_block);
    ASSERT_TRUE(mapping->compute(reference));
    ASSERT_TRUE(mapping->compute(block));
    EXPECT_EQ(referencesTo(block.value()), Ids{reference.value()});
    EXPECT_EQ(referencesTo(m_block), Ids{id});
}

}  // namespace
