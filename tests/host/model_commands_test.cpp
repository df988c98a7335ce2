// The commands make, edit and links, on real solids.

#include "host/host_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

using host_test::ProgramResult;
using host_test::readFile;
using host_test::runZemhost;
using host_test::TemporaryFolder;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

using Words = std::vector<std::string>;
using Json = nlohmann::json;

/// A drawing with a box of 40 x 30 x 10 mm.
class ModelCommands : public testing::Test
{
protected:
    ModelCommands() : m_drawing(m_folder.file("block.zdw"))
    {
        m_solid = firstWord(runZemhost({"make", "box", m_drawing, "40", "30", "10"}));
    }

    static std::string firstWord(ProgramResult const& made)
    {
        EXPECT_EQ(made.exitCode, 0) << made.errors;
        return made.output.substr(0, made.output.find(' '));
    }

    ProgramResult edit(std::string const& kind, Words const& rest = {}) const
    {
        Words words{"edit", kind, m_drawing, m_solid, "--json"};
        words.insert(words.end(), rest.begin(), rest.end());
        return runZemhost(words);
    }
    ProgramResult links(std::string const& command, Words const& rest = {}) const
    {
        Words words{"links", command, m_drawing};
        words.insert(words.end(), rest.begin(), rest.end());
        return runZemhost(words);
    }
    Json list() const { return links("list", {"--json"}).json()["links"]; }
    void addAll() const
    {
        const ProgramResult added = links("add", {"everything", m_solid + ":all"});
        ASSERT_EQ(added.exitCode, 0) << added.errors;
    }

    TemporaryFolder m_folder;
    std::string m_drawing;
    std::string m_solid;
};

}  // namespace

TEST_F(ModelCommands, MakeRefusesValuesThatMakeNoSolid)
{
    EXPECT_EQ(runZemhost({"make", "box", m_folder.file("b.zdw"), "0", "1", "1"}).exitCode, 2);
    const ProgramResult huge =
        runZemhost({"make", "box", m_folder.file("b.zdw"), "1e40", "1", "1"});
    EXPECT_EQ(huge.exitCode, 2);
    EXPECT_THAT(huge.errors, HasSubstr("dx 1e+40 is too large"));
    EXPECT_EQ(runZemhost({"make", "ball", m_folder.file("b.zdw"), "1"}).exitCode, 2);
    EXPECT_EQ(runZemhost({"make", "box", m_drawing, "1", "1", "1"}).exitCode, 3);
    EXPECT_EQ(runZemhost({"make", "cylinder", "--append", m_drawing, "5", "10"}).exitCode, 0);
}

TEST_F(ModelCommands, LinksFollowACutThroughTheMiddle)
{
    addAll();
    EXPECT_EQ(list().size(), 6U + 12U + 8U);
    const Json answer = edit("cut", {"--box", "15,-1,5", "10,32,6"}).json();
    EXPECT_EQ(answer["counts"]["faces"], 10);
    Json const& counted = answer["links"];
    EXPECT_EQ(counted["gone"], 0) << counted;
    EXPECT_EQ(counted["ambiguous"], 0);
    EXPECT_EQ(counted["split"], 3);  // the top and its two long edges
    EXPECT_EQ(list().size(), 26U + 3U);
    EXPECT_EQ(links("verify").exitCode, 0) << links("verify").output;
}

TEST_F(ModelCommands, AStepCanBeSetToAnotherValueAndBack)
{
    addAll();
    ASSERT_EQ(edit("hole", {"--at", "20,15,10", "--radius", "4"}).exitCode, 0);
    const Json wide = edit("set", {"1", "radius", "6"}).json();
    EXPECT_EQ(wide["links"]["ambiguous"], 0) << wide;
    EXPECT_EQ(wide["links"]["gone"], 0);
    EXPECT_LT(wide["volume"], 40 * 30 * 10 - 1100);
    const ProgramResult recipe = runZemhost({"edit", "recipe", m_drawing, m_solid});
    EXPECT_THAT(recipe.output, AllOf(HasSubstr("hole"), HasSubstr("radius=6")));
    EXPECT_EQ(links("verify").exitCode, 0);
}

TEST_F(ModelCommands, AnEditThatFailsLeavesTheDrawingAsItWas)
{
    addAll();
    const std::string before = readFile(m_drawing);
    const ProgramResult failed = edit("fillet", {"--edges", "1", "--radius", "500"});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_THAT(failed.errors, HasSubstr("zemhost: "));
    EXPECT_EQ(edit("fillet", {"--edges", "99", "--radius", "1"}).exitCode, 2);
    EXPECT_EQ(edit("cut").exitCode, 2);
    EXPECT_EQ(edit("set", {"7", "radius", "1"}).exitCode, 2);
    EXPECT_EQ(readFile(m_drawing), before);
}

