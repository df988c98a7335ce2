#include "property_test_support.h"
#include "zem_properties.h"

#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <map>
#include <string>
#include <type_traits>
#include <vector>

using namespace property_test;

namespace {

class PropertyBag : public PropertyDatabaseTest
{
protected:
    ZemProperties m_bag;
};
class PropertyBinding : public PropertyBag
{
};

std::vector<OdString> namesOf(ZemProperties const& bag)
{
    std::vector<OdString> names;
    for (auto const& [name, node] : bag) {
        names.push_back(name);
    }
    return names;
}

//--------------------------------------------------------------------------------------------------

TEST_F(PropertyBag, StartsEmptyWithItsConfigAndVersionZero)
{
    const ZemProperties bag(kZemPropsDropErasedIds | kZemPropsOmitDefaults);
    EXPECT_TRUE(bag.isEmpty());
    EXPECT_EQ(bag.config(), 3);
    EXPECT_EQ(bag.version(), 0);
    EXPECT_TRUE(bag.begin() == bag.end());
    EXPECT_EQ(ZemProperties().config(), 0);
}

TEST_F(PropertyBag, ConfigBitsHaveTheirNumbers)
{
    EXPECT_EQ(kZemPropsDropErasedIds, 1);
    EXPECT_EQ(kZemPropsOmitDefaults, 2);
}

TEST_F(PropertyBag, SetConfigWorksOnAConstantBag)
{
    const ZemProperties& bag = m_bag;
    bag.setConfig(2);
    EXPECT_EQ(bag.config(), 2);
}

TEST_F(PropertyBag, SetVersionKeepsTheLowEightBits)
{
    const struct
    {
        int given;
        int kept;
    } kRows[] = {{1, 1}, {127, 127}, {128, -128}, {255, -1}, {256, 0}, {258, 2}, {-1, -1}};
    for (auto const& row : kRows) {
        m_bag.setVersion(row.given);
        EXPECT_EQ(m_bag.version(), row.kept) << row.given;
    }
}

TEST_F(PropertyBag, KeepsAValueOfEveryType)
{
    forEachValueType([&]<class T> {
        ZemProperties bag;
        EXPECT_TRUE(bag.setProperty(L"a", sample<T>(1))) << typeName<T>();
        T value{};
        EXPECT_TRUE(bag.getProperty(L"a", value)) << typeName<T>();
        EXPECT_TRUE(isSame(value, sample<T>(1))) << typeName<T>();
        EXPECT_FALSE(bag.getProperty(L"a")->isMapped()) << typeName<T>();
    });
}

TEST_F(PropertyBag, GivesNullAndFalseForAnAbsentName)
{
    int number = 7;
    EXPECT_TRUE(m_bag.getProperty(L"a").isNull());
    EXPECT_FALSE(m_bag.getProperty(L"a", number));
    EXPECT_EQ(number, 7);
    EXPECT_TRUE(m_bag.isEmpty()) << "looking up adds nothing";
}

TEST_F(PropertyBag, GivesFalseForAnotherTypeAndLeavesTheOutputAlone)
{
    m_bag.setProperty(L"a", 5);
    m_bag.setProperty(L"array", sample<ZemPropertyArray<double>>());
    double real = 1.5;
    EXPECT_FALSE(m_bag.getProperty(L"a", real));
    EXPECT_EQ(real, 1.5);
    ZemPropertyArray<int> numbers = sample<ZemPropertyArray<int>>();
    EXPECT_FALSE(m_bag.getProperty(L"array", numbers));
    EXPECT_TRUE(isSame(numbers, sample<ZemPropertyArray<int>>()));
}

TEST_F(PropertyBag, GivesFalseForAnEntryWithoutANode)
{
    m_bag.setReferenceType(L"a", kHardOwner);
    int number = 7;
    EXPECT_FALSE(m_bag.getProperty(L"a", number));
    EXPECT_EQ(number, 7);
}

TEST_F(PropertyBag, SetPropertyOnAnotherTypeAnswersFalseAndKeepsTheValue)
{
    m_bag.setProperty(L"a", 1.5);
    EXPECT_FALSE(m_bag.setProperty<int>(L"a", 2));
    double real = 0.0;
    EXPECT_TRUE(m_bag.getProperty(L"a", real));
    EXPECT_EQ(real, 1.5);
}

TEST_F(PropertyBag, SetPropertyTellsArraysOfDifferentElementsApart)
{
    m_bag.setProperty(L"a", sample<ZemPropertyArray<double>>());
    EXPECT_FALSE(m_bag.setProperty(L"a", sample<ZemPropertyArray<int>>()));
    EXPECT_TRUE(isSame(m_bag.getProperty(L"a"), stored(sample<ZemPropertyArray<double>>())));
}

TEST_F(PropertyBag, SetPropertyOnTheSameTypeKeepsTheNode)
{
    m_bag.setProperty(L"a", 1);
    const ZemPropertyDataPtr node = m_bag.getProperty(L"a");
    EXPECT_TRUE(m_bag.setProperty(L"a", 2));
    EXPECT_TRUE(m_bag.getProperty(L"a") == node);
    EXPECT_TRUE(isSame(node, stored(2)));
}

TEST_F(PropertyBag, SetPropertyFillsAnEntryWithoutANode)
{
    m_bag.setReferenceType(L"a", kHardOwner);
    EXPECT_TRUE(m_bag.setProperty(L"a", 2));
    EXPECT_TRUE(isSame(m_bag.getProperty(L"a"), stored(2)));
}

TEST_F(PropertyBag, KeepsAnIdWithItsKindOfReference)
{
    const OdDbObjectId id = addObject();
    EXPECT_TRUE(m_bag.setProperty(L"a", id, kHardPointer));
    EXPECT_TRUE(isSame(m_bag.getProperty(L"a"), stored(OdDbTypedId(id, kHardPointer))));
    OdDbObjectId read;
    EXPECT_TRUE(m_bag.getProperty(L"a", read));
    EXPECT_TRUE(read == id);
    EXPECT_FALSE(m_bag.getProperty(L"absent", read));
    m_bag.setProperty(L"number", 1);
    EXPECT_FALSE(m_bag.getProperty(L"number", read));
    EXPECT_TRUE(read == id);
    EXPECT_FALSE(m_bag.setProperty(L"number", id, kHardPointer));
}

TEST_F(PropertyBag, KeepsIdsWithOneKindOfReference)
{
    OdDbObjectIdArray ids;
    ids.append(addObject());
    ids.append(addObject());
    EXPECT_TRUE(m_bag.setProperty(L"a", ids, kSoftOwner));
    ZemPropertyArray<OdDbTypedId> typed;
    EXPECT_TRUE(m_bag.getProperty(L"a", typed));
    ASSERT_EQ(typed.size(), 2U);
    EXPECT_TRUE(isSame(typed[0], OdDbTypedId(ids[0], kSoftOwner)));
    EXPECT_TRUE(isSame(typed[1], OdDbTypedId(ids[1], kSoftOwner)));
    OdDbObjectIdArray read;
    read.append(addObject());
    EXPECT_TRUE(m_bag.getProperty(L"a", read));
    EXPECT_TRUE(read == ids);
    EXPECT_FALSE(m_bag.getProperty(L"absent", read));
    m_bag.setProperty(L"number", 1);
    EXPECT_FALSE(m_bag.getProperty(L"number", read));
    EXPECT_TRUE(read == ids);
    EXPECT_FALSE(m_bag.setProperty(L"number", ids, kSoftOwner));
}

TEST_F(PropertyBag, RemovePropertyTellsWhetherThereWasOne)
{
    m_bag.setProperty(L"a", 1);
    EXPECT_TRUE(m_bag.removeProperty(L"a"));
    EXPECT_FALSE(m_bag.removeProperty(L"a"));
    EXPECT_TRUE(m_bag.isEmpty());
}

TEST_F(PropertyBag, ClearKeepsConfigAndVersion)
{
    int variable = 0;
    m_bag.setConfig(1);
    m_bag.setVersion(2);
    m_bag.setProperty(L"a", 1);
    m_bag.mapProperty(L"b", &variable);
    m_bag.clear();
    EXPECT_TRUE(m_bag.isEmpty());
    EXPECT_EQ(m_bag.config(), 1);
    EXPECT_EQ(m_bag.version(), 2);
}

TEST_F(PropertyBag, NamesDifferByCase)
{
    m_bag.setProperty(L"Name", 1);
    m_bag.setProperty(L"name", 2);
    int number = 0;
    EXPECT_TRUE(m_bag.getProperty(L"Name", number));
    EXPECT_EQ(number, 1);
    EXPECT_TRUE(m_bag.getProperty(L"name", number));
    EXPECT_EQ(number, 2);
}

TEST_F(PropertyBag, NamesAreInOrderOfTheirCharacterNumbersWhateverTheOrderOfInsertion)
{
    const std::vector<OdString> expected{L"",  L"A",      L"AA",     L"Z",      L"_ab",
                                         L"a", L"\x00E4", L"\xFFFD", L"\x1F600"};
    for (const std::size_t first : {0U, 4U, 8U}) {
        ZemProperties bag;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            bag.setProperty(expected[(first + 5 * i) % expected.size()], 1);
        }
        EXPECT_EQ(namesOf(bag), expected);
    }
}

