// Disks that don't give back what was written: single reads that fail, and bad places.

#include "root/od_assert.h"
#include "root/od_error.h"
#include "store/drawing_test_support.h"
#include "store/failing_file_layer.h"
#include "store/od_db_drawing.h"
#include "store/od_db_drawing_check.h"
#include "store/od_db_drawing_store.h"
#include "store/od_db_page.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>

namespace {

constexpr auto kForReading = OdDbOpenDrawingMode::kForReading;
constexpr auto kForWriting = OdDbOpenDrawingMode::kForWriting;
constexpr int kParts = 300;
constexpr int kTooManySteps = 3000;

class OdDbDrawingReadFaultTest : public testing::Test
{
protected:
    OdDbDrawingReadFaultTest()
    {
        const OdDbDatabasePtr database = makeDrawing(0);
        m_firstPart = database->handseed().value();
        for (int seed = 1; seed <= kParts; ++seed) {
            addPart(*database, seed);
        }
        odDbSaveDrawingAs(*database, textOf(m_original));
        m_oldContent = contentOf(*database);
        change(*database);
        m_newContent = contentOf(*database);
    }

    OdDbObjectId part(OdDbDatabase& database, int number) const
    {
        return database.getOdDbObjectId(OdDbHandle(m_firstPart + static_cast<unsigned>(number)));
    }
    /// Changes objects of several pages.
    void change(OdDbDatabase& database) const
    {
        for (int number = 1; number < kParts; number += 70) {
            const StoreTestPartPtr object = part(database, number).openObject(OdDb::kForWrite);
            object->assertWriteEnabled();
            object->number = 5000;
        }
    }
    void restore() const
    {
        for (std::string const& name : m_folder.names()) {
            if (name != "original.zdw") {
                std::filesystem::remove(m_folder.file(name.c_str()));
            }
        }
        std::filesystem::copy_file(m_original, m_path);
    }
    /// Loads every part; ends at the first read that fails.
    OdResult loadAll(OdDbDatabase& database) const
    {
        try {
            for (int number = 0; number < kParts; ++number) {
                EXPECT_FALSE(part(database, number).openObject().isNull()) << number;
            }
        } catch (OdError const& error) {
            EXPECT_NE(std::string(error.what()).find(m_path.string() + ": object "),
                      std::string::npos)
                << error.what();
            return error.code();
        }
        return kOdOk;
    }
    /// The first byte of a page of the file that a part's record crosses.
    std::int64_t placeOf(int number) const
    {
        // The name of each part is unique and is stored as it is.
        const std::string bytes = readFile(m_path);
        const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), kForReading);
        const StoreTestPartPtr object = part(*database, number).openObject();
        const std::size_t at = bytes.find(std::string(object->name.utf8()));
        EXPECT_NE(at, std::string::npos);
        return static_cast<std::int64_t>(at / 1024 * 1024);
    }

    /// Lets a save of a database read its file anew, as one that was touched is.
    void touch() const
    {
        std::filesystem::last_write_time(m_path, std::filesystem::last_write_time(m_path) +
                                                     std::chrono::seconds(1));
    }
    /// Lets a database forget what it has read of its file.
    void forget(OdDbDatabase& database) const
    {
        touch();
        odDbSaveDrawing(database);
    }

    OdDbPlatform m_platform;
    StoreTestClasses m_classes;
    TemporaryFolder m_folder;
    FailingFileLayer m_layer;
    std::filesystem::path const m_original = m_folder.file("original.zdw");
    std::filesystem::path const m_path = m_folder.file("part.zdw");
    std::uint64_t m_firstPart = 0;
    DrawingContent m_oldContent;
    DrawingContent m_newContent;
};

TEST_F(OdDbDrawingReadFaultTest, CostsNothingOnceTheDiskAnswersAgain)
{
    for (auto const mode : {kForReading, kForWriting}) {
        int failures = 0;
        for (int read = 1; read < kTooManySteps; ++read) {
            SCOPED_TRACE("read " + std::to_string(read));
            restore();
            const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), mode);
            m_layer.failReadAt(read);
            const OdResult result = loadAll(*database);
            const bool hasFailed = m_layer.hasReadFailed();
            m_layer.failReadAt(0);
            if (!hasFailed) {
                break;
            }
            ++failures;
            EXPECT_EQ(result, kOdFileAccess);
            EXPECT_EQ(loadAll(*database), kOdOk);
            ASSERT_TRUE(same(contentOf(*database), m_oldContent));
        }
        EXPECT_GT(failures, 3);
    }
}

