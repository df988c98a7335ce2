// Variables of a block, looked for, named and followed.
//
// Networks of 10 k and 100 k variables (brief: 1 k and 10 k), each of which uses the one before it in
// groups of ten. Each workload does its operation once for every variable:
//   used      getUsedVariables of the variable, to its full depth
//   generate  generateVariableName of one base for all, each name taken before the next is asked for
//   get       getAssocVariable by name
//   find      findObjectByName by name, asked of the variable before
// The ratio is the time for the larger network by the time for the smaller one; ten times the
// operations may take at most thirteen times as long.

#include "assoc/od_db_assoc_network.h"
#include "assoc/od_platform.h"
#include "db/od_db_database.h"

#include "bench_util.h"
#include "zem_db_variable_utils.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

namespace {

constexpr int kRuns = 7;
constexpr int kFactor = 10;
constexpr int kGroup = 10;
constexpr double kGoal = 13.0;

OdString nameOf(int index)
{
    return OdString().format(L"v%d", index);
}

/// A drawing with variables in its model space.
class Network
{
public:
    explicit Network(int count)
    {
        m_ids.reserve(static_cast<std::size_t>(count));
        for (int index = 0; index < count; ++index) {
            const OdString expression =
                index % kGroup == 0 ? OdString(L"1") : nameOf(index - 1) + L"+1";
            m_ids.push_back(zemu::getAssocVariable(block(), nameOf(index), true, &expression));
        }
    }

    OdDbObjectId block() const { return m_database->getModelSpaceId(); }
    std::vector<OdDbObjectId> const& ids() const { return m_ids; }

private:
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    std::vector<OdDbObjectId> m_ids;
};

/// Ends the program where an answer is wrong: a time for a wrong answer says nothing.
void require(bool condition, char const* what)
{
    if (!condition) {
        std::fprintf(stderr, "variable_utils_bench: %s is wrong\n", what);
        std::exit(1);
    }
}

void used(Network const& network)
{
    int index = 0;
    for (OdDbObjectId id : network.ids()) {
        const auto expected = static_cast<unsigned>(index++ % kGroup + 1);
        require(zemu::getUsedVariables({id}, 2).size() == expected, "getUsedVariables");
    }
}

void generate(Network const& network)
{
    const OdDbDatabasePtr database = OdDbDatabase::createObject();
    const OdDbObjectId block = database->getModelSpaceId();
    for (std::size_t index = 0; index < network.ids().size(); ++index) {
        const OdString name = zemu::generateVariableName(block, L"d");
        zemu::getAssocVariable(block, name, true);
    }
    const OdString last = OdString().format(L"d_%d", static_cast<int>(network.ids().size()));
    require(zemu::generateVariableName(block, L"d") == last, "generateVariableName");
}

void get(Network const& network)
{
    for (int index = 0; index < static_cast<int>(network.ids().size()); ++index) {
        const OdDbObjectId found = zemu::getAssocVariable(network.block(), nameOf(index), false);
        require(found == network.ids()[static_cast<std::size_t>(index)], "getAssocVariable");
    }
}

void find(Network const& network)
{
    OdDbObjectId before = network.ids().back();
    for (int index = 0; index < static_cast<int>(network.ids().size()); ++index) {
        const OdDbAssocVariablePtr variable = before.openObject();
        const OdDbObjectId found =
            variable->findObjectByName(nameOf(index), OdDbAssocVariable::desc());
        before = network.ids()[static_cast<std::size_t>(index)];
        require(found == before, "findObjectByName");
    }
}

double secondsFor(std::function<void()> const& work)
{
    const bench::Stopwatch stopwatch;
    work();
    return stopwatch.seconds();
}

struct Workload
{
    char const* name;
    void (*work)(Network const&);
};

constexpr Workload kWorkloads[] = {
    {"used", used}, {"generate", generate}, {"get", get}, {"find", find}};

}  // namespace

int main()
{
    const OdPlatform platform;
    const bool isBrief = std::getenv("ZEM_BENCH_BRIEF") != nullptr;
    const int small = isBrief ? 1000 : 10000;
    const int large = small * kFactor;
    const Network smallNetwork(small);
    const Network largeNetwork(large);
    std::printf("%-10s %12d %12d %8s\n", "seconds", small, large, "ratio");
    for (Workload const& workload : kWorkloads) {
        std::vector<double> fastRuns;
        std::vector<double> slowRuns;
        workload.work(smallNetwork);
        workload.work(largeNetwork);
        // Turn by turn, and as many operations of either, so that a busy moment meets both alike.
        for (int run = 0; run < kRuns; ++run) {
            fastRuns.push_back(secondsFor([&] {
                                   for (int turn = 0; turn < kFactor; ++turn) {
                                       workload.work(smallNetwork);
                                   }
                               }) /
                               kFactor);
            slowRuns.push_back(secondsFor([&] { workload.work(largeNetwork); }));
        }
        const double fast = bench::median(fastRuns);
        const double slow = bench::median(slowRuns);
        std::printf("%-10s %12.4f %12.4f %8.2f%s\n", workload.name, fast, slow, slow / fast,
                    slow / fast > kGoal ? "  above the goal of 13" : "");
    }
    return 0;
}
