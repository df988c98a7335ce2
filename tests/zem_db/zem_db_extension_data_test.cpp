#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_memory_filer.h"
#include "db/od_db_xrecord.h"
#include "root/root_test_support.h"
#include "support/zem_module_scope.h"

#include "zem_db_extension_data.h"
#include "zem_db_feature_manager.h"
#include "zem_feature.h"
#include "zem_flat_filer.h"
#include "zem_properties.h"
#include "zem_protocol_extensions.h"

#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace {

using Blob = std::vector<char>;
using Impl = ZemDbExtensionDataImpl;

/// A bag of its own for every record of the class that it is attached to.
class RecordBags : public ZemPropertiesPE
{
public:
    ZemProperties* getProperties(OdDbObject* object) override { return &m_bags[object]; }

private:
    std::map<OdDbObject*, ZemProperties> m_bags;
};

/// The extension of a host that has no bag for the object after all.
class NoBags : public ZemPropertiesPE
{
public:
    ZemProperties* getProperties(OdDbObject*) override { return nullptr; }
};

/// Stores a blob of its own with the host when it hears that the host's dictionary is to change.
class Storer : public OdDbXrecord
{
public:
    void openedForModify(OdDbObject const* /*object*/) override
    {
        Impl::writeToDictionary(m_target, Blob{'x'}, L"B");
    }

    OdDbObject* m_target = nullptr;
};

/// Lets go of the database when it hears of something.
class Leaver : public OdDbXrecord
{
public:
    void erased(OdDbObject const* /*object*/, bool /*erasing*/) override { m_database->release(); }
    void modified(OdDbObject const* /*object*/) override { m_database->release(); }

    OdDbDatabasePtr* m_database = nullptr;
};

/// A host object in a database, open for write.
class ExtensionData : public testing::Test
{
protected:
    ExtensionData() { m_database->addOdDbObject(m_host.get()); }

    OdDbDictionaryPtr extensionDictionary(OdDb::OpenMode mode = OdDb::kForRead) const
    {
        return OdDbDictionary::cast(m_host->extensionDictionary().openObject(mode).get());
    }

    /// The object's extension data, open for write, made if needed.
    OdSmartPtr<ZemDbExtensionData> data()
    {
        return Impl::getObjInExtDict(m_host.get(), true).openObject(OdDb::kForWrite);
    }

    /// A reactor that lets go of `m_database`.
    OdDbObjectId addLeaver()
    {
        const OdSmartPtr<Leaver> leaver = odrxMake<Leaver>();
        leaver->m_database = &m_database;
        return m_database->addOdDbObject(leaver.get());
    }

    Blob stored(OdString const& key) const
    {
        Blob blob;
        EXPECT_TRUE(Impl::readFromDictionary(m_host.get(), blob, key));
        return blob;
    }

    bool isStored(OdString const& key) const
    {
        Blob blob;
        return Impl::readFromDictionary(m_host.get(), blob, key);
    }

    ZemModuleScope m_scope;
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    OdSmartPtr<OdDbXrecord> m_host = OdDbXrecord::createObject();
    const Blob m_blob = {'o', 'n', 'e', '\0', 't', 'w', 'o'};
};

}  // namespace

TEST_F(ExtensionData, IsNotMadeByLookingForIt)
{
    EXPECT_TRUE(Impl::getObjInExtDict(nullptr, false).isNull());
    EXPECT_TRUE(Impl::getObjInExtDict(nullptr, true).isNull());
    EXPECT_TRUE(Impl::getObjInExtDict(m_host.get(), false).isNull());
    EXPECT_TRUE(m_host->extensionDictionary().isNull());

    m_host->createExtensionDictionary();
    EXPECT_TRUE(Impl::getObjInExtDict(m_host.get(), false).isNull());
    EXPECT_EQ(extensionDictionary()->numEntries(), 0u);
}

