// The border between a database and the carrier that its objects are loaded from and saved to.

#pragma once

#include "db/od_db_class_record.h"
#include "db/od_db_database.h"
#include "db/od_db_memory_filer.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// The part of a stored object behind what a reader has understood: its bytes and its references.
struct OdDbStoredBody
{
    std::vector<std::uint8_t> bytes;
    std::vector<OdDbReference> references;

    friend bool operator==(OdDbStoredBody const&, OdDbStoredBody const&) = default;
};

/// A filer whose stream can be carried without being understood, which is how objects of unknown
/// classes survive: references lie apart from bytes.
class OdDbStoredObjectFiler : public OdDbDwgFiler
{
    RX_DECLARE_CLASS(OdDbStoredObjectFiler);

public:
    /// Takes all that is left.
    virtual OdDbStoredBody rdBody() = 0;
    /// Appends what `rdBody` gave.
    virtual void wrBody(OdDbStoredBody const& body) = 0;
};

/// What a carrier tells of a stored object that is about to be loaded.
struct OdDbStoredObject
{
    std::uint32_t classIndex = 0;            ///< number of the class in the database
    OdDbStoredObjectFiler* filer = nullptr;  ///< positioned at the object's first field
    std::string damage;                      ///< why it can't be read; empty if it can
};

/// A carrier of stored objects. Attached to a database, it serves the objects that aren't in memory.
class OdDbObjectStore
{
public:
    virtual ~OdDbObjectStore();

    /// Whether an object with this handle is stored; gives its class. Cheap enough to be asked for
    /// every reference.
    virtual bool find(OdDbHandle handle, std::uint32_t& classIndex) = 0;
    /// Begins to load an object; `false` if there is none. Ended by `endLoad`; loads may nest. The
    /// filer stays the carrier's and lives until `endLoad`.
    virtual bool beginLoad(OdDbHandle handle, OdDbStoredObject& object) = 0;
    virtual void endLoad() = 0;
    /// The least stored handle above `after`; null at the end.
    virtual OdDbHandle nextHandle(OdDbHandle after) = 0;
};

/// How an object of a database stands towards its carrier.
enum class OdDbResidency : std::uint8_t
{
    kUnknown,  ///< nobody has asked for it yet
    kAbsent,   ///< no object has this handle
    kStored,   ///< only in the carrier
    kResident,
    kDamaged  ///< in the carrier, and can't be read
};

/// One object as a carrier finds it when it saves.
struct OdDbObjectState
{
    OdDbObject* object = nullptr;  ///< null unless it is in memory
    std::uint32_t classIndex = 0;
    OdDbResidency residency = OdDbResidency::kUnknown;
    bool changed = false;  ///< since the last `markSaved`
    bool erased = false;
    bool partlyRead = false;  ///< reading stopped early; its stored bytes hold more than the object
};

/// What a carrier needs of a database's insides. Handles are grouped in blocks: block `n` holds the
/// handles from `n * kHandlesInBlock` on.
class OdDbStorageAccess
{
public:
    static constexpr std::uint64_t kHandlesInBlock = 64;

    explicit OdDbStorageAccess(OdDbDatabase& database) noexcept : m_database(database) {}

    void attachStore(std::unique_ptr<OdDbObjectStore> store);
    OdDbObjectStore* store() const noexcept;
    /// The number of a class record, entered if it is new.
    std::uint32_t addClass(OdDbClassRecord const& record);
    /// Takes over names and version of a class as it is registered now, unless it isn't.
    void renewClass(std::uint32_t index);
    void setHandseed(OdDbHandle seed) noexcept;
    /// The id of a handle that was read from a stream, made if needed; asks the carrier nothing.
    OdDbObjectId idOf(OdDbHandle handle);

    /// Blocks in ascending order that hold an object changed since `markSaved`.
    std::vector<std::uint64_t> changedBlocks() const;
    /// All blocks in ascending order that hold an id known in memory.
    std::vector<std::uint64_t> knownBlocks() const;
    /// How the object with a handle stands; `kUnknown` without an id.
    OdDbObjectState state(OdDbHandle handle) const;
    /// Files a resident object of any open state.
    void fileOut(OdDbObject const& object, OdDbDwgFiler& filer) const;
    /// Whether the settings have changed since `markSaved`.
    bool isHeaderChanged() const noexcept;
    /// Whether the drawing was unloaded, so that nothing of it is left to be saved.
    bool isEmptied() const noexcept;
    /// Begins a save; the drawing can't be unloaded until it ends. False if one is under way.
    [[nodiscard]] bool beginSaving();
    void endSaving() noexcept;
    /// Tells that what is in memory and what is stored are the same now, but for what has been
    /// changed since `beginSaving` in a save that is under way: that may have missed it.
    void markSaved();

    /// A stored object that could not be read.
    struct Damage
    {
        OdDbHandle handle;
        std::string reason;
    };
    /// The damaged objects met so far.
    std::vector<Damage> const& damages() const noexcept;

private:
    OdDbDatabase& m_database;
};
