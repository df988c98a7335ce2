// Links of a block that lead into external drawings, and drawings that are saved and opened again.

#include "db/od_db_xrecord.h"

#include "stored_link_test_support.h"
#include "zem_db_object.h"
#include "zem_db_persid_manager.h"
#include "zem_dependencies_replacement_map.h"
#include "zem_link_utils.h"

namespace {

using namespace stored_link_test;
using Paths = ZemSubentPathArray;
using Ids = OdDbObjectIdArray;

/// Makes a link for each path, fit or not.
class AnyLinkMaker : public ZemDbPersIdManagerPE
{
public:
    void validatePaths(ZemDbPersIdManager*, Paths&, OdDbDatabase*) override {}
    void collectExistingDependencies(ZemDbPersIdManager*, Paths const& paths, Ids& ids) override
    {
        ids.resize(paths.size(), OdDbObjectId());
    }
    void remapDependency(ZemDbPersIdManager*, OdDbObjectId dependencyId,
                         OdDbFullSubentPath const& path) override
    {
        ZemDbObjectDependencyPtr(dependencyId.safeOpenObject(OdDb::kForWrite))->setLinkObject(path);
    }
    Ids createDependencies(ZemDbPersIdManager* manager, Paths const& paths, OdDbUserIO*,
                           Ids& ids) override
    {
        for (unsigned at = 0; at < paths.size(); ++at) {
            const ZemDbObjectDependencyPtr link = odrxMake<ZemDbObjectDependency>();
            ids[at] = manager->database()->addOdDbObject(link.get(), manager->objectId());
            link->setLinkObject(paths[at]);
        }
        return ids;
    }
};

/// Model space has links to a solid, and through references into external drawings.
class PersIdManagerExternal : public ExternalLinkTest
{
protected:
    PersIdManagerExternal()
    {
        (void)ZemDbPersIdManager::desc()->addX(ZemDbPersIdManagerPE::desc(), m_host.get());
        m_paths = {face(m_nested, 1), face(pathToPart(), 1), face(pathToPart(), 2),
                   face(pathToInsert(), 1), face(pathThroughAssembly(), 1)};
        m_links = manager()->append(m_paths, nullptr);
    }
    ~PersIdManagerExternal() override
    {
        (void)ZemDbPersIdManager::desc()->delX(ZemDbPersIdManagerPE::desc());
    }

    static OdDbFullSubentPath face(Ids const& ids, int number)
    {
        return {ids, OdDbSubentId(kFace, number)};
    }
    OdSmartPtr<ZemDbPersIdManager> manager(OdDb::OpenMode mode = OdDb::kForWrite) const
    {
        return ZemDbPersIdManager::getInstance(m_database->getModelSpaceId(), true)
            .safeOpenObject(mode);
    }
    /// Saves, closes and opens the drawing.
    void reopen()
    {
        odDbSaveDrawingAs(*m_database, path("host.zdw"));
        const auto again = [this](OdDbObjectId& id) {
            const OdDbHandle handle = id.getHandle();
            return [this, handle, &id] { id = m_database->getOdDbObjectId(handle); };
        };
        std::vector<std::function<void()>> renew;
        for (OdDbObjectId* id : {&m_block, &m_reference, &m_assemblyBlock, &m_assemblyReference}) {
            renew.push_back(again(*id));
        }
        for (OdDbObjectId& id : m_links) {
            renew.push_back(again(id));
        }
        for (OdDbObjectId& id : m_nested) {
            renew.push_back(again(id));
        }
        m_paths.clear();
        m_database = nullptr;
        m_database = odDbOpenDrawing(path("host.zdw"), OdDbOpenDrawingMode::kForWriting);
        for (auto const& one : renew) {
            one();
        }
    }
    void load()
    {
        (void)OdDbXRefMan::load(m_block);
        (void)OdDbXRefMan::load(m_assemblyBlock);
    }

