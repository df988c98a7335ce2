#include "store/od_db_drawing.h"

#include "flaky_store_test_support.h"
#include "model_test_support.h"
#include "zem_id_list.h"
#include "zem_persid_cache.h"

#include <rapidcheck/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <map>

namespace {

using namespace model_test;

class PersIdCache : public ModelTest
{
protected:
    /// Adds links to faces 1 to `count` and tells the cache of them.
    void addFaces(int count)
    {
        for (int number = 1; number <= count; ++number) {
            add(face(m_line, number));
        }
    }
    OdDbObjectId add(OdDbFullSubentPath const& path)
    {
        const OdDbObjectId id = addLink(path);
        m_cache.onDepAdded(id);
        m_ids.append(id);
        return id;
    }
    void remove(unsigned position)
    {
        m_cache.onDepRemoved(m_ids[position]);
        m_ids.removeAt(position);
    }
    OdDbObjectId find(OdDbFullSubentPath const& path)
    {
        ZemCompoundObjectId chain;
        chain.setFullPath(path.objectIds(), /*keepTail=*/false);
        return m_cache.lookup(chain, path.subentId(), m_ids);
    }
    OdDbObjectId findFace(std::int64_t index) { return find(face(m_line, index)); }
    static void move(OdDbObjectId link, OdDbFullSubentPath const& path)
    {
        LinkPtr(link.openObject(OdDb::kForWrite, /*openErased=*/true))->setLinkObject(path);
    }

    OdDbObjectIdArray m_ids;
    ZemPersIdCache m_cache;
};

}  // namespace

TEST_F(PersIdCache, AnEmptyListHoldsNothing)
{
    EXPECT_TRUE(findFace(1).isNull());
    EXPECT_EQ(m_cache.remaining(), 0u);
    EXPECT_FALSE(m_cache.usesMap());
}

TEST_F(PersIdCache, AListOfUpToFiveLinksBuildsNoMap)
{
    addFaces(5);
    EXPECT_EQ(findFace(4), m_ids[3]);
    EXPECT_TRUE(findFace(9).isNull());
    EXPECT_FALSE(m_cache.usesMap());
}

TEST_F(PersIdCache, ASixthLinkSwitchesTheNextLookUpToTheMap)
{
    addFaces(5);
    EXPECT_EQ(findFace(2), m_ids[1]);
    add(face(m_line, 6));
    EXPECT_FALSE(m_cache.usesMap());
    EXPECT_EQ(findFace(6), m_ids[5]);
    EXPECT_TRUE(m_cache.usesMap());
}

TEST_F(PersIdCache, AWalkOfAShortListStartsWhereTheLastOneStopped)
{
    const OdDbObjectId first = add(face(m_line, 1));
    const OdDbObjectId second = add(face(m_line, 1));
    m_cache.clearLastRequestId();
    EXPECT_EQ(findFace(1), first);
    EXPECT_EQ(m_cache.nextIndex(), 1u);
    m_cache.clearLastRequestId();
    EXPECT_EQ(findFace(1), second);
    EXPECT_EQ(m_cache.nextIndex(), 2u);
    m_cache.clearLastRequestId();
    EXPECT_EQ(findFace(1), first);
    EXPECT_EQ(m_cache.nextIndex(), 1u);
}

TEST_F(PersIdCache, TheLastHitInAShortListIsTriedFirst)
{
    addFaces(4);
    EXPECT_EQ(findFace(3), m_ids[2]);
    EXPECT_EQ(m_cache.lastRequestId(), m_ids[2]);
    const std::uint32_t next = m_cache.nextIndex();
    EXPECT_EQ(findFace(3), m_ids[2]);
    EXPECT_EQ(m_cache.nextIndex(), next);
}

TEST_F(PersIdCache, AMissAfterAFullWalkIsKnownAtOnceUntilALinkIsAdded)
{
    addFaces(7);
    EXPECT_TRUE(findFace(100).isNull());
    EXPECT_EQ(m_cache.remaining(), 0u);
    move(m_ids[2], face(m_line, 100));
    EXPECT_TRUE(findFace(100).isNull());
    EXPECT_EQ(m_cache.remaining(), 0u);
    add(face(m_line, 8));
    EXPECT_EQ(findFace(100), m_ids[2]);
}

TEST_F(PersIdCache, AMissAfterAFullWalkIsKnownAtOnceUntilALinkIsRemoved)
{
    addFaces(8);
    EXPECT_TRUE(findFace(100).isNull());
    move(m_ids[2], face(m_line, 100));
    EXPECT_TRUE(findFace(100).isNull());
    remove(0);
    EXPECT_EQ(findFace(100), m_ids[1]);
}

