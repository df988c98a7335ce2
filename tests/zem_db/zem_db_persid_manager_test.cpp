#include "db/od_db_dictionary.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_memory_filer.h"
#include "db/od_db_xrecord.h"
#include "root/od_error.h"

#include "flaky_store_test_support.h"
#include "link_test_support.h"
#include "zem_db_constraint_manager.h"
#include "zem_db_feature_manager.h"
#include "zem_db_object.h"
#include "zem_db_sheet_metal_context.h"
#include "zem_dependencies_replacement_map.h"
#include "zem_feature.h"
#include "zem_link_list.h"
#include "zem_properties.h"

#include <rapidcheck/gtest.h>

#include <algorithm>
#include <functional>
#include <set>

namespace link_test {
namespace {

using Paths = ZemSubentPathArray;
using Ids = OdDbObjectIdArray;
using Map = ZemDependenciesReplacementMap;

template <class Call>
OdResult thrownCode(Call&& call)
{
    try {
        std::forward<Call>(call)();
    } catch (OdError const& error) {
        return error.code();
    }
    return kOdOk;
}

/// A drawing whose model space has a manager of links and two solids with nine parts of each kind.
class PersIdManager : public testing::Test
{
protected:
    ManagerPtr manager(OdDb::OpenMode mode = OdDb::kForWrite) const
    {
        return m_managerId.safeOpenObject(mode);
    }
    Ids deps() const { return manager(OdDb::kForRead)->objectDependencyIds(); }
    OdDbFullSubentPath face(std::int64_t number) const { return pathTo(m_solid, 0, number); }
    Paths faces(std::initializer_list<std::int64_t> numbers) const
    {
        Paths paths;
        for (std::int64_t number : numbers) {
            paths.append(face(number));
        }
        return paths;
    }
    /// Links faces of the first solid.
    Ids link(std::initializer_list<std::int64_t> numbers)
    {
        return manager()->append(faces(numbers), nullptr);
    }
    /// The same, each with a link of its own.
    Ids linkAnew(std::initializer_list<std::int64_t> numbers)
    {
        m_scope.host().reusesLinks = false;
        const Ids ids = link(numbers);
        m_scope.host().reusesLinks = true;
        return ids;
    }
    OdDbObjectId watch(Ids const& links) { return addWatcher(*m_db, links); }
    Ids listedBy(OdDbObjectId entity) const { return zemu::getAllPersIdDeps(entity); }
    OdDbObjectId addRecord(OdDbObjectId owner = OdDbObjectId())
    {
        return m_db->addOdDbObject(OdDbXrecord::createObject().get(), owner);
    }
    static void erase(OdDbObjectId id)
    {
        ASSERT_EQ(id.safeOpenObject(OdDb::kForWrite)->erase(), kOdOk);
    }
    static void unerase(OdDbObjectId id)
    {
        ASSERT_EQ(id.safeOpenObject(OdDb::kForWrite, true)->erase(false), kOdOk);
    }
    static void setPath(OdDbObjectId link, OdDbFullSubentPath const& path)
    {
        openLink(link, OdDb::kForWrite)->setLinkObject(path);
    }
    /// Writes an id into the list, past the operations.
    void listAnything(OdDbObjectId id)
    {
        ZemPropertyArray<OdDbTypedId> ids;
        for (OdDbObjectId listed : deps()) {
            ids.push_back({listed, OdDb::ReferenceType::kHardOwnershipRef});
        }
        ids.push_back({id, OdDb::ReferenceType::kHardOwnershipRef});
        const ManagerPtr opened = manager();
        ASSERT_TRUE(opened->getWriteProperties().getProperty(L"deps")->set(ids));
    }

    /// Has the list hold an id alone, many times.
    void listOften(OdDbObjectId id, std::size_t times)
    {
        ZemPropertyArray<OdDbTypedId> ids;
        for (std::size_t at = 0; at < times; ++at) {
            ids.push_back({id, OdDb::ReferenceType::kHardOwnershipRef});
        }
        const ManagerPtr opened = manager();
        ASSERT_TRUE(opened->getWriteProperties().getProperty(L"deps")->set(ids));
    }

    LinkScope m_scope;
    OdDbDatabasePtr m_db = OdDbDatabase::createObject();
    OdDbObjectId m_block = m_db->getModelSpaceId();
    OdDbObjectId m_solid = addSolid(m_block, 9);
    OdDbObjectId m_other = addSolid(m_block, 9);
    OdDbObjectId m_managerId = ZemDbPersIdManager::getInstance(m_block, true);
};

class PersIdManagerUndo : public PersIdManager
{
protected:
    PersIdManagerUndo()
    {
        m_links = link({1, 2, 3, 4});
        m_watcher = watch({m_links[0], m_links[1]});
    }
    void mark() { m_db->startUndoRecord(); }
    void undo() { ASSERT_EQ(m_db->undo(), kOdOk); }
    void redo() { ASSERT_EQ(m_db->redo(), kOdOk); }

    Ids m_links;
    OdDbObjectId m_watcher;
};

/// Two blocks with a solid and links each; what one has is cloned into the other.
class PersIdManagerMerge : public PersIdManager
{
protected:
    PersIdManagerMerge()
    {
        m_source = addBlock(*m_db, L"Source");
        m_sourceSolid = addSolid(m_source, 9);
        m_sourceManager = ZemDbPersIdManager::getInstance(m_source, true);
        const ManagerPtr opened = m_sourceManager.safeOpenObject(OdDb::kForWrite);
        m_sourceLinks = opened->append(
            Paths{pathTo(m_sourceSolid, 0, 1), pathTo(m_sourceSolid, 1, 2)}, nullptr);
    }
    /// Clones the source's solid into model space, and the manager beside it.
    ManagerPtr cloneAll()
    {
        m_db->deepCloneObjects(Ids{m_sourceSolid}, m_block, *m_mapping,
                               /*defersTranslation=*/true);
        m_db->deepCloneObjects(Ids{m_sourceManager}, place(), *m_mapping);
        return cloneOf(m_sourceManager).safeOpenObject(OdDb::kForWrite);
    }
    /// A dictionary for managers of no block.
    OdDbObjectId place() const { return zemu::createDict(m_db.get(), L"CLONES", OdDbObjectId()); }
    OdDbObjectId cloneOf(OdDbObjectId id) const
    {
        OdDbIdPair pair(id);
        return m_mapping->compute(pair) ? pair.value() : OdDbObjectId();
    }
    OdResult merge(OdDbObject* source)
    {
        return manager()->mergeManagers(source, *m_mapping, ZemDbReverseIdMapping(*m_mapping),
                                        m_changed, false);
    }

