// Finding every face, edge and vertex again after an edit, beside TNaming of OCAF and beside the time
// of the kernel's booleans.
//
// Content: a plate with 30 x 30 holes and a slot (910 faces, 2724 edges, 1816 vertices; 6 x 6 holes
// with --brief, K x K with --counts K), made of a recipe. Edits: "param" changes thickness, pitch and
// radius; "split" makes the slot go through, so that the upper side is in two pieces; "drop" leaves out
// every seventh hole; "piece" is "param" and "piecedrop" is "drop" with the upper side in two pieces;
// "unsplit" joins them again. Each answer is judged by a key of each item that only its place and the
// plate's sizes give. Times are medians of runs in one process; the peer runs once for each edit.

#include "kernel/kernel_edit.h"
#include "support/plate_truth.h"

#include "bench_util.h"
#include "ocaf_naming.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace {

using plate_truth::PlateEdit;
using plate_truth::Verdict;
using zemhost::RecipeModel;
using zemhost::SubentKind;

/// What our side came to for one edit.
struct OurFigures
{
    std::array<Verdict, 3> verdicts;
    double booleanSeconds = 0;
    double historySeconds = 0;  ///< the whole of finding items again
    int items = 0;
};

OurFigures recomputePlate(const PlateEdit& edit, int runs)
{
    zemhost::EditOptions options;
    options.isolation = zemhost::EditIsolation::kSameProcess;
    options.refusesFaults = false;
    const RecipeModel old = RecipeModel::make(recipeOf(edit.before), options);
    const plate_truth::PlateKeys before(old.solid(), edit.before, edit.tellsSides);
    OurFigures figures;
    std::vector<double> booleans;
    std::vector<double> histories;
    for (int run = 0; run < runs; ++run) {
        const RecipeModel found = old.recompute(recipeOf(edit.after), options);
        booleans.push_back(found.times().kernel);
        histories.push_back(found.times().history);
        if (run > 0) {
            continue;
        }
        const plate_truth::PlateKeys after(found.solid(), edit.after, edit.tellsSides);
        const plate_truth::Judge judge(before, after);
        for (const SubentKind kind : zemhost::kSubentKinds) {
            const Verdict verdict = judge.judge(found.map(), kind);
            figures.verdicts[static_cast<std::size_t>(kind)] = verdict;
            figures.items += verdict.total();
        }
    }
    figures.booleanSeconds = bench::median(booleans);
    figures.historySeconds = bench::median(histories);
    return figures;
}

void printVerdict(const char* who, const char* edit, SubentKind kind, const Verdict& verdict)
{
    std::printf("%-9s %-10s %-8s %6d %10d %6d %10d %6d %6d %7d\n", edit, who,
                std::string(subentKindName(kind)).c_str(), verdict.total(), verdict.survivors,
                verdict.right, verdict.ambiguous, verdict.wrong, verdict.lost, verdict.ghosts);
    std::fflush(stdout);  // a size takes minutes, and its rows are read meanwhile
}

int errorsOf(const std::array<Verdict, 3>& verdicts)
{
    int errors = 0;
    for (const Verdict& verdict : verdicts) {
        errors += verdict.errors() + verdict.ambiguous;
    }
    return errors;
}

double meanOf(const std::array<double, 3>& seconds, const std::array<Verdict, 3>& verdicts)
{
    double sum = 0;
    int items = 0;
    for (std::size_t kind = 0; kind < verdicts.size(); ++kind) {
        sum += seconds[kind] * verdicts[kind].total();
        items += verdicts[kind].total();
    }
    return sum / items;
}

void measureEdit(const PlateEdit& edit, const bench::BenchOptions& options,
                 bench::ComparisonReport& report)
{
    constexpr double kMicro = 1e6;
    const OurFigures ours = recomputePlate(edit, options.runs);
    const bench::OcafNamingFigures peer = bench::ocafNaming(edit);
    for (const SubentKind kind : zemhost::kSubentKinds) {
        const auto slot = static_cast<std::size_t>(kind);
        printVerdict("ours", edit.name, kind, ours.verdicts[slot]);
        printVerdict("TNaming", edit.name, kind, peer.verdicts[slot]);
    }
    const std::string name = edit.name;
    report.add({name + ": items not found right", "", static_cast<double>(errorsOf(ours.verdicts)),
                static_cast<double>(errorsOf(peer.verdicts)), bench::GoalKind::kAtMost, 0});
    report.add({name + ": one item, beside Select and Solve", "us",
                kMicro * ours.historySeconds / ours.items,
                kMicro * meanOf(peer.secondsOfItem, peer.verdicts), bench::GoalKind::kAtMost,
                1.0 / 50});
    report.add({name + ": all items, beside our booleans", "s", ours.historySeconds,
                ours.booleanSeconds, bench::GoalKind::kAtMost, 0.1});
}

/// One slot cut into the plate, with the kernel's own history.
void measureCut(int count, const bench::BenchOptions& options, bench::ComparisonReport& report)
{
    zemhost::EditOptions inside;
    inside.isolation = zemhost::EditIsolation::kSameProcess;
    inside.refusesFaults = false;
    const RecipeModel plate =
        RecipeModel::make(zemhost::Recipe(zemhost::RecipeBase::plate(count, 10, 8, 2)), inside);
    const double side = 10.0 * count;
    const zemhost::RecipeStep slot =
        zemhost::RecipeStep::cutBox({side / 2 - 0.5, -1, 5}, {1, side + 2, 4});
    std::vector<double> booleans;
    std::vector<double> histories;
    for (int run = 0; run < options.runs; ++run) {
        const zemhost::EditResult edit = applyEdit(plate.solid(), slot, inside);
        booleans.push_back(edit.times.kernel);
        histories.push_back(edit.times.history);
    }
    report.add({"cut of a slot: all items, beside the boolean", "s", bench::median(histories),
                bench::median(booleans), bench::GoalKind::kAtMost, 0.1});
}

void run(const bench::BenchOptions& options)
{
    const int usual = options.isBrief ? 6 : 30;
    const int count = options.counts.empty() ? usual : static_cast<int>(options.counts.front());
    bench::ComparisonReport report("Naming on a plate of " + std::to_string(count) + " x " +
                                       std::to_string(count) + " holes",
                                   "TNaming or booleans");
    std::printf("%-9s %-10s %-8s %6s %10s %6s %10s %6s %6s %7s\n", "edit", "who", "kind", "items",
                "survivors", "right", "ambiguous", "wrong", "lost", "ghosts");
    for (const PlateEdit& edit : plate_truth::plateEdits(count)) {
        measureEdit(edit, options, report);
    }
    measureCut(count, options, report);
    std::printf("\n");
    finishReport(report, options);
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        run(bench::parseBenchOptions(argc, argv));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "naming_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
