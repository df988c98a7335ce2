// The commands for blocks and inserts, as functions of what the command line says.

#pragma once

#include "protocol/host_error.h"

#include <string>
#include <vector>

namespace zemhost {

class HostSession;

struct BlockListRequest
{
    std::string drawing;
    bool json = false;
};
ExitCode runBlockList(HostSession& session, BlockListRequest const& request);

struct BlockMakeRequest
{
    std::string drawing;
    std::string name;
    std::vector<std::string> handles;  ///< entities of model space; empty for all
    std::string base;                  ///< a point; empty for the origin
    bool replace = false;              ///< puts an insert in the place of the entities
};
ExitCode runBlockMake(HostSession& session, BlockMakeRequest const& request);

struct BlockCloneRequest
{
    std::string drawing;
    std::string block;
    std::string name;
};
ExitCode runBlockClone(HostSession& session, BlockCloneRequest const& request);

struct BlockWblockRequest
{
    std::string drawing;
    std::string target;
    std::string block;  ///< empty for the whole drawing
    bool replace = false;
};
ExitCode runBlockWblock(HostSession& session, BlockWblockRequest const& request);

struct BlockInsertRequest
{
    std::string drawing;
    std::string block;
    std::string into;           ///< block to put the insert into; empty for model space
    std::string at;             ///< a point; empty for the origin
    std::string scale;          ///< one factor or three; empty for 1
    double rotationDeg = 0;     ///< about the z axis
    std::string scaleVariable;  ///< empty for a scale that stays
};
ExitCode runBlockInsert(HostSession& session, BlockInsertRequest const& request);

struct BlockUpdateRequest
{
    std::string drawing;
    std::string block;  ///< empty for all blocks
};
/// Gives inserts the scales that their variables say.
ExitCode runBlockUpdate(HostSession& session, BlockUpdateRequest const& request);

}  // namespace zemhost
