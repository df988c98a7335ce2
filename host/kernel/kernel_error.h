// The one exception of the solid kernel: which file, what went wrong, what the user can do.

#pragma once

#include <stdexcept>
#include <string>

namespace zemhost {

/// Why an operation of the kernel failed, for callers that react to the kind of failure.
enum class KernelFailure
{
    kMissingFile,     ///< no such file, or not a regular file
    kUnreadableFile,  ///< the file is there and cannot be read
    kEmptyFile,       ///< a file of no bytes
    kUnknownFormat,   ///< neither STEP nor BREP
    kTruncatedFile,   ///< the beginning of a good file whose end is gone
    kDamagedFile,     ///< the right format with content that makes no sense
    kNoSolid,         ///< a good file that describes no solid
    kTimeLimit,       ///< the import took longer than its limit
    kMemoryLimit,     ///< the import wanted more memory than its limit
    kKernelCrash,     ///< the kernel crashed on this content, inside the import process
    kCancelled,       ///< the progress callback asked to stop
    kDamagedBytes,    ///< stored solid bytes that are cut, changed or no solid
    kBadArgument,     ///< a size or number outside the documented range
    kWriteFailed,     ///< a file could not be written
    kSystem,          ///< the operating system refused a process or a pipe
    kEditFailed,      ///< the kernel can't do an edit, or its result is no good solid
    kLostReference,   ///< a face or edge that an edit works on isn't there, or isn't the only one
};

/// A failure of the solid kernel, with the text parts that a user needs to act on it.
///
/// what() is "<file>: <reason>; <advice>"; an empty file or advice is left out with its separator.
/// A value: copies are independent.
class KernelError : public std::runtime_error
{
public:
    /// \param file    Path as the caller gave it; empty when no file is involved.
    /// \param reason  What is wrong, lower case, no final stop.
    /// \param advice  What the user can do; may be empty.
    KernelError(KernelFailure failure, std::string file, std::string reason, std::string advice);

    KernelFailure failure() const { return m_failure; }
    const std::string& file() const { return m_file; }
    const std::string& reason() const { return m_reason; }
    const std::string& advice() const { return m_advice; }

private:
    KernelFailure m_failure;
    std::string m_file;
    std::string m_reason;
    std::string m_advice;
};

}  // namespace zemhost
