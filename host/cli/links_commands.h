// The commands for links, as functions of what the command line says.

#pragma once

#include "protocol/host_error.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace zemhost {

class HostSession;

struct LinksListRequest
{
    std::string drawing;
    std::string selection;  ///< only its links; empty for all
    bool json = false;
    std::optional<std::size_t> limit;  ///< lines shown; 0 for all
};
ExitCode runLinksList(HostSession& session, LinksListRequest const& request);

struct LinksAddRequest
{
    std::string drawing;
    std::string selection;
    std::vector<std::string> parts;
};
ExitCode runLinksAdd(HostSession& session, LinksAddRequest const& request);

struct LinksVerifyRequest
{
    std::string drawing;
    bool json = false;
};
ExitCode runLinksVerify(HostSession& session, LinksVerifyRequest const& request);

/// Without a selection all that needs no decision is mended.
struct LinksRepairRequest
{
    std::string drawing;
    std::string selection;
    std::size_t entry = 0;  ///< from 1
    std::string part;       ///< that the link is to name
    bool remove = false;    ///< takes the entry out
    bool undo = false;      ///< takes the last repair of the entry back
    std::string block;      ///< whose selection it is; empty if only one block has it
};
ExitCode runLinksRepair(HostSession& session, LinksRepairRequest const& request);

}  // namespace zemhost
