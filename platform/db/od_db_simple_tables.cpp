#include "db/od_db_simple_tables.h"

#include "db/od_db_database_impl.h"
#include "db/od_db_filer.h"
#include "db/od_db_material.h"
#include "db/od_db_planar_impl.h"

#include <utility>

RX_DEFINE_CLASS(OdDbRegAppTableRecord, OdDbSymbolTableRecord, odrxCreate<OdDbRegAppTableRecord>,
                L"OdDbRegAppTableRecord", OdDb::kDwgVersionCurrent, 0, 0, L"APPID",
                L"Object database");
RX_DEFINE_CLASS(OdDbRegAppTable, OdDbSymbolTable, odrxCreate<OdDbRegAppTable>, L"OdDbRegAppTable",
                OdDb::kDwgVersionCurrent, 0, 0, L"APPIDTABLE", L"Object database");
RX_DEFINE_CLASS(OdDbLinetypeTableRecord, OdDbSymbolTableRecord, odrxCreate<OdDbLinetypeTableRecord>,
                L"OdDbLinetypeTableRecord", OdDb::kDwgVersionCurrent, 0, 0, L"LTYPE",
                L"Object database");
RX_DEFINE_CLASS(OdDbLinetypeTable, OdDbSymbolTable, odrxCreate<OdDbLinetypeTable>,
                L"OdDbLinetypeTable", OdDb::kDwgVersionCurrent, 0, 0, L"LTYPETABLE",
                L"Object database");
RX_DEFINE_CLASS(OdDbLayerTableRecord, OdDbSymbolTableRecord, odrxCreate<OdDbLayerTableRecord>,
                L"OdDbLayerTableRecord", OdDb::kDwgVersionCurrent, 0, 0, L"LAYER",
                L"Object database");
RX_DEFINE_CLASS(OdDbLayerTable, OdDbSymbolTable, odrxCreate<OdDbLayerTable>, L"OdDbLayerTable",
                OdDb::kDwgVersionCurrent, 0, 0, L"LAYERTABLE", L"Object database");

OdRxClass* OdDbRegAppTable::recordClass() const
{
    return OdDbRegAppTableRecord::desc();
}

OdRxClass* OdDbLinetypeTable::recordClass() const
{
    return OdDbLinetypeTableRecord::desc();
}

OdRxClass* OdDbLayerTable::recordClass() const
{
    return OdDbLayerTableRecord::desc();
}

OdDbRegAppTableRecordPtr OdDbRegAppTableRecord::createObject()
{
    return odrxMake<OdDbRegAppTableRecord>();
}

OdDbLinetypeTableRecordPtr OdDbLinetypeTableRecord::createObject()
{
    return odrxMake<OdDbLinetypeTableRecord>();
}

OdString OdDbLinetypeTableRecord::comments() const
{
    assertReadEnabled();
    return m_comments;
}

void OdDbLinetypeTableRecord::setComments(OdString const& comments)
{
    assertWriteEnabled();
    m_comments = comments;
}

OdArray<double> OdDbLinetypeTableRecord::dashes() const
{
    assertReadEnabled();
    return m_dashes;
}

void OdDbLinetypeTableRecord::setDashes(OdArray<double> const& dashes)
{
    assertWriteEnabled();
    m_dashes = dashes;
}

OdResult OdDbLinetypeTableRecord::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbSymbolTableRecord::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_comments = filer->rdString();
    const std::uint32_t count = odDbReadCount(*filer, 1);
    OdArray<double> dashes;
    dashes.reserve(count);
    for (std::uint32_t index = 0; index < count; ++index) {
        dashes.append(filer->rdDouble());
    }
    m_dashes = std::move(dashes);
    return kOdOk;
}

void OdDbLinetypeTableRecord::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbSymbolTableRecord::dwgOutFields(filer);
    filer->wrString(m_comments);
    filer->wrInt32(static_cast<std::int32_t>(m_dashes.size()));
    for (double dash : m_dashes) {
        filer->wrDouble(dash);
    }
}

OdDbLayerTableRecordPtr OdDbLayerTableRecord::createObject()
{
    return odrxMake<OdDbLayerTableRecord>();
}

bool OdDbLayerTableRecord::flag(Flag bit) const
{
    assertReadEnabled();
    return (m_flags & bit) != 0;
}

