// Filers: the carriers through which objects put out their fields and take them in.

#pragma once

#include "db/od_db_handle.h"
#include "db/od_db_object_id.h"
#include "db/od_db_types.h"
#include "ge/od_ge_point2d.h"
#include "ge/od_ge_point3d.h"
#include "ge/od_ge_scale3d.h"
#include "ge/od_ge_vector2d.h"
#include "ge/od_ge_vector3d.h"
#include "root/od_rx_class.h"
#include "root/od_string.h"

#include <cstdint>
#include <limits>

class OdDbDatabase;

/// Base of all filers.
class OdDbFiler : public OdRxObject
{
    RX_DECLARE_CLASS(OdDbFiler);

public:
    /// Size that `bytesLeft` gives when a filer has no end.
    static constexpr std::uint64_t kUnlimited = std::numeric_limits<std::uint64_t>::max();

    /// The first failure since construction or `resetFilerStatus`; 0 if there was none.
    virtual OdResult filerStatus() const;
    virtual void resetFilerStatus();
    virtual OdDb::FilerType filerType() const = 0;
    /// The database whose objects are filed; null if there is none.
    virtual OdDbDatabase* database() const;
    /// The drawing version that is filed; the current one unless a filer says otherwise.
    virtual int dwgVersion() const;
    /// An object that goes with the operation, such as its progress or its audit; opaque here.
    virtual void setController(OdRxObject* controller);
    virtual OdRxObject* controller() const;

    /// Bytes that are left to read, at least as many as the fields still to come take. A reader
    /// checks a count against it before it allocates. `kUnlimited` if the filer can't tell.
    virtual std::uint64_t bytesLeft() const;
};

/// A filer of binary fields. Each reader gives what the matching writer took, in the same order;
/// streams hold no type tags.
///
/// The kind of a reference drives ownership, cloning and purging. Readers throw `OdError` (bad
/// stream) at the end of an object's data; what an object leaves unread is ignored.
class OdDbDwgFiler : public OdDbFiler
{
    RX_DECLARE_CLASS(OdDbDwgFiler);

public:
    virtual void seek(std::int64_t offset, OdDb::FilerSeekType whence) = 0;
    virtual std::uint64_t tell() const = 0;

    virtual bool rdBool() = 0;
    virtual OdString rdString() = 0;
    virtual void rdBytes(void* buffer, std::uint32_t count) = 0;
    virtual std::int8_t rdInt8() = 0;
    virtual std::uint8_t rdUInt8() = 0;
    virtual std::int16_t rdInt16() = 0;
    virtual std::int32_t rdInt32() = 0;
    virtual std::int64_t rdInt64() = 0;
    /// Null where addresses make no sense, as in a drawing file.
    virtual void* rdAddress();
    virtual double rdDouble() = 0;
    virtual OdDbHandle rdDbHandle() = 0;
    virtual OdDbObjectId rdSoftOwnershipId() = 0;
    virtual OdDbObjectId rdHardOwnershipId() = 0;
    virtual OdDbObjectId rdHardPointerId() = 0;
    virtual OdDbObjectId rdSoftPointerId() = 0;
    virtual OdGePoint2d rdPoint2d() = 0;
    virtual OdGePoint3d rdPoint3d() = 0;
    virtual OdGeVector2d rdVector2d() = 0;
    virtual OdGeVector3d rdVector3d() = 0;
    virtual OdGeScale3d rdScale3d() = 0;

    virtual void wrBool(bool value) = 0;
    virtual void wrString(OdString const& value) = 0;
    virtual void wrBytes(void const* buffer, std::uint32_t count) = 0;
    virtual void wrInt8(std::int8_t value) = 0;
    virtual void wrUInt8(std::uint8_t value) = 0;
    virtual void wrInt16(std::int16_t value) = 0;
    virtual void wrInt32(std::int32_t value) = 0;
    virtual void wrInt64(std::int64_t value) = 0;
    /// Does nothing where addresses make no sense.
    virtual void wrAddress(void const* value);
    virtual void wrDouble(double value) = 0;
    virtual void wrDbHandle(OdDbHandle const& value) = 0;
    virtual void wrSoftOwnershipId(OdDbObjectId const& value) = 0;
    virtual void wrHardOwnershipId(OdDbObjectId const& value) = 0;
    virtual void wrSoftPointerId(OdDbObjectId const& value) = 0;
    virtual void wrHardPointerId(OdDbObjectId const& value) = 0;
    virtual void wrPoint2d(OdGePoint2d const& value) = 0;
    virtual void wrPoint3d(OdGePoint3d const& value) = 0;
    virtual void wrVector2d(OdGeVector2d const& value) = 0;
    virtual void wrVector3d(OdGeVector3d const& value) = 0;
    virtual void wrScale3d(OdGeScale3d const& value) = 0;

    /// Whether `addReference` is of use to this filer.
    virtual bool usesReferences() const;
    /// Tells the filer of a reference that isn't filed as an id.
    virtual void addReference(OdDbObjectId id, OdDb::ReferenceType type);
};

/// Reads a count and checks it before anything is allocated: there are no more records than the
/// filer has bytes for.
///
/// \param minRecordBytes  Least stored size of one record, at least 1.
/// \throws OdError (bad stream) for a negative count or one that is too large.
std::uint32_t odDbReadCount(OdDbDwgFiler& filer, std::uint32_t minRecordBytes);

/// Files an id by the writer for its kind.
void odDbWriteId(OdDbDwgFiler& filer, OdDbObjectId id, OdDb::ReferenceType type);
/// Reads an id by the reader for its kind.
OdDbObjectId odDbReadId(OdDbDwgFiler& filer, OdDb::ReferenceType type);
