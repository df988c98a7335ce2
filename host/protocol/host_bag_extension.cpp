#include "protocol/host_bag_extension.h"

namespace zemhost {

RX_DEFINE_CLASS(HostBagExtension, OdRxObject, odrxCreateNothing, L"ZemHostBagExtension");

}  // namespace zemhost
