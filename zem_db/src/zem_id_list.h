// A list of ids that answers at once whether an id is in it.

#pragma once

#include "db/od_db_object_id.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// Ids in the order in which they were added, without a walk for asking or taking away.
///
/// A list is filed as the plain array of its ids. Beside the array it keeps an index, which is
/// made when it is first needed, takes about eight bytes for each id, and is given up when the array
/// was changed through its binding; and it closes the gaps of ids that were taken away when somebody
/// next looks at the ids. So a long row of changes takes time with its own length alone.
///
/// A list that was read may hold an id more than once, or null ids. Ids that are listed must not be
/// redirected while they are. A value; const operations change the index, so that a list is used on
/// one thread.
class ZemIdList
{
public:
    /// \name Queries
    /// @{
    std::size_t size() const noexcept;
    bool isEmpty() const noexcept { return size() == 0; }
    bool contains(OdDbObjectId id) const;
    /// The ids in order; copies share them. Linear after ids were taken away, else at once.
    OdDbObjectIdArray const& ids() const;
    /// @}

    /// \name Changing
    /// @{
    void append(OdDbObjectId id);
    void append(OdDbObjectIdArray const& ids);
    /// Takes the first occurrence of an id away. \return Whether there was one.
    bool removeFirst(OdDbObjectId id);
    void clear();
    /// The array itself, without gaps, for filing and for changes in bulk; the index is given up.
    OdDbObjectIdArray& bulk();
    /// The array's place, which stays the same; for binding a bag to it. Whoever files the bag or
    /// hands it out calls `ids` or `bulk` before, and whatever is changed through the binding at any
    /// time from then on is noticed.
    OdDbObjectIdArray* binding() noexcept { return &m_ids; }
    /// Gives the index and the gaps up.
    void invalidate() const noexcept;
    /// @}

private:
    bool isIndexed() const noexcept;
    void note() const { m_indexed = m_ids; }
    void buildIndex() const;
    void closeGaps() const;
    std::size_t slotOf(OdDbObjectId id) const noexcept;

    // A slot of the index holds 1 more than the position of an id's first occurrence, or 0, and a
    // mark if that position has become a gap since; a gap keeps its id until the gaps are closed.
    mutable OdDbObjectIdArray m_ids;
    /// Shares the array that index and gaps belong to, so that whoever changes it through the binding
    /// changes another copy; empty while there are neither.
    mutable OdDbObjectIdArray m_indexed;
    mutable std::vector<std::uint32_t> m_slots;
    mutable std::vector<std::uint32_t> m_gaps;  ///< positions in the order of their removal
    /// By position, 1 more than that of the id's next occurrence, or 0; empty where no id stands
    /// twice. Of the index, too.
    mutable std::vector<std::uint32_t> m_next;
};
