// Variables: values, expressions, names, notices, dependents, rings.

#include "assoc/assoc_test_support.h"

#include <limits>

using assoctest::AssocTest;
using dbtest::NoticeKind;

namespace {

using OdDbAssocVariableTest = AssocTest;

// ---------------------------------------------------------------------------------------------
// Values and expressions

TEST_F(OdDbAssocVariableTest, ANewVariableHasNoNameNoExpressionAndTheDoubleZero)
{
    const OdDbAssocVariablePtr variable = OdDbAssocVariable::createObject();
    EXPECT_TRUE(variable->name().isEmpty());
    EXPECT_TRUE(variable->expression().isEmpty());
    EXPECT_EQ(variable->value()->getType(), 1);
    EXPECT_EQ(variable->value()->getDouble(), 0.0);
}

TEST_F(OdDbAssocVariableTest, AnExpressionGivesTheValueAtOnceInsideTheWritePeriod)
{
    const OdDbObjectId a = add("a", "3");
    const OdDbAssocVariablePtr b = write(add("b"));
    EXPECT_EQ(b->setExpression("a*2+1", "", false, false, "", false), kOdOk);
    EXPECT_EQ(b->value()->getDouble(), 7);
    EXPECT_EQ(b->expression(), OdString("a*2+1"));
    EXPECT_EQ(targetsOf(b->objectId()), std::vector<OdDbObjectId>{a});
}

TEST_F(OdDbAssocVariableTest, AnEmptyExpressionDropsDependenciesAndKeepsTheValue)
{
    add("a", "3");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbObjectId dependency = dependenciesOf(b)[0];
    EXPECT_EQ(set(b, ""), kOdOk);
    EXPECT_EQ(valueOf(b), 6);
    EXPECT_TRUE(dependenciesOf(b).isEmpty());
    EXPECT_TRUE(dependency.isErased());
    EXPECT_EQ(setNumber(b, 9), kOdOk);
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(b), 9);
}

TEST_F(OdDbAssocVariableTest, ResultsAreDoublesAndIntegersThatWereSetStayIntegers)
{
    const OdDbObjectId a = add("a");
    EXPECT_EQ(write(a)->setValue(5), kOdOk);
    EXPECT_EQ(read(a)->value()->getType(), 2);
    EXPECT_EQ(read(a)->value()->getInt32(), 5);
    const OdDbObjectId b = add("b", "a");
    EXPECT_EQ(read(b)->value()->getType(), 1);
    EXPECT_EQ(set(a, "5"), kOdOk);
    EXPECT_EQ(read(a)->value()->getType(), 1);
    EXPECT_EQ(write(a)->setValue(OdDbEvalVariant::create(2.5)), kOdOk);
    EXPECT_EQ(valueOf(b), 2.5);
}

TEST_F(OdDbAssocVariableTest, AValueSetBesideAnExpressionHoldsUntilTheNextEvaluation)
{
    const OdDbObjectId a = add("a", "3");
    const OdDbObjectId b = add("b", "a*2");
    EXPECT_EQ(write(a)->setValue(8), kOdOk);
    EXPECT_EQ(valueOf(b), 16);
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(a), 3);
    EXPECT_EQ(valueOf(b), 6);
}

TEST_F(OdDbAssocVariableTest, TheValueGivenOutIsACopy)
{
    const OdDbObjectId a = add("a", "4");
    const OdDbEvalVariantPtr value = read(a)->value();
    value->setDouble(8);
    EXPECT_EQ(valueOf(a), 4);
}

TEST_F(OdDbAssocVariableTest, ValuesThatAreNoFiniteNumbersAreRefused)
{
    const OdDbObjectId a = add("a", "4");
    EXPECT_EQ(setNumber(a, std::numeric_limits<double>::infinity()), kOdInvalidInput);
    EXPECT_EQ(setNumber(a, std::numeric_limits<double>::quiet_NaN()), kOdInvalidInput);
    EXPECT_EQ(write(a)->setValue(OdDbEvalVariant::create(OdString("5"))), kOdInvalidInput);
    EXPECT_EQ(write(a)->setValue(OdDbEvalVariantPtr()), kOdInvalidInput);
    EXPECT_EQ(valueOf(a), 4);
}

struct RefusedCase
{
    char const* text;
    OdResult result;
};

TEST_F(OdDbAssocVariableTest, AFailureLeavesExpressionValueAndDependencies)
{
    const OdDbObjectId a = add("a", "3");
    const OdDbObjectId b = add("b", "a*2");
    constexpr RefusedCase kCases[] = {
        {"a*", kOdInvalidInput},     {"a/0", kOdInvalidInput}, {"1e308*a*100", kOdInvalidInput},
        {"a+c", kOdNoSuchVariable},  {"inf", kOdInvalidInput}, {"nan", kOdInvalidInput},
        {"foo(a)", kOdInvalidInput}, {"*a", kOdInvalidInput},
    };
    for (RefusedCase const& one : kCases) {
        EXPECT_EQ(set(b, one.text), one.result) << one.text;
        EXPECT_EQ(textOf(b), "a*2");
        EXPECT_EQ(valueOf(b), 6);
        EXPECT_EQ(targetsOf(b), std::vector<OdDbObjectId>{a});
    }
}

