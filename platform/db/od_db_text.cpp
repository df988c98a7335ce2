#include "db/od_db_text.h"

#include "db/od_db_filer.h"
#include "db/od_db_planar_impl.h"
#include "ge/od_ge_circ_arc3d.h"
#include "gi/od_gi_world_draw.h"
#include "root/od_error.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

RX_DEFINE_CLASS(OdDbText, OdDbEntity, odrxCreate<OdDbText>, L"OdDbText", OdDb::kDwgVersionCurrent,
                0, 0, L"TEXT", L"Object database");
RX_DEFINE_CLASS(OdDbMText, OdDbEntity, odrxCreate<OdDbMText>, L"OdDbMText",
                OdDb::kDwgVersionCurrent, 0, 0, L"MTEXT", L"Object database");
RX_DEFINE_CLASS(OdDbArcAlignedText, OdDbEntity, odrxCreate<OdDbArcAlignedText>,
                L"OdDbArcAlignedText", OdDb::kDwgVersionCurrent, 0, 0, L"ARCALIGNEDTEXT",
                L"Object database");

using odDbPlanar::PlaneMap;

namespace {

constexpr double kFullTurn = 2.0 * std::numbers::pi;

bool isSlant(double oblique)
{
    return std::fabs(oblique) < std::numbers::pi / 2.0;
}

/// A line of text that runs along one direction and stands up along another: seen from the side from
/// which it reads right.
void drawLine(OdGiWorldDraw& worldDraw, OdGePoint3d const& start, OdGeVector3d const& along,
              OdGeVector3d const& up, double height, double widthFactor, double oblique,
              OdString const& text)
{
    worldDraw.geometry().text(start, odDbPlanar::unit(along.crossProduct(up)), along, height,
                              widthFactor, oblique, text);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// One line

/// Where the text stands: what one character and one text height are, and the lower left corner.
struct OdDbText::Frame
{
    OdGeVector3d along;  ///< of length 1
    OdGeVector3d up;     ///< of length 1, perpendicular
    OdGePoint3d start;   ///< of the base line
    OdGeVector3d run;    ///< from the start to the end of the base line
    OdGeVector3d rise;   ///< from the foot to the head of a slanted letter
};

OdDbText::OdDbText() = default;
OdDbText::~OdDbText() = default;

OdDbTextPtr OdDbText::createObject()
{
    return odrxMake<OdDbText>();
}

void OdDbText::setTextString(OdString const& text)
{
    write(m_text, text);
}

void OdDbText::setPosition(OdGePoint3d const& position)
{
    write(m_position, odDbPlanar::finite(position));
}

void OdDbText::setHorizontalMode(HorizontalMode mode)
{
    if (mode > HorizontalMode::kRight) {
        throw OdError(kOdInvalidInput);
    }
    write(m_horizontal, mode);
}

void OdDbText::setVerticalMode(VerticalMode mode)
{
    if (mode > VerticalMode::kTop) {
        throw OdError(kOdInvalidInput);
    }
    write(m_vertical, mode);
}

void OdDbText::setHeight(double height)
{
    write(m_height, odDbPlanar::positive(height));
}

void OdDbText::setWidthFactor(double factor)
{
    write(m_widthFactor, odDbPlanar::positive(factor));
}

void OdDbText::setRotation(double rotation)
{
    write(m_rotation, odDbPlanar::normalAngle(odDbPlanar::finite(rotation)));
}

void OdDbText::setOblique(double oblique)
{
    if (!isSlant(oblique)) {
        throw OdError(kOdInvalidInput);
    }
    write(m_oblique, oblique);
}

void OdDbText::setMirroredInX(bool mirrored)
{
    write(m_isBackward, mirrored);
}

void OdDbText::setMirroredInY(bool mirrored)
{
    write(m_isUpsideDown, mirrored);
}

void OdDbText::setNormal(OdGeVector3d const& normal)
{
    write(m_normal, odDbPlanar::unit(normal));
}

void OdDbText::setThickness(double thickness)
{
    write(m_thickness, odDbPlanar::finite(thickness));
}

OdDbText::Frame OdDbText::frame() const
{
    constexpr double kHorizontalShare[] = {0.0, 0.5, 1.0};
    constexpr double kVerticalShare[] = {0.0, 0.0, 0.5, 1.0};
    const OdGeVector3d baseLine = odDbPlanar::direction(m_normal, m_rotation);
    const OdGeVector3d across = m_normal.crossProduct(baseLine);
    Frame frame;
    frame.along = m_isBackward ? -baseLine : baseLine;
    frame.up = m_isUpsideDown ? -across : across;
    frame.run = frame.along * (m_text.getLength() * m_height * m_widthFactor);
    frame.rise = (frame.up + frame.along * std::tan(m_oblique)) * m_height;
    frame.start = m_position - frame.run * kHorizontalShare[static_cast<int>(m_horizontal)] -
                  frame.rise * kVerticalShare[static_cast<int>(m_vertical)];
    return frame;
}

OdResult OdDbText::transformBy(OdGeMatrix3d const& matrix)
{
    PlaneMap map;
    const OdGePoint3d position = matrix * m_position;
    if (!map.set(matrix, m_normal) || !map.holds(m_thickness) || !odDbPlanar::isFinite(position)) {
        return kOdNotApplicable;
    }
    // What a character's width and a letter's height become tells all there is to know.
    const double backward = m_isBackward ? -1.0 : 1.0;
    const OdGeVector2d baseLine(std::cos(m_rotation), std::sin(m_rotation));
    const OdGeVector2d across = baseLine.perpVector() * (m_isUpsideDown ? -1.0 : 1.0);
    const OdGeVector2d width = map.map(baseLine * (backward * m_widthFactor * m_height));
    const OdGeVector2d rise =
        map.map((across + baseLine * (backward * std::tan(m_oblique))) * m_height);
    const double widthLength = width.length();
    if (!std::isnormal(widthLength)) {
        return kOdNotApplicable;
    }
    const OdGeVector2d along = width / (backward * widthLength);
    const double upward = rise.dotProduct(along.perpVector());
    const double height = std::fabs(upward);
    const double oblique = std::atan(backward * rise.dotProduct(along) / height);
    if (!std::isnormal(height) || !std::isnormal(widthLength / height) || !isSlant(oblique)) {
        return kOdNotApplicable;
    }
    assertGraphicsWriteEnabled();
    m_position = position;
    m_normal = map.normal;
    m_height = height;
    m_widthFactor = widthLength / height;
    m_rotation = odDbPlanar::normalAngle(along.angle());
    m_oblique = oblique;
    m_isUpsideDown = upward < 0.0;
    m_thickness *= map.alongNormal;
    return kOdOk;
}

OdResult OdDbText::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    const Frame at = frame();
    OdGeExtents3d found(at.start, at.start);
    found.addPoint(at.start + at.run);
    found.addPoint(at.start + at.rise);
    found.addPoint(at.start + at.run + at.rise);
    odDbPlanar::addExtrusion(found, m_normal, m_thickness);
    return odDbPlanar::giveExtents(found, extents);
}

unsigned OdDbText::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    if (m_thickness != 0.0) {
        // Text that is turned over is drawn with the opposite normal.
        const bool isTurned = m_isBackward != m_isUpsideDown;
        worldDraw->subEntityTraits().setThickness(isTurned ? -m_thickness : m_thickness);
    }
    const Frame at = frame();
    drawLine(*worldDraw, at.start, at.along, at.up, m_height, m_widthFactor, m_oblique, m_text);
    return kDrawableNone;
}

