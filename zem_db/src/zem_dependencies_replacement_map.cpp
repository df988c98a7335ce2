#include "zem_dependencies_replacement_map.h"

#include "zem_db_object.h"
#include "zem_db_object_dependency.h"

#include <algorithm>
#include <cmath>

namespace {

/// Determinants that differ from 1 by less belong to motions that change no size.
constexpr double kRigidTolerance = 1e-12;

using IdSet = ZemDependenciesReplacementMap::IdSet;

/// The ids in ascending order: that of a hash table differs from run to run.
OdDbObjectIdArray sorted(OdDbObjectIdArray ids)
{
    std::sort(ids.begin(), ids.end());
    return ids;
}

OdDbObjectIdArray toArray(IdSet const& ids)
{
    OdDbObjectIdArray array;
    array.reserve(static_cast<unsigned>(ids.size()));
    array.append(ids.begin(), ids.end());
    return sorted(std::move(array));
}

template <class Map>
OdDbObjectId findValue(Map const& map, OdDbObjectId key)
{
    const auto found = map.find(key);
    return found == map.end() ? OdDbObjectId::kNull : found->second;
}

}  // namespace

ZemDependenciesReplacementMap::TransformedData::TransformedData(OdGeMatrix3d const& by,
                                                                bool suppress)
    : matrix(by), isRigid(std::abs(by.det() - 1.0) < kRigidTolerance), suppressTransform(suppress)
{
}

bool ZemDependenciesReplacementMap::isEmpty() const noexcept
{
    return m_clones.empty() && m_replacements.empty() && m_transformedObjects.empty() &&
           m_modifiedEnts.empty();
}

void ZemDependenciesReplacementMap::clear()
{
    m_clones.clear();
    m_replacements.clear();
    m_replacedWith.clear();
    m_transformedObjects.clear();
}

//--------------------------------------------------------------------------------------------------
// Replaced links

void ZemDependenciesReplacementMap::addSuccessor(OdDbObjectId replaced, IdSet& successors,
                                                 OdDbObjectId successor)
{
    successors.insert(successor);
    m_replacedWith[successor].insert(replaced);
}

/// Forgets, for a successor, that it replaces a link.
void ZemDependenciesReplacementMap::dropSuccessor(OdDbObjectId replaced, OdDbObjectId successor)
{
    const auto found = m_replacedWith.find(successor);
    if (found != m_replacedWith.end() && found->second.erase(replaced) != 0 &&
        found->second.empty()) {
        m_replacedWith.erase(found);
    }
}

void ZemDependenciesReplacementMap::redrawInsertOf(OdDbObjectId link)
{
    const auto opened = ZemDbObjectDependency::cast(link.openObject(OdDb::kForRead).get());
    if (!opened.isNull()) {
        m_entsToRedraw.insert(opened->getInsertId());
    }
}

bool ZemDependenciesReplacementMap::append(OdDbObjectId const& replaced, IdSet const& successors)
{
    const auto [entry, isNew] = m_replacements.try_emplace(replaced);
    if (!isNew) {
        return false;
    }
    entry->second.reserve(successors.size());
    for (OdDbObjectId id : successors) {
        addSuccessor(replaced, entry->second, id);
    }
    redrawInsertOf(replaced);
    for (OdDbObjectId id : entry->second) {
        redrawInsertOf(id);
    }
    return true;
}

bool ZemDependenciesReplacementMap::update(OdDbObjectId const& replaced, OdDbObjectId const& member,
                                           IdSet const& successors)
{
    // Both may be ids in the set that is changed here.
    const OdDbObjectId from = replaced;
    const OdDbObjectId taken = member;
    const auto entry = m_replacements.find(from);
    if (entry == m_replacements.end() || entry->second.erase(taken) == 0) {
        return false;
    }
    dropSuccessor(from, taken);
    for (OdDbObjectId id : successors) {
        addSuccessor(from, entry->second, id);
    }
    return true;
}