TEST_F(OdDbAssocVariableTest, APersonIsToldWhatIsWrongAndWhere)
{
    add("a", "3");
    const OdDbObjectId b = add("b", "a*2");
    OdString error;
    EXPECT_EQ(write(b)->setExpression("a + width", &error), kOdNoSuchVariable);
    EXPECT_EQ(error, OdString("column 5: unknown name width"));
    EXPECT_EQ(write(b)->setExpression("a +", &error), kOdInvalidInput);
    EXPECT_EQ(error, OdString("column 4: expression ends too early"));
    EXPECT_EQ(write(b)->setExpression("a/(3-a)", &error), kOdInvalidInput);
    EXPECT_EQ(error, OdString("column 2: division by zero"));
    EXPECT_EQ(write(b)->setExpression("b", &error), kOdCyclicReference);
    EXPECT_EQ(error, OdString("the variable would depend on itself"));
    EXPECT_EQ(write(b)->setExpression("a+1", &error), kOdOk);
}

TEST_F(OdDbAssocVariableTest, OutsideANetworkExpressionsHaveNumbersOnly)
{
    const OdDbAssocVariablePtr variable = OdDbAssocVariable::createObject();
    EXPECT_EQ(variable->setExpression("2*pi", "", true, true, "", false), kOdOk);
    EXPECT_EQ(variable->setExpression("a", "", false, false, "", false), kOdNoSuchVariable);
    EXPECT_TRUE(variable->findObjectByName("a", nullptr).isNull());
}

TEST_F(OdDbAssocVariableTest, TheTextIsKeptAsItWasSet)
{
    add("Width", "3");
    const OdDbObjectId b = add("b", "  wIDTH * 2 ");
    EXPECT_EQ(textOf(b), "  wIDTH * 2 ");
    EXPECT_EQ(valueOf(b), 6);
}

// ---------------------------------------------------------------------------------------------
// Dependencies

TEST_F(OdDbAssocVariableTest, EachVariableNamedGivesOneDependencyInOrderOfFirstMention)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "2");
    const OdDbObjectId c = add("c", "b + A*B + a + pi");
    EXPECT_EQ(targetsOf(c), (std::vector<OdDbObjectId>{b, a}));
    for (OdDbObjectId id : dependenciesOf(c)) {
        EXPECT_EQ(id.objectClass(), OdDbAssocValueDependency::desc());
        EXPECT_EQ(OdDbAssocDependencyPtr(id.safeOpenObject())->ownerId(), c);
    }
    EXPECT_TRUE(read(a)->hasPersistentReactor(dependenciesOf(c)[1]));
    EXPECT_EQ(read(a)->getPersistentReactors().size(), 1U);
    EXPECT_TRUE(dependenciesOf(a).isEmpty());
}

TEST_F(OdDbAssocVariableTest, TheNetworkIsNoReactorOfItsVariables)
{
    const OdDbObjectId a = add("a", "1");
    EXPECT_TRUE(read(a)->getPersistentReactors().isEmpty());
}

TEST_F(OdDbAssocVariableTest, ANewExpressionKeepsTheDependenciesThatStillHold)
{
    add("a", "1");
    add("b", "2");
    const OdDbObjectId c = add("c", "a+b");
    const OdDbObjectIdArray before = dependenciesOf(c);
    EXPECT_EQ(set(c, "b*2"), kOdOk);
    EXPECT_EQ(dependenciesOf(c).size(), 1U);
    EXPECT_EQ(dependenciesOf(c)[0], before[1]);
    EXPECT_TRUE(before[0].isErased());
}

TEST_F(OdDbAssocVariableTest, RemovingAllDependenciesKeepsTheText)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "a+1");
    const OdDbObjectId dependency = dependenciesOf(b)[0];
    EXPECT_EQ(write(b)->removeAllDependencies(true), kOdOk);
    EXPECT_TRUE(dependency.isErased());
    EXPECT_FALSE(read(a)->hasPersistentReactor(dependency));
    EXPECT_TRUE(dependenciesOf(b).isEmpty());
    EXPECT_EQ(textOf(b), "a+1");
    EXPECT_EQ(setNumber(a, 5), kOdOk);
    EXPECT_EQ(valueOf(b), 2);
}

TEST_F(OdDbAssocVariableTest, DependenciesMayBeTakenOffWithoutBeingErased)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "a+1");
    const OdDbObjectId dependency = dependenciesOf(b)[0];
    EXPECT_EQ(write(b)->removeAllDependencies(false), kOdOk);
    EXPECT_FALSE(dependency.isErased());
    EXPECT_TRUE(read(a)->getPersistentReactors().isEmpty());
}

