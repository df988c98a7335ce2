// Import of real parts, and the error for each file that is none.

#include "kernel/kernel_export.h"
#include "kernel/kernel_import.h"

#include "kernel_test_files.h"

#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepTools.hxx>
#include <BRep_Builder.hxx>
#include <BinTools.hxx>
#include <Interface_Static.hxx>
#include <STEPControl_Writer.hxx>
#include <TopoDS_Compound.hxx>
#include <gp_Pln.hxx>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <stdexcept>

namespace {

using kernel_test::boxStepText;
using kernel_test::replaced;
using kernel_test::samplePath;
using kernel_test::TemporaryFolder;
using zemhost::ImportFormat;
using zemhost::ImportOptions;
using zemhost::ImportResult;
using zemhost::KernelError;
using zemhost::KernelFailure;

std::optional<KernelFailure> importFailure(const std::filesystem::path& path,
                                           const ImportOptions& options = {})
{
    try {
        (void)zemhost::importFile(path, options);
    } catch (const KernelError& error) {
        EXPECT_EQ(error.file(), path.string());
        EXPECT_FALSE(error.reason().empty());
        return error.failure();
    }
    return std::nullopt;
}

bool hasChildren()
{
    return ::waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD;
}

//--------------------------------------------------------------------------------------------------
// Real parts

struct SampleCase
{
    std::filesystem::path path;
    ImportFormat format;
    std::size_t solids;
    int faces;
    int edges;
    int vertices;
    const char* firstName;
};

std::vector<SampleCase> samples()
{
    return {
        {samplePath("step/linkrods.step"), ImportFormat::kStep, 1, 37, 108, 74, "the product name"},
        {samplePath("step/screw.step"), ImportFormat::kStep, 1, 10, 22, 14, "the product name"},
        {kernel_test::frameStepPath(), ImportFormat::kStep, 1, 375, 958, 632, "PROESOURCE"},
        {samplePath("occ/CrankArm.brep"), ImportFormat::kBrep, 2, 53, 138, 88, ""},
        {samplePath("occ/Motor-c.brep"), ImportFormat::kBrep, 17, 223, 514, 335, ""},
        {samplePath("occ/wedge_ok.brep"), ImportFormat::kBrep, 1, 6, 12, 8, ""},
    };
}

TEST(ImportFile, CountsSolidsFacesEdgesAndVerticesOfRealParts)
{
    for (const SampleCase& sample : samples()) {
        const ImportResult result = zemhost::importFile(sample.path);
        EXPECT_EQ(result.format, sample.format) << sample.path;
        ASSERT_EQ(result.solids.size(), sample.solids) << sample.path;
        int faces = 0;
        int edges = 0;
        int vertices = 0;
        for (const zemhost::ImportedSolid& solid : result.solids) {
            EXPECT_TRUE(solid.solid.isValid()) << sample.path;
            EXPECT_GT(solid.solid.volumeMm3(), 0) << sample.path;
            faces += solid.solid.faceCount();
            edges += solid.solid.edgeCount();
            vertices += solid.solid.vertexCount();
        }
        EXPECT_EQ(faces, sample.faces) << sample.path;
        EXPECT_EQ(edges, sample.edges) << sample.path;
        EXPECT_EQ(vertices, sample.vertices) << sample.path;
        EXPECT_EQ(result.solids.front().name, sample.firstName) << sample.path;
        EXPECT_TRUE(result.warnings.empty()) << sample.path;
    }
}

TEST(ImportFile, GivesSolidsWhoseBytesReadBackTheSame)
{
    for (const SampleCase& sample : samples()) {
        for (const zemhost::ImportedSolid& solid : zemhost::importFile(sample.path).solids) {
            const std::vector<unsigned char> bytes = solid.solid.toBytes();
            const zemhost::KernelSolid again = zemhost::KernelSolid::fromBytes(bytes);
            EXPECT_EQ(again.toBytes(), bytes) << sample.path;
            EXPECT_EQ(again.faceCount(), solid.solid.faceCount()) << sample.path;
        }
    }
}

TEST(ImportFile, GivesTheSameBytesAndFiguresEveryTimeInEitherProcess)
{
    ImportOptions here;
    here.isolation = zemhost::ImportIsolation::kSameProcess;
    for (const char* name : {"step/screw.step", "occ/mal_vis.brep", "occ/bottle.brep"}) {
        const ImportResult first = zemhost::importFile(samplePath(name));
        const ImportResult second = zemhost::importFile(samplePath(name));
        const ImportResult third = zemhost::importFile(samplePath(name), here);
        ASSERT_EQ(first.solids.size(), second.solids.size()) << name;
        ASSERT_EQ(first.solids.size(), third.solids.size()) << name;
        for (std::size_t index = 0; index < first.solids.size(); ++index) {
            const zemhost::KernelSolid& solid = first.solids[index].solid;
            EXPECT_EQ(solid.toBytes(), second.solids[index].solid.toBytes()) << name;
            EXPECT_EQ(solid.toBytes(), third.solids[index].solid.toBytes()) << name;
            EXPECT_EQ(kernel_test::describe(solid),
                      kernel_test::describe(third.solids[index].solid))
                << name;
            // The figures that the child measured are those of the bytes.
            EXPECT_EQ(kernel_test::describe(solid),
                      kernel_test::describe(zemhost::KernelSolid::fromBytes(solid.toBytes())))
                << name;
        }
    }
}

TEST(ImportFile, WarnsOfASolidThatTheCheckFindsFaulty)
{
    const ImportResult result = zemhost::importFile(samplePath("occ/Top.brep"));
    ASSERT_EQ(result.solids.size(), 1U);
    EXPECT_FALSE(result.solids[0].solid.isValid());
    ASSERT_EQ(result.warnings.size(), 1U);
    EXPECT_EQ(result.warnings[0], "solid 1: the kernel's check finds faults in it");
}

TEST(ImportFile, LeavesOutASolidWithoutFacesAndTakesTheOthers)
{
    const ImportResult result = zemhost::importFile(samplePath("occ/Axis_of_bearing.brep"));
    EXPECT_EQ(result.solids.size(), 17U);
    ASSERT_EQ(result.warnings.size(), 1U);
    EXPECT_EQ(result.warnings[0], "solid 15: the solid has no faces; left out");
}

TEST(ImportFile, TellsThePolesOfABallAsDegeneratedEdges)
{
    // The third solid of this part is a ball of radius 2.
    const ImportResult result = zemhost::importFile(samplePath("occ/Axis_of_bearing.brep"));
    const zemhost::KernelSolid& ball = result.solids.at(2).solid;
    ASSERT_EQ(ball.faceCount(), 1);
    EXPECT_EQ(ball.face(1).kind, zemhost::SurfaceKind::kSphere);
    int degenerated = 0;
    for (int number = 1; number <= ball.edgeCount(); ++number) {
        if (ball.edge(number).kind == zemhost::CurveKind::kDegenerated) {
            EXPECT_EQ(ball.edge(number).lengthMm, 0);
            ++degenerated;
        }
    }
    EXPECT_EQ(degenerated, 2);
}

//--------------------------------------------------------------------------------------------------
// Formats, units, names, places

TEST(ImportFile, GoesByTheContentAndNotByTheEnding)
{
    const TemporaryFolder folder;
    for (const char* name : {"box.STEP", "box.Stp", "box.brep", "box"}) {
        const ImportResult result = zemhost::importFile(folder.write(name, boxStepText()));
        EXPECT_EQ(result.format, ImportFormat::kStep) << name;
        EXPECT_EQ(result.solids.size(), 1U) << name;
    }
}

TEST(ImportFile, ReadsBinaryBrepToo)
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "box.brp";
    ASSERT_TRUE(BinTools::Write(BRepPrimAPI_MakeBox(1, 2, 3).Solid(), file.c_str()));
    const ImportResult result = zemhost::importFile(file);
    EXPECT_EQ(result.format, ImportFormat::kBrep);
    ASSERT_EQ(result.solids.size(), 1U);
    EXPECT_NEAR(result.solids[0].solid.volumeMm3(), 6, 1e-9);
}

