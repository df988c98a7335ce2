#include "gi/od_gi_geometry.h"

RX_DEFINE_CLASS(OdGiGeometry, OdRxObject, odrxCreateNothing, L"OdGiGeometry");
