// Seekable streams of bytes in memory.

#pragma once

#include "root/od_filer_seek.h"
#include "root/od_rx_class.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class OdStreamBuf;
class OdMemoryStream;
class OdFlatMemStream;
using OdStreamBufPtr = OdSmartPtr<OdStreamBuf>;
using OdMemoryStreamPtr = OdSmartPtr<OdMemoryStream>;
using OdFlatMemStreamPtr = OdSmartPtr<OdFlatMemStream>;

/// A seekable stream of bytes with one position for reading and writing.
///
/// An operation that throws has read or written nothing and leaves the position where it was. What
/// would read past the end throws OdError (end of stream).
class OdStreamBuf : public OdRxObject
{
    RX_DECLARE_CLASS(OdStreamBuf);

public:
    /// Number of bytes in the stream.
    virtual std::uint64_t length() const = 0;
    /// Position, 0 up to the length, which is included.
    virtual std::uint64_t tell() const = 0;
    /// Moves the position.
    /// \return The new position, from the start.
    /// \throws OdError (end of stream) if it would lie outside of 0 up to the length,
    ///         (bad input) for an unknown `type`.
    std::uint64_t seek(std::int64_t offset, OdDb::FilerSeekType type);
    void rewind() { setPosition(0); }
    bool isEof() const { return tell() == length(); }
    std::uint64_t bytesLeft() const { return length() - tell(); }

    std::uint8_t getByte();
    /// Reads `count` bytes into `bytes`, which may be null if `count` is 0.
    virtual void getBytes(void* bytes, std::size_t count) = 0;
    void putByte(std::uint8_t byte) { putBytes(&byte, sizeof(byte)); }
    /// Writes over what is there and on behind the end.
    /// \throws OdError (end of stream) where a stream can't grow, (out of memory).
    virtual void putBytes(void const* bytes, std::size_t count) = 0;
    /// Ends the stream at the position.
    /// \throws OdError (not applicable) where a stream keeps its length.
    virtual void truncate() = 0;

private:
    /// \param position  Not above the length.
    virtual void setPosition(std::uint64_t position) = 0;
};

/// A stream that grows in pages, so that growing never moves what is written already.
class OdMemoryStream : public OdStreamBuf
{
    RX_DECLARE_CLASS(OdMemoryStream);

public:
    static constexpr unsigned kDefaultPageSizeBytes = 2048;

    /// \param pageSizeBytes  At least 1. \throws OdError (bad input) for 0.
    static OdMemoryStreamPtr createNew(unsigned pageSizeBytes = kDefaultPageSizeBytes);

    std::uint64_t length() const override { return m_length; }
    std::uint64_t tell() const override { return m_position; }
    void getBytes(void* bytes, std::size_t count) override;
    void putBytes(void const* bytes, std::size_t count) override;
    /// Frees the pages behind the position as well.
    void truncate() override;

protected:
    OdMemoryStream() = default;

private:
    struct PageFree
    {
        void operator()(std::uint8_t* page) const noexcept;
    };
    using Page = std::unique_ptr<std::uint8_t, PageFree>;

    void setPosition(std::uint64_t position) override { m_position = position; }
    void addPages(std::uint64_t newLength);
    template <class Piece>
    void forEachPiece(std::size_t count, Piece piece);

    std::vector<Page> m_pages;
    std::uint64_t m_length = 0;
    std::uint64_t m_position = 0;
    unsigned m_pageSizeBytes = kDefaultPageSizeBytes;
};

/// A stream of fixed length over a caller's buffer, which has to outlive it.
class OdFlatMemStream : public OdStreamBuf
{
    RX_DECLARE_CLASS(OdFlatMemStream);

public:
    /// \param data      Borrowed; may be null if `size` is 0.
    /// \param size      Bytes in `data`: the length of the stream for its whole life.
    /// \param position  Where the stream starts to read and write, not above `size`.
    /// \throws OdError (bad input) for a position above the size, or null with a size.
    static OdFlatMemStreamPtr createNew(void* data, unsigned long size, unsigned long position = 0);

    std::uint64_t length() const override { return m_length; }
    std::uint64_t tell() const override { return m_position; }
    void getBytes(void* bytes, std::size_t count) override;
    /// \throws OdError (end of stream) for what the buffer has no room for.
    void putBytes(void const* bytes, std::size_t count) override;
    /// \throws OdError (not applicable) unless the position is at the end.
    void truncate() override;

protected:
    OdFlatMemStream() = default;

private:
    void setPosition(std::uint64_t position) override { m_position = position; }
    /// The bytes at the position, which moves behind them.
    std::uint8_t* advance(std::size_t count);

    std::uint8_t* m_data = nullptr;
    std::uint64_t m_length = 0;
    std::uint64_t m_position = 0;
};
