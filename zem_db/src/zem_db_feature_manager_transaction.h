// A batch of links that features are to get.

#pragma once

#include "root/od_rx_class.h"

/// Gathers the paths that features are to depend on. Reference counted and in no database.
class ZemDbFeatureManagerTransaction : public OdRxObject
{
    RX_DECLARE_CLASS(ZemDbFeatureManagerTransaction);

public:
    ~ZemDbFeatureManagerTransaction() override;
};
