#include "cli/xref_commands.h"

#include "cli/drawing_blocks.h"
#include "cli/external_drawings.h"
#include "cli/link_count.h"
#include "db/od_db_xref_man.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iostream>
#include <optional>

namespace zemhost {

namespace {

namespace fs = std::filesystem;

/// The path that is stored: relative to the drawing's folder where the user gave a relative one, so
/// that drawings which are moved together find one another.
std::string pathToStore(XrefAttachRequest const& request)
{
    std::error_code error;
    const fs::path given(request.file);
    const fs::path file = fs::absolute(given, error).lexically_normal();
    if (given.is_absolute() || request.absolute) {
        return file.string();
    }
    const fs::path folder = fs::absolute(request.drawing, error).lexically_normal().parent_path();
    return file.lexically_relative(folder).string();
}

ExitCode exitCodeFor(OdResult result)
{
    return result == kOdCyclicReference ? ExitCode::kUsage : ExitCode::kFile;
}

std::string externalText(ExternalDrawing const& drawing)
{
    std::string text = drawing.state;
    if (drawing.state == "loaded") {
        text += ", " + counted(drawing.entities, "entity");
    } else if (!drawing.problem.empty()) {
        text += ": " + drawing.problem;
    }
    return text;
}

void addRows(TextTable& table, std::vector<ExternalDrawing> const& drawings, int depth)
{
    for (ExternalDrawing const& drawing : drawings) {
        table.addRow(
            {std::string(static_cast<std::size_t>(2 * depth), ' ') + printable(drawing.name),
             drawing.isOverlay ? "overlay" : "attached", externalText(drawing),
             counted(drawing.references, "insert"), printable(drawing.path)});
        addRows(table, drawing.attached, depth + 1);
    }
}

/// Whether a drawing has the one that it is attached to among those attached to it. Overlaid ones
/// aren't seen there, and do no harm.
bool leadsBack(ExternalDrawing const& drawing)
{
    return drawing.state == "circular" ||
           std::any_of(drawing.attached.begin(), drawing.attached.end(), leadsBack);
}

/// Attaches or overlays.
using Attach = OdDbObjectId (*)(OdDbDatabase& host, OdString const& path, OdString const& name,
                                OdResult* result);

ExitCode attach(HostSession& session, XrefAttachRequest const& request, Attach operation)
{
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForWriting);
    const std::string path = pathToStore(request);
    const std::string name = request.name.empty() ? fs::path(path).stem().string() : request.name;
    guardDrawing([&] { requireNewBlockName(*database, name); });
    OdResult result = kOdOk;
    OdDbObjectId block;
    guardValues(name, [&] {
        block = operation(*database, OdString::fromUtf8(path), OdString::fromUtf8(name), &result);
    });
    if (block.isNull() || (result != kOdOk && !request.missing)) {
        throw HostError(
            exitCodeFor(result), request.file, "can't be attached: " + loadProblem(result),
            block.isNull() ? "name another drawing" : "give --missing to attach it all the same");
    }
    ExternalDrawing attached;
    guardDrawing([&] { attached = loadExternalDrawing(block); });
    if (leadsBack(attached)) {
        throw HostError(exitCodeFor(kOdCyclicReference), request.file,
                        "can't be attached: " + loadProblem(kOdCyclicReference),
                        "name another drawing, or overlay this one there");
    }
    saveDrawing(*database);
    std::cout << printable(attached.name) << " (" << toText(block.getHandle()) << ") is "
              << (attached.isOverlay ? "overlaid: " : "attached: ") << externalText(attached)
              << ", from " << printable(attached.path) << '\n';
    return ExitCode::kOk;
}

/// The external drawing of a name, or all of them.
std::vector<OdDbObjectId> blocksFor(OdDbDatabase& database, XrefRequest const& request)
{
    std::vector<OdDbObjectId> blocks;
    if (!request.name.empty()) {
        const OdDbBlockTableRecordPtr block =
            openBlock(database, request.name, ExternalBlocks::kAllowed);
        if (!block->isFromExternalReference()) {
            throw HostError(ExitCode::kUsage, request.name, "is no external drawing",
                            "'zemhost xref list' shows them");
        }
        return {block->objectId()};
    }
    for (OdDbObjectId id : blocksOf(database)) {
        if (OdDbBlockTableRecord::cast(id.safeOpenObject().get())->isFromExternalReference()) {
            blocks.push_back(id);
        }
    }
    return blocks;
}

std::string nameOf(OdDbObjectId block)
{
    return toUtf8(OdDbBlockTableRecord::cast(block.safeOpenObject().get())->getName());
}

/// Runs an operation on each external drawing that is asked for and saves. What fails for one leaves
/// that one as it was.
///
/// \param done       Tells what became of a block, behind its name.
/// \param endsLinks  Whether links through the drawings lead nowhere then, of which is told.
ExitCode forEachExternal(HostSession& session, XrefRequest const& request,
                         std::function<OdResult(OdDbObjectId)> const& operation,
                         std::function<std::string(OdDbObjectId)> const& done,
                         bool endsLinks = false)
{
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForWriting);
    const std::vector<OdDbObjectId> blocks = blocksFor(*database, request);
    std::optional<LinkCount> links;
    if (endsLinks) {
        links.emplace(session, *database);
    }
    std::vector<std::string> lines;
    std::vector<std::string> problems;
    OdResult failure = kOdOk;
    guardDrawing([&] {
        for (OdDbObjectId block : blocks) {
            const std::string name = nameOf(block);
            const OdResult result = operation(block);
            if (result == kOdOk) {
                lines.push_back(printable(name) + ": " + done(block));
                continue;
            }
            failure = failure == kOdOk ? result : failure;
            problems.push_back(name + ": " + loadProblem(result));
        }
    });
    saveDrawing(*database);
    for (std::string const& line : lines) {
        std::cout << line << '\n';
    }
    if (links.has_value()) {
        links->tellOfLost(request.drawing);
    }
    if (blocks.empty()) {
        std::cout << "no external drawings\n";
    }
    if (!problems.empty()) {
        throw HostError(exitCodeFor(failure), request.drawing,
                        "external drawing " + joined(problems), "'zemhost xref list' tells more");
    }
    return ExitCode::kOk;
}

