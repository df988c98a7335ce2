// What the parts of the command line have in common.

#pragma once

#include "cli/host_session.h"

#include "protocol/host_error.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

namespace zemhost {

/// A command with its request, ready to be run.
using Run = std::function<ExitCode(HostSession&)>;

/// Checks the name of a file: an empty one comes from a variable that a script forgot to set.
inline CLI::Validator fileName()
{
    return CLI::Validator(
        [](std::string const& name) { return name.empty() ? "the name is empty" : std::string(); },
        "");
}

/// Adds a command that makes `run` its own when the command line names it.
///
/// \param run, request  Live as long as the parser; the parser's options point into the request.
/// \param examples      Stand below the command's help.
template <class Request>
CLI::App& addCommand(CLI::App& parent, Run& run, std::string const& name,
                     std::string const& description, std::string const& examples, Request& request,
                     ExitCode (*command)(HostSession&, Request const&))
{
    CLI::App& added = *parent.add_subcommand(name, description);
    added.footer(examples);
    added.callback([&run, &request, command] {
        run = [&request, command](HostSession& session) { return command(session, request); };
    });
    return added;
}

}  // namespace zemhost
