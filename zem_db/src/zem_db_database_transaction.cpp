#include "zem_db_database_transaction.h"

#include "db/od_db_database.h"
#include "root/od_error.h"
#include "zem_utils/zemc_assert.h"

#include <exception>

namespace {

/// Stops recording for the length of a scope, so that undoing leaves no record of its own.
class PausedRecording
{
public:
    explicit PausedRecording(OdDbDatabase& database)
        : m_database(database), m_wasOn(database.undoRecording())
    {
        m_database.disableUndoRecording(true);
    }
    PausedRecording(PausedRecording const&) = delete;
    PausedRecording& operator=(PausedRecording const&) = delete;
    ~PausedRecording() { m_database.disableUndoRecording(!m_wasOn); }

private:
    OdDbDatabase& m_database;
    bool m_wasOn;
};

}  // namespace

ZemDbDatabaseTransaction::ZemDbDatabaseTransaction(OdDbDatabase* database, bool keepActiveViewport,
                                                   bool useUndo)
    : m_useUndo(useUndo), m_keepActiveViewport(keepActiveViewport), m_database(database)
{
    if (m_database != nullptr) {
        start();
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

void ZemDbDatabaseTransaction::start()
{
    m_transactionsBefore = m_database->numActiveTransactions();
    m_marksBefore = m_database->numUndoMarks();
    if (m_useUndo) {
        m_database->startUndoRecord();
    } else {
        m_database->startTransaction();
    }
}

void ZemDbDatabaseTransaction::finish()
{
    if (m_active) {
        const OdDbObjectId viewport =
            m_keepActiveViewport ? m_database->activeViewportId() : OdDbObjectId::kNull;
        abort();
        // One that was made in the scope is gone with it.
        if (!viewport.isNull() && !viewport.isErased()) {
            m_database->setActiveViewportId(viewport);
        }
    } else if (!m_useUndo) {
        endTransactions();
    }
}

void ZemDbDatabaseTransaction::abort()
{
    abortTransactions();
    if (m_useUndo) {
        undo();
    }
}

void ZemDbDatabaseTransaction::abortTransactions()
{
    if (!m_useUndo && m_database->numActiveTransactions() <= m_transactionsBefore) {
        throw OdError(kOdNoTransaction);  // what is open now is the caller's
    }
    while (m_database->numActiveTransactions() > m_transactionsBefore) {
        m_database->abortTransaction();
    }
}

void ZemDbDatabaseTransaction::endTransactions()
{
    if (m_database->numActiveTransactions() <= m_transactionsBefore) {
        throw OdError(kOdNoTransaction);  // what is open now is the caller's
    }
    while (m_database->numActiveTransactions() > m_transactionsBefore) {
        m_database->endTransaction();
    }
}

void ZemDbDatabaseTransaction::undo()
{
    const PausedRecording paused(*m_database);
    OdResult res = m_database->numUndoMarks() > m_marksBefore ? kOdOk : kOdNoUndo;
    while (res == kOdOk && m_database->numUndoMarks() > m_marksBefore) {
        res = m_database->undo();
    }
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
        if (m_properties.isNull()) {
            throw OdError(kOdNotApplicable);
        }
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
