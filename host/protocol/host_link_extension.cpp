#include "protocol/host_link_extension.h"

namespace zemhost {

RX_DEFINE_CLASS(HostLinkExtension, OdRxObject, odrxCreateNothing, L"ZemHostLinkExtension");

}  // namespace zemhost
