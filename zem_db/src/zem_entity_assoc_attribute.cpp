#include "zem_entity_assoc_attribute.h"

#include "db/od_db_database.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"

#include "zem_flat_filer.h"

#include <utility>

namespace zem_assoc {

const OdString g_zemAssocAppName(L"ZemAssoc");

namespace {

constexpr int kAppNameCode = 1001;

}  // namespace

EntityAssocAttribute::EntityAssocAttribute(OdDbEntityPtr entity, OdDbHandle handle)
    : m_entity(std::move(entity)), m_handle(handle)
{
}

EntityAssocAttribute::~EntityAssocAttribute() = default;

int EntityAssocAttribute::majorVersion() const
{
    return 1;
}

int EntityAssocAttribute::minorVersion() const
{
    return 1;
}

void EntityAssocAttribute::dwgOutFields(OdDbDwgFiler* filer) const
{
    filer->wrInt32(majorVersion());
    filer->wrInt32(minorVersion());
    filer->wrDbHandle(m_handle);
}

OdResult EntityAssocAttribute::dwgInFields(OdDbDwgFiler* filer)
{
    if (filer->rdInt32() < majorVersion()) {
        return kOdRejectedVersion;
    }
    (void)filer->rdInt32();  // a minor version adds nothing that an older reader has to know
    m_handle = filer->rdDbHandle();
    return m_handle.isNull() ? kOdNullHandle : kOdOk;
}

OdResBufPtr EntityAssocAttribute::convertToResBuf() const
{
    const OdResBufPtr head = OdResBuf::newRb(kAppNameCode);
    head->setString(g_zemAssocAppName);
    OdStaticRxObject<ZemFlatFiler> filer;
    filer.clear();
    dwgOutFields(&filer);
    filer.appendToResBuf(head.get());
    return head;
}

OdResult EntityAssocAttribute::convertFromResBuf(OdResBuf* buffer)
{
    OdResBufPtr chunks(buffer);
    if (!chunks.isNull() && chunks->restype() == kAppNameCode) {
        chunks = chunks->next();
    }
    OdStaticRxObject<ZemFlatFiler> filer;
    if (!filer.setBinaryChunk(chunks.get())) {
        return kOdUnreadableAttribute;
    }
    try {
        return dwgInFields(&filer);
    } catch (OdError const&) {
        return kOdUnreadableAttribute;  // extended data may come from anywhere
    }
}

OdResult EntityAssocAttribute::writeXData()
{
    if (m_entity.isNull()) {
        return kOdNoEntity;
    }
    if (m_entity->objectId().isNull()) {
        return kOdEntityWithoutId;
    }
    if (m_handle.isNull()) {
        return kOdNullHandleOnWrite;
    }
    const OdResBufPtr buffer = convertToResBuf();
    if (buffer.isNull()) {
        return kOdVariableMissing;
    }
    m_entity->database()->newRegApp(g_zemAssocAppName);
    m_entity->upgradeOpen();
    m_entity->setXData(buffer.get());
    return kOdOk;
}

}  // namespace zem_assoc
