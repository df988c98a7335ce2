// Attributes that travel with an entity in its extended data.

#pragma once

#include "db/od_db_entity.h"
#include "db/od_db_handle.h"
#include "root/od_res_buf.h"

class OdDbDwgFiler;

namespace zem_assoc {

/// Application name of attributes in extended data: "ZemAssoc". It stands in drawings.
extern const OdString g_zemAssocAppName;

/// Base of attributes of an entity: a version and the handle of an object that the entity goes
/// with.
///
/// An attribute is a value beside the entity: `writeXData` puts it into the entity's extended data,
/// where it replaces any other attribute. Derived classes extend the two filing operations.
class EntityAssocAttribute
{
public:
    /// \param entity  The entity that carries the attribute; may be null.
    explicit EntityAssocAttribute(OdDbEntityPtr entity = OdDbEntityPtr(),
                                  OdDbHandle handle = OdDbHandle());
    virtual ~EntityAssocAttribute();

    /// \name Version of the stored form
    /// A reader takes the form of its own major version and of newer ones.
    /// @{
    virtual int majorVersion() const;
    virtual int minorVersion() const;
    /// @}

    /// \name Stored form
    /// @{
    /// \return 0; (rejected version) for an older major version; (null handle).
    /// \throws OdError (bad stream) at the end of the filer's data.
    virtual OdResult dwgInFields(OdDbDwgFiler* filer);
    virtual void dwgOutFields(OdDbDwgFiler* filer) const;
    /// The attribute as extended data: the application's record, and the fields in binary chunks.
    virtual OdResBufPtr convertToResBuf() const;
    /// Takes in what `convertToResBuf` gave, with or without the application's record in front.
    /// \return 0; (unreadable attribute) for null and for a chain without chunks, or with chunks
    ///         that end too early; else what `dwgInFields` gives.
    virtual OdResult convertFromResBuf(OdResBuf* buffer);
    /// @}

    /// Puts the attribute into the entity's extended data; the entity is raised to write.
    /// \return 0; (no entity); (entity without id) for one in no database; (null handle on write);
    ///         (variable missing) if there is no stored form.
    OdResult writeXData();

    OdDbEntityPtr const& entity() const noexcept { return m_entity; }
    void setEntity(OdDbEntityPtr entity) { m_entity = std::move(entity); }
    OdDbHandle handle() const noexcept { return m_handle; }
    void setHandle(OdDbHandle handle) noexcept { m_handle = handle; }

private:
    OdDbEntityPtr m_entity;
    OdDbHandle m_handle;
};

}  // namespace zem_assoc
