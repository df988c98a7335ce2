// Features that group others, or track what they are made of.

#pragma once

#include "zem_feature.h"

/// A feature that groups parts of the model.
class ZemGroupFeature : public ZemFeature
{
    RX_DECLARE_CLASS(ZemGroupFeature);

public:
    ~ZemGroupFeature() override;
};

/// A group of what one state of the model differs in from another.
class ZemDiffFeature : public ZemGroupFeature
{
    RX_DECLARE_CLASS(ZemDiffFeature);

public:
    ~ZemDiffFeature() override;
};

/// A group whose parts are shown and hidden together.
class ZemVisibilityGroupFeature : public ZemGroupFeature
{
    RX_DECLARE_CLASS(ZemVisibilityGroupFeature);

public:
    ~ZemVisibilityGroupFeature() override;
};

/// A feature that follows an item of the model.
class ZemTrackingFeature : public ZemFeature
{
    RX_DECLARE_CLASS(ZemTrackingFeature);

public:
    ~ZemTrackingFeature() override;
};

/// A group of the objects of a drafting view.
class ZemDraftingGroupFeature : public ZemFeature
{
    RX_DECLARE_CLASS(ZemDraftingGroupFeature);

public:
    ~ZemDraftingGroupFeature() override;
};
