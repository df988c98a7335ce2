#include "extensions/link_extension.h"

#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "extensions/external_links.h"
#include "extensions/link_remap.h"
#include "extensions/named_selection.h"
#include "root/od_error.h"

#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager.h"
#include "zem_link_utils.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace zemhost {

namespace {

using LinkPtr = OdSmartPtr<ZemDbObjectDependency>;
using ManagerPtr = OdSmartPtr<ZemDbPersIdManager>;

/// A member of a selection, by the selection and its place there.
struct Member
{
    HostNamedSelectionPtr selection;  ///< open for write; null if there is no such member
    std::size_t place = 0;

    SelectionEntry const& entry() const { return selection->entries()[place]; }
    void set(SelectionEntry entry) const
    {
        std::vector<SelectionEntry> entries = selection->entries();
        entries[place] = std::move(entry);
        selection->setEntries(std::move(entries));
    }
};

Member findMember(OdDbObjectId block, OdString const& name, std::size_t place)
{
    const OdDbObjectId id = HostNamedSelection::getInstance(block, name, /*create=*/false);
    Member member{HostNamedSelection::cast(id.openObject(OdDb::kForWrite).get()), place};
    if (!member.selection.isNull() && place >= member.selection->entries().size()) {
        member.selection.release();
    }
    return member;
}

ManagerPtr openManager(OdDbObjectId block, OdDb::OpenMode mode, bool create)
{
    const OdDbObjectId id = ZemDbPersIdManager::getInstance(block, create);
    return ZemDbPersIdManager::cast(id.openObject(mode).get());
}

/// The blocks of a drawing itself, which are those whose links the host keeps.
OdDbObjectIdArray blocksOf(OdDbDatabase const& database)
{
    OdDbObjectIdArray blocks;
    const OdDbBlockTablePtr table =
        OdDbBlockTable::cast(database.getBlockTableId().safeOpenObject().get());
    for (auto at = table->newIterator(); !at->done(); at->step()) {
        blocks.append(at->getRecordId());
    }
    return blocks;
}

/// Whether an object is in its drawing and can't be read, so that nobody knows what it says.
bool isUnreadable(OdDbObjectId id)
{
    return !id.isNull() && !id.isErased() &&
           !id.database()->getOdDbObjectId(id.getHandle()).isNull() && id.openObject().isNull();
}

/// What keeps all that a block knows of its links from being read; null if nothing does.
OdDbObjectId unreadablePartOf(OdDbObjectId block)
{
    if (isUnreadable(block)) {
        return block;
    }
    const OdDbObjectPtr record = block.openObject();
    const OdDbObjectId dictionary =
        record.isNull() ? OdDbObjectId::kNull : record->extensionDictionary();
    return isUnreadable(dictionary) ? dictionary : OdDbObjectId::kNull;
}

/// Whether an object on a link's way, or one that watches it, can't be read. The link may be all
/// that tells of it, and is as good as before once a sound copy of that object is back.
bool hangsOnUnreadable(OdDbObjectId linkId)
{
    const LinkPtr link = ZemDbObjectDependency::cast(linkId.openObject().get());
    if (link.isNull()) {
        return false;
    }
    OdDbObjectIdArray ids = link->getLinkObject(/*openErased=*/true).objectIds();
    ids.append(link->getPersistentReactors());
    return std::any_of(ids.begin(), ids.end(), isUnreadable);
}

/// A link that nothing watches any more goes.
void dropUnwatched(OdDbObjectId linkId)
{
    const LinkPtr link = ZemDbObjectDependency::cast(linkId.openObject(OdDb::kForWrite).get());
    if (link.isNull() || link->isWatched()) {
        return;
    }
    const ManagerPtr manager =
        ZemDbPersIdManager::cast(link->ownerId().openObject(OdDb::kForWrite).get());
    if (!manager.isNull()) {
        OdDbObjectIdArray ids;
        ids.append(linkId);
        manager->removeDependencies(ids);
    }
    (void)link->erase(true);
}

/// Whether the steps of a link's way go on in another drawing.
bool leadsOutside(ZemDbObjectDependency const& link)
{
    ZemCompoundObjectId const& chain = link.compoundId();
    return chain.getPathPrefix().size() < chain.size();
}

/// Notes what a link names, in a form that outlasts the process.
void notePath(SelectionState& state, ZemDbObjectDependency const& link)
{
    state.path = link.getLinkObject(/*openErased=*/true);
    state.way = leadsOutside(link) ? OutsideWay{link.compoundId()} : OutsideWay();
}

/// Makes a noted path whole: ids in other drawings aren't stored with it.
/// \return False if the other drawing can't be read, or the path was stored without its way.
bool restorePath(SelectionState& state)
{
    OdDbObjectIdArray ids = state.path.objectIds();
    if (!state.way.isEmpty() && state.way.steps.getFullPathEx(ids, /*openErased=*/true) != kOdOk) {
        return false;
    }
    state.path = OdDbFullSubentPath(ids, state.path.subentId());
    return !ids.contains(OdDbObjectId::kNull);
}

void forgetPath(SelectionState& state)
{
    state.path = OdDbFullSubentPath();
    state.way = OutsideWay();
}

/// Whether a link still leads where a state of it was noted. One into another drawing may have been
/// parked since, which tells of a change there and not of another decision.
bool isWhereItWas(ZemDbObjectDependency const& link, SelectionState const& state)
{
    const OdDbFullSubentPath path = link.getLinkObject(/*openErased=*/true);
    if (state.way.isEmpty()) {
        return path == state.path;
    }
    const OdDbSubentId now = path.subentId();
    const OdDbSubentId then = state.path.subentId();
    return OutsideWay{link.compoundId()} == state.way &&
           (now == then || (now.type() == then.type() && LostNumbers::isLost(now)));
}

/// Turns entries whose link was erased into entries of a part that has gone.
void forgetErased(OdDbObjectId selectionId)
{
    const HostNamedSelectionPtr selection =
        HostNamedSelection::cast(selectionId.safeOpenObject(OdDb::kForWrite).get());
    std::vector<SelectionEntry> entries = selection->entries();
    for (SelectionEntry& entry : entries) {
        SelectionState& now = entry.now;
        if (now.link.isNull() || !now.link.openObject().isNull()) {
            continue;
        }
        const LinkPtr link = ZemDbObjectDependency::cast(
            now.link.openObject(OdDb::kForRead, /*openErased=*/true).get());
        if (!link.isNull()) {
            notePath(now, *link);
        }
        now.link = OdDbObjectId::kNull;
        now.answer = HostPartAnswer::kGone;
        now.candidates.clear();
        entry.before.reset();
    }
    if (entries != selection->entries()) {
        selection->setEntries(std::move(entries));
    }
}

/// Whether anybody but one selection watches a link, and would be led elsewhere with it.
bool isShared(ZemDbObjectDependency const& link, OdDbObjectId selection)
{
    const OdDbObjectIdArray reactors = link.getPersistentReactors();
    return std::any_of(reactors.begin(), reactors.end(), [selection](OdDbObjectId id) {
        return id != selection && !id.openObject().isNull();
    });
}

/// Whether a manager lists a link as its own, and so leads it elsewhere.
bool isListed(ZemDbPersIdManager const& manager, OdDbObjectId linkId)
{
    const OdDbObjectPtr link = linkId.openObject();
    return !link.isNull() && link->ownerId() == manager.objectId() &&
           manager.objectDependencyIds().contains(linkId);
}

bool isMember(HostNamedSelection const& selection, OdDbObjectId link)
{
    std::vector<SelectionEntry> const& entries = selection.entries();
    return std::any_of(entries.begin(), entries.end(),
                       [link](SelectionEntry const& entry) { return entry.now.link == link; });
}

/// Whether the way of a path begins in a block, whose links such paths are.
bool beginsIn(OdDbFullSubentPath const& path, OdDbObjectId block)
{
    const OdDbObjectPtr first = zemu::getInsertId(path).openObject();
    return !first.isNull() && first->ownerId() == block;
}

/// Whether another entry of a selection than that of `link` names a part.
bool isNamedByAnother(ZemDbPersIdManager const& manager, HostNamedSelection const& selection,
                      OdDbFullSubentPath const& path, OdDbObjectId link)
{
    const OdDbObjectIdArray there = manager.computeDepId(path);
    return std::any_of(there.begin(), there.end(),
                       [&](OdDbObjectId id) { return id != link && isMember(selection, id); });
}

/// What a selection notes of a part that it begins to watch.
std::optional<PartShape> noteShape(ExternalSolids& solids, ZemDbObjectDependency const& link,
                                   OdDbFullSubentPath const& path)
{
    return solids.stateOf(link, path) == BodyState::kOwn ? std::nullopt : solids.shapeOf(path);
}

/// Why a link can't be trusted to name the part of its number; empty if it can.
struct Distrust
{
    HostPartAnswer answer = HostPartAnswer::kExact;
    wchar_t const* cause = L"";
};

/// Judges a link that leads nowhere.
Distrust distrustOfUnresolved(ZemDbObjectDependency const& link)
{
    OdDbFullSubentPath path;
    if (link.getLinkObject(path, /*openErased=*/true) == kOdOk || !leadsOutside(link)) {
        return {HostPartAnswer::kGone, L"erasing of an object on its way"};
    }
    return {HostPartAnswer::kAmbiguous, L"an external drawing that can't be read"};
}

Distrust distrustOf(ZemDbObjectDependency const& link, HostLink const& found, BodyState state)
{
    if (!found.isResolved) {
        return distrustOfUnresolved(link);
    }
    if (isUnreadable(zemu::getLeafId(found.path))) {
        return {HostPartAnswer::kAmbiguous, L"damage of its solid"};
    }
    if (state == BodyState::kChanged) {
        return {HostPartAnswer::kAmbiguous, L"change of the external drawing's solid"};
    }
    if (LostNumbers::isLost(found.path.subentId())) {
        return {HostPartAnswer::kAmbiguous,
                leadsOutside(link) ? L"change of the external drawing's solid" : L""};
    }
    return found.isThere ? Distrust() : Distrust{HostPartAnswer::kGone, L"replacing of its solid"};
}

/// The links of one block, with what its selections know of them.
class BlockLinks
{
public:
    BlockLinks(OdDbObjectId block, ExternalSolids& solids) : m_block(block), m_solids(solids) {}

