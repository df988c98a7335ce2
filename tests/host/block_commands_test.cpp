#include "host/host_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using host_test::makeDrawing;
using host_test::ProgramResult;
using host_test::runZemhost;
using host_test::SampleDrawing;
using host_test::TemporaryFolder;
using testing::AllOf;
using testing::HasSubstr;

namespace {

/// A drawing whose two solids are block "part", shown by an insert.
SampleDrawing makeBlockDrawing(TemporaryFolder const& folder)
{
    SampleDrawing drawing = makeDrawing(folder);
    (void)runZemhost({"block", "make", "--replace", drawing.path, "part"});
    return drawing;
}

nlohmann::json blocksOf(std::string const& drawing)
{
    return runZemhost({"block", "list", "--json", drawing}).json()["blocks"];
}

nlohmann::json block(std::string const& drawing, std::string const& name)
{
    const nlohmann::json blocks = blocksOf(drawing);
    for (auto const& at : blocks) {
        if (at["name"] == name) {
            return at;
        }
    }
    return {};
}

/// What `info` tells of the last entity of model space.
nlohmann::json lastEntity(std::string const& drawing)
{
    const nlohmann::json tree = runZemhost({"info", "--json", drawing}).json();
    for (auto const& record : tree["tables"][0]["records"]) {
        if (record["name"] == "*Model_Space") {
            return record["entities"].back();
        }
    }
    return {};
}

nlohmann::json point(double x, double y, double z)
{
    return nlohmann::json::array({x, y, z});
}

}  // namespace

TEST(BlockList, TellsOfEntitiesReferencesAndUnits)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    const nlohmann::json part = block(drawing.path, "part");
    EXPECT_EQ(part["kind"], "block");
    EXPECT_EQ(part["entities"], 2);
    EXPECT_EQ(part["references"].size(), 1U);
    EXPECT_EQ(part["units"], "millimeters");
    EXPECT_EQ(part["origin"], point(0, 0, 0));
    EXPECT_EQ(part["variables"], 0);
    EXPECT_EQ(block(drawing.path, "*Model_Space")["kind"], "model space");
}

TEST(BlockList, ShowsATableToPeople)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    const ProgramResult result = runZemhost({"block", "list", drawing.path});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, AllOf(HasSubstr("3 blocks"), HasSubstr("part"),
                                     HasSubstr("2 entities"), HasSubstr("1 insert")));
}

TEST(BlockMake, CopiesTheEntitiesAndLeavesThemWhereTheyAre)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const ProgramResult made =
        runZemhost({"block", "make", "--base", "1,2,3", drawing.path, "part", drawing.second});
    ASSERT_EQ(made.exitCode, 0) << made.errors;
    EXPECT_EQ(block(drawing.path, "part")["entities"], 1);
    EXPECT_EQ(block(drawing.path, "part")["origin"], point(1, 2, 3));
    EXPECT_EQ(block(drawing.path, "*Model_Space")["entities"], 2);
}

TEST(BlockMake, PutsAnInsertInThePlaceOfTheEntitiesIfTold)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const ProgramResult made =
        runZemhost({"block", "make", "--replace", "--base", "1,2,3", drawing.path, "part"});
    ASSERT_EQ(made.exitCode, 0) << made.errors;
    EXPECT_EQ(block(drawing.path, "*Model_Space")["entities"], 1);
    const nlohmann::json insert = lastEntity(drawing.path);
    EXPECT_EQ(insert["class"], "OdDbBlockReference");
    EXPECT_EQ(insert["block"], "part");
    EXPECT_EQ(insert["position"], point(1, 2, 3));
    EXPECT_EQ(runZemhost({"check", drawing.path}).exitCode, 0);
}

TEST(BlockClone, MakesABlockWithEqualEntitiesAndVariables)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    ASSERT_EQ(runZemhost({"vars", "set", "--block", "part", drawing.path, "a", "2"}).exitCode, 0);
    ASSERT_EQ(runZemhost({"vars", "set", "--block", "part", drawing.path, "b", "a*3"}).exitCode, 0);
    const ProgramResult cloned = runZemhost({"block", "clone", drawing.path, "part", "copy"});
    ASSERT_EQ(cloned.exitCode, 0) << cloned.errors;
    EXPECT_THAT(cloned.output, AllOf(HasSubstr("2 entities"), HasSubstr("2 variables")));
    ASSERT_EQ(runZemhost({"vars", "set", "--block", "copy", drawing.path, "a", "5"}).exitCode, 0);
    const auto values = [&](std::string const& name) {
        return runZemhost({"vars", "list", "--json", "--block", name, drawing.path})
            .json()["variables"];
    };
    EXPECT_EQ(values("copy")[1]["value"], 15.0);
    EXPECT_EQ(values("part")[1]["value"], 6.0);
    EXPECT_EQ(block(drawing.path, "copy")["references"].size(), 0U);
    EXPECT_EQ(runZemhost({"check", drawing.path}).exitCode, 0);
}

