#include "db/od_db_database.h"

#include "importer/import_extension.h"
#include "protocol/host_extension_module.h"

namespace zemhost {

using ImporterModule = HostExtensionModule<HostImportExtension, ImportExtension, OdDbDatabase>;

}  // namespace zemhost

ZEMHOST_DEFINE_MODULE(zemhost::ImporterModule);