TEST_F(ExtensionData, IsMadeOnceUnderItsKeyInTheExtensionDictionary)
{
    const OdDbObjectId id = Impl::getObjInExtDict(m_host.get(), true);
    EXPECT_EQ(id.objectClass(), ZemDbExtensionData::desc());
    EXPECT_EQ(extensionDictionary()->getAt(L"ZEM_DB"), id);
    EXPECT_EQ(id.openObject()->ownerId(), m_host->extensionDictionary());
    EXPECT_EQ(Impl::getObjInExtDict(m_host.get(), true), id);
    EXPECT_EQ(Impl::getObjInExtDict(m_host.get(), false), id);
}

TEST_F(ExtensionData, LeavesADictionaryThatTheCallerReadsAsItWasOpen)
{
    m_host->createExtensionDictionary();
    const OdDbDictionaryPtr reading = extensionDictionary();
    Impl::getObjInExtDict(m_host.get(), true);
    EXPECT_FALSE(reading->isWriteEnabled());
}

TEST_F(ExtensionData, MadeByAReactorThatIsToldOfTheChangeIsKept)
{
    m_host->createExtensionDictionary();
    const OdSmartPtr<Storer> storer = odrxMake<Storer>();
    storer->m_target = m_host.get();
    extensionDictionary(OdDb::kForWrite)
        ->addPersistentReactor(m_database->addOdDbObject(storer.get()));
    Impl::writeToDictionary(m_host.get(), m_blob, L"A");
    EXPECT_EQ(stored(L"A"), m_blob);
    EXPECT_EQ(stored(L"B"), Blob{'x'});
    EXPECT_EQ(extensionDictionary()->numEntries(), 1u);
}

TEST_F(ExtensionData, OfABagMayTakeTheLastPointerToTheDatabaseAwayWhenItGoes)
{
    ZemProperties bag;
    bag.setProperty(L"A", Blob(20000, 'x'));
    bag.writeToDbObject(m_host.get());
    data()->addPersistentReactor(addLeaver());
    bag.clear();
    bag.writeToDbObject(m_host.get());
    EXPECT_EQ(OdDbDatabase::liveCount(), 0);
}

TEST_F(ExtensionData, MayTakeTheLastPointerToTheDatabaseAwayWhenItIsMade)
{
    m_host->createExtensionDictionary();
    extensionDictionary(OdDb::kForWrite)->addPersistentReactor(addLeaver());
    Impl::writeToDictionary(m_host.get(), m_blob, L"A");
    EXPECT_EQ(OdDbDatabase::liveCount(), 0);
}

TEST_F(ExtensionData, RegisteringTheApplicationMayTakeTheLastPointerToTheDatabaseAway)
{
    m_database->getRegAppTableId().openObject(OdDb::kForWrite)->addPersistentReactor(addLeaver());
    (void)ZemProperties::regAppName(m_database.get(), true);
    EXPECT_EQ(OdDbDatabase::liveCount(), 0);
}

TEST_F(ExtensionData, CantBeMadeWithoutItsClass)
{
    m_scope.module().uninitApp();
    EXPECT_EQ(thrownCode([&] { Impl::getObjInExtDict(m_host.get(), true); }),
              kOdClassNotRegistered);
    m_scope.module().initApp();
    EXPECT_FALSE(Impl::getObjInExtDict(m_host.get(), true).isNull());
}

TEST_F(ExtensionData, CantBeMadeForAHostOutsideADatabaseOrNotOpenForWrite)
{
    const auto outside = OdDbXrecord::createObject();
    EXPECT_TRUE(Impl::getObjInExtDict(outside.get(), false).isNull());
    EXPECT_EQ(thrownCode([&] { Impl::getObjInExtDict(outside.get(), true); }), kOdNotInDatabase);
    EXPECT_EQ(thrownCode([&] { Impl::writeToDictionary(outside.get(), m_blob, L"A"); }),
              kOdNotInDatabase);
    Impl::eraseFromDictionary(outside.get(), L"A");
    m_host->downgradeOpen();
    EXPECT_EQ(thrownCode([&] { Impl::writeToDictionary(m_host.get(), m_blob, L"A"); }),
              kOdNotOpenForWrite);
    EXPECT_TRUE(m_host->extensionDictionary().isNull());
}

