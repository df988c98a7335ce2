#include "extensions/link_remap.h"

#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "extensions/external_links.h"
#include "extensions/named_selection.h"

#include "zem_database_utils.h"
#include "zem_db_constraint_manager.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager.h"
#include "zem_dependencies_replacement_map.h"
#include "zem_index_map.h"
#include "zem_link_utils.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace zemhost {

namespace {

using LinkPtr = OdSmartPtr<ZemDbObjectDependency>;
using ManagerPtr = OdSmartPtr<ZemDbPersIdManager>;

/// What an edit makes of one link.
struct Answer
{
    HostPartAnswer answer = HostPartAnswer::kExact;
    OdDbFullSubentPath path;               ///< before the edit
    std::vector<OdDbSubentId> candidates;  ///< of an ambiguous one
};

/// One pass over all links to a solid.
class LinkRemap
{
public:
    LinkRemap(OdDbObjectId solid, HostPartMap const& map, OdString const& cause)
        : m_solid(solid), m_map(map), m_cause(cause)
    {
    }

    HostRemapReport run();

private:
    struct Change
    {
        OdDbObjectId link;
        OdDbFullSubentPath path;
        HostPartFate const* fate = nullptr;
    };

    void remapManager(OdDbObjectId managerId);
    void collectConstraints();
    void remapConstraintLinks(OdDbObjectId modelObjectId);
    std::vector<Change> collectChanges(ZemDbPersIdManager const& manager);
    void meet(OdDbObjectId id, std::vector<Change>& changes);
    void removeGone(ZemDbPersIdManager& manager, std::vector<Change> const& changes);
    bool split(ZemDbPersIdManager& manager, Change const& change);
    OdDbFullSubentPath pathTo(Change const& change, std::int64_t part) const;
    void countMade();
    bool follow(OdDbSubentId& part) const;
    void followCandidates(std::vector<OdDbSubentId>& candidates) const;
    void followMemory(SelectionEntry& entry) const;
    bool leadsToSolid(OdDbObjectId id) const;
    bool wasMerged(OdDbObjectId successor) const;
    void updateSelections();
    std::vector<SelectionEntry> follow(std::vector<SelectionEntry> const& entries) const;
    void follow(SelectionEntry const& entry, std::vector<SelectionEntry>& entries) const;
    void eraseReplaced();

