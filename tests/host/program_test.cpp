#include "host/host_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using host_test::ProgramResult;
using host_test::runZemhost;
using host_test::TemporaryFolder;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

const std::vector<std::vector<std::string>> kCommands = {
    {"import"},      {"info"},          {"bag"},           {"bag", "get"},    {"bag", "set"},
    {"bag", "list"}, {"bag", "remove"}, {"bag", "export"}, {"bag", "import"}, {"bag", "compare"},
    {"classes"},     {"check"},         {"resave"},        {"compare"}};

std::vector<std::string> operator+(std::vector<std::string> left, std::string const& right)
{
    left.push_back(right);
    return left;
}

}  // namespace

TEST(Program, TellsItsVersion)
{
    const ProgramResult result = runZemhost({"--version"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, StartsWith("zemhost "));
    EXPECT_THAT(result.errors, IsEmpty());
}

TEST(Program, HelpListsCommandsAndExitCodes)
{
    const ProgramResult result = runZemhost({"--help"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, AllOf(HasSubstr("import"), HasSubstr("check"), HasSubstr("bag"),
                                     HasSubstr("Exit codes:")));
}

TEST(Program, EachCommandHasHelpOnStandardOutput)
{
    for (auto const& command : kCommands) {
        const ProgramResult result = runZemhost(command + "--help");
        EXPECT_EQ(result.exitCode, 0) << command.back();
        EXPECT_THAT(result.output, HasSubstr("Usage: zemhost " + command.front()));
        EXPECT_THAT(result.errors, IsEmpty());
    }
}

TEST(Program, HelpOfEachCommandHasExamples)
{
    for (auto const& command : kCommands) {
        if (command != std::vector<std::string>{"bag"}) {
            EXPECT_THAT(runZemhost(command + "--help").output, HasSubstr("Example"))
                << command.back();
        }
    }
}

TEST(Program, WithoutACommandIsAUsageError)
{
    const ProgramResult result = runZemhost({});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.output, IsEmpty());
    EXPECT_THAT(result.errors, AllOf(StartsWith("zemhost: "), HasSubstr("zemhost --help")));
}

TEST(Program, AnUnknownCommandIsAUsageError)
{
    EXPECT_EQ(runZemhost({"frobnicate"}).exitCode, 2);
}

TEST(Program, AMissingArgumentNamesTheHelpOfItsCommand)
{
    const ProgramResult result = runZemhost({"bag", "get", "a.zdw"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.errors, AllOf(HasSubstr("HANDLE"), HasSubstr("zemhost bag get --help")));
}

TEST(Program, AnUnknownOptionIsAUsageError)
{
    const ProgramResult result = runZemhost({"info", "--colour", "a.zdw"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.errors, HasSubstr("--colour"));
}

TEST(Program, AnswersThatCannotBeWrittenAreAFailure)
{
    const ProgramResult result = runZemhost({"classes"}, {.input = {}, .outputFile = "/dev/full"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.errors, HasSubstr("standard output"));
}

TEST(Module, AMissingFileIsNamedWithWhatToDo)
{
    const ProgramResult result = runZemhost({"--module", "/nowhere/zem_db.tx", "classes"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.errors, AllOf(HasSubstr("/nowhere/zem_db.tx"), HasSubstr("--module")));
}

TEST(Module, AFileThatIsNoModuleIsRefused)
{
    const TemporaryFolder folder;
    const std::string path = folder.write("zem_db.tx", "this is no library");
    const ProgramResult result = runZemhost({"classes", "--module", path});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.errors, HasSubstr(path));
}

TEST(Module, ALibraryWithoutEntryPointsIsRefused)
{
    const std::string path =
        std::filesystem::path(ZEM_MODULE_PATH).replace_filename("libod_root.so").string();
    const ProgramResult result = runZemhost({"classes", "--module", path});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.errors, HasSubstr("entry point"));
}

TEST(Module, CanBeNamed)
{
    const ProgramResult result = runZemhost({"--module", ZEM_MODULE_PATH, "classes"});
    EXPECT_EQ(result.exitCode, 0);
}

TEST(Module, BagCommandsNeedIt)
{
    const TemporaryFolder folder;
    const auto drawing = host_test::makeDrawing(folder);
    const ProgramResult result =
        runZemhost({"--without-module", "bag", "list", drawing.path, drawing.first});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.errors, HasSubstr("--without-module"));
}

TEST(Program, ControlCharactersInAFileNameDoNotReachTheTerminal)
{
    const ProgramResult result = runZemhost({"info", "bad\033[2Jname.zdw"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.errors, testing::Not(HasSubstr("\033")));
}

TEST(Program, NamesACommandAndAnOptionThatItDoesNotHave)
{
    EXPECT_THAT(runZemhost({"frobnicate"}).errors, HasSubstr("no command \"frobnicate\""));
    EXPECT_THAT(runZemhost({"bag", "frobnicate"}).errors, HasSubstr("no command \"frobnicate\""));
    EXPECT_THAT(runZemhost({"-v"}).errors, HasSubstr("no option \"-v\""));
}

TEST(Program, AnEmptyNameOfAFileIsAUsageError)
{
    const std::vector<std::vector<std::string>> kEmptyNames = {{"info", ""},
                                                               {"import", "a.step", ""},
                                                               {"import", "", "a.zdw"},
                                                               {"resave", "a.zdw", ""},
                                                               {"compare", "a.zdw", ""},
                                                               {"bag", "export", "a.zdw", ""},
                                                               {"--module", "", "classes"}};
    for (std::vector<std::string> const& command : kEmptyNames) {
        const ProgramResult result = runZemhost(command);
        EXPECT_EQ(result.exitCode, 2) << command.front();
        EXPECT_THAT(result.errors, HasSubstr("the name is empty")) << command.front();
    }
}

TEST(Program, ModuleAndNoModuleExcludeEachOther)
{
    EXPECT_EQ(runZemhost({"--module", "a.tx", "--without-module", "classes"}).exitCode, 2);
}

TEST(Program, ALimitBelowZeroIsRefused)
{
    EXPECT_EQ(runZemhost({"info", "--limit", "-1", "a.zdw"}).exitCode, 2);
}
