// The part of the command line for blocks, variables and external drawings.

#pragma once

#include "cli/block_commands.h"
#include "cli/command_line.h"
#include "cli/vars_commands.h"
#include "cli/xref_commands.h"

namespace zemhost {

/// The commands `vars`, `block` and `xref`, with the requests that their options fill.
class BlockCommandLine
{
public:
    BlockCommandLine() = default;
    BlockCommandLine(BlockCommandLine const&) = delete;
    BlockCommandLine& operator=(BlockCommandLine const&) = delete;

    /// Adds the commands to a parser, which this object and `run` have to outlive.
    void addTo(CLI::App& app, Run& run);

private:
    void addVars(CLI::App& app, Run& run);
    void addBlock(CLI::App& app, Run& run);
    void addBlockCopies(CLI::App& block, Run& run);
    void addBlockInserts(CLI::App& block, Run& run);
    void addXref(CLI::App& app, Run& run);
    void addXrefAttach(CLI::App& xref, Run& run);

    VarsRequest m_varsList;
    VarsSetRequest m_varsSet;
    VarsRenameRequest m_varsRename;
    VarsRemoveRequest m_varsRemove;
    BlockListRequest m_blockList;
    BlockMakeRequest m_blockMake;
    BlockCloneRequest m_blockClone;
    BlockWblockRequest m_blockWblock;
    BlockInsertRequest m_blockInsert;
    BlockUpdateRequest m_blockUpdate;
    XrefListRequest m_xrefList;
    XrefAttachRequest m_xrefAttach;
    XrefAttachRequest m_xrefOverlay;
    XrefRequest m_xrefLoad;
    XrefRequest m_xrefUnload;
    XrefRequest m_xrefReload;
    XrefRequest m_xrefDetach;
    XrefBindRequest m_xrefBind;
};

}  // namespace zemhost
