// A deep clone of a block beside the copy of the same labels in the peer, OCAF of Open CASCADE.
//
// Content: a block of entities, each with a name of 12 characters, an integer, a real, eight reals, a
// reference to a random other entity, and an object that it owns with the same content. Sizes:
// 100 000 and 1 000 000 entities (2 000 with --brief), the peer at the first size alone: its copy of
// the second takes half a minute. Our clone is recorded for undo, the peer's is not.
// Every run is a process of its own; medians are printed, and all clones are compared.

#include "db/od_db_block_table.h"
#include "db/od_db_entity.h"
#include "db/od_db_filer.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_platform.h"

#include "bench_object.h"
#include "bench_util.h"
#include "document_content.h"
#include "ocaf_clone.h"

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// A BenchObject's content as an entity that owns an object.
class BenchEntity : public OdDbEntity
{
    RX_DECLARE_CLASS(BenchEntity);

public:
    OdString name;
    std::int32_t number = 0;
    double real = 0.0;
    std::array<double, 8> reals{};
    OdDbObjectId reference;
    OdDbObjectId owned;

    OdResult dwgInFields(OdDbDwgFiler* filer) override
    {
        const OdResult result = OdDbEntity::dwgInFields(filer);
        if (result != kOdOk) {
            return result;
        }
        name = filer->rdString();
        number = filer->rdInt32();
        real = filer->rdDouble();
        for (double& value : reals) {
            value = filer->rdDouble();
        }
        reference = filer->rdSoftPointerId();
        owned = filer->rdHardOwnershipId();
        return kOdOk;
    }
    void dwgOutFields(OdDbDwgFiler* filer) const override
    {
        OdDbEntity::dwgOutFields(filer);
        filer->wrString(name);
        filer->wrInt32(number);
        filer->wrDouble(real);
        for (const double value : reals) {
            filer->wrDouble(value);
        }
        filer->wrSoftPointerId(reference);
        filer->wrHardOwnershipId(owned);
    }
};

using BenchEntityPtr = OdSmartPtr<BenchEntity>;

RX_DEFINE_CLASS(BenchEntity, OdDbEntity, odrxCreate<BenchEntity>, L"BenchEntity",
                OdDb::kDwgVersionCurrent, 0, 0, L"BENCHENTITY", L"Benchmarks");

