#include "zem_protocol_extensions.h"

#include "assoc/od_db_assoc_variable.h"
#include "db/od_db_database.h"

#include "zem_db_feature_manager.h"
#include "zem_db_variable_utils.h"
#include "zem_naming_service.h"

#include <algorithm>

RX_DEFINE_CLASS(ZemDbConstraintManagerPE, OdRxObject, odrxCreateNothing,
                L"ZemDbConstraintManagerPE");
RX_DEFINE_CLASS(ZemDbFeatureManagerPE, OdRxObject, odrxCreateNothing, L"ZemDbFeatureManagerPE");
RX_DEFINE_CLASS(ZemDbAssemblyPE, OdRxObject, odrxCreateNothing, L"ZemDbAssemblyPE");
RX_DEFINE_CLASS(ZemDbNamingPolicyPE, OdRxObject, odrxCreateNothing, L"ZemDbNamingPolicyPE");
RX_DEFINE_CLASS(ZemDbObjectPE, OdRxObject, odrxCreateNothing, L"ZemDbObjectPE");
RX_DEFINE_CLASS(ZemDbPersIdManagerPE, OdRxObject, odrxCreateNothing, L"ZemDbPersIdManagerPE");
RX_DEFINE_CLASS(ZemDbSheetMetalContextPE, OdRxObject, odrxCreateNothing,
                L"ZemDbSheetMetalContextPE");
RX_DEFINE_CLASS(ZemDbSheetMetalContextMaterialPE, OdRxObject, odrxCreateNothing,
                L"ZemDbSheetMetalContextMaterialPE");
RX_DEFINE_CLASS(ZemFeatureColorPE, OdRxObject, odrxCreateNothing, L"ZemFeatureColorPE");
RX_DEFINE_CLASS(ZemFeaturePE, OdRxObject, odrxCreateNothing, L"ZemFeaturePE");
RX_DEFINE_CLASS(ZemUpdateFeatureInterface, ZemFeaturePE, odrxCreateNothing,
                L"ZemUpdateFeatureInterface");
RX_DEFINE_CLASS(ZemPropertiesPE, OdRxObject, odrxCreateNothing, L"ZemPropertiesPE");
RX_DEFINE_CLASS(ZemDbISettings, OdRxObject, odrxCreateNothing, L"ZemDbISettings");
RX_DEFINE_CLASS(ZemCVUnitInterface, OdRxObject, odrxCreateNothing, L"ZemCVUnitInterface");

ZemDbConstraintManagerPE::~ZemDbConstraintManagerPE() = default;
ZemDbFeatureManagerPE::~ZemDbFeatureManagerPE() = default;
ZemDbAssemblyPE::~ZemDbAssemblyPE() = default;
ZemDbNamingPolicyPE::~ZemDbNamingPolicyPE() = default;
ZemDbObjectPE::~ZemDbObjectPE() = default;
ZemDbPersIdManagerPE::~ZemDbPersIdManagerPE() = default;
ZemDbSheetMetalContextPE::~ZemDbSheetMetalContextPE() = default;
ZemDbSheetMetalContextMaterialPE::~ZemDbSheetMetalContextMaterialPE() = default;
ZemFeatureColorPE::~ZemFeatureColorPE() = default;
ZemFeaturePE::~ZemFeaturePE() = default;
ZemUpdateFeatureInterface::~ZemUpdateFeatureInterface() = default;
ZemPropertiesPE::~ZemPropertiesPE() = default;
ZemDbISettings::~ZemDbISettings() = default;
ZemCVUnitInterface::~ZemCVUnitInterface() = default;

OdString ZemDbConstraintManagerPE::kindName(int /*kind*/) const
{
    return OdString();
}

int ZemDbConstraintManagerPE::minArgumentCount(int /*kind*/) const
{
    return 0;
}

int ZemDbConstraintManagerPE::maxArgumentCount(int /*kind*/) const
{
    return 0;
}

void ZemDbConstraintManagerPE::onConstraintAdded(ZemDbConstraintManager* /*manager*/,
                                                 ZemConstraint* /*constraint*/)
{
}

void ZemDbConstraintManagerPE::onConstraintRemoved(ZemDbConstraintManager* /*manager*/,
                                                   ZemConstraint* /*constraint*/)
{
}

void ZemDbConstraintManagerPE::onConstraintModified(ZemDbConstraintManager* /*manager*/,
                                                    ZemConstraint* /*constraint*/)
{
}

void ZemDbConstraintManagerPE::onStatusChanged(ZemDbConstraintManager* /*manager*/) {}

OdString ZemDbNamingPolicyPE::generateFeatureName(ZemDbFeatureManager* manager, OdRxClass* cls,
                                                  OdString const& name, bool appendFirst)
{
    OdString result = name;
    if (manager == nullptr) {
        return result;
    }
    if (name.isEmpty()) {
        result = baseName(cls) + L"_1";
    } else if (appendFirst) {
        result += L"_1";
    }
    manager->getNamingService().makeNameUnique(result);
    return result;
}

