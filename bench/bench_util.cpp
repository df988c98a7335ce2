#include "bench_util.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace bench {

namespace {

//--------------------------------------------------------------------------------------------------
// Child processes

constexpr double kKibPerMib = 1024;

/// First byte of what a child writes.
constexpr char kFiguresFollow = 'F';
constexpr char kErrorFollows = 'E';

/// Resident memory of this process now.
double residentMib()
{
    std::ifstream stream("/proc/self/statm");
    double totalPages = 0;
    double residentPages = 0;
    stream >> totalPages >> residentPages;
    return residentPages * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1024 / kKibPerMib;
}

void writeAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            ::_exit(1);  // the parent is gone
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::string readAll(int descriptor)
{
    std::string bytes;
    std::array<char, 4096> buffer{};
    while (true) {
        const ssize_t size = ::read(descriptor, buffer.data(), buffer.size());
        if (size < 0 && errno == EINTR) {
            continue;
        }
        if (size <= 0) {
            return bytes;
        }
        bytes.append(buffer.data(), static_cast<std::size_t>(size));
    }
}

/// The doubles as they lie in memory: both ends are one program.
std::string packed(const Figures& figures)
{
    std::string bytes(figures.size() * sizeof(double), '\0');
    if (!figures.empty()) {
        std::memcpy(bytes.data(), figures.data(), bytes.size());
    }
    return bytes;
}

Figures unpacked(std::string_view bytes)
{
    Figures figures(bytes.size() / sizeof(double));
    if (!figures.empty()) {
        std::memcpy(figures.data(), bytes.data(), figures.size() * sizeof(double));
    }
    return figures;
}

[[noreturn]] void runChild(int pipeEnd, const std::function<Figures()>& work)
{
    std::string answer;
    try {
        const double base = residentMib();
        const Stopwatch watch;
        const Figures figures = work();
        const double seconds = watch.seconds();
        answer = kFiguresFollow + packed({seconds, base}) + packed(figures);
    } catch (const std::exception& error) {
        answer = kErrorFollows + std::string(error.what());
    }
    std::cout.flush();
    (void)std::fflush(nullptr);  // what the work printed; nothing to do if it cannot be written
    writeAll(pipeEnd, answer);
    ::_exit(0);
}

struct ChildEnd
{
    int status = 0;
    double peakRssMib = 0;
};

ChildEnd waitFor(pid_t process)
{
    ChildEnd end;
    struct rusage usage
    {
    };
    while (::wait4(process, &end.status, 0, &usage) < 0) {
        if (errno != EINTR) {
            throw std::runtime_error("the child process is lost");
        }
    }
    end.peakRssMib = static_cast<double>(usage.ru_maxrss) / kKibPerMib;
    return end;
}

std::string endText(int status)
{
    if (WIFSIGNALED(status)) {
        return "signal " + std::to_string(WTERMSIG(status));
    }
    return "exit code " + std::to_string(WEXITSTATUS(status));
}

MeasuredRun evaluate(const std::string& answer, const ChildEnd& end)
{
    constexpr std::size_t kOwnFigures = 2;
    if (!answer.empty() && answer.front() == kErrorFollows) {
        throw std::runtime_error(answer.substr(1));
    }
    const std::string_view bytes = std::string_view(answer).substr(answer.empty() ? 0 : 1);
    if (end.status != 0 || bytes.size() < kOwnFigures * sizeof(double)) {
        throw std::runtime_error("the measured process ended with " + endText(end.status));
    }
    const Figures figures = unpacked(bytes);
    MeasuredRun run;
    run.wallSeconds = figures[0];
    run.baseRssMib = figures[1];
    run.peakRssMib = std::max(end.peakRssMib, run.baseRssMib);
    run.figures.assign(figures.begin() + kOwnFigures, figures.end());
    return run;
}

//--------------------------------------------------------------------------------------------------
// Command line

[[noreturn]] void endWithUsage(const char* program, const std::string& fault)
{
    std::ostream& stream = fault.empty() ? std::cout : std::cerr;
    if (!fault.empty()) {
        stream << fault << '\n';
    }
    stream << "usage: " << program << " [--brief] [--runs K] [--counts N[,N...]] [--json FILE]\n"
           << "  --brief    small sizes and one run, to see that the program works\n"
           << "  --runs     measured runs, of which the median counts (5)\n"
           << "  --counts   numbers of objects\n"
           << "  --json     also write the table to a file\n";
    std::exit(fault.empty() ? 0 : 2);
}

/// A whole number from 1 up, or nothing.
std::optional<std::size_t> numberOf(std::string_view text)
{
    std::size_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number == 0) {
        return std::nullopt;
    }
    return number;
}

std::optional<std::vector<std::size_t>> numbersOf(const std::string& text)
{
    std::vector<std::size_t> numbers;
    std::istringstream stream(text);
    std::string part;
    while (std::getline(stream, part, ',')) {
        const std::optional<std::size_t> number = numberOf(part);
        if (!number.has_value()) {
            return std::nullopt;
        }
        numbers.push_back(*number);
    }
    return numbers;
}

