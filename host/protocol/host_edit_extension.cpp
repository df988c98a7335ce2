#include "protocol/host_edit_extension.h"

namespace zemhost {

RX_DEFINE_CLASS(HostEditExtension, OdRxObject, odrxCreateNothing, L"ZemHostEditExtension");

}  // namespace zemhost
