// Companions of the entities that take part in the model.

#pragma once

#include "db/od_db_object.h"

#include <memory>

class OdDbEntity;
class ZemDbObjectImpl;
class ZemProperties;

/// What the model knows of one entity; a persistent reactor of that entity.
class ZemDbObject : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbObject);

public:
    ZemDbObject();
    ~ZemDbObject() override;

    /// \name Entity, kept in memory
    /// @{
    /// The companion of an entity, opened; null if it has none, or for an id that can't be opened.
    static OdSmartPtr<ZemDbObject> openZemDbObject(OdDbObjectId entityId, OdDb::OpenMode mode,
                                                   bool openErased);
    /// As above; the entity is open for read, or null.
    static OdSmartPtr<ZemDbObject> openZemDbObject(OdDbEntity const* entity, OdDb::OpenMode mode,
                                                   bool openErased);
    /// Makes this the companion of an entity, and a reactor of it.
    /// \throws OdError (not open for write); what the platform throws for an entity that can't be
    ///         opened.
    void attachTo(OdDbObjectId entityId);
    /// The entity; null for a companion of none. \throws OdError (not open for read).
    OdDbObjectId attachedEntityId() const;
    /// Tells that the entity is to be drawn again, which undo and redo do as well.
    /// \throws OdError (not open for write).
    void triggerObjectRedraw();
    /// @}

    void applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls) override;

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
