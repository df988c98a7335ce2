#include "assoc/od_db_assoc_variable.h"

#include "assoc/od_db_assoc_dependency.h"
#include "assoc/od_db_assoc_evaluation_impl.h"
#include "assoc/od_db_assoc_network_state_impl.h"
#include "assoc/od_expression.h"
#include "db/od_db_database.h"
#include "db/od_db_filer.h"
#include "db/od_db_id_mapping.h"
#include "root/od_error.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>
#include <unordered_set>
#include <utility>

RX_DEFINE_CLASS(OdDbAssocVariable, OdDbAssocAction, odrxCreate<OdDbAssocVariable>,
                L"OdDbAssocVariable", OdDb::kDwgVersionCurrent, 0, 0, L"ASSOCVARIABLE",
                L"Object database");

namespace {

/// Parsed expressions with more steps are dropped after use, so that memory stays near that of the
/// texts.
constexpr std::size_t kMostKeptSteps = 1000;

bool isAnonymous(OdString const& name)
{
    return !name.isEmpty() && name.getAt(0) == L'*';
}

OdString trimmed(OdString text)
{
    return text.trimLeft().trimRight();
}

/// The object as a value dependency; null if it is none or can't be opened.
OdDbAssocValueDependencyPtr openValueDependency(OdDbObjectId id)
{
    if (!odDbAssocIsOfClass(id, OdDbAssocValueDependency::desc())) {
        return OdDbAssocValueDependencyPtr();
    }
    const OdDbObjectPtr object = id.openObject();
    return OdDbAssocValueDependency::cast(object.get());
}

OdDbAssocVariablePtr openVariable(OdDbObjectId id, OdDb::OpenMode mode = OdDb::kForRead)
{
    if (!odDbAssocIsOfClass(id, OdDbAssocVariable::desc())) {
        return OdDbAssocVariablePtr();
    }
    const OdDbObjectPtr object = id.openObject(mode);
    return OdDbAssocVariable::cast(object.get());
}

/// Null for a network that can't be read, too.
OdDbAssocNetworkPtr openNetwork(OdDbObjectId id)
{
    return OdDbAssocNetwork::cast(id.openObject().get());
}

}  // namespace

OdDbAssocVariable::OdDbAssocVariable() = default;
OdDbAssocVariable::~OdDbAssocVariable() = default;

OdDbAssocVariablePtr OdDbAssocVariable::createObject()
{
    return odrxMake<OdDbAssocVariable>();
}

// ---------------------------------------------------------------------------------------------
// Name

OdString OdDbAssocVariable::name() const
{
    assertReadEnabled();
    return m_name;
}

OdResult OdDbAssocVariable::setName(OdString const& name, bool updateOthers)
{
    const OdDbDatabasePtr keptAlive(database());  // a reactor may hold the last pointer
    assertWriteEnabled();
    Rewrites rewrites;
    OdDbAssocEvaluation::Changed opened;
    const OdResult result = openUsersToRename(name, updateOthers, rewrites, opened);
    if (result == kOdOk) {
        takeName(name, updateOthers, rewrites);
    }
    rewrites.clear();
    OdDbAssocEvaluation::closeAll(std::move(opened));  // told when all names are the new ones
    return result;
}

/// Opens for write what a renaming rewrites. Whoever is told there of the changes to come may change
/// anything, so all is asked again until nobody is left to be told.
OdResult OdDbAssocVariable::openUsersToRename(OdString const& name, bool updateOthers,
                                              Rewrites& rewrites,
                                              OdDbAssocEvaluation::Changed& opened) const
{
    std::unordered_set<OdDbAssocVariable const*> told;
    for (bool isSettled = false; !isSettled;) {
        const OdResult result = checkName(name, updateOthers, rewrites);
        if (result != kOdOk) {
            return result;
        }
        isSettled = true;
        for (auto const& [user, text] : rewrites) {
            if (told.insert(user.get()).second) {
                isSettled = false;
                user->upgradeOpen();
                opened.push_back(user);
                user->assertWriteEnabled();
            }
        }
    }
    return kOdOk;
}

