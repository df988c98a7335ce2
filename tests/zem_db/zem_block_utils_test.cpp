#include "assoc/od_db_assoc_action.h"
#include "assoc/od_db_assoc_dependency.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "db/od_db_host_app_services.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_proxy_object.h"
#include "db/od_db_viewport.h"
#include "db/od_db_xrecord.h"
#include "db/od_db_xref_man.h"
#include "root/root_test_support.h"
#include "store/od_db_drawing.h"
#include "support/zem_module_scope.h"

#include "zem_block_utils.h"
#include "zem_database_utils.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace {

class Blocks : public testing::Test
{
protected:
    /// A new block.
    static OdDbObjectId addBlock(OdDbDatabase& database, OdString const& name)
    {
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
        block->setName(name);
        return OdSmartPtr<OdDbBlockTable>(database.getBlockTableId().openObject(OdDb::kForWrite))
            ->add(block.get());
    }

    template <class Entity>
    static OdDbObjectId append(OdDbObjectId block)
    {
        return OdDbBlockTableRecordPtr(block.openObject(OdDb::kForWrite))
            ->appendOdDbEntity(odrxMake<Entity>().get());
    }

    static OdDbObjectId appendReference(OdDbObjectId block, OdDbObjectId shown)
    {
        return open(block, OdDb::kForWrite)
            ->appendOdDbEntity(OdDbBlockReference::createObject(shown, OdGePoint3d()).get());
    }

    static OdDbObjectIdArray entities(OdDbObjectId block)
    {
        OdDbObjectIdArray ids;
        for (const auto at = open(block)->newIterator(); !at->done(); at->step()) {
            ids.append(at->objectId());
        }
        return ids;
    }

    static void erase(OdDbObjectId id)
    {
        ASSERT_EQ(id.openObject(OdDb::kForWrite)->erase(), kOdOk);
    }

    OdDbObjectId nowhere()
    {
        return m_database->getOdDbObjectId(OdDbHandle(0x9999), /*create=*/true);
    }

    /// Makes an object the work of an action with a body.
    void attachAction(OdDbObjectId object, OdDbObjectPtr const& body)
    {
        const OdSmartPtr<OdDbAssocAction> action = odrxMake<OdDbAssocAction>();
        m_database->addOdDbObject(action.get());
        if (!body.isNull()) {
            ASSERT_EQ(action->setActionBody(m_database->addOdDbObject(body.get())), kOdOk);
        }
        const OdDbAssocDependencyPtr dependency = odrxMake<OdDbAssocDependency>();
        m_database->addOdDbObject(dependency.get());
        ASSERT_EQ(action->addDependency(dependency->objectId()), kOdOk);
        ASSERT_EQ(dependency->attachDependentOnObject(object), kOdOk);
    }

    static OdDbBlockTableRecordPtr open(OdDbObjectId block, OdDb::OpenMode mode = OdDb::kForRead)
    {
        return block.openObject(mode);
    }

    ZemModuleScope m_scope;
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    OdDbDatabasePtr m_other = OdDbDatabase::createObject();
    OdDbObjectId m_first = addBlock(*m_database, L"First");
    OdDbObjectId m_second = addBlock(*m_database, L"Second");
};

/// Counts how often an object was to be drawn again.
class RedrawCounter : public OdDbXrecord
{
public:
    void modifiedGraphics(OdDbObject const*) override { ++m_count; }

    int m_count = 0;
};

/// A drawing on disk with one line, as an external drawing of another one.
class ExternalBlocks : public Blocks
{
protected:
    ExternalBlocks()
    {
        std::filesystem::create_directory(m_folder);
        m_lineHandle = append<OdDbLine>(m_other->getModelSpaceId()).getHandle();
        odDbSaveDrawingAs(*m_other, path());
        m_block = OdDbXRefMan::attach(*m_database, path(), L"Part");
        m_reference = appendReference(m_database->getModelSpaceId(), m_block);
    }
    ~ExternalBlocks() override
    {
        m_database.release();
        std::filesystem::remove_all(m_folder);
    }

    OdString path() const { return OdString::fromUtf8((m_folder / "part.zdw").string()); }

    std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() / ("zem_blocks_" + std::to_string(getpid()));
    OdDbHandle m_lineHandle;
    OdDbObjectId m_block;
    OdDbObjectId m_reference;
};

}  // namespace

