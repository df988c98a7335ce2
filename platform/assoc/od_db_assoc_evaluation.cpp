#include "assoc/od_db_assoc_dependency.h"
#include "assoc/od_db_assoc_evaluation_impl.h"
#include "assoc/od_db_assoc_network_state_impl.h"
#include "db/od_db_database.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

std::vector<OdDbObjectId> OdDbAssocEvaluation::usersOf(OdDbAssocVariable const& variable)
{
    std::vector<OdDbObjectId> users;
    const OdDbObjectIdArray reactors = variable.getPersistentReactors();
    for (OdDbObjectId id : reactors) {
        if (!odDbAssocIsOfClass(id, OdDbAssocValueDependency::desc())) {
            continue;
        }
        const OdDbObjectPtr object = id.openObject();
        if (object.isNull() || !object->isKindOf(OdDbAssocValueDependency::desc())) {
            continue;
        }
        auto const& dependency = static_cast<OdDbAssocValueDependency const&>(*object);
        const OdDbObjectId user = dependency.ownerId();
        if (dependency.dependentOnObject() != variable.objectId() || user.isErased() ||
            !odDbAssocIsOfClass(user, OdDbAssocVariable::desc())) {
            continue;
        }
        const OdDbObjectPtr opened = user.openObject();
        if (!opened.isNull() && opened->ownerId() == variable.ownerId()) {
            users.push_back(user);
        }
    }
    return users;
}

bool OdDbAssocEvaluation::wouldDependOnItself(OdDbAssocVariable const& variable,
                                              std::vector<OdDbObjectId> const& targets)
{
    if (targets.empty()) {
        return false;
    }
    std::unordered_set<OdDbIdRecord const*> wanted;
    for (OdDbObjectId id : targets) {
        wanted.insert(id.record());
    }
    const OdDbObjectId self = variable.objectId();
    if (wanted.count(self.record()) != 0) {
        return true;
    }
    std::unordered_set<OdDbIdRecord const*> seen{self.record()};
    std::vector<OdDbObjectId> open{self};
    while (!open.empty()) {
        const OdDbObjectPtr object = open.back().openObject();
        open.pop_back();
        const OdDbAssocVariablePtr at = OdDbAssocVariable::cast(object.get());
        if (at.isNull()) {
            continue;
        }
        for (OdDbObjectId user : usersOf(*at)) {
            if (wanted.count(user.record()) != 0) {
                return true;
            }
            if (seen.insert(user.record()).second) {
                open.push_back(user);
            }
        }
    }
    return false;
}

void OdDbAssocEvaluation::reset()
{
    m_nodes.clear();
    m_users.clear();
    m_byRecord.clear();
    m_waiting.clear();
    m_finished.clear();
    m_met = 0;
}

std::uint32_t OdDbAssocEvaluation::nodeOf(OdDbObjectId id)
{
    const auto [entry, isNew] =
        m_byRecord.try_emplace(id.record(), static_cast<std::uint32_t>(m_nodes.size()));
    if (isNew) {
        Node node;
        node.id = id;
        m_nodes.push_back(node);
    }
    return entry->second;
}

/// Meets a node: finds what uses it.
void OdDbAssocEvaluation::visit(std::uint32_t index)
{
    std::vector<OdDbObjectId> users;
    {
        const OdDbObjectPtr object =
            m_nodes[index].id.openObject(OdDb::kForRead, /*openErased=*/true);
        const OdDbAssocVariablePtr variable = OdDbAssocVariable::cast(object.get());
        if (!variable.isNull()) {
            users = usersOf(*variable);
        }
    }
    const auto first = static_cast<std::uint32_t>(m_users.size());
    for (OdDbObjectId user : users) {
        m_users.push_back(nodeOf(user));
    }
    Node& node = m_nodes[index];
    node.firstUser = first;
    node.endUser = static_cast<std::uint32_t>(m_users.size());
    node.order = node.lowest = ++m_met;
    node.isWaiting = true;
    m_waiting.push_back(index);
}

