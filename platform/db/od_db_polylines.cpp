#include "db/od_db_polylines.h"

#include "db/od_db_filer.h"
#include "db/od_db_planar_impl.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_vertices_impl.h"
#include "gi/od_gi_world_draw.h"
#include "root/od_error.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>
#include <vector>

RX_DEFINE_CLASS(OdDbPlanarPolyline, OdDbEntity, odrxCreateNothing, L"OdDbPlanarPolyline");
RX_DEFINE_CLASS(OdDbPolyline, OdDbPlanarPolyline, odrxCreate<OdDbPolyline>, L"OdDbPolyline",
                OdDb::kDwgVersionCurrent, 0, 0, L"LWPOLYLINE", L"Object database");
RX_DEFINE_CLASS(OdDb2dPolyline, OdDbPlanarPolyline, odrxCreate<OdDb2dPolyline>, L"OdDb2dPolyline",
                OdDb::kDwgVersionCurrent, 0, 0, L"POLYLINE", L"Object database");
RX_DEFINE_CLASS(OdDbMline, OdDbEntity, odrxCreate<OdDbMline>, L"OdDbMline",
                OdDb::kDwgVersionCurrent, 0, 0, L"MLINE", L"Object database");
RX_DEFINE_CLASS(OdDbLeader, OdDbEntity, odrxCreate<OdDbLeader>, L"OdDbLeader",
                OdDb::kDwgVersionCurrent, 0, 0, L"LEADER", L"Object database");

using odDbPlanar::PlaneMap;

namespace {

constexpr std::uint32_t kMinPointBytes = 3;

std::span<OdGePoint3d const> spanOf(OdGePoint3dArray const& points)
{
    return {points.begin(), points.size()};
}

void requireFinite(OdGePoint3dArray const& points)
{
    for (OdGePoint3d const& point : points) {
        odDbPlanar::finite(point);
    }
}

void writePoints(OdDbDwgFiler& filer, OdGePoint3dArray const& points)
{
    filer.wrInt32(static_cast<std::int32_t>(points.size()));
    for (OdGePoint3d const& point : points) {
        filer.wrPoint3d(point);
    }
}

OdGePoint3dArray readPoints(OdDbDwgFiler& filer)
{
    const std::uint32_t count = odDbReadCount(filer, kMinPointBytes);
    OdGePoint3dArray points;
    for (std::uint32_t index = 0; index < count; ++index) {
        points.append(odDbPlanar::readPoint3d(filer));
    }
    return points;
}

/// \return Whether all results are finite; the points are replaced then.
bool mapPoints(OdGeMatrix3d const& matrix, OdGePoint3dArray& points)
{
    OdGePoint3dArray mapped;
    mapped.reserve(points.size());
    for (OdGePoint3d const& point : std::as_const(points)) {
        const OdGePoint3d moved = matrix * point;
        if (!odDbPlanar::isFinite(moved)) {
            return false;
        }
        mapped.append(moved);
    }
    points = mapped;
    return true;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Plane polylines

OdDbPlanarPolyline::OdDbPlanarPolyline() = default;
OdDbPlanarPolyline::~OdDbPlanarPolyline() = default;

std::uint32_t OdDbPlanarPolyline::numVertices() const
{
    assertReadEnabled();
    return m_vertices.size();
}

OdDbPolylineVertex OdDbPlanarPolyline::vertexAt(std::uint32_t index) const
{
    assertReadEnabled();
    return m_vertices.getAt(index);
}

void OdDbPlanarPolyline::setVertices(OdDbPolylineVertexArray const& vertices)
{
    std::for_each(vertices.begin(), vertices.end(), odDbVertices::requireValid);
    write(m_vertices, vertices);
}

void OdDbPlanarPolyline::addVertexAt(std::uint32_t index, OdDbPolylineVertex const& vertex)
{
    odDbVertices::requireValid(vertex);
    if (index > numVertices()) {
        throw OdError_InvalidIndex();
    }
    assertGraphicsWriteEnabled();
    m_vertices.insertAt(index, vertex);
}

void OdDbPlanarPolyline::setVertexAt(std::uint32_t index, OdDbPolylineVertex const& vertex)
{
    odDbVertices::requireValid(vertex);
    if (index >= numVertices()) {
        throw OdError_InvalidIndex();
    }
    assertGraphicsWriteEnabled();
    m_vertices.setAt(index, vertex);
}

void OdDbPlanarPolyline::removeVertexAt(std::uint32_t index)
{
    if (index >= numVertices()) {
        throw OdError_InvalidIndex();
    }
    assertGraphicsWriteEnabled();
    m_vertices.removeAt(index);
}

OdGePoint3d OdDbPlanarPolyline::pointAt(std::uint32_t index) const
{
    return odDbPlanar::toWorld(m_normal, vertexAt(index).point, m_elevation);
}

void OdDbPlanarPolyline::setClosed(bool closed)
{
    write(m_isClosed, closed);
}

void OdDbPlanarPolyline::setNormal(OdGeVector3d const& normal)
{
    write(m_normal, odDbPlanar::unit(normal));
}

void OdDbPlanarPolyline::setElevation(double elevation)
{
    write(m_elevation, odDbPlanar::finite(elevation));
}

void OdDbPlanarPolyline::setThickness(double thickness)
{
    write(m_thickness, odDbPlanar::finite(thickness));
}

void OdDbPlanarPolyline::setPlinegen(bool plinegen)
{
    write(m_hasPlinegen, plinegen);
}

OdResult OdDbPlanarPolyline::transformBy(OdGeMatrix3d const& matrix)
{
    PlaneMap map;
    OdDbPolylineVertexArray vertices = m_vertices;
    if (!map.set(matrix, m_normal) || !map.holds(m_thickness) ||
        !odDbVertices::map(map, m_elevation, vertices) ||
        !std::isfinite(map.mapElevation(m_elevation))) {
        return kOdNotApplicable;
    }
    assertGraphicsWriteEnabled();
    m_vertices = vertices;
    m_normal = map.normal;
    m_elevation = map.mapElevation(m_elevation);
    m_thickness *= map.alongNormal;
    return kOdOk;
}

OdResult OdDbPlanarPolyline::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    if (m_vertices.isEmpty()) {
        return kOdNotApplicable;
    }
    OdGeExtents3d found = odDbVertices::extents(m_vertices, m_isClosed, m_normal, m_elevation);
    odDbPlanar::addExtrusion(found, m_normal, m_thickness);
    return odDbPlanar::giveExtents(found, extents);
}

unsigned OdDbPlanarPolyline::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    if (m_thickness != 0.0) {
        worldDraw->subEntityTraits().setThickness(m_thickness);
    }
    odDbVertices::draw(m_vertices, m_isClosed, m_normal, m_elevation, *worldDraw);
    return kDrawableNone;
}

