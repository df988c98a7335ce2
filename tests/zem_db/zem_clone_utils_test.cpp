#include "assoc/od_db_assoc_dependency.h"
#include "db/od_ap_long_transaction_manager.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_proxy_object.h"
#include "db/od_db_xrecord.h"
#include "root/od_assert.h"
#include "root/root_test_support.h"
#include "support/zem_module_scope.h"

#include "zem_block_utils.h"
#include "zem_clone_utils.h"
#include "zem_db_constraint_manager.h"
#include "zem_db_variable_reactor.h"
#include "zem_db_variable_utils.h"
#include "zem_flat_filer.h"
#include "zem_link_utils.h"
#include "zem_protocol_extensions.h"

#include <gtest/gtest.h>

namespace {

using IdSet = std::unordered_set<OdDbObjectId, zemu::hash_ObjectId>;
using IdMap = std::unordered_map<OdDbObjectId, OdDbObjectId, zemu::hash_ObjectId>;

class Clones : public testing::Test
{
protected:
    static OdDbObjectId addBlock(OdDbDatabase& database, OdString const& name)
    {
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
        block->setName(name);
        return OdDbBlockTablePtr(database.getBlockTableId().openObject(OdDb::kForWrite))
            ->add(block.get());
    }

    static OdDbBlockTableRecordPtr open(OdDbObjectId block, OdDb::OpenMode mode = OdDb::kForRead)
    {
        return block.openObject(mode);
    }

    static OdDbObjectId append(OdDbObjectId block, OdDbEntityPtr const& entity)
    {
        return open(block, OdDb::kForWrite)->appendOdDbEntity(entity.get());
    }
    static OdDbObjectId appendLine(OdDbObjectId block)
    {
        return append(block, OdDbLine::createObject());
    }
    static OdDbObjectId appendReference(OdDbObjectId block, OdDbObjectId shown)
    {
        return append(block, OdDbBlockReference::createObject(shown, OdGePoint3d()));
    }

    static void erase(OdDbObjectId id)
    {
        ASSERT_EQ(id.openObject(OdDb::kForWrite)->erase(), kOdOk);
    }

    OdDbObjectId nowhere()
    {
        return m_database->getOdDbObjectId(OdDbHandle(0x9999), /*create=*/true);
    }

    ZemModuleScope m_scope;
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    OdDbDatabasePtr m_other = OdDbDatabase::createObject();
    OdDbObjectId m_first = addBlock(*m_database, L"First");
    OdDbObjectId m_second = addBlock(*m_database, L"Second");
    OdDbIdMappingPtr m_mapping = OdDbIdMapping::createObject();
};

class OneLongTransaction : public OdApLongTransactionManager
{
public:
    explicit OneLongTransaction(OdDbDatabase* database)
        : m_database(database), m_before(odapSetLongTransactionManager(this))
    {
    }
    ~OneLongTransaction() override { odapSetLongTransactionManager(m_before); }

    bool isInLongTransaction(OdDbDatabase const* database) const override
    {
        return database == m_database;
    }

private:
    OdDbDatabase* m_database;
    OdApLongTransactionManager* m_before;
};

}  // namespace

TEST_F(Clones, AnExtraMappingKeepsTheFirstValueOfAKey)
{
    ZemDbIdMapping mapping;
    EXPECT_TRUE(mapping.add(m_first, m_second));
    EXPECT_FALSE(mapping.add(m_first, m_first));
    EXPECT_EQ(mapping.find(m_first), m_second);
    EXPECT_TRUE(mapping.find(m_second).isNull());
    EXPECT_TRUE(mapping.find(OdDbObjectId()).isNull());
}

