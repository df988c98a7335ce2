#include "zem_tracing.h"

#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "db/od_db_entity.h"
#include "db/od_db_id_mapping.h"
#include "db/od_db_object_store.h"
#include "ge/od_ge_extents3d.h"
#include "ge/od_ge_matrix3d.h"
#include "ge/od_ge_point2d.h"
#include "root/od_error.h"
#include "root/od_time_stamp.h"

#include "zem_constraint.h"

#include <ctime>
#include <string>

namespace {

ZemuTracer& startLine(ZemuTracer& tracer)
{
    return tracer.continueOnNewLine();
}

ZemuTracer& traceText(ZemuTracer& tracer, OdString const& text)
{
    std::string bytes;
    text.appendUtf8To(bytes);
    tracer.stream().write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return tracer;
}

/// An object that may be erased; null if it can't be opened.
OdDbObjectPtr openAnyway(OdDbObjectId id)
{
    return id.openObject(OdDb::kForRead, /*openErased=*/true);
}

/// The registered name of an object's class. An object of a database is known by it even when its
/// class is gone; empty for another one then.
OdString classNameOf(OdDbObject const& object)
{
    if (OdRxClass const* const cls = object.isA()) {
        return cls->name();
    }
    OdDbDatabase* const database = object.database();
    if (database == nullptr) {
        return OdString();
    }
    const OdDbObjectState state = OdDbStorageAccess(*database).state(object.objectId().getHandle());
    return state.object == &object ? database->classRecord(state.classIndex).name : OdString();
}

/// What only a block has to tell.
/// \throws OdError for what needs an open block.
void traceBlock(ZemuTracer& tracer, OdDbBlockTableRecord const& block)
{
    // Each part is read before its label prints, so that no label stands without its text.
    const OdString name = block.getName();
    traceText(tracer << " Name: ", name);
    if (block.isFromExternalReference()) {
        const OdString path = block.pathName();
        traceText(tracer << " XRef: ", path);
    }
    const auto occurrences = static_cast<unsigned int>(block.getBlockReferenceIds().size());
    tracer << " Number of occurances: " << occurrences;
}

void traceOwner(ZemuTracer& tracer, OdDbObjectPtr const& object)
{
    if (object.isNull()) {
        tracer << "NULL";
        return;
    }
    tracer << object->ownerId();
}

void traceArraySize(ZemuTracer& tracer, std::size_t size)
{
    tracer << "Array size " << static_cast<unsigned int>(size) << std::endl;
}

ZemuTracer& startElement(ZemuTracer& tracer, std::size_t index)
{
    return startLine(tracer) << "Elt[" << static_cast<unsigned int>(index) << "] = ";
}

void traceIds(ZemuTracer& tracer, OdDbObjectId const* ids, std::size_t size)
{
    traceArraySize(tracer, size);
    const ZemuTraceIndenter indenter(0, "", 0);
    for (std::size_t index = 0; index < size; ++index) {
        startElement(tracer, index) << ids[index];
        const OdDbObjectPtr object = ids[index].openObject(OdDb::kForRead);
        if (object.isNull()) {
            tracer << " is erased or null";
            continue;
        }
        tracer << object << " owner is ";
        traceOwner(tracer, object);
    }
}

void tracePoints(ZemuTracer& tracer, OdGePoint3d const* points, std::size_t size)
{
    traceArraySize(tracer, size);
    const ZemuTraceIndenter indenter(0, "", 0);
    for (std::size_t index = 0; index < size; ++index) {
        startElement(tracer, index) << points[index];
    }
}

// The year has two digits by design, which the compiler would warn of.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-y2k"
/// Date and time of day, in the language of the process; empty if they don't fit.
OdString dateText(std::tm const& fields)
{
    char text[128];
    const std::size_t size = std::strftime(text, sizeof text, " %b %d %y %H:%M:%S:", &fields);
    return OdString::fromUtf8(text, size);
}
#pragma GCC diagnostic pop

void traceCoordinates(ZemuTracer& tracer, char const* name, double x, double y, double z)
{
    tracer << name << " (" << x << ", " << y << ", " << z << ")";
}

char const* csObjectName(ECoordinateSystemObject object)
{
    switch (object) {
    case kCsOrigin:
        return "Origin";
    case kCsXAxis:
        return "X Axis";
    case kCsYAxis:
        return "Y Axis";
    case kCsZAxis:
        return "Z Axis";
    case kCsXYPlane:
        return "XY Plane";
    case kCsYZPlane:
        return "YZ Plane";
    case kCsZXPlane:
        return "ZX Plane";
    case kCsNone:
        break;
    }
    return "";
}

char const* deepCloneTypeName(OdDb::DeepCloneType type)
{
    switch (type) {
    case OdDb::DeepCloneType::kDcCopy:
        return "kDcCopy";
    case OdDb::DeepCloneType::kDcExplode:
        return "kDcExplode";
    case OdDb::DeepCloneType::kDcBlock:
        return "kDcBlock";
    case OdDb::DeepCloneType::kDcXrefBind:
        return "kDcXrefBind";
    case OdDb::DeepCloneType::kDcSymTableMerge:
        return "kDcSymTableMerge";
    case OdDb::DeepCloneType::kDcInsert:
        return "kDcInsert";
    case OdDb::DeepCloneType::kDcWblock:
        return "kDcWblock";
    case OdDb::DeepCloneType::kDcObjects:
        return "kDcObjects";
    case OdDb::DeepCloneType::kDcXrefInsert:
        return "kDcXrefInsert";
    case OdDb::DeepCloneType::kDcInsertCopy:
        return "kDcInsertCopy";
    case OdDb::DeepCloneType::kDcWblkObjects:
        return "kDcWblkObjects";
    }
    return "Unknown";
}

char const* subentTypeName(OdDb::SubentType type)
{
    switch (type) {
    case OdDb::SubentType::kNullSubentType:
        return "kNullSubentType";
    case OdDb::SubentType::kFaceSubentType:
        return "kFaceSubentType";
    case OdDb::SubentType::kEdgeSubentType:
    case OdDb::SubentType::kVertexSubentType:
        // Readers of these logs know vertices under the label of edges; it stays so.
        return "kEdgeSubentType";
    case OdDb::SubentType::kMlineSubentCache:
        return "kMlineSubentCache";
    case OdDb::SubentType::kClassSubentType:
        return "kClassSubentType";
    }
    return "Unknown";
}

}  // namespace

