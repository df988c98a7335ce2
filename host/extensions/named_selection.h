// Named lists of links that a person has chosen.

#pragma once

#include "db/od_db_object.h"
#include "db/od_db_subent.h"

#include "protocol/host_part_map.h"
#include "zem_compound_object_id.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace zemhost {

/// How a part lay and looked, in the coordinates of its solid's body.
struct PartShape
{
    OdString kind;    ///< of surface or curve; empty for a vertex
    double size = 0;  ///< area in mm2 or length in mm; 0 for a vertex
    std::array<double, 3> middle{};

    friend bool operator==(PartShape const&, PartShape const&) = default;
};

/// The way to a part that lies in another drawing; empty for any other.
struct OutsideWay
{
    ZemCompoundObjectId steps;

    bool isEmpty() const noexcept { return steps.size() == 0; }
    friend bool operator==(OutsideWay const& left, OutsideWay const& right) noexcept
    {
        return left.steps.compareTo(right.steps) == 0;
    }
};

/// What a selection knows of one link.
struct SelectionState
{
    OdDbObjectId link;        ///< null once its part has gone
    OdDbFullSubentPath path;  ///< what it named, if it has gone; empty otherwise
    /// Of `path`, whose ids in other drawings aren't stored: they are null when it is read.
    OutsideWay way;
    HostPartAnswer answer = HostPartAnswer::kExact;
    OdString cause;                        ///< the edit that made the answer other than exact
    std::vector<OdDbSubentId> candidates;  ///< of an ambiguous link
    /// Of the link, while this is the state before a repair.
    std::int32_t bodyHash = 0;
    /// Of a part in another drawing, when the link was led there; none where nobody could tell.
    std::optional<PartShape> shape;

    friend bool operator==(SelectionState const&, SelectionState const&) = default;
};

/// One member of a selection.
struct SelectionEntry
{
    SelectionState now;
    std::optional<SelectionState> before;  ///< of the last repair

    friend bool operator==(SelectionEntry const&, SelectionEntry const&) = default;
};

/// Watches links as features do: it is a persistent reactor of each, so that edits split and merge
/// them. It lies in the dictionary "ZEMHOST_SELECTIONS" of its block's extension dictionary, under
/// its name.
///
/// **Filed**: version (8 bit, 3), count (32 bit), and for each entry its state, whether there is a
/// state before, and that. A state is the link (soft pointer), the path's count of ids (32 bit) and
/// ids (soft pointers), type and index of the part (32 and 64 bit), the answer (8 bit), the cause
/// (text), the count of candidates (32 bit), and type and index of each; from version 2 on also the
/// hash (32 bit), whether there is a shape, and its kind (text), size and middle (doubles); from
/// version 3 on also the way, as `ZemCompoundObjectId` files it.
class HostNamedSelection : public OdDbObject
{
    RX_DECLARE_CLASS(HostNamedSelection);

public:
    HostNamedSelection();
    ~HostNamedSelection() override;

    /// The selection of a name in a block; null if there is none and none is to be made.
    /// \throws OdError  For a name that no dictionary takes, or something else in its place.
    static OdDbObjectId getInstance(OdDbObjectId block, OdString const& name, bool create);
    /// The selections of a block in order of names.
    static OdDbObjectIdArray selectionsOf(OdDbObjectId block);
    /// What stands in the place of a selection of a block, or of the dictionary of all of them, and
    /// can't be read as one.
    static OdDbObjectIdArray unreadableOf(OdDbObjectId block);

    /// Its key in the dictionary that owns it; empty outside one. Open for read.
    OdString name() const;
    /// The block whose selection it is; null outside one. Open for read.
    OdDbObjectId blockId() const;

    /// Open for read.
    std::vector<SelectionEntry> const& entries() const;
    /// Replaces the entries, and watches the links that they name now and no others. Entries that
    /// name the same living link as an earlier one are left out. Open for write.
    void setEntries(std::vector<SelectionEntry> entries);

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    OdResult subErase(bool erasing) override;

private:
    void watch(OdDbObjectId link, bool on) const;

    std::vector<SelectionEntry> m_entries;
};

using HostNamedSelectionPtr = OdSmartPtr<HostNamedSelection>;

}  // namespace zemhost
