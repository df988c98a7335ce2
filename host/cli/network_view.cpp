#include "cli/network_view.h"

#include "assoc/od_db_assoc_dependency.h"

#include <unordered_map>

namespace zemhost {

namespace {

std::vector<OdDbObjectId> usedVariables(OdDbAssocVariable const& variable)
{
    std::vector<OdDbObjectId> used;
    OdDbObjectIdArray dependencies;
    (void)variable.getDependencies(/*read=*/true, /*write=*/false, dependencies);  // always 0
    for (OdDbObjectId id : dependencies) {
        const auto dependency = OdDbAssocDependency::cast(id.openObject().get());
        if (!dependency.isNull() && !dependency->dependentOnObject().isErased()) {
            used.push_back(dependency->dependentOnObject());
        }
    }
    return used;
}

VariableView viewOf(OdDbAssocVariable const& variable)
{
    VariableView view;
    view.id = variable.objectId();
    view.name = toUtf8(variable.name());
    (void)variable.value()->getNumber(view.value);  // a variable's value always is one
    view.expression = toUtf8(variable.expression());
    view.problem = toUtf8(variable.evaluationError());
    view.usesIds = usedVariables(variable);
    return view;
}

}  // namespace

std::vector<VariableView> variablesOf(OdDbObjectId network)
{
    std::vector<VariableView> variables;
    const auto opened = OdDbAssocNetwork::cast(network.openObject().get());
    if (opened.isNull()) {
        return variables;
    }
    std::unordered_map<std::uint64_t, std::size_t> places;
    for (OdDbObjectId id : opened->getActions()) {
        const auto variable = OdDbAssocVariable::cast(id.openObject().get());
        if (!variable.isNull()) {
            places[id.getHandle().value()] = variables.size();
            variables.push_back(viewOf(*variable));
        }
    }
    for (VariableView& user : variables) {
        for (OdDbObjectId id : user.usesIds) {
            const auto used = places.find(id.getHandle().value());
            if (used != places.end()) {
                user.uses.push_back(variables[used->second].name);
                variables[used->second].usedBy.push_back(user.name);
            }
        }
    }
    return variables;
}

Json variableJson(VariableView const& variable)
{
    Json json;
    json["handle"] = toText(variable.id.getHandle());
    json["name"] = variable.name;
    json["value"] = variable.value;
    json["expression"] = variable.expression.empty() ? Json() : Json(variable.expression);
    json["uses"] = variable.uses;
    json["usedBy"] = variable.usedBy;
    if (!variable.problem.empty()) {
        json["problem"] = variable.problem;
    }
    return json;
}

}  // namespace zemhost
