#include "zem_dependencies_replacement_map.h"

#include "db/od_db_look_ahead.h"

#include "zem_db_object.h"
#include "zem_db_object_dependency.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace {

/// Determinants that differ from 1 by less belong to motions that change no size.
constexpr double kRigidTolerance = 1e-12;

using IdSet = ZemDependenciesReplacementMap::IdSet;

/// Whether the ids are in order if their handles are.
bool haveOrderOfHandles(OdDbObjectIdArray const& ids)
{
    return !OdDbObjectId::hasRedirections() &&
           std::all_of(ids.begin(), ids.end(),
                       [database = ids.first().originalDatabase()](OdDbObjectId id) {
                           return id.originalDatabase() == database;
                       });
}

/// The ids in ascending order: that of a hash table differs from run to run.
OdDbObjectIdArray sorted(OdDbObjectIdArray ids)
{
    std::for_each(ids.begin(), ids.end(), &odDbExpectId);
    if (ids.isEmpty() || !haveOrderOfHandles(ids)) {
        std::sort(ids.begin(), ids.end());
        return ids;
    }
    // What a comparison of many ids looks up is looked up once.
    std::vector<std::pair<std::uint64_t, OdDbObjectId>> keyed;
    keyed.reserve(ids.size());
    for (OdDbObjectId id : std::as_const(ids)) {
        keyed.emplace_back(id.getHandle().value(), id);
    }
    std::sort(keyed.begin(), keyed.end(),
              [](auto const& left, auto const& right) { return left.first < right.first; });
    std::transform(keyed.begin(), keyed.end(), ids.begin(),
                   [](auto const& key) { return key.second; });
    return ids;
}

OdDbObjectIdArray toArray(IdSet const& ids)
{
    OdDbObjectIdArray array;
    array.reserve(static_cast<unsigned>(ids.size()));
    array.append(ids.begin(), ids.end());
    return sorted(std::move(array));
}

template <class Value>
Value enteredAnew(Value const& value)
{
    return value;
}

IdSet enteredAnew(IdSet const& ids)
{
    return IdSet(ids.begin(), ids.end());
}

template <class Value>
void join(Value&, Value const&)
{
    // What was entered first stays.
}

void join(IdSet& ids, IdSet const& others)
{
    ids.insert(others.begin(), others.end());
}

