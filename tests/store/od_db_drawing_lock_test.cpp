#include "store/drawing_test_support.h"
#include "store/od_db_drawing.h"
#include "store/od_db_drawing_store.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

namespace {

constexpr auto kForReading = OdDbOpenDrawingMode::kForReading;
constexpr auto kForWriting = OdDbOpenDrawingMode::kForWriting;

/// Another process that works on drawings.
class OtherProcess
{
public:
    OtherProcess()
    {
        int toChild[2];
        int toParent[2];
        EXPECT_EQ(::pipe(toChild), 0);
        EXPECT_EQ(::pipe(toParent), 0);
        m_process = ::fork();
        if (m_process == 0) {
            ::dup2(toChild[0], STDIN_FILENO);
            ::dup2(toParent[1], STDOUT_FILENO);
            for (int end : {toChild[0], toChild[1], toParent[0], toParent[1]}) {
                ::close(end);
            }
            char const* const program = ZEM_TEST_PROGRAM_DIR "/store_drawing_tool";
            ::execl(program, program, nullptr);
            ::_exit(127);
        }
        ::close(toChild[0]);
        ::close(toParent[1]);
        m_input = ::fdopen(toChild[1], "w");
        m_output = ::fdopen(toParent[0], "r");
    }
    OtherProcess(OtherProcess const&) = delete;
    OtherProcess& operator=(OtherProcess const&) = delete;
    ~OtherProcess()
    {
        std::fclose(m_input);
        std::fclose(m_output);
        ::waitpid(m_process, nullptr, 0);
    }

    /// Runs a command and gives the answer.
    std::string run(std::string const& command)
    {
        std::fprintf(m_input, "%s\n", command.c_str());
        std::fflush(m_input);
        std::string answer;
        for (int c = std::fgetc(m_output); c != EOF && c != '\n'; c = std::fgetc(m_output)) {
            answer += static_cast<char>(c);
        }
        return answer;
    }
    void kill() { ::kill(m_process, SIGKILL); }

private:
    pid_t m_process = 0;
    std::FILE* m_input = nullptr;
    std::FILE* m_output = nullptr;
};

template <class Action>
OdResult resultOf(Action const& action)
{
    try {
        action();
    } catch (OdError const& error) {
        return error.code();
    }
    return kOdOk;
}

class OdDbDrawingLockTest : public testing::Test
{
protected:
    OdDbPlatform platform;
    StoreTestClasses classes;
    TemporaryFolder folder;
    std::filesystem::path const path = folder.file("part.zdw");
    OtherProcess other;
    std::uint64_t firstPart = 0;

