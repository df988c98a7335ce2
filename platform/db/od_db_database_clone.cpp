// Clone operations of whole lists, blocks and drawings.

#include "db/od_db_block_table.h"
#include "db/od_db_clone_impl.h"
#include "db/od_db_database_impl.h"
#include "db/od_db_xref_man.h"
#include "root/od_error.h"

namespace {

/// Sets what a call says of an operation, unless the call joins one.
void describe(OdDbIdMapping& mapping, OdDb::DeepCloneType context,
              OdDb::DuplicateRecordCloning style)
{
    if (!mapping.operation().isUnderWay()) {
        mapping.setDeepCloneContext(context);
        mapping.setDuplicateRecordCloning(style);
    }
}

/// The database of the ids that have one; null if none has.
OdDbDatabase* commonDatabase(OdDbObjectIdArray const& ids)
{
    OdDbDatabase* common = nullptr;
    for (OdDbObjectId id : ids) {
        if (id.isNull()) {
            continue;
        }
        if (common != nullptr && id.database() != common) {
            throw OdError(kOdWrongDatabase);
        }
        common = id.database();
    }
    return common;
}

OdDbObjectPtr openOwner(OdDbObjectId owner, OdDbDatabase const* database)
{
    OdDbObjectPtr object = owner.safeOpenObject(OdDb::kForWrite);
    if (database != nullptr && object->database() != database) {
        throw OdError(kOdWrongDatabase);
    }
    return object;
}

OdDbBlockTableRecordPtr openBlock(OdDbObjectId id, OdDb::OpenMode mode)
{
    return id.safeOpenObject(mode);
}

/// Clones each object of a list as a primary one.
void wblockCloneList(OdDbObjectIdArray const& ids, OdDbObject& owner, OdDbIdMapping& mapping)
{
    bool isFirst = true;
    for (OdDbObjectId id : ids) {
        const OdDbObjectPtr source = id.openObject(OdDb::kForRead);
        if (source.isNull()) {
            continue;
        }
        if (isFirst) {
            mapping.operation().mapOwner(source->ownerId(), owner.objectId());
            isFirst = false;
        }
        (void)source->wblockClone(mapping, &owner, /*isPrimary=*/true);
    }
}

/// The caller's mapping, or one for this operation alone.
OdDbIdMappingPtr mappingOr(OdDbIdMapping* mapping)
{
    return mapping != nullptr ? OdDbIdMappingPtr(mapping) : OdDbIdMapping::createObject();
}

/// What stands for an object of the source; null for nothing.
OdDbObjectId counterpartOf(OdDbObjectId id, OdDbIdMapping const& mapping)
{
    OdDbIdPair const* pair = mapping.find(id);
    return pair != nullptr ? pair->value() : OdDbObjectId::kNull;
}

/// Loads the external drawings of a copy as they are loaded, or not, in its source.
void loadExternals(OdDbDatabase const& source, OdDbIdMapping const& mapping)
{
    OdDbXrefTable const& loaded = source.impl().xrefs;
    for (OdDbHandle handle : loaded.blocks()) {
        const OdDbObjectId block =
            counterpartOf(const_cast<OdDbDatabase&>(source).getOdDbObjectId(handle), mapping);
        if (block.isNull()) {
            continue;
        }
        if (loaded.loaded(handle) != nullptr) {
            (void)OdDbXRefMan::load(block);  // what can't be loaded now tells by its status
        } else {
            block.database()->impl().xrefs.setFailure(block.getHandle(), loaded.failure(handle));
        }
    }
}

/// A new drawing is not what the caller's mapping was set up for.
void requireFree(OdDbIdMapping& mapping)
{
    if (mapping.operation().isUnderWay()) {
        throw OdError(kOdWrongDatabase);
    }
}

}  // namespace