    OdDbObjectId m_source;
    OdDbObjectId m_sourceSolid;
    OdDbObjectId m_sourceManager;
    Ids m_sourceLinks;
    OdDbIdMappingPtr m_mapping = OdDbIdMapping::createObject();
    ZemDbPersIdManager::IdSet m_changed;
};

//--------------------------------------------------------------------------------------------------
// Finding

TEST_F(PersIdManager, IsMadeOnceInTheBlocksExtensionDictionary)
{
    const OdDbObjectId extension = m_block.safeOpenObject()->extensionDictionary();
    const OdDbObjectId named =
        OdDbDictionaryPtr(extension.safeOpenObject())->getAt(L"ZEM_DATABASE");
    EXPECT_EQ(OdDbDictionaryPtr(named.safeOpenObject())->getAt(L"PERSIDMANAGER"), m_managerId);
    EXPECT_EQ(m_managerId.objectClass(), ZemDbPersIdManager::desc());
    EXPECT_EQ(ZemDbPersIdManager::getInstance(m_block, true), m_managerId);
    EXPECT_EQ(ZemDbPersIdManager::getInstance(m_block, false), m_managerId);
}

TEST_F(PersIdManager, IsNotMadeByLookingForIt)
{
    const OdDbObjectId block = addBlock(*m_db, L"Empty");
    EXPECT_TRUE(ZemDbPersIdManager::getInstance(block, false).isNull());
    EXPECT_TRUE(block.safeOpenObject()->extensionDictionary().isNull());
    EXPECT_TRUE(ZemDbPersIdManager::getInstance(OdDbObjectId(), true).isNull());
    erase(block);
    EXPECT_TRUE(ZemDbPersIdManager::getInstance(block, true).isNull());
}

TEST_F(PersIdManager, IsNotWhatElseStandsUnderItsKey)
{
    const OdDbObjectId block = addBlock(*m_db, L"Other");
    (void)zemu::getObjInExtDict(block, g_persIdManName, OdDbXrecord::desc());
    EXPECT_TRUE(ZemDbPersIdManager::getInstance(block, false).isNull());
    EXPECT_TRUE(ZemDbPersIdManager::getInstance(block, true).isNull());
    EXPECT_EQ(zemu::getAllPersIdManagers(m_db.get()), Ids{m_managerId});
}

TEST_F(PersIdManager, CantBeLookedForWhereTheSubDictionaryIsNone)
{
    const OdDbObjectId block = addBlock(*m_db, L"Other");
    const OdDbObjectPtr opened = block.safeOpenObject(OdDb::kForWrite);
    opened->createExtensionDictionary();
    const OdDbDictionaryPtr extension =
        opened->extensionDictionary().safeOpenObject(OdDb::kForWrite);
    extension->setAt(kZemDatabaseKey, OdDbXrecord::createObject().get());
    EXPECT_EQ(thrownCode([&] { ZemDbPersIdManager::getInstance(block, false); }),
              kOdNotThatKindOfClass);
    EXPECT_EQ(thrownCode([&] { ZemDbPersIdManager::getInstance(block, true); }),
              kOdNotThatKindOfClass);
}

TEST_F(PersIdManager, KnowsItsBlock)
{
    EXPECT_EQ(manager()->blockId(), m_block);
    const OdDbObjectId block = addBlock(*m_db, L"Other");
    const ManagerPtr other = ZemDbPersIdManager::getInstance(block, true).safeOpenObject();
    EXPECT_EQ(other->blockId(), block);
}

TEST_F(PersIdManager, HasNoBlockWhereItsOwnersAreNone)
{
    const ManagerPtr outside = odrxMake<ZemDbPersIdManager>();
    EXPECT_TRUE(outside->blockId().isNull());

    const OdDbObjectId owners[] = {
        OdDbObjectId(), m_solid,                     // no dictionary
        m_db->getNamedObjectsDictionaryId(),         // not in a dictionary
        m_db->getMaterialDictionaryId(true),         // not in an extension dictionary
        zemu::createDict(m_db.get(), L"A", m_solid)  // of something else than a block
    };
    for (OdDbObjectId owner : owners) {
        const ManagerPtr elsewhere = odrxMake<ZemDbPersIdManager>();
        (void)m_db->addOdDbObject(elsewhere.get(), owner);
        EXPECT_TRUE(elsewhere->blockId().isNull()) << owner.getHandle().value();
    }
}

TEST_F(PersIdManager, IsFoundForEachBlockOfADrawing)
{
    const OdDbObjectId block = addBlock(*m_db, L"A");
    (void)addBlock(*m_db, L"B");
    const OdDbObjectId other = ZemDbPersIdManager::getInstance(block, true);
    const Ids found = zemu::getAllPersIdManagers(m_db.get());
    EXPECT_EQ(std::set<OdDbObjectId>(found.begin(), found.end()),
              (std::set<OdDbObjectId>{m_managerId, other}));
    erase(other);
    EXPECT_EQ(zemu::getAllPersIdManagers(m_db.get()), Ids{m_managerId});
    EXPECT_TRUE(zemu::getAllPersIdManagers(nullptr).isEmpty());
}

TEST_F(PersIdManager, ReadersAreRefusedWhenItIsClosed)
{
    ZemDbPersIdManager const* const closed = manager().get();
    const auto codes = {
        thrownCode([&] { (void)closed->blockId(); }),
        thrownCode([&] { (void)closed->objectDependencyIds(); }),
        thrownCode([&] { (void)closed->computeDepId(face(1)); }),
        thrownCode([&] { (void)closed->getUnusedDependencies(); }),
        thrownCode([&] { closed->attachDepsToZemDbObjects(); }),
        thrownCode([&] { (void)closed->getReadProperties(); }),
    };
    for (OdResult code : codes) {
        EXPECT_EQ(code, kOdNotOpenForRead);
    }
}

TEST_F(PersIdManager, WritersAreRefusedWhenItIsOpenForReading)
{
    const Ids ids = link({1});
    const ManagerPtr reading = manager(OdDb::kForRead);
    Map map;
    const auto codes = {
        thrownCode([&] { (void)reading->append(faces({2}), nullptr); }),
        thrownCode([&] { (void)reading->updatePairs(ids, faces({2})); }),
        thrownCode([&] {
            (void)reading->split(ids[0], faces({2, 3}), map);
        }),
        thrownCode([&] { reading->finishRemap(map); }),
        thrownCode([&] { reading->finishRemap2(map); }),
        thrownCode([&] { (void)reading->removeLink(face(1), 0); }),
        thrownCode([&] { reading->removeDependencies(ids); }),
        thrownCode([&] { reading->onAppendToOwner(openLink(ids[0]).get()); }),
        thrownCode([&] { reading->audit(); }),
        thrownCode([&] { (void)reading->getWriteProperties(); }),
    };
    for (OdResult code : codes) {
        EXPECT_EQ(code, kOdNotOpenForWrite);
    }
    EXPECT_EQ(deps(), ids);
}

TEST_F(PersIdManager, FindsAllLinksOfAPathInTheirOrder)
{
    const Ids first = linkAnew({1, 2, 1});
    const Ids second = linkAnew({3, 1});
    EXPECT_EQ(manager()->computeDepId(face(1)), (Ids{first[0], first[2], second[1]}));
    EXPECT_EQ(manager()->computeDepId(face(3)), Ids{second[0]});
    EXPECT_TRUE(manager()->computeDepId(face(4)).isEmpty());
    EXPECT_TRUE(manager()->computeDepId(pathTo(m_solid, 1, 1)).isEmpty());
    EXPECT_TRUE(manager()->computeDepId(pathTo(m_other, 0, 1)).isEmpty());
}

TEST_F(PersIdManager, FindsALinkByThePathThatItHasNow)
{
    const Ids ids = link({1, 2});
    EXPECT_EQ(manager()->computeDepId(face(1)), Ids{ids[0]});
    setPath(ids[0], face(5));
    EXPECT_TRUE(manager()->computeDepId(face(1)).isEmpty());
    EXPECT_EQ(manager()->computeDepId(face(5)), Ids{ids[0]});
    setPath(ids[0], face(1));
    setPath(ids[0], face(2));
    EXPECT_EQ(manager()->computeDepId(face(2)), (Ids{ids[0], ids[1]}));
    setPath(ids[0], face(1));
    EXPECT_EQ(manager()->computeDepId(face(1)), Ids{ids[0]});
    for (int round = 0; round < 300; ++round) {
        setPath(ids[1], face(3 + round % 5));
        EXPECT_EQ(manager()->computeDepId(face(3 + round % 5)), Ids{ids[1]});
    }
    ZemCompoundObjectId chain;
    chain.setTopId(m_other);
    openLink(ids[0], OdDb::kForWrite)->setCompoundId(chain);
    EXPECT_EQ(manager()->computeDepId(pathTo(m_other, 0, 1)), Ids{ids[0]});
}

TEST_F(PersIdManager, DoesntFindLinksThatCantBeOpened)
{
    const Ids ids = linkAnew({1, 1});
    EXPECT_EQ(manager()->computeDepId(face(1)), ids);
    erase(ids[0]);
    EXPECT_EQ(manager()->computeDepId(face(1)), Ids{ids[1]});
    unerase(ids[0]);
    EXPECT_EQ(manager()->computeDepId(face(1)), ids);
}

TEST_F(PersIdManager, FindsLinksThatGetTheirPathLaterOrBelongToOthers)
{
    const LinkPtr bare = odrxMake<ZemDbObjectDependency>();
    const OdDbObjectId bareId = m_db->addOdDbObject(bare.get(), m_managerId);
    const LinkPtr foreign = odrxMake<ZemDbObjectDependency>();
    const OdDbObjectId foreignId = m_db->addOdDbObject(foreign.get(), m_block);
    foreign->setLinkObject(face(1));
    listAnything(bareId);
    listAnything(foreignId);
    listAnything(m_solid);
    listAnything(OdDbObjectId());
    EXPECT_EQ(manager()->computeDepId(OdDbFullSubentPath()), Ids{bareId});
    EXPECT_EQ(manager()->computeDepId(face(1)), Ids{foreignId});
    foreign->setLinkObject(face(2));
    bare->setLinkObject(face(2));
    EXPECT_EQ(manager()->computeDepId(face(2)), (Ids{bareId, foreignId}));
    EXPECT_TRUE(manager()->computeDepId(face(1)).isEmpty());
}

TEST_F(PersIdManager, FindsALinkWhosePathWasSetWhileItWasErased)
{
    const Ids ids = link({1});
    ASSERT_EQ(manager()->computeDepId(face(1)), ids);
    erase(m_managerId);
    setPath(ids[0], face(2));
    unerase(m_managerId);
    EXPECT_EQ(manager()->computeDepId(face(2)), ids);
    EXPECT_TRUE(manager()->computeDepId(face(1)).isEmpty());
}

TEST_F(PersIdManager, FindsALinkWhosePathWasSetAfterItChangedHands)
{
    const Ids ids = link({1, 2, 3});
    ASSERT_EQ(manager()->computeDepId(face(1)), Ids{ids[0]});
    openLink(ids[2], OdDb::kForWrite)->setOwnerId(OdDbObjectId());
    setPath(ids[2], face(7));
    EXPECT_EQ(manager()->computeDepId(face(7)), Ids{ids[2]});
    const OdDbObjectId other = ZemDbPersIdManager::getInstance(addBlock(*m_db, L"B"), true);
    openLink(ids[0], OdDb::kForWrite)->setOwnerId(other);
    setPath(ids[0], face(5));
    openLink(ids[1], OdDb::kForWrite)->setOwnerId(addRecord());
    setPath(ids[1], face(6));
    EXPECT_EQ(manager()->computeDepId(face(5)), Ids{ids[0]});
    EXPECT_EQ(manager()->computeDepId(face(6)), Ids{ids[1]});
    EXPECT_TRUE(manager()->computeDepId(face(1)).isEmpty());
    ZemCompoundObjectId chain;
    chain.setTopId(m_other);
    openLink(ids[0], OdDb::kForWrite)->setCompoundId(chain);
    EXPECT_EQ(manager()->computeDepId(pathTo(m_other, 0, 5)), Ids{ids[0]});
}

TEST_F(PersIdManager, FindsLinksOfAnEntityThatStandsForAnother)
{
    const Ids ids = link({1, 2});
    ASSERT_EQ(manager()->computeDepId(face(1)), Ids{ids[0]});
    ASSERT_TRUE(manager()->computeDepId(pathTo(m_other, 0, 1)).isEmpty());
    m_solid.redirectTo(m_other);
    EXPECT_EQ(manager()->computeDepId(pathTo(m_other, 0, 1)), Ids{ids[0]});
    EXPECT_EQ(manager()->computeDepId(face(1)), Ids{ids[0]});
    m_solid.redirectTo(OdDbObjectId());
    EXPECT_EQ(manager()->computeDepId(face(2)), Ids{ids[1]});
    EXPECT_TRUE(manager()->computeDepId(pathTo(m_other, 0, 2)).isEmpty());
}

TEST_F(PersIdManager, RemovesALinkByAnIdThatStandsForIt)
{
    const Ids ids = link({1, 2, 3});
    const OdDbObjectId alias = addRecord();
    alias.redirectTo(ids[1]);
    manager()->removeDependencies(Ids{alias});
    EXPECT_EQ(deps(), (Ids{ids[0], ids[2]}));
    alias.redirectTo(OdDbObjectId());
    EXPECT_EQ(deps(), (Ids{ids[0], ids[2]}));
}

TEST_F(PersIdManager, NoticesAListThatIsSetThroughABagThatIsHeld)
{
    const Ids ids = link({1, 2, 3});
    const ManagerPtr opened = manager();
    const ZemPropertyDataPtr node = opened->getWriteProperties().getProperty(L"deps");
    ZemPropertyArray<OdDbTypedId> all;
    for (OdDbObjectId id : ids) {
        all.push_back({id, OdDb::ReferenceType::kHardOwnershipRef});
    }
    ASSERT_TRUE(opened->removeLink(face(1), 0));
    ASSERT_TRUE(node->set(all));
    EXPECT_EQ(deps(), ids) << "as long as before, and with the removed link";
    EXPECT_EQ(opened->computeDepId(face(1)), Ids{ids[0]});

    std::reverse(all.begin(), all.end());
    ASSERT_TRUE(node->set(all));
    EXPECT_TRUE(opened->removeLink(face(3), 0));
    EXPECT_EQ(deps(), (Ids{ids[1], ids[0]}));
}

TEST_F(PersIdManager, NoticesAListThatIsSetThroughABagBeforeNothingIsRemoved)
{
    const Ids ids = link({1, 2, 3});
    const ManagerPtr opened = manager();
    const ZemPropertyDataPtr node = opened->getWriteProperties().getProperty(L"deps");
    ZemPropertyArray<OdDbTypedId> all;
    for (OdDbObjectId id : ids) {
        all.push_back({id, OdDb::ReferenceType::kHardOwnershipRef});
    }
    ASSERT_TRUE(opened->removeLink(face(1), 0));
    ASSERT_TRUE(node->set(all));
    opened->removeDependencies({});
    EXPECT_EQ(deps(), ids);
}

TEST_F(PersIdManager, RemovesALinkThatIsListedVeryOften)
{
    const Ids ids = link({1, 2});
    listOften(ids[0], 200000);
    listAnything(ids[1]);
    EXPECT_TRUE(manager()->removeLink(face(1), 0));
    EXPECT_EQ(deps(), Ids{ids[1]});
}

TEST_F(PersIdManager, RewritesALinkThatIsListedVeryOften)
{
    const Ids ids = link({1});
    constexpr std::size_t kTimes = 50000;
    listOften(ids[0], kTimes);
    const Ids found = manager()->computeDepId(face(1));
    ASSERT_EQ(found.size(), kTimes);
    Paths paths;
    for (std::size_t at = 0; at < kTimes; ++at) {
        paths.append(face(1 + static_cast<std::int64_t>(at) % 9));
    }
    paths.append(face(3));
    EXPECT_TRUE(manager()->updatePairs(found, paths));
    EXPECT_EQ(manager()->computeDepId(pathOf(ids[0])).size(), kTimes);
}

namespace {

using flaky_store_test::FlakyStore;

/// A manager that lists something that can't be read at the moment in front of its links.
class PersIdManagerUnread : public PersIdManager
{
protected:
    PersIdManagerUnread()
    {
        // Whatever may be known of paths is known, and belongs to the list as it was.
        EXPECT_EQ(manager()->computeDepId(face(1)), Ids{m_links[0]});
        ZemPropertyArray<OdDbTypedId> listed;
        for (OdDbObjectId id : {FlakyStore::attachTo(*m_db), m_links[0], m_links[1]}) {
            listed.push_back({id, OdDb::ReferenceType::kHardOwnershipRef});
        }
        EXPECT_TRUE(manager()->getWriteProperties().getProperty(L"deps")->set(listed));
    }