TEST(BlockWblock, WritesABlockAsModelSpaceOfAnotherDrawing)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    const std::string target = folder.file("part.zdw");
    const ProgramResult written = runZemhost({"block", "wblock", drawing.path, target, "part"});
    ASSERT_EQ(written.exitCode, 0) << written.errors;
    EXPECT_EQ(block(target, "*Model_Space")["entities"], 2);
    EXPECT_EQ(lastEntity(target)["label"], "second solid");
    EXPECT_EQ(runZemhost({"check", target}).exitCode, 0);
}

TEST(BlockWblock, WritesTheWholeDrawing)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    const std::string target = folder.file("whole.zdw");
    const ProgramResult written = runZemhost({"block", "wblock", drawing.path, target});
    ASSERT_EQ(written.exitCode, 0) << written.errors;
    EXPECT_EQ(block(target, "part")["entities"], 2);
    EXPECT_EQ(lastEntity(target)["block"], "part");
    EXPECT_EQ(runZemhost({"check", target}).exitCode, 0);
}

TEST(BlockWblock, ReplacesADrawingOnlyIfTold)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    const SampleDrawing target = makeDrawing(folder, "there.zdw");
    const std::string before = host_test::readFile(target.path);
    EXPECT_EQ(runZemhost({"block", "wblock", drawing.path, target.path, "outer"}).exitCode, 3);
    EXPECT_TRUE(host_test::readFile(target.path) == before);
    ASSERT_EQ(runZemhost({"block", "make", drawing.path, "outer"}).exitCode, 0);
    EXPECT_EQ(
        runZemhost({"block", "wblock", "--replace", drawing.path, target.path, "outer"}).exitCode,
        0);
    EXPECT_EQ(block(target.path, "*Model_Space")["entities"], 1);
}

TEST(BlockWblock, NeverReplacesAFileOfAnotherKind)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    const std::string target = folder.write("notes.txt", "not a drawing");
    EXPECT_EQ(runZemhost({"block", "wblock", "--replace", drawing.path, target, "part"}).exitCode,
              3);
    EXPECT_EQ(host_test::readFile(target), "not a drawing");
}

TEST(BlockWblock, NeverWritesOverTheDrawingItself)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    const std::string before = host_test::readFile(drawing.path);
    EXPECT_EQ(
        runZemhost({"block", "wblock", "--replace", drawing.path, drawing.path, "part"}).exitCode,
        2);
    EXPECT_TRUE(host_test::readFile(drawing.path) == before);
}

TEST(BlockWblock, KeepsPathsOfExternalDrawingsGoodInAnotherFolder)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    const SampleDrawing library = makeDrawing(folder, "library.zdw");
    ASSERT_EQ(runZemhost({"xref", "attach", drawing.path, library.path}).exitCode, 0);
    std::filesystem::create_directory(folder.file("sub"));
    const std::string target = folder.file("sub/whole.zdw");
    ASSERT_EQ(runZemhost({"block", "wblock", drawing.path, target}).exitCode, 0);
    EXPECT_EQ(block(target, "library")["external"]["state"], "loaded");
}

TEST(BlockInsert, PlacesScalesAndTurnsABlock)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    const ProgramResult result = runZemhost({"block", "insert", drawing.path, "PART", "--at",
                                             "10,-2.5", "--scale", "2,2,-3", "--rotation", "90"});
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    const nlohmann::json insert = lastEntity(drawing.path);
    EXPECT_EQ(insert["block"], "part");
    EXPECT_EQ(insert["position"], point(10, -2.5, 0));
    EXPECT_EQ(insert["scale"], point(2, 2, -3));
    EXPECT_EQ(insert["rotationDegrees"], 90.0);
    EXPECT_EQ(block(drawing.path, "part")["references"].size(), 2U);
}