/// As after loading a drawing in which the object of the entry is missing.
TEST_F(ExtensionData, ThatIsMissingBehindItsEntryLosesTheEntry)
{
    const OdDbObjectId missing = m_database->getOdDbObjectId(OdDbHandle(0x7777), /*create=*/true);
    const auto enter = [&] {
        m_host->createExtensionDictionary();
        OdStaticRxObject<OdDbMemoryFiler> filer;
        const OdDbDictionaryPtr dictionary = extensionDictionary(OdDb::kForWrite);
        dictionary->OdDbObject::dwgOutFields(&filer);
        filer.wrBool(true);
        filer.wrInt32(1);
        filer.wrString(L"ZEM_DB");
        filer.wrHardOwnershipId(missing);
        filer.rewindForReading();
        EXPECT_EQ(dictionary->dwgInFields(&filer), kOdOk);
        EXPECT_EQ(dictionary->getAt(L"ZEM_DB"), missing);
    };
    enter();
    EXPECT_FALSE(isStored(L"A"));
    EXPECT_THROW(Impl::writeToDictionary(m_host.get(), m_blob, L"A"), OdError);
    Impl::eraseFromDictionary(m_host.get(), L"A");
    EXPECT_TRUE(m_host->extensionDictionary().isNull());
    Impl::writeToDictionary(m_host.get(), m_blob, L"A");
    EXPECT_EQ(stored(L"A"), m_blob);
}

TEST_F(ExtensionData, IsAbsentWithoutItsClassButCanBeErased)
{
    Impl::writeToDictionary(m_host.get(), m_blob, L"A");
    m_scope.module().uninitApp();
    EXPECT_FALSE(isStored(L"A"));
    EXPECT_FALSE(Impl::getObjInExtDict(m_host.get(), true).isNull());
    EXPECT_THROW(Impl::writeToDictionary(m_host.get(), m_blob, L"B"), OdError);
    m_scope.module().initApp();
    EXPECT_EQ(stored(L"A"), m_blob);
    EXPECT_FALSE(isStored(L"B"));
    m_scope.module().uninitApp();
    Impl::eraseFromDictionary(m_host.get(), L"A");
    EXPECT_TRUE(m_host->extensionDictionary().isNull());
    m_scope.module().initApp();
    EXPECT_FALSE(isStored(L"A"));
}

TEST_F(ExtensionData, GivesBackTheBlobsThatWereWritten)
{
    const Blob other(100000, 'x');
    Impl::writeToDictionary(m_host.get(), m_blob, L"A");
    Impl::writeToDictionary(m_host.get(), other, L"B");
    Impl::writeToDictionary(m_host.get(), Blob(), L"empty");
    EXPECT_EQ(stored(L"A"), m_blob);
    EXPECT_EQ(stored(L"B"), other);
    EXPECT_EQ(stored(L"empty"), Blob());

    Impl::writeToDictionary(m_host.get(), other, L"A");
    EXPECT_EQ(stored(L"A"), other);
}

TEST_F(ExtensionData, IgnoresNullObjectsAndEmptyKeys)
{
    Impl::writeToDictionary(nullptr, m_blob, L"A");
    Impl::writeToDictionary(m_host.get(), m_blob, OdString());
    EXPECT_TRUE(m_host->extensionDictionary().isNull());

    Impl::writeToDictionary(m_host.get(), m_blob, L"A");
    Impl::eraseFromDictionary(nullptr, L"A");
    Impl::eraseFromDictionary(m_host.get(), OdString());
    EXPECT_TRUE(isStored(L"A"));

    Blob blob = m_blob;
    EXPECT_FALSE(Impl::readFromDictionary(nullptr, blob, L"A"));
    EXPECT_FALSE(Impl::readFromDictionary(m_host.get(), blob, OdString()));
    EXPECT_EQ(blob, m_blob);
}

TEST_F(ExtensionData, HasNoBlobUnderAnAbsentKeyOrOneOfAnotherType)
{
    Blob blob = m_blob;
    EXPECT_FALSE(Impl::readFromDictionary(m_host.get(), blob, L"A"));
    data()->getWriteProperties().setProperty(L"number", 5);
    EXPECT_FALSE(Impl::readFromDictionary(m_host.get(), blob, L"A"));
    EXPECT_FALSE(Impl::readFromDictionary(m_host.get(), blob, L"number"));
    EXPECT_EQ(blob, m_blob);
}

