#include "zem_db_object.h"

#include "db/od_db_entity.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"

#include "zem_db_class_info.h"
#include "zem_db_properties_base.h"

ZEM_DEFINE_DB_CLASS(ZemDbObject, OdDbObject, L"ZemDbObject", L"ZEMOBJECT", kZemAppModelObject);

namespace {

/// Partial undo records; the numbers never change.
enum Opcode : std::uint8_t
{
    kRedraw = 2
};

}  // namespace

/// The bag of a `ZemDbObject`, and its entity.
class ZemDbObjectImpl final : public ZemDbPropertiesBase
{
public:
    ZemDbObjectImpl() : ZemDbPropertiesBase(/*config=*/0, /*version=*/0) {}

    OdDbObjectId attachedEntityId;
};

ZemDbObject::ZemDbObject() : m_impl(std::make_unique<ZemDbObjectImpl>()) {}

ZemDbObject::~ZemDbObject() = default;

ZemProperties const& ZemDbObject::getReadProperties() const
{
    assertReadEnabled();
    return m_impl->properties();
}

ZemProperties& ZemDbObject::getWriteProperties()
{
    assertWriteEnabled(true, true);
    return m_impl->properties();
}

OdResult ZemDbObject::dwgInFields(OdDbDwgFiler* filer)
{
    assertWriteEnabled(true, true);
    const OdResult result = OdDbObject::dwgInFields(filer);
    return result == kOdOk ? m_impl->dwgInFields(filer) : result;
}

void ZemDbObject::dwgOutFields(OdDbDwgFiler* filer) const
{
    assertReadEnabled();
    OdDbObject::dwgOutFields(filer);
    m_impl->dwgOutFields(filer);
}

OdSmartPtr<ZemDbObject> ZemDbObject::openZemDbObject(OdDbObjectId entityId, OdDb::OpenMode mode,
                                                     bool openErased)
{
    const auto entity = OdDbEntity::cast(entityId.openObject(OdDb::kForRead, openErased).get());
    return openZemDbObject(entity.get(), mode, openErased);
}

OdSmartPtr<ZemDbObject> ZemDbObject::openZemDbObject(OdDbEntity const* entity, OdDb::OpenMode mode,
                                                     bool openErased)
{
    if (entity == nullptr) {
        return OdSmartPtr<ZemDbObject>();
    }
    for (OdDbObjectId id : entity->getPersistentReactors()) {
        auto object = ZemDbObject::cast(id.openObject(mode, openErased).get());
        if (!object.isNull() && object->attachedEntityId() == entity->objectId()) {
            return object;
        }
    }
    return OdSmartPtr<ZemDbObject>();
}

void ZemDbObject::attachTo(OdDbObjectId entityId)
{
    assertWriteEnabled(true, true);
    entityId.safeOpenObject(OdDb::kForWrite)->addPersistentReactor(objectId());
    m_impl->attachedEntityId = entityId;
}

OdDbObjectId ZemDbObject::attachedEntityId() const
{
    assertReadEnabled();
    return m_impl->attachedEntityId;
}

void ZemDbObject::triggerObjectRedraw()
{
    assertWriteEnabled(/*autoUndo=*/false, /*recordModified=*/true);
    if (OdDbDwgFiler* const filer = undoFiler()) {
        filer->wrAddress(ZemDbObject::desc());
        filer->wrUInt8(kRedraw);
    }
    const auto entity =
        OdDbEntity::cast(m_impl->attachedEntityId.openObject(OdDb::kForWrite).get());
    if (!entity.isNull()) {
        entity->recordGraphicsModified(true);
    }
}

void ZemDbObject::applyPartialUndo(OdDbDwgFiler* filer, OdRxClass* cls)
{
    if (cls != ZemDbObject::desc()) {
        OdDbObject::applyPartialUndo(filer, cls);
        return;
    }
    if (filer->rdUInt8() != kRedraw) {
        throw OdError(kOdBadStream);
    }
    triggerObjectRedraw();
}
