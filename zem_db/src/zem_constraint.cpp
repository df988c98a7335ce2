#include "zem_constraint.h"

#include "assoc/od_db_assoc_variable.h"

#include "zem_db_constraint_manager.h"
#include "zem_protocol_extensions.h"

namespace {

/// Key of the variable in the bag, which stands in drawings.
const OdString s_assocVarKey(L"assocVar");

/// The host's answer to a question about a constraint; false if there is nobody to ask.
bool askHost(ZemConstraint const& constraint,
             bool (ZemDbConstraintManagerPE::*question)(ZemConstraint const*) const)
{
    const auto manager =
        ZemDbConstraintManager::cast(constraint.owner().openObject(OdDb::kForRead).get());
    const auto host = ZemDbConstraintManagerPE::cast(manager.get());
    return !host.isNull() && (host.get()->*question)(&constraint);
}

}  // namespace

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

bool ZemConstraint::isParametric() const
{
    return askHost(*this, &ZemDbConstraintManagerPE::isParametric);
}

bool ZemConstraint::isLinearDimension() const
{
    return askHost(*this, &ZemDbConstraintManagerPE::isLinearDimension);
}

bool ZemConstraint::isAngularDimension() const
{
    return askHost(*this, &ZemDbConstraintManagerPE::isAngularDimension);
}

OdDbObjectId ZemConstraint::userVariable() const
{
    OdDbObjectId variable;
    (void)m_properties.getProperty(s_assocVarKey, variable);
    return variable;
}

void ZemConstraint::removeUserVariable()
{
    m_properties.removeProperty(s_assocVarKey);
}

void ZemConstraint::setUserValue(double value)
{
    if (!isParametric()) {
        return;
    }
    const OdDbObjectPtr manager = m_owner.openObject(OdDb::kForWrite);
    manager->assertWriteEnabled(true, true);
    m_userValue = value;
}

OdSmartPtr<ZemConstraint> ZemConstraint::getDimConstraint(OdDbAssocVariable const* variable)
{
    if (variable == nullptr) {
        return OdSmartPtr<ZemConstraint>();
    }
    for (OdDbObjectId id : variable->getPersistentReactors()) {
        const OdDbObjectPtr reactor = id.openObject(OdDb::kForRead);
        if (reactor.isNull()) {
            continue;
        }
        const auto manager =
            ZemDbConstraintManager::cast(reactor->ownerId().openObject(OdDb::kForRead).get());
        OdSmartPtr<ZemConstraint> constraint =
            manager.isNull() ? OdSmartPtr<ZemConstraint>()
                             : manager->getDimConstraint(variable->objectId());
        if (!constraint.isNull()) {
            return constraint;
        }
    }
    return OdSmartPtr<ZemConstraint>();
}
