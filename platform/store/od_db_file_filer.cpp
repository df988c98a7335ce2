#include "store/od_db_file_filer.h"

#include "store/od_db_page.h"

#include <limits>
#include <type_traits>

OdDbFileFiler::OdDbFileFiler(OdDbDatabase* database, int dwgVersion)
    : m_database(database), m_dwgVersion(dwgVersion)
{
}

OdDbFileFiler::~OdDbFileFiler() = default;

void OdDbFileFiler::startRecord(int dwgVersion)
{
    m_dwgVersion = dwgVersion;
    m_isReading = false;
    m_body.clear();
    m_references.clear();
}

void OdDbFileFiler::readFrom(std::span<std::uint8_t const> body,
                             std::span<std::uint8_t const> references, int dwgVersion) noexcept
{
    m_dwgVersion = dwgVersion;
    m_isReading = true;
    m_bodyReader = OdDbByteReader(body);
    m_referenceReader = OdDbByteReader(references);
}

OdDbStoredBody OdDbFileFiler::rdBody()
{
    OdDbStoredBody rest;
    const std::size_t count = m_bodyReader.left();
    std::uint8_t const* const bytes = m_bodyReader.takeBytes(count);
    rest.bytes.assign(bytes, bytes + count);
    while (m_referenceReader.left() != 0) {
        OdDb::ReferenceType type{};
        const OdDbObjectId id = takeReference(type);
        rest.references.push_back({type, id});
    }
    return rest;
}

void OdDbFileFiler::wrBody(OdDbStoredBody const& body)
{
    m_body.putBytes(body.bytes);
    for (OdDbReference const& reference : body.references) {
        putReference(reference.id, reference.type);
    }
}

void OdDbFileFiler::seek(std::int64_t offset, OdDb::FilerSeekType whence)
{
    if (!m_isReading) {
        throw OdError(kOdNotApplicable);
    }
    const auto size = static_cast<std::int64_t>(m_bodyReader.size());
    std::int64_t from = 0;
    if (whence == OdDb::FilerSeekType::kSeekFromCurrent) {
        from = static_cast<std::int64_t>(m_bodyReader.position());
    } else if (whence == OdDb::FilerSeekType::kSeekFromEnd) {
        from = size;
    }
    if (offset < -from || offset > size - from) {
        throw OdError(kOdBadStream);
    }
    m_bodyReader.moveTo(static_cast<std::size_t>(from + offset));
}

std::uint64_t OdDbFileFiler::tell() const
{
    return m_isReading ? m_bodyReader.position() : m_body.size();
}

template <class Integer>
Integer OdDbFileFiler::takeInteger()
{
    const std::int64_t value = m_bodyReader.takeSigned();
    if (value < std::numeric_limits<Integer>::min() ||
        value > std::numeric_limits<Integer>::max()) {
        throw OdError(kOdBadStream);
    }
    return static_cast<Integer>(value);
}

OdDbObjectId OdDbFileFiler::takeReference(OdDb::ReferenceType& type)
{
    std::uint8_t kind = 0;
    const OdDbHandle handle = m_referenceReader.takeReference(kind);
    type = static_cast<OdDb::ReferenceType>(kind);
    // Taken in, it would come out of a copy or an undo as another one.
    if (handle.value() > kLastStoredHandle) {
        throw OdError(kOdBadStream);
    }
    if (handle.isNull() || m_database == nullptr) {
        return OdDbObjectId::kNull;
    }
    return OdDbStorageAccess(*m_database).idOf(handle);
}

OdDbObjectId OdDbFileFiler::takeReference()
{
    OdDb::ReferenceType type{};
    return takeReference(type);
}

void OdDbFileFiler::putReference(OdDbObjectId id, OdDb::ReferenceType type)
{
    OdDbHandle handle;
    if (m_database == nullptr || id.originalDatabase() == m_database) {
        handle = id.getHandle();
    }
    m_references.putReference(handle.value(), static_cast<std::uint8_t>(type));
}

bool OdDbFileFiler::rdBool()
{
    return m_bodyReader.takeByte() != 0;
}

OdString OdDbFileFiler::rdString()
{
    const std::uint64_t length = m_bodyReader.takeVarint();
    if (length > m_bodyReader.left()) {
        throw OdError(kOdBadStream);
    }
    const auto count = static_cast<std::size_t>(length);
    return OdString::fromUtf8(reinterpret_cast<char const*>(m_bodyReader.takeBytes(count)), count);
}

void OdDbFileFiler::rdBytes(void* buffer, std::uint32_t count)
{
    std::uint8_t const* const bytes = m_bodyReader.takeBytes(count);
    if (count != 0) {
        std::memcpy(buffer, bytes, count);
    }
}

std::int8_t OdDbFileFiler::rdInt8()
{
    return static_cast<std::int8_t>(m_bodyReader.takeByte());
}

std::uint8_t OdDbFileFiler::rdUInt8()
{
    return m_bodyReader.takeByte();
}

