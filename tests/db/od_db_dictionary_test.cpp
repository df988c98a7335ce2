#include "db/db_test_support.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_simple_tables.h"

using namespace dbtest;

namespace {

using Names = std::vector<std::string>;

Names namesOf(OdDbDictionary const& dictionary)
{
    Names names;
    for (OdDbDictionaryIteratorPtr at = dictionary.newIterator(); !at->done(); at->next()) {
        names.emplace_back(at->name().utf8());
    }
    return names;
}

class Dictionary : public DatabaseTest
{
protected:
    Dictionary() : m_dictionary(namedObjects()) {}
    void TearDown() override
    {
        m_dictionary.release();
        DatabaseTest::TearDown();
    }
    OdDbObjectId set(wchar_t const* name)
    {
        return m_dictionary->setAt(name, TestBag::createObject().get());
    }

    OdDbDictionaryPtr m_dictionary;
};

TEST_F(Dictionary, FindsNamesWithoutCaseAndKeepsTheCaseTheyWereSetWith)
{
    const OdDbObjectId id = set(L"Zem_Db");
    EXPECT_EQ(m_dictionary->getAt(L"ZEM_DB"), id);
    EXPECT_EQ(m_dictionary->getAt(L"zem_db"), id);
    EXPECT_TRUE(m_dictionary->has(OdString(L"zEM_dB")));
    EXPECT_EQ(m_dictionary->nameAt(id), OdString(L"Zem_Db"));
    EXPECT_EQ(namesOf(*m_dictionary), (Names{"Zem_Db"}));
}

TEST_F(Dictionary, TellsWhetherANameWasFound)
{
    set(L"x");
    OdResult result = kOdInvalidInput;
    EXPECT_FALSE(m_dictionary->getAt(L"x", &result).isNull());
    EXPECT_EQ(result, kOdOk);
    EXPECT_TRUE(m_dictionary->getAt(L"y", &result).isNull());
    EXPECT_EQ(result, kOdKeyNotFound);
    EXPECT_TRUE(m_dictionary->getAt(L"y", OdDb::kForRead).isNull());
    EXPECT_TRUE(m_dictionary->getAt(L"x", OdDb::kForWrite)->isWriteEnabled());
}

TEST_F(Dictionary, AddsAndOwnsWhatIsEntered)
{
    const TestBagPtr bag = TestBag::createObject();
    const OdDbObjectId id = m_dictionary->setAt(L"x", bag.get());
    EXPECT_EQ(bag->objectId(), id);
    EXPECT_EQ(bag->database(), m_db.get());
    EXPECT_EQ(bag->ownerId(), m_dictionary->objectId());
    EXPECT_TRUE(bag->isWriteEnabled());
}

TEST_F(Dictionary, WalksItsEntriesInOrderOfNames)
{
    for (wchar_t const* name : {L"b", L"A", L"c", L"B2", L"\x100", L"1"}) {
        set(name);
    }
    EXPECT_EQ(namesOf(*m_dictionary), (Names{"1", "A", "b", "B2", "c", "\xC4\x80"}));
}

TEST_F(Dictionary, MayChangeWhileItIsWalked)
{
    set(L"b");
    set(L"c");
    set(L"e");
    const OdDbDictionaryIteratorPtr at = m_dictionary->newIterator();
    EXPECT_EQ(at->name(), OdString(L"b"));
    m_dictionary->remove(L"b");
    m_dictionary->remove(L"c");
    set(L"a");
    set(L"d");
    EXPECT_TRUE(at->next());
    EXPECT_EQ(at->name(), OdString(L"d"));
    EXPECT_TRUE(at->next());
    EXPECT_FALSE(at->next());
    EXPECT_TRUE(at->done());
    EXPECT_FALSE(at->next());
    EXPECT_TRUE(at->objectId().isNull());
    EXPECT_TRUE(at->getObject().isNull());
}

TEST_F(Dictionary, IsHeldOpenForReadByItsIterator)
{
    set(L"x");
    OdDbDictionaryIteratorPtr at = m_dictionary->newIterator();
    OdDbDictionary const* raw = m_dictionary.get();
    m_dictionary.release();
    EXPECT_TRUE(raw->isReadEnabled());
    EXPECT_EQ(at->getObject(OdDb::kForWrite)->objectId(), at->objectId());
    at.release();
    EXPECT_FALSE(raw->isReadEnabled());
}

TEST_F(Dictionary, TakesEmptyNamesAsHiddenOnesThatNeverCollide)
{
    const OdDbObjectId first = set(L"");
    const OdDbObjectId second = set(L"");
    EXPECT_NE(first, second);
    EXPECT_EQ(m_dictionary->numEntries(), 2U);
    EXPECT_FALSE(first.isErased());
    EXPECT_NE(m_dictionary->nameAt(first), m_dictionary->nameAt(second));
    EXPECT_FALSE(m_dictionary->nameAt(first).isEmpty());
    EXPECT_FALSE(m_dictionary->has(OdString()));
    m_dictionary->remove(m_dictionary->nameAt(first));
    const OdDbObjectId third = set(L"");
    EXPECT_FALSE(second.isErased());
    EXPECT_FALSE(third.isErased());
}

TEST_F(Dictionary, RefusesNamesWithControlCharacters)
{
    for (wchar_t const* name : {L"a\n", L"\t", L"\x7F", L"\x1F"}) {
        const TestBagPtr bag = TestBag::createObject();
        EXPECT_EQ(thrownCode([&] { m_dictionary->setAt(name, bag.get()); }), kOdInvalidKey);
        EXPECT_EQ(bag->database(), nullptr);
    }
}

TEST_F(Dictionary, ReplacesAnEntryAndErasesWhatItOwned)
{
    const OdDbObjectId first = set(L"x");
    const OdDbObjectId second = set(L"X");
    EXPECT_TRUE(first.isErased());
    EXPECT_EQ(m_dictionary->getAt(L"x"), second);
    EXPECT_EQ(m_dictionary->numEntries(), 1U);
    EXPECT_EQ(namesOf(*m_dictionary), (Names{"X"}));
}

TEST_F(Dictionary, KeepsAnEntryThatIsSetAgainToTheSameObject)
{
    const OdDbObjectId id = set(L"x");
    const TestBagPtr bag = writeBag(id);
    EXPECT_EQ(m_dictionary->setAt(L"x", bag.get()), id);
    EXPECT_FALSE(id.isErased());
    EXPECT_EQ(m_dictionary->numEntries(), 1U);
}

TEST_F(Dictionary, MovesAnEntryToAnotherName)
{
    const OdDbObjectId id = set(L"x");
    const TestBagPtr bag = writeBag(id);
    m_dictionary->setAt(L"y", bag.get());
    EXPECT_EQ(namesOf(*m_dictionary), (Names{"y"}));
    EXPECT_FALSE(id.isErased());
}

TEST_F(Dictionary, TakesAnObjectOverFromAnotherDictionary)
{
    const OdDbObjectId id = set(L"x");
    const OdDbDictionaryPtr other = OdDbDictionary::createObject();
    m_dictionary->setAt(L"other", other.get());
    m_db->startUndoRecord();
    other->setAt(L"y", writeBag(id).get());

    EXPECT_FALSE(m_dictionary->has(id));
    EXPECT_FALSE(m_dictionary->has(OdString(L"x")));
    EXPECT_EQ(other->getAt(L"y"), id);
    EXPECT_EQ(resident(id).ownerId(), other->objectId());
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(m_dictionary->getAt(L"x"), id);
    EXPECT_EQ(other->numEntries(), 0U);
    EXPECT_EQ(resident(id).ownerId(), m_dictionary->objectId());
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(other->getAt(L"y"), id);
    EXPECT_FALSE(m_dictionary->has(id));
    ASSERT_EQ(eraseObject(id), kOdOk);
    EXPECT_EQ(other->numEntries(), 0U);
}

TEST_F(Dictionary, TakesAnObjectThatHadNoOwnerOrAPlainOne)
{
    const OdDbObjectId ownerless = addBag();
    const OdDbObjectId owned = addBag(0, addBag());
    m_dictionary->setAt(L"a", writeBag(ownerless).get());
    m_dictionary->setAt(L"b", writeBag(owned).get());
    EXPECT_EQ(resident(ownerless).ownerId(), m_dictionary->objectId());
    EXPECT_EQ(resident(owned).ownerId(), m_dictionary->objectId());
}

TEST_F(Dictionary, ChangesNothingIfTheObjectCannotChangeItsOwner)
{
    const OdDbObjectId id = set(L"x");
    const OdDbDictionaryPtr other = OdDbDictionary::createObject();
    m_dictionary->setAt(L"other", other.get());
    const OdDbObjectId present = other->setAt(L"y", TestBag::createObject().get());
    TestBag& closed = resident(id);

    EXPECT_EQ(thrownCode([&] { other->setAt(L"y", &closed); }), kOdNotOpenForWrite);
    EXPECT_EQ(m_dictionary->getAt(L"x"), id);
    EXPECT_EQ(other->getAt(L"y"), present);
    EXPECT_FALSE(present.isErased());
}

TEST_F(Dictionary, RefusesToOwnItselfOrWhatOwnsIt)
{
    const OdDbDictionaryPtr outer = OdDbDictionary::createObject();
    const OdDbDictionaryPtr inner = OdDbDictionary::createObject();
    m_dictionary->setAt(L"outer", outer.get());
    outer->setAt(L"inner", inner.get());

    EXPECT_EQ(thrownCode([&] { outer->setAt(L"self", outer.get()); }), kOdCyclicReference);
    EXPECT_EQ(thrownCode([&] { inner->setAt(L"outer", outer.get()); }), kOdCyclicReference);
    EXPECT_EQ(thrownCode([&] { inner->setAt(L"root", m_dictionary.get()); }), kOdCyclicReference);
    EXPECT_EQ(inner->numEntries(), 0U);
    EXPECT_EQ(outer->ownerId(), m_dictionary->objectId());
}

TEST_F(Dictionary, EndsTheSearchForARingInOwnersThatAlreadyFormOne)
{
    const OdDbDictionaryPtr a = OdDbDictionary::createObject();
    const OdDbDictionaryPtr b = OdDbDictionary::createObject();
    m_db->addOdDbObject(a.get());
    m_db->addOdDbObject(b.get(), a->objectId());
    a->setOwnerId(b->objectId());
    a->setAt(L"x", writeBag(addBag()).get());
    EXPECT_EQ(a->numEntries(), 1U);
}

TEST_F(Dictionary, NestsToAnyDepth)
{
    OdDbDictionaryPtr at = m_dictionary;
    for (int depth = 0; depth < 2000; ++depth) {
        const OdDbDictionaryPtr next = OdDbDictionary::createObject();
        at->setAt(L"next", next.get());
        at = next;
    }
    EXPECT_EQ(at->numEntries(), 0U);
    const TestBagPtr bag = writeBag(addBag());
    at->setAt(L"end", bag.get());
    EXPECT_EQ(bag->ownerId(), at->objectId());
}

TEST_F(Dictionary, RefusesMisuse)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const TestBagPtr foreign = TestBag::createObject();
    other->addOdDbObject(foreign.get());
    const OdDbObjectId erasedOne = addBag();
    ASSERT_EQ(eraseObject(erasedOne), kOdOk);
    const TestBagPtr erasedBag = writeBag(erasedOne);
    const OdDbDictionaryPtr outside = OdDbDictionary::createObject();
    const TestBagPtr bag = TestBag::createObject();

