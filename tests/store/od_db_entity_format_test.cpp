// The stored fields of every kind of entity, byte by byte, behind those that all entities have.

#include "db/od_db_id_mapping.h"
#include "db/od_db_platform.h"
#include "root/od_error.h"
#include "store/od_db_byte_stream.h"
#include "store/od_db_file_filer.h"
#include "support/entity_samples.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

using FileFiler = OdStaticRxObject<OdDbFileFiler>;
using Bytes = std::vector<std::uint8_t>;

std::string hexOf(std::span<std::uint8_t const> bytes)
{
    std::string text;
    char digits[4];
    for (std::uint8_t byte : bytes) {
        std::snprintf(digits, sizeof digits, "%02X", byte);
        text += digits;
    }
    return text;
}

/// No reactors, no extended data; colour 10, 20, 30; linetype scale 0.5; line weight 35;
/// transparency by value, 0.5; invisible.
constexpr char const* kCommon = "0000C3AFAFDF07"
                                "043FE0"
                                "46"
                                "02043FE0"
                                "00";

struct Golden
{
    char const* name;
    char const* body;  ///< behind the common part
};

// clang-format off
constexpr Golden kGolden[] = {
    {"Point",
     "03140328033C"  // 10, 20, 30
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "0304043FE0"},
    {"Line",
     "03140328033C"  // 10, 20, 30
     "0103040306"
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "0304"},
    {"Circle",
     "03140328033C"  // 10, 20, 30
     "030A"
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "0304"},
    {"Arc",
     "03140328033C"  // 10, 20, 30
     "030A"
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "0304043FE0044004"},
    {"Ellipse",
     "03140328033C"  // 10, 20, 30
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "400AA027F059DCE04001C01AA03BE896048000043FE0043FE00308"},
    {"Polyline",
     "0101"
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "0307043FF8080000000000030A00043FE0043FD0043FD0030A0308BFD3333333"
     "333333000003010306000000"},
    {"Polyline2d",
     "0101"
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "0307043FF8080000000000030A00043FE0043FD0043FD0030A0308BFD3333333"
     "33333300000301030600000002"},
    {"Mline",
     "00000304"
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "06"
     "03140328033C"  // 10, 20, 30
     "402D089FD61E7D3A40380A98590DA3D0403E83DC3381BD09"  // second point of the path
     "402AE4E5C517449E403B72E69A1923E4404049A680C45896"  // third point of the path
     "04043FE0F9F7F7DF0704BFD0FFFFFFFF07"},
    {"Leader",
     "01043FE0"
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "06"
     "03140328033C"  // 10, 20, 30
     "402D089FD61E7D3A40380A98590DA3D0403E83DC3381BD09"  // second point of the path
     "402AE4E5C517449E403B72E69A1923E4404049A680C45896"},  // third point of the path
    {"Text",
     "07"
     "4772C3B6C39F65"  // the text
     "03140328033C"  // 10, 20, 30
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "0304043FE8043FE0043FD00102020100"},
    {"MText",
     "0E"
     "6F6E652074776F5C507468726565"  // the contents
     "03140328033C"  // 10, 20, 30
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "043FE8043FE00304043FF40601"},
    {"ArcAlignedText",
     "05"
     "726F756E64"  // the text "round"
     "03140328033C"  // 10, 20, 30
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "0310043FD00304043FF8043FE00101"},
    {"Hatch",
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "0440040005"
     "4C494E4553"  // the name "LINES"
     "02043FE03FB999999999999A3FC999999999999ABFC999999999999A3FE66666"
     "6666666604043FE004BFD00402080000000000030A00043FE00000030A0308BF"
     "D333333333333300000301030600000000000004000101030601010304010100"
     "00043FE00040091EB851EB851F"},
    {"AlignedDimension",
     "0A"
     "61626F75742036206D6D"  // the text "about 6 mm"
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "03140328033C"  // 10, 20, 30
     "402D089FD61E7D3A40380A98590DA3D0403E83DC3381BD09"  // second point of the path
     "402AE4E5C517449E403B72E69A1923E4404049A680C45896"  // third point of the path
     "00"
     "402AE4E5C517449E403B72E69A1923E4404049A680C45896"  // third point of the path
     "043FE0043FD0"},
    {"RotatedDimension",
     "0A"
     "61626F75742036206D6D"  // the text "about 6 mm"
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "03140328033C"  // 10, 20, 30
     "402D089FD61E7D3A40380A98590DA3D0403E83DC3381BD09"  // second point of the path
     "402AE4E5C517449E403B72E69A1923E4404049A680C45896"  // third point of the path
     "00"
     "402AE4E5C517449E403B72E69A1923E4404049A680C45896"  // third point of the path
     "043FE0043FD0043FD0"},
    {"BlockReference",
     "03140328033C"  // 10, 20, 30
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "043FE0030303040304"},
    {"Viewport",
     "0400"
     "03140328033C"  // 10, 20, 30
     "0350033C"
     "3FD2492492492492BFDB6DB6DB6DB6DB3FEB6DB6DB6DB6DB"  // normal: 2/7, -3/7, 6/7
     "0103040306043FE0030A030C03D804"},
    {"Solid",
     "03626F7806666F726D61740C18100101000003140001000328000001033C0A00"
     "01020304"},
};
// clang-format on

