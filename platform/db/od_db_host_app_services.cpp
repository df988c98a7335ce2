#include "db/od_db_host_app_services.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

namespace {

namespace fs = std::filesystem;

fs::path pathOf(OdString const& text)
{
    return fs::path(std::string(text.utf8()));
}

OdString textOf(fs::path const& path)
{
    return OdString::fromUtf8(path.string());
}

bool isFile(fs::path const& path)
{
    std::error_code error;
    return fs::is_regular_file(path, error);
}

}  // namespace

OdDbHostAppServices::~OdDbHostAppServices() = default;

void OdDbHostAppServices::warning(OdString const& message)
{
    std::fprintf(stderr, "warning: %s\n", static_cast<char const*>(message));
}

OdString OdDbHostAppServices::findFile(OdString const& fileName, OdString const& drawingPath)
{
    const fs::path asNamed = pathOf(fileName);
    const fs::path besideDrawing = pathOf(drawingPath).parent_path() / asNamed;
    if (isFile(besideDrawing)) {
        return textOf(besideDrawing);
    }
    return isFile(asNamed) ? textOf(asNamed) : OdString();
}
