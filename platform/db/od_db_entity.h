// Entities: objects that can be seen.

#pragma once

#include "db/od_db_object.h"
#include "ge/od_ge_matrix3d.h"
#include "ge/od_ge_point3d.h"
#include "ge/od_ge_vector3d.h"
#include "root/od_array.h"
#include "root/od_cm_color.h"

/// Base of all entities. An entity lives in a block, which owns it.
class OdDbEntity : public OdDbObject
{
    RX_DECLARE_CLASS(OdDbEntity);

public:
    ~OdDbEntity() override;

    /// The block that owns the entity; null outside one.
    OdDbObjectId blockId() const;
    /// The layer; an entity that is added without one gets layer "0".
    OdDbObjectId layerId() const;
    /// \throws OdError (not that kind of class) for an id of something that is no layer, (wrong
    ///         database) for a layer of another database.
    void setLayer(OdDbObjectId layer);
    OdCmEntityColor color() const;
    void setColor(OdCmEntityColor const& color);
    OdDbObjectId materialId() const;
    void setMaterial(OdDbObjectId material);

    /// Moves the entity by a matrix. \return 0, or (not applicable) where the entity can't be
    /// moved so; nothing has changed then.
    virtual OdResult transformBy(OdGeMatrix3d const& matrix);
    /// Takes over layer, colour and material of another entity of the same database.
    /// \throws OdError (wrong database) for an entity of another one, (null object pointer).
    void setPropertiesFrom(OdDbEntity const* source, bool alsoSubentities = false);
    /// Tells, in a write period, whether the graphics change with it. A change counts as a
    /// modification.
    void recordGraphicsModified(bool modified = true);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    OdDbEntity();
    /// What a setter of geometry calls before it changes anything.
    void assertGraphicsWriteEnabled();

private:
    friend class OdDbBlockTableRecord;

    OdDbObjectId m_layer;
    OdDbObjectId m_material;
    OdCmEntityColor m_color;
};

using OdDbEntityPtr = OdSmartPtr<OdDbEntity>;

/// A straight line between two points.
class OdDbLine : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbLine);

public:
    OdDbLine();
    ~OdDbLine() override;
    static OdSmartPtr<OdDbLine> createObject();

    OdGePoint3d startPoint() const;
    void setStartPoint(OdGePoint3d const& point);
    OdGePoint3d endPoint() const;
    void setEndPoint(OdGePoint3d const& point);
    OdGeVector3d normal() const;
    void setNormal(OdGeVector3d const& normal);
    /// Height of extrusion along the normal.
    double thickness() const;
    void setThickness(double thickness);

    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    OdGePoint3d m_start;
    OdGePoint3d m_end;
    OdGeVector3d m_normal;
    double m_thickness = 0.0;
};

/// A solid body. The body itself is the host's: bytes that only its modeler reads, and the numbers
/// of faces, edges and vertices, which are named from 1 on.
class OdDb3dSolid : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDb3dSolid);

public:
    OdDb3dSolid();
    ~OdDb3dSolid() override;
    static OdSmartPtr<OdDb3dSolid> createObject();

    /// How many faces, edges and vertices the body has.
    struct Counts
    {
        std::uint32_t faces = 0;
        std::uint32_t edges = 0;
        std::uint32_t vertices = 0;

        friend bool operator==(Counts const&, Counts const&) = default;
    };

    bool isNull() const;
    /// The bytes; shared, not copied.
    OdBinaryData body() const;
    /// The name of the modeler's format.
    OdString bodyFormat() const;
    Counts counts() const;
    /// Replaces the body.
    void setBody(OdString const& format, OdBinaryData const& body, Counts const& counts);
    /// A name for a reader, such as the product's in an imported file.
    OdString label() const;
    void setLabel(OdString const& label);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    OdBinaryData m_body;
    OdString m_format;
    OdString m_label;
    Counts m_counts;
};

using OdDb3dSolidPtr = OdSmartPtr<OdDb3dSolid>;
using OdDbLinePtr = OdSmartPtr<OdDbLine>;
