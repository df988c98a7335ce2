// Cloning inside one database, and the course of a clone operation.

#include "db/clone_test_support.h"
#include "db/od_db_proxy_object.h"

#include <algorithm>

using namespace dbtest;

namespace {

constexpr auto kSoftPointer = OdDb::ReferenceType::kSoftPointerRef;
constexpr auto kHardPointer = OdDb::ReferenceType::kHardPointerRef;
constexpr auto kSoftOwner = OdDb::ReferenceType::kSoftOwnershipRef;
constexpr auto kHardOwner = OdDb::ReferenceType::kHardOwnershipRef;

class DeepClone : public CloneTest
{
protected:
    OdDbObjectPtr clone(OdDbObjectId id, OdDbObjectId owner = OdDbObjectId::kNull)
    {
        const OdDbObjectPtr ownerObject = owner.openObject();
        return id.safeOpenObject()->deepClone(*m_mapping, ownerObject.get(), true);
    }
};

TEST_F(DeepClone, GivesAnEqualObjectThatIsOpenForWriteUnderItsOwner)
{
    const OdDbObjectId owner = addBag();
    const OdDbObjectId source = addBag(7);
    writeBag(source)->setText(L"text");
    const TestBagPtr copy = clone(source, owner);
    ASSERT_FALSE(copy.isNull());
    EXPECT_TRUE(copy->isWriteEnabled());
    EXPECT_EQ(copy->isA(), TestBag::desc());
    EXPECT_EQ(copy->number(), 7);
    EXPECT_EQ(copy->text(), L"text");
    EXPECT_EQ(copy->ownerId(), owner);
    EXPECT_EQ(copy->database(), m_db.get());
    EXPECT_NE(copy->objectId(), source);
    OdDbIdPair pair(source);
    ASSERT_TRUE(m_mapping->compute(pair));
    EXPECT_EQ(pair.value(), copy->objectId());
    EXPECT_TRUE(pair.isCloned() && pair.isPrimary() && pair.isOwnerTranslated());
    EXPECT_EQ(m_mapping->origDb(), m_db.get());
    EXPECT_EQ(m_mapping->destDb(), m_db.get());
}

TEST_F(DeepClone, GivesNothingForAnObjectThatIsClonedAlready)
{
    const OdDbObjectId source = addBag(7);
    ASSERT_FALSE(clone(source).isNull());
    EXPECT_TRUE(clone(source).isNull());
}

TEST_F(DeepClone, FollowsOwnershipOfBothKindsAndNoPointers)
{
    const OdDbObjectId source = addBag(1);
    const OdDbObjectId hard = addBag(2);
    const OdDbObjectId soft = addBag(3);
    const OdDbObjectId pointedHard = addBag(4);
    const OdDbObjectId pointedSoft = addBag(5);
    own(source, hard);
    own(source, soft, kSoftOwner);
    refer(source, kHardPointer, pointedHard);
    refer(source, kSoftPointer, pointedSoft);
    const DatabaseState before = stateOf(*m_db);
    const OdDbObjectId copy = clone(source)->objectId();
    EXPECT_EQ(idsOf(copy, kHardOwner), OdDbObjectIdArray{cloneOf(hard)});
    EXPECT_EQ(idsOf(copy, kSoftOwner), OdDbObjectIdArray{cloneOf(soft)});
    EXPECT_EQ(idsOf(copy, kHardPointer), OdDbObjectIdArray{pointedHard});
    EXPECT_EQ(idsOf(copy, kSoftPointer), OdDbObjectIdArray{pointedSoft});
    EXPECT_EQ(numberOf(cloneOf(hard)), 2);
    EXPECT_EQ(ownerOf(cloneOf(hard)), copy);
    EXPECT_EQ(m_mapping->size(), 3U);
    OdDbIdPair pair(hard);
    ASSERT_TRUE(m_mapping->compute(pair));
    EXPECT_TRUE(pair.isCloned());
    EXPECT_FALSE(pair.isPrimary());
    DatabaseState after = stateOf(*m_db);
    std::erase_if(after, [&](auto const& entry) { return before.count(entry.first) == 0; });
    EXPECT_EQ(after, before) << "the source is not touched";
}

TEST_F(DeepClone, TurnsReferencesAmongClonedObjectsIntoReferencesAmongTheClones)
{
    const OdDbObjectId source = addBag(1);
    const OdDbObjectId child = addBag(2);
    own(source, child);
    refer(child, kSoftPointer, source);
    refer(child, kHardPointer, child);
    (void)clone(source);
    EXPECT_EQ(idsOf(cloneOf(child), kSoftPointer), OdDbObjectIdArray{cloneOf(source)});
    EXPECT_EQ(idsOf(cloneOf(child), kHardPointer), OdDbObjectIdArray{cloneOf(child)});
}

TEST_F(DeepClone, LeavesAHoleForAnOwnedObjectThatMakesNoClone)
{
    const OdDbObjectId source = addBag(1);
    const OdDbObjectId refused = addNode(2);
    own(source, refused);
    CloneNode::s_onClone = [](auto&&...) { return OdDbObjectPtr(); };
    const OdDbObjectId copy = clone(source)->objectId();
    EXPECT_EQ(idsOf(copy, kHardOwner), OdDbObjectIdArray{OdDbObjectId::kNull});
    EXPECT_EQ(idsOf(source, kHardOwner), OdDbObjectIdArray{refused});
}

TEST_F(DeepClone, PassesOverOwnedObjectsThatAreErased)
{
    const OdDbObjectId source = addBag(1);
    const OdDbObjectId child = addBag(2);
    own(source, child);
    eraseObject(child);
    const OdDbObjectId copy = clone(source)->objectId();
    EXPECT_EQ(idsOf(copy, kHardOwner), OdDbObjectIdArray{OdDbObjectId::kNull});
}

TEST_F(DeepClone, FilesTheSourceOutOnceAndTheCloneInTwice)
{
    const OdDbObjectId source = addNode(1);
    std::vector<OdDb::FilerType> out;
    CloneNode::s_onFiledOut = [&](OdDb::FilerType type, CloneNode const& node) {
        if (node.objectId() == source) {
            out.push_back(type);
        }
    };
    const OdDbObjectId copy = clone(source)->objectId();
    EXPECT_EQ(out, std::vector{OdDb::FilerType::kDeepCloneFiler});
    EXPECT_EQ(CloneNode::s_read, (std::vector<std::pair<OdDbObjectId, OdDb::FilerType>>{
                                     {copy, OdDb::FilerType::kDeepCloneFiler},
                                     {copy, OdDb::FilerType::kIdXlateFiler}}));
}

TEST_F(DeepClone, ClonesOnlyWhatWasFiledWhileTheBaseOperationRan)
{
    const OdDbObjectId source = addNode(1);
    const OdDbObjectId kept = addBag(2);
    const OdDbObjectId dropped = addBag(3);
    own(source, kept);
    own(source, dropped);
    CloneNode::s_onClone = [&](CloneNode const& node, OdDbIdMapping& mapping, OdDbObject* owner,
                               bool isPrimary) {
        auto& open = const_cast<CloneNode&>(node);
        const OdDbObjectIdArray all = open.ids(kHardOwner);
        open.disableUndoRecording(true);
        writeBag(node.objectId())->setIds(kHardOwner, {kept});
        const OdDbObjectPtr copy = node.TestBag::subDeepClone(mapping, owner, isPrimary);
        writeBag(node.objectId())->setIds(kHardOwner, all);
        return copy;
    };
    const OdDbObjectId copy = clone(source)->objectId();
    EXPECT_EQ(idsOf(copy, kHardOwner), OdDbObjectIdArray{cloneOf(kept)});
    EXPECT_TRUE(cloneOf(dropped).isNull());
    EXPECT_EQ(idsOf(source, kHardOwner), (OdDbObjectIdArray{kept, dropped}));
}

TEST_F(DeepClone, CallsAppendToOwnerForPrimaryClonesAloneWithTheOwnerOpenForWrite)
{
    const OdDbObjectId owner = addBag();
    const OdDbObjectId source = addNode(1);
    const OdDbObjectId child = addNode(2);
    own(source, child);
    std::vector<OdDbObjectId> appended;
    CloneNode::s_onAppend = [&](CloneNode& node, OdDbIdPair& pair, OdDbObject* given) {
        appended.push_back(pair.key());
        EXPECT_EQ(given->objectId(), owner);
        EXPECT_TRUE(given->isWriteEnabled());
        EXPECT_EQ(node.ownerId(), owner);
        EXPECT_EQ(pair.value(), node.objectId());
        static_cast<TestBag*>(given)->setIds(kHardOwner, {node.objectId()});
    };
    const OdDbObjectId copy = clone(source, owner)->objectId();
    EXPECT_EQ(appended, std::vector{source});
    EXPECT_EQ(idsOf(owner, kHardOwner), OdDbObjectIdArray{copy});
    EXPECT_FALSE(readBag(owner)->isWriteEnabled());
}

TEST_F(DeepClone, KeepsAnAppendedIdWhenTheOwnerIsACloneItself)
{
    const OdDbObjectId manager = addBag(1);
    const OdDbObjectId link = addNode(2);
    const OdDbObjectId holder = addNode(3);
    own(holder, manager);
    CloneNode::s_onAppend = [](CloneNode& node, OdDbIdPair&, OdDbObject* owner) {
        static_cast<TestBag*>(owner)->setIds(kHardOwner, {node.objectId()});
    };
    CloneNode::s_onClone = [&](CloneNode const& node, OdDbIdMapping& mapping, OdDbObject* owner,
                               bool isPrimary) {
        const OdDbObjectPtr copy = node.TestBag::subDeepClone(mapping, owner, isPrimary);
        if (node.objectId() == holder) {
            const OdDbObjectPtr managerCopy = cloneOf(manager).safeOpenObject();
            EXPECT_FALSE(
                link.safeOpenObject()->deepClone(mapping, managerCopy.get(), true).isNull());
        }
        return copy;
    };
    const OdDbObjectId ownerOfAll = addBag();
    CloneNode::s_onAppend = [&](CloneNode& node, OdDbIdPair&, OdDbObject* owner) {
        if (owner->objectId() != ownerOfAll) {
            static_cast<TestBag*>(owner)->setIds(kHardOwner, {node.objectId()});
        }
    };
    (void)clone(holder, ownerOfAll);
    EXPECT_EQ(idsOf(cloneOf(manager), kHardOwner), OdDbObjectIdArray{cloneOf(link)});
}

TEST_F(DeepClone, JoinsTheOperationThatIsUnderWay)
{
    const OdDbObjectId source = addNode(1);
    const OdDbObjectId joined = addBag(2);
    const OdDbObjectId late = addBag(3);
    own(source, late);
    refer(joined, kSoftPointer, late);
    CloneNode::s_onClone = [&](CloneNode const& node, OdDbIdMapping& mapping, OdDbObject* owner,
                               bool isPrimary) {
        const OdDbObjectPtr first =
            joined.safeOpenObject()->deepClone(mapping, nullptr, /*isPrimary=*/false);
        EXPECT_EQ(static_cast<TestBag&>(*first).ids(kSoftPointer), OdDbObjectIdArray{late})
            << "translation comes last";
        return node.TestBag::subDeepClone(mapping, owner, isPrimary);
    };
    (void)clone(source);
    EXPECT_EQ(idsOf(cloneOf(joined), kSoftPointer), OdDbObjectIdArray{cloneOf(late)});
}

TEST_F(DeepClone, TranslatesAtTheEndOfEachCallThatStandsAlone)
{
    const OdDbObjectId first = addBag(1);
    const OdDbObjectId second = addBag(2);
    refer(first, kSoftPointer, second);
    refer(second, kSoftPointer, first);
    const OdDbObjectId firstCopy = clone(first)->objectId();
    EXPECT_EQ(idsOf(firstCopy, kSoftPointer), OdDbObjectIdArray{second}) << "not cloned then";
    const OdDbObjectId secondCopy = clone(second)->objectId();
    EXPECT_EQ(idsOf(secondCopy, kSoftPointer), OdDbObjectIdArray{firstCopy});
}

TEST_F(DeepClone, EndsRingsOfOwnership)
{
    const OdDbObjectId first = addBag(1);
    const OdDbObjectId second = addBag(2);
    own(first, second);
    own(second, first);
    own(second, second);
    const OdDbObjectId copy = clone(first)->objectId();
    EXPECT_EQ(m_mapping->size(), 2U);
    EXPECT_EQ(idsOf(copy, kHardOwner), OdDbObjectIdArray{cloneOf(second)});
    EXPECT_EQ(idsOf(cloneOf(second), kHardOwner), (OdDbObjectIdArray{copy, cloneOf(second)}));
}

TEST_F(DeepClone, ClonesChainsOfOwnersOfAnyLength)
{
    constexpr int kLength = 20'000;
    const OdDbObjectId first = addBag(0);
    OdDbObjectId last = first;
    for (int number = 1; number < kLength; ++number) {
        const OdDbObjectId next = addBag(number);
        own(last, next);
        last = next;
    }
    OdDbObjectId at = clone(first)->objectId();
    EXPECT_EQ(m_mapping->size(), static_cast<std::size_t>(kLength));
    for (int number = 0; number < kLength; ++number) {
        ASSERT_EQ(numberOf(at), number);
        const OdDbObjectIdArray owned = idsOf(at, kHardOwner);
        ASSERT_EQ(owned.size(), number + 1 < kLength ? 1U : 0U);
        if (!owned.isEmpty()) {
            ASSERT_EQ(ownerOf(owned.at(0)), at);
            at = owned.at(0);
        }
    }
}

TEST_F(DeepClone, ClonesTheExtensionDictionaryLastAndItsEntriesInOrderOfNames)
{
    const OdDbObjectId source = addNode(1);
    {
        const OdDbObjectPtr open = source.safeOpenObject(OdDb::kForWrite);
        open->createExtensionDictionary();
    }
    const OdDbObjectId dictionary = readBag(source)->extensionDictionary();
    const CloneNodePtr b = CloneNode::createObject();
    b->setNumber(12);
    writeDictionary(dictionary)->setAt(L"B", b.get());
    const CloneNodePtr a = CloneNode::createObject();
    a->setNumber(11);
    writeDictionary(dictionary)->setAt(L"a", a.get());
    own(source, addNode(2));
    std::vector<int> order;
    CloneNode::s_onClone = [&](CloneNode const& node, OdDbIdMapping& mapping, OdDbObject* owner,
                               bool isPrimary) {
        order.push_back(node.number());
        return node.TestBag::subDeepClone(mapping, owner, isPrimary);
    };
    const OdDbObjectId copy = clone(source)->objectId();
    EXPECT_EQ(order, (std::vector{1, 2, 11, 12}));
    const OdDbObjectId copied = readBag(copy)->extensionDictionary();
    EXPECT_EQ(copied, cloneOf(dictionary));
    EXPECT_EQ(ownerOf(copied), copy);
    EXPECT_EQ(numberOf(entryOf(copied, L"A")), 11);
    EXPECT_EQ(entryOf(copied, L"b"), cloneOf(b->objectId()));
    EXPECT_EQ(entryOf(dictionary, L"b"), b->objectId());
}

TEST_F(DeepClone, TranslatesReactorsAndTellsThoseOfTheSource)
{
    const OdDbObjectId source = addBag(1);
    const OdDbObjectId inside = addNode(2);
    const OdDbObjectId outside = addNode(3);
    own(source, inside);
    watch(source, inside);
    watch(source, outside);
    const OdDbObjectId copy = clone(source)->objectId();
    EXPECT_EQ(readBag(copy)->getPersistentReactors(),
              (OdDbObjectIdArray{cloneOf(inside), outside}));
    using Told = std::vector<std::pair<OdDbObjectId, OdDbObjectId>>;
    EXPECT_EQ(CloneNode::s_copied, (Told{{source, copy}, {source, copy}}));
    EXPECT_EQ(CloneNode::s_modified, (Told{{cloneOf(inside), copy}, {outside, copy}}))
        << "of the clone itself, when it closes";
}

TEST_F(DeepClone, KeepsExtendedData)
{
    m_db->newRegApp(L"APP");
    const OdDbObjectId source = addBag(1);
    const OdResBufPtr chain = OdResBuf::newRb(1001);
    chain->setString(L"APP");
    const OdResBufPtr value = OdResBuf::newRb(1000);
    value->setString(L"value");
    chain->setNext(value.get());
    writeBag(source)->setXData(chain.get());
    const OdDbObjectPtr copy = clone(source);
    ASSERT_FALSE(copy->xData(L"APP").isNull());
    EXPECT_EQ(copy->xData(L"APP")->next()->getString(), L"value");
}

TEST_F(DeepClone, FinishesEachCloneWhenItsReferencesAreFinal)
{
    const OdDbObjectId source = addNode(1);
    refer(source, kSoftPointer, source);
    CloneNode::s_onFinished = [](CloneNode& node, OdDbIdMapping&) {
        EXPECT_EQ(node.ids(kSoftPointer), OdDbObjectIdArray{node.objectId()});
        node.setNumber(99);
    };
    EXPECT_EQ(static_cast<TestBag&>(*clone(source)).number(), 99);
    EXPECT_EQ(numberOf(source), 1);
}

TEST_F(DeepClone, MapsTheOwnerOfACloneThatWasGivenNone)
{
    const OdDbObjectId owner = addBag(1);
    const OdDbObjectId child = addBag(2);
    child.safeOpenObject(OdDb::kForWrite)->setOwnerId(owner);
    const OdDbObjectId alone = clone(child)->objectId();
    EXPECT_TRUE(ownerOf(alone).isNull());
    m_mapping = OdDbIdMapping::createObject();
    const OdDbObjectId ownerCopy = clone(owner)->objectId();
    const OdDbObjectId copy = clone(child)->objectId();
    EXPECT_EQ(ownerOf(copy), ownerCopy);
    OdDbIdPair pair(child);
    ASSERT_TRUE(m_mapping->compute(pair));
    EXPECT_FALSE(pair.isOwnerTranslated());
}

TEST_F(DeepClone, RefusesWhatIsInNoDatabaseClosedOrOfAnotherDatabase)
{
    const TestBagPtr loose = TestBag::createObject();
    EXPECT_EQ(thrownCode([&] { loose->deepClone(*m_mapping, nullptr); }), kOdNotInDatabase);
    const OdDbObjectId source = addBag(1);
    OdDbObject* closed = source.openObject().get();
    EXPECT_EQ(thrownCode([&] { closed->deepClone(*m_mapping, nullptr); }), kOdNotOpenForRead);
    const OdDbObjectPtr open = source.openObject();
    EXPECT_EQ(thrownCode([&] { open->deepClone(*m_mapping, loose.get()); }), kOdNotInDatabase);
    const OdDbObjectPtr foreign = m_other->getModelSpaceId().openObject();
    EXPECT_EQ(thrownCode([&] { open->deepClone(*m_mapping, foreign.get()); }), kOdWrongDatabase);
    const OdDbObjectId erased = addBag();
    eraseObject(erased);
    const OdDbObjectPtr gone = erased.openObject(OdDb::kForRead, /*openErased=*/true);
    EXPECT_EQ(thrownCode([&] { open->deepClone(*m_mapping, gone.get()); }), kOdWasErased);
    EXPECT_TRUE(gone->deepClone(*m_mapping, nullptr).isNull());
    const OdDbObjectPtr layers = m_db->getLayerTableId().openObject();
    EXPECT_EQ(thrownCode([&] { open->deepClone(*m_mapping, layers.get()); }),
              kOdNotThatKindOfClass);
    EXPECT_EQ(m_mapping->size(), 0U);
}

TEST_F(DeepClone, LeavesEverythingAsItWasWhenItFails)
{
    const OdDbObjectId block = addBlock(*m_db, L"b");
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    const OdDbObjectId source = addBag(1);
    const OdDbObjectId child = addNode(2);
    const OdDbObjectId reactor = addNode(3);
    own(source, child);
    watch(source, reactor);
    for (const bool records : {false, true}) {
        if (records) {
            m_db->startUndoRecord();
        }
        for (const OdDb::FilerType failing :
             {OdDb::FilerType::kDeepCloneFiler, OdDb::FilerType::kIdXlateFiler}) {
            CloneNode::s_onFiledOut = [&](OdDb::FilerType type, CloneNode const&) {
                if (type == failing) {
                    throw OdError(kOdOutOfMemory);
                }
            };
            const DatabaseState before = livingStateOf(*m_db);
            m_mapping = OdDbIdMapping::createObject();
            EXPECT_EQ(thrownCode([&] {
                          m_db->deepCloneObjects({line, source}, block, *m_mapping);
                      }),
                      kOdOutOfMemory);
            EXPECT_EQ(livingStateOf(*m_db), before);
            EXPECT_EQ(m_mapping->size(), 0U);
            EXPECT_TRUE(CloneNode::s_copied.empty() && CloneNode::s_modified.empty());
            CloneNode::s_onFiledOut = nullptr;
            (void)m_asserts.take();  // failing to tidy up a clone is reported
            m_db->deepCloneObjects({line}, block, *m_mapping);
            EXPECT_EQ(entitiesOf(block).last(), cloneOf(line));
            eraseObject(cloneOf(line));
        }
    }
}

TEST_F(DeepClone, TakesBackClonesEvenWhileRecordingIsStopped)
{
    const OdDbObjectId block = addBlock(*m_db, L"b");
    const OdDbObjectId source = addBag(1);
    const OdDbObjectId child = addNode(2);
    own(source, child);
    CloneNode::s_onClone = [](auto&&...) -> OdDbObjectPtr { throw OdError(kOdOutOfMemory); };
    m_db->disableUndoRecording(true);
    const DatabaseState before = livingStateOf(*m_db);
    EXPECT_EQ(thrownCode([&] { m_db->deepCloneObjects({source}, block, *m_mapping); }),
              kOdOutOfMemory);
    EXPECT_EQ(livingStateOf(*m_db), before);
}

// ---------------------------------------------------------------------------------------------

class DeepCloneObjects : public CloneTest
{
};

TEST_F(DeepCloneObjects, AppendsEntitiesToABlockInTheirOrder)
{
    const OdDbObjectId space = m_db->getModelSpaceId();
    const OdDbObjectId block = addBlock(*m_db, L"target");
    const OdDbObjectId present = addLine(block, 9.0);
    OdDbObjectIdArray lines;
    for (int index = 0; index < 5; ++index) {
        lines.append(addLine(space, index));
    }
    m_mapping->setDeepCloneContext(OdDb::DeepCloneType::kDcInsert);
    m_db->deepCloneObjects({lines.at(3), lines.at(1), lines.at(3)}, block, *m_mapping);
    EXPECT_EQ(entitiesOf(block),
              (OdDbObjectIdArray{present, cloneOf(lines.at(3)), cloneOf(lines.at(1))}));
    EXPECT_EQ(entitiesOf(space), lines);
    EXPECT_EQ(ownerOf(cloneOf(lines.at(1))), block);
    EXPECT_EQ(OdDbLinePtr(cloneOf(lines.at(3)).safeOpenObject())->startPoint().x, 3.0);
    EXPECT_EQ(m_mapping->deepCloneContext(), OdDb::DeepCloneType::kDcCopy);
    EXPECT_EQ(cloneOf(space), block) << "what refers to the block refers to the new one";
}

TEST_F(DeepCloneObjects, PassesOverNullErasedAndMissingIds)
{
    const OdDbObjectId block = addBlock(*m_db, L"target");
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    const OdDbObjectId erased = addLine(m_db->getModelSpaceId(), 2.0);
    eraseObject(erased);
    const OdDbObjectId missing = m_db->getOdDbObjectId(OdDbHandle(99'999), /*create=*/true);
    m_db->deepCloneObjects({OdDbObjectId::kNull, erased, missing, line}, block, *m_mapping);
    EXPECT_EQ(entitiesOf(block), OdDbObjectIdArray{cloneOf(line)});
    m_db->deepCloneObjects({}, block, *m_mapping);
    EXPECT_EQ(entitiesOf(block).size(), 1U);
}

TEST_F(DeepCloneObjects, RefusesForeignIdsAndOwnersThatAreNoGood)
{
    const OdDbObjectId block = addBlock(*m_db, L"target");
    const OdDbObjectId foreign = addLine(m_other->getModelSpaceId(), 1.0);
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    const auto code = [&](OdDbObjectIdArray const& ids, OdDbObjectId owner) {
        return thrownCode([&] { m_db->deepCloneObjects(ids, owner, *m_mapping); });
    };
    EXPECT_EQ(code({line, foreign}, block), kOdWrongDatabase);
    EXPECT_EQ(code({line}, m_other->getModelSpaceId()), kOdWrongDatabase);
    EXPECT_EQ(code({line}, OdDbObjectId::kNull), kOdNullObjectId);
    EXPECT_EQ(code({line}, m_db->getLayerTableId()), kOdNotThatKindOfClass);
    EXPECT_EQ(m_db->numActiveTransactions(), 0);
    eraseObject(block);
    EXPECT_EQ(code({line}, block), kOdWasErased);
    EXPECT_TRUE(entitiesOf(m_db->getModelSpaceId()) == OdDbObjectIdArray{line});
}

TEST_F(DeepCloneObjects, PutsTranslationOffWhenAskedTo)
{
    const OdDbObjectId owner = addBag();
    const OdDbObjectId first = addBag(1);
    const OdDbObjectId second = addBag(2);
    refer(first, kSoftPointer, second);
    m_db->deepCloneObjects({first}, owner, *m_mapping, /*defersTranslation=*/true);
    EXPECT_EQ(idsOf(cloneOf(first), kSoftPointer), OdDbObjectIdArray{second});
    m_db->deepCloneObjects({second}, owner, *m_mapping);
    EXPECT_EQ(idsOf(cloneOf(first), kSoftPointer), OdDbObjectIdArray{cloneOf(second)});
}

TEST_F(DeepCloneObjects, TranslatesAtTheLatestWhenTheMappingGoes)
{
    const OdDbObjectId owner = addBag();
    const OdDbObjectId source = addBag(1);
    refer(source, kSoftPointer, source);
    m_db->deepCloneObjects({source}, owner, *m_mapping, /*defersTranslation=*/true);
    const OdDbObjectId copy = cloneOf(source);
    m_mapping.release();
    EXPECT_EQ(idsOf(copy, kSoftPointer), OdDbObjectIdArray{copy});
    EXPECT_FALSE(readBag(copy)->isWriteEnabled());
}

TEST_F(DeepCloneObjects, GivesEntriesOfADictionaryTheirNamesOrNewOnes)
{
    const OdDbObjectId from = addDictionary(m_db->getNamedObjectsDictionaryId(), L"from");
    const OdDbObjectId to = addDictionary(m_db->getNamedObjectsDictionaryId(), L"to");
    const TestBagPtr a = TestBag::createObject();
    const TestBagPtr b = TestBag::createObject();
    const TestBagPtr hidden = TestBag::createObject();
    const OdDbObjectId idA = writeDictionary(from)->setAt(L"a", a.get());
    const OdDbObjectId idB = writeDictionary(from)->setAt(L"b", b.get());
    const OdDbObjectId idHidden = writeDictionary(from)->setAt(L"", hidden.get());
    const OdDbObjectId unnamed = addBag();
    const OdDbObjectId present = writeDictionary(to)->setAt(L"A", TestBag::createObject().get());
    m_db->deepCloneObjects({idA, idB, idHidden, unnamed}, to, *m_mapping);
    EXPECT_EQ(entryOf(to, L"a"), present);
    EXPECT_EQ(entryOf(to, L"$0$a"), cloneOf(idA));
    EXPECT_EQ(entryOf(to, L"b"), cloneOf(idB));
    const OdDbDictionaryPtr target = to.openObject();
    EXPECT_EQ(target->numEntries(), 5U);
    EXPECT_TRUE(target->has(cloneOf(idHidden)));
    EXPECT_TRUE(target->has(cloneOf(unnamed)));
}

TEST_F(DeepCloneObjects, ClonesADictionaryIntoAnEntryOfItselfOnce)
{
    const OdDbObjectId outer = addDictionary(m_db->getNamedObjectsDictionaryId(), L"outer");
    const OdDbObjectId inner = addDictionary(outer, L"inner");
    m_db->deepCloneObjects({outer}, inner, *m_mapping);
    const OdDbObjectId copy = entryOf(inner, L"outer");
    EXPECT_EQ(copy, cloneOf(outer));
    EXPECT_EQ(entryOf(copy, L"inner"), cloneOf(inner));
    EXPECT_EQ(m_mapping->size(), 2U);
}

TEST_F(DeepCloneObjects, ClonesABlockUnderANameMadeOfItsOwn)
{
    const OdDbObjectId block = addBlock(*m_db, L"part");
    const OdDbObjectId line = addLine(block, 1.0);
    m_db->deepCloneObjects({block}, m_db->getBlockTableId(), *m_mapping);
    const OdDbObjectId copy = recordOf(m_db->getBlockTableId(), L"$0$part");
    EXPECT_EQ(copy, cloneOf(block));
    EXPECT_EQ(entitiesOf(copy), OdDbObjectIdArray{cloneOf(line)});
    EXPECT_EQ(ownerOf(cloneOf(line)), copy);
}

TEST_F(DeepCloneObjects, IsUndoneAndDoneAgain)
{
    const OdDbObjectId block = addBlock(*m_db, L"target");
    const OdDbObjectId source = addBag(1);
    own(source, addBag(2));
    source.safeOpenObject(OdDb::kForWrite)->createExtensionDictionary();
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    const DatabaseState before = livingStateOf(*m_db);
    m_db->startUndoRecord();
    m_db->deepCloneObjects({line, source}, block, *m_mapping);
    const DatabaseState after = livingStateOf(*m_db);
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(livingStateOf(*m_db), before);
    EXPECT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(livingStateOf(*m_db), after);
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(livingStateOf(*m_db), before);
}

TEST_F(DeepCloneObjects, KeepsProxiesWithTheirReferencesTranslated)
{
    const OdDbObjectId owner = addBag(1);
    const OdDbObjectId node = addNode(5);
    const OdDbObjectId child = addBag(6);
    own(owner, node);
    own(node, child);
    refer(node, kSoftPointer, owner);
    const OdDbHandle ownerHandle = owner.getHandle();
    const OdDbHandle nodeHandle = node.getHandle();
    const OdDbHandle childHandle = child.getHandle();
    const FakeDrawingPtr drawing = saveDrawing(*m_db);
    CloneNode::rxUninit();
    {
        const OdDbDatabasePtr db = openDrawing(drawing);
        const OdDbObjectId source = db->getOdDbObjectId(ownerHandle);
        const OdDbObjectId target = db->getModelSpaceId();
        const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
        db->deepCloneObjects({source}, target, *mapping);
        OdDbIdPair pair(db->getOdDbObjectId(nodeHandle));
        ASSERT_TRUE(mapping->compute(pair));
        const OdDbProxyObjectPtr proxy = OdDbProxyObject::cast(pair.value().openObject().get());
        ASSERT_FALSE(proxy.isNull());
        EXPECT_EQ(proxy->originalClassName(), L"CloneNode");
        OdDbIdPair ownerPair(source);
        OdDbIdPair childPair(db->getOdDbObjectId(childHandle));
        ASSERT_TRUE(mapping->compute(ownerPair) && mapping->compute(childPair));
        std::vector<OdDbObjectId> referred;
        for (OdDbReference const& reference : proxy->body().references) {
            referred.push_back(reference.id);
        }
        EXPECT_EQ(std::count(referred.begin(), referred.end(), ownerPair.value()), 1);
        EXPECT_EQ(std::count(referred.begin(), referred.end(), childPair.value()), 1);
        EXPECT_EQ(readBag(childPair.value())->ownerId(), pair.value());
        saveAgain(*db, *drawing);
        EXPECT_EQ(std::count_if(drawing->classes.begin(), drawing->classes.end(),
                                [](OdDbClassRecord const& record) {
                                    return record.name == L"OdDbProxyObject";
                                }),
                  0);
    }
    CloneNode::rxInit();
    const OdDbDatabasePtr db = openDrawing(drawing);
    int nodes = 0;
    for (OdDbHandle at = db->nextHandle(); !at.isNull(); at = db->nextHandle(at)) {
        const CloneNodePtr found = CloneNode::cast(db->getOdDbObjectId(at).openObject().get());
        if (!found.isNull()) {
            ++nodes;
            EXPECT_EQ(found->number(), 5);
            EXPECT_EQ(found->ids(kSoftPointer).at(0), found->ownerId());
        }
    }
    EXPECT_EQ(nodes, 2);
}

TEST_F(DeepCloneObjects, ThatFailLeaveClonesWaitingForTranslationAsTheyWere)
{
    const OdDbObjectId owner = addBag();
    const OdDbObjectId first = addBag(1);
    const OdDbObjectId second = addBag(2);
    const OdDbObjectId failing = addNode(3);
    refer(first, kSoftPointer, second);
    m_db->deepCloneObjects({first}, owner, *m_mapping, /*defersTranslation=*/true);
    CloneNode::s_onFinished = [](CloneNode&, OdDbIdMapping&) { throw OdError(kOdOutOfMemory); };
    EXPECT_EQ(thrownCode([&] {
                  m_db->deepCloneObjects({second, failing}, owner, *m_mapping);
              }),
              kOdOutOfMemory);
    CloneNode::s_onFinished = nullptr;
    EXPECT_EQ(idsOf(cloneOf(first), kSoftPointer), OdDbObjectIdArray{second});
    m_db->deepCloneObjects({second}, owner, *m_mapping);
    EXPECT_EQ(idsOf(cloneOf(first), kSoftPointer), OdDbObjectIdArray{cloneOf(second)});
}

TEST_F(DeepCloneObjects, TellsReactorsThatMayStartOperationsOfTheirOwn)
{
    const OdDbObjectId owner = addBag();
    const OdDbObjectId source = addBag(1);
    const OdDbObjectId reactor = addReactor();
    watch(source, reactor);
    TestReactor& told = DatabaseTest::reactor(reactor);
    int rounds = 0;
    told.onNotice = [&](TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kModified && object.objectId() == cloneOf(source) &&
            rounds++ == 0) {
            m_db->deepCloneObjects({owner}, source, *m_mapping);
        }
    };
    m_db->deepCloneObjects({source}, owner, *m_mapping);
    told.onNotice = nullptr;
    EXPECT_EQ(rounds, 1);
    EXPECT_FALSE(cloneOf(owner).isNull());
}

// ---------------------------------------------------------------------------------------------

class CopyBlock : public CloneTest
{
};

TEST_F(CopyBlock, ClonesABlockUnderAGivenOrANewName)
{
    const OdDbObjectId block = addBlock(*m_db, L"part");
    const OdDbObjectId line = addLine(block, 1.0);
    const OdDbObjectId copy = m_db->copyBlock(block, L"copy", *m_mapping);
    EXPECT_EQ(copy, recordOf(m_db->getBlockTableId(), L"copy"));
    EXPECT_EQ(entitiesOf(copy), OdDbObjectIdArray{cloneOf(line)});
    EXPECT_EQ(m_mapping->deepCloneContext(), OdDb::DeepCloneType::kDcBlock);
    EXPECT_TRUE(m_db->copyBlock(block, L"again", *m_mapping).isNull());
    m_mapping = OdDbIdMapping::createObject();
    const OdDbObjectId unnamed = m_db->copyBlock(block, L"*U", *m_mapping);
    EXPECT_EQ(OdDbBlockTableRecordPtr(unnamed.safeOpenObject())->getName().left(2), L"*U");
}

TEST_F(CopyBlock, RefusesATakenNameAndWhatIsNoBlock)
{
    const OdDbObjectId block = addBlock(*m_db, L"part");
    const DatabaseState before = livingStateOf(*m_db);
    EXPECT_EQ(thrownCode([&] { m_db->copyBlock(block, L"PART", *m_mapping); }), kOdDuplicateName);
    EXPECT_EQ(thrownCode([&] { m_db->copyBlock(m_db->getLayerZeroId(), L"x", *m_mapping); }),
              kOdNotThatKindOfClass);
    EXPECT_EQ(thrownCode([&] { m_db->copyBlock(m_other->getModelSpaceId(), L"x", *m_mapping); }),
              kOdWrongDatabase);
    EXPECT_EQ(livingStateOf(*m_db), before);
}

}  // namespace
