// A drawing of many objects beside the same document in the peer, OCAF of Open CASCADE.
//
// Content: objects with a name of 12 characters, an integer, a real, eight reals and a reference to
// a random other one. Sizes: 100 000 and 1 000 000 (2 000 with --brief). Every phase runs in
// processes of its own, after one that warms up; medians are printed. Our saves are synced to disk,
// the peer's are not; its load reads a warm cache, as ours does. All values are compared after each
// phase.

#include "bench_util.h"
#include "ocaf_document.h"
#include "zem_document.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

namespace {

using bench::Figures;
using bench::GoalKind;

constexpr std::size_t kChanges = 10'000;
constexpr double kMib = 1024.0 * 1024.0;

OdString text(std::filesystem::path const& path)
{
    return OdString::fromUtf8(path.string());
}

void requireRight(double wrong, char const* what)
{
    if (wrong != 0.0) {
        throw std::runtime_error(std::string(what) + ": values are wrong");
    }
}

/// Measures one size and enters its lines.
class SizeRun
{
public:
    /// \param fewer  What the undo of some objects of the size before came to, which this one replaces
    ///               by its own.
    SizeRun(std::size_t count, bench::BenchOptions const& options, bench::ComparisonReport& report,
            Figures& fewer)
        : m_count(count), m_options(options), m_report(report), m_fewer(fewer)
    {
    }

    void measure()
    {
        measureSave();
        measureLoad();
        measureOpen();
        measureUndo();
    }

private:
    Figures run(std::function<Figures()> const& work, int factor = 1) const
    {
        return bench::medianRun(m_options.runs * factor, !m_options.isBrief, work).figures;
    }

    void add(std::string const& what, char const* unit, double ours, double peer, GoalKind kind,
             double goal)
    {
        m_report.add({what + ", " + std::to_string(m_count), unit, ours, peer, kind, goal});
    }

    void measureSave()
    {
        const Figures ours = run([this] {
            const ZemSaveFigures save = zemSave(m_count, text(ourFile()));
            return Figures{save.save, save.fileBytes, save.peakMib, save.saveTen, save.build};
        });
        const Figures peer = run([this] {
            const bench::OcafSaveFigures save = bench::ocafSave(m_count, peerFile());
            return Figures{save.saveSeconds, save.fileBytes, save.peakMib, save.buildSeconds};
        });
        add("build in memory", "s", ours[4], peer[3], GoalKind::kNone, 0.0);
        add("save everything", "s", ours[0], peer[0], GoalKind::kAtMost, 1.0 / 3.0);
        add("file", "MiB", ours[1] / kMib, peer[1] / kMib, GoalKind::kAtMost, 0.5);
        add("peak memory, save", "MiB", ours[2], peer[2], GoalKind::kAtMost, 1.0);
        // What a save costs in any case is little beside the whole save of a large drawing only.
        constexpr std::size_t kLarge = 1'000'000;
        add("save 10 changes : our whole save", "s", ours[3], ours[0],
            m_count < kLarge ? GoalKind::kNone : GoalKind::kAtMost, 0.01);
    }

    void measureLoad()
    {
        const Figures ours = run([this] {
            const ZemLoadFigures load = zemLoad(m_count, text(ourFile()));
            return Figures{load.touchAll, load.peakMib, load.lookupsPerSecond, load.opensPerSecond,
                           load.wrong};
        });
        const Figures peer = run([this] {
            const bench::OcafLoadFigures load = bench::ocafLoad(m_count, peerFile());
            return Figures{load.loadSeconds, load.peakMib, load.lookupsPerSecond,
                           load.attributesPerSecond, load.wrong};
        });
        requireRight(ours[4], "our load");
        requireRight(peer[4], "the peer's load");
        m_peerLoad = peer[0];
        add("open, and touch every object", "s", ours[0], peer[0], GoalKind::kAtMost, 1.0 / 3.0);
        add("peak memory, load", "MiB", ours[1], peer[1], GoalKind::kAtMost, 1.0);
        add("handle to one property, at random", "1/s", ours[2], peer[2], GoalKind::kAtLeast, 2.5);
        add("id in hand to one property, at random", "1/s", ours[3], peer[3], GoalKind::kNone, 0.0);
    }

