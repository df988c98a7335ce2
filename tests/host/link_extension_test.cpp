// Links and selections through edits whose outcome the test knows, without a kernel.

#include "cli/host_session.h"
#include "db/od_db_3d_solid.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_memory_filer.h"
#include "db/od_db_xrecord.h"
#include "root/od_error.h"
#include "store/od_db_drawing.h"

#include "host/host_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

using zemhost::HostLink;
using zemhost::HostPartAnswer;
using zemhost::HostPartFate;
using zemhost::HostPartMap;
using zemhost::HostRemapReport;

namespace {

constexpr OdDb::SubentType kFace = OdDb::SubentType::kFaceSubentType;
constexpr OdDb::SubentType kEdge = OdDb::SubentType::kEdgeSubentType;

/// Everything of a solid as it was.
HostPartMap unchanged(OdDb3dSolid::Counts const& counts)
{
    const auto same = [](std::uint32_t count) {
        std::vector<HostPartFate> fates;
        for (std::uint32_t part = 1; part <= count; ++part) {
            fates.push_back({HostPartAnswer::kExact, {part}});
        }
        return fates;
    };
    return {same(counts.faces), same(counts.edges), same(counts.vertices)};
}

/// A drawing with a solid of 6 faces, 12 edges and 8 vertices.
class HostLinks : public testing::Test
{
protected:
    HostLinks() : m_db(OdDbDatabase::createObject()), m_solid(addSolid()) {}

    OdDbObjectId addSolid()
    {
        const OdDbBlockTableRecordPtr space = OdDbBlockTableRecord::cast(
            m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite).get());
        const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
        space->appendOdDbEntity(solid.get());
        solid->setBody(L"TEST", OdBinaryData(4, 1), m_counts);
        return solid->objectId();
    }
    OdDbFullSubentPath path(OdDb::SubentType type, std::int64_t index) const
    {
        OdDbObjectIdArray ids;
        ids.append(m_solid);
        return {ids, OdDbSubentId(type, index)};
    }
    OdDbObjectId add(OdDb::SubentType type, std::int64_t index, wchar_t const* selection = L"s")
    {
        const OdDbObjectIdArray links =
            m_session.links().add(m_db->getModelSpaceId(), selection, {path(type, index)});
        return links.isEmpty() ? OdDbObjectId::kNull : links[0];
    }
    std::vector<HostLink> links() { return m_session.links().links(*m_db); }
    HostLink only()
    {
        const std::vector<HostLink> all = links();
        EXPECT_EQ(all.size(), 1U);
        return all.empty() ? HostLink() : all.front();
    }
    /// Parts that the links name, of those that name one.
    std::vector<std::int64_t> named()
    {
        std::vector<std::int64_t> parts;
        for (HostLink const& link : links()) {
            if (link.isThere) {
                parts.push_back(link.path.subentId().index());
            }
        }
        std::sort(parts.begin(), parts.end());
        return parts;
    }
    HostRemapReport remap(HostPartMap const& map)
    {
        return m_session.links().remap(m_solid, map, L"cut (step 1)");
    }
    OdResult repair(std::size_t entry, std::int64_t face)
    {
        return m_session.links().repair(m_db->getModelSpaceId(), L"s", entry, path(kFace, face));
    }
    std::size_t damages()
    {
        const auto findings = m_session.links().verify(*m_db);
        return static_cast<std::size_t>(std::count_if(
            findings.begin(), findings.end(), [](auto const& found) { return found.isDamage; }));
    }
    OdDbObjectPtr selection(OdDb::OpenMode mode = OdDb::kForRead)
    {
        for (OdDbObjectId id : reactorsOf(links().front().link)) {
            const OdDbObjectPtr object = id.openObject(mode);
            if (object->isA()->name() == OdString(L"ZemHostNamedSelection")) {
                return object;
            }
        }
        return {};
    }
    static OdDbObjectIdArray reactorsOf(OdDbObjectId id)
    {
        return OdDbObjectPtr(id.safeOpenObject())->getPersistentReactors();
    }

    OdDb3dSolid::Counts m_counts{6, 12, 8};
    zemhost::HostSession m_session{{}};
    OdDbDatabasePtr m_db;
    OdDbObjectId m_solid;
};

}  // namespace

