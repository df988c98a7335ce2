// Lets external drawings be read from disk.

#include "db/od_db_xref_man.h"
#include "store/od_db_drawing.h"

namespace {

OdDbDatabasePtr readExternal(OdString const& path, OdDbHostAppServices* services)
{
    return odDbOpenDrawing(path, OdDbOpenDrawingMode::kForReading, services);
}

[[maybe_unused]] const bool g_isReader = (OdDbXRefMan::setReader(&readExternal), true);

}  // namespace