namespace {

using bench::Figures;
using bench::GoalKind;

/// The platform with the classes of this benchmark.
class Classes
{
public:
    Classes()
    {
        BenchObject::rxInit();
        BenchEntity::rxInit();
    }
    Classes(Classes const&) = delete;
    Classes& operator=(Classes const&) = delete;
    ~Classes()
    {
        BenchEntity::rxUninit();
        BenchObject::rxUninit();
    }

private:
    OdDbPlatform m_platform;
};

OdDbObjectId makeBlock(OdDbDatabase& db, std::size_t count)
{
    const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
    block->setName(L"block");
    const OdDbObjectId id =
        OdDbSymbolTablePtr(db.getBlockTableId().safeOpenObject(OdDb::kForWrite))->add(block.get());
    std::vector<OdDbObjectId> entities(count);
    for (std::size_t index = 0; index < count; ++index) {
        const bench::ObjectContent content = bench::contentOf(index, count);
        const BenchEntityPtr entity = odrxMake<BenchEntity>();
        entity->name = OdString::fromUtf8(content.name);
        entity->number = content.integer;
        entity->real = content.real;
        entity->reals = content.reals;
        entities[index] = block->appendOdDbEntity(entity.get());
        const BenchObjectPtr owned = odrxMake<BenchObject>();
        owned->setName(OdString::fromUtf8(content.name));
        owned->setNumber(content.integer);
        owned->setReal(content.real);
        owned->setReals(content.reals);
        entity->owned = db.addOdDbObject(owned.get(), entities[index]);
    }
    for (std::size_t index = 0; index < count; ++index) {
        const OdDbObjectId reference = entities[bench::contentOf(index, count).reference];
        const BenchEntityPtr entity = entities[index].safeOpenObject(OdDb::kForWrite);
        entity->reference = reference;
        BenchObjectPtr(entity->owned.safeOpenObject(OdDb::kForWrite))->setReference(reference);
    }
    return id;
}

std::vector<OdDbObjectId> entitiesOf(OdDbObjectId block)
{
    std::vector<OdDbObjectId> ids;
    const OdDbBlockTableRecordPtr record = block.safeOpenObject();
    for (const auto at = record->newIterator(); !at->done(); at->step()) {
        ids.push_back(at->objectId());
    }
    return ids;
}

double wrongIn(OdDbObjectId block, std::size_t count)
{
    const std::vector<OdDbObjectId> entities = entitiesOf(block);
    if (entities.size() != count) {
        return static_cast<double>(count);
    }
    double wrong = 0.0;
    for (std::size_t index = 0; index < count; ++index) {
        const OdDbObjectId reference = entities[bench::contentOf(index, count).reference];
        const BenchEntityPtr entity = entities[index].safeOpenObject();
        const BenchObjectPtr owned = entity->owned.safeOpenObject();
        const bool isRight = entity->number == static_cast<int>(index) &&
                             entity->reference == reference &&
                             owned->number() == static_cast<int>(index) &&
                             owned->ownerId() == entities[index] && owned->reference() == reference;
        wrong += isRight ? 0.0 : 1.0;
    }
    return wrong;
}

/// Seconds of clone, undo, redo; peak memory; what is wrong.
Figures ourClone(std::size_t count)
{
    const Classes classes;
    const OdDbDatabasePtr db = OdDbDatabase::createObject();
    const OdDbObjectId block = makeBlock(*db, count);
    db->startUndoRecord();
    const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
    const bench::Stopwatch cloning;
    const OdDbObjectId clone = db->copyBlock(block, L"clone", *mapping);
    const double cloneSeconds = cloning.seconds();
    const double peak = bench::peakResidentMib();
    const bench::Stopwatch undoing;
    double wrong = db->undo() == kOdOk ? 0.0 : 1.0;
    const double undoSeconds = undoing.seconds();
    wrong += clone.isErased() ? 0.0 : 1.0;
    const bench::Stopwatch redoing;
    wrong += db->redo() == kOdOk ? 0.0 : 1.0;
    const double redoSeconds = redoing.seconds();
    wrong += wrongIn(clone, count) + wrongIn(block, count);
    return {cloneSeconds, undoSeconds, redoSeconds, peak, wrong};
}

void requireRight(double wrong, char const* what)
{
    if (wrong != 0.0) {
        throw std::runtime_error(std::string(what) + ": values are wrong");
    }
}

/// Measures one size; gives our seconds of cloning.
double measure(std::size_t count, bool withPeer, bench::BenchOptions const& options,
               bench::ComparisonReport& report)
{
    const auto run = [&](std::function<Figures()> const& work) {
        return bench::medianRun(options.runs, !options.isBrief, work).figures;
    };
    const std::string size = ", " + std::to_string(count) + " entities";
    const Figures ours = run([count] { return ourClone(count); });
    requireRight(ours[4], "our clone");
    if (withPeer) {
        const Figures peer = run([count] {
            const bench::OcafCloneFigures figures = bench::ocafClone(count);
            return Figures{figures.cloneSeconds, figures.peakMib, figures.wrong};
        });
        requireRight(peer[2], "the peer's copy");
        report.add(
            {"deep clone of a block" + size, "s", ours[0], peer[0], GoalKind::kAtMost, 1.0 / 3.0});
        report.add({"peak memory" + size, "MiB", ours[3], peer[1], GoalKind::kNone, 0.0});
    }
    report.add({"undo : our clone" + size, "s", ours[1], ours[0], GoalKind::kAtMost, 2.0});
    report.add({"redo : our clone" + size, "s", ours[2], ours[0], GoalKind::kAtMost, 2.0});
    return ours[0];
}

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
        bench::ComparisonReport report("a deep clone beside the peer's copy of the same content",
                                       "OCAF");
        std::vector<std::pair<std::size_t, double>> seconds;
        for (const std::size_t count : sizes(options)) {
            seconds.emplace_back(count, measure(count, seconds.empty(), options, report));
        }
        for (std::size_t index = 1; index < seconds.size(); ++index) {
            auto const& [count, larger] = seconds[index];
            auto const& [smaller, base] = seconds[index - 1];
            const double times = static_cast<double>(count) / static_cast<double>(smaller);
            report.add({"clone of " + std::to_string(count) + " : of " + std::to_string(smaller),
                        "s", larger, base, GoalKind::kAtMost, 1.2 * times});
        }
        bench::finishReport(report, options);
        return 0;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "clone_bench: %s\n", error.what());
        return 2;
    }
}
