// The variables of a network, with who uses whom, as commands show them.

#pragma once

#include "assoc/od_db_assoc_network.h"
#include "assoc/od_db_assoc_variable.h"
#include "cli/text_format.h"

#include <string>
#include <vector>

namespace zemhost {

/// What is told of one variable.
struct VariableView
{
    OdDbObjectId id;
    std::string name;
    double value = 0;
    std::string expression;  ///< empty if there is none
    std::string problem;     ///< why it can't be computed; empty if it can
    std::vector<OdDbObjectId> usesIds;
    std::vector<std::string> uses;    ///< names of variables that its expression depends on
    std::vector<std::string> usedBy;  ///< names of variables that depend on it
};

/// The variables that can be read, in the order in which they were made.
/// \param network  Null for none.
std::vector<VariableView> variablesOf(OdDbObjectId network);

/// {"handle", "name", "value", "expression", "uses", "usedBy", "problem"}; null for an expression that
/// isn't there, no problem if there is none.
Json variableJson(VariableView const& variable);

}  // namespace zemhost
