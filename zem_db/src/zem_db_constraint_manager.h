// The constraints of a block.

#pragma once

#include "db/od_db_object.h"

#include "zem_properties.h"

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

    /// \throws OdError (not open for write).
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    /// \throws OdError (not open for read).
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    ZemProperties m_properties;
};
