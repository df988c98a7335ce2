// Vertices of plane polylines, with bulges and widths.

#pragma once

#include "ge/od_ge_point2d.h"
#include "root/od_array.h"

/// A vertex of a plane polyline, and the segment from it to the next one; a value.
struct OdDbPolylineVertex
{
    OdGePoint2d point;  ///< in the coordinates of the polyline's plane
    /// Tangent of a quarter of the angle of the segment's arc; positive counterclockwise, 0 for a
    /// straight segment.
    double bulge = 0.0;
    double startWidth = 0.0;  ///< in drawing units, not negative
    double endWidth = 0.0;

    friend bool operator==(OdDbPolylineVertex const&, OdDbPolylineVertex const&) = default;
};

using OdDbPolylineVertexArray = OdArray<OdDbPolylineVertex>;
