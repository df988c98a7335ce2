#include "cli/links_commands.h"

#include "cli/drawing_blocks.h"
#include "cli/part_paths.h"

#include "protocol/host_link_extension.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <map>
#include <set>
#include <utility>

namespace zemhost {

namespace {

constexpr std::size_t kShownLinks = 50;

/// In the order of HostPartAnswer.
constexpr std::array<char const*, 5> kAnswerNames = {"exact", "split", "merged", "gone",
                                                     "ambiguous"};

std::string answerName(HostPartAnswer answer)
{
    return kAnswerNames[static_cast<std::size_t>(answer)];
}

/// Parts of external drawings are told apart by geometry, for which the kernel is needed.
void prepareForExternals(HostSession& session, OdDbDatabase& database)
{
    const std::vector<OdDbObjectId> blocks = blocksOf(database);
    const auto isExternal = [](OdDbObjectId id) {
        return OdDbBlockTableRecord::cast(id.safeOpenObject().get())->isFromExternalReference();
    };
    if (std::any_of(blocks.begin(), blocks.end(), isExternal)) {
        (void)session.tryKernel();
    }
}

/// What a link names, in one word.
std::string targetText(HostLink const& link)
{
    if (link.link.isNull()) {
        return "was " + pathText(link.path);
    }
    if (!link.isResolved) {
        return "leads nowhere";
    }
    if (link.isThere) {
        return pathText(link.path);
    }
    OdDbFullSubentPath whole = link.path;
    whole.setSubentId(OdDbSubentId());
    return "a part of " + pathText(whole);
}

std::vector<std::string> candidateTexts(HostLink const& link)
{
    std::vector<std::string> texts;
    for (OdDbSubentId candidate : link.candidates) {
        texts.push_back(partText(candidate));
    }
    return texts;
}

std::string answerText(HostLink const& link)
{
    std::string text = answerName(link.answer);
    if (!link.cause.isEmpty()) {
        text += " by " + printable(toUtf8(link.cause));
    }
    if (!link.candidates.empty()) {
        text += ": " + joined(candidateTexts(link)) + '?';
    }
    return text;
}

std::string blockName(HostLink const& link)
{
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::cast(link.block.openObject().get());
    return block.isNull() ? std::string() : toUtf8(block->getName());
}

std::string selectionText(HostLink const& link)
{
    if (link.selection.isEmpty()) {
        return "(nobody watches it)";
    }
    std::string text = printable(toUtf8(link.selection)) + " #" + std::to_string(link.entry + 1);
    if (link.block != link.block.database()->getModelSpaceId()) {
        text += " of block " + printable(blockName(link));
    }
    return text;
}

Json toJson(HostLink const& link)
{
    Json json;
    json["link"] = link.link.isNull() ? Json() : Json(toText(link.link.getHandle()));
    json["names"] = link.isThere || link.link.isNull() ? Json(pathText(link.path)) : Json();
    json["resolved"] = link.isResolved;
    json["there"] = link.isThere;
    json["block"] = blockName(link);
    json["tag"] = link.tag;
    json["answer"] = answerName(link.answer);
    json["cause"] = toUtf8(link.cause);
    json["candidates"] = candidateTexts(link);
    json["selection"] = link.selection.isEmpty() ? Json() : Json(toUtf8(link.selection));
    json["entry"] = link.selection.isEmpty() ? Json() : Json(link.entry + 1);
    return json;
}

std::string countsText(std::vector<HostLink> const& links)
{
    std::array<std::size_t, kAnswerNames.size()> counts{};
    for (HostLink const& link : links) {
        ++counts[static_cast<std::size_t>(link.answer)];
    }
    std::string text;
    for (std::size_t answer = 0; answer < counts.size(); ++answer) {
        if (counts[answer] != 0) {
            text += (text.empty() ? "" : ", ") + std::to_string(counts[answer]) + ' ' +
                    kAnswerNames[answer];
        }
    }
    return text;
}

std::vector<HostLink> linksOf(HostSession& session, OdDbDatabase& database,
                              std::string const& selection)
{
    std::vector<HostLink> links;
    guardDrawing([&] { links = session.links().links(database); });
    if (selection.empty()) {
        return links;
    }
    const OdString name = OdString::fromUtf8(selection);
    std::erase_if(links,
                  [&name](HostLink const& link) { return odIcmp(link.selection, name) != 0; });
    if (links.empty()) {
        throw HostError(ExitCode::kFindings, selection, "there is no selection of this name",
                        "'zemhost links list' shows all");
    }
    return links;
}

/// The block whose selection is meant; several may have one of the name, as clones do.
OdDbObjectId blockOfSelection(HostSession& session, OdDbDatabase& database,
                              LinksRepairRequest const& request)
{
    std::set<OdDbObjectId> blocks;
    for (HostLink const& link : linksOf(session, database, request.selection)) {
        blocks.insert(link.block);
    }
    if (request.block.empty()) {
        if (blocks.size() > 1) {
            throw HostError(ExitCode::kUsage, request.selection,
                            "several blocks have a selection of this name",
                            "name the block with --block");
        }
        return *blocks.begin();
    }
    const OdDbObjectId block =
        openBlock(database, request.block, ExternalBlocks::kRefused)->objectId();
    if (!blocks.contains(block)) {
        throw HostError(ExitCode::kFindings, request.block, "has no selection " + request.selection,
                        "'zemhost links list' shows them");
    }
    return block;
}

void requireRepaired(OdResult result, LinksRepairRequest const& request)
{
    switch (result) {
    case kOdOk:
        return;
    case kOdKeyNotFound:
        throw HostError(ExitCode::kFindings, request.selection,
                        "has no entry " + std::to_string(request.entry),
                        "'zemhost links list' shows them");
    case kOdNotApplicable:
        throw HostError(
            ExitCode::kFindings, request.selection,
            "entry " + std::to_string(request.entry) + " has no repair that can be taken back", "");
    default:
        throw HostError(ExitCode::kFindings, request.part, "can't be linked to", "");
    }
}

ExitCode auditLinks(HostSession& session, OdDbDatabase& database)
{
    std::size_t removed = 0;
    guardDrawing([&] {
        database.startUndoRecord();
        removed = session.links().audit(database);
    });
    saveDrawing(database);
    std::cout << (removed == 0 ? "nothing to take away" : counted(removed, "link") + " taken away")
              << '\n';
    return ExitCode::kOk;
}

}  // namespace

ExitCode runLinksList(HostSession& session, LinksListRequest const& request)
{
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForReading);
    prepareForExternals(session, *database);
    const std::vector<HostLink> links = linksOf(session, *database, request.selection);
    if (request.json) {
        Json json = Json::array();
        for (HostLink const& link : links) {
            json.push_back(toJson(link));
        }
        std::cout << toText(Json{{"links", std::move(json)}}, 2) << '\n';
        return tellOfDamages(*database, request.drawing);
    }
    std::cout << counted(links.size(), "link") << (links.empty() ? "" : ": " + countsText(links))
              << '\n';
    const std::size_t limit = request.limit.value_or(kShownLinks);
    TextTable table;
    for (std::size_t index = 0; index < links.size() && (limit == 0 || index < limit); ++index) {
        HostLink const& link = links[index];
        table.addRow({link.link.isNull() ? "-" : toText(link.link.getHandle()), targetText(link),
                      selectionText(link), answerText(link)});
    }
    table.print(2);
    if (limit != 0 && links.size() > limit) {
        std::cout << "  and " << links.size() - limit << " more; --limit 0 shows all\n";
    }
    return tellOfDamages(*database, request.drawing);
}

