// The commands that make and edit solids, as functions of what the command line says.

#pragma once

#include "protocol/host_edit_extension.h"
#include "protocol/host_error.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zemhost {

class HostSession;

struct MakeRequest
{
    std::string drawing;
    std::string base;  ///< "box", "cylinder" or "plate"
    std::vector<double> values;
    std::string label;
    bool append = false;
    bool replace = false;
};
ExitCode runMake(HostSession& session, MakeRequest const& request);

/// An edit with its words as they were given.
struct EditRequest
{
    HostEditKind kind = HostEditKind::kUnify;  ///< set before parsing
    std::string drawing;
    std::string handle;
    std::vector<std::string> box;       ///< corner, lengths of the sides
    std::vector<std::string> cylinder;  ///< middle of an end, direction, radius, height
    std::string solid;                  ///< handle of a solid that is the tool
    std::string at = "0,0,0";
    std::string direction = "0,0,-1";
    double size = 0;   ///< radius or distance
    double depth = 0;  ///< of a hole; 0 for one through all
    std::vector<int> parts;
    std::uint32_t step = 0;
    std::string parameter;
    double value = 0;
    std::uint64_t timeLimitSeconds = 300;
    std::uint64_t memoryLimitMib = 8192;
    bool checksGeometry = false;
    double reachMm = 0;
    bool json = false;
};
ExitCode runEdit(HostSession& session, EditRequest const& request);

struct RecipeRequest
{
    std::string drawing;
    std::string handle;
    bool json = false;
};
ExitCode runRecipe(HostSession& session, RecipeRequest const& request);

struct PartsRequest
{
    std::string drawing;
    std::string handle;
    bool json = false;
};
ExitCode runParts(HostSession& session, PartsRequest const& request);

}  // namespace zemhost
