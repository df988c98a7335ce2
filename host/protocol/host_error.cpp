#include "protocol/host_error.h"

namespace zemhost {

namespace {

std::string textOf(std::string const& subject, std::string const& reason, std::string const& advice)
{
    std::string text = subject.empty() ? reason : subject + ": " + reason;
    if (!advice.empty()) {
        text += "; " + advice;
    }
    return text;
}

}  // namespace

HostError::HostError(ExitCode exitCode, std::string const& subject, std::string const& reason,
                     std::string const& advice)
    : std::runtime_error(textOf(subject, reason, advice)), m_exitCode(exitCode)
{
}

}  // namespace zemhost
