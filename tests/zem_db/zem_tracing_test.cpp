#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "db/od_db_id_mapping.h"
#include "ge/od_ge_extents3d.h"
#include "ge/od_ge_matrix3d.h"
#include "ge/od_ge_point2d.h"
#include "root/od_error.h"
#include "root/od_time_stamp.h"
#include "root/root_test_support.h"
#include "support/zem_module_scope.h"

#include "zem_constraint.h"
#include "zem_tracing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <regex>
#include <string>
#include <vector>

namespace {

/// What an operator prints, with the spaces that indent each line taken away.
template <class T>
std::string traced(T&& value)
{
    std::string text;
    {
        ZemuTracer tracer([&](std::string_view piece) { text += piece; });
        EXPECT_EQ(&(tracer << value), &tracer);
    }
    return std::regex_replace(text, std::regex("\n +"), "\n");
}

/// As `traced`, with the indentation.
template <class T>
std::string tracedAsItStands(T&& value)
{
    std::string text;
    ZemuTracer tracer([&](std::string_view piece) { text += piece; });
    tracer << value;
    return text;
}

std::string hex(OdDbObjectId id)
{
    std::string text;
    id.getHandle().ascii().appendUtf8To(text);
    return text;
}

/// The text of an object without its reference count, which is the database's business.
std::string withoutRefs(std::string const& text)
{
    return std::regex_replace(text, std::regex("numRefs: [0-9]+"), "numRefs: n");
}

class Tracing : public testing::Test
{
protected:
    Tracing()
    {
        const OdDbBlockTableRecordPtr block =
            m_database->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
        for (OdDbObjectId& id : m_lines) {
            id = block->appendOdDbEntity(OdDbLine::createObject().get());
        }
    }

    /// How a line of the drawing prints.
    std::string line(int index, bool erased = false) const
    {
        return "h " + hex(m_lines[index]) +
               " OdDbLine numRefs: n Erased: " + (erased ? "true" : "false");
    }
    std::string modelSpace() const { return hex(m_database->getModelSpaceId()); }

    ZemModuleScope m_scope;
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    OdDbObjectId m_lines[2];
};

}  // namespace

TEST_F(Tracing, TextsPrintAsTheyAre)
{
    EXPECT_EQ(traced(OdString(L"pl\u00e4n \u2300 20")), "pl\u00e4n \u2300 20");
    EXPECT_EQ(traced(OdString()), "<empty string>");
}

TEST_F(Tracing, IdsAndHandlesPrintAsHexadecimalText)
{
    EXPECT_EQ(traced(OdDbHandle(0xAB12F)), "AB12F");
    EXPECT_EQ(traced(OdDbHandle()), "0");
    EXPECT_EQ(traced(m_lines[0]), hex(m_lines[0]));
    EXPECT_EQ(traced(OdDbObjectId()), "0");
}

TEST_F(Tracing, ObjectsPrintIdClassReferencesAndState)
{
    OdDbObjectPtr object = m_lines[0].openObject(OdDb::kForWrite);
    const std::string refs = std::to_string(object->numRefs());
    EXPECT_EQ(traced(static_cast<OdDbObject const*>(object.get())),
              "h " + hex(m_lines[0]) + " OdDbLine numRefs: " + refs + " Erased: false");
    EXPECT_EQ(withoutRefs(traced(object)), line(0));

    EXPECT_EQ(object->erase(), kOdOk);
    EXPECT_EQ(withoutRefs(traced(object)), line(0, /*erased=*/true));
}

TEST_F(Tracing, ObjectsOutsideADatabasePrintWithANullId)
{
    const OdDbObjectPtr object = OdDbLine::createObject();
    EXPECT_EQ(traced(object), "h 0 OdDbLine numRefs: 1 Erased: false");
}

