// Hatches: plane areas that are filled, with a colour or a pattern of lines.

#pragma once

#include "db/od_db_entity.h"
#include "db/od_db_polyline_vertex.h"

/// A piece of the boundary of a hatch, in the plane of the hatch; a value.
///
/// Either a line, or the points center + cos(t) first axis + sin(t) second axis for t from start to
/// end: an arc of a circle, if the axes are perpendicular and of one length, else of an ellipse.
struct OdDbHatchEdge
{
    /// Stored; the numbers never change.
    enum class Kind : std::uint8_t
    {
        kLine = 0,
        kArc = 1
    };

    Kind kind = Kind::kLine;
    OdGePoint2d start;  ///< of a line
    OdGePoint2d end;
    OdGePoint2d center;  ///< of an arc
    OdGeVector2d firstAxis;
    OdGeVector2d secondAxis;
    double startParam = 0.0;  ///< in radians; a start above the end makes the way clockwise
    double endParam = 0.0;

    static OdDbHatchEdge line(OdGePoint2d const& start, OdGePoint2d const& end);
    static OdDbHatchEdge arc(OdGePoint2d const& center, OdGeVector2d const& firstAxis,
                             OdGeVector2d const& secondAxis, double startParam, double endParam);
    /// The point at a share of the way, from 0 to 1.
    OdGePoint2d at(double share) const;

    friend bool operator==(OdDbHatchEdge const&, OdDbHatchEdge const&) = default;
};

/// A closed boundary of a hatch; a value. Areas that lie within an odd number of loops are filled.
struct OdDbHatchLoop
{
    /// Bits, stored; the numbers never change.
    enum Flags : std::int32_t
    {
        kDefault = 0,
        kExternal = 1,
        kOutermost = 16
    };

    std::int32_t flags = kDefault;
    /// A closed polyline; widths don't count. Used if there are no edges.
    OdDbPolylineVertexArray vertices;
    /// Edges, each from the end of the one before.
    OdArray<OdDbHatchEdge> edges;

    friend bool operator==(OdDbHatchLoop const&, OdDbHatchLoop const&) = default;
};

/// One family of parallel lines of a pattern, in the plane of the hatch; a value.
struct OdDbHatchPatternLine
{
    double angle = 0.0;  ///< in radians
    OdGePoint2d base;    ///< a point of the first line, where its dashes start
    OdGeVector2d offset{0.0,
                        1.0};  ///< from one line to the next, and from start to start of dashes
    OdArray<double>
        dashes;  ///< lengths of dashes (above 0), dots (0) and gaps (below 0); may be none

    friend bool operator==(OdDbHatchPatternLine const&, OdDbHatchPatternLine const&) = default;
};

/// A plane area, bounded by loops, filled with its colour or with a pattern of lines.
///
/// Where drawing it would take more than a million steps or so (a pattern that is too fine, too many
/// loops in each other), it is drawn in part or more coarsely and says so by `kDrawableIsTruncated`.
class OdDbHatch : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbHatch);

public:
    OdDbHatch();
    ~OdDbHatch() override;
    static OdSmartPtr<OdDbHatch> createObject();

    /// \name Boundary
    /// @{
    std::uint32_t numLoops() const;
    /// \throws OdError (invalid index).
    OdDbHatchLoop loopAt(std::uint32_t index) const;
    /// \throws OdError (bad input) for numbers that are not finite.
    void appendLoop(OdDbHatchLoop const& loop);
    /// \throws OdError (invalid index).
    void removeLoopAt(std::uint32_t index);
    /// @}

    /// \name Filling
    /// @{
    bool isSolidFill() const { return read(m_isSolid); }
    void setSolidFill();
    OdString patternName() const { return read(m_patternName); }
    OdArray<OdDbHatchPatternLine> patternLines() const { return read(m_patternLines); }
    /// Fills with lines, which lie in the plane as they are given.
    /// \throws OdError (bad input) for numbers that are not finite.
    void setPattern(OdString const& name, OdArray<OdDbHatchPatternLine> const& lines);
    /// @}

    OdGeVector3d normal() const { return read(m_normal); }
    /// \throws OdError (bad input) for a vector without direction.
    void setNormal(OdGeVector3d const& normal);
    /// Distance of the plane from the origin, along the normal.
    double elevation() const { return read(m_elevation); }
    void setElevation(double elevation);

    /// Takes every matrix that is finite, has no perspective and doesn't flatten space. Polylines with
    /// bulges become edges where their arcs don't stay arcs.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    unsigned drawSolid(OdGiWorldDraw& worldDraw) const;
    unsigned drawPatterns(OdGiWorldDraw& worldDraw) const;

    OdArray<OdDbHatchLoop> m_loops;
    OdArray<OdDbHatchPatternLine> m_patternLines;
    OdString m_patternName;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    double m_elevation = 0.0;
    bool m_isSolid = true;
};

using OdDbHatchPtr = OdSmartPtr<OdDbHatch>;
