#include "db/od_db_class_table.h"

#include "db/od_db_database.h"
#include "root/od_error.h"
#include "root/od_rx_class.h"

void OdDbClassTable::unregisterFirst(std::size_t count) const
{
    for (std::size_t index = count; index > 0; --index) {
        m_entries[index - 1].uninit();
    }
}

void OdDbClassTable::start()
{
    if (isStarted()) {
        ++m_starts;
        return;
    }
    std::size_t registered = 0;
    try {
        for (; registered < m_entries.size(); ++registered) {
            m_entries[registered].init();
        }
    } catch (...) {
        unregisterFirst(registered);
        throw;
    }
    m_lastClass = odrxClassDictionary()->revision();
    m_starts = 1;
}

void OdDbClassTable::stop()
{
    if (m_starts == 1) {
        if (OdDbDatabase::liveCount() != 0) {
            throw OdError(kOdDatabaseInUse);
        }
        requireNoLaterClass();
        unregisterFirst(m_entries.size());
    }
    m_starts -= isStarted() ? 1 : 0;
}

/// The bases of later classes would go from under them, and with them what a module is hooked into.
void OdDbClassTable::requireNoLaterClass() const
{
    for (auto const& [name, cls] : *odrxClassDictionary()) {
        if (cls->registrationNumber() > m_lastClass) {
            throw OdError(kOdModuleInUse, L"class " + name + L" is still registered");
        }
    }
}
