#include "db/db_test_support.h"

#include "db/od_db_filer.h"

#include <algorithm>

namespace dbtest {

RX_DEFINE_CLASS(TestBag, OdDbObject, odrxCreate<TestBag>, L"TestBag", OdDb::kDwgVersionCurrent, 4,
                1025, L"TEST_BAG", L"Database tests");
RX_DEFINE_CLASS(TestReactor, TestBag, odrxCreate<TestReactor>, L"TestReactor",
                OdDb::kDwgVersionCurrent, 4, 1025, L"TEST_REACTOR", L"Database tests");

namespace {

constexpr std::uint8_t kNumberAdded = 7;  ///< opcode of a partial record

}  // namespace

Platform::Platform()
{
    TestBag::rxInit();
    TestReactor::rxInit();
}

Platform::~Platform()
{
    if (TestReactor::desc() != nullptr) {
        TestReactor::rxUninit();
    }
    if (TestBag::desc() != nullptr) {
        TestBag::rxUninit();
    }
}

AssertRecorder::AssertRecorder()
    : m_before(odSetAssertSink([this](OdAssertReport const& report) {
          m_messages.emplace_back(report.message != nullptr ? report.message : report.expression);
      }))
{
}

AssertRecorder::~AssertRecorder()
{
    odSetAssertSink(std::move(m_before));
}

// ---------------------------------------------------------------------------------------------
// Test classes

OdResult TestBag::s_readResult = kOdOk;
OdResult TestBag::s_readError = kOdOk;
std::function<void(TestBag&)> TestBag::s_onRead;

TestBag::TestBag() = default;
TestBag::~TestBag() = default;

TestBagPtr TestBag::createObject()
{
    return odrxMake<TestBag>();
}

std::int32_t TestBag::number() const
{
    assertReadEnabled();
    return m_number;
}

void TestBag::setNumber(std::int32_t number)
{
    assertWriteEnabled();
    m_number = number;
}

OdString TestBag::text() const
{
    assertReadEnabled();
    return m_text;
}

void TestBag::setText(OdString const& text)
{
    assertWriteEnabled();
    m_text = text;
}

std::vector<double> TestBag::reals() const
{
    assertReadEnabled();
    return m_reals;
}

void TestBag::setReals(std::vector<double> const& reals)
{
    assertWriteEnabled();
    m_reals = reals;
}

OdDbObjectIdArray TestBag::ids(OdDb::ReferenceType type) const
{
    assertReadEnabled();
    return m_ids[static_cast<std::size_t>(type)];
}

void TestBag::setIds(OdDb::ReferenceType type, OdDbObjectIdArray const& ids)
{
    assertWriteEnabled();
    m_ids[static_cast<std::size_t>(type)] = ids;
}

void TestBag::addToNumber(std::int32_t summand)
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    if (OdDbDwgFiler* filer = undoFiler()) {
        filer->wrAddress(TestBag::desc());
        filer->wrUInt8(kNumberAdded);
        filer->wrInt32(summand);
    }
    m_number = static_cast<std::int32_t>(static_cast<std::uint32_t>(m_number) +
                                         static_cast<std::uint32_t>(summand));
}

void TestBag::applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls)
{
    if (cls != TestBag::desc()) {
        OdDbObject::applyPartialUndo(filer, cls);
        return;
    }
    if (filer->rdUInt8() != kNumberAdded) {
        throw OdError(kOdBadStream);
    }
    const auto summand = static_cast<std::uint32_t>(filer->rdInt32());
    addToNumber(static_cast<std::int32_t>(0U - summand));
}

OdResult TestBag::subErase(bool erasing)
{
    ++subErases;
    return onSubErase ? onSubErase(*this, erasing) : kOdOk;
}

OdResult TestBag::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    if (s_onRead) {
        s_onRead(*this);
    }
    assertWriteEnabled();
    m_number = filer->rdInt32();
    if (s_readError != kOdOk) {
        throw OdError(s_readError);
    }
    if (s_readResult != kOdOk) {
        return s_readResult;
    }
    m_text = filer->rdString();
    m_reals.clear();
    const std::uint32_t reals = odDbReadCount(*filer, sizeof(double));
    for (std::uint32_t index = 0; index < reals; ++index) {
        m_reals.push_back(filer->rdDouble());
    }
    for (std::size_t type = 0; type < m_ids.size(); ++type) {
        m_ids[type].clear();
        const std::uint32_t count = odDbReadCount(*filer, 1);
        for (std::uint32_t index = 0; index < count; ++index) {
            m_ids[type].append(odDbReadId(*filer, static_cast<OdDb::ReferenceType>(type)));
        }
    }
    return kOdOk;
}

