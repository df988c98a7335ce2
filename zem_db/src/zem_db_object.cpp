#include "zem_db_object.h"

#include "db/od_db_database.h"
#include "db/od_db_entity.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"

#include "zem_constraint_maintenance.h"
#include "zem_db_class_info.h"
#include "zem_db_constraint_manager.h"
#include "zem_db_feature_reactor.h"
#include "zem_db_object_dependency.h"
#include "zem_db_persid_manager.h"
#include "zem_db_properties_base.h"
#include "zem_id_list.h"
#include "zem_link_utils.h"
#include "zem_persid_cache.h"
#include "zem_stream_utils.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

ZEM_DEFINE_DB_CLASS(ZemDbObject, OdDbObject, L"ZemDbObject", L"ZEMOBJECT", kZemAppModelObject);

namespace {

/// Names in the bag, which stand in drawings.
const OdString kPropKeyName(L"Name");
const OdString kPersIdDependencies(L"PersIdDependencies");

constexpr std::uint8_t kFormatVersion = 5;
constexpr int kFirstVersionWithBag = 3;
constexpr int kFirstVersionWithAttributes = 4;
constexpr int kFirstVersionWithTypedBag = 5;

/// A mirroring has a determinant that differs from -1 by less.
constexpr double kMirroringTolerance = 1e-10;

/// Partial undo records; the numbers never change.
enum Opcode : std::uint8_t
{
    kInvalidateCache = 0,
    kCachedTransform = 1,
    kRedraw = 2
};

std::atomic<std::uint64_t> g_nameChanges{0};

/// A filer for a partial undo record that stands behind the opcode; null if nothing is recorded.
OdDbDwgFiler* beginRecord(ZemDbObject& object, Opcode opcode)
{
    OdDbDwgFiler* const filer = object.undoFiler();
    if (filer != nullptr) {
        filer->wrAddress(ZemDbObject::desc());
        filer->wrUInt8(opcode);
    }
    return filer;
}

void writeTransform(OdDbDwgFiler& filer, OdGeMatrix3d const& matrix, bool enabled)
{
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            filer.wrDouble(matrix(row, column));
        }
    }
    filer.wrBool(enabled);
}

void readTransform(OdDbDwgFiler& filer, OdGeMatrix3d& matrix, bool& enabled)
{
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            matrix(row, column) = filer.rdDouble();
        }
    }
    enabled = filer.rdBool();
}

/// Whether a filer carries what lives only as long as the process does.
bool carriesTransientState(OdDbDwgFiler const& filer)
{
    return filer.filerType() == OdDb::FilerType::kPageFiler ||
           filer.filerType() == OdDb::FilerType::kUndoFiler;
}

OdSmartPtr<ZemDbObjectDependency> openLink(OdDbObjectId id, OdDb::OpenMode mode)
{
    return ZemDbObjectDependency::cast(id.openObject(mode).get());
}

/// Whether a manager of links is there and owns a link.
bool isOwnedBy(OdDbObjectId managerId, OdDbObjectId depId)
{
    if (ZemDbPersIdManager::cast(managerId.openObject(OdDb::kForRead).get()).isNull()) {
        return false;
    }
    const OdDbObjectPtr link = depId.openObject(OdDb::kForRead, /*openErased=*/true);
    return !link.isNull() && link->ownerId() == managerId;
}

/// What a look-up finds; null if something that it has to open can't be read at the moment.
template <class LookUp>
OdDbObjectId nullIfUnread(LookUp&& lookUp)
{
    try {
        return std::forward<LookUp>(lookUp)();
    } catch (OdError const& error) {
        if (error.code() != kOdFileAccess) {
            throw;
        }
        return OdDbObjectId::kNull;
    }
}

void eraseIfThere(OdDbObjectId id)
{
    if (!id.isErased()) {
        const OdDbObjectPtr object = id.openObject(OdDb::kForWrite);
        if (!object.isNull()) {
            object->erase(true);
        }
    }
}

bool hasFeatureReactor(OdDbObject const& object)
{
    for (OdDbObjectId id : object.getPersistentReactors()) {
        if (!ZemDbFeatureReactor::cast(id.openObject(OdDb::kForRead).get()).isNull()) {
            return true;
        }
    }
    return false;
}

}  // namespace