    EXPECT_EQ(thrownCode([&] { m_dictionary->setAt(L"x", nullptr); }), kOdNullObjectPointer);
    EXPECT_EQ(thrownCode([&] { m_dictionary->setAt(L"x", foreign.get()); }), kOdWrongDatabase);
    EXPECT_EQ(thrownCode([&] { m_dictionary->setAt(L"x", erasedBag.get()); }), kOdWasErased);
    EXPECT_EQ(thrownCode([&] { outside->setAt(L"x", bag.get()); }), kOdNotInDatabase);
    m_dictionary->downgradeOpen();
    EXPECT_EQ(thrownCode([&] { m_dictionary->setAt(L"x", bag.get()); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { m_dictionary->remove(L"x"); }), kOdNotOpenForWrite);
    EXPECT_EQ(thrownCode([&] { m_dictionary->setName(L"x", L"y"); }), kOdNotOpenForWrite);
    EXPECT_EQ(m_dictionary->numEntries(), 0U);
    EXPECT_EQ(bag->database(), nullptr);
}

TEST_F(Dictionary, RefusesRecordsOfTablesAndEntitiesOfBlocks)
{
    const OdDbBlockTableRecordPtr space = m_db->getModelSpaceId().safeOpenObject(OdDb::kForWrite);
    const OdDbLinePtr line = OdDbLine::createObject();
    space->appendOdDbEntity(line.get());
    const OdDbObjectPtr layer = m_db->getLayerZeroId().safeOpenObject(OdDb::kForWrite);
    EXPECT_EQ(thrownCode([&] { m_dictionary->setAt(L"x", line.get()); }), kOdAlreadyInDatabase);
    EXPECT_EQ(thrownCode([&] { m_dictionary->setAt(L"x", layer.get()); }), kOdAlreadyInDatabase);
    EXPECT_EQ(line->ownerId(), space->objectId());
    EXPECT_EQ(m_dictionary->numEntries(), 0U);
}

TEST_F(Dictionary, ThatIsErasedStillTakesEntries)
{
    const OdDbDictionaryPtr sub = OdDbDictionary::createObject();
    m_dictionary->setAt(L"sub", sub.get());
    ASSERT_EQ(sub->erase(), kOdOk);
    const OdDbObjectId id = sub->setAt(L"x", TestBag::createObject().get());
    EXPECT_EQ(sub->getAt(L"x"), id);
    EXPECT_FALSE(id.isErased());
}

TEST_F(Dictionary, RemovesAnEntryAndErasesWhatItOwned)
{
    const OdDbObjectId id = set(L"x");
    EXPECT_EQ(m_dictionary->remove(L"X"), id);
    EXPECT_TRUE(id.isErased());
    EXPECT_TRUE(m_dictionary->remove(L"x").isNull());
    EXPECT_EQ(m_dictionary->numEntries(), 0U);
}

TEST_F(Dictionary, LosesTheEntryOfAnObjectThatGetsAnotherOwner)
{
    const OdDbObjectId id = set(L"x");
    m_db->startUndoRecord();
    writeBag(id)->setOwnerId(OdDbObjectId::kNull);
    EXPECT_EQ(m_dictionary->numEntries(), 0U);
    EXPECT_TRUE(m_dictionary->remove(L"x").isNull());
    EXPECT_FALSE(id.isErased());
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(m_dictionary->getAt(L"x"), id);
    EXPECT_EQ(resident(id).ownerId(), m_dictionary->objectId());
    EXPECT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(m_dictionary->numEntries(), 0U);
}

TEST_F(Dictionary, EndsItsWalkWithItsDatabase)
{
    set(L"x");
    set(L"y");
    const OdDbDictionaryIteratorPtr entries = m_dictionary->newIterator();
    const OdDbSymbolTableIteratorPtr records =
        OdDbSymbolTablePtr(m_db->getLayerTableId().openObject())->newIterator();
    ASSERT_FALSE(entries->done() || records->done());
    m_dictionary.release();
    m_db.release();
    (void)m_asserts.take();  // debug builds report what is held open
    EXPECT_TRUE(entries->done());
    EXPECT_FALSE(entries->next());
    EXPECT_TRUE(entries->objectId().isNull());
    EXPECT_TRUE(entries->getObject().isNull());
    EXPECT_TRUE(entries->name().isEmpty());
    EXPECT_TRUE(records->done());
    records->step();
    EXPECT_TRUE(records->getRecord().isNull());
}

TEST_F(Dictionary, LosesTheNameOfAnObjectThatRefusesToBeErased)
{
    const OdDbObjectId id = set(L"x");
    resident(id).onSubErase = [](TestBag&, bool) { return kOdInvalidInput; };
    EXPECT_EQ(m_dictionary->remove(L"x"), id);
    EXPECT_FALSE(id.isErased());
    EXPECT_FALSE(m_dictionary->has(id));
}

TEST_F(Dictionary, CountsLivingEntriesOnly)
{
    const OdDbObjectId a = set(L"a");
    set(L"b");
    ASSERT_EQ(eraseObject(a), kOdOk);
    EXPECT_EQ(m_dictionary->numEntries(), 1U);
    EXPECT_FALSE(m_dictionary->has(a));
    EXPECT_EQ(namesOf(*m_dictionary), (Names{"b"}));
    ASSERT_EQ(eraseObject(a, false), kOdOk);
    EXPECT_EQ(m_dictionary->numEntries(), 2U);
    EXPECT_EQ(m_dictionary->getAt(L"a"), a);
}

TEST_F(Dictionary, LeavesAnObjectNamelessThatComesBackToATakenName)
{
    const OdDbObjectId first = set(L"x");
    ASSERT_EQ(eraseObject(first), kOdOk);
    const OdDbObjectId second = set(L"x");
    ASSERT_EQ(eraseObject(first, false), kOdOk);
    EXPECT_EQ(m_dictionary->getAt(L"x"), second);
    EXPECT_FALSE(m_dictionary->has(first));
    ASSERT_EQ(eraseObject(second), kOdOk);
    ASSERT_EQ(eraseObject(first), kOdOk);
    ASSERT_EQ(eraseObject(first, false), kOdOk);
    EXPECT_EQ(m_dictionary->getAt(L"x"), first);
}

TEST_F(Dictionary, RenamesAnEntry)
{
    const OdDbObjectId id = set(L"x");
    set(L"taken");
    EXPECT_FALSE(m_dictionary->setName(L"x", L"TAKEN"));
    EXPECT_FALSE(m_dictionary->setName(L"x", L""));
    EXPECT_FALSE(m_dictionary->setName(L"x", L"\n"));
    EXPECT_FALSE(m_dictionary->setName(L"absent", L"y"));
    EXPECT_EQ(m_dictionary->getAt(L"x"), id);
    EXPECT_TRUE(m_dictionary->setName(L"x", L"X"));
    EXPECT_EQ(m_dictionary->nameAt(id), OdString(L"X"));
    EXPECT_TRUE(m_dictionary->setName(L"x", L"y"));
    EXPECT_EQ(namesOf(*m_dictionary), (Names{"taken", "y"}));
}

TEST_F(Dictionary, FilesItsEntriesByTheKindOfItsOwnership)
{
    const OdDbObjectId id = set(L"x");
    for (bool hard : {true, false}) {
        m_dictionary->setHardOwner(hard);
        std::vector<OdDbReference> references;
        OdStaticRxObject<OdDbMemoryFiler> filer;
        filer.collectReferences(&references);
        m_dictionary->dwgOutFields(&filer);
        const OdDbReference expected = {hard ? OdDb::ReferenceType::kHardOwnershipRef
                                             : OdDb::ReferenceType::kSoftOwnershipRef,
                                        id};
        EXPECT_NE(std::find(references.begin(), references.end(), expected), references.end());
        filer.rewindForReading();
        const OdDbDictionaryPtr copy = OdDbDictionary::createObject();
        ASSERT_EQ(copy->dwgInFields(&filer), kOdOk);
        EXPECT_EQ(copy->isHardOwner(), hard);
        EXPECT_EQ(copy->getAt(L"x"), id);
    }
}

TEST_F(Dictionary, HoldsAHundredThousandEntries)
{
    OdString name;
    for (unsigned index = 0; index < 100000; ++index) {
        name.format(L"entry%u", index);
        m_dictionary->setAt(name, odrxMake<OdDbObject>().get());
    }
    EXPECT_EQ(m_dictionary->numEntries(), 100000U);
    EXPECT_EQ(m_dictionary->nameAt(m_dictionary->getAt(L"ENTRY77777")), OdString(L"entry77777"));
    for (unsigned index = 0; index < 100000; index += 100) {
        name.format(L"entry%u", index);
        m_dictionary->remove(name);
    }
    EXPECT_EQ(m_dictionary->numEntries(), 99000U);
}

TEST_F(Dictionary, TakesThousandsOfEntriesBackAndForth)
{
    m_db->startUndoRecord();
    OdString name;
    for (unsigned index = 0; index < 5000; ++index) {
        name.format(L"entry%u", index);
        m_dictionary->setAt(name, TestBag::createObject().get());
    }
    for (unsigned index = 0; index < 5000; index += 2) {
        name.format(L"entry%u", index);
        m_dictionary->remove(name);
    }
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(m_dictionary->numEntries(), 0U);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(m_dictionary->numEntries(), 2500U);
    EXPECT_TRUE(m_dictionary->has(OdString(L"entry1")));
    EXPECT_FALSE(m_dictionary->has(OdString(L"entry2")));
}

// ---------------------------------------------------------------------------------------------

TEST_F(Dictionary, KeepsWhatAReactorEntersInPlaceOfARemovedObject)
{
    const OdDbObjectId id = set(L"k");
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    OdDbObjectId late;
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kErased) {
            late = set(L"k");
        }
    };
    EXPECT_EQ(m_dictionary->remove(L"k"), id);
    EXPECT_FALSE(late.isNull());
    EXPECT_EQ(m_dictionary->getAt(L"k"), late);
}