OdResult OdDbPlanarPolyline::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_isClosed = filer->rdBool();
    m_hasPlinegen = filer->rdBool();
    m_normal = odDbPlanar::readUnit(*filer);
    m_elevation = odDbPlanar::readFinite(*filer);
    m_thickness = odDbPlanar::readFinite(*filer);
    m_vertices = odDbVertices::read(*filer);
    return kOdOk;
}

void OdDbPlanarPolyline::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrBool(m_isClosed);
    filer->wrBool(m_hasPlinegen);
    filer->wrVector3d(m_normal);
    filer->wrDouble(m_elevation);
    filer->wrDouble(m_thickness);
    odDbVertices::write(*filer, m_vertices);
}

OdDbPolyline::OdDbPolyline() = default;
OdDbPolyline::~OdDbPolyline() = default;

OdDbPolylinePtr OdDbPolyline::createObject()
{
    return odrxMake<OdDbPolyline>();
}

void OdDbPolyline::setConstantWidth(double width)
{
    OdDbPolylineVertexArray changed;
    for (OdDbPolylineVertex vertex : vertices()) {
        vertex.startWidth = vertex.endWidth = width;
        changed.append(vertex);
    }
    setVertices(changed);
}

OdDb2dPolyline::OdDb2dPolyline() = default;
OdDb2dPolyline::~OdDb2dPolyline() = default;

OdDb2dPolylinePtr OdDb2dPolyline::createObject()
{
    return odrxMake<OdDb2dPolyline>();
}

void OdDb2dPolyline::setPolyType(Type type)
{
    if (type > Type::kCubicSpline) {
        throw OdError(kOdInvalidInput);
    }
    write(m_type, type);
}

OdResult OdDb2dPolyline::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbPlanarPolyline::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_type = static_cast<Type>(
        odDbPlanar::readEnum(*filer, static_cast<std::uint8_t>(Type::kCubicSpline)));
    return kOdOk;
}

