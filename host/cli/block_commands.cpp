#include "cli/block_commands.h"

#include "assoc/od_db_assoc_network.h"
#include "assoc/od_db_assoc_variable.h"
#include "cli/drawing_blocks.h"
#include "cli/driven_inserts.h"
#include "cli/external_drawings.h"
#include "cli/link_count.h"
#include "cli/network_view.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_id_mapping.h"
#include "root/od_error.h"

#include <cmath>
#include <filesystem>
#include <iostream>
#include <numbers>
#include <optional>
#include <unordered_set>

namespace zemhost {

namespace {

namespace fs = std::filesystem;

/// What is told of one block.
struct BlockView
{
    std::string handle;
    std::string name;
    std::string kind;
    std::uint64_t entities = 0;
    std::vector<std::string> references;
    std::string units;
    OdGePoint3d origin;
    std::uint64_t variables = 0;
    std::optional<ExternalDrawing> external;
};

std::string kindOf(OdDbBlockTableRecord const& block)
{
    OdDbDatabase const& database = *block.database();
    if (block.objectId() == database.getModelSpaceId()) {
        return "model space";
    }
    if (block.objectId() == database.getPaperSpaceId()) {
        return "paper space";
    }
    if (block.isFromExternalReference()) {
        return "external drawing";
    }
    return block.isAnonymous() ? "anonymous" : "block";
}

std::uint64_t variableCount(OdDbObjectId block)
{
    return variablesOf(OdDbAssocNetwork::getInstanceFromObject(block)).size();
}

BlockView viewOf(OdDbObjectId id)
{
    BlockView view;
    std::optional<ExternalDrawing> external;
    if (OdDbBlockTableRecord::cast(id.safeOpenObject().get())->isFromExternalReference()) {
        external = loadExternalDrawing(id);
    }
    view.variables = variableCount(id);
    const auto block = OdDbBlockTableRecord::cast(id.safeOpenObject().get());
    view.handle = toText(block->handle());
    view.name = toUtf8(block->getName());
    view.kind = kindOf(*block);
    view.entities = external.has_value() ? external->entities : block->entityCount();
    for (OdDbObjectId reference : block->getBlockReferenceIds()) {
        view.references.push_back(toText(reference.getHandle()));
    }
    view.units = unitsName(block->blockInsertUnits());
    view.origin = block->origin();
    view.external = std::move(external);
    return view;
}

Json blockJson(BlockView const& view)
{
    Json json;
    json["handle"] = view.handle;
    json["name"] = view.name;
    json["kind"] = view.kind;
    json["entities"] = view.entities;
    json["references"] = view.references;
    json["units"] = view.units;
    json["origin"] = Json::array({view.origin.x, view.origin.y, view.origin.z});
    json["variables"] = view.variables;
    if (view.external.has_value()) {
        json["external"] = externalJson(*view.external);
    }
    return json;
}

std::string externalNote(std::optional<ExternalDrawing> const& external)
{
    if (!external.has_value()) {
        return "";
    }
    return external->state + (external->isOverlay ? ", overlay, from " : ", from ") +
           printable(external->path);
}

void printBlocks(std::vector<BlockView> const& views)
{
    TextTable table;
    for (BlockView const& view : views) {
        std::string notes = externalNote(view.external);
        if (view.origin != OdGePoint3d()) {
            notes += (notes.empty() ? "origin " : "; origin ") + pointText(view.origin);
        }
        table.addRow({view.handle, printable(view.name), view.kind == "block" ? "" : view.kind,
                      counted(view.entities, "entity"), counted(view.references.size(), "insert"),
                      view.variables == 0 ? "" : counted(view.variables, "variable"),
                      view.units == "undefined" ? "" : view.units, notes});
    }
    table.print(2);
}

/// The entities of model space that are asked for, in the order of model space.
OdDbObjectIdArray entitiesFor(OdDbDatabase& database, std::vector<std::string> const& handles)
{
    std::unordered_set<std::uint64_t> wanted;
    for (std::string const& handle : handles) {
        const OdDbObjectPtr object = openByHandle(database, handle, OdDb::kForRead);
        const OdDbEntityPtr entity = OdDbEntity::cast(object.get());
        if (entity.isNull() || entity->blockId() != database.getModelSpaceId()) {
            throw HostError(ExitCode::kUsage, handle, "is no entity of model space",
                            "'zemhost info' shows the entities");
        }
        wanted.insert(object->handle().value());
    }
    OdDbObjectIdArray entities;
    const auto space =
        OdDbBlockTableRecord::cast(database.getModelSpaceId().safeOpenObject().get());
    for (const auto at = space->newIterator(); !at->done(); at->step()) {
        if (wanted.empty() || wanted.contains(at->objectId().getHandle().value())) {
            entities.append(at->objectId());
        }
    }
    return entities;
}

OdDbObjectId addBlock(OdDbDatabase& database, std::string const& name, OdGePoint3d const& base)
{
    const OdDbSymbolTablePtr table =
        OdDbSymbolTable::cast(database.getBlockTableId().safeOpenObject(OdDb::kForWrite).get());
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
    block->setName(OdString::fromUtf8(name));
    block->setOrigin(base);
    block->setBlockInsertUnits(database.getINSUNITS());
    return table->add(block.get());
}

OdDbHandle appendInsert(OdDbObjectId block, OdDbObjectId into, OdGePoint3d const& position)
{
    const OdDbBlockReferencePtr insert = OdDbBlockReference::createObject(block, position);
    const auto owner = OdDbBlockTableRecord::cast(into.safeOpenObject(OdDb::kForWrite).get());
    owner->appendOdDbEntity(insert.get());
    return insert->handle();
}

/// What an object owns: its extension dictionary, and as a dictionary its own entries.
void appendOwned(OdDbObject const& object, std::vector<OdDbObjectId>& owned)
{
    // In a damaged drawing one may name what belongs to another.
    const auto appendIfOwned = [&](OdDbObjectId id) {
        const OdDbObjectPtr found = id.openObject();
        if (!found.isNull() && found->ownerId() == object.objectId()) {
            owned.push_back(id);
        }
    };
    appendIfOwned(object.extensionDictionary());
    const OdDbDictionaryPtr dictionary = OdDbDictionary::cast(&object);
    if (dictionary.isNull()) {
        return;
    }
    for (const auto at = dictionary->newIterator(); !at->done(); at->next()) {
        appendIfOwned(at->objectId());
    }
}

/// Erases entities with the dictionaries that hang on them. Erasing an object leaves what it owns,
/// which would stay in the drawing and belong to nothing.
void eraseAll(OdDbObjectIdArray const& entities)
{
    std::vector<OdDbObjectId> owned;
    for (OdDbObjectId id : entities) {
        const OdDbObjectPtr entity = id.safeOpenObject(OdDb::kForWrite);
        appendOwned(*entity, owned);
        const OdResult result = entity->erase();
        if (result != kOdOk) {
            throw OdError(result);
        }
    }
    while (!owned.empty()) {
        const OdDbObjectPtr object = owned.back().openObject(OdDb::kForWrite);
        owned.pop_back();
        if (!object.isNull()) {  // none that is erased by now, so this ends
            appendOwned(*object, owned);
            (void)object->erase();  // one that refuses stays
        }
    }
}

/// Refuses to let a copy take the place of what could not be copied as a whole.
void requireAllRead(OdDbDatabase& database, std::string const& path)
{
    if (tellOfDamages(database, path) != ExitCode::kOk) {
        throw HostError(ExitCode::kFindings, path, "not all of what is to be replaced can be read",
                        "'zemhost check' lists all damages");
    }
}

/// One factor, or three with commas between them.
OdGeScale3d scaleFromWord(std::string const& word)
{
    if (word.empty()) {
        return {};
    }
    const OdGePoint3d factors = word.find(',') == std::string::npos
                                    ? pointFromWord("--scale", word + ',' + word + ',' + word)
                                    : pointFromWord("--scale", word);
    const OdGeScale3d scale(factors.x, factors.y, factors.z);
    if (scale.sx == 0.0 || scale.sy == 0.0 || scale.sz == 0.0) {
        throw HostError(ExitCode::kUsage, "--scale " + word, "would flatten the block",
                        "give factors other than 0; negative ones mirror");
    }
    return scale;
}

std::string nameOf(OdDbObjectId block)
{
    return toUtf8(OdDbBlockTableRecord::cast(block.safeOpenObject().get())->getName());
}

double requireVariableValue(OdDbObjectId block, std::string const& name)
{
    const auto network =
        OdDbAssocNetwork::cast(OdDbAssocNetwork::getInstanceFromObject(block).openObject().get());
    const OdDbObjectId id =
        network.isNull() ? OdDbObjectId::kNull : network->findVariable(OdString::fromUtf8(name));
    const auto variable = OdDbAssocVariable::cast(id.openObject().get());
    double value = 0;
    if (variable.isNull() || !variable->value()->getNumber(value)) {
        const auto record = OdDbBlockTableRecord::cast(block.safeOpenObject().get());
        throw HostError(ExitCode::kFindings, "--scale-variable " + name,
                        blockText(*record) + " has no such variable",
                        "make it with 'zemhost vars set'");
    }
    if (value == 0.0) {
        throw HostError(ExitCode::kUsage, "--scale-variable " + name, "is 0, which is no scale",
                        "set it first, with 'zemhost vars set'");
    }
    return value;
}

/// Makes the paths of external drawings good for the folder of another file.
void movePaths(OdDbDatabase& database, std::string const& from, std::string const& to)
{
    const fs::path source = fs::absolute(from).lexically_normal().parent_path();
    const fs::path target = fs::absolute(to).lexically_normal().parent_path();
    for (OdDbObjectId id : blocksOf(database)) {
        const auto block = OdDbBlockTableRecord::cast(id.safeOpenObject().get());
        const fs::path path(toUtf8(block->pathName()));
        if (!block->isFromExternalReference() || path.is_absolute() || source == target) {
            continue;
        }
        block->upgradeOpen();
        block->setPathName(OdString::fromUtf8(
            (source / path).lexically_normal().lexically_relative(target).string()));
    }
}

std::string insertText(DrivenInsert const& insert)
{
    return "insert " + toText(insert.id.getHandle()) + " of " + printable(insert.block);
}

std::vector<OdDbObjectId> blocksToUpdate(OdDbDatabase& database, std::string const& name)
{
    if (!name.empty()) {
        return {openBlock(database, name, ExternalBlocks::kRefused)->objectId()};
    }
    return blocksOf(database);
}

}  // namespace

ExitCode runBlockList(HostSession& session, BlockListRequest const& request)
{
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForReading);
    std::vector<BlockView> views;
    guardDrawing([&] {
        for (OdDbObjectId id : blocksOf(*database)) {
            views.push_back(viewOf(id));
        }
    });
    if (request.json) {
        Json json;
        json["drawing"] = request.drawing;
        json["units"] = unitsName(database->getINSUNITS());
        json["blocks"] = Json::array();
        for (BlockView const& view : views) {
            json["blocks"].push_back(blockJson(view));
        }
        std::cout << toText(json, 2) << '\n';
        return ExitCode::kOk;
    }
    std::cout << printable(request.drawing) << ": " << counted(views.size(), "block") << '\n';
    printBlocks(views);
    return ExitCode::kOk;
}