TEST_F(HostLinks, AddMakesALinkThatItsSelectionWatches)
{
    const OdDbObjectId link = add(kFace, 3);
    const HostLink found = only();
    EXPECT_EQ(found.link, link);
    EXPECT_EQ(found.path, path(kFace, 3));
    EXPECT_TRUE(found.isResolved);
    EXPECT_TRUE(found.isThere);
    EXPECT_EQ(found.answer, HostPartAnswer::kExact);
    EXPECT_EQ(found.selection, OdString(L"s"));
    EXPECT_EQ(reactorsOf(link).size(), 1U);
    EXPECT_EQ(damages(), 0U);
}

TEST_F(HostLinks, AddTakesTheLinkThatIsThere)
{
    EXPECT_EQ(add(kFace, 3), add(kFace, 3));
    EXPECT_EQ(add(kFace, 3), add(kFace, 3, L"other"));
}

TEST_F(HostLinks, ALinkOfTwoSelectionsIsListedForEach)
{
    const OdDbObjectId link = add(kFace, 3);
    add(kFace, 3, L"other");
    const std::vector<HostLink> listed = links();
    ASSERT_EQ(listed.size(), 2U);
    EXPECT_EQ(listed[0].link, link);
    EXPECT_EQ(listed[1].link, link);
    EXPECT_NE(listed[0].selection, listed[1].selection);
}

TEST_F(HostLinks, AddMakesNothingForWhatIsInNoBlock)
{
    OdDbObjectIdArray ids;
    ids.append(m_db->getLayerZeroId());
    const OdDbObjectId table = OdDbObjectPtr(m_db->getLayerZeroId().safeOpenObject())->ownerId();
    EXPECT_TRUE(
        m_session.links().add(table, L"s", {OdDbFullSubentPath(ids, OdDbSubentId())}).isEmpty());
    EXPECT_TRUE(OdDbObjectPtr(table.safeOpenObject())->extensionDictionary().isNull());
}

TEST_F(HostLinks, ARepairLeavesOtherSelectionsOfTheLinkAlone)
{
    const OdDbObjectId link = add(kFace, 1);
    add(kFace, 1, L"other");
    EXPECT_EQ(repair(0, 5), kOdOk);
    EXPECT_EQ(named(), (std::vector<std::int64_t>{1, 5}));
    EXPECT_EQ(m_session.links().takeBack(m_db->getModelSpaceId(), L"s", 0), kOdOk);
    EXPECT_EQ(named(), (std::vector<std::int64_t>{1, 1}));
    for (HostLink const& listed : links()) {
        EXPECT_EQ(listed.link, link);
    }
    EXPECT_EQ(damages(), 0U);
}

TEST_F(HostLinks, ARepairTakenBackAfterARenumberingNamesTheSamePart)
{
    add(kFace, 3);
    EXPECT_EQ(repair(0, 6), kOdOk);
    HostPartMap map = unchanged(m_counts);
    std::swap(map.faces[2].parts, map.faces[4].parts);
    remap(map);
    EXPECT_EQ(m_session.links().takeBack(m_db->getModelSpaceId(), L"s", 0), kOdOk);
    EXPECT_EQ(named(), std::vector<std::int64_t>{5});
}

TEST_F(HostLinks, ARepairIsForgottenWhenItsFormerPartIsSplit)
{
    add(kFace, 3);
    EXPECT_EQ(repair(0, 6), kOdOk);
    HostPartMap map = unchanged(m_counts);
    map.faces[2] = {HostPartAnswer::kSplit, {3, 5}};
    remap(map);
    EXPECT_EQ(m_session.links().takeBack(m_db->getModelSpaceId(), L"s", 0), kOdNotApplicable);
    EXPECT_EQ(named(), std::vector<std::int64_t>{6});
}

TEST_F(HostLinks, CandidatesAreRenumberedByLaterEdits)
{
    add(kFace, 1);
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = {HostPartAnswer::kAmbiguous, {2, 3}};
    remap(map);
    map = unchanged(m_counts);
    std::swap(map.faces[2].parts, map.faces[3].parts);
    remap(map);
    EXPECT_EQ(only().candidates, (std::vector<OdDbSubentId>{{kFace, 2}, {kFace, 4}}));
    map = unchanged(m_counts);
    map.faces[1] = {HostPartAnswer::kGone, {}};
    remap(map);
    EXPECT_EQ(only().candidates, (std::vector<OdDbSubentId>{{kFace, 4}}));
    EXPECT_EQ(only().answer, HostPartAnswer::kAmbiguous);
}

TEST_F(HostLinks, LinksThatARepairLedToOnePartAreNotCalledMerged)
{
    add(kFace, 1);
    add(kFace, 2, L"t");
    add(kFace, 5, L"t");
    EXPECT_EQ(repair(0, 2), kOdOk);
    HostPartMap map = unchanged(m_counts);
    std::swap(map.faces[4].parts, map.faces[5].parts);
    remap(map);
    for (HostLink const& link : links()) {
        EXPECT_EQ(link.answer, HostPartAnswer::kExact);
    }
    EXPECT_EQ(named(), (std::vector<std::int64_t>{2, 2, 6}));
}