void TestBag::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    filer->wrInt32(m_number);
    filer->wrString(m_text);
    filer->wrInt32(static_cast<std::int32_t>(m_reals.size()));
    for (double real : m_reals) {
        filer->wrDouble(real);
    }
    for (std::size_t type = 0; type < m_ids.size(); ++type) {
        filer->wrInt32(static_cast<std::int32_t>(m_ids[type].size()));
        for (OdDbObjectId id : m_ids[type]) {
            odDbWriteId(*filer, id, static_cast<OdDb::ReferenceType>(type));
        }
    }
}

char const* noticeName(NoticeKind kind)
{
    switch (kind) {
    case NoticeKind::kOpenedForModify:
        return "openedForModify";
    case NoticeKind::kModified:
        return "modified";
    case NoticeKind::kModifiedGraphics:
        return "modifiedGraphics";
    case NoticeKind::kObjectClosed:
        return "objectClosed";
    case NoticeKind::kErased:
        return "erased";
    case NoticeKind::kUnerased:
        return "unerased";
    case NoticeKind::kGoodbye:
        return "goodbye";
    }
    return "";
}

TestReactor::TestReactor() = default;
TestReactor::~TestReactor() = default;

TestReactorPtr TestReactor::createObject()
{
    return odrxMake<TestReactor>();
}

void TestReactor::take(NoticeKind kind, OdDbObject const* object)
{
    notices.push_back(
        {kind, object->objectId(), object->isReadEnabled(), object->isUndoing(), isWriteEnabled()});
    if (journal != nullptr) {
        journal->push_back(label + ' ' + noticeName(kind));
    }
    if (std::exchange(ignore, false) || !onNotice) {
        return;
    }
    ++depth;
    deepest = std::max(deepest, depth);
    try {
        onNotice(*this, kind, *object);
    } catch (...) {
        --depth;
        throw;
    }
    --depth;
}

void TestReactor::erased(OdDbObject const* object, bool erasing)
{
    take(erasing ? NoticeKind::kErased : NoticeKind::kUnerased, object);
}

void TestReactor::goodbye(OdDbObject const* object)
{
    take(NoticeKind::kGoodbye, object);
}

void TestReactor::openedForModify(OdDbObject const* object)
{
    take(NoticeKind::kOpenedForModify, object);
}

void TestReactor::modified(OdDbObject const* object)
{
    take(NoticeKind::kModified, object);
}

void TestReactor::modifiedGraphics(OdDbObject const* object)
{
    take(NoticeKind::kModifiedGraphics, object);
}

void TestReactor::objectClosed(OdDbObject const* object)
{
    take(NoticeKind::kObjectClosed, object);
}

int TestReactor::count(NoticeKind kind) const
{
    return static_cast<int>(std::count_if(notices.begin(), notices.end(),
                                          [kind](Notice const& one) { return one.kind == kind; }));
}

// ---------------------------------------------------------------------------------------------
// States

OdDbMemoryFiler::Bytes bytesOf(OdDbObject const& object, OdDb::FilerType type)
{
    OdDbDatabase* const database = object.database();
    OdStaticRxObject<OdDbMemoryFiler> filer(type, database);
    if (database == nullptr) {
        object.dwgOutFields(&filer);
    } else {
        OdDbStorageAccess(*database).fileOut(object, filer);
    }
    return filer.bytes();
}

DatabaseState stateOf(OdDbDatabase& db)
{
    DatabaseState state;
    state[0].bytes = bytesOf(db);
    for (OdDbHandle handle = db.nextHandle(); !handle.isNull(); handle = db.nextHandle(handle)) {
        const OdDbObjectId id = db.getOdDbObjectId(handle);
        const OdDbObjectPtr object = id.openObject(OdDb::kForRead, /*openErased=*/true);
        state[handle.value()] = {id.isErased(), bytesOf(*object)};
    }
    return state;
}

