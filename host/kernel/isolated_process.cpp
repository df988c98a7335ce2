#include "kernel/isolated_process.h"

#include "kernel/kernel_error.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <vector>

// The address space of a program under the address or thread sanitizer is not its memory use.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZEMHOST_LIMIT_ADDRESS_SPACE 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZEMHOST_LIMIT_ADDRESS_SPACE 0
#endif
#endif
#ifndef ZEMHOST_LIMIT_ADDRESS_SPACE
#define ZEMHOST_LIMIT_ADDRESS_SPACE 1
#endif

namespace zemhost {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint8_t kWorkFinished = kFirstReservedMessage;
constexpr std::uint8_t kOutOfMemory = kFirstReservedMessage + 1;

constexpr int kExitDone = 0;
constexpr int kExitFailed = 1;

/// A message is its kind, the length of its payload as 8 bytes in this machine's order (both ends
/// are one program), then the payload.
constexpr std::size_t kMessageHeaderBytes = 1 + sizeof(std::uint64_t);

constexpr std::chrono::milliseconds kWatchInterval{50};

[[noreturn]] void throwSystemError(const char* what)
{
    throw KernelError(KernelFailure::kSystem, "", std::string(what) + ": " + std::strerror(errno),
                      "close other programs and try again");
}

/// One of the figures of a process's /proc/<process>/statm, in bytes: 0 address space, 1 resident.
std::uint64_t memoryFigure(const std::string& process, int index)
{
    std::FILE* file = std::fopen(("/proc/" + process + "/statm").c_str(), "r");
    if (file == nullptr) {
        return 0;
    }
    std::array<unsigned long long, 2> pages{};
    const int count = std::fscanf(file, "%llu %llu", &pages[0], &pages[1]);
    (void)std::fclose(file);  // opened for reading: nothing can be lost
    if (count != 2) {
        return 0;
    }
    return pages[static_cast<std::size_t>(index)] *
           static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

/// The largest address space that this process has had, in bytes; 0 if the system does not tell.
std::uint64_t peakAddressSpace()
{
    std::ifstream status("/proc/self/status");
    std::string key;
    std::uint64_t kibibytes = 0;
    while (status >> key) {
        if (key == "VmPeak:") {
            return status >> kibibytes ? kibibytes * 1024 : 0;
        }
        status.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return 0;
}

//--------------------------------------------------------------------------------------------------
// In the child

void setLimit(__rlimit_resource resource, rlim_t value)
{
    struct rlimit limit;
    if (::getrlimit(resource, &limit) != 0) {
        return;
    }
    // A limit that the user already set lower stays.
    limit.rlim_cur = std::min(value, limit.rlim_cur);
    limit.rlim_max = std::min(value, limit.rlim_max);
    (void)::setrlimit(resource, &limit);  // lowering is always allowed
}

void limitChild(const ProcessLimits& limits)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limits.time).count();
    // One second above the parent's own clock, so that the parent is the one to tell the reason.
    setLimit(RLIMIT_CPU, static_cast<rlim_t>(seconds) + 2);
    setLimit(RLIMIT_CORE, 0);
    setLimit(RLIMIT_FSIZE, 0);
    if (ZEMHOST_LIMIT_ADDRESS_SPACE != 0) {
        const std::uint64_t inUse = memoryFigure("self", 0);
        if (inUse != 0 && limits.memoryBytes < UINT64_MAX - inUse) {
            setLimit(RLIMIT_AS, inUse + limits.memoryBytes);
        }
    }
}

/// Leaves the child with the pipe as descriptor 3 and nothing else.
int detachChild(int pipeEnd)
{
    constexpr int kPipe = 3;
    const int nothing = ::open("/dev/null", O_RDWR);
    if (nothing < 0) {
        ::_exit(kExitFailed);
    }
    if (pipeEnd != kPipe && ::dup2(pipeEnd, kPipe) < 0) {
        ::_exit(kExitFailed);
    }
    for (int descriptor = 0; descriptor < kPipe; ++descriptor) {
        if (nothing != descriptor && ::dup2(nothing, descriptor) < 0) {
            ::_exit(kExitFailed);
        }
    }
    (void)::close_range(kPipe + 1, ~0U, 0);  // an old system keeps them open, which does no harm
    return kPipe;
}

[[noreturn]] void runChild(int pipeEnd, pid_t parent, const ProcessLimits& limits,
                           const ChildWork& work)
{
    (void)::prctl(PR_SET_PDEATHSIG, SIGKILL);  // cannot fail with a valid signal
    if (::getppid() != parent) {
        ::_exit(kExitFailed);  // the parent died before it could be watched
    }
    // Handlers of the parent would report a crash of the child as one of the program.
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGXCPU, SIGPIPE}) {
        (void)::signal(signal, SIG_DFL);  // cannot fail for these
    }
    MessageSink sink(detachChild(pipeEnd));
    limitChild(limits);
    std::uint8_t last = kWorkFinished;
    try {
        work(sink);
    } catch (const std::bad_alloc&) {
        last = kOutOfMemory;
    } catch (...) {
        ::_exit(kExitFailed);
    }
    sink.send(last, {});
    ::_exit(kExitDone);
}

//--------------------------------------------------------------------------------------------------
// In the parent

/// A running child and the reading end of its pipe; destruction kills what still runs.
class ChildProcess
{
public:
    ChildProcess(pid_t process, int pipeEnd) : m_process(process), m_pipeEnd(pipeEnd) {}

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    ~ChildProcess()
    {
        (void)::close(m_pipeEnd);          // read only: nothing can be lost
        (void)::kill(m_process, SIGKILL);  // one that has ended takes no harm
        while (::waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
        }
    }