/// Finds what stands against a name, and which expressions are to be rewritten for it.
OdResult OdDbAssocVariable::checkName(OdString const& name, bool updateOthers,
                                      Rewrites& rewrites) const
{
    rewrites.clear();
    if (isAnonymous(name)) {
        return kOdOk;
    }
    if (!OdExpression::isName(name)) {
        return kOdInvalidKey;
    }
    const OdDbAssocNetworkPtr network = openNetwork(owningNetwork());
    if (!network.isNull()) {
        network->readActions();
        if (!network->state().find(name, objectId(), network->sharedState()).isNull()) {
            return kOdDuplicateName;
        }
    }
    return updatesOthers(name, updateOthers) ? findRewrites(name, rewrites) : kOdOk;
}

bool OdDbAssocVariable::updatesOthers(OdString const& newName, bool isAsked) const
{
    return isAsked && !isAnonymous(newName) && !isAnonymous(m_name) && !m_name.isEmpty();
}

/// Finds the expressions that use this variable. One that mentions the new name means something else
/// by it, a constant or a variable that it has lost, and must not come to mean this.
OdResult OdDbAssocVariable::findRewrites(OdString const& newName, Rewrites& rewrites) const
{
    const bool isOther = odIcmp(newName, m_name) != 0;
    if (isOther && OdExpression::mentions(m_expression, newName)) {
        return kOdDuplicateName;
    }
    const OdExpression::Renames names{{m_name, newName}};
    for (OdDbObjectId id : OdDbAssocEvaluation::usersOf(*this)) {
        OdDbAssocVariablePtr user = openVariable(id);
        if (user.isNull()) {
            continue;
        }
        if (isOther && OdExpression::mentions(user->m_expression, newName)) {
            return kOdDuplicateName;
        }
        std::optional<OdString> text = OdExpression::renamed(user->m_expression, names);
        if (!text.has_value()) {
            return kOdInvalidInput;
        }
        if (*text != user->m_expression) {
            rewrites.emplace_back(std::move(user), std::move(*text));
        }
    }
    return kOdOk;
}

/// Nobody is told of anything here; undo marks may have been set since the changes were announced.
void OdDbAssocVariable::takeName(OdString const& name, bool updateOthers, Rewrites const& rewrites)
{
    for (auto const& [user, text] : rewrites) {
        user->assertWriteEnabled();
        user->changeText(text);
    }
    assertWriteEnabled();
    if (!updatesOthers(name, updateOthers)) {
        // Those that use it lose it, or have it again.
        m_tellsUsers = m_tellsUsers || odIcmp(name, m_name) != 0;
    }
    m_name = name;
    const OdDbAssocNetworkPtr network = openNetwork(owningNetwork());
    if (!network.isNull()) {
        network->state().renamed(objectId());
    }
}

OdDbObjectId OdDbAssocVariable::findObjectByName(OdString const& name, OdRxClass const* cls) const
{
    const OdDbAssocNetworkPtr network = openNetwork(owningNetwork());
    if (network.isNull()) {
        return OdDbObjectId::kNull;
    }
    const OdDbObjectId id = network->findVariable(name);
    return cls == nullptr || odDbAssocIsOfClass(id, cls) ? id : OdDbObjectId::kNull;
}

// ---------------------------------------------------------------------------------------------
// Expression

OdString OdDbAssocVariable::expression() const
{
    assertReadEnabled();
    return m_expression;
}

void OdDbAssocVariable::changeText(OdString const& expression)
{
    m_expression = expression;
    m_parser.reset();
}

