// The persistent links of a block: making, remapping, splitting, merging and removing them.

#pragma once

#include "db/od_db_object.h"
#include "db/od_db_subent.h"

#include "zem_clone_utils.h"
#include "zem_protocol_extensions.h"

#include <memory>
#include <unordered_set>

class ZemDbObjectDependency;
class ZemDbPersIdManagerImpl;
class ZemDependenciesReplacementMap;
class ZemProperties;

/// Name of the manager in the module's sub-dictionary of a block: "PERSIDMANAGER". It stands in
/// drawings.
extern const OdString g_persIdManName;

/// Owns the links of one block, and translates changes of solids into changes of links.
///
/// A link has no number of its own: what identifies it is the path along which it leads now. When the
/// faces, edges and vertices of a solid are numbered anew, the host, which knows from its kernel what
/// has become of each, calls in this order:
///  1. `removeLink` for what has gone, `updatePairs` for what has got one new path, and `split` for
///     what has become several; each in the terms of the old numbering;
///  2. `finishRemap` or `finishRemap2`, which merge links that now lead along the same path;
///  3. `updateAfterRemapping`; features rewrite their references by the map.
///
/// A link that leads nowhere stays until it is removed; nothing here takes it for an error.
///
/// Operations that change anything need the manager open for write, and all of it is part of undo.
/// Lists of links are in order of creation. The host makes and rewrites links through a
/// `ZemDbPersIdManagerPE`; without one nothing can be added or remapped. References to objects that
/// are erased when a drawing is written stay out of the file.
class ZemDbPersIdManager : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbPersIdManager);

