// Damaged streams into every class that reads fields: the answer is a result or an OdError, within
// memory that is bounded by the size of the stream.

#include "db/db_test_support.h"
#include "db/od_db_3d_solid.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_proxy_object.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_xrecord.h"
#include "support/entity_samples.h"

#include <rapidcheck/gtest.h>

#include <algorithm>
#include <set>

#if defined(__SANITIZE_ADDRESS__)
#define DBTEST_COUNTS_ALLOCATIONS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define DBTEST_COUNTS_ALLOCATIONS 1
#endif
#endif

namespace {

std::size_t g_largestAllocation = 0;

}  // namespace

#ifdef DBTEST_COUNTS_ALLOCATIONS
// Called by the sanitizer's run time for every block that is allocated.
extern "C" void __sanitizer_malloc_hook(void const volatile* block, std::size_t size);
extern "C" void __sanitizer_malloc_hook(void const volatile* /*block*/, std::size_t size)
{
    g_largestAllocation = std::max(g_largestAllocation, size);
}
#endif

using namespace dbtest;

namespace {

/// What one block may measure while a stream is read: a multiple of the stream, and tables of ids.
std::size_t allowedAllocation(std::size_t streamBytes)
{
    return 64 * streamBytes + 256 * 1024;
}

OdResBufPtr xdataOf(wchar_t const* app)
{
    const OdResBufPtr head = OdResBuf::newRb(1001);
    head->setString(app);
    OdResBufPtr last = head;
    for (int code : {1000, 1004, 1005, 1010, 1040, 1070, 1071}) {
        const OdResBufPtr record = OdResBuf::newRb(code);
        last->setNext(record.get());
        last = record;
    }
    return head;
}

/// One object of every class, with something in each field.
struct Samples
{
    Platform platform;
    AssertRecorder asserts;
    OdDbDatabasePtr db = OdDbDatabase::createObject();
    std::map<OdString, OdDbObjectPtr> byClass;

    Samples()
    {
        db->newRegApp(L"APP");
        const OdDbObjectId reactorId = add(*TestReactor::createObject(), L"reactor");
        addBag(reactorId);
        addRecords();
        addEntities();
        addContainers(reactorId);
    }

