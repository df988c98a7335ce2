// Links and named selections, on the module's classes.

#pragma once

#include "protocol/host_link_extension.h"

namespace zemhost {

class LinkExtension : public HostLinkExtension
{
public:
    std::vector<HostLink> links(OdDbDatabase& database) const override;
    OdDbObjectIdArray add(OdDbObjectId block, OdString const& selection,
                          std::vector<OdDbFullSubentPath> const& paths) const override;
    HostRemapReport remap(OdDbObjectId solid, HostPartMap const& map,
                          OdString const& cause) const override;
    std::vector<HostLinkFinding> verify(OdDbDatabase& database) const override;
    std::size_t audit(OdDbDatabase& database) const override;
    OdResult repair(OdDbObjectId block, OdString const& selection, std::size_t entry,
                    OdDbFullSubentPath const& path) const override;
    OdResult takeBack(OdDbObjectId block, OdString const& selection,
                      std::size_t entry) const override;
    OdResult remove(OdDbObjectId block, OdString const& selection,
                    std::size_t entry) const override;
};

}  // namespace zemhost