DatabaseState livingStateOf(OdDbDatabase& db)
{
    DatabaseState state = stateOf(db);
    std::erase_if(state, [](auto const& entry) { return entry.second.erased; });
    return state;
}

// ---------------------------------------------------------------------------------------------
// Fixture

DatabaseTest::DatabaseTest() : m_db(OdDbDatabase::createObject()) {}

void DatabaseTest::TearDown()
{
    TestBag::s_readResult = kOdOk;
    TestBag::s_readError = kOdOk;
    TestBag::s_onRead = nullptr;
    m_db.release();
    EXPECT_EQ(m_asserts.take(), std::vector<std::string>());
}

OdDbObjectId DatabaseTest::addBag(std::int32_t number, OdDbObjectId owner)
{
    const TestBagPtr bag = TestBag::createObject();
    bag->setNumber(number);
    return m_db->addOdDbObject(bag.get(), owner);
}

OdDbObjectId DatabaseTest::addReactor(std::string const& label)
{
    const TestReactorPtr added = TestReactor::createObject();
    added->label = label;
    added->journal = &m_journal;
    return m_db->addOdDbObject(added.get());
}

void DatabaseTest::watch(OdDbObjectId watched, OdDbObjectId reactor)
{
    watched.safeOpenObject(OdDb::kForWrite)->addPersistentReactor(reactor);
}

TestBagPtr DatabaseTest::readBag(OdDbObjectId id)
{
    return id.safeOpenObject(OdDb::kForRead, /*openErased=*/true);
}

TestBagPtr DatabaseTest::writeBag(OdDbObjectId id)
{
    return id.safeOpenObject(OdDb::kForWrite, /*openErased=*/true);
}

OdDbDictionaryPtr DatabaseTest::writeDictionary(OdDbObjectId id)
{
    return id.safeOpenObject(OdDb::kForWrite);
}

std::int32_t DatabaseTest::numberOf(OdDbObjectId id)
{
    return readBag(id)->number();
}

void DatabaseTest::setNumberOf(OdDbObjectId id, std::int32_t number)
{
    writeBag(id)->setNumber(number);
}

OdResult DatabaseTest::eraseObject(OdDbObjectId id, bool erasing)
{
    return id.safeOpenObject(OdDb::kForWrite, /*openErased=*/true)->erase(erasing);
}

OdDbDictionaryPtr DatabaseTest::namedObjects(OdDb::OpenMode mode) const
{
    return m_db->getNamedObjectsDictionaryId().safeOpenObject(mode);
}

// ---------------------------------------------------------------------------------------------
// Stored objects in memory

FakeFiler::FakeFiler(OdDbDatabase& db, int version) : m_db(db), m_version(version) {}

FakeFiler::FakeFiler(OdDbDatabase& db, FakeBody body)
    : m_db(db), m_version(OdDb::kDwgVersionCurrent), m_body(std::move(body))
{
    m_inner.readFrom(m_body.bytes);
}

FakeFiler::~FakeFiler() = default;

FakeBody FakeFiler::body() const
{
    return {m_inner.bytes(), m_body.references};
}

std::uint64_t FakeFiler::bytesLeft() const
{
    return m_inner.bytesLeft() + (m_body.references.size() - m_referenceAt);
}

void FakeFiler::seek(std::int64_t offset, OdDb::FilerSeekType whence)
{
    m_inner.seek(offset, whence);
}

std::uint64_t FakeFiler::tell() const
{
    return m_inner.tell();
}

OdDbObjectId FakeFiler::takeId()
{
    if (m_referenceAt >= m_body.references.size()) {
        throw OdError(kOdBadStream);
    }
    return OdDbStorageAccess(m_db).idOf(m_body.references[m_referenceAt++].second);
}

void FakeFiler::putId(OdDbObjectId id, OdDb::ReferenceType type)
{
    m_body.references.emplace_back(type, id.getHandle().value());
}

