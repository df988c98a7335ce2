// The ids of one database: a record for each handle, in blocks of neighbouring handles.

#pragma once

#include "db/od_db_object_store.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

class OdDbDatabaseImpl;

/// What an id points to. Kept small: a drawing has one for each object that was ever named. Handle
/// and database follow from the block that the record lies in.
struct OdDbIdRecord
{
    enum Flag : std::uint8_t
    {
        kErased = 1,
        kChanged = 2,     ///< since the last save
        kRedirected = 4,  ///< stands for an object of another database
        kPartlyRead = 8,
        kProxy = 16,
        kNew = 32,       ///< added since the last save
        kTouched = 64,   ///< met in the playback that is under way
        kRestored = 128  ///< its fields changed in that playback
    };

    OdDbObject* object = nullptr;  ///< holds one reference
    std::uint32_t classIndex = 0;
    OdDbResidency residency = OdDbResidency::kUnknown;
    std::uint8_t flags = 0;
    std::uint8_t slot = 0;  ///< place in the block

    bool has(Flag flag) const noexcept { return (flags & flag) != 0; }
    void set(Flag flag, bool on) noexcept
    {
        flags = static_cast<std::uint8_t>(on ? flags | flag : flags & ~flag);
    }
};

/// Records of neighbouring handles.
struct OdDbIdBlock
{
    OdDbDatabaseImpl* database = nullptr;
    std::uint64_t number = 0;
    bool changed = false;  ///< listed among the changed blocks
    std::array<OdDbIdRecord, OdDbStorageAccess::kHandlesInBlock> records;

    /// The block that a record lies in.
    static OdDbIdBlock& of(OdDbIdRecord const& record) noexcept
    {
        auto* first = const_cast<OdDbIdRecord*>(&record) - record.slot;
        return *reinterpret_cast<OdDbIdBlock*>(reinterpret_cast<char*>(first) -
                                               offsetof(OdDbIdBlock, records));
    }
    static std::uint64_t handleOf(OdDbIdRecord const& record) noexcept
    {
        return of(record).number * OdDbStorageAccess::kHandlesInBlock + record.slot;
    }
};

/// All id records of a database. Records never move and live as long as the table.
class OdDbIdTable
{
public:
    explicit OdDbIdTable(OdDbDatabaseImpl& database) noexcept : m_database(database) {}

    /// The record of a handle, null if none was made.
    OdDbIdRecord* find(std::uint64_t handle) const noexcept;
    /// The record of a handle, made if needed.
    OdDbIdRecord& get(std::uint64_t handle);
    /// Whether a record is one of this table's. It is judged by its address alone: a record of a
    /// database that is gone may be asked about, too.
    bool owns(OdDbIdRecord const* record) const noexcept;
    /// Marks an object as changed since the last save.
    void markChanged(OdDbIdRecord& record);
    /// Ends all marks but those that came since `beginSaving`.
    void clearChanged();
    /// Notes from now on which objects are changed, until `endSaving`.
    void beginSaving();
    void endSaving() noexcept;
    bool isSaving() const noexcept { return m_isSaving; }
    bool hasChanges() const noexcept { return !m_changedBlocks.empty(); }
    std::vector<std::uint64_t> changedBlocks() const;
    std::vector<std::uint64_t> knownBlocks() const;
    OdDbIdBlock* findBlock(std::uint64_t number) const noexcept;
    /// The least number above `after` that has a block; a number past all handles at the end.
    std::uint64_t nextBlock(std::uint64_t after) const noexcept;

private:
    OdDbIdBlock& makeBlock(std::uint64_t number);
    OdDbIdBlock& freshBlock();

    OdDbDatabaseImpl& m_database;
    /// Where the blocks lie. Many lie side by side: what looks up random ids of a large drawing meets
    /// few pages of memory then.
    std::vector<std::unique_ptr<OdDbIdBlock[]>> m_slabs;
    std::map<std::uintptr_t, std::uintptr_t> m_slabEnds;  ///< ends of the slabs by their starts
    std::size_t m_slabSize = 0;                           ///< of the last one, which is the largest
    std::size_t m_slabUsed = 0;
    /// Blocks by number, as long as numbers stay near their count; others lie in `m_sparse`.
    std::vector<OdDbIdBlock*> m_dense;
    std::map<std::uint64_t, OdDbIdBlock*> m_sparse;
    std::size_t m_count = 0;
    std::vector<OdDbIdBlock*> m_changedBlocks;
    bool m_isSaving = false;
    std::set<OdDbIdRecord*> m_changedInSave;
};
