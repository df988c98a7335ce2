#include "store/od_db_drawing.h"

#include "store/od_db_file_operations.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <filesystem>
#include <random>
#include <utility>

namespace {

namespace fs = std::filesystem;

/// A drawing's place on disk.
struct Place
{
    fs::path path;     ///< absolute; symbolic links are resolved, so that they stay links
    std::string name;  ///< as the caller named it
};

std::string utf8Of(OdString const& text)
{
    std::string bytes;
    text.appendUtf8To(bytes);
    return bytes;
}

[[noreturn]] void fail(std::string const& name, OdResult result, std::string const& reason)
{
    throw OdError(result, OdString::fromUtf8(name + ": " + reason));
}

/// Follows a link whose target needn't be there yet.
fs::path targetOf(fs::path path)
{
    constexpr int kMaxLinks = 40;
    std::error_code error;
    for (int links = 0; links != kMaxLinks && fs::is_symlink(path, error); ++links) {
        const fs::path target = fs::read_symlink(path, error);
        if (error) {
            break;
        }
        path = path.parent_path() / target;
    }
    return path;
}

Place placeOf(OdString const& path)
{
    Place place;
    place.name = utf8Of(path);
    if (place.name.empty() || place.name.find('\0') != std::string::npos) {
        fail(place.name, kOdInvalidInput, "is no name of a file");
    }
    std::error_code error;
    place.path = fs::weakly_canonical(targetOf(fs::absolute(place.name, error)), error);
    if (error) {
        fail(place.name, kOdFileAccess, "can't be reached: " + error.message());
    }
    return place;
}

OdString absoluteText(OdString const& path)
{
    std::error_code error;
    const fs::path absolute = fs::absolute(utf8Of(path), error).lexically_normal();
    return error ? path : OdString::fromUtf8(absolute.string());
}

void checkIsFile(Place const& place)
{
    std::error_code error;
    const fs::file_status status = fs::status(place.path, error);
    if (status.type() == fs::file_type::not_found) {
        fail(place.name, kOdFileNotFound, "there is no such file");
    }
    if (error) {
        fail(place.name, kOdFileAccess, "can't be reached: " + error.message());
    }
    if (!fs::is_regular_file(status)) {
        fail(place.name, kOdFileAccess, "is no file");
    }
}

// ---------------------------------------------------------------------------------------------
// Temporary files

constexpr std::string_view kTemporaryStart = ".zdw~";
constexpr std::string_view kTemporaryEnd = ".tmp";

/// The number of the space in which numbers of processes mean something; a host may have several.
std::string processSpace()
{
    std::error_code error;
    std::string space = fs::read_symlink("/proc/self/ns/pid", error).string();
    std::erase_if(space, [](char sign) { return sign < '0' || sign > '9'; });
    return space;
}

/// ".zdw~HOST~SPACE~PROCESS~NUMBER.tmp": whoever finds one can tell whether its maker still works on
/// it. No name of a host holds the separator.
std::string temporaryPrefix()
{
    char host[65] = {};
    if (::gethostname(host, sizeof host - 1) != 0) {
        host[0] = '\0';
    }
    std::string prefix(kTemporaryStart);
    for (char const* at = host; *at != '\0'; ++at) {
        prefix += *at == '/' ? '_' : *at;
    }
    return prefix + "~" + processSpace() + "~";
}

/// By chance: hosts that share a folder may have one name, and processes with equal numbers.
std::uint64_t temporaryNumber()
{
    std::random_device chance;
    return (std::uint64_t{chance()} << 32) | chance();
}

/// Removes the temporary files that processes of this machine left in a folder when they died.
void removeStaleFiles(fs::path const& folder)
{
    const std::string prefix = temporaryPrefix();
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        const std::string name = at->path().filename().string();
        if (!name.starts_with(prefix) || !name.ends_with(kTemporaryEnd)) {
            continue;
        }
        const long process = std::strtol(name.c_str() + prefix.size(), nullptr, 10);
        const bool isDead =
            process > 0 && ::kill(static_cast<pid_t>(process), 0) != 0 && errno == ESRCH;
        if (isDead) {
            (void)OdDbFileOperations::current().removeFile(at->path());
        }
    }
}

