// The property bag: named typed values in which persistent classes keep their fields.

#pragma once

#include "db/od_db_object_id.h"
#include "root/od_result.h"
#include "root/od_string.h"

#include "zem_property_data.h"

#include <cstdint>
#include <functional>
#include <map>
#include <type_traits>
#include <utility>
#include <vector>

class OdDbDatabase;
class OdDbDwgFiler;
class OdDbObject;

/// Name of the item in a stored bag that holds the class version: "_ver".
///
/// Entries had better have neither this name nor the empty one. They are written as any other, but
/// a reader takes the first for the class version, which it refuses unless it is a `signed char`
/// that is low enough, and drops what the second holds.
extern const OdString kClassVersionKey;
/// Application name of bags in extended data, and their key in extension data: "ZEM_DB".
extern const OdString s_zemDbAppName;

/// An ordered map from a name to a typed value, with the code that files it.
///
/// An entry either is stored, which means that the bag owns its value, or is bound to a member, or
/// to a getter and a setter, of the holder. Holders bind their names in their constructor:
///
///     ZemExample() : m_bag(kZemPropsDropErasedIds)
///     {
///         m_bag.mapProperty(L"Size", &m_size, 1.0);
///         m_bag.mapProperty(L"Target", &m_target, OdDb::ReferenceType::kSoftPointerRef);
///     }
///
/// From then on `dwgOutFields` and `dwgInFields` file both kinds alike, and a stream may hold names
/// that the holder doesn't bind, which become stored entries, or lack names that it does. Bound
/// variables have to outlive the last use of the bag.
///
/// Names compare by the numbers of their characters, so with case. A bag has identity: it neither
/// copies nor moves. It has no locks; the open state of the object that holds it protects it.
class ZemProperties
{
public:
    using Entries = std::map<OdString, ZemPropertyDataPtr>;
    using const_iterator = Entries::const_iterator;

    /// \param config  Bits of `ZemPropertiesConfig`.
    explicit ZemProperties(int config = 0) noexcept : m_config(config) {}
    ZemProperties(ZemProperties const&) = delete;
    ZemProperties& operator=(ZemProperties const&) = delete;

    /// \name Reading
    /// An absent name or another type is no error: lookups answer `false` and leave the output
    /// untouched. `T` is any of the 80 value types; arrays are spelled `ZemPropertyArray<...>`.
    /// @{
    /// Iteration in order of names. Pointers may be null, see `setReferenceType`.
    const_iterator begin() const noexcept { return m_entries.begin(); }
    const_iterator end() const noexcept { return m_entries.end(); }
    bool isEmpty() const noexcept { return m_entries.empty(); }
    int config() const noexcept { return m_config; }
    /// The class version of the holder, -128 to 127; 0 unless it was set.
    int version() const noexcept { return m_version; }
    /// The node of an entry; null if the name is absent.
    ZemPropertyDataPtr getProperty(OdString const& name) const;
    template <class T>
    bool getProperty(OdString const& name, T& value) const;
    /// Of an entry of `OdDbTypedId`, the id.
    bool getProperty(OdString const& name, OdDbObjectId& id) const;
    /// Of an entry that is an array of `OdDbTypedId`, the ids in order.
    bool getProperty(OdString const& name, OdDbObjectIdArray& ids) const;
    /// @}

    /// \name Changing
    /// @{
    /// Sets the bits of `ZemPropertiesConfig`; const so that a reader can choose how it files.
    void setConfig(int config) const noexcept { m_config = config; }
    /// Keeps the low 8 bits as a signed number.
    void setVersion(int version) noexcept { m_version = static_cast<std::int8_t>(version); }
    /// Assigns to an entry, or adds a stored one.
    ///
    /// A bound variable changes; a setter is not called and an array or id bound as bare ids keeps
    /// its value, as only `ZemPropertyData::set` tells the bound object.
    /// \return `false`, without a change, if the entry holds another value type.
    template <class T>
    bool setProperty(OdString const& name, T const& value);
    bool setProperty(OdString const& name, OdDbObjectId const& id, OdDb::ReferenceType type);
    /// Stores each id with the same kind of reference.
    bool setProperty(OdString const& name, OdDbObjectIdArray const& ids, OdDb::ReferenceType type);
    /// Erases the entry. \return Whether there was one.
    bool removeProperty(OdString const& name);
    /// Erases all entries; `config` and `version` stay.
    void clear() noexcept;
    /// @}

