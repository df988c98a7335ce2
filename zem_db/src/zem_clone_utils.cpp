#include "zem_clone_utils.h"

#include "assoc/od_db_assoc_action.h"
#include "assoc/od_db_assoc_dependency.h"
#include "db/od_ap_long_transaction_manager.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "zem_utils/zemc_assert.h"

#include "zem_block_utils.h"
#include "zem_db_variable_reactor.h"
#include "zem_link_utils.h"

#include <algorithm>

namespace {

bool pairLessByVal(OdDbIdPair const& left, OdDbIdPair const& right)
{
    return left.value() < right.value();
}

}  // namespace

OdDbObjectId ZemDbIdMapping::find(OdDbObjectId key) const
{
    const auto found = m_values.find(key);
    return found != m_values.end() ? found->second : OdDbObjectId::kNull;
}

ZemDbReverseIdMapping::ZemDbReverseIdMapping(OdDbIdMapping& mapping)
{
    m_pairs.reserve(mapping.size());
    for (const auto at = mapping.newIterator(); !at->done(); at->next()) {
        m_pairs.push_back(at->getMap());
    }
    // Stable, so that of several keys with one value the one that was entered first answers.
    std::stable_sort(m_pairs.begin(), m_pairs.end(), pairLessByVal);
}

bool ZemDbReverseIdMapping::compute(OdDbObjectId value, OdDbIdPair& pair) const
{
    pair.setValue(value);
    const auto found = std::lower_bound(m_pairs.begin(), m_pairs.end(), pair, pairLessByVal);
    if (found == m_pairs.end() || found->value() != value) {
        return false;
    }
    pair = *found;
    return true;
}

bool ZemDbReverseIdMapping::isCloned(OdDbObjectId value) const
{
    OdDbIdPair pair;
    return compute(value, pair) && pair.isCloned();
}

