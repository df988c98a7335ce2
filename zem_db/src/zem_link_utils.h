// Paths of ids from a block reference, through nested ones, to an entity or a part of it.

#pragma once

#include "db/od_db_object.h"
#include "db/od_db_object_id.h"
#include "db/od_db_subent.h"
#include "root/od_string.h"

namespace zemu {

/// \name Questions to a path
/// @{
/// The first id, from which the path starts; null for an empty path.
OdDbObjectId getInsertId(OdDbFullSubentPath const& path);
/// The last id, where the path ends; null for an empty path.
OdDbObjectId getLeafId(OdDbFullSubentPath const& path);
/// Whether the path is one id, with no references that lead to it.
bool isSimplePath(OdDbFullSubentPath const& path) noexcept;
/// Whether references lead to the last id.
bool isLongPath(OdDbFullSubentPath const& path) noexcept;
/// Whether an id names a part, rather than an object as a whole.
bool isSubentId(OdDbSubentId const& id) noexcept;
bool isSubentPath(OdDbFullSubentPath const& path) noexcept;
/// Whether a path leads nowhere: it is empty or starts with the null id.
bool isNullObjectLink(OdDbFullSubentPath const& path);
/// Whether a path of ids can be used: every id but the last is a block reference that lies in the
/// block, not erased, of the one before it, and the last is an entity. Blocks of two databases are
/// not compared.
///
/// \param checkOwner  Whether the entity has to lie in the last block, or in the model space of the
///                    external drawing that the block shows.
/// \return False for an empty path, and for anything that can't be opened; never throws.
bool isValidObjectIdPath(OdDbObjectIdArray const& ids, bool checkOwner);
/// Whether a path can be used and its entity has the part, if it names one. Whose block the entity
/// lies in is not looked at.
bool doesPathExist(OdDbFullSubentPath const& path);
/// @}

/// \name Opening and listing
/// @{
/// Opens an object to read it. Null for what can't be opened, and also where the carrier fails to
/// read it at the moment, which would be thrown otherwise.
/// \param isUnread  Set if it is null because reading has failed: it may be there next time.
OdDbObjectPtr openIfReadable(OdDbObjectId id, bool& isUnread);
/// Whether an object may keep an id in a list of links: one of another drawing may go before the
/// object does. An object that is in no drawing yet may list any.
bool mayList(OdDbObject const& object, OdDbObjectId id);
/// Those of some ids that an object may list.
OdDbObjectIdArray withoutForeign(OdDbObject const& object, OdDbObjectIdArray const& ids);
/// @}

/// \name Texts for a reader
/// Handles are written in hexadecimal.
/// @{
/// "f_7", "e_7" or "v_7" for a face, an edge or a vertex; "0_7" for any other type.
OdString strSubentId(OdDbSubentId const& id);
/// The handles, joined by ":".
/// \param withDatabase  Whether "[part.zdw]" stands behind each: the name of its drawing's file
///                      without the folders.
OdString strObjectIdArray(OdDbObjectIdArray const& ids, bool withDatabase);
/// "0x" and the ids, and for a path to a part ":" and the part.
OdString strFullSubentPath(OdDbFullSubentPath const& path, bool withDatabase);
/// The paths, with a space behind each; "empty" if there are none.
OdString strFullSubentPathArray(OdArray<OdDbFullSubentPath> const& paths);
/// The path of a link. One that can't be resolved gives "invalid:" with the ids that lie in the
/// link's drawing, " | " and the handle of each step behind them, ":" and the part. An object that is
/// no link gives "invalid path", one that can't be opened, or read, "invalid".
OdString strFSPFromDependency(OdDbObjectId id, bool withDatabase);
/// @}

}  // namespace zemu
