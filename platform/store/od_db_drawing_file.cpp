#include "store/od_db_drawing_file.h"

#include "store/od_db_byte_stream.h"
#include "store/od_db_file_operations.h"
#include "store/od_db_page.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <set>

namespace {

constexpr int kReadTimeoutMs = 10'000;
/// A writer keeps its lock for long, so it isn't worth waiting for; this spans the moment in which a
/// reader puts a file right that was left by a crash.
constexpr int kLockTimeoutMs = 200;
constexpr char const* kHeaderKey = "header";

/// The tables, in the order in which they are made. A file must have these and nothing else, letter
/// for letter, so no view, trigger or index of a stranger's is ever run.
constexpr std::array<char const*, 4> kTables = {
    "CREATE TABLE meta(key TEXT PRIMARY KEY NOT NULL, value BLOB NOT NULL) WITHOUT ROWID",
    "CREATE TABLE class(id INTEGER PRIMARY KEY, name TEXT NOT NULL, dxf_name TEXT NOT NULL, "
    "app_name TEXT NOT NULL, dwg_version INTEGER NOT NULL, maintenance INTEGER NOT NULL, "
    "proxy_flags INTEGER NOT NULL, checksum INTEGER NOT NULL)",
    "CREATE TABLE page(id INTEGER PRIMARY KEY, directory BLOB NOT NULL, records BLOB NOT NULL)",
    "CREATE TABLE big(handle INTEGER PRIMARY KEY, record BLOB NOT NULL)"};

std::uint32_t fixed32At(std::span<std::uint8_t const> bytes, std::size_t offset)
{
    return OdDbByteReader(bytes.subspan(offset)).takeFixed32();
}

void putText(OdDbByteWriter& writer, OdString const& text)
{
    std::string bytes;
    text.appendUtf8To(bytes);
    writer.putVarint(bytes.size());
    writer.putBytes(bytes.data(), bytes.size());
}

std::uint32_t checksumOf(OdDbFileClass const& fileClass)
{
    OdDbByteWriter writer;
    writer.putVarint(fileClass.number);
    putText(writer, fileClass.record.name);
    putText(writer, fileClass.record.dxfName);
    putText(writer, fileClass.record.appName);
    writer.putSigned(fileClass.record.dwgVersion);
    writer.putSigned(fileClass.record.maintenanceVersion);
    writer.putSigned(fileClass.record.proxyFlags);
    return odDbChecksum(writer.bytes());
}

// The header: counters and the settings' record, closed by a checksum of it all.
std::vector<std::uint8_t> encodeHeader(OdDbDrawingHeader const& header)
{
    OdDbByteWriter writer;
    writer.putVarint(static_cast<std::uint64_t>(header.dwgVersion));
    writer.putVarint(header.handseed);
    writer.putVarint(header.saves);
    writer.putVarint(header.classes);
    writer.putVarint(header.pages);
    writer.putVarint(header.outside);
    writer.putVarint(header.objects);
    writer.putVarint(header.body.size());
    writer.putBytes(header.body);
    writer.putVarint(header.references.size());
    writer.putBytes(header.references);
    writer.putFixed32(odDbChecksum(writer.bytes()));
    return {writer.bytes().begin(), writer.bytes().end()};
}

std::vector<std::uint8_t> takePart(OdDbByteReader& reader)
{
    const std::uint64_t size = reader.takeVarint();
    if (size > reader.left()) {
        throw OdError(kOdBadStream);
    }
    const auto count = static_cast<std::size_t>(size);
    std::uint8_t const* const bytes = reader.takeBytes(count);
    return {bytes, bytes + count};
}

/// \throws OdError (bad stream).
OdDbDrawingHeader decodeHeader(std::span<std::uint8_t const> bytes)
{
    constexpr std::size_t kChecksumBytes = 4;
    if (bytes.size() < kChecksumBytes) {
        throw OdError(kOdBadStream);
    }
    const auto content = bytes.first(bytes.size() - kChecksumBytes);
    if (fixed32At(bytes, content.size()) != odDbChecksum(content)) {
        throw OdError(kOdBadStream);
    }
    OdDbByteReader reader(content);
    OdDbDrawingHeader header;
    const std::uint64_t version = reader.takeVarint();
    if (version > static_cast<std::uint64_t>(std::numeric_limits<int>::max())) {
        throw OdError(kOdBadStream);
    }
    header.dwgVersion = static_cast<int>(version);
    header.handseed = reader.takeVarint();
    header.saves = reader.takeVarint();
    header.classes = reader.takeVarint();
    header.pages = reader.takeVarint();
    header.outside = reader.takeVarint();
    header.objects = reader.takeVarint();
    header.body = takePart(reader);
    header.references = takePart(reader);
    if (reader.left() != 0 || header.handseed == 0 || header.handseed > kLastStoredHandle + 1) {
        throw OdError(kOdBadStream);
    }
    return header;
}

int intOf(std::int64_t value, OdDbSqliteConnection const& connection)
{
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) {
        connection.fail(kOdFileCorrupt, "is damaged: a number of a class is out of range");
    }
    return static_cast<int>(value);
}

