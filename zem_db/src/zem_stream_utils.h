// Helpers for objects that file fields by hand: stream marks and arrays of ids.

#pragma once

#include "db/od_db_object_id.h"

class OdDbDwgFiler;

namespace zemu {

/// \name Marks
/// A mark catches a reader and a writer that have drifted apart. Drawing files hold none, so a file
/// reads whether or not its writer put marks there; all other filers do.
/// @{
/// Writes a mark as a 16-bit number; nothing on a filer of a drawing file.
void wrMark(OdDbDwgFiler* filer, short mark);
/// Reads a mark; nothing on a filer of a drawing file.
/// \throws OdError with a message of its own if it isn't `mark`.
void rdMark(OdDbDwgFiler* filer, short mark);
/// @}

/// \name Arrays of ids
/// A 32-bit count and each id in order, filed by the kind of reference. A filer that keeps no bytes
/// for an id can't vouch for their number, so it takes at most 1048576 of them.
/// @{
/// \throws OdError (bad stream), before anything is written, for more ids than a reader takes back
///         from a flat filer, which keeps none; OdError_InvalidIndex if the array gets shorter
///         meanwhile.
void writeHardOwnershipIdArray(OdDbDwgFiler* filer, OdDbObjectIdArray const& ids);
void writeSoftPointerIdArray(OdDbDwgFiler* filer, OdDbObjectIdArray const& ids);
/// Replaces the ids.
/// \throws OdError (bad stream) for a count that is negative or that the filer can't hold.
void readHardOwnershipIdArray(OdDbDwgFiler* filer, OdDbObjectIdArray& ids);
void readSoftPointerIdArray(OdDbDwgFiler* filer, OdDbObjectIdArray& ids);
/// @}

}  // namespace zemu
