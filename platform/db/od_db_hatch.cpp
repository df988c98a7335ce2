#include "db/od_db_hatch.h"

#include "db/od_db_filer.h"
#include "db/od_db_planar_impl.h"
#include "db/od_db_vertices_impl.h"
#include "ge/od_ge_ellip_arc3d.h"
#include "gi/od_gi_world_draw.h"
#include "root/od_error.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

RX_DEFINE_CLASS(OdDbHatch, OdDbEntity, odrxCreate<OdDbHatch>, L"OdDbHatch",
                OdDb::kDwgVersionCurrent, 0, 0, L"HATCH", L"Object database");

using odDbPlanar::PlaneMap;

namespace {

// Least numbers of bytes that records take.
constexpr std::uint32_t kMinLoopBytes = 3;
constexpr std::uint32_t kMinEdgeBytes = 5;
constexpr std::uint32_t kMinPatternLineBytes = 6;

/// Lines of one family, and dashes of one line, beyond which a pattern is too fine to be drawn.
constexpr double kMostLines = 20000.0;
constexpr double kMostDashes = 20000.0;

void requireValid(OdDbHatchEdge const& edge)
{
    if (edge.kind > OdDbHatchEdge::Kind::kArc) {
        throw OdError(kOdInvalidInput);
    }
    odDbPlanar::finite(edge.start);
    odDbPlanar::finite(edge.end);
    odDbPlanar::finite(edge.center);
    odDbPlanar::finite(edge.firstAxis);
    odDbPlanar::finite(edge.secondAxis);
    odDbPlanar::finite(edge.startParam);
    odDbPlanar::finite(edge.endParam);
}

void requireValid(OdDbHatchPatternLine const& line)
{
    odDbPlanar::finite(line.angle);
    odDbPlanar::finite(line.base);
    odDbPlanar::finite(line.offset);
    for (double dash : line.dashes) {
        odDbPlanar::finite(dash);
    }
}

void writeEdge(OdDbDwgFiler& filer, OdDbHatchEdge const& edge)
{
    filer.wrUInt8(static_cast<std::uint8_t>(edge.kind));
    if (edge.kind == OdDbHatchEdge::Kind::kLine) {
        filer.wrPoint2d(edge.start);
        filer.wrPoint2d(edge.end);
        return;
    }
    filer.wrPoint2d(edge.center);
    filer.wrVector2d(edge.firstAxis);
    filer.wrVector2d(edge.secondAxis);
    filer.wrDouble(edge.startParam);
    filer.wrDouble(edge.endParam);
}

OdDbHatchEdge readEdge(OdDbDwgFiler& filer)
{
    OdDbHatchEdge edge;
    edge.kind = static_cast<OdDbHatchEdge::Kind>(
        odDbPlanar::readEnum(filer, static_cast<std::uint8_t>(OdDbHatchEdge::Kind::kArc)));
    if (edge.kind == OdDbHatchEdge::Kind::kLine) {
        edge.start = odDbPlanar::readPoint2d(filer);
        edge.end = odDbPlanar::readPoint2d(filer);
        return edge;
    }
    edge.center = odDbPlanar::readPoint2d(filer);
    edge.firstAxis = odDbPlanar::readVector2d(filer);
    edge.secondAxis = odDbPlanar::readVector2d(filer);
    edge.startParam = odDbPlanar::readFinite(filer);
    edge.endParam = odDbPlanar::readFinite(filer);
    return edge;
}

OdDbHatchLoop readLoop(OdDbDwgFiler& filer)
{
    OdDbHatchLoop loop;
    loop.flags = filer.rdInt32();
    loop.vertices = odDbVertices::read(filer);
    const std::uint32_t count = odDbReadCount(filer, kMinEdgeBytes);
    for (std::uint32_t index = 0; index < count; ++index) {
        loop.edges.append(readEdge(filer));
    }
    return loop;
}

void writePatternLine(OdDbDwgFiler& filer, OdDbHatchPatternLine const& line)
{
    filer.wrDouble(line.angle);
    filer.wrPoint2d(line.base);
    filer.wrVector2d(line.offset);
    filer.wrInt32(static_cast<std::int32_t>(line.dashes.size()));
    for (double dash : line.dashes) {
        filer.wrDouble(dash);
    }
}

OdDbHatchPatternLine readPatternLine(OdDbDwgFiler& filer)
{
    OdDbHatchPatternLine line;
    line.angle = odDbPlanar::readFinite(filer);
    line.base = odDbPlanar::readPoint2d(filer);
    line.offset = odDbPlanar::readVector2d(filer);
    const std::uint32_t count = odDbReadCount(filer, 1);
    for (std::uint32_t index = 0; index < count; ++index) {
        line.dashes.append(odDbPlanar::readFinite(filer));
    }
    return line;
}

/// The edges of a closed polyline.
OdArray<OdDbHatchEdge> edgesOf(OdDbPolylineVertexArray const& vertices)
{
    OdArray<OdDbHatchEdge> edges;
    for (std::uint32_t index = 0; index < vertices.size(); ++index) {
        OdDbPolylineVertex const& from = vertices.getAt(index);
        const OdGePoint2d to = vertices.getAt((index + 1) % vertices.size()).point;
        odDbVertices::Arc arc;
        if (odDbVertices::arcOf(from, to, arc)) {
            edges.append(OdDbHatchEdge::arc(arc.center, OdGeVector2d(arc.radius, 0.0),
                                            OdGeVector2d(0.0, arc.radius), arc.startAngle,
                                            arc.startAngle + arc.sweep));
        } else {
            edges.append(OdDbHatchEdge::line(from.point, to));
        }
    }
    return edges;
}

OdDbHatchEdge mapEdge(PlaneMap const& map, double elevation, OdDbHatchEdge const& edge)
{
    if (edge.kind == OdDbHatchEdge::Kind::kLine) {
        return OdDbHatchEdge::line(map.map(edge.start, elevation), map.map(edge.end, elevation));
    }
    return OdDbHatchEdge::arc(map.map(edge.center, elevation), map.map(edge.firstAxis),
                              map.map(edge.secondAxis), edge.startParam, edge.endParam);
}

OdDbHatchPatternLine mapPatternLine(PlaneMap const& map, double elevation,
                                    OdDbHatchPatternLine const& line)
{
    const OdGeVector2d along = map.map(OdGeVector2d(std::cos(line.angle), std::sin(line.angle)));
    OdDbHatchPatternLine mapped;
    mapped.angle = along.angle();
    mapped.base = map.map(line.base, elevation);
    mapped.offset = map.map(line.offset);
    for (double dash : line.dashes) {
        mapped.dashes.append(dash * along.length());
    }
    return mapped;
}

/// The loop in straight pieces.
OdArray<OdGePoint2d> outlineOf(OdDbHatchLoop const& loop, double deviation)
{
    OdArray<OdGePoint2d> points;
    if (loop.edges.isEmpty()) {
        for (OdGePoint2d const& point :
             odDbVertices::flatten(loop.vertices, /*isClosed=*/true, deviation)) {
            points.append(point);
        }
        return points;
    }
    for (OdDbHatchEdge const& edge : loop.edges) {
        const double radius = std::max(edge.firstAxis.length(), edge.secondAxis.length());
        const double turns = std::min(std::fabs(edge.endParam - edge.startParam), 7.0);
        const unsigned pieces = edge.kind == OdDbHatchEdge::Kind::kLine || radius == 0.0
                                    ? 1
                                    : odDbVertices::piecesOf(radius, turns, deviation);
        for (unsigned piece = 0; piece <= pieces; ++piece) {
            points.append(edge.at(static_cast<double>(piece) / pieces));
        }
    }
    return points;
}

}  // namespace