TEST_F(Dictionary, ErasesWhatAReactorEntersInPlaceOfAReplacedObject)
{
    const OdDbObjectId id = set(L"k");
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    OdDbObjectId late;
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kErased) {
            late = set(L"k");
        }
    };
    const OdDbObjectId replacing = set(L"k");
    EXPECT_EQ(m_dictionary->getAt(L"k"), replacing);
    EXPECT_TRUE(id.isErased());
    EXPECT_TRUE(late.isErased());
    EXPECT_EQ(m_dictionary->numEntries(), 1U);
}

TEST_F(Dictionary, SeesWhatAReactorEntersWhenItIsToldOfTheChange)
{
    const OdDbObjectId watcher = addReactor();
    watch(m_dictionary->objectId(), watcher);
    set(L"old");
    OdDbObjectId late;
    wchar_t const* key = L"k";
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kOpenedForModify && late.isNull()) {
            late = set(key);
        }
    };
    m_dictionary.release();  // the next change is the first of a period
    m_dictionary = namedObjects();
    const OdDbObjectId id = set(L"k");
    EXPECT_EQ(m_dictionary->getAt(L"k"), id);
    EXPECT_TRUE(late.isErased());

    late = OdDbObjectId::kNull;
    key = L"new";
    m_dictionary.release();
    m_dictionary = namedObjects();
    EXPECT_FALSE(m_dictionary->setName(L"old", L"new"));
    EXPECT_EQ(m_dictionary->getAt(L"new"), late);
    EXPECT_TRUE(m_dictionary->has(OdString(L"old")));
}

