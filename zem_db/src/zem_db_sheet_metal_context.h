// The sheet-metal parameters of a block.

#pragma once

#include "db/od_db_object.h"

#include <memory>

class ZemDbSheetMetalContextImpl;
class ZemProperties;

/// Keeps the sheet-metal parameters of one block.
class ZemDbSheetMetalContext : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbSheetMetalContext);

public:
    ZemDbSheetMetalContext();
    ~ZemDbSheetMetalContext() override;

    /// The parameters of a block; null if it has none.
    static OdDbObjectId getInstance(OdDbObjectId const& blockId);
    /// The variable that the thickness is tied to; null if there is none. Open for read.
    OdDbObjectId getThicknessParameter() const;

    /// The bag, for reading. \throws OdError (not open for read).
    ZemProperties const& getReadProperties() const;
    /// The bag, for changes, which become part of undo. \throws OdError (not open for write).
    ZemProperties& getWriteProperties();

    /// \throws OdError (not open for write).
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    /// \throws OdError (not open for read).
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    std::unique_ptr<ZemDbSheetMetalContextImpl> m_impl;
};
