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

namespace {

using Words = std::vector<std::string>;
using Json = nlohmann::json;

/// A drawing and the bag of its first solid.
class BagCommands : public testing::Test
{
protected:
    ProgramResult bag(Words const& command, Words const& rest = {}) const
    {
        Words words{"bag"};
        words.insert(words.end(), command.begin(), command.end());
        words.insert(words.end(), {m_drawing.path, m_drawing.first});
        words.insert(words.end(), rest.begin(), rest.end());
        return runZemhost(words);
    }

    ProgramResult set(Words const& rest) const { return bag({"set"}, rest); }

    Json get(std::string const& name) const { return bag({"get", "--json"}, {name}).json(); }

    Json list() const { return bag({"list", "--json"}).json(); }

    std::string largeFile() const { return m_folder.write("large", std::string(20000, 'x')); }

    TemporaryFolder m_folder;
    SampleDrawing m_drawing = makeDrawing(m_folder);
};

}  // namespace

TEST_F(BagCommands, ADamagedLargeBagIsToldAndCanBeRemoved)
{
    ASSERT_EQ(set({"Large", "blob", "@" + largeFile()}).exitCode, 0);
    host_test::damage(m_drawing.path, "xxxxxxxxxxxxxxxx");
    EXPECT_EQ(bag({"list"}).exitCode, 1);
    EXPECT_EQ(set({"Name", "int", "1"}).exitCode, 1);
    const ProgramResult exported =
        runZemhost({"bag", "export", m_drawing.path, m_folder.file("bags.json"), m_drawing.first});
    EXPECT_EQ(exported.exitCode, 1);
    EXPECT_THAT(exported.errors, HasSubstr("object " + m_drawing.first));
    EXPECT_EQ(bag({"remove", "--all"}).exitCode, 0);
    EXPECT_EQ(list()["bag"]["place"], "none");
    EXPECT_EQ(set({"Large", "blob", "@" + largeFile()}).exitCode, 0);
}

TEST_F(BagCommands, SetKeepsAValueOfEachType)
{
    struct Case
    {
        char const* type;
        Words words;
        Json stored;
    };
    const Case kCases[] = {
        {"string", {"left [bracket], grün"}, "left [bracket], grün"},
        {"string", {"[a,b]"}, "[a,b]"},
        {"string", {""}, ""},
        {"int", {"-2147483648"}, -2147483648LL},
        {"double", {"-2.5e-3"}, -0.0025},
        {"bool", {"true"}, true},
        {"int8", {"-128"}, -128},
        {"handle", {"1122334455667788"}, "1122334455667788"},
        {"id", {"soft-ownership"}, {{"reference", "soft ownership"}, {"handle", "0"}}},
        {"blob", {"00FFa5"}, "00ffa5"},
        {"array of int", {}, Json::array()},
        {"array-of-double", {"1", "2.5"}, {1.0, 2.5}},
        {"array of string", {"[x,y]", "b"}, {"[x,y]", "b"}},
        {"array of blob", {"00", ""}, {"00", ""}},
        {"map of string to int", {"here=4", "there=0"}, {{"here", 4}, {"there", 0}}},
        {"map of handle to bool", {"2a=yes"}, Json::array({{"2A", true}})},
        {"map-of-int-to-string", {"2=b", "1=a=c"}, Json::array({{1, "a=c"}, {2, "b"}})},
    };
    for (Case const& one : kCases) {
        Words words{"Name", one.type};
        words.insert(words.end(), one.words.begin(), one.words.end());
        words.insert(words.begin(), "--retype");
        const ProgramResult result = set(words);
        ASSERT_EQ(result.exitCode, 0) << one.type << ": " << result.errors;
        const Json value = get("Name");
        EXPECT_EQ(value["value"], one.stored) << one.type;
    }
}

