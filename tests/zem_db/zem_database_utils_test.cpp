#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_proxy_object.h"
#include "db/od_db_xrecord.h"
#include "root/root_test_support.h"
#include "support/zem_module_scope.h"

#include "zem_database_utils.h"
#include "zem_protocol_extensions.h"

#include <gtest/gtest.h>

#include <set>
#include <unordered_set>

namespace {

class Orders : public testing::Test
{
protected:
    OdDbPlatform m_platform;
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    OdDbDatabasePtr m_other = OdDbDatabase::createObject();
    OdDbObjectId m_low = m_database->getBlockTableId();
    OdDbObjectId m_high = m_database->getModelSpaceId();
};

/// A drawing with an object outside of its dictionaries.
class NamedObjects : public testing::Test
{
protected:
    NamedObjects() { m_owner = m_database->addOdDbObject(OdDbXrecord::createObject().get()); }

    OdDbDictionaryPtr root(OdDb::OpenMode mode = OdDb::kForRead) const
    {
        return m_database->getNamedObjectsDictionaryId().openObject(mode);
    }

    OdDbObjectId extensionDictionary() const { return m_owner.openObject()->extensionDictionary(); }

    OdDbObjectId makeRoot(OdString const& key)
    {
        return zemu::getRootObjectByName(m_database.get(), key, OdDbXrecord::desc());
    }

    OdDbObjectId makeInOwner(OdString const& key)
    {
        return zemu::getObjInExtDict(m_owner, key, OdDbXrecord::desc());
    }

    ZemModuleScope m_scope;
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    OdDbObjectId m_owner;
};

/// An id that no object has.
OdDbObjectId nowhere(OdDbDatabase& database)
{
    return database.getOdDbObjectId(OdDbHandle(0x9999), /*create=*/true);
}

constexpr OdDbSubentId face(std::int64_t index)
{
    return OdDbSubentId(OdDb::SubentType::kFaceSubentType, index);
}

}  // namespace

TEST_F(Orders, IdsGoByHandleWithTheNullIdFirst)
{
    ASSERT_LT(m_low.getHandle(), m_high.getHandle());
    EXPECT_EQ(zemu::compareObjectId(m_low, m_high), -1);
    EXPECT_EQ(zemu::compareObjectId(m_high, m_low), 1);
    EXPECT_EQ(zemu::compareObjectId(m_low, m_low), 0);
    EXPECT_EQ(zemu::compareObjectId(OdDbObjectId(), m_low), -1);
    EXPECT_EQ(zemu::compareObjectId(OdDbObjectId(), OdDbObjectId()), 0);
}

TEST_F(Orders, EqualHandlesOfTwoDatabasesFallBackOnTheIds)
{
    const OdDbObjectId twin = m_other->getBlockTableId();
    ASSERT_EQ(m_low.getHandle(), twin.getHandle());
    EXPECT_EQ(zemu::compareObjectId(m_low, twin), m_low < twin ? -1 : 1);
    EXPECT_EQ(zemu::compareObjectId(twin, m_low), m_low < twin ? 1 : -1);
    // The handle decides before the database does.
    EXPECT_EQ(zemu::compareObjectId(m_high, twin), 1);
}

TEST_F(Orders, SubEntitiesGoByTypeThenIndexAsSignedNumbers)
{
    const OdDbSubentId edge(OdDb::SubentType::kEdgeSubentType, -5);
    EXPECT_EQ(zemu::compareSubentId(face(9), edge), -1);
    EXPECT_EQ(zemu::compareSubentId(face(-1), face(0)), -1);
    EXPECT_EQ(zemu::compareSubentId(face(2), face(1)), 1);
    EXPECT_EQ(zemu::compareSubentId(face(2), face(2)), 0);
}