    void appendTo(std::vector<HostLink>& links);

private:
    void readSelections(std::vector<HostLink>& gone);
    void read(OdDbObjectId id, bool isListed, std::vector<HostLink>& links);
    void judge(HostLink& entry, Distrust const& distrust, std::optional<PartShape> const& shape);

    /// A link as one entry of a selection has it.
    struct Watched
    {
        HostLink link;
        std::optional<PartShape> shape;
    };

    OdDbObjectId m_block;
    ExternalSolids& m_solids;
    std::unordered_map<OdDbObjectId, std::vector<Watched>> m_watched;  ///< one for each watcher
    std::vector<OdDbObjectId> m_inOrder;                               ///< those, as they were met
};

void BlockLinks::readSelections(std::vector<HostLink>& gone)
{
    for (OdDbObjectId id : HostNamedSelection::selectionsOf(m_block)) {
        const HostNamedSelectionPtr selection = HostNamedSelection::cast(id.safeOpenObject().get());
        HostLink link;
        link.block = m_block;
        link.selection = selection->name();
        for (SelectionEntry const& entry : selection->entries()) {
            SelectionState now = entry.now;
            (void)restorePath(now);  // where its drawing can't be read, some steps are unknown
            link.path = now.path;
            link.answer = now.answer;
            link.cause = now.cause;
            link.candidates = now.candidates;
            if (now.link.openObject().isNull() && !isUnreadable(now.link)) {
                gone.push_back(link);
                gone.back().answer = HostPartAnswer::kGone;
            } else {
                std::vector<Watched>& watchers = m_watched[now.link];
                if (watchers.empty()) {
                    m_inOrder.push_back(now.link);
                }
                watchers.push_back({link, now.shape});
            }
            ++link.entry;
        }
    }
}

/// Says of an entry what its link as it is now makes of what its selection knows.
void BlockLinks::judge(HostLink& entry, Distrust const& distrust,
                       std::optional<PartShape> const& shape)
{
    const bool isKnown =
        entry.answer == HostPartAnswer::kGone || entry.answer == HostPartAnswer::kAmbiguous;
    const bool isChanged =
        shape.has_value() && distrust.answer == HostPartAnswer::kAmbiguous && entry.isResolved;
    if (distrust.answer == HostPartAnswer::kExact || (isKnown && !isChanged)) {
        return;
    }
    entry.answer = distrust.answer;
    entry.cause = distrust.cause;
    entry.candidates.clear();
    if (isChanged) {
        entry.candidates = m_solids.candidates(entry.path, *shape);
    }
}

/// Appends a link once for each entry that watches it.
void BlockLinks::read(OdDbObjectId id, bool isListed, std::vector<HostLink>& links)
{
    HostLink found;
    Distrust distrust;
    const LinkPtr link = ZemDbObjectDependency::cast(id.openObject().get());
    if (!link.isNull()) {
        found.tag = link->entityTag();
        found.isResolved = link->getLinkObject(found.path, false) == kOdOk;
        const BodyState state =
            found.isResolved ? m_solids.stateOf(*link, found.path) : BodyState::kOwn;
        found.isThere =
            found.isResolved && state != BodyState::kChanged && zemu::doesPathExist(found.path);
        distrust = distrustOf(*link, found, state);
    } else {
        distrust = {HostPartAnswer::kGone, L"damage of the link"};
    }
    if (!isListed) {  // so nothing leads it to where its part is after an edit
        distrust = {HostPartAnswer::kAmbiguous, L"its block, which doesn't list it any more"};
        found.isThere = false;
    }
    const auto watched = m_watched.find(id);
    const std::vector<Watched> entries =
        watched != m_watched.end() ? watched->second : std::vector<Watched>(1);
    for (auto const& [known, shape] : entries) {
        HostLink entry = known;
        entry.link = id;
        entry.block = m_block;
        entry.tag = found.tag;
        entry.path = found.path;
        entry.isResolved = found.isResolved;
        entry.isThere = found.isThere;
        judge(entry, distrust, shape);
        links.push_back(std::move(entry));
    }
}

void BlockLinks::appendTo(std::vector<HostLink>& links)
{
    if (!unreadablePartOf(m_block).isNull()) {
        return;
    }
    std::vector<HostLink> gone;
    readSelections(gone);
    std::unordered_set<OdDbObjectId> listed;
    const ManagerPtr manager = openManager(m_block, OdDb::kForRead, /*create=*/false);
    if (!manager.isNull()) {
        for (OdDbObjectId id : manager->objectDependencyIds()) {
            listed.insert(id);
            read(id, /*isListed=*/true, links);
        }
    }
    for (OdDbObjectId id : m_inOrder) {
        if (listed.count(id) == 0) {
            read(id, /*isListed=*/false, links);
        }
    }
    std::move(gone.begin(), gone.end(), std::back_inserter(links));
}

// ---------------------------------------------------------------------------------------------
// Checks

void find(std::vector<HostLinkFinding>& findings, OdDbObjectId object, wchar_t const* problem,
          bool isDamage = true)
{
    findings.push_back({object, problem, isDamage});
}

/// \return Whether the link leads into another drawing, and what it leads to there can't be told.
bool verifyOutside(ZemDbObjectDependency const& link, OdDbFullSubentPath const& path,
                   ExternalSolids& solids, std::vector<HostLinkFinding>& findings)
{
    switch (solids.stateOf(link, path)) {
    case BodyState::kChanged:
        find(findings, link.objectId(),
             L"names a part of an external drawing's solid that was changed since", false);
        return true;
    case BodyState::kUnnoted:
        find(findings, link.objectId(),
             L"leads to an external drawing's solid, and nobody has noted how that was", false);
        return false;
    default:
        return false;
    }
}

void verifyLink(OdDbObjectId id, ZemDbPersIdManager const& manager, ExternalSolids& solids,
                std::vector<HostLinkFinding>& findings)
{
    const LinkPtr link = ZemDbObjectDependency::cast(id.openObject().get());
    if (link.isNull()) {
        find(findings, id, L"is listed as a link and is none");
        return;
    }
    if (link->ownerId() != manager.objectId()) {
        find(findings, id, L"belongs to another owner than the manager that lists it");
    }
    OdDbFullSubentPath path;
    if (link->getLinkObject(path, false) != kOdOk) {
        const bool isErased = distrustOfUnresolved(*link).answer == HostPartAnswer::kGone;
        find(findings, id,
             isErased ? L"leads nowhere: an object on its way isn't there"
                      : L"leads into an external drawing that can't be read",
             isErased);
        return;
    }
    if (isUnreadable(zemu::getLeafId(path))) {
        find(findings, id, L"leads to a solid that can't be read");
        return;
    }
    if (verifyOutside(*link, path, solids, findings)) {
        return;
    }
    if (!zemu::doesPathExist(path)) {
        const bool isLost = LostNumbers::isLost(path.subentId());
        find(findings, id,
             isLost ? L"waits for a decision between several parts"
                    : L"names a part that its solid doesn't have",
             !isLost);
        return;
    }
    const OdSmartPtr<ZemDbObject> model =
        ZemDbObject::openZemDbObject(link->getInsertId(), OdDb::kForRead, false);
    if (model.isNull() || model->getPersIdDependency(path).isNull()) {
        find(findings, id, L"is unknown to the entity that it names");
    }
}

void verifySelections(OdDbObjectId block, std::unordered_set<OdDbObjectId> const& links,
                      std::vector<HostLinkFinding>& findings)
{
    for (OdDbObjectId id : HostNamedSelection::unreadableOf(block)) {
        find(findings, id, L"can't be read as the selection that it should be");
    }
    for (OdDbObjectId id : HostNamedSelection::selectionsOf(block)) {
        const HostNamedSelectionPtr selection = HostNamedSelection::cast(id.safeOpenObject().get());
        for (SelectionEntry const& entry : selection->entries()) {
            OdDbObjectId const& link = entry.now.link;
            if (link.isNull()) {
                find(findings, id, L"keeps the place of a link whose part has gone", false);
                continue;
            }
            if (links.count(link) == 0) {
                find(findings, id, L"watches a link that its block doesn't have");
                continue;
            }
            const OdDbObjectPtr watched = link.openObject();
            if (watched.isNull()) {
                find(findings, id, L"watches a link that can't be read");
            } else if (!watched->hasPersistentReactor(id)) {
                find(findings, link, L"doesn't know the selection that lists it");
            }
        }
    }
}

}  // namespace