    pid_t process() const { return m_process; }
    int pipeEnd() const { return m_pipeEnd; }

private:
    pid_t m_process;
    int m_pipeEnd;
};

/// Cuts the stream of bytes into messages.
class MessageParser
{
public:
    MessageParser(std::uint64_t longestPayload, const MessageHandler& handler)
        : m_longestPayload(longestPayload), m_handler(handler)
    {
    }

    /// Takes the next bytes; answers how the child ended once that is known.
    std::optional<ProcessEnd> take(std::span<const unsigned char> bytes)
    {
        m_pending.insert(m_pending.end(), bytes.begin(), bytes.end());
        std::size_t at = 0;
        std::optional<ProcessEnd> end;
        while (!end.has_value() && m_pending.size() - at >= kMessageHeaderBytes) {
            std::uint64_t length = 0;
            std::memcpy(&length, m_pending.data() + at + 1, sizeof length);
            if (length > m_longestPayload) {
                return ProcessEnd::kCrashed;
            }
            if (m_pending.size() - at - kMessageHeaderBytes < length) {
                break;
            }
            const std::span<const unsigned char> pending(m_pending);
            end = handle(m_pending[at], pending.subspan(at + kMessageHeaderBytes,
                                                        static_cast<std::size_t>(length)));
            at += kMessageHeaderBytes + static_cast<std::size_t>(length);
        }
        m_pending.erase(m_pending.begin(), m_pending.begin() + static_cast<std::ptrdiff_t>(at));
        return end;
    }

private:
    std::optional<ProcessEnd> handle(std::uint8_t kind, std::span<const unsigned char> payload)
    {
        if (kind == kWorkFinished) {
            return ProcessEnd::kFinished;
        }
        if (kind == kOutOfMemory) {
            return ProcessEnd::kMemoryLimit;
        }
        if (!m_handler(kind, payload)) {
            return ProcessEnd::kStopped;
        }
        return std::nullopt;
    }

    std::uint64_t m_longestPayload;
    const MessageHandler& m_handler;
    std::vector<unsigned char> m_pending;
};

/// The child closed its end without a last word.
ProcessEnd endOfSilentChild(pid_t process, Clock::time_point deadline)
{
    // The end of the pipe comes a moment before the end of the process; WNOWAIT leaves the child to
    // ChildProcess.
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == 0) {
        if (Clock::now() > deadline) {
            return ProcessEnd::kTimeLimit;
        }
        ::usleep(200);
    }
    const bool outOfTime = info.si_code == CLD_KILLED && info.si_status == SIGXCPU;
    return outOfTime ? ProcessEnd::kTimeLimit : ProcessEnd::kCrashed;
}

ProcessEnd watchChild(const ChildProcess& child, const ProcessLimits& limits,
                      const MessageHandler& handler)
{
    const Clock::time_point deadline = Clock::now() + limits.time;
    const std::string process = std::to_string(child.process());
    const std::uint64_t ownMemory = memoryFigure("self", 1);
    MessageParser parser(limits.memoryBytes, handler);
    std::vector<unsigned char> buffer(64 * 1024);
    Clock::time_point nextWatch = Clock::now() + kWatchInterval;
    while (true) {
        struct pollfd ready = {child.pipeEnd(), POLLIN, 0};
        const int count = ::poll(&ready, 1, static_cast<int>(kWatchInterval.count()));
        const Clock::time_point now = Clock::now();
        if (now > deadline) {
            return ProcessEnd::kTimeLimit;
        }
        if (now > nextWatch) {
            const std::uint64_t used = memoryFigure(process, 1);
            if (used > ownMemory && used - ownMemory > limits.memoryBytes) {
                return ProcessEnd::kMemoryLimit;
            }
            nextWatch = now + kWatchInterval;
        }
        if (count <= 0) {
            continue;
        }
        const ssize_t size = ::read(child.pipeEnd(), buffer.data(), buffer.size());
        if (size < 0 && errno == EINTR) {
            continue;
        }
        if (size <= 0) {
            return endOfSilentChild(child.process(), deadline);
        }
        const auto end = parser.take({buffer.data(), static_cast<std::size_t>(size)});
        if (end.has_value()) {
            return *end;
        }
    }
}

}  // namespace

void MessageSink::send(std::uint8_t kind, std::span<const unsigned char> payload)
{
    std::array<unsigned char, kMessageHeaderBytes> header{};
    const std::uint64_t length = payload.size();
    header[0] = kind;
    std::memcpy(header.data() + 1, &length, sizeof length);
    writeAll(header.data(), header.size());
    writeAll(payload.data(), payload.size());
}

void MessageSink::writeAll(const unsigned char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(m_descriptor, data, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            ::_exit(kExitFailed);
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

bool isShortOfMemory(const ProcessLimits& limits)
{
    struct rlimit limit;
    if (::getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
        return false;
    }
    // A request that fails does not show in the figures, so a quarter of the allowance counts as
    // near. One that asks for more than that at once comes from an absurd count in the file.
    const std::uint64_t peak = peakAddressSpace();
    return peak != 0 && peak + limits.memoryBytes / 4 > limit.rlim_cur;
}

ProcessEnd runIsolated(const ProcessLimits& limits, const ChildWork& work,
                       const MessageHandler& handler)
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throwSystemError("no pipe for the import process");
    }
    const pid_t parent = ::getpid();
    const pid_t process = ::fork();
    if (process < 0) {
        const int reason = errno;
        (void)::close(ends[0]);
        (void)::close(ends[1]);
        errno = reason;
        throwSystemError("no process for the import");
    }
    if (process == 0) {
        runChild(ends[1], parent, limits, work);
    }
    (void)::close(ends[1]);  // the child holds the writing end now
    const ChildProcess child(process, ends[0]);
    return watchChild(child, limits, handler);
}

}  // namespace zemhost
