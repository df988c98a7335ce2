// Cloning with classes, mappings and drawings that don't behave.

#include "db/clone_test_support.h"

#include <optional>
#include <stdexcept>

using namespace dbtest;

namespace {

constexpr auto kSoftPointer = OdDb::ReferenceType::kSoftPointerRef;
constexpr auto kHardPointer = OdDb::ReferenceType::kHardPointerRef;
constexpr auto kHardOwner = OdDb::ReferenceType::kHardOwnershipRef;
using Style = OdDb::DuplicateRecordCloning;

// ---------------------------------------------------------------------------------------------
// The mapping

class CloneMapping : public CloneTest
{
protected:
    /// Leaves the clone of a node waiting for its translation.
    OdDbObjectId cloneDeferred(OdDbIdMapping& mapping)
    {
        const OdDbObjectId node = addNode(1);
        m_db->deepCloneObjects({node}, addNode(0), mapping, /*defersTranslation=*/true);
        OdDbIdPair pair(node);
        return mapping.compute(pair) ? pair.value() : OdDbObjectId::kNull;
    }
};

TEST_F(CloneMapping, MayBeHeldByAClassWhileItsLastReferenceGoes)
{
    const OdDbObjectId clone = cloneDeferred(*m_mapping);
    std::size_t walked = 0;
    CloneNode::s_onFinished = [&](CloneNode&, OdDbIdMapping& mapping) {
        const OdDbIdMappingPtr held(&mapping);
        for (const auto at = held->newIterator(); !at->done(); at->next()) {
            ++walked;
        }
    };
    m_mapping.release();
    EXPECT_EQ(walked, 1U);
    EXPECT_FALSE(clone.isErased());
    m_mapping = OdDbIdMapping::createObject();
}

TEST_F(CloneMapping, LivesOnForAClassThatKeepsItWhenItsLastReferenceGoes)
{
    (void)cloneDeferred(*m_mapping);
    OdDbIdMappingPtr kept;
    CloneNode::s_onFinished = [&](CloneNode&, OdDbIdMapping& mapping) { kept = &mapping; };
    m_mapping.release();
    ASSERT_FALSE(kept.isNull());
    EXPECT_EQ(kept->size(), 1U);
    EXPECT_EQ(kept->numRefs(), 1);
    m_mapping = OdDbIdMapping::createObject();
}

TEST_F(CloneMapping, OnTheStackTranslatesAtItsEndAndMayBeHeldMeanwhile)
{
    OdDbObjectId clone;
    int finished = 0;
    CloneNode::s_onFinished = [&](CloneNode&, OdDbIdMapping& mapping) {
        const OdDbIdMappingPtr held(&mapping);
        finished += held->size() == 1 ? 1 : 0;
    };
    {
        OdStaticRxObject<OdDbIdMapping> mapping;
        clone = cloneDeferred(mapping);
    }
    EXPECT_EQ(finished, 1);
    EXPECT_FALSE(clone.isErased());
}

TEST_F(CloneMapping, GoingTakesBackClonesThatCanNotBeTranslated)
{
    const DatabaseState before = livingStateOf(*m_other);
    const OdDbObjectId layer = addLayer(*m_db, L"walls", L"source");
    const OdDbObjectId node = addNode(1);
    refer(node, kHardPointer, layer);
    m_db->wblockCloneObjects({node}, m_other->getModelSpaceId(), *m_mapping, Style::kDrcIgnore,
                             /*defersTranslation=*/true);
    CloneNode::s_onFinished = [](CloneNode&, OdDbIdMapping&) {
        throw std::runtime_error("no clone of this kind");
    };
    m_mapping.release();
    EXPECT_FALSE(m_asserts.take().empty());
    EXPECT_EQ(livingStateOf(*m_other), before);
    m_mapping = OdDbIdMapping::createObject();
}

TEST_F(CloneMapping, MayLoseItsLastReferenceInTheMiddleOfItsOperation)
{
    const OdDbObjectId node = addNode(1);
    const OdDbObjectId owner = addNode(0);
    OdDbIdMapping& mapping = *m_mapping;
    CloneNode::s_onFinished = [&](CloneNode&, OdDbIdMapping&) { m_mapping.release(); };
    m_db->deepCloneObjects({node}, owner, mapping);
    EXPECT_TRUE(m_mapping.isNull());
    m_mapping = OdDbIdMapping::createObject();
}

TEST_F(CloneMapping, KeepsEveryDatabaseThatItKnowsIdsOf)
{
    const OdDbObjectId line = addLine(m_db->getModelSpaceId(), 1.0);
    const OdDbObjectId inner = addBlock(*m_other, L"inner");
    m_db->wblockCloneObjects({line}, inner, *m_mapping, Style::kDrcIgnore);
    OdDbDatabasePtr third = OdDbDatabase::createObject();
    const OdDbObjectId clone = cloneOf(line);
    m_db.release();
    m_other->wblockCloneObjects({clone}, third->getModelSpaceId(), *m_mapping, Style::kDrcIgnore);
    EXPECT_EQ(cloneOf(clone).database(), third.get());
    third.release();
    EXPECT_EQ(OdDbDatabase::liveCount(), 3);
    for (const auto at = m_mapping->newIterator(); !at->done(); at->next()) {
        EXPECT_FALSE(at->getMap().key().getHandle().isNull());
    }
    EXPECT_EQ(cloneOf(line), clone);
    m_mapping.release();
    EXPECT_EQ(OdDbDatabase::liveCount(), 1);
    m_mapping = OdDbIdMapping::createObject();
}

TEST_F(CloneMapping, DoesNotLetAClassChangeTheDatabasesOfAnOperation)
{
    const OdDbObjectId node = addNode(1);
    const OdDbObjectId child = addNode(2);
    own(node, child);
    CloneNode::s_onClone = [](CloneNode const& source, OdDbIdMapping& mapping, OdDbObject* owner,
                              bool isPrimary) {
        mapping.setOrigDb(nullptr);
        mapping.setDestDb(nullptr);
        return source.TestBag::subWblockClone(mapping, owner, isPrimary);
    };
    m_db->wblockCloneObjects({node}, addNodeTo(*m_other, 0), *m_mapping, Style::kDrcIgnore);
    EXPECT_EQ(cloneOf(node).database(), m_other.get());
    EXPECT_EQ(ownerOf(cloneOf(child)), cloneOf(node));
}

TEST_F(CloneMapping, OfAFailedOperationIsAsItWasBefore)
{
    const OdDbObjectId space = m_db->getModelSpaceId();
    const OdDbObjectId line = addLine(space, 1.0);
    const OdDbObjectId failing = addNode(1);
    const OdDbObjectId target = addBlock(*m_other, L"target");
    m_db->wblockCloneObjects({line}, m_other->getModelSpaceId(), *m_mapping, Style::kDrcIgnore);
    ASSERT_EQ(cloneOf(space), m_other->getModelSpaceId());
    const OdDbObjectId second = addLine(space, 2.0);
    const std::size_t size = m_mapping->size();
    CloneNode::s_onFinished = [](CloneNode&, OdDbIdMapping&) { throw OdError(kOdOutOfMemory); };
    EXPECT_EQ(
        thrownCode([&] {
            m_db->wblockCloneObjects({second, failing}, target, *m_mapping, Style::kDrcIgnore);
        }),
        kOdOutOfMemory);
    EXPECT_EQ(m_mapping->size(), size);
    EXPECT_EQ(cloneOf(space), m_other->getModelSpaceId());
    EXPECT_TRUE(cloneOf(second).isNull());
    EXPECT_FALSE(m_mapping->isValue(target));
}

// ---------------------------------------------------------------------------------------------
// Classes that go on after a failure

class CloneFailure : public CloneTest
{
protected:
    void TearDown() override
    {
        TestBag::s_readError = kOdOk;
        TestBag::s_readResult = kOdOk;
        CloneTest::TearDown();
    }
    /// Lets the clone of the node with a number fail by `fail`, and somebody above go on without it.
    static void failAt(std::int32_t number, std::function<void()> const& fail, std::int32_t catcher)
    {
        CloneNode::s_onClone = [=](CloneNode const& source, OdDbIdMapping& mapping,
                                   OdDbObject* owner, bool isPrimary) -> OdDbObjectPtr {
            const auto clone = [&] {
                return mapping.origDb() == mapping.destDb()
                           ? source.TestBag::subDeepClone(mapping, owner, isPrimary)
                           : source.TestBag::subWblockClone(mapping, owner, isPrimary);
            };
            if (source.number() == number) {
                fail();
            }
            if (source.number() != catcher) {
                return clone();
            }
            try {
                return clone();
            } catch (OdError const&) {
                TestBag::s_readError = kOdOk;
                TestBag::s_readResult = kOdOk;
                return OdDbObjectPtr();
            }
        };
    }
};

TEST_F(CloneFailure, ThatAClassGoesOnAfterLeavesNoHalfMadeClone)
{
    struct Case
    {
        char const* name;
        std::function<void()> fail;
    };
    const Case cases[] = {
        {"the clone can't be read", [] { TestBag::s_readError = kOdBadStream; }},
        {"the clone is read in part", [] { TestBag::s_readResult = kOdNotApplicable; }},
        {"cloning throws", [] { throw OdError(kOdOutOfMemory); }},
    };
    for (Case const& one : cases) {
        SCOPED_TRACE(one.name);
        const OdDbObjectId root = addNode(1);
        const OdDbObjectId catcher = addNode(2);
        const OdDbObjectId failing = addNode(3);
        const OdDbObjectId below = addNode(4);
        own(root, catcher);
        own(catcher, failing);
        own(failing, below);
        const OdDbObjectId other = addNode(5);
        own(root, other);
        refer(other, kSoftPointer, catcher);
        const std::size_t before = livingStateOf(*m_db).size();
        m_mapping = OdDbIdMapping::createObject();
        failAt(3, one.fail, 2);
        m_db->deepCloneObjects({root}, addNode(0), *m_mapping);
        (void)m_asserts.take();  // taking back what can't be read is reported
        // A new owner, and clones of the two nodes that have nothing to do with the failure.
        EXPECT_EQ(livingStateOf(*m_db).size(), before + 3);
        EXPECT_TRUE(cloneOf(catcher).isNull());
        EXPECT_TRUE(cloneOf(failing).isNull());
        EXPECT_EQ(idsOf(cloneOf(root), kHardOwner).size(), 2U);
        EXPECT_TRUE(idsOf(cloneOf(root), kHardOwner).at(0).isNull());
        // Without a counterpart a pointer stays inside one database.
        EXPECT_EQ(idsOf(cloneOf(other), kSoftPointer).at(0), catcher);
    }
}

TEST_F(CloneFailure, ThatAClassGoesOnAfterCanBeTriedAgainInTheSameOperation)
{
    const OdDbObjectId node = addNode(1);
    int tries = 0;
    CloneNode::s_onClone = [&](CloneNode const& source, OdDbIdMapping& mapping, OdDbObject* owner,
                               bool isPrimary) -> OdDbObjectPtr {
        TestBag::s_readError = ++tries < 3 ? kOdBadStream : kOdOk;
        try {
            return source.TestBag::subDeepClone(mapping, owner, isPrimary);
        } catch (OdError const&) {
            return source.deepClone(mapping, owner, isPrimary);
        }
    };
    const OdDbObjectId owner = addNode(0);
    const std::size_t before = livingStateOf(*m_db).size();
    m_db->deepCloneObjects({node}, owner, *m_mapping);
    (void)m_asserts.take();  // taking back what can't be read is reported
    EXPECT_EQ(tries, 3);
    EXPECT_EQ(livingStateOf(*m_db).size(), before + 1);
    EXPECT_EQ(numberOf(cloneOf(node)), 1);
}

TEST_F(CloneFailure, OfManyClonesIsTakenBackInTime)
{
    // Each of many owned nodes fails; what was cloned before must not be gone through each time.
    const OdDbObjectId root = addNode(1);
    OdDbObjectIdArray ids;
    for (int index = 0; index < 20'000; ++index) {
        ids.append(addNode(index % 2 == 0 ? 2 : 3, root));
    }
    writeBag(root)->setIds(kHardOwner, ids);
    CloneNode::s_onClone = [](CloneNode const& source, OdDbIdMapping& mapping, OdDbObject* owner,
                              bool isPrimary) -> OdDbObjectPtr {
        TestBag::s_readError = source.number() == 3 ? kOdBadStream : kOdOk;
        try {
            return source.TestBag::subDeepClone(mapping, owner, isPrimary);
        } catch (OdError const&) {
            TestBag::s_readError = kOdOk;
            return OdDbObjectPtr();
        }
    };
    m_db->deepCloneObjects({root}, addNode(0), *m_mapping);
    (void)m_asserts.take();  // taking back what can't be read is reported
    EXPECT_EQ(m_mapping->size(), 10'001U);
}

TEST_F(CloneFailure, ToReplaceAnObjectFailsTheWholeOperation)
{
    const OdDbObjectId root = addDictionary(m_db->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId source = addNode(1);
    writeDictionary(root)->setAt(L"x", source.safeOpenObject(OdDb::kForWrite).get());
    const OdDbObjectId otherRoot = addDictionary(m_other->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId present = addNodeTo(*m_other, 7);
    own(present, addNodeTo(*m_other, 8));
    writeDictionary(otherRoot)->setAt(L"x", present.safeOpenObject(OdDb::kForWrite).get());
    const DatabaseState before = livingStateOf(*m_other);
    failAt(
        1, [] { TestBag::s_readError = kOdBadStream; }, 1);
    EXPECT_EQ(thrownCode([&] {
                  m_db->wblockCloneObjects({root}, m_other->getNamedObjectsDictionaryId(),
                                           *m_mapping, Style::kDrcReplace);
              }),
              kOdBadStream);
    EXPECT_EQ(livingStateOf(*m_other), before);
}

TEST_F(CloneFailure, ToEmptyAnObjectThatIsReplacedFailsTheWholeOperation)
{
    const OdDbObjectId root = addDictionary(m_db->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId source = addNode(1);
    writeDictionary(root)->setAt(L"x", source.safeOpenObject(OdDb::kForWrite).get());
    const OdDbObjectId otherRoot = addDictionary(m_other->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId present = addNodeTo(*m_other, 7);
    const OdDbObjectId throwing = addNodeTo(*m_other, 8);
    own(present, throwing);
    own(present, addNodeTo(*m_other, 9));
    writeDictionary(otherRoot)->setAt(L"x", present.safeOpenObject(OdDb::kForWrite).get());
    resident(throwing).onSubErase = [](TestBag&, bool) -> OdResult {
        throw OdError(kOdOutOfMemory);
    };
    const DatabaseState before = livingStateOf(*m_other);
    failAt(
        0, [] {}, 1);
    EXPECT_EQ(thrownCode([&] {
                  m_db->wblockCloneObjects({root}, m_other->getNamedObjectsDictionaryId(),
                                           *m_mapping, Style::kDrcReplace);
              }),
              kOdOutOfMemory);
    EXPECT_EQ(livingStateOf(*m_other), before);
}

TEST_F(CloneFailure, ToFileWhatReplacesAnObjectFailsTheWholeOperation)
{
    const OdDbObjectId root = addDictionary(m_db->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId source = addNode(1);
    writeDictionary(root)->setAt(L"x", source.safeOpenObject(OdDb::kForWrite).get());
    const OdDbObjectId otherRoot = addDictionary(m_other->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId present = addNodeTo(*m_other, 7);
    own(present, addNodeTo(*m_other, 8));
    writeDictionary(otherRoot)->setAt(L"x", present.safeOpenObject(OdDb::kForWrite).get());
    const DatabaseState before = livingStateOf(*m_other);
    CloneNode::s_onFiledOut = [](OdDb::FilerType type, CloneNode const& node) {
        if (type == OdDb::FilerType::kWblockCloneFiler && node.number() == 1) {
            throw OdError(kOdOutOfMemory);
        }
    };
    failAt(
        0, [] {}, 1);
    EXPECT_EQ(thrownCode([&] {
                  m_db->wblockCloneObjects({root}, m_other->getNamedObjectsDictionaryId(),
                                           *m_mapping, Style::kDrcReplace);
              }),
              kOdOutOfMemory);
    EXPECT_EQ(livingStateOf(*m_other), before);
}

TEST_F(CloneFailure, CanBeUndoneAndDoneAgain)
{
    const OdDbObjectId root = addNode(1);
    own(root, addNode(2));
    const OdDbObjectId space = m_db->getModelSpaceId();
    m_db->startUndoRecord();
    const DatabaseState before = livingStateOf(*m_db);
    failAt(
        2, [] { TestBag::s_readError = kOdBadStream; }, 2);
    m_db->deepCloneObjects({root, addLine(space, 1.0)}, addBlock(*m_db, L"b"), *m_mapping);
    (void)m_asserts.take();  // taking back what can't be read is reported
    const DatabaseState after = livingStateOf(*m_db);
    ASSERT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(livingStateOf(*m_db), before);
    ASSERT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(livingStateOf(*m_db), after);
}

TEST_F(CloneFailure, OfAClassThatEndsTheOperationsTransactionIsReported)
{
    const OdDbObjectId node = addNode(1);
    const OdDbObjectId owner = addNode(0);
    const DatabaseState before = livingStateOf(*m_db);
    CloneNode::s_onFinished = [&](CloneNode&, OdDbIdMapping&) { m_db->abortTransaction(); };
    EXPECT_EQ(thrownCode([&] { m_db->deepCloneObjects({node}, owner, *m_mapping); }),
              kOdNoTransaction);
    EXPECT_FALSE(m_asserts.take().empty());
    EXPECT_EQ(m_db->numActiveTransactions(), 0);
    EXPECT_EQ(livingStateOf(*m_db), before);
    EXPECT_EQ(m_mapping->size(), 0U);
}

TEST_F(CloneFailure, OfAnUndoInTheMiddleIsRefusedToTheClass)
{
    m_db->startUndoRecord();
    const OdDbObjectId node = addNode(1);
    const OdDbObjectId owner = addNode(0);
    std::vector<OdResult> results;
    CloneNode::s_onFinished = [&](CloneNode&, OdDbIdMapping&) {
        results = {m_db->undo(), m_db->redo()};
    };
    m_db->deepCloneObjects({node}, owner, *m_mapping);
    EXPECT_EQ(results, (std::vector<OdResult>{kOdTransactionOpen, kOdTransactionOpen}));
    EXPECT_FALSE(cloneOf(node).isErased());
}

TEST_F(CloneFailure, OfAClassThatErasesWhatIsBeingClonedDoesNoHarm)
{
    const OdDbObjectId root = addNode(1);
    const OdDbObjectId child = addNode(2);
    own(root, child);
    const OdDbObjectId owner = addNode(0);
    // The owner, the clone of the root, and the clone that is being finished go one after another.
    CloneNode::s_onClone = [&](CloneNode const& source, OdDbIdMapping& mapping, OdDbObject* to,
                               bool isPrimary) -> OdDbObjectPtr {
        if (source.number() == 2) {
            eraseObject(owner);
            eraseObject(cloneOf(root));
        }
        return source.TestBag::subDeepClone(mapping, to, isPrimary);
    };
    CloneNode::s_onFinished = [&](CloneNode& node, OdDbIdMapping&) { (void)node.erase(); };
    m_db->deepCloneObjects({root}, owner, *m_mapping);
    EXPECT_TRUE(cloneOf(root).isErased());
    EXPECT_TRUE(cloneOf(child).isErased());
    EXPECT_FALSE(root.isErased());
    EXPECT_FALSE(child.isErased());
}

// ---------------------------------------------------------------------------------------------
// Drawings that nothing sensible has made

class CloneOfForgedDrawings : public CloneTest
{
protected:
    /// Dictionaries one in another, all but the first under one name.
    OdDbObjectId addTower(OdDbDatabase& db, int depth)
    {
        const OdDbObjectId root = addDictionary(db.getNamedObjectsDictionaryId(), L"root");
        OdDbObjectId at = root;
        for (int level = 1; level < depth; ++level) {
            at = addDictionary(at, L"in");
        }
        const CloneNodePtr node = CloneNode::createObject();
        node->setNumber(depth);
        writeDictionary(at)->setAt(
            db.getModelSpaceId() == m_db->getModelSpaceId() ? L"mine" : L"theirs", node.get());
        return root;
    }
};

TEST_F(CloneOfForgedDrawings, MergesDictionariesOfAnyDepth)
{
    constexpr int kDepth = 20'000;
    const OdDbObjectId root = addTower(*m_db, kDepth);
    OdDbObjectId at = addTower(*m_other, kDepth);
    m_db->wblockCloneObjects({root}, m_other->getNamedObjectsDictionaryId(), *m_mapping,
                             Style::kDrcIgnore);
    for (int level = 1; level < kDepth; ++level) {
        at = entryOf(at, L"in");
    }
    EXPECT_EQ(numberOf(entryOf(at, L"mine")), kDepth);
    EXPECT_EQ(numberOf(entryOf(at, L"theirs")), kDepth);
}

TEST_F(CloneOfForgedDrawings, EndsWhereDictionariesListOneAnother)
{
    for (OdDbDatabase* db : {m_db.get(), m_other.get()}) {
        const OdDbObjectId root = addDictionary(db->getNamedObjectsDictionaryId(), L"root");
        forgeEntry(addDictionary(root, L"inner"), L"root", root);
    }
    const OdDbObjectId root = entryOf(m_db->getNamedObjectsDictionaryId(), L"root");
    m_db->wblockCloneObjects({root}, m_other->getNamedObjectsDictionaryId(), *m_mapping,
                             Style::kDrcIgnore);
    EXPECT_EQ(cloneOf(root), entryOf(m_other->getNamedObjectsDictionaryId(), L"root"));
}

TEST_F(CloneOfForgedDrawings, ReplacesAnObjectThatIsOwnedByOneOfItsOwn)
{
    const OdDbObjectId root = addDictionary(m_db->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId source = addNode(1);
    writeDictionary(root)->setAt(L"x", source.safeOpenObject(OdDb::kForWrite).get());
    const OdDbObjectId otherRoot = addDictionary(m_other->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId present = addNodeTo(*m_other, 7);
    const OdDbObjectId stubborn = addNodeTo(*m_other, 8);
    own(present, stubborn);
    own(stubborn, present);
    forgeEntry(otherRoot, L"x", present);
    resident(stubborn).onSubErase = [](TestBag&, bool) { return kOdNotApplicable; };
    m_db->wblockCloneObjects({root}, m_other->getNamedObjectsDictionaryId(), *m_mapping,
                             Style::kDrcReplace);
    EXPECT_EQ(numberOf(present), 1);
    EXPECT_FALSE(stubborn.isErased());
}

TEST_F(CloneOfForgedDrawings, KeepsWhatAnObjectOwnsThatRefusesToBeErased)
{
    const OdDbObjectId root = addDictionary(m_db->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId source = addNode(1);
    writeDictionary(root)->setAt(L"x", source.safeOpenObject(OdDb::kForWrite).get());
    const OdDbObjectId otherRoot = addDictionary(m_other->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId present = addNodeTo(*m_other, 7);
    const OdDbObjectId stubborn = addNodeTo(*m_other, 8);
    const OdDbObjectId below = addNodeTo(*m_other, 9);
    own(present, stubborn);
    own(stubborn, below);
    writeDictionary(otherRoot)->setAt(L"x", present.safeOpenObject(OdDb::kForWrite).get());
    resident(stubborn).onSubErase = [](TestBag&, bool) { return kOdNotApplicable; };
    m_db->wblockCloneObjects({root}, m_other->getNamedObjectsDictionaryId(), *m_mapping,
                             Style::kDrcReplace);
    EXPECT_FALSE(below.isErased());
}

TEST_F(CloneFailure, ToTakeTheNameOfAnotherKindOfObjectFailsTheWholeOperation)
{
    const OdDbObjectId root = addDictionary(m_db->getNamedObjectsDictionaryId(), L"root");
    const OdDbObjectId source = addNode(1);
    writeDictionary(root)->setAt(L"x", source.safeOpenObject(OdDb::kForWrite).get());
    const OdDbObjectId otherRoot = addDictionary(m_other->getNamedObjectsDictionaryId(), L"root");
    writeDictionary(otherRoot)->setAt(L"x", OdDbXrecord::createObject().get());
    const DatabaseState before = livingStateOf(*m_other);
    failAt(
        0, [] {}, 1);
    CloneNode::s_onFiledOut = [](OdDb::FilerType type, CloneNode const& node) {
        if (type == OdDb::FilerType::kWblockCloneFiler && node.number() == 1) {
            throw OdError(kOdOutOfMemory);
        }
    };
    EXPECT_EQ(thrownCode([&] {
                  m_db->wblockCloneObjects({root}, m_other->getNamedObjectsDictionaryId(),
                                           *m_mapping, OdDb::DuplicateRecordCloning::kDrcReplace);
              }),
              kOdOutOfMemory);
    EXPECT_EQ(livingStateOf(*m_other), before);
}

// ---------------------------------------------------------------------------------------------
// Names made of ones that are taken

class MangledNames : public CloneTest
{
protected:
    /// Names that clones of one entry get in its dictionary, in the order in which they are made.
    std::vector<OdString> namesOfClones(int count)
    {
        const OdDbObjectId dictionary = addDictionary(m_db->getNamedObjectsDictionaryId(), L"d");
        const CloneNodePtr node = CloneNode::createObject();
        const OdDbObjectId id = writeDictionary(dictionary)->setAt(L"n", node.get());
        std::vector<OdString> names;
        for (int index = 0; index < count; ++index) {
            m_mapping = OdDbIdMapping::createObject();
            m_db->deepCloneObjects({id}, dictionary, *m_mapping);
            names.push_back(OdDbDictionaryPtr(dictionary.safeOpenObject())->nameAt(cloneOf(id)));
        }
        return names;
    }
};

TEST_F(MangledNames, TakeTheFirstNumberThatIsFree)
{
    // Many enough that trying all that are taken, each time, would be felt.
    constexpr int kCount = 3'000;
    const std::vector<OdString> names = namesOfClones(kCount);
    for (int index = 0; index < kCount; ++index) {
        OdString expected;
        expected.format(L"$%d$n", index);
        ASSERT_EQ(names[static_cast<std::size_t>(index)], expected);
    }
}

TEST_F(MangledNames, AreFoundWhereTakenOnesAreMadeToMislead)
{
    const OdDbObjectId dictionary = addDictionary(m_db->getNamedObjectsDictionaryId(), L"d");
    const OdDbObjectId id =
        writeDictionary(dictionary)->setAt(L"n", CloneNode::createObject().get());
    for (unsigned bits = 0; bits <= 32; ++bits) {
        OdString name;
        name.format(L"$%u$n", static_cast<unsigned>((std::uint64_t{1} << bits) - 1));
        writeDictionary(dictionary)->setAt(name, CloneNode::createObject().get());
    }
    m_db->deepCloneObjects({id}, dictionary, *m_mapping);
    EXPECT_EQ(OdDbDictionaryPtr(dictionary.safeOpenObject())->nameAt(cloneOf(id)), L"$2$n");
}

}  // namespace
