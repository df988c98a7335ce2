#include "store/drawing_test_support.h"
#include "store/od_db_drawing.h"
#include "store/od_db_drawing_check.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

using Kind = OdDbDrawingFinding::Kind;

class OdDbDrawingCheckTest : public testing::Test
{
protected:
    OdDbPlatform platform;
    std::optional<StoreTestClasses> classes{std::in_place};
    TemporaryFolder folder;
    std::filesystem::path const path = folder.file("part.zdw");

    std::vector<OdDbDrawingFinding> check(OdDbDatabase& database)
    {
        odDbSaveDrawingAs(database, textOf(path));
        return check();
    }
    std::vector<OdDbDrawingFinding> check()
    {
        std::vector<OdDbDrawingFinding> findings;
        result = odDbCheckDrawing(
            textOf(path), [&](OdDbDrawingFinding const& finding) { findings.push_back(finding); });
        return findings;
    }
    static std::string hex(OdDbObjectId id) { return std::string(id.getHandle().ascii().utf8()); }

    OdDbDrawingCheckResult result;
};

TEST_F(OdDbDrawingCheckTest, FindsNothingInANewDrawing)
{
    const OdDbDatabasePtr database = makeDrawing(5);
    EXPECT_TRUE(check(*database).empty());
}

TEST_F(OdDbDrawingCheckTest, NotesASoftPointerToAnErasedObject)
{
    const OdDbDatabasePtr database = makeDrawing(0);
    const OdDbObjectId first = addPart(*database, 1);
    const OdDbObjectId second = addPart(*database, 2, first);
    EXPECT_EQ(first.safeOpenObject(OdDb::kForWrite)->erase(), kOdOk);
    const std::vector<OdDbDrawingFinding> findings = check(*database);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].kind, Kind::kReference);
    EXPECT_FALSE(findings[0].isProblem);
    EXPECT_EQ(findings[0].handle, second.getHandle());
    EXPECT_EQ(findings[0].text, "object " + hex(second) + ": soft pointer to " + hex(first) +
                                    ", which isn't in the drawing");
    EXPECT_EQ(result.notes, 1U);
}

TEST_F(OdDbDrawingCheckTest, FindsAnOwnerThatIsNotThere)
{
    const OdDbDatabasePtr database = makeDrawing(0);
    const OdDbObjectId owner = addPart(*database, 1);
    const OdDbObjectId owned = addPart(*database, 2);
    owned.safeOpenObject(OdDb::kForWrite)->setOwnerId(owner);
    EXPECT_EQ(owner.safeOpenObject(OdDb::kForWrite)->erase(), kOdOk);
    const std::vector<OdDbDrawingFinding> findings = check(*database);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].kind, Kind::kOwner);
    EXPECT_FALSE(findings[0].isProblem);  // erasing an object leaves what it owns
    EXPECT_EQ(findings[0].text,
              "object " + hex(owned) + ": its owner, " + hex(owner) + ", isn't in the drawing");
}

TEST_F(OdDbDrawingCheckTest, FindsObjectsThatOwnOneAnother)
{
    const OdDbDatabasePtr database = makeDrawing(0);
    const OdDbObjectId first = addPart(*database, 1);
    const OdDbObjectId second = addPart(*database, 2);
    const OdDbObjectId below = addPart(*database, 3);
    first.safeOpenObject(OdDb::kForWrite)->setOwnerId(second);
    second.safeOpenObject(OdDb::kForWrite)->setOwnerId(first);
    below.safeOpenObject(OdDb::kForWrite)->setOwnerId(second);
    const std::vector<OdDbDrawingFinding> findings = check(*database);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].text, "object " + hex(first) + ": it owns itself, through its owners");
}

TEST_F(OdDbDrawingCheckTest, NotesObjectsOfUnknownClasses)
{
    {
        const OdDbDatabasePtr database = makeDrawing(3);
        odDbSaveDrawingAs(*database, textOf(path));
    }
    classes.reset();
    const std::vector<OdDbDrawingFinding> findings = check();
    ASSERT_EQ(findings.size(), 3U);
    EXPECT_EQ(findings[0].kind, Kind::kProxy);
    EXPECT_FALSE(findings[0].isProblem);
    EXPECT_NE(findings[0].text.find("its class, StoreTestPart of StoreTests, isn't loaded"),
              std::string::npos);
    EXPECT_EQ(result.proxies, 3U);
    EXPECT_EQ(result.problems, 0U);
}

TEST_F(OdDbDrawingCheckTest, NotesObjectsReadInPart)
{
    const OdDbDatabasePtr database = makeDrawing(0);
    const OdDbObjectId id = addPart(*database, -1);  // read up to this number only
    const std::vector<OdDbDrawingFinding> findings = check(*database);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].kind, Kind::kPartlyRead);
    EXPECT_FALSE(findings[0].isProblem);
    EXPECT_EQ(findings[0].handle, id.getHandle());
}

TEST_F(OdDbDrawingCheckTest, ThrowsForADrawingThatCantBeOpened)
{
    EXPECT_THROW((void)odDbCheckDrawing(textOf(folder.file("missing.zdw")), {}), OdError);
}

}  // namespace
