#include "gi/od_gi_sub_entity_traits.h"

RX_DEFINE_CLASS(OdGiSubEntityTraits, OdRxObject, odrxCreateNothing, L"OdGiSubEntityTraits");
