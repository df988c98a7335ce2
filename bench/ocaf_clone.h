// The peer's side of the clone benchmark: the same block in an OCAF document, copied by TDF_CopyLabel.
//
// Each entity is a label with the attributes Name, Integer, Real, RealArray of 8 and Reference, and
// has one child label with the same. Entities lie 100 to a parent in three levels, the layout in which
// OCAF is fastest.

#pragma once

#include <cstddef>

namespace bench {

struct OcafCloneFigures
{
    double cloneSeconds = 0;
    double peakMib = 0;
    double wrong = 0;  ///< values of the copy that aren't those of the source, or refer out of it
};

/// Copies a block of `count` entities, without recording for undo.
/// \throws std::runtime_error if OCAF doesn't copy it.
OcafCloneFigures ocafClone(std::size_t count);

}  // namespace bench
