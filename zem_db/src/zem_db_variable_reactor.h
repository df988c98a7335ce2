// The reactor that sits on the variables of constraints.

#pragma once

#include "db/od_db_object.h"

/// A persistent reactor of variables, owned by the constraint manager of its block, which it tells of
/// their changes. Its owner is all that it knows, so it files nothing of its own.
class ZemDbVariableReactor : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbVariableReactor);

public:
    ZemDbVariableReactor();
    ~ZemDbVariableReactor() override;

    /// Hands the variable's value to the manager; -1.0 for an object that is no variable. Nothing
    /// happens while changes are taken back, nor without a manager.
    /// \throws OdError (not open).
    void modified(OdDbObject const* object) override;
    /// Tells the manager that the variable is erased. Bringing it back is not told, nor is anything
    /// while changes are taken back.
    void erased(OdDbObject const* object, bool erasing) override;
};
