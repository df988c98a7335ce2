#include "zem_db_constraint_manager.h"

#include "assoc/od_db_assoc_network.h"
#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_entity.h"
#include "db/od_db_filer.h"
#include "db/od_db_id_mapping.h"
#include "root/od_error.h"
#include "zem_utils/zemc_assert.h"

#include "zem_clone_utils.h"
#include "zem_constraint_maintenance.h"
#include "zem_db_class_info.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_db_variable_reactor.h"
#include "zem_db_variable_utils.h"
#include "zem_dependencies_replacement_map.h"
#include "zem_exception.h"
#include "zem_link_utils.h"
#include "zem_protocol_extensions.h"
#include "zem_stream_utils.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <unordered_map>
#include <utility>

ZEM_DEFINE_DB_CLASS(ZemDbConstraintManager, OdDbObject, L"ZemDbConstraintManager",
                    L"ZEMDBCONSTRAINTMANAGER", kZemAppConstraints);

namespace {

/// Names in the bag, which stand in drawings.
const OdString s_designIntentKey(L"DesignIntentSettings");
const OdString s_variableReactorKey(L"ZemVariableReactorId");

/// Design intent of a new manager.
const OdString s_noDesignIntent(L"null");

constexpr std::int16_t kFormatVersion = 2;

/// Values that differ by no more are the same.
constexpr double kValueTolerance = 1e-10;

/// Least bytes that a filer takes for a constraint: one for each of its fields and its class's
/// name.
constexpr std::uint32_t kMinConstraintBytes = 8;

bool carriesTransientState(OdDbDwgFiler const& filer)
{
    return filer.filerType() == OdDb::FilerType::kPageFiler ||
           filer.filerType() == OdDb::FilerType::kUndoFiler;
}

OdSmartPtr<ZemDbObject> openModelObject(OdDbObjectId id, OdDb::OpenMode mode)
{
    return ZemDbObject::cast(id.openObject(mode).get());
}

OdSmartPtr<ZemDbConstraintManager> openManager(OdDbObjectId id, OdDb::OpenMode mode)
{
    return ZemDbConstraintManager::cast(id.openObject(mode).get());
}

/// The id if it is a manager's; null for what else stands under a manager's key.
OdDbObjectId managerOnly(OdDbObjectId id)
{
    OdRxClass const* const cls = id.objectClass();
    return cls != nullptr && cls->isDerivedFrom(ZemDbConstraintManager::desc())
               ? id
               : OdDbObjectId::kNull;
}

/// A class's new constraint.
OdSmartPtr<ZemConstraint> createConstraint(OdString const& className)
{
    const OdRxObjectPtr object = odrxCreateObject(className);
    if (object.isNull()) {
        throw OdError(kOdClassNotRegistered);
    }
    return OdSmartPtr<ZemConstraint>(object);
}

/// The number above one that is in use.
std::uint32_t nodeIdAbove(std::uint32_t largest)
{
    if (largest == std::numeric_limits<std::uint32_t>::max()) {
        throw OdError(kOdInvalidInput);
    }
    return largest + 1;
}

}  // namespace

//--------------------------------------------------------------------------------------------------
// Names of model objects

/// The names of a manager's model objects, kept in step with the list and made anew after any other
/// change of names.
class ZemDbConstraintManager::Names
{
public:
    explicit Names(OdDbObjectIdArray const& objects)
    {
        for (OdDbObjectId id : objects) {
            const auto object = openModelObject(id, OdDb::kForRead);
            if (!object.isNull()) {
                add(object->name());
            }
        }
        m_nameChanges = ZemDbObject::nameChanges();
    }

    bool isCurrent() const noexcept { return m_nameChanges == ZemDbObject::nameChanges(); }
    /// Whether each model object has a name that no other has.
    bool areUnique() const noexcept { return m_unnamed == 0 && m_repeats == 0; }

    void add(OdString const& name)
    {
        if (name.isEmpty()) {
            ++m_unnamed;
        } else if (++m_counts[name] > 1) {
            ++m_repeats;
        }
    }
    /// \return False if no object is known by the name: names were changed through a bag that was
    ///         held, or of an object that was erased.
    bool remove(OdString const& name)
    {
        if (name.isEmpty()) {
            if (m_unnamed == 0) {
                return false;
            }
            --m_unnamed;
            return true;
        }
        const auto at = m_counts.find(name);
        if (at == m_counts.end()) {
            return false;
        }
        if (--at->second != 0) {
            --m_repeats;
            return true;
        }
        m_counts.erase(at);
        m_takenEnd = m_takenStart;
        return true;
    }
    /// What `zemu::generateUniqueName` gives for a set of the names, which stays as it is.
    OdString firstFree(OdString const& base, int start)
    {
        const bool isKnown = base == m_takenBase && start >= m_takenStart && start <= m_takenEnd;
        if (!isKnown) {
            m_takenBase = base;
            m_takenStart = start;
            m_takenEnd = start;
        }
        for (;; ++m_takenEnd) {
            OdString name = OdString().format(L"%ls_%d", base.c_str(), m_takenEnd);
            if (m_counts.count(name) == 0) {
                return name;
            }
        }
    }

private:
    struct TextHash
    {
        std::size_t operator()(OdString const& text) const noexcept
        {
            return std::hash<std::wstring_view>()(
                {text.c_str(), static_cast<std::size_t>(text.getLength())});
        }
    };