TEST_F(Orders, ShorterPathsGoFirstThenIdsThenSubEntities)
{
    const OdDbFullSubentPath one({m_high}, face(9));
    const OdDbFullSubentPath two({m_low, m_low}, face(1));
    const OdDbFullSubentPath three({m_low, m_high}, face(1));
    const OdDbFullSubentPath four({m_low, m_high}, face(2));
    EXPECT_EQ(zemu::compareFullSubentPath(one, two), -1);
    EXPECT_EQ(zemu::compareFullSubentPath(three, two), 1);
    EXPECT_EQ(zemu::compareFullSubentPath(three, four), -1);
    EXPECT_EQ(zemu::compareFullSubentPath(four, four), 0);

    const std::set<OdDbFullSubentPath, zemu::less_FullSubentPath> ordered{four, two, one, three};
    EXPECT_EQ(*ordered.begin(), one);
    EXPECT_EQ(*ordered.rbegin(), four);
}

TEST_F(Orders, AnIdAndTheOneItStandsForHashAlike)
{
    const OdDbObjectId alias = m_other->getOdDbObjectId(OdDbHandle(0x5000), /*create=*/true);
    alias.redirectTo(m_high);
    EXPECT_EQ(zemu::hash_ObjectId()(alias), zemu::hash_ObjectId()(m_high));
    const std::unordered_set<OdDbObjectId, zemu::hash_ObjectId> ids{alias, m_high};
    EXPECT_EQ(ids.size(), 1u);
    alias.redirectTo(OdDbObjectId::kNull);
}

TEST_F(NamedObjects, LookingForARootObjectMakesNothing)
{
    const std::uint32_t entries = root()->numEntries();
    EXPECT_TRUE(zemu::getRootObjectByName(m_database.get(), L"KEY", nullptr).isNull());
    EXPECT_TRUE(zemu::getRootObjectByName(nullptr, L"KEY", OdDbXrecord::desc()).isNull());
    EXPECT_EQ(root()->numEntries(), entries);
    EXPECT_FALSE(root()->has(kZemDatabaseKey));
}

TEST_F(NamedObjects, ARootObjectIsMadeOnceInTheSubDictionary)
{
    const OdDbObjectId made = makeRoot(L"KEY");
    const OdDbDictionaryPtr dictionary = root()->getAt(L"ZEM_DATABASE", OdDb::kForRead);
    ASSERT_FALSE(dictionary.isNull());
    EXPECT_EQ(dictionary->getAt(L"KEY"), made);
    EXPECT_EQ(made.openObject()->ownerId(), dictionary->objectId());
    EXPECT_EQ(made.objectClass(), OdDbXrecord::desc());
    EXPECT_EQ(makeRoot(L"KEY"), made);
    EXPECT_EQ(zemu::getRootObjectByName(m_database.get(), L"key", nullptr), made);
    EXPECT_NE(makeRoot(L"OTHER"), made);
    EXPECT_EQ(dictionary->numEntries(), 2u);
}

TEST_F(NamedObjects, ADictionaryThatTheCallerHoldsForReadStaysSo)
{
    const OdDbDictionaryPtr held = root();
    makeRoot(L"KEY");
    EXPECT_FALSE(held->isWriteEnabled());
}

TEST_F(NamedObjects, ARootObjectGoesWithUndo)
{
    m_database->startUndoRecord();
    const OdDbObjectId made = makeRoot(L"KEY");
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(made.isErased());
    EXPECT_FALSE(root()->has(kZemDatabaseKey));
}

TEST_F(NamedObjects, AnErasedRootObjectIsMadeAnew)
{
    const OdDbObjectId first = makeRoot(L"KEY");
    ASSERT_EQ(first.openObject(OdDb::kForWrite)->erase(), kOdOk);
    EXPECT_TRUE(zemu::getRootObjectByName(m_database.get(), L"KEY", nullptr).isNull());
    const OdDbObjectId second = makeRoot(L"KEY");
    EXPECT_FALSE(second.isErased());
    EXPECT_NE(second, first);
}

