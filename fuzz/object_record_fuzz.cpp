// Reads bytes as the record of an object of each class of the platform, and as a proxy's. What was
// read has to come through writing and reading again unchanged.
//
// Input: a byte that chooses the class, a byte with the length of the references, the references,
// then the body.

#include "assoc/od_db_assoc_dependency.h"
#include "assoc/od_db_assoc_network.h"
#include "assoc/od_db_assoc_variable.h"
#include "assoc/od_platform.h"
#include "db/od_db_3d_solid.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_dimension.h"
#include "db/od_db_hatch.h"
#include "db/od_db_material.h"
#include "db/od_db_polylines.h"
#include "db/od_db_proxy_object.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_text.h"
#include "db/od_db_viewport.h"
#include "db/od_db_visual_style.h"
#include "db/od_db_xrecord.h"
#include "root/od_error.h"
#include "store/od_db_file_filer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <span>
#include <vector>

namespace {

constexpr std::size_t kHeaderBytes = 2;

using Bytes = std::vector<std::uint8_t>;
using FileFiler = OdStaticRxObject<OdDbFileFiler>;

struct Record
{
    Bytes body;
    Bytes references;

    friend bool operator==(Record const&, Record const&) = default;
};

OdDbObjectPtr makeObject(std::uint8_t choice)
{
    using Maker = OdDbObjectPtr (*)();
    constexpr Maker kMakers[] = {
        [] { return OdDbObjectPtr(odrxMake<OdDbObject>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbProxyObject>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbDictionary>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbXrecord>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbLayerTable>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbLayerTableRecord>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbLinetypeTableRecord>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbBlockTableRecord>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbLine>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDb3dSolid>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbPoint>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbCircle>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbArc>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbEllipse>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDb2dPolyline>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbMline>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbLeader>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbText>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbMText>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbArcAlignedText>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbHatch>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbRotatedDimension>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbBlockReference>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbViewport>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbMaterial>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbVisualStyle>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbAssocArrayActionBody>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbAssocAction>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbAssocValueDependency>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbAssocNetwork>()); },
        [] { return OdDbObjectPtr(odrxMake<OdDbAssocVariable>()); },
    };
    return kMakers[choice % std::size(kMakers)]();
}

/// \return Whether the whole record could be read.
bool read(OdDbObject& object, FileFiler& filer, std::span<std::uint8_t const> body,
          std::span<std::uint8_t const> references)
{
    filer.readFrom(body, references, OdDb::kDwgVersionCurrent);
    try {
        return object.dwgInFields(&filer) == kOdOk;
    } catch (OdError const&) {
        return false;  // a drawing would carry the bytes unread
    }
}

Record write(OdDbObject const& object, FileFiler& filer)
{
    filer.startRecord(OdDb::kDwgVersionCurrent);
    object.dwgOutFields(&filer);
    return {{filer.body().begin(), filer.body().end()},
            {filer.references().begin(), filer.references().end()}};
}

void testRecord(std::uint8_t choice, std::span<std::uint8_t const> body,
                std::span<std::uint8_t const> references)
{
    const OdDbDatabasePtr database = OdDbDatabase::createBare();
    FileFiler filer(database.get());
    const OdDbObjectPtr object = makeObject(choice);
    if (!read(*object, filer, body, references)) {
        return;
    }
    const Record written = write(*object, filer);
    const OdDbObjectPtr again = makeObject(choice);
    if (!read(*again, filer, written.body, written.references) || write(*again, filer) != written) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const OdPlatform s_platform;
    if (size < kHeaderBytes) {
        return 0;
    }
    const std::span<std::uint8_t const> rest(data + kHeaderBytes, size - kHeaderBytes);
    const std::size_t count = std::min<std::size_t>(data[1], rest.size());
    testRecord(data[0], rest.subspan(count), rest.first(count));
    return 0;
}
