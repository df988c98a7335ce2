// The registered names of the module's classes, in the order of their registration.

#pragma once

struct ModuleClass
{
    wchar_t const* name;
    bool isStored;  ///< whether its objects live in drawings
};

inline constexpr ModuleClass kModuleClasses[] = {
    {L"ZemDbConstraint", false},
    {L"ZemDbConstraintManager", true},
    {L"ZemDbConstraintManagerPE", false},
    {L"ZemDbFeatureData", true},
    {L"ZemDbFeatureManager", true},
    {L"ZemDbFeatureManagerPE", false},
    {L"ZemDbFeatureManagerTransaction", false},
    {L"ZemDbObjectDependency", true},
    {L"ZemDbObject", true},
    {L"ZemDbObjectPE", false},
    {L"ZemDbPersIdManager", true},
    {L"ZemDbPersIdManagerPE", false},
    {L"ZemDbSheetMetalContext", true},
    {L"ZemDbSheetMetalContextPE", false},
    {L"ZemDbSheetMetalContextMaterialPE", false},
    {L"ZemFeature", false},
    {L"ZemFeatureColorPE", false},
    {L"ZemFeaturePE", false},
    {L"ZemGroupFeature", false},
    {L"ZemDiffFeature", false},
    {L"ZemVisibilityGroupFeature", false},
    {L"ZemDbFeatureReactor", true},
    {L"ZemDbPersIdReactor", true},
    {L"ZemDbPropertyReactor", true},
    {L"ZemDbExpressionReactor", true},
    {L"ZemDbNamingPolicyPE", false},
    {L"ZemVariableReactor", true},
    {L"ZemPropertiesPE", false},
    {L"ZemDbExtensionData", true},
    {L"ZemTrackingFeature", false},
    {L"ZemDraftingGroupFeature", false},
    {L"ZemUpdateFeatureInterface", false},
    {L"ZemDbAssemblyPE", false},
    {L"ZemAssocVariableExt", false},
    {L"ZemCVUnitInterface", false},
    {L"ZemDbISettings", false},
    {L"ZemModelessOperationWrapper", false},
    {L"ZemDbConfigurationTable", true},
    {L"ZemConfigurationFeature", false},
    {L"ZemDbConfigVarReactor", true},
};