public:
    using IdSet = std::unordered_set<OdDbObjectId, zemu::hash_ObjectId>;

    ZemDbPersIdManager();
    ~ZemDbPersIdManager() override;

    /// \name Finding
    /// @{
    /// The manager of a block, in the block's extension dictionary; null if there is none, if
    /// something else stands in its place, and for an id that can't be opened.
    /// \param create  Whether to make one if there is none.
    static OdDbObjectId getInstance(OdDbObjectId const& blockId, bool create);
    /// The block; null for a manager that is in no block's dictionary.
    /// \throws OdError (not open for read).
    OdDbObjectId blockId() const;
    /// All links. \throws OdError (not open for read).
    OdDbObjectIdArray objectDependencyIds() const;
    /// The links that lead along exactly this path; links that can't be resolved don't count.
    /// Takes a time that doesn't grow with the links of the block, but for the first look-up and the
    /// first one after links were read again, as by undo.
    /// \throws OdError (not open for read); (file access) if a link of the block can't be read at the
    ///         moment: an answer without it would have it made, or kept, twice.
    OdDbObjectIdArray computeDepId(OdDbFullSubentPath const& path) const;
    /// The links that nothing watches: no persistent reactor of theirs can be opened.
    /// \throws OdError (not open for read).
    OdDbObjectIdArray getUnusedDependencies() const;
    /// @}

    /// \name Making and removing links
    /// @{
    /// Links paths, as far as the host's extension does.
    ///
    /// Entities of this drawing that the paths start at get a model object first, if they have none.
    /// \param userIO  Handed on to the extension; may be null.
    /// \return The links of the paths, as the extension gives them; empty without an extension.
    /// \throws OdError (wrong database) if the extension makes a link in another drawing; all others
    ///         are listed then.
    OdDbObjectIdArray append(ZemSubentPathArray const& paths, OdDbUserIO* userIO);
    /// Takes the links that lead along a path off the list and off their model objects. They are not
    /// erased.
    ///
    /// \param tag  Only links with this entity tag; 0 for all.
    /// \return Whether there was one.
    bool removeLink(OdDbFullSubentPath const& path, int tag);
    /// Takes links off the list and off their model objects. They are not erased.
    /// \throws What the platform throws for an id that can't be opened, even erased; nothing has
    ///         changed then.
    void removeDependencies(OdDbObjectIdArray const& ids);
    /// Lists a link that was cloned to this manager. Null does nothing.
    /// \throws OdError (wrong database) for a link of another drawing.
    void onAppendToOwner(ZemDbObjectDependency const* dependency);
    /// @}

    /// \name Following an edit of a solid
    /// @{
    /// Rewrites each link to the path at its place, through the host's extension.
    ///
    /// Ids that aren't listed make the answer false. If they are fewer than the paths, each takes
    /// its place out of both arrays before anything is rewritten; the places count in the arrays as
    /// they are after the removals before, so with several unknown ids it is other links that are
    /// left out.
    /// \return Whether all ids are listed; false without an extension.
    /// \throws OdError_InvalidIndex for a place past the end, and if there are fewer paths than
    ///         links; nothing has changed then.
    bool updatePairs(OdDbObjectIdArray const& depIds, ZemSubentPathArray const& paths);
    /// Replaces a watched link by one for each path. The link itself stays listed until the remapping
    /// is finished.
    ///
    /// \return The new links in order of paths, which are listed behind all others; the link alone if
    ///         there are fewer than two paths or nothing watches it; empty for an id that is no link.
    OdDbObjectIdArray split(OdDbObjectId depId, ZemSubentPathArray const& paths,
                            ZemDependenciesReplacementMap& replacements);
    /// Takes replaced links off the list, and replaces watched links that lead along the same path by
    /// one new link.
    void finishRemap(ZemDependenciesReplacementMap& replacements);
    /// Replaces all links that lead along the same path by one new link, watched or not, but for
    /// those that are replaced already, and shortens what the map tells of earlier replacements.
    /// Replaced links come off the list only if there was anything to merge.
    void finishRemap2(ZemDependenciesReplacementMap& replacements);
    /// Lets the features of the block follow a finished remapping.
    /// \return What `ZemDbFeatureManager::updateFeaturesAfterRemapping` answers; false for a block
    ///         without features.
    bool updateAfterRemapping(ZemDependenciesReplacementMap& replacements,
                              bool constraintsWereCalculated,
                              bool constraintsWereCalculatedSuccessfully, bool autoupdate,
                              bool sheetMetal) const;
    /// @}

    /// \name Care
    /// @{
    /// Lists each link in the model object of the entity that it starts at, which is made if the
    /// block has a constraint manager.
    void attachDepsToZemDbObjects() const;
    /// Takes the links of another manager over, after blocks were merged, and erases that manager.
    ///
    /// A link moves if it can be resolved, starts in this manager's block, and either its entity came
    /// with the merge or the link itself is a clone. Links that don't move are in nobody's list.
    /// \param source          The other manager.
    /// \param mapping         Of the clone operation; reactors of a changed link that were cloned
    ///                        with it are taken off the link.
    /// \param reverseMapping  The same from the clones' side.
    /// \param changedIds      Receives the links that moved and were written anew.
    /// \param flag            Without effect.
    /// \return 0, also without the host's extension, when nothing is moved; (bad input) for null, for
    ///         this manager itself, and for an object of another class.
    /// \throws OdError (not open for write) for the source.
    OdResult mergeManagers(OdDbObject* source, OdDbIdMapping& mapping,
                           ZemDbReverseIdMapping const& reverseMapping, IdSet& changedIds,
                           bool flag);
    /// Removes and erases what can't be opened, what is no link, and links whose entity has no model
    /// object; lists all others in their model objects.
    void audit();
    /// @}

    /// The bag, for reading. \throws OdError (not open for read).
    ZemProperties const& getReadProperties() const;
    /// The bag, for changes, which become part of undo. \throws OdError (not open for write).
    ZemProperties& getWriteProperties();

    /// \throws OdError (not open for write).
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    /// \throws OdError (not open for read).
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    /// Clones the links of entities that were cloned; all links when a drawing is inserted as a copy.
    OdDbObjectPtr subDeepClone(OdDbIdMapping& mapping, OdDbObject* owner,
                               bool isPrimary) const override;
    /// As `subDeepClone`.
    OdDbObjectPtr subWblockClone(OdDbIdMapping& mapping, OdDbObject* owner,
                                 bool isPrimary) const override;

private:
    friend class ZemDbObjectDependency;
    friend class ZemDbPersIdManagerImpl;

    /// A link that the manager owns has another path now. \return Whether it is listed.
    bool onLinkChanged(OdDbObjectId id) const;

    std::unique_ptr<ZemDbPersIdManagerImpl> m_impl;
};

namespace zemu {

/// The managers of all blocks of a drawing that have one, in order of the block table; none for null.
OdDbObjectIdArray getAllPersIdManagers(OdDbDatabase* database);

}  // namespace zemu
