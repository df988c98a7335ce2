// A drawing database: its objects by handle, its named roots, undo, and its settings.

#pragma once

#include "db/od_db_class_record.h"
#include "db/od_db_object.h"
#include "ge/od_ge_point3d.h"

#include <cstdint>
#include <functional>
#include <memory>

class OdDbDatabase;
class OdDbDatabaseImpl;
class OdDbHostAppServices;

using OdDbDatabasePtr = OdSmartPtr<OdDbDatabase>;

/// The objects of one drawing.
///
/// Reference counted; with the last reference all its objects go, after `goodbye` to their reactors.
/// The database is an object itself (it takes protocol extensions and files the drawing's settings)
/// but is in no database and always open. Used on one thread at a time.
class OdDbDatabase : public OdDbObject
{
    RX_DECLARE_CLASS(OdDbDatabase);

public:
    /// An empty database with its tables, dictionaries and spaces.
    static OdDbDatabasePtr createObject(OdDbHostAppServices* services = nullptr);
    /// A database without a single object, for a reader that fills it.
    static OdDbDatabasePtr createBare(OdDbHostAppServices* services = nullptr);
    ~OdDbDatabase() override;
    /// Databases alive in this process.
    static int liveCount() noexcept;

    OdDbDatabase* database() const noexcept override;
    OdDbHostAppServices* appServices() const noexcept;

    /// \name Named roots
    /// @{
    OdDbObjectId getNamedObjectsDictionaryId() const;
    OdDbObjectId getBlockTableId() const;
    OdDbObjectId getLayerTableId() const;
    OdDbObjectId getLinetypeTableId() const;
    OdDbObjectId getRegAppTableId() const;
    OdDbObjectId getModelSpaceId() const;
    OdDbObjectId getPaperSpaceId() const;
    OdDbObjectId getLayerZeroId() const;
    OdDbObjectId getLinetypeContinuousId() const;
    OdDbObjectId getLinetypeByLayerId() const;
    OdDbObjectId getLinetypeByBlockId() const;
    /// The dictionary of materials, an entry of the named objects.
    /// \param create  Whether to make it if there is none; null is returned otherwise.
    OdDbObjectId getMaterialDictionaryId(bool create = false);
    /// The dictionary of visual styles, likewise.
    OdDbObjectId getVisualStyleDictionaryId(bool create = false);
    /// The block of another drawing that this one fills as its external drawing; null for a drawing
    /// that was opened for itself.
    OdDbObjectId xrefBlockId() const noexcept;
    /// @}

    /// \name Objects
    /// @{
    /// Adds an object that is in no database. The caller's pointer is open for write then.
    ///
    /// \param owner   May be null and be set later.
    /// \param handle  A handle that is free, or null for the next one. Handles are never reused.
    /// \throws OdError (already in database), (handle in use), (wrong database) for an owner of
    ///         another one.
    OdDbObjectId addOdDbObject(OdDbObject* object, OdDbObjectId owner = OdDbObjectId::kNull,
                               OdDbHandle handle = OdDbHandle());
    /// The id of a handle.
    ///
    /// \param create  Whether to give an id for a handle that no object has; such an id can't be
    ///                opened.
    /// \param reserved  Not used.
    /// \return Null for the null handle, and for one without object if `create` is false.
    OdDbObjectId getOdDbObjectId(OdDbHandle const& handle, bool create = false,
                                 unsigned reserved = 0);
    /// The least handle above `after` that an object has, erased ones included; null at the end.
    /// Loads no object.
    OdDbHandle nextHandle(OdDbHandle after = OdDbHandle()) const;
    /// Handles from this one on are free.
    OdDbHandle handseed() const noexcept;
    /// Registers an application for extended data; one that is registered stays as it is.
    OdDbObjectId newRegApp(OdString const& name);
    bool isRegisteredApp(OdString const& name) const;
    /// Whether anything has changed since the drawing was last read or saved.
    bool isChanged() const noexcept;
    /// @}