/// The fields of a `ZemDbObject`, and the operations on them. The object, which is handed to each
/// operation that needs to know it, checks the open mode.
class ZemDbObjectImpl final : public ZemDbPropertiesBase
{
public:
    ZemDbObjectImpl() : ZemDbPropertiesBase(/*config=*/0, /*version=*/0) { mapProperties(); }

    OdResult dwgInFields(OdDbDwgFiler* filer) override;
    void dwgOutFields(OdDbDwgFiler* filer) const override;

    static OdString attachedEntityName(ZemDbObject const& object, OdDbObjectId entityId,
                                       ZemDbConstraintManager const* manager);
    void attachTo(ZemDbObject& object, OdDbObjectId entityId);

    /// \name Links
    /// @{
    bool hasDependencies() const
    {
        return !constraintDependencies.isEmpty() || !persIdDependencies.isEmpty();
    }
    OdDbObjectId getConstraintDependency(OdDbFullSubentPath const& path) const;
    OdDbObjectId getPersIdDependency(OdDbFullSubentPath const& path) const;
    void append(ZemDbObject& object, ZemSubentPathArray const& paths, OdDbObjectIdArray& newIds);
    bool addPersIdDependency(ZemDbObject const& object, OdDbObjectId managerId, OdDbObjectId depId);
    bool removePersIdDependency(OdDbObjectId managerId, OdDbObjectId depId);
    void removePersIdDependencies();
    void invalidatePersIdDepsCache(ZemDbObject& object);
    void eraseWithSubObjects() const;
    void clearUnusedDeps(ZemDbObject& object, ZemDbObject::IdSet const& usedIds);
    bool isWatched() const;
    /// @}

    void notifyAboutModifications(ZemDbObject& object, bool modified);
    void notifyDatabaseTracker(ZemDbObject& object, OdDbObject const* entity) const;
    bool isNoticeOfEntity(ZemDbObject const& object, OdDbObject const* notifying) const;
    void triggerObjectRedraw(ZemDbObject& object) const;

    /// \name Cached transform
    /// @{
    void saveCatchedTransformForPartialUndo(ZemDbObject& object) const;
    void addCatchedTransform(ZemDbObject& object, OdGeMatrix3d const& matrix);
    void resetCatchedTransform(ZemDbObject& object);
    OdGeMatrix3d const& getCatchedTransform() const noexcept { return cachedTransform; }
    bool transformationCanBeApplied() const;
    bool getTransformForSolver(OdGeMatrix3d& out) const;
    void restoreCatchedTransform(ZemDbObject& object, OdDbDwgFiler& filer);
    /// @}

    ZemIndexMap attributes;
    OdDbObjectIdArray constraintDependencies;
    ZemIdList persIdDependencies;
    OdDbObjectId attachedEntityId;
    OdString name;
    bool notifyOwner = true;
    mutable ZemPersIdCache cache;
    /// Shares the array that the cache has seen, so that whoever changes that through a bag makes
    /// another one; empty where the cache has been told of a change.
    mutable OdDbObjectIdArray cachedIds;
    OdGeMatrix3d cachedTransform;
    bool cachedTransformEnabled = true;
    bool isFresh = true;  ///< nothing was set or read yet

private:
    void dropUnlistedRequest() const;
    void mapProperties();
    OdResult readBag(OdDbDwgFiler& filer, int version);
};

//--------------------------------------------------------------------------------------------------
// Filing

void ZemDbObjectImpl::mapProperties()
{
    m_properties.mapProperty(kPropKeyName, &name);
    m_properties.mapProperty(kPersIdDependencies, persIdDependencies.binding(),
                             OdDb::ReferenceType::kSoftPointerRef);
}

void ZemDbObjectImpl::dwgOutFields(OdDbDwgFiler* filer) const
{
    if (carriesTransientState(*filer)) {
        writeTransform(*filer, cachedTransform, cachedTransformEnabled);
    }
    filer->wrUInt8(kFormatVersion);
    zemu::writeHardOwnershipIdArray(filer, constraintDependencies);
    filer->wrSoftPointerId(attachedEntityId);
    (void)persIdDependencies.ids();  // the bag files the array without gaps
    m_properties.dwgOutFields(filer);
    attributes.dwgOutFields(filer);
    zemu::wrMark(filer, 0);
}

