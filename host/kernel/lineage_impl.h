// Where the faces, edges and vertices of a recipe's solids come from.

#pragma once

#include "kernel/history_translation_impl.h"

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

namespace zemhost {

/// Number of an origin in its OriginTable.
using OriginId = std::uint32_t;

/// The origins that items of related solids can have, each with one number.
///
/// An origin is an item of the base or of a tool, the round face along an item, or the meeting of
/// faces with certain origins that a step brought about. Two solids whose origins stand in one table
/// can be compared: equal origins have equal numbers, and there are no hashes that could collide. May
/// be used from several threads.
class OriginTable
{
public:
    OriginId baseItem(std::uint32_t toolKey, Subent item);
    OriginId toolItem(std::uint32_t step, std::uint32_t toolKey, Subent item);

    /// What a step made along an item of an origin.
    OriginId made(std::uint32_t step, SubentKind kind, OriginId along);

    /// Where faces of these origins, ascending, met in a step.
    OriginId meeting(std::uint32_t step, SubentKind kind, std::span<const OriginId> faces);

    /// The step that an origin came with; 0 for the base.
    std::uint32_t stepOf(OriginId id) const;
    std::size_t size() const;

private:
    OriginId intern(std::vector<std::uint32_t> key);

    mutable std::mutex m_mutex;
    std::map<std::vector<std::uint32_t>, OriginId> m_ids;
    std::vector<std::uint32_t> m_steps;
};

/// Where one item comes from.
struct ItemOrigin
{
    std::vector<OriginId> ids;  ///< ascending; several for an item that was joined of others

    /// The steps that left it as one of several pieces, ascending.
    std::vector<std::uint32_t> splitBy;
};

/// By kind and number less one.
using ItemOrigins = std::array<std::vector<ItemOrigin>, 3>;

/// Which items of a solid touch which, by number less one and ascending.
class Incidence
{
public:
    explicit Incidence(const ItemNumbers& numbers);

    /// The items of kind `to` that touch an item of kind `from`; kinds differ.
    std::span<const int> of(SubentKind from, int index, SubentKind to) const;

private:
    /// The items that each item touches, one after another.
    class Relation
    {
    public:
        Relation() : m_begins(1, 0) {}

        /// Adds the next item with those that it touches, in any order and as often as they come.
        void add(std::vector<int>& others);
        std::span<const int> of(int index) const;
        int size() const { return static_cast<int>(m_begins.size()) - 1; }

        /// The same touches, seen from the `count` others.
        Relation turned(int count) const;

    private:
        std::vector<std::uint32_t> m_begins;  ///< one more than there are items
        std::vector<int> m_others;
    };

    static Relation touching(const ItemNumbers& numbers, SubentKind outer, SubentKind inner);
    static Relation verticesOfFaces(const ItemNumbers& numbers, const Relation& edgesOfFaces,
                                    const Relation& verticesOfEdges);
    void setBothWays(SubentKind first, SubentKind second, Relation relation,
                     const ItemNumbers& numbers);

    std::array<std::array<Relation, 3>, 3> m_relations;
};

/// Origins of a solid that nothing is known about: each item of the base is its own.
ItemOrigins originsOfBase(OriginTable& table, const SubentCounts& counts);

/// What is known of one step when origins go from the solid before it to the one after.
struct StepLineage
{
    std::uint32_t step;  ///< id; 0 for the base
    const RawEdit& edit;
    const ItemImages& images;
    const ItemNumbers& after;
    const Incidence& incidence;  ///< of the solid after
};

/// Origins of the solid after a step.
ItemOrigins originsAfter(OriginTable& table, const ItemOrigins& before, const StepLineage& lineage);

}  // namespace zemhost
