#include "zem_db_persid_manager.h"

#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "root/od_error.h"

#include "zem_db_class_info.h"
#include "zem_db_feature_manager.h"
#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager_impl.h"
#include "zem_dependencies_replacement_map.h"
#include "zem_link_utils.h"

#include <utility>

ZEM_DEFINE_DB_CLASS(ZemDbPersIdManager, OdDbObject, L"ZemDbPersIdManager", L"ZemDbPersIdManager",
                    kZemAppModelData);

const OdString g_persIdManName(L"PERSIDMANAGER");

namespace {

/// Lets a manager be cloned with some of its links alone, and gives the others back.
class PartialList
{
public:
    PartialList(ZemLinkList& links, OdDbIdMapping& mapping)
        : m_links(links),
          m_other(ZemDbPersIdManagerImpl::filterObjects(std::as_const(links).ids(), mapping))
    {
        m_isPartial = m_other.size() != m_links.size();
        if (m_isPartial) {
            m_links.exchange(m_other);
        }
    }
    PartialList(PartialList const&) = delete;
    PartialList& operator=(PartialList const&) = delete;
    ~PartialList()
    {
        if (m_isPartial) {
            m_links.exchange(m_other);
        }
    }

private:
    ZemLinkList& m_links;
    OdDbObjectIdArray m_other;
    bool m_isPartial = false;
};

}  // namespace

ZemDbPersIdManager::ZemDbPersIdManager() : m_impl(std::make_unique<ZemDbPersIdManagerImpl>()) {}

ZemDbPersIdManager::~ZemDbPersIdManager() = default;

//--------------------------------------------------------------------------------------------------
// Finding

OdDbObjectId ZemDbPersIdManager::getInstance(OdDbObjectId const& blockId, bool create)
{
    const OdDbObjectId id =
        zemu::getObjInExtDict(blockId, g_persIdManName, create ? desc() : nullptr);
    OdRxClass const* const cls = id.objectClass();
    return cls != nullptr && cls->isDerivedFrom(desc()) ? id : OdDbObjectId::kNull;
}

OdDbObjectId ZemDbPersIdManager::blockId() const
{
    assertReadEnabled();
    const auto named = OdDbDictionary::cast(ownerId().openObject(OdDb::kForRead).get());
    if (named.isNull()) {
        return OdDbObjectId::kNull;
    }
    const auto extension = OdDbDictionary::cast(named->ownerId().openObject(OdDb::kForRead).get());
    if (extension.isNull()) {
        return OdDbObjectId::kNull;
    }
    const auto block =
        OdDbBlockTableRecord::cast(extension->ownerId().openObject(OdDb::kForRead).get());
    return block.isNull() ? OdDbObjectId::kNull : block->objectId();
}

OdDbObjectIdArray ZemDbPersIdManager::objectDependencyIds() const
{
    assertReadEnabled();
    return std::as_const(*m_impl).links().ids();
}

OdDbObjectIdArray ZemDbPersIdManager::computeDepId(OdDbFullSubentPath const& path) const
{
    assertReadEnabled();
    return m_impl->links().findByPath(path, objectId());
}

OdDbObjectIdArray ZemDbPersIdManager::getUnusedDependencies() const
{
    assertReadEnabled();
    return m_impl->getNotWatched();
}

bool ZemDbPersIdManager::onLinkChanged(OdDbObjectId id) const
{
    m_impl->links().linkChanged(id);
    return m_impl->links().contains(id);
}

//--------------------------------------------------------------------------------------------------
// Changing

OdDbObjectIdArray ZemDbPersIdManager::append(ZemSubentPathArray const& paths, OdDbUserIO* userIO)
{
    assertWriteEnabled(true, true);
    return m_impl->append(this, paths, userIO);
}

bool ZemDbPersIdManager::removeLink(OdDbFullSubentPath const& path, int tag)
{
    assertWriteEnabled(true, true);
    return m_impl->removeLink(this, path, tag);
}

void ZemDbPersIdManager::removeDependencies(OdDbObjectIdArray const& ids)
{
    assertWriteEnabled(true, true);
    m_impl->removeDependencies(this, ids);
}

void ZemDbPersIdManager::onAppendToOwner(ZemDbObjectDependency const* dependency)
{
    if (dependency == nullptr) {
        return;
    }
    assertWriteEnabled(true, true);
    if (!zemu::mayList(*this, dependency->objectId())) {
        throw OdError(kOdWrongDatabase);
    }
    m_impl->links().append(dependency->objectId());
}