TEST_F(NamedObjects, SomethingElseInTheSubDictionarysPlaceIsRefused)
{
    root(OdDb::kForWrite)->setAt(kZemDatabaseKey, OdDbXrecord::createObject().get());
    EXPECT_THROW((void)zemu::getRootObjectByName(m_database.get(), L"KEY", nullptr),
                 OdError_NotThatKindOfClass);
    EXPECT_THROW(makeRoot(L"KEY"), OdError_NotThatKindOfClass);
    root(OdDb::kForWrite)->setAt(kZemDatabaseKey, odrxMake<OdDbProxyObject>().get());
    EXPECT_THROW(makeRoot(L"KEY"), OdError_NotThatKindOfClass);
}

TEST_F(NamedObjects, AnObjectThatCanNotBeMadeLeavesNothingBehind)
{
    struct Row
    {
        char const* name;
        OdString key;
        OdRxClass const* objectClass;
        OdResult expected;
    };
    const Row rows[] = {
        {"an interface", L"KEY", ZemPropertiesPE::desc(), kOdNullObjectPointer},
        {"no database class", L"KEY", OdResBuf::desc(), kOdNotThatKindOfClass},
        {"a key with a control character", L"K\x01Y", OdDbXrecord::desc(), kOdInvalidKey},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(thrownCode([&] {
                      (void)zemu::getRootObjectByName(m_database.get(), row.key, row.objectClass);
                  }),
                  row.expected);
        EXPECT_EQ(
            thrownCode([&] { (void)zemu::getObjInExtDict(m_owner, row.key, row.objectClass); }),
            row.expected);
        EXPECT_FALSE(root()->has(kZemDatabaseKey));
        EXPECT_TRUE(extensionDictionary().isNull());
    }
}

TEST_F(NamedObjects, ADatabaseWithoutDictionariesIsRefused)
{
    const OdDbDatabasePtr bare = OdDbDatabase::createBare();
    EXPECT_EQ(thrownCode([&] { (void)zemu::getRootObjectByName(bare.get(), L"KEY", nullptr); }),
              kOdNullObjectId);
}

TEST_F(NamedObjects, LookingInAnExtensionDictionaryMakesNone)
{
    EXPECT_TRUE(zemu::getObjInExtDict(m_owner, L"KEY", nullptr).isNull());
    EXPECT_TRUE(extensionDictionary().isNull());
}

TEST_F(NamedObjects, AnObjectIsMadeInTheExtensionDictionary)
{
    const OdDbObjectId made = makeInOwner(L"KEY");
    const OdDbDictionaryPtr dictionary = made.openObject()->ownerId().openObject();
    EXPECT_EQ(dictionary->ownerId(), extensionDictionary());
    EXPECT_EQ(OdDbDictionaryPtr(extensionDictionary().openObject())->nameAt(dictionary->objectId()),
              kZemDatabaseKey);
    EXPECT_EQ(makeInOwner(L"KEY"), made);
    EXPECT_EQ(zemu::getObjInExtDict(m_owner, L"KEY", nullptr), made);
}

TEST_F(NamedObjects, TheSubDictionaryOfAnObjectCanHaveAnotherName)
{
    const OdString name(L"OTHER");
    const OdDbObjectId made = zemu::getObjInExtDict(m_owner, L"KEY", OdDbXrecord::desc(), &name);
    EXPECT_TRUE(zemu::getObjInExtDict(m_owner, L"KEY", nullptr).isNull());
    EXPECT_EQ(zemu::getObjInExtDict(m_owner, L"KEY", nullptr, &name), made);
    EXPECT_TRUE(OdDbDictionaryPtr(extensionDictionary().openObject())->has(name));
}

TEST_F(NamedObjects, AnOwnerThatCanNotBeOpenedHasNoObjects)
{
    const OdDbObjectId erased = m_database->addOdDbObject(OdDbXrecord::createObject().get());
    ASSERT_EQ(erased.openObject(OdDb::kForWrite)->erase(), kOdOk);
    for (OdDbObjectId id : {OdDbObjectId::kNull, erased, nowhere(*m_database)}) {
        EXPECT_TRUE(zemu::getObjInExtDict(id, L"KEY", OdDbXrecord::desc()).isNull());
    }
}

