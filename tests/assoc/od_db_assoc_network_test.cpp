// Networks: where they lie, what they list, evaluation, drawings that are stored and opened again.

#include "assoc/assoc_test_support.h"
#include "assoc/od_expression.h"
#include "db/od_db_block_table.h"
#include "db/od_db_id_mapping.h"

#include <rapidcheck/gtest.h>

#include <map>
#include <random>

using assoctest::AssocTest;

namespace {

class OdDbAssocNetworkTest : public AssocTest
{
protected:
    OdDbObjectId addBlock(OdString const& name)
    {
        const OdSmartPtr<OdDbBlockTable> table =
            m_db->getBlockTableId().safeOpenObject(OdDb::kForWrite);
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
        block->setName(name);
        return table->add(block.get());
    }
};

// ---------------------------------------------------------------------------------------------
// Finding networks

TEST_F(OdDbAssocNetworkTest, AnObjectWithoutNetworkHasNoneUnlessItIsMade)
{
    const OdDbObjectId block = addBlock("part");
    EXPECT_TRUE(networkOf(block, false).isNull());
    EXPECT_TRUE(OdDbObjectPtr(block.safeOpenObject())->extensionDictionary().isNull());
    const OdDbObjectId made = networkOf(block, true);
    EXPECT_FALSE(made.isNull());
    EXPECT_EQ(networkOf(block, true), made);
    EXPECT_EQ(networkOf(block, false), made);
    EXPECT_TRUE(OdDbAssocNetwork::getInstanceFromObject(OdDbObjectId::kNull, true).isNull());
}

TEST_F(OdDbAssocNetworkTest, ANetworkLiesInTheExtensionDictionaryInFrontOfTheModule)
{
    const OdDbObjectPtr block = m_db->getModelSpaceId().safeOpenObject();
    const OdDbDictionaryPtr dictionary = block->extensionDictionary().safeOpenObject();
    EXPECT_LT(odIcmp(dictionary->nameAt(m_network), "ZEM_DATABASE"), 0);
    EXPECT_EQ(network(m_network)->ownerId(), dictionary->objectId());
}

TEST_F(OdDbAssocNetworkTest, ANetworkThatAReactorMakesWhenItIsToldStays)
{
    const OdDbObjectId block = addBlock("part");
    const OdDbObjectPtr open = block.safeOpenObject(OdDb::kForWrite);
    open->createExtensionDictionary();
    const OdDbObjectId watcher = addReactor();
    watch(open->extensionDictionary(), watcher);
    OdDbObjectId made;
    reactor(watcher).onNotice = [&](dbtest::TestReactor&, dbtest::NoticeKind kind,
                                    OdDbObject const&) {
        if (kind == dbtest::NoticeKind::kOpenedForModify) {
            made = networkOf(block);
        }
    };
    EXPECT_EQ(networkOf(block), made);
    EXPECT_FALSE(made.isNull());
    EXPECT_FALSE(made.isErased());
}

TEST_F(OdDbAssocNetworkTest, NamesTellSeveralNetworksOfAnObjectApart)
{
    const OdDbObjectId block = addBlock("part");
    const OdDbObjectId plain = networkOf(block);
    const OdDbObjectId named = OdDbAssocNetwork::getInstanceFromObject(block, true, false, "two");
    EXPECT_NE(plain, named);
    EXPECT_EQ(OdDbAssocNetwork::getInstanceFromObject(block, false, false, "TWO"), named);
}

TEST_F(OdDbAssocNetworkTest, AnErasedNetworkIsReplacedByANewOne)
{
    EXPECT_EQ(eraseObject(m_network), kOdOk);
    EXPECT_TRUE(networkOf(m_db->getModelSpaceId(), false).isNull());
    EXPECT_NE(networkOf(m_db->getModelSpaceId(), true), m_network);
}

TEST_F(OdDbAssocNetworkTest, TheNetworkOfTheDrawingListsThoseOfTheBlocksWithoutOwningThem)
{
    const OdDbObjectId part = networkOf(addBlock("part"));
    const OdDbObjectId hidden =
        OdDbAssocNetwork::getInstanceFromObject(addBlock("hidden"), true, false);
    const OdDbObjectId top = OdDbAssocNetwork::getInstanceFromDatabase(*m_db);
    const OdDbObjectIdArray listed = network(top)->getActions();
    EXPECT_EQ(listed.size(), 2U);
    EXPECT_TRUE(listed.contains(m_network));
    EXPECT_TRUE(listed.contains(part));
    EXPECT_FALSE(listed.contains(hidden));
    EXPECT_NE(network(part)->ownerId(), top);
    EXPECT_EQ(network(top)->removeAction(part, false), kOdOk);
    EXPECT_FALSE(network(part)->ownerId().isNull());
    EXPECT_EQ(eraseObject(m_network), kOdOk);
    EXPECT_TRUE(network(top)->getActions().isEmpty());
}

TEST_F(OdDbAssocNetworkTest, AVariableTellsTheBlockThatItBelongsTo)
{
    const OdDbObjectId block = addBlock("part");
    const OdDbObjectId a = addTo(networkOf(block), "a", "1");
    EXPECT_EQ(read(a)->objectThatOwnsNetworkInstance(), block);
    EXPECT_EQ(read(a)->owningNetwork(), networkOf(block));
    EXPECT_EQ(network(m_network)->objectThatOwnsNetworkInstance(), m_db->getModelSpaceId());
    const OdDbObjectId top = OdDbAssocNetwork::getInstanceFromDatabase(*m_db);
    EXPECT_TRUE(network(top)->objectThatOwnsNetworkInstance().isNull());
    const OdDbObjectId loose = m_db->addOdDbObject(OdDbAssocVariable::createObject().get());
    EXPECT_TRUE(read(loose)->objectThatOwnsNetworkInstance().isNull());
    EXPECT_TRUE(OdDbAssocVariable::createObject()->objectThatOwnsNetworkInstance().isNull());
}

// ---------------------------------------------------------------------------------------------
// Actions

TEST_F(OdDbAssocNetworkTest, AddingAnActionListsItAndMakesTheNetworkItsOwnerIfAsked)
{
    const OdDbObjectId owned = m_db->addOdDbObject(OdDbAssocVariable::createObject().get());
    const OdDbObjectId listed = m_db->addOdDbObject(OdDbAssocVariable::createObject().get());
    EXPECT_EQ(network(m_network)->addAction(owned, true), kOdOk);
    EXPECT_EQ(network(m_network)->addAction(listed, false), kOdOk);
    EXPECT_EQ(network(m_network)->addAction(owned, true), kOdOk);
    EXPECT_EQ(actions(), (std::vector<OdDbObjectId>{owned, listed}));
    EXPECT_EQ(read(owned)->ownerId(), m_network);
    EXPECT_TRUE(read(listed)->ownerId().isNull());
    EXPECT_EQ(network(m_network)->addAction(listed, true), kOdOk);
    EXPECT_EQ(read(listed)->ownerId(), m_network);
    EXPECT_EQ(actions().size(), 2U);
}

TEST_F(OdDbAssocNetworkTest, WhatIsNoLivingActionIsNotAdded)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbObjectId foreign = other->addOdDbObject(OdDbAssocVariable::createObject().get());
    const OdDbObjectId erased = add("gone");
    EXPECT_EQ(eraseObject(erased), kOdOk);
    const OdDbAssocNetworkPtr at = network(m_network);
    for (OdDbObjectId id : {OdDbObjectId::kNull, foreign, erased, addBag(),
                            m_db->getOdDbObjectId(OdDbHandle(0xFFFFF), /*create=*/true)}) {
        EXPECT_EQ(at->addAction(id, true), kOdInvalidInput);
        EXPECT_NE(at->removeAction(id, true), kOdOk);
    }
    EXPECT_EQ(at->addAction(m_network, true), kOdCyclicReference);
    EXPECT_TRUE(at->getActions().isEmpty());
}

