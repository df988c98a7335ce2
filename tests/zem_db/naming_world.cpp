#include "naming_world.h"

#include "db/od_db_block_reference.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_id_mapping.h"
#include "root/od_error.h"
#include "store/od_db_drawing.h"

#include "zem_db_object.h"
#include "zem_link_utils.h"

#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace link_test {

namespace {

const OdString kWatchersKey(L"WATCHERS");

Handle handleOf(OdDbObjectId id)
{
    return id.getHandle().value();
}

void require(bool condition, char const* what)
{
    if (!condition) {
        throw std::logic_error(what);
    }
}

std::string textOf(Item const& item)
{
    return "part " + std::to_string(item.name) + " of kind " + std::to_string(item.kind) +
           " of solid " + std::to_string(item.place.solid) +
           (item.place.reference != 0 ? " by " + std::to_string(item.place.reference) : "");
}

std::filesystem::path newFileName()
{
    static int s_number = 0;
    return std::filesystem::temp_directory_path() / ("naming_world_" + std::to_string(::getpid()) +
                                                     "_" + std::to_string(++s_number) + ".zdw");
}

/// The items that a link may lead to, by where it leads.
Item itemAt(OdDbFullSubentPath const& path)
{
    OdDbObjectIdArray const& ids = path.objectIds();
    require(!ids.isEmpty(), "a link without a path");
    const TestSolidPtr solid = ids.last().safeOpenObject();
    Item item;
    item.place.reference = ids.size() > 1 ? handleOf(ids.first()) : 0;
    item.place.solid = handleOf(ids.last());
    item.kind = kindOf(path.subentId().type());
    item.name = solid->nameOf(path.subentId());
    return item;
}

OdDbObjectIdArray sortedUnique(std::vector<OdDbObjectId> ids)
{
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    return {ids.begin(), ids.end()};
}

void expand(ZemDependenciesReplacementMap const& map, OdDbObjectId id,
            std::vector<OdDbObjectId>& out)
{
    auto const* const successors = map.findReplacement(id);
    if (successors == nullptr) {
        out.push_back(id);
        return;
    }
    for (OdDbObjectId successor : *successors) {
        expand(map, successor, out);
    }
}

}  // namespace

//--------------------------------------------------------------------------------------------------
// Edit

Edit Edit::unchanged(TestSolid::Parts const& parts)
{
    Edit edit;
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
        for (std::size_t at = 0; at < parts[kind].size(); ++at) {
            edit.kinds[kind].push_back({parts[kind][at], {at}});
        }
    }
    return edit;
}

TestSolid::Parts Edit::parts() const
{
    TestSolid::Parts result;
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
        for (Part const& part : kinds[kind]) {
            result[kind].push_back(part.name);
        }
    }
    return result;
}

std::vector<std::int64_t> Edit::successors(int kind, std::int64_t oldNumber) const
{
    std::vector<std::int64_t> result;
    std::vector<Part> const& parts = kinds[static_cast<std::size_t>(kind)];
    for (std::size_t at = 0; at < parts.size(); ++at) {
        if (parts[at].sources.contains(static_cast<std::size_t>(oldNumber - 1))) {
            result.push_back(static_cast<std::int64_t>(at + 1));
        }
    }
    return result;
}

//--------------------------------------------------------------------------------------------------
// NamingWorld: making, and what is there

NamingWorld::NamingWorld(LinkScope& scope, int partCount)
    : m_scope(scope), m_db(OdDbDatabase::createObject()), m_file(newFileName())
{
    const TestWatcherPtr ticker = TestWatcher::createObject();
    m_ticker = handleOf(m_db->addOdDbObject(ticker.get(), m_db->getNamedObjectsDictionaryId()));
    Home home;
    const OdDbObjectId block = addBlock(*m_db, L"PART");
    home.block = handleOf(block);
    const OdDbObjectId shown = addBlock(*m_db, L"CELL");
    const OdDbObjectId nested = addSolid(shown, freshParts(partCount));
    home.places.push_back({0, handleOf(addSolid(block, freshParts(partCount)))});
    home.places.push_back({0, handleOf(addSolid(block, freshParts(partCount)))});
    home.places.push_back({handleOf(addReference(block, shown)), handleOf(nested)});
    (void)ZemDbPersIdManager::getInstance(block, true);
    m_model.homes.push_back(home);
}

