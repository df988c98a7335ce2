#include "cli/edit_commands.h"

#include "cli/drawing_blocks.h"
#include "cli/part_paths.h"

#include "protocol/host_link_extension.h"

#include <array>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <string_view>
#include <utility>

namespace zemhost {

namespace {

OdString const& recipeName()
{
    static const OdString kName(L"RECIPE");
    return kName;
}

/// The recipe of a solid; empty if it has none.
OdBinaryData recipeBytes(HostSession& session, OdDb3dSolid const& solid)
{
    OdBinaryData bytes;
    guardDrawing([&] { bytes = session.bags().data(solid, recipeName()); });
    return bytes;
}

/// How many parts of a solid had each answer, in the order of HostPartAnswer.
using Tally = std::array<std::size_t, 5>;

Tally tallyOf(std::vector<HostPartFate> const& fates)
{
    Tally tally{};
    for (HostPartFate const& fate : fates) {
        ++tally[static_cast<std::size_t>(fate.answer)];
    }
    return tally;
}

constexpr std::array<char const*, 5> kAnswerNames = {"exact", "split", "merged", "gone",
                                                     "ambiguous"};

// ---------------------------------------------------------------------------------------------
// What is asked for

/// \param shape  What each word is to be: 'p' for a point, 'n' for a number.
std::vector<double> numbersFrom(std::string const& option, std::vector<std::string> const& words,
                                std::string_view shape)
{
    std::vector<double> numbers;
    for (std::size_t index = 0; index < words.size() && index < shape.size(); ++index) {
        std::string const& word = words[index];
        if (shape[index] == 'p') {
            const OdGePoint3d point = pointFromWord(option, word);
            numbers.insert(numbers.end(), {point.x, point.y, point.z});
            continue;
        }
        double number = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
        if (error != std::errc() || end != word.data() + word.size()) {
            throw HostError(ExitCode::kUsage, option, "takes numbers, not \"" + word + '"', "");
        }
        numbers.push_back(number);
    }
    return numbers;
}

OdDb3dSolidPtr openSolid(OdDbDatabase& database, std::string const& handle, OdDb::OpenMode mode)
{
    const OdDbObjectPtr object = openByHandle(database, handle, mode);
    OdDb3dSolidPtr solid = OdDb3dSolid::cast(object.get());
    if (solid.isNull() || solid->isNull()) {
        throw HostError(ExitCode::kUsage, handle, "is no solid with a body",
                        "'zemhost info' shows which objects are");
    }
    return solid;
}

void setTool(EditRequest const& request, OdDbDatabase& database, OdDb3dSolid const& edited,
             HostEdit& edit)
{
    const int tools = (request.box.empty() ? 0 : 1) + (request.cylinder.empty() ? 0 : 1) +
                      (request.solid.empty() ? 0 : 1);
    if (tools != 1) {
        throw HostError(ExitCode::kUsage, "", "the edit takes one tool",
                        "give --box, --cylinder or --solid");
    }
    if (!request.box.empty()) {
        edit.tool = HostToolKind::kBox;
        edit.values = numbersFrom("--box", request.box, "pp");
    } else if (!request.cylinder.empty()) {
        edit.tool = HostToolKind::kCylinder;
        edit.values = numbersFrom("--cylinder", request.cylinder, "ppnn");
    } else {
        edit.tool = HostToolKind::kSolid;
        edit.values = numbersFrom("--at", {request.at}, "p");
        const OdDb3dSolidPtr tool = openSolid(database, request.solid, OdDb::kForRead);
        if (tool->placement() != edited.placement()) {
            throw HostError(ExitCode::kUsage, request.solid,
                            "is placed otherwise than the solid that it is a tool for",
                            "edits take place in the coordinates of bodies");
        }
        edit.toolBody = tool->body();
    }
}

HostEdit editFrom(EditRequest const& request, OdDbDatabase& database, OdDb3dSolid const& edited)
{
    HostEdit edit;
    edit.kind = request.kind;
    edit.parts = request.parts;
    edit.step = request.step;
    edit.parameter = request.parameter;
    edit.value = request.value;
    edit.checksGeometry = request.checksGeometry;
    edit.reachMm = request.reachMm;
    switch (request.kind) {
    case HostEditKind::kCut:
    case HostEditKind::kFuse:
        setTool(request, database, edited, edit);
        break;
    case HostEditKind::kHole:
        edit.values = numbersFrom("--at", {request.at}, "p");
        for (const double value : numbersFrom("--direction", {request.direction}, "p")) {
            edit.values.push_back(value);
        }
        edit.values.push_back(request.size);
        edit.values.push_back(request.depth);
        break;
    case HostEditKind::kFillet:
    case HostEditKind::kChamfer:
        edit.values = {request.size};
        break;
    default:
        break;
    }
    return edit;
}

// ---------------------------------------------------------------------------------------------
// What is done

/// Gives a solid its new body and follows with its links; all of it or nothing.
HostRemapReport apply(HostSession& session, OdDbDatabase& database, OdDbObjectId id,
                      HostEditResult const& result)
{
    HostRemapReport report;
    guardDrawing([&] {
        database.startUndoRecord();
        try {
            const OdDb3dSolidPtr solid =
                OdDb3dSolid::cast(id.safeOpenObject(OdDb::kForWrite).get());
            const OdGeMatrix3d placement = solid->placement();
            solid->setBody(result.solid.bodyFormat, result.solid.body, result.counts);
            if (placement != OdGeMatrix3d::kIdentity) {
                solid->setPlacement(placement);  // coordinates of edits are those of the body
            }
            session.bags().setData(*solid, recipeName(), result.solid.recipe);
            report = session.links().remap(id, result.map, OdString::fromUtf8(result.cause));
        } catch (...) {
            (void)database.undo();
            throw;
        }
    });
    return report;
}

Json toJson(HostRemapReport const& links)
{
    return Json{{"stayed", links.stayed}, {"moved", links.moved}, {"split", links.split},
                {"merged", links.merged}, {"gone", links.gone},   {"ambiguous", links.ambiguous},
                {"made", links.made}};
}

Json toJson(std::vector<HostPartFate> const& fates)
{
    Json json;
    const Tally tally = tallyOf(fates);
    for (std::size_t answer = 0; answer < tally.size(); ++answer) {
        json[kAnswerNames[answer]] = tally[answer];
    }
    return json;
}

Json toJson(OdDb3dSolid::Counts const& counts)
{
    return Json{{"faces", counts.faces}, {"edges", counts.edges}, {"vertices", counts.vertices}};
}

void printFates(std::string const& noun, std::vector<HostPartFate> const& fates)
{
    const Tally tally = tallyOf(fates);
    std::cout << "  " << counted(fates.size(), noun) << ':';
    char const* separator = " ";
    for (std::size_t answer = 0; answer < tally.size(); ++answer) {
        if (tally[answer] != 0) {
            std::cout << separator << tally[answer] << ' ' << kAnswerNames[answer];
            separator = ", ";
        }
    }
    std::cout << '\n';
}

void printEdit(EditRequest const& request, HostEditResult const& result,
               HostRemapReport const& links, double linkSeconds)
{
    std::cout << request.handle << ": " << result.cause << "; now "
              << counted(result.counts.faces, "face") << ", "
              << counted(result.counts.edges, "edge") << ", "
              << counted(result.counts.vertices, "vertex") << ", volume "
              << shortNumber(result.volumeMm3) << " mm3\n";
    printFates("face", result.map.faces);
    printFates("edge", result.map.edges);
    printFates("vertex", result.map.vertices);
    std::cout << "  " << counted(links.total(), "link") << ": " << links.stayed << " stayed, "
              << links.moved << " moved, " << links.split << " split, " << links.merged
              << " merged, " << links.gone << " gone, " << links.ambiguous << " ambiguous; "
              << links.made << " made\n"
              << "  kernel " << shortNumber(result.kernelSeconds) << " s, what became of the parts "
              << shortNumber(result.historySeconds) << " s, links " << shortNumber(linkSeconds)
              << " s\n";
    if (result.geometry) {
        std::cout << "  compared with geometry: " << counted(result.geometry->parts, "part") << ", "
                  << counted(result.geometry->differences, "difference") << ", "
                  << result.geometry->blind << " in the same place as others\n";
    }
}

/// Findings also where links, or what lists them, could not be read, and so did not follow.
ExitCode exitCodeOf(EditRequest const& request, OdDbDatabase& database,
                    HostEditResult const& result)
{
    const ExitCode ofDamages = tellOfDamages(database, request.drawing);
    return result.geometry && result.geometry->differences != 0 ? ExitCode::kFindings : ofDamages;
}

HostEditResult editSolid(HostSession& session, EditRequest const& request, OdDbDatabase& database,
                         OdDb3dSolid const& solid)
{
    const HostEditedSolid before{solid.bodyFormat(), solid.body(), recipeBytes(session, solid)};
    const HostEdit edit = editFrom(request, database, solid);
    const HostImportLimits limits{std::chrono::seconds(request.timeLimitSeconds),
                                  request.memoryLimitMib << 20};
    ProgressLine line("editing " + request.handle);
    return session.editor().edit(
        before, edit, limits,
        [&line](double fraction, std::string const& step) { line.show(fraction, step); });
}

HostEditResult makeBase(HostSession& session, MakeRequest const& request)
{
    ProgressLine line("making a " + request.base);
    return session.editor().make(
        request.base, request.values, HostImportLimits(),
        [&line](double fraction, std::string const& step) { line.show(fraction, step); });
}

}  // namespace

ExitCode runMake(HostSession& session, MakeRequest const& request)
{
    std::error_code error;
    const bool exists = std::filesystem::exists(request.drawing, error);
    if (!request.append) {
        checkTarget(request.drawing);
        if (exists && !request.replace) {
            throw HostError(ExitCode::kFile, request.drawing, "is there already",
                            "give --replace to replace it or --append to add to it");
        }
    }
    const OdDbDatabasePtr database =
        request.append ? openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForWriting)
                       : OdDbDatabase::createObject(session.services());
    if (!request.append) {
        database->setINSUNITS(OdDb::UnitsValue::kUnitsMillimeters);
    }
    const HostEditResult made = makeBase(session, request);
    OdDbHandle handle;
    guardDrawing([&] {
        const OdDbBlockTableRecordPtr space = OdDbBlockTableRecord::cast(
            database->getModelSpaceId().safeOpenObject(OdDb::kForWrite).get());
        const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
        space->appendOdDbEntity(solid.get());
        solid->setBody(made.solid.bodyFormat, made.solid.body, made.counts);
        solid->setLabel(OdString::fromUtf8(request.label.empty() ? request.base : request.label));
        session.bags().setData(*solid, recipeName(), made.solid.recipe);
        handle = solid->handle();
    });
    if (request.append) {
        saveDrawing(*database);
    } else {
        saveDrawingAs(*database, request.drawing, OdDb::kDwgVersionCurrent);
    }
    std::cout << toText(handle) << "  " << made.cause << ": " << counted(made.counts.faces, "face")
              << ", " << counted(made.counts.edges, "edge") << ", "
              << counted(made.counts.vertices, "vertex") << ", volume "
              << shortNumber(made.volumeMm3) << " mm3\n";
    return ExitCode::kOk;
}

