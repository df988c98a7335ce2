// Links to parts of solids in external drawings, which are edited where nobody here is told.

#include "host/host_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using host_test::ProgramResult;
using host_test::readFile;
using host_test::runZemhost;
using host_test::TemporaryFolder;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;

namespace {

using Words = std::vector<std::string>;
using Json = nlohmann::json;

/// "house.zdw" with an insert of external drawing "door.zdw", which holds a box of 40 x 30 x 10 mm.
class ExternalLinks : public testing::Test
{
protected:
    ExternalLinks() : m_house(m_folder.file("house.zdw")), m_door(m_folder.file("door.zdw"))
    {
        const ProgramResult own = run({"make", "box", m_house, "5", "5", "5"});
        m_own = firstWord(own);
        m_solid = firstWord(run({"make", "box", m_door, "40", "30", "10"}));
        (void)run({"xref", "attach", m_house, m_door});
        (void)run({"block", "insert", m_house, "door"});
        const Json tree = runZemhost({"info", "--json", m_house}).json();
        for (Json const& record : tree["tables"][0]["records"]) {
            if (record["name"] == "*Model_Space") {
                m_insert = record["entities"].back()["handle"].get<std::string>();
            }
        }
    }

    static ProgramResult run(Words const& words)
    {
        ProgramResult result = runZemhost(words);
        EXPECT_EQ(result.exitCode, 0) << result.errors << result.output;
        return result;
    }
    static std::string firstWord(ProgramResult const& made)
    {
        return made.output.substr(0, made.output.find(' '));
    }
    /// A part of the solid in the door, as seen from the house.
    std::string part(std::string const& name) const
    {
        return m_insert + "/" + m_solid + ":" + name;
    }
    void editDoor(std::string const& corner = "15,-1,5") const
    {
        (void)run({"edit", "cut", m_door, m_solid, "--box", corner, "10,32,6"});
    }
    Json list() const { return runZemhost({"links", "list", m_house, "--json"}).json()["links"]; }
    Json findings() const
    {
        return runZemhost({"links", "verify", m_house, "--json"}).json()["findings"];
    }

    TemporaryFolder m_folder;
    std::string m_house;
    std::string m_door;
    std::string m_own;
    std::string m_solid;
    std::string m_insert;
};

}  // namespace

TEST_F(ExternalLinks, ALinkIsExactAsLongAsTheSolidIsAsItWas)
{
    (void)run({"links", "add", m_house, "s", part("face:1"), part("edge:2"), part("vertex:3")});
    (void)run({"make", "cylinder", "--append", m_door, "5", "10"});  // another solid
    const Json links = list();
    ASSERT_EQ(links.size(), 3U);
    EXPECT_EQ(links[0]["names"], part("face:1"));
    EXPECT_EQ(links[1]["names"], part("edge:2"));
    for (Json const& link : links) {
        EXPECT_EQ(link["answer"], "exact") << link;
        EXPECT_EQ(link["there"], true);
    }
    EXPECT_TRUE(findings().empty()) << findings();
    EXPECT_EQ(runZemhost({"links", "add", m_house, "s", part("face:7")}).exitCode, 1);
}

TEST_F(ExternalLinks, ALinkToASolidThatWasChangedIsAmbiguousAndNamesNothing)
{
    (void)run(
        {"links", "add", m_house, "s", part("faces"), m_insert + "/" + m_solid, m_own + ":face:1"});
    editDoor();
    const Json links = list();
    ASSERT_EQ(links.size(), 8U);
    std::size_t found = 0;
    for (Json const& link : links) {
        const bool isTrusted =
            link["names"] == m_own + ":face:1" || link["names"] == m_insert + "/" + m_solid;
        EXPECT_EQ(link["answer"], isTrusted ? "exact" : "ambiguous") << link;
        if (!isTrusted) {
            EXPECT_TRUE(link["names"].is_null());
            EXPECT_EQ(link["there"], false);
            EXPECT_THAT(link["cause"].get<std::string>(), HasSubstr("external drawing"));
            found += link["candidates"].empty() ? 0U : 1U;
        }
    }
    EXPECT_GE(found, 4U);  // those that the cut has left as they were
    const Json told = findings();
    EXPECT_EQ(told.size(), 6U);
    for (Json const& finding : told) {
        EXPECT_EQ(finding["damage"], false) << finding;
    }
    EXPECT_EQ(runZemhost({"links", "verify", m_house}).exitCode, 1);
}

