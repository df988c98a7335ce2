// Evaluation of variables in the order of their dependencies.

#pragma once

#include "assoc/od_db_assoc_network.h"
#include "assoc/od_db_assoc_variable.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

/// Computes variables and what follows from them.
///
/// A run first collects everything that depends on where it starts, through the persistent reactors
/// of the variables, so it costs what the dependents cost and not what the network holds. Those are
/// computed in the order of their dependencies, each once, and only if something that they depend on
/// has changed. Variables that depend on themselves keep their values. Nothing recurses.
///
/// What has changed stays open for write until `close`, so that all values are set before the first
/// notice goes out.
class OdDbAssocEvaluation
{
public:
    using Changed = std::vector<OdDbAssocVariablePtr>;

    explicit OdDbAssocEvaluation(OdDbAssocEvaluationCallback* callback = nullptr) noexcept
        : m_callback(callback)
    {
    }

    /// Computes the variables among `ids` and, where values change, what depends on them. Of an
    /// erased variable what depends on it is computed.
    void evaluate(std::vector<OdDbObjectId> const& ids);
    /// Computes what depends on a variable whose value has changed already.
    void evaluateDependents(OdDbAssocVariable const& variable);
    /// Hands over what has changed, in the order in which it is to be closed.
    Changed takeChanged() noexcept { return std::move(m_changed); }
    /// Closes what has changed; notices go out.
    void close();
    /// The first result other than 0 of a variable, else 0.
    OdResult firstFailure() const noexcept { return m_firstFailure; }

    /// Closes variables from the first to the last.
    static void closeAll(Changed changed);
    /// The variables of its network whose expressions use a variable; loads them.
    static std::vector<OdDbObjectId> usersOf(OdDbAssocVariable const& variable);
    /// Whether `variable` would depend on itself if it used `targets`.
    static bool wouldDependOnItself(OdDbAssocVariable const& variable,
                                    std::vector<OdDbObjectId> const& targets);
    /// What is told of a variable that does.
    static wchar_t const* ringText() noexcept { return L"the variable depends on itself"; }

private:
    struct Node
    {
        OdDbObjectId id;
        std::uint32_t firstUser = 0;  ///< into m_users
        std::uint32_t endUser = 0;
        std::uint32_t order = 0;   ///< in which the search met it, from 1
        std::uint32_t lowest = 0;  ///< least order that it leads back to
        bool isWaiting = false;    ///< its ring isn't complete
        bool isCyclic = false;
        bool isDue = false;    ///< has to be computed
        bool isGiven = false;  ///< its value has been set by others
    };

    std::uint32_t nodeOf(OdDbObjectId id);
    void start(OdDbObjectId id);
    void visit(std::uint32_t node);
    void search(std::uint32_t start);
    void finishRing(std::uint32_t node);
    void run();
    void compute(Node& node);
    void markUsers(Node const& node);
    void reset();

    OdDbAssocEvaluationCallback* m_callback;
    std::vector<Node> m_nodes;
    std::vector<std::uint32_t> m_users;
    std::unordered_map<OdDbIdRecord const*, std::uint32_t> m_byRecord;
    std::vector<std::uint32_t> m_waiting;
    std::vector<std::uint32_t> m_finished;  ///< nodes behind all that use them
    std::uint32_t m_met = 0;
    Changed m_changed;
    OdResult m_firstFailure = kOdOk;
};
