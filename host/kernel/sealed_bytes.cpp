#include "kernel/byte_stream_impl.h"
#include "kernel/sealed_bytes_impl.h"

#include <algorithm>

namespace zemhost {

namespace {

constexpr std::size_t kHeaderBytes = 24;

constexpr std::array<std::uint32_t, 256> makeCrcTable()
{
    constexpr std::uint32_t kReversedPolynomial = 0xEDB88320;
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t index = 0; index < table.size(); ++index) {
        std::uint32_t value = index;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1) != 0 ? kReversedPolynomial ^ (value >> 1) : value >> 1;
        }
        table[index] = value;
    }
    return table;
}

std::uint32_t crc32(std::span<const unsigned char> bytes)
{
    static constexpr std::array<std::uint32_t, 256> kTable = makeCrcTable();
    std::uint32_t value = 0xFFFFFFFF;
    for (const unsigned char byte : bytes) {
        value = kTable[(value ^ byte) & 0xFF] ^ (value >> 8);
    }
    return value ^ 0xFFFFFFFF;
}

std::string markText(const SealedForm& form)
{
    return std::string(form.mark.begin(), form.mark.end());
}

}  // namespace

void throwDamaged(const SealedForm& form, const std::string& reason)
{
    throw KernelError(KernelFailure::kDamagedBytes, "", std::string(form.what) + ": " + reason,
                      form.advice);
}

std::vector<unsigned char> sealBytes(const SealedForm& form, std::span<const unsigned char> content)
{
    ByteWriter writer;
    writer.putRaw(form.mark);
    writer.putUint32(form.version);
    writer.putUint32(crc32(content));
    writer.putBlock(content);
    return writer.takeBytes();
}

std::span<const unsigned char> unsealBytes(const SealedForm& form,
                                           std::span<const unsigned char> bytes)
{
    if (bytes.size() < kHeaderBytes) {
        throwDamaged(form, std::to_string(bytes.size()) + " bytes, header needs " +
                               std::to_string(kHeaderBytes));
    }
    ByteReader reader(bytes);
    const std::span<const unsigned char> mark = reader.getRaw(form.mark.size());
    if (!std::equal(mark.begin(), mark.end(), form.mark.begin())) {
        throwDamaged(form, "the bytes do not begin with " + markText(form));
    }
    const std::uint32_t version = reader.getUint32();
    if (version != form.version) {
        throwDamaged(form, "version " + std::to_string(version) + ", expected " +
                               std::to_string(form.version));
    }
    const std::uint32_t checksum = reader.getUint32();
    const std::uint64_t length = reader.getUint64();
    if (length != reader.bytesLeft()) {
        throwDamaged(form, "payload of " + std::to_string(length) + " bytes, found " +
                               std::to_string(reader.bytesLeft()));
    }
    const std::span<const unsigned char> content = reader.getRaw(length);
    if (crc32(content) != checksum) {
        throwDamaged(form, "checksum differs");
    }
    return content;
}

}  // namespace zemhost
