#include "db/db_test_support.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_curves.h"

using namespace dbtest;

namespace {

class BlockRecord : public DatabaseTest
{
protected:
    OdDbObjectId addBlock(OdString const& name)
    {
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
        block->setName(name);
        return OdDbSymbolTablePtr(m_db->getBlockTableId().safeOpenObject(OdDb::kForWrite))
            ->add(block.get());
    }
    static OdDbBlockTableRecordPtr opened(OdDbObjectId id)
    {
        return OdDbBlockTableRecord::openBlock(id, OdDb::kForWrite);
    }
    static OdDbObjectId addLine(OdDbObjectId block)
    {
        return opened(block)->appendOdDbEntity(OdDbLine::createObject().get());
    }
    static OdDbObjectId addReference(OdDbObjectId owner, OdDbObjectId block)
    {
        return opened(owner)->appendOdDbEntity(
            OdDbBlockReference::createObject(block, OdGePoint3d()).get());
    }

    OdDbObjectId m_block = addBlock(L"A");
};

TEST_F(BlockRecord, IsOpenedByItsIdAlone)
{
    EXPECT_EQ(OdDbBlockTableRecord::openBlock(m_block)->objectId(), m_block);
    EXPECT_TRUE(OdDbBlockTableRecord::openBlock(m_block, OdDb::kForWrite)->isWriteEnabled());
    for (const OdDbObjectId id : {OdDbObjectId::kNull, m_db->getLayerZeroId(), addBag()}) {
        EXPECT_TRUE(OdDbBlockTableRecord::openBlock(id).isNull());
    }
    eraseObject(m_block);
    EXPECT_TRUE(OdDbBlockTableRecord::openBlock(m_block).isNull());
    EXPECT_FALSE(
        OdDbBlockTableRecord::openBlock(m_block, OdDb::kForRead, /*openErased=*/true).isNull());
}

TEST_F(BlockRecord, ListsItsEntitiesInTheirOrder)
{
    EXPECT_TRUE(opened(m_block)->entityIds().isEmpty());
    const OdDbObjectId first = addLine(m_block);
    const OdDbObjectId second = addLine(m_block);
    const OdDbObjectId third = addLine(m_block);
    eraseObject(second);
    EXPECT_EQ(opened(m_block)->entityIds(), (OdDbObjectIdArray{first, third}));
    EXPECT_EQ(opened(m_block)->entityIds(/*skipErased=*/false),
              (OdDbObjectIdArray{first, second, third}));
}

TEST_F(BlockRecord, IsContainedInBlocksThatShowItAtAnyDepth)
{
    OdDbObjectId top = m_block;
    for (int floor = 0; floor < 50; ++floor) {
        OdString name;
        name.format(L"floor %d", floor);
        const OdDbObjectId block = addBlock(name);
        for (int line = 0; line < 10; ++line) {
            addLine(block);
        }
        addReference(block, top);
        top = block;
    }
    const OdDbObjectId other = addBlock(L"other");
    addReference(other, top);
    EXPECT_TRUE(opened(m_block)->isContainedIn(m_block));
    EXPECT_TRUE(opened(m_block)->isContainedIn(top));
    EXPECT_TRUE(opened(m_block)->isContainedIn(other));
    EXPECT_FALSE(opened(top)->isContainedIn(m_block));
    EXPECT_FALSE(opened(m_block)->isContainedIn(addBlock(L"unrelated")));
    EXPECT_FALSE(opened(m_block)->isContainedIn(OdDbObjectId::kNull));
    EXPECT_FALSE(opened(m_block)->isContainedIn(m_db->getLayerZeroId()));
    EXPECT_EQ(thrownCode([&] { addReference(m_block, other); }), kOdCyclicReference);
}

TEST_F(BlockRecord, IsNotContainedWhereTheReferenceIsErased)
{
    const OdDbObjectId outer = addBlock(L"B");
    eraseObject(addReference(outer, m_block));
    EXPECT_FALSE(opened(m_block)->isContainedIn(outer));
    addReference(m_block, outer);
    EXPECT_TRUE(opened(outer)->isContainedIn(m_block));
}

TEST_F(BlockRecord, TakesManyReferencesOfOneBlockWhereIsItShownOften)
{
    // Each check must be short although both blocks are heavy: one is shown often, one is long.
    constexpr int kCount = 20'000;
    const OdDbObjectId heavy = addBlock(L"heavy");
    const OdDbObjectId space = m_db->getModelSpaceId();
    for (int index = 0; index < kCount; ++index) {
        addReference(space, heavy);
        addLine(m_block);
    }
    for (int index = 0; index < kCount; ++index) {
        addReference(heavy, m_block);
    }
    EXPECT_EQ(opened(m_block)->getBlockReferenceIds().size(), unsigned{kCount});
    EXPECT_EQ(thrownCode([&] { addReference(m_block, heavy); }), kOdCyclicReference);
}

}  // namespace