TEST(ImportFile, TurnsOtherUnitsIntoMillimetres)
{
    const TemporaryFolder folder;
    const std::string metres =
        replaced(boxStepText(), "SI_UNIT(.MILLI.,.METRE.)", "SI_UNIT($,.METRE.)");
    const ImportResult result = zemhost::importFile(folder.write("metres.step", metres));
    ASSERT_EQ(result.solids.size(), 1U);
    const zemhost::KernelBox box = result.solids[0].solid.boundingBox();
    EXPECT_NEAR(box.max[0], 10'000, 1e-3);
    EXPECT_NEAR(box.max[1], 20'000, 1e-3);
    EXPECT_NEAR(box.max[2], 30'000, 1e-3);
}

struct NameCase
{
    const char* name;
    const char* product;  // what stands for the product's id and name
    const char* expected;
};

TEST(ImportFile, NamesASolidByTheFirstOfProductNameProductIdAndSolidName)
{
    constexpr NameCase kNames[] = {
        {"name and id", "'part 17','bracket'", "bracket"},
        {"id only", "'part 17',''", "part 17"},
        {"neither", "'',''", "body"},
        {"letters outside ASCII", "'','T\\X2\\00FC\\X0\\r'", "T\xC3\xBCr"},
    };
    const TemporaryFolder folder;
    const std::string solidNamed =
        replaced(boxStepText(), "MANIFOLD_SOLID_BREP(''", "MANIFOLD_SOLID_BREP('body'");
    for (const NameCase& row : kNames) {
        const std::string text = replaced(solidNamed, "'sample box','sample box'", row.product);
        const ImportResult result = zemhost::importFile(folder.write("named.step", text));
        ASSERT_EQ(result.solids.size(), 1U) << row.name;
        EXPECT_EQ(result.solids[0].name, row.expected) << row.name;
    }
}

/// Two boxes of 1 x 2 x 3 mm that share one shape; the second stands 100 mm further along x.
TopoDS_Compound boxTwice()
{
    const TopoDS_Shape box = BRepPrimAPI_MakeBox(1, 2, 3).Solid();
    gp_Trsf move;
    move.SetTranslation(gp_Vec(100, 0, 0));
    BRep_Builder builder;
    TopoDS_Compound compound;
    builder.MakeCompound(compound);
    builder.Add(compound, box);
    builder.Add(compound, box.Moved(TopLoc_Location(move)));
    return compound;
}

void expectBoxTwice(const ImportResult& result)
{
    ASSERT_EQ(result.solids.size(), 2U);
    EXPECT_NEAR(result.solids[0].solid.boundingBox().min[0], 0, 1e-9);
    EXPECT_NEAR(result.solids[1].solid.boundingBox().min[0], 100, 1e-9);
    for (const zemhost::ImportedSolid& solid : result.solids) {
        EXPECT_EQ(solid.solid.faceCount(), 6);
        EXPECT_NEAR(solid.solid.volumeMm3(), 6, 1e-9);
    }
}

TEST(ImportFile, TakesACompoundApartAndKeepsThePlaces)
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "twice.brep";
    ASSERT_TRUE(BRepTools::Write(boxTwice(), file.c_str()));
    expectBoxTwice(zemhost::importFile(file));
}

TEST(ImportFile, TakesAnAssemblyApartAndKeepsThePlaces)
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "twice.step";
    {
        STEPControl_Writer writer;
        Interface_Static::SetIVal("write.step.assembly", 1);
        ASSERT_EQ(writer.Transfer(boxTwice(), STEPControl_AsIs), IFSelect_RetDone);
        ASSERT_EQ(writer.Write(file.c_str()), IFSelect_RetDone);
    }
    ASSERT_NE(kernel_test::readFile(file).find("NEXT_ASSEMBLY_USAGE_OCCURRENCE"),
              std::string::npos);
    const ImportResult result = zemhost::importFile(file);
    expectBoxTwice(result);
    EXPECT_FALSE(result.solids[0].name.empty());
    EXPECT_EQ(result.solids[0].name, result.solids[1].name);
}

TEST(ImportFile, TakesASolidThatOccursTwiceAtOnePlaceOnce)
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "same.brep";
    const TopoDS_Shape box = BRepPrimAPI_MakeBox(1, 2, 3).Solid();
    BRep_Builder builder;
    TopoDS_Compound compound;
    builder.MakeCompound(compound);
    builder.Add(compound, box);
    builder.Add(compound, box);
    ASSERT_TRUE(BRepTools::Write(compound, file.c_str()));
    EXPECT_EQ(zemhost::importFile(file).solids.size(), 1U);
}

