// Dimensions: measured lengths with lines, arrows and a text.

#pragma once

#include "db/od_db_entity.h"

/// Base of dimensions: what they have in common.
///
/// A dimension measures between points in the direction of its line; both are told by the class.
/// Points are in world coordinates, and are looked at along the normal.
class OdDbDimension : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbDimension);

public:
    ~OdDbDimension() override;

    OdGeVector3d normal() const { return read(m_normal); }
    /// \throws OdError (bad input) for a vector without direction.
    void setNormal(OdGeVector3d const& normal);
    OdGePoint3d xLine1Point() const { return read(m_xLine1); }
    void setXLine1Point(OdGePoint3d const& point);
    OdGePoint3d xLine2Point() const { return read(m_xLine2); }
    void setXLine2Point(OdGePoint3d const& point);
    /// A point of the dimension line.
    OdGePoint3d dimLinePoint() const { return read(m_dimLine); }
    void setDimLinePoint(OdGePoint3d const& point);
    /// Where the middle of the text lies: at a point of its own, or over the dimension line's middle.
    bool isUsingDefaultTextPosition() const { return read(m_hasDefaultTextPosition); }
    void useDefaultTextPosition();
    OdGePoint3d textPosition() const;
    void setTextPosition(OdGePoint3d const& position);
    /// The text in place of the measured length; "<>" in it stands for that. Empty for the length.
    OdString dimensionText() const { return read(m_text); }
    void setDimensionText(OdString const& text);
    /// The text as it is shown; lengths with up to four decimals.
    OdString shownText() const;
    /// Height of the text and length of an arrow, in drawing units, above 0.
    double textHeight() const { return read(m_textHeight); }
    void setTextHeight(double height);
    double arrowSize() const { return read(m_arrowSize); }
    void setArrowSize(double size);

    /// The measured length, in drawing units.
    double measurement() const;
    /// The direction in which is measured, in world coordinates, of length 1; zero if the points of
    /// the dimension give none.
    virtual OdGeVector3d measureDirection() const = 0;

    /// Needs a matrix under which shapes in the plane stay similar.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    /// Of the lines and the text's point.
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    OdDbDimension();
    /// Told the angle in the plane's entity coordinates that an angle has after a transformation.
    virtual void mapAngles(double (*mapAngle)(void const* map, double angle), void const* map);
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    struct Lines;
    Lines lines() const;

    OdString m_text;
    OdGePoint3d m_xLine1;
    OdGePoint3d m_xLine2;
    OdGePoint3d m_dimLine;
    OdGePoint3d m_textPosition;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    double m_textHeight = 2.5;
    double m_arrowSize = 2.5;
    bool m_hasDefaultTextPosition = true;
};

/// Measures the distance of two points.
class OdDbAlignedDimension : public OdDbDimension
{
    RX_DECLARE_CLASS(OdDbAlignedDimension);

public:
    OdDbAlignedDimension();
    ~OdDbAlignedDimension() override;
    static OdSmartPtr<OdDbAlignedDimension> createObject();

    OdGeVector3d measureDirection() const override;
};

/// Measures the distance of two points in one direction.
class OdDbRotatedDimension : public OdDbDimension
{
    RX_DECLARE_CLASS(OdDbRotatedDimension);

public:
    OdDbRotatedDimension();
    ~OdDbRotatedDimension() override;
    static OdSmartPtr<OdDbRotatedDimension> createObject();

    /// The direction of measuring, in radians, within [0, 2 pi).
    double rotation() const { return read(m_rotation); }
    void setRotation(double rotation);
    OdGeVector3d measureDirection() const override;

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    void mapAngles(double (*mapAngle)(void const* map, double angle), void const* map) override;

private:
    double m_rotation = 0.0;
};

using OdDbDimensionPtr = OdSmartPtr<OdDbDimension>;
using OdDbAlignedDimensionPtr = OdSmartPtr<OdDbAlignedDimension>;
using OdDbRotatedDimensionPtr = OdSmartPtr<OdDbRotatedDimension>;
