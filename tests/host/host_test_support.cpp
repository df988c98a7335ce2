#include "host/host_test_support.h"

#include "assoc/od_platform.h"
#include "db/od_db_3d_solid.h"
#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "kernel/kernel_export.h"
#include "store/od_db_drawing.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace host_test {

namespace {

namespace fs = std::filesystem;

void redirect(std::string const& path, int descriptor, int flags)
{
    const int file = ::open(path.c_str(), flags, 0644);
    if (file < 0 || ::dup2(file, descriptor) < 0) {
        ::_exit(126);
    }
}

[[noreturn]] void execute(std::vector<std::string> const& arguments)
{
    std::vector<char*> words;
    std::string program = ZEM_HOST_PATH;
    words.push_back(program.data());
    for (std::string const& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    ::execv(program.c_str(), words.data());
    ::_exit(127);
}

std::string textOf(OdDbHandle handle)
{
    std::string text;
    handle.ascii().appendUtf8To(text);
    return text;
}

OdDbHandle appendSolid(OdDbBlockTableRecord& block, wchar_t const* label)
{
    const OdDb3dSolidPtr solid = OdDb3dSolid::createObject();
    block.appendOdDbEntity(solid.get());
    OdBinaryData body;
    body.resize(3000, 0x5A);
    OdDb3dSolid::Counts counts;
    counts.faces = 6;
    counts.edges = 12;
    counts.vertices = 8;
    solid->setBody(L"test", body, counts);
    solid->setLabel(label);
    return solid->handle();
}

}  // namespace

nlohmann::json ProgramResult::json() const
{
    return nlohmann::json::parse(output, nullptr, /*allow_exceptions=*/false);
}

ProgramResult runZemhost(std::vector<std::string> const& arguments, ProgramStreams const& streams)
{
    const TemporaryFolder folder;
    const std::string input = folder.write("input", streams.input);
    const std::string output =
        streams.outputFile.empty() ? folder.file("output") : streams.outputFile;
    const std::string errors = folder.file("errors");
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::runtime_error("no process");
    }
    if (child == 0) {
        redirect(input, STDIN_FILENO, O_RDONLY);
        redirect(output, STDOUT_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
        redirect(errors, STDERR_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
        execute(arguments);
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child) {
        throw std::runtime_error("the process is lost");
    }
    ProgramResult result;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.output = streams.outputFile.empty() ? readFile(output) : std::string();
    result.errors = readFile(errors);
    return result;
}

TemporaryFolder::TemporaryFolder()
{
    std::string pattern = (fs::temp_directory_path() / "zemhost_test_XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    m_path = pattern;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code error;
    fs::remove_all(m_path, error);
}

std::string TemporaryFolder::write(std::string_view name, std::string_view content) const
{
    const std::string path = file(name);
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

std::string readFile(std::string const& path)
{
    std::ifstream stream(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

SampleDrawing makeDrawing(TemporaryFolder const& folder, std::string_view name)
{
    const OdPlatform platform;
    SampleDrawing sample;
    sample.path = folder.file(name);
    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    {
        const OdDbBlockTableRecordPtr modelSpace = OdDbBlockTableRecord::cast(
            database->getModelSpaceId().safeOpenObject(OdDb::kForWrite).get());
        sample.first = textOf(appendSolid(*modelSpace, L"first solid"));
        sample.second = textOf(appendSolid(*modelSpace, L"second solid"));
    }
    odDbSaveDrawingAs(*database, OdString::fromUtf8(sample.path));
    return sample;
}

std::string makeStepFile(TemporaryFolder const& folder, std::string_view name)
{
    const std::string path = folder.file(name);
    const std::array solids = {
        zemhost::ImportedSolid{zemhost::KernelSolid::makeBox(10, 20, 30), "left box"},
        zemhost::ImportedSolid{zemhost::KernelSolid::makeBox(1, 2, 3), "right box"}};
    zemhost::exportStep(path, solids);
    return path;
}

std::string screwStepPath()
{
    return "/usr/share/opencascade/data/step/screw.step";
}

std::string ballBrepPath()
{
    return "/usr/share/opencascade/data/occ/Ball.brep";
}

void damage(std::string const& path, std::string_view text)
{
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    const std::size_t at = bytes.find(text);
    if (at == std::string::npos) {
        throw std::logic_error("nothing to damage");
    }
    file.clear();
    file.seekp(static_cast<std::streamoff>(at));
    file.put(static_cast<char>(bytes[at] ^ 0x20));
}

}  // namespace host_test