TEST(ImportStep, RefusesBrep)
{
    try {
        (void)zemhost::importStep(samplePath("occ/wedge_ok.brep"));
        FAIL() << "no error";
    } catch (const KernelError& error) {
        EXPECT_EQ(error.failure(), KernelFailure::kUnknownFormat);
        EXPECT_EQ(error.reason(), "not a STEP file: it holds BREP data");
    }
    EXPECT_EQ(zemhost::importStep(samplePath("step/screw.step")).solids.size(), 1U);
}

TEST(ImportBrep, RefusesStep)
{
    try {
        (void)zemhost::importBrep(samplePath("step/screw.step"));
        FAIL() << "no error";
    } catch (const KernelError& error) {
        EXPECT_EQ(error.failure(), KernelFailure::kUnknownFormat);
        EXPECT_EQ(error.reason(), "not a BREP file: it holds STEP data");
    }
    EXPECT_EQ(zemhost::importBrep(samplePath("occ/wedge_ok.brep")).solids.size(), 1U);
}

//--------------------------------------------------------------------------------------------------
// Files that are no parts

struct BadFileCase
{
    const char* name;
    std::string content;
    KernelFailure expected;
};

TEST(ImportFile, TellsWhatIsWrongWithAFile)
{
    const std::string step = boxStepText();
    const std::string wedge = kernel_test::readFile(samplePath("occ/wedge_ok.brep"));
    const BadFileCase cases[] = {
        {"empty.step", "", KernelFailure::kEmptyFile},
        {"text.step", "dear reader\n", KernelFailure::kUnknownFormat},
        {"binary.brep", std::string("\0\1\2\3", 4), KernelFailure::kUnknownFormat},
        {"packed.step", "\x1F\x8B\x08 and more", KernelFailure::kUnknownFormat},
        {"mark.step", "ISO-103", KernelFailure::kTruncatedFile},
        {"half.step", step.substr(0, step.size() / 2), KernelFailure::kTruncatedFile},
        {"mark.brep", "CASCADE Topo", KernelFailure::kTruncatedFile},
        {"first_line.brep", "DBRep_DrawableShape\n\n", KernelFailure::kTruncatedFile},
        {"header.brep", "CASCADE Topology V1, (c) Matra-Datavision\nLocations 4\n",
         KernelFailure::kTruncatedFile},
        {"words.brep", replaced(wedge, "Curve2ds ", "Curve2ds many "), KernelFailure::kDamagedFile},
        {"no_data.step", "ISO-10303-21;\nEND-ISO-10303-21;\n", KernelFailure::kDamagedFile},
        {"no_solid.step",
         "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION((''),'2;1');\nFILE_NAME('','',(''),(''),'','','"
         "');\nFILE_SCHEMA(('AUTOMOTIVE_DESIGN'));\nENDSEC;\nDATA;\n#1=CARTESIAN_POINT('',(0.,0.,"
         "0.));\nENDSEC;\nEND-ISO-10303-21;\n",
         KernelFailure::kNoSolid},
    };
    const TemporaryFolder folder;
    for (const BadFileCase& row : cases) {
        EXPECT_EQ(importFailure(folder.write(row.name, row.content)), row.expected) << row.name;
    }
}

