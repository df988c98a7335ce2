// Geometry as drawables give it away: lines, faces, arcs, texts, nested drawables.

#pragma once

#include "ge/od_ge_ellip_arc3d.h"
#include "ge/od_ge_matrix3d.h"
#include "gi/od_gi_types.h"
#include "root/od_rx_class.h"

#include <cstdint>
#include <span>

class OdGiDrawable;

/// A shell: points, and faces over them.
///
/// Borrowed for a call. `faces` holds for each face a number of corners and then the corners as
/// positions in `points`; a negative number makes the loop a hole of the face before it.
struct OdGiShell
{
    std::span<OdGePoint3d const> points;
    std::span<std::int32_t const> faces;
    /// Selection markers of the faces, in their order; empty for none.
    std::span<std::int64_t const> faceMarkers;
};

/// Where drawables put their geometry; implemented by whoever draws.
///
/// Points are in the coordinates of the drawable, lengths in drawing units, angles in radians. What
/// is passed is borrowed for the call.
class OdGiGeometry : public OdRxObject
{
    RX_DECLARE_CLASS(OdGiGeometry);

public:
    /// \name Coordinates
    /// @{
    /// What follows is in coordinates that `transform` takes to those before.
    virtual void pushModelTransform(OdGeMatrix3d const& transform) = 0;
    /// Ends the latest `pushModelTransform`.
    virtual void popModelTransform() = 0;
    /// From the present coordinates to the world's.
    virtual OdGeMatrix3d modelToWorldTransform() const = 0;
    /// @}

    /// \name Curves
    /// @{
    /// \param normal  Direction of thickness; null if there is none.
    /// \param marker  Selection marker of this line alone; -1 for that of the traits.
    virtual void polyline(std::span<OdGePoint3d const> points, OdGeVector3d const* normal = nullptr,
                          std::int64_t marker = -1) = 0;
    /// A closed, plane area; filled as the traits say.
    virtual void polygon(std::span<OdGePoint3d const> points) = 0;
    virtual void circle(OdGePoint3d const& center, double radius, OdGeVector3d const& normal) = 0;
    /// An arc about the normal, counterclockwise from the start vector for a positive sweep.
    virtual void circularArc(OdGePoint3d const& center, double radius, OdGeVector3d const& normal,
                             OdGeVector3d const& startVector, double sweepAngle,
                             OdGiArcType type = OdGiArcType::kSimple) = 0;
    virtual void ellipArc(OdGeEllipArc3d const& arc, OdGiArcType type = OdGiArcType::kSimple) = 0;
    /// @}

    /// \name Faces
    /// @{
    virtual void shell(OdGiShell const& shell) = 0;
    /// A net of `rows` by `columns` points, row by row.
    virtual void mesh(std::uint32_t rows, std::uint32_t columns,
                      std::span<OdGePoint3d const> points) = 0;
    /// @}

    /// \name Texts
    /// @{
    /// One line of text.
    ///
    /// \param position     Left end of the base line.
    /// \param normal       Of the plane of the text.
    /// \param direction    Of the base line.
    /// \param height       Of a capital letter.
    /// \param widthFactor  Of a letter; negative for text that runs backwards.
    /// \param oblique      Slant to the right, in radians.
    virtual void text(OdGePoint3d const& position, OdGeVector3d const& normal,
                      OdGeVector3d const& direction, double height, double widthFactor,
                      double oblique, OdString const& text) = 0;
    /// @}

    /// Draws another drawable in the present coordinates: its attributes, then its geometry. The
    /// traits come back afterwards to what they were.
    virtual void draw(OdGiDrawable const* drawable) = 0;
};
