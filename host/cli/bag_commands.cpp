#include "cli/bag_argument.h"
#include "cli/commands.h"
#include "cli/drawing.h"
#include "cli/text_format.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <optional>

namespace zemhost {

namespace {

constexpr std::size_t kShownCharacters = 72;

char const* placeName(BagPlace place)
{
    switch (place) {
    case BagPlace::kExtendedData:
        return "extended data";
    case BagPlace::kExtensionDictionary:
        return "extension dictionary";
    default:
        return "none";
    }
}

BagJson formJson(BagForm const& form)
{
    BagJson json;
    json["place"] = placeName(form.place);
    json["bytes"] = form.bytes;
    return json;
}

std::string formText(BagForm const& form)
{
    return std::string(placeName(form.place)) + ", " + counted(form.bytes, "byte");
}

/// A value on one line: plain where that is unmistakable, else as JSON.
std::string valueText(BagJson const& value)
{
    if (value["type"] == "blob") {
        const std::string& digits = value["value"].get_ref<std::string const&>();
        return counted(digits.size() / 2, "byte") + (digits.empty() ? "" : ": ") + digits;
    }
    return printableJson(value["value"]);
}

/// The same for `get`, which gives the value and nothing else.
std::string bareText(BagJson const& value)
{
    return value["value"].is_string() ? value["value"].get<std::string>()
                                      : toText(value["value"], -1);
}

HostError noSuchValue(BagRequest const& request)
{
    return HostError(ExitCode::kFindings, request.drawing,
                     "object " + request.handle + " has no value \"" + request.name + "\"",
                     "'zemhost bag list' shows what it has");
}

void printEntries(BagJson const& entries)
{
    std::size_t nameWidth = 0;
    std::size_t typeWidth = 0;
    for (auto const& [name, value] : entries.items()) {
        nameWidth = std::max(nameWidth, characterCount(printable(name)));
        typeWidth = std::max(typeWidth, value["type"].get_ref<std::string const&>().size());
    }
    for (auto const& [name, value] : entries.items()) {
        const std::string shownName = printable(name);
        const std::string type = value["type"].get<std::string>();
        std::cout << "  " << shownName
                  << std::string(nameWidth - characterCount(shownName) + 2, ' ') << type
                  << std::string(typeWidth - type.size() + 2, ' ')
                  << shortened(valueText(value), kShownCharacters) << '\n';
    }
}

/// Reads a file of bags. Its handles may be written in any way, and come as drawings write them.
BagJson readBags(std::string const& file)
{
    const BagJson contents = readJsonFile(file);
    if (!contents.is_object()) {
        throw HostError(ExitCode::kFile, file, "holds no bags",
                        "expected {HANDLE: {NAME: {\"type\": TYPE, \"value\": VALUE}}}");
    }
    BagJson bags = BagJson::object();
    for (auto const& [handle, bag] : contents.items()) {
        if (!bags.emplace(toText(handleFromText(handle)), bag).second) {
            throw HostError(ExitCode::kUsage, file, "has two bags of object " + handle,
                            "keep one of them");
        }
    }
    return bags;
}

/// The handles that are asked for, each once.
std::vector<OdDbHandle> requestedHandles(std::vector<std::string> const& words)
{
    std::vector<OdDbHandle> handles;
    for (std::string const& word : words) {
        const OdDbHandle handle = handleFromText(word);
        if (std::find(handles.begin(), handles.end(), handle) == handles.end()) {
            handles.push_back(handle);
        }
    }
    return handles;
}

/// All of a drawing's objects that have a bag, and those that can't be read, which may have one.
std::vector<OdDbHandle> handlesWithBags(OdDbDatabase& database, HostBagExtension const& bags)
{
    std::vector<OdDbHandle> handles;
    forEachHandle(database, [&](OdDbHandle handle) {
        const OdDbObjectPtr object = database.getOdDbObjectId(handle).openObject();
        if (object.isNull() || bags.form(*object).place != BagPlace::kNone) {
            handles.push_back(handle);
        }
    });
    return handles;
}

std::vector<OdDbHandle> handlesOf(BagJson const& bags)
{
    std::vector<OdDbHandle> handles;
    for (auto const& [handle, bag] : bags.items()) {
        handles.push_back(handleFromText(handle));
    }
    return handles;
}

BagJson const& bagOf(BagJson const& bags, OdDbHandle handle, std::string const& file)
{
    const auto at = bags.find(toText(handle));
    if (at == bags.end()) {
        throw HostError(ExitCode::kFindings, file, "has no bag of object " + toText(handle), "");
    }
    return *at;
}

/// The bag of an object, or why it can't be read.
struct ReadBag
{
    std::optional<BagJson> entries;
    std::string problem;
};

ReadBag tryRead(OdDbDatabase& database, HostBagExtension const& bags, OdDbHandle handle)
{
    const OpenedObject opened = tryOpen(database, handle, OdDb::kForRead);
    if (opened.object.isNull()) {
        return {std::nullopt, opened.problem};
    }
    try {
        return {bags.read(*opened.object), ""};
    } catch (HostError const& error) {
        if (error.exitCode() != ExitCode::kFindings) {
            throw;
        }
        return {std::nullopt, "has a bag that is damaged and can't be read"};
    }
}

void writeTextFile(std::string const& path, std::string const& text)
{
    if (path == "-") {
        std::cout << text;
        return;
    }
    // Swapped or mistyped names must not cost the user a drawing.
    if (isDrawingFile(path)) {
        throw HostError(ExitCode::kFile, path, "is a drawing", "name another file");
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (!file) {
        throw HostError(ExitCode::kFile, path, "can't be written", "check the path and its rights");
    }
}

/// How two bags differ, one line for each value.
std::vector<std::string> differences(BagJson const& expected, BagJson const& found)
{
    std::vector<std::string> lines;
    for (auto const& [name, value] : expected.items()) {
        const auto other = found.find(name);
        if (other == found.end()) {
            lines.push_back(printable(name) + " is missing");
        } else if (*other != value) {
            lines.push_back(printable(name) + " is " +
                            shortened(printableJson(*other), kShownCharacters) + ", expected " +
                            shortened(printableJson(value), kShownCharacters));
        }
    }
    for (auto const& [name, value] : found.items()) {
        if (!expected.contains(name)) {
            lines.push_back(printable(name) + " was not expected");
        }
    }
    return lines;
}

}  // namespace

ExitCode runBagGet(HostSession& session, BagRequest const& request)
{
    HostBagExtension const& bags = session.bags();
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForReading);
    const BagJson entries = bags.read(*openByHandle(*database, request.handle, OdDb::kForRead));
    const auto value = entries.find(request.name);
    if (value == entries.end()) {
        throw noSuchValue(request);
    }
    std::cout << (request.json ? toText(*value, 2) : bareText(*value)) << '\n';
    return ExitCode::kOk;
}

ExitCode runBagList(HostSession& session, BagRequest const& request)
{
    HostBagExtension const& bags = session.bags();
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForReading);
    const OdDbObjectPtr object = openByHandle(*database, request.handle, OdDb::kForRead);
    const BagForm form = bags.form(*object);
    const BagJson entries = bags.read(*object);
    if (request.json) {
        BagJson answer;
        answer["handle"] = toText(object->handle());
        answer["class"] = classNameOf(*object);
        answer["bag"] = formJson(form);
        answer["entries"] = entries;
        std::cout << toText(answer, 2) << '\n';
        return ExitCode::kOk;
    }
    std::cout << toText(object->handle()) << ' ' << printable(classNameOf(*object)) << ": "
              << (form.place == BagPlace::kNone
                      ? "no bag"
                      : counted(entries.size(), "value") + " in " + formText(form))
              << '\n';
    printEntries(entries);
    return ExitCode::kOk;
}

