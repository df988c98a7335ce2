#include "assoc/od_db_assoc_network.h"

#include "assoc/od_db_assoc_evaluation_impl.h"
#include "assoc/od_db_assoc_network_state_impl.h"
#include "assoc/od_db_assoc_variable.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"

#include <algorithm>
#include <set>
#include <utility>

RX_DEFINE_CLASS(OdDbAssocNetwork, OdDbAssocAction, odrxCreate<OdDbAssocNetwork>,
                L"OdDbAssocNetwork", OdDb::kDwgVersionCurrent, 0, 0, L"ASSOCNETWORK",
                L"Object database");

namespace {

/// Key of a network in a dictionary. In an extension dictionary it comes before the key of what
/// refers to variables, so that cloning meets variables first.
constexpr wchar_t kKey[] = L"ASSOC_NETWORK";

/// What a partial undo record says was done.
enum Opcode : std::uint8_t
{
    kActionAdded = 0,
    kActionRemoved = 1
};

/// The network under a key of a dictionary; null if there is something else or nothing.
OdDbObjectId networkAt(OdDbObjectId dictionaryId, OdString const& key)
{
    if (!odDbAssocIsOfClass(dictionaryId, OdDbDictionary::desc())) {
        return OdDbObjectId::kNull;
    }
    // What its class can't read is carried as a proxy, under the class that it was filed by.
    const OdDbObjectPtr object = dictionaryId.openObject();
    const OdDbDictionaryPtr dictionary = OdDbDictionary::cast(object.get());
    if (dictionary.isNull()) {
        return OdDbObjectId::kNull;
    }
    const OdDbObjectId id = dictionary->getAt(key);
    return odDbAssocIsOfClass(id, OdDbAssocNetwork::desc()) ? id : OdDbObjectId::kNull;
}

}  // namespace

OdDbAssocEvaluationCallback::~OdDbAssocEvaluationCallback() = default;

OdDbAssocNetwork::OdDbAssocNetwork() : m_state(std::make_shared<OdDbAssocNetworkState>())
{
    m_state->isChecked = true;  // it has nothing yet
}

OdDbAssocNetwork::~OdDbAssocNetwork() = default;

// ---------------------------------------------------------------------------------------------
// Finding networks

/// Makes a network under a key of a dictionary, unless a reactor does when it is told; null if the key
/// holds something else.
static OdDbObjectId makeNetwork(OdDbObjectId dictionaryId, OdString const& key)
{
    const OdDbDictionaryPtr dictionary = dictionaryId.safeOpenObject(OdDb::kForWrite);
    const OdDbAssocNetworkPtr made = odrxMake<OdDbAssocNetwork>();
    const OdDbObjectId network = dictionary->getOrSetAt(key, made.get());
    return odDbAssocIsOfClass(network, OdDbAssocNetwork::desc()) ? network : OdDbObjectId::kNull;
}

OdDbObjectId OdDbAssocNetwork::getInstanceFromDatabase(OdDbDatabase& database, bool create)
{
    const OdDbObjectId dictionary = database.getNamedObjectsDictionaryId();
    const OdDbObjectId network = networkAt(dictionary, kKey);
    return network.isNull() && create ? makeNetwork(dictionary, kKey) : network;
}

OdDbObjectId OdDbAssocNetwork::getInstanceFromObject(OdDbObjectId objectId, bool create,
                                                     bool addToTopLevel, OdString const& name)
{
    const OdDbObjectPtr object = objectId.openObject();
    if (object.isNull()) {
        return OdDbObjectId::kNull;
    }
    const OdDbDatabasePtr keptAlive(object->database());  // a reactor may hold the last pointer
    const OdString key = name.isEmpty() ? OdString(kKey) : kKey + (L"_" + name);
    OdDbObjectId network = networkAt(object->extensionDictionary(), key);
    if (!create) {
        return network;
    }
    if (network.isNull()) {
        if (object->extensionDictionary().isNull()) {
            object->upgradeOpen();
            object->createExtensionDictionary();
            object->downgradeOpen();
        }
        network = makeNetwork(object->extensionDictionary(), key);
        if (network.isNull()) {
            return OdDbObjectId::kNull;
        }
    }
    if (addToTopLevel) {
        listAtTop(*keptAlive, network);
    }
    return network;
}

/// Lets the network of the drawing list another one.
void OdDbAssocNetwork::listAtTop(OdDbDatabase& database, OdDbObjectId network)
{
    const OdDbObjectPtr object = getInstanceFromDatabase(database, /*create=*/true).openObject();
    const OdDbAssocNetworkPtr top = OdDbAssocNetwork::cast(object.get());
    if (!top.isNull() && top->objectId() != network && !top->isListed(network)) {
        top->upgradeOpen();
        (void)top->addAction(network, /*owned=*/false);
        top->downgradeOpen();
    }
}

