// Files that the tests of the kernel read: sample parts of the distribution and files made here.

#pragma once

#include "kernel/geometry_oracle.h"
#include "kernel/kernel_import.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace kernel_test {

/// The folder of the sample parts that come with the kernel's packages.
std::filesystem::path samplePath(std::string_view name);

/// A sample part of the mesh generator's documentation package.
std::filesystem::path frameStepPath();

/// A new empty folder that is removed with everything in it.
class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return m_path; }

    /// Writes a file into the folder and answers its path.
    std::filesystem::path write(std::string_view name, std::string_view content) const;

private:
    std::filesystem::path m_path;
};

std::string readFile(const std::filesystem::path& path);

/// The text of a STEP file with one box of 10 x 20 x 30 mm, whose product is called "sample box".
std::string boxStepText();

/// `text` with the first `from` replaced. \throws std::logic_error if there is none.
std::string replaced(std::string text, std::string_view from, std::string_view to);

/// Every number and figure of a solid as text, for comparing two solids.
std::string describe(const zemhost::KernelSolid& solid);

/// The items on which a map and geometry differ, one on a line.
std::string describeDifferences(const zemhost::OracleReport& report);

}  // namespace kernel_test