TEST_F(Blocks, AnAnonymousBlockIsToldByItsPrefix)
{
    const OdDbObjectId anonymous = zemu::createEmptyAnonymousBlock(m_database.get());
    EXPECT_TRUE(zemu::canBeZemAnonymousBlock(open(anonymous).get()));
    EXPECT_FALSE(zemu::canBeZemAnonymousBlock(open(m_first).get()));
    EXPECT_FALSE(zemu::canBeZemAnonymousBlock(open(m_database->getModelSpaceId()).get()));
    EXPECT_FALSE(zemu::canBeZemAnonymousBlock(nullptr));
}

TEST_F(Blocks, AnonymousBlocksGetNamesOfTheirOwnAndTheUnitsOfTheDrawing)
{
    m_database->setINSUNITS(OdDb::UnitsValue::kUnitsCentimeters);
    const OdDbObjectId first = zemu::createEmptyAnonymousBlock(m_database.get());
    const OdDbObjectId second = zemu::createEmptyAnonymousBlock(m_database.get());
    EXPECT_NE(open(first)->getName(), open(second)->getName());
    EXPECT_EQ(open(first)->blockInsertUnits(), OdDb::UnitsValue::kUnitsCentimeters);
    EXPECT_EQ(open(first)->entityCount(), 0u);
    EXPECT_TRUE(zemu::createEmptyAnonymousBlock(nullptr).isNull());
}

TEST_F(Blocks, AnAnonymousBlockGoesWithUndo)
{
    m_database->startUndoRecord();
    const OdDbObjectId made = zemu::createEmptyAnonymousBlock(m_database.get());
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(made.isErased());
}

TEST_F(Blocks, AreEqualWithTheSameClassesInTheSameOrder)
{
    EXPECT_TRUE(zemu::isEqualBTR(m_first, m_second));
    append<OdDbLine>(m_first);
    append<OdDbCircle>(m_first);
    append<OdDbLine>(m_second);
    append<OdDbCircle>(m_second);
    EXPECT_TRUE(zemu::isEqualBTR(m_first, m_second));
    EXPECT_TRUE(zemu::isEqualBTR(m_first, m_first));
}

TEST_F(Blocks, AreNotEqualWithAnotherOrder)
{
    append<OdDbLine>(m_first);
    append<OdDbCircle>(m_first);
    append<OdDbCircle>(m_second);
    append<OdDbLine>(m_second);
    EXPECT_FALSE(zemu::isEqualBTR(m_first, m_second));
}

TEST_F(Blocks, WrittenIntoABlockOfTheNameOfOneThatTheyShowDoNotShowIt)
{
    const OdDbObjectId shown = addBlock(*m_database, L"Shown");
    append<OdDbLine>(shown);
    appendReference(m_first, shown);
    const OdDbObjectId target = addBlock(*m_other, L"Shown");
    EXPECT_EQ(zemu::wblockBlock(m_first, m_other.get(), true, {}, target), target);
    ASSERT_EQ(open(target)->entityCount(), 1U);
    const OdDbBlockReferencePtr reference = open(target)->entityIds().at(0).safeOpenObject();
    EXPECT_EQ(open(reference->blockTableRecord())->getName(), L"$0$Shown");
    EXPECT_EQ(open(reference->blockTableRecord())->entityCount(), 1U);
}

TEST_F(Blocks, AreNotWrittenIntoABlockThatTheyWouldShow)
{
    appendReference(m_first, m_database->getModelSpaceId());
    const OdDbObjectId target = m_other->getModelSpaceId();
    m_database->setINSUNITS(OdDb::UnitsValue::kUnitsInches);
    const OdDb::UnitsValue units = m_other->getINSUNITS();
    ASSERT_NE(units, OdDb::UnitsValue::kUnitsUndefined);
    EXPECT_THROW(zemu::wblockBlock(m_first, m_other.get(), true, {}, target), OdError);
    EXPECT_EQ(open(target)->entityCount(), 0U);
    EXPECT_EQ(m_other->getINSUNITS(), units);
    EXPECT_EQ(m_other->numActiveTransactions(), 0);
}

TEST_F(Blocks, AreNotWrittenIntoABlockOfTheirOwnThatTheyShow)
{
    append<OdDbLine>(m_second);
    appendReference(m_first, m_second);
    EXPECT_THROW(zemu::wblockBlock(m_first, m_database.get(), true, {}, m_second), OdError);
    EXPECT_EQ(open(m_second)->entityCount(), 1U);
}

TEST_F(Blocks, AreNotEqualWithTheSameClassesAndAnotherLength)
{
    append<OdDbLine>(m_first);
    append<OdDbLine>(m_first);
    append<OdDbLine>(m_second);
    EXPECT_FALSE(zemu::isEqualBTR(m_first, m_second));
    EXPECT_FALSE(zemu::isEqualBTR(m_second, m_first));
}

