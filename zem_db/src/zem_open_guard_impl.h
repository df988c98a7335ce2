// Raising an open object to write for the length of a scope.

#pragma once

#include "db/od_db_object.h"

/// Raises an object to write unless it is writable already, and lowers it again at its end, so that
/// an object that the caller holds open for read is so afterwards.
class ZemUpgradeOpen
{
public:
    /// \throws OdError (not open) for a closed object.
    explicit ZemUpgradeOpen(OdDbObjectPtr object) : m_object(std::move(object))
    {
        if (m_object->isWriteEnabled()) {
            m_object.release();
        } else {
            m_object->upgradeOpen();
        }
    }
    ZemUpgradeOpen(ZemUpgradeOpen const&) = delete;
    ZemUpgradeOpen& operator=(ZemUpgradeOpen const&) = delete;
    ~ZemUpgradeOpen()
    {
        if (!m_object.isNull()) {
            m_object->downgradeOpen();
        }
    }

private:
    OdDbObjectPtr m_object;  ///< null if there is nothing to lower
};