    std::unordered_map<OdString, std::uint32_t, TextHash> m_counts;
    std::size_t m_repeats = 0;  ///< objects with the name of one before
    std::size_t m_unnamed = 0;
    std::uint64_t m_nameChanges = 0;
    // Numbers from start up to, not including, end are taken for this base: the next search goes on
    // behind them. Without that, a long row of names in the way is walked for each new one.
    OdString m_takenBase;
    int m_takenStart = 0;
    int m_takenEnd = 0;
};

ZemDbConstraintManager::Names& ZemDbConstraintManager::names() const
{
    if (m_names == nullptr || !m_names->isCurrent()) {
        m_names = std::make_unique<Names>(m_zemDbObjects.ids());
    }
    return *m_names;
}

//--------------------------------------------------------------------------------------------------
// Construction, bag

ZemDbConstraintManager::ZemDbConstraintManager() : m_properties(/*config=*/0)
{
    m_properties.setProperty(s_designIntentKey, s_noDesignIntent);
}

ZemDbConstraintManager::~ZemDbConstraintManager() = default;

ZemProperties const& ZemDbConstraintManager::getReadProperties() const
{
    assertReadEnabled();
    return m_properties;
}

ZemProperties& ZemDbConstraintManager::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return m_properties;
}

//--------------------------------------------------------------------------------------------------
// Instances

OdDbObjectId ZemDbConstraintManager::getRootCM(OdDbDatabase* database, bool create)
{
    return managerOnly(
        zemu::getRootObjectByName(database, kZemDatabaseKey, create ? desc() : nullptr));
}

OdDbObjectId ZemDbConstraintManager::getInstance(OdDbObjectId blockId, bool create)
{
    return getInstanceImpl(blockId, create, /*registerInRoot=*/true);
}

OdDbObjectId ZemDbConstraintManager::getInstanceImpl(OdDbObjectId blockId, bool create,
                                                     bool registerInRoot)
{
    const OdDbObjectId id =
        managerOnly(zemu::getObjInExtDict(blockId, kZemDatabaseKey, create ? desc() : nullptr));
    if (!id.isNull() && create && registerInRoot) {
        const auto root = openManager(getRootCM(id.database(), /*create=*/true), OdDb::kForWrite);
        if (!root.isNull()) {
            root->addChildConstraintManager(id);
        }
    }
    return id;
}

OdDbObjectId ZemDbConstraintManager::blockId() const
{
    assertReadEnabled();
    const auto inner = OdDbDictionary::cast(ownerId().openObject(OdDb::kForRead).get());
    if (inner.isNull()) {
        return OdDbObjectId::kNull;
    }
    const auto outer = OdDbDictionary::cast(inner->ownerId().openObject(OdDb::kForRead).get());
    if (outer.isNull()) {
        return OdDbObjectId::kNull;
    }
    const auto block =
        OdDbBlockTableRecord::cast(outer->ownerId().openObject(OdDb::kForRead).get());
    return block.isNull() ? OdDbObjectId::kNull : block->objectId();
}

void ZemDbConstraintManager::addChildConstraintManager(OdDbObjectId id)
{
    if (m_childManagers.contains(id)) {
        return;
    }
    assertWriteEnabled(true, true);
    if (!m_childManagers.contains(id)) {  // who heard of the change may have listed it
        m_childManagers.append(id);
    }
}

OdDbObjectIdArray ZemDbConstraintManager::getAllConstraintManagers() const
{
    assertReadEnabled();
    return m_childManagers.ids();
}

void ZemDbConstraintManager::notifyRootCM(OdDbDatabase* database)
{
    const auto root = openManager(getRootCM(database, /*create=*/false), OdDb::kForWrite);
    if (!root.isNull()) {
        root->setStatus(kCmAllModified);
    }
}

//--------------------------------------------------------------------------------------------------
// State of the solution

ConstraintManagerStatus ZemDbConstraintManager::getStatus() const
{
    assertReadEnabled();
    return m_status;
}

void ZemDbConstraintManager::setStatus(ConstraintManagerStatus status)
{
    if (status == m_status) {
        return;
    }
    assertWriteEnabled(true, true);
    m_status = status;
    if (status != kCmSetByHost && status != kCmObjectsModified) {
        m_modifiedObjects.clear();
    }
}

