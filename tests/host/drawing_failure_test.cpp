// What every command says of drawings that it can't open or save.

#include "assoc/od_platform.h"
#include "store/od_db_drawing.h"

#include "host/host_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>

using host_test::makeDrawing;
using host_test::ProgramResult;
using host_test::runZemhost;
using host_test::SampleDrawing;
using host_test::TemporaryFolder;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

struct Command
{
    char const* name;
    bool writes;
    std::function<std::vector<std::string>(std::string const& drawing)> words;
};

const std::vector<Command> kCommands = {
    {"info", false,
     [](std::string const& drawing) {
         return std::vector<std::string>{"info", drawing};
     }},
    {"check", false,
     [](std::string const& drawing) {
         return std::vector<std::string>{"check", drawing};
     }},
    {"resave", true,
     [](std::string const& drawing) {
         return std::vector<std::string>{"resave", drawing};
     }},
    {"compare", false,
     [](std::string const& drawing) {
         return std::vector<std::string>{"compare", drawing, drawing};
     }},
    {"import", true,
     [](std::string const& drawing) {
         return std::vector<std::string>{"import", "--append", host_test::screwStepPath(), drawing};
     }},
    {"bag list", false,
     [](std::string const& drawing) {
         return std::vector<std::string>{"bag", "list", drawing, "20"};
     }},
    {"bag get", false,
     [](std::string const& drawing) {
         return std::vector<std::string>{"bag", "get", drawing, "20", "Name"};
     }},
    {"bag set", true,
     [](std::string const& drawing) {
         return std::vector<std::string>{"bag", "set", drawing, "20", "Name", "int", "1"};
     }},
    {"bag remove", true,
     [](std::string const& drawing) {
         return std::vector<std::string>{"bag", "remove", "--all", drawing, "20"};
     }},
    {"bag export", false,
     [](std::string const& drawing) {
         return std::vector<std::string>{"bag", "export", drawing, "-"};
     }},
    {"bag import", true,
     [](std::string const& drawing) {
         return std::vector<std::string>{"bag", "import", drawing, "-"};
     }},
    {"bag compare", false,
     [](std::string const& drawing) {
         return std::vector<std::string>{"bag", "compare", drawing, "-"};
     }},
};

ProgramResult run(Command const& command, std::string const& drawing)
{
    return runZemhost(command.words(drawing), {.input = "{}", .outputFile = {}});
}

void expectRefusal(ProgramResult const& result, std::string const& path, char const* reason)
{
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.output, IsEmpty());
    EXPECT_THAT(result.errors, AllOf(StartsWith("zemhost: "), HasSubstr(path), HasSubstr(reason)));
}

}  // namespace

TEST(DrawingFailure, AMissingFileIsNamed)
{
    const TemporaryFolder folder;
    for (Command const& command : kCommands) {
        SCOPED_TRACE(command.name);
        expectRefusal(run(command, folder.file("missing.zdw")), folder.file("missing.zdw"),
                      "no such file");
    }
}

TEST(DrawingFailure, AFileThatIsNoDrawingIsNamed)
{
    const TemporaryFolder folder;
    const std::string path = folder.write("letter.zdw", "Dear reader,\n" + std::string(9000, 'x'));
    for (Command const& command : kCommands) {
        SCOPED_TRACE(command.name);
        expectRefusal(run(command, path), path, "is no drawing");
    }
}

TEST(DrawingFailure, AnEmptyFileIsNoDrawing)
{
    const TemporaryFolder folder;
    const std::string path = folder.write("empty.zdw", "");
    expectRefusal(runZemhost({"info", path}), path, "");
    EXPECT_EQ(host_test::readFile(path), "");
}

TEST(DrawingFailure, AFolderIsNoDrawing)
{
    const TemporaryFolder folder;
    expectRefusal(runZemhost({"info", folder.path().string()}), folder.path().string(), "");
}

TEST(DrawingFailure, ADrawingCutAtAnyLengthNeverCrashesACommand)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const std::string bytes = host_test::readFile(drawing.path);
    for (std::size_t length = 0; length < bytes.size(); length += 1999) {
        const std::string path = folder.write("cut.zdw", bytes.substr(0, length));
        for (char const* command : {"info", "check"}) {
            const ProgramResult result = runZemhost({command, path});
            EXPECT_THAT(result.exitCode, testing::AnyOf(0, 1, 3))
                << command << " at " << length << ": " << result.errors;
        }
    }
}

TEST(DrawingFailure, ADrawingThatIsOpenForWritingElsewhereCanBeReadButNotWritten)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const OdPlatform platform;
    const OdDbDatabasePtr open =
        odDbOpenDrawing(OdString::fromUtf8(drawing.path), OdDbOpenDrawingMode::kForWriting);
    for (Command const& command : kCommands) {
        SCOPED_TRACE(command.name);
        const ProgramResult result = run(command, drawing.path);
        if (command.writes) {
            expectRefusal(result, drawing.path, "open for writing");
            EXPECT_THAT(result.errors, HasSubstr("close it there"));
        } else {
            EXPECT_NE(result.exitCode, 3) << result.errors;
        }
    }
}

TEST(DrawingFailure, AFolderThatTakesNoFilesIsNamed)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    // Nobody can make files here, not even the superuser.
    const ProgramResult result = runZemhost({"resave", drawing.path, "/proc/copy.zdw"});
    expectRefusal(result, "/proc/copy.zdw", "check the path");
}

TEST(DrawingFailure, AReadOnlyFolderIsNamed)
{
    if (::geteuid() == 0) {
        GTEST_SKIP() << "the superuser writes everywhere";
    }
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const std::string locked = folder.file("locked");
    std::filesystem::create_directory(locked);
    ASSERT_EQ(::chmod(locked.c_str(), 0555), 0);
    expectRefusal(runZemhost({"resave", drawing.path, locked + "/copy.zdw"}), locked, "");
    ASSERT_EQ(::chmod(locked.c_str(), 0755), 0);
}

TEST(DrawingFailure, AnObjectThatIsNotThereIsNoFileProblem)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const ProgramResult result = runZemhost({"bag", "list", drawing.path, "FFFF"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.errors, AllOf(HasSubstr(drawing.path), HasSubstr("has no object FFFF")));
}

TEST(DrawingFailure, TextThatIsNoHandleIsAUsageError)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    for (char const* handle : {"0", "2G", "", "-2", "11223344556677889"}) {
        const ProgramResult result = runZemhost({"bag", "list", drawing.path, handle});
        EXPECT_EQ(result.exitCode, 2) << handle;
        EXPECT_THAT(result.errors, HasSubstr("is no handle")) << handle;
    }
}
