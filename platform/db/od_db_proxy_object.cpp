#include "db/od_db_proxy_object.h"

#include "db/od_db_database_impl.h"

#include <utility>

RX_DEFINE_CLASS(OdDbProxyObject, OdDbObject, odrxCreateNothing, L"OdDbProxyObject");

namespace {

OdDbStoredObjectFiler* storedFiler(OdDbDwgFiler* filer)
{
    return filer->isKindOf(OdDbStoredObjectFiler::desc())
               ? static_cast<OdDbStoredObjectFiler*>(filer)
               : nullptr;
}

}  // namespace

OdDbProxyObject::OdDbProxyObject() = default;
OdDbProxyObject::~OdDbProxyObject() = default;

OdDbClassRecord OdDbProxyObject::originalClass() const
{
    OdDbIdRecord const* record = objectId().record();
    return record != nullptr ? database()->classRecord(record->classIndex) : OdDbClassRecord();
}

OdResult OdDbProxyObject::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    if (OdDbStoredObjectFiler* stored = storedFiler(filer)) {
        m_body = stored->rdBody();
        m_bodyVersion = stored->dwgVersion();
        return kOdOk;
    }
    // Filers of this kind carry bodies of any version.
    const std::int32_t version = filer->rdInt32();
    OdDbStoredBody body;
    body.bytes.resize(odDbReadCount(*filer, 1));
    filer->rdBytes(body.bytes.data(), static_cast<std::uint32_t>(body.bytes.size()));
    const std::uint32_t count = odDbReadCount(*filer, 1);
    body.references.reserve(count);
    for (std::uint32_t index = 0; index < count; ++index) {
        const auto type = static_cast<OdDb::ReferenceType>(filer->rdUInt8());
        body.references.push_back({type, odDbReadId(*filer, type)});
    }
    m_body = std::move(body);
    m_bodyVersion = version;
    return kOdOk;
}

void OdDbProxyObject::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    if (OdDbStoredObjectFiler* stored = storedFiler(filer)) {
        stored->wrBody(m_body);
        return;
    }
    filer->wrInt32(m_bodyVersion);
    filer->wrInt32(static_cast<std::int32_t>(m_body.bytes.size()));
    filer->wrBytes(m_body.bytes.data(), static_cast<std::uint32_t>(m_body.bytes.size()));
    filer->wrInt32(static_cast<std::int32_t>(m_body.references.size()));
    for (OdDbReference const& reference : m_body.references) {
        filer->wrUInt8(static_cast<std::uint8_t>(reference.type));
        odDbWriteId(*filer, reference.id, reference.type);
    }
}