TEST_F(Clones, AnExtraMappingTakesARedirectedIdForTheOneItStandsFor)
{
    const OdDbObjectId alias = m_other->getOdDbObjectId(OdDbHandle(0x5000), /*create=*/true);
    alias.redirectTo(m_first);
    ZemDbIdMapping mapping;
    EXPECT_TRUE(mapping.add(m_first, m_second));
    EXPECT_EQ(mapping.find(alias), m_second);
    EXPECT_FALSE(mapping.add(alias, m_first));
    alias.redirectTo(OdDbObjectId::kNull);
}

TEST_F(Clones, AReverseMappingFindsPairsByTheirValues)
{
    const OdDbObjectId line = appendLine(m_first);
    m_mapping->assign(OdDbIdPair(m_first, line, true, true, false));
    m_mapping->assign(OdDbIdPair(m_second, m_first, false, false, true));
    const ZemDbReverseIdMapping reverse(*m_mapping);
    OdDbIdPair pair;
    ASSERT_TRUE(reverse.compute(line, pair));
    EXPECT_EQ(pair.key(), m_first);
    EXPECT_EQ(pair.value(), line);
    EXPECT_TRUE(pair.isCloned());
    EXPECT_TRUE(pair.isPrimary());
    EXPECT_FALSE(pair.isOwnerTranslated());
    EXPECT_TRUE(reverse.isCloned(line));
    EXPECT_FALSE(reverse.isCloned(m_first));
    EXPECT_FALSE(reverse.isCloned(m_second));
}

TEST_F(Clones, AReverseMappingSetsTheValueEvenIfItFindsNothing)
{
    OdDbIdPair pair(m_first);
    EXPECT_FALSE(ZemDbReverseIdMapping(*m_mapping).compute(m_second, pair));
    EXPECT_EQ(pair.key(), m_first);
    EXPECT_EQ(pair.value(), m_second);
}

TEST_F(Clones, AnEmptyReverseMappingFindsNothing)
{
    OdDbIdPair pair;
    EXPECT_FALSE(ZemDbReverseIdMapping(*OdDbIdMapping::createObject()).compute(m_first, pair));
}

TEST_F(Clones, AReverseMappingAnswersWithTheFirstOfSeveralKeys)
{
    m_mapping->assign(OdDbIdPair(m_second, m_first, true));
    m_mapping->assign(OdDbIdPair(m_first, m_first, true));
    OdDbIdPair pair;
    ASSERT_TRUE(ZemDbReverseIdMapping(*m_mapping).compute(m_first, pair));
    EXPECT_EQ(pair.key(), m_second);
}

TEST_F(Clones, OneObjectIsClonedToAnOwner)
{
    const OdDbObjectId line = appendLine(m_first);
    const OdDbObjectPtr clone = zemu::deepCloneObject(line, m_second, *m_mapping);
    ASSERT_FALSE(clone.isNull());
    EXPECT_EQ(clone->ownerId(), m_second);
    EXPECT_EQ(open(m_second)->entityCount(), 1u);
    EXPECT_EQ(zemu::findClone(*m_mapping, line), clone->objectId());
    EXPECT_TRUE(zemu::deepCloneObject(line, m_second, *m_mapping).isNull());
}

TEST_F(Clones, OneObjectIsClonedToAnotherDrawing)
{
    const OdDbObjectId line = appendLine(m_first);
    const OdDbObjectPtr clone =
        zemu::wblockCloneObject(line, m_other->getModelSpaceId(), *m_mapping);
    ASSERT_FALSE(clone.isNull());
    EXPECT_EQ(clone->database(), m_other.get());
    EXPECT_EQ(open(m_other->getModelSpaceId())->entityCount(), 1u);
    EXPECT_EQ(OdDbEntityPtr(clone)->layerId(), m_other->getLayerZeroId());
    EXPECT_EQ(zemu::findClone(*m_mapping, m_database->getLayerTableId()),
              m_other->getLayerTableId());
}