OdResult ZemDbObjectImpl::dwgInFields(OdDbDwgFiler* filer)
{
    if (carriesTransientState(*filer)) {
        readTransform(*filer, cachedTransform, cachedTransformEnabled);
    }
    const int version = filer->rdInt8();
    if (version > kFormatVersion) {
        return kOdBadStream;
    }
    zemu::readHardOwnershipIdArray(filer, constraintDependencies);
    attachedEntityId = filer->rdSoftPointerId();
    if (version >= kFirstVersionWithBag) {
        const OdResult result = readBag(*filer, version);
        if (result != kOdOk) {
            return result;
        }
    }
    if (version >= kFirstVersionWithAttributes) {
        ZemIndexMap read;
        read.dwgInFields(filer);
        attributes.swap(read);
    }
    zemu::rdMark(filer, 0);
    dropUnlistedRequest();
    return kOdOk;
}

/// Has the cache forget the link that it was last asked for if that isn't listed any more.
void ZemDbObjectImpl::dropUnlistedRequest() const
{
    if (!cache.lastRequestId().isNull() && !persIdDependencies.contains(cache.lastRequestId())) {
        cache.clearLastRequestId();
    }
}

OdResult ZemDbObjectImpl::readBag(OdDbDwgFiler& filer, int version)
{
    // The bag writes to the list's array from the first entry that it reads.
    (void)persIdDependencies.bulk();
    if (version >= kFirstVersionWithTypedBag) {
        const OdResult result = m_properties.dwgInFields(&filer);
        persIdDependencies.invalidate();
        return result;
    }
    const OdResult result = zemu::dwgInOldPropertyMap(&filer, m_properties);
    mapProperties();  // the old form takes all entries out of the bag
    return result;
}

//--------------------------------------------------------------------------------------------------
// Finding

OdString ZemDbObjectImpl::attachedEntityName(ZemDbObject const& object, OdDbObjectId entityId,
                                             ZemDbConstraintManager const* manager)
{
    const auto host = ZemDbObjectPE::cast(&object);
    return host.isNull() ? OdString() : host->attachedEntityName(entityId, manager);
}

void ZemDbObjectImpl::attachTo(ZemDbObject& object, OdDbObjectId entityId)
{
    const OdDbObjectPtr entity = entityId.safeOpenObject(OdDb::kForWrite);
    entity->addPersistentReactor(object.objectId());
    attachedEntityId = entityId;
    isFresh = false;
}

OdDbObjectId ZemDbObject::getInstance(OdDbObjectId const& entityId, OdDbObjectId const& managerId)
{
    const auto present = openZemDbObject(entityId, OdDb::kForRead, /*openErased=*/false);
    if (!present.isNull()) {
        return present->objectId();
    }
    const auto manager = ZemDbConstraintManager::cast(managerId.openObject(OdDb::kForRead).get());
    if (manager.isNull()) {
        return OdDbObjectId::kNull;
    }
    // What can't have a model object is refused before there is one that nothing leads to.
    const OdDbEntityPtr entity = entityId.safeOpenObject(OdDb::kForWrite);
    if (entity->database() != manager->database()) {
        throw OdError(kOdWrongDatabase);
    }
    if (desc() == nullptr) {
        throw OdError(kOdClassNotRegistered);
    }
    const OdSmartPtr<ZemDbObject> object = desc()->create();
    object->setName(manager->generateZemDbObjectName(
        ZemDbObjectImpl::attachedEntityName(*object, entityId, manager.get())));
    manager->database()->addOdDbObject(object.get(), managerId);
    manager->upgradeOpen();
    manager->registerZemDbObject(object.get());
    object->attachTo(entityId);
    return object->objectId();
}

OdSmartPtr<ZemDbObject> ZemDbObject::openZemDbObject(OdDbObjectId entityId, OdDb::OpenMode mode,
                                                     bool openErased)
{
    const auto entity = OdDbEntity::cast(entityId.openObject(OdDb::kForRead, openErased).get());
    return openZemDbObject(entity.get(), mode, openErased);
}

