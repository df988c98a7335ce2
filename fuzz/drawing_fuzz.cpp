// Opens bytes as a drawing, checks it, touches every object and saves it under another name. Either
// the file is refused, or what could be read of it is in the copy.
//
// Input: a drawing file.

#include "assoc/od_platform.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"
#include "store/od_db_drawing.h"
#include "store/od_db_drawing_check.h"
#include "store/od_db_file_filer.h"

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace {

using Content = std::map<std::uint64_t, std::string>;

/// A folder for one process, gone when it ends.
class Folder
{
public:
    Folder()
        : m_path(std::filesystem::temp_directory_path() /
                 ("zem_drawing_fuzz_" + std::to_string(::getpid())))
    {
        std::filesystem::create_directories(m_path);
    }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;
    ~Folder()
    {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }

    OdString file(char const* name) const { return OdString::fromUtf8((m_path / name).string()); }

private:
    std::filesystem::path m_path;
};

void writeInput(OdString const& path, std::uint8_t const* data, std::size_t size)
{
    const std::filesystem::path file(std::string(path.utf8()));
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(reinterpret_cast<char const*>(data), static_cast<std::streamsize>(size));
}

/// What each object that can be read files.
Content contentOf(OdDbDatabase& database)
{
    Content content;
    OdStaticRxObject<OdDbFileFiler> filer(&database);
    OdDbHandle handle = database.nextHandle();
    for (; !handle.isNull(); handle = database.nextHandle(handle)) {
        const OdDbObjectPtr object = database.getOdDbObjectId(handle).openObject();
        if (object.isNull()) {
            continue;
        }
        filer.startRecord(OdDb::kDwgVersionCurrent);
        object->dwgOutFields(&filer);
        std::string& bytes = content[handle.value()];
        bytes.assign(filer.body().begin(), filer.body().end());
        bytes.append(filer.references().begin(), filer.references().end());
    }
    return content;
}

void testDrawing(OdString const& path, OdString const& copy)
{
    (void)odDbCheckDrawing(path, {});
    Content content;
    {
        const OdDbDatabasePtr database = odDbOpenDrawing(path, OdDbOpenDrawingMode::kForReading);
        content = contentOf(*database);
        odDbSaveDrawingAs(*database, copy);
    }
    const OdDbDatabasePtr database = odDbOpenDrawing(copy, OdDbOpenDrawingMode::kForWriting);
    if (contentOf(*database) != content) {
        std::abort();
    }
    (void)database->newRegApp(L"FUZZ");
    odDbSaveDrawing(*database);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const OdPlatform s_platform;
    static const Folder s_folder;
    const OdString path = s_folder.file("input.zdw");
    writeInput(path, data, size);
    try {
        testDrawing(path, s_folder.file("copy.zdw"));
    } catch (OdError const&) {
        // Refused, with a reason.
    }
    return 0;
}