// ---------------------------------------------------------------------------------------------
// Notices

TEST_F(OdDbAssocVariableTest, SettersInOneWritePeriodGiveOneNotice)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId r = addReactor();
    watch(a, r);
    {
        const OdDbAssocVariablePtr variable = write(a);
        EXPECT_EQ(variable->setExpression("", "", true, true, "", false), kOdOk);
        EXPECT_EQ(variable->setValue(5.0), kOdOk);
        EXPECT_EQ(modifiedCount(r), 0);
    }
    EXPECT_EQ(modifiedCount(r), 1);
}

TEST_F(OdDbAssocVariableTest, OpeningForWriteWithoutASetterGivesNoNotice)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId r = addReactor();
    watch(a, r);
    write(a).release();
    EXPECT_EQ(modifiedCount(r), 0);
}

TEST_F(OdDbAssocVariableTest, SettersGiveANoticeAlsoWhenNothingDiffersOrTheyAreRefused)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId r = addReactor();
    watch(a, r);
    EXPECT_EQ(set(a, "1"), kOdOk);
    EXPECT_EQ(modifiedCount(r), 1);
    EXPECT_EQ(setNumber(a, 1), kOdOk);
    EXPECT_EQ(modifiedCount(r), 2);
    EXPECT_EQ(rename(a, "a"), kOdOk);
    EXPECT_EQ(modifiedCount(r), 3);
    EXPECT_NE(set(a, "1+"), kOdOk);
    EXPECT_EQ(modifiedCount(r), 4);
    EXPECT_NE(rename(a, "1"), kOdOk);
    EXPECT_EQ(modifiedCount(r), 5);
}

TEST_F(OdDbAssocVariableTest, AReactorMayWriteTheVariableThatItIsToldOf)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId r = addReactor();
    watch(a, r);
    reactor(r).onNotice = [&](dbtest::TestReactor& told, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kModified && !told.ignore && told.depth == 1) {
            told.ignore = true;
            EXPECT_EQ(write(a)->setExpression("", "", true, true, "", false), kOdOk);
        }
    };
    EXPECT_EQ(setNumber(a, 4), kOdOk);
    EXPECT_FALSE(reactor(r).ignore);
    EXPECT_LE(reactor(r).deepest, 2);
    EXPECT_EQ(valueOf(a), 4);
}

TEST_F(OdDbAssocVariableTest, TheNoticeComesWithTheLastPointerAlsoThatOfAReader)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId r = addReactor();
    watch(a, r);
    OdDbAssocVariablePtr reader = read(a);
    EXPECT_EQ(setNumber(a, 2), kOdOk);
    EXPECT_EQ(modifiedCount(r), 0);
    reader.release();
    EXPECT_EQ(modifiedCount(r), 1);
}

TEST_F(OdDbAssocVariableTest, AnInnerUpgradeAndDowngradeLeavesTheOuterWriterItsPeriod)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId r = addReactor();
    watch(a, r);
    {
        const OdDbAssocVariablePtr outer = write(a);
        EXPECT_EQ(outer->setValue(2.0), kOdOk);
        outer->upgradeOpen();
        outer->downgradeOpen();
        EXPECT_TRUE(outer->isWriteEnabled());
        EXPECT_EQ(modifiedCount(r), 0);
    }
    EXPECT_EQ(modifiedCount(r), 1);
}

TEST_F(OdDbAssocVariableTest, AReactorOfADependentIsToldOnceWithTheNewValue)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbObjectId r = addReactor();
    watch(b, r);
    double seen = 0;
    reactor(r).onNotice = [&](dbtest::TestReactor&, NoticeKind kind, OdDbObject const& object) {
        if (kind == NoticeKind::kModified) {
            seen = static_cast<OdDbAssocVariable const&>(object).value()->getDouble();
        }
    };
    EXPECT_EQ(set(a, "5"), kOdOk);
    EXPECT_EQ(modifiedCount(r), 1);
    EXPECT_EQ(seen, 10);
}

TEST_F(OdDbAssocVariableTest, AllValuesAreSetBeforeTheFirstNoticeAndNoticesFollowDependencies)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "a+1");
    const OdDbObjectId c = add("c", "b+1");
    const OdDbObjectId d = add("d", "c+a");
    std::vector<std::string> order;
    for (OdDbObjectId id : {d, c, b, a}) {
        const OdDbObjectId r = addReactor();
        watch(id, r);
        reactor(r).onNotice = [&, id](dbtest::TestReactor&, NoticeKind kind, OdDbObject const&) {
            if (kind == NoticeKind::kModified) {
                order.push_back(nameOf(id));
                EXPECT_EQ(valueOf(d), 22) << nameOf(id);
            }
        };
    }
    EXPECT_EQ(setNumber(a, 10), kOdOk);
    EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c", "d"}));
}