TEST_F(Clones, WhatCanNotBeOpenedIsNotCloned)
{
    const OdDbObjectId line = appendLine(m_first);
    erase(line);
    for (OdDbObjectId id : {OdDbObjectId(), line, nowhere()}) {
        EXPECT_TRUE(zemu::deepCloneObject(id, m_second, *m_mapping).isNull());
        EXPECT_TRUE(zemu::wblockCloneObject(id, m_other->getModelSpaceId(), *m_mapping).isNull());
    }
}

TEST_F(Clones, KeysOfTheSourceAreAskedOfTheMappingAndThenOfTheExtraMap)
{
    const OdDbObjectId line = appendLine(m_first);
    m_mapping->setOrigDb(m_database.get());
    m_mapping->assign(OdDbIdPair(m_first, m_second, true, true));
    IdMap extra{{m_first, line}, {line, m_second}};
    OdDbIdPair known(m_first);
    ASSERT_TRUE(zemu::tryCompute(*m_mapping, extra, known));
    EXPECT_EQ(known.value(), m_second);
    EXPECT_TRUE(known.isCloned());
    OdDbIdPair fromExtra(line);
    ASSERT_TRUE(zemu::tryCompute(*m_mapping, extra, fromExtra));
    EXPECT_EQ(fromExtra.value(), m_second);
    EXPECT_FALSE(fromExtra.isCloned());
    OdDbIdPair unknown(m_second);
    EXPECT_FALSE(zemu::tryCompute(*m_mapping, extra, unknown));
}

TEST_F(Clones, KeysOfAnotherDatabaseAreNotAsked)
{
    m_mapping->setOrigDb(m_database.get());
    const OdDbObjectId foreign = m_other->getModelSpaceId();
    IdMap extra{{foreign, m_first}};
    OdDbIdPair pair(foreign);
    EXPECT_FALSE(zemu::tryCompute(*m_mapping, extra, pair));
    OdDbIdPair null;
    EXPECT_FALSE(zemu::tryCompute(*m_mapping, extra, null));
}

TEST_F(Clones, OnlyTheFilerOfACloneOperationKnowsItsMapping)
{
    const OdSmartPtr<OdDbDeepCloneFiler> filer = odrxMake<OdRxObjectImpl<OdDbDeepCloneFiler>>(
        OdDb::FilerType::kDeepCloneFiler, m_database.get(), m_mapping.get());
    EXPECT_EQ(zemu::getIdMappingFromFiler(filer.get()), m_mapping.get());
    OdStaticRxObject<ZemFlatFiler> other;
    EXPECT_EQ(zemu::getIdMappingFromFiler(&other), nullptr);
    EXPECT_EQ(zemu::getIdMappingFromFiler(nullptr), nullptr);
}

TEST_F(Clones, BlocksOfClonesAreThoseOfTheEntitiesAmongTheValues)
{
    const OdDbObjectId line = appendLine(m_first);
    const OdDbObjectId erased = appendLine(m_second);
    erase(erased);
    m_mapping->assign(OdDbIdPair(m_second, m_second, true));
    m_mapping->assign(OdDbIdPair(m_first, line, true));
    m_mapping->assign(OdDbIdPair(line, erased, true));
    m_mapping->assign(OdDbIdPair(erased, OdDbObjectId(), true));
    EXPECT_EQ(zemu::getClonedBTRs(*m_mapping), IdSet{m_first});
}

TEST_F(Clones, PrimaryClonesAreCollectedByClassOrADerivedOne)
{
    const OdDbObjectId line = appendLine(m_first);
    const OdDbObjectId circle = append(m_first, OdDbCircle::createObject());
    m_mapping->assign(OdDbIdPair(m_first, line, true, true));
    m_mapping->assign(OdDbIdPair(m_second, circle, true, true));
    m_mapping->assign(OdDbIdPair(line, circle, true, false));
    m_mapping->assign(OdDbIdPair(circle, line, false, true));
    OdArray<OdDbIdPair> pairs;
    zemu::getClonedObjectsByExactType(*m_mapping, OdDbEntity::desc(), pairs);
    EXPECT_EQ(pairs.size(), 2u);
    zemu::getClonedObjectsByExactType(*m_mapping, OdDbLine::desc(), pairs);
    ASSERT_EQ(pairs.size(), 3u);
    EXPECT_EQ(pairs.last().value(), line);
    zemu::getClonedObjectsByExactType(*m_mapping, nullptr, pairs);
    zemu::getClonedObjectsByExactType(*m_mapping, ZemPropertiesPE::desc(), pairs);
    EXPECT_EQ(pairs.size(), 3u);
}

