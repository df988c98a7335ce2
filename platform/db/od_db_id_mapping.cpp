#include "db/od_db_id_mapping.h"

RX_DEFINE_CLASS(OdDbIdMapping, OdRxObject, odrxCreate<OdDbIdMapping>, L"OdDbIdMapping");
RX_DEFINE_CLASS(OdDbIdMappingIterator, OdRxObject, odrxCreateNothing, L"OdDbIdMappingIterator");
RX_DEFINE_CLASS(OdDbDeepCloneFiler, OdDbMemoryFiler, odrxCreateNothing, L"OdDbDeepCloneFiler");

OdSmartPtr<OdDbIdMapping> OdDbIdMapping::createObject()
{
    return odrxMake<OdDbIdMapping>();
}

bool OdDbIdMapping::compute(OdDbIdPair& pair) const
{
    const auto found = m_pairs.find(pair.key());
    if (found == m_pairs.end()) {
        return false;
    }
    pair = found->second;
    return true;
}

void OdDbIdMapping::assign(OdDbIdPair const& pair)
{
    m_pairs.insert_or_assign(pair.key(), pair);
}

OdSmartPtr<OdDbIdMappingIterator> OdDbIdMapping::newIterator() const
{
    return odrxMake<OdDbIdMappingIterator>(*this);
}

OdDbIdMappingIterator::OdDbIdMappingIterator(OdDbIdMapping const& mapping)
    : m_mapping(const_cast<OdDbIdMapping*>(&mapping)), m_at(mapping.m_pairs.begin())
{
}

bool OdDbIdMappingIterator::done() const
{
    return m_at == m_mapping->m_pairs.end();
}

void OdDbIdMappingIterator::next()
{
    ++m_at;
}

OdDbIdPair const& OdDbIdMappingIterator::getMap() const
{
    return m_at->second;
}
