#include "zem_flat_filer.h"

#include "root/od_error.h"
#include "root/od_res_buf.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace {

constexpr std::uint64_t kExponentMask = 0x7FF0'0000'0000'0000;

/// Only normal numbers and zero leave a flat stream: others would spread through everything that is
/// computed from them.
double filtered(std::uint64_t bits)
{
    const std::uint64_t exponent = bits & kExponentMask;
    return exponent == 0 || exponent == kExponentMask ? 0.0 : std::bit_cast<double>(bits);
}

}  // namespace

ZemFlatFiler::ZemFlatFiler() = default;

ZemFlatFiler::~ZemFlatFiler() = default;

//--------------------------------------------------------------------------------------------------
// The stream

void ZemFlatFiler::setStream(OdRxObjectPtr const& stream, bool isFlat)
{
    m_stream = stream;
    m_isFlat = isFlat;
    m_windowBegin = m_readAt = m_readEnd = m_writeAt = m_writeEnd = nullptr;
}

void ZemFlatFiler::clear()
{
    setStream(OdMemoryStream::createNew(kPageSizeBytes), /*isFlat=*/false);
    m_buffer.clear();
}

void ZemFlatFiler::setBinaryData(char const* data, unsigned int size)
{
    setBinaryData(std::vector<char>(data, data + size));
}

void ZemFlatFiler::setBinaryData(std::vector<char>&& data)
{
    setStream(OdRxObjectPtr(), /*isFlat=*/false);
    m_buffer = std::move(data);
    setStream(OdFlatMemStream::createNew(m_buffer.data(), m_buffer.size(), 0), /*isFlat=*/true);
}

std::uint64_t ZemFlatFiler::position() const
{
    if (m_readAt != nullptr) {
        return m_windowStart + static_cast<std::uint64_t>(m_readAt - m_windowBegin);
    }
    if (m_writeAt != nullptr) {
        return m_windowStart + static_cast<std::uint64_t>(m_writeAt - m_windowBegin);
    }
    return m_stream.isNull() ? 0 : m_stream->tell();
}

std::uint64_t ZemFlatFiler::getBinaryDataSize() const
{
    return m_stream.isNull() ? 0 : std::max(m_stream->length(), position());
}

std::vector<char> ZemFlatFiler::getBinaryData()
{
    closeWindow();
    std::vector<char> result(static_cast<std::size_t>(getBinaryDataSize()));
    if (!m_stream.isNull()) {
        m_stream->rewind();
        m_stream->getBytes(result.data(), result.size());
    }
    return result;
}

void ZemFlatFiler::appendToResBuf(OdResBuf* head)
{
    if (head == nullptr) {
        return;
    }
    const std::vector<char> bytes = getBinaryData();
    if (bytes.size() > kMaxXDataBytes) {
        return;
    }
    OdResBufPtr last = head->last();
    for (std::size_t at = 0; at < bytes.size(); at += OdResBuf::kMaxXdBinaryBytes) {
        const std::size_t length =
            std::min<std::size_t>(bytes.size() - at, OdResBuf::kMaxXdBinaryBytes);
        OdBinaryData chunk;
        chunk.resize(static_cast<std::uint32_t>(length));
        std::memcpy(chunk.asArrayPtr(), bytes.data() + at, length);
        const OdResBufPtr record = OdResBuf::newRb(OdResBuf::kXdBinary);
        record->setBinaryChunk(chunk);
        last->setNext(record.get());
        last = record;
    }
}

bool ZemFlatFiler::setBinaryChunk(OdResBuf* first)
{
    if (first == nullptr || first->restype() != OdResBuf::kXdBinary) {
        return false;
    }
    std::vector<char> bytes;
    for (OdResBufPtr record(first); !record.isNull() && record->restype() == OdResBuf::kXdBinary;
         record = record->next()) {
        const OdBinaryData chunk = record->getBinaryChunk();
        bytes.insert(bytes.end(), chunk.begin(), chunk.end());
    }
    setBinaryData(std::move(bytes));
    return true;
}

//--------------------------------------------------------------------------------------------------
// The window

/// Brings the stream to the state that it would have if each field had gone to it directly.
void ZemFlatFiler::closeWindow()
{
    if (m_stream.isNull() || m_windowBegin == nullptr) {
        return;
    }
    if (m_writeAt != nullptr && !m_isFlat) {
        m_stream->putBytes(m_windowBegin, static_cast<std::size_t>(m_writeAt - m_windowBegin));
    } else {
        m_stream->seek(static_cast<std::int64_t>(position()), OdDb::kSeekFromStart);
    }
    m_windowBegin = m_readAt = m_readEnd = m_writeAt = m_writeEnd = nullptr;
}

void ZemFlatFiler::checkLeft(std::uint64_t count) const
{
    if (count > getBinaryDataSize() - position()) {
        throw OdError(kOdBadStream);
    }
}

