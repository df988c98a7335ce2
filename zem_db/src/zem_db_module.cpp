#include "zem_db_module.h"

#include "db/od_db_3d_solid.h"

#include "zem_assoc_variable_ext.h"
#include "zem_configuration_feature.h"
#include "zem_constraint.h"
#include "zem_db_configuration_table.h"
#include "zem_db_constraint_manager.h"
#include "zem_db_extension_data.h"
#include "zem_db_feature_manager.h"
#include "zem_db_feature_manager_transaction.h"
#include "zem_db_feature_reactor.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager.h"
#include "zem_db_sheet_metal_context.h"
#include "zem_db_variable_reactor.h"
#include "zem_feature.h"
#include "zem_group_feature.h"
#include "zem_protocol_extensions.h"

#include <iterator>

namespace {

struct ClassInitializer
{
    void (*rxInit)();
    void (*rxUninit)();
};

template <class T>
constexpr ClassInitializer initializerOf()
{
    return {&T::rxInit, &T::rxUninit};
}

/// The classes of the module in the order of their registration: each stands behind its base.
constexpr ClassInitializer s_initializers[] = {
    initializerOf<ZemConstraint>(),
    initializerOf<ZemDbConstraintManager>(),
    initializerOf<ZemDbConstraintManagerPE>(),
    initializerOf<ZemDbFeatureData>(),
    initializerOf<ZemDbFeatureManager>(),
    initializerOf<ZemDbFeatureManagerPE>(),
    initializerOf<ZemDbFeatureManagerTransaction>(),
    initializerOf<ZemDbObjectDependency>(),
    initializerOf<ZemDbObject>(),
    initializerOf<ZemDbObjectPE>(),
    initializerOf<ZemDbPersIdManager>(),
    initializerOf<ZemDbPersIdManagerPE>(),
    initializerOf<ZemDbSheetMetalContext>(),
    initializerOf<ZemDbSheetMetalContextPE>(),
    initializerOf<ZemDbSheetMetalContextMaterialPE>(),
    initializerOf<ZemFeature>(),
    initializerOf<ZemFeatureColorPE>(),
    initializerOf<ZemFeaturePE>(),
    initializerOf<ZemGroupFeature>(),
    initializerOf<ZemDiffFeature>(),
    initializerOf<ZemVisibilityGroupFeature>(),
    initializerOf<ZemDbFeatureReactor>(),
    initializerOf<ZemDbPersIdReactor>(),
    initializerOf<ZemDbPropertyReactor>(),
    initializerOf<ZemDbExpressionReactor>(),
    initializerOf<ZemDbNamingPolicyPE>(),
    initializerOf<ZemDbVariableReactor>(),
    initializerOf<ZemPropertiesPE>(),
    initializerOf<ZemDbExtensionData>(),
    initializerOf<ZemTrackingFeature>(),
    initializerOf<ZemDraftingGroupFeature>(),
    initializerOf<ZemUpdateFeatureInterface>(),
    initializerOf<ZemDbAssemblyPE>(),
    initializerOf<ZemAssocVariableExt>(),
    initializerOf<ZemCVUnitInterface>(),
    initializerOf<ZemDbISettings>(),
    initializerOf<zemu::ZemModelessOperationWrapper>(),
    initializerOf<ZemDbConfigurationTable>(),
    initializerOf<ZemConfigurationFeature>(),
    initializerOf<ZemDbConfigVarReactor>(),
};

OdRxUnixModule<ZemDbModule, ZemDbModule>* g_pSingletonModule = nullptr;

}  // namespace

ZemDbModule::~ZemDbModule()
{
    // The solids' class would keep a pointer into a module that was deleted without `uninitApp`.
    OdRxOverrule::removeOverrule(OdDb3dSolid::desc(), &m_solidDrawOverrule);
}

void ZemDbModule::initApp()
{
    for (ClassInitializer const& initializer : s_initializers) {
        initializer.rxInit();
    }
    OdRxOverrule::addOverrule(OdDb3dSolid::desc(), &m_solidDrawOverrule, /*atEnd=*/false);
}

void ZemDbModule::uninitApp()
{
    OdRxOverrule::removeOverrule(OdDb3dSolid::desc(), &m_solidDrawOverrule);
    for (auto at = std::rbegin(s_initializers); at != std::rend(s_initializers); ++at) {
        at->rxUninit();
    }
}

OD_MODULE_ENTRY_POINT OdRxModule* odrxCreateModuleObject(void* sysData, wchar_t const* moduleName)
{
    if (g_pSingletonModule == nullptr) {
        g_pSingletonModule = new OdRxUnixModule<ZemDbModule, ZemDbModule>(sysData, moduleName);
    }
    return g_pSingletonModule;
}

OD_MODULE_ENTRY_POINT void odrxGetAPIVersion(int* major, int* minor, int* majorBuild,
                                             int* minorBuild)
{
    *major = kOdApiVersion[0];
    *minor = kOdApiVersion[1];
    *majorBuild = kOdApiVersion[2];
    *minorBuild = kOdApiVersion[3];
}

OD_MODULE_ENTRY_POINT void deleteModuleObject()
{
    g_pSingletonModule = nullptr;
}
