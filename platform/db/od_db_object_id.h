// Ids: how objects of a database are named in memory.

#pragma once

#include "db/od_db_handle.h"
#include "db/od_db_types.h"
#include "root/od_array.h"
#include "root/od_smart_ptr.h"

#include <compare>
#include <cstddef>
#include <functional>

class OdDbDatabase;
class OdDbObject;
class OdRxClass;
struct OdDbIdRecord;

using OdDbObjectPtr = OdSmartPtr<OdDbObject>;

/// Names one object of one open database, whether it is in memory or not; or null.
///
/// An id is as cheap to copy as a pointer and stays valid until its database is destroyed, also when
/// its object is erased, damaged or missing. Ids order by database (in order of creation) and then by
/// handle, so what is ordered by id is the same in every run. An id may be redirected to an object
/// of another database; comparisons and opening look through the redirection.
///
/// Every query on the null id answers null or false.
class OdDbObjectId
{
public:
    static const OdDbObjectId kNull;

    constexpr OdDbObjectId() noexcept = default;

    constexpr bool isNull() const noexcept { return m_record == nullptr; }
    /// Whether the id is not null.
    constexpr bool isValid() const noexcept { return m_record != nullptr; }
    constexpr explicit operator bool() const noexcept { return m_record != nullptr; }

    /// Whether the object is erased; false for the null id and for an object that was never there.
    bool isErased() const noexcept;
    /// Whether the object is in memory.
    bool isResident() const noexcept;
    /// The database of the object, behind any redirection.
    OdDbDatabase* database() const noexcept;
    /// The database that the id was made for, not looking through a redirection.
    OdDbDatabase* originalDatabase() const noexcept;
    /// The handle in `originalDatabase()`.
    OdDbHandle getHandle() const noexcept;
    /// The class of the object without opening it; null if it has none that is registered.
    OdRxClass* objectClass() const;

    /// Opens the object; it stays open as long as the pointer, or a copy of it, lives.
    ///
    /// Opening again on the same thread always succeeds and joins the open period.
    /// \param openErased  Whether an erased object may be opened.
    /// \return Null if there is no such object, if it is erased and `openErased` is false, or if its
    ///         stored bytes are damaged.
    OdDbObjectPtr openObject(OdDb::OpenMode mode = OdDb::kForRead, bool openErased = false) const;
    /// As `openObject`.
    /// \throws OdError (null object id, was erased, object damaged, key not found) instead of giving
    ///         null.
    OdDbObjectPtr safeOpenObject(OdDb::OpenMode mode = OdDb::kForRead,
                                 bool openErased = false) const;

    /// Replaces the id by the one that it is redirected to; leaves it if there is none.
    void convertToRedirectedId() noexcept;

    friend bool operator==(OdDbObjectId left, OdDbObjectId right) noexcept
    {
        return left.m_record == right.m_record ||
               (s_redirections != 0 && left.redirected() == right.redirected());
    }
    friend std::strong_ordering operator<=>(OdDbObjectId left, OdDbObjectId right) noexcept
    {
        return left.compare(right);
    }

    /// \name For the database and its filers
    /// @{
    constexpr explicit OdDbObjectId(OdDbIdRecord* record) noexcept : m_record(record) {}
    constexpr OdDbIdRecord* record() const noexcept { return m_record; }
    /// The record behind any redirection.
    OdDbIdRecord* redirected() const noexcept;
    /// Makes this id stand for the object of `target`; a null target ends the redirection.
    /// \throws OdError (null object id); (cyclic reference) if the target leads back here.
    void redirectTo(OdDbObjectId target) const;
    /// Whether any id of any database is redirected. While none is, equal ids have equal records.
    static bool hasRedirections() noexcept { return s_redirections != 0; }
    /// A number that is another one whenever redirections have changed. Whoever keeps ids by what they
    /// denote, in a hash table for one, enters them anew then.
    static std::uint64_t redirectionRevision() noexcept;
    /// @}

private:
    std::strong_ordering compare(OdDbObjectId other) const noexcept;

    OdDbIdRecord* m_record = nullptr;
    /// Redirected ids of all databases; nearly always 0, which keeps comparing a pointer compare.
    static std::size_t s_redirections;
    friend struct OdDbRedirections;
};

inline constexpr OdDbObjectId OdDbObjectId::kNull{};

using OdDbObjectIdArray = OdArray<OdDbObjectId, OdMemoryAllocator<OdDbObjectId>>;

/// Hash of an id by the object that it denotes.
template <>
struct std::hash<OdDbObjectId>
{
    std::size_t operator()(OdDbObjectId id) const noexcept
    {
        return std::hash<void const*>()(id.redirected());
    }
};
