#include "db/od_db_database_impl.h"
#include "db/od_db_xref_table_impl.h"

#include <algorithm>

namespace {

/// Leads every id of an emptied drawing to the object with the same handle.
void redirectAll(OdDbDatabase const& from, OdDbDatabase& to)
{
    OdDbIdTable const& ids = from.impl().ids;
    for (std::uint64_t number : ids.knownBlocks()) {
        for (OdDbIdRecord& record : ids.findBlock(number)->records) {
            const OdDbHandle handle(OdDbIdBlock::handleOf(record));
            const OdDbObjectId target = to.getOdDbObjectId(handle);
            OdDbObjectId(&record).redirectTo(target);
        }
    }
}

}  // namespace

OdDbXrefTable::~OdDbXrefTable()
{
    // Others may keep an external drawing alive; its block goes now.
    for (auto& [handle, entry] : m_entries) {
        if (!entry.database.isNull()) {
            entry.database->impl().xrefBlock = OdDbObjectId::kNull;
        }
    }
}

OdDbXrefTable::Entry const* OdDbXrefTable::find(OdDbHandle block) const
{
    const auto at = m_entries.find(block);
    return at != m_entries.end() ? &at->second : nullptr;
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
    for (OdDbDatabasePtr const& old : entry.unloaded) {
        redirectAll(*old, *database);
        database->impl().xrefs.adoptUnloaded(old->impl().xrefs);
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
    return impl.hasOpenObjects() ||
           std::any_of(impl.xrefs.m_entries.begin(), impl.xrefs.m_entries.end(),
                       [&](auto const& nested) { return impl.xrefs.hasOpenObjects(nested.first); });
}

void OdDbXrefTable::adoptUnloaded(OdDbXrefTable& from)
{
    for (auto& [handle, entry] : from.m_entries) {
        std::vector<OdDbDatabasePtr>& mine = m_entries[handle].unloaded;
        mine.insert(mine.end(), entry.unloaded.begin(), entry.unloaded.end());
        entry.unloaded.clear();
    }
}