TEST_F(Dictionary, KeepsWhatAReactorEntersWhenItIsToldThatAnEntryGoes)
{
    const OdDbObjectId watcher = addReactor();
    watch(m_dictionary->objectId(), watcher);
    const OdDbObjectId other = addBag();
    for (int way = 0; way < 3; ++way) {
        const OdDbObjectId id = set(L"k");
        m_dictionary.release();  // the next change is the first of a period
        OdDbObjectId late;
        reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
            if (kind == NoticeKind::kOpenedForModify && late.isNull()) {
                late = namedObjects()->setAt(L"k", TestBag::createObject().get());
            }
        };
        switch (way) {
        case 0:
            EXPECT_EQ(eraseObject(id), kOdOk);
            break;
        case 1:
            namedObjects()->remove(L"k");
            break;
        default:
            writeBag(id)->setOwnerId(other);
        }
        m_dictionary = namedObjects();
        EXPECT_FALSE(late.isNull());
        EXPECT_FALSE(late.isErased());
        EXPECT_EQ(m_dictionary->getAt(L"k"), late);
        reactor(watcher).onNotice = nullptr;
    }
}

TEST_F(Dictionary, FollowsAReactorThatChangesWhatGoesOrComesBack)
{
    const OdDbObjectId watcher = addReactor();
    watch(m_dictionary->objectId(), watcher);
    const OdDbObjectId id = set(L"k");
    m_dictionary.release();
    bool isTold = false;
    const auto react = [&](auto const& action) {
        isTold = false;
        reactor(watcher).onNotice = [&isTold, action](TestReactor&, NoticeKind kind,
                                                      OdDbObject const&) {
            if (kind == NoticeKind::kOpenedForModify && !std::exchange(isTold, true)) {
                action();
            }
        };
    };
    const OdDbObjectId onlooker = addReactor();
    watch(id, onlooker);
    react([&] { (void)eraseObject(id, /*erasing=*/false); });
    (void)eraseObject(id);
    EXPECT_FALSE(id.isErased());
    EXPECT_EQ(reactor(onlooker).count(NoticeKind::kErased), 0);
    EXPECT_EQ(namedObjects(OdDb::kForRead)->getAt(L"k"), id);

    react([&] { EXPECT_TRUE(namedObjects()->setName(L"k", L"renamed")); });
    ASSERT_EQ(eraseObject(id), kOdOk);
    EXPECT_EQ(namedObjects(OdDb::kForRead)->numEntries(), 0U);

    react([&] { (void)eraseObject(id); });
    (void)eraseObject(id, /*erasing=*/false);
    EXPECT_TRUE(id.isErased());
    EXPECT_EQ(namedObjects(OdDb::kForRead)->numEntries(), 0U);

    reactor(watcher).onNotice = nullptr;
    ASSERT_EQ(eraseObject(id, /*erasing=*/false), kOdOk);
    EXPECT_EQ(namedObjects(OdDb::kForRead)->nameAt(id), L"renamed");
}