TEST_F(BagCommands, SetKeepsEveryTypeThatJsonCanName)
{
    const std::map<std::string, Json> kScalars = {
        {"string", "text"},
        {"int", 5},
        {"double", 0.5},
        {"bool", true},
        {"int8", -1},
        {"handle", "2A"},
        {"id", {{"reference", "hard pointer"}, {"handle", "0"}}},
        {"blob", "0001"}};
    Json bags;
    Json& entries = bags[m_drawing.first];
    for (auto const& [type, value] : kScalars) {
        entries[type] = {{"type", type}, {"value", value}};
        entries["a " + type] = {{"type", "array of " + type}, {"value", {value, value}}};
    }
    const Json nested = {{"type", "array of int"}, {"value", {1, 2}}};
    entries["a value"] = {{"type", "array of value"}, {"value", {nested, nested}}};
    for (auto const& [keyType, key] : kScalars) {
        if (keyType == "blob") {
            continue;
        }
        for (auto const& [type, value] : kScalars) {
            const std::string name = "map of " + keyType + " to " + type;
            entries[name] = {{"type", name}, {"value", Json::array({{key, value}})}};
        }
        const std::string name = "map of " + keyType + " to value";
        entries[name] = {{"type", name}, {"value", Json::array({{key, nested}})}};
    }
    ASSERT_EQ(entries.size(), 80U);
    const std::string file = m_folder.write("all.json", bags.dump());
    ASSERT_EQ(runZemhost({"bag", "import", m_drawing.path, file}).exitCode, 0);
    EXPECT_EQ(runZemhost({"bag", "compare", m_drawing.path, file}).exitCode, 0);
    EXPECT_EQ(list()["entries"].size(), 80U);
    EXPECT_EQ(get("map of int8 to value")["value"], Json::array({{-1, nested}}));
}

TEST_F(BagCommands, SetRefusesValuesThatMakeNoSenseAndChangesNothing)
{
    struct Case
    {
        Words words;
        char const* reason;
    };
    const Case kCases[] = {
        {{"Name", "int", "2147483648"}, "2147483647"},
        {{"Name", "int", "five"}, "five"},
        {{"Name", "int8", "128"}, "-128 to 127"},
        {{"Name", "double", "1e400"}, "1e400"},
        {{"Name", "double", "nan"}, "a bag can't keep"},
        {{"Name", "double", "1e-310"}, "1e-310"},
        {{"Name", "bool", "maybe"}, "maybe"},
        {{"Name", "handle", "2G"}, "hexadecimal"},
        {{"Name", "handle", ""}, "hexadecimal"},
        {{"Name", "id", "firm-pointer"}, "soft pointer"},
        {{"Name", "id", "soft-pointer:20"}, "type handle"},
        {{"Name", "blob", "abc"}, "two hexadecimal digits"},
        {{"Name", "blob", "zz"}, "two hexadecimal digits"},
        {{"Name", "float", "1"}, "there is no type"},
        {{"Name", "array of", "1"}, "there is no type"},
        {{"Name", "map of blob to int", "a=1"}, "there is no type"},
        {{"Name", "map of int", "1=1"}, "map"},
        {{"Name", "map of int to int", "1"}, "KEY=VALUE"},
        {{"Name", "map of int to int", "1=1", "1=2"}, "twice"},
        {{"Name", "array of value", "1"}, "--json"},
        {{"Name", "string", "a\xFF"}, "UTF-8"},
        {{"Name", "string", std::string(32768, 'x')}, "32767"},
        {{"Name", "string", "two", "words"}, "one value"},
        {{"Name", "int"}, "one value"},
        {{"Name"}, "neither type nor --json"},
        {{"", "int", "1"}, "needs a name"},
        {{"_ver", "int", "1"}, "version"},
        {{"Name", "--json", "{"}, "is no JSON"},
        {{"Name", "--json", "5"}, "\"type\""},
        {{"Name", "--json", R"({"type": "int", "type": "int8", "value": 1})"}, "twice"},
        {{"Name", "--json", R"({"type": "array of int", "value": [1, "2"]})"}, "Name[1]"},
        {{"Name", "--json", R"({"type": "string", "value": "a\u0000b"})"}, "zero character"},
        {{"Name", "int", "1", "--json", "{}"}, "--json"},
    };
    const std::string before = host_test::readFile(m_drawing.path);
    for (Case const& one : kCases) {
        const ProgramResult result = set(one.words);
        EXPECT_EQ(result.exitCode, 2) << one.words.back();
        EXPECT_THAT(result.errors, HasSubstr(one.reason)) << one.words.back();
    }
    EXPECT_TRUE(host_test::readFile(m_drawing.path) == before);
}