TEST_F(ModelCommands, AFilletAndItsRemovalKeepEveryOtherLink)
{
    addAll();
    const Json rounded = edit("fillet", {"--edges", "1", "--radius", "2"}).json();
    EXPECT_EQ(rounded["links"]["ambiguous"], 0) << rounded;
    EXPECT_EQ(rounded["counts"]["faces"], 7);
    EXPECT_EQ(links("verify").exitCode, 1);  // what has gone keeps its place in the selection
    EXPECT_EQ(links("verify", {"--json"}).json()["findings"][0]["damage"], false);
}

TEST_F(ModelCommands, ARepairIsTakenBackInAnotherProcess)
{
    ASSERT_EQ(links("add", {"top", m_solid + ":face:1"}).exitCode, 0);
    ASSERT_EQ(links("repair", {"top", "1", m_solid + ":face:2"}).exitCode, 0);
    EXPECT_EQ(list()[0]["names"], m_solid + ":face:2");
    ASSERT_EQ(links("repair", {"top", "1", "--undo"}).exitCode, 0);
    EXPECT_EQ(list()[0]["names"], m_solid + ":face:1");
    EXPECT_EQ(links("repair", {"top", "1", "--undo"}).exitCode, 1);
    EXPECT_EQ(links("repair", {"top", "2", "--remove"}).exitCode, 1);
    EXPECT_EQ(links("repair", {"top"}).exitCode, 2);
    ASSERT_EQ(links("repair", {"top", "1", "--remove"}).exitCode, 0);
    EXPECT_TRUE(list().empty());
}

TEST_F(ModelCommands, LinksOfPartsThatAreNotThereAreRefused)
{
    EXPECT_EQ(links("add", {"s", m_solid + ":face:7"}).exitCode, 1);
    EXPECT_EQ(links("add", {"s", m_solid + ":side:1"}).exitCode, 2);
    EXPECT_EQ(links("add", {"s", m_solid + ":face:x"}).exitCode, 2);
    EXPECT_EQ(links("add", {"s", "FFFF:face:1"}).exitCode, 1);
    EXPECT_EQ(links("add", {"s", m_solid + "/" + m_solid + ":face:1"}).exitCode, 2);
    EXPECT_TRUE(list().empty());
    EXPECT_EQ(links("list", {"--selection", "none"}).exitCode, 1);
}

TEST_F(ModelCommands, ADamagedRecipeIsToldAndStopsTheEdit)
{
    host_test::damage(m_drawing, "ZEMRECIP");
    const std::string before = readFile(m_drawing);
    EXPECT_EQ(runZemhost({"edit", "recipe", m_drawing, m_solid}).exitCode, 1);
    EXPECT_EQ(edit("hole", {"--at", "20,15,10", "--radius", "4"}).exitCode, 1);
    EXPECT_EQ(readFile(m_drawing), before);
}

TEST_F(ModelCommands, LinksStayWhereTheirSolidIsDamaged)
{
    const std::string drawing = m_folder.file("damaged.zdw");
    const std::string solid =
        firstWord(runZemhost({"make", "box", drawing, "4", "3", "1", "--label", "qqqsolid"}));
    ASSERT_EQ(runZemhost({"links", "add", drawing, "s", solid + ":faces"}).exitCode, 0);
    host_test::damage(drawing, "qqqsolid");
    EXPECT_EQ(runZemhost({"links", "repair", drawing}).exitCode, 0);
    const ProgramResult listed = runZemhost({"links", "list", drawing, "--json"});
    EXPECT_EQ(listed.exitCode, 1);
    EXPECT_THAT(listed.errors, HasSubstr("object " + solid));
    const Json links = listed.json()["links"];
    EXPECT_EQ(links.size(), 6U);
    for (Json const& link : links) {
        EXPECT_TRUE(link["link"].is_string());
        EXPECT_EQ(link["answer"], "ambiguous");
        EXPECT_EQ(link["cause"], "damage of its solid");
    }
    EXPECT_EQ(runZemhost({"links", "verify", drawing}).exitCode, 1);
}

TEST_F(ModelCommands, LinksStayWhereTheirSelectionIsDamaged)
{
    addAll();
    ASSERT_EQ(edit("cut", {"--box", "15,-1,5", "10,32,6"}).exitCode, 0);
    const std::size_t before = list().size();
    host_test::damage(m_drawing, "cut box (step 1)");  // the selection tells of the edit
    EXPECT_EQ(links("repair").exitCode, 0);
    const Json after = list();
    EXPECT_EQ(after.size(), before);
    for (Json const& link : after) {
        EXPECT_TRUE(link["link"].is_string());
    }
    const ProgramResult edited = edit("hole", {"--at", "5,5,10", "--radius", "2"});
    EXPECT_EQ(edited.exitCode, 1);
    EXPECT_THAT(edited.errors, HasSubstr("can't be read, what it holds is missing"));
}