TEST_F(ExtensionData, ReplacesAValueOfAnotherTypeByTheBlob)
{
    data()->getWriteProperties().setProperty(L"number", 5);
    Impl::writeToDictionary(m_host.get(), m_blob, L"number");
    EXPECT_EQ(stored(L"number"), m_blob);
}

TEST_F(ExtensionData, IsNotMistakenForAnObjectOfAnotherClassInItsPlace)
{
    m_host->createExtensionDictionary();
    const auto other = OdDbXrecord::createObject();
    const OdDbObjectId id = extensionDictionary(OdDb::kForWrite)->setAt(L"ZEM_DB", other.get());

    EXPECT_FALSE(isStored(L"A"));
    EXPECT_THROW(Impl::writeToDictionary(m_host.get(), m_blob, L"A"), OdError_NotThatKindOfClass);
    EXPECT_EQ(Impl::getObjInExtDict(m_host.get(), true), id);
}

TEST_F(ExtensionData, LosesAllItsBlobsWhenOneIsErased)
{
    Impl::writeToDictionary(m_host.get(), m_blob, L"A");
    Impl::writeToDictionary(m_host.get(), m_blob, L"B");
    Impl::eraseFromDictionary(m_host.get(), L"A");
    EXPECT_FALSE(isStored(L"A"));
    EXPECT_FALSE(isStored(L"B"));
}

TEST_F(ExtensionData, TakesTheEmptyExtensionDictionaryAlong)
{
    Impl::writeToDictionary(m_host.get(), m_blob, L"A");
    const OdDbObjectId dictionary = m_host->extensionDictionary();
    Impl::eraseFromDictionary(m_host.get(), L"no such key");
    EXPECT_TRUE(m_host->extensionDictionary().isNull());
    EXPECT_TRUE(dictionary.isErased());

    Impl::writeToDictionary(m_host.get(), m_blob, L"A");
    EXPECT_EQ(stored(L"A"), m_blob);
}

TEST_F(ExtensionData, LeavesAnExtensionDictionaryThatHoldsMore)
{
    Impl::writeToDictionary(m_host.get(), m_blob, L"A");
    const auto other = OdDbXrecord::createObject();
    extensionDictionary(OdDb::kForWrite)->setAt(L"OTHER", other.get());
    Impl::eraseFromDictionary(m_host.get(), L"A");
    ASSERT_FALSE(m_host->extensionDictionary().isNull());
    EXPECT_EQ(extensionDictionary()->numEntries(), 1u);
}

TEST_F(ExtensionData, ErasingWhatIsNotThereChangesNothing)
{
    Impl::eraseFromDictionary(m_host.get(), L"A");
    EXPECT_TRUE(m_host->extensionDictionary().isNull());
    m_host->createExtensionDictionary();
    Impl::eraseFromDictionary(m_host.get(), L"A");
    EXPECT_FALSE(m_host->extensionDictionary().isNull());
}

TEST_F(ExtensionData, ComesBackByUndo)
{
    Impl::writeToDictionary(m_host.get(), m_blob, L"A");
    m_database->startUndoRecord();
    Impl::eraseFromDictionary(m_host.get(), L"A");
    EXPECT_FALSE(isStored(L"A"));
    EXPECT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(stored(L"A"), m_blob);
    EXPECT_EQ(m_database->redo(), kOdOk);
    EXPECT_FALSE(isStored(L"A"));
}

TEST_F(ExtensionData, IsMadeAnewAfterItWasErased)
{
    for (int round = 0; round < 3; ++round) {
        const Blob blob(static_cast<std::size_t>(round), 'x');
        Impl::writeToDictionary(m_host.get(), blob, L"A");
        EXPECT_EQ(stored(L"A"), blob) << round;
        EXPECT_EQ(extensionDictionary()->numEntries(), 1u);
        Impl::eraseFromDictionary(m_host.get(), L"B");
        EXPECT_FALSE(isStored(L"A")) << round;
        EXPECT_TRUE(m_host->extensionDictionary().isNull());
    }
}