OdString textOf(std::string_view text)
{
    return OdString::fromUtf8(text);
}

std::string utf8Of(OdString const& text)
{
    std::string bytes;
    text.appendUtf8To(bytes);
    return bytes;
}

}  // namespace

struct OdDbDrawingFile::Statements
{
    explicit Statements(OdDbSqliteConnection& connection) : c(connection) {}

    OdDbSqliteConnection& c;
    OdDbSqliteStatement begin{c, "BEGIN"};
    OdDbSqliteStatement commit{c, "COMMIT"};
    OdDbSqliteStatement dataVersion{c, "PRAGMA data_version"};
    OdDbSqliteStatement header{c, "SELECT value FROM meta WHERE key = ?"};
    OdDbSqliteStatement page{c, "SELECT directory, records FROM page WHERE id = ?"};
    OdDbSqliteStatement directory{c, "SELECT directory FROM page WHERE id = ?"};
    OdDbSqliteStatement nextPage{c, "SELECT id FROM page WHERE id >= ? ORDER BY id LIMIT 1"};
    OdDbSqliteStatement lastPage{
        c, "SELECT id FROM page WHERE id BETWEEN 0 AND ? ORDER BY id DESC LIMIT 1"};
    OdDbSqliteStatement big{c, "SELECT record FROM big WHERE handle = ?"};
    OdDbSqliteStatement writePage{c, "REPLACE INTO page(id, directory, records) VALUES(?, ?, ?)"};
    OdDbSqliteStatement removePage{c, "DELETE FROM page WHERE id = ?"};
    OdDbSqliteStatement writeBig{c, "REPLACE INTO big(handle, record) VALUES(?, ?)"};
    OdDbSqliteStatement removeBig{c, "DELETE FROM big WHERE handle = ?"};
    OdDbSqliteStatement writeClass{
        c,
        "REPLACE INTO class(id, dwg_version, maintenance, proxy_flags, checksum, name, dxf_name, "
        "app_name) VALUES(?, ?, ?, ?, ?, ?, ?, ?)"};
    OdDbSqliteStatement writeHeader{c, "REPLACE INTO meta(key, value) VALUES(?, ?)"};
};

OdDbDrawingFile::OdDbDrawingFile(std::filesystem::path const& path, std::string const& name,
                                 int flags, OdDbOpenDrawingMode mode)
    : m_connection(path.string(), name, flags, OdDbFileOperations::current().fileLayerName()),
      m_path(path), m_mode(mode), m_statements(std::make_unique<Statements>(m_connection))
{
}

OdDbDrawingFile::~OdDbDrawingFile()
{
    m_statements.reset();
}

std::unique_ptr<OdDbDrawingFile> OdDbDrawingFile::open(std::filesystem::path const& path,
                                                       std::string const& name,
                                                       OdDbOpenDrawingMode mode)
{
    return open(path, name, mode, /*mustLock=*/mode == OdDbOpenDrawingMode::kForWriting);
}

std::unique_ptr<OdDbDrawingFile>
OdDbDrawingFile::openSaved(std::filesystem::path const& path, std::string const& name,
                           std::vector<std::uint8_t> const& headerBytes)
{
    auto file = open(path, name, OdDbOpenDrawingMode::kForWriting, /*mustLock=*/false);
    if (file->m_headerBytes != headerBytes) {
        file->fail(kOdFileChanged, "was saved by another process meanwhile");
    }
    return file;
}

std::unique_ptr<OdDbDrawingFile> OdDbDrawingFile::open(std::filesystem::path const& path,
                                                       std::string const& name,
                                                       OdDbOpenDrawingMode mode, bool mustLock)
{
    // A reader opens for writing where it may, to put a file right that was left by a crash.
    constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE;
    // While this waits for the lock, another file can take the place of the one that it has open, and
    // nobody would find what is saved there. Reading it does no harm.
    constexpr int kAttempts = 5;
    for (int attempt = 1;; ++attempt) {
        std::unique_ptr<OdDbDrawingFile> file(new OdDbDrawingFile(path, name, kFlags, mode));
        file->harden();
        file->checkNoForeignLog();
        file->checkFirstBytes();
        file->configure();
        file->load(mustLock);
        if (mode == OdDbOpenDrawingMode::kForReading || !file->hasMoved()) {
            return file;
        }
        if (attempt == kAttempts) {
            file->fail(kOdFileChanged, "was moved, replaced or deleted meanwhile");
        }
    }
}

