#include "db/db_test_support.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"

using namespace dbtest;

namespace {

using Journal = std::vector<std::string>;

class Erase : public DatabaseTest
{
};

TEST_F(Erase, RunsSubEraseThenMarksThenLeavesTheDictionaryThenTells)
{
    const OdDbObjectId id = namedObjects()->setAt(L"x", TestBag::createObject().get());
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    Journal order;
    resident(id).onSubErase = [&](TestBag& bag, bool) {
        order.push_back(bag.isErased() ? "subErase after mark" : "subErase before mark");
        order.push_back(namedObjects()->has(L"x") ? "still listed" : "not listed");
        order.push_back(bag.isModified() ? "marked modified" : "not marked");
        return kOdOk;
    };
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kErased) {
            order.push_back(object.isErased() ? "told after mark" : "told before mark");
            order.push_back(namedObjects()->has(L"x") ? "still listed" : "not listed");
            order.push_back(object.isWriteEnabled() ? "writable" : "not writable");
        }
    };
    ASSERT_EQ(eraseObject(id), kOdOk);

    EXPECT_EQ(order, (Journal{"subErase before mark", "still listed", "marked modified",
                              "told after mark", "not listed", "writable"}));
}

TEST_F(Erase, OfAnErasedObjectCallsNothing)
{
    const OdDbObjectId id = addBag();
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    ASSERT_EQ(eraseObject(id), kOdOk);
    m_journal.clear();

    EXPECT_EQ(eraseObject(id), kOdAlreadyErased);
    EXPECT_EQ(resident(id).erase(), kOdAlreadyErased);
    EXPECT_EQ(resident(id).subErases, 1);
    EXPECT_TRUE(m_journal.empty());
}

TEST_F(Erase, ByAReactorThatIsToldOfTheChangeIsDoneOnce)
{
    const OdDbObjectId id = addBag();
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    bool erasing = true;
    OdResult inner = kOdInvalidInput;
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kOpenedForModify) {
            inner = eraseObject(id, erasing);
        }
    };
    EXPECT_EQ(eraseObject(id), kOdAlreadyErased);
    EXPECT_EQ(inner, kOdOk);
    EXPECT_EQ(resident(id).subErases, 1);
    EXPECT_EQ(reactor(watcher).count(NoticeKind::kErased), 1);

    erasing = false;
    EXPECT_EQ(eraseObject(id, false), kOdNotErased);
    EXPECT_EQ(inner, kOdOk);
    EXPECT_FALSE(id.isErased());
    EXPECT_EQ(resident(id).subErases, 2);
    EXPECT_EQ(reactor(watcher).count(NoticeKind::kUnerased), 1);
}

TEST_F(Erase, ThatIsTakenBackAndDoneAgainWithoutEndIsStoppedAndReported)
{
    const OdDbObjectId id = addBag();
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    reactor(watcher).onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kErased || kind == NoticeKind::kUnerased) {
            (void)eraseObject(id, kind == NoticeKind::kUnerased);
        }
    };
    EXPECT_EQ(eraseObject(id), kOdOk);
    EXPECT_EQ(m_asserts.take().size(), 1U);

    reactor(watcher).onNotice = nullptr;
    const int told = reactor(watcher).count(NoticeKind::kErased);
    (void)eraseObject(id, false);
    EXPECT_EQ(eraseObject(id), kOdOk);
    EXPECT_EQ(reactor(watcher).count(NoticeKind::kErased), told + 1);
}

TEST_F(Erase, OfAnObjectWhoseFieldsAreNotRecordedGoesBackTogetherWithItsEntry)
{
    const OdDbObjectId id = namedObjects()->setAt(L"x", TestBag::createObject().get());
    m_db->startUndoRecord();
    {
        const TestBagPtr bag = writeBag(id);
        bag->disableUndoRecording(true);
        EXPECT_EQ(bag->erase(), kOdOk);
    }
    EXPECT_EQ(namedObjects()->numEntries(), 0U);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_FALSE(id.isErased());
    EXPECT_EQ(namedObjects()->getAt(L"x"), id);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_TRUE(id.isErased());
    EXPECT_EQ(namedObjects()->numEntries(), 0U);
}

TEST_F(Erase, BackOfALivingObjectCallsNothing)
{
    const OdDbObjectId id = addBag();
    EXPECT_EQ(eraseObject(id, false), kOdNotErased);
    EXPECT_EQ(resident(id).subErases, 0);
}

