#include "cli/drawing.h"

#include "cli/text_format.h"
#include "db/od_db_object_store.h"
#include "db/od_db_proxy_object.h"
#include "root/od_error.h"

#include "protocol/host_error.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace zemhost {

namespace {

std::string adviceFor(OdResult code)
{
    switch (code) {
    case kOdFileNotFound:
        return "check the path; 'zemhost import' makes a drawing";
    case kOdFileAccess:
        return "check the path, the rights of the file and of its folder, and the room on the disk";
    case kOdFileLocked:
        return "close it there, or wait until the other program is done";
    case kOdFileCorrupt:
        return "check that this is the right file, or take a copy of an earlier state";
    case kOdFileTooNew:
    case kOdUnsupportedVersion:
        return "use a newer zemhost";
    case kOdFileChanged:
        return "run the command again";
    default:
        return "";
    }
}

[[noreturn]] void rethrow(OdError const& error)
{
    switch (error.code()) {
    case kOdOutOfMemory:
        throw HostError(ExitCode::kInternal, "", error.what(), "");
    case kOdObjectDamaged:
    case kOdBadStream:
        throw HostError(ExitCode::kFindings, "", error.what(), "'zemhost check' tells more");
    case kOdModuleNotLoaded:
    case kOdModuleVersion:
        throw HostError(ExitCode::kModule, "", error.what(), "");
    default:
        throw HostError(ExitCode::kFile, "", error.what(), adviceFor(error.code()));
    }
}

OdDbSaveProgress saveProgress(ProgressLine& line)
{
    return [&line](std::uint64_t done, std::uint64_t total) {
        line.show(total == 0 ? 1.0 : static_cast<double>(done) / static_cast<double>(total),
                  "writing");
    };
}

}  // namespace

ProgressLine::ProgressLine(std::string title)
    : m_title(std::move(title)), m_isTerminal(::isatty(STDERR_FILENO) != 0)
{
}

ProgressLine::~ProgressLine()
{
    if (m_lastPercent >= 0) {
        std::cerr << "\r\033[K" << std::flush;
    }
}

void ProgressLine::show(double fraction, std::string const& step)
{
    const int percent = static_cast<int>(100 * std::clamp(fraction, 0.0, 1.0));
    if (!m_isTerminal || percent == m_lastPercent) {
        return;
    }
    m_lastPercent = percent;
    std::cerr << "\r\033[K" << m_title << ": " << step << ", " << percent << " %" << std::flush;
}

void guardDrawing(std::function<void()> const& operation)
{
    try {
        operation();
    } catch (OdError const& error) {
        rethrow(error);
    }
}

OdDbDatabasePtr openDrawing(HostSession& session, std::string const& path, OdDbOpenDrawingMode mode)
{
    OdDbDatabasePtr database;
    guardDrawing(
        [&] { database = odDbOpenDrawing(OdString::fromUtf8(path), mode, session.services()); });
    return database;
}

void checkTarget(std::string const& path)
{
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (error && status.type() != fs::file_type::not_found) {
        throw HostError(ExitCode::kFile, path, "can't be reached: " + error.message(),
                        "name another drawing");
    }
    const fs::path folder = fs::absolute(path).parent_path();
    if (!fs::is_directory(folder, error)) {
        throw HostError(ExitCode::kFile, path,
                        "there is no folder " + folder.string() + " to put it into",
                        "make the folder first");
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw HostError(ExitCode::kFile, path, "is no file", "name another drawing");
    }
    if (fs::is_regular_file(status) && fileSize(path) != 0 && !isDrawingFile(path)) {
        throw HostError(ExitCode::kFile, path, "is there and is no drawing",
                        "name another file, or remove this one if nobody needs it");
    }
    // A link may lead to a folder with other rights; saving tells of those.
    if (!fs::is_symlink(path, error) && ::access(folder.c_str(), W_OK | X_OK) != 0) {
        throw HostError(ExitCode::kFile, path,
                        "can't be made: the folder " + folder.string() + " can't be written to",
                        "check the rights of the folder, or name another");
    }
}

