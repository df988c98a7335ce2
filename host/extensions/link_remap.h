// Carries links through the edit of a solid.

#pragma once

#include "db/od_db_subent.h"

#include "protocol/host_link_extension.h"

#include <cstdint>
#include <set>

namespace zemhost {

/// Numbers from here on name parts that no solid has: each link that can't tell what it names gets
/// one of its own, so that it can't be taken for another.
constexpr std::int64_t kFirstLostPart = std::int64_t{1} << 30;

/// Hands such numbers out.
class LostNumbers
{
public:
    static bool isLost(OdDbSubentId part) noexcept
    {
        return part.type() != OdDb::SubentType::kNullSubentType && part.index() >= kFirstLostPart;
    }
    /// Says that a part's number is in use, if it is such a one.
    void keep(OdDbSubentId part);
    /// Keeps the numbers that repairs of a block's selections can be taken back to.
    void keepThoseOf(OdDbObjectId block);
    /// A number that is not in use.
    std::int64_t take();

private:
    std::set<std::int64_t> m_kept;
    std::int64_t m_next = kFirstLostPart;
};

/// Follows the edit of a solid, see `HostLinkExtension::remap`.
HostRemapReport remapLinks(OdDbObjectId solid, HostPartMap const& map, OdString const& cause);

}  // namespace zemhost