TEST(BlockInsert, FollowsTheVariableThatDrivesItsScale)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    ASSERT_EQ(runZemhost({"vars", "set", drawing.path, "size", "2"}).exitCode, 0);
    ASSERT_EQ(runZemhost({"vars", "set", drawing.path, "growth", "size^2"}).exitCode, 0);
    const ProgramResult result = runZemhost({"block", "insert", drawing.path, "part", "--scale",
                                             "1,1,-1", "--scale-variable", "growth"});
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(lastEntity(drawing.path)["scale"], point(4, 4, -4));
    EXPECT_EQ(lastEntity(drawing.path)["scaleVariable"], "growth");

    const ProgramResult set = runZemhost({"vars", "set", drawing.path, "size", "3"});
    EXPECT_THAT(set.output, HasSubstr("scale (9, 9, -9); was (4, 4, -4)"));
    EXPECT_EQ(lastEntity(drawing.path)["scale"], point(9, 9, -9));
}

TEST(BlockInsert, IsDrivenByTheVariableOfTheBlockItLiesInAlsoInAClone)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    ASSERT_EQ(runZemhost({"block", "make", drawing.path, "outer"}).exitCode, 0);
    ASSERT_EQ(runZemhost({"vars", "set", "--block", "outer", drawing.path, "s", "2"}).exitCode, 0);
    const ProgramResult inserted = runZemhost(
        {"block", "insert", "--into", "outer", drawing.path, "part", "--scale-variable", "s"});
    ASSERT_EQ(inserted.exitCode, 0) << inserted.errors;
    ASSERT_EQ(runZemhost({"block", "clone", drawing.path, "outer", "other"}).exitCode, 0);
    const ProgramResult set =
        runZemhost({"vars", "set", "--block", "other", drawing.path, "s", "5"});
    EXPECT_THAT(set.output, HasSubstr("scale 5; was 2"));
    const ProgramResult update = runZemhost({"block", "update", drawing.path});
    EXPECT_THAT(update.output, HasSubstr("2 driven inserts, none changed"));
}

TEST(BlockInsert, IsDrivenAlsoByABagThatAPersonMade)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    const std::string insert = lastEntity(drawing.path)["handle"];
    ASSERT_EQ(runZemhost({"vars", "set", drawing.path, "size", "2.5"}).exitCode, 0);
    ASSERT_EQ(runZemhost({"bag", "set", drawing.path, insert, "ScaleVariable", "string", "SIZE"})
                  .exitCode,
              0);
    const ProgramResult update = runZemhost({"block", "update", drawing.path});
    EXPECT_EQ(update.exitCode, 0);
    EXPECT_THAT(update.output, HasSubstr("1 driven insert, 1 changed"));
    EXPECT_EQ(lastEntity(drawing.path)["scale"], point(2.5, 2.5, 2.5));
}

TEST(BlockUpdate, TellsOfInsertsThatCannotBeDriven)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    const std::string insert = lastEntity(drawing.path)["handle"];
    const auto drive = [&](std::vector<std::string> const& value) {
        std::vector<std::string> words = {"bag",        "set",  "--retype",
                                          drawing.path, insert, "ScaleVariable"};
        words.insert(words.end(), value.begin(), value.end());
        EXPECT_EQ(runZemhost(words).exitCode, 0);
        return runZemhost({"block", "update", drawing.path});
    };
    const ProgramResult unknown = drive({"string", "nowhere"});
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_THAT(unknown.output, HasSubstr("there is no variable nowhere"));
    const ProgramResult wrong = drive({"int", "3"});
    EXPECT_EQ(wrong.exitCode, 1);
    EXPECT_THAT(wrong.output, HasSubstr("ScaleVariable is no string"));
    EXPECT_EQ(lastEntity(drawing.path)["scale"], point(1, 1, 1));
}

