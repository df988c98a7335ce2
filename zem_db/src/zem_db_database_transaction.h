// Scopes whose changes are taken back unless they are kept, and entities whose properties come back.

#pragma once

#include "db/od_db_entity.h"

class OdDbDatabase;

/// A scope of changes to a database: its end takes them back unless `setNoAbort` was called, also
/// when an exception passes. Scopes nest: what an inner one kept goes with the outer one, and so do
/// undo marks and transactions that the scope left behind. What was there before it stays.
///
/// A failure while they are taken back is reported as an assertion and goes no further.
class ZemDbDatabaseTransaction
{
public:
    /// \param database            Outlives the scope; null makes a scope without effect.
    /// \param keepActiveViewport  Whether the active viewport stays the same when the changes are
    ///                            taken back.
    /// \param useUndo             True to work with an undo mark, so that a scope that is kept is one
    ///                            step for the user to undo; false for a transaction.
    ZemDbDatabaseTransaction(OdDbDatabase* database, bool keepActiveViewport, bool useUndo);
    ZemDbDatabaseTransaction(ZemDbDatabaseTransaction const&) = delete;
    ZemDbDatabaseTransaction& operator=(ZemDbDatabaseTransaction const&) = delete;
    ~ZemDbDatabaseTransaction();

    /// Keeps the changes.
    void setNoAbort() noexcept { m_active = false; }

private:
    void start();
    void abort();
    void abortTransactions();
    void endTransactions();
    void undo();
    void finish();

    bool m_active = true;
    bool m_useUndo;
    bool m_keepActiveViewport;
    OdDbDatabase* m_database;
    int m_transactionsBefore = 0;
    std::size_t m_marksBefore = 0;
};

namespace zemu {

/// Gives an entity the properties back that it had at the start of the scope: layer, colour and what
/// else `setPropertiesFrom` takes, of its parts too.
class AutoSaveSolidProperties
{
public:
    /// \param entity  Open for read; must be open for write, or erased, at the end of the scope. Null
    ///                makes a scope without effect.
    /// \throws OdError (not applicable) for an entity of a class that makes no objects.
    explicit AutoSaveSolidProperties(OdDbEntityPtr entity);
    AutoSaveSolidProperties(AutoSaveSolidProperties const&) = delete;
    AutoSaveSolidProperties& operator=(AutoSaveSolidProperties const&) = delete;
    /// An exception here ends the process.
    ~AutoSaveSolidProperties();

private:
    OdDbEntityPtr m_entity;
    OdDbEntityPtr m_properties;
};

}  // namespace zemu