TEST_F(OdDbAssocNetworkTest, NetworksDoNotOwnOneAnotherInARing)
{
    const OdDbObjectId inner = m_db->addOdDbObject(odrxMake<OdDbAssocNetwork>().get());
    EXPECT_EQ(network(m_network)->addAction(inner, true), kOdOk);
    EXPECT_EQ(network(inner)->addAction(m_network, true), kOdCyclicReference);
    EXPECT_EQ(network(inner)->addAction(m_network, false), kOdOk);
    addTo(inner, "a", "1");
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(network(inner)->objectThatOwnsNetworkInstance(), m_db->getModelSpaceId());
}

TEST_F(OdDbAssocNetworkTest, RemovingAnActionLeavesItWithoutOwnerOrErasesIt)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "a");
    EXPECT_EQ(network(m_network)->removeAction(a, false), kOdOk);
    EXPECT_TRUE(read(a)->ownerId().isNull());
    EXPECT_FALSE(a.isErased());
    EXPECT_TRUE(find("a").isNull());
    EXPECT_EQ(network(m_network)->removeAction(b, true), kOdOk);
    EXPECT_TRUE(b.isErased());
    EXPECT_TRUE(actions().empty());
    EXPECT_EQ(network(m_network)->removeAction(b, true), kOdKeyNotFound);
    EXPECT_EQ(network(m_network)->removeAction(a, true), kOdKeyNotFound);
    EXPECT_FALSE(a.isErased());
}

TEST_F(OdDbAssocNetworkTest, AVariableMayMoveToAnotherNetwork)
{
    const OdDbObjectId other = networkOf(addBlock("part"));
    const OdDbObjectId a = add("a", "1");
    EXPECT_EQ(network(other)->addAction(a, true), kOdOk);
    EXPECT_TRUE(actions().empty());
    EXPECT_EQ(read(a)->owningNetwork(), other);
    EXPECT_TRUE(find("a").isNull());
    EXPECT_EQ(network(other)->findVariable("a"), a);
}

