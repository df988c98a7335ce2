// A module file of the host that attaches one extension to one class of the platform.

#pragma once

#include "root/od_rx_module.h"

namespace zemhost {

/// Registers `Protocol` and attaches an `Implementation` of it to the class `Target`, for as long as
/// the module is initialised. `Protocol` is known to the program, `Implementation` only to the
/// module's file.
template <class Protocol, class Implementation, class Target>
class HostExtensionModule : public OdRxModule
{
public:
    void initApp() override
    {
        Protocol::rxInit();
        Target::desc()->addX(Protocol::desc(), &m_extension);
    }

    void uninitApp() override
    {
        Target::desc()->delX(Protocol::desc());
        Protocol::rxUninit();
    }

private:
    OdStaticRxObject<Implementation> m_extension;
};

/// The entry points of the file that holds `Module`, which is one of the above.
#define ZEMHOST_DEFINE_MODULE(Module)                                                              \
    namespace {                                                                                    \
    OdRxUnixModule<Module, Module>* g_pSingletonModule = nullptr;                                  \
    }                                                                                              \
    OD_MODULE_ENTRY_POINT OdRxModule* odrxCreateModuleObject(void* sysData,                        \
                                                             wchar_t const* moduleName)            \
    {                                                                                              \
        if (g_pSingletonModule == nullptr) {                                                       \
            g_pSingletonModule = new OdRxUnixModule<Module, Module>(sysData, moduleName);          \
        }                                                                                          \
        return g_pSingletonModule;                                                                 \
    }                                                                                              \
    OD_MODULE_ENTRY_POINT void odrxGetAPIVersion(int* major, int* minor, int* majorBuild,          \
                                                 int* minorBuild)                                  \
    {                                                                                              \
        *major = kOdApiVersion[0];                                                                 \
        *minor = kOdApiVersion[1];                                                                 \
        *majorBuild = kOdApiVersion[2];                                                            \
        *minorBuild = kOdApiVersion[3];                                                            \
    }                                                                                              \
    OD_MODULE_ENTRY_POINT void deleteModuleObject()                                                \
    {                                                                                              \
        g_pSingletonModule = nullptr;                                                              \
    }                                                                                              \
    static_assert(true, "takes the semicolon")

}  // namespace zemhost
