#include "cli/vars_commands.h"

#include "assoc/od_expression.h"
#include "cli/drawing_blocks.h"
#include "cli/driven_inserts.h"
#include "cli/network_view.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iostream>
#include <map>
#include <unordered_map>

namespace zemhost {

namespace {

/// Characters of an expression that are shown, and how many of them in front of an error.
constexpr std::size_t kShownExpression = 72;
constexpr std::size_t kShownInFront = 48;

/// A drawing and the block of it whose variables a command is about.
struct Subject
{
    OdDbDatabasePtr database;
    OdDbObjectId block;
    std::string text;  ///< such as "model space"
};

Subject openSubject(HostSession& session, VarsRequest const& request, OdDbOpenDrawingMode mode)
{
    Subject subject;
    subject.database = openDrawing(session, request.drawing, mode);
    const OdDbBlockTableRecordPtr block =
        openBlock(*subject.database, request.block, ExternalBlocks::kRefused);
    subject.block = block->objectId();
    subject.text = blockText(*block);
    return subject;
}

/// The access to bags if inserts of the block may be driven. Without the module, a block with inserts
/// gives a warning.
HostBagExtension const* bagsForInserts(HostSession& session, OdDbObjectId block)
{
    if (!hasInserts(block)) {
        return nullptr;
    }
    if (!session.hasModule()) {
        std::cerr << "zemhost: warning: inserts that variables drive are left as they are, as this "
                     "needs the module\n";
        return nullptr;
    }
    return &session.bags();
}

std::vector<DrivenInsert> insertsDriven(HostBagExtension const* bags, OdDbObjectId block)
{
    return bags != nullptr ? drivenInserts(*bags, block) : std::vector<DrivenInsert>();
}

/// The name in the form that is the same for all names that compare equal.
std::string comparedName(OdString name)
{
    return toUtf8(name.makeUpper());
}

std::string comparedName(std::string const& name)
{
    return comparedName(OdString::fromUtf8(name));
}

/// Inserts by the compared names of the variables that drive them.
using InsertsByVariable = std::unordered_map<std::string, std::vector<DrivenInsert>>;

InsertsByVariable byVariable(std::vector<DrivenInsert> const& driven)
{
    InsertsByVariable inserts;
    for (DrivenInsert const& insert : driven) {
        inserts[comparedName(insert.drive.variable)].push_back(insert);
    }
    return inserts;
}

std::vector<DrivenInsert> insertsDrivenBy(InsertsByVariable const& driven, std::string const& name)
{
    const auto found = driven.find(comparedName(name));
    return found != driven.end() ? found->second : std::vector<DrivenInsert>();
}

std::vector<std::string> handlesOf(std::vector<DrivenInsert> const& inserts)
{
    std::vector<std::string> handles;
    for (DrivenInsert const& insert : inserts) {
        handles.push_back(toText(insert.id.getHandle()));
    }
    return handles;
}

std::vector<std::string> printableNames(std::vector<std::string> const& names)
{
    std::vector<std::string> shown;
    for (std::string const& name : names) {
        shown.push_back(name.empty() ? "(no name)" : printable(name));
    }
    return shown;
}

/// Whether a block has an extension dictionary that can't be read.
bool hasUnreadableDictionary(OdDbObjectId block)
{
    const OdDbObjectId dictionary = OdDbObjectPtr(block.safeOpenObject())->extensionDictionary();
    return !dictionary.isNull() && dictionary.openObject().isNull();
}

/// The block's network; null if it has none and none is to be made.
/// \throws HostError (findings) if it can't be read, which is not the same.
OdDbAssocNetworkPtr openNetwork(Subject const& subject, bool create)
{
    bool isUnreadable = hasUnreadableDictionary(subject.block);
    OdDbAssocNetworkPtr network;
    if (!isUnreadable) {
        const OdDbObjectId id = OdDbAssocNetwork::getInstanceFromObject(subject.block, create);
        network = OdDbAssocNetwork::cast(id.openObject().get());
        isUnreadable = network.isNull() && (create || !id.isNull());
    }
    if (isUnreadable) {
        throw HostError(ExitCode::kFindings, toUtf8(subject.database->getFilename()),
                        "the variables of " + subject.text + " can't be read",
                        "'zemhost check' lists all damages");
    }
    return network;
}

OdDbObjectId findVariable(Subject const& subject, std::string const& name)
{
    const OdDbAssocNetworkPtr network = openNetwork(subject, /*create=*/false);
    return network.isNull() ? OdDbObjectId::kNull : network->findVariable(OdString::fromUtf8(name));
}

OdDbObjectId requireVariable(Subject const& subject, std::string const& name)
{
    OdDbObjectId id;
    guardDrawing([&] { id = findVariable(subject, name); });
    if (id.isNull()) {
        throw HostError(ExitCode::kFindings, toUtf8(subject.database->getFilename()),
                        subject.text + " has no variable \"" + name + "\"",
                        "'zemhost vars list' shows the variables");
    }
    return id;
}

VariableView viewOf(Subject const& subject, OdDbObjectId id)
{
    const OdDbObjectId network = OdDbAssocNetwork::getInstanceFromObject(subject.block);
    for (VariableView& variable : variablesOf(network)) {
        if (variable.id == id) {
            return variable;
        }
    }
    return {};
}

void requireName(std::string const& name)
{
    if (!OdExpression::isName(OdString::fromUtf8(name))) {
        throw HostError(ExitCode::kUsage, "\"" + name + "\"", "is no name for a variable",
                        "a name is a letter or _, then letters, digits and _");
    }
}

/// The column that an error text of the platform starts with; 0 if it tells none.
std::size_t columnOf(std::string const& error)
{
    constexpr std::string_view kLead = "column ";
    std::size_t column = 0;
    if (error.starts_with(kLead)) {
        std::from_chars(error.data() + kLead.size(), error.data() + error.size(), column);
    }
    return column;
}

/// Shows where an expression is wrong: the part of it around the column, and a caret below.
void printCaret(OdString const& expression, std::size_t column)
{
    const std::wstring_view text = expression.wide();
    if (column == 0 || column > text.size() + 1) {
        return;
    }
    const std::size_t start = column - 1 > kShownInFront ? column - 1 - kShownInFront : 0;
    std::wstring shown(text.substr(start, kShownExpression));
    // What takes no column, or more than one, would move the caret.
    std::replace_if(
        shown.begin(), shown.end(), [](wchar_t c) { return c < L' ' || c == 0x7F; }, L' ');
    const std::string lead = start > 0 ? "..." : "";
    std::cerr << "    " << lead << printable(toUtf8(OdString::fromWide(shown)))
              << (start + shown.size() < text.size() ? "..." : "") << '\n'
              << "    " << std::string(lead.size() + column - 1 - start, ' ') << "^\n";
}

/// A text that is nothing but a number, which is kept as a value.
std::optional<double> plainNumber(std::string const& text)
{
    const std::size_t begin = text.starts_with('-') || text.starts_with('+') ? 1 : 0;
    if (begin == text.size() || std::isalpha(static_cast<unsigned char>(text[begin])) != 0 ||
        text[begin] == '-') {
        return std::nullopt;
    }
    double number = 0;
    char const* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data() + begin, end, number);
    if (read.ec != std::errc() || read.ptr != end || !std::isfinite(number)) {
        return std::nullopt;
    }
    return text.front() == '-' ? -number : number;
}

void throwForExpression(VarsSetRequest const& request, OdResult result, OdString const& error)
{
    if (result == kOdOk) {
        return;
    }
    const std::string reason = error.isEmpty() ? odResultText(result) : toUtf8(error);
    printCaret(OdString::fromUtf8(request.expression), columnOf(reason));
    throw HostError(ExitCode::kUsage, request.name, reason,
                    result == kOdNoSuchVariable
                        ? "'zemhost vars list' shows the variables that there are"
                        : "");
}

/// One that can't be read may have the name that a new one is to get.
void requireAllRead(Subject const& subject)
{
    const OdDbAssocNetworkPtr network = openNetwork(subject, /*create=*/false);
    const OdDbObjectIdArray actions =
        network.isNull() ? OdDbObjectIdArray() : network->getActions();
    for (OdDbObjectId id : actions) {
        // One that the drawing doesn't have was erased while the network wasn't told.
        const bool isThere = !subject.database->getOdDbObjectId(id.getHandle()).isNull();
        if (isThere && !id.isErased() && id.openObject().isNull()) {
            throw HostError(ExitCode::kFindings, toUtf8(subject.database->getFilename()),
                            "a variable of " + subject.text + " can't be read",
                            "'zemhost check' lists all damages");
        }
    }
}

/// The variable of a name; a new one if there is none.
OdDbAssocVariablePtr variableForWrite(Subject const& subject, std::string const& name)
{
    const OdDbObjectId found = findVariable(subject, name);
    if (!found.isNull()) {
        return OdDbAssocVariable::cast(found.safeOpenObject(OdDb::kForWrite).get());
    }
    requireName(name);
    requireAllRead(subject);
    OdDbAssocVariablePtr variable = OdDbAssocVariable::createObject();
    const OdDbObjectId id = subject.database->addOdDbObject(variable.get());
    const OdDbAssocNetworkPtr network = openNetwork(subject, /*create=*/true);
    network->upgradeOpen();
    OdResult result = network->addAction(id, /*owned=*/true);
    if (result == kOdOk) {
        result = variable->setName(OdString::fromUtf8(name), /*updateOthers=*/false);
    }
    if (result != kOdOk) {
        throw OdError(result);
    }
    return variable;
}

OdResult assign(OdDbAssocVariable& variable, std::string const& text, OdString& error)
{
    const std::optional<double> number = plainNumber(text);
    if (!number.has_value()) {
        return variable.setExpression(OdString::fromUtf8(text), &error);
    }
    const OdResult result = variable.setExpression(OdString());
    return result == kOdOk ? variable.setValue(*number) : result;
}

void setVariable(Subject const& subject, VarsSetRequest const& request)
{
    // Dependents are computed when the variable's write period ends, which is here.
    guardDrawing([&] {
        const OdDbAssocVariablePtr variable = variableForWrite(subject, request.name);
        OdString error;
        const OdResult result = assign(*variable, request.expression, error);
        throwForExpression(request, result, error);
    });
}

/// Sets expressions that can't be computed once more. What they mention may be there again; that it
/// was missing isn't known of a drawing that was opened since.
void computeAgain(Subject const& subject)
{
    const OdDbObjectId network = OdDbAssocNetwork::getInstanceFromObject(subject.block);
    for (VariableView const& view : variablesOf(network)) {
        if (view.problem.empty() || view.expression.empty()) {
            continue;
        }
        const OdDbAssocVariablePtr variable =
            OdDbAssocVariable::cast(view.id.safeOpenObject(OdDb::kForWrite).get());
        OdString error;
        (void)variable->setExpression(variable->expression(), &error);  // or it stays as it is
    }
}

std::map<OdDbHandle, double> valuesOf(Subject const& subject)
{
    std::map<OdDbHandle, double> values;
    const OdDbObjectId network = OdDbAssocNetwork::getInstanceFromObject(subject.block);
    for (VariableView const& variable : variablesOf(network)) {
        values[variable.id.getHandle()] = variable.value;
    }
    return values;
}

void printVariable(VariableView const& variable, std::map<OdDbHandle, double> const& before,
                   std::size_t indent)
{
    std::cout << std::string(indent, ' ') << printable(variable.name) << " = "
              << exactNumber(variable.value);
    if (!variable.expression.empty()) {
        std::cout << ", from " << shortened(printable(variable.expression), kShownExpression);
    }
    const auto old = before.find(variable.id.getHandle());
    if (old == before.end()) {
        std::cout << "; new";
    } else if (old->second != variable.value) {
        std::cout << "; was " << exactNumber(old->second);
    }
    if (!variable.problem.empty()) {
        std::cout << "; can't be computed: " << printable(variable.problem);
    }
    std::cout << '\n';
}

void printSet(Subject const& subject, OdDbObjectId set, std::map<OdDbHandle, double> const& before,
              std::vector<DrivenInsert> const& inserts)
{
    printVariable(viewOf(subject, set), before, 0);
    const OdDbObjectId network = OdDbAssocNetwork::getInstanceFromObject(subject.block);
    for (VariableView const& variable : variablesOf(network)) {
        const auto old = before.find(variable.id.getHandle());
        if (variable.id != set && old != before.end() && old->second != variable.value) {
            printVariable(variable, before, 2);
        }
    }
    for (DrivenInsert const& insert : inserts) {
        if (scaleText(insert.scale) != scaleText(insert.before)) {
            std::cout << "  insert " << toText(insert.id.getHandle()) << " of "
                      << printable(insert.block) << ": scale " << scaleText(insert.scale)
                      << "; was " << scaleText(insert.before) << '\n';
        }
    }
}

/// A value that can't scale what it drives is refused; other problems were there before.
void requireUsable(std::vector<DrivenInsert> const& inserts)
{
    for (DrivenInsert const& insert : inserts) {
        const std::string subject = "insert " + toText(insert.id.getHandle());
        if (!insert.problem.empty() && insert.value.has_value()) {
            throw HostError(ExitCode::kUsage, subject, insert.problem,
                            "a scale is a finite number other than 0");
        }
        if (!insert.problem.empty()) {
            std::cerr << "zemhost: warning: " << printable(subject + ": " + insert.problem) << '\n';
        }
    }
}

std::string usersText(VariableView const& variable, std::vector<DrivenInsert> const& inserts)
{
    std::string text;
    if (!variable.usedBy.empty()) {
        text = "is used by " + joined(printableNames(variable.usedBy));
    }
    if (!inserts.empty()) {
        text += (text.empty() ? "" : ", and ") + std::string("drives ") +
                counted(inserts.size(), "insert") + ": " + joined(handlesOf(inserts));
    }
    return text;
}

Json listJson(VarsRequest const& request, Subject const& subject,
              std::vector<VariableView> const& variables, InsertsByVariable const& driven)
{
    Json json;
    json["drawing"] = request.drawing;
    json["block"] = toUtf8(OdDbBlockTableRecord::cast(subject.block.openObject().get())->getName());
    const OdDbObjectId network = OdDbAssocNetwork::getInstanceFromObject(subject.block);
    json["network"] = network.isNull() ? Json() : Json(toText(network.getHandle()));
    json["variables"] = Json::array();
    for (VariableView const& variable : variables) {
        Json entry = variableJson(variable);
        entry["drives"] = handlesOf(insertsDrivenBy(driven, variable.name));
        json["variables"].push_back(std::move(entry));
    }
    return json;
}

void printList(VarsRequest const& request, Subject const& subject,
               std::vector<VariableView> const& variables, InsertsByVariable const& driven)
{
    std::cout << printable(request.drawing) << ", " << subject.text << ": "
              << counted(variables.size(), "variable") << '\n';
    TextTable table;
    for (VariableView const& variable : variables) {
        std::string notes;
        const auto add = [&notes](std::string const& note) {
            notes += (notes.empty() ? "" : "; ") + note;
        };
        if (!variable.problem.empty()) {
            add("can't be computed: " + printable(variable.problem));
        }
        if (!variable.uses.empty()) {
            add("uses " + joined(printableNames(variable.uses)));
        }
        const std::string users = usersText(variable, insertsDrivenBy(driven, variable.name));
        if (!users.empty()) {
            add(users);
        }
        table.addRow({printableNames({variable.name}).front(), exactNumber(variable.value),
                      variable.expression.empty()
                          ? ""
                          : "= " + shortened(printable(variable.expression), kShownExpression),
                      notes});
    }
    table.print(2);
}

}  // namespace

