// The least that a host does: start the platform, load the module, keep an object of it in a drawing.
//
//   minimal_host DRAWING
//
// DRAWING is made, or replaced if it is there.

#include <assoc/od_platform.h>
#include <db/od_db_database.h>
#include <db/od_db_dictionary.h>
#include <root/od_error.h>
#include <root/od_rx_module.h>
#include <store/od_db_drawing.h>

#include <cstdio>
#include <memory>

namespace {

/// Makes a drawing with one object of the module under a name of ours.
void writeDrawing(OdString const& path)
{
    const OdDbDatabasePtr drawing = OdDbDatabase::createObject();
    const OdDbDictionaryPtr roots =
        drawing->getNamedObjectsDictionaryId().safeOpenObject(OdDb::kForWrite);
    const OdDbObjectPtr object = odrxCreateObject(L"ZemDbExtensionData");
    roots->setAt(L"MINIMAL_HOST", object.get());
    odDbSaveDrawingAs(*drawing, path);
}

/// Finds the object again; objects are read when they are opened.
void readDrawing(OdString const& path)
{
    const OdDbDatabasePtr drawing = odDbOpenDrawing(path, OdDbOpenDrawingMode::kForReading);
    const OdDbDictionaryPtr roots = drawing->getNamedObjectsDictionaryId().safeOpenObject();
    const OdDbObjectPtr object = roots->getAt(L"MINIMAL_HOST", OdDb::kForRead);
    if (object.isNull()) {
        throw OdError(kOdKeyNotFound);
    }
    std::printf("object %s is a %s\n", static_cast<char const*>(object->handle().ascii()),
                static_cast<char const*>(object->isA()->name()));
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: minimal_host DRAWING\n");
        return 2;
    }
    try {
        // In this order: what is made last ends first, and no object outlives its module.
        const OdPlatform platform;
        const std::unique_ptr<OdModuleHandle> module = odLoadModule(MODULE_PATH);
        writeDrawing(argv[1]);
        readDrawing(argv[1]);
        return 0;
    } catch (OdError const& error) {
        // The text names the file that it is about.
        std::fprintf(stderr, "minimal_host: %s\n", error.what());
        return 1;
    }
}