TEST_F(ModelCommands, ASolidThatABlockReplacedLeavesNothingBehind)
{
    ASSERT_EQ(runZemhost({"block", "make", "--replace", m_drawing, "b"}).exitCode, 0);
    const ProgramResult checked = runZemhost({"check", m_drawing});
    EXPECT_EQ(checked.exitCode, 0) << checked.output;
    EXPECT_THAT(checked.output, Not(HasSubstr("note")));
}

TEST_F(ModelCommands, CheckReadsSelectionsToo)
{
    addAll();
    const Json checked = runZemhost({"check", "--json", m_drawing}).json();
    EXPECT_EQ(checked["proxies"], 0);
    EXPECT_EQ(checked["notes"], 0);
}

TEST_F(ModelCommands, SelectionsOfOneNameInTwoBlocksAreToldApart)
{
    ASSERT_EQ(runZemhost({"block", "make", m_drawing, "one"}).exitCode, 0);
    const Json tree = runZemhost({"info", "--json", m_drawing}).json();
    std::string inner;
    for (Json const& record : tree["tables"][0]["records"]) {
        if (record["name"] == "one") {
            inner = record["entities"][0]["handle"].get<std::string>();
        }
    }
    ASSERT_FALSE(inner.empty());
    ASSERT_EQ(links("add", {"top", m_solid + ":face:1", inner + ":face:1"}).exitCode, 0);
    EXPECT_EQ(links("repair", {"top", "1", inner + ":face:2"}).exitCode, 2);
    EXPECT_EQ(links("repair", {"top", "1", inner + ":face:2", "--block", "two"}).exitCode, 1);
    EXPECT_EQ(links("repair", {"top", "1", m_solid + ":face:2", "--block", "one"}).exitCode, 1);
    EXPECT_EQ(links("repair", {"top", "1", inner + ":face:2", "--block", "one"}).exitCode, 0);
    ASSERT_EQ(runZemhost({"block", "clone", m_drawing, "one", "two"}).exitCode, 0);
    EXPECT_EQ(links("verify").exitCode, 0) << links("verify").output;
    EXPECT_EQ(list().size(), 3U);
    // An edit of one solid leaves the links of its clone alone.
    ProgramResult const edited =
        runZemhost({"edit", "cut", m_drawing, inner, "--box", "15,-1,5", "10,32,6"});
    EXPECT_EQ(edited.exitCode, 0) << edited.errors;
    EXPECT_THAT(edited.output, HasSubstr("1 link:"));
}

TEST_F(ModelCommands, WordsThatMakeNoSenseAreRefused)
{
    addAll();
    const std::string before = readFile(m_drawing);
    // Radius and height in front of the direction.
    EXPECT_EQ(edit("cut", {"--cylinder", "0,0,0", "5", "20", "1,1,1"}).exitCode, 2);
    EXPECT_EQ(edit("cut", {"--box", "0,0,0", "5"}).exitCode, 2);
    EXPECT_EQ(edit("hole", {"--at", "5", "--radius", "1"}).exitCode, 2);
    EXPECT_EQ(edit("hole", {"--at", "5,5,10", "--radius", "nan"}).exitCode, 2);
    EXPECT_EQ(edit("cut", {"--solid", "FFFF"}).exitCode, 1);
    EXPECT_EQ(links("repair", {"--undo"}).exitCode, 2);
    EXPECT_EQ(links("add", {"", m_solid + ":face:1"}).exitCode, 2);
    EXPECT_EQ(links("add", {"*A1", m_solid + ":face:1"}).exitCode, 2);
    EXPECT_EQ(links("repair", {"--remove"}).exitCode, 2);
    for (Words const& command :
         std::vector<Words>{{"edit", "unify"}, {"edit", "parts"}, {"edit", "recipe"}}) {
        Words words = command;
        words.insert(words.end(), {m_drawing, "zz"});
        EXPECT_EQ(runZemhost(words).exitCode, 2);
        words.back() = "FFFF";
        EXPECT_EQ(runZemhost(words).exitCode, 1);
        words.back() = "1";  // the table of blocks
        EXPECT_EQ(runZemhost(words).exitCode, 2);
        words[2] = m_folder.file("none.zdw");
        EXPECT_EQ(runZemhost(words).exitCode, 3);
        words.resize(2);
        EXPECT_EQ(runZemhost(words).exitCode, 2);
    }
    EXPECT_EQ(readFile(m_drawing), before);
}