OdSmartPtr<ZemDbObject> ZemDbObject::openZemDbObject(OdDbEntity* entity, OdDb::OpenMode mode,
                                                     bool openErased)
{
    if (entity == nullptr) {
        return OdSmartPtr<ZemDbObject>();
    }
    const bool isUndoing = entity->isUndoing();
    for (OdDbObjectId id : entity->getPersistentReactors()) {
        auto object = ZemDbObject::cast(id.openObject(mode, openErased).get());
        if (object.isNull()) {
            continue;
        }
        const bool isSameDatabase = object->database() == entity->database();
        if (!isUndoing && isSameDatabase && object->attachedEntityId() == entity->objectId()) {
            return object;
        }
        if (!isUndoing && isSameDatabase) {
            entity->upgradeOpen();
            entity->removePersistentReactor(id);
            entity->downgradeOpen();
        }
    }
    return OdSmartPtr<ZemDbObject>();
}

//--------------------------------------------------------------------------------------------------
// Links

OdDbObjectId ZemDbObjectImpl::getConstraintDependency(OdDbFullSubentPath const& path) const
{
    // Following a link may load a drawing, and who hears of that may add links.
    const OdDbObjectIdArray links = constraintDependencies;
    for (OdDbObjectId id : links) {
        const auto link = openLink(id, OdDb::kForRead);
        if (link.isNull()) {
            continue;
        }
        OdDbFullSubentPath present;
        if (link->getLinkObject(present, /*openErased=*/false) == kOdUnresolvedPath) {
            return OdDbObjectId::kNull;
        }
        if (present == path) {
            return id;
        }
    }
    return OdDbObjectId::kNull;
}

OdDbObjectId ZemDbObjectImpl::getPersIdDependency(OdDbFullSubentPath const& path) const
{
    ZemCompoundObjectId compoundId;
    compoundId.setFullPath(path.objectIds(), /*keepTail=*/false);
    OdDbObjectIdArray const& ids = persIdDependencies.ids();
    if (ids.asArrayPtr() != std::as_const(cachedIds).asArrayPtr() ||
        ids.size() != cachedIds.size()) {
        cache.invalidate();
        dropUnlistedRequest();
        cachedIds = ids;
    }
    return cache.lookup(compoundId, path.subentId(), ids);
}

void ZemDbObjectImpl::append(ZemDbObject& object, ZemSubentPathArray const& paths,
                             OdDbObjectIdArray& newIds)
{
    const auto host = ZemDbObjectPE::cast(&object);
    if (host.isNull()) {
        return;
    }
    const unsigned before = newIds.size();
    host->appendConstraintDependencies(&object, paths, newIds);
    const OdDbObjectIdArray made(newIds.begin() + before, newIds.end());
    const OdDbObjectIdArray own = zemu::withoutForeign(object, made);
    object.assertWriteEnabled(true, true);  // the host may have begun a new step of undo
    constraintDependencies.append(own);
    if (own.size() != made.size()) {
        throw OdError(kOdWrongDatabase);
    }
}

bool ZemDbObjectImpl::addPersIdDependency(ZemDbObject const& object, OdDbObjectId managerId,
                                          OdDbObjectId depId)
{
    if (!zemu::mayList(object, depId)) {
        depId.convertToRedirectedId();
    }
    if (!zemu::mayList(object, depId) || !isOwnedBy(managerId, depId) ||
        persIdDependencies.contains(depId)) {
        return false;
    }
    cache.onDepAdded(depId);
    cachedIds = OdDbObjectIdArray();
    persIdDependencies.append(depId);
    return true;
}

bool ZemDbObjectImpl::removePersIdDependency(OdDbObjectId managerId, OdDbObjectId depId)
{
    if (!isOwnedBy(managerId, depId)) {
        return false;
    }
    cache.onDepRemoved(depId);
    cachedIds = OdDbObjectIdArray();
    return persIdDependencies.removeFirst(depId);
}

void ZemDbObjectImpl::removePersIdDependencies()
{
    persIdDependencies.clear();
    cache.invalidate();
    cachedIds = OdDbObjectIdArray();
    cache.clearLastRequestId();
}

void ZemDbObjectImpl::invalidatePersIdDepsCache(ZemDbObject& object)
{
    (void)beginRecord(object, kInvalidateCache);
    cache.invalidate();
}

