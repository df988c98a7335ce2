// Runs zemhost as a process, and makes the folders, parts and drawings that it works on.

#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace host_test {

/// How a run of the program ended, and what it said.
struct ProgramResult
{
    int exitCode = -1;  ///< 128 and the signal's number if one ended it
    std::string output;
    std::string errors;

    /// The output as JSON; discarded (see nlohmann) if it is none.
    nlohmann::json json() const;
};

/// Where a run's standard streams lead to.
struct ProgramStreams
{
    std::string input;       ///< text for standard input
    std::string outputFile;  ///< instead of `ProgramResult::output`
};

/// Runs zemhost to its end.
ProgramResult runZemhost(std::vector<std::string> const& arguments,
                         ProgramStreams const& streams = {});

/// A new empty folder that is removed with everything in it.
class TemporaryFolder
{
public:
    TemporaryFolder();
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;
    ~TemporaryFolder();

    std::filesystem::path const& path() const noexcept { return m_path; }
    /// The path of a file in the folder.
    std::string file(std::string_view name) const { return (m_path / name).string(); }
    /// Writes a file and gives its path.
    std::string write(std::string_view name, std::string_view content) const;

private:
    std::filesystem::path m_path;
};

std::string readFile(std::string const& path);

/// Handles, hexadecimal, of the solids that `makeDrawing` puts into a drawing.
struct SampleDrawing
{
    std::string path;
    std::string first;
    std::string second;
};

/// A drawing with two solids, "first solid" and "second solid", whose bodies are no real ones.
SampleDrawing makeDrawing(TemporaryFolder const& folder, std::string_view name = "sample.zdw");

/// A STEP file with two boxes, "left box" of 10 x 20 x 30 mm and "right box" of 1 x 2 x 3 mm.
std::string makeStepFile(TemporaryFolder const& folder, std::string_view name = "boxes.step");

/// A sample part of the kernel's packages: a screw in STEP, a ball in BREP.
std::string screwStepPath();
std::string ballBrepPath();

/// Changes the first place in a file where a text stands, so that it is damaged there.
void damage(std::string const& path, std::string_view text);

}  // namespace host_test
