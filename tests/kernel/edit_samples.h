// Solids and small helpers for the tests of edits.

#pragma once

#include "kernel/geometry_oracle.h"
#include "kernel/kernel_edit.h"

#include <optional>
#include <vector>

namespace kernel_test {

/// Edits in this process, for speed.
zemhost::EditOptions inThisProcess();

/// An L-shaped bracket: a base of 100 x 60 x 12 mm, a wall of 12 x 60 x 60 mm, two rounded corners.
zemhost::KernelSolid makeBracket();

/// The bracket's recipe, with four holes of 8 mm in the base.
zemhost::Recipe bracketRecipe();

/// The items of a kind whose marks lie at a point.
std::vector<int> itemsAt(const zemhost::KernelSolid& solid, zemhost::SubentKind kind,
                         const zemhost::KernelPoint& point);

/// The one item there. \throws std::logic_error if there is none, or are several.
int itemAt(const zemhost::KernelSolid& solid, zemhost::SubentKind kind,
           const zemhost::KernelPoint& point);

/// Faces of a kind of surface.
std::vector<int> facesOf(const zemhost::KernelSolid& solid, zemhost::SurfaceKind kind);

/// The failure that a piece of work ends in.
template <typename Work>
std::optional<zemhost::KernelFailure> failureOf(const Work& work)
{
    try {
        work();
    } catch (const zemhost::KernelError& error) {
        return error.failure();
    }
    return std::nullopt;
}

/// How many items of all kinds have a fate.
int countOf(const zemhost::SubentMap& map, zemhost::SubentFate fate);

}  // namespace kernel_test