ExitCode runBlockMake(HostSession& session, BlockMakeRequest const& request)
{
    const OdGePoint3d base =
        request.base.empty() ? OdGePoint3d() : pointFromWord("--base", request.base);
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForWriting);
    OdDbObjectIdArray entities;
    guardDrawing([&] {
        requireNewBlockName(*database, request.name);
        entities = entitiesFor(*database, request.handles);
    });
    if (entities.empty()) {
        throw HostError(ExitCode::kFindings, request.drawing, "model space has no entities",
                        "'zemhost import' brings some");
    }
    std::optional<LinkCount> links;
    if (request.replace) {
        links.emplace(session, *database);
    }
    OdDbObjectId block;
    OdDbHandle insert;
    std::uint64_t made = 0;
    guardValues(request.name, [&] {
        block = addBlock(*database, request.name, base);
        const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
        database->deepCloneObjects(entities, block, *mapping);
        made = OdDbBlockTableRecord::cast(block.safeOpenObject().get())->entityCount();
        if (request.replace) {
            requireAllRead(*database, request.drawing);
            eraseAll(entities);
            insert = appendInsert(block, database->getModelSpaceId(), base);
        }
    });
    saveDrawing(*database);
    std::cout << "block " << printable(request.name) << " (" << toText(block.getHandle())
              << ") made of " << counted(made, "entity");
    if (request.replace) {
        std::cout << ", in whose place insert " << toText(insert) << " stands";
    }
    std::cout << '\n';
    if (links.has_value()) {
        links->tellOfLost(request.drawing);
    }
    return tellOfDamages(*database, request.drawing);
}