ZemuTracer& operator<<(ZemuTracer& tracer, OdString const& text)
{
    return text.isEmpty() ? tracer << "<empty string>" : traceText(tracer, text);
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdError const& error)
{
    const OdString description = error.description();
    traceText(tracer << "OdException ", description);
    return tracer << std::endl;
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdTimeStamp const& time)
{
    OdTimeStamp local = time;
    OdString date;
    try {
        local.universalToLocal();
        date = dateText(local.toTm());
    } catch (OdError const&) {
        // A moment outside of the calendar has no date to print, only its milliseconds.
        date.empty();
    }
    OdString text;
    text.format(L"%ls%u", date.c_str(), local.milliseconds());
    return traceText(tracer, text);
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdDbHandle const& handle)
{
    return traceText(tracer, handle.ascii());
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdDbObjectId const& id)
{
    return tracer << id.getHandle();
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdDbObject const* object)
{
    if (object == nullptr) {
        return tracer << "NULL";
    }
    OdRxClass const* const cls = object->isA();
    tracer << "h " << object->objectId() << " ";
    traceText(tracer, classNameOf(*object));
    tracer << " numRefs: " << object->numRefs();
    tracer << (object->isErased() ? " Erased: true" : " Erased: false");
    if (cls == nullptr || !cls->isDerivedFrom(OdDbBlockTableRecord::desc())) {
        return tracer;
    }
    try {
        traceBlock(tracer, static_cast<OdDbBlockTableRecord const&>(*object));
    } catch (OdError const&) {
        // A block that is not open tells no more; a trace must not fail for it.
        return tracer;
    }
    return tracer;
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdDbObjectPtr const& object)
{
    return tracer << static_cast<OdDbObject const*>(object.get());
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdDbObjectIdArray const& ids)
{
    traceIds(tracer, ids.begin(), ids.size());
    return tracer;
}

ZemuTracer& operator<<(ZemuTracer& tracer,
                       OdArray<OdDbObjectId, OdObjectsAllocator<OdDbObjectId>> const& ids)
{
    traceIds(tracer, ids.begin(), ids.size());
    return tracer;
}