/// A file that goes away unless it has been put in its place.
class TemporaryFile
{
public:
    explicit TemporaryFile(fs::path const& folder)
    {
        m_path = folder / (temporaryPrefix() + std::to_string(::getpid()) + "~" +
                           std::to_string(temporaryNumber()) + std::string(kTemporaryEnd));
    }
    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;
    ~TemporaryFile()
    {
        if (!m_isPlaced) {
            (void)OdDbFileOperations::current().removeFile(m_path);
        }
    }

    fs::path const& path() const noexcept { return m_path; }

    /// Takes the rights of the file that is to be replaced, if there is one; to be called before
    /// anything is written that not everybody may read.
    void takeRightsOf(Place const& place) const
    {
        std::error_code error;
        const fs::file_status old = fs::status(place.path, error);
        if (!error && old.type() == fs::file_type::regular) {
            fs::permissions(m_path, old.permissions(), error);
        }
    }

    /// Takes the place of a file.
    void placeAs(Place const& place)
    {
        const std::error_code error = OdDbFileOperations::current().renameFile(m_path, place.path);
        if (error) {
            fail(place.name, kOdFileAccess, "can't be replaced: " + error.message());
        }
        m_isPlaced = true;
    }

private:
    fs::path m_path;
    bool m_isPlaced = false;
};

// ---------------------------------------------------------------------------------------------
// Saving

/// Removes what a crash may have left beside a drawing: SQLite would take it for a part of the new
/// one. What belonged to a drawing that can be read was used up when it was locked.
void removeOldJournals(Place const& place)
{
    bool isAnyRemoved = false;
    for (char const* end : {"-journal", "-wal", "-shm"}) {
        const fs::path journal = place.path.string() + end;
        std::error_code error;
        if (!fs::exists(journal, error)) {
            continue;
        }
        error = OdDbFileOperations::current().removeFile(journal);
        if (error) {
            fail(place.name, kOdFileAccess, "its old journal can't be removed: " + error.message());
        }
        isAnyRemoved = true;
    }
    if (!isAnyRemoved) {
        return;
    }
    const std::error_code error =
        OdDbFileOperations::current().syncFolder(place.path.parent_path());
    if (error) {
        fail(place.name, kOdFileAccess,
             "the removal of its old journal isn't safe on disk: " + error.message());
    }
}

/// Whether this database holds the lock of the drawing at a place.
bool isOwnFile(Place const& place, OdDbDrawingStore* store)
{
    return store != nullptr && store->file().isLocked() && store->file().isSameFile(place.path);
}

/// Locks the drawing that is about to be replaced, so that nobody is left who saves into a file that
/// has no name any more. Null where there is no drawing, or this database has its lock already.
std::unique_ptr<OdDbDrawingFile> lockOld(Place const& place, OdDbDrawingStore* store)
{
    std::error_code error;
    if (!fs::exists(place.path, error)) {
        return nullptr;
    }
    checkIsFile(place);
    if (::access(place.path.c_str(), W_OK) != 0) {
        fail(place.name, kOdFileAccess, "can't be written");
    }
    if (isOwnFile(place, store)) {
        return nullptr;
    }
    try {
        return OdDbDrawingFile::open(place.path, place.name, OdDbOpenDrawingMode::kForWriting);
    } catch (OdError const& failure) {
        // What is no drawing, or one past reading, may be replaced.
        if (failure.code() == kOdFileCorrupt || failure.code() == kOdFileTooNew) {
            return nullptr;
        }
        throw;
    }
}

/// What is known of a file that was written as a whole.
struct NewFile
{
    std::vector<std::uint8_t> headerBytes;  ///< as they are stored
    std::vector<OdDbWrittenPage> pages;     ///< those of which something is in memory
};

/// Writes a whole drawing.
NewFile writeNewFile(OdDbDatabase& database, OdDbDrawingStore* source, TemporaryFile const& file,
                     Place const& place, int dwgVersion, OdDbSaveProgress const& progress)
{
    const std::unique_ptr<OdDbDrawingFile> target =
        OdDbDrawingFile::create(file.path(), place.name);
    file.takeRightsOf(place);
    OdDbDrawingWriter writer(database, source, *target, dwgVersion);
    writer.writeAll(progress);
    target->commitSave();
    return {target->headerBytes(), writer.takeWrittenPages()};
}

