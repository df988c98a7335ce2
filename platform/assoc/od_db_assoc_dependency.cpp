#include "assoc/od_db_assoc_dependency.h"

#include "assoc/od_db_assoc_action.h"
#include "db/od_db_database.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"

RX_DEFINE_CLASS(OdDbAssocDependency, OdDbObject, odrxCreate<OdDbAssocDependency>,
                L"OdDbAssocDependency", OdDb::kDwgVersionCurrent, 0, 0, L"ASSOCDEPENDENCY",
                L"Object database");
RX_DEFINE_CLASS(OdDbAssocValueDependency, OdDbAssocDependency, odrxCreate<OdDbAssocValueDependency>,
                L"OdDbAssocValueDependency", OdDb::kDwgVersionCurrent, 0, 0,
                L"ASSOCVALUEDEPENDENCY", L"Object database");

OdDbAssocDependency::OdDbAssocDependency() = default;
OdDbAssocDependency::~OdDbAssocDependency() = default;
OdDbAssocValueDependency::OdDbAssocValueDependency() = default;
OdDbAssocValueDependency::~OdDbAssocValueDependency() = default;

OdDbAssocValueDependencyPtr OdDbAssocValueDependency::createObject()
{
    return odrxMake<OdDbAssocValueDependency>();
}

OdDbObjectId OdDbAssocDependency::dependentOnObject() const
{
    assertReadEnabled();
    return m_object;
}

OdDbObjectId OdDbAssocDependency::owningAction() const
{
    assertReadEnabled();
    return odDbAssocIsOfClass(ownerId(), OdDbAssocAction::desc()) ? ownerId() : OdDbObjectId::kNull;
}

/// Enters this dependency among the object's reactors, or takes it out. An object that is erased
/// keeps it, and has it again when it comes back.
void OdDbAssocDependency::listAtObject(bool listed) const
{
    const OdDbObjectPtr object = m_object.openObject(OdDb::kForWrite, /*openErased=*/true);
    if (object.isNull()) {
        return;
    }
    if (listed) {
        object->addPersistentReactor(objectId());
    } else {
        object->removePersistentReactor(objectId());
    }
}

OdResult OdDbAssocDependency::attachDependentOnObject(OdDbObjectId object)
{
    if (database() == nullptr) {
        return kOdNotInDatabase;
    }
    const OdDbDatabasePtr keptAlive(database());  // a reactor may hold the last pointer
    assertWriteEnabled();
    if (object.originalDatabase() != database() || object.database() != database() ||
        object.openObject().isNull()) {
        return kOdInvalidInput;
    }
    if (!m_object.isNull() && m_object != object) {
        listAtObject(false);
    }
    m_object = object;
    listAtObject(true);
    return kOdOk;
}

void OdDbAssocDependency::detachDependentOnObject()
{
    const OdDbDatabasePtr keptAlive(database());  // a reactor may hold the last pointer
    assertWriteEnabled();
    listAtObject(false);
    m_object = OdDbObjectId::kNull;
}

OdResult OdDbAssocDependency::subErase(bool erasing)
{
    const OdResult result = OdDbObject::subErase(erasing);
    if (result == kOdOk) {
        listAtObject(!erasing);
    }
    return result;
}

void OdDbAssocDependency::cloneFinished(OdDbIdMapping& mapping)
{
    OdDbObject::cloneFinished(mapping);
    const OdDbObjectPtr object = m_object.openObject(OdDb::kForRead, /*openErased=*/true);
    if (!object.isNull() && !object->hasPersistentReactor(objectId())) {
        listAtObject(true);
    }
}

OdResult OdDbAssocDependency::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbObject::dwgInFields(filer);
    if (result == kOdOk) {
        m_object = filer->rdSoftPointerId();
    }
    return result;
}

void OdDbAssocDependency::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbObject::dwgOutFields(filer);
    const bool isCopy = filer->filerType() == OdDb::FilerType::kCopyFiler;
    filer->wrSoftPointerId(isCopy ? OdDbObjectId::kNull : m_object);
}

void OdDbAssocDependency::copyFrom(OdRxObject const* source)
{
    if (database() != nullptr) {
        throw OdError(kOdNotApplicable);
    }
    OdDbObject::copyFrom(source);
}

void OdDbAssocDependency::requireReferencesIn(OdDbDatabase const& database) const
{
    OdDbObject::requireReferencesIn(database);
    requireIn(database, m_object);
}
