// What a network knows of its actions in memory: names, what lives, what is out of date.

#pragma once

#include "assoc/od_db_assoc_network.h"
#include "root/od_string.h"

#include <memory>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <vector>

/// State of a network that follows from its actions. It is never saved; what is not known is found
/// out on demand. The network's actions share it, so that one that is read again, as undo does,
/// can say so without opening its network.
///
/// Names of erased variables stay: whether a variable lives is asked when it is looked up, so
/// erasing, undo and redo need no upkeep.
class OdDbAssocNetworkState
{
public:
    /// Forgets everything.
    void clear();

    /// \name Names
    /// @{
    /// Takes all actions as unread. The members have to be known.
    void startNames(OdDbObjectIdArray const& actions);
    bool knowsNames() const noexcept { return m_knowsNames; }
    /// Says that an action's name is to be read anew.
    void renamed(OdDbObjectId action)
    {
        if (m_knowsNames) {
            m_unread.push_back(action);
        }
    }
    void forget(OdDbObjectId action);
    /// The living variable of a name that was made first, other than `except`; null if there is none.
    OdDbObjectId find(OdString const& name, OdDbObjectId except,
                      std::shared_ptr<OdDbAssocNetworkState> const& self);
    /// @}

    /// \name Actions
    /// @{
    OdDbObjectIdArray living;  ///< if `hasErased`
    bool knowsLiving = false;  ///< whether `living` and `hasErased` hold
    bool hasErased = false;
    bool knowsMembers = false;
    std::unordered_set<OdDbIdRecord const*> members;
    bool knowsNetworks = false;
    std::vector<OdDbObjectId> networks;  ///< those among the actions
    /// @}

    /// \name What is out of date
    /// @{
    bool isChecked = false;  ///< whether all variables were looked at since they were loaded
    std::set<OdDbObjectId> stale;
    /// @}

private:
    using Ids = std::set<OdDbObjectId>;
    /// Nearly every name has one variable.
    struct Named
    {
        OdDbObjectId id;
        std::unique_ptr<Ids> others;
    };

    void readNames(std::shared_ptr<OdDbAssocNetworkState> const& self);
    void enter(OdString const& name, OdDbObjectId id);

    bool m_knowsNames = false;
    std::vector<OdDbObjectId> m_unread;
    std::unordered_map<OdString, Named, OdStringIHash, OdStringIEqual> m_byName;
    std::unordered_map<OdDbIdRecord const*, OdString> m_names;
};