ExitCode runVarsList(HostSession& session, VarsRequest const& request)
{
    const Subject subject = openSubject(session, request, OdDbOpenDrawingMode::kForReading);
    guardDrawing([&] {
        (void)openNetwork(subject, /*create=*/false);  // one that can't be read is told
        const std::vector<VariableView> variables =
            variablesOf(OdDbAssocNetwork::getInstanceFromObject(subject.block));
        const std::vector<DrivenInsert> inserts =
            variables.empty() || !session.hasModule()
                ? std::vector<DrivenInsert>()
                : insertsDriven(bagsForInserts(session, subject.block), subject.block);
        const InsertsByVariable driven = byVariable(inserts);
        if (request.json) {
            std::cout << toText(listJson(request, subject, variables, driven), 2) << '\n';
        } else {
            printList(request, subject, variables, driven);
        }
    });
    return tellOfDamages(*subject.database, request.drawing);
}

ExitCode runVarsSet(HostSession& session, VarsSetRequest const& request)
{
    if (request.expression.empty()) {
        throw HostError(ExitCode::kUsage, request.name, "has neither a number nor an expression",
                        "see 'zemhost vars set --help'");
    }
    const Subject subject = openSubject(session, request.vars, OdDbOpenDrawingMode::kForWriting);
    std::map<OdDbHandle, double> before;
    guardDrawing([&] {
        (void)openNetwork(subject, /*create=*/false);  // one that can't be read is told
        before = valuesOf(subject);
    });
    setVariable(subject, request);
    guardDrawing([&] { computeAgain(subject); });
    std::vector<DrivenInsert> inserts;
    guardDrawing([&] {
        if (HostBagExtension const* bags = bagsForInserts(session, subject.block)) {
            inserts = updateDrivenInserts(*bags, subject.block);
        }
    });
    requireUsable(inserts);
    saveDrawing(*subject.database);
    guardDrawing([&] { printSet(subject, findVariable(subject, request.name), before, inserts); });
    return tellOfDamages(*subject.database, request.vars.drawing);
}