bool ZemDbConstraintManager::isUpToDate() const
{
    return getStatus() == kCmUpToDate;
}

OdDbObjectIdArray ZemDbConstraintManager::getModifiedObjects() const
{
    assertReadEnabled();
    return OdDbObjectIdArray(m_modifiedObjects.begin(), m_modifiedObjects.end());
}

void ZemDbConstraintManager::notifyAboutModifications(OdDbObjectId entityId, bool modified)
{
    invalidateTCCache();
    // Before the status is looked at: who hears of the change may set another one.
    if (modified && m_status <= kCmObjectsModified && m_modifiedObjects.count(entityId) == 0) {
        upgradeOpen();
        assertWriteEnabled(true, true);
    }
    if (m_status > kCmObjectsModified) {
        setStatus(kCmAllModified);
        return;
    }
    if (!modified) {
        dropModified(entityId);
        return;
    }
    m_modifiedObjects.insert(entityId);
    if (m_status <= kCmSetByHost) {
        setStatus(kCmObjectsModified);
    }
}

void ZemDbConstraintManager::dropModified(OdDbObjectId entityId)
{
    if (m_modifiedObjects.count(entityId) == 0) {
        return;
    }
    upgradeOpen();
    assertWriteEnabled(true, true);
    m_modifiedObjects.erase(entityId);
    if (m_status == kCmSetByHost) {
        setStatus(kCmObjectsModified);
    }
    if (m_status == kCmObjectsModified && m_modifiedObjects.empty()) {
        setStatus(kCmUpToDate);
    }
}

void ZemDbConstraintManager::notifyConstraintModify(ZemConstraint const* constraint,
                                                    ZemConstraint::NotifyCode code)
{
    if (constraint == nullptr) {
        return;
    }
    if (code == ZemConstraint::kBeforeChange) {
        assertWriteEnabled(true, true);
        return;
    }
    if (code != ZemConstraint::kSolutionChanged) {
        return;
    }
    if (m_status <= kCmObjectsModified) {
        assertWriteEnabled(true, true);  // who hears of it may set another status
    }
    if (m_status > kCmObjectsModified) {
        setStatus(kCmAllModified);
        return;
    }
    setStatus(kCmObjectsModified);
    for (OdDbFullSubentPath const& path : constraint->getArguments()) {
        const OdDbObjectId entityId = zemu::getInsertId(path);
        if (!entityId.isNull()) {
            m_modifiedObjects.insert(entityId);
        }
    }
}

void ZemDbConstraintManager::invalidateTCCache() noexcept
{
    m_tcCache.objects.clear();
    m_tcCache.byEntity.clear();
}

//--------------------------------------------------------------------------------------------------
// Design intent

OdString ZemDbConstraintManager::getDesignIntentOptions() const
{
    assertReadEnabled();
    OdString text;
    (void)m_properties.getProperty(s_designIntentKey, text);
    return text;
}

void ZemDbConstraintManager::setDesignIntentOptions(OdString const& text)
{
    assertReadEnabled();
    if (getDesignIntentOptions() == text) {
        return;
    }
    assertWriteEnabled(true, true);
    m_properties.removeProperty(s_designIntentKey);
    if (!text.isEmpty()) {
        m_properties.setProperty(s_designIntentKey, text);
    }
}

//--------------------------------------------------------------------------------------------------
// Model objects

OdDbObjectId ZemDbConstraintManager::getZemDbObject(OdDbObjectId entityId)
{
    return ZemDbObject::getInstance(entityId, objectId());
}

OdDbObjectIdArray ZemDbConstraintManager::zemDbObjects() const
{
    assertReadEnabled();
    return m_zemDbObjects.ids();
}

void ZemDbConstraintManager::registerZemDbObject(ZemDbObject* object)
{
    if (object == nullptr || m_zemDbObjects.contains(object->objectId())) {
        return;
    }
    assertWriteEnabled(true, true);
    if (m_zemDbObjects.contains(object->objectId())) {
        return;  // who heard of the change has listed it
    }
    m_zemDbObjects.append(object->objectId());
    if (m_names != nullptr && m_names->isCurrent()) {
        m_names->add(object->name());
    } else {
        m_names.reset();  // has names from before a change
    }
}

void ZemDbConstraintManager::unregisterZemDbObject(ZemDbObject* object)
{
    if (object == nullptr || !m_zemDbObjects.contains(object->objectId())) {
        return;
    }
    assertWriteEnabled(true, true);
    if (!m_zemDbObjects.removeFirst(object->objectId())) {
        return;  // who heard of the change has taken it off
    }
    if (m_names != nullptr && !(m_names->isCurrent() && m_names->remove(object->name()))) {
        m_names.reset();  // has names from before a change
    }
}

