#include "zem_assoc_variable_ext.h"

#include "assoc/od_db_assoc_variable.h"
#include "db/od_db_block_table.h"
#include "db/od_db_database.h"
#include "root/od_error.h"

#include "zem_constraint.h"
#include "zem_db_sheet_metal_context.h"
#include "zem_db_variable_utils.h"
#include "zem_open_guard_impl.h"
#include "zem_properties.h"
#include "zem_protocol_extensions.h"
#include "zem_rx_object_impl.h"

namespace {

/// \name Keys of the bag, which stand in drawings
/// @{
const OdString s_exposeKey(L"expose");
const OdString s_unitsKey(L"units");  ///< an int for the type, or a text for a custom unit
const OdString s_originalExpressionKey(L"origExpr");
/// @}

/// \name Measurement types, which stand in drawings
/// @{
constexpr int kNoMeasurement = 0;
constexpr int kLength = 1;
constexpr int kArea = 2;
constexpr int kVolume = 3;
/// @}

/// By the number of the unit.
constexpr wchar_t const* kUnitNames[] = {
    L"",   L"in",       L"ft",   L"miles", L"mm",        L"cm", L"meters",
    L"km", L"\u00B5in", L"mils", L"yd",    L"angstroms", L"nm", L"microns",
    L"dm", L"dam",      L"hm",   L"Gm",    L"AU",        L"ly", L"pc"};

bool isMeasured(int type)
{
    return type == kLength || type == kArea || type == kVolume;
}

/// The factor of a length, an area or a volume.
double unitsFactor(OdDb::UnitsValue from, OdDb::UnitsValue to, int type)
{
    const double k = oddbGetUnitsConversion(from, to);
    return type == kLength ? k : type == kArea ? k * k : k * k * k;
}

/// The variable of an extension; null if none was put in.
OdDbAssocVariable* variableOf(ZemAssocVariableExt& extension)
{
    // The holder takes any object, but what is put in is a variable.
    return OdDbAssocVariable::cast(extension.getDbObject().get()).get();
}

/// The constraint that a variable drives; null if it drives none.
OdSmartPtr<ZemConstraint> constraintOf(ZemAssocVariableExt& extension)
{
    return ZemConstraint::getDimConstraint(variableOf(extension));
}

}  // namespace

template <>
class ZemRxObjectImpl<ZemAssocVariableExt> final : public OdRxObjectImpl<ZemAssocVariableExt>
{
public:
    OdDbObjectPtr& getDbObject() override { return m_variable; }

    ZemProperties& data() override
    {
        OdDbObject const* const variable = m_variable.get();
        if (variable == nullptr || isReadFrom(*variable)) {
            return m_properties;
        }
        if (m_readFrom != nullptr) {
            m_properties.clear();  // holds what another variable said
        }
        m_readFrom = variable;
        m_readFromId = variable->objectId();
        // Nothing stored, or nothing that can be read, leaves the bag as far as it came.
        (void)m_properties.readFromDbObject(variable);
        return m_properties;
    }

    void writeData() override
    {
        ZemProperties const& bag = data();
        if (m_variable.isNull()) {
            return;
        }
        const ZemUpgradeOpen raised(m_variable);
        bag.writeToDbObject(m_variable.get());
    }

private:
    bool isReadFrom(OdDbObject const& variable) const
    {
        return &variable == m_readFrom && variable.objectId() == m_readFromId;
    }

    OdDbObjectPtr m_variable;
    ZemProperties m_properties{/*config=*/0};
    /// The variable that the bag was read from, compared only: it may be gone. The id tells it from a
    /// later one in the same place.
    OdDbObject const* m_readFrom = nullptr;
    OdDbObjectId m_readFromId;
};

RX_DEFINE_CLASS(ZemAssocVariableExt, OdRxObject, odrxMake<ZemRxObjectImpl<ZemAssocVariableExt>>,
                L"ZemAssocVariableExt");

