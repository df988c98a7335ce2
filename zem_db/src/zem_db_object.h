// Companions of the entities that take part in the model.

#pragma once

#include "db/od_db_object.h"

#include <memory>

class ZemDbObjectImpl;
class ZemProperties;

/// What the model knows of one entity; a persistent reactor of that entity.
class ZemDbObject : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbObject);

public:
    ZemDbObject();
    ~ZemDbObject() override;

    /// The bag, for reading. \throws OdError (not open for read).
    ZemProperties const& getReadProperties() const;
    /// The bag, for changes, which become part of undo. \throws OdError (not open for write).
    ZemProperties& getWriteProperties();

    /// \throws OdError (not open for write).
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    /// \throws OdError (not open for read).
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    std::unique_ptr<ZemDbObjectImpl> m_impl;
};