OdString ZemDbConstraintManager::generateZemDbObjectName(OdString const& base) const
{
    assertReadEnabled();
    return names().firstFree(zemu::removeNumericSuffix(base),
                             static_cast<int>(m_zemDbObjects.size()) + 1);
}

void ZemDbConstraintManager::generateZemDbObjectNames()
{
    assertReadEnabled();
    if (names().areUnique()) {
        return;
    }
    std::set<OdString> taken;
    std::set<OdString> seen;
    std::vector<OdSmartPtr<ZemDbObject>> toName;
    for (OdDbObjectId id : m_zemDbObjects.ids()) {
        const auto object = openModelObject(id, OdDb::kForRead);
        if (object.isNull()) {
            continue;
        }
        if (object->name().isEmpty() || !seen.insert(object->name()).second) {
            toName.push_back(object);
        }
    }
    taken = seen;
    const int start = static_cast<int>(m_zemDbObjects.size()) + 1;
    for (OdSmartPtr<ZemDbObject> const& object : toName) {
        OdString base = object->name();
        if (base.isEmpty()) {
            const auto host = ZemDbObjectPE::cast(object.get());
            if (!host.isNull()) {
                base = host->attachedEntityName(object->attachedEntityId(), this);
            }
        }
        object->upgradeOpen();
        object->setName(zemu::generateUniqueName(zemu::removeNumericSuffix(base), taken, start));
    }
}

//--------------------------------------------------------------------------------------------------
// Constraints

/// Where a constraint stands, whatever number it says it has: a caller may have given it another one.
ZemDbConstraintManager::Constraints::iterator
ZemDbConstraintManager::placeOf(OdSmartPtr<ZemConstraint> const& constraint)
{
    const auto at = m_constraints.find(constraint->nodeId());
    if (at != m_constraints.end() && at->second == constraint) {
        return at;
    }
    return std::find_if(m_constraints.begin(), m_constraints.end(),
                        [&](auto const& entry) { return entry.second == constraint; });
}

/// Takes the manager out of what was one of its constraints, which may be another one's by now.
void ZemDbConstraintManager::letGo(ZemConstraint& constraint)
{
    // Constraints of one name follow one variable: the last one to go lets it go.
    const OdDbObjectId variable = constraint.userVariable();
    if (getDimConstraint(variable).isNull()) {
        detachReactor(variable);
    }
    if (constraint.owner() == objectId()) {
        constraint.setOwner(OdDbObjectId::kNull);
    }
}

void ZemDbConstraintManager::addConstraint(OdSmartPtr<ZemConstraint> const& constraint)
{
    if (constraint.isNull()) {
        throw OdError(kOdNullObjectPointer);
    }
    assertWriteEnabled(true, true);
    const std::uint32_t nodeId =
        m_constraints.empty() ? 1 : nodeIdAbove(m_constraints.rbegin()->first);
    const OdSmartPtr<ZemConstraint> added = constraint;  // may stand in the list that changes here
    // One that is here already gets a new number: it never stands under two.
    if (added->owner() == objectId()) {
        if (const auto at = placeOf(added); at != m_constraints.end()) {
            m_constraints.erase(at);
        }
    }
    added->setNodeId(nodeId);
    added->setOwner(objectId());
    m_constraints.emplace(nodeId, added);
}

void ZemDbConstraintManager::removeConstraint(OdSmartPtr<ZemConstraint> const& constraint)
{
    if (constraint.isNull() || placeOf(constraint) == m_constraints.end()) {
        return;
    }
    const OdSmartPtr<ZemConstraint> removed =
        constraint;  // may stand in the list that changes here
    assertWriteEnabled(true, true);
    const auto at = placeOf(removed);
    if (at == m_constraints.end()) {
        return;  // who heard of the change has taken it out
    }
    invalidateTCCache();
    m_constraints.erase(at);
    letGo(*removed);
}

void ZemDbConstraintManager::removeAllConstraints()
{
    assertWriteEnabled(true, true);
    invalidateTCCache();
    const Constraints removed = std::exchange(m_constraints, {});
    for (auto const& [nodeId, constraint] : removed) {
        letGo(*constraint);
    }
}

OdSmartPtr<ZemConstraint> ZemDbConstraintManager::getConstraintByNodeId(std::uint32_t nodeId) const
{
    assertReadEnabled();
    const auto at = m_constraints.find(nodeId);
    return at == m_constraints.end() ? OdSmartPtr<ZemConstraint>() : at->second;
}

ZemDbConstraintManager::Constraints const& ZemDbConstraintManager::constraints() const
{
    assertReadEnabled();
    return m_constraints;
}

