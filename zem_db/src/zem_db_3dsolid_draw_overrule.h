// Drawing of solids in the colours of their features.

#pragma once

#include "gi/od_gi_drawable.h"

/// Stands in for the drawing of 3D solids. It applies to solids whose features bring colours of
/// their own; a solid without such features draws itself.
class ZemDb3dSolidDrawOverrule : public OdGiDrawableOverrule
{
public:
    ~ZemDb3dSolidDrawOverrule() override;

    bool isApplicable(OdRxObject const* object) const override;
};