    Ids m_links = link({1, 2});
};

}  // namespace

TEST_F(PersIdManagerUnread, FindsNothingAsLongAsItMightFindTooLittle)
{
    EXPECT_TRUE(manager()->updatePairs({m_links[0]}, faces({1})));  // makes it know the ids
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(thrownCode([&] { (void)manager()->computeDepId(face(2)); }), kOdFileAccess);
    }
    setPath(m_links[0], face(1));
    FlakyStore::s_fails = false;
    EXPECT_EQ(manager()->computeDepId(face(1)), Ids{m_links[0]});
    EXPECT_EQ(manager()->computeDepId(face(2)), Ids{m_links[1]});
}

TEST_F(PersIdManagerUnread, KeepsItsListWhereRemovingOrMergingFails)
{
    const Ids before = deps();
    EXPECT_EQ(thrownCode([&] { (void)manager()->removeLink(face(1), 0); }), kOdFileAccess);
    Map map;
    EXPECT_EQ(thrownCode([&] { manager()->finishRemap2(map); }), kOdFileAccess);
    EXPECT_EQ(deps(), before);
}

TEST_F(PersIdManager, ListsALinkThatCantBeReadAndKeepsRemovedOnesOff)
{
    const Ids ids = link({1, 2, 3});
    ASSERT_TRUE(manager()->removeLink(face(2), 0));
    const OdDbObjectId unread = FlakyStore::attachTo(*m_db);
    ZemLinkList list;
    list.append(ids);
    ASSERT_EQ(list.findByPath(face(1), m_managerId), Ids{ids[0]});
    (void)list.remove({ids[1]});
    list.append(unread);
    EXPECT_EQ(list.ids(), (Ids{ids[0], ids[2], unread}));
    FlakyStore::s_fails = false;
    EXPECT_EQ(list.findByPath(face(3), m_managerId), Ids{ids[2]});
}

TEST_F(PersIdManager, KeepsRemovedLinksOffWhenAStreamBreaksOff)
{
    const Ids ids = link({1, 2, 3});
    const ManagerPtr opened = manager();
    ASSERT_TRUE(opened->removeLink(face(2), 0));
    OdStaticRxObject<OdDbMemoryFiler> filer;
    opened->OdDbObject::dwgOutFields(&filer);  // and nothing of its own
    filer.rewindForReading();
    EXPECT_NE(thrownCode([&] { (void)opened->dwgInFields(&filer); }), kOdOk);
    EXPECT_EQ(deps(), (Ids{ids[0], ids[2]}));
}

TEST_F(PersIdManager, TellsAPathThroughAReferenceFromOneThatIsNone)
{
    const OdDbObjectId block = addBlock(*m_db, L"Shown");
    const OdDbObjectId nested = addSolid(block, 3);
    const OdDbObjectId first = addReference(m_block, block);
    const OdDbObjectId second = addReference(m_block, block);
    const Paths paths{pathTo(first, nested, 0, 1), pathTo(second, nested, 0, 1)};
    const Ids ids = manager()->append(paths, nullptr);
    ASSERT_EQ(ids.size(), 2u);
    EXPECT_EQ(manager()->computeDepId(paths[0]), Ids{ids[0]});
    EXPECT_EQ(manager()->computeDepId(paths[1]), Ids{ids[1]});
    EXPECT_TRUE(manager()->computeDepId(pathTo(nested, 0, 1)).isEmpty());
    EXPECT_EQ(listedBy(first), Ids{ids[0]});
    EXPECT_EQ(listedBy(second), Ids{ids[1]});
}

TEST_F(PersIdManager, GivesTheLinksThatNobodyWatches)
{
    const Ids ids = link({1, 2, 3});
    const OdDbObjectId watcher = watch({ids[1]});
    EXPECT_EQ(manager()->getUnusedDependencies(), (Ids{ids[0], ids[2]}));
    erase(watcher);
    EXPECT_EQ(manager()->getUnusedDependencies(), ids);
    erase(ids[0]);
    listAnything(m_solid);
    EXPECT_EQ(manager()->getUnusedDependencies(), (Ids{ids[1], ids[2]}));
}

//--------------------------------------------------------------------------------------------------
// Appending

TEST_F(PersIdManager, AsksTheHostForLinksInAFixedOrder)
{
    const Ids ids = link({1, 2});
    EXPECT_EQ(std::vector<std::string>(m_scope.host().calls.begin(), m_scope.host().calls.end()),
              (std::vector<std::string>{"validate", "collect", "create"}));
    EXPECT_EQ(ids.size(), 2u);
    EXPECT_EQ(deps(), ids);
    EXPECT_EQ(pathOf(ids[0]), face(1));
    EXPECT_EQ(pathOf(ids[1]), face(2));
    EXPECT_EQ(openLink(ids[0])->ownerId(), m_managerId);
}

TEST_F(PersIdManager, AppendsNothingForNoPaths)
{
    EXPECT_TRUE(link({}).isEmpty());
    EXPECT_TRUE(m_scope.host().calls.empty());
}

TEST_F(PersIdManager, AppendsNothingWithoutAHost)
{
    m_scope.attachHost(false);
    EXPECT_TRUE(link({1}).isEmpty());
    EXPECT_TRUE(deps().isEmpty());
    EXPECT_TRUE(ZemDbConstraintManager::getInstance(m_block, false).isNull());
}

namespace {

/// Makes links after something else was done, and gives others along with them.
class BusyLinkMaker : public TestLinkMaker
{
public:
    Ids createDependencies(ZemDbPersIdManager* manager, Paths const& paths, OdDbUserIO* userIO,
                           Ids& ids) override
    {
        first();
        Ids made = TestLinkMaker::createDependencies(manager, paths, userIO, ids);
        made.append(more);
        return made;
    }

    std::function<void()> first = [] {};
    Ids more;
};

class PersIdManagerBusyHost : public PersIdManager
{
protected:
    PersIdManagerBusyHost()
    {
        m_scope.attachHost(false);
        (void)ZemDbPersIdManager::desc()->addX(ZemDbPersIdManagerPE::desc(), m_host.get());
    }
    ~PersIdManagerBusyHost() override
    {
        (void)ZemDbPersIdManager::desc()->delX(ZemDbPersIdManagerPE::desc());
        m_scope.attachHost(true);
    }

    OdSmartPtr<BusyLinkMaker> m_host = odrxMake<BusyLinkMaker>();
};

}  // namespace

TEST_F(PersIdManagerBusyHost, MayBeginAStepOfUndoWhileItMakesLinks)
{
    const Ids before = link({1});
    m_host->first = [this] { m_db->startUndoRecord(); };
    m_db->startUndoRecord();
    (void)link({2});
    ASSERT_EQ(deps().size(), 2u);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(deps(), before);
}

TEST_F(PersIdManagerBusyHost, MayGiveNoLinkOfAnotherDrawing)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbObjectId foreign =
        other->addOdDbObject(odrxMake<ZemDbObjectDependency>().get(), other->getModelSpaceId());
    m_host->more = Ids{foreign};
    EXPECT_EQ(thrownCode([&] { (void)link({1}); }), kOdWrongDatabase);
    EXPECT_EQ(thrownCode([&] { manager()->onAppendToOwner(openLink(foreign).get()); }),
              kOdWrongDatabase);
    // The own one would be nobody's else.
    ASSERT_EQ(deps().size(), 1u);
    EXPECT_EQ(pathOf(deps()[0]), face(1));
    EXPECT_EQ(listedBy(m_solid), deps());
}

TEST_F(PersIdManager, KeepsLinksThatPathsHaveAlready)
{
    const Ids first = link({1, 2});
    const Ids second = link({2, 3, 1, 3});
    EXPECT_EQ(second[0], first[1]);
    EXPECT_EQ(second[2], first[0]);
    EXPECT_EQ(second[1], second[3]);
    EXPECT_EQ(deps(), (Ids{first[0], first[1], second[1]}));
}

TEST_F(PersIdManager, MakesTheModelObjectsOfEntities)
{
    const Ids ids = manager()->append(Paths{face(1), pathTo(m_other, 2, 3), face(2)}, nullptr);
    const auto constraints = ZemDbConstraintManager::cast(
        ZemDbConstraintManager::getInstance(m_block, false).safeOpenObject().get());
    ASSERT_FALSE(constraints.isNull());
    EXPECT_EQ(constraints->zemDbObjects().size(), 2u);
    std::set<OdString> names;
    for (OdDbObjectId entity : {m_solid, m_other}) {
        const auto object = ZemDbObject::openZemDbObject(entity, OdDb::kForRead, false);
        ASSERT_FALSE(object.isNull());
        EXPECT_FALSE(object->name().isEmpty());
        names.insert(object->name());
    }
    EXPECT_EQ(names.size(), 2u);
    EXPECT_EQ(listedBy(m_solid), (Ids{ids[0], ids[2]}));
    EXPECT_EQ(listedBy(m_other), Ids{ids[1]});
}