// ---------------------------------------------------------------------------------------------

std::vector<HostLink> LinkExtension::links(OdDbDatabase& database) const
{
    std::vector<HostLink> links;
    ExternalSolids solids;
    for (OdDbObjectId block : blocksOf(database)) {
        BlockLinks(block, solids).appendTo(links);
    }
    return links;
}

OdDbObjectIdArray LinkExtension::add(OdDbObjectId block, OdString const& selection,
                                     std::vector<OdDbFullSubentPath> const& paths) const
{
    ZemSubentPathArray wanted;
    for (OdDbFullSubentPath const& path : paths) {
        if (beginsIn(path, block) && zemu::doesPathExist(path)) {
            wanted.append(path);
        }
    }
    if (wanted.isEmpty() || OdDbBlockTableRecord::cast(block.openObject().get()).isNull()) {
        return {};
    }
    const ManagerPtr manager = openManager(block, OdDb::kForWrite, /*create=*/true);
    if (manager.isNull()) {
        return {};
    }
    parkChangedLinks(*manager);
    const OdDbObjectIdArray links = manager->append(wanted, nullptr);
    if (links.isEmpty()) {
        return links;
    }
    const HostNamedSelectionPtr named =
        HostNamedSelection::cast(HostNamedSelection::getInstance(block, selection, /*create=*/true)
                                     .safeOpenObject(OdDb::kForWrite)
                                     .get());
    std::vector<SelectionEntry> entries = named->entries();
    ExternalSolids solids;
    for (OdDbObjectId id : links) {
        SelectionEntry entry;
        entry.now.link = id;
        const LinkPtr link = ZemDbObjectDependency::cast(id.safeOpenObject().get());
        entry.now.shape = noteShape(solids, *link, link->getLinkObject(/*openErased=*/false));
        entries.push_back(std::move(entry));
    }
    named->setEntries(std::move(entries));
    return links;
}