TEST_F(Clones, LongTransactionsAreAskedOfTheHost)
{
    m_mapping->setOrigDb(m_database.get());
    m_mapping->setDestDb(m_other.get());
    EXPECT_FALSE(zemu::isInLongTransaction(m_database.get()));
    EXPECT_FALSE(zemu::isInLongTransaction(*m_mapping));
    const OneLongTransaction manager(m_database.get());
    EXPECT_TRUE(zemu::isInLongTransaction(m_database.get()));
    EXPECT_FALSE(zemu::isInLongTransaction(m_other.get()));
    EXPECT_FALSE(zemu::isInLongTransaction(static_cast<OdDbDatabase*>(nullptr)));
    EXPECT_TRUE(zemu::isInLongTransaction(*m_mapping));
    m_mapping->setOrigDb(m_other.get());
    EXPECT_FALSE(zemu::isInLongTransaction(*m_mapping));
    m_mapping->setDestDb(m_database.get());
    EXPECT_TRUE(zemu::isInLongTransaction(*m_mapping));
}

TEST_F(Clones, AnEntityHasAPositionAmongTheLivingOnes)
{
    const OdDbObjectId gone = appendLine(m_first);
    const OdDbObjectId first = appendLine(m_first);
    const OdDbObjectId second = appendLine(m_first);
    erase(gone);
    int index = 7;
    int count = 7;
    EXPECT_TRUE(zemu::findEntityIdxInBtr(m_first, second, index, count));
    EXPECT_EQ(index, 1);
    EXPECT_EQ(count, 2);
    EXPECT_FALSE(zemu::findEntityIdxInBtr(m_first, gone, index, count));
    EXPECT_EQ(index, -1);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(zemu::findEntityInBtrByIdx(m_first, 0, 2), first);
}

TEST_F(Clones, ABlockThatCanNotBeOpenedHasNoPositions)
{
    const OdDbObjectId line = appendLine(m_first);
    for (OdDbObjectId id : {OdDbObjectId(), line, nowhere()}) {
        int index = 7;
        int count = 7;
        EXPECT_FALSE(zemu::findEntityIdxInBtr(id, line, index, count));
        EXPECT_EQ(index, -1);
        EXPECT_EQ(count, 0);
        EXPECT_TRUE(zemu::findEntityInBtrByIdx(id, 0, 1).isNull());
    }
}

TEST_F(Clones, APositionIsNotTrustedInABlockOfAnotherSize)
{
    const OdDbObjectId line = appendLine(m_first);
    EXPECT_EQ(zemu::findEntityInBtrByIdx(m_first, 0, 1), line);
    EXPECT_TRUE(zemu::findEntityInBtrByIdx(m_first, 0, 2).isNull());
    EXPECT_TRUE(zemu::findEntityInBtrByIdx(m_first, 0, 0).isNull());
    EXPECT_TRUE(zemu::findEntityInBtrByIdx(m_first, -1, 1).isNull());
    EXPECT_TRUE(zemu::findEntityInBtrByIdx(m_first, 1, 1).isNull());
}