TEST_F(NamedObjects, AProxyCanOwnObjects)
{
    m_owner = m_database->addOdDbObject(odrxMake<OdDbProxyObject>().get());
    EXPECT_FALSE(makeInOwner(L"KEY").isNull());
}

TEST_F(NamedObjects, AnObjectMadeForAnOwnerGoesWithUndo)
{
    m_database->startUndoRecord();
    const OdDbObjectId made = makeInOwner(L"KEY");
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(made.isErased());
    EXPECT_TRUE(extensionDictionary().isNull());
}

TEST_F(NamedObjects, DictionariesAreMadeInTheNamedObjectsOrInTheOwnersDictionary)
{
    const OdDbObjectId inRoot = zemu::createDict(m_database.get(), L"D", OdDbObjectId::kNull);
    const OdDbObjectId inOwner = zemu::createDict(m_database.get(), L"D", m_owner);
    EXPECT_EQ(root()->getAt(L"D"), inRoot);
    EXPECT_EQ(inRoot.objectClass(), OdDbDictionary::desc());
    EXPECT_EQ(inOwner.openObject()->ownerId(), extensionDictionary());
    EXPECT_EQ(zemu::getDict(m_database.get(), L"D", OdDbObjectId::kNull), inRoot);
    EXPECT_EQ(zemu::getDict(nullptr, L"D", m_owner), inOwner);
    EXPECT_TRUE(zemu::getDict(m_database.get(), L"E", m_owner).isNull());
}

TEST_F(NamedObjects, MakingADictionaryUnderItsOwnNameGivesThePresentOne)
{
    const OdDbObjectId first = zemu::createDict(m_database.get(), L"D", m_owner);
    EXPECT_EQ(zemu::createDict(m_database.get(), L"d", m_owner), first);
    EXPECT_FALSE(first.isErased());
}

TEST_F(NamedObjects, ADictionaryThatCanNotBeMadeGivesTheNullId)
{
    root(OdDb::kForWrite)->setAt(L"TAKEN", OdDbXrecord::createObject().get());
    const OdDbObjectId none;
    EXPECT_TRUE(zemu::createDict(m_database.get(), L"TAKEN", none).isNull());
    EXPECT_FALSE(root()->getAt(L"TAKEN").isErased());
    EXPECT_TRUE(zemu::createDict(nullptr, L"D", none).isNull());
    EXPECT_TRUE(zemu::createDict(m_database.get(), L"D", nowhere(*m_database)).isNull());
    EXPECT_TRUE(zemu::createDict(m_database.get(), L"\x02", m_owner).isNull());
    EXPECT_TRUE(extensionDictionary().isNull());
    EXPECT_TRUE(zemu::getDict(nullptr, L"D", none).isNull());
    EXPECT_TRUE(zemu::getDict(m_database.get(), L"D", nowhere(*m_database)).isNull());
}

TEST_F(NamedObjects, DeletingADictionaryErasesWhatItOwnsAndAnEmptyExtensionDictionary)
{
    const OdDbObjectId id = zemu::createDict(m_database.get(), L"D", m_owner);
    const OdDbObjectId owned = OdDbDictionaryPtr(id.openObject(OdDb::kForWrite))
                                   ->setAt(L"OWN", OdDbXrecord::createObject().get());
    m_database->startUndoRecord();
    zemu::deleteDict(m_database.get(), L"D", m_owner);
    EXPECT_TRUE(owned.isErased());
    EXPECT_TRUE(id.isErased());
    EXPECT_TRUE(extensionDictionary().isNull());
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_FALSE(owned.isErased());
    EXPECT_EQ(zemu::getDict(nullptr, L"D", m_owner), id);
}

TEST_F(NamedObjects, DeletingADictionaryLeavesWhatItDoesNotOwn)
{
    const OdDbObjectId id = zemu::createDict(m_database.get(), L"D", OdDbObjectId::kNull);
    const OdDbObjectId entry = OdDbDictionaryPtr(id.openObject(OdDb::kForWrite))
                                   ->setAt(L"ENTRY", OdDbXrecord::createObject().get());
    entry.openObject(OdDb::kForWrite)->setOwnerId(m_owner);
    zemu::deleteDict(m_database.get(), L"D", OdDbObjectId::kNull);
    EXPECT_TRUE(id.isErased());
    EXPECT_FALSE(entry.isErased());
}