HostRemapReport LinkExtension::remap(OdDbObjectId solid, HostPartMap const& map,
                                     OdString const& cause) const
{
    return remapLinks(solid, map, cause);
}

std::vector<HostLinkFinding> LinkExtension::verify(OdDbDatabase& database) const
{
    std::vector<HostLinkFinding> findings;
    ExternalSolids solids;
    for (OdDbObjectId block : blocksOf(database)) {
        const OdDbObjectId unreadable = unreadablePartOf(block);
        if (!unreadable.isNull()) {
            find(findings, unreadable, L"can't be read, and with it all links of its block");
            continue;
        }
        std::unordered_set<OdDbObjectId> links;
        const OdDbObjectId managerId = ZemDbPersIdManager::getInstance(block, /*create=*/false);
        const ManagerPtr manager = ZemDbPersIdManager::cast(managerId.openObject().get());
        if (manager.isNull() && !managerId.isNull()) {
            find(findings, managerId, L"can't be read, and with it all links of its block");
        }
        if (!manager.isNull()) {
            for (OdDbObjectId id : manager->objectDependencyIds()) {
                links.insert(id);
                verifyLink(id, *manager, solids, findings);
            }
        }
        verifySelections(block, links, findings);
    }
    return findings;
}

std::size_t LinkExtension::audit(OdDbDatabase& database) const
{
    std::size_t before = 0;
    std::size_t after = 0;
    for (OdDbObjectId id : zemu::getAllPersIdManagers(&database)) {
        const ManagerPtr manager = ZemDbPersIdManager::cast(id.openObject(OdDb::kForWrite).get());
        if (manager.isNull()) {
            continue;  // a damaged one costs its own links alone; `verify` tells of it
        }
        before += manager->objectDependencyIds().size();
        manager->attachDepsToZemDbObjects();
        const OdDbObjectIdArray listed = manager->objectDependencyIds();
        if (std::none_of(listed.begin(), listed.end(), hangsOnUnreadable)) {
            manager->audit();  // would take off what leads to an unreadable object, too
        }
        for (OdDbObjectId unused : manager->getUnusedDependencies()) {
            if (!hangsOnUnreadable(unused)) {
                dropUnwatched(unused);
            }
        }
        after += manager->objectDependencyIds().size();
    }
    for (OdDbObjectId block : blocksOf(database)) {
        for (OdDbObjectId id : HostNamedSelection::selectionsOf(block)) {
            forgetErased(id);
        }
    }
    return before - after;
}