template <class Map>
Map entriesAnew(Map const& map)
{
    Map fresh;
    fresh.reserve(map.size());
    for (auto const& [id, value] : map) {
        const auto [entry, isNew] = fresh.try_emplace(id, enteredAnew(value));
        if (!isNew) {
            join(entry->second, value);
        }
    }
    return fresh;
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

ZemDependenciesReplacementMap::Content ZemDependenciesReplacementMap::Content::enteredAnew() const
{
    Content fresh;
    fresh.modifiedEnts = ::enteredAnew(modifiedEnts);
    fresh.replacements = entriesAnew(replacements);
    fresh.replacedWith = entriesAnew(replacedWith);
    fresh.clones = ::enteredAnew(clones);
    fresh.transformedObjects = entriesAnew(transformedObjects);
    fresh.btrReloadingPairs = entriesAnew(btrReloadingPairs);
    fresh.erasedInstances = entriesAnew(erasedInstances);
    fresh.entsToRedraw = ::enteredAnew(entsToRedraw);
    return fresh;
}

/// All tables, in which ids are found by what they denote now.
ZemDependenciesReplacementMap::Content& ZemDependenciesReplacementMap::content() const
{
    if (const std::uint64_t revision = OdDbObjectId::redirectionRevision();
        m_revision != revision) {
        m_content = m_content.enteredAnew();
        m_revision = revision;
    }
    return m_content;
}

bool ZemDependenciesReplacementMap::isEmpty() const noexcept
{
    return m_content.clones.empty() && m_content.replacements.empty() &&
           m_content.transformedObjects.empty() && m_content.modifiedEnts.empty();
}

void ZemDependenciesReplacementMap::clear()
{
    m_content.clones.clear();
    m_content.replacements.clear();
    m_content.replacedWith.clear();
    m_content.transformedObjects.clear();
}

//--------------------------------------------------------------------------------------------------
// Replaced links

void ZemDependenciesReplacementMap::Content::addSuccessor(OdDbObjectId replaced, IdSet& successors,
                                                          OdDbObjectId successor)
{
    successors.insert(successor);
    replacedWith[successor].insert(replaced);
}

/// Forgets, for a successor, that it replaces a link.
void ZemDependenciesReplacementMap::Content::dropSuccessor(OdDbObjectId replaced,
                                                           OdDbObjectId successor)
{
    const auto found = replacedWith.find(successor);
    if (found != replacedWith.end() && found->second.erase(replaced) != 0 &&
        found->second.empty()) {
        replacedWith.erase(found);
    }
}

void ZemDependenciesReplacementMap::redrawInsertOf(OdDbObjectId link)
{
    const auto opened = ZemDbObjectDependency::cast(link.openObject(OdDb::kForRead).get());
    if (!opened.isNull()) {
        m_content.entsToRedraw.insert(opened->getInsertId());
    }
}

bool ZemDependenciesReplacementMap::append(OdDbObjectId const& replaced, IdSet const& successors)
{
    Content& tables = content();
    const auto [entry, isNew] = tables.replacements.try_emplace(replaced);
    if (!isNew) {
        return false;
    }
    entry->second.reserve(successors.size());
    for (OdDbObjectId id : successors) {
        tables.addSuccessor(replaced, entry->second, id);
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
    Content& tables = content();
    const auto entry = tables.replacements.find(from);
    if (entry == tables.replacements.end() || entry->second.erase(taken) == 0) {
        return false;
    }
    tables.dropSuccessor(from, taken);
    for (OdDbObjectId id : successors) {
        tables.addSuccessor(from, entry->second, id);
    }
    return true;
}

void ZemDependenciesReplacementMap::remove(OdDbObjectId const& replaced)
{
    Content& tables = content();
    const auto entry = tables.replacements.find(replaced);
    if (entry == tables.replacements.end()) {
        return;
    }
    for (OdDbObjectId id : entry->second) {
        tables.dropSuccessor(entry->first, id);
    }
    tables.replacements.erase(entry);
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
    Content const& tables = content();
    const auto found = tables.replacements.find(replaced);
    return found == tables.replacements.end() ? nullptr : &found->second;
}

IdSet ZemDependenciesReplacementMap::getReplacement(OdDbObjectId const& replaced) const
{
    IdSet const* const found = findReplacement(replaced);
    return found == nullptr ? IdSet() : *found;
}

bool ZemDependenciesReplacementMap::findReplacedWith(OdDbObjectId const& successor,
                                                     OdDbObjectIdArray* out) const
{
    Content const& tables = content();
    const auto found = tables.replacedWith.find(successor);
    if (found == tables.replacedWith.end()) {
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
    Content const& tables = content();
    OdDbObjectIdArray ids;
    ids.reserve(static_cast<unsigned>(tables.replacements.size()));
    for (auto const& [id, successors] : tables.replacements) {
        ids.append(id);
    }
    return sorted(std::move(ids));
}

OdDbObjectIdArray ZemDependenciesReplacementMap::modifiedEnts() const
{
    return toArray(content().modifiedEnts);
}

//--------------------------------------------------------------------------------------------------
// Moved objects, blocks and instances

bool ZemDependenciesReplacementMap::addTransformedObject(OdDbObjectId const& id,
                                                         OdGeMatrix3d const& matrix,
                                                         bool suppressTransform)
{
    const OdDbObjectId key = id;
    TransformedData data(matrix, suppressTransform);
    const auto [entry, isNew] = content().transformedObjects.try_emplace(key, data);
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
    content().transformedObjects.insert_or_assign(key, data);  // notices may have changed the map
    return data.suppressTransform;
}

ZemDependenciesReplacementMap::TransformedData const*
ZemDependenciesReplacementMap::findTransformedObject(OdDbObjectId const& id) const
{
    Content const& tables = content();
    const auto found = tables.transformedObjects.find(id);
    return found == tables.transformedObjects.end() ? nullptr : &found->second;
}

void ZemDependenciesReplacementMap::appendBtrReloadingPair(OdDbObjectId const& newId,
                                                           OdDbObjectId const& oldId)
{
    content().btrReloadingPairs.insert_or_assign(newId, oldId);
}

OdDbObjectId ZemDependenciesReplacementMap::findBtrBeforeReloading(OdDbObjectId const& newId) const
{
    return findValue(content().btrReloadingPairs, newId);
}

void ZemDependenciesReplacementMap::instanceToBeErased(OdDbObjectId const& instanceId,
                                                       OdDbObjectId const& blockReferenceId)
{
    content().erasedInstances.insert_or_assign(instanceId, blockReferenceId);
}

OdDbObjectId
ZemDependenciesReplacementMap::findBRForErasedInstance(OdDbObjectId const& instanceId) const
{
    return findValue(content().erasedInstances, instanceId);
}
