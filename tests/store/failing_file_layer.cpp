#include "store/failing_file_layer.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr char const* kLayerName = "failing";

/// What a file held before a write that wasn't synced yet.
struct OldContent
{
    sqlite3_int64 offset = 0;
    sqlite3_int64 fileSize = 0;
    std::vector<char> bytes;
};

/// A file of ours, in front of the system's own.
struct LayerFile
{
    sqlite3_file base;
    std::vector<OldContent>* unsynced;
    std::string* name;
    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

struct LayerState
{
    std::int64_t steps = 0;
    std::int64_t failingStep = 0;
    FaultKind kind = FaultKind::kNone;
    bool hasFailed = false;
    std::int64_t reads = 0;
    std::int64_t failingRead = 0;
    bool hasReadFailed = false;
    std::string spoiledFile;
    std::int64_t spoiledOffset = 0;
    std::int64_t spoiledCount = 0;
    std::vector<LayerFile*> openFiles;
    std::function<void()> lockAction;
    std::function<void()> renameAction;
};
LayerState g_state;

enum class Step
{
    kWrite,
    kRemoval,
    kOther
};

/// Counts a step. \return Whether it has to fail.
bool takeStep(Step step)
{
    if (g_state.kind == FaultKind::kNone ||
        (g_state.kind == FaultKind::kLate && step != Step::kRemoval)) {
        return false;
    }
    ++g_state.steps;
    const bool isOnce = g_state.kind == FaultKind::kOnce || g_state.kind == FaultKind::kLate;
    const bool isThere =
        isOnce ? g_state.steps == g_state.failingStep : g_state.steps >= g_state.failingStep;
    if (!isThere || (g_state.kind == FaultKind::kDiskFull && step != Step::kWrite)) {
        return false;
    }
    g_state.hasFailed = true;
    return true;
}

bool isDeadly()
{
    return g_state.kind == FaultKind::kKill || g_state.kind == FaultKind::kPowerCut;
}

void undoUnsynced(LayerFile& file)
{
    sqlite3_file* const real = file.real();
    for (auto at = file.unsynced->rbegin(); at != file.unsynced->rend(); ++at) {
        if (!at->bytes.empty()) {
            real->pMethods->xWrite(real, at->bytes.data(), static_cast<int>(at->bytes.size()),
                                   at->offset);
        }
        real->pMethods->xTruncate(real, at->fileSize);
    }
}

[[noreturn]] void die()
{
    if (g_state.kind == FaultKind::kPowerCut) {
        for (LayerFile* file : g_state.openFiles) {
            undoUnsynced(*file);
        }
    }
    ::kill(::getpid(), SIGKILL);
    for (;;) {
        ::pause();
    }
}

LayerFile& layer(sqlite3_file* file)
{
    return *reinterpret_cast<LayerFile*>(file);
}

void remember(LayerFile& file, sqlite3_int64 offset, sqlite3_int64 count)
{
    if (g_state.kind != FaultKind::kPowerCut) {
        return;
    }
    sqlite3_file* const real = file.real();
    OldContent old;
    old.offset = offset;
    real->pMethods->xFileSize(real, &old.fileSize);
    const sqlite3_int64 there = std::clamp<sqlite3_int64>(old.fileSize - offset, 0, count);
    old.bytes.resize(static_cast<std::size_t>(there));
    if (there != 0) {
        real->pMethods->xRead(real, old.bytes.data(), static_cast<int>(there), offset);
    }
    file.unsynced->push_back(std::move(old));
}

int layerClose(sqlite3_file* file)
{
    LayerFile& self = layer(file);
    // What is closed without a sync is lost by a power cut as well, but drawings never do that.
    g_state.openFiles.erase(std::remove(g_state.openFiles.begin(), g_state.openFiles.end(), &self),
                            g_state.openFiles.end());
    delete self.unsynced;
    delete self.name;
    return self.real()->pMethods->xClose(self.real());
}

int layerRead(sqlite3_file* file, void* buffer, int count, sqlite3_int64 offset)
{
    LayerFile& self = layer(file);
    const bool isSpoiled = !g_state.spoiledFile.empty() && *self.name == g_state.spoiledFile &&
                           offset < g_state.spoiledOffset + g_state.spoiledCount &&
                           g_state.spoiledOffset < offset + count;
    if (isSpoiled) {
        return SQLITE_IOERR_READ;
    }
    if (g_state.failingRead != 0 && ++g_state.reads == g_state.failingRead) {
        g_state.hasReadFailed = true;
        return SQLITE_IOERR_READ;
    }
    sqlite3_file* const real = self.real();
    return real->pMethods->xRead(real, buffer, count, offset);
}

int layerWrite(sqlite3_file* file, void const* data, int count, sqlite3_int64 offset)
{
    LayerFile& self = layer(file);
    sqlite3_file* const real = self.real();
    const bool mustFail = takeStep(Step::kWrite);
    remember(self, offset, count);
    if (mustFail && isDeadly()) {
        real->pMethods->xWrite(real, data, count / 2, offset);
        die();
    }
    if (mustFail) {
        return g_state.kind == FaultKind::kDiskFull ? SQLITE_FULL : SQLITE_IOERR_WRITE;
    }
    return real->pMethods->xWrite(real, data, count, offset);
}

int layerTruncate(sqlite3_file* file, sqlite3_int64 size)
{
    LayerFile& self = layer(file);
    sqlite3_file* const real = self.real();
    if (takeStep(Step::kOther)) {
        if (isDeadly()) {
            die();
        }
        return SQLITE_IOERR_TRUNCATE;
    }
    sqlite3_int64 oldSize = 0;
    real->pMethods->xFileSize(real, &oldSize);
    remember(self, size, oldSize - size);
    return real->pMethods->xTruncate(real, size);
}

int layerSync(sqlite3_file* file, int flags)
{
    LayerFile& self = layer(file);
    sqlite3_file* const real = self.real();
    if (takeStep(Step::kOther)) {
        if (isDeadly()) {
            die();
        }
        return SQLITE_IOERR_FSYNC;
    }
    self.unsynced->clear();
    return real->pMethods->xSync(real, flags);
}

int layerFileSize(sqlite3_file* file, sqlite3_int64* size)
{
    sqlite3_file* const real = layer(file).real();
    return real->pMethods->xFileSize(real, size);
}

int layerLock(sqlite3_file* file, int lock)
{
    if (lock == SQLITE_LOCK_SHARED && g_state.lockAction) {
        std::exchange(g_state.lockAction, nullptr)();
    }
    sqlite3_file* const real = layer(file).real();
    return real->pMethods->xLock(real, lock);
}

int layerUnlock(sqlite3_file* file, int lock)
{
    sqlite3_file* const real = layer(file).real();
    return real->pMethods->xUnlock(real, lock);
}

int layerCheckReservedLock(sqlite3_file* file, int* result)
{
    sqlite3_file* const real = layer(file).real();
    return real->pMethods->xCheckReservedLock(real, result);
}

int layerFileControl(sqlite3_file* file, int operation, void* argument)
{
    sqlite3_file* const real = layer(file).real();
    return real->pMethods->xFileControl(real, operation, argument);
}

int layerSectorSize(sqlite3_file* file)
{
    sqlite3_file* const real = layer(file).real();
    return real->pMethods->xSectorSize(real);
}

int layerDeviceCharacteristics(sqlite3_file*)
{
    return 0;  // nothing may be taken for safe
}

constexpr sqlite3_io_methods kMethods = {1,
                                         layerClose,
                                         layerRead,
                                         layerWrite,
                                         layerTruncate,
                                         layerSync,
                                         layerFileSize,
                                         layerLock,
                                         layerUnlock,
                                         layerCheckReservedLock,
                                         layerFileControl,
                                         layerSectorSize,
                                         layerDeviceCharacteristics,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr};

sqlite3_vfs* realLayer(sqlite3_vfs* self)
{
    return static_cast<sqlite3_vfs*>(self->pAppData);
}

int layerOpen(sqlite3_vfs* self, char const* name, sqlite3_file* file, int flags, int* outFlags)
{
    file->pMethods = nullptr;
    sqlite3_vfs* const real = realLayer(self);
    int exists = 1;
    if (name != nullptr && (flags & SQLITE_OPEN_CREATE) != 0) {
        real->xAccess(real, name, SQLITE_ACCESS_EXISTS, &exists);
    }
    if (exists == 0 && takeStep(Step::kOther)) {
        if (isDeadly()) {
            die();
        }
        return SQLITE_CANTOPEN;
    }
    LayerFile& made = layer(file);
    const int code = real->xOpen(real, name, made.real(), flags, outFlags);
    if (code != SQLITE_OK) {
        return code;
    }
    made.unsynced = new std::vector<OldContent>;
    made.name = new std::string(name != nullptr ? name : "");
    made.base.pMethods = &kMethods;
    g_state.openFiles.push_back(&made);
    return SQLITE_OK;
}

int layerDelete(sqlite3_vfs* self, char const* name, int syncFolder)
{
    sqlite3_vfs* const real = realLayer(self);
    if (takeStep(Step::kRemoval)) {
        if (isDeadly()) {
            die();
        }
        if (g_state.kind == FaultKind::kLate) {
            (void)real->xDelete(real, name, syncFolder);
            return SQLITE_IOERR_DIR_FSYNC;
        }
        return SQLITE_IOERR_DELETE;
    }
    return real->xDelete(real, name, syncFolder);
}

/// Registers the layer once; it stays.
void registerLayer()
{
    static sqlite3_vfs s_layer;
    if (s_layer.zName != nullptr) {
        return;
    }
    sqlite3_vfs* const real = sqlite3_vfs_find(nullptr);
    s_layer = *real;
    s_layer.pNext = nullptr;
    s_layer.zName = kLayerName;
    s_layer.pAppData = real;
    s_layer.szOsFile = static_cast<int>(sizeof(LayerFile)) + real->szOsFile;
    s_layer.xOpen = layerOpen;
    s_layer.xDelete = layerDelete;
    sqlite3_vfs_register(&s_layer, /*makeDflt=*/0);
}

std::error_code failure()
{
    return std::make_error_code(std::errc::io_error);
}

}  // namespace