OdDbHatchEdge OdDbHatchEdge::line(OdGePoint2d const& start, OdGePoint2d const& end)
{
    OdDbHatchEdge edge;
    edge.start = start;
    edge.end = end;
    return edge;
}

OdDbHatchEdge OdDbHatchEdge::arc(OdGePoint2d const& center, OdGeVector2d const& firstAxis,
                                 OdGeVector2d const& secondAxis, double startParam, double endParam)
{
    OdDbHatchEdge edge;
    edge.kind = Kind::kArc;
    edge.center = center;
    edge.firstAxis = firstAxis;
    edge.secondAxis = secondAxis;
    edge.startParam = startParam;
    edge.endParam = endParam;
    return edge;
}

OdGePoint2d OdDbHatchEdge::at(double share) const
{
    if (kind == Kind::kLine) {
        return start + (end - start) * share;
    }
    const double param = startParam + (endParam - startParam) * share;
    return center + firstAxis * std::cos(param) + secondAxis * std::sin(param);
}

OdDbHatch::OdDbHatch() = default;
OdDbHatch::~OdDbHatch() = default;

OdDbHatchPtr OdDbHatch::createObject()
{
    return odrxMake<OdDbHatch>();
}

std::uint32_t OdDbHatch::numLoops() const
{
    assertReadEnabled();
    return m_loops.size();
}