void ZemDbObjectImpl::eraseWithSubObjects() const
{
    const OdDbObjectIdArray links = constraintDependencies;  // who sees one go may add another one
    for (OdDbObjectId id : links) {
        eraseIfThere(id);
    }
}

void ZemDbObjectImpl::clearUnusedDeps(ZemDbObject& object, ZemDbObject::IdSet const& usedIds)
{
    OdDbObjectIdArray unused;
    for (OdDbObjectId id : std::as_const(constraintDependencies)) {
        if (usedIds.count(id) == 0) {
            unused.append(id);
        }
    }
    if (unused.isEmpty()) {
        return;
    }
    object.assertWriteEnabled(true, true);
    for (OdDbObjectId id : std::as_const(unused)) {
        eraseIfThere(id);
    }
    // Who saw one go may have begun a new step of undo, or added another link: what leaves the list
    // is what was found unused.
    object.assertWriteEnabled(true, true);
    const ZemDbObject::IdSet gone(std::as_const(unused).begin(), std::as_const(unused).end());
    OdDbObjectIdArray kept;
    for (OdDbObjectId id : std::as_const(constraintDependencies)) {
        if (gone.count(id) == 0) {
            kept.append(id);
        }
    }
    constraintDependencies = kept;
    if (!hasDependencies()) {
        notifyAboutModifications(object, false);
    }
}

bool ZemDbObjectImpl::isWatched() const
{
    if (hasDependencies()) {
        return true;
    }
    const OdDbObjectPtr entity = attachedEntityId.openObject(OdDb::kForRead);
    if (entity.isNull()) {
        return false;
    }
    for (OdDbObjectId id : entity->getPersistentReactors()) {
        const OdDbObjectPtr reactor = id.openObject(OdDb::kForRead);
        if (!reactor.isNull() && hasFeatureReactor(*reactor)) {
            return true;
        }
    }
    return false;
}

//--------------------------------------------------------------------------------------------------
// Notices

void ZemDbObjectImpl::notifyAboutModifications(ZemDbObject& object, bool modified)
{
    if (!modified) {
        resetCatchedTransform(object);
    } else if (!isWatched()) {
        return;
    }
    const auto manager =
        ZemDbConstraintManager::cast(object.ownerId().openObject(OdDb::kForWrite).get());
    if (!manager.isNull()) {
        manager->notifyAboutModifications(attachedEntityId, modified);
    }
}

void ZemDbObjectImpl::notifyDatabaseTracker(ZemDbObject& object, OdDbObject const* entity) const
{
    const auto host = ZemDbObjectPE::cast(&object);
    if (!host.isNull()) {
        host->onDatabaseTrackerNotify(&object, entity);
    }
}

bool ZemDbObjectImpl::isNoticeOfEntity(ZemDbObject const& object, OdDbObject const* notifying) const
{
    return notifying != nullptr && !notifying->isUndoing() &&
           notifying->database() == object.database() && !attachedEntityId.isNull() &&
           notifying->objectId() == attachedEntityId;
}

void ZemDbObjectImpl::triggerObjectRedraw(ZemDbObject& object) const
{
    (void)beginRecord(object, kRedraw);
    const auto entity = OdDbEntity::cast(attachedEntityId.openObject(OdDb::kForWrite).get());
    if (!entity.isNull()) {
        entity->recordGraphicsModified(true);
    }
}

//--------------------------------------------------------------------------------------------------
// Cached transform

void ZemDbObjectImpl::saveCatchedTransformForPartialUndo(ZemDbObject& object) const
{
    if (OdDbDwgFiler* const filer = beginRecord(object, kCachedTransform)) {
        writeTransform(*filer, cachedTransform, cachedTransformEnabled);
    }
}

void ZemDbObjectImpl::addCatchedTransform(ZemDbObject& object, OdGeMatrix3d const& matrix)
{
    object.assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    saveCatchedTransformForPartialUndo(object);
    if (!cachedTransformEnabled) {
        cachedTransform.setToIdentity();
    }
    cachedTransform.preMultBy(matrix);
    const auto host = ZemDbObjectPE::cast(&object);
    if (!host.isNull()) {
        host->onTransformCached(object.database(), attachedEntityId, cachedTransform,
                                cachedTransformEnabled);
    }
}