    OdSmartPtr<AnyLinkMaker> m_host = odrxMake<AnyLinkMaker>();
    Paths m_paths;
    Ids m_links;
};

TEST_F(PersIdManagerExternal, LinksAreListedByTheReferenceThatTheyStartAt)
{
    ASSERT_EQ(m_links.size(), 5u);
    EXPECT_EQ(zemu::getAllPersIdDeps(m_reference), (Ids{m_links[1], m_links[2], m_links[3]}));
    EXPECT_EQ(zemu::getAllPersIdDeps(m_assemblyReference), Ids{m_links[4]});
    EXPECT_EQ(zemu::findDepByFSP(m_paths[3]), m_links[3]);
}

TEST_F(PersIdManagerExternal, LinksAreFoundByPathsThroughExternalDrawings)
{
    for (unsigned at = 0; at < m_paths.size(); ++at) {
        EXPECT_EQ(manager()->computeDepId(m_paths[at]), Ids{m_links[at]}) << at;
    }
    EXPECT_TRUE(manager()->computeDepId(face(pathToPart(), 3)).isEmpty());
}

TEST_F(PersIdManagerExternal, LinksAreFoundAfterAReload)
{
    EXPECT_EQ(manager()->computeDepId(m_paths[1]), Ids{m_links[1]});
    ASSERT_EQ(OdDbXRefMan::reload(m_block), kOdOk);
    EXPECT_EQ(manager()->computeDepId(face(pathToPart(), 1)), Ids{m_links[1]});
    EXPECT_EQ(manager()->computeDepId(m_paths[1]), Ids{m_links[1]}) << "by the ids from before";
    EXPECT_TRUE(manager()->removeLink(face(pathToPart(), 1), 0));
    EXPECT_EQ(manager()->objectDependencyIds().size(), 4u);
}

namespace {

/// Does something when it hears for the first time that an object is about to change.
class OnChange : public OdDbXrecord
{
public:
    void openedForModify(OdDbObject const*) override
    {
        std::exchange(m_action, [] {})();
    }

    std::function<void()> m_action = [] {};
};

/// The external drawing isn't loaded; something is done when that comes about.
class PersIdManagerLoading : public PersIdManagerExternal
{
protected:
    /// Puts it into the state in which a look-up loads the drawing.
    void unloadAndWatch(std::function<void()> action)
    {
        m_paths.clear();
        ASSERT_EQ(OdDbXRefMan::unload(m_block), kOdOk);
        const OdSmartPtr<OnChange> watcher = odrxMake<OnChange>();
        const OdDbObjectId id = m_database->addOdDbObject(watcher.get());
        m_block.safeOpenObject(OdDb::kForWrite)->addPersistentReactor(id);
        watcher->m_action = [this, action] {
            m_isDone = true;
            action();
        };
    }

