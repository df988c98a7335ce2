#include "host/host_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using host_test::makeDrawing;
using host_test::makeStepFile;
using host_test::ProgramResult;
using host_test::readFile;
using host_test::runZemhost;
using host_test::TemporaryFolder;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

/// The solids of model space, as `info` shows them.
nlohmann::json solidsOf(std::string const& drawing)
{
    const nlohmann::json tree = runZemhost({"info", "--json", drawing}).json();
    for (auto const& record : tree["tables"][0]["records"]) {
        if (record["name"] == "*Model_Space") {
            return record["entities"];
        }
    }
    return {};
}

}  // namespace

TEST(ImportCommand, MakesADrawingWithASolidForEachOfThePart)
{
    const TemporaryFolder folder;
    const std::string drawing = folder.file("new.zdw");
    const ProgramResult result = runZemhost({"import", makeStepFile(folder), drawing});
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_THAT(result.output, AllOf(HasSubstr("2 solids"), HasSubstr("left box"),
                                     HasSubstr("volume 6000 mm3"), HasSubstr("area 2200 mm2")));
    const nlohmann::json solids = solidsOf(drawing);
    ASSERT_EQ(solids.size(), 2U);
    EXPECT_EQ(solids[0]["label"], "left box");
    EXPECT_EQ(solids[0]["faces"], 6);
    EXPECT_EQ(solids[0]["edges"], 12);
    EXPECT_EQ(solids[0]["vertices"], 8);
    EXPECT_EQ(solids[0]["bodyFormat"], "ZEMSOLID");
    EXPECT_GT(solids[0]["bodyBytes"], 100);
    EXPECT_EQ(solids[1]["label"], "right box");
}

TEST(ImportCommand, DrawingsAreInMillimetres)
{
    const TemporaryFolder folder;
    const std::string drawing = folder.file("new.zdw");
    ASSERT_EQ(runZemhost({"import", makeStepFile(folder), drawing}).exitCode, 0);
    EXPECT_EQ(runZemhost({"info", "--json", drawing}).json()["drawing"]["settings"]["units"],
              "millimeters");
}

TEST(ImportCommand, TakesRealPartsInBothFormats)
{
    const TemporaryFolder folder;
    for (std::string const& part : {host_test::screwStepPath(), host_test::ballBrepPath()}) {
        const std::string drawing = folder.file("real.zdw");
        const ProgramResult result = runZemhost({"import", "--replace", part, drawing});
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        EXPECT_GE(solidsOf(drawing).size(), 1U);
        EXPECT_EQ(runZemhost({"check", drawing}).exitCode, 0);
    }
}

TEST(ImportCommand, ASolidWithoutNameIsCalledAfterItsFile)
{
    const TemporaryFolder folder;
    const std::string drawing = folder.file("ball.zdw");
    ASSERT_EQ(runZemhost({"import", host_test::ballBrepPath(), drawing}).exitCode, 0);
    EXPECT_EQ(solidsOf(drawing)[0]["label"], "Ball");
}

TEST(ImportCommand, TheSamePartGivesTheSameBytes)
{
    const TemporaryFolder folder;
    const std::string part = makeStepFile(folder);
    ASSERT_EQ(runZemhost({"import", part, folder.file("a.zdw")}).exitCode, 0);
    ASSERT_EQ(runZemhost({"import", part, folder.file("b.zdw")}).exitCode, 0);
    EXPECT_TRUE(readFile(folder.file("a.zdw")) == readFile(folder.file("b.zdw")));
}

TEST(ImportCommand, LeavesADrawingThatIsThereAlone)
{
    const TemporaryFolder folder;
    const std::string drawing = makeDrawing(folder).path;
    const std::string before = readFile(drawing);
    const ProgramResult result = runZemhost({"import", makeStepFile(folder), drawing});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.errors,
                AllOf(HasSubstr(drawing), HasSubstr("--replace"), HasSubstr("--append")));
    EXPECT_TRUE(readFile(drawing) == before);
}

TEST(ImportCommand, ReplacesADrawingWhenTold)
{
    const TemporaryFolder folder;
    const std::string drawing = makeDrawing(folder).path;
    ASSERT_EQ(runZemhost({"import", "--replace", makeStepFile(folder), drawing}).exitCode, 0);
    EXPECT_EQ(solidsOf(drawing)[0]["label"], "left box");
    EXPECT_EQ(solidsOf(drawing).size(), 2U);
}

TEST(ImportCommand, AppendsToADrawingWhenTold)
{
    const TemporaryFolder folder;
    const std::string drawing = makeDrawing(folder).path;
    ASSERT_EQ(runZemhost({"import", "--append", makeStepFile(folder), drawing}).exitCode, 0);
    const nlohmann::json solids = solidsOf(drawing);
    ASSERT_EQ(solids.size(), 4U);
    EXPECT_EQ(solids[0]["label"], "first solid");
    EXPECT_EQ(solids[3]["label"], "right box");
}

TEST(ImportCommand, ReplaceAndAppendExcludeEachOther)
{
    EXPECT_EQ(runZemhost({"import", "--append", "--replace", "a.step", "a.zdw"}).exitCode, 2);
}

TEST(ImportCommand, WorksWithoutTheModule)
{
    const TemporaryFolder folder;
    const std::string drawing = folder.file("new.zdw");
    EXPECT_EQ(runZemhost({"--without-module", "import", makeStepFile(folder), drawing}).exitCode,
              0);
}