TEST_F(PersIdCache, AnEarlyMatchLeavesTheOtherPositionsForLater)
{
    addFaces(10);
    EXPECT_EQ(findFace(2), m_ids[1]);
    EXPECT_EQ(m_cache.remaining(), 8u);
    EXPECT_EQ(findFace(1), m_ids[0]);
    EXPECT_EQ(m_cache.remaining(), 8u);
    EXPECT_EQ(findFace(5), m_ids[4]);
    EXPECT_EQ(m_cache.remaining(), 5u);
    EXPECT_EQ(m_cache.nextIndex(), 5u);
    EXPECT_TRUE(findFace(11).isNull());
    EXPECT_EQ(m_cache.remaining(), 0u);
    EXPECT_EQ(findFace(7), m_ids[6]);
}

TEST_F(PersIdCache, AHitInTheMapNeedsNoLink)
{
    addFaces(6);
    EXPECT_TRUE(findFace(100).isNull());
    erase(m_ids[3]);
    EXPECT_EQ(findFace(4), m_ids[3]);
    EXPECT_EQ(m_cache.lastRequestId(), m_ids[3]);
}

TEST_F(PersIdCache, LinksThatCantBeOpenedWhenTheyAreMetArePassedOver)
{
    addFaces(6);
    erase(m_ids[3]);
    m_ids[4] = m_line;
    m_ids[5] = OdDbObjectId();
    EXPECT_TRUE(findFace(4).isNull());
    unerase(m_ids[3]);
    EXPECT_TRUE(findFace(4).isNull());
    m_cache.invalidate();
    EXPECT_EQ(findFace(4), m_ids[3]);
}

TEST_F(PersIdCache, LinksThatCantBeReadArePassedOverAndLookedAtTheNextTime)
{
    using flaky_store_test::FlakyStore;
    for (int count : {4, 7}) {
        SCOPED_TRACE(count);
        m_ids.clear();
        m_cache = ZemPersIdCache();
        addFaces(count);
        m_cache.clearLastRequestId();
        const OdDbObjectId third = m_ids[2];
        m_ids[2] = FlakyStore::attachTo(*m_database);
        EXPECT_TRUE(findFace(3).isNull());
        EXPECT_EQ(findFace(4), m_ids[3]);
        m_ids[2] = third;  // as if it could be read by now
        EXPECT_EQ(findFace(3), third);
    }
}

TEST_F(PersIdCache, OfSeveralLinksToOnePlaceTheFirstOneMetIsFound)
{
    addFaces(6);
    const OdDbObjectId second = add(face(m_line, 3));
    EXPECT_TRUE(findFace(100).isNull());
    EXPECT_EQ(findFace(3), m_ids[2]);
    m_cache.invalidate();
    EXPECT_EQ(findFace(5), m_ids[4]);
    m_cache.invalidate();
    EXPECT_EQ(findFace(3), second);
    EXPECT_TRUE(findFace(100).isNull());
    EXPECT_EQ(findFace(3), second);
}

TEST_F(PersIdCache, InvalidatingKeepsTheLastHitAndThePlaceInTheList)
{
    addFaces(8);
    EXPECT_EQ(findFace(3), m_ids[2]);
    m_cache.invalidate();
    EXPECT_FALSE(m_cache.usesMap());
    EXPECT_EQ(m_cache.lastRequestId(), m_ids[2]);
    EXPECT_EQ(m_cache.nextIndex(), 3u);
}

TEST_F(PersIdCache, AnAddedLinkIsRememberedIfNoneIs)
{
    m_cache.onDepAdded(m_line);
    EXPECT_EQ(m_cache.lastRequestId(), m_line);
}

TEST_F(PersIdCache, AnAddedLinkLeavesTheOneThatIsRemembered)
{
    m_cache.onDepAdded(m_line);
    m_cache.onDepAdded(m_other);
    EXPECT_EQ(m_cache.lastRequestId(), m_line);
}

TEST_F(PersIdCache, ARemovedLinkIsNotRemembered)
{
    m_cache.onDepAdded(m_line);
    m_cache.onDepRemoved(m_other);
    EXPECT_EQ(m_cache.lastRequestId(), m_line);
    m_cache.onDepRemoved(m_line);
    EXPECT_TRUE(m_cache.lastRequestId().isNull());
}

