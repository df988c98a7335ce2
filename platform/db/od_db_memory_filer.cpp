#include "db/od_db_memory_filer.h"

#include "root/od_error.h"

#include <utility>

RX_DEFINE_CLASS(OdDbMemoryFiler, OdDbDwgFiler, odrxCreateNothing, L"OdDbMemoryFiler");

OdDbMemoryFiler::OdDbMemoryFiler(OdDb::FilerType type, OdDbDatabase* database, int dwgVersion)
    : m_database(database), m_type(type), m_dwgVersion(dwgVersion)
{
}

OdDbMemoryFiler::~OdDbMemoryFiler() = default;

void OdDbMemoryFiler::writeTo(Bytes& buffer) noexcept
{
    m_buffer = &buffer;
    m_begin = m_at = m_end = nullptr;
}

void OdDbMemoryFiler::readFrom(std::span<std::uint8_t const> bytes) noexcept
{
    m_begin = m_at = bytes.data();
    m_end = bytes.data() + bytes.size();
}

void OdDbMemoryFiler::rewindForReading() noexcept
{
    readFrom(*m_buffer);
}

std::uint8_t const* OdDbMemoryFiler::takeBytes(std::size_t count)
{
    if (static_cast<std::size_t>(m_end - m_at) < count) {
        throw OdError(kOdBadStream);
    }
    return std::exchange(m_at, m_at + count);
}

template <class T>
T OdDbMemoryFiler::take()
{
    T value;
    std::memcpy(&value, takeBytes(sizeof value), sizeof value);
    return value;
}

void OdDbMemoryFiler::putBytes(void const* bytes, std::size_t count)
{
    if (m_begin != nullptr) {
        throw OdError(
            kOdNotApplicable);  // what is being read may lie in the buffer that would grow
    }
    auto const* from = static_cast<std::uint8_t const*>(bytes);
    m_buffer->insert(m_buffer->end(), from, from + count);
}

template <class T>
void OdDbMemoryFiler::put(T const& value)
{
    putBytes(&value, sizeof value);
}

void OdDbMemoryFiler::putId(OdDbObjectId id, OdDb::ReferenceType type)
{
    put(id.record());
    if (m_references != nullptr) {
        m_references->push_back({type, id});
    }
}

void OdDbMemoryFiler::seek(std::int64_t offset, OdDb::FilerSeekType whence)
{
    if (m_begin == nullptr) {
        throw OdError(kOdNotApplicable);
    }
    const std::int64_t size = m_end - m_begin;
    std::int64_t from = 0;
    if (whence == OdDb::FilerSeekType::kSeekFromCurrent) {
        from = m_at - m_begin;
    } else if (whence == OdDb::FilerSeekType::kSeekFromEnd) {
        from = size;
    }
    if (offset < -from || offset > size - from) {
        throw OdError(kOdBadStream);
    }
    m_at = m_begin + (from + offset);
}

std::uint64_t OdDbMemoryFiler::tell() const
{
    return m_begin != nullptr ? static_cast<std::uint64_t>(m_at - m_begin) : m_buffer->size();
}

bool OdDbMemoryFiler::rdBool()
{
    return take<std::uint8_t>() != 0;
}

OdString OdDbMemoryFiler::rdString()
{
    const auto length = take<std::uint32_t>();
    return OdString::fromUtf8(reinterpret_cast<char const*>(takeBytes(length)), length);
}

void OdDbMemoryFiler::rdBytes(void* buffer, std::uint32_t count)
{
    if (count != 0) {
        std::memcpy(buffer, takeBytes(count), count);
    }
}

std::int8_t OdDbMemoryFiler::rdInt8()
{
    return take<std::int8_t>();
}

std::uint8_t OdDbMemoryFiler::rdUInt8()
{
    return take<std::uint8_t>();
}

std::int16_t OdDbMemoryFiler::rdInt16()
{
    return take<std::int16_t>();
}

std::int32_t OdDbMemoryFiler::rdInt32()
{
    return take<std::int32_t>();
}

