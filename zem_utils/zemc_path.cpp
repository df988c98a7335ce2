#include "zem_utils/zemc_path.h"

std::string ZemcPath::extractBasename(std::string const& path)
{
    const std::string::size_type separator = path.find_last_of("/\\");
    return separator == std::string::npos ? path : path.substr(separator + 1);
}
