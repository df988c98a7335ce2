// Actions: objects of a network whose state follows from other objects.

#pragma once

#include "db/od_db_object.h"

#include <memory>

class OdDbAssocNetworkState;

/// What an action does, as an object of its own that the action owns. Bodies derive from this one.
class OdDbAssocActionBody : public OdDbObject
{
    RX_DECLARE_CLASS(OdDbAssocActionBody);

public:
    OdDbAssocActionBody();
    ~OdDbAssocActionBody() override;
};

/// The body of an action that arranges copies of objects. What it does is up to the host.
class OdDbAssocArrayActionBody : public OdDbAssocActionBody
{
    RX_DECLARE_CLASS(OdDbAssocArrayActionBody);

public:
    OdDbAssocArrayActionBody();
    ~OdDbAssocArrayActionBody() override;
};

/// An object that depends on others: it owns a dependency for each of them, and belongs to a network.
///
/// The owner of an action is its network. Erasing an action erases its dependencies with it, and
/// bringing it back brings them back.
class OdDbAssocAction : public OdDbObject
{
    RX_DECLARE_CLASS(OdDbAssocAction);

public:
    OdDbAssocAction();
    ~OdDbAssocAction() override;

    /// \name Surroundings
    /// @{
    /// The network that owns the action; null if none does.
    OdDbObjectId owningNetwork() const;
    /// The object whose extension dictionary holds the network that the action belongs to, directly
    /// or through other networks; null if there is none.
    OdDbObjectId objectThatOwnsNetworkInstance() const;
    /// @}

    /// \name Dependencies
    /// @{
    /// Gives the living dependencies, in the order in which they were added.
    ///
    /// \param read, write  Which kinds are wanted; all dependencies are of the first kind.
    /// \return 0 always.
    OdResult getDependencies(bool read, bool write, OdDbObjectIdArray& dependencies) const;
    /// Adds a dependency, which gets this action as its owner. One that is listed stays.
    /// \return 0; (bad input) for an id that is no dependency of this database.
    OdResult addDependency(OdDbObjectId dependency);
    /// Takes all dependencies off what they depend on and out of the action. Those that the action
    /// lists without owning them, as a clone does until its references are final, only leave its list.
    /// \param alsoErase  Whether they are erased.
    OdResult removeAllDependencies(bool alsoErase);
    /// @}

    /// \name Body
    /// @{
    /// The body; null if there is none or it is erased.
    OdDbObjectId actionBody() const;
    /// Sets the body, which the action owns from then on; null for none.
    /// \return 0; (bad input) for an id that is no body of this database.
    OdResult setActionBody(OdDbObjectId body);
    /// @}

    OdResult subErase(bool erasing) override;
    /// As the base; a network lists the clone.
    void appendToOwner(OdDbIdPair& pair, OdDbObject* owner, OdDbIdMapping& mapping) override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    /// An action of a database has no copy: its dependencies are its own.
    /// \throws OdError (not applicable) for one.
    void copyFrom(OdRxObject const* source) override;

protected:
    friend class OdDbAssocNetwork;
    friend class OdDbAssocNetworkState;

    /// All dependencies, erased ones included. Change them behind `assertWriteEnabled`.
    OdDbObjectIdArray const& dependencies() const noexcept { return m_dependencies; }
    void setDependencies(OdDbObjectIdArray const& ids) { m_dependencies = ids; }
    /// What the owning network knows of its actions in memory; null if the action is in none, or if
    /// the network hasn't met it yet.
    OdDbAssocNetworkState* networkState() const noexcept;
    /// The same; asks the network if it hasn't met this action yet.
    OdDbAssocNetworkState* findNetworkState() const;
    void setNetworkState(std::shared_ptr<OdDbAssocNetworkState> state) const noexcept
    {
        m_network = std::move(state);
    }
    /// Told when a network has taken the action in.
    virtual void joinedNetwork();

private:
    OdDbObjectPtr openOwn(OdDbObjectId dependency, bool openErased) const;

    OdDbObjectIdArray m_dependencies;
    OdDbObjectId m_body;
    /// Derived; of a network that was the owner once, if undo has taken a move back.
    mutable std::shared_ptr<OdDbAssocNetworkState> m_network;
};

using OdDbAssocActionPtr = OdSmartPtr<OdDbAssocAction>;

/// Whether a filer keeps what is erased, so that it can come back.
bool odDbAssocKeepsErased(OdDbDwgFiler const& filer);
/// Whether an id names an object of a class derived from `cls`; loads nothing.
bool odDbAssocIsOfClass(OdDbObjectId id, OdRxClass const* cls);