ExitCode runBagSet(HostSession& session, BagSetRequest const& request)
{
    if (request.jsonValue.empty() && request.type.empty()) {
        throw HostError(ExitCode::kUsage, request.bag.name, "has neither type nor --json",
                        "see 'zemhost bag set --help'");
    }
    const BagJson value = request.jsonValue.empty()
                              ? bagValueFromWords(request.type, request.values)
                              : jsonFromWord(request.jsonValue);
    HostBagExtension const& bags = session.bags();
    const OdDbDatabasePtr database =
        openDrawing(session, request.bag.drawing, OdDbOpenDrawingMode::kForWriting);
    BagForm form;
    BagJson stored;
    {
        const OdDbObjectPtr object = openByHandle(*database, request.bag.handle, OdDb::kForWrite);
        guardDrawing([&] {
            bags.set(*object, request.bag.name, value, request.retype);
            stored = bags.read(*object)[request.bag.name];
        });
        form = bags.form(*object);
    }
    saveDrawing(*database);
    std::cout << printable(request.bag.name) << " = "
              << shortened(valueText(stored), kShownCharacters) << "; bag in " << formText(form)
              << '\n';
    return ExitCode::kOk;
}

ExitCode runBagRemove(HostSession& session, BagRemoveRequest const& request)
{
    if (request.all == !request.bag.name.empty()) {
        throw HostError(ExitCode::kUsage, "", "expected the name of a value or --all",
                        "see 'zemhost bag remove --help'");
    }
    HostBagExtension const& bags = session.bags();
    const OdDbDatabasePtr database =
        openDrawing(session, request.bag.drawing, OdDbOpenDrawingMode::kForWriting);
    {
        const OdDbObjectPtr object = openByHandle(*database, request.bag.handle, OdDb::kForWrite);
        if (request.all && bags.form(*object).place == BagPlace::kNone) {
            throw HostError(ExitCode::kFindings, request.bag.drawing,
                            "object " + request.bag.handle + " has no bag", "");
        }
        bool found = true;
        guardDrawing([&] {
            if (request.all) {
                bags.replace(*object, BagJson::object());
            } else {
                found = bags.remove(*object, request.bag.name);
            }
        });
        if (!found) {
            throw noSuchValue(request.bag);
        }
    }
    saveDrawing(*database);
    std::cout << (request.all ? "bag" : printable(request.bag.name)) << " removed\n";
    return ExitCode::kOk;
}

