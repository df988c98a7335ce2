// The constraints of a block.

#pragma once

#include "db/od_db_object.h"

#include "zem_constraint.h"
#include "zem_properties.h"

#include <cstdint>
#include <map>

/// Keeps the constraints of one block and what the block's solution needs.
///
/// One stands for each block, and one for the database as a whole.
class ZemDbConstraintManager : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbConstraintManager);

public:
    ZemDbConstraintManager();
    ~ZemDbConstraintManager() override;

    /// The bag, for reading. \throws OdError (not open for read).
    ZemProperties const& getReadProperties() const;
    /// The bag, for changes, which become part of undo. \throws OdError (not open for write).
    ZemProperties& getWriteProperties();

    /// \name Constraints, kept in memory by number
    /// @{
    /// Adds a constraint, with the number above the greatest in use, from 1.
    /// \throws OdError (null object pointer); (not open for write) for the manager.
    void addConstraint(OdSmartPtr<ZemConstraint> const& constraint);
    std::map<std::uint32_t, OdSmartPtr<ZemConstraint>> const& constraints() const noexcept
    {
        return m_constraints;
    }
    /// The constraint that follows a variable; null if there is none, or for the null id.
    OdSmartPtr<ZemConstraint> getDimConstraint(OdDbObjectId variable) const;
    /// @}

    /// \name Notices of variables, as a variable reactor hands them on
    /// The manager is open for write.
    /// @{
    /// Gives the constraint that follows a variable its value, if it differs by more than 1e-10.
    void variableModified(OdDbObjectId variable, double value);
    /// The constraint that followed a variable follows none.
    void variableErased(OdDbObjectId variable);
    /// @}

    /// \throws OdError (not open for write).
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    /// \throws OdError (not open for read).
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    std::map<std::uint32_t, OdSmartPtr<ZemConstraint>> m_constraints;
    ZemProperties m_properties;
};
