// The stored fields of objects that are no entities, byte by byte; and what becomes of the stored fields
// of all kinds when bits in them are turned over.

#include "db/od_db_platform.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_xrecord.h"
#include "root/od_error.h"
#include "store/od_db_file_filer.h"
#include "support/entity_samples.h"
#include "support/gi_recorder.h"

#include <gtest/gtest.h>

#include <cmath>
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

struct Stored
{
    Bytes body;
    Bytes references;
};

Stored stored(OdDbObject const& object, OdDbDatabase& db)
{
    FileFiler filer(&db);
    OdDbStorageAccess(db).fileOut(object, filer);
    return {{filer.body().begin(), filer.body().end()},
            {filer.references().begin(), filer.references().end()}};
}

/// The result of reading; what is thrown counts as its code.
OdResult read(OdDbObject& object, Stored const& from, OdDbDatabase& db)
{
    FileFiler filer(&db);
    filer.readFrom(from.body, from.references, OdDb::kDwgVersionCurrent);
    try {
        return object.dwgInFields(&filer);
    } catch (OdError const& error) {
        return error.code();
    }
}

OdDbObjectPtr emptyOf(OdDbObject const& object)
{
    return object.isA()->create();
}

struct Sample
{
    std::string name;
    OdDbObjectPtr object;
};

OdResBufPtr chain(std::initializer_list<OdResBufPtr> records)
{
    OdResBufPtr first;
    OdResBufPtr last;
    for (OdResBufPtr const& record : records) {
        if (first.isNull()) {
            first = record;
        } else {
            last->setNext(record.get());
        }
        last = record;
    }
    return first;
}

OdResBufPtr text(int code, wchar_t const* value)
{
    const OdResBufPtr record = OdResBuf::newRb(code);
    record->setString(value);
    return record;
}

OdResBufPtr number(double value)
{
    const OdResBufPtr record = OdResBuf::newRb(1040);
    record->setDouble(value);
    return record;
}

/// Objects with something in each field, under handles 100h, 110h, ....
std::vector<Sample> sampleObjects(OdDbDatabase& db)
{
    std::vector<Sample> samples;
    std::uint64_t handle = 0x100;
    const auto add = [&](char const* name, OdDbObjectPtr const& object) {
        db.addOdDbObject(object.get(), db.getNamedObjectsDictionaryId(), OdDbHandle(handle));
        handle += 0x10;
        samples.push_back({name, object});
    };

    const OdDbXrecordPtr record = OdDbXrecord::createObject();
    record->setFromRbChain(chain({text(1000, L"hi"), number(0.5)}).get());
    record->setDuplicateRecordCloning(OdDb::DuplicateRecordCloning::kDrcIgnore);
    add("Xrecord", record);

    const OdDbXrecordPtr rich = OdDbXrecord::createObject();
    add("Object", rich);
    db.newRegApp(L"APP");
    rich->addPersistentReactor(record->objectId());
    rich->setXData(chain({text(1001, L"APP"), text(1000, L"x")}).get());

    const OdDbDictionaryPtr dictionary = OdDbDictionary::createObject();
    add("Dictionary", dictionary);
    dictionary->setAt(L"b", OdDbXrecord::createObject().get());
    dictionary->setAt(L"A", OdDbXrecord::createObject().get());

    const OdDbRegAppTableRecordPtr app = OdDbRegAppTableRecord::createObject();
    app->setName(L"OTHER");
    add("RegAppTableRecord", app);

    const OdDbLinetypeTableRecordPtr linetype = OdDbLinetypeTableRecord::createObject();
    linetype->setName(L"DASHED");
    linetype->setComments(L"- -");
    OdArray<double> dashes;
    dashes.append(0.5);
    dashes.append(-0.25);
    linetype->setDashes(dashes);
    add("LinetypeTableRecord", linetype);

    const OdDbLayerTableRecordPtr layer = OdDbLayerTableRecord::createObject();
    layer->setName(L"Walls");
    layer->setDescription(L"of brick");
    layer->setIsLocked(true);
    layer->setIsPlottable(false);
    layer->setColor(OdCmEntityColor(1, 2, 3));
    layer->setLinetypeObjectId(db.getLinetypeContinuousId());
    layer->setLineWeight(25);
    layer->setTransparency(0.5);
    layer->setPlotStyleName(L"Fine");
    add("LayerTableRecord", layer);

    const OdDbMaterialPtr material = OdDbMaterial::createObject();
    material->setName(L"Steel");
    material->setDescription(L"plain");
    material->setDiffuse(OdCmEntityColor(1, 2, 3));
    material->setOpacity(0.5);
    material->setReflectivity(0.25);
    material->setSelfIllumination(1.0);
    add("Material", material);

    const OdDbVisualStylePtr style = OdDbVisualStyle::createObject();
    style->setDescription(L"hidden");
    OdDbEdgeStyle edges;
    OdCmColor color(OdCmEntityColor(1, 2, 3));
    color.setNames(L"red", L"book");
    edges.setEdgeColor(color);
    edges.setObscuredColor(OdCmColor(OdCmEntityColor(4, 5, 6)));
    edges.setObscuredLinePattern(OdDbEdgeStyle::kDotted);
    style->setEdgeStyle(edges);
    add("VisualStyle", style);

    const OdDbBlockTableRecordPtr block =
        dbtest::samples::sampleBlock(db).safeOpenObject(OdDb::kForWrite);
    block->setBlockInsertUnits(OdDb::UnitsValue::kUnitsMeters);
    block->setPathName(L"a.zdw");
    block->setIsFromOverlayReference(true);
    samples.push_back({"BlockTableRecord", block});
    samples.push_back({"LayerTable", db.getLayerTableId().safeOpenObject()});
    return samples;
}

