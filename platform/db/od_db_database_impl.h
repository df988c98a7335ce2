// The insides of a database.

#pragma once

#include "db/od_db_database.h"
#include "db/od_db_id_table_impl.h"
#include "db/od_db_undo_log_impl.h"
#include "db/od_db_xref_table_impl.h"

#include <map>
#include <string>
#include <unordered_set>

/// Checks what an object is to refer to. Null is allowed, and an object that is in no database may
/// refer to what it will be added to.
/// \throws OdError (not that kind of class) for an object of another class than `cls`, (wrong database)
///         for one of another database.
void odDbRequireReference(OdDbObject const& object, OdDbObjectId id, OdRxClass* cls);

/// Leads every id that a database knows, and those with neighbouring handles, to the id with the same
/// handle in another database, whether that has such an object or not. Ids of the other one must not
/// be led to this one.
void odDbLeadAllIds(OdDbDatabaseImpl& from, OdDbDatabaseImpl& to);
/// Ends all redirections from and to ids of databases that go away.
void odDbDropRedirections(std::unordered_set<OdDbDatabaseImpl const*> const& databases);

/// Access of the database layer to the private state of objects.
class OdDbObjectAccess
{
public:
    /// Joins or starts an open period and hands out a pointer that holds it.
    static OdDbObjectPtr open(OdDbObject& object, OdDb::OpenMode mode);
    /// Puts an object into a database, which takes a reference.
    static void attach(OdDbObject& object, OdDbIdRecord& record, OdDbObjectId owner);
    /// Takes an object out of its database, which gives up its reference.
    static void detach(OdDbObject& object);
    /// The first half of that: the object is out, and the reference is still to be given up.
    static void orphan(OdDbObject& object);
    /// Takes fields in, with checks passing and nothing recorded.
    static OdResult fileIn(OdDbObject& object, OdDbDwgFiler& filer);
    /// Files an object of any open state.
    static void fileOut(OdDbObject const& object, OdDbDwgFiler& filer);
    static void playPartial(OdDbObject& object, OdDbDwgFiler& filer, OdRxClass* cls);
    /// Starts the first write period of an object that was just added.
    static void startNew(OdDbObject& object, std::uint32_t undoMark);
    static void setErased(OdDbObject& object, bool erasing);
    static void sendErased(OdDbObject& object, bool erasing);
    static void sendModified(OdDbObject& object);
    static void sendGoodbye(OdDbObject& object);
    static void sendOpenedForModify(OdDbObject& object);
    /// Calls one notice on each reactor, from a copy of the list.
    template <class Notice>
    static void sendRound(OdDbObject& object, Notice const& notice, bool loadsReactors = true);
    /// Calls one notice on each of these reactors that is one still.
    template <class Notice>
    static void sendTo(OdDbObjectIdArray const& reactors, OdDbObject& object, Notice const& notice,
                       bool loadsReactors = true);
    static void endNotify(OdDbObject& reactor);
    /// \name For cloning
    /// @{
    static void sendCopied(OdDbObject& source, OdDbObject const& clone);
    static void setOwner(OdDbObject& object, OdDbObjectId owner) noexcept
    {
        object.m_ownerId = owner;
    }
    /// The stored id, of an erased dictionary too.
    static OdDbObjectId extensionDictionary(OdDbObject const& object) noexcept;
    static void setExtensionDictionary(OdDbObject& object, OdDbObjectId dictionary);
    static bool hasReactors(OdDbObject const& object) noexcept;
    static OdDbObjectIdArray reactors(OdDbObject const& object);
    static void setReactors(OdDbObject& object, OdDbObjectIdArray const& reactors);
    /// Registers the applications of the object's extended data in a database.
    /// \param passesNameless  Whether one without a name, which only a file can hold, is passed over;
    ///                        it can't be registered.
    static void registerApps(OdDbObject const& object, OdDbDatabase& database,
                             bool passesNameless = false);
    /// Records the whole state for undo, if that hasn't been done since the last mark.
    static void recordState(OdDbObject& object) { object.recordFullUndo(); }
    static void takeClone(OdDbObject& owner, OdDbIdPair const& pair, OdDbObject& clone,
                          OdDbIdMapping& mapping)
    {
        owner.takeClone(pair, clone, mapping);
    }
    static void tellOwnerOfErase(OdDbObject& object, bool erasing)
    {
        object.tellOwnerOfErase(erasing);
    }
    /// @}
    /// Keeps references that come and go while a database is destroyed from destroying it again.
    static void pin(OdDbObject& object) noexcept { object.m_refs += 1U << 24; }
    static bool isClosed(OdDbObject const& object) noexcept
    {
        return object.m_refs <= 1 && object.m_roundCount == 0;
    }
    /// \throws OdError (wrong database) if the object names reactors or an extension dictionary of
    ///         another database, which may go before it does.
    static void requireIdsOf(OdDbObject const& object, OdDbDatabase const& database);
    /// Whether an undo record may hold the object's whole state.
    static bool hasStateRecorded(OdDbObject const& object) noexcept
    {
        return object.m_undoMark != 0;
    }
};

