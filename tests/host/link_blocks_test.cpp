// Links through inserts, in several blocks, in clones of blocks, and those that something is wrong with.

#include "cli/host_session.h"
#include "db/od_db_3d_solid.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_memory_filer.h"
#include "db/od_db_object_store.h"
#include "root/od_error.h"
#include "store/od_db_drawing.h"

#include "host/host_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <utility>

using host_test::runZemhost;
using host_test::TemporaryFolder;
using zemhost::HostLink;
using zemhost::HostPartAnswer;
using zemhost::HostPartFate;
using zemhost::HostPartMap;
using zemhost::HostRemapReport;

namespace host_test {

/// Erases an object when what it watches is about to change, as anybody's code may.
class MeddlingWatcher : public OdDbObject
{
    RX_DECLARE_CLASS(MeddlingWatcher);

public:
    void openedForModify(OdDbObject const* /*object*/) override
    {
        const OdDbObjectId victim = std::exchange(s_victim, OdDbObjectId());
        if (!victim.isNull()) {
            (void)OdDbObjectPtr(victim.safeOpenObject(OdDb::kForWrite))->erase(true);
        }
    }
    static OdDbObjectId s_victim;
};

OdDbObjectId MeddlingWatcher::s_victim;

RX_DEFINE_CLASS(MeddlingWatcher, OdDbObject, odrxCreate<MeddlingWatcher>, L"MeddlingWatcher",
                OdDb::kDwgVersionCurrent, 0, 0, L"MEDDLINGWATCHER", L"test");

/// A carrier that has one object and fails to read it, as a disk does that doesn't answer.
class FailingStore : public OdDbObjectStore
{
public:
    explicit FailingStore(OdDbHandle handle) : m_handle(handle) {}

    bool find(OdDbHandle handle, std::uint32_t& classIndex) override
    {
        classIndex = 0;
        return handle == m_handle;
    }
    bool beginLoad(OdDbHandle, OdDbStoredObject&) override { throw OdError(kOdFileAccess); }
    void endLoad() override {}
    OdDbHandle nextHandle(OdDbHandle) override { return OdDbHandle(); }

private:
    OdDbHandle m_handle;
};

}  // namespace host_test

namespace {

using host_test::FailingStore;
using host_test::MeddlingWatcher;

constexpr OdDb::SubentType kFace = OdDb::SubentType::kFaceSubentType;
constexpr std::int64_t kFirstLostPart = std::int64_t{1} << 30;

using Parts = std::vector<std::int64_t>;

/// A drawing in memory, with what it takes to fill it.
class HostBlockLinks : public testing::Test
{
protected:
    HostBlockLinks() : m_db(OdDbDatabase::createObject()) {}