NamingWorld::~NamingWorld()
{
    m_db = nullptr;
    std::error_code ignored;
    std::filesystem::remove(m_file, ignored);
}

TestSolid::Parts NamingWorld::freshParts(int count)
{
    TestSolid::Parts parts;
    for (TestSolid::Names& names : parts) {
        for (int at = 0; at < count; ++at) {
            names.push_back(freshName());
        }
    }
    return parts;
}

OdDbObjectId NamingWorld::idOf(Handle handle) const
{
    return m_db->getOdDbObjectId(OdDbHandle(handle));
}

ManagerPtr NamingWorld::manager(std::size_t home, OdDb::OpenMode mode) const
{
    const OdDbObjectId block = idOf(m_model.homes.at(home).block);
    return ZemDbPersIdManager::getInstance(block, false).safeOpenObject(mode);
}

TestSolid::Parts NamingWorld::partsOf(Handle solid) const
{
    const TestSolidPtr opened = idOf(solid).safeOpenObject();
    return opened->parts();
}

OdDbFullSubentPath NamingWorld::pathOfItem(Item const& item) const
{
    const TestSolid::Parts parts = partsOf(item.place.solid);
    TestSolid::Names const& names = parts[static_cast<std::size_t>(item.kind)];
    const auto at = std::find(names.begin(), names.end(), item.name);
    require(at != names.end(), "a part that isn't there");
    const auto number = at - names.begin() + 1;
    const OdDbObjectId solid = idOf(item.place.solid);
    return item.place.reference != 0 ? pathTo(idOf(item.place.reference), solid, item.kind, number)
                                     : pathTo(solid, item.kind, number);
}

//--------------------------------------------------------------------------------------------------
// Operations

void NamingWorld::begin()
{
    m_db->startUndoRecord();
    m_undoable.push_back(m_model);
    m_redoable.clear();
    const TestWatcherPtr ticker = idOf(m_ticker).safeOpenObject(OdDb::kForWrite);
    ticker->setLinks({});
}

Handle NamingWorld::newWatcher(Home const& home)
{
    const OdDbObjectId block = idOf(home.block);
    const OdDbObjectId folder = zemu::createDict(m_db.get(), kWatchersKey, block);
    const OdDbDictionaryPtr watchers = folder.safeOpenObject(OdDb::kForWrite);
    const TestWatcherPtr watcher = TestWatcher::createObject();
    OdString name;
    name.format(L"%u", watchers->numEntries());
    return handleOf(watchers->setAt(name, watcher.get()));
}

Handle NamingWorld::watch(std::size_t homeAt, Handle watcher, std::vector<Item> const& items)
{
    begin();
    Home& home = m_model.homes.at(homeAt);
    if (watcher == 0) {
        watcher = newWatcher(home);
    }
    ZemSubentPathArray paths;
    for (Item const& item : items) {
        paths.append(pathOfItem(item));
    }
    const OdDbObjectIdArray ids = manager(homeAt, OdDb::kForWrite)->append(paths, nullptr);
    require(ids.size() == paths.size(), "a path without a link");
    const TestWatcherPtr opened = idOf(watcher).safeOpenObject(OdDb::kForWrite);
    std::vector<OdDbObjectId> links(opened->links().begin(), opened->links().end());
    for (OdDbObjectId id : ids) {
        links.push_back(id);
        home.unwatched.erase(handleOf(id));
    }
    opened->setLinks(sortedUnique(links));
    home.watchers[watcher].insert(items.begin(), items.end());
    return watcher;
}

void NamingWorld::link(std::size_t homeAt, std::vector<Item> const& items)
{
    begin();
    ZemSubentPathArray paths;
    for (Item const& item : items) {
        paths.append(pathOfItem(item));
    }
    const OdDbObjectIdArray ids = manager(homeAt, OdDb::kForWrite)->append(paths, nullptr);
    require(ids.size() == paths.size(), "a path without a link");
    for (unsigned at = 0; at < ids.size(); ++at) {
        if (!openLink(ids[at])->isWatched()) {
            m_model.homes.at(homeAt).unwatched[handleOf(ids[at])] = items[at];
        }
    }
}

