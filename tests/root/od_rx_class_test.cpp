#include "root/od_rx_class.h"

#include "root_test_support.h"
#include "rx_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

class RxClass : public testing::Test
{
protected:
    RxFamily m_family;
};

TEST_F(RxClass, TellsWhatItWasRegisteredWith)
{
    OdRxClass const& cls = *RxDog::desc();
    EXPECT_EQ(cls.name(), OdString(L"Dog of the tests"));
    EXPECT_EQ(cls.dxfName(), OdString(L"DOG"));
    EXPECT_EQ(cls.appName(), OdString(L"Root tests"));
    EXPECT_EQ(cls.dwgVersion(), 30);
    EXPECT_EQ(cls.maintenanceVersion(), 2);
    EXPECT_EQ(cls.proxyFlags(), 1);
    EXPECT_EQ(cls.customFlags(), 0U);
    EXPECT_EQ(cls.parent(), RxAnimal::desc());
    EXPECT_EQ(OdRxObject::desc()->parent(), nullptr);
}

TEST_F(RxClass, KnowsWhatItDerivesFrom)
{
    EXPECT_TRUE(RxDog::desc()->isDerivedFrom(RxDog::desc()));
    EXPECT_TRUE(RxDog::desc()->isDerivedFrom(RxAnimal::desc()));
    EXPECT_TRUE(RxDog::desc()->isDerivedFrom(OdRxObject::desc()));
    EXPECT_FALSE(RxAnimal::desc()->isDerivedFrom(RxDog::desc()));
    EXPECT_FALSE(RxDog::desc()->isDerivedFrom(RxVoice::desc()));
    EXPECT_FALSE(RxDog::desc()->isDerivedFrom(nullptr));
}

TEST_F(RxClass, IsAnObjectOfTheClassOfClasses)
{
    OdRxClass* cls = RxDog::desc();
    EXPECT_EQ(cls->isA(), OdRxClass::desc());
    EXPECT_EQ(OdRxClass::cast(cls).get(), cls);
    EXPECT_TRUE(OdRxClass::cast(odrxMake<RxDog>().get()).isNull());
    const OdSmartPtr<OdRxClass> held(cls);
    EXPECT_EQ(OdRxObjectPtr(cls).get(), cls);
}

TEST_F(RxClass, MakesInstances)
{
    const RxDogPtr dog = RxDog::desc()->create();
    EXPECT_EQ(dog->isA(), RxDog::desc());
    EXPECT_EQ(dog->numRefs(), 1);
    EXPECT_TRUE(RxVoice::desc()->create().isNull());
    EXPECT_TRUE(OdRxObject::desc()->create().isNull());
}

TEST_F(RxClass, WithoutPseudoConstructorMakesNothing)
{
    OdRxClass* cls = newOdRxClass(L"Bare", OdRxObject::desc(), nullptr);
    EXPECT_TRUE(cls->create().isNull());
    EXPECT_TRUE(odrxCreateObject(L"Bare").isNull());
    deleteOdRxClass(cls);
}

TEST_F(RxClass, GivesTheApplicationNameOfAVersionThroughItsFunction)
{
    OdRxClass* cls = newOdRxClass(
        L"Changed", RxAnimal::desc(), nullptr, 33, 4, 1025, L"CHANGED", L"Application",
        [](OdRxClass const* asked, OdString& appName, int version) {
            EXPECT_EQ(asked->name(), OdString(L"Changed"));
            if (version < 30) {
                appName = L"Old application";
            }
        },
        7);
    EXPECT_EQ(cls->appNameFor(33), OdString(L"Application"));
    EXPECT_EQ(cls->appNameFor(29), OdString(L"Old application"));
    EXPECT_EQ(cls->appName(), OdString(L"Application"));
    EXPECT_EQ(cls->customFlags(), 7U);
    EXPECT_EQ(RxDog::desc()->appNameFor(29), OdString(L"Root tests"));
    deleteOdRxClass(cls);
}

// ---------------------------------------------------------------------------------------------

class ClassDictionary : public RxClass
{
};