TEST_F(NamedObjects, DeletingADictionaryKeepsAnExtensionDictionaryWithOtherEntries)
{
    zemu::createDict(m_database.get(), L"D", m_owner);
    const OdDbObjectId other = zemu::createDict(m_database.get(), L"E", m_owner);
    zemu::deleteDict(m_database.get(), L"D", m_owner);
    EXPECT_FALSE(extensionDictionary().isNull());
    EXPECT_EQ(zemu::getDict(nullptr, L"E", m_owner), other);
}

TEST_F(NamedObjects, DeletingWhatIsNoDictionaryChangesNothing)
{
    root(OdDb::kForWrite)->setAt(L"RECORD", OdDbXrecord::createObject().get());
    zemu::deleteDict(m_database.get(), L"RECORD", OdDbObjectId::kNull);
    zemu::deleteDict(m_database.get(), L"ABSENT", OdDbObjectId::kNull);
    zemu::deleteDict(m_database.get(), L"D", m_owner);
    zemu::deleteDict(nullptr, L"D", OdDbObjectId::kNull);
    zemu::deleteDict(m_database.get(), L"D", nowhere(*m_database));
    EXPECT_TRUE(root()->has(L"RECORD"));
}

TEST_F(NamedObjects, DictionariesGoByPrefixWithCase)
{
    const OdDbObjectId none;
    for (wchar_t const* name : {L"TMP_A", L"TMP_B", L"tmp_c", L"XTMP_"}) {
        zemu::createDict(m_database.get(), name, none);
    }
    zemu::delDatabaseDictsBeginWith(m_database.get(), L"TMP_");
    EXPECT_FALSE(root()->has(L"TMP_A"));
    EXPECT_FALSE(root()->has(L"TMP_B"));
    EXPECT_TRUE(root()->has(L"tmp_c"));
    EXPECT_TRUE(root()->has(L"XTMP_"));
    const std::uint32_t left = root()->numEntries();
    zemu::delDatabaseDictsBeginWith(m_database.get(), L"");
    zemu::delDatabaseDictsBeginWith(nullptr, L"XTMP_");
    EXPECT_EQ(root()->numEntries(), left);
}

TEST(StartsWith, ComparesWithCase)
{
    EXPECT_TRUE(zemu::startsWith(L"*U12", L"*U"));
    EXPECT_TRUE(zemu::startsWith(L"*U", L"*U"));
    EXPECT_FALSE(zemu::startsWith(L"*u12", L"*U"));
    EXPECT_FALSE(zemu::startsWith(L"x*U", L"*U"));
}

TEST(StartsWith, IsFalseForAnEmptyOrALongerPrefix)
{
    EXPECT_FALSE(zemu::startsWith(L"text", L""));
    EXPECT_FALSE(zemu::startsWith(L"", L""));
    EXPECT_FALSE(zemu::startsWith(L"te", L"text"));
}

TEST(Tokenize, GivesThePartsBetweenSeparators)
{
    EXPECT_EQ(zemu::tokenize(L";;a b;c; ;d", L"; "), (OdArray<OdString>{L"a", L"b", L"c", L"d"}));
    EXPECT_EQ(zemu::tokenize(L"whole", L";"), OdArray<OdString>{L"whole"});
    EXPECT_EQ(zemu::tokenize(L"a b", L""), OdArray<OdString>{L"a b"});
}

TEST(Tokenize, GivesNothingForATextOfSeparatorsOrAnEmptyOne)
{
    EXPECT_TRUE(zemu::tokenize(L";; ;", L"; ").isEmpty());
    EXPECT_TRUE(zemu::tokenize(L"", L";").isEmpty());
    EXPECT_TRUE(zemu::tokenize(L"", L"").isEmpty());
}

