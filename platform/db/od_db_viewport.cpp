#include "db/od_db_viewport.h"

#include "db/od_db_filer.h"
#include "db/od_db_planar_impl.h"
#include "db/od_db_visual_style.h"
#include "gi/od_gi_world_draw.h"
#include "root/od_error.h"

#include <cmath>

RX_DEFINE_CLASS(OdDbViewport, OdDbEntity, odrxCreate<OdDbViewport>, L"OdDbViewport",
                OdDb::kDwgVersionCurrent, 0, 0, L"VIEWPORT", L"Object database");

OdDbViewport::OdDbViewport() = default;
OdDbViewport::~OdDbViewport() = default;

OdDbViewportPtr OdDbViewport::createObject()
{
    return odrxMake<OdDbViewport>();
}

void OdDbViewport::setNumber(std::int32_t number)
{
    write(m_number, number);
}

void OdDbViewport::setOn(bool on)
{
    write(m_isOn, on);
}

void OdDbViewport::setCenterPoint(OdGePoint3d const& center)
{
    write(m_center, odDbPlanar::finite(center));
}

void OdDbViewport::setWidth(double width)
{
    write(m_width, odDbPlanar::positive(width));
}

void OdDbViewport::setHeight(double height)
{
    write(m_height, odDbPlanar::positive(height));
}

void OdDbViewport::setViewDirection(OdGeVector3d const& direction)
{
    write(m_viewDirection, odDbPlanar::unit(direction));
}

void OdDbViewport::setViewTarget(OdGePoint3d const& target)
{
    write(m_viewTarget, odDbPlanar::finite(target));
}

void OdDbViewport::setTwistAngle(double angle)
{
    write(m_twistAngle, odDbPlanar::finite(angle));
}

void OdDbViewport::setViewCenter(OdGePoint2d const& center)
{
    write(m_viewCenter, odDbPlanar::finite(center));
}

void OdDbViewport::setViewHeight(double height)
{
    write(m_viewHeight, odDbPlanar::positive(height));
}

double OdDbViewport::customScale() const
{
    assertReadEnabled();
    return m_height / m_viewHeight;
}

void OdDbViewport::setCustomScale(double scale)
{
    setViewHeight(height() / odDbPlanar::positive(scale));
}

void OdDbViewport::setVisualStyleId(OdDbObjectId visualStyle)
{
    if (!visualStyle.isNull()) {
        requireReference(visualStyle, OdDbVisualStyle::desc());
    }
    write(m_visualStyle, visualStyle);
}

void OdDbViewport::requireReferencesIn(OdDbDatabase const& database) const
{
    OdDbEntity::requireReferencesIn(database);
    requireIn(database, m_visualStyle);
}

OdGeMatrix3d OdDbViewport::displayToWorld() const
{
    assertReadEnabled();
    return OdGeMatrix3d::translation(m_viewTarget.asVector()) *
           OdGeMatrix3d::planeToWorld(m_viewDirection) *
           OdGeMatrix3d::rotation(-m_twistAngle, OdGeVector3d::kZAxis);
}

OdGeMatrix3d OdDbViewport::paperToDisplay() const
{
    assertReadEnabled();
    return OdGeMatrix3d::translation(OdGeVector3d(m_viewCenter.x, m_viewCenter.y, 0.0)) *
           OdGeMatrix3d::scaling(m_viewHeight / m_height) *
           OdGeMatrix3d::translation(-m_center.asVector());
}

OdResult OdDbViewport::transformBy(OdGeMatrix3d const& matrix)
{
    const OdGePoint3d center = matrix * m_center;
    const OdGeVector3d x = matrix * OdGeVector3d::kXAxis;
    const OdGeVector3d y = matrix * OdGeVector3d::kYAxis;
    if (!odDbPlanar::isUsable(matrix) || !x.isCodirectionalTo(OdGeVector3d::kXAxis) ||
        !y.isCodirectionalTo(OdGeVector3d::kYAxis) || !odDbPlanar::isFinite(center) ||
        !std::isnormal(m_width * x.length()) || !std::isnormal(m_height * y.length())) {
        return kOdNotApplicable;
    }
    assertGraphicsWriteEnabled();
    m_center = center;
    m_width *= x.length();
    m_height *= y.length();
    return kOdOk;
}

OdResult OdDbViewport::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    const OdGeVector3d half(m_width / 2.0, m_height / 2.0, 0.0);
    return odDbPlanar::giveExtents(OdGeExtents3d(m_center - half, m_center + half), extents);
}

unsigned OdDbViewport::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    const OdGeVector3d right(m_width / 2.0, 0.0, 0.0);
    const OdGeVector3d up(0.0, m_height / 2.0, 0.0);
    const OdGePoint3d frame[] = {m_center - right - up, m_center + right - up,
                                 m_center + right + up, m_center - right + up,
                                 m_center - right - up};
    worldDraw->geometry().polyline(frame);
    return kDrawableNone;
}

OdResult OdDbViewport::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_number = filer->rdInt32();
    m_isOn = filer->rdBool();
    m_center = odDbPlanar::readPoint3d(*filer);
    m_width = odDbPlanar::readPositive(*filer);
    m_height = odDbPlanar::readPositive(*filer);
    m_viewDirection = odDbPlanar::readUnit(*filer);
    m_viewTarget = odDbPlanar::readPoint3d(*filer);
    m_twistAngle = odDbPlanar::readFinite(*filer);
    m_viewCenter = odDbPlanar::readPoint2d(*filer);
    m_viewHeight = odDbPlanar::readPositive(*filer);
    m_visualStyle = filer->rdHardPointerId();
    return kOdOk;
}

void OdDbViewport::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrInt32(m_number);
    filer->wrBool(m_isOn);
    filer->wrPoint3d(m_center);
    filer->wrDouble(m_width);
    filer->wrDouble(m_height);
    filer->wrVector3d(m_viewDirection);
    filer->wrPoint3d(m_viewTarget);
    filer->wrDouble(m_twistAngle);
    filer->wrPoint2d(m_viewCenter);
    filer->wrDouble(m_viewHeight);
    filer->wrHardPointerId(m_visualStyle);
}
