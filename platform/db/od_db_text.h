// Texts: one line, several lines, along an arc.

#pragma once

#include "db/od_db_entity.h"

/// A line of text.
///
/// A drawing knows no fonts: for extents and alignment each character counts as a square of the text
/// height, times the width factor. The text runs along its rotation, in the plane of its normal; it
/// may run backwards or stand upside down, as it does after a mirror.
class OdDbText : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbText);

public:
    /// What of the text lies at its position. Stored; the numbers never change.
    enum class HorizontalMode : std::uint8_t
    {
        kLeft = 0,
        kCenter = 1,
        kRight = 2
    };
    enum class VerticalMode : std::uint8_t
    {
        kBase = 0,
        kBottom = 1,  ///< as the base line, where no font tells how deep letters go
        kMiddle = 2,
        kTop = 3
    };

    OdDbText();
    ~OdDbText() override;
    static OdSmartPtr<OdDbText> createObject();

    OdString textString() const { return read(m_text); }
    void setTextString(OdString const& text);
    /// The point that the modes tell, in world coordinates.
    OdGePoint3d position() const { return read(m_position); }
    void setPosition(OdGePoint3d const& position);
    HorizontalMode horizontalMode() const { return read(m_horizontal); }
    /// \throws OdError (bad input) for a number that is no mode.
    void setHorizontalMode(HorizontalMode mode);
    VerticalMode verticalMode() const { return read(m_vertical); }
    void setVerticalMode(VerticalMode mode);
    /// Of a capital letter, in drawing units, above 0.
    double height() const { return read(m_height); }
    void setHeight(double height);
    /// Above 0.
    double widthFactor() const { return read(m_widthFactor); }
    void setWidthFactor(double factor);
    /// In radians, within [0, 2 pi).
    double rotation() const { return read(m_rotation); }
    void setRotation(double rotation);
    /// Slant of the letters, in radians, between -pi/2 and pi/2 and equal to neither.
    double oblique() const { return read(m_oblique); }
    void setOblique(double oblique);
    bool isMirroredInX() const { return read(m_isBackward); }
    void setMirroredInX(bool mirrored);
    bool isMirroredInY() const { return read(m_isUpsideDown); }
    void setMirroredInY(bool mirrored);
    OdGeVector3d normal() const { return read(m_normal); }
    /// \throws OdError (bad input) for a vector without direction.
    void setNormal(OdGeVector3d const& normal);
    /// Height of extrusion along the normal, in drawing units; may be negative.
    double thickness() const { return read(m_thickness); }
    void setThickness(double thickness);

    /// Takes every matrix that is finite, has no perspective and doesn't flatten space: shears go
    /// into the slant, unequal scales into the width factor. What is extruded must stay upright.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    struct Frame;
    Frame frame() const;

    OdString m_text;
    OdGePoint3d m_position;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    double m_height = 1.0;
    double m_widthFactor = 1.0;
    double m_rotation = 0.0;
    double m_oblique = 0.0;
    double m_thickness = 0.0;
    HorizontalMode m_horizontal = HorizontalMode::kLeft;
    VerticalMode m_vertical = VerticalMode::kBase;
    bool m_isBackward = false;
    bool m_isUpsideDown = false;
};

/// Several lines of text, broken at a width.
///
/// Lines end at a line feed or at the characters "\P", and, if there is a width, before the first word
/// that doesn't fit. Letters count as for `OdDbText`.
class OdDbMText : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbMText);

