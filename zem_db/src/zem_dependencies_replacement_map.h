// What one pass of renumbering did: links replaced, objects moved, blocks reloaded.

#pragma once

#include "db/od_db_object_id.h"
#include "ge/od_ge_matrix3d.h"

#include "zem_database_utils.h"

#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <vector>

/// The record of one pass in which links were led to new places.
///
/// The managers of links fill it while they split and merge links, and whoever holds links reads it
/// to hold their successors instead. It is made for one pass, and never stored. An id and the one
/// that it is redirected to count as one key, also when it is redirected within the pass: two links
/// that have come to be one have the successors of both. Arrays are given in the order of ids.
///
/// A value; it opens objects only where an operation says so.
class ZemDependenciesReplacementMap
{
public:
    using IdSet = std::unordered_set<OdDbObjectId, zemu::hash_ObjectId>;

    /// How an object was moved as a whole. A value.
    struct TransformedData
    {
        TransformedData(OdGeMatrix3d const& matrix, bool suppressTransform);

        OdGeMatrix3d matrix;
        bool isRigid;            ///< volumes keep size and side: the determinant is 1, within 1e-12
        bool suppressTransform;  ///< the object's own transformation is not to be applied
    };

    /// \name The whole
    /// @{
    /// Whether no entities were changed or moved, and no links replaced or cloned. What has to be
    /// drawn again, reloaded blocks and erased instances don't count.
    bool isEmpty() const noexcept;
    /// Forgets clones, replacements and moved objects; all else stays.
    void clear();
    /// @}

    /// \name Replaced links
    /// @{
    bool isEmptyReplacementDeps() const noexcept { return m_content.replacements.empty(); }
    /// Enters a link with its successors. The first replacement of a link wins.
    ///
    /// The links are opened for read: the entities in which their paths start are to be drawn again.
    /// Ids that are no links are entered all the same.
    /// \return False, with nothing changed, if `replaced` was entered before.
    bool append(OdDbObjectId const& replaced, IdSet const& successors);
    /// Shortens a chain of replacements: takes `member` out of the successors of `replaced`, and
    /// enters its own successors there.
    /// \return False, with nothing changed, if `member` is no successor of `replaced`.
    bool update(OdDbObjectId const& replaced, OdDbObjectId const& member, IdSet const& successors);
    /// Forgets that a link was replaced; nothing for an unknown id.
    void remove(OdDbObjectId const& replaced);
    /// Whether a link was replaced.
    /// \param out  Receives its successors; emptied if it wasn't.
    bool contains(OdDbObjectId const& replaced, IdSet& out) const;
    /// The successors of a link, without a copy; null if it wasn't replaced. Valid until the map is
    /// changed or an id is redirected.
    IdSet const* findReplacement(OdDbObjectId const& replaced) const;
    /// The successors of a link; none if it wasn't replaced.
    IdSet getReplacement(OdDbObjectId const& replaced) const;
    /// Finds the links that a link is a successor of. Takes time with their number only.
    ///
    /// \param out  If not null, they are appended to it.
    /// \return Whether there are any.
    bool findReplacedWith(OdDbObjectId const& successor, OdDbObjectIdArray* out) const;
    OdDbObjectIdArray getReplacedWith(OdDbObjectId const& successor) const;
    /// All links that were replaced.
    OdDbObjectIdArray getAll() const;
    /// @}

    /// \name Clones of links, made in the pass
    /// @{
    void appendClone(OdDbObjectId const& id) { content().clones.insert(id); }
    bool containsClone(OdDbObjectId const& id) const { return content().clones.contains(id); }
    /// @}

    /// \name Entities
    /// @{
    /// Entities that were changed.
    OdDbObjectIdArray modifiedEnts() const;
    void appendModifiedEnt(OdDbObjectId const& id) { content().modifiedEnts.insert(id); }
    void cleanModifiedEnt() { m_content.modifiedEnts.clear(); }
    /// Entities that have to be drawn again. The set may hold the null id, for links without a path.
    /// Valid until the map is changed, or asked anything after ids have come to denote something else.
    IdSet const& entsToRedraw() const { return content().entsToRedraw; }
    void addEntsToRegen(OdDbObjectId const& id) { content().entsToRedraw.insert(id); }
    void clearEntsToRedraw() { m_content.entsToRedraw.clear(); }
    /// @}

    /// \name Objects moved as a whole
    /// @{
    /// Enters how an object was moved, in place of what was entered before, but for the flag: once
    /// set, it stays. When it becomes set for an object that was entered without it, the object's
    /// companion is opened for write and told to suppress its transformation.
    /// \return The flag as entered.
    bool addTransformedObject(OdDbObjectId const& id, OdGeMatrix3d const& matrix,
                              bool suppressTransform);
    /// How an object was moved; null if it wasn't. Valid until the map is changed.
    TransformedData const* findTransformedObject(OdDbObjectId const& id) const;
    /// @}

    /// \name Blocks and instances
    /// A value that is entered again replaces the one before. What isn't there is null.
    /// @{
    /// Enters a block that was reloaded, with its id before.
    void appendBtrReloadingPair(OdDbObjectId const& newId, OdDbObjectId const& oldId);
    OdDbObjectId findBtrBeforeReloading(OdDbObjectId const& newId) const;
    /// Enters an instance that is to be erased, with its block reference.
    void instanceToBeErased(OdDbObjectId const& instanceId, OdDbObjectId const& blockReferenceId);
    OdDbObjectId findBRForErasedInstance(OdDbObjectId const& instanceId) const;
    /// @}

private:
    template <class Value>
    using IdMap = std::unordered_map<OdDbObjectId, Value, zemu::hash_ObjectId>;

    struct Content
    {
        IdSet modifiedEnts;
        IdMap<IdSet> replacements;
        /// For each successor the links that it replaces: `replacements` the other way round. Merges
        /// ask for them once per link, which must not cost a walk over all replacements.
        IdMap<IdSet> replacedWith;
        IdSet clones;
        IdMap<TransformedData> transformedObjects;
        IdMap<OdDbObjectId> btrReloadingPairs;
        IdMap<OdDbObjectId> erasedInstances;
        IdSet entsToRedraw;

        Content enteredAnew() const;
        void addSuccessor(OdDbObjectId replaced, IdSet& successors, OdDbObjectId successor);
        void dropSuccessor(OdDbObjectId replaced, OdDbObjectId successor);
    };

    Content& content() const;
    void redrawInsertOf(OdDbObjectId link);

    mutable Content
        m_content;  ///< tables by hash, which is that of what an id denoted at `m_revision`
    mutable std::uint64_t m_revision = OdDbObjectId::redirectionRevision();
};