TEST_F(ExternalLinks, CandidatesArePartsThatLieWhereThePartLay)
{
    (void)run({"links", "add", m_house, "s", part("faces")});
    const Json before = runZemhost({"edit", "parts", m_door, m_solid, "--json"}).json()["parts"];
    editDoor();
    const Json after = runZemhost({"edit", "parts", m_door, m_solid, "--json"}).json()["parts"];
    const Json links = list();
    for (std::size_t face = 0; face < 6; ++face) {
        for (Json const& part : after) {
            const bool isSame = part["part"].get<std::string>().starts_with("face") &&
                                part["middle"] == before[face]["middle"] &&
                                part["size"] == before[face]["size"];
            if (isSame) {
                EXPECT_THAT(links[face]["candidates"].get<Words>(),
                            Contains(part["part"].get<std::string>()));
            }
        }
    }
}

TEST_F(ExternalLinks, ARepairNotesTheSolidAnewAndCanBeTakenBack)
{
    (void)run({"links", "add", m_house, "s", part("face:1"), part("face:2")});
    editDoor();
    (void)run({"links", "repair", m_house, "s", "1", part("face:2")});
    Json links = list();
    EXPECT_EQ(links[0]["answer"], "exact");
    EXPECT_EQ(links[0]["names"], part("face:2"));
    EXPECT_EQ(links[1]["answer"], "ambiguous");
    EXPECT_EQ(findings().size(), 1U) << findings();

    (void)run({"links", "repair", m_house, "s", "1", "--undo"});
    links = list();
    EXPECT_EQ(links[0]["answer"], "ambiguous");
    EXPECT_TRUE(links[0]["names"].is_null());
    EXPECT_EQ(links[0]["resolved"], true);
    EXPECT_EQ(findings().size(), 2U);

    (void)run({"links", "repair", m_house, "s", "1", part("face:1")});
    (void)run({"links", "repair", m_house, "s", "2", part("face:2")});
    EXPECT_EQ(list()[0]["answer"], "exact");
    EXPECT_TRUE(findings().empty()) << findings();
    editDoor("28,-1,5");
    EXPECT_EQ(list()[0]["answer"], "ambiguous");
}

TEST_F(ExternalLinks, ARepairTakenBackLeadsToTheFormerPartAgain)
{
    (void)run({"links", "add", m_house, "s", part("face:4")});
    (void)run({"links", "repair", m_house, "s", "1", part("face:3")});
    (void)run({"links", "repair", m_house, "s", "1", "--undo"});
    const Json link = list()[0];
    EXPECT_EQ(link["names"], part("face:4"));
    EXPECT_EQ(link["answer"], "exact");
    EXPECT_TRUE(findings().empty()) << findings();
}

TEST_F(ExternalLinks, ARepairOfASharedLinkIsTakenBackAfterAChangeThere)
{
    (void)run({"links", "add", m_house, "s", part("face:1")});
    (void)run({"links", "add", m_house, "t", part("face:1")});
    editDoor();
    (void)run({"links", "repair", m_house, "s", "1", part("face:2")});
    (void)run({"links", "repair", m_house, "s", "1", "--undo"});
    const Json links = list();
    ASSERT_EQ(links.size(), 2U);
    for (Json const& link : links) {
        EXPECT_EQ(link["answer"], "ambiguous") << link;
        EXPECT_EQ(link["resolved"], true) << link;
    }
}

TEST_F(ExternalLinks, ARepairIsNotTakenBackWhileTheDrawingIsAway)
{
    (void)run({"links", "add", m_house, "s", part("face:4")});
    (void)run({"links", "repair", m_house, "s", "1", m_own + ":face:3"});
    const std::string away = m_folder.file("away.zdw");
    std::filesystem::rename(m_door, away);
    EXPECT_EQ(runZemhost({"links", "repair", m_house, "s", "1", "--undo"}).exitCode, 1);
    EXPECT_EQ(list()[0]["names"], m_own + ":face:3");
    std::filesystem::rename(away, m_door);
    (void)run({"links", "repair", m_house, "s", "1", "--undo"});
    EXPECT_EQ(list()[0]["names"], part("face:4"));
}

TEST_F(ExternalLinks, ARepairMayLeadFromAnExternalDrawingToAnOwnSolidAndBack)
{
    (void)run({"links", "add", m_house, "s", part("face:1")});
    (void)run({"links", "repair", m_house, "s", "1", m_own + ":face:2"});
    editDoor();
    EXPECT_EQ(list()[0]["answer"], "exact");
    EXPECT_EQ(list()[0]["names"], m_own + ":face:2");
    EXPECT_TRUE(findings().empty()) << findings();
    (void)run({"links", "repair", m_house, "s", "1", "--undo"});
    EXPECT_EQ(list()[0]["answer"], "ambiguous");
}

