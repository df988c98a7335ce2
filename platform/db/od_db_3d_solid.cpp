#include "db/od_db_3d_solid.h"

#include "db/od_db_filer.h"
#include "db/od_db_planar_impl.h"
#include "gi/od_gi_world_draw.h"
#include "root/od_error.h"

#include <algorithm>
#include <limits>

RX_DEFINE_CLASS(OdDb3dSolid, OdDbEntity, odrxCreate<OdDb3dSolid>, L"OdDb3dSolid",
                OdDb::kDwgVersionCurrent, 0, 0, L"3DSOLID", L"Object database");
RX_DEFINE_CLASS(OdDb3dSolidModeler, OdRxObject, odrxCreateNothing, L"OdDb3dSolidModeler");

namespace {

/// Markers of parts come in fours; the remainder tells the type, and the fourth stands for none.
constexpr std::int64_t kMarkerStep = 4;

/// Rows of a matrix that are filed; the last one is always 0, 0, 0, 1.
constexpr unsigned kFiledRows = 3;

void writePlacement(OdDbDwgFiler& filer, OdGeMatrix3d const& placement)
{
    const bool isIdentity = placement == OdGeMatrix3d::kIdentity;
    filer.wrBool(!isIdentity);
    for (unsigned row = 0; row < kFiledRows && !isIdentity; ++row) {
        for (unsigned column = 0; column < OdGeMatrix3d::kSize; ++column) {
            filer.wrDouble(placement(row, column));
        }
    }
}

OdGeMatrix3d readPlacement(OdDbDwgFiler& filer)
{
    OdGeMatrix3d placement;
    if (!filer.rdBool()) {
        return placement;
    }
    for (unsigned row = 0; row < kFiledRows; ++row) {
        for (unsigned column = 0; column < OdGeMatrix3d::kSize; ++column) {
            placement(row, column) = odDbPlanar::readFinite(filer);
        }
    }
    if (!odDbPlanar::isUsable(placement)) {
        throw OdError(kOdBadStream);
    }
    return placement;
}

/// The last row of a product may differ from 0, 0, 0, 1 by rounding that the test for perspective
/// lets pass, and isn't filed.
OdGeMatrix3d withoutPerspective(OdGeMatrix3d matrix)
{
    for (unsigned column = 0; column < OdGeMatrix3d::kSize; ++column) {
        matrix(kFiledRows, column) = column == kFiledRows ? 1.0 : 0.0;
    }
    return matrix;
}

}  // namespace

std::uint32_t OdDb3dSolid::Counts::of(OdDb::SubentType type) const noexcept
{
    switch (type) {
    case OdDb::SubentType::kFaceSubentType:
        return faces;
    case OdDb::SubentType::kEdgeSubentType:
        return edges;
    case OdDb::SubentType::kVertexSubentType:
        return vertices;
    case OdDb::SubentType::kNullSubentType:
    case OdDb::SubentType::kMlineSubentCache:
    case OdDb::SubentType::kClassSubentType:
        break;
    }
    return 0;
}

OdDb3dSolid::OdDb3dSolid() = default;
OdDb3dSolid::~OdDb3dSolid() = default;

OdDb3dSolidPtr OdDb3dSolid::createObject()
{
    return odrxMake<OdDb3dSolid>();
}

bool OdDb3dSolid::isNull() const
{
    assertReadEnabled();
    return m_body.isEmpty();
}

OdBinaryData OdDb3dSolid::body() const
{
    return read(m_body);
}

OdString OdDb3dSolid::bodyFormat() const
{
    return read(m_format);
}

OdDb3dSolid::Counts OdDb3dSolid::counts() const
{
    return read(m_counts);
}

namespace {

/// A filed body tells its size in 32 bits, with a sign.
bool isTooLong(OdBinaryData const& body)
{
    return body.size() > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max());
}

}  // namespace

void OdDb3dSolid::setBody(OdString const& format, OdBinaryData const& body, Counts const& counts)
{
    if (isTooLong(body)) {
        throw OdError(kOdInvalidInput);
    }
    assertGraphicsWriteEnabled();
    m_format = format;
    m_body = body;
    m_counts = counts;
    m_placement.setToIdentity();
}

