#include "zem_db_persid_manager_impl.h"

#include "db/od_db_database.h"
#include "db/od_db_entity.h"
#include "db/od_db_look_ahead.h"
#include "root/od_error.h"

#include "zem_db_constraint_manager.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_dependencies_replacement_map.h"
#include "zem_link_utils.h"
#include "zem_property_data.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

/// Name in the bag; it stands in drawings.
const OdString s_depsKey(L"deps");

using Link = OdSmartPtr<ZemDbObjectDependency>;

Link openLink(OdDbObjectId id, OdDb::OpenMode mode = OdDb::kForRead)
{
    return ZemDbObjectDependency::cast(id.openObject(mode).get());
}

OdDbObjectId insertIdOf(OdDbFullSubentPath const& path)
{
    return path.objectIds().isEmpty() ? OdDbObjectId::kNull : path.objectIds().first();
}

/// Whether an id can have a model object beside the manager: an entity of the same drawing.
bool isOwnEntity(ZemDbPersIdManager const* manager, OdDbObjectId id)
{
    return !id.isNull() && id.originalDatabase() == manager->database() &&
           id.database() == manager->database() &&
           !OdDbEntity::cast(id.openObject(OdDb::kForRead).get()).isNull();
}

/// Makes the model objects of the entities that paths start at, so that links can be listed there.
void refreshZemDbObjects(ZemDbPersIdManager* manager, ZemSubentPathArray const& paths)
{
    std::vector<OdDbObjectId> inserts;
    std::unordered_set<OdDbObjectId, zemu::hash_ObjectId> seen;
    for (OdDbFullSubentPath const& path : paths) {
        const OdDbObjectId insert = insertIdOf(path);
        // What can't have a model object is the extension's to refuse, which sees the paths next.
        if (seen.insert(insert).second && isOwnEntity(manager, insert)) {
            inserts.push_back(insert);
        }
    }
    if (inserts.empty()) {
        return;
    }
    const auto constraints =
        ZemDbConstraintManager::cast(ZemDbConstraintManager::getInstance(manager->blockId(), true)
                                         .openObject(OdDb::kForRead)
                                         .get());
    if (constraints.isNull()) {
        return;
    }
    constraints->upgradeOpen();
    for (OdDbObjectId insert : inserts) {
        (void)constraints->getZemDbObject(insert);
    }
    constraints->generateZemDbObjectNames();
}

/// Links by the entity that they start at, in order of first appearance.
class ByInsert
{
public:
    void add(ZemDbObjectDependency const& link)
    {
        OdDbObjectId insert = link.getInsertId();
        insert.convertToRedirectedId();
        const auto [at, isNew] = m_places.try_emplace(insert, m_groups.size());
        if (isNew) {
            m_groups.push_back({insert, {}});
        }
        m_groups[at->second].second.append(link.objectId());
    }
    auto begin() const { return m_groups.begin(); }
    auto end() const { return m_groups.end(); }

private:
    std::unordered_map<OdDbObjectId, std::size_t> m_places;
    std::vector<std::pair<OdDbObjectId, OdDbObjectIdArray>> m_groups;
};

/// \throws What the platform throws for an id that can't be opened, even erased;
///         OdError_NotThatKindOfClass for one that is no link.
ByInsert groupStrictly(OdDbObjectIdArray const& ids)
{
    ByInsert groups;
    odDbForEachAhead(ids, [&](OdDbObjectId id) {
        const Link link = id.safeOpenObject(OdDb::kForRead, /*openErased=*/true);
        groups.add(*link);
    });
    return groups;
}

void detach(ZemDbPersIdManager const* manager, ByInsert const& groups)
{
    for (auto const& [insert, ids] : groups) {
        // A living one may stand behind the erased one of an entity that came back.
        auto object = ZemDbObject::openZemDbObject(insert, OdDb::kForWrite, /*openErased=*/false);
        if (object.isNull()) {
            object = ZemDbObject::openZemDbObject(insert, OdDb::kForWrite, /*openErased=*/true);
        }
        if (object.isNull() || object->isErased()) {
            continue;
        }
        odDbForEachAhead(ids, [&object, manager](OdDbObjectId id) {
            (void)object->removePersIdDependency(manager->objectId(), id);
        });
    }
}

