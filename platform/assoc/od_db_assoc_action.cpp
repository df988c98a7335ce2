#include "assoc/od_db_assoc_action.h"

#include "assoc/od_db_assoc_dependency.h"
#include "assoc/od_db_assoc_network.h"
#include "assoc/od_db_assoc_network_state_impl.h"
#include "db/od_db_database.h"
#include "db/od_db_dictionary.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"

#include <set>
#include <utility>

RX_DEFINE_CLASS(OdDbAssocActionBody, OdDbObject, odrxCreate<OdDbAssocActionBody>,
                L"OdDbAssocActionBody", OdDb::kDwgVersionCurrent, 0, 0, L"ASSOCACTIONBODY",
                L"Object database");
RX_DEFINE_CLASS(OdDbAssocArrayActionBody, OdDbAssocActionBody, odrxCreate<OdDbAssocArrayActionBody>,
                L"OdDbAssocArrayActionBody", OdDb::kDwgVersionCurrent, 0, 0,
                L"ASSOCARRAYACTIONBODY", L"Object database");
RX_DEFINE_CLASS(OdDbAssocAction, OdDbObject, odrxCreate<OdDbAssocAction>, L"OdDbAssocAction",
                OdDb::kDwgVersionCurrent, 0, 0, L"ASSOCACTION", L"Object database");

bool odDbAssocKeepsErased(OdDbDwgFiler const& filer)
{
    return filer.filerType() == OdDb::FilerType::kUndoFiler ||
           filer.filerType() == OdDb::FilerType::kPageFiler;
}

bool odDbAssocIsOfClass(OdDbObjectId id, OdRxClass const* cls)
{
    OdRxClass const* const own = id.objectClass();
    return own != nullptr && own->isDerivedFrom(cls);
}

OdDbAssocActionBody::OdDbAssocActionBody() = default;
OdDbAssocActionBody::~OdDbAssocActionBody() = default;
OdDbAssocArrayActionBody::OdDbAssocArrayActionBody() = default;
OdDbAssocArrayActionBody::~OdDbAssocArrayActionBody() = default;
OdDbAssocAction::OdDbAssocAction() = default;
OdDbAssocAction::~OdDbAssocAction() = default;

OdDbObjectId OdDbAssocAction::owningNetwork() const
{
    assertReadEnabled();
    return odDbAssocIsOfClass(ownerId(), OdDbAssocNetwork::desc()) ? ownerId()
                                                                   : OdDbObjectId::kNull;
}

OdDbObjectId OdDbAssocAction::objectThatOwnsNetworkInstance() const
{
    assertReadEnabled();
    // Owners that were read from a file may form a ring.
    std::set<OdDbObjectId> seen;
    OdDbObjectId below = objectId();
    OdDbObjectId at = ownerId();
    if (!isKindOf(OdDbAssocNetwork::desc()) && owningNetwork().isNull()) {
        return OdDbObjectId::kNull;
    }
    while (seen.insert(at).second && odDbAssocIsOfClass(at, OdDbAssocNetwork::desc())) {
        const OdDbObjectPtr network = at.openObject(OdDb::kForRead, /*openErased=*/true);
        below = at;
        at = network.isNull() ? OdDbObjectId::kNull : network->ownerId();
    }
    if (!odDbAssocIsOfClass(at, OdDbDictionary::desc())) {
        return OdDbObjectId::kNull;
    }
    const OdDbObjectPtr dictionary = at.openObject(OdDb::kForRead, /*openErased=*/true);
    const OdDbObjectPtr owner = dictionary.isNull()
                                    ? OdDbObjectPtr()
                                    : dictionary->ownerId().openObject(OdDb::kForRead, true);
    return !owner.isNull() && owner->extensionDictionary() == at ? owner->objectId()
                                                                 : OdDbObjectId::kNull;
}

OdDbAssocNetworkState* OdDbAssocAction::networkState() const noexcept
{
    // Compared by record: the network may be one of a database that is gone, where no redirection can
    // be looked up.
    const bool isOfOwner = m_network != nullptr && !ownerId().isNull() &&
                           m_network->network.record() == ownerId().record();
    return isOfOwner ? m_network.get() : nullptr;
}

OdDbAssocNetworkState* OdDbAssocAction::findNetworkState() const
{
    if (networkState() == nullptr && odDbAssocIsOfClass(ownerId(), OdDbAssocNetwork::desc())) {
        const OdDbObjectPtr owner = ownerId().openObject(OdDb::kForRead, /*openErased=*/true);
        const OdDbAssocNetworkPtr network = OdDbAssocNetwork::cast(owner.get());
        if (!network.isNull()) {
            m_network = network->sharedState();
        }
    }
    return networkState();
}

void OdDbAssocAction::joinedNetwork() {}

OdResult OdDbAssocAction::getDependencies(bool read, bool /*write*/,
                                          OdDbObjectIdArray& dependencies) const
{
    assertReadEnabled();
    dependencies.clear();
    if (read) {
        for (OdDbObjectId id : std::as_const(m_dependencies)) {
            if (!id.isErased()) {
                dependencies.append(id);
            }
        }
    }
    return kOdOk;
}

OdResult OdDbAssocAction::addDependency(OdDbObjectId dependency)
{
    const OdDbDatabasePtr keptAlive(database());  // a reactor may hold the last pointer
    assertWriteEnabled();
    if (dependency.originalDatabase() != database() ||
        !odDbAssocIsOfClass(dependency, OdDbAssocDependency::desc())) {
        return kOdInvalidInput;
    }
    const OdDbObjectPtr object = dependency.openObject(OdDb::kForWrite);
    if (object.isNull()) {
        return kOdInvalidInput;
    }
    if (!std::as_const(m_dependencies).contains(dependency)) {
        m_dependencies.append(dependency);
    }
    if (object->ownerId() != objectId()) {
        object->setOwnerId(objectId());
    }
    return kOdOk;
}

