#include "db/od_db_xref_man.h"

#include "db/od_db_database_impl.h"
#include "db/od_db_entity.h"
#include "db/od_db_host_app_services.h"
#include "db/od_db_id_mapping.h"
#include "root/od_error.h"

#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

namespace {

namespace fs = std::filesystem;

/// Drawings that one call loads together with what is attached to them. Each takes an open file.
constexpr int kMaxLoaded = 1000;
constexpr int kMaxNesting = 64;

OdDbXRefMan::Reader g_reader = nullptr;

fs::path pathOf(OdString const& text)
{
    return fs::path(std::string(text.utf8()));
}

bool isSameFile(OdString const& left, OdString const& right)
{
    std::error_code error;
    return left == right || (fs::equivalent(pathOf(left), pathOf(right), error) && !error);
}

OdDbBlockTableRecordPtr openExternal(OdDbObjectId block, OdDb::OpenMode mode = OdDb::kForRead)
{
    const OdDbBlockTableRecordPtr record = OdDbBlockTableRecord::openBlock(block, mode);
    return !record.isNull() && record->isFromExternalReference() ? record
                                                                 : OdDbBlockTableRecordPtr();
}

OdDbXrefTable& tableOf(OdDbObjectId block)
{
    return block.database()->impl().xrefs;
}

OdString findFile(OdDbDatabase const& host, OdString const& path)
{
    return host.appServices()->findFile(path, host.getFilename());
}

/// The drawing that a drawing is external to; null for one that was opened for itself.
OdDbDatabase const* hostOf(OdDbDatabase const& database)
{
    return database.xrefBlockId().database();
}

/// Whether a file is the host or one of the drawings that the host is external to.
bool containsItself(OdDbDatabase const& host, OdString const& file)
{
    for (OdDbDatabase const* at = &host; at != nullptr; at = hostOf(*at)) {
        if (!at->getFilename().isEmpty() && isSameFile(at->getFilename(), file)) {
            return true;
        }
    }
    return false;
}

int nestingOf(OdDbDatabase const& host)
{
    int depth = 0;
    for (OdDbDatabase const* at = hostOf(host); at != nullptr; at = hostOf(*at)) {
        ++depth;
    }
    return depth;
}

/// Blocks of a drawing's external drawings.
OdDbObjectIdArray externalBlocks(OdDbDatabase& host)
{
    OdDbObjectIdArray blocks;
    const OdDbSymbolTablePtr table =
        OdDbSymbolTable::cast(host.getBlockTableId().openObject(OdDb::kForRead).get());
    if (table.isNull()) {
        return blocks;
    }
    for (auto walk = table->newIterator(); !walk->done(); walk->step()) {
        const OdDbObjectId id = walk->getRecordId();
        // The spaces may be long, and are never external.
        if (id != host.getModelSpaceId() && id != host.getPaperSpaceId() &&
            !openExternal(id).isNull()) {
            blocks.append(id);
        }
    }
    return blocks;
}

/// Loads a drawing and what is attached to it, within a bound that files can't talk their way past.
class Loader
{
public:
    OdResult load(OdDbObjectId block);
    OdResult loadAttached(OdDbDatabase& host, bool alsoOverlays);

private:
    OdResult read(OdDbBlockTableRecord const& record, OdDbDatabasePtr& external);

