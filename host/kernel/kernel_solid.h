// A solid of the modelling kernel with numbered faces, edges and vertices.

#pragma once

#include "kernel/kernel_error.h"
#include "kernel/subent_map.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace zemhost {

class KernelSolidImpl;

/// A point in space, in millimetres.
using KernelPoint = std::array<double, 3>;

/// An axis-parallel box, in millimetres; both corners belong to it.
struct KernelBox
{
    KernelPoint min;
    KernelPoint max;
};

/// Kind of the surface that carries a face. Stored: the numbers never change.
enum class SurfaceKind : std::uint8_t
{
    kPlane = 0,
    kCylinder = 1,
    kCone = 2,
    kSphere = 3,
    kTorus = 4,
    kBezier = 5,
    kBspline = 6,
    kRevolution = 7,
    kExtrusion = 8,
    kOffset = 9,
    kOther = 10,
};

/// Kind of the curve that carries an edge. Stored: the numbers never change.
enum class CurveKind : std::uint8_t
{
    kLine = 0,
    kCircle = 1,
    kEllipse = 2,
    kHyperbola = 3,
    kParabola = 4,
    kBezier = 5,
    kBspline = 6,
    kOffset = 7,
    kOther = 8,
    kDegenerated = 9,  ///< no curve in space: the tip of a cone, the pole of a sphere
};

/// What the kernel tells of one face.
struct FaceInfo
{
    SurfaceKind kind;
    double areaMm2;
};

/// What the kernel tells of one edge.
struct EdgeInfo
{
    CurveKind kind;
    double lengthMm;  ///< 0 for a degenerated edge
};

/// What the kernel tells of one vertex.
struct VertexInfo
{
    KernelPoint point;
};

/// Lower-case word for a kind, as shown to users: "plane", "cylinder".
std::string_view surfaceKindName(SurfaceKind kind);
std::string_view curveKindName(CurveKind kind);

/// One solid, with its faces, edges and vertices numbered from 1.
///
/// An import makes solids of one lump each; an edit may leave several lumps, such as a cut that goes
/// through, which stay one solid with one numbering.
///
/// A value: copies share one immutable shape. The numbers follow the order in which the kernel
/// walks the shape, each sub-shape counted once; they are the same after toBytes and fromBytes, in
/// every process. Lengths are millimetres.
///
/// May be read from several threads at once. Figures that need geometry (box, volume, area,
/// validity, sub-shape information) are computed together on the first question and kept; a solid
/// that comes from an import brings them along.
class KernelSolid
{
public:
    /// A box from the origin to (`dx`, `dy`, `dz`), in millimetres.
    /// \throws KernelError (bad argument) unless all three are finite and above 1e-7.
    static KernelSolid makeBox(double dx, double dy, double dz);

    /// An upright cylinder on the origin, in millimetres.
    /// \throws KernelError (bad argument) unless both are finite and above 1e-7.
    static KernelSolid makeCylinder(double radius, double height);

    /// \name Stored form
    /// @{

    /// The solid as bytes: the same bytes for the same solid in every process, without display
    /// triangulation.
    ///
    /// Layout: 8 bytes mark "ZEMSOLID", 4 bytes version 1, 4 bytes CRC-32 of the payload, 8 bytes
    /// length of the payload, all little-endian; then the payload, the kernel's binary BREP.
    std::vector<unsigned char> toBytes() const;

    /// The solid that toBytes wrote; reading and writing again gives the same bytes.
    ///
    /// Any cut or change is found by length and checksum before the kernel sees the bytes. Bytes
    /// that somebody forged with a right checksum reach the kernel's reader inside this process:
    /// read those with readUntrustedBytes.
    /// \throws KernelError (damaged bytes).
    static KernelSolid fromBytes(std::span<const unsigned char> bytes);

    /// @}
    /// \name Sub-shapes
    ///
    /// Numbers run from 1 to the count, both included.
    /// \throws KernelError (bad argument) for another number; (damaged bytes) if the geometry
    ///         cannot be measured.
    /// @{

    int faceCount() const;
    int edgeCount() const;
    int vertexCount() const;

    SubentCounts counts() const;

    FaceInfo face(int number) const;
    EdgeInfo edge(int number) const;
    VertexInfo vertex(int number) const;

    /// @}
    /// \name Whole solid
    /// \throws KernelError (damaged bytes) if the geometry cannot be measured.
    /// @{

    /// How many separate lumps the solid has.
    int lumpCount() const;

    /// Smallest box of the geometry, without tolerances.
    KernelBox boundingBox() const;

    /// Volume in cubic millimetres; negative for a solid turned inside out.
    double volumeMm3() const;

    /// Area of all faces in square millimetres.
    double areaMm2() const;

    /// True if the kernel's check finds no fault: closed, edges on their faces, no bad tolerance.
    bool isValid() const;

    /// @}

private:
    friend class KernelSolidImpl;

    explicit KernelSolid(std::shared_ptr<const KernelSolidImpl> impl);

    std::shared_ptr<const KernelSolidImpl> m_impl;
};

}  // namespace zemhost
