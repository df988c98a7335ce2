#include "extensions/model_object_protocol.h"

#include "db/od_db_3d_solid.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_block_table.h"
#include "db/od_db_database.h"

#include "zem_database_utils.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_link_utils.h"

#include <set>

namespace zemhost {

void ModelObjectProtocol::appendConstraintDependencies(ZemDbObject* object,
                                                       ZemSubentPathArray const& paths,
                                                       OdDbObjectIdArray& newIds)
{
    for (OdDbObjectId id : object->constraintDependencies()) {
        (void)id.openObject();  // throws if it can't be read: it may be one of those asked for
    }
    std::set<OdDbFullSubentPath, zemu::less_FullSubentPath> met;
    for (OdDbFullSubentPath const& path : paths) {
        if (!met.insert(path).second || !object->getConstraintDependency(path).isNull()) {
            continue;
        }
        const OdDbObjectId made = appendConstraintDependency(object, path);
        if (!made.isNull()) {
            newIds.append(made);
        }
    }
}

OdDbObjectId ModelObjectProtocol::appendConstraintDependency(ZemDbObject* object,
                                                             OdDbFullSubentPath const& path)
{
    if (!zemu::doesPathExist(path)) {
        return OdDbObjectId::kNull;
    }
    const OdSmartPtr<ZemDbObjectDependency> link = odrxMake<ZemDbObjectDependency>();
    const OdDbObjectId id = object->database()->addOdDbObject(link.get(), object->objectId());
    link->setLinkObject(path);
    return id;
}

void ModelObjectProtocol::onOpenedForModify(ZemDbObject* /*object*/, OdDbObject const* /*entity*/)
{
}

void ModelObjectProtocol::onDatabaseTrackerNotify(ZemDbObject* /*object*/,
                                                  OdDbObject const* /*entity*/)
{
}

void ModelObjectProtocol::onTransformCached(OdDbDatabase* /*database*/, OdDbObjectId /*entityId*/,
                                            OdGeMatrix3d const& /*transform*/, bool /*enabled*/)
{
}

OdString ModelObjectProtocol::attachedEntityName(OdDbObjectId entityId,
                                                 ZemDbConstraintManager const* /*manager*/) const
{
    const OdDbObjectPtr entity = entityId.openObject();
    const OdDb3dSolidPtr solid = OdDb3dSolid::cast(entity.get());
    if (!solid.isNull()) {
        return solid->label().isEmpty() ? OdString(L"Solid") : solid->label();
    }
    const OdDbBlockReferencePtr reference = OdDbBlockReference::cast(entity.get());
    const OdDbBlockTableRecordPtr block =
        reference.isNull()
            ? OdDbBlockTableRecordPtr()
            : OdDbBlockTableRecord::cast(reference->blockTableRecord().openObject().get());
    return block.isNull() ? OdString(L"Entity") : block->getName();
}

}  // namespace zemhost