TEST_F(OdDbAssocNetworkTest, AnExpressionFromOutsideIsTiedToTheNetworkThatTheVariableJoins)
{
    const OdDbObjectId a = add("a", "3");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbAssocVariablePtr copy = OdDbAssocVariable::cast(read(b)->clone().get());
    EXPECT_EQ(copy->expression(), OdString("a*2"));
    const OdDbObjectId id = m_db->addOdDbObject(copy.get());
    EXPECT_TRUE(dependenciesOf(id).isEmpty());
    EXPECT_EQ(copy->setName("c", false), kOdOk);
    EXPECT_EQ(network(m_network)->addAction(id, true), kOdOk);
    EXPECT_EQ(targetsOf(id), std::vector<OdDbObjectId>{a});
    EXPECT_EQ(setNumber(a, 5), kOdOk);
    EXPECT_EQ(valueOf(id), 10);
    EXPECT_EQ(setNumber(a, 7), kOdOk);
    EXPECT_EQ(valueOf(id), 14);
}

TEST_F(OdDbAssocNetworkTest, AnActionHasABodyThatItOwns)
{
    const OdDbAssocActionPtr action = odrxMake<OdDbAssocAction>();
    const OdDbObjectId id = m_db->addOdDbObject(action.get());
    EXPECT_TRUE(action->actionBody().isNull());
    const OdDbObjectId body = m_db->addOdDbObject(odrxMake<OdDbAssocArrayActionBody>().get());
    EXPECT_EQ(action->setActionBody(addBag()), kOdInvalidInput);
    EXPECT_EQ(action->setActionBody(body), kOdOk);
    EXPECT_EQ(action->actionBody(), body);
    EXPECT_EQ(OdDbObjectPtr(body.safeOpenObject())->ownerId(), id);
    EXPECT_TRUE(body.objectClass()->isDerivedFrom(OdDbAssocActionBody::desc()));
    EXPECT_EQ(eraseObject(body), kOdOk);
    EXPECT_TRUE(action->actionBody().isNull());
}

TEST_F(OdDbAssocNetworkTest, AnyActionMayDependOnAnyObject)
{
    const OdDbObjectId watched = addBag();
    const OdDbAssocActionPtr action = odrxMake<OdDbAssocAction>();
    const OdDbObjectId id = m_db->addOdDbObject(action.get());
    const OdDbAssocDependencyPtr dependency = odrxMake<OdDbAssocDependency>();
    EXPECT_EQ(dependency->attachDependentOnObject(watched), kOdNotInDatabase);
    const OdDbObjectId dependencyId = m_db->addOdDbObject(dependency.get());
    EXPECT_EQ(action->addDependency(watched), kOdInvalidInput);
    EXPECT_EQ(action->addDependency(dependencyId), kOdOk);
    EXPECT_EQ(dependency->owningAction(), id);
    EXPECT_EQ(dependency->attachDependentOnObject(OdDbObjectId::kNull), kOdInvalidInput);
    EXPECT_EQ(dependency->attachDependentOnObject(watched), kOdOk);
    EXPECT_TRUE(readBag(watched)->hasPersistentReactor(dependencyId));
    EXPECT_EQ(action->erase(true), kOdOk);
    EXPECT_TRUE(dependencyId.isErased());
    EXPECT_FALSE(readBag(watched)->hasPersistentReactor(dependencyId));
    EXPECT_EQ(action->erase(false), kOdOk);
    EXPECT_TRUE(readBag(watched)->hasPersistentReactor(dependencyId));
}

// ---------------------------------------------------------------------------------------------
// Evaluation

TEST_F(OdDbAssocNetworkTest, AnEvaluationWithNothingOutOfDateChangesAndTellsNothing)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "a+1");
    const OdDbObjectId r = addReactor();
    watch(a, r);
    watch(b, r);
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(modifiedCount(r), 0);
}

TEST_F(OdDbAssocNetworkTest, TheNetworkOfTheDrawingEvaluatesThoseThatItLists)
{
    const OdDbObjectId a = add("a", "1");
    EXPECT_EQ(write(a)->setValue(5), kOdOk);
    const OdDbObjectId top = OdDbAssocNetwork::getInstanceFromDatabase(*m_db);
    EXPECT_EQ(network(top)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(a), 1);
}

// ---------------------------------------------------------------------------------------------
// Stored drawings

TEST_F(OdDbAssocNetworkTest, AStoredDrawingIsOpenedWithoutReadingVariablesAndWorksOn)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    add("kept");
    EXPECT_EQ(write(find("kept"))->setValue(7), kOdOk);
    EXPECT_EQ(eraseObject(add("gone")), kOdOk);
    const dbtest::FakeDrawingPtr drawing = dbtest::saveDrawing(*m_db);
    const OdDbDatabasePtr opened = dbtest::openDrawing(drawing);
    const OdDbObjectId networkId = networkOf(opened->getModelSpaceId(), false);
    const int loads = drawing->loads;
    EXPECT_EQ(network(networkId)->getActions().size(), 3U);
    EXPECT_LE(drawing->loads, loads + 1);
    const OdDbObjectId a2 = opened->getOdDbObjectId(a.getHandle());
    const OdDbObjectId b2 = opened->getOdDbObjectId(b.getHandle());
    EXPECT_EQ(set(a2, "10"), kOdOk);
    EXPECT_EQ(valueOf(b2), 20);
    EXPECT_EQ(network(networkId)->findVariable("A"), a2);
    EXPECT_EQ(network(networkId)->evaluate(nullptr), kOdOk);
    const OdDbObjectId kept = network(networkId)->findVariable("kept");
    EXPECT_EQ(read(kept)->value()->getType(), 2);
    EXPECT_EQ(valueOf(kept), 7);
    EXPECT_TRUE(read(kept)->expression().isEmpty());
    EXPECT_TRUE(network(networkId)->findVariable("gone").isNull());
}

