#include "root/od_rx_module.h"
#include "root/root_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

int g_deletions = 0;
int g_lives = 0;

class CountedModule : public OdRxModule
{
public:
    CountedModule() { ++g_lives; }
    ~CountedModule() override { --g_lives; }

    void initApp() override {}
    void uninitApp() override {}
};

using TestModule = OdRxUnixModule<CountedModule, CountedModule>;

std::string loadFailure(std::string const& path, OdResult& code)
{
    try {
        odLoadModule(path);
    } catch (OdError const& error) {
        code = error.code();
        return error.what();
    }
    return std::string();
}

}  // namespace

extern "C" void deleteModuleObject()
{
    ++g_deletions;
}

TEST(OdRxUnixModule, KeepsSystemDataAndNameItWasMadeWith)
{
    int data = 0;
    TestModule* const module = new TestModule(&data, L"example");
    EXPECT_EQ(module->sysData(), &data);
    EXPECT_EQ(module->moduleName(), OdString(L"example"));
    module->deleteModule();
}

TEST(OdRxUnixModule, IsNotDeletedByGivingUpReferences)
{
    TestModule* const module = new TestModule(nullptr, L"example");
    const int lives = g_lives;
    module->addRef();
    module->release();
    module->release();
    EXPECT_EQ(g_lives, lives);
    module->deleteModule();
}

TEST(OdRxUnixModule, DeleteModuleTellsTheEntryPointAndDeletesTheObject)
{
    const int lives = g_lives;
    const int deletions = g_deletions;
    TestModule* const module = new TestModule(nullptr, nullptr);
    EXPECT_EQ(g_lives, lives + 1);
    module->deleteModule();
    EXPECT_EQ(g_lives, lives);
    EXPECT_EQ(g_deletions, deletions + 1);
}

TEST(OdRxUnixModule, LivesInThePlatformsMemory)
{
    const std::int64_t blocks = odrxLiveBlocks();
    TestModule* const module = new TestModule(nullptr, nullptr);
    EXPECT_EQ(odrxLiveBlocks(), blocks + 1);
    module->deleteModule();
    EXPECT_EQ(odrxLiveBlocks(), blocks);
}

TEST(OdLoadModule, RefusesAFileThatIsNotThereWithItsPath)
{
    OdResult code = kOdOk;
    EXPECT_THAT(loadFailure("no/such/module.tx", code), testing::HasSubstr("no/such/module.tx"));
    EXPECT_EQ(code, kOdModuleNotLoaded);
}

TEST(OdLoadModule, RefusesALibraryThatIsNoModule)
{
    OdResult code = kOdOk;
    EXPECT_THAT(loadFailure("libm.so.6", code), testing::HasSubstr("is no module"));
    EXPECT_EQ(code, kOdModuleNotLoaded);
}
