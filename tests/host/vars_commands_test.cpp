#include "cli/host_session.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_xrecord.h"
#include "store/od_db_drawing.h"

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

ProgramResult set(std::string const& drawing, std::string const& name, std::string const& value)
{
    return runZemhost({"vars", "set", drawing, name, "--", value});
}

/// width 40, height = width/2, ratio = height*0.25.
SampleDrawing makeVariables(TemporaryFolder const& folder)
{
    SampleDrawing drawing = makeDrawing(folder);
    EXPECT_EQ(set(drawing.path, "width", "40").exitCode, 0);
    EXPECT_EQ(set(drawing.path, "height", "width/2").exitCode, 0);
    EXPECT_EQ(set(drawing.path, "ratio", "height*0.25").exitCode, 0);
    return drawing;
}

nlohmann::json listed(std::string const& drawing)
{
    return runZemhost({"vars", "list", "--json", drawing}).json()["variables"];
}

nlohmann::json variable(std::string const& drawing, std::string const& name)
{
    const nlohmann::json variables = listed(drawing);
    for (auto const& at : variables) {
        if (at["name"] == name) {
            return at;
        }
    }
    return {};
}

}  // namespace

TEST(VarsCommands, ANetworkThatCantBeReadIsToldAndStopsTheCommand)
{
    const TemporaryFolder folder;
    const std::string path = folder.file("a.zdw");
    {
        const zemhost::HostSession session{{}};
        const OdDbDatabasePtr db = OdDbDatabase::createObject();
        const OdDbObjectPtr space = db->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
        space->createExtensionDictionary();
        OdDbDictionary::cast(space->extensionDictionary().safeOpenObject(OdDb::kForWrite).get())
            ->setAt(L"ASSOC_NETWORK", OdDbXrecord::createObject().get());
        odDbSaveDrawingAs(*db, OdString::fromUtf8(path));
    }
    const ProgramResult result = set(path, "w", "4");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.errors, HasSubstr("the variables of model space can't be read"));
}

TEST(VarsCommands, AVariableThatCantBeReadIsToldAndNotMadeAgain)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    ASSERT_EQ(set(drawing.path, "qqqvariable", "4").exitCode, 0);
    ASSERT_EQ(set(drawing.path, "other", "4").exitCode, 0);
    host_test::damage(drawing.path, "qqqvariable");
    EXPECT_EQ(runZemhost({"vars", "list", drawing.path}).exitCode, 1);
    const std::string before = host_test::readFile(drawing.path);
    EXPECT_EQ(set(drawing.path, "qqqvariable", "5").exitCode, 1);
    EXPECT_TRUE(host_test::readFile(drawing.path) == before);
    EXPECT_EQ(variable(drawing.path, "other")["value"], 4.0);
}

TEST(VarsList, TellsValuesExpressionsAndWhoUsesWhat)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    const nlohmann::json height = variable(drawing.path, "height");
    EXPECT_EQ(height["value"], 20.0);
    EXPECT_EQ(height["expression"], "width/2");
    EXPECT_EQ(height["uses"], nlohmann::json({"width"}));
    EXPECT_EQ(height["usedBy"], nlohmann::json({"ratio"}));
    EXPECT_EQ(height["drives"], nlohmann::json::array());
    EXPECT_TRUE(variable(drawing.path, "width")["expression"].is_null());
}

TEST(VarsList, ShowsATableToPeople)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    const ProgramResult result = runZemhost({"vars", "list", drawing.path});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, AllOf(HasSubstr("model space: 3 variables"), HasSubstr("= width/2"),
                                     HasSubstr("uses width; is used by ratio")));
}

TEST(VarsList, OfABlockWithoutVariablesIsEmpty)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const ProgramResult result = runZemhost({"vars", "list", "--json", drawing.path});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.json()["variables"], nlohmann::json::array());
    EXPECT_TRUE(result.json()["network"].is_null());
}

TEST(VarsSet, TellsWhatFollowed)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    const ProgramResult result = set(drawing.path, "width", "60");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, AllOf(HasSubstr("width = 60; was 40"), HasSubstr("height = 30"),
                                     HasSubstr("ratio = 7.5")));
    EXPECT_EQ(variable(drawing.path, "ratio")["value"], 7.5);
}

TEST(VarsSet, ANumberEndsTheExpression)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    EXPECT_EQ(set(drawing.path, "height", "-2.5").exitCode, 0);
    const nlohmann::json height = variable(drawing.path, "height");
    EXPECT_EQ(height["value"], -2.5);
    EXPECT_TRUE(height["expression"].is_null());
    EXPECT_EQ(variable(drawing.path, "width")["usedBy"], nlohmann::json::array());
}