// The stored form.

namespace {

using FlatFiler = OdStaticRxObject<ZemFlatFiler>;

Blob bytesOf(OdDbObject const& object)
{
    FlatFiler filer;
    filer.clear();
    object.dwgOutFields(&filer);
    return filer.getBinaryData();
}

/// What the base class files of an object, which stands in front of its own fields.
Blob baseBytesOf(OdDbObject const& object)
{
    FlatFiler filer;
    filer.clear();
    object.OdDbObject::dwgOutFields(&filer);
    return filer.getBinaryData();
}

/// Reads a stream into an object; an OdError counts as its code.
OdResult readInto(OdDbObject& object, Blob const& bytes)
{
    FlatFiler filer;
    filer.setBinaryData(bytes.data(), static_cast<unsigned int>(bytes.size()));
    OdResult result = kOdOk;
    const OdResult thrown = thrownCode([&] { result = object.dwgInFields(&filer); });
    return thrown != kOdOk ? thrown : result;
}

OdSmartPtr<ZemDbExtensionData> makeData()
{
    return ZemDbExtensionData::desc()->create();
}

/// Extension data outside of a database, with two blobs.
class ExtensionDataStream : public ExtensionData
{
protected:
    ExtensionDataStream()
    {
        m_data->getWriteProperties().setProperty(L"ZEM_DB", m_blob);
        m_data->getWriteProperties().setProperty(L"A", Blob());
    }

    OdSmartPtr<ZemDbExtensionData> m_data = makeData();
};

}  // namespace

TEST_F(ExtensionDataStream, HasTheGoldenBytesBehindThoseOfTheBaseClass)
{
    constexpr unsigned char kExpected[] = {
        0x02, 0x00, 0x00, 0x00,                       // items, without a version
        0x01, 0x00, 'A',                              // name
        0x0B, 0x00, 0x00, 0x00, 0x00,                 // blob of nothing
        0x06, 0x00, 'Z',  'E',  'M',  '_', 'D', 'B',  // name
        0x0B, 0x07, 0x00, 0x00, 0x00,                 // blob of 7 bytes
        'o',  'n',  'e',  0x00, 't',  'w', 'o',
    };
    Blob expected = baseBytesOf(*m_data);
    expected.insert(expected.end(), std::begin(kExpected), std::end(kExpected));
    EXPECT_EQ(bytesOf(*m_data), expected);
}

TEST_F(ExtensionDataStream, IsTheSameAfterReadingAndWritingAgain)
{
    const Blob whole = bytesOf(*m_data);
    const auto other = makeData();
    other->getWriteProperties().setProperty(L"gone", m_blob);
    EXPECT_EQ(readInto(*other, whole), kOdOk);
    EXPECT_EQ(bytesOf(*other), whole);
}

TEST_F(ExtensionDataStream, CutAtAnyLengthIsABadStream)
{
    const Blob whole = bytesOf(*m_data);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Blob cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(readInto(*makeData(), cut), kOdBadStream) << size;
    }
}

TEST_F(ExtensionDataStream, WithAnyBitFlippedGivesAnObjectThatCanBeWritten)
{
    const Blob whole = bytesOf(*m_data);
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        Blob damaged = whole;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        const auto other = makeData();
        (void)readInto(*other, damaged);
        EXPECT_FALSE(bytesOf(*other).empty()) << bit;
    }
}

TEST_F(ExtensionDataStream, NeedsAnObjectThatIsOpen)
{
    const Blob whole = bytesOf(*m_data);
    const OdDbObjectId id = m_database->addOdDbObject(m_data.get());
    ZemDbExtensionData* const closed = m_data.get();
    m_data.release();
    EXPECT_EQ(thrownCode([&] { (void)bytesOf(*closed); }), kOdNotOpenForRead);
    EXPECT_EQ(thrownCode([&] { (void)closed->getReadProperties(); }), kOdNotOpenForRead);
    const OdDbObjectPtr reading = id.safeOpenObject(OdDb::kForRead);
    EXPECT_EQ(readInto(*reading, whole), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { (void)closed->getWriteProperties(); }), kOdNotOpenForWrite);
}

