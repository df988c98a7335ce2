// Typed values as they are given on the command line.

#pragma once

#include "protocol/host_bag_extension.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace zemhost {

/// A value with its type, in the form that HostBagExtension takes, from words of the command line.
///
/// \param type    Such as "double", "array of int" or "map-of-string-to-blob".
/// \param values  One value; for arrays and maps any number, of the form KEY=VALUE for maps.
/// \throws HostError (usage) for what makes no sense, (file) for a blob whose file can't be read.
BagJson bagValueFromWords(std::string const& type, std::vector<std::string> const& values);

/// JSON given as text, or as "@FILE", "@-" being standard input.
/// \throws HostError (usage) for text that is no JSON, (file) for a file that can't be read or holds
///         no JSON.
BagJson jsonFromWord(std::string const& word);

/// The JSON of a file, "-" being standard input. \throws HostError (file), also for a key that stands
/// twice in an object.
BagJson readJsonFile(std::string const& path);

}  // namespace zemhost
