#include "extensions/bag_extension.h"

#include "protocol/host_extension_module.h"

namespace zemhost {

using ExtensionsModule = HostExtensionModule<HostBagExtension, BagExtension, OdDbObject>;

}  // namespace zemhost

ZEMHOST_DEFINE_MODULE(zemhost::ExtensionsModule);
