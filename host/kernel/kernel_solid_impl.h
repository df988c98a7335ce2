// The kernel side of a solid: its shape, the numbering maps, and the measured figures.

#pragma once

#include "kernel/item_numbers_impl.h"
#include "kernel/kernel_solid.h"

#include <TopoDS_Shape.hxx>

#include <mutex>
#include <optional>
#include <string>

namespace zemhost {

/// Every figure of a solid that needs geometry; a plain value that travels between processes.
struct SolidFigures
{
    KernelBox box{};
    double volumeMm3 = 0;
    double areaMm2 = 0;
    bool valid = false;
    std::vector<FaceInfo> faces;
    std::vector<EdgeInfo> edges;
    std::vector<VertexInfo> vertices;
};

/// Shape, numbering and figures behind a KernelSolid.
///
/// The shape is always one that the kernel's binary reader made of the payload that is kept beside
/// it, whatever its origin. Writing the shape again would not do: the reader normalises directions
/// and drops equal weights, so that some shapes change in their last bits with every pass.
class KernelSolidImpl
{
public:
    /// Takes over a shape that any operation made, in the form that its bytes give back: a solid, or
    /// a compound of several solids. The numbers are those of `shape`.
    /// \throws KernelError (no solid) for another shape, (damaged bytes) if it does not survive its
    ///         own bytes.
    static KernelSolid fromShape(const TopoDS_Shape& shape);

    /// As KernelSolid::fromBytes, with figures that were measured elsewhere on the same bytes.
    /// \throws KernelError (damaged bytes), also if the figures do not count the same sub-shapes.
    static KernelSolid fromBytes(std::span<const unsigned char> bytes,
                                 std::optional<SolidFigures> figures);

    static const KernelSolidImpl& of(const KernelSolid& solid) { return *solid.m_impl; }
    static std::shared_ptr<const KernelSolidImpl> share(const KernelSolid& solid)
    {
        return solid.m_impl;
    }

    /// Reads the kernel's binary BREP. \throws KernelError (damaged bytes).
    explicit KernelSolidImpl(std::string payload);

    const std::string& payload() const { return m_payload; }

    const TopoDS_Shape& shape() const { return m_shape; }
    const ItemNumbers& numbers() const { return m_numbers; }
    const TopTools_IndexedMapOfShape& items(SubentKind kind) const { return m_numbers.of(kind); }
    const TopoDS_Shape& item(Subent item) const { return m_numbers.item(item); }
    int lumpCount() const;

    /// Measured on the first call. \throws KernelError (damaged bytes).
    const SolidFigures& figures() const;

private:
    SolidFigures measure() const;

    std::string m_payload;
    TopoDS_Shape m_shape;
    ItemNumbers m_numbers;
    mutable std::once_flag m_measured;
    mutable SolidFigures m_figures;
};

}  // namespace zemhost