OdResult OdDbAssocVariable::setExpression(OdString const& expression,
                                          OdString const& /*evaluatorId*/, bool refuseCycles,
                                          bool /*tellDependents*/, OdString const& /*errorText*/,
                                          bool /*reserved*/)
{
    const OdDbDatabasePtr keptAlive(database());  // a reactor may hold the last pointer
    assertWriteEnabled();
    if (trimmed(expression).isEmpty()) {
        changeText(OdString());
        return removeAllDependencies(/*alsoErase=*/true);
    }
    auto parser = std::make_unique<OdExpression::Parser>();
    std::vector<OdDbObjectId> targets;
    std::optional<double> value;
    OdString error;
    const OdResult result = [&] {
        const OdResult parsed = parser->setExpression(expression);
        return parsed != kOdOk ? parsed : prepare(*parser, refuseCycles, targets, value, error);
    }();
    if (result != kOdOk) {
        return result;
    }
    changeText(expression);
    if (!targets.empty() && parser->size() <= kMostKeptSteps) {
        m_parser = std::move(parser);  // what depends on nothing is hardly computed again
    }
    dependOn(targets);
    OdDbAssocNetworkState* const known = findNetworkState();
    if (!value.has_value()) {
        if (known != nullptr) {
            known->stale.insert(objectId());
        }
        return kOdOk;
    }
    assign(*value, OdDbEvalVariant::kDouble);
    if (known != nullptr && known->stale.erase(objectId()) != 0) {
        m_tellsUsers = true;  // it may have been part of a ring until now
    }
    return kOdOk;
}

OdResult OdDbAssocVariable::setExpression(OdString const& expression, OdString* errorText)
{
    const OdResult result = setExpression(expression, OdString(), /*refuseCycles=*/true,
                                          /*tellDependents=*/true, OdString(), /*reserved=*/false);
    if (result == kOdOk || errorText == nullptr) {
        return result;
    }
    OdExpression::Parser parser;
    std::vector<OdDbObjectId> targets;
    std::optional<double> value;
    OdString error;
    if (parser.setExpression(expression) == kOdOk) {
        (void)prepare(parser, /*refuseCycles=*/true, targets, value, error);
    }
    *errorText = error.isEmpty() ? parser.errorText() : error;
    return result;
}

/// Finds out what an expression that was parsed would depend on and what its value would be; none if
/// the variable would depend on itself.
OdResult OdDbAssocVariable::prepare(OdExpression::Parser& parser, bool refuseCycles,
                                    std::vector<OdDbObjectId>& targets,
                                    std::optional<double>& value, OdString& error) const
{
    std::vector<OdDbObjectId> byName;
    if (!resolve(parser, byName, error)) {
        return kOdNoSuchVariable;
    }
    for (OdDbObjectId id : byName) {
        if (!id.isNull()) {
            targets.push_back(id);
        }
    }
    if (OdDbAssocEvaluation::wouldDependOnItself(*this, targets)) {
        error = L"the variable would depend on itself";
        return refuseCycles ? kOdCyclicReference : kOdOk;
    }
    Values values(byName.size());
    for (std::size_t index = 0; index < byName.size(); ++index) {
        const OdDbAssocVariablePtr target = openVariable(byName[index]);
        if (!target.isNull()) {
            values[index] = target->m_number;
        }
    }
    double number = 0;
    const OdResult result = parser.evaluate(values, number);
    if (result == kOdOk) {
        value = number;
    }
    return result;
}

/// The variables that the names of an expression stand for, null for constants.
bool OdDbAssocVariable::resolve(OdExpression::Parser const& parser,
                                std::vector<OdDbObjectId>& targets, OdString& error) const
{
    const OdDbAssocNetworkPtr network =
        parser.names().empty() ? OdDbAssocNetworkPtr() : openNetwork(owningNetwork());
    for (OdExpression::Name const& name : parser.names()) {
        const OdDbObjectId id =
            network.isNull() ? OdDbObjectId::kNull : network->findVariable(name.text);
        if (id.isNull() && !name.constant.has_value()) {
            error.format(L"column %d: unknown name %ls", name.column, name.text.c_str());
            return false;
        }
        targets.push_back(id);
    }
    return true;
}