OdResult OdDbText::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_text = filer->rdString();
    m_position = odDbPlanar::readPoint3d(*filer);
    m_normal = odDbPlanar::readUnit(*filer);
    m_height = odDbPlanar::readPositive(*filer);
    m_widthFactor = odDbPlanar::readPositive(*filer);
    m_rotation = odDbPlanar::normalAngle(odDbPlanar::readFinite(*filer));
    m_oblique = odDbPlanar::readFinite(*filer);
    m_thickness = odDbPlanar::readFinite(*filer);
    m_horizontal = static_cast<HorizontalMode>(
        odDbPlanar::readEnum(*filer, static_cast<std::uint8_t>(HorizontalMode::kRight)));
    m_vertical = static_cast<VerticalMode>(
        odDbPlanar::readEnum(*filer, static_cast<std::uint8_t>(VerticalMode::kTop)));
    m_isBackward = filer->rdBool();
    m_isUpsideDown = filer->rdBool();
    if (!isSlant(m_oblique)) {
        throw OdError(kOdBadStream);
    }
    return kOdOk;
}

void OdDbText::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrString(m_text);
    filer->wrPoint3d(m_position);
    filer->wrVector3d(m_normal);
    filer->wrDouble(m_height);
    filer->wrDouble(m_widthFactor);
    filer->wrDouble(m_rotation);
    filer->wrDouble(m_oblique);
    filer->wrDouble(m_thickness);
    filer->wrUInt8(static_cast<std::uint8_t>(m_horizontal));
    filer->wrUInt8(static_cast<std::uint8_t>(m_vertical));
    filer->wrBool(m_isBackward);
    filer->wrBool(m_isUpsideDown);
}