TEST_F(PersIdManager, MakesNoModelObjectForAnIdThatStandsForAnEntityOfAnotherDrawing)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbObjectId foreign = addSolid(other->getModelSpaceId(), 9);
    m_other.redirectTo(foreign);
    (void)manager()->append(Paths{pathTo(m_other, 0, 1)}, nullptr);
    m_other.redirectTo(OdDbObjectId());
    const OdDbObjectId constraints = ZemDbConstraintManager::getInstance(m_block, false);
    if (!constraints.isNull()) {
        const OdSmartPtr<ZemDbConstraintManager> opened = constraints.safeOpenObject();
        EXPECT_TRUE(opened->zemDbObjects().isEmpty());
    }
    EXPECT_TRUE(foreign.safeOpenObject()->getPersistentReactors().isEmpty());
}

TEST_F(PersIdManager, LeavesUnfitPathsToTheHost)
{
    const OdDbDatabasePtr elsewhere = OdDbDatabase::createObject();
    const OdDbObjectId foreign = addSolid(elsewhere->getModelSpaceId(), 2);
    const OdDbObjectId erased = addSolid(m_block, 2);
    erase(erased);
    const OdDbObjectId missing = m_db->getOdDbObjectId(OdDbHandle(0x99999), true);
    const Paths unfit{OdDbFullSubentPath(),
                      pathTo(OdDbObjectId(), 0, 1),
                      pathTo(erased, 0, 1),
                      pathTo(missing, 0, 1),
                      pathTo(m_managerId, 0, 1),
                      pathTo(m_solid, m_solid, 0, 1),
                      pathTo(OdDbObjectId(), m_solid, 0, 1),
                      face(10),
                      face(0)};
    EXPECT_TRUE(manager()->append(unfit, nullptr).isEmpty());
    EXPECT_TRUE(deps().isEmpty());
    EXPECT_TRUE(ZemDbObject::openZemDbObject(erased, OdDb::kForRead, true).isNull());

    // A host that takes a path into another drawing is not stopped, but that drawing is left alone.
    const Ids ids = manager()->append(Paths{pathTo(foreign, 0, 1)}, nullptr);
    EXPECT_EQ(deps(), ids);
    EXPECT_TRUE(foreign.safeOpenObject()->getPersistentReactors().isEmpty());
    EXPECT_TRUE(ZemDbConstraintManager::getInstance(elsewhere->getModelSpaceId(), false).isNull());
}

TEST_F(PersIdManager, AppendsForAManagerOfNoBlockWithoutModelObjects)
{
    const ManagerPtr elsewhere = odrxMake<ZemDbPersIdManager>();
    (void)m_db->addOdDbObject(elsewhere.get(), m_db->getNamedObjectsDictionaryId());
    const Ids ids = elsewhere->append(faces({1}), nullptr);
    EXPECT_EQ(elsewhere->objectDependencyIds(), ids);
    EXPECT_TRUE(ZemDbObject::openZemDbObject(m_solid, OdDb::kForRead, false).isNull());
}

//--------------------------------------------------------------------------------------------------
// Remapping

TEST_F(PersIdManager, RewritesLinksThatKeepTheirIds)
{
    const Ids ids = link({1, 2, 3});
    EXPECT_TRUE(manager()->updatePairs(ids, faces({3, 1, 2})));
    EXPECT_EQ(pathOf(ids[0]), face(3));
    EXPECT_EQ(pathOf(ids[1]), face(1));
    EXPECT_EQ(pathOf(ids[2]), face(2));
    EXPECT_EQ(deps(), ids);
    EXPECT_EQ(zemu::findDepByFSP(face(3)), ids[0]);
    EXPECT_TRUE(manager()->updatePairs({}, {}));
}

TEST_F(PersIdManager, RewritesKnownLinksAndTellsThatOneIsUnknown)
{
    const Ids ids = link({1, 2});
    const OdDbObjectId unknown = addRecord();
    EXPECT_FALSE(manager()->updatePairs(Ids{ids[0], ids[1], unknown}, faces({4, 5, 6})));
    EXPECT_EQ(pathOf(ids[0]), face(4));
    EXPECT_EQ(pathOf(ids[1]), face(5));
}

TEST_F(PersIdManager, LeavesOutTheNextLinkForEachUnknownOneBehindTheFirst)
{
    const Ids ids = link({1, 2, 3, 4});
    const OdDbObjectId x = addRecord();
    const OdDbObjectId y = addRecord();
    m_scope.host().calls.clear();
    // Of x a y b c d the places 0 and 2 go: x, then, as all move up by one, a place later, b.
    EXPECT_EQ(thrownCode([&] {
                  (void)manager()->updatePairs(Ids{x, ids[0], y, ids[1], ids[2], ids[3]},
                                               faces({1, 2, 3, 4, 5, 6}));
              }),
              kOdNotThatKindOfClass);  // y is left in, and is no link
    EXPECT_EQ(pathOf(ids[0]), face(2));
    EXPECT_EQ(pathOf(ids[1]), face(2)) << "left out";

    // Unknown ids side by side: of x y a b c the places 0 and 1 go, which are x and a.
    const Ids unlisted = linkAnew({7, 8});
    manager()->removeDependencies(unlisted);
    EXPECT_FALSE(manager()->updatePairs(Ids{unlisted[0], unlisted[1], ids[0], ids[1], ids[2]},
                                        faces({5, 6, 7, 8, 9})));
    EXPECT_EQ(pathOf(unlisted[0]), face(7)) << "left out";
    EXPECT_EQ(pathOf(unlisted[1]), face(6));
    EXPECT_EQ(pathOf(ids[0]), face(2)) << "left out";
    EXPECT_EQ(pathOf(ids[1]), face(8));
    EXPECT_EQ(pathOf(ids[2]), face(9));
}

TEST_F(PersIdManager, RefusesAPlaceThatHasMovedPastTheEnd)
{
    const Ids ids = link({1, 2});
    const OdDbObjectId x = addRecord();
    const OdDbObjectId y = addRecord();
    // Of a x b y, b is gone with the second removal before place 3 is looked for.
    EXPECT_EQ(thrownCode([&] {
                  (void)manager()->updatePairs(Ids{ids[0], x, ids[1], y}, faces({4, 5, 6, 7}));
              }),
              kOdInvalidIndex);
    EXPECT_EQ(pathOf(ids[0]), face(1));
    EXPECT_EQ(pathOf(ids[1]), face(2));
}

TEST_F(PersIdManager, RefusesFewerPathsThanLinks)
{
    const Ids ids = link({1, 2});
    EXPECT_EQ(thrownCode([&] { (void)manager()->updatePairs(ids, faces({4})); }), kOdInvalidIndex);
    EXPECT_EQ(pathOf(ids[0]), face(1));
    EXPECT_TRUE(manager()->updatePairs(ids, faces({4, 5, 6})));
    EXPECT_EQ(pathOf(ids[1]), face(5));
}

TEST_F(PersIdManager, RewritesUnknownLinksWhereThereAreNoOthers)
{
    const Ids ids = link({1, 2});
    manager()->removeDependencies(ids);
    EXPECT_FALSE(manager()->updatePairs(ids, faces({4, 5})));
    EXPECT_EQ(pathOf(ids[0]), face(4));
    EXPECT_EQ(pathOf(ids[1]), face(5));
}

TEST_F(PersIdManager, RewritesNothingWithoutAHost)
{
    const Ids ids = link({1});
    m_scope.attachHost(false);
    EXPECT_FALSE(manager()->updatePairs(ids, faces({2})));
    EXPECT_EQ(pathOf(ids[0]), face(1));
}

TEST_F(PersIdManager, MakesTheModelObjectOfAnEntityThatLinksAreLedTo)
{
    const Ids ids = link({1});
    EXPECT_TRUE(manager()->updatePairs(ids, Paths{pathTo(m_other, 0, 1)}));
    EXPECT_EQ(listedBy(m_other), ids);
    EXPECT_TRUE(listedBy(m_solid).isEmpty());
}

//--------------------------------------------------------------------------------------------------
// Splitting

TEST_F(PersIdManager, SplitsAWatchedLinkIntoOneForEachPath)
{
    m_scope.host().tag = 7;
    const Ids ids = link({1, 2});
    openLink(ids[0], OdDb::kForWrite)->setBodyHash(99);
    (void)watch(ids);
    Map map;
    const Ids pieces = manager()->split(ids[0], faces({5, 3, 4}), map);
    ASSERT_EQ(pieces.size(), 3u);
    EXPECT_EQ(deps(), (Ids{ids[0], ids[1], pieces[0], pieces[1], pieces[2]}));
    EXPECT_EQ(pathOf(pieces[0]), face(5));
    EXPECT_EQ(pathOf(pieces[2]), face(4));
    EXPECT_EQ(openLink(pieces[1])->entityTag(), 7);
    EXPECT_EQ(openLink(pieces[1])->bodyHash(), 99);
    EXPECT_EQ(openLink(pieces[1])->ownerId(), m_managerId);
    EXPECT_FALSE(openLink(pieces[1])->isWatched());
    EXPECT_EQ(map.getReplacement(ids[0]), Map::IdSet(pieces.begin(), pieces.end()));
    EXPECT_EQ(map.getAll(), Ids{ids[0]});
    EXPECT_EQ(pathOf(ids[0]), face(1));
    for (OdDbObjectId piece : pieces) {
        EXPECT_TRUE(listedBy(m_solid).contains(piece));
    }
}

TEST_F(PersIdManager, DoesntSplitAWatchedLinkThatHasOnePath)
{
    const Ids ids = link({1});
    (void)watch(ids);
    Map map;
    EXPECT_EQ(manager()->split(ids[0], faces({3}), map), ids);
    EXPECT_EQ(manager()->split(ids[0], {}, map), ids);
    EXPECT_TRUE(map.isEmptyReplacementDeps());
    EXPECT_EQ(deps(), ids);
    EXPECT_EQ(pathOf(ids[0]), face(1));
}

TEST_F(PersIdManager, DoesntSplitALinkThatNobodyWatches)
{
    const Ids ids = link({1});
    Map map;
    EXPECT_EQ(manager()->split(ids[0], faces({3, 4}), map), ids);
    EXPECT_TRUE(map.isEmpty());
    EXPECT_EQ(deps(), ids);
    EXPECT_EQ(pathOf(ids[0]), face(1));
}

TEST_F(PersIdManager, SplitsNothingThatIsNoLink)
{
    Map map;
    const OdDbObjectId erased = link({1})[0];
    (void)watch({erased});
    erase(erased);
    for (OdDbObjectId id : {OdDbObjectId(), m_solid, m_managerId, erased}) {
        EXPECT_TRUE(manager()->split(id, faces({3, 4}), map).isEmpty());
    }
    EXPECT_TRUE(map.isEmpty());
}

TEST_F(PersIdManager, KeepsWhatTheMapTellsOfALinkThatIsSplitTwice)
{
    const Ids ids = link({1});
    (void)watch(ids);
    Map map;
    const Ids first = manager()->split(ids[0], faces({2, 3}), map);
    const Ids second = manager()->split(ids[0], faces({4, 5}), map);
    EXPECT_EQ(map.getReplacement(ids[0]), Map::IdSet(first.begin(), first.end()));
    EXPECT_EQ(deps().size(), 5u);
}

