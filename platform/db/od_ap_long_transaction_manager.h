// Long transactions: sets of objects checked out of a drawing for editing.

#pragma once

class OdDbDatabase;

/// Tells of long transactions; the host's, if it has them.
class OdApLongTransactionManager
{
public:
    virtual ~OdApLongTransactionManager();

    /// Whether a long transaction is under way in a database.
    virtual bool isInLongTransaction(OdDbDatabase const* database) const = 0;
};

/// The host's manager; null if it has set none.
OdApLongTransactionManager* odapLongTransactionManager() noexcept;
/// Sets the manager, which must live until it is replaced.
/// \return The one before.
OdApLongTransactionManager*
odapSetLongTransactionManager(OdApLongTransactionManager* manager) noexcept;
