// The filer that flattens fields into a plain byte buffer, without references.

#pragma once

#include "db/od_db_filer.h"
#include "root/od_stream_buf.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class OdResBuf;

/// Files fields into a stream of bytes that can go anywhere: into extended data, into a blob.
///
/// Values are little-endian, handles have their most significant byte first. Text is a 16-bit byte
/// count and UTF-8 without terminator. Ids take no bytes and read as null, so a reference that has
/// to survive is filed as a handle. Doubles that are denormal, infinite or no number read as 0.
///
/// `clear` starts a stream to be written, `setBinaryData` or `setBinaryChunk` one to be read;
/// without one of them the filer is empty. Reading past the end throws OdError (bad stream); of a
/// text or of coordinates the parts in front of the missing one are read then, of all else nothing.
/// Use it on the stack, for one call, as `OdStaticRxObject<ZemFlatFiler>`.
class ZemFlatFiler : public OdDbDwgFiler
{
public:
    /// Longest stream that `appendToResBuf` cuts into records: what extended data of an object may
    /// take.
    static constexpr std::uint64_t kMaxXDataBytes = 15999;
    /// Longest text in bytes.
    static constexpr std::size_t kMaxTextBytes = 32767;

    ZemFlatFiler();
    ~ZemFlatFiler() override;

    /// \name The stream
    /// @{
    /// Starts a new, empty stream.
    /// \throws OdError_NotThatKindOfClass if the platform's stream is of a foreign class.
    void clear();
    /// Starts a stream over a copy of `data`, at its front. It keeps its length: writing past the
    /// end throws OdError (end of stream). \throws as `clear`.
    void setBinaryData(char const* data, unsigned int size);
    /// As above, over bytes that the filer takes over.
    void setBinaryData(std::vector<char>&& data);
    /// Bytes in the stream.
    std::uint64_t getBinaryDataSize() const;
    /// All bytes of the stream. The position is at the end afterwards.
    std::vector<char> getBinaryData();
    /// Appends the whole stream behind the last record of a chain, as records of group code 1004
    /// with at most 127 bytes each. A null chain, or a stream longer than `kMaxXDataBytes`: nothing
    /// is added.
    void appendToResBuf(OdResBuf* head);
    /// Starts a stream over the chunks of a record and those behind it, up to the first record of
    /// another group code than 1004.
    /// \return `false`, without a change, for null and for a record of another group code.
    bool setBinaryChunk(OdResBuf* first);
    /// @}

    OdDb::FilerType filerType() const override { return OdDb::FilerType::kCopyFiler; }
    OdRxObject* controller() const override { return nullptr; }
    std::uint64_t bytesLeft() const override;

    /// \throws OdError (end of stream) for a place outside of the stream.
    void seek(std::int64_t offset, OdDb::FilerSeekType type) override;
    /// The position, cut to 32 bits.
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
    /// \throws OdError (bad stream) for text of more than `kMaxTextBytes`, before it is written.
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
    static constexpr unsigned kPageSizeBytes = 2048;

    void setStream(OdRxObjectPtr const& stream, bool isFlat);
    std::uint64_t position() const;
    char const* take(std::size_t count);
    char* make(std::size_t count);
    void openReadWindow(std::size_t count);
    void openWriteWindow(std::size_t count);
    void closeWindow();
    void checkLeft(std::uint64_t count) const;
    template <class Unsigned>
    Unsigned takeLittle();
    template <class Unsigned>
    void putLittle(Unsigned value);

    OdStreamBufPtr m_stream;
    std::vector<char> m_buffer;  ///< what was given to read
    bool m_isFlat = false;       ///< whether the stream lies over `m_buffer`

    // Fields go through a window on the stream, as a call of the stream for each would cost more
    // than the field itself. The window starts at `m_windowStart` of the stream and is for reading
    // or for writing; pointers of the kind that it isn't for are null. It lies in `m_buffer` for a
    // flat stream and in `m_window` for a growing one, whose bytes it holds back until it is
    // closed.
    std::uint64_t m_windowStart = 0;
    char* m_windowBegin = nullptr;
    char* m_readAt = nullptr;
    char* m_readEnd = nullptr;
    char* m_writeAt = nullptr;
    char* m_writeEnd = nullptr;
    std::array<char, kPageSizeBytes> m_window;
    std::string m_text;  ///< room for the bytes of one text
};
