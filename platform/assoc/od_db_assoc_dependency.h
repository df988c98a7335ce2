// Dependencies: what ties an action to an object that it depends on.

#pragma once

#include "db/od_db_object.h"

/// One object that an action depends on. The action owns the dependency, and the dependency sits
/// among the persistent reactors of the object.
///
/// Erasing a dependency takes it off the object; bringing it back puts it there again.
class OdDbAssocDependency : public OdDbObject
{
    RX_DECLARE_CLASS(OdDbAssocDependency);

public:
    OdDbAssocDependency();
    ~OdDbAssocDependency() override;

    /// The object that the action depends on; null if the dependency is attached to none.
    OdDbObjectId dependentOnObject() const;
    /// The action; null if the owner is none.
    OdDbObjectId owningAction() const;
    /// Attaches the dependency to an object of its database, instead of what it was attached to.
    /// \return 0; (not in database) for a dependency in none, (bad input) for an id that can't be
    ///         opened or is of another database. Nothing has changed then.
    OdResult attachDependentOnObject(OdDbObjectId object);
    /// Takes the dependency off the object.
    void detachDependentOnObject();

    OdResult subErase(bool erasing) override;
    /// As the base; the clone sits at the object as well.
    void cloneFinished(OdDbIdMapping& mapping) override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    /// A copy of a dependency is attached to nothing. One of a database takes nothing over: the
    /// objects know who depends on them.
    /// \throws OdError (not applicable) for a dependency of a database.
    void copyFrom(OdRxObject const* source) override;

protected:
    void requireReferencesIn(OdDbDatabase const& database) const override;

private:
    void listAtObject(bool listed) const;

    OdDbObjectId m_object;
};

using OdDbAssocDependencyPtr = OdSmartPtr<OdDbAssocDependency>;

/// A dependency on the value of an object: that of a variable whose expression names another one.
class OdDbAssocValueDependency : public OdDbAssocDependency
{
    RX_DECLARE_CLASS(OdDbAssocValueDependency);

public:
    OdDbAssocValueDependency();
    ~OdDbAssocValueDependency() override;
    static OdSmartPtr<OdDbAssocValueDependency> createObject();
};

using OdDbAssocValueDependencyPtr = OdSmartPtr<OdDbAssocValueDependency>;