    OdDbObjectId space() const { return m_db->getModelSpaceId(); }
    OdDbObjectId addBlock(wchar_t const* name)
    {
        const OdDbBlockTablePtr table =
            OdDbBlockTable::cast(m_db->getBlockTableId().safeOpenObject(OdDb::kForWrite).get());
        const OdDbBlockTableRecordPtr record = OdDbBlockTableRecord::createObject();
        record->setName(name);
        return table->add(record.get());
    }
    static OdDbObjectId idOf(OdDbDatabase& database, OdDbHandle handle)
    {
        return database.getOdDbObjectId(handle);
    }
    static OdDbObjectId append(OdDbObjectId block, OdDbEntity* entity)
    {
        return OdDbBlockTableRecord::cast(block.safeOpenObject(OdDb::kForWrite).get())
            ->appendOdDbEntity(entity);
    }
    OdDbObjectId addSolid(OdDbObjectId block) const
    {
        const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
        const OdDbObjectId id = append(block, solid.get());
        solid->setBody(L"TEST", OdBinaryData(4, 1), m_counts);
        return id;
    }
    static OdDbObjectId addInsert(OdDbObjectId block, OdDbObjectId shown)
    {
        return append(block, OdDbBlockReference::createObject(shown, {}).get());
    }
    static OdDbFullSubentPath path(std::initializer_list<OdDbObjectId> ids, std::int64_t face)
    {
        OdDbObjectIdArray way;
        for (OdDbObjectId id : ids) {
            way.append(id);
        }
        return {way, OdDbSubentId(kFace, face)};
    }
    OdDbObjectId add(OdDbObjectId block, OdDbFullSubentPath const& path,
                     wchar_t const* selection = L"s")
    {
        const OdDbObjectIdArray links = m_session.links().add(block, selection, {path});
        return links.isEmpty() ? OdDbObjectId::kNull : links[0];
    }
    std::vector<HostLink> links() { return m_session.links().links(*m_db); }
    std::vector<HostLink> linksOf(OdDbObjectId block)
    {
        std::vector<HostLink> all = links();
        std::erase_if(all, [block](HostLink const& link) { return link.block != block; });
        return all;
    }
    /// Parts that the links of a block name along a way.
    Parts named(OdDbObjectId block, std::initializer_list<OdDbObjectId> ids)
    {
        Parts parts;
        for (HostLink const& link : linksOf(block)) {
            if (link.isThere && link.path.objectIds() == path(ids, 1).objectIds()) {
                parts.push_back(link.path.subentId().index());
            }
        }
        std::sort(parts.begin(), parts.end());
        return parts;
    }
    HostPartMap unchanged() const
    {
        const auto same = [](std::uint32_t count) {
            std::vector<HostPartFate> fates;
            for (std::uint32_t part = 1; part <= count; ++part) {
                fates.push_back({HostPartAnswer::kExact, {part}});
            }
            return fates;
        };
        return {same(m_counts.faces), same(m_counts.edges), same(m_counts.vertices)};
    }
    /// Face 1 is in two pieces, faces 2 and 3 have changed places, 4 is gone, 5 may be one of two.
    HostPartMap scrambled() const
    {
        HostPartMap map = unchanged();
        map.faces[0] = {HostPartAnswer::kSplit, {1, 5}};
        std::swap(map.faces[1].parts, map.faces[2].parts);
        map.faces[3] = {HostPartAnswer::kGone, {}};
        map.faces[4] = {HostPartAnswer::kAmbiguous, {4, 6}};
        return map;
    }
    HostRemapReport remap(OdDbObjectId solid, HostPartMap const& map)
    {
        return m_session.links().remap(solid, map, L"cut (step 1)");
    }
    std::vector<zemhost::HostLinkFinding> findings() { return m_session.links().verify(*m_db); }
    std::size_t damages()
    {
        const auto all = findings();
        return static_cast<std::size_t>(std::count_if(
            all.begin(), all.end(), [](auto const& found) { return found.isDamage; }));
    }
    std::vector<std::string> problems()
    {
        std::vector<std::string> texts;
        for (auto const& found : findings()) {
            std::string text;
            found.problem.appendUtf8To(text);
            texts.push_back(std::move(text));
        }
        return texts;
    }
    static OdDbObjectPtr open(OdDbObjectId id, OdDb::OpenMode mode = OdDb::kForRead)
    {
        return id.safeOpenObject(mode);
    }
    /// Files an object, lets `change` work on the bytes, and reads it again from them.
    template <class Change>
    static void rewrite(OdDbObjectId id, Change change)
    {
        OdStaticRxObject<OdDbMemoryFiler> out(OdDb::FilerType::kCopyFiler, id.database());
        const OdDbObjectPtr object = open(id, OdDb::kForWrite);
        object->dwgOutFields(&out);
        OdDbMemoryFiler::Bytes bytes = out.bytes();
        change(bytes);
        OdStaticRxObject<OdDbMemoryFiler> in(OdDb::FilerType::kCopyFiler, id.database());
        in.readFrom(bytes);
        ASSERT_EQ(object->dwgInFields(&in), kOdOk);
    }
    /// Gives a link to a part another number, past whoever keeps links in order.
    static void setNumber(OdDbObjectId link, std::int32_t number)
    {
        rewrite(link, [number](OdDbMemoryFiler::Bytes& bytes) {
            std::memcpy(bytes.data() + bytes.size() - sizeof number, &number, sizeof number);
        });
    }

    OdDb3dSolid::Counts m_counts{6, 12, 8};
    zemhost::HostSession m_session{{}};
    OdDbDatabasePtr m_db;
};

}  // namespace

// ---------------------------------------------------------------------------------------------
// Inserts and blocks