ExitCode runEdit(HostSession& session, EditRequest const& request)
{
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForWriting);
    const OdDbObjectId id = openSolid(*database, request.handle, OdDb::kForRead)->objectId();
    HostEditResult result;
    {
        const OdDb3dSolidPtr solid = openSolid(*database, request.handle, OdDb::kForRead);
        result = editSolid(session, request, *database, *solid);
    }
    for (std::string const& warning : result.warnings) {
        std::cerr << "zemhost: warning: " << printable(warning) << '\n';
    }
    const auto begin = std::chrono::steady_clock::now();
    const HostRemapReport links = apply(session, *database, id, result);
    const std::chrono::duration<double> linkTime = std::chrono::steady_clock::now() - begin;
    saveDrawing(*database);
    if (!request.json) {
        printEdit(request, result, links, linkTime.count());
        return exitCodeOf(request, *database, result);
    }
    Json json{{"solid", toText(id.getHandle())},
              {"edit", result.cause},
              {"step", result.step},
              {"counts", toJson(result.counts)},
              {"volume", result.volumeMm3},
              {"faces", toJson(result.map.faces)},
              {"edges", toJson(result.map.edges)},
              {"vertices", toJson(result.map.vertices)},
              {"links", toJson(links)},
              {"seconds",
               {{"kernel", result.kernelSeconds},
                {"history", result.historySeconds},
                {"links", linkTime.count()}}}};
    if (result.geometry) {
        json["geometry"] = Json{{"parts", result.geometry->parts},
                                {"differences", result.geometry->differences},
                                {"blind", result.geometry->blind}};
    }
    std::cout << toText(json, 2) << '\n';
    return exitCodeOf(request, *database, result);
}