FailingFileLayer::FailingFileLayer()
{
    registerLayer();
    g_state = {};
    use(this);
}

FailingFileLayer::~FailingFileLayer()
{
    use(nullptr);
    g_state.kind = FaultKind::kNone;
    g_state.lockAction = nullptr;
    g_state.renameAction = nullptr;
    g_state.failingRead = 0;
    g_state.spoiledFile.clear();
}

void FailingFileLayer::failAt(std::int64_t step, FaultKind kind)
{
    g_state.steps = 0;
    g_state.failingStep = step;
    g_state.kind = kind;
    g_state.hasFailed = false;
}

bool FailingFileLayer::hasFailed() const noexcept
{
    return g_state.hasFailed;
}

void FailingFileLayer::failReadAt(std::int64_t read)
{
    g_state.reads = 0;
    g_state.failingRead = read;
    g_state.hasReadFailed = false;
}

bool FailingFileLayer::hasReadFailed() const noexcept
{
    return g_state.hasReadFailed;
}

void FailingFileLayer::spoilDisk(std::filesystem::path const& file, std::int64_t offset,
                                 std::int64_t count)
{
    g_state.spoiledFile = file.string();
    g_state.spoiledOffset = offset;
    g_state.spoiledCount = count;
}

void FailingFileLayer::healDisk()
{
    g_state.spoiledFile.clear();
}

void FailingFileLayer::atNextLock(std::function<void()> action)
{
    g_state.lockAction = std::move(action);
}

void FailingFileLayer::atNextRename(std::function<void()> action)
{
    g_state.renameAction = std::move(action);
}

std::error_code FailingFileLayer::renameFile(std::filesystem::path const& from,
                                             std::filesystem::path const& to)
{
    if (takeStep(Step::kOther)) {
        if (isDeadly()) {
            die();
        }
        return failure();
    }
    const std::error_code error = OdDbFileOperations::renameFile(from, to);
    if (g_state.renameAction) {
        std::exchange(g_state.renameAction, nullptr)();
    }
    return error;
}

std::error_code FailingFileLayer::syncFolder(std::filesystem::path const& folder)
{
    if (takeStep(Step::kOther)) {
        if (isDeadly()) {
            die();
        }
        return failure();
    }
    return OdDbFileOperations::syncFolder(folder);
}

std::error_code FailingFileLayer::removeFile(std::filesystem::path const& file)
{
    if (takeStep(Step::kOther)) {
        if (isDeadly()) {
            die();
        }
        return failure();
    }
    return OdDbFileOperations::removeFile(file);
}

char const* FailingFileLayer::fileLayerName() const
{
    return kLayerName;
}
