// The program's exit codes, and the exception that carries one with a text for the user.

#pragma once

#include <stdexcept>
#include <string>

namespace zemhost {

/// What the program tells the process that started it. The numbers are documented and never change.
enum class ExitCode : int
{
    kOk = 0,
    kFindings = 1,  ///< done, and the answer is no: damages, differences, no such object or value
    kUsage = 2,     ///< the command line or a value makes no sense; nothing was done
    kFile = 3,      ///< a file is missing, locked, not writable, or not what it should be
    kModule = 4,   ///< the module or a part of the program that it loads isn't there or doesn't fit
    kInternal = 5  ///< anything else, such as no memory
};

/// A failure that the user can do something about.
///
/// what() is "<subject>: <reason>; <advice>"; an empty subject or advice is left out with its
/// separator. A value: copies are independent.
class HostError : public std::runtime_error
{
public:
    /// \param subject  The file, object or value it is about, as the user gave it.
    /// \param reason   What is wrong, lower case, no final stop.
    /// \param advice   What the user can do; may be empty.
    HostError(ExitCode exitCode, std::string const& subject, std::string const& reason,
              std::string const& advice);

    ExitCode exitCode() const noexcept { return m_exitCode; }

private:
    ExitCode m_exitCode;
};

}  // namespace zemhost
