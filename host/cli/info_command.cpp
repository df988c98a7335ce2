#include "cli/commands.h"
#include "cli/drawing.h"
#include "cli/drawing_tree.h"

#include <iostream>

namespace zemhost {

namespace {

constexpr std::size_t kDefaultLimit = 50;

}  // namespace

ExitCode runInfo(HostSession& session, InfoRequest const& request)
{
    HostBagExtension const* const bags = session.hasModule() ? &session.bags() : nullptr;
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForReading);
    const std::size_t limit = request.limit.value_or(request.json ? 0 : kDefaultLimit);
    Json tree;
    guardDrawing([&] { tree = drawingTree(*database, bags, limit); });
    if (request.json) {
        std::cout << toText(tree, 2) << '\n';
    } else {
        printDrawingTree(tree);
    }
    return ExitCode::kOk;
}

}  // namespace zemhost