TEST_F(ModelCommands, WithoutTheModuleLinksAreCarriedAsTheyAre)
{
    addAll();
    EXPECT_EQ(runZemhost({"--without-module", "resave", "--rewrite", m_drawing}).exitCode, 0);
    EXPECT_EQ(list().size(), 26U);
    EXPECT_EQ(links("verify").exitCode, 0);
    const ProgramResult refused = runZemhost({"--without-module", "links", "list", m_drawing});
    EXPECT_EQ(refused.exitCode, 4);
}

// ---------------------------------------------------------------------------------------------
// Answers as JSON

namespace {

std::set<std::string> namesIn(Json const& object)
{
    std::set<std::string> names;
    for (auto const& [name, value] : object.items()) {
        names.insert(name);
    }
    return names;
}

using Names = std::set<std::string>;

}  // namespace

TEST_F(ModelCommands, ListedLinksHaveEveryFieldInJson)
{
    ASSERT_EQ(links("add", {"top", m_solid + ":face:1"}).exitCode, 0);
    const Json whole = links("list", {"--json"}).json();
    EXPECT_EQ(namesIn(whole), Names{"links"});
    ASSERT_EQ(whole["links"].size(), 1U);
    Json const& link = whole["links"][0];
    EXPECT_EQ(namesIn(link), (Names{"link", "names", "resolved", "there", "block", "tag", "answer",
                                    "cause", "candidates", "selection", "entry"}));
    EXPECT_TRUE(link["link"].is_string());
    EXPECT_EQ(link["names"], m_solid + ":face:1");
    EXPECT_EQ(link["resolved"], true);
    EXPECT_EQ(link["there"], true);
    EXPECT_EQ(link["block"], "*Model_Space");
    EXPECT_EQ(link["tag"], 0);
    EXPECT_EQ(link["answer"], "exact");
    EXPECT_EQ(link["cause"], "");
    EXPECT_EQ(link["candidates"], Json::array());
    EXPECT_EQ(link["selection"], "top");
    EXPECT_EQ(link["entry"], 1);
}

TEST_F(ModelCommands, FindingsHaveEveryFieldInJson)
{
    addAll();
    EXPECT_EQ(links("verify", {"--json"}).json(),
              (Json{{"links", 26}, {"findings", Json::array()}}));
    ASSERT_EQ(edit("fillet", {"--edges", "1", "--radius", "2"}).exitCode, 0);
    const Json whole = links("verify", {"--json"}).json();
    EXPECT_EQ(namesIn(whole), (Names{"links", "findings"}));
    EXPECT_TRUE(whole["links"].is_number_unsigned());
    ASSERT_FALSE(whole["findings"].empty());
    for (Json const& finding : whole["findings"]) {
        EXPECT_EQ(namesIn(finding), (Names{"object", "problem", "damage"}));
        EXPECT_TRUE(finding["object"].is_string());
        EXPECT_FALSE(finding["problem"].get<std::string>().empty());
        EXPECT_TRUE(finding["damage"].is_boolean());
    }
}

TEST_F(ModelCommands, EditsAndLooksHaveEveryFieldInJson)
{
    const Json edited =
        edit("hole", {"--at", "20,15,10", "--radius", "4", "--check-geometry"}).json();
    EXPECT_EQ(namesIn(edited), (Names{"solid", "edit", "step", "counts", "volume", "faces", "edges",
                                      "vertices", "links", "seconds", "geometry"}));
    EXPECT_EQ(namesIn(edited["links"]),
              (Names{"stayed", "moved", "split", "merged", "gone", "ambiguous", "made"}));
    EXPECT_EQ(namesIn(edited["seconds"]), (Names{"kernel", "history", "links"}));
    EXPECT_EQ(namesIn(edited["geometry"]), (Names{"parts", "differences", "blind"}));
    const Json parts = runZemhost({"edit", "parts", m_drawing, m_solid, "--json"}).json();
    EXPECT_EQ(namesIn(parts), (Names{"volume", "area", "boxMin", "boxMax", "valid", "parts"}));
    EXPECT_EQ(namesIn(parts["parts"][0]), (Names{"part", "kind", "size", "middle"}));
    const Json recipe = runZemhost({"edit", "recipe", m_drawing, m_solid, "--json"}).json();
    EXPECT_EQ(namesIn(recipe["recipe"][0]), (Names{"step", "kind", "parameters", "parts"}));
}

TEST(MakeCommand, TellsOfMissingValues)
{
    const TemporaryFolder folder;
    const std::string file = folder.file("a.zdw");
    const ProgramResult box = runZemhost({"make", "box", file, "40", "30"});
    EXPECT_EQ(box.exitCode, 2);
    EXPECT_THAT(box.errors, HasSubstr("2 parameters, expected 3"));
    EXPECT_THAT(runZemhost({"make", "plate", file, "2"}).errors,
                HasSubstr("1 parameters, expected"));
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(runZemhost({"make", "plate", file, "2", "20", "5", "3"}).exitCode, 0);
}