std::size_t ZemDbConstraintManager::constraintsCount() const
{
    assertReadEnabled();
    return m_constraints.size();
}

OdSmartPtr<ZemConstraint> ZemDbConstraintManager::getDimConstraint(OdDbObjectId variable) const
{
    assertReadEnabled();
    if (!variable.isNull()) {
        for (auto const& [nodeId, constraint] : m_constraints) {
            if (constraint->userVariable() == variable) {
                return constraint;
            }
        }
    }
    return OdSmartPtr<ZemConstraint>();
}

namespace {

/// Whether an argument leads along a path, or is the same part of the block's coordinate system.
bool isArgument(ExtendedDep const& dependency, ZemExtendedPath const& wanted)
{
    if (dependency.isCsObject != wanted.isCsObject) {
        return false;
    }
    if (wanted.isCsObject && dependency.csType != wanted.csType) {
        return false;  // of any other path the type says nothing, and none is kept
    }
    OdDbFullSubentPath path;
    const auto link = ZemDbObjectDependency::cast(dependency.id.openObject(OdDb::kForRead).get());
    if (link.isNull() ? !dependency.id.isNull()
                      : link->getLinkObject(path, /*openErased=*/false) == kOdUnresolvedPath) {
        return false;
    }
    return path == wanted.path;
}

/// The successor of a link that can be opened and has the lowest sub-entity; null if there is none.
OdDbObjectId firstSuccessor(ZemDependenciesReplacementMap::IdSet const& successors)
{
    OdDbObjectId first;
    OdDbSubentId firstPart;
    for (OdDbObjectId id : successors) {
        const auto link = ZemDbObjectDependency::cast(id.openObject(OdDb::kForRead).get());
        if (link.isNull()) {
            continue;
        }
        int order = first.isNull() ? -1 : zemu::compareSubentId(link->subentId(), firstPart);
        if (order == 0) {
            order = zemu::compareObjectId(id, first);
        }
        if (order < 0) {
            first = id;
            firstPart = link->subentId();
        }
    }
    return first;
}

/// Whether a link starts at the entity of a model object; at any with null.
bool startsAt(OdDbObjectId linkId, ZemDbObject const* object)
{
    if (object == nullptr) {
        return true;
    }
    const auto link =
        ZemDbObjectDependency::cast(linkId.openObject(OdDb::kForRead, /*openErased=*/true).get());
    return !link.isNull() && link->getInsertId() == object->attachedEntityId();
}

}  // namespace

void ZemDbConstraintManager::addArguments(OdSmartPtr<ZemConstraint> const& constraint,
                                          ZemExtendedPathArray const& paths,
                                          ZemExtendedPathArray& addedPaths)
{
    // The notice before the change of the arguments records undo.
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    if (constraint.isNull()) {
        throw OdError(kOdNullObjectPointer);
    }
    invalidateTCCache();
    std::vector<ExtendedDep> dependencies = constraint->dependencies();
    ZemExtendedPathArray added;
    for (ZemExtendedPath const& path : paths) {
        const bool isThere = std::any_of(
            dependencies.begin(), dependencies.end(),
            [&](ExtendedDep const& dependency) { return isArgument(dependency, path); });
        if (!isThere) {
            dependencies.push_back(zemu::createConstrDependencies(objectId(), {path}).front());
            added.push_back(path);
        }
    }
    constraint->setDependencies(dependencies);
    addedPaths.insert(addedPaths.end(), added.begin(), added.end());
}

void ZemDbConstraintManager::removeArguments(OdSmartPtr<ZemConstraint> const& constraint,
                                             ZemExtendedPathArray const& paths)
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    if (constraint.isNull()) {
        throw OdError(kOdNullObjectPointer);
    }
    invalidateTCCache();
    std::vector<ExtendedDep> kept = constraint->dependencies();
    for (ZemExtendedPath const& path : paths) {
        std::erase_if(kept,
                      [&](ExtendedDep const& dependency) { return isArgument(dependency, path); });
    }
    constraint->setDependencies(kept);
}

void ZemDbConstraintManager::replaceConstraintDependencies(ZemDbObject const* object,
                                                           ZemDependenciesReplacementMap const& map)
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    const Constraints constraints = m_constraints;  // who hears of a change may add and remove some
    for (auto const& [nodeId, constraint] : constraints) {
        std::vector<ExtendedDep> dependencies = constraint->dependencies();
        bool isChanged = false;
        for (ExtendedDep& dependency : dependencies) {
            ZemDependenciesReplacementMap::IdSet successors;
            if (!map.contains(dependency.id, successors) || !startsAt(dependency.id, object)) {
                continue;
            }
            const OdDbObjectId successor = firstSuccessor(successors);
            if (!successor.isNull()) {
                dependency.id = successor;
                isChanged = true;
            }
        }
        if (isChanged) {
            constraint->setDependencies(dependencies);
        }
    }
}

