// Helpers of the database tests: two small classes, a fixture with an empty drawing, and a carrier
// of stored objects that lives in memory.

#pragma once

#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_memory_filer.h"
#include "db/od_db_object_store.h"
#include "db/od_db_platform.h"
#include "root/od_assert.h"
#include "root/od_error.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

inline void PrintTo(OdString const& text, std::ostream* out)
{
    *out << '"' << text.utf8() << '"';
}

inline void PrintTo(OdDbObjectId const& id, std::ostream* out)
{
    *out << "id " << id.getHandle().ascii().utf8();
}

inline void PrintTo(OdDbHandle const& handle, std::ostream* out)
{
    *out << "handle " << handle.ascii().utf8();
}

namespace dbtest {

/// The code of the OdError that a call throws, `kOdOk` if it throws none.
template <class Call>
OdResult thrownCode(Call&& call)
{
    try {
        std::forward<Call>(call)();
    } catch (OdError const& error) {
        return error.code();
    }
    return kOdOk;
}

/// The platform and the test classes, for as long as this object lives.
class Platform
{
public:
    Platform();
    Platform(Platform const&) = delete;
    Platform& operator=(Platform const&) = delete;
    ~Platform();

private:
    OdDbPlatform m_platform;
};

/// Collects what is reported to the assertion sink.
class AssertRecorder
{
public:
    AssertRecorder();
    AssertRecorder(AssertRecorder const&) = delete;
    AssertRecorder& operator=(AssertRecorder const&) = delete;
    ~AssertRecorder();

    /// The messages so far, and forgets them.
    std::vector<std::string> take() { return std::exchange(m_messages, {}); }

private:
    std::vector<std::string> m_messages;
    OdAssertSink m_before;
};

/// An object with fields of many kinds.
class TestBag : public OdDbObject
{
    RX_DECLARE_CLASS(TestBag);

public:
    TestBag();
    ~TestBag() override;
    static OdSmartPtr<TestBag> createObject();

    std::int32_t number() const;
    void setNumber(std::int32_t number);
    OdString text() const;
    void setText(OdString const& text);
    std::vector<double> reals() const;
    void setReals(std::vector<double> const& reals);
    OdDbObjectIdArray ids(OdDb::ReferenceType type) const;
    void setIds(OdDb::ReferenceType type, OdDbObjectIdArray const& ids);
    /// Adds to the number and writes a partial record of that alone.
    void addToNumber(std::int32_t summand);

    OdResult subErase(bool erasing) override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    void applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls) override;

    /// \name What a test wants to happen; transient
    /// @{
    std::function<OdResult(TestBag&, bool)> onSubErase;
    int subErases = 0;
    /// Given back by `dwgInFields` behind the number, when not 0.
    static OdResult s_readResult;
    /// Thrown by `dwgInFields` behind the number, when not 0.
    static OdResult s_readError;
    /// Called by `dwgInFields`, if set.
    static std::function<void(TestBag&)> s_onRead;
    /// @}

private:
    std::int32_t m_number = 0;
    OdString m_text;
    std::vector<double> m_reals;
    std::array<OdDbObjectIdArray, 4> m_ids;
};

using TestBagPtr = OdSmartPtr<TestBag>;

enum class NoticeKind
{
    kOpenedForModify,
    kModified,
    kModifiedGraphics,
    kObjectClosed,
    kErased,
    kUnerased,
    kGoodbye
};

char const* noticeName(NoticeKind kind);

/// One notice that a reactor got, and how the object stood.
struct Notice
{
    NoticeKind kind;
    OdDbObjectId object;
    bool readable;
    bool undoing;
    bool reactorWritable;
};

/// Records notices and does in them what a test wants.
class TestReactor : public TestBag
{
    RX_DECLARE_CLASS(TestReactor);

public:
    TestReactor();
    ~TestReactor() override;
    static OdSmartPtr<TestReactor> createObject();

    void erased(OdDbObject const* object, bool erasing) override;
    void goodbye(OdDbObject const* object) override;
    void openedForModify(OdDbObject const* object) override;
    void modified(OdDbObject const* object) override;
    void modifiedGraphics(OdDbObject const* object) override;
    void objectClosed(OdDbObject const* object) override;

    /// How many notices of a kind there were.
    int count(NoticeKind kind) const;