TEST_F(OdDbDrawingReadFaultTest, LeavesTheLockWithItsHolder)
{
    restore();
    const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), kForWriting);
    m_layer.failReadAt(1);
    EXPECT_EQ(loadAll(*database), kOdFileAccess);
    EXPECT_TRUE(OdDbDrawingStore::of(*database)->file().isLocked());
    try {
        (void)odDbOpenDrawing(textOf(m_path), kForWriting);
        FAIL() << "opened by another";
    } catch (OdError const& error) {
        EXPECT_EQ(error.code(), kOdFileLocked);
    }
}

TEST_F(OdDbDrawingReadFaultTest, LeavesALaterSaveInOnePiece)
{
    int failures = 0;
    for (int step = 1; step < kTooManySteps; step += 3) {
        SCOPED_TRACE("step " + std::to_string(step));
        restore();
        const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), kForWriting);
        m_layer.failReadAt(2);
        EXPECT_EQ(loadAll(*database), kOdFileAccess);
        m_layer.failReadAt(0);
        change(*database);
        m_layer.failAt(step, FaultKind::kFromThere);
        OdResult result = kOdOk;
        try {
            odDbSaveDrawing(*database);
        } catch (OdError const& error) {
            result = error.code();
        }
        const bool hasFailed = m_layer.hasFailed();
        m_layer.failAt(0, FaultKind::kNone);
        const DrawingContent content = contentOf(m_path);
        ASSERT_TRUE(same(content, m_oldContent) || same(content, m_newContent));
        ASSERT_TRUE(result != kOdOk || same(content, m_newContent));
        failures += result != kOdOk ? 1 : 0;
        odDbSaveDrawing(*database);
        ASSERT_TRUE(same(contentOf(m_path), m_newContent));
        if (!hasFailed) {
            EXPECT_GT(failures, 3);
            return;
        }
    }
    FAIL() << "the save never got through";
}

TEST_F(OdDbDrawingReadFaultTest, DuringASaveLeavesTheOldDrawingOrTheNewOne)
{
    for (bool const isSaveAs : {false, true}) {
        int failures = 0;
        for (int read = 1; read < kTooManySteps; ++read) {
            SCOPED_TRACE((isSaveAs ? "save as, read " : "save, read ") + std::to_string(read));
            restore();
            const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), kForWriting);
            change(*database);
            const auto save = [&] {
                if (isSaveAs) {
                    odDbSaveDrawingAs(*database, textOf(m_path));
                } else {
                    odDbSaveDrawing(*database);
                }
            };
            m_layer.failReadAt(read);
            OdResult result = kOdOk;
            try {
                save();
            } catch (OdError const& error) {
                result = error.code();
                EXPECT_EQ(std::string(error.what()).find(m_path.string() + ": "), 0U)
                    << error.what();
            }
            const bool hasFailed = m_layer.hasReadFailed();
            m_layer.failReadAt(0);
            const DrawingContent content = contentOf(m_path);
            ASSERT_TRUE(same(content, m_oldContent) || same(content, m_newContent));
            if (result == kOdOk) {
                ASSERT_TRUE(same(content, m_newContent));
            } else {
                ++failures;
                save();
                ASSERT_TRUE(same(contentOf(m_path), m_newContent));
            }
            EXPECT_FALSE(database->isChanged());
            if (!hasFailed) {
                break;
            }
        }
        EXPECT_GT(failures, 0);
    }
}

/// Opens another object while it is filed, and minds nothing that goes wrong with that.
class CarelessPart : public StoreTestPart
{
public:
    std::function<void()> whileFiled;
    void dwgOutFields(OdDbDwgFiler* filer) const override
    {
        StoreTestPart::dwgOutFields(filer);
        if (filer->filerType() == OdDb::FilerType::kFileFiler && whileFiled) {
            try {
                whileFiled();
            } catch (OdError const&) {
                return;
            }
        }
    }
};

