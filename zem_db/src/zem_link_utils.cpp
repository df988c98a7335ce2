#include "zem_link_utils.h"

#include "db/od_db_block_reference.h"
#include "db/od_db_database.h"
#include "root/od_error.h"

namespace zemu {
namespace {

bool isThere(OdDbObjectId id)
{
    return !id.isNull() && !id.isErased();
}

/// Goes from the references of a path to the block that the last of them shows.
/// \param block  Null at first; the last block afterwards.
bool followReferences(OdDbObjectIdArray const& ids, OdDbObjectId& block)
{
    for (unsigned at = 0; at + 1 < ids.size(); ++at) {
        const auto reference = OdDbBlockReference::cast(ids[at].openObject(OdDb::kForRead).get());
        if (reference.isNull() || !isThere(reference->ownerId())) {
            return false;
        }
        const OdDbObjectId owner = reference->ownerId();
        if (!block.isNull() && block.database() == owner.database() && owner != block) {
            return false;
        }
        block = reference->blockTableRecord();
        if (!isThere(block)) {
            return false;
        }
    }
    return true;
}

/// Whether an owner is a block, or the model space of the external drawing that the block shows.
bool isContentOf(OdDbObjectId owner, OdDbObjectId block)
{
    const auto opened = OdDbBlockTableRecord::cast(block.openObject(OdDb::kForRead).get());
    if (opened.isNull()) {
        return false;
    }
    OdDbDatabase const* const external = opened->xrefDatabase();
    return (external != nullptr && owner == external->getModelSpaceId()) || owner == block;
}

}  // namespace

bool isValidObjectIdPath(OdDbObjectIdArray const& ids, bool checkOwner)
{
    if (ids.isEmpty()) {
        return false;
    }
    try {
        OdDbObjectId block;
        if (!followReferences(ids, block)) {
            return false;
        }
        const auto entity = OdDbEntity::cast(ids.last().openObject(OdDb::kForRead).get());
        if (entity.isNull()) {
            return false;
        }
        return !checkOwner || block.isNull() || isContentOf(entity->ownerId(), block);
    } catch (OdError const&) {
        return false;  // a path comes from a drawing: what can't be followed is no path
    }
}

}  // namespace zemu