OdDbHatchLoop OdDbHatch::loopAt(std::uint32_t index) const
{
    assertReadEnabled();
    return m_loops.getAt(index);
}

void OdDbHatch::appendLoop(OdDbHatchLoop const& loop)
{
    std::for_each(loop.vertices.begin(), loop.vertices.end(), odDbVertices::requireValid);
    for (OdDbHatchEdge const& edge : loop.edges) {
        requireValid(edge);
    }
    assertGraphicsWriteEnabled();
    m_loops.append(loop);
}

void OdDbHatch::removeLoopAt(std::uint32_t index)
{
    if (index >= numLoops()) {
        throw OdError_InvalidIndex();
    }
    assertGraphicsWriteEnabled();
    m_loops.removeAt(index);
}

void OdDbHatch::setSolidFill()
{
    assertGraphicsWriteEnabled();
    m_isSolid = true;
    m_patternName.empty();
    m_patternLines.clear();
}

void OdDbHatch::setPattern(OdString const& name, OdArray<OdDbHatchPatternLine> const& lines)
{
    for (OdDbHatchPatternLine const& line : lines) {
        requireValid(line);
    }
    assertGraphicsWriteEnabled();
    m_isSolid = false;
    m_patternName = name;
    m_patternLines = lines;
}

void OdDbHatch::setNormal(OdGeVector3d const& normal)
{
    write(m_normal, odDbPlanar::unit(normal));
}

void OdDbHatch::setElevation(double elevation)
{
    write(m_elevation, odDbPlanar::finite(elevation));
}

OdResult OdDbHatch::transformBy(OdGeMatrix3d const& matrix)
{
    PlaneMap map;
    if (!map.set(matrix, m_normal) || !std::isfinite(map.mapElevation(m_elevation))) {
        return kOdNotApplicable;
    }
    OdArray<OdDbHatchLoop> loops;
    OdArray<OdDbHatchPatternLine> lines;
    try {
        for (OdDbHatchLoop loop : std::as_const(m_loops)) {
            if (!odDbVertices::map(map, m_elevation, loop.vertices)) {
                if (loop.edges.isEmpty()) {
                    loop.edges = edgesOf(loop.vertices);
                }
                loop.vertices.clear();
            }
            OdArray<OdDbHatchEdge> edges;
            for (OdDbHatchEdge const& edge : std::as_const(loop.edges)) {
                edges.append(mapEdge(map, m_elevation, edge));
                requireValid(edges.last());
            }
            loop.edges = edges;
            loops.append(loop);
        }
        for (OdDbHatchPatternLine const& line : std::as_const(m_patternLines)) {
            lines.append(mapPatternLine(map, m_elevation, line));
            requireValid(lines.last());
        }
    } catch (OdError const& error) {
        if (error.code() != kOdInvalidInput) {
            throw;
        }
        return kOdNotApplicable;  // a number has left what numbers can hold
    }
    assertGraphicsWriteEnabled();
    m_loops = loops;
    m_patternLines = lines;
    m_elevation = map.mapElevation(m_elevation);
    m_normal = map.normal;
    return kOdOk;
}

