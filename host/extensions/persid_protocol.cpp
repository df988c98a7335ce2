#include "extensions/persid_protocol.h"

#include "db/od_db_database.h"

#include "zem_database_utils.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager.h"
#include "zem_link_utils.h"

#include <map>

namespace zemhost {

namespace {

/// The link of a manager for a path; null if it has none.
OdDbObjectId findLink(ZemDbPersIdManager const& manager, OdDbFullSubentPath const& path)
{
    const OdSmartPtr<ZemDbObject> model =
        ZemDbObject::openZemDbObject(zemu::getInsertId(path), OdDb::kForRead, false);
    if (model.isNull()) {
        return OdDbObjectId::kNull;
    }
    const OdDbObjectId found = model->getPersIdDependency(path);
    const OdDbObjectPtr link = found.openObject();
    if (link.isNull() || link->ownerId() == manager.objectId()) {
        return link.isNull() ? OdDbObjectId::kNull : found;
    }
    // A manager of another block has one too, which the look-up has met first.
    for (OdDbObjectId id : model->persIdDependencies()) {
        const OdSmartPtr<ZemDbObjectDependency> other =
            ZemDbObjectDependency::cast(id.openObject().get());
        OdDbFullSubentPath otherPath;
        if (!other.isNull() && other->ownerId() == manager.objectId() &&
            other->getLinkObject(otherPath, false) == kOdOk && otherPath == path) {
            return id;
        }
    }
    return OdDbObjectId::kNull;
}

/// Tells the model object of an entity that a link leads elsewhere in it now.
void forgetPlaces(OdDbObjectId entity)
{
    const OdSmartPtr<ZemDbObject> model =
        ZemDbObject::openZemDbObject(entity, OdDb::kForWrite, false);
    if (!model.isNull()) {
        model->invalidatePersIdDepsCache();
    }
}

/// Moves a link from the model object of one entity to that of another.
void moveLink(ZemDbPersIdManager const& manager, OdDbObjectId link, OdDbObjectId from,
              OdDbObjectId to)
{
    const OdSmartPtr<ZemDbObject> old = ZemDbObject::openZemDbObject(from, OdDb::kForWrite, false);
    if (!old.isNull()) {
        (void)old->removePersIdDependency(manager.objectId(), link);
    }
    const OdSmartPtr<ZemDbObject> next = ZemDbObject::openZemDbObject(to, OdDb::kForWrite, false);
    if (!next.isNull()) {
        (void)next->addPersIdDependency(manager.objectId(), link);
    }
}

}  // namespace

void PersIdProtocol::validatePaths(ZemDbPersIdManager* /*manager*/, ZemSubentPathArray& paths,
                                   OdDbDatabase* /*database*/)
{
    ZemSubentPathArray fit;
    for (OdDbFullSubentPath const& path : paths) {
        if (zemu::doesPathExist(path)) {
            fit.append(path);
        }
    }
    paths = fit;
}

void PersIdProtocol::collectExistingDependencies(ZemDbPersIdManager* manager,
                                                 ZemSubentPathArray const& paths,
                                                 OdDbObjectIdArray& ids)
{
    ids.clear();
    for (OdDbFullSubentPath const& path : paths) {
        ids.append(findLink(*manager, path));
    }
}

void PersIdProtocol::remapDependency(ZemDbPersIdManager* manager, OdDbObjectId dependencyId,
                                     OdDbFullSubentPath const& path)
{
    const OdSmartPtr<ZemDbObjectDependency> link =
        ZemDbObjectDependency::cast(dependencyId.openObject(OdDb::kForWrite).get());
    if (link.isNull()) {
        return;
    }
    const OdDbObjectId before = link->getInsertId();
    link->setLinkObject(path);
    const OdDbObjectId after = link->getInsertId();
    if (before == after) {
        forgetPlaces(after);
    } else {
        moveLink(*manager, dependencyId, before, after);
    }
}

OdDbObjectIdArray PersIdProtocol::createDependencies(ZemDbPersIdManager* manager,
                                                     ZemSubentPathArray const& paths,
                                                     OdDbUserIO* /*userIO*/, OdDbObjectIdArray& ids)
{
    OdDbObjectIdArray made;
    std::map<OdDbFullSubentPath, OdDbObjectId, zemu::less_FullSubentPath> byPath;
    for (unsigned index = 0; index < paths.size() && index < ids.size(); ++index) {
        if (!ids[index].isNull()) {
            continue;
        }
        OdDbObjectId& id = byPath[paths[index]];
        if (id.isNull()) {
            const OdSmartPtr<ZemDbObjectDependency> link = odrxMake<ZemDbObjectDependency>();
            id = manager->database()->addOdDbObject(link.get(), manager->objectId());
            link->setLinkObject(paths[index]);
            made.append(id);
        }
        ids[index] = id;
    }
    return made;
}

}  // namespace zemhost