    OdDbDictionaryPtr dictionary() const
    {
        return db->getNamedObjectsDictionaryId().safeOpenObject(OdDb::kForWrite);
    }
    OdDbObjectId add(OdDbObject& object, wchar_t const* name)
    {
        const OdDbObjectId id = dictionary()->setAt(name, &object);
        keep(id);
        return id;
    }
    void keep(OdDbObjectId id)
    {
        const OdDbObjectPtr object = id.openObject(OdDb::kForWrite);
        byClass[object->isA()->name()] = object;
    }
    /// Keeps the first object of a dictionary.
    void keepEntry(OdDbObjectId dictionary)
    {
        keep(OdDbDictionaryPtr(dictionary.safeOpenObject())->newIterator()->objectId());
    }
    void addBag(OdDbObjectId reactorId)
    {
        const TestBagPtr bag = TestBag::createObject();
        bag->setText(L"text");
        bag->setReals({1, 2, 3});
        OdDbObjectIdArray ids;
        ids.append(reactorId);
        ids.append(db->getModelSpaceId());
        bag->setIds(OdDb::ReferenceType::kHardOwnershipRef, ids);
        bag->setIds(OdDb::ReferenceType::kSoftPointerRef, ids);
        add(*bag, L"bag");
        for (int index = 0; index < 20; ++index) {
            bag->addPersistentReactor(
                db->getOdDbObjectId(OdDbHandle(static_cast<std::uint64_t>(index + 1))));
        }
        bag->setXData(xdataOf(L"APP").get());
        const OdDbXrecordPtr record =
            bag->createXrecord(L"REC", OdDb::DuplicateRecordCloning::kDrcIgnore);
        record->setFromRbChain(xdataOf(L"APP")->next().get());
        keep(record->objectId());
        add(*odrxMake<OdDbObject>(), L"plain");
    }
    void addRecords()
    {
        const OdDbLinetypeTableRecordPtr type =
            db->getLinetypeContinuousId().safeOpenObject(OdDb::kForWrite);
        OdArray<double> dashes;
        dashes.append(1.0);
        dashes.append(-1.0);
        type->setDashes(dashes);
        type->setComments(L"comments");
        keep(type->objectId());
        const OdDbLayerTableRecordPtr layer = db->getLayerZeroId().safeOpenObject(OdDb::kForWrite);
        layer->setDescription(L"description");
        layer->setPlotStyleName(L"style");
        keep(layer->objectId());
        keep(db->newRegApp(L"APP"));
        for (OdDbObjectId table : {db->getBlockTableId(), db->getLayerTableId(),
                                   db->getLinetypeTableId(), db->getRegAppTableId()}) {
            keep(table);
        }
    }
    void addEntities()
    {
        const OdDbBlockTableRecordPtr space = db->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
        space->setPathName(L"path");
        const OdDbLinePtr line = OdDbLine::createObject();
        const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
        OdBinaryData body;
        body.resize(20);
        solid->setBody(L"format", body, {1, 2, 3});
        solid->setLabel(L"label");
        space->appendOdDbEntity(line.get());
        space->appendOdDbEntity(solid.get());
        line->setXData(xdataOf(L"APP").get());
        for (EntitySample const& sample : sampleEntities(*db)) {
            space->appendOdDbEntity(sample.entity.get());
            keep(sample.entity->objectId());
        }
        keep(db->getMaterialDictionaryId(true));
        keepEntry(db->getMaterialDictionaryId());
        keepEntry(db->getVisualStyleDictionaryId());
        for (OdDbObjectId id : {line->objectId(), solid->objectId(), space->objectId()}) {
            keep(id);
        }
    }
    void addContainers(OdDbObjectId reactorId)
    {
        const OdDbDictionaryPtr sub = OdDbDictionary::createObject();
        add(*sub, L"dictionary");
        sub->setAt(L"one", TestBag::createObject().get());
        sub->setAt(L"two", TestBag::createObject().get());
        sub->addPersistentReactor(reactorId);
    }
    FakeBody bodyOf(OdDbObject const& object) const
    {
        OdStaticRxObject<FakeFiler> filer(*db);
        OdDbStorageAccess(*db).fileOut(object, filer);
        return filer.body();
    }
    /// What comes of a body that is read by a new object of a class.
    void read(OdRxClass const& cls, FakeBody const& body) const
    {
        const OdDbObjectPtr object = cls.create();
        read(*object, body);
    }
    void read(OdDbObject& object, FakeBody const& body) const
    {
        const std::size_t bytes = body.bytes.size() + 8 * body.references.size();
        g_largestAllocation = 0;
        try {
            OdStaticRxObject<FakeFiler> filer(*db, body);
            (void)object.dwgInFields(&filer);
        } catch (OdError const&) {
            // refused, as it may
        }
        EXPECT_LE(g_largestAllocation, allowedAllocation(bytes));
        OdStaticRxObject<OdDbMemoryFiler> out;
        object.dwgOutFields(&out);
    }
};

using Damage = std::vector<FakeBody> (*)(FakeBody const&);

std::vector<FakeBody> cutAtEveryLength(FakeBody const& body)
{
    std::vector<FakeBody> result;
    for (std::size_t length = 0; length < body.bytes.size(); ++length) {
        result.push_back(body);
        result.back().bytes.resize(length);
    }
    for (std::size_t length = 0; length < body.references.size(); ++length) {
        result.push_back(body);
        result.back().references.resize(length);
    }
    return result;
}

std::vector<FakeBody> withEachBitFlipped(FakeBody const& body)
{
    std::vector<FakeBody> result;
    for (std::size_t bit = 0; bit < 8 * body.bytes.size(); ++bit) {
        result.push_back(body);
        result.back().bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    }
    for (std::size_t index = 0; index < body.references.size(); ++index) {
        for (std::size_t bit = 0; bit < 64; bit += 7) {
            result.push_back(body);
            result.back().references[index].second ^= std::uint64_t{1} << bit;
        }
    }
    return result;
}

std::vector<FakeBody> withAbsurdNumbers(FakeBody const& body)
{
    std::vector<FakeBody> result;
    for (std::size_t at = 0; at + 4 <= body.bytes.size(); ++at) {
        for (std::uint32_t number : {0xFFFFFFFFU, 0x7FFFFFFFU, 0x80000000U, 0x00FFFFFFU}) {
            result.push_back(body);
            std::memcpy(&result.back().bytes[at], &number, sizeof number);
        }
    }
    return result;
}

std::vector<FakeBody> withAnotherKindOfReference(FakeBody const& body)
{
    std::vector<FakeBody> result;
    for (std::uint64_t handle : {std::uint64_t{0}, std::uint64_t{1}, ~std::uint64_t{0}}) {
        result.push_back(body);
        for (auto& reference : result.back().references) {
            reference = {OdDb::ReferenceType::kHardOwnershipRef, handle};
        }
    }
    return result;
}

struct DamageRow
{
    char const* name;
    Damage damage;
};

void PrintTo(DamageRow const& row, std::ostream* out)
{
    *out << row.name;
}

class DamagedStream : public testing::TestWithParam<DamageRow>
{
};

TEST_P(DamagedStream, GivesAResultOrAnErrorFromEveryClass)
{
    const Samples samples;
    for (auto const& [name, object] : samples.byClass) {
        SCOPED_TRACE(std::string(name.utf8()));
        for (FakeBody const& body : GetParam().damage(samples.bodyOf(*object))) {
            samples.read(*object->isA(), body);
        }
    }
}

TEST_P(DamagedStream, GivesAResultOrAnErrorFromAProxyAndTheSettings)
{
    const Samples samples;
    const FakeBody proxied = samples.bodyOf(*samples.byClass.at(TestBag::desc()->name()));
    for (FakeBody const& body : GetParam().damage(proxied)) {
        samples.read(*odrxMake<OdDbProxyObject>(), body);
    }
    const OdDbDatabasePtr target = OdDbDatabase::createBare();
    for (FakeBody const& body : GetParam().damage(samples.bodyOf(*samples.db))) {
        samples.read(*target, body);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, DamagedStream,
                         testing::Values(DamageRow{"CutAtEveryLength", &cutAtEveryLength},
                                         DamageRow{"EachBitFlipped", &withEachBitFlipped},
                                         DamageRow{"AbsurdNumbers", &withAbsurdNumbers},
                                         DamageRow{"OtherReferences", &withAnotherKindOfReference}),
                         [](auto const& row) { return std::string(row.param.name); });

#ifdef DBTEST_COUNTS_ALLOCATIONS
TEST(DamagedStreams, AreReadWithAllocationsCounted)
{
    g_largestAllocation = 0;
    const std::vector<char> block(1000000);
    EXPECT_GE(g_largestAllocation, block.size());
}
#endif

TEST(DamagedStreams, AreTriedOnEveryClassThatCanBeMade)
{
    const Samples samples;
    for (auto const& [name, cls] : *odrxClassDictionary()) {
        if (cls->isDerivedFrom(OdDbObject::desc()) && !cls->create().isNull()) {
            EXPECT_EQ(samples.byClass.count(name), 1U) << name.utf8();
        }
    }
}

TEST(DamagedStreams, OfAnObjectsWholeStateAreRefusedByTheMemoryFilerAtEveryLength)
{
    const Samples samples;
    for (auto const& [name, object] : samples.byClass) {
        const auto bytes = bytesOf(*object);
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            OdStaticRxObject<OdDbMemoryFiler> filer;
            filer.readFrom({bytes.data(), length});
            const OdDbObjectPtr fresh = object->isA()->create();
            EXPECT_EQ(thrownCode([&] { (void)fresh->dwgInFields(&filer); }), kOdBadStream)
                << name.utf8() << " at " << length;
        }
    }
}

TEST(DamagedStreams, OfAProxysStateAreRefusedByTheMemoryFilerAtEveryLength)
{
    const Samples samples;
    OdStaticRxObject<OdDbMemoryFiler> written;
    {
        const OdDbProxyObjectPtr proxy = odrxMake<OdDbProxyObject>();
        OdStaticRxObject<FakeFiler> stored(
            *samples.db, samples.bodyOf(*samples.byClass.at(TestBag::desc()->name())));
        ASSERT_EQ(proxy->dwgInFields(&stored), kOdOk);
        ASSERT_FALSE(proxy->body().references.empty());
        proxy->dwgOutFields(&written);
    }
    for (std::size_t length = 0; length < written.bytes().size(); ++length) {
        OdStaticRxObject<OdDbMemoryFiler> filer;
        filer.readFrom({written.bytes().data(), length});
        const OdDbProxyObjectPtr fresh = odrxMake<OdDbProxyObject>();
        EXPECT_EQ(thrownCode([&] { (void)fresh->dwgInFields(&filer); }), kOdBadStream) << length;
    }
}

/// A memory filer that remembers where ids lie; those are addresses and must not be damaged.
class IdSpottingFiler : public OdDbMemoryFiler
{
public:
    void wrSoftOwnershipId(OdDbObjectId const& id) override
    {
        spot();
        OdDbMemoryFiler::wrSoftOwnershipId(id);
    }
    void wrHardOwnershipId(OdDbObjectId const& id) override
    {
        spot();
        OdDbMemoryFiler::wrHardOwnershipId(id);
    }
    void wrSoftPointerId(OdDbObjectId const& id) override
    {
        spot();
        OdDbMemoryFiler::wrSoftPointerId(id);
    }
    void wrHardPointerId(OdDbObjectId const& id) override
    {
        spot();
        OdDbMemoryFiler::wrHardPointerId(id);
    }
    bool isId(std::size_t at) const
    {
        const auto next = m_ids.upper_bound(at);
        return next != m_ids.begin() && at - *std::prev(next) < sizeof(void*);
    }

private:
    void spot() { m_ids.insert(static_cast<std::size_t>(tell())); }

