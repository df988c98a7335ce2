// Entities of several vertices: polylines, multiple lines, leaders.

#pragma once

#include "db/od_db_entity.h"
#include "db/od_db_polyline_vertex.h"

using OdGePoint3dArray = OdArray<OdGePoint3d>;

/// What both kinds of plane polylines have: vertices with bulges and widths, in a plane.
class OdDbPlanarPolyline : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbPlanarPolyline);

public:
    ~OdDbPlanarPolyline() override;

    /// \name Vertices
    /// In entity coordinates of the normal.
    /// @{
    std::uint32_t numVertices() const;
    OdDbPolylineVertexArray vertices() const { return read(m_vertices); }
    /// \throws OdError (invalid index).
    OdDbPolylineVertex vertexAt(std::uint32_t index) const;
    /// Replaces all vertices.
    /// \throws OdError (bad input) for numbers that are not finite or a negative width.
    void setVertices(OdDbPolylineVertexArray const& vertices);
    /// \throws OdError (invalid index) for a position behind the end, (bad input).
    void addVertexAt(std::uint32_t index, OdDbPolylineVertex const& vertex);
    void setVertexAt(std::uint32_t index, OdDbPolylineVertex const& vertex);
    void removeVertexAt(std::uint32_t index);
    /// A vertex in world coordinates.
    OdGePoint3d pointAt(std::uint32_t index) const;
    /// @}

    bool isClosed() const { return read(m_isClosed); }
    void setClosed(bool closed);
    OdGeVector3d normal() const { return read(m_normal); }
    /// \throws OdError (bad input) for a vector without direction.
    void setNormal(OdGeVector3d const& normal);
    /// Distance of the plane from the origin, along the normal.
    double elevation() const { return read(m_elevation); }
    void setElevation(double elevation);
    /// Height of extrusion along the normal, in drawing units; may be negative.
    double thickness() const { return read(m_thickness); }
    void setThickness(double thickness);
    /// Whether patterns of line types run through the vertices.
    bool hasPlinegen() const { return read(m_hasPlinegen); }
    void setPlinegen(bool plinegen);

    /// Without bulges and widths: any matrix that is finite, has no perspective and doesn't flatten
    /// space; with them, one under which shapes in the plane stay similar. What is extruded must
    /// stay upright.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    /// Of a width that changes along an arc, the greater one counts all along the arc.
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    OdDbPlanarPolyline();
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    OdDbPolylineVertexArray m_vertices;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    double m_elevation = 0.0;
    double m_thickness = 0.0;
    bool m_isClosed = false;
    bool m_hasPlinegen = false;
};

/// A polyline of lines and arcs.
class OdDbPolyline : public OdDbPlanarPolyline
{
    RX_DECLARE_CLASS(OdDbPolyline);

public:
    OdDbPolyline();
    ~OdDbPolyline() override;
    static OdSmartPtr<OdDbPolyline> createObject();

    /// Sets the widths of all segments.
    void setConstantWidth(double width);
};

/// A polyline as older drawings have it; it may stand for a curve that its vertices approximate.
class OdDb2dPolyline : public OdDbPlanarPolyline
{
    RX_DECLARE_CLASS(OdDb2dPolyline);

public:
    /// For what the vertices stand. Stored; the numbers never change.
    enum class Type : std::uint8_t
    {
        kSimple = 0,
        kFitCurve = 1,
        kQuadSpline = 2,
        kCubicSpline = 3
    };

    OdDb2dPolyline();
    ~OdDb2dPolyline() override;
    static OdSmartPtr<OdDb2dPolyline> createObject();

    Type polyType() const { return read(m_type); }
    /// \throws OdError (bad input) for a number that is no type.
    void setPolyType(Type type);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    Type m_type = Type::kSimple;
};

/// Parallel lines along a path, with their corners mitred.
///
/// Of lines that come to more than `kMostDrawn` corners together only the first are drawn.
class OdDbMline : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbMline);

