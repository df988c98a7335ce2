// Drawings on disk: opening, saving, saving under another name.

#pragma once

#include "db/od_db_database.h"
#include "store/od_db_drawing_file.h"
#include "store/od_db_drawing_writer.h"

/// Opens a drawing.
///
/// Only the header and the classes are read, so the time doesn't grow with the drawing; objects are
/// read when they are first asked for. Opened for writing, the drawing is locked until its database
/// goes: others may read it but not open it for writing. Opened for reading, nothing is locked; once
/// another process has saved the drawing, loading an object throws OdError (file changed).
///
/// \param services  As for `OdDbDatabase::createObject`.
/// \throws OdError with the file's name and the reason: (file not found), (file access), (file
///         locked) if it is open for writing elsewhere, (file corrupt) if it is no drawing or
///         damaged as a whole, (file too new), (unsupported version).
OdDbDatabasePtr odDbOpenDrawing(OdString const& path, OdDbOpenDrawingMode mode,
                                OdDbHostAppServices* services = nullptr);

/// Saves what has changed into the file that the database was opened from or last saved to, for the
/// drawing version that the file has. Does nothing if nothing has changed.
///
/// The file on disk is whole at every moment: it holds either the old drawing or the new one. After
/// a failure nothing counts as saved, and saving can be tried again. A file with several names (hard
/// links) is replaced as by `odDbSaveDrawingAs`, and the other names keep the old drawing: a file
/// that is changed in place can be put right after a crash under the name alone that it had then.
/// What is called meanwhile (objects that are filed, `progress`) should only look at the drawing: what
/// it changes may miss the save, and then belongs to the next one.
/// \throws OdError with the file's name and the reason: (file not found) for a database without a
///         file, (read only), (file access), (file locked), (file changed) if the file was moved,
///         replaced or written over, (file corrupt), (not applicable) if the database is being saved
///         already, or was unloaded as an external drawing, or what an object's own filing gave.
void odDbSaveDrawing(OdDbDatabase& database, OdDbSaveProgress const& progress = {});

/// Saves everything into a new file, which then takes the place of `path`; from then on the database
/// belongs to it, open for writing.
///
/// Equal content gives equal bytes. The file on disk is whole at every moment, as it is for
/// `odDbSaveDrawing`; after a failure the database belongs to its old file. An object that this
/// program knows only in part keeps the version that it was filed for, whatever `dwgVersion` is.
/// What the database's old file can't give any more is written from memory where it was loaded. Else
/// it costs its objects alone, which are found damaged in the new file; so does all that a disk is
/// not asked for any more after ten minutes of failed reads. But where the new file is to take the
/// place of the old one, a disk that fails to give something back ends the save, since it may give it
/// back later.
/// \param path        At most 247 bytes of name and 504 in all, which leaves room for a journal. A
///                    link is followed, even if it leads nowhere yet.
/// \param dwgVersion  A version that `OdDb::isDwgVersion` tells.
/// \throws OdError with the file's name and the reason: (file locked) for a drawing that is open for
///         writing elsewhere, (file access), (unsupported version), (file changed) if another process
///         saved the new file before this one could lock it, or as `odDbSaveDrawing`.
void odDbSaveDrawingAs(OdDbDatabase& database, OdString const& path,
                       int dwgVersion = OdDb::kDwgVersionCurrent,
                       OdDbSaveProgress const& progress = {});

/// The version that the database's file is filed for; the current one for a database without a file.
int odDbDrawingVersion(OdDbDatabase& database);
