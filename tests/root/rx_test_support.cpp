#include "rx_test_support.h"

RX_DEFINE_CLASS(RxAnimal, OdRxObject, odrxCreate<RxAnimal>, L"RxAnimal", 33, 4, 1025, L"ANIMAL",
                L"Root tests");
// Registered under a name that isn't the type's.
RX_DEFINE_CLASS(RxDog, RxAnimal, odrxCreate<RxDog>, L"Dog of the tests", 30, 2, 1, L"DOG",
                L"Root tests");
RX_DEFINE_CLASS(RxVoice, OdRxObject, odrxCreateNothing, L"RxVoice");

int RxAnimal::s_alive = 0;
int RxBark::s_alive = 0;

RxVoicePtr makeVoice(int sound)
{
    return RxVoicePtr::attach(new OdRxObjectImpl<RxBark>(sound));
}

RxFamily::RxFamily()
    : m_ownsRoot(OdRxObject::desc() == nullptr), m_ownsClass(OdRxClass::desc() == nullptr)
{
    if (m_ownsRoot) {
        OdRxObject::rxInit();
    }
    if (m_ownsClass) {
        OdRxClass::rxInit();
    }
    RxAnimal::rxInit();
    RxDog::rxInit();
    RxVoice::rxInit();
}

RxFamily::~RxFamily()
{
    if (RxVoice::desc() != nullptr) {
        RxVoice::rxUninit();
    }
    if (RxDog::desc() != nullptr) {
        RxDog::rxUninit();
    }
    if (RxAnimal::desc() != nullptr) {
        RxAnimal::rxUninit();
    }
    if (m_ownsClass) {
        OdRxClass::rxUninit();
    }
    if (m_ownsRoot) {
        OdRxObject::rxUninit();
    }
}