void ZemDbObjectImpl::resetCatchedTransform(ZemDbObject& object)
{
    cachedTransformEnabled = true;
    if (cachedTransform.isEqualTo(OdGeMatrix3d())) {
        return;
    }
    object.upgradeOpen();
    object.assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    saveCatchedTransformForPartialUndo(object);
    cachedTransform.setToIdentity();
}

bool ZemDbObjectImpl::transformationCanBeApplied() const
{
    return cachedTransformEnabled && !cachedTransform.isEqualTo(OdGeMatrix3d());
}

bool ZemDbObjectImpl::getTransformForSolver(OdGeMatrix3d& out) const
{
    if (!transformationCanBeApplied()) {
        return false;
    }
    out = cachedTransform;
    const bool isMirroring = std::abs(cachedTransform.det() + 1.0) < kMirroringTolerance;
    return !isMirroring;
}

void ZemDbObjectImpl::restoreCatchedTransform(ZemDbObject& object, OdDbDwgFiler& filer)
{
    saveCatchedTransformForPartialUndo(object);
    readTransform(filer, cachedTransform, cachedTransformEnabled);
}

//--------------------------------------------------------------------------------------------------
// ZemDbObject

ZemDbObject::ZemDbObject() : m_impl(std::make_unique<ZemDbObjectImpl>()) {}

ZemDbObject::~ZemDbObject() = default;

ZemProperties const& ZemDbObject::getReadProperties() const
{
    assertReadEnabled();
    (void)m_impl->persIdDependencies.ids();
    return m_impl->properties();
}

ZemProperties& ZemDbObject::getWriteProperties()
{
    assertWriteEnabled(true, true);
    (void)m_impl->persIdDependencies.bulk();  // the bag reaches the array itself
    m_impl->cache.invalidate();
    m_impl->isFresh = false;
    g_nameChanges.fetch_add(1, std::memory_order_relaxed);
    return m_impl->properties();
}

ZemPersIdCache const& ZemDbObject::persIdCache() const noexcept
{
    return m_impl->cache;
}

std::uint64_t ZemDbObject::nameChanges() noexcept
{
    return g_nameChanges.load(std::memory_order_relaxed);
}

void ZemDbObject::attachTo(OdDbObjectId entityId)
{
    assertWriteEnabled(true, true);
    m_impl->attachTo(*this, entityId);
}

OdDbObjectId ZemDbObject::attachedEntityId() const
{
    assertReadEnabled();
    return m_impl->attachedEntityId;
}

OdString ZemDbObject::name() const
{
    assertReadEnabled();
    return m_impl->name;
}

void ZemDbObject::setName(OdString const& name)
{
    assertWriteEnabled(true, true);
    if (name.isEmpty()) {
        return;
    }
    if (database() != nullptr) {
        g_nameChanges.fetch_add(1, std::memory_order_relaxed);
    }
    m_impl->name = name;
    m_impl->isFresh = false;
}

OdDbObjectIdArray ZemDbObject::dependencies() const
{
    assertReadEnabled();
    OdDbObjectIdArray all = m_impl->constraintDependencies;
    all.append(m_impl->persIdDependencies.ids());
    return all;
}

OdDbObjectIdArray ZemDbObject::constraintDependencies() const
{
    assertReadEnabled();
    return m_impl->constraintDependencies;
}

OdDbObjectIdArray ZemDbObject::persIdDependencies() const
{
    assertReadEnabled();
    return m_impl->persIdDependencies.ids();
}

bool ZemDbObject::hasDependencies() const
{
    assertReadEnabled();
    return m_impl->hasDependencies();
}

OdDbObjectId ZemDbObject::getConstraintDependency(OdDbFullSubentPath const& path) const
{
    assertReadEnabled();
    return nullIfUnread([&] { return m_impl->getConstraintDependency(path); });
}

OdDbObjectId ZemDbObject::getPersIdDependency(OdDbFullSubentPath const& path) const
{
    assertReadEnabled();
    return m_impl->getPersIdDependency(path);
}

OdDbObjectId ZemDbObject::append(OdDbFullSubentPath const& path)
{
    ZemSubentPathArray paths;
    paths.append(path);
    OdDbObjectIdArray newIds;
    append(paths, newIds);
    return newIds.isEmpty() ? OdDbObjectId::kNull : newIds.first();
}