TEST_F(BagCommands, SetRefusesValuesThatNestTooDeep)
{
    std::string text = R"({"type": "int", "value": 1})";
    for (int level = 0; level < 201; ++level) {
        text = R"({"type": "array of value", "value": [)" + text + "]}";
    }
    const std::string file = m_folder.write("deep.json", text);
    const ProgramResult result = set({"Name", "--json", "@" + file});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.errors, HasSubstr("nest deeper than 200 levels"));
}

TEST_F(BagCommands, JsonOfAnyDepthIsAnswered)
{
    for (std::string const& text : {std::string(300000, '['), "[" + std::string(300000, '{')}) {
        const ProgramResult result =
            runZemhost({"bag", "import", m_drawing.path, m_folder.write("deep.json", text)});
        EXPECT_THAT(result.exitCode, testing::AnyOf(2, 3));
        EXPECT_LT(result.errors.size(), 1000U);
    }
}

TEST_F(BagCommands, SetTakesABlobFromAFile)
{
    const std::string file = m_folder.write("bytes", std::string("\0\1\xFF", 3));
    ASSERT_EQ(set({"Bytes", "blob", "@" + file}).exitCode, 0);
    EXPECT_EQ(get("Bytes")["value"], "0001ff");
}

TEST_F(BagCommands, SetNamesAFileThatItCannotRead)
{
    for (std::string const& path : {m_folder.file("missing"), m_folder.path().string()}) {
        const ProgramResult result = set({"Bytes", "blob", "@" + path});
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_THAT(result.errors, HasSubstr(path));
    }
}

