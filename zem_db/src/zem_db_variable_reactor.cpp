#include "zem_db_variable_reactor.h"

#include "zem_db_class_info.h"
#include "zem_db_constraint_manager.h"
#include "zem_db_variable_utils.h"

// The names stand in drawings; they leave out the "Db" of the class's own name.
ZEM_DEFINE_DB_CLASS(ZemDbVariableReactor, OdDbObject, L"ZemVariableReactor", L"ZEMVARIABLEREACTOR",
                    kZemAppConstraints);

namespace {

OdSmartPtr<ZemDbConstraintManager> openManager(ZemDbVariableReactor const& reactor)
{
    return ZemDbConstraintManager::cast(reactor.ownerId().openObject(OdDb::kForWrite).get());
}

}  // namespace

ZemDbVariableReactor::ZemDbVariableReactor() = default;

ZemDbVariableReactor::~ZemDbVariableReactor() = default;

void ZemDbVariableReactor::modified(OdDbObject const* object)
{
    assertNotifyEnabled();
    if (object == nullptr || object->isUndoing()) {
        return;
    }
    const OdSmartPtr<ZemDbConstraintManager> manager = openManager(*this);
    if (!manager.isNull()) {
        const OdDbAssocVariablePtr variable = OdDbAssocVariable::cast(object);
        manager->variableModified(object->objectId(), zemu::getValueAsDouble(variable.get()));
    }
}

void ZemDbVariableReactor::erased(OdDbObject const* object, bool erasing)
{
    if (object == nullptr || !erasing || object->isUndoing()) {
        return;
    }
    const OdSmartPtr<ZemDbConstraintManager> manager = openManager(*this);
    if (!manager.isNull()) {
        manager->variableErased(object->objectId());
    }
}
