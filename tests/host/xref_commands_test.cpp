#include "host/host_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using host_test::makeDrawing;
using host_test::ProgramResult;
using host_test::runZemhost;
using host_test::SampleDrawing;
using host_test::TemporaryFolder;
using testing::AllOf;
using testing::HasSubstr;

namespace {

/// "house.zdw", and "door.zdw" to be attached to it.
struct Pair
{
    SampleDrawing house;
    SampleDrawing door;
};

Pair makePair(TemporaryFolder const& folder)
{
    return {makeDrawing(folder, "house.zdw"), makeDrawing(folder, "door.zdw")};
}

ProgramResult attach(std::string const& drawing, std::string const& file,
                     std::vector<std::string> const& more = {})
{
    std::vector<std::string> words = {"xref", "attach", drawing, file};
    words.insert(words.end(), more.begin(), more.end());
    return runZemhost(words);
}

nlohmann::json externals(std::string const& drawing)
{
    return runZemhost({"xref", "list", "--json", drawing}).json()["externalDrawings"];
}

}  // namespace

TEST(XrefAttach, MakesABlockOfTheOtherDrawing)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    const ProgramResult result = attach(pair.house.path, pair.door.path);
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("attached: loaded, 2 entities"));
    const nlohmann::json door = externals(pair.house.path)[0];
    EXPECT_EQ(door["name"], "door");
    EXPECT_EQ(door["state"], "loaded");
    EXPECT_EQ(door["entities"], 2);
    EXPECT_EQ(door["overlay"], false);
    EXPECT_EQ(runZemhost({"check", pair.house.path}).exitCode, 0);
}

TEST(XrefAttach, ARelativePathIsStoredRelativeToTheDrawing)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    const std::string relative =
        std::filesystem::relative(pair.door.path, std::filesystem::current_path()).string();
    ASSERT_EQ(attach(pair.house.path, relative).exitCode, 0);
    EXPECT_EQ(externals(pair.house.path)[0]["path"], "door.zdw");

    const TemporaryFolder other;
    std::filesystem::copy_file(pair.house.path, other.file("house.zdw"));
    std::filesystem::copy_file(pair.door.path, other.file("door.zdw"));
    std::filesystem::remove(pair.door.path);
    EXPECT_EQ(externals(other.file("house.zdw"))[0]["state"], "loaded");
    EXPECT_EQ(externals(pair.house.path)[0]["state"], "not found");
}

TEST(XrefAttach, StoresThePathFromTheRootIfTold)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    const std::string relative =
        std::filesystem::relative(pair.door.path, std::filesystem::current_path()).string();
    ASSERT_EQ(attach(pair.house.path, relative, {"--absolute", "--name", "entrance"}).exitCode, 0);
    const std::string path = externals(pair.house.path)[0]["path"];
    EXPECT_TRUE(std::filesystem::path(path).is_absolute()) << path;
    EXPECT_EQ(externals(pair.house.path)[0]["name"], "entrance");
}

TEST(XrefAttach, CanBeInsertedAndDriven)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    ASSERT_EQ(attach(pair.house.path, pair.door.path).exitCode, 0);
    ASSERT_EQ(runZemhost({"vars", "set", pair.house.path, "size", "2"}).exitCode, 0);
    ASSERT_EQ(runZemhost({"block", "insert", pair.house.path, "door", "--scale-variable", "size"})
                  .exitCode,
              0);
    EXPECT_EQ(externals(pair.house.path)[0]["references"], 1);
    EXPECT_THAT(runZemhost({"vars", "set", pair.house.path, "size", "3"}).output,
                HasSubstr("of door: scale 3; was 2"));
}

TEST(XrefAttach, BringsWhatIsAttachedButNotWhatIsOverlaid)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    const SampleDrawing handle = makeDrawing(folder, "handle.zdw");
    const SampleDrawing frame = makeDrawing(folder, "frame.zdw");
    ASSERT_EQ(attach(pair.door.path, handle.path).exitCode, 0);
    ASSERT_EQ(runZemhost({"xref", "overlay", pair.door.path, frame.path}).exitCode, 0);
    ASSERT_EQ(attach(pair.house.path, pair.door.path).exitCode, 0);
    const nlohmann::json door = externals(pair.house.path)[0];
    ASSERT_EQ(door["attached"].size(), 1U);
    EXPECT_EQ(door["attached"][0]["name"], "handle");
    EXPECT_EQ(door["attached"][0]["state"], "loaded");
    const ProgramResult text = runZemhost({"xref", "list", pair.door.path});
    EXPECT_THAT(text.output, AllOf(HasSubstr("2 external drawings"), HasSubstr("overlay")));
}

TEST(XrefAttach, RefusesADrawingThatLeadsBack)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    ASSERT_EQ(attach(pair.door.path, pair.house.path).exitCode, 0);
    EXPECT_EQ(attach(pair.house.path, pair.door.path).exitCode, 2);
    EXPECT_TRUE(externals(pair.house.path).empty());
}

