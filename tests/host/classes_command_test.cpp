#include "host/host_test_support.h"
#include "module/module_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <set>

using host_test::ProgramResult;
using host_test::runZemhost;
using testing::HasSubstr;

namespace {

std::string narrow(std::wstring const& text)
{
    return std::string(text.begin(), text.end());
}

}  // namespace

TEST(ClassesCommand, ListsTheModulesClassesInTheirOrder)
{
    const nlohmann::json classes = runZemhost({"classes", "--json"}).json()["moduleClasses"];
    ASSERT_EQ(classes.size(), std::size(kModuleClasses));
    for (std::size_t index = 0; index < classes.size(); ++index) {
        EXPECT_EQ(classes[index]["name"], narrow(kModuleClasses[index].name));
    }
}

TEST(ClassesCommand, TellsVersionsFlagsAndApplicationOfStoredClasses)
{
    const nlohmann::json classes = runZemhost({"classes", "--json"}).json()["moduleClasses"];
    for (std::size_t index = 0; index < classes.size(); ++index) {
        const bool isStored = kModuleClasses[index].isStored;
        EXPECT_EQ(classes[index]["dwgVersion"], isStored ? 33 : 0) << classes[index];
        EXPECT_EQ(classes[index]["maintenanceVersion"], isStored ? 4 : 0);
        EXPECT_EQ(classes[index]["proxyFlags"], isStored ? 1025 : 0);
        EXPECT_EQ(classes[index]["dxfName"] == "", !isStored);
        EXPECT_EQ(classes[index]["application"] == "", !isStored);
    }
}

TEST(ClassesCommand, ShowsThemToPeople)
{
    const ProgramResult result = runZemhost({"classes"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, HasSubstr("40 classes"));
    EXPECT_THAT(result.output, HasSubstr("ZEMDBEXTENSIONDATA, drawing version 33 release 4, proxy "
                                         "flags 1025, \"Zemforge|Description: extension data\""));
}

TEST(ClassesCommand, AllHasThePlatformsClassesInFrontEachBehindItsBase)
{
    const nlohmann::json answer = runZemhost({"classes", "--all", "--json"}).json();
    std::set<std::string> known;
    for (auto const& list : {answer["platformClasses"], answer["moduleClasses"]}) {
        for (auto const& cls : list) {
            EXPECT_TRUE(cls["base"].is_null() || known.contains(cls["base"])) << cls;
            known.insert(cls["name"]);
        }
    }
    EXPECT_TRUE(known.contains("OdDb3dSolid"));
}

TEST(ClassesCommand, WithoutTheModuleThereAreThePlatformsAlone)
{
    const nlohmann::json answer = runZemhost({"--without-module", "classes", "--json"}).json();
    EXPECT_TRUE(answer["module"].is_null());
    EXPECT_TRUE(answer["moduleClasses"].empty());
    EXPECT_FALSE(answer["platformClasses"].empty());
}
