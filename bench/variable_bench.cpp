// Variables: what an evaluation costs in small and large networks, and looking names up and setting
// them in networks of 10 000 and 100 000 variables.
//
// Workloads: a change at the head of a chain of 1 000 variables in a network of 2 000 and in one of
// 200 000, the rest independent (a chain of 100 in networks of 200 and 2 000 with --brief); for each
// variable of a network once, `findObjectByName`, `setName`, making it and `setExpression` that names
// another one (1 000 and 10 000 with --brief). The peer of each line is the same work in the smaller
// network, so a ratio is growth. Figures are medians of runs in one process, both sizes in turn.

#include "assoc/od_db_assoc_network.h"
#include "assoc/od_db_assoc_variable.h"
#include "assoc/od_platform.h"
#include "db/od_db_database.h"

#include "bench_util.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

void require(bool condition, char const* what)
{
    if (!condition) {
        std::fprintf(stderr, "%s is wrong\n", what);
        std::exit(2);
    }
}

/// A drawing whose model space has a network.
class Drawing
{
public:
    Drawing()
        : m_db(OdDbDatabase::createObject()),
          m_network(OdDbAssocNetwork::getInstanceFromObject(m_db->getModelSpaceId(), true))
    {
    }

    OdDbObjectId add(OdString const& name, OdString const& expression)
    {
        const OdDbAssocVariablePtr variable = OdDbAssocVariable::createObject();
        const OdDbObjectId id = m_db->addOdDbObject(variable.get(), m_network);
        const OdDbAssocNetworkPtr network = m_network.safeOpenObject(OdDb::kForWrite);
        require(network->addAction(id, true) == kOdOk, "adding");
        require(variable->setName(name, false) == kOdOk, "naming");
        require(variable->setExpression(expression, "", false, false, "", false) == kOdOk,
                "expression");
        return id;
    }
    static OdString name(wchar_t const* prefix, std::size_t number)
    {
        OdString text;
        text.format(L"%ls%u", prefix, static_cast<unsigned>(number));
        return text;
    }

private:
    OdDbDatabasePtr m_db;
    OdDbObjectId m_network;
};

double valueOf(OdDbObjectId id)
{
    return OdDbAssocVariablePtr(id.safeOpenObject())->value()->getDouble();
}

/// A chain in a network of many variables that it has nothing to do with.
class Chain
{
public:
    Chain(std::size_t length, std::size_t count)
    {
        for (std::size_t index = 0; index + length < count; ++index) {
            (void)m_drawing.add(Drawing::name(L"other", index), L"1");
        }
        m_first = m_last = m_drawing.add(L"c0", L"0");
        for (std::size_t index = 1; index < length; ++index) {
            m_last =
                m_drawing.add(Drawing::name(L"c", index), Drawing::name(L"c", index - 1) + L"+1");
        }
        m_length = length;
    }

    /// Seconds of one change with everything that follows from it.
    double change(double value)
    {
        const bench::Stopwatch watch;
        {
            const OdDbAssocVariablePtr first = m_first.safeOpenObject(OdDb::kForWrite);
            require(first->setExpression("", "", false, false, "", false) == kOdOk &&
                        first->setValue(value) == kOdOk,
                    "setting");
        }
        const double seconds = watch.seconds();
        require(valueOf(m_last) == value + static_cast<double>(m_length - 1), "the chain's end");
        return seconds;
    }

private:
    Drawing m_drawing;
    OdDbObjectId m_first;
    OdDbObjectId m_last;
    std::size_t m_length = 0;
};

void measureChains(bench::ComparisonReport& report, bench::BenchOptions const& options)
{
    const std::size_t length = options.isBrief ? 100 : 1000;
    const std::size_t smallCount = 2 * length;
    const std::size_t largeCount = options.isBrief ? 2000 : 200'000;
    Chain small(length, smallCount);
    Chain large(length, largeCount);
    std::vector<double> smallSeconds;
    std::vector<double> largeSeconds;
    for (int run = 0; run < 40 * options.runs; ++run) {
        smallSeconds.push_back(small.change(run));
        largeSeconds.push_back(large.change(run));
    }
    report.add({"a change and its chain of " + std::to_string(length) + ", network of " +
                    std::to_string(largeCount) + " / " + std::to_string(smallCount),
                "us", 1e6 * bench::median(largeSeconds), 1e6 * bench::median(smallSeconds),
                bench::GoalKind::kAtMost, 1.5});
}

/// Seconds of each kind of work, done once for each variable.
struct Work
{
    double make = 0;
    double find = 0;
    double rename = 0;
    double express = 0;
};

Work work(std::size_t count)
{
    Work result;
    Drawing drawing;
    std::vector<OdDbObjectId> ids;
    const bench::Stopwatch making;
    for (std::size_t index = 0; index < count; ++index) {
        ids.push_back(drawing.add(Drawing::name(L"name", index), L"1"));
    }
    result.make = making.seconds();
    const OdDbAssocVariablePtr first = ids[0].safeOpenObject();
    const bench::Stopwatch finding;
    for (std::size_t index = 0; index < count; ++index) {
        require(first->findObjectByName(Drawing::name(L"NAME", index), OdDbAssocVariable::desc()) ==
                    ids[index],
                "finding");
    }
    result.find = finding.seconds();
    const bench::Stopwatch renaming;
    for (std::size_t index = 0; index < count; ++index) {
        const OdDbAssocVariablePtr variable = ids[index].safeOpenObject(OdDb::kForWrite);
        require(variable->setName(Drawing::name(L"other", index), true) == kOdOk, "renaming");
    }
    result.rename = renaming.seconds();
    const bench::Stopwatch expressing;
    for (std::size_t index = 1; index < count; ++index) {
        const OdDbAssocVariablePtr variable = ids[index].safeOpenObject(OdDb::kForWrite);
        require(variable->setExpression(Drawing::name(L"other", index - 1) + L"*1", "", true, true,
                                        "", false) == kOdOk,
                "setting an expression");
    }
    result.express = expressing.seconds();
    require(valueOf(ids.back()) == 1, "a value");
    return result;
}

void measureGrowth(bench::ComparisonReport& report, bench::BenchOptions const& options)
{
    const std::size_t smallCount = options.isBrief ? 1000 : 10'000;
    const std::size_t largeCount = 10 * smallCount;
    std::vector<double> seconds[2][4];
    for (int run = 0; run < options.runs; ++run) {
        for (int size = 0; size < 2; ++size) {
            const Work one = work(size == 0 ? smallCount : largeCount);
            const double parts[] = {one.make, one.find, one.rename, one.express};
            for (int part = 0; part < 4; ++part) {
                seconds[size][part].push_back(parts[part]);
            }
        }
    }
    char const* const names[] = {"make and name", "findObjectByName", "setName", "setExpression"};
    for (int part = 0; part < 4; ++part) {
        report.add({std::string(names[part]) + " once each, " + std::to_string(largeCount) + " / " +
                        std::to_string(smallCount) + " variables",
                    "ms", 1e3 * bench::median(seconds[1][part]),
                    1e3 * bench::median(seconds[0][part]), bench::GoalKind::kAtMost, 13});
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const bench::BenchOptions options = bench::parseBenchOptions(argc, argv);
    const OdPlatform platform;
    bench::ComparisonReport report("variables", "smaller network");
    measureChains(report, options);
    measureGrowth(report, options);
    bench::finishReport(report, options);
    return 0;
}
