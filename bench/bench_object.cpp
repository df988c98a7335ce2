#include "bench_object.h"

#include "db/od_db_filer.h"

RX_DEFINE_CLASS(BenchObject, OdDbObject, odrxCreate<BenchObject>, L"BenchObject",
                OdDb::kDwgVersionCurrent, 0, 0, L"BENCHOBJECT", L"Benchmarks");

OdString BenchObject::name() const
{
    assertReadEnabled();
    return m_name;
}

void BenchObject::setName(OdString const& name)
{
    assertWriteEnabled();
    m_name = name;
}

std::int32_t BenchObject::number() const
{
    assertReadEnabled();
    return m_number;
}

void BenchObject::setNumber(std::int32_t number)
{
    assertWriteEnabled();
    m_number = number;
}

std::array<double, 8> const& BenchObject::reals() const
{
    assertReadEnabled();
    return m_reals;
}

void BenchObject::setReals(std::array<double, 8> const& reals)
{
    assertWriteEnabled();
    m_reals = reals;
}

OdDbObjectId BenchObject::reference() const
{
    assertReadEnabled();
    return m_reference;
}

void BenchObject::setReference(OdDbObjectId reference)
{
    assertWriteEnabled();
    m_reference = reference;
}

OdResult BenchObject::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_name = filer->rdString();
    m_number = filer->rdInt32();
    m_real = filer->rdDouble();
    for (double& real : m_reals) {
        real = filer->rdDouble();
    }
    m_reference = filer->rdSoftPointerId();
    return kOdOk;
}

void BenchObject::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    filer->wrString(m_name);
    filer->wrInt32(m_number);
    filer->wrDouble(m_real);
    for (double real : m_reals) {
        filer->wrDouble(real);
    }
    filer->wrSoftPointerId(m_reference);
}
