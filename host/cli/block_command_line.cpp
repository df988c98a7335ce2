#include "cli/block_command_line.h"

namespace zemhost {

namespace {

void addDrawing(CLI::App& command, std::string& drawing)
{
    command.add_option("DRAWING", drawing, "The drawing (.zdw)")->required()->check(fileName());
}

void addVarsSubject(CLI::App& command, VarsRequest& request)
{
    addDrawing(command, request.drawing);
    command.add_option("--block", request.block,
                       "The block whose variables they are (default: model space)");
}

void addName(CLI::App& command, std::string& name, std::string const& help)
{
    command.add_option("NAME", name, help)->required();
}

}  // namespace

void BlockCommandLine::addTo(CLI::App& app, Run& run)
{
    addVars(app, run);
    addBlock(app, run);
    addXref(app, run);
}

void BlockCommandLine::addVars(CLI::App& app, Run& run)
{
    CLI::App& vars = *app.add_subcommand("vars", "Read and change the variables of a block");
    vars.require_subcommand(1);
    vars.fallthrough();
    vars.footer(
        "A variable is a number with a name, or an expression of other variables of the same\n"
        "block, such as 2*width + 5. Whatever depends on a variable follows when it is set, the\n"
        "scale of inserts included; see 'zemhost block insert --help'.");

    CLI::App& list = addCommand(vars, run, "list", "List the variables, and who uses what",
                                "Examples:\n"
                                "  zemhost vars list bracket.zdw\n"
                                "  zemhost vars list --block hinge --json bracket.zdw",
                                m_varsList, runVarsList);
    addVarsSubject(list, m_varsList);
    list.add_flag("--json", m_varsList.json, "Answer as JSON");

    CLI::App& set = addCommand(
        vars, run, "set", "Set a variable, or make it",
        "Expressions have numbers, + - * / ^ %, comparisons, parentheses, names of variables,\n"
        "pi and functions such as sin, sqrt, min and if. Angles are radians.\n\n"
        "Examples:\n"
        "  zemhost vars set bracket.zdw width 40\n"
        "  zemhost vars set bracket.zdw height 'width/2 + 3'\n"
        "  zemhost vars set bracket.zdw offset -- -2.5",
        m_varsSet, runVarsSet);
    addVarsSubject(set, m_varsSet.vars);
    addName(set, m_varsSet.name, "Name of the variable; letters of any script, digits and _");
    set.add_option("EXPRESSION", m_varsSet.expression, "A number or an expression")->required();

    CLI::App& rename =
        addCommand(vars, run, "rename", "Rename a variable, in all expressions that use it too",
                   "Example:\n"
                   "  zemhost vars rename bracket.zdw width breadth",
                   m_varsRename, runVarsRename);
    addVarsSubject(rename, m_varsRename.vars);
    addName(rename, m_varsRename.name, "Name of the variable");
    rename.add_option("NEW", m_varsRename.newName, "The name that it is to have")->required();

    CLI::App& remove =
        addCommand(vars, run, "remove", "Remove a variable that nothing uses",
                   "The exit code is 1 if something uses it, and nothing is done then.\n\n"
                   "Examples:\n"
                   "  zemhost vars remove bracket.zdw offset\n"
                   "  zemhost vars remove --force bracket.zdw width",
                   m_varsRemove, runVarsRemove);
    addVarsSubject(remove, m_varsRemove.vars);
    addName(remove, m_varsRemove.name, "Name of the variable");
    remove.add_flag("--force", m_varsRemove.force,
                    "Remove it also if something uses it, which keeps its value then");
}

void BlockCommandLine::addBlock(CLI::App& app, Run& run)
{
    CLI::App& block = *app.add_subcommand("block", "Show, make, copy and insert blocks");
    block.require_subcommand(1);
    block.fallthrough();
    block.footer(
        "A block is a named list of entities; an insert shows a block at a place, scaled and\n"
        "turned. Names of blocks compare without case.");

    CLI::App& list =
        addCommand(block, run, "list", "List the blocks, with entities, inserts and units",
                   "Example:\n"
                   "  zemhost block list bracket.zdw",
                   m_blockList, runBlockList);
    addDrawing(list, m_blockList.drawing);
    list.add_flag("--json", m_blockList.json, "Answer as JSON");

    addBlockCopies(block, run);
    addBlockInserts(block, run);
}

void BlockCommandLine::addBlockCopies(CLI::App& block, Run& run)
{
    CLI::App& make =
        addCommand(block, run, "make", "Make a block of entities of model space",
                   "The block gets copies of the entities.\n\n"
                   "Examples:\n"
                   "  zemhost block make bracket.zdw bracket\n"
                   "  zemhost block make --replace --base 10,0,0 bracket.zdw bolt 2A 2B",
                   m_blockMake, runBlockMake);
    addDrawing(make, m_blockMake.drawing);
    addName(make, m_blockMake.name, "Name of the new block");
    make.add_option("HANDLE", m_blockMake.handles, "The entities (default: all of model space)");
    make.add_option("--base", m_blockMake.base,
                    "The point X,Y,Z by which the block is inserted (default: the origin)");
    make.add_flag("--replace", m_blockMake.replace,
                  "Put an insert of the block in the place of the entities");

    CLI::App& clone = addCommand(block, run, "clone",
                                 "Clone a block under a new name, with entities and variables",
                                 "Example:\n"
                                 "  zemhost block clone bracket.zdw bolt long-bolt",
                                 m_blockClone, runBlockClone);
    addDrawing(clone, m_blockClone.drawing);
    clone.add_option("BLOCK", m_blockClone.block, "The block")->required();
    addName(clone, m_blockClone.name, "Name of the new block");

    CLI::App& wblock =
        addCommand(block, run, "wblock", "Write a block, or the whole drawing, as another drawing",
                   "A block becomes the model space of the other drawing.\n\n"
                   "Examples:\n"
                   "  zemhost block wblock bracket.zdw bolt.zdw bolt\n"
                   "  zemhost block wblock --replace bracket.zdw clean.zdw",
                   m_blockWblock, runBlockWblock);
    addDrawing(wblock, m_blockWblock.drawing);
    wblock.add_option("TARGET", m_blockWblock.target, "The other drawing")
        ->required()
        ->check(fileName());
    wblock.add_option("BLOCK", m_blockWblock.block, "The block (default: the whole drawing)");
    wblock.add_flag("--replace", m_blockWblock.replace, "Replace a drawing that is there");
}

void BlockCommandLine::addBlockInserts(CLI::App& block, Run& run)
{
    CLI::App& insert = addCommand(
        block, run, "insert", "Insert a block, or an external drawing",
        "With --scale-variable the scale is the variable's value, times --scale, and follows the\n"
        "variable. What drives an insert stands in its bag: ScaleVariable and BaseScale, which\n"
        "'zemhost bag' shows and changes. Lengths are taken as they are, whatever the units.\n\n"
        "Examples:\n"
        "  zemhost block insert bracket.zdw bolt --at 10,0,2.5 --rotation 90\n"
        "  zemhost block insert bracket.zdw bolt --scale 1,1,-1\n"
        "  zemhost block insert bracket.zdw bolt --at 40,0 --scale-variable size",
        m_blockInsert, runBlockInsert);
    addDrawing(insert, m_blockInsert.drawing);
    insert.add_option("BLOCK", m_blockInsert.block, "The block")->required();
    insert.add_option("--into", m_blockInsert.into,
                      "The block to put the insert into (default: model space)");
    insert.add_option("--at", m_blockInsert.at, "Where, X,Y,Z (default: the origin)");
    insert.add_option("--scale", m_blockInsert.scale,
                      "One factor, or X,Y,Z; negative ones mirror (default: 1)");
    insert.add_option("--rotation", m_blockInsert.rotationDeg,
                      "Degrees about the z axis (default: 0)");
    insert.add_option("--scale-variable", m_blockInsert.scaleVariable,
                      "The variable, of the block the insert is put into, that drives the scale");

    CLI::App& update = addCommand(
        block, run, "update", "Give inserts the scales that their variables say",
        "'zemhost vars set' does this for the block whose variable it sets.\n"
        "The exit code is 1 if an insert names a variable that isn't there or is no scale.\n\n"
        "Example:\n"
        "  zemhost bag set bracket.zdw 8B ScaleVariable string size\n"
        "  zemhost block update bracket.zdw",
        m_blockUpdate, runBlockUpdate);
    addDrawing(update, m_blockUpdate.drawing);
    update.add_option("--block", m_blockUpdate.block,
                      "Only the inserts that lie in this block (default: in any)");
}

void BlockCommandLine::addXref(CLI::App& app, Run& run)
{
    CLI::App& xref = *app.add_subcommand("xref", "Show and change the external drawings");
    xref.require_subcommand(1);
    xref.fallthrough();
    xref.footer(
        "An external drawing is a block whose content is another drawing's model space, as that\n"
        "is when it is loaded. 'zemhost block insert' shows it in this drawing.");

    CLI::App& list = addCommand(xref, run, "list",
                                "List the external drawings, whether and how they can be loaded",
                                "Example:\n"
                                "  zemhost xref list house.zdw",
                                m_xrefList, runXrefList);
    addDrawing(list, m_xrefList.drawing);
    list.add_flag("--json", m_xrefList.json, "Answer as JSON");

    addXrefAttach(xref, run);

    const auto addPlain = [&](std::string const& name, std::string const& description,
                              std::string const& example, XrefRequest& request,
                              ExitCode (*command)(HostSession&, XrefRequest const&)) {
        CLI::App& added =
            addCommand(xref, run, name, description, "Example:\n  " + example, request, command);
        addDrawing(added, request.drawing);
        return added.add_option("NAME", request.name, "Name of the external drawing");
    };
    addPlain("load", "Load an external drawing again that was unloaded, or all",
             "zemhost xref load house.zdw door", m_xrefLoad, runXrefLoad);
    addPlain("unload", "Unload an external drawing, or all, until it is loaded again",
             "zemhost xref unload house.zdw door", m_xrefUnload, runXrefUnload);
    addPlain("reload", "Load an external drawing, or all, from the file as it is now",
             "zemhost xref reload house.zdw", m_xrefReload, runXrefReload);
    addPlain("detach", "Take an external drawing out, with all inserts of it",
             "zemhost xref detach house.zdw door", m_xrefDetach, runXrefDetach)
        ->required();

    CLI::App& bind = addCommand(
        xref, run, "bind", "Make an external drawing a block of this drawing",
        "What has a name, such as a layer, comes in as DRAWING$0$NAME if its name is taken.\n\n"
        "Example:\n"
        "  zemhost xref bind house.zdw door",
        m_xrefBind, runXrefBind);
    addDrawing(bind, m_xrefBind.xref.drawing);
    addName(bind, m_xrefBind.xref.name, "Name of the external drawing");
    bind.add_flag("--insert", m_xrefBind.insert,
                  "What has the same name in both drawings is taken from this one");
}

void BlockCommandLine::addXrefAttach(CLI::App& xref, Run& run)
{
    const auto add = [&](std::string const& name, std::string const& description,
                         std::string const& example, XrefAttachRequest& request,
                         ExitCode (*command)(HostSession&, XrefAttachRequest const&)) {
        CLI::App& added =
            addCommand(xref, run, name, description,
                       "A relative path is stored relative to the drawing's folder, so that both "
                       "can be moved\ntogether.\n\nExamples:\n" +
                           example,
                       request, command);
        addDrawing(added, request.drawing);
        added.add_option("FILE", request.file, "The other drawing (.zdw)")
            ->required()
            ->check(fileName());
        added.add_option("--name", request.name, "Name of the block (default: that of the file)");
        added.add_flag("--absolute", request.absolute, "Store the path from the root");
        added.add_flag("--missing", request.missing,
                       "Attach a drawing too that is missing or can't be read now");
    };
    add("attach", "Attach another drawing as an external drawing",
        "  zemhost xref attach house.zdw door.zdw\n"
        "  zemhost xref attach --name entrance house.zdw parts/door.zdw",
        m_xrefAttach, runXrefAttach);
    add("overlay", "The same, but where this drawing is attached the other one isn't seen",
        "  zemhost xref overlay house.zdw neighbours.zdw", m_xrefOverlay, runXrefOverlay);
}

}  // namespace zemhost