TEST_F(PersIdCache, TheWalkStartsOverInAListThatBecameShorter)
{
    addFaces(7);
    EXPECT_EQ(findFace(7), m_ids[6]);
    while (m_ids.size() > 2) {
        remove(m_ids.size() - 1);
    }
    EXPECT_EQ(findFace(1), m_ids[0]);
    EXPECT_EQ(m_cache.nextIndex(), 1u);
}

TEST_F(PersIdCache, AListThatWasEmptiedBehindTheCacheHoldsNothing)
{
    addFaces(7);
    EXPECT_EQ(findFace(1), m_ids[0]);
    m_ids.clear();
    EXPECT_TRUE(findFace(7).isNull());
}

TEST_F(PersIdCache, ChainsTypesAndIndicesTellLinksApart)
{
    const OdDbObjectIdArray chain{m_line, m_other};
    const OdDbFullSubentPath paths[] = {
        {{m_line}, OdDbSubentId(kFace, 1)},
        {{m_line}, OdDbSubentId(kEdge, 1)},
        {{m_line}, OdDbSubentId(kFace, (std::int64_t{1} << 32) + 1)},
        {{m_other}, OdDbSubentId(kFace, 1)},
        {{m_line, m_other}, OdDbSubentId(kFace, 1)},
        {{m_other, m_line}, OdDbSubentId(kFace, 1)},
        {{}, OdDbSubentId(kFace, 1)},
        {{m_line}, OdDbSubentId()},
    };
    for (OdDbFullSubentPath const& path : paths) {
        add(path);
    }
    EXPECT_TRUE(findFace(2).isNull());
    for (unsigned at = 0; at < std::size(paths); ++at) {
        EXPECT_EQ(find(paths[at]), m_ids[at]) << at;
    }
}

