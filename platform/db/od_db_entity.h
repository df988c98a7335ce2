// Base of entities: objects that can be seen.

#pragma once

#include "db/od_db_object.h"
#include "db/od_db_subent.h"
#include "ge/od_ge_extents3d.h"
#include "ge/od_ge_matrix3d.h"
#include "ge/od_ge_point3d.h"
#include "ge/od_ge_vector3d.h"
#include "root/od_array.h"
#include "root/od_cm_color.h"
#include "root/od_cm_transparency.h"

class OdDbBlockTableRecord;
class OdDbEntity;
using OdDbEntityPtr = OdSmartPtr<OdDbEntity>;

/// Base of all entities. An entity lives in a block, which owns it.
///
/// Getters need the entity open for read, setters for write; setters are part of undo. A setter of
/// geometry throws OdError (bad input) for numbers that are not finite, and leaves the entity as it
/// was. Entities with a normal keep it at length 1 and lie in a plane perpendicular to it; angles in
/// that plane count from the x axis of the normal's entity coordinate system.
class OdDbEntity : public OdDbObject
{
    RX_DECLARE_CLASS(OdDbEntity);

public:
    ~OdDbEntity() override;

    /// Line weights with a meaning of their own.
    enum LineWeight : std::int16_t
    {
        kLineWeightByLayer = -1,
        kLineWeightByBlock = -2,
        kLineWeightDefault = -3
    };
    /// Greatest line weight, in hundredths of a millimetre.
    static constexpr int kLineWeightMax = 211;

    /// \name Properties
    /// @{
    /// The block that owns the entity; null outside one.
    OdDbObjectId blockId() const;
    /// The layer; an entity that is added without one gets layer "0".
    OdDbObjectId layerId() const;
    /// \throws OdError (not that kind of class) for an id of something that is no layer, (wrong
    ///         database) for a layer of another database.
    void setLayer(OdDbObjectId layer);
    OdCmEntityColor color() const;
    void setColor(OdCmEntityColor const& color);
    /// The material; null for that of the layer.
    OdDbObjectId materialId() const;
    /// \throws OdError (not that kind of class) for an id of something that is no material, (wrong
    ///         database).
    void setMaterial(OdDbObjectId material);
    /// The line type; null for that of the layer.
    OdDbObjectId linetypeId() const;
    /// \throws OdError (not that kind of class) for an id of something that is no line type, (wrong
    ///         database).
    void setLinetype(OdDbObjectId linetype);
    /// Factor of the line type's lengths.
    double linetypeScale() const;
    /// \throws OdError (bad input) unless the factor is above 0.
    void setLinetypeScale(double scale);
    /// In hundredths of a millimetre, or one of `LineWeight`.
    int lineWeight() const;
    /// \throws OdError (bad input) outside of -3 to `kLineWeightMax`.
    void setLineWeight(int lineWeight);
    OdCmTransparency transparency() const;
    void setTransparency(OdCmTransparency const& transparency);
    bool isVisible() const;
    void setVisible(bool visible);
    /// Takes over layer, colour, material, line type and its scale, line weight, transparency and
    /// visibility of another entity of the same database. An entity in a database keeps its layer if
    /// the other one has none.
    /// \param alsoSubentities  No entity of the platform keeps properties of its parts; a class that
    ///                         does overrides `subSetPropertiesFrom`.
    /// \throws OdError (wrong database) for an entity of another one, (null object pointer).
    void setPropertiesFrom(OdDbEntity const* source, bool alsoSubentities = false);
    /// @}

    /// \name Geometry
    /// @{
    /// Moves the entity by a matrix. \return 0, or (not applicable) where the entity can't be
    /// moved so: the result would be none of its kind, or the matrix is not finite, has perspective
    /// or flattens space. Nothing has changed then.
    virtual OdResult transformBy(OdGeMatrix3d const& matrix);
    /// The least box around the entity, in the coordinates of its block.
    /// \return 0, or (not applicable) for an entity of which nothing is to be measured; `extents` is
    ///         untouched then.
    virtual OdResult getGeomExtents(OdGeExtents3d& extents) const;
    /// The entity that stands for a part of this one.
    /// \param path  Ends in this entity's id and names the part.
    /// \return Null if there is no such part. The base has no parts.
    virtual OdDbEntityPtr subentPtr(OdDbFullSubentPath const& path) const;
    /// Tells, in a write period, whether the graphics change with it. A change counts as a
    /// modification.
    void recordGraphicsModified(bool modified = true);
    /// @}

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    /// As the base; changes the graphics.
    void copyFrom(OdRxObject const* source) override;

protected:
    OdDbEntity();
    /// What a setter of geometry calls before it changes anything.
    void assertGraphicsWriteEnabled();
    template <class T>
    T const& read(T const& field) const
    {
        assertReadEnabled();
        return field;
    }
    template <class T>
    void write(T& field, T const& value)
    {
        assertGraphicsWriteEnabled();
        field = value;
    }

    /// \throws OdError (not that kind of class) unless an id is that of an object of a class, (wrong
    ///         database) if it is one of another database than this entity's.
    void requireReference(OdDbObjectId id, OdRxClass* cls) const;
    void requireReferencesIn(OdDbDatabase const& database) const override;

    /// Takes over properties of parts. The base has none.
    virtual void subSetPropertiesFrom(OdDbEntity const* source);
    /// Asked before the entity becomes one of a block that is in a database; throws to refuse. The
    /// base agrees.
    virtual void joiningBlock(OdDbBlockTableRecord const& block) const;
    /// Told when it has become one. The base does nothing.
    virtual void joinedBlock();
    unsigned subSetAttributes(OdGiSubEntityTraits* traits) const override;

private:
    friend class OdDbBlockTableRecord;

    OdDbObjectId m_layer;
    OdDbObjectId m_material;
    OdDbObjectId m_linetype;
    double m_linetypeScale = 1.0;
    OdCmTransparency m_transparency;
    OdCmEntityColor m_color;
    std::int16_t m_lineWeight = kLineWeightByLayer;
    bool m_isVisible = true;
};