    /// \name Binding
    /// For the types of bound nodes that zem_property_data.h lists. A stored value of the same type
    /// is handed over first, then its entry is replaced; of another type it is dropped. A default
    /// is only kept: neither the variable nor the setter gets it now. All answer `true`.
    ///
    /// Variables are never null. Getters and setters may throw, which ends the filing that called
    /// them. They had better not edit the bag: an entry that a getter removes is written all the
    /// same, one that a setter removes may come back as a stored one. A setter also gets what could
    /// be read of malformed content.
    /// @{
    template <class T>
    bool mapProperty(OdString const& name, T* variable);
    template <class T>
    bool mapProperty(OdString const& name, T* variable,
                     std::type_identity_t<T> const& defaultValue);
    template <class T>
    bool mapProperty(OdString const& name, std::function<T()> getter,
                     std::function<void(T)> setter);
    template <class T>
    bool mapProperty(OdString const& name, std::function<T()> getter, std::function<void(T)> setter,
                     std::type_identity_t<T> const& defaultValue);
    bool mapProperty(OdString const& name, OdDbObjectId* variable, OdDb::ReferenceType type);
    bool mapProperty(OdString const& name, OdDbObjectIdArray* variable, OdDb::ReferenceType type);
    /// Changes the kind of reference of an array of bare ids; does nothing for any other entry. The
    /// name has to be bound already: a new one leaves an entry without a node, which can't be
    /// filed.
    void setReferenceType(OdString const& name, OdDb::ReferenceType type);
    /// @}

    /// \name Filing
    /// @{
    /// Writes the item count, the version item if `version` is above 0, and each entry in order of
    /// names: its name, type id and value.
    /// \throws OdError (null object pointer) for an entry without a node and for a null nested
    ///         value, after an assertion; (bad input) for values that nest too deep or too many.
    ///         Nothing is written then. What the filer itself refuses, as a flat filer too long a
    ///         text, may leave a part of the bag written.
    void dwgOutFields(OdDbDwgFiler* filer) const;
    /// Reads what `dwgOutFields` wrote. All stored entries go first; bound ones that the stream
    /// lacks keep their value, or are reset with `kZemPropsOmitDefaults`.
    ///
    /// \return 0; (rejected version) for a version item of another type or of a newer version than
    ///         the bag's, where a bag of version 0 takes 1 as well; (bad stream) for malformed
    ///         content and a negative item count. After a failure the bag keeps what was read so
    ///         far.
    /// \throws OdError (bad stream) at the end of the filer's data.
    [[nodiscard]] OdResult dwgInFields(OdDbDwgFiler* filer);
    /// Attaches the bag to an object of any class: as extended data, or in its extension dictionary
    /// if the flat stream is longer than `ZemFlatFiler::kMaxXDataBytes`. References do not survive
    /// this; handles do. An empty bag removes both. The application name is registered.
    ///
    /// \param object  Open for write. Null, or an object in no database: nothing happens.
    /// \throws OdError (not open for write); (bad stream) for text of more than 32767 bytes; and as
    ///         `dwgOutFields`. The object is untouched then.
    void writeToDbObject(OdDbObject* object) const;
    /// Reads what `writeToDbObject` attached; extended data goes before the extension dictionary.
    ///
    /// \param object  Open for read, or null.
    /// \return `false` for null, if nothing is attached, and for malformed content, which leaves
    ///         the bag partly read. Exceptions other than OdError, as a setter may throw, pass.
    bool readFromDbObject(OdDbObject const* object);
    /// The application's record in the database; null for a null database or if it isn't
    /// registered.
    /// \param create  Whether to register it first.
    static OdDbObjectId regAppName(OdDbDatabase* database, bool create);
    /// @}

private:
    template <class T>
    void handOver(OdString const& name, std::function<void(T)> const& setter) const;
    void bind(OdString const& name, ZemPropertyData* node);
    bool omitsDefaults() const noexcept { return (m_config & kZemPropsOmitDefaults) != 0; }
    using Item = std::pair<OdString, ZemPropertyDataPtr>;
    std::vector<Item> writableItems() const;
    class Reader;

    Entries m_entries;
    mutable std::int32_t m_config;
    std::int8_t m_version = 0;
    /// Counts what may have removed entries, so that a reader knows when its place is gone.
    std::uint32_t m_erasures = 0;
};
