#include "importer/solid_modeler.h"

#include "gi/od_gi_world_draw.h"
#include "kernel/kernel_error.h"
#include "kernel/kernel_placement.h"

#include "importer/kernel_bodies.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <span>
#include <vector>

namespace zemhost {

namespace {

KernelPlacement placementOf(OdGeMatrix3d const& matrix)
{
    KernelPlacement placement;
    for (unsigned row = 0; row < 3; ++row) {
        for (unsigned column = 0; column < 4; ++column) {
            placement[row][column] = matrix(row, column);
        }
    }
    return placement;
}

OdGePoint3d pointOf(KernelPoint const& point)
{
    return OdGePoint3d(point[0], point[1], point[2]);
}

std::vector<OdGePoint3d> pointsOf(std::vector<KernelPoint> const& points)
{
    std::vector<OdGePoint3d> result;
    std::transform(points.begin(), points.end(), std::back_inserter(result), pointOf);
    return result;
}

/// How far the drawing lets lines lie off a body, in the body's own lengths.
double deviationIn(OdGiWorldDraw const& worldDraw)
{
    const OdGeMatrix3d place = worldDraw.geometry().modelToWorldTransform();
    const double scale =
        std::max({place.column(0).length(), place.column(1).length(), place.column(2).length()});
    const OdGePoint3d origin(place(0, 3), place(1, 3), place(2, 3));
    const double wanted = worldDraw.deviation(OdGiDeviationType::kForFacet, origin);
    return scale > 0 && wanted > 0 ? wanted / scale : 0;
}

void drawFace(FaceMesh const& mesh, OdGiGeometry& geometry)
{
    if (mesh.triangles.empty()) {
        return;
    }
    const std::vector<OdGePoint3d> points = pointsOf(mesh.points);
    std::vector<std::int32_t> corners;
    for (std::array<int, 3> const& triangle : mesh.triangles) {
        corners.push_back(3);
        corners.insert(corners.end(), triangle.begin(), triangle.end());
    }
    geometry.shell({points, corners, {}});
}

void drawEdge(std::vector<KernelPoint> const& line, OdGiGeometry& geometry)
{
    if (line.size() > 1) {
        geometry.polyline(pointsOf(line));
    }
}

/// Runs `work`, whose kernel failures become results.
template <class Work>
OdResult guarded(Work const& work)
{
    try {
        return work();
    } catch (KernelError const& error) {
        switch (error.failure()) {
        case KernelFailure::kBadArgument:
            return kOdInvalidInput;
        case KernelFailure::kMemoryLimit:
            return kOdOutOfMemory;
        case KernelFailure::kEditFailed:
            return kOdNotApplicable;
        default:
            return kOdObjectDamaged;
        }
    }
}

bool isPartOf(KernelSolid const& solid, OdDbSubentId part)
{
    const OdDb3dSolid::Counts counts = countsOf(solid);
    return part.index() >= 1 && part.index() <= static_cast<std::int64_t>(counts.of(part.type()));
}

}  // namespace

bool SolidModeler::knowsFormat(OdString const& format) const
{
    return format == kernelBodyFormat();
}

/// Bytes are told by where they lie: solids share them, and an entry keeps them there.
SolidModeler::KnownBody& SolidModeler::bodyOf(OdBinaryData const& bytes) const
{
    constexpr std::size_t kMostBodies = 8;
    const auto known = std::find_if(m_bodies.begin(), m_bodies.end(), [&](KnownBody const& body) {
        return body.bytes.getPtr() == bytes.getPtr() && body.bytes.size() == bytes.size();
    });
    if (known != m_bodies.end()) {
        m_bodies.splice(m_bodies.begin(), m_bodies, known);
        return m_bodies.front();
    }
    KnownBody body;
    body.bytes = bytes;
    try {
        body.solid = KernelSolid::fromBytes(std::span(bytes.getPtr(), bytes.size()));
    } catch (KernelError const& error) {
        if (error.failure() == KernelFailure::kMemoryLimit) {
            throw;
        }
    }
    m_bodies.push_front(std::move(body));
    if (m_bodies.size() > kMostBodies) {
        m_bodies.pop_back();
    }
    return m_bodies.front();
}

SolidDisplay const& SolidModeler::displayOf(OdBinaryData const& bytes, double deviation) const
{
    KnownBody& body = bodyOf(bytes);
    if (!body.display.has_value() || body.deviation != deviation) {
        body.display.emplace(*body.solid, deviation);
        body.deviation = deviation;
    }
    return *body.display;
}

OdResult SolidModeler::count(OdString const& format, OdBinaryData const& body,
                             OdDb3dSolid::Counts& counts) const
{
    return guarded([&]() -> OdResult {
        if (!knowsFormat(format)) {
            return kOdNotApplicable;
        }
        KnownBody const& known = bodyOf(body);
        if (!known.solid.has_value()) {
            return kOdObjectDamaged;
        }
        counts = countsOf(*known.solid);
        return kOdOk;
    });
}

OdResult SolidModeler::extents(OdDb3dSolid const& solid, OdGeExtents3d& extents) const
{
    return guarded([&]() -> OdResult {
        KnownBody const& known = bodyOf(solid.body());
        if (!known.solid.has_value()) {
            return kOdObjectDamaged;
        }
        const KernelBox box = placedBox(*known.solid, placementOf(solid.placement()));
        extents = OdGeExtents3d(pointOf(box.min), pointOf(box.max));
        return kOdOk;
    });
}

OdResult SolidModeler::drawPart(OdDb3dSolid const& solid, OdDbSubentId part,
                                OdGiWorldDraw& worldDraw) const
{
    return guarded([&]() -> OdResult {
        const OdBinaryData bytes = solid.body();
        KnownBody const& known = bodyOf(bytes);
        if (!known.solid.has_value()) {
            return kOdObjectDamaged;
        }
        if (!isPartOf(*known.solid, part)) {
            return kOdInvalidIndex;
        }
        SolidDisplay const& display = displayOf(bytes, deviationIn(worldDraw));
        const int number = static_cast<int>(part.index());
        OdGiGeometry& geometry = worldDraw.geometry();
        if (part.type() == OdDb::SubentType::kFaceSubentType) {
            drawFace(display.face(number), geometry);
        } else if (part.type() == OdDb::SubentType::kEdgeSubentType) {
            drawEdge(display.edge(number), geometry);
        } else {
            const OdGePoint3d point = pointOf(display.vertex(number));
            geometry.polyline({&point, 1});
        }
        return kOdOk;
    });
}

OdResult SolidModeler::transform(OdString const& format, OdBinaryData const& body,
                                 OdGeMatrix3d const& placement, OdBinaryData& result) const
{
    return guarded([&]() -> OdResult {
        if (!knowsFormat(format)) {
            return kOdNotApplicable;
        }
        KnownBody const& known = bodyOf(body);
        if (!known.solid.has_value()) {
            return kOdObjectDamaged;
        }
        result = toBinaryData(placedSolid(*known.solid, placementOf(placement)).toBytes());
        return kOdOk;
    });
}

}  // namespace zemhost
