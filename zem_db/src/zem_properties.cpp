#include "zem_properties.h"

#include "db/od_db_database.h"
#include "db/od_db_filer.h"
#include "db/od_db_object.h"
#include "db/od_db_symbol_table.h"
#include "root/od_error.h"
#include "root/od_res_buf.h"
#include "zem_utils/zemc_assert.h"

#include "zem_db_extension_data.h"
#include "zem_flat_filer.h"
#include "zem_property_types_impl.h"

#include <compare>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

const OdString kClassVersionKey(L"_ver");
const OdString s_zemDbAppName(L"ZEM_DB");

namespace {

/// A bag of version 0 reads streams of this version, too.
constexpr int kLeastAcceptedVersion = 1;

ZemPropertyArray<OdDbTypedId> makeTypedIds(OdDbObjectIdArray const& ids, OdDb::ReferenceType type)
{
    ZemPropertyArray<OdDbTypedId> result;
    result.reserve(ids.size());
    for (OdDbObjectId const id : ids) {
        result.append(OdDbTypedId(id, type));
    }
    return result;
}

}  // namespace

//--------------------------------------------------------------------------------------------------
// Reading and changing

ZemPropertyDataPtr ZemProperties::getProperty(OdString const& name) const
{
    const auto entry = m_entries.find(name);
    return entry == m_entries.end() ? ZemPropertyDataPtr() : entry->second;
}

template <class T>
bool ZemProperties::getProperty(OdString const& name, T& value) const
{
    // Held, as a getter may take its own entry out of the bag.
    const ZemPropertyDataPtr node = getProperty(name);
    return !node.isNull() && node->get(value);
}

bool ZemProperties::getProperty(OdString const& name, OdDbObjectId& id) const
{
    OdDbTypedId typedId;
    if (!getProperty(name, typedId)) {
        return false;
    }
    id = typedId.id;
    return true;
}

bool ZemProperties::getProperty(OdString const& name, OdDbObjectIdArray& ids) const
{
    ZemPropertyArray<OdDbTypedId> typedIds;
    if (!getProperty(name, typedIds)) {
        return false;
    }
    ids.clear();
    ids.reserve(typedIds.size());
    for (OdDbTypedId const& id : std::as_const(typedIds)) {
        ids.append(id.id);
    }
    return true;
}

template <class T>
bool ZemProperties::setProperty(OdString const& name, T const& value)
{
    const auto entry = m_entries.find(name);
    // Held, as a getter may take its own entry out of the bag.
    ZemPropertyDataPtr node = entry == m_entries.end() ? ZemPropertyDataPtr() : entry->second;
    if (!node.isNull()) {
        return ZemPropertiesUtils::setData(node, value);
    }
    // The node comes first, so that running out of memory leaves no entry without one.
    ZemPropertiesUtils::setData(node, value);
    m_entries.insert_or_assign(name, std::move(node));
    return true;
}

bool ZemProperties::setProperty(OdString const& name, OdDbObjectId const& id,
                                OdDb::ReferenceType type)
{
    return setProperty(name, OdDbTypedId(id, type));
}

bool ZemProperties::setProperty(OdString const& name, OdDbObjectIdArray const& ids,
                                OdDb::ReferenceType type)
{
    return setProperty(name, makeTypedIds(ids, type));
}

bool ZemProperties::removeProperty(OdString const& name)
{
    const bool isErased = m_entries.erase(name) != 0;
    m_erasures += isErased ? 1 : 0;
    return isErased;
}

void ZemProperties::clear() noexcept
{
    ++m_erasures;
    m_entries.clear();
}

//--------------------------------------------------------------------------------------------------
// Binding

void ZemProperties::bind(OdString const& name, ZemPropertyData* node)
{
    m_entries.insert_or_assign(name, ZemPropertyDataPtr(node));
}

template <class T>
void ZemProperties::handOver(OdString const& name, std::function<void(T)> const& setter) const
{
    T value{};
    // A stored value of another type has nothing to give, and what nobody filled must not reach the
    // holder.
    if (getProperty(name, value)) {
        setter(std::move(value));
    }
}

template <class T>
bool ZemProperties::mapProperty(OdString const& name, T* variable)
{
    getProperty(name, *variable);
    bind(name, new ZemPropertyDataMapping<T>(variable));
    return true;
}

