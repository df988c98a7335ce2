#include "cli/program.h"

#include "cli/block_command_line.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/host_session.h"
#include "cli/model_command_line.h"
#include "cli/text_format.h"
#include "root/od_error.h"

#include <iostream>
#include <new>

namespace zemhost {

namespace {

constexpr char const* kExitCodes = R"(Exit codes:
  0  done
  1  done, and the answer is no: damages or differences found, no such object or value
  2  the command line or a value makes no sense; nothing was done
  3  a file is missing, locked, not writable, or not what it should be
  4  the module or another file of the program isn't there or doesn't fit
  5  anything else, such as no memory

'zemhost COMMAND --help' tells more of each command, with examples.)";

constexpr char const* kHandleHelp = "Handle of the object, hexadecimal, as 'zemhost info' shows it";

/// The command line: options and what they fill, one command for each subcommand.
///
/// The requests live as long as this object, which the parser's options point into.
class CommandLine
{
public:
    CommandLine();
    CommandLine(CommandLine const&) = delete;
    CommandLine& operator=(CommandLine const&) = delete;

    CLI::App& app() noexcept { return m_app; }
    SessionOptions const& session() const noexcept { return m_session; }
    /// The command that was given.
    Run const& run() const noexcept { return m_run; }

private:
    template <class Request>
    CLI::App& addCommand(CLI::App& parent, std::string const& name, std::string const& description,
                         std::string const& examples, Request& request,
                         ExitCode (*command)(HostSession&, Request const&));
    static void addDrawing(CLI::App& command, std::string& drawing);
    static void addBag(CLI::App& command, BagRequest& bag);
    static void addJson(CLI::App& command, bool& json);
    void addImport();
    void addInfo();
    void addClasses();
    void addCheck();
    void addResave();
    void addCompare();
    void addBagCommands();
    void addBagSet(CLI::App& bag);
    void addBagRemove(CLI::App& bag);
    void addBagFiles(CLI::App& bag);