TEST_F(PropertyBag, IsNeitherCopiedNorMoved)
{
    EXPECT_FALSE(std::is_copy_constructible_v<ZemProperties>);
    EXPECT_FALSE(std::is_copy_assignable_v<ZemProperties>);
    EXPECT_FALSE(std::is_copy_constructible_v<ZemPropertyDataContainer<int>>);
}

//--------------------------------------------------------------------------------------------------

TEST_F(PropertyBinding, ReadsAndChangesAVariable)
{
    forEachType(BoundTypes(), [&]<class T> {
        ZemProperties bag;
        T variable = sample<T>(0);
        EXPECT_TRUE(bag.mapProperty(L"a", &variable)) << typeName<T>();
        T value{};
        EXPECT_TRUE(bag.getProperty(L"a", value)) << typeName<T>();
        EXPECT_TRUE(isSame(value, sample<T>(0))) << typeName<T>();
        EXPECT_TRUE(bag.setProperty(L"a", sample<T>(1))) << typeName<T>();
        EXPECT_TRUE(isSame(variable, sample<T>(1))) << typeName<T>();
        EXPECT_TRUE(bag.getProperty(L"a")->isMapped()) << typeName<T>();
    });
}

TEST_F(PropertyBinding, LeavesTheVariableAsItIsAlsoWithADefault)
{
    forEachType(BoundTypes(), [&]<class T> {
        ZemProperties bag;
        T variable = sample<T>(0);
        EXPECT_TRUE(bag.mapProperty(L"a", &variable, sample<T>(1))) << typeName<T>();
        EXPECT_TRUE(isSame(variable, sample<T>(0))) << typeName<T>();
        EXPECT_TRUE(bag.getProperty(L"a")->reset()) << typeName<T>();
        EXPECT_TRUE(isSame(variable, sample<T>(1))) << typeName<T>();
    });
}

