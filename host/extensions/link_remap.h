// Carries links through the edit of a solid.

#pragma once

#include "protocol/host_link_extension.h"

namespace zemhost {

/// Numbers from here on name parts that no solid has: each link that can't tell what it names gets
/// one of its own, so that it can't be taken for another.
constexpr std::int64_t kFirstLostPart = std::int64_t{1} << 30;

/// Follows the edit of a solid, see `HostLinkExtension::remap`.
HostRemapReport remapLinks(OdDbObjectId solid, HostPartMap const& map, OdString const& cause);

}  // namespace zemhost