void OdDbDatabase::deepCloneObjects(OdDbObjectIdArray const& ids, OdDbObjectId owner,
                                    OdDbIdMapping& mapping, bool defersTranslation)
{
    OdDbDatabase const* common = commonDatabase(ids);
    if (common != nullptr && common != this) {
        throw OdError(kOdWrongDatabase);
    }
    const OdDbObjectPtr target = openOwner(owner, this);
    describe(mapping, OdDb::DeepCloneType::kDcCopy,
             OdDb::DuplicateRecordCloning::kDrcNotApplicable);
    mapping.operation().run(*this, *this, defersTranslation, [&] {
        bool isFirst = true;
        for (OdDbObjectId id : ids) {
            const OdDbObjectPtr source = id.openObject(OdDb::kForRead);
            if (source.isNull()) {
                continue;
            }
            if (isFirst) {
                mapping.operation().mapOwner(source->ownerId(), owner);
                isFirst = false;
            }
            (void)source->deepClone(mapping, target.get(), /*isPrimary=*/true);
        }
    });
}

OdDbObjectId OdDbDatabase::copyBlock(OdDbObjectId block, OdString const& name,
                                     OdDbIdMapping& mapping, bool defersTranslation)
{
    const OdDbBlockTableRecordPtr source = openBlock(block, OdDb::kForRead);
    if (source->database() != this) {
        throw OdError(kOdWrongDatabase);
    }
    const OdDbObjectPtr table = openOwner(getBlockTableId(), this);
    describe(mapping, OdDb::DeepCloneType::kDcBlock,
             OdDb::DuplicateRecordCloning::kDrcNotApplicable);
    return mapping.operation().run(*this, *this, defersTranslation, [&] {
        const OdDbBlockTableRecordPtr clone =
            OdDbBlockTableRecord::cast(source->deepClone(mapping, table.get()).get());
        if (clone.isNull()) {
            return OdDbObjectId::kNull;
        }
        const bool isUnnamed = odIcmp(name, L"*U") == 0;
        clone->setName(isUnnamed ? OdDbBlockTablePtr(table)->freeAnonymousName() : name);
        return clone->objectId();
    });
}

void OdDbDatabase::wblockCloneObjects(OdDbObjectIdArray const& ids, OdDbObjectId owner,
                                      OdDbIdMapping& mapping, OdDb::DuplicateRecordCloning style,
                                      bool defersTranslation)
{
    const OdDbObjectPtr target = openOwner(owner, nullptr);
    OdDbDatabase* orig = commonDatabase(ids);
    if (orig == nullptr) {
        orig = mapping.operation().isUnderWay() ? mapping.origDb() : nullptr;
        orig = orig != nullptr ? orig : this;
    }
    describe(mapping, OdDb::DeepCloneType::kDcObjects, style);
    mapping.operation().run(*orig, *target->database(), defersTranslation, [&] {
        mapping.operation().mapRoots();
        wblockCloneList(ids, *target, mapping);
    });
}

void OdDbDatabase::insertIntoBlock(OdDbObjectId block, OdDbDatabase& drawing,
                                   OdDbIdMapping& mapping, OdDb::DeepCloneType context,
                                   OdDb::DuplicateRecordCloning style)
{
    if (&drawing == this || block.database() != this) {
        throw OdError(block.isNull() ? kOdNullObjectId : kOdWrongDatabase);
    }
    const OdDbBlockTableRecordPtr target = openBlock(block, OdDb::kForWrite);
    const OdDbBlockTableRecordPtr space = openBlock(drawing.getModelSpaceId(), OdDb::kForRead);
    describe(mapping, context, style);
    mapping.operation().run(drawing, *this, /*isDeferred=*/false, [&] {
        mapping.operation().mapRoots();
        mapping.operation().mapOwner(space->objectId(), block);
        wblockCloneList(space->entityIds(), *target, mapping);
        mapping.operation().cloneExtensionDictionary(*space, *target);
    });
}