// ---------------------------------------------------------------------------------------------
// Actions

std::shared_ptr<OdDbAssocNetworkState> const& OdDbAssocNetwork::sharedState() const noexcept
{
    m_state->network = objectId();
    return m_state;
}

void OdDbAssocNetwork::readMembers() const
{
    OdDbAssocNetworkState& known = state();
    if (!known.knowsMembers) {
        for (OdDbObjectId id : m_actions) {
            known.addMember(id);
        }
        known.knowsMembers = true;
    }
}

bool OdDbAssocNetwork::isListed(OdDbObjectId action) const
{
    readMembers();
    return state().hasMember(action);
}

OdDbObjectIdArray OdDbAssocNetwork::getActions() const
{
    assertReadEnabled();
    OdDbAssocNetworkState& known = state();
    if (!known.knowsLiving) {
        known.living.clear();
        known.hasErased = false;
        // Objects of other networks and of unknown classes don't tell when they are erased.
        bool tells = m_notOwned.empty();
        for (OdDbObjectId id : m_actions) {
            if (id.isErased()) {
                known.hasErased = true;
            } else {
                known.living.append(id);
            }
            tells = tells && odDbAssocIsOfClass(id, OdDbAssocAction::desc());
        }
        known.knowsLiving = tells;
    }
    return known.hasErased ? known.living : m_actions;
}

void OdDbAssocNetwork::actionErased(OdDbObjectId action)
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    state().knowsLiving = false;
    state().knowsNetworks = false;
    state().stale.insert(action);
    state().freeName(action);
}

void OdDbAssocNetwork::record(std::uint8_t opcode, OdDbObjectId action, bool owned,
                              unsigned position)
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    OdDbDwgFiler* filer = undoFiler();
    if (filer == nullptr) {
        return;
    }
    filer->wrAddress(OdDbAssocNetwork::desc());
    filer->wrUInt8(opcode);
    filer->wrSoftPointerId(action);
    filer->wrBool(owned);
    filer->wrInt32(static_cast<std::int32_t>(position));
}

void OdDbAssocNetwork::insertAction(unsigned position, OdDbObjectId action, bool owned)
{
    OdDbAssocNetworkState& known = state();
    readMembers();
    record(kActionAdded, action, owned, position);
    const bool atEnd = position >= m_actions.size();
    m_actions.insertAt(std::min<unsigned>(position, m_actions.size()), action);
    if (!owned) {
        m_notOwned.insert(action.record());
    }
    known.addMember(action);
    known.renamed(action);
    known.knowsLiving = known.knowsLiving && atEnd && owned && !action.isErased() &&
                        odDbAssocIsOfClass(action, OdDbAssocAction::desc());
    if (known.knowsLiving && known.hasErased) {
        known.living.append(action);
    }
    if (!odDbAssocIsOfClass(action, OdDbAssocVariable::desc())) {
        known.knowsNetworks = false;
    }
}

unsigned OdDbAssocNetwork::takeOutAction(OdDbObjectId action)
{
    OdDbAssocNetworkState& known = state();
    readMembers();
    unsigned position = 0;
    const unsigned size = m_actions.size();
    if (size != 0 && std::as_const(m_actions)[size - 1] == action) {
        position = size - 1;  // undo takes them out from the end
    } else {
        (void)m_actions.find(action, position);
    }
    record(kActionRemoved, action, m_notOwned.count(action.record()) == 0, position);
    m_actions.removeAt(position);
    m_notOwned.erase(action.record());
    known.removeMember(action);
    known.forget(action);
    known.stale.erase(action);
    known.knowsLiving = false;
    known.knowsNetworks = false;
    return position;
}

bool OdDbAssocNetwork::belongsTo(OdDbObjectId network) const
{
    std::set<OdDbObjectId> seen;
    OdDbObjectId at = objectId();
    while (!at.isNull() && seen.insert(at).second) {
        if (at == network) {
            return true;
        }
        const OdDbObjectPtr object = at.openObject(OdDb::kForRead, /*openErased=*/true);
        at = object.isNull() ? OdDbObjectId::kNull : object->ownerId();
    }
    return false;
}