TEST_F(HostLinks, ALinkToAPartThatNeverWasThereNamesNoNewPart)
{
    add(kFace, 6);
    const OdDb3dSolidPtr solid = m_solid.safeOpenObject(OdDb::kForWrite);
    solid->setBody(L"TEST", OdBinaryData(4, 2), {5, 12, 8});
    const HostPartMap map = unchanged({5, 12, 8});
    solid->setBody(L"TEST", OdBinaryData(4, 3), {8, 12, 8});
    EXPECT_EQ(remap(map).gone, 1U);
    EXPECT_TRUE(named().empty());
    EXPECT_EQ(only().answer, HostPartAnswer::kGone);
}

TEST_F(HostLinks, AddLeavesOutWhatNamesNothing)
{
    EXPECT_TRUE(add(kFace, 7).isNull());
    EXPECT_TRUE(add(kEdge, 0).isNull());
    m_solid = OdDbObjectId::kNull;
    EXPECT_TRUE(add(kFace, 1).isNull());
    EXPECT_TRUE(links().empty());
}

TEST_F(HostLinks, AnExactPartKeepsItsLinkUnderItsNewNumber)
{
    const OdDbObjectId first = add(kFace, 1);
    const OdDbObjectId second = add(kFace, 2);
    HostPartMap map = unchanged(m_counts);
    std::swap(map.faces[0].parts, map.faces[1].parts);
    const HostRemapReport report = remap(map);
    EXPECT_EQ(report.moved, 2U);
    EXPECT_EQ(report.total(), 2U);
    for (HostLink const& link : links()) {
        EXPECT_EQ(link.path.subentId().index(), link.link == first ? 2 : 1);
        EXPECT_EQ(link.answer, HostPartAnswer::kExact);
    }
    EXPECT_NE(first, second);
    EXPECT_EQ(damages(), 0U);
}

TEST_F(HostLinks, AWatchedLinkToASplitPartBecomesOneForEachPiece)
{
    const OdDbObjectId before = add(kFace, 1);
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = {HostPartAnswer::kSplit, {1, 5}};
    map.faces[4] = {HostPartAnswer::kExact, {6}};
    const HostRemapReport report = remap(map);
    EXPECT_EQ(report.split, 1U);
    EXPECT_EQ(report.made, 2U);
    EXPECT_EQ(named(), (std::vector<std::int64_t>{1, 5}));
    EXPECT_TRUE(before.isErased());
    for (HostLink const& link : links()) {
        EXPECT_EQ(link.answer, HostPartAnswer::kSplit);
        EXPECT_EQ(link.cause, OdString(L"cut (step 1)"));
        EXPECT_EQ(link.selection, OdString(L"s"));
    }
    EXPECT_EQ(damages(), 0U);
}

TEST_F(HostLinks, LinksToMergedPartsBecomeOne)
{
    add(kFace, 1);
    add(kFace, 2);
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = map.faces[1] = {HostPartAnswer::kMerged, {1}};
    const HostRemapReport report = remap(map);
    EXPECT_EQ(report.merged, 2U);
    EXPECT_EQ(report.made, 1U);
    EXPECT_EQ(named(), std::vector<std::int64_t>{1});
    EXPECT_EQ(only().answer, HostPartAnswer::kMerged);
    EXPECT_EQ(damages(), 0U);
}

TEST_F(HostLinks, PiecesMergeWithLinksThatCameToThem)
{
    add(kFace, 1);
    add(kFace, 2);
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = {HostPartAnswer::kSplit, {1, 2}};
    map.faces[1] = {HostPartAnswer::kMerged, {2}};
    remap(map);
    EXPECT_EQ(named(), (std::vector<std::int64_t>{1, 2}));
    EXPECT_EQ(links().size(), 2U);
    EXPECT_EQ(damages(), 0U);
}

TEST_F(HostLinks, TheLinkToAPartThatIsGoneGoesAndItsSelectionRemembersIt)
{
    const OdDbObjectId before = add(kFace, 4);
    HostPartMap map = unchanged(m_counts);
    map.faces[3] = {HostPartAnswer::kGone, {}};
    map.faces[4].parts = {4};  // another part takes the number over
    EXPECT_EQ(remap(map).gone, 1U);
    EXPECT_TRUE(before.isErased());
    const HostLink gone = only();
    EXPECT_TRUE(gone.link.isNull());
    EXPECT_EQ(gone.path, path(kFace, 4));
    EXPECT_EQ(gone.answer, HostPartAnswer::kGone);
    EXPECT_EQ(gone.cause, OdString(L"cut (step 1)"));
    EXPECT_EQ(damages(), 0U);
}

