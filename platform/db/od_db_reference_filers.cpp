#include "db/od_db_reference_filers.h"

RX_DEFINE_CLASS(OdDbIdXlateFiler, OdDbMemoryFiler, odrxCreateNothing, L"OdDbIdXlateFiler");
RX_DEFINE_CLASS(OdDbPurgeFiler, OdDbMemoryFiler, odrxCreateNothing, L"OdDbPurgeFiler");

OdDbIdXlateFiler::OdDbIdXlateFiler(OdDbDatabase* database, OdDbIdMapping const& mapping)
    : OdDbMemoryFiler(OdDb::FilerType::kIdXlateFiler, database), m_mapping(mapping)
{
}

OdDbObjectId OdDbIdXlateFiler::translate(OdDbObjectId id, bool isOwnership) const
{
    OdDbObjectId result;
    if (id.isNull() || m_mapping.translate(id, result)) {
        return result;
    }
    return isOwnership || id.database() != database() ? OdDbObjectId::kNull : id;
}

OdDbObjectId OdDbIdXlateFiler::rdSoftOwnershipId()
{
    return translate(OdDbMemoryFiler::rdSoftOwnershipId(), /*isOwnership=*/true);
}

OdDbObjectId OdDbIdXlateFiler::rdHardOwnershipId()
{
    return translate(OdDbMemoryFiler::rdHardOwnershipId(), /*isOwnership=*/true);
}

OdDbObjectId OdDbIdXlateFiler::rdHardPointerId()
{
    return translate(OdDbMemoryFiler::rdHardPointerId(), /*isOwnership=*/false);
}

OdDbObjectId OdDbIdXlateFiler::rdSoftPointerId()
{
    return translate(OdDbMemoryFiler::rdSoftPointerId(), /*isOwnership=*/false);
}

// Pointers may lead anywhere in a drawing that is larger than all caches; looking up each as it is read
// would wait for memory each time.
void OdDbIdXlateFiler::wrHardPointerId(OdDbObjectId const& value)
{
    m_mapping.expect(value);
    OdDbMemoryFiler::wrHardPointerId(value);
}

void OdDbIdXlateFiler::wrSoftPointerId(OdDbObjectId const& value)
{
    m_mapping.expect(value);
    OdDbMemoryFiler::wrSoftPointerId(value);
}

void OdDbPurgeFiler::addReference(OdDbObjectId id, OdDb::ReferenceType type)
{
    const bool isHard = type == OdDb::ReferenceType::kHardOwnershipRef ||
                        type == OdDb::ReferenceType::kHardPointerRef;
    if (isHard && !id.isNull()) {
        m_kept.insert(id);
    }
}

void OdDbPurgeFiler::wrString(OdString const& /*value*/) {}

void OdDbPurgeFiler::wrBytes(void const* /*buffer*/, std::uint32_t /*count*/) {}

void OdDbPurgeFiler::wrHardOwnershipId(OdDbObjectId const& value)
{
    addReference(value, OdDb::ReferenceType::kHardOwnershipRef);
}

void OdDbPurgeFiler::wrHardPointerId(OdDbObjectId const& value)
{
    addReference(value, OdDb::ReferenceType::kHardPointerRef);
}
