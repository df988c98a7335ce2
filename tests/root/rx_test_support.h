// Helpers of the tests of runtime classes: a small family of classes and its registration.

#pragma once

#include "root/od_rx_class.h"

/// A counted object whose deaths can be counted.
class RxAnimal : public OdRxObject
{
    RX_DECLARE_CLASS(RxAnimal);

public:
    RxAnimal() { ++s_alive; }
    ~RxAnimal() override { --s_alive; }

    static int s_alive;
    int legs = 4;
};

/// Derived, with an instance that can be made by name.
class RxDog : public RxAnimal
{
    RX_DECLARE_CLASS(RxDog);
};

/// An interface: registered, never made by name.
class RxVoice : public OdRxObject
{
    RX_DECLARE_CLASS(RxVoice);

public:
    virtual int sound() const = 0;
};

/// An implementation of the interface that is no class of its own.
class RxBark : public RxVoice
{
public:
    explicit RxBark(int sound) : m_sound(sound) { ++s_alive; }
    ~RxBark() override { --s_alive; }
    int sound() const override { return m_sound; }

    static int s_alive;

private:
    int m_sound;
};

using RxAnimalPtr = OdSmartPtr<RxAnimal>;
using RxDogPtr = OdSmartPtr<RxDog>;
using RxVoicePtr = OdSmartPtr<RxVoice>;

RxVoicePtr makeVoice(int sound);

/// Registers the root, the family, and takes away afterwards what it registered.
class RxFamily
{
public:
    RxFamily();
    RxFamily(RxFamily const&) = delete;
    RxFamily& operator=(RxFamily const&) = delete;
    ~RxFamily();

private:
    bool m_ownsRoot;
    bool m_ownsClass;
};
