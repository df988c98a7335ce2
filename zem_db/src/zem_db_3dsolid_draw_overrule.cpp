#include "zem_db_3dsolid_draw_overrule.h"

ZemDb3dSolidDrawOverrule::~ZemDb3dSolidDrawOverrule() = default;

bool ZemDb3dSolidDrawOverrule::isApplicable(OdRxObject const* /*object*/) const
{
    // No feature class of the module gives its solids colours, so every solid draws itself.
    return false;
}
