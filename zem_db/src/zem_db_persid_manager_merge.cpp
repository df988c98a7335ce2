// How a manager of links takes over those of another one, after blocks were merged.

#include "db/od_db_entity.h"

#include "zem_db_constraint_manager.h"
#include "zem_db_object.h"
#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager_impl.h"
#include "zem_link_utils.h"

namespace {

using Link = OdSmartPtr<ZemDbObjectDependency>;

}  // namespace

/// One merge of two managers, link by link.
class ZemDbPersIdManagerImpl::Merge
{
public:
    Merge(ZemDbPersIdManager& target, OdDbIdMapping& mapping,
          ZemDbReverseIdMapping const& reverseMapping, ZemDbPersIdManager::IdSet& changedIds)
        : m_target(target), m_block(target.blockId()), m_mapping(mapping),
          m_reverseMapping(reverseMapping), m_changedIds(changedIds)
    {
    }

    /// Moves a link, which is open for write, if it is to move.
    void take(ZemDbObjectDependency& link)
    {
        OdDbObjectIdArray path;
        if (link.compoundId().getFullPathEx(path, false) != kOdOk ||
            !zemu::isValidObjectIdPath(path, false) || link.getInsertId().isNull()) {
            return;
        }
        const OdDbEntityPtr entity = link.getInsertId().safeOpenObject(OdDb::kForRead);
        if (entity->blockId() != m_block || !allHaveOwners(path)) {
            return;
        }
        const Kind kind = kindOf(link);
        if (kind == Kind::kStays) {
            return;
        }
        link.setOwnerId(m_target.objectId());
        m_moved.append(link.objectId());  // it has, whatever becomes of what follows
        if (kind == Kind::kChanged) {
            link.setLinkObject(OdDbFullSubentPath(path, link.subentId()));
        }
        notify(link.getInsertId());
        if (kind == Kind::kChanged) {
            m_changedIds.insert(link.objectId());
            dropClonedReactors(link);
        }
    }
    /// In the order in which they came.
    OdDbObjectIdArray const& moved() const noexcept { return m_moved; }

private:
    enum class Kind
    {
        kStays,
        kMoved,
        kChanged
    };

    static bool allHaveOwners(OdDbObjectIdArray const& path)
    {
        for (OdDbObjectId id : path) {
            const OdDbObjectId owner = id.safeOpenObject(OdDb::kForRead)->ownerId();
            if (owner.isNull() || owner.isErased()) {
                return false;
            }
        }
        return true;
    }

    Kind kindOf(ZemDbObjectDependency const& link) const
    {
        OdDbIdPair pair;
        if (m_reverseMapping.compute(link.getInsertId(), pair)) {
            return Kind::kChanged;
        }
        if (!m_reverseMapping.compute(link.objectId(), pair) || !pair.isCloned()) {
            return Kind::kStays;
        }
        // The block's content has only been moved, so what the link was cloned from tells whether
        // it names the same part. A source that is gone tells nothing: listeners had better look.
        const auto source = ZemDbObjectDependency::cast(
            pair.key().openObject(OdDb::kForRead, /*openErased=*/true).get());
        const bool isSame = !source.isNull() && source->subentId() == link.subentId();
        return isSame ? Kind::kMoved : Kind::kChanged;
    }

    void notify(OdDbObjectId insert) const
    {
        const OdDbObjectId object =
            ZemDbObject::getInstance(insert, ZemDbConstraintManager::getInstance(m_block, true));
        const auto opened = ZemDbObject::cast(object.openObject(OdDb::kForWrite).get());
        if (!opened.isNull()) {
            opened->notifyAboutModifications(true);
        }
    }

    void dropClonedReactors(ZemDbObjectDependency& link) const
    {
        for (OdDbObjectId reactor : link.getPersistentReactors()) {
            if (m_mapping.find(reactor) != nullptr) {
                link.removePersistentReactor(reactor);
            }
        }
    }

    ZemDbPersIdManager& m_target;
    const OdDbObjectId m_block;
    OdDbIdMapping& m_mapping;
    ZemDbReverseIdMapping const& m_reverseMapping;
    ZemDbPersIdManager::IdSet& m_changedIds;
    OdDbObjectIdArray m_moved;
};

OdResult ZemDbPersIdManagerImpl::mergeManagers(OdDbObject* target, OdDbObject* source,
                                               OdDbIdMapping& mapping,
                                               ZemDbReverseIdMapping const& reverseMapping,
                                               ZemDbPersIdManager::IdSet& changedIds)
{
    const auto into = ZemDbPersIdManager::cast(target);
    const auto from = ZemDbPersIdManager::cast(source);
    if (into.isNull() || from.isNull() || into == from) {
        return kOdInvalidInput;
    }
    into->assertWriteEnabled(true, true);
    from->assertWriteEnabled(true, true);
    if (ZemDbPersIdManagerPE::cast(into.get()).isNull() ||
        ZemDbPersIdManagerPE::cast(from.get()).isNull()) {
        return kOdOk;
    }
    Merge merge(*into, mapping, reverseMapping, changedIds);
    const OdDbObjectIdArray links = from->objectDependencyIds();
    // Each link is listed by its owner, by that alone, or nothing would lead to it.
    const auto settle = [&] {
        into->m_impl->m_links.append(merge.moved());
        (void)from->m_impl->m_links.remove(merge.moved());
    };
    try {
        for (OdDbObjectId id : links) {
            const auto link = ZemDbObjectDependency::cast(id.openObject(OdDb::kForWrite).get());
            if (!link.isNull()) {
                merge.take(*link);
            }
        }
    } catch (...) {
        settle();
        throw;
    }
    settle();
    attachDepsToZemDbObjects(into.get(), merge.moved());
    from->m_impl->m_links.clear();
    return from->erase(true);
}
