#include "cli/drawing.h"

#include "cli/text_format.h"
#include "db/od_db_object_store.h"
#include "db/od_db_proxy_object.h"
#include "root/od_error.h"

#include "protocol/host_error.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <iostream>

namespace zemhost {

namespace {

std::string adviceFor(OdResult code)
{
    switch (code) {
    case kOdFileNotFound:
        return "check the path; 'zemhost import' makes a drawing";
    case kOdFileAccess:
        return "check the path and the rights of the file and of its folder";
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

OdDbObjectPtr openByHandle(OdDbDatabase& database, std::string const& handle, OdDb::OpenMode mode)
{
    std::uint64_t value = 0;
    char const* const end = handle.data() + handle.size();
    const auto read = std::from_chars(handle.data(), end, value, 16);
    if (read.ec != std::errc() || read.ptr != end || value == 0) {
        throw HostError(ExitCode::kUsage, handle, "is no handle",
                        "a handle is up to 16 hexadecimal digits, such as 2A");
    }
    const OdDbObjectId id = database.getOdDbObjectId(OdDbHandle(value));
    if (id.isNull()) {
        throw HostError(ExitCode::kFindings, toUtf8(database.getFilename()),
                        "has no object " + handle, "'zemhost info' lists the handles");
    }
    OdDbObjectPtr object;
    guardDrawing([&] { object = id.openObject(mode); });
    if (object.isNull()) {
        throw HostError(ExitCode::kFindings, toUtf8(database.getFilename()),
                        "object " + handle + " can't be read: " + damageOf(database, value),
                        "'zemhost check' lists all damages");
    }
    return object;
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