TEST_F(HostBlockLinks, LinksThroughNestedInsertsFollowAnEditOfTheSolidInside)
{
    const OdDbObjectId inner = addBlock(L"inner");
    const OdDbObjectId outer = addBlock(L"outer");
    const OdDbObjectId solid = addSolid(inner);
    const OdDbObjectId nested = addInsert(outer, inner);
    const OdDbObjectId top = addInsert(space(), outer);
    for (std::int64_t face = 1; face <= 5; ++face) {
        ASSERT_FALSE(add(space(), path({top, nested, solid}, face)).isNull());
    }
    const HostRemapReport report = remap(solid, scrambled());
    EXPECT_EQ(report.split, 1U);
    EXPECT_EQ(report.moved, 2U);
    EXPECT_EQ(report.gone, 1U);
    EXPECT_EQ(report.ambiguous, 1U);
    EXPECT_EQ(named(space(), {top, nested, solid}), (Parts{1, 2, 3, 5}));
    EXPECT_EQ(damages(), 0U);
}

TEST_F(HostBlockLinks, EachInsertOfABlockHasLinksOfItsOwn)
{
    const OdDbObjectId block = addBlock(L"part");
    const OdDbObjectId solid = addSolid(block);
    const OdDbObjectId left = addInsert(space(), block);
    const OdDbObjectId right = addInsert(space(), block);
    for (std::int64_t face = 1; face <= 5; ++face) {
        EXPECT_NE(add(space(), path({left, solid}, face)),
                  add(space(), path({right, solid}, face)));
    }
    const HostRemapReport report = remap(solid, scrambled());
    EXPECT_EQ(report.split, 2U);
    EXPECT_EQ(report.made, 4U);
    EXPECT_EQ(report.gone, 2U);
    EXPECT_EQ(report.ambiguous, 2U);
    EXPECT_EQ(named(space(), {left, solid}), (Parts{1, 2, 3, 5}));
    EXPECT_EQ(named(space(), {right, solid}), (Parts{1, 2, 3, 5}));
    EXPECT_EQ(damages(), 0U);
}

TEST_F(HostBlockLinks, LinksThroughAnErasedInsertAreRightOnceItIsBack)
{
    const OdDbObjectId block = addBlock(L"part");
    const OdDbObjectId solid = addSolid(block);
    const OdDbObjectId insert = addInsert(space(), block);
    for (std::int64_t face = 1; face <= 5; ++face) {
        add(space(), path({insert, solid}, face));
    }
    ASSERT_EQ(open(insert, OdDb::kForWrite)->erase(true), kOdOk);
    for (HostLink const& link : links()) {
        EXPECT_FALSE(link.isThere);
        EXPECT_NE(link.answer, HostPartAnswer::kExact);
    }
    const HostRemapReport report = remap(solid, scrambled());
    EXPECT_EQ(report.total(), 5U);
    EXPECT_EQ(report.gone, 1U);
    ASSERT_EQ(OdDbObjectPtr(insert.safeOpenObject(OdDb::kForWrite, true))->erase(false), kOdOk);
    EXPECT_EQ(named(space(), {insert, solid}), (Parts{1, 2, 3, 5}));
    EXPECT_EQ(m_session.links().audit(*m_db), 0U);  // lists them with the insert again
    EXPECT_EQ(damages(), 0U) << testing::PrintToString(problems());
}

TEST_F(HostBlockLinks, ASolidLinkedFromTwoBlocksIsFollowedInBoth)
{
    const OdDbObjectId block = addBlock(L"part");
    const OdDbObjectId solid = addSolid(block);
    const OdDbObjectId insert = addInsert(space(), block);
    for (std::int64_t face = 1; face <= 5; ++face) {
        add(space(), path({insert, solid}, face));
        add(block, path({solid}, face), L"inside");
    }
    m_db->startUndoRecord();
    EXPECT_EQ(remap(solid, scrambled()).total(), 10U);
    EXPECT_EQ(named(space(), {insert, solid}), (Parts{1, 2, 3, 5}));
    EXPECT_EQ(named(block, {solid}), (Parts{1, 2, 3, 5}));
    EXPECT_EQ(damages(), 0U);
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(named(space(), {insert, solid}), (Parts{1, 2, 3, 4, 5}));
    EXPECT_EQ(named(block, {solid}), (Parts{1, 2, 3, 4, 5}));
    EXPECT_EQ(damages(), 0U);
}