//--------------------------------------------------------------------------------------------------
// Finishing

TEST_F(PersIdManager, ReplacesWatchedLinksOfOnePathByANewOne)
{
    const Ids ids = link({1, 2, 3});
    (void)watch(ids);
    EXPECT_TRUE(manager()->updatePairs(Ids{ids[0], ids[2]}, faces({5, 5})));
    Map map;
    manager()->finishRemap(map);
    const Ids left = deps();
    ASSERT_EQ(left.size(), 2u);
    EXPECT_EQ(left[0], ids[1]);
    EXPECT_EQ(pathOf(left[1]), face(5));
    EXPECT_EQ(map.getReplacement(ids[0]), Map::IdSet{left[1]});
    EXPECT_EQ(map.getReplacement(ids[2]), Map::IdSet{left[1]});
    EXPECT_EQ(listedBy(m_solid), left);
    EXPECT_FALSE(ids[0].isErased());
    EXPECT_EQ(openLink(left[1])->ownerId(), m_managerId);
}

TEST_F(PersIdManager, MakesOneLinkForEachGroupInOrderOfFirstMembers)
{
    const Ids ids = linkAnew({1, 2, 3, 2, 1, 3, 4});
    (void)watch(ids);
    Map map;
    manager()->finishRemap(map);
    const Ids left = deps();
    ASSERT_EQ(left.size(), 4u);
    EXPECT_EQ(left[0], ids[6]);
    EXPECT_EQ(pathOf(left[1]), face(1));
    EXPECT_EQ(pathOf(left[2]), face(2));
    EXPECT_EQ(pathOf(left[3]), face(3));
    EXPECT_EQ(map.getAll().size(), 6u);
}

TEST_F(PersIdManager, GivesTheMergedLinkTagAndHashOfTheFirst)
{
    const Ids ids = linkAnew({1, 1});
    openLink(ids[0], OdDb::kForWrite)->setEntityTag(3);
    openLink(ids[1], OdDb::kForWrite)->setEntityTag(4);
    openLink(ids[0], OdDb::kForWrite)->setBodyHash(5);
    (void)watch(ids);
    Map map;
    manager()->finishRemap(map);
    EXPECT_EQ(openLink(deps()[0])->entityTag(), 3);
    EXPECT_EQ(openLink(deps()[0])->bodyHash(), 5);
}

TEST_F(PersIdManager, DoesntMergeLinksThatNobodyWatchesAtFirst)
{
    const Ids ids = linkAnew({1, 1, 1});
    (void)watch({ids[0]});
    Map map;
    manager()->finishRemap(map);
    EXPECT_EQ(deps(), ids);
    EXPECT_TRUE(map.isEmpty());
    manager()->finishRemap2(map);
    ASSERT_EQ(deps().size(), 1u);
    for (OdDbObjectId id : ids) {
        EXPECT_EQ(map.getReplacement(id), Map::IdSet{deps()[0]});
    }
}

TEST_F(PersIdManager, TakesSplitLinksOffTheListWhenItFinishes)
{
    const Ids ids = link({1, 2});
    (void)watch(ids);
    Map map;
    const Ids pieces = manager()->split(ids[0], faces({3, 4}), map);
    manager()->finishRemap(map);
    EXPECT_EQ(deps(), (Ids{ids[1], pieces[0], pieces[1]}));
    EXPECT_EQ(listedBy(m_solid), deps());
    EXPECT_FALSE(ids[0].isErased());
}

TEST_F(PersIdManager, TakesSplitLinksOffInTheSecondWayOnlyWithAMerge)
{
    const Ids ids = link({1, 2});
    (void)watch(ids);
    Map map;
    const Ids pieces = manager()->split(ids[0], faces({3, 4}), map);
    manager()->finishRemap2(map);
    EXPECT_EQ(deps(), (Ids{ids[0], ids[1], pieces[0], pieces[1]}));
    EXPECT_TRUE(manager()->updatePairs(Ids{ids[1]}, faces({4})));
    manager()->finishRemap2(map);
    ASSERT_EQ(deps().size(), 2u);
    EXPECT_EQ(deps()[0], pieces[0]);
    const OdDbObjectId merged = deps()[1];
    EXPECT_EQ(map.getReplacement(ids[0]), (Map::IdSet{pieces[0], merged})) << "the chain is short";
    EXPECT_EQ(map.getReplacement(ids[1]), Map::IdSet{merged});
    EXPECT_EQ(map.getReplacement(pieces[1]), Map::IdSet{merged});
    EXPECT_EQ(listedBy(m_solid), deps());
}

TEST_F(PersIdManager, LeavesChainsOfReplacementsInTheFirstWay)
{
    const Ids ids = link({1, 2});
    const OdDbObjectId watcher = watch(ids);
    Map map;
    const Ids pieces = manager()->split(ids[0], faces({3, 4}), map);
    TestWatcherPtr(watcher.safeOpenObject(OdDb::kForWrite))->setLinks(Ids{ids[1], pieces[1]});
    EXPECT_TRUE(manager()->updatePairs(Ids{ids[1]}, faces({4})));
    manager()->finishRemap(map);
    ASSERT_EQ(deps().size(), 2u);
    EXPECT_EQ(map.getReplacement(ids[0]), (Map::IdSet{pieces[0], pieces[1]}));
    EXPECT_EQ(map.getReplacement(pieces[1]), Map::IdSet{deps()[1]});
}

TEST_F(PersIdManager, MergesNothingWhereAllPathsAreDistinct)
{
    const Ids ids = link({1, 2, 3});
    (void)watch(ids);
    Map map;
    manager()->finishRemap2(map);
    manager()->finishRemap(map);
    EXPECT_EQ(deps(), ids);
    EXPECT_TRUE(map.isEmpty());
}

TEST_F(PersIdManager, MergesNothingWhereLinksAreSkippedAndTheOthersDistinct)
{
    const Ids ids = link({1, 2, 3});
    erase(ids[1]);
    listAnything(m_solid);
    const Ids before = deps();
    Map map;
    manager()->finishRemap2(map);
    EXPECT_EQ(deps(), before);
    EXPECT_TRUE(map.isEmpty());
}

TEST_F(PersIdManager, SkipsLinksInTheSecondWayThatAreReplacedAlready)
{
    const Ids ids = linkAnew({1, 1, 2});
    Map map;
    map.append(ids[0], Map::IdSet{ids[2]});
    manager()->finishRemap2(map);
    EXPECT_EQ(deps(), ids) << "one link of the path is left, so nothing is merged";
}

TEST_F(PersIdManager, FinishesWithoutAHostButTouchesNoModelObject)
{
    const Ids ids = linkAnew({1, 1, 2});
    (void)watch(ids);
    m_scope.attachHost(false);
    Map map;
    manager()->finishRemap(map);
    EXPECT_EQ(deps().size(), 2u);
    EXPECT_EQ(listedBy(m_solid), ids);
    EXPECT_TRUE(manager()->updatePairs({}, {}) == false);
}

TEST_F(PersIdManager, FinishesWithLinksThatWereErasedMeanwhile)
{
    const Ids ids = link({1, 2});
    (void)watch(ids);
    Map map;
    const Ids pieces = manager()->split(ids[0], faces({3, 4}), map);
    erase(ids[0]);
    manager()->finishRemap(map);
    EXPECT_EQ(deps(), (Ids{ids[1], pieces[0], pieces[1]}));
    EXPECT_EQ(listedBy(m_solid), deps());
}

TEST_F(PersIdManager, PassesOnErrorsOutOfFinishing)
{
    const Ids ids = linkAnew({1, 1});
    const OdDbObjectId record = addRecord();
    listAnything(record);
    Map map;
    map.append(record, Map::IdSet{ids[0]});
    EXPECT_EQ(thrownCode([&] { manager()->finishRemap2(map); }), kOdNotThatKindOfClass);
    EXPECT_FALSE(deps().contains(record));
}

TEST_F(PersIdManager, MergesManyLinksInGroupsOfMany)
{
    m_scope.host().reusesLinks = false;
    const OdDbObjectId solid = addSolid(m_block, 40);
    Paths paths;
    for (int at = 0; at < 2000; ++at) {
        paths.append(pathTo(solid, at % 3, 1 + at % 40));
    }
    const Ids ids = manager()->append(paths, nullptr);
    Map map;
    manager()->finishRemap2(map);
    EXPECT_EQ(deps().size(), 120u);
    for (unsigned at = 0; at < ids.size(); ++at) {
        const Map::IdSet successors = map.getReplacement(ids[at]);
        ASSERT_EQ(successors.size(), 1u);
        ASSERT_EQ(pathOf(*successors.begin()), paths[at]);
    }
    EXPECT_EQ(listedBy(solid), deps());
}

//--------------------------------------------------------------------------------------------------
// Removing

TEST_F(PersIdManager, FinishesWithManyLinksWithoutAPath)
{
    // Each of them beside each other one would be more than there is memory for.
    ZemPropertyArray<OdDbTypedId> ids;
    for (int at = 0; at < 20000; ++at) {
        ids.push_back({m_db->addOdDbObject(odrxMake<ZemDbObjectDependency>().get(), m_managerId),
                       OdDb::ReferenceType::kHardOwnershipRef});
    }
    for (int at = 0; at < 30000; ++at) {
        ids.push_back(ids[0]);
    }
    ASSERT_TRUE(manager()->getWriteProperties().getProperty(L"deps")->set(ids));
    Map map;
    manager()->finishRemap(map);
    EXPECT_EQ(deps().size(), 50000u);
    EXPECT_TRUE(map.isEmptyReplacementDeps());
}

TEST_F(PersIdManager, FinishesWithManyForeignLinksOfThePathOfItsOwn)
{
    const Ids own = linkAnew({1, 1});
    const LinkPtr foreign = odrxMake<ZemDbObjectDependency>();
    foreign->setLinkObject(face(1));
    const OdDbObjectId foreignId = m_db->addOdDbObject(foreign.get(), addRecord());
    ZemPropertyArray<OdDbTypedId> ids;
    for (int at = 0; at < 20000; ++at) {
        for (OdDbObjectId id : {own[0], foreignId}) {
            ids.push_back({id, OdDb::ReferenceType::kHardOwnershipRef});
        }
    }
    ASSERT_TRUE(manager()->getWriteProperties().getProperty(L"deps")->set(ids));
    Map map;
    manager()->finishRemap2(map);
    EXPECT_EQ(map.getAll(), (Ids{own[0], foreignId}));
    EXPECT_EQ(deps().size(), 1u);
}

TEST_F(PersIdManager, TakesLinksOffTheModelObjectThatCameAfterAnErasedOne)
{
    (void)link({1});
    erase(m_solid);
    unerase(m_solid);
    const Ids ids = link({2});
    ASSERT_EQ(listedBy(m_solid), ids);
    EXPECT_TRUE(manager()->removeLink(face(2), 0));
    EXPECT_TRUE(listedBy(m_solid).isEmpty());
    EXPECT_TRUE(zemu::findDepByFSP(face(2)).isNull());
}