struct Golden
{
    char const* name;
    char const* body;
    char const* references;
};

// Bodies begin with no reactors and no extended data, references with no extension dictionary (kind 3)
// and the owner: the named objects, 5, or what the row says.
// clang-format off
constexpr Golden kGolden[] = {
    {"Xrecord",
     "0000"
     "02"  // ignore
     "24"
     "E803020000006869"  // 1000, 2 bytes, "hi"
     "1004000000000000E03F",  // 1040, 0.5
     "0314"},
    {"Object",
     "02" "02" "03415050" "0E" "E8030100000078"  // a reactor; one application: "APP", 7 bytes
     "02" "00",  // ignore; no chain
     "8008" "03" "14"},
    {"Dictionary",
     "0000" "01" "04" "0141" "0162",
     "0314" "8B09" "8709"},  // hard ownership of 122h, "A", and 121h, "b"
    {"RegAppTableRecord", "0000" "054F54484552", "0314"},
    {"LinetypeTableRecord",
     "0000" "06444153484544" "032D202D" "04" "043FE0" "04BFD0",
     "0314"},
    {"LayerTableRecord",
     "0000" "0557616C6C73" "09" "086F6620627269636B" "F9F7F7DF07" "32" "043FE0" "0446696E65",
     "0314" "21" "01"},
    {"Material",
     "0000" "05537465656C" "05706C61696E" "F9F7F7DF07" "043FE0" "043FD0" "01",
     "0314"},
    {"VisualStyle",
     "0000" "0668696464656E" "F9F7F7DF07" "03726564" "04626F6F6B" "F3EBDFDF07" "00" "00" "06",
     "0314"},
    {"BlockTableRecord",
     "0000" "0653616D706C65" "010100" "0C" "05612E7A6477" "01" "00" "02" "00",
     ""},
    {"LayerTable", "0000" "02" "0130", ""},
};
// clang-format on

class ObjectFormat : public testing::Test
{
protected:
    OdDbPlatform platform;
    OdDbDatabasePtr db = OdDbDatabase::createObject();
    std::vector<Sample> m_samples = sampleObjects(*db);

    std::vector<Sample> all()
    {
        std::vector<Sample> samples = m_samples;
        for (dbtest::EntitySample const& entity : dbtest::sampleEntities(*db)) {
            samples.push_back({entity.name, OdDbObjectPtr(entity.entity)});
        }
        return samples;
    }
    void TearDown() override { m_samples.clear(); }
};

