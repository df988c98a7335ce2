// Persistent links to faces, edges and vertices.

#pragma once

#include "db/od_db_object.h"
#include "db/od_db_subent.h"

#include "zem_properties.h"

/// One link that keeps naming a sub-entity while its solid is edited.
class ZemDbObjectDependency : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbObjectDependency);

public:
    ZemDbObjectDependency();
    ~ZemDbObjectDependency() override;

    /// \name Link, kept in memory
    /// @{
    /// Makes this a link to a sub-entity. \throws OdError (not open for write).
    void setLinkObject(OdDbFullSubentPath const& path);
    /// The object in the drawing's own block that the link starts from: the outermost reference, or
    /// the entity itself; null for a link that leads nowhere. \throws OdError (not open for read).
    OdDbObjectId getInsertId() const;
    /// @}

    /// The bag, for reading. \throws OdError (not open for read).
    ZemProperties const& getReadProperties() const;
    /// The bag, for changes, which become part of undo. \throws OdError (not open for write).
    ZemProperties& getWriteProperties();

    /// \throws OdError (not open for write).
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    /// \throws OdError (not open for read).
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    OdDbFullSubentPath m_path;
    ZemProperties m_properties;
};
