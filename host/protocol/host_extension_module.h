// A module file of the host that attaches extensions to classes of the platform and the module.

#pragma once

#include "root/od_rx_module.h"

#include <tuple>

namespace zemhost {

/// One extension: attaches an `Implementation` of `Protocol` to the class `Target`.
template <class Protocol, class Implementation, class Target>
class HostExtensionOfModule
{
public:
    void attach() { Target::desc()->addX(Protocol::desc(), &m_extension); }
    void detach() { Target::desc()->delX(Protocol::desc()); }

private:
    OdStaticRxObject<Implementation> m_extension;
};

/// As above, for a protocol that only the host knows: registers it too.
template <class Protocol, class Implementation, class Target>
class HostExtension : public HostExtensionOfModule<Protocol, Implementation, Target>
{
public:
    void attach()
    {
        Protocol::rxInit();
        HostExtensionOfModule<Protocol, Implementation, Target>::attach();
    }
    void detach()
    {
        HostExtensionOfModule<Protocol, Implementation, Target>::detach();
        Protocol::rxUninit();
    }
};

/// A class of objects that the file brings.
template <class Class>
class HostClass
{
public:
    void attach() { Class::rxInit(); }
    void detach() { Class::rxUninit(); }
};

/// Attaches its parts in their order for as long as the module is initialised.
template <class... Parts>
class HostExtensionModule : public OdRxModule
{
public:
    void initApp() override
    {
        std::apply([](Parts&... parts) { (parts.attach(), ...); }, m_parts);
    }
    void uninitApp() override { detachFrom<sizeof...(Parts)>(); }

private:
    /// From the last to the first.
    template <std::size_t Count>
    void detachFrom()
    {
        if constexpr (Count != 0) {
            std::get<Count - 1>(m_parts).detach();
            detachFrom<Count - 1>();
        }
    }

    std::tuple<Parts...> m_parts;
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