TEST_F(PropertyBinding, CallsNeitherGetterNorSetterOfANewName)
{
    forEachType(BoundTypes(), [&]<class T> {
        ZemProperties bag;
        int calls = 0;
        const auto getter = [&calls] {
            ++calls;
            return T();
        };
        const auto setter = [&calls](T) { ++calls; };
        EXPECT_TRUE(bag.mapProperty<T>(L"a", getter, setter)) << typeName<T>();
        EXPECT_TRUE(bag.mapProperty<T>(L"b", getter, setter, sample<T>(1))) << typeName<T>();
        EXPECT_EQ(calls, 0) << typeName<T>();
        EXPECT_FALSE(bag.getProperty(L"a")->reset()) << typeName<T>();
        EXPECT_TRUE(bag.getProperty(L"b")->reset()) << typeName<T>();
        EXPECT_EQ(calls, 1) << typeName<T>();
    });
}

TEST_F(PropertyBinding, SetPropertyDoesNotCallTheSetter)
{
    int value = 1;
    int sets = 0;
    m_bag.mapProperty<int>(
        L"a", [&value] { return value; },
        [&](int newValue) {
            ++sets;
            value = newValue;
        });
    EXPECT_TRUE(m_bag.setProperty(L"a", 5));
    EXPECT_EQ(sets, 0);
    EXPECT_EQ(value, 1);
    int read = 0;
    EXPECT_TRUE(m_bag.getProperty(L"a", read));
    EXPECT_EQ(read, 1) << "the getter tells the value, not what was set";
    EXPECT_TRUE(m_bag.getProperty(L"a")->set(5));
    EXPECT_EQ(value, 5);
}

