#include "db/db_test_support.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_curves.h"
#include "db/od_db_id_mapping.h"

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

TEST_F(BlockRecord, ForgetsAnEntityWhenAReactorTakesTheDrawingAway)
{
    const OdDbObjectId r = addReactor();
    watch(m_block, r);
    const OdDbBlockTableRecordPtr held = opened(m_block);
    reactor(r).onNotice = [&](TestReactor&, NoticeKind, OdDbObject const&) { m_db.release(); };
    (void)held->appendOdDbEntity(OdDbLine::createObject().get());
    EXPECT_EQ(OdDbDatabase::liveCount(), 0);
    EXPECT_TRUE(held->entityIds().isEmpty());
    m_asserts.take();
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

TEST_F(BlockRecord, ExchangesItsEntitiesWhileAReactorAppendsAnother)
{
    const OdDbObjectId other = addBlock(L"B");
    const OdDbObjectId line = addLine(m_block);
    const OdDbObjectId watcher = addReactor();
    watch(line, watcher);
    unsigned total = 1;
    for (NoticeKind wanted : {NoticeKind::kOpenedForModify, NoticeKind::kModified}) {
        OdDbObjectId late;
        reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
            if (kind == wanted && late.isNull()) {
                late = addLine(m_block);
            }
        };
        opened(m_block)->swapEntities(*opened(other));
        ++total;
        reactor(watcher).onNotice = nullptr;
        ASSERT_FALSE(late.isNull());
        EXPECT_EQ(late.safeOpenObject()->ownerId(), m_block);
        EXPECT_TRUE(opened(m_block)->entityIds().contains(late));
        EXPECT_EQ(line.safeOpenObject()->ownerId(), other);
        EXPECT_EQ(opened(m_block)->entityCount() + opened(other)->entityCount(), total);
        opened(m_block)->swapEntities(*opened(other));  // the line back for the next round
        EXPECT_TRUE(opened(m_block)->entityIds().contains(line));
        EXPECT_EQ(late.safeOpenObject()->ownerId(), other);
    }
}

TEST_F(BlockRecord, ExchangesManyEntitiesInTime)
{
    constexpr unsigned kCount = 20'000;
    const OdDbObjectId other = addBlock(L"B");
    for (unsigned index = 0; index < kCount; ++index) {
        addLine(m_block);
        addLine(other);
    }
    const OdDbObjectIdArray mine = opened(m_block)->entityIds();
    const OdDbObjectIdArray theirs = opened(other)->entityIds();
    opened(m_block)->swapEntities(*opened(other));
    EXPECT_EQ(opened(m_block)->entityIds(), theirs);
    EXPECT_EQ(opened(other)->entityIds(), mine);
}

TEST_F(BlockRecord, LosesAnEntityWhoseOwnerIsTakenAwayAndGetsItBackByUndo)
{
    const OdDbObjectId other = addBlock(L"B");
    const OdDbObjectId before = addLine(m_block);
    const OdDbObjectId line = addLine(m_block);
    const OdDbObjectId behind = addLine(m_block);
    const OdDbObjectIdArray all{before, line, behind};
    m_db->startUndoRecord();
    {
        const OdDbEntityPtr entity = line.safeOpenObject(OdDb::kForWrite);
        entity->setOwnerId(OdDbObjectId::kNull);
        EXPECT_EQ(opened(m_block)->entityIds(), (OdDbObjectIdArray{before, behind}));
        opened(other)->appendOdDbEntity(entity.get());
    }
    EXPECT_EQ(opened(other)->entityIds(), OdDbObjectIdArray{line});
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(opened(m_block)->entityIds(), all);
    EXPECT_EQ(line.safeOpenObject()->ownerId(), m_block);
    EXPECT_TRUE(opened(other)->entityIds().isEmpty());
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(opened(other)->entityIds(), OdDbObjectIdArray{line});
    EXPECT_EQ(opened(m_block)->entityIds(), (OdDbObjectIdArray{before, behind}));
}

TEST_F(BlockRecord, CountsAReferenceOnlyWhileThatIsInABlock)
{
    const OdDbObjectId other = addBlock(L"B");
    const OdDbObjectId reference = addReference(m_db->getModelSpaceId(), m_block);
    m_db->startUndoRecord();
    {
        const OdDbEntityPtr entity = reference.safeOpenObject(OdDb::kForWrite);
        entity->setOwnerId(OdDbObjectId::kNull);
        EXPECT_TRUE(opened(m_block)->getBlockReferenceIds().isEmpty());
        opened(other)->appendOdDbEntity(entity.get());
    }
    EXPECT_EQ(opened(m_block)->getBlockReferenceIds(), OdDbObjectIdArray{reference});
    EXPECT_TRUE(opened(m_block)->isContainedIn(other));
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(opened(m_block)->getBlockReferenceIds(), OdDbObjectIdArray{reference});
    EXPECT_FALSE(opened(m_block)->isContainedIn(other));
}

TEST_F(BlockRecord, OfAnotherLayoutStaysOneInACopyOfTheWholeDrawing)
{
    const OdDbObjectId layout = addBlock(L"*Paper_Space0");
    const OdDbObjectId anonymous = addBlock(L"*U");
    addLine(layout);
    const OdDbDatabasePtr made = m_db->wblock();
    const OdDbSymbolTablePtr blocks = made->getBlockTableId().safeOpenObject();
    const OdDbObjectId copy = blocks->getAt(L"*Paper_Space0");
    ASSERT_FALSE(copy.isNull());
    EXPECT_TRUE(opened(copy)->isLayout());
    EXPECT_EQ(opened(copy)->entityCount(), 1U);
    EXPECT_TRUE(opened(anonymous)->isAnonymous());
    OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    m_db->deepCloneObjects({layout}, m_db->getBlockTableId(), *mapping);
    OdDbIdPair pair(layout);
    ASSERT_TRUE(mapping->compute(pair));
    EXPECT_TRUE(opened(pair.value())->isAnonymous());
}

}  // namespace