void OdDb2dPolyline::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbPlanarPolyline::dwgOutFields(filer);
    filer->wrUInt8(static_cast<std::uint8_t>(m_type));
}

// ---------------------------------------------------------------------------------------------
// Multiple lines

OdDbMline::OdDbMline() = default;
OdDbMline::~OdDbMline() = default;

OdDbMlinePtr OdDbMline::createObject()
{
    return odrxMake<OdDbMline>();
}

void OdDbMline::setVertices(OdGePoint3dArray const& vertices)
{
    requireFinite(vertices);
    write(m_vertices, vertices);
}

void OdDbMline::setElements(Elements const& elements)
{
    for (Element const& element : elements) {
        odDbPlanar::finite(element.offset);
        if (!element.linetype.isNull()) {
            requireReference(element.linetype, OdDbLinetypeTableRecord::desc());
        }
    }
    write(m_elements, elements);
}

void OdDbMline::requireReferencesIn(OdDbDatabase const& database) const
{
    OdDbEntity::requireReferencesIn(database);
    for (Element const& element : m_elements) {
        requireIn(database, element.linetype);
    }
}

void OdDbMline::setScale(double scale)
{
    write(m_scale, odDbPlanar::positive(scale));
}

void OdDbMline::setJustification(Justification justification)
{
    if (justification > Justification::kBottom) {
        throw OdError(kOdInvalidInput);
    }
    write(m_justification, justification);
}

void OdDbMline::setClosed(bool closed)
{
    write(m_isClosed, closed);
}

void OdDbMline::setNormal(OdGeVector3d const& normal)
{
    write(m_normal, odDbPlanar::unit(normal));
}

namespace {

/// The least and the greatest offset of some lines, of which there is one at least.
std::pair<double, double> outermost(OdDbMline::Elements const& elements)
{
    using Element = OdDbMline::Element;
    const auto [least, greatest] =
        std::minmax_element(elements.begin(), elements.end(),
                            [](Element const& a, Element const& b) { return a.offset < b.offset; });
    return {least->offset, greatest->offset};
}

}  // namespace

/// What is added to each offset so that the line of the justification runs through the vertices.
double OdDbMline::shift() const
{
    if (m_justification == Justification::kZero || m_elements.isEmpty()) {
        return 0.0;
    }
    const auto [least, greatest] = outermost(m_elements);
    return m_justification == Justification::kTop ? -greatest : -least;
}

namespace {

/// Left normals of the segments of a path; a segment without length has that of its neighbour.
std::vector<OdGeVector3d> sidesOf(std::span<OdGePoint3d const> points, bool isClosed,
                                  OdGeVector3d const& normal)
{
    std::vector<OdGeVector3d> sides;
    OdGeVector3d latest;
    const std::size_t count = isClosed ? points.size() : points.size() - 1;
    for (std::size_t index = 0; index < count; ++index) {
        const OdGeVector3d way = points[(index + 1) % points.size()] - points[index];
        const OdGeVector3d side = normal.crossProduct(way);
        latest = side.isZeroLength() ? latest : side / side.length();
        sides.push_back(latest);
    }
    for (std::size_t index = sides.size(); index > 1; --index) {
        if (sides[index - 2].isZeroLength()) {
            sides[index - 2] = sides[index - 1];
        }
    }
    return sides;
}

/// Where a parallel at distance 1 has its corner, seen from the corner of the path.
OdGeVector3d miterOf(OdGeVector3d const& before, OdGeVector3d const& after)
{
    // Cosine of half the turn, squared and doubled. A path that turns back has no corner; there the
    // parallel goes out as far as ten times its distance and no further.
    constexpr double kSharpest = 0.02;
    const double share = 1.0 + before.dotProduct(after);
    return (before + after) / std::max(share, kSharpest);
}

}  // namespace

OdGePoint3dArray OdDbMline::line(std::uint32_t element) const
{
    assertReadEnabled();
    return lineAt(m_elements.getAt(element).offset + shift());
}

