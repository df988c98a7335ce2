// Work in a child process with limits, which answers by messages through a pipe.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>

namespace zemhost {

/// What a child process may use up.
struct ProcessLimits
{
    std::chrono::milliseconds time;  ///< wall clock; processor time is bounded by the same figure
    std::uint64_t memoryBytes;       ///< on top of what the parent uses when the child starts
};

/// How a child process came to its end.
enum class ProcessEnd
{
    kFinished,     ///< the work ran to its end
    kStopped,      ///< the message handler asked to stop
    kTimeLimit,    ///< killed at the time limit
    kMemoryLimit,  ///< killed at the memory limit, or an allocation failed
    kCrashed,      ///< a signal, an exception that nobody caught, or messages that make no sense
};

/// The child's end of the pipe.
class MessageSink
{
public:
    explicit MessageSink(int descriptor) : m_descriptor(descriptor) {}

    /// Hands one message to the parent; waits while the pipe is full. A parent that is gone ends
    /// the process.
    void send(std::uint8_t kind, std::span<const unsigned char> payload);

private:
    void writeAll(const unsigned char* data, std::size_t size);

    int m_descriptor;
};

/// In the child: whether its memory has come so near to the limit that a failure of the work is
/// likely one of memory. The kernel's readers tell a failed allocation as damage of the file.
bool isShortOfMemory(const ProcessLimits& limits);

using ChildWork = std::function<void(MessageSink&)>;

/// Called in the parent for each message, in order. The payload lives for the call. False ends the
/// child.
using MessageHandler =
    std::function<bool(std::uint8_t kind, std::span<const unsigned char> payload)>;

/// Kinds from here on are the function's own.
constexpr std::uint8_t kFirstReservedMessage = 250;

/// Forks, runs `work` in the child, and feeds what it sends to `handler` until it ends.
///
/// The child sees the parent's memory as it is now. It has no standard streams and no other open
/// file of the parent, cannot write to any file, dies with the parent, and leaves without running
/// destructors or exit handlers: nothing that it does or damages reaches the parent but its
/// messages. An exception of `handler` ends the child and goes on to the caller.
///
/// The parent may have other threads as long as none of them is inside the modelling kernel: a
/// lock that it holds at this moment stays locked in the child for ever.
///
/// \throws KernelError (system) if the system refuses a pipe or a process.
ProcessEnd runIsolated(const ProcessLimits& limits, const ChildWork& work,
                       const MessageHandler& handler);

}  // namespace zemhost