TEST_F(Tracing, NullPointersPrintNull)
{
    EXPECT_EQ(traced(static_cast<OdDbObject const*>(nullptr)), "NULL");
    EXPECT_EQ(traced(OdDbObjectPtr()), "NULL");
    EXPECT_EQ(traced(OdDbBlockTableRecordPtr()), "NULL");
    EXPECT_EQ(traced(OdDbObjectIteratorPtr()), "NULL");
}

TEST_F(Tracing, ClosedObjectsPrintToo)
{
    OdDbObject const* const closed = m_lines[0].openObject().get();
    EXPECT_EQ(withoutRefs(traced(closed)), line(0));
    EXPECT_FALSE(closed->isReadEnabled());
}

TEST_F(Tracing, ObjectsWhoseClassIsGonePrintWithoutItsName)
{
    const OdDbObjectPtr object = odrxCreateObject(L"ZemDbFeatureManager");
    m_scope.module().uninitApp();
    EXPECT_EQ(traced(object), "h 0  numRefs: 1 Erased: false");
    m_scope.module().initApp();
}

TEST_F(Tracing, ObjectsOfADatabaseKeepTheNameOfAClassThatIsGone)
{
    const OdDbObjectPtr object = odrxCreateObject(L"ZemDbFeatureManager");
    const OdDbObjectId id = m_database->addOdDbObject(object.get());
    m_scope.module().uninitApp();
    EXPECT_EQ(withoutRefs(traced(object)),
              "h " + hex(id) + " ZemDbFeatureManager numRefs: n Erased: false");
    m_scope.module().initApp();
}

TEST_F(Tracing, BlocksAlsoPrintNameAndUses)
{
    const OdDbObjectPtr block = m_database->getModelSpaceId().openObject();
    EXPECT_EQ(withoutRefs(traced(block)), "h " + modelSpace() +
                                              " OdDbBlockTableRecord numRefs: n Erased: false"
                                              " Name: *Model_Space Number of occurances: 0");
}

TEST_F(Tracing, BlocksOfOtherDrawingsAlsoPrintTheirPath)
{
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
    block->setName(L"part");
    block->setPathName(L"../part.zdw");
    EXPECT_EQ(traced(OdDbObjectPtr(block)),
              "h 0 OdDbBlockTableRecord numRefs: 2 Erased: false Name: part XRef: ../part.zdw"
              " Number of occurances: 0");
}

TEST_F(Tracing, BlocksPrintTheirContent)
{
    const OdDbBlockTableRecordPtr block = m_database->getModelSpaceId().openObject();
    EXPECT_EQ(withoutRefs(traced(block)),
              "Block h " + modelSpace() +
                  " OdDbBlockTableRecord numRefs: n Erased: false"
                  " Name: *Model_Space Number of occurances: 0\nContents\n" +
                  line(0) + "\n" + line(1));
}

TEST_F(Tracing, ABlockThatIsNotOpenPrintsWhatItCan)
{
    OdDbBlockTableRecordPtr block = m_database->getModelSpaceId().openObject();
    OdDbObject const* const closed = block.get();
    block.release();
    EXPECT_THAT(traced(closed), testing::StartsWith("h " + modelSpace() + " OdDbBlockTableRecord"));
}

TEST_F(Tracing, IteratorsPrintTheirObjectsOneToALine)
{
    const OdDbBlockTableRecordPtr block = m_database->getModelSpaceId().openObject();
    const OdDbObjectIteratorPtr iterator = block->newIterator();
    EXPECT_EQ(withoutRefs(tracedAsItStands(iterator)), "  " + line(0) + "\n  " + line(1));
    EXPECT_EQ(traced(iterator), "<empty>");
}

TEST_F(Tracing, AnEmptyBlockPrintsAnEmptyContent)
{
    const OdDbBlockTableRecordPtr block = m_database->getPaperSpaceId().openObject();
    EXPECT_THAT(traced(block), testing::EndsWith("\nContents\n<empty>"));
}