TEST(Tokenize, TakesAMegabyteOfParts)
{
    OdString text;
    for (int round = 0; round < 18; ++round) {
        text += round == 0 ? OdString(L"a;b;") : text;
    }
    EXPECT_EQ(zemu::tokenize(text, L";").size(), 1u << 18);
}

TEST(MakeArray, HoldsTheValuesInOrder)
{
    EXPECT_EQ(zemu::make_array({OdString(L"b"), OdString(L"a")}), (OdArray<OdString>{L"b", L"a"}));
    EXPECT_EQ(zemu::make_array({OdDbObjectId(), OdDbObjectId()}).size(), 2u);
    EXPECT_TRUE(zemu::make_array(std::initializer_list<OdDbObjectId>()).isEmpty());
}

TEST_F(NamedObjects, AChainOfAMillionRecordsIsFreed)
{
    OdResBufPtr chain;
    for (int count = 0; count < 1000000; ++count) {
        const OdResBufPtr front = OdResBuf::newRb(OdResBuf::kXdInt32);
        front->setNext(chain.get());
        chain = front;
    }
    zemu::clearRbSequence(chain);
    EXPECT_TRUE(chain.isNull());
    zemu::clearRbSequence(chain);
}

TEST_F(NamedObjects, RecordsThatSomebodyElseHoldsStayLinked)
{
    OdResBufPtr chain = OdResBuf::newRb(1);
    const OdResBufPtr held = OdResBuf::newRb(2);
    chain->setNext(held.get());
    held->setNext(OdResBuf::newRb(3).get());
    zemu::clearRbSequence(chain);
    EXPECT_TRUE(chain.isNull());
    ASSERT_FALSE(held->next().isNull());
    EXPECT_EQ(held->next()->restype(), 3);
}

TEST_F(NamedObjects, TheCloneOfAnIdIsItsValueInTheMapping)
{
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    mapping->assign(OdDbIdPair(m_owner, m_database->getModelSpaceId(), true));
    EXPECT_EQ(zemu::findClone(*mapping, m_owner), m_database->getModelSpaceId());
    EXPECT_TRUE(zemu::findClone(*mapping, m_database->getPaperSpaceId()).isNull());
    EXPECT_TRUE(zemu::findClone(*mapping, OdDbObjectId::kNull).isNull());
}

TEST_F(NamedObjects, OnlyEntitiesTellTheirOwner)
{
    const OdDbBlockTableRecordPtr space = m_database->getModelSpaceId().openObject(OdDb::kForWrite);
    const OdDbLinePtr line = OdDbLine::createObject();
    const OdDbObjectId id = space->appendOdDbEntity(line.get());
    EXPECT_EQ(zemu::getOwnerId(id), space->objectId());
    EXPECT_TRUE(zemu::getOwnerId(space->objectId()).isNull());
    EXPECT_TRUE(zemu::getOwnerId(OdDbObjectId::kNull).isNull());
    ASSERT_EQ(line->erase(), kOdOk);
    EXPECT_TRUE(zemu::getOwnerId(id).isNull());
}

TEST_F(NamedObjects, IteratorsGiveTheirObjects)
{
    const OdDbObjectId line =
        OdDbBlockTableRecordPtr(m_database->getModelSpaceId().openObject(OdDb::kForWrite))
            ->appendOdDbEntity(OdDbLine::createObject().get());
    const OdDbBlockTableRecordPtr space = m_database->getModelSpaceId().openObject();
    OdDbObjectIteratorPtr entities = space->newIterator();
    EXPECT_EQ(zemu::getPtrFromIterator(entities)->objectId(), line);
    EXPECT_TRUE(zemu::getPtrFromIterator(entities, OdDb::kForWrite)->isWriteEnabled());
    entities->step();
    EXPECT_TRUE(zemu::getPtrFromIterator(entities).isNull());
    EXPECT_TRUE(zemu::getPtrFromIterator(OdDbObjectIteratorPtr()).isNull());

    zemu::createDict(m_database.get(), L"D", OdDbObjectId::kNull);
    const OdDbDictionaryIteratorPtr entries = root()->newIterator();
    EXPECT_EQ(zemu::getPtrFromIterator(entries)->objectId(), entries->objectId());
    EXPECT_TRUE(zemu::getPtrFromIterator(OdDbDictionaryIteratorPtr()).isNull());

    const OdSmartPtr<OdDbBlockTable> table = m_database->getBlockTableId().openObject();
    const OdDbSymbolTableIteratorPtr records = table->newIterator();
    EXPECT_EQ(zemu::getPtrFromIterator(records)->objectId(), records->getRecordId());
    EXPECT_TRUE(zemu::getPtrFromIterator(OdDbSymbolTableIteratorPtr()).isNull());
}