TEST_F(OdDbAssocNetworkTest, AChangeInAnOpenedDrawingReadsOnlyWhatDependsOnIt)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    for (int i = 0; i < 100; ++i) {
        add(("other" + std::to_string(i)).c_str(), "1");
    }
    const dbtest::FakeDrawingPtr drawing = dbtest::saveDrawing(*m_db);
    const OdDbDatabasePtr opened = dbtest::openDrawing(drawing);
    {
        const OdDbAssocVariablePtr variable = write(opened->getOdDbObjectId(a.getHandle()));
        EXPECT_EQ(variable->setExpression("", "", false, false, "", false), kOdOk);
        EXPECT_EQ(variable->setValue(4.0), kOdOk);
    }
    EXPECT_EQ(valueOf(opened->getOdDbObjectId(b.getHandle())), 8);
    EXPECT_LT(drawing->loads, 20);
}

TEST_F(OdDbAssocNetworkTest, ActionsOfUnknownClassesAreCarriedAndHarmNobody)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbObjectId unknown = add("u", "b+1");
    const OdDbObjectId c = add("c", "a+b");
    const OdDbObjectId user = add("user", "u+1");
    dbtest::FakeDrawingPtr drawing = dbtest::saveDrawing(*m_db);
    dbtest::FakeDrawing::Object& object = drawing->objects.at(unknown.getHandle().value());
    OdDbClassRecord other = drawing->classes.at(object.classIndex);
    other.name = L"ClassThatNobodyHas";
    drawing->classes.push_back(other);
    object.classIndex = static_cast<std::uint32_t>(drawing->classes.size() - 1);
    const dbtest::FakeBody body = object.body;

    const OdDbDatabasePtr opened = dbtest::openDrawing(drawing);
    const auto here = [&](OdDbObjectId id) { return opened->getOdDbObjectId(id.getHandle()); };
    const OdDbObjectId networkId = networkOf(opened->getModelSpaceId());
    EXPECT_EQ(network(networkId)->getActions().size(), 5U);
    EXPECT_TRUE(network(networkId)->findVariable("u").isNull());
    EXPECT_EQ(network(networkId)->evaluate(nullptr), kOdNoSuchVariable);
    EXPECT_EQ(valueOf(here(user)), 6);
    EXPECT_EQ(set(here(a), "5"), kOdOk);
    EXPECT_EQ(valueOf(here(c)), 15);
    EXPECT_EQ(set(here(c), "u"), kOdNoSuchVariable);
    EXPECT_EQ(rename(here(b), "z"), kOdOk);
    const dbtest::FakeDrawingPtr again = dbtest::saveDrawing(*opened);
    EXPECT_EQ(again->objects.at(unknown.getHandle().value()).body, body);
    EXPECT_EQ(network(networkId)->removeAction(here(unknown), true), kOdOk);
    EXPECT_EQ(network(networkId)->getActions().size(), 4U);
}

// ---------------------------------------------------------------------------------------------
// Clones

TEST_F(OdDbAssocNetworkTest, AClonedBlockHasANetworkOfItsOwn)
{
    const OdDbObjectId block = addBlock("part");
    const OdDbObjectId source = networkOf(block);
    const OdDbObjectId a = addTo(source, "a", "2");
    const OdDbObjectId b = addTo(source, "b", "a*2");
    const dbtest::DatabaseState before = dbtest::livingStateOf(*m_db);
    m_db->startUndoRecord();
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    OdDbObjectIdArray ids;
    ids.append(block);
    m_db->deepCloneObjects(ids, m_db->getBlockTableId(), *mapping);
    OdDbIdPair blockPair(block);
    OdDbIdPair aPair(a);
    OdDbIdPair bPair(b);
    ASSERT_TRUE(mapping->compute(blockPair) && mapping->compute(aPair) && mapping->compute(bPair));
    const OdDbObjectId cloned = networkOf(blockPair.value(), false);
    ASSERT_FALSE(cloned.isNull());
    ASSERT_NE(cloned, source);
    EXPECT_EQ(network(cloned)->findVariable("A"), aPair.value());
    EXPECT_EQ(targetsOf(bPair.value()), std::vector<OdDbObjectId>{aPair.value()});
    EXPECT_EQ(setNumber(aPair.value(), 10), kOdOk);
    EXPECT_EQ(valueOf(bPair.value()), 20);
    EXPECT_EQ(valueOf(b), 4);
    EXPECT_EQ(network(cloned)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(read(aPair.value())->objectThatOwnsNetworkInstance(), blockPair.value());
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(dbtest::livingStateOf(*m_db), before);
}

TEST_F(OdDbAssocNetworkTest, AVariableClonedInItsNetworkIsListedUnderAFreeNameAndFollows)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    OdDbObjectIdArray ids;
    ids.append(b);
    m_db->deepCloneObjects(ids, m_network, *mapping);
    OdDbIdPair pair(b);
    ASSERT_TRUE(mapping->compute(pair));
    EXPECT_EQ(nameOf(pair.value()), "b_1");
    EXPECT_EQ(find("b_1"), pair.value());
    EXPECT_EQ(actions(), (std::vector<OdDbObjectId>{a, b, pair.value()}));
    EXPECT_EQ(targetsOf(pair.value()), std::vector<OdDbObjectId>{a});
    EXPECT_EQ(setNumber(a, 7), kOdOk);
    EXPECT_EQ(valueOf(pair.value()), 14);
    EXPECT_EQ(valueOf(b), 14);
}