TEST_F(ClassDictionary, FindsClassesByTheirRegisteredNamesWithCase)
{
    EXPECT_EQ(odrxClassDictionary()->getAt(L"Dog of the tests"), RxDog::desc());
    EXPECT_EQ(odrxClassDictionary()->getAt(L"RxDog"), nullptr);
    EXPECT_EQ(odrxClassDictionary()->getAt(L"RXANIMAL"), nullptr);
    EXPECT_EQ(odrxClassDictionary()->getAt(L""), nullptr);
}

TEST_F(ClassDictionary, MakesObjectsByName)
{
    const OdRxObjectPtr object = odrxCreateObject(L"Dog of the tests");
    ASSERT_FALSE(object.isNull());
    EXPECT_EQ(object->isA(), RxDog::desc());
    EXPECT_TRUE(odrxCreateObject(L"unknown").isNull());
    EXPECT_TRUE(odrxCreateObject(L"RxVoice").isNull());
}

TEST_F(ClassDictionary, IsWalkedInOrderOfNames)
{
    std::vector<OdString> names;
    for (auto const& [name, cls] : *odrxClassDictionary()) {
        EXPECT_EQ(cls->name(), name);
        names.push_back(name);
    }
    EXPECT_EQ(names.size(), odrxClassDictionary()->size());
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
}

TEST_F(ClassDictionary, ChangesItsRevisionWithEveryClassThatComesOrGoes)
{
    const std::uint64_t first = odrxClassDictionary()->revision();
    OdRxClass* cls = newOdRxClass(L"Bare", OdRxObject::desc(), nullptr);
    const std::uint64_t second = odrxClassDictionary()->revision();
    deleteOdRxClass(cls);
    EXPECT_NE(first, second);
    EXPECT_NE(second, odrxClassDictionary()->revision());
}

// ---------------------------------------------------------------------------------------------

class Registration : public RxClass
{
};

TEST_F(Registration, OfATakenNameIsRefused)
{
    EXPECT_EQ(thrownCode([] { RxDog::rxInit(); }), kOdClassAlreadyRegistered);
    EXPECT_EQ(
        thrownCode([] { (void)newOdRxClass(L"Dog of the tests", OdRxObject::desc(), nullptr); }),
        kOdClassAlreadyRegistered);
    EXPECT_NE(RxDog::desc(), nullptr);
}

TEST_F(Registration, WithoutBaseIsRefusedButForTheRoot)
{
    const std::size_t before = odrxClassDictionary()->size();
    EXPECT_EQ(thrownCode([] { (void)newOdRxClass(L"Orphan", nullptr, nullptr); }),
              kOdClassNotRegistered);
    EXPECT_EQ(odrxClassDictionary()->size(), before);
}

TEST_F(Registration, OfADerivedClassNeedsItsBase)
{
    RxDog::rxUninit();
    RxAnimal::rxUninit();
    EXPECT_EQ(thrownCode([] { RxDog::rxInit(); }), kOdClassNotRegistered);
    EXPECT_EQ(RxDog::desc(), nullptr);
    RxAnimal::rxInit();
    RxDog::rxInit();
    EXPECT_EQ(RxDog::desc()->parent(), RxAnimal::desc());
}

TEST_F(Registration, IsTakenBackOnceAndCanBeRepeated)
{
    RxDog::rxUninit();
    EXPECT_EQ(RxDog::desc(), nullptr);
    EXPECT_EQ(odrxClassDictionary()->getAt(L"Dog of the tests"), nullptr);
    EXPECT_EQ(thrownCode([] { RxDog::rxUninit(); }), kOdClassNotRegistered);
    RxDog::rxInit();
    EXPECT_FALSE(odrxCreateObject(L"Dog of the tests").isNull());
}

TEST_F(Registration, TakenAwayLeavesLivingObjectsWithoutAClass)
{
    const RxDogPtr dog = odrxMake<RxDog>();
    RxDog::rxUninit();
    EXPECT_EQ(dog->isA(), nullptr);
    EXPECT_FALSE(dog->isKindOf(OdRxObject::desc()));
    EXPECT_EQ(dog->queryX(OdRxObject::desc()), nullptr);
    EXPECT_TRUE(RxDog::cast(dog.get()).isNull());
    EXPECT_EQ(dog->numRefs(), 1);
    RxDog::rxInit();
    EXPECT_EQ(dog->isA(), RxDog::desc());
}

