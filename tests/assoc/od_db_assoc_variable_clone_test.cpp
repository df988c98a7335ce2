// Variables that are cloned or go to another network: what their names mean there.

#include "assoc/assoc_test_support.h"
#include "db/od_db_block_table.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_id_mapping.h"

#include <string>
#include <vector>

using assoctest::AssocTest;

namespace {

using Ids = std::vector<OdDbObjectId>;

class OdDbAssocVariableClone : public AssocTest
{
protected:
    OdDbAssocVariableClone() : m_block(addBlock(*m_db, "part")), m_other(networkOf(m_block)) {}

    static OdDbObjectId addBlock(OdDbDatabase& db, OdString const& name)
    {
        const OdSmartPtr<OdDbBlockTable> table =
            db.getBlockTableId().safeOpenObject(OdDb::kForWrite);
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
        block->setName(name);
        return table->add(block.get());
    }
    /// Clones variables to a network of their drawing, in this order. \return The clones.
    Ids clone(Ids const& sources, OdDbObjectId networkId)
    {
        const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
        m_db->deepCloneObjects(OdDbObjectIdArray(sources.begin(), sources.end()), networkId,
                               *mapping);
        return valuesOf(*mapping, sources);
    }
    static Ids valuesOf(OdDbIdMapping const& mapping, Ids const& sources)
    {
        Ids clones;
        for (OdDbObjectId id : sources) {
            OdDbIdPair pair(id);
            EXPECT_TRUE(mapping.compute(pair) && pair.isCloned());
            clones.push_back(pair.value());
        }
        return clones;
    }
    static Ids reactorsOf(OdDbObjectId id)
    {
        const OdDbObjectIdArray ids = read(id)->getPersistentReactors();
        return {ids.begin(), ids.end()};
    }
    static Ids idsOf(OdDbObjectIdArray const& ids) { return {ids.begin(), ids.end()}; }
    static OdDbObjectId findIn(OdDbObjectId networkId, OdString const& name)
    {
        return network(networkId, OdDb::kForRead)->findVariable(name);
    }
    static std::string errorOf(OdDbObjectId id)
    {
        return std::string(read(id)->evaluationError().utf8());
    }
    OdResult move(OdDbObjectId id, OdDbObjectId networkId)
    {
        return network(networkId)->addAction(id, /*owned=*/true);
    }

    OdDbObjectId m_block;
    OdDbObjectId m_other;  ///< network of that block
};

// ---------------------------------------------------------------------------------------------
// Clones in the network of their sources

TEST_F(OdDbAssocVariableClone, ClonesThatAreRenamedUseOneAnotherInWhateverOrder)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    for (bool isUserFirst : {false, true}) {
        const dbtest::DatabaseState before = dbtest::livingStateOf(*m_db);
        m_db->startUndoRecord();
        const Ids clones = clone(isUserFirst ? Ids{b, a} : Ids{a, b}, m_network);
        const OdDbObjectId b1 = clones[isUserFirst ? 0 : 1];
        const OdDbObjectId a1 = clones[isUserFirst ? 1 : 0];
        EXPECT_EQ(nameOf(a1), "a_1");
        EXPECT_EQ(nameOf(b1), "b_1");
        EXPECT_EQ(textOf(b1), "a_1*2");
        EXPECT_EQ(textOf(b), "a*2");
        EXPECT_EQ(targetsOf(b1), Ids{a1});
        EXPECT_EQ(reactorsOf(a), idsOf(dependenciesOf(b)));
        EXPECT_EQ(reactorsOf(a1), idsOf(dependenciesOf(b1)));
        EXPECT_EQ(setNumber(a1, 10), kOdOk);
        EXPECT_EQ(valueOf(b1), 20);
        EXPECT_EQ(valueOf(b), 4);
        EXPECT_EQ(rename(a1, "c"), kOdOk);
        EXPECT_EQ(textOf(b1), "c*2");
        EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
        EXPECT_EQ(m_db->undo(), kOdOk);
        EXPECT_EQ(dbtest::livingStateOf(*m_db), before);
    }
}

