// Variables: named numbers of a network, set or computed by expressions.

#pragma once

#include "assoc/od_db_assoc_action.h"
#include "assoc/od_db_eval_variant.h"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace OdExpression {
class Parser;
}

/// A named number. With an expression, it follows the variables that the expression names; without,
/// it keeps the value that was set.
///
/// For each variable that the expression names, the variable owns an `OdDbAssocValueDependency`.
/// Names mean variables of the same network: one that goes to another network, or is cloned into it
/// alone, uses what has the names there. Clones that get other names use one another by these.
/// When the value changes, everything that depends on it is computed at the end of the write period:
/// all values first, then the notices, of this variable first and then of each dependent whose value
/// has changed. A new variable has no name, no expression and the value 0.0.
///
/// Setters mark the variable as modified before they check anything, also when they fail or when
/// nothing differs.
class OdDbAssocVariable : public OdDbAssocAction
{
    RX_DECLARE_CLASS(OdDbAssocVariable);

public:
    OdDbAssocVariable();
    ~OdDbAssocVariable() override;
    static OdSmartPtr<OdDbAssocVariable> createObject();

    /// \name Name
    /// @{
    OdString name() const;
    /// Names the variable: by what expressions take for a name, or by any text that starts with "*",
    /// which no expression can mention.
    ///
    /// \param updateOthers  Whether expressions that use the variable are rewritten. They are not
    ///                      for a name with "*", and can't be computed from then on. They are told
    ///                      of when the variable has its new name.
    /// \return 0; (invalid key) for a text that is no name; (duplicate name) if another living
    ///         variable of the network has it, or if an expression to be rewritten or its own
    ///         mentions it already; (bad input) if an expression would become too long to be parsed.
    ///         Nothing has changed then.
    OdResult setName(OdString const& name, bool updateOthers);
    /// The variable of a name in this variable's network, if it is of a class; see
    /// `OdDbAssocNetwork::findVariable`.
    /// \param cls  Null for any class.
    OdDbObjectId findObjectByName(OdString const& name, OdRxClass const* cls = nullptr) const;
    /// @}

    /// \name Expression
    /// @{
    /// The expression as it was set; empty if there is none.
    OdString expression() const;
    /// Sets the expression and computes the value; see docs/expressions.md. An empty text ends it:
    /// the dependencies go, the value stays.
    ///
    /// \param evaluatorId     Not used: there is one evaluator.
    /// \param refuseCycles    Whether an expression that makes the variable depend on itself is
    ///                        refused. If not, all variables of such a ring keep their values.
    /// \param tellDependents  Not used: dependents are always computed when the write period ends.
    /// \param errorText       Not used.
    /// \param reserved        Not used.
    /// \return 0; (bad input) for a text that is no expression or can't be computed, (no such
    ///         variable) for a name that the network doesn't have, (cyclic reference). Nothing has
    ///         changed then.
    OdResult setExpression(OdString const& expression, OdString const& evaluatorId,
                           bool refuseCycles, bool tellDependents, OdString const& errorText,
                           bool reserved);
    /// The same for a text that a person wrote: refuses cycles and tells what is wrong, with its
    /// column.
    /// \param errorText  Set after a failure; may be null.
    OdResult setExpression(OdString const& expression, OdString* errorText = nullptr);
    /// Why the expression can't be computed now, be it that the variable depends on itself; empty
    /// if it can, and without expression.
    OdString evaluationError() const;
    /// @}

    /// \name Value
    /// @{
    /// A copy of the value, never null: a double, or a 32-bit integer that was set. A variable that
    /// can't be computed keeps its last value.
    OdDbEvalVariantPtr value() const;
    /// Sets the value. A variable with an expression has it until it is computed again.
    /// \return 0; (bad input) for a value that is no finite number.
    OdResult setValue(OdDbEvalVariant const& value);
    OdResult setValue(OdDbEvalVariantPtr const& value);
    OdResult setValue(double value);
    OdResult setValue(int value);
    /// @}

    OdResult subErase(bool erasing) override;
    /// As the base; a name that is taken in the network gets a number behind it.
    void appendToOwner(OdDbIdPair& pair, OdDbObject* owner, OdDbIdMapping& mapping) override;
    /// As the base; the clone's expression uses the variables that were cloned with it.
    void cloneFinished(OdDbIdMapping& mapping) override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

protected:
    void joinedNetwork() override;
    void changesEnded() override;
    void changesTold() override;

private:
    friend class OdDbAssocEvaluation;
    friend class OdDbAssocNetworkState;

    using Values = std::vector<std::optional<double>>;
    /// Users of the variable, with the expressions that they are to have.
    using Rewrites = std::vector<std::pair<OdSmartPtr<OdDbAssocVariable>, OdString>>;
    /// What changed with this variable and is told of behind it.
    struct Told
    {
        int round;  ///< of notices of this variable, since they nest
        std::vector<OdSmartPtr<OdDbAssocVariable>> variables;
    };

    OdResult prepare(OdExpression::Parser& parser, bool refuseCycles,
                     std::vector<OdDbObjectId>& targets, std::optional<double>& value,
                     OdString& error) const;
    bool resolve(OdExpression::Parser const& parser, std::vector<OdDbObjectId>& targets,
                 OdString& error) const;
    OdExpression::Parser& parser() const;
    Values collectValues(OdExpression::Parser const& parser) const;
    OdResult compute(double& value, OdString& error) const;
    /// Computes the value, unless there is no expression.
    OdResult recompute(bool& hasChanged, OdString& error);
    /// Ties the expression to variables that have the names in it, where those it was tied to have
    /// lost them or were erased.
    void findAgain();
    void settle();
    void useClones(OdDbIdMapping const& mapping);
    bool ownsDependencies() const;
    void dependOn(std::vector<OdDbObjectId> const& targets);
    void assign(double number, OdDbEvalVariant::Type type);
    OdResult openUsersToRename(OdString const& name, bool updateOthers, Rewrites& rewrites,
                               std::vector<OdSmartPtr<OdDbAssocVariable>>& opened) const;
    OdResult checkName(OdString const& name, bool updateOthers, Rewrites& rewrites) const;
    bool updatesOthers(OdString const& newName, bool isAsked) const;
    OdResult findRewrites(OdString const& newName, Rewrites& rewrites) const;
    void takeName(OdString const& name, bool updateOthers, Rewrites const& rewrites);
    void changeText(OdString const& expression);

    OdString m_name;
    OdString m_expression;
    double m_number = 0;
    OdDbEvalVariant::Type m_type = OdDbEvalVariant::kDouble;
    bool m_tellsUsers = false;   ///< what depends on the variable is out of date
    bool m_isAppending = false;  ///< joins a network as a clone whose references aren't final
    int m_round = 0;
    mutable OdString m_enteredName;  ///< under which the network finds the variable, derived
    OdString m_sourceName;  ///< of what this was cloned from, if it got another one; for the clones
                            ///< of the same operation
    std::vector<Told> m_told;
    mutable std::unique_ptr<OdExpression::Parser> m_parser;  ///< of the expression, derived
};

using OdDbAssocVariablePtr = OdSmartPtr<OdDbAssocVariable>;
