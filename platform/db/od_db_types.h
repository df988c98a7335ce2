// Enumerations of the database layer. Values that are stored or compared by number never change.

#pragma once

#include "root/od_filer_seek.h"

#include <cstdint>

namespace OdDb {

/// How an object is opened.
enum OpenMode : std::uint8_t
{
    kForRead = 0,
    kForWrite = 1,
    kForNotify = 2  ///< used by the database itself to call a reactor; may write
};

/// What a reference means for ownership, cloning and purging.
enum class ReferenceType : std::int32_t
{
    kSoftPointerRef = 0,
    kHardPointerRef = 1,
    kSoftOwnershipRef = 2,
    kHardOwnershipRef = 3
};

/// What a filer is for; classes may file differently for different purposes.
enum class FilerType : std::int32_t
{
    kFileFiler = 0,
    kCopyFiler = 1,
    kUndoFiler = 2,
    kPageFiler = 5,
    kDeepCloneFiler = 6,
    kIdXlateFiler = 7,
    kPurgeFiler = 8,
    kWblockCloneFiler = 9
};

/// What part of an entity a sub-entity id names.
enum class SubentType : std::int32_t
{
    kNullSubentType = 0,
    kFaceSubentType = 1,
    kEdgeSubentType = 2,
    kVertexSubentType = 3,
    kMlineSubentCache = 4,
    kClassSubentType = 5
};

/// What a clone operation is made for; 5 is not used.
enum class DeepCloneType : std::int32_t
{
    kDcCopy = 0,
    kDcExplode = 1,
    kDcBlock = 2,
    kDcXrefBind = 3,
    kDcSymTableMerge = 4,
    kDcInsert = 6,
    kDcWblock = 7,
    kDcObjects = 8,
    kDcXrefInsert = 9,
    kDcInsertCopy = 10,
    kDcWblkObjects = 11
};

/// What happens to a named object whose name stands in the destination already.
enum class DuplicateRecordCloning : std::int16_t
{
    kDrcNotApplicable = 0,
    kDrcIgnore = 1,
    kDrcReplace = 2,
    kDrcXrefMangleName = 3,
    kDrcMangleName = 4,
    kDrcUnmangleName = 5
};

/// Versions of drawings that can be written; the last one is the current one.
constexpr int kDwgVersion29 = 29;
constexpr int kDwgVersion30 = 30;
constexpr int kDwgVersionCurrent = 33;

/// Whether drawings of this version can be read and written.
constexpr bool isDwgVersion(int version) noexcept
{
    return version == kDwgVersion29 || version == kDwgVersion30 || version == kDwgVersionCurrent;
}

/// How a block stands towards an external drawing.
enum class XrefStatus : std::uint8_t
{
    kXrfNotAnXref = 0,     ///< a plain block
    kXrfResolved = 1,      ///< loaded
    kXrfUnloaded = 2,      ///< unloaded on purpose
    kXrfFileNotFound = 4,  ///< the file wasn't found when it was last looked for
    kXrfUnresolved = 5     ///< not loaded yet, or could not be read
};

/// Units of lengths in a drawing.
enum class UnitsValue : std::int16_t
{
    kUnitsUndefined = 0,
    kUnitsInches = 1,
    kUnitsFeet = 2,
    kUnitsMiles = 3,
    kUnitsMillimeters = 4,
    kUnitsCentimeters = 5,
    kUnitsMeters = 6,
    kUnitsKilometers = 7,
    kUnitsMicroinches = 8,
    kUnitsMils = 9,
    kUnitsYards = 10,
    kUnitsAngstroms = 11,
    kUnitsNanometers = 12,
    kUnitsMicrons = 13,
    kUnitsDecimeters = 14,
    kUnitsDekameters = 15,
    kUnitsHectometers = 16,
    kUnitsGigameters = 17,
    kUnitsAstronomical = 18,
    kUnitsLightYears = 19,
    kUnitsParsecs = 20
};

}  // namespace OdDb