ExitCode runRecipe(HostSession& session, RecipeRequest const& request)
{
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForReading);
    const OdDb3dSolidPtr solid = openSolid(*database, request.handle, OdDb::kForRead);
    const OdBinaryData recipe = recipeBytes(session, *solid);
    std::vector<HostRecipeLine> lines;
    if (!recipe.isEmpty()) {
        lines = session.editor().lines(recipe);
    }
    if (request.json) {
        Json json = Json::array();
        for (HostRecipeLine const& line : lines) {
            Json parameters = Json::object();
            for (auto const& [name, value] : line.parameters) {
                parameters[name] = value;
            }
            json.push_back(Json{{"step", line.step},
                                {"kind", line.kind},
                                {"parameters", std::move(parameters)},
                                {"parts", line.parts}});
        }
        std::cout << toText(Json{{"recipe", std::move(json)}}, 2) << '\n';
        return ExitCode::kOk;
    }
    if (lines.empty()) {
        std::cout << request.handle << " was never edited, and has no recipe\n";
        return ExitCode::kOk;
    }
    TextTable table;
    for (HostRecipeLine const& line : lines) {
        std::vector<std::string> parameters;
        for (auto const& [name, value] : line.parameters) {
            parameters.push_back(name + '=' + exactNumber(value));
        }
        table.addRow({line.step == 0 ? "base" : "step " + std::to_string(line.step), line.kind,
                      joined(parameters, 16), joined(line.parts)});
    }
    table.print(0);
    return ExitCode::kOk;
}