TEST_F(Dictionary, DoesNotListAnObjectThatAReactorErasesWhileItIsEntered)
{
    const OdDbObjectId before = set(L"k");
    const OdDbObjectId watcher = addReactor();
    watch(before, watcher);
    const TestBagPtr bag = TestBag::createObject();
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kErased) {
            (void)eraseObject(bag->objectId());
        }
    };
    const OdDbObjectId id = m_dictionary->setAt(L"k", bag.get());
    EXPECT_TRUE(id.isErased());
    EXPECT_EQ(m_dictionary->numEntries(), 0U);
    ASSERT_EQ(eraseObject(id, /*erasing=*/false), kOdOk);
    EXPECT_EQ(m_dictionary->getAt(L"k"), id);
}

TEST_F(Dictionary, TakesEachObjectOfAStreamOnce)
{
    const OdDbDictionaryPtr dictionary = OdDbDictionary::createObject();
    const OdDbObjectId id = addBag();
    OdStaticRxObject<OdDbMemoryFiler> filer;
    OdDbObjectPtr(odrxMake<OdDbObject>())->dwgOutFields(&filer);
    filer.wrBool(true);
    filer.wrInt32(2);
    for (wchar_t const* name : {L"a", L"b"}) {
        filer.wrString(name);
        filer.wrHardOwnershipId(id);
    }
    filer.rewindForReading();
    ASSERT_EQ(dictionary->dwgInFields(&filer), kOdOk);
    EXPECT_EQ(dictionary->numEntries(), 1U);
    EXPECT_EQ(dictionary->nameAt(id), L"a");
}