/// Links that lead along the same path, in order of first appearance.
class ByPath
{
public:
    struct Group
    {
        OdDbFullSubentPath path;
        OdDbObjectIdArray members;
    };

    ByPath() { m_table.build(0); }

    void add(OdDbFullSubentPath const& path, OdDbObjectId id)
    {
        const std::uint32_t hash = hashOfPath(path);
        std::uint32_t group = ZemPositionTable::kNone;
        m_table.visit(hash, [&](std::uint32_t other) {
            group = m_groups[other].path == path ? other : group;
        });
        if (group == ZemPositionTable::kNone) {
            group = static_cast<std::uint32_t>(m_groups.size());
            m_groups.push_back({path, {}});
            m_table.insert(hash, group);
        }
        m_groups[group].members.append(id);
    }
    /// Those with two members or more.
    std::vector<Group> takeShared()
    {
        std::erase_if(m_groups, [](Group const& group) { return group.members.size() < 2; });
        return std::move(m_groups);
    }

private:
    ZemPositionTable m_table;
    std::vector<Group> m_groups;
};

/// The first of some links that opens; null if none does any more.
Link firstThatOpens(OdDbObjectIdArray const& ids)
{
    for (OdDbObjectId id : ids) {
        if (const Link link = openLink(id); !link.isNull()) {
            return link;
        }
    }
    return Link();
}

/// Begins to fetch what merging the groups that come next opens first.
void expectAfter(std::vector<ByPath::Group> const& groups, std::size_t at)
{
    constexpr std::size_t kIdsAhead = 8;
    constexpr std::size_t kObjectsAhead = 4;
    if (groups.size() - at > kIdsAhead) {
        odDbExpectId(groups[at + kIdsAhead].members.first());
    }
    if (groups.size() - at > kObjectsAhead) {
        odDbExpectObject(groups[at + kObjectsAhead].members.first());
    }
}

/// Leaves out the elements at some places, which count in the array as it is after the removals
/// before them.
/// \param places  In ascending order.
template <class Array>
Array withoutPlaces(Array const& array, std::vector<std::uint32_t> const& places)
{
    Array result;
    std::size_t removed = 0;
    for (std::uint32_t at = 0; at < array.size(); ++at) {
        if (removed < places.size() && places[removed] + removed == at) {
            ++removed;
        } else {
            result.append(array[at]);
        }
    }
    if (removed != places.size()) {
        throw OdError_InvalidIndex();
    }
    return result;
}

}  // namespace

ZemDbPersIdManagerImpl::ZemDbPersIdManagerImpl()
    : ZemDbPropertiesBase(kZemPropsDropErasedIds, /*version=*/1)
{
    m_properties.mapProperty(s_depsKey, m_links.variable(), OdDb::ReferenceType::kHardOwnershipRef);
}

OdResult ZemDbPersIdManagerImpl::dwgInFields(OdDbDwgFiler* filer)
{
    (void)m_links.ids();  // what was taken off stays off, even if nothing can be read
    m_links.forget();
    const OdResult result = ZemDbPropertiesBase::dwgInFields(filer);
    m_links.forget();
    return result;
}

void ZemDbPersIdManagerImpl::dwgOutFields(OdDbDwgFiler* filer) const
{
    (void)m_links.ids();  // closes gaps in what the bag is bound to
    ZemDbPropertiesBase::dwgOutFields(filer);
}

//--------------------------------------------------------------------------------------------------
// Making links and giving them new paths