TEST_F(Registration, TakenAwayBeforeADerivedClassLeavesThatOneWithTheNextBase)
{
    RxAnimal::rxUninit();
    EXPECT_EQ(RxDog::desc()->parent(), OdRxObject::desc());
    EXPECT_TRUE(RxDog::desc()->isDerivedFrom(OdRxObject::desc()));
    EXPECT_FALSE(odrxMake<RxDog>()->isKindOf(RxVoice::desc()));
}

TEST_F(Registration, OfNothingIsTakenAwayHarmlessly)
{
    deleteOdRxClass(nullptr);
}

TEST_F(Registration, NumbersClassesInTheOrderOfTheirComing)
{
    EXPECT_LT(OdRxObject::desc()->registrationNumber(), RxAnimal::desc()->registrationNumber());
    EXPECT_LT(RxAnimal::desc()->registrationNumber(), RxDog::desc()->registrationNumber());
}

TEST_F(Registration, MayCarryAChangeFunction)
{
    RxDog::rxUninit();
    RxDog::rxInit([](OdRxClass const*, OdString& appName, int) { appName += L"!"; });
    EXPECT_EQ(RxDog::desc()->appNameFor(33), OdString(L"Root tests!"));
}

// ---------------------------------------------------------------------------------------------

class ClassQuery : public RxClass
{
};

TEST_F(ClassQuery, GivesTheObjectItselfWithANewReference)
{
    const RxDogPtr dog = odrxMake<RxDog>();
    for (OdRxClass const* cls : {RxDog::desc(), RxAnimal::desc(), OdRxObject::desc()}) {
        EXPECT_EQ(dog->queryX(cls), dog.get());
        EXPECT_EQ(dog->numRefs(), 2);
        dog->release();
        EXPECT_EQ(dog->x(cls), dog.get());
        dog->release();
    }
    EXPECT_EQ(dog->numRefs(), 1);
}

TEST_F(ClassQuery, GivesNullForWhatIsNotThere)
{
    const RxAnimalPtr animal = odrxMake<RxAnimal>();
    EXPECT_EQ(animal->queryX(RxDog::desc()), nullptr);
    EXPECT_EQ(animal->x(RxVoice::desc()), nullptr);
    EXPECT_EQ(animal->queryX(nullptr), nullptr);
    EXPECT_EQ(animal->numRefs(), 1);
    EXPECT_FALSE(animal->isKindOf(nullptr));
}

TEST_F(ClassQuery, CastsToNullOnTheWrongClass)
{
    const RxAnimalPtr animal = odrxMake<RxAnimal>();
    const RxDogPtr dog = odrxMake<RxDog>();
    EXPECT_TRUE(RxDog::cast(animal.get()).isNull());
    EXPECT_EQ(RxAnimal::cast(dog.get()).get(), dog.get());
    EXPECT_TRUE(RxDog::cast(nullptr).isNull());
    EXPECT_EQ(OdRxObject::cast(dog.get()).get(), dog.get());
}

TEST_F(ClassQuery, ComparesObjectsByIdentity)
{
    const RxAnimalPtr a = odrxMake<RxAnimal>();
    const RxAnimalPtr b = odrxMake<RxAnimal>();
    EXPECT_TRUE(a->isEqualTo(a.get()));
    EXPECT_FALSE(a->isEqualTo(b.get()));
    EXPECT_FALSE(a->isEqualTo(nullptr));
    EXPECT_EQ(a->comparedTo(a.get()), OdRx::Ordering::kEqual);
    EXPECT_EQ(a->comparedTo(b.get()), OdRx::Ordering::kNotOrderable);
}

TEST_F(ClassQuery, HasNoCopyUnlessAClassSaysSo)
{
    const RxAnimalPtr a = odrxMake<RxAnimal>();
    EXPECT_EQ(thrownCode([&] { (void)a->clone(); }), kOdNotApplicable);
    EXPECT_EQ(thrownCode([&] { a->copyFrom(a.get()); }), kOdNotApplicable);
}

// ---------------------------------------------------------------------------------------------

class ProtocolExtension : public RxClass
{
};