ZemuTracer& operator<<(ZemuTracer& tracer,
                       std::unordered_set<OdDbObjectId, zemu::hash_ObjectId> const& ids)
{
    for (OdDbObjectId const& id : ids) {
        tracer << id << " ";
    }
    return tracer;
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdSmartPtr<OdDbObjectIterator> iterator)
{
    if (iterator.isNull()) {
        return tracer << "NULL";
    }
    if (iterator->done()) {
        return tracer << "<empty>";
    }
    const ZemuTraceIndenter indenter(0, "", 0);
    for (; !iterator->done(); iterator->step()) {
        startLine(tracer) << openAnyway(iterator->objectId());
    }
    return tracer;
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdSmartPtr<OdDbBlockTableRecord> const& block)
{
    if (block.isNull()) {
        return tracer << "NULL";
    }
    tracer << "Block " << static_cast<OdDbObject const*>(block.get()) << std::endl;
    tracer << "Contents" << std::endl;
    OdSmartPtr<OdDbObjectIterator> iterator;
    try {
        iterator = block->newIterator();
    } catch (OdError const&) {
        // The content of a block that is not open prints as that of no block.
        iterator = nullptr;
    }
    return tracer << iterator;
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdDb::DeepCloneType type)
{
    return tracer << deepCloneTypeName(type);
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdDbIdPair const& pair)
{
    const OdDbObjectPtr key = openAnyway(pair.key());
    const OdDbObjectPtr value = openAnyway(pair.value());
    tracer << pair.key() << " " << key << " -> " << pair.value() << " " << value;
    tracer << "  key owner   ";
    traceOwner(tracer, key);
    tracer << "  value owner ";
    traceOwner(tracer, value);
    return tracer;
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdDbIdMapping& mapping)
{
    tracer << "idMap.deepCloneContext() " << mapping.deepCloneContext() << std::endl;
    const ZemuTraceIndenter indenter(0, "", 0);
    for (auto at = mapping.newIterator(); !at->done(); at->next()) {
        startLine(tracer) << at->getMap();
    }
    return tracer;
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdGePoint2d const& point)
{
    return tracer << "Point2D (" << point.x << ", " << point.y << ")";
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdGePoint3d const& point)
{
    traceCoordinates(tracer, "Point3D", point.x, point.y, point.z);
    return tracer;
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdGeVector3d const& vector)
{
    traceCoordinates(tracer, "Vector3D", vector.x, vector.y, vector.z);
    return tracer;
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdArray<OdGePoint3d> const& points)
{
    tracePoints(tracer, points.begin(), points.size());
    return tracer;
}

ZemuTracer& operator<<(ZemuTracer& tracer,
                       OdArray<OdGePoint3d, OdMemoryAllocator<OdGePoint3d>> const& points)
{
    tracePoints(tracer, points.begin(), points.size());
    return tracer;
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdGeExtents3d const& extents)
{
    return tracer << "Extents min " << extents.minPoint() << " max " << extents.maxPoint()
                  << " diam " << extents.diagonalLength();
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdGeMatrix3d const& matrix)
{
    tracer << "Matrix3D" << std::endl;
    const ZemuTraceIndenter indenter(0, "", 0);
    for (unsigned row = 0; row < OdGeMatrix3d::kSize; ++row) {
        startLine(tracer) << "(" << matrix(row, 0) << "\t" << matrix(row, 1) << "\t"
                          << matrix(row, 2) << "\t" << matrix(row, 3) << ")";
    }
    return tracer;
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdDb::SubentType type)
{
    return tracer << subentTypeName(type);
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdDbSubentId const& subent)
{
    return tracer << subent.type() << " " << static_cast<long>(subent.index());
}

ZemuTracer& operator<<(ZemuTracer& tracer, OdDbFullSubentPath const& path)
{
    tracer << "objectIds() " << path.objectIds() << std::endl;
    return tracer << "subentId() " << path.subentId() << std::endl;
}

ZemuTracer& operator<<(ZemuTracer& tracer,
                       std::set<OdDbFullSubentPath, zemu::less_FullSubentPath> const& paths)
{
    for (OdDbFullSubentPath const& path : paths) {
        tracer << path << " ";
    }
    return tracer;
}

ZemuTracer& operator<<(ZemuTracer& tracer, ExtendedDep const& dependency)
{
    if (!dependency.id.isNull()) {
        tracer << dependency.id;
    }
    return tracer << csObjectName(dependency.csType);
}