template <class T>
bool ZemProperties::mapProperty(OdString const& name, T* variable,
                                std::type_identity_t<T> const& defaultValue)
{
    getProperty(name, *variable);
    bind(name, new ZemPropertyDataMappingWithDefault<T>(variable, defaultValue));
    return true;
}

template <class T>
bool ZemProperties::mapProperty(OdString const& name, std::function<T()> getter,
                                std::function<void(T)> setter)
{
    handOver(name, setter);
    bind(name, new ZemPropertyDataMappingGetterSetter<T>(std::move(getter), std::move(setter)));
    return true;
}

template <class T>
bool ZemProperties::mapProperty(OdString const& name, std::function<T()> getter,
                                std::function<void(T)> setter,
                                std::type_identity_t<T> const& defaultValue)
{
    handOver(name, setter);
    bind(name, new ZemPropertyDataMappingGetterSetterWithDefault<T>(
                   std::move(getter), std::move(setter), defaultValue));
    return true;
}

bool ZemProperties::mapProperty(OdString const& name, OdDbObjectId* variable,
                                OdDb::ReferenceType type)
{
    getProperty(name, *variable);
    bind(name, new ZemPropertyDataObjectIdMapping(variable, type));
    return true;
}

bool ZemProperties::mapProperty(OdString const& name, OdDbObjectIdArray* variable,
                                OdDb::ReferenceType type)
{
    getProperty(name, *variable);
    bind(name, new ZemPropertyDataObjectIdArrayMapping(variable, type));
    return true;
}

void ZemProperties::setReferenceType(OdString const& name, OdDb::ReferenceType type)
{
    ZemPropertyDataPtr const& node = m_entries[name];
    if (!node.isNull() && node->isObjectIdArrayMapping()) {
        static_cast<ZemPropertyDataObjectIdArrayMapping&>(*node).setReferenceType(type);
    }
}

//--------------------------------------------------------------------------------------------------
// Filing
//
// The stream of a bag, as operations of the filer:
//
//     wrInt32   number of items
//     if the version is above 0: wrString "_ver", wrInt8 6, wrInt8 version
//     for each entry in order of names: wrString name, wrInt8 type id, the value
//
// A value is filed as its type demands:
//
//     2 text     wrString               7 handle  wrDbHandle
//     3 int      wrInt32                8 id      wrInt8 kind of reference, the id by that kind
//     4 double   wrDouble               9 array   wrInt8 element type, wrInt32 count, the elements
//     5 bool     wrBool                10 map     wrInt8 key type, wrInt8 value type, wrInt32
//     6 int8     wrInt8                           count, a key and a value for each entry in
//                                                 order of keys
//                                      11 blob    wrInt32 length, wrBytes unless it is 0
//
// Elements, keys and values have no type id of their own, but for element and value type 1, which
// stands for a whole value that starts with its type id.

/// The entries to write. Finds beforehand what can't be written, so that no stream breaks off in
/// the middle. Asks each value once whether it is a default, as a getter may answer otherwise next
/// time, and holds the nodes, as a getter may edit the bag.
std::vector<ZemProperties::Item> ZemProperties::writableItems() const
{
    std::vector<Item> items(m_entries.begin(), m_entries.end());
    for (auto const& [name, node] : items) {
        if (node.isNull()) {
            zemcCallAssert("!val.isNull()", nullptr, __FILE__, __LINE__);
            throw OdError(kOdNullObjectPointer, L"property without a value: " + name);
        }
    }
    if (omitsDefaults()) {
        std::erase_if(items, [](Item const& item) { return !item.second->isOutOfDate(); });
    }
    for (Item const& item : items) {
        item.second->assertWritable();
    }
    return items;
}

void ZemProperties::dwgOutFields(OdDbDwgFiler* filer) const
{
    // Kept, as a getter may set other bits: one stream is written by one rule.
    const int config = m_config;
    const std::vector<Item> items = writableItems();
    const bool writesVersion = m_version > 0;
    filer->wrInt32(static_cast<std::int32_t>(items.size() + (writesVersion ? 1 : 0)));
    if (writesVersion) {
        filer->wrString(kClassVersionKey);
        filer->wrInt8(kZemInt8Type);
        filer->wrInt8(m_version);
    }
    for (auto const& [name, node] : items) {
        filer->wrString(name);
        node->writeUnchecked(filer, config);
    }
}

