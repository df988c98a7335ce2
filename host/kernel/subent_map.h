// What became of every face, edge and vertex of a solid in an edit.

#pragma once

#include "kernel/kernel_error.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zemhost {

class ByteReader;

/// Kind of a numbered part of a solid. Stored: the numbers never change.
enum class SubentKind : std::uint8_t
{
    kFace = 0,
    kEdge = 1,
    kVertex = 2,
};

inline constexpr std::array<SubentKind, 3> kSubentKinds = {SubentKind::kFace, SubentKind::kEdge,
                                                           SubentKind::kVertex};

/// "face", "edge", "vertex".
std::string_view subentKindName(SubentKind kind);

/// A face, edge or vertex of a solid, by the number that KernelSolid gives it.
struct Subent
{
    SubentKind kind = SubentKind::kFace;
    int number = 0;  ///< from 1 on

    friend bool operator==(const Subent&, const Subent&) = default;
    friend auto operator<=>(const Subent&, const Subent&) = default;
};

/// How many faces, edges and vertices a solid has.
struct SubentCounts
{
    int faces = 0;
    int edges = 0;
    int vertices = 0;

    int of(SubentKind kind) const;
    friend bool operator==(const SubentCounts&, const SubentCounts&) = default;
};

/// What became of one item. Stored: the numbers never change.
enum class SubentFate : std::uint8_t
{
    kUnchanged = 0,  ///< lives on alone, under the same number
    kMoved = 1,      ///< lives on alone, under another number
    kSplit = 2,      ///< lives on in several items, each of which may have other sources too
    kMerged = 3,     ///< lives on in one item, together with other old items
    kGone = 4,       ///< nothing of it is left

    /// It can't be told. The candidates are all items that it may live on in; it may also be gone.
    kAmbiguous = 5,
};

inline constexpr std::size_t kSubentFateCount = 6;

/// "unchanged", "moved", "split", "merged", "gone", "ambiguous".
std::string_view subentFateName(SubentFate fate);

/// What SubentMap answers for one old item.
struct SubentAnswer
{
    SubentFate fate = SubentFate::kGone;

    /// New numbers, ascending: one for unchanged, moved and merged; two or more for split; none for
    /// gone; the candidates for ambiguous. Lives as long as the map that answered.
    std::span<const int> targets;

    /// The edit that decided the fate, such as "cut" or "fillet"; empty for what nothing touched.
    std::string_view cause;
};

/// How many items of one kind had each fate.
struct SubentTally
{
    std::array<int, kSubentFateCount> byFate{};
    int born = 0;  ///< new items that come from no old one

    int of(SubentFate fate) const { return byFate[static_cast<std::size_t>(fate)]; }
    int total() const;  ///< of old items

    friend bool operator==(const SubentTally&, const SubentTally&) = default;
};

/// What became of every face, edge and vertex of a solid, from its numbers before an edit to those
/// after it.
///
/// A value. Each old item has exactly one answer; each new item can tell the old ones that it comes
/// from. Maps of edits that follow one another are joined by `then`.
class SubentMap
{
public:
    class Builder;

    /// Nothing before, nothing after.
    SubentMap() = default;

    /// Every item unchanged.
    static SubentMap identity(const SubentCounts& counts);

    const SubentCounts& before() const { return m_before; }
    const SubentCounts& after() const { return m_after; }

    /// \throws KernelError (bad argument) for a number that the solid before the edit doesn't have.
    SubentAnswer answer(Subent old) const;

    /// The old items that live on in a new one, ascending; none for one that the edit made. Ambiguous
    /// items are no sources. Lives as long as the map.
    /// \throws KernelError (bad argument) for a number that the solid after the edit doesn't have.
    std::span<const int> sources(Subent item) const;

    SubentTally tally(SubentKind kind) const;

    /// This edit and then another one, whose solid before is this one's solid after.
    ///
    /// The cause is the edit with the gravest fate: gone and ambiguous before split and merged, these
    /// before moved; of equal ones the later. An item of which only some candidates are gone stays
    /// ambiguous.
    /// \throws KernelError (bad argument) if the counts between the two don't agree.
    SubentMap then(const SubentMap& next) const;

    /// \name Stored form
    /// For the way between processes. Mark "ZEMSUBMP", version, CRC-32, length, content.
    /// @{
    std::vector<unsigned char> toBytes() const;
    /// \throws KernelError (damaged bytes).
    static SubentMap fromBytes(std::span<const unsigned char> bytes);
    /// @}

    friend bool operator==(const SubentMap&, const SubentMap&) = default;

private:
    /// Numbers of one item, as a place in the list of all.
    struct Slice
    {
        std::uint32_t begin = 0;
        std::uint32_t count = 0;

        friend bool operator==(const Slice&, const Slice&) = default;
    };

    struct Entry
    {
        Slice targets;
        std::uint32_t cause = 0;
        SubentFate fate = SubentFate::kGone;

        friend bool operator==(const Entry&, const Entry&) = default;
    };

    struct Table
    {
        std::vector<Entry> entries;
        std::vector<int> targets;
        std::vector<Slice> sourceSlices;
        std::vector<int> sources;

        friend bool operator==(const Table&, const Table&) = default;
    };

    const Table& table(SubentKind kind) const { return m_tables[static_cast<std::size_t>(kind)]; }
    Table& table(SubentKind kind) { return m_tables[static_cast<std::size_t>(kind)]; }
    void findSources(SubentKind kind);
    void markMerged(SubentKind kind);
    void dropUnusedCauses();

    SubentCounts m_before;
    SubentCounts m_after;
    std::array<Table, 3> m_tables;
    std::vector<std::string> m_causes = {std::string()};
};

/// Gathers the answers of a SubentMap. Items that nothing is said about are gone.
class SubentMap::Builder
{
public:
    /// \param cause  Of every item whose fate is not unchanged.
    Builder(const SubentCounts& before, const SubentCounts& after, std::string cause);

    /// An old item lives on in some new ones, in any order and none for one that is gone.
    /// \throws KernelError (bad argument) for numbers that the solids don't have.
    void set(Subent old, std::vector<int> targets);

    /// It can't be told in which of the candidates an old item lives on.
    /// \throws KernelError (bad argument) as `set`, and without candidates.
    void setAmbiguous(Subent old, std::vector<int> candidates);

    /// Works out unchanged, moved, split and merged, and the way back.
    SubentMap finish();

private:
    friend class SubentMap;

    struct Item
    {
        std::vector<int> targets;
        std::uint32_t cause = 0;
        bool isAmbiguous = false;
    };

    Item& item(Subent old);
    void checkTargets(SubentKind kind, const std::vector<int>& targets) const;
    std::uint32_t addCause(std::string_view cause);
    void setJoined(Subent old, const SubentAnswer& first, const SubentMap& next);
    void setCounts(SubentKind kind, int before, int after);
    void readKind(SubentKind kind, ByteReader& reader, std::span<const std::uint32_t> causes);
    void finishKind(SubentKind kind);

    SubentMap m_map;
    std::uint32_t m_cause = 0;
    std::array<std::vector<Item>, 3> m_items;
};

}  // namespace zemhost