ExitCode runVarsRename(HostSession& session, VarsRenameRequest const& request)
{
    requireName(request.newName);
    const Subject subject = openSubject(session, request.vars, OdDbOpenDrawingMode::kForWriting);
    const OdDbObjectId id = requireVariable(subject, request.name);
    std::size_t expressions = 0;
    std::vector<DrivenInsert> inserts;
    OdResult result = kOdOk;
    guardDrawing([&] {
        HostBagExtension const* const bags = bagsForInserts(session, subject.block);
        inserts = insertsDrivenBy(byVariable(insertsDriven(bags, subject.block)), request.name);
        expressions = viewOf(subject, id).usedBy.size();
        const OdDbAssocVariablePtr variable =
            OdDbAssocVariable::cast(id.safeOpenObject(OdDb::kForWrite).get());
        result = variable->setName(OdString::fromUtf8(request.newName), /*updateOthers=*/true);
        for (DrivenInsert& insert : inserts) {
            insert.drive.variable = OdString::fromUtf8(request.newName);
            const OdDbBlockReferencePtr reference =
                OdDbBlockReference::cast(insert.id.safeOpenObject(OdDb::kForWrite).get());
            setScaleDrive(*bags, *reference, insert.drive);
        }
    });
    if (result != kOdOk) {
        throw HostError(ExitCode::kUsage, request.newName,
                        result == kOdDuplicateName
                            ? "is the name of another variable, or stands in an expression that "
                              "uses " +
                                  request.name
                            : odResultText(result),
                        "give another name");
    }
    guardDrawing([&] {
        computeAgain(subject);
        if (HostBagExtension const* bags = bagsForInserts(session, subject.block)) {
            (void)updateDrivenInserts(*bags, subject.block);
        }
    });
    saveDrawing(*subject.database);
    std::cout << printable(request.name) << " is " << printable(request.newName) << " now; "
              << counted(expressions, "expression") << " and " << counted(inserts.size(), "insert")
              << " changed with it\n";
    return ExitCode::kOk;
}