TEST_F(OdDbAssocNetworkTest, ABlockGoesIntoAnotherDrawingWithItsVariables)
{
    const OdDbObjectId block = addBlock("part");
    const OdDbObjectId a = addTo(networkOf(block), "a", "2");
    const OdDbObjectId b = addTo(networkOf(block), "b", "a*2");
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdSmartPtr<OdDbIdMapping> mapping = OdDbIdMapping::createObject();
    OdDbObjectIdArray ids;
    ids.append(block);
    other->wblockCloneObjects(ids, other->getBlockTableId(), *mapping,
                              OdDb::DuplicateRecordCloning::kDrcIgnore);
    OdDbIdPair aPair(a);
    OdDbIdPair bPair(b);
    ASSERT_TRUE(mapping->compute(aPair) && mapping->compute(bPair));
    EXPECT_EQ(aPair.value().database(), other.get());
    EXPECT_EQ(setNumber(aPair.value(), 9), kOdOk);
    EXPECT_EQ(valueOf(bPair.value()), 18);
}

// ---------------------------------------------------------------------------------------------
// Stored forms

OdDbMemoryFiler::Bytes filed(OdDbObject const& object, OdDb::FilerType type)
{
    OdStaticRxObject<OdDbMemoryFiler> filer(type);
    object.dwgOutFields(&filer);
    return filer.bytes();
}

/// Little-endian bytes of the memory filer, which files ids by value.
class Bytes
{
public:
    Bytes& byte(int value)
    {
        m_bytes.push_back(static_cast<std::uint8_t>(value));
        return *this;
    }
    template <class T>
    Bytes& raw(T const& value)
    {
        auto const* const first = reinterpret_cast<std::uint8_t const*>(&value);
        m_bytes.insert(m_bytes.end(), first, first + sizeof value);
        return *this;
    }
    Bytes& count(std::int32_t value) { return raw(value); }
    Bytes& text(std::string const& value)
    {
        count(static_cast<std::int32_t>(value.size()));
        m_bytes.insert(m_bytes.end(), value.begin(), value.end());
        return *this;
    }
    Bytes& id(OdDbObjectId value) { return raw(value); }
    /// Fields of the base class: no reactors but those given, nothing else, and the owner.
    Bytes& base(std::vector<OdDbObjectId> const& reactors, OdDbObjectId owner)
    {
        count(static_cast<std::int32_t>(reactors.size()));
        for (OdDbObjectId reactor : reactors) {
            id(reactor);
        }
        return id(OdDbObjectId::kNull).count(0).id(owner);
    }
    OdDbMemoryFiler::Bytes const& get() const { return m_bytes; }

private:
    OdDbMemoryFiler::Bytes m_bytes;
};

struct Sample
{
    OdDbObjectId id;
    OdDbMemoryFiler::Bytes golden;
};

class StoredForms : public OdDbAssocNetworkTest
{
protected:
    StoredForms()
    {
        const OdDbObjectId a = add("a", "2");
        const OdDbObjectId b = add(L"b\u00E4", "a*2");
        EXPECT_EQ(write(a)->setValue(3), kOdOk);
        const OdDbObjectId dependency = dependenciesOf(b)[0];
        const OdDbObjectId listed = m_db->addOdDbObject(odrxMake<OdDbAssocAction>().get());
        EXPECT_EQ(network(m_network)->addAction(listed, false), kOdOk);
        const OdDbObjectId body = m_db->addOdDbObject(odrxMake<OdDbAssocArrayActionBody>().get());
        EXPECT_EQ(OdDbAssocActionPtr(listed.safeOpenObject(OdDb::kForWrite))->setActionBody(body),
                  kOdOk);
        const OdDbObjectId dictionary = network(m_network)->ownerId();

        // An action: body, dependencies. A variable: name, expression, type, number.
        m_samples.push_back({a, Bytes()
                                    .base({dependency}, m_network)
                                    .id(OdDbObjectId::kNull)
                                    .count(0)
                                    .text("a")
                                    .text("2")
                                    .byte(2)
                                    .raw(3.0)
                                    .get()});
        m_samples.push_back({b, Bytes()
                                    .base({}, m_network)
                                    .id(OdDbObjectId::kNull)
                                    .count(1)
                                    .id(dependency)
                                    .text("b\xC3\xA4")
                                    .text("a*2")
                                    .byte(1)
                                    .raw(6.0)
                                    .get()});
        m_samples.push_back({dependency, Bytes().base({}, b).id(a).get()});
        m_samples.push_back(
            {listed, Bytes().base({}, OdDbObjectId::kNull).id(body).count(0).get()});
        m_samples.push_back({body, Bytes().base({}, listed).get()});
        // A network: an action, then for each of its actions whether it owns it, and its id.
        m_samples.push_back({m_network, Bytes()
                                            .base({}, dictionary)
                                            .id(OdDbObjectId::kNull)
                                            .count(0)
                                            .count(3)
                                            .byte(1)
                                            .id(a)
                                            .byte(1)
                                            .id(b)
                                            .byte(0)
                                            .id(listed)
                                            .get()});
    }

