// World draw: what a drawable draws itself into.

#pragma once

#include "gi/od_gi_geometry.h"
#include "gi/od_gi_sub_entity_traits.h"
#include "gi/od_gi_types.h"

class OdDbDatabase;

/// What surrounds a drawing: its database and what the drawing is for.
class OdGiContext : public OdRxObject
{
    RX_DECLARE_CLASS(OdGiContext);

public:
    /// The database that is drawn; may be null.
    virtual OdDbDatabase* database() const = 0;
    /// Whether paper is drawn on, rather than a screen.
    virtual bool isPlotGeneration() const = 0;
    /// Whether closed areas are filled.
    virtual bool fillMode() const = 0;
};

/// Where drawables put their geometry; implemented by whoever shows or exports drawings.
class OdGiWorldDraw : public OdRxObject
{
    RX_DECLARE_CLASS(OdGiWorldDraw);

public:
    virtual OdGiRegenType regenType() const = 0;
    /// Whether drawing is to be broken off. A drawable asks between parts that take time.
    virtual bool regenAbort() const = 0;
    /// Whether the user is moving the drawable at this moment; it may draw less then.
    virtual bool isDragging() const = 0;
    /// How far a straight piece may lie off the curve that it stands for, in drawing units, near a
    /// point. 0 or less for no opinion.
    virtual double deviation(OdGiDeviationType type, OdGePoint3d const& point) const = 0;
    /// How many lines a round face shows.
    virtual std::uint32_t numberOfIsolines() const = 0;
    /// Lives as long as the world draw.
    virtual OdGiContext* context() const = 0;
    /// Takes geometry with the traits; lives as long as the world draw.
    virtual OdGiGeometry& geometry() const = 0;
    /// Takes geometry past everything that may be put around `geometry`; null if there is no such
    /// way. Lives as long as the world draw.
    virtual OdGiGeometry* rawGeometry() const = 0;
    /// Lives as long as the world draw.
    virtual OdGiSubEntityTraits& subEntityTraits() const = 0;
};