    /// \name Transient
    /// @{
    std::string label;
    std::vector<Notice> notices;
    std::vector<std::string>* journal = nullptr;  ///< takes "label notice"
    std::function<void(TestReactor&, NoticeKind, OdDbObject const&)> onNotice;
    bool ignore = false;  ///< skips the next notice and is cleared by it
    int depth = 0;
    int deepest = 0;
    /// @}

private:
    void take(NoticeKind kind, OdDbObject const* object);
};

using TestReactorPtr = OdSmartPtr<TestReactor>;

/// How one object stands: erased or not, and its bytes.
struct ObjectState
{
    bool erased = false;
    OdDbMemoryFiler::Bytes bytes;

    friend bool operator==(ObjectState const&, ObjectState const&) = default;
};

/// All objects of a database by handle; handle 0 stands for its settings.
using DatabaseState = std::map<std::uint64_t, ObjectState>;

DatabaseState stateOf(OdDbDatabase& db);
/// Leaves out the objects that are erased.
DatabaseState livingStateOf(OdDbDatabase& db);
OdDbMemoryFiler::Bytes bytesOf(OdDbObject const& object,
                               OdDb::FilerType type = OdDb::FilerType::kPageFiler);

/// An empty drawing with the test classes registered.
class DatabaseTest : public testing::Test
{
protected:
    DatabaseTest();
    void TearDown() override;

    OdDbObjectId addBag(std::int32_t number = 0, OdDbObjectId owner = OdDbObjectId::kNull);
    OdDbObjectId addReactor(std::string const& label = "r");
    /// Makes `reactor` a persistent reactor of `watched`.
    static void watch(OdDbObjectId watched, OdDbObjectId reactor);
    static TestBagPtr readBag(OdDbObjectId id);
    static TestBagPtr writeBag(OdDbObjectId id);
    static OdDbDictionaryPtr writeDictionary(OdDbObjectId id);
    static std::int32_t numberOf(OdDbObjectId id);
    static void setNumberOf(OdDbObjectId id, std::int32_t number);
    static OdResult eraseObject(OdDbObjectId id, bool erasing = true);
    OdDbDictionaryPtr namedObjects(OdDb::OpenMode mode = OdDb::kForWrite) const;
    /// The resident object behind an id, without opening it.
    template <class T = TestBag>
    static T& resident(OdDbObjectId id)
    {
        return *OdSmartPtr<T>(id.openObject(OdDb::kForRead, /*openErased=*/true)).get();
    }
    static TestReactor& reactor(OdDbObjectId id) { return resident<TestReactor>(id); }

    Platform m_platform;
    AssertRecorder m_asserts;
    std::vector<std::string> m_journal;
    OdDbDatabasePtr m_db;
};

// ---------------------------------------------------------------------------------------------
// Stored objects in memory

/// A stream of one object, with references apart from the bytes, as handles.
struct FakeBody
{
    std::vector<std::uint8_t> bytes;
    std::vector<std::pair<OdDb::ReferenceType, std::uint64_t>> references;

    friend bool operator==(FakeBody const&, FakeBody const&) = default;
};

/// Files an object into a body or out of one.
class FakeFiler : public OdDbStoredObjectFiler
{
public:
    /// Writes.
    explicit FakeFiler(OdDbDatabase& db, int version = OdDb::kDwgVersionCurrent);
    /// Reads a copy of `body`.
    FakeFiler(OdDbDatabase& db, FakeBody body);
    ~FakeFiler() override;

    FakeBody body() const;