void ZemDependenciesReplacementMap::remove(OdDbObjectId const& replaced)
{
    const auto entry = m_replacements.find(replaced);
    if (entry == m_replacements.end()) {
        return;
    }
    for (OdDbObjectId id : entry->second) {
        dropSuccessor(replaced, id);
    }
    m_replacements.erase(entry);
}

bool ZemDependenciesReplacementMap::contains(OdDbObjectId const& replaced, IdSet& out) const
{
    IdSet const* const found = findReplacement(replaced);
    if (found == nullptr) {
        out.clear();
        return false;
    }
    out = *found;
    return true;
}

IdSet const* ZemDependenciesReplacementMap::findReplacement(OdDbObjectId const& replaced) const
{
    const auto found = m_replacements.find(replaced);
    return found == m_replacements.end() ? nullptr : &found->second;
}

IdSet ZemDependenciesReplacementMap::getReplacement(OdDbObjectId const& replaced) const
{
    IdSet const* const found = findReplacement(replaced);
    return found == nullptr ? IdSet() : *found;
}

bool ZemDependenciesReplacementMap::findReplacedWith(OdDbObjectId const& successor,
                                                     OdDbObjectIdArray* out) const
{
    const auto found = m_replacedWith.find(successor);
    if (found == m_replacedWith.end()) {
        return false;
    }
    if (out != nullptr) {
        out->append(toArray(found->second));
    }
    return true;
}

OdDbObjectIdArray
ZemDependenciesReplacementMap::getReplacedWith(OdDbObjectId const& successor) const
{
    OdDbObjectIdArray ids;
    findReplacedWith(successor, &ids);
    return ids;
}

OdDbObjectIdArray ZemDependenciesReplacementMap::getAll() const
{
    OdDbObjectIdArray ids;
    ids.reserve(static_cast<unsigned>(m_replacements.size()));
    for (auto const& [id, successors] : m_replacements) {
        ids.append(id);
    }
    return sorted(std::move(ids));
}

OdDbObjectIdArray ZemDependenciesReplacementMap::modifiedEnts() const
{
    return toArray(m_modifiedEnts);
}

//--------------------------------------------------------------------------------------------------
// Moved objects, blocks and instances

bool ZemDependenciesReplacementMap::addTransformedObject(OdDbObjectId const& id,
                                                         OdGeMatrix3d const& matrix,
                                                         bool suppressTransform)
{
    const OdDbObjectId key = id;
    TransformedData data(matrix, suppressTransform);
    const auto [entry, isNew] = m_transformedObjects.try_emplace(key, data);
    if (isNew) {
        return suppressTransform;
    }
    if (entry->second.suppressTransform) {
        data.suppressTransform = true;
    } else if (suppressTransform) {
        const OdSmartPtr<ZemDbObject> object =
            ZemDbObject::openZemDbObject(key, OdDb::kForWrite, /*openErased=*/false);
        if (!object.isNull()) {
            object->suppressTransformation();
        }
    }
    m_transformedObjects.insert_or_assign(key, data);  // notices may have changed the map
    return data.suppressTransform;
}

ZemDependenciesReplacementMap::TransformedData const*
ZemDependenciesReplacementMap::findTransformedObject(OdDbObjectId const& id) const
{
    const auto found = m_transformedObjects.find(id);
    return found == m_transformedObjects.end() ? nullptr : &found->second;
}

void ZemDependenciesReplacementMap::appendBtrReloadingPair(OdDbObjectId const& newId,
                                                           OdDbObjectId const& oldId)
{
    m_btrReloadingPairs.insert_or_assign(newId, oldId);
}

OdDbObjectId ZemDependenciesReplacementMap::findBtrBeforeReloading(OdDbObjectId const& newId) const
{
    return findValue(m_btrReloadingPairs, newId);
}

void ZemDependenciesReplacementMap::instanceToBeErased(OdDbObjectId const& instanceId,
                                                       OdDbObjectId const& blockReferenceId)
{
    m_erasedInstances.insert_or_assign(instanceId, blockReferenceId);
}

OdDbObjectId
ZemDependenciesReplacementMap::findBRForErasedInstance(OdDbObjectId const& instanceId) const
{
    return findValue(m_erasedInstances, instanceId);
}
