#include "zem_link_utils.h"

#include "db/od_db_block_reference.h"
#include "db/od_db_database.h"
#include "root/od_error.h"
#include "zem_utils/zemc_path.h"

#include "zem_db_object_dependency.h"

#include <algorithm>
#include <iterator>
#include <string>

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

/// The name of an id's drawing, without folders; empty for one that was never saved.
OdString fileNameOf(OdDbObjectId id)
{
    // The drawing in which the id has its handle, also where it stands for an object of another one.
    OdDbDatabase const* const database = id.originalDatabase();
    return database == nullptr ? OdString()
                               : OdString::fromUtf8(ZemcPath::extractBasename(
                                     std::string(database->getFilename().utf8())));
}

OdString strUnresolvedLink(ZemDbObjectDependency const& link, bool withDatabase)
{
    ZemCompoundObjectId const& chain = link.compoundId();
    const OdDbObjectIdArray prefix = chain.getPathPrefix();
    OdString text = L"invalid:" + strObjectIdArray(prefix, withDatabase);
    for (unsigned at = prefix.size(); at < chain.size(); ++at) {
        text += L" | ";
        text += chain.getHandle(at).ascii();
    }
    return text + L":" + strSubentId(link.subentId());
}

}  // namespace

OdDbObjectId getInsertId(OdDbFullSubentPath const& path)
{
    return path.objectIds().isEmpty() ? OdDbObjectId::kNull : path.objectIds().first();
}

OdDbObjectId getLeafId(OdDbFullSubentPath const& path)
{
    return path.objectIds().isEmpty() ? OdDbObjectId::kNull : path.objectIds().last();
}

bool isSimplePath(OdDbFullSubentPath const& path) noexcept
{
    return path.objectIds().size() == 1;
}

bool isLongPath(OdDbFullSubentPath const& path) noexcept
{
    return path.objectIds().size() > 1;
}

bool isSubentId(OdDbSubentId const& id) noexcept
{
    return id.type() != OdDb::SubentType::kNullSubentType;
}

bool isSubentPath(OdDbFullSubentPath const& path) noexcept
{
    return isSubentId(path.subentId());
}

bool isNullObjectLink(OdDbFullSubentPath const& path)
{
    return getInsertId(path).isNull();
}

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

bool doesPathExist(OdDbFullSubentPath const& path)
{
    if (!isValidObjectIdPath(path.objectIds(), /*checkOwner=*/false)) {
        return false;
    }
    if (!isSubentPath(path)) {
        return true;
    }
    const OdDbEntityPtr entity = getLeafId(path).safeOpenObject(OdDb::kForRead);
    // The entity is asked as one of its own block, whatever references lead to it.
    const OdDbFullSubentPath part({entity->objectId()}, path.subentId());
    return !entity->subentPtr(part).isNull();
}

OdDbObjectPtr openIfReadable(OdDbObjectId id, bool& isUnread)
{
    try {
        return id.openObject(OdDb::kForRead);
    } catch (OdError const& error) {
        if (error.code() != kOdFileAccess) {
            throw;
        }
        isUnread = true;
        return OdDbObjectPtr();
    }
}

bool mayList(OdDbObject const& object, OdDbObjectId id)
{
    return object.database() == nullptr || id.isNull() ||
           id.originalDatabase() == object.database();
}

OdDbObjectIdArray withoutForeign(OdDbObject const& object, OdDbObjectIdArray const& ids)
{
    OdDbObjectIdArray own;
    std::copy_if(ids.begin(), ids.end(), std::back_inserter(own),
                 [&object](OdDbObjectId id) { return mayList(object, id); });
    return own;
}

OdString strSubentId(OdDbSubentId const& id)
{
    constexpr std::wstring_view kLetters = L"fev";
    const auto number = static_cast<std::uint32_t>(id.type()) - 1u;  // past the letters for others
    const wchar_t letter = number < kLetters.size() ? kLetters[number] : L'0';
    return OdString().format(L"%lc_%lld", static_cast<std::wint_t>(letter),
                             static_cast<long long>(id.index()));
}

OdString strObjectIdArray(OdDbObjectIdArray const& ids, bool withDatabase)
{
    OdString text;
    for (OdDbObjectId id : ids) {
        if (!text.isEmpty()) {
            text += L':';
        }
        text += id.getHandle().ascii();
        if (withDatabase) {
            text += L"[" + fileNameOf(id) + L"]";
        }
    }
    return text;
}

OdString strFullSubentPath(OdDbFullSubentPath const& path, bool withDatabase)
{
    OdString text = L"0x" + strObjectIdArray(path.objectIds(), withDatabase);
    if (path.subentId() != OdDbSubentId()) {
        text += L":" + strSubentId(path.subentId());
    }
    return text;
}

OdString strFullSubentPathArray(OdArray<OdDbFullSubentPath> const& paths)
{
    if (paths.isEmpty()) {
        return L"empty";
    }
    OdString text;
    for (OdDbFullSubentPath const& path : paths) {
        text += strFullSubentPath(path, /*withDatabase=*/false) + L" ";
    }
    return text;
}

OdString strFSPFromDependency(OdDbObjectId id, bool withDatabase)
{
    bool isUnread = false;
    const OdDbObjectPtr object = openIfReadable(id, isUnread);
    if (object.isNull()) {
        return L"invalid";
    }
    const auto link = ZemDbObjectDependency::cast(object.get());
    if (link.isNull()) {
        return L"invalid path";
    }
    OdDbFullSubentPath path;
    const bool isResolved = link->getLinkObject(path, /*openErased=*/false) == kOdOk;
    return isResolved ? strFullSubentPath(path, withDatabase)
                      : strUnresolvedLink(*link, withDatabase);
}

}  // namespace zemu