OdDbObjectIdArray ZemDbPersIdManagerImpl::append(ZemDbPersIdManager* manager,
                                                 ZemSubentPathArray const& paths,
                                                 OdDbUserIO* userIO)
{
    const auto host = ZemDbPersIdManagerPE::cast(manager);
    if (paths.isEmpty() || host.isNull()) {
        return {};
    }
    refreshZemDbObjects(manager, paths);
    ZemSubentPathArray usable = paths;
    host->validatePaths(manager, usable, manager->database());
    OdDbObjectIdArray ids;
    host->collectExistingDependencies(manager, usable, ids);
    const OdDbObjectIdArray added = host->createDependencies(manager, usable, userIO, ids);
    // Those of another drawing may go before the manager does.
    const OdDbObjectIdArray own = zemu::withoutForeign(*manager, added);
    list(manager, own);
    attachDepsToZemDbObjects(manager, own);
    if (own.size() != added.size()) {
        throw OdError(kOdWrongDatabase);
    }
    return ids;
}

/// Lists new links of this drawing. Whoever made them, or heard of it, may have begun a new step of
/// undo.
void ZemDbPersIdManagerImpl::list(ZemDbPersIdManager* manager, OdDbObjectIdArray const& added)
{
    manager->assertWriteEnabled(true, true);
    m_links.append(added);
}

bool ZemDbPersIdManagerImpl::remapPaths(ZemDbPersIdManager* manager,
                                        OdDbObjectIdArray const& depIds,
                                        ZemSubentPathArray const& paths)
{
    std::vector<std::uint32_t> unknown;
    for (std::uint32_t at = 0; at < depIds.size(); ++at) {
        if (!m_links.contains(depIds[at])) {
            unknown.push_back(at);
        }
    }
    const auto host = ZemDbPersIdManagerPE::cast(manager);
    if (host.isNull()) {
        return false;
    }
    const bool isRemoving = !unknown.empty() && unknown.size() < paths.size();
    const OdDbObjectIdArray ids = isRemoving ? withoutPlaces(depIds, unknown) : depIds;
    const ZemSubentPathArray targets = isRemoving ? withoutPlaces(paths, unknown) : paths;
    if (targets.size() < ids.size()) {
        throw OdError_InvalidIndex();
    }
    refreshZemDbObjects(manager, targets);
    for (std::uint32_t at = 0; at < ids.size(); ++at) {
        host->remapDependency(manager, ids[at], targets[at]);
    }
    return unknown.empty();
}

OdDbObjectId ZemDbPersIdManagerImpl::addClone(ZemDbPersIdManager* manager,
                                              ZemDbObjectDependency const& link,
                                              OdDbFullSubentPath const& path)
{
    OdDbDatabase* const database = manager->database();
    if (database == nullptr) {
        throw OdError(kOdNotInDatabase);
    }
    const Link clone = link.clone(path);
    return database->addOdDbObject(clone.get(), manager->objectId());
}

OdDbObjectIdArray ZemDbPersIdManagerImpl::split(ZemDbPersIdManager* manager, OdDbObjectId depId,
                                                ZemSubentPathArray const& paths,
                                                ZemDependenciesReplacementMap& replacements)
{
    const Link link = openLink(depId, OdDb::kForWrite);
    if (link.isNull()) {
        return {};
    }
    if (paths.size() < 2 || !link->isWatched()) {
        return {depId};  // what nobody watches needn't be told apart
    }
    OdDbObjectIdArray result;
    ZemDbPersIdManager::IdSet successors;
    for (OdDbFullSubentPath const& path : paths) {
        result.append(addClone(manager, *link, path));
        successors.insert(result.last());
    }
    list(manager, result);
    replacements.append(depId, successors);
    attachDepsToZemDbObjects(manager, result);
    return result;
}

//--------------------------------------------------------------------------------------------------
// Finishing a remapping

void ZemDbPersIdManagerImpl::finishRemap(ZemDbPersIdManager* manager,
                                         ZemDependenciesReplacementMap& replacements)
{
    OdDbObjectIdArray added;
    OdDbObjectIdArray removed = removeRemapped(replacements);
    if (doMerge(manager, added, replacements)) {
        removed.append(removeRemapped(replacements));
    }
    if (!ZemDbPersIdManagerPE::cast(manager).isNull()) {
        detachDepsFromZemDbObjects(manager, removed);
        attachDepsToZemDbObjects(manager, added);
    }
}