TEST(VarsSet, TakesNamesOfAnyScriptWithoutRegardToCase)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    EXPECT_EQ(set(drawing.path, "höhe", "3").exitCode, 0);
    EXPECT_EQ(set(drawing.path, "幅", "HÖHE*2").exitCode, 0);
    EXPECT_EQ(set(drawing.path, "Höhe", "4").exitCode, 0);
    EXPECT_EQ(listed(drawing.path).size(), 2U);
    EXPECT_EQ(variable(drawing.path, "幅")["value"], 8.0);
}

TEST(VarsSet, WorksWithoutTheModule)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeDrawing(folder);
    const ProgramResult result =
        runZemhost({"--without-module", "vars", "set", drawing.path, "width", "3"});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(variable(drawing.path, "width")["value"], 3.0);
}

TEST(VarsSet, ShowsWhereAnExpressionIsWrong)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    struct Case
    {
        char const* expression;
        char const* shown;
        char const* message;
    };
    const std::vector<Case> cases = {
        {"2*(width", "    2*(width\n      ^\n", "column 3: parenthesis is not closed"},
        {"2*breadth", "    2*breadth\n      ^\n", "column 3: unknown name breadth"},
        {"1/(width-40)", "    1/(width-40)\n     ^\n", "column 2: division by zero"},
        {"1/höhe", "    1/höhe\n      ^\n", "column 3: unknown name höhe"},
        {"10^400", "", "finite"},
        {"1e999", "", "column 1"},
        {"2 3", "", "column 3"},
        {"\x01", "", "column 1"},
    };
    const std::string before = host_test::readFile(drawing.path);
    for (Case const& at : cases) {
        const ProgramResult result = set(drawing.path, "new", at.expression);
        EXPECT_EQ(result.exitCode, 2) << at.expression;
        EXPECT_THAT(result.errors, AllOf(HasSubstr(at.shown), HasSubstr(at.message)))
            << at.expression;
    }
    EXPECT_TRUE(host_test::readFile(drawing.path) == before);
}

TEST(VarsSet, ShowsAPartOfALongExpression)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    std::string expression = "1";
    for (int count = 0; count < 5000; ++count) {
        expression += "+1";
    }
    const ProgramResult result = set(drawing.path, "new", expression + "+breadth" + expression);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.errors, HasSubstr("+1+breadth"));
    EXPECT_LT(result.errors.size(), 20000U);
}

TEST(VarsSet, TakesNestedParenthesesInAnyDepth)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    const std::string deep = std::string(20000, '(') + "width" + std::string(20000, ')');
    EXPECT_EQ(set(drawing.path, "deep", deep).exitCode, 0);
    EXPECT_EQ(variable(drawing.path, "deep")["value"], 40.0);
}

TEST(VarsRename, RewritesTheExpressionsAndInsertsThatUseTheVariable)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    ASSERT_EQ(runZemhost({"block", "make", drawing.path, "part"}).exitCode, 0);
    ASSERT_EQ(
        runZemhost({"block", "insert", drawing.path, "part", "--scale-variable", "width"}).exitCode,
        0);
    const ProgramResult result = runZemhost({"vars", "rename", drawing.path, "WIDTH", "breadth"});
    ASSERT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("1 expression and 1 insert changed"));
    EXPECT_EQ(variable(drawing.path, "height")["expression"], "breadth/2");
    EXPECT_EQ(variable(drawing.path, "breadth")["drives"].size(), 1U);
    EXPECT_THAT(set(drawing.path, "breadth", "2").output, HasSubstr("scale 2; was 40"));
}

TEST(VarsRemove, TakesOutAVariableThatNothingUses)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    EXPECT_EQ(runZemhost({"vars", "remove", drawing.path, "ratio"}).exitCode, 0);
    EXPECT_EQ(listed(drawing.path).size(), 2U);
    EXPECT_EQ(runZemhost({"check", drawing.path}).exitCode, 0);
}

TEST(VarsRemove, RefusesAVariableInUseUnlessTold)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    const ProgramResult refused = runZemhost({"vars", "remove", drawing.path, "height"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.errors, HasSubstr("is used by ratio"));
    EXPECT_EQ(listed(drawing.path).size(), 3U);
    EXPECT_EQ(runZemhost({"vars", "remove", "--force", drawing.path, "height"}).exitCode, 0);
    const nlohmann::json ratio = variable(drawing.path, "ratio");
    EXPECT_EQ(ratio["value"], 5.0);
    EXPECT_THAT(ratio["problem"].get<std::string>(), HasSubstr("unknown name height"));
}