    /// \name Undo
    /// Recording is on from the first `startUndoRecord`, or while a transaction runs, unless it was
    /// stopped by `disableUndoRecording`.
    /// @{
    /// Sets a mark to which `undo` goes back.
    void startUndoRecord();
    bool hasUndo() const noexcept;
    /// How many marks there are to go back to.
    std::size_t numUndoMarks() const noexcept;
    bool hasRedo() const noexcept;
    /// Goes back to the latest mark and takes it away; a mark with nothing recorded after it takes
    /// nothing back. Inside a transaction, or while recording is stopped, there is no redo of it.
    /// \return 0; (no undo) if there is no mark; (transaction open) if the latest mark was set before
    ///         a transaction that is open, or during playback.
    OdResult undo();
    /// Takes the latest undo back; anything recorded meanwhile has dropped what could be redone.
    /// \return 0; (no undo) if there is none; (transaction open).
    OdResult redo();
    /// Forgets all records; recording stays on.
    void clearUndo();
    /// Stops, or allows again, all recording in this database.
    void disableUndoRecording(bool disable) override;
    bool undoRecording() const noexcept;
    /// Bytes that undo and redo records take.
    std::uint64_t undoBytes() const noexcept;

    /// Starts a transaction, inside any that is open.
    void startTransaction();
    /// Ends the innermost transaction; its changes can be undone with what is around it.
    /// \throws OdError (no transaction).
    void endTransaction();
    /// Takes back all changes and marks since the innermost transaction started, and ends it; there
    /// is no redo. \throws OdError (no transaction).
    void abortTransaction();
    int numActiveTransactions() const noexcept;
    /// @}

    /// \name Cloning
    /// Each call is one clone operation with the context told. If it throws, the destination is as
    /// before; the source is never touched. Ids that are null, erased or without object are passed
    /// over, as are objects that the mapping has as cloned. A reference whose clone would make a block
    /// contain itself is refused: OdError (cyclic reference).
    /// @{
    /// Clones objects of this database, with all that they own, to a new owner in it; context 0.
    ///
    /// The clones are primary and in the order of the ids. References to the block of the first
    /// object become references to the new owner, if that is another block.
    /// \param defersTranslation  Leaves the clones' references as they are until the next call with
    ///                           the same mapping, which sees to all of them, or until the mapping
    ///                           goes.
    /// \throws OdError (null object id), (was erased), (key not found) for the owner; (wrong
    ///         database) for an owner or an object of another database; what an owner throws that
    ///         can't take the clones.
    void deepCloneObjects(OdDbObjectIdArray const& ids, OdDbObjectId owner, OdDbIdMapping& mapping,
                          bool defersTranslation = false);
    /// Clones a block of this database under another name; context 2.
    ///
    /// \param name  "*U" for a new name that starts so.
    /// \return The new block; null for a block that the mapping has as cloned.
    /// \throws OdError (duplicate name), (invalid key); OdError_NotThatKindOfClass for an id of
    ///         something else.
    OdDbObjectId copyBlock(OdDbObjectId block, OdString const& name, OdDbIdMapping& mapping,
                           bool defersTranslation = false);
    /// Clones objects of one database to an owner in another, with all that they own or point to
    /// hard; context 8.
    ///
    /// What every drawing has (the tables, layer "0", the spaces, ...) is mapped to its counterpart.
    /// A named record that is met maps to the one of its name, or a clone is added: by `style`,
    ///  - ignore (also not applicable): the one that stands there is used, unless it is a block that
    ///    contains the one to which clones go; then a clone is added by a mangled name;
    ///  - replace: it gets the content of the source, keeping its id, owner and reactors, unless it is
    ///    the block to which clones go;
    ///  - mangle name: the clone is named "$0$name" (or "$1$name", ...);
    ///  - xref mangle name: the same behind the name of the source's file, "file$0$name";
    ///  - unmangle name: the name without such a mangling is used, else as ignore.
    ///
    /// Blocks whose name starts with "*" always get a new name, applications never. Dictionaries of
    /// one name are merged entry by entry; an extended record's own style goes before `style` unless
    /// it is ignore. Objects reached by hard pointers are owned by what stands for the owner of their
    /// source, dictionaries being found, or made, by name; without such an owner they have none.
    /// Applications of extended data are registered. Relative paths of external drawings become
    /// absolute unless both drawings lie in one folder.
    /// \throws As deepCloneObjects; (wrong database) for ids of more than one database.
    void wblockCloneObjects(OdDbObjectIdArray const& ids, OdDbObjectId owner,
                            OdDbIdMapping& mapping, OdDb::DuplicateRecordCloning style,
                            bool defersTranslation = false);
    /// Clones the model space of a drawing to a block: its entities and its extension dictionary.
    ///
    /// \param context  Why: one of insert, insert copy, xref bind, xref insert.
    /// \throws As wblockCloneObjects; (wrong database) if the drawing is this one.
    void
    insertIntoBlock(OdDbObjectId block, OdDbDatabase& drawing, OdDbIdMapping& mapping,
                    OdDb::DeepCloneType context = OdDb::DeepCloneType::kDcInsert,
                    OdDb::DuplicateRecordCloning style = OdDb::DuplicateRecordCloning::kDrcIgnore);
    /// Makes a block of a drawing, with the drawing's insert base as origin and its units; context 6.
    /// \return The new block. \throws OdError (duplicate name), and as insertIntoBlock.
    OdDbObjectId insert(OdString const& blockName, OdDbDatabase& drawing,
                        OdDbIdMapping* mapping = nullptr);
    /// A new drawing with all that this one's tables and dictionaries hold, and with the objects that
    /// nothing owns; context 7. External drawings that are loaded here are loaded there too.
    OdSmartPtr<OdDbDatabase> wblock(OdDbIdMapping* mapping = nullptr) const;
    /// A new drawing whose model space is a block of this one: entities and extension dictionary,
    /// origin and units; context 11.
    OdSmartPtr<OdDbDatabase> wblock(OdDbObjectId block, OdDbIdMapping* mapping = nullptr) const;
    /// A new drawing with some entities of this one in its model space; context 11.
    /// \param basePoint  Becomes its insert base.
    OdSmartPtr<OdDbDatabase> wblock(OdDbObjectIdArray const& entities, OdGePoint3d const& basePoint,
                                    OdDbIdMapping* mapping = nullptr) const;
    /// @}

