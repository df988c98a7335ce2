#include "gi/od_gi_drawable.h"

RX_DEFINE_CLASS(OdGiDrawable, OdRxObject, odrxCreateNothing, L"OdGiDrawable");
RX_DEFINE_CLASS(OdGiDrawableOverrule, OdRxOverrule, odrxCreateNothing, L"OdGiDrawableOverrule");

namespace {

/// Holds the overrule, which may be taken out while it draws.
OdSmartPtr<OdGiDrawableOverrule> nextOverrule(OdGiDrawable const* drawable,
                                              OdRxOverrule const* after)
{
    return static_cast<OdGiDrawableOverrule*>(
        odrxFindOverrule(drawable, OdGiDrawableOverrule::desc(), after));
}

}  // namespace

unsigned OdGiDrawable::setAttributes(OdGiSubEntityTraits* traits) const
{
    return subSetAttributes(traits);
}

unsigned OdGiDrawable::subSetAttributes(OdGiSubEntityTraits* /*traits*/) const
{
    return 0;
}

unsigned OdGiDrawable::worldDraw(OdGiWorldDraw* worldDraw) const
{
    const OdSmartPtr<OdGiDrawableOverrule> overrule = nextOverrule(this, nullptr);
    return overrule.isNull() ? subWorldDraw(worldDraw) : overrule->worldDraw(this, worldDraw);
}

unsigned OdGiDrawable::subWorldDraw(OdGiWorldDraw* /*worldDraw*/) const
{
    return 0;
}

unsigned OdGiDrawableOverrule::worldDraw(OdGiDrawable const* drawable, OdGiWorldDraw* worldDraw)
{
    const OdSmartPtr<OdGiDrawableOverrule> next = nextOverrule(drawable, this);
    return next.isNull() ? drawable->subWorldDraw(worldDraw) : next->worldDraw(drawable, worldDraw);
}