TEST(BlockCommands, RefuseBadInputAndLeaveTheDrawingAsItWas)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    ASSERT_EQ(runZemhost({"block", "make", drawing.path, "outer"}).exitCode, 0);
    ASSERT_EQ(runZemhost({"vars", "set", drawing.path, "zero", "0"}).exitCode, 0);
    std::string const& path = drawing.path;
    struct Case
    {
        char const* name;
        std::vector<std::string> words;
        int exitCode;
        char const* message;
    };
    const std::vector<Case> cases = {
        {"no drawing", {"block", "list", folder.file("none.zdw")}, 3, "none.zdw"},
        {"not a drawing", {"block", "list", folder.write("text.zdw", "text")}, 3, "text.zdw"},
        {"taken name", {"block", "make", path, "Part"}, 2, "there already"},
        {"empty name", {"block", "make", path, ""}, 2, "is no name"},
        {"reserved name", {"block", "make", path, "*Model_Space"}, 2, "names with *"},
        {"word as handle", {"block", "make", path, "new", "xyz"}, 2, "is no handle"},
        {"null handle", {"block", "make", path, "new", "0"}, 2, "is no handle"},
        {"unknown handle", {"block", "make", path, "new", "FFFFF"}, 1, "has no object"},
        {"erased entity", {"block", "make", path, "new", drawing.first}, 1, drawing.first.c_str()},
        {"table as entity", {"block", "make", path, "new", "1"}, 2, "is no entity of model space"},
        {"base of one number", {"block", "make", "--base", "1", path, "new"}, 2, "is no point"},
        {"base of words", {"block", "make", "--base", "a,b,c", path, "new"}, 2, "is no point"},
        {"base not finite", {"block", "make", "--base", "inf,0,0", path, "new"}, 2, "is no point"},
        {"clone of nothing", {"block", "clone", path, "none", "new"}, 1, "has no block"},
        {"clone to a taken name", {"block", "clone", path, "part", "OUTER"}, 2, "there already"},
        {"wblock of nothing", {"block", "wblock", path, folder.file("n"), "x"}, 1, "has no block"},
        {"wblock nowhere", {"block", "wblock", path, folder.file("no/n.zdw"), "part"}, 3, "n.zdw"},
        {"insert of nothing", {"block", "insert", path, "none"}, 1, "has no block"},
        {"insert into nothing", {"block", "insert", path, "part", "--into", "x"}, 1, "no block"},
        {"insert into itself", {"block", "insert", path, "part", "--into", "part"}, 2, "itself"},
        {"ring of inserts", {"block", "insert", path, "outer", "--into", "part"}, 2, "itself"},
        {"scale 0", {"block", "insert", path, "part", "--scale", "0"}, 2, "flatten"},
        {"scale of words", {"block", "insert", path, "part", "--scale", "big"}, 2, "is no point"},
        {"endless turn", {"block", "insert", path, "part", "--rotation", "inf"}, 2, "finite"},
        {"unknown variable",
         {"block", "insert", path, "part", "--scale-variable", "size"},
         1,
         "no such variable"},
        {"variable that is 0",
         {"block", "insert", path, "part", "--scale-variable", "zero"},
         2,
         "is 0"},
        {"driven without the module",
         {"--without-module", "block", "insert", path, "part", "--scale-variable", "zero"},
         4,
         "module"},
        {"update of nothing", {"block", "update", path, "--block", "none"}, 1, "has no block"},
    };
    const std::string before = host_test::readFile(path);
    for (Case const& at : cases) {
        const ProgramResult result = runZemhost(at.words);
        EXPECT_EQ(result.exitCode, at.exitCode) << at.name << ": " << result.errors;
        EXPECT_THAT(result.errors, HasSubstr(at.message)) << at.name;
        EXPECT_TRUE(host_test::readFile(path) == before) << at.name;
    }
}

TEST(BlockCommands, TellOfWhatTheyHadToLeaveOut)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = host_test::makeDrawing(folder);
    host_test::damage(drawing.path, "first solid");
    const ProgramResult written =
        runZemhost({"block", "wblock", drawing.path, folder.file("copy.zdw")});
    EXPECT_EQ(written.exitCode, 1);
    EXPECT_THAT(written.errors, HasSubstr("object " + drawing.first));
    const std::string before = host_test::readFile(drawing.path);
    EXPECT_EQ(runZemhost({"block", "make", "--replace", drawing.path, "part"}).exitCode, 1);
    EXPECT_TRUE(host_test::readFile(drawing.path) == before);
    const ProgramResult made = runZemhost({"block", "make", drawing.path, "part"});
    EXPECT_EQ(made.exitCode, 1);
    EXPECT_THAT(made.output, HasSubstr("made of 1 entity"));
}

TEST(BlockCommands, RefuseADamagedBlockAndShowTheOthers)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeBlockDrawing(folder);
    host_test::damage(drawing.path, "first solid");
    EXPECT_EQ(block(drawing.path, "part")["entities"], 2);
    const ProgramResult list = runZemhost({"block", "list", drawing.path});
    EXPECT_EQ(list.exitCode, 0) << list.errors;
}
