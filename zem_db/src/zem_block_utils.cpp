#include "zem_block_utils.h"

#include "assoc/od_db_assoc_action.h"
#include "assoc/od_db_assoc_dependency.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_database.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_viewport.h"
#include "db/od_db_xref_man.h"
#include "root/od_error.h"

#include "zem_database_utils.h"
#include "zem_db_database_transaction.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_db_variable_utils.h"
#include "zem_open_guard_impl.h"

#include <algorithm>
#include <set>
#include <unordered_set>

namespace zemu {
namespace {

/// Name that the block table completes to one that is free, and prefix of such names.
constexpr wchar_t kAnonymousBlockName[] = L"*U";

OdDb::UnitsValue blockUnits(OdDbBlockTableRecord const& block)
{
    OdDbDatabase const* const database = block.database();
    return block.objectId() == database->getModelSpaceId() ? database->getINSUNITS()
                                                           : block.blockInsertUnits();
}

OdGePoint3d blockBasePoint(OdDbBlockTableRecord const& block)
{
    OdDbDatabase const* const database = block.database();
    if (block.objectId() == database->getModelSpaceId()) {
        return database->getINSBASE();
    }
    return block.objectId() == database->getPaperSpaceId() ? database->getPINSBASE()
                                                           : block.origin();
}

OdDbBlockReferencePtr openReference(OdDbObjectId id, bool openErased = false)
{
    return OdDbBlockReference::cast(id.openObject(OdDb::kForRead, openErased).get());
}

/// Clones of entities may not make a block contain itself.
/// \throws OdError (cyclic reference).
void requireNoCycle(OdDbObjectIdArray const& entities, OdDbBlockTableRecord const& target)
{
    std::unordered_set<OdDbObjectId> shown;
    for (OdDbObjectId id : entities) {
        const OdRxClass* const entityClass = id.objectClass();
        if (entityClass == nullptr || !entityClass->isDerivedFrom(OdDbBlockReference::desc())) {
            continue;
        }
        const OdDbBlockReferencePtr reference = openReference(id);
        if (!reference.isNull() && shown.insert(reference->blockTableRecord()).second &&
            target.isContainedIn(reference->blockTableRecord())) {
            throw OdError(kOdCyclicReference);
        }
    }
}

void copyBlockSettings(OdDbObjectId source, OdDbObjectId target)
{
    copyBlockBasePoint(source, target);
    copyBlockUnits(source, target);
}

/// How many units of the drawing one unit of the referenced block is.
/// \return False if the reference shows no block that can be opened.
bool unitsFactor(OdDbBlockReference const& reference, double& factor)
{
    const OdDbBlockTableRecordPtr block =
        OdDbBlockTableRecord::openBlock(reference.blockTableRecord());
    if (block.isNull() || reference.database() == nullptr) {
        return false;
    }
    factor = oddbGetUnitsConversion(block->blockInsertUnits(), reference.database()->getINSUNITS());
    return true;
}

/// Whether a reactor is the dependency of an action that arranges copies.
bool isArrayDependency(OdDbObjectId reactor)
{
    const auto dependency = OdDbAssocDependency::cast(reactor.openObject(OdDb::kForRead).get());
    if (dependency.isNull()) {
        return false;
    }
    const auto action =
        OdDbAssocAction::cast(dependency->ownerId().openObject(OdDb::kForRead).get());
    if (action.isNull()) {
        return false;
    }
    const OdDbObjectPtr body = action->actionBody().openObject(OdDb::kForRead);
    return !body.isNull() && body->isKindOf(OdDbAssocArrayActionBody::desc());
}

bool hasArrayDependency(OdDbObject const& object)
{
    const OdDbObjectIdArray reactors = object.getPersistentReactors();
    return std::any_of(reactors.begin(), reactors.end(), isArrayDependency);
}

/// The database in which the entities lie that a reference shows; an external drawing is loaded.
OdDbDatabase* shownDatabase(OdDbObjectId reference, bool openErased)
{
    const OdDbBlockReferencePtr opened = openReference(reference, openErased);
    const OdDbBlockTableRecordPtr block =
        opened.isNull() ? OdDbBlockTableRecordPtr()
                        : OdDbBlockTableRecord::openBlock(opened->blockTableRecord(),
                                                          OdDb::kForRead, openErased);
    if (block.isNull()) {
        return nullptr;
    }
    if (!block->isFromExternalReference()) {
        return block->database();
    }
    if (block->xrefDatabase() == nullptr && OdDbXRefMan::load(block.get()) != kOdOk) {
        return nullptr;
    }
    return block->xrefDatabase();
}

}  // namespace

bool canBeZemAnonymousBlock(OdDbBlockTableRecord const* block)
{
    return block != nullptr && startsWith(block->getName(), kAnonymousBlockName);
}

bool isEqualBTR(OdDbBlockTableRecord const* left, OdDbBlockTableRecord const* right)
{
    if (left == nullptr || right == nullptr) {
        return false;
    }
    const OdDbObjectIteratorPtr atLeft = left->newIterator(true, true, false);
    const OdDbObjectIteratorPtr atRight = right->newIterator(true, true, false);
    for (; !atLeft->done() && !atRight->done(); atLeft->step(), atRight->step()) {
        const OdDbObjectPtr leftEntity = getPtrFromIterator(atLeft);
        const OdDbObjectPtr rightEntity = getPtrFromIterator(atRight);
        if (leftEntity.isNull() || rightEntity.isNull() ||
            leftEntity->isA() != rightEntity->isA()) {
            return false;
        }
    }
    return atLeft->done() && atRight->done();
}

bool isEqualBTR(OdDbObjectId left, OdDbObjectId right)
{
    return isEqualBTR(OdDbBlockTableRecord::openBlock(left).get(),
                      OdDbBlockTableRecord::openBlock(right).get());
}

OdDbObjectId findBtrByName(OdDbDatabase* database, OdString const& name)
{
    if (database == nullptr) {
        return OdDbObjectId::kNull;
    }
    const OdSmartPtr<OdDbBlockTable> table =
        database->getBlockTableId().safeOpenObject(OdDb::kForRead);
    return table->getAt(name, /*openErased=*/false);
}

bool findBTRMappingByName(OdDbDatabase* database, OdDbIdPair& pair)
{
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::openBlock(pair.key());
    if (block.isNull() || block->isAnonymous()) {
        return false;
    }
    const OdDbObjectId found = findBtrByName(database, block->getName());
    if (found.isNull()) {
        return false;
    }
    pair.setValue(found);
    return true;
}

OdDbObjectId createEmptyAnonymousBlock(OdDbDatabase* database)
{
    if (database == nullptr) {
        return OdDbObjectId::kNull;
    }
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::desc()->create();
    block->setName(kAnonymousBlockName);
    block->setBlockInsertUnits(database->getINSUNITS());
    const OdSmartPtr<OdDbBlockTable> table =
        database->getBlockTableId().safeOpenObject(OdDb::kForWrite);
    return table->add(block.get());
}

void copyBlockUnits(OdDbObjectId source, OdDbObjectId target)
{
    const OdDbBlockTableRecordPtr from = OdDbBlockTableRecord::openBlock(source);
    const OdDbBlockTableRecordPtr to = OdDbBlockTableRecord::openBlock(target);
    if (from.isNull() || to.isNull()) {
        return;
    }
    const OdDb::UnitsValue units = blockUnits(*from);
    if (target == to->database()->getModelSpaceId()) {
        to->database()->setINSUNITS(units);
        return;
    }
    const ZemUpgradeOpen raised(to);
    to->setBlockInsertUnits(units);
}

void copyBlockBasePoint(OdDbObjectId source, OdDbObjectId target)
{
    const OdDbBlockTableRecordPtr from = OdDbBlockTableRecord::openBlock(source);
    const OdDbBlockTableRecordPtr to = OdDbBlockTableRecord::openBlock(target);
    if (from.isNull() || to.isNull()) {
        return;
    }
    const OdGePoint3d point = blockBasePoint(*from);
    OdDbDatabase* const database = to->database();
    if (target == database->getModelSpaceId()) {
        database->setINSBASE(point);
    } else if (target == database->getPaperSpaceId()) {
        database->setPINSBASE(point);
    } else {
        const ZemUpgradeOpen raised(to);
        to->setOrigin(point);
    }
}

OdDbObjectId cloneBlock(OdDbObjectId source, OdDbObjectId target, bool /*withConstruction*/,
                        OdSmartPtr<OdDbIdMapping>& mapping, bool translateNow)
{
    const OdDbBlockTableRecordPtr from = OdDbBlockTableRecord::openBlock(source);
    const OdDbBlockTableRecordPtr to = OdDbBlockTableRecord::openBlock(target);
    if (from.isNull() || to.isNull()) {
        return OdDbObjectId::kNull;
    }
    if (from->database() != to->database()) {
        throw OdError(kOdWrongDatabase);
    }
    const OdDbObjectIdArray entities = from->entityIds();
    requireNoCycle(entities, *to);
    ZemDbDatabaseTransaction scope(from->database(), /*keepActiveViewport=*/false,
                                   /*useUndo=*/false);
    copyBlockSettings(source, target);
    if (mapping.isNull()) {
        mapping = OdDbIdMapping::createObject();
    }
    from->database()->deepCloneObjects(entities, target, *mapping, !translateNow);
    scope.setNoAbort();
    return target;
}

OdDbObjectId cloneBlock(OdDbObjectId source, OdDbObjectId target, bool withConstruction,
                        OdSmartPtr<OdDbIdMapping>& mapping)
{
    return cloneBlock(source, target, withConstruction, mapping, /*translateNow=*/true);
}

OdDbObjectId cloneBlock(OdDbObjectId source, bool withConstruction,
                        OdSmartPtr<OdDbIdMapping>& mapping)
{
    if (OdDbBlockTableRecord::openBlock(source).isNull()) {
        return OdDbObjectId::kNull;
    }
    ZemDbDatabaseTransaction scope(source.database(), /*keepActiveViewport=*/false,
                                   /*useUndo=*/false);
    const OdDbObjectId target = createEmptyAnonymousBlock(source.database());
    (void)cloneBlock(source, target, withConstruction, mapping, /*translateNow=*/true);
    scope.setNoAbort();
    return target;
}

OdDbObjectId wblockBlock(OdDbObjectId source, OdDbDatabase* target, bool /*withConstruction*/,
                         OdSmartPtr<OdDbIdMapping> mapping, OdDbObjectId targetBlock)
{
    const OdDbBlockTableRecordPtr from = OdDbBlockTableRecord::openBlock(source);
    if (from.isNull() || target == nullptr) {
        return OdDbObjectId::kNull;
    }
    if (!targetBlock.isNull()) {
        if (OdDbBlockTableRecord::openBlock(targetBlock).isNull()) {
            return OdDbObjectId::kNull;
        }
        if (targetBlock.database() != target) {
            throw OdError(kOdWrongDatabase);
        }
    }
    ZemDbDatabaseTransaction scope(target, /*keepActiveViewport=*/false, /*useUndo=*/false);
    if (targetBlock.isNull()) {
        targetBlock = createEmptyAnonymousBlock(target);
    }
    const ZemParameterCopyModeElevate elevated(target);
    copyBlockSettings(source, targetBlock);
    if (mapping.isNull()) {
        mapping = OdDbIdMapping::createObject();
    }
    target->wblockCloneObjects(from->entityIds(), targetBlock, *mapping,
                               OdDb::DuplicateRecordCloning::kDrcIgnore);
    scope.setNoAbort();
    return targetBlock;
}

void swapBlocksContent(OdDbObjectId const& left, OdDbObjectId const& right)
{
    const OdDbBlockTableRecordPtr leftBlock = OdDbBlockTableRecord::openBlock(left);
    const OdDbBlockTableRecordPtr rightBlock = OdDbBlockTableRecord::openBlock(right);
    if (leftBlock.isNull() || rightBlock.isNull() || left == right) {
        return;
    }
    const ZemUpgradeOpen leftRaised(leftBlock);
    const ZemUpgradeOpen rightRaised(rightBlock);
    leftBlock->swapEntities(*rightBlock);
}

bool getEffectiveBlockRefScale(OdDbObjectId reference, OdGeScale3d& scale)
{
    const OdDbBlockReferencePtr opened = openReference(reference);
    double factor = 1.0;
    if (opened.isNull() || !unitsFactor(*opened, factor)) {
        return false;
    }
    scale = opened->scaleFactors() * factor;
    return true;
}

bool setEffectiveBlockRefScale(OdDbObjectId reference, OdGeScale3d const& scale)
{
    const OdDbBlockReferencePtr opened = openReference(reference);
    double factor = 1.0;
    if (opened.isNull() || !unitsFactor(*opened, factor)) {
        return false;
    }
    const ZemUpgradeOpen raised(opened);
    opened->setScaleFactors(OdGeScale3d(scale.sx / factor, scale.sy / factor, scale.sz / factor));
    return true;
}

bool isAssociativeArray(OdDbObject* object)
{
    if (object == nullptr) {
        return false;
    }
    if (hasArrayDependency(*object)) {
        return true;
    }
    const auto reference = OdDbBlockReference::cast(object);
    const OdDbBlockTableRecordPtr block =
        reference.isNull() ? OdDbBlockTableRecordPtr()
                           : OdDbBlockTableRecord::openBlock(reference->blockTableRecord());
    if (block.isNull()) {
        return false;
    }
    const OdDbObjectIdArray references = block->getBlockReferenceIds();
    return std::any_of(references.begin(), references.end(), [](OdDbObjectId id) {
        const OdDbObjectPtr other = id.openObject(OdDb::kForRead);
        return !other.isNull() && hasArrayDependency(*other);
    });
}

OdResult makeIdArray(OdArray<OdDbHandle> const& handles, OdDbObjectIdArray& ids, bool openErased)
{
    for (OdDbHandle const& handle : handles) {
        OdDbDatabase* const database =
            ids.isEmpty() ? nullptr : shownDatabase(ids.last(), openErased);
        const OdDbObjectId id = database == nullptr
                                    ? OdDbObjectId::kNull
                                    : database->getOdDbObjectId(handle, /*create=*/false, 0);
        if (id.isNull()) {
            return kOdUnresolvedPath;
        }
        ids.append(id);
    }
    return kOdOk;
}

void markEntToRedraw(OdDbObjectIdArray const& links)
{
    std::set<OdDbObjectId, less_safeObjectId> inserts;
    for (OdDbObjectId id : links) {
        const auto link = ZemDbObjectDependency::cast(id.openObject(OdDb::kForRead).get());
        if (!link.isNull()) {
            inserts.insert(link->getInsertId());
        }
    }
    for (OdDbObjectId id : inserts) {
        const OdSmartPtr<ZemDbObject> object =
            ZemDbObject::openZemDbObject(id, OdDb::kForWrite, /*openErased=*/false);
        if (!object.isNull()) {
            object->triggerObjectRedraw();
        }
    }
}

OdDbObjectId getXrefBlock(OdDbObjectId reference)
{
    const OdDbBlockReferencePtr opened = openReference(reference);
    const OdDbBlockTableRecordPtr block =
        opened.isNull() ? OdDbBlockTableRecordPtr()
                        : OdDbBlockTableRecord::openBlock(opened->blockTableRecord());
    return !block.isNull() && block->isFromExternalReference() ? block->objectId()
                                                               : OdDbObjectId::kNull;
}

OdDbBlockTableRecordPtr openXrefBlock(OdDbObjectId reference)
{
    OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::openBlock(getXrefBlock(reference));
    if (block.isNull() || OdDbXRefMan::load(block.get()) != kOdOk) {
        return OdDbBlockTableRecordPtr();
    }
    return block;
}

bool unloadXrefBlock(OdDbObjectId block)
{
    return OdDbXRefMan::unload(block) == kOdOk;
}

bool eraseXrefBlock(OdDbObjectId block)
{
    const OdDbBlockTableRecordPtr opened = OdDbBlockTableRecord::openBlock(block);
    if (opened.isNull() || !opened->isFromExternalReference() ||
        !opened->getBlockReferenceIds().isEmpty()) {
        return false;
    }
    return OdDbXRefMan::detach(block) == kOdOk;
}

bool getPaperDcsToWcsMatrix(OdSmartPtr<OdDbViewport> viewport, OdGeMatrix3d& matrix)
{
    if (viewport.isNull()) {
        return false;
    }
    matrix = viewport->displayToWorld() * viewport->paperToDisplay();
    return true;
}

}  // namespace zemu