bool ZemDbAssemblyPE::isComponent(OdDbObjectId /*insertId*/) const
{
    return false;
}

OdDbObjectId ZemDbAssemblyPE::componentDefinition(OdDbObjectId /*insertId*/) const
{
    return OdDbObjectId::kNull;
}

OdDbObjectIdArray ZemDbAssemblyPE::components(OdDbObjectId /*blockId*/) const
{
    return OdDbObjectIdArray();
}

void ZemDbAssemblyPE::onComponentReplaced(OdDbObjectId /*insertId*/, OdDbObjectId /*newInsertId*/)
{
}

bool ZemDbObjectPE::canBeAttachedTo(OdDbEntity const* entity) const
{
    return entity != nullptr;
}

void ZemDbObjectPE::onDetached(ZemDbObject* /*object*/, OdDbObjectId /*entityId*/) {}

bool ZemDbSheetMetalContextPE::isSheetMetalSolid(OdDbObjectId /*solidId*/) const
{
    return false;
}

double ZemDbSheetMetalContextPE::measuredThickness(OdDbObjectId /*solidId*/) const
{
    return 0.0;
}

bool ZemDbSheetMetalContextPE::applyThickness(ZemDbSheetMetalContext* /*context*/,
                                              double /*thickness*/)
{
    return false;
}

bool ZemDbSheetMetalContextPE::applyParameters(ZemDbSheetMetalContext* /*context*/)
{
    return false;
}

bool ZemDbSheetMetalContextPE::bendDeduction(ZemDbSheetMetalContext const* /*context*/,
                                             double /*bendRadius*/, double /*angleRad*/,
                                             double& /*deduction*/) const
{
    return false;
}

void ZemDbSheetMetalContextPE::onParametersChanged(ZemDbSheetMetalContext* /*context*/) {}

ZemUpdateFeatureInterface::OpeningFaces::OpeningFaces(OdDbObjectId solidId, OdDbObjectId insertId,
                                                      std::vector<OdDbFullSubentPath> faces)
    : m_solidId(solidId), m_insertId(insertId), m_faces(std::move(faces))
{
}

bool ZemUpdateFeatureInterface::OpeningFaces::isValid() const noexcept
{
    return !m_solidId.isNull() && !m_insertId.isNull() && !m_faces.empty();
}

OdDbFullSubentPath ZemUpdateFeatureInterface::OpeningFaces::baseSolidFace() const
{
    return m_faces.empty() ? OdDbFullSubentPath() : m_faces.front();
}

bool ZemUpdateFeatureInterface::isActive() const
{
    return !componentEntities().isEmpty();
}

bool ZemUpdateFeatureInterface::isOpeningUpToDate() const
{
    return true;
}

bool ZemUpdateFeatureInterface::updateGeometry(ZemFeatureUpdateData& /*data*/)
{
    return false;
}

void ZemUpdateFeatureInterface::onUpdateFailed(ZemFeatureUpdateData& /*data*/) {}

OdDbObjectId ZemUpdateFeatureInterface::baseSolid() const
{
    return OdDbObjectId::kNull;
}

bool ZemUpdateFeatureInterface::setBaseSolid(OdDbObjectId /*solidId*/)
{
    return false;
}

bool ZemUpdateFeatureInterface::setBaseFace(OdDbFullSubentPath const& /*path*/)
{
    return false;
}

OdDbObjectIdArray ZemUpdateFeatureInterface::openingEntities() const
{
    return OdDbObjectIdArray();
}

OdDbObjectId ZemUpdateFeatureInterface::mainComponentEntity() const
{
    return OdDbObjectId::kNull;
}

bool ZemUpdateFeatureInterface::isComponentEntity(OdDbObjectId entityId) const
{
    const OdDbObjectIdArray entities = componentEntities();
    return std::find(entities.begin(), entities.end(), entityId) != entities.end();
}

void ZemUpdateFeatureInterface::onComponentEntityErased(OdDbObjectId /*entityId*/) {}

bool ZemUpdateFeatureInterface::isThroughOpening() const
{
    return false;
}

std::vector<OdString> ZemUpdateFeatureInterface::layersToHide() const
{
    return {L"ZC_SUBTRACT", L"BIM_SUBTRACT", L"ZC_UNITE", L"BIM_UNITE"};
}

std::vector<OdString> ZemUpdateFeatureInterface::layersToShow() const
{
    return {};
}

std::vector<OdString> ZemUpdateFeatureInterface::layersToHideOnInsert() const
{
    return {};
}

std::vector<OdString> ZemUpdateFeatureInterface::layersToShowOnInsert() const
{
    return layersToHide();
}

OdString ZemUpdateFeatureInterface::displayName() const
{
    return OdString();
}

