// External drawings of a drawing, and how they are, as commands show them.

#pragma once

#include "cli/text_format.h"
#include "db/od_db_database.h"

#include <string>
#include <vector>

namespace zemhost {

/// One external drawing, and those attached to it.
struct ExternalDrawing
{
    OdDbObjectId block;
    std::string name;
    std::string path;  ///< as it is stored
    std::string file;  ///< where it was found; empty if it wasn't
    bool isOverlay = false;
    std::string state;  ///< "loaded", "unloaded", "not found", "not readable" or "circular"
    std::string
        problem;  ///< why it isn't loaded; empty for one that is, or was unloaded on purpose
    std::uint64_t entities = 0;    ///< of its model space
    std::uint64_t references = 0;  ///< inserts of it
    std::vector<ExternalDrawing> attached;
};

/// Loads the external drawings that weren't unloaded, and tells how all of them are.
std::vector<ExternalDrawing> loadExternalDrawings(OdDbDatabase& database);

/// How the external drawing of one block is; loads it unless it was unloaded.
ExternalDrawing loadExternalDrawing(OdDbObjectId block);

/// {"handle", "name", "path", "file", "overlay", "state", "problem", "entities", "references",
/// "attached": [...]}; null for a file that wasn't found, no problem if there is none.
Json externalJson(ExternalDrawing const& drawing);

/// The text of a result of loading, such as "the file isn't there".
std::string loadProblem(OdResult result);

}  // namespace zemhost
