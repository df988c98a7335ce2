#include "assoc/od_db_assoc_network.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "db/od_db_host_app_services.h"
#include "db/od_db_proxy_object.h"
#include "db/od_db_xrecord.h"
#include "root/root_test_support.h"
#include "support/zem_module_scope.h"

#include "zem_database_utils.h"
#include "zem_db_constraint_manager.h"
#include "zem_db_variable_reactor.h"
#include "zem_db_variable_utils.h"
#include "zem_protocol_extensions.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

namespace {

class Variables : public testing::Test
{
protected:
    OdDbObjectId add(OdString const& name, OdString const& expression = L"1")
    {
        return zemu::getAssocVariable(m_block, name, /*create=*/true, &expression);
    }

    OdDbObjectId find(OdString const& name) const
    {
        return zemu::getAssocVariable(m_block, name, /*create=*/false);
    }

    static OdDbAssocVariablePtr open(OdDbObjectId id, OdDb::OpenMode mode = OdDb::kForRead)
    {
        return id.openObject(mode);
    }

    static double value(OdDbObjectId id) { return zemu::getValueAsDouble(open(id).get()); }

    OdDbObjectId network() const { return OdDbAssocNetwork::getInstanceFromObject(m_block); }

    ZemModuleScope m_scope;
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    OdDbObjectId m_block = m_database->getModelSpaceId();
};

/// The names that are tried one after the other, against the names that there are.
OdString generateByTrying(OdDbObjectId block, OdString const& base)
{
    std::set<OdString> names;
    zemu::getVariableNames(block, names);
    OdString candidate = base;
    for (int counter = 1; names.count(OdString(candidate).makeUpper()) != 0; ++counter) {
        candidate.format(L"%ls_%d", base.c_str(), counter);
    }
    return candidate;
}

/// Says which constraints have values, and of which kind.
class Kinds : public ZemDbConstraintManagerPE
{
public:
    bool isParametric(ZemConstraint const*) const override { return m_isParametric; }
    bool isLinearDimension(ZemConstraint const*) const override { return true; }
    bool isAngularDimension(ZemConstraint const*) const override { return false; }
    OdString generateConstraintName(ZemDbConstraintManager const*,
                                    ZemConstraint const*) const override
    {
        return OdString();
    }

    bool m_isParametric = true;
};

/// A variable with a reactor that tells a manager with one constraint.
class WatchedVariable : public Variables
{
protected:
    WatchedVariable()
    {
        ZemDbConstraintManager::desc()->addX(ZemDbConstraintManagerPE::desc(), m_kinds.get());
        m_constraint->properties().setProperty(L"assocVar", m_variable,
                                               OdDb::ReferenceType::kSoftPointerRef);
        OdSmartPtr<ZemDbConstraintManager>(m_manager.openObject(OdDb::kForWrite))
            ->addConstraint(m_constraint);
        m_reactor = m_database->addOdDbObject(odrxMake<ZemDbVariableReactor>().get(), m_manager);
        m_variable.openObject(OdDb::kForWrite)->addPersistentReactor(m_reactor);
    }
    ~WatchedVariable() override
    {
        ZemDbConstraintManager::desc()->delX(ZemDbConstraintManagerPE::desc());
    }

    OdSmartPtr<Kinds> m_kinds = odrxMake<OdRxObjectImpl<Kinds>>();
    OdSmartPtr<ZemConstraint> m_constraint = ZemConstraint::desc()->create();
    OdDbObjectId m_variable = add(L"d1", L"3");
    OdDbObjectId m_manager =
        zemu::getObjInExtDict(m_block, kZemDatabaseKey, ZemDbConstraintManager::desc());
    OdDbObjectId m_reactor;
};

}  // namespace