ExitCode runBlockClone(HostSession& session, BlockCloneRequest const& request)
{
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForWriting);
    const OdDbObjectId source =
        openBlock(*database, request.block, ExternalBlocks::kRefused)->objectId();
    BlockView clone;
    std::size_t objects = 0;
    guardDrawing([&] { requireNewBlockName(*database, request.name); });
    guardValues(request.name, [&] {
        const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
        const OdDbObjectId block =
            database->copyBlock(source, OdString::fromUtf8(request.name), *mapping);
        clone = viewOf(block);
        for (const auto at = mapping->newIterator(); !at->done(); at->next()) {
            objects += at->getMap().isCloned() ? 1U : 0U;
        }
    });
    saveDrawing(*database);
    std::cout << "block " << printable(clone.name) << " (" << clone.handle << ") is a clone of "
              << printable(nameOf(source)) << ": " << counted(objects, "object") << ", with "
              << counted(clone.entities, "entity") << " and "
              << counted(clone.variables, "variable") << '\n';
    return tellOfDamages(*database, request.drawing);
}

ExitCode runBlockWblock(HostSession& session, BlockWblockRequest const& request)
{
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForReading);
    requireTarget(request.drawing, request.target, request.replace);
    OdDbDatabasePtr written;
    std::string what = "the whole drawing";
    if (!request.block.empty()) {
        const OdDbBlockTableRecordPtr block =
            openBlock(*database, request.block, ExternalBlocks::kRefused);
        what = blockText(*block);
        const OdDbObjectId id = block->objectId();
        guardDrawing([&] { written = database->wblock(id); });
    } else {
        guardDrawing([&] { written = database->wblock(); });
    }
    std::uint64_t entities = 0;
    guardDrawing([&] {
        movePaths(*written, request.drawing, request.target);
        entities = OdDbBlockTableRecord::cast(written->getModelSpaceId().safeOpenObject().get())
                       ->entityCount();
    });
    saveDrawingAs(*written, request.target, odDbDrawingVersion(*database));
    std::cout << what << " of " << printable(request.drawing)
              << " written: " << counted(entities, "entity") << " in model space\n"
              << "drawing " << printable(request.target) << ": " << sized(fileSize(request.target))
              << '\n';
    return tellOfDamages(*database, request.drawing);
}