TEST(XrefAttach, TakesADrawingThatOverlaysThisOne)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    ASSERT_EQ(runZemhost({"xref", "overlay", pair.door.path, pair.house.path}).exitCode, 0);
    EXPECT_EQ(attach(pair.house.path, pair.door.path).exitCode, 0);
}

TEST(XrefAttach, ADrawingThatLeadsBackIsToldAndNotLoaded)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    const std::string bare = folder.file("bare.zdw");
    std::filesystem::copy_file(pair.door.path, bare);
    ASSERT_EQ(attach(pair.door.path, pair.house.path).exitCode, 0);
    const std::string leadingBack = folder.file("leading-back.zdw");
    std::filesystem::rename(pair.door.path, leadingBack);
    std::filesystem::rename(bare, pair.door.path);
    ASSERT_EQ(attach(pair.house.path, pair.door.path).exitCode, 0);
    std::filesystem::rename(leadingBack, pair.door.path);  // exchanged meanwhile
    const nlohmann::json door = externals(pair.house.path)[0];
    EXPECT_EQ(door["state"], "loaded");
    EXPECT_EQ(door["attached"][0]["state"], "circular");
}

TEST(XrefAttach, TakesAMissingDrawingIfTold)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    const std::string later = folder.file("later.zdw");
    EXPECT_EQ(attach(pair.house.path, later).exitCode, 3);
    EXPECT_EQ(attach(pair.house.path, later, {"--missing"}).exitCode, 0);
    EXPECT_EQ(externals(pair.house.path)[0]["state"], "not found");
    EXPECT_EQ(runZemhost({"info", pair.house.path}).exitCode, 0);
    std::filesystem::copy_file(pair.door.path, later);
    EXPECT_EQ(externals(pair.house.path)[0]["state"], "loaded");
}

TEST(XrefList, TellsOfDamagedDrawings)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    ASSERT_EQ(attach(pair.house.path, pair.door.path).exitCode, 0);
    std::filesystem::remove(pair.door.path);
    folder.write("door.zdw", "damaged");
    const nlohmann::json door = externals(pair.house.path)[0];
    EXPECT_EQ(door["state"], "not readable");
    EXPECT_TRUE(door.contains("problem"));
    for (std::vector<std::string> const& words :
         {std::vector<std::string>{"xref", "list", pair.house.path},
          {"block", "list", pair.house.path},
          {"info", pair.house.path}}) {
        const ProgramResult result = runZemhost(words);
        EXPECT_EQ(result.exitCode, 0) << words[0];
        EXPECT_THAT(result.output, HasSubstr("not readable")) << words[0];
    }
}

TEST(XrefUnload, LastsUntilTheDrawingIsLoadedAgain)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    ASSERT_EQ(attach(pair.house.path, pair.door.path).exitCode, 0);
    ASSERT_EQ(runZemhost({"xref", "unload", pair.house.path, "door"}).exitCode, 0);
    EXPECT_EQ(externals(pair.house.path)[0]["state"], "unloaded");
    EXPECT_EQ(externals(pair.house.path)[0]["state"], "unloaded");
    ASSERT_EQ(runZemhost({"xref", "load", pair.house.path}).exitCode, 0);
    EXPECT_EQ(externals(pair.house.path)[0]["state"], "loaded");
}

TEST(XrefReload, ReadsTheFileAsItIsNow)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    ASSERT_EQ(attach(pair.house.path, pair.door.path).exitCode, 0);
    ASSERT_EQ(runZemhost({"block", "make", "--replace", pair.door.path, "leaf"}).exitCode, 0);
    const ProgramResult result = runZemhost({"xref", "reload", pair.house.path});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, HasSubstr("door: loaded, 1 entity"));
    std::filesystem::remove(pair.door.path);
    const ProgramResult missing = runZemhost({"xref", "reload", pair.house.path, "door"});
    EXPECT_EQ(missing.exitCode, 3);
    EXPECT_EQ(externals(pair.house.path)[0]["state"], "not found");
}

TEST(XrefDetach, TakesTheInsertsWithIt)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    ASSERT_EQ(attach(pair.house.path, pair.door.path).exitCode, 0);
    ASSERT_EQ(runZemhost({"block", "insert", pair.house.path, "door"}).exitCode, 0);
    const ProgramResult result = runZemhost({"xref", "detach", pair.house.path, "door"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, HasSubstr("with 1 insert"));
    EXPECT_EQ(externals(pair.house.path).size(), 0U);
    EXPECT_EQ(runZemhost({"check", pair.house.path}).exitCode, 0);
}