TEST_F(HostBlockLinks, ACloneOfABlockHasSelectionsOfItsOwnThatFollowItsOwnEdits)
{
    const OdDbObjectId source = addBlock(L"source");
    const OdDbObjectId solid = addSolid(source);
    for (std::int64_t face = 1; face <= 5; ++face) {
        add(source, path({solid}, face));
    }
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    const OdDbObjectId clone = m_db->copyBlock(source, L"clone", *mapping);
    const OdDbObjectId cloned = mapping->find(solid)->value();
    EXPECT_EQ(named(clone, {cloned}), (Parts{1, 2, 3, 4, 5}));
    EXPECT_EQ(damages(), 0U) << testing::PrintToString(problems());

    EXPECT_EQ(remap(cloned, scrambled()).split, 1U);
    EXPECT_EQ(named(clone, {cloned}), (Parts{1, 2, 3, 5}));
    EXPECT_EQ(named(source, {solid}), (Parts{1, 2, 3, 4, 5}));
    for (HostLink const& link : linksOf(source)) {
        EXPECT_EQ(link.answer, HostPartAnswer::kExact);
        EXPECT_EQ(link.selection, OdString(L"s"));
    }
    EXPECT_EQ(damages(), 0U);

    HostPartMap map = unchanged();
    map.faces[0] = {HostPartAnswer::kGone, {}};
    EXPECT_EQ(remap(solid, map).gone, 1U);
    EXPECT_EQ(named(source, {solid}), (Parts{2, 3, 4, 5}));
    EXPECT_EQ(named(clone, {cloned}), (Parts{1, 2, 3, 5}));
    EXPECT_EQ(damages(), 0U);
}

// ---------------------------------------------------------------------------------------------
// Repair and audit

TEST_F(HostBlockLinks, ARepairMayLeadToAnotherSolid)
{
    const OdDbObjectId first = addSolid(space());
    const OdDbObjectId second = addSolid(space());
    const OdDbObjectId link = add(space(), path({first}, 1));
    EXPECT_EQ(m_session.links().repair(space(), L"s", 0, path({second}, 3)), kOdOk);
    EXPECT_EQ(named(space(), {second}), Parts{3});
    EXPECT_EQ(damages(), 0U) << testing::PrintToString(problems());

    HostPartMap map = unchanged();
    map.faces[2].parts = {6};
    EXPECT_EQ(remap(first, map).total(), 0U);
    EXPECT_EQ(remap(second, map).moved, 1U);
    EXPECT_EQ(named(space(), {second}), Parts{6});

    EXPECT_EQ(m_session.links().takeBack(space(), L"s", 0), kOdOk);
    EXPECT_EQ(named(space(), {first}), Parts{1});
    EXPECT_EQ(links().front().link, link);
    EXPECT_EQ(damages(), 0U) << testing::PrintToString(problems());
}

TEST_F(HostBlockLinks, WhatARepairLeftIsRenumberedByEditsOfThatSolid)
{
    const OdDbObjectId first = addSolid(space());
    const OdDbObjectId second = addSolid(space());
    add(space(), path({first}, 2));
    EXPECT_EQ(m_session.links().repair(space(), L"s", 0, path({second}, 3)), kOdOk);
    (void)remap(first, scrambled());
    EXPECT_EQ(m_session.links().takeBack(space(), L"s", 0), kOdOk);
    EXPECT_EQ(named(space(), {first}), Parts{3});
}

