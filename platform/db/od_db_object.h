// Base of all database objects: open state, notices, undo, filing, extended data, erasing.

#pragma once

#include "db/od_db_object_id.h"
#include "db/od_db_types.h"
#include "gi/od_gi_drawable.h"
#include "root/od_res_buf.h"
#include "root/od_rx_class.h"

#include <cstdint>
#include <memory>

class OdDbDwgFiler;
class OdDbIdMapping;
class OdDbIdPair;
class OdDbObjectAccess;

using OdResBufPtr = OdSmartPtr<OdResBuf>;

/// An object that can live in a database.
///
/// **Open periods.** An object of a database is reached through `OdDbObjectId::openObject`; the
/// pointers given out keep it open. An open period starts with the first pointer and ends with the
/// last. Opening again on the same thread always succeeds and joins the period; opening for write or
/// `upgradeOpen` adds one to the write count, `downgradeOpen` takes one off, the end of the period
/// clears it. While the count isn't zero, or the object is open for notify, it may be changed.
///
/// **Changes.** Every change is announced by `assertWriteEnabled` beforehand. When the write period
/// ends (last pointer gone, or the write count comes to nothing), a changed object sends `modified`
/// once to its persistent reactors, then `modifiedGraphics` if its graphics changed, then
/// `objectClosed`; all three go to those that were reactors when the period ended. The object still
/// answers readers then and may be opened again, which is a new period with a notice of its own. An
/// exception out of a notice is reported through the assertion sink and goes no further, and so are
/// notices that nest without end.
///
/// **Outside a database** (fresh, copied, or read from a blob) an object may be read and changed
/// freely; nothing is recorded and nobody is told.
///
/// Objects of a database stay in memory, at one address, until the database is destroyed; pointers
/// that outlive it hold an object outside a database. Used on the thread that holds the database.
class OdDbObject : public OdGiDrawable
{
    RX_DECLARE_CLASS(OdDbObject);

public:
    ~OdDbObject() override;

    /// \name Lifetime
    /// Giving up the last but one reference closes an object of a database, which holds the last.
    /// @{
    void addRef() final { ++m_refs; }
    void release() final;
    long numRefs() const final { return static_cast<long>(m_refs); }
    /// Objects alive in this process, in or outside databases.
    static std::int64_t liveCount() noexcept;
    /// @}

    /// \name Identity
    /// Valid on closed objects too.
    /// @{
    /// The object's id; null outside a database.
    OdDbObjectId objectId() const noexcept { return OdDbObjectId(m_record); }
    OdDbHandle handle() const noexcept { return objectId().getHandle(); }
    OdDbObjectId ownerId() const noexcept { return m_ownerId; }
    /// Sets the owner; part of undo. The object must be open for write.
    /// \throws OdError (wrong database) for an owner of another database.
    void setOwnerId(OdDbObjectId owner);
    /// The database; null outside one. A database answers itself.
    virtual OdDbDatabase* database() const noexcept;
    bool isErased() const noexcept;
    /// Whether the database is playing back an undo, a redo or an abort.
    bool isUndoing() const noexcept;
    /// Whether the object has changed in the write period that is under way.
    bool isModified() const noexcept { return (m_state & kModified) != 0; }
    /// Whether the object was added since the drawing was last saved.
    bool isNewObject() const noexcept;
    /// @}

    /// \name Open state
    /// @{
    bool isReadEnabled() const noexcept;
    bool isWriteEnabled() const noexcept;
    bool isNotifyEnabled() const noexcept { return m_notifyCount != 0; }
    /// \throws OdError (not open for read).
    void assertReadEnabled() const;
    /// Must be called before each change of a persistent field.
    ///
    /// \param autoUndo        Records the object's whole state for undo, once for each undo mark.
    /// \param recordModified  Marks the write period as modified; at the first mark
    ///                        `openedForModify` goes out.
    /// \throws OdError (not open for write) for an object of a database that is open neither for
    ///         write nor for notify; (not in database) if a reactor that was told took the last
    ///         pointer to the database away.
    void assertWriteEnabled(bool autoUndo = true, bool recordModified = true);
    /// \throws OdError (not open) if the object is not open at all.
    void assertNotifyEnabled() const;
    /// Raises an open object to write. Harmless on one that is open for write.
    /// \throws OdError (not open) on a closed object; an erased one may be raised.
    void upgradeOpen();
    /// Takes one off the write count; ends the write period at nothing. Harmless without one.
    void downgradeOpen();
    /// @}

