// Links of a block: making, finding, removing, merging, saving and loading 100 000 and 1 000 000 of
// them.
//
// Workloads, on links to faces of entities with 100 000 links each (10 000 and 100 000 links on
// entities with 10 000 each with --brief): `append` in one call for each entity; saving a new drawing;
// opening it and touching every link; look-ups by path on one entity (a rate, for each size);
// `attachDepsToZemDbObjects` for all links after the entities have forgotten them; `removeLink` for one
// link in a hundred, path by path; `finishRemap` and `finishRemap2` with all links watched and one in a
// hundred led to the path of its neighbour, each in a drawing of its own: `finishRemap2` makes the
// manager's tables, too, which the other one finds made by `removeLink`. Undo is recorded. The peer of each
// time is the same work on the smaller block, so a ratio is growth; the peer of memory, file size
// and rate is their limit. Figures are medians of runs in processes of their own, both sizes in turn.

#include "assoc/od_platform.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "root/od_rx_module.h"
#include "store/od_db_drawing.h"

#include "bench_util.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager.h"
#include "zem_dependencies_replacement_map.h"
#include "zem_protocol_extensions.h"

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr double kMemoryLimit = 450;  ///< bytes of a plain link
constexpr double kFileLimit = 60;
constexpr double kLookUpLimit = 1e6;  ///< look-ups in a second

using LinkPtr = OdSmartPtr<ZemDbObjectDependency>;
using ManagerPtr = OdSmartPtr<ZemDbPersIdManager>;
using Ids = OdDbObjectIdArray;

void require(bool condition, char const* what)
{
    if (!condition) {
        std::fprintf(stderr, "%s is wrong\n", what);
        std::exit(2);
    }
}

/// The platform, and the module's classes.
class Module
{
public:
    Module() : m_module(odrxCreateModuleObject(nullptr, L"zem_db")) { m_module->initApp(); }
    Module(Module const&) = delete;
    Module& operator=(Module const&) = delete;
    ~Module()
    {
        m_module->uninitApp();
        m_module->deleteModule();
    }

private:
    OdPlatform m_platform;
    OdRxModule* m_module;
};

/// A host that finds links by their entities and makes those that are missing.
class LinkMaker : public ZemDbPersIdManagerPE
{
public:
    void validatePaths(ZemDbPersIdManager*, ZemSubentPathArray&, OdDbDatabase*) override {}
    void collectExistingDependencies(ZemDbPersIdManager*, ZemSubentPathArray const& paths,
                                     Ids& ids) override
    {
        for (OdDbFullSubentPath const& path : paths) {
            ids.append(zemu::findDepByFSP(path));
        }
    }
    void remapDependency(ZemDbPersIdManager*, OdDbObjectId dependencyId,
                         OdDbFullSubentPath const& path) override
    {
        const LinkPtr link = dependencyId.safeOpenObject(OdDb::kForWrite);
        link->setLinkObject(path);
        ZemDbObject::openZemDbObject(link->getInsertId(), OdDb::kForWrite, false)
            ->invalidatePersIdDepsCache();
    }
    Ids createDependencies(ZemDbPersIdManager* manager, ZemSubentPathArray const& paths,
                           OdDbUserIO*, Ids& ids) override
    {
        Ids made;
        for (unsigned at = 0; at < paths.size(); ++at) {
            if (std::as_const(ids)[at].isNull()) {
                const LinkPtr link = odrxMake<ZemDbObjectDependency>();
                link->setLinkObject(paths[at]);
                ids[at] = manager->database()->addOdDbObject(link.get(), manager->objectId());
                made.append(ids[at]);
            }
        }
        return made;
    }
};

OdDbFullSubentPath face(OdDbObjectId entity, std::size_t number)
{
    return {Ids{entity},
            OdDbSubentId(OdDb::SubentType::kFaceSubentType, static_cast<std::int64_t>(number))};
}