void ZemDbConstraintManager::setConstraintName(OdSmartPtr<ZemConstraint> const& constraint,
                                               OdString const& name)
{
    assertWriteEnabled(true, true);
    if (!constraint.isNull()) {
        constraint->setName(name);
    }
}

OdResult
ZemDbConstraintManager::setConstraintExpression(OdSmartPtr<ZemConstraint> const& constraint,
                                                OdString const& expression)
{
    assertWriteEnabled(true, true);
    if (constraint.isNull()) {
        return kOdVariableMissing;
    }
    createVariable(constraint);
    const auto variable =
        OdDbAssocVariable::cast(constraint->userVariable().openObject(OdDb::kForWrite).get());
    if (variable.isNull()) {
        return kOdVariableMissing;
    }
    const OdResult result = variable->setExpression(expression);
    if (result == kOdOk) {
        constraint->setUserValue(zemu::getValueAsDouble(variable.get()));
    }
    return result;
}

void ZemDbConstraintManager::setConstraintValue(OdSmartPtr<ZemConstraint> const& constraint,
                                                double value)
{
    assertWriteEnabled(true, true);
    if (!constraint.isNull()) {
        constraint->setUserValue(value);
    }
}

//--------------------------------------------------------------------------------------------------
// Variables

OdDbObjectIdArray ZemDbConstraintManager::variables() const
{
    assertReadEnabled();
    OdDbObjectIdArray ids;
    for (auto const& [nodeId, constraint] : m_constraints) {
        const OdDbObjectId variable = constraint->userVariable();
        if (!variable.isNull()) {
            ids.append(variable);
        }
    }
    return ids;
}

OdDbObjectId ZemDbConstraintManager::variableReactor(bool create)
{
    assertReadEnabled();
    OdDbObjectId id;
    (void)m_properties.getProperty(s_variableReactorKey, id);
    if (!ZemDbVariableReactor::cast(id.openObject(OdDb::kForRead).get()).isNull()) {
        return id;
    }
    if (!create) {
        return OdDbObjectId::kNull;
    }
    if (ZemDbVariableReactor::desc() == nullptr) {
        throw OdError(kOdClassNotRegistered);
    }
    assertWriteEnabled(true, true);
    if (database() == nullptr) {
        throw OdError(kOdNotInDatabase);
    }
    const OdSmartPtr<ZemDbVariableReactor> reactor = ZemDbVariableReactor::desc()->create();
    id = database()->addOdDbObject(reactor.get(), objectId());
    m_properties.removeProperty(s_variableReactorKey);
    m_properties.setProperty(s_variableReactorKey, id, OdDb::ReferenceType::kHardOwnershipRef);
    return id;
}

void ZemDbConstraintManager::detachReactor(OdDbObjectId variable)
{
    const OdDbObjectPtr opened = variable.openObject(OdDb::kForWrite);
    if (!opened.isNull()) {
        opened->removePersistentReactor(variableReactor(/*create=*/false));
    }
}

void ZemDbConstraintManager::createVariable(OdSmartPtr<ZemConstraint> const& constraint)
{
    assertWriteEnabled(true, true);
    if (constraint.isNull()) {
        return;
    }
    constraint->createVariable();
    const OdDbObjectPtr variable = constraint->userVariable().openObject(OdDb::kForWrite);
    if (!variable.isNull()) {
        variable->addPersistentReactor(variableReactor(/*create=*/true));
    }
}

void ZemDbConstraintManager::variableModified(OdDbObjectId variable, double value)
{
    const OdSmartPtr<ZemConstraint> constraint = getDimConstraint(variable);
    if (!constraint.isNull() && std::abs(constraint->userValue() - value) > kValueTolerance) {
        constraint->setUserValue(value);
    }
}

void ZemDbConstraintManager::variableErased(OdDbObjectId variable)
{
    const OdSmartPtr<ZemConstraint> constraint = getDimConstraint(variable);
    if (!constraint.isNull()) {
        assertWriteEnabled(true, true);
        constraint->removeUserVariable();
    }
}

void ZemDbConstraintManager::removeVariable(OdDbObjectId variable)
{
    assertWriteEnabled(true, true);
    detachReactor(variable);
    const OdDbObjectId networkId =
        OdDbAssocNetwork::getInstanceFromObject(blockId(), /*create=*/false);
    const auto network = OdDbAssocNetwork::cast(networkId.openObject(OdDb::kForWrite).get());
    if (!network.isNull()) {
        (void)network->removeAction(variable, /*erase=*/true);  // one that isn't there is as good
    }
}

//--------------------------------------------------------------------------------------------------
// Upkeep