TEST_F(BagCommands, SetChangesTheTypeOnlyWhenTold)
{
    ASSERT_EQ(set({"Name", "int", "1"}).exitCode, 0);
    const ProgramResult refused = set({"Name", "double", "1"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_THAT(refused.errors, AllOf(HasSubstr("type int"), HasSubstr("--retype")));
    EXPECT_EQ(get("Name")["type"], "int");
    EXPECT_EQ(set({"--retype", "Name", "double", "1"}).exitCode, 0);
    EXPECT_EQ(get("Name")["type"], "double");
}

TEST_F(BagCommands, ABagMovesBetweenExtendedDataAndDictionaryAndLeavesNothingBehind)
{
    ASSERT_EQ(set({"Small", "int", "1"}).exitCode, 0);
    EXPECT_EQ(list()["bag"]["place"], "extended data");
    ASSERT_EQ(set({"Large", "blob", "@" + largeFile()}).exitCode, 0);
    EXPECT_EQ(list()["bag"]["place"], "extension dictionary");
    EXPECT_EQ(get("Small")["value"], 1);
    ASSERT_EQ(bag({"remove"}, {"Large"}).exitCode, 0);
    EXPECT_EQ(list()["bag"]["place"], "extended data");
    EXPECT_EQ(list()["entries"].size(), 1U);
    const ProgramResult check = runZemhost({"check", "--json", m_drawing.path});
    EXPECT_EQ(check.exitCode, 0);
    EXPECT_EQ(check.json()["findings"], Json::array());
    ASSERT_EQ(set({"Large", "blob", "@" + largeFile()}).exitCode, 0);
    EXPECT_EQ(list()["bag"]["place"], "extension dictionary");
}

TEST_F(BagCommands, TheBorderBetweenTheTwoPlacesIs15999Bytes)
{
    // Count 4, name 2 + 1, type 1, length 4, and the blob.
    const std::string most = m_folder.write("most", std::string(15999 - 12, 'x'));
    ASSERT_EQ(set({"B", "blob", "@" + most}).exitCode, 0);
    EXPECT_EQ(list()["bag"], Json({{"place", "extended data"}, {"bytes", 15999}}));
    const std::string more = m_folder.write("more", std::string(15999 - 11, 'x'));
    ASSERT_EQ(set({"B", "blob", "@" + more}).exitCode, 0);
    EXPECT_EQ(list()["bag"], Json({{"place", "extension dictionary"}, {"bytes", 16000}}));
}

TEST_F(BagCommands, ListShowsNameTypeAndValue)
{
    ASSERT_EQ(set({"Name", "string", "left"}).exitCode, 0);
    ASSERT_EQ(set({"Sizes", "array of double", "1", "2.5"}).exitCode, 0);
    const ProgramResult result = bag({"list"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("2 values in extended data"), HasSubstr("Name   string"),
                      HasSubstr("\"left\""), HasSubstr("array of double  [1.0,2.5]")));
}

TEST_F(BagCommands, ListOfAnObjectWithoutABagIsEmpty)
{
    const ProgramResult result = bag({"list"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, HasSubstr("no bag"));
    EXPECT_EQ(list()["bag"]["place"], "none");
    EXPECT_EQ(list()["entries"], Json::object());
}

TEST_F(BagCommands, GetGivesTheBareValue)
{
    ASSERT_EQ(set({"Name", "string", "left"}).exitCode, 0);
    EXPECT_EQ(bag({"get"}, {"Name"}).output, "left\n");
}

TEST_F(BagCommands, NamesDifferByCase)
{
    ASSERT_EQ(set({"Name", "int", "1"}).exitCode, 0);
    ASSERT_EQ(set({"name", "int", "2"}).exitCode, 0);
    EXPECT_EQ(get("Name")["value"], 1);
    EXPECT_EQ(get("name")["value"], 2);
}

TEST_F(BagCommands, AnAbsentValueIsAnAnswerOfNo)
{
    for (Words const& command : {Words{"get"}, Words{"remove"}}) {
        const ProgramResult result = bag(command, {"Nothing"});
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_THAT(result.errors, AllOf(HasSubstr("Nothing"), HasSubstr("bag list")));
    }
}

TEST_F(BagCommands, RemoveTakesTheWholeBagWhenTold)
{
    ASSERT_EQ(set({"Large", "blob", "@" + largeFile()}).exitCode, 0);
    ASSERT_EQ(bag({"remove", "--all"}).exitCode, 0);
    EXPECT_EQ(list()["bag"]["place"], "none");
    EXPECT_EQ(runZemhost({"check", "--json", m_drawing.path}).json()["findings"], Json::array());
}

TEST_F(BagCommands, RemoveNeedsANameOrAll)
{
    EXPECT_EQ(bag({"remove"}).exitCode, 2);
    EXPECT_EQ(bag({"remove", "--all"}, {"Name"}).exitCode, 2);
}

TEST_F(BagCommands, AnyObjectCanHaveABag)
{
    for (char const* handle : {"5", "9", "A"}) {
        ASSERT_EQ(runZemhost({"bag", "set", m_drawing.path, handle, "Name", "int", "1"}).exitCode,
                  0);
        EXPECT_EQ(runZemhost({"bag", "get", m_drawing.path, handle, "Name"}).output, "1\n");
    }
}

TEST_F(BagCommands, ExportGivesWhatImportTakes)
{
    ASSERT_EQ(set({"Name", "string", "left"}).exitCode, 0);
    ASSERT_EQ(set({"Large", "blob", "@" + largeFile()}).exitCode, 0);
    const std::string file = m_folder.file("bags.json");
    ASSERT_EQ(runZemhost({"bag", "export", m_drawing.path, file}).exitCode, 0);
    const SampleDrawing other = makeDrawing(m_folder, "other.zdw");
    ASSERT_EQ(runZemhost({"bag", "import", other.path, file}).exitCode, 0);
    EXPECT_EQ(runZemhost({"bag", "compare", other.path, file}).exitCode, 0);
    EXPECT_EQ(runZemhost({"bag", "export", other.path, "-"}).output, host_test::readFile(file));
}

TEST_F(BagCommands, CompareNamesEachDifference)
{
    ASSERT_EQ(set({"Same", "int", "1"}).exitCode, 0);
    ASSERT_EQ(set({"Changed", "int", "1"}).exitCode, 0);
    ASSERT_EQ(set({"Extra", "int", "1"}).exitCode, 0);
    const Json bags = {{m_drawing.first,
                        {{"Same", {{"type", "int"}, {"value", 1}}},
                         {"Changed", {{"type", "int"}, {"value", 2}}},
                         {"Missing", {{"type", "int"}, {"value", 1}}}}}};
    const ProgramResult result =
        runZemhost({"bag", "compare", m_drawing.path, m_folder.write("bags.json", bags.dump())});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("Changed is"), HasSubstr("Missing is missing"),
                      HasSubstr("Extra was not expected"), HasSubstr("3 differences")));
}

TEST_F(BagCommands, CompareFindsABagThatTheFileDoesNotName)
{
    ASSERT_EQ(set({"Name", "int", "1"}).exitCode, 0);
    const std::string file = m_folder.write("bags.json", "{}");
    EXPECT_EQ(runZemhost({"bag", "compare", m_drawing.path, file}).exitCode, 1);
}

TEST_F(BagCommands, ImportChangesNothingIfOneValueIsRefused)
{
    const std::string before = host_test::readFile(m_drawing.path);
    const Json good = {{"Name", {{"type", "int"}, {"value", 1}}}};
    const Json bad = {{"Name", {{"type", "int"}, {"value", "one"}}}};
    const Json bags = {{m_drawing.first, good}, {m_drawing.second, bad}};
    const ProgramResult result =
        runZemhost({"bag", "import", m_drawing.path, m_folder.write("bags.json", bags.dump())});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(host_test::readFile(m_drawing.path) == before);
}

TEST_F(BagCommands, ImportReadsStandardInput)
{
    const Json bags = {{m_drawing.first, {{"Name", {{"type", "int"}, {"value", 1}}}}}};
    ASSERT_EQ(
        runZemhost({"bag", "import", m_drawing.path, "-"}, {.input = bags.dump(), .outputFile = {}})
            .exitCode,
        0);
    EXPECT_EQ(get("Name")["value"], 1);
}

TEST_F(BagCommands, AFileThatIsNoJsonIsNamed)
{
    const std::string file = m_folder.write("bags.json", "{\"20\": ");
    const ProgramResult result = runZemhost({"bag", "import", m_drawing.path, file});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.errors, AllOf(HasSubstr(file), HasSubstr("is no JSON")));
}