/// Reads the items of one stream into a bag.
class ZemProperties::Reader
{
public:
    Reader(ZemProperties& bag, OdDbDwgFiler& filer)
        : m_bag(bag), m_filer(filer), m_config(bag.m_config), m_next(bag.m_entries.begin()),
          m_erasures(bag.m_erasures)
    {
    }

    OdResult readItem()
    {
        OdString name = m_filer.rdString();
        if (name.isEmpty()) {
            return createNode().isNull() ? kOdBadStream : kOdOk;
        }
        if (name == kClassVersionKey) {
            return readVersion();
        }
        const bool isThere = find(name);
        if (omitsDefaults()) {
            m_names.insert(name);
        }
        return isThere ? readEntry() : readNewEntry(std::move(name));
    }

    /// Restores the defaults of entries that the stream didn't name. A setter may edit the bag, so
    /// each step looks for the next name anew.
    OdResult resetUnread()
    {
        if (!omitsDefaults()) {
            return kOdOk;
        }
        Entries const& entries = m_bag.m_entries;
        for (auto entry = entries.begin(); entry != entries.end();) {
            const auto [name, node] = *entry;
            if (!m_names.contains(name) && (node.isNull() || !node->reset())) {
                return kOdBadStream;
            }
            entry = entries.upper_bound(name);
        }
        return kOdOk;
    }

private:
    bool omitsDefaults() const noexcept { return (m_config & kZemPropsOmitDefaults) != 0; }

    ZemPropertyDataPtr createNode() { return ZemPropertyData::createFromDwg(&m_filer, m_config); }

    OdResult readVersion()
    {
        if (m_filer.rdInt8() != kZemInt8Type) {
            return kOdRejectedVersion;
        }
        const int stored = m_filer.rdInt8();
        const int own = m_bag.m_version;
        const bool isAccepted = own < 0 || stored <= (own == 0 ? kLeastAcceptedVersion : own);
        return isAccepted ? kOdOk : kOdRejectedVersion;
    }

    /// Places `m_next` on the entry of that name and answers `true`, or where one has to be
    /// inserted and answers `false`. Streams are in order of names, as the entries are, so the
    /// place is nearly always where the last item left off.
    bool find(OdString const& name)
    {
        Entries& entries = m_bag.m_entries;
        if (m_erasures != m_bag.m_erasures) {
            // A setter edited the bag, maybe the entry that was the next.
            m_erasures = m_bag.m_erasures;
            m_next = entries.lower_bound(name);
        }
        const auto order =
            m_next == entries.end() ? std::strong_ordering::less : name <=> m_next->first;
        if (order == std::strong_ordering::equal) {
            return true;
        }
        if (order < 0 && (m_next == entries.begin() || std::prev(m_next)->first < name)) {
            return false;
        }
        m_next = entries.lower_bound(name);
        return m_next != entries.end() && m_next->first == name;
    }

    OdResult readEntry()
    {
        // A setter may take its own entry out of the bag.
        const ZemPropertyDataPtr val = m_next->second;
        ++m_next;
        if (val.isNull()) {
            zemcCallAssert("!val.isNull()", nullptr, __FILE__, __LINE__);
            return kOdBadStream;
        }
        return val->readFromDwg(&m_filer, m_config) ? kOdOk : kOdBadStream;
    }

    OdResult readNewEntry(OdString&& name)
    {
        ZemPropertyDataPtr val = createNode();
        if (val.isNull()) {
            return kOdBadStream;
        }
        (void)find(name);
        m_bag.m_entries.emplace_hint(m_next, std::move(name), std::move(val));
        return kOdOk;
    }

    ZemProperties& m_bag;
    OdDbDwgFiler& m_filer;
    /// As it was at the start: a setter that sets other bits must not have entries reset whose names
    /// nobody noted.
    const int m_config;
    Entries::iterator m_next;
    std::uint32_t m_erasures;    ///< those of the bag while `m_next` is good
    std::set<OdString> m_names;  ///< filled only where defaults are omitted
};

