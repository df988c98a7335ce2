// Finding every face, edge and vertex again after an edit, beside TNaming of OCAF and beside the time
// of the kernel's booleans.
//
// Content: a plate with 30 x 30 holes and a slot (910 faces, 2724 edges, 1816 vertices; 6 x 6 holes
// with --brief, K x K with --counts K), made of a recipe. Edits: "param" changes thickness, pitch and
// radius; "split" makes the slot go through, so that the upper side is in two pieces; "drop" leaves out
// every seventh hole; "piece" is "param" and "piecedrop" is "drop" with the upper side in two pieces;
// "unsplit" joins them again. Each answer is judged by a key of each item that only its place and the
// plate's sizes give. Times are medians of runs in one process; the peer runs once for an edit. It
// takes most of the time, so at the usual size it does the first, the second and the last edit; with
// --counts it does all.
//
// At last the program itself edits a drawing of the plate in which every face, edge and vertex is
// linked: a slot is cut, and the recipe is set to another radius. Both renumbering and relinking are
// taken beside the booleans, as the program tells them. What making a link and following it through
// an edit takes is put beside Select and Solve of the peer.

#include "kernel/kernel_edit.h"
#include "support/plate_truth.h"

#include "bench_util.h"
#include "ocaf_naming.h"

#include <nlohmann/json.hpp>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
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

void printVerdicts(const char* who, const char* edit, const std::array<Verdict, 3>& verdicts)
{
    for (const SubentKind kind : zemhost::kSubentKinds) {
        printVerdict(who, edit, kind, verdicts[static_cast<std::size_t>(kind)]);
    }
}

/// \throws std::runtime_error if an item isn't found right.
void requireRight(const PlateEdit& edit, const OurFigures& figures)
{
    if (errorsOf(figures.verdicts) != 0) {
        throw std::runtime_error(std::string(edit.name) + ": items were not found right");
    }
}