/// Whether all links of a constraint belong to model objects of this manager.
bool ZemDbConstraintManager::ownsLinksOf(ZemConstraint const& constraint) const
{
    for (ExtendedDep const& dependency : constraint.dependencies()) {
        if (dependency.id.isNull()) {
            continue;
        }
        const OdDbObjectPtr link = dependency.id.openObject(OdDb::kForRead);
        if (link.isNull() || !m_zemDbObjects.contains(link->ownerId())) {
            return false;
        }
    }
    return true;
}

void ZemDbConstraintManager::takeModelObject(OdDbObjectId id, ZemDbConstraintManager& source,
                                             OdDbIdMapping& idMapping,
                                             ZemDbReverseIdMapping const& reverseMapping,
                                             ChangedIds& changedIds)
{
    const auto object = openModelObject(id, OdDb::kForWrite);
    if (object.isNull()) {
        return;
    }
    const OdDbObjectId entityId = object->attachedEntityId();
    const auto entity = OdDbEntity::cast(entityId.openObject(OdDb::kForRead).get());
    if (entity.isNull() || entity->blockId() != blockId()) {
        return;
    }
    const auto attached = ZemDbObject::openZemDbObject(entity.get(), OdDb::kForRead, false);
    if (attached != object) {
        return;  // the entity has another model object already
    }
    object->setOwnerId(objectId());
    registerZemDbObject(object.get());
    source.unregisterZemDbObject(object.get());
    OdDbIdPair pair;
    if (reverseMapping.compute(entityId, pair)) {
        changedIds.insert(id);
        for (OdDbObjectId reactor : object->getPersistentReactors()) {
            OdDbIdPair known(reactor);
            if (idMapping.compute(known)) {
                object->removePersistentReactor(reactor);
            }
        }
    }
    object->notifyAboutModifications(true);
}

void ZemDbConstraintManager::takeVariable(OdSmartPtr<ZemConstraint> const& constraint,
                                          OdDbObjectId formerReactor)
{
    const OdDbObjectPtr variable = constraint->userVariable().openObject(OdDb::kForWrite);
    if (!variable.isNull() && variable->hasPersistentReactor(formerReactor)) {
        variable->removePersistentReactor(formerReactor);
        variable->addPersistentReactor(variableReactor(/*create=*/true));
    }
}

void ZemDbConstraintManager::mergeManagers(ZemDbConstraintManager* source, OdDbIdMapping& idMapping,
                                           ZemDbReverseIdMapping const& reverseMapping,
                                           ChangedIds& changedIds)
{
    if (source == nullptr) {
        zemcCallAssert("false", "mergeManagers : Constraint manager is NULL", __FILE__, __LINE__);
        return;
    }
    if (source == this) {
        return;
    }
    assertWriteEnabled(true, true);
    source->assertWriteEnabled(true, true);
    invalidateTCCache();
    // Each thing is listed by one of the two all the time, whatever throws on the way.
    for (OdDbObjectId id : source->zemDbObjects()) {
        takeModelObject(id, *source, idMapping, reverseMapping, changedIds);
    }
    const OdDbObjectId formerReactor = source->variableReactor(/*create=*/false);
    const Constraints constraints = source->m_constraints;
    for (auto const& [nodeId, constraint] : constraints) {
        if (ownsLinksOf(*constraint)) {
            addConstraint(constraint);
            source->m_constraints.erase(nodeId);
            takeVariable(constraint, formerReactor);
        }
    }
    source->m_constraints.clear();
    source->m_zemDbObjects.clear();
    source->m_names.reset();
    generateZemDbObjectNames();
    (void)source->erase(true);
}

void ZemDbConstraintManager::audit()
{
    assertWriteEnabled(true, true);
    for (OdDbObjectId id : zemDbObjects()) {
        const auto object = openModelObject(id, OdDb::kForWrite);
        if (object.isNull() || !object->attachedEntityId().isNull()) {
            continue;
        }
        zemcCallAssert("false", "pZemObj->attachedEntityId() = NULL", __FILE__, __LINE__);
        object->eraseWithSubObjects();
        unregisterZemDbObject(object.get());
        (void)object->erase(true);
    }
}

//--------------------------------------------------------------------------------------------------
// Filing

void ZemDbConstraintManager::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    filer->wrInt16(kFormatVersion);
    zemu::writeHardOwnershipIdArray(filer, m_zemDbObjects.ids());
    zemu::writeHardOwnershipIdArray(filer, m_ownedIds);
    zemu::writeSoftPointerIdArray(filer, m_childManagers.ids());
    filer->wrInt32(static_cast<std::int32_t>(m_constraints.size()));
    for (auto const& [nodeId, constraint] : m_constraints) {
        filer->wrString(constraint->isA()->name());
        constraint->dwgOutFields(filer);
    }
    m_properties.dwgOutFields(filer);
    if (carriesTransientState(*filer)) {
        fileState(*filer);
    }
    zemu::wrMark(filer, 0);
}

