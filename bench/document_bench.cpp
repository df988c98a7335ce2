// A drawing of many objects beside the same document in the peer, OCAF of Open CASCADE.
//
// Content: objects with a name of 12 characters, an integer, a real, eight reals and a reference to
// a random other one. Sizes: 100 000 and 1 000 000 (2 000 with --brief). Every phase runs in a
// process of its own, five times; medians are printed. Our saves are synced to disk, the peer's are
// not; its load reads a warm cache, as ours does. All values are compared after each phase.

#include "bench_util.h"
#include "ocaf_document.h"
#include "zem_document.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr std::size_t kChanges = 10'000;
constexpr double kMib = 1024.0 * 1024.0;

OdString text(std::string const& path)
{
    return OdString::fromUtf8(path);
}

void requireRight(double wrong, char const* what)
{
    if (wrong != 0.0) {
        std::fprintf(stderr, "%s: %g values are wrong\n", what, wrong);
        std::exit(2);
    }
}

struct Both
{
    MeasuredRun ours;
    MeasuredRun peer;
};

Both measureSave(std::size_t count, std::size_t repeats, BenchFolder const& folder)
{
    Both runs;
    runs.ours = medianOfRuns("our save", repeats, [&] {
        const ZemSaveFigures figures = zemSave(count, text(folder.file("ours.zdw")));
        return Figures{figures.save, figures.fileBytes, figures.saveTen, figures.build};
    });
    runs.peer = medianOfRuns("peer's save", repeats, [&] {
        const OcafSaveFigures figures = ocafSave(count, folder.file("peer.cbf"));
        return Figures{figures.save, figures.fileBytes, figures.build};
    });
    return runs;
}

Both measureLoad(std::size_t count, std::size_t repeats, BenchFolder const& folder)
{
    Both runs;
    runs.ours = medianOfRuns("our load", repeats, [&] {
        const ZemLoadFigures figures = zemLoad(count, text(folder.file("ours.zdw")));
        return Figures{figures.touchAll, figures.lookupsPerSecond, figures.opensPerSecond,
                       figures.wrong};
    });
    runs.peer = medianOfRuns("peer's load", repeats, [&] {
        const OcafLoadFigures figures = ocafLoad(count, folder.file("peer.cbf"));
        return Figures{figures.load, figures.lookupsPerSecond, figures.readsPerSecond,
                       figures.wrong};
    });
    requireRight(runs.ours.figures[3], "our load");
    requireRight(runs.peer.figures[3], "the peer's load");
    return runs;
}

Both measureUndo(std::size_t count, std::size_t changes, std::size_t repeats)
{
    Both runs;
    runs.ours = medianOfRuns("our undo", repeats, [&] {
        const ZemUndoFigures figures = zemUndo(count, changes);
        return Figures{figures.commitsPerSecond, figures.undosPerSecond, figures.redosPerSecond,
                       figures.wrong};
    });
    runs.peer = medianOfRuns("peer's undo", repeats, [&] {
        const OcafUndoFigures figures = ocafUndo(count, changes);
        return Figures{figures.commitsPerSecond, figures.undosPerSecond, figures.redosPerSecond,
                       figures.wrong};
    });
    requireRight(runs.ours.figures[3], "our undo");
    requireRight(runs.peer.figures[3], "the peer's undo");
    return runs;
}

double measureOpen(std::size_t repeats, std::string const& path)
{
    return medianOfRuns("open", repeats, [&] { return Figures{zemOpenOnly(text(path))}; })
        .figures[0];
}

void runSize(std::size_t count, BenchOptions const& options)
{
    const BenchFolder folder;
    const std::size_t repeats = options.repeats();
    const Both save = measureSave(count, repeats, folder);
    const Both load = measureLoad(count, repeats, folder);
    const Both undo = measureUndo(count, options.brief ? 100 : kChanges, repeats);
    const double open = measureOpen(repeats * 3, folder.file("ours.zdw"));
    (void)runInChild([&] { return Figures{zemSave(1000, text(folder.file("small.zdw"))).save}; });
    const double openSmall = measureOpen(repeats * 3, folder.file("small.zdw"));

    RatioTable table("drawing of " + std::to_string(count) + " objects beside the peer");
    table.addAtMost("save everything", "s", save.ours.figures[0], save.peer.figures[0], 1.0 / 3.0);
    table.addAtMost("touch every object after opening", "s", load.ours.figures[0],
                    load.peer.figures[0], 1.0 / 3.0);
    table.addAtMost("file", "MiB", save.ours.figures[1] / kMib, save.peer.figures[1] / kMib, 0.5);
    table.addAtMost("peak memory, build and save", "MiB", save.ours.peakMib, save.peer.peakMib,
                    1.0);
    table.addAtMost("peak memory, load", "MiB", load.ours.peakMib, load.peer.peakMib, 1.0);
    table.addAtMost("open, touching nothing, beside its load", "s", open, load.peer.figures[0],
                    0.01);
    table.addAtMost("open, beside opening 1000 objects", "s", open, openSmall, 2.0);
    table.addAtMost("save 10 changes, beside our whole save", "s", save.ours.figures[2],
                    save.ours.figures[0], 0.01);
    table.addAtLeast("handle to one property, at random", "/s", load.ours.figures[1],
                     load.peer.figures[1], 2.5);
    table.add("id in hand to one property, at random", "/s", load.ours.figures[2],
              load.peer.figures[2]);
    table.addAtLeast("commit of one change", "/s", undo.ours.figures[0], undo.peer.figures[0], 3.0);
    table.addAtLeast("undo", "/s", undo.ours.figures[1], undo.peer.figures[1], 3.0);
    table.addAtLeast("redo", "/s", undo.ours.figures[2], undo.peer.figures[2], 3.0);
    table.add("build", "s", save.ours.figures[3], save.peer.figures[2]);
    table.print(options);
}

}  // namespace

int main(int argc, char** argv)
{
    const BenchOptions options = readOptions(argc, argv);
    if (options.count != 0) {
        runSize(options.count, options);
        return 0;
    }
    if (options.brief) {
        runSize(2000, options);
        return 0;
    }
    runSize(100'000, options);
    runSize(1'000'000, options);
    return 0;
}