TEST_F(PersIdManager, RemovesAllLinksOfAPathWhateverTheirTags)
{
    m_scope.host().tag = 1;
    const Ids first = linkAnew({1, 2});
    m_scope.host().tag = 2;
    const Ids second = linkAnew({1});
    EXPECT_TRUE(manager()->removeLink(face(1), 0));
    EXPECT_EQ(deps(), Ids{first[1]});
    EXPECT_EQ(listedBy(m_solid), Ids{first[1]});
    EXPECT_FALSE(first[0].isErased());
    EXPECT_FALSE(second[0].isErased());
    EXPECT_FALSE(manager()->removeLink(face(1), 0));
}

TEST_F(PersIdManager, RemovesLinksOfOneTagAlone)
{
    m_scope.host().tag = 1;
    const Ids first = linkAnew({1});
    m_scope.host().tag = 2;
    const Ids second = linkAnew({1});
    EXPECT_FALSE(manager()->removeLink(face(1), 3));
    EXPECT_TRUE(manager()->removeLink(face(1), 2));
    EXPECT_EQ(deps(), first);
    EXPECT_EQ(listedBy(m_solid), first);
    EXPECT_FALSE(manager()->removeLink(face(1), 2));
}

TEST_F(PersIdManager, RemovesNothingForAPathThatNoLinkHas)
{
    const Ids ids = link({1});
    for (OdDbFullSubentPath const& path :
         {OdDbFullSubentPath(), face(2), pathTo(OdDbObjectId(), 0, 1),
          pathTo(m_solid, m_solid, 0, 1)}) {
        EXPECT_FALSE(manager()->removeLink(path, 0));
    }
    EXPECT_EQ(deps(), ids);
}

TEST_F(PersIdManager, KeepsTheOrderThroughManyRemovals)
{
    m_scope.host().reusesLinks = false;
    const OdDbObjectId solid = addSolid(m_block, 100);
    Paths paths;
    for (int number = 1; number <= 100; ++number) {
        paths.append(pathTo(solid, 0, number));
    }
    std::vector<OdDbObjectId> expected;
    for (OdDbObjectId id : manager()->append(paths, nullptr)) {
        expected.push_back(id);
    }
    const ManagerPtr opened = manager();
    for (int number = 1; number <= 97; ++number) {
        const unsigned at = static_cast<unsigned>(number * 37 % 100);
        EXPECT_TRUE(opened->removeLink(paths[at], 0));
        std::erase_if(expected, [&](OdDbObjectId id) { return pathOf(id) == paths[at]; });
        if (number % 10 == 0) {
            ASSERT_EQ(opened->objectDependencyIds(), Ids(expected.begin(), expected.end()));
            expected.push_back(opened->append(Paths{pathTo(solid, 1, number)}, nullptr)[0]);
        }
    }
    EXPECT_EQ(opened->objectDependencyIds(), Ids(expected.begin(), expected.end()));
}

TEST_F(PersIdManager, RemovesLinksByTheirIds)
{
    const Ids ids = link({1, 2, 3});
    const OdDbObjectId unlisted = linkAnew({4})[0];
    manager()->removeDependencies(Ids{unlisted});
    manager()->removeDependencies(Ids{ids[2], ids[0], unlisted});
    EXPECT_EQ(deps(), Ids{ids[1]});
    EXPECT_EQ(listedBy(m_solid), Ids{ids[1]});
    EXPECT_FALSE(ids[0].isErased());
    manager()->removeDependencies({});
    erase(ids[1]);
    manager()->removeDependencies(Ids{ids[1]});
    EXPECT_TRUE(deps().isEmpty());
    EXPECT_TRUE(listedBy(m_solid).isEmpty());
}

TEST_F(PersIdManager, RefusesToRemoveWhatIsNoLink)
{
    const Ids ids = link({1});
    EXPECT_EQ(thrownCode([&] {
                  manager()->removeDependencies(Ids{ids[0], OdDbObjectId()});
              }),
              kOdNullObjectId);
    EXPECT_EQ(thrownCode([&] {
                  manager()->removeDependencies(Ids{ids[0], m_solid});
              }),
              kOdNotThatKindOfClass);
    EXPECT_EQ(deps(), ids);
    EXPECT_EQ(listedBy(m_solid), ids);
}

TEST_F(PersIdManager, ListsALinkThatIsClonedToIt)
{
    const Ids ids = link({1});
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    m_db->deepCloneObjects(ids, m_managerId, *mapping);
    ASSERT_EQ(deps().size(), 2u);
    EXPECT_EQ(deps()[0], ids[0]);
    EXPECT_EQ(pathOf(deps()[1]), face(1));
    EXPECT_EQ(manager()->computeDepId(face(1)), deps());
    manager()->onAppendToOwner(nullptr);
    EXPECT_EQ(deps().size(), 2u);
}

//--------------------------------------------------------------------------------------------------
// Model objects

TEST_F(PersIdManager, ListsItsLinksInTheModelObjects)
{
    const Ids ids = link({1, 2});
    const OdDbObjectId other = manager()->append(Paths{pathTo(m_other, 0, 1)}, nullptr)[0];
    for (OdDbObjectId entity : {m_solid, m_other}) {
        ZemDbObject::openZemDbObject(entity, OdDb::kForWrite, false)->removePersIdDependencies();
    }
    manager(OdDb::kForRead)->attachDepsToZemDbObjects();
    EXPECT_EQ(listedBy(m_solid), ids);
    EXPECT_EQ(listedBy(m_other), Ids{other});
    manager(OdDb::kForRead)->attachDepsToZemDbObjects();
    EXPECT_EQ(listedBy(m_solid), ids);
}

TEST_F(PersIdManager, MakesAModelObjectForALinkIfTheBlockHasAConstraintManager)
{
    const LinkPtr fresh = odrxMake<ZemDbObjectDependency>();
    fresh->setLinkObject(face(1));
    const OdDbObjectId id = m_db->addOdDbObject(fresh.get(), m_managerId);
    listAnything(id);
    manager()->attachDepsToZemDbObjects();
    EXPECT_TRUE(ZemDbObject::openZemDbObject(m_solid, OdDb::kForRead, false).isNull());
    (void)ZemDbConstraintManager::getInstance(m_block, true);
    manager()->attachDepsToZemDbObjects();
    EXPECT_EQ(listedBy(m_solid), Ids{id});
}

TEST_F(PersIdManager, PassesOverLinksOfWhatIsNotThere)
{
    const Ids ids = link({1, 2});
    setPath(ids[0], pathTo(m_other, 0, 1));
    erase(m_other);
    listAnything(m_solid);
    listAnything(OdDbObjectId());
    EXPECT_NO_THROW(manager()->attachDepsToZemDbObjects());
    EXPECT_EQ(listedBy(m_solid), ids);
}

TEST_F(PersIdManager, TellsTheConstraintManagerOfEntitiesWithNewLinks)
{
    (void)link({1});
    const OdDbObjectId id = ZemDbConstraintManager::getInstance(m_block, false);
    const OdSmartPtr<ZemDbConstraintManager> constraints = id.safeOpenObject(OdDb::kForWrite);
    constraints->setStatus(kCmUpToDate);
    (void)link({2});
    EXPECT_EQ(constraints->getModifiedObjects(), Ids{m_solid});
}

//--------------------------------------------------------------------------------------------------
// Features

TEST_F(PersIdManager, HasNoFeaturesToFollowWithoutAFeatureManager)
{
    Map map;
    map.appendModifiedEnt(m_solid);
    EXPECT_FALSE(manager(OdDb::kForRead)->updateAfterRemapping(map, true, true, true, true));
    EXPECT_TRUE(ZemDbFeatureManager::getInstance(m_block, false).isNull());
}

/// A host that notes which entities sheet metal is told of.
class SheetMetalHost : public ZemDbSheetMetalContextPE
{
public:
    bool updateAfterRemapping(ZemDbSheetMetalContext*, Ids const& modifiedEntities) override
    {
        told.push_back(modifiedEntities);
        return answer;
    }

    bool answer = true;
    std::vector<Ids> told;
};

TEST_F(PersIdManager, LetsSheetMetalFollowThroughTheFeatureManager)
{
    const OdSmartPtr<ZemDbFeatureManager> features =
        ZemDbFeatureManager::getInstance(m_block, true).safeOpenObject(OdDb::kForWrite);
    const OdDbObjectPtr context = ZemDbSheetMetalContext::desc()->create();
    const OdDbObjectId contextId = m_db->addOdDbObject(context.get(), features->objectId());
    features->getWriteProperties().setProperty(L"SheetMetalContext", contextId,
                                               OdDb::ReferenceType::kHardOwnershipRef);
    Map map;
    map.appendModifiedEnt(m_solid);
    const ManagerPtr reading = manager(OdDb::kForRead);
    EXPECT_FALSE(reading->updateAfterRemapping(map, false, false, false, true)) << "without a host";

    const OdSmartPtr<SheetMetalHost> host = odrxMake<SheetMetalHost>();
    (void)ZemDbSheetMetalContext::desc()->addX(ZemDbSheetMetalContextPE::desc(), host.get());
    EXPECT_TRUE(reading->updateAfterRemapping(map, false, false, false, true));
    EXPECT_FALSE(reading->updateAfterRemapping(map, false, false, false, false)) << "not asked for";
    Map empty;
    EXPECT_FALSE(reading->updateAfterRemapping(empty, false, false, false, true));
    host->answer = false;
    EXPECT_FALSE(reading->updateAfterRemapping(map, false, false, false, true));
    EXPECT_EQ(host->told, (std::vector<Ids>{Ids{m_solid}, Ids{m_solid}}));
    (void)ZemDbSheetMetalContext::desc()->delX(ZemDbSheetMetalContextPE::desc());
}

//--------------------------------------------------------------------------------------------------
// Audit

TEST_F(PersIdManager, AuditRemovesAndErasesALinkOfAnEntityWithoutAModelObject)
{
    const Ids ids = link({1, 2});
    setPath(ids[0], pathTo(m_other, 0, 1));
    manager()->audit();
    EXPECT_EQ(deps(), Ids{ids[1]});
    EXPECT_TRUE(ids[0].isErased());
    EXPECT_EQ(listedBy(m_solid), (Ids{ids[0], ids[1]})) << "lists by the entity of the path";
}

TEST_F(PersIdManager, AuditTakesOutWhatIsNoLinkOrCantBeOpened)
{
    const Ids ids = link({1, 2, 3});
    const OdDbObjectId record = addRecord(m_managerId);
    const OdDbObjectId missing = m_db->getOdDbObjectId(OdDbHandle(0x99999), true);
    listAnything(record);
    listAnything(missing);
    listAnything(OdDbObjectId());
    erase(ids[1]);
    manager()->audit();
    EXPECT_EQ(deps(), (Ids{ids[0], ids[2]}));
    EXPECT_TRUE(record.isErased());
    EXPECT_EQ(listedBy(m_solid), deps());
}

