#include "zem_constraint.h"

#include "assoc/od_db_assoc_network.h"
#include "assoc/od_db_assoc_variable.h"
#include "db/od_db_database.h"
#include "db/od_db_filer.h"
#include "root/od_error.h"
#include "zem_utils/zemc_assert.h"

#include "zem_constraint_maintenance.h"
#include "zem_db_constraint_manager.h"
#include "zem_db_object_dependency.h"
#include "zem_db_variable_utils.h"
#include "zem_protocol_extensions.h"

#include <algorithm>

namespace {

/// Keys of the bag, which stand in drawings.
const OdString s_assocVarKey(L"assocVar");
const OdString s_measurementMode0Key(L"MM0");
const OdString s_measurementMode1Key(L"MM1");
const OdString s_extendedTypeKey(L"exType");
const OdString s_softVersionCodeKey(L"softVersion");
const OdString s_arrayRefCsType(L"arrayRefCsType");
const OdString s_nodeIdKey(L"nodeId");

constexpr std::int16_t kFormatVersion = 3;
constexpr std::int16_t kVersionWithOldBag = 2;

/// Readers up to this version of constraints know all that this one writes.
constexpr int kSoftVersion = 2;

/// Links that are believed to follow whatever the filer has left, which may keep ids as no bytes.
constexpr std::int32_t kMaxLinksWithoutBytes = 1 << 20;

int intOf(ZemProperties const& bag, OdString const& key)
{
    int value = 0;
    (void)bag.getProperty(key, value);
    return value;
}

bool has(ZemProperties const& bag, OdString const& key)
{
    return !bag.getProperty(key).isNull();
}

OdSmartPtr<ZemDbObjectDependency> openLink(OdDbObjectId id)
{
    return ZemDbObjectDependency::cast(id.openObject(OdDb::kForRead).get());
}

/// The host's answer to a question about a constraint; false if there is nobody to ask.
bool askHost(ZemConstraint const& constraint,
             bool (ZemDbConstraintManagerPE::*question)(ZemConstraint const*) const)
{
    const auto manager =
        ZemDbConstraintManager::cast(constraint.owner().openObject(OdDb::kForRead).get());
    const auto host = ZemDbConstraintManagerPE::cast(manager.get());
    return !host.isNull() && (host.get()->*question)(&constraint);
}

}  // namespace

// The registered name stands in drawings and differs from the class's own.
RX_DEFINE_CLASS(ZemConstraint, OdRxObject, odrxCreate<ZemConstraint>, L"ZemDbConstraint");

ZemConstraint::ZemConstraint() : m_properties(/*config=*/0)
{
    mapProperties();
}

ZemConstraint::~ZemConstraint() = default;

void ZemConstraint::mapProperties()
{
    m_properties.mapProperty<int>(
        s_nodeIdKey, [this] { return static_cast<int>(m_nodeId); },
        [this](int nodeId) { m_nodeId = static_cast<std::uint32_t>(nodeId); });
}

//--------------------------------------------------------------------------------------------------
// Filing

void ZemConstraint::dwgOutFields(OdDbDwgFiler* filer) const
{
    filer->wrInt16(kFormatVersion);
    filer->wrString(m_name);
    filer->wrInt32(writtenType());
    filer->wrInt32(m_auxValue);
    filer->wrDouble(m_userValue);
    filer->wrInt32(static_cast<std::int32_t>(m_dependencies.size()));
    for (OdDbObjectId id : m_dependencies) {
        filer->wrSoftPointerId(id);
    }
    filer->wrSoftPointerId(OdDbObjectId::kNull);  // once a group of constraints
    filer->wrBool(m_isEnabled);
    m_properties.dwgOutFields(filer);
}

OdResult ZemConstraint::dwgInFields(OdDbDwgFiler* filer)
{
    const std::int16_t version = filer->rdInt16();
    if (version > kFormatVersion) {
        return kOdBadStream;
    }
    m_name = filer->rdString();
    m_type = filer->rdInt32();
    m_auxValue = filer->rdInt32();
    m_userValue = filer->rdDouble();
    const std::int32_t count = filer->rdInt32();
    if (count > kMaxLinksWithoutBytes && static_cast<std::uint64_t>(count) > filer->bytesLeft()) {
        throw OdError(kOdBadStream);
    }
    m_dependencies.clear();
    for (std::int32_t i = 0; i < count; ++i) {
        m_dependencies.append(filer->rdSoftPointerId());
    }
    (void)filer->rdSoftPointerId();
    m_isEnabled = filer->rdBool();
    const OdResult result = readBag(*filer, version);
    if (result != kOdOk) {
        return result;
    }
    readRefCsTypes();
    const int extendedType = intOf(m_properties, s_extendedTypeKey);
    if (m_type == 0 && has(m_properties, s_extendedTypeKey) && isSupportedVersion() &&
        extendedType <= kLastKind) {
        m_type = extendedType;
    }
    return kOdOk;
}

