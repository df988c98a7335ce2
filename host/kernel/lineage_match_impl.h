// Which items of two solids belong together, by where they come from and what they touch.

#pragma once

#include "kernel/lineage_impl.h"
#include "kernel/subent_map.h"

#include <string>

namespace zemhost {

/// A solid with what is known of its items; borrowed for a call.
struct KnownSolid
{
    const ItemNumbers& numbers;
    const ItemOrigins& origins;
    const Incidence& incidence;
};

/// Finds the items of one solid in another one, whose origins stand in the same table.
///
/// Items of one kind that share origins form a group. One old and one new item belong together; one
/// and several are split, several and one merged. Of several and several, neighbours decide: an edge
/// or vertex that is known on both sides, and touches one item of the group on either side, is a vote
/// that these two belong together. If votes contradict one another, those of the step count that
/// split the items, as long as others agree with each pair; if there are none, the geometry of the
/// items among one another. What is left is ambiguous.
SubentMap matchByOrigin(const OriginTable& table, const KnownSolid& before, const KnownSolid& after,
                        std::string cause);

/// Finds the items of a solid in another one that is the same but for its numbers. Items that lie
/// on one another are ambiguous.
/// \return False if the two are not the same.
bool matchByPlace(const ItemNumbers& before, const ItemNumbers& after, SubentMap& map);

}  // namespace zemhost
