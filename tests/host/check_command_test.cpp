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

TEST(CheckCommand, FindsNothingInAWholeDrawing)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const ProgramResult text = runZemhost({"check", drawing.path});
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_THAT(text.output, HasSubstr("no damage"));
    const nlohmann::json answer = runZemhost({"check", "--json", drawing.path}).json();
    EXPECT_EQ(answer["problems"], 0);
    EXPECT_EQ(answer["objects"],
              runZemhost({"info", "--json", drawing.path}).json()["drawing"]["objects"]);
}

TEST(CheckCommand, NamesADamagedObjectByItsHandle)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    host_test::damage(drawing.path, "second solid");
    const ProgramResult text = runZemhost({"check", drawing.path});
    EXPECT_EQ(text.exitCode, 1);
    EXPECT_THAT(text.output,
                AllOf(HasSubstr("problem: object " + drawing.second + ":"), HasSubstr("checksum")));
    const ProgramResult json = runZemhost({"check", "--json", drawing.path});
    EXPECT_EQ(json.exitCode, 1);
    EXPECT_EQ(json.json()["findings"][0]["handle"], drawing.second);
    EXPECT_EQ(json.json()["findings"][0]["kind"], "object");
}

TEST(CheckCommand, ObjectsWithoutTheirModuleAreANoteAndNoProblem)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const std::string blob = folder.write("blob", std::string(20000, 'b'));
    ASSERT_EQ(
        runZemhost({"bag", "set", drawing.path, drawing.first, "Big", "blob", "@" + blob}).exitCode,
        0);
    const ProgramResult result = runZemhost({"--without-module", "check", "--json", drawing.path});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.json()["proxies"], 1);
    EXPECT_EQ(result.json()["problems"], 0);
    EXPECT_EQ(result.json()["notes"], 1);
}

TEST(CheckCommand, ADrawingThatCannotBeOpenedIsAFileProblem)
{
    const TemporaryFolder folder;
    EXPECT_EQ(runZemhost({"check", folder.write("no.zdw", "text")}).exitCode, 3);
}

TEST(CheckCommand, ChangesNothing)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    host_test::damage(drawing.path, "second solid");
    const std::string before = host_test::readFile(drawing.path);
    (void)runZemhost({"check", drawing.path});
    EXPECT_TRUE(host_test::readFile(drawing.path) == before);
}