/// Opens a window with `count` bytes to read, at most a page.
void ZemFlatFiler::openReadWindow(std::size_t count)
{
    checkLeft(count);
    closeWindow();
    const std::uint64_t left = m_stream->bytesLeft();
    m_windowStart = m_stream->tell();
    std::size_t length = 0;
    if (m_isFlat) {
        m_windowBegin = m_buffer.data() + m_windowStart;
        length = static_cast<std::size_t>(left);
    } else {
        length = static_cast<std::size_t>(std::min<std::uint64_t>(left, m_window.size()));
        m_stream->getBytes(m_window.data(), length);
        m_windowBegin = m_window.data();
    }
    m_readAt = m_windowBegin;
    m_readEnd = m_windowBegin + length;
}

/// Opens a window with room for `count` bytes, at most a page.
void ZemFlatFiler::openWriteWindow(std::size_t count)
{
    if (m_stream.isNull()) {
        clear();
    }
    closeWindow();
    m_windowStart = m_stream->tell();
    if (m_isFlat) {
        if (count > m_stream->bytesLeft()) {
            throw OdError(kOdEndOfStream);
        }
        m_windowBegin = m_buffer.data() + m_windowStart;
        m_writeEnd = m_buffer.data() + m_buffer.size();
    } else {
        m_windowBegin = m_window.data();
        m_writeEnd = m_window.data() + m_window.size();
    }
    m_writeAt = m_windowBegin;
}

/// The next `count` bytes to read, at most a page.
inline char const* ZemFlatFiler::take(std::size_t count)
{
    if (static_cast<std::size_t>(m_readEnd - m_readAt) < count || m_readAt == nullptr) {
        openReadWindow(count);
    }
    return std::exchange(m_readAt, m_readAt + count);
}

/// Room for the next `count` bytes, at most a page.
inline char* ZemFlatFiler::make(std::size_t count)
{
    if (static_cast<std::size_t>(m_writeEnd - m_writeAt) < count) {
        openWriteWindow(count);
    }
    return std::exchange(m_writeAt, m_writeAt + count);
}

template <class Unsigned>
inline Unsigned ZemFlatFiler::takeLittle()
{
    auto const* bytes = reinterpret_cast<unsigned char const*>(take(sizeof(Unsigned)));
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < sizeof(Unsigned); ++i) {
        value |= static_cast<std::uint64_t>(bytes[i]) << (8 * i);
    }
    return static_cast<Unsigned>(value);
}

template <class Unsigned>
inline void ZemFlatFiler::putLittle(Unsigned value)
{
    char* const bytes = make(sizeof(Unsigned));
    for (std::size_t i = 0; i < sizeof(Unsigned); ++i) {
        bytes[i] = static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i));
    }
}

std::uint64_t ZemFlatFiler::bytesLeft() const
{
    return getBinaryDataSize() - position();
}

void ZemFlatFiler::seek(std::int64_t offset, OdDb::FilerSeekType type)
{
    if (m_stream.isNull()) {
        clear();
    }
    closeWindow();
    m_stream->seek(offset, type);
}

std::uint64_t ZemFlatFiler::tell() const
{
    return static_cast<std::uint32_t>(position());
}

//--------------------------------------------------------------------------------------------------
// Readers

bool ZemFlatFiler::rdBool()
{
    return *take(1) != 0;
}

OdString ZemFlatFiler::rdString()
{
    const std::int16_t length = rdInt16();
    if (length < 0) {
        throw OdError(kOdBadStream);
    }
    const auto count = static_cast<std::size_t>(length);
    if (m_isFlat || count <= m_window.size()) {
        return OdString::fromUtf8(take(count), count);
    }
    checkLeft(count);
    m_text.resize(count);
    rdBytes(m_text.data(), static_cast<std::uint32_t>(count));
    return OdString::fromUtf8(m_text);
}

void ZemFlatFiler::rdBytes(void* buffer, std::uint32_t count)
{
    if (count == 0) {
        return;
    }
    if (m_isFlat || count <= m_window.size()) {
        std::memcpy(buffer, take(count), count);
        return;
    }
    checkLeft(count);
    closeWindow();
    m_stream->getBytes(buffer, count);
}

std::int8_t ZemFlatFiler::rdInt8()
{
    return static_cast<std::int8_t>(*take(1));
}

std::uint8_t ZemFlatFiler::rdUInt8()
{
    return static_cast<std::uint8_t>(*take(1));
}

std::int16_t ZemFlatFiler::rdInt16()
{
    return static_cast<std::int16_t>(takeLittle<std::uint16_t>());
}

std::int32_t ZemFlatFiler::rdInt32()
{
    return static_cast<std::int32_t>(takeLittle<std::uint32_t>());
}

std::int64_t ZemFlatFiler::rdInt64()
{
    return static_cast<std::int64_t>(takeLittle<std::uint64_t>());
}

double ZemFlatFiler::rdDouble()
{
    return filtered(takeLittle<std::uint64_t>());
}

OdDbHandle ZemFlatFiler::rdDbHandle()
{
    auto const* bytes = reinterpret_cast<unsigned char const*>(take(sizeof(std::uint64_t)));
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < sizeof value; ++i) {
        value = (value << 8) | bytes[i];
    }
    return OdDbHandle(value);
}

