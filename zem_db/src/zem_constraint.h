// Constraints: their arguments and the properties they are stored with.

#pragma once

#include "db/od_db_object_id.h"
#include "root/od_rx_class.h"

#include "zem_properties.h"

/// Parts of a coordinate system that a constraint can be tied to. The numbers are stored; hosts may
/// use others.
enum ECoordinateSystemObject : std::int32_t
{
    kCsNone = -1,  ///< no part of a coordinate system
    kCsOrigin = 0,
    kCsXAxis = 1,
    kCsYAxis = 2,
    kCsZAxis = 3,
    kCsXYPlane = 4,
    kCsYZPlane = 5,
    kCsZXPlane = 6
};

/// One argument of a constraint: a link, a part of a coordinate system, or a part of the coordinate
/// system of what the link names. A value.
struct ExtendedDep
{
    OdDbObjectId id;  ///< the link; null where the argument is a part of the block's own system
    bool isCsObject = false;
    ECoordinateSystemObject csType = kCsNone;
};

/// A geometric or dimensional constraint of a block.
///
/// Reference counted and in no database: its manager holds it and files it.
class ZemConstraint : public OdRxObject
{
    RX_DECLARE_CLASS(ZemConstraint);

public:
    ZemConstraint();
    ~ZemConstraint() override;

    ZemProperties& properties() noexcept { return m_properties; }
    ZemProperties const& properties() const noexcept { return m_properties; }

    /// Puts out the bag; called by the manager's own filing.
    void dwgOutFields(OdDbDwgFiler* filer) const;
    /// Takes in the bag. \return What the bag's reading gives.
    OdResult dwgInFields(OdDbDwgFiler* filer);

private:
    ZemProperties m_properties;
};
