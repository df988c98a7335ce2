#include "store/drawing_test_support.h"
#include "store/failing_file_layer.h"
#include "store/od_db_drawing.h"
#include "store/od_db_drawing_check.h"
#include "store/od_db_drawing_store.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

namespace {

constexpr auto kForWriting = OdDbOpenDrawingMode::kForWriting;
/// More steps than any of the saves takes.
constexpr int kTooManySteps = 9000;
constexpr std::size_t kSmallBlob = 100;
/// Makes a record lie outside of its page. It is written in more than a thousand steps, of which only
/// some are tried.
constexpr std::size_t kLargeBlob = (1 << 20) + 1;
constexpr int kLargeStride = 211;

class OdDbDrawingFaultTest : public testing::Test
{
protected:
    OdDbPlatform platform;
    StoreTestClasses classes;
    TemporaryFolder folder;
    FailingFileLayer layer;
    std::filesystem::path const original = folder.file("original.zdw");
    std::filesystem::path const path = folder.file("part.zdw");
    std::uint64_t firstPart = 0;
    DrawingContent oldContent;
    DrawingContent newContent;

    void makeOriginal(int parts, std::size_t blobBytes)
    {
        const OdDbDatabasePtr database = makeDrawing(0);
        firstPart = database->handseed().value();
        m_parts = static_cast<std::uint64_t>(parts);
        m_blobBytes = blobBytes;
        for (int seed = 1; seed <= parts; ++seed) {
            addPart(*database, seed);
        }
        addPart(*database, parts + 1, {}, blobBytes);
        odDbSaveDrawingAs(*database, textOf(original));
        oldContent = contentOf(*database);
        edit(*database);
        newContent = contentOf(*database);
    }

    /// Changes, adds and erases objects, some with records outside of their pages.
    void edit(OdDbDatabase& database) const
    {
        const auto change = [&](std::uint64_t part, std::size_t blobBytes) {
            const StoreTestPartPtr object =
                database.getOdDbObjectId(OdDbHandle(firstPart + part)).openObject(OdDb::kForWrite);
            object->assertWriteEnabled();
            object->number = 5000;
            object->blob.resize(blobBytes);
        };
        change(3, 0);
        change(m_parts / 2, m_blobBytes);
        change(m_parts, 7);
        EXPECT_EQ(database.getOdDbObjectId(OdDbHandle(firstPart + m_parts / 4))
                      .openObject(OdDb::kForWrite)
                      ->erase(),
                  kOdOk);
        addPart(database, 300);
    }
    void restore() const
    {
        for (std::string const& name : folder.names()) {
            if (name != "original.zdw") {
                std::filesystem::remove(folder.file(name.c_str()));
            }
        }
        std::filesystem::copy_file(original, path);
    }
    testing::AssertionResult isOldOrNew(DrawingContent const& content) const
    {
        if (same(content, oldContent) || same(content, newContent)) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "neither old: " << same(content, oldContent).message()
                                           << ", nor new: " << same(content, newContent).message();
    }

    std::uint64_t m_parts = 0;
    std::size_t m_blobBytes = 0;

    using Save = void (*)(OdDbDatabase&, std::filesystem::path const&);
    static void savePlain(OdDbDatabase& database, std::filesystem::path const&)
    {
        odDbSaveDrawing(database);
    }
    static void saveAs(OdDbDatabase& database, std::filesystem::path const& file)
    {
        odDbSaveDrawingAs(database, textOf(file));
    }

    /// Fails at every step in turn until the save gets through. After each failure the file is whole,
    /// nothing counts as saved, and trying again succeeds.
    void failEveryStep(Save save, FaultKind kind, int stride = 1)
    {
        int failures = 0;
        for (int step = 1; step < kTooManySteps; step += stride) {
            SCOPED_TRACE("step " + std::to_string(step));
            restore();
            const OdDbDatabasePtr database = odDbOpenDrawing(textOf(path), kForWriting);
            edit(*database);
            layer.failAt(step, kind);
            OdResult result = kOdOk;
            try {
                save(*database, path);
            } catch (OdError const& error) {
                result = error.code();
                EXPECT_EQ(std::string(error.what()).find(path.string() + ": "), 0U) << error.what();
            }
            const bool hasFailed = layer.hasFailed();
            layer.failAt(0, FaultKind::kNone);
            ASSERT_TRUE(isOldOrNew(contentOf(path)));
            ASSERT_TRUE(same(contentOf(*database), newContent));
            if (result == kOdOk) {
                ASSERT_TRUE(same(contentOf(path), newContent));
            } else {
                ++failures;
                EXPECT_EQ(result, kOdFileAccess);
                EXPECT_TRUE(database->isChanged());
                save(*database, path);
                ASSERT_TRUE(same(contentOf(path), newContent));
                EXPECT_TRUE(OdDbDrawingStore::of(*database)->file().checkStructure().empty());
            }
            EXPECT_FALSE(database->isChanged());
            if (!hasFailed) {
                EXPECT_GT(failures, 0);
                return;
            }
        }
        FAIL() << "the save never got through";
    }

