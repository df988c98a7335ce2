// Variables of a block: finding, making and naming them, reading their values, constant expressions.

#pragma once

#include "assoc/od_db_assoc_variable.h"

#include <cstdint>
#include <set>

class OdDbDatabase;

namespace zemu {

/// \name Values
/// A variable's own value may be the same as the number that stands for none.
/// @{
/// A double or an integer as a double; -1.0 for null and for any other kind of value.
double getValueAsDouble(OdDbEvalVariant const* value);
/// A double cut to its whole part, or an integer; -1 for null and for any other kind of value, and for
/// a double that no `int` can hold.
int getValueAsInt(OdDbEvalVariant const* value);
/// The value of a variable, which is open for read; -1.0 for null.
double getValueAsDouble(OdDbAssocVariable const* variable);
/// @}

/// \name Constant expressions
/// @{
/// A number as an expression, with 12 significant digits.
OdString getConstExpression(double value);
/// Gives a variable, which is open for write, a number as its expression.
/// \return (variable missing) for null; else what `OdDbAssocVariable::setExpression` gives.
OdResult setConstExpression(OdDbAssocVariable* variable, double value);
/// The value of an expression that mentions no variable; null for any other text.
OdDbEvalVariantPtr getConstValue(OdString const& text);
/// Whether a variable depends on nothing, whatever its expression says. It is open for read; false
/// for null.
bool hasConstExpression(OdDbAssocVariable const* variable);
/// @}

/// \name Variables of a block
/// @{
/// Whether a name is empty or starts with "*".
bool isAnonymous(OdString const& name);
/// Whether a variable, which is open for read, has such a name; true for null.
bool isAnonymous(OdDbAssocVariable const* variable);
/// The variable of a name, compared without case, in the network of a block.
///
/// \param create      Whether to make the network and the variable if there are none. A name that the
///                    network refuses is not set, an expression that can't be computed neither.
/// \param expression  Of a new variable; "1" if it is null.
/// \return Null if there is none, and for a block that can't be opened.
/// \throws OdError (class not registered); OdError_NotThatKindOfClass if the class makes something
///         else.
OdDbObjectId getAssocVariable(OdDbObjectId block, OdString const& name, bool create,
                              OdString const* expression = nullptr);
/// Adds the names of a block's variables to a set, in upper case, anonymous ones too.
void getVariableNames(OdDbObjectId block, std::set<OdString>& names);
/// A name that no variable of a block has, compared without case: `base`, or else the first of
/// `base_1`, `base_2`, ... that is free. Near constant, however many names are taken, but the first
/// call on an opened drawing reads all variables of the block.
OdString generateVariableName(OdDbObjectId block, OdString const& base);
/// Variables and what their expressions use, directly or through others.
///
/// \param depth  Up to 1: the ids alone. Above: everything that they lead to; not counted down.
/// \return The given ids as they are, then what was found, each once, the nearest first. Ids that are
///         no actions lead nowhere.
OdDbObjectIdArray getUsedVariables(OdDbObjectIdArray ids, int depth);
/// @}

/// Raises the parameter copy mode of a database's host to the one that copies parameters whole, for
/// the length of a scope. Scopes nest.
class ZemParameterCopyModeElevate
{
public:
    /// \param database  Outlives the scope; null makes a scope without effect.
    explicit ZemParameterCopyModeElevate(OdDbDatabase* database);
    ZemParameterCopyModeElevate(ZemParameterCopyModeElevate const&) = delete;
    ZemParameterCopyModeElevate& operator=(ZemParameterCopyModeElevate const&) = delete;
    ~ZemParameterCopyModeElevate();

private:
    std::int16_t m_savedMode = 0;
    OdDbDatabase* m_database;
};

}  // namespace zemu