TEST_F(Erase, RefusedBySubEraseChangesNothing)
{
    const OdDbObjectId id = namedObjects()->setAt(L"x", TestBag::createObject().get());
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    resident(id).onSubErase = [](TestBag&, bool) { return kOdInvalidInput; };

    EXPECT_EQ(eraseObject(id), kOdInvalidInput);
    EXPECT_FALSE(id.isErased());
    EXPECT_TRUE(namedObjects()->has(L"x"));
    EXPECT_EQ(reactor(watcher).count(NoticeKind::kErased), 0);
}

TEST_F(Erase, ThatThrowsInSubEraseChangesNothing)
{
    const OdDbObjectId id = addBag();
    resident(id).onSubErase = [](TestBag&, bool) -> OdResult { throw OdError(kOdInvalidInput); };
    EXPECT_EQ(thrownCode([&] { (void)eraseObject(id); }), kOdInvalidInput);
    EXPECT_FALSE(id.isErased());
    resident(id).onSubErase = nullptr;
    EXPECT_EQ(eraseObject(id), kOdOk);
}

TEST_F(Erase, BackIsTheMirrorOfErasing)
{
    const OdDbObjectId id = namedObjects()->setAt(L"x", TestBag::createObject().get());
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    ASSERT_EQ(eraseObject(id), kOdOk);
    bool erasing = true;
    bool erasedInside = false;
    resident(id).onSubErase = [&](TestBag& bag, bool erase) {
        erasing = erase;
        erasedInside = bag.isErased();
        return kOdOk;
    };
    ASSERT_EQ(eraseObject(id, false), kOdOk);

    EXPECT_FALSE(erasing);
    EXPECT_TRUE(erasedInside);
    EXPECT_FALSE(id.isErased());
    EXPECT_EQ(namedObjects()->getAt(L"x"), id);
    EXPECT_EQ(reactor(watcher).count(NoticeKind::kUnerased), 1);
}

TEST_F(Erase, FromInsideItsOwnSubEraseIsDoneOnce)
{
    const OdDbObjectId id = addBag();
    const OdDbObjectId watcher = addReactor();
    watch(id, watcher);
    OdResult inner = kOdOk;
    resident(id).onSubErase = [&](TestBag& bag, bool erasing) {
        inner = bag.erase(erasing);
        return kOdOk;
    };
    EXPECT_EQ(eraseObject(id), kOdOk);
    EXPECT_NE(inner, kOdOk);
    EXPECT_TRUE(id.isErased());
    EXPECT_EQ(resident(id).subErases, 1);
    EXPECT_EQ(reactor(watcher).count(NoticeKind::kErased), 1);
}

TEST_F(Erase, OfTwoObjectsThatEraseEachOtherIsDoneOnceForEach)
{
    const OdDbObjectId a = addBag();
    const OdDbObjectId b = addBag();
    resident(a).onSubErase = [&](TestBag&, bool erasing) {
        (void)eraseObject(b, erasing);
        return kOdOk;
    };
    resident(b).onSubErase = [&](TestBag&, bool erasing) {
        (void)eraseObject(a, erasing);
        return kOdOk;
    };
    EXPECT_EQ(eraseObject(a), kOdOk);
    EXPECT_TRUE(a.isErased());
    EXPECT_TRUE(b.isErased());
    EXPECT_EQ(resident(a).subErases, 1);
    EXPECT_EQ(resident(b).subErases, 1);
}

TEST_F(Erase, MayBeFollowedByFurtherErasesFromNotices)
{
    // A link watched by a reactor that belongs to a feature: losing the link ends all three, and the
    // feature's end comes back to the reactor.
    const OdDbObjectId link = addBag();
    const OdDbObjectId watcher = addReactor();
    const OdDbObjectId feature = addBag();
    watch(link, watcher);
    reactor(watcher).onNotice = [&](TestReactor& self, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kErased && !object.isUndoing()) {
            object.objectId()
                .safeOpenObject(OdDb::kForWrite, /*openErased=*/true)
                ->removePersistentReactor(self.objectId());
            EXPECT_TRUE(object.objectId().openObject(OdDb::kForWrite).isNull());
            (void)eraseObject(feature);
            EXPECT_EQ(self.erase(), kOdAlreadyErased);
        }
    };
    resident(feature).onSubErase = [&](TestBag& bag, bool) {
        bag.setNumber(99);
        EXPECT_EQ(eraseObject(watcher), kOdOk);
        return kOdOk;
    };
    const DatabaseState before = stateOf(*m_db);
    m_db->startUndoRecord();
    ASSERT_EQ(eraseObject(link), kOdOk);

    EXPECT_TRUE(link.isErased());
    EXPECT_TRUE(watcher.isErased());
    EXPECT_TRUE(feature.isErased());
    EXPECT_EQ(resident(link).subErases, 1);
    EXPECT_EQ(resident(watcher).subErases, 1);
    EXPECT_EQ(resident(feature).subErases, 1);
    const DatabaseState after = stateOf(*m_db);

    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(stateOf(*m_db), before);
    EXPECT_EQ(resident(feature).subErases, 1);
    EXPECT_EQ(resident(watcher).subErases, 1);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(stateOf(*m_db), after);
    EXPECT_EQ(resident(feature).subErases, 1);
}

