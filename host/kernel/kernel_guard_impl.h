// What the modelling kernel throws, turned into KernelError.

#pragma once

#include "kernel/kernel_error.h"

#include <string>
#include <utility>

namespace zemhost {

/// Stops the kernel's messages from going to standard output, for the whole process. Cheap, and
/// called by every way into the kernel.
void silenceKernel();

/// Throws the exception that is being handled as a KernelError; only inside a catch block.
///
/// A KernelError stays as it is. Running out of memory becomes kMemoryLimit, all else `failure`
/// with the reason "<what>: <text of the exception>".
[[noreturn]] void rethrowAsKernelError(KernelFailure failure, const std::string& file,
                                       const std::string& what, const std::string& advice);

/// Runs `work` and answers its result; see rethrowAsKernelError for what it throws.
template <typename Work>
auto guardKernel(KernelFailure failure, const std::string& file, const std::string& what,
                 const std::string& advice, Work&& work)
{
    try {
        return std::forward<Work>(work)();
    } catch (...) {
        rethrowAsKernelError(failure, file, what, advice);
    }
}

}  // namespace zemhost
