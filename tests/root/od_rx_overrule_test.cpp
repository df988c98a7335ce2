#include "root/od_rx_overrule.h"

#include "rx_test_support.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

class LegOverrule : public OdRxOverrule
{
public:
    explicit LegOverrule(int legs) : m_legs(legs) { ++s_alive; }
    ~LegOverrule() override { --s_alive; }
    bool isApplicable(OdRxObject const* object) const override
    {
        return m_legs == 0 || static_cast<RxAnimal const*>(object)->legs == m_legs;
    }

    static int s_alive;

private:
    int m_legs;
};

int LegOverrule::s_alive = 0;

using Overrule = OdSmartPtr<OdRxOverrule>;

Overrule makeOverrule(int legs = 0)
{
    return Overrule::attach(new OdRxObjectImpl<LegOverrule>(legs));
}

class RxOverrule : public testing::Test
{
protected:
    RxOverrule() { OdRxOverrule::rxInit(); }
    ~RxOverrule() override
    {
        if (OdRxOverrule::desc() != nullptr) {
            OdRxOverrule::rxUninit();
        }
    }
    OdRxOverrule* find(OdRxOverrule const* after = nullptr) const
    {
        return odrxFindOverrule(m_dog.get(), OdRxOverrule::desc(), after);
    }

    RxFamily m_family;
    RxDogPtr m_dog = odrxMake<RxDog>();
};

TEST_F(RxOverrule, IsHeldWhileItIsAttached)
{
    {
        const Overrule overrule = makeOverrule();
        EXPECT_TRUE(OdRxOverrule::addOverrule(RxDog::desc(), overrule.get()));
        EXPECT_EQ(overrule->numRefs(), 2);
        EXPECT_FALSE(OdRxOverrule::addOverrule(RxDog::desc(), overrule.get()));
        EXPECT_EQ(overrule->numRefs(), 2);
    }
    EXPECT_EQ(LegOverrule::s_alive, 1);
    EXPECT_TRUE(OdRxOverrule::removeOverrule(RxDog::desc(), find()));
    EXPECT_EQ(LegOverrule::s_alive, 0);
}

TEST_F(RxOverrule, IsRemovedHarmlesslyWhereItIsNot)
{
    const Overrule overrule = makeOverrule();
    EXPECT_FALSE(OdRxOverrule::removeOverrule(RxDog::desc(), overrule.get()));
    EXPECT_FALSE(OdRxOverrule::removeOverrule(nullptr, overrule.get()));
    EXPECT_FALSE(OdRxOverrule::removeOverrule(RxDog::desc(), nullptr));
    EXPECT_FALSE(OdRxOverrule::addOverrule(nullptr, overrule.get()));
    EXPECT_FALSE(OdRxOverrule::addOverrule(RxDog::desc(), nullptr));
    EXPECT_EQ(overrule->numRefs(), 1);
}

TEST_F(RxOverrule, ComesFirstUnlessItIsAddedAtTheEnd)
{
    const Overrule first = makeOverrule();
    const Overrule second = makeOverrule();
    const Overrule last = makeOverrule();
    OdRxOverrule::addOverrule(RxDog::desc(), second.get());
    OdRxOverrule::addOverrule(RxDog::desc(), first.get(), /*atEnd=*/false);
    OdRxOverrule::addOverrule(RxDog::desc(), last.get(), /*atEnd=*/true);
    EXPECT_EQ(RxDog::desc()->overrules(),
              (std::vector<OdRxOverrule*>{first.get(), second.get(), last.get()}));
    EXPECT_EQ(find(), first.get());
    EXPECT_EQ(find(first.get()), second.get());
    EXPECT_EQ(find(second.get()), last.get());
    EXPECT_EQ(find(last.get()), nullptr);
}

TEST_F(RxOverrule, HoldsForDerivedClassesBehindTheirOwn)
{
    const Overrule ofBase = makeOverrule();
    const Overrule own = makeOverrule();
    OdRxOverrule::addOverrule(RxAnimal::desc(), ofBase.get());
    OdRxOverrule::addOverrule(RxDog::desc(), own.get());
    EXPECT_EQ(find(), own.get());
    EXPECT_EQ(find(own.get()), ofBase.get());
    const RxAnimalPtr animal = odrxMake<RxAnimal>();
    EXPECT_EQ(odrxFindOverrule(animal.get(), OdRxOverrule::desc()), ofBase.get());
}