TEST_F(Blocks, AreComparedWithoutErasedEntities)
{
    append<OdDbLine>(m_first);
    const OdDbObjectId extra = append<OdDbCircle>(m_second);
    append<OdDbLine>(m_second);
    ASSERT_EQ(extra.openObject(OdDb::kForWrite)->erase(), kOdOk);
    EXPECT_TRUE(zemu::isEqualBTR(m_first, m_second));
}

TEST_F(Blocks, WhatIsNoBlockIsEqualToNone)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    EXPECT_FALSE(zemu::isEqualBTR(OdDbObjectId(), m_first));
    EXPECT_FALSE(zemu::isEqualBTR(m_first, OdDbObjectId()));
    EXPECT_FALSE(zemu::isEqualBTR(line, line));
    EXPECT_FALSE(zemu::isEqualBTR(nullptr, open(m_first).get()));
    EXPECT_FALSE(zemu::isEqualBTR(open(m_first).get(), nullptr));
    ASSERT_EQ(m_second.openObject(OdDb::kForWrite)->erase(), kOdOk);
    EXPECT_FALSE(zemu::isEqualBTR(m_first, m_second));
}

TEST_F(Blocks, AreFoundByNameWithoutCase)
{
    EXPECT_EQ(zemu::findBtrByName(m_database.get(), L"FIRST"), m_first);
    EXPECT_TRUE(zemu::findBtrByName(m_database.get(), L"Third").isNull());
    EXPECT_TRUE(zemu::findBtrByName(nullptr, L"First").isNull());
    ASSERT_EQ(m_first.openObject(OdDb::kForWrite)->erase(), kOdOk);
    EXPECT_TRUE(zemu::findBtrByName(m_database.get(), L"First").isNull());
}

TEST_F(Blocks, MapToTheBlockOfTheirNameInAnotherDrawing)
{
    const OdDbObjectId there = addBlock(*m_other, L"first");
    OdDbIdPair pair(m_first);
    ASSERT_TRUE(zemu::findBTRMappingByName(m_other.get(), pair));
    EXPECT_EQ(pair.value(), there);
    OdDbIdPair space(m_database->getModelSpaceId());
    ASSERT_TRUE(zemu::findBTRMappingByName(m_other.get(), space));
    EXPECT_EQ(space.value(), m_other->getModelSpaceId());
}

TEST_F(Blocks, MapToNothingWhereTheirNameSaysNothing)
{
    const OdDbObjectId anonymous = zemu::createEmptyAnonymousBlock(m_database.get());
    zemu::createEmptyAnonymousBlock(m_other.get());
    const OdDbObjectId line = append<OdDbLine>(m_first);
    for (OdDbObjectId key : {anonymous, m_second, line, OdDbObjectId()}) {
        OdDbIdPair pair(key);
        EXPECT_FALSE(zemu::findBTRMappingByName(m_other.get(), pair));
        EXPECT_TRUE(pair.value().isNull());
    }
    OdDbIdPair pair(m_first);
    EXPECT_FALSE(zemu::findBTRMappingByName(nullptr, pair));
}

TEST_F(Blocks, UnitsAreCopiedFromBlockToBlock)
{
    open(m_first, OdDb::kForWrite)->setBlockInsertUnits(OdDb::UnitsValue::kUnitsInches);
    zemu::copyBlockUnits(m_first, m_second);
    EXPECT_EQ(open(m_second)->blockInsertUnits(), OdDb::UnitsValue::kUnitsInches);
}

TEST_F(Blocks, ModelSpaceStandsForTheUnitsOfItsDrawing)
{
    m_database->setINSUNITS(OdDb::UnitsValue::kUnitsMeters);
    zemu::copyBlockUnits(m_database->getModelSpaceId(), m_second);
    EXPECT_EQ(open(m_second)->blockInsertUnits(), OdDb::UnitsValue::kUnitsMeters);
    zemu::copyBlockUnits(m_second, m_other->getModelSpaceId());
    EXPECT_EQ(m_other->getINSUNITS(), OdDb::UnitsValue::kUnitsMeters);
}

TEST_F(Blocks, BasePointsAreCopiedFromBlockToBlock)
{
    open(m_first, OdDb::kForWrite)->setOrigin(OdGePoint3d(1, 2, 3));
    zemu::copyBlockBasePoint(m_first, m_second);
    EXPECT_EQ(open(m_second)->origin(), OdGePoint3d(1, 2, 3));
}

