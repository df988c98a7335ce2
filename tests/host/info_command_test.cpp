#include "host/host_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using host_test::makeDrawing;
using host_test::ProgramResult;
using host_test::runZemhost;
using host_test::SampleDrawing;
using host_test::TemporaryFolder;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

nlohmann::json treeOf(std::string const& drawing, std::vector<std::string> words = {})
{
    words.insert(words.end(), {"info", "--json", drawing});
    return runZemhost(words).json();
}

nlohmann::json modelSpace(nlohmann::json const& tree)
{
    for (auto const& record : tree["tables"][0]["records"]) {
        if (record["name"] == "*Model_Space") {
            return record;
        }
    }
    return {};
}

nlohmann::json solid(nlohmann::json const& tree, std::string const& handle)
{
    const nlohmann::json space = modelSpace(tree);
    for (auto const& entity : space["entities"]) {
        if (entity["handle"] == handle) {
            return entity;
        }
    }
    return {};
}

void attachLargeBag(TemporaryFolder const& folder, SampleDrawing const& drawing)
{
    const std::string blob = folder.write("blob", std::string(20000, 'b'));
    ASSERT_EQ(
        runZemhost({"bag", "set", drawing.path, drawing.first, "Big", "blob", "@" + blob}).exitCode,
        0);
}

}  // namespace

TEST(InfoCommand, TellsOfTheDrawingAsAWhole)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const nlohmann::json whole = treeOf(drawing.path)["drawing"];
    EXPECT_EQ(whole["path"], drawing.path);
    EXPECT_EQ(whole["bytes"], std::filesystem::file_size(drawing.path));
    EXPECT_EQ(whole["version"], 33);
    EXPECT_EQ(whole["settings"]["modelInsertBase"], nlohmann::json::array({0.0, 0.0, 0.0}));
}

TEST(InfoCommand, CountsEveryObjectByItsClass)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const nlohmann::json tree = treeOf(drawing.path);
    std::uint64_t sum = 0;
    for (auto const& cls : tree["classes"]) {
        sum += cls["objects"].get<std::uint64_t>();
    }
    EXPECT_EQ(sum, tree["drawing"]["objects"]);
}

TEST(InfoCommand, ShowsTablesDictionariesAndEntities)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const nlohmann::json tree = treeOf(drawing.path);
    ASSERT_EQ(tree["tables"].size(), 4U);
    EXPECT_EQ(tree["tables"][1]["name"], "layers");
    EXPECT_EQ(tree["tables"][1]["records"][0]["name"], "0");
    EXPECT_EQ(tree["dictionaries"]["class"], "OdDbDictionary");
    EXPECT_EQ(modelSpace(tree)["entityCount"], 2);
    EXPECT_EQ(solid(tree, drawing.second)["label"], "second solid");
    EXPECT_EQ(tree["others"]["count"], 0);
}

TEST(InfoCommand, ShowsBagsByNamesAndTypesAndWhereTheyLie)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    attachLargeBag(folder, drawing);
    ASSERT_EQ(
        runZemhost({"bag", "set", drawing.path, drawing.second, "Count", "int", "3"}).exitCode, 0);
    const nlohmann::json tree = treeOf(drawing.path);
    const nlohmann::json large = solid(tree, drawing.first)["bag"];
    EXPECT_EQ(large["place"], "extension dictionary");
    EXPECT_GT(large["bytes"], 20000);
    EXPECT_EQ(large["types"]["Big"], "blob");
    const nlohmann::json small = solid(tree, drawing.second)["bag"];
    EXPECT_EQ(small["place"], "extended data");
    EXPECT_EQ(small["types"], nlohmann::json({{"Count", "int"}}));
}

TEST(InfoCommand, ShowsExtensionDictionaries)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    attachLargeBag(folder, drawing);
    const nlohmann::json dictionary =
        solid(treeOf(drawing.path), drawing.first)["extensionDictionary"];
    ASSERT_EQ(dictionary["count"], 1);
    EXPECT_EQ(dictionary["entries"][0]["key"], "ZEM_DB");
    EXPECT_EQ(dictionary["entries"][0]["class"], "ZemDbExtensionData");
}

TEST(InfoCommand, WithoutTheModuleItsObjectsAreProxiesUnderTheirOwnNames)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    attachLargeBag(folder, drawing);
    const nlohmann::json tree = treeOf(drawing.path, {"--without-module"});
    const nlohmann::json entry = solid(tree, drawing.first)["extensionDictionary"]["entries"][0];
    EXPECT_EQ(entry["class"], "ZemDbExtensionData");
    EXPECT_GT(entry["proxy"]["bytes"], 20000);
    EXPECT_EQ(entry["proxy"]["application"], "Zemforge|Description: extension data");
    for (auto const& cls : tree["classes"]) {
        EXPECT_EQ(cls["registered"], cls["name"] != "ZemDbExtensionData");
    }
}

TEST(InfoCommand, ShowsATreeToPeople)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const ProgramResult result = runZemhost({"info", drawing.path});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, AllOf(HasSubstr("*Model_Space"), HasSubstr("2 entities"),
                                     HasSubstr("\"first solid\", 6 faces, 12 edges, 8 vertices"),
                                     HasSubstr("OdDb3dSolid: 2 objects")));
}

TEST(InfoCommand, CutsListsAtTheLimitAndSaysSo)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const ProgramResult result = runZemhost({"info", "--limit", "1", drawing.path});
    EXPECT_THAT(result.output, AllOf(HasSubstr("first solid"), HasSubstr("... and 1 more")));
    EXPECT_THAT(result.output, Not(HasSubstr("second solid")));
}

TEST(InfoCommand, ADamagedObjectCostsItsOwnLineOnly)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    host_test::damage(drawing.path, "first solid");
    const ProgramResult text = runZemhost({"info", drawing.path});
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_THAT(text.output,
                AllOf(HasSubstr(drawing.first + "  can't be read: "), HasSubstr("second solid")));
    EXPECT_TRUE(solid(treeOf(drawing.path), drawing.first).contains("problem"));
}

TEST(InfoCommand, ChangesNothing)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const std::string before = host_test::readFile(drawing.path);
    ASSERT_EQ(runZemhost({"info", drawing.path}).exitCode, 0);
    EXPECT_TRUE(host_test::readFile(drawing.path) == before);
}