ZemAssocVariableExt::~ZemAssocVariableExt() = default;

OdSmartPtr<ZemAssocVariableExt> ZemAssocVariableExt::cast(OdDbAssocVariable* variable)
{
    return cast(OdDbAssocVariablePtr(variable));
}

OdSmartPtr<ZemAssocVariableExt>
ZemAssocVariableExt::cast(OdSmartPtr<OdDbAssocVariable> const& variable)
{
    if (variable.isNull()) {
        return OdSmartPtr<ZemAssocVariableExt>();
    }
    if (desc() == nullptr) {
        throw OdError(kOdClassNotRegistered);
    }
    const OdSmartPtr<ZemAssocVariableExt> extension = desc()->create();
    if (extension.isNull()) {
        throw OdError(kOdNullObjectPointer);
    }
    extension->getDbObject() = variable;
    return extension;
}

bool ZemAssocVariableExt::isOverriddenExpose()
{
    return !data().getProperty(s_exposeKey).isNull();
}

bool ZemAssocVariableExt::isExposed()
{
    bool exposed = false;
    (void)data().getProperty(s_exposeKey, exposed);
    return exposed;
}

void ZemAssocVariableExt::setExposed(bool exposed)
{
    ZemProperties& bag = data();
    if (!bag.setProperty(s_exposeKey, exposed)) {
        bag.removeProperty(s_exposeKey);  // a value of another type says nothing
        bag.setProperty(s_exposeKey, exposed);
    }
    writeData();
}

void ZemAssocVariableExt::setDefaultExpose()
{
    data().removeProperty(s_exposeKey);
    writeData();
}

int ZemAssocVariableExt::measurementType()
{
    int type = kNoMeasurement;
    (void)data().getProperty(s_unitsKey, type);
    return type;
}

void ZemAssocVariableExt::setMeasurementType(int type)
{
    data().removeProperty(s_unitsKey);
    if (type != kNoMeasurement && !isLinearDimension()) {
        data().setProperty(s_unitsKey, type);
    }
    writeData();
}

bool ZemAssocVariableExt::isAngularDimension()
{
    const OdSmartPtr<ZemConstraint> constraint = constraintOf(*this);
    return !constraint.isNull() && constraint->isAngularDimension();
}

bool ZemAssocVariableExt::isLinearDimension()
{
    if (measurementType() == kLength) {
        return true;
    }
    const OdSmartPtr<ZemConstraint> constraint = constraintOf(*this);
    return (!constraint.isNull() && constraint->isLinearDimension()) || isSMThickness();
}

bool ZemAssocVariableExt::isSMThickness()
{
    OdDbAssocVariable const* const variable = variableOf(*this);
    if (variable == nullptr) {
        return false;
    }
    const OdDbObjectId id =
        ZemDbSheetMetalContext::getInstance(variable->objectThatOwnsNetworkInstance());
    const auto context = ZemDbSheetMetalContext::cast(id.openObject(OdDb::kForRead).get());
    return !context.isNull() && !variable->objectId().isNull() &&
           context->getThicknessParameter() == variable->objectId();
}

OdDb::UnitsValue ZemAssocVariableExt::getBlockUnits()
{
    OdDbAssocVariable const* const variable = variableOf(*this);
    const OdDbObjectId block =
        variable == nullptr ? OdDbObjectId::kNull : variable->objectThatOwnsNetworkInstance();
    OdDbDatabase const* const database = block.database();
    if (database != nullptr && block == database->getModelSpaceId()) {
        return database->getINSUNITS();
    }
    const auto opened = OdDbBlockTableRecord::cast(block.openObject(OdDb::kForRead).get());
    return opened.isNull() ? OdDb::UnitsValue::kUnitsUndefined : opened->blockInsertUnits();
}

OdString ZemAssocVariableExt::unitsToString(OdDb::UnitsValue units)
{
    const auto number = static_cast<std::size_t>(units);  // a negative one is past the end
    return number < std::size(kUnitNames) ? OdString(kUnitNames[number]) : OdString();
}