TEST_F(Tracing, PairsPrintBothObjectsAndTheirOwners)
{
    const OdDbIdPair pair(m_lines[0], m_lines[1], /*isCloned=*/true);
    EXPECT_EQ(withoutRefs(traced(pair)), hex(m_lines[0]) + " " + line(0) + " -> " +
                                             hex(m_lines[1]) + " " + line(1) + "  key owner   " +
                                             modelSpace() + "  value owner " + modelSpace());
}

TEST_F(Tracing, PairsOfNullIdsPrintNull)
{
    EXPECT_EQ(traced(OdDbIdPair()), "0 NULL -> 0 NULL  key owner   NULL  value owner NULL");
}

TEST_F(Tracing, IdArraysPrintObjectsAndOwnersByIndex)
{
    EXPECT_EQ(m_lines[1].openObject(OdDb::kForWrite)->erase(), kOdOk);
    const OdDbObjectIdArray ids{m_lines[0], m_lines[1], OdDbObjectId()};
    const std::string expected = "Array size 3\nElt[0] = " + hex(m_lines[0]) + line(0) +
                                 " owner is " + modelSpace() + "\nElt[1] = " + hex(m_lines[1]) +
                                 " is erased or null\nElt[2] = 0 is erased or null";
    EXPECT_EQ(withoutRefs(traced(ids)), expected);
    const OdArray<OdDbObjectId> plain(ids.begin(), ids.end());
    EXPECT_EQ(withoutRefs(traced(plain)), expected);
    EXPECT_EQ(traced(OdDbObjectIdArray()), "Array size 0\n");
    EXPECT_THAT(tracedAsItStands(ids), testing::HasSubstr("\n  Elt[2] = 0 is"));
}

TEST_F(Tracing, ErrorsPrintTheirDescriptionOnALine)
{
    EXPECT_EQ(traced(OdError(OdString(L"no room"))), "OdException no room\n");
}

namespace {

/// A time zone for as long as it lives.
class TimeZone
{
public:
    explicit TimeZone(char const* zone)
    {
        if (char const* const present = std::getenv("TZ")) {
            m_saved = present;
            m_wasSet = true;
        }
        set(zone);
    }
    TimeZone(TimeZone const&) = delete;
    TimeZone& operator=(TimeZone const&) = delete;
    ~TimeZone()
    {
        if (m_wasSet) {
            set(m_saved.c_str());
        } else {
            unsetenv("TZ");
            tzset();
        }
    }

private:
    static void set(char const* zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }

    std::string m_saved;
    bool m_wasSet = false;
};

}  // namespace

TEST_F(Tracing, TimesPrintInLocalTimeWithMilliseconds)
{
    const TimeZone zone("XYZ-2");
    // 2024-02-29 23:30:05.007 universal is 01:30 of the next day two hours east.
    EXPECT_EQ(traced(OdTimeStamp(1709249405007)), " Mar 01 24 01:30:05:7");
    EXPECT_EQ(traced(OdTimeStamp(1709249405450)), " Mar 01 24 01:30:05:450");
}

TEST_F(Tracing, TheMostDistantTimesPrintTheirMillisecondsAtLeast)
{
    constexpr OdTimeStamp kLast(std::numeric_limits<std::int64_t>::max());
    constexpr OdTimeStamp kFirst(std::numeric_limits<std::int64_t>::min());
    {
        const TimeZone zone("UTC0");
        EXPECT_THAT(traced(kLast), testing::EndsWith(":807"));
        EXPECT_THAT(traced(kFirst), testing::EndsWith(":192"));
    }
    // There is no local time two hours behind the last moment or in front of the first one.
    const TimeZone east("XYZ-2");
    EXPECT_THAT(traced(kLast), testing::MatchesRegex("[0-9]+"));
    const TimeZone west("XYZ+2");
    EXPECT_THAT(traced(kFirst), testing::MatchesRegex("[0-9]+"));
}

