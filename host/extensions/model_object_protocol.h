// What this host does for model objects.

#pragma once

#include "zem_protocol_extensions.h"

namespace zemhost {

/// Makes links for constraints, one for each path, and names model objects by the labels of solids
/// and by the names of blocks. This host has no solver and tracks no changes, so the notices need
/// nothing of it.
class ModelObjectProtocol : public ZemDbObjectPE
{
public:
    void appendConstraintDependencies(ZemDbObject* object, ZemSubentPathArray const& paths,
                                      OdDbObjectIdArray& newIds) override;
    OdDbObjectId appendConstraintDependency(ZemDbObject* object,
                                            OdDbFullSubentPath const& path) override;
    void onOpenedForModify(ZemDbObject* object, OdDbObject const* entity) override;
    void onDatabaseTrackerNotify(ZemDbObject* object, OdDbObject const* entity) override;
    void onTransformCached(OdDbDatabase* database, OdDbObjectId entityId,
                           OdGeMatrix3d const& transform, bool enabled) override;
    OdString attachedEntityName(OdDbObjectId entityId,
                                ZemDbConstraintManager const* manager) const override;
};

}  // namespace zemhost
