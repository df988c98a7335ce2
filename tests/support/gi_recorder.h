// Doubles of the graphics interface that record what is drawn into them.

#pragma once

#include "db/od_db_object_id.h"
#include "gi/od_gi_drawable.h"
#include "gi/od_gi_world_draw.h"

#include <cmath>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

namespace gitest {

/// Traits that keep what is set, and write a line into a journal for each marker and colour.
class RecordingTraits : public OdGiSubEntityTraits
{
public:
    /// What the getters answer.
    struct State
    {
        OdCmEntityColor color;
        OdCmEntityColor secondaryColor;
        OdDbObjectId layer;
        OdDbObjectId lineType;
        OdDbObjectId material;
        OdDbObjectId visualStyle;
        OdString plotStyleName;
        OdCmTransparency transparency;
        std::optional<OdGeVector3d> fillPlane;
        std::optional<OdGiMapper> mapper;
        std::optional<OdGiLineStyleModifiers> modifiers;
        std::int64_t marker = 0;
        OdGiFillType fillType = OdGiFillType::kFillNever;
        int lineWeight = -1;
        double lineTypeScale = 1.0;
        double thickness = 0.0;
        std::uint32_t drawFlags = kDrawNoFlags;
        OdGiShadowFlags shadowFlags = kShadowsCastAndReceive;
        OdGiSelectionFlags selectionFlags = kSelectionNoFlags;
        bool selectionGeom = false;
        bool sectionable = true;
    };

    State state;
    State atEntity;  ///< what `setupForEntity` goes back to
    std::vector<OdDbObjectId> lights;
    std::vector<std::string>* journal = nullptr;

    void setColor(std::int16_t index) override { state.color.setColorIndex(index); }
    void setTrueColor(OdCmEntityColor const& color) override
    {
        state.color = color;
        note("color " + std::to_string(color.color()));
    }
    void setLayer(OdDbObjectId layer) override { state.layer = layer; }
    void setLineType(OdDbObjectId lineType) override { state.lineType = lineType; }
    void setSelectionMarker(std::int64_t marker) override
    {
        state.marker = marker;
        note("marker " + std::to_string(marker));
    }
    void setFillType(OdGiFillType type) override { state.fillType = type; }
    void setFillPlane(OdGeVector3d const* normal) override
    {
        state.fillPlane = normal != nullptr ? std::optional(*normal) : std::nullopt;
    }
    void setLineWeight(int lineWeight) override { state.lineWeight = lineWeight; }
    void setLineTypeScale(double scale) override { state.lineTypeScale = scale; }
    void setThickness(double thickness) override { state.thickness = thickness; }
    void setPlotStyleName(OdString const& name) override { state.plotStyleName = name; }
    void setMaterial(OdDbObjectId material) override { state.material = material; }
    void setMapper(OdGiMapper const* mapper) override
    {
        state.mapper = mapper != nullptr ? std::optional(*mapper) : std::nullopt;
    }
    void setVisualStyle(OdDbObjectId visualStyle) override { state.visualStyle = visualStyle; }
    void setTransparency(OdCmTransparency const& transparency) override
    {
        state.transparency = transparency;
    }
    void setDrawFlags(std::uint32_t flags) override { state.drawFlags = flags; }
    void setSelectionGeom(bool selectionGeom) override { state.selectionGeom = selectionGeom; }
    void setShadowFlags(OdGiShadowFlags flags) override { state.shadowFlags = flags; }
    void setSectionable(bool sectionable) override { state.sectionable = sectionable; }
    void setSelectionFlags(OdGiSelectionFlags flags) override { state.selectionFlags = flags; }
    void setSecondaryTrueColor(OdCmEntityColor const& color) override
    {
        state.secondaryColor = color;
    }
    void setLineStyleModifiers(OdGiLineStyleModifiers const* modifiers) override
    {
        state.modifiers = modifiers != nullptr ? std::optional(*modifiers) : std::nullopt;
    }
    void setupForEntity() override { state = atEntity; }
    void addLight(OdDbObjectId light) override { lights.push_back(light); }

    std::int16_t color() const override { return state.color.colorIndex(); }
    OdCmEntityColor trueColor() const override { return state.color; }
    OdDbObjectId layer() const override { return state.layer; }
    OdDbObjectId lineType() const override { return state.lineType; }
    std::int64_t selectionMarker() const override { return state.marker; }
    OdGiFillType fillType() const override { return state.fillType; }
    bool fillPlane(OdGeVector3d& normal) const override
    {
        normal = state.fillPlane.value_or(normal);
        return state.fillPlane.has_value();
    }
    int lineWeight() const override { return state.lineWeight; }
    double lineTypeScale() const override { return state.lineTypeScale; }
    double thickness() const override { return state.thickness; }
    OdString plotStyleName() const override { return state.plotStyleName; }
    OdDbObjectId material() const override { return state.material; }
    OdGiMapper const* mapper() const override
    {
        return state.mapper.has_value() ? &*state.mapper : nullptr;
    }
    OdDbObjectId visualStyle() const override { return state.visualStyle; }
    OdCmTransparency transparency() const override { return state.transparency; }
    std::uint32_t drawFlags() const override { return state.drawFlags; }
    bool selectionGeom() const override { return state.selectionGeom; }
    OdGiShadowFlags shadowFlags() const override { return state.shadowFlags; }
    bool sectionable() const override { return state.sectionable; }
    OdGiSelectionFlags selectionFlags() const override { return state.selectionFlags; }
    OdCmEntityColor secondaryTrueColor() const override { return state.secondaryColor; }
    OdGiLineStyleModifiers const* lineStyleModifiers() const override
    {
        return state.modifiers.has_value() ? &*state.modifiers : nullptr;
    }

private:
    void note(std::string text)
    {
        if (journal != nullptr) {
            journal->push_back(std::move(text));
        }
    }
};

/// Geometry that keeps every point in world coordinates, and writes a line for each call.
class RecordingGeometry : public OdGiGeometry
{
public:
    explicit RecordingGeometry(RecordingTraits& traits) : m_traits(traits) {}

