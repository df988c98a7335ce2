// Model objects: the links that one lists, and as many of them in one block.
//
// Sizes of 100 k and 1 M (brief: 1 k and 10 k). Each workload does its operation once for each of
// them:
//   list     addPersIdDependency of links to the faces of one entity
//   look up  getPersIdDependency of each face, when all links were seen once
//   scatter  the same in a random order
//   take     removePersIdDependency of each link
//   make     getInstance for entities of one block, with a name and a place in the list for each
//   remake   half of those erased, then as many made for other entities
// The ratio is the time for the larger size by the time for the smaller one; ten times the
// operations may take at most thirteen times as long. Look-ups have a goal of their own, a million
// a second: they take so little that their ratio is that of the caches to the memory behind them.

#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_database.h"
#include "support/zem_module_scope.h"

#include "bench_util.h"
#include "zem_db_constraint_manager.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

constexpr int kRuns = 3;
constexpr int kTurns = 3;
constexpr int kFactor = 10;
constexpr double kGoal = 13.0;
constexpr double kLookUpsPerSecond = 1e6;

using ObjectPtr = OdSmartPtr<ZemDbObject>;
using LinkPtr = OdSmartPtr<ZemDbObjectDependency>;

/// Ends the program where an answer is wrong: a time for a wrong answer says nothing.
void require(bool condition, char const* what)
{
    if (!condition) {
        std::fprintf(stderr, "model_object_bench: %s is wrong\n", what);
        std::exit(1);
    }
}

/// Seconds of each workload, by its place in `kNames`.
constexpr char const* kNames[] = {"list", "look up", "scatter", "take", "make", "remake"};
constexpr std::size_t kLookUp = 1;
constexpr std::size_t kScatter = 2;
using Seconds = std::vector<double>;

/// A drawing with entities in model space and the managers of the block.
class Block
{
public:
    OdDbObjectId addLine()
    {
        return OdDbBlockTableRecordPtr(m_block.openObject(OdDb::kForWrite))
            ->appendOdDbEntity(odrxMake<OdDbLine>().get());
    }
    std::vector<OdDbObjectId> addLines(int count)
    {
        std::vector<OdDbObjectId> ids;
        for (int index = 0; index < count; ++index) {
            ids.push_back(addLine());
        }
        return ids;
    }
    OdDbObjectId managerId() const { return m_managerId; }
    OdDbObjectId linksId() const { return m_linksId; }
    OdDbObjectId addLink(OdDbFullSubentPath const& path)
    {
        const LinkPtr link = ZemDbObjectDependency::desc()->create();
        link->setLinkObject(path);
        return m_database->addOdDbObject(link.get(), m_linksId);
    }

private:
    OdDbDatabasePtr m_database = OdDbDatabase::createObject();
    OdDbObjectId m_block = m_database->getModelSpaceId();
    OdDbObjectId m_managerId = ZemDbConstraintManager::getInstance(m_block, true);
    OdDbObjectId m_linksId = ZemDbPersIdManager::getInstance(m_block, true);
};

OdDbFullSubentPath face(OdDbObjectId entity, int index)
{
    return {OdDbObjectIdArray{entity}, OdDbSubentId(OdDb::SubentType::kFaceSubentType, index)};
}