std::int64_t OdDbMemoryFiler::rdInt64()
{
    return take<std::int64_t>();
}

void* OdDbMemoryFiler::rdAddress()
{
    return take<void*>();
}

double OdDbMemoryFiler::rdDouble()
{
    return take<double>();
}

OdDbHandle OdDbMemoryFiler::rdDbHandle()
{
    return OdDbHandle(take<std::uint64_t>());
}

OdDbObjectId OdDbMemoryFiler::rdSoftOwnershipId()
{
    return OdDbObjectId(take<OdDbIdRecord*>());
}

OdDbObjectId OdDbMemoryFiler::rdHardOwnershipId()
{
    return OdDbObjectId(take<OdDbIdRecord*>());
}

OdDbObjectId OdDbMemoryFiler::rdHardPointerId()
{
    return OdDbObjectId(take<OdDbIdRecord*>());
}

OdDbObjectId OdDbMemoryFiler::rdSoftPointerId()
{
    return OdDbObjectId(take<OdDbIdRecord*>());
}

OdGePoint2d OdDbMemoryFiler::rdPoint2d()
{
    return take<OdGePoint2d>();
}

OdGePoint3d OdDbMemoryFiler::rdPoint3d()
{
    return take<OdGePoint3d>();
}

OdGeVector2d OdDbMemoryFiler::rdVector2d()
{
    return take<OdGeVector2d>();
}

OdGeVector3d OdDbMemoryFiler::rdVector3d()
{
    return take<OdGeVector3d>();
}

OdGeScale3d OdDbMemoryFiler::rdScale3d()
{
    return take<OdGeScale3d>();
}

void OdDbMemoryFiler::wrBool(bool value)
{
    put(static_cast<std::uint8_t>(value));
}

void OdDbMemoryFiler::wrString(OdString const& value)
{
    const auto text = value.utf8();
    put(static_cast<std::uint32_t>(text.size()));
    putBytes(text.data(), text.size());
}

void OdDbMemoryFiler::wrBytes(void const* buffer, std::uint32_t count)
{
    putBytes(buffer, count);
}

void OdDbMemoryFiler::wrInt8(std::int8_t value)
{
    put(value);
}

void OdDbMemoryFiler::wrUInt8(std::uint8_t value)
{
    put(value);
}

void OdDbMemoryFiler::wrInt16(std::int16_t value)
{
    put(value);
}

void OdDbMemoryFiler::wrInt32(std::int32_t value)
{
    put(value);
}

void OdDbMemoryFiler::wrInt64(std::int64_t value)
{
    put(value);
}

void OdDbMemoryFiler::wrAddress(void const* value)
{
    put(value);
}

void OdDbMemoryFiler::wrDouble(double value)
{
    put(value);
}

void OdDbMemoryFiler::wrDbHandle(OdDbHandle const& value)
{
    put(value.value());
}

void OdDbMemoryFiler::wrSoftOwnershipId(OdDbObjectId const& value)
{
    putId(value, OdDb::ReferenceType::kSoftOwnershipRef);
}

void OdDbMemoryFiler::wrHardOwnershipId(OdDbObjectId const& value)
{
    putId(value, OdDb::ReferenceType::kHardOwnershipRef);
}

void OdDbMemoryFiler::wrSoftPointerId(OdDbObjectId const& value)
{
    putId(value, OdDb::ReferenceType::kSoftPointerRef);
}

void OdDbMemoryFiler::wrHardPointerId(OdDbObjectId const& value)
{
    putId(value, OdDb::ReferenceType::kHardPointerRef);
}

void OdDbMemoryFiler::wrPoint2d(OdGePoint2d const& value)
{
    put(value);
}

void OdDbMemoryFiler::wrPoint3d(OdGePoint3d const& value)
{
    put(value);
}

void OdDbMemoryFiler::wrVector2d(OdGeVector2d const& value)
{
    put(value);
}

void OdDbMemoryFiler::wrVector3d(OdGeVector3d const& value)
{
    put(value);
}

void OdDbMemoryFiler::wrScale3d(OdGeScale3d const& value)
{
    put(value);
}
