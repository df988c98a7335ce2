#include "extensions/persid_protocol.h"

#include "db/od_db_database.h"
#include "extensions/external_links.h"
#include "extensions/link_remap.h"

#include "zem_database_utils.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager.h"
#include "zem_link_utils.h"

#include <map>

namespace zemhost {

namespace {

using LinkPtr = OdSmartPtr<ZemDbObjectDependency>;

/// Whether a link is one of a manager, and leads to a part that is as it was noted.
///
/// \param note  0 for a part in the link's drawing, of which nothing has to be noted.
bool isUsable(LinkPtr const& link, ZemDbPersIdManager const& manager, std::int32_t note)
{
    return !link.isNull() && link->ownerId() == manager.objectId() &&
           (note == 0 || link->bodyHash() == note);
}

/// The link of a manager for a path; null if it has none.
///
/// \param note  Of the path's solid: a link that was made when it was another one is not the same.
/// \throws OdError (file access) if that can't be told at the moment.
OdDbObjectId findLink(ZemDbPersIdManager const& manager, OdDbFullSubentPath const& path,
                      std::int32_t note)
{
    const OdDbObjectId found = zemu::findDepByFSP(path);
    if (isUsable(ZemDbObjectDependency::cast(found.openObject().get()), manager, note)) {
        return found;
    }
    // None was met, or another one first: of a manager of another block, or of another state of the
    // solid. Unlike a model object the manager says so when there may be a link that can't be read.
    for (OdDbObjectId id : manager.computeDepId(path)) {
        if (isUsable(ZemDbObjectDependency::cast(id.openObject().get()), manager, note)) {
            return id;
        }
    }
    return OdDbObjectId::kNull;
}

/// The notes for paths, each solid being looked at once.
class Notes
{
public:
    explicit Notes(OdDbDatabase const* database) : m_database(database) {}

    std::int32_t of(OdDbFullSubentPath const& path)
    {
        const OdDbObjectId leaf = zemu::getLeafId(path);
        if (!zemu::isLongPath(path) || !zemu::isSubentPath(path)) {
            return 0;
        }
        const auto [found, isNew] = m_notes.try_emplace(leaf, 0);
        if (isNew) {
            found->second = noteFor(path, m_database);
        }
        return found->second;
    }

private:
    OdDbDatabase const* m_database;
    std::map<OdDbObjectId, std::int32_t> m_notes;
};

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
    Notes notes(manager->database());
    for (OdDbFullSubentPath const& path : paths) {
        ids.append(findLink(*manager, path, notes.of(path)));
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
    if (!LostNumbers::isLost(path.subentId())) {  // that one waits, with what it has noted
        const std::int32_t note = noteFor(path, manager->database());
        if (note != link->bodyHash()) {
            link->setBodyHash(note);
        }
    }
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
    Notes notes(manager->database());
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
            if (const std::int32_t note = notes.of(paths[index]); note != 0) {
                link->setBodyHash(note);
            }
            made.append(id);
        }
        ids[index] = id;
    }
    return made;
}

}  // namespace zemhost
