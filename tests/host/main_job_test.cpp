// The main job on a real part: every step a process of its own.

#include "host/host_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using host_test::ProgramResult;
using host_test::runZemhost;
using host_test::TemporaryFolder;

namespace {

/// A bag for each solid, the second one too long for extended data.
nlohmann::json bagsFor(nlohmann::json const& tree)
{
    nlohmann::json bags;
    for (auto const& record : tree["tables"][0]["records"]) {
        for (auto const& entity : record["entities"]) {
            nlohmann::json& bag = bags[entity["handle"].get<std::string>()];
            bag["Label"] = {{"type", "string"}, {"value", entity["label"]}};
            bag["Faces"] = {{"type", "int"}, {"value", entity["faces"]}};
            const int stations = bags.size() == 2 ? 600 : 3;
            for (int station = 0; station < stations; ++station) {
                bag["Station " + std::to_string(station)] = {
                    {"type", "array of double"}, {"value", {station * 0.1, station / 3.0}}};
            }
        }
    }
    return bags;
}

}  // namespace

TEST(MainJob, APartGoesIntoADrawingAndComesBackWhole)
{
    const TemporaryFolder folder;
    const std::string drawing = folder.file("parts.zdw");
    const std::string copy = folder.file("copy.zdw");
    const std::string before = folder.file("before.zdw");
    ASSERT_EQ(runZemhost({"import", host_test::screwStepPath(), drawing}).exitCode, 0);
    ASSERT_EQ(runZemhost({"import", "--append", host_test::ballBrepPath(), drawing}).exitCode, 0);

    const std::string bags =
        folder.write("bags.json", bagsFor(runZemhost({"info", "--json", drawing}).json()).dump());
    const ProgramResult attached = runZemhost({"bag", "import", drawing, bags});
    ASSERT_EQ(attached.exitCode, 0) << attached.errors;
    EXPECT_THAT(attached.output, testing::HasSubstr("extended data"));
    EXPECT_THAT(attached.output, testing::HasSubstr("extension dictionary"));
    std::filesystem::copy_file(drawing, before);

    ASSERT_EQ(runZemhost({"bag", "compare", drawing, bags}).exitCode, 0);
    ASSERT_EQ(runZemhost({"--without-module", "resave", "--rewrite", drawing}).exitCode, 0);
    ASSERT_EQ(runZemhost({"--without-module", "resave", "--rewrite", drawing, copy}).exitCode, 0);
    for (std::string const& saved : {drawing, copy}) {
        EXPECT_EQ(runZemhost({"bag", "compare", saved, bags}).exitCode, 0);
        EXPECT_EQ(runZemhost({"compare", before, saved}).exitCode, 0);
        EXPECT_EQ(runZemhost({"check", saved}).exitCode, 0);
    }
}

TEST(MainJob, APartBecomesABlockThatIsClonedWrittenAttachedAndDriven)
{
    const TemporaryFolder folder;
    const std::string assembly = folder.file("assembly.zdw");
    const std::string library = folder.file("library.zdw");
    const std::string copy = folder.file("copy.zdw");
    const std::vector<std::vector<std::string>> steps = {
        {"import", host_test::screwStepPath(), assembly},
        {"block", "make", "--replace", assembly, "screw"},
        {"block", "clone", assembly, "screw", "screw-clone"},
        {"block", "wblock", assembly, library, "screw"},
        {"xref", "attach", assembly, library},
        {"vars", "set", assembly, "size", "2"},
        {"vars", "set", assembly, "growth", "size*1.5 + 1"},
        {"block", "insert", assembly, "screw-clone", "--scale-variable", "growth"},
        {"block", "insert", assembly, "library", "--scale-variable", "growth"},
        {"vars", "set", assembly, "size", "3"},
        {"--without-module", "resave", "--rewrite", assembly, copy},
        {"compare", assembly, copy},
        {"check", assembly},
        {"check", library},
        {"check", copy},
    };
    for (std::vector<std::string> const& step : steps) {
        const ProgramResult result = runZemhost(step);
        ASSERT_EQ(result.exitCode, 0) << step[0] << ' ' << step[1] << ": " << result.errors;
    }

    nlohmann::json blocks;
    const nlohmann::json tree = runZemhost({"info", "--json", copy}).json();
    for (auto const& record : tree["tables"][0]["records"]) {
        blocks[record["name"].get<std::string>()] = record;
    }
    const nlohmann::json inserts = blocks["*Model_Space"]["entities"];
    ASSERT_EQ(inserts.size(), 3U);
    EXPECT_EQ(inserts[0]["scale"], nlohmann::json({1.0, 1.0, 1.0}));
    EXPECT_EQ(inserts[1]["scale"], nlohmann::json({5.5, 5.5, 5.5}));
    EXPECT_EQ(inserts[2]["scale"], nlohmann::json({5.5, 5.5, 5.5}));
    EXPECT_EQ(blocks["library"]["external"]["state"], "loaded");
    EXPECT_EQ(blocks["screw-clone"]["entities"][0]["bodyChecksum"],
              blocks["screw"]["entities"][0]["bodyChecksum"]);
}
