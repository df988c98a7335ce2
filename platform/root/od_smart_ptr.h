// Owning pointer to a reference-counted object.

#pragma once

#include "root/od_rx_object.h"

#include <cstddef>
#include <type_traits>
#include <utility>

/// Throws `OdError_NotThatKindOfClass` for an object that is not of the class asked for.
[[noreturn]] void odThrowNotThatKindOfClass(OdRxObject const* object, OdRxClass const* to);

/// Holds one reference to an object, or null.
///
/// Taking an object whose static type isn't `T` or derived from it asks the object by
/// `queryX(T::desc())`, so an object may answer with its companion or an extension; null stays
/// null, any other class throws `OdError_NotThatKindOfClass` and leaves pointer and counts as they
/// were. A pointer from a database's `open` operations also keeps the object open.
template <class T>
class OdSmartPtr
{
public:
    using Element = T;

    OdSmartPtr() noexcept = default;
    OdSmartPtr(std::nullptr_t) noexcept {}  // NOLINT: null converts like a raw pointer

    /// Adds a reference.
    template <class U>
    OdSmartPtr(U* object) : m_object(acquire(object))  // NOLINT: conversion is the purpose
    {
    }
    OdSmartPtr(OdSmartPtr const& other) : m_object(acquire(other.m_object)) {}
    OdSmartPtr(OdSmartPtr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    template <class U>
    OdSmartPtr(OdSmartPtr<U> const& other) : m_object(acquire(other.get()))  // NOLINT
    {
    }
    template <class U>
    OdSmartPtr(OdSmartPtr<U>&& other) : m_object(takeOver(other))  // NOLINT
    {
    }
    ~OdSmartPtr() { drop(m_object); }

    OdSmartPtr& operator=(OdSmartPtr const& other)
    {
        reset(acquire(other.m_object));
        return *this;
    }
    OdSmartPtr& operator=(OdSmartPtr&& other) noexcept
    {
        if (this != &other) {
            reset(std::exchange(other.m_object, nullptr));
        }
        return *this;
    }
    template <class U>
    OdSmartPtr& operator=(U* object)
    {
        reset(acquire(object));
        return *this;
    }
    template <class U>
    OdSmartPtr& operator=(OdSmartPtr<U> const& other)
    {
        reset(acquire(other.get()));
        return *this;
    }
    OdSmartPtr& operator=(std::nullptr_t)
    {
        reset(nullptr);
        return *this;
    }

    /// Takes over a reference that the caller holds; adds none.
    static OdSmartPtr attach(T* object) noexcept
    {
        OdSmartPtr result;
        result.m_object = object;
        return result;
    }

    /// The object as `T` with a new reference, or null if it is none; never throws.
    static T* internalQueryX(OdRxObject const* object)
    {
        if (object == nullptr) {
            return nullptr;
        }
        return static_cast<T*>(object->queryX(T::desc()));
    }

    /// Gives up the reference; null afterwards.
    void release() { reset(nullptr); }
    /// Hands the reference to the caller; null afterwards.
    T* detach() noexcept { return std::exchange(m_object, nullptr); }

    bool isNull() const noexcept { return m_object == nullptr; }
    explicit operator bool() const noexcept { return m_object != nullptr; }
    T* get() const noexcept { return m_object; }
    T* operator->() const noexcept { return m_object; }
    T& operator*() const noexcept { return *m_object; }

    template <class U>
    friend bool operator==(OdSmartPtr const& left, OdSmartPtr<U> const& right) noexcept
    {
        return static_cast<void const*>(left.m_object) == static_cast<void const*>(right.get());
    }
    friend bool operator==(OdSmartPtr const& left, T const* right) noexcept
    {
        return left.m_object == right;
    }
    friend bool operator==(OdSmartPtr const& left, std::nullptr_t) noexcept
    {
        return left.m_object == nullptr;
    }

private:
    template <class U>
    static T* acquire(U* object)
    {
        if (object == nullptr) {
            return nullptr;
        }
        if constexpr (std::is_convertible_v<U*, T*>) {
            T* result = object;
            result->addRef();
            return result;
        } else {
            OdRxObject const* base = object;
            T* result = internalQueryX(base);
            if (result == nullptr) {
                odThrowNotThatKindOfClass(base, T::desc());
            }
            return result;
        }
    }

    template <class U>
    static T* takeOver(OdSmartPtr<U>& other)
    {
        if constexpr (std::is_convertible_v<U*, T*>) {
            return other.detach();
        } else {
            // Taken before the source lets go, so that a wrong class leaves the source as it is.
            T* result = acquire(other.get());
            other.release();
            return result;
        }
    }

    static void drop(T* object)
    {
        if (object != nullptr) {
            object->release();
        }
    }

    void reset(T* object) { drop(std::exchange(m_object, object)); }

    T* m_object = nullptr;
};

using OdRxObjectPtr = OdSmartPtr<OdRxObject>;

/// Makes an object of a class whose counting `OdRxObjectImpl` supplies, or that counts by itself.
template <class T, class... Args>
OdSmartPtr<T> odrxMake(Args&&... args)
{
    if constexpr (std::is_abstract_v<T>) {
        return OdSmartPtr<T>::attach(new OdRxObjectImpl<T>(std::forward<Args>(args)...));
    } else {
        return OdSmartPtr<T>::attach(new T(std::forward<Args>(args)...));
    }
}