    CLI::App m_app;
    Run m_run;
    BlockCommandLine m_blocks;
    ModelCommandLine m_model;
    SessionOptions m_session;
    ImportRequest m_import;
    InfoRequest m_info;
    ClassesRequest m_classes;
    CheckRequest m_check;
    ResaveRequest m_resave;
    CompareRequest m_compare;
    BagRequest m_bagGet;
    BagRequest m_bagList;
    BagSetRequest m_bagSet;
    BagRemoveRequest m_bagRemove;
    BagFileRequest m_bagExport;
    BagFileRequest m_bagImport;
    BagFileRequest m_bagCompare;
};

CommandLine::CommandLine()
    : m_app(
          "Imports parts into drawings, shows drawings, and keeps typed values with their objects.",
          "zemhost")
{
    m_app.require_subcommand(1);
    m_app.fallthrough();
    m_app.set_version_flag("--version", "zemhost " ZEMHOST_VERSION);
    m_app.set_help_all_flag("--help-all", "The help of all commands");
    m_app.footer(kExitCodes);
    auto* const module =
        m_app
            .add_option("--module", m_session.modulePath,
                        "The module's file (default: zem_db.tx beside the program or in the "
                        "library folder of its tree)")
            ->check(fileName());
    m_app
        .add_flag("--without-module", m_session.withoutModule,
                  "Work without the module: its objects are carried as they are")
        ->excludes(module);
    addImport();
    addInfo();
    addBagCommands();
    m_blocks.addTo(m_app, m_run);
    m_model.addTo(m_app, m_run);
    addClasses();
    addCheck();
    addResave();
    addCompare();
}

template <class Request>
CLI::App& CommandLine::addCommand(CLI::App& parent, std::string const& name,
                                  std::string const& description, std::string const& examples,
                                  Request& request,
                                  ExitCode (*command)(HostSession&, Request const&))
{
    return zemhost::addCommand(parent, m_run, name, description, examples, request, command);
}

void CommandLine::addDrawing(CLI::App& command, std::string& drawing)
{
    command.add_option("DRAWING", drawing, "The drawing (.zdw)")->required()->check(fileName());
}

void CommandLine::addBag(CLI::App& command, BagRequest& bag)
{
    addDrawing(command, bag.drawing);
    command.add_option("HANDLE", bag.handle, kHandleHelp)->required();
}

void CommandLine::addJson(CLI::App& command, bool& json)
{
    command.add_flag("--json", json, "Answer as JSON");
}

void CommandLine::addImport()
{
    CLI::App& command = addCommand(
        m_app, "import", "Import the solids of a STEP or BREP file into a drawing",
        "Each solid becomes an entity of model space, with the part's name, the counts of its "
        "faces,\n"
        "edges and vertices, and a body in which these are numbered. Assemblies are taken apart;\n"
        "loose surfaces, curves and colours stay behind. Lengths are millimetres. The drawing is\n"
        "written once all is read: it is whole, or as it was before. Only a drawing is replaced,\n"
        "never a file of another kind.\n\n"
        "Examples:\n"
        "  zemhost import bracket.step bracket.zdw\n"
        "  zemhost import --append bolt.brep bracket.zdw",
        m_import, runImport);
    command.add_option("PART", m_import.part, "The part: .step, .stp, .brep or .brp")
        ->required()
        ->check(fileName());
    addDrawing(command, m_import.drawing);
    auto* const replace = command.add_flag_callback(
        "--replace", [this] { m_import.target = ImportTarget::kReplace; },
        "Replace a drawing that is there");
    command
        .add_flag_callback(
            "--append", [this] { m_import.target = ImportTarget::kAppend; },
            "Add to a drawing that is there")
        ->excludes(replace);
    command
        .add_option("--time-limit", m_import.timeLimitSeconds,
                    "Seconds that reading the part may take (default: 300)")
        ->check(CLI::Range(1, 1'000'000));
    command
        .add_option("--memory-limit", m_import.memoryLimitMib,
                    "Memory that reading the part may take, in MiB (default: 8192)")
        ->check(CLI::Range(16, 16'777'216));
}

void CommandLine::addInfo()
{
    CLI::App& command = addCommand(m_app, "info", "Show what a drawing holds, as a tree",
                                   "Examples:\n"
                                   "  zemhost info bracket.zdw\n"
                                   "  zemhost info --json bracket.zdw | jq '.classes'",
                                   m_info, runInfo);
    addDrawing(command, m_info.drawing);
    addJson(command, m_info.json);
    command
        .add_option("--limit", m_info.limit,
                    "Entries shown of each list, 0 for all (default: 50, with --json all)")
        ->check(CLI::Range(0, 1'000'000'000));
}

void CommandLine::addClasses()
{
    CLI::App& command =
        addCommand(m_app, "classes", "List the classes that the module registers, in that order",
                   "Examples:\n"
                   "  zemhost classes\n"
                   "  zemhost classes --all --json",
                   m_classes, runClasses);
    addJson(command, m_classes.json);
    command.add_flag("--all", m_classes.all, "The platform's own classes too, in front");
}

void CommandLine::addCheck()
{
    CLI::App& command =
        addCommand(m_app, "check", "Check every object of a drawing and the drawing as a whole",
                   "The exit code is 0 if nothing was found, and 1 if the drawing is damaged.\n\n"
                   "Example:\n"
                   "  zemhost check bracket.zdw",
                   m_check, runCheck);
    addDrawing(command, m_check.drawing);
    addJson(command, m_check.json);
}

void CommandLine::addResave()
{
    CLI::App& command = addCommand(
        m_app, "resave", "Save a drawing again, in place or as another one",
        "Objects of classes that aren't there, as with --without-module, lose nothing by it, and\n"
        "damaged objects are copied as they are. A file that is no drawing is never replaced.\n\n"
        "Examples:\n"
        "  zemhost resave bracket.zdw copy.zdw\n"
        "  zemhost --without-module resave --rewrite bracket.zdw\n"
        "  zemhost resave --dwg-version 29 bracket.zdw old.zdw",
        m_resave, runResave);
    addDrawing(command, m_resave.drawing);
    command
        .add_option("TARGET", m_resave.target,
                    "The other drawing, which is replaced if it is there (default: in place)")
        ->check(fileName());
    command.add_flag("--rewrite", m_resave.rewrite,
                     "Load every object and file it anew, not only those that have changed");
    command
        .add_option("--dwg-version", m_resave.dwgVersion,
                    "Drawing version of the other drawing: 29, 30 or 33 (default: that of DRAWING)")
        ->check(CLI::IsMember({29, 30, 33}));
}

void CommandLine::addCompare()
{
    CLI::App& command = addCommand(m_app, "compare",
                                   "Compare two drawings: settings, and every object byte by byte",
                                   "The exit code is 0 if they are equal, and 1 if they differ.\n\n"
                                   "Example:\n"
                                   "  zemhost compare bracket.zdw copy.zdw",
                                   m_compare, runCompare);
    command.add_option("A", m_compare.left, "A drawing")->required()->check(fileName());
    command.add_option("B", m_compare.right, "The drawing to compare it with")
        ->required()
        ->check(fileName());
    addJson(command, m_compare.json);
}

void CommandLine::addBagCommands()
{
    CLI::App& bag = *m_app.add_subcommand("bag", "Read and change the typed values of an object");
    bag.require_subcommand(1);
    bag.fallthrough();
    bag.footer(
        "Any object of a drawing can have a bag of values with names. A bag of up to 15999\n"
        "bytes lies in the object's extended data, a longer one in its extension dictionary.");

    CLI::App& list = addCommand(bag, "list", "List the values of an object, and where they lie",
                                "Examples:\n"
                                "  zemhost bag list bracket.zdw 2A\n"
                                "  zemhost bag list --json bracket.zdw 2A",
                                m_bagList, runBagList);
    addBag(list, m_bagList);
    addJson(list, m_bagList.json);

    CLI::App& get =
        addCommand(bag, "get", "Show one value",
                   "Texts, numbers, truth values and handles come as they are, all else "
                   "as JSON.\n\n"
                   "Examples:\n"
                   "  zemhost bag get bracket.zdw 2A Name\n"
                   "  zemhost bag get --json bracket.zdw 2A Holes",
                   m_bagGet, runBagGet);
    addBag(get, m_bagGet);
    get.add_option("NAME", m_bagGet.name, "Name of the value")->required();
    addJson(get, m_bagGet.json);

    addBagSet(bag);
    addBagRemove(bag);
    addBagFiles(bag);
}

void CommandLine::addBagSet(CLI::App& bag)
{
    CLI::App& set = addCommand(
        bag, "set", "Set one value",
        "Types: string, int, double, bool, int8, handle, id, blob, 'array of TYPE' and\n"
        "'map of TYPE to TYPE'. Dashes may stand for the spaces. Values of a map are KEY=VALUE.\n"
        "An id is its kind of reference: soft-pointer, hard-pointer, soft-ownership,\n"
        "hard-ownership. A blob is @FILE or hexadecimal digits. Values inside values are given as\n"
        "JSON: {\"type\": \"array of value\", \"value\": [{\"type\": \"int\", \"value\": 1}]}.\n\n"
        "Examples:\n"
        "  zemhost bag set bracket.zdw 2A Name string \"left bracket\"\n"
        "  zemhost bag set bracket.zdw 2A Offset double -- -2.5\n"
        "  zemhost bag set bracket.zdw 2A Holes array-of-double 4.5 6 6\n"
        "  zemhost bag set bracket.zdw 2A Stock 'map of string to int' here=4 there=0\n"
        "  zemhost bag set bracket.zdw 2A Drawing blob @sheet.pdf\n"
        "  zemhost bag set bracket.zdw 2A Notes --json @notes.json",
        m_bagSet, runBagSet);
    addBag(set, m_bagSet.bag);
    set.add_option("NAME", m_bagSet.bag.name, "Name of the value")->required();
    auto* const type = set.add_option("TYPE", m_bagSet.type, "Type of the value");
    auto* const values = set.add_option("VALUE", m_bagSet.values, "The value, or its elements");
    set.add_option("--json", m_bagSet.jsonValue, "Type and value as JSON, or @FILE that holds it")
        ->excludes(type)
        ->excludes(values);
    set.add_flag("--retype", m_bagSet.retype, "Replace a value of another type too");
}

void CommandLine::addBagRemove(CLI::App& bag)
{
    CLI::App& remove = addCommand(bag, "remove", "Remove one value, or all",
                                  "Examples:\n"
                                  "  zemhost bag remove bracket.zdw 2A Name\n"
                                  "  zemhost bag remove --all bracket.zdw 2A",
                                  m_bagRemove, runBagRemove);
    addBag(remove, m_bagRemove.bag);
    auto* const name = remove.add_option("NAME", m_bagRemove.bag.name, "Name of the value");
    remove.add_flag("--all", m_bagRemove.all, "The whole bag")->excludes(name);
}

void CommandLine::addBagFiles(CLI::App& bag)
{
    constexpr char const* kFileHelp =
        "JSON file: {HANDLE: {NAME: {\"type\": TYPE, \"value\": VALUE}}}, - for standard ";

    CLI::App& exported = addCommand(bag, "export", "Write bags to a JSON file",
                                    "A bag that can't be read is left out with a warning and exit "
                                    "code 1.\n\n"
                                    "Examples:\n"
                                    "  zemhost bag export bracket.zdw bags.json\n"
                                    "  zemhost bag export bracket.zdw - 2A",
                                    m_bagExport, runBagExport);
    addDrawing(exported, m_bagExport.drawing);
    exported.add_option("FILE", m_bagExport.file, std::string(kFileHelp) + "output")
        ->required()
        ->check(fileName());
    exported.add_option("HANDLE", m_bagExport.handles, "Objects (default: all that have a bag)");

    CLI::App& imported = addCommand(bag, "import", "Replace bags by those of a JSON file",
                                    "Example:\n"
                                    "  zemhost bag import bracket.zdw bags.json",
                                    m_bagImport, runBagImport);
    addDrawing(imported, m_bagImport.drawing);
    imported.add_option("FILE", m_bagImport.file, std::string(kFileHelp) + "input")
        ->required()
        ->check(fileName());
    imported.add_option("HANDLE", m_bagImport.handles, "Only these objects (default: all of FILE)");

    CLI::App& compared =
        addCommand(bag, "compare", "Compare every value of the bags with those of a JSON file",
                   "The exit code is 0 if they are equal, and 1 if they differ.\n\n"
                   "Example:\n"
                   "  zemhost bag compare bracket.zdw bags.json",
                   m_bagCompare, runBagCompare);
    addDrawing(compared, m_bagCompare.drawing);
    compared.add_option("FILE", m_bagCompare.file, std::string(kFileHelp) + "input")
        ->required()
        ->check(fileName());
    compared.add_option("HANDLE", m_bagCompare.handles,
                        "Only these objects (default: all of FILE and of the drawing)");
}

/// The parser splits a word such as "[a,b]" where an option takes several, and a user who gives one
/// means the text. So it never gets to see one: words that look so have a mark behind them, which
/// every option takes off.
constexpr char kBracketMark = '\x1F';

std::string markBrackets(std::string word)
{
    if (word.size() > 1 && word.front() == '[' &&
        (word.back() == ']' || word.back() == kBracketMark)) {
        word += kBracketMark;
    }
    return word;
}

std::string unmarkBrackets(std::string word)
{
    if (word.size() > 2 && word.front() == '[' && word.back() == kBracketMark) {
        word.pop_back();
    }
    return word;
}

void takeOffMarks(CLI::App& app)
{
    for (CLI::Option* option : app.get_options()) {
        option->transform(unmarkBrackets, "");
    }
    for (CLI::App* command : app.get_subcommands({})) {
        takeOffMarks(*command);
    }
}

void parse(CLI::App& app, int argc, char const* const* argv)
{
    std::vector<std::string> words;
    for (int index = argc - 1; index > 0; --index) {
        words.push_back(markBrackets(argv[index]));  // the parser takes them from the back
    }
    takeOffMarks(app);
    app.parse(std::move(words));
}

ExitCode report(ExitCode exitCode, std::string const& message)
{
    std::cerr << "zemhost: " << printable(message) << '\n';
    return exitCode;
}

ExitCode runCommand(CommandLine& commandLine)
{
    try {
        HostSession session(commandLine.session());
        return commandLine.run()(session);
    } catch (HostError const& error) {
        return report(error.exitCode(), error.what());
    } catch (OdError const& error) {
        return report(error.code() == kOdFileChanged ? ExitCode::kFile : ExitCode::kInternal,
                      error.what());
    } catch (std::bad_alloc const&) {
        return report(ExitCode::kInternal, "out of memory");
    } catch (std::exception const& error) {
        return report(ExitCode::kInternal, error.what());
    }
}

ExitCode reportUsage(CLI::App& app, CLI::ParseError const& error)
{
    // Help and version come as errors too; those write to standard output.
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        app.exit(error);
        return ExitCode::kOk;
    }
    std::string command = "zemhost";
    CLI::App const* at = &app;
    while (!at->get_subcommands().empty()) {
        at = at->get_subcommands().front();
        command += ' ' + at->get_name();
    }
    std::string reason = error.what();
    // The parser asks for a command before it looks at the words that it could make nothing of.
    const std::vector<std::string> unknown = app.remaining(/*recurse=*/true);
    const bool lacksCommand = !at->get_subcommands([](CLI::App const*) { return true; }).empty();
    if (lacksCommand && !unknown.empty()) {
        std::string const& word = unknown.front();
        reason = "there is no " + std::string(word.starts_with('-') ? "option" : "command") +
                 " \"" + unmarkBrackets(word) + '"';
    }
    return report(ExitCode::kUsage, reason + "; see '" + command + " --help'");
}

}  // namespace

int runProgram(int argc, char const* const* argv)
{
    ExitCode exitCode = ExitCode::kOk;
    CommandLine commandLine;
    try {
        parse(commandLine.app(), argc, argv);
        exitCode = runCommand(commandLine);
    } catch (CLI::ParseError const& error) {
        exitCode = reportUsage(commandLine.app(), error);
    }
    if (!std::cout.flush() && exitCode == ExitCode::kOk) {
        exitCode = report(ExitCode::kFile, "standard output: can't be written");
    }
    return static_cast<int>(exitCode);
}

}  // namespace zemhost
