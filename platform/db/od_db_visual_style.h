// Visual styles: how edges and faces are shown on screen.

#pragma once

#include "db/od_db_object.h"
#include "root/od_cm_color.h"

/// How a visual style shows edges; a value.
class OdDbEdgeStyle
{
public:
    /// Patterns of obscured edges. Stored; the numbers never change.
    enum LinePattern : std::int32_t
    {
        kOff = 0,
        kSolid = 1,
        kDashed = 2,
        kDotted = 3,
        kShortDash = 4,
        kMediumDash = 5,
        kLongDash = 6,
        kDoubleShortDash = 7,
        kDoubleMediumDash = 8,
        kDoubleLongDash = 9,
        kMediumLongDash = 10,
        kSparseDot = 11
    };

    /// Colour of edges that can be seen.
    OdCmColor const& edgeColor() const noexcept { return m_edgeColor; }
    void setEdgeColor(OdCmColor const& color) { m_edgeColor = color; }
    /// Colour of edges behind faces.
    OdCmColor const& obscuredColor() const noexcept { return m_obscuredColor; }
    void setObscuredColor(OdCmColor const& color) { m_obscuredColor = color; }
    /// Pattern of edges behind faces: one of `LinePattern`, or another number.
    std::int32_t obscuredLinePattern() const noexcept { return m_obscuredLinePattern; }
    void setObscuredLinePattern(std::int32_t pattern) noexcept { m_obscuredLinePattern = pattern; }

    friend bool operator==(OdDbEdgeStyle const&, OdDbEdgeStyle const&) = default;

private:
    OdCmColor m_edgeColor{OdCmEntityColor(OdCmEntityColor::kForeground)};
    OdCmColor m_obscuredColor{OdCmEntityColor(OdCmEntityColor::kNone)};
    std::int32_t m_obscuredLinePattern = kSolid;
};

/// How a viewport shows solids. Lies in the visual style dictionary of its database, under its name.
class OdDbVisualStyle : public OdDbObject
{
    RX_DECLARE_CLASS(OdDbVisualStyle);

public:
    OdDbVisualStyle();
    ~OdDbVisualStyle() override;
    static OdSmartPtr<OdDbVisualStyle> createObject();

    /// A text for a reader.
    OdString description() const;
    void setDescription(OdString const& description);
    OdDbEdgeStyle edgeStyle() const;
    void setEdgeStyle(OdDbEdgeStyle const& style);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

private:
    OdString m_description;
    OdDbEdgeStyle m_edgeStyle;
};

using OdDbVisualStylePtr = OdSmartPtr<OdDbVisualStyle>;
