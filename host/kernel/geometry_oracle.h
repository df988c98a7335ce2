// What became of faces, edges and vertices, told by geometry alone.

#pragma once

#include "kernel/kernel_solid.h"
#include "kernel/subent_map.h"

#include <vector>

namespace zemhost {

/// How the oracle judges.
struct OracleOptions
{
    /// For parameters that move items: an item that shares nothing with any new one is the new item
    /// of the same kind of geometry whose middle is nearest, if that is nearer than this, in
    /// millimetres. 0 for edits that leave everything in its place: such an item is gone.
    double reachMm = 0;

    /// How near a point lies to be on an item, in millimetres; 0 takes a millionth of the solid's
    /// diagonal, within 1e-6 and 1e-5.
    double toleranceMm = 0;
};

/// An item on which map and geometry differ, or that geometry can't judge.
struct OracleFinding
{
    Subent item;
    SubentFate fate = SubentFate::kGone;  ///< as the map says
    std::vector<int> mapTargets;
    std::vector<int> geometryTargets;
    bool isBlind = false;  ///< items that lie on one another: geometry allows the map's answer
};

/// What a comparison found.
struct OracleReport
{
    int items = 0;        ///< of the old solid
    int differences = 0;  ///< items whose answer geometry contradicts
    int ambiguous = 0;    ///< items that the map calls ambiguous, and geometry allows
    int blind = 0;        ///< items that geometry can't tell from others in the same place
    std::vector<OracleFinding> findings;
};

/// Compares a map with what points sampled on both solids tell.
///
/// An old and a new item of one kind correspond if they share material: points inside either lie on
/// the other. No history and no map is read to find that. Meant for tests and reports: it takes far
/// longer than the edit.
///
/// \throws KernelError (bad argument) if the map doesn't belong to these solids.
OracleReport compareWithGeometry(const KernelSolid& before, const KernelSolid& after,
                                 const SubentMap& map, const OracleOptions& options = {});

}  // namespace zemhost
