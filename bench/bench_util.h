// What the benchmark programs share: clocks, runs in child processes, medians, and the table of
// ratios to a peer.

#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/// Counts seconds from its construction.
class Stopwatch
{
public:
    double seconds() const { return std::chrono::duration<double>(Clock::now() - m_start).count(); }

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point m_start = Clock::now();
};

//--------------------------------------------------------------------------------------------------
// Runs

/// Figures that a piece of work hands back.
using Figures = std::vector<double>;

/// What one run in a child process came to.
struct MeasuredRun
{
    double wallSeconds = 0;  ///< of the work alone, without starting and ending the process
    double baseRssMib = 0;   ///< resident memory when the work begins
    double peakRssMib = 0;   ///< largest resident memory, never below the base
    Figures figures;         ///< what the work answered
};

/// Largest resident memory of this process up to now, for work that goes on after the phase whose
/// memory counts.
double peakResidentMib();

/// Runs `work` in a child process and waits for it.
///
/// The child starts as a copy of this process, so its peak is that of the work only if this process
/// is small: keep large data inside the work. The child ends without destructors or exit handlers.
/// \throws std::runtime_error with the text of the exception that the work threw, or with the
///         signal or exit code that ended the child.
MeasuredRun runInChild(const std::function<Figures()>& work);

/// The middle value; of an even number the mean of the two in the middle. 0 for no value.
double median(std::vector<double> values);

/// Runs `work` once unmeasured if `warmUp`, then `runs` times, each in a child of its own, and
/// answers the median of each figure by itself.
/// \throws std::runtime_error as runInChild, or if two runs answer different numbers of figures.
MeasuredRun medianRun(int runs, bool warmUp, const std::function<Figures()>& work);

/// A new folder for the files of a benchmark, removed with everything in it.
///
/// It lies in the folder that TMPDIR names, else in the system's folder for temporary files.
class BenchFolder
{
public:
    BenchFolder();
    ~BenchFolder();

    BenchFolder(const BenchFolder&) = delete;
    BenchFolder& operator=(const BenchFolder&) = delete;

    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

//--------------------------------------------------------------------------------------------------
// Command line

/// What a benchmark program was asked to do.
struct BenchOptions
{
    bool isBrief = false;             ///< small sizes, one run: only to see that it still works
    int runs = 5;                     ///< 1 if brief
    std::vector<std::size_t> counts;  ///< sizes asked for; empty for the program's own
    std::filesystem::path jsonPath;   ///< empty for no file
};

/// Reads `--brief`, `--runs K`, `--counts N[,N...]`, `--json FILE` and `--help`.
///
/// A variable ZEM_BENCH_BRIEF of the environment that is neither empty nor 0 stands for `--brief`.
/// Options that begin with `--benchmark_` are passed over: they are for other programs started by
/// the same script. `--help` prints the usage and ends the program, a wrong argument also, with
/// exit code 2.
BenchOptions parseBenchOptions(int argc, char** argv);

//--------------------------------------------------------------------------------------------------
// Table of ratios

/// Which way a ratio of ours to the peer's is good.
enum class GoalKind
{
    kNone,     ///< shown only
    kAtMost,   ///< times and sizes
    kAtLeast,  ///< rates
};

/// One line of the table.
struct Comparison
{
    std::string what;  ///< "save, 1000000 objects"
    std::string unit;  ///< "s", "MiB", "1/s"
    double ours = 0;
    double peer = 0;
    GoalKind kind = GoalKind::kNone;
    double goal = 0;  ///< bound of ours / peer, itself allowed; ignored for kNone

    /// ours / peer, or nothing if the peer's figure is 0.
    std::optional<double> ratio() const;

    /// Whether the goal is met; nothing if there is no goal or no ratio.
    std::optional<bool> isMet() const;
};

/// Gathers comparisons and writes them as a table or as JSON.
class ComparisonReport
{
public:
    /// \param title     First line of the output.
    /// \param peerName  Heading of the peer's column.
    ComparisonReport(std::string title, std::string peerName);

    void add(Comparison comparison);

    const std::vector<Comparison>& comparisons() const { return m_comparisons; }

    /// Number of goals that are missed.
    std::size_t missedCount() const;

    /// Columns: what, ours, peer, ratio, goal, met.
    void print(std::ostream& stream) const;

    /// The same as an object with an array of rows; a ratio that does not exist is null.
    /// \throws std::runtime_error if the file cannot be written.
    void writeJson(const std::filesystem::path& path) const;

private:
    std::string m_title;
    std::string m_peerName;
    std::vector<Comparison> m_comparisons;
};

/// Prints the report and writes the JSON file if one was asked for.
void finishReport(const ComparisonReport& report, const BenchOptions& options);

}  // namespace bench