TEST_F(PropertyBinding, SetPropertyDoesNotReachBareIds)
{
    const OdDbObjectId id = addObject();
    OdDbObjectId one;
    OdDbObjectIdArray many;
    m_bag.mapProperty(L"one", &one, kHardPointer);
    m_bag.mapProperty(L"many", &many, kHardPointer);
    EXPECT_TRUE(m_bag.setProperty(L"one", id, kHardPointer));
    OdDbObjectIdArray ids;
    ids.append(id);
    EXPECT_TRUE(m_bag.setProperty(L"many", ids, kHardPointer));
    EXPECT_TRUE(one.isNull());
    EXPECT_TRUE(many.isEmpty());
}

TEST_F(PropertyBinding, HandsAStoredValueToTheVariableAndForgetsItsNode)
{
    m_bag.setProperty(L"a", 5);
    const ZemPropertyDataPtr storedNode = m_bag.getProperty(L"a");
    int variable = 1;
    EXPECT_TRUE(m_bag.mapProperty(L"a", &variable));
    EXPECT_EQ(variable, 5);
    EXPECT_FALSE(m_bag.getProperty(L"a") == storedNode);
    EXPECT_TRUE(m_bag.getProperty(L"a")->isMapped());
    EXPECT_EQ(storedNode.useCount(), 1);
}

TEST_F(PropertyBinding, HandsAStoredValueToEachKindOfBinding)
{
    forEachType(BoundTypes(), [&]<class T> {
        ZemProperties bag;
        for (const wchar_t* name : {L"a", L"b", L"c", L"d"}) {
            bag.setProperty(name, sample<T>(3));
        }
        T variable{};
        T withDefault{};
        T set{};
        T setWithDefault{};
        bag.mapProperty(L"a", &variable);
        bag.mapProperty(L"b", &withDefault, sample<T>(1));
        bag.mapProperty<T>(
            L"c", [] { return T(); }, [&set](T value) { set = value; });
        bag.mapProperty<T>(
            L"d", [] { return T(); }, [&](T value) { setWithDefault = value; }, sample<T>(1));
        EXPECT_TRUE(isSame(variable, sample<T>(3))) << typeName<T>();
        EXPECT_TRUE(isSame(withDefault, sample<T>(3))) << typeName<T>();
        EXPECT_TRUE(isSame(set, sample<T>(3))) << typeName<T>();
        EXPECT_TRUE(isSame(setWithDefault, sample<T>(3))) << typeName<T>();
        EXPECT_EQ(namesOf(bag).size(), 4U) << typeName<T>();
    });
}

TEST_F(PropertyBinding, HandsStoredIdsToBareIds)
{
    const OdDbObjectId id = addObject();
    OdDbObjectIdArray ids;
    ids.append(id);
    m_bag.setProperty(L"one", id, kSoftPointer);
    m_bag.setProperty(L"many", ids, kSoftPointer);
    OdDbObjectId one;
    OdDbObjectIdArray many;
    EXPECT_TRUE(m_bag.mapProperty(L"one", &one, kHardOwner));
    EXPECT_TRUE(m_bag.mapProperty(L"many", &many, kHardOwner));
    EXPECT_TRUE(one == id);
    EXPECT_TRUE(many == ids);
    EXPECT_TRUE(isSame(m_bag.getProperty(L"one"), stored(OdDbTypedId(id, kHardOwner))));
}

TEST_F(PropertyBinding, DropsAStoredValueOfAnotherType)
{
    const OdDbObjectId id = addObject();
    for (const wchar_t* name : {L"a", L"b", L"c", L"d", L"e", L"f"}) {
        m_bag.setProperty(name, OdString(L"text"));
    }
    int variable = 1;
    int withDefault = 2;
    int sets = 0;
    OdDbObjectId one = id;
    OdDbObjectIdArray many;
    many.append(id);
    EXPECT_TRUE(m_bag.mapProperty(L"a", &variable));
    EXPECT_TRUE(m_bag.mapProperty(L"b", &withDefault, 9));
    EXPECT_TRUE(m_bag.mapProperty<int>(
        L"c", [] { return 0; }, [&sets](int) { ++sets; }));
    EXPECT_TRUE(m_bag.mapProperty<int>(
        L"d", [] { return 0; }, [&sets](int) { ++sets; }, 9));
    EXPECT_TRUE(m_bag.mapProperty(L"e", &one, kHardOwner));
    EXPECT_TRUE(m_bag.mapProperty(L"f", &many, kHardOwner));
    EXPECT_EQ(variable, 1);
    EXPECT_EQ(withDefault, 2);
    EXPECT_EQ(sets, 0) << "what nobody filled must not reach the object";
    EXPECT_TRUE(one == id);
    EXPECT_EQ(many.size(), 1U);
    for (auto const& [name, node] : m_bag) {
        EXPECT_TRUE(node->isMapped()) << testing::PrintToString(name);
    }
}

