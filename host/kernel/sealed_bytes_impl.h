// Stored content in a shell that shows any cut or change: mark, version, checksum, length.

#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zemhost {

/// What the shell of one stored form looks like.
struct SealedForm
{
    std::array<unsigned char, 8> mark;
    std::uint32_t version;
    const char* what;    ///< for messages: "stored solid"
    const char* advice;  ///< for messages: what the user can do
};

/// Content in its shell: 8 bytes mark, 4 bytes version, 4 bytes CRC-32 and 8 bytes length of the
/// content, all little-endian; then the content.
std::vector<unsigned char> sealBytes(const SealedForm& form,
                                     std::span<const unsigned char> content);

/// The content inside a shell. \throws KernelError (damaged bytes) unless everything fits.
std::span<const unsigned char> unsealBytes(const SealedForm& form,
                                           std::span<const unsigned char> bytes);

/// \throws KernelError (damaged bytes) with "<what>: <reason>".
[[noreturn]] void throwDamaged(const SealedForm& form, const std::string& reason);

}  // namespace zemhost