namespace zemu {
namespace {

using IdSet = std::unordered_set<OdDbObjectId, hash_ObjectId>;
using IdMap = std::unordered_map<OdDbObjectId, OdDbObjectId, hash_ObjectId>;

OdDbBlockReferencePtr openReference(OdDbObjectId id, bool openErased = false)
{
    return OdDbBlockReference::cast(id.openObject(OdDb::kForRead, openErased).get());
}

/// The block that a reference shows; null for an id that is no reference.
OdDbObjectId blockOf(OdDbObjectId reference)
{
    const OdDbBlockReferencePtr opened = openReference(reference);
    return opened.isNull() ? OdDbObjectId::kNull : opened->blockTableRecord();
}

/// The pairs as they are now: what is done with them may enter more.
std::vector<OdDbIdPair> pairsOf(OdDbIdMapping& mapping)
{
    std::vector<OdDbIdPair> pairs;
    pairs.reserve(mapping.size());
    for (const auto at = mapping.newIterator(); !at->done(); at->next()) {
        pairs.push_back(at->getMap());
    }
    return pairs;
}

/// Two blocks that may correspond.
struct BlockPair
{
    OdDbObjectId source;
    OdDbObjectId target;
};

/// Whether both are to be walked, after they were entered.
bool enterBlocks(BlockPair const& blocks, ZemDbIdMapping& mapping, IdSet& visited)
{
    const OdDbBlockTableRecordPtr source = OdDbBlockTableRecord::openBlock(blocks.source);
    const OdDbBlockTableRecordPtr target = OdDbBlockTableRecord::openBlock(blocks.target);
    if (source.isNull() || target.isNull() || !visited.insert(blocks.source).second ||
        !isEqualBTR(source.get(), target.get())) {
        return false;
    }
    mapping.add(blocks.source, blocks.target);
    return source->xrefStatus() == OdDb::XrefStatus::kXrfNotAnXref &&
           target->xrefStatus() == OdDb::XrefStatus::kXrfNotAnXref;
}

/// The blocks that references at the same positions of two blocks lead to.
std::vector<BlockPair> blocksBelow(BlockPair const& blocks)
{
    std::vector<BlockPair> found;
    const OdDbObjectIteratorPtr pIt1 =
        OdDbBlockTableRecord::openBlock(blocks.source)->newIterator(true, true, false);
    const OdDbObjectIteratorPtr pIt2 =
        OdDbBlockTableRecord::openBlock(blocks.target)->newIterator(true, true, false);
    for (; !pIt1->done() && !pIt2->done(); pIt1->step(), pIt2->step()) {
        const OdDbBlockReferencePtr pBR1 = openReference(pIt1->objectId());
        const OdDbBlockReferencePtr pBR2 = openReference(pIt2->objectId());
        if (pBR1.isNull() != pBR2.isNull()) {
            zemcCallAssert("!!pBR1.get() == !!pBR2.get()", nullptr, __FILE__, __LINE__);
        } else if (!pBR1.isNull()) {
            found.push_back({pBR1->blockTableRecord(), pBR2->blockTableRecord()});
        }
    }
    if (!pIt1->done() || !pIt2->done()) {
        zemcCallAssert("pIt1->done() && pIt2->done()", nullptr, __FILE__, __LINE__);
    }
    return found;
}

/// The translation of one id of a path; null if there is none.
OdDbObjectId mapPathElement(OdDbIdMapping& mapping, ZemDbIdMapping const& blocks, IdMap& found,
                            OdDbObjectId element, OdDbObjectId before)
{
    OdDbIdPair pair(element);
    if (tryCompute(mapping, found, pair) && !pair.value().isNull()) {
        return pair.value();
    }
    const OdDbObjectPtr object = element.openObject(OdDb::kForRead, /*openErased=*/true);
    const OdDbObjectId otherBlock =
        object.isNull() ? OdDbObjectId::kNull : blocks.find(object->ownerId());
    const OdDbObjectId byPosition = otherBlock.isNull()
                                        ? OdDbObjectId::kNull
                                        : findCorrespondingEntityByIndexInBTR(element, otherBlock);
    if (!byPosition.isNull()) {
        return byPosition;
    }
    OdDbDatabase* const database = getBlockReferenceDefinitionDb(before);
    return database == nullptr ? OdDbObjectId::kNull
                               : database->getOdDbObjectId(element.getHandle(), false, 0);
}

bool isOwnedByAction(OdDbObject const& dependency)
{
    const OdDbObjectPtr owner = dependency.ownerId().openObject(OdDb::kForRead);
    return !owner.isNull() && owner->isKindOf(OdDbAssocAction::desc());
}

/// Whether an owner was named that can't be opened; a clone for it would be listed by nobody.
bool isMissing(OdDbObjectId owner, OdDbObjectPtr const& opened)
{
    return !owner.isNull() && opened.isNull();
}

/// Whether the owners of an object lead up to a dictionary that lists the object below it.
bool isReachedFromDictionary(OdDbObject const& object)
{
    IdSet seen;  // a damaged drawing may have owners in a ring
    OdDbObjectId below = object.objectId();
    OdDbObjectPtr owner = object.ownerId().openObject(OdDb::kForRead);
    while (!owner.isNull() && seen.insert(owner->objectId()).second) {
        if (owner->isKindOf(OdDbDictionary::desc())) {
            return OdDbDictionaryPtr(owner)->has(below);
        }
        below = owner->objectId();
        owner = owner->ownerId().openObject(OdDb::kForRead);
    }
    return false;
}

}  // namespace

OdDbObjectPtr deepCloneObject(OdDbObjectId object, OdDbObjectId owner, OdDbIdMapping& mapping)
{
    const OdDbObjectPtr source = object.openObject(OdDb::kForRead);
    const OdDbObjectPtr ownerObject = owner.openObject(OdDb::kForRead);
    return source.isNull() || isMissing(owner, ownerObject)
               ? OdDbObjectPtr()
               : source->deepClone(mapping, ownerObject.get(), /*isPrimary=*/true);
}

OdDbObjectPtr wblockCloneObject(OdDbObjectId object, OdDbObjectId owner, OdDbIdMapping& mapping)
{
    const OdDbObjectPtr source = object.openObject(OdDb::kForRead);
    const OdDbObjectPtr ownerObject = owner.openObject(OdDb::kForRead);
    return source.isNull() || isMissing(owner, ownerObject)
               ? OdDbObjectPtr()
               : source->wblockClone(mapping, ownerObject.get(), /*isPrimary=*/true);
}

bool tryCompute(OdDbIdMapping& mapping, IdMap& extra, OdDbIdPair& pair)
{
    if (pair.key().database() != mapping.origDb()) {
        return false;
    }
    if (mapping.compute(pair)) {
        return true;
    }
    const auto found = extra.find(pair.key());
    if (found == extra.end()) {
        return false;
    }
    pair.setValue(found->second);
    return true;
}

OdDbIdMapping* getIdMappingFromFiler(OdDbFiler* filer)
{
    const auto cloneFiler = OdDbDeepCloneFiler::cast(filer);
    return cloneFiler.isNull() ? nullptr : cloneFiler->idMapping();
}

IdSet getClonedBTRs(OdDbIdMapping& mapping)
{
    IdSet blocks;
    for (OdDbIdPair const& pair : pairsOf(mapping)) {
        const OdDbObjectPtr object = pair.value().openObject(OdDb::kForRead);
        if (object.isNull() || !object->isKindOf(OdDbEntity::desc())) {
            continue;
        }
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::openBlock(object->ownerId());
        if (!block.isNull()) {
            blocks.insert(block->objectId());
        }
    }
    return blocks;
}

void getClonedObjectsByExactType(OdDbIdMapping& mapping, OdRxClass* objectClass,
                                 OdArray<OdDbIdPair>& pairs)
{
    if (objectClass == nullptr) {
        return;
    }
    for (OdDbIdPair const& pair : pairsOf(mapping)) {
        if (!pair.isCloned() || !pair.isPrimary()) {
            continue;
        }
        const OdDbObjectPtr object = pair.value().openObject(OdDb::kForRead);
        if (!object.isNull() && !OdRxObjectPtr::attach(object->queryX(objectClass)).isNull()) {
            pairs.append(pair);
        }
    }
}

bool isInLongTransaction(OdDbDatabase* database)
{
    OdApLongTransactionManager const* const manager = odapLongTransactionManager();
    return manager != nullptr && database != nullptr && manager->isInLongTransaction(database);
}

bool isInLongTransaction(OdDbIdMapping& mapping)
{
    return isInLongTransaction(mapping.destDb()) || isInLongTransaction(mapping.origDb());
}

bool findEntityIdxInBtr(OdDbObjectId block, OdDbObjectId entity, int& index, int& count)
{
    index = -1;
    count = 0;
    const OdDbBlockTableRecordPtr opened = OdDbBlockTableRecord::openBlock(block);
    if (opened.isNull()) {
        return false;
    }
    for (const auto at = opened->newIterator(true, true, false); !at->done(); at->step()) {
        if (at->objectId() == entity) {
            index = count;
        }
        ++count;
    }
    return index >= 0;
}

OdDbObjectId findEntityInBtrByIdx(OdDbObjectId block, int index, int count)
{
    const OdDbBlockTableRecordPtr opened = OdDbBlockTableRecord::openBlock(block);
    if (opened.isNull() || index < 0 || count < 1) {
        return OdDbObjectId::kNull;
    }
    OdDbObjectId found;
    int entities = 0;
    for (const auto at = opened->newIterator(true, true, false); !at->done(); at->step()) {
        if (entities == index) {
            found = at->objectId();
        }
        ++entities;
    }
    return entities == count ? found : OdDbObjectId::kNull;
}

OdDbObjectId findCorrespondingEntityByIndexInBTR(OdDbObjectId entity, OdDbObjectId otherBlock)
{
    int index = -1;
    int count = 0;
    return findEntityIdxInBtr(getOwnerId(entity), entity, index, count)
               ? findEntityInBtrByIdx(otherBlock, index, count)
               : OdDbObjectId::kNull;
}

void addBtrMapping(OdDbObjectId source, OdDbObjectId target, ZemDbIdMapping& mapping,
                   IdSet& visited)
{
    // Depth first as recursion would go, with a stack of its own: a drawing may nest blocks deeply.
    std::vector<BlockPair> waiting{{source, target}};
    while (!waiting.empty()) {
        const BlockPair blocks = waiting.back();
        waiting.pop_back();
        if (enterBlocks(blocks, mapping, visited)) {
            const std::vector<BlockPair> below = blocksBelow(blocks);
            waiting.insert(waiting.end(), below.rbegin(), below.rend());
        }
    }
}

void buildBtrMapping(OdDbIdMapping& mapping, ZemDbIdMapping& blocks)
{
    IdSet visited;
    const std::vector<OdDbIdPair> pairs = pairsOf(mapping);
    for (OdDbIdPair const& pair : pairs) {
        const OdDbObjectId source = blockOf(pair.key());
        const OdDbObjectId target = blockOf(pair.value());
        if (!source.isNull() && !target.isNull()) {
            addBtrMapping(source, target, blocks, visited);
        }
    }
    for (OdDbIdPair const& pair : pairs) {
        OdDbIdPair named(pair.key());
        // In the drawing of the clones the block of that name is the source itself.
        if (findBTRMappingByName(mapping.destDb(), named) && named.value() != named.key()) {
            addBtrMapping(named.key(), named.value(), blocks, visited);
        }
    }
    for (OdDbIdPair const& pair : pairs) {
        if (!OdDbBlockTableRecord::openBlock(pair.key()).isNull() &&
            blocks.find(pair.key()).isNull()) {
            // A block that was met with another one, to which it isn't equal, gets its second chance.
            visited.erase(pair.key());
            addBtrMapping(pair.key(), pair.value(), blocks, visited);
        }
    }
}

OdDbDatabase* getBlockReferenceDefinitionDb(OdDbObjectId reference)
{
    const OdDbBlockReferencePtr opened = openReference(reference, /*openErased=*/true);
    const OdDbBlockTableRecordPtr block =
        opened.isNull() ? OdDbBlockTableRecordPtr()
                        : OdDbBlockTableRecord::openBlock(opened->blockTableRecord());
    if (block.isNull()) {
        return nullptr;
    }
    return block->isFromExternalReference() ? block->xrefDatabase() : block->database();
}

bool mapObjectPath(OdDbIdMapping& mapping, ZemDbIdMapping const& blocks,
                   OdDbObjectIdArray const& source, OdDbObjectIdArray& target)
{
    IdMap found;
    const OdDbObjectIdArray path = source;  // the target may be the same array
    target.clear();
    for (OdDbObjectId element : path) {
        const OdDbObjectId before = target.isEmpty() ? OdDbObjectId::kNull : target.last();
        const OdDbObjectId mapped = mapPathElement(mapping, blocks, found, element, before);
        if (mapped.isNull()) {
            return false;
        }
        found.emplace(element, mapped);
        target.append(mapped);
    }
    return isValidObjectIdPath(target, /*checkOwner=*/true);
}

bool assocVariableReactorIsValid(OdDbObject* reactor)
{
    if (reactor == nullptr || reactor->isA() == nullptr ||
        reactor->isKindOf(OdDbDictionary::desc())) {
        return false;
    }
    if (reactor->isA() == OdDbAssocValueDependency::desc()) {
        return isOwnedByAction(*reactor);
    }
    return reactor->isA() == ZemDbVariableReactor::desc() && isReachedFromDictionary(*reactor);
}

}  // namespace zemu
