#include "zem_db_variable_utils.h"

#include "assoc/od_db_assoc_dependency.h"
#include "assoc/od_db_assoc_network.h"
#include "assoc/od_expression.h"
#include "db/od_db_database.h"
#include "db/od_db_host_app_services.h"
#include "root/od_error.h"

#include "zem_database_utils.h"
#include "zem_open_guard_impl.h"

#include <limits>
#include <unordered_set>

namespace zemu {
namespace {

/// Expression of a new variable.
const OdString s_defaultExpression(L"1");

/// Parameter copy mode that copies parameters whole.
constexpr std::int16_t kCopyWholeParameters = 3;

OdDbAssocNetworkPtr openNetwork(OdDbObjectId block, bool create)
{
    const OdDbObjectId id =
        OdDbAssocNetwork::getInstanceFromObject(block, create, /*addToTopLevel=*/true, L"");
    return OdDbAssocNetwork::cast(id.openObject(OdDb::kForRead).get());
}

OdDbAssocVariablePtr openVariable(OdDbObjectId id)
{
    return odDbAssocIsOfClass(id, OdDbAssocVariable::desc())
               ? OdDbAssocVariable::cast(id.openObject(OdDb::kForRead).get())
               : OdDbAssocVariablePtr();
}

/// Asks the first variable of a network, which answers for all of them. Those that other networks own
/// answer for these, and are asked only where there is no other.
OdDbObjectId findByFirstVariable(OdDbAssocNetwork const& network, OdString const& name)
{
    const OdDbObjectIdArray actions = network.getActions();  // const, so that it stays shared
    OdDbAssocVariablePtr first;
    for (OdDbObjectId id : actions) {
        const OdDbAssocVariablePtr variable = openVariable(id);
        const bool isOwned = !variable.isNull() && variable->ownerId() == network.objectId();
        if (isOwned || first.isNull()) {
            first = variable;
        }
        if (isOwned) {
            break;
        }
    }
    return first.isNull() ? OdDbObjectId::kNull
                          : first->findObjectByName(name, OdDbAssocVariable::desc());
}

OdDbAssocVariablePtr makeVariable()
{
    OdRxClass const* const variableClass = OdDbAssocVariable::desc();
    if (variableClass == nullptr) {
        throw OdError(kOdClassNotRegistered);
    }
    OdDbAssocVariablePtr variable = variableClass->create();
    if (variable.isNull()) {
        throw OdError(kOdNullObjectPointer);
    }
    return variable;
}

/// Appends what an action depends on by value.
void appendUsed(OdDbObjectId action, OdDbObjectIdArray& ids,
                std::unordered_set<OdDbObjectId, hash_ObjectId>& known)
{
    const auto opened = OdDbAssocAction::cast(action.openObject(OdDb::kForRead).get());
    OdDbObjectIdArray dependencies;
    if (opened.isNull() || opened->getDependencies(true, true, dependencies) != kOdOk) {
        return;
    }
    for (OdDbObjectId id : dependencies) {
        const auto dependency = OdDbAssocValueDependency::cast(id.openObject(OdDb::kForRead).get());
        if (dependency.isNull()) {
            continue;
        }
        const OdDbObjectId used = dependency->dependentOnObject();
        OdDbObjectId redirected = used;
        redirected.convertToRedirectedId();
        if (!redirected.isNull() && known.insert(redirected).second) {
            ids.append(used);
        }
    }
}

}  // namespace

double getValueAsDouble(OdDbEvalVariant const* value)
{
    if (value == nullptr) {
        return -1.0;
    }
    switch (value->getType()) {
    case OdDbEvalVariant::kDouble:
        return value->getDouble();
    case OdDbEvalVariant::kInt32:
        return value->getInt32();
    default:
        return -1.0;
    }
}

int getValueAsInt(OdDbEvalVariant const* value)
{
    if (value == nullptr) {
        return -1;
    }
    switch (value->getType()) {
    case OdDbEvalVariant::kDouble: {
        // Both ends are exact as doubles; the comparison is false for what is no number.
        const double number = value->getDouble();
        const bool fits = number > std::numeric_limits<int>::min() - 1.0 &&
                          number < std::numeric_limits<int>::max() + 1.0;
        return fits ? static_cast<int>(number) : -1;
    }
    case OdDbEvalVariant::kInt32:
        return value->getInt32();
    default:
        return -1;
    }
}

double getValueAsDouble(OdDbAssocVariable const* variable)
{
    return variable == nullptr ? -1.0 : getValueAsDouble(variable->value().get());
}

OdString getConstExpression(double value)
{
    return OdString().format(L"%.12g", value);
}

OdResult setConstExpression(OdDbAssocVariable* variable, double value)
{
    if (variable == nullptr) {
        return kOdVariableMissing;
    }
    return variable->setExpression(getConstExpression(value), L"", false, false, L"", false);
}

OdDbEvalVariantPtr getConstValue(OdString const& text)
{
    OdExpression::Parser parser;
    if (parser.setExpression(text) != kOdOk || !parser.isConstExpression()) {
        return OdDbEvalVariantPtr();
    }
    return parser.evaluate();
}

bool hasConstExpression(OdDbAssocVariable const* variable)
{
    OdDbObjectIdArray dependencies;
    return variable != nullptr && variable->getDependencies(true, true, dependencies) == kOdOk &&
           dependencies.isEmpty();
}

bool isAnonymous(OdString const& name)
{
    return name.isEmpty() || name.getAt(0) == L'*';
}

bool isAnonymous(OdDbAssocVariable const* variable)
{
    return variable == nullptr || isAnonymous(variable->name());
}

OdDbObjectId getAssocVariable(OdDbObjectId block, OdString const& name, bool create,
                              OdString const* expression)
{
    const OdDbAssocNetworkPtr network = openNetwork(block, create);
    if (network.isNull()) {
        return OdDbObjectId::kNull;
    }
    const OdDbObjectId found = findByFirstVariable(*network, name);
    if (found.isValid() || !create) {
        return found;
    }
    const OdDbAssocVariablePtr variable = makeVariable();
    const OdDbObjectId id = network->database()->addOdDbObject(variable.get(), network->objectId());
    {
        const ZemUpgradeOpen raised(network);
        (void)network->addAction(id, /*owned=*/true);  // refuses nothing that was just made
    }
    // What is refused leaves the variable as it is, without a name or with its value alone.
    (void)variable->setName(name, /*updateOthers=*/false);
    (void)variable->setExpression(expression != nullptr ? *expression : s_defaultExpression, L"",
                                  false, false, L"", false);
    return id;
}

void getVariableNames(OdDbObjectId block, std::set<OdString>& names)
{
    const OdDbAssocNetworkPtr network = openNetwork(block, /*create=*/false);
    if (network.isNull()) {
        return;
    }
    const OdDbObjectIdArray actions = network->getActions();
    for (OdDbObjectId id : actions) {
        const OdDbAssocVariablePtr variable = openVariable(id);
        if (!variable.isNull()) {
            names.insert(variable->name().makeUpper());
        }
    }
}

OdString generateVariableName(OdDbObjectId block, OdString const& base)
{
    const OdDbAssocNetworkPtr network = openNetwork(block, /*create=*/false);
    return network.isNull() ? base : network->freeVariableName(base);
}

OdDbObjectIdArray getUsedVariables(OdDbObjectIdArray ids, int depth)
{
    if (depth <= 1) {
        return ids;
    }
    std::unordered_set<OdDbObjectId, hash_ObjectId> known(ids.begin(), ids.end());
    for (unsigned at = 0; at < ids.size(); ++at) {
        appendUsed(std::as_const(ids)[at], ids, known);
    }
    return ids;
}

ZemParameterCopyModeElevate::ZemParameterCopyModeElevate(OdDbDatabase* database)
    : m_database(database)
{
    if (m_database != nullptr) {
        m_savedMode = m_database->appServices()->parameterCopyMode();
        m_database->appServices()->setParameterCopyMode(kCopyWholeParameters);
    }
}

ZemParameterCopyModeElevate::~ZemParameterCopyModeElevate()
{
    if (m_database != nullptr) {
        m_database->appServices()->setParameterCopyMode(m_savedMode);
    }
}

}  // namespace zemu