TEST_F(Dictionary, GivesWhatStandsUnderANameOrEntersAnObject)
{
    const OdDbObjectId watcher = addReactor();
    watch(m_dictionary->objectId(), watcher);
    const TestBagPtr bag = TestBag::createObject();
    const OdDbObjectId id = m_dictionary->getOrSetAt(L"k", bag.get());
    EXPECT_EQ(id, bag->objectId());
    const TestBagPtr second = TestBag::createObject();
    EXPECT_EQ(m_dictionary->getOrSetAt(L"K", second.get()), id);
    m_dictionary.release();  // the next change is the first of a period
    m_dictionary = namedObjects();
    OdDbObjectId late;
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kOpenedForModify && late.isNull()) {
            late = set(L"new");
        }
    };
    EXPECT_EQ(m_dictionary->getOrSetAt(L"new", second.get()), late);
    EXPECT_FALSE(late.isErased());
    EXPECT_EQ(second->database(), nullptr);
}

class ExtensionDictionary : public DatabaseTest
{
protected:
    ExtensionDictionary() : m_id(addBag()) {}
    OdDbObjectId dictionary() const { return readBag(m_id)->extensionDictionary(); }

    OdDbObjectId m_id;
};

TEST_F(ExtensionDictionary, IsNullUntilItIsMadeAndIsOwnedByItsObject)
{
    EXPECT_TRUE(dictionary().isNull());
    writeBag(m_id)->createExtensionDictionary();
    const OdDbObjectId id = dictionary();
    EXPECT_EQ(resident<OdDbDictionary>(id).ownerId(), m_id);
    writeBag(m_id)->createExtensionDictionary();
    EXPECT_EQ(dictionary(), id);
}