void ZemDbPersIdManagerImpl::finishRemap2(ZemDbPersIdManager* manager,
                                          ZemDependenciesReplacementMap& replacements)
{
    OdDbObjectIdArray added;
    OdDbObjectIdArray removed;
    if (doMerge2(manager, added, replacements)) {
        removed = removeRemapped(replacements);
    }
    if (!ZemDbPersIdManagerPE::cast(manager).isNull()) {
        detachDepsFromZemDbObjects(manager, removed);
        attachDepsToZemDbObjects(manager, added);
    }
}

/// Takes the replaced links off the list. \return They, the last one first.
OdDbObjectIdArray
ZemDbPersIdManagerImpl::removeRemapped(ZemDependenciesReplacementMap const& replacements)
{
    return m_links.remove(replacements.getAll());
}

/// Makes and lists one link in place of some that lead along a path. \return Null if none of them
/// opens any more: whoever heard of a drawing that was loaded to follow them may have erased them.
OdDbObjectId ZemDbPersIdManagerImpl::merge(ZemDbPersIdManager* manager,
                                           OdDbObjectIdArray const& members,
                                           OdDbFullSubentPath const& path)
{
    const Link first = firstThatOpens(members);
    if (first.isNull()) {
        return OdDbObjectId::kNull;
    }
    const OdDbObjectId merged = addClone(manager, *first, path);
    list(manager, {merged});
    return merged;
}

bool ZemDbPersIdManagerImpl::doMerge(ZemDbPersIdManager* manager, OdDbObjectIdArray& added,
                                     ZemDependenciesReplacementMap& replacements)
{
    ByPath byPath;
    OdDbFullSubentPath path;
    odDbForEachAhead(m_links.withCompany(manager->objectId()), [&](OdDbObjectId id) {
        const Link link = openLink(id);
        if (!link.isNull() && link->isWatched() &&
            link->getLinkObject(path, false) != kOdUnresolvedPath) {
            byPath.add(path, id);
        }
    });
    const std::vector<ByPath::Group> groups = byPath.takeShared();
    for (std::size_t at = 0; at < groups.size(); ++at) {
        expectAfter(groups, at);
        ByPath::Group const& group = groups[at];
        const OdDbObjectId merged = merge(manager, group.members, group.path);
        if (merged.isNull()) {
            continue;
        }
        added.append(merged);
        for (OdDbObjectId member : group.members) {
            replacements.append(member, {merged});
        }
    }
    return !groups.empty();
}

bool ZemDbPersIdManagerImpl::doMerge2(ZemDbPersIdManager* manager, OdDbObjectIdArray& added,
                                      ZemDependenciesReplacementMap& replacements)
{
    ByPath byPath;
    OdDbFullSubentPath path;
    odDbForEachAhead(m_links.withCompany(manager->objectId()), [&](OdDbObjectId id) {
        if (replacements.findReplacement(id) != nullptr) {
            return;
        }
        const Link link = openLink(id);
        if (!link.isNull() && link->getLinkObject(path, false) != kOdUnresolvedPath) {
            byPath.add(path, id);
        }
    });
    const std::vector<ByPath::Group> groups = byPath.takeShared();
    for (std::size_t at = 0; at < groups.size(); ++at) {
        expectAfter(groups, at);
        ByPath::Group const& group = groups[at];
        const OdDbObjectId merged = merge(manager, group.members, group.path);
        if (merged.isNull()) {
            continue;
        }
        added.append(merged);
        for (OdDbObjectId member : group.members) {
            OdDbObjectIdArray earlier;
            (void)replacements.findReplacedWith(member, &earlier);
            replacements.append(member, {merged});
            for (OdDbObjectId id : earlier) {
                replacements.update(id, member, {merged});
            }
        }
    }
    return !groups.empty();
}

//--------------------------------------------------------------------------------------------------
// Removing links, and what became of them

bool ZemDbPersIdManagerImpl::removeLink(ZemDbPersIdManager* manager, OdDbFullSubentPath const& path,
                                        int tag)
{
    OdDbObjectIdArray removed;
    for (OdDbObjectId id : m_links.findByPath(path, manager->objectId())) {
        const Link link = id.safeOpenObject(OdDb::kForWrite);
        if (tag == 0 || link->entityTag() == tag) {
            removed.append(id);
        }
    }
    (void)m_links.remove(removed);
    detachDepsFromZemDbObjects(manager, removed);
    return !removed.isEmpty();
}