TEST_F(Blocks, SpacesStandForTheInsertBaseOfTheirDrawing)
{
    m_database->setINSBASE(OdGePoint3d(1, 0, 0));
    m_database->setPINSBASE(OdGePoint3d(2, 0, 0));
    zemu::copyBlockBasePoint(m_database->getModelSpaceId(), m_second);
    EXPECT_EQ(open(m_second)->origin(), OdGePoint3d(1, 0, 0));
    zemu::copyBlockBasePoint(m_database->getPaperSpaceId(), m_second);
    EXPECT_EQ(open(m_second)->origin(), OdGePoint3d(2, 0, 0));
    zemu::copyBlockBasePoint(m_second, m_other->getPaperSpaceId());
    EXPECT_EQ(m_other->getPINSBASE(), OdGePoint3d(2, 0, 0));
    zemu::copyBlockBasePoint(m_second, m_other->getModelSpaceId());
    EXPECT_EQ(m_other->getINSBASE(), OdGePoint3d(2, 0, 0));
}

TEST_F(Blocks, CopyingFromOrToNoBlockChangesNothing)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    for (OdDbObjectId id : {OdDbObjectId(), line, m_database->getBlockTableId()}) {
        zemu::copyBlockUnits(id, m_first);
        zemu::copyBlockUnits(m_first, id);
        zemu::copyBlockBasePoint(id, m_first);
        zemu::copyBlockBasePoint(m_first, id);
    }
    EXPECT_EQ(open(m_first)->origin(), OdGePoint3d());
}

TEST_F(Blocks, AreClonedWithBasePointAndUnitsBehindWhatIsThere)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    const OdDbObjectId erased = append<OdDbLine>(m_first);
    const OdDbObjectId circle = append<OdDbCircle>(m_first);
    erase(erased);
    open(m_first, OdDb::kForWrite)->setOrigin(OdGePoint3d(1, 2, 3));
    open(m_first, OdDb::kForWrite)->setBlockInsertUnits(OdDb::UnitsValue::kUnitsFeet);
    const OdDbObjectId before = append<OdDbCircle>(m_second);
    for (bool flag : {false, true}) {
        OdDbIdMappingPtr mapping;
        const OdDbObjectId target =
            zemu::cloneBlock(m_first, m_second, flag, mapping, /*translateNow=*/flag);
        EXPECT_EQ(target, m_second);
        ASSERT_FALSE(mapping.isNull());
        const OdDbObjectIdArray cloned = entities(m_second);
        EXPECT_EQ(cloned.first(), before);
        EXPECT_EQ(cloned[cloned.size() - 2], zemu::findClone(*mapping, line));
        EXPECT_EQ(cloned.last(), zemu::findClone(*mapping, circle));
    }
    EXPECT_EQ(entities(m_second).size(), 5u);
    EXPECT_EQ(open(m_second)->origin(), OdGePoint3d(1, 2, 3));
    EXPECT_EQ(open(m_second)->blockInsertUnits(), OdDb::UnitsValue::kUnitsFeet);
    EXPECT_EQ(entities(m_first).size(), 2u);
}

TEST_F(Blocks, ReferencesBetweenClonesLeadToClonesNowOrLater)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    const OdDbObjectId circle = append<OdDbCircle>(m_first);
    line.openObject(OdDb::kForWrite)->addPersistentReactor(circle);
    OdDbIdMappingPtr now;
    const OdDbObjectId target = zemu::cloneBlock(m_first, false, now);
    EXPECT_TRUE(zemu::canBeZemAnonymousBlock(open(target).get()));
    EXPECT_TRUE(
        entities(target).first().openObject()->hasPersistentReactor(zemu::findClone(*now, circle)));
    OdDbIdMappingPtr later;
    zemu::cloneBlock(m_first, m_second, false, later, /*translateNow=*/false);
    const OdDbObjectId clone = zemu::findClone(*later, line);
    const OdDbObjectId reactor = zemu::findClone(*later, circle);
    EXPECT_TRUE(clone.openObject()->hasPersistentReactor(circle));
    later.release();
    EXPECT_TRUE(clone.openObject()->hasPersistentReactor(reactor));
}

TEST_F(Blocks, AGivenMappingIsUsed)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    const OdDbIdMappingPtr given = OdDbIdMapping::createObject();
    OdDbIdMappingPtr mapping = given;
    zemu::cloneBlock(m_first, m_second, false, mapping);
    EXPECT_EQ(mapping.get(), given.get());
    EXPECT_FALSE(zemu::findClone(*given, line).isNull());
}

