// The object that the document benchmarks store many of.

#pragma once

#include "db/od_db_database.h"

#include <array>
#include <cstdint>

/// A name of 12 characters, an integer, a real, eight reals and a reference: what each label of the
/// peer's document carries.
class BenchObject : public OdDbObject
{
    RX_DECLARE_CLASS(BenchObject);

public:
    OdString name() const;
    void setName(OdString const& name);
    std::int32_t number() const;
    void setNumber(std::int32_t number);
    double real() const
    {
        assertReadEnabled();
        return m_real;
    }
    void setReal(double real)
    {
        assertWriteEnabled();
        m_real = real;
    }
    std::array<double, 8> const& reals() const;
    void setReals(std::array<double, 8> const& reals);
    OdDbObjectId reference() const;
    void setReference(OdDbObjectId reference);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    double m_real = 0.0;
    std::int32_t m_number = 0;
    OdString m_name;
    OdDbObjectId m_reference;
    std::array<double, 8> m_reals{};
};

using BenchObjectPtr = OdSmartPtr<BenchObject>;
