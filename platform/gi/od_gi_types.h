// Enumerations and small values of the graphics interface.

#pragma once

#include "ge/od_ge_matrix3d.h"

#include <cstdint>

/// What a drawing is made for. The numbers are known outside and never change.
enum class OdGiRegenType : std::int32_t
{
    kStandardDisplay = 2,
    kHideOrShade = 3,
    kRender = 4,
    kForExplode = 5,
    kSaveForProxy = 6,
    kForExtents = 7  ///< only the extents of what is drawn are wanted
};

/// For what a deviation is asked.
enum class OdGiDeviationType : std::int32_t
{
    kForCircle = 0,
    kForCurve = 1,
    kForBoundary = 2,
    kForIsoline = 3,
    kForFacet = 4
};

/// Whether closed shapes are filled.
enum class OdGiFillType : std::int32_t
{
    kFillAlways = 1,
    kFillNever = 2
};

/// What a circular arc bounds.
enum class OdGiArcType : std::int32_t
{
    kSimple = 0,  ///< the arc alone
    kSector = 1,  ///< the arc and the lines to its center
    kChord = 2    ///< the arc and the line between its ends
};

/// Bits for `OdGiSubEntityTraits::setShadowFlags`.
enum OdGiShadowFlags : std::uint32_t
{
    kShadowsCastAndReceive = 0,
    kShadowsDoesNotCast = 1,
    kShadowsDoesNotReceive = 2,
    kShadowsIgnore = 3
};

/// Bits for `OdGiSubEntityTraits::setSelectionFlags`.
enum OdGiSelectionFlags : std::uint32_t
{
    kSelectionNoFlags = 0,
    kSelectionIgnore = 1
};

/// Bits for `OdGiSubEntityTraits::setDrawFlags`.
enum OdGiDrawFlags : std::uint32_t
{
    kDrawNoFlags = 0,
    kDrawBackfaces = 1,
    kDrawHatchGroup = 2,
    kDrawFrontfacesOnly = 4,
    kDrawGradientFill = 8,
    kDrawSolidFill = 16,
    kDrawNoLineWeight = 32,
    kDrawNoOptimization = 64,
    kDrawSelectionGeometry = 128
};

/// Bits that a drawable gives back from drawing.
enum OdGiDrawableFlags : unsigned
{
    kDrawableNone = 0,
    kDrawableIsCompound = 1,   ///< draws other drawables
    kDrawableIsInvisible = 2,  ///< nothing is to be seen
    kDrawableIsTruncated = 4   ///< drawing was broken off or a part couldn't be drawn
};

/// How an image of a material lies on a body; a value.
struct OdGiMapper
{
    enum class Projection : std::uint8_t
    {
        kPlanar = 1,
        kBox = 2,
        kCylinder = 3,
        kSphere = 4
    };
    enum class Tiling : std::uint8_t
    {
        kTile = 1,
        kCrop = 2,
        kClamp = 3
    };

    OdGeMatrix3d transform;  ///< from the body to the image's unit square
    Projection projection = Projection::kPlanar;
    Tiling tiling = Tiling::kTile;

    friend bool operator==(OdGiMapper const&, OdGiMapper const&) = default;
};

/// What a single sub-entity changes about its line style; a value. Unset parts follow the style.
struct OdGiLineStyleModifiers
{
    double dashScale = 1.0;
    double startWidth = 0.0;  ///< in drawing units
    double endWidth = 0.0;
    double shift = 0.0;  ///< of the pattern, along the line, in drawing units
    bool hasWidth = false;
    bool hasShift = false;

    friend bool operator==(OdGiLineStyleModifiers const&, OdGiLineStyleModifiers const&) = default;
};