// Serialised objects.

namespace {

class SerializedObject : public ExtensionData
{
protected:
    SerializedObject() { m_source->getWriteProperties().setProperty(L"Name", OdString(L"box")); }

    void write() { ZemWriteSerializedObject(m_key, m_source.get(), m_host.get()); }
    OdDbObjectPtr read() { return ZemReadSerializedObject(m_key, m_host.get()); }
    void writeBlob(Blob const& blob) { Impl::writeToDictionary(m_host.get(), blob, m_key->name()); }

    /// Gives every host object a bag of its own.
    ZemProperties& giveOwnBag()
    {
        const OdSmartPtr<RecordBags> bags = odrxMake<RecordBags>();
        OdDbXrecord::desc()->addX(ZemPropertiesPE::desc(), bags.get());
        return *bags->getProperties(m_host.get());
    }

    OdRxClass* m_key = ZemDbFeatureData::desc();
    OdSmartPtr<ZemDbFeatureData> m_source = ZemDbFeatureData::desc()->create();
};

OdString nameOf(OdDbObjectPtr const& object)
{
    OdString name;
    const auto data = ZemDbFeatureData::cast(object.get());
    EXPECT_FALSE(data.isNull());
    if (!data.isNull()) {
        EXPECT_TRUE(data->getReadProperties().getProperty(L"Name", name));
    }
    return name;
}

}  // namespace

TEST_F(SerializedObject, ComesBackFromTheExtensionDataOfItsTarget)
{
    write();
    const OdDbObjectPtr result = read();
    EXPECT_EQ(nameOf(result), OdString(L"box"));
    EXPECT_EQ(result->database(), nullptr);
    EXPECT_EQ(nameOf(ZemReadSerializedObject(L"ZemDbFeatureData", m_host.get())), OdString(L"box"));
    EXPECT_TRUE(isStored(L"ZemDbFeatureData"));
}

TEST_F(SerializedObject, IsKeptUnderTheNameOfTheKeyAndIsOfItsOwnClass)
{
    const OdSmartPtr<ZemDbFeatureManager> source = ZemDbFeatureManager::desc()->create();
    ZemWriteSerializedObject(ZemDbFeatureData::desc(), source.get(), m_host.get());
    EXPECT_EQ(read()->isA(), ZemDbFeatureManager::desc());
    EXPECT_TRUE(ZemReadSerializedObject(ZemDbFeatureManager::desc(), m_host.get()).isNull());
}

TEST_F(SerializedObject, ReplacesTheOneThatWasStoredBefore)
{
    write();
    m_source->getWriteProperties().setProperty(L"Name", OdString(L"hole"));
    write();
    EXPECT_EQ(nameOf(read()), OdString(L"hole"));
}

TEST_F(SerializedObject, MayLiveInADatabaseItself)
{
    m_database->addOdDbObject(m_source.get());
    write();
    EXPECT_EQ(nameOf(read()), OdString(L"box"));
}

TEST_F(SerializedObject, HasToBeReadable)
{
    m_database->addOdDbObject(m_source.get());
    ZemDbFeatureData* const closed = m_source.get();
    m_source.release();
    EXPECT_EQ(thrownCode([&] { ZemWriteSerializedObject(m_key, closed, m_host.get()); }),
              kOdNotOpenForRead);
    EXPECT_TRUE(m_host->extensionDictionary().isNull());
}

TEST_F(SerializedObject, NullArgumentsStoreAndFindNothing)
{
    ZemWriteSerializedObject(nullptr, m_source.get(), m_host.get());
    ZemWriteSerializedObject(m_key, m_source.get(), nullptr);
    const auto outside = OdDbXrecord::createObject();
    ZemWriteSerializedObject(m_key, m_source.get(), outside.get());
    EXPECT_TRUE(m_host->extensionDictionary().isNull());

    EXPECT_TRUE(read().isNull());
    EXPECT_TRUE(ZemReadSerializedObject(nullptr, m_host.get()).isNull());
    EXPECT_TRUE(ZemReadSerializedObject(m_key, nullptr).isNull());
    EXPECT_TRUE(ZemReadSerializedObject(m_key, outside.get()).isNull());
    EXPECT_TRUE(ZemReadSerializedObject(L"no such class", m_host.get()).isNull());
}

