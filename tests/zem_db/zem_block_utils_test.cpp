#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_proxy_object.h"
#include "root/root_test_support.h"
#include "support/zem_module_scope.h"

#include "zem_block_utils.h"
#include "zem_database_utils.h"

#include <gtest/gtest.h>

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