TEST_F(RxOverrule, IsFoundOnceWhereItIsAttachedToAClassAndToItsBase)
{
    const Overrule both = makeOverrule();
    const Overrule own = makeOverrule();
    const Overrule ofBase = makeOverrule();
    OdRxOverrule::addOverrule(RxDog::desc(), both.get());
    OdRxOverrule::addOverrule(RxDog::desc(), own.get(), /*atEnd=*/true);
    OdRxOverrule::addOverrule(RxAnimal::desc(), both.get());
    OdRxOverrule::addOverrule(RxAnimal::desc(), ofBase.get(), /*atEnd=*/true);
    EXPECT_EQ(find(), both.get());
    EXPECT_EQ(find(both.get()), own.get());
    EXPECT_EQ(find(own.get()), ofBase.get());
    EXPECT_EQ(find(ofBase.get()), nullptr);
}

TEST_F(RxOverrule, IsSkippedWhereItDoesNotApply)
{
    const Overrule forSix = makeOverrule(6);
    const Overrule forFour = makeOverrule(4);
    OdRxOverrule::addOverrule(RxDog::desc(), forFour.get());
    OdRxOverrule::addOverrule(RxDog::desc(), forSix.get());
    EXPECT_EQ(find(), forFour.get());
    m_dog->legs = 6;
    EXPECT_EQ(find(), forSix.get());
    EXPECT_EQ(find(forSix.get()), nullptr);
    m_dog->legs = 3;
    EXPECT_EQ(find(), nullptr);
}

TEST_F(RxOverrule, IsFoundByItsKind)
{
    const Overrule overrule = makeOverrule();
    OdRxOverrule::addOverrule(RxDog::desc(), overrule.get());
    EXPECT_EQ(odrxFindOverrule(m_dog.get(), RxVoice::desc()), nullptr);
    EXPECT_EQ(odrxFindOverrule(m_dog.get(), nullptr), nullptr);
}

TEST_F(RxOverrule, GoesWithTheClassItIsAttachedTo)
{
    OdRxOverrule::addOverrule(RxDog::desc(), makeOverrule().get());
    EXPECT_EQ(LegOverrule::s_alive, 1);
    RxDog::rxUninit();
    EXPECT_EQ(LegOverrule::s_alive, 0);
    EXPECT_EQ(find(), nullptr);
}

/// An overrule that attaches many others as soon as it is asked.
class BreedingOverrule : public OdRxOverrule
{
public:
    bool isApplicable(OdRxObject const*) const override
    {
        for (int i = 0; i < 64; ++i) {
            OdRxOverrule::addOverrule(RxDog::desc(), makeOverrule(100).get(), /*atEnd=*/true);
        }
        return false;
    }
};

TEST_F(RxOverrule, MayAttachOthersWhileItIsAsked)
{
    const Overrule breeding = odrxMake<BreedingOverrule>();
    OdRxOverrule::addOverrule(RxDog::desc(), breeding.get());
    EXPECT_EQ(find(), nullptr);
    EXPECT_EQ(RxDog::desc()->overrules().size(), 65U);
}

/// Takes itself, unless it stays, and another one out when it is asked.
class LeavingOverrule : public OdRxOverrule
{
public:
    bool isApplicable(OdRxObject const* /*object*/) const override
    {
        if (!stays) {
            OdRxOverrule::removeOverrule(RxDog::desc(), const_cast<LeavingOverrule*>(this));
        }
        OdRxOverrule::removeOverrule(RxDog::desc(), other);
        return answer;
    }

    OdRxOverrule* other = nullptr;
    bool answer = false;
    bool stays = false;
};

TEST_F(RxOverrule, MayTakeItselfOutWhileItIsAskedAndIsNotFoundThen)
{
    for (bool answer : {false, true}) {
        const Overrule stays = makeOverrule();
        const Overrule goes = makeOverrule(100);
        auto leaving = odrxMake<LeavingOverrule>();
        leaving->answer = answer;
        leaving->other = goes.get();
        OdRxOverrule::addOverrule(RxDog::desc(), goes.get(), /*atEnd=*/true);
        OdRxOverrule::addOverrule(RxDog::desc(), leaving.get(), /*atEnd=*/true);
        OdRxOverrule::addOverrule(RxDog::desc(), stays.get(), /*atEnd=*/true);
        leaving.release();
        EXPECT_EQ(find(), stays.get());
        EXPECT_EQ(RxDog::desc()->overrules().size(), 1U);
        OdRxOverrule::removeOverrule(RxDog::desc(), stays.get());
    }
}

TEST_F(RxOverrule, MayTakeAnEarlierOneOutWhileItIsAskedAndHidesNone)
{
    const Overrule first = makeOverrule(100);
    auto asked = odrxMake<LeavingOverrule>();
    asked->stays = true;
    asked->other = first.get();
    const Overrule last = makeOverrule();
    OdRxOverrule::addOverrule(RxDog::desc(), first.get(), /*atEnd=*/true);
    OdRxOverrule::addOverrule(RxDog::desc(), asked.get(), /*atEnd=*/true);
    OdRxOverrule::addOverrule(RxDog::desc(), last.get(), /*atEnd=*/true);
    EXPECT_EQ(find(), last.get());
}

}  // namespace