void ZemDbObject::append(ZemSubentPathArray const& paths, OdDbObjectIdArray& newIds)
{
    assertWriteEnabled(true, true);
    m_impl->append(*this, paths, newIds);
}

bool ZemDbObject::addPersIdDependency(OdDbObjectId managerId, OdDbObjectId depId)
{
    assertWriteEnabled(true, true);
    if (!m_impl->addPersIdDependency(*this, managerId, depId)) {
        return false;
    }
    notifyAboutModifications(true);
    return true;
}

bool ZemDbObject::removePersIdDependency(OdDbObjectId managerId, OdDbObjectId depId)
{
    assertWriteEnabled(true, true);
    if (!m_impl->removePersIdDependency(managerId, depId)) {
        return false;
    }
    if (!hasDependencies()) {
        notifyAboutModifications(false);
    }
    return true;
}

void ZemDbObject::removePersIdDependencies()
{
    assertWriteEnabled(true, true);
    m_impl->removePersIdDependencies();
}

void ZemDbObject::invalidatePersIdDepsCache()
{
    // No field changes: undo needs to know of the moment alone.
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/false);
    m_impl->invalidatePersIdDepsCache(*this);
}

void ZemDbObject::eraseWithSubObjects()
{
    assertWriteEnabled(true, true);
    m_impl->eraseWithSubObjects();
}

void ZemDbObject::clearUnusedDeps(IdSet const& usedIds)
{
    assertReadEnabled();  // without anything to clear, nothing is written
    m_impl->clearUnusedDeps(*this, usedIds);
}

bool ZemDbObject::isWatched() const
{
    assertReadEnabled();
    return m_impl->isWatched();
}

void ZemDbObject::notifyAboutModifications(bool modified)
{
    assertReadEnabled();
    m_impl->notifyAboutModifications(*this, modified);
}

void ZemDbObject::constrainerNotify(bool notify)
{
    assertWriteEnabled(true, true);
    m_impl->notifyOwner = notify;
}

bool ZemDbObject::constrManagerNeedsNotification() const
{
    assertReadEnabled();
    return m_impl->notifyOwner;
}

void ZemDbObject::triggerObjectRedraw()
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    m_impl->triggerObjectRedraw(*this);
}

void ZemDbObject::addTransform(OdGeMatrix3d const& transform)
{
    m_impl->addCatchedTransform(*this, transform);
}

void ZemDbObject::clearTransform()
{
    assertReadEnabled();
    m_impl->resetCatchedTransform(*this);
}

OdGeMatrix3d ZemDbObject::getTransform() const
{
    assertReadEnabled();
    return m_impl->getCatchedTransform();
}

void ZemDbObject::suppressTransformation()
{
    assertWriteEnabled(true, true);
    m_impl->cachedTransformEnabled = false;
}

bool ZemDbObject::canTransformBeApplied() const
{
    assertReadEnabled();
    return m_impl->transformationCanBeApplied();
}

bool ZemDbObject::getTransformForSolver(OdGeMatrix3d& out) const
{
    assertReadEnabled();
    return m_impl->getTransformForSolver(out);
}

bool ZemDbObject::hasAttributes() const
{
    assertReadEnabled();
    return !m_impl->attributes.isEmpty();
}

ZemIndexMap const& ZemDbObject::attributes() const
{
    assertReadEnabled();
    return m_impl->attributes;
}

void ZemDbObject::setAttributes(ZemIndexMap& attributes)
{
    assertWriteEnabled(true, true);
    m_impl->attributes.swap(attributes);
}

OdResult ZemDbObject::subErase(bool erasing)
{
    const OdResult result = OdDbObject::subErase(erasing);
    if (result != kOdOk || !erasing || isUndoing()) {
        return result;
    }
    const OdDbObjectPtr owner = ownerId().openObject(OdDb::kForWrite);
    const auto manager = ZemDbConstraintManager::cast(owner.get());
    if (manager.isNull()) {
        throw OdError_NotThatKindOfClass(owner.isNull() ? nullptr : owner->isA(),
                                         ZemDbConstraintManager::desc());
    }
    manager->unregisterZemDbObject(this);
    m_impl->notifyAboutModifications(*this, false);
    const OdDbObjectPtr entity = m_impl->attachedEntityId.openObject(OdDb::kForWrite);
    if (!entity.isNull()) {
        entity->removePersistentReactor(objectId());
    }
    m_impl->resetCatchedTransform(*this);
    return kOdOk;
}

