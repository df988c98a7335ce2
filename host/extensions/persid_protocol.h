// How links are made and rewritten in this host.

#pragma once

#include "zem_protocol_extensions.h"

namespace zemhost {

/// One link for each path and manager: a path that has one gets no other. Paths that name nothing
/// are left out. A link into another drawing notes by its body's hash how the solid is there; once
/// that has changed, a path gets a new link.
class PersIdProtocol : public ZemDbPersIdManagerPE
{
public:
    void validatePaths(ZemDbPersIdManager* manager, ZemSubentPathArray& paths,
                       OdDbDatabase* database) override;
    void collectExistingDependencies(ZemDbPersIdManager* manager, ZemSubentPathArray const& paths,
                                     OdDbObjectIdArray& ids) override;
    void remapDependency(ZemDbPersIdManager* manager, OdDbObjectId dependencyId,
                         OdDbFullSubentPath const& path) override;
    OdDbObjectIdArray createDependencies(ZemDbPersIdManager* manager,
                                         ZemSubentPathArray const& paths, OdDbUserIO* userIO,
                                         OdDbObjectIdArray& ids) override;
};

}  // namespace zemhost