public:
    /// One of the lines; a value.
    struct Element
    {
        double offset = 0.0;  ///< from the path, to the left of its way
        OdCmEntityColor color;
        OdDbObjectId linetype;  ///< null for that of the entity

        friend bool operator==(Element const&, Element const&) = default;
    };
    /// Which of the lines runs through the vertices. Stored; the numbers never change.
    enum class Justification : std::uint8_t
    {
        kTop = 0,  ///< the one with the greatest offset
        kZero = 1,
        kBottom = 2  ///< the one with the least offset
    };
    using Elements = OdArray<Element>;
    static constexpr std::uint64_t kMostDrawn = 2'000'000;

    OdDbMline();
    ~OdDbMline() override;
    static OdSmartPtr<OdDbMline> createObject();

    /// The path, in world coordinates.
    OdGePoint3dArray vertices() const { return read(m_vertices); }
    void setVertices(OdGePoint3dArray const& vertices);
    Elements elements() const { return read(m_elements); }
    /// \throws OdError (bad input) for an offset that is not finite, (not that kind of class) for an
    ///         id of something that is no line type, (wrong database).
    void setElements(Elements const& elements);
    /// Factor of all offsets, above 0.
    double scale() const { return read(m_scale); }
    void setScale(double scale);
    Justification justification() const { return read(m_justification); }
    void setJustification(Justification justification);
    bool isClosed() const { return read(m_isClosed); }
    void setClosed(bool closed);
    OdGeVector3d normal() const { return read(m_normal); }
    /// \throws OdError (bad input) for a vector without direction.
    void setNormal(OdGeVector3d const& normal);
    /// The corners of one of the lines, in world coordinates.
    /// \throws OdError (invalid index).
    OdGePoint3dArray line(std::uint32_t element) const;

    /// Needs a matrix under which shapes in the plane stay similar.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    void requireReferencesIn(OdDbDatabase const& database) const override;
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    OdGePoint3dArray lineAt(double offset) const;
    double shift() const;

    OdGePoint3dArray m_vertices;
    Elements m_elements;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    double m_scale = 1.0;
    Justification m_justification = Justification::kZero;
    bool m_isClosed = false;
};

/// A line with an arrow that leads from something to a text about it.
class OdDbLeader : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbLeader);

public:
    OdDbLeader();
    ~OdDbLeader() override;
    static OdSmartPtr<OdDbLeader> createObject();

    /// From the arrow's tip on, in world coordinates.
    OdGePoint3dArray vertices() const { return read(m_vertices); }
    void setVertices(OdGePoint3dArray const& vertices);
    void appendVertex(OdGePoint3d const& vertex);
    bool hasArrowHead() const { return read(m_hasArrowHead); }
    void setArrowHead(bool arrowHead);
    /// Length of the arrow, in drawing units, above 0.
    double arrowSize() const { return read(m_arrowSize); }
    void setArrowSize(double size);
    /// The entity that the leader leads to; null for none.
    OdDbObjectId annotationObjId() const { return read(m_annotation); }
    /// \throws OdError (not that kind of class) for something that is no entity, (wrong database).
    void setAnnotationObjId(OdDbObjectId annotation);
    OdGeVector3d normal() const { return read(m_normal); }
    /// \throws OdError (bad input) for a vector without direction.
    void setNormal(OdGeVector3d const& normal);

    /// With an arrow it needs a matrix under which shapes in the plane stay similar.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    void requireReferencesIn(OdDbDatabase const& database) const override;
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    bool arrow(OdGePoint3d (&corners)[3]) const;

    OdGePoint3dArray m_vertices;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    OdDbObjectId m_annotation;
    double m_arrowSize = 2.5;
    bool m_hasArrowHead = true;
};

using OdDbPlanarPolylinePtr = OdSmartPtr<OdDbPlanarPolyline>;
using OdDbPolylinePtr = OdSmartPtr<OdDbPolyline>;
using OdDb2dPolylinePtr = OdSmartPtr<OdDb2dPolyline>;
using OdDbMlinePtr = OdSmartPtr<OdDbMline>;
using OdDbLeaderPtr = OdSmartPtr<OdDbLeader>;