OdGePoint3dArray OdDbMline::lineAt(double offset) const
{
    const double distance = offset * m_scale;
    OdGePoint3dArray corners;
    const std::span<OdGePoint3d const> path = spanOf(m_vertices);
    if (path.size() < 2) {
        return m_vertices;
    }
    const std::vector<OdGeVector3d> sides = sidesOf(path, m_isClosed, m_normal);
    corners.reserve(m_vertices.size());
    for (std::size_t index = 0; index < path.size(); ++index) {
        const bool isFirst = index == 0;
        OdGeVector3d const& before = !isFirst     ? sides[index - 1]
                                     : m_isClosed ? sides.back()
                                                  : sides.front();
        OdGeVector3d const& after = index < sides.size() ? sides[index] : sides.back();
        corners.append(path[index] + miterOf(before, after) * distance);
    }
    return corners;
}

OdResult OdDbMline::transformBy(OdGeMatrix3d const& matrix)
{
    PlaneMap map;
    OdGePoint3dArray vertices = m_vertices;
    if (!map.set(matrix, m_normal) || !map.isSimilar || !mapPoints(matrix, vertices) ||
        !std::isnormal(m_scale * map.scale)) {
        return kOdNotApplicable;
    }
    assertGraphicsWriteEnabled();
    m_vertices = vertices;
    m_normal = map.normal;
    m_scale *= map.scale;
    if (map.isMirrored) {
        // What was on the left is on the right now.
        Elements turned;
        for (Element element : std::as_const(m_elements)) {
            element.offset = -element.offset;
            turned.append(element);
        }
        m_elements = turned;
        if (m_justification != Justification::kZero) {
            m_justification = m_justification == Justification::kTop ? Justification::kBottom
                                                                     : Justification::kTop;
        }
    }
    return kOdOk;
}

OdResult OdDbMline::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    if (m_vertices.isEmpty()) {
        return kOdNotApplicable;
    }
    // A corner of a line lies the farther out, the farther out the line is, so two of them will do.
    std::vector<double> offsets;
    if (!m_elements.isEmpty()) {
        const auto [least, greatest] = outermost(m_elements);
        offsets = {least + shift(), greatest + shift()};
    }
    OdGeExtents3d found;
    for (double offset : offsets) {
        const OdGePoint3dArray corners = lineAt(offset);
        for (OdGePoint3d const& point : corners) {
            found.addPoint(point);
        }
    }
    if (m_elements.isEmpty()) {
        for (OdGePoint3d const& point : m_vertices) {
            found.addPoint(point);
        }
    }
    return odDbPlanar::giveExtents(found, extents);
}

unsigned OdDbMline::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    const double justified = shift();
    for (std::uint32_t index = 0; index < m_elements.size(); ++index) {
        const std::uint64_t drawn = std::uint64_t{index} * m_vertices.size();
        if (drawn > kMostDrawn || worldDraw->regenAbort()) {
            return kDrawableIsTruncated;
        }
        Element const& element = m_elements.getAt(index);
        OdGiSubEntityTraits& traits = worldDraw->subEntityTraits();
        traits.setTrueColor(element.color.isByLayer() ? color() : element.color);
        traits.setLineType(element.linetype.isNull() ? linetypeId() : element.linetype);
        OdGePoint3dArray points = lineAt(element.offset + justified);
        if (m_isClosed && points.size() > 1) {
            points.append(OdGePoint3d(std::as_const(points).first()));
        }
        worldDraw->geometry().polyline(spanOf(points), &m_normal);
    }
    return kDrawableNone;
}

OdResult OdDbMline::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_isClosed = filer->rdBool();
    m_justification = static_cast<Justification>(
        odDbPlanar::readEnum(*filer, static_cast<std::uint8_t>(Justification::kBottom)));
    m_scale = odDbPlanar::readPositive(*filer);
    m_normal = odDbPlanar::readUnit(*filer);
    m_vertices = readPoints(*filer);
    const std::uint32_t count = odDbReadCount(*filer, 2);
    Elements elements;
    for (std::uint32_t index = 0; index < count; ++index) {
        Element element;
        element.offset = odDbPlanar::readFinite(*filer);
        element.color = odDbPlanar::readColor(*filer);
        element.linetype = filer->rdHardPointerId();
        elements.append(element);
    }
    m_elements = elements;
    return kOdOk;
}

void OdDbMline::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrBool(m_isClosed);
    filer->wrUInt8(static_cast<std::uint8_t>(m_justification));
    filer->wrDouble(m_scale);
    filer->wrVector3d(m_normal);
    writePoints(*filer, m_vertices);
    filer->wrInt32(static_cast<std::int32_t>(m_elements.size()));
    for (Element const& element : m_elements) {
        filer->wrDouble(element.offset);
        filer->wrInt32(static_cast<std::int32_t>(element.color.color()));
        filer->wrHardPointerId(element.linetype);
    }
}