TEST(ImportFile, TellsAMissingFileAndAFolder)
{
    const TemporaryFolder folder;
    EXPECT_EQ(importFailure(folder.path() / "none.step"), KernelFailure::kMissingFile);
    EXPECT_EQ(importFailure(folder.path()), KernelFailure::kMissingFile);
}

TEST(ImportFile, TellsAFileThatMayNotBeRead)
{
    if (::geteuid() == 0) {
        GTEST_SKIP() << "the superuser may read every file";
    }
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.write("locked.step", boxStepText());
    std::filesystem::permissions(file, std::filesystem::perms::none);
    EXPECT_EQ(importFailure(file), KernelFailure::kUnreadableFile);
}

TEST(ImportFile, TellsAFileWithoutASolid)
{
    EXPECT_EQ(importFailure(samplePath("occ/face1.brep")), KernelFailure::kNoSolid);
}

TEST(ImportFile, GivesAMessageThatNamesFileReasonAndWayOut)
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.write("note.step", "hello");
    try {
        (void)zemhost::importFile(file);
        FAIL() << "no error";
    } catch (const KernelError& error) {
        EXPECT_EQ(error.what(), file.string() +
                                    ": not a STEP file: it begins with \"hello\"; give a STEP "
                                    "(.step, .stp) or BREP (.brep, .brp) file");
    }
}