void NamingWorld::unwatch(std::size_t homeAt, Handle watcher, Item const& item)
{
    begin();
    Home& home = m_model.homes.at(homeAt);
    const TestWatcherPtr opened = idOf(watcher).safeOpenObject(OdDb::kForWrite);
    std::vector<OdDbObjectId> kept;
    std::vector<OdDbObjectId> given;
    for (OdDbObjectId id : opened->links()) {
        (itemAt(pathOf(id)) == item ? given : kept).push_back(id);
    }
    opened->setLinks(sortedUnique(kept));
    home.watchers.at(watcher).erase(item);
    for (OdDbObjectId id : given) {
        if (!openLink(id)->isWatched()) {
            home.unwatched[handleOf(id)] = item;
        }
    }
}

void NamingWorld::removeUnused(std::size_t homeAt)
{
    begin();
    const ManagerPtr opened = manager(homeAt, OdDb::kForWrite);
    const OdDbObjectIdArray unused = opened->getUnusedDependencies();
    opened->removeDependencies(unused);
    for (OdDbObjectId id : unused) {
        (void)openLink(id, OdDb::kForWrite)->erase(true);
    }
    m_model.homes.at(homeAt).unwatched.clear();
}

void NamingWorld::edit(Handle solid, Edit const& edit, RemapStyle style)
{
    begin();
    editNow(solid, edit, idOf(solid), style);
}

void NamingWorld::editInVain(Handle solid, Edit const& edit, RemapStyle style)
{
    const Model before = m_model;
    m_redoable.clear();
    m_db->startTransaction();
    editNow(solid, edit, idOf(solid), style);
    m_db->abortTransaction();
    m_model = before;
}

void NamingWorld::replace(Handle solid, Edit const& renumbering, RemapStyle style)
{
    begin();
    const OdDbObjectId block = idOf(solid).safeOpenObject()->ownerId();
    const OdDbObjectId target = addSolid(block, renumbering.parts());
    editNow(solid, renumbering, target, style);
    (void)idOf(solid).safeOpenObject(OdDb::kForWrite)->erase(true);
    for (Home& home : m_model.homes) {
        for (Place& place : home.places) {
            place.solid = place.solid == solid ? handleOf(target) : place.solid;
        }
    }
}

void NamingWorld::erase(Handle solid)
{
    begin();
    editNow(solid, Edit(), idOf(solid), RemapStyle());
    (void)idOf(solid).safeOpenObject(OdDb::kForWrite)->erase(true);
    for (Home& home : m_model.homes) {
        std::erase_if(home.places, [&](Place const& place) { return place.solid == solid; });
    }
}

void NamingWorld::editNow(Handle solid, Edit const& edit, OdDbObjectId target, RemapStyle style)
{
    const TestSolid::Parts before = partsOf(solid);
    {
        const TestSolidPtr opened = target.safeOpenObject(OdDb::kForWrite);
        opened->setParts(edit.parts());
    }
    // The truth follows by names, before anything is asked of a link.
    const auto successorsOf = [&](Item const& item) {
        TestSolid::Names const& names = before[static_cast<std::size_t>(item.kind)];
        const auto number = std::find(names.begin(), names.end(), item.name) - names.begin() + 1;
        std::vector<Item> result;
        for (std::int64_t next : edit.successors(item.kind, number)) {
            Item successor = item;
            successor.place.solid = handleOf(target);
            successor.name =
                edit.kinds[static_cast<std::size_t>(item.kind)][static_cast<std::size_t>(next - 1)]
                    .name;
            result.push_back(successor);
        }
        return result;
    };
    for (Home& home : m_model.homes) {
        for (auto& [watcher, items] : home.watchers) {
            std::set<Item> next;
            for (Item const& item : items) {
                if (item.place.solid != solid) {
                    next.insert(item);
                    continue;
                }
                for (Item const& successor : successorsOf(item)) {
                    next.insert(successor);
                }
            }
            items = next;
        }
        std::map<Handle, Item> unwatched;
        for (auto const& [link, item] : home.unwatched) {
            if (item.place.solid != solid) {
                unwatched.emplace(link, item);
            } else if (const std::vector<Item> next = successorsOf(item); !next.empty()) {
                unwatched.emplace(link, next.front());
            }
        }
        const std::map<Handle, Item> linksBefore = std::exchange(home.unwatched, unwatched);
        remapHome(home, solid, edit, target, style);
    }
}

