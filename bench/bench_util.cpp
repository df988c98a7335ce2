#include "bench_util.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <utility>

namespace {

void writeAll(int pipe, void const* data, std::size_t size)
{
    auto const* at = static_cast<char const*>(data);
    while (size != 0) {
        const ssize_t written = write(pipe, at, size);
        if (written <= 0) {
            _exit(1);
        }
        at += written;
        size -= static_cast<std::size_t>(written);
    }
}

[[noreturn]] void runPhase(int pipe, std::function<Figures()> const& phase)
{
    try {
        const Figures figures = phase();
        writeAll(pipe, figures.data(), figures.size() * sizeof(double));
        std::fflush(nullptr);
        _exit(0);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "%s\n", error.what());
        _exit(1);
    }
}

Figures readFigures(int pipe)
{
    Figures figures;
    double figure = 0.0;
    std::size_t filled = 0;
    while (true) {
        const ssize_t got =
            read(pipe, reinterpret_cast<char*>(&figure) + filled, sizeof figure - filled);
        if (got <= 0) {
            return figures;
        }
        filled += static_cast<std::size_t>(got);
        if (filled == sizeof figure) {
            figures.push_back(figure);
            filled = 0;
        }
    }
}

[[noreturn]] void fail(char const* message, char const* detail)
{
    std::fprintf(stderr, "%s%s\n", message, detail);
    std::exit(2);
}

}  // namespace

MeasuredRun runInChild(std::function<Figures()> const& phase)
{
    int ends[2] = {};
    if (pipe(ends) != 0) {
        fail("can't make a pipe: ", std::strerror(errno));
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        fail("can't start a process: ", std::strerror(errno));
    }
    if (child == 0) {
        close(ends[0]);
        runPhase(ends[1], phase);
    }
    close(ends[1]);
    MeasuredRun run;
    run.figures = readFigures(ends[0]);
    close(ends[0]);
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    run.peakMib = static_cast<double>(usage.ru_maxrss) / 1024.0;
    run.succeeded = WIFEXITED(status) && WEXITSTATUS(status) == 0 && !run.figures.empty();
    return run;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2.0;
}

MeasuredRun medianOfRuns(char const* what, std::size_t repeats,
                         std::function<Figures()> const& phase)
{
    std::vector<MeasuredRun> runs;
    for (std::size_t repeat = 0; repeat < repeats; ++repeat) {
        if (isatty(STDERR_FILENO) != 0) {
            std::fprintf(stderr, "\r\033[K%s, run %zu of %zu", what, repeat + 1, repeats);
        }
        runs.push_back(runInChild(phase));
        if (!runs.back().succeeded || runs.back().figures.size() != runs.front().figures.size()) {
            fail("this phase failed: ", what);
        }
    }
    if (isatty(STDERR_FILENO) != 0) {
        std::fprintf(stderr, "\r\033[K");
    }
    MeasuredRun result = runs.front();
    for (std::size_t index = 0; index < result.figures.size(); ++index) {
        std::vector<double> values;
        for (MeasuredRun const& run : runs) {
            values.push_back(run.figures[index]);
        }
        result.figures[index] = median(std::move(values));
    }
    std::vector<double> peaks;
    for (MeasuredRun const& run : runs) {
        peaks.push_back(run.peakMib);
    }
    result.peakMib = median(std::move(peaks));
    return result;
}

BenchOptions readOptions(int argc, char** argv)
{
    BenchOptions options;
    char const* brief = std::getenv("ZEM_BENCH_BRIEF");
    options.brief = brief != nullptr && std::strcmp(brief, "0") != 0;
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        if (argument == "--brief") {
            options.brief = true;
        } else if (argument == "--json") {
            options.json = true;
        } else if (argument == "--count" && index + 1 < argc) {
            options.count = std::strtoull(argv[++index], nullptr, 10);
        } else if (argument.rfind("--benchmark", 0) != 0) {
            fail("usage: [--brief] [--json] [--count N]; unknown: ", argv[index]);
        }
    }
    return options;
}

BenchFolder::BenchFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "zem_bench_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        fail("can't make a folder like ", pattern.c_str());
    }
    m_path = pattern;
}

BenchFolder::~BenchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

void RatioTable::addAtMost(std::string what, std::string unit, double ours, double peer,
                           double goal)
{
    m_rows.push_back({std::move(what), std::move(unit), ours, peer, goal, true});
}

void RatioTable::addAtLeast(std::string what, std::string unit, double ours, double peer,
                            double goal)
{
    m_rows.push_back({std::move(what), std::move(unit), ours, peer, goal, false});
}

void RatioTable::add(std::string what, std::string unit, double ours, double peer)
{
    m_rows.push_back({std::move(what), std::move(unit), ours, peer, 0.0, true});
}

void RatioTable::print(BenchOptions const& options) const
{
    if (options.json) {
        printJson();
    } else {
        printText();
    }
    std::fflush(stdout);
}

void RatioTable::printText() const
{
    std::printf("%s\n%-44s %12s %12s %-6s %9s %10s\n", m_title.c_str(), "", "ours", "beside",
                "unit", "ratio", "goal");
    for (Row const& row : m_rows) {
        std::printf("%-44s %12.5g %12.5g %-6s %8.4gx", row.what.c_str(), row.ours, row.peer,
                    row.unit.c_str(), row.ratio());
        if (row.goal != 0.0) {
            std::printf(" %s %.4gx %s", row.isAtMost ? "<=" : ">=", row.goal,
                        row.isMet() ? "met" : "MISSED");
        }
        std::printf("\n");
    }
    std::printf("\n");
}

void RatioTable::printJson() const
{
    std::printf("{\"title\": \"%s\", \"rows\": [", m_title.c_str());
    char const* separator = "";
    for (Row const& row : m_rows) {
        std::printf(
            "%s\n  {\"what\": \"%s\", \"unit\": \"%s\", \"ours\": %.17g, \"beside\": %.17g, "
            "\"ratio\": %.17g",
            separator, row.what.c_str(), row.unit.c_str(), row.ours, row.peer, row.ratio());
        if (row.goal != 0.0) {
            std::printf(", \"goal\": %.17g, \"atMost\": %s, \"met\": %s", row.goal,
                        row.isAtMost ? "true" : "false", row.isMet() ? "true" : "false");
        }
        std::printf("}");
        separator = ",";
    }
    std::printf("\n]}\n");
}