TEST_F(NamedObjects, ReactorsCountByTheirClassOrABase)
{
    const OdDbObjectId reactor = m_database->addOdDbObject(OdDbDictionary::createObject().get());
    const OdDbObjectPtr object = m_owner.openObject(OdDb::kForWrite);
    object->addPersistentReactor(nowhere(*m_database));
    object->addPersistentReactor(reactor);
    EXPECT_TRUE(zemu::hasReactorOfKind(object.get(), OdDbDictionary::desc()));
    EXPECT_TRUE(zemu::hasReactorOfKind(object.get(), OdDbObject::desc()));
    EXPECT_FALSE(zemu::hasReactorOfKind(object.get(), OdDbXrecord::desc()));
    EXPECT_FALSE(zemu::hasReactorOfKind(object.get(), nullptr));
    EXPECT_FALSE(zemu::hasReactorOfKind(nullptr, OdDbDictionary::desc()));
    ASSERT_EQ(reactor.openObject(OdDb::kForWrite)->erase(), kOdOk);
    EXPECT_FALSE(zemu::hasReactorOfKind(object.get(), OdDbDictionary::desc()));
}

TEST_F(NamedObjects, AReactorIsTakenOffEachObject)
{
    const OdDbObjectId reactor = m_database->addOdDbObject(OdDbXrecord::createObject().get());
    const OdDbObjectId other = m_database->addOdDbObject(OdDbXrecord::createObject().get());
    m_owner.openObject(OdDb::kForWrite)->addPersistentReactor(reactor);
    m_owner.openObject(OdDb::kForWrite)->addPersistentReactor(other);
    zemu::detachReactor({OdDbObjectId(), nowhere(*m_database), other, m_owner}, reactor);
    EXPECT_EQ(m_owner.openObject()->getPersistentReactors(), OdDbObjectIdArray{other});
}

TEST_F(NamedObjects, AReactorIsTakenOffTheClones)
{
    const OdDbObjectId reactor = m_database->addOdDbObject(OdDbXrecord::createObject().get());
    const OdDbObjectId clonedReactor = m_database->addOdDbObject(OdDbXrecord::createObject().get());
    const OdDbObjectId clone = m_database->addOdDbObject(OdDbXrecord::createObject().get());
    m_owner.openObject(OdDb::kForWrite)->addPersistentReactor(reactor);
    clone.openObject(OdDb::kForWrite)->addPersistentReactor(reactor);
    clone.openObject(OdDb::kForWrite)->addPersistentReactor(clonedReactor);
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    mapping->assign(OdDbIdPair(m_owner, clone, true));
    mapping->assign(OdDbIdPair(reactor, clonedReactor, true));
    zemu::detachReactor({m_owner, reactor}, reactor, mapping.get());
    EXPECT_TRUE(clone.openObject()->getPersistentReactors().isEmpty());
    EXPECT_TRUE(m_owner.openObject()->hasPersistentReactor(reactor));
}

TEST(FeatureColors, AreOffUntilTheHostSaysOtherwise)
{
    EXPECT_FALSE(zemu::GetFEATURECOLORS::getValue());
    zemu::GetFEATURECOLORS::setImpl([] { return true; });
    EXPECT_TRUE(zemu::GetFEATURECOLORS::getValue());
    zemu::GetFEATURECOLORS::setImpl(nullptr);
    EXPECT_FALSE(zemu::GetFEATURECOLORS::getValue());
}