std::string loadedText(OdDbObjectId block)
{
    return externalText(loadExternalDrawing(block));
}

}  // namespace

ExitCode runXrefList(HostSession& session, XrefListRequest const& request)
{
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForReading);
    std::vector<ExternalDrawing> drawings;
    guardDrawing([&] { drawings = loadExternalDrawings(*database); });
    if (request.json) {
        Json json;
        json["drawing"] = request.drawing;
        json["externalDrawings"] = Json::array();
        for (ExternalDrawing const& drawing : drawings) {
            json["externalDrawings"].push_back(externalJson(drawing));
        }
        std::cout << toText(json, 2) << '\n';
        return ExitCode::kOk;
    }
    std::cout << printable(request.drawing) << ": " << counted(drawings.size(), "external drawing")
              << '\n';
    TextTable table;
    addRows(table, drawings, 0);
    table.print(2);
    return ExitCode::kOk;
}

ExitCode runXrefAttach(HostSession& session, XrefAttachRequest const& request)
{
    return attach(session, request, &OdDbXRefMan::attach);
}

ExitCode runXrefOverlay(HostSession& session, XrefAttachRequest const& request)
{
    return attach(session, request, &OdDbXRefMan::overlay);
}

ExitCode runXrefLoad(HostSession& session, XrefRequest const& request)
{
    return forEachExternal(
        session, request, [](OdDbObjectId block) { return OdDbXRefMan::load(block); }, loadedText);
}

ExitCode runXrefUnload(HostSession& session, XrefRequest const& request)
{
    return forEachExternal(
        session, request, [](OdDbObjectId block) { return OdDbXRefMan::unload(block); },
        [](OdDbObjectId) { return std::string("unloaded, until it is loaded again"); });
}

ExitCode runXrefReload(HostSession& session, XrefRequest const& request)
{
    return forEachExternal(
        session, request,
        [](OdDbObjectId block) {
            const OdResult result = OdDbXRefMan::load(block);
            return result == kOdOk ? OdDbXRefMan::reload(block) : result;
        },
        loadedText);
}

ExitCode runXrefDetach(HostSession& session, XrefRequest const& request)
{
    std::size_t inserts = 0;
    return forEachExternal(
        session, request,
        [&inserts](OdDbObjectId block) {
            inserts = OdDbBlockTableRecord::cast(block.safeOpenObject().get())
                          ->getBlockReferenceIds()
                          .size();
            return OdDbXRefMan::detach(block);
        },
        [&inserts](OdDbObjectId) {
            return "detached, with " + counted(inserts, "insert") + " of it";
        },
        /*endsLinks=*/true);
}

ExitCode runXrefBind(HostSession& session, XrefBindRequest const& request)
{
    const OdDbXRefMan::BindStyle style =
        request.insert ? OdDbXRefMan::BindStyle::kInsert : OdDbXRefMan::BindStyle::kBind;
    return forEachExternal(
        session, request.xref,
        [style](OdDbObjectId block) { return OdDbXRefMan::bind(block, style); },
        [](OdDbObjectId block) {
            const auto record = OdDbBlockTableRecord::cast(block.safeOpenObject().get());
            return "a block of this drawing now, " + counted(record->entityCount(), "entity");
        },
        /*endsLinks=*/true);
}

}  // namespace zemhost