TEST_F(OdDbAssocVariableTest, ADependentIsToldOnlyIfItsValueHasChanged)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "sign(a)");
    const OdDbObjectId c = add("c", "b+1");
    const OdDbObjectId onB = addReactor();
    const OdDbObjectId onC = addReactor();
    watch(b, onB);
    watch(c, onC);
    EXPECT_EQ(setNumber(a, 2), kOdOk);
    EXPECT_EQ(modifiedCount(onB), 0);
    EXPECT_EQ(modifiedCount(onC), 0);
    EXPECT_EQ(setNumber(a, -2), kOdOk);
    EXPECT_EQ(modifiedCount(onB), 1);
    EXPECT_EQ(modifiedCount(onC), 1);
    EXPECT_EQ(valueOf(c), 0);
}

TEST_F(OdDbAssocVariableTest, ADiamondIsComputedOnce)
{
    const OdDbObjectId a = add("a", "1");
    add("b", "a+1");
    add("c", "a+2");
    const OdDbObjectId d = add("d", "b*c");
    const OdDbObjectId r = addReactor();
    watch(d, r);
    EXPECT_EQ(setNumber(a, 3), kOdOk);
    EXPECT_EQ(valueOf(d), 20);
    EXPECT_EQ(modifiedCount(r), 1);
}

TEST_F(OdDbAssocVariableTest, AReactorThatChangesAnotherVariableStartsItsDependentsToo)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "a+1");
    const OdDbObjectId x = add("x", "0");
    const OdDbObjectId y = add("y", "x*10");
    const OdDbObjectId r = addReactor();
    watch(b, r);
    reactor(r).onNotice = [&](dbtest::TestReactor&, NoticeKind kind, OdDbObject const&) {
        if (kind == NoticeKind::kModified) {
            EXPECT_EQ(setNumber(x, valueOf(b)), kOdOk);
        }
    };
    EXPECT_EQ(setNumber(a, 4), kOdOk);
    EXPECT_EQ(valueOf(y), 50);
}

TEST_F(OdDbAssocVariableTest, ADependentThatCannotBeComputedKeepsItsValueUntilItCan)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "8/a");
    const OdDbObjectId c = add("c", "b+1");
    EXPECT_EQ(setNumber(a, 0), kOdOk);
    EXPECT_EQ(valueOf(b), 8);
    EXPECT_EQ(read(b)->evaluationError(), OdString("column 2: division by zero"));
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdInvalidInput);
    EXPECT_EQ(setNumber(a, 2), kOdOk);
    EXPECT_EQ(valueOf(c), 5);
    EXPECT_TRUE(read(b)->evaluationError().isEmpty());
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
}

TEST_F(OdDbAssocVariableTest, LongChainsAreComputedWithoutRecursion)
{
    constexpr int kLength = 50'000;
    const OdDbObjectId first = add("v0", "1");
    OdDbObjectId last = first;
    for (int i = 1; i < kLength; ++i) {
        OdString name;
        OdString text;
        name.format(L"v%d", i);
        text.format(L"v%d+1", i - 1);
        last = add(name, text);
    }
    EXPECT_EQ(valueOf(last), kLength);
    EXPECT_EQ(setNumber(first, 1001), kOdOk);
    EXPECT_EQ(valueOf(last), kLength + 1000);
    EXPECT_EQ(set(first, "v49999", true), kOdCyclicReference);
    EXPECT_EQ(set(first, "v49999", false), kOdOk);
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdCyclicReference);
    EXPECT_EQ(valueOf(last), kLength + 1000);
}

// ---------------------------------------------------------------------------------------------
// Rings

TEST_F(OdDbAssocVariableTest, ARingIsRefusedWhenAskedFor)
{
    const OdDbObjectId a = add("a", "1");
    add("b", "a");
    const OdDbObjectId c = add("c", "b");
    EXPECT_EQ(set(a, "c+1", true), kOdCyclicReference);
    EXPECT_EQ(textOf(a), "1");
    EXPECT_EQ(set(a, "a", true), kOdCyclicReference);
    EXPECT_EQ(set(c, "a+b", true), kOdOk);
}

TEST_F(OdDbAssocVariableTest, VariablesOfARingKeepTheirValuesAndAreVisitedOnce)
{
    struct Recorder final : OdDbAssocEvaluationCallback
    {
        void evaluated(OdDbAssocVariable const& variable, OdResult result,
                       OdString const& error) override
        {
            names.emplace_back(variable.name().utf8());
            EXPECT_EQ(result, kOdCyclicReference);
            EXPECT_EQ(error, OdString("the variable depends on itself"));
        }
        std::vector<std::string> names;
    } recorder;
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "a+1");
    const OdDbObjectId c = add("c", "b+1");
    EXPECT_EQ(set(a, "c", false), kOdOk);
    EXPECT_EQ(textOf(a), "c");
    EXPECT_EQ(valueOf(a), 1);
    EXPECT_EQ(network(m_network)->evaluate(&recorder), kOdCyclicReference);
    EXPECT_LE(recorder.names.size(), 3U);
    EXPECT_EQ(valueOf(a), 1);
    EXPECT_EQ(valueOf(b), 2);
    EXPECT_EQ(valueOf(c), 3);
    EXPECT_EQ(set(a, "a", false), kOdOk);
    EXPECT_EQ(valueOf(a), 1);
}

