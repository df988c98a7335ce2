#include "zem_group_feature.h"

RX_DEFINE_CLASS(ZemGroupFeature, ZemFeature, odrxCreate<ZemGroupFeature>, L"ZemGroupFeature");
RX_DEFINE_CLASS(ZemDiffFeature, ZemGroupFeature, odrxCreate<ZemDiffFeature>, L"ZemDiffFeature");
RX_DEFINE_CLASS(ZemVisibilityGroupFeature, ZemGroupFeature, odrxCreate<ZemVisibilityGroupFeature>,
                L"ZemVisibilityGroupFeature");
RX_DEFINE_CLASS(ZemTrackingFeature, ZemFeature, odrxCreate<ZemTrackingFeature>,
                L"ZemTrackingFeature");
RX_DEFINE_CLASS(ZemDraftingGroupFeature, ZemFeature, odrxCreate<ZemDraftingGroupFeature>,
                L"ZemDraftingGroupFeature");

ZemGroupFeature::~ZemGroupFeature() = default;

ZemDiffFeature::~ZemDiffFeature() = default;

ZemVisibilityGroupFeature::~ZemVisibilityGroupFeature() = default;

ZemTrackingFeature::~ZemTrackingFeature() = default;

ZemDraftingGroupFeature::~ZemDraftingGroupFeature() = default;