OdDbObjectId OdDbDatabase::insert(OdString const& blockName, OdDbDatabase& drawing,
                                  OdDbIdMapping* mapping)
{
    const OdDbIdMappingPtr used = mappingOr(mapping);
    if (&drawing == this) {
        throw OdError(kOdWrongDatabase);
    }
    describe(*used, OdDb::DeepCloneType::kDcInsert, OdDb::DuplicateRecordCloning::kDrcIgnore);
    return used->operation().run(drawing, *this, /*isDeferred=*/false, [&] {
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
        block->setName(blockName);
        block->setOrigin(drawing.getINSBASE());
        block->setBlockInsertUnits(drawing.getINSUNITS());
        const OdDbSymbolTablePtr table = getBlockTableId().safeOpenObject(OdDb::kForWrite);
        const OdDbObjectId id = table->add(block.get());
        insertIntoBlock(id, drawing, *used);
        return id;
    });
}

OdDbDatabasePtr OdDbDatabase::wblock(OdDbIdMapping* mapping) const
{
    const OdDbIdMappingPtr used = mappingOr(mapping);
    requireFree(*used);
    OdDbDatabasePtr made = createObject(appServices());
    describe(*used, OdDb::DeepCloneType::kDcWblock, OdDb::DuplicateRecordCloning::kDrcIgnore);
    used->operation().run(const_cast<OdDbDatabase&>(*this), *made, /*isDeferred=*/false, [&] {
        used->operation().mapRoots();
        used->operation().cloneIntoRoots();
        used->operation().cloneUnowned();
    });
    made->setINSUNITS(getINSUNITS());
    made->setINSBASE(getINSBASE());
    made->setPINSBASE(getPINSBASE());
    made->setActiveViewportId(counterpartOf(activeViewportId(), *used));
    loadExternals(*this, *used);
    return made;
}

OdDbDatabasePtr OdDbDatabase::wblock(OdDbObjectId block, OdDbIdMapping* mapping) const
{
    const OdDbIdMappingPtr used = mappingOr(mapping);
    requireFree(*used);
    const OdDbBlockTableRecordPtr source = openBlock(block, OdDb::kForRead);
    if (source->database() != this) {
        throw OdError(kOdWrongDatabase);
    }
    OdDbDatabasePtr made = createObject(appServices());
    describe(*used, OdDb::DeepCloneType::kDcWblkObjects, OdDb::DuplicateRecordCloning::kDrcIgnore);
    used->operation().run(const_cast<OdDbDatabase&>(*this), *made, /*isDeferred=*/false, [&] {
        used->operation().mapRoots();
        used->operation().mapOwner(block, made->getModelSpaceId());
        const OdDbObjectPtr space = made->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
        wblockCloneList(source->entityIds(), *space, *used);
        used->operation().cloneExtensionDictionary(*source, *space);
    });
    const bool isSpace = block == getModelSpaceId();
    const bool hasUnits = source->blockInsertUnits() != OdDb::UnitsValue::kUnitsUndefined;
    made->setINSBASE(isSpace ? getINSBASE() : source->origin());
    made->setINSUNITS(hasUnits && !isSpace ? source->blockInsertUnits() : getINSUNITS());
    return made;
}

OdDbDatabasePtr OdDbDatabase::wblock(OdDbObjectIdArray const& entities,
                                     OdGePoint3d const& basePoint, OdDbIdMapping* mapping) const
{
    const OdDbIdMappingPtr used = mappingOr(mapping);
    requireFree(*used);
    OdDbDatabase const* common = commonDatabase(entities);
    if (common != nullptr && common != this) {
        throw OdError(kOdWrongDatabase);
    }
    OdDbDatabasePtr made = createObject(appServices());
    describe(*used, OdDb::DeepCloneType::kDcWblkObjects, OdDb::DuplicateRecordCloning::kDrcIgnore);
    used->operation().run(const_cast<OdDbDatabase&>(*this), *made, /*isDeferred=*/false, [&] {
        used->operation().mapRoots();
        const OdDbObjectPtr space = made->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
        wblockCloneList(entities, *space, *used);
    });
    made->setINSBASE(basePoint);
    made->setINSUNITS(getINSUNITS());
    return made;
}