TEST_F(Tracing, CloneTypesPrintTheirNames)
{
    const std::vector<std::pair<int, char const*>> types = {
        {0, "kDcCopy"},       {1, "kDcExplode"},       {2, "kDcBlock"},
        {3, "kDcXrefBind"},   {4, "kDcSymTableMerge"}, {5, "Unknown"},
        {6, "kDcInsert"},     {7, "kDcWblock"},        {8, "kDcObjects"},
        {9, "kDcXrefInsert"}, {10, "kDcInsertCopy"},   {11, "kDcWblkObjects"},
        {12, "Unknown"},      {-1, "Unknown"},
    };
    for (auto const& [value, name] : types) {
        EXPECT_EQ(traced(static_cast<OdDb::DeepCloneType>(value)), name) << value;
    }
}

TEST_F(Tracing, SubentTypesPrintTheirNamesVerticesAsEdges)
{
    const std::vector<std::pair<int, char const*>> types = {
        {0, "kNullSubentType"}, {1, "kFaceSubentType"},   {2, "kEdgeSubentType"},
        {3, "kEdgeSubentType"}, {4, "kMlineSubentCache"}, {5, "kClassSubentType"},
        {6, "Unknown"},         {-1, "Unknown"},
    };
    for (auto const& [value, name] : types) {
        EXPECT_EQ(traced(static_cast<OdDb::SubentType>(value)), name) << value;
    }
}

TEST_F(Tracing, MappingsPrintTheirContextAndPairs)
{
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    mapping->setDeepCloneContext(OdDb::DeepCloneType::kDcWblock);
    EXPECT_EQ(traced(*mapping), "idMap.deepCloneContext() kDcWblock\n");
    mapping->assign(OdDbIdPair(m_lines[0], m_lines[1], true));
    mapping->assign(OdDbIdPair(m_lines[1]));
    const std::string text = withoutRefs(traced(*mapping));
    EXPECT_EQ(text, "idMap.deepCloneContext() kDcWblock\n" +
                        withoutRefs(traced(OdDbIdPair(m_lines[0], m_lines[1], true))) + "\n" +
                        withoutRefs(traced(OdDbIdPair(m_lines[1]))));
}

TEST_F(Tracing, PointsAndVectorsPrintTheirCoordinates)
{
    EXPECT_EQ(traced(OdGePoint2d(1.5, -2.0)), "Point2D (1.5, -2)");
    EXPECT_EQ(traced(OdGePoint3d(1.0, 2.25, -3.0)), "Point3D (1, 2.25, -3)");
    EXPECT_EQ(traced(OdGeVector3d(0.0, 1e-9, 1e20)), "Vector3D (0, 1e-09, 1e+20)");
}

TEST_F(Tracing, PointArraysPrintByIndex)
{
    const OdArray<OdGePoint3d> points{OdGePoint3d(1.0, 2.0, 3.0), OdGePoint3d()};
    const std::string expected =
        "Array size 2\nElt[0] = Point3D (1, 2, 3)\nElt[1] = Point3D (0, 0, 0)";
    EXPECT_EQ(traced(points), expected);
    const OdArray<OdGePoint3d, OdMemoryAllocator<OdGePoint3d>> plain(points.begin(), points.end());
    EXPECT_EQ(traced(plain), expected);
}

TEST_F(Tracing, ExtentsPrintCornersAndDiagonal)
{
    EXPECT_EQ(traced(OdGeExtents3d(OdGePoint3d(0.0, 0.0, 0.0), OdGePoint3d(2.0, 3.0, 6.0))),
              "Extents min Point3D (0, 0, 0) max Point3D (2, 3, 6) diam 7");
}

TEST_F(Tracing, MatricesPrintTheirRows)
{
    OdGeMatrix3d matrix = OdGeMatrix3d::translation(OdGeVector3d(5.0, 6.0, 7.5));
    EXPECT_EQ(traced(matrix), "Matrix3D\n(1\t0\t0\t5)\n(0\t1\t0\t6)\n(0\t0\t1\t7.5)\n(0\t0\t0\t1)");
}

