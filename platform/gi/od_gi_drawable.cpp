#include "gi/od_gi_drawable.h"

RX_DEFINE_CLASS(OdGiDrawable, OdRxObject, odrxCreateNothing, L"OdGiDrawable");
RX_DEFINE_CLASS(OdGiDrawableOverrule, OdRxOverrule, odrxCreateNothing, L"OdGiDrawableOverrule");

namespace {

OdGiDrawableOverrule* nextOverrule(OdGiDrawable const* drawable, OdRxOverrule const* after)
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
    OdGiDrawableOverrule* overrule = nextOverrule(this, nullptr);
    return overrule != nullptr ? overrule->worldDraw(this, worldDraw) : subWorldDraw(worldDraw);
}

unsigned OdGiDrawable::subWorldDraw(OdGiWorldDraw* /*worldDraw*/) const
{
    return 0;
}

unsigned OdGiDrawableOverrule::worldDraw(OdGiDrawable const* drawable, OdGiWorldDraw* worldDraw)
{
    OdGiDrawableOverrule* next = nextOverrule(drawable, this);
    return next != nullptr ? next->worldDraw(drawable, worldDraw)
                           : drawable->subWorldDraw(worldDraw);
}
