// Finds the link that leads to a sub-entity among the links of an entity.

#pragma once

#include "db/od_db_subent.h"

#include "zem_compound_object_id.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

class ZemDbObjectDependency;

/// What was seen of a list of links while looking for some of them.
///
/// A list of up to five links is walked, from where the last search ended, and the last link that
/// was found is tried first. A longer one is entered into a map as far as searches walk it, each
/// position once, so that links which nobody looks for stay unopened; a search that misses after
/// the whole list was walked costs nothing more until `invalidate`.
///
/// The map holds the paths that links had when they were walked. Whoever changes links or the list
/// tells the cache. It belongs to one list and is used on the thread of its database.
class ZemPersIdCache
{
public:
    /// A longer list gets a map.
    static constexpr std::uint32_t kMaxLinksWithoutMap = 5;

    /// Finds a link by its chain and its sub-entity.
    ///
    /// \param links  The list that the cache belongs to.
    /// \return The first that was met, of several; null if there is none. A link that can't be
    ///         opened when it is met, or an object of another class, is passed over. So is one that
    ///         the carrier fails to read; the next search walks the list anew, then.
    OdDbObjectId lookup(ZemCompoundObjectId const& compoundId, OdDbSubentId const& subentId,
                        OdDbObjectIdArray const& links);

    /// \name Telling of changes
    /// @{
    /// Forgets the map. The last link that was found and the place in the list stay.
    void invalidate() noexcept;
    /// Told before a link is added to the list; it becomes the last one found if there is none.
    void onDepAdded(OdDbObjectId id) noexcept;
    /// Told before a link is taken off the list.
    void onDepRemoved(OdDbObjectId id) noexcept;
    void clearLastRequestId() noexcept { m_lastRequestId = OdDbObjectId::kNull; }
    /// @}

    /// \name State
    /// @{
    /// Whether the list was longer than `kMaxLinksWithoutMap` when it was last walked.
    bool usesMap() const noexcept { return m_useMap; }
    /// The next position of the walk.
    std::uint32_t nextIndex() const noexcept { return m_nextIndex; }
    /// Positions that the walk hasn't come to.
    std::uint32_t remaining() const noexcept { return m_remaining; }
    /// The link that was found last, or the first one that was added since; null if there is none.
    OdDbObjectId lastRequestId() const noexcept { return m_lastRequestId; }
    /// @}

private:
    /// Links that differ in the low 32 bits of their sub-entity's index alone.
    struct Space
    {
        ZemCompoundObjectId chain;
        OdDb::SubentType type;
        std::int32_t highIndex;

        friend bool operator==(Space const& left, Space const& right) noexcept
        {
            return left.type == right.type && left.highIndex == right.highIndex &&
                   left.chain.compareTo(right.chain) == 0;
        }
    };
    struct SpaceHash
    {
        std::size_t operator()(Space const& space) const noexcept;
    };
    /// A link in the map; free while `id` is null.
    struct Slot
    {
        std::uint32_t space = 0;
        std::uint32_t lowIndex = 0;
        OdDbObjectId id;
    };

    OdSmartPtr<ZemDbObjectDependency> openLink(OdDbObjectId id);
    static Space spaceOf(ZemCompoundObjectId const& compoundId, OdDbSubentId const& subentId);
    OdDbObjectId sweep(ZemCompoundObjectId const& compoundId, OdDbSubentId const& subentId,
                       OdDbObjectIdArray const& links);
    OdDbObjectId find(ZemCompoundObjectId const& compoundId, OdDbSubentId const& subentId) const;
    void enter(ZemCompoundObjectId const& compoundId, OdDbSubentId const& subentId,
               OdDbObjectId id);
    std::size_t slotOf(std::uint32_t space, std::uint32_t lowIndex) const noexcept;
    void grow();

    // Links of one entity share few chains, so each is kept once, with the type of the parts, and a
    // link's key is the number of that and the index: a table of slots, neighbours near to one
    // another, without a block of memory for each link.
    std::unordered_map<Space, std::uint32_t, SpaceHash> m_spaces;
    std::vector<Slot> m_slots;  ///< a power of two of them, or none
    std::size_t m_used = 0;
    bool m_useMap = false;
    bool m_hasUnread = false;  ///< the walk has met a link that couldn't be read
    std::uint32_t m_nextIndex = 0;
    std::uint32_t m_remaining = 0;
    OdDbObjectId m_lastRequestId;
};
