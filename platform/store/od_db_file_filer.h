// The filer of drawing files.

#pragma once

#include "db/od_db_object_store.h"
#include "store/od_db_byte_stream.h"

#include <string>

/// Files the fields of one object into a record as drawings store it, or out of one.
///
/// A record has two parts: the body, which holds all fields but ids, and the list of references,
/// which holds the ids in the order in which they were filed. So whoever doesn't know a class can
/// still tell what its objects refer to. An id takes nothing of the body; an address takes nothing
/// at all and reads as null. Texts, doubles and handles come back bit for bit.
///
/// What is written goes to the filer's own record, what is read comes from the record given to
/// `readFrom`. A field takes at least one byte in the file whatever its width in memory (a point one
/// for each coordinate), so that is what `bytesLeft` has to be compared with. `tell` and `seek` act
/// on the body alone. An id reader gives the id whatever kind it was filed as, and asks for no
/// object. Use it as `OdStaticRxObject<OdDbFileFiler>`.
class OdDbFileFiler : public OdDbStoredObjectFiler
{
public:
    /// \param database    Whose ids are filed; must outlive the filer. An id of another database has
    ///                    no meaning in this drawing and is filed as null. May be null: all ids are
    ///                    read as null then, and written by their handles.
    /// \param dwgVersion  The drawing version that is filed.
    explicit OdDbFileFiler(OdDbDatabase* database, int dwgVersion = OdDb::kDwgVersionCurrent);
    ~OdDbFileFiler() override;

    /// \name The record that is written
    /// @{
    /// Starts an empty one.
    void startRecord(int dwgVersion);
    std::span<std::uint8_t const> body() const noexcept { return m_body.bytes(); }
    std::span<std::uint8_t const> references() const noexcept { return m_references.bytes(); }
    /// @}

    /// Reads a record, which must outlive the reading.
    void readFrom(std::span<std::uint8_t const> body, std::span<std::uint8_t const> references,
                  int dwgVersion) noexcept;

    OdDbStoredBody rdBody() override;
    void wrBody(OdDbStoredBody const& body) override;

    OdDb::FilerType filerType() const override { return OdDb::FilerType::kFileFiler; }
    OdDbDatabase* database() const override { return m_database; }
    int dwgVersion() const override { return m_dwgVersion; }
    std::uint64_t bytesLeft() const override
    {
        return m_bodyReader.left() + m_referenceReader.left();
    }

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
    OdDbObjectId takeReference(OdDb::ReferenceType& type);
    OdDbObjectId takeReference();
    void putReference(OdDbObjectId id, OdDb::ReferenceType type);
    template <class Integer>
    Integer takeInteger();

    OdDbDatabase* m_database;
    int m_dwgVersion;
    bool m_isReading = false;
    OdDbByteWriter m_body;
    OdDbByteWriter m_references;
    OdDbByteReader m_bodyReader;
    OdDbByteReader m_referenceReader;
    std::string m_text;  ///< room for the text that is being written
};