    OdDb::FilerType filerType() const override { return OdDb::FilerType::kFileFiler; }
    OdDbDatabase* database() const override { return &m_db; }
    int dwgVersion() const override { return m_version; }
    std::uint64_t bytesLeft() const override;
    void seek(std::int64_t offset, OdDb::FilerSeekType whence) override;
    std::uint64_t tell() const override;
    bool rdBool() override { return m_inner.rdBool(); }
    OdString rdString() override { return m_inner.rdString(); }
    void rdBytes(void* buffer, std::uint32_t count) override { m_inner.rdBytes(buffer, count); }
    std::int8_t rdInt8() override { return m_inner.rdInt8(); }
    std::uint8_t rdUInt8() override { return m_inner.rdUInt8(); }
    std::int16_t rdInt16() override { return m_inner.rdInt16(); }
    std::int32_t rdInt32() override { return m_inner.rdInt32(); }
    std::int64_t rdInt64() override { return m_inner.rdInt64(); }
    double rdDouble() override { return m_inner.rdDouble(); }
    OdDbHandle rdDbHandle() override { return m_inner.rdDbHandle(); }
    OdDbObjectId rdSoftOwnershipId() override { return takeId(); }
    OdDbObjectId rdHardOwnershipId() override { return takeId(); }
    OdDbObjectId rdHardPointerId() override { return takeId(); }
    OdDbObjectId rdSoftPointerId() override { return takeId(); }
    OdGePoint2d rdPoint2d() override { return m_inner.rdPoint2d(); }
    OdGePoint3d rdPoint3d() override { return m_inner.rdPoint3d(); }
    OdGeVector2d rdVector2d() override { return m_inner.rdVector2d(); }
    OdGeVector3d rdVector3d() override { return m_inner.rdVector3d(); }
    OdGeScale3d rdScale3d() override { return m_inner.rdScale3d(); }
    void wrBool(bool value) override { m_inner.wrBool(value); }
    void wrString(OdString const& value) override { m_inner.wrString(value); }
    void wrBytes(void const* buffer, std::uint32_t count) override
    {
        m_inner.wrBytes(buffer, count);
    }
    void wrInt8(std::int8_t value) override { m_inner.wrInt8(value); }
    void wrUInt8(std::uint8_t value) override { m_inner.wrUInt8(value); }
    void wrInt16(std::int16_t value) override { m_inner.wrInt16(value); }
    void wrInt32(std::int32_t value) override { m_inner.wrInt32(value); }
    void wrInt64(std::int64_t value) override { m_inner.wrInt64(value); }
    void wrDouble(double value) override { m_inner.wrDouble(value); }
    void wrDbHandle(OdDbHandle const& value) override { m_inner.wrDbHandle(value); }
    void wrSoftOwnershipId(OdDbObjectId const& value) override
    {
        putId(value, OdDb::ReferenceType::kSoftOwnershipRef);
    }
    void wrHardOwnershipId(OdDbObjectId const& value) override
    {
        putId(value, OdDb::ReferenceType::kHardOwnershipRef);
    }
    void wrSoftPointerId(OdDbObjectId const& value) override
    {
        putId(value, OdDb::ReferenceType::kSoftPointerRef);
    }
    void wrHardPointerId(OdDbObjectId const& value) override
    {
        putId(value, OdDb::ReferenceType::kHardPointerRef);
    }
    void wrPoint2d(OdGePoint2d const& value) override { m_inner.wrPoint2d(value); }
    void wrPoint3d(OdGePoint3d const& value) override { m_inner.wrPoint3d(value); }
    void wrVector2d(OdGeVector2d const& value) override { m_inner.wrVector2d(value); }
    void wrVector3d(OdGeVector3d const& value) override { m_inner.wrVector3d(value); }
    void wrScale3d(OdGeScale3d const& value) override { m_inner.wrScale3d(value); }
    OdDbStoredBody rdBody() override;
    void wrBody(OdDbStoredBody const& body) override;

private:
    OdDbObjectId takeId();
    void putId(OdDbObjectId id, OdDb::ReferenceType type);

    OdDbDatabase& m_db;
    int m_version;
    FakeBody m_body;
    std::size_t m_referenceAt = 0;
    OdStaticRxObject<OdDbMemoryFiler> m_inner;
};

/// A drawing as it is stored.
struct FakeDrawing
{
    struct Object
    {
        std::uint32_t classIndex = 0;
        FakeBody body;
        std::string damage;

        friend bool operator==(Object const&, Object const&) = default;
    };

    std::vector<OdDbClassRecord> classes;
    FakeBody header;
    std::uint64_t handseed = 1;
    std::map<std::uint64_t, Object> objects;
    int loads = 0;            ///< objects that were read
    bool failsLoads = false;  ///< every load throws
};

using FakeDrawingPtr = std::shared_ptr<FakeDrawing>;

/// Stores all living objects, which are loaded for it.
FakeDrawingPtr saveDrawing(OdDbDatabase& db);
/// A database whose objects are loaded from the drawing on demand.
OdDbDatabasePtr openDrawing(FakeDrawingPtr const& drawing);
/// Stores into the drawing that the database was opened from, and marks everything as saved.
void saveAgain(OdDbDatabase& db, FakeDrawing& drawing);

}  // namespace dbtest
