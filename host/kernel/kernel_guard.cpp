#include "kernel/kernel_guard_impl.h"

#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Standard_Failure.hxx>
#include <Standard_OutOfMemory.hxx>

#include <cctype>
#include <cstring>
#include <exception>
#include <new>

namespace zemhost {

namespace {

/// The kernel's own words on one line, cut to a length that a person reads.
std::string readableText(const char* text)
{
    constexpr std::size_t kLongestText = 200;
    std::string result;
    for (const char* at = text; at != nullptr && *at != '\0'; ++at) {
        const bool isPrintable = std::isprint(static_cast<unsigned char>(*at)) != 0;
        result += isPrintable ? *at : ' ';
        if (result.size() == kLongestText) {
            return result + "...";
        }
    }
    return result;
}

std::string failureText(const Standard_Failure& failure)
{
    const std::string text = readableText(failure.GetMessageString());
    return text.empty() ? std::string(failure.DynamicType()->Name()) : text;
}

[[noreturn]] void throwOutOfMemory(const std::string& file, const std::string& what)
{
    throw KernelError(KernelFailure::kMemoryLimit, file, what + ": not enough memory",
                      "allow more memory");
}

}  // namespace

void silenceKernel()
{
    Message::DefaultMessenger()->ChangePrinters().Clear();
}

void rethrowAsKernelError(KernelFailure failure, const std::string& file, const std::string& what,
                          const std::string& advice)
{
    try {
        throw;
    } catch (const KernelError&) {
        throw;
    } catch (const Standard_OutOfMemory&) {
        throwOutOfMemory(file, what);
    } catch (const std::bad_alloc&) {
        throwOutOfMemory(file, what);
    } catch (const Standard_Failure& kernelFailure) {
        throw KernelError(failure, file, what + ": " + failureText(kernelFailure), advice);
    } catch (const std::exception& error) {
        throw KernelError(failure, file, what + ": " + readableText(error.what()), advice);
    }
}

}  // namespace zemhost
