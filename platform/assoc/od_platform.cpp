#include "assoc/od_platform.h"

#include "assoc/od_db_assoc_dependency.h"
#include "assoc/od_db_assoc_network.h"
#include "assoc/od_db_assoc_variable.h"
#include "assoc/od_db_eval_variant.h"
#include "db/od_db_database.h"
#include "db/od_db_platform.h"
#include "root/od_assert.h"
#include "root/od_error.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace {

struct ClassEntry
{
    void (*init)();
    void (*uninit)();
};

template <class T>
constexpr ClassEntry entry()
{
    return {[] { T::rxInit(); }, [] { T::rxUninit(); }};
}

/// The classes above the database layer, bases before the classes derived from them.
constexpr ClassEntry kClasses[] = {
    entry<OdDbEvalVariant>(),          entry<OdDbAssocActionBody>(),
    entry<OdDbAssocArrayActionBody>(), entry<OdDbAssocDependency>(),
    entry<OdDbAssocValueDependency>(), entry<OdDbAssocAction>(),
    entry<OdDbAssocNetwork>(),         entry<OdDbAssocVariable>(),
};

int g_starts = 0;
std::uint64_t g_lastClass = 0;  ///< registration number of the last class of the table

void unregisterFirst(std::size_t count)
{
    for (std::size_t index = count; index > 0; --index) {
        kClasses[index - 1].uninit();
    }
}

}  // namespace

void odPlatformStart()
{
    odDbStart();
    if (g_starts > 0) {
        ++g_starts;
        return;
    }
    std::size_t registered = 0;
    try {
        for (; registered < std::size(kClasses); ++registered) {
            kClasses[registered].init();
        }
    } catch (...) {
        unregisterFirst(registered);
        odDbStop();
        throw;
    }
    g_lastClass = odrxClassDictionary()->revision();
    g_starts = 1;
}

void odPlatformStop()
{
    if (g_starts == 0) {
        return;
    }
    if (g_starts == 1) {
        if (OdDbDatabase::liveCount() != 0) {
            throw OdError(kOdDatabaseInUse);
        }
        odRequireNoClassAfter(g_lastClass);
        unregisterFirst(std::size(kClasses));
    }
    --g_starts;
    odDbStop();
}

OdPlatform::~OdPlatform()
{
    try {
        odPlatformStop();
    } catch (OdError const& error) {
        odReportAssert("the platform is not needed any more", error.what(), __FILE__, __LINE__);
    }
}