/// Whether an id has an object that isn't erased; loads none. A drawing may name objects that it has
/// not.
bool odDbIsThere(OdDbObjectId id);

/// Settings of a drawing, which are filed with the database.
struct OdDbHeader
{
    OdDbObjectId namedObjects;
    OdDbObjectId blockTable;
    OdDbObjectId layerTable;
    OdDbObjectId linetypeTable;
    OdDbObjectId regAppTable;
    OdDbObjectId modelSpace;
    OdDbObjectId paperSpace;
    OdDbObjectId layerZero;
    OdDbObjectId linetypeContinuous;
    OdDbObjectId linetypeByLayer;
    OdDbObjectId linetypeByBlock;
    OdDb::UnitsValue insertUnits = OdDb::UnitsValue::kUnitsMillimeters;
    OdGePoint3d modelInsertBase;
    OdGePoint3d paperInsertBase;
    OdDbObjectId activeViewport;
};

class OdDbDatabaseImpl
{
public:
    OdDbDatabaseImpl(OdDbDatabase& database, OdDbHostAppServices* services);
    ~OdDbDatabaseImpl();
    OdDbDatabaseImpl(OdDbDatabaseImpl const&) = delete;
    OdDbDatabaseImpl& operator=(OdDbDatabaseImpl const&) = delete;

    static OdDbDatabaseImpl& of(OdDbIdRecord const& record) noexcept
    {
        return *OdDbIdBlock::of(record).database;
    }

    /// Brings the object of a record into memory. \return Whether there is one now.
    bool load(OdDbIdRecord& record);
    /// Finds out how a record stands without loading it.
    void resolve(OdDbIdRecord& record);
    std::uint32_t classIndexOf(OdRxClass const* cls);
    std::uint32_t addClass(OdDbClassRecord const& record);
    /// The registered class of a number; null if it isn't registered now.
    OdRxClass* registeredClass(std::uint32_t index);
    OdDbObjectId add(OdDbObject& object, OdDbObjectId owner, OdDbHandle handle);
    /// Adds an object under a class number that isn't that of its own class, as a proxy's.
    OdDbObjectId addAs(OdDbObject& object, OdDbObjectId owner, OdDbHandle handle,
                       std::uint32_t classIndex);
    /// Sends goodbye and lets go of all objects, undo records and the store. Ids stay, and none can
    /// be opened any more.
    void empty();
    /// Whether somebody holds an object open, or saves the drawing.
    bool isInUse() const;
    /// Records the settings for undo; call it before a change of them.
    void recordHeaderChange();
    /// Marks the settings as changed since the last save.
    void markHeaderChanged() noexcept;

    OdDbDatabase& database;
    OdDbHostAppServices* services;
    std::uint64_t const serial;  ///< order of creation among databases
    OdDbIdTable ids;
    OdDbUndoLog undo;
    OdDbHeader header;
    OdString fileName;
    std::uint64_t handseed = 1;
    bool headerChanged = false;
    bool headerChangedInSave = false;  ///< since the save that is under way has begun
    bool isEmptied = false;            ///< an external drawing that was unloaded; nothing is left
    bool isDrawOverrideAllowed = true;
    bool hasRedirections = false;  ///< an id may be led away, or others to one
    std::uint32_t headerMark = 0;  ///< undo mark at which the settings were last recorded
    std::vector<OdDbClassRecord> classes;
    std::unique_ptr<OdDbObjectStore> store;
    std::vector<OdDbStorageAccess::Damage> damages;
    OdDbObjectId xrefBlock;  ///< see `OdDbDatabase::xrefBlockId`
    OdDbXrefTable xrefs;

private:
    std::vector<OdDbObject*> residentObjects() const;
    /// Sends goodbye for all objects.
    void sendGoodbye();
    /// Takes all ids out of the objects that somebody holds.
    void forgetHeldIds();
    /// Lets go of all objects.
    void releaseObjects();

    friend class OdDbDatabase;

    bool loadFromStore(OdDbIdRecord& record);
    bool loadAs(OdDbIdRecord& record, OdDbHandle handle, bool asProxy);
    bool fillLoaded(OdDbIdRecord& record, OdDbObject& object, OdDbStoredObjectFiler& filer,
                    bool isProxy);
    void dropHalfLoaded(OdDbIdRecord& record, OdDbObject& object, bool isProxy, char const* reason);
    void reportDamage(OdDbIdRecord& record, std::string reason);
    /// Whether a proxy's class has been registered since, and nothing stands against loading the
    /// object anew.
    bool canReplaceProxy(OdDbIdRecord const& record);

    std::map<OdString, std::uint32_t> m_classNumbers;
    /// Registration number of the class met last: objects mostly come in runs of one class.
    std::uint64_t m_lastClassNumber = 0;
    std::uint32_t m_lastClassIndex = 0;
    std::vector<OdRxClass*> m_resolved;  ///< registered classes by number, derived
    std::uint64_t m_resolvedRevision = 0;
};