// ---------------------------------------------------------------------------------------------
// Leaders

OdDbLeader::OdDbLeader() = default;
OdDbLeader::~OdDbLeader() = default;

OdDbLeaderPtr OdDbLeader::createObject()
{
    return odrxMake<OdDbLeader>();
}

void OdDbLeader::setVertices(OdGePoint3dArray const& vertices)
{
    requireFinite(vertices);
    write(m_vertices, vertices);
}

void OdDbLeader::appendVertex(OdGePoint3d const& vertex)
{
    odDbPlanar::finite(vertex);
    assertGraphicsWriteEnabled();
    m_vertices.append(vertex);
}

void OdDbLeader::setArrowHead(bool arrowHead)
{
    write(m_hasArrowHead, arrowHead);
}

void OdDbLeader::setArrowSize(double size)
{
    write(m_arrowSize, odDbPlanar::positive(size));
}

void OdDbLeader::setAnnotationObjId(OdDbObjectId annotation)
{
    if (!annotation.isNull()) {
        requireReference(annotation, OdDbEntity::desc());
    }
    write(m_annotation, annotation);
}

void OdDbLeader::requireReferencesIn(OdDbDatabase const& database) const
{
    OdDbEntity::requireReferencesIn(database);
    requireIn(database, m_annotation);
}

void OdDbLeader::setNormal(OdGeVector3d const& normal)
{
    write(m_normal, odDbPlanar::unit(normal));
}

/// The corners of the arrow, tip first. \return Whether there is one.
bool OdDbLeader::arrow(OdGePoint3d (&corners)[3]) const
{
    constexpr double kHalfWidthShare = 1.0 / 6.0;
    if (!m_hasArrowHead || m_vertices.size() < 2) {
        return false;
    }
    const OdGePoint3d tip = m_vertices.getAt(0);
    const OdGeVector3d way = m_vertices.getAt(1) - tip;
    const OdGeVector3d side = m_normal.crossProduct(way);
    if (way.isZeroLength() || side.isZeroLength()) {
        return false;
    }
    const OdGePoint3d base = tip + way * (m_arrowSize / way.length());
    const OdGeVector3d half = side * (m_arrowSize * kHalfWidthShare / side.length());
    corners[0] = tip;
    corners[1] = base + half;
    corners[2] = base - half;
    return true;
}

OdResult OdDbLeader::transformBy(OdGeMatrix3d const& matrix)
{
    PlaneMap map;
    OdGePoint3dArray vertices = m_vertices;
    if (!map.set(matrix, m_normal) || (m_hasArrowHead && !map.isSimilar) ||
        !mapPoints(matrix, vertices) || !std::isnormal(m_arrowSize * map.scale)) {
        return kOdNotApplicable;
    }
    assertGraphicsWriteEnabled();
    m_vertices = vertices;
    m_normal = map.normal;
    m_arrowSize *= map.scale;
    return kOdOk;
}

OdResult OdDbLeader::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    if (m_vertices.isEmpty()) {
        return kOdNotApplicable;
    }
    OdGeExtents3d found;
    for (OdGePoint3d const& point : m_vertices) {
        found.addPoint(point);
    }
    OdGePoint3d corners[3];
    if (arrow(corners)) {
        for (OdGePoint3d const& corner : corners) {
            found.addPoint(corner);
        }
    }
    return odDbPlanar::giveExtents(found, extents);
}

unsigned OdDbLeader::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    worldDraw->geometry().polyline(spanOf(m_vertices), &m_normal);
    OdGePoint3d corners[3];
    if (arrow(corners)) {
        worldDraw->subEntityTraits().setFillType(OdGiFillType::kFillAlways);
        worldDraw->geometry().polygon(corners);
    }
    return kDrawableNone;
}

OdResult OdDbLeader::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_hasArrowHead = filer->rdBool();
    m_arrowSize = odDbPlanar::readPositive(*filer);
    m_normal = odDbPlanar::readUnit(*filer);
    m_annotation = filer->rdHardPointerId();
    m_vertices = readPoints(*filer);
    return kOdOk;
}

void OdDbLeader::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrBool(m_hasArrowHead);
    filer->wrDouble(m_arrowSize);
    filer->wrVector3d(m_normal);
    filer->wrHardPointerId(m_annotation);
    writePoints(*filer, m_vertices);
}
