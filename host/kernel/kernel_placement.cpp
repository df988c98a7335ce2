#include "kernel/kernel_placement.h"

#include "kernel/kernel_guard_impl.h"
#include "kernel/kernel_solid_impl.h"

#include <BRepBndLib.hxx>
#include <BRepBuilderAPI_GTransform.hxx>
#include <BRepBuilderAPI_Transform.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Vertex.hxx>
#include <gp_Ax3.hxx>
#include <gp_GTrsf.hxx>
#include <gp_Trsf.hxx>

#include <algorithm>
#include <cmath>

namespace zemhost {

namespace {

gp_XYZ turningRow(const KernelPlacement& placement, std::size_t row)
{
    return {placement[row][0], placement[row][1], placement[row][2]};
}

gp_XYZ turningColumn(const KernelPlacement& placement, std::size_t column)
{
    return {placement[0][column], placement[1][column], placement[2][column]};
}

void checkPlacement(const KernelPlacement& placement)
{
    constexpr double kLeastVolume = 1e-12;  // of the three columns, as a share of their box
    bool isUsable = true;
    for (const std::array<double, 4>& row : placement) {
        isUsable = isUsable && std::all_of(row.begin(), row.end(),
                                           [](double value) { return std::isfinite(value); });
    }
    if (isUsable) {
        const gp_XYZ x = turningColumn(placement, 0);
        const gp_XYZ y = turningColumn(placement, 1);
        const gp_XYZ z = turningColumn(placement, 2);
        const double lengths = x.Modulus() * y.Modulus() * z.Modulus();
        isUsable = lengths > 0 && std::abs(x.DotCross(y, z)) > kLeastVolume * lengths;
    }
    if (!isUsable) {
        throw KernelError(KernelFailure::kBadArgument, "",
                          "the placement is not finite or flattens space", "give another one");
    }
}

//--------------------------------------------------------------------------------------------------
// Boxes

struct Range
{
    double least;
    double most;
};

/// How far a solid goes along a direction of any length: least and largest scalar product of its
/// points with the direction.
Range rangeAlong(const KernelSolidImpl& solid, const gp_XYZ& direction)
{
    // In these coordinates the direction is the third axis.
    gp_Trsf toAxis;
    toAxis.SetTransformation(gp_Ax3(gp_Pnt(), gp_Dir(direction)));
    Bnd_Box box;
    BRepBndLib::AddOptimal(solid.shape().Moved(TopLoc_Location(toAxis)), box, Standard_False,
                           Standard_False);
    box.SetGap(0);
    if (box.IsVoid() || box.IsOpen()) {
        throw KernelError(KernelFailure::kDamagedBytes, "", "the solid has no bounds", "");
    }
    const double length = direction.Modulus();
    return {box.CornerMin().Z() * length, box.CornerMax().Z() * length};
}

/// The range of one coordinate of the placed solid if it hangs on one coordinate of the solid alone,
/// as it does for most placements.
bool rangeOfAxis(const KernelBox& box, const gp_XYZ& row, Range& range)
{
    constexpr double kNothing = 1e-15;  // of the largest of the row's three numbers
    const double largest = std::max({std::abs(row.X()), std::abs(row.Y()), std::abs(row.Z())});
    int used = 0;
    for (int axis = 1; axis <= 3; ++axis) {
        const double factor = row.Coord(axis);
        if (std::abs(factor) <= kNothing * largest) {
            continue;
        }
        ++used;
        const auto index = static_cast<std::size_t>(axis) - 1;
        const double first = factor * box.min[index];
        const double second = factor * box.max[index];
        range = {std::min(first, second), std::max(first, second)};
    }
    return used == 1;
}

KernelBox measurePlacedBox(const KernelSolidImpl& solid, const KernelPlacement& placement)
{
    const KernelBox plain = solid.figures().box;
    KernelBox box{};
    for (std::size_t row = 0; row < 3; ++row) {
        const gp_XYZ direction = turningRow(placement, row);
        Range range{};
        if (!rangeOfAxis(plain, direction, range)) {
            range = rangeAlong(solid, direction);
        }
        box.min[row] = range.least + placement[row][3];
        box.max[row] = range.most + placement[row][3];
    }
    return box;
}

//--------------------------------------------------------------------------------------------------
// Solids

/// Whether lengths grow alike in all directions, so that planes, cylinders and circles stay so.
bool isSimilarity(const KernelPlacement& placement)
{
    constexpr double kShare = 1e-9;
    const gp_XYZ x = turningColumn(placement, 0);
    const gp_XYZ y = turningColumn(placement, 1);
    const gp_XYZ z = turningColumn(placement, 2);
    const double square = x.SquareModulus();
    const double most = kShare * square;
    return std::abs(y.SquareModulus() - square) <= most &&
           std::abs(z.SquareModulus() - square) <= most && std::abs(x.Dot(y)) <= most &&
           std::abs(x.Dot(z)) <= most && std::abs(y.Dot(z)) <= most;
}

TopoDS_Shape placedShape(const TopoDS_Shape& shape, const KernelPlacement& placement)
{
    const KernelPlacement& p = placement;
    if (isSimilarity(placement)) {
        gp_Trsf move;
        move.SetValues(p[0][0], p[0][1], p[0][2], p[0][3], p[1][0], p[1][1], p[1][2], p[1][3],
                       p[2][0], p[2][1], p[2][2], p[2][3]);
        return BRepBuilderAPI_Transform(shape, move, /*theCopyGeom=*/Standard_True).Shape();
    }
    gp_GTrsf move;
    for (int row = 1; row <= 3; ++row) {
        for (int column = 1; column <= 4; ++column) {
            const auto at = static_cast<std::size_t>(row) - 1;
            move.SetValue(row, column, p[at][static_cast<std::size_t>(column) - 1]);
        }
    }
    return BRepBuilderAPI_GTransform(shape, move, /*Copy=*/Standard_True).Shape();
}

gp_Pnt placedPoint(const gp_Pnt& point, const KernelPlacement& placement)
{
    gp_XYZ result;
    for (int axis = 1; axis <= 3; ++axis) {
        const auto row = static_cast<std::size_t>(axis) - 1;
        result.SetCoord(axis, turningRow(placement, row).Dot(point.XYZ()) + placement[row][3]);
    }
    return gp_Pnt(result);
}

/// Numbers name parts of solids in drawings, so a result that has others is of no use.
void checkSameNumbers(const KernelSolidImpl& before, const KernelSolidImpl& after,
                      const KernelPlacement& placement)
{
    constexpr double kShare = 1e-6;
    bool isSame = before.numbers().counts() == after.numbers().counts();
    const int count = isSame ? before.numbers().counts().vertices : 0;
    for (int number = 1; number <= count; ++number) {
        const Subent vertex{SubentKind::kVertex, number};
        const gp_Pnt wanted =
            placedPoint(BRep_Tool::Pnt(TopoDS::Vertex(before.item(vertex))), placement);
        const gp_Pnt found = BRep_Tool::Pnt(TopoDS::Vertex(after.item(vertex)));
        isSame = isSame && wanted.Distance(found) <= kShare * (1 + wanted.XYZ().Modulus());
    }
    if (!isSame) {
        throw KernelError(KernelFailure::kEditFailed, "",
                          "the kernel changes the numbers of a solid that it moves",
                          "give a placement that scales all directions alike");
    }
}

}  // namespace

KernelBox placedBox(const KernelSolid& solid, const KernelPlacement& placement)
{
    checkPlacement(placement);
    return guardKernel(KernelFailure::kDamagedBytes, "", "measuring a solid", "",
                       [&] { return measurePlacedBox(KernelSolidImpl::of(solid), placement); });
}

KernelSolid placedSolid(const KernelSolid& solid, const KernelPlacement& placement)
{
    checkPlacement(placement);
    silenceKernel();
    return guardKernel(KernelFailure::kEditFailed, "", "moving a solid", "", [&] {
        const KernelSolidImpl& before = KernelSolidImpl::of(solid);
        KernelSolid result = KernelSolidImpl::fromShape(placedShape(before.shape(), placement));
        checkSameNumbers(before, KernelSolidImpl::of(result), placement);
        return result;
    });
}

}  // namespace zemhost