TEST_F(Blocks, AreNotClonedFromOrToWhatIsNoBlock)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    OdDbIdMappingPtr mapping;
    for (OdDbObjectId id : {OdDbObjectId(), line, nowhere()}) {
        EXPECT_TRUE(zemu::cloneBlock(id, m_second, false, mapping).isNull());
        EXPECT_TRUE(zemu::cloneBlock(m_first, id, false, mapping).isNull());
        EXPECT_TRUE(zemu::cloneBlock(id, false, mapping).isNull());
        EXPECT_TRUE(zemu::wblockBlock(id, m_other.get(), false, mapping, OdDbObjectId()).isNull());
        if (!id.isNull()) {
            EXPECT_TRUE(zemu::wblockBlock(m_first, m_other.get(), false, mapping, id).isNull());
        }
    }
    EXPECT_TRUE(zemu::wblockBlock(m_first, nullptr, false, mapping, OdDbObjectId()).isNull());
    EXPECT_TRUE(mapping.isNull());
    EXPECT_EQ(entities(m_second).size(), 0u);
}

TEST_F(Blocks, ACloneThatWouldContainItselfIsRefused)
{
    appendReference(m_first, m_second);
    OdDbIdMappingPtr mapping;
    EXPECT_EQ(thrownCode([&] { zemu::cloneBlock(m_first, m_second, false, mapping); }),
              kOdCyclicReference);
    EXPECT_TRUE(entities(m_second).isEmpty());
}

TEST_F(Blocks, AreNotClonedAcrossDrawings)
{
    OdDbIdMappingPtr mapping;
    EXPECT_EQ(
        thrownCode([&] { zemu::cloneBlock(m_first, m_other->getModelSpaceId(), false, mapping); }),
        kOdWrongDatabase);
}

TEST_F(Blocks, ACloneGoesWithUndo)
{
    append<OdDbLine>(m_first);
    m_database->startUndoRecord();
    OdDbIdMappingPtr mapping;
    const OdDbObjectId target = zemu::cloneBlock(m_first, false, mapping);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(target.isErased());
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(entities(target).size(), 1u);
}

TEST_F(Blocks, AreWrittenToAnotherDrawing)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    appendReference(m_first, m_second);
    open(m_first, OdDb::kForWrite)->setOrigin(OdGePoint3d(4, 5, 6));
    const std::int16_t mode = m_other->appServices()->parameterCopyMode();
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    const OdDbObjectId made =
        zemu::wblockBlock(m_first, m_other.get(), false, mapping, OdDbObjectId());
    EXPECT_TRUE(zemu::canBeZemAnonymousBlock(open(made).get()));
    EXPECT_EQ(open(made)->origin(), OdGePoint3d(4, 5, 6));
    EXPECT_EQ(entities(made).size(), 2u);
    EXPECT_EQ(entities(made).first(), zemu::findClone(*mapping, line));
    EXPECT_FALSE(zemu::findBtrByName(m_other.get(), L"Second").isNull());
    EXPECT_EQ(m_other->appServices()->parameterCopyMode(), mode);

    const OdDbObjectId model = m_other->getModelSpaceId();
    EXPECT_EQ(zemu::wblockBlock(m_first, m_other.get(), true, OdDbIdMappingPtr(), model), model);
    EXPECT_EQ(entities(model).size(), 2u);
    EXPECT_EQ(m_other->getINSBASE(), OdGePoint3d(4, 5, 6));
    EXPECT_EQ(thrownCode([&] {
                  zemu::wblockBlock(m_first, m_other.get(), false, OdDbIdMappingPtr(), m_second);
              }),
              kOdWrongDatabase);
}

TEST_F(Blocks, ContentsAreExchangedWithIdsAndOrder)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    const OdDbObjectId circle = append<OdDbCircle>(m_first);
    const OdDbObjectId other = append<OdDbLine>(m_second);
    m_database->startUndoRecord();
    zemu::swapBlocksContent(m_first, m_second);
    EXPECT_EQ(entities(m_first), OdDbObjectIdArray{other});
    EXPECT_EQ(entities(m_second), (OdDbObjectIdArray{line, circle}));
    EXPECT_EQ(zemu::getOwnerId(line), m_second);
    EXPECT_EQ(zemu::getOwnerId(other), m_first);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(entities(m_first), (OdDbObjectIdArray{line, circle}));
    EXPECT_EQ(zemu::getOwnerId(line), m_first);
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(entities(m_first), OdDbObjectIdArray{other});
    EXPECT_EQ(zemu::getOwnerId(other), m_first);
}