int ZemUpdateFeatureInterface::variant(OdDbObject const* /*object*/) const
{
    return defaultVariant();
}

bool ZemUpdateFeatureInterface::canExtend(OdDbObject const* object) const
{
    return object != nullptr;
}

void ZemUpdateFeatureInterface::onExtensionSet(OdDbObject* /*object*/) {}

void ZemUpdateFeatureInterface::onExtensionRemoved(OdDbObject* /*object*/) {}

bool ZemUpdateFeatureInterface::canBeCreatedFor(OdDbFullSubentPath const& path) const
{
    return !path.objectIds().isEmpty();
}

bool ZemUpdateFeatureInterface::setComponentEntities(OdDbObjectIdArray const& /*ids*/)
{
    return false;
}

bool ZemUpdateFeatureInterface::replaceComponentEntity(OdDbObjectId /*oldId*/,
                                                       OdDbObjectId /*newId*/)
{
    return false;
}

OdGeMatrix3d ZemUpdateFeatureInterface::placement() const
{
    return OdGeMatrix3d::kIdentity;
}

bool ZemUpdateFeatureInterface::setPlacement(OdGeMatrix3d const& /*placement*/)
{
    return false;
}

bool ZemUpdateFeatureInterface::transformBy(OdGeMatrix3d const& /*transform*/)
{
    return false;
}

bool ZemUpdateFeatureInterface::alignToFace(OdDbFullSubentPath const& /*face*/)
{
    return false;
}

void ZemUpdateFeatureInterface::onFeatureErased() {}

void ZemUpdateFeatureInterface::onSolidErased(OdDbObjectId /*solidId*/) {}

int ZemUpdateFeatureInterface::audit(bool /*repair*/)
{
    return 0;
}

OdSmartPtr<ZemDbISettings> ZemDbISettings::instance()
{
    OdRxClass const* const databaseClass = OdDbDatabase::desc();
    return databaseClass == nullptr ? OdRxObjectPtr() : databaseClass->getX(desc());
}

double ZemDbISettings::defaultVeeDieWidth() const
{
    return -1.0;
}

OdString ZemDbISettings::defaultBendTablePath() const
{
    return OdString();
}

OdString ZemDbISettings::defaultMaterialName() const
{
    return OdString();
}

OdDb::UnitsValue ZemDbISettings::lengthUnits() const
{
    return OdDb::UnitsValue::kUnitsUndefined;
}

OdString ZemDbISettings::settingsName() const
{
    return OdString();
}

unsigned ZemDbISettings::revision() const
{
    return 0;
}

void ZemDbISettings::onDefaultsUsed(OdDbDatabase* /*database*/) {}

OdSmartPtr<ZemCVUnitInterface> ZemCVUnitInterface::instance()
{
    OdRxClass const* const variableClass = OdDbAssocVariable::desc();
    return variableClass == nullptr ? OdRxObjectPtr() : variableClass->getX(desc());
}

OdString ZemCVUnitInterface::getFormattedMeasurement(OdDbAssocVariable* variable)
{
    if (variable == nullptr) {
        return OdString();
    }
    const OdSmartPtr<ZemAssocVariableExt> extension = ZemAssocVariableExt::cast(variable);
    const OdSmartPtr<ZemCVUnitInterface> units = instance();
    if (extension.isNull() || units.isNull()) {
        return zemu::getConstExpression(zemu::getValueAsDouble(variable));
    }
    return units->formatMeasurement(extension->getMeasurement(/*withValue=*/true));
}

bool ZemCVUnitInterface::parseMeasurement(OdString const& /*text*/,
                                          ZemAssocVariableExt::Measurement& /*measurement*/)
{
    return false;
}

bool ZemCVUnitInterface::isKnownUnit(OdString const& /*unit*/) const
{
    return false;
}

std::vector<OdString> ZemCVUnitInterface::units(int /*measurementType*/) const
{
    return {};
}

int ZemCVUnitInterface::measurementType(OdString const& /*unit*/) const
{
    return 0;
}

int ZemCVUnitInterface::precision(OdString const& /*unit*/) const
{
    return -1;
}

OdString ZemCVUnitInterface::canonicalUnit(OdString const& unit) const
{
    return unit;
}

namespace zemu {

RX_DEFINE_CLASS(ZemModelessOperationWrapper, OdRxObject, odrxCreateNothing,
                L"ZemModelessOperationWrapper");

ZemModelessOperationWrapper::~ZemModelessOperationWrapper() = default;

OdSmartPtr<ZemModelessOperationWrapper> ZemModelessOperationWrapper::create(OdString const& name)
{
    const OdSmartPtr<ZemModelessOperationWrapper> wrapper =
        odrxCreateObject(L"ZemModelessOperationWrapperImpl");
    if (!wrapper.isNull()) {
        wrapper->start(name);
    }
    return wrapper;
}

}  // namespace zemu