void ZemDbConstraintManager::fileState(OdDbDwgFiler& filer) const
{
    filer.wrInt32(m_status);
    filer.wrInt32(static_cast<std::int32_t>(m_modifiedObjects.size()));
    for (OdDbObjectId id : m_modifiedObjects) {
        filer.wrSoftPointerId(id);
    }
}

OdResult ZemDbConstraintManager::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult baseResult = OdDbObject::dwgInFields(filer);
    if (baseResult != kOdOk) {
        return baseResult;
    }
    if (filer->rdInt16() > kFormatVersion) {
        return kOdBadStream;
    }
    m_names.reset();
    invalidateTCCache();
    m_zemDbObjects.clear();
    m_ownedIds.clear();
    m_childManagers.clear();
    m_constraints.clear();
    m_properties.clear();
    zemu::readHardOwnershipIdArray(filer, m_zemDbObjects.bulk());
    zemu::readHardOwnershipIdArray(filer, m_ownedIds);
    zemu::readSoftPointerIdArray(filer, m_childManagers.bulk());
    OdResult result = readConstraints(*filer);
    if (result == kOdOk) {
        result = m_properties.dwgInFields(filer);
    }
    if (result != kOdOk) {
        return result;
    }
    if (carriesTransientState(*filer)) {
        readState(*filer);
    }
    zemu::rdMark(filer, 0);
    return kOdOk;
}

OdResult ZemDbConstraintManager::readConstraints(OdDbDwgFiler& filer)
{
    const std::uint32_t count = odDbReadCount(filer, kMinConstraintBytes);
    std::uint32_t largest = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const OdSmartPtr<ZemConstraint> constraint = createConstraint(filer.rdString());
        const OdResult result = constraint->dwgInFields(&filer);
        if (result != kOdOk) {
            return result;
        }
        constraint->setOwner(objectId());
        if (constraint->nodeId() <= largest) {
            constraint->setNodeId(nodeIdAbove(largest));
        }
        largest = constraint->nodeId();
        m_constraints.emplace_hint(m_constraints.end(), largest, constraint);
    }
    return kOdOk;
}

void ZemDbConstraintManager::readState(OdDbDwgFiler& filer)
{
    m_status = static_cast<ConstraintManagerStatus>(filer.rdInt32());
    m_modifiedObjects.clear();
    const std::uint32_t count = odDbReadCount(filer, 1);
    for (std::uint32_t i = 0; i < count; ++i) {
        m_modifiedObjects.insert(filer.rdSoftPointerId());
    }
}

//--------------------------------------------------------------------------------------------------
// Free functions

namespace zemu {
namespace {

/// The model object of an entity, open for write; null if it can't be made.
OdSmartPtr<ZemDbObject> openOrMakeModelObject(OdDbObjectId entityId, OdDbObjectId managerId)
{
    auto object = ZemDbObject::openZemDbObject(entityId, OdDb::kForWrite, /*openErased=*/false);
    if (!object.isNull()) {
        return object;
    }
    if (OdDbEntity::cast(entityId.openObject(OdDb::kForRead).get()).isNull()) {
        return OdSmartPtr<ZemDbObject>();
    }
    return openModelObject(ZemDbObject::getInstance(entityId, managerId), OdDb::kForWrite);
}

OdDbObjectId createLink(OdDbFullSubentPath const& path, OdDbObjectId managerId)
{
    const auto object = openOrMakeModelObject(getInsertId(path), managerId);
    const OdDbObjectId id = object.isNull() ? OdDbObjectId::kNull : object->append(path);
    if (id.isNull()) {
        throw ZemException(L"Failed to create dependency");
    }
    return id;
}

}  // namespace

void markConstraintManagerChanged(OdDbObjectId managerId, ConstraintManagerStatus status)
{
    const auto manager = openManager(managerId, OdDb::kForWrite);
    if (manager.isNull()) {
        return;
    }
    if (manager->getStatus() < status) {
        manager->setStatus(status);
    }
    manager->invalidateTCCache();
}

std::vector<ExtendedDep> createConstrDependencies(OdDbObjectId managerId,
                                                  ZemExtendedPathArray const& paths)
{
    std::vector<ExtendedDep> dependencies;
    dependencies.reserve(paths.size());
    for (ZemExtendedPath const& path : paths) {
        const bool hasLink = !path.isCsObject || !path.path.objectIds().isEmpty();
        const OdDbObjectId link = hasLink ? createLink(path.path, managerId) : OdDbObjectId::kNull;
        dependencies.push_back({link, path.isCsObject, path.csType});
    }
    return dependencies;
}

}  // namespace zemu