bool isBriefAskedByEnvironment()
{
    const char* const value = std::getenv("ZEM_BENCH_BRIEF");
    return value != nullptr && std::string_view(value) != "" && std::string_view(value) != "0";
}

/// Takes an option with a value; false if the value makes no sense.
bool takeOption(BenchOptions& options, std::string_view name, const std::string& value)
{
    constexpr std::size_t kMostRuns = 1000;
    if (name == "--json") {
        options.jsonPath = value;
        return !value.empty();
    }
    if (name == "--runs") {
        const std::optional<std::size_t> runs = numberOf(value);
        options.runs = static_cast<int>(std::min(runs.value_or(1), kMostRuns));
        return runs.has_value();
    }
    const std::optional<std::vector<std::size_t>> counts = numbersOf(value);
    options.counts = counts.value_or(std::vector<std::size_t>());
    return !options.counts.empty();
}

//--------------------------------------------------------------------------------------------------
// Table

/// Four figures that matter, without an exponent for what people read.
std::string shownNumber(double value)
{
    constexpr int kFigures = 4;
    if (!std::isfinite(value)) {
        return "-";
    }
    const double size = std::abs(value);
    const int before = size > 0 ? static_cast<int>(std::floor(std::log10(size))) + 1 : 1;
    const bool isTiny = size > 0 && size < 1e-4;
    std::ostringstream text;
    if (isTiny) {
        text << std::scientific << std::setprecision(kFigures - 1) << value;
    } else {
        text << std::fixed << std::setprecision(std::max(0, kFigures - before)) << value;
    }
    return text.str();
}

std::string shownFigure(double value, const std::string& unit)
{
    return shownNumber(value) + (unit.empty() ? "" : " " + unit);
}

std::string shownGoal(const Comparison& comparison)
{
    switch (comparison.kind) {
    case GoalKind::kNone:
        break;
    case GoalKind::kAtMost:
        return "<= " + shownNumber(comparison.goal);
    case GoalKind::kAtLeast:
        return ">= " + shownNumber(comparison.goal);
    }
    return "";
}

std::string shownAnswer(const std::optional<bool>& answer)
{
    if (!answer.has_value()) {
        return "";
    }
    return *answer ? "yes" : "NO";
}

std::string jsonText(const std::string& text)
{
    std::ostringstream result;
    result << '"';
    for (const char letter : text) {
        const auto code = static_cast<unsigned char>(letter);
        if (letter == '"' || letter == '\\') {
            result << '\\' << letter;
        } else if (code < 0x20) {
            result << "\\u" << std::hex << std::setw(4) << std::setfill('0') << int{code}
                   << std::dec;
        } else {
            result << letter;
        }
    }
    result << '"';
    return result.str();
}

std::string jsonNumber(double value)
{
    if (!std::isfinite(value)) {
        return "null";
    }
    std::ostringstream text;
    text << std::setprecision(12) << value;
    return text.str();
}

std::string jsonRow(const Comparison& comparison)
{
    const std::optional<double> ratio = comparison.ratio();
    const std::optional<bool> isMet = comparison.isMet();
    std::ostringstream row;
    row << "{\"what\": " << jsonText(comparison.what) << ", \"unit\": " << jsonText(comparison.unit)
        << ", \"ours\": " << jsonNumber(comparison.ours)
        << ", \"peer\": " << jsonNumber(comparison.peer)
        << ", \"ratio\": " << (ratio.has_value() ? jsonNumber(*ratio) : "null")
        << ", \"goal\": " << jsonText(shownGoal(comparison))
        << ", \"met\": " << (isMet.has_value() ? (*isMet ? "true" : "false") : "null") << '}';
    return row.str();
}

}  // namespace

//--------------------------------------------------------------------------------------------------

double peakResidentMib()
{
    struct rusage usage
    {
    };
    (void)::getrusage(RUSAGE_SELF, &usage);  // cannot fail for the process itself
    return static_cast<double>(usage.ru_maxrss) / kKibPerMib;
}

MeasuredRun runInChild(const std::function<Figures()>& work)
{
    std::array<int, 2> ends{};
    // What is still in the buffers would be printed by both processes.
    std::cout.flush();
    (void)std::fflush(nullptr);
    if (::pipe(ends.data()) != 0) {
        throw std::runtime_error("no pipe for a measured process");
    }
    const pid_t process = ::fork();
    if (process < 0) {
        (void)::close(ends[0]);
        (void)::close(ends[1]);
        throw std::runtime_error("no measured process");
    }
    if (process == 0) {
        (void)::close(ends[0]);
        runChild(ends[1], work);
    }
    (void)::close(ends[1]);
    const std::string answer = readAll(ends[0]);
    (void)::close(ends[0]);
    return evaluate(answer, waitFor(process));
}

double median(std::vector<double> values)
{
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    if (values.size() % 2 == 1) {
        return values[middle];
    }
    return (values[middle - 1] + values[middle]) / 2;
}

