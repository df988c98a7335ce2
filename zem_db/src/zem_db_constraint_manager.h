// The constraints of a block, its model objects, and whether its solution is current.

#pragma once

#include "db/od_db_object.h"

#include "zem_constraint.h"
#include "zem_database_utils.h"
#include "zem_id_list.h"
#include "zem_properties.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <unordered_set>
#include <vector>

class OdDbIdMapping;
class ZemDbObject;
class ZemDbReverseIdMapping;
class ZemDependenciesReplacementMap;

/// How current the solution of a block's constraints is. The numbers go into undo records.
enum ConstraintManagerStatus : std::int32_t
{
    kCmUpToDate = 0,   ///< solved; no entity is listed as modified
    kCmSetByHost = 1,  ///< set by a host, which says what it means; modified entities are kept
    kCmObjectsModified = 2,  ///< the modified entities are listed
    kCmNew = 3,              ///< a new or loaded manager: nothing is known
    kCmAllModified = 4       ///< changes came while nothing was known; everything is to be solved
};

/// Keeps the constraints of one block, the model objects of its entities, and the state that says
/// whether the block's solution is current.
///
/// It stands in the extension dictionary of its block. One more, the root, stands in the named
/// objects dictionary of the drawing and lists those of the blocks, so that one object can be asked
/// whether anything needs solving. Notices go from an entity's model object to the manager of its
/// block; nothing goes to the root by itself.
///
/// Readers throw OdError (not open for read), writers OdError (not open for write); what writers
/// change is part of undo.
class ZemDbConstraintManager : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbConstraintManager);

