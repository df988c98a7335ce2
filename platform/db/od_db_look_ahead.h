// Opening many objects one after another.

#pragma once

#include "db/od_db_object_id.h"

/// Begins to fetch what the id says of its object, and then, with the second function and a little later,
/// the object itself. Neither waits, nor does anything to the object; any id may be given.
/// @{
void odDbExpectId(OdDbObjectId id) noexcept;
void odDbExpectObject(OdDbObjectId id) noexcept;
/// @}

/// Calls a function with each id of a list, in order, while the objects that come next are fetched: the
/// objects of a large drawing are in no cache, and waiting for one at a time is most of a walk.
/// \param ids  Stays as it is meanwhile.
template <class Function>
void odDbForEachAhead(OdDbObjectIdArray const& ids, Function&& function)
{
    constexpr OdDbObjectIdArray::size_type kIdsAhead = 16;
    constexpr OdDbObjectIdArray::size_type kObjectsAhead = 8;
    for (OdDbObjectIdArray::size_type at = 0; at < ids.size(); ++at) {
        if (ids.size() - at > kIdsAhead) {
            odDbExpectId(ids[at + kIdsAhead]);
        }
        if (ids.size() - at > kObjectsAhead) {
            odDbExpectObject(ids[at + kObjectsAhead]);
        }
        function(ids[at]);
    }
}