TEST_F(ExtensionDictionary, IsReleasedOnlyWhenEmptyAndComesBackAsTheSame)
{
    writeBag(m_id)->createExtensionDictionary();
    const OdDbObjectId id = dictionary();
    writeDictionary(id)->setAt(L"x", TestBag::createObject().get());
    EXPECT_FALSE(writeBag(m_id)->releaseExtensionDictionary());
    EXPECT_EQ(dictionary(), id);
    writeDictionary(id)->remove(L"x");
    EXPECT_TRUE(writeBag(m_id)->releaseExtensionDictionary());
    EXPECT_TRUE(dictionary().isNull());
    EXPECT_TRUE(writeBag(m_id)->releaseExtensionDictionary());
    writeBag(m_id)->createExtensionDictionary();
    EXPECT_EQ(dictionary(), id);
    EXPECT_FALSE(id.isErased());
}

TEST_F(ExtensionDictionary, IsGoneAfterItsLastEntryWasErasedAndItReleased)
{
    writeBag(m_id)->createExtensionDictionary();
    const OdDbObjectId entry =
        writeDictionary(dictionary())->setAt(L"x", TestBag::createObject().get());
    ASSERT_EQ(eraseObject(entry), kOdOk);
    EXPECT_TRUE(writeBag(m_id)->releaseExtensionDictionary());
    EXPECT_TRUE(dictionary().isNull());
}