// ---------------------------------------------------------------------------------------------
// Several lines

OdDbMText::OdDbMText() = default;
OdDbMText::~OdDbMText() = default;

OdDbMTextPtr OdDbMText::createObject()
{
    return odrxMake<OdDbMText>();
}

void OdDbMText::setContents(OdString const& contents)
{
    write(m_contents, contents);
}

void OdDbMText::setLocation(OdGePoint3d const& location)
{
    write(m_location, odDbPlanar::finite(location));
}

void OdDbMText::setAttachment(Attachment attachment)
{
    if (attachment < Attachment::kTopLeft || attachment > Attachment::kBottomRight) {
        throw OdError(kOdInvalidInput);
    }
    write(m_attachment, attachment);
}

void OdDbMText::setTextHeight(double height)
{
    write(m_textHeight, odDbPlanar::positive(height));
}

void OdDbMText::setWidth(double width)
{
    write(m_width, odDbPlanar::notNegative(width));
}

void OdDbMText::setLineSpacingFactor(double factor)
{
    write(m_lineSpacing, odDbPlanar::positive(factor));
}

void OdDbMText::setNormal(OdGeVector3d const& normal)
{
    write(m_normal, odDbPlanar::unit(normal));
}

void OdDbMText::setRotation(double rotation)
{
    write(m_rotation, odDbPlanar::normalAngle(odDbPlanar::finite(rotation)));
}

OdGeVector3d OdDbMText::direction() const
{
    assertReadEnabled();
    return odDbPlanar::direction(m_normal, m_rotation);
}

OdGeVector3d OdDbMText::up() const
{
    const OdGeVector3d across = m_normal.crossProduct(direction());
    return m_isMirrored ? -across : across;
}

void OdDbMText::setMirrored(bool mirrored)
{
    write(m_isMirrored, mirrored);
}

namespace {

/// Breaks one line at spaces so that no part is longer than told, but for single words that are.
void breakLine(OdString const& line, double longest, OdArray<OdString>& lines)
{
    const int length = line.getLength();
    int start = 0;
    int lastSpace = -1;
    for (int at = 0; at < length; ++at) {
        if (line.getAt(at) == L' ') {
            lastSpace = at;
        }
        if (at - start + 1 > longest && lastSpace > start && at != lastSpace) {
            lines.append(line.mid(start, lastSpace - start));
            start = lastSpace + 1;
        }
    }
    lines.append(line.mid(start, length - start));
}

}  // namespace

OdArray<OdString> OdDbMText::lines() const
{
    assertReadEnabled();
    // A line that fills the width still does when both are scaled, with what that rounds.
    constexpr double kRounding = 1.0 + 1e-9;
    OdArray<OdString> found;
    const int length = m_contents.getLength();
    int start = 0;
    const auto endLine = [&](int end) {
        const OdString line = m_contents.mid(start, end - start);
        if (m_width > 0.0) {
            breakLine(line, m_width / m_textHeight * kRounding, found);
        } else {
            found.append(line);
        }
    };
    for (int at = 0; at < length; ++at) {
        const bool isCode =
            m_contents.getAt(at) == L'\\' && at + 1 < length && m_contents.getAt(at + 1) == L'P';
        if (isCode || m_contents.getAt(at) == L'\n') {
            endLine(at);
            at += isCode ? 1 : 0;
            start = at + 1;
        }
    }
    endLine(length);
    return found;
}

double OdDbMText::actualWidth() const
{
    int longest = 0;
    for (OdString const& line : std::as_const(*this).lines()) {
        longest = std::max<int>(longest, line.getLength());
    }
    return longest * m_textHeight;
}

double OdDbMText::lineDistance() const
{
    constexpr double kUsual = 5.0 / 3.0;
    return kUsual * m_lineSpacing * m_textHeight;
}

double OdDbMText::heightOf(std::uint32_t lineCount) const
{
    return m_textHeight + lineDistance() * (lineCount - 1);
}

double OdDbMText::actualHeight() const
{
    return heightOf(lines().size());
}