TEST_F(HostLinks, AnAmbiguousLinkNamesNothingUntilItIsRepaired)
{
    const OdDbObjectId before = add(kFace, 1);
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = {HostPartAnswer::kAmbiguous, {2, 3}};
    EXPECT_EQ(remap(map).ambiguous, 1U);
    HostLink link = only();
    EXPECT_EQ(link.link, before);
    EXPECT_FALSE(link.isThere);
    EXPECT_EQ(link.candidates, (std::vector<OdDbSubentId>{{kFace, 2}, {kFace, 3}}));
    EXPECT_EQ(damages(), 0U);
    EXPECT_EQ(repair(0, 3), kOdOk);
    link = only();
    EXPECT_EQ(link.link, before);
    EXPECT_EQ(link.path, path(kFace, 3));
    EXPECT_EQ(link.answer, HostPartAnswer::kExact);
    EXPECT_TRUE(m_session.links().verify(*m_db).empty());
}

TEST_F(HostLinks, SeveralAmbiguousLinksAreNotTakenForOne)
{
    add(kFace, 1);
    add(kFace, 2);
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = map.faces[1] = {HostPartAnswer::kAmbiguous, {2, 3}};
    EXPECT_EQ(remap(map).ambiguous, 2U);
    EXPECT_EQ(remap(unchanged(m_counts)).ambiguous, 2U);
    EXPECT_EQ(links().size(), 2U);
}

TEST_F(HostLinks, ALinkThatNobodyWatchesIsNotSplit)
{
    const OdDbObjectId link = add(kFace, 1);
    const OdDbObjectPtr watcher = selection(OdDb::kForWrite);
    EXPECT_EQ(watcher->erase(true), kOdOk);
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = {HostPartAnswer::kSplit, {1, 2}};
    const HostRemapReport report = remap(map);
    EXPECT_EQ(report.split, 0U);
    EXPECT_EQ(report.ambiguous, 1U);
    EXPECT_EQ(only().link, link);
    EXPECT_FALSE(only().isThere);
    EXPECT_EQ(only().answer, HostPartAnswer::kAmbiguous);
}

TEST_F(HostLinks, LinksToOtherSolidsAndToTheWholeStay)
{
    const OdDbObjectId edited = m_solid;
    add(OdDb::SubentType::kNullSubentType, 0);
    m_solid = addSolid();
    add(kFace, 1);
    m_solid = edited;
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = {HostPartAnswer::kGone, {}};
    const HostRemapReport report = remap(map);
    EXPECT_EQ(report.stayed, 1U);
    EXPECT_EQ(report.total(), 1U);
    EXPECT_EQ(links().size(), 2U);
}

TEST_F(HostLinks, UndoAndRedoOfAnEditBringLinksAndSelectionsAlong)
{
    add(kFace, 1);
    add(kFace, 2);
    add(kFace, 3);
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = {HostPartAnswer::kSplit, {1, 2}};
    map.faces[1] = {HostPartAnswer::kGone, {}};
    map.faces[2].parts = {4};
    m_db->startUndoRecord();
    remap(map);
    EXPECT_EQ(named(), (std::vector<std::int64_t>{1, 2, 4}));
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(named(), (std::vector<std::int64_t>{1, 2, 3}));
    for (HostLink const& link : links()) {
        EXPECT_EQ(link.answer, HostPartAnswer::kExact);
        EXPECT_EQ(reactorsOf(link.link).size(), 1U);
    }
    EXPECT_EQ(damages(), 0U);
    EXPECT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(named(), (std::vector<std::int64_t>{1, 2, 4}));
    EXPECT_EQ(links().size(), 4U);
    EXPECT_EQ(damages(), 0U);
}

TEST_F(HostLinks, ARepairCanBeTakenBackAndUndone)
{
    add(kFace, 1);
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = {HostPartAnswer::kGone, {}};
    remap(map);
    m_db->startUndoRecord();
    EXPECT_EQ(repair(0, 2), kOdOk);
    EXPECT_EQ(named(), std::vector<std::int64_t>{2});
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(only().link.isNull());
    EXPECT_EQ(repair(0, 2), kOdOk);
    EXPECT_EQ(m_session.links().takeBack(m_db->getModelSpaceId(), L"s", 0), kOdOk);
    EXPECT_TRUE(only().link.isNull());
    EXPECT_EQ(only().answer, HostPartAnswer::kGone);
    EXPECT_EQ(m_session.links().takeBack(m_db->getModelSpaceId(), L"s", 0), kOdNotApplicable);
}

