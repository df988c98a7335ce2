// Networks: the actions and variables of a block, and their evaluation.

#pragma once

#include "assoc/od_db_assoc_action.h"

#include <unordered_set>

class OdDbAssocVariable;

/// Told of each variable that an evaluation computes.
class OdDbAssocEvaluationCallback
{
public:
    virtual ~OdDbAssocEvaluationCallback();

    /// \param variable  Open for read, with its value after the evaluation.
    /// \param result    0, or why the variable has kept its value.
    /// \param error     Tells more of a result other than 0.
    virtual void evaluated(OdDbAssocVariable const& variable, OdResult result,
                           OdString const& error) = 0;
};

/// A list of actions, variables among them, each of which it owns or only lists.
///
/// A block's network lies in the block's extension dictionary. The network of the whole drawing, in
/// the dictionary of named objects, lists those of the blocks. Variables find one another by name
/// within their network. Names, and what is out of date, are known in memory only and found out
/// again on demand, so opening a drawing costs nothing here.
class OdDbAssocNetwork : public OdDbAssocAction
{
    RX_DECLARE_CLASS(OdDbAssocNetwork);

public:
    OdDbAssocNetwork();
    ~OdDbAssocNetwork() override;

    /// \name Finding networks
    /// @{
    /// The network of an object.
    ///
    /// \param create         Whether to make one if there is none.
    /// \param addToTopLevel  Whether a network that may be made is to be listed by the network of
    ///                       the drawing.
    /// \param name           Tells several networks of one object apart; empty for the usual one.
    /// \return Null if there is none, and for an id that can't be opened.
    static OdDbObjectId getInstanceFromObject(OdDbObjectId object, bool create = false,
                                              bool addToTopLevel = true,
                                              OdString const& name = OdString());
    /// The network of the drawing, in the dictionary of named objects.
    static OdDbObjectId getInstanceFromDatabase(OdDbDatabase& database, bool create = false);
    /// @}

    /// \name Actions
    /// @{
    /// The living actions, in the order in which they were added. Cheap: the array is shared.
    OdDbObjectIdArray getActions() const;
    /// Lists an action; one that is listed already stays where it is.
    ///
    /// \param owned  Whether the network becomes its owner; the network that owned it lets go of it.
    /// \return 0; (bad input) for an id that is no living action of this database, (cyclic
    ///         reference) for a network that this one belongs to.
    OdResult addAction(OdDbObjectId action, bool owned);
    /// Takes an action out.
    ///
    /// \param erase  Whether it is erased; else it is left without owner if this network owned it.
    /// \return 0; (key not found) for an id that isn't listed or is erased; what erasing gave.
    OdResult removeAction(OdDbObjectId action, bool erase);
    /// The variable of a name, among those that the network owns; null if there is none. Names
    /// compare without case. Near constant, but the first search of an opened drawing reads all
    /// variables of the network.
    OdDbObjectId findVariable(OdString const& name) const;
    /// A name that no variable has: `base`, or else the first of `base_1`, `base_2`, ... that is free.
    /// Names compare without case. Near constant, also where many names of one base are taken one
    /// after the other, but for variables that others own, all of which are looked at; the first
    /// search of an opened drawing reads all variables of the network.
    OdString freeVariableName(OdString const& base) const;
    /// @}

    /// Computes the variables that are out of date, and what depends on them: those that this network
    /// owns, and those of the networks that it lists. All values are set before the first notice goes
    /// out.
    ///
    /// A variable keeps its value if its expression can't be computed, or if it depends on itself.
    /// The first evaluation of an opened drawing looks at all variables.
    /// \param callback  May be null.
    /// \return 0, or the first result other than 0 of a variable. Nothing is computed while records
    ///         are played back.
    OdResult evaluate(OdDbAssocEvaluationCallback* callback = nullptr);

    /// As the base; the network of the drawing lists a clone that came with its object.
    void cloneFinished(OdDbIdMapping& mapping) override;
    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;
    void applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls) override;

private:
    friend class OdDbAssocAction;
    friend class OdDbAssocNetworkState;
    friend class OdDbAssocVariable;

    /// What is known in memory; never null.
    std::shared_ptr<OdDbAssocNetworkState> const& sharedState() const noexcept;
    OdDbAssocNetworkState& state() const noexcept { return *m_state; }
    static void listAtTop(OdDbDatabase& database, OdDbObjectId network);
    void actionErased(OdDbObjectId action);
    void record(std::uint8_t opcode, OdDbObjectId action, bool owned, unsigned position);
    void insertAction(unsigned position, OdDbObjectId action, bool owned);
    unsigned takeOutAction(OdDbObjectId action);
    bool isListed(OdDbObjectId action) const;
    void readMembers() const;
    void leaveUsersBehind(OdDbAssocAction const& action);
    bool hasVariableOfName(OdString const& name, OdDbObjectIdArray const& actions) const;
    bool belongsTo(OdDbObjectId network) const;
    void readActions() const;

    OdDbObjectIdArray m_actions;  ///< erased ones included, so that they can come back
    std::unordered_set<OdDbIdRecord const*> m_notOwned;
    std::shared_ptr<OdDbAssocNetworkState> m_state;
};

using OdDbAssocNetworkPtr = OdSmartPtr<OdDbAssocNetwork>;
