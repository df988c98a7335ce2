#include "gi/od_gi_world_draw.h"

RX_DEFINE_CLASS(OdGiContext, OdRxObject, odrxCreateNothing, L"OdGiContext");
RX_DEFINE_CLASS(OdGiWorldDraw, OdRxObject, odrxCreateNothing, L"OdGiWorldDraw");
