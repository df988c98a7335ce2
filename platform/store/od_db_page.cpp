#include "store/od_db_page.h"

#include <zlib.h>

#include <array>
#include <bit>

namespace {

constexpr std::size_t kChecksumBytes = 4;
constexpr unsigned kFlagBits = 2;
constexpr std::uint64_t kOwnVersionFlag = 1;
constexpr std::uint64_t kOutsideFlag = 2;

std::array<std::uint8_t, sizeof(std::uint64_t)> bytesOf(std::uint64_t page)
{
    std::array<std::uint8_t, sizeof page> bytes;
    for (std::size_t i = 0; i != bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(page >> (8 * (bytes.size() - 1 - i)));
    }
    return bytes;
}

/// Takes the page's number in, so that a directory under a wrong number is found out.
std::uint32_t directoryChecksum(std::uint64_t page, std::span<std::uint8_t const> bytes)
{
    return odDbChecksum(bytesOf(page), bytes);
}

std::uint64_t takeSize(OdDbByteReader& reader)
{
    const std::uint64_t size = reader.takeVarint();
    if (size > kMaxRecordBytes) {
        throw OdError(kOdBadStream);
    }
    return size;
}

}  // namespace

std::uint32_t odDbChecksum(std::span<std::uint8_t const> first,
                           std::span<std::uint8_t const> second)
{
    // A null pointer would start the sum anew.
    uLong sum = crc32_z(0, Z_NULL, 0);
    for (std::span<std::uint8_t const> part : {first, second}) {
        if (!part.empty()) {
            sum = crc32_z(sum, part.data(), part.size());
        }
    }
    return static_cast<std::uint32_t>(sum);
}

// The directory:
//
//     mask        8 bytes, highest first; bit s stands for slot s
//     entries     one for each bit of the mask, from bit 0 up:
//         tag         class number * 4 + 2 (record outside) + 1 (version follows)
//         version     if the tag says so
//         body        bytes of the body
//         references  bytes of the references
//         checksum    4 bytes, highest first
//     checksum    4 bytes, highest first: of the page number (8 bytes) and all of the above
OdDbPageDirectory::OdDbPageDirectory(std::uint64_t page, std::span<std::uint8_t const> bytes)
{
    if (bytes.size() < sizeof m_mask + kChecksumBytes) {
        throw OdError(kOdBadStream);
    }
    const auto content = bytes.first(bytes.size() - kChecksumBytes);
    OdDbByteReader tail(bytes.last(kChecksumBytes));
    if (tail.takeFixed32() != directoryChecksum(page, content)) {
        throw OdError(kOdBadStream);
    }
    OdDbByteReader reader(content);
    m_mask = reader.takeFixed64();
    if (m_mask == 0 || (page == 0 && (m_mask & 1U) != 0)) {
        throw OdError(kOdBadStream);
    }
    m_entries.reserve(static_cast<std::size_t>(std::popcount(m_mask)));
    std::uint64_t offset = 0;
    for (std::uint64_t rest = m_mask; rest != 0; rest &= rest - 1) {
        readEntry(reader, static_cast<std::uint8_t>(std::countr_zero(rest)), offset);
    }
    if (reader.left() != 0) {
        throw OdError(kOdBadStream);
    }
}

void OdDbPageDirectory::readEntry(OdDbByteReader& reader, std::uint8_t slot, std::uint64_t& offset)
{
    const std::uint64_t tag = reader.takeVarint();
    if ((tag >> kFlagBits) > kMaxClassNumber) {
        throw OdError(kOdBadStream);
    }
    OdDbPageEntry entry;
    entry.slot = slot;
    entry.classNumber = static_cast<std::uint32_t>(tag >> kFlagBits);
    entry.isOutside = (tag & kOutsideFlag) != 0;
    if ((tag & kOwnVersionFlag) != 0) {
        const std::uint64_t version = reader.takeVarint();
        constexpr std::uint64_t kMaxVersion = 0xFFFF;
        if (version == 0 || version > kMaxVersion) {
            throw OdError(kOdBadStream);
        }
        entry.dwgVersion = static_cast<int>(version);
    }
    entry.bodyBytes = takeSize(reader);
    entry.referenceBytes = takeSize(reader);
    entry.checksum = reader.takeFixed32();
    if (!entry.isOutside) {
        entry.offset = offset;
        offset += entry.recordBytes();
    }
    m_entries.push_back(entry);
}

OdDbPageEntry const* OdDbPageDirectory::find(unsigned slot) const noexcept
{
    const std::uint64_t bit = std::uint64_t{1} << slot;
    if ((m_mask & bit) == 0) {
        return nullptr;
    }
    return &m_entries[static_cast<std::size_t>(std::popcount(m_mask & (bit - 1)))];
}

void OdDbPageWriter::start(std::uint64_t page)
{
    m_page = page;
    m_mask = 0;
    m_entries.clear();
    m_directory.clear();
    m_records.clear();
}

void OdDbPageWriter::add(OdDbPageEntry entry, std::span<std::uint8_t const> body,
                         std::span<std::uint8_t const> references)
{
    entry.bodyBytes = body.size();
    entry.referenceBytes = references.size();
    entry.isOutside = false;
    putEntry(entry);
    m_records.putBytes(body);
    m_records.putBytes(references);
}

void OdDbPageWriter::addOutside(OdDbPageEntry const& entry)
{
    putEntry(entry);
}

void OdDbPageWriter::putEntry(OdDbPageEntry const& entry)
{
    m_mask |= std::uint64_t{1} << entry.slot;
    std::uint64_t tag = std::uint64_t{entry.classNumber} << kFlagBits;
    tag |= entry.isOutside ? kOutsideFlag : 0;
    tag |= entry.dwgVersion != 0 ? kOwnVersionFlag : 0;
    m_entries.putVarint(tag);
    if (entry.dwgVersion != 0) {
        m_entries.putVarint(static_cast<std::uint64_t>(entry.dwgVersion));
    }
    m_entries.putVarint(entry.bodyBytes);
    m_entries.putVarint(entry.referenceBytes);
    m_entries.putFixed32(entry.checksum);
}

void OdDbPageWriter::finish()
{
    m_directory.putFixed64(m_mask);
    m_directory.putBytes(m_entries.bytes());
    m_directory.putFixed32(directoryChecksum(m_page, m_directory.bytes()));
}