void ZemDbPersIdManagerImpl::removeDependencies(ZemDbPersIdManager* manager,
                                                OdDbObjectIdArray const& ids)
{
    const ByInsert groups = groupStrictly(ids);
    (void)m_links.remove(ids);
    detach(manager, groups);
}

OdDbObjectIdArray ZemDbPersIdManagerImpl::getNotWatched() const
{
    OdDbObjectIdArray result;
    for (OdDbObjectId id : m_links.ids()) {
        const Link link = openLink(id);
        if (!link.isNull() && !link->isWatched()) {
            result.append(id);
        }
    }
    return result;
}

void ZemDbPersIdManagerImpl::audit(ZemDbPersIdManager* manager)
{
    OdDbObjectIdArray unfit;
    ByInsert unfitLinks;
    for (OdDbObjectId id : m_links.ids()) {
        const auto link =
            ZemDbObjectDependency::cast(id.openObject(OdDb::kForRead, /*openErased=*/true).get());
        const bool isFit =
            !link.isNull() && !link->isErased() &&
            !ZemDbObject::openZemDbObject(link->getInsertId(), OdDb::kForRead, false).isNull();
        if (isFit) {
            continue;
        }
        unfit.append(id);
        if (!link.isNull()) {
            unfitLinks.add(*link);
        }
    }
    (void)m_links.remove(unfit);
    detach(manager, unfitLinks);
    for (OdDbObjectId id : unfit) {
        const OdDbObjectPtr object = id.openObject(OdDb::kForWrite);
        // A damaged list may name anything; what is neither owned nor a link is taken off it alone.
        const bool mayErase = !object.isNull() && (object->ownerId() == manager->objectId() ||
                                                   object->isKindOf(ZemDbObjectDependency::desc()));
        if (mayErase) {
            (void)object->erase(true);
        }
    }
    attachDepsToZemDbObjects(manager, m_links.ids());
}

//--------------------------------------------------------------------------------------------------
// Listing links in the model objects of entities

void ZemDbPersIdManagerImpl::attachDepsToZemDbObjects(ZemDbPersIdManager const* manager,
                                                      OdDbObjectIdArray const& ids)
{
    if (ids.isEmpty()) {
        return;
    }
    const OdDbObjectId constraints = ZemDbConstraintManager::getInstance(manager->blockId(), false);
    ByInsert groups;
    odDbForEachAhead(ids, [&](OdDbObjectId id) {
        const Link link = openLink(id);
        if (!link.isNull()) {
            groups.add(*link);
        }
    });
    for (auto const& [insert, links] : groups) {
        if (!isOwnEntity(manager, insert)) {
            continue;
        }
        const auto object = ZemDbObject::cast(
            ZemDbObject::getInstance(insert, constraints).openObject(OdDb::kForWrite).get());
        if (object.isNull()) {
            continue;
        }
        odDbForEachAhead(links, [&object, manager](OdDbObjectId link) {
            (void)object->addPersIdDependency(manager->objectId(), link);
        });
    }
}

void ZemDbPersIdManagerImpl::detachDepsFromZemDbObjects(ZemDbPersIdManager const* manager,
                                                        OdDbObjectIdArray const& ids)
{
    detach(manager, groupStrictly(ids));
}

OdDbObjectIdArray ZemDbPersIdManagerImpl::filterObjects(OdDbObjectIdArray const& ids,
                                                        OdDbIdMapping& mapping)
{
    if (mapping.deepCloneContext() == OdDb::DeepCloneType::kDcInsertCopy) {
        return ids;
    }
    OdDbObjectIdArray result;
    for (OdDbObjectId id : ids) {
        const Link link = openLink(id);
        if (link.isNull()) {
            continue;
        }
        OdDbIdPair pair(link->getInsertId());
        if (mapping.compute(pair)) {
            result.append(id);
        }
    }
    return result;
}
