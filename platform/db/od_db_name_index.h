// Names of the objects that a dictionary or a symbol table holds.

#pragma once

#include "db/od_db_object.h"

#include <map>
#include <optional>
#include <unordered_map>

/// Ids by name: names compare without case, keep the case they were entered with, and are in order.
///
/// The index serves one object, its holder: changes write partial undo records of it. The names of
/// erased objects are kept aside, so that an object that comes back finds its name again.
class OdDbNameIndex
{
public:
    struct LessWithoutCase
    {
        bool operator()(OdString const& left, OdString const& right) const;
    };
    using Entries = std::map<OdString, OdDbObjectId, LessWithoutCase>;

    /// \param cls  Gives the class whose `applyPartialUndo` hands records to `applyUndo`; asked
    ///             late, since classes come and go.
    OdDbNameIndex(OdDbObject& holder, OdRxClass* (*cls)()) noexcept : m_holder(holder), m_class(cls)
    {
    }

    Entries const& entries() const noexcept { return m_entries; }
    /// The id under a name; null if there is none.
    OdDbObjectId find(OdString const& name) const;
    /// The id that an erased object had under a name; null if there is none.
    /// Of several, the one that was made last.
    OdDbObjectId findErased(OdString const& name) const;
    /// The name of an id; null if it has none.
    OdString const* nameOf(OdDbObjectId id) const;

    /// Asked before the holder comes into a database: its entries would be those of another holder.
    /// Names that it kept for erased objects of another database are forgotten.
    /// \throws OdError (already in database) if there are any, (wrong database) if they are of another
    ///         database.
    void requireEmptyFor(OdDbDatabase const& database) const;

    /// Enters a name that is free.
    void insert(OdString const& name, OdDbObjectId id);
    /// As `insert`, for an object that has just come into the database: when that is undone, it is
    /// erased, and its name is kept as that of any erased object.
    void insertNew(OdString const& name, OdDbObjectId id);
    /// Takes the entry out that stands under a name now; what a reactor enters there when it is told
    /// of the change stays. \return Its id, null if nothing was taken out.
    OdDbObjectId remove(OdString const& name);
    /// Takes the entry of an id out, whatever its name is when reactors were told of the change.
    /// \return That name, if there was one.
    std::optional<OdString> removeId(OdDbObjectId id);
    /// Says under which name an erased object is to come back.
    void setErasedName(OdDbObjectId id, OdString const& name)
    {
        m_erasedNames.insert_or_assign(id.record(), name);
    }
    /// Takes the name of an erased object aside, or brings it back if it is still free.
    void setErased(OdDbObjectId id, bool erasing);

    void fileOut(OdDbDwgFiler& filer, OdDb::ReferenceType type) const;
    void fileIn(OdDbDwgFiler& filer, OdDb::ReferenceType type);
    void applyUndo(OdDbDwgFiler& filer);

private:
    OdDbDwgFiler* record(std::uint8_t opcode, OdString const& name, OdDbObjectId id);
    void recordInserted(OdString const& name, OdDbObjectId id);
    void eraseEntry(OdDbObjectId id);
    void bringBackEntry(OdDbObjectId id);

    OdDbObject& m_holder;
    OdRxClass* (*m_class)();
    Entries m_entries;
    /// Names by records, since an id that is redirected gets another hash.
    using Names = std::unordered_map<OdDbIdRecord const*, OdString>;
    Names m_names;                ///< of the entries, derived
    mutable Names m_erasedNames;  ///< that may come back in the holder's database
};