TEST_F(Clones, EntitiesCorrespondByPosition)
{
    appendLine(m_first);
    const OdDbObjectId inFirst = appendLine(m_first);
    appendLine(m_second);
    const OdDbObjectId inSecond = appendLine(m_second);
    EXPECT_EQ(zemu::findCorrespondingEntityByIndexInBTR(inFirst, m_second), inSecond);
    EXPECT_TRUE(zemu::findCorrespondingEntityByIndexInBTR(inFirst, OdDbObjectId()).isNull());
    EXPECT_TRUE(zemu::findCorrespondingEntityByIndexInBTR(m_first, m_second).isNull());
    appendLine(m_second);
    EXPECT_TRUE(zemu::findCorrespondingEntityByIndexInBTR(inFirst, m_second).isNull());
}

TEST_F(Clones, BlocksAreMappedWithWhatTheirReferencesShow)
{
    const OdDbObjectId inFirst = addBlock(*m_database, L"InFirst");
    const OdDbObjectId inSecond = addBlock(*m_database, L"InSecond");
    appendLine(inFirst);
    appendLine(inSecond);
    for (int count = 0; count < 2; ++count) {
        appendReference(m_first, inFirst);
        appendReference(m_second, inSecond);
    }
    ZemDbIdMapping blocks;
    IdSet visited;
    zemu::addBtrMapping(m_first, m_second, blocks, visited);
    EXPECT_EQ(blocks.find(m_first), m_second);
    EXPECT_EQ(blocks.find(inFirst), inSecond);
    EXPECT_EQ(visited, (IdSet{m_first, inFirst}));
}

TEST_F(Clones, BlocksThatDifferAreVisitedAndNotMapped)
{
    appendLine(m_first);
    ZemDbIdMapping blocks;
    IdSet visited;
    zemu::addBtrMapping(m_first, m_second, blocks, visited);
    EXPECT_TRUE(blocks.find(m_first).isNull());
    EXPECT_EQ(visited, IdSet{m_first});
    zemu::addBtrMapping(m_first, OdDbObjectId(), blocks, visited);
    zemu::addBtrMapping(OdDbObjectId(), m_first, blocks, visited);
    EXPECT_EQ(blocks.size(), 0u);
}

TEST_F(Clones, BlocksNestedThousandsDeepAreMapped)
{
    constexpr int kDepth = 3000;
    OdDbObjectId source = m_first;
    OdDbObjectId target = m_second;
    for (int depth = 0; depth < kDepth; ++depth) {
        OdString name;
        const OdDbObjectId nextSource = addBlock(*m_database, name.format(L"S%d", depth));
        const OdDbObjectId nextTarget = addBlock(*m_database, name.format(L"T%d", depth));
        appendReference(nextSource, source);
        appendReference(nextTarget, target);
        source = nextSource;
        target = nextTarget;
    }
    ZemDbIdMapping blocks;
    IdSet visited;
    zemu::addBtrMapping(source, target, blocks, visited);
    EXPECT_EQ(blocks.find(m_first), m_second);
    EXPECT_EQ(blocks.size(), kDepth + 1u);
}

TEST_F(Clones, BlocksOfAWholeCloneAreMapped)
{
    // Reached from a cloned reference, by name, and only as a clone of an anonymous block.
    appendLine(m_first);
    const OdDbObjectId anonymous = zemu::createEmptyAnonymousBlock(m_database.get());
    append(anonymous, OdDbCircle::createObject());
    const OdDbObjectId inModel = appendReference(m_database->getModelSpaceId(), m_first);
    const OdDbObjectId toAnonymous = appendReference(m_database->getModelSpaceId(), anonymous);
    m_other->wblockCloneObjects({inModel, toAnonymous}, m_other->getModelSpaceId(), *m_mapping,
                                OdDb::DuplicateRecordCloning::kDrcIgnore);
    ZemDbIdMapping blocks;
    zemu::buildBtrMapping(*m_mapping, blocks);
    EXPECT_EQ(blocks.find(m_first), zemu::findBtrByName(m_other.get(), L"First"));
    EXPECT_EQ(blocks.find(anonymous), zemu::findClone(*m_mapping, anonymous));
    EXPECT_FALSE(blocks.find(anonymous).isNull());
}

