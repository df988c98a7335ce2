// The persistent links of a block.

#pragma once

#include "db/od_db_object.h"

#include <memory>

class ZemDbPersIdManagerImpl;
class ZemProperties;

/// Owns the links of one block.
///
/// References to objects that are erased when a drawing is written stay out of the file.
class ZemDbPersIdManager : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbPersIdManager);

public:
    ZemDbPersIdManager();
    ~ZemDbPersIdManager() override;

    /// The bag, for reading. \throws OdError (not open for read).
    ZemProperties const& getReadProperties() const;
    /// The bag, for changes, which become part of undo. \throws OdError (not open for write).
    ZemProperties& getWriteProperties();

    /// \throws OdError (not open for write).
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    /// \throws OdError (not open for read).
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    std::unique_ptr<ZemDbPersIdManagerImpl> m_impl;
};