MeasuredRun medianRun(int runs, bool warmUp, const std::function<Figures()>& work)
{
    if (warmUp) {
        (void)runInChild(work);  // only to fill the caches
    }
    std::vector<MeasuredRun> measured;
    for (int run = 0; run < runs; ++run) {
        measured.push_back(runInChild(work));
        if (measured.back().figures.size() != measured.front().figures.size()) {
            throw std::runtime_error("two runs of one benchmark answer different figures");
        }
    }
    const auto medianBy = [&measured](const auto& figureOf) {
        std::vector<double> values;
        for (const MeasuredRun& run : measured) {
            values.push_back(figureOf(run));
        }
        return median(std::move(values));
    };
    MeasuredRun result;
    result.wallSeconds = medianBy([](const MeasuredRun& run) { return run.wallSeconds; });
    result.baseRssMib = medianBy([](const MeasuredRun& run) { return run.baseRssMib; });
    result.peakRssMib = medianBy([](const MeasuredRun& run) { return run.peakRssMib; });
    const std::size_t count = measured.empty() ? 0 : measured.front().figures.size();
    for (std::size_t at = 0; at < count; ++at) {
        result.figures.push_back(
            medianBy([at](const MeasuredRun& run) { return run.figures[at]; }));
    }
    return result;
}

BenchFolder::BenchFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "zem_bench_XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary folder for the benchmark");
    }
    m_path = pattern;
}

BenchFolder::~BenchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

BenchOptions parseBenchOptions(int argc, char** argv)
{
    BenchOptions options;
    options.isBrief = isBriefAskedByEnvironment();
    for (int at = 1; at < argc; ++at) {
        const std::string_view argument = argv[at];
        if (argument.starts_with("--benchmark_")) {
            continue;
        }
        if (argument == "--help") {
            endWithUsage(argv[0], "");
        }
        if (argument == "--brief") {
            options.isBrief = true;
            continue;
        }
        const bool takesValue =
            argument == "--runs" || argument == "--counts" || argument == "--json";
        if (!takesValue) {
            endWithUsage(argv[0], "unknown argument: " + std::string(argument));
        }
        const std::string value = at + 1 < argc ? argv[++at] : "";
        if (!takeOption(options, argument, value)) {
            endWithUsage(argv[0], std::string(argument) + ": bad value \"" + value + "\"");
        }
    }
    if (options.isBrief) {
        options.runs = 1;
    }
    return options;
}

//--------------------------------------------------------------------------------------------------

std::optional<double> Comparison::ratio() const
{
    if (peer == 0) {
        return std::nullopt;
    }
    return ours / peer;
}

std::optional<bool> Comparison::isMet() const
{
    const std::optional<double> value = ratio();
    if (kind == GoalKind::kNone || !value.has_value()) {
        return std::nullopt;
    }
    return kind == GoalKind::kAtMost ? *value <= goal : *value >= goal;
}

ComparisonReport::ComparisonReport(std::string title, std::string peerName)
    : m_title(std::move(title)), m_peerName(std::move(peerName))
{
}

void ComparisonReport::add(Comparison comparison)
{
    m_comparisons.push_back(std::move(comparison));
}

std::size_t ComparisonReport::missedCount() const
{
    return static_cast<std::size_t>(
        std::count_if(m_comparisons.begin(), m_comparisons.end(),
                      [](const Comparison& row) { return !row.isMet().value_or(true); }));
}

void ComparisonReport::print(std::ostream& stream) const
{
    using Row = std::array<std::string, 6>;
    std::vector<Row> rows = {{"what", "ours", m_peerName, "ratio", "goal", "met"}};
    for (const Comparison& row : m_comparisons) {
        const std::optional<double> ratio = row.ratio();
        rows.push_back({row.what, shownFigure(row.ours, row.unit), shownFigure(row.peer, row.unit),
                        ratio.has_value() ? shownNumber(*ratio) : "-", shownGoal(row),
                        shownAnswer(row.isMet())});
    }
    std::array<std::size_t, 6> widths{};
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    stream << m_title << '\n';
    for (const Row& row : rows) {
        std::ostringstream line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            const bool isText = column == 0 || column >= 4;
            line << (isText ? std::left : std::right) << std::setw(static_cast<int>(widths[column]))
                 << row[column] << "  ";
        }
        std::string text = line.str();
        text.erase(text.find_last_not_of(' ') + 1);
        stream << "  " << text << '\n';
    }
    stream.flush();
}

void ComparisonReport::writeJson(const std::filesystem::path& path) const
{
    std::ofstream stream(path);
    stream << "{\"title\": " << jsonText(m_title) << ", \"peer\": " << jsonText(m_peerName)
           << ", \"rows\": [";
    const char* separator = "\n  ";
    for (const Comparison& row : m_comparisons) {
        stream << separator << jsonRow(row);
        separator = ",\n  ";
    }
    stream << "\n]}\n";
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

void finishReport(const ComparisonReport& report, const BenchOptions& options)
{
    report.print(std::cout);
    if (!options.jsonPath.empty()) {
        report.writeJson(options.jsonPath);
    }
}

}  // namespace bench