void OdDbLayerTableRecord::setFlag(Flag bit, bool on)
{
    assertWriteEnabled();
    m_flags = static_cast<std::uint8_t>(on ? m_flags | bit : m_flags & ~bit);
}

bool OdDbLayerTableRecord::isLocked() const
{
    return flag(kLocked);
}

void OdDbLayerTableRecord::setIsLocked(bool locked)
{
    setFlag(kLocked, locked);
}

bool OdDbLayerTableRecord::isFrozen() const
{
    return flag(kFrozen);
}

void OdDbLayerTableRecord::setIsFrozen(bool frozen)
{
    setFlag(kFrozen, frozen);
}

bool OdDbLayerTableRecord::isOff() const
{
    return flag(kOff);
}

void OdDbLayerTableRecord::setIsOff(bool off)
{
    setFlag(kOff, off);
}

bool OdDbLayerTableRecord::isPlottable() const
{
    return !flag(kNotPlottable);
}

void OdDbLayerTableRecord::setIsPlottable(bool plottable)
{
    setFlag(kNotPlottable, !plottable);
}

OdString OdDbLayerTableRecord::description() const
{
    assertReadEnabled();
    return m_description;
}

void OdDbLayerTableRecord::setDescription(OdString const& description)
{
    assertWriteEnabled();
    m_description = description;
}

OdCmEntityColor OdDbLayerTableRecord::color() const
{
    assertReadEnabled();
    return m_color;
}

void OdDbLayerTableRecord::setColor(OdCmEntityColor const& color)
{
    assertWriteEnabled();
    m_color = color;
}

OdDbObjectId OdDbLayerTableRecord::linetypeObjectId() const
{
    assertReadEnabled();
    return m_linetype;
}

void OdDbLayerTableRecord::setLinetypeObjectId(OdDbObjectId linetype)
{
    odDbRequireReference(*this, linetype, OdDbLinetypeTableRecord::desc());
    assertWriteEnabled();
    m_linetype = linetype;
}

int OdDbLayerTableRecord::lineWeight() const
{
    assertReadEnabled();
    return m_lineWeight;
}

void OdDbLayerTableRecord::setLineWeight(int lineWeight)
{
    assertWriteEnabled();
    m_lineWeight = lineWeight;
}

double OdDbLayerTableRecord::transparency() const
{
    assertReadEnabled();
    return m_transparency;
}

void OdDbLayerTableRecord::setTransparency(double transparency)
{
    assertWriteEnabled();
    m_transparency = transparency;
}

OdString OdDbLayerTableRecord::plotStyleName() const
{
    assertReadEnabled();
    return m_plotStyleName;
}

void OdDbLayerTableRecord::setPlotStyleName(OdString const& name)
{
    assertWriteEnabled();
    m_plotStyleName = name;
}

OdDbObjectId OdDbLayerTableRecord::materialId() const
{
    assertReadEnabled();
    return m_material;
}

void OdDbLayerTableRecord::setMaterialId(OdDbObjectId material)
{
    odDbRequireReference(*this, material, OdDbMaterial::desc());
    assertWriteEnabled();
    m_material = material;
}

void OdDbLayerTableRecord::requireReferencesIn(OdDbDatabase const& database) const
{
    OdDbSymbolTableRecord::requireReferencesIn(database);
    requireIn(database, m_linetype);
    requireIn(database, m_material);
}

OdResult OdDbLayerTableRecord::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbSymbolTableRecord::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_flags = filer->rdUInt8();
    m_description = filer->rdString();
    m_color = odDbPlanar::readColor(*filer);
    m_linetype = filer->rdHardPointerId();
    m_lineWeight = filer->rdInt32();
    m_transparency = filer->rdDouble();
    m_plotStyleName = filer->rdString();
    m_material = filer->rdHardPointerId();
    return kOdOk;
}

void OdDbLayerTableRecord::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbSymbolTableRecord::dwgOutFields(filer);
    filer->wrUInt8(m_flags);
    filer->wrString(m_description);
    filer->wrInt32(static_cast<std::int32_t>(m_color.color()));
    filer->wrHardPointerId(m_linetype);
    filer->wrInt32(m_lineWeight);
    filer->wrDouble(m_transparency);
    filer->wrString(m_plotStyleName);
    filer->wrHardPointerId(m_material);
}