Seconds measureLinks(int count)
{
    Block block;
    const OdDbObjectId entity = block.addLine();
    const OdDbObjectId id = ZemDbObject::getInstance(entity, block.managerId());
    std::vector<OdDbFullSubentPath> paths;
    std::vector<OdDbObjectId> links;
    for (int index = 0; index < count; ++index) {
        paths.push_back(face(entity, index + 1));
        links.push_back(block.addLink(paths.back()));
    }
    std::vector<std::size_t> order(links.size());
    for (std::size_t at = 0; at < order.size(); ++at) {
        order[at] = at;
    }
    std::shuffle(order.begin(), order.end(), std::mt19937(1));

    Seconds seconds;
    bench::Stopwatch listing;
    for (OdDbObjectId link : links) {
        const ObjectPtr object = id.openObject(OdDb::kForWrite);
        require(object->addPersIdDependency(block.linksId(), link), "addPersIdDependency");
    }
    seconds.push_back(listing.seconds());

    const ObjectPtr object = id.openObject(OdDb::kForWrite);
    require(object->getPersIdDependency(face(entity, count + 1)).isNull(), "a miss");
    bench::Stopwatch lookingUp;
    for (std::size_t at = 0; at < links.size(); ++at) {
        require(object->getPersIdDependency(paths[at]) == links[at], "getPersIdDependency");
    }
    seconds.push_back(lookingUp.seconds());

    bench::Stopwatch scattered;
    for (std::size_t at : order) {
        require(object->getPersIdDependency(paths[at]) == links[at], "getPersIdDependency");
    }
    seconds.push_back(scattered.seconds());

    bench::Stopwatch taking;
    for (OdDbObjectId link : links) {
        require(object->removePersIdDependency(block.linksId(), link), "removePersIdDependency");
    }
    seconds.push_back(taking.seconds());
    require(!object->hasDependencies(), "removePersIdDependency");
    return seconds;
}

Seconds measureObjects(int count)
{
    Block block;
    const std::vector<OdDbObjectId> entities = block.addLines(count);
    const std::vector<OdDbObjectId> others = block.addLines(count / 2);
    std::vector<OdDbObjectId> objects;
    Seconds seconds;
    bench::Stopwatch making;
    for (OdDbObjectId entity : entities) {
        objects.push_back(ZemDbObject::getInstance(entity, block.managerId()));
    }
    seconds.push_back(making.seconds());

    bench::Stopwatch remaking;
    for (std::size_t at = 0; at < others.size(); ++at) {
        require(objects[at].openObject(OdDb::kForWrite)->erase() == kOdOk, "erase");
    }
    for (OdDbObjectId entity : others) {
        objects.push_back(ZemDbObject::getInstance(entity, block.managerId()));
    }
    seconds.push_back(remaking.seconds());
    const ObjectPtr last = objects.back().openObject();
    require(last->name() == OdString().format(L"_%d", count + count / 2), "the name");
    return seconds;
}

Seconds measure(int count)
{
    Seconds seconds = measureLinks(count);
    const Seconds objects = measureObjects(count);
    seconds.insert(seconds.end(), objects.begin(), objects.end());
    return seconds;
}

}  // namespace

int main()
{
    const ZemModuleScope scope;
    const bool isBrief = std::getenv("ZEM_BENCH_BRIEF") != nullptr;
    const int small = isBrief ? 1000 : 100000;
    const int large = small * kFactor;
    (void)measure(small);
    std::vector<std::vector<double>> fast(std::size(kNames));
    std::vector<std::vector<double>> slow(std::size(kNames));
    for (int run = 0; run < kRuns; ++run) {
        Seconds once(std::size(kNames));
        for (int turn = 0; turn < kTurns; ++turn) {
            const Seconds seconds = measure(small);
            for (std::size_t at = 0; at < once.size(); ++at) {
                once[at] += seconds[at] / kTurns;
            }
        }
        const Seconds more = measure(large);
        for (std::size_t at = 0; at < once.size(); ++at) {
            fast[at].push_back(once[at]);
            slow[at].push_back(more[at]);
        }
    }
    std::printf("%-10s %12d %12d %8s %12s\n", "seconds", small, large, "ratio", "million/s");
    for (std::size_t at = 0; at < std::size(kNames); ++at) {
        const double shorter = bench::median(fast[at]);
        const double longer = bench::median(slow[at]);
        const double rate = large / longer;
        const bool isLookUp = at == kLookUp || at == kScatter;
        const bool isTooSlow = isLookUp && rate < kLookUpsPerSecond;
        const bool growsTooFast = !isLookUp && longer / shorter > kGoal;
        std::printf("%-10s %12.4f %12.4f %8.2f %12.2f%s%s\n", kNames[at], shorter, longer,
                    longer / shorter, rate / 1e6, growsTooFast ? "  above the goal of 13" : "",
                    isTooSlow ? "  below the goal of 1" : "");
    }
    return 0;
}