TEST(VarsRemove, LeavesExpressionsThatAreComputedOnceTheNameIsThereAgain)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    ASSERT_EQ(runZemhost({"vars", "remove", "--force", drawing.path, "height"}).exitCode, 0);
    ASSERT_EQ(set(drawing.path, "height", "8").exitCode, 0);
    EXPECT_EQ(variable(drawing.path, "ratio")["value"], 2.0);
    EXPECT_TRUE(variable(drawing.path, "ratio")["problem"].is_null());

    ASSERT_EQ(runZemhost({"vars", "remove", "--force", drawing.path, "height"}).exitCode, 0);
    ASSERT_EQ(set(drawing.path, "other", "12").exitCode, 0);
    ASSERT_EQ(runZemhost({"vars", "rename", drawing.path, "other", "height"}).exitCode, 0);
    EXPECT_EQ(variable(drawing.path, "ratio")["value"], 3.0);
    EXPECT_EQ(variable(drawing.path, "ratio")["uses"], nlohmann::json({"height"}));
}

TEST(VarsRemove, RefusesAVariableThatDrivesAnInsertUnlessTold)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    ASSERT_EQ(runZemhost({"block", "make", drawing.path, "part"}).exitCode, 0);
    ASSERT_EQ(
        runZemhost({"block", "insert", drawing.path, "part", "--scale-variable", "ratio"}).exitCode,
        0);
    const ProgramResult refused = runZemhost({"vars", "remove", drawing.path, "ratio"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.errors, HasSubstr("drives 1 insert"));
    EXPECT_EQ(runZemhost({"vars", "remove", "--force", drawing.path, "ratio"}).exitCode, 0);
    EXPECT_THAT(runZemhost({"block", "update", drawing.path}).output,
                HasSubstr("0 driven inserts"));
}

TEST(VarsCommands, RefuseBadInputAndLeaveTheDrawingAsItWas)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    ASSERT_EQ(runZemhost({"block", "make", drawing.path, "part"}).exitCode, 0);
    ASSERT_EQ(
        runZemhost({"block", "insert", drawing.path, "part", "--scale-variable", "ratio"}).exitCode,
        0);
    std::string const& path = drawing.path;
    struct Case
    {
        char const* name;
        std::vector<std::string> words;
        int exitCode;
        char const* message;
    };
    const std::vector<Case> cases = {
        {"no drawing", {"vars", "list", folder.file("none.zdw")}, 3, "none.zdw"},
        {"not a drawing", {"vars", "set", folder.write("t.zdw", "t"), "a", "1"}, 3, "t.zdw"},
        {"unknown block", {"vars", "list", path, "--block", "none"}, 1, "has no block"},
        {"empty expression", {"vars", "set", path, "width", ""}, 2, "neither"},
        {"name with a space", {"vars", "set", path, "a b", "1"}, 2, "is no name"},
        {"name that is a number", {"vars", "set", path, "1a", "1"}, 2, "is no name"},
        {"empty name", {"vars", "set", path, "", "1"}, 2, "is no name"},
        {"reserved name", {"vars", "set", path, "*U1", "1"}, 2, "is no name"},
        {"itself", {"vars", "set", path, "width", "width+1"}, 2, "depend on itself"},
        {"a ring", {"vars", "set", path, "width", "ratio+1"}, 2, "depend on itself"},
        {"dependents out of range", {"vars", "set", path, "width", "0"}, 2, "is no scale"},
        {"unknown variable", {"vars", "rename", path, "none", "new"}, 1, "has no variable"},
        {"taken name", {"vars", "rename", path, "width", "RATIO"}, 2, "another variable"},
        {"rename to no name", {"vars", "rename", path, "width", "a+b"}, 2, "is no name"},
        {"remove of nothing", {"vars", "remove", path, "none"}, 1, "has no variable"},
        {"no expression", {"vars", "set", path, "width"}, 2, "EXPRESSION"},
    };
    const std::string before = host_test::readFile(path);
    for (Case const& at : cases) {
        const ProgramResult result = runZemhost(at.words);
        EXPECT_EQ(result.exitCode, at.exitCode) << at.name << ": " << result.errors;
        EXPECT_THAT(result.errors, HasSubstr(at.message)) << at.name;
        EXPECT_TRUE(host_test::readFile(path) == before) << at.name;
    }
}

TEST(VarsCommands, AreShownByInfo)
{
    const TemporaryFolder folder;
    const SampleDrawing drawing = makeVariables(folder);
    const ProgramResult text = runZemhost({"info", drawing.path});
    EXPECT_THAT(text.output, AllOf(HasSubstr("OdDbAssocNetwork, 3 actions"),
                                   HasSubstr("height  OdDbAssocVariable, value 20 from width/2"),
                                   Not(HasSubstr("objects elsewhere"))));
    const nlohmann::json tree = runZemhost({"info", "--json", drawing.path}).json();
    EXPECT_EQ(tree["others"]["count"], 0);
}
