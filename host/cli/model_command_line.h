// The part of the command line for solids that are made and edited, and for links to their parts.

#pragma once

#include "cli/command_line.h"
#include "cli/edit_commands.h"
#include "cli/links_commands.h"

#include <array>

namespace zemhost {

/// The commands `make`, `edit` and `links`, with the requests that their options fill.
class ModelCommandLine
{
public:
    ModelCommandLine() = default;
    ModelCommandLine(ModelCommandLine const&) = delete;
    ModelCommandLine& operator=(ModelCommandLine const&) = delete;

    /// Adds the commands to a parser, which this object and `run` have to outlive.
    void addTo(CLI::App& app, Run& run);

private:
    void addMake(CLI::App& app, Run& run);
    void addEdit(CLI::App& app, Run& run);
    CLI::App& addEditOf(CLI::App& edit, Run& run, HostEditKind kind, std::string const& name,
                        std::string const& description, std::string const& examples);
    void addLooks(CLI::App& edit, Run& run);
    void addLinks(CLI::App& app, Run& run);
    void addLinksRepair(CLI::App& links, Run& run);

    MakeRequest m_make;
    std::array<EditRequest, 8> m_edits;  ///< by HostEditKind
    RecipeRequest m_recipe;
    PartsRequest m_parts;
    LinksListRequest m_linksList;
    LinksAddRequest m_linksAdd;
    LinksVerifyRequest m_linksVerify;
    LinksRepairRequest m_linksRepair;
};

}  // namespace zemhost