ExitCode runLinksAdd(HostSession& session, LinksAddRequest const& request)
{
    if (request.selection.empty() || request.selection.front() == '*') {
        throw HostError(ExitCode::kUsage, "\"" + request.selection + "\"",
                        "is no name for a selection", "give a name such as holes");
    }
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForWriting);
    prepareForExternals(session, *database);
    // A link belongs to the block in which its way begins.
    std::map<OdDbObjectId, std::vector<OdDbFullSubentPath>> byBlock;
    for (std::string const& word : request.parts) {
        for (OdDbFullSubentPath& path : pathsFromWord(*database, word)) {
            byBlock[blockOfPath(path)].push_back(std::move(path));
        }
    }
    std::size_t wanted = 0;
    std::size_t made = 0;
    guardValues(request.selection, [&] {
        database->startUndoRecord();
        for (auto const& [block, paths] : byBlock) {
            wanted += paths.size();
            made += session.links().add(block, OdString::fromUtf8(request.selection), paths).size();
        }
    });
    if (made != 0) {
        saveDrawing(*database);
    }
    std::cout << printable(request.selection) << " watches " << counted(made, "part") << '\n';
    return made == wanted ? ExitCode::kOk : ExitCode::kFindings;
}

ExitCode runLinksVerify(HostSession& session, LinksVerifyRequest const& request)
{
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForReading);
    std::vector<HostLinkFinding> findings;
    std::size_t links = 0;
    guardDrawing([&] {
        findings = session.links().verify(*database);
        std::set<OdDbObjectId> distinct;
        for (HostLink const& link : session.links().links(*database)) {
            if (!link.link.isNull()) {
                distinct.insert(link.link);
            }
        }
        links = distinct.size();
    });
    if (request.json) {
        Json json = Json::array();
        for (HostLinkFinding const& finding : findings) {
            json.push_back(Json{{"object", toText(finding.object.getHandle())},
                                {"problem", toUtf8(finding.problem)},
                                {"damage", finding.isDamage}});
        }
        std::cout << toText(Json{{"links", links}, {"findings", std::move(json)}}, 2) << '\n';
    } else {
        std::cout << counted(links, "link") << ", " << counted(findings.size(), "finding") << '\n';
        for (HostLinkFinding const& finding : findings) {
            std::cout << (finding.isDamage ? "  problem: " : "  note: ")
                      << toText(finding.object.getHandle()) << "  " << toUtf8(finding.problem)
                      << '\n';
        }
    }
    return findings.empty() ? ExitCode::kOk : ExitCode::kFindings;
}