TEST_F(PersIdManager, AuditErasesNothingThatIsNeitherALinkNorItsOwn)
{
    const OdDbObjectId record = addRecord(m_block);
    listAnything(m_db->getNamedObjectsDictionaryId());
    listAnything(m_db->getLayerTableId());
    listAnything(record);
    manager()->audit();
    EXPECT_TRUE(deps().isEmpty());
    EXPECT_FALSE(m_db->getNamedObjectsDictionaryId().isErased());
    EXPECT_FALSE(m_db->getLayerTableId().isErased());
    EXPECT_FALSE(record.isErased());
}

TEST_F(PersIdManager, AuditListsLinksAgainWhereTheyAreMissing)
{
    const Ids ids = link({1, 2});
    ZemDbObject::openZemDbObject(m_solid, OdDb::kForWrite, false)->removePersIdDependencies();
    manager()->audit();
    EXPECT_EQ(deps(), ids);
    EXPECT_EQ(listedBy(m_solid), ids);
}

//--------------------------------------------------------------------------------------------------
// Undo

TEST_F(PersIdManagerUndo, TakesAppendedLinksBack)
{
    mark();
    const Ids more = link({5, 6});
    undo();
    EXPECT_EQ(deps(), m_links);
    EXPECT_TRUE(manager()->computeDepId(face(5)).isEmpty());
    EXPECT_EQ(listedBy(m_solid), m_links);
    redo();
    EXPECT_EQ(manager()->computeDepId(face(5)), Ids{more[0]});
    EXPECT_EQ(deps().size(), 6u);
    EXPECT_EQ(zemu::findDepByFSP(face(6)), more[1]);
}

TEST_F(PersIdManagerUndo, TakesRemovalsBackToTheirPlaces)
{
    EXPECT_EQ(manager()->computeDepId(face(2)), Ids{m_links[1]});
    mark();
    EXPECT_TRUE(manager()->removeLink(face(2), 0));
    EXPECT_TRUE(manager()->removeLink(face(3), 0));
    mark();
    EXPECT_TRUE(manager()->removeLink(face(1), 0));
    undo();
    EXPECT_EQ(deps(), (Ids{m_links[0], m_links[3]}));
    undo();
    EXPECT_EQ(deps(), m_links);
    EXPECT_EQ(manager()->computeDepId(face(2)), Ids{m_links[1]});
    EXPECT_EQ(listedBy(m_solid), m_links);
    redo();
    redo();
    EXPECT_EQ(deps(), Ids{m_links[3]});
}

TEST_F(PersIdManagerUndo, TakesPathsBackThatWereSetPastTheManager)
{
    EXPECT_EQ(manager()->computeDepId(face(1)), Ids{m_links[0]});
    mark();
    setPath(m_links[0], face(9));
    EXPECT_EQ(manager()->computeDepId(face(9)), Ids{m_links[0]});
    undo();
    EXPECT_EQ(manager()->computeDepId(face(1)), Ids{m_links[0]});
    EXPECT_TRUE(manager()->computeDepId(face(9)).isEmpty());
    redo();
    EXPECT_EQ(manager()->computeDepId(face(9)), Ids{m_links[0]});
}

TEST_F(PersIdManagerUndo, FindsPathsFromBeforeTheFirstLookUp)
{
    mark();
    setPath(m_links[0], face(9));
    mark();
    setPath(m_links[0], face(8));
    EXPECT_EQ(manager()->computeDepId(face(8)), Ids{m_links[0]});
    undo();
    EXPECT_EQ(manager()->computeDepId(face(9)), Ids{m_links[0]});
    undo();
    EXPECT_EQ(manager()->computeDepId(face(1)), Ids{m_links[0]});
    EXPECT_TRUE(manager()->computeDepId(face(8)).isEmpty());
}

TEST_F(PersIdManagerUndo, TakesAWholeRemappingBack)
{
    for (const bool isSecond : {false, true}) {
        mark();
        Map map;
        const Ids pieces = manager()->split(m_links[0], faces({6, 7}), map);
        EXPECT_TRUE(manager()->updatePairs(Ids{m_links[1], m_links[2]}, faces({8, 8})));
        EXPECT_TRUE(manager()->removeLink(face(4), 0));
        isSecond ? manager()->finishRemap2(map) : manager()->finishRemap(map);
        const Ids after = deps();
        undo();
        EXPECT_EQ(deps(), m_links);
        EXPECT_EQ(listedBy(m_solid), m_links);
        for (unsigned at = 0; at < m_links.size(); ++at) {
            EXPECT_EQ(pathOf(m_links[at]), face(at + 1));
            EXPECT_EQ(manager()->computeDepId(face(at + 1)), Ids{m_links[at]});
            EXPECT_EQ(zemu::findDepByFSP(face(at + 1)), m_links[at]);
        }
        redo();
        EXPECT_EQ(deps(), after);
        EXPECT_EQ(manager()->computeDepId(face(6)), Ids{pieces[0]});
        undo();
    }
}

TEST_F(PersIdManagerUndo, AbortsATransaction)
{
    m_db->startTransaction();
    (void)link({5});
    EXPECT_TRUE(manager()->removeLink(face(1), 0));
    Map map;
    (void)manager()->split(m_links[1], faces({6, 7}), map);
    m_db->abortTransaction();
    EXPECT_EQ(deps(), m_links);
    EXPECT_EQ(manager()->computeDepId(face(1)), Ids{m_links[0]});
    EXPECT_EQ(listedBy(m_solid), m_links);
}

//--------------------------------------------------------------------------------------------------
// Cloning

TEST_F(PersIdManager, IsClonedWithItsBlock)
{
    const OdDbObjectId block = addBlock(*m_db, L"Part");
    const OdDbObjectId solid = addSolid(block, 3);
    const ManagerPtr source =
        ZemDbPersIdManager::getInstance(block, true).safeOpenObject(OdDb::kForWrite);
    const Ids ids = source->append(Paths{pathTo(solid, 0, 1), pathTo(solid, 2, 3)}, nullptr);
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    const OdDbObjectId clone = m_db->copyBlock(block, L"Copy", *mapping);
    const ManagerPtr cloned = ZemDbPersIdManager::getInstance(clone, false).safeOpenObject();
    EXPECT_EQ(cloned->blockId(), clone);
    const Ids links = cloned->objectDependencyIds();
    ASSERT_EQ(links.size(), 2u);
    OdDbIdPair pair(solid);
    ASSERT_TRUE(mapping->compute(pair));
    EXPECT_EQ(pathOf(links[0]), pathTo(pair.value(), 0, 1));
    EXPECT_EQ(pathOf(links[1]), pathTo(pair.value(), 2, 3));
    EXPECT_EQ(openLink(links[0])->ownerId(), cloned->objectId());
    EXPECT_EQ(cloned->computeDepId(pathTo(pair.value(), 2, 3)), Ids{links[1]});
    EXPECT_EQ(listedBy(pair.value()), links);
    EXPECT_EQ(source->objectDependencyIds(), ids);
    EXPECT_EQ(source->computeDepId(pathTo(solid, 0, 1)), Ids{ids[0]});
}

TEST_F(PersIdManager, IsClonedWithLinksOfClonedEntitiesAlone)
{
    const Ids ids = link({1, 2});
    const Ids others = manager()->append(Paths{pathTo(m_other, 0, 1)}, nullptr);
    listAnything(m_solid);
    const OdDbObjectId target = addBlock(*m_db, L"Target");
    const OdDbObjectId place = zemu::createDict(m_db.get(), L"PLACE", OdDbObjectId());
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    m_db->deepCloneObjects(Ids{m_other}, target, *mapping, true);
    m_db->deepCloneObjects(Ids{m_managerId}, place, *mapping);
    OdDbIdPair pair(m_managerId);
    ASSERT_TRUE(mapping->compute(pair));
    const ManagerPtr clone = pair.value().safeOpenObject();
    ASSERT_EQ(clone->objectDependencyIds().size(), 1u);
    OdDbIdPair other(m_other);
    ASSERT_TRUE(mapping->compute(other));
    EXPECT_EQ(pathOf(clone->objectDependencyIds()[0]), pathTo(other.value(), 0, 1));
    OdDbIdPair left(ids[0]);
    EXPECT_FALSE(mapping->compute(left));
    EXPECT_EQ(deps(), (Ids{ids[0], ids[1], others[0], m_solid}));
    EXPECT_EQ(manager()->computeDepId(face(1)), Ids{ids[0]});
}

TEST_F(PersIdManager, IsClonedWholeWhenADrawingIsInsertedAsACopy)
{
    const Ids ids = link({1, 2});
    const OdDbObjectId place = zemu::createDict(m_db.get(), L"PLACE", OdDbObjectId());
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    mapping->setDeepCloneContext(OdDb::DeepCloneType::kDcInsertCopy);
    {
        const ManagerPtr source = manager(OdDb::kForRead);
        const OdDbObjectPtr owner = place.safeOpenObject(OdDb::kForWrite);
        const ManagerPtr clone = source->deepClone(*mapping, owner.get());
        EXPECT_EQ(clone->objectDependencyIds().size(), 2u);
    }
    EXPECT_EQ(deps(), ids);
}

TEST_F(PersIdManager, GoesAlongToAnotherDrawing)
{
    const Ids ids = link({1, 2});
    (void)watch(ids);
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    const OdDbDatabasePtr other = m_db->wblock(m_block, mapping.get());
    const ManagerPtr clone =
        ZemDbPersIdManager::getInstance(other->getModelSpaceId(), false).safeOpenObject();
    const Ids links = clone->objectDependencyIds();
    ASSERT_EQ(links.size(), 2u);
    EXPECT_EQ(links[0].database(), other.get());
    OdDbIdPair pair(m_solid);
    ASSERT_TRUE(mapping->compute(pair));
    EXPECT_EQ(pathOf(links[1]), pathTo(pair.value(), 0, 2));
    EXPECT_EQ(clone->computeDepId(pathTo(pair.value(), 0, 2)), Ids{links[1]});
    EXPECT_FALSE(openLink(links[0])->isWatched()) << "the watcher stayed behind";
    EXPECT_EQ(deps(), ids);
}

//--------------------------------------------------------------------------------------------------
// Merging managers

TEST_F(PersIdManagerMerge, TakesOverTheLinksOfClonedEntities)
{
    const Ids own = link({1});
    const ManagerPtr clone = cloneAll();
    const Ids links = clone->objectDependencyIds();
    ASSERT_EQ(links.size(), 2u);
    EXPECT_EQ(merge(clone.get()), kOdOk);
    EXPECT_TRUE(clone->isErased());
    EXPECT_TRUE(clone->objectDependencyIds().isEmpty());
    EXPECT_EQ(deps(), (Ids{own[0], links[0], links[1]}));
    const OdDbObjectId solid = cloneOf(m_sourceSolid);
    EXPECT_EQ(listedBy(solid), links);
    EXPECT_EQ(manager()->computeDepId(pathTo(solid, 1, 2)), Ids{links[1]});
    for (OdDbObjectId id : links) {
        EXPECT_EQ(openLink(id)->ownerId(), m_managerId);
        EXPECT_TRUE(m_changed.contains(id));
    }
    EXPECT_EQ(m_changed.size(), 2u);
    EXPECT_FALSE(m_sourceManager.isErased());
}