public:
    using Constraints = std::map<std::uint32_t, OdSmartPtr<ZemConstraint>>;
    using IdSet = std::set<OdDbObjectId, zemu::less_safeObjectId>;
    using ChangedIds = std::unordered_set<OdDbObjectId, zemu::hash_ObjectId>;

    /// What a host's solver keeps from one run to the next. Given up whenever the manager is told
    /// of a change; not stored.
    struct TcCache
    {
        std::vector<OdRxObjectPtr> objects;
        std::map<OdDbObjectId, OdRxObjectPtr, zemu::less_safeObjectId> byEntity;
    };

    ZemDbConstraintManager();
    ~ZemDbConstraintManager() override;

    /// \name Instances
    /// @{
    /// The root of a drawing, which is made if it is wanted.
    /// \return Null if there is none, for a null database, and if something else has its key.
    static OdDbObjectId getRootCM(OdDbDatabase* database, bool create);
    /// The manager of a block, which is made and listed in the root if it is wanted.
    /// \return Null if there is none, for an id that can't be opened, and if something else has the
    ///         manager's key.
    static OdDbObjectId getInstance(OdDbObjectId blockId, bool create);
    /// As `getInstance`.
    /// \param registerInRoot  Whether a manager that may be made is listed in the root.
    static OdDbObjectId getInstanceImpl(OdDbObjectId blockId, bool create, bool registerInRoot);
    /// The block that the manager belongs to; null for the root and for a manager elsewhere.
    OdDbObjectId blockId() const;
    /// Lists the manager of a block; one that is listed already changes nothing.
    void addChildConstraintManager(OdDbObjectId id);
    /// The managers of blocks, in the order in which they were listed. Those that were erased since
    /// are among them.
    OdDbObjectIdArray getAllConstraintManagers() const;
    /// Tells the root of a drawing, if there is one, that all is to be solved.
    static void notifyRootCM(OdDbDatabase* database);
    /// @}

    /// \name State of the solution
    /// @{
    ConstraintManagerStatus getStatus() const;
    /// Sets the status; the modified entities are kept by `kCmSetByHost` and `kCmObjectsModified`
    /// alone. The status that it has changes nothing and needs no write.
    void setStatus(ConstraintManagerStatus status);
    bool isUpToDate() const;
    /// The entities whose solution is out of date, in order of handles.
    OdDbObjectIdArray getModifiedObjects() const;
    /// Told that an entity has changed, or that its changes concern nobody any more. The manager is
    /// open for read at least, and raised to write to list or drop the entity; a status that changes
    /// otherwise needs it open for write.
    void notifyAboutModifications(OdDbObjectId entityId, bool modified);
    /// Told of a change of a constraint: before it, when it has changed what is to be solved, and
    /// when it is complete. Null does nothing.
    void notifyConstraintModify(ZemConstraint const* constraint, ZemConstraint::NotifyCode code);
    TcCache& tcCache() noexcept { return m_tcCache; }
    void invalidateTCCache() noexcept;
    /// @}

    /// \name Design intent
    /// @{
    /// A text of the host: "null" of a new manager, empty if none is stored.
    OdString getDesignIntentOptions() const;
    /// Sets it; an empty text removes it from what is stored.
    void setDesignIntentOptions(OdString const& text);
    /// @}

    /// \name Model objects
    /// @{
    /// The model object of an entity, which is made if there is none; see
    /// `ZemDbObject::getInstance`.
    OdDbObjectId getZemDbObject(OdDbObjectId entityId);
    /// The model objects, in the order in which they were listed.
    OdDbObjectIdArray zemDbObjects() const;
    /// Lists a model object; one that is listed already, or null, changes nothing.
    void registerZemDbObject(ZemDbObject* object);
    /// Takes a model object off the list.
    void unregisterZemDbObject(ZemDbObject* object);
    /// A name that no model object of the block has: the base without its number, and the first
    /// free number above that of the model objects. Reads the names of all model objects once, and
    /// takes constant time afterwards.
    OdString generateZemDbObjectName(OdString const& base) const;
    /// Names each model object that has no name, or the name of one in front of it.
    void generateZemDbObjectNames();
    /// @}

    /// \name Constraints
    /// @{
    /// Adds a constraint, with the number above the greatest in use, from 1. One that is here already
    /// only gets that number.
    /// \throws OdError (null object pointer).
    void addConstraint(OdSmartPtr<ZemConstraint> const& constraint);
    /// Takes a constraint out, whatever number it has been given. Its variable stays, without the
    /// manager's reactor. One that isn't here changes nothing.
    void removeConstraint(OdSmartPtr<ZemConstraint> const& constraint);
    void removeAllConstraints();
    /// The constraint of a number; null if there is none.
    OdSmartPtr<ZemConstraint> getConstraintByNodeId(std::uint32_t nodeId) const;
    Constraints const& constraints() const;
    std::size_t constraintsCount() const;
    /// The constraint that follows a variable; null if there is none, or for the null id.
    OdSmartPtr<ZemConstraint> getDimConstraint(OdDbObjectId variable) const;
    /// Links the paths that no argument of a constraint leads to, and adds them as arguments.
    ///
    /// \param addedPaths  Gets those paths.
    /// \throws ZemException "Failed to create dependency"; the constraint is as before then.
    ///         OdError (null object pointer).
    void addArguments(OdSmartPtr<ZemConstraint> const& constraint,
                      ZemExtendedPathArray const& paths, ZemExtendedPathArray& addedPaths);
    /// Takes the arguments that lead along the paths out of a constraint. Their links stay.
    /// \throws OdError (null object pointer).
    void removeArguments(OdSmartPtr<ZemConstraint> const& constraint,
                         ZemExtendedPathArray const& paths);
    /// Follows a remapping of links: each argument whose link was replaced gets the living
    /// successor with the lowest sub-entity. Constraints with no such argument are not touched.
    ///
    /// \param object  Only links that start at its entity; null for all.
    void replaceConstraintDependencies(ZemDbObject const* object,
                                       ZemDependenciesReplacementMap const& map);
    void setConstraintName(OdSmartPtr<ZemConstraint> const& constraint, OdString const& name);
    /// Gives a constraint's variable, which is made as needed, an expression, and the constraint
    /// the value of it.
    /// \return (variable missing) for null and for a constraint that gets no variable; else what
    ///         `OdDbAssocVariable::setExpression` gives.
    OdResult setConstraintExpression(OdSmartPtr<ZemConstraint> const& constraint,
                                     OdString const& expression);
    /// Gives a constraint that has a value by its kind another one.
    void setConstraintValue(OdSmartPtr<ZemConstraint> const& constraint, double value);
    /// @}

    /// \name Variables
    /// @{
    /// The variables that constraints follow, in order of the constraints' numbers.
    OdDbObjectIdArray variables() const;
    /// The reactor that sits on variables of constraints and hands their changes on.
    /// \param create  Whether to make it if there is none.
    /// \throws OdError (not in a database) if it is to be made by a manager that is in none.
    OdDbObjectId variableReactor(bool create);
    /// Makes a constraint follow a variable, see `ZemConstraint::createVariable`, and the manager's
    /// reactor watch that.
    void createVariable(OdSmartPtr<ZemConstraint> const& constraint);
    /// Gives the constraint that follows a variable its value, if it differs by more than 1e-10.
    void variableModified(OdDbObjectId variable, double value);
    /// The constraint that followed a variable follows none.
    void variableErased(OdDbObjectId variable);
    /// Takes the manager's reactor off a variable, and the variable out of its network, which
    /// erases it.
    void removeVariable(OdDbObjectId variable);
    /// @}

    /// \name Upkeep
    /// @{
    /// Takes over what another manager has for entities of this one's block: model objects whose
    /// entity lies there, and the constraints all of whose links belong to such. The other manager
    /// is erased. Null is reported as a failed assertion, and nothing is done.
    ///
    /// \param source          Open for write.
    /// \param idMapping       Reactors of model objects that it knows as sources are taken off.
    /// \param reverseMapping  Tells the entities that are clones.
    /// \param changedIds      Gets the model objects of such entities.
    void mergeManagers(ZemDbConstraintManager* source, OdDbIdMapping& idMapping,
                       ZemDbReverseIdMapping const& reverseMapping, ChangedIds& changedIds);
    /// Erases model objects of no entity, with their links for constraints, and takes them off the
    /// list; each is reported as a failed assertion.
    void audit();
    /// @}

    /// The bag, for reading.
    ZemProperties const& getReadProperties() const;
    /// The bag, for changes.
    ZemProperties& getWriteProperties();

    /// \return What the base and the bag give; (bad stream) for a newer form.
    /// \throws OdError (bad stream) for malformed content, (class not registered) or
    ///         OdError_NotThatKindOfClass for a constraint of an unknown class.
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    class Names;

    Names& names() const;
    void dropModified(OdDbObjectId entityId);
    void detachReactor(OdDbObjectId variable);
    Constraints::iterator placeOf(OdSmartPtr<ZemConstraint> const& constraint);
    void letGo(ZemConstraint& constraint);
    OdResult readConstraints(OdDbDwgFiler& filer);
    void fileState(OdDbDwgFiler& filer) const;
    void readState(OdDbDwgFiler& filer);
    void takeModelObject(OdDbObjectId id, ZemDbConstraintManager& source, OdDbIdMapping& idMapping,
                         ZemDbReverseIdMapping const& reverseMapping, ChangedIds& changedIds);
    bool ownsLinksOf(ZemConstraint const& constraint) const;
    void takeVariable(OdSmartPtr<ZemConstraint> const& constraint, OdDbObjectId formerReactor);

    IdSet m_modifiedObjects;
    ZemIdList m_zemDbObjects;
    OdDbObjectIdArray m_ownedIds;  ///< filed, and filled by nobody here
    Constraints m_constraints;
    ZemIdList m_childManagers;
    ConstraintManagerStatus m_status = kCmNew;
    ZemProperties m_properties;
    TcCache m_tcCache;
    mutable std::unique_ptr<Names> m_names;  ///< of the model objects; made on demand
};

namespace zemu {

/// Raises the status of a constraint manager, if it is lower, and gives up what a solver has kept.
/// An id that is none does nothing.
void markConstraintManagerChanged(OdDbObjectId managerId, ConstraintManagerStatus status);

/// Makes the links of a constraint's arguments by the model objects of their entities, which are
/// made as needed.
///
/// \param managerId  The constraint manager that is to own new model objects.
/// \return An argument for each path, in order.
/// \throws ZemException "Failed to create dependency".
std::vector<ExtendedDep> createConstrDependencies(OdDbObjectId managerId,
                                                  ZemExtendedPathArray const& paths);

}  // namespace zemu