bool ZemDbPersIdManager::updatePairs(OdDbObjectIdArray const& depIds,
                                     ZemSubentPathArray const& paths)
{
    assertWriteEnabled(true, true);
    return m_impl->remapPaths(this, depIds, paths);
}

OdDbObjectIdArray ZemDbPersIdManager::split(OdDbObjectId depId, ZemSubentPathArray const& paths,
                                            ZemDependenciesReplacementMap& replacements)
{
    assertWriteEnabled(true, true);
    return m_impl->split(this, depId, paths, replacements);
}

void ZemDbPersIdManager::finishRemap(ZemDependenciesReplacementMap& replacements)
{
    assertWriteEnabled(true, true);
    m_impl->finishRemap(this, replacements);
}

void ZemDbPersIdManager::finishRemap2(ZemDependenciesReplacementMap& replacements)
{
    assertWriteEnabled(true, true);
    m_impl->finishRemap2(this, replacements);
}

bool ZemDbPersIdManager::updateAfterRemapping(ZemDependenciesReplacementMap& replacements,
                                              bool constraintsWereCalculated,
                                              bool constraintsWereCalculatedSuccessfully,
                                              bool autoupdate, bool sheetMetal) const
{
    assertReadEnabled();
    const auto features = ZemDbFeatureManager::cast(
        ZemDbFeatureManager::getInstance(blockId(), false).openObject(OdDb::kForWrite).get());
    return !features.isNull() && features->updateFeaturesAfterRemapping(
                                     replacements, constraintsWereCalculated,
                                     constraintsWereCalculatedSuccessfully, autoupdate, sheetMetal);
}

void ZemDbPersIdManager::attachDepsToZemDbObjects() const
{
    assertReadEnabled();
    ZemDbPersIdManagerImpl::attachDepsToZemDbObjects(this, m_impl->links().ids());
}

OdResult ZemDbPersIdManager::mergeManagers(OdDbObject* source, OdDbIdMapping& mapping,
                                           ZemDbReverseIdMapping const& reverseMapping,
                                           IdSet& changedIds, bool /*flag*/)
{
    return ZemDbPersIdManagerImpl::mergeManagers(this, source, mapping, reverseMapping, changedIds);
}

void ZemDbPersIdManager::audit()
{
    assertWriteEnabled(true, true);
    m_impl->audit(this);
}

//--------------------------------------------------------------------------------------------------
// Filing and cloning

ZemProperties const& ZemDbPersIdManager::getReadProperties() const
{
    assertReadEnabled();
    (void)m_impl->links().ids();  // closes gaps in what the bag is bound to
    return m_impl->properties();
}

ZemProperties& ZemDbPersIdManager::getWriteProperties()
{
    assertWriteEnabled(true, true);
    (void)m_impl->links().ids();
    m_impl->links().forget();
    return m_impl->properties();
}

OdResult ZemDbPersIdManager::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult result = OdDbObject::dwgInFields(filer);
    return result == kOdOk ? m_impl->dwgInFields(filer) : result;
}

void ZemDbPersIdManager::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_impl->dwgOutFields(filer);
}

OdDbObjectPtr ZemDbPersIdManager::subDeepClone(OdDbIdMapping& mapping, OdDbObject* owner,
                                               bool isPrimary) const
{
    const PartialList partial(m_impl->links(), mapping);
    return OdDbObject::subDeepClone(mapping, owner, isPrimary);
}

OdDbObjectPtr ZemDbPersIdManager::subWblockClone(OdDbIdMapping& mapping, OdDbObject* owner,
                                                 bool isPrimary) const
{
    const PartialList partial(m_impl->links(), mapping);
    return OdDbObject::subWblockClone(mapping, owner, isPrimary);
}

namespace zemu {

OdDbObjectIdArray getAllPersIdManagers(OdDbDatabase* database)
{
    OdDbObjectIdArray managers;
    if (database == nullptr) {
        return managers;
    }
    const OdDbSymbolTablePtr blocks = database->getBlockTableId().safeOpenObject(OdDb::kForRead);
    for (const auto record = blocks->newIterator(); !record->done(); record->step()) {
        const OdDbObjectId manager = ZemDbPersIdManager::getInstance(record->getRecordId(), false);
        if (!manager.isNull()) {
            managers.append(manager);
        }
    }
    return managers;
}

}  // namespace zemu
