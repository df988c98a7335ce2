#include "db/od_db_vertices_impl.h"

#include "db/od_db_filer.h"
#include "ge/od_ge_circ_arc3d.h"
#include "gi/od_gi_world_draw.h"
#include "root/od_error.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>
#include <utility>

namespace odDbVertices {

namespace {

/// Bulges below this are as good as straight: their arcs rise by less than the ends of arcs with such
/// radii are rounded by.
constexpr double kStraight = 1e-8;
/// A vertex takes a byte for each of its five numbers at least.
constexpr std::uint32_t kMinVertexBytes = 5;

bool hasWidth(OdDbPolylineVertex const& vertex)
{
    return vertex.startWidth > 0.0 || vertex.endWidth > 0.0;
}

/// Calls for each segment with its first vertex and the point of its second.
template <class Action>
void forEachSegment(OdDbPolylineVertexArray const& vertices, bool isClosed, Action const& action)
{
    const std::span<OdDbPolylineVertex const> all(vertices.begin(), vertices.size());
    for (std::size_t index = 0; index + 1 < all.size(); ++index) {
        action(all[index], all[index + 1].point);
    }
    if (isClosed && all.size() > 1) {
        action(all.back(), all.front().point);
    }
}

/// Both sides of a wide segment, counterclockwise: first the right one forwards, then the left one
/// backwards.
std::vector<OdGePoint2d> ribbonOf(OdDbPolylineVertex const& from, OdGePoint2d const& to,
                                  double deviation)
{
    std::vector<OdGePoint2d> left;
    std::vector<OdGePoint2d> right;
    Arc arc;
    const bool isArc = arcOf(from, to, arc);
    const unsigned pieces = isArc ? piecesOf(arc.radius, arc.sweep, deviation) : 1;
    const OdGeVector2d along = to - from.point;
    const OdGeVector2d across = along.isZeroLength() ? along : along.perpVector() / along.length();
    for (unsigned piece = 0; piece <= pieces; ++piece) {
        const double share = static_cast<double>(piece) / pieces;
        const double half = (from.startWidth + (from.endWidth - from.startWidth) * share) / 2.0;
        if (isArc) {
            left.push_back(arc.at(share, half));
            right.push_back(arc.at(share, -half));
        } else {
            left.push_back(from.point + along * share + across * half);
            right.push_back(from.point + along * share - across * half);
        }
    }
    right.insert(right.end(), left.rbegin(), left.rend());
    return right;
}

std::vector<OdGePoint3d> toWorld(std::vector<OdGePoint2d> const& points, OdGeVector3d const& normal,
                                 double elevation)
{
    const OdGeMatrix3d matrix = OdGeMatrix3d::planeToWorld(normal);
    std::vector<OdGePoint3d> world;
    world.reserve(points.size());
    for (OdGePoint2d const& point : points) {
        world.push_back(matrix * OdGePoint3d(point.x, point.y, elevation));
    }
    return world;
}

}  // namespace

void requireValid(OdDbPolylineVertex const& vertex)
{
    odDbPlanar::finite(vertex.point);
    odDbPlanar::finite(vertex.bulge);
    odDbPlanar::notNegative(vertex.startWidth);
    odDbPlanar::notNegative(vertex.endWidth);
}

void write(OdDbDwgFiler& filer, OdDbPolylineVertexArray const& vertices)
{
    filer.wrInt32(static_cast<std::int32_t>(vertices.size()));
    for (OdDbPolylineVertex const& vertex : vertices) {
        filer.wrPoint2d(vertex.point);
        filer.wrDouble(vertex.bulge);
        filer.wrDouble(vertex.startWidth);
        filer.wrDouble(vertex.endWidth);
    }
}

OdDbPolylineVertexArray read(OdDbDwgFiler& filer)
{
    const std::uint32_t count = odDbReadCount(filer, kMinVertexBytes);
    OdDbPolylineVertexArray vertices;
    for (std::uint32_t index = 0; index < count; ++index) {
        OdDbPolylineVertex vertex;
        vertex.point = odDbPlanar::readPoint2d(filer);
        vertex.bulge = odDbPlanar::readFinite(filer);
        vertex.startWidth = odDbPlanar::readNotNegative(filer);
        vertex.endWidth = odDbPlanar::readNotNegative(filer);
        vertices.append(vertex);
    }
    return vertices;
}

OdGePoint2d Arc::at(double share, double sideways) const
{
    // To the left of the way: inwards on a counterclockwise arc, outwards on a clockwise one.
    const double distance = radius + (sweep > 0.0 ? -sideways : sideways);
    const double angle = startAngle + sweep * share;
    return center + OdGeVector2d(std::cos(angle), std::sin(angle)) * distance;
}

bool arcOf(OdDbPolylineVertex const& from, OdGePoint2d const& to, Arc& arc)
{
    const OdGeVector2d chord = to - from.point;
    const double bulge = from.bulge;
    if (std::fabs(bulge) < kStraight || chord.isZeroLength()) {
        return false;
    }
    arc.center =
        from.point + chord * 0.5 + chord.perpVector() * ((1.0 - bulge * bulge) / (4.0 * bulge));
    const OdGeVector2d start = from.point - arc.center;
    arc.radius = start.length();
    arc.startAngle = start.angle();
    arc.sweep = 4.0 * std::atan(bulge);
    return std::isnormal(arc.radius);
}

unsigned piecesOf(double radius, double sweep, double deviation)
{
    constexpr double kFewest = 8.0;    // in a turn, where nobody has an opinion or a coarse one
    constexpr double kDefault = 64.0;  // in a turn
    constexpr double kMost = 4096.0;   // in a turn
    const double share = deviation / radius;
    double inTurn = kDefault;
    if (share > 0.0) {
        const double step = 2.0 * std::acos(1.0 - std::min(share, 1.0));
        inTurn = step > 0.0 ? 2.0 * std::numbers::pi / step : kMost;
    }
    inTurn = std::clamp(inTurn, kFewest, kMost);
    return 1U + static_cast<unsigned>(inTurn * std::fabs(sweep) / (2.0 * std::numbers::pi));
}

std::vector<OdGePoint2d> flatten(OdDbPolylineVertexArray const& vertices, bool isClosed,
                                 double deviation, unsigned mostPieces)
{
    std::vector<OdGePoint2d> points;
    if (!vertices.isEmpty()) {
        points.push_back(vertices.first().point);
    }
    forEachSegment(vertices, isClosed, [&](OdDbPolylineVertex const& from, OdGePoint2d const& to) {
        Arc arc;
        if (arcOf(from, to, arc)) {
            const unsigned pieces =
                std::min(piecesOf(arc.radius, arc.sweep, deviation), mostPieces);
            for (unsigned piece = 1; piece < pieces; ++piece) {
                points.push_back(arc.at(static_cast<double>(piece) / pieces));
            }
        }
        points.push_back(to);
    });
    return points;
}

bool map(odDbPlanar::PlaneMap const& map, double elevation, OdDbPolylineVertexArray& vertices)
{
    OdDbPolylineVertexArray mapped;
    mapped.reserve(vertices.size());
    for (OdDbPolylineVertex vertex : std::as_const(vertices)) {
        if (!map.isSimilar && (std::fabs(vertex.bulge) >= kStraight || hasWidth(vertex))) {
            return false;
        }
        vertex.point = map.map(vertex.point, elevation);
        vertex.bulge = map.isMirrored ? -vertex.bulge : vertex.bulge;
        vertex.startWidth *= map.scale;
        vertex.endWidth *= map.scale;
        if (!std::isfinite(vertex.point.x) || !std::isfinite(vertex.point.y) ||
            !std::isfinite(vertex.startWidth) || !std::isfinite(vertex.endWidth)) {
            return false;
        }
        mapped.append(vertex);
    }
    vertices = mapped;
    return true;
}

OdGeExtents3d extents(OdDbPolylineVertexArray const& vertices, bool isClosed,
                      OdGeVector3d const& normal, double elevation)
{
    const OdGeMatrix3d matrix = OdGeMatrix3d::planeToWorld(normal);
    OdGeExtents3d box;
    const auto add = [&](OdGePoint2d const& point) {
        box.addPoint(matrix * OdGePoint3d(point.x, point.y, elevation));
    };
    if (!vertices.isEmpty()) {
        add(vertices.first().point);
    }
    const auto addArc = [&](Arc const& arc, double radius) {
        const double start = arc.sweep > 0.0 ? arc.startAngle : arc.startAngle + arc.sweep;
        const OdGeCircArc3d curve(matrix * OdGePoint3d(arc.center.x, arc.center.y, elevation),
                                  normal, normal.perpVector(), radius, start,
                                  start + std::fabs(arc.sweep));
        box.addExt(curve.extents());
    };
    forEachSegment(vertices, isClosed, [&](OdDbPolylineVertex const& from, OdGePoint2d const& to) {
        Arc arc;
        add(to);
        if (arcOf(from, to, arc)) {
            // Of a width that changes along an arc, the greater one counts all along.
            const double half = std::max(from.startWidth, from.endWidth) / 2.0;
            addArc(arc, arc.radius + half);
            if (half > arc.radius) {
                addArc(arc, arc.radius - half);  // the inner side lies beyond the center
            }
        }
        if (hasWidth(from)) {
            for (OdGePoint2d const& point : ribbonOf(from, to, 0.0)) {
                add(point);
            }
        }
    });
    return box;
}

void draw(OdDbPolylineVertexArray const& vertices, bool isClosed, OdGeVector3d const& normal,
          double elevation, OdGiWorldDraw& worldDraw)
{
    OdGiGeometry& geometry = worldDraw.geometry();
    const auto deviation = [&](OdGePoint2d const& point) {
        return worldDraw.deviation(OdGiDeviationType::kForCurve,
                                   odDbPlanar::toWorld(normal, point, elevation));
    };
    std::vector<OdGePoint2d> run;  // straight segments without width that hang together
    const auto endRun = [&] {
        if (run.size() > 1) {
            geometry.polyline(toWorld(run, normal, elevation), &normal);
        }
        run.clear();
    };
    forEachSegment(vertices, isClosed, [&](OdDbPolylineVertex const& from, OdGePoint2d const& to) {
        Arc arc;
        if (hasWidth(from)) {
            endRun();
            worldDraw.subEntityTraits().setFillType(OdGiFillType::kFillAlways);
            geometry.polygon(toWorld(ribbonOf(from, to, deviation(from.point)), normal, elevation));
        } else if (arcOf(from, to, arc)) {
            endRun();
            geometry.circularArc(odDbPlanar::toWorld(normal, arc.center, elevation), arc.radius,
                                 normal, odDbPlanar::direction(normal, arc.startAngle), arc.sweep);
        } else {
            if (run.empty()) {
                run.push_back(from.point);
            }
            run.push_back(to);
        }
    });
    endRun();
}

}  // namespace odDbVertices