TEST_F(Blocks, ErasedEntitiesAreExchangedToo)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    erase(line);
    zemu::swapBlocksContent(m_first, m_second);
    ASSERT_EQ(line.openObject(OdDb::kForWrite, /*openErased=*/true)->erase(false), kOdOk);
    EXPECT_EQ(entities(m_second), OdDbObjectIdArray{line});
}

TEST_F(Blocks, AnExchangeThatWouldMakeARingIsRefused)
{
    const OdDbObjectId line = append<OdDbLine>(m_second);
    const OdDbObjectId reference = appendReference(m_first, m_second);
    EXPECT_EQ(thrownCode([&] { zemu::swapBlocksContent(m_first, m_second); }), kOdCyclicReference);
    EXPECT_EQ(entities(m_first), OdDbObjectIdArray{reference});
    EXPECT_EQ(entities(m_second), OdDbObjectIdArray{line});
    EXPECT_EQ(thrownCode([&] { zemu::swapBlocksContent(m_first, m_other->getModelSpaceId()); }),
              kOdWrongDatabase);
}

TEST_F(Blocks, AnExchangeWithItselfOrWithNoBlockChangesNothing)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    for (OdDbObjectId id : {m_first, OdDbObjectId(), line, nowhere()}) {
        zemu::swapBlocksContent(m_first, id);
        zemu::swapBlocksContent(id, m_first);
    }
    EXPECT_EQ(entities(m_first), OdDbObjectIdArray{line});
}

TEST_F(Blocks, TheEffectiveScaleCountsTheUnits)
{
    m_database->setINSUNITS(OdDb::UnitsValue::kUnitsMillimeters);
    open(m_first, OdDb::kForWrite)->setBlockInsertUnits(OdDb::UnitsValue::kUnitsCentimeters);
    const OdDbObjectId reference = appendReference(m_second, m_first);
    OdGeScale3d scale;
    ASSERT_TRUE(zemu::getEffectiveBlockRefScale(reference, scale));
    EXPECT_TRUE(scale.isEqualTo(OdGeScale3d(10, 10, 10)));
    ASSERT_TRUE(zemu::setEffectiveBlockRefScale(reference, OdGeScale3d(10, -20, 30)));
    EXPECT_TRUE(OdDbBlockReferencePtr(reference.openObject())
                    ->scaleFactors()
                    .isEqualTo(OdGeScale3d(1, -2, 3)));
    ASSERT_TRUE(zemu::getEffectiveBlockRefScale(reference, scale));
    EXPECT_TRUE(scale.isEqualTo(OdGeScale3d(10, -20, 30)));
}

TEST_F(Blocks, TheEffectiveScaleWithoutUnitsIsTheReferencesOwn)
{
    const OdDbObjectId reference = appendReference(m_second, m_first);
    const OdDbBlockReferencePtr held = reference.openObject();
    ASSERT_TRUE(zemu::setEffectiveBlockRefScale(reference, OdGeScale3d(2, 3, 4)));
    EXPECT_FALSE(held->isWriteEnabled());
    EXPECT_TRUE(held->scaleFactors().isEqualTo(OdGeScale3d(2, 3, 4)));
    EXPECT_EQ(
        thrownCode([&] { (void)zemu::setEffectiveBlockRefScale(reference, OdGeScale3d(0, 1, 1)); }),
        kOdInvalidInput);
}

TEST_F(Blocks, WhatIsNoReferenceHasNoEffectiveScale)
{
    const OdDbObjectId reference = appendReference(m_second, m_first);
    OdGeScale3d scale(7);
    for (OdDbObjectId id : {OdDbObjectId(), m_first, nowhere()}) {
        EXPECT_FALSE(zemu::getEffectiveBlockRefScale(id, scale));
        EXPECT_FALSE(zemu::setEffectiveBlockRefScale(id, scale));
    }
    erase(m_first);
    EXPECT_FALSE(zemu::getEffectiveBlockRefScale(reference, scale));
    EXPECT_EQ(scale, OdGeScale3d(7));
}

TEST_F(Blocks, AnObjectThatAnArrayMadeIsToldByItsDependency)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    const OdDbObjectId plain = append<OdDbLine>(m_first);
    EXPECT_FALSE(zemu::isAssociativeArray(nullptr));
    EXPECT_FALSE(zemu::isAssociativeArray(line.openObject().get()));
    attachAction(line, odrxMake<OdDbAssocArrayActionBody>());
    attachAction(plain, odrxMake<OdDbAssocActionBody>());
    attachAction(plain, OdDbObjectPtr());
    EXPECT_TRUE(zemu::isAssociativeArray(line.openObject().get()));
    EXPECT_FALSE(zemu::isAssociativeArray(plain.openObject().get()));
}

