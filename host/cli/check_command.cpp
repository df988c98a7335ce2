#include "cli/commands.h"
#include "cli/drawing.h"
#include "cli/text_format.h"
#include "store/od_db_drawing_check.h"

#include <iostream>

namespace zemhost {

namespace {

using Finding = OdDbDrawingFinding;

char const* kindName(Finding::Kind kind)
{
    switch (kind) {
    case Finding::Kind::kFile:
        return "file";
    case Finding::Kind::kPage:
        return "page";
    case Finding::Kind::kObject:
        return "object";
    case Finding::Kind::kPartlyRead:
        return "partly read";
    case Finding::Kind::kProxy:
        return "proxy";
    case Finding::Kind::kOwner:
        return "owner";
    case Finding::Kind::kReference:
        return "reference";
    }
    return "unknown";
}

Json findingJson(Finding const& finding)
{
    Json json;
    json["kind"] = kindName(finding.kind);
    json["problem"] = finding.isProblem;
    json["handle"] = finding.handle.isNull() ? Json() : Json(toText(finding.handle));
    json["text"] = finding.text;
    return json;
}

void printFinding(Finding const& finding)
{
    std::cout << (finding.isProblem ? "  problem: " : "  note: ") << printable(finding.text)
              << '\n';
}

Json resultJson(CheckRequest const& request, OdDbDrawingCheckResult const& result)
{
    Json json;
    json["drawing"] = request.drawing;
    json["objects"] = result.objects;
    json["references"] = result.references;
    json["proxies"] = result.proxies;
    json["problems"] = result.problems;
    json["notes"] = result.notes;
    return json;
}

void printResult(CheckRequest const& request, OdDbDrawingCheckResult const& result)
{
    std::cout << printable(request.drawing) << ": " << counted(result.objects, "object") << " and "
              << counted(result.references, "reference") << " checked";
    if (result.proxies != 0) {
        std::cout << ", " << counted(result.proxies, "object") << " carried as a proxy";
    }
    std::cout << ": "
              << (result.problems == 0 ? std::string("no damage")
                                       : counted(result.problems, "problem"))
              << '\n';
}

}  // namespace

ExitCode runCheck(HostSession& session, CheckRequest const& request)
{
    if (session.hasModule()) {
        (void)session.links();  // brings the classes of the host's own objects
    }
    Json findings = Json::array();
    const auto report = [&](Finding const& finding) {
        if (request.json) {
            findings.push_back(findingJson(finding));
        } else {
            printFinding(finding);
        }
    };
    OdDbDrawingCheckResult result;
    guardDrawing([&] {
        result = odDbCheckDrawing(OdString::fromUtf8(request.drawing), report, session.services());
    });
    if (request.json) {
        Json answer = resultJson(request, result);
        answer["findings"] = std::move(findings);
        std::cout << toText(answer, 2) << '\n';
    } else {
        printResult(request, result);
    }
    return result.problems == 0 ? ExitCode::kOk : ExitCode::kFindings;
}

}  // namespace zemhost