TEST_F(ExtensionDictionary, IsNullWhileItIsErased)
{
    writeBag(m_id)->createExtensionDictionary();
    const OdDbObjectId id = dictionary();
    ASSERT_EQ(eraseObject(id), kOdOk);
    EXPECT_TRUE(dictionary().isNull());
    ASSERT_EQ(eraseObject(id, false), kOdOk);
    EXPECT_EQ(dictionary(), id);
}

TEST_F(ExtensionDictionary, IsUndoneAndRedoneWithItsEntries)
{
    const DatabaseState before = livingStateOf(*m_db);
    m_db->startUndoRecord();
    writeBag(m_id)->createExtensionDictionary();
    const OdDbObjectId id = dictionary();
    writeDictionary(id)->setAt(L"x", TestBag::createObject().get());
    const DatabaseState after = stateOf(*m_db);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(dictionary().isNull());
    EXPECT_EQ(livingStateOf(*m_db), before);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(dictionary(), id);
    EXPECT_EQ(stateOf(*m_db), after);
}

TEST_F(ExtensionDictionary, MayBeMadeThroughANestedWriteOfAnOuterReader)
{
    const TestBagPtr outer = readBag(m_id);
    writeBag(m_id)->createExtensionDictionary();
    EXPECT_FALSE(outer->extensionDictionary().isNull());
}

TEST_F(ExtensionDictionary, GivesOwnersUpToItsObject)
{
    const OdDbObjectId block = m_db->getModelSpaceId();
    const OdDbObjectPtr space = block.safeOpenObject(OdDb::kForWrite);
    space->createExtensionDictionary();
    const OdDbDictionaryPtr sub = OdDbDictionary::createObject();
    writeDictionary(space->extensionDictionary())->setAt(L"SUB", sub.get());
    const OdDbObjectId manager = sub->setAt(L"MANAGER", TestBag::createObject().get());

    OdDbObjectId at = manager;
    for (int step = 0; step < 3; ++step) {
        at = at.openObject()->ownerId();
    }
    EXPECT_EQ(at, block);
}

TEST_F(ExtensionDictionary, MadeByAReactorThatIsToldOfTheChangeIsKept)
{
    const OdDbObjectId watcher = addReactor();
    watch(m_id, watcher);
    OdDbObjectId made;
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kOpenedForModify) {
            writeBag(m_id)->createExtensionDictionary();
            made = object.extensionDictionary();
        }
    };
    m_db->startUndoRecord();
    writeBag(m_id)->createExtensionDictionary();
    EXPECT_FALSE(made.isNull());
    EXPECT_EQ(dictionary(), made);
    reactor(watcher).onNotice = nullptr;
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_TRUE(dictionary().isNull());
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(dictionary(), made);
}

TEST_F(ExtensionDictionary, KeepsARecordThatAReactorMakesWhenItIsTold)
{
    writeBag(m_id)->createExtensionDictionary();
    const OdDbObjectId watcher = addReactor();
    watch(dictionary(), watcher);
    OdDbObjectId made;
    const auto style = OdDb::DuplicateRecordCloning::kDrcIgnore;
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kOpenedForModify) {
            made = writeBag(m_id)->createXrecord(L"k", style)->objectId();
        }
    };
    EXPECT_EQ(writeBag(m_id)->createXrecord(L"k", style)->objectId(), made);
    EXPECT_FALSE(made.isErased());
}

}  // namespace