TEST_F(OdDbDrawingReadFaultTest, ThatIsSwallowedDuringASaveEndsItAllTheSame)
{
    restore();
    const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), kForWriting);
    change(*database);
    const auto careless = OdSmartPtr<CarelessPart>::attach(new CarelessPart);
    database->addOdDbObject(careless.get());
    careless->whileFiled = [&] {
        m_layer.failReadAt(1);
        (void)part(*database, 200).openObject();
    };
    EXPECT_THROW(odDbSaveDrawing(*database), OdError);
    EXPECT_TRUE(m_layer.hasReadFailed());
    ASSERT_TRUE(same(contentOf(m_path), m_oldContent));
    careless->whileFiled = nullptr;
    odDbSaveDrawing(*database);
    EXPECT_FALSE(database->isChanged());
    DrawingContent now = contentOf(m_path);
    now.erase(careless->objectId().getHandle().value());
    ASSERT_TRUE(same(now, m_newContent));
}

TEST_F(OdDbDrawingReadFaultTest, AtABadPlaceCostsItsObjectsAloneInADrawingThatIsSavedElsewhere)
{
    restore();
    const std::int64_t place = placeOf(150);
    m_layer.spoilDisk(m_path, place, 512);
    const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), kForReading);
    EXPECT_EQ(loadAll(*database), kOdFileAccess);
    const std::filesystem::path rescued = m_folder.file("rescued.zdw");
    {
        const OdDbDatabasePtr fresh = odDbOpenDrawing(textOf(m_path), kForReading);
        odDbSaveDrawingAs(*fresh, textOf(rescued));
    }
    m_layer.healDisk();
    const DrawingContent content = contentOf(rescued);
    std::size_t lost = 0;
    for (auto const& [handle, bytes] : m_oldContent) {
        const auto found = content.find(handle);
        lost += found == content.end() || found->second != bytes ? 1 : 0;
    }
    EXPECT_GT(lost, 0U);
    EXPECT_LE(lost, 128U);
    int damaged = 0;
    (void)odDbCheckDrawing(textOf(rescued), [&](OdDbDrawingFinding const& finding) {
        damaged += finding.kind == OdDbDrawingFinding::Kind::kPage ? 1 : 0;
    });
    EXPECT_GE(damaged, 1);
    EXPECT_LE(damaged, 2);
}

TEST_F(OdDbDrawingReadFaultTest, AtAnyPlaceLeavesADrawingOfWhichMostCanBeRescued)
{
    DrawingContent content;
    {
        const OdDbDatabasePtr database = makeDrawing(4000);
        odDbSaveDrawingAs(*database, textOf(m_path));
        content = contentOf(*database);
    }
    const auto size = static_cast<std::int64_t>(std::filesystem::file_size(m_path));
    const std::filesystem::path rescued = m_folder.file("rescued.zdw");
    int rescues = 0;
    std::string refusals;
    for (std::int64_t place = 0; place < size; place += std::int64_t{13} * 1024) {
        SCOPED_TRACE("place " + std::to_string(place));
        m_layer.spoilDisk(m_path, place, 1024);
        try {
            const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), kForReading);
            odDbSaveDrawingAs(*database, textOf(rescued));
            m_layer.healDisk();
            ++rescues;
            const DrawingContent found = contentOf(rescued);
            // Rows that are neighbours in the file go together.
            EXPECT_GT(found.size(), content.size() / 2);
            for (auto const& [handle, bytes] : found) {
                ASSERT_EQ(bytes, content.at(handle));
            }
        } catch (OdError const& error) {
            // Without its header or its classes nobody can tell what a drawing holds.
            EXPECT_EQ(error.code(), kOdFileAccess) << error.what();
            refusals += std::to_string(place) + " ";
        }
        m_layer.healDisk();
    }
    EXPECT_EQ(refusals, "0 ");
    EXPECT_GT(rescues, 20);
}