TEST_F(PersIdManagerMerge, TakesReactorsOffThatWereClonedWithIt)
{
    const OdDbObjectId watcher = watch(m_sourceLinks);
    const ManagerPtr clone = cloneAll();
    const OdDbObjectId linkId = clone->objectDependencyIds()[0];
    const OdDbObjectId stranger = watch({linkId});
    openLink(linkId, OdDb::kForWrite)->addPersistentReactor(watcher);
    m_mapping->assign(OdDbIdPair(watcher, addRecord(), true));
    EXPECT_EQ(merge(clone.get()), kOdOk);
    EXPECT_EQ(openLink(linkId)->getPersistentReactors(), Ids{stranger});
}

TEST_F(PersIdManagerMerge, NotifiesTheConstraintManager)
{
    const OdDbObjectId id = ZemDbConstraintManager::getInstance(m_block, true);
    const ManagerPtr clone = cloneAll();
    const OdSmartPtr<ZemDbConstraintManager> constraints = id.safeOpenObject(OdDb::kForWrite);
    constraints->setStatus(kCmUpToDate);
    EXPECT_EQ(merge(clone.get()), kOdOk);
    EXPECT_EQ(constraints->getModifiedObjects(), Ids{cloneOf(m_sourceSolid)});
}

TEST_F(PersIdManagerMerge, LeavesLinksThatLeadElsewhere)
{
    const ManagerPtr clone = cloneAll();
    const Ids links = clone->objectDependencyIds();
    setPath(links[0], pathTo(m_sourceSolid, 0, 1));  // in another block
    setPath(links[1], OdDbFullSubentPath());
    EXPECT_EQ(merge(clone.get()), kOdOk);
    EXPECT_TRUE(deps().isEmpty());
    EXPECT_TRUE(m_changed.empty());
    EXPECT_TRUE(clone->isErased());
}

TEST_F(PersIdManagerMerge, LeavesLinksOfEntitiesThatNeitherCameNorWereCloned)
{
    const OdDbObjectId holder = addBlock(*m_db, L"Holder");
    const ManagerPtr other =
        ZemDbPersIdManager::getInstance(holder, true).safeOpenObject(OdDb::kForWrite);
    const Ids ids = other->append(Paths{face(1)}, nullptr);  // a solid of model space
    ASSERT_EQ(ids.size(), 1u);
    EXPECT_EQ(merge(other.get()), kOdOk);
    EXPECT_TRUE(deps().isEmpty());
    EXPECT_TRUE(other->isErased());
}

TEST_F(PersIdManagerMerge, MovesClonedLinksOfEntitiesThatStayed)
{
    const Ids ids = link({1, 2});
    m_mapping->setDeepCloneContext(OdDb::DeepCloneType::kDcInsertCopy);
    OdDbObjectId cloneId;
    {
        const ManagerPtr source = manager(OdDb::kForRead);
        const OdDbObjectPtr owner = place().safeOpenObject(OdDb::kForWrite);
        cloneId = source->deepClone(*m_mapping, owner.get())->objectId();
    }
    const ManagerPtr clone = cloneId.safeOpenObject(OdDb::kForWrite);
    const Ids links = clone->objectDependencyIds();
    ASSERT_EQ(links.size(), 2u);
    setPath(links[1], face(7));  // another part than the link has that it was cloned from
    EXPECT_EQ(merge(clone.get()), kOdOk);
    EXPECT_EQ(deps(), (Ids{ids[0], ids[1], links[0], links[1]}));
    EXPECT_EQ(m_changed, ZemDbPersIdManager::IdSet{links[1]});
    EXPECT_EQ(openLink(links[0])->ownerId(), m_managerId);
    EXPECT_EQ(manager()->computeDepId(face(1)), (Ids{ids[0], links[0]}));
}

TEST_F(PersIdManagerMerge, RefusesWhatIsNoOtherManager)
{
    const Ids own = link({1});
    EXPECT_EQ(merge(nullptr), kOdInvalidInput);
    EXPECT_EQ(merge(addRecord().safeOpenObject(OdDb::kForWrite).get()), kOdInvalidInput);
    const ManagerPtr self = manager();
    EXPECT_EQ(merge(self.get()), kOdInvalidInput);
    EXPECT_EQ(deps(), own);
    EXPECT_FALSE(m_managerId.isErased());
}

TEST_F(PersIdManagerMerge, NeedsTheOtherManagerOpenForWriting)
{
    const ManagerPtr reading = m_sourceManager.safeOpenObject();
    EXPECT_EQ(thrownCode([&] { (void)merge(reading.get()); }), kOdNotOpenForWrite);
    EXPECT_EQ(reading->objectDependencyIds(), m_sourceLinks);
}

TEST_F(PersIdManagerMerge, MovesNothingWithoutAHost)
{
    const ManagerPtr clone = cloneAll();
    const Ids links = clone->objectDependencyIds();
    m_scope.attachHost(false);
    EXPECT_EQ(merge(clone.get()), kOdOk);
    EXPECT_TRUE(deps().isEmpty());
    EXPECT_EQ(clone->objectDependencyIds(), links);
    EXPECT_FALSE(clone->isErased());
}

namespace {

/// A host that can't name an entity.
class NamelessHost : public ZemDbObjectPE
{
public:
    void appendConstraintDependencies(ZemDbObject*, Paths const&, Ids&) override {}
    OdDbObjectId appendConstraintDependency(ZemDbObject*, OdDbFullSubentPath const&) override
    {
        return OdDbObjectId();
    }
    void onOpenedForModify(ZemDbObject*, OdDbObject const*) override {}
    void onDatabaseTrackerNotify(ZemDbObject*, OdDbObject const*) override {}
    void onTransformCached(OdDbDatabase*, OdDbObjectId, OdGeMatrix3d const&, bool) override {}
    OdString attachedEntityName(OdDbObjectId, ZemDbConstraintManager const*) const override
    {
        throw OdError(kOdKeyNotFound);
    }
};

}  // namespace

TEST_F(PersIdManagerMerge, ListsEachLinkWithItsOwnerWhenItBreaksOffHalfWay)
{
    const Ids own = link({1});
    const ManagerPtr clone = cloneAll();
    const Ids links = clone->objectDependencyIds();
    ASSERT_EQ(links.size(), 2u);
    const auto host = odrxMake<OdRxObjectImpl<NamelessHost>>();
    ZemDbObject::desc()->addX(ZemDbObjectPE::desc(), host.get());
    const OdResult thrown = thrownCode([&] { (void)merge(clone.get()); });
    (void)ZemDbObject::desc()->delX(ZemDbObjectPE::desc());
    EXPECT_EQ(thrown, kOdKeyNotFound);
    EXPECT_FALSE(clone->isErased());
    EXPECT_EQ(deps(), (Ids{own[0], links[0]}));
    EXPECT_EQ(clone->objectDependencyIds(), Ids{links[1]});
    EXPECT_EQ(openLink(links[0])->ownerId(), m_managerId);
    EXPECT_EQ(openLink(links[1])->ownerId(), clone->objectId());
    // And it can be gone on with.
    EXPECT_EQ(merge(clone.get()), kOdOk);
    EXPECT_EQ(deps(), (Ids{own[0], links[0], links[1]}));
    EXPECT_TRUE(clone->isErased());
}

TEST_F(PersIdManagerMerge, CanBeTakenBack)
{
    const ManagerPtr clone = cloneAll();
    const Ids links = clone->objectDependencyIds();
    m_db->startUndoRecord();
    EXPECT_EQ(merge(clone.get()), kOdOk);
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(deps().isEmpty());
    EXPECT_FALSE(clone->isErased());
    EXPECT_EQ(clone->objectDependencyIds(), links);
    EXPECT_EQ(openLink(links[0])->ownerId(), clone->objectId());
}

//--------------------------------------------------------------------------------------------------
// Look-ups beside a walk over all links

RC_GTEST_FIXTURE_PROP(PersIdManager, AnswersAsAWalkOverAllLinksDoes,
                      (std::vector<std::uint8_t> const& numbers))
{
    m_scope.host().reusesLinks = false;
    const OdDbObjectId solid = addSolid(m_block, 4);
    const ManagerPtr opened = manager();
    std::vector<OdDbObjectId> listed;
    std::vector<OdDbObjectId> all;
    m_db->startUndoRecord();
    for (std::size_t at = 0; at + 1 < numbers.size(); at += 2) {
        const int number = 1 + numbers[at] % 4;
        switch (numbers[at + 1] % 8) {
        case 0:
        case 1: {
            listed.push_back(opened->append(Paths{pathTo(solid, 0, number)}, nullptr)[0]);
            all.push_back(listed.back());
            break;
        }
        case 2:
            (void)opened->removeLink(pathTo(solid, 0, number), 0);
            std::erase_if(listed, [&](OdDbObjectId id) {
                const LinkPtr link = ZemDbObjectDependency::cast(id.openObject().get());
                return !link.isNull() && pathOf(id) == pathTo(solid, 0, number);
            });
            break;
        case 3:
        case 4:
            if (!all.empty()) {
                const OdDbObjectId id = all[numbers[at] % all.size()];
                const OdDbObjectPtr link = id.safeOpenObject(OdDb::kForWrite, true);
                if (link->isErased()) {
                    (void)link->erase(false);
                } else if (numbers[at] % 3 == 0) {
                    (void)link->erase(true);
                } else {
                    setPath(id, pathTo(solid, 0, number));
                }
            }
            break;
        case 5:
            if (!listed.empty() && !listed[numbers[at] % listed.size()].isErased()) {
                const OdDbObjectId id = listed[numbers[at] % listed.size()];
                opened->removeDependencies(Ids{id});
                std::erase(listed, id);
            }
            break;
        case 6:
            RC_ASSERT(opened->objectDependencyIds() == Ids(listed.begin(), listed.end()));
            break;
        default:
            if (numbers[at] % 4 == 0) {
                RC_ASSERT(m_db->undo() == kOdOk);
                RC_ASSERT(m_db->redo() == kOdOk);
                m_db->startUndoRecord();
            }
            break;
        }
        for (int face = 1; face <= 4; ++face) {
            Ids expected;
            for (OdDbObjectId id : listed) {
                if (!id.isErased() && pathOf(id) == pathTo(solid, 0, face)) {
                    expected.append(id);
                }
            }
            RC_ASSERT(opened->computeDepId(pathTo(solid, 0, face)) == expected);
        }
    }
    RC_ASSERT(opened->objectDependencyIds() == Ids(listed.begin(), listed.end()));
}

}  // namespace
}  // namespace link_test
