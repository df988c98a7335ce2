// Platform types as text in traces.
//
// The operators print what they can and never throw for an object that can't be opened or read; it
// prints as "NULL" or " is erased or null", or loses what only an open object can tell. Blocks of
// lines are indented by one step. An operator that starts each of its lines itself leaves the last
// one open.

#pragma once

#include "db/od_db_object.h"
#include "ge/od_ge_point3d.h"
#include "root/od_array.h"
#include "zem_utils/zemu_tracer.h"

#include "zem_database_utils.h"

#include <set>
#include <unordered_set>

class OdDbBlockTableRecord;
class OdDbIdMapping;
class OdDbIdPair;
class OdDbObjectIterator;
class OdError;
class OdGeExtents3d;
class OdGeMatrix3d;
class OdGePoint2d;
class OdGeVector3d;
class OdTimeStamp;
struct ExtendedDep;

/// \name Texts and times
/// @{
/// The text, or "<empty string>".
ZemuTracer& operator<<(ZemuTracer& tracer, OdString const& text);
/// A line with the exception's description.
ZemuTracer& operator<<(ZemuTracer& tracer, OdError const& error);
/// A moment in universal time, shown in local time with milliseconds.
ZemuTracer& operator<<(ZemuTracer& tracer, OdTimeStamp const& time);
/// @}

/// \name Ids and objects
/// @{
/// The handle as hexadecimal text.
ZemuTracer& operator<<(ZemuTracer& tracer, OdDbHandle const& handle);
ZemuTracer& operator<<(ZemuTracer& tracer, OdDbObjectId const& id);
/// Id, class, references and state of an object; of a block also its name and where it is used.
ZemuTracer& operator<<(ZemuTracer& tracer, OdDbObject const* object);
ZemuTracer& operator<<(ZemuTracer& tracer, OdDbObjectPtr const& object);
/// The ids with their objects and owners, one to a line.
ZemuTracer& operator<<(ZemuTracer& tracer, OdDbObjectIdArray const& ids);
ZemuTracer& operator<<(ZemuTracer& tracer,
                       OdArray<OdDbObjectId, OdObjectsAllocator<OdDbObjectId>> const& ids);
/// The ids, each followed by a space; in no fixed order.
ZemuTracer& operator<<(ZemuTracer& tracer,
                       std::unordered_set<OdDbObjectId, zemu::hash_ObjectId> const& ids);
/// The objects from where the iterator stands, which is at its end afterwards.
ZemuTracer& operator<<(ZemuTracer& tracer, OdSmartPtr<OdDbObjectIterator> iterator);
/// A block and its content.
ZemuTracer& operator<<(ZemuTracer& tracer, OdSmartPtr<OdDbBlockTableRecord> const& block);
/// @}

/// \name Cloning
/// @{
ZemuTracer& operator<<(ZemuTracer& tracer, OdDb::DeepCloneType type);
/// Both objects of a pair and their owners.
ZemuTracer& operator<<(ZemuTracer& tracer, OdDbIdPair const& pair);
/// The context and all pairs, one to a line.
ZemuTracer& operator<<(ZemuTracer& tracer, OdDbIdMapping& mapping);
/// @}

/// \name Geometry
/// @{
ZemuTracer& operator<<(ZemuTracer& tracer, OdGePoint2d const& point);
ZemuTracer& operator<<(ZemuTracer& tracer, OdGePoint3d const& point);
ZemuTracer& operator<<(ZemuTracer& tracer, OdGeVector3d const& vector);
ZemuTracer& operator<<(ZemuTracer& tracer, OdArray<OdGePoint3d> const& points);
ZemuTracer& operator<<(ZemuTracer& tracer,
                       OdArray<OdGePoint3d, OdMemoryAllocator<OdGePoint3d>> const& points);
ZemuTracer& operator<<(ZemuTracer& tracer, OdGeExtents3d const& extents);
ZemuTracer& operator<<(ZemuTracer& tracer, OdGeMatrix3d const& matrix);
/// @}

/// \name Sub-entities and dependencies
/// @{
ZemuTracer& operator<<(ZemuTracer& tracer, OdDb::SubentType type);
ZemuTracer& operator<<(ZemuTracer& tracer, OdDbSubentId const& subent);
ZemuTracer& operator<<(ZemuTracer& tracer, OdDbFullSubentPath const& path);
/// The paths in their order, each followed by a space.
ZemuTracer& operator<<(ZemuTracer& tracer,
                       std::set<OdDbFullSubentPath, zemu::less_FullSubentPath> const& paths);
/// The link's id, if there is one, and the part of a coordinate system, if it has a name.
ZemuTracer& operator<<(ZemuTracer& tracer, ExtendedDep const& dependency);
/// @}
