#include "protocol/host_import_extension.h"

namespace zemhost {

RX_DEFINE_CLASS(HostImportExtension, OdRxObject, odrxCreateNothing, L"ZemHostImportExtension");

}  // namespace zemhost