    void SetUp() override
    {
        const OdDbDatabasePtr database = makeDrawing(0);
        firstPart = database->handseed().value();
        for (int seed = 1; seed <= 200; ++seed) {
            addPart(*database, seed);
        }
        odDbSaveDrawingAs(*database, textOf(path));
    }
    OdDbDatabasePtr open(OdDbOpenDrawingMode mode) { return odDbOpenDrawing(textOf(path), mode); }
    OdDbObjectId part(OdDbDatabase& database, int number) const
    {
        return database.getOdDbObjectId(
            OdDbHandle(firstPart + static_cast<std::uint64_t>(number) - 1));
    }
    std::string change(int number, int value) const
    {
        return "change " + std::to_string(firstPart + static_cast<std::uint64_t>(number) - 1) +
               " " + std::to_string(value);
    }
    std::string load(int number) const
    {
        return "load " + std::to_string(firstPart + static_cast<std::uint64_t>(number) - 1);
    }
    std::string lockedAnswer() const
    {
        return "error " + std::to_string(kOdFileLocked) + " " + path.string() +
               ": is open for writing in another process";
    }
};

TEST_F(OdDbDrawingLockTest, RefusesASecondProcessThatWantsToWrite)
{
    const OdDbDatabasePtr database = open(kForWriting);
    EXPECT_EQ(other.run("open write " + path.string()), lockedAnswer());
}

TEST_F(OdDbDrawingLockTest, LetsASecondProcessRead)
{
    const OdDbDatabasePtr database = open(kForWriting);
    EXPECT_EQ(other.run("open read " + path.string()), "ok");
    EXPECT_EQ(other.run(load(5)), "ok");
}

TEST_F(OdDbDrawingLockTest, IsRefusedWhileAnotherProcessWrites)
{
    ASSERT_EQ(other.run("open write " + path.string()), "ok");
    EXPECT_EQ(resultOf([&] { (void)open(kForWriting); }), kOdFileLocked);
    EXPECT_FALSE(open(kForReading).isNull());
    ASSERT_EQ(other.run("close"), "ok");
    EXPECT_FALSE(open(kForWriting).isNull());
}

TEST_F(OdDbDrawingLockTest, IsFreeWhenTheOtherProcessDies)
{
    ASSERT_EQ(other.run("open write " + path.string()), "ok");
    other.kill();
    while (resultOf([&] { (void)open(kForWriting); }) == kOdFileLocked) {
        ::usleep(1000);
    }
    EXPECT_FALSE(open(kForWriting).isNull());
}

TEST_F(OdDbDrawingLockTest, RefusesASecondDatabaseOfTheSameProcess)
{
    const OdDbDatabasePtr database = open(kForWriting);
    EXPECT_EQ(resultOf([&] { (void)open(kForWriting); }), kOdFileLocked);
    EXPECT_FALSE(open(kForReading).isNull());
    // Readers that come and go leave the lock alone.
    EXPECT_EQ(other.run("open write " + path.string()), lockedAnswer());
}

TEST_F(OdDbDrawingLockTest, KeepsTheLockFromSaveToSave)
{
    const OdDbDatabasePtr database = open(kForWriting);
    for (int round = 1; round <= 3; ++round) {
        {
            const StoreTestPartPtr changed = part(*database, round).openObject(OdDb::kForWrite);
            changed->assertWriteEnabled();
            changed->number = 1000 + round;
        }
        odDbSaveDrawing(*database);
        EXPECT_EQ(other.run("open write " + path.string()), lockedAnswer());
    }
    odDbSaveDrawingAs(*database, textOf(path));
    EXPECT_EQ(other.run("open write " + path.string()), lockedAnswer());
}

TEST_F(OdDbDrawingLockTest, RefusesToReplaceADrawingThatAnotherProcessWrites)
{
    ASSERT_EQ(other.run("open write " + path.string()), "ok");
    const OdDbDatabasePtr database = makeDrawing(3);
    EXPECT_EQ(resultOf([&] { odDbSaveDrawingAs(*database, textOf(path)); }), kOdFileLocked);
    ASSERT_EQ(other.run(change(1, 77)), "ok");
    ASSERT_EQ(other.run("save"), "ok");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"part.zdw"});
    EXPECT_EQ(StoreTestPartPtr(part(*open(kForReading), 1).openObject())->number, 77);
}

TEST_F(OdDbDrawingLockTest, TellsAReaderThatTheDrawingWasSavedMeanwhile)
{
    const OdDbDatabasePtr database = open(kForReading);
    EXPECT_FALSE(part(*database, 1).openObject().isNull());
    ASSERT_EQ(other.run("open write " + path.string()), "ok");
    ASSERT_EQ(other.run(change(150, 77)), "ok");
    ASSERT_EQ(other.run("save"), "ok");
    EXPECT_EQ(resultOf([&] { (void)part(*database, 150).openObject(); }), kOdFileChanged);
    // What is in memory stays.
    EXPECT_EQ(StoreTestPartPtr(part(*database, 1).openObject())->number, 1);
    EXPECT_EQ(StoreTestPartPtr(part(*open(kForReading), 150).openObject())->number, 77);
}

TEST_F(OdDbDrawingLockTest, LetsAReaderGoOnAfterTheDrawingWasReplaced)
{
    const OdDbDatabasePtr database = open(kForReading);
    ASSERT_EQ(other.run("make " + path.string() + " 2"), "ok");
    EXPECT_EQ(StoreTestPartPtr(part(*database, 150).openObject())->number, 150);
    EXPECT_TRUE(part(*open(kForReading), 150).isNull());
}

TEST_F(OdDbDrawingLockTest, LetsAReaderGoOnWhileNothingIsSaved)
{
    const OdDbDatabasePtr database = open(kForReading);
    ASSERT_EQ(other.run("open write " + path.string()), "ok");
    ASSERT_EQ(other.run(change(150, 77)), "ok");
    EXPECT_EQ(StoreTestPartPtr(part(*database, 150).openObject())->number, 150);
}

TEST_F(OdDbDrawingLockTest, MakesTheSameFileInEveryProcess)
{
    const std::filesystem::path mine = folder.file("mine.zdw");
    const std::filesystem::path others = folder.file("others.zdw");
    odDbSaveDrawingAs(*makeDrawing(150), textOf(mine));
    ASSERT_EQ(other.run("make " + others.string() + " 150"), "ok");
    EXPECT_TRUE(same(readFile(mine), readFile(others)));
}

}  // namespace
