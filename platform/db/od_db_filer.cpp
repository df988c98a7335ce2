#include "db/od_db_filer.h"

#include "root/od_error.h"

RX_DEFINE_CLASS(OdDbFiler, OdRxObject, odrxCreateNothing, L"OdDbFiler");
RX_DEFINE_CLASS(OdDbDwgFiler, OdDbFiler, odrxCreateNothing, L"OdDbDwgFiler");

OdResult OdDbFiler::filerStatus() const
{
    return kOdOk;
}

void OdDbFiler::resetFilerStatus() {}

OdDbDatabase* OdDbFiler::database() const
{
    return nullptr;
}

int OdDbFiler::dwgVersion() const
{
    return OdDb::kDwgVersionCurrent;
}

void OdDbFiler::setController(OdRxObject* /*controller*/) {}

OdRxObject* OdDbFiler::controller() const
{
    return nullptr;
}

std::uint64_t OdDbFiler::bytesLeft() const
{
    return kUnlimited;
}

void* OdDbDwgFiler::rdAddress()
{
    return nullptr;
}

void OdDbDwgFiler::wrAddress(void const* /*value*/) {}

bool OdDbDwgFiler::usesReferences() const
{
    return false;
}

void OdDbDwgFiler::addReference(OdDbObjectId /*id*/, OdDb::ReferenceType /*type*/) {}

std::uint32_t odDbReadCount(OdDbDwgFiler& filer, std::uint32_t minRecordBytes)
{
    const std::int32_t count = filer.rdInt32();
    if (count < 0 || static_cast<std::uint64_t>(count) > filer.bytesLeft() / minRecordBytes) {
        throw OdError(kOdBadStream);
    }
    return static_cast<std::uint32_t>(count);
}

void odDbWriteId(OdDbDwgFiler& filer, OdDbObjectId id, OdDb::ReferenceType type)
{
    switch (type) {
    case OdDb::ReferenceType::kSoftPointerRef:
        return filer.wrSoftPointerId(id);
    case OdDb::ReferenceType::kHardPointerRef:
        return filer.wrHardPointerId(id);
    case OdDb::ReferenceType::kSoftOwnershipRef:
        return filer.wrSoftOwnershipId(id);
    case OdDb::ReferenceType::kHardOwnershipRef:
        return filer.wrHardOwnershipId(id);
    }
    throw OdError(kOdInvalidInput);
}

OdDbObjectId odDbReadId(OdDbDwgFiler& filer, OdDb::ReferenceType type)
{
    switch (type) {
    case OdDb::ReferenceType::kSoftPointerRef:
        return filer.rdSoftPointerId();
    case OdDb::ReferenceType::kHardPointerRef:
        return filer.rdHardPointerId();
    case OdDb::ReferenceType::kSoftOwnershipRef:
        return filer.rdSoftOwnershipId();
    case OdDb::ReferenceType::kHardOwnershipRef:
        return filer.rdHardOwnershipId();
    }
    throw OdError(kOdInvalidInput);
}
