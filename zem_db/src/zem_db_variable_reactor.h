// The reactor that sits on the variables of constraints.

#pragma once

#include "db/od_db_object.h"

/// A persistent reactor of variables, owned by the constraint manager of its block; its owner is all
/// that it knows, so it files nothing of its own.
class ZemDbVariableReactor : public OdDbObject
{
    RX_DECLARE_CLASS(ZemDbVariableReactor);

public:
    ZemDbVariableReactor();
    ~ZemDbVariableReactor() override;
};