    /// \name Undo
    /// @{
    /// A filer for a new partial undo record of this object, or null if nothing is recorded now.
    ///
    /// The writer starts with `wrAddress` of its class description and then files what
    /// `applyPartialUndo` of that class needs. A record without content is dropped. The filer lives
    /// until the next record begins.
    OdDbDwgFiler* undoFiler();
    /// Plays back one partial record: the state before the change comes back, and the inverse is
    /// written through `undoFiler()`, so that redo works.
    ///
    /// \param filer  Positioned behind the address of `cls`.
    /// \param cls    The class that wrote the record; an override hands on what isn't its own.
    virtual void applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls);
    /// Stops, or allows again, undo records of this object's fields (of all objects, on a database).
    /// That the object comes, goes or comes back is recorded all the same: what lists it records
    /// that, too, and both must go back together.
    virtual void disableUndoRecording(bool disable);
    /// @}

    /// \name Filing
    /// @{
    /// Takes in the fields. Each override calls its base first and stops at a result other than 0.
    ///
    /// Called by loading, copying, cloning and undo; may run again on a living object. Ids that are
    /// read may stand for objects not yet read: no object is opened here.
    /// \throws OdError (bad stream) for malformed content.
    virtual OdResult dwgInFields(OdDbDwgFiler* filer);
    /// Puts out the fields. Each override calls its base first.
    ///
    /// The part of this class: persistent reactors (count, soft pointers), extension dictionary
    /// (hard ownership), extended data, owner (soft pointer).
    virtual void dwgOutFields(OdDbDwgFiler* filer) const;
    /// A copy outside any database, made by filing. References are kept as they are: they name
    /// something for as long as the database of this object lives, and a copy that outlives it may
    /// only be dropped, overwritten, or offered to another database, which refuses it.
    OdRxObjectPtr clone() const override;
    /// Takes over the fields of an object of the same class; the owner and reactors stay as they
    /// are. Applications of extended data that the database doesn't know are registered there.
    /// \throws OdError_NotThatKindOfClass for another class, (wrong database) where an object of
    /// a database would come to refer to another one. Nothing has changed then.
    void copyFrom(OdRxObject const* source) override;
    /// @}

    /// \name Cloning
    /// A clone operation makes copies of objects and of what they own, enters each into a mapping,
    /// and at its end replaces what the copies refer to by what was made of it. `deepClone` copies
    /// inside one database and follows ownership; `wblockClone` copies into the database of the
    /// mapping's destination and follows hard pointers too.
    ///
    /// An operation starts with the outermost call that is given a mapping; calls with the same
    /// mapping from inside join it. A call that is an operation of its own is finished when it
    /// returns: if it throws, the destination is as before and the source was never touched.
    /// @{
    /// Clones this object, which is open for read.
    ///
    /// \param mapping    Knows what has been cloned; its databases are set from the object and the
    ///                   owner if they are not.
    /// \param owner      Owner of the clone, raised to write while a primary clone is entered into
    ///                   it. With null the clone gets what was made of its source's owner, or none.
    /// \param isPrimary  Whether the object was asked for; false if it is reached by its owner, who
    ///                   lists it already.
    /// \return The clone, open for write; null if this object was cloned before or its class makes
    ///         no clone of it.
    /// \throws OdError (not in database), (not open for read), (wrong database) for an owner of
    ///         another database than the mapping's destination, (was erased) for an erased owner,
    ///         (class not registered); OdError_NotThatKindOfClass for an owner that can't list it.
    OdDbObjectPtr deepClone(OdDbIdMapping& mapping, OdDbObject* owner, bool isPrimary = true) const;
    /// As `deepClone`, for copies in another database: applications of extended data are registered
    /// there, named records and dictionaries are merged by name.
    OdDbObjectPtr wblockClone(OdDbIdMapping& mapping, OdDbObject* owner,
                              bool isPrimary = true) const;
    /// What `deepClone` of a class does. The base version, in this order:
    ///  1. gives null if the mapping has this object as cloned;
    ///  2. makes an object of the same class, files this one out (its only time), and adds the new
    ///     one to the destination;
    ///  3. files the new one in and enters the pair;
    ///  4. for a primary clone, calls its `appendToOwner`;
    ///  5. calls `subDeepClone` of each object that was filed as owned, in the order filed and the
    ///     extension dictionary last; below some hundred levels that is put off to the end of the
    ///     operation;
    ///  6. gives the new one, open for write.
    virtual OdDbObjectPtr subDeepClone(OdDbIdMapping& mapping, OdDbObject* owner,
                                       bool isPrimary) const;
    /// What `wblockClone` of a class does: as `subDeepClone`. Objects that are referred to by hard
    /// pointers are cloned after all that are owned.
    virtual OdDbObjectPtr subWblockClone(OdDbIdMapping& mapping, OdDbObject* owner,
                                         bool isPrimary) const;
    /// Called on a primary clone, whose owner id is set already, with its owner open for write. The
    /// base version lets the owner list it: a block its entities, a dictionary or a symbol table by
    /// the name of the source, or one made of it if that is taken.
    virtual void appendToOwner(OdDbIdPair& pair, OdDbObject* owner, OdDbIdMapping& mapping);
    /// Called on each clone at the end of an operation, when all its references are final.
    virtual void cloneFinished(OdDbIdMapping& mapping);
    /// @}

    /// \name Erasing
    /// @{
    /// Erases the object, or brings it back. It stays in memory and its id stays valid.
    ///
    /// In this order: nothing for an object that is in that state already; `assertWriteEnabled`;
    /// `subErase`; the state changes; a dictionary that owns it drops (or takes back) the entry;
    /// `erased` goes to the persistent reactors. Objects that this one owns are not touched.
    /// \return 0; (already erased) or (not erased) if there was nothing to do, or if `subErase` of
    ///         this object is under way; (not in database); or what `subErase` gave, and then
    ///         nothing has changed.
    OdResult erase(bool erasing = true);
    /// What a class has to do when it is erased or brought back; a result other than 0 refuses.
    virtual OdResult subErase(bool erasing);
    /// @}

    /// \name Persistent reactors
    /// Objects of the same database, kept by id, that are told of changes. Changing the list needs
    /// write and is part of undo, but doesn't by itself count as a modification.
    /// @{
    OdDbObjectIdArray getPersistentReactors() const;
    bool hasPersistentReactor(OdDbObjectId id) const;
    /// Adds a reactor at the end; one that is listed already, or the null id, changes nothing.
    /// \throws OdError (wrong database) for an id of another database.
    void addPersistentReactor(OdDbObjectId id);
    /// Takes a reactor out; an absent one changes nothing.
    void removePersistentReactor(OdDbObjectId id);
    /// @}

    /// \name Notices, called on a reactor that is open for notify
    /// The base versions do nothing.
    /// @{
    /// At the end of the operation in which `newObject` was cloned from `object`.
    virtual void copied(OdDbObject const* object, OdDbObject const* newObject);
    /// From inside `erase`, when the state has changed already.
    virtual void erased(OdDbObject const* object, bool erasing);
    virtual void goodbye(OdDbObject const* object);
    /// Before the first change of a write period.
    virtual void openedForModify(OdDbObject const* object);
    virtual void modified(OdDbObject const* object);
    virtual void modifiedGraphics(OdDbObject const* object);
    virtual void objectClosed(OdDbObject const* object);
    /// @}

    /// \name Extended data
    /// @{
    /// The data of one application: a copy of the chain, starting with a 1001 record that holds the
    /// name; null if there is none. With an empty name the chains of all applications in order of
    /// names, one behind the other.
    OdResBufPtr xData(OdString const& appName = OdString()) const;
    /// Replaces the data of each application that heads a group (1001) of the chain; a group of
    /// that record alone removes the application's data. Other applications keep theirs. The chain
    /// is copied. Part of undo and a modification. Outside a database any application may be named;
    /// a database that the object is added to registers those that it doesn't know.
    /// \throws OdError (unregistered app) for an application that the database doesn't know,
    ///         (invalid input) for a chain that doesn't start with 1001 or holds a group code that
    ///         extended data has not; nothing has changed then.
    void setXData(OdResBuf const* chain);
    /// @}

    /// \name Extension dictionary
    /// @{
    /// The id of the dictionary; null if there is none or it is erased.
    OdDbObjectId extensionDictionary() const;
    /// Makes the dictionary if there is none, or brings back an erased one. The object must be open
    /// for write and in a database.
    void createExtensionDictionary();
    /// Erases the dictionary if it is empty. \return Whether there is none now.
    bool releaseExtensionDictionary();
    /// Makes an extended record under a key of the extension dictionary, which is made if needed;
    /// an entry that is there already is opened instead if it is an extended record.
    /// \return The record, open for write; null if the key holds something else.
    OdDbObjectPtr createXrecord(OdString const& key, OdDb::DuplicateRecordCloning style);
    /// @}

    /// A plain object outside any database; a class of its own derives from this one.
    OdDbObject();