ExitCode runParts(HostSession& session, PartsRequest const& request)
{
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForReading);
    const OdDb3dSolidPtr solid = openSolid(*database, request.handle, OdDb::kForRead);
    const HostSolidFacts facts = session.editor().measure({solid->bodyFormat(), solid->body(), {}});
    if (request.json) {
        Json parts = Json::array();
        for (HostPart const& part : facts.parts) {
            parts.push_back(Json{{"part", partText(part.part)},
                                 {"kind", part.kind},
                                 {"size", part.size},
                                 {"middle", part.middle}});
        }
        const Json json{{"volume", facts.volumeMm3}, {"area", facts.areaMm2},
                        {"boxMin", facts.boxMin},    {"boxMax", facts.boxMax},
                        {"valid", facts.isValid},    {"parts", std::move(parts)}};
        std::cout << toText(json, 2) << '\n';
        return ExitCode::kOk;
    }
    const auto point = [](std::array<double, 3> const& at) {
        return "(" + shortNumber(at[0]) + ", " + shortNumber(at[1]) + ", " + shortNumber(at[2]) +
               ")";
    };
    std::cout << "volume " << shortNumber(facts.volumeMm3) << " mm3, area "
              << shortNumber(facts.areaMm2) << " mm2, box " << point(facts.boxMin) << " to "
              << point(facts.boxMax) << (facts.isValid ? "" : "; the kernel finds faults in it")
              << '\n';
    TextTable table;
    for (HostPart const& part : facts.parts) {
        const bool isFace = part.part.type() == OdDb::SubentType::kFaceSubentType;
        table.addRow(
            {partText(part.part), part.kind,
             part.kind.empty() ? std::string() : shortNumber(part.size) + (isFace ? " mm2" : " mm"),
             point(part.middle)});
    }
    table.print(2);
    return ExitCode::kOk;
}

}  // namespace zemhost