OdResult OdDbHatch::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    OdGeExtents3d found;
    for (OdDbHatchLoop const& loop : m_loops) {
        if (loop.edges.isEmpty()) {
            OdDbPolylineVertexArray bare;
            for (OdDbPolylineVertex vertex : loop.vertices) {
                vertex.startWidth = vertex.endWidth = 0.0;
                bare.append(vertex);
            }
            found.addExt(odDbVertices::extents(bare, /*isClosed=*/true, m_normal, m_elevation));
        }
        for (OdDbHatchEdge const& edge : loop.edges) {
            found.addPoint(odDbPlanar::toWorld(m_normal, edge.at(0.0), m_elevation));
            found.addPoint(odDbPlanar::toWorld(m_normal, edge.at(1.0), m_elevation));
            if (edge.kind == OdDbHatchEdge::Kind::kLine) {
                continue;
            }
            // Extreme along each world axis where the derivative along it is 0.
            const OdGeMatrix3d toWorld = OdGeMatrix3d::planeToWorld(m_normal);
            const OdGeVector3d first =
                toWorld * OdGeVector3d(edge.firstAxis.x, edge.firstAxis.y, 0.0);
            const OdGeVector3d second =
                toWorld * OdGeVector3d(edge.secondAxis.x, edge.secondAxis.y, 0.0);
            const double low = std::min(edge.startParam, edge.endParam);
            const double span = std::fabs(edge.endParam - edge.startParam);
            const double extremes[] = {std::atan2(second.x, first.x), std::atan2(second.y, first.y),
                                       std::atan2(second.z, first.z)};
            for (double extreme : extremes) {
                for (double param : {extreme, extreme + std::numbers::pi}) {
                    const double past = odDbPlanar::normalAngle(param - low);
                    if (past <= span) {
                        const OdGePoint2d point = edge.center + edge.firstAxis * std::cos(param) +
                                                  edge.secondAxis * std::sin(param);
                        found.addPoint(odDbPlanar::toWorld(m_normal, point, m_elevation));
                    }
                }
            }
        }
    }
    if (!found.isValidExtents()) {
        return kOdNotApplicable;
    }
    extents = found;
    return kOdOk;
}

// ---------------------------------------------------------------------------------------------
// Drawing

namespace {

/// Where a line runs inside the outlines: pairs of its parameters, by the rule of odd crossings.
std::vector<double> crossingsOf(OdGePoint2d const& base, OdGeVector2d const& along,
                                OdArray<OdArray<OdGePoint2d>> const& outlines)
{
    std::vector<double> params;
    for (OdArray<OdGePoint2d> const& outline : outlines) {
        const std::uint32_t count = outline.size();
        for (std::uint32_t index = 0; index < count; ++index) {
            const OdGeVector2d from = outline.getAt(index) - base;
            const OdGeVector2d to = outline.getAt((index + 1) % count) - base;
            const double fromSide = along.crossProduct(from);
            const double toSide = along.crossProduct(to);
            // A corner on the line belongs to one of its two sides only.
            if ((fromSide < 0.0) != (toSide < 0.0)) {
                const double share = fromSide / (fromSide - toSide);
                params.push_back(along.dotProduct(from) +
                                 share * (along.dotProduct(to) - along.dotProduct(from)));
            }
        }
    }
    std::sort(params.begin(), params.end());
    return params;
}

double patternLength(OdArray<double> const& dashes)
{
    double length = 0.0;
    for (double dash : dashes) {
        length += std::fabs(dash);
    }
    return length;
}

/// Calls for each dash of a line between two parameters; the pattern starts at parameter 0.
template <class Action>
void forEachDash(OdArray<double> const& dashes, double from, double to, Action const& action)
{
    const double length = patternLength(dashes);
    if (!(length > 0.0) || (to - from) / length * dashes.size() > kMostDashes) {
        action(from, to);
        return;
    }
    const double first = std::floor(from / length);
    const double last = std::ceil(to / length);
    for (double round = first; round < last; round += 1.0) {
        double at = round * length;
        for (double dash : dashes) {
            const double end = at + std::fabs(dash);
            if (dash >= 0.0 && end >= from && at <= to) {
                action(std::max(at, from), std::min(end, to));
            }
            at = end;
        }
    }
}

}  // namespace