    static OdResult fill(OdDbObject& object, OdDbMemoryFiler::Bytes const& bytes)
    {
        OdStaticRxObject<OdDbMemoryFiler> filer(OdDb::FilerType::kFileFiler);
        filer.readFrom(bytes);
        try {
            return object.dwgInFields(&filer);
        } catch (OdError const& error) {
            return error.code();
        }
    }
    static OdDbObjectPtr makeLike(OdDbObjectId id) { return id.objectClass()->create(); }

    std::vector<Sample> m_samples;
};

TEST_F(StoredForms, AreWrittenByteForByte)
{
    for (Sample const& sample : m_samples) {
        const OdDbObjectPtr object = sample.id.safeOpenObject();
        EXPECT_EQ(filed(*object, OdDb::FilerType::kFileFiler), sample.golden)
            << object->isA()->name().utf8();
    }
}

TEST_F(StoredForms, AreTheSameWhenReadAndWrittenAgain)
{
    for (Sample const& sample : m_samples) {
        const OdDbObjectPtr object = makeLike(sample.id);
        ASSERT_EQ(fill(*object, sample.golden), kOdOk);
        EXPECT_EQ(filed(*object, OdDb::FilerType::kFileFiler), sample.golden);
        ASSERT_EQ(fill(*object, sample.golden), kOdOk);
        EXPECT_EQ(filed(*object, OdDb::FilerType::kFileFiler), sample.golden);
    }
}

TEST_F(StoredForms, AreRefusedWhereverTheyAreCut)
{
    for (Sample const& sample : m_samples) {
        for (std::size_t length = 0; length < sample.golden.size(); ++length) {
            const OdDbObjectPtr object = makeLike(sample.id);
            const OdDbMemoryFiler::Bytes cut(
                sample.golden.begin(), sample.golden.begin() + static_cast<std::ptrdiff_t>(length));
            EXPECT_EQ(fill(*object, cut), kOdBadStream) << length;
        }
    }
}

TEST_F(StoredForms, CountsAndValuesOutOfRangeAreRefused)
{
    const auto variable = [&](int type, double number) {
        const Bytes bytes = Bytes()
                                .base({}, OdDbObjectId::kNull)
                                .id(OdDbObjectId::kNull)
                                .count(0)
                                .text("a")
                                .text("")
                                .byte(type)
                                .raw(number);
        return fill(*OdDbAssocVariable::createObject(), bytes.get());
    };
    EXPECT_EQ(variable(1, -0.0), kOdOk);
    EXPECT_EQ(variable(2, 2147483647.0), kOdOk);
    EXPECT_EQ(variable(0, 1), kOdBadStream);
    EXPECT_EQ(variable(3, 1), kOdBadStream);
    EXPECT_EQ(variable(2, 0.5), kOdBadStream);
    EXPECT_EQ(variable(2, 2147483648.0), kOdBadStream);
    EXPECT_EQ(variable(1, std::numeric_limits<double>::infinity()), kOdBadStream);
    EXPECT_EQ(variable(1, std::numeric_limits<double>::quiet_NaN()), kOdBadStream);
    for (std::int32_t count : {-1, 0x7FFFFFFF}) {
        const Bytes dependencies =
            Bytes().base({}, OdDbObjectId::kNull).id(OdDbObjectId::kNull).count(count);
        EXPECT_EQ(fill(*odrxMake<OdDbAssocAction>(), dependencies.get()), kOdBadStream);
        const Bytes listed =
            Bytes().base({}, OdDbObjectId::kNull).id(OdDbObjectId::kNull).count(0).count(count);
        EXPECT_EQ(fill(*odrxMake<OdDbAssocNetwork>(), listed.get()), kOdBadStream);
    }
}

TEST_F(StoredForms, NullAndRepeatedActionsAreLeftOut)
{
    const OdDbObjectId a = m_samples[0].id;
    const Bytes bytes = Bytes()
                            .base({}, OdDbObjectId::kNull)
                            .id(OdDbObjectId::kNull)
                            .count(0)
                            .count(3)
                            .byte(1)
                            .id(OdDbObjectId::kNull)
                            .byte(1)
                            .id(a)
                            .byte(0)
                            .id(a);
    const OdDbAssocNetworkPtr read = odrxMake<OdDbAssocNetwork>();
    ASSERT_EQ(fill(*read, bytes.get()), kOdOk);
    EXPECT_EQ(read->getActions().size(), 1U);
}

TEST_F(StoredForms, ACopyOwnsNothingOfItsSource)
{
    const OdDbAssocNetworkPtr copy = OdDbAssocNetwork::cast(network(m_network)->clone().get());
    EXPECT_TRUE(copy->getActions().isEmpty());
    EXPECT_EQ(dbtest::thrownCode([&] { network(m_network)->copyFrom(copy.get()); }),
              kOdNotApplicable);
}

