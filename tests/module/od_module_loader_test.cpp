#include "db/od_db_platform.h"
#include "root/od_rx_module.h"
#include "root/root_test_support.h"

#include "module/test_module.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <string>

namespace {

std::string modulePath(std::string const& name)
{
    return std::string(ZEM_TEST_MODULE_DIR) + "/" + name + ".tx";
}

bool isMapped(std::string const& path)
{
    void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (library != nullptr) {
        dlclose(library);
    }
    return library != nullptr;
}

class OdModuleLoader : public testing::Test
{
protected:
    /// Loads a module that is refused; keeps code and text of the refusal.
    void refuse(std::string const& name)
    {
        try {
            odLoadModule(modulePath(name), &m_calls);
        } catch (OdError const& error) {
            m_code = error.code();
            m_text = error.what();
        }
    }

    OdDbPlatform m_platform;
    TestModuleCalls m_calls;
    OdResult m_code = kOdOk;
    std::string m_text;
};

}  // namespace

TEST_F(OdModuleLoader, CreatesAndInitialisesThenUninitialisesAndDeletes)
{
    auto handle = odLoadModule(modulePath("test_module_good"), &m_calls);
    EXPECT_EQ(m_calls.created, 1);
    EXPECT_EQ(m_calls.initialised, 1);
    EXPECT_EQ(handle->module()->sysData(), &m_calls);
    EXPECT_EQ(handle->module()->moduleName(), OdString(L"test_module_good.tx"));

    handle->unload();
    EXPECT_EQ(m_calls.uninitialised, 1);
    EXPECT_EQ(m_calls.deleted, 1);
    EXPECT_EQ(handle->module(), nullptr);
    EXPECT_FALSE(isMapped(modulePath("test_module_good")));
}

TEST_F(OdModuleLoader, UnloadsWhenTheHandleGoes)
{
    odLoadModule(modulePath("test_module_good"), &m_calls);
    EXPECT_EQ(m_calls.deleted, 1);
    EXPECT_FALSE(isMapped(modulePath("test_module_good")));
}

TEST_F(OdModuleLoader, UnloadingTwiceDoesNothingMore)
{
    const auto handle = odLoadModule(modulePath("test_module_good"), &m_calls);
    handle->unload();
    handle->unload();
    EXPECT_EQ(m_calls.uninitialised, 1);
}

TEST_F(OdModuleLoader, RefusesAModuleBuiltForAnotherVersionBeforeItsObjectIsMade)
{
    refuse("test_module_other_version");
    EXPECT_EQ(m_code, kOdModuleVersion);
    EXPECT_THAT(m_text,
                testing::HasSubstr("is built for version 4.2.1.0, this platform is 4.3.1.0"));
    EXPECT_THAT(m_text, testing::HasSubstr("test_module_other_version.tx"));
    EXPECT_EQ(m_calls.created, 0);
    EXPECT_FALSE(isMapped(modulePath("test_module_other_version")));
}

TEST_F(OdModuleLoader, RefusesAModuleThatMakesNoObject)
{
    refuse("test_module_without_object");
    EXPECT_EQ(m_code, kOdModuleNotLoaded);
    EXPECT_EQ(m_calls.created, 1);
    EXPECT_FALSE(isMapped(modulePath("test_module_without_object")));
}

TEST_F(OdModuleLoader, NamesAFileThatIsNotThereOnce)
{
    refuse("test_module_that_is_missing");
    EXPECT_EQ(m_code, kOdModuleNotLoaded);
    const std::size_t at = m_text.find("test_module_that_is_missing");
    EXPECT_NE(at, std::string::npos);
    EXPECT_EQ(m_text.find("test_module_that_is_missing", at + 1), std::string::npos) << m_text;
}

TEST_F(OdModuleLoader, PassesOnWhatInitialisationThrowsAndKeepsTheFile)
{
    refuse("test_module_failing");
    EXPECT_EQ(m_code, kOdNotApplicable);
    EXPECT_EQ(m_calls.initialised, 1);
    EXPECT_TRUE(isMapped(modulePath("test_module_failing")));
}

TEST_F(OdModuleLoader, PassesOnWhatAnEntryPointThrowsAndKeepsTheFile)
{
    std::string text;
    try {
        odLoadModule(modulePath("test_module_throwing"), &m_calls);
    } catch (std::exception const& error) {
        text = error.what();
    }
    EXPECT_EQ(text, "own failure");
    EXPECT_TRUE(isMapped(modulePath("test_module_throwing")));
}

TEST_F(OdModuleLoader, RefusesAFileWhoseEntryPointsLieInALibraryThatItNeeds)
{
    refuse("test_module_bare");
    EXPECT_EQ(m_code, kOdModuleNotLoaded);
    EXPECT_THAT(m_text, testing::HasSubstr("it has no entry point odrxGetAPIVersion"));
    EXPECT_FALSE(isMapped(modulePath("test_module_bare")));
}

TEST_F(OdModuleLoader, RefusesAModuleThatIsLoadedAlready)
{
    const auto handle = odLoadModule(modulePath("zem_db"));
    refuse("zem_db");
    EXPECT_EQ(m_code, kOdModuleInUse);
    EXPECT_THAT(m_text, testing::HasSubstr("is loaded already"));

    handle->unload();
    EXPECT_FALSE(isMapped(modulePath("zem_db")));
}

TEST_F(OdModuleLoader, EachFileForgetsItsOwnModuleObjectEvenIfAnotherBroughtItIn)
{
    const auto dependent = odLoadModule(modulePath("test_module_dependent"), &m_calls);
    int data = 0;
    odLoadModule(modulePath("zem_db"), &data)->unload();
    EXPECT_TRUE(isMapped(modulePath("zem_db")));

    const auto again = odLoadModule(modulePath("zem_db"));
    EXPECT_EQ(again->module()->sysData(), nullptr);
}
