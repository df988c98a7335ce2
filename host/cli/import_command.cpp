#include "cli/commands.h"
#include "cli/drawing.h"
#include "cli/text_format.h"
#include "db/od_db_block_table.h"

#include <chrono>
#include <filesystem>
#include <iostream>
#include <vector>

namespace zemhost {

namespace {

namespace fs = std::filesystem;

void checkPlace(ImportRequest const& request)
{
    if (request.target == ImportTarget::kAppend) {
        return;
    }
    std::error_code error;
    const bool exists = fs::exists(request.drawing, error);
    if (exists && fs::equivalent(request.part, request.drawing, error)) {
        throw HostError(ExitCode::kUsage, request.drawing, "is the part itself",
                        "name another drawing");
    }
    checkTarget(request.drawing);
    if (request.target == ImportTarget::kNew && exists) {
        throw HostError(ExitCode::kFile, request.drawing, "is there already",
                        "give --replace to replace it or --append to add to it");
    }
}

HostImport importPart(HostSession& session, ImportRequest const& request)
{
    HostImportExtension const& importer = session.importer();
    ProgressLine line("importing " + fs::path(request.part).filename().string());
    const HostImportLimits limits{std::chrono::seconds(request.timeLimitSeconds),
                                  request.memoryLimitMib << 20};
    return importer.importPart(
        request.part, limits,
        [&line](double fraction, std::string const& step) { line.show(fraction, step); });
}

/// The drawing to add to: a new one, in millimetres as all parts are, or the one that is there.
OdDbDatabasePtr targetDrawing(HostSession& session, ImportRequest const& request)
{
    if (request.target == ImportTarget::kAppend) {
        OdDbDatabasePtr database =
            openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForWriting);
        const OdDb::UnitsValue units = database->getINSUNITS();
        if (units != OdDb::UnitsValue::kUnitsMillimeters &&
            units != OdDb::UnitsValue::kUnitsUndefined) {
            throw HostError(ExitCode::kFile, request.drawing,
                            "has other units than millimetres, in which parts come",
                            "import the part into a drawing of its own");
        }
        return database;
    }
    OdDbDatabasePtr database = OdDbDatabase::createObject(session.services());
    database->setINSUNITS(OdDb::UnitsValue::kUnitsMillimeters);
    return database;
}

std::string labelOf(HostSolid const& solid, ImportRequest const& request)
{
    return solid.label.empty() ? fs::path(request.part).stem().string() : solid.label;
}

OdDbHandle appendSolid(OdDbDatabase& database, HostSolid const& solid, std::string const& label)
{
    const OdDbBlockTableRecordPtr modelSpace = OdDbBlockTableRecord::cast(
        database.getModelSpaceId().safeOpenObject(OdDb::kForWrite).get());
    const OdDb3dSolidPtr entity = OdDb3dSolid::createObject();
    modelSpace->appendOdDbEntity(entity.get());
    entity->setBody(solid.bodyFormat, solid.body, solid.counts);
    entity->setLabel(OdString::fromUtf8(label));
    return entity->handle();
}

void printSolid(HostSolid const& solid, std::string const& label, OdDbHandle handle)
{
    std::cout << "  " << toText(handle) << "  " << printable(label) << "\n      "
              << counted(solid.counts.faces, "face") << ", " << counted(solid.counts.edges, "edge")
              << ", " << counted(solid.counts.vertices, "vertex") << "; body of "
              << sized(solid.body.size()) << '\n'
              << "      volume " << shortNumber(solid.volumeMm3) << " mm3, area "
              << shortNumber(solid.areaMm2) << " mm2, box (" << shortNumber(solid.boxMin[0]) << ", "
              << shortNumber(solid.boxMin[1]) << ", " << shortNumber(solid.boxMin[2]) << ") to ("
              << shortNumber(solid.boxMax[0]) << ", " << shortNumber(solid.boxMax[1]) << ", "
              << shortNumber(solid.boxMax[2]) << ")"
              << (solid.isValid ? "" : "; the kernel finds faults in it") << '\n';
}

void printImport(ImportRequest const& request, HostImport const& imported,
                 std::vector<OdDbHandle> const& handles)
{
    std::cout << imported.format << " file " << printable(request.part) << ": "
              << sized(fileSize(request.part)) << ", " << counted(imported.solids.size(), "solid")
              << '\n';
    for (std::size_t index = 0; index < handles.size(); ++index) {
        HostSolid const& solid = imported.solids[index];
        printSolid(solid, labelOf(solid, request), handles[index]);
    }
    std::cout << "drawing " << printable(request.drawing) << ": "
              << sized(fileSize(request.drawing)) << '\n';
}

}  // namespace

ExitCode runImport(HostSession& session, ImportRequest const& request)
{
    checkPlace(request);
    const OdDbDatabasePtr database = targetDrawing(session, request);
    const HostImport imported = importPart(session, request);
    for (std::string const& warning : imported.warnings) {
        std::cerr << "zemhost: warning: " << printable(request.part + ": " + warning) << '\n';
    }
    std::vector<OdDbHandle> handles;
    guardDrawing([&] {
        for (HostSolid const& solid : imported.solids) {
            handles.push_back(appendSolid(*database, solid, labelOf(solid, request)));
        }
    });
    if (request.target == ImportTarget::kAppend) {
        saveDrawing(*database);
    } else {
        saveDrawingAs(*database, request.drawing, OdDb::kDwgVersionCurrent);
    }
    printImport(request, imported, handles);
    return ExitCode::kOk;
}

}  // namespace zemhost