    OdDbObjectId m_solid;
    HostPartMap const& m_map;
    OdString m_cause;
    HostRemapReport m_report;
    ZemDependenciesReplacementMap m_replaced;
    std::unordered_map<OdDbObjectId, Answer> m_answers;  ///< of all but exact links
    std::set<OdDbObjectId> m_selections;
    OdDbObjectIdArray m_gone;
    std::unordered_set<OdDbObjectId> m_changed;  ///< links that don't stay
    OdDbObjectIdArray m_constrained;             ///< model objects, whose constraints have links
    LostNumbers m_lost;
    ExternalSolids m_externals;
    std::vector<std::pair<OdDbObjectId, OdDbFullSubentPath>> m_toPark;  ///< of the manager at hand
};

OdDbSubentId withIndex(OdDbSubentId part, std::int64_t index)
{
    return {part.type(), index};
}

/// Whether a fate names as many parts as its answer says.
bool isWhole(HostPartFate const& fate)
{
    switch (fate.answer) {
    case HostPartAnswer::kExact:
    case HostPartAnswer::kMerged:
        return !fate.parts.empty();
    case HostPartAnswer::kSplit:
        return fate.parts.size() > 1;
    default:
        return true;
    }
}

OdDbFullSubentPath LinkRemap::pathTo(Change const& change, std::int64_t part) const
{
    return {change.path.objectIds(), withIndex(change.path.subentId(), part)};
}

/// Looks at a link: whether it leads to the solid, and what becomes of it.
void LinkRemap::meet(OdDbObjectId id, std::vector<Change>& changes)
{
    const LinkPtr link = ZemDbObjectDependency::cast(id.openObject().get());
    Change change;
    if (link.isNull() || link->getLinkObject(change.path, /*openErased=*/true) != kOdOk) {
        return;
    }
    const OdDbSubentId part = change.path.subentId();
    m_lost.keep(part);
    if (zemu::getLeafId(change.path) != m_solid) {
        if (!LostNumbers::isLost(part) &&
            m_externals.stateOf(*link, change.path) == BodyState::kChanged) {
            m_toPark.emplace_back(id, change.path);
        }
        return;
    }
    if (!zemu::isSubentId(part)) {
        ++m_report.stayed;  // names the solid as a whole
        return;
    }
    change.fate = m_map.find(part);
    if (LostNumbers::isLost(part)) {
        ++m_report.ambiguous;  // was lost before
        return;
    }
    if (change.fate == nullptr) {
        static const HostPartFate s_neverThere{HostPartAnswer::kGone, {}};
        change.fate = &s_neverThere;  // or a new part of that number would be taken for it
    } else if (!isWhole(*change.fate)) {
        static const HostPartFate s_untold{HostPartAnswer::kAmbiguous, {}};
        change.fate = &s_untold;
    }
    if (change.fate->answer == HostPartAnswer::kExact &&
        change.fate->parts.front() == part.index()) {
        ++m_report.stayed;
        return;
    }
    change.link = id;
    m_changed.insert(id);
    changes.push_back(std::move(change));
}

std::vector<LinkRemap::Change> LinkRemap::collectChanges(ZemDbPersIdManager const& manager)
{
    std::vector<Change> changes;
    for (OdDbObjectId id : manager.objectDependencyIds()) {
        meet(id, changes);
    }
    return changes;
}

void LinkRemap::removeGone(ZemDbPersIdManager& manager, std::vector<Change> const& changes)
{
    std::set<OdDbFullSubentPath, zemu::less_FullSubentPath> paths;
    for (Change const& change : changes) {
        if (change.fate->answer == HostPartAnswer::kGone) {
            m_answers[change.link] = {HostPartAnswer::kGone, change.path, {}};
            m_gone.append(change.link);
            ++m_report.gone;
            paths.insert(change.path);
        }
    }
    for (OdDbFullSubentPath const& path : paths) {
        (void)manager.removeLink(path, 0);
    }
}

/// \return Whether the link was replaced; one that nobody watches can't be.
bool LinkRemap::split(ZemDbPersIdManager& manager, Change const& change)
{
    ZemSubentPathArray pieces;
    for (std::uint32_t part : change.fate->parts) {
        pieces.append(pathTo(change, part));
    }
    const OdDbObjectIdArray made = manager.split(change.link, pieces, m_replaced);
    if (made.size() < 2) {
        return false;
    }
    m_answers[change.link] = {HostPartAnswer::kSplit, change.path, {}};
    ++m_report.split;
    return true;
}

/// Constraints have links of their own, which model objects keep and no manager lists. Their lost
/// numbers are kept before any is handed out.
void LinkRemap::collectConstraints()
{
    const OdDbBlockTablePtr table =
        OdDbBlockTable::cast(m_solid.database()->getBlockTableId().safeOpenObject().get());
    for (auto at = table->newIterator(); !at->done(); at->step()) {
        const OdSmartPtr<ZemDbConstraintManager> manager = ZemDbConstraintManager::cast(
            ZemDbConstraintManager::getInstance(at->getRecordId(), /*create=*/false)
                .openObject()
                .get());
        if (!manager.isNull()) {
            m_constrained.append(manager->zemDbObjects());
        }
    }
    for (OdDbObjectId id : m_constrained) {
        const OdSmartPtr<ZemDbObject> object = ZemDbObject::cast(id.openObject().get());
        if (object.isNull()) {
            continue;
        }
        for (OdDbObjectId linkId : object->constraintDependencies()) {
            const LinkPtr link = ZemDbObjectDependency::cast(linkId.openObject().get());
            if (!link.isNull()) {
                m_lost.keep(link->getLinkObject(/*openErased=*/true).subentId());
            }
        }
    }
}

/// A constraint means one part: where that is in pieces, gone or ambiguous, its link names none.
void LinkRemap::remapConstraintLinks(OdDbObjectId modelObjectId)
{
    const OdSmartPtr<ZemDbObject> object = ZemDbObject::cast(modelObjectId.openObject().get());
    if (object.isNull()) {
        return;
    }
    std::vector<Change> changes;
    for (OdDbObjectId id : object->constraintDependencies()) {
        meet(id, changes);
    }
    for (Change const& change : changes) {
        const LinkPtr link =
            ZemDbObjectDependency::cast(change.link.safeOpenObject(OdDb::kForWrite).get());
        const HostPartAnswer answer = change.fate->answer;
        const bool isOne = answer == HostPartAnswer::kExact || answer == HostPartAnswer::kMerged;
        link->setLinkObject(pathTo(change, isOne ? change.fate->parts.front() : m_lost.take()));
        ++(answer == HostPartAnswer::kExact    ? m_report.moved
           : answer == HostPartAnswer::kMerged ? m_report.merged
           : answer == HostPartAnswer::kGone   ? m_report.gone
                                               : m_report.ambiguous);
    }
    if (!changes.empty()) {
        object->notifyAboutModifications(true);
    }
}

void LinkRemap::remapManager(OdDbObjectId managerId)
{
    const ManagerPtr reader = ZemDbPersIdManager::cast(managerId.openObject().get());
    if (reader.isNull()) {
        return;
    }
    for (OdDbObjectId id : HostNamedSelection::selectionsOf(reader->blockId())) {
        m_selections.insert(id);  // they remember parts by number, also of links that stay
    }
    m_lost.keepThoseOf(reader->blockId());
    m_toPark.clear();
    const std::vector<Change> changes = collectChanges(*reader);
    if (changes.empty()) {
        return;
    }
    const ManagerPtr manager =
        ZemDbPersIdManager::cast(managerId.safeOpenObject(OdDb::kForWrite).get());
    removeGone(*manager, changes);  // by path, so before others take the path over
    bool hasSplit = false;
    OdDbObjectIdArray links;
    ZemSubentPathArray paths;
    for (Change const& change : changes) {
        HostPartFate const& fate = *change.fate;
        if (fate.answer == HostPartAnswer::kGone) {
            continue;
        }
        if (fate.answer == HostPartAnswer::kSplit && split(*manager, change)) {
            hasSplit = true;
            continue;
        }
        links.append(change.link);
        if (fate.answer == HostPartAnswer::kExact || fate.answer == HostPartAnswer::kMerged) {
            paths.append(pathTo(change, fate.parts.front()));
            if (fate.answer == HostPartAnswer::kExact) {
                ++m_report.moved;
            } else {
                m_answers[change.link] = {HostPartAnswer::kMerged, change.path, {}};
                ++m_report.merged;
            }
            continue;
        }
        Answer answer{HostPartAnswer::kAmbiguous, change.path, {}};
        for (std::uint32_t part : fate.parts) {
            answer.candidates.push_back(withIndex(change.path.subentId(), part));
        }
        m_answers[change.link] = std::move(answer);
        ++m_report.ambiguous;
        paths.append(pathTo(change, m_lost.take()));
    }
    for (auto& [id, path] : m_toPark) {  // or they are merged with links that are as noted
        links.append(id);
        path.setSubentId(withIndex(path.subentId(), m_lost.take()));
        paths.append(path);
    }
    (void)manager->updatePairs(links, paths);
    if (hasSplit) {
        manager->finishRemap2(
            m_replaced);  // nobody watches the pieces yet, which may be merged too
    }
    manager->finishRemap(m_replaced);
    (void)manager->updateAfterRemapping(m_replaced, false, false, false, false);
}

HostRemapReport LinkRemap::run()
{
    collectConstraints();
    for (OdDbObjectId id : zemu::getAllPersIdManagers(m_solid.database())) {
        remapManager(id);
    }
    for (OdDbObjectId id : m_constrained) {
        remapConstraintLinks(id);
    }
    countMade();
    updateSelections();
    eraseReplaced();
    return m_report;
}

void LinkRemap::countMade()
{
    std::set<OdDbObjectId> made;
    for (OdDbObjectId id : m_replaced.getAll()) {
        for (OdDbObjectId successor : m_replaced.getReplacement(id)) {
            made.insert(successor);
        }
    }
    m_report.made = made.size();
}

/// Leads a remembered part to what it is now.
/// \return False if it isn't one part any more.
bool LinkRemap::follow(OdDbSubentId& part) const
{
    if (!zemu::isSubentId(part) || LostNumbers::isLost(part)) {
        return true;
    }
    HostPartFate const* const fate = m_map.find(part);
    if (fate == nullptr || fate->parts.size() != 1 || fate->answer == HostPartAnswer::kAmbiguous) {
        return false;
    }
    part = withIndex(part, fate->parts.front());
    return true;
}

void LinkRemap::followCandidates(std::vector<OdDbSubentId>& candidates) const
{
    std::set<OdDbSubentId, zemu::less_SubentId> now;
    for (OdDbSubentId candidate : candidates) {
        HostPartFate const* const fate = m_map.find(candidate);
        if (fate != nullptr) {
            for (std::uint32_t part : fate->parts) {
                now.insert(withIndex(candidate, part));
            }
        }
    }
    candidates.assign(now.begin(), now.end());
}

/// Leads what an entry remembers by number to the new numbers; forgets a repair that can't be taken
/// back any more.
void LinkRemap::followMemory(SelectionEntry& entry) const
{
    if (m_changed.count(entry.now.link) == 0 && leadsToSolid(entry.now.link)) {
        followCandidates(entry.now.candidates);
    }
    if (!entry.before || entry.before->path.objectIds().isEmpty() ||
        zemu::getLeafId(entry.before->path) != m_solid || entry.before->link.isNull()) {
        return;
    }
    OdDbSubentId part = entry.before->path.subentId();
    if (!follow(part)) {
        entry.before.reset();
        return;
    }
    entry.before->path.setSubentId(part);
    followCandidates(entry.before->candidates);
}

bool LinkRemap::leadsToSolid(OdDbObjectId id) const
{
    const LinkPtr link = ZemDbObjectDependency::cast(id.openObject().get());
    return !link.isNull() && zemu::getLeafId(link->getLinkObject(/*openErased=*/true)) == m_solid;
}

/// Whether an edit brought links together, which may also have named one part before.
bool LinkRemap::wasMerged(OdDbObjectId successor) const
{
    const OdDbObjectIdArray members = m_replaced.getReplacedWith(successor);
    return std::any_of(members.begin(), members.end(),
                       [this](OdDbObjectId id) { return m_changed.count(id) != 0; });
}

/// Appends what an entry has become.
void LinkRemap::follow(SelectionEntry const& entry, std::vector<SelectionEntry>& entries) const
{
    const auto found = m_answers.find(entry.now.link);
    SelectionEntry next = entry;
    followMemory(next);
    if (found != m_answers.end()) {
        next.before.reset();
        next.now.answer = found->second.answer;
        next.now.cause = m_cause;
        next.now.candidates = found->second.candidates;
        if (found->second.answer == HostPartAnswer::kGone) {
            next.now.link = OdDbObjectId::kNull;
            next.now.path = found->second.path;
        }
    }
    auto const* const successors = m_replaced.findReplacement(entry.now.link);
    if (successors == nullptr) {
        entries.push_back(std::move(next));
        return;
    }
    next.before.reset();  // its link is no more
    const std::set<OdDbObjectId> inOrder(successors->begin(), successors->end());
    for (OdDbObjectId successor : inOrder) {
        next.now.link = successor;
        if (next.now.answer == HostPartAnswer::kExact && wasMerged(successor)) {
            next.now.answer = HostPartAnswer::kMerged;  // others came to where it was
            next.now.cause = m_cause;
        }
        entries.push_back(next);
    }
}

std::vector<SelectionEntry> LinkRemap::follow(std::vector<SelectionEntry> const& entries) const
{
    std::vector<SelectionEntry> followed;
    for (SelectionEntry const& entry : entries) {
        follow(entry, followed);
    }
    return followed;
}

void LinkRemap::updateSelections()
{
    for (OdDbObjectId id : m_selections) {
        const HostNamedSelectionPtr selection =
            HostNamedSelection::cast(id.safeOpenObject(OdDb::kForWrite).get());
        std::vector<SelectionEntry> followed = follow(selection->entries());
        if (followed != selection->entries()) {
            selection->setEntries(std::move(followed));
        }
    }
}

/// What was replaced or removed goes, unless somebody else still watches it.
void LinkRemap::eraseReplaced()
{
    OdDbObjectIdArray links = m_replaced.getAll();
    links.append(m_gone);
    for (OdDbObjectId id : links) {
        const LinkPtr link = ZemDbObjectDependency::cast(id.openObject(OdDb::kForWrite).get());
        if (!link.isNull() && !link->isWatched()) {
            (void)link->erase(true);  // nobody is left who could refuse
        }
    }
}

}  // namespace

void LostNumbers::keep(OdDbSubentId part)
{
    if (isLost(part)) {
        m_kept.insert(part.index());
    }
}

void LostNumbers::keepThoseOf(OdDbObjectId block)
{
    for (OdDbObjectId id : HostNamedSelection::selectionsOf(block)) {
        const HostNamedSelectionPtr selection = HostNamedSelection::cast(id.safeOpenObject().get());
        for (SelectionEntry const& entry : selection->entries()) {
            if (entry.before) {
                keep(entry.before->path.subentId());
            }
        }
    }
}

std::int64_t LostNumbers::take()
{
    while (m_kept.count(m_next) != 0) {
        ++m_next;
    }
    return m_next++;
}

HostRemapReport remapLinks(OdDbObjectId solid, HostPartMap const& map, OdString const& cause)
{
    return LinkRemap(solid, map, cause).run();
}

}  // namespace zemhost