OdResult LinkExtension::repair(OdDbObjectId block, OdString const& selection, std::size_t entry,
                               OdDbFullSubentPath const& path) const
{
    const Member member = findMember(block, selection, entry);
    if (member.selection.isNull()) {
        return kOdKeyNotFound;
    }
    const ManagerPtr manager = beginsIn(path, block) && zemu::doesPathExist(path)
                                   ? openManager(block, OdDb::kForWrite, /*create=*/true)
                                   : ManagerPtr();
    if (manager.isNull()) {
        return kOdInvalidInput;
    }
    SelectionEntry repaired;
    repaired.before = member.entry().now;
    repaired.now.link = member.entry().now.link;
    ZemSubentPathArray paths;
    paths.append(path);
    const LinkPtr link = ZemDbObjectDependency::cast(repaired.now.link.openObject().get());
    if (!link.isNull()) {
        notePath(*repaired.before, *link);  // where `takeBack` leads it again
        repaired.before->bodyHash = link->bodyHash();
    }
    parkChangedLinks(*manager);
    if (link.isNull() || !isListed(*manager, repaired.now.link) ||
        isShared(*link, member.selection->objectId())) {
        const OdDbObjectIdArray made = manager->append(paths, nullptr);
        if (made.isEmpty() || isMember(*member.selection, made[0])) {
            return kOdInvalidInput;
        }
        repaired.now.link = made[0];
    } else {
        if (isNamedByAnother(*manager, *member.selection, path, repaired.now.link)) {
            return kOdInvalidInput;
        }
        OdDbObjectIdArray ids;
        ids.append(repaired.now.link);
        (void)manager->updatePairs(ids, paths);
    }
    ExternalSolids solids;
    repaired.now.shape = noteShape(solids, *LinkPtr(repaired.now.link.safeOpenObject()), path);
    member.set(std::move(repaired));
    return kOdOk;
}

