// The persistent reactors of one object.

#pragma once

#include "db/od_db_object_id.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

/// Ids in order, each denoted object once. Looking up, adding and removing take constant time, in
/// whatever order they come: long lists are chained and have an index.
class OdDbReactorList
{
public:
    bool isEmpty() const noexcept { return size() == 0; }
    std::size_t size() const noexcept { return m_nodes.size() - m_free.size(); }
    bool contains(OdDbObjectId id) const { return find(id) != kNone; }
    /// The ids in order.
    OdDbObjectIdArray ids() const;
    /// Calls a function with each id, in order.
    template <class Function>
    void forEach(Function const& function) const
    {
        for (std::uint32_t at = m_first; at != kNone; at = m_nodes[at].next) {
            function(m_nodes[at].id);
        }
    }
    /// Replaces all; an object that is denoted twice is taken once.
    void assign(OdDbObjectIdArray const& ids);
    void clear();
    /// Inserts an id that isn't there before another one, or at the end if that isn't there.
    void insertBefore(OdDbObjectId id, OdDbObjectId next);
    void append(OdDbObjectId id) { insertBefore(id, OdDbObjectId::kNull); }
    /// Takes out an id that is there. \return The one behind it, null at the end.
    OdDbObjectId remove(OdDbObjectId id);

private:
    static constexpr std::uint32_t kNone = ~std::uint32_t{0};

    struct Node
    {
        OdDbObjectId id;
        std::uint32_t previous = kNone;
        std::uint32_t next = kNone;
    };

    std::uint32_t find(OdDbObjectId id) const;
    void refreshIndex() const;

    std::vector<Node> m_nodes;
    std::vector<std::uint32_t> m_free;  ///< nodes that are in no chain
    std::uint32_t m_first = kNone;
    std::uint32_t m_last = kNone;
    /// Nodes by what their ids denote; empty for short lists, made again when redirections change.
    mutable std::unordered_map<OdDbIdRecord const*, std::uint32_t> m_index;
    mutable std::uint64_t m_revision = 0;  ///< of the redirections that the index was made for
    mutable bool m_hasTwins = false;       ///< a redirection made two ids denote one object
};
