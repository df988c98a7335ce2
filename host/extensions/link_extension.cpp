#include "extensions/link_extension.h"

#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
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
            now.path = link->getLinkObject(/*openErased=*/true);
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

/// The links of one block, with what its selections know of them.
class BlockLinks
{
public:
    explicit BlockLinks(OdDbObjectId block) : m_block(block) {}

    void appendTo(std::vector<HostLink>& links);

private:
    void readSelections(std::vector<HostLink>& gone);
    void read(OdDbObjectId id, std::vector<HostLink>& links) const;

    OdDbObjectId m_block;
    std::unordered_map<OdDbObjectId, std::vector<HostLink>> m_watched;  ///< one for each watcher
};

void BlockLinks::readSelections(std::vector<HostLink>& gone)
{
    for (OdDbObjectId id : HostNamedSelection::selectionsOf(m_block)) {
        const HostNamedSelectionPtr selection = HostNamedSelection::cast(id.safeOpenObject().get());
        HostLink link;
        link.block = m_block;
        link.selection = selection->name();
        for (SelectionEntry const& entry : selection->entries()) {
            SelectionState const& now = entry.now;
            link.path = now.path;
            link.answer = now.answer;
            link.cause = now.cause;
            link.candidates = now.candidates;
            if (now.link.openObject().isNull()) {
                gone.push_back(link);
                gone.back().answer = HostPartAnswer::kGone;
            } else {
                m_watched[now.link].push_back(link);
            }
            ++link.entry;
        }
    }
}

/// Appends a link once for each entry that watches it.
void BlockLinks::read(OdDbObjectId id, std::vector<HostLink>& links) const
{
    HostLink found;
    const LinkPtr link = ZemDbObjectDependency::cast(id.openObject().get());
    if (!link.isNull()) {
        found.tag = link->entityTag();
        found.isResolved = link->getLinkObject(found.path, false) == kOdOk;
        found.isThere = found.isResolved && zemu::doesPathExist(found.path);
    }
    const auto watched = m_watched.find(id);
    const std::vector<HostLink> entries =
        watched != m_watched.end() ? watched->second : std::vector<HostLink>(1);
    for (HostLink entry : entries) {
        entry.link = id;
        entry.block = m_block;
        entry.tag = found.tag;
        entry.path = found.path;
        entry.isResolved = found.isResolved;
        entry.isThere = found.isThere;
        links.push_back(std::move(entry));
    }
}

void BlockLinks::appendTo(std::vector<HostLink>& links)
{
    std::vector<HostLink> gone;
    readSelections(gone);
    const ManagerPtr manager = openManager(m_block, OdDb::kForRead, /*create=*/false);
    if (!manager.isNull()) {
        for (OdDbObjectId id : manager->objectDependencyIds()) {
            read(id, links);
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

void verifyLink(OdDbObjectId id, ZemDbPersIdManager const& manager,
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
        find(findings, id, L"leads nowhere: an object on its way isn't there");
        return;
    }
    if (!zemu::doesPathExist(path)) {
        const bool isLost = path.subentId().index() >= kFirstLostPart;
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
    for (OdDbObjectId id : HostNamedSelection::selectionsOf(block)) {
        const HostNamedSelectionPtr selection = HostNamedSelection::cast(id.safeOpenObject().get());
        for (SelectionEntry const& entry : selection->entries()) {
            OdDbObjectId const& link = entry.now.link;
            if (link.isNull()) {
                find(findings, id, L"keeps the place of a link whose part has gone", false);
            } else if (links.count(link) == 0) {
                find(findings, id, L"watches a link that its block doesn't have");
            } else if (!OdDbObjectPtr(link.safeOpenObject())->hasPersistentReactor(id)) {
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
    for (OdDbObjectId block : blocksOf(database)) {
        BlockLinks(block).appendTo(links);
    }
    return links;
}

OdDbObjectIdArray LinkExtension::add(OdDbObjectId block, OdString const& selection,
                                     std::vector<OdDbFullSubentPath> const& paths) const
{
    ZemSubentPathArray wanted;
    for (OdDbFullSubentPath const& path : paths) {
        const OdDbObjectPtr first = zemu::getInsertId(path).openObject();
        if (!first.isNull() && first->ownerId() == block && zemu::doesPathExist(path)) {
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
    const OdDbObjectIdArray links = manager->append(wanted, nullptr);
    if (links.isEmpty()) {
        return links;
    }
    const HostNamedSelectionPtr named =
        HostNamedSelection::cast(HostNamedSelection::getInstance(block, selection, /*create=*/true)
                                     .safeOpenObject(OdDb::kForWrite)
                                     .get());
    std::vector<SelectionEntry> entries = named->entries();
    for (OdDbObjectId link : links) {
        SelectionEntry entry;
        entry.now.link = link;
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
    for (OdDbObjectId block : blocksOf(database)) {
        std::unordered_set<OdDbObjectId> links;
        const ManagerPtr manager = openManager(block, OdDb::kForRead, /*create=*/false);
        if (!manager.isNull()) {
            for (OdDbObjectId id : manager->objectDependencyIds()) {
                links.insert(id);
                verifyLink(id, *manager, findings);
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
        const ManagerPtr manager =
            ZemDbPersIdManager::cast(id.safeOpenObject(OdDb::kForWrite).get());
        before += manager->objectDependencyIds().size();
        manager->attachDepsToZemDbObjects();
        manager->audit();
        for (OdDbObjectId unused : manager->getUnusedDependencies()) {
            dropUnwatched(unused);
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
    const ManagerPtr manager = zemu::doesPathExist(path)
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
        (void)link->getLinkObject(repaired.before->path, true);  // where `takeBack` leads it again
    }
    if (link.isNull() || isShared(*link, member.selection->objectId())) {
        const OdDbObjectIdArray made = manager->append(paths, nullptr);
        if (made.isEmpty() || isMember(*member.selection, made[0])) {
            return kOdInvalidInput;
        }
        repaired.now.link = made[0];
    } else {
        if (!isListed(*manager, repaired.now.link)) {
            return kOdInvalidInput;
        }
        OdDbObjectIdArray ids;
        ids.append(repaired.now.link);
        (void)manager->updatePairs(ids, paths);
    }
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
            if (former.now.link.openObject().isNull()) {
                return kOdNotApplicable;
            }
            former.now.path = OdDbFullSubentPath();
        }
        member.set(former);
        dropUnwatched(repaired.now.link);
        return kOdOk;
    }
    const ManagerPtr manager = openManager(block, OdDb::kForWrite, /*create=*/false);
    if (manager.isNull() || !isListed(*manager, former.now.link)) {
        return kOdNotApplicable;
    }
    OdDbObjectIdArray ids;
    ids.append(former.now.link);
    ZemSubentPathArray paths;
    paths.append(std::exchange(former.now.path, OdDbFullSubentPath()));
    (void)manager->updatePairs(ids, paths);
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
