// Entities that are one point or one elementary curve: point, line, circle, arc, ellipse.

#pragma once

#include "db/od_db_entity.h"
#include "ge/od_ge_curve3d.h"

#include <memory>

/// A point, extruded to a line if it has a thickness.
class OdDbPoint : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbPoint);

public:
    OdDbPoint();
    ~OdDbPoint() override;
    static OdSmartPtr<OdDbPoint> createObject();

    OdGePoint3d position() const { return read(m_position); }
    void setPosition(OdGePoint3d const& point);
    OdGeVector3d normal() const { return read(m_normal); }
    /// \throws OdError (bad input) for a vector without direction.
    void setNormal(OdGeVector3d const& normal);
    /// Height of extrusion along the normal, in drawing units; may be negative.
    double thickness() const { return read(m_thickness); }
    void setThickness(double thickness);
    /// Turn of the sign by which the point is shown, in radians.
    double ecsRotation() const { return read(m_rotation); }
    void setEcsRotation(double rotation);

    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    OdGePoint3d m_position;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    double m_thickness = 0.0;
    double m_rotation = 0.0;
};

/// A straight line between two points.
class OdDbLine : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbLine);

public:
    OdDbLine();
    ~OdDbLine() override;
    static OdSmartPtr<OdDbLine> createObject();

    OdGePoint3d startPoint() const { return read(m_start); }
    void setStartPoint(OdGePoint3d const& point);
    OdGePoint3d endPoint() const { return read(m_end); }
    void setEndPoint(OdGePoint3d const& point);
    /// Direction of extrusion, of length 1; not bound to the direction of the line.
    OdGeVector3d normal() const { return read(m_normal); }
    /// \throws OdError (bad input) for a vector without direction.
    void setNormal(OdGeVector3d const& normal);
    /// Height of extrusion along the normal, in drawing units; may be negative.
    double thickness() const { return read(m_thickness); }
    void setThickness(double thickness);

    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    OdGePoint3d m_start;
    OdGePoint3d m_end;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    double m_thickness = 0.0;
};

/// A circle.
class OdDbCircle : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbCircle);

public:
    OdDbCircle();
    ~OdDbCircle() override;
    static OdSmartPtr<OdDbCircle> createObject();

    OdGePoint3d center() const { return read(m_center); }
    void setCenter(OdGePoint3d const& center);
    /// In drawing units, above 0.
    double radius() const { return read(m_radius); }
    void setRadius(double radius);
    OdGeVector3d normal() const { return read(m_normal); }
    /// \throws OdError (bad input) for a vector without direction.
    void setNormal(OdGeVector3d const& normal);
    /// Height of extrusion along the normal, in drawing units; may be negative.
    double thickness() const { return read(m_thickness); }
    void setThickness(double thickness);

    /// Needs a matrix under which the circle stays one, and under which what is extruded stays
    /// upright.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    OdGePoint3d m_center;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    double m_radius = 1.0;
    double m_thickness = 0.0;
};

/// A circular arc. It runs from its start angle counterclockwise about its normal to its end angle;
/// equal angles make the whole circle.
class OdDbArc : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbArc);

