#include "root/od_error.h"
#include "root/od_smart_ptr.h"

#include "root_test_support.h"
#include "rx_test_support.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

namespace {

class SmartPtr : public testing::Test
{
protected:
    void TearDown() override { EXPECT_EQ(RxAnimal::s_alive, 0); }

    RxFamily m_family;
};

TEST_F(SmartPtr, IsNullByDefaultAndFromNull)
{
    const RxDogPtr none;
    EXPECT_TRUE(none.isNull());
    EXPECT_FALSE(static_cast<bool>(none));
    EXPECT_EQ(none.get(), nullptr);
    EXPECT_TRUE(none == nullptr);
    EXPECT_TRUE(RxDogPtr(nullptr).isNull());
    EXPECT_TRUE(RxDogPtr(static_cast<OdRxObject*>(nullptr)).isNull());
    EXPECT_TRUE(RxDogPtr(RxAnimalPtr()).isNull());
}

TEST_F(SmartPtr, HoldsOneReference)
{
    const RxDogPtr dog = odrxMake<RxDog>();
    EXPECT_EQ(dog->numRefs(), 1);
    {
        const RxDogPtr copy(dog);
        const RxAnimalPtr base(dog);
        const RxDogPtr raw(dog.get());
        EXPECT_EQ(dog->numRefs(), 4);
        EXPECT_TRUE(copy == dog);
        EXPECT_TRUE(base == dog);
        EXPECT_TRUE(raw == dog.get());
    }
    EXPECT_EQ(dog->numRefs(), 1);
}

TEST_F(SmartPtr, MovesWithoutCounting)
{
    RxDogPtr dog = odrxMake<RxDog>();
    RxDogPtr moved(std::move(dog));
    EXPECT_TRUE(dog.isNull());  // NOLINT: moved-from pointers are null
    EXPECT_EQ(moved->numRefs(), 1);
    RxAnimalPtr base(std::move(moved));
    EXPECT_TRUE(moved.isNull());  // NOLINT
    EXPECT_EQ(base->numRefs(), 1);
    RxDogPtr back(std::move(base));
    EXPECT_TRUE(base.isNull());  // NOLINT
    EXPECT_EQ(back->numRefs(), 1);
}

TEST_F(SmartPtr, SurvivesAssignmentToItself)
{
    RxDogPtr dog = odrxMake<RxDog>();
    RxDogPtr& same = dog;
    dog = same;
    EXPECT_EQ(dog->numRefs(), 1);
    dog = std::move(same);
    ASSERT_FALSE(dog.isNull());
    EXPECT_EQ(dog->numRefs(), 1);
    dog = dog.get();
    EXPECT_EQ(dog->numRefs(), 1);
}

TEST_F(SmartPtr, LetsGoOfWhatItHeldOnAssignment)
{
    RxAnimalPtr held = odrxMake<RxAnimal>();
    const RxDogPtr dog = odrxMake<RxDog>();
    EXPECT_EQ(RxAnimal::s_alive, 2);
    held = dog;
    EXPECT_EQ(RxAnimal::s_alive, 1);
    EXPECT_EQ(dog->numRefs(), 2);
    held = nullptr;
    EXPECT_EQ(dog->numRefs(), 1);
}

TEST_F(SmartPtr, TakesOverAndHandsOverReferences)
{
    RxDogPtr dog = RxDogPtr::attach(odrxMake<RxDog>().detach());
    EXPECT_EQ(dog->numRefs(), 1);
    RxDog* raw = dog.detach();
    EXPECT_TRUE(dog.isNull());
    EXPECT_EQ(raw->numRefs(), 1);
    raw->release();
    dog.release();
    EXPECT_TRUE(dog.isNull());
}

TEST_F(SmartPtr, ThrowsForTheWrongClassAndNamesBoth)
{
    const RxAnimalPtr animal = odrxMake<RxAnimal>();
    try {
        const RxDogPtr dog(animal);
        FAIL() << "an animal passed for a dog";
    } catch (OdError_NotThatKindOfClass const& error) {
        EXPECT_EQ(error.code(), kOdNotThatKindOfClass);
        EXPECT_EQ(error.fromClass(), RxAnimal::desc());
        EXPECT_EQ(error.toClass(), RxDog::desc());
        EXPECT_EQ(error.description(), OdString(L"RxAnimal is not a Dog of the tests"));
    }
    EXPECT_EQ(animal->numRefs(), 1);
}

TEST_F(SmartPtr, StaysAsItWasWhenAnAssignmentThrows)
{
    RxAnimalPtr animal = odrxMake<RxAnimal>();
    RxDogPtr dog = odrxMake<RxDog>();
    RxDog const* before = dog.get();
    EXPECT_THROW(dog = animal, OdError_NotThatKindOfClass);
    EXPECT_THROW(dog = static_cast<OdRxObject*>(animal.get()), OdError_NotThatKindOfClass);
    EXPECT_THROW(dog = std::move(animal), OdError_NotThatKindOfClass);
    EXPECT_EQ(dog.get(), before);
    EXPECT_EQ(dog->numRefs(), 1);
    ASSERT_FALSE(animal.isNull());  // NOLINT: a move that throws takes nothing
    EXPECT_EQ(animal->numRefs(), 1);
}

TEST_F(SmartPtr, TakesTheExtensionThatAnObjectAnswersWith)
{
    const RxVoicePtr voice = makeVoice(3);
    RxAnimal::desc()->addX(RxVoice::desc(), voice.get());
    const RxDogPtr dog = odrxMake<RxDog>();
    RxVoicePtr asked = OdRxObjectPtr(dog);
    EXPECT_EQ(asked.get(), voice.get());
    EXPECT_EQ(voice->numRefs(), 3);
    EXPECT_EQ(dog->numRefs(), 1);
    asked = nullptr;
    EXPECT_EQ(voice->numRefs(), 2);
}

TEST_F(SmartPtr, QueriesWithoutThrowing)
{
    const RxAnimalPtr animal = odrxMake<RxAnimal>();
    EXPECT_EQ(RxDogPtr::internalQueryX(animal.get()), nullptr);
    EXPECT_EQ(RxDogPtr::internalQueryX(nullptr), nullptr);
    RxAnimal* same = RxAnimalPtr::internalQueryX(animal.get());
    EXPECT_EQ(same, animal.get());
    EXPECT_EQ(animal->numRefs(), 2);
    same->release();
}

TEST_F(SmartPtr, ComparesByTheObject)
{
    const RxDogPtr dog = odrxMake<RxDog>();
    const RxDogPtr other = odrxMake<RxDog>();
    EXPECT_FALSE(dog == other);
    EXPECT_TRUE(dog != other);
    EXPECT_TRUE(dog != nullptr);
    EXPECT_TRUE(RxDogPtr() == RxAnimalPtr());
    EXPECT_EQ(&*dog, dog.get());
}

TEST_F(SmartPtr, OfAnObjectWithoutAClassRefusesEveryOtherType)
{
    const RxDogPtr dog = odrxMake<RxDog>();
    const OdRxObjectPtr object(dog);
    RxDog::rxUninit();
    try {
        const RxAnimalPtr animal(object);
        FAIL() << "an object without class passed for an animal";
    } catch (OdError_NotThatKindOfClass const& error) {
        EXPECT_EQ(error.fromClass(), nullptr);
        EXPECT_EQ(error.toClass(), RxAnimal::desc());
    }
    EXPECT_EQ(dog->numRefs(), 2);
}

}  // namespace
