#include "root/od_stream_buf.h"

#include "root/od_alloc.h"
#include "root/od_error.h"

#include <algorithm>
#include <cstring>
#include <limits>

RX_DEFINE_CLASS(OdStreamBuf, OdRxObject, odrxCreateNothing, L"OdStreamBuf");
RX_DEFINE_CLASS(OdMemoryStream, OdStreamBuf, odrxCreate<OdMemoryStream>, L"OdMemoryStream");
RX_DEFINE_CLASS(OdFlatMemStream, OdStreamBuf, odrxCreateNothing, L"OdFlatMemStream");

std::uint64_t OdStreamBuf::seek(std::int64_t offset, OdDb::FilerSeekType type)
{
    std::uint64_t origin = 0;
    switch (type) {
    case OdDb::kSeekFromStart:
        break;
    case OdDb::kSeekFromCurrent:
        origin = tell();
        break;
    case OdDb::kSeekFromEnd:
        origin = length();
        break;
    default:
        throw OdError(kOdInvalidInput);
    }
    // Compared with the room on either side, so that no sum can overflow.
    auto const magnitude = static_cast<std::uint64_t>(offset);
    std::uint64_t const distance = offset < 0 ? 0 - magnitude : magnitude;
    if (distance > (offset < 0 ? origin : length() - origin)) {
        throw OdError(kOdEndOfStream);
    }
    std::uint64_t const position = offset < 0 ? origin - distance : origin + distance;
    setPosition(position);
    return position;
}

std::uint8_t OdStreamBuf::getByte()
{
    std::uint8_t byte = 0;
    getBytes(&byte, sizeof(byte));
    return byte;
}

OdMemoryStreamPtr OdMemoryStream::createNew(unsigned pageSizeBytes)
{
    if (pageSizeBytes == 0) {
        throw OdError(kOdInvalidInput);
    }
    OdMemoryStreamPtr result = odrxMake<OdMemoryStream>();
    result->m_pageSizeBytes = pageSizeBytes;
    return result;
}

void OdMemoryStream::PageFree::operator()(std::uint8_t* page) const noexcept
{
    odrxFree(page);
}

/// Calls `piece(bytes, size, done)` for each run of the next `count` bytes that lies on one page,
/// with the number of bytes in front of it, and moves the position behind them.
template <class Piece>
void OdMemoryStream::forEachPiece(std::size_t count, Piece piece)
{
    std::size_t done = 0;
    while (done < count) {
        auto const offset = static_cast<std::size_t>(m_position % m_pageSizeBytes);
        std::size_t const size = std::min(count - done, m_pageSizeBytes - offset);
        piece(m_pages[m_position / m_pageSizeBytes].get() + offset, size, done);
        m_position += size;
        done += size;
    }
}

void OdMemoryStream::getBytes(void* bytes, std::size_t count)
{
    if (count > bytesLeft()) {
        throw OdError(kOdEndOfStream);
    }
    auto* const out = static_cast<std::uint8_t*>(bytes);
    forEachPiece(count, [out](std::uint8_t const* from, std::size_t size, std::size_t done) {
        std::memcpy(out + done, from, size);
    });
}

void OdMemoryStream::putBytes(void const* bytes, std::size_t count)
{
    if (count > std::numeric_limits<std::int64_t>::max() - m_position) {
        throw OdError(kOdOutOfMemory);
    }
    addPages(m_position + count);
    auto const* const in = static_cast<std::uint8_t const*>(bytes);
    forEachPiece(count, [in](std::uint8_t* to, std::size_t size, std::size_t done) {
        std::memcpy(to, in + done, size);
    });
    m_length = std::max(m_length, m_position);
}

/// Makes room for a stream of `newLength` bytes, all of it or none.
void OdMemoryStream::addPages(std::uint64_t newLength)
{
    std::size_t const oldCount = m_pages.size();
    std::uint64_t const needed = newLength / m_pageSizeBytes + (newLength % m_pageSizeBytes != 0);
    try {
        while (m_pages.size() < needed) {
            Page page(static_cast<std::uint8_t*>(odrxAlloc(m_pageSizeBytes)));
            if (page == nullptr) {
                throw OdError(kOdOutOfMemory);
            }
            m_pages.push_back(std::move(page));
        }
    } catch (...) {
        m_pages.resize(oldCount);
        throw;
    }
}

void OdMemoryStream::truncate()
{
    m_length = m_position;
    m_pages.resize(m_length / m_pageSizeBytes + (m_length % m_pageSizeBytes != 0));
}

OdFlatMemStreamPtr OdFlatMemStream::createNew(void* data, unsigned long size,
                                              unsigned long position)
{
    if (position > size || (data == nullptr && size != 0)) {
        throw OdError(kOdInvalidInput);
    }
    OdFlatMemStreamPtr result = odrxMake<OdFlatMemStream>();
    result->m_data = static_cast<std::uint8_t*>(data);
    result->m_length = size;
    result->m_position = position;
    return result;
}

std::uint8_t* OdFlatMemStream::advance(std::size_t count)
{
    if (count > bytesLeft()) {
        throw OdError(kOdEndOfStream);
    }
    std::uint8_t* const at = m_data + m_position;
    m_position += count;
    return at;
}

void OdFlatMemStream::getBytes(void* bytes, std::size_t count)
{
    std::uint8_t const* const from = advance(count);
    if (count != 0) {
        std::memcpy(bytes, from, count);
    }
}

void OdFlatMemStream::putBytes(void const* bytes, std::size_t count)
{
    std::uint8_t* const to = advance(count);
    if (count != 0) {
        // The caller's bytes may lie in the caller's buffer.
        std::memmove(to, bytes, count);
    }
}

void OdFlatMemStream::truncate()
{
    if (!isEof()) {
        throw OdError(kOdNotApplicable);
    }
}