TEST_F(Tracing, SubentIdsPrintTypeAndIndex)
{
    EXPECT_EQ(traced(OdDbSubentId(OdDb::SubentType::kFaceSubentType, 7000000000)),
              "kFaceSubentType 7000000000");
}

TEST_F(Tracing, PathsPrintIdsAndSubEntity)
{
    const OdDbFullSubentPath path({m_lines[0]}, OdDbSubentId(OdDb::SubentType::kEdgeSubentType, 4));
    EXPECT_EQ(withoutRefs(traced(path)), "objectIds() Array size 1\nElt[0] = " + hex(m_lines[0]) +
                                             line(0) + " owner is " + modelSpace() +
                                             "\nsubentId() kEdgeSubentType 4\n");
}

TEST_F(Tracing, SetsOfPathsPrintThemInOrder)
{
    const OdDbFullSubentPath one({}, OdDbSubentId(OdDb::SubentType::kFaceSubentType, 1));
    const OdDbFullSubentPath two({}, OdDbSubentId(OdDb::SubentType::kFaceSubentType, 2));
    std::set<OdDbFullSubentPath, zemu::less_FullSubentPath> paths{two, one};
    const std::string head = "objectIds() Array size 0\n\nsubentId() kFaceSubentType ";
    EXPECT_EQ(tracedAsItStands(paths), head + "1\n " + head + "2\n ");
}

TEST_F(Tracing, SetsOfIdsPrintEachWithASpace)
{
    std::unordered_set<OdDbObjectId, zemu::hash_ObjectId> ids{m_lines[0]};
    EXPECT_EQ(traced(ids), hex(m_lines[0]) + " ");
    ids.insert(m_lines[1]);
    EXPECT_THAT(traced(ids), testing::AnyOf(hex(m_lines[0]) + " " + hex(m_lines[1]) + " ",
                                            hex(m_lines[1]) + " " + hex(m_lines[0]) + " "));
}

TEST_F(Tracing, DependenciesPrintLinkAndPartOfTheCoordinateSystem)
{
    char const* const names[] = {"Origin",   "X Axis",   "Y Axis",  "Z Axis",
                                 "XY Plane", "YZ Plane", "ZX Plane"};
    for (int value = 0; value < 7; ++value) {
        const auto part = static_cast<ECoordinateSystemObject>(value);
        EXPECT_EQ(traced(ExtendedDep{OdDbObjectId(), true, part}), names[value]);
        EXPECT_EQ(traced(ExtendedDep{m_lines[0], true, part}), hex(m_lines[0]) + names[value]);
    }
    EXPECT_EQ(traced(ExtendedDep{m_lines[0], false, kCsNone}), hex(m_lines[0]));
    EXPECT_EQ(traced(ExtendedDep{m_lines[0], true, static_cast<ECoordinateSystemObject>(7)}),
              hex(m_lines[0]));
    EXPECT_EQ(traced(ExtendedDep()), "");
}

TEST_F(Tracing, BlocksOfLinesAreLeftOutWithTheLineThatTheyBelongTo)
{
    std::string text;
    ZemuTracer tracer([&text](std::string_view piece) { text += piece; });
    tracer.str(tracer.traceLevel() + 1) << OdGeMatrix3d();
    EXPECT_EQ(text, "");
}

TEST_F(Tracing, BlocksOfLinesAreIndentedInsideOthers)
{
    const OdDbIdPair pair(m_lines[0]);
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    mapping->assign(pair);
    const ZemuTraceIndenter outer(0, "", 0);
    EXPECT_THAT(tracedAsItStands(*mapping), testing::StartsWith("  idMap"));
    EXPECT_THAT(tracedAsItStands(*mapping), testing::HasSubstr("\n    " + hex(m_lines[0])));
}
