// STEP files written by the kernel.

#include "kernel/kernel_export.h"

#include "kernel_test_files.h"

#include <gtest/gtest.h>

namespace {

using kernel_test::TemporaryFolder;
using zemhost::ImportedSolid;
using zemhost::KernelError;
using zemhost::KernelFailure;
using zemhost::KernelSolid;

std::size_t fileCount(const std::filesystem::path& folder)
{
    const std::filesystem::directory_iterator files(folder);
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

TEST(ExportStep, WritesSolidsThatImportBringsBackWithTheirNames)
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "two.step";
    const KernelSolid box = KernelSolid::makeBox(1, 2, 3);
    const std::vector<ImportedSolid> solids = {
        {box, "first"}, {KernelSolid::makeCylinder(5, 8), "T\xC3\xBCr's \\ two"}, {box, "third"}};
    zemhost::exportStep(file, solids);
    const zemhost::ImportResult result = zemhost::importStep(file);
    ASSERT_EQ(result.solids.size(), solids.size());
    for (std::size_t index = 0; index < solids.size(); ++index) {
        const KernelSolid& written = solids[index].solid;
        const KernelSolid& read = result.solids[index].solid;
        EXPECT_EQ(result.solids[index].name, solids[index].name);
        EXPECT_EQ(read.faceCount(), written.faceCount());
        EXPECT_EQ(read.edgeCount(), written.edgeCount());
        EXPECT_EQ(read.vertexCount(), written.vertexCount());
        EXPECT_NEAR(read.volumeMm3(), written.volumeMm3(), 1e-6);
        EXPECT_TRUE(read.isValid());
    }
    EXPECT_EQ(fileCount(folder.path()), 1U);
}

TEST(ExportStep, LeavesTheOldFileWhenItCannotWrite)
{
    const TemporaryFolder folder;
    const std::vector<ImportedSolid> solids = {{KernelSolid::makeBox(1, 2, 3), "box"}};
    // A folder stands where the file shall go.
    const std::filesystem::path taken = folder.path() / "taken.step";
    std::filesystem::create_directory(taken);
    try {
        zemhost::exportStep(taken, solids);
        FAIL() << "no error";
    } catch (const KernelError& error) {
        EXPECT_EQ(error.failure(), KernelFailure::kWriteFailed);
        EXPECT_EQ(error.file(), taken.string());
    }
    EXPECT_TRUE(std::filesystem::is_directory(taken));
    EXPECT_EQ(fileCount(folder.path()), 1U);
}

TEST(ExportStep, TellsAFolderThatDoesNotExist)
{
    const TemporaryFolder folder;
    const std::vector<ImportedSolid> solids = {{KernelSolid::makeBox(1, 2, 3), "box"}};
    try {
        zemhost::exportStep(folder.path() / "none" / "box.step", solids);
        FAIL() << "no error";
    } catch (const KernelError& error) {
        EXPECT_EQ(error.failure(), KernelFailure::kWriteFailed);
    }
}

TEST(ExportStep, RefusesToWriteNothing)
{
    const TemporaryFolder folder;
    try {
        zemhost::exportStep(folder.path() / "none.step", {});
        FAIL() << "no error";
    } catch (const KernelError& error) {
        EXPECT_EQ(error.failure(), KernelFailure::kBadArgument);
    }
    EXPECT_EQ(fileCount(folder.path()), 0U);
}

}  // namespace
