#include "db/od_db_platform.h"

#include "db/od_db_3d_solid.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_dimension.h"
#include "db/od_db_hatch.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_material.h"
#include "db/od_db_object_store.h"
#include "db/od_db_polylines.h"
#include "db/od_db_proxy_object.h"
#include "db/od_db_reference_filers.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_text.h"
#include "db/od_db_viewport.h"
#include "db/od_db_visual_style.h"
#include "db/od_db_xrecord.h"
#include "gi/od_gi_world_draw.h"
#include "root/od_assert.h"
#include "root/od_error.h"
#include "root/od_res_buf.h"
#include "root/od_rx_module.h"
#include "root/od_stream_buf.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

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

/// Every class of the platform up to this layer, bases before the classes derived from them.
constexpr ClassEntry kClasses[] = {
    entry<OdRxObject>(),
    entry<OdRxClass>(),
    entry<OdRxOverrule>(),
    entry<OdRxModule>(),
    entry<OdStreamBuf>(),
    entry<OdMemoryStream>(),
    entry<OdFlatMemStream>(),
    entry<OdResBuf>(),
    entry<OdGiDrawable>(),
    entry<OdGiDrawableOverrule>(),
    entry<OdGiSubEntityTraits>(),
    entry<OdGiGeometry>(),
    entry<OdGiContext>(),
    entry<OdGiWorldDraw>(),
    entry<OdDbFiler>(),
    entry<OdDbDwgFiler>(),
    entry<OdDbMemoryFiler>(),
    entry<OdDbStoredObjectFiler>(),
    entry<OdDbDeepCloneFiler>(),
    entry<OdDbIdXlateFiler>(),
    entry<OdDbPurgeFiler>(),
    entry<OdDbIdMapping>(),
    entry<OdDbIdMappingIterator>(),
    entry<OdDbObject>(),
    entry<OdDbDatabase>(),
    entry<OdDbProxyObject>(),
    entry<OdDbDictionary>(),
    entry<OdDbDictionaryIterator>(),
    entry<OdDbXrecord>(),
    entry<OdDbSymbolTableRecord>(),
    entry<OdDbSymbolTable>(),
    entry<OdDbSymbolTableIterator>(),
    entry<OdDbRegAppTableRecord>(),
    entry<OdDbRegAppTable>(),
    entry<OdDbLinetypeTableRecord>(),
    entry<OdDbLinetypeTable>(),
    entry<OdDbLayerTableRecord>(),
    entry<OdDbLayerTable>(),
    entry<OdDbBlockTableRecord>(),
    entry<OdDbBlockTable>(),
    entry<OdDbObjectIterator>(),
    entry<OdDbMaterial>(),
    entry<OdDbVisualStyle>(),
    entry<OdDbEntity>(),
    entry<OdDbBlockReference>(),
    entry<OdDbViewport>(),
    entry<OdDbPoint>(),
    entry<OdDbLine>(),
    entry<OdDbCircle>(),
    entry<OdDbArc>(),
    entry<OdDbEllipse>(),
    entry<OdDbPlanarPolyline>(),
    entry<OdDbPolyline>(),
    entry<OdDb2dPolyline>(),
    entry<OdDbMline>(),
    entry<OdDbLeader>(),
    entry<OdDbText>(),
    entry<OdDbMText>(),
    entry<OdDbArcAlignedText>(),
    entry<OdDbHatch>(),
    entry<OdDbDimension>(),
    entry<OdDbAlignedDimension>(),
    entry<OdDbRotatedDimension>(),
    entry<OdDb3dSolid>(),
    entry<OdDb3dSolidModeler>(),
};

int g_starts = 0;
std::uint64_t g_lastClass = 0;  ///< registration number of the last class of the table

void unregisterFirst(std::size_t count)
{
    for (std::size_t index = count; index > 0; --index) {
        kClasses[index - 1].uninit();
    }
}

std::string livingObjects()
{
    const std::int64_t count = OdDbObject::liveCount();
    return count == 0 ? std::string() : std::to_string(count) + " database objects are still alive";
}

}  // namespace

void odDbStart()
{
    if (g_starts > 0) {
        ++g_starts;
        return;
    }
    static const bool s_guarded = (odAddUnloadGuard(&livingObjects), true);
    (void)s_guarded;
    std::size_t registered = 0;
    try {
        for (; registered < std::size(kClasses); ++registered) {
            kClasses[registered].init();
        }
    } catch (...) {
        unregisterFirst(registered);
        throw;
    }
    g_lastClass = odrxClassDictionary()->revision();
    g_starts = 1;
}

void odDbStop()
{
    if (g_starts == 1) {
        if (OdDbDatabase::liveCount() != 0) {
            throw OdError(kOdDatabaseInUse);
        }
        // Their bases would go from under them, and with them what a module is hooked into.
        odRequireNoClassAfter(g_lastClass);
        unregisterFirst(std::size(kClasses));
    }
    if (g_starts > 0) {
        --g_starts;
    }
}

void odRequireNoClassAfter(std::uint64_t registrationNumber)
{
    for (auto const& [name, cls] : *odrxClassDictionary()) {
        if (cls->registrationNumber() > registrationNumber) {
            throw OdError(kOdModuleInUse, L"class " + name + L" is still registered");
        }
    }
}

OdDbPlatform::~OdDbPlatform()
{
    try {
        odDbStop();
    } catch (OdError const& error) {
        odReportAssert("the platform is not needed any more", error.what(), __FILE__, __LINE__);
    }
}