TEST_F(PropertyBinding, SetReferenceTypeChangesABoundArrayOfIds)
{
    OdDbObjectIdArray many;
    many.append(addObject());
    m_bag.mapProperty(L"many", &many, kSoftPointer);
    m_bag.setReferenceType(L"many", kHardOwner);
    ZemPropertyArray<OdDbTypedId> typed;
    EXPECT_TRUE(m_bag.getProperty(L"many", typed));
    EXPECT_EQ(typed.at(0).type, kHardOwner);
}

TEST_F(PropertyBinding, SetReferenceTypeLeavesAllOtherNodesAlone)
{
    const OdDbObjectId id = addObject();
    OdDbObjectId one = id;
    ZemPropertyArray<OdDbTypedId> variable;
    variable.append(OdDbTypedId(id, kSoftPointer));
    m_bag.mapProperty(L"one", &one, kSoftPointer);
    m_bag.mapProperty(L"variable", &variable);
    m_bag.setProperty(L"stored", variable);
    m_bag.setProperty(L"number", 1);
    for (const wchar_t* name : {L"one", L"variable", L"stored", L"number"}) {
        m_bag.setReferenceType(name, kHardOwner);
    }
    EXPECT_TRUE(isSame(m_bag.getProperty(L"one"), stored(OdDbTypedId(id, kSoftPointer))));
    EXPECT_EQ(variable.at(0).type, kSoftPointer);
    EXPECT_TRUE(isSame(m_bag.getProperty(L"stored"), m_bag.getProperty(L"variable")));
}

TEST_F(PropertyBinding, SetReferenceTypeOfANewNameLeavesAnEntryWithoutANode)
{
    m_bag.setReferenceType(L"new", kHardOwner);
    EXPECT_EQ(namesOf(m_bag), std::vector<OdString>{L"new"});
    EXPECT_TRUE(m_bag.getProperty(L"new").isNull());
}

TEST_F(PropertyBinding, EmptySetterThrowsWhenAStoredValueIsHandedOver)
{
    m_bag.setProperty(L"a", 1);
    EXPECT_THROW(m_bag.mapProperty<int>(
                     L"a", [] { return 0; }, nullptr),
                 std::bad_function_call);
}

//--------------------------------------------------------------------------------------------------

/// Random changes of a bag of ints and texts against a plain map.
RC_GTEST_PROP(PropertyBagModel, BehavesAsAMapWithTypes, ())
{
    const OdDbPlatform platform;
    ZemProperties bag;
    std::map<std::wstring, std::pair<bool, int>> model;  // name -> is a text, value
    const int steps = *rc::gen::inRange(0, 60);
    for (int i = 0; i < steps; ++i) {
        const std::wstring key(1, static_cast<wchar_t>(*rc::gen::inRange<int>(L'a', L'h')));
        const OdString name(key.c_str());
        const int value = *rc::gen::inRange(0, 9);
        const auto old = model.find(key);
        switch (*rc::gen::inRange(0, 4)) {
        case 0:
            RC_ASSERT(bag.setProperty(name, value) == (old == model.end() || !old->second.first));
            if (old == model.end() || !old->second.first) {
                model[key] = {false, value};
            }
            break;
        case 1:
            RC_ASSERT(bag.setProperty(name, OdString(static_cast<wchar_t>(L'0' + value))) ==
                      (old == model.end() || old->second.first));
            if (old == model.end() || old->second.first) {
                model[key] = {true, value};
            }
            break;
        case 2:
            RC_ASSERT(bag.removeProperty(name) == (model.erase(key) != 0));
            break;
        default: {
            int read = -1;
            const bool isInt = old != model.end() && !old->second.first;
            RC_ASSERT(bag.getProperty(name, read) == isInt);
            RC_ASSERT(read == (isInt ? old->second.second : -1));
        }
        }
    }
    std::vector<OdString> names;
    for (auto const& [key, value] : model) {
        names.emplace_back(key.c_str());
    }
    RC_ASSERT(namesOf(bag) == names);
}

}  // namespace