TEST_F(OdDbAssocVariableTest, WhatHangsOnARingFollowsAValueThatIsSetInIt)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "a+1");
    EXPECT_EQ(set(a, "b", false), kOdOk);
    const OdDbObjectId out = add("out", "a*100");
    EXPECT_EQ(write(a)->setValue(7.0), kOdOk);
    EXPECT_EQ(valueOf(out), 700);
    EXPECT_EQ(valueOf(b), 2);
}

TEST_F(OdDbAssocVariableTest, ARingThatIsOpenedIsComputedAgain)
{
    const OdDbObjectId a = add("a", "1");
    const OdDbObjectId b = add("b", "2");
    EXPECT_EQ(set(a, "b", false), kOdOk);
    EXPECT_EQ(set(b, "a", false), kOdOk);
    EXPECT_EQ(valueOf(a), 2);
    EXPECT_EQ(write(a)->setValue(1.0), kOdOk);
    EXPECT_EQ(set(b, "5"), kOdOk);
    EXPECT_EQ(valueOf(a), 5);
}

// ---------------------------------------------------------------------------------------------
// Names

TEST_F(OdDbAssocVariableTest, AnyVariableFindsThoseOfItsNetworkByNameWithoutCase)
{
    const OdDbObjectId a = add("Width");
    const OdDbObjectId anonymous = add("*3F");
    const OdDbObjectId other = add(L"\u00C4nderung");
    EXPECT_EQ(read(other)->findObjectByName("wIDTH", OdDbAssocVariable::desc()), a);
    EXPECT_EQ(read(a)->findObjectByName("*3f", OdDbAssocVariable::desc()), anonymous);
    EXPECT_EQ(read(a)->findObjectByName(L"\u00E4NDERUNG"), other);
    EXPECT_TRUE(read(a)->findObjectByName("height", OdDbAssocVariable::desc()).isNull());
    EXPECT_TRUE(read(a)->findObjectByName("", nullptr).isNull());
    EXPECT_TRUE(read(a)->findObjectByName("width", OdDbAssocNetwork::desc()).isNull());
    EXPECT_EQ(eraseObject(other), kOdOk);
    EXPECT_TRUE(read(a)->findObjectByName(L"\u00C4nderung").isNull());
}

TEST_F(OdDbAssocVariableTest, ANameIsRefusedIfItIsNoneOrTaken)
{
    const OdDbObjectId a = add("a");
    const OdDbObjectId b = add("b");
    EXPECT_EQ(rename(b, "A"), kOdDuplicateName);
    EXPECT_EQ(rename(b, "2b"), kOdInvalidKey);
    EXPECT_EQ(rename(b, ""), kOdInvalidKey);
    EXPECT_EQ(rename(b, "b c"), kOdInvalidKey);
    EXPECT_EQ(rename(b, "inf"), kOdInvalidKey);
    EXPECT_EQ(nameOf(b), "b");
    EXPECT_EQ(rename(a, "*x"), kOdOk);
    EXPECT_EQ(rename(b, "*x"), kOdOk);
    EXPECT_EQ(rename(b, "a"), kOdOk);
    EXPECT_EQ(rename(b, "A"), kOdOk);
}

TEST_F(OdDbAssocVariableTest, TheNameOfAnErasedVariableIsFree)
{
    EXPECT_EQ(eraseObject(add("a")), kOdOk);
    const OdDbObjectId b = add("a");
    EXPECT_EQ(find("a"), b);
}

TEST_F(OdDbAssocVariableTest, OutsideANetworkAnyNameIsFree)
{
    add("a");
    const OdDbAssocVariablePtr variable = OdDbAssocVariable::createObject();
    EXPECT_EQ(variable->setName("a", false), kOdOk);
    const OdDbObjectId id = m_db->addOdDbObject(variable.get());
    EXPECT_EQ(variable->setName("a", true), kOdOk);
    EXPECT_TRUE(read(id)->objectThatOwnsNetworkInstance().isNull());
}