bool isDrawingFile(std::string const& path)
{
    constexpr std::streamoff kApplicationIdAt = 68;  // where the file format keeps it
    std::ifstream file(path, std::ios::binary);
    std::array<unsigned char, 4> bytes{};
    file.seekg(kApplicationIdAt);
    file.read(reinterpret_cast<char*>(bytes.data()), bytes.size());
    std::uint32_t id = 0;
    for (const unsigned char byte : bytes) {
        id = id << 8 | byte;
    }
    return file.good() && id == kDrawingApplicationId;
}

void saveDrawing(OdDbDatabase& database)
{
    ProgressLine line("saving");
    guardDrawing([&] { odDbSaveDrawing(database, saveProgress(line)); });
}

void saveDrawingAs(OdDbDatabase& database, std::string const& path, int dwgVersion)
{
    ProgressLine line("saving");
    guardDrawing([&] {
        odDbSaveDrawingAs(database, OdString::fromUtf8(path), dwgVersion, saveProgress(line));
    });
}

OdDbHandle handleFromText(std::string const& text)
{
    std::uint64_t value = 0;
    char const* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, value, 16);
    if (read.ec != std::errc() || read.ptr != end || value == 0) {
        throw HostError(ExitCode::kUsage, text, "is no handle",
                        "a handle is up to 16 hexadecimal digits, such as 2A");
    }
    return OdDbHandle(value);
}

OpenedObject tryOpen(OdDbDatabase& database, OdDbHandle handle, OdDb::OpenMode mode)
{
    OpenedObject opened;
    const OdDbObjectId id = database.getOdDbObjectId(handle);
    if (id.isNull()) {
        opened.problem = "isn't there";
        return opened;
    }
    guardDrawing([&] { opened.object = id.openObject(mode); });
    if (opened.object.isNull()) {
        opened.problem = "can't be read: " + damageOf(database, handle);
    }
    return opened;
}

OdDbObjectPtr openByHandle(OdDbDatabase& database, std::string const& handle, OdDb::OpenMode mode)
{
    const OdDbHandle value = handleFromText(handle);
    OpenedObject opened = tryOpen(database, value, mode);
    if (!opened.object.isNull()) {
        return opened.object;
    }
    const std::string drawing = toUtf8(database.getFilename());
    if (database.getOdDbObjectId(value).isNull()) {
        throw HostError(ExitCode::kFindings, drawing, "has no object " + toText(value),
                        "'zemhost info' lists the handles");
    }
    throw HostError(ExitCode::kFindings, drawing, "object " + toText(value) + ' ' + opened.problem,
                    "'zemhost check' lists all damages");
}

std::string damageOf(OdDbDatabase& database, OdDbHandle handle)
{
    for (OdDbStorageAccess::Damage const& damage : OdDbStorageAccess(database).damages()) {
        if (damage.handle == handle) {
            return damage.reason;
        }
    }
    return "it is erased";
}

ExitCode tellOfDamages(OdDbDatabase& database, std::string const& path)
{
    const OdDbStorageAccess access(database);
    for (OdDbStorageAccess::Damage const& damage : access.damages()) {
        std::cerr << "zemhost: warning: " << printable(path) << ": object " << toText(damage.handle)
                  << " can't be read, what it holds is missing: " << printable(damage.reason)
                  << '\n';
    }
    return access.damages().empty() ? ExitCode::kOk : ExitCode::kFindings;
}

void forEachHandle(OdDbDatabase const& database, std::function<void(OdDbHandle)> const& visit)
{
    for (OdDbHandle handle = database.nextHandle(); !handle.isNull();
         handle = database.nextHandle(handle)) {
        visit(handle);
    }
}

std::string classNameOf(OdDbObject const& object)
{
    const OdDbProxyObjectPtr proxy = OdDbProxyObject::cast(&object);
    return toUtf8(proxy.isNull() ? object.isA()->name() : proxy->originalClassName());
}

std::uint64_t fileSize(std::string const& path)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    return error ? 0 : size;
}

}  // namespace zemhost