TEST_F(OdDbDrawingReadFaultTest, AtABadPlaceInTheLastObjectsLetsTheDrawingBeOpened)
{
    restore();
    const auto size = static_cast<std::int64_t>(std::filesystem::file_size(m_path));
    int refusals = 0;
    for (std::int64_t place = 0; place < size; place += 1024) {
        SCOPED_TRACE("place " + std::to_string(place));
        m_layer.spoilDisk(m_path, place, 1024);
        try {
            const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), kForReading);
            // Whatever new object came here, it would get no handle that a stored one has.
            EXPECT_GE(database->handseed().value(), m_firstPart + kParts);
        } catch (OdError const& error) {
            EXPECT_EQ(error.code(), kOdFileAccess);
            ++refusals;
        }
        m_layer.healDisk();
    }
    // The first bytes, the header and the classes.
    EXPECT_EQ(refusals, 3);
}

TEST_F(OdDbDrawingReadFaultTest, AtABadPlaceIsNamedWhereTheDrawingWouldReplaceItself)
{
    restore();
    m_layer.spoilDisk(m_path, placeOf(150), 512);
    {
        const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), kForWriting);
        try {
            odDbSaveDrawingAs(*database, textOf(m_path));
            FAIL() << "what may be read again tomorrow is gone";
        } catch (OdError const& error) {
            EXPECT_EQ(error.code(), kOdFileAccess);
            EXPECT_NE(std::string(error.what()).find("objects "), std::string::npos)
                << error.what();
        }
    }
    m_layer.healDisk();
    EXPECT_TRUE(same(contentOf(m_path), m_oldContent));
}

TEST_F(OdDbDrawingReadFaultTest, OfTheWholeFileLeavesWhatIsInMemoryToBeSavedElsewhere)
{
    const OdDbDatabasePtr database = makeDrawing(kParts);
    // One object in each of many pages.
    for (std::uint64_t number = 0; number != 2'500; ++number) {
        const StoreTestPartPtr object = odrxMake<StoreTestPart>();
        (void)database->addOdDbObject(object.get(), {},
                                      OdDbHandle(0x10000 + number * kHandlesInPage));
    }
    const DrawingContent content = contentOf(*database);
    odDbSaveDrawingAs(*database, textOf(m_path));
    m_layer.spoilDisk(m_path, 0, std::int64_t{1} << 40);
    const std::filesystem::path rescued = m_folder.file("rescued.zdw");
    odDbSaveDrawingAs(*database, textOf(rescued));
    m_layer.healDisk();
    EXPECT_TRUE(same(contentOf(rescued), content));
}

TEST_F(OdDbDrawingReadFaultTest, OfTheWholeFileIsNamedBySavesThatNeedTheFile)
{
    restore();
    const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), kForWriting);
    ASSERT_TRUE(same(contentOf(*database), m_oldContent));
    change(*database);
    m_layer.spoilDisk(m_path, 0, std::int64_t{1} << 40);
    touch();
    EXPECT_THROW(odDbSaveDrawing(*database), OdError);
    EXPECT_THROW(odDbSaveDrawingAs(*database, textOf(m_path)), OdError);
    const std::filesystem::path rescued = m_folder.file("rescued.zdw");
    odDbSaveDrawingAs(*database, textOf(rescued));
    m_layer.healDisk();
    EXPECT_TRUE(same(contentOf(m_path), m_oldContent));
    EXPECT_TRUE(same(contentOf(rescued), m_newContent));
}

TEST_F(OdDbDrawingReadFaultTest, TriesThePatienceOfARescueOnlyForSoLong)
{
    restore();
    const auto file = OdDbDrawingFile::open(m_path, "part.zdw", kForReading);
    const std::uint64_t page = file->lastPage().value();
    OdDbPageBytes bytes;
    file->setPassesOverFaults(true, std::chrono::nanoseconds(1));
    EXPECT_EQ(file->readPage(0, bytes), OdDbPartState::kRead);
    m_layer.spoilDisk(m_path, 0, std::int64_t{1} << 40);
    EXPECT_EQ(file->readPage(page, bytes), OdDbPartState::kUnreadable);
    m_layer.healDisk();
    EXPECT_EQ(file->readPage(page, bytes), OdDbPartState::kUnreadable);
    EXPECT_THROW((void)file->nextPage(0), OdDbReadFault);
    file->setPassesOverFaults(true);
    EXPECT_EQ(file->readPage(page, bytes), OdDbPartState::kRead);
}

