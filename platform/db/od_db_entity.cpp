#include "db/od_db_entity.h"

#include "db/od_db_filer.h"
#include "db/od_db_simple_tables.h"
#include "root/od_error.h"

RX_DEFINE_CLASS(OdDbEntity, OdDbObject, odrxCreateNothing, L"OdDbEntity");
RX_DEFINE_CLASS(OdDbLine, OdDbEntity, odrxCreate<OdDbLine>, L"OdDbLine", OdDb::kDwgVersionCurrent,
                0, 0, L"LINE", L"Object database");
RX_DEFINE_CLASS(OdDb3dSolid, OdDbEntity, odrxCreate<OdDb3dSolid>, L"OdDb3dSolid",
                OdDb::kDwgVersionCurrent, 0, 0, L"3DSOLID", L"Object database");

namespace {

void requireClass(OdDbObjectId id, OdRxClass* cls)
{
    OdRxClass* found = id.objectClass();
    if (found == nullptr || !found->isDerivedFrom(cls)) {
        throw OdError_NotThatKindOfClass(found, cls);
    }
}

/// An object outside any database may refer to what it will be added to.
void requireSameDatabase(OdDbDatabase const* left, OdDbDatabase const* right)
{
    if (left != nullptr && right != nullptr && left != right) {
        throw OdError(kOdWrongDatabase);
    }
}

}  // namespace

OdDbEntity::OdDbEntity() = default;
OdDbEntity::~OdDbEntity() = default;

OdDbObjectId OdDbEntity::blockId() const
{
    return ownerId();
}

OdDbObjectId OdDbEntity::layerId() const
{
    assertReadEnabled();
    return m_layer;
}

void OdDbEntity::setLayer(OdDbObjectId layer)
{
    requireClass(layer, OdDbLayerTableRecord::desc());
    requireSameDatabase(database(), layer.database());
    assertGraphicsWriteEnabled();
    m_layer = layer;
}

OdCmEntityColor OdDbEntity::color() const
{
    assertReadEnabled();
    return m_color;
}

void OdDbEntity::setColor(OdCmEntityColor const& color)
{
    assertGraphicsWriteEnabled();
    m_color = color;
}

OdDbObjectId OdDbEntity::materialId() const
{
    assertReadEnabled();
    return m_material;
}

void OdDbEntity::setMaterial(OdDbObjectId material)
{
    assertGraphicsWriteEnabled();
    m_material = material;
}

OdResult OdDbEntity::transformBy(OdGeMatrix3d const& /*matrix*/)
{
    return kOdNotApplicable;
}

void OdDbEntity::setPropertiesFrom(OdDbEntity const* source, bool /*alsoSubentities*/)
{
    if (source == nullptr) {
        throw OdError(kOdNullObjectPointer);
    }
    source->assertReadEnabled();
    requireSameDatabase(database(), source->database());
    assertGraphicsWriteEnabled();
    m_layer = source->m_layer;
    m_color = source->m_color;
    m_material = source->m_material;
}

void OdDbEntity::recordGraphicsModified(bool modified)
{
    if (!modified) {
        clearGraphicsModified();
        return;
    }
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    markGraphicsModified();
}

void OdDbEntity::assertGraphicsWriteEnabled()
{
    assertWriteEnabled();
    markGraphicsModified();
}

OdResult OdDbEntity::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_layer = filer->rdHardPointerId();
    m_color.setColor(static_cast<std::uint32_t>(filer->rdInt32()));
    m_material = filer->rdHardPointerId();
    return kOdOk;
}

void OdDbEntity::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    filer->wrHardPointerId(m_layer);
    filer->wrInt32(static_cast<std::int32_t>(m_color.color()));
    filer->wrHardPointerId(m_material);
}

OdDbLine::OdDbLine() : m_normal(OdGeVector3d::kZAxis) {}
OdDbLine::~OdDbLine() = default;

OdDbLinePtr OdDbLine::createObject()
{
    return odrxMake<OdDbLine>();
}

OdGePoint3d OdDbLine::startPoint() const
{
    assertReadEnabled();
    return m_start;
}

void OdDbLine::setStartPoint(OdGePoint3d const& point)
{
    assertGraphicsWriteEnabled();
    m_start = point;
}

OdGePoint3d OdDbLine::endPoint() const
{
    assertReadEnabled();
    return m_end;
}

void OdDbLine::setEndPoint(OdGePoint3d const& point)
{
    assertGraphicsWriteEnabled();
    m_end = point;
}

OdGeVector3d OdDbLine::normal() const
{
    assertReadEnabled();
    return m_normal;
}

void OdDbLine::setNormal(OdGeVector3d const& normal)
{
    assertGraphicsWriteEnabled();
    m_normal = normal;
}

double OdDbLine::thickness() const
{
    assertReadEnabled();
    return m_thickness;
}

void OdDbLine::setThickness(double thickness)
{
    assertGraphicsWriteEnabled();
    m_thickness = thickness;
}

OdResult OdDbLine::transformBy(OdGeMatrix3d const& matrix)
{
    assertGraphicsWriteEnabled();
    const OdGeVector3d extrusion = matrix * (m_normal * m_thickness);
    const OdGeVector3d normal = matrix * m_normal;
    m_start = matrix * m_start;
    m_end = matrix * m_end;
    const double length = normal.length();
    if (length > 0.0) {
        m_normal = normal / length;
        m_thickness = extrusion.dotProduct(m_normal);
    }
    return kOdOk;
}

OdResult OdDbLine::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_start = filer->rdPoint3d();
    m_end = filer->rdPoint3d();
    m_normal = filer->rdVector3d();
    m_thickness = filer->rdDouble();
    return kOdOk;
}

void OdDbLine::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrPoint3d(m_start);
    filer->wrPoint3d(m_end);
    filer->wrVector3d(m_normal);
    filer->wrDouble(m_thickness);
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
    assertReadEnabled();
    return m_body;
}

OdString OdDb3dSolid::bodyFormat() const
{
    assertReadEnabled();
    return m_format;
}

OdDb3dSolid::Counts OdDb3dSolid::counts() const
{
    assertReadEnabled();
    return m_counts;
}

void OdDb3dSolid::setBody(OdString const& format, OdBinaryData const& body, Counts const& counts)
{
    assertGraphicsWriteEnabled();
    m_format = format;
    m_body = body;
    m_counts = counts;
}

OdString OdDb3dSolid::label() const
{
    assertReadEnabled();
    return m_label;
}

void OdDb3dSolid::setLabel(OdString const& label)
{
    assertWriteEnabled();
    m_label = label;
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
    filer->wrInt32(static_cast<std::int32_t>(m_body.size()));
    filer->wrBytes(m_body.getPtr(), static_cast<std::uint32_t>(m_body.size()));
}
