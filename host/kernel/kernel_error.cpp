#include "kernel/kernel_error.h"

#include <utility>

namespace zemhost {
namespace {

std::string messageOf(const std::string& file, const std::string& reason, const std::string& advice)
{
    std::string text = file.empty() ? reason : file + ": " + reason;
    if (!advice.empty()) {
        text += "; " + advice;
    }
    return text;
}

}  // namespace

KernelError::KernelError(KernelFailure failure, std::string file, std::string reason,
                         std::string advice)
    : std::runtime_error(messageOf(file, reason, advice)), m_failure(failure),
      m_file(std::move(file)), m_reason(std::move(reason)), m_advice(std::move(advice))
{
}

}  // namespace zemhost