void NamingWorld::remapHome(Home& home, Handle solid, Edit const& edit, OdDbObjectId target,
                            RemapStyle style)
{
    struct Pair
    {
        OdDbObjectId link;
        std::vector<OdDbFullSubentPath> paths;
    };
    const ManagerPtr links =
        ZemDbPersIdManager::getInstance(idOf(home.block), false).safeOpenObject(OdDb::kForWrite);
    std::vector<Pair> pairs;
    std::vector<OdDbFullSubentPath> gone;
    OdDbObjectIdArray removed;
    for (OdDbObjectId id : links->objectDependencyIds()) {
        const OdDbFullSubentPath path = pathOf(id);
        if (handleOf(path.objectIds().last()) != solid) {
            continue;
        }
        Pair pair{id, {}};
        OdDbObjectIdArray ids = path.objectIds();
        ids.last() = target;
        const OdDb::SubentType type = path.subentId().type();
        for (std::int64_t next : edit.successors(kindOf(type), path.subentId().index())) {
            pair.paths.emplace_back(ids, OdDbSubentId(type, next));
        }
        if (pair.paths.empty()) {
            removed.append(id);
            if (std::find(gone.begin(), gone.end(), path) == gone.end()) {
                gone.push_back(path);
            }
        } else {
            pairs.push_back(pair);
        }
    }
    for (OdDbFullSubentPath const& path : gone) {
        require(links->removeLink(path, 0), "a link that couldn't be removed");
    }
    ZemDependenciesReplacementMap map;
    map.appendModifiedEnt(target);
    const auto splitAll = [&] {
        for (Pair const& pair : pairs) {
            if (pair.paths.size() > 1) {
                (void)links->split(pair.link, {pair.paths.begin(), pair.paths.end()}, map);
            }
        }
    };
    const auto updateAll = [&] {
        OdDbObjectIdArray ids;
        ZemSubentPathArray paths;
        for (Pair const& pair : pairs) {
            // Nobody is there to hold the other pieces of a link that isn't watched.
            if (pair.paths.size() == 1 || !openLink(pair.link)->isWatched()) {
                ids.append(pair.link);
                paths.append(pair.paths.front());
            }
        }
        require(links->updatePairs(ids, paths), "a link that isn't listed");
    };
    if (style.splitsFirst) {
        splitAll();
        updateAll();
    } else {
        updateAll();
        splitAll();
    }
    if (style.isSecond) {
        links->finishRemap2(map);
        OdDbObjectIdArray left;  // come off the list only with a merge
        const OdDbObjectIdArray listed = links->objectDependencyIds();
        for (OdDbObjectId id : map.getAll()) {
            if (listed.contains(id)) {
                left.append(id);
            }
        }
        links->removeDependencies(left);
    } else {
        links->finishRemap(map);
    }
    require(!links->updateAfterRemapping(map, false, false, false, false),
            "features in a block without any");
    follow(home, map, removed, style.erases);
}

void NamingWorld::follow(Home& home, ZemDependenciesReplacementMap const& map,
                         OdDbObjectIdArray const& removed, bool erases)
{
    for (auto const& [watcher, items] : home.watchers) {
        const TestWatcherPtr opened = idOf(watcher).safeOpenObject(OdDb::kForWrite);
        std::vector<OdDbObjectId> links;
        for (OdDbObjectId id : opened->links()) {
            if (!removed.contains(id)) {
                expand(map, id, links);
            }
        }
        opened->setLinks(sortedUnique(links));
    }
    std::map<Handle, Item> unwatched;
    for (auto const& [link, item] : home.unwatched) {
        std::vector<OdDbObjectId> links;
        expand(map, idOf(link), links);
        for (OdDbObjectId id : links) {
            if (!openLink(id)->isWatched()) {
                unwatched.emplace(handleOf(id), item);
            }
        }
    }
    home.unwatched = unwatched;
    if (!erases) {
        return;
    }
    OdDbObjectIdArray useless = removed;
    useless.append(map.getAll());
    for (OdDbObjectId id : useless) {
        (void)openLink(id, OdDb::kForWrite)->erase(true);
    }
}