TEST_F(SerializedObject, NullSourceRemovesWhatWasStored)
{
    write();
    ZemWriteSerializedObject(m_key, nullptr, m_host.get());
    EXPECT_TRUE(read().isNull());
    EXPECT_TRUE(m_host->extensionDictionary().isNull());
    ZemWriteSerializedObject(m_key, nullptr, m_host.get());
    EXPECT_TRUE(read().isNull());
}

TEST_F(SerializedObject, GoesIntoTheBagOfATargetThatHasOne)
{
    Impl::writeToDictionary(m_host.get(), m_blob, L"ZEM_DB");
    ZemProperties& bag = giveOwnBag();
    write();
    Blob blob;
    EXPECT_TRUE(bag.getProperty(L"ZemDbFeatureData", blob));
    EXPECT_EQ(nameOf(read()), OdString(L"box"));
    // All that the extension data held is gone, whichever key it had.
    EXPECT_TRUE(m_host->extensionDictionary().isNull());
}

TEST_F(SerializedObject, TakesThePlaceOfABagsEntryOfAnotherType)
{
    ZemProperties& bag = giveOwnBag();
    EXPECT_TRUE(bag.setProperty(L"ZemDbFeatureData", 2.5));
    write();
    EXPECT_EQ(nameOf(read()), OdString(L"box"));
}

TEST_F(SerializedObject, InABagGoesWithItsExtensionDataForANullSource)
{
    write();
    ZemProperties& bag = giveOwnBag();
    bag.setProperty(L"ZemDbFeatureData", m_blob);
    ZemWriteSerializedObject(m_key, nullptr, m_host.get());
    EXPECT_TRUE(bag.isEmpty());
    EXPECT_TRUE(m_host->extensionDictionary().isNull());
}