TEST_F(OdDbAssocVariableClone, NamesThatAreGivenAndTakenAtOnceAreNotMixedUp)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId a1 = add("a_1", "3");
    const OdDbObjectId c = add("c", "A+a_1*10+sin(0)");
    const Ids clones = clone({a, a1, c}, m_network);
    EXPECT_EQ(nameOf(clones[0]), "a_2");
    EXPECT_EQ(nameOf(clones[1]), "a_1_1");
    EXPECT_EQ(textOf(clones[2]), "a_2+a_1_1*10+sin(0)");
    EXPECT_EQ(targetsOf(clones[2]), (Ids{clones[0], clones[1]}));
    EXPECT_EQ(setNumber(clones[0], 5), kOdOk);
    EXPECT_EQ(valueOf(clones[2]), 35);
}

TEST_F(OdDbAssocVariableClone, OnlyWhatIsClonedTogetherIsRewritten)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId a1 = clone({a}, m_network)[0];
    const OdDbObjectId b = add("b", "a+a_1");
    const OdDbObjectId b1 = clone({b}, m_network)[0];
    EXPECT_EQ(textOf(b1), "a+a_1");
    EXPECT_EQ(targetsOf(b1), (Ids{a, a1}));
    EXPECT_EQ(setNumber(a, 4), kOdOk);
    EXPECT_EQ(valueOf(b1), 6);
}

TEST_F(OdDbAssocVariableClone, ARingIsClonedAsARing)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "a");
    EXPECT_EQ(set(a, "b+a"), kOdOk);
    const Ids clones = clone({a, b}, m_network);
    EXPECT_EQ(textOf(clones[0]), "b_1+a_1");
    EXPECT_EQ(textOf(clones[1]), "a_1");
    EXPECT_EQ(targetsOf(clones[0]), (Ids{clones[1], clones[0]}));
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdCyclicReference);
}

TEST_F(OdDbAssocVariableClone, ManyClonesOfOneVariableAreNumberedInTurn)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId unnamed = add("");
    const OdDbObjectId anonymous = add("*x");
    for (int number = 1; number <= 300; ++number) {
        const Ids clones = clone({a, unnamed, anonymous}, m_network);
        ASSERT_EQ(nameOf(clones[0]), "a_" + std::to_string(number));
        ASSERT_EQ(nameOf(clones[1]), "");
        ASSERT_EQ(nameOf(clones[2]), "*x");
    }
    EXPECT_EQ(eraseObject(find("a_7")), kOdOk);
    EXPECT_EQ(nameOf(clone({a}, m_network)[0]), "a_7");
}

TEST_F(OdDbAssocVariableClone, TranslationThatIsPutOffRewritesAsWell)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    m_db->deepCloneObjects({b}, m_network, *mapping, /*defer=*/true);
    m_db->deepCloneObjects({a}, m_network, *mapping);
    const Ids clones = valuesOf(*mapping, {a, b});
    EXPECT_EQ(textOf(clones[1]), "a_1*2");
    EXPECT_EQ(targetsOf(clones[1]), Ids{clones[0]});
    EXPECT_EQ(reactorsOf(a), idsOf(dependenciesOf(b)));
    EXPECT_EQ(reactorsOf(clones[0]), idsOf(dependenciesOf(clones[1])));
}

// ---------------------------------------------------------------------------------------------
// Clones in other networks

TEST_F(OdDbAssocVariableClone, AVariableClonedAloneLetsGoOfTheNetworkItCameFrom)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbObjectId clonedB = clone({b}, m_other)[0];
    EXPECT_EQ(nameOf(clonedB), "b");
    EXPECT_EQ(textOf(clonedB), "a*2");
    EXPECT_EQ(targetsOf(clonedB), Ids{OdDbObjectId::kNull});
    EXPECT_EQ(reactorsOf(a), idsOf(dependenciesOf(b)));
    EXPECT_EQ(errorOf(clonedB), "column 1: unknown name a");
    EXPECT_EQ(setNumber(a, 5), kOdOk);
    EXPECT_EQ(network(m_other)->evaluate(nullptr), kOdNoSuchVariable);
    EXPECT_EQ(valueOf(clonedB), 4);
    EXPECT_EQ(rename(a, "z"), kOdOk);
    EXPECT_EQ(textOf(clonedB), "a*2");
    const OdDbObjectId newA = addTo(m_other, "a", "8");
    EXPECT_EQ(network(m_other)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(clonedB), 16);
    EXPECT_EQ(targetsOf(clonedB), Ids{newA});
    EXPECT_EQ(setNumber(newA, 9), kOdOk);
    EXPECT_EQ(valueOf(clonedB), 18);
}