void NamingWorld::cloneHome(std::size_t homeAt)
{
    begin();
    const Home source = m_model.homes.at(homeAt);
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    const OdDbObjectId block = m_db->copyBlock(idOf(source.block), L"*U", *mapping);
    const auto cloneOf = [&](Handle handle) {
        OdDbIdPair pair(idOf(handle));
        return mapping->compute(pair) ? handleOf(pair.value()) : handle;
    };
    Home clone;
    clone.block = handleOf(block);
    const auto place = [&](Place const& of) {
        return Place{of.reference != 0 ? cloneOf(of.reference) : 0, cloneOf(of.solid)};
    };
    for (Place const& of : source.places) {
        clone.places.push_back(place(of));
    }
    for (auto const& [watcher, items] : source.watchers) {
        std::set<Item>& cloned = clone.watchers[cloneOf(watcher)];
        for (Item const& item : items) {
            cloned.insert({place(item.place), item.kind, item.name});
        }
    }
    for (auto const& [link, item] : source.unwatched) {
        clone.unwatched[cloneOf(link)] = {place(item.place), item.kind, item.name};
    }
    m_model.homes.push_back(clone);
}

void NamingWorld::undo()
{
    require(m_db->undo() == kOdOk, "undo");
    m_redoable.push_back(std::exchange(m_model, m_undoable.back()));
    m_undoable.pop_back();
}

void NamingWorld::redo()
{
    require(m_db->redo() == kOdOk, "redo");
    m_undoable.push_back(std::exchange(m_model, m_redoable.back()));
    m_redoable.pop_back();
}

void NamingWorld::saveAndReopen()
{
    const OdString path(m_file.wstring().c_str());
    if (std::filesystem::exists(m_file)) {
        odDbSaveDrawing(*m_db);
    } else {
        odDbSaveDrawingAs(*m_db, path);
    }
    m_db = nullptr;
    m_db = odDbOpenDrawing(path, OdDbOpenDrawingMode::kForWriting);
    m_undoable.clear();
    m_redoable.clear();
}

//--------------------------------------------------------------------------------------------------
// Comparing

/// Compares one block of a drawing with the truth.
class NamingWorld::HomeCheck
{
public:
    HomeCheck(OdDbDatabase& database, Home const& home, std::size_t& answers)
        : m_db(database), m_home(home), m_answers(answers),
          m_manager(ZemDbPersIdManager::getInstance(idOf(home.block), false).safeOpenObject()),
          m_listed(m_manager->objectDependencyIds())
    {
    }

    std::vector<std::string> run()
    {
        checkWatchers();
        checkUnwatched();
        checkList();
        checkLookUps();
        return std::move(m_wrong);
    }

private:
    OdDbObjectId idOf(Handle handle) const { return m_db.getOdDbObjectId(OdDbHandle(handle)); }
    void expect(bool condition, std::string const& text)
    {
        ++m_answers;
        if (!condition) {
            m_wrong.push_back(text);
        }
    }

    void checkWatchers()
    {
        for (auto const& [watcher, items] : m_home.watchers) {
            const TestWatcherPtr opened = idOf(watcher).safeOpenObject();
            std::set<Item> named;
            for (OdDbObjectId id : opened->links()) {
                const Item item = itemAt(pathOf(id));
                named.insert(item);
                m_held.insert(id);
                expect(items.contains(item), "a watcher names " + textOf(item));
                expect(openLink(id)->hasPersistentReactor(opened->objectId()),
                       "a link doesn't know its watcher");
            }
            for (Item const& item : items) {
                expect(named.contains(item), "a watcher has lost " + textOf(item));
            }
        }
    }

    void checkUnwatched()
    {
        for (auto const& [link, item] : m_home.unwatched) {
            const Item named = itemAt(pathOf(idOf(link)));
            m_held.insert(idOf(link));
            expect(named == item, "a link names " + textOf(named) + " in place of " + textOf(item));
        }
    }

    void checkList()
    {
        const std::set<OdDbObjectId> listed(m_listed.begin(), m_listed.end());
        expect(listed.size() == m_listed.size(), "a link is listed twice");
        expect(listed == m_held, std::to_string(listed.size()) + " links are listed, " +
                                     std::to_string(m_held.size()) + " are held");
        std::set<OdDbObjectId> unused;
        for (auto const& [link, item] : m_home.unwatched) {
            unused.insert(idOf(link));
        }
        const OdDbObjectIdArray found = m_manager->getUnusedDependencies();
        expect(std::set<OdDbObjectId>(found.begin(), found.end()) == unused,
               "links without a watcher");
    }

