// File paths as text.

#pragma once

#include <string>

/// Operations on paths that may come from another system.
class ZemcPath
{
public:
    /// The last component of a path, with / and \ both as separators: what follows the last of them.
    /// The whole text if there is none; empty if the path ends in one.
    static std::string extractBasename(std::string const& path);
};