TEST_F(Clones, BlocksAreMappedByNameWithoutReferences)
{
    const OdDbObjectId there = addBlock(*m_other, L"First");
    m_mapping->setOrigDb(m_database.get());
    m_mapping->setDestDb(m_other.get());
    m_mapping->assign(OdDbIdPair(m_first, OdDbObjectId(), false));
    ZemDbIdMapping blocks;
    zemu::buildBtrMapping(*m_mapping, blocks);
    EXPECT_EQ(blocks.find(m_first), there);
}

TEST_F(Clones, ABlockWhoseNameLeadsToADifferentOneIsMappedToItsClone)
{
    appendLine(m_first);
    addBlock(*m_other, L"First");
    const OdDbObjectId clone = addBlock(*m_other, L"First_1");
    appendLine(clone);
    m_mapping->setOrigDb(m_database.get());
    m_mapping->setDestDb(m_other.get());
    m_mapping->assign(OdDbIdPair(m_first, clone, true));
    ZemDbIdMapping blocks;
    zemu::buildBtrMapping(*m_mapping, blocks);
    EXPECT_EQ(blocks.find(m_first), clone);
}

TEST_F(Clones, ABlockClonedInItsDrawingIsMappedToItsCloneAndNotToItself)
{
    appendLine(m_first);
    const OdDbObjectId clone = m_database->copyBlock(m_first, L"*U", *m_mapping);
    ZemDbIdMapping blocks;
    zemu::buildBtrMapping(*m_mapping, blocks);
    EXPECT_EQ(blocks.find(m_first), clone);
}

TEST_F(Clones, AReferenceTellsWhereItsContentLies)
{
    const OdDbObjectId reference = appendReference(m_second, m_first);
    EXPECT_EQ(zemu::getBlockReferenceDefinitionDb(reference), m_database.get());
    erase(reference);
    EXPECT_EQ(zemu::getBlockReferenceDefinitionDb(reference), m_database.get());
    for (OdDbObjectId id : {OdDbObjectId(), m_first, nowhere()}) {
        EXPECT_EQ(zemu::getBlockReferenceDefinitionDb(id), nullptr);
    }
    erase(m_first);
    EXPECT_EQ(zemu::getBlockReferenceDefinitionDb(reference), nullptr);
}

TEST_F(Clones, AWholePathIsTranslatedByTheMapping)
{
    const OdDbObjectId line = appendLine(m_first);
    const OdDbObjectId reference = appendReference(m_database->getModelSpaceId(), m_first);
    m_other->wblockCloneObjects({reference}, m_other->getModelSpaceId(), *m_mapping,
                                OdDb::DuplicateRecordCloning::kDrcIgnore);
    OdDbObjectIdArray target{m_first};
    ASSERT_TRUE(zemu::mapObjectPath(*m_mapping, ZemDbIdMapping(), {reference, line}, target));
    ASSERT_EQ(target.size(), 2u);
    EXPECT_EQ(target[0], zemu::findClone(*m_mapping, reference));
    EXPECT_EQ(target[1], zemu::findClone(*m_mapping, line));
}

TEST_F(Clones, APathMayBeTranslatedInPlace)
{
    const OdDbObjectId line = appendLine(m_first);
    const OdDbObjectId reference = appendReference(m_database->getModelSpaceId(), m_first);
    m_other->wblockCloneObjects({reference}, m_other->getModelSpaceId(), *m_mapping,
                                OdDb::DuplicateRecordCloning::kDrcIgnore);
    OdDbObjectIdArray path{reference, line};
    EXPECT_TRUE(zemu::mapObjectPath(*m_mapping, ZemDbIdMapping(), path, path));
    EXPECT_EQ(path, (OdDbObjectIdArray{zemu::findClone(*m_mapping, reference),
                                       zemu::findClone(*m_mapping, line)}));
}