/// Makes the value dependencies those on `targets`, in that order. Present ones are kept where they
/// fit; dependencies of other kinds stay behind them.
void OdDbAssocVariable::dependOn(std::vector<OdDbObjectId> const& targets)
{
    std::unordered_map<OdDbIdRecord const*, OdDbObjectId> present;
    std::vector<OdDbObjectId> surplus;
    OdDbObjectIdArray others;
    for (OdDbObjectId id : dependencies()) {
        if (id.isErased()) {
            continue;
        }
        const OdDbAssocValueDependencyPtr dependency = openValueDependency(id);
        if (dependency.isNull() || dependency->ownerId() != objectId()) {
            others.append(id);
        } else if (!present.try_emplace(dependency->dependentOnObject().record(), id).second) {
            surplus.push_back(id);
        }
    }
    OdDbObjectIdArray wanted;
    wanted.reserve(static_cast<unsigned>(targets.size()) + others.size());
    for (OdDbObjectId target : targets) {
        const auto kept = present.find(target.record());
        if (kept != present.end()) {
            wanted.append(kept->second);
            present.erase(kept);
            continue;
        }
        const OdDbAssocValueDependencyPtr made = OdDbAssocValueDependency::createObject();
        wanted.append(database()->addOdDbObject(made.get(), objectId()));
        (void)made->attachDependentOnObject(target);  // it was opened just now
    }
    for (auto const& [record, id] : present) {
        surplus.push_back(id);
    }
    std::sort(surplus.begin(), surplus.end());  // the same order in each run
    wanted.append(others);
    setDependencies(wanted);
    for (OdDbObjectId id : surplus) {
        const OdDbObjectPtr dependency = id.openObject(OdDb::kForWrite);
        if (!dependency.isNull()) {
            (void)dependency->erase(true);  // one that refuses is out of the variable all the same
        }
    }
}

void OdDbAssocVariable::joinedNetwork()
{
    OdDbAssocNetworkState* const known = findNetworkState();
    if (known != nullptr) {
        known->renamed(objectId());
    }
    // Who used it before may have missed a change while it was outside.
    m_tellsUsers = m_tellsUsers || !getPersistentReactors().isEmpty();
    if (m_expression.isEmpty()) {
        return;
    }
    if (known != nullptr) {
        known->stale.insert(objectId());
    }
    if (m_isAppending) {
        return;
    }
    OdDbObjectIdArray living;
    (void)getDependencies(true, true, living);
    if (!living.isEmpty()) {
        settle();
        return;
    }
    std::vector<OdDbObjectId> found;
    OdString error;
    if (!resolve(parser(), found, error) || found.empty()) {
        return;
    }
    std::vector<OdDbObjectId> targets;
    for (OdDbObjectId id : found) {
        if (!id.isNull()) {
            targets.push_back(id);
        }
    }
    assertWriteEnabled();
    dependOn(targets);
}

void OdDbAssocVariable::findAgain()
{
    bool dependsOnAny = false;
    for (OdDbObjectId id : dependencies()) {
        dependsOnAny = dependsOnAny ||
                       (!id.isErased() && odDbAssocIsOfClass(id, OdDbAssocValueDependency::desc()));
    }
    if (m_expression.isEmpty() || !dependsOnAny || !ownsDependencies()) {
        return;
    }
    OdExpression::Parser const& parsed = parser();
    const Values values = collectValues(parsed);
    bool isComplete = true;
    for (std::size_t index = 0; index < values.size(); ++index) {
        isComplete =
            isComplete && (values[index].has_value() || parsed.names()[index].constant.has_value());
    }
    std::vector<OdDbObjectId> found;
    OdString error;
    if (isComplete || !resolve(parsed, found, error)) {
        return;
    }
    std::vector<OdDbObjectId> targets;
    for (OdDbObjectId id : found) {
        if (!id.isNull()) {
            targets.push_back(id);
        }
    }
    upgradeOpen();
    assertWriteEnabled(/*autoUndo=*/true, /*recordModified=*/false);
    dependOn(targets);
    downgradeOpen();
}