TEST_F(ObjectFormat, IsThatOfTheGoldenBytes)
{
    std::map<std::string, Golden> golden;
    for (Golden const& row : kGolden) {
        golden.emplace(row.name, row);
    }
    for (Sample const& sample : m_samples) {
        ASSERT_EQ(golden.count(sample.name), 1U) << sample.name;
        Golden const& row = golden.at(sample.name);
        const Stored bytes = stored(*sample.object, *db);
        EXPECT_EQ(hexOf(bytes.body), row.body) << sample.name;
        if (*row.references != '\0') {
            EXPECT_EQ(hexOf(bytes.references), row.references) << sample.name;
        }
    }
}

TEST_F(ObjectFormat, IsWrittenAgainAsItWasRead)
{
    for (Sample const& sample : m_samples) {
        const Stored bytes = stored(*sample.object, *db);
        const OdDbObjectPtr copy = emptyOf(*sample.object);
        ASSERT_EQ(read(*copy, bytes, *db), kOdOk) << sample.name;
        const Stored again = stored(*copy, *db);
        EXPECT_EQ(hexOf(again.body), hexOf(bytes.body)) << sample.name;
        EXPECT_EQ(hexOf(again.references), hexOf(bytes.references)) << sample.name;
    }
}

TEST_F(ObjectFormat, IsRefusedWhenItIsCutAtAnyLength)
{
    for (Sample const& sample : all()) {
        const Stored bytes = stored(*sample.object, *db);
        for (std::size_t length = 0; length < bytes.body.size(); ++length) {
            Stored cut = bytes;
            cut.body.resize(length);
            EXPECT_EQ(read(*emptyOf(*sample.object), cut, *db), kOdBadStream)
                << sample.name << " at " << length;
        }
        for (std::size_t length = 0; length < bytes.references.size(); ++length) {
            Stored cut = bytes;
            cut.references.resize(length);
            EXPECT_EQ(read(*emptyOf(*sample.object), cut, *db), kOdBadStream)
                << sample.name << ", references at " << length;
        }
    }
}

/// Takes what is drawn and keeps nothing of it.
class DeafGeometry : public gitest::RecordingGeometry
{
public:
    using RecordingGeometry::RecordingGeometry;

    void polyline(std::span<OdGePoint3d const> /*all*/, OdGeVector3d const* /*normal*/,
                  std::int64_t /*marker*/) override
    {
    }
    void polygon(std::span<OdGePoint3d const> /*all*/) override {}
    void circularArc(OdGePoint3d const& /*center*/, double /*radius*/,
                     OdGeVector3d const& /*normal*/, OdGeVector3d const& /*startVector*/,
                     double /*sweepAngle*/, OdGiArcType /*type*/) override
    {
    }
    void ellipArc(OdGeEllipArc3d const& /*arc*/, OdGiArcType /*type*/) override {}
    void shell(OdGiShell const& /*shell*/) override {}
    void text(OdGePoint3d const& /*position*/, OdGeVector3d const& /*normal*/,
              OdGeVector3d const& /*direction*/, double /*height*/, double /*widthFactor*/,
              double /*oblique*/, OdString const& /*text*/) override
    {
    }
};

class DeafDraw : public gitest::RecordingWorldDraw
{
public:
    mutable OdStaticRxObject<DeafGeometry> nothing{traits};

    DeafDraw() { nothing.worldDraw = this; }
    OdGiGeometry& geometry() const override { return nothing; }
};

/// Uses an entity as a viewer would.
void use(OdDbEntity& entity, std::string const& what)
{
    OdGeExtents3d extents;
    if (entity.getGeomExtents(extents) == kOdOk) {
        EXPECT_TRUE(extents.isValidExtents()) << what;
        EXPECT_TRUE(std::isfinite(extents.diagonalLength())) << what;
    }
    OdStaticRxObject<DeafDraw> draw;
    draw.nothing.draw(&entity);
    EXPECT_EQ(draw.nothing.transformDepth(), 0U) << what;
    OdGeMatrix3d matrix = OdGeMatrix3d::rotation(0.5, OdGeVector3d(1, 2, 3));
    matrix.setTranslation(OdGeVector3d(1, -2, 3));
    (void)entity.transformBy(matrix);
}

