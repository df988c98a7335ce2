// Drawables, and overrules of their drawing.

#pragma once

#include "root/od_rx_overrule.h"

class OdGiSubEntityTraits;
class OdGiWorldDraw;

/// Something that can be drawn.
class OdGiDrawable : public OdRxObject
{
    RX_DECLARE_CLASS(OdGiDrawable);

public:
    /// Sets the traits with which the object is drawn: its colour, layer, line type and so on.
    /// Whoever draws an object calls this first.
    /// \return Bits of `OdGiDrawableFlags`.
    unsigned setAttributes(OdGiSubEntityTraits* traits) const;
    /// Draws the object through the overrules of its class, if any, else by itself.
    /// \return The drawable's flags, bits of `OdGiDrawableFlags`.
    unsigned worldDraw(OdGiWorldDraw* worldDraw) const;

protected:
    /// Sets the object's own traits. The base sets none.
    virtual unsigned subSetAttributes(OdGiSubEntityTraits* traits) const;
    /// The object's own drawing. The base draws nothing.
    virtual unsigned subWorldDraw(OdGiWorldDraw* worldDraw) const;

private:
    friend class OdGiDrawableOverrule;
};

/// Replaces or extends the drawing of a class's objects.
class OdGiDrawableOverrule : public OdRxOverrule
{
    RX_DECLARE_CLASS(OdGiDrawableOverrule);

public:
    /// Draws `drawable` in place of its own drawing. The base version hands on to the next overrule
    /// that applies, or to the object's own drawing; in an overrule that was taken out while it draws,
    /// to the object's own drawing.
    virtual unsigned worldDraw(OdGiDrawable const* drawable, OdGiWorldDraw* worldDraw);
};