TEST_F(OdDbDrawingReadFaultTest, InAFailedRescueIsForgotten)
{
    restore();
    m_layer.spoilDisk(m_path, placeOf(150), 512);
    const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), kForReading);
    const auto stop = [](std::uint64_t, std::uint64_t) { throw OdError(kOdInvalidInput); };
    EXPECT_THROW(odDbSaveDrawingAs(*database, textOf(m_folder.file("rescued.zdw")),
                                   OdDb::kDwgVersionCurrent, stop),
                 OdError);
    m_layer.healDisk();
    EXPECT_EQ(loadAll(*database), kOdOk);
    EXPECT_TRUE(same(contentOf(*database), m_oldContent));
}

TEST_F(OdDbDrawingReadFaultTest, InAFailedRescueForAnotherVersionIsForgotten)
{
    OdDbHandle large;
    {
        const OdDbDatabasePtr database = makeDrawing(3);
        large = addPart(*database, 9, {}, kMaxRecordBytesInPage).getHandle();
        odDbSaveDrawingAs(*database, textOf(m_path));
    }
    const auto size = static_cast<std::int64_t>(std::filesystem::file_size(m_path));
    m_layer.spoilDisk(m_path, size / 2, 1024);
    const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), kForReading);
    const auto stop = [](std::uint64_t, std::uint64_t) { throw OdError(kOdInvalidInput); };
    constexpr int kOldestVersion = 29;
    EXPECT_THROW(
        odDbSaveDrawingAs(*database, textOf(m_folder.file("rescued.zdw")), kOldestVersion, stop),
        OdError);
    const OdDbObjectId id = database->getOdDbObjectId(large);
    EXPECT_THROW((void)id.openObject(), OdError);
    m_layer.healDisk();
    EXPECT_FALSE(id.openObject().isNull());
}

TEST_F(OdDbDrawingReadFaultTest, CostsNoUndoOfAProxyThatGivesWayToItsObject)
{
    restore();
    OdDbDatabasePtr database;
    OdDbObjectId id;
    StoreTestPart::rxUninit();
    {
        database = odDbOpenDrawing(textOf(m_path), kForWriting);
        id = part(*database, 5);
        database->startUndoRecord();
        id.openObject(OdDb::kForWrite)->addPersistentReactor(part(*database, 6));
        odDbSaveDrawing(*database);
        forget(*database);
    }
    StoreTestPart::rxInit();
    m_layer.failReadAt(1);
    EXPECT_THROW((void)id.openObject(), OdError);
    m_layer.failReadAt(0);
    EXPECT_EQ(database->undo(), kOdOk);
    const StoreTestPartPtr object = id.openObject();
    ASSERT_FALSE(object.isNull());
    EXPECT_FALSE(object->hasPersistentReactor(part(*database, 6)));
}

TEST_F(OdDbDrawingReadFaultTest, DuringAnUndoCostsThatObjectsPartAlone)
{
    restore();
    StoreTestPart::rxUninit();
    const OdDbDatabasePtr database = odDbOpenDrawing(textOf(m_path), kForWriting);
    const OdDbObjectId lost = part(*database, 5);
    const OdDbObjectId other = part(*database, 290);
    database->startUndoRecord();
    for (OdDbObjectId const id : {other, lost}) {
        id.openObject(OdDb::kForWrite)->addPersistentReactor(part(*database, 6));
    }
    odDbSaveDrawing(*database);
    forget(*database);
    StoreTestPart::rxInit();
    m_layer.spoilDisk(m_path, placeOf(5), 1024);
    EXPECT_THROW((void)lost.openObject(), OdError);
    {
        int reports = 0;
        const OdAssertSink before = odSetAssertSink([&](OdAssertReport const&) { ++reports; });
        EXPECT_EQ(database->undo(), kOdOk);
        odSetAssertSink(before);
        EXPECT_EQ(reports, 1);
    }
    m_layer.healDisk();
    EXPECT_FALSE(other.openObject()->hasPersistentReactor(part(*database, 6)));
    EXPECT_TRUE(lost.openObject()->hasPersistentReactor(part(*database, 6)));
}

}  // namespace
