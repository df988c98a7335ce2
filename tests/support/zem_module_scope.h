// The platform and the module's classes for as long as a test runs, for programs that link the module.

#pragma once

#include "assoc/od_platform.h"
#include "db/od_db_platform.h"
#include "root/od_rx_module.h"

/// Starts the platform, makes the module object and initialises it; takes all back at its end.
class ZemModuleScope
{
public:
    ZemModuleScope() : m_module(odrxCreateModuleObject(nullptr, L"zem_db")) { m_module->initApp(); }
    ZemModuleScope(ZemModuleScope const&) = delete;
    ZemModuleScope& operator=(ZemModuleScope const&) = delete;
    ~ZemModuleScope()
    {
        m_module->uninitApp();
        m_module->deleteModule();
    }

    OdRxModule& module() const noexcept { return *m_module; }

private:
    OdPlatform m_platform;
    OdRxModule* m_module;
};