TEST_F(OdDbAssocVariableTest, RenamingRewritesTheExpressionsThatUseTheVariable)
{
    const OdDbObjectId a = add("a", "2");
    add("ab", "3");
    const OdDbObjectId c = add("c", "A*ab + sin(a) - 1e5");
    const OdDbObjectId d = add("d", "ab");
    const OdDbObjectId onC = addReactor();
    const OdDbObjectId onD = addReactor();
    watch(c, onC);
    watch(d, onD);
    EXPECT_EQ(rename(a, L"gr\u00F6\u00DFe"), kOdOk);
    EXPECT_EQ(textOf(c), "gr\xC3\xB6\xC3\x9F"
                         "e*ab + sin(gr\xC3\xB6\xC3\x9F"
                         "e) - 1e5");
    EXPECT_EQ(textOf(d), "ab");
    EXPECT_EQ(modifiedCount(onC), 1);
    EXPECT_EQ(modifiedCount(onD), 0);
    EXPECT_EQ(setNumber(a, 0), kOdOk);
    EXPECT_EQ(valueOf(c), -1e5);
}

TEST_F(OdDbAssocVariableTest, RenamingWithoutTheOthersLeavesThemWithoutTheirVariable)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    EXPECT_EQ(rename(a, "x", false), kOdOk);
    EXPECT_EQ(textOf(b), "a*2");
    EXPECT_EQ(setNumber(a, 5), kOdOk);
    EXPECT_EQ(valueOf(b), 4);
    EXPECT_EQ(read(b)->evaluationError(), OdString("column 1: unknown name a"));
    EXPECT_EQ(rename(a, "a", false), kOdOk);
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(b), 10);
}

TEST_F(OdDbAssocVariableTest, AnExpressionNeverComesToMeanAnotherVariableByRenaming)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*pi");
    EXPECT_EQ(rename(a, "pi"), kOdDuplicateName);
    EXPECT_EQ(textOf(b), "a*pi");
    EXPECT_EQ(nameOf(a), "a");
    EXPECT_EQ(rename(a, "A"), kOdOk);
    EXPECT_EQ(textOf(b), "A*pi");
}

TEST_F(OdDbAssocVariableTest, AnAnonymousNameIsNotWrittenIntoExpressions)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    EXPECT_EQ(rename(a, "*A"), kOdOk);
    EXPECT_EQ(textOf(b), "a*2");
}

TEST_F(OdDbAssocVariableTest, UsersAreToldOfARenamingWhenItIsDone)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId c = add("c", "1");
    const OdDbObjectId user = add("user", "a*10+c");
    const OdDbObjectId r = addReactor();
    watch(user, r);
    reactor(r).onNotice = [&](dbtest::TestReactor&, dbtest::NoticeKind kind, OdDbObject const&) {
        if (kind == dbtest::NoticeKind::kModified && valueOf(c) == 1) {
            EXPECT_EQ(nameOf(a), "w");
            EXPECT_EQ(setNumber(c, 5), kOdOk);
        }
    };
    EXPECT_EQ(rename(a, "w"), kOdOk);
    EXPECT_EQ(textOf(user), "w*10+c");
    EXPECT_EQ(valueOf(user), 25);
}

TEST_F(OdDbAssocVariableTest, AReactorThatIsToldOfARenamingToComeMayTakeTheNameAway)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId c = add("c", "1");
    const OdDbObjectId user = add("user", "a*10");
    const OdDbObjectId r = addReactor();
    watch(user, r);
    reactor(r).onNotice = [&](dbtest::TestReactor&, dbtest::NoticeKind kind, OdDbObject const&) {
        if (kind == dbtest::NoticeKind::kOpenedForModify) {
            EXPECT_EQ(rename(c, "w"), kOdOk);
        }
    };
    EXPECT_EQ(rename(a, "w"), kOdDuplicateName);
    EXPECT_EQ(nameOf(a), "a");
    EXPECT_EQ(textOf(user), "a*10");
}

TEST_F(OdDbAssocVariableTest, AReactorThatIsToldOfARenamingToComeMayChangeWhatIsRewritten)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId first = add("first", "a*10");
    const OdDbObjectId second = add("second", "a*20");
    const OdDbObjectId r = addReactor();
    watch(second, r);
    m_db->startUndoRecord();
    reactor(r).onNotice = [&](dbtest::TestReactor&, dbtest::NoticeKind kind, OdDbObject const&) {
        if (kind == dbtest::NoticeKind::kOpenedForModify) {
            EXPECT_EQ(set(first, "3+a"), kOdOk);
            EXPECT_EQ(set(second, "4"), kOdOk);
            m_db->startUndoRecord();
        }
    };
    EXPECT_EQ(rename(a, "w"), kOdOk);
    EXPECT_EQ(textOf(first), "3+w");
    EXPECT_EQ(textOf(second), "4");
    EXPECT_EQ(valueOf(first), 5);
    reactor(r).onNotice = nullptr;
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(nameOf(a), "a");
    EXPECT_EQ(textOf(first), "3+a");
}