    std::set<std::size_t> m_ids;
};

TEST(DamagedStreams, WithFlippedCountsLeaveTheMemoryFilerInsideItsBytes)
{
    // Flipped counts and lengths move the fields behind them, so ids may be read from other bytes;
    // they are kept and never looked behind, but for classes that index their entries by id.
    const Samples samples;
    for (wchar_t const* name :
         {L"TestBag", L"OdDbXrecord", L"OdDbLine", L"OdDb3dSolid", L"OdDbLayerTableRecord",
          L"OdDbLinetypeTableRecord", L"OdDbBlockTableRecord", L"OdDbRegAppTableRecord"}) {
        const OdDbObjectPtr object = samples.byClass.at(name);
        OdStaticRxObject<IdSpottingFiler> spotter;
        OdDbStorageAccess(*samples.db).fileOut(*object, spotter);
        for (std::size_t bit = 0; bit < 8 * spotter.bytes().size(); ++bit) {
            if (spotter.isId(bit / 8)) {
                continue;
            }
            auto bytes = spotter.bytes();
            bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
            OdStaticRxObject<OdDbMemoryFiler> filer;
            filer.readFrom(bytes);
            const OdDbObjectPtr fresh = object->isA()->create();
            g_largestAllocation = 0;
            try {
                (void)fresh->dwgInFields(&filer);
            } catch (OdError const&) {
                // refused, as it may
            }
            EXPECT_LE(g_largestAllocation, allowedAllocation(bytes.size()));
        }
    }
}

RC_GTEST_PROP(DamagedStreamsProperty, OfAnyBytesGiveAResultOrAnError,
              (std::vector<std::uint8_t> bytes, std::vector<std::uint64_t> handles))
{
    const Samples samples;
    FakeBody body;
    body.bytes = bytes;
    for (std::uint64_t handle : handles) {
        body.references.emplace_back(OdDb::ReferenceType::kSoftPointerRef, handle);
    }
    for (auto const& [name, object] : samples.byClass) {
        samples.read(*object->isA(), body);
    }
}

// ---------------------------------------------------------------------------------------------

class DamagedDrawing : public testing::Test
{
};

/// Opens every object, walks containers and stores everything again.
void walk(FakeDrawingPtr const& drawing)
{
    const OdDbDatabasePtr db = openDrawing(drawing);
    for (OdDbHandle at = db->nextHandle(); !at.isNull(); at = db->nextHandle(at)) {
        const OdDbObjectPtr object = db->getOdDbObjectId(at).openObject();
        if (const OdDbDictionaryPtr dictionary = OdDbDictionary::cast(object.get())) {
            for (const auto entry = dictionary->newIterator(); !entry->done(); entry->next()) {
                (void)entry->getObject();
            }
        }
        if (const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::cast(object.get())) {
            for (const auto entity = block->newIterator(); !entity->done(); entity->step()) {
                (void)entity->objectId().openObject();
            }
        }
    }
    const FakeDrawingPtr again = saveDrawing(*db);
    EXPECT_LE(again->objects.size(), drawing->objects.size());
}

TEST_F(DamagedDrawing, IsOpenedWalkedAndStoredWithTheRestOfIt)
{
    const Samples samples;
    const FakeDrawingPtr whole = saveDrawing(*samples.db);
    std::size_t step = 0;
    for (auto const& [handle, object] : whole->objects) {
        for (std::size_t at = 0; at < object.body.bytes.size(); at += 5) {
            const auto damaged = std::make_shared<FakeDrawing>(*whole);
            std::vector<std::uint8_t>& bytes = damaged->objects[handle].body.bytes;
            if (++step % 2 == 0) {
                bytes.resize(at);
            } else {
                bytes[at] ^= static_cast<std::uint8_t>(1U << (step % 8));
            }
            walk(damaged);
        }
    }
}

TEST_F(DamagedDrawing, MayHaveReferencesThatFormRings)
{
    const Samples samples;
    const FakeDrawingPtr whole = saveDrawing(*samples.db);
    for (auto const& [target, unused] : whole->objects) {
        const auto damaged = std::make_shared<FakeDrawing>(*whole);
        for (auto& [handle, object] : damaged->objects) {
            for (auto& reference : object.body.references) {
                reference.second = target;
            }
        }
        walk(damaged);
    }
}

TEST_F(DamagedDrawing, MayNameClassesOfAnotherKind)
{
    const Samples samples;
    const FakeDrawingPtr whole = saveDrawing(*samples.db);
    for (std::uint32_t shift = 1; shift < whole->classes.size(); ++shift) {
        const auto damaged = std::make_shared<FakeDrawing>(*whole);
        for (auto& [handle, object] : damaged->objects) {
            object.classIndex =
                (object.classIndex + shift) % static_cast<std::uint32_t>(whole->classes.size());
        }
        walk(damaged);
    }
}

TEST_F(DamagedDrawing, MayLackAnyOfItsObjects)
{
    const Samples samples;
    const FakeDrawingPtr whole = saveDrawing(*samples.db);
    for (auto const& [handle, unused] : whole->objects) {
        const auto damaged = std::make_shared<FakeDrawing>(*whole);
        damaged->objects.erase(handle);
        walk(damaged);
    }
}

TEST_F(DamagedDrawing, MayHaveRootsThatAreSomethingElse)
{
    const Samples samples;
    const FakeDrawingPtr whole = saveDrawing(*samples.db);
    for (std::uint64_t root : {std::uint64_t{0}, samples.db->getModelSpaceId().getHandle().value(),
                               std::uint64_t{0x123456}}) {
        const auto damaged = std::make_shared<FakeDrawing>(*whole);
        for (auto& reference : damaged->header.references) {
            reference.second = root;
        }
        walk(damaged);
        const OdDbDatabasePtr db = openDrawing(damaged);
        try {
            (void)db->isRegisteredApp(L"APP");
            (void)db->newRegApp(L"OTHER");
        } catch (OdError const&) {
            // there is no table of applications
        }
        const TestBagPtr bag = TestBag::createObject();
        db->addOdDbObject(bag.get());
        EXPECT_NE(thrownCode([&] { bag->setXData(xdataOf(L"APP").get()); }), kOdOk);
    }
}

}  // namespace