    /// \name Settings of the drawing, all part of undo
    /// @{
    OdString getFilename() const;
    /// The path is not stored in the drawing and not part of undo.
    void setFilename(OdString const& path);
    OdDb::UnitsValue getINSUNITS() const;
    void setINSUNITS(OdDb::UnitsValue units);
    /// Insert base of model space.
    OdGePoint3d getINSBASE() const;
    void setINSBASE(OdGePoint3d const& point);
    /// Insert base of paper space.
    OdGePoint3d getPINSBASE() const;
    void setPINSBASE(OdGePoint3d const& point);
    /// The viewport that is being worked in; null for none.
    OdDbObjectId activeViewportId() const;
    /// \throws OdError (wrong database) for a viewport of another database.
    void setActiveViewportId(OdDbObjectId viewport);
    /// Whether overrules may change how this drawing's entities are drawn; true unless set. Neither
    /// stored in the drawing nor part of undo.
    bool isDrawOverrideAllowed() const noexcept;
    void setDrawOverrideAllowed(bool allowed) noexcept;
    /// Files the settings and the roots; not the objects.
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    /// A database has no copy: its roots are its own. \throws OdError (not applicable).
    void copyFrom(OdRxObject const* source) override;
    /// @}

    /// \name Classes
    /// Classes of objects met in this database, by number in order of first use.
    /// @{
    std::uint32_t classCount() const noexcept;
    OdDbClassRecord const& classRecord(std::uint32_t index) const;
    /// @}

    /// For the database layer itself.
    OdDbDatabaseImpl& impl() const noexcept { return *m_impl; }

protected:
    void changingOutsideDatabase() override;
    explicit OdDbDatabase(OdDbHostAppServices* services);

private:
    /// Reports each object that somebody holds open, through the assertion sink.
    void reportOpenObjects() const;

    std::unique_ptr<OdDbDatabaseImpl> m_impl;
};

/// How many `to` units one `from` unit is; 1 if either is undefined.
/// Lengths are those of the International System and the 1959 yard agreement.
double oddbGetUnitsConversion(OdDb::UnitsValue from, OdDb::UnitsValue to);
