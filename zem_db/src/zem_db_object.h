// Companions of the entities that take part in the model.

#pragma once

#include "db/od_db_object.h"
#include "db/od_db_subent.h"
#include "ge/od_ge_matrix3d.h"

#include "zem_database_utils.h"
#include "zem_index_map.h"
#include "zem_protocol_extensions.h"

#include <memory>
#include <unordered_set>

class OdDbEntity;
class ZemDbObjectImpl;
class ZemPersIdCache;
class ZemProperties;

/// What the model knows of one entity: the links that lead to it, a display name, a transform that
/// the solver has not applied yet, and numbers of its faces, edges and vertices.
///
/// It is a persistent reactor of its entity and is owned by the constraint manager of the entity's
/// block, which it tells of the entity's changes. It goes when the entity is erased. The host adds
/// to it by a `ZemDbObjectPE`; all works without one, but then no links for constraints can be
/// made.
///
/// Readers throw OdError (not open for read), writers OdError (not open for write); what writers
/// change is part of undo.
class ZemDbObject : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbObject);

public:
    using IdSet = std::unordered_set<OdDbObjectId, zemu::hash_ObjectId>;

    ZemDbObject();
    ~ZemDbObject() override;

    /// \name Finding
    /// @{
    /// The companion of an entity, which is made, with a name of its own, if there is none.
    ///
    /// \param managerId  The constraint manager that is to own a new one.
    /// \return Null if there is none and `managerId` is no constraint manager.
    /// \throws OdError (class not registered); (wrong database) for an entity of another drawing than
    ///         the manager's; what `safeOpenObject` throws for what can't be opened, or is no entity.
    ///         Nothing has been made then.
    static OdDbObjectId getInstance(OdDbObjectId const& entityId, OdDbObjectId const& managerId);
    /// The companion of an entity, opened; null if it has none, for an id that can't be opened, and
    /// while changes are taken back.
    static OdSmartPtr<ZemDbObject> openZemDbObject(OdDbObjectId entityId, OdDb::OpenMode mode,
                                                   bool openErased);
    /// As above. Reactors that are companions of other entities of the drawing are taken off; the
    /// entity, which is open for read, is raised to write for that.
    ///
    /// \param entity  May be null.
    static OdSmartPtr<ZemDbObject> openZemDbObject(OdDbEntity* entity, OdDb::OpenMode mode,
                                                   bool openErased);
    /// Makes this the companion of an entity, and a reactor of it.
    /// \throws What `safeOpenObject` throws for an entity that can't be opened; nothing has changed
    ///         then.
    void attachTo(OdDbObjectId entityId);
    /// The entity; null for a companion of none.
    OdDbObjectId attachedEntityId() const;
    OdString name() const;
    /// Sets the display name; an empty text changes nothing.
    void setName(OdString const& name);
    /// @}

    /// \name Links
    /// Links for constraints are owned here; all other links to the entity are owned by the manager
    /// of links and only listed here.
    /// @{
    /// The links for constraints, then the others.
    OdDbObjectIdArray dependencies() const;
    OdDbObjectIdArray constraintDependencies() const;
    OdDbObjectIdArray persIdDependencies() const;
    bool hasDependencies() const;
    /// The first link for constraints whose path is exactly the one given.
    ///
    /// \return Null if there is none; null as well if a link in front of it can't be resolved or read.
    OdDbObjectId getConstraintDependency(OdDbFullSubentPath const& path) const;
    /// A listed link with exactly that path, resolved or not, by `ZemPersIdCache`; null if there is
    /// none, or if it can't be read. What couldn't be read is looked at again the next time.
    OdDbObjectId getPersIdDependency(OdDbFullSubentPath const& path) const;
    /// Has the host make a link for constraints. \return It; null if none was made.
    OdDbObjectId append(OdDbFullSubentPath const& path);
    /// Has the host make links for constraints and takes them over.
    /// \param newIds  Gets the new links behind what it holds; none without a host.
    /// \throws OdError (wrong database) if the host gives links of another drawing; all others are
    ///         taken over then.
    void append(ZemSubentPathArray const& paths, OdDbObjectIdArray& newIds);
    /// Lists a link. Its manager is told that the entity has changed.
    /// \return False, with nothing changed, if it is listed already, if `managerId` is no manager
    ///         of links, if that doesn't own the link, or if the link is in another drawing.
    bool addPersIdDependency(OdDbObjectId managerId, OdDbObjectId depId);
    /// Takes a link off the list. With the last dependency gone the constraint manager is told that
    /// the entity concerns nobody.
    /// \return False, with nothing changed, if it isn't listed, or for a `managerId` as above.
    bool removePersIdDependency(OdDbObjectId managerId, OdDbObjectId depId);
    /// Takes all links off the list.
    void removePersIdDependencies();
    /// Forgets what was seen of the listed links, now and when undo comes by: to be called when
    /// paths of links were changed.
    void invalidatePersIdDepsCache();
    /// Erases the links for constraints that are not erased yet; they stay in the list.
    void eraseWithSubObjects();
    /// Erases the links for constraints that are not in a set, and takes them off the list. The
    /// object needs to be open for write only if there are such.
    void clearUnusedDeps(IdSet const& usedIds);
    /// Whether anything follows the entity: a link, or a feature by a reactor on one of the
    /// entity's reactors.
    bool isWatched() const;
    /// @}

    /// \name Telling of changes
    /// @{
    /// Tells the constraint manager that the entity has changed, if anybody watches it, or that its
    /// changes concern nobody any more, with which the cached transform goes.
    void notifyAboutModifications(bool modified);
    /// Sets whether changes of the entity's graphics are told to the constraint manager; not
    /// stored.
    void constrainerNotify(bool notify);
    bool constrManagerNeedsNotification() const;
    /// Tells that the entity is to be drawn again, which undo and redo do as well.
    void triggerObjectRedraw();
    /// @}

    /// \name Cached transform
    /// How far the solver has moved the entity without changing its geometry. Part of undo, but not
    /// of drawings.
    /// @{
    /// Adds a movement after those so far; suppressed ones are dropped first.
    void addTransform(OdGeMatrix3d const& transform);
    /// Drops the movement and allows it again. The object is raised to write if there was one.
    void clearTransform();
    OdGeMatrix3d getTransform() const;
    /// Keeps the movement from being applied until `clearTransform`.
    void suppressTransformation();
    /// Whether there is a movement that isn't suppressed.
    bool canTransformBeApplied() const;
    /// The movement for the solver.
    ///
    /// \param out  Set if there is a movement to apply, a mirroring one as well.
    /// \return False if there is none, and for a mirroring one.
    bool getTransformForSolver(OdGeMatrix3d& out) const;
    /// @}

    /// \name Numbers of sub-entities
    /// @{
    bool hasAttributes() const;
    ZemIndexMap const& attributes() const;
    /// Exchanges the numbers with those of the argument.
    void setAttributes(ZemIndexMap& attributes);
    /// @}

    /// The bag, for reading.
    ZemProperties const& getReadProperties() const;
    /// The bag, for changes.
    ZemProperties& getWriteProperties();
    /// What look-ups have seen so far; for tests and measurements.
    ZemPersIdCache const& persIdCache() const noexcept;
    /// Counts the occasions on which names of companions in databases have changed otherwise than
    /// by their managers; what is derived from names is made again after one.
    static std::uint64_t nameChanges() noexcept;

    /// \name What the platform calls
    /// @{
    /// Takes the object off its manager and its entity.
    /// \throws OdError_NotThatKindOfClass if the owner is no constraint manager.
    OdResult subErase(bool erasing) override;
    /// \return What the base and the bag give; (bad stream) for a newer form.
    /// \throws OdError (bad stream) for malformed content.
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    void applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls) override;
    /// Erases this object with its entity.
    void erased(OdDbObject const* object, bool erasing) override;
    void openedForModify(OdDbObject const* object) override;
    /// Tells the constraint manager of the entity's change.
    void modifiedGraphics(OdDbObject const* object) override;
    /// @}

private:
    std::unique_ptr<ZemDbObjectImpl> m_impl;
};

namespace zemu {

/// Tells the companion of an entity, if it has one, that the entity has changed or concerns nobody
/// any more. The null id does nothing.
void signalEntityState(OdDbObjectId entityId, bool modified);
/// The listed link with exactly that path, found through the companion of the path's first id; null
/// if there is none, or if something on the way can't be read at the moment.
OdDbObjectId findDepByFSP(OdDbFullSubentPath const& path);
/// Appends the links that are listed for an entity.
void findAllPersIdDeps(OdDbObjectId entityId, OdDbObjectIdArray& out);
/// The links that are listed for an entity.
OdDbObjectIdArray getAllPersIdDeps(OdDbObjectId entityId);

}  // namespace zemu
