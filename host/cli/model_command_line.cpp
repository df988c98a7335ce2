#include "cli/model_command_line.h"

namespace zemhost {

namespace {

constexpr char const* kSolidHelp = "Handle of the solid, hexadecimal, as 'zemhost info' shows it";

void addDrawing(CLI::App& command, std::string& drawing)
{
    command.add_option("DRAWING", drawing, "The drawing (.zdw)")->required()->check(fileName());
}

void addTool(CLI::App& command, EditRequest& request)
{
    command
        .add_option("--box", request.box, "An axis-parallel box: corner X,Y,Z and sides DX,DY,DZ")
        ->expected(2);
    command
        .add_option("--cylinder", request.cylinder,
                    "A cylinder: middle X,Y,Z of an end, direction DX,DY,DZ, radius, height")
        ->expected(4);
    command.add_option("--solid", request.solid, "Handle of another solid, which stays");
    command.add_option("--at", request.at, "Where the other solid is shifted to (default: 0,0,0)");
}

void addParts(CLI::App& command, EditRequest& request, std::string const& option,
              std::string const& help)
{
    command.add_option(option, request.parts, help)->required()->delimiter(',');
}

}  // namespace

void ModelCommandLine::addTo(CLI::App& app, Run& run)
{
    addMake(app, run);
    addEdit(app, run);
    addLinks(app, run);
}

void ModelCommandLine::addMake(CLI::App& app, Run& run)
{
    CLI::App& make =
        addCommand(app, run, "make", "Make a solid of a box, a cylinder or a plate with holes",
                   "Values are millimetres: box DX DY DZ; cylinder RADIUS HEIGHT; plate COUNT "
                   "PITCH THICKNESS\n"
                   "RADIUS, with COUNT x COUNT round holes.\n\n"
                   "Examples:\n"
                   "  zemhost make box block.zdw 40 30 10\n"
                   "  zemhost make plate plate.zdw 30 10 5 3",
                   m_make, runMake);
    make.add_option("BASE", m_make.base, "box, cylinder or plate")
        ->required()
        ->check(CLI::IsMember({"box", "cylinder", "plate"}));
    addDrawing(make, m_make.drawing);
    make.add_option("VALUE", m_make.values, "The values, see below")->required();
    make.add_option("--label", m_make.label, "Name of the solid (default: the base)");
    auto* const replace =
        make.add_flag("--replace", m_make.replace, "Replace a drawing that is there");
    make.add_flag("--append", m_make.append, "Add to a drawing that is there")->excludes(replace);
}

CLI::App& ModelCommandLine::addEditOf(CLI::App& edit, Run& run, HostEditKind kind,
                                      std::string const& name, std::string const& description,
                                      std::string const& examples)
{
    EditRequest& request = m_edits[static_cast<std::size_t>(kind)];
    request.kind = kind;
    CLI::App& command = addCommand(edit, run, name, description, examples, request, runEdit);
    addDrawing(command, request.drawing);
    command.add_option("HANDLE", request.handle, kSolidHelp)->required();
    command
        .add_option("--time-limit", request.timeLimitSeconds,
                    "Seconds that the edit may take (default: 300)")
        ->check(CLI::Range(1, 1'000'000));
    command
        .add_option("--memory-limit", request.memoryLimitMib,
                    "Memory that the edit may take, in MiB (default: 8192)")
        ->check(CLI::Range(16, 16'777'216));
    auto* const check = command.add_flag(
        "--check-geometry", request.checksGeometry,
        "Compare what became of each part with what geometry alone tells; exit code 1 if they "
        "differ. Takes far longer than the edit");
    command
        .add_option("--reach", request.reachMm,
                    "Millimetres that parts may have moved, for that comparison (default: 0)")
        ->needs(check);
    command.add_flag("--json", request.json, "Answer as JSON");
    return command;
}

void ModelCommandLine::addEdit(CLI::App& app, Run& run)
{
    CLI::App& edit = *app.add_subcommand("edit", "Edit a solid; its links follow");
    edit.require_subcommand(1);
    edit.fallthrough();
    edit.footer(
        "Each edit is a step of the solid's recipe, which is kept with it: 'edit set' gives a\n"
        "parameter of it another value and makes the solid again. Lengths are millimetres, in the\n"
        "coordinates of the body. An edit that fails leaves the drawing as it was.");
    const auto requestOf = [this](HostEditKind kind) -> EditRequest& {
        return m_edits[static_cast<std::size_t>(kind)];
    };

    CLI::App& cut = addEditOf(edit, run, HostEditKind::kCut, "cut", "Take away what a tool covers",
                              "Examples:\n"
                              "  zemhost edit cut bracket.zdw 2A --box 10,0,5 20,40,10\n"
                              "  zemhost edit cut bracket.zdw 2A --solid 2B");
    addTool(cut, requestOf(HostEditKind::kCut));
    CLI::App& fuse = addEditOf(edit, run, HostEditKind::kFuse, "fuse", "Add what a tool covers",
                               "Example:\n"
                               "  zemhost edit fuse bracket.zdw 2A --cylinder 0,0,0 0,0,1 5 20");
    addTool(fuse, requestOf(HostEditKind::kFuse));

    EditRequest& hole = requestOf(HostEditKind::kHole);
    CLI::App& drill = addEditOf(
        edit, run, HostEditKind::kHole, "hole", "Drill a round hole",
        "Examples:\n"
        "  zemhost edit hole bracket.zdw 2A --at 10,10,20 --radius 3\n"
        "  zemhost edit hole bracket.zdw 2A --at 0,5,5 --direction 1,0,0 --radius 2 --depth 8");
    drill.add_option("--at", hole.at, "Middle X,Y,Z of the mouth")->required();
    drill.add_option("--direction", hole.direction,
                     "Direction X,Y,Z into the material (default: 0,0,-1)");
    drill.add_option("--radius", hole.size, "Radius")->required();
    drill.add_option("--depth", hole.depth, "Depth (default: through everything)");

    EditRequest& fillet = requestOf(HostEditKind::kFillet);
    CLI::App& round = addEditOf(edit, run, HostEditKind::kFillet, "fillet", "Round edges",
                                "Example:\n"
                                "  zemhost edit fillet bracket.zdw 2A --edges 3,7 --radius 1.5");
    addParts(round, fillet, "--edges", "Numbers of the edges");
    round.add_option("--radius", fillet.size, "Radius")->required();
    EditRequest& chamfer = requestOf(HostEditKind::kChamfer);
    CLI::App& bevel = addEditOf(edit, run, HostEditKind::kChamfer, "chamfer", "Bevel edges",
                                "Example:\n"
                                "  zemhost edit chamfer bracket.zdw 2A --edges 3 --distance 1");
    addParts(bevel, chamfer, "--edges", "Numbers of the edges");
    bevel.add_option("--distance", chamfer.size, "Distance on both faces")->required();

    CLI::App& remove = addEditOf(edit, run, HostEditKind::kRemove, "remove",
                                 "Remove a feature by its faces; its neighbours close the gap",
                                 "Example:\n"
                                 "  zemhost edit remove bracket.zdw 2A --faces 14");
    addParts(remove, requestOf(HostEditKind::kRemove), "--faces", "Numbers of the faces");
    addEditOf(edit, run, HostEditKind::kUnify, "unify",
              "Join faces on one surface and edges on one curve",
              "Example:\n"
              "  zemhost edit unify bracket.zdw 2A");

    EditRequest& set = requestOf(HostEditKind::kSet);
    CLI::App& parameter = addEditOf(edit, run, HostEditKind::kSet, "set",
                                    "Give a parameter of the recipe another value",
                                    "Examples:\n"
                                    "  zemhost edit set plate.zdw 2A 0 radius 2.5\n"
                                    "  zemhost edit set bracket.zdw 2A 3 depth 12");
    parameter.add_option("STEP", set.step, "Number of the step, 0 for what the recipe begins with")
        ->required();
    parameter.add_option("NAME", set.parameter, "The parameter, as 'edit recipe' shows it")
        ->required();
    parameter.add_option("VALUE", set.value, "Its value")->required();

    addLooks(edit, run);
}

void ModelCommandLine::addLooks(CLI::App& edit, Run& run)
{
    CLI::App& parts = addCommand(
        edit, run, "parts", "Show the faces, edges and vertices of a solid, with their numbers",
        "Lines have kind, size and middle of each part.\n\n"
        "Example:\n"
        "  zemhost edit parts bracket.zdw 2A",
        m_parts, runParts);
    addDrawing(parts, m_parts.drawing);
    parts.add_option("HANDLE", m_parts.handle, kSolidHelp)->required();
    parts.add_flag("--json", m_parts.json, "Answer as JSON");

    CLI::App& recipe = addCommand(edit, run, "recipe", "Show the recipe of a solid",
                                  "Example:\n"
                                  "  zemhost edit recipe bracket.zdw 2A",
                                  m_recipe, runRecipe);
    addDrawing(recipe, m_recipe.drawing);
    recipe.add_option("HANDLE", m_recipe.handle, kSolidHelp)->required();
    recipe.add_flag("--json", m_recipe.json, "Answer as JSON");
}

void ModelCommandLine::addLinks(CLI::App& app, Run& run)
{
    CLI::App& links =
        *app.add_subcommand("links", "Links that keep naming faces, edges and vertices");
    links.require_subcommand(1);
    links.fallthrough();
    links.footer(
        "A link names a part of a solid and follows it through every edit. A selection is a named\n"
        "list of links; it tells what edits made of each: exact, split, merged, gone or "
        "ambiguous.");

    CLI::App& list = addCommand(links, run, "list", "List the links and what became of them",
                                "Examples:\n"
                                "  zemhost links list bracket.zdw\n"
                                "  zemhost links list --selection holes --json bracket.zdw",
                                m_linksList, runLinksList);
    addDrawing(list, m_linksList.drawing);
    list.add_option("--selection", m_linksList.selection, "Only those of a selection");
    list.add_flag("--json", m_linksList.json, "Answer as JSON");
    list.add_option("--limit", m_linksList.limit, "Links shown, 0 for all (default: 50)")
        ->check(CLI::Range(0, 1'000'000'000));

    CLI::App& add = addCommand(
        links, run, "add", "Link parts and add them to a selection",
        "A part is HANDLE:face:12, HANDLE:edge:3 or HANDLE:vertex:1; HANDLE:faces, :edges,\n"
        ":vertices and :all are all of them, and HANDLE is the solid as a whole. Handles of "
        "inserts\n"
        "that show the solid stand in front: 1F/2A:face:12. Behind an insert of an external\n"
        "drawing, handles are those of that drawing.\n\n"
        "Examples:\n"
        "  zemhost links add bracket.zdw holes 2A:face:12 2A:face:14\n"
        "  zemhost links add bracket.zdw everything 2A:all",
        m_linksAdd, runLinksAdd);
    addDrawing(add, m_linksAdd.drawing);
    add.add_option("SELECTION", m_linksAdd.selection, "Name of the selection")->required();
    add.add_option("PART", m_linksAdd.parts, "The parts")->required();

    CLI::App& verify = addCommand(links, run, "verify", "Check every link and selection",
                                  "The exit code is 0 if nothing was found, and 1 otherwise.\n\n"
                                  "Example:\n"
                                  "  zemhost links verify bracket.zdw",
                                  m_linksVerify, runLinksVerify);
    addDrawing(verify, m_linksVerify.drawing);
    verify.add_flag("--json", m_linksVerify.json, "Answer as JSON");
    addLinksRepair(links, run);
}

void ModelCommandLine::addLinksRepair(CLI::App& links, Run& run)
{
    CLI::App& repair =
        addCommand(links, run, "repair", "Mend links, or decide what one is to name",
                   "Without a selection all is mended that needs no decision: links that lead "
                   "nowhere or that\n"
                   "nothing watches go, all others are attached to the objects that they name. "
                   "Nothing goes\n"
                   "while an object that it hangs on can't be read.\n\n"
                   "Examples:\n"
                   "  zemhost links repair bracket.zdw\n"
                   "  zemhost links repair bracket.zdw holes 2 2A:face:7\n"
                   "  zemhost links repair bracket.zdw holes 2 --undo\n"
                   "  zemhost links repair bracket.zdw holes 3 --remove",
                   m_linksRepair, runLinksRepair);
    addDrawing(repair, m_linksRepair.drawing);
    repair.add_option("SELECTION", m_linksRepair.selection, "Name of the selection");
    repair.add_option("ENTRY", m_linksRepair.entry,
                      "Number of the entry, as 'links list' shows it");
    auto* const part =
        repair.add_option("PART", m_linksRepair.part, "What it is to name, as for 'links add'");
    repair.add_option("--block", m_linksRepair.block,
                      "The block whose selection it is, where several have one of that name");
    auto* const remove = repair.add_flag("--remove", m_linksRepair.remove, "Take the entry out");
    remove->excludes(part);
    repair.add_flag("--undo", m_linksRepair.undo, "Take the last repair of the entry back")
        ->excludes(part)
        ->excludes(remove);
}

}  // namespace zemhost