TEST_F(SerializedObject, InABagNeedsATargetOpenForWrite)
{
    giveOwnBag();
    m_host->downgradeOpen();
    ASSERT_FALSE(m_host->isWriteEnabled());
    EXPECT_EQ(thrownCode([&] { write(); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { ZemWriteSerializedObject(m_key, nullptr, m_host.get()); }),
              kOdNotOpenForWrite);
}

TEST_F(SerializedObject, InExtensionDataThatIsThereNeedsNoTargetOpenForWrite)
{
    write();
    m_host->downgradeOpen();
    ASSERT_FALSE(m_host->isWriteEnabled());
    m_source->getWriteProperties().setProperty(L"Name", OdString(L"hole"));
    write();
    EXPECT_EQ(nameOf(read()), OdString(L"hole"));
    ZemWriteSerializedObject(m_key, nullptr, m_host.get());
    EXPECT_TRUE(read().isNull());
    EXPECT_EQ(thrownCode([&] { write(); }), kOdNotOpenForWrite);
}

TEST_F(SerializedObject, IsTheNameOfItsClassAndThenItsFields)
{
    write();
    const std::string name = "ZemDbFeatureData";
    Blob expected = {static_cast<char>(name.size()), '\0'};
    expected.insert(expected.end(), name.begin(), name.end());
    const Blob fields = bytesOf(*m_source);
    expected.insert(expected.end(), fields.begin(), fields.end());
    EXPECT_EQ(stored(L"ZemDbFeatureData"), expected);
}

TEST_F(SerializedObject, IsTheSameBlobAfterReadingAndWritingAgain)
{
    write();
    const Blob whole = stored(m_key->name());
    ZemWriteSerializedObject(m_key, read().get(), m_host.get());
    EXPECT_EQ(stored(m_key->name()), whole);
}

TEST_F(SerializedObject, IsLookedForInTheBagFirst)
{
    write();
    ZemProperties& bag = giveOwnBag();
    // Without a blob in the bag the extension data counts.
    EXPECT_EQ(nameOf(read()), OdString(L"box"));
    bag.setProperty(L"ZemDbFeatureData", 5);
    EXPECT_EQ(nameOf(read()), OdString(L"box"));
    bag.removeProperty(L"ZemDbFeatureData");
    bag.setProperty(L"ZemDbFeatureData", m_blob);
    EXPECT_TRUE(read().isNull());
}

TEST_F(SerializedObject, GoesIntoTheExtensionDataOfATargetWhoseHostHasNoBagForIt)
{
    OdDbXrecord::desc()->addX(ZemPropertiesPE::desc(), odrxMake<NoBags>().get());
    write();
    EXPECT_TRUE(isStored(L"ZemDbFeatureData"));
    EXPECT_EQ(nameOf(read()), OdString(L"box"));
    ZemWriteSerializedObject(m_key, nullptr, m_host.get());
    EXPECT_TRUE(read().isNull());
}

TEST_F(SerializedObject, WithTextThatIsTooLongLeavesWhatWasStored)
{
    write();
    m_source->getWriteProperties().setProperty(L"Name", OdString(L'x', 32768));
    EXPECT_EQ(thrownCode([&] { write(); }), kOdBadStream);
    EXPECT_EQ(nameOf(read()), OdString(L"box"));
    ZemProperties& bag = giveOwnBag();
    EXPECT_EQ(thrownCode([&] { write(); }), kOdBadStream);
    EXPECT_TRUE(bag.isEmpty());
    EXPECT_EQ(nameOf(read()), OdString(L"box"));
}

TEST_F(SerializedObject, OfAClassThatIsGoneCantBeWritten)
{
    OdRxClass* const key = OdDbXrecord::desc();
    m_scope.module().uninitApp();
    EXPECT_EQ(thrownCode([&] { ZemWriteSerializedObject(key, m_source.get(), m_host.get()); }),
              kOdClassNotRegistered);
    m_scope.module().initApp();
}

namespace {

/// A blob that names a class and holds nothing else.
Blob blobOfClass(std::string const& name)
{
    Blob blob = {static_cast<char>(name.size()), '\0'};
    blob.insert(blob.end(), name.begin(), name.end());
    return blob;
}

}  // namespace

TEST_F(SerializedObject, OfAnUnknownOrUnfitClassReadsAsNull)
{
    for (char const* const name : {"no such class", "", "ZemFeature", "ZemDbISettings"}) {
        writeBlob(blobOfClass(name));
        EXPECT_TRUE(read().isNull()) << name;
    }
}

TEST_F(SerializedObject, OfANewerVersionReadsAsNull)
{
    m_source->getWriteProperties().setVersion(2);
    write();
    EXPECT_TRUE(read().isNull());
}

TEST_F(SerializedObject, CutAtAnyLengthReadsAsNull)
{
    write();
    const Blob whole = stored(m_key->name());
    for (std::size_t size = 0; size < whole.size(); ++size) {
        writeBlob(Blob(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        EXPECT_TRUE(read().isNull()) << size;
    }
    writeBlob(whole);
    EXPECT_EQ(nameOf(read()), OdString(L"box"));
}

TEST_F(SerializedObject, WithAnyBitFlippedReadsAsNullOrAsAnObject)
{
    write();
    const Blob whole = stored(m_key->name());
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        Blob damaged = whole;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        writeBlob(damaged);
        const OdDbObjectPtr result = read();
        if (!result.isNull()) {
            EXPECT_EQ(result->isA(), ZemDbFeatureData::desc()) << bit;
        }
    }
}

TEST_F(SerializedObject, OfAnyClassOverAnyBytesReadsAsNullOrAsAnObject)
{
    std::vector<std::string> names;
    for (auto const& [name, description] : *odrxClassDictionary()) {
        std::string& bytes = names.emplace_back();
        name.appendUtf8To(bytes);
    }
    ASSERT_GT(names.size(), 40u);
    for (std::string const& name : names) {
        for (const char fill : {'\0', '\1', '\2', '\x7F', '\xFF'}) {
            Blob blob = blobOfClass(name);
            blob.insert(blob.end(), 300, fill);
            writeBlob(blob);
            const OdDbObjectPtr result = read();
            if (!result.isNull()) {
                EXPECT_EQ(result->isA(), odrxClassDictionary()->getAt(name.c_str())) << name;
            }
        }
    }
}