TEST_F(OdDbAssocVariableTest, AVariableThatOutlivesItsDrawingAsksNothingOfItsNetwork)
{
    const OdDbDatabasePtr other = OdDbDatabase::createObject();
    const OdDbObjectId from = other->addOdDbObject(OdDbAssocVariable::createObject().get());
    from.redirectTo(other->addOdDbObject(OdDbAssocVariable::createObject().get()));
    const OdDbAssocVariablePtr held = write(add("a", "1+1"));
    m_db.release();
    (void)m_asserts.take();  // debug builds tell of pointers that are held
    EXPECT_EQ(held->setExpression("3", "", false, false, "", false), kOdOk);
    EXPECT_EQ(held->value()->getDouble(), 3);
}

TEST_F(OdDbAssocVariableTest, AVariableThatUsesItselfIsRenamedInItsOwnExpression)
{
    const OdDbObjectId a = add("a", "2");
    EXPECT_EQ(set(a, "a+1", false), kOdOk);
    EXPECT_EQ(rename(a, "b"), kOdOk);
    EXPECT_EQ(textOf(a), "b+1");
}

// ---------------------------------------------------------------------------------------------
// Erasing

TEST_F(OdDbAssocVariableTest, ErasingTakesItOutOfTheNetworkWithItsDependencies)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbObjectId c = add("c", "b*2");
    const OdDbObjectId dependency = dependenciesOf(b)[0];
    EXPECT_EQ(eraseObject(b), kOdOk);
    EXPECT_EQ(actions(), (std::vector<OdDbObjectId>{a, c}));
    EXPECT_TRUE(dependency.isErased());
    EXPECT_FALSE(read(a)->hasPersistentReactor(dependency));
    EXPECT_EQ(textOf(c), "b*2");
    EXPECT_EQ(valueOf(c), 8);
    EXPECT_EQ(read(c)->evaluationError(), OdString("column 1: unknown name b"));
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdNoSuchVariable);
    EXPECT_EQ(valueOf(c), 8);
}

TEST_F(OdDbAssocVariableTest, AVariableThatComesBackIsUsedAgain)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbObjectId c = add("c", "b*2");
    EXPECT_EQ(eraseObject(b), kOdOk);
    EXPECT_EQ(setNumber(a, 5), kOdOk);
    EXPECT_EQ(eraseObject(b, false), kOdOk);
    EXPECT_EQ(actions(), (std::vector<OdDbObjectId>{a, b, c}));
    EXPECT_EQ(targetsOf(b), std::vector<OdDbObjectId>{a});
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(c), 20);
}

TEST_F(OdDbAssocVariableTest, AVariableDoesNotTakeTheNameOfALostOneThatItUses)
{
    const OdDbObjectId lost = add("lost", "1");
    const OdDbObjectId a = add("a", "lost*2+1");
    EXPECT_EQ(eraseObject(lost), kOdOk);
    EXPECT_EQ(rename(a, "lost"), kOdDuplicateName);
    EXPECT_EQ(nameOf(a), "a");
}

TEST_F(OdDbAssocVariableTest, ARingThatComesOfALostNameIsTold)
{
    const OdDbObjectId lost = add("lost", "1");
    const OdDbObjectId a = add("a", "lost*2+1");
    const OdDbObjectId b = add("b", "a");
    EXPECT_EQ(eraseObject(lost), kOdOk);
    EXPECT_EQ(rename(b, "lost", /*updateOthers=*/false), kOdOk);
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdCyclicReference);
    EXPECT_EQ(read(a)->evaluationError(), OdString("the variable depends on itself"));
    EXPECT_EQ(read(b)->evaluationError(), OdString("the variable depends on itself"));
    EXPECT_EQ(valueOf(a), 3);
}

TEST_F(OdDbAssocVariableTest, ANewVariableOfTheNameTakesThePlaceOfAnErasedOne)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    EXPECT_EQ(eraseObject(a), kOdOk);
    const OdDbObjectId again = add("A", "50");
    EXPECT_EQ(network(m_network)->evaluate(nullptr), kOdOk);
    EXPECT_EQ(valueOf(b), 100);
    EXPECT_EQ(targetsOf(b), std::vector<OdDbObjectId>{again});
    EXPECT_EQ(setNumber(again, 1), kOdOk);
    EXPECT_EQ(valueOf(b), 2);
}

TEST_F(OdDbAssocVariableTest, ErasingTwiceIsHarmless)
{
    const OdDbObjectId a = add("a", "2");
    EXPECT_EQ(eraseObject(a), kOdOk);
    const OdDbObjectPtr object = a.safeOpenObject(OdDb::kForWrite, /*openErased=*/true);
    EXPECT_EQ(object->erase(true), kOdAlreadyErased);
}

// ---------------------------------------------------------------------------------------------
// Undo