protected:
    /// Tells a container of names that an object which it owns was erased or has come back.
    virtual void ownedObjectErased(OdDbObjectId id, bool erasing);
    /// Tells a container of names that an object has got another owner.
    virtual void ownedObjectLeft(OdDbObjectId id);
    /// Asked before the object comes into a database, or takes over fields there: an id of another
    /// database would name nothing as soon as that is gone. The base has nothing to ask for; an
    /// override asks its own base, too.
    /// \throws OdError (wrong database) if the object refers to an object of another database.
    virtual void requireReferencesIn(OdDbDatabase const& database) const;
    /// \throws OdError (wrong database) for an id of another database; null is of every one.
    static void requireIn(OdDbDatabase const& database, OdDbObjectId id);
    /// Lets a container list a clone that it owns. The base version does nothing.
    virtual void takeClone(OdDbIdPair const& pair, OdDbObject& clone, OdDbIdMapping& mapping);

    /// Told before a change of an object that is in no database. The base does nothing; a database
    /// records the change as one of its own settings.
    virtual void changingOutsideDatabase();

    /// Told when a write period with a change has ended, before the first notice goes out: here an
    /// object brings up to date what follows from it. Readers are answered. Not told while records
    /// are played back. The base does nothing.
    virtual void changesEnded();
    /// Told when the notices that follow `changesEnded` are out. The base does nothing.
    virtual void changesTold();

    /// Tells that the graphics change in this write period.
    void markGraphicsModified() noexcept { m_state |= kGraphicsModified; }
    /// Takes that back.
    void clearGraphicsModified() noexcept
    {
        m_state = static_cast<std::uint16_t>(m_state & ~kGraphicsModified);
    }

