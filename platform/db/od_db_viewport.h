// Viewports: windows of paper space that show model space.

#pragma once

#include "db/od_db_entity.h"
#include "ge/od_ge_point2d.h"

/// A rectangle of paper space in which model space is seen.
///
/// The window lies in the paper's x-y plane, its sides along the axes. What is seen is told in display
/// coordinates: their origin is the target, their z axis the view direction, from the target towards
/// the eye; their x axis is that of the view direction's entity coordinate system, turned clockwise
/// about the view direction by the twist. The view center, in display coordinates, is seen at the
/// window's center, and the view height fills the window's height.
class OdDbViewport : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbViewport);

public:
    OdDbViewport();
    ~OdDbViewport() override;
    static OdSmartPtr<OdDbViewport> createObject();

    /// \name Window, in paper space
    /// @{
    /// The number of the viewport in its layout; 1 is the paper itself, and the others follow.
    std::int32_t number() const { return read(m_number); }
    void setNumber(std::int32_t number);
    bool isOn() const { return read(m_isOn); }
    void setOn(bool on);
    OdGePoint3d centerPoint() const { return read(m_center); }
    void setCenterPoint(OdGePoint3d const& center);
    /// In drawing units of the paper, above 0.
    double width() const { return read(m_width); }
    void setWidth(double width);
    double height() const { return read(m_height); }
    void setHeight(double height);
    /// @}

    /// \name View, in model space
    /// @{
    OdGeVector3d viewDirection() const { return read(m_viewDirection); }
    /// \throws OdError (bad input) for a vector without direction.
    void setViewDirection(OdGeVector3d const& direction);
    OdGePoint3d viewTarget() const { return read(m_viewTarget); }
    void setViewTarget(OdGePoint3d const& target);
    /// In radians.
    double twistAngle() const { return read(m_twistAngle); }
    void setTwistAngle(double angle);
    /// In display coordinates.
    OdGePoint2d viewCenter() const { return read(m_viewCenter); }
    void setViewCenter(OdGePoint2d const& center);
    /// In drawing units of the model, above 0.
    double viewHeight() const { return read(m_viewHeight); }
    void setViewHeight(double height);
    /// Paper units for a unit of the model: height by view height.
    double customScale() const;
    /// Sets the view height for a scale, above 0.
    void setCustomScale(double scale);
    /// The visual style; null for none.
    OdDbObjectId visualStyleId() const { return read(m_visualStyle); }
    /// \throws OdError (not that kind of class), (wrong database).
    void setVisualStyleId(OdDbObjectId visualStyle);
    /// @}

    /// \name Coordinates
    /// @{
    /// From display coordinates to those of model space.
    OdGeMatrix3d displayToWorld() const;
    /// From paper space to display coordinates.
    OdGeMatrix3d paperToDisplay() const;
    /// @}

    /// Moves and scales the window; the view is the same afterwards, in the other size. Needs a
    /// matrix that keeps the directions of the paper's axes.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    void requireReferencesIn(OdDbDatabase const& database) const override;
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    OdGePoint3d m_center;
    OdGePoint3d m_viewTarget;
    OdGeVector3d m_viewDirection = OdGeVector3d::kZAxis;
    OdGePoint2d m_viewCenter;
    OdDbObjectId m_visualStyle;
    double m_width = 1.0;
    double m_height = 1.0;
    double m_viewHeight = 1.0;
    double m_twistAngle = 0.0;
    std::int32_t m_number = 0;
    bool m_isOn = true;
};

using OdDbViewportPtr = OdSmartPtr<OdDbViewport>;
