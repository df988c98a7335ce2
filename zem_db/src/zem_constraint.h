// Constraints: their arguments and the properties they are stored with.

#pragma once

#include "db/od_db_object_id.h"
#include "root/od_rx_class.h"

#include "zem_properties.h"

#include <cstdint>

class OdDbAssocVariable;

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

    /// \name Place in the manager
    /// @{
    /// The manager; null while the constraint is in none.
    OdDbObjectId owner() const noexcept { return m_owner; }
    void setOwner(OdDbObjectId owner) noexcept { m_owner = owner; }
    /// The number under which the manager keeps the constraint; 0 while it is in none.
    std::uint32_t nodeId() const noexcept { return m_nodeId; }
    void setNodeId(std::uint32_t nodeId) noexcept { m_nodeId = nodeId; }
    /// @}

    /// \name Kind
    /// What the host knows of the constraint's kind; false without a manager or the host's help.
    /// @{
    bool isParametric() const;
    bool isLinearDimension() const;
    bool isAngularDimension() const;
    /// @}

    /// \name Variable and value
    /// @{
    double userValue() const noexcept { return m_userValue; }
    /// Sets the value of a constraint that has one by its kind; else nothing happens. The manager, if
    /// there is one, is raised to write.
    void setUserValue(double value);
    /// The variable that the constraint follows; null if there is none.
    OdDbObjectId userVariable() const;
    /// Makes the constraint follow none. The caller has the manager open for write.
    void removeUserVariable();
    /// The constraint that follows a variable, found through the variable's persistent reactors; null
    /// if there is none, or for null. The variable is open for read.
    static OdSmartPtr<ZemConstraint> getDimConstraint(OdDbAssocVariable const* variable);
    /// @}

    /// Puts out the bag; called by the manager's own filing.
    void dwgOutFields(OdDbDwgFiler* filer) const;
    /// Takes in the bag. \return What the bag's reading gives.
    OdResult dwgInFields(OdDbDwgFiler* filer);

private:
    OdDbObjectId m_owner;
    std::uint32_t m_nodeId = 0;
    double m_userValue = 0.0;
    ZemProperties m_properties;
};