std::size_t OdDbDrawingFile::maxPathBytes()
{
    // SQLite keeps room for the end of a journal's name.
    constexpr int kJournalEnd = 8;
    sqlite3_vfs const* const layer =
        sqlite3_vfs_find(OdDbFileOperations::current().fileLayerName());
    return layer != nullptr ? static_cast<std::size_t>(layer->mxPathname - kJournalEnd) : 0;
}

std::unique_ptr<OdDbDrawingFile> OdDbDrawingFile::create(std::filesystem::path const& path,
                                                         std::string const& name)
{
    constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX |
                           SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_NOFOLLOW;
    std::unique_ptr<OdDbDrawingFile> file(
        new OdDbDrawingFile(path, name, kFlags, OdDbOpenDrawingMode::kForWriting));
    file->makeTables();
    file->m_isLocked = true;
    file->setSaving(true);
    return file;
}

// The content of the file is a stranger's: nothing in it may run, and it may not use more than its
// share of anything.
void OdDbDrawingFile::harden()
{
    sqlite3* const handle = m_connection.handle();
    sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    struct Limit
    {
        int what;
        int value;
    };
    constexpr Limit kLimits[] = {{SQLITE_LIMIT_LENGTH, 1'000'000'000},
                                 {SQLITE_LIMIT_SQL_LENGTH, 10'000},
                                 {SQLITE_LIMIT_COLUMN, 32},
                                 {SQLITE_LIMIT_EXPR_DEPTH, 32},
                                 {SQLITE_LIMIT_COMPOUND_SELECT, 4},
                                 {SQLITE_LIMIT_VDBE_OP, 25'000},
                                 {SQLITE_LIMIT_FUNCTION_ARG, 8},
                                 {SQLITE_LIMIT_ATTACHED, 0},
                                 {SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 64},
                                 {SQLITE_LIMIT_VARIABLE_NUMBER, 16},
                                 {SQLITE_LIMIT_TRIGGER_DEPTH, 1},
                                 {SQLITE_LIMIT_WORKER_THREADS, 0}};
    for (Limit const& limit : kLimits) {
        sqlite3_limit(handle, limit.what, limit.value);
    }
    m_connection.setTimeout(kReadTimeoutMs);
}

// Some of these read the file already, so they have to wait until its first bytes are known.
void OdDbDrawingFile::configure()
{
    limitWork();
    m_connection.run("PRAGMA cell_size_check = ON; PRAGMA mmap_size = 0; PRAGMA cache_size = -2048;"
                     "PRAGMA temp_store = MEMORY; PRAGMA synchronous = EXTRA");
}

// Walking a whole table is honest work in proportion to the file.
void OdDbDrawingFile::limitWork()
{
    constexpr std::int64_t kLeastSteps = 1'000'000;
    constexpr std::int64_t kStepsPerByte = 8;
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(m_path, error);
    constexpr std::uintmax_t kLargestFile = std::uintmax_t{1} << 48;
    m_connection.setBudget(
        kLeastSteps +
        (error ? 0 : static_cast<std::int64_t>(std::min(size, kLargestFile)) * kStepsPerByte));
}

// A drawing never has a write-ahead log, but SQLite would take whatever lies under that name for the
// newer part of the drawing.
void OdDbDrawingFile::checkNoForeignLog()
{
    std::error_code error;
    if (std::filesystem::exists(m_path.string() + "-wal", error)) {
        fail(kOdFileCorrupt,
             "has a file beside it that isn't its own, under its name and \"-wal\"");
    }
}

std::array<std::uint8_t, 100> OdDbDrawingFile::readFirstBytes()
{
    sqlite3_file* file = nullptr;
    sqlite3_file_control(m_connection.handle(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
    if (file == nullptr || file->pMethods == nullptr) {
        fail(kOdFileAccess, "can't be opened");
    }
    std::array<std::uint8_t, 100> bytes{};
    const int code = file->pMethods->xRead(file, bytes.data(), static_cast<int>(bytes.size()), 0);
    if (code == SQLITE_IOERR_SHORT_READ) {
        fail(kOdFileCorrupt, "is no drawing");
    }
    if (code != SQLITE_OK) {
        m_connection.fail(code);
    }
    return bytes;
}

// These bytes are looked at before SQLite does, since some of them decide how it goes on: a file
// marked for another kind of journal would make it write files of its own beside the drawing. They
// never change while a drawing lives, so no lock is needed. The file is read through SQLite's own
// access to it: closing another one would give up the locks that this process has on it.
void OdDbDrawingFile::checkFirstBytes()
{
    const std::array<std::uint8_t, 100> bytes = readFirstBytes();
    constexpr std::string_view kMagic("SQLite format 3\0", 16);
    constexpr std::size_t kWriteFormatAt = 18;
    constexpr std::size_t kEncodingAt = 56;
    constexpr std::size_t kFormatAt = 60;
    constexpr std::size_t kApplicationAt = 68;
    if (std::memcmp(bytes.data(), kMagic.data(), kMagic.size()) != 0 ||
        fixed32At(bytes, kApplicationAt) != kDrawingApplicationId) {
        fail(kOdFileCorrupt, "is no drawing");
    }
    const std::uint32_t format = fixed32At(bytes, kFormatAt);
    if (format > kDrawingFormat) {
        fail(kOdFileTooNew, "has file format " + std::to_string(format) +
                                ", and this program reads formats up to " +
                                std::to_string(kDrawingFormat));
    }
    constexpr std::uint32_t kUtf8 = 1;
    if (format == 0 || bytes[kWriteFormatAt] != 1 || bytes[kWriteFormatAt + 1] != 1 ||
        fixed32At(bytes, kEncodingAt) != kUtf8) {
        fail(kOdFileCorrupt, "is damaged: its first bytes aren't those of a drawing");
    }
}

void OdDbDrawingFile::checkSchema()
{
    OdDbSqliteStatement statement(m_connection,
                                  "SELECT type, name, tbl_name, sql, rootpage FROM sqlite_schema");
    OdDbSqliteQuery query(statement);
    std::size_t found = 0;
    std::set<std::int64_t> places;
    while (query.next()) {
        if (found == kTables.size() || query.text(0) != "table" || query.text(1) != query.text(2) ||
            query.text(3) != kTables[found]) {
            fail(kOdFileCorrupt, "is damaged: its tables aren't those of a drawing");
        }
        places.insert(query.integer(4));
        ++found;
    }
    // In two tables in one place, writing to one would destroy the other.
    if (found != kTables.size() || places.size() != found) {
        fail(kOdFileCorrupt, "is damaged: its tables aren't those of a drawing");
    }
}

// Small database pages leave little room unused behind the values, which are a few kilobytes long;
// measured on a million small objects the file comes out within a twentieth of its content.
void OdDbDrawingFile::makeTables()
{
    m_connection.run("PRAGMA page_size = 1024; PRAGMA journal_mode = OFF;"
                     "PRAGMA locking_mode = EXCLUSIVE; PRAGMA synchronous = FULL;"
                     "PRAGMA mmap_size = 0; PRAGMA cache_size = -8192; PRAGMA encoding = 'UTF-8';"
                     "PRAGMA auto_vacuum = NONE; BEGIN");
    for (char const* table : kTables) {
        m_connection.run(table);
    }
    const std::string numbers = "PRAGMA application_id = " + std::to_string(kDrawingApplicationId) +
                                "; PRAGMA user_version = " + std::to_string(kDrawingFormat);
    m_connection.run(numbers.c_str());
}

void OdDbDrawingFile::load(bool mustLock)
{
    if (isForWriting()) {
        if (sqlite3_db_readonly(m_connection.handle(), "main") != 0) {
            fail(kOdFileAccess, "can't be written");
        }
        const int code = takeLock();
        if (code != SQLITE_OK && mustLock) {
            m_connection.fail(code);
        }
    } else {
        m_connection.run("PRAGMA query_only = ON");
    }
    if (!m_isLocked) {
        m_connection.run("BEGIN");
    }
    checkSchema();
    m_headerBytes = readHeaderBytes();
    try {
        m_header = decodeHeader(m_headerBytes);
    } catch (OdError const&) {
        fail(kOdFileCorrupt, "is damaged: its header can't be read");
    }
    readClasses();
    m_dataVersion = dataVersion();
    noteIdentity();
    m_connection.setBudget(0);
    if (!m_isLocked) {
        m_connection.run("COMMIT");
    }
}

void OdDbDrawingFile::readClasses()
{
    OdDbSqliteStatement statement(m_connection,
                                  "SELECT id, name, dxf_name, app_name, dwg_version, maintenance, "
                                  "proxy_flags, checksum FROM class ORDER BY id");
    OdDbSqliteQuery query(statement);
    std::int64_t last = 0;
    while (query.next()) {
        const std::int64_t number = query.integer(0);
        if (number <= last || number > kMaxClassNumber) {
            fail(kOdFileCorrupt, "is damaged: a class has no proper number");
        }
        last = number;
        OdDbFileClass fileClass;
        fileClass.number = static_cast<std::uint32_t>(number);
        fileClass.record.name = textOf(query.text(1));
        fileClass.record.dxfName = textOf(query.text(2));
        fileClass.record.appName = textOf(query.text(3));
        fileClass.record.dwgVersion = intOf(query.integer(4), m_connection);
        fileClass.record.maintenanceVersion = intOf(query.integer(5), m_connection);
        fileClass.record.proxyFlags = intOf(query.integer(6), m_connection);
        fileClass.isDamaged = query.integer(7) != std::int64_t{checksumOf(fileClass)};
        m_classes.push_back(std::move(fileClass));
    }
}

std::vector<std::uint8_t> OdDbDrawingFile::readHeaderBytes()
{
    OdDbSqliteQuery query(m_statements->header);
    query.bindText(kHeaderKey);
    if (!query.next()) {
        fail(kOdFileCorrupt, "is damaged: it has no header");
    }
    const auto bytes = query.bytes(0);
    return {bytes.begin(), bytes.end()};
}

std::int64_t OdDbDrawingFile::dataVersion()
{
    OdDbSqliteQuery query(m_statements->dataVersion);
    return query.next() ? query.integer(0) : 0;
}

void OdDbDrawingFile::noteIdentity()
{
    struct stat status
    {
    };
    if (::stat(m_path.c_str(), &status) == 0) {
        m_device = status.st_dev;
        m_inode = status.st_ino;
    }
}

// A link that leads to the file isn't its place, since a journal goes by the file's own name.
bool OdDbDrawingFile::isSameFile(std::filesystem::path const& path) const
{
    struct stat status
    {
    };
    return ::lstat(path.c_str(), &status) == 0 && m_inode != 0 && status.st_dev == m_device &&
           status.st_ino == m_inode;
}

bool OdDbDrawingFile::hasOtherNames() const noexcept
{
    struct stat status
    {
    };
    return ::lstat(m_path.c_str(), &status) == 0 && status.st_nlink > 1;
}

bool OdDbDrawingFile::hasMoved()
{
    int isMoved = 0;
    const int code =
        sqlite3_file_control(m_connection.handle(), "main", SQLITE_FCNTL_HAS_MOVED, &isMoved);
    return code == SQLITE_OK && isMoved != 0;
}

OdDbDrawingFile::Stamp OdDbDrawingFile::stamp() const noexcept
{
    struct stat status
    {
    };
    if (::stat(m_path.c_str(), &status) != 0) {
        return {};
    }
    return {status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_size};
}

void OdDbDrawingFile::letGo() noexcept
{
    (void)m_connection.tryRun("ROLLBACK");
    m_isLocked = false;
}

// The lock is of no use against a program that doesn't know of it and writes over the file, as one
// that copies files does. Saving would then mix two drawings. A file whose time alone has changed is
// looked at more closely, as it may be the same still.
void OdDbDrawingFile::checkContent()
{
    const Stamp now = stamp();
    if (now == m_stamp) {
        return;
    }
    bool isSame = false;
    try {
        sqlite3_db_release_memory(m_connection.handle());
        isSame = now.size == m_stamp.size && readFirstBytes() == m_firstBytes &&
                 readHeaderBytes() == m_headerBytes;
    } catch (OdError const& error) {
        if (!isDamage(error)) {
            throw;
        }
    }
    if (!isSame) {
        fail(kOdFileChanged, "was written over by another program meanwhile");
    }
    m_stamp = now;
}

// SQLite tells cheaply that some other connection has committed. Only the header tells whether that
// was a save: putting a file right after a crash counts as well.
void OdDbDrawingFile::checkUnchanged()
{
    const std::int64_t version = dataVersion();
    if (version == m_dataVersion) {
        return;
    }
    const std::vector<std::uint8_t> bytes = readHeaderBytes();
    if (bytes != m_headerBytes) {
        if (m_attemptedBytes.empty() || bytes != m_attemptedBytes) {
            fail(kOdFileChanged, "was saved by another process meanwhile");
        }
        noteSaved();
    }
    m_dataVersion = version;
}

// A save can fail at its very end, in waiting for the folder, and be in the file all the same; then
// this is found out later.
void OdDbDrawingFile::noteSaved()
{
    m_header = std::move(m_attempted);
    m_headerBytes = std::move(m_attemptedBytes);
    forgetAttempt();
}

void OdDbDrawingFile::forgetAttempt() noexcept
{
    m_attempted = {};
    m_attemptedBytes.clear();
    m_mayBeSaved = false;
}

// Nothing was written, so it doesn't matter how the transaction ends; after an error in a damaged
// file it may refuse to be committed.
void OdDbDrawingFile::endReading() noexcept
{
    try {
        if (!m_connection.isIdle()) {
            OdDbSqliteQuery(m_statements->commit).run();
        }
    } catch (...) {
        (void)m_connection.tryRun("ROLLBACK");
    }
}

bool OdDbDrawingFile::isDamage(OdError const& error) const noexcept
{
    // Besides single places, a disk that is gone doesn't give the file's lock or its size.
    return error.code() == kOdFileCorrupt || (m_passesOverFaults && error.code() == kOdFileAccess);
}

void OdDbDrawingFile::setPassesOverFaults(bool passesOver, Clock::duration patience) noexcept
{
    m_passesOverFaults = passesOver;
    m_patience = patience;
}

// A read that fails ends the transaction, and the lock goes with it. If another process has taken it
// meanwhile, this goes on as after a save. While a save is under way there is no going on: what it had
// written is gone.
void OdDbDrawingFile::regainLock() noexcept
{
    if (m_isLocked && !m_isSaving && m_connection.isIdle()) {
        m_isLocked = false;
        confirmLock();
    }
}

// Runs `read`. Who passes over faults asks for page after page of a disk that may be gone, and has to
// come to an end.
template <class Read>
auto OdDbDrawingFile::reading(Read const& read)
{
    if (!m_passesOverFaults) {
        return readingTogether(read);
    }
    if (m_patience <= Clock::duration::zero()) {
        throw OdDbReadFault(name(), "can't be read, and isn't asked any more");
    }
    const Clock::time_point start = Clock::now();
    try {
        return readingTogether(read);
    } catch (OdError const& error) {
        if (error.code() == kOdFileAccess) {
            m_patience -= Clock::now() - start;
        }
        throw;
    }
}

// Runs `read` in a transaction of its own, so that what it reads belongs together; with the lock
// there is one already.
template <class Read>
auto OdDbDrawingFile::readingTogether(Read const& read)
{
    if (m_isLocked) {
        try {
            auto result = read();
            regainLock();
            return result;
        } catch (...) {
            regainLock();
            throw;
        }
    }
    OdDbSqliteQuery(m_statements->begin).run();
    try {
        auto result = read();
        checkUnchanged();
        endReading();
        return result;
    } catch (...) {
        endReading();
        throw;
    }
}

// As `reading`, where damage costs the part alone. Whether the file was saved meanwhile is found out
// for a damaged part as well; but where faults are passed over, failing to do so costs no more than
// the part either.
template <class Read>
OdDbPartState OdDbDrawingFile::readingPart(Read const& read)
{
    try {
        return reading([&] {
            try {
                return read() ? OdDbPartState::kRead : OdDbPartState::kAbsent;
            } catch (OdError const& error) {
                if (error.code() != kOdFileCorrupt) {
                    throw;
                }
                return OdDbPartState::kUnreadable;
            }
        });
    } catch (OdError const& error) {
        if (!m_passesOverFaults || !isDamage(error)) {
            throw;
        }
        return OdDbPartState::kUnreadable;
    }
}

OdDbPartState OdDbDrawingFile::readPage(std::uint64_t page, OdDbPageBytes& bytes)
{
    return readingPart([&] {
        OdDbSqliteQuery query(m_statements->page);
        query.bind(static_cast<std::int64_t>(page));
        if (!query.next()) {
            return false;
        }
        const auto directory = query.bytes(0);
        const auto records = query.bytes(1);
        bytes.directory.assign(directory.begin(), directory.end());
        bytes.records.assign(records.begin(), records.end());
        return true;
    });
}

OdDbPartState OdDbDrawingFile::readDirectory(std::uint64_t page,
                                             std::vector<std::uint8_t>& directory)
{
    return readingPart([&] {
        OdDbSqliteQuery query(m_statements->directory);
        query.bind(static_cast<std::int64_t>(page));
        if (!query.next()) {
            return false;
        }
        const auto bytes = query.bytes(0);
        directory.assign(bytes.begin(), bytes.end());
        return true;
    });
}

std::optional<std::uint64_t> OdDbDrawingFile::nextPage(std::uint64_t from)
{
    if (from > kLastPage) {
        return std::nullopt;
    }
    return reading([&]() -> std::optional<std::uint64_t> {
        OdDbSqliteQuery query(m_statements->nextPage);
        query.bind(static_cast<std::int64_t>(from));
        if (!query.next()) {
            return std::nullopt;
        }
        // In a damaged file the answer may be anything; going back would never end.
        const auto found = static_cast<std::uint64_t>(query.integer(0));
        if (found < from) {
            fail(kOdFileCorrupt, "is damaged: its pages are out of order");
        }
        return found <= kLastPage ? std::optional(found) : std::nullopt;
    });
}

std::optional<std::uint64_t> OdDbDrawingFile::lastPage()
{
    return reading([&]() -> std::optional<std::uint64_t> {
        OdDbSqliteQuery query(m_statements->lastPage);
        query.bind(static_cast<std::int64_t>(kLastPage));
        if (!query.next()) {
            return std::nullopt;
        }
        const auto found = static_cast<std::uint64_t>(query.integer(0));
        if (found > kLastPage) {
            fail(kOdFileCorrupt, "is damaged: its pages are out of order");
        }
        return found;
    });
}

OdDbPartState OdDbDrawingFile::readOutside(OdDbHandle handle, std::vector<std::uint8_t>& record)
{
    return readingPart([&] {
        OdDbSqliteQuery query(m_statements->big);
        query.bind(static_cast<std::int64_t>(handle.value()));
        if (!query.next()) {
            return false;
        }
        const auto bytes = query.bytes(0);
        record.assign(bytes.begin(), bytes.end());
        return true;
    });
}

void OdDbDrawingFile::countRows(char const* table, std::uint64_t expected,
                                OdDbSqliteStatement& statement, std::vector<std::string>& problems)
{
    OdDbSqliteQuery query(statement);
    const std::uint64_t found =
        query.next() ? static_cast<std::uint64_t>(query.integer(0)) : std::uint64_t{0};
    if (found != expected) {
        problems.push_back(std::string("table ") + table + ": " + std::to_string(found) +
                           " rows, expected " + std::to_string(expected));
    }
}

std::vector<std::string> OdDbDrawingFile::checkStructure()
{
    return reading([&] {
        std::vector<std::string> problems;
        limitWork();
        try {
            OdDbSqliteStatement check(m_connection, "PRAGMA integrity_check(90)");
            OdDbSqliteQuery query(check);
            while (query.next()) {
                if (query.text(0) != "ok") {
                    problems.push_back("file structure: " + std::string(query.text(0)));
                }
            }
            // Counting doesn't watch the budget, so it needs a sound structure.
            if (!problems.empty()) {
                m_connection.setBudget(0);
                return problems;
            }
            OdDbSqliteStatement classes(m_connection, "SELECT count(*) FROM class");
            OdDbSqliteStatement pages(m_connection, "SELECT count(*) FROM page");
            OdDbSqliteStatement outside(m_connection, "SELECT count(*) FROM big");
            countRows("class", m_header.classes, classes, problems);
            countRows("page", m_header.pages, pages, problems);
            countRows("big", m_header.outside, outside, problems);
        } catch (OdError const& error) {
            if (!isDamage(error)) {
                throw;
            }
            problems.push_back("file structure: it can't be read to its end");
        }
        m_connection.setBudget(0);
        return problems;
    });
}

int OdDbDrawingFile::takeLock() noexcept
{
    m_connection.setTimeout(kLockTimeoutMs);
    const int code = m_connection.tryRun("BEGIN IMMEDIATE");
    m_connection.setTimeout(kReadTimeoutMs);
    m_isLocked = code == SQLITE_OK;
    if (m_isLocked) {
        m_stamp = stamp();
        try {
            m_firstBytes = readFirstBytes();
        } catch (...) {
            m_firstBytes = {};
        }
    }
    return code;
}

// Takes the lock back after it was given up for a moment. If another process has saved in that
// moment, what is in memory doesn't belong to the file any more; the next save tells so.
void OdDbDrawingFile::confirmLock() noexcept
{
    if (takeLock() != SQLITE_OK) {
        return;
    }
    try {
        checkUnchanged();
    } catch (...) {
        letGo();
    }
}

// Journals go by name: saving a file under a name that it no longer has would leave it without the
// one that puts it right after a crash.
void OdDbDrawingFile::checkPlace()
{
    if (!isSameFile(m_path)) {
        fail(kOdFileChanged, "was moved, replaced or deleted meanwhile");
    }
}

void OdDbDrawingFile::beginSave()
{
    if (!isForWriting()) {
        fail(kOdReadOnly, "was opened for reading only");
    }
    checkPlace();
    setSaving(false);
    regainLock();
    if (m_isLocked) {
        try {
            checkContent();
        } catch (...) {
            regainLock();
            throw;
        }
    } else {
        const int code = takeLock();
        if (code != SQLITE_OK) {
            m_connection.fail(code);
        }
        try {
            checkUnchanged();
        } catch (OdError const&) {
            letGo();
            throw;
        }
    }
    setSaving(true);
}

void OdDbDrawingFile::setSaving(bool isSaving) noexcept
{
    m_isSaving = isSaving;
    m_connection.setWriting(isSaving);
}

void OdDbDrawingFile::endSave() noexcept
{
    setSaving(false);
    regainLock();
}

// Outside of a transaction each value would be saved by itself, and the drawing with it in pieces.
void OdDbDrawingFile::requireSave() const
{
    if (!m_isSaving || m_connection.isIdle()) {
        fail(kOdFileAccess, "can't be saved: reading it has failed meanwhile");
    }
}

void OdDbDrawingFile::writePage(std::uint64_t page, std::span<std::uint8_t const> directory,
                                std::span<std::uint8_t const> records)
{
    requireSave();
    OdDbSqliteQuery(m_statements->writePage)
        .bind(static_cast<std::int64_t>(page))
        .bind(directory)
        .bind(records)
        .run();
}

void OdDbDrawingFile::removePage(std::uint64_t page)
{
    requireSave();
    OdDbSqliteQuery(m_statements->removePage).bind(static_cast<std::int64_t>(page)).run();
}

void OdDbDrawingFile::writeOutside(OdDbHandle handle, std::span<std::uint8_t const> body,
                                   std::span<std::uint8_t const> references)
{
    requireSave();
    OdDbSqliteQuery(m_statements->writeBig)
        .bind(static_cast<std::int64_t>(handle.value()))
        .bind(body, references)
        .run();
}

void OdDbDrawingFile::removeOutside(OdDbHandle handle)
{
    requireSave();
    OdDbSqliteQuery(m_statements->removeBig).bind(static_cast<std::int64_t>(handle.value())).run();
}

void OdDbDrawingFile::writeClass(OdDbFileClass const& fileClass)
{
    requireSave();
    const std::string name = utf8Of(fileClass.record.name);
    const std::string dxfName = utf8Of(fileClass.record.dxfName);
    const std::string appName = utf8Of(fileClass.record.appName);
    const std::uint32_t checksum = checksumOf(fileClass);
    OdDbSqliteQuery(m_statements->writeClass)
        .bind(std::int64_t{fileClass.number})
        .bind(std::int64_t{fileClass.record.dwgVersion})
        .bind(std::int64_t{fileClass.record.maintenanceVersion})
        .bind(std::int64_t{fileClass.record.proxyFlags})
        .bind(std::int64_t{fileClass.isDamaged ? ~checksum : checksum})
        .bindText(name)
        .bindText(dxfName)
        .bindText(appName)
        .run();
}

void OdDbDrawingFile::writeHeader(OdDbDrawingHeader const& header)
{
    requireSave();
    forgetAttempt();
    m_attempted = header;
    m_attemptedBytes = encodeHeader(header);
    OdDbSqliteQuery(m_statements->writeHeader).bindText(kHeaderKey).bind(m_attemptedBytes).run();
}

void OdDbDrawingFile::commitSave()
{
    requireSave();
    const int code = m_connection.tryRun("COMMIT");
    if ((code & 0xFF) == SQLITE_BUSY) {
        fail(kOdFileLocked, "is being read by another process all the time");
    }
    if (code != SQLITE_OK) {
        // Only the last step, the removal of the journal, can be done and fail all the same.
        m_mayBeSaved = (code & 0xFF) == SQLITE_IOERR;
        m_connection.fail(code);
    }
    noteSaved();
    setSaving(false);
    confirmLock();
}

void OdDbDrawingFile::rollbackSave() noexcept
{
    if (!m_connection.isIdle()) {
        (void)m_connection.tryRun("ROLLBACK");
    }
    // A save that can't be in the file must not be found there: that of another process may have the
    // same header, number for number.
    if (!m_mayBeSaved) {
        forgetAttempt();
    }
    // Without the lock the file goes on for reading, and the next save tries again.
    setSaving(false);
    m_isLocked = false;
    if (m_connection.isIdle()) {
        confirmLock();
    }
}