public:
    OdDbArc();
    ~OdDbArc() override;
    static OdSmartPtr<OdDbArc> createObject();

    OdGePoint3d center() const { return read(m_center); }
    void setCenter(OdGePoint3d const& center);
    /// In drawing units, above 0.
    double radius() const { return read(m_radius); }
    void setRadius(double radius);
    /// Angles in radians, within [0, 2 pi).
    double startAngle() const { return read(m_startAngle); }
    void setStartAngle(double angle);
    double endAngle() const { return read(m_endAngle); }
    void setEndAngle(double angle);
    OdGePoint3d startPoint() const;
    OdGePoint3d endPoint() const;
    OdGeVector3d normal() const { return read(m_normal); }
    /// The angles stay as numbers, so the arc turns with its plane.
    /// \throws OdError (bad input) for a vector without direction.
    void setNormal(OdGeVector3d const& normal);
    /// Height of extrusion along the normal, in drawing units; may be negative.
    double thickness() const { return read(m_thickness); }
    void setThickness(double thickness);

    /// \name Curve
    /// @{
    /// The arc as a curve, an `OdGeCircArc3d`. \return 0; `curve` is untouched otherwise.
    virtual OdResult getOdGeCurve(std::unique_ptr<OdGeCurve3d>& curve) const;
    /// Becomes the arc of a curve.
    ///
    /// \param curve   An `OdGeCircArc3d`.
    /// \param normal  The normal to have, along that of the curve or opposed; the points stay the
    ///                curve's. Null for the curve's own.
    /// \return 0, or (bad input) for another kind of curve or a normal that is not the curve's;
    ///         nothing has changed then.
    virtual OdResult setFromOdGeCurve(OdGeCurve3d const& curve,
                                      OdGeVector3d const* normal = nullptr);
    /// @}

    /// As a circle.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    OdGePoint3d m_center;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    double m_radius = 1.0;
    double m_startAngle = 0.0;
    double m_endAngle = 0.0;
    double m_thickness = 0.0;
};

/// An ellipse or a part of one.
///
/// Its point at parameter t is center + cos(t) major axis + sin(t) minor axis; the minor axis is
/// normal x major axis, shorter by the radius ratio. It runs from its start parameter
/// counterclockwise about its normal to its end parameter; equal ones make the whole ellipse.
class OdDbEllipse : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbEllipse);

public:
    OdDbEllipse();
    ~OdDbEllipse() override;
    static OdSmartPtr<OdDbEllipse> createObject();

    OdGePoint3d center() const { return read(m_center); }
    void setCenter(OdGePoint3d const& center);
    OdGeVector3d normal() const { return read(m_normal); }
    /// From the center to the curve, in drawing units.
    OdGeVector3d majorAxis() const { return read(m_majorAxis); }
    OdGeVector3d minorAxis() const;
    /// Minor by major radius, above 0 and at most 1.
    double radiusRatio() const { return read(m_radiusRatio); }
    /// Parameters in radians, within [0, 2 pi).
    double startParam() const { return read(m_startParam); }
    double endParam() const { return read(m_endParam); }
    /// Sets all of it.
    /// \throws OdError (bad input) for a normal or an axis without direction, an axis that is not
    ///         perpendicular to the normal, a ratio that is not above 0 and at most 1, and numbers
    ///         that are not finite; nothing has changed then.
    void set(OdGePoint3d const& center, OdGeVector3d const& normal, OdGeVector3d const& majorAxis,
             double radiusRatio, double startParam = 0.0, double endParam = 0.0);

    /// \name Curve, as for `OdDbArc`, with an `OdGeEllipArc3d`
    /// An `OdGeCircArc3d` is taken, too.
    /// @{
    virtual OdResult getOdGeCurve(std::unique_ptr<OdGeCurve3d>& curve) const;
    virtual OdResult setFromOdGeCurve(OdGeCurve3d const& curve,
                                      OdGeVector3d const* normal = nullptr);
    /// @}

    /// Takes every matrix that is finite, has no perspective and does not flatten space.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    OdGePoint3d m_center;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    OdGeVector3d m_majorAxis = OdGeVector3d::kXAxis;
    double m_radiusRatio = 1.0;
    double m_startParam = 0.0;
    double m_endParam = 0.0;
};

using OdDbPointPtr = OdSmartPtr<OdDbPoint>;
using OdDbLinePtr = OdSmartPtr<OdDbLine>;
using OdDbCirclePtr = OdSmartPtr<OdDbCircle>;
using OdDbArcPtr = OdSmartPtr<OdDbArc>;
using OdDbEllipsePtr = OdSmartPtr<OdDbEllipse>;
