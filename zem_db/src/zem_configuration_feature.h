// The feature that ties a design table to the variables of a block.

#pragma once

#include "zem_db_feature_reactor.h"
#include "zem_feature.h"

/// Puts the rows of a design table into the variables of its block.
class ZemConfigurationFeature : public ZemFeature
{
    RX_DECLARE_CLASS(ZemConfigurationFeature);

public:
    ~ZemConfigurationFeature() override;
};

/// Links one column of a design table to one variable.
class ZemDbConfigVarReactor : public ZemDbFeatureReactor
{
    RX_DECLARE_CLASS(ZemDbConfigVarReactor);

public:
    ZemDbConfigVarReactor();
    ~ZemDbConfigVarReactor() override;
};
