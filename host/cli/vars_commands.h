// The commands for variables, as functions of what the command line says.

#pragma once

#include "protocol/host_error.h"

#include <string>

namespace zemhost {

class HostSession;

/// What the commands for variables have in common: the block whose variables they are.
struct VarsRequest
{
    std::string drawing;
    std::string block;  ///< empty for model space
    bool json = false;
};
ExitCode runVarsList(HostSession& session, VarsRequest const& request);

struct VarsSetRequest
{
    VarsRequest vars;
    std::string name;
    std::string expression;  ///< or a number
};
/// Sets a variable, or makes it, and gives the inserts that it drives their new scales.
ExitCode runVarsSet(HostSession& session, VarsSetRequest const& request);

struct VarsRenameRequest
{
    VarsRequest vars;
    std::string name;
    std::string newName;
};
ExitCode runVarsRename(HostSession& session, VarsRenameRequest const& request);

struct VarsRemoveRequest
{
    VarsRequest vars;
    std::string name;
    bool force = false;  ///< also if expressions or inserts use it
};
ExitCode runVarsRemove(HostSession& session, VarsRemoveRequest const& request);

}  // namespace zemhost