    void measureOpen()
    {
        constexpr std::size_t kSmall = 1000;
        const std::filesystem::path small = m_folder.path() / "small.zdw";
        (void)bench::runInChild([&] { return Figures{zemSave(kSmall, text(small)).save}; });
        const double ours = run([this] { return Figures{zemOpenOnly(text(ourFile()))}; }, 5)[0];
        const double ofSmall = run([&] { return Figures{zemOpenOnly(text(small))}; }, 5)[0];
        add("open, touching nothing : its load", "s", ours, m_peerLoad, GoalKind::kAtMost, 0.01);
        add("open, touching nothing : our open of 1000", "s", ours, ofSmall, GoalKind::kAtMost,
            2.0);
    }

    void measureUndo()
    {
        const std::size_t changes = m_options.isBrief ? 100 : kChanges;
        const Figures ours = undo(changes, m_count);
        const Figures peer = run([&] {
            const bench::OcafUndoFigures undo = bench::ocafUndo(m_count, changes);
            return Figures{undo.commitsPerSecond, undo.undosPerSecond, undo.redosPerSecond,
                           undo.wrong};
        });
        requireRight(peer[3], "the peer's undo");
        add("commit of one change", "1/s", ours[0], peer[0], GoalKind::kAtLeast, 3.0);
        add("undo", "1/s", ours[1], peer[1], GoalKind::kAtLeast, 3.0);
        add("redo", "1/s", ours[2], peer[2], GoalKind::kAtLeast, 3.0);
        compareWithFewer(changes);
    }

    Figures undo(std::size_t changes, std::size_t among) const
    {
        const Figures figures = run([&] {
            const ZemUndoFigures undo = zemUndo(m_count, changes, among);
            return Figures{undo.commitsPerSecond, undo.undosPerSecond, undo.redosPerSecond,
                           undo.wrong};
        });
        requireRight(figures[3], "our undo");
        return figures;
    }

    /// How many siblings an object has is nothing to its changes. Equally many objects are changed, so
    /// that equally much of memory is gone through.
    void compareWithFewer(std::size_t changes)
    {
        constexpr std::size_t kChanged = 10'000;
        constexpr std::array<char const*, 3> kNames = {"commit", "undo", "redo"};
        const Figures ours = undo(changes, std::min(kChanged, m_count));
        for (std::size_t at = 0; at < kNames.size() && !m_fewer.empty(); ++at) {
            add(std::string(kNames[at]) + " : ours with fewer siblings", "1/s", ours[at],
                m_fewer[at], GoalKind::kAtLeast, 0.7);
        }
        m_fewer = ours;
    }

    std::filesystem::path ourFile() const { return m_folder.path() / "ours.zdw"; }
    std::filesystem::path peerFile() const { return m_folder.path() / "peer.cbf"; }

    std::size_t m_count;
    bench::BenchOptions const& m_options;
    bench::ComparisonReport& m_report;
    Figures& m_fewer;
    bench::BenchFolder m_folder;
    double m_peerLoad = 0.0;
};

std::vector<std::size_t> sizes(bench::BenchOptions const& options)
{
    if (!options.counts.empty()) {
        return options.counts;
    }
    return options.isBrief ? std::vector<std::size_t>{2'000}
                           : std::vector<std::size_t>{100'000, 1'000'000};
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        const bench::BenchOptions options = bench::parseBenchOptions(argc, argv);
        bench::ComparisonReport report("a drawing beside the same document in the peer", "OCAF");
        Figures fewer;
        for (std::size_t count : sizes(options)) {
            SizeRun(count, options, report, fewer).measure();
        }
        bench::finishReport(report, options);
        return 0;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "document_bench: %s\n", error.what());
        return 2;
    }
}
