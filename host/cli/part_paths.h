// Faces, edges and vertices of solids as commands name and show them.

#pragma once

#include "db/od_db_database.h"
#include "db/od_db_subent.h"

#include <string>
#include <vector>

namespace zemhost {

/// The paths that a word of the command line names: "HANDLE:face:12", "HANDLE:edges", "HANDLE:all"
/// for all parts, "HANDLE" alone for the solid as a whole. Handles of inserts that show the solid may
/// stand in front, with "/" between them, from the outside in; behind one that shows an external
/// drawing, handles are those of that drawing.
///
/// \throws HostError (usage) for a word that isn't so, (findings) for objects and parts that aren't
///         there.
std::vector<OdDbFullSubentPath> pathsFromWord(OdDbDatabase& database, std::string const& word);

/// As `pathsFromWord`, for a word that names one part. \throws HostError as above.
OdDbFullSubentPath pathFromWord(OdDbDatabase& database, std::string const& word);

/// The block of the first object of a path; null for an empty one.
OdDbObjectId blockOfPath(OdDbFullSubentPath const& path);

/// "2A:face:12", as `pathsFromWord` takes it.
std::string pathText(OdDbFullSubentPath const& path);
/// "face 12"; empty for a null id.
std::string partText(OdDbSubentId part);

}  // namespace zemhost
