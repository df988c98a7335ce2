#include "host/host_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using host_test::makeDrawing;
using host_test::ProgramResult;
using host_test::readFile;
using host_test::runZemhost;
using host_test::SampleDrawing;
using host_test::TemporaryFolder;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

/// A drawing with an object of the module, which carries the large bag of the first solid.
SampleDrawing drawingWithModuleObject(TemporaryFolder const& folder)
{
    const SampleDrawing drawing = makeDrawing(folder);
    const std::string blob = folder.write("blob", std::string(20000, 'b'));
    (void)runZemhost({"bag", "set", drawing.path, drawing.first, "Big", "blob", "@" + blob});
    return drawing;
}

void copy(std::string const& from, std::string const& to)
{
    std::filesystem::copy_file(from, to);
}

}  // namespace

TEST(ResaveCommand, AnotherDrawingIsEqual)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = drawingWithModuleObject(folder);
    ASSERT_EQ(runZemhost({"resave", drawing.path, folder.file("copy.zdw")}).exitCode, 0);
    const ProgramResult result = runZemhost({"compare", drawing.path, folder.file("copy.zdw")});
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_THAT(result.output, HasSubstr("all equal"));
}

TEST(ResaveCommand, WithoutTheModuleNothingIsLost)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = drawingWithModuleObject(folder);
    copy(drawing.path, folder.file("before.zdw"));
    const std::string other = folder.file("other.zdw");
    const ProgramResult inPlace =
        runZemhost({"--without-module", "resave", "--rewrite", drawing.path});
    ASSERT_EQ(inPlace.exitCode, 0) << inPlace.errors;
    EXPECT_THAT(inPlace.output, HasSubstr("1 of them carried without their class"));
    ASSERT_EQ(runZemhost({"--without-module", "resave", "--rewrite", drawing.path, other}).exitCode,
              0);
    for (std::string const& saved : {drawing.path, other}) {
        const ProgramResult result = runZemhost({"compare", folder.file("before.zdw"), saved});
        EXPECT_EQ(result.exitCode, 0) << result.output;
        EXPECT_EQ(runZemhost({"check", saved}).exitCode, 0);
    }
}

TEST(ResaveCommand, GivesTheSameBytesWithAndWithoutTheModule)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = drawingWithModuleObject(folder);
    const std::string with = folder.file("with.zdw");
    const std::string without = folder.file("without.zdw");
    ASSERT_EQ(runZemhost({"resave", "--rewrite", drawing.path, with}).exitCode, 0);
    ASSERT_EQ(
        runZemhost({"--without-module", "resave", "--rewrite", drawing.path, without}).exitCode, 0);
    EXPECT_TRUE(readFile(with) == readFile(without));
}

TEST(ResaveCommand, OlderVersionsOpenAgainWithTheSameContent)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = drawingWithModuleObject(folder);
    for (char const* version : {"29", "30"}) {
        const std::string old = folder.file(std::string(version) + ".zdw");
        ASSERT_EQ(runZemhost({"resave", "--dwg-version", version, drawing.path, old}).exitCode, 0);
        EXPECT_EQ(std::to_string(
                      runZemhost({"info", "--json", old}).json()["drawing"]["version"].get<int>()),
                  version);
        const std::string file = folder.file("bags.json");
        ASSERT_EQ(runZemhost({"bag", "export", drawing.path, file}).exitCode, 0);
        EXPECT_EQ(runZemhost({"bag", "compare", old, file}).exitCode, 0);
    }
}

TEST(ResaveCommand, AnUnknownVersionIsAUsageError)
{
    EXPECT_EQ(runZemhost({"resave", "--dwg-version", "31", "a.zdw", "b.zdw"}).exitCode, 2);
}

TEST(ResaveCommand, InPlaceTheVersionStays)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const ProgramResult result = runZemhost({"resave", "--dwg-version", "29", drawing.path});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.errors, HasSubstr("keeps its version"));
}

TEST(ResaveCommand, ADamagedObjectIsCopiedAndTheOthersLive)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    host_test::damage(drawing.path, "first solid");
    const std::string other = folder.file("other.zdw");
    const ProgramResult result = runZemhost({"resave", "--rewrite", drawing.path, other});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_THAT(result.errors, HasSubstr("1 damaged object copied as stored"));
    EXPECT_EQ(runZemhost({"check", other}).exitCode, 1);
    EXPECT_THAT(runZemhost({"info", other}).output, HasSubstr("second solid"));
}

TEST(CompareCommand, ADrawingEqualsItself)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const ProgramResult result = runZemhost({"compare", "--json", drawing.path, drawing.path});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.json()["differences"], nlohmann::json::array());
}

TEST(CompareCommand, NamesObjectsThatDifferOrAreOnlyInOneDrawing)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const std::string other = folder.file("other.zdw");
    copy(drawing.path, other);
    ASSERT_EQ(runZemhost({"bag", "set", other, drawing.first, "Name", "int", "1"}).exitCode, 0);
    const ProgramResult result = runZemhost({"compare", drawing.path, other});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("object " + drawing.first + " OdDb3dSolid differs"),
                      HasSubstr("OdDbRegAppTableRecord is only in the second drawing")));
    EXPECT_GE(runZemhost({"compare", "--json", drawing.path, other}).json()["differences"].size(),
              2U);
}

TEST(CompareCommand, AnObjectThatCannotBeReadIsADifference)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const std::string other = folder.file("other.zdw");
    copy(drawing.path, other);
    host_test::damage(other, "first solid");
    EXPECT_EQ(runZemhost({"compare", drawing.path, other}).exitCode, 1);
    EXPECT_EQ(runZemhost({"compare", other, other}).exitCode, 1);
}

TEST(CompareCommand, TellsADamagedObjectFromAMissingOne)
{
    const TemporaryFolder folder;
    const SampleDrawing whole = makeDrawing(folder, "whole.zdw");
    const SampleDrawing damaged = makeDrawing(folder, "damaged.zdw");
    host_test::damage(damaged.path, "first solid");
    const ProgramResult result = runZemhost({"compare", whole.path, damaged.path});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output, AllOf(HasSubstr("in the second drawing can't be read"),
                                     Not(HasSubstr("is only in"))));
}

TEST(ResaveCommand, ReplacesNoFileOfAnotherKind)
{
    const TemporaryFolder folder;
    const std::string letter = folder.write("letter.txt", "Dear reader");
    EXPECT_EQ(runZemhost({"resave", makeDrawing(folder).path, letter}).exitCode, 3);
    EXPECT_EQ(host_test::readFile(letter), "Dear reader");
}