TEST_F(Blocks, AReferenceIsAnArrayIfAnotherReferenceOfItsBlockIs)
{
    const OdDbObjectId one = appendReference(m_second, m_first);
    const OdDbObjectId two = appendReference(m_second, m_first);
    EXPECT_FALSE(zemu::isAssociativeArray(one.openObject().get()));
    attachAction(two, odrxMake<OdDbAssocArrayActionBody>());
    EXPECT_TRUE(zemu::isAssociativeArray(one.openObject().get()));
    EXPECT_FALSE(zemu::isAssociativeArray(
        appendReference(m_first, zemu::createEmptyAnonymousBlock(m_database.get()))
            .openObject()
            .get()));
}

TEST_F(Blocks, APathOfHandlesIsResolvedThroughReferences)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    const OdDbObjectId inner = appendReference(m_second, m_first);
    const OdDbObjectId outer = appendReference(m_database->getModelSpaceId(), m_second);
    OdDbObjectIdArray ids{outer};
    EXPECT_EQ(zemu::makeIdArray({inner.getHandle(), line.getHandle()}, ids), kOdOk);
    EXPECT_EQ(ids, (OdDbObjectIdArray{outer, inner, line}));
    EXPECT_EQ(zemu::makeIdArray({}, ids), kOdOk);
    EXPECT_EQ(ids.size(), 3u);
    OdDbObjectIdArray none;
    EXPECT_EQ(zemu::makeIdArray({}, none), kOdOk);
}

TEST_F(Blocks, APathThatBreaksOffKeepsWhatWasResolved)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    const OdDbObjectId reference = appendReference(m_second, m_first);
    OdDbObjectIdArray ids{reference};
    EXPECT_EQ(zemu::makeIdArray({line.getHandle(), line.getHandle()}, ids), kOdUnresolvedPath);
    EXPECT_EQ(ids, (OdDbObjectIdArray{reference, line}));
    OdDbObjectIdArray missing{reference};
    EXPECT_EQ(zemu::makeIdArray({OdDbHandle(0x7777)}, missing), kOdUnresolvedPath);
    EXPECT_EQ(zemu::makeIdArray({OdDbHandle()}, missing), kOdUnresolvedPath);
    OdDbObjectIdArray none;
    EXPECT_EQ(zemu::makeIdArray({line.getHandle()}, none), kOdUnresolvedPath);
    OdDbObjectIdArray null{OdDbObjectId()};
    EXPECT_EQ(zemu::makeIdArray({line.getHandle()}, null), kOdUnresolvedPath);
}

TEST_F(Blocks, APathPassesThroughErasedReferencesIfAskedTo)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    const OdDbObjectId reference = appendReference(m_second, m_first);
    erase(reference);
    OdDbObjectIdArray ids{reference};
    EXPECT_EQ(zemu::makeIdArray({line.getHandle()}, ids), kOdUnresolvedPath);
    EXPECT_EQ(zemu::makeIdArray({line.getHandle()}, ids, /*openErased=*/true), kOdOk);
}

TEST_F(Blocks, PlainBlocksAreNoExternalOnes)
{
    const OdDbObjectId reference = appendReference(m_second, m_first);
    for (OdDbObjectId id : {reference, OdDbObjectId(), m_first, nowhere()}) {
        EXPECT_TRUE(zemu::getXrefBlock(id).isNull());
        EXPECT_TRUE(zemu::openXrefBlock(id).isNull());
        EXPECT_FALSE(zemu::unloadXrefBlock(id));
        EXPECT_FALSE(zemu::eraseXrefBlock(id));
    }
    EXPECT_FALSE(m_first.isErased());
}

TEST_F(ExternalBlocks, AreFoundLoadedAndUnloadedThroughTheirReferences)
{
    EXPECT_EQ(zemu::getXrefBlock(m_reference), m_block);
    EXPECT_TRUE(zemu::unloadXrefBlock(m_block));
    EXPECT_EQ(open(m_block)->xrefDatabase(), nullptr);
    EXPECT_EQ(zemu::getXrefBlock(m_reference), m_block);
    const OdDbBlockTableRecordPtr loaded = zemu::openXrefBlock(m_reference);
    ASSERT_FALSE(loaded.isNull());
    EXPECT_NE(loaded->xrefDatabase(), nullptr);
}

TEST_F(ExternalBlocks, AreNotOpenedWithoutTheirFile)
{
    EXPECT_TRUE(zemu::unloadXrefBlock(m_block));
    std::filesystem::remove(m_folder / "part.zdw");
    EXPECT_TRUE(zemu::openXrefBlock(m_reference).isNull());
    OdDbObjectIdArray ids{m_reference};
    EXPECT_EQ(zemu::makeIdArray({m_lineHandle}, ids), kOdUnresolvedPath);
    EXPECT_EQ(ids.size(), 1u);
}

