#include "db/od_db_xrecord.h"

#include "db/od_db_filer.h"
#include "db/od_db_xdata_impl.h"
#include "root/od_error.h"

RX_DEFINE_CLASS(OdDbXrecord, OdDbObject, odrxCreate<OdDbXrecord>, L"OdDbXrecord",
                OdDb::kDwgVersionCurrent, 0, 0, L"XRECORD", L"Object database");

OdDbXrecord::OdDbXrecord() = default;
OdDbXrecord::~OdDbXrecord() = default;

OdDbXrecordPtr OdDbXrecord::createObject()
{
    return odrxMake<OdDbXrecord>();
}

OdResBufPtr OdDbXrecord::rbChain() const
{
    assertReadEnabled();
    if (m_packed.empty()) {
        return OdResBufPtr();
    }
    const OdResBufPtr head = OdResBuf::newRb(1001);
    odDbUnpackXData(m_packed, head);
    return head->next();
}

void OdDbXrecord::setFromRbChain(OdResBuf const* chain)
{
    std::vector<std::uint8_t> packed = odDbPackXData(chain);
    for (OdResBuf const* at = chain; at != nullptr; at = at->next().get()) {
        if (at->restype() == 1001) {
            throw OdError(kOdInvalidInput);
        }
    }
    assertWriteEnabled();
    m_packed = std::move(packed);
}

void OdDbXrecord::setDuplicateRecordCloning(OdDb::DuplicateRecordCloning style)
{
    assertWriteEnabled();
    m_duplicates = style;
}

OdResult OdDbXrecord::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    const auto style = static_cast<OdDb::DuplicateRecordCloning>(filer->rdInt16());
    std::vector<std::uint8_t> packed(odDbReadCount(*filer, 1));
    filer->rdBytes(packed.data(), static_cast<std::uint32_t>(packed.size()));
    odDbUnpackXData(packed, OdResBuf::newRb(1001));  // refuses what nobody could read
    m_duplicates = style;
    m_packed = std::move(packed);
    return kOdOk;
}

void OdDbXrecord::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    filer->wrInt16(static_cast<std::int16_t>(m_duplicates));
    filer->wrInt32(static_cast<std::int32_t>(m_packed.size()));
    filer->wrBytes(m_packed.data(), static_cast<std::uint32_t>(m_packed.size()));
}
