// The stored fields of networks, variables and dependencies, byte by byte.

#include "assoc/od_db_assoc_dependency.h"
#include "assoc/od_db_assoc_network.h"
#include "assoc/od_db_assoc_variable.h"
#include "assoc/od_platform.h"
#include "db/od_db_database.h"
#include "root/od_error.h"
#include "store/od_db_file_filer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Stored
{
    Bytes body;
    Bytes references;

    friend bool operator==(Stored const&, Stored const&) = default;
};

class StoredAssocObjects : public testing::Test
{
protected:
    /// Adds an object under a handle.
    template <class T>
    OdSmartPtr<T> add(std::uint64_t handle, OdDbObjectId owner)
    {
        OdSmartPtr<T> object = odrxMake<T>();
        m_db->addOdDbObject(object.get(), owner, OdDbHandle(handle));
        return object;
    }
    OdDbObjectId at(std::uint64_t handle) const
    {
        return m_db->getOdDbObjectId(OdDbHandle(handle));
    }
    /// A new object of the class of one that is stored.
    OdDbObjectPtr emptyAt(std::uint64_t handle) const { return at(handle).objectClass()->create(); }
    Stored stored(std::uint64_t handle) const { return write(*at(handle).safeOpenObject()); }
    Stored write(OdDbObject const& object) const
    {
        OdStaticRxObject<OdDbFileFiler> filer(m_db.get());
        OdDbStorageAccess(*m_db).fileOut(object, filer);
        return {{filer.body().begin(), filer.body().end()},
                {filer.references().begin(), filer.references().end()}};
    }
    OdResult read(OdDbObject& object, Stored const& from) const
    {
        OdStaticRxObject<OdDbFileFiler> filer(m_db.get());
        filer.readFrom(from.body, from.references, OdDb::kDwgVersionCurrent);
        try {
            return object.dwgInFields(&filer);
        } catch (OdError const& error) {
            return error.code();
        }
    }

    OdPlatform m_platform;
    OdDbDatabasePtr m_db = OdDbDatabase::createObject();
};

/// A network (100h) with the variables "a" (101h), an integer, and "b" (102h), "a*2", whose dependency
/// on "a" is 103h, and with an action (104h) that is only listed and has a body (105h).
class StoredNetwork : public StoredAssocObjects
{
protected:
    StoredNetwork()
    {
        const auto network = add<OdDbAssocNetwork>(0x100, OdDbObjectId::kNull);
        const auto a = add<OdDbAssocVariable>(0x101, at(0x100));
        const auto b = add<OdDbAssocVariable>(0x102, at(0x100));
        EXPECT_EQ(network->addAction(at(0x101), true), kOdOk);
        EXPECT_EQ(network->addAction(at(0x102), true), kOdOk);
        EXPECT_EQ(a->setName(L"a", false), kOdOk);
        EXPECT_EQ(a->setValue(3), kOdOk);
        EXPECT_EQ(b->setName(L"b\u00E4", false), kOdOk);
        EXPECT_EQ(b->setExpression(L"a*2"), kOdOk);
        const auto action = add<OdDbAssocAction>(0x104, OdDbObjectId::kNull);
        (void)add<OdDbAssocArrayActionBody>(0x105, OdDbObjectId::kNull);
        EXPECT_EQ(network->addAction(at(0x104), false), kOdOk);
        EXPECT_EQ(action->setActionBody(at(0x105)), kOdOk);
    }
};

TEST_F(StoredNetwork, HasTheBytesOfTheFormat)
{
    const Stored kNetwork{{0x00, 0x00,               // no reactors, no extended data
                           0x00,                     // no dependencies
                           0x06,                     // three actions
                           0x01, 0x01, 0x00},        // owned, owned, listed
                          {0x03, 0x00,               // no extension dictionary, no owner
                           0x03,                     // no body
                           0x87, 0x08,               // 101h, hard ownership
                           0x8B, 0x08,               // 102h, hard ownership
                           0x90, 0x08}};             // 104h, soft pointer
    const Stored kInteger{{0x02, 0x00,               // one reactor, no extended data
                           0x00,                     // no dependencies
                           0x01, 0x61,               // "a"
                           0x00,                     // no expression
                           0x02,                     // an integer
                           0x03, 0x06},              // 3
                          {0x8C, 0x08,               // reactor 103h
                           0x03,                     // no extension dictionary
                           0x80, 0x08,               // owner 100h
                           0x03}};                   // no body
    const Stored kComputed{{0x00, 0x00,              // no reactors, no extended data
                            0x02,                    // one dependency
                            0x03, 0x62, 0xC3, 0xA4,  // "b" and an a with dots
                            0x03, 0x61, 0x2A, 0x32,  // "a*2"
                            0x01,                    // a double
                            0x03, 0x0C},             // 6
                           {0x03, 0x80, 0x08,        // no extension dictionary; owner 100h
                            0x03,                    // no body
                            0x8F, 0x08}};            // 103h, hard ownership
    const Stored kDependency{{0x00, 0x00},           // no reactors, no extended data
                             {0x03, 0x88, 0x08,      // no extension dictionary; owner 102h
                              0x84, 0x08}};          // 101h, soft pointer
    const Stored kAction{{0x00, 0x00, 0x00},         // no reactors, extended data, dependencies
                         {0x03, 0x00,                // no extension dictionary, no owner
                          0x97, 0x08}};              // body 105h, hard ownership
    const Stored kBody{{0x00, 0x00}, {0x03, 0x90, 0x08}};  // owner 104h

    EXPECT_EQ(stored(0x100), kNetwork);
    EXPECT_EQ(stored(0x101), kInteger);
    EXPECT_EQ(stored(0x102), kComputed);
    EXPECT_EQ(stored(0x103), kDependency);
    EXPECT_EQ(stored(0x104), kAction);
    EXPECT_EQ(stored(0x105), kBody);
}

TEST_F(StoredNetwork, IsTheSameWhenReadAndWrittenAgain)
{
    for (std::uint64_t handle = 0x100; handle <= 0x105; ++handle) {
        const Stored golden = stored(handle);
        const OdDbObjectPtr object = emptyAt(handle);
        ASSERT_EQ(read(*object, golden), kOdOk) << handle;
        EXPECT_EQ(write(*object), golden) << handle;
    }
}

TEST_F(StoredNetwork, IsRefusedWhereverItIsCut)
{
    for (std::uint64_t handle = 0x100; handle <= 0x105; ++handle) {
        const Stored golden = stored(handle);
        for (std::size_t length = 0; length < golden.body.size(); ++length) {
            Stored cut = golden;
            cut.body.resize(length);
            EXPECT_EQ(read(*emptyAt(handle), cut), kOdBadStream) << handle << ' ' << length;
        }
        for (std::size_t length = 0; length < golden.references.size(); ++length) {
            Stored cut = golden;
            cut.references.resize(length);
            EXPECT_EQ(read(*emptyAt(handle), cut), kOdBadStream) << handle << ' ' << length;
        }
    }
}

}  // namespace