ExitCode runBlockInsert(HostSession& session, BlockInsertRequest const& request)
{
    const OdGePoint3d position =
        request.at.empty() ? OdGePoint3d() : pointFromWord("--at", request.at);
    const OdGeScale3d base = scaleFromWord(request.scale);
    if (!std::isfinite(request.rotationDeg)) {
        throw HostError(ExitCode::kUsage, "--rotation", "is no finite angle", "");
    }
    HostBagExtension const* const bags = request.scaleVariable.empty() ? nullptr : &session.bags();
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForWriting);
    const OdDbObjectId block =
        openBlock(*database, request.block, ExternalBlocks::kAllowed)->objectId();
    const OdDbObjectId into =
        openBlock(*database, request.into, ExternalBlocks::kRefused)->objectId();
    std::string line;
    guardValues(request.block, [&] {
        const OdDbHandle handle = appendInsert(block, into, position);
        const auto insert = OdDbBlockReference::cast(
            database->getOdDbObjectId(handle).safeOpenObject(OdDb::kForWrite).get());
        insert->setRotation(request.rotationDeg * std::numbers::pi / 180);
        if (bags != nullptr) {
            const double value = requireVariableValue(into, request.scaleVariable);
            insert->setScaleFactors(base * value);
            setScaleDrive(*bags, *insert, {OdString::fromUtf8(request.scaleVariable), base});
        } else {
            insert->setScaleFactors(base);
        }
        line = "insert " + toText(handle) + " of " + printable(nameOf(block)) + " at " +
               pointText(position) + ", scale " + scaleText(insert->scaleFactors());
    });
    saveDrawing(*database);
    std::cout << line << (bags != nullptr ? ", driven by " + printable(request.scaleVariable) : "")
              << '\n';
    return ExitCode::kOk;
}

ExitCode runBlockUpdate(HostSession& session, BlockUpdateRequest const& request)
{
    HostBagExtension const& bags = session.bags();
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForWriting);
    std::vector<DrivenInsert> inserts;
    guardDrawing([&] {
        for (OdDbObjectId block : blocksToUpdate(*database, request.block)) {
            const std::vector<DrivenInsert> found = updateDrivenInserts(bags, block);
            inserts.insert(inserts.end(), found.begin(), found.end());
        }
    });
    saveDrawing(*database);
    std::size_t changes = 0;
    std::size_t problems = 0;
    for (DrivenInsert const& insert : inserts) {
        if (!insert.problem.empty()) {
            ++problems;
            std::cout << "  " << insertText(insert)
                      << " keeps its scale: " << printable(insert.problem) << '\n';
        } else if (scaleText(insert.scale) != scaleText(insert.before)) {
            ++changes;
            std::cout << "  " << insertText(insert) << ": scale " << scaleText(insert.scale)
                      << "; was " << scaleText(insert.before) << '\n';
        }
    }
    std::cout << counted(inserts.size(), "driven insert") << ", "
              << (changes == 0 ? std::string("none") : std::to_string(changes)) << " changed";
    std::cout << (problems == 0 ? "" : ", " + counted(problems, "problem")) << '\n';
    return problems == 0 ? ExitCode::kOk : ExitCode::kFindings;
}

}  // namespace zemhost