    int m_loaded = 0;
};

OdResult Loader::read(OdDbBlockTableRecord const& record, OdDbDatabasePtr& external)
{
    OdDbDatabase& host = *record.database();
    if (m_loaded == kMaxLoaded || nestingOf(host) >= kMaxNesting) {
        return kOdInvalidInput;
    }
    const OdString file = findFile(host, record.pathName());
    if (file.isEmpty()) {
        return kOdFileNotFound;
    }
    if (containsItself(host, file)) {
        return kOdCyclicReference;
    }
    if (g_reader == nullptr) {
        return kOdNotApplicable;
    }
    try {
        external = g_reader(file, host.appServices());
    } catch (OdError const& error) {
        return error.code();
    } catch (std::exception const&) {
        return kOdFileAccess;
    }
    ++m_loaded;
    return external.isNull() ? kOdFileAccess : kOdOk;
}

/// Says of a block whether its drawing stays unloaded, if it doesn't say so already.
void setUnloaded(OdDbBlockTableRecord& record, bool isUnloaded)
{
    if (record.isUnloaded() != isUnloaded) {
        record.upgradeOpen();
        record.setIsUnloaded(isUnloaded);
        record.downgradeOpen();
    }
}

/// Gives a block the insert base and units of its drawing, which may have changed since.
void takeSettings(OdDbBlockTableRecord& record, OdDbDatabase const& external)
{
    if (record.origin() == external.getINSBASE() &&
        record.blockInsertUnits() == external.getINSUNITS() && !record.isUnloaded()) {
        return;
    }
    record.upgradeOpen();
    record.setOrigin(external.getINSBASE());
    record.setBlockInsertUnits(external.getINSUNITS());
    record.setIsUnloaded(false);
    record.downgradeOpen();
}

OdResult Loader::load(OdDbObjectId block)
{
    const OdDbBlockTableRecordPtr record = openExternal(block);
    if (record.isNull()) {
        return kOdNotApplicable;
    }
    OdDbXrefTable& table = tableOf(block);
    if (table.loaded(block.getHandle()) != nullptr) {
        return kOdOk;
    }
    OdDbDatabasePtr external;
    const OdResult result = read(*record, external);
    if (result != kOdOk) {
        table.setFailure(block.getHandle(), result);
        return result;
    }
    table.setLoaded(block, external);
    takeSettings(*record, *external);
    loadAttached(*external, /*alsoOverlays=*/false);
    return kOdOk;
}

OdResult Loader::loadAttached(OdDbDatabase& host, bool alsoOverlays)
{
    OdResult first = kOdOk;
    for (OdDbObjectId block : externalBlocks(host)) {
        const OdDbBlockTableRecordPtr record = openExternal(block);
        if (record.isNull() || record->isUnloaded() ||
            (record->isFromOverlayReference() && !alsoOverlays)) {
            continue;
        }
        const OdResult result = load(block);
        first = first == kOdOk ? result : first;
    }
    return first;
}

OdString nameOfFile(OdString const& path)
{
    return OdString::fromUtf8(pathOf(path).stem().string());
}

OdDbObjectId addBlock(OdDbDatabase& host, OdString const& path, OdString const& name,
                      bool isOverlay)
{
    const OdDbSymbolTablePtr table = host.getBlockTableId().safeOpenObject(OdDb::kForWrite);
    const OdDbBlockTableRecordPtr record = OdDbBlockTableRecord::createObject();
    record->setName(name.isEmpty() ? nameOfFile(path) : name);
    record->setPathName(path);
    record->setIsFromOverlayReference(isOverlay);
    return table->add(record.get());
}

OdDbObjectId attachAs(OdDbDatabase& host, OdString const& path, OdString const& name,
                      OdResult* result, bool isOverlay)
{
    OdResult ignored = kOdOk;
    OdResult& outcome = result != nullptr ? *result : ignored;
    if (path.isEmpty()) {
        throw OdError(kOdInvalidKey);
    }
    const OdString file = findFile(host, path);
    if (!file.isEmpty() && containsItself(host, file)) {
        outcome = kOdCyclicReference;
        return OdDbObjectId::kNull;
    }
    const OdDbObjectId block = addBlock(host, path, name, isOverlay);
    outcome = OdDbXRefMan::load(block);
    return block;
}

/// \return The answer of the first that refuses to go.
OdResult eraseReferences(OdDbBlockTableRecord const& record)
{
    for (OdDbObjectId id : record.getBlockReferenceIds()) {
        const OdDbObjectPtr reference = id.openObject(OdDb::kForWrite);
        const OdResult result = reference.isNull() ? kOdOk : reference->erase();
        if (result != kOdOk) {
            return result;
        }
    }
    return kOdOk;
}

OdResult bindAndUnload(Loader& loader, OdDbObjectId block, OdDbXRefMan::BindStyle style);

/// Binds what is attached to a drawing, as far as it can be; the rest stays external.
void bindAttached(Loader& loader, OdDbDatabase& external, OdDbXRefMan::BindStyle style)
{
    for (OdDbObjectId block : externalBlocks(external)) {
        const OdDbBlockTableRecordPtr record = openExternal(block);
        // One may have been detached while another one was bound.
        if (!record.isNull() && !record->isFromOverlayReference() && !record->isUnloaded() &&
            loader.load(block) == kOdOk) {
            (void)bindAndUnload(loader, block, style);
        }
    }
}

void bindLoaded(Loader& loader, OdDbBlockTableRecord& record, OdDbDatabase& external,
                OdDbXRefMan::BindStyle style)
{
    const bool isInsert = style == OdDbXRefMan::BindStyle::kInsert;
    bindAttached(loader, external, style);
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    record.database()->insertIntoBlock(record.objectId(), external, *mapping,
                                       isInsert ? OdDb::DeepCloneType::kDcXrefInsert
                                                : OdDb::DeepCloneType::kDcXrefBind,
                                       isInsert ? OdDb::DuplicateRecordCloning::kDrcIgnore
                                                : OdDb::DuplicateRecordCloning::kDrcXrefMangleName);
    record.upgradeOpen();
    record.setPathName(OdString());
    record.setIsFromOverlayReference(false);
    record.downgradeOpen();
}

/// Binds a drawing that is loaded. One loader loads all that is attached, in whatever depth: its bound
/// holds for the whole. Unless the drawing is in use it isn't loaded any more then, whatever the
/// answer is.
OdResult bindAndUnload(Loader& loader, OdDbObjectId block, OdDbXRefMan::BindStyle style)
{
    OdDbXrefTable& table = tableOf(block);
    if (table.hasOpenObjects(block.getHandle())) {
        return kOdDatabaseInUse;
    }
    OdResult result = kOdOk;
    try {
        bindLoaded(loader, *openExternal(block), *table.loaded(block.getHandle()), style);
    } catch (OdError const& error) {
        result = error.code();
    } catch (std::exception const&) {
        result = kOdFileAccess;
    }
    table.unload(block.getHandle());
    return result;
}

OdString textOf(fs::path const& path)
{
    return OdString::fromUtf8(path.string());
}

/// The folder of a drawing; empty if it has no file or there is no telling.
fs::path folderOf(OdDbDatabase const& database)
{
    const OdString file = database.getFilename();
    std::error_code error;
    const fs::path path = file.isEmpty() ? fs::path() : fs::absolute(pathOf(file), error);
    return error ? fs::path() : path.parent_path().lexically_normal();
}

}  // namespace