std::int16_t OdDbFileFiler::rdInt16()
{
    return takeInteger<std::int16_t>();
}

std::int32_t OdDbFileFiler::rdInt32()
{
    return takeInteger<std::int32_t>();
}

std::int64_t OdDbFileFiler::rdInt64()
{
    return m_bodyReader.takeSigned();
}

double OdDbFileFiler::rdDouble()
{
    return m_bodyReader.takeDouble();
}

OdDbHandle OdDbFileFiler::rdDbHandle()
{
    return OdDbHandle(m_bodyReader.takeVarint());
}

OdDbObjectId OdDbFileFiler::rdSoftOwnershipId()
{
    return takeReference();
}

OdDbObjectId OdDbFileFiler::rdHardOwnershipId()
{
    return takeReference();
}

OdDbObjectId OdDbFileFiler::rdHardPointerId()
{
    return takeReference();
}

OdDbObjectId OdDbFileFiler::rdSoftPointerId()
{
    return takeReference();
}

OdGePoint2d OdDbFileFiler::rdPoint2d()
{
    const double x = rdDouble();
    const double y = rdDouble();
    return OdGePoint2d(x, y);
}

OdGePoint3d OdDbFileFiler::rdPoint3d()
{
    const double x = rdDouble();
    const double y = rdDouble();
    const double z = rdDouble();
    return OdGePoint3d(x, y, z);
}

OdGeVector2d OdDbFileFiler::rdVector2d()
{
    const double x = rdDouble();
    const double y = rdDouble();
    return OdGeVector2d(x, y);
}

OdGeVector3d OdDbFileFiler::rdVector3d()
{
    const double x = rdDouble();
    const double y = rdDouble();
    const double z = rdDouble();
    return OdGeVector3d(x, y, z);
}

OdGeScale3d OdDbFileFiler::rdScale3d()
{
    const double x = rdDouble();
    const double y = rdDouble();
    const double z = rdDouble();
    return OdGeScale3d(x, y, z);
}

void OdDbFileFiler::wrBool(bool value)
{
    m_body.putByte(value ? 1 : 0);
}

void OdDbFileFiler::wrString(OdString const& value)
{
    m_text.clear();
    value.appendUtf8To(m_text);
    m_body.putVarint(m_text.size());
    m_body.putBytes(m_text.data(), m_text.size());
}

void OdDbFileFiler::wrBytes(void const* buffer, std::uint32_t count)
{
    m_body.putBytes(buffer, count);
}

void OdDbFileFiler::wrInt8(std::int8_t value)
{
    m_body.putByte(static_cast<std::uint8_t>(value));
}

void OdDbFileFiler::wrUInt8(std::uint8_t value)
{
    m_body.putByte(value);
}

void OdDbFileFiler::wrInt16(std::int16_t value)
{
    m_body.putSigned(value);
}

void OdDbFileFiler::wrInt32(std::int32_t value)
{
    m_body.putSigned(value);
}

void OdDbFileFiler::wrInt64(std::int64_t value)
{
    m_body.putSigned(value);
}

void OdDbFileFiler::wrDouble(double value)
{
    m_body.putDouble(value);
}

void OdDbFileFiler::wrDbHandle(OdDbHandle const& value)
{
    m_body.putVarint(value.value());
}

void OdDbFileFiler::wrSoftOwnershipId(OdDbObjectId const& value)
{
    putReference(value, OdDb::ReferenceType::kSoftOwnershipRef);
}

void OdDbFileFiler::wrHardOwnershipId(OdDbObjectId const& value)
{
    putReference(value, OdDb::ReferenceType::kHardOwnershipRef);
}

void OdDbFileFiler::wrSoftPointerId(OdDbObjectId const& value)
{
    putReference(value, OdDb::ReferenceType::kSoftPointerRef);
}

void OdDbFileFiler::wrHardPointerId(OdDbObjectId const& value)
{
    putReference(value, OdDb::ReferenceType::kHardPointerRef);
}

void OdDbFileFiler::wrPoint2d(OdGePoint2d const& value)
{
    m_body.putDouble(value.x);
    m_body.putDouble(value.y);
}

void OdDbFileFiler::wrPoint3d(OdGePoint3d const& value)
{
    m_body.putDouble(value.x);
    m_body.putDouble(value.y);
    m_body.putDouble(value.z);
}

void OdDbFileFiler::wrVector2d(OdGeVector2d const& value)
{
    m_body.putDouble(value.x);
    m_body.putDouble(value.y);
}

void OdDbFileFiler::wrVector3d(OdGeVector3d const& value)
{
    m_body.putDouble(value.x);
    m_body.putDouble(value.y);
    m_body.putDouble(value.z);
}

void OdDbFileFiler::wrScale3d(OdGeScale3d const& value)
{
    m_body.putDouble(value.sx);
    m_body.putDouble(value.sy);
    m_body.putDouble(value.sz);
}