TEST_F(PersIdCache, LinksBehindAnEarlyMatchStayUnread)
{
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("zem_cache_" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    const OdString path = OdString::fromUtf8((folder / "links.zdw").string());
    listLinks(8);
    const OdDbHandle handle = objectId().getHandle();
    const OdDbHandle lineHandle = m_line.getHandle();
    odDbSaveDrawingAs(*m_database, path);
    m_database.release();
    {
        const OdDbDatabasePtr opened = odDbOpenDrawing(path, OdDbOpenDrawingMode::kForReading);
        const ObjectPtr read = opened->getOdDbObjectId(handle).openObject();
        const OdDbObjectIdArray links = read->persIdDependencies();
        ASSERT_EQ(links.size(), 8u);
        EXPECT_EQ(read->getPersIdDependency(face(opened->getOdDbObjectId(lineHandle), 2)),
                  links[1]);
        EXPECT_TRUE(links[1].isResident());
        EXPECT_FALSE(links[2].isResident());
        EXPECT_FALSE(links[7].isResident());
    }
    std::filesystem::remove_all(folder);
}

namespace {

/// The cache as it is described, with plain containers.
class PlainCache
{
public:
    using Key = std::pair<std::pair<int, std::int64_t>, std::vector<std::uint64_t>>;

    static Key keyOf(OdDbFullSubentPath const& path)
    {
        Key key{{static_cast<int>(path.subentId().type()), path.subentId().index()}, {}};
        for (OdDbObjectId id : path.objectIds()) {
            key.second.push_back(id.getHandle().value());
        }
        return key;
    }
    static bool keyOf(OdDbObjectId id, Key& key)
    {
        const auto link = ZemDbObjectDependency::cast(id.openObject().get());
        if (!link.isNull()) {
            OdDbFullSubentPath path;
            (void)link->getLinkObject(path, /*openErased=*/true);
            key = keyOf(path);
        }
        return !link.isNull();
    }
    OdDbObjectId lookup(OdDbFullSubentPath const& path, OdDbObjectIdArray const& ids)
    {
        const Key wanted = keyOf(path);
        Key key;
        if (usesMap) {
            const auto at = map.lower_bound(wanted);
            if (at != map.end() && at->first == wanted) {
                return last = at->second;
            }
        } else {
            if (!last.isNull() && keyOf(last, key) && key == wanted) {
                return last;
            }
            remaining = ids.size();
            usesMap = ids.size() > 5;
        }
        while (remaining != 0) {
            --remaining;
            next = next >= ids.size() ? 0 : next;
            const OdDbObjectId id = ids[next++];
            if (!keyOf(id, key)) {
                continue;
            }
            if (usesMap) {
                map.emplace(key, id);
            }
            if (key == wanted) {
                return last = id;
            }
        }
        return OdDbObjectId();
    }
    void invalidate()
    {
        map.clear();
        usesMap = false;
    }

    std::multimap<Key, OdDbObjectId> map;
    bool usesMap = false;
    std::uint32_t next = 0;
    std::uint32_t remaining = 0;
    OdDbObjectId last;
};

class CacheProperty : public PersIdCache
{
public:
    void TestBody() override {}
    using PersIdCache::add;
    using PersIdCache::find;
    using PersIdCache::m_cache;
    using PersIdCache::m_ids;
    using PersIdCache::move;
    using PersIdCache::remove;

    OdDbFullSubentPath path(int number) const
    {
        OdDbFullSubentPath result = face(number % 2 == 0 ? m_line : m_other, number / 4 + 1);
        if (number % 4 == 3) {
            result.objectIds().append(m_line);
        }
        return result;
    }
};

}  // namespace

RC_GTEST_PROP(PersIdCacheProperty, AnswersAsAPlainOneAfterAnySequence, ())
{
    CacheProperty test;
    PlainCache plain;
    const auto steps = *rc::gen::container<std::vector<std::pair<int, int>>>(
        rc::gen::pair(rc::gen::inRange(0, 12), rc::gen::inRange(0, 16)));
    for (auto const& [what, number] : steps) {
        const auto at = static_cast<unsigned>(number);
        const bool isListed = at < test.m_ids.size();
        if (what < 2 || (what < 4 && !isListed)) {
            const OdDbObjectId id = test.add(test.path(number));
            plain.invalidate();
            plain.last = plain.last.isNull() ? id : plain.last;
        } else if (what == 2) {
            if (plain.last == test.m_ids[at]) {
                plain.last = OdDbObjectId();
            }
            plain.invalidate();
            test.remove(at);
        } else if (what == 3) {
            CacheProperty::move(test.m_ids[at], test.path((number * 7 + 3) % 16));
        } else if (what == 4 && isListed) {
            const OdDbObjectPtr link = test.m_ids[at].openObject(OdDb::kForWrite, true);
            (void)link->erase(!link->isErased());
        } else if (what == 5) {
            test.m_cache.invalidate();
            plain.invalidate();
        } else {
            RC_ASSERT(test.find(test.path(number)) == plain.lookup(test.path(number), test.m_ids));
        }
        RC_ASSERT(test.m_cache.usesMap() == plain.usesMap);
        RC_ASSERT(test.m_cache.nextIndex() == plain.next);
        RC_ASSERT(test.m_cache.remaining() == plain.remaining);
        RC_ASSERT(test.m_cache.lastRequestId() == plain.last);
    }
}

namespace {

/// Ids of a database by number; they need no objects.
class IdList : public testing::Test
{
public:
    void TestBody() override {}
    OdDbObjectId id(int number)
    {
        return m_database->getOdDbObjectId(OdDbHandle(static_cast<std::uint64_t>(0x10000 + number)),
                                           /*create=*/true);
    }

    ZemModuleScope m_scope;
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    ZemIdList m_list;
};

}  // namespace

TEST_F(IdList, AnIdThatWasTakenAwayMayComeBack)
{
    for (int number = 0; number < 100; ++number) {
        m_list.append(id(number));
    }
    EXPECT_TRUE(m_list.removeFirst(id(3)));
    EXPECT_FALSE(m_list.contains(id(3)));
    EXPECT_FALSE(m_list.removeFirst(id(3)));
    m_list.append(id(3));
    EXPECT_TRUE(m_list.contains(id(3)));
    EXPECT_EQ(m_list.size(), 100u);
    EXPECT_EQ(m_list.ids().last(), id(3));
    EXPECT_EQ(m_list.ids()[3], id(4));
}

TEST_F(IdList, CopiesOfItsIdsStayAsTheyWere)
{
    for (int number = 0; number < 40; ++number) {
        m_list.append(id(number));
    }
    const OdDbObjectIdArray copy = m_list.ids();
    EXPECT_TRUE(m_list.removeFirst(id(0)));
    EXPECT_EQ(m_list.ids().size(), 39u);
    EXPECT_EQ(copy.size(), 40u);
    EXPECT_EQ(copy.first(), id(0));
}

TEST_F(IdList, KnowsWhatWasPutIntoItsArray)
{
    for (int number = 0; number < 40; ++number) {
        m_list.append(id(number));
    }
    EXPECT_TRUE(m_list.contains(id(39)));
    m_list.bulk() = {id(50)};
    EXPECT_FALSE(m_list.contains(id(39)));
    EXPECT_TRUE(m_list.contains(id(50)));
}

TEST_F(IdList, NoticesAChangeThroughABindingThatIsHeld)
{
    for (int number = 0; number < 40; ++number) {
        m_list.append(id(number));
    }
    OdDbObjectIdArray* const held = m_list.binding();
    EXPECT_TRUE(m_list.removeFirst(id(5)));
    *held = {id(50), id(51), id(52)};
    EXPECT_EQ(m_list.size(), 3u);
    EXPECT_FALSE(m_list.contains(id(39)));
    EXPECT_EQ(m_list.ids(), (OdDbObjectIdArray{id(50), id(51), id(52)}));
}

TEST_F(IdList, NoticesThatAsManyOthersWerePutIntoTheSameArray)
{
    for (int number = 0; number < 40; ++number) {
        m_list.append(id(number));
    }
    OdDbObjectIdArray* const held = m_list.binding();
    EXPECT_TRUE(m_list.contains(id(0)));
    held->clear();
    for (int number = 100; number < 140; ++number) {
        held->append(id(number));
    }
    EXPECT_FALSE(m_list.contains(id(0)));
    EXPECT_TRUE(m_list.removeFirst(id(100)));
    EXPECT_EQ(m_list.ids().first(), id(101));
}

TEST_F(IdList, AnIdThatStandsManyTimesIsTakenAwayWithoutAWalkForEach)
{
    constexpr int kTimes = 200000;
    OdDbObjectIdArray ids;
    for (int at = 0; at < kTimes; ++at) {
        ids.append(id(1));
    }
    ids.append(id(2));
    m_list.bulk() = ids;
    for (int at = 0; at < kTimes; ++at) {
        ASSERT_TRUE(m_list.removeFirst(id(1)));
    }
    EXPECT_FALSE(m_list.contains(id(1)));
    EXPECT_EQ(m_list.ids(), OdDbObjectIdArray{id(2)});
}

TEST_F(IdList, OfRepeatsTheFirstOneIsTakenAwayAlsoOfThoseThatWereAddedLater)
{
    for (int at = 0; at < 60; ++at) {
        m_list.append(id(at % 20));
    }
    EXPECT_TRUE(m_list.removeFirst(id(5)));
    m_list.append(id(5));
    for (int at = 0; at < 2; ++at) {
        EXPECT_TRUE(m_list.removeFirst(id(5)));
        EXPECT_TRUE(m_list.contains(id(5)));
    }
    EXPECT_EQ(m_list.ids().last(), id(5));
    EXPECT_TRUE(m_list.removeFirst(id(5)));
    EXPECT_FALSE(m_list.contains(id(5)));
    EXPECT_EQ(m_list.size(), 57u);
}

RC_GTEST_PROP(IdListProperty, AnswersAsAPlainArrayAfterAnySequence, ())
{
    IdList test;
    std::vector<OdDbObjectId> plain;
    const auto steps = *rc::gen::container<std::vector<std::pair<int, int>>>(
        *rc::gen::inRange<std::size_t>(0, 300),
        rc::gen::pair(rc::gen::inRange(0, 12), rc::gen::inRange(0, 60)));
    for (auto const& [what, number] : steps) {
        const OdDbObjectId id = test.id(number);
        const auto at = std::find(plain.begin(), plain.end(), id);
        RC_ASSERT(test.m_list.contains(id) == (at != plain.end()));
        if (what < 3) {
            test.m_list.append(id);
            plain.push_back(id);
        } else if (what < 7 && at == plain.end()) {
            test.m_list.append({id, test.id(number + 60)});
            plain.push_back(id);
            plain.push_back(test.id(number + 60));
        } else if (what < 10) {
            RC_ASSERT(test.m_list.removeFirst(id) == (at != plain.end()));
            if (at != plain.end()) {
                plain.erase(at);
            }
        } else if (what == 10) {
            RC_ASSERT(test.m_list.ids() == OdDbObjectIdArray(plain.begin(), plain.end()));
        } else if (number == 0) {
            test.m_list.clear();
            plain.clear();
        }
        RC_ASSERT(test.m_list.size() == plain.size());
        RC_ASSERT(test.m_list.isEmpty() == plain.empty());
    }
    RC_ASSERT(test.m_list.ids() == OdDbObjectIdArray(plain.begin(), plain.end()));
}
