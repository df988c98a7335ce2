// External drawings: blocks whose content is another drawing's model space.

#pragma once

#include "db/od_db_block_table.h"
#include "db/od_db_database.h"

class OdDbHostAppServices;

/// Attaches, loads, unloads and binds external drawings.
///
/// An external drawing is a block of the host drawing with a path and no entities of its own. When
/// it is loaded, the block has an own database, opened for reading only; entities are found in that
/// database's model space, and its `xrefBlockId` names the block. Attached drawings bring their own
/// attached drawings with them, overlaid ones are seen only in the drawing that names them. Only the
/// path, whether it is an overlay, and whether it was unloaded are stored in the host drawing.
///
/// A drawing that can't be found or read is no error of its host: the block stays, its `xrefStatus`
/// tells, and it can be loaded later. A drawing that would contain itself is never loaded.
class OdDbXRefMan
{
public:
    /// Opens a drawing for reading. \throws OdError with the file's name and the reason.
    using Reader = OdDbDatabasePtr (*)(OdString const& path, OdDbHostAppServices* services);

    /// How bound objects with names that the host has already are entered.
    enum class BindStyle
    {
        kBind,   ///< under their name with the drawing's name in front, as "drawing$0$name"
        kInsert  ///< the host's object of that name takes the place of the bound one
    };

    OdDbXRefMan() = delete;

    /// Sets what opens drawings; the storage layer sets itself when it is in the program.
    static void setReader(Reader reader) noexcept;

    /// Makes a block for an external drawing, and loads it.
    ///
    /// \param path    As it is to be stored; a relative one counts from the host drawing's folder.
    /// \param name    Of the block; if empty, that of the file without its extension.
    /// \param result  Takes what `load` gave.
    /// \return The block, also if the drawing can't be found or read; null, with nothing made, where
    ///         the drawing is the host itself or one that contains it: (cyclic reference).
    /// \throws OdError (invalid key) for an empty path, (duplicate name).
    static OdDbObjectId attach(OdDbDatabase& host, OdString const& path,
                               OdString const& name = OdString(), OdResult* result = nullptr);
    /// As `attach`, for a drawing that is not seen where this one is attached.
    static OdDbObjectId overlay(OdDbDatabase& host, OdString const& path,
                                OdString const& name = OdString(), OdResult* result = nullptr);

    /// Loads the drawing of a block, and those attached to it, which may fail each for itself. Does
    /// nothing if it is loaded. Ids from before it was unloaded lead to the new objects then.
    ///
    /// \return 0; (not applicable) for what is no block of an external drawing; (file not found);
    ///         (cyclic reference); (invalid input) if drawings nest more than 64 deep or more than
    ///         1000 are attached to one another; or what reading gave, such as (file corrupt).
    static OdResult load(OdDbObjectId block);
    static OdResult load(OdDbBlockTableRecord const* block);
    /// Loads every external drawing of a host that is neither loaded nor was unloaded.
    /// \return 0, or the first failure; the others are loaded all the same.
    static OdResult loadAll(OdDbDatabase& host);
    /// Unloads the drawing of a block. Its ids stay valid and can't be opened; nothing is reported
    /// erased.
    /// \return 0, also if it isn't loaded; (not applicable); (database in use) if one of its objects
    ///         is open.
    static OdResult unload(OdDbObjectId block);
    static OdResult unload(OdDbBlockTableRecord const* block);
    /// Unloads and loads again, from the file as it is now. One that can't be loaded counts as
    /// unresolved, not as unloaded.
    static OdResult reload(OdDbObjectId block);
    /// Erases a block of an external drawing with all references to it, and unloads the drawing.
    /// \return 0, (not applicable), (database in use), or the answer of a reference that refuses to be
    ///         erased; nothing is erased then.
    static OdResult detach(OdDbObjectId block);
    /// Makes a block of an external drawing a plain block with copies of its entities. Drawings
    /// attached to it are bound with it, as far as they can be loaded within the bound of `load`; the
    /// others stay external.
    /// \return 0, (not applicable), (database in use), or what `load` gave.
    static OdResult bind(OdDbObjectId block, BindStyle style = BindStyle::kBind);
};