TEST_F(HostLinks, ARepairOfAnAmbiguousLinkCanBeTakenBack)
{
    add(kFace, 1);
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = {HostPartAnswer::kAmbiguous, {2, 3}};
    remap(map);
    EXPECT_EQ(repair(0, 2), kOdOk);
    EXPECT_EQ(m_session.links().takeBack(m_db->getModelSpaceId(), L"s", 0), kOdOk);
    EXPECT_EQ(only().answer, HostPartAnswer::kAmbiguous);
    EXPECT_FALSE(only().isThere);
}

TEST_F(HostLinks, ARepairRefusesWhatIsNotThere)
{
    add(kFace, 1);
    EXPECT_EQ(repair(1, 2), kOdKeyNotFound);
    EXPECT_EQ(repair(0, 7), kOdInvalidInput);
    EXPECT_EQ(m_session.links().remove(m_db->getModelSpaceId(), L"none", 0), kOdKeyNotFound);
    EXPECT_EQ(named(), std::vector<std::int64_t>{1});
}

TEST_F(HostLinks, ARepairRefusesAPartThatAnotherEntryNames)
{
    add(kFace, 1);
    add(kFace, 2);
    EXPECT_EQ(repair(0, 2), kOdInvalidInput);
    EXPECT_EQ(named(), (std::vector<std::int64_t>{1, 2}));
    EXPECT_EQ(repair(0, 1), kOdOk);  // its own part
    HostPartMap map = unchanged(m_counts);
    std::swap(map.faces[4].parts, map.faces[5].parts);
    remap(map);
    EXPECT_EQ(links().size(), 2U);
}

TEST_F(HostLinks, ARepairRefusesAPartOfAnotherBlock)
{
    add(kFace, 1);
    const OdDbBlockTablePtr table =
        OdDbBlockTable::cast(m_db->getBlockTableId().safeOpenObject(OdDb::kForWrite).get());
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
    block->setName(L"other");
    table->add(block.get());
    const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
    block->appendOdDbEntity(solid.get());
    solid->setBody(L"TEST", OdBinaryData(4, 1), m_counts);
    OdDbObjectIdArray ids;
    ids.append(solid->objectId());
    EXPECT_EQ(
        m_session.links().repair(m_db->getModelSpaceId(), L"s", 0, {ids, OdDbSubentId(kFace, 1)}),
        kOdInvalidInput);
}

TEST_F(HostLinks, ARepairTakenBackIsNotTakenForALinkThatWasLostMeanwhile)
{
    add(kFace, 1);
    add(kFace, 4);
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = {HostPartAnswer::kAmbiguous, {2, 3}};
    remap(map);
    EXPECT_EQ(repair(0, 2), kOdOk);
    map = unchanged(m_counts);
    map.faces[3] = {HostPartAnswer::kAmbiguous, {4, 5}};
    remap(map);
    EXPECT_EQ(m_session.links().takeBack(m_db->getModelSpaceId(), L"s", 0), kOdOk);
    const std::vector<HostLink> lost = links();
    ASSERT_EQ(lost.size(), 2U);
    EXPECT_NE(lost[0].path, lost[1].path);
    map = unchanged(m_counts);
    map.edges[0] = {HostPartAnswer::kGone, {}};
    add(kEdge, 1, L"other");
    remap(map);
    const std::vector<HostLink> listed = links();
    EXPECT_EQ(std::count_if(listed.begin(), listed.end(),
                            [](HostLink const& link) { return link.selection == OdString(L"s"); }),
              2);
}

TEST_F(HostLinks, ARepairIsNotTakenBackToALinkThatOthersHaveLedElsewhere)
{
    add(kFace, 1);
    add(kFace, 1, L"other");
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = {HostPartAnswer::kAmbiguous, {2, 3}};
    remap(map);
    const OdDbObjectId space = m_db->getModelSpaceId();
    EXPECT_EQ(repair(0, 2), kOdOk);  // with a link of its own
    EXPECT_EQ(m_session.links().repair(space, L"other", 0, path(kFace, 3)), kOdOk);
    EXPECT_EQ(m_session.links().takeBack(space, L"s", 0), kOdNotApplicable);
    EXPECT_EQ(named(), (std::vector<std::int64_t>{2, 3}));
}

