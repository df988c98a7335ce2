// What a drawing holds, as a tree of JSON that people and programs are shown.

#pragma once

#include "cli/host_session.h"
#include "cli/text_format.h"
#include "db/od_db_database.h"

#include <cstddef>

namespace zemhost {

/// The content of a drawing.
///
///     {"drawing": {path, bytes, version, objects, settings},
///      "tables": [{name, handle, class, count, records: [node]}],
///      "dictionaries": node,          the dictionary of named objects
///      "others": {count, entries: [node]},  objects that the tree doesn't reach
///      "classes": [{name, ..., registered, objects}]}
///
/// A node is {"handle", "class", "name", and what its class adds}; see drawing_tree.cpp. A list that is
/// cut has more in its count than in its entries. An object that can't be read is
/// {"handle", "problem"}.
///
/// \param bags   For the objects' bags; null to leave them out.
/// \param limit  Entries given of each list; 0 for all.
Json drawingTree(OdDbDatabase& database, HostBagExtension const* bags, std::size_t limit);

/// Writes a tree to standard output, for people.
void printDrawingTree(Json const& tree);

}  // namespace zemhost