OdResult LinkExtension::takeBack(OdDbObjectId block, OdString const& selection,
                                 std::size_t entry) const
{
    const Member member = findMember(block, selection, entry);
    if (member.selection.isNull()) {
        return kOdKeyNotFound;
    }
    const SelectionEntry repaired = member.entry();
    if (!repaired.before) {
        return kOdNotApplicable;
    }
    SelectionEntry former;
    former.now = *repaired.before;
    if (former.now.link != repaired.now.link) {  // had gone, or was left to others who watch it
        if (!former.now.link.isNull()) {
            // Others may have led it elsewhere since, or taken it into this selection again.
            const LinkPtr link = ZemDbObjectDependency::cast(former.now.link.openObject().get());
            if (link.isNull() || !isWhereItWas(*link, former.now) ||
                isMember(*member.selection, former.now.link)) {
                return kOdNotApplicable;
            }
            forgetPath(former.now);
            former.now.bodyHash = 0;
        }
        member.set(former);
        dropUnwatched(repaired.now.link);
        return kOdOk;
    }
    const ManagerPtr manager = openManager(block, OdDb::kForWrite, /*create=*/false);
    if (manager.isNull() || !isListed(*manager, former.now.link) || !restorePath(former.now) ||
        isNamedByAnother(*manager, *member.selection, former.now.path, former.now.link)) {
        return kOdNotApplicable;
    }
    OdDbObjectIdArray ids;
    ids.append(former.now.link);
    ZemSubentPathArray paths;
    paths.append(former.now.path);
    forgetPath(former.now);
    (void)manager->updatePairs(ids, paths);
    LinkPtr(former.now.link.safeOpenObject(OdDb::kForWrite))
        ->setBodyHash(std::exchange(former.now.bodyHash, 0));
    member.set(std::move(former));
    return kOdOk;
}

OdResult LinkExtension::remove(OdDbObjectId block, OdString const& selection,
                               std::size_t entry) const
{
    const Member member = findMember(block, selection, entry);
    if (member.selection.isNull()) {
        return kOdKeyNotFound;
    }
    std::vector<SelectionEntry> entries = member.selection->entries();
    const OdDbObjectId link = entries[entry].now.link;
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(entry));
    const bool isLast = entries.empty();
    member.selection->setEntries(std::move(entries));
    dropUnwatched(link);
    if (isLast) {
        (void)member.selection->erase(true);
    }
    return kOdOk;
}

}  // namespace zemhost