TEST_F(HostLinks, VerifyTellsOfALinkThatCantBeOpened)
{
    const OdDbObjectId link = add(kFace, 1);
    add(kFace, 2);
    EXPECT_EQ(OdDbObjectPtr(link.safeOpenObject(OdDb::kForWrite))->erase(true), kOdOk);
    std::size_t found = 0;
    EXPECT_NO_THROW(found = damages());
    EXPECT_GT(found, 0U);
    EXPECT_EQ(m_session.links().audit(*m_db), 1U);
    EXPECT_EQ(damages(), 0U);
    EXPECT_EQ(named(), std::vector<std::int64_t>{2});
}

TEST_F(HostLinks, BothInsertsOfABlockFollowAnEditOfItsSolid)
{
    OdDbObjectId block;
    {
        const OdDbBlockTablePtr table =
            OdDbBlockTable::cast(m_db->getBlockTableId().safeOpenObject(OdDb::kForWrite).get());
        const OdDbBlockTableRecordPtr record = OdDbBlockTableRecord::createObject();
        record->setName(L"part");
        block = table->add(record.get());
        const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
        record->appendOdDbEntity(solid.get());
        solid->setBody(L"TEST", OdBinaryData(4, 1), m_counts);
        m_solid = solid->objectId();
    }
    OdDbObjectIdArray inserts;
    std::vector<OdDbFullSubentPath> paths;
    for (int count = 0; count < 2; ++count) {
        const OdDbBlockTableRecordPtr space = OdDbBlockTableRecord::cast(
            m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite).get());
        const OdDbBlockReferencePtr insert = OdDbBlockReference::createObject(block, {});
        space->appendOdDbEntity(insert.get());
        inserts.append(insert->objectId());
        OdDbObjectIdArray ids;
        ids.append(insert->objectId());
        ids.append(m_solid);
        paths.emplace_back(ids, OdDbSubentId(kFace, 1));
    }
    m_session.links().add(m_db->getModelSpaceId(), L"s", paths);
    m_session.links().add(block, L"s", {path(kFace, 1)});
    EXPECT_EQ(OdDbObjectPtr(inserts[1].safeOpenObject(OdDb::kForWrite))->erase(true), kOdOk);
    HostPartMap map = unchanged(m_counts);
    std::swap(map.faces[0].parts, map.faces[3].parts);
    EXPECT_EQ(remap(map).moved, 3U);  // also the one through the insert that may come back
    EXPECT_EQ(OdDbObjectPtr(inserts[1].safeOpenObject(OdDb::kForWrite, true))->erase(false), kOdOk);
    EXPECT_EQ(named(), (std::vector<std::int64_t>{4, 4, 4}));
}

TEST_F(HostLinks, VerifyTellsOfADictionaryOfSelectionsThatIsNone)
{
    const OdDbObjectPtr space = m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
    space->createExtensionDictionary();
    OdDbDictionary::cast(space->extensionDictionary().safeOpenObject(OdDb::kForWrite).get())
        ->setAt(L"ZEMHOST_SELECTIONS", OdDbXrecord::createObject().get());
    EXPECT_EQ(damages(), 1U);
}

TEST_F(HostLinks, TheLastEntryTakesTheLinkAndTheSelectionWithIt)
{
    const OdDbObjectId link = add(kFace, 1);
    add(kFace, 1, L"other");
    EXPECT_EQ(m_session.links().remove(m_db->getModelSpaceId(), L"s", 0), kOdOk);
    EXPECT_FALSE(link.isErased());
    EXPECT_EQ(only().selection, OdString(L"other"));
    EXPECT_EQ(m_session.links().remove(m_db->getModelSpaceId(), L"other", 0), kOdOk);
    EXPECT_TRUE(link.isErased());
    EXPECT_TRUE(links().empty());
}

TEST_F(HostLinks, AuditLetsLinksGoThatNothingWatches)
{
    add(kFace, 1);
    add(kFace, 2, L"other");
    EXPECT_EQ(selection(OdDb::kForWrite)->erase(true), kOdOk);
    EXPECT_EQ(m_session.links().audit(*m_db), 1U);
    EXPECT_EQ(named(), std::vector<std::int64_t>{2});
    EXPECT_EQ(m_session.links().audit(*m_db), 0U);
}