    void checkLookUps()
    {
        std::map<OdDbFullSubentPath, OdDbObjectIdArray, zemu::less_FullSubentPath> byPath;
        std::map<OdDbObjectId, std::set<OdDbObjectId>> byEntity;
        for (OdDbObjectId id : m_listed) {
            const OdDbFullSubentPath path = pathOf(id);
            byPath[path].append(id);
            byEntity[path.objectIds().first()].insert(id);
        }
        for (auto const& [path, ids] : byPath) {
            expect(m_manager->computeDepId(path) == ids, "the links of a path");
            expect(ids.contains(zemu::findDepByFSP(path)), "the link of a path by its entity");
        }
        for (Place const& place : m_home.places) {
            const OdDbObjectId entity = idOf(place.reference != 0 ? place.reference : place.solid);
            const OdDbObjectIdArray all = zemu::getAllPersIdDeps(entity);
            expect(std::set<OdDbObjectId>(all.begin(), all.end()) == byEntity[entity],
                   "an entity lists " + std::to_string(all.size()) + " links of " +
                       std::to_string(byEntity[entity].size()));
            OdDbFullSubentPath path = pathTo(idOf(place.solid), 0, 1'000'000);
            expect(m_manager->computeDepId(path).isEmpty(), "a link of a part that isn't there");
        }
    }

    OdDbDatabase& m_db;
    Home const& m_home;
    std::size_t& m_answers;
    ManagerPtr m_manager;
    OdDbObjectIdArray m_listed;
    std::set<OdDbObjectId> m_held;
    std::vector<std::string> m_wrong;
};

std::vector<std::string> NamingWorld::check() const
{
    std::vector<std::string> wrong;
    for (Home const& home : m_model.homes) {
        const std::vector<std::string> found = HomeCheck(*m_db, home, m_answers).run();
        wrong.insert(wrong.end(), found.begin(), found.end());
    }
    return wrong;
}

std::vector<std::string> NamingWorld::checkWritten(std::size_t homeAt)
{
    const Home source = m_model.homes.at(homeAt);
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    const OdDbDatabasePtr written = m_db->wblock(idOf(source.block), mapping.get());
    const auto cloneOf = [&](Handle handle) {
        OdDbIdPair pair(idOf(handle));
        require(handle == 0 || mapping->compute(pair), "an object that was not written");
        return handle == 0 ? 0 : handleOf(pair.value());
    };
    Home clone;
    clone.block = handleOf(written->getModelSpaceId());
    const auto place = [&](Place const& of) {
        return Place{cloneOf(of.reference), cloneOf(of.solid)};
    };
    for (Place const& of : source.places) {
        clone.places.push_back(place(of));
    }
    for (auto const& [watcher, items] : source.watchers) {
        std::set<Item>& cloned = clone.watchers[cloneOf(watcher)];
        for (Item const& item : items) {
            cloned.insert({place(item.place), item.kind, item.name});
        }
    }
    for (auto const& [link, item] : source.unwatched) {
        clone.unwatched[cloneOf(link)] = {place(item.place), item.kind, item.name};
    }
    return HomeCheck(*written, clone, m_answers).run();
}

//--------------------------------------------------------------------------------------------------
// Drawing operations

Edit anyRenumbering(TestSolid::Parts const& parts, Choices& choices)
{
    Edit edit = Edit::unchanged(parts);
    for (std::vector<Edit::Part>& kind : edit.kinds) {
        for (std::size_t at = kind.size(); at > 1; --at) {
            std::swap(kind[at - 1], kind[choices.below(at)]);
        }
    }
    return edit;
}

