#include "db/od_db_database_impl.h"
#include "db/od_db_xref_table_impl.h"

#include <algorithm>

OdDbXrefTable::~OdDbXrefTable()
{
    // Others may keep an external drawing alive; its block goes now. All that is led from or to the
    // databases that go is ended in one pass.
    std::unordered_set<OdDbDatabaseImpl const*> going;
    const auto collect = [&](OdDbDatabasePtr const& database) {
        if (!database.isNull() && database->numRefs() == 1) {
            going.insert(&database->impl());
        }
    };
    for (auto& [handle, entry] : m_entries) {
        if (!entry.database.isNull()) {
            entry.database->impl().xrefBlock = OdDbObjectId::kNull;
        }
        collect(entry.database);
        std::for_each(entry.unloaded.begin(), entry.unloaded.end(), collect);
    }
    odDbDropRedirections(going);
}

OdDbXrefTable::Entry const* OdDbXrefTable::find(OdDbHandle block) const
{
    const auto at = m_entries.find(block);
    return at != m_entries.end() ? &at->second : nullptr;
}

std::vector<OdDbHandle> OdDbXrefTable::blocks() const
{
    std::vector<OdDbHandle> handles;
    for (auto const& [handle, entry] : m_entries) {
        handles.push_back(handle);
    }
    return handles;
}

OdDbDatabase* OdDbXrefTable::loaded(OdDbHandle block) const
{
    Entry const* entry = find(block);
    return entry != nullptr ? entry->database.get() : nullptr;
}

OdDbDatabase* OdDbXrefTable::lastUnloaded(OdDbHandle block) const
{
    Entry const* entry = find(block);
    return entry != nullptr && !entry->unloaded.empty() ? entry->unloaded.back().get() : nullptr;
}

OdResult OdDbXrefTable::failure(OdDbHandle block) const
{
    Entry const* entry = find(block);
    return entry != nullptr ? entry->failure : kOdOk;
}

void OdDbXrefTable::setFailure(OdDbHandle block, OdResult failure)
{
    m_entries[block].failure = failure;
}

void OdDbXrefTable::setLoaded(OdDbObjectId block, OdDbDatabasePtr const& database)
{
    Entry& entry = m_entries[block.getHandle()];
    for (; entry.ledOn < entry.unloaded.size(); ++entry.ledOn) {
        OdDbDatabaseImpl& old = entry.unloaded[entry.ledOn]->impl();
        odDbLeadAllIds(old, database->impl());
        database->impl().xrefs.adoptUnloaded(old.xrefs);
    }
    database->impl().xrefBlock = block;
    entry.database = database;
    entry.failure = kOdOk;
}

void OdDbXrefTable::unload(Entry& entry)
{
    entry.unloaded.push_back(entry.database);
    entry.database = OdDbDatabasePtr();
    entry.unloaded.back()->impl().xrefBlock = OdDbObjectId::kNull;
    entry.unloaded.back()->impl().empty();
}

bool OdDbXrefTable::unload(OdDbHandle block)
{
    const auto at = m_entries.find(block);
    if (at == m_entries.end() || at->second.database.isNull()) {
        return false;
    }
    unload(at->second);
    return true;
}

void OdDbXrefTable::unloadAll()
{
    for (auto& [handle, entry] : m_entries) {
        if (!entry.database.isNull()) {
            unload(entry);
        }
    }
}

bool OdDbXrefTable::hasOpenObjects(OdDbHandle block) const
{
    OdDbDatabase const* database = loaded(block);
    if (database == nullptr) {
        return false;
    }
    OdDbDatabaseImpl const& impl = database->impl();
    return impl.isInUse() ||
           std::any_of(impl.xrefs.m_entries.begin(), impl.xrefs.m_entries.end(),
                       [&](auto const& nested) { return impl.xrefs.hasOpenObjects(nested.first); });
}

void OdDbXrefTable::adoptUnloaded(OdDbXrefTable& from)
{
    for (auto& [handle, entry] : from.m_entries) {
        Entry& mine = m_entries[handle];
        const auto ledOn = static_cast<std::ptrdiff_t>(entry.ledOn);
        const auto waiting = entry.unloaded.begin() + ledOn;
        mine.unloaded.insert(mine.unloaded.begin(), entry.unloaded.begin(), waiting);
        mine.ledOn += entry.ledOn;
        mine.unloaded.insert(mine.unloaded.end(), waiting, entry.unloaded.end());
        entry.unloaded.clear();
        entry.ledOn = 0;
    }
}
