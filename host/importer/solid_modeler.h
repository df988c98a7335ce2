// The kernel's solids as bodies that the platform measures, draws and moves.

#pragma once

#include "db/od_db_3d_solid.h"
#include "kernel/kernel_display.h"
#include "kernel/kernel_solid.h"

#include <list>
#include <memory>
#include <optional>

namespace zemhost {

/// OdDb3dSolidModeler for the kernel's stored solids.
///
/// A drawing asks for one part at a time, so the solids asked for last are kept with their lines and
/// triangles; bytes that can't be read are remembered too. Used on one thread, as objects are.
class SolidModeler : public OdDb3dSolidModeler
{
public:
    bool knowsFormat(OdString const& format) const override;
    OdResult count(OdString const& format, OdBinaryData const& body,
                   OdDb3dSolid::Counts& counts) const override;
    OdResult extents(OdDb3dSolid const& solid, OdGeExtents3d& extents) const override;
    OdResult drawPart(OdDb3dSolid const& solid, OdDbSubentId part,
                      OdGiWorldDraw& worldDraw) const override;
    OdResult transform(OdString const& format, OdBinaryData const& body,
                       OdGeMatrix3d const& placement, OdBinaryData& result) const override;

private:
    struct KnownBody
    {
        OdBinaryData bytes;                ///< shared with the solid, and so alive as long as this
        std::optional<KernelSolid> solid;  ///< none for bytes that can't be read
        double deviation = 0;              ///< of the display, in millimetres
        std::optional<SolidDisplay> display;
    };

    KnownBody& bodyOf(OdBinaryData const& bytes) const;
    SolidDisplay const& displayOf(OdBinaryData const& bytes, double deviation) const;

    mutable std::list<KnownBody> m_bodies;  ///< the latest first
};

}  // namespace zemhost
