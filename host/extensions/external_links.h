// Links to parts of solids in other drawings, whose edits nobody here is told of.

#pragma once

#include "db/od_db_object_id.h"
#include "db/od_db_subent.h"
#include "extensions/named_selection.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

class ZemDbObjectDependency;
class ZemDbPersIdManager;

namespace zemhost {

/// What is known of the solid that a link leads to.
enum class BodyState
{
    kOwn,      ///< it lies in the link's drawing, or the link names no part: edits are followed
    kAsNoted,  ///< it lies in another drawing and is as it was when the link was led there
    kChanged,  ///< it lies in another drawing and was changed since
    kUnnoted   ///< it lies in another drawing, and how it was is not known
};

/// A hash of a solid's body: positive, of 31 bits, the same in every process for the same bytes.
/// 0 for what is no solid or has no body.
std::int32_t bodyHashOf(OdDbObjectId solid);

/// The hash with which a link into another drawing notes how the solid is; 0 for a path that stays in
/// `database`, or names no part.
std::int32_t noteFor(OdDbFullSubentPath const& path, OdDbDatabase const* database);

/// Answers for many links, each solid being hashed and measured once.
class ExternalSolids
{
public:
    /// \param path  Of the link, resolved.
    BodyState stateOf(ZemDbObjectDependency const& link, OdDbFullSubentPath const& path);
    /// How a part lies and looks; none without a kernel that can tell.
    std::optional<PartShape> shapeOf(OdDbFullSubentPath const& path);
    /// The parts of a solid that may be the one that lay and looked like this: those in the same
    /// place, else those that have the same place or the same size.
    std::vector<OdDbSubentId> candidates(OdDbFullSubentPath const& path, PartShape const& shape);

private:
    struct Part
    {
        OdDbSubentId id;
        PartShape shape;
    };
    std::vector<Part> const& partsOf(OdDbObjectId solid);

    std::unordered_map<OdDbObjectId, std::int32_t> m_hashes;
    std::unordered_map<OdDbObjectId, std::vector<Part>> m_parts;
};

/// Lets links whose solid was changed name no part, under a number of their own each: a link that is
/// led to the part of their number meanwhile is not the same as they. They keep what they note.
void parkChangedLinks(ZemDbPersIdManager& manager);

}  // namespace zemhost
