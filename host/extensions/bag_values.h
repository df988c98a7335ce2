// Values of property bags as JSON, for all value types.

#pragma once

#include "protocol/host_bag_extension.h"
#include "zem_properties.h"

#include <nlohmann/json.hpp>

#include <string>

namespace zemhost {

/// The form of values is told at HostBagExtension.
/// @{

/// The name of a value's type, such as "array of double".
std::string bagTypeName(ZemPropertyData const& node);

/// A value with its type.
BagJson bagValueToJson(ZemPropertyData const& node);

/// Sets one value of a bag.
///
/// \return False, without a change, if the bag holds a value of another type under the name.
/// \throws HostError (usage) for JSON that breaks the rules of the form, for an unknown type, and for
///         values that a bag can't keep; without a change.
bool storeBagValue(ZemProperties& bag, std::string const& name, BagJson const& json);

/// A text as a bag can keep it. \throws HostError (usage) for one that is too long, holds a zero
/// character or isn't UTF-8.
OdString bagTextFromJson(std::string const& text, std::string const& path);

/// @}

}  // namespace zemhost