OdString ZemAssocVariableExt::measurementTypeToString(OdDb::UnitsValue units, int type)
{
    const OdString name = isMeasured(type) ? unitsToString(units) : OdString();
    if (type == kLength || name.isEmpty()) {
        return name;
    }
    return OdString().format(L"%ls^%d", name.c_str(), type);
}

OdString ZemAssocVariableExt::unitsAsString()
{
    return getMeasurement(/*withValue=*/false).unitsString;
}

ZemAssocVariableExt::Measurement ZemAssocVariableExt::getMeasurement(bool withValue)
{
    Measurement measurement;
    if (withValue) {
        measurement.value = zemu::getValueAsDouble(variableOf(*this));
    }
    measurement.units = getBlockUnits();
    measurement.type = measurementType();
    if (measurement.type == kNoMeasurement && isLinearDimension()) {
        measurement.type = kLength;
    }
    if (!data().getProperty(s_unitsKey, measurement.unitsString)) {
        measurement.unitsString = measurementTypeToString(measurement.units, measurement.type);
    }
    return measurement;
}

ZemAssocVariableExt::Measurement ZemAssocVariableExt::convertMeasurement(OdDb::UnitsValue target)
{
    return convertMeasurement(target, getMeasurement(/*withValue=*/true));
}

ZemAssocVariableExt::Measurement
ZemAssocVariableExt::convertMeasurement(OdDb::UnitsValue target, Measurement const& measurement)
{
    Measurement result;
    result.value = measurement.value;
    result.type = measurement.type;
    if (target == OdDb::UnitsValue::kUnitsUndefined ||
        measurement.units == OdDb::UnitsValue::kUnitsUndefined) {
        return result;
    }
    result.units = target;
    if (target == measurement.units) {
        result.unitsString = measurement.unitsString;
        return result;
    }
    if (isMeasured(result.type)) {
        result.value *= unitsFactor(measurement.units, target, result.type);
        result.unitsString = measurementTypeToString(target, result.type);
        return result;
    }
    if (measurement.unitsString.isEmpty()) {
        return result;
    }
    const OdSmartPtr<ZemCVUnitInterface> converter = ZemCVUnitInterface::instance();
    if (converter.isNull()) {
        return result;
    }
    OdString unitsString = measurement.unitsString;
    unitsString.replace(unitsToString(measurement.units), unitsToString(target));
    if (unitsString == measurement.unitsString) {
        return result;
    }
    double k = 1.0;
    if (converter->convertUnits(measurement.unitsString, unitsString, k) == 0) {
        result.value *= k;
        result.unitsString = unitsString;
    }
    return result;
}

double ZemAssocVariableExt::getScaleFactor(OdDb::UnitsValue target)
{
    return convertMeasurement(target, getMeasurement(/*withValue=*/false)).value;
}

void ZemAssocVariableExt::storeExpression()
{
    OdDbAssocVariable const* const variable = variableOf(*this);
    if (variable == nullptr) {
        return;
    }
    ZemProperties& bag = data();
    if (!bag.setProperty(s_originalExpressionKey, variable->expression())) {
        bag.removeProperty(s_originalExpressionKey);  // a value of another type is no expression
        bag.setProperty(s_originalExpressionKey, variable->expression());
    }
    writeData();
}

void ZemAssocVariableExt::restoreExpression()
{
    OdDbAssocVariable* const variable = variableOf(*this);
    if (variable == nullptr) {
        writeData();
        return;
    }
    // One write period: whoever is told finds the expression set and no longer remembered.
    const ZemUpgradeOpen raised(getDbObject());
    OdString expression;
    if (data().getProperty(s_originalExpressionKey, expression)) {
        // An expression that can't be set any more is forgotten all the same.
        (void)variable->setExpression(expression, L"", true, true, L"", false);
        data().removeProperty(s_originalExpressionKey);
    }
    writeData();
}
