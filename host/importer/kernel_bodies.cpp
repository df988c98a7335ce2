#include "importer/kernel_bodies.h"

namespace zemhost {

namespace {

std::string adviceFor(KernelError const& error)
{
    if (error.file().empty()) {
        return error.advice();  // an edit's own
    }
    switch (error.failure()) {
    case KernelFailure::kTimeLimit:
        return "allow more with --time-limit, or check the file in the program that wrote it";
    case KernelFailure::kMemoryLimit:
        return "allow more with --memory-limit, or check the file in the program that wrote it";
    default:
        return error.advice();
    }
}

ExitCode exitCodeFor(KernelError const& error)
{
    switch (error.failure()) {
    case KernelFailure::kBadArgument:
        return ExitCode::kUsage;
    case KernelFailure::kEditFailed:
    case KernelFailure::kLostReference:
    case KernelFailure::kDamagedBytes:
        return ExitCode::kFindings;
    case KernelFailure::kTimeLimit:
    case KernelFailure::kMemoryLimit:
    case KernelFailure::kKernelCrash:
    case KernelFailure::kCancelled:
        return error.file().empty() ? ExitCode::kInternal : ExitCode::kFile;  // an edit, or a part
    default:
        return ExitCode::kFile;
    }
}

}  // namespace

OdString kernelBodyFormat()
{
    return OdString(L"ZEMSOLID");
}

OdBinaryData toBinaryData(std::vector<unsigned char> const& bytes)
{
    return OdBinaryData(bytes.begin(), bytes.end());
}

OdDb3dSolid::Counts countsOf(KernelSolid const& solid)
{
    OdDb3dSolid::Counts counts;
    counts.faces = static_cast<std::uint32_t>(solid.faceCount());
    counts.edges = static_cast<std::uint32_t>(solid.edgeCount());
    counts.vertices = static_cast<std::uint32_t>(solid.vertexCount());
    return counts;
}

HostError hostErrorOf(KernelError const& error)
{
    return HostError(exitCodeFor(error), error.file(), error.reason(), adviceFor(error));
}

}  // namespace zemhost
