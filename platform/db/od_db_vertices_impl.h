// What is done with lists of polyline vertices: filing, mapping, measuring, drawing.

#pragma once

#include "db/od_db_planar_impl.h"
#include "db/od_db_polyline_vertex.h"

#include <vector>

class OdGiWorldDraw;

namespace odDbVertices {

/// \throws OdError (bad input) for numbers that are not finite, or a negative width.
void requireValid(OdDbPolylineVertex const& vertex);
void write(OdDbDwgFiler& filer, OdDbPolylineVertexArray const& vertices);
/// \throws OdError (bad stream).
OdDbPolylineVertexArray read(OdDbDwgFiler& filer);

/// The arc of a segment with a bulge.
struct Arc
{
    OdGePoint2d center;
    double radius = 0.0;
    double startAngle = 0.0;
    double sweep = 0.0;  ///< negative for clockwise

    OdGePoint2d at(double share, double sideways = 0.0) const;
};

/// \return Whether the segment from `from` to `to` is an arc, and not as good as straight.
bool arcOf(OdDbPolylineVertex const& from, OdGePoint2d const& to, Arc& arc);
/// How many straight pieces stand for an arc.
/// \param deviation  How far they may lie off, 0 or less for no opinion.
unsigned piecesOf(double radius, double sweep, double deviation);
/// The points of a path with its arcs in straight pieces; a closed path ends at its start.
/// \param mostPieces  For one arc, at least 1.
std::vector<OdGePoint2d> flatten(OdDbPolylineVertexArray const& vertices, bool isClosed,
                                 double deviation, unsigned mostPieces);

/// \return Whether the matrix can map the vertices; they are mapped then.
bool map(odDbPlanar::PlaneMap const& map, double elevation, OdDbPolylineVertexArray& vertices);
OdGeExtents3d extents(OdDbPolylineVertexArray const& vertices, bool isClosed,
                      OdGeVector3d const& normal, double elevation);
void draw(OdDbPolylineVertexArray const& vertices, bool isClosed, OdGeVector3d const& normal,
          double elevation, OdGiWorldDraw& worldDraw);

}  // namespace odDbVertices