OdResult ZemConstraint::readBag(OdDbDwgFiler& filer, int version)
{
    if (version == kFormatVersion) {
        return m_properties.dwgInFields(&filer);
    }
    if (version != kVersionWithOldBag) {
        return kOdOk;
    }
    const OdResult result = zemu::dwgInOldPropertyMap(&filer, m_properties);
    mapProperties();  // the old form takes all entries out of the bag
    return result == kOdOk ? kOdOk : kOdBadStream;
}

void ZemConstraint::readRefCsTypes()
{
    ZemPropertyArray<int> stored;
    (void)m_properties.getProperty(s_arrayRefCsType, stored);
    m_refCsTypes.assign(stored.begin(), stored.end());
    m_refCsTypes.resize(m_dependencies.size(), kCsNone);
}

/// A kind that needs a newer reader is written as one that no reader knows.
std::int32_t ZemConstraint::writtenType() const
{
    const bool isHidden = intOf(m_properties, s_softVersionCodeKey) > 0 &&
                          has(m_properties, s_extendedTypeKey) &&
                          intOf(m_properties, s_extendedTypeKey) == m_type;
    return isHidden ? 0 : m_type;
}

void ZemConstraint::decideLowestSoftVersionCode()
{
    if (m_type < 1 || m_type > kLastKind || !isSupportedVersion()) {
        return;
    }
    int code = 0;
    if (m_type == kLastKind) {
        code = 1;
    } else if (std::any_of(m_refCsTypes.begin(), m_refCsTypes.end(),
                           [](std::int32_t type) { return type != kCsNone; })) {
        code = 2;
    } else if (has(m_properties, s_measurementMode0Key) ||
               has(m_properties, s_measurementMode1Key)) {
        code = 1;
    }
    m_properties.removeProperty(s_softVersionCodeKey);
    m_properties.removeProperty(s_extendedTypeKey);
    if (code != 0) {
        m_properties.setProperty(s_softVersionCodeKey, code);
        m_properties.setProperty(s_extendedTypeKey, static_cast<int>(m_type));
    }
}

//--------------------------------------------------------------------------------------------------
// Changes

void ZemConstraint::signalModification(NotifyCode code)
{
    const auto manager = ZemDbConstraintManager::cast(m_owner.openObject(OdDb::kForWrite).get());
    if (!manager.isNull()) {
        manager->notifyConstraintModify(this, code);
    }
    if (code == kChangeComplete) {
        decideLowestSoftVersionCode();
    }
}

void ZemConstraint::setType(std::int32_t type)
{
    signalModification(kBeforeChange);
    m_type = type;
    signalModification(kSolutionChanged);
    signalModification(kChangeComplete);
}

void ZemConstraint::setEnabled(bool enabled)
{
    signalModification(kBeforeChange);
    m_isEnabled = enabled;
    signalModification(kSolutionChanged);
    signalModification(kChangeComplete);
}

void ZemConstraint::setName(OdString const& name)
{
    signalModification(kBeforeChange);  // undo has to know of it; what is to be solved stays
    m_name = name;
}

void ZemConstraint::removeProperty(OdString const& key)
{
    if (!has(m_properties, key)) {
        return;
    }
    signalModification(kBeforeChange);
    m_properties.removeProperty(key);
    signalModification(kSolutionChanged);
    signalModification(kChangeComplete);
}

bool ZemConstraint::isSupportedVersion() const
{
    return intOf(m_properties, s_softVersionCodeKey) <= kSoftVersion;
}

//--------------------------------------------------------------------------------------------------
// Arguments

std::vector<ExtendedDep> ZemConstraint::dependencies() const
{
    std::vector<ExtendedDep> all;
    all.reserve(m_dependencies.size());
    for (unsigned at = 0; at < m_dependencies.size(); ++at) {
        const auto csType = static_cast<ECoordinateSystemObject>(m_refCsTypes[at]);
        all.push_back({m_dependencies[at], csType != kCsNone, csType});
    }
    return all;
}

void ZemConstraint::setDependencies(std::vector<ExtendedDep> const& dependencies)
{
    signalModification(kBeforeChange);
    m_dependencies.clear();
    m_refCsTypes.clear();
    bool hasCsObject = false;
    for (ExtendedDep const& dependency : dependencies) {
        m_dependencies.append(dependency.id);
        m_refCsTypes.push_back(dependency.isCsObject ? dependency.csType : kCsNone);
        hasCsObject = hasCsObject || dependency.isCsObject;
    }
    m_properties.removeProperty(s_arrayRefCsType);
    if (hasCsObject) {
        ZemPropertyArray<int> stored;
        stored.append(m_refCsTypes.begin(), m_refCsTypes.end());
        m_properties.setProperty(s_arrayRefCsType, stored);
    }
    signalModification(kSolutionChanged);
    signalModification(kChangeComplete);
}