TEST_F(OdDbAssocVariableTest, UndoAndRedoBringBackValuesExpressionsNamesAndDependencies)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const dbtest::DatabaseState before = dbtest::stateOf(*m_db);
    m_db->startUndoRecord();
    EXPECT_EQ(rename(a, "width"), kOdOk);
    const OdDbObjectId c = add("c", "7");
    EXPECT_EQ(set(b, "width+c"), kOdOk);
    EXPECT_EQ(setNumber(a, 10), kOdOk);
    const dbtest::DatabaseState after = dbtest::stateOf(*m_db);
    ASSERT_EQ(valueOf(b), 17);
    ASSERT_EQ(find("width"), a);
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(valueOf(b), 4);
    EXPECT_EQ(textOf(b), "a*2");
    EXPECT_EQ(find("a"), a);
    EXPECT_TRUE(find("width").isNull());
    EXPECT_TRUE(find("c").isNull());
    EXPECT_EQ(actions(), (std::vector<OdDbObjectId>{a, b}));
    dbtest::DatabaseState undone = dbtest::livingStateOf(*m_db);
    for (auto const& [handle, state] : before) {
        if (!state.erased) {
            EXPECT_EQ(undone[handle], state) << handle;
        }
    }
    EXPECT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(dbtest::stateOf(*m_db), after);
    EXPECT_EQ(find("c"), c);
    EXPECT_EQ(find("width"), a);
    EXPECT_EQ(setNumber(c, 1), kOdOk);
    EXPECT_EQ(valueOf(b), 11);
}

TEST_F(OdDbAssocVariableTest, UndoOfErasingRestoresAllOfIt)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbObjectId c = add("c", "b*2");
    m_db->startUndoRecord();
    EXPECT_EQ(eraseObject(b), kOdOk);
    EXPECT_EQ(actions().size(), 2U);
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(actions(), (std::vector<OdDbObjectId>{a, b, c}));
    EXPECT_EQ(find("b"), b);
    EXPECT_EQ(setNumber(a, 10), kOdOk);
    EXPECT_EQ(valueOf(c), 40);
    EXPECT_EQ(m_db->undo(), kOdNoUndo);
    m_db->startUndoRecord();
    EXPECT_EQ(eraseObject(b), kOdOk);
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(m_db->redo(), kOdOk);
    EXPECT_EQ(actions(), (std::vector<OdDbObjectId>{a, c}));
    EXPECT_TRUE(find("b").isNull());
}

TEST_F(OdDbAssocVariableTest, NothingIsComputedDuringPlayback)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    const OdDbObjectId r = addReactor();
    watch(b, r);
    m_db->startUndoRecord();
    EXPECT_EQ(setNumber(a, 5), kOdOk);
    EXPECT_EQ(modifiedCount(r), 1);
    EXPECT_EQ(m_db->undo(), kOdOk);
    EXPECT_EQ(modifiedCount(r), 2);
    EXPECT_TRUE(reactor(r).notices.back().undoing);
    EXPECT_EQ(valueOf(b), 4);
}

TEST_F(OdDbAssocVariableTest, AnAbortedTransactionTakesDependentsBackToo)
{
    const OdDbObjectId a = add("a", "2");
    const OdDbObjectId b = add("b", "a*2");
    m_db->startTransaction();
    EXPECT_EQ(setNumber(a, 5), kOdOk);
    EXPECT_EQ(rename(a, "z"), kOdOk);
    m_db->abortTransaction();
    EXPECT_EQ(valueOf(b), 4);
    EXPECT_EQ(textOf(b), "a*2");
    EXPECT_EQ(find("a"), a);
}

// ---------------------------------------------------------------------------------------------
// Long texts

TEST_F(OdDbAssocVariableTest, AnExpressionOfAMegabyteWorksLikeAnyOther)
{
    const OdDbObjectId a = add("a", "1");
    std::string text = "0";
    while (text.size() < 1'000'000) {
        text += "+a";
    }
    const OdDbObjectId b = add("b", text.c_str());
    EXPECT_EQ(dependenciesOf(b).size(), 1U);
    EXPECT_EQ(setNumber(a, 2), kOdOk);
    EXPECT_EQ(valueOf(b), static_cast<double>(text.size() - 1));
    EXPECT_EQ(set(b, (std::string(100'000, '(') + "a" + std::string(100'000, ')')).c_str()), kOdOk);
    EXPECT_EQ(rename(a, "x"), kOdOk);
    EXPECT_EQ(valueOf(b), 2);
}

TEST_F(OdDbAssocVariableTest, AnExpressionMayNameManyVariables)
{
    std::string text = "0";
    for (int i = 0; i < 5000; ++i) {
        const std::string name = "v" + std::to_string(i);
        add(name.c_str(), "1");
        text += "+" + name;
    }
    const OdDbObjectId sum = add("total", text.c_str());
    EXPECT_EQ(valueOf(sum), 5000);
    EXPECT_EQ(setNumber(find("v4999"), 2), kOdOk);
    EXPECT_EQ(valueOf(sum), 5001);
}

}  // namespace