OdResult OdDbAssocNetwork::addAction(OdDbObjectId actionId, bool owned)
{
    const OdDbDatabasePtr keptAlive(database());  // a reactor may hold the last pointer
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    if (actionId.isNull() || actionId.originalDatabase() != database() ||
        !odDbAssocIsOfClass(actionId, OdDbAssocAction::desc())) {
        return kOdInvalidInput;
    }
    const OdDbObjectPtr object = actionId.openObject(owned ? OdDb::kForWrite : OdDb::kForRead);
    const OdDbAssocActionPtr action = OdDbAssocAction::cast(object.get());
    if (action.isNull()) {
        return kOdInvalidInput;
    }
    if (actionId == objectId() ||
        (owned && action->isKindOf(OdDbAssocNetwork::desc()) && belongsTo(actionId))) {
        return kOdCyclicReference;
    }
    if (owned && action->ownerId() != objectId()) {
        // An erased one, too: it may come back.
        const OdDbObjectPtr owner =
            action->owningNetwork().openObject(OdDb::kForWrite, /*openErased=*/true);
        const OdDbAssocNetworkPtr former = OdDbAssocNetwork::cast(owner.get());
        if (!former.isNull()) {
            (void)former->removeAction(actionId, /*erase=*/false);
        }
        action->setOwnerId(objectId());
    }
    if (!isListed(actionId)) {
        insertAction(m_actions.size(), actionId, owned);
    } else if (owned && m_notOwned.count(actionId.record()) != 0) {
        insertAction(takeOutAction(actionId), actionId, owned);
    }
    if (owned) {
        action->setNetworkState(sharedState());
        action->joinedNetwork();
    }
    return kOdOk;
}

OdResult OdDbAssocNetwork::removeAction(OdDbObjectId actionId, bool erase)
{
    const OdDbDatabasePtr keptAlive(database());  // a reactor may hold the last pointer
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    if (actionId.isNull() || actionId.isErased() || !isListed(actionId)) {
        return kOdKeyNotFound;
    }
    const OdDbObjectPtr object = actionId.openObject(OdDb::kForWrite);
    if (erase && !object.isNull()) {
        state().knowsLiving = false;
        return object->erase(true);  // stays in the list, and can come back
    }
    (void)takeOutAction(actionId);
    if (object.isNull() || object->ownerId() != objectId()) {
        return kOdOk;
    }
    const OdDbAssocActionPtr action = OdDbAssocAction::cast(object.get());
    if (!action.isNull()) {
        leaveUsersBehind(*action);
        action->setNetworkState(nullptr);
    }
    object->setOwnerId(OdDbObjectId::kNull);
    return kOdOk;
}

/// What uses a variable that goes away is out of date here.
void OdDbAssocNetwork::leaveUsersBehind(OdDbAssocAction const& action)
{
    if (action.isKindOf(OdDbAssocVariable::desc())) {
        for (OdDbObjectId user :
             OdDbAssocEvaluation::usersOf(static_cast<OdDbAssocVariable const&>(action))) {
            state().stale.insert(user);
        }
    }
}

OdDbObjectId OdDbAssocNetwork::findVariable(OdString const& name) const
{
    assertReadEnabled();
    if (name.isEmpty()) {
        return OdDbObjectId::kNull;
    }
    readActions();
    return state().find(name, OdDbObjectId::kNull, sharedState());
}

bool OdDbAssocNetwork::hasVariableOfName(OdString const& name,
                                         OdDbObjectIdArray const& actions) const
{
    if (!name.isEmpty() && !state().find(name, OdDbObjectId::kNull, sharedState()).isNull()) {
        return true;
    }
    if (!name.isEmpty() && m_notOwned.empty()) {
        return false;
    }
    // Variables without a name, and those that others own, are not known by it.
    return std::any_of(actions.begin(), actions.end(), [&](OdDbObjectId id) {
        if (!name.isEmpty() && m_notOwned.count(id.record()) == 0) {
            return false;
        }
        const OdDbAssocVariablePtr variable = OdDbAssocVariable::cast(id.openObject().get());
        return !variable.isNull() && odIcmp(variable->name(), name) == 0;
    });
}

OdString OdDbAssocNetwork::freeVariableName(OdString const& base) const
{
    const OdDbObjectIdArray actions = getActions();
    readActions();
    if (!hasVariableOfName(base, actions)) {
        return base;
    }
    // Where actions don't tell when they are erased, numbers that were taken may be free.
    const bool tells = state().knowsLiving;
    const OdString stem(base.c_str());
    int number = tells ? state().firstNumber(stem) : 1;
    OdString name;
    for (;; ++number) {
        name.format(L"%ls_%d", stem.c_str(), number);
        if (!hasVariableOfName(name, actions)) {
            break;
        }
    }
    if (tells) {
        state().setFirstNumber(stem, number);
    }
    return name;
}

void OdDbAssocNetwork::readActions() const
{
    readMembers();
    if (!state().knowsNames()) {
        state().startNames(m_actions);
    }
}

// ---------------------------------------------------------------------------------------------
// Evaluation

