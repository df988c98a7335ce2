// Cloning of blocks that show one another.

#include "db/clone_test_support.h"
#include "db/od_db_block_reference.h"

using namespace dbtest;

namespace {

using Style = OdDb::DuplicateRecordCloning;

class CloneOfBlocks : public CloneTest
{
protected:
    static OdDbObjectId addReference(OdDbObjectId owner, OdDbObjectId block)
    {
        return OdDbBlockTableRecordPtr(owner.safeOpenObject(OdDb::kForWrite))
            ->appendOdDbEntity(OdDbBlockReference::createObject(block, OdGePoint3d()).get());
    }
    static OdDbObjectId shownBy(OdDbObjectId reference)
    {
        return OdDbBlockReferencePtr(reference.safeOpenObject())->blockTableRecord();
    }
    static OdDbObjectId blockNamed(OdDbDatabase& db, OdString const& name)
    {
        return recordOf(db.getBlockTableId(), name);
    }
    static bool showsItself(OdDbObjectId block)
    {
        for (OdDbObjectId id : entitiesOf(block)) {
            const auto reference = OdDbBlockReference::cast(id.openObject().get());
            if (reference.isNull() || reference->blockTableRecord().isNull()) {
                continue;
            }
            const OdDbBlockTableRecordPtr owner = block.safeOpenObject();
            if (owner->isContainedIn(reference->blockTableRecord())) {
                return true;
            }
        }
        return false;
    }
    /// Makes a reference show a block behind the back of all checks, as a damaged drawing may.
    static void forceBlock(OdDbObjectId reference, OdDbObjectId showing)
    {
        OdStaticRxObject<OdDbMemoryFiler> filer;
        OdDbBlockReferencePtr(showing.safeOpenObject())->dwgOutFields(&filer);
        filer.rewindForReading();
        const OdDbBlockReferencePtr open = reference.safeOpenObject(OdDb::kForWrite);
        const OdDbObjectId owner = open->ownerId();
        ASSERT_EQ(open->dwgInFields(&filer), kOdOk);
        open->setOwnerId(owner);
    }
};

TEST_F(CloneOfBlocks, InsertedUnderTheNameOfABlockInsideGivesThatOneANameOfItsOwn)
{
    const OdDbObjectId inner = addBlock(*m_db, L"A");
    const OdDbObjectId line = addLine(inner, 7.0);
    const OdDbObjectId reference = addReference(m_db->getModelSpaceId(), inner);
    const OdDbObjectId made = m_other->insert(L"A", *m_db, m_mapping.get());
    ASSERT_EQ(entitiesOf(made).size(), 1U);
    EXPECT_EQ(cloneOf(inner), blockNamed(*m_other, L"$0$A"));
    EXPECT_EQ(shownBy(cloneOf(reference)), cloneOf(inner));
    EXPECT_EQ(entitiesOf(cloneOf(inner)), OdDbObjectIdArray{cloneOf(line)});
    EXPECT_FALSE(showsItself(made));
}

TEST_F(CloneOfBlocks, ThatWouldStandForABlockAroundTheOwnerGetNamesOfTheirOwn)
{
    const OdDbObjectId part = addBlock(*m_db, L"P");
    addLine(part, 7.0);
    const OdDbObjectId reference = addReference(m_db->getModelSpaceId(), part);
    const OdDbObjectId target = addBlock(*m_other, L"T");
    const OdDbObjectId middle = addBlock(*m_other, L"M");
    const OdDbObjectId outer = addBlock(*m_other, L"P");
    addReference(middle, target);
    addReference(outer, middle);
    for (const Style style : {Style::kDrcIgnore, Style::kDrcUnmangleName}) {
        m_mapping = OdDbIdMapping::createObject();
        m_db->wblockCloneObjects({reference}, target, *m_mapping, style);
        EXPECT_NE(cloneOf(part), outer);
        EXPECT_EQ(entitiesOf(cloneOf(part)).size(), 1U);
        EXPECT_FALSE(showsItself(target));
    }
    // Where nothing goes round, the block of the name stands for it.
    m_mapping = OdDbIdMapping::createObject();
    m_db->wblockCloneObjects({reference}, m_other->getModelSpaceId(), *m_mapping,
                             Style::kDrcIgnore);
    EXPECT_EQ(cloneOf(part), outer);
}

TEST_F(CloneOfBlocks, DoNotReplaceTheBlockThatTheyAreClonedTo)
{
    const OdDbObjectId part = addBlock(*m_db, L"T");
    addLine(part, 7.0);
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    const OdDbObjectId reference = addReference(m_db->getModelSpaceId(), part);
    const OdDbObjectId target = addBlock(*m_other, L"T");
    const OdDbObjectId present = addLine(target, 3.0);
    m_db->wblockCloneObjects({line, reference}, target, *m_mapping, Style::kDrcReplace);
    EXPECT_EQ(entitiesOf(target), (OdDbObjectIdArray{present, cloneOf(line), cloneOf(reference)}));
    EXPECT_EQ(shownBy(cloneOf(reference)), blockNamed(*m_other, L"$0$T"));
    EXPECT_FALSE(showsItself(target));
}

TEST_F(CloneOfBlocks, ThatReplaceABlockMayHoldWhatHeldIt)
{
    const OdDbObjectId part = addBlock(*m_db, L"P");
    const OdDbObjectId outer = addBlock(*m_db, L"X");
    addReference(part, outer);
    const OdDbObjectId otherPart = addBlock(*m_other, L"P");
    const OdDbObjectId otherOuter = addBlock(*m_other, L"X");
    addReference(otherOuter, otherPart);
    m_db->wblockCloneObjects({part}, m_other->getBlockTableId(), *m_mapping, Style::kDrcReplace);
    ASSERT_EQ(entitiesOf(otherPart).size(), 1U);
    EXPECT_EQ(shownBy(entitiesOf(otherPart)[0]), otherOuter);
    EXPECT_TRUE(entitiesOf(otherOuter).isEmpty());
    EXPECT_FALSE(showsItself(otherPart));
}

TEST_F(CloneOfBlocks, AreRefusedWhereAReferenceWouldLieInItsOwnBlock)
{
    const OdDbObjectId block = addBlock(*m_db, L"B");
    const OdDbObjectId outer = addBlock(*m_db, L"C");
    addLine(block, 1.0);
    addReference(outer, block);
    const OdDbObjectId toBlock = addReference(m_db->getModelSpaceId(), block);
    const OdDbObjectId toOuter = addReference(m_db->getModelSpaceId(), outer);
    for (const bool records : {false, true}) {
        if (records) {
            m_db->startUndoRecord();
        }
        const DatabaseState before = livingStateOf(*m_db);
        for (const OdDbObjectId reference : {toBlock, toOuter}) {
            EXPECT_EQ(thrownCode([&] { m_db->deepCloneObjects({reference}, block, *m_mapping); }),
                      kOdCyclicReference);
            EXPECT_EQ(thrownCode([&] {
                          m_db->wblockCloneObjects({reference}, block, *m_mapping,
                                                   Style::kDrcIgnore);
                      }),
                      kOdCyclicReference);
            EXPECT_EQ(livingStateOf(*m_db), before);
            EXPECT_EQ(m_mapping->size(), 0U);
        }
    }
}

TEST_F(CloneOfBlocks, AreRefusedWhereAnEarlierOperationsMappingLeadsIntoTheOwner)
{
    const OdDbObjectId first = addBlock(*m_db, L"X");
    addLine(first, 1.0);
    const OdDbObjectId copy = m_db->copyBlock(first, L"Y", *m_mapping);
    const OdDbObjectId reference = addReference(m_db->getModelSpaceId(), first);
    const DatabaseState before = livingStateOf(*m_db);
    EXPECT_EQ(thrownCode([&] { m_db->deepCloneObjects({reference}, copy, *m_mapping); }),
              kOdCyclicReference);
    EXPECT_EQ(livingStateOf(*m_db), before);
    EXPECT_EQ(cloneOf(first), copy);
}

TEST_F(CloneOfBlocks, AreRefusedWhereTheirDrawingsSpaceWouldLieInItself)
{
    const OdDbObjectId holder = addBlock(*m_db, L"holder");
    const OdDbObjectId reference = addReference(holder, m_db->getModelSpaceId());
    const DatabaseState before = livingStateOf(*m_other);
    EXPECT_EQ(thrownCode([&] {
                  m_db->wblockCloneObjects({reference}, m_other->getModelSpaceId(), *m_mapping,
                                           Style::kDrcIgnore);
              }),
              kOdCyclicReference);
    EXPECT_EQ(livingStateOf(*m_other), before);
}

TEST_F(CloneOfBlocks, ThatShowThemselvesInADamagedDrawingAreClonedAsTheyAre)
{
    const OdDbObjectId first = addBlock(*m_db, L"first");
    const OdDbObjectId second = addBlock(*m_db, L"second");
    addReference(first, second);
    const OdDbObjectId top = addReference(m_db->getModelSpaceId(), first);
    const OdDbObjectId ring = addReference(second, addBlock(*m_db, L"third"));
    forceBlock(ring, top);
    const OdDbDatabasePtr made = m_db->wblock(m_mapping.get());
    EXPECT_EQ(shownBy(cloneOf(ring)), cloneOf(first));
    EXPECT_EQ(shownBy(cloneOf(top)), cloneOf(first));
    const OdDbObjectId inserted = m_other->insert(L"whole", *m_db);
    EXPECT_EQ(entitiesOf(inserted).size(), 1U);
    m_mapping = OdDbIdMapping::createObject();
    EXPECT_FALSE(m_db->copyBlock(first, L"copy", *m_mapping).isNull());
}

TEST_F(CloneOfBlocks, WithManyReferencesToFewBlocksTakeNoTimeForTheCheck)
{
    const OdDbObjectId part = addBlock(*m_db, L"P");
    addLine(part, 1.0);
    OdDbObjectIdArray ids;
    for (int index = 0; index < 3'000; ++index) {
        ids.append(addReference(m_db->getModelSpaceId(), part));
    }
    const OdDbObjectId heavy = addBlock(*m_db, L"H");
    for (int index = 0; index < 3'000; ++index) {
        addReference(m_db->getModelSpaceId(), heavy);
    }
    m_db->deepCloneObjects(ids, heavy, *m_mapping);
    EXPECT_EQ(OdDbBlockTableRecordPtr(part.safeOpenObject())->getBlockReferenceIds().size(),
              6'000U);
}

}  // namespace