/// \return Whether the pattern could be drawn; one that is too fine can't.
bool OdDbHatch::drawPattern(OdDbHatchPatternLine const& line,
                            OdArray<OdArray<OdGePoint2d>> const& outlines,
                            OdGiWorldDraw& worldDraw) const
{
    const OdGeVector2d along(std::cos(line.angle), std::sin(line.angle));
    const double distance = along.crossProduct(line.offset);
    double low = HUGE_VAL;
    double high = -HUGE_VAL;
    for (OdArray<OdGePoint2d> const& outline : outlines) {
        for (OdGePoint2d const& point : outline) {
            const double side = along.crossProduct(point - line.base) / distance;
            low = std::min(low, side);
            high = std::max(high, side);
        }
    }
    if (!std::isfinite(low) || !std::isfinite(high) || high - low > kMostLines ||
        std::fabs(low) > 1e12 || std::fabs(high) > 1e12) {
        return false;
    }
    for (double number = std::ceil(low); number <= high; number += 1.0) {
        const OdGePoint2d base = line.base + line.offset * number;
        const std::vector<double> params = crossingsOf(base, along, outlines);
        for (std::size_t index = 0; index + 1 < params.size(); index += 2) {
            forEachDash(line.dashes, params[index], params[index + 1], [&](double from, double to) {
                const OdGePoint3d ends[] = {
                    odDbPlanar::toWorld(m_normal, base + along * from, m_elevation),
                    odDbPlanar::toWorld(m_normal, base + along * to, m_elevation)};
                worldDraw.geometry().polyline(ends, &m_normal);
            });
        }
    }
    return true;
}

unsigned OdDbHatch::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    OdArray<OdArray<OdGePoint2d>> outlines;
    const double deviation =
        worldDraw->deviation(OdGiDeviationType::kForBoundary, OdGePoint3d::kOrigin);
    for (OdDbHatchLoop const& loop : m_loops) {
        outlines.append(outlineOf(loop, deviation));
    }
    if (!m_isSolid) {
        unsigned flags = kDrawableNone;
        for (OdDbHatchPatternLine const& line : m_patternLines) {
            if (worldDraw->regenAbort() || !drawPattern(line, outlines, *worldDraw)) {
                flags = kDrawableIsTruncated;
            }
        }
        return flags;
    }
    // The first loop is the outer one, and the others are holes in it, unless they say otherwise.
    std::vector<OdGePoint3d> points;
    std::vector<std::int32_t> faces;
    for (std::uint32_t index = 0; index < outlines.size(); ++index) {
        OdArray<OdGePoint2d> const& outline = outlines.getAt(index);
        const bool isHole =
            index > 0 && (m_loops.getAt(index).flags & OdDbHatchLoop::kExternal) == 0;
        const auto count = static_cast<std::int32_t>(outline.size());
        faces.push_back(isHole ? -count : count);
        for (OdGePoint2d const& point : outline) {
            faces.push_back(static_cast<std::int32_t>(points.size()));
            points.push_back(odDbPlanar::toWorld(m_normal, point, m_elevation));
        }
    }
    worldDraw->subEntityTraits().setFillType(OdGiFillType::kFillAlways);
    worldDraw->subEntityTraits().setFillPlane(&m_normal);
    worldDraw->geometry().shell({points, faces, {}});
    return kDrawableNone;
}

OdResult OdDbHatch::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_normal = odDbPlanar::readUnit(*filer);
    m_elevation = odDbPlanar::readFinite(*filer);
    m_isSolid = filer->rdBool();
    m_patternName = filer->rdString();
    OdArray<OdDbHatchPatternLine> lines;
    for (std::uint32_t left = odDbReadCount(*filer, kMinPatternLineBytes); left > 0; --left) {
        lines.append(readPatternLine(*filer));
    }
    OdArray<OdDbHatchLoop> loops;
    for (std::uint32_t left = odDbReadCount(*filer, kMinLoopBytes); left > 0; --left) {
        loops.append(readLoop(*filer));
    }
    m_patternLines = lines;
    m_loops = loops;
    return kOdOk;
}

void OdDbHatch::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrVector3d(m_normal);
    filer->wrDouble(m_elevation);
    filer->wrBool(m_isSolid);
    filer->wrString(m_patternName);
    filer->wrInt32(static_cast<std::int32_t>(m_patternLines.size()));
    for (OdDbHatchPatternLine const& line : m_patternLines) {
        writePatternLine(*filer, line);
    }
    filer->wrInt32(static_cast<std::int32_t>(m_loops.size()));
    for (OdDbHatchLoop const& loop : m_loops) {
        filer->wrInt32(loop.flags);
        odDbVertices::write(*filer, loop.vertices);
        filer->wrInt32(static_cast<std::int32_t>(loop.edges.size()));
        for (OdDbHatchEdge const& edge : loop.edges) {
            writeEdge(*filer, edge);
        }
    }
}