double heapBytes()
{
    const struct mallinfo2 info = ::mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

/// What one run on one size came to: seconds of each kind of work, and sizes.
struct Work
{
    double append = 0;
    double save = 0;
    double load = 0;
    double lookUp = 0;  ///< in a second
    double attach = 0;
    double remove = 0;
    double finish = 0;
    double finish2 = 0;
    double memory = 0;  ///< bytes of a link
    double file = 0;    ///< bytes of a link
};

/// A drawing with links in model space.
class Links
{
public:
    Links(std::size_t count, std::size_t perEntity, std::filesystem::path const& file)
        : m_count(count), m_perEntity(perEntity), m_path(OdString::fromUtf8(file.string())),
          m_file(file), m_db(OdDbDatabase::createObject())
    {
        const OdDbBlockTableRecordPtr block = blockId().safeOpenObject(OdDb::kForWrite);
        for (std::size_t at = 0; at < m_count; at += m_perEntity) {
            m_entities.push_back(block->appendOdDbEntity(OdDbPoint::createObject().get()));
        }
        (void)ZemDbPersIdManager::getInstance(blockId(), true);
    }

    Work run()
    {
        Work work;
        const double base = heapBytes();
        work.append = append();
        work.memory = (heapBytes() - base) / static_cast<double>(m_count);
        save(work);
        work.load = load();
        work.lookUp = lookUp();
        work.attach = attach();
        work.remove = remove();
        watchAll();
        work.finish = finish(&ZemDbPersIdManager::finishRemap);
        return work;
    }
    /// Links that were merged before lie scattered: the other way of merging has a drawing of its own.
    double runFinish2()
    {
        (void)append();
        watchAll();
        return finish(&ZemDbPersIdManager::finishRemap2);
    }

private:
    OdDbObjectId blockId() const { return m_db->getModelSpaceId(); }
    ManagerPtr manager() const
    {
        return ZemDbPersIdManager::getInstance(blockId(), false).safeOpenObject(OdDb::kForWrite);
    }
    OdDbFullSubentPath pathOf(std::size_t link) const
    {
        return face(m_entities[link / m_perEntity], 1 + link % m_perEntity);
    }

    double append()
    {
        double seconds = 0;
        for (std::size_t first = 0; first < m_count; first += m_perEntity) {
            ZemSubentPathArray paths;
            for (std::size_t link = first; link < first + m_perEntity; ++link) {
                paths.append(pathOf(link));
            }
            const bench::Stopwatch watch;
            const Ids ids = manager()->append(paths, nullptr);
            seconds += watch.seconds();
            require(ids.size() == m_perEntity, "appending");
        }
        return seconds;
    }

    void save(Work& work)
    {
        const bench::Stopwatch watch;
        odDbSaveDrawingAs(*m_db, m_path);
        work.save = watch.seconds();
        const auto withLinks = static_cast<double>(std::filesystem::file_size(m_file));
        const OdDbDatabasePtr bare = OdDbDatabase::createObject();
        std::filesystem::path other = m_file;
        other += ".bare";
        odDbSaveDrawingAs(*bare, OdString::fromUtf8(other.string()));
        work.file = (withLinks - static_cast<double>(std::filesystem::file_size(other))) /
                    static_cast<double>(m_count);
    }

    /// Opens the drawing and touches every link.
    double load()
    {
        std::vector<OdDbHandle> handles;
        for (OdDbObjectId entity : m_entities) {
            handles.push_back(entity.getHandle());
        }
        m_db = nullptr;
        const bench::Stopwatch watch;
        m_db = odDbOpenDrawing(m_path, OdDbOpenDrawingMode::kForReading);
        std::size_t faces = 0;
        for (OdDbObjectId id : manager()->objectDependencyIds()) {
            faces += LinkPtr(id.safeOpenObject())->subentId().index() != 0 ? 1 : 0;
        }
        const double seconds = watch.seconds();
        require(faces == m_count, "loading");
        for (std::size_t at = 0; at < m_entities.size(); ++at) {
            m_entities[at] = m_db->getOdDbObjectId(handles[at]);
        }
        return seconds;
    }

    /// Look-ups in a second on the first entity, at random.
    double lookUp()
    {
        constexpr std::size_t kLookUps = 1'000'000;
        std::vector<OdDbFullSubentPath> paths;
        std::mt19937 random(1);
        for (std::size_t at = 0; at < kLookUps; ++at) {
            paths.push_back(face(m_entities[0], 1 + random() % m_perEntity));
        }
        const auto object = ZemDbObject::openZemDbObject(m_entities[0], OdDb::kForRead, false);
        require(object->getPersIdDependency(face(m_entities[0], m_perEntity + 1)).isNull(),
                "a missing link");  // the sweep over all links is not part of the rate
        std::size_t found = 0;
        const bench::Stopwatch watch;
        for (OdDbFullSubentPath const& path : paths) {
            found += object->getPersIdDependency(path).isNull() ? 0 : 1;
        }
        const double seconds = watch.seconds();
        require(found == kLookUps, "looking up");
        return static_cast<double>(kLookUps) / seconds;
    }

    double attach()
    {
        for (OdDbObjectId entity : m_entities) {
            ZemDbObject::openZemDbObject(entity, OdDb::kForWrite, false)
                ->removePersIdDependencies();
        }
        m_db->startUndoRecord();
        const bench::Stopwatch watch;
        manager()->attachDepsToZemDbObjects();
        const double seconds = watch.seconds();
        require(zemu::getAllPersIdDeps(m_entities.back()).size() == m_perEntity, "attaching");
        return seconds;
    }

    double remove()
    {
        m_db->startUndoRecord();
        const ManagerPtr opened = manager();
        const bench::Stopwatch watch;
        for (std::size_t link = 50; link < m_count; link += 100) {
            require(opened->removeLink(pathOf(link), 0), "removing");
        }
        const double seconds = watch.seconds();
        require(opened->objectDependencyIds().size() == m_count - m_count / 100, "what is left");
        return seconds;
    }

    /// One reactor on all links; the model objects serve.
    void watchAll()
    {
        m_db->clearUndo();
        const OdDbObjectId watcher =
            ZemDbObject::openZemDbObject(m_entities[0], OdDb::kForRead, false)->objectId();
        for (OdDbObjectId id : manager()->objectDependencyIds()) {
            id.safeOpenObject(OdDb::kForWrite)->addPersistentReactor(watcher);
        }
        m_watcher = watcher;
    }

    double finish(void (ZemDbPersIdManager::*finishing)(ZemDependenciesReplacementMap&))
    {
        m_db->startUndoRecord();
        const ManagerPtr opened = manager();
        Ids links = opened->objectDependencyIds();
        const std::size_t count = links.size();
        Ids led;
        ZemSubentPathArray paths;
        for (unsigned at = 0; at + 1 < links.size(); at += 100) {
            led.append(links[at]);
            paths.append(LinkPtr(links[at + 1].safeOpenObject())->getLinkObject(true));
        }
        require(opened->updatePairs(led, paths), "remapping");
        links = Ids();  // or the list would be copied when it changes
        ZemDependenciesReplacementMap map;
        const bench::Stopwatch watch;
        ((*opened).*finishing)(map);
        const double seconds = watch.seconds();
        const Ids after = opened->objectDependencyIds();
        require(after.size() == count - led.size(), "merging");
        for (unsigned at = after.size() - led.size(); at < after.size(); ++at) {
            after[at].safeOpenObject(OdDb::kForWrite)->addPersistentReactor(m_watcher);
        }
        return seconds;
    }

    const std::size_t m_count;
    const std::size_t m_perEntity;
    const OdString m_path;
    const std::filesystem::path m_file;
    OdDbDatabasePtr m_db;
    std::vector<OdDbObjectId> m_entities;
    OdDbObjectId m_watcher;
};

/// Both parts of a run, each in a process of its own: what was made and freed before decides where in
/// memory links lie.
Work runOn(std::size_t count, std::size_t perEntity, std::filesystem::path const& file)
{
    static constexpr double Work::*kOfFirst[] = {&Work::append, &Work::save,   &Work::load,
                                                 &Work::lookUp, &Work::attach, &Work::remove,
                                                 &Work::finish, &Work::memory, &Work::file};
    const bench::Figures first = bench::runInChild([&] {
                                     const Work work = Links(count, perEntity, file).run();
                                     bench::Figures figures;
                                     for (double Work::*figure : kOfFirst) {
                                         figures.push_back(work.*figure);
                                     }
                                     return figures;
                                 }).figures;
    Work work;
    for (std::size_t at = 0; at < std::size(kOfFirst); ++at) {
        work.*kOfFirst[at] = first[at];
    }
    work.finish2 = bench::runInChild([&] {
                       return bench::Figures{Links(count, perEntity, file).runFinish2()};
                   }).figures[0];
    return work;
}

/// A figure of all runs.
std::vector<double> figures(std::vector<Work> const& works, double Work::*figure)
{
    std::vector<double> values;
    for (Work const& work : works) {
        values.push_back(work.*figure);
    }
    return values;
}

void report(bench::ComparisonReport& table, std::size_t largeCount, std::vector<Work> const& large,
            std::vector<Work> const& small)
{
    const std::string sizes =
        ", " + std::to_string(largeCount) + " / " + std::to_string(largeCount / 10) + " links";
    const auto growth = [&](char const* what, double Work::*seconds) {
        table.add({what + sizes, "ms", 1e3 * bench::median(figures(large, seconds)),
                   1e3 * bench::median(figures(small, seconds)), bench::GoalKind::kAtMost, 13});
    };
    growth("append", &Work::append);
    growth("removeLink, 1 %", &Work::remove);
    growth("finishRemap, 1 % merged", &Work::finish);
    growth("finishRemap2, 1 % merged", &Work::finish2);
    growth("attachDepsToZemDbObjects", &Work::attach);
    growth("save", &Work::save);
    growth("open and touch all", &Work::load);
    table.add({"getPersIdDependency, small block", "1/s",
               bench::median(figures(small, &Work::lookUp)), kLookUpLimit,
               bench::GoalKind::kAtLeast, 1});
    table.add({"getPersIdDependency, large block", "1/s",
               bench::median(figures(large, &Work::lookUp)), kLookUpLimit,
               bench::GoalKind::kAtLeast, 1});
    table.add({"memory of a plain link", "bytes", bench::median(figures(large, &Work::memory)),
               kMemoryLimit, bench::GoalKind::kAtMost, 1});
    table.add({"file size of a plain link", "bytes", bench::median(figures(large, &Work::file)),
               kFileLimit, bench::GoalKind::kAtMost, 1});
}

}  // namespace

int main(int argc, char** argv)
{
    const bench::BenchOptions options = bench::parseBenchOptions(argc, argv);
    const Module module;
    const OdSmartPtr<LinkMaker> maker = odrxMake<LinkMaker>();
    (void)ZemDbPersIdManager::desc()->addX(ZemDbPersIdManagerPE::desc(), maker.get());
    const bench::BenchFolder folder;
    const std::size_t smallCount = options.isBrief ? 10'000 : 100'000;
    std::vector<Work> small;
    std::vector<Work> large;
    for (int run = 0; run < options.runs; ++run) {
        small.push_back(runOn(smallCount, smallCount, folder.path() / "small.zdw"));
        large.push_back(runOn(10 * smallCount, smallCount, folder.path() / "large.zdw"));
    }
    bench::ComparisonReport table("links", "smaller / limit");
    report(table, 10 * smallCount, large, small);
    bench::finishReport(table, options);
    (void)ZemDbPersIdManager::desc()->delX(ZemDbPersIdManagerPE::desc());
    return 0;
}
