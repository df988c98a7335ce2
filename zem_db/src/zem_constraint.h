// Constraints: their arguments and the properties they are stored with.

#pragma once

#include "db/od_db_subent.h"
#include "root/od_rx_class.h"

#include "zem_properties.h"

#include <cstdint>
#include <vector>

class OdDbAssocVariable;
class OdDbDatabase;

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

/// One argument of a constraint by the place that it leads to. A value.
struct ZemExtendedPath
{
    OdDbFullSubentPath path;  ///< empty where the argument is a part of the block's own system
    ECoordinateSystemObject csType = kCsNone;
    bool isCsObject = false;
};

using ZemExtendedPathArray = std::vector<ZemExtendedPath>;
using ZemSubentPaths = std::vector<OdDbFullSubentPath>;

/// A geometric or dimensional constraint of a block.
///
/// Reference counted and in no database: its manager holds it and files it, so what changes it
/// needs the manager, if there is one, where it can be opened for write.
class ZemConstraint : public OdRxObject
{
    RX_DECLARE_CLASS(ZemConstraint);

public:
    /// What a manager is told of a change.
    enum NotifyCode : int
    {
        kBeforeChange = 0,
        kChangeComplete = 1,
        kSolutionChanged = 2  ///< has been changed in what is to be solved
    };
    /// Kinds from 1 to this one are valid; 0 is one that this version doesn't know.
    static constexpr std::int32_t kLastKind = 15;

    ZemConstraint();
    ~ZemConstraint() override;

    ZemProperties& properties() noexcept { return m_properties; }
    ZemProperties const& properties() const noexcept { return m_properties; }

    /// \name Place in the manager
    /// @{
    /// The manager; null while the constraint is in none.
    OdDbObjectId owner() const noexcept { return m_owner; }
    void setOwner(OdDbObjectId owner) noexcept { m_owner = owner; }
    /// The database of the manager; null while the constraint is in none.
    OdDbDatabase* database() const noexcept { return m_owner.database(); }
    /// The number under which the manager keeps the constraint; 0 while it is in none.
    std::uint32_t nodeId() const noexcept { return m_nodeId; }
    void setNodeId(std::uint32_t nodeId) noexcept { m_nodeId = nodeId; }
    /// @}

    /// \name Kind
    /// @{
    std::int32_t type() const noexcept { return m_type; }
    void setType(std::int32_t type);
    bool isEnabled() const noexcept { return m_isEnabled; }
    void setEnabled(bool enabled);
    OdString name() const { return m_name; }
    void setName(OdString const& name);
    /// What the host knows of the constraint's kind; false without a manager or the host's help.
    bool isParametric() const;
    bool isLinearDimension() const;
    bool isAngularDimension() const;
    /// Whether this version knows all that the constraint says.
    bool isSupportedVersion() const;
    /// Takes a value out of the bag; the manager is told if there was one.
    void removeProperty(OdString const& key);
    /// @}

    /// \name Arguments
    /// @{
    std::size_t getArgumentsCount() const noexcept { return m_dependencies.size(); }
    std::vector<ExtendedDep> dependencies() const;
    void setDependencies(std::vector<ExtendedDep> const& dependencies);
    /// Where the links lead, those that can't be resolved as far as they can be; an empty path for
    /// an argument without a link. A broken argument is reported as a failed assertion.
    ZemSubentPaths getArguments() const;
    ZemExtendedPathArray getExtArguments() const;
    /// Whether every link can be opened and resolved.
    bool isValid() const;
    /// @}

    /// \name Variable and value
    /// @{
    double userValue() const noexcept { return m_userValue; }
    /// Sets the value of a constraint that has one by its kind; else nothing happens. The manager,
    /// if there is one, is raised to write.
    void setUserValue(double value);
    /// The variable that the constraint follows; null if there is none.
    OdDbObjectId userVariable() const;
    /// Makes the constraint follow none. The caller has the manager open for write.
    void removeUserVariable();
    /// The expression of the variable; the value as an expression for a constraint that follows
    /// none.
    OdString userExpression() const;
    /// Makes a constraint that has a value by its kind follow a variable of its block: one of its
    /// own name, which gets the value, or the one that has that name already. One that follows a
    /// variable takes the variable's value. The manager is raised to write.
    /// \throws OdError (class not registered).
    void createVariable();
    /// The constraint that follows a variable, found through the variable's persistent reactors;
    /// null if there is none, or for null. The variable is open for read.
    static OdSmartPtr<ZemConstraint> getDimConstraint(OdDbAssocVariable const* variable);
    /// @}

    /// Tells the manager, which is opened for write, of a change. With a change that is complete,
    /// the oldest version that can read the constraint is stored with it.
    void signalModification(NotifyCode code);

    /// Puts out the fields; called by the manager's own filing.
    void dwgOutFields(OdDbDwgFiler* filer) const;
    /// Takes in the fields.
    /// \return What the bag's reading gives; (bad stream) for a newer form.
    /// \throws OdError (bad stream) for malformed content.
    OdResult dwgInFields(OdDbDwgFiler* filer);

private:
    void mapProperties();
    void setValue(double value);
    void decideLowestSoftVersionCode();
    OdResult readBag(OdDbDwgFiler& filer, int version);
    void readRefCsTypes();
    std::int32_t writtenType() const;

    OdDbObjectId m_owner;
    OdDbObjectIdArray m_dependencies;        ///< a link for each argument, or null
    std::vector<std::int32_t> m_refCsTypes;  ///< for each argument, `kCsNone` for a plain link
    OdString m_name;
    double m_userValue = 0.0;
    std::int32_t m_auxValue = 0;  ///< stored for hosts; nothing here reads it
    std::int32_t m_type = 0;
    std::uint32_t m_nodeId = 0;
    bool m_isEnabled = true;
    ZemProperties m_properties;
};
