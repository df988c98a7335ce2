// The external drawings that a database has loaded.

#pragma once

#include "db/od_db_database.h"

#include <map>
#include <unordered_set>
#include <vector>

/// A path that leads from one drawing to the file to which `path` leads from another. A relative path
/// becomes absolute, unless both drawings lie in one folder, or the host finds the file elsewhere.
OdString odDbPathSeenFrom(OdDbDatabase const& from, OdString const& path,
                          OdDbDatabase const& before);

/// Loaded external drawings of one database, by the handle of the block that each fills. Not filed
/// and not part of undo.
///
/// The ids of a drawing that was unloaded live on in its emptied database, since objects and
/// variables anywhere may keep them; once the drawing is loaded again they lead to its new ids. Each
/// emptied database is led to the one that came after it, once, however often the drawing is loaded.
class OdDbXrefTable
{
public:
    OdDbXrefTable() = default;
    OdDbXrefTable(OdDbXrefTable const&) = delete;
    OdDbXrefTable& operator=(OdDbXrefTable const&) = delete;
    ~OdDbXrefTable();

    /// The blocks of which something is known.
    std::vector<OdDbHandle> blocks() const;
    /// The drawing of a block; null if it isn't loaded.
    OdDbDatabase* loaded(OdDbHandle block) const;
    /// The drawing of a block as it was before it was last unloaded; null if it never was.
    OdDbDatabase* lastUnloaded(OdDbHandle block) const;
    /// Why the last attempt to load failed; 0 if there was none or it went well.
    OdResult failure(OdDbHandle block) const;
    void setFailure(OdDbHandle block, OdResult failure);
    /// Enters a drawing that was read for a block that has none, and leads old ids to it.
    void setLoaded(OdDbObjectId block, OdDbDatabasePtr const& database);
    /// Empties the drawing of a block and keeps its ids. \return Whether there was one.
    bool unload(OdDbHandle block);
    /// Unloads all, when their host is emptied itself.
    void unloadAll();
    /// Whether the drawing of a block, or one that it has loaded, has an open object.
    bool hasOpenObjects(OdDbHandle block) const;
    /// Takes over the ids of an emptied host's drawings, to be led to the new ones.
    void adoptUnloaded(OdDbXrefTable& from);

private:
    struct Entry
    {
        OdDbDatabasePtr database;
        std::vector<OdDbDatabasePtr> unloaded;  ///< in this order
        std::size_t ledOn = 0;                  ///< how many of these lead to another one already
        OdResult failure = 0;
    };

    Entry const* find(OdDbHandle block) const;
    static void unload(Entry& entry);

    std::map<OdDbHandle, Entry> m_entries;
};
