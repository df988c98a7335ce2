#include "db/od_db_database.h"
#include "extensions/bag_extension.h"
#include "extensions/link_extension.h"
#include "extensions/model_object_protocol.h"
#include "extensions/named_selection.h"
#include "extensions/persid_protocol.h"

#include "protocol/host_extension_module.h"
#include "zem_db_object.h"
#include "zem_db_persid_manager.h"

namespace zemhost {

using ExtensionsModule = HostExtensionModule<
    HostExtension<HostBagExtension, BagExtension, OdDbObject>, HostClass<HostNamedSelection>,
    HostExtensionOfModule<ZemDbObjectPE, ModelObjectProtocol, ZemDbObject>,
    HostExtensionOfModule<ZemDbPersIdManagerPE, PersIdProtocol, ZemDbPersIdManager>,
    HostExtension<HostLinkExtension, LinkExtension, OdDbDatabase>>;

}  // namespace zemhost

ZEMHOST_DEFINE_MODULE(zemhost::ExtensionsModule);