TEST_F(BagCommands, ExportNamesAFileThatItCannotWrite)
{
    const std::string file = m_folder.file("missing/bags.json");
    const ProgramResult result = runZemhost({"bag", "export", m_drawing.path, file});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.errors, HasSubstr(file));
}

TEST_F(BagCommands, ABagOnADamagedObjectIsRefusedAndTheOthersWork)
{
    host_test::damage(m_drawing.path, "first solid");
    const ProgramResult result = set({"Name", "int", "1"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.errors,
                AllOf(HasSubstr("object " + m_drawing.first), HasSubstr("zemhost check")));
    EXPECT_EQ(
        runZemhost({"bag", "set", m_drawing.path, m_drawing.second, "Name", "int", "1"}).exitCode,
        0);
}

TEST_F(BagCommands, ExportTellsOfAnObjectWhoseBagItCannotRead)
{
    ASSERT_EQ(set({"Name", "int", "1"}).exitCode, 0);
    ASSERT_EQ(
        runZemhost({"bag", "set", m_drawing.path, m_drawing.second, "Name", "int", "1"}).exitCode,
        0);
    host_test::damage(m_drawing.path, "first solid");
    const std::string file = m_folder.file("bags.json");
    const ProgramResult result = runZemhost({"bag", "export", m_drawing.path, file});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.errors,
                AllOf(HasSubstr("object " + m_drawing.first), HasSubstr("left out")));
    EXPECT_TRUE(Json::parse(host_test::readFile(file)).contains(m_drawing.second));
}