TEST_F(HostLinks, AnErasedSolidLeavesItsLinksToAudit)
{
    add(kFace, 1);
    EXPECT_EQ(OdDbObjectPtr(m_solid.safeOpenObject(OdDb::kForWrite))->erase(true), kOdOk);
    EXPECT_GT(damages(), 0U);
    EXPECT_EQ(m_session.links().audit(*m_db), 1U);
    EXPECT_EQ(damages(), 0U);
    EXPECT_TRUE(only().link.isNull());
    EXPECT_EQ(only().answer, HostPartAnswer::kGone);
    EXPECT_EQ(m_session.links().remove(m_db->getModelSpaceId(), L"s", 0), kOdOk);
    EXPECT_TRUE(links().empty());
}

TEST_F(HostLinks, AStoredDrawingKeepsLinksSelectionsAndAnswers)
{
    add(kFace, 1);
    add(kFace, 2);
    add(kFace, 3);
    HostPartMap map = unchanged(m_counts);
    map.faces[0] = {HostPartAnswer::kAmbiguous, {1, 2}};
    map.faces[1] = {HostPartAnswer::kGone, {}};
    remap(map);
    EXPECT_EQ(repair(1, 6), kOdOk);
    const std::vector<HostLink> before = links();
    std::vector<OdDbHandle> handles;  // ids go with their drawing
    for (HostLink const& link : before) {
        handles.push_back(link.link.getHandle());
    }
    const host_test::TemporaryFolder folder;
    const OdString file = OdString::fromUtf8(folder.file("a.zdw"));
    odDbSaveDrawingAs(*m_db, file);
    m_db.release();
    m_db = odDbOpenDrawing(file, OdDbOpenDrawingMode::kForWriting);
    const std::vector<HostLink> after = links();
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t at = 0; at < after.size(); ++at) {
        EXPECT_EQ(after[at].link.getHandle(), handles[at]);
        EXPECT_EQ(after[at].path.subentId(), before[at].path.subentId());
        EXPECT_EQ(after[at].answer, before[at].answer);
        EXPECT_EQ(after[at].cause, before[at].cause);
        EXPECT_EQ(after[at].candidates, before[at].candidates);
        EXPECT_EQ(after[at].entry, before[at].entry);
    }
    EXPECT_EQ(m_session.links().takeBack(m_db->getModelSpaceId(), L"s", 1), kOdOk);
    EXPECT_EQ(damages(), 0U);
}

// ---------------------------------------------------------------------------------------------
// The stored form of a selection

namespace {

using Bytes = OdDbMemoryFiler::Bytes;

/// A selection outside a drawing, filed and read as bytes.
class HostSelectionForm : public testing::Test
{
protected:
    static OdDbObjectPtr make()
    {
        OdRxClass* const cls = odrxClassDictionary()->getAt(L"ZemHostNamedSelection");
        return OdDbObject::cast(cls->create().get());
    }
    static Bytes write(OdDbObject const& selection)
    {
        OdStaticRxObject<OdDbMemoryFiler> filer(OdDb::FilerType::kFileFiler);
        selection.dwgOutFields(&filer);
        return filer.bytes();
    }
    static OdResult read(OdDbObject& selection, Bytes const& bytes)
    {
        OdStaticRxObject<OdDbMemoryFiler> filer(OdDb::FilerType::kFileFiler);
        filer.readFrom(bytes);
        return selection.dwgInFields(&filer);
    }
    /// What every object files in front of its own fields.
    static Bytes base()
    {
        Bytes bytes = write(*make());
        bytes.resize(bytes.size() - 5);  // version and count
        return bytes;
    }
    static Bytes whole(Bytes const& fields)
    {
        Bytes bytes = base();
        bytes.insert(bytes.end(), fields.begin(), fields.end());
        return bytes;
    }

