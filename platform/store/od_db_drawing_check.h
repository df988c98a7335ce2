// Looks through a drawing on disk for damage.

#pragma once

#include "db/od_db_host_app_services.h"
#include "db/od_db_object_id.h"
#include "store/od_db_drawing_file.h"

#include <cstdint>
#include <functional>
#include <string>

/// One thing that a check has found.
struct OdDbDrawingFinding
{
    enum class Kind : std::uint8_t
    {
        kFile,        ///< the file's inner structure
        kPage,        ///< the objects of a page can't be told
        kObject,      ///< an object can't be read
        kPartlyRead,  ///< an object's class has read it only in part; its bytes are kept
        kProxy,       ///< an object's class isn't registered, or can't read it; its bytes are kept
        kOwner,       ///< an object's owner isn't there, or doesn't end at a root
        kReference    ///< a reference to an object that isn't there
    };

    Kind kind = Kind::kFile;
    /// Whether something is lost or will misbehave. Otherwise it is a note: a missing module, an owner
    /// or the target of a soft pointer that was erased.
    bool isProblem = true;
    OdDbHandle handle;  ///< of the object, or of the first in the page; null for the file
    std::string text;   ///< with what it is about in front: "object 3F: its checksum differs"
};

/// What a check went through.
struct OdDbDrawingCheckResult
{
    std::uint64_t objects = 0;
    std::uint64_t references = 0;
    std::uint64_t proxies = 0;
    std::uint64_t problems = 0;
    std::uint64_t notes = 0;
};

/// Called for each finding: those of the file, of the objects by handle, of their owners by handle.
using OdDbDrawingCheckReport = std::function<void(OdDbDrawingFinding const&)>;

/// Loads every object of a drawing and follows every reference.
///
/// The drawing is opened for reading and not changed; all its objects are in memory meanwhile.
/// Findings are told one by one; only a drawing that can't be opened at all throws.
/// \throws OdError as `odDbOpenDrawing`.
OdDbDrawingCheckResult odDbCheckDrawing(OdString const& path, OdDbDrawingCheckReport const& report,
                                        OdDbHostAppServices* services = nullptr);
