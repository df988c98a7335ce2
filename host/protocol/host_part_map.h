// What became of the faces, edges and vertices of a solid in an edit.

#pragma once

#include "db/od_db_subent.h"

#include <cstdint>
#include <vector>

namespace zemhost {

/// What is known of a part of a solid after an edit.
enum class HostPartAnswer : std::uint8_t
{
    kExact,     ///< it is there, whole, perhaps under another number or changed in shape
    kSplit,     ///< it is there in several pieces
    kMerged,    ///< it is part of a larger one now, together with others
    kGone,      ///< nothing of it is there
    kAmbiguous  ///< it may be one of several, and nothing tells which
};

/// What became of one part.
struct HostPartFate
{
    HostPartAnswer answer = HostPartAnswer::kGone;
    /// Numbers in the new solid, from 1, in ascending order: the part, its pieces, or the candidates;
    /// none for one that is gone.
    std::vector<std::uint32_t> parts;
};

/// What became of each part of a solid. The fate of number n is at n - 1.
struct HostPartMap
{
    std::vector<HostPartFate> faces;
    std::vector<HostPartFate> edges;
    std::vector<HostPartFate> vertices;

    /// The fate of a part; null for one that the old solid did not have.
    HostPartFate const* find(OdDbSubentId part) const noexcept;
};

}  // namespace zemhost