    zemhost::HostSession m_session{{}};
    zemhost::HostLinkExtension const* m_links = &m_session.links();
};

/// One entry: an ambiguous link that was repaired once.
const Bytes kFields = {
    3,                                                       // version
    1,    0,   0,   0,                                       // entries
    0,    0,   0,   0,   0,   0,   0,    0,                  // link
    1,    0,   0,   0,                                       // ids of the path
    0,    0,   0,   0,   0,   0,   0,    0,                  // an id
    1,    0,   0,   0,                                       // face
    7,    0,   0,   0,   0,   0,   0,    0,                  // 7
    4,                                                       // ambiguous
    3,    0,   0,   0,   'c', 'u', 't',  1,    0,   0,   0,  // candidates
    2,    0,   0,   0,                                       // edge
    9,    0,   0,   0,   0,   0,   0,    0,                  // 9
    0,    0,   0,   0,                                       // no hash
    1,                                                       // a shape
    5,    0,   0,   0,   'p', 'l', 'a',  'n',  'e',          // kind
    0,    0,   0,   0,   0,   0,   0,    0x40,               // size 2
    0,    0,   0,   0,   0,   0,   0xF0, 0x3F,               // middle 1
    0,    0,   0,   0,   0,   0,   0xF0, 0xBF,               // -1
    0,    0,   0,   0,   0,   0,   0,    0,                  // 0
    0,                                                       // no way
    1,                                                       // was repaired
    0,    0,   0,   0,   0,   0,   0,    0,                  // link
    0,    0,   0,   0,                                       // ids
    0,    0,   0,   0,                                       // no part
    0,    0,   0,   0,   0,   0,   0,    0,
    3,                  // gone
    0,    0,   0,   0,  // no cause
    0,    0,   0,   0,  // candidates
    7,    0,   0,   0,  // hash
    0,                  // no shape
    1,                  // a way
    27,   0,   0,   0,   'A', 'c', 'D',  'b',  'I', 'm', 'p', 'B', 'l', 'o', 'c', 'k',
    'R',  'e', 'f', 'P', 'a', 't', 'h',  'O',  'b', 'j', 'e', 'c', 't', 'I', 'd',  //
    0,    0,                                                                       //
    2,    0,   0,   0,                                                             // steps
    0,    1,                                                                       // one by id
    0,    0,   0,   0,   0,   0,   0,    0,                                        //
    0,    2,                                                                       // one by handle
    0x2A, 0,   0,   0,   0,   0,   0,    0,                                        //
};

/// The same entry as first written, with neither hash, shape nor way.
const Bytes kFirstFields = {
    1,                                      // version
    1, 0, 0, 0,                             // entries
    0, 0, 0, 0, 0,   0,   0,   0,           // link
    1, 0, 0, 0,                             // ids of the path
    0, 0, 0, 0, 0,   0,   0,   0,           // an id
    1, 0, 0, 0,                             // face
    7, 0, 0, 0, 0,   0,   0,   0,           // 7
    4,                                      // ambiguous
    3, 0, 0, 0, 'c', 'u', 't', 1, 0, 0, 0,  // candidates
    2, 0, 0, 0,                             // edge
    9, 0, 0, 0, 0,   0,   0,   0,           // 9
    0,                                      // was not repaired
};

}  // namespace

TEST_F(HostSelectionForm, IsReadAndWrittenByteByByte)
{
    const OdDbObjectPtr selection = make();
    EXPECT_EQ(read(*selection, whole(kFields)), kOdOk);
    EXPECT_EQ(write(*selection), whole(kFields));
}

TEST_F(HostSelectionForm, TheFirstVersionIsReadAndWrittenAsTheCurrentOne)
{
    const OdDbObjectPtr selection = make();
    EXPECT_EQ(read(*selection, whole(kFirstFields)), kOdOk);
    Bytes now = kFirstFields;
    now[0] = 3;
    now.insert(now.end() - 1, 6, 0);  // no hash, no shape, no way
    EXPECT_EQ(write(*selection), whole(now));
}

TEST_F(HostSelectionForm, CutAnywhereIsRefused)
{
    const Bytes bytes = whole(kFields);
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const OdDbObjectPtr selection = make();
        EXPECT_THROW((void)read(*selection, {bytes.begin(), bytes.begin() + length}), OdError)
            << length;
    }
}

TEST_F(HostSelectionForm, ValuesOutOfRangeAreRefused)
{
    const auto with = [](std::size_t at, std::uint8_t value) {
        Bytes fields = kFields;
        fields[at] = value;
        return whole(fields);
    };
    EXPECT_EQ(read(*make(), with(0, 4)), kOdBadStream);
    EXPECT_THROW((void)read(*make(), with(4, 0x7F)), OdError);   // entries
    EXPECT_THROW((void)read(*make(), with(25, 9)), OdError);     // type of a part
    EXPECT_THROW((void)read(*make(), with(36, 0x80)), OdError);  // number of a part
    EXPECT_THROW((void)read(*make(), with(37, 5)), OdError);     // answer
    const Bytes two = {0, 0, 0, 0, 0, 0, 0, 0x40};
    const auto size = std::search(kFields.begin(), kFields.end(), two.begin(), two.end());
    ASSERT_NE(size, kFields.end());
    const auto at = static_cast<std::size_t>(size - kFields.begin());
    Bytes infinite = kFields;
    infinite[at + 6] = 0xF0;
    infinite[at + 7] = 0x7F;
    EXPECT_THROW((void)read(*make(), whole(infinite)), OdError);
}
