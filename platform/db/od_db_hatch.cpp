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
/// What drawing one hatch may come to, whatever its loops and patterns: points of outlines, crossings
/// of pattern lines with them, tests of points against sides, dashes; points, crossings and dashes that
/// are looked at for each family and lead to nothing.
constexpr std::uint64_t kMostPoints = 2'000'000;
constexpr std::uint64_t kMostCrossings = 4'000'000;
constexpr std::uint64_t kMostSideTests = 20'000'000;
constexpr std::uint64_t kMostDrawnDashes = 1'000'000;
constexpr std::uint64_t kMostPointsSeen = 20'000'000;
constexpr std::uint64_t kMostCrossingsSeen = 16'000'000;
constexpr double kMostDashesSeen = 20e6;

using Outline = std::vector<OdGePoint2d>;

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
Outline outlineOf(OdDbHatchLoop const& loop, double deviation, unsigned mostPieces)
{
    if (loop.edges.isEmpty()) {
        return odDbVertices::flatten(loop.vertices, /*isClosed=*/true, deviation, mostPieces);
    }
    Outline points;
    for (OdDbHatchEdge const& edge : loop.edges) {
        const double radius = std::max(edge.firstAxis.length(), edge.secondAxis.length());
        const double turn = std::min(std::fabs(edge.endParam - edge.startParam), 7.0);
        const unsigned pieces =
            edge.kind == OdDbHatchEdge::Kind::kLine || radius == 0.0
                ? 1
                : std::min(odDbVertices::piecesOf(radius, turn, deviation), mostPieces);
        for (unsigned piece = 0; piece <= pieces; ++piece) {
            points.push_back(edge.at(static_cast<double>(piece) / pieces));
        }
    }
    return points;
}

/// All loops in straight pieces, coarser ones where there are very many arcs.
std::vector<Outline> outlinesOf(OdArray<OdDbHatchLoop> const& loops, OdGiWorldDraw& worldDraw)
{
    const double deviation =
        worldDraw.deviation(OdGiDeviationType::kForBoundary, OdGePoint3d::kOrigin);
    std::uint64_t segments = 1;
    for (OdDbHatchLoop const& loop : loops) {
        segments += loop.edges.isEmpty() ? loop.vertices.size() : loop.edges.size();
    }
    const auto mostPieces =
        static_cast<unsigned>(std::max<std::uint64_t>(kMostPoints / segments, 4));
    std::vector<Outline> outlines;
    outlines.reserve(loops.size());
    for (OdDbHatchLoop const& loop : loops) {
        outlines.push_back(outlineOf(loop, deviation, mostPieces));
    }
    return outlines;
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
        return {std::lerp(start.x, end.x, share), std::lerp(start.y, end.y, share)};
    }
    const double param = std::lerp(startParam, endParam, share);  // the way may be beyond numbers
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
    return odDbPlanar::giveExtents(found, extents);
}

// ---------------------------------------------------------------------------------------------
// Drawing

namespace {

/// A place where a pattern line crosses an outline.
struct Crossing
{
    double line;   ///< the line's number
    double param;  ///< along it, from its start

    friend bool operator<(Crossing const& left, Crossing const& right)
    {
        return left.line != right.line ? left.line < right.line : left.param < right.param;
    }
};

/// The lines of one family of a pattern, and how they lie to points.
class PatternLines
{
public:
    explicit PatternLines(OdDbHatchPatternLine const& line)
        : m_line(line), m_along(std::cos(line.angle), std::sin(line.angle)),
          m_distance(m_along.crossProduct(line.offset)), m_shift(m_along.dotProduct(line.offset))
    {
    }

    /// The number, with its fraction, of the line through a point.
    double numberOf(OdGePoint2d const& point) const
    {
        return m_along.crossProduct(point - m_line.base) / m_distance;
    }
    OdGePoint2d at(double number, double param) const
    {
        return m_line.base + m_line.offset * number + m_along * param;
    }
    /// Whether the lines are neither too many nor too far off to be counted.
    bool areCountable(std::vector<Outline> const& outlines) const
    {
        constexpr double kFarthest = 1e12;
        double low = HUGE_VAL;
        double high = -HUGE_VAL;
        for (Outline const& outline : outlines) {
            for (OdGePoint2d const& point : outline) {
                const double number = numberOf(point);
                if (!(std::fabs(number) <= kFarthest)) {
                    return false;
                }
                low = std::min(low, number);
                high = std::max(high, number);
            }
        }
        return !(high - low > kMostLines);
    }
    /// \return false where there are too many crossings.
    bool find(std::vector<Outline> const& outlines, std::uint64_t most,
              std::vector<Crossing>& crossings) const
    {
        for (Outline const& outline : outlines) {
            for (std::size_t index = 0; index < outline.size(); ++index) {
                OdGePoint2d const& from = outline[index];
                OdGePoint2d const& to = outline[(index + 1) % outline.size()];
                if (!addCrossings(from, to, most, crossings)) {
                    return false;
                }
            }
        }
        std::sort(crossings.begin(), crossings.end());
        return true;
    }

private:
    bool addCrossings(OdGePoint2d const& from, OdGePoint2d const& to, std::uint64_t most,
                      std::vector<Crossing>& crossings) const
    {
        const double fromNumber = numberOf(from);
        const double toNumber = numberOf(to);
        // A corner on a line belongs to one of its two sides only.
        const double first = std::floor(std::min(fromNumber, toNumber)) + 1.0;
        const double last = std::floor(std::max(fromNumber, toNumber));
        const double fromParam = m_along.dotProduct(from - m_line.base);
        const double toParam = m_along.dotProduct(to - m_line.base);
        for (double number = first; number <= last; number += 1.0) {
            if (crossings.size() >= most) {
                return false;
            }
            const double share = (number - fromNumber) / (toNumber - fromNumber);
            crossings.push_back(
                {number, fromParam + share * (toParam - fromParam) - number * m_shift});
        }
        return true;
    }

