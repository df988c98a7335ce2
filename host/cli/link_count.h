// Links that lose their parts by what a command does to a drawing.

#pragma once

#include "cli/host_session.h"
#include "db/od_db_database.h"

#include <cstddef>
#include <string>

namespace zemhost {

/// Counts the links of a drawing that lead to their parts, and tells afterwards how many don't any more.
/// Counts nothing without the module, and none where links can't be read.
class LinkCount
{
public:
    LinkCount(HostSession& session, OdDbDatabase& database);

    /// Warns on the error stream if links were lost since. \param path  Of the drawing, as it was given.
    void tellOfLost(std::string const& path) const;

private:
    std::size_t leading() const;

    HostSession& m_session;
    OdDbDatabase& m_database;
    std::size_t m_before;
};

}  // namespace zemhost
