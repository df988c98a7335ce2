// The commands for external drawings, as functions of what the command line says.

#pragma once

#include "protocol/host_error.h"

#include <string>

namespace zemhost {

class HostSession;

struct XrefListRequest
{
    std::string drawing;
    bool json = false;
};
ExitCode runXrefList(HostSession& session, XrefListRequest const& request);

struct XrefAttachRequest
{
    std::string drawing;
    std::string file;
    std::string name;       ///< of the block; empty for that of the file
    bool absolute = false;  ///< stores the path from the root
    bool missing = false;   ///< attaches a drawing that can't be read now
};
ExitCode runXrefAttach(HostSession& session, XrefAttachRequest const& request);
ExitCode runXrefOverlay(HostSession& session, XrefAttachRequest const& request);

/// External drawings of a drawing; an empty name stands for all of them.
struct XrefRequest
{
    std::string drawing;
    std::string name;
};
ExitCode runXrefLoad(HostSession& session, XrefRequest const& request);
ExitCode runXrefUnload(HostSession& session, XrefRequest const& request);
ExitCode runXrefReload(HostSession& session, XrefRequest const& request);
ExitCode runXrefDetach(HostSession& session, XrefRequest const& request);

struct XrefBindRequest
{
    XrefRequest xref;
    bool insert = false;  ///< names of this drawing go before those of the external one
};
ExitCode runXrefBind(HostSession& session, XrefBindRequest const& request);

}  // namespace zemhost