/// Opens one of the dependencies for write; null if it isn't this action's own to change. A clone
/// lists those of its source until its references are final, and a damaged drawing anything: actions
/// that name one another, too, whose erasing would nest without end.
OdDbObjectPtr OdDbAssocAction::openOwn(OdDbObjectId dependency, bool openErased) const
{
    if (odDbAssocIsOfClass(dependency, OdDbAssocAction::desc())) {
        return OdDbObjectPtr();
    }
    const OdDbObjectPtr object = dependency.openObject(OdDb::kForWrite, openErased);
    return !object.isNull() && object->ownerId() == objectId() ? object : OdDbObjectPtr();
}

OdResult OdDbAssocAction::removeAllDependencies(bool alsoErase)
{
    const OdDbDatabasePtr keptAlive(database());  // a reactor may hold the last pointer
    assertWriteEnabled();
    const OdDbObjectIdArray removed = m_dependencies;
    m_dependencies.clear();
    for (OdDbObjectId id : removed) {
        const OdDbObjectPtr object = openOwn(id, /*openErased=*/false);
        if (object.isNull()) {
            continue;
        }
        const OdDbAssocDependencyPtr dependency = OdDbAssocDependency::cast(object.get());
        if (alsoErase) {
            (void)object->erase(true);  // one that refuses is out of the action all the same
        } else if (!dependency.isNull()) {
            dependency->detachDependentOnObject();
        }
    }
    return kOdOk;
}

OdDbObjectId OdDbAssocAction::actionBody() const
{
    assertReadEnabled();
    return m_body.isErased() ? OdDbObjectId::kNull : m_body;
}

OdResult OdDbAssocAction::setActionBody(OdDbObjectId body)
{
    const OdDbDatabasePtr keptAlive(database());  // a reactor may hold the last pointer
    assertWriteEnabled();
    if (!body.isNull()) {
        const OdDbObjectPtr object = body.openObject(OdDb::kForWrite);
        if (object.isNull() || object->database() != database() ||
            !object->isKindOf(OdDbAssocActionBody::desc())) {
            return kOdInvalidInput;
        }
        object->setOwnerId(objectId());
    }
    m_body = body;
    return kOdOk;
}

OdResult OdDbAssocAction::subErase(bool erasing)
{
    const OdResult result = OdDbObject::subErase(erasing);
    if (result != kOdOk) {
        return result;
    }
    for (OdDbObjectId id : OdDbObjectIdArray(m_dependencies)) {
        const OdDbObjectPtr dependency = openOwn(id, /*openErased=*/true);
        if (!dependency.isNull()) {
            (void)dependency->erase(erasing);  // it may be in that state already
        }
    }
    const OdDbObjectPtr owner = odDbAssocIsOfClass(ownerId(), OdDbAssocNetwork::desc())
                                    ? ownerId().openObject(OdDb::kForWrite, /*openErased=*/true)
                                    : OdDbObjectPtr();
    const OdDbAssocNetworkPtr network = OdDbAssocNetwork::cast(owner.get());
    if (!network.isNull()) {
        m_network = network->sharedState();
        network->actionErased(objectId());
    }
    return kOdOk;
}

void OdDbAssocAction::appendToOwner(OdDbIdPair& pair, OdDbObject* owner, OdDbIdMapping& mapping)
{
    OdDbObject::appendToOwner(pair, owner, mapping);
    const OdDbAssocNetworkPtr network = OdDbAssocNetwork::cast(owner);
    if (!network.isNull()) {
        (void)network->addAction(objectId(), /*owned=*/true);  // this is an action of its database
    }
}

void OdDbAssocAction::copyFrom(OdRxObject const* source)
{
    if (database() != nullptr) {
        throw OdError(kOdNotApplicable);
    }
    OdDbObject::copyFrom(source);
}

OdResult OdDbAssocAction::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    m_body = filer->rdHardOwnershipId();
    const std::uint32_t count = odDbReadCount(*filer, 1);
    OdDbObjectIdArray dependencies;
    for (std::uint32_t index = 0; index < count; ++index) {
        const OdDbObjectId id = filer->rdHardOwnershipId();
        if (!id.isNull()) {
            dependencies.append(id);
        }
    }
    m_dependencies = dependencies;
    if (OdDbAssocNetworkState* const known = networkState()) {
        known->knowsLiving = false;  // undo may have changed whether it is erased
        known->knowsNetworks = false;
    }
    return kOdOk;
}

void OdDbAssocAction::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    // A copy owns nothing of what its source owns.
    const bool isCopy = filer->filerType() == OdDb::FilerType::kCopyFiler;
    const bool keepsErased = odDbAssocKeepsErased(*filer);
    const auto isFiled = [&](OdDbObjectId id) {
        return !isCopy && (keepsErased || !id.isErased());
    };
    filer->wrHardOwnershipId(isFiled(m_body) ? m_body : OdDbObjectId::kNull);
    std::int32_t count = 0;
    for (OdDbObjectId id : std::as_const(m_dependencies)) {
        count += isFiled(id) ? 1 : 0;
    }
    filer->wrInt32(count);
    for (OdDbObjectId id : std::as_const(m_dependencies)) {
        if (isFiled(id)) {
            filer->wrHardOwnershipId(id);
        }
    }
}