private:
    friend class OdDbObjectAccess;

    enum StateBit : std::uint16_t
    {
        kModified = 1,
        kGraphicsModified = 2,
        kReading = 4,  ///< fields are being taken in: checks pass, nothing is recorded
        kUndoDisabled = 8,
        kErasing = 16  ///< `subErase` is under way
    };
    struct Extras;

    void raiseWriteCount() noexcept;
    void endWritePeriod();
    void sendPeriodNotices(std::uint16_t state);
    void recordFullUndo();
    bool recordsUndo() const noexcept;
    bool hasPersistentReactorUnchecked(OdDbObjectId id) const;
    bool hasOrRevivesExtensionDictionary();
    void tellOwnerOfErase(bool erasing);
    void tellOwnerOfLeaving(OdDbObjectId before);
    /// A dictionary or symbol table, opened for write; null for any other object.
    static OdDbObjectPtr openContainerOfNames(OdDbObjectId id);
    /// Announces a change of a base field; gives a filer that stands behind the opcode, or null.
    OdDbDwgFiler* beginBaseChange(std::uint8_t opcode, bool recordModified);
    Extras& extras();

    std::uint32_t m_refs = 1;
    std::uint32_t m_undoMark = 0;  ///< undo mark at which the whole state was last recorded
    OdDbIdRecord* m_record = nullptr;
    OdDbObjectId m_ownerId;
    std::uint16_t m_writeCount = 0;
    std::uint16_t m_notifyCount = 0;
    std::uint16_t m_roundCount = 0;  ///< rounds of notices about this object that are under way
    std::uint16_t m_state = 0;
    std::unique_ptr<Extras> m_extras;  ///< what few objects have: reactors, extended data, ...
};