    OdGiWorldDraw* worldDraw = nullptr;
    std::vector<std::string> journal;
    std::vector<OdGePoint3d> points;
    std::vector<OdString> texts;

    void pushModelTransform(OdGeMatrix3d const& transform) override
    {
        m_transforms.push_back(modelToWorldTransform() * transform);
    }
    void popModelTransform() override { m_transforms.pop_back(); }
    OdGeMatrix3d modelToWorldTransform() const override
    {
        return m_transforms.empty() ? OdGeMatrix3d::kIdentity : m_transforms.back();
    }
    std::size_t transformDepth() const { return m_transforms.size(); }

    void polyline(std::span<OdGePoint3d const> all, OdGeVector3d const* /*normal*/,
                  std::int64_t /*marker*/) override
    {
        note("polyline " + std::to_string(all.size()), all);
    }
    void polygon(std::span<OdGePoint3d const> all) override
    {
        note("polygon " + std::to_string(all.size()), all);
    }
    void circle(OdGePoint3d const& center, double radius, OdGeVector3d const& normal) override
    {
        circularArc(center, radius, normal, normal.perpVector(), 2.0 * std::numbers::pi,
                    OdGiArcType::kSimple);
    }
    void circularArc(OdGePoint3d const& center, double radius, OdGeVector3d const& normal,
                     OdGeVector3d const& startVector, double sweepAngle,
                     OdGiArcType /*type*/) override
    {
        std::vector<OdGePoint3d> all;
        const OdGeVector3d start = startVector / startVector.length();
        for (int step = 0; step <= kSteps; ++step) {
            OdGeVector3d at = start;
            at.rotateBy(sweepAngle * step / kSteps, normal);
            all.push_back(center + at * radius);
        }
        note("arc", all);
    }
    void ellipArc(OdGeEllipArc3d const& arc, OdGiArcType /*type*/) override
    {
        std::vector<OdGePoint3d> all;
        for (int step = 0; step <= kSteps; ++step) {
            all.push_back(arc.evalPoint(arc.startParam() +
                                        (arc.endParam() - arc.startParam()) * step / kSteps));
        }
        note("ellipse", all);
    }
    void shell(OdGiShell const& shell) override { note("shell", shell.points); }
    void mesh(std::uint32_t rows, std::uint32_t columns, std::span<OdGePoint3d const> all) override
    {
        note("mesh " + std::to_string(rows) + "x" + std::to_string(columns), all);
    }
    void text(OdGePoint3d const& position, OdGeVector3d const& normal,
              OdGeVector3d const& direction, double height, double widthFactor, double oblique,
              OdString const& text) override
    {
        // The corners of the box of all letters, slanted as they are.
        const OdGeVector3d run = direction * (text.getLength() * height * widthFactor);
        const OdGeVector3d rise =
            (normal.crossProduct(direction) + direction * std::tan(oblique)) * height;
        const OdGePoint3d corners[] = {position, position + run, position + run + rise,
                                       position + rise};
        texts.push_back(text);
        note("text", corners);
    }
    void draw(OdGiDrawable const* drawable) override
    {
        const RecordingTraits::State before = m_traits.state;
        drawable->setAttributes(&m_traits);
        m_traits.atEntity = m_traits.state;
        drawable->worldDraw(worldDraw);
        m_traits.state = before;
    }

private:
    static constexpr int kSteps = 720;

    void note(std::string text, std::span<OdGePoint3d const> all)
    {
        journal.push_back(std::move(text));
        for (OdGePoint3d const& point : all) {
            points.push_back(modelToWorldTransform() * point);
        }
    }

    RecordingTraits& m_traits;
    std::vector<OdGeMatrix3d> m_transforms;
};

class RecordingContext : public OdGiContext
{
public:
    OdDbDatabase* theDatabase = nullptr;

    OdDbDatabase* database() const override { return theDatabase; }
    bool isPlotGeneration() const override { return false; }
    bool fillMode() const override { return true; }
};

/// A world draw over the doubles above. Use it as `OdStaticRxObject<RecordingWorldDraw>`.
class RecordingWorldDraw : public OdGiWorldDraw
{
public:
    mutable OdStaticRxObject<RecordingTraits> traits;
    mutable OdStaticRxObject<RecordingGeometry> drawn{traits};
    mutable OdStaticRxObject<RecordingContext> surroundings;
    OdGiRegenType type = OdGiRegenType::kStandardDisplay;
    bool dragging = false;
    double allowedDeviation = 0.0;
    mutable int partsUntilAbort = -1;  ///< negative for never

    RecordingWorldDraw() { drawn.worldDraw = this; }

    OdGiRegenType regenType() const override { return type; }
    bool regenAbort() const override { return partsUntilAbort >= 0 && partsUntilAbort-- == 0; }
    bool isDragging() const override { return dragging; }
    double deviation(OdGiDeviationType /*type*/, OdGePoint3d const& /*point*/) const override
    {
        return allowedDeviation;
    }
    std::uint32_t numberOfIsolines() const override { return 4; }
    OdGiContext* context() const override { return &surroundings; }
    OdGiGeometry& geometry() const override { return drawn; }
    OdGiGeometry* rawGeometry() const override { return &drawn; }
    OdGiSubEntityTraits& subEntityTraits() const override { return traits; }
};

}  // namespace gitest