TEST_F(OdDbAssocVariableClone, AVariableClonedAloneUsesWhatHasTheNameInItsNewNetwork)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbObjectId otherA = addTo(m_other, "A", "10");
    const OdDbObjectId clonedB = clone({b}, m_other)[0];
    EXPECT_EQ(targetsOf(clonedB), Ids{otherA});
    EXPECT_EQ(network(m_other)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(clonedB), 20);
    EXPECT_EQ(setNumber(a, 3), kOdOk);
    EXPECT_EQ(valueOf(clonedB), 20);
    EXPECT_EQ(setNumber(otherA, 11), kOdOk);
    EXPECT_EQ(valueOf(clonedB), 22);
}

TEST_F(OdDbAssocVariableClone, VariablesClonedTogetherIntoAnotherNetworkStayTogether)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    addTo(m_other, "a", "10");
    const Ids clones = clone({a, b}, m_other);
    EXPECT_EQ(nameOf(clones[0]), "a_1");
    EXPECT_EQ(nameOf(clones[1]), "b");
    EXPECT_EQ(textOf(clones[1]), "a_1*2");
    EXPECT_EQ(targetsOf(clones[1]), Ids{clones[0]});
    EXPECT_EQ(setNumber(clones[0], 7), kOdOk);
    EXPECT_EQ(valueOf(clones[1]), 14);
}

TEST_F(OdDbAssocVariableClone, AVariableGoesAloneIntoAnotherDrawing)
{
    add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbDatabasePtr drawing = OdDbDatabase::createObject();
    const OdDbObjectId there = networkOf(drawing->getModelSpaceId());
    const OdDbObjectId a = addTo(there, "a", "10");
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    drawing->wblockCloneObjects({b}, there, *mapping, OdDb::DuplicateRecordCloning::kDrcIgnore);
    const OdDbObjectId clonedB = valuesOf(*mapping, {b})[0];
    EXPECT_EQ(targetsOf(clonedB), Ids{a});
    EXPECT_EQ(network(there)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(clonedB), 20);
    EXPECT_EQ(setNumber(a, 11), kOdOk);
    EXPECT_EQ(valueOf(clonedB), 22);
}

TEST_F(OdDbAssocVariableClone, LookingUpInANetworkThatIsBeingClonedLeavesItsSourceAlone)
{
    const OdDbObjectId a = addTo(m_other, "a", "1+1");
    EXPECT_EQ(findIn(m_other, "a"), a);
    EXPECT_EQ(network(m_other)->evaluate(nullptr), kOdOk);
    {
        const OdDbObjectPtr block = m_block.safeOpenObject();
        const OdDbDictionaryPtr dictionary =
            block->extensionDictionary().safeOpenObject(OdDb::kForWrite);
        dictionary->setAt("ZZZ", dbtest::TestBag::createObject().get());
    }
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    int lookUps = 0;
    dbtest::TestBag::s_onRead = [&](dbtest::TestBag&) {
        OdDbIdPair pair(m_other);
        if (mapping->compute(pair)) {
            (void)findIn(pair.value(), "a");
            (void)network(pair.value(), OdDb::kForRead)->freeVariableName("a");
            ++lookUps;
        }
    };
    m_db->deepCloneObjects({m_block}, m_db->getBlockTableId(), *mapping);
    dbtest::TestBag::s_onRead = nullptr;
    EXPECT_GT(lookUps, 0);
    const Ids clones = valuesOf(*mapping, {m_other, a});
    // A value that hides an expression is out of date in the network of its variable.
    EXPECT_EQ(write(a)->setValue(9.0), kOdOk);
    EXPECT_EQ(network(m_other)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(a), 2);
    EXPECT_EQ(rename(a, "renamed"), kOdOk);
    EXPECT_TRUE(findIn(m_other, "a").isNull());
    EXPECT_EQ(findIn(m_other, "renamed"), a);
    EXPECT_EQ(findIn(clones[0], "a"), clones[1]);
    EXPECT_TRUE(findIn(clones[0], "renamed").isNull());
}