TEST_F(ProtocolExtension, ServesTheClassAndTheClassesDerivedFromIt)
{
    const RxVoicePtr voice = makeVoice(1);
    EXPECT_TRUE(RxAnimal::desc()->addX(RxVoice::desc(), voice.get()).isNull());
    EXPECT_EQ(RxDog::desc()->getX(RxVoice::desc()).get(), voice.get());
    const RxDogPtr dog = odrxMake<RxDog>();
    const RxDogPtr other = odrxMake<RxDog>();
    EXPECT_EQ(RxVoicePtr(OdRxObjectPtr(dog)).get(), voice.get());
    EXPECT_EQ(RxVoicePtr(OdRxObjectPtr(other)).get(), voice.get());
    EXPECT_TRUE(OdRxObject::desc()->getX(RxVoice::desc()).isNull());
}

TEST_F(ProtocolExtension, IsFoundNearestToTheObjectsClass)
{
    RxAnimal::desc()->addX(RxVoice::desc(), makeVoice(1).get());
    RxDog::desc()->addX(RxVoice::desc(), makeVoice(2).get());
    EXPECT_EQ(RxVoicePtr(RxDog::desc()->getX(RxVoice::desc()))->sound(), 2);
    EXPECT_EQ(RxVoicePtr(RxAnimal::desc()->getX(RxVoice::desc()))->sound(), 1);
    RxDog::desc()->delX(RxVoice::desc());
    EXPECT_EQ(RxVoicePtr(RxDog::desc()->getX(RxVoice::desc()))->sound(), 1);
}

TEST_F(ProtocolExtension, IsHeldByItsClassUntilItIsTakenAway)
{
    RxAnimal::desc()->addX(RxVoice::desc(), makeVoice(1).get());
    EXPECT_EQ(RxBark::s_alive, 1);
    EXPECT_EQ(RxVoicePtr(RxAnimal::desc()->delX(RxVoice::desc()))->sound(), 1);
    EXPECT_EQ(RxBark::s_alive, 0);
    EXPECT_TRUE(RxAnimal::desc()->delX(RxVoice::desc()).isNull());
}

TEST_F(ProtocolExtension, ReplacesTheOneBeforeAndGivesItBack)
{
    RxAnimal::desc()->addX(RxVoice::desc(), makeVoice(1).get());
    const RxVoicePtr replaced = RxAnimal::desc()->addX(RxVoice::desc(), makeVoice(2).get());
    EXPECT_EQ(replaced->sound(), 1);
    EXPECT_EQ(RxVoicePtr(RxAnimal::desc()->getX(RxVoice::desc()))->sound(), 2);
    EXPECT_EQ(RxVoicePtr(RxAnimal::desc()->addX(RxVoice::desc(), nullptr))->sound(), 2);
    EXPECT_TRUE(RxAnimal::desc()->getX(RxVoice::desc()).isNull());
}

TEST_F(ProtocolExtension, GoesWithItsHostClass)
{
    RxDog::desc()->addX(RxVoice::desc(), makeVoice(1).get());
    RxDog::rxUninit();
    EXPECT_EQ(RxBark::s_alive, 0);
}

TEST_F(ProtocolExtension, GoesWithItsProtocolClass)
{
    RxDog::desc()->addX(RxVoice::desc(), makeVoice(1).get());
    RxVoice::rxUninit();
    EXPECT_EQ(RxBark::s_alive, 0);
    RxVoice::rxInit();
    EXPECT_TRUE(RxDog::desc()->getX(RxVoice::desc()).isNull());
}

TEST_F(ProtocolExtension, GoesFromEveryClassWithItsProtocolAndLeavesTheOthers)
{
    OdRxClass* const protocol = newOdRxClass(L"Other voice", RxVoice::desc(), nullptr);
    RxAnimal::desc()->addX(RxVoice::desc(), makeVoice(1).get());
    RxDog::desc()->addX(RxVoice::desc(), makeVoice(2).get());
    OdRxObject::desc()->addX(RxVoice::desc(), makeVoice(3).get());
    const RxDogPtr dog = odrxMake<RxDog>();
    RxDog::desc()->addX(RxAnimal::desc(), dog.get());

    RxVoice::rxUninit();
    EXPECT_EQ(RxBark::s_alive, 0);
    EXPECT_EQ(RxDog::desc()->getX(RxAnimal::desc()).get(), dog.get());
    EXPECT_EQ(protocol->parent(), OdRxObject::desc());
    deleteOdRxClass(protocol);
    RxDog::desc()->delX(RxAnimal::desc());
}

