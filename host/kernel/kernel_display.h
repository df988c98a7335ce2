// Solids as straight lines and triangles, to be drawn.

#pragma once

#include "kernel/kernel_solid.h"

#include <array>
#include <memory>
#include <vector>

namespace zemhost {

class KernelSolidImpl;

/// A face as triangles.
struct FaceMesh
{
    std::vector<KernelPoint> points;

    /// Positions in `points`, from 0 on; anticlockwise for who looks at the solid from outside.
    std::vector<std::array<int, 3>> triangles;
};

/// A solid cut into straight lines and triangles, which meet along edges without gaps.
///
/// A value: copies share one immutable content. May be read from several threads at once.
class SolidDisplay
{
public:
    /// Cuts the whole solid, once.
    ///
    /// \param deviationMm  How far lines and triangles may lie off the solid; 0 or less, or not
    ///                     finite, takes a thousandth of the solid's diagonal. Never finer than a
    ///                     hundred-thousandth of it.
    /// \throws KernelError (damaged bytes) if the kernel can't do it.
    explicit SolidDisplay(const KernelSolid& solid, double deviationMm = 0);

    /// \name Sub-shapes
    /// \throws KernelError (bad argument) for a number that the solid doesn't have.
    /// @{

    /// Empty for a face that the kernel finds no triangles for.
    FaceMesh face(int number) const;

    /// Points along an edge, from one end to the other; none for an edge without a curve.
    std::vector<KernelPoint> edge(int number) const;

    KernelPoint vertex(int number) const;

    /// @}

private:
    std::shared_ptr<const KernelSolidImpl> m_meshed;
};

}  // namespace zemhost