TEST_F(OdDbAssocVariableClone, TheNetworkOfTheDrawingListsThatOfAClonedBlock)
{
    const OdDbObjectId a = addTo(m_other, "a", "2");
    addTo(m_other, "b", "a*2");
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    m_db->deepCloneObjects({m_block}, m_db->getBlockTableId(), *mapping);
    const Ids clones = valuesOf(*mapping, {m_other, a});
    const OdDbObjectId top = OdDbAssocNetwork::getInstanceFromDatabase(*m_db);
    EXPECT_TRUE(network(top)->getActions().contains(clones[0]));

    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbIdMappingPtr into = OdDbIdMapping::createObject();
    m_db->wblockCloneObjects({m_block}, other->getBlockTableId(), *into,
                             OdDb::DuplicateRecordCloning::kDrcReplace);
    const Ids there = valuesOf(*into, {m_other, a});
    const OdDbObjectId topThere = OdDbAssocNetwork::getInstanceFromDatabase(*other);
    ASSERT_FALSE(topThere.isNull());
    EXPECT_EQ(idsOf(network(topThere)->getActions()), Ids{there[0]});
    EXPECT_EQ(write(there[1])->setValue(9.0), kOdOk);
    EXPECT_EQ(network(topThere)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(there[1]), 2);
}

TEST_F(OdDbAssocVariableClone, ACloneThatWaitsForTranslationLeavesTheDependenciesOfItsSource)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    m_db->deepCloneObjects({b}, m_network, *mapping, /*defer=*/true);
    const Ids clones = valuesOf(*mapping, {b});
    EXPECT_EQ(set(clones[0], ""), kOdOk);
    m_db->deepCloneObjects({a}, m_network, *mapping);  // translates what waits
    EXPECT_EQ(dependenciesOf(b).size(), 1U);
    EXPECT_EQ(set(a, "5"), kOdOk);
    EXPECT_EQ(valueOf(b), 10);
    EXPECT_EQ(valueOf(clones[0]), 4);
}

// ---------------------------------------------------------------------------------------------
// Variables that move

TEST_F(OdDbAssocVariableClone, AVariableThatMovesLetsGoOfTheNetworkItCameFrom)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const dbtest::DatabaseState before = dbtest::livingStateOf(*m_db);
    m_db->startUndoRecord();
    EXPECT_EQ(move(b, m_other), kOdOk);
    EXPECT_EQ(targetsOf(b), Ids{OdDbObjectId::kNull});
    EXPECT_TRUE(reactorsOf(a).empty());
    EXPECT_EQ(setNumber(a, 5), kOdOk);
    EXPECT_EQ(valueOf(b), 4);
    EXPECT_EQ(network(m_other)->evaluate(nullptr), kOdNoSuchVariable);
    const OdDbObjectId otherA = addTo(m_other, "a", "8");
    EXPECT_EQ(network(m_other)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(b), 16);
    EXPECT_EQ(targetsOf(b), Ids{otherA});
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(dbtest::livingStateOf(*m_db), before);
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(setNumber(a, 6), kOdOk);
    EXPECT_EQ(valueOf(b), 12);
}

TEST_F(OdDbAssocVariableClone, AVariableThatMovesUsesWhatHasTheNameThere)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbObjectId otherA = addTo(m_other, "a", "10");
    EXPECT_EQ(move(b, m_other), kOdOk);
    EXPECT_EQ(targetsOf(b), Ids{otherA});
    EXPECT_EQ(network(m_other)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(b), 20);
    EXPECT_EQ(setNumber(a, 3), kOdOk);
    EXPECT_EQ(valueOf(b), 20);
}

TEST_F(OdDbAssocVariableClone, WhatUsesAVariableThatMovesAwayIsTold)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    m_db->startUndoRecord();
    EXPECT_EQ(move(a, m_other), kOdOk);
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdNoSuchVariable);
    EXPECT_EQ(errorOf(b), "column 1: unknown name a");
    EXPECT_EQ(setNumber(a, 5), kOdOk);
    EXPECT_EQ(valueOf(b), 4);
    EXPECT_EQ(rename(a, "x"), kOdOk);
    EXPECT_EQ(textOf(b), "a*2");
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(errorOf(b), "");
    EXPECT_EQ(setNumber(a, 5), kOdOk);
    EXPECT_EQ(valueOf(b), 10);
    EXPECT_EQ(move(a, m_other), kOdOk);
    const OdDbObjectId newA = add("a", "7");
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(b), 14);
    EXPECT_EQ(targetsOf(b), Ids{newA});
}