OdResult OdDbMText::transformBy(OdGeMatrix3d const& matrix)
{
    PlaneMap map;
    const OdGePoint3d location = matrix * m_location;
    if (!map.set(matrix, m_normal) || !map.isSimilar || !odDbPlanar::isFinite(location) ||
        !std::isnormal(m_textHeight * map.scale) || !std::isfinite(m_width * map.scale)) {
        return kOdNotApplicable;
    }
    assertGraphicsWriteEnabled();
    m_location = location;
    m_normal = map.normal;
    m_textHeight *= map.scale;
    m_width *= map.scale;
    m_rotation = map.mapAngle(m_rotation);
    m_isMirrored = m_isMirrored != map.isMirrored;
    return kOdOk;
}

OdResult OdDbMText::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    const int index = static_cast<int>(m_attachment) - 1;
    const OdGeVector3d run = direction() * actualWidth();
    const OdGeVector3d rise = up() * actualHeight();
    const OdGePoint3d corner =
        m_location - run * (0.5 * (index % 3)) - rise * (1.0 - 0.5 * (index / 3));
    OdGeExtents3d found(corner, corner);
    found.addPoint(corner + run);
    found.addPoint(corner + rise);
    found.addPoint(corner + run + rise);
    return odDbPlanar::giveExtents(found, extents);
}

unsigned OdDbMText::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    const OdArray<OdString> all = lines();
    const int index = static_cast<int>(m_attachment) - 1;
    const OdGeVector3d along = direction();
    const OdGeVector3d upward = up();
    const double height = heightOf(all.size());
    double below = height * 0.5 * (index / 3) - m_textHeight;  // base line, from the location up
    for (OdString const& line : all) {
        const double length = line.getLength() * m_textHeight;
        drawLine(*worldDraw, m_location - along * (length * 0.5 * (index % 3)) + upward * below,
                 along, upward, m_textHeight, 1.0, 0.0, line);
        below -= lineDistance();
    }
    return kDrawableNone;
}

OdResult OdDbMText::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_contents = filer->rdString();
    m_location = odDbPlanar::readPoint3d(*filer);
    m_normal = odDbPlanar::readUnit(*filer);
    m_rotation = odDbPlanar::normalAngle(odDbPlanar::readFinite(*filer));
    m_textHeight = odDbPlanar::readPositive(*filer);
    m_width = odDbPlanar::readNotNegative(*filer);
    m_lineSpacing = odDbPlanar::readPositive(*filer);
    m_attachment = static_cast<Attachment>(
        odDbPlanar::readEnum(*filer, static_cast<std::uint8_t>(Attachment::kBottomRight)));
    m_isMirrored = filer->rdBool();
    if (m_attachment < Attachment::kTopLeft) {
        throw OdError(kOdBadStream);
    }
    return kOdOk;
}

void OdDbMText::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrString(m_contents);
    filer->wrPoint3d(m_location);
    filer->wrVector3d(m_normal);
    filer->wrDouble(m_rotation);
    filer->wrDouble(m_textHeight);
    filer->wrDouble(m_width);
    filer->wrDouble(m_lineSpacing);
    filer->wrUInt8(static_cast<std::uint8_t>(m_attachment));
    filer->wrBool(m_isMirrored);
}

// ---------------------------------------------------------------------------------------------
// Along an arc

OdDbArcAlignedText::OdDbArcAlignedText() = default;
OdDbArcAlignedText::~OdDbArcAlignedText() = default;

OdDbArcAlignedTextPtr OdDbArcAlignedText::createObject()
{
    return odrxMake<OdDbArcAlignedText>();
}

void OdDbArcAlignedText::setTextString(OdString const& text)
{
    write(m_text, text);
}

void OdDbArcAlignedText::setCenter(OdGePoint3d const& center)
{
    write(m_center, odDbPlanar::finite(center));
}

void OdDbArcAlignedText::setRadius(double radius)
{
    write(m_radius, odDbPlanar::positive(radius));
}

void OdDbArcAlignedText::setStartAngle(double angle)
{
    write(m_startAngle, odDbPlanar::normalAngle(odDbPlanar::finite(angle)));
}

void OdDbArcAlignedText::setEndAngle(double angle)
{
    write(m_endAngle, odDbPlanar::normalAngle(odDbPlanar::finite(angle)));
}

void OdDbArcAlignedText::setTextSize(double size)
{
    write(m_textSize, odDbPlanar::positive(size));
}

void OdDbArcAlignedText::setWidthFactor(double factor)
{
    write(m_widthFactor, odDbPlanar::positive(factor));
}

void OdDbArcAlignedText::setInward(bool inward)
{
    write(m_isInward, inward);
}