TEST_F(ObjectFormat, WithAnyBitTurnedOverIsRefusedOrReadToSomethingThatCanBeUsed)
{
    int accepted = 0;
    int refused = 0;
    for (Sample const& sample : all()) {
        const Stored bytes = stored(*sample.object, *db);
        const auto tryWith = [&](Stored const& damaged, std::string const& what) {
            const OdDbObjectPtr copy = emptyOf(*sample.object);
            const OdResult result = read(*copy, damaged, *db);
            if (result != kOdOk) {
                EXPECT_EQ(result, kOdBadStream) << what;
                ++refused;
                return;
            }
            ++accepted;
            const auto entity = OdDbEntity::cast(copy.get());
            if (!entity.isNull()) {
                use(*entity, what);
            }
            const Stored again = stored(*copy, *db);
            const OdDbObjectPtr second = emptyOf(*sample.object);
            ASSERT_EQ(read(*second, again, *db), kOdOk) << what;
            EXPECT_EQ(hexOf(stored(*second, *db).body), hexOf(again.body)) << what;
        };
        for (bool const isBody : {true, false}) {
            const std::size_t size = isBody ? bytes.body.size() : bytes.references.size();
            for (std::size_t bit = 0; bit < size * 8; ++bit) {
                Stored damaged = bytes;
                Bytes& part = isBody ? damaged.body : damaged.references;
                part[bit / 8] = static_cast<std::uint8_t>(part[bit / 8] ^ (1U << (bit % 8)));
                tryWith(damaged, sample.name + (isBody ? ", body bit " : ", references bit ") +
                                     std::to_string(bit));
            }
        }
    }
    EXPECT_GT(accepted, 1000);
    EXPECT_GT(refused, 1000);
}

TEST_F(ObjectFormat, WithAnyCountThatIsAbsurdIsRefusedAtOnce)
{
    // Each byte in turn gives way to the longest number that there is.
    const Bytes kHuge[] = {{0xFE, 0xFF, 0xFF, 0xFF, 0x0F},   // 2^31 - 1
                           {0xFF, 0xFF, 0xFF, 0xFF, 0x0F},   // -2^31
                           {0xFE, 0xFF, 0xFF, 0xFF, 0x03},   // 2^29 - 1
                           {0x07, 0x80, 0x80, 0x80, 0x80}};  // a double's tag before a long varint
    for (Sample const& sample : all()) {
        const Stored bytes = stored(*sample.object, *db);
        for (std::size_t at = 0; at < bytes.body.size(); ++at) {
            for (Bytes const& huge : kHuge) {
                Stored damaged = bytes;
                damaged.body.erase(damaged.body.begin() + static_cast<std::ptrdiff_t>(at));
                damaged.body.insert(damaged.body.begin() + static_cast<std::ptrdiff_t>(at),
                                    huge.begin(), huge.end());
                const OdDbObjectPtr copy = emptyOf(*sample.object);
                const OdResult result = read(*copy, damaged, *db);
                EXPECT_TRUE(result == kOdOk || result == kOdBadStream)
                    << sample.name << " at " << at << ": " << result;
                const auto entity = OdDbEntity::cast(copy.get());
                if (result == kOdOk && !entity.isNull()) {
                    use(*entity, sample.name + " at " + std::to_string(at));
                }
            }
        }
    }
}

TEST_F(ObjectFormat, WithNumbersThatAreNoneIsRefusedByEntities)
{
    // Doubles as they are stored: not a number, endless, and less than nothing and endless.
    const Bytes kBad[] = {{0x05, 0x7F, 0xF8, 0x01}, {0x04, 0x7F, 0xF0}, {0x04, 0xFF, 0xF0}};
    for (dbtest::EntitySample const& sample : dbtest::sampleEntities(*db)) {
        const Stored bytes = stored(*sample.entity, *db);
        for (std::size_t at = 0; at < bytes.body.size(); ++at) {
            for (Bytes const& bad : kBad) {
                Stored damaged = bytes;
                const auto place = damaged.body.begin() + static_cast<std::ptrdiff_t>(at);
                damaged.body.insert(damaged.body.erase(place), bad.begin(), bad.end());
                const OdDbEntityPtr copy = OdRxObjectPtr(sample.entity->isA()->create());
                if (read(*copy, damaged, *db) != kOdOk) {
                    continue;
                }
                use(*copy, sample.name + " at " + std::to_string(at));
                OdGeExtents3d extents;
                if (copy->getGeomExtents(extents) == kOdOk) {
                    EXPECT_TRUE(std::isfinite(extents.diagonalLength())) << sample.name << at;
                }
            }
        }
    }
}

}  // namespace
