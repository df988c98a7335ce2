#include "cli/link_count.h"

#include "cli/text_format.h"

#include "protocol/host_link_extension.h"

#include <exception>
#include <iostream>
#include <set>

namespace zemhost {

LinkCount::LinkCount(HostSession& session, OdDbDatabase& database)
    : m_session(session), m_database(database), m_before(leading())
{
}

std::size_t LinkCount::leading() const
{
    if (!m_session.hasModule()) {
        return 0;
    }
    std::set<OdDbObjectId> found;
    try {
        for (HostLink const& link : m_session.links().links(m_database)) {
            if (link.isThere && link.answer != HostPartAnswer::kAmbiguous) {
                found.insert(link.link);
            }
        }
    } catch (std::exception const&) {
        return 0;  // 'links verify' tells what is wrong with them
    }
    return found.size();
}

void LinkCount::tellOfLost(std::string const& path) const
{
    const std::size_t left = leading();
    if (left < m_before) {
        std::cerr
            << "zemhost: warning: " << printable(path) << ": " << counted(m_before - left, "link")
            << " led to what is replaced or gone; 'zemhost links list' shows and 'zemhost links "
               "repair' mends them\n";
    }
}

}  // namespace zemhost