OdString odDbPathSeenFrom(OdDbDatabase const& from, OdString const& path,
                          OdDbDatabase const& before)
{
    const fs::path folder = folderOf(before);
    if (folder.empty() || pathOf(path).is_absolute() || folderOf(from) == folder) {
        return path;
    }
    const OdString beside = textOf((folder / pathOf(path)).lexically_normal());
    const OdString found = findFile(before, path);
    return found.isEmpty() || isSameFile(found, beside) ? beside : path;
}

void OdDbXRefMan::setReader(Reader reader) noexcept
{
    g_reader = reader;
}

OdDbObjectId OdDbXRefMan::attach(OdDbDatabase& host, OdString const& path, OdString const& name,
                                 OdResult* result)
{
    return attachAs(host, path, name, result, /*isOverlay=*/false);
}

OdDbObjectId OdDbXRefMan::overlay(OdDbDatabase& host, OdString const& path, OdString const& name,
                                  OdResult* result)
{
    return attachAs(host, path, name, result, /*isOverlay=*/true);
}

OdResult OdDbXRefMan::load(OdDbObjectId block)
{
    return Loader().load(block);
}

OdResult OdDbXRefMan::load(OdDbBlockTableRecord const* block)
{
    return block != nullptr ? load(block->objectId()) : kOdNotApplicable;
}

OdResult OdDbXRefMan::loadAll(OdDbDatabase& host)
{
    return Loader().loadAttached(host, /*alsoOverlays=*/true);
}

OdResult OdDbXRefMan::unload(OdDbObjectId block)
{
    const OdDbBlockTableRecordPtr record = openExternal(block);
    if (record.isNull()) {
        return kOdNotApplicable;
    }
    OdDbXrefTable& table = tableOf(block);
    if (table.hasOpenObjects(block.getHandle())) {
        return kOdDatabaseInUse;
    }
    table.unload(block.getHandle());
    table.setFailure(block.getHandle(), kOdOk);
    setUnloaded(*record, true);
    return kOdOk;
}

OdResult OdDbXRefMan::unload(OdDbBlockTableRecord const* block)
{
    return block != nullptr ? unload(block->objectId()) : kOdNotApplicable;
}

OdResult OdDbXRefMan::reload(OdDbObjectId block)
{
    const OdDbBlockTableRecordPtr record = openExternal(block);
    if (record.isNull()) {
        return kOdNotApplicable;
    }
    OdDbXrefTable& table = tableOf(block);
    if (table.hasOpenObjects(block.getHandle())) {
        return kOdDatabaseInUse;
    }
    // Nobody asks for it to stay unloaded: a file that is missing now may be back next time.
    table.unload(block.getHandle());
    setUnloaded(*record, false);
    return load(block);
}

OdResult OdDbXRefMan::detach(OdDbObjectId block)
{
    const OdDbBlockTableRecordPtr record = openExternal(block, OdDb::kForWrite);
    if (record.isNull()) {
        return kOdNotApplicable;
    }
    if (tableOf(block).hasOpenObjects(block.getHandle())) {
        return kOdDatabaseInUse;
    }
    OdDbDatabase& host = *record->database();
    host.startTransaction();
    try {
        OdResult result = eraseReferences(*record);
        result = result != kOdOk ? result : unload(block);
        result = result != kOdOk ? result : record->erase();
        if (result == kOdOk) {
            host.endTransaction();
        } else {
            host.abortTransaction();
        }
        return result;
    } catch (...) {
        host.abortTransaction();
        throw;
    }
}

OdResult OdDbXRefMan::bind(OdDbObjectId block, BindStyle style)
{
    Loader loader;
    const OdResult loaded = loader.load(block);
    if (loaded != kOdOk) {
        return loaded;
    }
    const OdResult result = bindAndUnload(loader, block, style);
    if (result != kOdOk) {
        // What was attached to the drawing may have been bound to it in memory.
        (void)load(block);
    }
    return result;
}