public:
    /// What of the text lies at its location. Stored; the numbers never change.
    enum class Attachment : std::uint8_t
    {
        kTopLeft = 1,
        kTopCenter = 2,
        kTopRight = 3,
        kMiddleLeft = 4,
        kMiddleCenter = 5,
        kMiddleRight = 6,
        kBottomLeft = 7,
        kBottomCenter = 8,
        kBottomRight = 9
    };

    OdDbMText();
    ~OdDbMText() override;
    static OdSmartPtr<OdDbMText> createObject();

    OdString contents() const { return read(m_contents); }
    void setContents(OdString const& contents);
    OdGePoint3d location() const { return read(m_location); }
    void setLocation(OdGePoint3d const& location);
    Attachment attachment() const { return read(m_attachment); }
    /// \throws OdError (bad input) for a number that is no attachment.
    void setAttachment(Attachment attachment);
    double textHeight() const { return read(m_textHeight); }
    void setTextHeight(double height);
    /// At which lines are broken, in drawing units; 0 for nowhere.
    double width() const { return read(m_width); }
    void setWidth(double width);
    /// Distance of lines by the usual one, which is 5/3 of the text height; above 0.
    double lineSpacingFactor() const { return read(m_lineSpacing); }
    void setLineSpacingFactor(double factor);
    OdGeVector3d normal() const { return read(m_normal); }
    /// \throws OdError (bad input) for a vector without direction.
    void setNormal(OdGeVector3d const& normal);
    /// Of the lines, in radians, within [0, 2 pi).
    double rotation() const { return read(m_rotation); }
    void setRotation(double rotation);
    /// The direction of the lines, in world coordinates, of length 1.
    OdGeVector3d direction() const;
    /// Whether the text is turned over, as it is after a mirror: top and bottom are exchanged.
    bool isMirrored() const { return read(m_isMirrored); }
    void setMirrored(bool mirrored);

    /// The lines as they are broken.
    OdArray<OdString> lines() const;
    /// Of the longest line, in drawing units.
    double actualWidth() const;
    double actualHeight() const;

    /// Needs a matrix under which shapes in the plane stay similar.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    double lineDistance() const;
    double heightOf(std::uint32_t lineCount) const;
    OdGeVector3d up() const;

    OdString m_contents;
    OdGePoint3d m_location;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    double m_textHeight = 1.0;
    double m_width = 0.0;
    double m_lineSpacing = 1.0;
    double m_rotation = 0.0;
    Attachment m_attachment = Attachment::kTopLeft;
    bool m_isMirrored = false;
};

/// Text whose letters stand along an arc, evenly spread between its ends.
///
/// Letters stand upright on the arc with their feet towards its center and run clockwise about the
/// normal; or with `isInward` they have their heads towards the center and run counterclockwise.
class OdDbArcAlignedText : public OdDbEntity
{
    RX_DECLARE_CLASS(OdDbArcAlignedText);

public:
    OdDbArcAlignedText();
    ~OdDbArcAlignedText() override;
    static OdSmartPtr<OdDbArcAlignedText> createObject();

    OdString textString() const { return read(m_text); }
    void setTextString(OdString const& text);
    OdGePoint3d center() const { return read(m_center); }
    void setCenter(OdGePoint3d const& center);
    /// Of the arc on which the letters stand, in drawing units, above 0.
    double radius() const { return read(m_radius); }
    void setRadius(double radius);
    /// The arc runs counterclockwise from start to end; radians within [0, 2 pi); equal angles make a
    /// whole turn.
    double startAngle() const { return read(m_startAngle); }
    void setStartAngle(double angle);
    double endAngle() const { return read(m_endAngle); }
    void setEndAngle(double angle);
    double textSize() const { return read(m_textSize); }
    void setTextSize(double size);
    double widthFactor() const { return read(m_widthFactor); }
    void setWidthFactor(double factor);
    bool isInward() const { return read(m_isInward); }
    void setInward(bool inward);
    /// Whether each letter, and their order, is turned over, as after a mirror.
    bool isMirrored() const { return read(m_isMirrored); }
    void setMirrored(bool mirrored);
    OdGeVector3d normal() const { return read(m_normal); }
    /// \throws OdError (bad input) for a vector without direction.
    void setNormal(OdGeVector3d const& normal);

    /// Needs a matrix under which shapes in the plane stay similar.
    OdResult transformBy(OdGeMatrix3d const& matrix) override;
    /// Of the ring between the feet and the heads of the letters.
    OdResult getGeomExtents(OdGeExtents3d& extents) const override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const override;

private:
    double sweep() const;

    OdString m_text;
    OdGePoint3d m_center;
    OdGeVector3d m_normal = OdGeVector3d::kZAxis;
    double m_radius = 1.0;
    double m_startAngle = 0.0;
    double m_endAngle = 0.0;
    double m_textSize = 1.0;
    double m_widthFactor = 1.0;
    bool m_isInward = false;
    bool m_isMirrored = false;
};

using OdDbTextPtr = OdSmartPtr<OdDbText>;
using OdDbMTextPtr = OdSmartPtr<OdDbMText>;
using OdDbArcAlignedTextPtr = OdSmartPtr<OdDbArcAlignedText>;
