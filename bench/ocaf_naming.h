// The peer's side of the naming benchmark: TNaming of OCAF on the plate with holes and a slot.
//
// Every face, edge and vertex is named by a TNaming_Selector, the plate is made again on the same
// labels, and every name is solved. The history of each boolean is recorded with a label for each
// face that it touches, the layout in which TNaming loses least; each hole keeps its label.

#pragma once

#include "support/plate_truth.h"

#include <array>

namespace bench {

struct OcafNamingFigures
{
    std::array<plate_truth::Verdict, 3> verdicts;  ///< faces, edges, vertices
    std::array<double, 3> secondsOfItem{};         ///< Select and Solve of one
    double booleanSeconds = 0;                     ///< of making the plate again
};

/// Names all items of a plate, changes it and solves the names.
/// \throws std::runtime_error if a plate can't be made.
OcafNamingFigures ocafNaming(const plate_truth::PlateEdit& edit);

}  // namespace bench
