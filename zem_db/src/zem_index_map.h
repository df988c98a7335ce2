// Numbers that a host keeps for faces, edges and vertices.

#pragma once

#include "db/od_db_subent.h"

#include <cstdint>
#include <map>
#include <vector>

class OdDbDwgFiler;

namespace zemu {

/// Order of sub-entity ids in sets and maps: by type, then by index.
struct less_SubentId
{
    bool operator()(OdDbSubentId const& left, OdDbSubentId const& right) const;
};

}  // namespace zemu

/// A map from sub-entity ids to lists of numbers. A value.
class ZemIndexMap
{
public:
    using Entries = std::map<OdDbSubentId, std::vector<int>, zemu::less_SubentId>;

    /// Whether there are no entries.
    bool isEmpty() const noexcept { return m_entries.empty(); }
    /// The first number of the entry for a path's sub-entity; 0 if there is no entry, or no number
    /// in it.
    int getIdx(OdDbFullSubentPath const& path) const;
    Entries const& entries() const noexcept { return m_entries; }
    Entries& entries() noexcept { return m_entries; }
    /// A number that a host may keep beside the entries; 0 at first. It is not stored.
    std::int32_t value() const noexcept { return m_value; }
    void setValue(std::int32_t value) noexcept { m_value = value; }
    void swap(ZemIndexMap& other) noexcept;

    /// \name Filing
    /// Faces, edges and vertices are filed by a letter; any other type by the letter of none. The
    /// index loses all but its low 32 bits.
    /// @{
    void dwgOutFields(OdDbDwgFiler* filer) const;
    /// Replaces the entries. An entry without numbers is left out; of two for one id the last one
    /// stays. Nothing has changed after a failure.
    /// \throws OdError (bad stream) for a count that is negative or that the filer can't hold.
    void dwgInFields(OdDbDwgFiler* filer);
    /// @}

    friend bool operator==(ZemIndexMap const& left, ZemIndexMap const& right)
    {
        return left.m_entries == right.m_entries;
    }

private:
    Entries m_entries;
    std::int32_t m_value = 0;
};
