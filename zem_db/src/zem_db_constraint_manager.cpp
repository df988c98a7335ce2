#include "zem_db_constraint_manager.h"

#include "root/od_error.h"

#include "zem_db_class_info.h"

#include <cmath>

ZEM_DEFINE_DB_CLASS(ZemDbConstraintManager, OdDbObject, L"ZemDbConstraintManager",
                    L"ZEMDBCONSTRAINTMANAGER", kZemAppConstraints);

namespace {

/// Values that differ by no more are the same.
constexpr double kValueTolerance = 1e-10;

}  // namespace

ZemDbConstraintManager::ZemDbConstraintManager() : m_properties(/*config=*/0) {}

ZemDbConstraintManager::~ZemDbConstraintManager() = default;

ZemProperties const& ZemDbConstraintManager::getReadProperties() const
{
    assertReadEnabled();
    return m_properties;
}

ZemProperties& ZemDbConstraintManager::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return m_properties;
}

OdResult ZemDbConstraintManager::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult result = OdDbObject::dwgInFields(filer);
    return result == kOdOk ? m_properties.dwgInFields(filer) : result;
}

void ZemDbConstraintManager::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_properties.dwgOutFields(filer);
}

void ZemDbConstraintManager::addConstraint(OdSmartPtr<ZemConstraint> const& constraint)
{
    if (constraint.isNull()) {
        throw OdError(kOdNullObjectPointer);
    }
    assertWriteEnabled(true, true);
    constraint->setNodeId(m_constraints.empty() ? 1 : m_constraints.rbegin()->first + 1);
    constraint->setOwner(objectId());
    m_constraints.emplace(constraint->nodeId(), constraint);
}

OdSmartPtr<ZemConstraint> ZemDbConstraintManager::getDimConstraint(OdDbObjectId variable) const
{
    assertReadEnabled();
    if (!variable.isNull()) {
        for (auto const& [nodeId, constraint] : m_constraints) {
            if (constraint->userVariable() == variable) {
                return constraint;
            }
        }
    }
    return OdSmartPtr<ZemConstraint>();
}

void ZemDbConstraintManager::variableModified(OdDbObjectId variable, double value)
{
    const OdSmartPtr<ZemConstraint> constraint = getDimConstraint(variable);
    if (!constraint.isNull() && std::abs(constraint->userValue() - value) > kValueTolerance) {
        constraint->setUserValue(value);
    }
}

void ZemDbConstraintManager::variableErased(OdDbObjectId variable)
{
    const OdSmartPtr<ZemConstraint> constraint = getDimConstraint(variable);
    if (!constraint.isNull()) {
        assertWriteEnabled(true, true);
        constraint->removeUserVariable();
    }
}
