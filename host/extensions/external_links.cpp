#include "extensions/external_links.h"

#include "db/od_db_3d_solid.h"
#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "extensions/link_remap.h"

#include "protocol/host_edit_extension.h"
#include "protocol/host_error.h"
#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager.h"
#include "zem_link_utils.h"

#include <algorithm>
#include <cmath>

namespace zemhost {

namespace {

using LinkPtr = OdSmartPtr<ZemDbObjectDependency>;

constexpr double kSamePlaceMm = 1e-4;
constexpr double kSameSize = 1e-6;  ///< as a share of the greater one

bool isOutside(OdDbFullSubentPath const& path, OdDbDatabase const* database)
{
    if (!zemu::isLongPath(path) || !zemu::isSubentPath(path)) {
        return false;
    }
    const OdDbObjectPtr leaf = zemu::getLeafId(path).openObject();
    return !leaf.isNull() && leaf->database() != database;
}

bool isSameSize(double left, double right)
{
    return std::abs(left - right) <= kSameSize * std::max(std::abs(left), std::abs(right));
}

bool isSamePlace(PartShape const& left, PartShape const& right)
{
    double square = 0;
    for (std::size_t axis = 0; axis < left.middle.size(); ++axis) {
        square +=
            (left.middle[axis] - right.middle[axis]) * (left.middle[axis] - right.middle[axis]);
    }
    return square <= kSamePlaceMm * kSamePlaceMm;
}

bool isSameShape(PartShape const& left, PartShape const& right)
{
    return left.kind == right.kind && isSamePlace(left, right) && isSameSize(left.size, right.size);
}

/// A vertex has neither kind nor size, which all of them would share.
bool isSimilarShape(PartShape const& left, PartShape const& right)
{
    return left.kind == right.kind && !left.kind.isEmpty() &&
           (isSamePlace(left, right) || isSameSize(left.size, right.size));
}

bool hasExternalDrawings(OdDbDatabase const& database)
{
    const OdDbBlockTablePtr table =
        OdDbBlockTable::cast(database.getBlockTableId().safeOpenObject().get());
    for (auto at = table->newIterator(); !at->done(); at->step()) {
        const OdDbBlockTableRecordPtr block =
            OdDbBlockTableRecord::cast(at->getRecordId().openObject().get());
        if (!block.isNull() && block->isFromExternalReference()) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::int32_t bodyHashOf(OdDbObjectId solid)
{
    const OdDb3dSolidPtr opened = OdDb3dSolid::cast(solid.openObject().get());
    if (opened.isNull() || opened->isNull()) {
        return 0;
    }
    constexpr std::uint64_t kBasis = 0xCBF29CE484222325;
    constexpr std::uint64_t kPrime = 0x100000001B3;
    std::uint64_t hash = kBasis;
    for (unsigned char byte : opened->body()) {
        hash = (hash ^ byte) * kPrime;
    }
    const auto folded = static_cast<std::int32_t>((hash ^ hash >> 32) & 0x7FFFFFFF);
    return folded == 0 ? 1 : folded;  // 0 stands for none
}

std::int32_t noteFor(OdDbFullSubentPath const& path, OdDbDatabase const* database)
{
    return isOutside(path, database) ? bodyHashOf(zemu::getLeafId(path)) : 0;
}

BodyState ExternalSolids::stateOf(ZemDbObjectDependency const& link, OdDbFullSubentPath const& path)
{
    if (!isOutside(path, link.database())) {
        return BodyState::kOwn;
    }
    if (link.bodyHash() == 0) {
        return BodyState::kUnnoted;
    }
    const OdDbObjectId solid = zemu::getLeafId(path);
    auto found = m_hashes.find(solid);
    if (found == m_hashes.end()) {
        found = m_hashes.emplace(solid, bodyHashOf(solid)).first;
    }
    return found->second == link.bodyHash() ? BodyState::kAsNoted : BodyState::kChanged;
}

std::vector<ExternalSolids::Part> const& ExternalSolids::partsOf(OdDbObjectId id)
{
    const auto [found, isNew] = m_parts.try_emplace(id);
    const OdDb3dSolidPtr solid = OdDb3dSolid::cast(id.openObject().get());
    const OdSmartPtr<HostEditExtension> kernel =
        isNew ? HostEditExtension::cast(solid.get()) : OdSmartPtr<HostEditExtension>();
    if (kernel.isNull()) {
        return found->second;
    }
    try {
        for (HostPart const& part :
             kernel->measure({solid->bodyFormat(), solid->body(), {}}).parts) {
            found->second.push_back(
                {part.part, {OdString::fromUtf8(part.kind), part.size, part.middle}});
        }
    } catch (HostError const&) {
        found->second.clear();  // a body that can't be measured has no candidates to offer
    }
    return found->second;
}

std::optional<PartShape> ExternalSolids::shapeOf(OdDbFullSubentPath const& path)
{
    for (Part const& part : partsOf(zemu::getLeafId(path))) {
        if (part.id == path.subentId()) {
            return part.shape;
        }
    }
    return std::nullopt;
}

std::vector<OdDbSubentId> ExternalSolids::candidates(OdDbFullSubentPath const& path,
                                                     PartShape const& shape)
{
    const auto those = [&](auto const& isAlike) {
        std::vector<OdDbSubentId> found;
        for (Part const& part : partsOf(zemu::getLeafId(path))) {
            if (part.id.type() == path.subentId().type() && isAlike(part.shape, shape)) {
                found.push_back(part.id);
            }
        }
        return found;
    };
    const std::vector<OdDbSubentId> same = those(isSameShape);
    return same.empty() ? those(isSimilarShape) : same;
}

void parkChangedLinks(ZemDbPersIdManager& manager)
{
    if (!hasExternalDrawings(*manager.database())) {
        return;
    }
    ExternalSolids solids;
    LostNumbers lost;
    lost.keepThoseOf(manager.blockId());
    OdDbObjectIdArray links;
    std::vector<OdDbFullSubentPath> paths;
    for (OdDbObjectId id : manager.objectDependencyIds()) {
        const LinkPtr link = ZemDbObjectDependency::cast(id.openObject().get());
        OdDbFullSubentPath path;
        if (link.isNull() || link->getLinkObject(path, /*openErased=*/true) != kOdOk) {
            continue;
        }
        lost.keep(path.subentId());
        if (!LostNumbers::isLost(path.subentId()) &&
            solids.stateOf(*link, path) == BodyState::kChanged) {
            links.append(id);
            paths.push_back(path);
        }
    }
    if (links.isEmpty()) {
        return;
    }
    ZemSubentPathArray parked;
    for (OdDbFullSubentPath& path : paths) {
        path.setSubentId({path.subentId().type(), lost.take()});
        parked.append(path);
    }
    (void)manager.updatePairs(links, parked);
}

}  // namespace zemhost
