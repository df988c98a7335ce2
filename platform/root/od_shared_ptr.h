// Shared owner for objects that don't count their own references.

#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

/// Owns an object together with other pointers; the last one deletes it.
///
/// The counter is allocated apart from the object and is not atomic: all pointers to one object stay
/// on one thread. Two owners made separately from the same raw pointer delete twice. May serve as a
/// base class; it has no virtual operations, so derived classes add nothing that needs destroying.
/// Rings of owners are never freed.
template <class T>
class OdSharedPtr
{
public:
    using Element = T;

    OdSharedPtr() noexcept = default;
    OdSharedPtr(std::nullptr_t) noexcept {}  // NOLINT: null converts like a raw pointer
    /// Takes over the object; deletes it if the counter can't be allocated.
    explicit OdSharedPtr(T* object) : m_object(object), m_count(makeCount(object)) {}
    OdSharedPtr(OdSharedPtr const& other) noexcept
        : m_object(other.m_object), m_count(other.m_count)
    {
        addRef();
    }
    OdSharedPtr(OdSharedPtr&& other) noexcept
        : m_object(std::exchange(other.m_object, nullptr)),
          m_count(std::exchange(other.m_count, nullptr))
    {
    }
    /// Shares an object of a derived class, or adds const.
    template <class U>
    requires std::is_convertible_v<U*, T*> OdSharedPtr(OdSharedPtr<U> const& other)
    noexcept  // NOLINT: conversion is the purpose
        : m_object(other.m_object), m_count(other.m_count)
    {
        static_assert(std::is_same_v<std::remove_cv_t<U>, std::remove_cv_t<T>> ||
                          std::has_virtual_destructor_v<T>,
                      "the last owner may be one of the base class");
        addRef();
    }
    ~OdSharedPtr() { drop(); }

    OdSharedPtr& operator=(OdSharedPtr const& other) noexcept
    {
        OdSharedPtr(other).swap(*this);
        return *this;
    }
    OdSharedPtr& operator=(OdSharedPtr&& other) noexcept
    {
        OdSharedPtr(std::move(other)).swap(*this);
        return *this;
    }

    /// Gives up the object.
    void reset() noexcept { OdSharedPtr().swap(*this); }
    /// Gives up the object and takes over another one, which may be null.
    void reset(T* object) { OdSharedPtr(object).swap(*this); }
    void swap(OdSharedPtr& other) noexcept
    {
        std::swap(m_object, other.m_object);
        std::swap(m_count, other.m_count);
    }

    bool isNull() const noexcept { return m_object == nullptr; }
    explicit operator bool() const noexcept { return m_object != nullptr; }
    T* get() const noexcept { return m_object; }
    T* operator->() const noexcept { return m_object; }
    T& operator*() const noexcept { return *m_object; }
    /// Owners of the object, 0 for null.
    long useCount() const noexcept { return m_count != nullptr ? *m_count : 0; }

    /// By identity of the object.
    template <class U>
    friend bool operator==(OdSharedPtr const& left, OdSharedPtr<U> const& right) noexcept
    {
        return left.get() == right.get();
    }
    friend bool operator==(OdSharedPtr const& left, std::nullptr_t) noexcept
    {
        return left.isNull();
    }

private:
    template <class U>
    friend class OdSharedPtr;

    static long* makeCount(T* object)
    {
        if (object == nullptr) {
            return nullptr;
        }
        try {
            return new long(1);
        } catch (...) {
            delete object;
            throw;
        }
    }

    void addRef() noexcept
    {
        if (m_count != nullptr) {
            ++*m_count;
        }
    }

    void drop() noexcept
    {
        if (m_count != nullptr && --*m_count == 0) {
            delete m_count;
            delete m_object;
        }
    }

    T* m_object = nullptr;
    long* m_count = nullptr;
};
