// A filer over bytes in memory, with ids by value.

#pragma once

#include "db/od_db_filer.h"

#include <cstring>
#include <span>
#include <vector>

/// A reference that was filed, and its kind.
struct OdDbReference
{
    OdDb::ReferenceType type;
    OdDbObjectId id;

    friend bool operator==(OdDbReference const&, OdDbReference const&) = default;
};

/// Files fields into a buffer, or out of one, inside one process.
///
/// Values have a fixed width in the machine's order, ids and addresses go by value, strings as a
/// 32-bit byte count and UTF-8. Undo, copying, cloning and tests use it; what it makes is never
/// saved. Use it as `OdStaticRxObject<OdDbMemoryFiler>` on the stack.
class OdDbMemoryFiler : public OdDbDwgFiler
{
    RX_DECLARE_CLASS(OdDbMemoryFiler);

public:
    using Bytes = std::vector<std::uint8_t>;

    /// An empty filer with a buffer of its own.
    explicit OdDbMemoryFiler(OdDb::FilerType type = OdDb::FilerType::kCopyFiler,
                             OdDbDatabase* database = nullptr,
                             int dwgVersion = OdDb::kDwgVersionCurrent);
    ~OdDbMemoryFiler() override;

    /// Appends to `buffer`, which must outlive the filer, until `readFrom` or `writeTo` is called.
    void writeTo(Bytes& buffer) noexcept;
    /// Reads `bytes`, which must outlive the filer; writing throws OdError (not applicable) then.
    void readFrom(std::span<std::uint8_t const> bytes) noexcept;
    /// Reads what was written so far, from its start.
    void rewindForReading() noexcept;
    /// What was written so far.
    Bytes const& bytes() const noexcept { return *m_buffer; }
    /// Collects the references that are written into `references`; null ends it.
    void collectReferences(std::vector<OdDbReference>* references) noexcept
    {
        m_references = references;
    }

    OdDb::FilerType filerType() const override { return m_type; }
    OdDbDatabase* database() const override { return m_database; }
    int dwgVersion() const override { return m_dwgVersion; }
    std::uint64_t bytesLeft() const override { return static_cast<std::uint64_t>(m_end - m_at); }

    void seek(std::int64_t offset, OdDb::FilerSeekType whence) override;
    std::uint64_t tell() const override;
    bool rdBool() override;
    OdString rdString() override;
    void rdBytes(void* buffer, std::uint32_t count) override;
    std::int8_t rdInt8() override;
    std::uint8_t rdUInt8() override;
    std::int16_t rdInt16() override;
    std::int32_t rdInt32() override;
    std::int64_t rdInt64() override;
    void* rdAddress() override;
    double rdDouble() override;
    OdDbHandle rdDbHandle() override;
    OdDbObjectId rdSoftOwnershipId() override;
    OdDbObjectId rdHardOwnershipId() override;
    OdDbObjectId rdHardPointerId() override;
    OdDbObjectId rdSoftPointerId() override;
    OdGePoint2d rdPoint2d() override;
    OdGePoint3d rdPoint3d() override;
    OdGeVector2d rdVector2d() override;
    OdGeVector3d rdVector3d() override;
    OdGeScale3d rdScale3d() override;
    void wrBool(bool value) override;
    void wrString(OdString const& value) override;
    void wrBytes(void const* buffer, std::uint32_t count) override;
    void wrInt8(std::int8_t value) override;
    void wrUInt8(std::uint8_t value) override;
    void wrInt16(std::int16_t value) override;
    void wrInt32(std::int32_t value) override;
    void wrInt64(std::int64_t value) override;
    void wrAddress(void const* value) override;
    void wrDouble(double value) override;
    void wrDbHandle(OdDbHandle const& value) override;
    void wrSoftOwnershipId(OdDbObjectId const& value) override;
    void wrHardOwnershipId(OdDbObjectId const& value) override;
    void wrSoftPointerId(OdDbObjectId const& value) override;
    void wrHardPointerId(OdDbObjectId const& value) override;
    void wrPoint2d(OdGePoint2d const& value) override;
    void wrPoint3d(OdGePoint3d const& value) override;
    void wrVector2d(OdGeVector2d const& value) override;
    void wrVector3d(OdGeVector3d const& value) override;
    void wrScale3d(OdGeScale3d const& value) override;

private:
    template <class T>
    T take();
    template <class T>
    void put(T const& value);
    void putId(OdDbObjectId id, OdDb::ReferenceType type);
    std::uint8_t const* takeBytes(std::size_t count);
    void putBytes(void const* bytes, std::size_t count);

    Bytes m_own;
    Bytes* m_buffer = &m_own;
    std::uint8_t const* m_begin = nullptr;  ///< range being read; null while writing
    std::uint8_t const* m_at = nullptr;
    std::uint8_t const* m_end = nullptr;
    std::vector<OdDbReference>* m_references = nullptr;
    OdDbDatabase* m_database;
    OdDb::FilerType m_type;
    int m_dwgVersion;
};