TEST(ImportCommand, AFailedImportLeavesNoDrawingAndNoOtherFile)
{
    struct BadPart
    {
        char const* name;
        std::string content;
        char const* reason;
    };
    const TemporaryFolder folder;
    const std::string step = readFile(makeStepFile(folder));
    std::filesystem::remove(folder.file("boxes.step"));
    const BadPart kParts[] = {
        {"empty.step", "", "empty"},
        {"text.step", "no part at all", "not a STEP file"},
        {"cut.step", step.substr(0, step.size() / 2), "end"},
        {"nothing.brep", "CASCADE Topology V1, (c) Matra-Datavision\n", ""},
    };
    for (BadPart const& part : kParts) {
        const TemporaryFolder target;
        const std::string path = folder.write(part.name, part.content);
        const ProgramResult result = runZemhost({"import", path, target.file("new.zdw")});
        EXPECT_EQ(result.exitCode, 3) << part.name;
        EXPECT_THAT(result.errors, AllOf(HasSubstr(path), HasSubstr(part.reason))) << part.name;
        EXPECT_TRUE(std::filesystem::is_empty(target.path())) << part.name;
    }
}

TEST(ImportCommand, AMissingPartIsNamed)
{
    const TemporaryFolder folder;
    const ProgramResult result =
        runZemhost({"import", folder.file("missing.step"), folder.file("new.zdw")});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.errors, AllOf(HasSubstr("missing.step"), HasSubstr("no such file")));
}

TEST(ImportCommand, AMissingFolderIsNamed)
{
    const TemporaryFolder folder;
    const ProgramResult result =
        runZemhost({"import", makeStepFile(folder), folder.file("missing/new.zdw")});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.errors, AllOf(HasSubstr("there is no folder"), HasSubstr("missing")));
}

TEST(ImportCommand, RefusesToReplaceThePartItself)
{
    const TemporaryFolder folder;
    const std::string part = makeStepFile(folder);
    const std::string before = readFile(part);
    EXPECT_EQ(runZemhost({"import", "--replace", part, part}).exitCode, 2);
    EXPECT_TRUE(readFile(part) == before);
}

TEST(ImportCommand, ShowsNoProgressWhereNobodyReadsIt)
{
    const TemporaryFolder folder;
    EXPECT_THAT(runZemhost({"import", makeStepFile(folder), folder.file("new.zdw")}).errors,
                IsEmpty());
}

TEST(ImportCommand, ReplacesNoFileOfAnotherKind)
{
    const TemporaryFolder folder;
    const std::string part = makeStepFile(folder);
    const std::string letter = folder.write("letter.txt", "Dear reader,\n" + std::string(200, 'x'));
    for (char const* option : {"--replace", "--time-limit=300"}) {
        const ProgramResult result = runZemhost({"import", option, part, letter});
        EXPECT_EQ(result.exitCode, 3) << option;
        EXPECT_THAT(result.errors, AllOf(HasSubstr(letter), HasSubstr("is no drawing"))) << option;
        EXPECT_THAT(result.errors, Not(HasSubstr("--replace"))) << option;
    }
    EXPECT_TRUE(readFile(letter).starts_with("Dear reader"));
}

TEST(ImportCommand, ReplacesAnEmptyFileAndADamagedDrawing)
{
    const TemporaryFolder folder;
    const std::string part = makeStepFile(folder);
    const std::string damaged = makeDrawing(folder).path;
    std::filesystem::resize_file(damaged, 300);
    for (std::string const& drawing : {folder.write("empty.zdw", ""), damaged}) {
        EXPECT_EQ(runZemhost({"import", "--replace", part, drawing}).exitCode, 0) << drawing;
        EXPECT_EQ(solidsOf(drawing).size(), 2U) << drawing;
    }
}

TEST(ImportCommand, RefusesAPlaceThatTakesNoDrawingBeforeItReadsThePart)
{
    const TemporaryFolder folder;
    const std::string missing = folder.file("missing.step");
    std::filesystem::create_directory(folder.file("folder.zdw"));
    for (std::string const& drawing :
         {folder.file("folder.zdw"), folder.file(std::string(300, 'x')),
          std::string("/dev/null")}) {
        const ProgramResult result = runZemhost({"import", "--replace", missing, drawing});
        EXPECT_EQ(result.exitCode, 3) << drawing;
        EXPECT_THAT(result.errors, AllOf(HasSubstr(drawing), Not(HasSubstr("missing.step"))))
            << drawing;
    }
}

TEST(ImportCommand, SaysNothingOfSolidsThatItCouldNotSave)
{
    const TemporaryFolder folder;
    // Nobody can make files there, not even the superuser.
    const ProgramResult result = runZemhost({"import", makeStepFile(folder), "/proc/self/new.zdw"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.output, IsEmpty());
}

TEST(ImportCommand, TellsTheOptionThatAllowsMoreMemory)
{
    const TemporaryFolder folder;
    const ProgramResult result =
        runZemhost({"import", "--memory-limit", "0", makeStepFile(folder), folder.file("a.zdw")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.errors, HasSubstr("--memory-limit"));
}

TEST(ImportCommand, TellsTheOptionThatAllowsMoreTime)
{
    const TemporaryFolder folder;
    std::string more = "DATA;\n#900000=A(";
    for (int index = 0; index < 300'000; ++index) {
        more += "1,";  // the kernel takes minutes for a list of this length
    }
    std::string step = readFile(makeStepFile(folder));
    step.replace(step.find("DATA;\n"), 6, more + "1);\n");
    const ProgramResult result = runZemhost(
        {"import", "--time-limit", "1", folder.write("slow.step", step), folder.file("a.zdw")});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.errors, AllOf(HasSubstr("longer than 1.0 s"), HasSubstr("--time-limit")));
}