TEST_F(Clones, APathIsTranslatedByPositionInTheMappedBlock)
{
    const OdDbObjectId line = appendLine(m_first);
    const OdDbObjectId there = addBlock(*m_other, L"First");
    const OdDbObjectId lineThere = appendLine(there);
    const OdDbObjectId reference = appendReference(m_database->getModelSpaceId(), m_first);
    m_other->wblockCloneObjects({reference}, m_other->getModelSpaceId(), *m_mapping,
                                OdDb::DuplicateRecordCloning::kDrcIgnore);
    ZemDbIdMapping blocks;
    zemu::buildBtrMapping(*m_mapping, blocks);
    OdDbObjectIdArray target;
    ASSERT_TRUE(zemu::mapObjectPath(*m_mapping, blocks, {reference, line}, target));
    EXPECT_EQ(target.last(), lineThere);
}

TEST_F(Clones, APathIsTranslatedByHandleInWhatTheReferenceShows)
{
    // The clone of the reference shows the same block, which is in no mapping.
    const OdDbObjectId line = appendLine(m_first);
    const OdDbObjectId reference = appendReference(m_database->getModelSpaceId(), m_first);
    m_database->deepCloneObjects({reference}, m_database->getModelSpaceId(), *m_mapping);
    OdDbObjectIdArray target;
    ASSERT_TRUE(zemu::mapObjectPath(*m_mapping, ZemDbIdMapping(), {reference, line}, target));
    EXPECT_EQ(target, (OdDbObjectIdArray{zemu::findClone(*m_mapping, reference), line}));
}

TEST_F(Clones, APathWithoutTranslationIsRefused)
{
    m_mapping->setOrigDb(m_database.get());
    m_mapping->setDestDb(m_other.get());
    const OdDbObjectId line = appendLine(m_first);
    OdDbObjectIdArray target;
    EXPECT_FALSE(zemu::mapObjectPath(*m_mapping, ZemDbIdMapping(), {line}, target));
    EXPECT_FALSE(zemu::mapObjectPath(*m_mapping, ZemDbIdMapping(), {OdDbObjectId()}, target));
    EXPECT_FALSE(zemu::mapObjectPath(*m_mapping, ZemDbIdMapping(), {}, target));
    // A translation that leads to no entity is none either.
    m_mapping->assign(OdDbIdPair(line, m_other->getModelSpaceId(), true));
    EXPECT_FALSE(zemu::mapObjectPath(*m_mapping, ZemDbIdMapping(), {line}, target));
}

TEST_F(Clones, APathIsValidWhereEachReferenceLiesInTheBlockBeforeIt)
{
    const OdDbObjectId line = appendLine(m_first);
    const OdDbObjectId inner = appendReference(m_second, m_first);
    const OdDbObjectId outer = appendReference(m_database->getModelSpaceId(), m_second);
    EXPECT_TRUE(zemu::isValidObjectIdPath({line}, true));
    EXPECT_TRUE(zemu::isValidObjectIdPath({outer, inner, line}, true));
    EXPECT_TRUE(zemu::isValidObjectIdPath({outer, inner}, true));
    EXPECT_FALSE(zemu::isValidObjectIdPath({outer, line}, true));
    EXPECT_TRUE(zemu::isValidObjectIdPath({outer, line}, false));
    EXPECT_FALSE(zemu::isValidObjectIdPath({inner, outer, line}, false));
    EXPECT_FALSE(zemu::isValidObjectIdPath({}, false));
}