void OdDbArcAlignedText::setMirrored(bool mirrored)
{
    write(m_isMirrored, mirrored);
}

void OdDbArcAlignedText::setNormal(OdGeVector3d const& normal)
{
    write(m_normal, odDbPlanar::unit(normal));
}

double OdDbArcAlignedText::sweep() const
{
    const double angle = odDbPlanar::normalAngle(m_endAngle - m_startAngle);
    return angle == 0.0 ? kFullTurn : angle;
}

OdResult OdDbArcAlignedText::transformBy(OdGeMatrix3d const& matrix)
{
    PlaneMap map;
    const OdGePoint3d center = matrix * m_center;
    if (!map.set(matrix, m_normal) || !map.isSimilar || !odDbPlanar::isFinite(center) ||
        !std::isnormal(m_radius * map.scale) || !std::isnormal(m_textSize * map.scale)) {
        return kOdNotApplicable;
    }
    assertGraphicsWriteEnabled();
    const bool isWhole = m_startAngle == m_endAngle;
    const double start = map.mapAngle(map.isMirrored ? m_endAngle : m_startAngle);
    const double end = map.mapAngle(map.isMirrored ? m_startAngle : m_endAngle);
    m_center = center;
    m_normal = map.normal;
    m_radius *= map.scale;
    m_textSize *= map.scale;
    m_startAngle = start;
    m_endAngle = isWhole ? start : end;
    m_isMirrored = m_isMirrored != map.isMirrored;
    return kOdOk;
}

OdResult OdDbArcAlignedText::getGeomExtents(OdGeExtents3d& extents) const
{
    assertReadEnabled();
    OdGeExtents3d found;
    const double heads = m_radius + (m_isInward ? -m_textSize : m_textSize);
    // Letters taller than the radius reach beyond the center: a negative radius is opposite.
    for (double radius : {m_radius, heads}) {
        found.addExt(OdGeCircArc3d(m_center, m_normal, m_normal.perpVector(), radius, m_startAngle,
                                   m_startAngle + sweep())
                         .extents());
    }
    return odDbPlanar::giveExtents(found, extents);
}

unsigned OdDbArcAlignedText::subWorldDraw(OdGiWorldDraw* worldDraw) const
{
    assertReadEnabled();
    const int length = m_text.getLength();
    const double step = length == 0 ? 0.0 : sweep() / length;
    // Unmirrored, letters with outward heads run clockwise, those with inward heads the other way.
    const bool isClockwise = m_isInward == m_isMirrored;
    for (int index = 0; index < length; ++index) {
        const double turned = step * (index + 0.5);
        const double angle = isClockwise ? m_startAngle + sweep() - turned : m_startAngle + turned;
        const OdGeVector3d outward = odDbPlanar::direction(m_normal, angle);
        const OdGeVector3d counterclockwise = m_normal.crossProduct(outward);
        const OdGeVector3d along = isClockwise ? -counterclockwise : counterclockwise;
        const double halfWidth = m_textSize * m_widthFactor / 2.0;
        drawLine(*worldDraw, m_center + outward * m_radius - along * halfWidth, along,
                 m_isInward ? -outward : outward, m_textSize, m_widthFactor, 0.0,
                 m_text.mid(index, 1));
    }
    return kDrawableNone;
}

OdResult OdDbArcAlignedText::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbEntity::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_text = filer->rdString();
    m_center = odDbPlanar::readPoint3d(*filer);
    m_normal = odDbPlanar::readUnit(*filer);
    m_radius = odDbPlanar::readPositive(*filer);
    m_startAngle = odDbPlanar::normalAngle(odDbPlanar::readFinite(*filer));
    m_endAngle = odDbPlanar::normalAngle(odDbPlanar::readFinite(*filer));
    m_textSize = odDbPlanar::readPositive(*filer);
    m_widthFactor = odDbPlanar::readPositive(*filer);
    m_isInward = filer->rdBool();
    m_isMirrored = filer->rdBool();
    return kOdOk;
}

void OdDbArcAlignedText::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbEntity::dwgOutFields(filer);
    filer->wrString(m_text);
    filer->wrPoint3d(m_center);
    filer->wrVector3d(m_normal);
    filer->wrDouble(m_radius);
    filer->wrDouble(m_startAngle);
    filer->wrDouble(m_endAngle);
    filer->wrDouble(m_textSize);
    filer->wrDouble(m_widthFactor);
    filer->wrBool(m_isInward);
    filer->wrBool(m_isMirrored);
}