/// \return Microseconds that the peer takes for one item; 0 without it.
double measureEdit(const PlateEdit& edit, bool hasPeer, const bench::BenchOptions& options,
                   bench::ComparisonReport& report)
{
    constexpr double kMicro = 1e6;
    const OurFigures ours = recomputePlate(edit, options.runs);
    printVerdicts("ours", edit.name, ours.verdicts);
    const std::string name = edit.name;
    double peerMicroseconds = 0;
    if (hasPeer) {
        const bench::OcafNamingFigures peer = bench::ocafNaming(edit);
        printVerdicts("TNaming", edit.name, peer.verdicts);
        peerMicroseconds = kMicro * meanOf(peer.secondsOfItem, peer.verdicts);
        report.add({name + ": items not found right", "",
                    static_cast<double>(errorsOf(ours.verdicts)),
                    static_cast<double>(errorsOf(peer.verdicts)), bench::GoalKind::kAtMost, 0});
        report.add({name + ": one item, beside Select and Solve", "us",
                    kMicro * ours.historySeconds / ours.items, peerMicroseconds,
                    bench::GoalKind::kAtMost, 1.0 / 50});
    } else {
        requireRight(edit, ours);
    }
    report.add({name + ": all items, beside our booleans", "s", ours.historySeconds,
                ours.booleanSeconds, bench::GoalKind::kAtMost, 0.1});
    return peerMicroseconds;
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

/// A folder of its own for drawings, which goes with it.
class ScratchFolder
{
public:
    ScratchFolder()
    {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "naming_bench_XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        m_path = pattern;
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder()
    {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }
    std::string file(const char* name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

/// Runs zemhost, which is built into the folder above this program's. \return Its output.
std::string runProgram(const std::string& words)
{
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const std::string command =
        "'" + (folder.parent_path() / "zemhost").string() + "' " + words + " 2>/dev/null";
    std::FILE* const pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("zemhost can't be run");
    }
    std::string output;
    std::array<char, 4096> block{};
    for (std::size_t count = 0; (count = std::fread(block.data(), 1, block.size(), pipe)) != 0;) {
        output.append(block.data(), count);
    }
    if (::pclose(pipe) != 0) {
        throw std::runtime_error("zemhost " + words + " has failed");
    }
    return output;
}

/// One edit of a linked plate by the program, each time on a copy of the drawing as it was.
/// \return Seconds that following the links takes.
double measureRelinking(const std::string& name, const std::string& drawing,
                        const std::string& copy, const std::string& edit,
                        const bench::BenchOptions& options, bench::ComparisonReport& report)
{
    std::vector<double> booleans;
    std::vector<double> followings;
    std::vector<double> links;
    for (int run = 0; run < options.runs; ++run) {
        std::filesystem::copy_file(drawing, copy,
                                   std::filesystem::copy_options::overwrite_existing);
        const nlohmann::json answer = nlohmann::json::parse(runProgram("edit " + edit + " --json"));
        const nlohmann::json& seconds = answer.at("seconds");
        booleans.push_back(seconds.at("kernel").get<double>());
        links.push_back(seconds.at("links").get<double>());
        followings.push_back(seconds.at("history").get<double>() + links.back());
    }
    report.add({name + ": renumbering and relinking, beside the boolean", "s",
                bench::median(followings), bench::median(booleans), bench::GoalKind::kAtMost, 0.1});
    report.add({name + ": of that the links alone, beside the boolean", "s", bench::median(links),
                bench::median(booleans), bench::GoalKind::kAtMost, 0.1});
    return bench::median(links);
}

/// Seconds of making the links to all parts of a solid, beyond those of the first link, for which the
/// program is started and the drawing opened and saved. The last run leaves the drawing linked.
double measureLinking(const std::string& drawing, const std::string& copy, const std::string& solid,
                      const bench::BenchOptions& options)
{
    const auto secondsFor = [&](const std::string& parts) {
        std::filesystem::copy_file(drawing, copy,
                                   std::filesystem::copy_options::overwrite_existing);
        const bench::Stopwatch watch;
        (void)runProgram("links add '" + copy + "' all " + solid + ":" + parts);
        return watch.seconds();
    };
    std::vector<double> beyond;
    for (int run = 0; run < options.runs; ++run) {
        const double ofOne = secondsFor("face:1");
        beyond.push_back(secondsFor("all") - ofOne);
    }
    std::filesystem::rename(copy, drawing);
    return bench::median(beyond);
}

std::size_t linkCount(const std::string& drawing)
{
    return nlohmann::json::parse(runProgram("links list '" + drawing + "' --json"))
        .at("links")
        .size();
}

/// Edits of a drawing in which a selection watches every part of the plate.
/// \param peerMicroseconds  What Select and Solve of one item take the peer.
void measureProgram(int count, double peerMicroseconds, const bench::BenchOptions& options,
                    bench::ComparisonReport& report)
{
    const ScratchFolder folder;
    const std::string drawing = folder.file("plate.zdw");
    const std::string copy = folder.file("copy.zdw");
    const std::string made =
        runProgram("make plate '" + drawing + "' " + std::to_string(count) + " 10 8 2");
    const std::string solid = made.substr(0, made.find(' '));
    const double linking = measureLinking(drawing, copy, solid, options);
    const std::string target = "'" + copy + "' " + solid;
    const std::string side = std::to_string(10 * count + 2);
    const std::string middle = std::to_string(5 * count);
    const double following = measureRelinking(
        "program, cut of a slot", drawing, copy,
        "cut " + target + " --box " + middle + ",-1,5 1," + side + ",4", options, report);
    report.add({"program: a link made and followed, beside Select and Solve", "us",
                1e6 * (linking + following) / static_cast<double>(linkCount(drawing)),
                peerMicroseconds, bench::GoalKind::kAtMost, 1.0 / 50});
    (void)measureRelinking("program, other radius", drawing, copy,
                           "set " + target + " 0 radius 2.5", options, report);
}

void run(const bench::BenchOptions& given)
{
    constexpr int kMostRuns = 3;  // of seconds each
    const int usual = given.isBrief ? 6 : 30;
    const int count = given.counts.empty() ? usual : static_cast<int>(given.counts.front());
    bench::BenchOptions fewer = given;
    fewer.runs = std::min(given.runs, kMostRuns);
    const bench::BenchOptions& options = fewer;
    bench::ComparisonReport report("Naming on a plate of " + std::to_string(count) + " x " +
                                       std::to_string(count) + " holes",
                                   "TNaming or booleans");
    std::printf("%-9s %-10s %-8s %6s %10s %6s %10s %6s %6s %7s\n", "edit", "who", "kind", "items",
                "survivors", "right", "ambiguous", "wrong", "lost", "ghosts");
    double peerMicroseconds = 0;
    for (const PlateEdit& edit : plate_truth::plateEdits(count)) {
        const std::string name = edit.name;
        const bool isTold = name == "param" || name == "split" || name == "piecedrop";
        const bool hasPeer = options.isBrief || !options.counts.empty() || isTold;
        const double ofItem = measureEdit(edit, hasPeer, options, report);
        peerMicroseconds = name == "param" ? ofItem : peerMicroseconds;
    }
    measureCut(count, options, report);
    measureProgram(count, peerMicroseconds, options, report);
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