class EntityFormat : public testing::Test
{
protected:
    OdDbPlatform platform;
    OdDbDatabasePtr db = OdDbDatabase::createObject();
};

TEST_F(EntityFormat, IsThatOfTheGoldenBytes)
{
    std::map<std::string, std::string> golden;
    for (Golden const& row : kGolden) {
        golden[row.name] = std::string(kCommon) + row.body;
    }
    for (dbtest::EntitySample const& sample : dbtest::sampleEntities(*db)) {
        FileFiler filer(db.get());
        sample.entity->dwgOutFields(&filer);
        EXPECT_EQ(hexOf(filer.body()), golden[sample.name]) << sample.name;
    }
}

TEST_F(EntityFormat, IsWrittenAgainAsItWasRead)
{
    for (dbtest::EntitySample const& sample : dbtest::sampleEntities(*db)) {
        FileFiler written(db.get());
        sample.entity->dwgOutFields(&written);
        const Bytes body(written.body().begin(), written.body().end());
        const Bytes references(written.references().begin(), written.references().end());
        FileFiler reading(db.get());
        reading.readFrom(body, references, OdDb::kDwgVersionCurrent);
        const OdDbEntityPtr copy = OdRxObjectPtr(sample.entity->isA()->create());
        ASSERT_EQ(copy->dwgInFields(&reading), kOdOk) << sample.name;
        EXPECT_EQ(reading.bytesLeft(), 0U) << sample.name;
        FileFiler again(db.get());
        copy->dwgOutFields(&again);
        EXPECT_EQ(hexOf(again.body()), hexOf(body)) << sample.name;
        EXPECT_EQ(hexOf(again.references()), hexOf(references)) << sample.name;
    }
}

TEST_F(EntityFormat, IsRefusedWhenItIsCutAtAnyLength)
{
    for (dbtest::EntitySample const& sample : dbtest::sampleEntities(*db)) {
        FileFiler written(db.get());
        sample.entity->dwgOutFields(&written);
        const Bytes body(written.body().begin(), written.body().end());
        const Bytes references(written.references().begin(), written.references().end());
        for (std::size_t length = 0; length < body.size(); ++length) {
            FileFiler reading(db.get());
            reading.readFrom({body.data(), length}, references, OdDb::kDwgVersionCurrent);
            const OdDbEntityPtr copy = OdRxObjectPtr(sample.entity->isA()->create());
            OdResult code = kOdOk;
            try {
                code = copy->dwgInFields(&reading);
            } catch (OdError const& error) {
                code = error.code();
            }
            EXPECT_EQ(code, kOdBadStream) << sample.name << " at " << length;
        }
    }
}

/// The kinds of references, and whether they name something, in the order in which they are filed.
std::string kindsOf(std::span<std::uint8_t const> references)
{
    std::string text;
    OdDbByteReader reader(references);
    while (reader.left() != 0) {
        std::uint8_t kind = 0;
        const bool isNull = reader.takeReference(kind) == 0;
        text += static_cast<char>('0' + kind);
        text += isNull ? '-' : '+';
    }
    return text;
}

TEST_F(EntityFormat, IsTheSameInACloneInAnotherDrawingButForHandles)
{
    OdDbObjectIdArray ids;
    for (dbtest::EntitySample const& sample : dbtest::sampleEntities(*db)) {
        const OdDbBlockTableRecordPtr space = db->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
        ids.append(space->appendOdDbEntity(sample.entity.get()));
    }
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    other->wblockCloneObjects(ids, other->getModelSpaceId(), *mapping,
                              OdDb::DuplicateRecordCloning::kDrcIgnore);
    for (OdDbObjectId id : ids) {
        OdDbIdPair pair(id);
        ASSERT_TRUE(mapping->compute(pair));
        const OdDbEntityPtr source = id.safeOpenObject();
        const OdDbEntityPtr clone = pair.value().safeOpenObject();
        EXPECT_EQ(clone->database(), other.get());
        FileFiler from(db.get());
        source->dwgOutFields(&from);
        FileFiler to(other.get());
        clone->dwgOutFields(&to);
        EXPECT_EQ(hexOf(to.body()), hexOf(from.body())) << source->isA()->name().utf8();
        EXPECT_EQ(kindsOf(to.references()), kindsOf(from.references()))
            << source->isA()->name().utf8();
        OdGeExtents3d before;
        OdGeExtents3d after;
        EXPECT_EQ(clone->getGeomExtents(after), source->getGeomExtents(before));
        EXPECT_EQ(after, before) << source->isA()->name().utf8();
    }
}

}  // namespace