OdResult ZemProperties::dwgInFields(OdDbDwgFiler* filer)
{
    ++m_erasures;
    std::erase_if(m_entries, [](auto const& entry) {
        return !entry.second.isNull() && !entry.second->isMapped();
    });
    // Nothing is allocated by the count, so one that is too large ends with the stream.
    const std::int32_t count = filer->rdInt32();
    if (count < 0) {
        return kOdBadStream;
    }
    Reader reader(*this, *filer);
    for (std::int32_t i = 0; i < count; ++i) {
        const OdResult result = reader.readItem();
        if (result != kOdOk) {
            return result;
        }
    }
    return reader.resetUnread();
}

void ZemProperties::writeToDbObject(OdDbObject* object) const
{
    if (object == nullptr || object->database() == nullptr) {
        return;
    }
    const OdDbDatabasePtr database(object->database());  // a reactor may hold the last pointer
    // The extension dictionary would be changed before extended data finds the object not open for
    // write, so that is found out first.
    object->assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    const OdResBufPtr chain = OdResBuf::newRb(OdResBuf::kXdAppName);
    chain->setString(s_zemDbAppName);
    if (isEmpty()) {
        ZemDbExtensionDataImpl::eraseFromDictionary(object, s_zemDbAppName);
    } else {
        OdStaticRxObject<ZemFlatFiler> filer;
        filer.clear();
        dwgOutFields(&filer);
        if (filer.getBinaryDataSize() > ZemFlatFiler::kMaxXDataBytes) {
            ZemDbExtensionDataImpl::writeToDictionary(object, filer.getBinaryData(),
                                                      s_zemDbAppName);
        } else {
            filer.appendToResBuf(chain.get());
        }
    }
    database->newRegApp(s_zemDbAppName);
    object->setXData(chain.get());
}

bool ZemProperties::readFromDbObject(OdDbObject const* object)
{
    if (object == nullptr) {
        return false;
    }
    OdStaticRxObject<ZemFlatFiler> filer;
    const OdResBufPtr chain = object->xData(s_zemDbAppName);
    if (chain.isNull() || !filer.setBinaryChunk(chain->next().get())) {
        std::vector<char> blob;
        if (!ZemDbExtensionDataImpl::readFromDictionary(object, blob, s_zemDbAppName)) {
            return false;
        }
        filer.setBinaryData(std::move(blob));
    }
    try {
        return dwgInFields(&filer) == kOdOk;
    } catch (OdError const&) {
        // The bytes come from a file: what breaks off is malformed, no error of the program.
        return false;
    }
}

OdDbObjectId ZemProperties::regAppName(OdDbDatabase* database, bool create)
{
    if (database == nullptr) {
        return OdDbObjectId::kNull;
    }
    const OdDbDatabasePtr keptAlive(database);  // a reactor may hold the last pointer
    if (create) {
        database->newRegApp(s_zemDbAppName);
    }
    const auto table =
        OdDbSymbolTable::cast(database->getRegAppTableId().openObject(OdDb::kForRead).get());
    return table.isNull() ? OdDbObjectId::kNull
                          : table->getAt(s_zemDbAppName, /*openErased=*/false);
}

//--------------------------------------------------------------------------------------------------
// The closed sets of value types

#define ZEM_INSTANTIATE_VALUE(...)                                                                 \
    template bool ZemProperties::getProperty(OdString const&, __VA_ARGS__&) const;                 \
    template bool ZemProperties::setProperty(OdString const&, __VA_ARGS__ const&)

#define ZEM_INSTANTIATE_BOUND(...)                                                                 \
    template bool ZemProperties::mapProperty(OdString const&, __VA_ARGS__*);                       \
    template bool ZemProperties::mapProperty<__VA_ARGS__>(OdString const&, __VA_ARGS__*,           \
                                                          __VA_ARGS__ const&);                     \
    template bool ZemProperties::mapProperty(OdString const&, std::function<__VA_ARGS__()>,        \
                                             std::function<void(__VA_ARGS__)>);                    \
    template bool ZemProperties::mapProperty<__VA_ARGS__>(                                         \
        OdString const&, std::function<__VA_ARGS__()>, std::function<void(__VA_ARGS__)>,           \
        __VA_ARGS__ const&)

ZEM_FOR_EACH_VALUE_TYPE(ZEM_INSTANTIATE_VALUE);
ZEM_FOR_EACH_BOUND_TYPE(ZEM_INSTANTIATE_BOUND);