ExitCode runBagExport(HostSession& session, BagFileRequest const& request)
{
    HostBagExtension const& bags = session.bags();
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForReading);
    const std::vector<OdDbHandle> handles = request.handles.empty()
                                                ? handlesWithBags(*database, bags)
                                                : requestedHandles(request.handles);
    BagJson answer = BagJson::object();
    std::size_t values = 0;
    std::vector<std::string> problems;
    for (const OdDbHandle handle : handles) {
        ReadBag bag = tryRead(*database, bags, handle);
        if (!bag.entries) {
            problems.push_back("object " + toText(handle) + ' ' + bag.problem);
            continue;
        }
        values += bag.entries->size();
        answer[toText(handle)] = std::move(*bag.entries);
    }
    if (!problems.empty() && !request.handles.empty()) {
        throw HostError(ExitCode::kFindings, request.drawing, problems.front(), "");
    }
    writeTextFile(request.file, toText(answer, 1) + '\n');
    if (request.file != "-") {
        std::cout << counted(answer.size(), "bag") << " with " << counted(values, "value")
                  << " written to " << printable(request.file) << '\n';
    }
    for (std::string const& problem : problems) {
        std::cerr << "zemhost: warning: "
                  << printable(request.drawing + ": " + problem + "; a bag of it is left out")
                  << '\n';
    }
    return problems.empty() ? ExitCode::kOk : ExitCode::kFindings;
}

ExitCode runBagImport(HostSession& session, BagFileRequest const& request)
{
    const BagJson given = readBags(request.file);
    HostBagExtension const& bags = session.bags();
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForWriting);
    const std::vector<OdDbHandle> handles =
        request.handles.empty() ? handlesOf(given) : requestedHandles(request.handles);
    std::vector<std::string> lines;
    for (const OdDbHandle handle : handles) {
        const OdDbObjectPtr object = openByHandle(*database, toText(handle), OdDb::kForWrite);
        BagJson const& bag = bagOf(given, handle, request.file);
        guardDrawing([&] { bags.replace(*object, bag); });
        const BagForm form = bags.form(*object);
        lines.push_back("  " + toText(handle) + ' ' + printable(classNameOf(*object)) + ": " +
                        (form.place == BagPlace::kNone
                             ? "no bag"
                             : counted(bag.size(), "value") + " in " + formText(form)));
    }
    saveDrawing(*database);
    std::cout << counted(handles.size(), "bag") << " attached\n";
    for (std::string const& line : lines) {
        std::cout << line << '\n';
    }
    return ExitCode::kOk;
}

ExitCode runBagCompare(HostSession& session, BagFileRequest const& request)
{
    const BagJson given = readBags(request.file);
    HostBagExtension const& bags = session.bags();
    const OdDbDatabasePtr database =
        openDrawing(session, request.drawing, OdDbOpenDrawingMode::kForReading);
    std::vector<OdDbHandle> handles = requestedHandles(request.handles);
    if (handles.empty()) {
        handles = handlesOf(given);
        for (const OdDbHandle handle : handlesWithBags(*database, bags)) {
            if (!given.contains(toText(handle))) {
                handles.push_back(handle);
            }
        }
    }
    std::size_t values = 0;
    std::size_t found = 0;
    for (const OdDbHandle handle : handles) {
        const std::string text = toText(handle);
        const BagJson expected =
            given.contains(text) ? bags.canonical(given[text]) : BagJson::object();
        values += expected.size();
        const ReadBag bag = tryRead(*database, bags, handle);
        const std::vector<std::string> lines =
            bag.entries ? differences(expected, *bag.entries) : std::vector{bag.problem};
        for (std::string const& line : lines) {
            std::cout << "  " << text << ": " << line << '\n';
        }
        found += lines.size();
    }
    std::cout << counted(handles.size(), "bag") << " with " << counted(values, "value") << ": "
              << (found == 0 ? "all equal" : counted(found, "difference")) << '\n';
    return found == 0 ? ExitCode::kOk : ExitCode::kFindings;
}

}  // namespace zemhost
