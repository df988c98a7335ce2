#include "db/od_db_entity.h"

#include "db/od_db_database_impl.h"
#include "db/od_db_filer.h"
#include "db/od_db_material.h"
#include "db/od_db_planar_impl.h"
#include "db/od_db_simple_tables.h"
#include "gi/od_gi_sub_entity_traits.h"
#include "root/od_error.h"

#include <algorithm>
#include <cmath>

RX_DEFINE_CLASS(OdDbEntity, OdDbObject, odrxCreateNothing, L"OdDbEntity");

namespace {

/// An object outside any database may refer to what it will be added to.
void requireSameDatabase(OdDbDatabase const* left, OdDbDatabase const* right)
{
    if (left != nullptr && right != nullptr && left != right) {
        throw OdError(kOdWrongDatabase);
    }
}

void writeTransparency(OdDbDwgFiler& filer, OdCmTransparency const& transparency)
{
    filer.wrUInt8(transparency.method());
    if (transparency.isByValue()) {
        filer.wrDouble(transparency.value());
    }
}

OdCmTransparency readTransparency(OdDbDwgFiler& filer)
{
    const auto method = static_cast<OdCmTransparency::Method>(
        odDbPlanar::readEnum(filer, OdCmTransparency::kByValue));
    return method == OdCmTransparency::kByValue
               ? OdCmTransparency(odDbPlanar::readNotNegative(filer))
               : OdCmTransparency(method);
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
    return read(m_layer);
}

void OdDbEntity::requireReference(OdDbObjectId id, OdRxClass* cls) const
{
    if (id.isNull()) {
        throw OdError_NotThatKindOfClass(nullptr, cls);
    }
    odDbRequireReference(*this, id, cls);
}

void OdDbEntity::requireReferencesIn(OdDbDatabase const& database) const
{
    requireIn(database, m_layer);
    requireIn(database, m_material);
    requireIn(database, m_linetype);
}

void OdDbEntity::copyFrom(OdRxObject const* source)
{
    OdDbObject::copyFrom(source);
    markGraphicsModified();
}

void OdDbEntity::setLayer(OdDbObjectId layer)
{
    requireReference(layer, OdDbLayerTableRecord::desc());
    write(m_layer, layer);
}

OdCmEntityColor OdDbEntity::color() const
{
    return read(m_color);
}

void OdDbEntity::setColor(OdCmEntityColor const& color)
{
    write(m_color, color);
}

OdDbObjectId OdDbEntity::materialId() const
{
    return read(m_material);
}

void OdDbEntity::setMaterial(OdDbObjectId material)
{
    if (!material.isNull()) {
        requireReference(material, OdDbMaterial::desc());
    }
    write(m_material, material);
}

OdDbObjectId OdDbEntity::linetypeId() const
{
    return read(m_linetype);
}

void OdDbEntity::setLinetype(OdDbObjectId linetype)
{
    if (!linetype.isNull()) {
        requireReference(linetype, OdDbLinetypeTableRecord::desc());
    }
    write(m_linetype, linetype);
}

double OdDbEntity::linetypeScale() const
{
    return read(m_linetypeScale);
}

void OdDbEntity::setLinetypeScale(double scale)
{
    write(m_linetypeScale, odDbPlanar::positive(scale));
}

int OdDbEntity::lineWeight() const
{
    return read(m_lineWeight);
}

void OdDbEntity::setLineWeight(int lineWeight)
{
    if (lineWeight < kLineWeightDefault || lineWeight > kLineWeightMax) {
        throw OdError(kOdInvalidInput);
    }
    write(m_lineWeight, static_cast<std::int16_t>(lineWeight));
}

OdCmTransparency OdDbEntity::transparency() const
{
    return read(m_transparency);
}

void OdDbEntity::setTransparency(OdCmTransparency const& transparency)
{
    write(m_transparency, transparency);
}

bool OdDbEntity::isVisible() const
{
    return read(m_isVisible);
}

void OdDbEntity::setVisible(bool visible)
{
    write(m_isVisible, visible);
}

void OdDbEntity::setPropertiesFrom(OdDbEntity const* source, bool alsoSubentities)
{
    if (source == nullptr) {
        throw OdError(kOdNullObjectPointer);
    }
    source->assertReadEnabled();
    requireSameDatabase(database(), source->database());
    if (database() != nullptr) {
        source->OdDbEntity::requireReferencesIn(*database());
    }
    assertGraphicsWriteEnabled();
    if (database() == nullptr || !source->m_layer.isNull()) {
        m_layer = source->m_layer;
    }
    m_color = source->m_color;
    m_material = source->m_material;
    m_linetype = source->m_linetype;
    m_linetypeScale = source->m_linetypeScale;
    m_lineWeight = source->m_lineWeight;
    m_transparency = source->m_transparency;
    m_isVisible = source->m_isVisible;
    if (alsoSubentities) {
        subSetPropertiesFrom(source);
    }
}

void OdDbEntity::subSetPropertiesFrom(OdDbEntity const* /*source*/) {}

void OdDbEntity::joiningBlock(OdDbBlockTableRecord const& /*block*/) const {}

void OdDbEntity::joinedBlock() {}

OdResult OdDbEntity::transformBy(OdGeMatrix3d const& /*matrix*/)
{
    return kOdNotApplicable;
}

OdResult OdDbEntity::getGeomExtents(OdGeExtents3d& /*extents*/) const
{
    return kOdNotApplicable;
}

OdDbEntityPtr OdDbEntity::subentPtr(OdDbFullSubentPath const& /*path*/) const
{
    return OdDbEntityPtr();
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

unsigned OdDbEntity::subSetAttributes(OdGiSubEntityTraits* traits) const
{
    assertReadEnabled();
    traits->setLayer(m_layer);
    traits->setTrueColor(m_color);
    traits->setMaterial(m_material);
    traits->setLineType(m_linetype);
    traits->setLineTypeScale(m_linetypeScale);
    traits->setLineWeight(m_lineWeight);
    traits->setTransparency(m_transparency);
    return m_isVisible ? kDrawableNone : kDrawableIsInvisible;
}

OdResult OdDbEntity::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_layer = filer->rdHardPointerId();
    m_color = odDbPlanar::readColor(*filer);
    m_material = filer->rdHardPointerId();
    m_linetype = filer->rdHardPointerId();
    m_linetypeScale = odDbPlanar::readPositive(*filer);
    m_lineWeight = std::clamp<std::int16_t>(filer->rdInt16(), kLineWeightDefault, kLineWeightMax);
    m_transparency = readTransparency(*filer);
    m_isVisible = filer->rdBool();
    return kOdOk;
}

void OdDbEntity::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    filer->wrHardPointerId(m_layer);
    filer->wrInt32(static_cast<std::int32_t>(m_color.color()));
    filer->wrHardPointerId(m_material);
    filer->wrHardPointerId(m_linetype);
    filer->wrDouble(m_linetypeScale);
    filer->wrInt16(m_lineWeight);
    writeTransparency(*filer, m_transparency);
    filer->wrBool(m_isVisible);
}
