// A small module that counts the calls it gets. Definitions make it one that the loader refuses.

#include "root/od_error.h"
#include "root/od_rx_module.h"

#include "module/test_module.h"

#if !defined(TEST_MODULE_MINOR)
#define TEST_MODULE_MINOR 3
#endif

namespace {

class TestModule : public OdRxModule
{
public:
    ~TestModule() override
    {
        if (m_calls != nullptr) {
            ++m_calls->deleted;
        }
    }

    void initApp() override
    {
        m_calls = static_cast<TestModuleCalls*>(sysData());
        if (m_calls != nullptr) {
            ++m_calls->initialised;
        }
#if defined(TEST_MODULE_FAILS)
        throw OdError(kOdNotApplicable);
#endif
    }

    void uninitApp() override
    {
        if (m_calls != nullptr) {
            ++m_calls->uninitialised;
        }
    }

private:
    TestModuleCalls* m_calls = nullptr;
};

OdRxModule* g_pModule = nullptr;

}  // namespace

extern "C" OdRxModule* odrxCreateModuleObject(void* sysData, wchar_t const* moduleName)
{
    if (sysData != nullptr) {
        ++static_cast<TestModuleCalls*>(sysData)->created;
    }
#if defined(TEST_MODULE_WITHOUT_OBJECT)
    (void)moduleName;
    return nullptr;
#else
    g_pModule = new OdRxUnixModule<TestModule, TestModule>(sysData, moduleName);
    return g_pModule;
#endif
}

extern "C" void odrxGetAPIVersion(int* major, int* minor, int* majorBuild, int* minorBuild)
{
    *major = 4;
    *minor = TEST_MODULE_MINOR;
    *majorBuild = 1;
    *minorBuild = 0;
}

extern "C" void deleteModuleObject()
{
    g_pModule = nullptr;
}