    OdDbHatchPatternLine const& m_line;
    OdGeVector2d m_along;
    double m_distance;  ///< from one line to the next
    double m_shift;     ///< from the start of one line to that of the next, along them
};

double patternLength(OdArray<double> const& dashes)
{
    double length = 0.0;
    for (double dash : dashes) {
        length += std::fabs(dash);
    }
    return length;
}

/// Calls for each dash of a line between two parameters; the pattern starts at parameter 0 and has a
/// length. Dashes that are too fine make a plain line.
/// \return How many dashes were looked at.
template <class Action>
double forEachDash(OdArray<double> const& dashes, double length, double from, double to,
                   Action const& action)
{
    const double first = std::floor(from / length);
    const double rounds = std::ceil(to / length) - first;
    // Written so that numbers which are not finite are too fine.
    if (!(length > 0.0) || !(rounds * dashes.size() <= kMostDashes)) {
        action(from, to);
        return 1.0;
    }
    // Counted by whole numbers: far from the start of the line, adding 1 may change nothing.
    for (unsigned round = 0; round < static_cast<unsigned>(rounds); ++round) {
        double at = (first + round) * length;
        for (double dash : dashes) {
            const double end = at + std::fabs(dash);
            if (dash >= 0.0 && end >= from && at <= to) {
                action(std::max(at, from), std::min(end, to));
            }
            at = end;
        }
    }
    return rounds * dashes.size();
}

/// Whether a point lies within an outline, by the rule of odd crossings.
bool isInside(Outline const& outline, OdGePoint2d const& point)
{
    bool isWithin = false;
    for (std::size_t index = 0; index < outline.size(); ++index) {
        OdGePoint2d const& from = outline[index];
        OdGePoint2d const& to = outline[(index + 1) % outline.size()];
        if ((from.y <= point.y) != (to.y <= point.y) &&
            point.x < from.x + (to.x - from.x) * ((point.y - from.y) / (to.y - from.y))) {
            isWithin = !isWithin;
        }
    }
    return isWithin;
}

/// For each outline those of the others that it lies in.
std::vector<std::vector<std::size_t>> surroundingsOf(std::vector<Outline> const& outlines)
{
    std::vector<std::vector<std::size_t>> around(outlines.size());
    for (std::size_t inner = 0; inner < outlines.size(); ++inner) {
        for (std::size_t outer = 0; outer < outlines.size(); ++outer) {
            if (outer != inner && isInside(outlines[outer], outlines[inner].front())) {
                around[inner].push_back(outer);
            }
        }
    }
    return around;
}

/// A face for each area that is filled: its outline, then the holes in it. What lies within an odd
/// number of outlines is filled, so an outline within an even number of others starts a face.
class FaceList
{
public:
    FaceList(std::vector<Outline> const& outlines, OdGeVector3d const& normal, double elevation)
        : m_outlines(outlines), m_toWorld(OdGeMatrix3d::planeToWorld(normal)),
          m_elevation(elevation)
    {
    }

    std::vector<OdGePoint3d> points;
    std::vector<std::int32_t> faces;