//--------------------------------------------------------------------------------------------------
// Progress and limits

TEST(ImportFile, ReportsProgressThatRisesToOne)
{
    for (const auto isolation :
         {zemhost::ImportIsolation::kChildProcess, zemhost::ImportIsolation::kSameProcess}) {
        std::vector<double> fractions;
        std::vector<std::string> steps;
        ImportOptions options;
        options.isolation = isolation;
        options.progress = [&](double fraction, const std::string& step) {
            fractions.push_back(fraction);
            if (steps.empty() || steps.back() != step) {
                steps.push_back(step);
            }
            return true;
        };
        (void)zemhost::importFile(samplePath("step/screw.step"), options);
        ASSERT_FALSE(fractions.empty());
        EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
        EXPECT_EQ(fractions.front(), 0);
        EXPECT_EQ(fractions.back(), 1);
        EXPECT_EQ(steps, (std::vector<std::string>{"reading", "translating", "measuring"}));
    }
}

TEST(ImportFile, TellsHowMuchOfAStepFileHasBeenRead)
{
    std::vector<double> fractions;
    ImportOptions options;
    options.progress = [&](double fraction, const std::string& step) {
        if (step == "reading" && (fractions.empty() || fractions.back() != fraction)) {
            fractions.push_back(fraction);
        }
        return true;
    };
    (void)zemhost::importFile(kernel_test::frameStepPath(), options);
    EXPECT_GE(fractions.size(), 6U);
}

TEST(ImportFile, StopsInTheMiddleOfReadingAStepFile)
{
    for (const auto isolation :
         {zemhost::ImportIsolation::kChildProcess, zemhost::ImportIsolation::kSameProcess}) {
        ImportOptions options;
        options.isolation = isolation;
        options.progress = [](double fraction, const std::string&) { return fraction == 0; };
        EXPECT_EQ(importFailure(kernel_test::frameStepPath(), options), KernelFailure::kCancelled);
        options.progress = [](double fraction, const std::string&) -> bool {
            return fraction == 0 ? true : throw std::logic_error("from the caller");
        };
        EXPECT_THROW((void)zemhost::importFile(kernel_test::frameStepPath(), options),
                     std::logic_error);
    }
}

TEST(ImportFile, StopsWhenTheProgressFunctionSaysNo)
{
    for (const auto isolation :
         {zemhost::ImportIsolation::kChildProcess, zemhost::ImportIsolation::kSameProcess}) {
        for (const char* lastStep : {"reading", "translating", "measuring"}) {
            ImportOptions options;
            options.isolation = isolation;
            options.progress = [&](double, const std::string& step) { return step != lastStep; };
            EXPECT_EQ(importFailure(samplePath("step/screw.step"), options),
                      KernelFailure::kCancelled)
                << lastStep;
            EXPECT_FALSE(hasChildren());
        }
    }
}

TEST(ImportFile, PassesOnWhatTheProgressFunctionThrows)
{
    ImportOptions options;
    options.progress = [](double, const std::string&) -> bool {
        throw std::logic_error("from the caller");
    };
    EXPECT_THROW((void)zemhost::importFile(samplePath("step/screw.step"), options),
                 std::logic_error);
    EXPECT_FALSE(hasChildren());
}

TEST(ImportFile, KeepsTheTimeLimit)
{
    ImportOptions options;
    options.timeLimit = std::chrono::milliseconds(20);
    EXPECT_EQ(importFailure(samplePath("step/linkrods.step"), options), KernelFailure::kTimeLimit);
    EXPECT_FALSE(hasChildren());
}

TEST(ImportFile, KeepsTheMemoryLimit)
{
    ImportOptions options;
    options.memoryLimitBytes = std::uint64_t{4} << 20;
    // Memory that this process has freed and kept would serve the child within its limit.
    (void)::malloc_trim(0);
    EXPECT_EQ(importFailure(samplePath("step/linkrods.step"), options),
              KernelFailure::kMemoryLimit);
    EXPECT_FALSE(hasChildren());
}

TEST(ImportFile, PrintsNothing)
{
    ImportOptions here;
    here.isolation = zemhost::ImportIsolation::kSameProcess;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    (void)zemhost::importFile(samplePath("step/screw.step"), here);
    (void)zemhost::importFile(samplePath("step/screw.step"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