Edit anyEdit(NamingWorld& world, TestSolid::Parts const& parts, Choices& choices)
{
    Edit edit = Edit::unchanged(parts);
    for (std::vector<Edit::Part>& kind : edit.kinds) {
        for (std::size_t count = choices.below(4); count != 0; --count) {
            const std::size_t at = kind.empty() ? 0 : choices.below(kind.size());
            switch (choices.below(5)) {
            case 0:  // split, into up to three
                for (std::size_t more = choices.below(2) + 1; more != 0 && !kind.empty(); --more) {
                    kind.push_back({world.freshName(), kind[at].sources});
                    kind[at].name = world.freshName();
                }
                break;
            case 1:  // merge
                if (kind.size() > 1) {
                    const std::size_t other =
                        (at + 1 + choices.below(kind.size() - 1)) % kind.size();
                    kind[at].sources.insert(kind[other].sources.begin(), kind[other].sources.end());
                    kind[at].name = world.freshName();
                    kind.erase(kind.begin() + static_cast<std::ptrdiff_t>(other));
                }
                break;
            case 2:  // delete
                if (kind.size() > 1) {
                    kind.erase(kind.begin() + static_cast<std::ptrdiff_t>(at));
                }
                break;
            case 3:  // add
                kind.insert(kind.begin() + static_cast<std::ptrdiff_t>(at),
                            {world.freshName(), {}});
                break;
            default:  // swap two numbers
                if (!kind.empty()) {
                    std::swap(kind[at], kind[choices.below(kind.size())]);
                }
                break;
            }
        }
    }
    return edit;
}

std::vector<Item> anyItems(NamingWorld const& world, Home const& home, std::size_t count,
                           Choices& choices)
{
    std::vector<Item> items;
    for (; count != 0; --count) {
        const Place place = home.places[choices.below(home.places.size())];
        const TestSolid::Parts parts = world.partsOf(place.solid);
        const std::size_t kind = choices.below(kKinds);
        if (!parts[kind].empty()) {
            items.push_back(
                {place, static_cast<int>(kind), parts[kind][choices.below(parts[kind].size())]});
        }
    }
    return items;
}

namespace {

RemapStyle anyStyle(Choices& choices)
{
    RemapStyle style;
    style.splitsFirst = choices.flip();
    style.isSecond = choices.flip();
    style.erases = choices.below(4) != 0;
    return style;
}

template <class Map>
auto anyOf(Map const& map, Choices& choices)
{
    auto at = map.begin();
    std::advance(at, static_cast<std::ptrdiff_t>(choices.below(map.size())));
    return at;
}

void anyWatch(NamingWorld& world, LinkScope& scope, std::size_t homeAt, Choices& choices)
{
    Home const& home = world.home(homeAt);
    scope.host().reusesLinks = choices.below(4) != 0;
    const std::vector<Item> items = anyItems(world, home, 1 + choices.below(4), choices);
    if (choices.below(4) == 0) {
        world.link(homeAt, items);
    } else {
        const bool isNew = home.watchers.empty() || choices.below(3) == 0;
        (void)world.watch(homeAt, isNew ? 0 : anyOf(home.watchers, choices)->first, items);
    }
    scope.host().reusesLinks = true;
}

}  // namespace

void anyOperation(NamingWorld& world, LinkScope& scope, Choices& choices)
{
    const std::size_t homeAt = choices.below(world.model().homes.size());
    Home const& home = world.home(homeAt);
    const Handle solid = home.places[choices.below(home.places.size())].solid;
    switch (choices.below(16)) {
    case 0:
    case 1:
    case 2:
    case 3:
        anyWatch(world, scope, homeAt, choices);
        break;
    case 4: {
        if (!home.watchers.empty()) {
            const auto watcher = anyOf(home.watchers, choices);
            if (!watcher->second.empty()) {
                world.unwatch(homeAt, watcher->first, Item(*anyOf(watcher->second, choices)));
            }
        }
        break;
    }
    case 5:
        world.removeUnused(homeAt);
        break;
    case 6:
        if (world.canUndo()) {
            world.undo();
        }
        break;
    case 7:
        if (world.canRedo()) {
            world.redo();
        }
        break;
    case 8:
        world.replace(solid, anyRenumbering(world.partsOf(solid), choices), anyStyle(choices));
        break;
    case 9:
        if (home.places.size() > 2) {
            world.erase(solid);
        } else {
            world.edit(solid, anyRenumbering(world.partsOf(solid), choices), anyStyle(choices));
        }
        break;
    case 10:
        if (world.model().homes.size() < 4 && choices.flip()) {
            world.cloneHome(homeAt);
        } else {
            world.editInVain(solid, anyEdit(world, world.partsOf(solid), choices),
                             anyStyle(choices));
        }
        break;
    default:
        world.edit(solid, anyEdit(world, world.partsOf(solid), choices), anyStyle(choices));
        break;
    }
}

}  // namespace link_test
