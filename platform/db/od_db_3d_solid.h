// Solid bodies, and the modeler that understands them.

#pragma once

#include "db/od_db_entity.h"

class OdDb3dSolidModeler;

/// A solid body. The body itself is the host's: bytes that only its modeler reads, and the numbers
/// of faces, edges and vertices, which are named from 1 on.
///
/// **Placement.** The body stays as it was made; where it stands in its block is a matrix beside it,
/// from the body's coordinates to the block's. Moving the solid changes the matrix alone, whole or
/// not at all, and never the bytes: it needs no modeler, costs the same for every body, and is the
/// same after saving. Whoever looks into the body applies the placement to what is found there.
///
/// **Modeler.** An `OdDb3dSolidModeler` is a protocol extension of this class. Without one that knows
/// the body's format, the solid answers from its counts, draws nothing and has no extents.
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

        /// The number of parts of a type; 0 for types that solids don't have.
        std::uint32_t of(OdDb::SubentType type) const noexcept;
        friend bool operator==(Counts const&, Counts const&) = default;
    };

    /// \name Body
    /// @{
    bool isNull() const;
    /// The bytes; shared, not copied.
    OdBinaryData body() const;
    /// The name of the modeler's format.
    OdString bodyFormat() const;
    Counts counts() const;
    /// Replaces the body. The new one stands in the block as its bytes say: the placement becomes
    /// the identity. \throws OdError (bad input) for a body of 2 GiB or more.
    void setBody(OdString const& format, OdBinaryData const& body, Counts const& counts);
    /// As `setBody`, with the counts that the modeler finds.
    /// \return 0; (not applicable) without a modeler for the format, (bad input) for a body of 2 GiB
    ///         or more, or what the modeler answers. Nothing has changed then.
    OdResult setBodyByModeler(OdString const& format, OdBinaryData const& body);
    /// From the body's coordinates to those of the block.
    OdGeMatrix3d placement() const;
    /// \throws OdError (bad input) for a matrix that is not finite, has perspective or flattens
    ///         space.
    void setPlacement(OdGeMatrix3d const& placement);
    /// A name for a reader, such as the product's in an imported file.
    OdString label() const;
    void setLabel(OdString const& label);
    /// @}

    /// \name Parts
    /// Selection markers with which parts are drawn: faces 5, 9, 13, ..., edges 6, 10, 14, ...,
    /// vertices 7, 11, 15, ...; the first of each is number 1.
    /// @{
    /// \return 0, which stands for none, for what no solid has: other types, numbers below 1 or beyond
    ///         all markers.
    static std::int64_t selectionMarker(OdDbSubentId part) noexcept;
    /// The part of a marker; a null sub-entity id for a marker that names none.
    static OdDbSubentId partOfMarker(std::int64_t marker) noexcept;
    /// Whether the body has a face, edge or vertex of that number. Never loads the body.
    bool hasPart(OdDbSubentId part) const;
    /// The solid itself, which stands for each of its parts; null if there is no such part, or the
    /// path doesn't end here. A solid outside a database is found by a path without ids.
    OdDbEntityPtr subentPtr(OdDbFullSubentPath const& path) const override;
    /// @}

    /// Moves the placement, see the class. Needs no modeler.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    /// As the modeler finds them; (not applicable) without one.
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;

    /// The modeler that knows the body's format; null if there is none.
    OdSmartPtr<OdDb3dSolidModeler> modeler() const;

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    void applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls) override;

protected:
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    void changePlacement(OdGeMatrix3d const& placement);
    Counts drawnCounts(OdDb3dSolidModeler const& understanding) const;

    OdBinaryData m_body;
    OdString m_format;
    OdString m_label;
    OdGeMatrix3d m_placement;
    Counts m_counts;
};

using OdDb3dSolidPtr = OdSmartPtr<OdDb3dSolid>;

/// What understands the bodies of solids; implemented by the host, on its kernel.
///
/// Attached to `OdDb3dSolid::desc()` with `OdRxClass::addX` under this class. All operations get
/// bytes in the body's coordinates; they may be asked from within a drawing's load or a save and
/// open no object for write. A failure is a result; nothing is thrown for bytes that can't be read.
class OdDb3dSolidModeler : public OdRxObject
{
    RX_DECLARE_CLASS(OdDb3dSolidModeler);

public:
    /// Whether the modeler reads bodies of a format.
    virtual bool knowsFormat(OdString const& format) const = 0;
    /// Counts the parts of a body. Their order, and so their numbers, is that in which `draw` tells
    /// them, and the same each time for the same bytes.
    virtual OdResult count(OdString const& format, OdBinaryData const& body,
                           OdDb3dSolid::Counts& counts) const = 0;
    /// The least box around the placed body.
    virtual OdResult extents(OdDb3dSolid const& solid, OdGeExtents3d& extents) const = 0;
    /// Draws one part of the body, in the body's coordinates; the solid has set marker and placement.
    virtual OdResult drawPart(OdDb3dSolid const& solid, OdDbSubentId part,
                              OdGiWorldDraw& worldDraw) const = 0;
    /// A body that stands where the placement takes it, for a kernel that can't place bodies.
    /// \param result  The new bytes, in the same format.
    virtual OdResult transform(OdString const& format, OdBinaryData const& body,
                               OdGeMatrix3d const& placement, OdBinaryData& result) const = 0;
};

using OdDb3dSolidModelerPtr = OdSmartPtr<OdDb3dSolidModeler>;