TEST_F(BagCommands, CompareGoesOnBehindAnObjectThatIsMissingOrDamaged)
{
    ASSERT_EQ(set({"Name", "int", "1"}).exitCode, 0);
    host_test::damage(m_drawing.path, "first solid");
    const Json bag = {{"Name", {{"type", "int"}, {"value", 1}}}};
    const Json bags = {{m_drawing.first, bag}, {m_drawing.second, bag}, {"FFFF", bag}};
    const ProgramResult result =
        runZemhost({"bag", "compare", m_drawing.path, m_folder.write("bags.json", bags.dump())});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output, AllOf(HasSubstr("FFFF: isn't there"),
                                     HasSubstr(m_drawing.first + ": can't be read"),
                                     HasSubstr(m_drawing.second + ": Name is missing"),
                                     HasSubstr("3 differences")));
}

TEST_F(BagCommands, AFileMayWriteHandlesInAnyWayButEachOnce)
{
    ASSERT_EQ(set({"Name", "int", "1"}).exitCode, 0);
    const Json bag = {{"Name", {{"type", "int"}, {"value", 1}}}};
    const std::string once =
        m_folder.write("once.json", Json({{"00" + m_drawing.first, bag}}).dump());
    EXPECT_EQ(runZemhost({"bag", "compare", m_drawing.path, once}).exitCode, 0);
    EXPECT_EQ(runZemhost({"bag", "compare", m_drawing.path, once, m_drawing.first}).exitCode, 0);
    const std::string twice = m_folder.write(
        "twice.json", Json({{m_drawing.first, bag}, {"00" + m_drawing.first, bag}}).dump());
    const ProgramResult result = runZemhost({"bag", "import", m_drawing.path, twice});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.errors, HasSubstr("two bags of object"));
}

TEST_F(BagCommands, ExportReplacesNoDrawing)
{
    const std::string before = host_test::readFile(m_drawing.path);
    EXPECT_EQ(runZemhost({"bag", "export", m_drawing.path, m_drawing.path}).exitCode, 3);
    EXPECT_TRUE(host_test::readFile(m_drawing.path) == before);
}

TEST_F(BagCommands, RemovingABagThatIsNotThereIsTold)
{
    const ProgramResult result =
        runZemhost({"bag", "remove", "--all", m_drawing.path, m_drawing.first});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.errors, HasSubstr("has no bag"));
}

TEST_F(BagCommands, NumbersThatAreNoneAreToldAsGiven)
{
    for (char const* word : {"nan", "inf"}) {
        const ProgramResult result = set({"Name", "double", word});
        EXPECT_EQ(result.exitCode, 2) << word;
        EXPECT_THAT(result.errors, HasSubstr(word)) << word;
    }
}

TEST_F(BagCommands, ListShowsTextsAsJsonDoes)
{
    ASSERT_EQ(set({"Name", "string", "a\nb \"c\""}).exitCode, 0);
    const ProgramResult result = runZemhost({"bag", "list", m_drawing.path, m_drawing.first});
    EXPECT_THAT(result.output, HasSubstr("\"a\\nb \\\"c\\\"\""));
}
