// Design tables: configurations by row, values by column.

#pragma once

#include "db/od_db_object.h"

#include "zem_properties.h"

/// A design table: one row for each configuration, one column for each variable.
class ZemDbConfigurationTable : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbConfigurationTable);

public:
    ZemDbConfigurationTable();
    ~ZemDbConfigurationTable() override;

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
