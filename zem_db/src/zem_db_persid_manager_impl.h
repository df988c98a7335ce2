// What a manager of links does; private to the manager's sources.

#pragma once

#include "zem_clone_utils.h"
#include "zem_db_persid_manager.h"
#include "zem_db_properties_base.h"
#include "zem_link_list.h"

class ZemDbObjectDependency;

/// The links of a `ZemDbPersIdManager`, and the operations on them. The manager, which is handed to
/// each operation that needs to know it, checks the open mode.
class ZemDbPersIdManagerImpl final : public ZemDbPropertiesBase
{
public:
    ZemDbPersIdManagerImpl();

    ZemLinkList& links() noexcept { return m_links; }
    ZemLinkList const& links() const noexcept { return m_links; }

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

    /// \name As the operations of the manager
    /// @{
    OdDbObjectIdArray append(ZemDbPersIdManager* manager, ZemSubentPathArray const& paths,
                             OdDbUserIO* userIO);
    bool remapPaths(ZemDbPersIdManager* manager, OdDbObjectIdArray const& depIds,
                    ZemSubentPathArray const& paths);
    OdDbObjectIdArray split(ZemDbPersIdManager* manager, OdDbObjectId depId,
                            ZemSubentPathArray const& paths,
                            ZemDependenciesReplacementMap& replacements);
    void finishRemap(ZemDbPersIdManager* manager, ZemDependenciesReplacementMap& replacements);
    void finishRemap2(ZemDbPersIdManager* manager, ZemDependenciesReplacementMap& replacements);
    bool removeLink(ZemDbPersIdManager* manager, OdDbFullSubentPath const& path, int tag);
    void removeDependencies(ZemDbPersIdManager* manager, OdDbObjectIdArray const& ids);
    OdDbObjectIdArray getNotWatched() const;
    void audit(ZemDbPersIdManager* manager);
    static OdResult mergeManagers(OdDbObject* target, OdDbObject* source, OdDbIdMapping& mapping,
                                  ZemDbReverseIdMapping const& reverseMapping,
                                  ZemDbPersIdManager::IdSet& changedIds);
    /// @}

    static void attachDepsToZemDbObjects(ZemDbPersIdManager const* manager,
                                         OdDbObjectIdArray const& ids);
    /// \throws What the platform throws for an id that can't be opened, even erased;
    ///         OdError_NotThatKindOfClass for one that is no link.
    static void detachDepsFromZemDbObjects(ZemDbPersIdManager const* manager,
                                           OdDbObjectIdArray const& ids);
    /// Those of the ids that go along with a clone operation.
    static OdDbObjectIdArray filterObjects(OdDbObjectIdArray const& ids, OdDbIdMapping& mapping);

private:
    class Merge;

    void list(ZemDbPersIdManager* manager, OdDbObjectIdArray const& added);
    OdDbObjectId merge(ZemDbPersIdManager* manager, OdDbObjectIdArray const& members,
                       OdDbFullSubentPath const& path);
    OdDbObjectIdArray removeRemapped(ZemDependenciesReplacementMap const& replacements);
    bool doMerge(ZemDbPersIdManager* manager, OdDbObjectIdArray& added,
                 ZemDependenciesReplacementMap& replacements);
    bool doMerge2(ZemDbPersIdManager* manager, OdDbObjectIdArray& added,
                  ZemDependenciesReplacementMap& replacements);
    OdDbObjectId addClone(ZemDbPersIdManager* manager, ZemDbObjectDependency const& link,
                          OdDbFullSubentPath const& path);

    ZemLinkList m_links;
};