// ---------------------------------------------------------------------------------------------
// Hostile drawings

TEST_F(OdDbAssocNetworkTest, EveryFunctionTakesNullErasedForeignAndWrongIds)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "a");
    // Dependencies that point to nothing, to what is no variable, and to the variable itself.
    for (OdDbObjectId target : {OdDbObjectId::kNull, addBag(), b}) {
        const OdDbAssocValueDependencyPtr dependency = OdDbAssocValueDependency::createObject();
        const OdDbObjectId id = m_db->addOdDbObject(dependency.get(), b);
        (void)dependency->attachDependentOnObject(target);
        EXPECT_EQ(write(b)->addDependency(id), kOdOk);
    }
    // A reactor that is a dependency of nobody's.
    watch(a, m_db->addOdDbObject(OdDbAssocValueDependency::createObject().get()));
    watch(a, m_db->getOdDbObjectId(OdDbHandle(0xFFFFF), /*create=*/true));
    EXPECT_EQ(set(a, "5"), kOdOk);
    EXPECT_EQ(rename(a, "z"), kOdOk);
    EXPECT_EQ(eraseObject(a), kOdOk);
    (void)network(m_network)->evaluate(nullptr);
    EXPECT_EQ(set(b, "7"), kOdOk);
    EXPECT_EQ(valueOf(b), 7);
}

TEST_F(OdDbAssocNetworkTest, OwnersThatFormARingComeToAnEnd)
{
    const OdDbObjectId one = m_db->addOdDbObject(odrxMake<OdDbAssocNetwork>().get());
    const OdDbObjectId two = m_db->addOdDbObject(odrxMake<OdDbAssocNetwork>().get(), one);
    network(one)->setOwnerId(two);
    EXPECT_TRUE(network(one)->objectThatOwnsNetworkInstance().isNull());
    EXPECT_EQ(network(one)->addAction(two, false), kOdOk);
    EXPECT_EQ(network(two)->addAction(one, false), kOdOk);
    EXPECT_EQ(network(one)->evaluate(nullptr), kOdOk);
}

TEST_F(OdDbAssocNetworkTest, VariablesOfOneNameAreFoundFromTheOldestOn)
{
    // Names are given before joining, so nothing keeps them apart.
    std::vector<OdDbObjectId> ids;
    for (int i = 0; i < 3; ++i) {
        const OdDbAssocVariablePtr variable = OdDbAssocVariable::createObject();
        EXPECT_EQ(variable->setName("a", false), kOdOk);
        ids.push_back(m_db->addOdDbObject(variable.get()));
        EXPECT_EQ(network(m_network)->addAction(ids.back(), true), kOdOk);
    }
    EXPECT_EQ(find("a"), ids[0]);
    EXPECT_EQ(eraseObject(ids[0]), kOdOk);
    EXPECT_EQ(find("a"), ids[1]);
    EXPECT_EQ(rename(ids[1], "b"), kOdOk);
    EXPECT_EQ(find("a"), ids[2]);
    EXPECT_EQ(eraseObject(ids[0], false), kOdOk);
    EXPECT_EQ(find("a"), ids[0]);
}

// ---------------------------------------------------------------------------------------------
// Damaged drawings

TEST_F(OdDbAssocNetworkTest, AnExtensionDictionaryThatCannotBeReadHoldsNoNetwork)
{
    const OdDbObjectId dictionary = network(m_network)->ownerId();
    const dbtest::FakeDrawingPtr drawing = dbtest::saveDrawing(*m_db);
    drawing->objects.at(dictionary.getHandle().value()).body.bytes.pop_back();
    const OdDbDatabasePtr opened = dbtest::openDrawing(drawing);
    EXPECT_TRUE(networkOf(opened->getModelSpaceId(), /*create=*/false).isNull());
    EXPECT_THROW((void)networkOf(opened->getModelSpaceId(), /*create=*/true), OdError);
}

TEST_F(OdDbAssocNetworkTest, AVariableOfANetworkThatCannotBeReadIsWithoutNetwork)
{
    const OdDbObjectId a = add("a", "1");
    const dbtest::FakeDrawingPtr drawing = dbtest::saveDrawing(*m_db);
    drawing->objects.at(m_network.getHandle().value()).body.bytes.pop_back();
    const OdDbDatabasePtr opened = dbtest::openDrawing(drawing);
    const OdDbObjectId read = opened->getOdDbObjectId(a.getHandle());
    EXPECT_EQ(rename(read, "b"), kOdOk);
    EXPECT_EQ(set(read, "2"), kOdOk);
    EXPECT_EQ(set(read, "c"), kOdNoSuchVariable);
    EXPECT_TRUE(write(read)->findObjectByName("b").isNull());
}

/// Appends to the dependencies of an action, whose count is the last number that it has.
static void appendDependency(dbtest::FakeDrawing& drawing, OdDbObjectId action,
                             OdDbObjectId dependency)
{
    dbtest::FakeBody& body = drawing.objects.at(action.getHandle().value()).body;
    ++body.bytes.at(body.bytes.size() - 4);
    body.references.emplace_back(OdDb::ReferenceType::kHardOwnershipRef,
                                 dependency.getHandle().value());
}

