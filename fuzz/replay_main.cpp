// Plain main() of the fuzz programs: replays the files and folders given as arguments.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

/// All files that the arguments name, those of a folder sorted, so that each run has one order.
std::vector<std::filesystem::path> listInputs(int argc, char** argv)
{
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path argument = argv[i];
        if (!std::filesystem::is_directory(argument)) {
            inputs.push_back(argument);
            continue;
        }
        const auto firstOfFolder = static_cast<std::ptrdiff_t>(inputs.size());
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argument)) {
            if (entry.is_regular_file()) {
                inputs.push_back(entry.path());
            }
        }
        std::sort(inputs.begin() + firstOfFolder, inputs.end());
    }
    return inputs;
}

bool replay(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        std::fprintf(stderr, "%s: cannot be read\n", path.c_str());
        return false;
    }
    const std::string bytes{std::istreambuf_iterator<char>(stream),
                            std::istreambuf_iterator<char>()};
    // An exact copy of its own, so that reading one byte too far is seen by the sanitizers.
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        std::size_t replayed = 0;
        bool allRead = true;
        for (const std::filesystem::path& path : listInputs(argc, argv)) {
            if (replay(path)) {
                ++replayed;
            } else {
                allRead = false;
            }
        }
        std::printf("replayed %zu inputs\n", replayed);
        return allRead ? 0 : 1;
    } catch (const std::filesystem::filesystem_error& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
