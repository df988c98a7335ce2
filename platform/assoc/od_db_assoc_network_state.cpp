#include "assoc/od_db_assoc_network_state_impl.h"
#include "assoc/od_db_assoc_variable.h"
#include "db/od_db_database.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <utility>

void OdDbAssocNetworkState::clear()
{
    const OdDbObjectId id = network;
    *this = OdDbAssocNetworkState();
    network = id;
}

void OdDbAssocNetworkState::startNames(OdDbObjectIdArray const& actions)
{
    m_names.clear();
    m_firstNumbers.clear();
    m_unread.assign(actions.begin(), actions.end());
    m_knowsNames = true;
}

OdDbAssocNetworkState::Member* OdDbAssocNetworkState::findMember(OdDbObjectId action)
{
    return m_members.find(std::hash<void const*>()(action.record()),
                          [&](Member const& member) { return member.record == action.record(); });
}

bool OdDbAssocNetworkState::hasMember(OdDbObjectId action)
{
    return findMember(action) != nullptr;
}

void OdDbAssocNetworkState::addMember(OdDbObjectId action)
{
    if (!hasMember(action)) {
        m_members.insert({std::hash<void const*>()(action.record()), action.record()});
    }
}

void OdDbAssocNetworkState::removeMember(OdDbObjectId action)
{
    if (Member* const member = findMember(action)) {
        m_members.erase(member);
    }
}

/// A variable knows itself under which name it was entered, and where: another network may merely
/// list it.
void OdDbAssocNetworkState::forget(OdDbObjectId action)
{
    if (!m_knowsNames || !odDbAssocIsOfClass(action, OdDbAssocVariable::desc())) {
        return;
    }
    const OdDbObjectPtr object = action.openObject(OdDb::kForRead, /*openErased=*/true);
    const OdDbAssocVariablePtr variable = OdDbAssocVariable::cast(object.get());
    if (!variable.isNull() && variable->networkState() == this) {
        leave(*variable);
    }
}

void OdDbAssocNetworkState::leave(OdDbAssocVariable const& variable)
{
    const OdString name = std::exchange(variable.m_enteredName, OdString());
    if (!name.isEmpty()) {
        freeName(name);
        m_names.leave(name, variable.objectId());
    }
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
    if (m_firstNumbers.empty() || !odDbAssocIsOfClass(action, OdDbAssocVariable::desc())) {
        return;
    }
    const OdDbObjectPtr object = action.openObject(OdDb::kForRead, /*openErased=*/true);
    const OdDbAssocVariablePtr variable = OdDbAssocVariable::cast(object.get());
    if (!variable.isNull()) {
        freeName(variable->m_enteredName);
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

void OdDbAssocNetworkState::readNames(std::shared_ptr<OdDbAssocNetworkState> const& self)
{
    for (std::size_t index = 0; index < m_unread.size(); ++index) {
        const OdDbObjectId id = m_unread[index];
        if (!odDbAssocIsOfClass(id, OdDbAssocVariable::desc()) || !hasMember(id)) {
            continue;
        }
        const OdDbObjectPtr object = id.openObject(OdDb::kForRead, /*openErased=*/true);
        const OdDbAssocVariablePtr variable = OdDbAssocVariable::cast(object.get());
        // While a network is cloned, it lists the actions of its source.
        if (variable.isNull() || variable->ownerId() != network) {
            continue;
        }
        variable->setNetworkState(self);
        leave(*variable);
        const OdString name = variable->name();
        if (!name.isEmpty()) {
            m_names.enter(name, id);
            variable->m_enteredName = name;
        }
    }
    m_unread.clear();
}

OdDbObjectId OdDbAssocNetworkState::find(OdString const& name, OdDbObjectId except,
                                         std::shared_ptr<OdDbAssocNetworkState> const& self)
{
    readNames(self);
    OdDbObjectId first;
    m_names.forEach(name, [&](OdDbObjectId id) {
        if (!id.isErased() && id != except && (first.isNull() || id < first)) {
            first = id;
        }
    });
    return first;
}
