#include "assoc/od_db_assoc_network_state_impl.h"
#include "assoc/od_db_assoc_variable.h"
#include "db/od_db_database.h"

#include <algorithm>
#include <string_view>
#include <utility>

void OdDbAssocNetworkState::clear()
{
    *this = OdDbAssocNetworkState();
}

void OdDbAssocNetworkState::startNames(OdDbObjectIdArray const& actions)
{
    m_byName.clear();
    m_names.clear();
    m_firstNumbers.clear();
    m_unread.assign(actions.begin(), actions.end());
    m_knowsNames = true;
}

void OdDbAssocNetworkState::forget(OdDbObjectId action)
{
    const auto known = m_names.find(action.record());
    if (known == m_names.end()) {
        return;
    }
    freeName(known->second);
    const auto named = m_byName.find(known->second);
    if (named != m_byName.end()) {
        Named& entry = named->second;
        if (entry.others != nullptr) {
            entry.others->erase(action);
        }
        if (entry.id == action) {
            if (entry.others == nullptr || entry.others->empty()) {
                m_byName.erase(named);
            } else {
                entry.id = *entry.others->begin();
                entry.others->erase(entry.others->begin());
            }
        }
    }
    m_names.erase(known);
}

int OdDbAssocNetworkState::firstNumber(OdString const& stem) const
{
    const auto found = m_firstNumbers.find(stem);
    return found != m_firstNumbers.end() ? found->second : 1;
}

void OdDbAssocNetworkState::setFirstNumber(OdString const& stem, int number)
{
    m_firstNumbers[stem] = number;
}

void OdDbAssocNetworkState::freeName(OdDbObjectId action)
{
    const auto known = m_names.find(action.record());
    if (known != m_names.end()) {
        freeName(known->second);
    }
}

void OdDbAssocNetworkState::freeName(OdString const& name)
{
    const int mark = name.reverseFind(L'_');
    if (mark < 0 || m_firstNumbers.empty()) {
        return;
    }
    const std::wstring_view digits = name.wide().substr(static_cast<std::size_t>(mark) + 1);
    // More digits than a number of names can have, or a leading 0, are not made by numbering.
    constexpr std::size_t kMaxDigits = 9;
    if (digits.empty() || digits.size() > kMaxDigits || digits.front() == L'0') {
        return;
    }
    int number = 0;
    for (wchar_t digit : digits) {
        if (digit < L'0' || digit > L'9') {
            return;
        }
        number = number * 10 + static_cast<int>(digit - L'0');
    }
    const auto found = m_firstNumbers.find(name.left(mark));
    if (found != m_firstNumbers.end()) {
        found->second = std::min(found->second, number);
    }
}

void OdDbAssocNetworkState::enter(OdString const& name, OdDbObjectId id)
{
    const auto [entry, isNew] = m_byName.try_emplace(name);
    Named& named = entry->second;
    if (isNew) {
        named.id = id;
    } else {
        if (named.others == nullptr) {
            named.others = std::make_unique<Ids>();
        }
        named.others->insert(id);
    }
    m_names.insert_or_assign(id.record(), name);
}

void OdDbAssocNetworkState::readNames(std::shared_ptr<OdDbAssocNetworkState> const& self)
{
    for (std::size_t index = 0; index < m_unread.size(); ++index) {
        const OdDbObjectId id = m_unread[index];
        forget(id);
        if (members.count(id.record()) == 0 || !odDbAssocIsOfClass(id, OdDbAssocVariable::desc())) {
            continue;
        }
        const OdDbObjectPtr object = id.openObject(OdDb::kForRead, /*openErased=*/true);
        const OdDbAssocVariablePtr variable = OdDbAssocVariable::cast(object.get());
        if (variable.isNull()) {
            continue;
        }
        variable->setNetworkState(self);
        const OdString name = variable->name();
        if (!name.isEmpty()) {
            enter(name, id);
        }
    }
    m_unread.clear();
}

OdDbObjectId OdDbAssocNetworkState::find(OdString const& name, OdDbObjectId except,
                                         std::shared_ptr<OdDbAssocNetworkState> const& self)
{
    readNames(self);
    const auto found = m_byName.find(name);
    if (found == m_byName.end()) {
        return OdDbObjectId::kNull;
    }
    OdDbObjectId first;
    const auto consider = [&](OdDbObjectId id) {
        if (!id.isErased() && id != except && (first.isNull() || id < first)) {
            first = id;
        }
    };
    consider(found->second.id);
    if (found->second.others != nullptr) {
        for (OdDbObjectId id : *found->second.others) {
            consider(id);
        }
    }
    return first;
}
