#include "db/od_db_database.h"

#include "importer/edit_extension.h"
#include "importer/import_extension.h"
#include "importer/solid_modeler.h"
#include "protocol/host_extension_module.h"

namespace zemhost {

using ImporterModule =
    HostExtensionModule<HostExtension<HostImportExtension, ImportExtension, OdDbDatabase>,
                        HostExtension<HostEditExtension, EditExtension, OdDb3dSolid>,
                        HostExtensionOfModule<OdDb3dSolidModeler, SolidModeler, OdDb3dSolid>>;

}  // namespace zemhost

ZEMHOST_DEFINE_MODULE(zemhost::ImporterModule);
