// What a network knows of its actions in memory: names, what lives, what is out of date.

#pragma once

#include "assoc/od_db_assoc_flat_table_impl.h"
#include "assoc/od_db_assoc_name_table_impl.h"
#include "assoc/od_db_assoc_network.h"
#include "root/od_string.h"

#include <memory>
#include <set>
#include <unordered_map>
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
    OdDbObjectId network;  ///< that this is the state of; null until somebody shares it

    /// Forgets everything but the network.
    void clear();

    /// \name Names
    /// Of the variables that the network owns: those of others have their names elsewhere.
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
    /// A number such that every name made of a stem, "_" and a lower one from 1 is taken; holds as
    /// long as each variable that gives its name up is told of.
    int firstNumber(OdString const& stem) const;
    void setFirstNumber(OdString const& stem, int number);
    /// Says that a variable may have given up its name.
    void freeName(OdDbObjectId action);
    /// @}

    /// \name Actions
    /// @{
    OdDbObjectIdArray living;  ///< if `hasErased`
    bool knowsLiving = false;  ///< whether `living` and `hasErased` hold
    bool hasErased = false;
    bool knowsMembers = false;
    bool hasMember(OdDbObjectId action);
    void addMember(OdDbObjectId action);
    void removeMember(OdDbObjectId action);
    bool knowsNetworks = false;
    std::vector<OdDbObjectId> networks;  ///< those among the actions
    /// @}

    /// \name What is out of date
    /// @{
    bool isChecked = false;  ///< whether all variables were looked at since they were loaded
    std::set<OdDbObjectId> stale;
    /// @}

private:
    struct Member
    {
        std::size_t hash = 0;
        OdDbIdRecord const* record = nullptr;
    };

    Member* findMember(OdDbObjectId action);
    void readNames(std::shared_ptr<OdDbAssocNetworkState> const& self);
    void leave(OdDbAssocVariable const& variable);
    void freeName(OdString const& name);

    bool m_knowsNames = false;
    std::vector<OdDbObjectId> m_unread;
    OdDbAssocNameTable m_names;
    OdDbAssocFlatTable<Member> m_members;
    std::unordered_map<OdString, int, OdStringIHash, OdStringIEqual> m_firstNumbers;
};