TEST_F(Clones, APathThroughWhatIsNotThereIsNotValid)
{
    const OdDbObjectId line = appendLine(m_first);
    const OdDbObjectId reference = appendReference(m_database->getModelSpaceId(), m_first);
    const OdDbObjectId foreign = appendLine(m_other->getModelSpaceId());
    EXPECT_FALSE(zemu::isValidObjectIdPath({OdDbObjectId()}, false));
    EXPECT_FALSE(zemu::isValidObjectIdPath({m_first}, false));
    EXPECT_FALSE(zemu::isValidObjectIdPath({line, line}, false));
    EXPECT_FALSE(zemu::isValidObjectIdPath({nowhere(), line}, false));
    EXPECT_FALSE(zemu::isValidObjectIdPath({reference, foreign}, true));
    EXPECT_TRUE(zemu::isValidObjectIdPath({reference, foreign}, false));
    EXPECT_FALSE(zemu::isValidObjectIdPath(
        {m_database->addOdDbObject(odrxMake<OdDbProxyObject>().get())}, false));
    erase(line);
    EXPECT_FALSE(zemu::isValidObjectIdPath({reference, line}, false));
    erase(m_first);
    EXPECT_FALSE(zemu::isValidObjectIdPath({reference, foreign}, false));
}

TEST_F(Clones, AValueDependencyIsValidAtAnAction)
{
    zemu::getAssocVariable(m_first, L"a", /*create=*/true);
    const OdString expression(L"a");
    const OdDbAssocVariablePtr b =
        zemu::getAssocVariable(m_first, L"b", /*create=*/true, &expression)
            .openObject(OdDb::kForWrite);
    OdDbObjectIdArray dependencies;
    ASSERT_EQ(b->getDependencies(true, true, dependencies), kOdOk);
    const OdDbObjectPtr dependency = dependencies.first().openObject(OdDb::kForWrite);
    EXPECT_TRUE(zemu::assocVariableReactorIsValid(dependency.get()));
    dependency->setOwnerId(m_second);
    EXPECT_FALSE(zemu::assocVariableReactorIsValid(dependency.get()));
    const OdDbObjectId plain = m_database->addOdDbObject(odrxMake<OdDbAssocDependency>().get());
    plain.openObject(OdDb::kForWrite)->setOwnerId(b->objectId());
    EXPECT_FALSE(zemu::assocVariableReactorIsValid(plain.openObject().get()));
}

TEST_F(Clones, AVariableReactorIsValidBelowADictionaryThatKnowsItsWay)
{
    const OdDbObjectId manager =
        zemu::getObjInExtDict(m_first, kZemDatabaseKey, ZemDbConstraintManager::desc());
    const OdDbObjectId reactor =
        m_database->addOdDbObject(odrxMake<ZemDbVariableReactor>().get(), manager);
    EXPECT_TRUE(zemu::assocVariableReactorIsValid(reactor.openObject().get()));
    manager.openObject(OdDb::kForWrite)->setOwnerId(m_database->getNamedObjectsDictionaryId());
    EXPECT_FALSE(zemu::assocVariableReactorIsValid(reactor.openObject().get()));
    reactor.openObject(OdDb::kForWrite)->setOwnerId(OdDbObjectId());
    EXPECT_FALSE(zemu::assocVariableReactorIsValid(reactor.openObject().get()));
}

TEST_F(Clones, AVariableReactorWithOwnersInARingIsNotValid)
{
    const OdDbObjectId reactor = m_database->addOdDbObject(odrxMake<ZemDbVariableReactor>().get());
    const OdDbObjectId record = m_database->addOdDbObject(OdDbXrecord::createObject().get());
    reactor.openObject(OdDb::kForWrite)->setOwnerId(record);
    record.openObject(OdDb::kForWrite)->setOwnerId(record);
    EXPECT_FALSE(zemu::assocVariableReactorIsValid(reactor.openObject().get()));
}

TEST_F(Clones, AnythingElseIsNoValidReactor)
{
    EXPECT_FALSE(zemu::assocVariableReactorIsValid(nullptr));
    EXPECT_FALSE(zemu::assocVariableReactorIsValid(
        m_database->getNamedObjectsDictionaryId().openObject().get()));
    EXPECT_FALSE(zemu::assocVariableReactorIsValid(m_first.openObject().get()));
}