/// Whether this is no clone whose references are those of its source.
bool OdDbAssocVariable::ownsDependencies() const
{
    OdDbObjectIdArray const& ids = dependencies();
    return std::all_of(ids.begin(), ids.end(), [&](OdDbObjectId id) {
        const OdDbAssocValueDependencyPtr dependency = openValueDependency(id);
        return dependency.isNull() || dependency->ownerId() == objectId();
    });
}

/// Makes what the variable depends on that of its network: lets go of variables of other ones, and
/// finds those that have their names here.
void OdDbAssocVariable::settle()
{
    if (!ownsDependencies()) {
        return;
    }
    for (OdDbObjectId id : OdDbObjectIdArray(dependencies())) {
        const OdDbAssocValueDependencyPtr dependency = openValueDependency(id);
        if (dependency.isNull()) {
            continue;
        }
        const OdDbObjectId targetId = dependency->dependentOnObject();
        if (!odDbAssocIsOfClass(targetId, OdDbAssocVariable::desc())) {
            continue;
        }
        const OdDbObjectPtr target = targetId.openObject(OdDb::kForRead, /*openErased=*/true);
        if (!target.isNull() && target->ownerId() != ownerId()) {
            dependency->upgradeOpen();
            dependency->detachDependentOnObject();
            dependency->downgradeOpen();
        }
    }
    findAgain();
}

OdExpression::Parser& OdDbAssocVariable::parser() const
{
    if (m_parser == nullptr) {
        m_parser = std::make_unique<OdExpression::Parser>();
        (void)m_parser->setExpression(m_expression);  // a text that is none can't be computed
    }
    return *m_parser;
}

/// The values of the variables that this one depends on, by their places among the names.
OdDbAssocVariable::Values OdDbAssocVariable::collectValues(OdExpression::Parser const& parser) const
{
    std::vector<OdExpression::Name> const& names = parser.names();
    Values values(names.size());
    std::unordered_map<OdString, std::size_t, OdStringIHash, OdStringIEqual> places;
    std::size_t next = 0;  // dependencies are in the order of the names, but for constants
    for (OdDbObjectId id : dependencies()) {
        const OdDbAssocValueDependencyPtr dependency = openValueDependency(id);
        const OdDbAssocVariablePtr target = dependency.isNull()
                                                ? OdDbAssocVariablePtr()
                                                : openVariable(dependency->dependentOnObject());
        if (target.isNull() || target->ownerId() != ownerId()) {
            continue;
        }
        if (next < names.size() && odIcmp(names[next].text, target->m_name) == 0) {
            values[next++] = target->m_number;
            continue;
        }
        if (places.empty()) {
            for (std::size_t place = 0; place < names.size(); ++place) {
                places.emplace(names[place].text, place);
            }
        }
        const auto place = places.find(target->m_name);
        if (place != places.end()) {
            values[place->second] = target->m_number;
            next = place->second + 1;
        }
    }
    return values;
}

OdResult OdDbAssocVariable::compute(double& value, OdString& error) const
{
    OdExpression::Parser& parsed = parser();
    const OdResult result = parsed.evaluate(collectValues(parsed), value);
    if (result != kOdOk) {
        error = parsed.errorText();
    }
    if (parsed.size() > kMostKeptSteps) {
        m_parser.reset();
    }
    return result;
}

