// The program's commands, as functions of what the command line says.

#pragma once

#include "protocol/host_error.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zemhost {

class HostSession;

/// Each command writes its answer to standard output and gives the exit code of a run that came to
/// its end. \throws HostError, OdError for one that did not.
/// \name Commands
/// @{

/// Whether an import may find a drawing at its place.
enum class ImportTarget
{
    kNew,
    kReplace,
    kAppend
};

struct ImportRequest
{
    std::string part;
    std::string drawing;
    ImportTarget target = ImportTarget::kNew;
    std::uint64_t timeLimitSeconds = 300;
    std::uint64_t memoryLimitMib = 8192;
};
ExitCode runImport(HostSession& session, ImportRequest const& request);

struct InfoRequest
{
    std::string drawing;
    bool json = false;
    std::optional<std::size_t> limit;  ///< entries shown of each list; 0 for all
};
ExitCode runInfo(HostSession& session, InfoRequest const& request);

struct ClassesRequest
{
    bool json = false;
    bool all = false;  ///< the platform's classes too
};
ExitCode runClasses(HostSession& session, ClassesRequest const& request);

struct CheckRequest
{
    std::string drawing;
    bool json = false;
};
ExitCode runCheck(HostSession& session, CheckRequest const& request);

struct ResaveRequest
{
    std::string drawing;
    std::string target;    ///< empty to save in place
    int dwgVersion = 0;    ///< 0 for the drawing's own
    bool rewrite = false;  ///< file every object anew, also those that haven't changed
};
ExitCode runResave(HostSession& session, ResaveRequest const& request);

struct CompareRequest
{
    std::string left;
    std::string right;
    bool json = false;
};
ExitCode runCompare(HostSession& session, CompareRequest const& request);

/// What the bag commands have in common: the object that a bag is attached to.
struct BagRequest
{
    std::string drawing;
    std::string handle;
    std::string name;
    bool json = false;
};
ExitCode runBagGet(HostSession& session, BagRequest const& request);
ExitCode runBagList(HostSession& session, BagRequest const& request);

struct BagSetRequest
{
    BagRequest bag;
    std::string type;
    std::vector<std::string> values;
    std::string jsonValue;  ///< a whole value, or "@FILE"; instead of type and values
    bool retype = false;
};
ExitCode runBagSet(HostSession& session, BagSetRequest const& request);

struct BagRemoveRequest
{
    BagRequest bag;
    bool all = false;
};
ExitCode runBagRemove(HostSession& session, BagRemoveRequest const& request);

struct BagFileRequest
{
    std::string drawing;
    std::string file;                  ///< JSON: bags by the handles of their objects
    std::vector<std::string> handles;  ///< only these; empty for all
};
ExitCode runBagExport(HostSession& session, BagFileRequest const& request);
ExitCode runBagImport(HostSession& session, BagFileRequest const& request);
ExitCode runBagCompare(HostSession& session, BagFileRequest const& request);

/// @}

}  // namespace zemhost
