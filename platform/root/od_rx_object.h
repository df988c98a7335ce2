// The root of all runtime-described objects: reference counting and queries by class.

#pragma once

#include "root/od_result.h"

#include <atomic>
#include <cstdint>

class OdRxClass;
template <class T>
class OdSmartPtr;

namespace OdRx {

/// Result of comparing two objects.
enum class Ordering
{
    kLess = -1,
    kEqual = 0,
    kGreater = 1,
    kNotOrderable = 2
};

}  // namespace OdRx

/// An object that is reference counted and knows its class at run time.
///
/// Objects have identity: they neither copy nor move. How references are counted is left to the
/// derived class: `OdRxObjectImpl` for objects on the heap, `OdStaticRxObject` for members and
/// objects on the stack, database objects by themselves. An object is used on one thread at a time.
class OdRxObject
{
public:
    OdRxObject() = default;
    OdRxObject(OdRxObject const&) = delete;
    OdRxObject& operator=(OdRxObject const&) = delete;
    virtual ~OdRxObject();

    /// \name Lifetime
    /// @{
    virtual void addRef() = 0;
    /// Gives up one reference; the object may be gone afterwards.
    virtual void release() = 0;
    virtual long numRefs() const = 0;
    /// @}

    /// \name Class queries
    /// @{
    static OdRxClass* desc();
    static OdSmartPtr<OdRxObject> cast(OdRxObject const* object);
    static void rxInit();
    static void rxUninit();

    /// The object's class; null while the class is not registered.
    virtual OdRxClass* isA() const;
    /// The object itself if its class is `cls` or derives from it; else the protocol extension for
    /// `cls` that is attached nearest to its class; else null. The result carries a new reference.
    virtual OdRxObject* queryX(OdRxClass const* cls) const;
    /// As `queryX`, for callers that look for an extension: null, never an exception.
    OdRxObject* x(OdRxClass const* cls) const;
    /// Whether the class is `cls` or derives from it; false for a null class.
    bool isKindOf(OdRxClass const* cls) const;
    /// @}

    /// \name Values
    /// @{
    /// A new object with the same content.
    /// \throws OdError (not applicable) where a class has no copy.
    virtual OdSmartPtr<OdRxObject> clone() const;
    /// Takes over the content of another object.
    /// \throws OdError (not applicable) where a class has no copy.
    virtual void copyFrom(OdRxObject const* source);
    /// By identity, unless a class says otherwise.
    virtual OdRx::Ordering comparedTo(OdRxObject const* other) const;
    virtual bool isEqualTo(OdRxObject const* other) const;
    /// @}

private:
    static OdRxClass* g_pDesc;
};

/// Counts an object among the living ones of its class for as long as it lives, so that the loader
/// knows whether the code of a module is still needed. The count outlives the class's registration.
class OdRxLivingMark
{
public:
    /// \param cls  Null, for a class that isn't registered, counts nothing.
    explicit OdRxLivingMark(OdRxClass const* cls) noexcept;
    OdRxLivingMark(OdRxLivingMark const&) = delete;
    OdRxLivingMark& operator=(OdRxLivingMark const&) = delete;
    ~OdRxLivingMark()
    {
        if (m_count != nullptr) {
            m_count->fetch_sub(1, std::memory_order_relaxed);
        }
    }

private:
    std::atomic<std::int64_t>* m_count;
};

/// Reference counting for an object on the heap: born with one reference, deleted with the last.
///
/// The count is not atomic: objects belong to one thread. `T` derives from `OdRxObject` and leaves
/// the counting operations open.
template <class T>
class OdRxObjectImpl : public T
{
public:
    using T::T;

    void addRef() override { ++m_refs; }
    void release() override
    {
        if (--m_refs == 0) {
            delete this;
        }
    }
    long numRefs() const override { return m_refs; }

private:
    OdRxLivingMark m_living{T::desc()};
    long m_refs = 1;
};

/// An object that lives as a member, on the stack or for the whole run: counting never deletes it.
template <class T>
class OdStaticRxObject : public T
{
public:
    using T::T;

    void addRef() override {}
    void release() override {}
    long numRefs() const override { return 1; }
};