TEST_F(OdDbAssocVariableClone, AVariableThatMovesOutOfAnErasedNetworkIsNotListedWhenThatComesBack)
{
    const OdDbObjectId a = addTo(m_other, "a", "2");
    EXPECT_EQ(eraseObject(m_other), kOdOk);
    m_db->startUndoRecord();
    EXPECT_EQ(network(m_network)->addAction(a, /*owned=*/true), kOdOk);
    EXPECT_EQ(find("a"), a);
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(read(a)->ownerId(), m_other);
    EXPECT_TRUE(actions().empty());
    EXPECT_EQ(network(m_network)->addAction(a, /*owned=*/true), kOdOk);
    EXPECT_EQ(eraseObject(m_other, /*erasing=*/false), kOdOk);
    EXPECT_TRUE(network(m_other)->getActions().isEmpty());
    EXPECT_TRUE(findIn(m_other, "a").isNull());
}

TEST_F(OdDbAssocVariableClone, AnUndoneMoveLeavesNoTraceOfTheOtherNetwork)
{
    const OdDbObjectId a = add("a", "1+1");
    EXPECT_EQ(find("a"), a);
    EXPECT_TRUE(findIn(m_other, "x").isNull());
    m_db->startUndoRecord();
    EXPECT_EQ(move(a, m_other), kOdOk);
    EXPECT_EQ(findIn(m_other, "a"), a);
    EXPECT_EQ(m_db->undo(), kOdOk);
    // What is told to the network of the variable has to reach the one that owns it now.
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(write(a)->setValue(9.0), kOdOk);
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(a), 2);
    m_db->startUndoRecord();
    EXPECT_EQ(rename(a, "renamed"), kOdOk);
    EXPECT_EQ(find("renamed"), a);
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(find("a"), a);
    EXPECT_TRUE(find("renamed").isNull());
    EXPECT_TRUE(findIn(m_other, "a").isNull());
}

TEST_F(OdDbAssocVariableClone, AnUndoneEraseBehindAnUndoneMoveIsSeen)
{
    const OdDbObjectId a = add("a", "2");
    m_db->startUndoRecord();
    EXPECT_EQ(move(a, m_other), kOdOk);
    EXPECT_EQ(m_db->undo(), kOdOk);
    m_db->startUndoRecord();
    EXPECT_EQ(eraseObject(a), kOdOk);
    EXPECT_TRUE(actions().empty());
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(actions(), Ids{a});
    EXPECT_EQ(m_db->redo(), kOdOk);
    EXPECT_TRUE(actions().empty());
}

TEST_F(OdDbAssocVariableClone, AVariableIsFoundInTheNetworkThatOwnsItOnly)
{
    const OdDbObjectId a = add("a", "2");
    EXPECT_EQ(network(m_other)->addAction(a, /*owned=*/false), kOdOk);
    EXPECT_TRUE(findIn(m_other, "a").isNull());
    EXPECT_EQ(find("a"), a);
    EXPECT_EQ(rename(a, "b"), kOdOk);
    EXPECT_EQ(find("b"), a);
    EXPECT_TRUE(find("a").isNull());
    EXPECT_EQ(move(a, m_other), kOdOk);
    EXPECT_EQ(findIn(m_other, "b"), a);
    EXPECT_TRUE(find("b").isNull());
}

// ---------------------------------------------------------------------------------------------
// Renaming

TEST_F(OdDbAssocVariableClone, ARenamingThatUsersAreNotToldOfReachesThemAtTheNextEvaluation)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(rename(a, "x", /*updateOthers=*/false), kOdOk);
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdNoSuchVariable);
    const OdDbObjectId c = add("c", "5");
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdNoSuchVariable);
    EXPECT_EQ(rename(c, "a"), kOdOk);
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(b), 10);
    EXPECT_EQ(rename(c, "y", /*updateOthers=*/false), kOdOk);
    EXPECT_EQ(rename(a, "a"), kOdOk);
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(b), 4);
    EXPECT_EQ(rename(a, "*z"), kOdOk);
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdNoSuchVariable);
}

TEST_F(OdDbAssocVariableClone, ANameThatMakesAnExpressionTooLongIsRefused)
{
    const OdDbObjectId a = add("a", "2");
    std::string text = "a";
    for (int i = 0; i < 5000; ++i) {
        text += "+a";
    }
    const OdDbObjectId b = add("b", text.c_str());
    EXPECT_EQ(rename(a, std::string(1000, 'x').c_str()), kOdInvalidInput);
    EXPECT_EQ(nameOf(a), "a");
    EXPECT_EQ(textOf(b), text);
    EXPECT_EQ(rename(a, "xy"), kOdOk);
    EXPECT_EQ(valueOf(b), 10002);
}

}  // namespace