TEST_F(Variables, ValuesReadAsDoubles)
{
    EXPECT_EQ(zemu::getValueAsDouble(OdDbEvalVariant::create(2.5).get()), 2.5);
    EXPECT_EQ(zemu::getValueAsDouble(OdDbEvalVariant::create(-3).get()), -3.0);
    EXPECT_EQ(zemu::getValueAsDouble(OdDbEvalVariant::create(OdString(L"2")).get()), -1.0);
    EXPECT_EQ(zemu::getValueAsDouble(odrxMake<OdDbEvalVariant>().get()), -1.0);
    EXPECT_EQ(zemu::getValueAsDouble(static_cast<OdDbEvalVariant const*>(nullptr)), -1.0);
    EXPECT_EQ(zemu::getValueAsDouble(static_cast<OdDbAssocVariable const*>(nullptr)), -1.0);
    EXPECT_EQ(value(add(L"a", L"4*2")), 8.0);
}

TEST_F(Variables, ValuesReadAsIntegersCutTowardsZero)
{
    EXPECT_EQ(zemu::getValueAsInt(OdDbEvalVariant::create(-2.7).get()), -2);
    EXPECT_EQ(zemu::getValueAsInt(OdDbEvalVariant::create(2.7).get()), 2);
    EXPECT_EQ(zemu::getValueAsInt(OdDbEvalVariant::create(7).get()), 7);
    EXPECT_EQ(zemu::getValueAsInt(OdDbEvalVariant::create(2147483647.9).get()), 2147483647);
    EXPECT_EQ(zemu::getValueAsInt(OdDbEvalVariant::create(-2147483648.5).get()), -2147483647 - 1);
    EXPECT_EQ(zemu::getValueAsInt(nullptr), -1);
    EXPECT_EQ(zemu::getValueAsInt(OdDbEvalVariant::create(OdString(L"7")).get()), -1);
}