    /// Lets a second process die at every step in turn until its save gets through. The file it
    /// leaves opens as the old or the new drawing, and can be saved.
    void dieAtEveryStep(Save save, FaultKind kind, int stride = 1)
    {
        int deaths = 0;
        for (int step = 1; step < kTooManySteps; step += stride) {
            SCOPED_TRACE("step " + std::to_string(step));
            restore();
            const pid_t process = ::fork();
            ASSERT_GE(process, 0);
            if (process == 0) {
                const OdDbDatabasePtr database = odDbOpenDrawing(textOf(path), kForWriting);
                edit(*database);
                layer.failAt(step, kind);
                save(*database, path);
                ::_exit(0);
            }
            int status = 0;
            ASSERT_EQ(::waitpid(process, &status, 0), process);
            if (WIFEXITED(status)) {
                EXPECT_EQ(WEXITSTATUS(status), 0);
                EXPECT_TRUE(same(contentOf(path), newContent));
                EXPECT_GT(deaths, 0);
                return;
            }
            ASSERT_EQ(WTERMSIG(status), SIGKILL);
            ++deaths;
            ASSERT_TRUE(isOldOrNew(contentOf(path)));
            const OdDbDatabasePtr database = odDbOpenDrawing(textOf(path), kForWriting);
            EXPECT_TRUE(OdDbDrawingStore::of(*database)->file().checkStructure().empty());
            odDbSaveDrawingAs(*database, textOf(path));
            // The temporary file of the dead process is gone.
            EXPECT_EQ(folder.names(), (std::vector<std::string>{"original.zdw", "part.zdw"}));
        }
        FAIL() << "the save never got through";
    }
};

TEST_F(OdDbDrawingFaultTest, TellsOfAFolderInWhichNoFileCanBeMade)
{
    makeOriginal(/*parts=*/5, kSmallBlob);
    restore();
    const OdDbDatabasePtr database = odDbOpenDrawing(textOf(path), kForWriting);
    edit(*database);
    for (Save const save : {&savePlain, &saveAs}) {
        layer.failAt(1, FaultKind::kOnce);  // making the journal, or the new file
        std::string text;
        try {
            save(*database, path);
        } catch (OdError const& error) {
            EXPECT_EQ(error.code(), kOdFileAccess);
            text = error.what();
        }
        layer.failAt(0, FaultKind::kNone);
        EXPECT_NE(text.find("no file can be made in its folder"), std::string::npos) << text;
    }
    ASSERT_TRUE(same(contentOf(path), oldContent));
}

TEST_F(OdDbDrawingFaultTest, SavesOrLeavesTheOldDrawingIfAnyStepFailsOnce)
{
    makeOriginal(/*parts=*/200, kSmallBlob);
    failEveryStep(savePlain, FaultKind::kOnce);
}

TEST_F(OdDbDrawingFaultTest, SavesOrLeavesTheOldDrawingIfAllStepsFailFromOneOn)
{
    makeOriginal(/*parts=*/200, kSmallBlob);
    failEveryStep(savePlain, FaultKind::kFromThere);
}

TEST_F(OdDbDrawingFaultTest, GoesOnFromASaveThatFailedWhenItWasDone)
{
    for (std::size_t const blobBytes : {kSmallBlob, kLargeBlob}) {
        SCOPED_TRACE(blobBytes);
        std::filesystem::remove(original);
        makeOriginal(/*parts=*/10, blobBytes);
        restore();
        const OdDbDatabasePtr database = odDbOpenDrawing(textOf(path), kForWriting);
        edit(*database);
        layer.failAt(1, FaultKind::kLate);
        EXPECT_THROW(odDbSaveDrawing(*database), OdError);
        EXPECT_TRUE(layer.hasFailed());
        layer.failAt(0, FaultKind::kNone);
        EXPECT_TRUE(database->isChanged());
        EXPECT_TRUE(same(contentOf(path), newContent));
        const OdDbDatabasePtr reader =
            odDbOpenDrawing(textOf(path), OdDbOpenDrawingMode::kForReading);
        odDbSaveDrawing(*database);
        EXPECT_FALSE(database->isChanged());
        EXPECT_TRUE(same(contentOf(path), newContent));
        // It has been saved once more, so what was opened in between reads on no more.
        EXPECT_THROW((void)contentOf(*reader), OdError);
        std::string findings;
        (void)odDbCheckDrawing(textOf(path), [&](OdDbDrawingFinding const& finding) {
            findings += finding.isProblem ? finding.text + "\n" : std::string();
        });
        EXPECT_EQ(findings, "");
    }
}

TEST_F(OdDbDrawingFaultTest, LeavesTheOldDrawingIfTheDiskIsFull)
{
    makeOriginal(/*parts=*/200, kSmallBlob);
    failEveryStep(savePlain, FaultKind::kDiskFull);
}

TEST_F(OdDbDrawingFaultTest, SavesOrLeavesTheOldDrawingIfTheProcessDiesAtAnyStep)
{
    makeOriginal(/*parts=*/200, kSmallBlob);
    dieAtEveryStep(savePlain, FaultKind::kKill);
}

TEST_F(OdDbDrawingFaultTest, SavesOrLeavesTheOldDrawingIfThePowerIsCutAtAnyStep)
{
    makeOriginal(/*parts=*/200, kSmallBlob);
    dieAtEveryStep(savePlain, FaultKind::kPowerCut);
}

TEST_F(OdDbDrawingFaultTest, SavesOrLeavesALargeDrawingIfAStepFails)
{
    makeOriginal(/*parts=*/10, kLargeBlob);
    failEveryStep(savePlain, FaultKind::kOnce, kLargeStride);
}

TEST_F(OdDbDrawingFaultTest, SavesOrLeavesALargeDrawingIfThePowerIsCut)
{
    makeOriginal(/*parts=*/10, kLargeBlob);
    dieAtEveryStep(savePlain, FaultKind::kPowerCut, kLargeStride);
}

TEST_F(OdDbDrawingFaultTest, ReplacesOrLeavesTheOldDrawingIfTheProcessDiesAtAnyStep)
{
    makeOriginal(/*parts=*/40, kSmallBlob);
    dieAtEveryStep(saveAs, FaultKind::kKill);
}

TEST_F(OdDbDrawingFaultTest, ReplacesOrLeavesTheOldDrawingIfThePowerIsCutAtAnyStep)
{
    makeOriginal(/*parts=*/40, kSmallBlob);
    dieAtEveryStep(saveAs, FaultKind::kPowerCut);
}

TEST_F(OdDbDrawingFaultTest, ReplacesOrLeavesTheOldDrawingIfAnyStepFailsOnce)
{
    makeOriginal(/*parts=*/40, kSmallBlob);
    failEveryStep(saveAs, FaultKind::kOnce);
}

TEST_F(OdDbDrawingFaultTest, ReplacesNothingIfAnOldJournalMayComeBack)
{
    constexpr int kLeast = 2;  // its removal, and the sync of the folder
    const OdDbDatabasePtr database = makeDrawing(5);
    int failures = 0;
    for (int step = 1; step < kTooManySteps; ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        writeFile(path, "no drawing");
        writeFile(folder.file("part.zdw-journal"), "no journal");
        layer.failAt(step, FaultKind::kOnce);
        OdResult result = kOdOk;
        try {
            odDbSaveDrawingAs(*database, textOf(path));
        } catch (OdError const& error) {
            result = error.code();
        }
        const bool hasFailed = layer.hasFailed();
        layer.failAt(0, FaultKind::kNone);
        if (!hasFailed) {
            EXPECT_EQ(result, kOdOk);
            EXPECT_GT(failures, kLeast);
            return;
        }
        ++failures;
        EXPECT_EQ(result, kOdFileAccess);
    }
    FAIL() << "the save never got through";
}

TEST_F(OdDbDrawingFaultTest, ReplacesOrLeavesTheOldDrawingIfTheDiskIsFull)
{
    makeOriginal(/*parts=*/40, kSmallBlob);
    failEveryStep(saveAs, FaultKind::kDiskFull);
}

TEST_F(OdDbDrawingFaultTest, ReplacesOrLeavesTheOldDrawingIfAllStepsFailFromOneOn)
{
    makeOriginal(/*parts=*/40, kSmallBlob);
    failEveryStep(saveAs, FaultKind::kFromThere);
}

}  // namespace
