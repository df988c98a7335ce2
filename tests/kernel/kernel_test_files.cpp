#include "kernel_test_files.h"

#include "kernel/kernel_export.h"

#include <stdlib.h>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace kernel_test {

std::filesystem::path samplePath(std::string_view name)
{
    return std::filesystem::path("/usr/share/opencascade/data") / name;
}

std::filesystem::path frameStepPath()
{
    return "/usr/share/doc/netgen/examples/frame.step";
}

TemporaryFolder::TemporaryFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "kernel_tests_XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    m_path = pattern;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::filesystem::path TemporaryFolder::write(std::string_view name, std::string_view content) const
{
    const std::filesystem::path file = m_path / name;
    std::ofstream stream(file, std::ios::binary);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + file.string());
    }
    return file;
}

std::string readFile(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

std::string boxStepText()
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "box.step";
    const std::vector<zemhost::ImportedSolid> solids = {
        {zemhost::KernelSolid::makeBox(10, 20, 30), "sample box"}};
    zemhost::exportStep(file, solids);
    return readFile(file);
}

std::string replaced(std::string text, std::string_view from, std::string_view to)
{
    const std::size_t at = text.find(from);
    if (at == std::string::npos) {
        throw std::logic_error("nothing to replace: " + std::string(from));
    }
    return text.replace(at, from.size(), to);
}

std::string describe(const zemhost::KernelSolid& solid)
{
    std::ostringstream text;
    text.precision(17);
    const zemhost::KernelBox box = solid.boundingBox();
    text << "box " << box.min[0] << ' ' << box.min[1] << ' ' << box.min[2] << ' ' << box.max[0]
         << ' ' << box.max[1] << ' ' << box.max[2] << "\nvolume " << solid.volumeMm3() << "\narea "
         << solid.areaMm2() << "\nvalid " << solid.isValid() << '\n';
    for (int number = 1; number <= solid.faceCount(); ++number) {
        const zemhost::FaceInfo face = solid.face(number);
        text << "face " << number << ' ' << surfaceKindName(face.kind) << ' ' << face.areaMm2
             << '\n';
    }
    for (int number = 1; number <= solid.edgeCount(); ++number) {
        const zemhost::EdgeInfo edge = solid.edge(number);
        text << "edge " << number << ' ' << curveKindName(edge.kind) << ' ' << edge.lengthMm
             << '\n';
    }
    for (int number = 1; number <= solid.vertexCount(); ++number) {
        const zemhost::KernelPoint point = solid.vertex(number).point;
        text << "vertex " << number << ' ' << point[0] << ' ' << point[1] << ' ' << point[2]
             << '\n';
    }
    return text.str();
}

std::string describeDifferences(const zemhost::OracleReport& report)
{
    std::ostringstream text;
    for (const zemhost::OracleFinding& finding : report.findings) {
        if (finding.isBlind) {
            continue;
        }
        text << subentKindName(finding.item.kind) << ' ' << finding.item.number << " is "
             << subentFateName(finding.fate) << ':';
        for (const int target : finding.mapTargets) {
            text << ' ' << target;
        }
        text << "; geometry:";
        for (const int target : finding.geometryTargets) {
            text << ' ' << target;
        }
        text << '\n';
    }
    return text.str();
}

}  // namespace kernel_test
