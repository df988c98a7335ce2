#include "zem_constraint.h"

// The registered name stands in drawings and differs from the class's own.
RX_DEFINE_CLASS(ZemConstraint, OdRxObject, odrxCreate<ZemConstraint>, L"ZemDbConstraint");

ZemConstraint::ZemConstraint() : m_properties(/*config=*/0) {}

ZemConstraint::~ZemConstraint() = default;

void ZemConstraint::dwgOutFields(OdDbDwgFiler* filer) const
{
    m_properties.dwgOutFields(filer);
}

OdResult ZemConstraint::dwgInFields(OdDbDwgFiler* filer)
{
    return m_properties.dwgInFields(filer);
}