TEST_F(ExternalBlocks, APathOfHandlesLoadsAnUnloadedDrawing)
{
    EXPECT_TRUE(zemu::unloadXrefBlock(m_block));
    OdDbObjectIdArray ids{m_reference};
    ASSERT_EQ(zemu::makeIdArray({m_lineHandle}, ids), kOdOk);
    EXPECT_EQ(ids.last().database(), open(m_block)->xrefDatabase());
    EXPECT_EQ(ids.last().objectClass(), OdDbLine::desc());
}

TEST_F(ExternalBlocks, AreErasedOnlyWithoutReferences)
{
    EXPECT_FALSE(zemu::eraseXrefBlock(m_block));
    EXPECT_FALSE(m_block.isErased());
    erase(m_reference);
    EXPECT_TRUE(zemu::eraseXrefBlock(m_block));
    EXPECT_TRUE(m_block.isErased());
}

TEST(PaperToWorld, FollowsTheView)
{
    const ZemModuleScope scope;
    const OdDbViewportPtr viewport = OdDbViewport::createObject();
    viewport->setCenterPoint(OdGePoint3d(10, 20, 0));
    viewport->setHeight(5);
    viewport->setViewHeight(50);
    viewport->setViewCenter(OdGePoint2d(1, 2));
    viewport->setViewTarget(OdGePoint3d(100, 0, 0));
    OdGeMatrix3d matrix;
    ASSERT_TRUE(zemu::getPaperDcsToWcsMatrix(viewport, matrix));
    EXPECT_TRUE((matrix * OdGePoint3d(10, 20, 0)).isEqualTo(OdGePoint3d(101, 2, 0)));
    EXPECT_TRUE((matrix * OdGePoint3d(11, 20, 0)).isEqualTo(OdGePoint3d(111, 2, 0)));
    viewport->setViewDirection(OdGeVector3d(1, 0, 0));
    ASSERT_TRUE(zemu::getPaperDcsToWcsMatrix(viewport, matrix));
    EXPECT_TRUE((matrix * OdGePoint3d(10, 20, 0)).isEqualTo(OdGePoint3d(100, 1, 2)));
    EXPECT_FALSE(zemu::getPaperDcsToWcsMatrix(OdDbViewportPtr(), matrix));
}

TEST_F(Blocks, EntitiesThatLinksLeadToAreDrawnAgainOnce)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    const OdDbObjectId reference = appendReference(m_second, m_first);
    const OdSmartPtr<RedrawCounter> counter = odrxMake<RedrawCounter>();
    reference.openObject(OdDb::kForWrite)
        ->addPersistentReactor(m_database->addOdDbObject(counter.get()));
    OdSmartPtr<ZemDbObject> companion = odrxMake<ZemDbObject>();
    m_database->addOdDbObject(companion.get());
    companion->attachTo(reference);
    companion.release();
    OdDbObjectIdArray links{OdDbObjectId(), line, nowhere()};
    for (int count = 0; count < 3; ++count) {
        const OdSmartPtr<ZemDbObjectDependency> link = odrxMake<ZemDbObjectDependency>();
        links.append(m_database->addOdDbObject(link.get()));
        if (count > 0) {
            link->setLinkObject(OdDbFullSubentPath({reference, line}, OdDbSubentId()));
            EXPECT_EQ(link->getInsertId(), reference);
        }
    }
    m_database->startUndoRecord();
    zemu::markEntToRedraw(links);
    EXPECT_EQ(counter->m_count, 1);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(counter->m_count, 2);
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(counter->m_count, 3);
}

TEST_F(Blocks, AnEntityWithoutACompanionIsNotDrawnAgain)
{
    const OdDbObjectId line = append<OdDbLine>(m_first);
    const OdSmartPtr<ZemDbObjectDependency> link = odrxMake<ZemDbObjectDependency>();
    const OdDbObjectId id = m_database->addOdDbObject(link.get());
    link->setLinkObject(OdDbFullSubentPath({line}, OdDbSubentId()));
    zemu::markEntToRedraw({id});
    EXPECT_TRUE(ZemDbObject::openZemDbObject(line, OdDb::kForRead, false).isNull());
    EXPECT_TRUE(ZemDbObject::openZemDbObject(nullptr, OdDb::kForRead, false).isNull());
    EXPECT_FALSE(line.openObject()->isModified());
}