namespace {

OdDb3dSolidModelerPtr modelerFor(OdString const& format)
{
    OdRxClass const* solidClass = OdDb3dSolid::desc();
    if (solidClass == nullptr || OdDb3dSolidModeler::desc() == nullptr) {
        return OdDb3dSolidModelerPtr();
    }
    OdDb3dSolidModelerPtr modeler = solidClass->getX(OdDb3dSolidModeler::desc());
    return !modeler.isNull() && modeler->knowsFormat(format) ? modeler : OdDb3dSolidModelerPtr();
}

}  // namespace

OdDb3dSolidModelerPtr OdDb3dSolid::modeler() const
{
    assertReadEnabled();
    return modelerFor(m_format);
}

OdResult OdDb3dSolid::setBodyByModeler(OdString const& format, OdBinaryData const& body)
{
    const OdDb3dSolidModelerPtr modeler = modelerFor(format);
    if (modeler.isNull()) {
        return kOdNotApplicable;
    }
    if (isTooLong(body)) {
        return kOdInvalidInput;
    }
    Counts counts;
    const OdResult result = modeler->count(format, body, counts);
    if (result == kOdOk) {
        setBody(format, body, counts);
    }
    return result;
}

OdGeMatrix3d OdDb3dSolid::placement() const
{
    return read(m_placement);
}

void OdDb3dSolid::setPlacement(OdGeMatrix3d const& placement)
{
    if (!odDbPlanar::isUsable(placement)) {
        throw OdError(kOdInvalidInput);
    }
    changePlacement(withoutPerspective(placement));
}

/// A record of the matrix alone: a body may have megabytes, and moves are many.
void OdDb3dSolid::changePlacement(OdGeMatrix3d const& placement)
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    markGraphicsModified();
    if (OdDbDwgFiler* filer = undoFiler()) {
        filer->wrAddress(OdDb3dSolid::desc());
        writePlacement(*filer, m_placement);
    }
    m_placement = placement;
}

void OdDb3dSolid::applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls)
{
    if (cls != OdDb3dSolid::desc()) {
        OdDbEntity::applyPartialUndo(filer, cls);
        return;
    }
    changePlacement(readPlacement(*filer));
}

OdString OdDb3dSolid::label() const
{
    return read(m_label);
}

void OdDb3dSolid::setLabel(OdString const& label)
{
    assertWriteEnabled();
    m_label = label;
}

std::int64_t OdDb3dSolid::selectionMarker(OdDbSubentId part) noexcept
{
    const auto type = static_cast<std::int64_t>(part.type());
    const bool isPart = type >= static_cast<std::int64_t>(OdDb::SubentType::kFaceSubentType) &&
                        type <= static_cast<std::int64_t>(OdDb::SubentType::kVertexSubentType);
    constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max() / kMarkerStep - 1;
    return isPart && part.index() >= 1 && part.index() <= kLast ? kMarkerStep * part.index() + type
                                                                : 0;
}

OdDbSubentId OdDb3dSolid::partOfMarker(std::int64_t marker) noexcept
{
    if (marker <= kMarkerStep || marker % kMarkerStep == 0) {
        return OdDbSubentId();
    }
    return {static_cast<OdDb::SubentType>(marker % kMarkerStep), marker / kMarkerStep};
}

bool OdDb3dSolid::hasPart(OdDbSubentId part) const
{
    assertReadEnabled();
    return part.index() >= 1 && part.index() <= static_cast<std::int64_t>(m_counts.of(part.type()));
}

OdDbEntityPtr OdDb3dSolid::subentPtr(OdDbFullSubentPath const& path) const
{
    const OdDbObjectId leaf =
        path.objectIds().isEmpty() ? OdDbObjectId::kNull : path.objectIds().last();
    if (leaf != objectId() || !hasPart(path.subentId())) {
        return OdDbEntityPtr();
    }
    return const_cast<OdDb3dSolid*>(this);
}

OdResult OdDb3dSolid::transformBy(OdGeMatrix3d const& matrix)
{
    if (!odDbPlanar::isUsable(matrix)) {
        return kOdNotApplicable;
    }
    const OdGeMatrix3d moved = withoutPerspective(matrix * m_placement);
    if (!odDbPlanar::isUsable(moved)) {
        return kOdNotApplicable;
    }
    changePlacement(moved);
    return kOdOk;
}

