#include "db/od_db_platform.h"

#include "db/od_db_3d_solid.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_block_table.h"
#include "db/od_db_class_table.h"
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

#include <string>

namespace {

/// Every class of the platform up to this layer, bases before the classes derived from them.
constexpr OdDbClassEntry kClasses[] = {
    odDbClassEntry<OdRxObject>(),
    odDbClassEntry<OdRxClass>(),
    odDbClassEntry<OdRxOverrule>(),
    odDbClassEntry<OdRxModule>(),
    odDbClassEntry<OdStreamBuf>(),
    odDbClassEntry<OdMemoryStream>(),
    odDbClassEntry<OdFlatMemStream>(),
    odDbClassEntry<OdResBuf>(),
    odDbClassEntry<OdGiDrawable>(),
    odDbClassEntry<OdGiDrawableOverrule>(),
    odDbClassEntry<OdGiSubEntityTraits>(),
    odDbClassEntry<OdGiGeometry>(),
    odDbClassEntry<OdGiContext>(),
    odDbClassEntry<OdGiWorldDraw>(),
    odDbClassEntry<OdDbFiler>(),
    odDbClassEntry<OdDbDwgFiler>(),
    odDbClassEntry<OdDbMemoryFiler>(),
    odDbClassEntry<OdDbStoredObjectFiler>(),
    odDbClassEntry<OdDbDeepCloneFiler>(),
    odDbClassEntry<OdDbIdXlateFiler>(),
    odDbClassEntry<OdDbPurgeFiler>(),
    odDbClassEntry<OdDbIdMapping>(),
    odDbClassEntry<OdDbIdMappingIterator>(),
    odDbClassEntry<OdDbObject>(),
    odDbClassEntry<OdDbDatabase>(),
    odDbClassEntry<OdDbProxyObject>(),
    odDbClassEntry<OdDbDictionary>(),
    odDbClassEntry<OdDbDictionaryIterator>(),
    odDbClassEntry<OdDbXrecord>(),
    odDbClassEntry<OdDbSymbolTableRecord>(),
    odDbClassEntry<OdDbSymbolTable>(),
    odDbClassEntry<OdDbSymbolTableIterator>(),
    odDbClassEntry<OdDbRegAppTableRecord>(),
    odDbClassEntry<OdDbRegAppTable>(),
    odDbClassEntry<OdDbLinetypeTableRecord>(),
    odDbClassEntry<OdDbLinetypeTable>(),
    odDbClassEntry<OdDbLayerTableRecord>(),
    odDbClassEntry<OdDbLayerTable>(),
    odDbClassEntry<OdDbBlockTableRecord>(),
    odDbClassEntry<OdDbBlockTable>(),
    odDbClassEntry<OdDbObjectIterator>(),
    odDbClassEntry<OdDbMaterial>(),
    odDbClassEntry<OdDbVisualStyle>(),
    odDbClassEntry<OdDbEntity>(),
    odDbClassEntry<OdDbBlockReference>(),
    odDbClassEntry<OdDbViewport>(),
    odDbClassEntry<OdDbPoint>(),
    odDbClassEntry<OdDbLine>(),
    odDbClassEntry<OdDbCircle>(),
    odDbClassEntry<OdDbArc>(),
    odDbClassEntry<OdDbEllipse>(),
    odDbClassEntry<OdDbPlanarPolyline>(),
    odDbClassEntry<OdDbPolyline>(),
    odDbClassEntry<OdDb2dPolyline>(),
    odDbClassEntry<OdDbMline>(),
    odDbClassEntry<OdDbLeader>(),
    odDbClassEntry<OdDbText>(),
    odDbClassEntry<OdDbMText>(),
    odDbClassEntry<OdDbArcAlignedText>(),
    odDbClassEntry<OdDbHatch>(),
    odDbClassEntry<OdDbDimension>(),
    odDbClassEntry<OdDbAlignedDimension>(),
    odDbClassEntry<OdDbRotatedDimension>(),
    odDbClassEntry<OdDb3dSolid>(),
    odDbClassEntry<OdDb3dSolidModeler>(),
};

constinit OdDbClassTable g_classes(kClasses);

std::string livingObjects()
{
    const std::int64_t count = OdDbObject::liveCount();
    return count == 0 ? std::string() : std::to_string(count) + " database objects are still alive";
}

}  // namespace

void odDbStart()
{
    static const bool s_guarded = (odAddUnloadGuard(&livingObjects), true);
    (void)s_guarded;
    g_classes.start();
}

void odDbStop()
{
    g_classes.stop();
}

OdDbPlatform::~OdDbPlatform()
{
    try {
        odDbStop();
    } catch (OdError const& error) {
        odReportAssert("the platform is not needed any more", error.what(), __FILE__, __LINE__);
    }
}