TEST_F(HostBlockLinks, WhatAnAuditHasMendedIsThereInAnotherProcess)
{
    const OdDbObjectId kept = addSolid(space());
    const OdDbObjectId lost = addSolid(space());
    add(space(), path({kept}, 1), L"kept");
    add(space(), path({lost}, 2), L"lost");
    ASSERT_EQ(open(lost, OdDb::kForWrite)->erase(true), kOdOk);
    EXPECT_EQ(m_session.links().audit(*m_db), 1U);
    const TemporaryFolder folder;
    const std::string file = folder.file("a.zdw");
    odDbSaveDrawingAs(*m_db, OdString::fromUtf8(file));
    m_db.release();

    const nlohmann::json listed = runZemhost({"links", "list", file, "--json"}).json()["links"];
    ASSERT_EQ(listed.size(), 2U);
    EXPECT_EQ(listed[0]["answer"], "exact");
    EXPECT_EQ(listed[0]["selection"], "kept");
    EXPECT_EQ(listed[1]["answer"], "gone");
    EXPECT_TRUE(listed[1]["link"].is_null());
    const nlohmann::json verified = runZemhost({"links", "verify", file, "--json"}).json();
    for (auto const& found : verified["findings"]) {
        EXPECT_EQ(found["damage"], false) << found;
    }
    EXPECT_EQ(runZemhost({"check", file}).exitCode, 0);
    EXPECT_EQ(runZemhost({"links", "repair", file}).output, "nothing to take away\n");
}

// ---------------------------------------------------------------------------------------------
// What something is wrong with

TEST_F(HostBlockLinks, NoLinkIsMadeAgainWhileItCannotBeRead)
{
    const OdDbHandle solid = addSolid(space()).getHandle();
    const OdDbHandle link = add(space(), path({idOf(*m_db, solid)}, 1)).getHandle();
    const TemporaryFolder folder;
    const OdString file = OdString::fromUtf8(folder.file("a.zdw"));
    odDbSaveDrawingAs(*m_db, file);
    m_db = odDbOpenDrawing(file, OdDbOpenDrawingMode::kForReading);
    for (std::uint64_t number = 1; number < m_db->handseed().value(); ++number) {
        if (OdDbHandle(number) != link) {
            (void)idOf(*m_db, OdDbHandle(number)).openObject();
        }
    }
    OdDbStorageAccess(*m_db).attachStore(std::make_unique<FailingStore>(link));
    try {
        (void)add(space(), path({idOf(*m_db, solid)}, 1), L"again");
        ADD_FAILURE() << "nothing was thrown";
    } catch (OdError const& error) {
        EXPECT_EQ(error.code(), kOdFileAccess);
    }
}

TEST_F(HostBlockLinks, AnEditThatThrowsHalfWayIsUndoneToTheLastByte)
{
    const OdDbObjectId solid = addSolid(space());
    for (std::int64_t face = 1; face <= 5; ++face) {
        add(space(), path({solid}, face));
    }
    MeddlingWatcher::rxInit();
    const OdDbObjectId link = links()[1].link;
    const OdDbObjectIdArray selections = open(link)->getPersistentReactors();
    ASSERT_EQ(selections.size(), 1U);
    {
        const OdSmartPtr<MeddlingWatcher> watcher = odrxMake<MeddlingWatcher>();
        const OdDbObjectId id = m_db->addOdDbObject(watcher.get(), space());
        open(link, OdDb::kForWrite)->addPersistentReactor(id);
    }
    const TemporaryFolder folder;
    const auto save = [&](char const* name) {
        odDbSaveDrawingAs(*m_db, OdString::fromUtf8(folder.file(name)));
        return folder.file(name);
    };
    const std::string before = save("before.zdw");
    m_db->startUndoRecord();
    MeddlingWatcher::s_victim = selections[0];  // which is to follow when all links have
    EXPECT_THROW((void)remap(solid, scrambled()), OdError);
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(named(space(), {solid}), (Parts{1, 2, 3, 4, 5}));
    EXPECT_EQ(damages(), 0U) << testing::PrintToString(problems());
    const nlohmann::json compared =
        runZemhost({"compare", before, save("after.zdw"), "--json"}).json();
    for (auto const& difference : compared["differences"]) {
        EXPECT_THAT(difference["text"].get<std::string>(), testing::HasSubstr("next handles"));
    }
    EXPECT_EQ(remap(solid, scrambled()).total(), 5U);
    EXPECT_EQ(damages(), 0U);
    MeddlingWatcher::rxUninit();
}

TEST_F(HostBlockLinks, AMapThatNamesNoPartMakesALinkAmbiguous)
{
    const OdDbObjectId solid = addSolid(space());
    for (std::int64_t face = 1; face <= 3; ++face) {
        add(space(), path({solid}, face));
    }
    HostPartMap map = unchanged();
    map.faces[0] = {HostPartAnswer::kExact, {}};
    map.faces[1] = {HostPartAnswer::kMerged, {}};
    map.faces[2] = {HostPartAnswer::kSplit, {}};
    EXPECT_EQ(remap(solid, map).ambiguous, 3U);
    EXPECT_TRUE(named(space(), {solid}).empty());
    for (HostLink const& link : links()) {
        EXPECT_EQ(link.answer, HostPartAnswer::kAmbiguous);
    }
}