OdResult OdDbAssocNetwork::evaluate(OdDbAssocEvaluationCallback* callback)
{
    assertReadEnabled();
    if (isUndoing()) {
        return kOdOk;
    }
    const OdDbDatabasePtr keptAlive(database());  // a reactor may hold the last pointer
    OdDbAssocEvaluation evaluation(callback);
    std::set<OdDbObjectId> seen{objectId()};
    std::vector<OdDbObjectId> networks{objectId()};
    for (std::size_t index = 0; index < networks.size(); ++index) {
        const OdDbObjectPtr object = networks[index].openObject();
        const OdDbAssocNetworkPtr network = OdDbAssocNetwork::cast(object.get());
        if (network.isNull()) {
            continue;
        }
        OdDbAssocNetworkState& known = network->state();
        if (!known.knowsNetworks) {
            known.networks.clear();
            for (OdDbObjectId id : std::as_const(network->m_actions)) {
                if (odDbAssocIsOfClass(id, OdDbAssocNetwork::desc())) {
                    known.networks.push_back(id);
                }
            }
            known.knowsNetworks = true;
        }
        for (OdDbObjectId id : known.networks) {
            if (seen.insert(id).second) {
                networks.push_back(id);
            }
        }
        std::vector<OdDbObjectId> variables;
        if (known.isChecked) {
            variables.assign(known.stale.begin(), known.stale.end());
        } else {
            for (OdDbObjectId id : std::as_const(network->m_actions)) {
                if (network->m_notOwned.count(id.record()) == 0) {
                    variables.push_back(id);
                }
            }
        }
        known.isChecked = true;
        known.stale.clear();
        try {
            evaluation.evaluate(variables);
        } catch (...) {
            network->state().stale.insert(variables.begin(), variables.end());
            throw;
        }
    }
    evaluation.close();
    return evaluation.firstFailure();
}

// ---------------------------------------------------------------------------------------------
// Filing

void OdDbAssocNetwork::cloneFinished(OdDbIdMapping& mapping)
{
    OdDbAssocAction::cloneFinished(mapping);
    // A drawing whose named objects can't be read has no place to be listed at.
    const OdDbObjectPtr named = database()->getNamedObjectsDictionaryId().openObject();
    if (OdDbDictionary::cast(named.get()).isNull()) {
        return;
    }
    const bool isOfDrawing = getInstanceFromDatabase(*database()) == objectId();
    if (!isOfDrawing && owningNetwork().isNull() && !objectThatOwnsNetworkInstance().isNull()) {
        listAtTop(*database(), objectId());
    }
}

OdResult OdDbAssocNetwork::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbAssocAction::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    const std::uint32_t count = odDbReadCount(*filer, 1);
    OdDbObjectIdArray actions;
    std::unordered_set<OdDbIdRecord const*> notOwned;
    std::unordered_set<OdDbIdRecord const*> seen;
    for (std::uint32_t index = 0; index < count; ++index) {
        const bool owned = filer->rdBool();
        const OdDbObjectId id = owned ? filer->rdHardOwnershipId() : filer->rdSoftPointerId();
        if (id.isNull() || id == objectId() || !seen.insert(id.record()).second) {
            continue;
        }
        actions.append(id);
        if (!owned) {
            notOwned.insert(id.record());
        }
    }
    m_actions = std::move(actions);
    m_notOwned = std::move(notOwned);
    m_state->clear();
    return kOdOk;
}

void OdDbAssocNetwork::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbAssocAction::dwgOutFields(filer);
    const bool isCopy = filer->filerType() == OdDb::FilerType::kCopyFiler;
    const bool keepsErased = odDbAssocKeepsErased(*filer);
    const auto isFiled = [&](OdDbObjectId id) {
        return !isCopy && (keepsErased || !id.isErased());
    };
    std::int32_t count = 0;
    for (OdDbObjectId id : m_actions) {
        count += isFiled(id) ? 1 : 0;
    }
    filer->wrInt32(count);
    for (OdDbObjectId id : m_actions) {
        if (!isFiled(id)) {
            continue;
        }
        const bool owned = m_notOwned.count(id.record()) == 0;
        filer->wrBool(owned);
        odDbWriteId(*filer, id,
                    owned ? OdDb::ReferenceType::kHardOwnershipRef
                          : OdDb::ReferenceType::kSoftPointerRef);
    }
}

void OdDbAssocNetwork::applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls)
{
    if (cls != OdDbAssocNetwork::desc()) {
        OdDbAssocAction::applyPartialUndo(filer, cls);
        return;
    }
    const std::uint8_t opcode = filer->rdUInt8();
    const OdDbObjectId id = filer->rdSoftPointerId();
    const bool owned = filer->rdBool();
    const std::int32_t position = filer->rdInt32();
    if (opcode == kActionAdded) {
        if (isListed(id)) {
            (void)takeOutAction(id);
        }
    } else if (!isListed(id)) {
        insertAction(static_cast<unsigned>(position), id, owned);
        state().stale.insert(id);
    }
}