/// Tarjan's search for strongly connected components with a stack of its own ("Depth-first search
/// and linear graph algorithms", 1972). It finishes a node after all that use it.
void OdDbAssocEvaluation::search(std::uint32_t start)
{
    struct Frame
    {
        std::uint32_t node;
        std::uint32_t nextUser;
    };
    if (m_nodes[start].order != 0) {
        return;
    }
    std::vector<Frame> frames;
    visit(start);
    frames.push_back({start, m_nodes[start].firstUser});
    while (!frames.empty()) {
        Frame& frame = frames.back();
        const std::uint32_t at = frame.node;
        if (frame.nextUser < m_nodes[at].endUser) {
            const std::uint32_t user = m_users[frame.nextUser++];
            if (m_nodes[user].order == 0) {
                visit(user);
                frames.push_back({user, m_nodes[user].firstUser});
            } else if (m_nodes[user].isWaiting) {
                m_nodes[at].lowest = std::min(m_nodes[at].lowest, m_nodes[user].order);
            }
            m_nodes[at].isCyclic = m_nodes[at].isCyclic || user == at;
            continue;
        }
        frames.pop_back();
        finishRing(at);
        if (!frames.empty()) {
            Node& before = m_nodes[frames.back().node];
            before.lowest = std::min(before.lowest, m_nodes[at].lowest);
        }
    }
}

void OdDbAssocEvaluation::finishRing(std::uint32_t index)
{
    if (m_nodes[index].lowest != m_nodes[index].order) {
        return;
    }
    const bool isRing = m_waiting.back() != index;
    std::uint32_t member = 0;
    do {
        member = m_waiting.back();
        m_waiting.pop_back();
        m_nodes[member].isWaiting = false;
        m_nodes[member].isCyclic = m_nodes[member].isCyclic || isRing;
        m_finished.push_back(member);
    } while (member != index);
}

void OdDbAssocEvaluation::markUsers(Node const& node)
{
    for (std::uint32_t user = node.firstUser; user < node.endUser; ++user) {
        m_nodes[m_users[user]].isDue = true;
    }
}

void OdDbAssocEvaluation::compute(Node& node)
{
    const OdDbObjectPtr object = node.id.openObject();
    const OdDbAssocVariablePtr variable = OdDbAssocVariable::cast(object.get());
    if (variable.isNull()) {
        return;
    }
    OdString error;
    bool hasChanged = false;
    const OdResult result =
        node.isCyclic ? kOdCyclicReference : variable->recompute(hasChanged, error);
    if (result != kOdOk) {
        if (node.isCyclic) {
            error = ringText();
        }
        if (OdDbAssocNetworkState* state = variable->findNetworkState()) {
            state->stale.insert(node.id);
        }
        m_firstFailure = m_firstFailure == kOdOk ? result : m_firstFailure;
    }
    if (m_callback != nullptr) {
        m_callback->evaluated(*variable, result, error);
    }
    if (hasChanged) {
        m_changed.push_back(variable);
        markUsers(node);
    }
}

void OdDbAssocEvaluation::run()
{
    // What comes later was finished earlier.
    for (auto at = m_finished.rbegin(); at != m_finished.rend(); ++at) {
        Node& node = m_nodes[*at];
        if (node.isGiven) {
            markUsers(node);
        }
        if (node.isDue && !(node.isGiven && !node.isCyclic)) {
            compute(node);
        }
    }
    reset();
}

void OdDbAssocEvaluation::evaluate(std::vector<OdDbObjectId> const& ids)
{
    reset();
    for (OdDbObjectId id : ids) {
        if (!odDbAssocIsOfClass(id, OdDbAssocVariable::desc())) {
            continue;
        }
        if (!id.isErased()) {
            start(id);
            continue;
        }
        const OdDbObjectPtr object = id.openObject(OdDb::kForRead, /*openErased=*/true);
        const OdDbAssocVariablePtr erased = OdDbAssocVariable::cast(object.get());
        if (!erased.isNull()) {
            for (OdDbObjectId user : usersOf(*erased)) {
                start(user);
            }
        }
    }
    const auto count = static_cast<std::uint32_t>(m_nodes.size());
    for (std::uint32_t node = 0; node < count; ++node) {
        search(node);
    }
    run();
}

/// Takes a variable among those that are computed in any case.
void OdDbAssocEvaluation::start(OdDbObjectId id)
{
    Node& node = m_nodes[nodeOf(id)];
    if (node.isDue) {
        return;
    }
    node.isDue = true;
    const OdDbObjectPtr object = id.openObject();
    const OdDbAssocVariablePtr variable = OdDbAssocVariable::cast(object.get());
    if (!variable.isNull()) {
        variable->findAgain();
    }
}

void OdDbAssocEvaluation::evaluateDependents(OdDbAssocVariable const& variable)
{
    reset();
    const std::uint32_t node = nodeOf(variable.objectId());
    m_nodes[node].isGiven = true;
    search(node);
    run();
}

void OdDbAssocEvaluation::closeAll(Changed changed)
{
    for (OdDbAssocVariablePtr& variable : changed) {
        // Others may hold it open: what was changed here is told now all the same.
        variable->downgradeOpen();
        variable.release();
    }
}

void OdDbAssocEvaluation::close()
{
    closeAll(takeChanged());
}