ZemExtendedPathArray ZemConstraint::getExtArguments() const
{
    ZemExtendedPathArray all;
    all.reserve(m_dependencies.size());
    for (ExtendedDep const& dependency : dependencies()) {
        ZemExtendedPath argument;
        argument.csType = dependency.csType;
        argument.isCsObject = dependency.isCsObject;
        const auto link = openLink(dependency.id);
        const bool isBroken =
            link.isNull() ? !(dependency.isCsObject && dependency.id.isNull())
                          : link->getLinkObject(argument.path, /*openErased=*/false) != kOdOk;
        if (isBroken) {
            zemcCallAssert("false", nullptr, __FILE__, __LINE__);
        }
        all.push_back(argument);
    }
    return all;
}

ZemSubentPaths ZemConstraint::getArguments() const
{
    ZemSubentPaths paths;
    for (ZemExtendedPath const& argument : getExtArguments()) {
        paths.push_back(argument.path);
    }
    return paths;
}

bool ZemConstraint::isValid() const
{
    for (ExtendedDep const& dependency : dependencies()) {
        if (dependency.isCsObject && dependency.id.isNull()) {
            continue;
        }
        const auto link = openLink(dependency.id);
        OdDbFullSubentPath path;
        if (link.isNull() || link->getLinkObject(path, /*openErased=*/false) == kOdUnresolvedPath) {
            return false;
        }
    }
    return true;
}

//--------------------------------------------------------------------------------------------------
// Kind, variable and value

bool ZemConstraint::isParametric() const
{
    return askHost(*this, &ZemDbConstraintManagerPE::isParametric);
}

bool ZemConstraint::isLinearDimension() const
{
    return askHost(*this, &ZemDbConstraintManagerPE::isLinearDimension);
}

bool ZemConstraint::isAngularDimension() const
{
    return askHost(*this, &ZemDbConstraintManagerPE::isAngularDimension);
}

OdDbObjectId ZemConstraint::userVariable() const
{
    OdDbObjectId variable;
    (void)m_properties.getProperty(s_assocVarKey, variable);
    return variable;
}

void ZemConstraint::removeUserVariable()
{
    m_properties.removeProperty(s_assocVarKey);
}

void ZemConstraint::setUserValue(double value)
{
    if (isParametric()) {
        setValue(value);
    }
}

void ZemConstraint::setValue(double value)
{
    signalModification(kBeforeChange);
    m_userValue = value;
    signalModification(kSolutionChanged);
    signalModification(kChangeComplete);
}

OdString ZemConstraint::userExpression() const
{
    const auto variable = OdDbAssocVariable::cast(userVariable().openObject(OdDb::kForRead).get());
    return variable.isNull() ? zemu::getConstExpression(m_userValue) : variable->expression();
}

void ZemConstraint::createVariable()
{
    if (!isParametric()) {
        return;
    }
    const auto present = OdDbAssocVariable::cast(userVariable().openObject(OdDb::kForRead).get());
    if (!present.isNull()) {
        setValue(zemu::getValueAsDouble(present.get()));
        return;
    }
    const auto manager = ZemDbConstraintManager::cast(m_owner.openObject(OdDb::kForRead).get());
    const auto network = OdDbAssocNetwork::cast(
        OdDbAssocNetwork::getInstanceFromObject(manager->blockId(), /*create=*/true)
            .openObject(OdDb::kForRead)
            .get());
    if (network.isNull()) {
        return;  // the manager of no block
    }
    if (OdDbAssocVariable::desc() == nullptr) {
        throw OdError(kOdClassNotRegistered);
    }
    network->upgradeOpen();
    const OdDbAssocVariablePtr variable = OdDbAssocVariable::desc()->create();
    OdDbObjectId id = m_owner.database()->addOdDbObject(variable.get(), OdDbObjectId::kNull);
    network->addAction(id, /*owned=*/true);
    const OdDbObjectId known = variable->findObjectByName(m_name, OdDbAssocVariable::desc());
    if (!known.isNull() && !(known == id)) {
        network->removeAction(id, /*erase=*/true);
        id = known;
    } else {
        (void)variable->setName(m_name, /*updateOthers=*/false);  // refused, it stays without one
        (void)zemu::setConstExpression(variable.get(), m_userValue);
    }
    signalModification(kBeforeChange);
    m_properties.removeProperty(s_assocVarKey);
    m_properties.setProperty(s_assocVarKey, id, OdDb::ReferenceType::kSoftPointerRef);
}

OdSmartPtr<ZemConstraint> ZemConstraint::getDimConstraint(OdDbAssocVariable const* variable)
{
    if (variable == nullptr) {
        return OdSmartPtr<ZemConstraint>();
    }
    for (OdDbObjectId id : variable->getPersistentReactors()) {
        const OdDbObjectPtr reactor = id.openObject(OdDb::kForRead);
        if (reactor.isNull()) {
            continue;
        }
        const auto manager =
            ZemDbConstraintManager::cast(reactor->ownerId().openObject(OdDb::kForRead).get());
        OdSmartPtr<ZemConstraint> constraint =
            manager.isNull() ? OdSmartPtr<ZemConstraint>()
                             : manager->getDimConstraint(variable->objectId());
        if (!constraint.isNull()) {
            return constraint;
        }
    }
    return OdSmartPtr<ZemConstraint>();
}
