#include "store/od_db_file_operations.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace {

OdDbFileOperations* g_operations = nullptr;

std::error_code lastError()
{
    return {errno, std::generic_category()};
}

}  // namespace

OdDbFileOperations::~OdDbFileOperations() = default;

std::error_code OdDbFileOperations::renameFile(std::filesystem::path const& from,
                                               std::filesystem::path const& to)
{
    std::error_code error;
    std::filesystem::rename(from, to, error);
    return error;
}

std::error_code OdDbFileOperations::syncFolder(std::filesystem::path const& folder)
{
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        return lastError();
    }
    std::error_code error;
    // Some file systems have nothing to sync for a folder and say so.
    if (::fsync(descriptor) != 0 && errno != EINVAL) {
        error = lastError();
    }
    ::close(descriptor);
    return error;
}

std::error_code OdDbFileOperations::removeFile(std::filesystem::path const& file)
{
    std::error_code error;
    std::filesystem::remove(file, error);
    return error;
}

char const* OdDbFileOperations::fileLayerName() const
{
    return nullptr;
}

OdDbFileOperations& OdDbFileOperations::current() noexcept
{
    static OdDbFileOperations s_system;
    return g_operations != nullptr ? *g_operations : s_system;
}

void OdDbFileOperations::use(OdDbFileOperations* operations) noexcept
{
    g_operations = operations;
}
