#include "assoc/od_platform.h"

#include "assoc/od_db_assoc_dependency.h"
#include "assoc/od_db_assoc_network.h"
#include "assoc/od_db_assoc_variable.h"
#include "assoc/od_db_eval_variant.h"
#include "db/od_db_class_table.h"
#include "db/od_db_platform.h"
#include "root/od_assert.h"
#include "root/od_error.h"

namespace {

/// The classes above the database layer, bases before the classes derived from them.
constexpr OdDbClassEntry kClasses[] = {
    odDbClassEntry<OdDbEvalVariant>(),          odDbClassEntry<OdDbAssocActionBody>(),
    odDbClassEntry<OdDbAssocArrayActionBody>(), odDbClassEntry<OdDbAssocDependency>(),
    odDbClassEntry<OdDbAssocValueDependency>(), odDbClassEntry<OdDbAssocAction>(),
    odDbClassEntry<OdDbAssocNetwork>(),         odDbClassEntry<OdDbAssocVariable>(),
};

constinit OdDbClassTable g_classes(kClasses);

}  // namespace

void odPlatformStart()
{
    odDbStart();
    try {
        g_classes.start();
    } catch (...) {
        odDbStop();
        throw;
    }
}

void odPlatformStop()
{
    if (g_classes.isStarted()) {
        g_classes.stop();
        odDbStop();
    }
}

OdPlatform::~OdPlatform()
{
    try {
        odPlatformStop();
    } catch (OdError const& error) {
        odReportAssert("the platform is not needed any more", error.what(), __FILE__, __LINE__);
    }
}
