// A small module that counts the calls it gets. Definitions make it one that the loader refuses.

#include "root/od_error.h"
#include "root/od_rx_module.h"

#include "module/test_module.h"

#include <exception>

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

#if defined(TEST_MODULE_THROWS)
/// What only this file knows.
class OwnFailure : public std::exception
{
public:
    char const* what() const noexcept override { return "own failure"; }
};
#endif

#if !defined(TEST_MODULE_WITHOUT_ENTRY_POINTS)
OdRxModule* g_pModule = nullptr;
#endif

}  // namespace

#if !defined(TEST_MODULE_WITHOUT_ENTRY_POINTS)

OD_MODULE_ENTRY_POINT OdRxModule* odrxCreateModuleObject(void* sysData, wchar_t const* moduleName)
{
    if (sysData != nullptr) {
        ++static_cast<TestModuleCalls*>(sysData)->created;
    }
#if defined(TEST_MODULE_THROWS)
    throw OwnFailure();
#endif
#if defined(TEST_MODULE_WITHOUT_OBJECT)
    (void)moduleName;
    return nullptr;
#else
    g_pModule = new OdRxUnixModule<TestModule, TestModule>(sysData, moduleName);
    return g_pModule;
#endif
}

OD_MODULE_ENTRY_POINT void odrxGetAPIVersion(int* major, int* minor, int* majorBuild,
                                             int* minorBuild)
{
    *major = 4;
    *minor = TEST_MODULE_MINOR;
    *majorBuild = 1;
    *minorBuild = 0;
}

OD_MODULE_ENTRY_POINT void deleteModuleObject()
{
    g_pModule = nullptr;
}

#endif