OdResult ZemDbObject::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    if (isUndoing()) {
        // The record that is played back has this effect each time, so that it needs no other.
        m_impl->cache.invalidate();
    } else {
        m_impl->invalidatePersIdDepsCache(*this);
    }
    const OdResult baseResult = OdDbObject::dwgInFields(filer);
    if (baseResult != kOdOk) {
        return baseResult;
    }
    const OdString nameBefore = m_impl->name;
    const bool wasFresh = std::exchange(m_impl->isFresh, false);
    // Who made something of the names opened all objects for it, so the first reading is no news.
    const auto countChange = [&] {
        if (!wasFresh && !(m_impl->name == nameBefore)) {
            g_nameChanges.fetch_add(1, std::memory_order_relaxed);
        }
    };
    try {
        const OdResult result = m_impl->dwgInFields(filer);
        countChange();
        return result;
    } catch (OdError const&) {
        countChange();  // the name may have been read before the stream broke off
        throw;
    }
}

void ZemDbObject::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_impl->dwgOutFields(filer);
}

void ZemDbObject::applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls)
{
    if (cls != ZemDbObject::desc()) {
        OdDbObject::applyPartialUndo(filer, cls);
        return;
    }
    switch (filer->rdUInt8()) {
    case kInvalidateCache:
        return invalidatePersIdDepsCache();
    case kCachedTransform:
        return m_impl->restoreCatchedTransform(*this, *filer);
    case kRedraw:
        return triggerObjectRedraw();
    default:
        throw OdError(kOdBadStream);
    }
}

void ZemDbObject::erased(OdDbObject const* object, bool erasing)
{
    OdDbObject::erased(object, erasing);
    if (!erasing || isUndoing() || !m_impl->isNoticeOfEntity(*this, object)) {
        return;
    }
    try {
        m_impl->notifyDatabaseTracker(*this, object);
        erase(true);
    } catch (OdError const&) {
        // The entity goes, whatever became of what follows it.
    }
}

void ZemDbObject::openedForModify(OdDbObject const* object)
{
    const auto host = ZemDbObjectPE::cast(this);
    if (!host.isNull()) {
        host->onOpenedForModify(this, object);
    }
}

void ZemDbObject::modifiedGraphics(OdDbObject const* object)
{
    OdDbObject::modifiedGraphics(object);
    if (!m_impl->isNoticeOfEntity(*this, object)) {
        return;
    }
    try {
        m_impl->notifyDatabaseTracker(*this, object);
        if (m_impl->isWatched() && m_impl->notifyOwner) {
            m_impl->notifyAboutModifications(*this, true);
        }
    } catch (OdError const&) {
        // The entity has changed, whatever became of what follows it.
    }
}

//--------------------------------------------------------------------------------------------------
// Free functions

namespace zemu {

void signalEntityState(OdDbObjectId entityId, bool modified)
{
    const auto object = ZemDbObject::openZemDbObject(entityId, OdDb::kForRead, false);
    if (!object.isNull()) {
        object->notifyAboutModifications(modified);
    }
}

OdDbObjectId findDepByFSP(OdDbFullSubentPath const& path)
{
    return nullIfUnread([&path] {
        const auto object =
            ZemDbObject::openZemDbObject(getInsertId(path), OdDb::kForRead, /*openErased=*/false);
        return object.isNull() ? OdDbObjectId::kNull : object->getPersIdDependency(path);
    });
}

void findAllPersIdDeps(OdDbObjectId entityId, OdDbObjectIdArray& out)
{
    out.append(getAllPersIdDeps(entityId));
}

OdDbObjectIdArray getAllPersIdDeps(OdDbObjectId entityId)
{
    const auto object = ZemDbObject::openZemDbObject(entityId, OdDb::kForRead, false);
    return object.isNull() ? OdDbObjectIdArray() : object->persIdDependencies();
}

}  // namespace zemu