TEST_F(OdDbAssocNetworkTest, ActionsThatNameActionsAsDependenciesAreErasedAlone)
{
    constexpr std::size_t kDepth = 50'000;
    std::vector<OdDbObjectId> chain{OdDbObjectId::kNull};
    while (chain.size() <= kDepth) {
        chain.push_back(m_db->addOdDbObject(odrxMake<OdDbAssocAction>().get(), chain.back()));
    }
    const dbtest::FakeDrawingPtr drawing = dbtest::saveDrawing(*m_db);
    for (std::size_t index = 1; index < kDepth; ++index) {
        appendDependency(*drawing, chain[index], chain[index + 1]);
    }
    const OdDbDatabasePtr opened = dbtest::openDrawing(drawing);
    EXPECT_EQ(eraseObject(opened->getOdDbObjectId(chain[1].getHandle())), kOdOk);
    EXPECT_FALSE(opened->getOdDbObjectId(chain[2].getHandle()).isErased());
}

TEST_F(OdDbAssocNetworkTest, AnActionErasesNoDependencyOfOthers)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbObjectId bag = addBag();
    const OdDbObjectId action = m_db->addOdDbObject(odrxMake<OdDbAssocAction>().get());
    const dbtest::FakeDrawingPtr drawing = dbtest::saveDrawing(*m_db);
    appendDependency(*drawing, action, bag);
    appendDependency(*drawing, action, dependenciesOf(b)[0]);
    const OdDbDatabasePtr opened = dbtest::openDrawing(drawing);
    const auto here = [&](OdDbObjectId id) { return opened->getOdDbObjectId(id.getHandle()); };
    const OdDbAssocActionPtr read = here(action).safeOpenObject(OdDb::kForWrite);
    EXPECT_EQ(read->removeAllDependencies(/*alsoErase=*/true), kOdOk);
    EXPECT_FALSE(here(bag).isErased());
    EXPECT_EQ(set(here(a), "4"), kOdOk);
    EXPECT_EQ(valueOf(here(b)), 8);
}

// ---------------------------------------------------------------------------------------------
// Drawings that go away

TEST_F(OdDbAssocNetworkTest, ACopyOfADependencyIsAttachedToNothing)
{
    add("a", "1");
    const OdDbObjectId b = add("b", "a");
    const OdDbAssocDependencyPtr own = dependenciesOf(b)[0].safeOpenObject(OdDb::kForWrite);
    const OdDbAssocDependencyPtr copy = OdDbAssocDependency::cast(own->clone().get());
    EXPECT_TRUE(copy->dependentOnObject().isNull());
    EXPECT_EQ(dbtest::thrownCode([&] { own->copyFrom(copy.get()); }), kOdNotApplicable);
    EXPECT_FALSE(own->dependentOnObject().isNull());
}

TEST_F(OdDbAssocNetworkTest, ADependencyIsNotAttachedByAnIdThatLeadsIntoAnotherDrawing)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbAssocDependencyPtr dependency =
        dependenciesOf(add("b", "a"))[0].safeOpenObject(OdDb::kForWrite);
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbObjectId led = add("led");
    led.redirectTo(other->addOdDbObject(OdDbAssocVariable::createObject().get()));
    EXPECT_EQ(dependency->attachDependentOnObject(led), kOdInvalidInput);
    EXPECT_EQ(dependency->dependentOnObject(), a);
    led.redirectTo(OdDbObjectId::kNull);
}

TEST_F(OdDbAssocNetworkTest, AReactorMayTakeTheDrawingAwayWhileAnActionIsAdded)
{
    const OdDbObjectId r = addReactor();
    watch(m_network, r);
    const OdDbObjectId a = m_db->addOdDbObject(OdDbAssocVariable::createObject().get());
    const OdDbAssocNetworkPtr held = network(m_network);
    reactor(r).onNotice = [&](dbtest::TestReactor&, dbtest::NoticeKind, OdDbObject const&) {
        m_db.release();
    };
    EXPECT_EQ(held->addAction(a, true), kOdOk);
    EXPECT_EQ(held->database(), nullptr);
    EXPECT_TRUE(held->getActions().isEmpty());
    (void)m_asserts.take();  // debug builds tell of pointers that are held
}

TEST_F(OdDbAssocNetworkTest, AReactorMayTakeTheDrawingAwayWhileDependenciesAreTakenOff)
{
    add("a", "1");
    add("b", "2");
    const OdDbObjectId c = add("c", "a+b");
    const OdDbObjectId r = addReactor();
    watch(dependenciesOf(c)[0], r);
    const OdDbAssocVariablePtr held = write(c);
    reactor(r).onNotice = [&](dbtest::TestReactor&, dbtest::NoticeKind, OdDbObject const&) {
        m_db.release();
    };
    EXPECT_EQ(held->setExpression(""), kOdOk);
    EXPECT_EQ(held->database(), nullptr);
    EXPECT_EQ(held->value()->getDouble(), 3);
    (void)m_asserts.take();  // debug builds tell of pointers that are held
}

}  // namespace