ExitCode runLinksRepair(HostSession& session, LinksRepairRequest const& request)
{
    const bool isForEntry =
        request.entry != 0 || request.undo || request.remove || !request.part.empty();
    if (request.selection.empty() && isForEntry) {
        throw HostError(ExitCode::kUsage, "", "which selection?",
                        "give its name and the entry's number");
    }
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForWriting);
    prepareForExternals(session, *database);
    if (request.selection.empty()) {
        return auditLinks(session, *database);
    }
    if (request.entry == 0 || (request.part.empty() && !request.remove && !request.undo)) {
        throw HostError(ExitCode::kUsage, request.selection, "what is to become of which entry?",
                        "give its number and a part, --remove or --undo");
    }
    const OdString selection = OdString::fromUtf8(request.selection);
    const std::size_t entry = request.entry - 1;
    const OdDbObjectId block = blockOfSelection(session, *database, request);
    HostLinkExtension const& links = session.links();
    OdResult result = kOdOk;
    guardDrawing([&] {
        database->startUndoRecord();
        if (request.undo) {
            result = links.takeBack(block, selection, entry);
        } else if (request.remove) {
            result = links.remove(block, selection, entry);
        } else {
            result = links.repair(block, selection, entry, pathFromWord(*database, request.part));
        }
    });
    requireRepaired(result, request);
    saveDrawing(*database);
    std::cout << printable(request.selection) << " #" << request.entry
              << (request.remove ? " is taken out"
                  : request.undo ? " is as it was before its repair"
                                 : " names " + request.part)
              << '\n';
    return ExitCode::kOk;
}

}  // namespace zemhost