OdString OdDbAssocVariable::evaluationError() const
{
    assertReadEnabled();
    OdString error;
    double value = 0;
    if (m_expression.isEmpty() || compute(value, error) != kOdOk) {
        return error;
    }
    std::vector<OdDbObjectId> targets;
    for (OdDbObjectId id : dependencies()) {
        const OdDbAssocValueDependencyPtr dependency = openValueDependency(id);
        if (!dependency.isNull()) {
            targets.push_back(dependency->dependentOnObject());
        }
    }
    return OdDbAssocEvaluation::wouldDependOnItself(*this, targets)
               ? OdString(OdDbAssocEvaluation::ringText())
               : error;
}

OdResult OdDbAssocVariable::recompute(bool& hasChanged, OdString& error)
{
    hasChanged = false;
    if (m_expression.isEmpty()) {
        return kOdOk;
    }
    double number = 0;
    const OdResult result = compute(number, error);
    if (result != kOdOk || (m_type == OdDbEvalVariant::kDouble && m_number == number)) {
        return result;
    }
    upgradeOpen();
    assertWriteEnabled();
    m_number = number;
    m_type = OdDbEvalVariant::kDouble;
    m_tellsUsers = false;  // the evaluation that asks goes on to them
    hasChanged = true;
    return kOdOk;
}

// ---------------------------------------------------------------------------------------------
// Value

OdDbEvalVariantPtr OdDbAssocVariable::value() const
{
    assertReadEnabled();
    return m_type == OdDbEvalVariant::kInt32 ? OdDbEvalVariant::create(static_cast<int>(m_number))
                                             : OdDbEvalVariant::create(m_number);
}

void OdDbAssocVariable::assign(double number, OdDbEvalVariant::Type type)
{
    m_tellsUsers = m_tellsUsers || number != m_number;
    m_number = number;
    m_type = type;
}

OdResult OdDbAssocVariable::setValue(OdDbEvalVariant const& value)
{
    assertWriteEnabled();
    double number = 0;
    if (!value.getNumber(number) || !std::isfinite(number)) {
        return kOdInvalidInput;
    }
    assign(number, value.getType());
    OdDbAssocNetworkState* const known = m_expression.isEmpty() ? nullptr : findNetworkState();
    if (known != nullptr) {
        known->stale.insert(objectId());
    }
    return kOdOk;
}

OdResult OdDbAssocVariable::setValue(OdDbEvalVariantPtr const& value)
{
    if (value.isNull()) {
        assertWriteEnabled();
        return kOdInvalidInput;
    }
    return setValue(*value);
}

OdResult OdDbAssocVariable::setValue(double value)
{
    return setValue(OdDbEvalVariant::create(value));
}

OdResult OdDbAssocVariable::setValue(int value)
{
    return setValue(OdDbEvalVariant::create(value));
}

// ---------------------------------------------------------------------------------------------
// Dependents

void OdDbAssocVariable::changesEnded()
{
    ++m_round;
    if (!std::exchange(m_tellsUsers, false) || isUndoing() || isErased()) {
        return;
    }
    OdDbAssocEvaluation evaluation;
    evaluation.evaluateDependents(*this);
    OdDbAssocEvaluation::Changed changed = evaluation.takeChanged();
    if (!changed.empty()) {
        m_told.push_back({m_round, std::move(changed)});
    }
}

void OdDbAssocVariable::changesTold()
{
    if (!m_told.empty() && m_told.back().round == m_round) {
        OdDbAssocEvaluation::Changed changed = std::move(m_told.back().variables);
        m_told.pop_back();
        --m_round;
        OdDbAssocEvaluation::closeAll(std::move(changed));
        return;
    }
    --m_round;
}

OdResult OdDbAssocVariable::subErase(bool erasing)
{
    const OdResult result = OdDbAssocAction::subErase(erasing);
    if (result == kOdOk && !erasing) {
        m_tellsUsers = true;
    }
    return result;
}

// ---------------------------------------------------------------------------------------------
// Cloning