    void addNested()
    {
        const std::vector<std::vector<std::size_t>> around = surroundingsOf(m_outlines);
        for (std::size_t outer = 0; outer < m_outlines.size(); ++outer) {
            if (around[outer].size() % 2 != 0) {
                continue;
            }
            add(outer, /*isHole=*/false);
            for (std::size_t inner = 0; inner < m_outlines.size(); ++inner) {
                const bool isHole = around[inner].size() == around[outer].size() + 1 &&
                                    std::find(around[inner].begin(), around[inner].end(), outer) !=
                                        around[inner].end();
                if (isHole) {
                    add(inner, /*isHole=*/true);
                }
            }
        }
    }
    void addEach()
    {
        for (std::size_t index = 0; index < m_outlines.size(); ++index) {
            add(index, /*isHole=*/false);
        }
    }

private:
    void add(std::size_t index, bool isHole)
    {
        Outline const& outline = m_outlines[index];
        const auto count = static_cast<std::int32_t>(outline.size());
        faces.push_back(isHole ? -count : count);
        for (OdGePoint2d const& point : outline) {
            faces.push_back(static_cast<std::int32_t>(points.size()));
            points.push_back(m_toWorld * OdGePoint3d(point.x, point.y, m_elevation));
        }
    }

    std::vector<Outline> const& m_outlines;
    OdGeMatrix3d m_toWorld;
    double m_elevation;
};

}  // namespace

unsigned OdDbHatch::drawPatterns(OdGiWorldDraw& worldDraw) const
{
    const std::vector<Outline> outlines = outlinesOf(m_loops, worldDraw);
    const OdGeMatrix3d toWorld = OdGeMatrix3d::planeToWorld(m_normal);
    unsigned flags = kDrawableNone;
    std::uint64_t crossingsLeft = kMostCrossings;
    std::uint64_t crossingsToSee = kMostCrossingsSeen;
    std::uint64_t dashesLeft = kMostDrawnDashes;
    double dashesToSee = kMostDashesSeen;
    std::uint64_t points = 0;
    for (Outline const& outline : outlines) {
        points += outline.size();
    }
    std::uint64_t familiesLeft = 1 + kMostPointsSeen / std::max<std::uint64_t>(points, 1);
    for (OdDbHatchPatternLine const& line : m_patternLines) {
        if (familiesLeft == 0 || worldDraw.regenAbort()) {
            return flags | kDrawableIsTruncated;
        }
        --familiesLeft;
        const PatternLines lines(line);
        const double length = patternLength(line.dashes);
        std::vector<Crossing> crossings;
        const bool isFound =
            lines.areCountable(outlines) &&
            lines.find(outlines, std::min(crossingsLeft, crossingsToSee), crossings);
        crossingsToSee -= crossings.size();  // a family that is given up has cost as much
        if (!isFound) {
            flags |= kDrawableIsTruncated;
            continue;
        }
        crossingsLeft -= crossings.size();
        // A line enters and leaves in turn, so its crossings come in pairs.
        for (std::size_t index = 0; index + 1 < crossings.size(); index += 2) {
            const double number = crossings[index].line;
            const auto draw = [&](double from, double to) {
                if (dashesLeft == 0) {
                    flags |= kDrawableIsTruncated;
                    return;
                }
                --dashesLeft;
                const OdGePoint2d start = lines.at(number, from);
                const OdGePoint2d end = lines.at(number, to);
                const OdGePoint3d ends[] = {toWorld * OdGePoint3d(start.x, start.y, m_elevation),
                                            toWorld * OdGePoint3d(end.x, end.y, m_elevation)};
                worldDraw.geometry().polyline(ends, &m_normal);
            };
            dashesToSee -= forEachDash(line.dashes, length, crossings[index].param,
                                       crossings[index + 1].param, draw);
            if (dashesLeft == 0 || dashesToSee < 0.0 || worldDraw.regenAbort()) {
                return flags | kDrawableIsTruncated;
            }
        }
    }
    return flags;
}

unsigned OdDbHatch::drawSolid(OdGiWorldDraw& worldDraw) const
{
    std::vector<Outline> outlines = outlinesOf(m_loops, worldDraw);
    // Each corner once: edges meet in their ends, and a face is closed by itself.
    for (Outline& outline : outlines) {
        outline.erase(std::unique(outline.begin(), outline.end()), outline.end());
        if (outline.size() > 1 && outline.front() == outline.back()) {
            outline.pop_back();
        }
    }
    constexpr std::size_t kLeastCorners = 3;
    std::erase_if(outlines, [](Outline const& outline) { return outline.size() < kLeastCorners; });
    std::uint64_t corners = 0;
    for (Outline const& outline : outlines) {
        corners += outline.size();
    }
    const bool isSimple = corners * outlines.size() <= kMostSideTests;
    FaceList list(outlines, m_normal, m_elevation);
    if (isSimple) {
        list.addNested();
    } else {
        list.addEach();
    }
    worldDraw.subEntityTraits().setFillType(OdGiFillType::kFillAlways);
    worldDraw.subEntityTraits().setFillPlane(&m_normal);
    worldDraw.geometry().shell({list.points, list.faces, {}});
    return isSimple ? kDrawableNone : kDrawableIsTruncated;
}

unsigned OdDbHatch::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    return m_isSolid ? drawSolid(*worldDraw) : drawPatterns(*worldDraw);
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