TEST_F(HostBlockLinks, AWatchedLinkThatItsManagerDoesNotListIsToldAsNotToBeTrusted)
{
    const OdDbObjectId solid = addSolid(space());
    const OdDbObjectId link = add(space(), path({solid}, 1));
    const OdDbObjectId other = add(space(), path({solid}, 2));
    rewrite(open(link)->ownerId(), [&](OdDbMemoryFiler::Bytes& bytes) {
        // The other one stands in both places.
        const OdDbObjectId ids[2] = {link, other};
        static_assert(sizeof ids[0] == 8);
        const auto* const wanted = reinterpret_cast<std::uint8_t const*>(&ids[0]);
        const auto at = std::search(bytes.begin(), bytes.end(), wanted, wanted + 8);
        ASSERT_NE(at, bytes.end());
        std::memcpy(&*at, &ids[1], 8);
    });
    EXPECT_GT(damages(), 0U);
    const auto find = [&] {
        const std::vector<HostLink> all = links();
        const auto at = std::find_if(all.begin(), all.end(),
                                     [&](HostLink const& found) { return found.entry == 0; });
        return at == all.end() ? HostLink() : *at;
    };
    EXPECT_EQ(find().link, link);
    EXPECT_EQ(find().answer, HostPartAnswer::kAmbiguous);
    EXPECT_FALSE(find().isThere);
    EXPECT_FALSE(find().cause.isEmpty());

    EXPECT_EQ(m_session.links().repair(space(), L"s", 0, path({solid}, 3)), kOdOk);
    EXPECT_EQ(find().answer, HostPartAnswer::kExact);
    EXPECT_NE(find().link, link);
    EXPECT_EQ(find().path, path({solid}, 3));
}

TEST_F(HostBlockLinks, TheGreatestNumberThatALinkCanHaveLeavesRoomForLostOnes)
{
    const OdDbObjectId solid = addSolid(space());
    const OdDbObjectId greatest = add(space(), path({solid}, 1));
    const OdDbObjectId first = add(space(), path({solid}, 2));
    add(space(), path({solid}, 3));
    add(space(), path({solid}, 4));
    setNumber(greatest, std::numeric_limits<std::int32_t>::max());
    setNumber(first, static_cast<std::int32_t>(kFirstLostPart));
    HostPartMap map = unchanged();
    map.faces[2] = map.faces[3] = {HostPartAnswer::kAmbiguous, {1, 2}};
    EXPECT_EQ(remap(solid, map).ambiguous, 4U);
    Parts numbers;
    for (HostLink const& link : links()) {
        EXPECT_FALSE(link.isThere);
        numbers.push_back(link.path.subentId().index());
    }
    std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(numbers, (Parts{kFirstLostPart, kFirstLostPart + 1, kFirstLostPart + 2,
                              std::numeric_limits<std::int32_t>::max()}));
    EXPECT_EQ(remap(solid, unchanged()).ambiguous, 4U);
    EXPECT_EQ(links().size(), 4U);
}

TEST_F(HostBlockLinks, ALinkWhosePartNobodyCanTellIsNotCalledExact)
{
    const OdDbObjectId solid = addSolid(space());
    const OdDbObjectId lost = add(space(), path({solid}, 1));
    const OdDbObjectId unwatched = add(space(), path({solid}, 2), L"other");
    setNumber(lost, static_cast<std::int32_t>(kFirstLostPart));
    setNumber(unwatched, 99);
    for (HostLink const& link : links()) {
        EXPECT_EQ(link.answer,
                  link.link == lost ? HostPartAnswer::kAmbiguous : HostPartAnswer::kGone);
    }
    ASSERT_EQ(open(solid, OdDb::kForWrite)->erase(true), kOdOk);
    for (HostLink const& link : links()) {
        EXPECT_EQ(link.answer, HostPartAnswer::kGone);
        EXPECT_FALSE(link.cause.isEmpty());
    }
}