TEST_F(Variables, DoublesThatNoIntegerCanHoldReadAsNone)
{
    for (double number : {3e9, -3e9, std::numeric_limits<double>::infinity(),
                          std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(zemu::getValueAsInt(OdDbEvalVariant::create(number).get()), -1) << number;
    }
}

TEST_F(Variables, ConstantExpressionsHaveTwelveDigits)
{
    EXPECT_EQ(zemu::getConstExpression(0.1), L"0.1");
    EXPECT_EQ(zemu::getConstExpression(1.0 / 3.0), L"0.333333333333");
    EXPECT_EQ(zemu::getConstExpression(1e20), L"1e+20");
    EXPECT_EQ(zemu::getConstExpression(-5), L"-5");
}

TEST_F(Variables, AConstantExpressionIsSet)
{
    const OdDbObjectId id = add(L"a");
    EXPECT_EQ(zemu::setConstExpression(open(id, OdDb::kForWrite).get(), 2.5), kOdOk);
    EXPECT_EQ(open(id)->expression(), L"2.5");
    EXPECT_EQ(value(id), 2.5);
    EXPECT_EQ(zemu::setConstExpression(nullptr, 1), kOdVariableMissing);
    EXPECT_EQ(zemu::setConstExpression(open(id, OdDb::kForWrite).get(),
                                       std::numeric_limits<double>::infinity()),
              kOdInvalidInput);
    EXPECT_EQ(open(id)->expression(), L"2.5");
}

TEST_F(Variables, OnlyConstantTextsHaveAConstantValue)
{
    EXPECT_EQ(zemu::getValueAsDouble(zemu::getConstValue(L"2*(3+4)").get()), 14.0);
    for (wchar_t const* text : {L"a+1", L"", L"2*", L"inf", L"1/0"}) {
        EXPECT_TRUE(zemu::getConstValue(text).isNull()) << OdString(text).utf8();
    }
}

TEST_F(Variables, AVariableThatDependsOnNothingIsConstant)
{
    const OdDbObjectId a = add(L"a", L"1+1");
    const OdDbObjectId b = add(L"b", L"a*2");
    EXPECT_TRUE(zemu::hasConstExpression(open(a).get()));
    EXPECT_FALSE(zemu::hasConstExpression(open(b).get()));
    EXPECT_FALSE(zemu::hasConstExpression(nullptr));
    ASSERT_EQ(open(b, OdDb::kForWrite)->removeAllDependencies(/*alsoErase=*/true), kOdOk);
    EXPECT_TRUE(zemu::hasConstExpression(open(b).get()));
}

TEST_F(Variables, AnonymousNamesAreEmptyOrStartWithAStar)
{
    EXPECT_TRUE(zemu::isAnonymous(OdString(L"")));
    EXPECT_TRUE(zemu::isAnonymous(OdString(L"*A")));
    EXPECT_FALSE(zemu::isAnonymous(OdString(L"A*")));
    EXPECT_TRUE(zemu::isAnonymous(static_cast<OdDbAssocVariable const*>(nullptr)));
    EXPECT_TRUE(zemu::isAnonymous(open(add(L"*1")).get()));
    EXPECT_FALSE(zemu::isAnonymous(open(add(L"a")).get()));
}

TEST_F(Variables, LookingForAVariableMakesNoNetwork)
{
    EXPECT_TRUE(find(L"a").isNull());
    EXPECT_TRUE(network().isNull());
    EXPECT_TRUE(m_block.openObject()->extensionDictionary().isNull());
}

TEST_F(Variables, AnEmptyNetworkFindsNothing)
{
    OdDbAssocNetwork::getInstanceFromObject(m_block, /*create=*/true);
    EXPECT_TRUE(find(L"a").isNull());
}

TEST_F(Variables, AnEmptyNetworkGetsANewVariableThatStartsAtOne)
{
    OdDbAssocNetwork::getInstanceFromObject(m_block, /*create=*/true);
    const OdDbObjectId id = zemu::getAssocVariable(m_block, L"a", /*create=*/true);
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(open(id)->expression(), L"1");
}

TEST_F(Variables, ANewVariableStartsAtOne)
{
    const OdDbObjectId id = zemu::getAssocVariable(m_block, L"a", /*create=*/true);
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(open(id)->name(), L"a");
    EXPECT_EQ(open(id)->expression(), L"1");
    EXPECT_EQ(value(id), 1.0);
    EXPECT_EQ(open(id)->ownerId(), network());
    EXPECT_TRUE(OdDbAssocNetworkPtr(network().openObject())->getActions().contains(id));
}

TEST_F(Variables, AVariableIsFoundWithoutCaseAndKeepsItsExpression)
{
    const OdDbObjectId id = add(L"Width", L"5");
    EXPECT_EQ(find(L"WIDTH"), id);
    EXPECT_EQ(add(L"width", L"7"), id);
    EXPECT_EQ(open(id)->expression(), L"5");
}

TEST_F(Variables, ANewVariableKeepsItsNameWithoutAnExpressionThatCanBeSet)
{
    const OdDbObjectId id = add(L"a", L"nobody+1");
    EXPECT_EQ(find(L"a"), id);
    EXPECT_EQ(open(id)->expression(), L"");
}

TEST_F(Variables, ErasedVariablesAreNotFound)
{
    const OdDbObjectId first = add(L"a");
    add(L"b");
    ASSERT_EQ(first.openObject(OdDb::kForWrite)->erase(), kOdOk);
    EXPECT_TRUE(find(L"a").isNull());
    EXPECT_NE(add(L"a"), first);
}

TEST_F(Variables, BlocksThatCanNotBeOpenedHaveNoVariables)
{
    const OdDbObjectId erased = m_database->addOdDbObject(OdDbXrecord::createObject().get());
    ASSERT_EQ(erased.openObject(OdDb::kForWrite)->erase(), kOdOk);
    const OdDbObjectId absent = m_database->getOdDbObjectId(OdDbHandle(0x9999), /*create=*/true);
    for (OdDbObjectId id : {OdDbObjectId(), erased, absent}) {
        EXPECT_TRUE(zemu::getAssocVariable(id, L"a", /*create=*/true).isNull());
        std::set<OdString> names;
        zemu::getVariableNames(id, names);
        EXPECT_TRUE(names.empty());
        EXPECT_EQ(zemu::generateVariableName(id, L"a"), L"a");
    }
}

TEST_F(Variables, ANewVariableGoesWithUndo)
{
    m_database->startUndoRecord();
    const OdDbObjectId id = add(L"a");
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_TRUE(id.isErased());
    EXPECT_TRUE(find(L"a").isNull());
    EXPECT_TRUE(network().isNull());
    ASSERT_EQ(m_database->redo(), kOdOk);
    EXPECT_EQ(find(L"a"), id);
}

TEST_F(Variables, NamesAreCollectedInUpperCase)
{
    add(L"Width");
    add(L"*1");
    std::set<OdString> names{L"other"};
    zemu::getVariableNames(m_block, names);
    EXPECT_EQ(names, (std::set<OdString>{L"other", L"WIDTH", L"*1"}));
    zemu::getVariableNames(m_database->getPaperSpaceId(), names);
    EXPECT_EQ(names.size(), 3u);
}

TEST_F(Variables, AFreeNameIsNumberedWithoutCase)
{
    EXPECT_EQ(zemu::generateVariableName(m_block, L"D1"), L"D1");
    add(L"d1");
    EXPECT_EQ(zemu::generateVariableName(m_block, L"D1"), L"D1_1");
    add(L"D1_1");
    EXPECT_EQ(zemu::generateVariableName(m_block, L"D1"), L"D1_2");
    EXPECT_EQ(zemu::generateVariableName(m_block, L"d1"), L"d1_2");
    EXPECT_EQ(zemu::generateVariableName(m_block, L"D1_1"), L"D1_1_1");
}

TEST_F(Variables, AnEmptyBaseIsFreeUntilAVariableHasNoName)
{
    EXPECT_EQ(zemu::generateVariableName(m_block, L""), L"");
    add(L"not a name");
    EXPECT_EQ(zemu::generateVariableName(m_block, L""), L"_1");
    EXPECT_EQ(zemu::generateVariableName(m_block, L""), generateByTrying(m_block, L""));
}

TEST_F(Variables, FreeNamesAreThoseOfTryingAllThroughAnyEdits)
{
    std::mt19937 random(20240607);
    const auto pick = [&random](unsigned count) { return random() % count; };
    const OdString bases[] = {L"d", L"D", L"d_1", L"e", L"d_01", L"_"};
    std::vector<OdDbObjectId> ids;
    for (int round = 0; round < 500; ++round) {
        if (pick(4) == 0) {
            m_database->startUndoRecord();
        }
        const OdDbObjectId id = ids.empty() ? OdDbObjectId() : ids[pick(unsigned(ids.size()))];
        const OdDbObjectPtr object = id.openObject(OdDb::kForWrite, /*openErased=*/true);
        switch (pick(8)) {
        case 0:
        case 1:
        case 2:
            ids.push_back(add(zemu::generateVariableName(m_block, bases[pick(6)])));
            break;
        case 3:
            if (!object.isNull()) {
                (void)object->erase(pick(2) == 0);
            }
            break;
        case 4:
            if (!object.isNull() && !object->isErased()) {
                OdString name;
                name.format(L"%ls_%u", bases[pick(6)].c_str(), pick(9));
                (void)OdDbAssocVariablePtr(object)->setName(name, /*updateOthers=*/false);
            }
            break;
        case 5:
            (void)m_database->undo();
            break;
        case 6:
            (void)m_database->redo();
            break;
        default:
            if (const OdDbAssocNetworkPtr opened = network().openObject(OdDb::kForWrite);
                !opened.isNull()) {
                (void)opened->removeAction(id, /*erase=*/false);
            }
            break;
        }
        for (OdString const& base : bases) {
            ASSERT_EQ(zemu::generateVariableName(m_block, base), generateByTrying(m_block, base))
                << "round " << round;
        }
    }
}

TEST_F(Variables, FreeNamesAreRightWhereAVariableOfAnotherBlockIsListed)
{
    add(L"d");
    const OdDbObjectId other =
        zemu::getAssocVariable(m_database->getPaperSpaceId(), L"d_1", /*create=*/true);
    ASSERT_EQ(OdDbAssocNetworkPtr(network().openObject(OdDb::kForWrite))
                  ->addAction(other, /*owned=*/false),
              kOdOk);
    EXPECT_EQ(zemu::generateVariableName(m_block, L"d"), L"d_2");
    ASSERT_EQ(other.openObject(OdDb::kForWrite)->erase(), kOdOk);
    EXPECT_EQ(zemu::generateVariableName(m_block, L"d"), L"d_1");
}

TEST_F(Variables, AVariableIsFoundBehindOneOfAnotherBlockThatIsListedFirst)
{
    const OdDbObjectId other =
        zemu::getAssocVariable(m_database->getPaperSpaceId(), L"x", /*create=*/true);
    const OdDbObjectId here = OdDbAssocNetwork::getInstanceFromObject(m_block, /*create=*/true);
    ASSERT_EQ(OdDbAssocNetworkPtr(here.openObject(OdDb::kForWrite))->addAction(other, false),
              kOdOk);
    const OdDbObjectId made = zemu::getAssocVariable(m_block, L"d", /*create=*/true);
    EXPECT_EQ(open(made)->name(), L"d");
    EXPECT_EQ(zemu::getAssocVariable(m_block, L"d", /*create=*/true), made);
    EXPECT_EQ(find(L"D"), made);
}

TEST_F(Variables, UsedVariablesUpToDepthOneAreTheGivenOnes)
{
    add(L"a");
    const OdDbObjectId b = add(L"b", L"a");
    for (int depth : {1, 0, -5}) {
        EXPECT_EQ(zemu::getUsedVariables({b, b, OdDbObjectId()}, depth),
                  (OdDbObjectIdArray{b, b, OdDbObjectId()}));
    }
}

TEST_F(Variables, UsedVariablesAboveDepthOneAreAllTheNearestFirst)
{
    const OdDbObjectId a = add(L"a");
    const OdDbObjectId b = add(L"b", L"a");
    const OdDbObjectId c = add(L"c", L"a");
    const OdDbObjectId d = add(L"d", L"c+b");
    const OdDbObjectId e = add(L"e", L"d+a");
    EXPECT_EQ(zemu::getUsedVariables({e}, 2), (OdDbObjectIdArray{e, d, a, c, b}));
    EXPECT_EQ(zemu::getUsedVariables({b, e}, 100), (OdDbObjectIdArray{b, e, a, d, c}));
}

TEST_F(Variables, UsedVariablesInARingAreEachGivenOnce)
{
    const OdDbObjectId a = add(L"a");
    const OdDbObjectId b = add(L"b", L"a");
    ASSERT_EQ(open(a, OdDb::kForWrite)->setExpression(L"b", L"", false, false, L"", false), kOdOk);
    EXPECT_EQ(zemu::getUsedVariables({a}, 2), (OdDbObjectIdArray{a, b}));
}

TEST_F(Variables, WhatIsNoActionUsesNothing)
{
    const OdDbObjectId proxy = m_database->addOdDbObject(odrxMake<OdDbProxyObject>().get());
    const OdDbObjectIdArray ids{OdDbObjectId(), m_block, proxy};
    EXPECT_EQ(zemu::getUsedVariables(ids, 2), ids);
    EXPECT_TRUE(zemu::getUsedVariables({}, 2).isEmpty());
}

TEST_F(Variables, TheParameterCopyModeIsRaisedForAScope)
{
    OdDbHostAppServices* const services = m_database->appServices();
    const std::int16_t before = services->parameterCopyMode();
    {
        const zemu::ZemParameterCopyModeElevate outer(m_database.get());
        EXPECT_EQ(services->parameterCopyMode(), 3);
        {
            const zemu::ZemParameterCopyModeElevate inner(m_database.get());
        }
        EXPECT_EQ(services->parameterCopyMode(), 3);
    }
    EXPECT_EQ(services->parameterCopyMode(), before);
    const zemu::ZemParameterCopyModeElevate none(nullptr);
    EXPECT_EQ(services->parameterCopyMode(), before);
}

TEST_F(WatchedVariable, ItsConstraintIsFoundThroughItsReactors)
{
    EXPECT_EQ(ZemConstraint::getDimConstraint(open(m_variable).get()), m_constraint);
    EXPECT_TRUE(ZemConstraint::getDimConstraint(nullptr).isNull());
    EXPECT_TRUE(ZemConstraint::getDimConstraint(open(add(L"free")).get()).isNull());
    m_variable.openObject(OdDb::kForWrite)->removePersistentReactor(m_reactor);
    EXPECT_TRUE(ZemConstraint::getDimConstraint(open(m_variable).get()).isNull());
}

TEST_F(WatchedVariable, AChangeReachesTheConstraint)
{
    ASSERT_EQ(zemu::setConstExpression(open(m_variable, OdDb::kForWrite).get(), 7.5), kOdOk);
    EXPECT_EQ(m_constraint->userValue(), 7.5);
}

TEST_F(WatchedVariable, AChangeWithinToleranceDoesNotReachTheConstraint)
{
    m_constraint->setUserValue(3.0);
    OdSmartPtr<ZemDbConstraintManager>(m_manager.openObject(OdDb::kForWrite))
        ->variableModified(m_variable, 3.0 + 1e-11);
    EXPECT_EQ(m_constraint->userValue(), 3.0);
}

TEST_F(WatchedVariable, AChangeDoesNotReachAConstraintWithoutValue)
{
    m_kinds->m_isParametric = false;
    ASSERT_EQ(zemu::setConstExpression(open(m_variable, OdDb::kForWrite).get(), 7.5), kOdOk);
    EXPECT_EQ(m_constraint->userValue(), 0.0);
}

TEST_F(WatchedVariable, AChangeOfAnObjectThatIsNoVariableTellsMinusOne)
{
    const OdDbObjectId record = m_database->addOdDbObject(OdDbXrecord::createObject().get());
    m_constraint->properties().setProperty(L"assocVar", record,
                                           OdDb::ReferenceType::kSoftPointerRef);
    const OdSmartPtr<ZemDbVariableReactor> reactor = m_reactor.openObject();
    reactor->modified(record.openObject().get());
    EXPECT_EQ(m_constraint->userValue(), -1.0);
}

TEST_F(WatchedVariable, UndoingAChangeTellsNothing)
{
    m_database->startUndoRecord();
    ASSERT_EQ(zemu::setConstExpression(open(m_variable, OdDb::kForWrite).get(), 7.5), kOdOk);
    ASSERT_EQ(m_database->undo(), kOdOk);
    EXPECT_EQ(value(m_variable), 3.0);
    EXPECT_EQ(m_constraint->userValue(), 7.5);
}

TEST_F(WatchedVariable, AReactorThatIsNotOpenRefusesNotices)
{
    ZemDbVariableReactor* const closed =
        OdSmartPtr<ZemDbVariableReactor>(m_reactor.openObject()).get();
    EXPECT_EQ(thrownCode([&] { closed->modified(nullptr); }), kOdNotOpen);
}

TEST_F(WatchedVariable, AReactorWithoutManagerDoesNothing)
{
    m_reactor.openObject(OdDb::kForWrite)->setOwnerId(m_block);
    ASSERT_EQ(zemu::setConstExpression(open(m_variable, OdDb::kForWrite).get(), 7.5), kOdOk);
    EXPECT_EQ(m_constraint->userValue(), 0.0);
    ASSERT_EQ(m_variable.openObject(OdDb::kForWrite)->erase(), kOdOk);
    EXPECT_EQ(m_constraint->userVariable(), m_variable);
}

TEST_F(WatchedVariable, ErasingTheVariableFreesTheConstraint)
{
    ASSERT_EQ(m_variable.openObject(OdDb::kForWrite)->erase(), kOdOk);
    EXPECT_TRUE(m_constraint->userVariable().isNull());
}

TEST_F(WatchedVariable, BringingTheVariableBackTellsNothing)
{
    ASSERT_EQ(m_variable.openObject(OdDb::kForWrite)->erase(), kOdOk);
    m_constraint->properties().setProperty(L"assocVar", m_variable,
                                           OdDb::ReferenceType::kSoftPointerRef);
    ASSERT_EQ(m_variable.openObject(OdDb::kForWrite, /*openErased=*/true)->erase(false), kOdOk);
    EXPECT_EQ(m_constraint->userVariable(), m_variable);
}
