// What a child process can do to its parent: nothing but send messages.

#include "kernel/isolated_process.h"
#include "kernel/kernel_error.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

namespace {

using zemhost::MessageSink;
using zemhost::ProcessEnd;
using zemhost::ProcessLimits;

constexpr ProcessLimits kPlenty = {std::chrono::seconds(60), std::uint64_t{1} << 30};

bool ignoreMessage(std::uint8_t, std::span<const unsigned char>)
{
    return true;
}

bool hasChildren()
{
    return ::waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD;
}

/// Uses memory that the compiler cannot prove unused.
void fillMemory(std::size_t bytes)
{
    constexpr std::size_t kBlock = std::size_t{1} << 20;
    for (std::size_t done = 0; done < bytes; done += kBlock) {
        char* block = static_cast<char*>(std::malloc(kBlock));
        if (block == nullptr) {
            throw std::bad_alloc();
        }
        std::memset(block, static_cast<int>(done >> 20) + 1, kBlock);
        volatile char used = block[kBlock / 2];
        (void)used;
    }
}

[[noreturn]] void sleepForEver()
{
    while (true) {
        ::usleep(100000);
    }
}

TEST(RunIsolated, HandsOverMessagesInOrderAndWhole)
{
    constexpr std::size_t kLarge = 5'000'000;
    std::vector<std::size_t> sizes;
    std::vector<int> kinds;
    const ProcessEnd end = zemhost::runIsolated(
        kPlenty,
        [](MessageSink& sink) {
            sink.send(1, {});
            sink.send(2, std::vector<unsigned char>(kLarge, 7));
            sink.send(3, std::vector<unsigned char>{1, 2, 3});
        },
        [&](std::uint8_t kind, std::span<const unsigned char> payload) {
            kinds.push_back(kind);
            sizes.push_back(payload.size());
            return true;
        });
    EXPECT_EQ(end, ProcessEnd::kFinished);
    EXPECT_EQ(kinds, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(sizes, (std::vector<std::size_t>{0, kLarge, 3}));
    EXPECT_FALSE(hasChildren());
}

struct EndCase
{
    const char* name;
    void (*work)(MessageSink& sink);
    ProcessEnd expected;
};

const EndCase kEnds[] = {
    {"returns", [](MessageSink&) {}, ProcessEnd::kFinished},
    {"aborts", [](MessageSink&) { std::abort(); }, ProcessEnd::kCrashed},
    {"is killed by a memory fault", [](MessageSink&) { (void)::raise(SIGSEGV); },
     ProcessEnd::kCrashed},
    {"leaves without a word", [](MessageSink&) { ::_exit(0); }, ProcessEnd::kCrashed},
    {"throws", [](MessageSink&) { throw std::runtime_error("lost"); }, ProcessEnd::kCrashed},
    {"runs out of memory", [](MessageSink&) { throw std::bad_alloc(); }, ProcessEnd::kMemoryLimit},
    {"announces a message without end",
     [](MessageSink&) {
         unsigned char header[9] = {1, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F};
         (void)!::write(3, header, sizeof header);
         sleepForEver();
     },
     ProcessEnd::kCrashed},
    {"stops inside a message",
     [](MessageSink&) {
         unsigned char header[9] = {1, 100, 0, 0, 0, 0, 0, 0, 0};
         (void)!::write(3, header, sizeof header);
         ::_exit(0);
     },
     ProcessEnd::kCrashed},
};

TEST(RunIsolated, TellsHowTheChildEnded)
{
    for (const EndCase& row : kEnds) {
        EXPECT_EQ(zemhost::runIsolated(kPlenty, row.work, ignoreMessage), row.expected) << row.name;
        EXPECT_FALSE(hasChildren()) << row.name;
    }
}

TEST(RunIsolated, EndsAChildThatSleepsAtTheTimeLimit)
{
    const ProcessLimits limits = {std::chrono::milliseconds(200), std::uint64_t{1} << 30};
    const auto begin = std::chrono::steady_clock::now();
    const ProcessEnd end = zemhost::runIsolated(
        limits, [](MessageSink&) { sleepForEver(); }, ignoreMessage);
    EXPECT_EQ(end, ProcessEnd::kTimeLimit);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_FALSE(hasChildren());
}

TEST(RunIsolated, EndsAChildThatNeverStopsSendingAtTheTimeLimit)
{
    const ProcessLimits limits = {std::chrono::milliseconds(200), std::uint64_t{1} << 30};
    const ProcessEnd end = zemhost::runIsolated(
        limits,
        [](MessageSink& sink) {
            while (true) {
                sink.send(1, {});
            }
        },
        ignoreMessage);
    EXPECT_EQ(end, ProcessEnd::kTimeLimit);
    EXPECT_FALSE(hasChildren());
}

TEST(RunIsolated, EndsAChildThatUsesTooMuchMemory)
{
    const ProcessLimits limits = {std::chrono::seconds(60), std::uint64_t{64} << 20};
    const ProcessEnd end = zemhost::runIsolated(
        limits,
        [](MessageSink&) {
            fillMemory(std::size_t{512} << 20);
            sleepForEver();
        },
        ignoreMessage);
    EXPECT_EQ(end, ProcessEnd::kMemoryLimit);
    EXPECT_FALSE(hasChildren());
}

TEST(RunIsolated, EndsTheChildWhenTheHandlerHasEnough)
{
    const ProcessEnd end = zemhost::runIsolated(
        kPlenty,
        [](MessageSink& sink) {
            sink.send(1, {});
            sleepForEver();
        },
        [](std::uint8_t, std::span<const unsigned char>) { return false; });
    EXPECT_EQ(end, ProcessEnd::kStopped);
    EXPECT_FALSE(hasChildren());
}

TEST(RunIsolated, EndsTheChildWhenTheHandlerThrows)
{
    const auto run = [] {
        (void)zemhost::runIsolated(
            kPlenty,
            [](MessageSink& sink) {
                sink.send(1, {});
                sleepForEver();
            },
            [](std::uint8_t, std::span<const unsigned char>) -> bool {
                throw std::logic_error("enough");
            });
    };
    EXPECT_THROW(run(), std::logic_error);
    EXPECT_FALSE(hasChildren());
}

TEST(RunIsolated, LeavesTheParentsFilesAndMemoryAlone)
{
    int value = 1;
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    // The child's end of the pipe takes one of the low descriptors.
    const int descriptor = ::fcntl(::fileno(file), F_DUPFD, 100);
    ASSERT_GE(descriptor, 100);
    const ProcessEnd end = zemhost::runIsolated(
        kPlenty,
        [&](MessageSink&) {
            value = 2;
            (void)!::write(descriptor, "damage", 6);
            (void)!::ftruncate(descriptor, 100);
        },
        ignoreMessage);
    EXPECT_EQ(end, ProcessEnd::kFinished);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(::lseek(descriptor, 0, SEEK_END), 0);
    EXPECT_EQ(::close(descriptor), 0);
    EXPECT_EQ(std::fclose(file), 0);
}

TEST(RunIsolated, GivesTheChildNoStandardStreams)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const ProcessEnd end = zemhost::runIsolated(
        kPlenty,
        [](MessageSink&) {
            (void)!::write(STDOUT_FILENO, "noise", 5);
            (void)!::write(STDERR_FILENO, "noise", 5);
            std::abort();
        },
        ignoreMessage);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(end, ProcessEnd::kCrashed);
}

}  // namespace