/// A voice that looks its class up in its last moment.
class CuriousVoice : public RxVoice
{
public:
    ~CuriousVoice() override
    {
        s_wasFound = odrxClassDictionary()->getAt(L"RxVoice") != nullptr;
        RxDog::desc()->delX(RxVoice::desc());
    }
    int sound() const override { return 0; }

    static bool s_wasFound;
};

bool CuriousVoice::s_wasFound = true;

TEST_F(ProtocolExtension, MayUseTheDictionaryWhileItEndsWithItsClass)
{
    RxDog::desc()->addX(RxVoice::desc(), odrxMake<CuriousVoice>().get());
    RxVoice::rxUninit();
    EXPECT_FALSE(CuriousVoice::s_wasFound);
}

TEST_F(ProtocolExtension, NeedsARegisteredProtocol)
{
    const RxVoicePtr voice = makeVoice(1);
    EXPECT_EQ(thrownCode([&] { RxDog::desc()->addX(nullptr, voice.get()); }),
              kOdClassNotRegistered);
    EXPECT_TRUE(RxDog::desc()->getX(nullptr).isNull());
    EXPECT_TRUE(RxDog::desc()->delX(nullptr).isNull());
}

TEST_F(ProtocolExtension, HasToBeOfTheProtocolsClass)
{
    const RxDogPtr dog = odrxMake<RxDog>();
    EXPECT_THROW(RxAnimal::desc()->addX(RxVoice::desc(), dog.get()), OdError_NotThatKindOfClass);
    EXPECT_TRUE(RxAnimal::desc()->getX(RxVoice::desc()).isNull());
}

TEST_F(ProtocolExtension, NeverStandsInForTheObjectsOwnClass)
{
    const RxDogPtr odd = odrxMake<RxDog>();
    RxAnimal::desc()->addX(RxAnimal::desc(), odd.get());
    const RxAnimalPtr animal = odrxMake<RxAnimal>();
    EXPECT_EQ(RxAnimal::cast(animal.get()).get(), animal.get());
    RxAnimal::desc()->delX(RxAnimal::desc());
}

// ---------------------------------------------------------------------------------------------

TEST_F(RxClass, CountsReferencesOnTheHeapAndNoneOnTheStack)
{
    {
        OdStaticRxObject<OdRxObjectImpl<RxBark>> onStack(5);
        onStack.addRef();
        onStack.release();
        onStack.release();
        EXPECT_EQ(onStack.numRefs(), 1);
        EXPECT_EQ(onStack.sound(), 5);
    }
    const RxAnimalPtr animal = odrxMake<RxAnimal>();
    EXPECT_EQ(animal->numRefs(), 1);
    animal->addRef();
    EXPECT_EQ(animal->numRefs(), 2);
    animal->release();
    EXPECT_EQ(RxAnimal::s_alive, 1);
}

TEST_F(RxClass, CountsItsLivingObjectsButNotThoseOfDerivedClasses)
{
    EXPECT_EQ(RxAnimal::desc()->livingCount(), 0);
    RxAnimalPtr animal = odrxMake<RxAnimal>();
    const RxDogPtr dog = odrxMake<RxDog>();
    EXPECT_EQ(RxAnimal::desc()->livingCount(), 1);
    EXPECT_EQ(RxDog::desc()->livingCount(), 1);
    animal.release();
    EXPECT_EQ(RxAnimal::desc()->livingCount(), 0);
}

TEST_F(RxClass, CountsAnImplementationThatIsNoClassOfItsOwnAsItsInterface)
{
    const RxVoicePtr voice = makeVoice(1);
    EXPECT_EQ(RxVoice::desc()->livingCount(), 1);
}

TEST_F(RxClass, StillCountsLivingObjectsWhenItIsRegisteredAgain)
{
    RxDogPtr dog = odrxMake<RxDog>();
    RxDog::rxUninit();
    RxDog::rxInit();
    EXPECT_EQ(RxDog::desc()->livingCount(), 1);
    RxDog::rxUninit();
    dog.release();
    RxDog::rxInit();
    EXPECT_EQ(RxDog::desc()->livingCount(), 0);
}

}  // namespace