/// Beside a drawing that is written there must be room for its journal's name.
void checkLength(Place const& place, bool isForWriting)
{
    constexpr std::size_t kMaxName = NAME_MAX - std::string_view("-journal").size();
    const std::size_t maxPath = OdDbDrawingFile::maxPathBytes();
    const std::size_t name = place.path.filename().native().size();
    const std::size_t path = place.path.native().size();
    const auto tell = [&](char const* what, std::size_t found, std::size_t most) {
        fail(place.name, kOdFileAccess,
             std::string("is too long: ") + what + " has " + std::to_string(found) +
                 " bytes, and at most " + std::to_string(most) +
                 " leave room for the journal that is written beside it");
    };
    if (isForWriting && name > kMaxName) {
        tell("its name", name, kMaxName);
    }
    if (path > maxPath) {
        tell("its path", path, maxPath);
    }
}

/// A drawing whose own path is short enough may lie in a folder whose path is too long for the file that
/// is to replace it.
void requireRoom(Place const& place, TemporaryFile const& file)
{
    const std::size_t length = file.path().native().size();
    const std::size_t most = OdDbDrawingFile::maxPathBytes();
    if (length > most) {
        fail(place.name, kOdFileAccess,
             "is too long: the path of the file that is written beside it and then takes its place "
             "has " +
                 std::to_string(length) + " bytes, at most " + std::to_string(most) +
                 " are possible");
    }
}

/// Lets a save pass over what the disk doesn't give back, for as long as it lives.
class PassingOverFaults
{
public:
    explicit PassingOverFaults(OdDbDrawingStore* store) : m_store(store)
    {
        if (m_store != nullptr) {
            m_store->setPassesOverFaults(true);
        }
    }
    PassingOverFaults(PassingOverFaults const&) = delete;
    PassingOverFaults& operator=(PassingOverFaults const&) = delete;
    ~PassingOverFaults()
    {
        if (m_store != nullptr) {
            m_store->setPassesOverFaults(false);
            m_store->noteSaveFailed();  // what seemed damaged may be there again
        }
    }

private:
    OdDbDrawingStore* m_store;
};

/// Marks a database as being saved. What is called meanwhile, by objects that are filed or to tell
/// how far the save has come, must not save it again, nor unload it.
class SavingScope
{
public:
    explicit SavingScope(OdDbDatabase& database) : m_database(&database)
    {
        OdDbStorageAccess access(database);
        if (access.isEmptied()) {
            throw OdError(kOdNotApplicable,
                          L"the external drawing was unloaded, and nothing is left to be saved");
        }
        if (!access.beginSaving()) {
            throw OdError(kOdNotApplicable, L"the drawing is being saved already");
        }
    }
    SavingScope(SavingScope const&) = delete;
    SavingScope& operator=(SavingScope const&) = delete;
    ~SavingScope() { OdDbStorageAccess(*m_database).endSaving(); }

private:
    OdDbDatabasePtr m_database;  ///< keeps it
};

bool hasChanges(OdDbDatabase& database, OdDbDrawingFile const& file)
{
    const OdDbStorageAccess access(database);
    return access.isHeaderChanged() || !access.changedBlocks().empty() ||
           database.handseed().value() != file.header().handseed;
}

/// Writes everything into a new file that takes its place, and gives it to the database.
void replaceFile(OdDbDatabase& database, Place const& place, OdString const& fileName,
                 int dwgVersion, OdDbSaveProgress const& progress)
{
    const fs::path folder = place.path.parent_path();
    std::error_code error;
    if (!fs::is_directory(folder, error)) {
        fail(place.name, kOdFileAccess, "its folder doesn't exist");
    }
    OdDbDrawingStore* const source = OdDbDrawingStore::of(database);
    std::unique_ptr<OdDbDrawingFile> old = lockOld(place, source);
    removeStaleFiles(folder);
    TemporaryFile temporary(folder);
    requireRoom(place, temporary);
    NewFile written;
    {
        const bool isSource = source != nullptr && source->file().isSameFile(place.path);
        const PassingOverFaults passing(isSource ? nullptr : source);
        written = writeNewFile(database, source, temporary, place, dwgVersion, progress);
    }
    removeOldJournals(place);
    temporary.placeAs(place);
    const std::error_code syncError = OdDbFileOperations::current().syncFolder(folder);

    // The new file is in its place, whatever comes now; the old one has lost its name.
    old.reset();
    OdDbStorageAccess access(database);
    auto store = std::make_unique<OdDbDrawingStore>(
        database, OdDbDrawingFile::openSaved(place.path, place.name, written.headerBytes));
    for (OdDbWrittenPage const& page : written.pages) {
        store->notePageWritten(page);
    }
    if (source != nullptr && source->file().header().dwgVersion == dwgVersion) {
        store->setMoreSettings(source->moreSettings());
    }
    access.attachStore(std::move(store));
    database.setFilename(fileName);
    if (syncError) {
        fail(place.name, kOdFileAccess,
             "was written, but isn't safe on disk yet: " + syncError.message());
    }
    access.markSaved();
}

}  // namespace

