// What the benchmark programs share: phases in processes of their own, medians, tables of ratios.

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

/// What a phase measured, in an order that the phase and its reader agree on.
using Figures = std::vector<double>;

/// What a child process did.
struct MeasuredRun
{
    Figures figures;
    double peakMib = 0.0;  ///< most memory that it had in use at a time
    bool succeeded = false;
};

/// Runs a phase in a process of its own, so that phases don't share memory or caches of theirs.
/// A child that throws, crashes or hands back nothing has not succeeded.
MeasuredRun runInChild(std::function<Figures()> const& phase);

/// Runs a phase `repeats` times, each in its own process, and gives the median of each figure and of
/// the memory. Ends the program with a message if a run fails.
MeasuredRun medianOfRuns(char const* what, std::size_t repeats,
                         std::function<Figures()> const& phase);

/// The middle one of the values; the mean of the two in the middle of an even number.
double median(std::vector<double> values);

/// Options of a benchmark program: `--brief` (or ZEM_BENCH_BRIEF=1) for a run that only shows that
/// the program works, `--json` for a table that a program reads, `--count N` for one size.
struct BenchOptions
{
    bool brief = false;
    bool json = false;
    std::size_t count = 0;  ///< 0 for the program's own sizes
    std::size_t repeats() const noexcept { return brief ? 1 : 5; }
};

/// Reads the options; ends the program on one that it doesn't know. Options of Google Benchmark are
/// left alone.
BenchOptions readOptions(int argc, char** argv);

/// A folder for the files of one run, gone with this object.
class BenchFolder
{
public:
    BenchFolder();
    BenchFolder(BenchFolder const&) = delete;
    BenchFolder& operator=(BenchFolder const&) = delete;
    ~BenchFolder();

    std::string file(char const* name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

/// Lines that set our figure beside a peer's, or beside a limit measured in the same run.
class RatioTable
{
public:
    explicit RatioTable(std::string title) : m_title(std::move(title)) {}

    /// A figure that should be at most `goal` times the peer's.
    void addAtMost(std::string what, std::string unit, double ours, double peer, double goal);
    /// A figure that should be at least `goal` times the peer's.
    void addAtLeast(std::string what, std::string unit, double ours, double peer, double goal);
    /// A figure without a goal.
    void add(std::string what, std::string unit, double ours, double peer);

    void print(BenchOptions const& options) const;

private:
    struct Row
    {
        std::string what;
        std::string unit;
        double ours;
        double peer;
        double goal;  ///< 0 for none
        bool isAtMost;

        double ratio() const { return ours / peer; }
        bool isMet() const { return isAtMost ? ratio() <= goal : ratio() >= goal; }
    };

    void printText() const;
    void printJson() const;

    std::string m_title;
    std::vector<Row> m_rows;
};
