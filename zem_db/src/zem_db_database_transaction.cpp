#include "zem_db_database_transaction.h"

#include "db/od_db_database.h"
#include "zem_utils/zemc_assert.h"

#include <exception>

namespace {

/// Stops recording for the length of a scope, so that undoing leaves no record of its own.
class PausedRecording
{
public:
    explicit PausedRecording(OdDbDatabase& database) : m_database(database)
    {
        m_database.disableUndoRecording(true);
    }
    PausedRecording(PausedRecording const&) = delete;
    PausedRecording& operator=(PausedRecording const&) = delete;
    ~PausedRecording() { m_database.disableUndoRecording(false); }

private:
    OdDbDatabase& m_database;
};

}  // namespace

ZemDbDatabaseTransaction::ZemDbDatabaseTransaction(OdDbDatabase* database, bool keepActiveViewport,
                                                   bool useUndo)
    : m_useUndo(useUndo), m_keepActiveViewport(keepActiveViewport), m_database(database)
{
    if (m_database == nullptr) {
        return;
    }
    if (m_useUndo) {
        m_database->startUndoRecord();
    } else {
        m_database->startTransaction();
    }
}

ZemDbDatabaseTransaction::~ZemDbDatabaseTransaction()
{
    if (m_database == nullptr) {
        return;
    }
    try {
        finish();
    } catch (std::exception const& error) {
        zemcCallAssert("false", error.what(), __FILE__, __LINE__);
    } catch (...) {
        zemcCallAssert("false", "changes could not be taken back", __FILE__, __LINE__);
    }
}

void ZemDbDatabaseTransaction::finish()
{
    if (m_active) {
        const OdDbObjectId viewport =
            m_keepActiveViewport ? m_database->activeViewportId() : OdDbObjectId::kNull;
        abort();
        if (!viewport.isNull()) {
            m_database->setActiveViewportId(viewport);
        }
    } else if (!m_useUndo) {
        m_database->endTransaction();
    }
}

void ZemDbDatabaseTransaction::abort()
{
    if (!m_useUndo) {
        m_database->abortTransaction();
        return;
    }
    const PausedRecording paused(*m_database);
    const OdResult res = m_database->undo();
    if (res != kOdOk) {
        zemcCallAssert("eOk == res", odResultText(res), __FILE__, __LINE__);
    }
}

namespace zemu {

AutoSaveSolidProperties::AutoSaveSolidProperties(OdDbEntityPtr entity) : m_entity(std::move(entity))
{
    if (!m_entity.isNull()) {
        // Of the same class, so that what the class adds for its parts is kept as well.
        m_properties = m_entity->isA()->create();
        m_properties->setPropertiesFrom(m_entity.get(), /*alsoSubentities=*/true);
    }
}

AutoSaveSolidProperties::~AutoSaveSolidProperties()
{
    if (!m_entity.isNull()) {
        m_entity->setPropertiesFrom(m_properties.get(), /*alsoSubentities=*/true);
    }
}

}  // namespace zemu