OdResult OdDb3dSolid::getGeomExtents(OdGeExtents3d& extents) const
{
    const OdDb3dSolidModelerPtr understanding = modeler();
    if (understanding.isNull() || isNull()) {
        return kOdNotApplicable;
    }
    OdGeExtents3d found;
    const OdResult result = understanding->extents(*this, found);
    return result == kOdOk ? odDbPlanar::giveExtents(found, extents) : result;
}

/// How many parts there are to draw. A damaged record may tell of billions of them; one that tells of
/// more than its body has bytes is not believed.
OdDb3dSolid::Counts OdDb3dSolid::drawnCounts(OdDb3dSolidModeler const& understanding) const
{
    const std::uint64_t told = std::uint64_t{m_counts.faces} + m_counts.edges;
    if (told <= m_body.size()) {
        return m_counts;
    }
    Counts found;
    if (understanding.count(m_format, m_body, found) != kOdOk) {
        return Counts();
    }
    found.faces = std::min(found.faces, m_counts.faces);
    found.edges = std::min(found.edges, m_counts.edges);
    return found;
}

namespace {

/// Keeps a transform for as long as it lives.
class PushedTransform
{
public:
    PushedTransform(OdGiGeometry& geometry, OdGeMatrix3d const& transform) : m_geometry(geometry)
    {
        m_geometry.pushModelTransform(transform);
    }
    PushedTransform(PushedTransform const&) = delete;
    PushedTransform& operator=(PushedTransform const&) = delete;
    ~PushedTransform() { m_geometry.popModelTransform(); }

private:
    OdGiGeometry& m_geometry;
};

}  // namespace

unsigned OdDb3dSolid::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    const OdDb3dSolidModelerPtr understanding = modeler();
    if (understanding.isNull() || isNull()) {
        return kDrawableNone;
    }
    const PushedTransform placed(worldDraw->geometry(), m_placement);
    const Counts counts = drawnCounts(*understanding);
    const bool isWhole = counts.faces == m_counts.faces && counts.edges == m_counts.edges;
    unsigned flags = isWhole ? kDrawableNone : kDrawableIsTruncated;
    for (OdDb::SubentType type :
         {OdDb::SubentType::kFaceSubentType, OdDb::SubentType::kEdgeSubentType}) {
        const std::int64_t count = counts.of(type);
        for (std::int64_t index = 1; index <= count; ++index) {
            if (worldDraw->regenAbort()) {
                flags |= kDrawableIsTruncated;
                break;
            }
            const OdDbSubentId part(type, index);
            worldDraw->subEntityTraits().setSelectionMarker(selectionMarker(part));
            if (understanding->drawPart(*this, part, *worldDraw) != kOdOk) {
                flags |= kDrawableIsTruncated;
            }
        }
    }
    worldDraw->subEntityTraits().setSelectionMarker(0);
    return flags;
}

OdResult OdDb3dSolid::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_label = filer->rdString();
    m_format = filer->rdString();
    m_counts.faces = static_cast<std::uint32_t>(filer->rdInt32());
    m_counts.edges = static_cast<std::uint32_t>(filer->rdInt32());
    m_counts.vertices = static_cast<std::uint32_t>(filer->rdInt32());
    m_placement = readPlacement(*filer);
    OdBinaryData body;
    body.resize(odDbReadCount(*filer, 1));
    filer->rdBytes(body.asArrayPtr(), static_cast<std::uint32_t>(body.size()));
    m_body = body;
    return kOdOk;
}

void OdDb3dSolid::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrString(m_label);
    filer->wrString(m_format);
    filer->wrInt32(static_cast<std::int32_t>(m_counts.faces));
    filer->wrInt32(static_cast<std::int32_t>(m_counts.edges));
    filer->wrInt32(static_cast<std::int32_t>(m_counts.vertices));
    writePlacement(*filer, m_placement);
    filer->wrInt32(static_cast<std::int32_t>(m_body.size()));
    filer->wrBytes(m_body.getPtr(), static_cast<std::uint32_t>(m_body.size()));
}