OdDbObjectId ZemFlatFiler::rdSoftOwnershipId()
{
    return OdDbObjectId::kNull;
}

OdDbObjectId ZemFlatFiler::rdHardOwnershipId()
{
    return OdDbObjectId::kNull;
}

OdDbObjectId ZemFlatFiler::rdHardPointerId()
{
    return OdDbObjectId::kNull;
}

OdDbObjectId ZemFlatFiler::rdSoftPointerId()
{
    return OdDbObjectId::kNull;
}

// Coordinates are read one by one into named values, as the order of arguments isn't fixed.

OdGePoint2d ZemFlatFiler::rdPoint2d()
{
    const double x = rdDouble();
    const double y = rdDouble();
    return OdGePoint2d(x, y);
}

OdGePoint3d ZemFlatFiler::rdPoint3d()
{
    const double x = rdDouble();
    const double y = rdDouble();
    const double z = rdDouble();
    return OdGePoint3d(x, y, z);
}

OdGeVector2d ZemFlatFiler::rdVector2d()
{
    const double x = rdDouble();
    const double y = rdDouble();
    return OdGeVector2d(x, y);
}

OdGeVector3d ZemFlatFiler::rdVector3d()
{
    const double x = rdDouble();
    const double y = rdDouble();
    const double z = rdDouble();
    return OdGeVector3d(x, y, z);
}

OdGeScale3d ZemFlatFiler::rdScale3d()
{
    const double sx = rdDouble();
    const double sy = rdDouble();
    const double sz = rdDouble();
    return OdGeScale3d(sx, sy, sz);
}

//--------------------------------------------------------------------------------------------------
// Writers

void ZemFlatFiler::wrBool(bool value)
{
    *make(1) = value ? 1 : 0;
}

void ZemFlatFiler::wrString(OdString const& value)
{
    // Asking the text itself for its bytes would leave them allocated beside it.
    m_text.clear();
    value.appendUtf8To(m_text);
    if (m_text.size() > kMaxTextBytes) {
        // A longer count would read as a negative one and lose the whole stream.
        throw OdError(kOdBadStream);
    }
    putLittle(static_cast<std::uint16_t>(m_text.size()));
    wrBytes(m_text.data(), static_cast<std::uint32_t>(m_text.size()));
}

void ZemFlatFiler::wrBytes(void const* buffer, std::uint32_t count)
{
    if (count == 0) {
        return;
    }
    if (m_isFlat || count <= m_window.size()) {
        std::memcpy(make(count), buffer, count);
        return;
    }
    if (m_stream.isNull()) {
        clear();
    }
    closeWindow();
    m_stream->putBytes(buffer, count);
}

void ZemFlatFiler::wrInt8(std::int8_t value)
{
    *make(1) = static_cast<char>(value);
}

void ZemFlatFiler::wrUInt8(std::uint8_t value)
{
    *make(1) = static_cast<char>(value);
}

void ZemFlatFiler::wrInt16(std::int16_t value)
{
    putLittle(static_cast<std::uint16_t>(value));
}

void ZemFlatFiler::wrInt32(std::int32_t value)
{
    putLittle(static_cast<std::uint32_t>(value));
}

void ZemFlatFiler::wrInt64(std::int64_t value)
{
    putLittle(static_cast<std::uint64_t>(value));
}

void ZemFlatFiler::wrDouble(double value)
{
    putLittle(std::bit_cast<std::uint64_t>(value));
}

void ZemFlatFiler::wrDbHandle(OdDbHandle const& value)
{
    char* const bytes = make(sizeof(std::uint64_t));
    for (std::size_t i = 0; i < sizeof(std::uint64_t); ++i) {
        bytes[i] = static_cast<char>(value.value() >> (56 - 8 * i));
    }
}

void ZemFlatFiler::wrSoftOwnershipId(OdDbObjectId const& /*value*/) {}

void ZemFlatFiler::wrHardOwnershipId(OdDbObjectId const& /*value*/) {}

void ZemFlatFiler::wrSoftPointerId(OdDbObjectId const& /*value*/) {}

void ZemFlatFiler::wrHardPointerId(OdDbObjectId const& /*value*/) {}

void ZemFlatFiler::wrPoint2d(OdGePoint2d const& value)
{
    wrDouble(value.x);
    wrDouble(value.y);
}

void ZemFlatFiler::wrPoint3d(OdGePoint3d const& value)
{
    wrDouble(value.x);
    wrDouble(value.y);
    wrDouble(value.z);
}

void ZemFlatFiler::wrVector2d(OdGeVector2d const& value)
{
    wrDouble(value.x);
    wrDouble(value.y);
}

void ZemFlatFiler::wrVector3d(OdGeVector3d const& value)
{
    wrDouble(value.x);
    wrDouble(value.y);
    wrDouble(value.z);
}

void ZemFlatFiler::wrScale3d(OdGeScale3d const& value)
{
    wrDouble(value.sx);
    wrDouble(value.sy);
    wrDouble(value.sz);
}
