// Paths of ids from a block reference, through nested ones, to an entity.

#pragma once

#include "db/od_db_object_id.h"

namespace zemu {

/// Whether a path of ids can be used: every id but the last is a block reference that lies in the
/// block, not erased, of the one before it, and the last is an entity. Blocks of two databases are
/// not compared.
///
/// \param checkOwner  Whether the entity has to lie in the last block, or in the model space of the
///                    external drawing that the block shows.
/// \return False for an empty path, and for anything that can't be opened; never throws.
bool isValidObjectIdPath(OdDbObjectIdArray const& ids, bool checkOwner);

}  // namespace zemu
