// Traits: the colour, layer, line type and so on with which geometry is drawn.

#pragma once

#include "gi/od_gi_types.h"
#include "root/od_cm_color.h"
#include "root/od_cm_transparency.h"
#include "root/od_rx_class.h"

class OdDbObjectId;

/// What the geometry that follows is drawn with; implemented by whoever draws.
///
/// A value that is set holds until it is set again. Ids name objects of the database that is drawn;
/// null stands for none. Whoever draws an entity sets the entity's own properties first, see
/// `OdGiDrawable::setAttributes`.
class OdGiSubEntityTraits : public OdRxObject
{
    RX_DECLARE_CLASS(OdGiSubEntityTraits);

public:
    /// \name Setting
    /// @{
    /// A colour by its index; 0 by block, 256 by layer.
    virtual void setColor(std::int16_t index) = 0;
    virtual void setTrueColor(OdCmEntityColor const& color) = 0;
    virtual void setLayer(OdDbObjectId layer) = 0;
    virtual void setLineType(OdDbObjectId lineType) = 0;
    /// Names the part of the drawable to which the geometry that follows belongs. What the numbers
    /// mean is the drawable's own; 0 stands for none.
    virtual void setSelectionMarker(std::int64_t marker) = 0;
    virtual void setFillType(OdGiFillType type) = 0;
    /// The plane of what is filled, by its normal; null if it is not known.
    virtual void setFillPlane(OdGeVector3d const* normal = nullptr) = 0;
    /// In hundredths of a millimetre; negative for by layer, by block and the default.
    virtual void setLineWeight(int lineWeight) = 0;
    virtual void setLineTypeScale(double scale = 1.0) = 0;
    /// Height of extrusion along the normal of what is drawn, in drawing units.
    virtual void setThickness(double thickness) = 0;
    virtual void setPlotStyleName(OdString const& name) = 0;
    virtual void setMaterial(OdDbObjectId material) = 0;
    /// \param mapper  Borrowed for the call; null for the material's own.
    virtual void setMapper(OdGiMapper const* mapper) = 0;
    virtual void setVisualStyle(OdDbObjectId visualStyle) = 0;
    virtual void setTransparency(OdCmTransparency const& transparency) = 0;
    /// Bits of `OdGiDrawFlags`.
    virtual void setDrawFlags(std::uint32_t flags) = 0;
    /// Whether the geometry that follows is for selecting alone and is not shown.
    virtual void setSelectionGeom(bool selectionGeom) = 0;
    virtual void setShadowFlags(OdGiShadowFlags flags) = 0;
    /// Whether section planes cut the geometry.
    virtual void setSectionable(bool sectionable) = 0;
    virtual void setSelectionFlags(OdGiSelectionFlags flags) = 0;
    /// The second colour of a gradient.
    virtual void setSecondaryTrueColor(OdCmEntityColor const& color) = 0;
    /// \param modifiers  Borrowed for the call; null for none.
    virtual void setLineStyleModifiers(OdGiLineStyleModifiers const* modifiers) = 0;
    /// Takes all traits back to what they were when drawing of the entity began.
    virtual void setupForEntity() = 0;
    /// Adds a light to what is drawn.
    virtual void addLight(OdDbObjectId light) = 0;
    /// @}

    /// \name Asking
    /// @{
    /// The index, or one of `OdCmEntityColor::ColorIndex`.
    virtual std::int16_t color() const = 0;
    virtual OdCmEntityColor trueColor() const = 0;
    virtual OdDbObjectId layer() const = 0;
    virtual OdDbObjectId lineType() const = 0;
    virtual std::int64_t selectionMarker() const = 0;
    virtual OdGiFillType fillType() const = 0;
    /// \return Whether a plane is set; `normal` is untouched if not.
    virtual bool fillPlane(OdGeVector3d& normal) const = 0;
    virtual int lineWeight() const = 0;
    virtual double lineTypeScale() const = 0;
    virtual double thickness() const = 0;
    virtual OdString plotStyleName() const = 0;
    virtual OdDbObjectId material() const = 0;
    /// Null if none is set; valid until it is set again.
    virtual OdGiMapper const* mapper() const = 0;
    virtual OdDbObjectId visualStyle() const = 0;
    virtual OdCmTransparency transparency() const = 0;
    virtual std::uint32_t drawFlags() const = 0;
    virtual bool selectionGeom() const = 0;
    virtual OdGiShadowFlags shadowFlags() const = 0;
    virtual bool sectionable() const = 0;
    virtual OdGiSelectionFlags selectionFlags() const = 0;
    virtual OdCmEntityColor secondaryTrueColor() const = 0;
    /// Null if none are set; valid until they are set again.
    virtual OdGiLineStyleModifiers const* lineStyleModifiers() const = 0;
    /// @}
};