TEST_F(Erase, DoesNotReachOwnedObjects)
{
    const OdDbDictionaryPtr sub = OdDbDictionary::createObject();
    namedObjects()->setAt(L"sub", sub.get());
    const OdDbObjectId child = sub->setAt(L"child", TestBag::createObject().get());
    ASSERT_EQ(sub->erase(), kOdOk);
    EXPECT_FALSE(child.isErased());
    EXPECT_EQ(sub->numEntries(), 1U);
}

TEST_F(Erase, OfAChildOfAnErasedOwnerTakesItsEntryOut)
{
    const OdDbDictionaryPtr sub = OdDbDictionary::createObject();
    namedObjects()->setAt(L"sub", sub.get());
    const OdDbObjectId child = sub->setAt(L"child", TestBag::createObject().get());
    ASSERT_EQ(sub->erase(), kOdOk);
    ASSERT_EQ(eraseObject(child), kOdOk);
    EXPECT_EQ(sub->numEntries(), 0U);
    ASSERT_EQ(eraseObject(child, false), kOdOk);
    EXPECT_EQ(sub->getAt(L"child"), child);
}

TEST_F(Erase, WorksWhateverTheOwnerIs)
{
    EXPECT_EQ(eraseObject(addBag(0, OdDbObjectId::kNull)), kOdOk);
    EXPECT_EQ(eraseObject(addBag(0, addBag())), kOdOk);
    EXPECT_EQ(eraseObject(addBag(0, m_db->getNamedObjectsDictionaryId())), kOdOk);
    EXPECT_EQ(eraseObject(addBag(0, m_db->getOdDbObjectId(OdDbHandle(0x9999), /*create=*/true))),
              kOdOk);
}

TEST_F(Erase, IsAModificationOfTheObjectAndOfTheDictionaryThatOwnsIt)
{
    const OdDbObjectId id = namedObjects()->setAt(L"x", TestBag::createObject().get());
    watch(id, addReactor("object"));
    watch(m_db->getNamedObjectsDictionaryId(), addReactor("owner"));
    m_journal.clear();
    ASSERT_EQ(eraseObject(id), kOdOk);
    EXPECT_EQ(m_journal, (Journal{"object openedForModify", "owner openedForModify",
                                  "owner modified", "owner objectClosed", "object erased",
                                  "object modified", "object objectClosed"}));
}

TEST_F(Erase, LeavesTheIdValidAndOpenableOnRequestOnly)
{
    const OdDbObjectId id = addBag(5);
    ASSERT_EQ(eraseObject(id), kOdOk);
    EXPECT_TRUE(id.isValid());
    EXPECT_TRUE(id.openObject(OdDb::kForRead).isNull());
    EXPECT_TRUE(id.openObject(OdDb::kForWrite).isNull());
    EXPECT_FALSE(id.openObject(OdDb::kForWrite, /*openErased=*/true).isNull());
    EXPECT_EQ(thrownCode([&] { (void)id.safeOpenObject(); }), kOdWasErased);
    EXPECT_EQ(id.objectClass(), TestBag::desc());
    setNumberOf(id, 6);
    EXPECT_EQ(numberOf(id), 6);
}

TEST_F(Erase, OfABlockLeavesItsEntities)
{
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
    block->setName(L"B");
    OdDbSymbolTablePtr(m_db->getBlockTableId().safeOpenObject(OdDb::kForWrite))->add(block.get());
    const OdDbObjectId line = block->appendOdDbEntity(OdDbLine::createObject().get());
    ASSERT_EQ(block->erase(), kOdOk);
    EXPECT_FALSE(line.isErased());
    EXPECT_EQ(block->entityCount(), 1U);
}

}  // namespace