OdDbStoredBody FakeFiler::rdBody()
{
    OdDbStoredBody body;
    body.bytes.resize(m_inner.bytesLeft());
    m_inner.rdBytes(body.bytes.data(), static_cast<std::uint32_t>(body.bytes.size()));
    while (m_referenceAt < m_body.references.size()) {
        const OdDb::ReferenceType type = m_body.references[m_referenceAt].first;
        body.references.push_back({type, takeId()});
    }
    return body;
}

void FakeFiler::wrBody(OdDbStoredBody const& body)
{
    m_inner.wrBytes(body.bytes.data(), static_cast<std::uint32_t>(body.bytes.size()));
    for (OdDbReference const& reference : body.references) {
        putId(reference.id, reference.type);
    }
}

namespace {

/// Serves the objects of a drawing; loads may nest, so filers lie on a stack.
class FakeStore final : public OdDbObjectStore
{
public:
    FakeStore(OdDbDatabase& db, FakeDrawingPtr drawing) : m_db(db), m_drawing(std::move(drawing)) {}

    bool find(OdDbHandle handle, std::uint32_t& classIndex) override
    {
        const auto found = m_drawing->objects.find(handle.value());
        if (found == m_drawing->objects.end()) {
            return false;
        }
        classIndex = found->second.classIndex;
        return true;
    }
    bool beginLoad(OdDbHandle handle, OdDbStoredObject& object) override
    {
        if (m_drawing->failsLoads) {
            throw OdError(kOdFileAccess);
        }
        const auto found = m_drawing->objects.find(handle.value());
        if (found == m_drawing->objects.end()) {
            return false;
        }
        ++m_drawing->loads;
        m_filers.push_back(std::make_unique<OdStaticRxObject<FakeFiler>>(m_db, found->second.body));
        object = {found->second.classIndex, m_filers.back().get(), found->second.damage};
        return true;
    }
    void endLoad() override { m_filers.pop_back(); }
    OdDbHandle nextHandle(OdDbHandle after) override
    {
        const auto found = m_drawing->objects.upper_bound(after.value());
        return found != m_drawing->objects.end() ? OdDbHandle(found->first) : OdDbHandle();
    }

private:
    OdDbDatabase& m_db;
    FakeDrawingPtr m_drawing;
    std::vector<std::unique_ptr<OdStaticRxObject<FakeFiler>>> m_filers;
};

FakeBody fileDatabase(OdDbDatabase& db)
{
    OdStaticRxObject<FakeFiler> filer(db);
    db.dwgOutFields(&filer);
    return filer.body();
}

}  // namespace

FakeDrawingPtr saveDrawing(OdDbDatabase& db)
{
    auto drawing = std::make_shared<FakeDrawing>();
    OdDbStorageAccess access(db);
    for (OdDbHandle handle = db.nextHandle(); !handle.isNull(); handle = db.nextHandle(handle)) {
        const OdDbObjectPtr object = db.getOdDbObjectId(handle).openObject();
        if (object.isNull()) {
            continue;
        }
        OdStaticRxObject<FakeFiler> filer(db);
        access.fileOut(*object, filer);
        drawing->objects[handle.value()] = {access.state(handle).classIndex, filer.body(), {}};
    }
    drawing->header = fileDatabase(db);
    drawing->handseed = db.handseed().value();
    for (std::uint32_t index = 0; index < db.classCount(); ++index) {
        drawing->classes.push_back(db.classRecord(index));
    }
    return drawing;
}

void saveAgain(OdDbDatabase& db, FakeDrawing& drawing)
{
    FakeDrawing saved = *saveDrawing(db);
    drawing.classes = std::move(saved.classes);
    drawing.header = std::move(saved.header);
    drawing.handseed = saved.handseed;
    drawing.objects = std::move(saved.objects);
    OdDbStorageAccess(db).markSaved();
}

OdDbDatabasePtr openDrawing(FakeDrawingPtr const& drawing)
{
    const OdDbDatabasePtr db = OdDbDatabase::createBare();
    OdDbStorageAccess access(*db);
    for (OdDbClassRecord const& record : drawing->classes) {
        access.addClass(record);
    }
    access.setHandseed(drawing->handseed);
    access.attachStore(std::make_unique<FakeStore>(*db, drawing));
    OdStaticRxObject<FakeFiler> filer(*db, drawing->header);
    (void)db->dwgInFields(&filer);
    access.markSaved();
    return db;
}

}  // namespace dbtest