ExitCode runVarsRemove(HostSession& session, VarsRemoveRequest const& request)
{
    const Subject subject = openSubject(session, request.vars, OdDbOpenDrawingMode::kForWriting);
    const OdDbObjectId id = requireVariable(subject, request.name);
    std::string users;
    guardDrawing([&] {
        HostBagExtension const* const bags = bagsForInserts(session, subject.block);
        const std::vector<DrivenInsert> inserts =
            insertsDrivenBy(byVariable(insertsDriven(bags, subject.block)), request.name);
        users = usersText(viewOf(subject, id), inserts);
        if (!users.empty() && !request.force) {
            throw HostError(ExitCode::kFindings, request.name, users,
                            "change them first, or give --force: they keep their values then");
        }
        for (DrivenInsert const& insert : inserts) {
            const OdDbBlockReferencePtr reference =
                OdDbBlockReference::cast(insert.id.safeOpenObject(OdDb::kForWrite).get());
            removeScaleDrive(*bags, *reference);
        }
        const OdDbAssocNetworkPtr network = openNetwork(subject, /*create=*/false);
        network->upgradeOpen();
        const OdResult result = network->removeAction(id, /*erase=*/true);
        if (result != kOdOk) {
            throw OdError(result);
        }
    });
    saveDrawing(*subject.database);
    std::cout << printable(request.name) << " removed"
              << (users.empty() ? "" : "; it " + users + ", with values that stay as they are")
              << '\n';
    return ExitCode::kOk;
}

}  // namespace zemhost
