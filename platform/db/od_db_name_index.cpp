#include "db/od_db_name_index.h"

#include "db/od_db_database_impl.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"

namespace {

/// What a partial undo record says was done.
enum Opcode : std::uint8_t
{
    kInserted = 0,           ///< the id was to come back under no name before
    kInsertedFromSame = 1,   ///< it was to come back under the name that it got
    kInsertedFromOther = 2,  ///< it was to come back under another name, which follows
    kRemoved = 3
};

}  // namespace

bool OdDbNameIndex::LessWithoutCase::operator()(OdString const& left, OdString const& right) const
{
    return odIcmp(left, right) < 0;
}

OdDbObjectId OdDbNameIndex::find(OdString const& name) const
{
    const auto found = m_entries.find(name);
    return found != m_entries.end() ? found->second : OdDbObjectId::kNull;
}

OdDbObjectId OdDbNameIndex::findErased(OdString const& name) const
{
    OdDbObjectId latest;
    if (m_holder.database() == nullptr) {
        return latest;  // the records have gone with the database
    }
    for (auto const& [record, erasedName] : m_erasedNames) {
        const OdDbObjectId id(const_cast<OdDbIdRecord*>(record));
        if (odIcmp(erasedName, name) == 0 && id > latest) {
            latest = id;
        }
    }
    return latest;
}

OdString const* OdDbNameIndex::nameOf(OdDbObjectId id) const
{
    const auto found = m_names.find(id.record());
    if (found != m_names.end()) {
        return &found->second;
    }
    if (OdDbObjectId::hasRedirections()) {
        for (auto const& [name, entry] : m_entries) {
            if (entry == id) {
                return &name;
            }
        }
    }
    return nullptr;
}

void OdDbNameIndex::requireEmptyFor(OdDbDatabase const& database) const
{
    if (m_entries.empty()) {
        m_erasedNames.clear();
        return;
    }
    const bool isForeign = !database.impl().ids.owns(m_entries.begin()->second.record());
    throw OdError(isForeign ? kOdWrongDatabase : kOdAlreadyInDatabase);
}

OdDbDwgFiler* OdDbNameIndex::record(std::uint8_t opcode, OdString const& name, OdDbObjectId id)
{
    m_holder.assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    OdDbDwgFiler* filer = m_holder.undoFiler();
    if (filer != nullptr) {
        filer->wrAddress(m_class());
        filer->wrUInt8(opcode);
        filer->wrString(name);
        filer->wrSoftPointerId(id);
    }
    return filer;
}

void OdDbNameIndex::recordInserted(OdString const& name, OdDbObjectId id)
{
    // Announced before the kept name is looked up: whoever is told of the change may change entries.
    m_holder.assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    const auto kept = m_erasedNames.find(id.record());
    if (kept == m_erasedNames.end()) {
        (void)record(kInserted, name, id);
    } else if (kept->second == name) {
        (void)record(kInsertedFromSame, name, id);
    } else if (OdDbDwgFiler* filer = record(kInsertedFromOther, name, id)) {
        filer->wrString(kept->second);
    }
}

void OdDbNameIndex::insert(OdString const& name, OdDbObjectId id)
{
    recordInserted(name, id);
    const auto [entry, isNew] = m_entries.try_emplace(name, id);
    if (!isNew) {
        m_names.erase(entry->second.record());
        entry->second = id;
    }
    m_names.insert_or_assign(id.record(), name);
    m_erasedNames.erase(id.record());
}

void OdDbNameIndex::insertNew(OdString const& name, OdDbObjectId id)
{
    setErasedName(id, name);
    insert(name, id);
}

OdDbObjectId OdDbNameIndex::remove(OdString const& name)
{
    const OdDbObjectId meant = find(name);
    if (meant.isNull()) {
        return OdDbObjectId::kNull;
    }
    // Announced before the entry is looked up: whoever is told of the change may change entries.
    m_holder.assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    const auto found = m_entries.find(name);
    if (found == m_entries.end() || found->second.record() != meant.record()) {
        return OdDbObjectId::kNull;
    }
    const OdString storedName = found->first;
    const OdDbObjectId id = found->second;
    (void)record(kRemoved, storedName, id);
    m_entries.erase(found);
    m_names.erase(id.record());
    return id;
}

std::optional<OdString> OdDbNameIndex::removeId(OdDbObjectId id)
{
    if (nameOf(id) == nullptr) {
        return std::nullopt;
    }
    // Whoever is told of the change may rename the entry, or put another one in its place.
    m_holder.assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    OdString const* const found = nameOf(id);
    if (found == nullptr) {
        return std::nullopt;
    }
    const OdString name = *found;
    remove(name);
    return name;
}

void OdDbNameIndex::setErased(OdDbObjectId id, bool erasing)
{
    if (erasing) {
        eraseEntry(id);
    } else {
        bringBackEntry(id);
    }
}

void OdDbNameIndex::eraseEntry(OdDbObjectId id)
{
    if (nameOf(id) == nullptr) {
        return;
    }
    // Whoever is told of the change may bring the object back.
    m_holder.assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    if (!id.record()->has(OdDbIdRecord::kErased)) {
        return;
    }
    if (const std::optional<OdString> name = removeId(id)) {
        setErasedName(id, *name);
    }
}

void OdDbNameIndex::bringBackEntry(OdDbObjectId id)
{
    const auto found = m_erasedNames.find(id.record());
    if (found == m_erasedNames.end() || m_entries.count(found->second) != 0) {
        return;
    }
    const OdString name = found->second;
    // Whoever is told of the change may take the name, or erase the object again.
    m_holder.assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    if (m_entries.count(name) == 0 && !id.record()->has(OdDbIdRecord::kErased)) {
        insert(name, id);
    }
}

void OdDbNameIndex::applyUndo(OdDbDwgFiler& filer)
{
    const std::uint8_t opcode = filer.rdUInt8();
    const OdString name = filer.rdString();
    const OdDbObjectId id = filer.rdSoftPointerId();
    if (opcode == kRemoved) {
        insert(name, id);
        return;
    }
    const OdString kept = opcode == kInsertedFromOther ? filer.rdString() : name;
    remove(name);
    if (opcode == kInserted) {
        m_erasedNames.erase(id.record());
    } else {
        setErasedName(id, kept);
    }
}

void OdDbNameIndex::fileOut(OdDbDwgFiler& filer, OdDb::ReferenceType type) const
{
    filer.wrInt32(static_cast<std::int32_t>(m_entries.size()));
    for (auto const& [name, id] : m_entries) {
        filer.wrString(name);
        odDbWriteId(filer, id, type);
    }
}

void OdDbNameIndex::fileIn(OdDbDwgFiler& filer, OdDb::ReferenceType type)
{
    Entries entries;
    Names names;
    const std::uint32_t count = odDbReadCount(filer, 1);
    for (std::uint32_t index = 0; index < count; ++index) {
        OdString name = filer.rdString();
        const OdDbObjectId id = odDbReadId(filer, type);
        // Each object once: of two names, one would stay behind when the object is erased.
        const bool isNew = !id.isNull() && names.count(id.record()) == 0;
        if (isNew && entries.emplace(name, id).second) {
            names.emplace(id.record(), std::move(name));
        }
    }
    m_entries = std::move(entries);
    m_names = std::move(names);
}