TEST(XrefBind, LeavesABlockThatNeedsTheFileNoMore)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    ASSERT_EQ(attach(pair.house.path, pair.door.path).exitCode, 0);
    ASSERT_EQ(runZemhost({"block", "insert", pair.house.path, "door"}).exitCode, 0);
    const ProgramResult result = runZemhost({"xref", "bind", pair.house.path, "door"});
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("2 entities"));
    std::filesystem::remove(pair.door.path);
    EXPECT_EQ(externals(pair.house.path).size(), 0U);
    EXPECT_THAT(runZemhost({"block", "list", pair.house.path}).output, HasSubstr("door"));
    EXPECT_EQ(runZemhost({"check", pair.house.path}).exitCode, 0);
}

TEST(XrefCommands, AreShownByInfoWithoutTheOtherDrawingsObjects)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    ASSERT_EQ(attach(pair.house.path, pair.door.path).exitCode, 0);
    const nlohmann::json tree = runZemhost({"info", "--json", pair.house.path}).json();
    for (auto const& record : tree["tables"][0]["records"]) {
        if (record["name"] == "door") {
            EXPECT_EQ(record["external"]["state"], "loaded");
            EXPECT_EQ(record["entityCount"], 2);
            EXPECT_FALSE(record.contains("entities"));
        }
    }
    EXPECT_EQ(tree["others"]["count"], 0);
    EXPECT_THAT(runZemhost({"info", pair.house.path}).output,
                HasSubstr("door  OdDbBlockTableRecord, external drawing from "));
}

TEST(XrefCommands, RefuseBadInputAndLeaveTheDrawingAsItWas)
{
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    std::string const& house = pair.house.path;
    ASSERT_EQ(attach(house, pair.door.path).exitCode, 0);
    ASSERT_EQ(runZemhost({"block", "make", house, "part"}).exitCode, 0);
    const std::string text = folder.write("text.zdw", "text");
    const std::string link = folder.file("link.zdw");
    std::filesystem::create_symlink(house, link);
    struct Case
    {
        char const* name;
        std::vector<std::string> words;
        int exitCode;
        char const* message;
    };
    const std::vector<Case> cases = {
        {"no drawing", {"xref", "list", folder.file("none.zdw")}, 3, "none.zdw"},
        {"itself", {"xref", "attach", house, house}, 2, "itself"},
        {"itself by a link", {"xref", "attach", house, link}, 2, "itself"},
        {"missing", {"xref", "attach", house, folder.file("x.zdw")}, 3, "isn't there"},
        {"not a drawing", {"xref", "attach", house, text}, 3, "can't be attached"},
        {"empty path", {"xref", "attach", house, ""}, 2, "is empty"},
        {"a folder", {"xref", "attach", house, folder.path().string()}, 3, "can't be attached"},
        {"attached twice", {"xref", "attach", house, pair.door.path}, 2, "there already"},
        {"reserved name",
         {"xref", "attach", house, pair.door.path, "--name", "*U"},
         2,
         "names with *"},
        {"unknown name", {"xref", "reload", house, "none"}, 1, "has no block"},
        {"plain block", {"xref", "reload", house, "part"}, 2, "is no external drawing"},
        {"detach of nothing", {"xref", "detach", house}, 2, "NAME"},
        {"bind of a plain block", {"xref", "bind", house, "part"}, 2, "is no external drawing"},
        {"clone of an external drawing", {"block", "clone", house, "door", "d"}, 2, "xref bind"},
        {"wblock of an external drawing",
         {"block", "wblock", house, folder.file("w.zdw"), "door"},
         2,
         "xref bind"},
        {"variables of an external drawing",
         {"vars", "set", "--block", "door", house, "a", "1"},
         2,
         "is an external drawing"},
        {"insert into an external drawing",
         {"block", "insert", house, "part", "--into", "door"},
         2,
         "is an external drawing"},
    };
    const std::string before = host_test::readFile(house);
    for (Case const& at : cases) {
        const ProgramResult result = runZemhost(at.words);
        EXPECT_EQ(result.exitCode, at.exitCode) << at.name << ": " << result.errors;
        EXPECT_THAT(result.errors, HasSubstr(at.message)) << at.name;
        EXPECT_TRUE(host_test::readFile(house) == before) << at.name;
    }
}

TEST(XrefCommands, TellOfADrawingThatCannotBeWritten)
{
    if (::geteuid() == 0) {
        GTEST_SKIP() << "nothing is read-only to this user";
    }
    const TemporaryFolder folder;
    const Pair pair = makePair(folder);
    ASSERT_EQ(::chmod(pair.house.path.c_str(), 0444), 0);
    for (std::vector<std::string> const& words :
         {std::vector<std::string>{"xref", "attach", pair.house.path, pair.door.path},
          {"block", "make", pair.house.path, "part"},
          {"vars", "set", pair.house.path, "a", "1"}}) {
        const ProgramResult result = runZemhost(words);
        EXPECT_EQ(result.exitCode, 3) << words[0] << ": " << result.errors;
        EXPECT_THAT(result.errors, HasSubstr("house.zdw")) << words[0];
    }
    EXPECT_EQ(runZemhost({"block", "list", pair.house.path}).exitCode, 0);
}
