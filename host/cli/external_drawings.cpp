#include "cli/external_drawings.h"

#include "cli/drawing_blocks.h"
#include "db/od_db_host_app_services.h"
#include "db/od_db_xref_man.h"

#include <filesystem>

namespace zemhost {

namespace {

namespace fs = std::filesystem;

/// Whether a file is the drawing, or one that the drawing is external to.
bool leadsBack(OdDbDatabase const& host, std::string const& file)
{
    for (OdDbDatabase const* at = &host; at != nullptr; at = at->xrefBlockId().database()) {
        std::error_code error;
        if (fs::equivalent(toUtf8(at->getFilename()), file, error) && !error) {
            return true;
        }
    }
    return false;
}

std::vector<ExternalDrawing> drawingsOf(OdDbDatabase& database, bool isNested);

std::uint64_t entitiesOf(OdDbDatabase& database)
{
    const auto space = OdDbBlockTableRecord::cast(database.getModelSpaceId().openObject().get());
    return space.isNull() ? 0 : space->entityCount();
}

void tellState(ExternalDrawing& view, OdDbBlockTableRecord const& record, OdResult result)
{
    OdDbDatabase* const loaded = record.xrefDatabase();
    if (loaded != nullptr) {
        view.state = "loaded";
        view.entities = entitiesOf(*loaded);
        view.attached = drawingsOf(*loaded, /*isNested=*/true);
        return;
    }
    if (record.isUnloaded()) {
        view.state = "unloaded";
        return;
    }
    view.problem = loadProblem(result);
    view.state = view.file.empty()              ? "not found"
                 : result == kOdCyclicReference ? "circular"
                                                : "not readable";
}

ExternalDrawing viewOf(OdDbObjectId block, OdResult result)
{
    const auto record = OdDbBlockTableRecord::cast(block.openObject().get());
    OdDbDatabase const& host = *record->database();
    ExternalDrawing view;
    view.block = block;
    view.name = toUtf8(record->getName());
    view.path = toUtf8(record->pathName());
    view.file = toUtf8(host.appServices()->findFile(record->pathName(), host.getFilename()));
    view.isOverlay = record->isFromOverlayReference();
    view.references = record->getBlockReferenceIds().size();
    tellState(view, *record, result);
    return view;
}

/// Of a nested drawing nobody told why it wasn't loaded.
OdResult nestedResult(OdDbObjectId block)
{
    const auto record = OdDbBlockTableRecord::cast(block.openObject().get());
    OdDbDatabase const& host = *record->database();
    const OdString file = host.appServices()->findFile(record->pathName(), host.getFilename());
    if (file.isEmpty()) {
        return kOdFileNotFound;
    }
    return leadsBack(host, toUtf8(file)) ? kOdCyclicReference : kOdFileCorrupt;
}

/// Whether a block is external and seen: overlaid drawings aren't where their host is attached.
bool isShown(OdDbObjectId block, bool isNested)
{
    const auto record = OdDbBlockTableRecord::cast(block.openObject().get());
    return record->isFromExternalReference() && !(isNested && record->isFromOverlayReference());
}

std::vector<ExternalDrawing> drawingsOf(OdDbDatabase& database, bool isNested)
{
    std::vector<ExternalDrawing> views;
    for (OdDbObjectId id : blocksOf(database)) {
        if (isShown(id, isNested)) {
            views.push_back(isNested ? viewOf(id, nestedResult(id)) : loadExternalDrawing(id));
        }
    }
    return views;
}

}  // namespace

std::vector<ExternalDrawing> loadExternalDrawings(OdDbDatabase& database)
{
    return drawingsOf(database, /*isNested=*/false);
}

ExternalDrawing loadExternalDrawing(OdDbObjectId block)
{
    const bool isUnloaded = OdDbBlockTableRecord::cast(block.safeOpenObject().get())->isUnloaded();
    return viewOf(block, isUnloaded ? kOdOk : OdDbXRefMan::load(block));
}

Json externalJson(ExternalDrawing const& drawing)
{
    Json json;
    json["handle"] = toText(drawing.block.getHandle());
    json["name"] = drawing.name;
    json["path"] = drawing.path;
    json["file"] = drawing.file.empty() ? Json() : Json(drawing.file);
    json["overlay"] = drawing.isOverlay;
    json["state"] = drawing.state;
    if (!drawing.problem.empty()) {
        json["problem"] = drawing.problem;
    }
    json["entities"] = drawing.entities;
    json["references"] = drawing.references;
    json["attached"] = Json::array();
    for (ExternalDrawing const& attached : drawing.attached) {
        json["attached"].push_back(externalJson(attached));
    }
    return json;
}

std::string loadProblem(OdResult result)
{
    switch (result) {
    case kOdFileNotFound:
        return "the file isn't there";
    case kOdCyclicReference:
        return "it is the drawing itself, or has it as an external drawing";
    case kOdInvalidInput:
        return "too many drawings are attached to one another";
    default:
        return odResultText(result);
    }
}

}  // namespace zemhost