OdDbDatabasePtr odDbOpenDrawing(OdString const& path, OdDbOpenDrawingMode mode,
                                OdDbHostAppServices* services)
{
    const Place place = placeOf(path);
    checkIsFile(place);
    checkLength(place, mode == OdDbOpenDrawingMode::kForWriting);
    std::unique_ptr<OdDbDrawingFile> file = OdDbDrawingFile::open(place.path, place.name, mode);
    const OdDbDrawingHeader header = file->header();
    if (!OdDb::isDwgVersion(header.dwgVersion)) {
        fail(place.name, kOdUnsupportedVersion,
             "drawing version " + std::to_string(header.dwgVersion) + " can't be read");
    }
    const OdDbDatabasePtr database = OdDbDatabase::createBare(services);
    OdDbStorageAccess access(*database);
    auto owned = std::make_unique<OdDbDrawingStore>(*database, std::move(file));
    OdDbDrawingStore& store = *owned;
    access.attachStore(std::move(owned));
    access.setHandseed(store.firstFreeHandle());
    OdStaticRxObject<OdDbFileFiler> filer(database.get());
    filer.readFrom(header.body, header.references, header.dwgVersion);
    bool isRead = false;
    try {
        isRead = database->dwgInFields(&filer) == kOdOk;
    } catch (OdError const&) {
        fail(place.name, kOdFileCorrupt, "is damaged: its settings can't be read");
    }
    try {
        // What of the settings a newer program has added is left unread, and carried.
        if (isRead) {
            store.setMoreSettings(filer.rdBody());
        }
    } catch (OdError const&) {
        // References that make no sense can't be carried, and nobody could read them.
    }
    database->setFilename(absoluteText(path));
    access.markSaved();
    return database;
}

void odDbSaveDrawing(OdDbDatabase& database, OdDbSaveProgress const& progress)
{
    const SavingScope saving(database);
    OdDbDrawingStore* const store = OdDbDrawingStore::of(database);
    if (store == nullptr) {
        throw OdError(kOdFileNotFound, L"the drawing has no file yet");
    }
    OdDbDrawingFile& file = store->file();
    file.beginSave();
    if (!hasChanges(database, file)) {
        file.endSave();
        return;
    }
    if (file.hasOtherNames()) {
        file.endSave();
        const Place place{file.path(), file.name()};
        replaceFile(database, place, database.getFilename(), file.header().dwgVersion, progress);
        return;
    }
    OdDbDrawingWriter writer(database, store, file, file.header().dwgVersion);
    try {
        writer.writeChanges(progress);
        file.commitSave();
    } catch (...) {
        file.rollbackSave();
        store->noteSaveFailed();
        throw;
    }
    writer.noteWritten();
    OdDbStorageAccess(database).markSaved();
}

void odDbSaveDrawingAs(OdDbDatabase& database, OdString const& path, int dwgVersion,
                       OdDbSaveProgress const& progress)
{
    const Place place = placeOf(path);
    if (!OdDb::isDwgVersion(dwgVersion)) {
        fail(place.name, kOdUnsupportedVersion,
             "drawing version " + std::to_string(dwgVersion) + " can't be written");
    }
    checkLength(place, /*isForWriting=*/true);
    const SavingScope saving(database);
    replaceFile(database, place, absoluteText(path), dwgVersion, progress);
}

int odDbDrawingVersion(OdDbDatabase& database)
{
    OdDbDrawingStore* const store = OdDbDrawingStore::of(database);
    return store != nullptr ? store->file().header().dwgVersion : OdDb::kDwgVersionCurrent;
}
