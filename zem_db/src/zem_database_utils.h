// Orders and hashes of ids, sub-entities and paths, for containers that must not depend on addresses.

#pragma once

#include "db/od_db_subent.h"

#include <cstddef>

namespace zemu {

/// \name Orders
/// Below, equal to or above 0; always -1, 0 or +1.
/// @{
/// By handle, as unsigned numbers, so the null id comes first. Ids of different databases with the
/// same handle take the order of the ids themselves.
int compareObjectId(OdDbObjectId const& left, OdDbObjectId const& right);
/// The shorter array first, then element by element from the front.
int compareObjectIdArray(OdDbObjectIdArray const& left, OdDbObjectIdArray const& right);
/// By type, then by index, both as signed numbers.
int compareSubentId(OdDbSubentId const& left, OdDbSubentId const& right);
/// By object ids, then by sub-entity.
int compareFullSubentPath(OdDbFullSubentPath const& left, OdDbFullSubentPath const& right);
/// @}

/// Order of ids in sets and maps.
struct less_safeObjectId
{
    bool operator()(OdDbObjectId const& left, OdDbObjectId const& right) const
    {
        return compareObjectId(left, right) < 0;
    }
};

/// Order of paths in sets and maps.
struct less_FullSubentPath
{
    bool operator()(OdDbFullSubentPath const& left, OdDbFullSubentPath const& right) const
    {
        return compareFullSubentPath(left, right) < 0;
    }
};

/// Hash of an id by its redirected form, so that an id and the one it stands for count as equal.
struct hash_ObjectId
{
    std::size_t operator()(OdDbObjectId id) const noexcept
    {
        id.convertToRedirectedId();
        return std::hash<OdDbObjectId>()(id);
    }
};

}  // namespace zemu