    bool m_isDone = false;
};

}  // namespace

TEST_F(PersIdManagerLoading, LinksAreFoundWhileAListenerReadsTheList)
{
    // The second one is nobody's to tell of, so each look-up follows it.
    ZemDbObjectDependencyPtr(m_links[1].safeOpenObject(OdDb::kForWrite))
        ->setOwnerId(m_database->addOdDbObject(OdDbXrecord::createObject().get()));
    const OdDbObjectId last = manager()->append(Paths{face(m_nested, 2)}, nullptr)[0];
    ASSERT_TRUE(manager()->removeLink(m_paths[0], 0));
    unloadAndWatch([this] { (void)manager(OdDb::kForRead)->objectDependencyIds(); });
    EXPECT_EQ(manager()->computeDepId(face(m_nested, 2)), Ids{last});
    EXPECT_TRUE(m_isDone);
}

TEST_F(PersIdManagerLoading, LinksAreFoundWhileAListenerTakesOthersOff)
{
    ZemDbObjectDependencyPtr(m_links[1].safeOpenObject(OdDb::kForWrite))
        ->setOwnerId(m_database->addOdDbObject(OdDbXrecord::createObject().get()));
    const OdDbObjectId last = manager()->append(Paths{face(m_nested, 2)}, nullptr)[0];
    unloadAndWatch([this] {
        manager()->removeDependencies({m_links[0], m_links[2], m_links[3], m_links[4]});
        (void)manager()->objectDependencyIds();
    });
    EXPECT_EQ(manager()->computeDepId(face(m_nested, 2)), Ids{last});
    EXPECT_TRUE(m_isDone);
    EXPECT_EQ(manager()->objectDependencyIds(), (Ids{m_links[1], last}));
}

TEST_F(PersIdManagerLoading, LinksAreMergedThoughAListenerErasesTheFirstOne)
{
    const Ids again = manager()->append(Paths{m_paths[0], m_paths[1]}, nullptr);
    unloadAndWatch([this] { (void)m_links[0].safeOpenObject(OdDb::kForWrite)->erase(); });
    ZemDependenciesReplacementMap map;
    manager()->finishRemap2(map);
    EXPECT_TRUE(m_isDone);
    const Ids merged = manager()->computeDepId(face(m_nested, 1));
    ASSERT_EQ(merged.size(), 1u);
    EXPECT_NE(merged[0], again[0]);
    ZemDependenciesReplacementMap::IdSet successors;
    EXPECT_TRUE(map.contains(again[0], successors));
    EXPECT_EQ(successors.count(merged[0]), 1u);
}

TEST_F(PersIdManagerExternal, LinksAreFoundWhenTheDrawingWasOpenedAgain)
{
    reopen();
    EXPECT_EQ(manager()->objectDependencyIds(), m_links);
    load();
    const OdDbFullSubentPath paths[] = {face(m_nested, 1), face(pathToPart(), 1),
                                        face(pathToPart(), 2), face(pathToInsert(), 1),
                                        face(pathThroughAssembly(), 1)};
    for (unsigned at = 0; at < m_links.size(); ++at) {
        EXPECT_EQ(manager()->computeDepId(paths[at]), Ids{m_links[at]}) << at;
        EXPECT_EQ(zemu::findDepByFSP(paths[at]), m_links[at]) << at;
    }
    EXPECT_TRUE(manager()->removeLink(paths[4], 0));
    EXPECT_TRUE(zemu::getAllPersIdDeps(m_assemblyReference).isEmpty());
}

TEST_F(PersIdManagerExternal, LinksIntoAMissingDrawingStayAndAreNoError)
{
    std::filesystem::remove(m_folder / "part.zdw");
    reopen();
    const auto opened = manager();
    OdDbFullSubentPath found;
    for (const unsigned at : {1u, 2u, 3u, 4u}) {
        EXPECT_EQ(open(m_links[at])->getLinkObject(found, true), kOdUnresolvedPath) << at;
    }
    ZemDependenciesReplacementMap map;
    opened->finishRemap(map);
    opened->finishRemap2(map);
    EXPECT_TRUE(map.isEmpty());
    EXPECT_EQ(opened->objectDependencyIds(), m_links);
    EXPECT_EQ(opened->computeDepId(face(m_nested, 1)), Ids{m_links[0]});
    EXPECT_TRUE(opened->computeDepId(face(Ids{m_reference}, 1)).isEmpty());
    opened->audit();
    EXPECT_EQ(opened->objectDependencyIds(), m_links) << "their references have model objects";
    opened->removeDependencies(m_links);
    EXPECT_TRUE(opened->objectDependencyIds().isEmpty());
    EXPECT_TRUE(zemu::getAllPersIdDeps(m_reference).isEmpty());
}

TEST_F(PersIdManagerExternal, LinksThroughExternalDrawingsAreMerged)
{
    EXPECT_TRUE(manager()->updatePairs(Ids{m_links[2]}, Paths{m_paths[1]}));
    ZemDependenciesReplacementMap map;
    manager()->finishRemap2(map);
    const Ids left = manager()->objectDependencyIds();
    ASSERT_EQ(left.size(), 4u);
    EXPECT_EQ(manager()->computeDepId(m_paths[1]), Ids{left[3]});
    EXPECT_EQ(zemu::getAllPersIdDeps(m_reference), (Ids{m_links[3], left[3]}));
}

TEST_F(PersIdManagerExternal, ClonesOfABlockLeadIntoTheSameExternalDrawing)
{
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    const OdDbObjectId block = addBlock(*m_database, L"Host");
    const OdDbObjectId reference = appendReference(block, m_block);
    const OdSmartPtr<ZemDbPersIdManager> source =
        ZemDbPersIdManager::getInstance(block, true).safeOpenObject(OdDb::kForWrite);
    Ids ids = pathToPart();
    ids[0] = reference;
    (void)source->append(Paths{face(ids, 1)}, nullptr);
    const OdDbObjectId copy = m_database->copyBlock(block, L"Copy", *mapping);
    const OdSmartPtr<ZemDbPersIdManager> clone =
        ZemDbPersIdManager::getInstance(copy, false).safeOpenObject();
    OdDbIdPair pair(reference);
    ASSERT_TRUE(mapping->compute(pair));
    ids[0] = pair.value();
    EXPECT_EQ(clone->computeDepId(face(ids, 1)), clone->objectDependencyIds());
    EXPECT_EQ(clone->objectDependencyIds().size(), 1u);
}

}  // namespace