TEST_F(ExternalLinks, ALinkAddedAfterAChangeIsNotTheOneFromBefore)
{
    (void)run({"links", "add", m_house, "s", part("face:1")});
    editDoor();
    (void)run({"links", "add", m_house, "s", part("face:1")});
    const Json links = list();
    ASSERT_EQ(links.size(), 2U);
    EXPECT_EQ(links[0]["answer"], "ambiguous");
    EXPECT_EQ(links[1]["answer"], "exact");
    EXPECT_EQ(links[1]["names"], part("face:1"));
    EXPECT_NE(links[0]["link"], links[1]["link"]);
}

TEST_F(ExternalLinks, AnEditOfAnOwnSolidDoesNotMakeChangedLinksTrusted)
{
    (void)run({"links", "add", m_house, "s", part("face:1"), m_own + ":faces"});
    editDoor();
    (void)run({"links", "add", m_house, "new", part("face:1")});
    (void)run({"edit", "cut", m_house, m_own, "--box", "2,-1,3", "1,9,9"});
    std::size_t ambiguous = 0;
    for (Json const& link : list()) {
        ambiguous += link["answer"] == "ambiguous" ? 1U : 0U;
        EXPECT_EQ(link["there"], link["answer"] != "ambiguous") << link;
        if (link["selection"] == "new") {
            EXPECT_EQ(link["names"], part("face:1"));
        }
    }
    EXPECT_EQ(ambiguous, 1U);
}

TEST_F(ExternalLinks, AMissingDrawingIsToldAndCostsNothing)
{
    (void)run({"links", "add", m_house, "s", part("face:1")});
    const std::string away = m_folder.file("away.zdw");
    std::filesystem::rename(m_door, away);
    Json links = list();
    ASSERT_EQ(links.size(), 1U);
    EXPECT_EQ(links[0]["answer"], "ambiguous");
    EXPECT_EQ(links[0]["resolved"], false);
    EXPECT_THAT(links[0]["cause"].get<std::string>(), HasSubstr("can't be read"));
    EXPECT_EQ(findings()[0]["damage"], false);
    EXPECT_EQ(runZemhost({"links", "add", m_house, "s", part("face:2")}).exitCode, 1);
    (void)run({"links", "repair", m_house});
    std::filesystem::rename(away, m_door);
    links = list();
    ASSERT_EQ(links.size(), 1U);
    EXPECT_EQ(links[0]["answer"], "exact");
    EXPECT_EQ(links[0]["names"], part("face:1"));
}

TEST_F(ExternalLinks, AnErasedInsertIsToldAsTheCause)
{
    (void)run({"links", "add", m_house, "s", part("face:1")});
    ASSERT_EQ(runZemhost({"xref", "detach", m_house, "door"}).exitCode, 0);
    const Json links = list();
    ASSERT_EQ(links.size(), 1U);
    EXPECT_NE(links[0]["answer"], "exact");
    EXPECT_NE(links[0]["there"], true);
}

TEST_F(ExternalLinks, BindingAndDetachingTellOfLinksThatLeadNowhereThen)
{
    (void)run({"links", "add", m_house, "s", part("face:1"), part("edge:2"), m_own + ":face:1"});
    const std::string copy = m_folder.file("copy.zdw");
    std::filesystem::copy_file(m_house, copy);
    const ProgramResult bound = run({"xref", "bind", m_house, "door"});
    EXPECT_THAT(bound.errors, HasSubstr("house.zdw: 2 links led to what is replaced or gone"));
    EXPECT_THAT(bound.errors, HasSubstr("links repair"));
    const ProgramResult detached = run({"xref", "detach", copy, "door"});
    EXPECT_THAT(detached.errors, HasSubstr("copy.zdw: 2 links led to what is replaced or gone"));
}

TEST_F(ExternalLinks, PuttingAnInsertInPlaceOfALinkedSolidTellsOfItsLinks)
{
    (void)run({"links", "add", m_house, "s", m_own + ":face:1"});
    const ProgramResult kept = run({"block", "make", m_house, "copied", m_own});
    EXPECT_EQ(kept.errors, "");
    const ProgramResult replaced = run({"block", "make", "--replace", m_house, "part", m_own});
    EXPECT_THAT(replaced.errors, HasSubstr("house.zdw: 1 link led to what is replaced or gone"));
}
