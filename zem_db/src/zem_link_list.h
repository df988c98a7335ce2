// The links of a manager in their order, found by id and by path without a walk.

#pragma once

#include "db/od_db_subent.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

/// A hash of a path that is the same for equal paths.
std::uint32_t hashOfPath(OdDbFullSubentPath const& path);

/// Finds positions of a list by a hash; several positions may have the same one.
///
/// An answer is a candidate: whoever asks compares what stands at the position.
class ZemPositionTable
{
public:
    static constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

    bool isBuilt() const noexcept { return !m_heads.empty(); }
    /// Entries, with those that have become stale.
    std::size_t size() const noexcept { return m_entries.size(); }
    /// Forgets everything.
    void clear() noexcept;
    /// Makes an empty table.
    void build(std::size_t expectedCount);
    void insert(std::uint32_t hash, std::uint32_t position);
    /// Takes entries out or gives them other positions.
    /// \param newPositions  By old position; `kNone` takes the entry out.
    void renumber(std::vector<std::uint32_t> const& newPositions);
    /// The positions that were entered with a hash with which another one was entered as well; in no
    /// order, some of them more than once.
    std::vector<std::uint32_t> positionsWithCompany() const;
    /// Whether a predicate holds for one of the positions that were entered with a hash. Those
    /// behind the first such position aren't looked at.
    template <class Predicate>
    bool any(std::uint32_t hash, Predicate&& predicate) const
    {
        if (m_heads.empty()) {
            return false;
        }
        for (std::uint32_t at = m_heads[bucketOf(hash)]; at != kNone; at = m_entries[at].next) {
            if (m_entries[at].hash == hash && predicate(m_entries[at].position)) {
                return true;
            }
        }
        return false;
    }
    /// Calls `visitor` with each position that was entered with a hash.
    template <class Visitor>
    void visit(std::uint32_t hash, Visitor&& visitor) const
    {
        (void)any(hash, [&visitor](std::uint32_t position) {
            visitor(position);
            return false;
        });
    }

private:
    struct Entry
    {
        std::uint32_t hash;
        std::uint32_t position;
        std::uint32_t next;  ///< in the same bucket, `kNone` at the end
    };

    std::size_t bucketOf(std::uint32_t hash) const noexcept { return hash & (m_heads.size() - 1); }
    void chainAll(std::size_t bucketCount);

    std::vector<std::uint32_t> m_heads;  ///< first entry of each bucket; a power of two in number
    std::vector<Entry> m_entries;
};

/// The ids of links in order of creation.
///
/// Answers like a plain array, duplicates included. Beside the array it has tables, which are made
/// when they are first needed, never stored, and dropped when the array or the links were read anew
/// (by undo, for one). A removal marks the place; the array closes its gaps before anybody sees it.
///
/// A link that can't be read at the moment (the carrier throws) makes the operations that ask for paths
/// throw; the list stays as it is, and the next of them reads all that it needs anew.
class ZemLinkList
{
public:
    /// The array, without gaps; valid until the next change.
    OdDbObjectIdArray const& ids() const;
    /// The array for a bag that is bound to it. What is changed through it is noticed.
    OdDbObjectIdArray* variable();
    std::uint32_t size() const;
    bool contains(OdDbObjectId id) const;
    /// The ids of links that open and lead along exactly this path, in order of the list.
    /// Links of whose change nobody tells are followed, which may load a drawing; whoever hears of
    /// that may change the list.
    /// \param owner  The manager that the list belongs to, the same each time.
    OdDbObjectIdArray findByPath(OdDbFullSubentPath const& path, OdDbObjectId owner) const;

    /// All links that may lead along the same path as another one, in order of the list. Those that
    /// do are among them; other links needn't be looked at.
    /// \param owner  As for `findByPath`.
    OdDbObjectIdArray withCompany(OdDbObjectId owner) const;

    void append(OdDbObjectId id);
    void append(OdDbObjectIdArray const& ids);
    /// Removes each place of each id. \return What stood there, the last place first.
    OdDbObjectIdArray remove(OdDbObjectIdArray const& ids);
    void clear();
    /// Changes places with another array.
    void exchange(OdDbObjectIdArray& other);
    /// Drops the tables: the array was changed from outside.
    void forget() const;
    /// The path of a link has changed; told of links that the manager owns.
    void linkChanged(OdDbObjectId id) const;

private:
    bool isGone(std::uint32_t position) const
    {
        return position < m_gone.size() && m_gone[position];
    }
    void sync() const;
    void remember() const;
    void dropTables() const;
    bool hasAnythingBeside() const noexcept;
    void closeGaps() const;
    void needIds() const;
    void needPaths(OdDbObjectId owner) const;
    void enterPath(std::uint32_t position) const;
    void enterIfReadable(std::uint32_t position) const;
    std::vector<std::uint32_t> positionsOf(OdDbObjectId id) const;

    mutable OdDbObjectIdArray m_ids;
    mutable std::vector<bool> m_gone;  ///< by position; shorter than the array where none is
    mutable std::uint32_t m_goneCount = 0;
    mutable ZemPositionTable m_byId;
    mutable ZemPositionTable m_byPath;
    mutable OdDbObjectId m_owner;              ///< who tells of changes of paths
    mutable std::uint64_t m_pathRevision = 0;  ///< of all links, when the paths were entered
    /// Shares the array that tables and gaps belong to, so that whoever changes it through the bag
    /// changes another copy; empty while there are neither.
    mutable OdDbObjectIdArray m_seen;
    mutable std::uint64_t m_redirections = 0;  ///< of ids, when the tables were made
};