void OdDbAssocVariable::appendToOwner(OdDbIdPair& pair, OdDbObject* owner, OdDbIdMapping& mapping)
{
    const OdDbAssocNetworkPtr network = OdDbAssocNetwork::cast(owner);
    if (!network.isNull() && !m_name.isEmpty() && !isAnonymous(m_name)) {
        const OdString name = network->freeVariableName(m_name);
        if (name != m_name) {
            m_sourceName = std::exchange(m_name, name);
        }
    }
    m_isAppending = true;
    OdDbAssocAction::appendToOwner(pair, owner, mapping);
    m_isAppending = false;
}

void OdDbAssocVariable::cloneFinished(OdDbIdMapping& mapping)
{
    OdDbAssocAction::cloneFinished(mapping);
    // The list came from the source: its users that were not cloned don't use this one.
    for (OdDbObjectId id : getPersistentReactors()) {
        const OdDbObjectPtr object = odDbAssocIsOfClass(id, OdDbAssocDependency::desc())
                                         ? id.openObject(OdDb::kForRead, /*openErased=*/true)
                                         : OdDbObjectPtr();
        const OdDbAssocDependencyPtr dependency = OdDbAssocDependency::cast(object.get());
        if (!dependency.isNull() && dependency->dependentOnObject() != objectId()) {
            removePersistentReactor(id);
        }
    }
    if (!m_expression.isEmpty() && !dependencies().isEmpty()) {
        useClones(mapping);
        settle();
        if (OdDbAssocNetworkState* const known = findNetworkState()) {
            known->stale.insert(objectId());
        }
    }
}

/// Calls variables that were cloned with this one by their new names.
void OdDbAssocVariable::useClones(OdDbIdMapping const& mapping)
{
    OdExpression::Renames names;
    for (OdDbObjectId id : dependencies()) {
        const OdDbAssocValueDependencyPtr dependency = openValueDependency(id);
        const OdDbAssocVariablePtr target = dependency.isNull()
                                                ? OdDbAssocVariablePtr()
                                                : openVariable(dependency->dependentOnObject());
        if (!target.isNull() && !target->m_sourceName.isEmpty() &&
            mapping.isValue(target->objectId())) {
            names.emplace(target->m_sourceName, target->m_name);
        }
    }
    if (!names.empty()) {
        // A text that would be too long stays, and means variables that have the names now.
        changeText(OdExpression::renamed(m_expression, names).value_or(m_expression));
    }
}

// ---------------------------------------------------------------------------------------------
// Filing

OdResult OdDbAssocVariable::dwgInFields(OdDbDwgFiler* filer)
{
    const OdResult result = OdDbAssocAction::dwgInFields(filer);
    if (result != kOdOk) {
        return result;
    }
    OdString name = filer->rdString();
    OdString expression = filer->rdString();
    const std::uint8_t type = filer->rdUInt8();
    const double number = filer->rdDouble();
    const bool isInteger = type == OdDbEvalVariant::kInt32;
    if ((type != OdDbEvalVariant::kDouble && !isInteger) || !std::isfinite(number) ||
        (isInteger &&
         (std::trunc(number) != number || number < std::numeric_limits<std::int32_t>::min() ||
          number > std::numeric_limits<std::int32_t>::max()))) {
        throw OdError(kOdBadStream);
    }
    m_name = std::move(name);
    changeText(expression);
    m_number = number;
    m_type = static_cast<OdDbEvalVariant::Type>(type);
    if (OdDbAssocNetworkState* known = networkState()) {
        known->renamed(objectId());
        known->stale.insert(objectId());
    }
    return kOdOk;
}

void OdDbAssocVariable::dwgOutFields(OdDbDwgFiler* filer) const
{
    OdDbAssocAction::dwgOutFields(filer);
    filer->wrString(m_name);
    filer->wrString(m_expression);
    filer->wrUInt8(static_cast<std::uint8_t>(m_type));
    filer->wrDouble(m_number);
}
