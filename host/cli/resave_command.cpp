#include "cli/commands.h"
#include "cli/drawing.h"
#include "cli/text_format.h"
#include "db/od_db_object_store.h"
#include "db/od_db_proxy_object.h"

#include <iostream>

namespace zemhost {

namespace {

/// How many objects were filed anew.
struct RewriteResult
{
    std::uint64_t objects = 0;
    std::uint64_t proxies = 0;
};

/// Marks every object as changed, so that each of them goes through its class's own filing.
RewriteResult markAllChanged(OdDbDatabase& database)
{
    RewriteResult result;
    forEachHandle(database, [&](OdDbHandle handle) {
        const OdDbObjectPtr object = database.getOdDbObjectId(handle).openObject(OdDb::kForWrite);
        if (object.isNull()) {
            return;
        }
        object->assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
        ++result.objects;
        if (!OdDbProxyObject::cast(object.get()).isNull()) {
            ++result.proxies;
        }
    });
    return result;
}

void printRewrite(RewriteResult const& result)
{
    std::cout << counted(result.objects, "object") << " filed anew";
    if (result.proxies != 0) {
        std::cout << ", " << result.proxies << " of them carried without their class";
    }
    std::cout << '\n';
}

/// Saving reads what it files anew, and carries over as stored what it can't read.
void warnOfDamages(OdDbDatabase& database, std::string const& path)
{
    const std::size_t count = OdDbStorageAccess(database).damages().size();
    if (count != 0) {
        std::cerr << "zemhost: warning: " << printable(path) << ": "
                  << counted(count, "damaged object")
                  << " copied as stored; 'zemhost check' lists the damages\n";
    }
}

}  // namespace

ExitCode runResave(HostSession& session, ResaveRequest const& request)
{
    const bool inPlace = request.target.empty();
    if (inPlace && request.dwgVersion != 0) {
        throw HostError(ExitCode::kUsage, "--dwg-version",
                        "a drawing that is saved in place keeps its version",
                        "name another drawing");
    }
    if (!inPlace) {
        checkTarget(request.target);
    }
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing,
                    inPlace ? OdDbOpenDrawingMode::kForWriting : OdDbOpenDrawingMode::kForReading);
    const int version = odDbDrawingVersion(*database);
    RewriteResult rewritten;
    if (request.rewrite) {
        guardDrawing([&] { rewritten = markAllChanged(*database); });
    }
    std::string const& target = inPlace ? request.drawing : request.target;
    if (inPlace) {
        saveDrawing(*database);
    } else {
        saveDrawingAs(*database, target, request.dwgVersion != 0 ? request.dwgVersion : version);
    }
    warnOfDamages(*database, request.drawing);
    if (request.rewrite) {
        printRewrite(rewritten);
    }
    std::cout << "drawing " << printable(target) << ": " << sized(fileSize(target)) << '\n';
    return ExitCode::kOk;
}

}  // namespace zemhost
