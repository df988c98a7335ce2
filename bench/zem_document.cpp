#include "zem_document.h"

#include "assoc/od_platform.h"
#include "store/od_db_drawing.h"

#include "bench_object.h"
#include "bench_util.h"
#include "document_content.h"

#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kLookups = 1'000'000;

using bench::contentOf;
using bench::ObjectContent;
using bench::randomIndices;
using bench::realOf;
using bench::Stopwatch;

/// The platform with the benchmark's class.
class Session
{
public:
    Session() { BenchObject::rxInit(); }
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;
    ~Session() { BenchObject::rxUninit(); }

private:
    OdPlatform m_platform;
};

std::vector<OdDbObjectId> fill(OdDbDatabase& db, std::size_t count)
{
    const OdDbObjectId owner = db.getNamedObjectsDictionaryId();
    std::vector<OdDbObjectId> ids(count);
    for (std::size_t index = 0; index < count; ++index) {
        const ObjectContent content = contentOf(index, count);
        const BenchObjectPtr object = odrxMake<BenchObject>();
        object->setName(OdString::fromUtf8(content.name));
        object->setNumber(content.integer);
        object->setReal(content.real);
        object->setReals(content.reals);
        ids[index] = db.addOdDbObject(object.get(), owner);
    }
    for (std::size_t index = 0; index < count; ++index) {
        const BenchObjectPtr object = ids[index].openObject(OdDb::kForWrite);
        object->setReference(ids[contentOf(index, count).reference]);
    }
    return ids;
}

bool isRight(std::vector<OdDbObjectId> const& ids, std::size_t index)
{
    const ObjectContent content = contentOf(index, ids.size());
    const BenchObjectPtr object = ids[index].openObject();
    return object->name() == OdString::fromUtf8(content.name) &&
           object->number() == content.integer && object->real() == content.real &&
           object->reals() == content.reals && object->reference() == ids[content.reference];
}

/// The objects are the only ones of the file with handles from here on.
OdDbHandle firstHandle(OdDbDatabase const& db, std::size_t count)
{
    return OdDbHandle(db.handseed().value() - count);
}

std::vector<OdDbHandle> handlesOf(OdDbDatabase const& db, std::size_t count)
{
    std::vector<OdDbHandle> handles;
    handles.reserve(count);
    const OdDbHandle first = firstHandle(db, count);
    for (std::size_t index = 0; index < count; ++index) {
        handles.emplace_back(first.value() + index);
    }
    return handles;
}

template <class Open>
double readsPerSecond(std::vector<std::size_t> const& indices, Open const& open, double& wrong)
{
    double sum = 0.0;
    double expected = 0.0;
    const Stopwatch watch;
    for (std::size_t index : indices) {
        const BenchObjectPtr object = open(index);
        sum += object->real();
    }
    const double seconds = watch.seconds();
    for (std::size_t index : indices) {
        expected += realOf(index);
    }
    wrong += sum == expected ? 0.0 : 1.0;
    return static_cast<double>(indices.size()) / seconds;
}

}  // namespace

ZemSaveFigures zemSave(std::size_t count, OdString const& path)
{
    const Session session;
    ZemSaveFigures figures;
    const OdDbDatabasePtr db = OdDbDatabase::createObject();
    Stopwatch watch;
    const std::vector<OdDbObjectId> ids = fill(*db, count);
    figures.build = watch.seconds();

    watch = Stopwatch();
    odDbSaveDrawingAs(*db, path);
    figures.save = watch.seconds();
    figures.fileBytes = static_cast<double>(std::filesystem::file_size(std::string(path.utf8())));

    figures.peakMib = bench::peakResidentMib();

    // The same value again, so that the file holds what a reader expects.
    for (std::size_t index : randomIndices(10, count)) {
        const BenchObjectPtr object = ids[index].openObject(OdDb::kForWrite);
        object->setReal(realOf(index));
    }
    watch = Stopwatch();
    odDbSaveDrawing(*db);
    figures.saveTen = watch.seconds();
    return figures;
}

ZemLoadFigures zemLoad(std::size_t count, OdString const& path)
{
    const Session session;
    ZemLoadFigures figures;
    Stopwatch watch;
    const OdDbDatabasePtr db = odDbOpenDrawing(path, OdDbOpenDrawingMode::kForReading);
    figures.open = watch.seconds();

    const std::vector<OdDbHandle> handles = handlesOf(*db, count);
    std::vector<OdDbObjectId> ids(count);
    watch = Stopwatch();
    for (std::size_t index = 0; index < count; ++index) {
        ids[index] = db->getOdDbObjectId(handles[index]);
        figures.wrong += ids[index].openObject().isNull() ? 1.0 : 0.0;
    }
    figures.touchAll = figures.open + watch.seconds();
    figures.peakMib = bench::peakResidentMib();
    for (std::size_t index = 0; index < count; ++index) {
        figures.wrong += isRight(ids, index) ? 0.0 : 1.0;
    }
    const std::vector<std::size_t> indices = randomIndices(kLookups, count);
    figures.lookupsPerSecond = readsPerSecond(
        indices,
        [&](std::size_t index) { return db->getOdDbObjectId(handles[index]).openObject(); },
        figures.wrong);
    figures.opensPerSecond = readsPerSecond(
        indices, [&](std::size_t index) { return ids[index].openObject(); }, figures.wrong);
    return figures;
}

double zemOpenOnly(OdString const& path)
{
    const Session session;
    const Stopwatch watch;
    const OdDbDatabasePtr db = odDbOpenDrawing(path, OdDbOpenDrawingMode::kForReading);
    return watch.seconds();
}

ZemUndoFigures zemUndo(std::size_t count, std::size_t changes, std::size_t among)
{
    const Session session;
    ZemUndoFigures figures;
    const OdDbDatabasePtr db = OdDbDatabase::createObject();
    const std::vector<OdDbObjectId> ids = fill(*db, count);
    const std::vector<std::size_t> indices = randomIndices(changes, among);
    const auto rate = [&](Stopwatch const& watch) {
        return static_cast<double>(changes) / watch.seconds();
    };

    Stopwatch watch;
    for (std::size_t change = 0; change < changes; ++change) {
        db->startUndoRecord();
        const BenchObjectPtr object = ids[indices[change]].openObject(OdDb::kForWrite);
        object->setReal(-1.0 - static_cast<double>(change));
    }
    figures.commitsPerSecond = rate(watch);

    watch = Stopwatch();
    for (std::size_t change = 0; change < changes; ++change) {
        figures.wrong += db->undo() == kOdOk ? 0.0 : 1.0;
    }
    figures.undosPerSecond = rate(watch);
    for (std::size_t index : indices) {
        const BenchObjectPtr object = ids[index].openObject();
        figures.wrong += object->real() == realOf(index) ? 0.0 : 1.0;
    }

    watch = Stopwatch();
    for (std::size_t change = 0; change < changes; ++change) {
        figures.wrong += db->redo() == kOdOk ? 0.0 : 1.0;
    }
    figures.redosPerSecond = rate(watch);
    std::vector<double> last(count, 0.0);
    for (std::size_t change = 0; change < changes; ++change) {
        last[indices[change]] = -1.0 - static_cast<double>(change);
    }
    for (std::size_t index : indices) {
        const BenchObjectPtr object = ids[index].openObject();
        figures.wrong += object->real() == last[index] ? 0.0 : 1.0;
    }
    return figures;
}
