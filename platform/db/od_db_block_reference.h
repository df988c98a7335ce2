// Block references: a block shown at a place, turned, scaled and mirrored.

#pragma once

#include "db/od_db_block_table.h"
#include "db/od_db_entity.h"
#include "ge/od_ge_scale3d.h"

/// Shows the content of a block. The block's origin comes to lie on the position; about it the content
/// is scaled along the block's axes, turned by the rotation about the normal, and put into the plane
/// of the normal.
///
/// The block lists its references, see `OdDbBlockTableRecord::getBlockReferenceIds`. A reference is
/// listed from when it is in a block of the same database until it is erased; undo and the id
/// translation of a clone keep the list right.
///
/// A drawing from elsewhere may hold blocks that contain themselves, or that are nested thousands of
/// levels deep, or a few that show more entities than anybody can count. Extents and drawing stop at
/// a block that they are in already; drawing stops also below `kDeepestDrawn` levels and behind
/// `kMostDrawn` references, and tells so.
class OdDbBlockReference : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbBlockReference);

public:
    /// Levels of references in references that are drawn.
    static constexpr unsigned kDeepestDrawn = 250;
    /// References that are drawn, nested ones included, where one is drawn from outside.
    static constexpr std::uint64_t kMostDrawn = 10'000'000;

    OdDbBlockReference();
    ~OdDbBlockReference() override;
    static OdSmartPtr<OdDbBlockReference> createObject();
    /// A reference outside a database.
    /// \throws OdError as the setters do.
    static OdSmartPtr<OdDbBlockReference> createObject(OdDbObjectId block,
                                                       OdGePoint3d const& position);

    /// \name Block
    /// @{
    /// The block that is shown; null for none.
    OdDbObjectId blockTableRecord() const { return read(m_block); }
    /// \throws OdError (not that kind of class) for an id of something that is no block, (wrong
    ///         database) for a block of another database, (cyclic reference) for the block that the
    ///         reference is in and for blocks that contain that one.
    void setBlockTableRecord(OdDbObjectId block);
    /// @}

    /// \name Placement
    /// @{
    /// From the coordinates of the block to those in which the reference lies. Opens the block, for
    /// its origin.
    OdGeMatrix3d blockTransform() const;
    /// Sets position, normal, rotation and scale from a matrix.
    /// \return 0, or (not applicable) for a matrix that isn't finite, has perspective, flattens space
    ///         or shears the block's axes; nothing has changed then.
    OdResult setBlockTransform(OdGeMatrix3d const& transform);
    /// Where the block's origin lies.
    OdGePoint3d position() const { return read(m_position); }
    void setPosition(OdGePoint3d const& position);
    /// In radians, about the normal, from the x axis of the normal's entity coordinate system.
    double rotation() const { return read(m_rotation); }
    void setRotation(double rotation);
    OdGeVector3d normal() const { return read(m_normal); }
    /// \throws OdError (bad input) for a vector without direction.
    void setNormal(OdGeVector3d const& normal);
    /// Factors along the block's axes; a negative one mirrors.
    OdGeScale3d scaleFactors() const { return read(m_scale); }
    /// \throws OdError (bad input) for a factor that is 0 or not finite.
    void setScaleFactors(OdGeScale3d const& factors);
    /// @}

    /// Needs a matrix that leaves the block's axes perpendicular. Signs of factors stay, but for
    /// that along x if the matrix reverses space.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    /// The least box around the boxes of the block's entities, each as it lies after the transform of
    /// the reference: exact for references nested up to a hundred levels and for entities that can be
    /// transformed; the transformed box of others.
    /// \return (not applicable) for a block without anything to measure.
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;

    OdResult subErase(bool erasing) override;
    /// As the base; the lists of references of both blocks follow.
    /// \throws OdError (cyclic reference) as `setBlockTableRecord`.
    void copyFrom(OdRxObject const* source) override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

    void cloneFinished(OdDbIdMapping& mapping) override;

protected:
    void requireReferencesIn(OdDbDatabase const& database) const override;
    void joiningBlock(OdDbBlockTableRecord const& block) const override;
    void joinedBlock() override;
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    OdGeMatrix3d transformAbout(OdGePoint3d const& origin) const;
    OdGePoint3d blockOrigin() const;
    OdResult place(OdGeMatrix3d const& transform, OdGeScale3d const& signs);
    void enterInBlock(OdDbObjectId block, bool isThere) const;
    void requireNoCycle(OdDbObjectId block) const;

    OdDbObjectId m_block;
    OdGePoint3d m_position;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    OdGeScale3d m_scale;
    double m_rotation = 0.0;
};

using OdDbBlockReferencePtr = OdSmartPtr<OdDbBlockReference>;
