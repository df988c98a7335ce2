// Works on drawings for the tests, one command a line on standard input, one answer a line.
//
//     open read|write PATH     make PATH PARTS     change HANDLE NUMBER     load HANDLE
//     save                     save-as PATH        close
//
// The answer is "ok", or "error NUMBER TEXT".

#include "root/od_error.h"
#include "store/drawing_test_support.h"

#include <iostream>
#include <sstream>
#include <string>

namespace {

class DrawingTool
{
public:
    void run(std::string const& line)
    {
        std::istringstream words(line);
        std::string command;
        words >> command;
        if (command == "open") {
            std::string mode;
            std::string path;
            words >> mode >> path;
            m_database = nullptr;
            m_database = odDbOpenDrawing(OdString::fromUtf8(path),
                                         mode == "write" ? OdDbOpenDrawingMode::kForWriting
                                                         : OdDbOpenDrawingMode::kForReading);
        } else if (command == "make") {
            std::string path;
            int parts = 0;
            words >> path >> parts;
            odDbSaveDrawingAs(*makeDrawing(parts), OdString::fromUtf8(path));
        } else if (command == "change") {
            const StoreTestPartPtr part = idIn(words).safeOpenObject(OdDb::kForWrite);
            part->assertWriteEnabled();
            words >> part->number;
        } else if (command == "load") {
            (void)idIn(words).safeOpenObject();
        } else if (command == "save") {
            odDbSaveDrawing(*m_database);
        } else if (command == "save-as") {
            std::string path;
            words >> path;
            odDbSaveDrawingAs(*m_database, OdString::fromUtf8(path));
        } else if (command == "close") {
            m_database = nullptr;
        } else {
            throw OdError(kOdInvalidInput, OdString::fromUtf8("unknown command " + command));
        }
    }

private:
    OdDbObjectId idIn(std::istringstream& words) const
    {
        std::uint64_t handle = 0;
        words >> handle;
        return m_database->getOdDbObjectId(OdDbHandle(handle));
    }

    OdDbDatabasePtr m_database;
};

}  // namespace

int main()
{
    const OdDbPlatform platform;
    const StoreTestClasses classes;
    DrawingTool tool;
    std::string line;
    while (std::getline(std::cin, line)) {
        try {
            tool.run(line);
            std::cout << "ok" << std::endl;
        } catch (OdError const& error) {
            std::cout << "error " << error.code() << ' ' << error.what() << std::endl;
        }
    }
    return 0;
}
