// The pages of a drawing: the records of neighbouring handles, and the directory over them.

#pragma once

#include "db/od_db_object_store.h"
#include "store/od_db_byte_stream.h"

#include <cstdint>
#include <span>
#include <vector>

/// Handles that share a page: page `n` holds those from `n * kHandlesInPage` on.
constexpr std::uint64_t kHandlesInPage = OdDbStorageAccess::kHandlesInBlock;
/// Greatest handle that an object of a drawing can have: above it a handle doesn't fit into one
/// number with the kind of a reference.
constexpr std::uint64_t kLastStoredHandle = (std::uint64_t{1} << 62) - 1;
/// Greatest number of a page.
constexpr std::uint64_t kLastPage = kLastStoredHandle / kHandlesInPage;
/// Greatest size of a record: what fits into one value of the file's database.
constexpr std::uint64_t kMaxRecordBytes = 999'000'000;
/// A record above this size lies outside of its page, so that changing a neighbour stays cheap.
constexpr std::uint64_t kMaxRecordBytesInPage = 1U << 20;
/// Greatest number of a class.
constexpr std::uint32_t kMaxClassNumber = 0x3FFFFFFF;

constexpr std::uint64_t odDbPageOf(OdDbHandle handle) noexcept
{
    return handle.value() / kHandlesInPage;
}
constexpr unsigned odDbSlotOf(OdDbHandle handle) noexcept
{
    return static_cast<unsigned>(handle.value() % kHandlesInPage);
}
constexpr OdDbHandle odDbHandleAt(std::uint64_t page, unsigned slot) noexcept
{
    return OdDbHandle(page * kHandlesInPage + slot);
}

/// What a page's directory says of one object.
struct OdDbPageEntry
{
    std::uint32_t classNumber = 0;  ///< in the file's list of classes
    std::uint32_t checksum = 0;     ///< CRC-32 of the record: body, then references
    std::uint64_t bodyBytes = 0;
    std::uint64_t referenceBytes = 0;
    std::uint64_t offset = 0;  ///< of the record in its page, 0 if it lies outside
    int dwgVersion = 0;        ///< the version it was filed for; 0 for that of the drawing
    std::uint8_t slot = 0;     ///< its handle within the page
    bool isOutside = false;    ///< whether the record lies outside of the page

    std::uint64_t recordBytes() const noexcept { return bodyBytes + referenceBytes; }
};

/// A page's directory, taken apart; a value.
class OdDbPageDirectory
{
public:
    OdDbPageDirectory() = default;
    /// \param bytes  The stored directory of the page with that number.
    /// \throws OdError (bad stream) if its checksum differs or its content makes no sense.
    OdDbPageDirectory(std::uint64_t page, std::span<std::uint8_t const> bytes);

    /// A bit for each slot that has an object.
    std::uint64_t mask() const noexcept { return m_mask; }
    /// In ascending order of slots.
    std::vector<OdDbPageEntry> const& entries() const noexcept { return m_entries; }
    /// The entry of a slot; null if there is none. Lives as long as the directory.
    OdDbPageEntry const* find(unsigned slot) const noexcept;

private:
    void readEntry(OdDbByteReader& reader, std::uint8_t slot, std::uint64_t& offset);

    std::uint64_t m_mask = 0;
    std::vector<OdDbPageEntry> m_entries;
};

/// Puts a page together; used for one page after the other.
class OdDbPageWriter
{
public:
    /// Starts an empty page.
    void start(std::uint64_t page);
    /// Adds a record; slots have to come in ascending order.
    ///
    /// \param entry  Class, version, slot and checksum are taken as they are, so a damaged record can
    ///               be carried with a checksum that differs; sizes and place are found here.
    void add(OdDbPageEntry entry, std::span<std::uint8_t const> body,
             std::span<std::uint8_t const> references);
    /// Adds an object whose record lies outside and stays as it is.
    void addOutside(OdDbPageEntry const& entry);
    /// Ends the page; the directory can be had then.
    void finish();

    std::uint64_t page() const noexcept { return m_page; }
    std::uint64_t mask() const noexcept { return m_mask; }
    std::span<std::uint8_t const> directory() const noexcept { return m_directory.bytes(); }
    std::span<std::uint8_t const> records() const noexcept { return m_records.bytes(); }

private:
    void putEntry(OdDbPageEntry const& entry);

    std::uint64_t m_page = 0;
    std::uint64_t m_mask = 0;
    OdDbByteWriter m_entries;
    OdDbByteWriter m_directory;
    OdDbByteWriter m_records;
};

/// CRC-32 (polynomial 04C11DB7, reflected, as in ISO 3309) of the bytes of one part behind another.
std::uint32_t odDbChecksum(std::span<std::uint8_t const> first,
                           std::span<std::uint8_t const> second = {});
